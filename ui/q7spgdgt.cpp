// q7spgdgt: the SP gadget class. Owns nothing; it hands attributes on one by one, so that a subclass of its superclass
// never meets a list that it would have to split.
#include "ui/q7spgdgt.h"

#include "ui/widget.hpp"

namespace {

constexpr q7::ClassDef spgadget_class = {.id = Q7C_SPGADGET,
                                         .super = Q7C_GADGET,
                                         .name = "q7spgdgt",
                                         .dispatch = Q7SpgadgetDispatch,
                                         .needs = Q7RegisterGadgetClass};

}  // namespace

uint64_t Q7SpgadgetDispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  if (!cl || !obj) return 0;
  switch (method) {
    case Q7M_SET:
    case Q7M_GET: return q7::walk_items(cl, obj, method, tags, [](const Q7TagItem &) { return false; });
    default: return q7::inherit(cl, obj, method, a, b, tags);
  }
}

int32_t Q7RegisterSPGadgetClass(Q7App *app) { return q7::register_once(app, spgadget_class); }
