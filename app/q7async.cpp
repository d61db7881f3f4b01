// q7async: the executor class: its queue, its worker thread and its end. A request record is in the request list, in
// the spent list, or in the worker's hands; the worker executes a copy, without the lock, so that a record or the whole
// executor may go while its target runs. Fan-outs are in q7fanout.cpp.
#include "app/q7async.h"

#include <sched.h>

#include <initializer_list>

#include "app/async.hpp"
#include "core/guards.hpp"
#include "core/q7memory.h"
#include "core/q7root.h"
#include "core/report.hpp"
#include "platform/q7platform.h"

using q7::AsyncExecutor;
using q7::AsyncWorker;

namespace {

constexpr char kModule[] = "q7async";
constexpr uint32_t kTaskEntry = 1501;
constexpr uint32_t kTaskPriority = 1505;
constexpr uint32_t kPollMs = 10;
constexpr int kYields = 200;       // before the first poll: a thread usually starts or ends within microseconds
constexpr int kGatherYields = 32;  // while a producer goes on queueing: some 10 microseconds
constexpr int kFullBatch = 64;     // requests that are worth meeting the producer for
constexpr int kLingerYields = 20;  // before the worker waits
constexpr uint32_t kNoMethod = 0xFFFFFFFFu;
constexpr uint32_t kHold = 1;

static_assert(sizeof(Q7AsyncRequest) == 128 && offsetof(Q7AsyncRequest, target) == 32);
static_assert(offsetof(Q7AsyncRequest, method) == 40 && offsetof(Q7AsyncRequest, parallel) == 52);
static_assert(offsetof(Q7AsyncRequest, arg) == 56 && offsetof(Q7AsyncRequest, reply_object) == 80);
static_assert(offsetof(Q7AsyncRequest, reply_arg) == 96 && offsetof(Q7AsyncRequest, thread_count) == 104);
static_assert(offsetof(Q7AsyncRequest, bracket_object) == 112 && offsetof(Q7AsyncRequest, bracket_after) == 124);
static_assert(offsetof(AsyncExecutor, running) == 8 && offsetof(AsyncExecutor, lock) == 16);
static_assert(offsetof(AsyncExecutor, requests) == 24 && offsetof(AsyncExecutor, spent) == 48);
static_assert(offsetof(AsyncExecutor, flags) == 72 && offsetof(AsyncExecutor, thread_setting) == 76);

thread_local AsyncWorker *this_worker;

Q7AsyncRequest *q7as_record(Q7Node *node) { return reinterpret_cast<Q7AsyncRequest *>(node); }

// Asks for a record's memory early: it was last written by the other thread, and fetching it costs more than all the
// rest of a request.
template <int kForWriting>
void q7as_fetch(const Q7Node *node) {
  const char *bytes = reinterpret_cast<const char *>(node);
  __builtin_prefetch(bytes, kForWriting);
  __builtin_prefetch(bytes + 64, kForWriting);
  __builtin_prefetch(bytes + sizeof(Q7AsyncRequest) - 1, kForWriting);
}

// Waits until done() holds: politely spinning first, then in steps of 10 ms.
template <class Done>
void q7as_await(Done done) {
  for (int i = 0; i < kYields; ++i) {
    if (done()) return;
    sched_yield();
  }
  while (!done()) Q7SleepMs(kPollMs);
}

// ---- Queueing ----

// Under the lock: a record with undefined content, or null on exhaustion.
Q7AsyncRequest *q7as_get_record(AsyncExecutor &ex) {
  Q7Node *node = Q7RemHead(&ex.spent);
  if (!node) return static_cast<Q7AsyncRequest *>(Q7AllocMem(sizeof(Q7AsyncRequest), Q7MEM_CLEAR));
  q7as_fetch<1>(ex.spent.head);
  return q7as_record(node);
}

// The values of the request tags by position: the three arguments, then the tags from Q7A_ASYNC_REPLY_OBJECT on.
struct Values {
  enum { kReplyObject = 3, kReplyMethod, kReplyArg, kThreads, kAtOnce, kBracketObject, kBefore, kAfter, kCount };
  uint64_t at[kCount] = {};
};

// Reads the request tags; the first of each id counts.
void q7as_read_tags(Values &values, Q7TagItem *tags) {
  static_assert(Q7A_ASYNC_BRACKET_AFTER - Q7A_ASYNC_REPLY_OBJECT + Values::kReplyObject == Values::kAfter);
  values.at[Values::kBefore] = values.at[Values::kAfter] = kNoMethod;
  uint32_t seen = 0;
  for (const Q7TagItem &item : q7::tags(tags)) {
    uint32_t i = item.tag - Q7A_ASYNC_ARG1;
    if (i >= Values::kReplyObject) {
      i = item.tag - Q7A_ASYNC_REPLY_OBJECT;
      if (i >= Values::kCount - Values::kReplyObject) continue;
      i += Values::kReplyObject;
    }
    if (seen & 1u << i) continue;
    seen |= 1u << i;
    values.at[i] = item.data;
  }
}

void q7as_fill(Q7AsyncRequest &r, uint32_t hold, Q7Object *target, uint32_t method, const Values &values) {
  const auto value = [&values](int i) { return static_cast<uint32_t>(values.at[i]); };
  r.node.name = nullptr;
  r.target = target;
  r.method = method;
  r.kind = method != 0;
  r.hold = hold;
  r.parallel = value(Values::kThreads) != 0;
  for (int i = 0; i < 3; ++i) r.arg[i] = values.at[i];
  r.reply_object = q7::as<Q7Object *>(values.at[Values::kReplyObject]);
  r.reply_method = value(Values::kReplyMethod);
  r.reply_arg = values.at[Values::kReplyArg];
  r.thread_count = r.parallel ? value(Values::kThreads) : 1;
  r.bracket_object = q7::as<Q7Object *>(values.at[Values::kBracketObject]);
  r.bracket_before = value(Values::kBefore);
  r.bracket_after = value(Values::kAfter);
}

void q7as_release_target(const Q7AsyncRequest &r) {
  if (r.hold & kHold) q7::release(r.target);
}

uint64_t q7as_run_at_once(Q7Object *self, AsyncExecutor &ex, Q7AsyncRequest *record) {
  const Q7AsyncRequest r = *record;
  const uint64_t result = q7::async_fan_out(self, record);
  {
    q7::LockGuard lock(ex.lock);
    Q7AddHead(&ex.spent, &record->node);
  }
  // From here on the executor may go: whoever hears of the result may dispose of it.
  q7::async_return_signal(ex);
  q7as_release_target(r);
  q7::send(r.reply_object, r.reply_method, r.reply_arg, 0, q7::slot(result));
  return result;
}

uint64_t q7as_queue(Q7Object *self, AsyncExecutor &ex, uint32_t hold, Q7Object *target, uint32_t method,
                    Q7TagItem *tags) {
  Values values;
  q7as_read_tags(values, tags);
  q7::LockGuard lock(ex.lock);
  if (!ex.signal) return 0;
  Q7AsyncRequest *r = q7as_get_record(ex);
  if (!r) return 0;
  q7as_fill(*r, hold, target, method, values);
  if (hold & kHold) q7::add_reference(target);
  if (static_cast<uint32_t>(values.at[Values::kAtOnce])) {
    q7::atomic(ex.users).fetch_add(1, std::memory_order_relaxed);
    lock.unlock();
    return q7as_run_at_once(self, ex, r);
  }
  Q7AddTail(&ex.requests, &r->node);
  if (!q7::atomic(ex.pending).load(std::memory_order_relaxed)) {
    q7::atomic(ex.pending).store(1, std::memory_order_relaxed);
  }
  Q7Object *signal = ex.signal;
  q7::atomic(ex.users).fetch_add(1, std::memory_order_relaxed);
  lock.unlock();
  q7::send(signal, q7::kSignalWake);
  q7::async_return_signal(ex);
  return 1;
}

uint64_t q7as_append_empty(AsyncExecutor &ex) {
  q7::LockGuard lock(ex.lock);
  if (!ex.signal) return 0;
  Q7AsyncRequest *r = q7as_get_record(ex);
  if (!r) return 0;
  Values none;
  q7as_read_tags(none, nullptr);
  q7as_fill(*r, 0, nullptr, 0, none);
  Q7AddTail(&ex.requests, &r->node);
  return 1;
}

// ---- The worker ----

void q7as_bracket(const Q7AsyncRequest &r, uint32_t method) {
  if (method != kNoMethod) q7::send(r.bracket_object, method);
}

// Executes a request of which nothing but this copy may be touched any more: its sends may dispose of the executor.
void q7as_execute(AsyncWorker &worker, Q7AsyncRequest &r) {
  uint64_t result = 0;
  if (r.kind == 0) {
    worker.stop = true;
  } else if (!r.target) {
    return;
  } else if (r.parallel) {
    result = q7::async_fan_out(worker.self, &r);
  } else {
    q7as_bracket(r, r.bracket_before);
    result = q7::send(r.target, r.method, r.arg[0], r.arg[1], q7::slot(r.arg[2]));
    q7as_bracket(r, r.bracket_after);
  }
  q7as_release_target(r);
  if (!r.reply_object) return;
  q7as_bracket(r, r.bracket_before);
  q7::send(r.reply_object, r.reply_method, r.reply_arg, 0, q7::slot(result));
  q7as_bracket(r, r.bracket_after);
}

bool q7as_newest_first(AsyncExecutor &ex) {
  return std::atomic_ref(ex.flags).load(std::memory_order_relaxed) & q7::kNewestFirst;
}

// Moves everything in `from` in front of what is in `to`, in order.
void q7as_splice(Q7List &from, Q7List &to) {
  if (!from.head->succ) return;
  Q7Node *first = from.head, *last = from.tail_pred, *next = to.head;
  first->pred = reinterpret_cast<Q7Node *>(&to);
  to.head = first;
  last->succ = next;
  // The list's tail sentinel keeps its predecessor where a node does: in tail_pred.
  if (next->succ) {
    next->pred = last;
  } else {
    to.tail_pred = last;
  }
  Q7NewList(&from);
}

// Executes one record that is in no list. False when the executor is gone.
bool q7as_execute_record(AsyncWorker &worker, Q7Node *node) {
  Q7AsyncRequest *outer = worker.record;
  Q7AsyncRequest *record = worker.record = q7as_record(node);
  Q7AsyncRequest copy = *record;
  q7as_fetch<0>(worker.taken.head);
  q7as_execute(worker, copy);
  if (worker.gone) return false;
  if (record->node.succ != copy.node.succ) {
    Q7ErrPos(kModule, 231);
    Q7_Error("FATAL: async corrupted");
  }
  Q7AddHead(&worker.spent, &record->node);
  ++worker.executed;
  worker.record = outer;
  return true;
}

// Leaves the lists to a producer that is busy queueing, so that the next batch is a large one. Where both run at the
// same time on cores of their own, each hand-over moves the lock and the lists between the cores' caches, which costs
// as much as ten requests; without this, a quick worker would fetch requests one by one.
void q7as_gather() {
  for (int i = 0; i < kGatherYields; ++i) sched_yield();
}

// Called and left with the lock held: executes requests until the list is empty. False when the executor is gone; there
// is no lock any more then. The oldest are taken all at once, so that producers and worker seldom meet at the lock; the
// newest can only be taken one by one.
bool q7as_run_batch(AsyncWorker &worker) {
  AsyncExecutor &ex = *worker.executor;
  for (;;) {
    q7as_splice(worker.spent, ex.spent);
    q7::atomic(ex.pending).store(0, std::memory_order_relaxed);
    const bool newest_first = q7as_newest_first(ex);
    if (newest_first) {
      q7as_splice(worker.taken, ex.requests);
    } else if (!worker.taken.head->succ) {
      q7as_splice(ex.requests, worker.taken);
    }
    Q7Node *node = newest_first ? Q7RemTail(&ex.requests) : Q7RemHead(&worker.taken);
    if (!node) return true;
    Q7Unlock(ex.lock);
    const uint64_t before = worker.executed;
    do {
      if (!q7as_execute_record(worker, node)) return false;
    } while (!newest_first && !q7as_newest_first(ex) && (node = Q7RemHead(&worker.taken)));
    if (worker.executed - before < kFullBatch && !newest_first &&
        q7::atomic(ex.pending).load(std::memory_order_relaxed))
      q7as_gather();
    Q7Lock(ex.lock);
  }
}

// Ends the queue for good: nobody finds the signal any more, and nobody uses it when it is deleted. The lock is held
// and released here.
void q7as_close(AsyncExecutor &ex) {
  Q7Object *signal = ex.signal;
  ex.signal = nullptr;
  Q7Unlock(ex.lock);
  q7as_await([&ex] { return q7::atomic(ex.users).load(std::memory_order_acquire) == 0; });
  q7::send(signal, Q7M_DISPOSE);
}

// Called and left with the lock held: gives a producer that is busy queueing a moment before the worker goes to sleep,
// since a wake costs more than many requests.
void q7as_linger(AsyncExecutor &ex) {
  Q7Unlock(ex.lock);
  for (int i = 0; i < kLingerYields; ++i) {
    sched_yield();
    if (q7::atomic(ex.pending).load(std::memory_order_relaxed)) break;
  }
  Q7Lock(ex.lock);
}

// Waits for requests and executes them until a stop request was among them. False when the executor is gone.
bool q7as_serve(AsyncWorker &worker) {
  AsyncExecutor &ex = *worker.executor;
  Q7Object *signal = ex.signal;
  for (;;) {
    q7::send(signal, q7::kSignalWait);
    Q7Lock(ex.lock);
    ex.waiting = 0;
    // A fan-out in a caller's thread waits on the same signal: a wake that finds no request was meant for it.
    const bool not_ours = ex.waiters > 0 && !ex.requests.head->succ;
    for (;;) {
      const uint64_t before = worker.executed;
      if (!q7as_run_batch(worker)) return false;
      if (worker.stop || ex.stop_asked) return true;
      // Every request wakes the worker, so many a wake finds its request executed already.
      if (worker.executed == before) break;
      q7as_linger(ex);
    }
    ex.waiting = 1;
    Q7Unlock(ex.lock);
    if (not_ours) {
      q7::send(signal, q7::kSignalWake);
      Q7SleepMs(1);
    }
  }
}

void q7as_run_worker(Q7Object *task, void *argument) {
  AsyncExecutor &ex = *static_cast<AsyncExecutor *>(argument);
  auto *signal = q7::as<Q7Object *>(q7::send(Q7ClassFind(Q7C_SIGNAL), Q7M_NEW));
  if (!signal) {
    q7::atomic(ex.start).store(q7::kAsyncFailed, std::memory_order_release);
    return;
  }
  AsyncWorker worker = {.self = ex.self, .executor = &ex};
  Q7NewList(&worker.taken);
  Q7NewList(&worker.spent);
  this_worker = &worker;
  Q7Lock(ex.lock);
  ex.signal = signal;
  ex.waiting = 1;
  Q7Unlock(ex.lock);
  q7::atomic(ex.running).store(1, std::memory_order_release);
  q7::atomic(ex.start).store(q7::kAsyncRunning, std::memory_order_release);
  if (!q7as_serve(worker)) return;
  q7as_close(ex);
  this_worker = nullptr;
  // The executor may go from here on; the task stays until this thread ends.
  q7::atomic(ex.running).store(0, std::memory_order_release);
  Q7TaskWaitTermination(task);
}

// ---- Life ----

void q7as_set_flag(AsyncExecutor &ex, bool newest_first) {
  q7::LockGuard lock(ex.lock);
  const uint32_t flags = newest_first ? ex.flags | q7::kNewestFirst : ex.flags & ~uint32_t{q7::kNewestFirst};
  std::atomic_ref(ex.flags).store(flags, std::memory_order_relaxed);  // the worker looks without the lock too
}

bool q7as_set(AsyncExecutor &ex, const Q7TagItem &item) {
  switch (item.tag) {
    case Q7A_ASYNC_NEWEST_FIRST: q7as_set_flag(ex, q7::flag(item)); return true;
    case Q7A_ASYNC_THREAD_SETTING: ex.thread_setting = q7::value<int32_t>(item); return true;
    default: return false;
  }
}

bool q7as_get(const AsyncExecutor &ex, const Q7TagItem &item) {
  switch (item.tag) {
    case Q7A_ASYNC_NEWEST_FIRST: return q7::store<int32_t>(item, (ex.flags & q7::kNewestFirst) != 0);
    case Q7A_ASYNC_THREAD_SETTING: return q7::store<int32_t>(item, ex.thread_setting);
    default: return false;
  }
}

// Makes lock, task and worker. Whatever fails, nothing is left behind and nobody waits for ever.
bool q7as_start(AsyncExecutor &ex, Q7Object *self, Q7TagItem *tags) {
  ex.self = self;
  Q7NewList(&ex.requests);
  Q7NewList(&ex.spent);
  ex.lock = Q7LockAlloc();
  if (!ex.lock) return false;
  for (const Q7TagItem &item : q7::tags(tags)) q7as_set(ex, item);
  Q7TaskEntry entry = {q7as_run_worker, &ex};
  Q7TagItem task_tags[] = {{kTaskEntry, q7::arg(&entry)}, {kTaskPriority, q7::arg(ex.thread_setting)}, {Q7TAG_END, 0}};
  ex.task = q7::as<Q7Object *>(q7::send(Q7ClassFind(Q7C_TASK), Q7M_NEW, 0, 0, task_tags));
  if (ex.task) {
    const auto start = q7::atomic(ex.start);
    q7as_await([&] { return start.load(std::memory_order_acquire) != q7::kAsyncStarting; });
    if (start.load(std::memory_order_acquire) == q7::kAsyncRunning) return true;
    q7::send(ex.task, Q7M_DISPOSE);
  }
  Q7LockFree(ex.lock);
  return false;
}

// Whether the calling thread does work that the executor, or the executor's disposal, would have to wait for.
bool q7as_waits_for_us(const Q7Object *self) {
  for (const AsyncWorker *w = this_worker; w; w = w->executor->fanout_waiter) {
    const bool outer = w != this_worker;
    const Q7Object *owner = w->executor->fanout_owner;
    if (owner == self || (w->self == self && (outer || owner))) return true;
  }
  return false;
}

void q7as_stop_and_wait(Q7Object *self, AsyncExecutor &ex) {
  bool running;
  {
    q7::LockGuard lock(ex.lock);
    running = ex.signal != nullptr;
  }
  if (running && !q7::send(self, Q7M_ASYNC_QUEUE_HELD)) {
    // No memory for a stop request: the worker looks at this too. It may also have stopped by itself meanwhile.
    if (Q7Object *signal = q7::async_borrow_signal(ex)) {
      {
        q7::LockGuard lock(ex.lock);
        ex.stop_asked = 1;
      }
      q7::send(signal, q7::kSignalWake);
      q7::async_return_signal(ex);
    }
  }
  q7as_await([&ex] { return q7::atomic(ex.running).load(std::memory_order_acquire) == 0; });
}

// The end on the worker's own thread: what is queued is finished here, since the worker will not come back to it.
void q7as_stop_here(AsyncWorker &worker) {
  AsyncExecutor &ex = *worker.executor;
  Q7Lock(ex.lock);
  q7as_run_batch(worker);
  q7as_close(ex);
  q7::atomic(ex.running).store(0, std::memory_order_release);
  Q7FreeMem(worker.record, sizeof(Q7AsyncRequest));
  worker.gone = true;
  this_worker = nullptr;
}

uint64_t q7as_dispose(Q7Class *cl, Q7Object *self, uint64_t a, uint64_t b, Q7TagItem *tags) {
  auto &ex = q7::data<AsyncExecutor>(cl, self);
  if (q7as_waits_for_us(self)) {
    Q7_REPORT_ERROR(kModule, "An executor cannot be disposed of by work that it waits for");
    return 0;
  }
  {
    q7::LockGuard lock(ex.lock);
    if (ex.disposing) return 0;
    ex.disposing = 1;
  }
  if (AsyncWorker *worker = this_worker; worker && worker->self == self) {
    q7as_stop_here(*worker);
  } else {
    q7as_stop_and_wait(self, ex);
  }
  q7::send(ex.task, Q7M_DISPOSE);
  Q7LockFree(ex.lock);
  for (Q7List *list : {&ex.requests, &ex.spent}) {
    while (Q7Node *node = Q7RemHead(list)) Q7FreeMem(node, sizeof(Q7AsyncRequest));
  }
  return q7::inherit(cl, self, Q7M_DISPOSE, a, b, tags);
}

// ---- Result arrays ----

uint64_t q7as_alloc_results(uint64_t count, uint64_t size) {
  uint64_t bytes;
  if (count == 0 || size > UINT64_MAX - sizeof(void *)) return 0;
  if (__builtin_mul_overflow(count, size + sizeof(void *), &bytes)) return 0;
  auto *array = static_cast<char **>(Q7AllocMem(bytes, Q7MEM_CLEAR));
  if (!array) return 0;
  char *results = reinterpret_cast<char *>(array + count);
  if (size) {
    for (uint64_t i = 0; i < count; ++i) array[i] = results + i * size;
  }
  return q7::arg(array);
}

uint64_t q7as_free_results(void *array, uint64_t count, uint64_t size) {
  Q7FreeMem(array, count * (size + sizeof(void *)));
  return 1;
}

uint64_t q7as_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  const auto ex = [&]() -> AsyncExecutor & { return q7::data<AsyncExecutor>(cl, obj); };
  switch (method) {
    case Q7M_NEW:
      return q7::create<AsyncExecutor>(cl, obj, a, b, tags, q7as_set, [tags](AsyncExecutor &made, Q7Object *self) {
        return q7as_start(made, self, tags);
      });
    case Q7M_DISPOSE: return q7as_dispose(cl, obj, a, b, tags);
    case Q7M_SET: return q7::set_attributes<AsyncExecutor>(cl, obj, tags, q7as_set);
    case Q7M_GET: return q7::get_attributes<AsyncExecutor>(cl, obj, tags, q7as_get);
    case Q7M_ASYNC_QUEUE_HELD: return q7as_queue(obj, ex(), kHold, q7::as<Q7Object *>(a), q7::as<uint32_t>(b), tags);
    case Q7M_ASYNC_QUEUE: return q7as_queue(obj, ex(), 0, q7::as<Q7Object *>(a), q7::as<uint32_t>(b), tags);
    case Q7M_ASYNC_APPEND_EMPTY: return q7as_append_empty(ex());
    case Q7M_ASYNC_FANOUT_REPLY:
      return q7::async_fanout_reply(ex(), q7::as<q7::AsyncSlot *>(a), q7::slot_as<uint64_t>(tags));
    case Q7M_ASYNC_ALLOC_RESULTS: return q7as_alloc_results(a, q7::slot_as<uint64_t>(tags));
    case Q7M_ASYNC_FREE_RESULTS: return q7as_free_results(q7::as<void *>(a), b, q7::slot_as<uint64_t>(tags));
    default: return q7::inherit(cl, obj, method, a, b, tags);
  }
}

constexpr q7::ClassDef async_class = {.id = Q7C_ASYNC,
                                      .name = "q7async",
                                      .dispatch = q7as_dispatch,
                                      .size = sizeof(AsyncExecutor),
                                      .needs = Q7RegisterRootClass};

}  // namespace

AsyncWorker *q7::async_worker() { return this_worker; }

AsyncExecutor *q7::async_data(Q7Object *executor) {
  if (!executor || !Q7ObjectIsOfKind(executor, Q7C_ASYNC)) return nullptr;
  return &data<AsyncExecutor>(Q7ClassFind(Q7C_ASYNC), executor);
}

Q7Object *q7::async_borrow_signal(AsyncExecutor &ex, bool to_wait) {
  LockGuard lock(ex.lock);
  if (!ex.signal) return nullptr;
  atomic(ex.users).fetch_add(1, std::memory_order_relaxed);
  ex.waiters += to_wait;
  return ex.signal;
}

void q7::async_return_signal(AsyncExecutor &ex, bool waited) {
  if (waited) {
    LockGuard lock(ex.lock);
    --ex.waiters;
  }
  // The last touch: the worker may delete the signal, and its owner the executor, as soon as this is seen.
  atomic(ex.users).fetch_sub(1, std::memory_order_release);
}

int32_t Q7RegisterAsyncExecutorClass(Q7App *app) { return q7::register_once(app, async_class); }
