// store: scenes in .q7d files: a chunked file "Q7D8" of the form type "SCEN", whose chunk "OBJS" holds the scene as an
// object stream. Chunks that are not known are passed over. What is saved of a loaded scene is the same bytes again.
#ifndef Q7_STUDIO_STORE_HPP
#define Q7_STUDIO_STORE_HPP

#include <string>

#include "examples/studio/object.hpp"

namespace studio {

Referenced load_scene(const std::string &path);            // throws Failure
void save_scene(Q7Object *scene, const std::string &path,  // throws Failure; writes over what is there
                const std::string &name_for_user);

}  // namespace studio

#endif
