// The idle queues under threads: many producers, one runner, suspensions from other threads, flushes and strips.
#include <atomic>
#include <thread>

#include "app/q7idle.h"
#include "tests/app/app_test.h"

using apptest::AppTest;
using apptest::live_probes;

namespace {

constexpr int kProducers = 16;
constexpr uint64_t kMessages = 1'000'000;
constexpr uint64_t kEach = kMessages / kProducers;

// A target that counts what it receives, with the reference counting of the root class.
enum : uint32_t { kCounterClass = 4010, kCount = 4010000 };
struct Counter {
  std::atomic<int64_t> *received;
};
std::atomic<int64_t> live_counters;
std::atomic<int64_t> disposed_with;  // what the disposed counters had received

uint64_t dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  const auto inherit = [&] { return cl->superdispatch(cl->super, obj, method, a, b, tags); };
  const auto counter = [&]() -> Counter & {
    return *reinterpret_cast<Counter *>(reinterpret_cast<char *>(obj) + cl->ioffset);
  };
  switch (method) {
    case Q7M_NEW: {
      obj = reinterpret_cast<Q7Object *>(inherit());
      counter().received = new std::atomic<int64_t>;
      ++live_counters;
      return apptest::num(obj);
    }
    case Q7M_DISPOSE:
      disposed_with += *counter().received;
      delete counter().received;
      --live_counters;
      return inherit();
    case kCount: ++*counter().received; return 1;
    default: return inherit();
  }
}

Q7Object *new_counter() {
  Q7Class *cl = Q7ClassFind(kCounterClass);
  auto *obj = reinterpret_cast<Q7Object *>(dispatch(cl, &cl->header, Q7M_NEW, 0, 0, nullptr));
  obj->dispatch(obj->cl, obj, Q7M_ADDREF, 0, 0, nullptr);
  return obj;
}

// One bit a call: which of the million came, and whether any came twice.
std::vector<std::atomic<uint8_t>> seen(kMessages);
std::atomic<int64_t> twice;
std::atomic<int64_t> calls;

void mark(uint64_t index, Q7IdleMsg *) {
  if (seen[index].exchange(1)) ++twice;
  ++calls;
}
void mark2(uint64_t index, uint64_t) { mark(index, nullptr); }

class IdleThreads : public AppTest {
 protected:
  void SetUp() override {
    ASSERT_TRUE(create());
    ASSERT_TRUE(Q7ClassCreate(Q7C_ROOT, kCounterClass, dispatch, sizeof(Counter), Q7CT_NAME, "counter", Q7TAG_END));
  }
};

TEST_F(IdleThreads, AMillionMessagesNoneLostNoneTwice) {
  std::vector<Q7Object *> targets;
  for (int i = 0; i < kProducers; ++i) targets.push_back(new_counter());
  std::vector<std::atomic<int64_t>> sent(kProducers);
  std::atomic<int> producing{kProducers};
  std::atomic<bool> suspending{true};

  std::vector<std::thread> threads;
  for (int p = 0; p < kProducers; ++p) {
    threads.emplace_back([&, p] {
      const uint64_t first = kEach * static_cast<uint64_t>(p);
      for (uint64_t i = 0; i < kEach; ++i) {
        Q7Object *target = targets[(static_cast<uint64_t>(p) + i) % kProducers];
        switch (i % 8) {
          case 0: Q7AppDoWhenIdle(app, mark, first + i); continue;
          case 1: Q7AppDoWhenIdle2(app, mark2, first + i, 0); continue;
          case 2: Q7AppDoWhenIdleLowPri(app, mark, first + i); continue;
          case 3: Q7AppDoMsgAWhenIdle(app, target, kCount, nullptr); break;
          case 4: Q7AppDoMsgAWhenIdleHiPri(app, target, kCount, nullptr); break;
          case 5: Q7AppDoMsgA2WhenIdle(app, target, kCount, 1, 2); break;
          case 6: Q7AppDoMsgA3WhenIdle(app, target, kCount, 1, 2, 3); break;
          case 7: Q7AppDoMsgAWhenIdleLowPri(app, target, kCount, nullptr); break;
        }
        ++sent[(static_cast<uint64_t>(p) + i) % kProducers];
      }
      --producing;
    });
  }
  // Two threads suspend and resume, nested. Held messages then run on these threads.
  for (int s = 0; s < 2; ++s) {
    threads.emplace_back([&] {
      while (suspending) {
        Q7AppDisableIdleProcessing();
        Q7AppDisableIdleProcessing();
        std::this_thread::yield();
        Q7AppEnableIdleProcessing(app);
        Q7AppEnableIdleProcessing(app);
        std::this_thread::yield();
      }
    });
  }
  int64_t rounds = 0;
  while (producing > 0 || Q7AppIdleMessagesPending(app)) {
    Q7AppDoIdle(app);
    if (++rounds % 16 == 0) Q7AppFlushIdlesToObj(app, targets[static_cast<size_t>(rounds / 16 % kProducers)]);
    if (producing == 0) suspending = false;
  }
  suspending = false;
  for (std::thread &thread : threads) thread.join();
  Q7AppEnableIdleProcessing(app);
  while (Q7AppFlushIdle(app)) {
  }

  EXPECT_EQ(0, twice);
  int64_t expected_calls = 0, expected_messages = 0;
  for (uint64_t i = 0; i < kMessages; ++i) {
    if (i % kEach % 8 > 2) continue;
    ++expected_calls;
    if (!seen[i]) ADD_FAILURE() << "call " << i << " was lost";
  }
  EXPECT_EQ(expected_calls, calls);
  for (auto &n : sent) expected_messages += n;
  EXPECT_EQ(static_cast<int64_t>(kMessages), expected_calls + expected_messages);
  // Every target's own reference is the only one left, and its going disposes of it.
  for (Q7Object *target : targets) {
    EXPECT_EQ(1, target->refcount);
    apptest::release(target);
  }
  EXPECT_EQ(0, live_counters);
  EXPECT_EQ(expected_messages, disposed_with);
}

TEST_F(IdleThreads, StripsBetweenProducers) {
  constexpr int kThreads = 8, kQueued = 1500;
  Q7Object *kept = new_counter(), *stripped = new_counter();
  std::atomic<int> producing{kThreads};
  std::vector<std::thread> threads;
  for (int p = 0; p < kThreads; ++p) {
    threads.emplace_back([&] {
      for (int i = 0; i < kQueued; ++i) {
        Q7AppDoMsgAWhenIdle(app, kept, kCount, nullptr);
        Q7AppDoMsgAWhenIdle(app, stripped, kCount, nullptr);
        Q7AppDoWhenIdle(
            app, [](uint64_t, Q7IdleMsg *) {}, 5);
      }
      --producing;
    });
  }
  while (producing > 0 || Q7AppIdleMessagesPending(app)) {
    Q7AppStripIdleMsgs(app, stripped);
    Q7AppStripIdle(
        app, [](uint64_t, Q7IdleMsg *) {}, 5);
    Q7AppDoIdle(app);
    Q7AppFlushIdlesToObj(app, kept);
  }
  for (std::thread &thread : threads) thread.join();
  auto &count = *reinterpret_cast<Counter *>(reinterpret_cast<char *>(kept) + kept->cl->ioffset);
  EXPECT_EQ(int64_t{kThreads} * kQueued, *count.received);
  EXPECT_EQ(1, kept->refcount);
  // Each stripped message keeps its reference; each delivered one gave its own back.
  auto &other = *reinterpret_cast<Counter *>(reinterpret_cast<char *>(stripped) + stripped->cl->ioffset);
  EXPECT_EQ(int64_t{kThreads} * kQueued - *other.received + 1, stripped->refcount);
  apptest::release(kept);
  stripped->dispatch(stripped->cl, stripped, Q7M_DISPOSE, 0, 0, nullptr);
}

TEST_F(IdleThreads, LastMessageBeforeAResumeIsNotStranded) {
  // A producer that saw the suspension must not leave its message behind the resume that ends it.
  for (int i = 0; i < 400; ++i) {
    std::atomic<int> state{0};
    calls = 0;
    Q7AppDisableIdleProcessing();
    std::thread producer([&] {
      state = 1;
      Q7AppDoWhenIdle2(
          app, [](uint64_t, uint64_t) { ++calls; }, 0, 0);
    });
    while (state == 0) std::this_thread::yield();
    Q7AppEnableIdleProcessing(app);
    producer.join();
    Q7AppDoIdle(app);
    ASSERT_EQ(1, calls) << i;
  }
}

}  // namespace
