// q7gmanag: the geometry manager class: the link from slave to manager, the master of a nested manager and the mark of
// a requested layout. It keeps no slaves; its subclasses do.
#include "ui/q7gmanag.h"

#include "ui/manager.hpp"

namespace {

using q7::GmanagerData;

bool q7gm_set(GmanagerData &g, const Q7TagItem &item) {
  if (item.tag != Q7A_GMANAGER_MASTER) return false;
  g.master_link.assign(g.master, q7::value<Q7Object *>(item));
  return true;
}

bool q7gm_get(const GmanagerData &g, const Q7TagItem &item) {
  switch (item.tag) {
    case Q7A_GMANAGER_MASTER: return q7::store<Q7Object *>(item, g.master);
    case Q7A_GMANAGER_KEEP_SIZE: return q7::store<int32_t>(item, 0);
    case Q7A_GMANAGER_MAX_WIDTH:
    case Q7A_GMANAGER_MAX_HEIGHT: return q7::store<int32_t>(item, Q7_GMANAGER_NO_LIMIT);
    default: return false;
  }
}

Q7_HANDLER uint64_t q7gm_add(Q7Object *self, Q7Object *slave) {
  if (slave == self) return 0;
  q7::set_attribute(slave, Q7A_WIDGET_MANAGER, q7::arg(self));
  return q7::arg(self);
}

Q7_HANDLER uint64_t q7gm_remove(Q7Object *slave) {
  q7::set_attribute(slave, Q7A_WIDGET_MANAGER, 0);
  return 0;
}

uint64_t q7gm_request(GmanagerData &g, Q7Object *self) {
  if (!g.pending) {
    g.pending = 1;
    q7::send(self, Q7M_GMANAGER_RUN_PENDING);
  }
  return q7::arg(self);
}

Q7_HANDLER uint64_t q7gm_run_pending(GmanagerData &g, Q7Object *self) {
  if (g.pending) {
    const q7::Walk life(q7::widget_data(self)->callbacks);
    q7::send(self, Q7M_GMANAGER_LAYOUT);
    if (!life.valid()) return 0;
  }
  g.pending = 0;
  return q7::arg(self);
}

Q7_HANDLER uint64_t q7gm_new(Q7Class *cl, Q7Object *receiver, uint64_t a, uint64_t b, Q7TagItem *tags) {
  return q7::create<GmanagerData>(cl, receiver, a, b, tags, q7gm_set);
}
Q7_HANDLER uint64_t q7gm_set_list(Q7Class *cl, Q7Object *self, Q7TagItem *tags) {
  return q7::set_attributes<GmanagerData>(cl, self, tags, q7gm_set);
}
Q7_HANDLER uint64_t q7gm_get_list(Q7Class *cl, Q7Object *self, Q7TagItem *tags) {
  return q7::get_attributes<GmanagerData>(cl, self, tags, q7gm_get);
}

uint64_t q7gm_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  // Messages to the class itself have no instance behind them.
  if (&obj->cl->header == obj && method != Q7M_NEW) return q7::inherit(cl, obj, method, a, b, tags);
  auto &g = q7::data<GmanagerData>(cl, obj);
  switch (method) {
    case Q7M_NEW: return q7gm_new(cl, obj, a, b, tags);
    case Q7M_DISPOSE: g.master_link.drop(); return q7::inherit(cl, obj, method, a, b, tags);
    case Q7M_SET: return q7gm_set_list(cl, obj, tags);
    case Q7M_GET: return q7gm_get_list(cl, obj, tags);
    case Q7M_GMANAGER_ADD: return q7gm_add(obj, q7::slave_tag(tags));
    case Q7M_GMANAGER_REMOVE: return q7gm_remove(q7::slave_tag(tags));
    case Q7M_GMANAGER_RUN_PENDING: return q7gm_run_pending(g, obj);
    case Q7M_GMANAGER_SET_OPTIONS:
    case Q7M_GMANAGER_GET_OPTIONS: return q7::arg(obj);
    case Q7M_WIDGET_LAYOUT: return q7gm_request(g, obj);
    default: return q7::inherit(cl, obj, method, a, b, tags);
  }
}

constexpr q7::ClassDef gmanager_class = {.id = Q7C_GMANAGER,
                                         .super = Q7C_WIDGET,
                                         .name = "q7gmanag",
                                         .dispatch = q7gm_dispatch,
                                         .size = sizeof(GmanagerData),
                                         .needs = Q7RegisterWidgetClass,
                                         .description = "Geometry Manager"};

}  // namespace

int32_t Q7RegisterGmanagerClass(Q7App *app) { return q7::register_once(app, gmanager_class); }
