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

// The innermost widget of the path that wants the keyboard has it from now on.
void focus_by_press(const Work &work, const Spot *path, int count) {
  for (int i = count - 1; i >= 0; --i) {
    Window *window = work.window();
    Spot spot;
    if (!window || !locate(window->self, path[i].widget, &spot)) continue;
    if (is_kind(spot.widget, Q7C_WINDOW)) return;
    if (give_focus(window->self, spot.widget)) return;
  }
}

uint64_t press(const Work &work, const Q7Event &event) {
  Spot path[kMostDeep];
  Window *window = work.window();
  const int count = widgets_at(window->self, event.x, event.y, path);
  focus_by_press(work, path, count);
  Q7Object *taker = offer(work, path, count, event);
  window = work.window();
  if (!window) return 1;
  if (!taker && event.button == 1 && window->pointer_object) {
    // Remembered first: the object may be told of the motion while it still handles the press.
    window->grab = window->self;
    window->grab_button = event.button;
    if (feed_pointer_object(*window, Q7A_WINDOW_POINTER_PRESS, event)) return 1;
    if (Window *still = work.window()) still->grab = nullptr;
    return 0;
  }
  window->grab = taker;
  window->grab_button = event.button;
  return taker != nullptr;
}

uint64_t motion(const Work &work, const Q7Event &event) {
  Window *window = work.window();
  Spot spot;
  if (window->grab == window->self) return feed_pointer_object(*window, Q7A_WINDOW_POINTER_MOTION, event);
  if (window->grab) return locate(window->self, window->grab, &spot) && deliver(spot, event);
  Spot path[kMostDeep];
  const int count = widgets_at(window->self, event.x, event.y, path);
  return offer(work, path, count, event) != nullptr;
}

uint64_t release(const Work &work, const Q7Event &event) {
  Window *window = work.window();
  if (!window->grab || event.button != window->grab_button) return motion(work, event);
  Q7Object *grab = window->grab;
  window->grab = nullptr;
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
  if (event.width < 1 || event.height < 1) return 0;
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
  Window *window = work.window();
  Spot spot;
  // The new one answers first, so that the keyboard is not taken away for nothing.
  if (widget && !send(widget, Q7M_WIDGET_FOCUS, 0, 0, slot(1))) return false;
  window = work.window();
  if (!window) return false;
  Q7Object *old = window->focus;
  window->focus = widget;
  if (old != widget && locate(window->self, old, &spot)) send(old, Q7M_WIDGET_FOCUS, 0, 0, nullptr);
  return true;
}

void window_leaves(const Q7Object *self) { Work::leaves(self); }

}  // namespace q7posix
