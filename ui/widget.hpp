// widget: what the modules of this room know of a widget beyond its public header: the instance data and small senders.
// Trees can be thousands of levels deep, so everything that travels along a tree is sent by direct dispatch with short
// lists on the stack, never through the gathering senders, whose list costs 4 KiB a level.
#ifndef Q7_UI_WIDGET_HPP
#define Q7_UI_WIDGET_HPP

#include "core/classdef.hpp"
#include "ui/q7widget.h"
#include "ui/walk.hpp"
#include "ui/weak.hpp"

// Handlers stay out of their dispatcher's stack frame: a message that travels down a deep tree runs through a
// dispatcher at every level, and would carry the locals of all handlers with it.
#define Q7_HANDLER [[gnu::noinline]]

namespace q7 {

// Attributes of dragging and dropping; made when the first of them is set, freed with the widget.
struct DragDrop {
  Q7Object *drag_handler;        // 41531
  int32_t drag_method;           // 41532
  int32_t value541;              // 41541
  int32_t drag_finished_method;  // 41542
  uint64_t drag_data;            // 41533
  Q7Object *drop_handler;        // 41534
  int32_t can_drop_method;       // 41535
  int32_t drop_method;           // 41536
  int32_t value545;              // 41545
  uint64_t drop_data;            // 41537
  WeakField drag_link, drop_link;
};

// One callback record.
struct Callback {
  Q7Node node;
  Q7Object *object;     // 41514
  int32_t source;       // 41515: attribute read from the widget, 0 for none
  int32_t destination;  // 41516: attribute set on the object, 0 for none
  int32_t method;       // 41517: method sent to the object, 0 for none
  Weak link;            // the record goes with its object
};

enum WidgetFlag : uint32_t {
  kFlag1 = 1,
  kFlag2 = 2,
  kFlag4 = 4,
  kShown = 8,
  kRealized = 16,
  kStretchDown = 32,    // may be stretched by a packer stacking top to bottom
  kStretchAcross = 64,  // may be stretched by a packer stacking left to right
};

struct WidgetData {
  int32_t x, y;                   // 41501, 41502: relative to the parent
  int32_t width, height;          // 41503, 41504
  int32_t min_width, min_height;  // 41505, 41506
  uint64_t value512;              // 41512
  Q7Object *target;               // 41518
  int32_t target_attribute;       // 41519
  int32_t target_method;          // 41520
  Q7List callbacks;               // Callback records
  Q7Object *parent;               // 41500
  Q7List children;                // links the child objects themselves; one reference each
  Q7Object *extension;            // 41539
  Q7Object *manager;              // 41543
  DragDrop *drag_drop;            // null until one of its attributes is set
  int32_t inherited;              // 41546
  uint32_t flags;                 // WidgetFlag
  int32_t target_index;           // 41553: -1 for none
  int32_t value555;               // 41555
  // Not attributes: what keeps the fields above honest.
  Q7Object *listed_in;  // the widget whose children list links this one, or null
  int32_t levels;       // no fewer than the levels of widgets below this one
  WeakField target_link, parent_link, extension_link, manager_link, listed_link;
};

// The class record `clid` in an object's chain of classes, or null.
inline Q7Class *class_in_chain(Q7Class *cl, uint32_t clid) {
  while (cl && cl->header.clid != clid) cl = cl->super;
  return cl;
}

// The data of class `clid` in an object; null for null, for a class record and for objects of other kinds.
template <class T>
T *data_of(Q7Object *obj, uint32_t clid) {
  if (!obj || !obj->cl || &obj->cl->header == obj) return nullptr;
  const Q7Class *cl = class_in_chain(obj->cl, clid);
  return cl ? &data<T>(cl, obj) : nullptr;
}
inline WidgetData *widget_data(Q7Object *obj) { return data_of<WidgetData>(obj, Q7C_WIDGET); }

inline uint64_t set_attribute(Q7Object *obj, uint32_t tag, uint64_t value) {
  Q7TagItem list[2] = {{tag, value}, {Q7TAG_END, 0}};
  return send(obj, Q7M_SET, 0, 0, list);
}
// Reads an attribute; the fallback when the object does not answer it.
template <class T>
T get_attribute(Q7Object *obj, uint32_t tag, T fallback = T{}) {
  T value = fallback;
  Q7TagItem list[2] = {{tag, arg(&value)}, {Q7TAG_END, 0}};
  send(obj, Q7M_GET, 0, 0, list);
  return value;
}

// Goes through a list: known(item) takes what the class owns, every other item goes to the superclass alone. The result
// is the last item that the superclass answered non-zero for.
template <class Known>
uint64_t walk_items(Q7Class *cl, Q7Object *obj, uint32_t method, Q7TagItem *list, Known known) {
  uint64_t unknown = 0;
  for (Q7TagItem &item : tags(list)) {
    if (known(item)) continue;
    Q7TagItem single[2] = {item, {Q7TAG_END, 0}};
    if (inherit(cl, obj, method, 0, 0, single)) unknown = arg(&item);
  }
  return unknown;
}
inline uint64_t inherit_item(Q7Class *cl, Q7Object *obj, uint32_t method, const Q7TagItem &item) {
  Q7TagItem single[2] = {item, {Q7TAG_END, 0}};
  return inherit(cl, obj, method, 0, 0, single);
}

// q7widget_drag.cpp: drag and drop and the table of drop handlers.
bool set_drag_attribute(WidgetData &w, const Q7TagItem &item);
bool get_drag_attribute(const WidgetData &w, const Q7TagItem &item);
void free_drag_drop(WidgetData &w);
uint64_t start_drag(WidgetData &w, Q7Object *self, uint64_t data);
uint64_t drag_finished(WidgetData &w, Q7Object *self, uint64_t argument);
uint64_t offer_drop(WidgetData &w, Q7Object *self, uint32_t method, Q7Object *dropped, Q7Point *point);
uint64_t add_drop_handler(uint32_t clid, Q7Object *handler, uint32_t method);
void clear_drop_handlers();

// q7widget_class.cpp: the class-wide attributes and the colour scheme.
extern const Q7PublicAttribute widget_attributes[];
uint64_t widget_class_attributes(Q7Class *cl, Q7Object *obj, uint32_t method, Q7TagItem *tags);
void reset_colors();
void set_brightness(int32_t percent);
void reset_widget_class();

// q7widget_tree.cpp: children, names and coordinates.
void set_parent(WidgetData &w, Q7Object *self, Q7Object *parent);
uint64_t child_added(WidgetData &w, Q7Object *self, Q7Object *child);
uint64_t child_removed(WidgetData &w, Q7Object *self, Q7Object *child);
void dispose_children(WidgetData &w, Q7Object *self);
void leave_parent_list(WidgetData &w, Q7Object *self);
uint64_t each_child(WidgetData &w, Q7Object *self, Q7Object *handler, uint32_t method, Q7TagItem *argument);
uint64_t tell_children(WidgetData &w, Q7Object *self, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags);
uint64_t realize(WidgetData &w, Q7Object *self, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags);
Q7Object *child_at(WidgetData &w, const Q7Point *point);
uint64_t to_top(WidgetData &w, Q7Point *point);
uint64_t from_top(WidgetData &w, Q7Point *point);
Q7Object *top_level(Q7Object *widget);

}  // namespace q7

#endif
