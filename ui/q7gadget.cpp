// q7gadget: the gadget base class and the helper of numeric fields. A gadget owns a reference on its model and none on
// its window.
#include "ui/q7gadget.h"

#include <cmath>
#include <cstring>

#include "core/numbers.hpp"
#include "core/q7root.h"
#include "core/q7typeid.h"
#include "core/report.hpp"
#include "ui/widget.hpp"

namespace {

constexpr char kModule[] = "q7gadget";

struct Gadget {
  Q7Object *window;  // 41500, kept here as well as by the widget part
  Q7Object *model;   // 21501: referenced
  uint32_t flags;    // 21516 to 21518: bits 1, 2, 4
  q7::WeakField window_link;
};

constexpr uint32_t kStringCount = 21;
Q7LocaleEntry gadget_strings[kStringCount] = {
    {"NoWindowForGadget", "No window for gadget", 0},
    {"Close", "Close", 0},
    {"Name", "Name", 0},
    {"Yes", "Yes", 0},
    {"No", "No", 0},
    {"Cancel", "Cancel", 0},
    {"OK", "OK", 0},
    {"Apply", "Apply", 0},
    // Close and Cancel share their key: translations resolve it where a dialog has both.
    {"CloseKey", "C", 0},
    {"YesKey", "Y", 0},
    {"NoKey", "N", 0},
    {"CancelKey", "C", 0},
    {"OKKey", "O", 0},
    {"ApplyKey", "A", 0},
    {"Reserved14", "Reserved", 0},
    {"Reserved15", "Reserved", 0},
    {"Reserved16", "Reserved", 0},
    {"Reserved17", "Reserved", 0},
    {"Reserved18", "Reserved", 0},
    {"Reserved19", "Reserved", 0},
    {"ClassDescription", "Gadget", 0},
};

constexpr Q7PublicAttribute gadget_attributes[] = {
    {"ConflictColor", Q7A_GADGET_CONFLICT_COLOR, Q7TID_RGB, 0, {}, 0, {}},
    {nullptr, 0, 0, 0, {}, 0, {}},
};

constexpr double kRed[3] = {1.0, 0.0, 0.0};
double conflict_color[3] = {kRed[0], kRed[1], kRed[2]};

constexpr q7::ClassDef gadget_class = {.id = Q7C_GADGET,
                                       .super = Q7C_WIDGET,
                                       .name = "q7gadget",
                                       .dispatch = Q7GadgetDispatch,
                                       .size = sizeof(Gadget),
                                       .needs = Q7RegisterWidgetClass,
                                       .strings = gadget_strings,
                                       .string_count = kStringCount,
                                       .attributes = gadget_attributes,
                                       .description_string = Q7GADGET_DESCRIPTION};

const char *q7gg_string(const Q7Class *cl, uint32_t index) {
  return (cl->catalog ? cl->catalog : gadget_strings)[index].text;
}

// ---- Class attributes ----

// Three numbers separated by commas; each that can be read is taken.
void q7gg_parse_color(const char *text) {
  if (!text || std::strlen(text) <= 5) return;
  for (double &channel : conflict_color) {
    if (!q7::parse_number(text, channel)) return;
    if (*text != ',') return;
    ++text;
  }
}

bool q7gg_set_class(const Q7TagItem &item) {
  switch (item.tag) {
    case Q7A_GADGET_CONFLICT_COLOR:
      if (item.data) std::memcpy(conflict_color, q7::value<const void *>(item), sizeof conflict_color);
      return true;
    case Q7A_GADGET_CONFLICT_TEXT: q7gg_parse_color(q7::value<const char *>(item)); return true;
    default: return false;
  }
}

bool q7gg_get_class(const Q7TagItem &item) {
  if (item.tag != Q7A_GADGET_CONFLICT_COLOR) return false;
  if (item.data) std::memcpy(q7::value<void *>(item), conflict_color, sizeof conflict_color);
  return true;
}

// ---- Attributes ----

// The widget part decides: a gadget cannot become its own window.
void q7gg_take_window(Gadget &g, Q7Object *self) { g.window_link.assign(g.window, q7::widget_data(self)->parent); }

bool q7gg_set_item(Q7Class *cl, Gadget &g, Q7Object *self, const Q7TagItem &item, bool init) {
  const auto flag = [&](uint32_t bit) {
    g.flags = q7::flag(item) ? g.flags | bit : g.flags & ~bit;
    return true;
  };
  switch (item.tag) {
    case Q7A_WIDGET_PARENT:
      if (!init) q7::inherit_item(cl, self, Q7M_SET, item);
      q7gg_take_window(g, self);
      return true;
    case Q7A_GADGET_MODEL: q7::replace_reference(g.model, q7::value<Q7Object *>(item)); return true;
    case Q7A_GADGET_FLAG1: return flag(1);
    case Q7A_GADGET_FLAG2: return flag(2);
    case Q7A_GADGET_FLAG4: return flag(4);
    case Q7A_GADGET_VALUE502:
    case Q7A_GADGET_VALUE508:
    case Q7A_GADGET_VALUE509:
    case Q7A_GADGET_VALUE510:
    case Q7A_GADGET_VALUE513: return true;
    default: return false;
  }
}

bool q7gg_get_item(const Gadget &g, const Q7TagItem &item) {
  switch (item.tag) {
    case Q7A_GADGET_MODEL: return q7::store<Q7Object *>(item, g.model);
    case Q7A_GADGET_FLAG1: return q7::store<int32_t>(item, (g.flags & 1) != 0);
    case Q7A_GADGET_FLAG2: return q7::store<int32_t>(item, (g.flags & 2) != 0);
    case Q7A_GADGET_FLAG4: return q7::store<int32_t>(item, (g.flags & 4) != 0);
    case Q7A_GADGET_VALUE502:
    case Q7A_GADGET_VALUE508:
    case Q7A_GADGET_VALUE509:
    case Q7A_GADGET_VALUE510: return q7::store<int32_t>(item, 0);
    default: return false;
  }
}

// ---- Life ----

Q7_HANDLER uint64_t q7gg_dispose(Q7Class *cl, Q7Object *self, uint64_t a, uint64_t b, Q7TagItem *tags) {
  auto &g = q7::data<Gadget>(cl, self);
  Q7Object *model = g.model;
  g.model = nullptr;
  q7::release(model);
  g.window_link.drop();
  return q7::inherit(cl, self, Q7M_DISPOSE, a, b, tags);
}

Q7_HANDLER uint64_t q7gg_new(Q7Class *cl, Q7Object *receiver, uint64_t a, uint64_t b, Q7TagItem *tags) {
  auto *self =
      q7::as<Q7Object *>(q7::create<Gadget>(cl, receiver, a, b, tags, [cl](Gadget &g, Q7Object *obj, Q7TagItem &item) {
        return q7gg_set_item(cl, g, obj, item, true);
      }));
  if (!self || q7::data<Gadget>(cl, self).window) return q7::arg(self);
  Q7_REPORT_ERROR(kModule, "%s", q7gg_string(cl, Q7GADGET_NO_WINDOW));
  // A list it was created into (524).
  if (self->succ && self->pred) Q7Remove(reinterpret_cast<Q7Node *>(self));
  q7gg_dispose(cl, self, a, 0, nullptr);
  return 0;
}

Q7_HANDLER uint64_t q7gg_text(const Q7Class *cl, int32_t index) {
  if (index >= 0 && index < static_cast<int32_t>(kStringCount)) {
    return q7::arg(q7gg_string(cl, static_cast<uint32_t>(index)));
  }
  Q7_REPORT_ERROR(kModule, "String %d not found", static_cast<int>(index));
  return 0;
}

}  // namespace

uint64_t Q7GadgetDispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  if (!cl || !obj) return 0;
  const bool to_class = &obj->cl->header == obj;
  switch (method) {
    case Q7M_NEW: return q7gg_new(cl, obj, a, b, tags);
    case Q7M_SETCLASSATTRS: return q7::walk_items(cl, obj, method, tags, q7gg_set_class);
    case Q7M_GETCLASSATTRS: return q7::walk_items(cl, obj, method, tags, q7gg_get_class);
    case Q7M_COLLECT_TABLES:
    case Q7M_NAME_OF_TAG:
    case Q7M_ROW_BY_TAG:
    case Q7M_ROW_BY_NAME:
    case Q7M_TAG_BY_NAME: return q7::public_attributes(gadget_attributes, cl, obj, method, a, b, tags);
    case Q7M_CLASS_FREE:
      if (&cl->header == obj) std::memcpy(conflict_color, kRed, sizeof conflict_color);
      return q7::class_free(gadget_class, cl, obj, a, b, tags);
    case Q7M_STRING: return q7gg_text(cl, q7::slot_int(tags));
    case Q7M_GADGET_HOOK0:
    case Q7M_GADGET_HOOK1: return 0;
    default: break;
  }
  if (to_class) return q7::inherit(cl, obj, method, a, b, tags);
  switch (method) {
    case Q7M_DISPOSE: return q7gg_dispose(cl, obj, a, b, tags);
    case Q7M_SET:
      return q7::set_attributes<Gadget>(cl, obj, tags, [cl](Gadget &g, Q7Object *self, Q7TagItem &item) {
        return q7gg_set_item(cl, g, self, item, false);
      });
    case Q7M_GET: return q7::get_attributes<Gadget>(cl, obj, tags, q7gg_get_item);
    default: return q7::inherit(cl, obj, method, a, b, tags);
  }
}

int32_t Q7RegisterGadgetClass(Q7App *app) { return q7::register_once(app, gadget_class); }

int32_t Q7ScrollNumber(int32_t value, int32_t digits, int32_t position, int32_t direction) {
  if (value < 0 && position <= 1) return value == INT32_MIN ? INT32_MAX : -value;
  const double step = std::pow(10.0, static_cast<double>(digits) - position);
  const double sign = direction < 0 ? -1 : 1;
  const double result = sign * step + value;
  if (result >= 2147483647.0) return INT32_MAX;
  if (result <= -2147483648.0) return INT32_MIN;
  return static_cast<int32_t>(result);
}
