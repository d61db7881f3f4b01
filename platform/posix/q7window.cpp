// q7window: the classes of the layer's user interface: window, frame, splitter and native gadgets.
// They need no display: they keep their attributes and take part in layout as any widget does.
#include "core/q7root.h"
#include "platform/posix/attributes.hpp"
#include "platform/posix/q7posix.h"
#include "platform/posix/shape.hpp"
#include "ui/q7gadget.h"
#include "ui/q7widget.h"

using namespace q7posix;

namespace {

// Attributes of every widget that are meant here.
enum : uint32_t { kWidth = 41503, kHeight = 41504, kClientX = 41509, kClientY = 41510, kManager = 41543 };
// A manager is told of a splitter's drag by this method: a: code, b: splitter, slot: distance.
constexpr uint32_t kManagerNotify = 25001;

int32_t int_attribute(Q7Object *obj, uint32_t tag) {
  int32_t value = 0;
  Q7TagItem query[2] = {{tag, word(&value)}, {Q7TAG_END, 0}};
  send(obj, Q7M_GET, 0, 0, query);
  return value;
}

// ---- Window ----

constexpr AttributeRun window_runs[] = {
    {Q7A_WINDOW_FIRST, Q7A_WINDOW_DRAW_CONTEXT - 1, Width::kInt32, 0},
    {Q7A_WINDOW_DRAW_CONTEXT, Q7A_WINDOW_DRAW_CONTEXT, Width::kPointer, 23},
    {Q7A_WINDOW_DRAW_CONTEXT + 1, Q7A_WINDOW_LAST, Width::kInt32, 24},
};
struct Window {  // instance data
  uint64_t values[Q7A_WINDOW_LAST - Q7A_WINDOW_FIRST + 1];
  Q7Object *font;  // referenced (41513)
};

bool q7wi_set(Window &window, const Q7TagItem &item) {
  if (item.tag != Q7A_WINDOW_FONT) return keep(window_runs, window.values, item);
  auto *font = reinterpret_cast<Q7Object *>(item.data);
  Q7Object *old = window.font;
  send(font, Q7M_ADDREF);
  window.font = font;
  send(old, Q7M_RELEASE);
  return true;
}

bool q7wi_get(Q7Object *obj, Window &window, const Q7TagItem &item) {
  switch (item.tag) {
    // Without a display nothing is lost to borders: the inner size is the size.
    case Q7A_WINDOW_INNER_WIDTH: return store<int32_t>(item, int_attribute(obj, kWidth));
    case Q7A_WINDOW_INNER_HEIGHT: return store<int32_t>(item, int_attribute(obj, kHeight));
    case Q7A_WINDOW_FONT: return store<Q7Object *>(item, window.font);
    default: return give(window_runs, window.values, item);
  }
}

uint64_t q7wi_new(Q7Class *cl, Q7Object *receiver, uint64_t a, uint64_t b, Q7TagItem *list) {
  auto *obj = reinterpret_cast<Q7Object *>(inherit(cl, receiver, Q7M_NEW, a, b, list));
  if (obj) each_tag(list, [&](const Q7TagItem &item) { q7wi_set(data<Window>(cl, obj), item); });
  return word(obj);
}

uint64_t q7wi_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *list) {
  switch (method) {
    case Q7M_NEW: return q7wi_new(cl, obj, a, b, list);
    case Q7M_DISPOSE: {
      Q7Object *font = data<Window>(cl, obj).font;
      data<Window>(cl, obj).font = nullptr;
      send(font, Q7M_RELEASE);
      return inherit(cl, obj, method, a, b, list);
    }
    case Q7M_SET: return walk<Window>(cl, obj, method, list, q7wi_set);
    case Q7M_GET:
      return walk<Window>(cl, obj, method, list,
                          [&](Window &window, const Q7TagItem &item) { return q7wi_get(obj, window, item); });
    case Q7M_COPY: return 0;  // a byte copy would stand in the tree without its parent's knowledge
    default: return inherit(cl, obj, method, a, b, list);
  }
}

// ---- Frame: a border whose widths are the insets of what a manager lays out inside it ----

constexpr AttributeRun frame_runs[] = {
    {Q7A_FRAME_LEFT, Q7A_FRAME_BOTTOM, Width::kInt32, 0},
};
struct Frame {         // instance data
  uint64_t values[4];  // left, top, right, bottom
};

uint64_t q7fr_get(Q7Class *cl, Q7Object *obj, Q7TagItem *list) {
  return walk<Frame>(cl, obj, Q7M_GET, list, [&](Frame &frame, const Q7TagItem &item) {
    if (item.tag == kClientX) return store<int32_t>(item, static_cast<int32_t>(frame.values[0]));
    if (item.tag == kClientY) return store<int32_t>(item, static_cast<int32_t>(frame.values[1]));
    return give(frame_runs, frame.values, item);
  });
}

uint64_t q7fr_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *list) {
  switch (method) {
    case Q7M_NEW:
      return create_kept<Frame>(cl, obj, a, b, list, frame_runs, [](Frame &frame) {
        for (uint64_t &inset : frame.values) inset = Q7FRAME_DEFAULT_INSET;
      });
    case Q7M_SET: return set_kept<Frame>(cl, obj, list, frame_runs);
    case Q7M_GET: return q7fr_get(cl, obj, list);
    default: return inherit(cl, obj, method, a, b, list);
  }
}

// ---- Splitter ----

constexpr AttributeRun splitter_runs[] = {
    {Q7A_SPLITTER_DISTANCE, Q7A_SPLITTER_DISTANCE, Width::kInt32, 0},
};
struct Splitter {  // instance data
  uint64_t values[1];
};

uint64_t q7sp_drag(Q7Class *cl, Q7Object *obj, Q7TagItem *list) {
  auto distance = static_cast<int32_t>(word(list));
  data<Splitter>(cl, obj).values[0] = static_cast<uint64_t>(distance);
  Q7Object *manager = nullptr;
  Q7TagItem query[2] = {{kManager, word(&manager)}, {Q7TAG_END, 0}};
  send(obj, Q7M_GET, 0, 0, query);
  return send(manager, kManagerNotify, Q7A_SPLITTER_DISTANCE, word(obj), slot(static_cast<uint64_t>(distance)));
}

uint64_t q7sp_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *list) {
  switch (method) {
    case Q7M_NEW: return create_kept<Splitter>(cl, obj, a, b, list, splitter_runs, no_init);
    case Q7M_SET: return set_kept<Splitter>(cl, obj, list, splitter_runs);
    case Q7M_GET: return get_kept<Splitter>(cl, obj, list, splitter_runs);
    case Q7M_SPLITTER_DRAG: return q7sp_drag(cl, obj, list);
    default: return inherit(cl, obj, method, a, b, list);
  }
}

constexpr ClassDef window_class = {
    Q7C_WINDOW, Q7C_WIDGET, "q7window", q7wi_dispatch, sizeof(Window), Q7RegisterWidgetClass, "Window"};
constexpr ClassDef frame_class = {Q7C_FRAME, Q7C_WIDGET, "q7frame", q7fr_dispatch, sizeof(Frame), Q7RegisterWidgetClass,
                                  "Frame"};
constexpr ClassDef splitter_class = {Q7C_SPLITTER,          Q7C_WIDGET, "q7splitter", q7sp_dispatch, sizeof(Splitter),
                                     Q7RegisterWidgetClass, "Splitter"};
constexpr ClassDef gadget_class = {Q7C_OSGADGET,          Q7C_GADGET,     "q7osgadget", nullptr, 0,
                                   Q7RegisterGadgetClass, "Native Gadget"};
constexpr ClassDef gadget2_class = {Q7C_OSGADGET2,         Q7C_GADGET,     "q7osgadget2", nullptr, 0,
                                    Q7RegisterGadgetClass, "Native Gadget"};

}  // namespace

int32_t Q7RegisterWindowClass(Q7App *app) {
  return register_class(app, window_class) && register_class(app, frame_class) && register_class(app, splitter_class);
}

int32_t Q7RegisterOSGadgetClass(Q7App *app) {
  return register_class(app, gadget_class) && register_class(app, gadget2_class);
}

int32_t Q7Refresh(Q7Object *widget) {
  if (!widget || !Q7ClassIdIsOfKind(widget->clid, Q7C_WIDGET)) return 0;
  Q7WakeUpGui(Q7ApplicationContext);
  return 1;
}
