// q7widget: the widget class: instance attributes, callback records and change notification, and the dispatcher. The
// tree, drag and drop and the class-wide settings lie in files of their own. Invariant: a child stands in exactly one
// widget's children list, and that list holds one reference on it.
#include "ui/q7widget.h"

#include "core/q7memory.h"
#include "core/q7root.h"
#include "core/report.hpp"
#include "ui/widget.hpp"

namespace {

using q7::Callback;
using q7::WidgetData;

constexpr char kModule[] = "q7widget";

static_assert(sizeof(Q7Point) == 4);
static_assert(offsetof(WidgetData, target) == 32 && offsetof(WidgetData, callbacks) == 48);
static_assert(offsetof(WidgetData, children) == 80 && offsetof(WidgetData, flags) == 132);
static_assert(offsetof(WidgetData, target_index) == 136 && offsetof(WidgetData, value555) == 140);

// ---- Attributes ----

void q7wg_tell_extension(const WidgetData &w, uint32_t tag, uint64_t value) {
  if (w.extension) q7::set_attribute(w.extension, tag, value);
}

// The platform's origin may be off from the parent's (borders, scrolled views); the widget itself knows by how much.
Q7_HANDLER void q7wg_move_extension(const WidgetData &w, Q7Object *self, uint32_t tag, int32_t position,
                                    uint32_t origin_tag) {
  if (!w.extension) return;
  const auto origin = q7::get_attribute<int32_t>(self, origin_tag);
  q7wg_tell_extension(w, tag, q7::arg(static_cast<int32_t>(static_cast<int64_t>(position) - origin)));
}

Q7_HANDLER void q7wg_resize_extension(const WidgetData &w) {
  if (!w.extension) return;
  Q7TagItem list[3] = {{Q7A_WIDGET_WIDTH, q7::arg(w.width)}, {Q7A_WIDGET_HEIGHT, q7::arg(w.height)}, {Q7TAG_END, 0}};
  q7::send(w.extension, Q7M_SET, 0, 0, list);
}

void q7wg_set_flag(WidgetData &w, uint32_t flag, bool on) { w.flags = on ? w.flags | flag : w.flags & ~flag; }

void q7wg_set_shown(WidgetData &w, bool on, const Q7TagItem &item) {
  const uint32_t before = w.flags;
  q7wg_set_flag(w, q7::kShown, on);
  if (w.flags != before) q7wg_tell_extension(w, item.tag, item.data);
}

Q7_HANDLER void q7wg_set_inherited(WidgetData &w, const Q7TagItem &item) {
  const auto value = q7::value<int32_t>(item);
  if (value == w.inherited) return;
  Q7TagItem list[2] = {item, {Q7TAG_END, 0}};
  q7::Walk walk(w.children);
  while (auto *child = walk.take<Q7Object>()) q7::send(child, Q7M_SET, 0, 0, list);
  if (walk.valid()) w.inherited = value;
}

bool q7wg_set(WidgetData &w, Q7Object *self, const Q7TagItem &item) {
  switch (item.tag) {
    case Q7A_WIDGET_PARENT: q7::set_parent(w, self, q7::value<Q7Object *>(item)); return true;
    case Q7A_WIDGET_X:
      w.x = q7::value<int32_t>(item);
      q7wg_move_extension(w, self, item.tag, w.x, Q7A_WIDGET_ORIGIN_X);
      return true;
    case Q7A_WIDGET_Y:
      w.y = q7::value<int32_t>(item);
      q7wg_move_extension(w, self, item.tag, w.y, Q7A_WIDGET_ORIGIN_Y);
      return true;
    // The first size that a widget is given is also the smallest it may get.
    case Q7A_WIDGET_WIDTH:
      w.width = q7::value<int32_t>(item);
      if (w.min_width == 0) w.min_width = w.width;
      q7wg_resize_extension(w);
      return true;
    case Q7A_WIDGET_HEIGHT:
      w.height = q7::value<int32_t>(item);
      if (w.min_height == 0) w.min_height = w.height;
      q7wg_resize_extension(w);
      return true;
    case Q7A_WIDGET_MIN_WIDTH:
      w.min_width = q7::value<int32_t>(item);
      if (w.width < w.min_width) w.width = w.min_width;
      return true;
    case Q7A_WIDGET_MIN_HEIGHT:
      w.min_height = q7::value<int32_t>(item);
      if (w.height < w.min_height) w.height = w.min_height;
      return true;
    case Q7A_WIDGET_SHOWN: q7wg_set_shown(w, q7::flag(item), item); return true;
    // A widget without target is not shown: whoever has nothing to operate on is of no use to the user.
    case Q7A_WIDGET_TARGET:
      w.target_link.assign(w.target, q7::value<Q7Object *>(item));
      q7wg_set_shown(w, w.target != nullptr, item);
      return true;
    case Q7A_WIDGET_VALUE512: w.value512 = item.data; return true;
    case Q7A_WIDGET_TARGET_ATTRIBUTE: w.target_attribute = q7::value<int32_t>(item); return true;
    case Q7A_WIDGET_TARGET_METHOD: w.target_method = q7::value<int32_t>(item); return true;
    case Q7A_WIDGET_EXTENSION: w.extension_link.assign(w.extension, q7::value<Q7Object *>(item)); return true;
    case Q7A_WIDGET_MANAGER: w.manager_link.assign(w.manager, q7::value<Q7Object *>(item)); return true;
    case Q7A_WIDGET_TARGET_INDEX: w.target_index = q7::value<int32_t>(item); return true;
    case Q7A_WIDGET_VALUE555: w.value555 = q7::value<int32_t>(item); return true;
    case Q7A_WIDGET_INHERITED: q7wg_set_inherited(w, item); return true;
    case Q7A_WIDGET_FLAG1: q7wg_set_flag(w, q7::kFlag1, q7::flag(item)); return true;
    case Q7A_WIDGET_FLAG2: q7wg_set_flag(w, q7::kFlag2, q7::flag(item)); return true;
    case Q7A_WIDGET_FLAG4: q7wg_set_flag(w, q7::kFlag4, q7::flag(item)); return true;
    case Q7A_WIDGET_STRETCH_DOWN: q7wg_set_flag(w, q7::kStretchDown, q7::flag(item)); return true;
    case Q7A_WIDGET_STRETCH_ACROSS: q7wg_set_flag(w, q7::kStretchAcross, q7::flag(item)); return true;
    // Read-only, or of interest to subclasses only.
    case Q7A_WIDGET_ROOM_WIDTH:
    case Q7A_WIDGET_ROOM_HEIGHT:
    case Q7A_WIDGET_ORIGIN_X:
    case Q7A_WIDGET_ORIGIN_Y:
    case Q7A_WIDGET_VALUE558:
    case Q7A_WIDGET_SHIFT_X:
    case Q7A_WIDGET_SHIFT_Y: return true;
    default: return q7::set_drag_attribute(w, item);
  }
}

bool q7wg_get(const WidgetData &w, const Q7TagItem &item) {
  const auto flag = [&](uint32_t bit) { return q7::store<int32_t>(item, (w.flags & bit) != 0); };
  switch (item.tag) {
    case Q7A_WIDGET_PARENT: return q7::store<Q7Object *>(item, w.parent);
    case Q7A_WIDGET_X: return q7::store<int32_t>(item, w.x);
    case Q7A_WIDGET_Y: return q7::store<int32_t>(item, w.y);
    case Q7A_WIDGET_WIDTH: return q7::store<int32_t>(item, w.width);
    case Q7A_WIDGET_HEIGHT: return q7::store<int32_t>(item, w.height);
    case Q7A_WIDGET_MIN_WIDTH: return q7::store<int32_t>(item, w.min_width);
    case Q7A_WIDGET_MIN_HEIGHT: return q7::store<int32_t>(item, w.min_height);
    case Q7A_WIDGET_SHOWN: return flag(q7::kShown);
    case Q7A_WIDGET_VALUE512: return q7::store<uint64_t>(item, w.value512);
    case Q7A_WIDGET_TARGET: return q7::store<Q7Object *>(item, w.target);
    case Q7A_WIDGET_TARGET_ATTRIBUTE: return q7::store<int32_t>(item, w.target_attribute);
    case Q7A_WIDGET_TARGET_METHOD: return q7::store<int32_t>(item, w.target_method);
    case Q7A_WIDGET_EXTENSION: return q7::store<Q7Object *>(item, w.extension);
    case Q7A_WIDGET_MANAGER: return q7::store<Q7Object *>(item, w.manager);
    case Q7A_WIDGET_INHERITED: return q7::store<int32_t>(item, w.inherited);
    case Q7A_WIDGET_FLAG1: return flag(q7::kFlag1);
    case Q7A_WIDGET_FLAG2: return flag(q7::kFlag2);
    case Q7A_WIDGET_FLAG4: return flag(q7::kFlag4);
    case Q7A_WIDGET_STRETCH_DOWN: return flag(q7::kStretchDown);
    case Q7A_WIDGET_STRETCH_ACROSS: return flag(q7::kStretchAcross);
    case Q7A_WIDGET_TARGET_INDEX: return q7::store<int32_t>(item, w.target_index);
    case Q7A_WIDGET_VALUE555: return q7::store<int32_t>(item, w.value555);
    // What a plain widget has none of.
    case Q7A_WIDGET_CLIENT_X:
    case Q7A_WIDGET_CLIENT_Y:
    case Q7A_WIDGET_ROOM_WIDTH:
    case Q7A_WIDGET_ROOM_HEIGHT:
    case Q7A_WIDGET_ORIGIN_X:
    case Q7A_WIDGET_ORIGIN_Y:
    case Q7A_WIDGET_VALUE558:
    case Q7A_WIDGET_SHIFT_X:
    case Q7A_WIDGET_SHIFT_Y: return q7::store<int32_t>(item, 0);
    default: return q7::get_drag_attribute(w, item);
  }
}

Q7_HANDLER uint64_t q7wg_get_list(Q7Class *cl, const WidgetData &w, Q7Object *self, Q7TagItem *tags) {
  return q7::walk_items(cl, self, Q7M_GET, tags, [&w](const Q7TagItem &item) { return q7wg_get(w, item); });
}

// ---- Callback records ----

struct CallbackKey {
  Q7Object *object;
  int32_t source, destination, method;
};

CallbackKey q7wg_callback_key(Q7TagItem *tags) {
  return {q7::as<Q7Object *>(Q7TagVal(tags, Q7A_CALLBACK_OBJECT, 0)),
          q7::as<int32_t>(Q7TagVal(tags, Q7A_CALLBACK_SOURCE, 0)),
          q7::as<int32_t>(Q7TagVal(tags, Q7A_CALLBACK_DESTINATION, 0)),
          q7::as<int32_t>(Q7TagVal(tags, Q7A_CALLBACK_METHOD, 0))};
}

void q7wg_free_callback(Callback *record) {
  q7::Walk::leaving(&record->node);
  Q7Remove(&record->node);
  q7::weak_drop(record->link);
  Q7FreeMem(record, sizeof(Callback));
}

void q7wg_callback_object_gone(q7::Weak *link) {
  q7wg_free_callback(reinterpret_cast<Callback *>(reinterpret_cast<char *>(link) - offsetof(Callback, link)));
}

Q7_HANDLER uint64_t q7wg_add_callback(WidgetData &w, Q7Object *self, Q7TagItem *tags) {
  auto *record = static_cast<Callback *>(Q7AllocMem(sizeof(Callback), Q7MEM_CLEAR));
  if (!record) return 0;
  const CallbackKey key = q7wg_callback_key(tags);
  record->object = key.object;
  record->source = key.source;
  record->destination = key.destination;
  record->method = key.method;
  // A widget that calls itself back frees its records when it goes, not before.
  if (key.object != self) q7::weak_assign(record->link, key.object, q7wg_callback_object_gone);
  Q7AddTail(&w.callbacks, &record->node);
  return q7::arg(self);
}

Q7_HANDLER uint64_t q7wg_remove_callback(WidgetData &w, Q7Object *self, Q7TagItem *tags) {
  const CallbackKey key = q7wg_callback_key(tags);
  for (Q7Node *node = w.callbacks.head; node->succ; node = node->succ) {
    auto *record = reinterpret_cast<Callback *>(node);
    if ((key.object && key.object != record->object) || (key.source && key.source != record->source) ||
        (key.destination && key.destination != record->destination) || (key.method && key.method != record->method)) {
      continue;
    }
    q7wg_free_callback(record);
    break;
  }
  return q7::arg(self);
}

// ---- Change notification ----

void q7wg_tell_target(const WidgetData &w, uint64_t value, uint64_t data) {
  if (!w.target) return;
  if (w.target_attribute) {
    const auto attribute = static_cast<uint32_t>(w.target_attribute);
    if (w.target_index < 0) {
      q7::set_attribute(w.target, attribute, data);
    } else {
      q7::send(w.target, Q7M_SETINDEXED, attribute, q7::arg(w.target_index), q7::slot(data));
    }
  } else if (w.target_method) {
    q7::send(w.target, static_cast<uint32_t>(w.target_method), value, 0, q7::slot(data));
  }
}

// Reads the source attribute of a callback record. Attributes may be wider than a message argument (a matrix has 16
// doubles); their first 64 bits travel.
uint64_t q7wg_read_source(Q7Object *self, int32_t source, uint64_t fallback) {
  uint64_t value[16] = {};
  Q7TagItem list[2] = {{static_cast<uint32_t>(source), q7::arg(&value[0])}, {Q7TAG_END, 0}};
  return q7::send(self, Q7M_GET, 0, 0, list) ? fallback : value[0];
}

Q7_HANDLER uint64_t q7wg_changed(WidgetData &w, Q7Object *self, uint64_t value, bool quiet, uint64_t data) {
  {
    // The target may dispose this widget, or add a callback, which is then told as well.
    q7::Walk life(w.callbacks);
    if (!quiet) q7wg_tell_target(w, value, data);
    if (!life.valid()) return q7::arg(self);
  }
  q7::Walk walk(w.callbacks);
  while (walk.valid()) {
    auto *record = walk.take<Callback>();
    if (!record) break;
    const CallbackKey key = {record->object, record->source, record->destination, record->method};
    uint64_t x = data;
    if (!quiet) {
      if (key.source) x = q7wg_read_source(self, key.source, data);
      if (key.destination) q7::set_attribute(key.object, static_cast<uint32_t>(key.destination), x);
    }
    // The record may have gone with its object by now, or with the widget.
    if (key.method && walk.stands()) {
      q7::send(key.object, static_cast<uint32_t>(key.method), value, q7::arg(self), q7::slot(x));
    }
  }
  return q7::arg(self);
}

// ---- Life ----

Q7_HANDLER uint64_t q7wg_new(Q7Class *cl, Q7Object *receiver, uint64_t a, uint64_t b, Q7TagItem *tags) {
  return q7::create<WidgetData>(
      cl, receiver, a, b, tags, [](WidgetData &w, Q7Object *self, Q7TagItem &item) { return q7wg_set(w, self, item); },
      [](WidgetData &w, Q7Object *) {
        Q7NewList(&w.callbacks);
        Q7NewList(&w.children);
        w.flags = q7::kShown | q7::kStretchDown | q7::kStretchAcross;
        w.target_index = -1;
        return true;
      });
}

Q7_HANDLER uint64_t q7wg_dispose(Q7Class *cl, Q7Object *self, uint64_t a, uint64_t b, Q7TagItem *tags) {
  auto &w = q7::data<WidgetData>(cl, self);
  q7::dispose_children(w, self);
  q7::Walk::ending(&w.children);
  q7::Walk::ending(&w.callbacks);
  while (w.callbacks.head->succ) q7wg_free_callback(reinterpret_cast<Callback *>(w.callbacks.head));
  if (w.extension) Q7_REPORT_ERROR(kModule, "Deleted widget has extension object");
  q7::free_drag_drop(w);
  q7::leave_parent_list(w, self);
  w.target_link.drop();
  w.parent_link.drop();
  w.extension_link.drop();
  w.manager_link.drop();
  q7::weak_object_gone(self);
  return q7::inherit(cl, self, Q7M_DISPOSE, a, b, tags);
}

Q7_HANDLER uint64_t q7wg_class_free(Q7Class *cl, Q7Object *obj, uint64_t a, uint64_t b, Q7TagItem *tags) {
  if (&cl->header == obj) {
    q7::clear_drop_handlers();
    q7::reset_widget_class();
  }
  return q7::inherit(cl, obj, Q7M_CLASS_FREE, a, b, tags);
}

// Messages to a class record have no instance data behind them; these are the ones that take none.
bool q7wg_needs_instance(uint32_t method) {
  switch (method) {
    case Q7M_DISPOSE:
    case Q7M_SET:
    case Q7M_GET: return true;
    case Q7M_WIDGET_ADD_DROP_HANDLER:
    case Q7M_WIDGET_ALWAYS:
    case Q7M_WIDGET_RESET_COLORS:
    case Q7M_WIDGET_BRIGHTNESS: return false;
    default: return method >= Q7M_WIDGET_LAYOUT && method <= Q7M_WIDGET_EACH_CHILD;
  }
}

constexpr q7::ClassDef widget_class = {.id = Q7C_WIDGET,
                                       .super = Q7C_ROOT,
                                       .name = "q7widget",
                                       .dispatch = Q7WidgetDispatch,
                                       .size = sizeof(WidgetData),
                                       .attributes = q7::widget_attributes,
                                       .description = "Graphical User Interface"};

}  // namespace

Q7_HANDLER Q7TagItem *Q7WidgetSet(Q7Class *cl, Q7Object *widget, Q7TagItem *tags, int32_t init) {
  if (!cl || !widget) return nullptr;
  // A subclass may hand in its own record.
  if (Q7Class *own = q7::class_in_chain(cl, Q7C_WIDGET)) cl = own;
  auto &w = q7::data<WidgetData>(cl, widget);
  Q7TagItem *unknown = nullptr;
  for (Q7TagItem &item : q7::tags(tags)) {
    if (q7wg_set(w, widget, item) || init) continue;
    if (q7::inherit_item(cl, widget, Q7M_SET, item)) unknown = &item;
  }
  return unknown;
}

uint64_t Q7WidgetDispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  if (!cl || !obj) return 0;
  if (&obj->cl->header == obj && q7wg_needs_instance(method)) return 0;
  auto &w = q7::data<WidgetData>(cl, obj);
  const auto slot = q7::arg(tags);
  switch (method) {
    case Q7M_NEW: return q7wg_new(cl, obj, a, b, tags);
    case Q7M_DISPOSE: return q7wg_dispose(cl, obj, a, b, tags);
    case Q7M_SETCLASSATTRS:
    case Q7M_GETCLASSATTRS: return q7::widget_class_attributes(cl, obj, method, tags);
    case Q7M_SET: return q7::arg(Q7WidgetSet(cl, obj, tags, 0));
    case Q7M_GET: return q7wg_get_list(cl, w, obj, tags);
    // Lists and links are no bytes to be copied.
    case Q7M_COPY: return 0;
    case Q7M_CLASS_FREE: return q7wg_class_free(cl, obj, a, b, tags);
    case Q7M_COLLECT_TABLES:
    case Q7M_NAME_OF_TAG:
    case Q7M_ROW_BY_TAG:
    case Q7M_ROW_BY_NAME:
    case Q7M_TAG_BY_NAME: return q7::public_attributes(q7::widget_attributes, cl, obj, method, a, b, tags);
    case Q7M_WIDGET_LAYOUT: return q7::tell_children(w, obj, method, a, b, tags);
    case Q7M_WIDGET_ADD_CALLBACK: return q7wg_add_callback(w, obj, tags);
    case Q7M_WIDGET_REMOVE_CALLBACK: return q7wg_remove_callback(w, obj, tags);
    case Q7M_WIDGET_CHANGED: return q7wg_changed(w, obj, a, b != 0, slot);
    case Q7M_WIDGET_CHILD_ADDED: return q7::child_added(w, obj, q7::as<Q7Object *>(slot));
    case Q7M_WIDGET_CHILD_REMOVED: return q7::child_removed(w, obj, q7::as<Q7Object *>(slot));
    case Q7M_WIDGET_REALIZE:
    case Q7M_WIDGET_UNREALIZE: return q7::realize(w, obj, method, a, b, tags);
    case Q7M_WIDGET_TO_TOP: return q7::to_top(w, q7::as<Q7Point *>(slot));
    case Q7M_WIDGET_FROM_TOP: return q7::from_top(w, q7::as<Q7Point *>(slot));
    case Q7M_WIDGET_START_DRAG: return q7::start_drag(w, obj, slot);
    case Q7M_WIDGET_DROP:
    case Q7M_WIDGET_CAN_DROP: return q7::offer_drop(w, obj, method, q7::as<Q7Object *>(a), q7::as<Q7Point *>(slot));
    case Q7M_WIDGET_DRAG_FINISHED: return q7::drag_finished(w, obj, slot);
    case Q7M_WIDGET_REQUEST_LAYOUT: return q7::send(w.manager ? w.manager : w.parent, Q7M_WIDGET_LAYOUT);
    case Q7M_WIDGET_TOP_LEVEL: return q7::arg(q7::top_level(obj));
    case Q7M_WIDGET_MAKE_NAME: return q7::arg(Q7MakeName(cl, obj, q7::as<int32_t>(a), q7::as<char *>(slot)));
    case Q7M_WIDGET_FIND_BY_NAME: return q7::arg(Q7FindByName(cl, obj, q7::as<const char *>(slot)));
    case Q7M_WIDGET_CHILD_AT: return q7::arg(q7::child_at(w, q7::as<const Q7Point *>(slot)));
    case Q7M_WIDGET_STATE: return w.flags & (q7::kFlag1 | q7::kFlag2);
    case Q7M_WIDGET_FIND_ANYWHERE: return q7::arg(Q7FindByNameAnywhere(cl, obj, q7::as<const char *>(slot), 0));
    case Q7M_WIDGET_IS_SHOWN:
      if (!(w.flags & q7::kShown)) return 0;
      return w.parent ? q7::send(w.parent, method, a, b, tags) : 1;
    case Q7M_WIDGET_ADD_DROP_HANDLER:
      return q7::add_drop_handler(q7::as<uint32_t>(a), q7::as<Q7Object *>(b), q7::as<uint32_t>(slot));
    case Q7M_WIDGET_BROADCAST: return q7::tell_children(w, obj, method, a, b, tags);
    case Q7M_WIDGET_ASK_PARENT: return w.parent ? q7::send(w.parent, method, a, b, tags) : 1;
    case Q7M_WIDGET_ALWAYS: return 1;
    case Q7M_WIDGET_RESET_COLORS: q7::reset_colors(); return 0;
    case Q7M_WIDGET_BRIGHTNESS: q7::set_brightness(q7::slot_int(tags)); return 0;
    case Q7M_WIDGET_EACH_CHILD: return q7::each_child(w, obj, q7::as<Q7Object *>(a), q7::as<uint32_t>(b), tags);
    // Hooks of the platform's classes.
    case 41010:
    case 41011:
    case 41012:
    case 41013:
    case 41020:
    case 41021:
    case 41027:
    case 41028:
    case 41029:
    case 41034:
    case 41035: return 0;
    default: return q7::inherit(cl, obj, method, a, b, tags);
  }
}

int32_t Q7RegisterWidgetClass(Q7App *app) { return q7::register_once(app, widget_class); }
