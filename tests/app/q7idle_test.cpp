#include "app/q7idle.h"

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

namespace {

std::vector<uint64_t> ran;  // data of the calls, in the order in which they ran
void call(uint64_t data, Q7IdleMsg *) { ran.push_back(data); }
void call2(uint64_t a, uint64_t b) { ran.push_back(a * 1000 + b); }

Q7App *the_app;
Q7Object *the_object;

class Idle : public AppTest {
 protected:
  void SetUp() override {
    ASSERT_TRUE(create());
    ASSERT_TRUE(apptest::register_probe(app));
    the_app = app;
    object_ = the_object = new_probe();
    ran.clear();
  }
  void TearDown() override {
    if (object_) release(object_);
    destroy();
    EXPECT_EQ(0, live_probes());
  }
  static Q7TagItem *tags(uint64_t value) { return reinterpret_cast<Q7TagItem *>(value); }
  Q7Object *object_ = nullptr;
};

// ---- What each kind hands over ----

TEST_F(Idle, CallReceivesDataAndItsMessage) {
  static Q7IdleMsg seen;
  Q7AppDoWhenIdle(
      app, [](uint64_t, Q7IdleMsg *message) { seen = *message; }, 77);
  EXPECT_EQ(1, Q7AppDoIdle(app));
  EXPECT_EQ(0u, seen.kind);
  EXPECT_EQ(77u, seen.first);
  EXPECT_EQ(0u, seen.second);
}

TEST_F(Idle, CallClearsTheSecondArgumentOfARecycledMessage) {
  Q7AppDoWhenIdle2(app, call2, 1, 2);
  Q7AppDoIdle(app);
  static uint64_t second;
  second = 99;
  Q7AppDoWhenIdle(
      app, [](uint64_t, Q7IdleMsg *message) { second = message->second; }, 0);
  Q7AppDoIdle(app);
  EXPECT_EQ(0u, second);
}

TEST_F(Idle, Call2ReceivesBothArguments) {
  Q7AppDoWhenIdle2(app, call2, 3, 4);
  Q7AppDoIdle(app);
  EXPECT_THAT(ran, ElementsAre(3004));
}

TEST_F(Idle, MessageCarriesTagsInTheSlot) {
  Q7AppDoMsgAWhenIdle(app, object_, kProbeMethod + 1, tags(11));
  Q7AppDoIdle(app);
  EXPECT_THAT(messages(object_), ElementsAre(Message{kProbeMethod + 1, 0, 0, 11}));
}

TEST_F(Idle, Message2CarriesAAndTheSlot) {
  Q7AppDoMsgA2WhenIdle(app, object_, kProbeMethod + 1, 11, 12);
  Q7AppDoIdle(app);
  EXPECT_THAT(messages(object_), ElementsAre(Message{kProbeMethod + 1, 11, 0, 12}));
}

TEST_F(Idle, Message3CarriesAllThree) {
  Q7AppDoMsgA3WhenIdle(app, object_, kProbeMethod + 1, 11, 12, 13);
  Q7AppDoIdle(app);
  EXPECT_THAT(messages(object_), ElementsAre(Message{kProbeMethod + 1, 11, 12, 13}));
}

// ---- Order and rounds ----

TEST_F(Idle, RoundTakesAHundredOfEach) {
  for (uint64_t i = 0; i < 150; ++i) {
    Q7AppDoWhenIdle(app, call, i);
    Q7AppDoWhenIdleLowPri(app, call, 1000 + i);
  }
  EXPECT_EQ(1, Q7AppDoIdle(app));
  ASSERT_EQ(200u, ran.size());
  for (uint64_t i = 0; i < 100; ++i) {
    EXPECT_EQ(i, ran[i]);
    EXPECT_EQ(1000 + i, ran[100 + i]);
  }
  EXPECT_EQ(1, Q7AppDoIdle(app));
  ASSERT_EQ(300u, ran.size());
  for (uint64_t i = 0; i < 50; ++i) {
    EXPECT_EQ(100 + i, ran[200 + i]);
    EXPECT_EQ(1100 + i, ran[250 + i]);
  }
  EXPECT_EQ(0, Q7AppDoIdle(app));
}

TEST_F(Idle, LowPriorityFillsTheRoundUpTo200) {
  for (uint64_t i = 0; i < 250; ++i) Q7AppDoWhenIdleLowPri(app, call, i);
  Q7AppDoWhenIdle(app, call, 9000);
  Q7AppDoIdle(app);
  EXPECT_EQ(200u, ran.size());
  EXPECT_EQ(9000u, ran[0]);
  EXPECT_EQ(198u, ran[199]);
}

TEST_F(Idle, NormalOnlyRoundTakesAHundred) {
  for (uint64_t i = 0; i < 250; ++i) Q7AppDoWhenIdle(app, call, i);
  Q7AppDoIdle(app);
  EXPECT_EQ(100u, ran.size());
}

TEST_F(Idle, HighPriorityRunsFirst) {
  for (uint64_t i = 0; i < 10; ++i) Q7AppDoMsgAWhenIdle(app, object_, kProbeMethod + 1, tags(i));
  Q7AppDoMsgAWhenIdleHiPri(app, object_, kProbeMethod + 2, tags(1));
  Q7AppDoMsgAWhenIdleHiPri(app, object_, kProbeMethod + 2, tags(2));
  Q7AppDoIdle(app);
  const auto got = messages(object_);
  ASSERT_EQ(12u, got.size());
  EXPECT_EQ((Message{kProbeMethod + 2, 0, 0, 2}), got[0]);
  EXPECT_EQ((Message{kProbeMethod + 2, 0, 0, 1}), got[1]);
  EXPECT_EQ((Message{kProbeMethod + 1, 0, 0, 0}), got[2]);
}

TEST_F(Idle, LowPriorityMessagesRunLast) {
  Q7AppDoMsgAWhenIdleLowPri(app, object_, kProbeMethod + 1, tags(1));
  Q7AppDoMsgAWhenIdleAlways(app, object_, kProbeMethod + 2, tags(2));
  Q7AppDoIdle(app);
  EXPECT_THAT(messages(object_), ElementsAre(Message{kProbeMethod + 2, 0, 0, 2}, Message{kProbeMethod + 1, 0, 0, 1}));
}

TEST_F(Idle, QueuedWhileARoundRunsWaitsForTheNext) {
  Q7AppDoWhenIdle(
      app, [](uint64_t, Q7IdleMsg *) { Q7AppDoWhenIdle(the_app, call, 1); }, 0);
  Q7AppDoIdle(app);
  EXPECT_THAT(ran, IsEmpty());
  Q7AppDoIdle(app);
  EXPECT_THAT(ran, ElementsAre(1));
}

TEST_F(Idle, NestedRoundRunsWhatCameSince) {
  Q7AppDoWhenIdle(
      app,
      [](uint64_t, Q7IdleMsg *) {
        Q7AppDoWhenIdle(the_app, call, 1);
        Q7AppDoIdle(the_app);
      },
      0);
  Q7AppDoWhenIdle(app, call, 2);
  Q7AppDoIdle(app);
  EXPECT_THAT(ran, ElementsAre(1, 2));
}

TEST_F(Idle, FlushRunsTwoRounds) {
  for (uint64_t i = 0; i < 201; ++i) Q7AppDoWhenIdle(app, call, i);
  EXPECT_EQ(1, Q7AppFlushIdle(app));
  EXPECT_EQ(200u, ran.size());
  EXPECT_EQ(0, Q7AppFlushIdle(app));
  EXPECT_EQ(201u, ran.size());
}

TEST_F(Idle, FlushSeesTheLowPriorityList) {
  for (uint64_t i = 0; i < 401; ++i) Q7AppDoWhenIdleLowPri(app, call, i);
  EXPECT_EQ(1, Q7AppFlushIdle(app));
  EXPECT_EQ(0, Q7AppFlushIdle(app));
}

TEST_F(Idle, Pending) {
  EXPECT_EQ(0, Q7AppIdleMessagesPending(app));
  Q7AppDoWhenIdle(app, call, 1);
  EXPECT_EQ(1, Q7AppIdleMessagesPending(app));
  Q7AppDoIdle(app);
  EXPECT_EQ(0, Q7AppIdleMessagesPending(app));
  Q7AppDoWhenIdleLowPri(app, call, 1);
  EXPECT_EQ(1, Q7AppIdleMessagesPending(app));
  Q7AppDoIdle(app);
  EXPECT_EQ(0, Q7AppIdleMessagesPending(app));
}

TEST_F(Idle, QueueingWakesTheLoop) {
  const int64_t before = fake::count("Q7WakeUpGui");
  Q7AppDoWhenIdle(app, call, 1);
  Q7AppDoWhenIdleLowPri(app, call, 1);
  Q7AppDoMsgAWhenIdleHiPri(app, object_, kProbeMethod, nullptr);
  EXPECT_EQ(before + 3, fake::count("Q7WakeUpGui"));
  Q7AppDoIdle(app);
  EXPECT_EQ(before + 3, fake::count("Q7WakeUpGui"));
}

TEST_F(Idle, NothingRunsUnderTheLock) {
  static int depth;
  depth = 99;
  Q7AppDoWhenIdle(
      app, [](uint64_t, Q7IdleMsg *) { depth = fake::held_locks(); }, 0);
  Q7AppDoIdle(app);
  EXPECT_EQ(0, depth);
}

// ---- References ----

TEST_F(Idle, TargetIsReferencedUntilDelivered) {
  Q7AppDoMsgAWhenIdle(app, object_, kProbeMethod, nullptr);
  EXPECT_EQ(1, probe(object_).references);
  EXPECT_EQ(0, probe(object_).releases);
  release(object_);
  object_ = nullptr;
  EXPECT_EQ(1, live_probes());
  Q7AppDoIdle(app);
  EXPECT_EQ(0, live_probes());
}

TEST_F(Idle, ReferencesAreTakenAndGivenBackUnderTheLock) {
  fake::record_all(true);
  Q7AppDoMsgAWhenIdle(app, object_, kProbeMethod, nullptr);
  fake::record_all(false);
  EXPECT_THAT(fake::calls("Q7Lock"), ::testing::SizeIs(1));
}

TEST_F(Idle, RequestWithoutTargetOrFunctionIsDropped) {
  Q7AppDoMsgAWhenIdle(app, nullptr, kProbeMethod, nullptr);
  Q7AppDoMsgA2WhenIdle(app, nullptr, kProbeMethod, 1, 2);
  Q7AppDoMsgA3WhenIdle(app, nullptr, kProbeMethod, 1, 2, 3);
  Q7AppDoWhenIdle(app, nullptr, 1);
  Q7AppDoWhenIdle2(app, nullptr, 1, 2);
  EXPECT_EQ(0, Q7AppIdleMessagesPending(app));
}

// ---- Suspending ----

TEST_F(Idle, QueuedWhileSuspendedIsHeld) {
  const int64_t wakes = fake::count("Q7WakeUpGui");
  Q7AppDisableIdleProcessing();
  Q7AppDoWhenIdle(app, call, 1);
  Q7AppDoWhenIdleLowPri(app, call, 2);
  Q7AppDoWhenIdle2(app, call2, 3, 4);
  EXPECT_EQ(wakes, fake::count("Q7WakeUpGui"));
  EXPECT_EQ(0, Q7AppDoIdle(app));
  EXPECT_EQ(1, Q7AppIdleMessagesPending(app));
  EXPECT_THAT(ran, IsEmpty());
  Q7AppEnableIdleProcessing(app);
  EXPECT_THAT(ran, ElementsAre(1, 2, 3004));
  EXPECT_EQ(0, Q7AppIdleMessagesPending(app));
  Q7AppDoWhenIdle(app, call, 5);
  EXPECT_THAT(ran, ElementsAre(1, 2, 3004));
  Q7AppDoIdle(app);
  EXPECT_EQ(5u, ran.back());
}

TEST_F(Idle, HighPriorityGoesToTheHeadOfTheHeldList) {
  Q7AppDisableIdleProcessing();
  Q7AppDoMsgAWhenIdle(app, object_, kProbeMethod + 1, nullptr);
  Q7AppDoMsgAWhenIdleHiPri(app, object_, kProbeMethod + 2, nullptr);
  Q7AppDoMsgAWhenIdleLowPri(app, object_, kProbeMethod + 3, nullptr);
  Q7AppEnableIdleProcessing(app);
  EXPECT_THAT(messages(object_), ElementsAre(Message{kProbeMethod + 2, 0, 0, 0}, Message{kProbeMethod + 1, 0, 0, 0},
                                             Message{kProbeMethod + 3, 0, 0, 0}));
}

TEST_F(Idle, QueuedBeforeSuspendingStillRuns) {
  Q7AppDoWhenIdle(app, call, 1);
  Q7AppDisableIdleProcessing();
  EXPECT_EQ(1, Q7AppDoIdle(app));
  EXPECT_THAT(ran, ElementsAre(1));
  Q7AppEnableIdleProcessing(app);
}

TEST_F(Idle, InnerResumeEmptiesTheHeldList) {
  Q7AppDisableIdleProcessing();
  Q7AppDisableIdleProcessing();
  Q7AppDoWhenIdle(app, call, 1);
  Q7AppEnableIdleProcessing(app);
  EXPECT_THAT(ran, ElementsAre(1));
  Q7AppDoWhenIdle(app, call, 2);
  EXPECT_EQ(0, Q7AppDoIdle(app));
  Q7AppEnableIdleProcessing(app);
  EXPECT_THAT(ran, ElementsAre(1, 2));
  Q7AppDoWhenIdle(app, call, 3);
  EXPECT_EQ(1, Q7AppDoIdle(app));
}

TEST_F(Idle, QueuedWhileResumingIsRunToo) {
  Q7AppDisableIdleProcessing();
  Q7AppDoWhenIdle(
      app, [](uint64_t, Q7IdleMsg *) { Q7AppDoWhenIdle(the_app, call, 1); }, 0);
  Q7AppEnableIdleProcessing(app);
  EXPECT_THAT(ran, ElementsAre(1));
}

TEST_F(Idle, ResumeWithoutSuspendLeavesTheCountAtZero) {
  Q7AppEnableIdleProcessing(app);
  Q7AppEnableIdleProcessing(nullptr);
  Q7AppDisableIdleProcessing();
  Q7AppDoWhenIdle(app, call, 1);
  EXPECT_EQ(0, Q7AppDoIdle(app));
  Q7AppEnableIdleProcessing(app);
  EXPECT_THAT(ran, ElementsAre(1));
}

TEST_F(Idle, HeldMessagesAreDroppedAtDeletion) {
  Q7AppDisableIdleProcessing();
  Q7AppDoWhenIdle(app, call, 1);
  release(object_);
  object_ = nullptr;
  destroy();
  EXPECT_THAT(ran, IsEmpty());
  // The suspension outlives the application.
  ASSERT_TRUE(create());
  Q7AppDoWhenIdle(app, call, 2);
  EXPECT_EQ(0, Q7AppDoIdle(app));
  Q7AppEnableIdleProcessing(app);
  EXPECT_THAT(ran, ElementsAre(2));
}

// ---- Without an application ----

TEST_F(Idle, RunsAtOnceWithoutApplication) {
  Q7AppDoWhenIdle(nullptr, call, 1);
  Q7AppDoWhenIdleLowPri(nullptr, call, 2);
  Q7AppDoWhenIdle2(nullptr, call2, 3, 4);
  Q7AppDoMsgAWhenIdleHiPri(nullptr, object_, kProbeMethod, nullptr);
  EXPECT_THAT(ran, ElementsAre(1, 2, 3004));
  EXPECT_THAT(messages(object_), ElementsAre(Message{kProbeMethod, 0, 0, 0}));
  EXPECT_EQ(1, probe(object_).references);
  EXPECT_EQ(1, probe(object_).releases);
}

TEST_F(Idle, NullApplicationAnswersZero) {
  EXPECT_EQ(0, Q7AppDoIdle(nullptr));
  EXPECT_EQ(0, Q7AppFlushIdle(nullptr));
  EXPECT_EQ(0, Q7AppIdleMessagesPending(nullptr));
  EXPECT_EQ(0, Q7AppFlushIdlesToObj(nullptr, object_));
  Q7AppStripIdle(nullptr, call, 1);
  Q7AppStripIdleMsgs(nullptr, object_);
}

// ---- Flushing to an object ----

TEST_F(Idle, FlushDeliversTheObjectsMessagesNow) {
  Q7Object *other = new_probe();
  Q7AppDoMsgAWhenIdleLowPri(app, object_, kProbeMethod + 4, nullptr);
  Q7AppDoMsgAWhenIdle(app, object_, kProbeMethod + 1, nullptr);
  Q7AppDoMsgA2WhenIdle(app, other, kProbeMethod + 9, 1, 2);
  Q7AppDoMsgA2WhenIdle(app, object_, kProbeMethod + 2, 1, 2);
  Q7AppDoWhenIdle(app, call, num(object_));
  Q7AppDoMsgA3WhenIdle(app, object_, kProbeMethod + 3, 1, 2, 3);
  EXPECT_EQ(4, Q7AppFlushIdlesToObj(app, object_));
  EXPECT_THAT(messages(object_), ElementsAre(Message{kProbeMethod + 1, 0, 0, 0}, Message{kProbeMethod + 2, 1, 0, 2},
                                             Message{kProbeMethod + 3, 1, 2, 3}, Message{kProbeMethod + 4, 0, 0, 0}));
  EXPECT_THAT(ran, IsEmpty());
  EXPECT_EQ(0, Q7AppFlushIdlesToObj(app, object_));
  EXPECT_EQ(4, probe(object_).releases);
  Q7AppDoIdle(app);
  EXPECT_EQ(4u, messages(object_).size());
  EXPECT_EQ(1u, messages(other).size());
  EXPECT_THAT(ran, ElementsAre(num(object_)));
  release(other);
}

TEST_F(Idle, FlushLeavesHeldMessages) {
  Q7AppDisableIdleProcessing();
  Q7AppDoMsgAWhenIdle(app, object_, kProbeMethod, nullptr);
  EXPECT_EQ(0, Q7AppFlushIdlesToObj(app, object_));
  EXPECT_THAT(messages(object_), IsEmpty());
  Q7AppEnableIdleProcessing(app);
  EXPECT_THAT(messages(object_), ::testing::SizeIs(1));
}

TEST_F(Idle, FlushDeliversWhatARoundHasTaken) {
  Q7AppDoWhenIdle(
      app,
      [](uint64_t, Q7IdleMsg *) { ran.push_back(static_cast<uint64_t>(Q7AppFlushIdlesToObj(the_app, the_object))); },
      0);
  Q7AppDoMsgAWhenIdle(app, object_, kProbeMethod, nullptr);
  Q7AppDoIdle(app);
  EXPECT_THAT(ran, ElementsAre(1));
  EXPECT_THAT(messages(object_), ::testing::SizeIs(1));
  EXPECT_EQ(1, probe(object_).releases);
}

TEST_F(Idle, TargetThatRunsARoundDuringAFlushGetsEachMessageOnce) {
  static std::vector<uint64_t> got;
  got.clear();
  probe(object_).hook = [](Q7Object *, const Message &m) -> uint64_t {
    got.push_back(m.slot);
    Q7AppDoIdle(the_app);
    return 1;
  };
  for (uint64_t i = 0; i < 5; ++i) Q7AppDoMsgAWhenIdle(app, object_, kProbeMethod, tags(i));
  EXPECT_EQ(1, Q7AppFlushIdlesToObj(app, object_));
  EXPECT_THAT(got, ElementsAre(0, 1, 2, 3, 4));
  EXPECT_EQ(5, probe(object_).releases);
}

TEST_F(Idle, TargetThatStripsItselfDuringAFlush) {
  probe(object_).hook = [](Q7Object *self, const Message &m) -> uint64_t {
    ran.push_back(m.slot);
    Q7AppStripIdleMsgs(the_app, self);
    return 1;
  };
  for (uint64_t i = 0; i < 5; ++i) Q7AppDoMsgAWhenIdle(app, object_, kProbeMethod, tags(i));
  EXPECT_EQ(1, Q7AppFlushIdlesToObj(app, object_));
  EXPECT_THAT(ran, ElementsAre(0));
  EXPECT_EQ(0, Q7AppIdleMessagesPending(app));
  for (int i = 0; i < 4; ++i) release(object_);  // the references of the stripped ones
}

TEST_F(Idle, MessageQueuedBehindTheLastNodeOfAFlushIsLeft) {
  probe(object_).hook = [](Q7Object *self, const Message &m) -> uint64_t {
    ran.push_back(m.slot);
    if (m.slot < 10) Q7AppDoMsgAWhenIdle(the_app, self, kProbeMethod, reinterpret_cast<Q7TagItem *>(m.slot + 1));
    return 1;
  };
  Q7AppDoMsgAWhenIdle(app, object_, kProbeMethod, tags(0));
  EXPECT_EQ(1, Q7AppFlushIdlesToObj(app, object_));
  EXPECT_THAT(ran, ElementsAre(0));
  EXPECT_EQ(1, Q7AppIdleMessagesPending(app));
}

// ---- Stripping ----

TEST_F(Idle, StrippedMessagesNeverArrive) {
  Q7Object *other = new_probe();
  Q7AppDoMsgAWhenIdle(app, object_, kProbeMethod, nullptr);
  Q7AppDoMsgA2WhenIdle(app, object_, kProbeMethod, 1, 2);
  Q7AppDoMsgA3WhenIdle(app, object_, kProbeMethod, 1, 2, 3);
  Q7AppDoMsgAWhenIdleLowPri(app, object_, kProbeMethod, nullptr);
  Q7AppDoMsgAWhenIdle(app, other, kProbeMethod, nullptr);
  Q7AppDoWhenIdle(app, call, num(object_));
  Q7AppStripIdleMsgs(app, object_);
  Q7AppDoIdle(app);
  EXPECT_THAT(messages(object_), IsEmpty());
  EXPECT_THAT(messages(other), ::testing::SizeIs(1));
  EXPECT_THAT(ran, ElementsAre(num(object_)));
  // Their references stay.
  EXPECT_EQ(4, probe(object_).references);
  EXPECT_EQ(0, probe(object_).releases);
  for (int i = 0; i < 4; ++i) release(object_);
  release(other);
}

TEST_F(Idle, StripFreesInsteadOfRecycling) {
  Q7AppDoMsgAWhenIdle(app, object_, kProbeMethod, nullptr);
  Q7AppStripIdleMsgs(app, object_);
  q7test::AllocGate gate;
  Q7AppDoWhenIdle(app, call, 1);
  EXPECT_EQ(1, gate.count());
  release(object_);
}

TEST_F(Idle, StripReachesWhatARoundHasTaken) {
  Q7AppDoWhenIdle(
      app, [](uint64_t, Q7IdleMsg *) { Q7AppStripIdleMsgs(the_app, the_object); }, 0);
  Q7AppDoMsgAWhenIdle(app, object_, kProbeMethod, nullptr);
  Q7AppDoWhenIdle(app, call, 1);
  Q7AppDoIdle(app);
  EXPECT_THAT(messages(object_), IsEmpty());
  EXPECT_THAT(ran, ElementsAre(1));
  release(object_);
}

TEST_F(Idle, HeldMessagesAreNotStripped) {
  Q7AppDisableIdleProcessing();
  Q7AppDoMsgAWhenIdle(app, object_, kProbeMethod, nullptr);
  Q7AppDoWhenIdle(app, call, 1);
  Q7AppStripIdleMsgs(app, object_);
  Q7AppStripIdle(app, call, 1);
  Q7AppEnableIdleProcessing(app);
  EXPECT_THAT(messages(object_), ::testing::SizeIs(1));
  EXPECT_THAT(ran, ElementsAre(1));
}

TEST_F(Idle, StripCallNeedsFunctionAndData) {
  Q7AppDoWhenIdle(app, call, 1);
  Q7AppDoWhenIdle(app, call, 2);
  Q7AppDoWhenIdleLowPri(app, call, 1);
  Q7AppDoWhenIdle2(app, reinterpret_cast<Q7IdleFunction2>(reinterpret_cast<void *>(call2)), 1, 0);
  Q7AppDoWhenIdle(
      app, [](uint64_t, Q7IdleMsg *) { ran.push_back(50); }, 1);
  Q7AppStripIdle(app, call, 1);
  Q7AppDoIdle(app);
  EXPECT_THAT(ran, ElementsAre(2, 1000, 50));
}

// ---- Executing by hand ----

TEST_F(Idle, ExecuteClearsTheTarget) {
  Q7IdleMsg message = {};
  message.kind = Q7IDLE_MSG;
  message.m.obj = object_;
  message.method = kProbeMethod;
  object_->dispatch(object_->cl, object_, Q7M_ADDREF, 0, 0, nullptr);
  Q7AppExecIdle(app, &message);
  EXPECT_EQ(nullptr, message.m.obj);
  EXPECT_EQ(1, probe(object_).releases);
}

using IdleDeathTest = Idle;

int print(const char *module, int line, const char *text, ...) {
  return std::fprintf(stderr, "<%s:%d:%s>", module, line, text);
}

TEST_F(IdleDeathTest, NullMessage) {
  EXPECT_DEATH(
      {
        the_app->error_handler = print;
        Q7AppExecIdle(app, nullptr);
      },
      "<q7app:151:Panic, idle msg is NULL>");
}
TEST_F(IdleDeathTest, UnknownKind) {
  EXPECT_DEATH(
      {
        the_app->error_handler = print;
        Q7IdleMsg message = {};
        message.kind = 5;
        Q7AppExecIdle(app, &message);
      },
      "<q7app:145:Panic, unknown idle message type>");
}
TEST_F(IdleDeathTest, MessageWithoutTarget) {
  for (uint32_t kind = 2; kind <= 4; ++kind) {
    Q7IdleMsg message = {};
    message.kind = kind;
    EXPECT_DEATH(Q7AppExecIdle(app, &message), "msg->m\\.obj != \\(\\(void \\*\\)0\\)");
  }
}

TEST_F(Idle, CursorsDoNothing) {
  fake::clear_calls();
  Q7AppWaitCursor();
  Q7AppResetCursor();
  EXPECT_THAT(fake::calls(), IsEmpty());
}

// ---- Memory ----

TEST_F(Idle, ExhaustionDropsTheRequestSilently) {
  q7test::AllocGate gate;
  gate.fail(1, true);
  q7test::Capture out(1);
  Q7AppDoWhenIdle(app, call, 1);
  Q7AppDoMsgAWhenIdle(app, object_, kProbeMethod, nullptr);
  EXPECT_EQ("", out.stop());
  gate.pass();
  EXPECT_EQ(0, Q7AppIdleMessagesPending(app));
  EXPECT_EQ(0, probe(object_).references);
  EXPECT_THAT(apptest::reports(), IsEmpty());
}

TEST_F(Idle, SteadyStateAllocatesNothing) {
  const auto batch = [&] {
    for (uint64_t i = 0; i < 300; ++i) {
      Q7AppDoWhenIdle(app, call, i);
      Q7AppDoMsgA3WhenIdle(app, object_, kProbeMethod, 1, 2, 3);
      Q7AppDoMsgAWhenIdleLowPri(app, object_, kProbeMethod, nullptr);
    }
    while (Q7AppFlushIdle(app)) {
    }
    Q7AppDisableIdleProcessing();
    for (uint64_t i = 0; i < 300; ++i) Q7AppDoWhenIdle(app, call, i);
    Q7AppEnableIdleProcessing(app);
    for (uint64_t i = 0; i < 300; ++i) Q7AppDoMsgAWhenIdle(app, object_, kProbeMethod, nullptr);
    EXPECT_EQ(300, Q7AppFlushIdlesToObj(app, object_));
  };
  batch();
  q7test::AllocGate gate;
  for (int i = 0; i < 10; ++i) batch();
  EXPECT_EQ(0, gate.count());
}

// ---- The application's end ----

TEST_F(Idle, DeletionRunsWhatIsQueued) {
  for (uint64_t i = 0; i < 1000; ++i) Q7AppDoWhenIdle(app, call, i);
  Q7AppDoMsgAWhenIdleLowPri(app, object_, kProbeMethod, nullptr);
  release(object_);
  object_ = nullptr;
  destroy();
  EXPECT_EQ(1000u, ran.size());
  EXPECT_EQ(0, live_probes());
}

TEST_F(Idle, DeletionFromWithinARound) {
  Q7AppDoWhenIdle(
      app, [](uint64_t, Q7IdleMsg *) { Q7AppDelete(the_app); }, 0);
  for (uint64_t i = 0; i < 150; ++i) Q7AppDoWhenIdle(app, call, i);
  release(object_);
  object_ = nullptr;
  EXPECT_EQ(1, Q7AppDoIdle(app));
  app = nullptr;
  EXPECT_EQ(nullptr, Q7ApplicationContext);
  ASSERT_EQ(150u, ran.size());
  for (uint64_t i = 0; i < 150; ++i) EXPECT_EQ(i, ran[i]);
}

TEST_F(Idle, DeletionFromWithinAResume) {
  Q7AppDisableIdleProcessing();
  Q7AppDoWhenIdle(
      app, [](uint64_t, Q7IdleMsg *) { Q7AppDelete(the_app); }, 0);
  Q7AppDoWhenIdle(app, call, 1);
  release(object_);
  object_ = nullptr;
  Q7AppEnableIdleProcessing(app);
  app = nullptr;
  EXPECT_EQ(nullptr, Q7ApplicationContext);
  EXPECT_THAT(ran, IsEmpty());
}

}  // namespace
