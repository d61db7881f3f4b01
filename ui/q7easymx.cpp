// q7easymx: groups made from labels. The group holds a reference on each of its gadgets besides those of packer and
// window, so they live exactly as long as it does, whichever of the others goes first.
#include "ui/q7easymx.h"

#include <utility>

#include "core/guards.hpp"
#include "core/q7memory.h"
#include "core/q7objects.h"
#include "platform/q7platform.h"
#include "ui/q7packer.h"
#include "ui/widget.hpp"

namespace {

enum : uint32_t { kTextGadget = 26, kImageGadget = 80 };
enum : uint32_t { kLabel = 21500, kImage = 21507, kTakesPart = 21508, kSelected = 21509, kValue = 21513 };

struct Member {
  Q7Object *gadget;  // referenced; null when it was deleted all the same
  uint64_t value;
  q7::WeakField link;
};

struct EasyMx {
  Member *members;  // count of them, in the packer's order
  int32_t count;
};

// What creation is told.
struct Request {
  const char *const *labels;
  const uint64_t *values;
  Q7Object *const *images;
  uint64_t parent;
  int32_t ordinal;
  int32_t orientation;
};

Request q7em_read(Q7TagItem *tags) {
  Request r = {nullptr, nullptr, nullptr, 0, -1, 0};
  for (const Q7TagItem &item : q7::tags(tags)) {
    switch (item.tag) {
      case Q7A_MX_LABELS: r.labels = q7::value<const char *const *>(item); break;
      case Q7A_MX_VALUES: r.values = q7::value<const uint64_t *>(item); break;
      case Q7A_MX_IMAGES: r.images = q7::value<Q7Object *const *>(item); break;
      case Q7A_WIDGET_PARENT: r.parent = item.data; break;
      case Q7A_MX_ORDINAL: r.ordinal = q7::value<int32_t>(item); break;
      case Q7A_PACKER_ORIENTATION: r.orientation = q7::value<int32_t>(item); break;
      default: break;
    }
  }
  return r;
}

Q7Object *q7em_make_packer(int32_t orientation) {
  Q7TagItem list[] = {{Q7A_PACKER_ORIENTATION, q7::arg(orientation)}, {Q7TAG_END, 0}};
  return Q7ObjectCreateA(Q7C_PACKER, list);
}

// The group part. What it is to activate comes when there are members; a manager of the caller's has no place here.
Q7Object *q7em_make_group(Q7Class *cl, Q7Object *receiver, uint64_t a, uint64_t b, Q7TagItem *tags, Q7Object *packer) {
  uint64_t count = 3;
  for ([[maybe_unused]] const Q7TagItem &item : q7::tags(tags)) ++count;
  q7::Block<Q7TagItem> list(count);
  if (!list) return nullptr;
  Q7TagItem *next = list.get();
  *next++ = {Q7A_MX_EXCLUSIVE, 1};
  for (const Q7TagItem &item : q7::tags(tags)) {
    if (item.tag != Q7A_MX_MANAGER && item.tag != Q7A_MX_ORDINAL) *next++ = item;
  }
  *next++ = {Q7A_MX_MANAGER, q7::arg(packer)};
  *next = {Q7TAG_END, 0};
  return q7::as<Q7Object *>(q7::inherit(cl, receiver, Q7M_NEW, a, b, list.get()));
}

bool q7em_make_members(EasyMx &e, const Request &r, Q7Object *packer) {
  int32_t count = 0;
  while (r.labels && r.labels[count]) ++count;
  if (count == 0) return true;
  q7::Block<Member> members(static_cast<uint64_t>(count));
  if (!members) return false;
  e.members = members.release();
  for (; e.count < count; ++e.count) {
    const int32_t i = e.count;
    Member &m = e.members[i];
    Q7Object *image = r.images ? r.images[i] : nullptr;
    m.value = r.values ? r.values[i] : q7::arg(i);
    Q7TagItem list[] = {{Q7A_WIDGET_PARENT, r.parent},
                        {kLabel, q7::arg(r.labels[i])},
                        {kValue, m.value},
                        {kTakesPart, 1},
                        {kSelected, i == r.ordinal},
                        {image ? static_cast<uint32_t>(kImage) : 0u, q7::arg(image)},
                        {Q7TAG_END, 0}};
    Q7Object *gadget = Q7ObjectCreateA(image ? kImageGadget : kTextGadget, list);
    if (!gadget) return false;
    q7::add_reference(gadget);
    m.link.assign(m.gadget, gadget);
    const uint64_t packed = q7::send(packer, Q7M_PACKER_PACK, q7::arg(r.orientation ? Q7PACK_FILL_Y : Q7PACK_FILL_X),
                                     Q7ANCHOR_CENTER, q7::slot(gadget));
    if (!packed) {
      ++e.count;
      return false;
    }
  }
  return true;
}

void q7em_free_members(Member *members, int32_t count, Q7Object *packer) {
  for (int32_t i = 0; i < count; ++i) {
    Q7Object *gadget = members[i].gadget;
    if (!gadget) continue;
    members[i].link.drop();
    Q7TagItem list[] = {{Q7A_GMANAGER_SLAVE, q7::arg(gadget)}, {Q7TAG_END, 0}};
    q7::send(packer, Q7M_GMANAGER_REMOVE, 0, 0, list);
    q7::set_attribute(gadget, Q7A_WIDGET_PARENT, 0);
    q7::release(gadget);
  }
  Q7FreeMem(members, 0);
}

uint64_t q7em_dispose(Q7Class *cl, Q7Object *self, uint64_t a, uint64_t b, Q7TagItem *tags) {
  auto &e = q7::data<EasyMx>(cl, self);
  Member *members = std::exchange(e.members, nullptr);
  const int32_t count = std::exchange(e.count, 0);
  auto *packer = q7::get_attribute<Q7Object *>(self, Q7A_MX_MANAGER);
  // The group unhooks its members and gives the packer up first.
  q7::add_reference(packer);
  const uint64_t answer = q7::inherit(cl, self, Q7M_DISPOSE, a, b, tags);
  q7em_free_members(members, count, packer);
  q7::release(packer);
  return answer;
}

uint64_t q7em_new(Q7Class *cl, Q7Object *receiver, uint64_t a, uint64_t b, Q7TagItem *tags) {
  const Request r = q7em_read(tags);
  Q7Object *packer = q7em_make_packer(r.orientation);
  if (!packer) return 0;
  Q7Object *self = q7em_make_group(cl, receiver, a, b, tags, packer);
  if (!self) {
    Q7ObjectDelete(packer);
    return 0;
  }
  if (!q7em_make_members(q7::data<EasyMx>(cl, self), r, packer)) {
    // A list it was created into (524).
    if (self->succ && self->pred) Q7Remove(reinterpret_cast<Q7Node *>(self));
    q7em_dispose(cl, self, a, 0, nullptr);
    return 0;
  }
  // The same manager again: now there are members to hook.
  q7::inherit_item(cl, self, Q7M_SET, {Q7A_MX_MANAGER, q7::arg(packer)});
  if (r.ordinal >= 0) q7::inherit_item(cl, self, Q7M_SET, {Q7A_MX_ORDINAL, q7::arg(r.ordinal)});
  return q7::arg(self);
}

uint64_t q7em_set(Q7Class *cl, Q7Object *self, Q7TagItem *list) {
  auto *packer = q7::get_attribute<Q7Object *>(self, Q7A_MX_MANAGER);
  bool resized = false;
  const uint64_t unknown = q7::walk_items(cl, self, Q7M_SET, list, [&](const Q7TagItem &item) {
    if (item.tag == Q7A_WIDGET_WIDTH || item.tag == Q7A_WIDGET_HEIGHT) resized = true;
    if (item.tag == Q7A_PACKER_ORIENTATION) q7::set_attribute(packer, item.tag, item.data);
    return item.tag == Q7A_PACKER_ORIENTATION || item.tag == Q7A_MX_MANAGER;
  });
  // Whoever gives a gadget its size expects no more to be needed.
  if (resized) q7::send(packer, Q7M_WIDGET_LAYOUT);
  return unknown;
}

uint64_t q7em_get(Q7Class *cl, Q7Object *self, Q7TagItem *list) {
  const auto &e = q7::data<EasyMx>(cl, self);
  return q7::walk_items(cl, self, Q7M_GET, list, [&](const Q7TagItem &item) {
    switch (item.tag) {
      case Q7A_PACKER_ORIENTATION:
        return q7::store<int32_t>(
            item, q7::get_attribute<int32_t>(q7::get_attribute<Q7Object *>(self, Q7A_MX_MANAGER), item.tag));
      case Q7A_EASYMX_COUNT: return q7::store<int32_t>(item, e.count);
      case Q7A_EASYMX_VALUE: {
        const auto *active = q7::get_attribute<Q7Object *>(self, Q7A_MX_ACTIVE);
        uint64_t value = 0;
        for (int32_t i = 0; active && i < e.count; ++i) {
          if (e.members[i].gadget == active) value = e.members[i].value;
        }
        return q7::store<uint64_t>(item, value);
      }
      default: return false;
    }
  });
}

uint64_t q7em_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  if (method == Q7M_NEW) return q7em_new(cl, obj, a, b, tags);
  // Messages to the class itself have no instance behind them.
  if (&obj->cl->header == obj) return q7::inherit(cl, obj, method, a, b, tags);
  switch (method) {
    case Q7M_DISPOSE: return q7em_dispose(cl, obj, a, b, tags);
    case Q7M_SET: return q7em_set(cl, obj, tags);
    case Q7M_GET: return q7em_get(cl, obj, tags);
    case Q7M_WIDGET_LAYOUT:
      q7::send(q7::get_attribute<Q7Object *>(obj, Q7A_MX_MANAGER), method, a, b, tags);
      return q7::inherit(cl, obj, method, a, b, tags);
    default: return q7::inherit(cl, obj, method, a, b, tags);
  }
}

// The gadgets are the platform's. Without them the class stands, and creation answers null.
int32_t q7em_needs(Q7App *app) {
  if (!Q7RegisterMxClass(app) || !Q7RegisterMxIltGadgetClass(app) || !Q7RegisterPackerClass(app)) return 0;
  Q7RegisterOSGadgetClass(app);
  return 1;
}

constexpr q7::ClassDef easymx_class = {.id = Q7C_EASYMX,
                                       .super = Q7C_MX,
                                       .name = "q7easymx",
                                       .dispatch = q7em_dispatch,
                                       .size = sizeof(EasyMx),
                                       .needs = q7em_needs,
                                       .description = "Easy Mutual Exclusion Group"};

}  // namespace

int32_t Q7RegisterEasyMxClass(Q7App *app) { return q7::register_once(app, easymx_class); }
