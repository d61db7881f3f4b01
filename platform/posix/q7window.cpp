// q7window: the window class. A window owns a copy of its title, its own draw context, picture and font, and references
// on the font, cursor, content and pointer object that it was given. All windows stand in one list, in which the main
// loop looks for those that are to be drawn.
#include <initializer_list>

#include "core/q7memory.h"
#include "core/q7objects.h"
#include "core/q7root.h"
#include "core/q7strings.h"
#include "platform/posix/drawing.hpp"
#include "platform/posix/tree.hpp"
#include "platform/posix/window.hpp"
#include "ui/q7dc.h"
#include "ui/q7widget.h"

using namespace q7posix;

namespace {

Q7List window_list;
bool list_made = false;

Q7List *windows() {
  if (!list_made) Q7NewList(&window_list);
  list_made = true;
  return &window_list;
}

int32_t number_of(Window &window, uint32_t tag) { return static_cast<int32_t>(window.value(tag)); }

void replace(Q7Object *&field, Q7Object *with) {
  Q7Object *old = field;
  send(with, Q7M_ADDREF);
  field = with;
  send(old, Q7M_RELEASE);
}

// ---- Draw context, picture and font: made when they are first needed ----

Q7Object *make_drawing(Q7Object *self) {
  Q7TagItem list[3] = {{Q7A_DC_WIDTH, static_cast<uint64_t>(attribute<int32_t>(self, Q7A_WIDGET_WIDTH))},
                       {Q7A_DC_HEIGHT, static_cast<uint64_t>(attribute<int32_t>(self, Q7A_WIDGET_HEIGHT))},
                       {Q7TAG_END, 0}};
  Q7Object *drawing = Q7ObjectCreateA(Q7C_DRAWING, list);
  send(drawing, Q7M_ADDREF);
  return drawing;
}

void drop_context(Window &window) {
  Q7Object *context = window.context;
  const bool own = window.own_context != 0;
  window.context = nullptr;
  window.own_context = 0;
  if (own) send(context, Q7M_RELEASE);
}

Q7Object *q7wi_context(Window &window) {
  if (!window.context) {
    window.context = make_drawing(window.self);
    window.own_context = window.context != nullptr;
    Q7Object *font = window.context ? attribute<Q7Object *>(window.self, Q7A_WINDOW_FONT) : nullptr;
    if (font) send(window.context, Q7M_DC_SET_FONT, 0, 0, slot(word(font)));
  }
  return window.context;
}

Q7Object *q7wi_font(Window &window) {
  if (window.font) return window.font;
  if (window.own_font) return window.own_font;
  if (Q7Object *outer = window_of(window.self)) {
    if (auto *font = attribute<Q7Object *>(outer, Q7A_WINDOW_FONT)) return font;
  }
  window.own_font = Q7ObjectCreateA(Q7C_FONT, nullptr);
  send(window.own_font, Q7M_ADDREF);
  return window.own_font;
}

// ---- Drawing ----

// The window's own area. What is inside another window has a line around it when it is a pop-up or has a border.
uint64_t q7wi_draw_area(Window &window, const Q7Rect &rect, Q7Object *dc) {
  send(dc, Q7M_DC_SET_MODE, 0, 0, slot(Q7DC_MODE_COPY));
  send(dc, Q7M_DC_SET_PEN, 0, 0, slot(Q7PEN_BACKGROUND));
  send(dc, Q7M_DC_FILL_RECTANGLE, 0, 0, slot(word(&rect)));
  const bool popup = number_of(window, Q7A_WINDOW_KIND) == Q7WINDOW_KIND_POPUP;
  if (window_of(window.self) && (popup || !number_of(window, Q7A_WINDOW_BORDERLESS))) {
    send(dc, Q7M_DC_SET_PEN, 0, 0, slot(Q7PEN_BOTTOM_SHADOW));
    send(dc, Q7M_DC_RECTANGLE, 0, 0, slot(word(&rect)));
  }
  return 1;
}

bool q7wi_draw(Window &window, Q7Object *drawing) {
  Q7Object *self = window.self;
  if (drawing) return is_kind(drawing, Q7C_DRAWING) && draw_tree(drawing, self);
  if (!window.picture) window.picture = make_drawing(self);
  if (!window.picture) return false;
  drawing = window.picture;
  Q7TagItem size[3] = {{Q7A_DC_WIDTH, static_cast<uint64_t>(attribute<int32_t>(self, Q7A_WIDGET_WIDTH))},
                       {Q7A_DC_HEIGHT, static_cast<uint64_t>(attribute<int32_t>(self, Q7A_WIDGET_HEIGHT))},
                       {Q7TAG_END, 0}};
  send(drawing, Q7M_SET, 0, 0, size);
  send(drawing, Q7M_DC_CLEAR);
  return draw_tree(drawing, self);
}

uint64_t q7wi_picture(Window &window, Q7TagItem *list) {
  return q7wi_draw(window, nullptr) ? send(window.picture, Q7M_DRAWING_WRITE, 0, 0, list) : 0;
}

// ---- Attributes ----

bool q7wi_set_title(Window &window, const char *text) {
  char *copy = text ? Q7StrDup(text) : nullptr;
  if (text && !copy) {
    Q7P_ERROR("q7window", "No memory for a window's title");
    return true;
  }
  Q7StrFree(window.title);
  window.title = copy;
  return true;
}

bool q7wi_set_context(Window &window, Q7Object *context) {
  if (context == window.context) return true;
  drop_context(window);
  window.context = context;
  return true;
}

bool q7wi_set_font(Window &window, Q7Object *font) {
  replace(window.font, font);
  if (window.own_context) {
    font = q7wi_font(window);
    send(window.context, Q7M_DC_SET_FONT, 0, 0, slot(word(font)));
  }
  return true;
}

bool q7wi_set_focus(Window &window, Q7Object *widget) {
  Spot spot;
  if (!widget || locate(window.self, widget, &spot)) give_focus(window.self, widget);
  return true;
}

bool q7wi_set(Window &window, const Q7TagItem &item) {
  auto *object = reinterpret_cast<Q7Object *>(item.data);
  switch (item.tag) {
    case Q7A_WINDOW_TITLE: return q7wi_set_title(window, reinterpret_cast<const char *>(item.data));
    case Q7A_WINDOW_CURSOR: replace(window.cursor, object); return true;
    case Q7A_WINDOW_FOCUS: return q7wi_set_focus(window, object);
    case Q7A_WINDOW_CONTENT: replace(window.content, object); return true;
    case Q7A_WINDOW_POINTER_OBJECT: replace(window.pointer_object, object); return true;
    case Q7A_WINDOW_DRAW_CONTEXT: return q7wi_set_context(window, object);
    case Q7A_WINDOW_FONT: return q7wi_set_font(window, object);
    // Answered, not kept.
    case Q7A_WINDOW_INNER_WIDTH:
    case Q7A_WINDOW_INNER_HEIGHT:
    case Q7A_WINDOW_PICTURE: return true;
    default: break;
  }
  if (item.tag < Q7A_WINDOW_FIRST || item.tag > Q7A_WINDOW_LAST) return false;
  window.value(item.tag) = item.data;
  return true;
}

bool q7wi_get(Window &window, const Q7TagItem &item) {
  Spot spot;
  switch (item.tag) {
    // Without a display nothing is lost to borders: the inner size is the size.
    case Q7A_WINDOW_INNER_WIDTH: return store<int32_t>(item, attribute<int32_t>(window.self, Q7A_WIDGET_WIDTH));
    case Q7A_WINDOW_INNER_HEIGHT: return store<int32_t>(item, attribute<int32_t>(window.self, Q7A_WIDGET_HEIGHT));
    case Q7A_WINDOW_TITLE: return store<const char *>(item, window.title);
    case Q7A_WINDOW_CURSOR: return store<Q7Object *>(item, window.cursor);
    case Q7A_WINDOW_FOCUS:
      return store<Q7Object *>(item, locate(window.self, window.focus, &spot) ? window.focus : nullptr);
    case Q7A_WINDOW_CONTENT: return store<Q7Object *>(item, window.content);
    case Q7A_WINDOW_POINTER_OBJECT: return store<Q7Object *>(item, window.pointer_object);
    case Q7A_WINDOW_DRAW_CONTEXT: return store<Q7Object *>(item, q7wi_context(window));
    case Q7A_WINDOW_PICTURE: return store<Q7Object *>(item, window.picture);
    case Q7A_WINDOW_FONT: return store<Q7Object *>(item, q7wi_font(window));
    default: break;
  }
  if (item.tag < Q7A_WINDOW_FIRST || item.tag > Q7A_WINDOW_LAST) return false;
  return store<int32_t>(item, number_of(window, item.tag));
}

// The window's context has its size.
void q7wi_resized(Window &window) {
  if (!window.own_context) return;
  Q7TagItem size[3] = {{Q7A_DC_WIDTH, static_cast<uint64_t>(attribute<int32_t>(window.self, Q7A_WIDGET_WIDTH))},
                       {Q7A_DC_HEIGHT, static_cast<uint64_t>(attribute<int32_t>(window.self, Q7A_WIDGET_HEIGHT))},
                       {Q7TAG_END, 0}};
  send(window.context, Q7M_SET, 0, 0, size);
}

uint64_t q7wi_set_list(Q7Class *cl, Q7Object *self, Q7TagItem *list) {
  bool seen = false;
  const uint64_t unknown = walk<Window>(cl, self, Q7M_SET, list, [&](Window &window, const Q7TagItem &item) {
    const bool own = q7wi_set(window, item);
    // What changes what is seen: size, place, whether it is shown, fonts and kinds.
    seen = seen || own || (item.tag >= Q7A_WIDGET_X && item.tag <= Q7A_WIDGET_SHOWN);
    return own;
  });
  if (seen) {
    q7wi_resized(data<Window>(cl, self));
    Q7Refresh(self);
  }
  return unknown;
}

// ---- Life ----

uint64_t q7wi_new(Q7Class *cl, Q7Object *receiver, uint64_t a, uint64_t b, Q7TagItem *list) {
  auto *self = reinterpret_cast<Q7Object *>(inherit(cl, receiver, Q7M_NEW, a, b, list));
  if (!self) return 0;
  auto &window = data<Window>(cl, self);
  window.self = self;
  Q7AddTail(windows(), &window.link);
  window.value(Q7A_WINDOW_RESIZABLE) = 1;
  window.value(Q7A_WINDOW_PEN_LINE) = Q7PEN_FOREGROUND;
  window.value(Q7A_WINDOW_PEN_MARKED) = Q7PEN_ACTIVE_TITLE;
  window.value(Q7A_WINDOW_PEN_TEXT) = Q7PEN_FOREGROUND;
  window.value(Q7A_WINDOW_PEN_MARKED_TEXT) = Q7PEN_ACTIVE_TITLE;
  window.value(Q7A_WINDOW_PEN_POINTER) = Q7PEN_FOREGROUND;
  each_tag(list, [&](const Q7TagItem &item) { q7wi_set(window, item); });
  return word(self);
}

uint64_t q7wi_dispose(Q7Class *cl, Q7Object *self, uint64_t a, uint64_t b, Q7TagItem *list) {
  auto &window = data<Window>(cl, self);
  window_leaves(self);
  widget_leaves(self);
  window.focus = window.grab = window.drag_source = nullptr;
  drop_context(window);
  for (Q7Object **field : {&window.cursor, &window.content, &window.pointer_object, &window.font, &window.dragged})
    replace(*field, nullptr);
  for (Q7Object **field : {&window.own_font, &window.picture}) {
    Q7Object *own = *field;
    *field = nullptr;
    send(own, Q7M_RELEASE);
  }
  Q7StrFree(window.title);
  window.title = nullptr;
  if (window.link.succ) Q7Remove(&window.link);
  // The widget part tells the children, who may still ask for drawing; they find no window any more.
  window.self = nullptr;
  return inherit(cl, self, Q7M_DISPOSE, a, b, list);
}

// The class goes with the application. A window that was never deleted stays behind as memory; the main loop of the
// next application must not find it.
void q7wi_forget_all() {
  while (Q7Node *node = Q7RemHead(windows())) {
    node->succ = nullptr;
    reinterpret_cast<Window *>(node)->realized = 0;
  }
}

uint64_t q7wi_realize(Q7Class *cl, Q7Object *self, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *list) {
  data<Window>(cl, self).realized = method == Q7M_WIDGET_REALIZE;
  const uint64_t answer = inherit(cl, self, method, a, b, list);
  if (method == Q7M_WIDGET_REALIZE) {
    lay_out_content(data<Window>(cl, self));
    Q7Refresh(self);
  }
  return answer;
}

// Whether another window is modal, so that this one gets no input. One that lies in it, or that it lies in, may.
bool q7wi_locked(Q7Object *self) {
  for (Q7Node *node = windows()->head; node->succ; node = node->succ) {
    auto &other = *reinterpret_cast<Window *>(node);
    if (!other.value(Q7A_WINDOW_MODAL) || !other.realized || outermost_window(other.self) == outermost_window(self)) {
      continue;
    }
    if (send(other.self, Q7M_WIDGET_IS_SHOWN)) return true;
  }
  return false;
}

uint64_t q7wi_event(Window &window, const Q7Event *event) {
  if (!event || (event->kind != Q7EVENT_RESIZE && q7wi_locked(window.self))) return 0;
  return window_event(window, *event);
}

uint64_t q7wi_widget_at(Window &window, const Q7Point *point) {
  if (!point) return 0;
  const int32_t width = attribute<int32_t>(window.self, Q7A_WIDGET_WIDTH);
  const int32_t height = attribute<int32_t>(window.self, Q7A_WIDGET_HEIGHT);
  if (point->x < 0 || point->y < 0 || point->x >= width || point->y >= height) return 0;
  Spot path[kMostDeep];
  const int count = widgets_at(window.self, point->x, point->y, path);
  return word(count ? path[count - 1].widget : window.self);
}

uint64_t q7wi_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *list) {
  if (method == Q7M_NEW) return q7wi_new(cl, obj, a, b, list);
  // Messages to the class itself have no instance behind them.
  if (&obj->cl->header == obj) {
    if (method == Q7M_CLASS_FREE && &cl->header == obj) q7wi_forget_all();
    return inherit(cl, obj, method, a, b, list);
  }
  auto &window = data<Window>(cl, obj);
  if (!window.self && method != Q7M_DISPOSE) return inherit(cl, obj, method, a, b, list);
  switch (method) {
    case Q7M_DISPOSE: return q7wi_dispose(cl, obj, a, b, list);
    case Q7M_SET: return q7wi_set_list(cl, obj, list);
    case Q7M_GET: return walk<Window>(cl, obj, method, list, q7wi_get);
    case Q7M_COPY: return 0;  // a byte copy would stand in the tree without its parent's knowledge
    case Q7M_WIDGET_CHILD_ADDED:
    case Q7M_WIDGET_CHILD_REMOVED: {
      const uint64_t answer = inherit(cl, obj, method, a, b, list);
      Q7Refresh(obj);
      return answer;
    }
    case Q7M_WIDGET_REALIZE:
    case Q7M_WIDGET_UNREALIZE: return q7wi_realize(cl, obj, method, a, b, list);
    case Q7M_WIDGET_DRAW:
      return a && list
                 ? q7wi_draw_area(window, *reinterpret_cast<const Q7Rect *>(a), reinterpret_cast<Q7Object *>(list))
                 : 0;
    case Q7M_WINDOW_DRAW: return q7wi_draw(window, reinterpret_cast<Q7Object *>(list));
    case Q7M_WINDOW_PICTURE: return q7wi_picture(window, list);
    case Q7M_WINDOW_EVENT: return q7wi_event(window, reinterpret_cast<const Q7Event *>(list));
    case Q7M_WINDOW_WIDGET_AT: return q7wi_widget_at(window, reinterpret_cast<const Q7Point *>(list));
    case Q7M_WINDOW_KEPT_CONTEXT:
      return word(window.context && is_kind(window.context, Q7C_DRAWING) ? window.context : nullptr);
    default: return inherit(cl, obj, method, a, b, list);
  }
}

constexpr ClassDef window_class = {
    Q7C_WINDOW, Q7C_WIDGET, "q7window", q7wi_dispatch, sizeof(Window), Q7RegisterWidgetClass, "Window"};

}  // namespace

namespace q7posix {

Window *window_data(Q7Object *obj) {
  for (Q7Class *cl = obj ? obj->cl : nullptr; cl; cl = cl->super) {
    if (cl->header.clid == Q7C_WINDOW) return &data<Window>(cl, obj);
  }
  return nullptr;
}

void widget_leaves(const Q7Object *widget) {
  for (Q7Node *node = windows()->head; node->succ; node = node->succ) {
    auto *window = reinterpret_cast<Window *>(node);
    if (window->focus == widget) window->focus = nullptr;
    if (window->grab == widget) window->grab = nullptr;
    if (window->drag_source == widget) window->drag_source = nullptr;
  }
}

void lay_out_content(Window &window) {
  Q7Object *content = window.content;
  if (!content) return;
  int32_t width = attribute<int32_t>(window.self, Q7A_WIDGET_WIDTH);
  int32_t height = attribute<int32_t>(window.self, Q7A_WIDGET_HEIGHT);
  if (width < 1 || height < 1) {
    width = attribute<int32_t>(content, Q7A_WIDGET_MIN_WIDTH);
    height = attribute<int32_t>(content, Q7A_WIDGET_MIN_HEIGHT);
    Q7TagItem size[3] = {{Q7A_WIDGET_WIDTH, static_cast<uint64_t>(width)},
                         {Q7A_WIDGET_HEIGHT, static_cast<uint64_t>(height)},
                         {Q7TAG_END, 0}};
    send(window.self, Q7M_SET, 0, 0, size);
  }
  Q7TagItem rect[5] = {{Q7A_WIDGET_X, 0},
                       {Q7A_WIDGET_Y, 0},
                       {Q7A_WIDGET_WIDTH, static_cast<uint64_t>(width)},
                       {Q7A_WIDGET_HEIGHT, static_cast<uint64_t>(height)},
                       {Q7TAG_END, 0}};
  send(content, Q7M_ADDREF);
  send(content, Q7M_SET, 0, 0, rect);
  send(content, Q7M_WIDGET_LAYOUT);
  send(content, Q7M_RELEASE);
}

bool draw_windows() {
  // A window that asks to be drawn while it is drawn has its turn in the next round.
  constexpr int32_t kNow = 2;
  bool drawn = false;
  for (Q7Node *node = windows()->head; node->succ; node = node->succ) {
    auto *window = reinterpret_cast<Window *>(node);
    if (window->dirty && window->realized) window->dirty = kNow;
  }
  for (;;) {
    Window *now = nullptr;
    for (Q7Node *node = windows()->head; node->succ && !now; node = node->succ) {
      auto *window = reinterpret_cast<Window *>(node);
      if (window->dirty == kNow) now = window;
    }
    if (!now) return drawn;
    now->dirty = 0;
    if (send(now->self, Q7M_WIDGET_IS_SHOWN)) send(now->self, Q7M_WINDOW_DRAW);
    drawn = true;
  }
}

}  // namespace q7posix

int32_t Q7RegisterWindowClass(Q7App *app) {
  return register_class(app, window_class) && register_frame_classes(app) && register_font_class(app) &&
         Q7RegisterDrawingClass(app);
}

int32_t Q7Refresh(Q7Object *widget) {
  if (!widget || !Q7ClassIdIsOfKind(widget->clid, Q7C_WIDGET)) return 0;
  if (Q7Object *top = outermost_window(widget)) {
    Window *window = window_data(top);
    // Several requests are one.
    if (window->self && !window->dirty) {
      window->dirty = 1;
      if (window->realized) Q7WakeUpGui(Q7ApplicationContext);
    }
  }
  return 1;
}
