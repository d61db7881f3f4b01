// lamps: an example of a plug-in library. It replaces a class of the host, keeping what that class does and changing
// one of its answers, and adds a class of its own below it. Its code stays in memory for as long as its classes live;
// the library that loaded it closes it when they are gone.
#include "examples/plugin/lamps.h"

#include <cstring>

#include "core/q7root.h"
#include "platform/q7platform.h"

namespace {

// ---- ledlamp: the host's lamp with another power ----

constexpr double kLedShare = 0.15;  // of what the replaced lamp needs

Q7Dispatcher replaced;  // the host's own dispatcher; it does everything that the new one leaves alone

uint64_t led_get(Q7Class *cl, Q7Object *obj, uint64_t a, uint64_t b, Q7TagItem *tags) {
  const uint64_t unknown = replaced(cl, obj, Q7M_GET, a, b, tags);
  Q7TagItem *state[2] = {tags, nullptr};
  while (const Q7TagItem *item = Q7TagNext(state)) {
    if (item->tag == Q7A_LAMP_POWER && item->data) *reinterpret_cast<double *>(item->data) *= kLedShare;
  }
  return unknown;
}

uint64_t led_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  switch (method) {
    case Q7M_GET: return led_get(cl, obj, a, b, tags);
    default: return replaced(cl, obj, method, a, b, tags);
  }
}

// ---- dimmer ----

struct Dimmer {
  int32_t step;  // percent (Q7A_DIMMER_STEP)
};

Dimmer &data(const Q7Class *cl, Q7Object *obj) {
  return *reinterpret_cast<Dimmer *>(reinterpret_cast<char *>(obj) + cl->ioffset);
}

uint64_t inherit(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  return cl->superdispatch(cl->super, obj, method, a, b, tags);
}

bool dimmer_item(Dimmer &dimmer, uint32_t method, const Q7TagItem &item) {
  if (item.tag != Q7A_DIMMER_STEP) return false;
  if (method == Q7M_SET) {
    dimmer.step = static_cast<int32_t>(item.data);
  } else if (item.data) {
    *reinterpret_cast<int32_t *>(item.data) = dimmer.step;
  }
  return true;
}

uint64_t dimmer_walk(Q7Class *cl, Q7Object *obj, uint32_t method, Q7TagItem *tags) {
  uint64_t unknown = 0;
  Q7TagItem *state[2] = {tags, nullptr};
  while (Q7TagItem *item = Q7TagNext(state)) {
    if (dimmer_item(data(cl, obj), method, *item)) continue;
    Q7TagItem single[2] = {*item, {Q7TAG_END, 0}};
    if (inherit(cl, obj, method, 0, 0, single)) unknown = reinterpret_cast<uint64_t>(item);
  }
  return unknown;
}

uint64_t dimmer_create(Q7Class *cl, Q7Object *receiver, uint64_t a, uint64_t b, Q7TagItem *tags) {
  auto *obj = reinterpret_cast<Q7Object *>(inherit(cl, receiver, Q7M_NEW, a, b, tags));
  if (obj) data(cl, obj).step = static_cast<int32_t>(Q7TagVal(tags, Q7A_DIMMER_STEP, 10));
  return reinterpret_cast<uint64_t>(obj);
}

uint64_t dimmer_dim(Q7Class *cl, Q7Object *obj) {
  int32_t brightness = 0;
  Q7TagItem get[2] = {{Q7A_LAMP_BRIGHTNESS, reinterpret_cast<uint64_t>(&brightness)}, {Q7TAG_END, 0}};
  inherit(cl, obj, Q7M_GET, 0, 0, get);
  brightness = brightness > data(cl, obj).step ? brightness - data(cl, obj).step : 0;
  Q7TagItem set[2] = {{Q7A_LAMP_BRIGHTNESS, static_cast<uint64_t>(brightness)}, {Q7TAG_END, 0}};
  inherit(cl, obj, Q7M_SET, 0, 0, set);
  return static_cast<uint64_t>(brightness);
}

uint64_t dimmer_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  switch (method) {
    case Q7M_NEW: return dimmer_create(cl, obj, a, b, tags);
    case Q7M_SET:
    case Q7M_GET: return dimmer_walk(cl, obj, method, tags);
    case Q7M_DIMMER_DIM: return dimmer_dim(cl, obj);
    default: return inherit(cl, obj, method, a, b, tags);
  }
}

// ---- Registration ----

bool replace_lamp() {
  const Q7Class *lamp = Q7ClassFind(Q7C_LAMP);
  if (!lamp) return false;
  replaced = lamp->header.dispatch;
  // The data stay as they are, since the replaced dispatcher goes on working on them, and so does the name, under which
  // the class's settings are kept.
  return Q7ClassReplace(Q7C_LAMP, Q7C_LEDLAMP, led_dispatch, lamp->isize, Q7CT_DESCRIPTION,
                        reinterpret_cast<uint64_t>("LED lamp"), 0) != nullptr;
}

bool add_dimmer() {
  // Below the lamp class as it is now, replaced; it copies that dispatcher.
  return Q7ClassCreate(Q7C_LAMP, Q7C_DIMMER, dimmer_dispatch, sizeof(Dimmer), Q7CT_NAME,
                       reinterpret_cast<uint64_t>("dimmer"), 0) != nullptr;
}

}  // namespace

// What Q7LibraryOpen calls. Nothing is left behind when it answers 0.
extern "C" Q7_API int32_t Q7LibraryRegister(Q7App *) { return replace_lamp() && add_dimmer(); }
