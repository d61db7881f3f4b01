// guards: owners of what must be given back: a lock that is held, a block of memory.
#ifndef Q7_CORE_GUARDS_HPP
#define Q7_CORE_GUARDS_HPP

#include <utility>

#include "core/q7memory.h"
#include "platform/q7platform.h"

namespace q7 {

// Holds a platform lock for a scope; a null lock holds nothing.
class LockGuard {
 public:
  explicit LockGuard(void *lock) : lock_(lock) {
    if (lock_) Q7Lock(lock_);
  }
  ~LockGuard() { unlock(); }
  LockGuard(const LockGuard &) = delete;
  LockGuard &operator=(const LockGuard &) = delete;
  void unlock() {
    if (lock_) Q7Unlock(std::exchange(lock_, nullptr));
  }

 private:
  void *lock_;
};

// Owns an array of plain values from Q7AllocMem, zero-filled; null when exhausted.
template <class T>
class Block {
 public:
  Block() = default;
  explicit Block(uint64_t count) { allocate(count); }
  ~Block() { Q7FreeMem(data_, 0); }
  Block(const Block &) = delete;
  Block &operator=(const Block &) = delete;
  Block(Block &&other) noexcept : data_(std::exchange(other.data_, nullptr)) {}
  Block &operator=(Block &&other) noexcept {
    std::swap(data_, other.data_);
    return *this;
  }
  bool allocate(uint64_t count) {
    Q7FreeMem(data_, 0);
    data_ = count > UINT64_MAX / sizeof(T) ? nullptr : static_cast<T *>(Q7AllocMem(count * sizeof(T), Q7MEM_CLEAR));
    return data_ != nullptr;
  }
  T *get() const { return data_; }
  T *release() { return std::exchange(data_, nullptr); }
  T &operator[](uint64_t i) const { return data_[i]; }
  explicit operator bool() const { return data_ != nullptr; }

 private:
  T *data_ = nullptr;
};

}  // namespace q7

#endif
