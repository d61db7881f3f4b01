// naming: a class without objects or data; the class record itself receives the questions.
#include "examples/studio/naming.hpp"

#include "core/q7root.h"
#include "examples/studio/object.hpp"

namespace studio {

namespace {

uint64_t dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  if (method != kNamingMethod) return cl->superdispatch(cl->super, obj, method, a, b, tags);
  if (b != kNamingKindOfClasses) return 0;
  const Q7Class *named = Q7ClassFind(static_cast<uint32_t>(a));
  return named ? word(named->header.name) : 0;
}

}  // namespace

int32_t register_naming_class(Q7App *app) {
  if (!Q7RegisterRootClass(app)) return 0;
  if (!Q7ClassCreate(Q7C_ROOT, kNamingClass, dispatch, 0, Q7CT_NAME, word("naming"), Q7CT_DESCRIPTION, word("Naming"),
                     Q7CT_MODULE, word("studio"), 0)) {
    return 0;
  }
  Q7SetClassAttrs(Q7C_ROOT, Q7CT_NAMING_CLASS, uint64_t{kNamingClass}, Q7CT_NAMING_METHOD, uint64_t{kNamingMethod}, 0);
  return 1;
}

}  // namespace studio
