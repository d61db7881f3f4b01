// q7widget, the tree: parent and children, coordinates along the tree, names and paths.
#include <algorithm>
#include <cstring>

#include "core/q7root.h"
#include "core/report.hpp"
#include "ui/manager.hpp"

namespace {

using q7::WidgetData;

constexpr char kModule[] = "q7widget";

// Holds an object over messages that may drop its last reference; afterwards the count is what it would have been, and
// nothing is disposed: a child that only its old parent referenced survives being taken away.
class Hold {
 public:
  explicit Hold(Q7Object *obj) : obj_(obj) { __atomic_add_fetch(&obj_->refcount, 1, __ATOMIC_RELAXED); }
  ~Hold() { __atomic_sub_fetch(&obj_->refcount, 1, __ATOMIC_RELAXED); }
  Hold(const Hold &) = delete;
  Hold &operator=(const Hold &) = delete;

 private:
  Q7Object *obj_;
};

// 1 once a child was added by message 41004 alone, behind the back of its own parent field. From then on the parent
// fields do not tell everything about who contains whom.
bool foreign_children;

// 1 once a widget named a parent that did not list it. From then on the lists do not tell everything either.
bool unlisted_children;

// The first object of a tree, in the order in which it is searched, for which visit(object, level) is true; the top
// has level 0. Lists lead from sibling to sibling, so no stack grows with the tree.
template <class Visit>
Q7Object *q7wt_first(Q7Object *top, Visit visit) {
  Q7Object *at = top, *container = nullptr;
  int32_t level = 0;
  for (;;) {
    if (visit(at, level)) return at;
    const WidgetData *w = q7::widget_data(at);
    if (w && w->children.head->succ) {
      container = at;
      at = reinterpret_cast<Q7Object *>(w->children.head);
      ++level;
      continue;
    }
    for (;;) {
      if (at == top) return nullptr;
      Q7Node *next = reinterpret_cast<Q7Node *>(at)->succ;
      if (next->succ) {
        at = reinterpret_cast<Q7Object *>(next);
        break;
      }
      at = container;
      container = q7::widget_data(at)->listed_in;
      --level;
    }
  }
}

bool q7wt_contains(Q7Object *tree, const Q7Object *wanted) {
  return q7wt_first(tree, [wanted](const Q7Object *at, int32_t) { return at == wanted; }) != nullptr;
}

// The levels from an object to the top along one kind of link, itself included; -1 when `stop` is among them.
int32_t q7wt_levels_up(Q7Object *from, const Q7Object *stop, Q7Object *WidgetData::*link) {
  int32_t levels = 0;
  for (; from; ++levels) {
    if (from == stop) return -1;
    const WidgetData *w = q7::widget_data(from);
    from = w ? w->*link : nullptr;
  }
  return levels;
}

int32_t q7wt_levels_below(Q7Object *widget) {
  int32_t deepest = 0;
  q7wt_first(widget, [&](Q7Object *, int32_t level) {
    deepest = std::max(deepest, level);
    return false;
  });
  return deepest;
}

// Whether a child with all that is below it finds room below that many levels.
bool q7wt_has_room(int32_t levels_up, Q7Object *child) {
  WidgetData *c = q7::widget_data(child);
  // What is noted only ever grows; what took children away again may lie less deep by now.
  if (c && levels_up + c->levels >= Q7_WIDGET_DEEPEST && !unlisted_children) c->levels = q7wt_levels_below(child);
  if (levels_up + (c ? c->levels : 0) < Q7_WIDGET_DEEPEST) return true;
  q7::report_too_deep();
  return false;
}

void q7wt_note_levels(Q7Object *from, Q7Object *child, Q7Object *WidgetData::*link) {
  const WidgetData *c = q7::widget_data(child);
  for (int32_t levels = c ? c->levels + 1 : 1; from; ++levels) {
    WidgetData *w = q7::widget_data(from);
    if (!w || w->levels >= levels) return;
    w->levels = levels;
    from = w->*link;
  }
}

void q7wt_unlink(Q7Object *child) {
  q7::Walk::leaving(reinterpret_cast<Q7Node *>(child));
  q7::send(child, Q7M_REMOVE);
  if (WidgetData *c = q7::widget_data(child)) {
    c->listed_in = nullptr;
    c->listed_link.drop();
  }
}

bool q7wt_has_child(const WidgetData &w, const Q7Object *self, Q7Object *child) {
  if (const WidgetData *c = q7::widget_data(child)) return c->listed_in == self;
  return Q7IsInList(&w.children, reinterpret_cast<const Q7Node *>(child));
}

const char *q7wt_name(Q7Object *widget) {
  const char *name = nullptr;
  uint32_t clid = 0;
  Q7TagItem ask_name[2] = {{Q7A_NAME, q7::arg(&name)}, {Q7TAG_END, 0}};
  q7::send(widget, Q7M_GET, 0, 0, ask_name);
  if (name && *name) return name;
  Q7TagItem ask_class[2] = {{Q7A_CLASS_ID, q7::arg(&clid)}, {Q7TAG_END, 0}};
  q7::send(widget, Q7M_GET, 0, 0, ask_class);
  const Q7Class *cl = Q7ClassFind(clid);
  if (!cl) return "noname";
  if (cl->header.name && *cl->header.name) return cl->header.name;
  Q7_REPORT_ERROR(kModule, "object has no name");
  return "";
}

// A path may lead up again behind a step down ("a/../b"). All children of a widget lead to the same place then, and
// some paths would be tried exponentially often; so many steps up are enough for any path that names something.
constexpr int kStepsUp = 4096;

bool q7wt_skip(const char *&path, const char *prefix) {
  const size_t length = std::strlen(prefix);
  if (std::strncmp(path, prefix, length) != 0) return false;
  path += length;
  return true;
}

Q7Object *q7wt_parent(Q7Object *widget) {
  const WidgetData *w = q7::widget_data(widget);
  return w ? w->parent : nullptr;
}

Q7Object *q7wt_find(Q7Object *widget, const char *path, int &steps_up, bool inside) {
  const char *const before = path;
  if (q7wt_skip(path, "/")) widget = q7::top_level(widget);
  for (;;) {
    if (q7wt_skip(path, "../")) {
      widget = q7wt_parent(widget);
      if (!widget) return nullptr;
    } else if (!q7wt_skip(path, "./")) {
      break;
    }
  }
  if (inside && path != before && --steps_up < 0) return nullptr;
  const char *name = q7wt_name(widget);
  const size_t length = std::strlen(name);
  if (std::strncmp(path, name, length) != 0 || (path[length] && path[length] != '/')) return nullptr;
  const char *slash = std::strchr(path, '/');
  if (!slash) return widget;
  WidgetData *w = q7::widget_data(widget);
  if (!w) return nullptr;
  for (Q7Node *node = w->children.head; node->succ; node = node->succ) {
    if (Q7Object *found = q7wt_find(reinterpret_cast<Q7Object *>(node), slash + 1, steps_up, true)) return found;
  }
  return nullptr;
}

Q7Object *q7wt_search(Q7Object *widget, const char *name) {
  return q7wt_first(widget, [name](Q7Object *at, int32_t) { return std::strcmp(q7wt_name(at), name) == 0; });
}

// `length` is what the buffer holds so far; it grows by what is appended.
bool q7wt_append_names(Q7Object *widget, size_t size, char *buffer, size_t &length) {
  Q7Object *parent = q7wt_parent(widget);
  if (parent && !q7wt_append_names(parent, size, buffer, length)) return false;
  const char *name = q7wt_name(widget);
  const size_t added = std::strlen(name);
  if (length + added + 1 >= size) return false;
  buffer[length] = '/';
  std::memcpy(buffer + length + 1, name, added + 1);
  length += added + 1;
  return true;
}

}  // namespace

// ---- Parent and children ----

void q7::report_too_deep() { Q7_REPORT_ERROR(kModule, "Widgets are nested too deep"); }

void q7::set_parent(WidgetData &w, Q7Object *self, Q7Object *parent) {
  if (parent == w.parent) return;
  const int32_t levels_up = q7wt_levels_up(parent, self, &WidgetData::parent);
  if (levels_up < 0 || (parent && !q7wt_has_room(levels_up, self))) return;
  Hold hold(self);
  Q7Object *old = w.parent;
  w.parent_link.assign(w.parent, parent);
  q7wt_note_levels(parent, self, &WidgetData::parent);
  if (w.extension) set_attribute(w.extension, Q7A_WIDGET_PARENT, arg(parent));
  if (old) send(old, Q7M_WIDGET_CHILD_REMOVED, 0, 0, slot(self));
  if (parent) send(parent, Q7M_WIDGET_CHILD_ADDED, 0, 0, slot(self));
  if (parent && w.listed_in != parent) unlisted_children = true;
}

uint64_t q7::child_added(WidgetData &w, Q7Object *self, Q7Object *child) {
  if (!child) return 0;
  const uint64_t realized = (w.flags & kRealized) != 0;
  if (q7wt_has_child(w, self, child)) return realized;
  WidgetData *c = widget_data(child);
  if (child == self || q7wt_levels_up(self, child, &WidgetData::parent) < 0) return realized;
  if (!c || c->parent != self) foreign_children = true;
  if (foreign_children) {
    const int32_t levels_up = q7wt_levels_up(self, child, &WidgetData::listed_in);
    if (levels_up < 0 || q7wt_contains(child, self) || !q7wt_has_room(levels_up, child)) return realized;
  }
  Hold hold(child);
  // Stands in another widget's list: two lists cannot share a child.
  if (c && c->listed_in) send(c->listed_in, Q7M_WIDGET_CHILD_REMOVED, 0, 0, slot(child));
  if (c && c->listed_in) q7wt_unlink(child);
  send(child, Q7M_ADDTAIL, 0, 0, slot(&w.children));
  if (c) c->listed_link.assign(c->listed_in, self);
  q7wt_note_levels(self, child, &WidgetData::listed_in);
  add_reference(child);
  return realized;
}

uint64_t q7::child_removed(WidgetData &w, Q7Object *self, Q7Object *child) {
  if (!child || !q7wt_has_child(w, self, child)) return 0;
  q7wt_unlink(child);
  release(child);
  return 1;
}

void q7::dispose_children(WidgetData &w, Q7Object *self) {
  const ReleaseLevel level;
  while (w.children.head->succ) {
    auto *child = reinterpret_cast<Q7Object *>(w.children.head);
    add_reference(child);
    set_attribute(child, Q7A_WIDGET_PARENT, 0);
    // A child that did not know its parent, or a parent class that keeps 41005 for itself.
    if (reinterpret_cast<Q7Object *>(w.children.head) == child) child_removed(w, self, child);
    release(child);
  }
}

void q7::leave_parent_list(WidgetData &w, Q7Object *self) {
  if (w.listed_in) q7wt_unlink(self);
}

uint64_t q7::tell_children(WidgetData &w, Q7Object *self, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  Walk walk(w.children);
  while (auto *child = walk.take<Q7Object>()) send(child, method, a, b, tags);
  return arg(self);
}

uint64_t q7::each_child(WidgetData &w, Q7Object *self, Q7Object *handler, uint32_t method, Q7TagItem *argument) {
  Walk walk(w.children);
  while (auto *child = walk.take<Q7Object>()) {
    if (!send(handler, method, arg(child), arg(self), argument)) return 0;
  }
  return walk.valid();
}

uint64_t q7::realize(WidgetData &w, Q7Object *self, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  Walk walk(w.children);
  while (auto *child = walk.take<Q7Object>()) send(child, method, a, b, tags);
  if (!walk.valid()) return 0;
  w.flags = method == Q7M_WIDGET_REALIZE ? w.flags | kRealized : w.flags & ~kRealized;
  return arg(self);
}

// ---- Coordinates ----

uint64_t q7::to_top(WidgetData &w, Q7Point *point) {
  if (!point) return 0;
  point->x = static_cast<int16_t>(point->x + static_cast<int64_t>(w.x));
  point->y = static_cast<int16_t>(point->y + static_cast<int64_t>(w.y));
  send(w.parent, Q7M_WIDGET_TO_TOP, 0, 0, slot(point));
  return 1;
}

uint64_t q7::from_top(WidgetData &w, Q7Point *point) {
  if (!point) return 0;
  send(w.parent, Q7M_WIDGET_FROM_TOP, 0, 0, slot(point));
  point->x = static_cast<int16_t>(point->x - static_cast<int64_t>(w.x));
  point->y = static_cast<int16_t>(point->y - static_cast<int64_t>(w.y));
  return 1;
}

Q7Object *q7::child_at(WidgetData &w, const Q7Point *point) {
  if (!point) return nullptr;
  Q7Object *found = nullptr;
  Walk walk(w.children);
  while (auto *child = walk.take<Q7Object>()) {
    int32_t x = 0, y = 0, width = 0, height = 0, shown = 0;
    Q7TagItem ask[] = {{Q7A_WIDGET_X, arg(&x)},         {Q7A_WIDGET_Y, arg(&y)},
                       {Q7A_WIDGET_WIDTH, arg(&width)}, {Q7A_WIDGET_HEIGHT, arg(&height)},
                       {Q7A_WIDGET_SHOWN, arg(&shown)}, {Q7TAG_END, 0}};
    send(child, Q7M_GET, 0, 0, ask);
    const int64_t dx = static_cast<int64_t>(point->x) - x;
    const int64_t dy = static_cast<int64_t>(point->y) - y;
    if (shown && dx >= 0 && dx < width && dy >= 0 && dy < height) found = child;
  }
  return found;
}

Q7Object *q7::top_level(Q7Object *widget) {
  while (Q7Object *parent = q7wt_parent(widget)) widget = parent;
  return widget;
}

// ---- Names ----

Q7Object *Q7FindByName(Q7Class *, Q7Object *widget, const char *path) {
  if (!widget || !path) return nullptr;
  int steps_up = kStepsUp;
  return q7wt_find(widget, path, steps_up, false);
}

Q7Object *Q7FindByNameAnywhere(Q7Class *, Q7Object *widget, const char *name, int32_t depth) {
  if (!widget || !name) return nullptr;
  if (depth == 0) {
    widget = q7::top_level(widget);
    if (const char *slash = std::strrchr(name, '/')) name = slash + 1;
  }
  return q7wt_search(widget, name);
}

int32_t Q7MakeName(Q7Class *, Q7Object *widget, int32_t size, char *buffer) {
  if (!widget || !buffer || size <= 0) return 0;
  const auto capacity = static_cast<size_t>(size);
  size_t length = strnlen(buffer, capacity);
  if (length == capacity) return 0;
  return q7wt_append_names(widget, capacity, buffer, length);
}
