// trace: the colour of a pixel. A pixel's rays depend on the world, the size of the picture and the pixel alone, never
// on what was traced before or where: its random numbers start from its place.
#ifndef Q7_STUDIO_TRACE_HPP
#define Q7_STUDIO_TRACE_HPP

#include <cstdint>

#include "examples/studio/world.hpp"

namespace studio {

struct PictureSize {
  int width, height;
};

// Stores red, green and blue. @return rays that were traced for it
uint32_t trace_pixel(const World &world, PictureSize size, int x, int y, uint8_t *rgb);

}  // namespace studio

#endif
