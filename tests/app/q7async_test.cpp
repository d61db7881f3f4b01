#include "app/q7async.h"

#include <chrono>
#include <condition_variable>
#include <cstring>
#include <thread>

#include "app/async.hpp"
#include "tests/app/app_test.h"

using apptest::AppTest;
using apptest::kProbeMethod;
using apptest::live_probes;
using apptest::Message;
using apptest::messages;
using apptest::new_probe;
using apptest::num;
using apptest::probe;
using apptest::release;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

namespace {

constexpr uint32_t kNewest = Q7A_ASYNC_NEWEST_FIRST;

// A gate that a target's hook waits at, so that a test decides when the worker goes on.
struct Gate {
  std::mutex mutex;
  std::condition_variable changed;
  bool open = false;
  int arrived = 0;
  void pass() {
    std::unique_lock lock(mutex);
    ++arrived;
    changed.notify_all();
    changed.wait(lock, [&] { return open; });
  }
  void await_arrival(int count = 1) {
    std::unique_lock lock(mutex);
    changed.wait(lock, [&] { return arrived >= count; });
  }
  void release_all() {
    std::lock_guard lock(mutex);
    open = true;
    changed.notify_all();
  }
};
Gate *gate;

uint64_t send(Q7Object *object, uint32_t method, uint64_t a = 0, uint64_t b = 0, Q7TagItem *tags = nullptr) {
  return object->dispatch(object->cl, object, method, a, b, tags);
}

Q7Object *new_executor(std::vector<Q7TagItem> tags = {}) {
  tags.push_back({Q7TAG_END, 0});
  Q7Class *cl = Q7ClassFind(Q7C_ASYNC);
  return reinterpret_cast<Q7Object *>(cl->header.dispatch(cl, &cl->header, Q7M_NEW, 0, 0, tags.data()));
}

uint64_t queue(Q7Object *executor, Q7Object *target, uint32_t method, std::vector<Q7TagItem> tags = {},
               uint32_t how = Q7M_ASYNC_QUEUE) {
  tags.push_back({Q7TAG_END, 0});
  return send(executor, how, num(target), method, tags.data());
}

class Async : public AppTest {
 protected:
  void SetUp() override {
    ASSERT_TRUE(create());
    ASSERT_TRUE(apptest::register_probe(app));
    ASSERT_EQ(1, Q7RegisterAsyncExecutorClass(app));
    before_ = fake::live();
    target_ = new_probe();
    reply_ = new_probe();
    gate = &gate_;
  }
  void TearDown() override {
    if (executor_) dispose();
    release(target_);
    release(reply_);
    EXPECT_EQ(0, live_probes());
    EXPECT_EQ(before_, fake::live());
    destroy();
  }
  void start(std::vector<Q7TagItem> tags = {}) {
    executor_ = new_executor(tags);
    ASSERT_TRUE(executor_);
  }
  void dispose() {
    send(executor_, Q7M_DISPOSE);
    executor_ = nullptr;
  }
  // Holds the worker inside a target until open().
  void hold_worker() {
    blocker_ = new_probe();
    probe(blocker_).hook = [](Q7Object *, const Message &) -> uint64_t {
      gate->pass();
      return 1;
    };
    EXPECT_EQ(1u, queue(executor_, blocker_, kProbeMethod));
    gate_.await_arrival();
  }
  void let_go() {
    gate_.release_all();
    dispose();
    release(blocker_);
  }

  q7::AsyncExecutor &data() { return q7::data<q7::AsyncExecutor>(Q7ClassFind(Q7C_ASYNC), executor_); }

  fake::Live before_{};
  Q7Object *executor_ = nullptr, *target_ = nullptr, *reply_ = nullptr, *blocker_ = nullptr;
  Gate gate_;
};

// ---- The class and the instance ----

TEST_F(Async, ClassRecord) {
  Q7Class *cl = Q7ClassFind(1909);
  ASSERT_TRUE(cl);
  EXPECT_STREQ("q7async", cl->header.name);
  EXPECT_STREQ("Karmonic", cl->organisation);
  EXPECT_STREQ("q7common", cl->module);
  EXPECT_EQ(1, Q7RegisterAsyncExecutorClass(app));
  EXPECT_EQ(cl, Q7ClassFind(1909));
}

TEST_F(Async, CreationMakesLockSignalTaskAndThread) {
  start();
  const fake::Live now = fake::live();
  EXPECT_EQ(before_.locks + 1, now.locks);
  EXPECT_EQ(before_.tasks + 1, now.tasks);
  EXPECT_EQ(before_.threads + 1, now.threads);
  EXPECT_EQ(before_.signals + 1, now.signals);
  EXPECT_EQ(1, q7::atomic(data().running).load());
  dispose();
  EXPECT_EQ(before_, fake::live());
}

TEST_F(Async, ThreadSettingIsHandedToTheTask) {
  start({{Q7A_ASYNC_THREAD_SETTING, 2}});
  EXPECT_THAT(fake::calls("task"), ElementsAre("task(main, 3)", "task(thread, 2)"));
}

TEST_F(Async, Attributes) {
  start({{Q7A_ASYNC_THREAD_SETTING, 1}, {kNewest, 1}});
  int32_t newest = -1, setting = -1;
  Q7TagItem get[] = {{kNewest, num(&newest)}, {Q7A_ASYNC_THREAD_SETTING, num(&setting)}, {Q7TAG_END, 0}};
  EXPECT_EQ(0u, send(executor_, Q7M_GET, 0, 0, get));
  EXPECT_EQ(1, newest);
  EXPECT_EQ(1, setting);
  Q7TagItem set[] = {{kNewest, 0}, {Q7A_ASYNC_THREAD_SETTING, 2}, {Q7TAG_END, 0}};
  EXPECT_EQ(0u, send(executor_, Q7M_SET, 0, 0, set));
  send(executor_, Q7M_GET, 0, 0, get);
  EXPECT_EQ(0, newest);
  EXPECT_EQ(2, setting);
}

TEST_F(Async, OtherAttributesGoToTheSuperclass) {
  start();
  const char *name = nullptr;
  Q7TagItem set[] = {{513, num("worker")}, {Q7TAG_END, 0}};
  send(executor_, Q7M_SET, 0, 0, set);
  Q7TagItem get[] = {{513, num(&name)}, {Q7TAG_END, 0}};
  send(executor_, Q7M_GET, 0, 0, get);
  EXPECT_STREQ("worker", name);
}

TEST_F(Async, CreationFailsWithoutLock) {
  fake::fail("Q7LockAlloc");
  EXPECT_EQ(nullptr, new_executor());
  EXPECT_EQ(before_, fake::live());
}
TEST_F(Async, CreationFailsWithoutTask) {
  fake::fail("task");
  EXPECT_EQ(nullptr, new_executor());
  EXPECT_EQ(before_, fake::live());
}
TEST_F(Async, CreationFailsWithoutSignal) {
  fake::fail("signal");
  EXPECT_EQ(nullptr, new_executor());
  EXPECT_EQ(before_, fake::live());
  EXPECT_EQ(0u, Q7ClassFind(1909)->ninstances);
}

// ---- Requests ----

TEST_F(Async, SendsTheMethodWithItsArguments) {
  start();
  EXPECT_EQ(1u, queue(executor_, target_, kProbeMethod + 1, {{534, 11}, {535, 12}, {536, 13}}));
  dispose();
  EXPECT_THAT(messages(target_), ElementsAre(Message{kProbeMethod + 1, 11, 12, 13}));
  EXPECT_EQ(0, probe(target_).references);
}

TEST_F(Async, MissingArgumentsAreZeroAlsoInARecycledRecord) {
  start();
  queue(
      executor_, target_, kProbeMethod + 1,
      {{534, 11}, {535, 12}, {536, 13}, {Q7A_ASYNC_REPLY_OBJECT, num(reply_)}, {Q7A_ASYNC_REPLY_METHOD, kProbeMethod}});
  while (messages(reply_).empty()) Q7SleepMs(1);
  queue(executor_, target_, kProbeMethod + 2);
  dispose();
  EXPECT_THAT(messages(target_),
              ElementsAre(Message{kProbeMethod + 1, 11, 12, 13}, Message{kProbeMethod + 2, 0, 0, 0}));
  EXPECT_THAT(messages(reply_), SizeIs(1));
}

TEST_F(Async, FirstTagOfAnIdCounts) {
  start();
  queue(executor_, target_, kProbeMethod, {{534, 1}, {534, 2}});
  dispose();
  EXPECT_THAT(messages(target_), ElementsAre(Message{kProbeMethod, 1, 0, 0}));
}

TEST_F(Async, ReplyCarriesArgumentAndResult) {
  start();
  probe(target_).answer = 0xfedcba9876543210;
  queue(executor_, target_, kProbeMethod,
        {{Q7A_ASYNC_REPLY_OBJECT, num(reply_)},
         {Q7A_ASYNC_REPLY_METHOD, kProbeMethod + 5},
         {Q7A_ASYNC_REPLY_ARG, 0x123456789abcdef0}});
  dispose();
  EXPECT_THAT(messages(reply_), ElementsAre(Message{kProbeMethod + 5, 0x123456789abcdef0, 0, 0xfedcba9876543210}));
}

TEST_F(Async, RunsOnItsOwnThread) {
  static std::thread::id thread;
  probe(target_).hook = [](Q7Object *, const Message &) -> uint64_t {
    thread = std::this_thread::get_id();
    return 1;
  };
  start();
  queue(executor_, target_, kProbeMethod);
  dispose();
  EXPECT_NE(std::this_thread::get_id(), thread);
  EXPECT_NE(std::thread::id(), thread);
}

TEST_F(Async, HeldRequestReferencesItsTarget) {
  start();
  hold_worker();
  Q7Object *held = new_probe();
  EXPECT_EQ(1u, queue(executor_, held, kProbeMethod, {}, Q7M_ASYNC_QUEUE_HELD));
  EXPECT_EQ(1, probe(held).references);
  release(held);
  EXPECT_EQ(4, live_probes());
  let_go();
  EXPECT_EQ(2, live_probes());
}

TEST_F(Async, NullTargetIsSentNothing) {
  start();
  EXPECT_EQ(1u, queue(executor_, nullptr, kProbeMethod, {{Q7A_ASYNC_REPLY_OBJECT, num(reply_)}}, Q7M_ASYNC_QUEUE_HELD));
  EXPECT_EQ(1u, queue(executor_, target_, kProbeMethod));
  dispose();
  EXPECT_THAT(messages(reply_), IsEmpty());
  EXPECT_THAT(messages(target_), SizeIs(1));
}

TEST_F(Async, OldestFirstByDefault) {
  start();
  hold_worker();
  for (uint32_t i = 1; i <= 3; ++i) queue(executor_, target_, kProbeMethod + i);
  let_go();
  EXPECT_THAT(messages(target_), ElementsAre(Message{kProbeMethod + 1, 0, 0, 0}, Message{kProbeMethod + 2, 0, 0, 0},
                                             Message{kProbeMethod + 3, 0, 0, 0}));
}

TEST_F(Async, NewestFirst) {
  start({{kNewest, 1}});
  hold_worker();
  for (uint32_t i = 1; i <= 3; ++i) queue(executor_, target_, kProbeMethod + i);
  let_go();
  EXPECT_THAT(messages(target_), ElementsAre(Message{kProbeMethod + 3, 0, 0, 0}, Message{kProbeMethod + 2, 0, 0, 0},
                                             Message{kProbeMethod + 1, 0, 0, 0}));
}

TEST_F(Async, BracketSurroundsEachSend) {
  start();
  Q7Object *bracket = new_probe();
  static std::vector<std::string> order;
  static std::mutex mutex;
  order.clear();
  const auto log = [](Q7Object *self, const Message &m) -> uint64_t {
    std::lock_guard lock(mutex);
    order.push_back(std::to_string(probe(self).answer) + ":" + std::to_string(m.method - kProbeMethod));
    return probe(self).answer;
  };
  probe(bracket).hook = probe(target_).hook = probe(reply_).hook = log;
  probe(bracket).answer = 10;
  probe(target_).answer = 20;
  probe(reply_).answer = 30;
  queue(executor_, target_, kProbeMethod + 1,
        {{Q7A_ASYNC_REPLY_OBJECT, num(reply_)},
         {Q7A_ASYNC_REPLY_METHOD, kProbeMethod + 2},
         {Q7A_ASYNC_BRACKET_OBJECT, num(bracket)},
         {Q7A_ASYNC_BRACKET_BEFORE, kProbeMethod + 3},
         {Q7A_ASYNC_BRACKET_AFTER, kProbeMethod + 4}});
  dispose();
  EXPECT_THAT(order, ElementsAre("10:3", "20:1", "10:4", "10:3", "30:2", "10:4"));
  release(bracket);
}

TEST_F(Async, BracketMethodsThatAreNotGivenAreNotSent) {
  start();
  Q7Object *bracket = new_probe();
  queue(executor_, target_, kProbeMethod,
        {{Q7A_ASYNC_BRACKET_OBJECT, num(bracket)}, {Q7A_ASYNC_BRACKET_AFTER, kProbeMethod + 4}});
  dispose();
  EXPECT_THAT(messages(bracket), ElementsAre(Message{kProbeMethod + 4, 0, 0, 0}));
  EXPECT_THAT(apptest::reports(), IsEmpty());
  release(bracket);
}

TEST_F(Async, NothingIsSentUnderTheLock) {
  static int depth;
  depth = 99;
  probe(target_).hook = [](Q7Object *, const Message &) -> uint64_t {
    depth = fake::held_locks();
    return 1;
  };
  start();
  queue(executor_, target_, kProbeMethod);
  dispose();
  EXPECT_EQ(0, depth);
}

// ---- Stopping ----

TEST_F(Async, StopRunsWhatIsQueuedBehindIt) {
  start();
  hold_worker();
  EXPECT_EQ(1u, queue(executor_, target_, kProbeMethod + 1));
  EXPECT_EQ(1u, queue(executor_, nullptr, 0));
  EXPECT_EQ(1u, queue(executor_, target_, kProbeMethod + 2));
  gate_.release_all();
  while (q7::atomic(data().running).load()) Q7SleepMs(1);
  EXPECT_THAT(messages(target_), SizeIs(2));
  EXPECT_EQ(0u, queue(executor_, target_, kProbeMethod + 3));
  EXPECT_EQ(0u, send(executor_, Q7M_ASYNC_APPEND_EMPTY));
  dispose();
  release(blocker_);
  EXPECT_THAT(messages(target_), SizeIs(2));
}

TEST_F(Async, StopRequestMayReply) {
  start();
  queue(executor_, nullptr, 0, {{Q7A_ASYNC_REPLY_OBJECT, num(reply_)}, {Q7A_ASYNC_REPLY_METHOD, kProbeMethod + 1}});
  while (q7::atomic(data().running).load()) Q7SleepMs(1);
  EXPECT_THAT(messages(reply_), ElementsAre(Message{kProbeMethod + 1, 0, 0, 0}));
}

TEST_F(Async, EmptyRecordStopsTheWorkerWithTheNextWake) {
  start();
  EXPECT_EQ(1u, send(executor_, Q7M_ASYNC_APPEND_EMPTY));
  Q7SleepMs(20);
  EXPECT_EQ(1, q7::atomic(data().running).load());
  EXPECT_EQ(1u, queue(executor_, target_, kProbeMethod));
  while (q7::atomic(data().running).load()) Q7SleepMs(1);
  EXPECT_THAT(messages(target_), SizeIs(1));
}

TEST_F(Async, DisposalFinishesWhatIsQueued) {
  start();
  hold_worker();
  for (int i = 0; i < 100; ++i) queue(executor_, target_, kProbeMethod);
  let_go();
  EXPECT_THAT(messages(target_), SizeIs(100));
}

TEST_F(Async, DisposalWithoutMemoryForAStopRequest) {
  start();
  q7test::AllocGate gate;
  gate.fail(1, true);
  dispose();
  gate.pass();
  EXPECT_EQ(before_, fake::live());
}

// ---- Memory ----

TEST_F(Async, ExhaustionRefusesTheRequest) {
  start();
  hold_worker();
  q7test::AllocGate gate;
  gate.fail(1, true);
  EXPECT_EQ(0u, queue(executor_, target_, kProbeMethod, {}, Q7M_ASYNC_QUEUE_HELD));
  EXPECT_EQ(0u, send(executor_, Q7M_ASYNC_APPEND_EMPTY));
  gate.pass();
  EXPECT_EQ(0, probe(target_).references);
  let_go();
}

TEST_F(Async, SteadyStateAllocatesNothing) {
  start();
  const auto batch = [&] {
    for (int i = 0; i < 500; ++i) {
      queue(executor_, target_, kProbeMethod,
            {{534, 1}, {Q7A_ASYNC_REPLY_OBJECT, num(reply_)}, {Q7A_ASYNC_REPLY_METHOD, kProbeMethod}});
    }
  };
  hold_worker();
  batch();
  gate_.release_all();
  while (messages(reply_).size() < 500) Q7SleepMs(1);
  q7test::AllocGate gate;
  for (size_t i = 2; i <= 5; ++i) {
    batch();
    while (messages(reply_).size() < 500 * i) Q7SleepMs(1);
  }
  EXPECT_EQ(0, gate.count());
  dispose();
  release(blocker_);
}

TEST_F(Async, EveryAllocationOfACreationFailedInTurn) {
  for (int64_t n = 1;; ++n) {
    q7test::AllocGate gate;
    gate.fail(n);
    executor_ = new_executor();
    const bool refused = gate.refused() > 0;
    gate.pass();
    EXPECT_EQ(refused, executor_ == nullptr) << n;
    if (executor_) break;
    EXPECT_EQ(before_, fake::live());
    ASSERT_LT(n, 20);
  }
}

// ---- Result arrays ----

TEST_F(Async, ResultArray) {
  start();
  auto **array =
      reinterpret_cast<uint32_t **>(send(executor_, Q7M_ASYNC_ALLOC_RESULTS, 5, 0, reinterpret_cast<Q7TagItem *>(12)));
  ASSERT_TRUE(array);
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(num(array + 5) + static_cast<uint64_t>(12 * i), num(array[i]));
    for (int k = 0; k < 3; ++k) EXPECT_EQ(0u, array[i][k]);
    std::memset(array[i], 0xff, 12);
  }
  EXPECT_EQ(1u, send(executor_, Q7M_ASYNC_FREE_RESULTS, num(array), 5, reinterpret_cast<Q7TagItem *>(12)));
}

TEST_F(Async, ResultArrayOfNothing) {
  start();
  EXPECT_EQ(0u, send(executor_, Q7M_ASYNC_ALLOC_RESULTS, 0, 0, reinterpret_cast<Q7TagItem *>(8)));
  EXPECT_EQ(1u, send(executor_, Q7M_ASYNC_FREE_RESULTS, 0, 0, nullptr));
  auto **array = reinterpret_cast<void **>(send(executor_, Q7M_ASYNC_ALLOC_RESULTS, 2, 0, nullptr));
  ASSERT_TRUE(array);
  EXPECT_EQ(nullptr, array[0]);
  EXPECT_EQ(nullptr, array[1]);
  send(executor_, Q7M_ASYNC_FREE_RESULTS, num(array), 2, nullptr);
}

TEST_F(Async, ResultArrayWhoseSizeOverflows) {
  start();
  EXPECT_EQ(0u, send(executor_, Q7M_ASYNC_ALLOC_RESULTS, uint64_t{1} << 60, 0, reinterpret_cast<Q7TagItem *>(64)));
  EXPECT_EQ(0u, send(executor_, Q7M_ASYNC_ALLOC_RESULTS, 2, 0, reinterpret_cast<Q7TagItem *>(~uint64_t{0})));
  EXPECT_EQ(0u, send(executor_, Q7M_ASYNC_ALLOC_RESULTS, 2, 0, reinterpret_cast<Q7TagItem *>(uint64_t{1} << 63)));
}

// ---- Fan-outs ----

// Answers a * 3 + b + slot and records nothing: called by many threads.
uint64_t formula(uint64_t a, uint64_t b, uint64_t c) { return a * 3 + b + c; }
uint64_t compute(Q7Object *, const Message &m) {
  *reinterpret_cast<uint64_t *>(m.slot) = formula(m.a, m.b, 7);
  return 1;
}

class FanOut : public Async, public ::testing::WithParamInterface<uint32_t> {};

TEST_P(FanOut, EqualsTheSequentialResult) {
  const uint32_t n = GetParam();
  start();
  probe(target_).hook = compute;
  for (const bool at_once : {true, false}) {
    std::vector<uint64_t> a(n), b(n);
    for (uint32_t i = 0; i < n; ++i) {
      a[i] = 100 + i;
      b[i] = 1000 * i + 1;
    }
    auto **results = reinterpret_cast<uint64_t **>(
        send(executor_, Q7M_ASYNC_ALLOC_RESULTS, n, 0, reinterpret_cast<Q7TagItem *>(sizeof(uint64_t))));
    ASSERT_TRUE(results);
    const size_t replies = messages(reply_).size();
    EXPECT_EQ(1u, queue(executor_, target_, kProbeMethod,
                        {{534, num(a.data())},
                         {535, num(b.data())},
                         {536, num(results)},
                         {Q7A_ASYNC_THREADS, n},
                         {Q7A_ASYNC_AT_ONCE, at_once},
                         {Q7A_ASYNC_REPLY_OBJECT, num(reply_)},
                         {Q7A_ASYNC_REPLY_METHOD, kProbeMethod + 1},
                         {Q7A_ASYNC_REPLY_ARG, 77}}));
    while (messages(reply_).size() == replies) Q7SleepMs(1);
    EXPECT_EQ((Message{kProbeMethod + 1, 77, 0, 1}), messages(reply_).back());
    for (uint32_t i = 0; i < n; ++i) EXPECT_EQ(formula(a[i], b[i], 7), *results[i]) << i;
    send(executor_, Q7M_ASYNC_FREE_RESULTS, num(results), n, reinterpret_cast<Q7TagItem *>(sizeof(uint64_t)));
  }
  dispose();
  EXPECT_EQ(before_, fake::live());
}

INSTANTIATE_TEST_SUITE_P(Threads, FanOut, ::testing::Range(1u, 17u));

TEST_F(Async, FanOutFailsWhenOneThreadAnswersZero) {
  start();
  probe(target_).hook = [](Q7Object *, const Message &m) -> uint64_t { return m.a != 3; };
  uint64_t good[] = {1, 2, 4}, bad[] = {1, 3, 4};
  EXPECT_EQ(
      1u, queue(executor_, target_, kProbeMethod, {{534, num(good)}, {Q7A_ASYNC_THREADS, 3}, {Q7A_ASYNC_AT_ONCE, 1}}));
  EXPECT_EQ(0u,
            queue(executor_, target_, kProbeMethod, {{534, num(bad)}, {Q7A_ASYNC_THREADS, 3}, {Q7A_ASYNC_AT_ONCE, 1}}));
}

TEST_F(Async, AtOnceHoldsAndReplies) {
  start();
  uint64_t values[] = {5};
  EXPECT_EQ(1u, queue(executor_, target_, kProbeMethod,
                      {{534, num(values)},
                       {Q7A_ASYNC_AT_ONCE, 1},
                       {Q7A_ASYNC_REPLY_OBJECT, num(reply_)},
                       {Q7A_ASYNC_REPLY_METHOD, kProbeMethod + 1},
                       {Q7A_ASYNC_REPLY_ARG, 9}},
                      Q7M_ASYNC_QUEUE_HELD));
  EXPECT_EQ(1, probe(target_).references);
  EXPECT_EQ(1, probe(target_).releases);
  EXPECT_THAT(messages(target_), ElementsAre(Message{kProbeMethod, 5, 0, 0}));
  EXPECT_THAT(messages(reply_), ElementsAre(Message{kProbeMethod + 1, 9, 0, 1}));
}

TEST_F(Async, AtOnceWithoutTargetAnswersZero) {
  start();
  EXPECT_EQ(0u, queue(executor_, nullptr, kProbeMethod, {{Q7A_ASYNC_THREADS, 2}, {Q7A_ASYNC_AT_ONCE, 1}}));
  EXPECT_EQ(0u, queue(executor_, target_, 0, {{Q7A_ASYNC_THREADS, 2}, {Q7A_ASYNC_AT_ONCE, 1}}));
}

TEST_F(Async, AtOnceWhoseExecutorsCannotBeMade) {
  start();
  fake::fail("task", 3);
  EXPECT_EQ(0u, queue(executor_, target_, kProbeMethod, {{Q7A_ASYNC_THREADS, 4}, {Q7A_ASYNC_AT_ONCE, 1}}));
  EXPECT_THAT(messages(target_), IsEmpty());
  dispose();
  EXPECT_EQ(before_, fake::live());
}

TEST_F(Async, FanOutBracketsEachThread) {
  start();
  Q7Object *bracket = new_probe();
  EXPECT_EQ(1u, queue(executor_, target_, kProbeMethod,
                      {{Q7A_ASYNC_THREADS, 3},
                       {Q7A_ASYNC_AT_ONCE, 1},
                       {Q7A_ASYNC_BRACKET_OBJECT, num(bracket)},
                       {Q7A_ASYNC_BRACKET_BEFORE, kProbeMethod + 3}}));
  // Around each send and each reply.
  EXPECT_THAT(messages(bracket), SizeIs(6));
  release(bracket);
}

TEST_F(Async, StepsOfAFanOut) {
  start();
  Q7AsyncRequest request = {};
  request.target = target_;
  request.method = kProbeMethod;
  request.kind = 1;
  request.thread_count = 3;
  request.bracket_before = request.bracket_after = 0xFFFFFFFF;
  ASSERT_EQ(1, Q7AllocThreads(&request));
  const auto *slots = reinterpret_cast<const q7::AsyncSlot *>(request.node.name);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(1909u, slots[i].executor->clid);
    EXPECT_EQ(0, slots[i].busy);
    EXPECT_EQ(0, slots[i].error);
  }
  EXPECT_EQ(1, Q7ExecuteThreads(executor_, &request));
  EXPECT_EQ(1, Q7SynchronizeThreads(executor_, &request));
  EXPECT_THAT(messages(target_), SizeIs(3));
  Q7FreeThreads(&request);
  EXPECT_EQ(nullptr, request.node.name);
  Q7FreeThreads(&request);
  EXPECT_EQ(0, Q7ExecuteThreads(executor_, &request));
  EXPECT_EQ(0, Q7SynchronizeThreads(executor_, &request));
}

TEST_F(Async, FanOutFunctionsTolerateNull) {
  EXPECT_EQ(0, Q7AllocThreads(nullptr));
  EXPECT_EQ(0, Q7ExecuteThreads(nullptr, nullptr));
  EXPECT_EQ(0, Q7SynchronizeThreads(nullptr, nullptr));
  Q7FreeThreads(nullptr);
}

TEST_F(Async, FanoutReplySetsTheSlot) {
  start();
  q7::AsyncSlot slot = {nullptr, 1, 0};
  EXPECT_EQ(1u, send(executor_, Q7M_ASYNC_FANOUT_REPLY, num(&slot), 0, reinterpret_cast<Q7TagItem *>(5)));
  EXPECT_EQ(0, slot.busy);
  EXPECT_EQ(0, slot.error);
  slot.busy = 1;
  EXPECT_EQ(1u, send(executor_, Q7M_ASYNC_FANOUT_REPLY, num(&slot), 0, nullptr));
  EXPECT_EQ(0, slot.busy);
  EXPECT_EQ(1, slot.error);
  EXPECT_EQ(0u, send(executor_, Q7M_ASYNC_FANOUT_REPLY, 0, 0, nullptr));
}

// ---- Targets that turn on their executor ----

Q7Object *victim;

TEST_F(Async, TargetThatQueuesOnItsOwnExecutor) {
  start();
  victim = executor_;
  probe(target_).hook = [](Q7Object *self, const Message &m) -> uint64_t {
    if (m.a > 0) queue(victim, self, kProbeMethod, {{534, m.a - 1}});
    std::lock_guard lock(*probe(self).mutex);
    probe(self).messages->push_back(m);
    return 1;
  };
  queue(executor_, target_, kProbeMethod, {{534, 20}});
  while (messages(target_).size() < 21) Q7SleepMs(1);
}

TEST_F(Async, TargetThatFansOutOnItsOwnExecutor) {
  start();
  victim = executor_;
  probe(target_).hook = [](Q7Object *self, const Message &m) -> uint64_t {
    if (m.a == 0) return 1;
    uint64_t zeros[2] = {};
    return queue(victim, self, kProbeMethod, {{534, num(zeros)}, {Q7A_ASYNC_THREADS, 2}, {Q7A_ASYNC_AT_ONCE, 1}});
  };
  queue(executor_, target_, kProbeMethod,
        {{534, 1}, {Q7A_ASYNC_REPLY_OBJECT, num(reply_)}, {Q7A_ASYNC_REPLY_METHOD, kProbeMethod}});
  dispose();
  EXPECT_THAT(messages(reply_), ElementsAre(Message{kProbeMethod, 0, 0, 1}));
}

TEST_F(Async, ReplyThatDisposesOfTheExecutor) {
  start();
  hold_worker();
  victim = executor_;
  probe(reply_).hook = [](Q7Object *self, const Message &m) -> uint64_t {
    const uint64_t result = send(victim, Q7M_DISPOSE);
    std::lock_guard lock(*probe(self).mutex);
    probe(self).messages->push_back({m.method, result, 0, 0});
    return 1;
  };
  queue(executor_, target_, kProbeMethod,
        {{Q7A_ASYNC_REPLY_OBJECT, num(reply_)}, {Q7A_ASYNC_REPLY_METHOD, kProbeMethod}}, Q7M_ASYNC_QUEUE_HELD);
  for (int i = 0; i < 5; ++i) queue(executor_, target_, kProbeMethod + 1);
  gate_.release_all();
  executor_ = nullptr;
  while (messages(reply_).empty() || fake::live().threads > 0) Q7SleepMs(1);
  EXPECT_EQ(1u, messages(reply_)[0].a);
  // What was queued is finished within the disposal.
  EXPECT_THAT(messages(target_), SizeIs(6));
  EXPECT_EQ(probe(target_).references, probe(target_).releases);
  release(blocker_);
}

TEST_F(Async, TargetThatDisposesOfTheExecutor) {
  start();
  victim = executor_;
  probe(target_).hook = [](Q7Object *, const Message &) -> uint64_t { return send(victim, Q7M_DISPOSE); };
  queue(executor_, target_, kProbeMethod,
        {{Q7A_ASYNC_REPLY_OBJECT, num(reply_)}, {Q7A_ASYNC_REPLY_METHOD, kProbeMethod}});
  executor_ = nullptr;
  while (messages(reply_).empty() || fake::live().threads > 0) Q7SleepMs(1);
  EXPECT_THAT(messages(reply_), ElementsAre(Message{kProbeMethod, 0, 0, 1}));
}

TEST_F(Async, FanOutThatDisposesOfItsOwnersIsRefused) {
  start();
  victim = executor_;
  probe(target_).hook = [](Q7Object *, const Message &) -> uint64_t { return send(victim, Q7M_DISPOSE); };
  for (const bool at_once : {true, false}) {
    const size_t before = messages(reply_).size();
    queue(executor_, target_, kProbeMethod,
          {{Q7A_ASYNC_THREADS, 2},
           {Q7A_ASYNC_AT_ONCE, at_once},
           {Q7A_ASYNC_REPLY_OBJECT, num(reply_)},
           {Q7A_ASYNC_REPLY_METHOD, kProbeMethod}});
    while (messages(reply_).size() == before) Q7SleepMs(1);
    EXPECT_EQ(0u, messages(reply_).back().slot);
  }
  EXPECT_THAT(apptest::reports(), SizeIs(4));
  EXPECT_THAT(apptest::reports()[0], HasSubstr("cannot be disposed of by work that it waits for"));
}

TEST_F(Async, AtOnceReplyMayDisposeOfTheExecutor) {
  start();
  victim = executor_;
  probe(reply_).hook = [](Q7Object *, const Message &) -> uint64_t { return send(victim, Q7M_DISPOSE); };
  EXPECT_EQ(1u, queue(executor_, target_, kProbeMethod,
                      {{Q7A_ASYNC_THREADS, 2},
                       {Q7A_ASYNC_AT_ONCE, 1},
                       {Q7A_ASYNC_REPLY_OBJECT, num(reply_)},
                       {Q7A_ASYNC_REPLY_METHOD, kProbeMethod}}));
  executor_ = nullptr;
}

TEST_F(Async, CorruptedRecordIsReported) {
  start();
  static q7::AsyncExecutor *ex;
  ex = &data();
  hold_worker();
  queue(executor_, target_, kProbeMethod);
  // The target overwrites the first word of the record that carries it.
  static Q7AsyncRequest *record;
  record = reinterpret_cast<Q7AsyncRequest *>(ex->requests.head);
  probe(target_).hook = [](Q7Object *, const Message &) -> uint64_t {
    record->node.succ = nullptr;
    return 1;
  };
  let_go();
  EXPECT_THAT(apptest::reports(), ElementsAre("q7async:231: FATAL: async corrupted"));
}

}  // namespace
