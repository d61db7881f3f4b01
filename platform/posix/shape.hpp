// shape: the one form that the layer's classes share, and the small tools they are written with. The layer stands on
// the library's public headers alone, as any other platform layer would, so it brings its own.
#ifndef Q7_PLATFORM_POSIX_SHAPE_HPP
#define Q7_PLATFORM_POSIX_SHAPE_HPP

#include <pthread.h>

#include <cstdint>
#include <cstring>
#include <type_traits>

#include "core/q7oops.h"
#include "core/q7report.h"
#include "core/q7tags.h"

#define Q7P_ERROR(module, ...) (Q7ErrPos(module, __LINE__), Q7_Error(__VA_ARGS__))
#define Q7P_INFO(module, ...) (Q7InfoPos(module, __LINE__), Q7_Info(__VA_ARGS__))

namespace q7posix {

// What a class of the layer is; one static object a class.
struct ClassDef {
  uint32_t id;
  uint32_t super;
  const char *name;
  Q7Dispatcher dispatch;
  uint32_t size;
  int32_t (*needs)(Q7App *);  // registers the superclass; null when only its presence can be asked for
  const char *description;
};

// Creates the class unless the application has it already. 0, reported, when the superclass is missing.
int32_t register_class(Q7App *app, const ClassDef &def);

template <class T>
T &data(const Q7Class *cl, Q7Object *obj) {
  return *reinterpret_cast<T *>(reinterpret_cast<char *>(obj) + cl->ioffset);
}

inline uint64_t inherit(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  return cl->superdispatch ? cl->superdispatch(cl->super, obj, method, a, b, tags) : 0;
}

// A message by direct dispatch.
inline uint64_t send(Q7Object *obj, uint32_t method, uint64_t a = 0, uint64_t b = 0, Q7TagItem *tags = nullptr) {
  return obj && obj->dispatch ? obj->dispatch(obj->cl, obj, method, a, b, tags) : 0;
}

template <class T>
uint64_t word(T value) {
  if constexpr (std::is_pointer_v<T>) {
    return reinterpret_cast<uint64_t>(value);
  } else {
    return static_cast<uint64_t>(value);
  }
}
inline Q7TagItem *slot(uint64_t value) { return reinterpret_cast<Q7TagItem *>(value); }

// Answers a get: a null destination takes nothing.
template <class T>
bool store(const Q7TagItem &item, std::type_identity_t<T> value) {
  if (item.data) std::memcpy(reinterpret_cast<void *>(item.data), &value, sizeof(T));
  return true;
}

// Calls each(item) for every ordinary item. A tag-5 item finds no second list and ends the walk.
template <class Each>
void each_tag(Q7TagItem *list, Each each) {
  if (!list) return;
  Q7TagItem *state[2] = {list, nullptr};
  while (Q7TagItem *item = Q7TagNext(state)) each(*item);
}

// Methods 4 and 5: own(data, item) answers true for the class's own items; every other one goes to the superclass
// alone. The result is the last item that the superclass did not know either, or 0.
template <class T, class Own>
uint64_t walk(Q7Class *cl, Q7Object *obj, uint32_t method, Q7TagItem *list, Own own) {
  uint64_t unknown = 0;
  each_tag(list, [&](Q7TagItem &item) {
    if (own(data<T>(cl, obj), item)) return;
    Q7TagItem single[2] = {item, {Q7TAG_END, 0}};
    if (inherit(cl, obj, method, 0, 0, single)) unknown = word(&item);
  });
  return unknown;
}

// Holds a mutex for a scope.
class Guard {
 public:
  explicit Guard(pthread_mutex_t &mutex) : mutex_(mutex) { pthread_mutex_lock(&mutex_); }
  ~Guard() { pthread_mutex_unlock(&mutex_); }
  Guard(const Guard &) = delete;
  Guard &operator=(const Guard &) = delete;

 private:
  pthread_mutex_t &mutex_;
};

}  // namespace q7posix

#endif
