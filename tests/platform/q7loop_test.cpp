#include <sys/resource.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <thread>

#include "core/q7memory.h"
#include "tests/platform/mini_app.h"

using namespace q7test;

namespace {

class Loop : public PlatformTest {
 protected:
  int32_t run() { return Q7ProcessEventsA(app(), Q7PROCESS_RUN, nullptr); }
  int32_t run_for(uint32_t milliseconds) {
    Q7TagItem tags[2] = {{Q7A_PROCESS_TIMEOUT, milliseconds}, {0, 0}};
    return Q7ProcessEventsA(app(), Q7PROCESS_RUN, tags);
  }
  int32_t poll() { return Q7ProcessEventsA(app(), Q7PROCESS_POLL, nullptr); }
  void end() { J7AppTerminate(app()); }
};

void count_call(uint64_t counter, Q7IdleMsg *) { ++*reinterpret_cast<int *>(counter); }
void end_loop(uint64_t, Q7IdleMsg *) { J7AppTerminate(Q7ApplicationContext); }

double processor_seconds() {
  timespec used;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
  return static_cast<double>(used.tv_sec) + static_cast<double>(used.tv_nsec) * 1e-9;
}

TEST_F(Loop, ItRunsIdleWorkAndEndsOnTermination) {
  int count = 0;
  for (int i = 0; i < 3; ++i) Q7AppDoWhenIdle(app(), count_call, word(&count));
  Q7AppDoWhenIdle(app(), end_loop, 0);
  EXPECT_EQ(run(), 1);
  EXPECT_EQ(count, 3);
}

TEST_F(Loop, ATerminationBeforeItEndsItAtOnce) {
  end();
  EXPECT_EQ(run(), 1);
}

TEST_F(Loop, AnotherThreadEndsIt) {
  std::thread other([&] {
    Q7SleepMs(20);
    end();
  });
  EXPECT_EQ(run(), 1);
  other.join();
}

TEST_F(Loop, ANestedLoopAndTheOuterOneEndTogether) {
  static int32_t inner = -1;
  Q7AppDoWhenIdle(app(), end_loop, 0);
  Q7AppDoWhenIdle(
      app(), [](uint64_t, Q7IdleMsg *) { inner = Q7ProcessEventsA(Q7ApplicationContext, Q7PROCESS_RUN, nullptr); }, 0);
  EXPECT_EQ(run(), 1);
  EXPECT_EQ(inner, 1);
}

TEST_F(Loop, AnIdleLoopUsesNoProcessor) {
  double before = processor_seconds();
  EXPECT_EQ(run_for(300), 0);
  EXPECT_LT(processor_seconds() - before, 0.03);
}

TEST_F(Loop, ATimeOutEndsIt) {
  auto before = std::chrono::steady_clock::now();
  EXPECT_EQ(run_for(30), 0);
  EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(30));
}

TEST_F(Loop, PollingDoesNotWait) {
  EXPECT_EQ(poll(), 0);
  int count = 0;
  Q7AppDoWhenIdle(app(), count_call, word(&count));
  EXPECT_EQ(poll(), 1);
  EXPECT_EQ(count, 1);
}

TEST_F(Loop, OnceWaitsForWork) {
  static int count;
  count = 0;
  std::thread other([&] {
    Q7SleepMs(20);
    Q7AppDoWhenIdle(app(), count_call, word(&count));
  });
  EXPECT_EQ(Q7ProcessEventsA(app(), Q7PROCESS_ONCE, nullptr), 1);
  EXPECT_EQ(count, 1);
  other.join();
}

TEST_F(Loop, AWakeIsKeptUntilItRuns) {
  Q7WakeUpGui(app());
  Q7WakeUpGui(nullptr);
  EXPECT_EQ(poll(), 0);
}

TEST_F(Loop, ItRefusesOtherThreadsAndNoApplication) {
  EXPECT_EQ(Q7ProcessEventsA(nullptr, 0, nullptr), 0);
  int32_t elsewhere = 1;
  std::thread([&] { elsewhere = run(); }).join();
  EXPECT_EQ(elsewhere, 0);
  EXPECT_EQ(errors().size(), 1u);
}

// Sixteen threads queue a million messages while the loop runs: none is lost, each thread's keep their order.
TEST_F(Loop, NoMessageIsLostAndEachThreadsOrderIsKept) {
  constexpr int kThreads = 16;
#if defined __SANITIZE_THREAD__ || defined __SANITIZE_ADDRESS__
  constexpr uint64_t kEach = 6250;
#else
  constexpr uint64_t kEach = 62500;
#endif
  static uint64_t next[kThreads];
  static uint64_t disorder;
  static uint64_t delivered;
  std::fill(std::begin(next), std::end(next), 0);
  disorder = delivered = 0;
  Q7Object *probe = make_probe([](Q7Object *, uint32_t, uint64_t thread, uint64_t number, Q7TagItem *) {
    if (next[thread]++ != number) ++disorder;
    if (++delivered == kThreads * kEach) J7AppTerminate(Q7ApplicationContext);
    return uint64_t{0};
  });
  std::vector<std::thread> threads;
  for (uint64_t t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (uint64_t i = 0; i < kEach; ++i) Q7AppDoMsgA3WhenIdle(app(), probe, 100000, t, i, 0);
    });
  }
  EXPECT_EQ(run(), 1);
  for (auto &thread : threads) thread.join();
  EXPECT_EQ(delivered, kThreads * kEach);
  EXPECT_EQ(disorder, 0u);
  Q7SendMsg(probe, Q7M_RELEASE, 0);
}

TEST_F(Loop, RefusedDescriptorsAreReported) {
  J7SystemDependFree(app());
  rlimit before;
  getrlimit(RLIMIT_NOFILE, &before);
  rlimit none = {0, before.rlim_max};
  setrlimit(RLIMIT_NOFILE, &none);
  int32_t result = J7SystemDependInitP1(app(), 0, nullptr, 0, nullptr);
  setrlimit(RLIMIT_NOFILE, &before);
  EXPECT_EQ(result, 0);
  ASSERT_GE(errors().size(), 1u);
  EXPECT_EQ(errors()[0], "q7loop: Cannot make the main loop's event descriptor: Too many open files");
}

// ---- Timers ----

std::vector<uint64_t> fired;
uint64_t note_fired(Q7Object *, uint32_t, uint64_t, uint64_t, Q7TagItem *slot) {
  fired.push_back(reinterpret_cast<uint64_t>(slot));
  if (fired.back() == 99) J7AppTerminate(Q7ApplicationContext);
  return 1;
}

class Timers : public Loop {
 protected:
  Timers() { fired.clear(); }
  ~Timers() override { Q7SendMsg(probe_, Q7M_RELEASE, 0); }
  Q7Object *make(uint32_t interval, bool repeat, uint64_t argument) {
    return Q7ObjectCreate(Q7C_TIMER, Q7A_TIMER_INTERVAL, uint64_t{interval}, Q7A_TIMER_REPEAT, uint64_t{repeat},
                          Q7A_TIMER_TARGET, word(probe_), Q7A_TIMER_METHOD, uint64_t{100001}, Q7A_TIMER_ARGUMENT,
                          argument, 0);
  }
  static uint64_t start(Q7Object *timer) { return Q7SendMsg(timer, Q7M_TIMER_START, 0); }
  static uint64_t stop(Q7Object *timer) { return Q7SendMsg(timer, Q7M_TIMER_STOP, 0); }
  static int32_t running(Q7Object *timer) {
    int32_t value = -1;
    Q7Get(timer, Q7A_TIMER_RUNNING, word(&value), 0);
    return value;
  }
  Q7Object *probe_ = make_probe(note_fired);
};

TEST_F(Timers, ASingleTimerFiresOnceAfterItsInterval) {
  Q7Object *timer = make(20, false, 99);
  auto before = std::chrono::steady_clock::now();
  EXPECT_EQ(start(timer), 1u);
  EXPECT_EQ(running(timer), 1);
  EXPECT_EQ(run(), 1);
  EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(20));
  EXPECT_EQ(fired, std::vector<uint64_t>{99});
  EXPECT_EQ(running(timer), 0);
  Q7ObjectDelete(timer);
}

TEST_F(Timers, ARepeatingTimerGoesOnUntilItIsStopped) {
  Q7Object *timer = make(5, true, 7);
  start(timer);
  run_for(100);
  EXPECT_GE(fired.size(), 3u);
  EXPECT_EQ(running(timer), 1);
  EXPECT_EQ(stop(timer), 1u);
  EXPECT_EQ(stop(timer), 0u);
  size_t before = fired.size();
  run_for(20);
  EXPECT_EQ(fired.size(), before);
  Q7ObjectDelete(timer);
}

TEST_F(Timers, ALateTimerFiresOnce) {
  Q7Object *timer = make(1, true, 7);
  start(timer);
  Q7SleepMs(20);
  poll();
  EXPECT_EQ(fired.size(), 1u);
  Q7ObjectDelete(timer);
}

TEST_F(Timers, TheEarlierOneFiresFirst) {
  Q7Object *late = make(12, false, 2);
  Q7Object *early = make(4, false, 1);
  start(late);
  start(early);
  Q7SleepMs(20);
  poll();
  EXPECT_EQ(fired, (std::vector<uint64_t>{1, 2}));
  Q7ObjectDelete(late);
  Q7ObjectDelete(early);
}

TEST_F(Timers, ADisposedTimerDoesNotFire) {
  Q7Object *timer = make(1, true, 7);
  start(timer);
  Q7ObjectDelete(timer);
  Q7SleepMs(5);
  EXPECT_EQ(poll(), 0);
}

TEST_F(Timers, ATimerMayDisposeItselfAndAnother) {
  static Q7Object *first;
  static Q7Object *second;
  first = make(1, true, 1);
  second = make(1, true, 2);
  receiver() = [](Q7Object *, uint32_t, uint64_t, uint64_t, Q7TagItem *) {
    Q7ObjectDelete(first);
    Q7ObjectDelete(second);
    fired.push_back(0);
    return uint64_t{0};
  };
  start(first);
  start(second);
  Q7SleepMs(5);
  EXPECT_EQ(poll(), 1);
  EXPECT_EQ(fired.size(), 1u);
}

TEST_F(Timers, WithoutATargetItDoesNotStart) {
  Q7Object *timer = Q7ObjectCreate(Q7C_TIMER, 0);
  EXPECT_EQ(start(timer), 0u);
  Q7ObjectDelete(timer);
}

TEST_F(Timers, LosingItsTargetStopsIt) {
  Q7Object *timer = make(1, true, 7);
  start(timer);
  Q7Set(timer, Q7A_TIMER_TARGET, uint64_t{0}, 0);
  EXPECT_EQ(running(timer), 0);
  Q7ObjectDelete(timer);
}

TEST_F(Timers, TheTargetIsReferenced) {
  int32_t before = probe_->refcount;
  Q7Object *timer = make(1, true, 7);
  EXPECT_EQ(probe_->refcount, before + 1);
  Q7ObjectDelete(timer);
  EXPECT_EQ(probe_->refcount, before);
}

TEST_F(Timers, AttributesAreGivenBack) {
  Q7Object *timer = make(15, true, UINT64_C(0x123456789ABCDEF0));
  uint32_t interval = 0;
  int32_t repeat = 0;
  Q7Object *target = nullptr;
  uint32_t method = 0;
  uint64_t argument = 0;
  EXPECT_EQ(Q7Get(timer, Q7A_TIMER_INTERVAL, word(&interval), Q7A_TIMER_REPEAT, word(&repeat), Q7A_TIMER_TARGET,
                  word(&target), Q7A_TIMER_METHOD, word(&method), Q7A_TIMER_ARGUMENT, word(&argument), 0),
            0u);
  EXPECT_EQ(interval, 15u);
  EXPECT_EQ(repeat, 1);
  EXPECT_EQ(target, probe_);
  EXPECT_EQ(method, 100001u);
  EXPECT_EQ(argument, UINT64_C(0x123456789ABCDEF0));
  Q7ObjectDelete(timer);
}

// ---- Message ports ----

class Ports : public Loop {
 protected:
  static uint64_t put(Q7Object *port, uint64_t a, uint64_t b, uint64_t slot) {
    return port->dispatch(port->cl, port, Q7M_MSGPORT_PUT, a, b, reinterpret_cast<Q7TagItem *>(slot));
  }
  static uint64_t take(Q7Object *port, Q7PortMessage *message) {
    return port->dispatch(port->cl, port, Q7M_MSGPORT_TAKE, 0, 0, reinterpret_cast<Q7TagItem *>(message));
  }
  static uint64_t count(Q7Object *port) { return Q7SendMsg(port, Q7M_MSGPORT_COUNT, 0); }
};

std::vector<std::array<uint64_t, 3>> received;
uint64_t note_received(Q7Object *, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *slot) {
  EXPECT_EQ(method, 100002u);
  received.push_back({a, b, reinterpret_cast<uint64_t>(slot)});
  return 1;
}

TEST_F(Ports, WithoutATargetMessagesWaitToBeTaken) {
  Q7Object *port = Q7ObjectCreate(Q7C_MSGPORT, 0);
  EXPECT_EQ(put(port, 1, 2, 3), 1u);
  EXPECT_EQ(put(port, 4, 5, 6), 1u);
  EXPECT_EQ(poll(), 0);
  EXPECT_EQ(count(port), 2u);
  Q7PortMessage message;
  EXPECT_EQ(take(port, &message), 1u);
  EXPECT_EQ(message.a, 1u);
  EXPECT_EQ(message.b, 2u);
  EXPECT_EQ(message.slot, 3u);
  EXPECT_EQ(take(port, &message), 1u);
  EXPECT_EQ(take(port, &message), 0u);
  EXPECT_EQ(take(port, nullptr), 0u);
  Q7ObjectDelete(port);
}

TEST_F(Ports, TheLoopDeliversToTheTarget) {
  received.clear();
  Q7Object *probe = make_probe(note_received);
  Q7Object *port =
      Q7ObjectCreate(Q7C_MSGPORT, Q7A_MSGPORT_TARGET, word(probe), Q7A_MSGPORT_METHOD, uint64_t{100002}, 0);
  std::thread([&] {
    put(port, 1, 2, 3);
    put(port, 4, 5, 6);
  }).join();
  EXPECT_EQ(poll(), 1);
  EXPECT_EQ(received, (std::vector<std::array<uint64_t, 3>>{{1, 2, 3}, {4, 5, 6}}));
  Q7ObjectDelete(port);
  Q7SendMsg(probe, Q7M_RELEASE, 0);
}

TEST_F(Ports, WhatWaitedIsDeliveredOnceThereIsATarget) {
  received.clear();
  Q7Object *port = Q7ObjectCreate(Q7C_MSGPORT, Q7A_MSGPORT_METHOD, uint64_t{100002}, 0);
  put(port, 1, 2, 3);
  Q7Object *probe = make_probe(note_received);
  Q7Set(port, Q7A_MSGPORT_TARGET, word(probe), 0);
  EXPECT_EQ(poll(), 1);
  EXPECT_EQ(received.size(), 1u);
  Q7ObjectDelete(port);
  Q7SendMsg(probe, Q7M_RELEASE, 0);
}

TEST_F(Ports, AMessageThatPutsAnotherDoesNotHoldTheLoopUp) {
  static Q7Object *port;
  static int rounds;
  rounds = 0;
  Q7Object *probe = make_probe([](Q7Object *, uint32_t, uint64_t, uint64_t, Q7TagItem *) {
    ++rounds;
    return put(port, 0, 0, 0);
  });
  port = Q7ObjectCreate(Q7C_MSGPORT, Q7A_MSGPORT_TARGET, word(probe), Q7A_MSGPORT_METHOD, uint64_t{100002}, 0);
  put(port, 0, 0, 0);
  poll();
  EXPECT_EQ(rounds, 1);
  Q7ObjectDelete(port);
  Q7SendMsg(probe, Q7M_RELEASE, 0);
}

TEST_F(Ports, ADeliveryMayDisposeThePort) {
  static Q7Object *port;
  Q7Object *probe = make_probe([](Q7Object *, uint32_t, uint64_t, uint64_t, Q7TagItem *) {
    Q7ObjectDelete(port);
    return uint64_t{0};
  });
  port = Q7ObjectCreate(Q7C_MSGPORT, Q7A_MSGPORT_TARGET, word(probe), Q7A_MSGPORT_METHOD, uint64_t{100002}, 0);
  put(port, 0, 0, 0);
  put(port, 0, 0, 0);
  EXPECT_EQ(poll(), 1);
  Q7SendMsg(probe, Q7M_RELEASE, 0);
}

TEST_F(Ports, ExhaustionIsAnswered) {
  Q7Object *port = Q7ObjectCreate(Q7C_MSGPORT, 0);
  AllocGate gate;
  gate.fail(1);
  EXPECT_EQ(put(port, 1, 2, 3), 0u);
  EXPECT_EQ(count(port), 0u);
  Q7ObjectDelete(port);
}

}  // namespace
