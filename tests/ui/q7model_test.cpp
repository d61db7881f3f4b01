// Tests of models: notices, batches, references, and dependents that change the list while they are told.
#include "ui/q7model.h"

#include <cstring>

#include "app/q7idle.h"
#include "core/q7lists.h"
#include "tests/ui/views_test.h"
#include "ui/q7widget.h"

using namespace views;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

namespace {

enum : uint32_t { kDirect = 1, kMuted = 2, kWeak = 4, kAnyThread = 8 };

class Model : public ViewsTest {
 protected:
  void SetUp() override {
    ViewsTest::SetUp();
    ASSERT_EQ(Q7RegisterModelClass(Q7ApplicationContext), 1);
    model = make(6);
    ASSERT_NE(model, nullptr);
  }
  void TearDown() override {
    if (model) Q7ObjectDelete(model);
    EXPECT_EQ(live(), 0);
    ViewsTest::TearDown();
  }
  // A dependent whose only reference is the model's, unless it is weak.
  Q7Object *add(uint32_t flags, int32_t aspect = 0) {
    Q7Object *d = make(kRecorder);
    message(model, 6000, flags, num(aspect), num(d));
    record(d).messages.clear();
    return d;
  }
  uint64_t changed(Items changes) { return list_message(model, 6002, changes); }
  static std::vector<Message> notices(Q7Object *d) { return record(d).of(8); }
  static int idle() {
    int rounds = 0;
    while (Q7AppDoIdle(Q7ApplicationContext)) ++rounds;
    return rounds;
  }
  Q7Object *model = nullptr;
};

TEST_F(Model, IsRegisteredAsStated) {
  EXPECT_EQ(Q7RegisterModelClass(Q7ApplicationContext), 1);
  const Q7Class *cl = Q7ClassFind(6);
  ASSERT_NE(cl, nullptr);
  EXPECT_STREQ(cl->header.name, "q7model");
  EXPECT_STREQ(cl->description, "Model");
  EXPECT_STREQ(cl->organisation, "Karmonic");
  EXPECT_STREQ(cl->module, "q7common");
  EXPECT_EQ(cl->super, Q7ClassFind(0));
}

TEST_F(Model, ClassMessagesThatItAnswersItself) {
  EXPECT_EQ(class_message(6, 24), 0u);
  EXPECT_EQ(class_message(6, 27), 1u);
  EXPECT_EQ(message(model, 24), 0u);
  EXPECT_EQ(message(model, 27), 1u);
}

TEST_F(Model, NoticeCarriesValueAspectAndTag) {
  Q7Object *d = add(kDirect, -7);
  EXPECT_EQ(changed({{6801, 0x123456789ABCDEF0}}), num(model));
  EXPECT_THAT(notices(d), ElementsAre(Message{8, 0x123456789ABCDEF0, num(-7), 6801}));
}

TEST_F(Model, NoDependentsAnswersNothing) {
  EXPECT_EQ(changed({{1001, 1}}), 0u);
  message(model, 6003);
  EXPECT_EQ(changed({{1001, 1}}), 0u);
  Q7Object *d = add(kDirect);
  message(model, 6004);
  EXPECT_THAT(notices(d), IsEmpty());
}

TEST_F(Model, EmptyListTellsNothing) {
  Q7Object *d = add(kDirect);
  EXPECT_EQ(message(model, 6002), num(model));
  EXPECT_THAT(notices(d), IsEmpty());
}

TEST_F(Model, ChangesGoOutInListOrderEachToAllDependents) {
  std::vector<std::pair<char, uint64_t>> order;
  Q7Object *a = add(kDirect), *b = add(kDirect);
  record(a).hook = [&](const Message &m) { order.emplace_back('a', m.slot); };
  record(b).hook = [&](const Message &m) { order.emplace_back('b', m.slot); };
  Q7TagItem tail[] = {{30, 0}, {0, 0}};
  changed({{10, 0}, {20, 0}, {Q7TAG_LINK, num(tail)}});
  using P = std::pair<char, uint64_t>;
  EXPECT_THAT(order, ElementsAre(P('a', 10), P('b', 10), P('a', 20), P('b', 20), P('a', 30), P('b', 30)));
  record(a).hook = record(b).hook = nullptr;
}

TEST_F(Model, SameChangeTwiceOutsideABatchIsToldTwice) {
  Q7Object *d = add(kDirect);
  changed({{10, 1}, {10, 1}});
  EXPECT_THAT(notices(d), SizeIs(2));
}

TEST_F(Model, NullDependentIsReported) {
  EXPECT_EQ(message(model, 6000, kDirect, 0, 0), 0u);
  EXPECT_THAT(reports(), ElementsAre("q7model: Model: Adding NULL dependent"));
}

TEST_F(Model, HoldsAReferenceWithItselfAsArgument) {
  Q7Object *d = make(kRecorder);
  message(d, 9);
  EXPECT_EQ(message(model, 6000, kDirect, 3, num(d)), num(model));
  EXPECT_EQ(message(model, 6001, 0, 0, num(d)), num(model));
  EXPECT_THAT(record(d).messages,
              ElementsAre(Message{9, 0, 0, 0}, Message{9, 0, 0, num(model)}, Message{10, 0, 0, num(model)}));
  EXPECT_EQ(message(model, 6001, 0, 0, num(d)), 0u);
  EXPECT_EQ(message(model, 6001), 0u);
  message(d, 10);
}

TEST_F(Model, WeakDependentIsNeitherReferencedNorReleased) {
  Q7Object *d = make(kRecorder);
  message(model, 6000, kDirect | kWeak, 0, num(d));
  message(model, 6001, 0, 0, num(d));
  message(model, 6000, kDirect | kWeak, 0, num(d));
  Q7ObjectDelete(model);
  model = nullptr;
  EXPECT_THAT(record(d).messages, IsEmpty());
  Q7ObjectDelete(d);
}

TEST_F(Model, DisposalReleasesInOrder) {
  std::vector<char> order;
  Q7Object *a = add(kDirect), *b = add(0), *c = add(kMuted);
  record(a).hook = [&](const Message &m) { order.push_back(m.method == 10 && m.slot == num(model) ? 'a' : '?'); };
  record(b).hook = [&](const Message &m) { order.push_back(m.method == 10 && m.slot == num(model) ? 'b' : '?'); };
  record(c).hook = [&](const Message &m) { order.push_back(m.method == 10 && m.slot == num(model) ? 'c' : '?'); };
  message(model, 6003);
  changed({{101, 1}, {102, 2}});
  Q7ObjectDelete(model);  // with pending changes
  EXPECT_THAT(order, ElementsAre('a', 'b', 'c'));
  model = nullptr;
}

TEST_F(Model, MutedDependentStaysSilentInTheList) {
  Q7Object *d = add(kDirect | kMuted), *e = add(kMuted);
  EXPECT_EQ(changed({{101, 1}}), num(model));
  idle();
  EXPECT_THAT(record(d).messages, IsEmpty());
  EXPECT_THAT(record(e).messages, IsEmpty());
  EXPECT_EQ(message(model, 6001, 0, 0, num(d)), num(model));
}

TEST_F(Model, WithoutTheDirectBitNoticesAreQueued) {
  Q7Object *d = add(0, 4), *e = add(kAnyThread, 5);
  changed({{109, 8}});
  EXPECT_THAT(notices(d), IsEmpty());
  EXPECT_THAT(notices(e), IsEmpty());
  EXPECT_EQ(idle(), 1);
  EXPECT_THAT(notices(d), ElementsAre(Message{8, 8, 4, 109}));
  EXPECT_THAT(notices(e), ElementsAre(Message{8, 8, 5, 109}));
}

TEST_F(Model, AddedTwiceIsToldTwiceAndRemovedOneByOne) {
  Q7Object *d = add(kDirect, 1);
  message(model, 6000, kDirect, 2, num(d));
  changed({{105, 6}});
  EXPECT_THAT(notices(d), ElementsAre(Message{8, 6, 1, 105}, Message{8, 6, 2, 105}));
  record(d).messages.clear();
  message(model, 6001, 0, 0, num(d));
  changed({{105, 6}});
  EXPECT_THAT(notices(d), ElementsAre(Message{8, 6, 2, 105}));
}

// ---- Batches ----

TEST_F(Model, BatchTellsEqualChangesOnce) {
  Q7Object *d = add(kDirect);
  EXPECT_EQ(message(model, 6003), 1u);
  EXPECT_EQ(changed({{10, 1}}), num(model));
  changed({{10, 1}, {10, 2}, {11, 1}});
  changed({{11, 1}});
  EXPECT_THAT(notices(d), IsEmpty());
  EXPECT_EQ(message(model, 6004), 1u);
  EXPECT_THAT(notices(d), ElementsAre(Message{8, 1, 0, 10}, Message{8, 2, 0, 10}, Message{8, 1, 0, 11}));
}

TEST_F(Model, InnerEndDeliversNothing) {
  Q7Object *d = add(kDirect);
  message(model, 6003);
  message(model, 6003);
  changed({{101, 1}});
  EXPECT_EQ(message(model, 6004), 1u);
  EXPECT_THAT(notices(d), IsEmpty());
  EXPECT_EQ(message(model, 6004), 1u);
  EXPECT_THAT(notices(d), SizeIs(1));
  changed({{101, 1}});  // no batch any more
  EXPECT_THAT(notices(d), SizeIs(2));
}

TEST_F(Model, EndWithoutBeginDoesNothing) {
  Q7Object *d = add(kDirect);
  EXPECT_EQ(message(model, 6004), 1u);
  message(model, 6003);
  message(model, 6004);
  EXPECT_EQ(message(model, 6004), 1u);
  message(model, 6003);  // opens a batch all the same
  changed({{101, 1}});
  EXPECT_THAT(notices(d), IsEmpty());
  message(model, 6004);
  EXPECT_THAT(notices(d), SizeIs(1));
}

TEST_F(Model, ManyPendingChangesKeepTheirOrderWithoutDuplicates) {
  Q7Object *d = add(kDirect);
  message(model, 6003);
  constexpr uint64_t kChanges = 10000;
  for (int pass = 0; pass < 2; ++pass) {
    for (uint64_t i = 0; i < kChanges; ++i) changed({{static_cast<uint32_t>(10 + i % 7), i / 3}});
  }
  message(model, 6004);
  std::vector<Message> expected;
  std::map<std::pair<uint64_t, uint64_t>, bool> seen;
  for (uint64_t i = 0; i < kChanges; ++i) {
    if (!seen.emplace(std::pair(10 + i % 7, i / 3), true).second) continue;
    expected.push_back({8, i / 3, 0, 10 + i % 7});
  }
  EXPECT_EQ(notices(d), expected);
}

TEST_F(Model, EndOfABatchWithoutDirectBitIsQueued) {
  Q7Object *d = add(kAnyThread);
  message(model, 6003);
  changed({{101, 1}});
  message(model, 6004);
  EXPECT_THAT(notices(d), IsEmpty());
  idle();
  EXPECT_THAT(notices(d), SizeIs(1));
}

TEST_F(Model, ChangeRaisedWhileABatchIsDeliveredGoesOutAtOnce) {
  Q7Object *d = add(kDirect);
  record(d).hook = [&](const Message &m) {
    if (m.slot == 101) changed({{150, 0}});
  };
  message(model, 6003);
  changed({{101, 0}, {102, 0}});
  message(model, 6004);
  EXPECT_THAT(notices(d), ElementsAre(Message{8, 0, 0, 101}, Message{8, 0, 0, 150}, Message{8, 0, 0, 102}));
}

TEST_F(Model, BatchWithinADeliveryContinuesIt) {
  Q7Object *d = add(kDirect);
  record(d).hook = [&](const Message &m) {
    if (m.slot != 101) return;
    message(model, 6003);
    changed({{102, 0}, {103, 0}});  // 2 is pending already
    message(model, 6004);
  };
  message(model, 6003);
  changed({{101, 0}, {102, 0}});
  message(model, 6004);
  EXPECT_THAT(notices(d), ElementsAre(Message{8, 0, 0, 101}, Message{8, 0, 0, 102}, Message{8, 0, 0, 103}));
}

TEST_F(Model, BatchLeftOpenByADependentHoldsTheRest) {
  Q7Object *d = add(kDirect);
  record(d).hook = [&](const Message &m) {
    if (m.slot == 101) message(model, 6003);
  };
  changed({{101, 0}, {102, 0}});
  EXPECT_THAT(notices(d), SizeIs(1));
  message(model, 6004);
  EXPECT_THAT(notices(d), ElementsAre(Message{8, 0, 0, 101}, Message{8, 0, 0, 102}));
}

// ---- Dependents that change things while they are told ----

TEST_F(Model, DependentRemovesItselfAndGoes) {
  Q7Object *a = add(kDirect), *b = add(kDirect);
  record(a).hook = [&, a](const Message &m) {
    if (m.method == 8) {
      auto *target = model;
      message(target, 6001, 0, 0, num(a));
    }
  };
  message(a, 9);
  changed({{101, 0}, {102, 0}});
  EXPECT_THAT(notices(a), SizeIs(1));
  EXPECT_THAT(notices(b), SizeIs(2));
  message(a, 10);
}

TEST_F(Model, DependentRemovesItsSuccessorAndItsPredecessor) {
  Q7Object *a = add(kDirect), *b = add(kDirect), *c = add(kDirect), *d = add(kDirect);
  for (Q7Object *o : {a, c}) message(o, 9);
  record(b).hook = [&](const Message &m) {
    if (m.slot != 101) return;
    message(model, 6001, 0, 0, num(a));
    message(model, 6001, 0, 0, num(c));
  };
  changed({{101, 0}, {102, 0}});
  EXPECT_THAT(notices(a), SizeIs(1));
  EXPECT_THAT(notices(b), SizeIs(2));
  EXPECT_THAT(notices(c), IsEmpty());
  EXPECT_THAT(notices(d), SizeIs(2));
  for (Q7Object *o : {a, c}) message(o, 10);
}

TEST_F(Model, DependentAddedMeanwhileIsToldOfTheNextChange) {
  Q7Object *late = make(kRecorder);
  Q7Object *a = add(kDirect);
  record(a).hook = [&](const Message &m) {
    if (m.slot == 101) message(model, 6000, kDirect, 0, num(late));
  };
  changed({{101, 0}, {102, 0}});
  EXPECT_THAT(notices(late), ElementsAre(Message{8, 0, 0, 102}));
}

TEST_F(Model, DependentThatAddsItselfEachTimeDoesNotLoop) {
  Q7Object *a = add(kDirect);
  record(a).hook = [&, a](const Message &m) {
    if (m.method == 8) message(model, 6000, kDirect, 0, num(a));
  };
  changed({{101, 0}, {101, 0}, {101, 0}});
  EXPECT_THAT(notices(a), SizeIs(1 + 2 + 4));
  record(a).hook = nullptr;
}

TEST_F(Model, DependentMutesItself) {
  Q7Object *a = add(kDirect);
  record(a).hook = [&, a](const Message &m) {
    if (m.method != 8) return;
    message(model, 6000, kDirect | kMuted, 0, num(a));
    message(model, 6001, 0, 0, num(a));  // the first record goes
  };
  changed({{101, 0}, {102, 0}});
  EXPECT_THAT(notices(a), SizeIs(1));
  record(a).hook = nullptr;
}

TEST_F(Model, DependentDisposesOfTheModel) {
  Q7Object *a = add(kDirect), *b = add(kDirect);
  for (Q7Object *o : {a, b}) message(o, 9);
  record(a).hook = [&](const Message &m) {
    if (m.method == 8) Q7ObjectDelete(model);
  };
  EXPECT_EQ(changed({{101, 0}, {102, 0}}), 0u);
  EXPECT_THAT(notices(a), SizeIs(1));
  EXPECT_THAT(notices(b), IsEmpty());
  model = nullptr;
  record(a).hook = nullptr;
  for (Q7Object *o : {a, b}) message(o, 10);
}

TEST_F(Model, DependentDisposesOfTheModelInABatch) {
  Q7Object *a = add(kDirect | kWeak), *b = add(0);
  message(b, 9);
  record(a).hook = [&](const Message &) { Q7ObjectDelete(model); };
  message(model, 6003);
  changed({{101, 0}, {102, 0}, {103, 0}});
  EXPECT_EQ(message(model, 6004), 1u);
  EXPECT_THAT(notices(a), SizeIs(1));
  model = nullptr;
  Q7ObjectDelete(a);
  message(b, 10);
}

TEST_F(Model, DependentDisposedOfWithItsRegistrationIsNotTold) {
  Q7Object *a = add(kDirect), *b = add(kDirect | kWeak), *c = add(kDirect);
  record(b).on_dispose = [&, b] { message(model, 6001, 0, 0, num(b)); };
  record(a).hook = [&, b](const Message &m) {
    if (m.slot == 101) Q7ObjectDelete(b);
  };
  changed({{101, 0}, {102, 0}});
  EXPECT_THAT(notices(c), SizeIs(2));
}

TEST_F(Model, DependentThatGoesWithTheModelMayRemoveItselfAgain) {
  Q7Object *a = add(kDirect);
  uint64_t answer = 99;
  record(a).on_dispose = [&, a] { answer = message(model, 6001, 0, 0, num(a)); };
  Q7ObjectDelete(model);
  model = nullptr;
  EXPECT_EQ(answer, 0u);
}

TEST_F(Model, WeakWidgetThatGoesIsForgotten) {
  Q7Object *w = make(41), *d = add(kDirect);
  message(model, 6000, kDirect | kWeak, 0, num(w));
  Q7ObjectDelete(w);
  EXPECT_EQ(changed({{101, 0}}), num(model));
  EXPECT_THAT(notices(d), SizeIs(1));
  EXPECT_EQ(message(model, 6001, 0, 0, num(w)), 0u);
}

TEST_F(Model, EmptyRecordsAreCleanedUp) {
  Q7Object *w = make(41);
  message(model, 6000, kDirect | kWeak, 0, num(w));
  Q7ObjectDelete(w);
  EXPECT_EQ(changed({{101, 0}}), num(model));  // the empty record still counts, and goes afterwards
  EXPECT_EQ(changed({{101, 0}}), 0u);
  w = make(41);
  message(model, 6003);
  message(model, 6000, kDirect | kWeak, 0, num(w));
  Q7ObjectDelete(w);
  EXPECT_EQ(changed({{101, 0}}), num(model));
  EXPECT_EQ(changed({{101, 0}}), num(model));  // not while a batch is open
  message(model, 6004);
  EXPECT_EQ(changed({{101, 0}}), 0u);
}

TEST_F(Model, TellingBitIsSetWhileADependentIsTold) {
  Q7Object *a = add(kDirect | 0x10000);
  uint32_t during = 0, nested = 0, between = 0;
  // The first record stands behind the list header at the model's data.
  const auto flags = [&] {
    auto *list = reinterpret_cast<Q7List *>(reinterpret_cast<char *>(model) + model->cl->ioffset);
    uint32_t value;
    memcpy(&value, reinterpret_cast<char *>(list->head) + 40, sizeof value);
    return value;
  };
  EXPECT_EQ(flags(), 1u);
  record(a).hook = [&](const Message &m) {
    (m.slot == 101 ? during : nested) = flags();
    if (m.slot != 101) return;
    changed({{102, 0}});
    between = flags();
  };
  changed({{101, 0}});
  EXPECT_EQ(during, 0x10001u);
  EXPECT_EQ(nested, 0x10001u);
  EXPECT_EQ(between, 0x10001u);
  EXPECT_EQ(flags(), 1u);
  record(a).hook = nullptr;
}

// ---- Copies and memory ----

TEST_F(Model, CopyHasNoDependentsAndNoBatch) {
  set(model, {{Q7A_NAME, num("original")}});
  Q7Object *d = add(kDirect);
  message(model, 6003);
  auto *copy = reinterpret_cast<Q7Object *>(message(model, 19));
  ASSERT_NE(copy, nullptr);
  EXPECT_STREQ(get<const char *>(copy, Q7A_NAME), "original");
  EXPECT_EQ(list_message(copy, 6002, {{101, 1}}), 0u);
  message(copy, 6000, kDirect, 0, num(d));
  list_message(copy, 6002, {{101, 1}});
  EXPECT_THAT(notices(d), SizeIs(1));
  Q7ObjectDelete(copy);
  message(model, 6004);
}

TEST_F(Model, RecordWithoutMemoryIsDroppedSilently) {
  Q7Object *d = make(kRecorder);
  {
    q7test::AllocGate gate;
    gate.fail(1, true);
    EXPECT_EQ(message(model, 6000, kDirect, 0, num(d)), num(model));
  }
  EXPECT_THAT(record(d).messages, IsEmpty());
  EXPECT_THAT(reports(), IsEmpty());
  EXPECT_EQ(changed({{101, 1}}), 0u);
  Q7ObjectDelete(d);
}

TEST_F(Model, PendingChangeWithoutMemoryIsDroppedSilently) {
  Q7Object *d = add(kDirect);
  message(model, 6003);
  changed({{101, 1}});
  {
    q7test::AllocGate gate;
    gate.fail(1, true);
    EXPECT_EQ(changed({{102, 2}}), num(model));
  }
  changed({{103, 3}});
  message(model, 6004);
  EXPECT_THAT(notices(d), ElementsAre(Message{8, 1, 0, 101}, Message{8, 3, 0, 103}));
}

TEST_F(Model, DuplicatesAreFoundWithoutMemoryForTheTable) {
  Q7Object *d = add(kDirect);
  message(model, 6003);
  for (uint32_t i = 0; i < 16; ++i) changed({{10 + i, 1}});
  {
    q7test::AllocGate gate;
    gate.fail(2, true);  // the 17th change passes, the table does not
    changed({{26, 1}});
    changed({{12, 1}, {26, 1}});
  }
  for (uint32_t i = 0; i < 100; ++i) changed({{10 + i % 30, 1}});
  message(model, 6004);
  EXPECT_THAT(notices(d), SizeIs(30));
}

TEST_F(Model, BeginWithoutMemoryFails) {
  for (int n = 1; n <= 1; ++n) {
    q7test::Capture quiet(1);
    q7test::AllocGate gate;
    gate.fail(n);
    EXPECT_EQ(message(model, 6003), 0u);
  }
  fake::fail("Q7LockAlloc");
  EXPECT_EQ(message(model, 6003), 0u);
  Q7Object *d = add(kDirect);
  changed({{101, 1}});
  EXPECT_THAT(notices(d), SizeIs(1));
  EXPECT_EQ(message(model, 6003), 1u);
}

TEST_F(Model, OtherMessagesGoToTheRoot) {
  EXPECT_EQ(message(model, 6005), 0u);
  EXPECT_THAT(reports(), SizeIs(1));
  EXPECT_EQ(class_message(6, 8), 0u);
}

}  // namespace
