// Tests of core/q7watch: notices of disposal.
#include "core/q7watch.h"

#include <atomic>
#include <thread>
#include <vector>

#include "core/q7objects.h"
#include "tests/core/core_test.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::vector<uint64_t> seen;
Q7Object *seen_object;
void note(Q7Object *object, uint64_t data) {
  seen.push_back(data);
  seen_object = object;
}

class Watch : public q7test::Core {
 protected:
  Watch() {
    seen.clear();
    seen_object = nullptr;
  }
  static Q7Object *make() { return Q7ObjectCreate(Q7C_ROOT, uint32_t{Q7A_NAME}, "watched", 0); }
};

TEST_F(Watch, GivesOneNoticeOfADisposal) {
  Q7Object *object = make();
  EXPECT_EQ(Q7ObjectWatch(object, note, 7), 1);
  Q7Object *other = make();
  Q7ObjectDelete(other);
  EXPECT_THAT(seen, IsEmpty());
  Q7ObjectDelete(object);
  EXPECT_THAT(seen, ElementsAre(7));
  EXPECT_EQ(seen_object, object);
}

TEST_F(Watch, TheLastReleaseIsNoticedToo) {
  Q7Object *object = make();
  q7test::send(object, Q7M_ADDREF);
  Q7ObjectWatch(object, note, 1);
  q7test::send(object, Q7M_RELEASE);
  EXPECT_THAT(seen, ElementsAre(1));
}

TEST_F(Watch, KeepsNoReference) {
  Q7Object *object = make();
  Q7ObjectWatch(object, note, 1);
  EXPECT_EQ(object->refcount, 0);
  Q7ObjectDelete(object);
}

TEST_F(Watch, NoticesComeInTheOrderOfWatching) {
  Q7Object *object = make();
  for (uint64_t i = 0; i < 5; ++i) Q7ObjectWatch(object, note, i);
  Q7ObjectWatch(object, note, 2);
  Q7ObjectDelete(object);
  EXPECT_THAT(seen, ElementsAre(0, 1, 2, 3, 4, 2));
}

TEST_F(Watch, OneWatchIsTakenBackAtATime) {
  Q7Object *object = make();
  Q7ObjectWatch(object, note, 1);
  Q7ObjectWatch(object, note, 1);
  Q7ObjectWatch(object, note, 2);
  EXPECT_EQ(Q7ObjectUnwatch(object, note, 1), 1);
  EXPECT_EQ(Q7ObjectUnwatch(object, note, 3), 0);
  Q7ObjectDelete(object);
  EXPECT_THAT(seen, ElementsAre(1, 2));
  EXPECT_EQ(Q7ObjectUnwatch(object, note, 2), 0) << "given already";
}

TEST_F(Watch, NullsAreRefused) {
  Q7Object *object = make();
  EXPECT_EQ(Q7ObjectWatch(nullptr, note, 0), 0);
  EXPECT_EQ(Q7ObjectWatch(object, nullptr, 0), 0);
  EXPECT_EQ(Q7ObjectUnwatch(nullptr, note, 0), 0);
  EXPECT_EQ(Q7ObjectUnwatch(object, nullptr, 0), 0);
  Q7ObjectDelete(object);
}

TEST_F(Watch, TheNameIsStillThere) {
  static std::string name;
  Q7Object *object = make();
  Q7ObjectWatch(
      object, [](Q7Object *going, uint64_t) { name = going->name; }, 0);
  Q7ObjectDelete(object);
  EXPECT_EQ(name, "watched");
}

TEST_F(Watch, ANoticeMayWatchAndUnwatch) {
  static Q7Object *other;
  other = make();
  Q7Object *object = make();
  Q7ObjectWatch(
      object,
      [](Q7Object *going, uint64_t data) {
        note(going, data);
        Q7ObjectWatch(other, note, 30);
        EXPECT_EQ(Q7ObjectUnwatch(going, note, 20), 1) << "that notice does not come any more";
      },
      10);
  Q7ObjectWatch(object, note, 20);
  Q7ObjectDelete(object);
  EXPECT_THAT(seen, ElementsAre(10));
  Q7ObjectDelete(other);
  EXPECT_THAT(seen, ElementsAre(10, 30));
}

void unwatch_itself(Q7Object *object, uint64_t data) {
  note(object, data);
  EXPECT_EQ(Q7ObjectUnwatch(object, unwatch_itself, data), 0) << "it does not wait for itself";
}

TEST_F(Watch, ANoticeCannotTakeItselfBack) {
  Q7Object *object = make();
  Q7ObjectWatch(object, unwatch_itself, 1);
  Q7ObjectDelete(object);
  EXPECT_THAT(seen, ElementsAre(1));
}

TEST_F(Watch, ManyObjectsAreWatched) {
  std::vector<Q7Object *> objects(5000);
  for (size_t i = 0; i < objects.size(); ++i) {
    objects[i] = make();
    ASSERT_EQ(Q7ObjectWatch(objects[i], note, i), 1);
  }
  for (size_t i = 0; i < objects.size(); i += 2) EXPECT_EQ(Q7ObjectUnwatch(objects[i], note, i), 1);
  for (Q7Object *object : objects) Q7ObjectDelete(object);
  ASSERT_EQ(seen.size(), objects.size() / 2);
  for (size_t i = 0; i < seen.size(); ++i) EXPECT_EQ(seen[i], 2 * i + 1);
}

TEST_F(Watch, WithoutMemoryThereIsNoWatch) {
  Q7Object *object = make();
  Q7SetAllocGate([](uint64_t, void *) -> int32_t { return 0; }, nullptr);
  EXPECT_EQ(Q7ObjectWatch(object, note, 1), 0);
  Q7SetAllocGate(nullptr, nullptr);
  Q7ObjectDelete(object);
  EXPECT_THAT(seen, IsEmpty());
}

TEST_F(Watch, WithoutMemoryForABiggerTableItStillWorks) {
  std::vector<Q7Object *> objects(300);
  for (Q7Object *&object : objects) object = make();
  // A watch takes a small block; the table a big one.
  Q7SetAllocGate([](uint64_t size, void *) -> int32_t { return size < 200; }, nullptr);
  for (size_t i = 0; i < objects.size(); ++i) ASSERT_EQ(Q7ObjectWatch(objects[i], note, i), 1);
  Q7SetAllocGate(nullptr, nullptr);
  for (Q7Object *object : objects) Q7ObjectDelete(object);
  EXPECT_EQ(seen.size(), objects.size());
}

}  // namespace
