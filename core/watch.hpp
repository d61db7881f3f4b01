// watch: what the root class calls when an object goes.
#ifndef Q7_CORE_WATCH_HPP
#define Q7_CORE_WATCH_HPP

#include <atomic>

#include "core/q7types.h"

namespace q7 {

// Watches there are, of all objects. An object that goes need not be looked up while there is none; whoever hands an
// object from a thread that watches it to one that disposes of it orders the two, so a relaxed look is enough.
extern std::atomic<uint32_t> watch_count;

void notify_watchers(Q7Object *object);

inline void object_goes(Q7Object *object) {
  if (watch_count.load(std::memory_order_relaxed) != 0) [[unlikely]]
    notify_watchers(object);
}

}  // namespace q7

#endif
