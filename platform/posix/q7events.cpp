// q7events: what events do to a window. A handler may delete the window or any widget, so nothing of either is touched
// behind a delivery unless it was found again: windows through the chain of works under way, widgets by a look through
// the tree for their address.
#include "core/q7root.h"
#include "platform/posix/tree.hpp"
#include "platform/posix/window.hpp"
#include "ui/q7canvas.h"
#include "ui/q7widget.h"

namespace q7posix {

namespace {

class Work {
 public:
  explicit Work(Q7Object *window) : window_(window), outer_(innermost_) { innermost_ = this; }
  ~Work() { innermost_ = outer_; }
  Work(const Work &) = delete;
  Work &operator=(const Work &) = delete;
  // The window's data; null once it went.
  Window *window() const { return window_ ? window_data(window_) : nullptr; }
  static void leaves(const Q7Object *window) {
    for (Work *work = innermost_; work; work = work->outer_) {
      if (work->window_ == window) work->window_ = nullptr;
    }
  }

 private:
  Q7Object *window_;
  Work *outer_;
  static inline Work *innermost_;
};

bool is_pointer(const Q7Event &event) { return event.kind >= Q7EVENT_PRESS && event.kind <= Q7EVENT_MOTION; }

int16_t narrow(int64_t value) { return static_cast<int16_t>(value < -32768 ? -32768 : value > 32767 ? 32767 : value); }

// Hands an event to a widget, in its coordinates. A canvas that has no use for it tells who listens to it.
bool deliver(const Spot &spot, const Q7Event &event) {
  Q7Event local = event;
  if (is_pointer(event)) {
    local.x = narrow(event.x - spot.x);
    local.y = narrow(event.y - spot.y);
  }
  const bool canvas = is_kind(spot.widget, Q7C_CANVAS);
  if (send(spot.widget, Q7M_WIDGET_EVENT, 0, 0, slot(word(&local)))) return true;
  if (!canvas || !is_pointer(event)) return false;
  notify(spot.widget, Q7M_WIDGET_EVENT, word(&local));
  return true;
}

// Offers an event to the widgets of a path, innermost first. The one that took it, or null; it may be gone by now.
Q7Object *offer(const Work &work, const Spot *path, int count, const Q7Event &event) {
  for (int i = count - 1; i >= 0; --i) {
    Window *window = work.window();
    Spot spot;
    if (!window) return nullptr;
    if (!locate(window->self, path[i].widget, &spot)) continue;
    if (deliver(spot, event)) return spot.widget;
  }
  return nullptr;
}

bool feed_pointer_object(Window &window, uint32_t method_tag, const Q7Event &event) {
  const auto method = static_cast<uint32_t>(window.value(method_tag));
  if (!window.pointer_object || !method) return false;
  Q7Object *object = window.pointer_object;
  const Q7Event copy = event;
  send(object, Q7M_ADDREF);
  send(object, method, word(window.self), 0, slot(word(&copy)));
  send(object, Q7M_RELEASE);
  return true;
}

// The innermost widget of the path that wants the keyboard has it from now on, unless a window around it leaves the
// keyboard where it is.
void focus_by_press(const Work &work, const Spot *path, int count) {
  for (int i = 0; i < count; ++i) {
    if (is_kind(path[i].widget, Q7C_WINDOW) && attribute<int32_t>(path[i].widget, Q7A_WINDOW_NO_FOCUS)) return;
  }
  for (int i = count - 1; i >= 0; --i) {
    Window *window = work.window();
    Spot spot;
    if (!window || !locate(window->self, path[i].widget, &spot)) continue;
    if (is_kind(spot.widget, Q7C_WINDOW)) return;
    if (give_focus(window->self, spot.widget)) return;
  }
}

// ---- Drag and drop ----

// The pointer went far enough with a widget that has a drag handler: what the handler answers is dragged.
void maybe_start_drag(const Work &work, const Q7Event &event) {
  Window *window = work.window();
  Spot spot;
  const int64_t dx = int64_t{event.x} - window->press_x;
  const int64_t dy = int64_t{event.y} - window->press_y;
  int32_t threshold = 0;
  Q7TagItem query[2] = {{Q7A_WIDGET_DRAG_THRESHOLD, word(&threshold)}, {Q7TAG_END, 0}};
  send(&Q7ClassFind(Q7C_WIDGET)->header, Q7M_GETCLASSATTRS, 0, 0, query);
  if (!window->drag_source || dx * dx + dy * dy < int64_t{threshold} * threshold) return;
  Q7Object *source = window->drag_source;
  window->drag_source = nullptr;
  if (!locate(window->self, source, &spot)) return;
  const Q7Event copy = event;
  const uint64_t dragged = send(source, Q7M_WIDGET_START_DRAG, 0, 0, slot(word(&copy)));
  window = work.window();
  if (!window || !dragged) return;
  window->drag_source = source;
  window->dragged = reinterpret_cast<Q7Object *>(dragged);
  send(window->dragged, Q7M_ADDREF);
}

// What is dragged is offered to the widget under the pointer; the widget that it came from learns the answer.
uint64_t drop(const Work &work, const Q7Event &event) {
  Window *window = work.window();
  Q7Object *dragged = window->dragged;
  Q7Object *source = window->drag_source;
  window->dragged = window->drag_source = window->grab = nullptr;
  Spot path[kMostDeep];
  const int count = widgets_at(window->self, event.x, event.y, path);
  Q7Point point = {event.x, event.y};
  send(window->self, Q7M_WIDGET_TO_TOP, 0, 0, slot(word(&point)));
  Q7Object *target = count ? path[count - 1].widget : window->self;
  uint64_t answer = send(target, Q7M_WIDGET_CAN_DROP, word(dragged), 0, slot(word(&point)));
  Spot spot;
  if (answer && work.window() && locate(work.window()->self, target, &spot)) {
    answer = send(target, Q7M_WIDGET_DROP, word(dragged), 0, slot(word(&point)));
  }
  if (work.window() && locate(work.window()->self, source, &spot)) {
    send(source, Q7M_WIDGET_DRAG_FINISHED, 0, 0, slot(answer));
  }
  send(dragged, Q7M_RELEASE);
  return 1;
}

// The innermost widget of the path that can be dragged from.
Q7Object *drag_source_of(const Spot *path, int count) {
  for (int i = count - 1; i >= 0; --i) {
    if (attribute<Q7Object *>(path[i].widget, Q7A_WIDGET_DRAG_HANDLER)) return path[i].widget;
  }
  return nullptr;
}

uint64_t press(const Work &work, const Q7Event &event) {
  Spot path[kMostDeep];
  Window *window = work.window();
  const int count = widgets_at(window->self, event.x, event.y, path);
  Q7Object *source = event.button == 1 ? drag_source_of(path, count) : nullptr;
  focus_by_press(work, path, count);
  Q7Object *taker = offer(work, path, count, event);
  window = work.window();
  if (!window) return 1;
  if (!taker && !source && event.button == 1 && window->pointer_object) {
    // Remembered first: the object may be told of the motion while it still handles the press.
    window->grab = window->self;
    window->grab_button = event.button;
    if (feed_pointer_object(*window, Q7A_WINDOW_POINTER_PRESS, event)) return 1;
    if (Window *still = work.window()) still->grab = nullptr;
    return 0;
  }
  // A widget that can be dragged from is one that takes the press.
  if (!taker) taker = source;
  if (event.button == 1) {
    window->drag_source = source;
    window->press_x = event.x;
    window->press_y = event.y;
  }
  window->grab = taker;
  window->grab_button = event.button;
  return taker != nullptr;
}

uint64_t motion(const Work &work, const Q7Event &event) {
  if (work.window()->dragged) return 1;
  if (work.window()->drag_source) maybe_start_drag(work, event);
  Window *window = work.window();
  Spot spot;
  if (!window || window->dragged) return 1;
  if (window->grab == window->self) return feed_pointer_object(*window, Q7A_WINDOW_POINTER_MOTION, event);
  if (window->grab) return locate(window->self, window->grab, &spot) && deliver(spot, event);
  Spot path[kMostDeep];
  const int count = widgets_at(window->self, event.x, event.y, path);
  return offer(work, path, count, event) != nullptr;
}

uint64_t release(const Work &work, const Q7Event &event) {
  Window *window = work.window();
  if (!window->grab || event.button != window->grab_button) return motion(work, event);
  if (window->dragged) return drop(work, event);
  Q7Object *grab = window->grab;
  window->grab = window->drag_source = nullptr;
  if (grab == window->self) return feed_pointer_object(*window, Q7A_WINDOW_POINTER_RELEASE, event);
  Spot spot;
  return locate(window->self, grab, &spot) && deliver(spot, event);
}

// The widget that has the keyboard and its parents up to the window, outermost first.
int focus_path(Window &window, Spot (&path)[kMostDeep]) {
  Spot spot;
  if (!locate(window.self, window.focus, &spot)) return 0;
  int count = 0;
  for (Q7Object *widget = spot.widget; widget && widget != window.self && count < kMostDeep; ++count) {
    path[count] = {widget, 0, 0};
    widget = attribute<Q7Object *>(widget, Q7A_WIDGET_PARENT);
  }
  for (int i = 0; i < count / 2; ++i) {
    const Spot other = path[i];
    path[i] = path[count - 1 - i];
    path[count - 1 - i] = other;
  }
  return count;
}

// A key of one character; 0 for anything else.
int32_t character_of(const Q7Event &event) {
  if (event.key != 0 || !event.text || !event.text[0] || event.text[1]) return 0;
  return static_cast<uint8_t>(event.text[0]);
}

uint64_t key(const Work &work, const Q7Event &event) {
  Spot path[kMostDeep];
  const int count = focus_path(*work.window(), path);
  if (offer(work, path, count, event)) return 1;
  Window *window = work.window();
  if (!window) return 1;
  if (event.key == Q7KEY_TAB) {
    Q7Object *next = next_focus(window->self, window->focus, (event.modifiers & Q7EVENT_SHIFT) != 0);
    return next && give_focus(window->self, next);
  }
  const int32_t character = character_of(event);
  Q7Object *gadget = character ? gadget_of_key(window->self, character) : nullptr;
  if (!gadget) return 0;
  // The key that presses a gadget which has the keyboard does the same here.
  const Q7Event space = {Q7EVENT_KEY, 0, 0, 0, 0, Q7KEY_RETURN, 0, 0, 0, nullptr};
  return send(gadget, Q7M_WIDGET_EVENT, 0, 0, slot(word(&space)));
}

uint64_t resize(const Work &work, const Q7Event &event) {
  if (event.width < 1 || event.height < 1 || !work.window()->value(Q7A_WINDOW_RESIZABLE)) return 0;
  Q7Object *self = work.window()->self;
  Q7TagItem size[3] = {{Q7A_WIDGET_WIDTH, static_cast<uint64_t>(event.width)},
                       {Q7A_WIDGET_HEIGHT, static_cast<uint64_t>(event.height)},
                       {Q7TAG_END, 0}};
  send(self, Q7M_SET, 0, 0, size);
  if (Window *window = work.window()) lay_out_content(*window);
  if (Window *window = work.window()) notify(window->self, Q7A_WINDOW_INNER_WIDTH, static_cast<uint64_t>(event.width));
  return 1;
}

uint64_t close(const Work &work) {
  Window &window = *work.window();
  window.value(Q7A_WINDOW_CLOSED) = 1;
  notify(window.self, Q7A_WINDOW_CLOSED, 1);
  return 1;
}

}  // namespace

uint64_t window_event(Window &window, const Q7Event &given) {
  const Q7Event event = given;
  const Work work(window.self);
  switch (event.kind) {
    case Q7EVENT_PRESS: return press(work, event);
    case Q7EVENT_RELEASE: return release(work, event);
    case Q7EVENT_MOTION: return motion(work, event);
    case Q7EVENT_KEY: return key(work, event);
    case Q7EVENT_RESIZE: return resize(work, event);
    case Q7EVENT_CLOSE: return close(work);
    default: return 0;
  }
}

bool give_focus(Q7Object *self, Q7Object *widget) {
  const Work work(self);
  Spot spot;
  // The new one answers first, so that the keyboard is not taken away for nothing.
  if (widget && !send(widget, Q7M_WIDGET_FOCUS, 0, 0, slot(1))) return false;
  Window *window = work.window();
  if (!window) return false;
  Q7Object *old = window->focus;
  window->focus = widget;
  if (old != widget && locate(window->self, old, &spot)) send(old, Q7M_WIDGET_FOCUS, 0, 0, nullptr);
  return true;
}

void window_leaves(const Q7Object *self) { Work::leaves(self); }

}  // namespace q7posix
