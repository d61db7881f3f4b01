// q7separg: the separator class. It asks the platform for a plain window of minimum size and answers its fixed sizes
// and state itself.
#include "ui/q7separg.h"

#include "platform/q7platform.h"
#include "ui/q7dc.h"
#include "ui/widget.hpp"

namespace {

struct Separator {
  int32_t orientation;          // 41546
  int32_t x, y, width, height;  // of the last draw request
};

constexpr int32_t kMinimum = 3;  // a dark and a light line, and one pixel between
constexpr uint64_t kState = q7::kFlag2;

// The platform's window attributes.
enum { kWindowKind = 20500, kWindowBorderless = 20525, kWindowLevel = 20526 };

// True when the orientation changed.
bool q7sg_orient(Separator &s, const Q7TagItem &item) {
  const auto orientation = q7::value<int32_t>(item);
  const bool changed = orientation != s.orientation;
  s.orientation = orientation;
  return changed;
}

// A shaded and a lit line through the middle, along the orientation.
uint64_t q7sg_draw(Separator &s, const Q7Rect *rect, Q7Object *dc) {
  if (!rect || !dc) return 0;
  s.x = rect->x;
  s.y = rect->y;
  s.width = rect->width;
  s.height = rect->height;
  const bool across = s.orientation != 0;
  const int32_t middle = ((across ? s.height : s.width) - 2) / 2;
  uint64_t drawn = 0;
  for (int32_t line = 0; line < 2; ++line) {
    const Q7Rect place =
        across ? Q7Rect{s.x, s.y + middle + line, s.width, 1} : Q7Rect{s.x + middle + line, s.y, 1, s.height};
    q7::send(dc, Q7M_DC_SET_PEN, 0, 0, q7::slot(line ? Q7PEN_TOP_SHADOW : Q7PEN_BOTTOM_SHADOW));
    drawn |= q7::send(dc, Q7M_DC_FILL_RECTANGLE, 0, 0, q7::slot(&place));
  }
  return drawn;
}

uint64_t q7sg_new(Q7Class *cl, Q7Object *receiver, uint64_t a, uint64_t b, Q7TagItem *tags) {
  Q7TagItem list[] = {{kWindowLevel, 2},
                      {kWindowBorderless, 1},
                      {kWindowKind, 15},
                      {Q7A_WIDGET_MIN_WIDTH, kMinimum},
                      {Q7A_WIDGET_MIN_HEIGHT, kMinimum},
                      {Q7A_WIDGET_INHERITED, 1},
                      {Q7TAG_LINK, q7::arg(tags)},
                      {Q7TAG_END, 0}};
  return q7::create<Separator>(cl, receiver, a, b, list, [](Separator &s, const Q7TagItem &item) {
    if (item.tag == Q7A_WIDGET_INHERITED) q7sg_orient(s, item);
    return true;
  });
}

uint64_t q7sg_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  // Messages to the class itself have no instance behind them.
  if (&obj->cl->header == obj && method != Q7M_NEW) return q7::inherit(cl, obj, method, a, b, tags);
  switch (method) {
    case Q7M_NEW: return q7sg_new(cl, obj, a, b, tags);
    case Q7M_SET:
      return q7::set_attributes<Separator>(cl, obj, tags, [](Separator &s, Q7Object *self, const Q7TagItem &item) {
        if (item.tag != Q7A_WIDGET_INHERITED) return false;
        if (q7sg_orient(s, item)) Q7Refresh(self);
        return true;
      });
    case Q7M_GET:
      return q7::get_attributes<Separator>(cl, obj, tags, [](const Separator &s, const Q7TagItem &item) {
        switch (item.tag) {
          case Q7A_WIDGET_INHERITED: return q7::store<int32_t>(item, s.orientation);
          case Q7A_WIDGET_MIN_WIDTH:
          case Q7A_WIDGET_MIN_HEIGHT: return q7::store<int32_t>(item, kMinimum);
          case Q7A_WIDGET_FLAG1: return q7::store<int32_t>(item, (kState & q7::kFlag1) != 0);
          case Q7A_WIDGET_FLAG2: return q7::store<int32_t>(item, (kState & q7::kFlag2) != 0);
          default: return false;
        }
      });
    case Q7M_WIDGET_STATE: return kState;
    case Q7M_WIDGET_DRAW:
      return q7sg_draw(q7::data<Separator>(cl, obj), q7::as<const Q7Rect *>(a), q7::slot_as<Q7Object *>(tags));
    default: return q7::inherit(cl, obj, method, a, b, tags);
  }
}

constexpr q7::ClassDef separator_class = {.id = Q7C_SEPARATOR,
                                          .super = Q7C_WINDOW,
                                          .name = "q7separg",
                                          .dispatch = q7sg_dispatch,
                                          .size = sizeof(Separator),
                                          .needs = Q7RegisterWindowClass,
                                          .description = "Separator"};

}  // namespace

int32_t Q7RegisterSeparatorGadgetClass(Q7App *app) { return q7::register_once(app, separator_class); }
