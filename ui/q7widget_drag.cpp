// q7widget, drag and drop: the block of drag-and-drop attributes, the way a drop takes through the tree, and the
// process-wide table of drop handlers.
#include "core/q7memory.h"
#include "core/report.hpp"
#include "ui/widget.hpp"

namespace {

using q7::DragDrop;
using q7::WidgetData;

constexpr char kModule[] = "q7widget";

// ---- Registered drop handlers: three parallel arrays in order of registration ----

constexpr int kHandlers = 100;
// One short of the table, so the last slot stays unused: an index one past the last handler is always a valid one.
constexpr int kMostHandlers = kHandlers - 1;

int32_t handler_class[kHandlers];
Q7Object *handler_object[kHandlers];
int32_t handler_method[kHandlers];
int handler_count;
q7::Weak handler_link[kHandlers];

void q7wd_handler_gone(q7::Weak *link) {
  const auto gone = static_cast<int>(link - handler_link);
  --handler_count;
  for (int i = gone; i < handler_count; ++i) {
    handler_class[i] = handler_class[i + 1];
    handler_object[i] = handler_object[i + 1];
    handler_method[i] = handler_method[i + 1];
    q7::weak_assign(handler_link[i], handler_object[i], q7wd_handler_gone);
  }
  handler_object[handler_count] = nullptr;
  q7::weak_drop(handler_link[handler_count]);
}

// Asks every registered handler for the kind of object that is dropped; false when one of them refuses.
bool q7wd_ask_handlers(Q7Object *dropped, Q7Point *point, Q7Object *drop_handler) {
  for (int i = 0; i < handler_count; ++i) {
    if (!Q7ObjectIsOfKind(dropped, static_cast<uint32_t>(handler_class[i]))) continue;
    if (!q7::send(handler_object[i], static_cast<uint32_t>(handler_method[i]), q7::arg(dropped), q7::arg(point),
                  q7::slot(drop_handler))) {
      return false;
    }
  }
  return true;
}

// ---- The block ----

DragDrop *q7wd_block(WidgetData &w) {
  if (!w.drag_drop) w.drag_drop = static_cast<DragDrop *>(Q7AllocMem(sizeof(DragDrop), Q7MEM_CLEAR));
  return w.drag_drop;
}

// ---- Drops ----

// A drop that is being offered. A drop handler's parent may lie anywhere, below the widget that names it too, so that
// drops could run in circles; the widgets that were asked already are known by these.
struct Offer {
  const Q7Object *widget;
  const Q7Object *dropped;
  uint32_t method;
  const Offer *outer;
  int32_t level;
};
const Offer *offers;

bool q7wd_asked(const Q7Object *widget, const Q7Object *dropped, uint32_t method) {
  for (const Offer *offer = offers; offer; offer = offer->outer) {
    if (offer->widget == widget && offer->dropped == dropped && offer->method == method) return true;
  }
  return false;
}

uint64_t q7wd_send_block_method(Q7Object *handler, int32_t method, Q7Object *dropped, Q7Point *point, uint64_t data) {
  if (!method) return 0;
  return q7::send(handler, static_cast<uint32_t>(method), q7::arg(dropped), q7::arg(point), q7::slot(data));
}

// The local part: the registered handlers and the widget's own drop handler. The block is copied, for a handler may
// set other attributes.
uint64_t q7wd_offer_here(const DragDrop &d, Q7Object *self, uint32_t method, Q7Object *dropped, const Q7Point &point) {
  Q7Point local = point;
  q7::send(self, Q7M_WIDGET_FROM_TOP, 0, 0, q7::slot(&local));
  if (method == Q7M_WIDGET_DROP) {
    if (!q7wd_ask_handlers(dropped, &local, d.drop_handler)) return 0;
    return q7wd_send_block_method(d.drop_handler, d.drop_method, dropped, &local, d.drop_data);
  }
  const uint64_t answer = q7wd_send_block_method(d.drop_handler, d.can_drop_method, dropped, &local, d.drop_data);
  return answer && q7wd_ask_handlers(dropped, &local, d.drop_handler) ? answer : 0;
}

}  // namespace

bool q7::set_drag_attribute(WidgetData &w, const Q7TagItem &item) {
  switch (item.tag) {
    case Q7A_WIDGET_DRAG_HANDLER:
    case Q7A_WIDGET_DRAG_METHOD:
    case Q7A_WIDGET_DRAG_DATA:
    case Q7A_WIDGET_DROP_HANDLER:
    case Q7A_WIDGET_CAN_DROP_METHOD:
    case Q7A_WIDGET_DROP_METHOD:
    case Q7A_WIDGET_DROP_DATA:
    case Q7A_WIDGET_VALUE541:
    case Q7A_WIDGET_DRAG_FINISHED_METHOD:
    case Q7A_WIDGET_VALUE545: break;
    default: return false;
  }
  DragDrop *d = q7wd_block(w);
  if (!d) return true;  // out of memory: the attribute is dropped
  switch (item.tag) {
    case Q7A_WIDGET_DRAG_HANDLER: d->drag_link.assign(d->drag_handler, value<Q7Object *>(item)); break;
    case Q7A_WIDGET_DRAG_METHOD: d->drag_method = value<int32_t>(item); break;
    case Q7A_WIDGET_DRAG_DATA: d->drag_data = item.data; break;
    case Q7A_WIDGET_DROP_HANDLER: d->drop_link.assign(d->drop_handler, value<Q7Object *>(item)); break;
    case Q7A_WIDGET_CAN_DROP_METHOD: d->can_drop_method = value<int32_t>(item); break;
    case Q7A_WIDGET_DROP_METHOD: d->drop_method = value<int32_t>(item); break;
    case Q7A_WIDGET_DROP_DATA: d->drop_data = item.data; break;
    case Q7A_WIDGET_VALUE541: d->value541 = value<int32_t>(item); break;
    case Q7A_WIDGET_DRAG_FINISHED_METHOD: d->drag_finished_method = value<int32_t>(item); break;
    case Q7A_WIDGET_VALUE545: d->value545 = value<int32_t>(item); break;
    default: break;
  }
  return true;
}

bool q7::get_drag_attribute(const WidgetData &w, const Q7TagItem &item) {
  static constexpr DragDrop none{};
  const DragDrop &d = w.drag_drop ? *w.drag_drop : none;
  switch (item.tag) {
    case Q7A_WIDGET_DRAG_HANDLER: return store<Q7Object *>(item, d.drag_handler);
    case Q7A_WIDGET_DRAG_METHOD: return store<int32_t>(item, d.drag_method);
    case Q7A_WIDGET_DRAG_DATA: return store<uint64_t>(item, d.drag_data);
    case Q7A_WIDGET_DROP_HANDLER: return store<Q7Object *>(item, d.drop_handler);
    case Q7A_WIDGET_CAN_DROP_METHOD: return store<int32_t>(item, d.can_drop_method);
    case Q7A_WIDGET_DROP_METHOD: return store<int32_t>(item, d.drop_method);
    case Q7A_WIDGET_DROP_DATA: return store<uint64_t>(item, d.drop_data);
    case Q7A_WIDGET_VALUE541: return store<int32_t>(item, d.value541);
    case Q7A_WIDGET_DRAG_FINISHED_METHOD: return store<int32_t>(item, d.drag_finished_method);
    case Q7A_WIDGET_VALUE545: return store<int32_t>(item, d.value545);
    default: return false;
  }
}

void q7::free_drag_drop(WidgetData &w) {
  if (!w.drag_drop) return;
  w.drag_drop->drag_link.drop();
  w.drag_drop->drop_link.drop();
  Q7FreeMem(w.drag_drop, sizeof(DragDrop));
  w.drag_drop = nullptr;
}

uint64_t q7::start_drag(WidgetData &w, Q7Object *self, uint64_t data) {
  uint64_t answer = 0;
  if (w.drag_drop && w.drag_drop->drag_handler) {
    const DragDrop &d = *w.drag_drop;
    answer = send(d.drag_handler, static_cast<uint32_t>(d.drag_method), arg(self), data, slot(d.drag_data));
  }
  send(self, Q7M_WIDGET_CHANGED, Q7M_WIDGET_START_DRAG, 1, slot(data));
  return answer;
}

uint64_t q7::drag_finished(WidgetData &w, Q7Object *self, uint64_t argument) {
  if (!w.drag_drop || !w.drag_drop->drag_handler || !w.drag_drop->drag_finished_method) return 0;
  const DragDrop &d = *w.drag_drop;
  return send(d.drag_handler, static_cast<uint32_t>(d.drag_finished_method), argument, arg(self), slot(d.drag_data));
}

uint64_t q7::offer_drop(WidgetData &w, Q7Object *self, uint32_t method, Q7Object *dropped, Q7Point *point) {
  if (q7wd_asked(self, dropped, method)) return 0;
  const Offer offer = {self, dropped, method, offers, offers ? offers->level + 1 : 1};
  // Handlers' parents lead from tree to tree, however many there are.
  if (offer.level > Q7_WIDGET_DEEPEST) {
    report_too_deep();
    return 0;
  }
  offers = &offer;
  Q7Point origin = {0, 0};
  if (!point) point = &origin;
  Q7Object *parent = w.parent;
  uint64_t answer = 0;
  if (w.drag_drop && w.drag_drop->drop_handler) {
    const DragDrop d = *w.drag_drop;
    WidgetData *handler = widget_data(d.drop_handler);
    Q7Object *handler_parent = handler ? handler->parent : nullptr;
    answer = q7wd_offer_here(d, self, method, dropped, *point);
    if (!answer) answer = send(handler_parent, method, arg(dropped), 0, slot(point));
  }
  if (!answer) answer = send(parent, method, arg(dropped), 0, slot(point));
  offers = offer.outer;
  return answer;
}

uint64_t q7::add_drop_handler(uint32_t clid, Q7Object *handler, uint32_t method) {
  if (handler_count >= kMostHandlers) {
    Q7_REPORT_ERROR(kModule, "too many handlers");
    return 0;
  }
  handler_class[handler_count] = static_cast<int32_t>(clid);
  handler_object[handler_count] = handler;
  handler_method[handler_count] = static_cast<int32_t>(method);
  weak_assign(handler_link[handler_count], handler, q7wd_handler_gone);
  ++handler_count;
  return 1;
}

void q7::clear_drop_handlers() {
  for (int i = 0; i < handler_count; ++i) weak_drop(handler_link[i]);
  handler_count = 0;
}
