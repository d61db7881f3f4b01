// picture: draws a scene.
#ifndef Q7_TOOLS_Q7LAYOUT_PICTURE_HPP
#define Q7_TOOLS_Q7LAYOUT_PICTURE_HPP

#include "tools/q7layout/scene.hpp"

namespace q7layout {

// Writes a picture of a laid out scene: SVG, PNG or text, as the end of the path says. False when it cannot be written.
bool draw(const Description &description, const Scene &scene, Pair size, const std::string &path);

}  // namespace q7layout

#endif
