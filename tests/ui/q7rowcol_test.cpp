// Tests of the row-column: which row a slave goes to, rebuilding, names and failures.
#include "tests/ui/ui_test.h"

using namespace uitest;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class RowCol : public UiTest {
 protected:
  static uint64_t add(Q7Object *r, Q7Object *slave, Items options = {}) {
    std::vector<Q7TagItem> list(options);
    list.insert(list.begin(), {24500, num(slave)});
    list.push_back({0, 0});
    return message(r, 24000, 0, 0, num(list.data()));
  }
  std::vector<Q7Object *> fill(Q7Object *r, int count, int32_t width = 40, int32_t height = 10) {
    std::vector<Q7Object *> slaves;
    for (int i = 0; i < count; ++i) {
      slaves.push_back(sized(width, height));
      EXPECT_NE(add(r, slaves.back()), 0u);
    }
    return slaves;
  }
  // The name of the row that holds a slave.
  static std::string row(Q7Object *slave) {
    Q7Object *manager = object_of(slave, 41543);
    const char *name = manager ? get<const char *>(manager, 513) : nullptr;
    return name ? name : "";
  }
  static std::vector<std::string> rows(const std::vector<Q7Object *> &slaves) {
    std::vector<std::string> names;
    for (Q7Object *s : slaves) names.push_back(row(s));
    return names;
  }
};

TEST_F(RowCol, ByCount) {
  Q7Object *r = make(23, {{23500, 3}});
  const auto s = fill(r, 7);
  EXPECT_THAT(rows(s), ElementsAre("row0", "row0", "row0", "row1", "row1", "row1", "row2"));
  EXPECT_EQ(get(r, 23500), 3);
  EXPECT_EQ(get(r, 22500), 0);
  Q7ObjectDelete(r);
  EXPECT_EQ(instances(41), 0u);
}

TEST_F(RowCol, BySize) {
  Q7Object *r = make(23, {{22500, 1}, {41507, 100}});
  const auto s = fill(r, 5);
  EXPECT_THAT(rows(s), ElementsAre("row0", "row0", "row1", "row1", "row2"));
  Q7ObjectDelete(r);
}

TEST_F(RowCol, BySizeDownwardsUsesHeights) {
  Q7Object *r = make(23, {{41508, 25}, {41507, 1}});
  EXPECT_THAT(rows(fill(r, 3)), ElementsAre("row0", "row0", "row1"));
  Q7ObjectDelete(r);
}

TEST_F(RowCol, TheFirstSlaveStartsARowEvenWhenItIsTooLarge) {
  Q7Object *r = make(23, {{22500, 1}, {41507, 30}});
  EXPECT_THAT(rows(fill(r, 2)), ElementsAre("row0", "row1"));
  Q7ObjectDelete(r);
}

TEST_F(RowCol, NegativeCountMeansOneRow) {
  Q7Object *r = make(23, {{23500, num(-1)}});
  EXPECT_THAT(rows(fill(r, 3)), ElementsAre("row0", "row0", "row0"));
  Q7ObjectDelete(r);
}

TEST_F(RowCol, RowsAcrossLieBelowEachOther) {
  Q7Object *r = make(23, {{22500, 1}, {23500, 2}});
  const auto s = fill(r, 3);
  EXPECT_EQ(get(r, 41505), 80);
  EXPECT_EQ(get(r, 41506), 20);
  set_rect(r, {5, 6, 80, 20});
  message(r, 41000);
  EXPECT_EQ(rect(s[1]), (Rect{45, 6, 40, 10}));
  EXPECT_EQ(rect(s[2]), (Rect{5, 16, 40, 10}));
  Q7ObjectDelete(r);
}

TEST_F(RowCol, RowsDownwardsLieSideBySide) {
  Q7Object *r = make(23, {{23500, 2}});
  const auto s = fill(r, 3);
  EXPECT_EQ(get(r, 41505), 80);
  EXPECT_EQ(get(r, 41506), 20);
  set_rect(r, {0, 0, 80, 20});
  message(r, 41000);
  EXPECT_EQ(rect(s[1]), (Rect{0, 10, 40, 10}));
  EXPECT_EQ(rect(s[2]), (Rect{40, 0, 40, 10}));
  Q7ObjectDelete(r);
}

TEST_F(RowCol, ChangingTheOrientationRebuildsAndKeepsCounting) {
  Q7Object *r = make(23, {{23500, 2}});
  const auto s = fill(r, 3);
  set(r, {{22500, 0}});
  EXPECT_THAT(rows(s), ElementsAre("row0", "row0", "row1"));
  set(r, {{22500, 1}});
  EXPECT_THAT(rows(s), ElementsAre("row2", "row2", "row3"));
  EXPECT_EQ(get(r, 22500), 1);
  EXPECT_EQ(get(object_of(s[0], 41543), 22500), 1);
  set_rect(r, {0, 0, 80, 20});
  get(r, 41505);
  message(r, 41000);
  EXPECT_EQ(rect(s[1]).x, 40);
  EXPECT_EQ(rect(s[2]).y, 10);
  set(r, {{41546, 0}});
  EXPECT_EQ(get(r, 22500), 0);
  EXPECT_EQ(get(s[0], Q7A_REFCOUNT), 1);
  Q7ObjectDelete(r);
  EXPECT_EQ(instances(41), 0u);
}

TEST_F(RowCol, LimitsRebuildOnlyWhenRowsAreFilledBySize) {
  Q7Object *r = make(23, {{22500, 1}, {41507, 100}});
  const auto s = fill(r, 3);
  set(r, {{41507, 100}});
  EXPECT_EQ(row(s[0]), "row0");
  set(r, {{41507, 40}});
  EXPECT_THAT(rows(s), ElementsAre("row2", "row3", "row4"));
  set(r, {{23500, 3}});
  EXPECT_THAT(rows(s), ElementsAre("row5", "row5", "row5"));
  set(r, {{41507, 10}});
  EXPECT_EQ(row(s[0]), "row5");
  Q7ObjectDelete(r);
}

TEST_F(RowCol, OptionsSurviveARebuild) {
  Q7Object *r = make(23, {{23500, 2}});
  Q7Object *s = sized(5, 5);
  add(r, s, {{22501, 3}, {22502, 4}, {22503, 5}, {22504, 6}, {22505, 7}, {22506, 8}});
  message(r, 23000);
  EXPECT_EQ(row(s), "row1");
  int32_t v[6] = {};
  EXPECT_NE(list_message(r, 24007,
                         {{24500, num(s)},
                          {22501, num(&v[0])},
                          {22502, num(&v[1])},
                          {22503, num(&v[2])},
                          {22504, num(&v[3])},
                          {22505, num(&v[4])},
                          {22506, num(&v[5])}}),
            0u);
  EXPECT_THAT(v, ElementsAre(3, 4, 5, 6, 7, 8));
  Q7ObjectDelete(r);
}

TEST_F(RowCol, RowsArePackedToFillFromTheirEdge) {
  for (int32_t orientation : {0, 1}) {
    Q7Object *r = make(23, {{22500, num(orientation)}, {23500, 2}});
    const auto s = fill(r, 1);
    int32_t flags = 0, anchor = 0;
    list_message(r, 24007, {{24500, num(object_of(s[0], 41543))}, {22501, num(&flags)}, {22502, num(&anchor)}});
    EXPECT_EQ(flags, 6);
    EXPECT_EQ(anchor, orientation ? 1 : 7);
    Q7ObjectDelete(r);
  }
}

TEST_F(RowCol, RemovingASlaveDoesNotRefillTheRow) {
  Q7Object *r = make(23, {{23500, 2}});
  const auto s = fill(r, 2);
  EXPECT_NE(list_message(r, 24001, {{24500, num(s[0])}}), 0u);
  Q7Object *next = sized(1, 1);
  add(r, next);
  EXPECT_EQ(row(next), "row1");
  Q7ObjectDelete(r);
  EXPECT_EQ(instances(41), 0u);
}

TEST_F(RowCol, ARemovedOrDeletedRowIsNotFilled) {
  Q7Object *r = make(23, {{23500, num(-1)}});
  auto s = fill(r, 1);
  Q7Object *first = object_of(s[0], 41543);
  message(first, 9);
  EXPECT_NE(list_message(r, 24001, {{24500, num(first)}}), 0u);
  s = fill(r, 1);
  EXPECT_EQ(row(s[0]), "row1");
  Q7ObjectDelete(object_of(s[0], 41543));
  s = fill(r, 1);
  EXPECT_EQ(row(s[0]), "row2");
  message(first, 10);
  Q7ObjectDelete(r);
  EXPECT_EQ(instances(41), 0u);
}

TEST_F(RowCol, RowsThatCannotBeMadeAreReported) {
  Q7Object *r = make(23, {{23500, 1}});
  Q7Object *s = sized(1, 1);
  for (int n = 1; n <= 4; ++n) {
    clear_reports();
    q7test::Capture quiet(1);
    q7test::AllocGate gate;
    gate.fail(n);
    EXPECT_EQ(add(r, s), 0u) << n;
    gate.pass();
    EXPECT_EQ(get(s, Q7A_REFCOUNT), 0) << n;
    if (n <= 2) {
      EXPECT_THAT(reports(), Contains("q7rowcol: Cannot create new packer"));
    }
    set(r, {{23500, num(n + 1)}});
  }
  Q7ObjectDelete(s);
  Q7ObjectDelete(r);
  EXPECT_EQ(instances(41), 0u);
}

TEST_F(RowCol, ARebuildThatRunsOutOfMemoryLeavesSlavesOut) {
  for (int n = 1; n <= 12; ++n) {
    Q7Object *r = make(23, {{23500, 2}});
    const auto s = fill(r, 3);
    for (Q7Object *o : s) message(o, 9);
    {
      q7test::Capture quiet(1);
      q7test::AllocGate gate;
      gate.fail(n);
      message(r, 23000);
    }
    get(r, 41505);
    Q7ObjectDelete(r);
    for (Q7Object *o : s) {
      EXPECT_EQ(get(o, Q7A_REFCOUNT), 1) << n;
      message(o, 10);
    }
    EXPECT_EQ(instances(41), 0u) << n;
  }
}

TEST_F(RowCol, NullSlavesAndItself) {
  Q7Object *r = make(23, {{23500, num(-1)}});
  EXPECT_EQ(add(r, r), 0u);
  EXPECT_NE(add(r, nullptr), 0u);
  const auto s = fill(r, 2);
  message(r, 23000);
  EXPECT_THAT(rows(s), ElementsAre("row1", "row1"));
  Q7ObjectDelete(r);
  EXPECT_EQ(instances(41), 0u);
}

TEST_F(RowCol, GetAnswersTheLastUnknownItem) {
  Q7Object *r = make(23);
  int32_t v[20];
  std::vector<Q7TagItem> list;
  for (int i = 0; i < 20; ++i) list.push_back({i == 14 ? 999u : 41505u, num(&v[i])});
  list.push_back({0, 0});
  EXPECT_EQ(message(r, 5, 0, 0, num(list.data())), num(&list[14]));
  Q7ObjectDelete(r);
}

TEST_F(RowCol, DeepNestingStaysLinear) {
  Q7Object *outer = make(23, {{23500, 1}});
  Q7Object *r = outer;
  for (int i = 0; i < 30; ++i) {
    Q7Object *inner = make(23, {{23500, 1}});
    add(r, inner);
    r = inner;
  }
  add(r, sized(8, 9));
  EXPECT_EQ(get(outer, 41505), 8);
  EXPECT_EQ(get(outer, 41506), 9);
  Q7ObjectDelete(outer);
  EXPECT_EQ(instances(41), 0u);
}

}  // namespace
