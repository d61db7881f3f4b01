// import_obj: scenes out of Wavefront OBJ files.
#ifndef Q7_STUDIO_IMPORT_OBJ_HPP
#define Q7_STUDIO_IMPORT_OBJ_HPP

#include <string>

#include "examples/studio/object.hpp"

namespace studio {

// Reads a file into a new scene: a mesh for each object and material in it, the materials of its .mtl files, and, since
// such files hold neither, a camera that sees all of it, three lights and a floor. Throws Failure.
//
// Beside the usual ones a material file may have the statements q7_second (a colour), q7_texture, q7_octaves, q7_scale,
// q7_mirror and q7_gloss (numbers): the attributes of the class material (scene/scene.h).
Referenced import_obj(const std::string &path);

}  // namespace studio

#endif
