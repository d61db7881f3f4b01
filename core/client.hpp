// client: what C++ code outside the library needs to talk to objects: arguments and slots out of values, messages by
// direct dispatch, the data of a class of its own. Header only; nothing but public headers is used.
#ifndef Q7_CORE_CLIENT_HPP
#define Q7_CORE_CLIENT_HPP

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "core/q7oops.h"
#include "core/q7root.h"

namespace q7client {

// A message argument or item value out of a pointer or number. Narrow numbers are extended by their sign.
template <class T>
uint64_t arg([[maybe_unused]] T value) {
  if constexpr (std::is_null_pointer_v<T>) {
    return 0;
  } else if constexpr (std::is_pointer_v<T>) {
    return reinterpret_cast<uint64_t>(value);
  } else {
    return static_cast<uint64_t>(value);
  }
}

// The tag-list slot of a method that carries a plain value in it.
template <class T>
Q7TagItem *slot(T value) {
  return reinterpret_cast<Q7TagItem *>(arg(value));
}

// A message straight to the receiver's dispatcher: nothing is gathered. A null receiver answers 0.
inline uint64_t send(Q7Object *obj, uint32_t method, uint64_t a = 0, uint64_t b = 0, Q7TagItem *tags = nullptr) {
  return obj && obj->dispatch ? obj->dispatch(obj->cl, obj, method, a, b, tags) : 0;
}

// Passes a message on to the superclass of cl.
inline uint64_t inherit(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  return cl->superdispatch ? cl->superdispatch(cl->super, obj, method, a, b, tags) : 0;
}

// The data of class cl inside an object.
template <class T>
T &data(const Q7Class *cl, Q7Object *obj) {
  return *reinterpret_cast<T *>(reinterpret_cast<char *>(obj) + cl->ioffset);
}

// Reads one attribute; `value` stays as it is when the object does not know it.
template <class T>
T get(Q7Object *obj, uint32_t tag, T value = T()) {
  Q7TagItem list[2] = {{tag, arg(&value)}, {Q7TAG_END, 0}};
  send(obj, Q7M_GET, 0, 0, list);
  return value;
}

}  // namespace q7client

#endif
