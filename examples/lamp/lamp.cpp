// lamp: a lamp of 60 W. Written on the public headers alone.
#include "examples/lamp/lamp.h"

#include <algorithm>
#include <cstring>

#include "core/q7root.h"
#include "examples/tables.h"

namespace {

constexpr int32_t kFullBrightness = 100;
constexpr double kWatts = 60;

int32_t default_brightness;  // class-wide, Q7A_LAMP_DEFAULT_BRIGHTNESS

// Instance data.
struct Lamp {
  int32_t brightness;  // percent (Q7A_LAMP_BRIGHTNESS)
  double color[3];     // red, green, blue (Q7A_LAMP_COLOR)
};

const Q7PublicAttribute attributes[] = {
    {"Brightness", Q7A_LAMP_BRIGHTNESS, 1, 0, {}, 0, {}},
    {"Color", Q7A_LAMP_COLOR, 8, 0, {}, 0, {}},
    {"Power", Q7A_LAMP_POWER, 2, Q7PAF_READ_ONLY, {}, 0, {}},
    {"DefaultBrightness", Q7A_LAMP_DEFAULT_BRIGHTNESS, 1, 0, {}, 0, {}},
    {nullptr, 0, 0, 0, {}, 0, {}},
};

Lamp &data(const Q7Class *cl, Q7Object *obj) {
  return *reinterpret_cast<Lamp *>(reinterpret_cast<char *>(obj) + cl->ioffset);
}

int32_t percent(uint64_t value) { return std::clamp(static_cast<int32_t>(value), 0, kFullBrightness); }

template <class T>
bool store(const Q7TagItem &item, T value) {
  if (item.data) std::memcpy(reinterpret_cast<void *>(item.data), &value, sizeof value);
  return true;
}

bool set(Lamp &lamp, const Q7TagItem &item) {
  switch (item.tag) {
    case Q7A_LAMP_BRIGHTNESS: lamp.brightness = percent(item.data); return true;
    case Q7A_LAMP_COLOR:
      if (item.data) std::memcpy(lamp.color, reinterpret_cast<const void *>(item.data), sizeof lamp.color);
      return true;
    default: return false;
  }
}

bool get(const Lamp &lamp, const Q7TagItem &item) {
  switch (item.tag) {
    case Q7A_LAMP_BRIGHTNESS: return store(item, lamp.brightness);
    case Q7A_LAMP_COLOR:
      if (item.data) std::memcpy(reinterpret_cast<void *>(item.data), lamp.color, sizeof lamp.color);
      return true;
    case Q7A_LAMP_POWER: return store(item, kWatts * lamp.brightness / kFullBrightness);
    default: return false;
  }
}

bool set_class(const Q7TagItem &item) {
  if (item.tag != Q7A_LAMP_DEFAULT_BRIGHTNESS) return false;
  default_brightness = percent(item.data);
  return true;
}

bool get_class(const Q7TagItem &item) {
  return item.tag == Q7A_LAMP_DEFAULT_BRIGHTNESS && store(item, default_brightness);
}

uint64_t inherit(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  return cl->superdispatch(cl->super, obj, method, a, b, tags);
}

// Own items are handled here, each other one goes to the superclass; the last one unknown there too is the result.
template <class Handler>
uint64_t walk(Q7Class *cl, Q7Object *obj, uint32_t method, Q7TagItem *tags, Handler own) {
  uint64_t unknown = 0;
  Q7TagItem *state[2] = {tags, nullptr};
  while (Q7TagItem *item = Q7TagNext(state)) {
    if (own(*item)) continue;
    Q7TagItem single[2] = {*item, {Q7TAG_END, 0}};
    if (inherit(cl, obj, method, 0, 0, single)) unknown = reinterpret_cast<uint64_t>(item);
  }
  return unknown;
}

uint64_t create(Q7Class *cl, Q7Object *receiver, uint64_t a, uint64_t b, Q7TagItem *tags) {
  auto *obj = reinterpret_cast<Q7Object *>(inherit(cl, receiver, Q7M_NEW, a, b, tags));
  if (!obj) return 0;
  Lamp &lamp = data(cl, obj);
  lamp = {default_brightness, {1, 1, 1}};
  Q7TagItem *state[2] = {tags, nullptr};
  while (Q7TagItem *item = Q7TagNext(state)) set(lamp, *item);
  return reinterpret_cast<uint64_t>(obj);
}

// The methods of streams that the class needs (io/q7file.h names them all).
enum { kRead32 = 5001, kReadDouble = 5003, kWrite32 = 5006, kWriteDouble = 5008 };

uint64_t stream_call(Q7Object *stream, uint32_t method, uint64_t slot) {
  return stream->dispatch(stream->cl, stream, method, 0, 0, reinterpret_cast<Q7TagItem *>(slot));
}

uint64_t save(Q7Class *cl, Q7Object *obj, uint64_t a, uint64_t b, Q7TagItem *tags) {
  auto *stream = reinterpret_cast<Q7Object *>(Q7TagVal(tags, Q7A_STREAM, 0));
  if (!stream || !inherit(cl, obj, Q7M_SAVE, a, b, tags)) return 0;
  const Lamp &lamp = data(cl, obj);
  if (!stream_call(stream, kWrite32, static_cast<uint64_t>(lamp.brightness))) return 0;
  for (const double &channel : lamp.color) {
    if (!stream_call(stream, kWriteDouble, reinterpret_cast<uint64_t>(&channel))) return 0;
  }
  return 1;
}

uint64_t read(Q7Class *cl, Q7Object *obj, uint64_t a, uint64_t b, Q7TagItem *tags) {
  auto *stream = reinterpret_cast<Q7Object *>(Q7TagVal(tags, Q7A_STREAM, 0));
  if (!stream || !inherit(cl, obj, Q7M_READ, a, b, tags)) return 0;
  Lamp lamp = {};
  if (!stream_call(stream, kRead32, reinterpret_cast<uint64_t>(&lamp.brightness))) return 0;
  for (double &channel : lamp.color) {
    if (!stream_call(stream, kReadDouble, reinterpret_cast<uint64_t>(&channel))) return 0;
  }
  // What a stream holds may be anything.
  lamp.brightness = std::clamp(lamp.brightness, 0, kFullBrightness);
  data(cl, obj) = lamp;
  return 1;
}

uint64_t switch_over(Lamp &lamp) {
  lamp.brightness = lamp.brightness > 0 ? 0 : default_brightness;
  return static_cast<uint64_t>(lamp.brightness);
}

uint64_t dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  switch (method) {
    case Q7M_NEW: return create(cl, obj, a, b, tags);
    case Q7M_SETCLASSATTRS: return walk(cl, obj, method, tags, set_class);
    case Q7M_GETCLASSATTRS: return walk(cl, obj, method, tags, get_class);
    case Q7M_SET: return walk(cl, obj, method, tags, [&](const Q7TagItem &item) { return set(data(cl, obj), item); });
    case Q7M_GET: return walk(cl, obj, method, tags, [&](const Q7TagItem &item) { return get(data(cl, obj), item); });
    case Q7M_READ: return read(cl, obj, a, b, tags);
    case Q7M_SAVE: return save(cl, obj, a, b, tags);
    case Q7M_COLLECT_TABLES: return add_attribute_table(tags, attributes) ? inherit(cl, obj, method, a, b, tags) : 0;
    case Q7M_LAMP_SWITCH: return switch_over(data(cl, obj));
    default: return inherit(cl, obj, method, a, b, tags);
  }
}

}  // namespace

int32_t register_lamp_class(Q7App *app) {
  if (Q7ClassFind(Q7C_LAMP)) return 1;
  if (!Q7RegisterRootClass(app)) return 0;
  default_brightness = kFullBrightness;  // until the settings say otherwise
  return Q7ClassCreate(Q7C_ROOT, Q7C_LAMP, dispatch, sizeof(Lamp), Q7CT_NAME, reinterpret_cast<uint64_t>("lamp"),
                       Q7CT_VERSION, uint64_t{1}, Q7CT_PUBATTRS, reinterpret_cast<uint64_t>(attributes),
                       Q7CT_DESCRIPTION, reinterpret_cast<uint64_t>("Lamp"), Q7CT_MODULE,
                       reinterpret_cast<uint64_t>("examples"), 0) != nullptr;
}
