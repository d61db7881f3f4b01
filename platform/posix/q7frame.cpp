// q7frame: the frame around what a manager lays out, and the splitter between two panes. A frame owns a copy of its
// title; a splitter holds nothing but the state of its drag.
#include "core/q7memory.h"
#include "core/q7root.h"
#include "core/q7strings.h"
#include "platform/posix/attributes.hpp"
#include "platform/posix/drawing.hpp"
#include "platform/posix/q7posix.h"
#include "platform/posix/tree.hpp"
#include "ui/q7dc.h"
#include "ui/q7gmanag.h"
#include "ui/q7widget.h"

using namespace q7posix;

namespace {

// ---- Frame: a border whose widths are the insets of what a manager lays out inside it ----

constexpr AttributeRun frame_runs[] = {
    {Q7A_FRAME_LEFT, Q7A_FRAME_BOTTOM, Width::kInt32, 0},
};
struct Frame {         // instance data
  uint64_t values[4];  // left, top, right, bottom
  char *title;         // owned; null for none
  int32_t top_set;     // 1 once the top inset was set

  int32_t left() const { return static_cast<int32_t>(values[0]); }
  int32_t top() const { return static_cast<int32_t>(values[1]); }
};

// Where the frame's line runs below its title.
int32_t line_of(const Q7TextExtents &title) { return title.height / 2; }

void measure_title(const Frame &frame, Q7TextExtents *extents) {
  *extents = {};
  text_extents(FontSpec{}, frame.title ? frame.title : "", extents);
}

void q7fr_set_title(Frame &frame, const char *text) {
  char *copy = text ? Q7StrDup(text) : nullptr;
  if (text && !copy) {
    Q7P_ERROR("q7frame", "No memory for a frame's title");
    return;
  }
  Q7StrFree(frame.title);
  frame.title = copy;
  Q7TextExtents extents;
  measure_title(frame, &extents);
  if (!frame.top_set) frame.values[1] = static_cast<uint64_t>(copy ? extents.height : Q7FRAME_DEFAULT_INSET);
}

bool q7fr_set(Frame &frame, const Q7TagItem &item) {
  if (item.tag == Q7A_FRAME_TITLE) {
    q7fr_set_title(frame, reinterpret_cast<const char *>(item.data));
    return true;
  }
  if (item.tag == Q7A_FRAME_TOP) frame.top_set = 1;
  return keep(frame_runs, frame.values, item);
}

bool q7fr_get(Frame &frame, const Q7TagItem &item) {
  switch (item.tag) {
    case Q7A_WIDGET_CLIENT_X: return store<int32_t>(item, frame.left());
    case Q7A_WIDGET_CLIENT_Y: return store<int32_t>(item, frame.top());
    case Q7A_FRAME_TITLE: return store<const char *>(item, frame.title);
    default: return give(frame_runs, frame.values, item);
  }
}

uint64_t q7fr_new(Q7Class *cl, Q7Object *receiver, uint64_t a, uint64_t b, Q7TagItem *list) {
  auto *obj = reinterpret_cast<Q7Object *>(inherit(cl, receiver, Q7M_NEW, a, b, list));
  if (!obj) return 0;
  auto &frame = data<Frame>(cl, obj);
  for (uint64_t &inset : frame.values) inset = Q7FRAME_DEFAULT_INSET;
  each_tag(list, [&](const Q7TagItem &item) { q7fr_set(frame, item); });
  return word(obj);
}

// Moves a point between the frame's own coordinates, which begin at its client area, and those of its corner.
void q7fr_move(const Frame &frame, Q7Point *point, int32_t sign) {
  if (!point) return;
  point->x = static_cast<int16_t>(point->x + sign * static_cast<int16_t>(frame.left()));
  point->y = static_cast<int16_t>(point->y + sign * static_cast<int16_t>(frame.top()));
}

// A groove, broken by the title.
uint64_t q7fr_draw(const Frame &frame, const Q7Rect &rect, Q7Object *dc) {
  Q7TextExtents title{};
  if (frame.title) measure_title(frame, &title);
  const int32_t top = frame.title ? line_of(title) : 0;
  send(dc, Q7M_DC_SET_MODE, 0, 0, slot(Q7DC_MODE_COPY));
  for (int32_t line = 1; line >= 0; --line) {
    const Q7Rect groove = {line, top + line, rect.width - 1, rect.height - top - 1};
    send(dc, Q7M_DC_SET_PEN, 0, 0, slot(line ? Q7PEN_TOP_SHADOW : Q7PEN_BOTTOM_SHADOW));
    send(dc, Q7M_DC_RECTANGLE, 0, 0, slot(word(&groove)));
  }
  if (frame.title) {
    constexpr int32_t kIndent = 8;
    const Q7Rect behind = {kIndent - 3, 0, title.width + 6, title.height};
    const Q7Point base = {kIndent, static_cast<int16_t>(title.ascent)};
    send(dc, Q7M_DC_SET_PEN, 0, 0, slot(Q7PEN_BACKGROUND));
    send(dc, Q7M_DC_FILL_RECTANGLE, 0, 0, slot(word(&behind)));
    send(dc, Q7M_DC_SET_PEN, 0, 0, slot(Q7PEN_FOREGROUND));
    send(dc, Q7M_DC_TEXT, word(frame.title), 0, slot(word(&base)));
  }
  return 1;
}

uint64_t q7fr_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *list) {
  if (method == Q7M_NEW) return q7fr_new(cl, obj, a, b, list);
  // Messages to the class itself have no instance behind them.
  if (&obj->cl->header == obj) return inherit(cl, obj, method, a, b, list);
  auto &frame = data<Frame>(cl, obj);
  switch (method) {
    case Q7M_DISPOSE:
      Q7StrFree(frame.title);
      frame.title = nullptr;
      return inherit(cl, obj, method, a, b, list);
    case Q7M_SET: return walk<Frame>(cl, obj, method, list, q7fr_set);
    case Q7M_GET: return walk<Frame>(cl, obj, method, list, q7fr_get);
    case Q7M_WIDGET_TO_TOP:
      q7fr_move(frame, reinterpret_cast<Q7Point *>(list), 1);
      return inherit(cl, obj, method, a, b, list);
    case Q7M_WIDGET_FROM_TOP: {
      const uint64_t answer = inherit(cl, obj, method, a, b, list);
      q7fr_move(frame, reinterpret_cast<Q7Point *>(list), -1);
      return answer;
    }
    case Q7M_WIDGET_DRAW:
      return a && list ? q7fr_draw(frame, *reinterpret_cast<const Q7Rect *>(a), reinterpret_cast<Q7Object *>(list)) : 0;
    default: return inherit(cl, obj, method, a, b, list);
  }
}

// ---- Splitter ----

constexpr AttributeRun splitter_runs[] = {
    {Q7A_SPLITTER_DISTANCE, Q7A_SPLITTER_DISTANCE, Width::kInt32, 0},
};
struct Splitter {  // instance data
  uint64_t values[1];
  int32_t held;  // the pointer went down on it
  int32_t grip;  // at this pixel of it
};

uint64_t q7sp_drag(Q7Class *cl, Q7Object *obj, int32_t distance) {
  data<Splitter>(cl, obj).values[0] = static_cast<uint64_t>(distance);
  notify(obj, Q7A_SPLITTER_DISTANCE, static_cast<uint64_t>(distance));
  return 1;
}

bool sideways(Q7Object *obj) {
  return attribute<int32_t>(obj, Q7A_WIDGET_HEIGHT) >= attribute<int32_t>(obj, Q7A_WIDGET_WIDTH);
}

// The event's place counts from the splitter as it lies now, so a drag that went less far than the pointer is made up
// for by the next motion.
uint64_t q7sp_event(Q7Class *cl, Q7Object *obj, const Q7Event &event) {
  auto &splitter = data<Splitter>(cl, obj);
  const int32_t place = sideways(obj) ? event.x : event.y;
  switch (event.kind) {
    case Q7EVENT_PRESS:
      if (event.button != 1) return 0;
      splitter.held = 1;
      splitter.grip = place;
      return 1;
    case Q7EVENT_MOTION:
      if (!splitter.held) return 0;
      if (place != splitter.grip) q7sp_drag(cl, obj, place - splitter.grip);
      return 1;
    case Q7EVENT_RELEASE: {
      const int32_t held = splitter.held;
      splitter.held = 0;
      if (held && place != splitter.grip) q7sp_drag(cl, obj, place - splitter.grip);
      return held != 0;
    }
    default: return 0;
  }
}

uint64_t q7sp_draw(const Q7Rect &rect, Q7Object *dc) {
  send(dc, Q7M_DC_SET_MODE, 0, 0, slot(Q7DC_MODE_COPY));
  send(dc, Q7M_DC_SET_PEN, 0, 0, slot(Q7PEN_BACKGROUND));
  send(dc, Q7M_DC_FILL_RECTANGLE, 0, 0, slot(word(&rect)));
  const auto right = static_cast<int16_t>(rect.width - 1);
  const auto bottom = static_cast<int16_t>(rect.height - 1);
  const Q7Point lit[3] = {{0, bottom}, {0, 0}, {right, 0}};
  const Q7Point shaded[3] = {{0, bottom}, {right, bottom}, {right, 0}};
  send(dc, Q7M_DC_SET_PEN, 0, 0, slot(Q7PEN_TOP_SHADOW));
  send(dc, Q7M_DC_POLYLINE, 3, 0, slot(word(&lit[0])));
  send(dc, Q7M_DC_SET_PEN, 0, 0, slot(Q7PEN_BOTTOM_SHADOW));
  send(dc, Q7M_DC_POLYLINE, 3, 0, slot(word(&shaded[0])));
  return 1;
}

uint64_t q7sp_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *list) {
  if (method == Q7M_NEW) return create_kept<Splitter>(cl, obj, a, b, list, splitter_runs, no_init);
  // Messages to the class itself have no instance behind them.
  if (&obj->cl->header == obj) return inherit(cl, obj, method, a, b, list);
  switch (method) {
    case Q7M_DISPOSE: widget_leaves(obj); return inherit(cl, obj, method, a, b, list);
    case Q7M_SET: return set_kept<Splitter>(cl, obj, list, splitter_runs);
    case Q7M_GET: return get_kept<Splitter>(cl, obj, list, splitter_runs);
    case Q7M_SPLITTER_DRAG: return q7sp_drag(cl, obj, static_cast<int32_t>(word(list)));
    case Q7M_WIDGET_EVENT: return list ? q7sp_event(cl, obj, *reinterpret_cast<const Q7Event *>(list)) : 0;
    case Q7M_WIDGET_DRAW:
      return a && list ? q7sp_draw(*reinterpret_cast<const Q7Rect *>(a), reinterpret_cast<Q7Object *>(list)) : 0;
    default: return inherit(cl, obj, method, a, b, list);
  }
}

constexpr ClassDef frame_class = {Q7C_FRAME, Q7C_WIDGET, "q7frame", q7fr_dispatch, sizeof(Frame), Q7RegisterWidgetClass,
                                  "Frame"};
constexpr ClassDef splitter_class = {Q7C_SPLITTER,          Q7C_WIDGET, "q7splitter", q7sp_dispatch, sizeof(Splitter),
                                     Q7RegisterWidgetClass, "Splitter"};

}  // namespace

namespace q7posix {

int32_t register_frame_classes(Q7App *app) {
  return register_class(app, frame_class) && register_class(app, splitter_class);
}

}  // namespace q7posix
