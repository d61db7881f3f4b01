// q7fanout: requests that run on several executors at once. The executors live for one run; their slots hang on the
// request's node name, which a request does not use otherwise. Replies come back to the calling executor, on the
// executors' threads.
#include "app/async.hpp"
#include "app/q7async.h"
#include "core/guards.hpp"
#include "core/q7memory.h"
#include "platform/q7platform.h"

using q7::AsyncExecutor;
using q7::AsyncSlot;

namespace {

constexpr uint64_t kWaitMs = 1000;

static_assert(sizeof(AsyncSlot) == 16);

AsyncSlot *q7fo_slots(const Q7AsyncRequest &r) {
  return reinterpret_cast<AsyncSlot *>(const_cast<char *>(r.node.name));
}

uint32_t q7fo_count(const Q7AsyncRequest &r) { return r.thread_count ? r.thread_count : 1; }

bool q7fo_queue(Q7Object *executor, const Q7AsyncRequest &r, uint32_t i, AsyncSlot &slot) {
  // Without a target or a method no reply would ever come.
  if (!r.target || !r.method) return false;
  AsyncExecutor *sub = q7::async_data(slot.executor);
  sub->fanout_owner = executor;
  sub->fanout_waiter = q7::async_worker();
  Q7TagItem tags[10];
  Q7TagItem *tag = tags;
  for (uint32_t k = 0; k < 3; ++k) {
    if (r.arg[k]) *tag++ = {Q7A_ASYNC_ARG1 + k, q7::as<const uint64_t *>(r.arg[k])[i]};
  }
  *tag++ = {Q7A_ASYNC_REPLY_OBJECT, q7::arg(executor)};
  *tag++ = {Q7A_ASYNC_REPLY_METHOD, Q7M_ASYNC_FANOUT_REPLY};
  *tag++ = {Q7A_ASYNC_REPLY_ARG, q7::arg(&slot)};
  *tag++ = {Q7A_ASYNC_BRACKET_OBJECT, q7::arg(r.bracket_object)};
  *tag++ = {Q7A_ASYNC_BRACKET_BEFORE, r.bracket_before};
  *tag++ = {Q7A_ASYNC_BRACKET_AFTER, r.bracket_after};
  *tag = {Q7TAG_END, 0};
  return q7::send(slot.executor, Q7M_ASYNC_QUEUE, q7::arg(r.target), r.method, tags) != 0;
}

bool q7fo_busy(AsyncSlot *slots, uint32_t count) {
  for (uint32_t i = 0; i < count; ++i) {
    if (q7::atomic(slots[i].busy).load(std::memory_order_acquire)) return true;
  }
  return false;
}

// A wake that the waiting thread took may have been the worker's: hand it on when the worker sleeps over its requests.
void q7fo_hand_on(AsyncExecutor &ex, Q7Object *signal, bool pause) {
  {
    q7::LockGuard lock(ex.lock);
    if (!ex.waiting || !ex.requests.head->succ) return;
  }
  q7::send(signal, q7::kSignalWake);
  if (pause) Q7SleepMs(1);
}

}  // namespace

int32_t Q7AllocThreads(Q7AsyncRequest *request) {
  if (!request) return 0;
  const uint32_t count = q7fo_count(*request);
  q7::Block<AsyncSlot> slots(count);
  request->node.name = nullptr;
  if (!slots) return 0;
  Q7Class *cl = Q7ClassFind(Q7C_ASYNC);
  for (uint32_t i = 0; i < count; ++i) {
    slots[i].executor = q7::as<Q7Object *>(q7::send(cl, Q7M_NEW));
    if (slots[i].executor) continue;
    while (i-- > 0) q7::send(slots[i].executor, Q7M_DISPOSE);
    return 0;
  }
  request->node.name = reinterpret_cast<const char *>(slots.release());
  return 1;
}

int32_t Q7ExecuteThreads(Q7Object *executor, Q7AsyncRequest *request) {
  if (!request || !request->node.name || !q7::async_data(executor)) return 0;
  AsyncSlot *slots = q7fo_slots(*request);
  for (uint32_t i = 0; i < q7fo_count(*request); ++i) {
    slots[i].error = 0;
    q7::atomic(slots[i].busy).store(1, std::memory_order_relaxed);
    if (q7fo_queue(executor, *request, i, slots[i])) continue;
    slots[i].error = 1;
    q7::atomic(slots[i].busy).store(0, std::memory_order_relaxed);
  }
  return 1;
}

int32_t Q7SynchronizeThreads(Q7Object *executor, Q7AsyncRequest *request) {
  AsyncExecutor *ex = q7::async_data(executor);
  if (!request || !request->node.name || !ex) return 0;
  AsyncSlot *slots = q7fo_slots(*request);
  const uint32_t count = q7fo_count(*request);
  const q7::AsyncWorker *worker = q7::async_worker();
  const bool is_worker = worker && worker->self == executor;
  Q7Object *signal = q7::async_borrow_signal(*ex, !is_worker);
  while (q7fo_busy(slots, count)) {
    if (!signal) {  // the worker was stopped; the slots tell all the same
      Q7SleepMs(1);
      continue;
    }
    q7::send(signal, q7::kSignalWait, 0, 0, q7::slot(kWaitMs));
    if (!is_worker) q7fo_hand_on(*ex, signal, true);
  }
  if (signal) {
    if (!is_worker) q7fo_hand_on(*ex, signal, false);
    q7::async_return_signal(*ex, !is_worker);
  }
  for (uint32_t i = 0; i < count; ++i) {
    if (slots[i].error) return 0;
  }
  return 1;
}

void Q7FreeThreads(Q7AsyncRequest *request) {
  if (!request || !request->node.name) return;
  AsyncSlot *slots = q7fo_slots(*request);
  const uint32_t count = q7fo_count(*request);
  for (uint32_t i = 0; i < count; ++i) q7::send(slots[i].executor, Q7M_DISPOSE);
  Q7FreeMem(slots, sizeof(AsyncSlot) * count);
  request->node.name = nullptr;
}

uint64_t q7::async_fan_out(Q7Object *executor, Q7AsyncRequest *request) {
  if (!request->target || !request->method || !Q7AllocThreads(request)) return 0;
  Q7ExecuteThreads(executor, request);
  const int32_t result = Q7SynchronizeThreads(executor, request);
  Q7FreeThreads(request);
  return static_cast<uint64_t>(result);
}

uint64_t q7::async_fanout_reply(AsyncExecutor &ex, AsyncSlot *slot, uint64_t result) {
  if (!slot) return 0;
  slot->error = result == 0;
  // With this the waiting thread may go on; it frees the slots only after this thread has ended.
  atomic(slot->busy).store(0, std::memory_order_release);
  if (Q7Object *signal = async_borrow_signal(ex)) {
    send(signal, kSignalWake);
    async_return_signal(ex);
  }
  return 1;
}
