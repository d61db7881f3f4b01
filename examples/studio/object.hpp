// object: the few lines that every file of the studio needs to talk to objects: messages by direct dispatch, reading
// one attribute, and an owner that deletes what it holds.
#ifndef Q7_STUDIO_OBJECT_HPP
#define Q7_STUDIO_OBJECT_HPP

#include <cstdint>
#include <utility>

#include "core/q7objects.h"
#include "core/q7oops.h"
#include "core/q7root.h"

namespace studio {

template <class T>
uint64_t word(T *pointer) {
  return reinterpret_cast<uint64_t>(pointer);
}
template <class T>
Q7TagItem *slot(T value) {
  return reinterpret_cast<Q7TagItem *>(static_cast<uintptr_t>(value));
}
template <class T>
Q7TagItem *slot(T *pointer) {
  return reinterpret_cast<Q7TagItem *>(const_cast<void *>(static_cast<const void *>(pointer)));
}

// A message whose arguments are plain values goes straight to the dispatcher; Q7SendMsg would gather a tag list.
inline uint64_t send(Q7Object *obj, uint32_t method, uint64_t a = 0, uint64_t b = 0, Q7TagItem *tags = nullptr) {
  return obj->dispatch(obj->cl, obj, method, a, b, tags);
}

// Reads one attribute; `value` stays as it is when the object does not know it.
template <class T>
T get(Q7Object *obj, uint32_t tag, T value = T()) {
  Q7TagItem list[2] = {{tag, word(&value)}, {Q7TAG_END, 0}};
  send(obj, Q7M_GET, 0, 0, list);
  return value;
}

// The data of a class of the studio's own.
template <class T>
T &data(const Q7Class *cl, Q7Object *obj) {
  return *reinterpret_cast<T *>(reinterpret_cast<char *>(obj) + cl->ioffset);
}

// Owns an object: deletes it (Q7ObjectDelete) or, for one that is shared, gives its reference back.
enum class Hold { kOwned, kReferenced };
template <Hold hold>
class Holder {
 public:
  Holder() = default;
  explicit Holder(Q7Object *obj) : obj_(obj) {
    if (hold == Hold::kReferenced && obj_) send(obj_, Q7M_ADDREF);
  }
  ~Holder() { reset(); }
  Holder(Holder &&other) noexcept : obj_(std::exchange(other.obj_, nullptr)) {}
  Holder &operator=(Holder &&other) noexcept {
    if (this != &other) {
      reset();
      obj_ = std::exchange(other.obj_, nullptr);
    }
    return *this;
  }
  Q7Object *get() const { return obj_; }
  explicit operator bool() const { return obj_ != nullptr; }
  uint64_t reset() {
    Q7Object *obj = std::exchange(obj_, nullptr);
    if (!obj) return 0;
    return hold == Hold::kOwned ? Q7ObjectDelete(obj) : send(obj, Q7M_RELEASE);
  }

 private:
  Q7Object *obj_ = nullptr;
};
using Owned = Holder<Hold::kOwned>;            // files, executors, models
using Referenced = Holder<Hold::kReferenced>;  // nodes of a scene

}  // namespace studio

#endif
