// app_bench: what an idle message and a request through an executor cost, beside GLib's and Qt's of the same kind when
// those are installed. Everything runs in batches of 1,000; the figures of one run are compared with one another.
#include <benchmark/benchmark.h>

#include "app/q7app.h"
#include "app/q7async.h"
#include "bench/peers/batch.hpp"
#include "bench/ratios.hpp"
#include "core/q7oops.h"

namespace {

using q7bench::kBatch;
enum : uint32_t { kTargetClass = 4900, kWork = 4900000, kReply = 4900001 };

Q7App *app;
Q7Object *target;
q7bench::Batch batch;
int64_t worked;  // by one thread at a time

uint64_t dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  switch (method) {
    case kWork: ++worked; return 1;
    // The last reply of a batch tells the producer.
    case kReply:
      if (a == kBatch - 1) batch.tell();
      return 1;
    default: return cl->superdispatch(cl->super, obj, method, a, b, tags);
  }
}

uint64_t word(const void *pointer) { return reinterpret_cast<uint64_t>(pointer); }

Q7Object *make(uint32_t id) {
  Q7Class *cl = Q7ClassFind(id);
  return reinterpret_cast<Q7Object *>(cl->header.dispatch(cl, &cl->header, Q7M_NEW, 0, 0, nullptr));
}

void finish(benchmark::State &state) { state.SetItemsProcessed(state.iterations() * kBatch); }

void idle_message(benchmark::State &state) {
  for (auto _ : state) {
    for (int i = 0; i < kBatch; ++i) Q7AppDoMsgAWhenIdle(app, target, kWork, nullptr);
    while (Q7AppDoIdle(app)) {
    }
  }
  finish(state);
}
BENCHMARK(idle_message);

void idle_call(benchmark::State &state) {
  for (auto _ : state) {
    for (int i = 0; i < kBatch; ++i) {
      Q7AppDoWhenIdle(
          app, [](uint64_t, Q7IdleMsg *) { ++worked; }, 0);
    }
    while (Q7AppDoIdle(app)) {
    }
  }
  finish(state);
}
BENCHMARK(idle_call);

void executor_request_and_reply(benchmark::State &state) {
  Q7Object *executor = make(Q7C_ASYNC);
  for (auto _ : state) {
    for (uint64_t i = 0; i < kBatch; ++i) {
      Q7TagItem tags[] = {{Q7A_ASYNC_ARG1, i},
                          {Q7A_ASYNC_REPLY_OBJECT, word(target)},
                          {Q7A_ASYNC_REPLY_METHOD, kReply},
                          {Q7A_ASYNC_REPLY_ARG, i},
                          {Q7TAG_END, 0}};
      executor->dispatch(executor->cl, executor, Q7M_ASYNC_QUEUE, word(target), kWork, tags);
    }
    batch.await();
  }
  finish(state);
  executor->dispatch(executor->cl, executor, Q7M_DISPOSE, 0, 0, nullptr);
}
BENCHMARK(executor_request_and_reply)->UseRealTime();

}  // namespace

int main(int argc, char **argv) {
  app = Q7AppCreate(&argc, argv, Q7APP_Interactive, uint64_t{0}, 0);
  if (!app || !Q7RegisterAsyncExecutorClass(app)) return 2;
  Q7ClassCreate(Q7C_ROOT, kTargetClass, dispatch, 0, Q7TAG_END);
  target = make(kTargetClass);
  target->dispatch(target->cl, target, Q7M_ADDREF, 0, 0, nullptr);
  // The bars in nanoseconds are those of a machine that takes 227 ns for a peer's message; elsewhere the ratios hold.
  const int status =
      q7bench::run(argc, argv,
                   {
                       {"a message queued and run, in batches of 1000", "idle_message", "", 0, kBatch},
                       {"  to GLib's idle source", "idle_message", "peer_glib_idle", 60.0 / 227},
                       {"  to Qt's queued call", "idle_message", "peer_qt_queued_call", 60.0 / 227},
                       {"a call queued and run, in batches of 1000", "idle_call", "", 0, kBatch},
                       {"  to GLib's idle source", "idle_call", "peer_glib_idle", 60.0 / 227},
                       {"  to Qt's queued call", "idle_call", "peer_qt_queued_call", 60.0 / 227},
                       {"a request through an executor and its reply", "executor_request_and_reply", "", 0, kBatch},
                       {"  to QThreadPool without a reply", "executor_request_and_reply", "peer_qt_thread_pool", 1},
                       {"  to GThreadPool without a reply", "executor_request_and_reply", "peer_glib_thread_pool", 0},
                   });
  target->dispatch(target->cl, target, Q7M_RELEASE, 0, 0, nullptr);
  Q7AppDelete(app);
  return status;
}
