#include <dlfcn.h>
#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <thread>

#include "tests/platform/mini_app.h"

using namespace q7test;

namespace {
bool refuse_threads = false;
}

// Stands in front of the system's function, for the layer too.
extern "C" int pthread_create(pthread_t *thread, const pthread_attr_t *attributes, void *(*run)(void *),
                              void *argument) noexcept {
  if (refuse_threads) return EAGAIN;
  static auto *system = reinterpret_cast<decltype(&pthread_create)>(dlsym(RTLD_NEXT, "pthread_create"));
  return system(thread, attributes, run, argument);
}

namespace {

class Tasks : public PlatformTest {
 protected:
  // Threads that are more than at the start; a sanitizer may have one of its own. A joined thread stands in the
  // system's list for a moment longer.
  int threads_left() const {
    int left = 1;
    for (int tries = 0; tries < 1000 && left > 0; ++tries) {
      left = thread_count() - threads_before_;
      if (left > 0) Q7SleepMs(1);
    }
    return left;
  }

 private:
  int threads_before_ = thread_count();
};

Q7Object *make_task(void (*run)(Q7Object *, void *), void *argument, int32_t setting = 0) {
  Q7TaskEntry entry = {run, argument};
  return reinterpret_cast<Q7Object *>(
      Q7ObjectCreate(Q7C_TASK, Q7A_TASK_ENTRY, word(&entry), Q7A_TASK_SETTING, static_cast<uint64_t>(setting), 0));
}
Q7Object *make_main_task() {
  return reinterpret_cast<Q7Object *>(Q7ObjectCreate(Q7C_TASK, Q7A_TASK_SETTING, uint64_t{Q7TASK_MAIN}, 0));
}
Q7Object *find_task() { return reinterpret_cast<Q7Object *>(Q7SendClassMsg(Q7C_TASK, Q7M_TASK_FIND, 0)); }

TEST_F(Tasks, TheThreadRunsTheEntryWithItsTaskAndArgument) {
  struct Seen {
    Q7Object *task = nullptr;
    Q7Object *found = nullptr;
    std::thread::id thread;
  } seen;
  Q7Object *task = make_task(
      [](Q7Object *self, void *argument) {
        auto *out = static_cast<Seen *>(argument);
        out->task = self;
        out->found = Q7FindTask(0);
        out->thread = std::this_thread::get_id();
      },
      &seen);
  ASSERT_NE(task, nullptr);
  EXPECT_EQ(Q7TaskWaitTermination(task), 1);
  EXPECT_EQ(seen.task, task);
  EXPECT_EQ(seen.found, task);
  EXPECT_NE(seen.thread, std::this_thread::get_id());
  Q7ObjectDelete(task);
}

TEST_F(Tasks, DisposalWaitsForTheThread) {
  std::atomic<bool> done{false};
  Q7Object *task = make_task(
      [](Q7Object *, void *argument) {
        Q7SleepMs(30);
        static_cast<std::atomic<bool> *>(argument)->store(true);
      },
      &done);
  Q7ObjectDelete(task);
  EXPECT_TRUE(done.load());
  EXPECT_EQ(threads_left(), 0);
}

TEST_F(Tasks, ATaskMayDisposeItself) {
  std::atomic<int> step{0};
  make_task(
      [](Q7Object *self, void *argument) {
        auto *step = static_cast<std::atomic<int> *>(argument);
        Q7ObjectDelete(self);
        EXPECT_EQ(Q7TaskWaitTermination(self), 1);
        step->store(1);
      },
      &step);
  while (!step.load()) Q7SleepMs(1);
  EXPECT_EQ(threads_left(), 0);
  EXPECT_EQ(Q7ClassFind(Q7C_TASK)->ninstances, 0u);
}

TEST_F(Tasks, WaitingOnTheOwnThreadEndsWithTheDisposal) {
  std::atomic<bool> passed{false};
  Q7Object *task = make_task(
      [](Q7Object *self, void *argument) {
        Q7TaskWaitTermination(self);
        static_cast<std::atomic<bool> *>(argument)->store(true);
      },
      &passed);
  Q7SleepMs(20);
  EXPECT_FALSE(passed.load());
  Q7ObjectDelete(task);
  EXPECT_TRUE(passed.load());
}

TEST_F(Tasks, SeveralThreadsMayWaitForOneTask) {
  Q7Object *task = make_task([](Q7Object *, void *) { Q7SleepMs(20); }, nullptr);
  std::atomic<int> woken{0};
  std::vector<std::thread> waiters;
  for (int i = 0; i < 4; ++i) waiters.emplace_back([&] { woken += Q7TaskWaitTermination(task); });
  for (auto &waiter : waiters) waiter.join();
  EXPECT_EQ(woken.load(), 4);
  Q7ObjectDelete(task);
}

TEST_F(Tasks, WithoutAnEntryTheObjectStandsForTheCallingThread) {
  EXPECT_EQ(find_task(), nullptr);
  Q7Object *task = make_main_task();
  EXPECT_EQ(find_task(), task);
  Q7Object *elsewhere = task;
  std::thread([&] { elsewhere = find_task(); }).join();
  EXPECT_EQ(elsewhere, nullptr);
  Q7ObjectDelete(task);
  EXPECT_EQ(find_task(), nullptr);
}

TEST_F(Tasks, TheNewestObjectStandsForTheThread) {
  Q7Object *first = make_main_task();
  Q7Object *second = reinterpret_cast<Q7Object *>(Q7ObjectCreate(Q7C_TASK, 0));
  EXPECT_EQ(find_task(), second);
  Q7ObjectDelete(second);
  EXPECT_EQ(find_task(), first);
  Q7ObjectDelete(first);
}

TEST_F(Tasks, AThreadsObjectMayOutliveItsThread) {
  Q7Object *task = nullptr;
  std::thread([&] { task = reinterpret_cast<Q7Object *>(Q7ObjectCreate(Q7C_TASK, 0)); }).join();
  EXPECT_EQ(find_task(), nullptr);
  Q7ObjectDelete(task);
}

TEST_F(Tasks, TheClassFreesTheMainTask) {
  Q7Object *task = make_main_task();
  Q7SendMsg(task, Q7M_ADDREF, 0);
  Q7ApplicationContext->main_task = task;
  EXPECT_EQ(Q7SendClassMsg(Q7C_TASK, Q7M_CLASS_FREE, 0), 1u);
  EXPECT_EQ(Q7ClassFind(Q7C_TASK)->ninstances, 0u);
  EXPECT_EQ(Q7ApplicationContext->main_task, nullptr);
}

TEST_F(Tasks, ASubclassesReleaseLeavesTheMainTask) {
  Q7Object *task = make_main_task();
  Q7Class *sub = Q7ClassCreate(Q7C_TASK, 101, nullptr, 0, 0);
  sub->header.dispatch(sub, &sub->header, Q7M_CLASS_FREE, 0, 0, nullptr);
  EXPECT_EQ(find_task(), task);
  Q7ObjectDelete(task);
}

TEST_F(Tasks, TheSettingCanBeReadAndSet) {
  Q7Object *task = make_main_task();
  int32_t setting = -1;
  EXPECT_EQ(Q7Get(task, Q7A_TASK_SETTING, word(&setting), 0), 0u);
  EXPECT_EQ(setting, Q7TASK_MAIN);
  EXPECT_EQ(Q7Set(task, Q7A_TASK_SETTING, uint64_t{Q7TASK_NORMAL}, 0), 0u);
  Q7Get(task, Q7A_TASK_SETTING, word(&setting), 0);
  EXPECT_EQ(setting, Q7TASK_NORMAL);
  Q7ObjectDelete(task);
}

TEST_F(Tasks, BackgroundTasksGiveWay) {
  int nice = -100;
  Q7Object *task = make_task(
      [](Q7Object *, void *argument) {
        *static_cast<int *>(argument) = getpriority(PRIO_PROCESS, static_cast<id_t>(gettid()));
      },
      &nice, Q7TASK_BACKGROUND);
  Q7TaskWaitTermination(task);
  EXPECT_GE(nice, 10);
  Q7ObjectDelete(task);
}

TEST_F(Tasks, UnknownAttributesReachTheRootClass) {
  Q7Object *task = make_main_task();
  EXPECT_NE(Q7Set(task, 1999, uint64_t{0}, 0), 0u);
  EXPECT_EQ(errors().size(), 1u);
  Q7ObjectDelete(task);
}

TEST_F(Tasks, WaitingForNoThreadFails) {
  EXPECT_EQ(Q7TaskWaitTermination(nullptr), 0);
  Q7Object *task = make_main_task();
  EXPECT_EQ(Q7TaskWaitTermination(task), 0);
  Q7Object *signal = reinterpret_cast<Q7Object *>(Q7ObjectCreate(Q7C_SIGNAL, 0));
  EXPECT_EQ(Q7TaskWaitTermination(signal), 0);
  Q7ObjectDelete(signal);
  Q7ObjectDelete(task);
}

TEST_F(Tasks, EveryFailingAllocationGivesNull) {
  for (int64_t n = 1; n <= 2; ++n) {
    AllocGate gate;
    gate.fail(n);
    EXPECT_EQ(make_task([](Q7Object *, void *) {}, nullptr), nullptr) << n;
    EXPECT_EQ(gate.refused(), 1);
  }
  EXPECT_EQ(Q7ClassFind(Q7C_TASK)->ninstances, 0u);
  EXPECT_EQ(threads_left(), 0);
}

TEST_F(Tasks, ARefusedThreadIsReported) {
  refuse_threads = true;
  Q7Object *task = make_task([](Q7Object *, void *) {}, nullptr);
  refuse_threads = false;
  EXPECT_EQ(task, nullptr);
  EXPECT_EQ(errors(), std::vector<std::string>{"q7task: Cannot start a thread: Resource temporarily unavailable"});
  EXPECT_EQ(Q7ClassFind(Q7C_TASK)->ninstances, 0u);
}

TEST_F(Tasks, ManyTasksLeaveNothingBehind) {
  for (int round = 0; round < 200; ++round) {
    Q7Object *tasks[4];
    std::atomic<int> ran{0};
    for (auto *&task : tasks) {
      task = make_task([](Q7Object *, void *count) { ++*static_cast<std::atomic<int> *>(count); }, &ran);
    }
    for (auto *task : tasks) Q7ObjectDelete(task);
    EXPECT_EQ(ran.load(), 4);
  }
  EXPECT_EQ(threads_left(), 0);
}

}  // namespace
