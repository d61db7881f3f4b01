// naming: the studio's naming service, which lets the library's reports name classes instead of numbering them.
#ifndef Q7_STUDIO_NAMING_HPP
#define Q7_STUDIO_NAMING_HPP

#include "core/q7oops.h"

namespace studio {

enum {
  kNamingClass = 4211,       // "naming"
  kNamingMethod = 4211001,   // a: class id, b: kind, slot: number; the name, or null
  kNamingKindOfClasses = 1,  // the kind that it knows names for
};

// Registers the class and makes it the naming service. 1, or 0
int32_t register_naming_class(Q7App *app);

}  // namespace studio

#endif
