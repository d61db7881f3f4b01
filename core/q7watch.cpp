// q7watch: the table of watches: a hash table by object, each chain in the order of watching. A spin lock guards it; it
// is held for a walk along a chain and never while a notice is given. A watch whose notice is being given stays in its
// chain, marked, so that Q7ObjectUnwatch on another thread can wait for the end.
#include "core/q7watch.h"

#include <pthread.h>
#include <sched.h>

#include "core/q7memory.h"
#include "core/watch.hpp"

std::atomic<uint32_t> q7::watch_count;

namespace {

struct Watch {
  Watch *next;
  Q7Object *object;
  Q7WatchFunction function;
  uint64_t data;
  bool calling;      // the notice is being given
  pthread_t caller;  // by this thread
};

constexpr uint32_t kFirstBuckets = 64;  // a power of two, as all sizes of the table

Watch *first_buckets[kFirstBuckets];  // serves until there is more to keep, and again when all is gone
Watch **buckets = first_buckets;
uint32_t bucket_count = kFirstBuckets;
std::atomic_flag locked;

class Guard {
 public:
  Guard() {
    while (locked.test_and_set(std::memory_order_acquire)) sched_yield();
  }
  ~Guard() { locked.clear(std::memory_order_release); }
  Guard(const Guard &) = delete;
  Guard &operator=(const Guard &) = delete;
};

uint32_t bucket_of(const Q7Object *object, uint32_t count) {
  const uint64_t key = reinterpret_cast<uint64_t>(object) >> 4;
  return static_cast<uint32_t>(key * 0x9E3779B97F4A7C15u >> 32) & (count - 1);
}

void append(Watch **table, uint32_t count, Watch *watch) {
  Watch **end = &table[bucket_of(watch->object, count)];
  while (*end) end = &(*end)->next;
  watch->next = nullptr;
  *end = watch;
}

void move_to(Watch **table, uint32_t count) {
  for (uint32_t i = 0; i < bucket_count; ++i) {
    while (Watch *watch = buckets[i]) {
      buckets[i] = watch->next;
      append(table, count, watch);
    }
  }
  if (buckets != first_buckets) Q7FreeMem(buckets, 0);
  buckets = table;
  bucket_count = count;
}

// Keeps chains short. Without memory they grow longer, and everything still works.
void grow() {
  const uint32_t used = q7::watch_count.load(std::memory_order_relaxed);
  if (used < 2 * bucket_count || bucket_count > UINT32_MAX / 4) return;
  const uint32_t count = 4 * bucket_count;
  auto **table = static_cast<Watch **>(Q7AllocSilent(uint64_t{count} * sizeof(Watch *), Q7MEM_CLEAR));
  if (table) move_to(table, count);
}

template <class Test>
Watch **find(const Q7Object *object, Test test) {
  for (Watch **link = &buckets[bucket_of(object, bucket_count)]; *link; link = &(*link)->next) {
    if ((*link)->object == object && test(**link)) return link;
  }
  return nullptr;
}

void remove(Watch **link) {
  Watch *watch = *link;
  *link = watch->next;
  Q7FreeMem(watch, sizeof(Watch));
  if (q7::watch_count.fetch_sub(1, std::memory_order_relaxed) == 1 && buckets != first_buckets) {
    // Nothing is left to look for; the big table goes too.
    move_to(first_buckets, kFirstBuckets);
  }
}

// Marks the next watch of an object whose notice is due; null when there is none.
Watch *take(const Q7Object *object) {
  const Guard guard;
  Watch **link = find(object, [](const Watch &watch) { return !watch.calling; });
  if (!link) return nullptr;
  (*link)->calling = true;
  (*link)->caller = pthread_self();
  return *link;
}

void finish(const Watch *finished) {
  const Guard guard;
  remove(find(finished->object, [finished](const Watch &watch) { return &watch == finished; }));
}

}  // namespace

void q7::notify_watchers(Q7Object *object) {
  while (const Watch *watch = take(object)) {
    watch->function(object, watch->data);
    finish(watch);
  }
}

int32_t Q7ObjectWatch(Q7Object *object, Q7WatchFunction function, uint64_t data) {
  if (!object || !function) return 0;
  auto *watch = static_cast<Watch *>(Q7AllocSilent(sizeof(Watch), Q7MEM_CLEAR));
  if (!watch) return 0;
  watch->object = object;
  watch->function = function;
  watch->data = data;
  const Guard guard;
  q7::watch_count.fetch_add(1, std::memory_order_relaxed);
  grow();
  append(buckets, bucket_count, watch);
  return 1;
}

int32_t Q7ObjectUnwatch(Q7Object *object, Q7WatchFunction function, uint64_t data) {
  if (!object || !function) return 0;
  for (;; sched_yield()) {
    const Guard guard;
    const auto mine = [function, data](const Watch &watch) { return watch.function == function && watch.data == data; };
    if (Watch **link = find(object, [&](const Watch &watch) { return mine(watch) && !watch.calling; })) {
      remove(link);
      return 1;
    }
    Watch **link = find(object, mine);
    if (!link || pthread_equal((*link)->caller, pthread_self())) return 0;
  }
}
