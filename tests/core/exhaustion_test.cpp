// Tests of exhaustion across the modules of the core: the nth allocation fails, for every n. The documented failure
// comes back, nothing is left behind, and what stood before stands.
#include "core/classdef.hpp"
#include "tests/core/memory_stream.h"

namespace {

using q7test::AllocGate;
using q7test::make_class;
using q7test::MemoryStream;
using q7test::u64;

class Exhaustion : public q7test::Core {};

TEST_F(Exhaustion, StartingTheObjectSystemLeavesNothingBehind) {
  free_oops();
  const fake::Live before = fake::live();
  for (int64_t n = 1;; ++n) {
    AllocGate gate;
    gate.fail(n);
    const bool started = Q7OopsInit(&app_) && Q7RegisterRootClass(&app_);
    const bool failed = gate.refused() > 0;
    gate.pass();
    EXPECT_EQ(started, !failed) << n;
    Q7OopsFree(&app_);
    EXPECT_EQ(fake::live(), before) << n;
    if (!failed) {
      EXPECT_GE(n, 3) << "the class table and the root class";
      return;
    }
  }
}

Q7LocaleEntry strings[] = {{"Name", "Lamp", 0}};
extern const q7::ClassDef lamp;
uint64_t lamp_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  return method == Q7M_CLASS_FREE ? q7::class_free(lamp, cl, obj, a, b, tags)
                                  : q7::inherit(cl, obj, method, a, b, tags);
}
const q7::ClassDef lamp = {
    .id = 900, .name = "lamp", .dispatch = lamp_dispatch, .size = 16, .strings = strings, .string_count = 1};

TEST_F(Exhaustion, RegisteringAClassWithACatalogueClosesItAgain) {
  const fake::Live before = fake::live();
  for (int64_t n = 1;; ++n) {
    AllocGate gate;
    gate.fail(n);
    const int32_t result = q7::register_once(&app_, lamp);
    const bool failed = gate.refused() > 0;
    gate.pass();
    EXPECT_EQ(result, !failed) << n;
    if (!failed) return;
    EXPECT_EQ(Q7ClassFind(900), nullptr);
    EXPECT_EQ(fake::live(), before) << n;
  }
}

TEST_F(Exhaustion, AFailedGrowthOfTheClassTableLeavesTheOldTable) {
  Q7Class *cl = make_class(0, 100);
  Q7Object *obj = Q7ObjectCreate(100, 0);
  AllocGate gate;
  gate.fail(1);
  EXPECT_EQ(make_class(0, 20000), nullptr);
  gate.pass();
  EXPECT_EQ(gate.refused(), 1);
  EXPECT_EQ(app_.class_capacity, 5000u);
  EXPECT_EQ(app_.class_highest, 100u);
  EXPECT_EQ(Q7ClassFind(100), cl);
  EXPECT_EQ(Q7ClassIdIsOfKind(100, 0), 1);
  ASSERT_NE(make_class(100, 20000), nullptr) << "the next attempt";
  EXPECT_EQ(app_.class_capacity, 20100u);
  EXPECT_EQ(Q7ClassFind(100), cl);
  Q7ObjectDelete(obj);
}

TEST_F(Exhaustion, AFailedGrowthLeavesAReplacedClassAsItWas) {
  Q7Class *cl = make_class(0, 100, nullptr, 24, "old");
  const Q7Dispatcher dispatch = cl->header.dispatch;
  AllocGate gate;
  gate.fail(1);
  EXPECT_EQ(Q7ClassReplace(100, 20000, Q7RootDispatch, 8, uint32_t{Q7CT_NAME}, "new", 0), nullptr);
  gate.pass();
  EXPECT_EQ(cl->header.clid, 100u);
  EXPECT_EQ(cl->header.dispatch, dispatch);
  EXPECT_EQ(cl->isize, 24u);
  EXPECT_STREQ(cl->header.name, "old");
  EXPECT_EQ(Q7ClassFind(100), cl);
}

TEST_F(Exhaustion, AFailedExtensionMethodHidesNoOther) {
  make_class(0, 100);
  make_class(100, 101);
  auto one = [](Q7Object *, uint64_t, uint64_t, Q7TagItem *) { return uint64_t{1}; };
  auto two = [](Q7Object *, uint64_t, uint64_t, Q7TagItem *) { return uint64_t{2}; };
  EXPECT_EQ(Q7ClassAddExtensionMethod(100, "go", one), 1);
  Q7Object *obj = Q7ObjectCreate(101, 0);
  for (int64_t n = 1; n <= 2; ++n) {
    AllocGate gate;
    gate.fail(n);
    EXPECT_EQ(Q7ClassAddExtensionMethod(101, "go", two), 0);
    gate.pass();
    EXPECT_EQ(Q7NodeCount(&Q7ClassFind(101)->extmethods), 0);
    EXPECT_EQ(Q7SendEMsg(obj, "go", 0), 1u) << "the superclass's";
  }
  EXPECT_EQ(Q7ClassAddExtensionMethod(101, "go", two), 1);
  EXPECT_EQ(Q7SendEMsg(obj, "go", 0), 2u);
  Q7ObjectDelete(obj);
}

uint64_t extension(Q7Object *, uint64_t, uint64_t, Q7TagItem *tags) { return Q7TagVal(tags, 700, 0); }

TEST_F(Exhaustion, GatheringNeverAllocates) {
  make_class(0, 100);
  Q7ClassAddExtensionMethod(100, "go", extension);
  Q7Object *obj = Q7ObjectCreate(100, 0);
  Q7TagItem source[] = {{700, 7}, {Q7TAG_END, 0}};
  Q7TagItem copy[8] = {};
  uint64_t value = 0;
  const uint32_t tag = 700;
  AllocGate gate;
  gate.fail(1, true);
  EXPECT_EQ(Q7SendEMsg(obj, "go", tag, uint64_t{5}, 0), 5u);
  EXPECT_EQ(Q7SendEMsg2(obj, "go", 1, tag, uint64_t{5}, 0), 5u);
  EXPECT_EQ(Q7SendEMsg3(obj, "go", 1, 2, tag, uint64_t{5}, 0), 5u);
  EXPECT_EQ(Q7TagGet(source, tag, &value, 0), 1);
  EXPECT_EQ(value, 7u);
  EXPECT_EQ(Q7TagGetS(source, tag, &value, uint32_t{8}, 0), 1);
  Q7TagCopy(copy, tag, uint64_t{1}, uint32_t{701}, uint64_t{2}, 0);
  Q7TagConcat(copy, uint32_t{702}, uint64_t{3}, uint32_t{703}, uint64_t{4}, 0);
  EXPECT_EQ(Q7TagVal(copy, 703, 0), 4u);
  EXPECT_EQ(Q7SetClassAttrs(100, uint32_t{Q7CT_VALUE503}, uint64_t{9}, uint32_t{Q7CT_VALUE506}, uint64_t{8},
                            uint32_t{Q7CT_VERSION}, uint64_t{3}, 0),
            0);
  EXPECT_EQ(Q7GetClassAttrs(100, uint32_t{Q7CT_VALUE503}, &value, 0), 0);
  EXPECT_EQ(value, 9u);
  EXPECT_EQ(gate.count(), 0);
  gate.pass();
  Q7ObjectDelete(obj);
}

TEST_F(Exhaustion, SavingAllocatesNothing) {
  Q7Object *obj = Q7ObjectCreate(0, uint32_t{Q7A_NAME}, "lamp", 0);
  MemoryStream stream;
  AllocGate gate;
  gate.fail(1, true);
  EXPECT_NE(Q7ObjectSave(obj, uint32_t{Q7A_STREAM}, &stream.object, 0), 0u);
  EXPECT_EQ(gate.count(), 0);
  gate.pass();
  Q7ObjectDelete(obj);
}

// An allocator of objects whose nth block fails.
struct Pool {
  int64_t live = 0;
  int64_t until_failure = 0;
  static void *allocate(void *context, uint64_t size, uint32_t flags) {
    auto &pool = *static_cast<Pool *>(context);
    if (--pool.until_failure == 0) return nullptr;
    ++pool.live;
    return Q7AllocMem(size, flags);
  }
  static void release(void *context, void *block, uint64_t size) {
    --static_cast<Pool *>(context)->live;
    Q7FreeMem(block, size);
  }
};

TEST_F(Exhaustion, ObjectsOfAnAllocatorThatRunsOut) {
  Pool pool;
  Q7AltMem allocator = {Pool::allocate, Pool::release, &pool};
  const Q7Class *root = Q7ClassFind(0);
  for (int64_t n = 1; n <= 2; ++n) {
    pool.until_failure = n;
    EXPECT_EQ(Q7AltObjectCreate(0, &allocator, uint32_t{Q7A_NAME}, "name", 0), nullptr) << n;
    EXPECT_EQ(pool.live, 0) << n;
    EXPECT_EQ(root->ninstances, 0u) << n;
  }
  Q7Object *obj = Q7ObjectCreate(0, uint32_t{Q7A_NAME}, "name", 0);
  for (int64_t n = 1; n <= 2; ++n) {
    pool.until_failure = n;
    EXPECT_EQ(q7test::send(obj, Q7M_COPY, u64(&allocator)), 0u) << n;
    EXPECT_EQ(pool.live, 0) << n;
  }
  Q7ObjectDelete(obj);
}

TEST_F(Exhaustion, NamesAreSetWholeOrNotAtAll) {
  Q7List list;
  Q7NewList(&list);
  for (int64_t n = 1; n <= 2; ++n) {
    AllocGate gate;
    gate.fail(n);
    EXPECT_EQ(Q7ObjectCreate(0, uint32_t{Q7A_ADD_TO_LIST}, &list, uint32_t{Q7A_NAME}, "name", 0), nullptr);
    EXPECT_EQ(Q7NodeCount(&list), 0) << "an object that is not made stands in no list";
  }
}

}  // namespace
