// node: what groups know of the nodes in them.
#ifndef Q7_EXAMPLES_NODE_HPP
#define Q7_EXAMPLES_NODE_HPP

#include "examples/studio/scene/sceneclass.hpp"

namespace scene {

// Instance data.
struct Node {
  Q7Vector origin;   // Q7A_NODE_ORIGIN
  Q7Vector angles;   // heading, pitch, bank, degrees (Q7A_NODE_ANGLES)
  Q7Vector scale;    // Q7A_NODE_SCALE
  Q7Object *parent;  // the group that holds a reference on this node, or null
};

inline Node &node(Q7Object *obj) { return data_of<Node>(Q7C_NODE, obj); }

bool is_kind(Q7Object *obj, uint32_t clid);

// How many groups are around a node, at most Q7GROUP_MAX_DEPTH + 1.
int depth(Q7Object *obj);

// Takes a node out of its group, which gives its reference back: the node may be gone afterwards.
void leave_group(Q7Object *obj);
// Puts a node into a group, by the message of the root class that links it (11, 12 or 32, then behind another member);
// false, reported, when it cannot be.
bool enter_group(Q7Object *group, Q7Object *obj, uint32_t method = Q7M_ADDTAIL, uint64_t behind = 0);
// The group whose list of members that is, or null.
Q7Object *group_of_list(const void *list);
// Links or unlinks an object as the root class does.
void link(Q7Object *obj, uint32_t method, uint64_t behind, Q7List *list);

}  // namespace scene

#endif
