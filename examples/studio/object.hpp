// object: what every file of the studio needs to talk to objects, and an owner that deletes what it holds.
#ifndef Q7_STUDIO_OBJECT_HPP
#define Q7_STUDIO_OBJECT_HPP

#include <cstdint>
#include <utility>

#include "core/client.hpp"
#include "core/q7objects.h"
#include "core/q7oops.h"
#include "core/q7root.h"

namespace studio {

using q7client::data;
using q7client::get;
using q7client::send;
using q7client::slot;
template <class T>
uint64_t word(T *pointer) {
  return q7client::arg(pointer);
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
