// Tests of what the core promises under threads: reference counts, sending, type ids and tags on many threads at once.
#include <atomic>
#include <thread>

#include "core/q7watch.h"
#include "tests/core/core_test.h"

namespace {

using Threads = q7test::Core;
using q7test::send;

TEST_F(Threads, EightThreadsOfAddAndReleasePairsLeaveTheCountAsItWas) {
  Q7Object *obj = Q7ObjectCreate(0, 0);
  send(obj, Q7M_ADDREF);
  std::vector<std::thread> threads;
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([obj] {
      for (int i = 0; i < 1000000; ++i) {
        send(obj, Q7M_ADDREF);
        send(obj, Q7M_RELEASE);
      }
    });
  }
  for (std::thread &thread : threads) thread.join();
  int32_t count = 0;
  Q7Get(obj, uint32_t{Q7A_REFCOUNT}, &count, 0);
  EXPECT_EQ(count, 1);
  EXPECT_EQ(send(obj, Q7M_RELEASE), 0u);
}

TEST_F(Threads, TheLastReleaseOnAnyThreadDisposesOnce) {
  for (int round = 0; round < 200; ++round) {
    Q7Object *obj = Q7ObjectCreate(0, uint32_t{Q7A_NAME}, "shared", 0);
    for (int i = 0; i < 4; ++i) send(obj, Q7M_ADDREF);
    std::vector<std::thread> threads;
    std::atomic<int> disposed{0};
    for (int t = 0; t < 4; ++t) {
      threads.emplace_back([obj, &disposed] { disposed += send(obj, Q7M_RELEASE) == 0; });
    }
    for (std::thread &thread : threads) thread.join();
    EXPECT_EQ(disposed.load(), 1);
  }
  EXPECT_EQ(Q7ClassFind(0)->ninstances, 0u);
}

TEST_F(Threads, SendersOnManyThreadsDoNotShareAnything) {
  Q7Object *obj = Q7ObjectCreate(0, uint32_t{Q7A_NAME}, "name", 0);
  std::vector<std::thread> threads;
  std::atomic<int> right{0};
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([obj, &right] {
      for (int i = 0; i < 10000; ++i) {
        const char *name = nullptr;
        Q7Get(obj, uint32_t{Q7A_NAME}, &name, 0);
        right += name && std::string(name) == "name" && Q7ObjectIsOfKind(obj, 0) == 1;
      }
    });
  }
  for (std::thread &thread : threads) thread.join();
  EXPECT_EQ(right.load(), 40000);
  Q7ObjectDelete(obj);
}

// A watcher that takes its watch back while the object goes elsewhere: afterwards its data is not touched.
TEST_F(Threads, AnUnwatchWaitsForTheNoticeThatIsBeingGiven) {
  for (int round = 0; round < 2000; ++round) {
    Q7Object *obj = Q7ObjectCreate(0, 0);
    auto *told = new int(0);
    Q7ObjectWatch(
        obj, [](Q7Object *, uint64_t data) { ++*reinterpret_cast<int *>(data); }, reinterpret_cast<uint64_t>(told));
    const auto function = [](Q7Object *, uint64_t data) { ++*reinterpret_cast<int *>(data); };
    Q7ObjectWatch(obj, function, reinterpret_cast<uint64_t>(told));
    std::thread disposer([obj] { Q7ObjectDelete(obj); });
    const bool taken_back = Q7ObjectUnwatch(obj, function, reinterpret_cast<uint64_t>(told)) != 0;
    disposer.join();
    EXPECT_EQ(*told, taken_back ? 1 : 2);
    delete told;
  }
}

TEST_F(Threads, ManyThreadsWatchAndDispose) {
  std::vector<std::thread> threads;
  std::atomic<int> notices{0};
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&notices] {
      for (int i = 0; i < 5000; ++i) {
        Q7Object *obj = Q7ObjectCreate(0, 0);
        Q7ObjectWatch(
            obj, [](Q7Object *, uint64_t data) { ++*reinterpret_cast<std::atomic<int> *>(data); },
            reinterpret_cast<uint64_t>(&notices));
        Q7ObjectDelete(obj);
      }
    });
  }
  for (std::thread &thread : threads) thread.join();
  EXPECT_EQ(notices.load(), 20000);
}

}  // namespace
