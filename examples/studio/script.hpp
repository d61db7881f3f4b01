// script: lets a scripting language change a scene.
#ifndef Q7_STUDIO_SCRIPT_HPP
#define Q7_STUDIO_SCRIPT_HPP

#include <string>

#include "app/q7app.h"
#include "examples/studio/object.hpp"

namespace studio {

// Runs a script file in the language of its extension; its paths begin in a
// group whose member the scene is. The plug-in library
// libq7<extension>.so is loaded for it if no language of that extension is there. Throws Failure.
void run_script(Q7App *app, Q7Object *scene, const std::string &path);

}  // namespace studio

#endif
