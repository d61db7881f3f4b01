// Executors under threads: many producers, thousands of lives, fan-outs in several threads at once.
#include <atomic>
#include <thread>

#include "app/q7async.h"
#include "tests/app/app_test.h"

using apptest::AppTest;
using apptest::num;

namespace {

// A target that any thread may send to at the same time: it counts.
enum : uint32_t { kTargetClass = 4011, kAdd = 4011000, kReply = 4011001, kDouble = 4011002 };
std::atomic<int64_t> added, replies, wrong;

uint64_t dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  switch (method) {
    case kAdd: added += static_cast<int64_t>(a); return a + 1;
    case kReply:
      wrong += num(tags) != a + 1;
      ++replies;
      return 1;
    case kDouble: *reinterpret_cast<uint64_t *>(tags) = 2 * a; return 1;
    default: return cl->superdispatch(cl->super, obj, method, a, b, tags);
  }
}

uint64_t send(Q7Object *object, uint32_t method, uint64_t a = 0, uint64_t b = 0, Q7TagItem *tags = nullptr) {
  return object->dispatch(object->cl, object, method, a, b, tags);
}
Q7Object *make(uint32_t id) {
  Q7Class *cl = Q7ClassFind(id);
  return reinterpret_cast<Q7Object *>(cl->header.dispatch(cl, &cl->header, Q7M_NEW, 0, 0, nullptr));
}

class AsyncThreads : public AppTest {
 protected:
  void SetUp() override {
    ASSERT_TRUE(create());
    ASSERT_EQ(1, Q7RegisterAsyncExecutorClass(app));
    ASSERT_TRUE(Q7ClassCreate(Q7C_ROOT, kTargetClass, dispatch, 0, Q7CT_NAME, "target", Q7TAG_END));
    target_ = make(kTargetClass);
    send(target_, Q7M_ADDREF);
    added = replies = wrong = 0;
    before_ = fake::live();
  }
  void TearDown() override {
    EXPECT_EQ(before_, fake::live());
    EXPECT_EQ(0u, send(target_, Q7M_RELEASE));
  }
  uint64_t request(Q7Object *executor, uint64_t value) {
    Q7TagItem tags[] = {{534, value},
                        {Q7A_ASYNC_REPLY_OBJECT, num(target_)},
                        {Q7A_ASYNC_REPLY_METHOD, kReply},
                        {Q7A_ASYNC_REPLY_ARG, value},
                        {Q7TAG_END, 0}};
    return send(executor, value % 2 ? Q7M_ASYNC_QUEUE_HELD : Q7M_ASYNC_QUEUE, num(target_), kAdd, tags);
  }
  bool fan_out(Q7Object *executor, uint32_t n, bool at_once) {
    std::vector<uint64_t> in(n), out(n), where(n);
    for (uint32_t i = 0; i < n; ++i) {
      in[i] = i + 1;
      where[i] = num(&out[i]);
    }
    const int64_t before = replies;
    Q7TagItem tags[] = {{534, num(in.data())},
                        {536, num(where.data())},
                        {Q7A_ASYNC_THREADS, n},
                        {Q7A_ASYNC_AT_ONCE, at_once},
                        {Q7A_ASYNC_REPLY_OBJECT, num(target_)},
                        {Q7A_ASYNC_REPLY_METHOD, kReply},
                        {Q7TAG_END, 0}};
    if (at_once) tags[4] = {Q7TAG_END, 0};
    if (send(executor, Q7M_ASYNC_QUEUE, num(target_), kDouble, tags) != 1) return false;
    while (!at_once && replies == before) std::this_thread::yield();
    for (uint32_t i = 0; i < n; ++i) {
      if (out[i] != 2 * in[i]) return false;
    }
    return true;
  }
  Q7Object *target_ = nullptr;
  fake::Live before_{};
};

TEST_F(AsyncThreads, ManyProducersOneExecutor) {
  constexpr int kThreads = 8;
  constexpr uint64_t kEach = 10000;
  Q7Object *executor = make(Q7C_ASYNC);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&] {
      for (uint64_t i = 0; i < kEach; ++i) {
        if (request(executor, i) != 1) ++wrong;
      }
    });
  }
  for (std::thread &thread : threads) thread.join();
  send(executor, Q7M_DISPOSE);
  EXPECT_EQ(0, wrong);
  EXPECT_EQ(int64_t{kThreads} * static_cast<int64_t>(kEach), replies);
  EXPECT_EQ(int64_t{kThreads} * static_cast<int64_t>(kEach * (kEach - 1) / 2), added);
  EXPECT_EQ(1, target_->refcount);
}

TEST_F(AsyncThreads, AThousandExecutorsInARow) {
  const int threads = q7test::thread_count();
  for (uint64_t i = 0; i < 1000; ++i) {
    Q7Object *executor = make(Q7C_ASYNC);
    ASSERT_TRUE(executor);
    if (i % 2) {
      ASSERT_EQ(1u, request(executor, i));
    }
    send(executor, Q7M_DISPOSE);
    ASSERT_EQ(before_, fake::live());
  }
  EXPECT_EQ(500, replies);
  EXPECT_EQ(0, wrong);
  EXPECT_GE(threads, q7test::thread_count());
  EXPECT_EQ(0u, Q7ClassFind(Q7C_ASYNC)->ninstances);
}

TEST_F(AsyncThreads, StopRacesWithProducers) {
  for (int i = 0; i < 200; ++i) {
    Q7Object *executor = make(Q7C_ASYNC);
    std::atomic<int64_t> taken{0};
    replies = 0;
    std::thread producer([&] {
      for (uint64_t k = 0; k < 50; ++k) taken += static_cast<int64_t>(request(executor, k));
    });
    send(executor, Q7M_ASYNC_QUEUE, 0, 0, nullptr);
    producer.join();
    send(executor, Q7M_DISPOSE);
    ASSERT_EQ(taken, replies);
  }
  EXPECT_EQ(0, wrong);
}

TEST_F(AsyncThreads, FanOutsAndRequestsShareAnExecutor) {
  Q7Object *executor = make(Q7C_ASYNC);
  std::atomic<bool> ok{true};
  std::vector<std::thread> threads;
  for (int t = 0; t < 2; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 20; ++i) {
        if (!fan_out(executor, 3, true)) ok = false;
      }
    });
  }
  threads.emplace_back([&] {
    for (uint64_t i = 0; i < 2000; ++i) {
      if (request(executor, i) != 1) ok = false;
      if (i % 100 == 0) std::this_thread::yield();
    }
  });
  for (std::thread &thread : threads) thread.join();
  EXPECT_TRUE(ok);
  send(executor, Q7M_DISPOSE);
  EXPECT_EQ(2000, replies);
  EXPECT_EQ(0, wrong);
}

TEST_F(AsyncThreads, QueuedFanOuts) {
  Q7Object *executor = make(Q7C_ASYNC);
  for (uint32_t n = 1; n <= 16; ++n) {
    wrong = 0;
    EXPECT_TRUE(fan_out(executor, n, false)) << n;
  }
  send(executor, Q7M_DISPOSE);
}

TEST_F(AsyncThreads, ModeIsSwitchedWhileTheWorkerRuns) {
  Q7Object *executor = make(Q7C_ASYNC);
  std::thread switcher([&] {
    for (uint64_t i = 0; i < 2000; ++i) {
      Q7TagItem tags[] = {{Q7A_ASYNC_NEWEST_FIRST, i & 1}, {Q7TAG_END, 0}};
      send(executor, Q7M_SET, 0, 0, tags);
    }
  });
  for (uint64_t i = 0; i < 5000; ++i) request(executor, i);
  switcher.join();
  send(executor, Q7M_DISPOSE);
  EXPECT_EQ(5000, replies);
}

}  // namespace
