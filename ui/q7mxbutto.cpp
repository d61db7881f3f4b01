// q7mxbutto: the stepping button. It owns copies of its labels, its values and a reference on each image. Invariant:
// the ordinal is -1 without items and one of them otherwise.
#include "ui/q7mxbutto.h"

#include <utility>

#include "core/q7memory.h"
#include "core/q7strings.h"
#include "platform/q7platform.h"
#include "ui/widget.hpp"

namespace {

enum : uint32_t { kNative = 26 };
enum : uint32_t { kLabel = 21500, kImage = 21507, kTakesPart = 21508, kSelected = 21509, kValue = 21513 };

struct Item {
  char *label;
  uint64_t value;
  Q7Object *image;  // referenced
};

struct MxButton {
  Item *items;
  int32_t count;
  int32_t ordinal;     // 395500; -1 without items
  int32_t takes_part;  // 21508
  int32_t selected;    // 21509
  int32_t has_images;  // 1 when an item has one: then the image is set with each item
};

void q7mb_free(Item *items, int32_t count) {
  for (int32_t i = 0; i < count; ++i) {
    Q7StrFree(items[i].label);
    q7::release(items[i].image);
  }
  Q7FreeMem(items, 0);
}

// Copies labels; the values are the ordinals at first. False when memory is short.
bool q7mb_copy_labels(const char *const *labels, Item *&items, int32_t &count) {
  items = nullptr;
  count = 0;
  int32_t wanted = 0;
  while (labels && labels[wanted]) ++wanted;
  if (wanted == 0) return true;
  items = static_cast<Item *>(Q7AllocMem(static_cast<uint64_t>(wanted) * sizeof(Item), Q7MEM_CLEAR));
  if (!items) return false;
  for (; count < wanted; ++count) {
    items[count].label = Q7StrDup(labels[count]);
    items[count].value = q7::arg(count);
    if (!items[count].label) {
      q7mb_free(items, count);
      return false;
    }
  }
  return true;
}

// Shows the item of the ordinal on the gadget.
void q7mb_show(Q7Class *cl, const MxButton &mb, Q7Object *self) {
  if (mb.ordinal < 0) return;
  const Item item = mb.items[mb.ordinal];
  const bool images = mb.has_images != 0;
  q7::inherit_item(cl, self, Q7M_SET, {kLabel, q7::arg(item.label)});
  if (images) q7::inherit_item(cl, self, Q7M_SET, {kImage, q7::arg(item.image)});
  q7::inherit_item(cl, self, Q7M_SET, {kValue, item.value});
}

void q7mb_select(Q7Class *cl, MxButton &mb, Q7Object *self, int32_t ordinal) {
  if (ordinal < 0 || ordinal >= mb.count) return;
  mb.ordinal = ordinal;
  q7mb_show(cl, mb, self);
}

uint64_t q7mb_step(Q7Class *cl, MxButton &mb, Q7Object *self, int32_t by) {
  if (mb.count == 0) return 0;
  const int64_t step = (static_cast<int64_t>(mb.ordinal) + by) % mb.count;
  q7mb_select(cl, mb, self, static_cast<int32_t>(step < 0 ? step + mb.count : step));
  return 1;
}

// Takes over the arrays of a list, labels first, since they say how many items there are. The gadget shows the new item
// before the old ones go: it may keep what it was given.
void q7mb_take_arrays(Q7Class *cl, MxButton &mb, Q7Object *self, Q7TagItem *list) {
  Item *old = nullptr;
  int32_t old_count = 0;
  bool changed = false;
  for (const Q7TagItem &item : q7::tags(list)) {
    if (item.tag != Q7A_MX_LABELS) continue;
    Item *items;
    int32_t count;
    if (!q7mb_copy_labels(q7::value<const char *const *>(item), items, count)) continue;
    q7mb_free(old, old_count);
    if (!changed) {
      old = std::exchange(mb.items, items);
      old_count = std::exchange(mb.count, count);
    } else {
      // Given twice in one list: the first was never shown.
      q7mb_free(std::exchange(mb.items, items), std::exchange(mb.count, count));
    }
    mb.has_images = 0;
    mb.ordinal = count == 0 ? -1 : mb.ordinal < 0 || mb.ordinal >= count ? 0 : mb.ordinal;
    changed = true;
  }
  for (const Q7TagItem &item : q7::tags(list)) {
    if (item.tag == Q7A_MX_VALUES) {
      const auto *values = q7::value<const uint64_t *>(item);
      for (int32_t i = 0; i < mb.count; ++i) mb.items[i].value = values ? values[i] : q7::arg(i);
      changed = true;
    } else if (item.tag == Q7A_MX_IMAGES) {
      auto *const *images = q7::value<Q7Object *const *>(item);
      for (int32_t i = 0; i < mb.count; ++i) {
        Q7Object *image = images ? images[i] : nullptr;
        if (image) mb.has_images = 1;
        q7::replace_reference(mb.items[i].image, image);
      }
      changed = true;
    }
  }
  if (changed && mb.count > 0) q7mb_show(cl, mb, self);
  if (old_count > 0 && mb.count == 0) q7::inherit_item(cl, self, Q7M_SET, {kLabel, 0});
  q7mb_free(old, old_count);
}

uint64_t q7mb_set(Q7Class *cl, Q7Object *self, Q7TagItem *list) {
  auto &mb = q7::data<MxButton>(cl, self);
  q7mb_take_arrays(cl, mb, self, list);
  return q7::walk_items(cl, self, Q7M_SET, list, [&](const Q7TagItem &item) {
    switch (item.tag) {
      case Q7A_MX_LABELS:
      case Q7A_MX_VALUES:
      case Q7A_MX_IMAGES: return true;
      case Q7A_MX_ORDINAL: q7mb_select(cl, mb, self, q7::value<int32_t>(item)); return true;
      // Kept here, and shown by the gadget if it can.
      case kTakesPart: mb.takes_part = q7::flag(item); break;
      case kSelected: mb.selected = q7::flag(item); break;
      default: return false;
    }
    q7::inherit_item(cl, self, Q7M_SET, item);
    return true;
  });
}

uint64_t q7mb_get(Q7Class *cl, Q7Object *self, Q7TagItem *list) {
  const auto &mb = q7::data<MxButton>(cl, self);
  return q7::walk_items(cl, self, Q7M_GET, list, [&](const Q7TagItem &item) {
    switch (item.tag) {
      case Q7A_MX_ORDINAL: return q7::store<int32_t>(item, mb.ordinal);
      case kTakesPart: return q7::store<int32_t>(item, mb.takes_part);
      case kSelected: return q7::store<int32_t>(item, mb.selected);
      case kValue: return mb.ordinal >= 0 && q7::store<uint64_t>(item, mb.items[mb.ordinal].value);
      default: return false;
    }
  });
}

uint64_t q7mb_new(Q7Class *cl, Q7Object *receiver, uint64_t a, uint64_t b, Q7TagItem *tags) {
  auto *self = q7::as<Q7Object *>(q7::inherit(cl, receiver, Q7M_NEW, a, b, tags));
  if (!self) return 0;
  auto &mb = q7::data<MxButton>(cl, self);
  mb.ordinal = -1;
  mb.takes_part = 1;
  for (const Q7TagItem &item : q7::tags(tags)) {
    if (item.tag == kTakesPart) mb.takes_part = q7::flag(item);
    if (item.tag == kSelected) mb.selected = q7::flag(item);
  }
  q7mb_take_arrays(cl, mb, self, tags);
  for (const Q7TagItem &item : q7::tags(tags)) {
    if (item.tag == Q7A_MX_ORDINAL) q7mb_select(cl, mb, self, q7::value<int32_t>(item));
  }
  return q7::arg(self);
}

uint64_t q7mb_dispose(Q7Class *cl, Q7Object *self, uint64_t a, uint64_t b, Q7TagItem *tags) {
  auto &mb = q7::data<MxButton>(cl, self);
  Item *items = std::exchange(mb.items, nullptr);
  const int32_t count = std::exchange(mb.count, 0);
  mb.ordinal = -1;
  const uint64_t answer = q7::inherit(cl, self, Q7M_DISPOSE, a, b, tags);
  q7mb_free(items, count);
  return answer;
}

// A press of the user's goes on to the next item before it is told to the world.
uint64_t q7mb_pressed(Q7Class *cl, Q7Object *self, uint64_t a, uint64_t quiet, Q7TagItem *data) {
  auto &mb = q7::data<MxButton>(cl, self);
  if (quiet || !q7mb_step(cl, mb, self, 1)) return q7::inherit(cl, self, Q7M_WIDGET_CHANGED, a, quiet, data);
  return q7::inherit(cl, self, Q7M_WIDGET_CHANGED, q7::arg(mb.ordinal), 0, q7::slot(mb.ordinal));
}

uint64_t q7mb_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  if (method == Q7M_NEW) return q7mb_new(cl, obj, a, b, tags);
  // Messages to the class itself have no instance behind them.
  if (&obj->cl->header == obj) return q7::inherit(cl, obj, method, a, b, tags);
  switch (method) {
    case Q7M_DISPOSE: return q7mb_dispose(cl, obj, a, b, tags);
    case Q7M_SET: return q7mb_set(cl, obj, tags);
    case Q7M_GET: return q7mb_get(cl, obj, tags);
    case Q7M_WIDGET_CHANGED: return q7mb_pressed(cl, obj, a, b, tags);
    case Q7M_MXBUTTON_NEXT: return q7mb_step(cl, q7::data<MxButton>(cl, obj), obj, q7::slot_int(tags));
    default: return q7::inherit(cl, obj, method, a, b, tags);
  }
}

// The platform's gadgets stand on the gadget class.
int32_t q7mb_needs(Q7App *app) { return Q7RegisterGadgetClass(app) && Q7RegisterOSGadgetClass(app); }

constexpr q7::ClassDef mxbutton_class = {.id = Q7C_MXBUTTON,
                                         .super = kNative,
                                         .name = "q7mxbutto",
                                         .dispatch = q7mb_dispatch,
                                         .size = sizeof(MxButton),
                                         .needs = q7mb_needs,
                                         .description = "Mutual Exclusion Button"};

}  // namespace

int32_t Q7RegisterMxButtonClass(Q7App *app) { return q7::register_once(app, mxbutton_class); }
