// Tests of the placer: placement forms, layout beside splitters, natural size, dragging and the oddities kept on
// purpose.
#include "tests/ui/ui_test.h"

using namespace uitest;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

// The fields of a placer that clients see (25518).
struct Seen {
  Q7List slaves;
  int32_t hidden, natural_width, natural_height, keep_size, kept_width, kept_height, x, y, width, height;
  Q7Object *frame;
  int32_t left, top, right, bottom, splitters_shown, laid_out;
};

constexpr double kUnused = -1.0;

class PlacerTest : public UiTest {
 protected:
  void SetUp() override {
    UiTest::SetUp();
    p = make(25);
  }
  void TearDown() override {
    if (p) Q7ObjectDelete(p);
    p = nullptr;
    UiTest::TearDown();
  }
  uint64_t place(Q7Object *slave, Items options = {}) {
    std::vector<Q7TagItem> list(options);
    list.insert(list.begin(), {24500, num(slave)});
    list.push_back({0, 0});
    return message(p, 24000, 0, 0, num(list.data()));
  }
  std::pair<int, int> size() { return {get(p, 41505), get(p, 41506)}; }
  void lay_out(Rect r) {
    set_rect(p, r);
    EXPECT_EQ(message(p, 41000), num(p));
  }
  const Seen &seen() { return *get<Seen *>(p, 25518); }
  double relative(Q7Object *slave, uint32_t tag) {
    double v = -99;
    list_message(p, 24007, {{24500, num(slave)}, {tag, num(&v)}});
    return v;
  }
  int32_t absolute(Q7Object *slave, uint32_t tag) {
    int32_t v = -99;
    list_message(p, 24007, {{24500, num(slave)}, {tag, num(&v)}});
    return v;
  }
  // Two slaves of half the width each with a splitter between.
  void split_horizontally(int32_t min_a, int32_t min_b) {
    a = sized(min_a, 10);
    b = sized(min_b, 10);
    s = make(kProbeWidget);
    place(a, {{25506, 50}, {25507, 100}});
    place(b, {{25504, 50}, {25506, 50}, {25507, 100}});
    place(s, {{25512, 1}, {25513, num(a)}, {25514, num(b)}});
  }
  uint64_t drag(int32_t distance) {
    probe(s).attributes[284501] = distance;
    return message(p, 25001, 284501, num(s), 0);
  }

  Q7Object *p = nullptr, *a = nullptr, *b = nullptr, *s = nullptr;
};

TEST_F(PlacerTest, FractionsRoundHalvesUp) {
  a = sized(1, 1);
  place(a, {{25504, 50}, {25506, 50}, {25505, 0}, {25507, 100}});
  lay_out({7, 3, 101, 20});
  EXPECT_EQ(rect(a), (Rect{7 + 51, 3, 51, 20}));
}

TEST_F(PlacerTest, PointerFormWinsOverPercent) {
  const double half = 0.5, tenth = 0.1;
  a = sized(1, 1);
  place(a, {{25504, 10}, {25508, num(&half)}, {25505, num(-5)}, {25509, num(&tenth)}, {25506, num(-1)}, {25510, 0}});
  EXPECT_EQ(relative(a, 25508), 0.5);
  EXPECT_EQ(relative(a, 25509), 0.1);
  EXPECT_EQ(relative(a, 25510), 0.0);
  EXPECT_EQ(absolute(a, 25504), 50);
  EXPECT_EQ(absolute(a, 25505), 10);
}

TEST_F(PlacerTest, AbsoluteValuesAloneLieAtTheCornerWithoutSize) {
  a = sized(30, 20);
  place(a, {{25500, 5}, {25501, 6}, {25502, 40}, {25503, 50}});
  lay_out({10, 20, 200, 100});
  EXPECT_EQ(rect(a), (Rect{10, 20, 0, 0}));
}

TEST_F(PlacerTest, NegativeFractionsLetAbsoluteValuesCount) {
  a = sized(30, 20);
  place(a, {{25500, 5},
            {25501, 6},
            {25502, 40},
            {25503, 50},
            {25508, num(&kUnused)},
            {25509, num(&kUnused)},
            {25510, num(&kUnused)},
            {25511, num(&kUnused)}});
  lay_out({10, 20, 200, 100});
  EXPECT_EQ(rect(a), (Rect{15, 26, 40, 50}));
  EXPECT_EQ(absolute(a, 25504), -1);
  EXPECT_EQ(size(), std::pair(45, 56));
}

TEST_F(PlacerTest, TwoSlavesAndASplitter) {
  split_horizontally(10, 10);
  lay_out({0, 0, 200, 50});
  EXPECT_EQ(rect(a), (Rect{0, 0, 97, 50}));
  EXPECT_EQ(rect(s), (Rect{97, 0, 6, 50}));
  EXPECT_EQ(rect(b), (Rect{103, 0, 97, 50}));
}

TEST_F(PlacerTest, SplitterSizeIsProcessWideAndHalvedAsAnInteger) {
  split_horizontally(10, 10);
  set_class(25, {{25519, 5}});
  lay_out({0, 0, 200, 50});
  EXPECT_EQ(rect(a), (Rect{0, 0, 98, 50}));
  EXPECT_EQ(rect(s), (Rect{98, 0, 5, 50}));
  EXPECT_EQ(rect(b), (Rect{102, 0, 98, 50}));
  int32_t v = 0;
  Q7GetClassAttrs(25, 25519, num(&v), 0);
  EXPECT_EQ(v, 5);
  EXPECT_STREQ(Q7ClassFind(25)->pubattrs->name, "Splitter Size");
}

TEST_F(PlacerTest, VerticalSplitter) {
  a = sized(10, 10);
  b = sized(10, 10);
  s = make(kProbeWidget);
  place(a, {{25506, 100}, {25507, 50}});
  place(b, {{25505, 50}, {25506, 100}, {25507, 50}});
  place(s, {{25512, 1}, {25515, num(a)}, {25516, num(b)}});
  lay_out({0, 0, 50, 200});
  EXPECT_EQ(rect(a), (Rect{0, 0, 50, 97}));
  EXPECT_EQ(rect(s), (Rect{0, 97, 50, 6}));
  EXPECT_EQ(rect(b), (Rect{0, 103, 50, 97}));
}

TEST_F(PlacerTest, SplittersAreNotRelativeToTheFrame) {
  Q7Object *f = make(kProbeWidget);
  probe(f).attributes = {{41522, 3}, {41523, 4}, {41524, 5}, {41525, 6}, {41509, 1}, {41510, 2}};
  set(p, {{24501, num(f)}});
  split_horizontally(10, 10);
  lay_out({100, 200, 208, 60});  // inner: 103, 204, 200 x 50
  EXPECT_EQ(rect(f), (Rect{100, 200, 208, 60}));
  EXPECT_EQ(rect(a), (Rect{103 - 100 - 1, 204 - 200 - 2, 97, 50}));
  EXPECT_EQ(rect(s), (Rect{200, 204, 6, 50}));
  EXPECT_EQ(seen().left, 3);
  EXPECT_EQ(seen().top, 4);
  EXPECT_EQ(seen().right, 5);
  EXPECT_EQ(seen().bottom, 6);
  set(f, {{41505, 500}, {41506, 500}});
  EXPECT_EQ(size().first, 500);
  EXPECT_LT(size().second, 100);  // width only
  set(p, {{24501, 0}});
}

TEST_F(PlacerTest, SlavesReceiveOneSetAndALayout) {
  a = sized(1, 1);
  place(a, {{25506, 100}, {25507, 100}});
  probe(a).log.clear();
  lay_out({1, 2, 30, 40});
  EXPECT_THAT(probe(a).log, ElementsAre("set 41501=1 41502=2 41503=30 41504=40", "41000"));
  EXPECT_EQ(seen().laid_out, 1);
  probe(a).log.clear();
  lay_out({1, 2, 0, 40});
  set(p, {{24502, 1}});
  probe(a).log.clear();
  lay_out({1, 2, 30, 40});
  EXPECT_THAT(probe(a).log, IsEmpty());
}

TEST_F(PlacerTest, NaturalSizeFromMinimums) {
  // The absolute place that was not given counts as -1.
  place(sized(40, 20));
  EXPECT_EQ(size(), std::pair(39, 19));
  place(sized(30, 5), {{25506, 25}});
  EXPECT_EQ(size(), std::pair(120, 19));
  place(sized(30, 10), {{25505, 75}});
  EXPECT_EQ(size(), std::pair(120, 40));
  place(sized(1, 1), {{25504, 100}});  // 100 % has no room behind it and is not asked
  EXPECT_EQ(size(), std::pair(120, 40));
}

TEST_F(PlacerTest, ASplitterBetweenTwoSlavesAddsItsSize) {
  split_horizontally(60, 60);
  EXPECT_EQ(size().first, 120 + 6);
}

TEST_F(PlacerTest, HiddenPlacersHaveNoSize) {
  place(sized(40, 20));
  set(p, {{24502, 1}});
  EXPECT_EQ(size(), std::pair(0, 0));
}

TEST_F(PlacerTest, KeepSize) {
  a = sized(100, 50);
  place(a, {{25506, 100}, {25507, 100}});
  EXPECT_EQ(size(), std::pair(100, 50));
  EXPECT_EQ(seen().kept_width, 100);
  set(p, {{24503, 1}});
  set(a, {{41505, 80}, {41506, 60}});
  EXPECT_EQ(size(), std::pair(100, 60));
  EXPECT_EQ(seen().kept_height, 60);
  set(p, {{24503, 0}});
  EXPECT_EQ(size(), std::pair(80, 60));
  EXPECT_EQ(seen().kept_width, 100);  // without keep size the kept size is only set while it is 0
}

TEST_F(PlacerTest, BesideASplitterFractionsGiveWayBeforeThePlacerGrows) {
  split_horizontally(40, 40);
  lay_out({0, 0, 200, 50});
  size();
  set(a, {{41505, 120}});
  // need = 120 / 0.5 = 240 > 200. d = 3 / 200 + 120 / 200 - 0.5 = 0.115; a: 0.615 * 200 = 123 > 120, b: 0.385 * 200 =
  // 77 > 40. need = int(120 / 0.615) = 195; b: rel x 0.615: 40 / 0.385 = 103.8; a splitter on top: 201.
  EXPECT_EQ(size().first, 195 + 6);
  EXPECT_DOUBLE_EQ(relative(a, 25510), 0.615);
  EXPECT_DOUBLE_EQ(relative(b, 25508), 0.615);
  EXPECT_DOUBLE_EQ(relative(b, 25510), 0.385);
}

TEST_F(PlacerTest, WithoutRoomForBothTheMinimumsShare) {
  split_horizontally(40, 40);
  lay_out({0, 0, 200, 50});
  size();
  set(a, {{41505, 150}});
  set(b, {{41505, 94}});
  size();
  // a grows to 150 / (150 + 40 + 6): b's minimum is still the one of the last computation.
  const double first = 150.0 / (150 + 40 + 6);
  // Then b in its turn needs 94 / (1 - first) > 200, and shares from the left: 94 / (94 + 150 + 6).
  const double second = 94.0 / (94 + 150 + 6);
  EXPECT_LT(1 - first, second);
  EXPECT_DOUBLE_EQ(relative(b, 25510), second);
  EXPECT_DOUBLE_EQ(relative(a, 25510), first - (second - (1 - first)));
  EXPECT_DOUBLE_EQ(relative(b, 25508), first - (second - (1 - first)));
}

TEST_F(PlacerTest, AboveAnUnsizedNeighbourIsNotAskedForItsMinimum) {
  // b lies below and stands first in the list, a above it comes later.
  a = sized(10, 150);
  b = sized(10, 40);
  s = make(kProbeWidget);
  place(b, {{25505, 50}, {25507, 50}});
  place(a, {{25507, 50}});
  place(s, {{25512, 1}, {25515, num(a)}, {25516, num(b)}});
  set_rect(p, {0, 0, 50, 200});
  message(p, 41000);
  size();
  message(p, 24001, 0, 0, 0);
  set(b, {{41506, 120}});
  // b needs 240 > 200; a above has a known minimum of 150 and would not fit: (0.5 - 0.115) * 200 = 77 < 150. But a has
  // not been sized in this computation, so b takes d = 3 / 200 + 120 / 200 - 0.5 all the same.
  const double d = 3 / 200.0 + 120 / 200.0 - 0.5;
  set(a, {{41506, 1}});
  size();
  EXPECT_DOUBLE_EQ(relative(b, 25511), 0.5 + d);
  EXPECT_DOUBLE_EQ(relative(b, 25509), 0.5 - d);
  EXPECT_DOUBLE_EQ(relative(a, 25511), 0.5 - d);
}

TEST_F(PlacerTest, DraggingMovesTheBoundary) {
  split_horizontally(10, 10);
  set_rect(p, {0, 0, 200, 50});
  size();
  message(p, 41000);
  EXPECT_EQ(drag(20), 20u);
  EXPECT_DOUBLE_EQ(relative(a, 25510), 0.6);
  EXPECT_DOUBLE_EQ(relative(b, 25508), 0.6);
  EXPECT_DOUBLE_EQ(relative(b, 25510), 0.4);
  EXPECT_EQ(rect(s).x, 117);  // laid out again
}

TEST_F(PlacerTest, DraggingStopsAtTheMinimumOfEitherSide) {
  split_horizontally(60, 50);
  set_rect(p, {0, 0, 200, 50});
  size();
  message(p, 41000);
  // a: pixels 100: d + 100 - 3 <= 60: d = 60 - 100 + 3 = -37.
  EXPECT_EQ(static_cast<int64_t>(drag(-90)), -37);
  EXPECT_EQ(rect(a).width, 60);
  // b is 137 now: 137 - d - 3 <= 50: d = 137 - 3 - 50 = 84.
  EXPECT_EQ(drag(500), 84u);
  EXPECT_EQ(rect(b).width, 50);
}

TEST_F(PlacerTest, DraggingAbsoluteWidths) {
  a = sized(20, 10);
  b = sized(30, 10);
  s = make(kProbeWidget);
  place(a, {{25500, 0}, {25502, 100}, {25508, num(&kUnused)}, {25510, num(&kUnused)}});
  place(b, {{25500, 100}, {25502, 100}, {25508, num(&kUnused)}, {25510, num(&kUnused)}});
  place(s, {{25512, 1}, {25513, num(a)}, {25514, num(b)}});
  set_rect(p, {0, 0, 200, 50});
  size();
  EXPECT_EQ(drag(15), 15u);
  EXPECT_EQ(absolute(a, 25502), 115);
  EXPECT_EQ(absolute(b, 25500), 115);
  EXPECT_EQ(absolute(b, 25502), 85);
  EXPECT_EQ(drag(80), 55u);
  EXPECT_EQ(absolute(b, 25502), 30);
  EXPECT_EQ(static_cast<int64_t>(drag(-400)), -150);
  EXPECT_EQ(absolute(a, 25502), 20);
}

TEST_F(PlacerTest, BelowASplitterAnAbsoluteHeightIsHeldAgainstTheUpperMinimum) {
  a = sized(10, 70);
  b = sized(10, 5);
  s = make(kProbeWidget);
  place(a, {{25507, 50}, {25503, 90}});
  place(b, {{25501, 100}, {25503, 100}, {25509, num(&kUnused)}, {25511, num(&kUnused)}});
  place(s, {{25512, 1}, {25515, num(a)}, {25516, num(b)}});
  set_rect(p, {0, 0, 50, 200});
  size();
  // b has 100 and a minimum of 5, but stops at the 70 of the slave above: d = 100 - 70.
  EXPECT_EQ(drag(60), 30u);
  EXPECT_EQ(absolute(b, 25503), 70);
  EXPECT_EQ(absolute(b, 25501), 130);
  // Both forms of the upper height grow.
  EXPECT_DOUBLE_EQ(relative(a, 25511), 0.65);
  EXPECT_EQ(absolute(a, 25503), 120);
}

TEST_F(PlacerTest, OnlyTheSplitterCodeDrags) {
  split_horizontally(10, 10);
  probe(s).attributes[284501] = 5;
  EXPECT_EQ(message(p, 25001, 284501, num(s), 0), 0u);  // no size yet
  set_rect(p, {0, 0, 200, 50});
  EXPECT_EQ(message(p, 25001, 284500, num(s), 0), 0u);
  EXPECT_EQ(message(p, 25001, 284501, num(a), 0), 0u);
  EXPECT_EQ(message(p, 25001, 284501, 0, 0), 0u);
  EXPECT_EQ(message(p, 25001, 284501, num(s), 0), 5u);
}

TEST_F(PlacerTest, ASplittersNotificationDrags) {
  split_horizontally(10, 10);
  set_rect(p, {0, 0, 200, 50});
  probe(s).attributes[284501] = 10;
  message(s, 41003, 284501, 1, 0);
  EXPECT_DOUBLE_EQ(relative(a, 25510), 0.55);
  message(s, 9);
  list_message(p, 24001, {{24500, num(s)}});
  EXPECT_THAT(probe(s).log, Contains("41002"));
  message(s, 41003, 284501, 1, 0);
  EXPECT_DOUBLE_EQ(relative(a, 25510), 0.55);
  lay_out({0, 0, 200, 50});  // the neighbours know of no splitter any more
  EXPECT_EQ(rect(a).width, 110);
  message(s, 10);
}

TEST_F(PlacerTest, SetAndReplacePlacement) {
  a = sized(5, 6);
  place(a, {{25500, 1}, {25501, 2}, {25502, 3}, {25503, 4}, {25506, 40}});
  EXPECT_EQ(list_message(p, 24006, {{24500, num(a)}, {25500, 10}, {25507, 30}}), num(p));
  EXPECT_EQ(absolute(a, 25500), 10);
  EXPECT_EQ(absolute(a, 25501), 2);
  EXPECT_EQ(absolute(a, 25506), 40);
  EXPECT_EQ(absolute(a, 25507), 30);
  size();
  EXPECT_EQ(absolute(a, 25502), 3);  // given at first
  EXPECT_EQ(list_message(p, 25000, {{24500, num(a)}, {25503, 9}}), num(p));
  EXPECT_EQ(absolute(a, 25500), -1);
  EXPECT_EQ(absolute(a, 25502), -1);
  EXPECT_EQ(absolute(a, 25503), 9);
  EXPECT_EQ(absolute(a, 25506), 40);  // relative values stay
  size();
  EXPECT_EQ(absolute(a, 25502), 5);  // no longer given: the minimum
  EXPECT_EQ(absolute(a, 25503), 9);
  EXPECT_EQ(list_message(p, 25000, {}), 0u);
  EXPECT_EQ(list_message(p, 24006, {}), 0u);
}

TEST_F(PlacerTest, SettingAPlacementLeavesTheMarksOfGivenSizes) {
  a = sized(5, 6);
  place(a);
  list_message(p, 24006, {{24500, num(a)}, {25502, 50}});
  EXPECT_EQ(absolute(a, 25502), 50);
  size();
  EXPECT_EQ(absolute(a, 25502), 5);
}

TEST_F(PlacerTest, RectangleAndShownStateArePassedOn) {
  set_rect(p, {1, 2, 3, 4});
  EXPECT_EQ(rect(p), (Rect{1, 2, 3, 4}));
  split_horizontally(1, 1);
  set(p, {{41511, 0}});
  EXPECT_EQ(get(p, 41511), 0);
  EXPECT_EQ(get(s, 41511), 0);
  set(p, {{25517, 0}, {41511, 1}});
  EXPECT_EQ(get(a, 41511), 1);
  EXPECT_EQ(get(s, 41511), 0);
  set(p, {{25517, 1}, {24502, 0}});
  EXPECT_EQ(get(s, 41511), 1);
  set(p, {{24502, 1}});
  EXPECT_EQ(get(a, 41511), 0);
  EXPECT_EQ(get(s, 41511), 0);
}

TEST_F(PlacerTest, WildFractionsStayWithinTheirRange) {
  const double nan = __builtin_nan(""), huge = 1e300, tiny = 1e-300;
  a = sized(INT32_MAX, 10);
  b = sized(5, 5);
  place(a, {{25508, num(&nan)}, {25509, num(&huge)}, {25510, num(&tiny)}, {25511, num(&huge)}});
  place(b, {{25504, 1000}, {25505, INT32_MAX}, {25506, 700}, {25507, 300}});
  lay_out({0, 0, 100, 100});
  size();
  lay_out({0, 0, 100, 100});
  EXPECT_EQ(rect(b).x, 1000);
  EXPECT_EQ(rect(b).width, 700);
}

TEST_F(PlacerTest, NullSlavesAndItselfAreHarmless) {
  EXPECT_EQ(place(nullptr, {{25512, 1}}), num(p));
  EXPECT_EQ(place(p), 0u);
  lay_out({0, 0, 10, 10});
  size();
  set(p, {{41511, 0}});
  EXPECT_EQ(list_message(p, 24001, {}), 0u);
}

TEST_F(PlacerTest, RemovedAndDeletedSlavesLeaveNoLinks) {
  split_horizontally(10, 10);
  Q7ObjectDelete(a);
  lay_out({0, 0, 200, 50});
  EXPECT_EQ(drag(10), 0u);
  list_message(p, 24001, {{24500, num(b)}});
  size();
  Q7ObjectDelete(p);
  p = nullptr;
  EXPECT_EQ(instances(41), 0u);
}

TEST_F(PlacerTest, DisposeReleasesEverything) {
  Q7Object *f = make(kProbeWidget);
  set(p, {{24501, num(f)}});
  split_horizontally(10, 10);
  for (Q7Object *o : {a, s, f}) {
    message(o, 9);
    probe(o).log.clear();
  }
  Q7ObjectDelete(p);
  p = nullptr;
  EXPECT_THAT(probe(a).log, ElementsAre("10"));
  EXPECT_THAT(probe(s).log, ElementsAre("41002", "10"));
  EXPECT_THAT(probe(f).log, ElementsAre("10"));
  EXPECT_EQ(object_of(a, 41543), nullptr);
  for (Q7Object *o : {a, s, f}) message(o, 10);
  EXPECT_EQ(instances(41), 0u);
}

TEST_F(PlacerTest, OutOfMemoryForARecord) {
  a = sized(1, 1);
  q7test::Capture quiet(1);
  q7test::AllocGate gate;
  gate.fail(1);
  EXPECT_EQ(place(a), 0u);
  gate.pass();
  EXPECT_EQ(get(a, Q7A_REFCOUNT), 0);
  Q7ObjectDelete(a);
}

}  // namespace
