// shape: registration, the same three steps for every class of the layer.
#include "platform/posix/shape.hpp"

namespace q7posix {

int32_t register_class(Q7App *app, const ClassDef &def) {
  if (Q7ClassFind(def.id)) return 1;
  if (def.needs && !def.needs(app)) return 0;
  if (!Q7ClassFind(def.super)) {
    Q7P_ERROR("q7posix", "%s: class %d needs class %d, which is not registered", def.name, static_cast<int>(def.id),
              static_cast<int>(def.super));
    return 0;
  }
  return Q7ClassCreate(def.super, def.id, def.dispatch, def.size, Q7CT_NAME, word(def.name), Q7CT_DESCRIPTION,
                       word(def.description), Q7CT_ORGANISATION, word("Karmonic"), Q7CT_MODULE, word("q7platform"),
                       Q7CT_VERSION, uint64_t{1}, Q7TAG_END) != nullptr;
}

}  // namespace q7posix
