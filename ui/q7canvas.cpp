// q7canvas: the canvas class and the registry of canvas kinds. The registry belongs to the process; it is emptied when
// the class is registered and when it goes.
#include "ui/q7canvas.h"

#include "core/q7memory.h"
#include "ui/widget.hpp"

namespace {

struct Kind {
  Q7Node node;
  uint64_t value;  // a class, a name
  int32_t number;
};

struct Registry {
  Q7List kinds;         // Kind, in order of registration
  int32_t count;        // records
  uint32_t generation;  // changes when they are all freed
};
Registry registry;

void q7cv_empty_registry() {
  if (registry.kinds.head) {
    while (Q7Node *node = Q7RemHead(&registry.kinds)) Q7FreeMem(node, sizeof(Kind));
  }
  Q7NewList(&registry.kinds);
  registry.count = 0;
  ++registry.generation;
}

uint64_t q7cv_register_kind(uint64_t value, int32_t number) {
  auto *kind = static_cast<Kind *>(Q7AllocMem(sizeof(Kind), Q7MEM_CLEAR));
  if (!kind) return 0;
  kind->value = value;
  kind->number = number;
  Q7AddTail(&registry.kinds, &kind->node);
  ++registry.count;
  return 1;
}

uint64_t q7cv_each_kind(Q7Object *handler, uint32_t method, Q7TagItem *argument) {
  const uint32_t generation = registry.generation;
  Q7Node *node = registry.kinds.head;
  for (int32_t left = registry.count; left > 0; --left) {
    const auto *kind = reinterpret_cast<const Kind *>(node);
    if (!q7::send(handler, method, kind->value, q7::arg(kind->number), argument)) return 0;
    if (registry.generation != generation) return 0;
    node = node->succ;
  }
  return 1;
}

bool q7cv_set(const Q7TagItem &item) { return item.tag == 264506 || (item.tag >= 264510 && item.tag <= 264513); }

bool q7cv_get(const Q7TagItem &item) {
  if (item.tag < 264500 || item.tag > 264519 || item.tag == 264510 || item.tag == 264518) return false;
  return q7::store<int32_t>(item, 0);
}

uint64_t q7cv_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  switch (method) {
    case Q7M_NEW: return q7::inherit(cl, obj, method, a, b, nullptr);
    case Q7M_SET: return q7::walk_items(cl, obj, method, tags, q7cv_set);
    case Q7M_GET: return q7::walk_items(cl, obj, method, tags, q7cv_get);
    case Q7M_CLASS_FREE:
      if (&cl->header == obj) q7cv_empty_registry();
      return q7::inherit(cl, obj, method, a, b, tags);
    case Q7M_CANVAS_REGISTER_KIND: return q7cv_register_kind(a, q7::slot_int(tags));
    case Q7M_CANVAS_EACH_KIND: return q7cv_each_kind(q7::as<Q7Object *>(a), q7::as<uint32_t>(b), tags);
    case 264006:
    case 264007:
    case 264008:
    case 264009: return 1;
    default: return q7::inherit(cl, obj, method, a, b, tags);
  }
}

constexpr q7::ClassDef canvas_class = {.id = Q7C_CANVAS,
                                       .super = Q7C_WIDGET,
                                       .name = "q7canvas",
                                       .dispatch = q7cv_dispatch,
                                       .needs = Q7RegisterWidgetClass,
                                       .description = "Rendering Canvas"};

}  // namespace

int32_t Q7RegisterCanvasClass(Q7App *app) {
  if (!Q7ClassFind(Q7C_CANVAS)) q7cv_empty_registry();
  return q7::register_once(app, canvas_class);
}
