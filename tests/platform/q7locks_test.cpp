#include <thread>

#include "tests/platform/mini_app.h"

using namespace q7test;

namespace {

class Locks : public PlatformTest {};

TEST(LocksWithoutApplication, InitialThreadIsTheMainThread) {
  EXPECT_EQ(Q7IsMainThread(), 1);
  int32_t other = 1;
  std::thread([&] { other = Q7IsMainThread(); }).join();
  EXPECT_EQ(other, 0);
}

TEST(LocksWithoutApplication, TheThreadThatStartsTheObjectSystemIsTheMainThread) {
  Q7App app{};
  int32_t inside = 0;
  int32_t outside = 1;
  std::thread creator([&] {
    J7OopsInit(&app);
    inside = Q7IsMainThread();
  });
  creator.join();
  outside = Q7IsMainThread();
  EXPECT_EQ(inside, 1);
  EXPECT_EQ(outside, 0);
  J7OopsFree(&app);
  EXPECT_EQ(Q7IsMainThread(), 1);
}

TEST_F(Locks, ALockIsRecursive) {
  void *lock = Q7LockAlloc();
  ASSERT_NE(lock, nullptr);
  Q7Lock(lock);
  Q7Lock(lock);
  Q7Unlock(lock);
  bool taken = false;
  std::thread other([&] {
    Q7Lock(lock);
    taken = true;
    Q7Unlock(lock);
  });
  Q7SleepMs(20);
  Q7Unlock(lock);
  other.join();
  EXPECT_TRUE(taken);
  Q7LockFree(lock);
}

TEST_F(Locks, ALockKeepsOthersOut) {
  void *lock = Q7LockAlloc();
  int64_t plain = 0;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 10000; ++i) {
        Q7Lock(lock);
        ++plain;
        Q7Unlock(lock);
      }
    });
  }
  for (auto &thread : threads) thread.join();
  EXPECT_EQ(plain, 40000);
  Q7LockFree(lock);
}

TEST_F(Locks, NullIsAllowed) {
  Q7Lock(nullptr);
  Q7Unlock(nullptr);
  Q7LockFree(nullptr);
}

TEST_F(Locks, ExhaustionGivesNull) {
  AllocGate gate;
  gate.fail(1);
  EXPECT_EQ(Q7LockAlloc(), nullptr);
}

TEST_F(Locks, SleepTakesAtLeastItsTime) {
  auto before = std::chrono::steady_clock::now();
  Q7SleepMs(30);
  EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(30));
}

}  // namespace
