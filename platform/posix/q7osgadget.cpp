// q7osgadget: the native gadgets, classes 26 and 80. They own copies of their texts and a reference on their image.
// What the user does comes out of them as a change notification, which is always their last act: it may delete them.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "core/q7memory.h"
#include "core/q7root.h"
#include "core/q7strings.h"
#include "platform/posix/gadget.hpp"
#include "platform/posix/q7posix.h"
#include "platform/posix/tree.hpp"
#include "ui/q7gadget.h"
#include "ui/q7widget.h"

using namespace q7posix;

namespace {

constexpr char kModule[] = "q7osgadget";

// ---- Attributes ----

int32_t length_of(const char *text) {
  return text ? static_cast<int32_t>(std::min<size_t>(std::strlen(text), 1 << 20)) : 0;
}

bool starts_character(char byte) { return (static_cast<uint8_t>(byte) & 0xC0) != 0x80; }

// A text longer than a megabyte, or no memory: the old one stays.
bool replace_text(char *&field, const char *text) {
  char *copy = nullptr;
  if (text) {
    if (std::strlen(text) > 1 << 20) return false;
    copy = Q7StrDup(text);
    if (!copy) {
      Q7P_ERROR(kModule, "No memory for a gadget's text");
      return false;
    }
  }
  Q7StrFree(field);
  field = copy;
  return true;
}

void q7og_place_caret(Gadget &g, int32_t caret) {
  g.caret = std::clamp(caret, 0, length_of(g.text));
  while (g.text && g.caret > 0 && !starts_character(g.text[g.caret])) --g.caret;
}

void q7og_set_image(Gadget &g, Q7Object *image) {
  Q7Object *old = g.image;
  send(image, Q7M_ADDREF);
  g.image = image;
  send(old, Q7M_RELEASE);
}

bool q7og_set_item(Gadget &g, const Q7TagItem &item) {
  const auto number = static_cast<int32_t>(item.data);
  switch (item.tag) {
    case Q7A_GADGET_LABEL: replace_text(g.label, reinterpret_cast<const char *>(item.data)); break;
    case Q7A_GADGET_ENABLED: g.disabled = item.data == 0; break;
    case Q7A_GADGET_LOOK: g.look = std::clamp<int32_t>(number, Q7GADGET_AUTOMATIC, Q7GADGET_LABEL); break;
    case Q7A_GADGET_TEXT:
      if (replace_text(g.text, reinterpret_cast<const char *>(item.data))) q7og_place_caret(g, length_of(g.text));
      g.edited = 0;
      break;
    case Q7A_GADGET_CARET: q7og_place_caret(g, number); break;
    case Q7A_GADGET_HELP: g.help = number; break;
    case Q7A_GADGET_IMAGE: q7og_set_image(g, reinterpret_cast<Q7Object *>(item.data)); break;
    case Q7A_GADGET_TAKES_PART: g.takes_part = item.data != 0; break;
    case Q7A_GADGET_SELECTED: g.selected = item.data != 0; break;
    case Q7A_GADGET_SHORTCUT: g.shortcut = number; break;
    case Q7A_GADGET_DATA: g.value = item.data; break;
    default: return false;
  }
  g.natural.known = 0;
  return true;
}

// Sizes are what was set, but never less than what the gadget needs to be read.
bool q7og_minimum(Q7Class *cl, Q7Object *self, Gadget &g, const Q7TagItem &item) {
  int32_t size = 0;
  Q7TagItem query[2] = {{item.tag, word(&size)}, {Q7TAG_END, 0}};
  inherit(cl, self, Q7M_GET, 0, 0, query);
  const Gadget::Natural &natural = natural_size(g, self);
  return store<int32_t>(item, std::max(size, item.tag == Q7A_WIDGET_MIN_WIDTH ? natural.width : natural.height));
}

bool q7og_get_item(Q7Class *cl, Q7Object *self, Gadget &g, const Q7TagItem &item) {
  switch (item.tag) {
    case Q7A_GADGET_LABEL: return store<const char *>(item, g.label);
    case Q7A_GADGET_ENABLED: return store<int32_t>(item, !g.disabled);
    case Q7A_GADGET_LOOK: return store<int32_t>(item, g.look);
    case Q7A_GADGET_TEXT: return store<const char *>(item, g.text ? g.text : "");
    case Q7A_GADGET_CARET: return store<int32_t>(item, g.caret);
    case Q7A_GADGET_HELP: return store<int32_t>(item, g.help);
    case Q7A_GADGET_IMAGE: return store<Q7Object *>(item, g.image);
    case Q7A_GADGET_TAKES_PART: return store<int32_t>(item, g.takes_part);
    case Q7A_GADGET_SELECTED: return store<int32_t>(item, g.selected);
    case Q7A_GADGET_SHORTCUT: return store<int32_t>(item, g.shortcut);
    case Q7A_GADGET_DATA: return store<uint64_t>(item, g.value);
    case Q7A_WIDGET_MIN_WIDTH:
    case Q7A_WIDGET_MIN_HEIGHT: return q7og_minimum(cl, self, g, item);
    case Q7A_WIDGET_CLIENT_X: return store<int32_t>(item, natural_size(g, self).client_x);
    default: return false;
  }
}

uint64_t q7og_set(Q7Class *cl, Q7Object *self, Q7TagItem *list) {
  bool changed = false;
  const uint64_t unknown = walk<Gadget>(cl, self, Q7M_SET, list, [&](Gadget &g, const Q7TagItem &item) {
    const bool own = q7og_set_item(g, item);
    changed = changed || own;
    return own;
  });
  if (changed) Q7Refresh(self);
  return unknown;
}

// ---- What the user does ----

uint64_t q7og_activate(Gadget &g, Q7Object *self) {
  switch (look_of(g, self)) {
    case Q7GADGET_TOGGLE:
      g.selected = !g.selected;
      Q7Refresh(self);
      notify(self, Q7A_GADGET_SELECTED, static_cast<uint64_t>(g.selected));
      return 1;
    case Q7GADGET_RADIO:
      g.selected = 1;
      Q7Refresh(self);
      notify(self, Q7A_GADGET_SELECTED, 1);
      return 1;
    case Q7GADGET_BUTTON:
      Q7Refresh(self);
      notify(self, Q7A_GADGET_DATA, g.value);
      return 1;
    default: return 0;
  }
}

bool is_field(const Gadget &g, Q7Object *self) {
  const int32_t look = look_of(g, self);
  return look == Q7GADGET_FIELD || look == Q7GADGET_NUMBER;
}

void q7og_commit(Gadget &g, Q7Object *self) {
  g.edited = 0;
  notify(self, Q7A_GADGET_TEXT, word(g.text ? g.text : ""));
}

bool inside(Q7Object *self, const Q7Event &event) {
  return event.x >= 0 && event.y >= 0 && event.x < attribute<int32_t>(self, Q7A_WIDGET_WIDTH) &&
         event.y < attribute<int32_t>(self, Q7A_WIDGET_HEIGHT);
}

uint64_t q7og_pointer(Gadget &g, Q7Object *self, const Q7Event &event) {
  if (look_of(g, self) == Q7GADGET_LABEL) return 0;
  const int32_t pressed = g.pressed;
  switch (event.kind) {
    case Q7EVENT_PRESS:
      if (event.button != 1) return 0;
      g.pressed = !g.disabled && !is_field(g, self);
      break;
    case Q7EVENT_MOTION:
      // -1: still held, but outside.
      if (g.pressed) g.pressed = inside(self, event) ? 1 : -1;
      break;
    default:
      g.pressed = 0;
      if (pressed && inside(self, event) && event.button == 1 && !g.disabled) return q7og_activate(g, self);
      break;
  }
  if (pressed != g.pressed) Q7Refresh(self);
  return pressed || g.pressed || event.kind == Q7EVENT_PRESS;
}

// ---- Editing ----

int32_t before(const Gadget &g, int32_t place) {
  do {
    --place;
  } while (place > 0 && !starts_character(g.text[place]));
  return std::max(place, 0);
}
int32_t behind(const Gadget &g, int32_t place) {
  const int32_t length = length_of(g.text);
  do {
    ++place;
  } while (place < length && !starts_character(g.text[place]));
  return std::min(place, length);
}

// Replaces the bytes from..to of the text; the caret stands behind what is new. False, reported, without memory.
bool q7og_replace(Gadget &g, int32_t from, int32_t to, const char *with) {
  const int32_t length = length_of(g.text);
  const auto added = static_cast<int32_t>(std::min<size_t>(std::strlen(with), 1 << 20));
  if (length - (to - from) + added > 1 << 20) return false;
  const auto size = static_cast<uint32_t>(length - (to - from) + added);
  char *text = Q7StrAlloc(size ? size : 1);
  if (!text) {
    Q7P_ERROR(kModule, "No memory for a gadget's text");
    return false;
  }
  if (from) std::memcpy(text, g.text, static_cast<size_t>(from));
  std::memcpy(text + from, with, static_cast<size_t>(added));
  if (length > to) std::memcpy(text + from + added, g.text + to, static_cast<size_t>(length - to));
  text[size] = 0;
  Q7StrFree(g.text);
  g.text = text;
  g.edited = 1;
  q7og_place_caret(g, from + added);
  return true;
}

// Only whole characters, no control characters.
bool q7og_type(Gadget &g, const char *typed) {
  const size_t size = std::strlen(typed) + 1;
  if (size == 1 || size > 4096) return false;
  char clean[4096];
  clean_text(clean, typed);
  return q7og_replace(g, g.caret, g.caret, clean);
}

// Steps the digit in front of the caret.
bool q7og_step(Gadget &g, int32_t direction) {
  const char *text = g.text ? g.text : "";
  char *end = nullptr;
  const long value = std::strtol(text, &end, 10);
  if (end == text || *end || value > INT32_MAX || value < INT32_MIN) return false;
  const int32_t digits = length_of(text);
  const int32_t from_end = digits - g.caret;
  char stepped[16];
  snprintf(stepped, sizeof stepped, "%d",
           Q7ScrollNumber(static_cast<int32_t>(value), digits, g.caret ? g.caret : 1, direction));
  if (!q7og_replace(g, 0, digits, stepped)) return false;
  q7og_place_caret(g, length_of(g.text) - from_end);
  return true;
}

uint64_t q7og_edit(Gadget &g, Q7Object *self, const Q7Event &event) {
  const int32_t length = length_of(g.text);
  bool changed = true;
  switch (event.key) {
    case 0:
      changed = event.text && !(event.modifiers & (Q7EVENT_CONTROL | Q7EVENT_ALT)) && q7og_type(g, event.text);
      break;
    case Q7KEY_RETURN: q7og_commit(g, self); return 1;
    case Q7KEY_BACKSPACE: changed = g.caret > 0 && q7og_replace(g, before(g, g.caret), g.caret, ""); break;
    case Q7KEY_DELETE: {
      const int32_t caret = g.caret;
      changed = caret < length && q7og_replace(g, caret, behind(g, caret), "");
      break;
    }
    case Q7KEY_LEFT: g.caret = g.caret > 0 ? before(g, g.caret) : 0; break;
    case Q7KEY_RIGHT: g.caret = g.caret < length ? behind(g, g.caret) : length; break;
    case Q7KEY_HOME: g.caret = 0; break;
    case Q7KEY_END: g.caret = length; break;
    case Q7KEY_UP:
    case Q7KEY_DOWN:
      if (look_of(g, self) != Q7GADGET_NUMBER) return 0;
      changed = q7og_step(g, event.key == Q7KEY_UP ? 1 : -1);
      break;
    default: return 0;
  }
  if (changed) Q7Refresh(self);
  // A field keeps what it has no use for, or a letter that did not fit would press a button.
  return event.key != 0 || event.text != nullptr;
}

uint64_t q7og_key(Gadget &g, Q7Object *self, const Q7Event &event) {
  if (g.disabled) return 0;
  if (is_field(g, self)) return q7og_edit(g, self, event);
  const bool space = event.key == 0 && event.text && std::strcmp(event.text, " ") == 0;
  return event.key == Q7KEY_RETURN || space ? q7og_activate(g, self) : 0;
}

uint64_t q7og_event(Gadget &g, Q7Object *self, const Q7Event *event) {
  if (!event) return 0;
  return event->kind == Q7EVENT_KEY ? q7og_key(g, self, *event) : q7og_pointer(g, self, *event);
}

uint64_t q7og_focus(Gadget &g, Q7Object *self, bool on) {
  const bool usable = !g.disabled && look_of(g, self) != Q7GADGET_LABEL;
  if (on && !usable) return 0;
  g.has_keyboard = on;
  Q7Refresh(self);
  if (!on && g.edited) q7og_commit(g, self);
  return 1;
}

// ---- Life ----

struct SizeTags {
  uint32_t minimum, size;
};
// A gadget that was given no size begins with the one it needs. Its minimum is kept as 1, since a widget without one
// would take the size of its first layout for it and never shrink again.
void q7og_natural_start(Q7Class *cl, Q7Object *self, Gadget &g, SizeTags tags) {
  int32_t minimum = 0;
  Q7TagItem query[2] = {{tags.minimum, word(&minimum)}, {Q7TAG_END, 0}};
  inherit(cl, self, Q7M_GET, 0, 0, query);
  if (minimum != 0) return;
  const Gadget::Natural &natural = natural_size(g, self);
  const int32_t size = tags.size == Q7A_WIDGET_WIDTH ? natural.width : natural.height;
  Q7TagItem start[3] = {{tags.minimum, 1}, {tags.size, static_cast<uint64_t>(size)}, {Q7TAG_END, 0}};
  inherit(cl, self, Q7M_SET, 0, 0, start);
}

uint64_t q7og_new(Q7Class *cl, Q7Object *receiver, uint64_t a, uint64_t b, Q7TagItem *list) {
  auto *self = reinterpret_cast<Q7Object *>(inherit(cl, receiver, Q7M_NEW, a, b, list));
  if (!self) return 0;
  auto &g = data<Gadget>(cl, self);
  each_tag(list, [&](const Q7TagItem &item) { q7og_set_item(g, item); });
  q7og_natural_start(cl, self, g, {Q7A_WIDGET_MIN_WIDTH, Q7A_WIDGET_WIDTH});
  q7og_natural_start(cl, self, g, {Q7A_WIDGET_MIN_HEIGHT, Q7A_WIDGET_HEIGHT});
  return word(self);
}

uint64_t q7og_dispose(Q7Class *cl, Q7Object *self, uint64_t a, uint64_t b, Q7TagItem *list) {
  auto &g = data<Gadget>(cl, self);
  widget_leaves(self);
  Q7StrFree(g.label);
  Q7StrFree(g.text);
  g.label = g.text = nullptr;
  q7og_set_image(g, nullptr);
  return inherit(cl, self, Q7M_DISPOSE, a, b, list);
}

uint64_t q7og_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *list) {
  if (method == Q7M_NEW) return q7og_new(cl, obj, a, b, list);
  // Messages to the class itself have no instance behind them.
  if (&obj->cl->header == obj) return inherit(cl, obj, method, a, b, list);
  auto &g = data<Gadget>(cl, obj);
  switch (method) {
    case Q7M_DISPOSE: return q7og_dispose(cl, obj, a, b, list);
    case Q7M_SET: return q7og_set(cl, obj, list);
    case Q7M_GET:
      return walk<Gadget>(cl, obj, method, list,
                          [&](Gadget &own, const Q7TagItem &item) { return q7og_get_item(cl, obj, own, item); });
    case Q7M_WIDGET_DRAW: {
      const auto *rect = reinterpret_cast<const Q7Rect *>(a);
      return rect && list && draw_gadget(g, obj, *rect, reinterpret_cast<Q7Object *>(list));
    }
    case Q7M_WIDGET_EVENT: return q7og_event(g, obj, reinterpret_cast<const Q7Event *>(list));
    case Q7M_WIDGET_FOCUS: return q7og_focus(g, obj, list != nullptr);
    default: return inherit(cl, obj, method, a, b, list);
  }
}

constexpr ClassDef gadget_class = {Q7C_OSGADGET,          Q7C_GADGET,     "q7osgadget", q7og_dispatch, sizeof(Gadget),
                                   Q7RegisterGadgetClass, "Native Gadget"};
constexpr ClassDef image_gadget_class = {Q7C_OSGADGET2,        Q7C_GADGET,     "q7osgadget2",
                                         q7og_dispatch,        sizeof(Gadget), Q7RegisterGadgetClass,
                                         "Native Image Gadget"};

}  // namespace

int32_t Q7RegisterOSGadgetClass(Q7App *app) {
  return register_class(app, gadget_class) && register_class(app, image_gadget_class);
}
