// tree: walks over a window's widgets. They go through the widget class's own walk (41039), which bears children that
// come and go; its handler is one object that stands outside of every tree, so it outlives whatever is deleted
// meanwhile.
#include "platform/posix/tree.hpp"

#include "platform/posix/q7posix.h"
#include "ui/q7dc.h"
#include "ui/q7mx.h"
#include "ui/q7widget.h"

namespace q7posix {

namespace {

struct Visit {
  bool (*each)(void *context, Q7Object *child);
  void *context;
};

constexpr uint32_t kVisit = Q7C_WINDOW * 1000 + 90;

uint64_t visit_dispatch(Q7Class *, Q7Object *, uint32_t method, uint64_t a, uint64_t, Q7TagItem *tags) {
  if (method != kVisit) return 0;
  const auto *visit = reinterpret_cast<const Visit *>(tags);
  return visit->each(visit->context, reinterpret_cast<Q7Object *>(a));
}

Q7Object visitor = {nullptr, nullptr, nullptr, 0, 1, nullptr, visit_dispatch};

struct Area {
  int32_t x = 0, y = 0, width = 0, height = 0, shown = 0;
  bool seen() const { return shown && width > 0 && height > 0; }
};

Area area_of(Q7Object *widget) {
  Area a;
  Q7TagItem query[6] = {{Q7A_WIDGET_X, word(&a.x)},         {Q7A_WIDGET_Y, word(&a.y)},
                        {Q7A_WIDGET_WIDTH, word(&a.width)}, {Q7A_WIDGET_HEIGHT, word(&a.height)},
                        {Q7A_WIDGET_SHOWN, word(&a.shown)}, {Q7TAG_END, 0}};
  send(widget, Q7M_GET, 0, 0, query);
  return a;
}

// Without an area of its own.
bool is_manager(Q7Object *widget) { return is_kind(widget, Q7C_GMANAGER) || is_kind(widget, Q7C_MX); }

struct Offset {
  int32_t x = 0, y = 0;
};
// Where the coordinates of a widget's children begin.
Offset client_offset(Q7Object *widget) {
  if (!is_kind(widget, Q7C_FRAME)) return {};
  return {attribute<int32_t>(widget, Q7A_WIDGET_CLIENT_X), attribute<int32_t>(widget, Q7A_WIDGET_CLIENT_Y)};
}

// Calls each(child) for the children that have an area, those of managers among them.
template <class Each>
bool for_areas(Q7Object *widget, Each &each, int depth = 0) {
  return for_children(widget, [&](Q7Object *child) {
    if (!is_manager(child)) return each(child);
    return depth >= kMostDeep || for_areas(child, each, depth + 1);
  });
}

// ---- Drawing ----

bool draw_children(Q7Object *drawing, Q7Object *widget);

Q7Point point_of(int64_t x, int64_t y) {
  const auto narrow = [](int64_t v) { return static_cast<int16_t>(v < -32768 ? -32768 : v > 32767 ? 32767 : v); };
  return {narrow(x), narrow(y)};
}

// Draws a widget whose upper left pixel is the origin in force.
bool draw_inside(Q7Object *drawing, Q7Object *widget, const Area &area) {
  const Q7Rect rect = {0, 0, area.width, area.height};
  send(widget, Q7M_WIDGET_DRAW, word(&rect), 0, slot(word(drawing)));
  const Offset offset = client_offset(widget);
  const Q7Point client = point_of(offset.x, offset.y);
  bool good = true;
  if (send(drawing, Q7M_DC_PUSH_ORIGIN, 0, 0, slot(word(&client)))) {
    good = draw_children(drawing, widget);
    send(drawing, Q7M_DC_POP_ORIGIN);
  }
  // What was drawn into a window by hand lies above its children; it is not asked to make a context for nothing.
  if (good && is_kind(widget, Q7C_WINDOW)) {
    auto *own = reinterpret_cast<Q7Object *>(send(widget, Q7M_WINDOW_KEPT_CONTEXT));
    if (own) good = send(drawing, Q7M_DRAWING_DRAW, word(own)) != 0;
  }
  return good;
}

bool draw_child(Q7Object *drawing, Q7Object *child) {
  const Area area = area_of(child);
  if (!area.seen()) return true;
  const Q7Point origin = point_of(area.x, area.y);
  const Q7Rect rect = {0, 0, area.width, area.height};
  if (!send(drawing, Q7M_DC_PUSH_ORIGIN, 0, 0, slot(word(&origin)))) return true;
  bool good = true;
  if (send(drawing, Q7M_DC_PUSH_CLIP, 0, 0, slot(word(&rect)))) {
    good = draw_inside(drawing, child, area);
    send(drawing, Q7M_DC_POP_CLIP);
  }
  send(drawing, Q7M_DC_POP_ORIGIN);
  return good;
}

bool draw_children(Q7Object *drawing, Q7Object *widget) {
  auto each = [&](Q7Object *child) { return draw_child(drawing, child); };
  return for_areas(widget, each);
}

// ---- Searching ----

int find_at(Q7Object *widget, int64_t x, int64_t y, int64_t left, int64_t top, Spot (&path)[kMostDeep], int count) {
  if (count >= kMostDeep) return count;
  Spot found = {nullptr, 0, 0};
  auto each = [&](Q7Object *child) {
    const Area area = area_of(child);
    const int64_t dx = x - left - area.x;
    const int64_t dy = y - top - area.y;
    if (area.seen() && dx >= 0 && dx < area.width && dy >= 0 && dy < area.height) {
      found = {child, left + area.x, top + area.y};
    }
    return true;
  };
  for_areas(widget, each);
  if (!found.widget) return count;
  path[count] = found;
  const Offset offset = client_offset(found.widget);
  return find_at(found.widget, x, y, found.x + offset.x, found.y + offset.y, path, count + 1);
}

bool find_below(Q7Object *widget, const Q7Object *wanted, int64_t left, int64_t top, int depth, Spot *spot) {
  if (depth > kMostDeep) return false;
  auto each = [&](Q7Object *child) {
    const Area area = area_of(child);
    if (child == wanted) {
      *spot = {child, left + area.x, top + area.y};
      return false;
    }
    const Offset offset = client_offset(child);
    return !find_below(child, wanted, left + area.x + offset.x, top + area.y + offset.y, depth + 1, spot);
  };
  return !for_areas(widget, each);
}

// ---- Keyboard ----

bool usable(Q7Object *widget) {
  return (is_kind(widget, Q7C_OSGADGET) || is_kind(widget, Q7C_OSGADGET2)) &&
         attribute<int32_t>(widget, Q7A_GADGET_ENABLED);
}

bool takes_keys(Q7Object *widget) {
  return usable(widget) && attribute<int32_t>(widget, Q7A_GADGET_LOOK) != Q7GADGET_LABEL;
}

// The widgets below a shown one, in the order of the tree; true when each answered true to the end.
template <class Each>
bool for_shown(Q7Object *widget, Each &each, int depth = 0) {
  auto one = [&](Q7Object *child) {
    if (!attribute<int32_t>(child, Q7A_WIDGET_SHOWN)) return true;
    return each(child) && (depth >= kMostDeep || for_shown(child, each, depth + 1));
  };
  return for_areas(widget, one);
}

int32_t lower(int32_t character) { return character >= 'A' && character <= 'Z' ? character + 32 : character; }

}  // namespace

bool each_child(Q7Object *widget, bool (*each)(void *context, Q7Object *child), void *context) {
  const Visit visit = {each, context};
  return send(widget, Q7M_WIDGET_EACH_CHILD, word(&visitor), kVisit, slot(word(&visit))) != 0;
}

Q7Object *window_of(Q7Object *widget) {
  do {
    widget = attribute<Q7Object *>(widget, Q7A_WIDGET_PARENT);
  } while (widget && !is_kind(widget, Q7C_WINDOW));
  return widget;
}

Q7Object *outermost_window(Q7Object *widget) {
  Q7Object *found = nullptr;
  for (; widget; widget = attribute<Q7Object *>(widget, Q7A_WIDGET_PARENT)) {
    if (is_kind(widget, Q7C_WINDOW)) found = widget;
  }
  return found;
}

int widgets_at(Q7Object *window, int64_t x, int64_t y, Spot (&path)[kMostDeep]) {
  return find_at(window, x, y, 0, 0, path, 0);
}

bool locate(Q7Object *window, const Q7Object *widget, Spot *spot) {
  if (!widget) return false;
  if (widget == window) {
    *spot = {window, 0, 0};
    return true;
  }
  return find_below(window, widget, 0, 0, 0, spot);
}

bool draw_tree(Q7Object *drawing, Q7Object *window) {
  Area area = area_of(window);
  if (area.width < 1 || area.height < 1) return true;
  return draw_inside(drawing, window, area);
}

Q7Object *next_focus(Q7Object *window, const Q7Object *after, bool backwards) {
  Q7Object *first = nullptr;
  Q7Object *last = nullptr;
  Q7Object *before = nullptr;
  Q7Object *behind = nullptr;
  bool passed = false;
  auto each = [&](Q7Object *widget) {
    if (!takes_keys(widget)) {
      if (widget == after) passed = true;
      return true;
    }
    if (!first) first = widget;
    if (widget == after) {
      passed = true;
    } else if (!passed) {
      before = widget;
    } else if (!behind) {
      behind = widget;
    }
    last = widget;
    return true;
  };
  for_shown(window, each);
  if (backwards) return passed && before ? before : last;
  return passed && behind ? behind : first;
}

Q7Object *gadget_of_key(Q7Object *window, int32_t character) {
  Q7Object *found = nullptr;
  auto each = [&](Q7Object *widget) {
    if (usable(widget) && lower(attribute<int32_t>(widget, Q7A_GADGET_SHORTCUT)) == lower(character)) found = widget;
    return found == nullptr;
  };
  for_shown(window, each);
  return found;
}

}  // namespace q7posix
