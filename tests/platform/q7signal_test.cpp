#include <atomic>
#include <thread>

#include "tests/platform/mini_app.h"

using namespace q7test;

namespace {

class Signals : public PlatformTest {
 protected:
  Q7Object *signal_ = reinterpret_cast<Q7Object *>(Q7ObjectCreate(Q7C_SIGNAL, 0));
  ~Signals() override { Q7ObjectDelete(signal_); }
  uint64_t wake() { return Q7SendMsg(signal_, Q7M_SIGNAL_WAKE, 0); }
  // The time-out travels in the slot.
  uint64_t wait(uint32_t milliseconds) {
    return signal_->dispatch(signal_->cl, signal_, Q7M_SIGNAL_WAIT, 0, 0,
                             reinterpret_cast<Q7TagItem *>(static_cast<uint64_t>(milliseconds)));
  }
};

TEST_F(Signals, AWakeWithoutAWaiterIsKept) {
  EXPECT_EQ(wake(), 1u);
  EXPECT_EQ(wait(0), 1u);
  EXPECT_EQ(wait(1), 0u);
}

TEST_F(Signals, EveryWakeIsKept) {
  for (int i = 0; i < 3; ++i) wake();
  for (int i = 0; i < 3; ++i) EXPECT_EQ(wait(1), 1u);
  EXPECT_EQ(wait(1), 0u);
}

TEST_F(Signals, ATimeOutTakesItsTime) {
  auto before = std::chrono::steady_clock::now();
  EXPECT_EQ(wait(30), 0u);
  auto took = std::chrono::steady_clock::now() - before;
  EXPECT_GE(took, std::chrono::milliseconds(30));
  EXPECT_LT(took, std::chrono::seconds(5));
}

TEST_F(Signals, TimeOutZeroWaitsForAWake) {
  std::thread other([&] {
    Q7SleepMs(30);
    wake();
  });
  EXPECT_EQ(wait(0), 1u);
  other.join();
}

TEST_F(Signals, AWakeEndsOneWait) {
  std::atomic<int> woken{0};
  std::vector<std::thread> waiters;
  for (int i = 0; i < 3; ++i) waiters.emplace_back([&] { woken += static_cast<int>(wait(0)); });
  for (int n = 1; n <= 3; ++n) {
    wake();
    while (woken.load() < n) Q7SleepMs(1);
    Q7SleepMs(5);
    EXPECT_EQ(woken.load(), n);
  }
  for (auto &waiter : waiters) waiter.join();
}

TEST_F(Signals, NoWakeIsLostBetweenThreads) {
  constexpr int kWakes = 20000;
  std::vector<std::thread> wakers;
  for (int t = 0; t < 4; ++t) {
    wakers.emplace_back([&] {
      for (int i = 0; i < kWakes / 4; ++i) wake();
    });
  }
  for (int i = 0; i < kWakes; ++i) ASSERT_EQ(wait(10000), 1u);
  for (auto &waker : wakers) waker.join();
  EXPECT_EQ(wait(1), 0u);
}

TEST_F(Signals, TheThreadKnowsItsLastSignal) {
  auto last = [] { return Q7SendClassMsg(Q7C_TASK, Q7M_TASK_LAST_SIGNAL, 0); };
  EXPECT_EQ(last(), 0u);
  wait(1);
  EXPECT_EQ(last(), 0u);
  wake();
  wait(0);
  EXPECT_EQ(last(), word(signal_));
  uint64_t elsewhere = 1;
  std::thread([&] { elsewhere = last(); }).join();
  EXPECT_EQ(elsewhere, 0u);
}

TEST_F(Signals, ADisposedSignalIsForgotten) {
  auto *other = reinterpret_cast<Q7Object *>(Q7ObjectCreate(Q7C_SIGNAL, 0));
  Q7SendMsg(other, Q7M_SIGNAL_WAKE, 0);
  Q7SendMsg(other, Q7M_SIGNAL_WAIT, 0);
  Q7ObjectDelete(other);
  EXPECT_EQ(Q7SendClassMsg(Q7C_TASK, Q7M_TASK_LAST_SIGNAL, 0), 0u);
}

TEST_F(Signals, ExhaustionGivesNull) {
  AllocGate gate;
  gate.fail(1);
  EXPECT_EQ(Q7ObjectCreate(Q7C_SIGNAL, 0), nullptr);
}

}  // namespace
