// async: what the executor (q7async) and its fan-outs (q7fanout) share: the instance data and the worker's state.
#ifndef Q7_APP_ASYNC_HPP
#define Q7_APP_ASYNC_HPP

#include <atomic>

#include "app/q7async.h"
#include "core/classdef.hpp"

namespace q7 {

struct AsyncExecutor;

// The state of a worker, on its own stack; the instance it works for may be disposed of while it executes a request.
struct AsyncWorker {
  Q7Object *self;                    // the executor
  AsyncExecutor *executor;           // its data
  Q7AsyncRequest *record = nullptr;  // in execution, in no list
  Q7List taken = {};                 // requests that only this thread sees any more, oldest first
  Q7List spent = {};                 // executed records, not yet given back
  uint64_t executed = 0;             // requests so far
  bool stop = false;                 // a stop request was taken
  bool gone = false;                 // the executor was disposed of by the request in execution
};

struct AsyncExecutor {     // instance data
  Q7Object *signal;        // the worker waits on it; null when the worker is not running. Guarded by lock
  int32_t running;         // 1 while the worker runs. Atomic
  void *lock;              // guards both lists and what says so
  Q7List requests;         // pending
  Q7List spent;            // records for reuse
  uint32_t flags;          // kNewestFirst (Q7A_ASYNC_NEWEST_FIRST). Guarded by lock
  int32_t thread_setting;  // Q7A_ASYNC_THREAD_SETTING
  // What follows is the module's own.
  Q7Object *self;
  Q7Object *task;              // runs the worker
  int32_t start;               // AsyncStart. Atomic
  int32_t users;               // threads that use the signal without the lock; it is deleted after they left. Atomic
  int32_t waiters;             // of them, fan-outs that wait on it. Guarded by lock
  int32_t pending;             // set with every queued request, cleared when the worker takes them. Atomic
  uint32_t waiting;            // the worker waits on the signal. Guarded by lock
  uint32_t stop_asked;         // a disposal that found no memory for a stop request. Guarded by lock
  uint32_t disposing;          // Guarded by lock
  Q7Object *fanout_owner;      // of a fan-out's executor: the executor that waits for it
  AsyncWorker *fanout_waiter;  // and the worker that waits, if it is one
};

enum AsyncFlag : uint32_t { kNewestFirst = 1 };
enum AsyncStart : int32_t { kAsyncStarting, kAsyncRunning, kAsyncFailed };

// One executor of a fan-out. `busy` is written last by the reply.
struct AsyncSlot {
  Q7Object *executor;
  int32_t busy;   // Atomic
  int32_t error;  // 1 when the method answered 0
};

enum : uint32_t { kSignalWake = 2000, kSignalWait = 2001 };

inline std::atomic_ref<int32_t> atomic(int32_t &value) { return std::atomic_ref<int32_t>(value); }

// The worker whose thread this is, or null.
AsyncWorker *async_worker();

// The data of an executor; null for null or for an object of another class.
AsyncExecutor *async_data(Q7Object *executor);

// Uses the executor's signal without the lock: null when the worker is not running. Every borrowed signal is given
// back.
Q7Object *async_borrow_signal(AsyncExecutor &executor, bool to_wait = false);
void async_return_signal(AsyncExecutor &executor, bool waited = false);

// Runs a request across executors, in the caller's thread. 1 if every one answered non-zero.
uint64_t async_fan_out(Q7Object *executor, Q7AsyncRequest *request);

// Method Q7M_ASYNC_FANOUT_REPLY.
uint64_t async_fanout_reply(AsyncExecutor &executor, AsyncSlot *slot, uint64_t result);

}  // namespace q7

#endif
