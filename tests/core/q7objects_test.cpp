// Tests of core/q7objects.cpp and core/q7altmem.cpp.
#include "core/q7objects.h"

#include <ctime>

#include "tests/core/core_test.h"

namespace {

using q7test::make_class;
using q7test::reports;
using q7test::send;
using q7test::u64;

class Objects : public q7test::Core {};

TEST_F(Objects, CreateFillsTheHeader) {
  Q7Class *cl = make_class(0, 100, nullptr, 16);
  Q7List list;
  Q7NewList(&list);
  Q7Object *obj =
      Q7ObjectCreate(100, uint32_t{Q7A_NAME}, "n", uint32_t{Q7A_ADD_TO_LIST}, &list, 12345u, uint64_t{0}, 0);
  ASSERT_NE(obj, nullptr);
  EXPECT_EQ(obj->clid, 100u);
  EXPECT_EQ(obj->cl, cl);
  EXPECT_EQ(obj->dispatch, cl->header.dispatch);
  EXPECT_EQ(obj->refcount, 0);
  EXPECT_STREQ(obj->name, "n");
  EXPECT_EQ(Q7IsInList(&list, reinterpret_cast<Q7Node *>(obj)), 1);
  EXPECT_TRUE(reports().empty()) << "other tags are left to the classes";
  for (int i = 48; i < 64; ++i) EXPECT_EQ(reinterpret_cast<char *>(obj)[i], 0);
  EXPECT_EQ(Q7ObjectDelete(obj), 1u);
}

TEST_F(Objects, NamesAreCopies) {
  char name[] = "abc";
  Q7Object *obj = Q7ObjectCreate(0, uint32_t{Q7A_NAME}, name, 0);
  EXPECT_NE(obj->name, name);
  name[0] = 'x';
  EXPECT_STREQ(obj->name, "abc");
  Q7ObjectDelete(obj);
  obj = Q7ObjectCreate(0, uint32_t{Q7A_NAME}, nullptr, 0);
  EXPECT_EQ(obj->name, nullptr);
  Q7ObjectDelete(obj);
}

TEST_F(Objects, CreatingAndDeletingLeavesTheCountersUnchanged) {
  Q7Class *b = make_class(0, 100);
  Q7Class *c = make_class(100, 101);
  Q7Object *obj = Q7ObjectCreate(101, 0);
  EXPECT_EQ(c->ninstances, 1u);
  EXPECT_EQ(c->nsubinstances, 1u);
  EXPECT_EQ(b->ninstances, 0u);
  EXPECT_EQ(b->nsubinstances, 1u);
  EXPECT_EQ(Q7ClassFind(0)->nsubinstances, 1u);
  Q7ObjectDelete(obj);
  EXPECT_EQ(c->ninstances, 0u);
  EXPECT_EQ(Q7ClassFind(0)->nsubinstances, 0u);
}

struct Pool {
  std::vector<std::pair<void *, uint64_t>> blocks;
  std::vector<uint32_t> flags;
  int fail_at = 0;
  static void *allocate(void *context, uint64_t size, uint32_t flags) {
    auto &pool = *static_cast<Pool *>(context);
    if (pool.fail_at && --pool.fail_at == 0) return nullptr;
    void *block = Q7AllocMem(size, flags);
    pool.blocks.emplace_back(block, size);
    pool.flags.push_back(flags);
    return block;
  }
  static void release(void *context, void *block, uint64_t size) {
    auto &pool = *static_cast<Pool *>(context);
    const auto it = std::find(pool.blocks.begin(), pool.blocks.end(), std::make_pair(block, size));
    ASSERT_NE(it, pool.blocks.end()) << "a block of that size";
    pool.blocks.erase(it);
    Q7FreeMem(block, size);
  }
};

TEST_F(Objects, AnAllocatorsObjectIsNotCountedAtCreationAndLowersTheCounterAtDisposal) {
  Q7Class *cl = make_class(0, 100, nullptr, 8);
  Pool pool;
  Q7AltMem allocator = {Pool::allocate, Pool::release, &pool};
  Q7Object *obj = Q7AltObjectCreate(100, &allocator, uint32_t{Q7A_NAME}, "name", 0);
  ASSERT_NE(obj, nullptr);
  ASSERT_EQ(pool.blocks.size(), 2u);
  EXPECT_EQ(pool.blocks[0], (std::pair<void *, uint64_t>{obj, 56}));
  EXPECT_EQ(pool.blocks[1].second, 5u) << "the name lies there too";
  EXPECT_EQ(pool.flags[0], uint32_t{Q7MEM_CLEAR});
  EXPECT_EQ(cl->ninstances, 0u);
  EXPECT_EQ(Q7AltObjectDelete(obj, &allocator), 1u);
  EXPECT_TRUE(pool.blocks.empty());
  EXPECT_EQ(cl->ninstances, 0xFFFFFFFFu) << "lowered by one, like any other";
  EXPECT_EQ(cl->nsubinstances, 0xFFFFFFFFu);
}

TEST_F(Objects, AnExhaustedAllocatorGivesNull) {
  Pool pool;
  Q7AltMem allocator = {Pool::allocate, Pool::release, &pool};
  for (int n = 1; n <= 2; ++n) {
    pool.fail_at = n;
    EXPECT_EQ(Q7AltObjectCreate(0, &allocator, uint32_t{Q7A_NAME}, "name", 0), nullptr);
    EXPECT_TRUE(pool.blocks.empty());
  }
}

TEST_F(Objects, AltCreateOfAnUnknownClassIsReported) {
  EXPECT_EQ(Q7AltObjectCreateA2(4000, nullptr, 0, nullptr), nullptr);
  ASSERT_EQ(reports().size(), 1u);
  EXPECT_EQ(reports()[0].text, "Class Not Installed: 4000");
  EXPECT_EQ(reports()[0].module, "q7altmem");
}

uint64_t seen_a, seen_b;
uint64_t see_new(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  if (method == Q7M_NEW) {
    seen_a = a;
    seen_b = b;
  }
  return cl->superdispatch(cl->super, obj, method, a, b, tags);
}

TEST_F(Objects, AltCreateHandsAllocatorAndB) {
  make_class(0, 100, see_new);
  Pool pool;
  Q7AltMem allocator = {Pool::allocate, Pool::release, &pool};
  Q7Object *obj = Q7AltObjectCreateA2(100, &allocator, 0x1234567812345678, nullptr);
  EXPECT_EQ(seen_a, u64(&allocator));
  EXPECT_EQ(seen_b, 0x1234567812345678u);
  Q7AltObjectDelete(obj, &allocator);
  obj = Q7AltObjectCreate(100, nullptr, 0);
  EXPECT_EQ(seen_a, 0u);
  EXPECT_EQ(seen_b, 0u);
  Q7ObjectDelete(obj);
}

TEST_F(Objects, CreateOfAnUnknownClassIsNull) { EXPECT_EQ(Q7ObjectCreate(4000, 0), nullptr); }

TEST_F(Objects, DeleteOfNullIsAllowed) { EXPECT_EQ(Q7ObjectDelete(nullptr), 0u); }

TEST_F(Objects, GetIndexedAttrOnAPlainObjectReportsTheAttributeAndReturnsItsId) {
  Q7Object *obj = Q7ObjectCreate(0, 0);
  int32_t value = 5;
  EXPECT_EQ(Q7GetIndexedAttr(obj, 41500, 2, &value), 41500u);
  EXPECT_EQ(Q7SetIndexedAttr(obj, 41501, 2, 3), 41501u);
  EXPECT_EQ(q7test::report_texts(), (std::vector<std::string>{"Undefined Method 0:41500", "Undefined Method 0:41501"}));
  EXPECT_EQ(value, 5);
  Q7ObjectDelete(obj);
}

uint64_t indexed_a, indexed_b, indexed_slot;
uint64_t see_indexed(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  if (method != Q7M_SETINDEXED && method != Q7M_GETINDEXED)
    return cl->superdispatch(cl->super, obj, method, a, b, tags);
  indexed_a = a;
  indexed_b = b;
  indexed_slot = u64(tags);
  return method;
}

TEST_F(Objects, IndexedAttributesTravelAsAttributeIndexValue) {
  make_class(0, 100, see_indexed);
  Q7Object *obj = Q7ObjectCreate(100, 0);
  EXPECT_EQ(Q7SetIndexedAttr(obj, 100500, 3, 0x123456789ABCDEF0), 28u);
  EXPECT_EQ(indexed_a, 100500u);
  EXPECT_EQ(indexed_b, 3u);
  EXPECT_EQ(indexed_slot, 0x123456789ABCDEF0u);
  int32_t out;
  EXPECT_EQ(Q7GetIndexedAttr(obj, 100500, -1, &out), 29u);
  EXPECT_EQ(static_cast<int32_t>(indexed_b), -1);
  EXPECT_EQ(indexed_slot, u64(&out));
  Q7ObjectDelete(obj);
}

uint64_t find_task(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  return method == 1001 ? u64(tags) + 1 : cl->superdispatch(cl->super, obj, method, a, b, tags);
}

TEST_F(Objects, FindTaskAsksTheTaskClass) {
  EXPECT_EQ(Q7FindTask(41), nullptr) << "no task class";
  make_class(0, 1, find_task);
  EXPECT_EQ(u64(Q7FindTask(41)), 42u);
}

TEST_F(Objects, UniqueIdsStartFromTheClockAndCountOn) {
  const auto before = static_cast<uint32_t>(std::time(nullptr));
  const uint32_t first = Q7UniqueId();
  const auto after = static_cast<uint32_t>(std::time(nullptr));
  EXPECT_TRUE(first == ((before << 14) | 1) || first == ((after << 14) | 1));
  EXPECT_EQ(Q7UniqueId(), first + 1);
  EXPECT_EQ(Q7UniqueId(), first + 2);
}

TEST_F(Objects, CopiesOfUniqueIdsAreOred) {
  EXPECT_EQ(Q7CopyUniqueId(0x400), 0xC00u);
  EXPECT_EQ(Q7CopyUniqueId(5), 0x405u);
  EXPECT_EQ(Q7CopyUniqueId(0xFFFFFFFF), 0xFFFFFFFFu);
}

TEST_F(Objects, GetNextPathWalksASeparatedList) {
  char buffer[32] = "untouched";
  const char *cursor = "  a;;b";
  EXPECT_EQ(Q7GetNextPath(buffer, &cursor), 1);
  EXPECT_STREQ(buffer, "a");
  EXPECT_EQ(Q7GetNextPath(buffer, &cursor), 1);
  EXPECT_STREQ(buffer, "");
  EXPECT_EQ(Q7GetNextPath(buffer, &cursor), 1);
  EXPECT_STREQ(buffer, "b");
  EXPECT_EQ(cursor, nullptr);
  EXPECT_EQ(Q7GetNextPath(buffer, &cursor), 0);
  EXPECT_STREQ(buffer, "b") << "untouched";
}

TEST_F(Objects, GetNextPathOfAnEmptyEndIsZero) {
  char buffer[32];
  const char *cursor = "a;  ";
  EXPECT_EQ(Q7GetNextPath(buffer, &cursor), 1);
  EXPECT_EQ(Q7GetNextPath(buffer, &cursor), 0);
  EXPECT_STREQ(buffer, "");
  EXPECT_EQ(cursor, nullptr);
}

TEST_F(Objects, StrNextTakesAnySeparatorAndEmptyPieces) {
  char buffer[32];
  const char *cursor = "x";
  EXPECT_EQ(Q7StrNext(buffer, &cursor, ','), 1);
  EXPECT_STREQ(buffer, "x");
  EXPECT_EQ(cursor, nullptr);
  EXPECT_EQ(Q7StrNext(buffer, &cursor, ','), 0);
  cursor = " a,";
  EXPECT_EQ(Q7StrNext(buffer, &cursor, ','), 1);
  EXPECT_STREQ(buffer, " a") << "blanks stay";
  EXPECT_EQ(Q7StrNext(buffer, &cursor, ','), 1);
  EXPECT_STREQ(buffer, "");
  EXPECT_EQ(Q7StrNext(buffer, &cursor, ','), 0);
}

Q7JmpBuf outer;
[[noreturn]] void jump_from_below(int32_t value) { Q7LongJmp(&outer, value); }

TEST_F(Objects, SetJmpReturnsAgainWithTheValue) {
  volatile int passes = 0;
  const int32_t value = Q7SetJmp(&outer);
  passes = passes + 1;
  if (passes == 1) {
    EXPECT_EQ(value, 0);
    jump_from_below(42);
  } else if (passes == 2) {
    EXPECT_EQ(value, 42);
    jump_from_below(-7);
  }
  EXPECT_EQ(value, -7);
  EXPECT_EQ(passes, 3);
}

TEST_F(Objects, NestedExitsKeepOneBufferALevel) {
  Q7JmpBuf inner;
  volatile int order = 0;
  if (Q7SetJmp(&outer) == 0) {
    if (Q7SetJmp(&inner) == 0) {
      Q7LongJmp(&inner, 1);
    } else {
      order = 1;
      Q7LongJmp(&outer, 2);
    }
  } else {
    EXPECT_EQ(order, 1);
    order = 2;
  }
  EXPECT_EQ(order, 2);
}

TEST_F(Objects, ExhaustionAtEveryAllocationOfACreationACopyAndASetName) {
  Q7Class *root = Q7ClassFind(0);
  for (int64_t n = 1; n <= 2; ++n) {
    q7test::AllocGate gate;
    gate.fail(n);
    EXPECT_EQ(Q7ObjectCreate(0, uint32_t{Q7A_NAME}, "name", 0), nullptr);
    EXPECT_EQ(root->ninstances, 0u);
  }
  Q7Object *obj = Q7ObjectCreate(0, uint32_t{Q7A_NAME}, "name", 0);
  for (int64_t n = 1; n <= 2; ++n) {
    q7test::AllocGate gate;
    gate.fail(n);
    EXPECT_EQ(send(obj, Q7M_COPY), 0u);
    EXPECT_EQ(root->ninstances, 1u);
  }
  q7test::AllocGate gate;
  gate.fail(1);
  Q7Set(obj, uint32_t{Q7A_NAME}, "other", 0);
  gate.pass();
  EXPECT_STREQ(obj->name, "name") << "the old name stays";
  Q7ObjectDelete(obj);
}

}  // namespace
