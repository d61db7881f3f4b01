// drawing: what the layer's files share of texts, places and fonts.
#ifndef Q7_PLATFORM_POSIX_DRAWING_HPP
#define Q7_PLATFORM_POSIX_DRAWING_HPP

#include "platform/posix/record.hpp"

namespace q7posix {

// A place that origins inside of origins cannot overflow.
struct Place {
  int64_t x, y;
};

// What a text of any bytes measures. False for null, when memory is short (reported) and when the font system fails.
bool text_extents(const FontSpec &font, const char *text, Q7TextExtents *extents);

// Registers the font class, 11.
int32_t register_font_class(Q7App *app);

}  // namespace q7posix

#endif
