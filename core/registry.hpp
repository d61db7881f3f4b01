// registry: what the modules of the object system share about the class registry and clients do not see.
#ifndef Q7_CORE_REGISTRY_HPP
#define Q7_CORE_REGISTRY_HPP

#include "core/q7oops.h"

namespace q7 {

// A library opened for external classes.
struct LibraryNode {
  Q7Node node;
  void *handle;
};

// A named method of a class; in Q7Class::extmethods.
struct ExtensionNode {
  Q7Node node;  // node.name is unused
  char *name;   // owned copy
  Q7ExtensionMethod function;
};

// Class ids above this own no method ids (id * 1000 + 999 must fit 32 bits) and are refused.
constexpr uint32_t kHighestClassId = 4294966;

constexpr uint64_t round_up_8(uint64_t size) { return (size + 7) & ~uint64_t{7}; }

// The printable name of a class id from the naming service, "?" without one (the root class's method 39).
const char *class_name(uint32_t clid);

// Reports "<application string 4>: <id> (<name>)".
void report_unknown_class(uint32_t clid, int32_t line);

// Counts the created classes; the table is not searched while there are none.
extern uint32_t class_count;

// Path name of a class into a bounded buffer; false when it does not fit.
bool class_path(char *buffer, size_t size, const Q7Class *cl);

// Length of the path name without NUL.
size_t class_path_length(const Q7Class *cl);

// Gives every class below cl, at any depth, its layout from its superclass's.
void recompute_layout(Q7Class *cl);

}  // namespace q7

#endif
