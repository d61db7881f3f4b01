// furnish: putting nodes into a scene, and what a bare mesh needs around it to be seen.
#ifndef Q7_STUDIO_FURNISH_HPP
#define Q7_STUDIO_FURNISH_HPP

#include <initializer_list>

#include "examples/studio/object.hpp"

namespace studio {

// Makes a node and puts it into a group, which holds it from then on. Throws Failure. @return the node
Q7Object *add_node(Q7Object *group, uint32_t clid, const char *name, std::initializer_list<Q7TagItem> attributes);

// The first node of a kind (and of a name, unless it is null) in a group and the groups in it; null if there is none.
Q7Object *find_node(Q7Object *group, uint32_t clid, const char *name = nullptr);

// Adds a camera that sees all meshes, three lights and a floor.
void furnish(Q7Object *scene);

}  // namespace studio

#endif
