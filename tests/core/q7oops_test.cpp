// Tests of core/q7oops.cpp and core/q7send.cpp.
#include "core/q7oops.h"

#include "tests/core/core_test.h"

namespace {

using q7test::make_class;
using q7test::reports;
using q7test::send;
using q7test::slot;
using q7test::u64;

// What a dispatcher got.
struct Call {
  Q7Class *cl;
  Q7Object *obj;
  uint32_t method;
  uint64_t a, b;
  Q7TagItem *tags;
  std::vector<Q7TagItem> items;
};
std::vector<Call> calls;
uint64_t answer;

uint64_t record(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  if (method < 40) return cl->superdispatch(cl->super, obj, method, a, b, tags);
  Call call = {cl, obj, method, a, b, tags, {}};
  for (Q7TagItem *item = tags; item && item->tag; ++item) {
    call.items.push_back(*item);
    if (item->tag == Q7TAG_LINK) break;
  }
  calls.push_back(call);
  return answer;
}

class Classes : public q7test::Core {
 protected:
  void SetUp() override {
    Core::SetUp();
    calls.clear();
    answer = 0;
  }
};

TEST_F(Classes, FindOfTheCapacityIsNullWithoutPanicAndOneAboveReportsIt) {
  EXPECT_EQ(app_.class_capacity, 5000u);
  EXPECT_EQ(Q7ClassFind(4999), nullptr);
  EXPECT_EQ(Q7ClassFind(5000), nullptr);
  EXPECT_TRUE(reports().empty());
  EXPECT_EQ(Q7ClassFind(5001), nullptr);
  ASSERT_EQ(reports().size(), 1u);
  EXPECT_EQ(reports()[0].text, "PANIC: 5001\n");
  EXPECT_EQ(reports()[0].module, "q7oops");
}

TEST_F(Classes, FindWithoutAnApplicationIsNull) {
  free_oops();
  Q7RegisterClient(nullptr);
  EXPECT_EQ(Q7ClassFind(0), nullptr);
  EXPECT_EQ(Q7ClassFind(100000), nullptr);
  EXPECT_EQ(Q7ClassFindByName("q7root"), nullptr);
  EXPECT_EQ(Q7ClassCreate(0, 100, nullptr, 0, 0), nullptr);
}

TEST_F(Classes, CreatingClass6000GrowsTheTableTo6100) {
  ASSERT_NE(make_class(0, 6000), nullptr);
  EXPECT_EQ(app_.class_capacity, 6100u);
  for (uint32_t id = 1; id < 6100; ++id) {
    if (id == 6000) continue;
    ASSERT_EQ(Q7ClassFind(id), nullptr);
  }
  EXPECT_EQ(app_.class_highest, 6000u);
  EXPECT_TRUE(reports().empty());
}

TEST_F(Classes, AnIdThatOwnsNoMethodIdsIsRefused) {
  EXPECT_EQ(make_class(0, 4294967), nullptr);
  EXPECT_EQ(make_class(0, 0xFFFFFFFE), nullptr);
  EXPECT_EQ(app_.class_capacity, 5000u);
}

TEST_F(Classes, ASecondCreateReturnsTheFirstClassUnchanged) {
  Q7Class *first = make_class(0, 100, record, 8, "first");
  EXPECT_EQ(make_class(0, 100, nullptr, 99, "second"), first);
  EXPECT_EQ(first->header.dispatch, record);
  EXPECT_STREQ(first->header.name, "first");
  EXPECT_EQ(first->isize, 8u);
}

TEST_F(Classes, AClassWithoutNameTagIsNamedPrivate) {
  EXPECT_STREQ(Q7ClassCreate(0, 100, nullptr, 0, 0)->header.name, "private");
}

TEST_F(Classes, InstanceSizesAreRoundedToEight) {
  const Q7Class *cl = make_class(0, 100, nullptr, 13);
  EXPECT_EQ(cl->isize, 13u);
  EXPECT_EQ(cl->ioffset, 48u);
  EXPECT_EQ(cl->itotal, 64u);
  const Q7Class *sub = make_class(100, 101, nullptr, 8);
  EXPECT_EQ(sub->ioffset, 64u);
  EXPECT_EQ(sub->itotal, 72u);
}

TEST_F(Classes, ASizeThatDoesNotFitIsRefused) {
  EXPECT_EQ(make_class(0, 100, nullptr, 0xFFFFFFFF), nullptr);
  EXPECT_EQ(Q7ClassFind(100), nullptr);
}

TEST_F(Classes, TheRecordIsFilled) {
  Q7Class *root = Q7ClassFind(0);
  Q7Class *cl = make_class(0, 100, record, 8, "a");
  EXPECT_EQ(cl->header.cl, cl);
  EXPECT_EQ(cl->header.clid, 100u);
  EXPECT_EQ(cl->super, root);
  EXPECT_EQ(cl->superdispatch, Q7RootDispatch);
  EXPECT_EQ(cl->ninstances, 0u);
  EXPECT_EQ(reinterpret_cast<Q7Class *>(root->subclasses.head), cl);
  Q7Class *newer = make_class(0, 101);
  EXPECT_EQ(reinterpret_cast<Q7Class *>(root->subclasses.head), newer) << "newest first";
}

TEST_F(Classes, AClassWithoutSuperclass) {
  Q7Class *cl = Q7ClassCreate(Q7C_NONE, 100, nullptr, 5, uint32_t{Q7CT_NAME}, "top", 0);
  ASSERT_NE(cl, nullptr);
  EXPECT_EQ(cl->super, nullptr);
  EXPECT_EQ(cl->ioffset, 0u);
  EXPECT_EQ(cl->itotal, 8u);
  EXPECT_EQ(cl->header.dispatch, nullptr);
  EXPECT_EQ(reinterpret_cast<Q7Class *>(app_.top_classes.head), cl);
  EXPECT_STREQ(cl->header.name, "private") << "no dispatcher took the tags";
  EXPECT_EQ(Q7SendClassMsg(100, 4, 0), 0u) << "a class without dispatcher is never called";
}

TEST_F(Classes, AnUnknownSuperclassIsReported) {
  EXPECT_EQ(make_class(77, 100), nullptr);
  ASSERT_EQ(reports().size(), 1u);
  EXPECT_EQ(reports()[0].text, "Class Not Installed: 77 (?)");
  EXPECT_EQ(reports()[0].module, "q7oops");
  EXPECT_EQ(Q7ClassFind(100), nullptr);
}

TEST_F(Classes, FindByNameTakesTheLowestId) {
  Q7Class *high = make_class(0, 300, nullptr, 0, "same");
  Q7Class *low = make_class(0, 200, nullptr, 0, "same");
  EXPECT_EQ(Q7ClassFindByName("same"), low);
  EXPECT_EQ(Q7ClassFindByName("q7root"), Q7ClassFind(0));
  EXPECT_EQ(Q7ClassFindByName("none"), nullptr);
  EXPECT_EQ(Q7ClassFindByName(nullptr), nullptr);
  EXPECT_NE(high, low);
}

TEST_F(Classes, NextVisitsAllInIdOrderWithoutReports) {
  make_class(0, 300);
  make_class(0, 6000);
  make_class(0, 7);
  std::vector<uint32_t> ids;
  uint32_t id = 0;
  for (Q7Class *cl = Q7ClassNext(0, &id); cl; cl = Q7ClassNext(id + 1, &id)) ids.push_back(id);
  EXPECT_EQ(ids, (std::vector<uint32_t>{0, 7, 300, 6000}));
  EXPECT_EQ(Q7ClassNext(0xFFFFFFFF, nullptr), nullptr);
  EXPECT_TRUE(reports().empty());
}

TEST_F(Classes, KindOfIdsAndObjects) {
  make_class(0, 100, nullptr, 0, "B");
  make_class(100, 101, nullptr, 0, "C");
  make_class(0, 102, nullptr, 0, "D");
  Q7Object *obj = Q7ObjectCreate(101, 0);
  EXPECT_EQ(Q7ObjectIsOfKind(obj, 101), 1);
  EXPECT_EQ(Q7ObjectIsOfKind(obj, 100), 2);
  EXPECT_EQ(Q7ObjectIsOfKind(obj, 0), 3);
  EXPECT_EQ(Q7ObjectIsOfKind(obj, 102), 0);
  EXPECT_EQ(Q7ClassIdIsOfKind(101, 100), 1);
  EXPECT_EQ(Q7ClassIdIsOfKind(100, 101), 0);
  EXPECT_EQ(Q7ClassIdIsOfKind(101, 101), 1);
  EXPECT_EQ(Q7ClassIdIsOfKind(999, 0), 0);
  Q7ObjectDelete(obj);
}

TEST_F(Classes, ADefaultDispatcherPassesOnUnchanged) {
  make_class(0, 100, record);
  make_class(100, 101);
  Q7Object *obj = Q7ObjectCreate(101, 0);
  answer = 17;
  Q7TagItem list[] = {{5, 6}, {0, 0}};
  EXPECT_EQ(send(obj, 100000, 1, 2, list), 17u);
  ASSERT_EQ(calls.size(), 1u);
  EXPECT_EQ(calls[0].cl, Q7ClassFind(100));
  EXPECT_EQ(calls[0].obj, obj);
  EXPECT_EQ(calls[0].method, 100000u);
  EXPECT_EQ(calls[0].a, 1u);
  EXPECT_EQ(calls[0].b, 2u);
  EXPECT_EQ(calls[0].tags, list);
  Q7ObjectDelete(obj);
}

TEST_F(Classes, SendersPutTheirArgumentsInTheirPlaces) {
  Q7Class *cl = make_class(0, 100, record);
  Q7Object *obj = Q7ObjectCreate(100, 0);
  constexpr uint64_t kA = 0xAAAAAAAABBBBBBBB, kB = 0xCCCCCCCCDDDDDDDD, kV = 0x1111111122222222;
  answer = 0x123456789ABCDEF0;
  EXPECT_EQ(Q7SendMsg(obj, 100001, 0xFFFFFFF0u, kV, 7u, uint64_t{8}, 0), answer);
  EXPECT_EQ(Q7SendMsg2(obj, 100002, kA, 7u, kV, 0), answer);
  EXPECT_EQ(Q7SendMsg3(obj, 100003, kA, kB, 7u, kV, 0), answer);
  EXPECT_EQ(Q7SendClassMsg(100, 100004, 7u, kV, 0), answer);
  EXPECT_EQ(Q7SendClassMsg2(100, 100005, kA, 0), answer);
  EXPECT_EQ(Q7SendClassMsg3(100, 100006, kA, kB, 0), answer);
  ASSERT_EQ(calls.size(), 6u);
  EXPECT_EQ(calls[0].a, 0u);
  EXPECT_EQ(calls[0].b, 0u);
  ASSERT_EQ(calls[0].items.size(), 2u);
  EXPECT_EQ(calls[0].items[0].tag, 0xFFFFFFF0u);
  EXPECT_EQ(calls[0].items[0].data, kV);
  EXPECT_EQ(calls[0].items[1].data, 8u);
  EXPECT_EQ(calls[1].a, kA);
  EXPECT_EQ(calls[1].b, 0u);
  EXPECT_EQ(calls[1].items.at(0).data, kV);
  EXPECT_EQ(calls[2].a, kA);
  EXPECT_EQ(calls[2].b, kB);
  for (int i = 3; i < 6; ++i) EXPECT_EQ(calls[static_cast<size_t>(i)].obj, &cl->header);
  EXPECT_EQ(calls[5].b, kB);
  EXPECT_TRUE(calls[5].items.empty());
  EXPECT_NE(calls[5].tags, nullptr) << "an empty list, not none";
  Q7ObjectDelete(obj);
}

TEST_F(Classes, InheritCallsTheSuperclass) {
  Q7Class *base = make_class(0, 100, record);
  Q7Class *sub = make_class(100, 101, record);
  Q7Object *obj = Q7ObjectCreate(101, 0);
  Q7Inherit(sub, obj, 100001, 7u, uint64_t{9}, 0);
  Q7Inherit3(sub, obj, 100002, 3, 4, 0);
  ASSERT_EQ(calls.size(), 2u);
  EXPECT_EQ(calls[0].cl, base);
  EXPECT_EQ(calls[0].items.at(0).data, 9u);
  EXPECT_EQ(calls[1].a, 3u);
  EXPECT_EQ(calls[1].b, 4u);
  EXPECT_EQ(Q7Inherit(Q7ClassFind(0), obj, 100003, 0), 0u) << "the root class has no superclass";
  Q7ObjectDelete(obj);
}

TEST_F(Classes, SendersReportTheTwoHundredFiftySixthItem) {
  make_class(0, 100, record);
  Q7Object *obj = Q7ObjectCreate(100, 0);
#define Q7T4 7u, uint64_t{1}, 7u, uint64_t{1}, 7u, uint64_t{1}, 7u, uint64_t{1}
#define Q7T16 Q7T4, Q7T4, Q7T4, Q7T4
#define Q7T64 Q7T16, Q7T16, Q7T16, Q7T16
  Q7SendMsg(obj, 100001, Q7T64, Q7T64, Q7T64, Q7T16, Q7T16, Q7T16, Q7T4, Q7T4, Q7T4, 7u, uint64_t{1}, 7u, uint64_t{1},
            7u, uint64_t{1}, 0);
  EXPECT_TRUE(reports().empty());
  EXPECT_EQ(calls.at(0).items.size(), 255u);
  Q7SendMsg(obj, 100001, Q7T64, Q7T64, Q7T64, Q7T64, 0);
  EXPECT_EQ(calls.at(1).items.size(), 256u);
  ASSERT_EQ(reports().size(), 1u);
  EXPECT_EQ(reports()[0].text, "too many tags");
  EXPECT_EQ(reports()[0].module, "q7oops");
  Q7ObjectDelete(obj);
}

TEST_F(Classes, ClassAttributesAnswerOneWhenSomethingWasNotKnown) {
  make_class(0, 100);
  EXPECT_EQ(Q7SetClassAttrs(100, uint32_t{Q7CT_VALUE503}, uint64_t{5}, 0), 0);
  EXPECT_EQ(Q7SetClassAttrs(100, 9999u, uint64_t{5}, 0), 1);
  uint64_t value = 0;
  EXPECT_EQ(Q7GetClassAttrs(100, uint32_t{Q7CT_VALUE503}, &value, 0), 0);
  EXPECT_EQ(value, 5u);
  EXPECT_EQ(Q7GetClassAttrs(100, 9999u, &value, 0), 1);
  EXPECT_EQ(Q7GetClassAttrs(4000, 9999u, &value, 0), 0) << "no such class";
}

TEST_F(Classes, MakeClassNameJoinsTheAncestors) {
  make_class(0, 100, nullptr, 0, "x");
  make_class(100, 101, nullptr, 0, "y");
  char buffer[64] = "same";
  EXPECT_EQ(Q7MakeClassName(buffer, 4000), 0);
  EXPECT_STREQ(buffer, "same");
  EXPECT_EQ(Q7MakeClassName(buffer, 100), 1);
  EXPECT_STREQ(buffer, "/q7root/x");
  EXPECT_EQ(Q7MakeClassName(buffer, 101), 1);
  EXPECT_STREQ(buffer, "/q7root/x/y");
  EXPECT_EQ(Q7MakeClassName(buffer, 0), 1);
  EXPECT_STREQ(buffer, "/q7root");
}

// ---- Replacing ----

TEST_F(Classes, ReplaceKeepsTheOldIdAndMovesTheLayoutBelow) {
  Q7Class *cl = make_class(0, 100, record, 8, "a");
  Q7Class *sub = make_class(100, 101, nullptr, 8, "b");
  Q7Class *subsub = make_class(101, 102, nullptr, 4, "c");
  const Q7Dispatcher old_superdispatch = sub->superdispatch;
  EXPECT_EQ(Q7ClassReplace(100, 5500, Q7RootDispatch, 20, uint32_t{Q7CT_NAME}, "new", 0), cl);
  EXPECT_EQ(Q7ClassFind(100), cl) << "the class answers to both ids";
  EXPECT_EQ(Q7ClassFind(5500), cl);
  EXPECT_EQ(cl->header.clid, 5500u);
  EXPECT_EQ(cl->header.dispatch, Q7RootDispatch);
  EXPECT_STREQ(cl->header.name, "new");
  EXPECT_EQ(cl->ioffset, 48u);
  EXPECT_EQ(cl->itotal, 72u);
  EXPECT_EQ(sub->ioffset, 72u);
  EXPECT_EQ(sub->itotal, 80u);
  EXPECT_EQ(subsub->ioffset, 80u);
  EXPECT_EQ(subsub->itotal, 88u);
  EXPECT_EQ(sub->superdispatch, old_superdispatch) << "copied at creation, not replaced";
  EXPECT_EQ(app_.class_capacity, 5600u);
}

TEST_F(Classes, ReplaceKeepsANullDispatcher) {
  Q7Class *cl = make_class(0, 100, record);
  EXPECT_EQ(Q7ClassReplace(100, 100, nullptr, 0, 0), cl);
  EXPECT_EQ(cl->header.dispatch, nullptr);
  EXPECT_EQ(Q7ObjectCreate(100, 0), nullptr);
}

TEST_F(Classes, ReplaceOfAnUnknownClassIsReported) {
  EXPECT_EQ(Q7ClassReplace(100, 101, record, 0, 0), nullptr);
  ASSERT_EQ(reports().size(), 1u);
  EXPECT_EQ(reports()[0].text, "Class Not Installed: 100 (?)");
}

TEST_F(Classes, ReplaceOfAClassWithInstancesIsReportedAndChangesNothing) {
  Q7Class *cl = make_class(0, 100, record, 8, "a");
  Q7Object *obj = Q7ObjectCreate(100, 0);
  EXPECT_EQ(Q7ClassReplace(100, 101, nullptr, 16, uint32_t{Q7CT_NAME}, "b", 0), nullptr);
  ASSERT_EQ(reports().size(), 1u);
  EXPECT_EQ(reports()[0].text, "Cannot Replace Class: 100->101");
  EXPECT_EQ(cl->header.dispatch, record);
  EXPECT_STREQ(cl->header.name, "a");
  EXPECT_EQ(Q7ClassFind(101), nullptr);
  Q7ObjectDelete(obj);
}

TEST_F(Classes, ReplaceWithInstancesOfASubclassOnlyIsDone) {
  make_class(0, 100, record);
  make_class(100, 101);
  Q7Object *obj = Q7ObjectCreate(101, 0);
  EXPECT_NE(Q7ClassReplace(100, 110, record, 0, 0), nullptr);
  Q7ObjectDelete(obj);
}

// ---- Extension methods ----

uint64_t extension_b(Q7Object *, uint64_t a, uint64_t b, Q7TagItem *) { return 1000 + a + b; }
uint64_t extension_c(Q7Object *, uint64_t a, uint64_t b, Q7TagItem *tags) { return 2000 + a + b + tags->data; }

TEST_F(Classes, ExtensionMethodsAreInheritedAndHidden) {
  make_class(0, 100);
  make_class(100, 101);
  Q7Object *obj = Q7ObjectCreate(101, 0);
  EXPECT_EQ(Q7ClassAddExtensionMethod(100, "go", extension_b), 1);
  EXPECT_EQ(Q7SendEMsg(obj, "go", 7u, uint64_t{5}, 0), 1000u);
  EXPECT_EQ(Q7SendEMsg2(obj, "go", 3, 0), 1003u);
  EXPECT_EQ(Q7SendEMsg3(obj, "go", 3, 4, 0), 1007u);
  EXPECT_EQ(Q7ClassAddExtensionMethod(101, "go", extension_c), 1);
  EXPECT_EQ(Q7SendEMsg3(obj, "go", 3, 4, 7u, uint64_t{5}, 0), 2012u);
  EXPECT_EQ(Q7ClassAddExtensionMethod(101, "go", extension_b), 1);
  EXPECT_EQ(Q7SendEMsg(obj, "go", 7u, uint64_t{5}, 0), 2005u) << "the first of a name wins";
  Q7ObjectDelete(obj);
}

TEST_F(Classes, ExtensionNamesAreCopied) {
  make_class(0, 100);
  char name[] = "go";
  Q7ClassAddExtensionMethod(100, name, extension_b);
  name[0] = 'x';
  Q7Object *obj = Q7ObjectCreate(100, 0);
  EXPECT_EQ(Q7SendEMsg(obj, "go", 0), 1000u);
  Q7ObjectDelete(obj);
}

TEST_F(Classes, AMissingExtensionMethodIsReported) {
  make_class(0, 100);
  Q7Object *obj = Q7ObjectCreate(100, 0);
  EXPECT_EQ(Q7SendEMsg(obj, "fly", 0), 0u);
  ASSERT_EQ(reports().size(), 1u);
  EXPECT_EQ(reports()[0].text, "Extension method fly not installed for class 100");
  EXPECT_EQ(Q7SendEMsgA3(obj, nullptr, 0, 0, nullptr), 0u);
  EXPECT_EQ(reports().size(), 1u);
  Q7ObjectDelete(obj);
}

TEST_F(Classes, AddingAnExtensionMethodRefusesNullAndReportsUnknownClasses) {
  EXPECT_EQ(Q7ClassAddExtensionMethod(0, nullptr, extension_b), 0);
  EXPECT_EQ(Q7ClassAddExtensionMethod(0, "x", nullptr), 0);
  EXPECT_TRUE(reports().empty());
  EXPECT_EQ(Q7ClassAddExtensionMethod(4000, "x", extension_b), 0);
  EXPECT_EQ(q7test::report_texts(), std::vector<std::string>{"Class Not Installed: 4000 (?)"});
}

TEST_F(Classes, AnExtensionMessageToAnObjectOfAnUnknownClassStopsTheProcess) {
  Q7Object *obj = Q7ObjectCreate(0, 0);
  obj->clid = 4000;
  EXPECT_DEATH(Q7SendEMsg(obj, "x", 0), "Assertion failed");
  EXPECT_DEATH(
      {
        dup2(2, 1);
        Q7SendEMsg(obj, "x", 0);
      },
      "Class Not Installed: 4000");
  obj->clid = 0;
  Q7ObjectDelete(obj);
}

// ---- Start and end ----

TEST_F(Classes, InitAnswersWhatThePlatformAnswers) {
  free_oops();
  fake::fail("J7OopsInit");
  EXPECT_EQ(Q7OopsInit(&app_), 0);
  Q7OopsFree(&app_);
}

TEST_F(Classes, InitOnExhaustionAnswersZero) {
  free_oops();
  q7test::AllocGate gate;
  gate.fail(1);
  EXPECT_EQ(Q7OopsInit(&app_), 0);
  Q7OopsFree(&app_);
}

std::vector<std::string> freed;
uint64_t record_free(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  if (method == Q7M_CLASS_FREE || method == Q7M_FREE_CACHES) {
    if (&cl->header == obj) freed.push_back((method == Q7M_CLASS_FREE ? "free " : "cache ") + std::string(obj->name));
  }
  return cl->superdispatch(cl->super, obj, method, a, b, tags);
}

TEST_F(Classes, FreeVisitsSubclassesBeforeTheirSuperclass) {
  freed.clear();
  make_class(0, 100, record_free, 0, "a");
  make_class(100, 101, record_free, 0, "b");
  make_class(100, 102, record_free, 0, "c");
  make_class(0, 103, record_free, 0, "d");
  Q7ClassReplace(103, 104, record_free, 0, 0);
  free_oops();
  EXPECT_EQ(freed, (std::vector<std::string>{"cache d", "cache c", "cache b", "cache a", "free d", "free c", "free b",
                                             "free a"}));
  EXPECT_EQ(app_.classes, nullptr);
  EXPECT_EQ(Q7ClassFind(100), nullptr);
}

TEST_F(Classes, FreeKeepsItsOrderOfPlatformCalls) {
  fake::clear_calls();
  free_oops();
  const std::vector<std::string> calls = fake::calls();
  ASSERT_EQ(calls.size(), 4u);
  EXPECT_NE(calls[0].find("Q7AppBeginRegistryWrite"), std::string::npos);
  EXPECT_NE(calls[1].find("Q7AppEndRegistryWrite"), std::string::npos);
  EXPECT_NE(calls[2].find("Q7AppCloseLocale"), std::string::npos) << "the root class's catalogue";
  EXPECT_NE(calls[3].find("J7OopsFree"), std::string::npos);
}

TEST_F(Classes, FreeReleasesTheProject) {
  Q7Object *project = Q7ObjectCreate(0, 0);
  send(project, Q7M_ADDREF);
  app_.project = project;
  free_oops();
  EXPECT_EQ(app_.project, nullptr);
}

TEST_F(Classes, TwoRunsInOneProcessStartFresh) {
  make_class(0, 100, record);
  free_oops();
  ASSERT_EQ(Q7OopsInit(&app_), 1);
  EXPECT_EQ(Q7ClassFind(0), nullptr);
  EXPECT_EQ(Q7RegisterRootClass(&app_), 1);
  EXPECT_EQ(Q7ClassFind(100), nullptr);
  EXPECT_NE(make_class(0, 100), nullptr);
  Q7OopsFree(&app_);
}

TEST_F(Classes, ManyClassesAreLinear) {
  for (uint32_t id = 10; id < 5010; ++id) ASSERT_NE(make_class(0, id), nullptr);
  for (uint32_t id = 10; id < 5010; ++id) ASSERT_EQ(Q7ClassFind(id)->header.clid, id);
}

TEST_F(Classes, ChainsOfThousandsOfClassesAreFreedWithoutRecursion) {
  for (uint32_t id = 1; id < 4000; ++id) ASSERT_NE(make_class(id - 1, id, Q7RootDispatch), nullptr);
  free_oops();
}

// ---- Out of memory ----

TEST_F(Classes, ExhaustionAtEveryAllocationOfClassCreation) {
  for (int64_t n = 1;; ++n) {
    q7test::AllocGate gate;
    gate.fail(n);
    Q7Class *cl = make_class(0, 6000 + static_cast<uint32_t>(n) * 200, record, 8);
    const bool failed = gate.refused() > 0;
    gate.pass();
    if (!failed) {
      EXPECT_NE(cl, nullptr);
      EXPECT_GE(n, 2);
      return;
    }
    EXPECT_EQ(cl, nullptr) << n;
    EXPECT_EQ(Q7ClassNext(1, nullptr), nullptr);
  }
}

TEST_F(Classes, ExhaustionAtEveryAllocationOfAnExtensionMethod) {
  make_class(0, 100);
  Q7Object *obj = Q7ObjectCreate(100, 0);
  for (int64_t n = 1; n <= 3; ++n) {
    q7test::AllocGate gate;
    gate.fail(n);
    const int32_t result = Q7ClassAddExtensionMethod(100, "go", extension_b);
    EXPECT_EQ(result, n > 2) << n;
    gate.pass();
    EXPECT_EQ(Q7SendEMsg(obj, "go", 0), n > 2 ? 1000u : 0u);
  }
  Q7ObjectDelete(obj);
}

TEST_F(Classes, SendersAllocateNothing) {
  make_class(0, 100, record);
  Q7Object *obj = Q7ObjectCreate(100, 0);
  q7test::AllocGate gate;
  gate.fail(1, true);
  Q7SendMsg(obj, 100000, 7u, uint64_t{1}, 0);
  EXPECT_EQ(gate.count(), 0);
  gate.pass();
  Q7ObjectDelete(obj);
}

}  // namespace
