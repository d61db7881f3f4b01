// Tests of the packer: records, sizes, layout, hit tests, shown state, frames and the oddities that clients rely on.
#include "tests/ui/ui_test.h"

using namespace uitest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class PackerTest : public UiTest {
 protected:
  static Q7Object *packer(int32_t orientation = 0) { return make(22, {{22500, num(orientation)}}); }
  static uint64_t pack(Q7Object *p, Q7Object *slave, Items options = {}) {
    std::vector<Q7TagItem> list(options);
    list.insert(list.begin(), {24500, num(slave)});
    list.push_back({0, 0});
    return message(p, 24000, 0, 0, num(list.data()));
  }
  static std::pair<int, int> size(Q7Object *p) { return {get(p, 41505), get(p, 41506)}; }
  static void lay_out(Q7Object *p, Rect r) {
    set_rect(p, r);
    size(p);
    EXPECT_EQ(message(p, 41000), num(p));
  }
  static Q7Object *frame(int32_t left, int32_t top, int32_t right, int32_t bottom) {
    Q7Object *f = make(kProbeWidget);
    probe(f).attributes = {{41522, left}, {41523, top}, {41524, right}, {41525, bottom}};
    return f;
  }
  // The packer's own data, as clients see it.
  static int32_t count(Q7Object *p) { return *reinterpret_cast<int32_t *>(get<char *>(p, 22507) + 28); }
};

TEST_F(PackerTest, SizeOfTwoSlavesInBothDirections) {
  Q7Object *p = packer(0);
  pack(p, sized(40, 20));
  pack(p, sized(60, 10));
  EXPECT_EQ(size(p), std::pair(60, 30));
  set(p, {{22500, 1}});
  EXPECT_EQ(size(p), std::pair(100, 20));
  EXPECT_EQ(get(p, 22500), 1);
  set(p, {{41546, 0}});
  EXPECT_EQ(get(p, 22500), 0);
  EXPECT_EQ(size(p), std::pair(60, 30));
  Q7ObjectDelete(p);
  EXPECT_EQ(instances(41), 0u);
  EXPECT_THAT(reports(), IsEmpty());
}

TEST_F(PackerTest, PaddingCountsOnBothSides) {
  Q7Object *p = packer(1);
  pack(p, sized(40, 10), {{22503, 3}, {22505, 2}, {22504, 5}, {22506, 1}});
  EXPECT_EQ(size(p), std::pair(40 + 4 + 6, 10 + 10 + 2));
  Q7ObjectDelete(p);
}

TEST_F(PackerTest, SpareRoomIsSharedAndTheRemainderGoesToNobody) {
  Q7Object *p = packer(1);
  std::vector<Q7Object *> s;
  for (int i = 0; i < 3; ++i) {
    s.push_back(sized(20, 10));
    pack(p, s.back(), {{22501, Q7PACK_EXPAND | Q7PACK_FILL_X}});
  }
  lay_out(p, {0, 0, 70, 10});
  EXPECT_EQ(rect(s[0]), (Rect{0, 0, 23, 10}));
  EXPECT_EQ(rect(s[1]), (Rect{23, 0, 23, 10}));
  EXPECT_EQ(rect(s[2]), (Rect{46, 0, 23, 10}));
  Q7ObjectDelete(p);
}

TEST_F(PackerTest, ANegativeShareBecomesNothing) {
  Q7Object *p = packer(0);
  Q7Object *a = sized(20, 30), *b = sized(20, 30);
  for (Q7Object *s : {a, b}) pack(p, s, {{22501, 7}});
  lay_out(p, {0, 0, 10, 20});
  EXPECT_EQ(rect(a), (Rect{0, 0, 10, 30}));
  EXPECT_EQ(rect(b), (Rect{0, 30, 10, 30}));
  Q7ObjectDelete(p);
}

TEST_F(PackerTest, OnlyStretchableSlavesExpand) {
  Q7Object *p = packer(0);
  Q7Object *a = sized(10, 10), *b = sized(10, 10);
  set(a, {{41556, 0}});
  set(b, {{41557, 0}});
  for (Q7Object *s : {a, b}) pack(p, s, {{22501, 7}});
  lay_out(p, {0, 0, 10, 50});
  EXPECT_EQ(rect(a), (Rect{0, 0, 10, 10}));
  EXPECT_EQ(rect(b), (Rect{0, 10, 10, 40}));
  Q7ObjectDelete(p);
}

TEST_F(PackerTest, ASlaveWithoutOneSizeSharesNotButGetsItsShare) {
  Q7Object *p = packer(0);
  Q7Object *a = sized(10, 0), *b = sized(10, 10), *none = sized(0, 0);
  for (Q7Object *s : {a, none, b}) pack(p, s, {{22501, 7}, {22504, 2}});
  // Natural height 2*2 + 2*2 + 10 + 2*2 = 22; spare 20, one sharer; the empty slave takes no room in the layout.
  lay_out(p, {0, 0, 10, 42});
  EXPECT_EQ(rect(a), (Rect{0, 2, 10, 20}));
  EXPECT_EQ(rect(b), (Rect{0, 26, 10, 30}));
  EXPECT_EQ(rect(none), (Rect{0, 0, 0, 0}));
  Q7ObjectDelete(p);
}

TEST_F(PackerTest, EveryAnchor) {
  // Cell 41 x 21 at 10, 20, slave 10 x 6; each halving is truncated for itself: 10 + 20 - 5 = 25, 20 + 10 - 3 = 27.
  const struct {
    int32_t anchor, x, y;
  } expected[] = {{0, 25, 27}, {1, 25, 20}, {2, 41, 20}, {3, 41, 27}, {4, 41, 35}, {5, 25, 35},
                  {6, 10, 35}, {7, 10, 27}, {8, 10, 20}, {9, 10, 20}, {10, 0, 0},  {-1, 0, 0}};
  for (const auto &e : expected) {
    Q7Object *p = packer(0);
    Q7Object *s = sized(10, 6);
    pack(p, s, {{22501, Q7PACK_EXPAND}, {22502, num(e.anchor)}});
    lay_out(p, {10, 20, 41, 21});
    EXPECT_EQ(rect(s), (Rect{e.x, e.y, 10, 6})) << e.anchor;
    Q7ObjectDelete(p);
  }
}

TEST_F(PackerTest, NegativePositionsAreRaisedToZero) {
  for (int32_t anchor = 0; anchor <= 9; ++anchor) {
    Q7Object *p = packer(0);
    Q7Object *s = sized(10, 6);
    pack(p, s, {{22502, num(anchor)}});
    lay_out(p, {-50, -60, 20, 20});
    EXPECT_EQ(rect(s).x, 0) << anchor;
    EXPECT_EQ(rect(s).y, 0) << anchor;
    Q7ObjectDelete(p);
  }
}

TEST_F(PackerTest, AlignedSlavesShareAColumn) {
  Q7Object *p = packer(0);
  Q7Object *a = sized(60, 10), *b = sized(70, 10);
  probe(a).attributes = {{41509, 30}, {41510, 4}};
  probe(b).attributes = {{41509, 50}, {41510, 6}};
  for (Q7Object *s : {a, b}) pack(p, s, {{22502, 9}});
  EXPECT_EQ(get(p, 41509), 50);
  EXPECT_EQ(get(p, 41510), 4);  // the first positive offset along the stack
  EXPECT_EQ(size(p), std::pair(50 + 30, 20));
  probe(a).log.clear();
  lay_out(p, {0, 0, 80, 20});
  EXPECT_THAT(probe(a).log, ElementsAre("set 41559=20 41560=0 41501=20 41502=0 41503=60 41504=10", "41000"));
  EXPECT_EQ(rect(b), (Rect{0, 10, 70, 10}));
  // Too narrow: the aligned slave ends with its cell.
  lay_out(p, {0, 0, 70, 20});
  EXPECT_EQ(rect(a), (Rect{20, 0, 50, 10}));
  Q7ObjectDelete(p);
}

TEST_F(PackerTest, AlignedSlavesShareARow) {
  Q7Object *p = packer(1);
  Q7Object *a = sized(10, 60), *b = sized(10, 70);
  probe(a).attributes = {{41509, -3}, {41510, 30}};
  probe(b).attributes = {{41509, 7}, {41510, 50}};
  for (Q7Object *s : {a, b}) pack(p, s, {{22502, 9}});
  EXPECT_EQ(get(p, 41509), 7);  // negative offsets do not count
  EXPECT_EQ(get(p, 41510), 50);
  EXPECT_EQ(size(p), std::pair(20, 80));
  lay_out(p, {0, 0, 20, 70});
  EXPECT_EQ(rect(a), (Rect{0, 20, 10, 50}));
  EXPECT_EQ(rect(b), (Rect{10, 0, 10, 70}));
  Q7ObjectDelete(p);
}

TEST_F(PackerTest, HiddenPackersHaveNoSizeAndNoLayout) {
  Q7Object *p = packer(0);
  Q7Object *s = sized(10, 10);
  pack(p, s);
  set(p, {{24502, 1}});
  EXPECT_EQ(get(p, 24502), 1);
  EXPECT_EQ(get(s, 41511), 0);
  EXPECT_EQ(size(p), std::pair(0, 0));
  probe(s).log.clear();
  lay_out(p, {0, 0, 50, 50});
  EXPECT_THAT(probe(s).log, IsEmpty());
  set(p, {{24502, 0}});
  EXPECT_EQ(get(s, 41511), 1);
  EXPECT_EQ(size(p), std::pair(10, 10));
  Q7ObjectDelete(p);
}

TEST_F(PackerTest, NothingIsLaidOutWithoutRoom) {
  Q7Object *p = packer(0);
  Q7Object *s = sized(10, 10);
  pack(p, s);
  probe(s).log.clear();
  lay_out(p, {0, 0, 0, 50});
  lay_out(p, {0, 0, 50, 0});
  EXPECT_THAT(probe(s).log, IsEmpty());
  Q7ObjectDelete(p);
}

TEST_F(PackerTest, KeepSizeKeepsUntilTheMaximum) {
  Q7Object *p = packer(0);
  Q7Object *s = sized(10, 300);
  pack(p, s);
  set(p, {{24503, 1}});
  EXPECT_EQ(size(p), std::pair(10, 300));
  set(s, {{41506, 200}});
  EXPECT_EQ(size(p), std::pair(10, 300));
  set(p, {{24505, 250}});
  EXPECT_EQ(size(p), std::pair(10, 200));  // the kept height is 200 now
  set(p, {{24505, 16777215}});
  EXPECT_EQ(size(p), std::pair(10, 200));
  set(s, {{41506, 300}});
  EXPECT_EQ(size(p), std::pair(10, 300));
  set(s, {{41506, 200}});
  set(p, {{22500, 0}});  // setting the orientation, changed or not, forgets what was kept
  EXPECT_EQ(size(p), std::pair(10, 200));
  Q7ObjectDelete(p);
}

TEST_F(PackerTest, FrameInsetsSurroundTheContent) {
  Q7Object *p = packer(0);
  Q7Object *f = frame(3, 7, 5, 2), *s = sized(40, 20);
  probe(f).attributes[41509] = 1;
  probe(f).attributes[41510] = 2;
  set(p, {{24501, num(f)}});
  EXPECT_THAT(probe(f).log, ElementsAre("9"));
  pack(p, s, {{22501, 7}});
  EXPECT_EQ(size(p), std::pair(48, 29));
  set(p, {{41559, 4}, {41560, 6}});
  probe(f).log.clear();
  lay_out(p, {100, 200, 60, 50});
  EXPECT_EQ(rect(f), (Rect{96, 194, 64, 56}));
  // Relative to the frame's client area: 103 - (100 - 4) - 1, 207 - (200 - 6) - 2.
  EXPECT_EQ(rect(s), (Rect{6, 11, 52, 41}));
  Q7ObjectDelete(p);
  EXPECT_EQ(instances(41), 0u);
}

TEST_F(PackerTest, AFramesMinimumRaisesTheWidthOnly) {
  Q7Object *p = packer(0);
  Q7Object *f = frame(1, 1, 1, 1);
  set(f, {{41505, 90}, {41506, 80}});
  set(p, {{24501, num(f)}});
  pack(p, sized(40, 20));
  EXPECT_EQ(size(p), std::pair(90, 22));
  Q7ObjectDelete(p);
}

TEST_F(PackerTest, FramesAreReferencedAndTakenAway) {
  Q7Object *p = packer(0);
  Q7Object *f = frame(1, 2, 3, 4), *g = frame(1, 1, 1, 1);
  message(f, 9);
  set(p, {{24501, num(f)}});
  set(p, {{24501, num(f)}});
  set(p, {{24501, num(g)}});
  EXPECT_THAT(probe(f).log, ElementsAre("9", "9", "10"));
  pack(p, sized(10, 10));
  EXPECT_EQ(size(p), std::pair(12, 12));
  Q7ObjectDelete(g);  // under our hands
  EXPECT_EQ(size(p), std::pair(10, 10));
  set(p, {{24501, num(f)}});
  set(p, {{24501, 0}});
  EXPECT_EQ(size(p), std::pair(10, 10));
  lay_out(p, {0, 0, 10, 10});
  message(f, 10);
  Q7ObjectDelete(p);
  EXPECT_EQ(instances(41), 0u);
}

TEST_F(PackerTest, SlavesAreReferencedAndKnowTheirManager) {
  Q7Object *p = packer(0), *s = make(kProbeWidget), *inner = packer(1);
  EXPECT_EQ(pack(p, s), num(p));
  EXPECT_THAT(probe(s).log, ElementsAre("9", "30", "set 41543=" + std::to_string(num(p))));
  pack(p, inner);
  EXPECT_EQ(object_of(inner, 24506), p);
  message(s, 9);
  message(inner, 9);
  EXPECT_EQ(list_message(p, 24001, {{24500, num(inner)}}), 1u);
  EXPECT_EQ(object_of(inner, 24506), nullptr);
  EXPECT_EQ(object_of(inner, 41543), nullptr);
  EXPECT_EQ(list_message(p, 24001, {{24500, num(inner)}}), 0u);
  EXPECT_EQ(list_message(p, 24001, {}), 0u);
  Q7ObjectDelete(p);
  EXPECT_EQ(object_of(s, 41543), nullptr);
  EXPECT_EQ(get(s, Q7A_REFCOUNT), 1);
  message(s, 10);
  message(inner, 10);
  EXPECT_EQ(instances(41), 0u);
}

TEST_F(PackerTest, PositionTagInsertsAtHeadBehindOrNowhere) {
  Q7Object *p = packer(0);
  Q7Object *a = sized(1, 1), *b = sized(1, 2), *c = sized(1, 4), *stray = sized(1, 100), *stranger = sized(9, 9);
  pack(p, a);
  pack(p, b, {{22508, 0}});
  EXPECT_EQ(message(p, 22000), num(b));
  pack(p, c, {{22508, num(b)}});
  set_rect(p, {0, 0, 1, 7});
  size(p);
  message(p, 24002);
  EXPECT_EQ(rect(c).y, 2);
  EXPECT_EQ(rect(a).y, 6);
  // Behind a slave that is not here: counted and referenced, but in no list.
  EXPECT_EQ(pack(p, stray, {{22508, num(stranger)}}), num(p));
  EXPECT_EQ(count(p), 4);
  EXPECT_EQ(size(p), std::pair(1, 7));
  EXPECT_EQ(get(stray, Q7A_REFCOUNT), 1);
  EXPECT_EQ(list_message(p, 24001, {{24500, num(stray)}}), 0u);
  Q7ObjectDelete(stranger);
  Q7ObjectDelete(p);
  EXPECT_EQ(instances(41), 0u);
}

TEST_F(PackerTest, OptionsStartEqualInBothSets) {
  Q7Object *p = packer(0), *s = sized(1, 1);
  pack(p, s, {{22500, 1}, {22501, 7}, {22502, 3}, {22503, 4}, {22504, 5}, {22505, 6}, {22506, 7}});
  int32_t v[6] = {};
  const auto read = [&](int32_t set) {
    list_message(p, 24007,
                 {{24500, num(s)},
                  {22500, num(set)},
                  {22501, num(&v[0])},
                  {22502, num(&v[1])},
                  {22503, num(&v[2])},
                  {22504, num(&v[3])},
                  {22505, num(&v[4])},
                  {22506, num(&v[5])}});
  };
  read(0);
  EXPECT_THAT(v, ElementsAre(7, 3, 4, 5, 6, 7));
  list_message(p, 24006, {{24500, num(s)}, {22500, 1}, {22503, 40}});
  read(0);
  EXPECT_EQ(v[2], 4);
  read(1);
  EXPECT_THAT(v, ElementsAre(7, 3, 40, 5, 6, 7));
  EXPECT_EQ(size(p).first, 1 + 12 + 8);
  list_message(p, 24006, {{24500, num(s)}, {22503, 0}});  // the packer's own set
  EXPECT_EQ(size(p).first, 1 + 12);
  set_rect(p, {0, 0, 100, 100});
  list_message(p, 24006, {{24500, num(s)}, {22505, 0}});
  message(p, 41000);  // the stale size is computed by the layout
  EXPECT_EQ(rect(s).width, 100);
  Q7ObjectDelete(p);
}

TEST_F(PackerTest, NestedSlavesAreFoundForOptionsAndRemoval) {
  Q7Object *outer = packer(0), *mid = make(25), *inner = packer(1), *s = sized(5, 5), *other = sized(1, 1);
  pack(outer, other);
  pack(outer, mid);
  list_message(mid, 24000, {{24500, num(inner)}});
  pack(inner, s);
  EXPECT_NE(list_message(outer, 24006, {{24500, num(s)}, {22503, 9}}), 0u);
  int32_t pad = 0;
  EXPECT_NE(list_message(outer, 24007, {{24500, num(s)}, {22503, num(&pad)}}), 0u);
  EXPECT_EQ(pad, 9);
  Q7Object *nowhere = sized(1, 1);
  EXPECT_EQ(list_message(outer, 24006, {{24500, num(nowhere)}, {22503, 9}}), 0u);
  EXPECT_EQ(list_message(outer, 24001, {{24500, num(nowhere)}}), 0u);
  EXPECT_NE(list_message(outer, 24001, {{24500, num(s)}}), 0u);
  EXPECT_EQ(message(inner, 22000), 0u);
  Q7ObjectDelete(nowhere);
  Q7ObjectDelete(outer);
  EXPECT_EQ(instances(41), 0u);
}

TEST_F(PackerTest, ForEachVisitsGadgetsAndNestedManagers) {
  Q7Object *window = make(41), *handler = make(kProbeObject);
  Q7Object *p = packer(0), *inner = packer(0), *placer = make(25);
  Q7Object *a = make(21, {{41500, num(window)}}), *b = make(43, {{41500, num(window)}});
  Q7Object *c = make(21, {{41500, num(window)}});
  pack(p, a);
  pack(p, sized(1, 1));
  pack(p, inner);
  pack(inner, b);
  pack(inner, placer);
  list_message(placer, 24000, {{24500, num(c)}});
  probe(handler).answers[2901050] = 1;
  EXPECT_EQ(message(p, 24004, num(handler), 2901050, 77), 1u);
  ASSERT_EQ(probe(handler).messages.size(), 3u);
  EXPECT_EQ(probe(handler).messages[0].a, num(a));
  EXPECT_EQ(probe(handler).messages[0].slot, 77u);
  EXPECT_EQ(probe(handler).messages[1].a, num(b));
  EXPECT_EQ(probe(handler).messages[2].a, num(c));
  probe(handler).answers[2901050] = 0;
  EXPECT_EQ(message(p, 24004, num(handler), 2901050, 77), 0u);
  EXPECT_EQ(probe(handler).messages.size(), 4u);
  EXPECT_EQ(message(p, 24004), 0u);
  Q7ObjectDelete(p);
  Q7ObjectDelete(window);
  Q7ObjectDelete(handler);
  EXPECT_EQ(instances(41), 0u);
}

TEST_F(PackerTest, HitTestsBesideTheStack) {
  Q7Object *p = packer(0);
  Q7Object *a = sized(10, 10), *b = sized(10, 20);
  pack(p, a, {{22504, 5}});
  pack(p, nullptr);
  pack(p, b);
  lay_out(p, {0, 0, 10, 40});  // a: 5 to 15, middle 10; b: 20 to 40, middle 30
  const auto hit = [&](uint32_t method, int16_t y) {
    Q7Point point = {3, y};
    return reinterpret_cast<Q7Object *>(message(p, method, 0, 0, num(&point)));
  };
  EXPECT_EQ(hit(22001, 10), nullptr);  // a middle equal to the point is not above it
  EXPECT_EQ(hit(22001, 11), a);
  EXPECT_EQ(hit(22001, 30), a);
  EXPECT_EQ(hit(22001, 31), b);
  EXPECT_EQ(hit(22002, 4), nullptr);
  EXPECT_EQ(hit(22002, 5), a);
  EXPECT_EQ(hit(22002, 15), nullptr);
  EXPECT_EQ(hit(22002, 20), b);
  EXPECT_EQ(hit(22002, 39), b);
  EXPECT_EQ(hit(22002, 40), nullptr);
  EXPECT_EQ(message(p, 22001), 0u);
  set(p, {{22500, 1}});
  lay_out(p, {0, 0, 20, 40});
  Q7Point point = {12, 0};
  EXPECT_EQ(message(p, 22002, 0, 0, num(&point)), num(b));
  Q7ObjectDelete(p);
}

TEST_F(PackerTest, PackIsAShorthand) {
  Q7Object *p = packer(0), *s = sized(1, 1);
  EXPECT_EQ(message(p, 22003, 5, 2, num(s)), num(p));
  int32_t flags = 0, anchor = 0;
  list_message(p, 24007, {{24500, num(s)}, {22501, num(&flags)}, {22502, num(&anchor)}});
  EXPECT_EQ(flags, 5);
  EXPECT_EQ(anchor, 2);
  EXPECT_EQ(message(p, 22003, 5, 2, num(p)), 0u);
  Q7ObjectDelete(p);
}

TEST_F(PackerTest, ShownStateAsksTheMaster) {
  Q7Object *outer = packer(0), *inner = packer(0), *s = sized(1, 1), *f = frame(0, 0, 0, 0);
  pack(outer, inner);
  pack(inner, s);
  set(inner, {{24501, num(f)}});
  set(outer, {{41511, 0}});
  EXPECT_EQ(get(s, 41511), 0);
  EXPECT_EQ(get(f, 41511), 0);
  EXPECT_EQ(get(inner, 41511), 0);
  set(inner, {{41511, 1}});
  EXPECT_EQ(get(s, 41511), 0);  // its master is not shown
  set(outer, {{41511, 1}});
  EXPECT_EQ(get(s, 41511), 1);
  EXPECT_EQ(get(f, 41511), 1);
  set(inner, {{24502, 1}});
  set(outer, {{41511, 1}});
  EXPECT_EQ(get(s, 41511), 0);  // hidden
  EXPECT_EQ(*reinterpret_cast<uint32_t *>(get<char *>(inner, 22507) + 24), 1u);
  set(inner, {{41511, 0}});
  EXPECT_EQ(*reinterpret_cast<uint32_t *>(get<char *>(inner, 22507) + 24), 5u);
  Q7ObjectDelete(outer);
}

TEST_F(PackerTest, RoomIsOfferedToEverySlave) {
  Q7Object *p = packer(0), *s = make(kProbeWidget);
  pack(p, s);
  probe(s).log.clear();
  set(p, {{41507, 30}});
  set(p, {{41507, 0}, {41508, num(-1)}});
  set(p, {{41507, 1}, {41501, 5}, {41508, 2}});
  EXPECT_THAT(probe(s).log, ElementsAre("set 41507=30 41508=0", "set 41507=1 41508=2"));
  Q7ObjectDelete(p);
}

TEST_F(PackerTest, RectangleStaysWithThePacker) {
  Q7Object *p = packer(0);
  set_rect(p, {1, 2, 3, 4});
  EXPECT_EQ(rect(p), (Rect{1, 2, 3, 4}));
  set(p, {{24504, 5}});
  EXPECT_EQ(get(p, 24504), 5);
  EXPECT_EQ(get(p, 24505), 16777215);
  EXPECT_EQ(get(p, 24503), 0);
  EXPECT_EQ(set(p, {{999, 1}}) != 0, true);
  Q7ObjectDelete(p);
}

TEST_F(PackerTest, NullSlavesTakeTheirPaddingInTheSizeOnly) {
  Q7Object *p = packer(0), *s = sized(10, 10);
  EXPECT_EQ(pack(p, nullptr, {{22504, 4}}), num(p));
  pack(p, s);
  EXPECT_EQ(size(p), std::pair(10, 18));
  EXPECT_EQ(message(p, 22000), 0u);
  lay_out(p, {0, 0, 10, 18});
  EXPECT_EQ(rect(s).y, 0);
  set(p, {{41511, 0}, {41507, 4}});
  Q7ObjectDelete(p);
}

TEST_F(PackerTest, ASlaveAddedTwiceHasTwoRecords) {
  Q7Object *p = packer(0), *s = sized(10, 10);
  pack(p, s);
  pack(p, s);
  EXPECT_EQ(size(p), std::pair(10, 20));
  EXPECT_EQ(get(s, Q7A_REFCOUNT), 2);
  EXPECT_NE(list_message(p, 24001, {{24500, num(s)}}), 0u);
  EXPECT_EQ(size(p), std::pair(10, 10));
  Q7ObjectDelete(p);
  EXPECT_EQ(instances(41), 0u);
}

TEST_F(PackerTest, PackersThatContainEachOtherEnd) {
  Q7Object *a = packer(0), *b = packer(0);
  EXPECT_EQ(pack(a, a), 0u);
  pack(a, b);
  pack(b, a);
  pack(a, sized(5, 5));
  set_rect(a, {0, 0, 50, 50});
  size(a);
  message(a, 41000);
  set(a, {{41511, 0}});
  set(a, {{41507, 5}});
  Q7Object *nowhere = sized(1, 1);
  EXPECT_EQ(list_message(a, 24001, {{24500, num(nowhere)}}), 0u);
  message(a, 24004, 0, 0, 0);
  Q7ObjectDelete(nowhere);
  list_message(b, 24001, {{24500, num(a)}});
  EXPECT_EQ(instances(41), 0u);  // the last reference on a was b's
}

TEST_F(PackerTest, ASlaveDeletedUnderOurHandsIsForgotten) {
  Q7Object *p = packer(0), *a = sized(10, 10), *b = sized(10, 20);
  pack(p, a);
  pack(p, b);
  size(p);
  Q7ObjectDelete(a);
  EXPECT_EQ(count(p), 1);
  EXPECT_EQ(size(p), std::pair(10, 20));
  EXPECT_EQ(message(p, 22000), num(b));
  Q7ObjectDelete(p);
  EXPECT_EQ(instances(41), 0u);
}

TEST_F(PackerTest, SlavesMayBeRemovedWhileTheyAreLaidOut) {
  Q7Object *p = packer(0);
  std::vector<Q7Object *> s;
  for (int i = 0; i < 4; ++i) {
    s.push_back(sized(10, 10));
    pack(p, s.back());
  }
  set_rect(p, {0, 0, 10, 40});
  size(p);
  probe(s[0]).on_set = [&](uint32_t tag) {
    if (tag != 41504) return;
    list_message(p, 24001, {{24500, num(s[1])}});
    list_message(p, 24001, {{24500, num(s[0])}});
  };
  message(p, 41000);
  EXPECT_EQ(count(p), 2);
  EXPECT_EQ(rect(s[3]).y, 20);
  Q7ObjectDelete(p);
  EXPECT_EQ(instances(41), 0u);
}

TEST_F(PackerTest, OutOfMemoryForARecordChangesNothing) {
  Q7Object *p = packer(0), *s = sized(10, 10);
  q7test::Capture quiet(1);
  q7test::AllocGate gate;
  gate.fail(1);
  EXPECT_EQ(pack(p, s), 0u);
  gate.pass();
  EXPECT_EQ(count(p), 0);
  EXPECT_EQ(get(s, Q7A_REFCOUNT), 0);
  EXPECT_EQ(object_of(s, 41543), nullptr);
  Q7ObjectDelete(s);
  Q7ObjectDelete(p);
}

TEST_F(PackerTest, HugeSizesWrapAndDoNotCrash) {
  Q7Object *p = packer(0), *s = sized(INT32_MAX, INT32_MAX);
  pack(p, s, {{22501, 7}, {22503, INT32_MAX}, {22505, num(INT32_MIN)}, {22504, INT32_MAX}});
  pack(p, sized(INT32_MAX, INT32_MAX), {{22502, 9}});
  lay_out(p, {INT32_MIN, INT32_MAX, INT32_MAX, INT32_MAX});
  set(p, {{22500, 1}});
  lay_out(p, {INT32_MIN, INT32_MAX, INT32_MAX, INT32_MAX});
  Q7ObjectDelete(p);
}

}  // namespace
