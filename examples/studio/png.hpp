// png: pictures as PNG files.
#ifndef Q7_STUDIO_PNG_HPP
#define Q7_STUDIO_PNG_HPP

#include <cstdint>
#include <vector>

#include "examples/studio/render.hpp"

namespace studio {

// The bytes of a file, which depend on the picture alone. Throws Failure.
std::vector<uint8_t> encode_png(const Picture &picture);

}  // namespace studio

#endif
