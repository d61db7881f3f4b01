// Tests of the compass: the pop-up's place, the needle's way, directions and rings around every border, drawing.
#include "ui/q7compas.h"

#include <cmath>
#include <cstring>

#include "tests/ui/views_test.h"
#include "ui/compass.hpp"
#include "ui/q7widget.h"

using namespace views;
using q7::compass::Choice;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

namespace {

struct Event {
  char before[12] = {};
  int16_t x, y;
  char after[16] = {};
};
static_assert(offsetof(Event, x) == 12 && offsetof(Event, y) == 14);

class Compass : public ViewsTest {
 protected:
  void SetUp() override {
    ViewsTest::SetUp();
    ASSERT_EQ(Q7RegisterCompassClass(Q7ApplicationContext), 1);
    window = make(20, {{20510, 1000}, {20511, 800}, {20535, 1}, {20536, 2}, {20537, 3}, {20538, 4}, {20539, 5}});
    message(window, 9);
    target = make(kRecorder);
    dc = make(kDrawContext);
    record(dc).answers[267006] = record(dc).answers[267007] = record(dc).answers[267014] = 1;
    compass = make(899, {{899500, num(window)}, {899501, num(target)}, {899502, 3950007}, {899503, 2}});
    ASSERT_NE(compass, nullptr);
  }
  void TearDown() override {
    if (compass) Q7ObjectDelete(compass);
    if (target) Q7ObjectDelete(target);
    if (window) message(window, 10);
    Q7ObjectDelete(dc);
    EXPECT_EQ(live(), 0);
    ViewsTest::TearDown();
  }
  uint64_t event(uint32_t method, int x, int y) {
    Event e;
    e.x = static_cast<int16_t>(x);
    e.y = static_cast<int16_t>(y);
    return message(compass, method, 0, 0, num(&e));
  }
  uint64_t open(int x, int y) { return event(899000, x, y); }
  uint64_t move(int x, int y) { return event(899003, x, y); }
  Q7Object *popup() {
    // The parent's only child.
    for (int16_t y = 0; y < 800; y = static_cast<int16_t>(y + 50)) {
      for (int16_t x = 0; x < 1000; x = static_cast<int16_t>(x + 50)) {
        Q7Point p = {x, y};
        if (auto *child = reinterpret_cast<Q7Object *>(message(window, 41024, 0, 0, num(&p)))) return child;
      }
    }
    return nullptr;
  }
  std::vector<int32_t> place() {
    Q7Object *p = popup();
    if (!p) return {};
    return {get(p, 41501), get(p, 41502), get(p, 41503), get(p, 41504)};
  }
  std::vector<Message> told() { return record(target).messages; }
  static Message report(uint64_t final, int ring, int direction) {
    return {3950007, final, num(static_cast<int64_t>(ring)), num(static_cast<int64_t>(direction))};
  }
  Q7Object *window = nullptr, *target = nullptr, *dc = nullptr, *compass = nullptr;
};

TEST_F(Compass, IsRegisteredAsStated) {
  const Q7Class *cl = Q7ClassFind(899);
  EXPECT_STREQ(cl->header.name, "q7compas");
  EXPECT_STREQ(cl->description, "Compass Input Device");
  EXPECT_EQ(cl->super, Q7ClassFind(0));
  EXPECT_EQ(Q7RegisterCompassClass(Q7ApplicationContext), 1);
}

TEST_F(Compass, PublicAttributesAndTheirDefaults) {
  int32_t radius, dead, invisible, needle, simple;
  double speed;
  const auto read = [&] {
    return Q7GetClassAttrs(899, 899505, num(&radius), 899506, num(&dead), 899507, num(&speed), 899508, num(&invisible),
                           899509, num(&needle), 899510, num(&simple), 0);
  };
  EXPECT_EQ(read(), 0);
  EXPECT_EQ(radius, 60);
  EXPECT_EQ(dead, 5);
  EXPECT_EQ(speed, 0.5);
  EXPECT_EQ(invisible, 0);
  EXPECT_EQ(needle, 0);
  EXPECT_EQ(simple, 1);
  const double fast = 2.5;
  Q7SetClassAttrs(899, 899505, uint64_t{30}, 899506, uint64_t{7}, 899507, num(&fast), 899508, uint64_t{9}, 899509,
                  uint64_t{1}, 899510, uint64_t{0}, 0);
  read();
  EXPECT_EQ(radius, 30);
  EXPECT_EQ(dead, 7);
  EXPECT_EQ(speed, 2.5);
  EXPECT_EQ(invisible, 1);
  EXPECT_EQ(needle, 1);
  EXPECT_EQ(simple, 0);
  EXPECT_EQ(class_message(899, 37, 0, 0, num("MouseSpeed")), 899507u);
  EXPECT_EQ(class_message(899, 37, 0, 0, num("CompassInvisible")), 899508u);
}

// ---- Opening ----

TEST_F(Compass, OpensCentredWithTheStatedSize) {
  EXPECT_EQ(open(500, 400), 1u);
  EXPECT_THAT(place(), ElementsAre(500 - 145, 400 - 130, 290, 260));
  Q7Object *p = popup();
  EXPECT_EQ(get(p, Q7A_REFCOUNT), 2);
  EXPECT_THAT(record(p).of(41006), SizeIs(1));
  EXPECT_EQ(get<Q7Object *>(p, 41500), window);
  EXPECT_EQ(get(p, 20526), 2);
  EXPECT_EQ(get(p, 20517), 1);
  EXPECT_EQ(get(p, 20501), 0);
  EXPECT_EQ(get(p, 20519), 0);
  EXPECT_EQ(get(p, 20500), 12);
  EXPECT_EQ(get(p, 20525), 1);
  EXPECT_EQ(get(p, 41511), 1);
  EXPECT_THAT(told(), IsEmpty());
}

TEST_F(Compass, IsPushedInsideAtEveryEdgeAndCorner) {
  struct Case {
    int mouse_x, mouse_y, x, y;
  };
  for (const Case &c : {Case{0, 0, 0, 0}, Case{500, 0, 355, 0}, Case{999, 0, 710, 0}, Case{999, 400, 710, 270},
                        Case{999, 799, 710, 540}, Case{500, 799, 355, 540}, Case{0, 799, 0, 540}, Case{0, 400, 0, 270},
                        Case{145, 130, 0, 0}, Case{146, 131, 1, 1}, Case{855, 670, 710, 540}, Case{854, 669, 709, 539},
                        Case{-50, -50, 0, 0}, Case{2000, 2000, 710, 540}}) {
    open(c.mouse_x, c.mouse_y);
    EXPECT_THAT(place(), ElementsAre(c.x, c.y, 290, 260)) << c.mouse_x << "," << c.mouse_y;
    // The needle begins at the centre wherever the pop-up went: 10 pixels of the mouse move it by 5.
    record(target).messages.clear();
    move(c.mouse_x + 20, c.mouse_y);
    EXPECT_THAT(told(), ElementsAre(report(0, 0, 2)));
    message(compass, 899002);
  }
}

TEST_F(Compass, IsSmallerInASmallParent) {
  set(window, {{20510, 200}, {20511, 100}});
  open(190, 10);
  EXPECT_THAT(place(), ElementsAre(0, 0, 200, 100));
}

TEST_F(Compass, WithoutAParentNothingHappens) {
  set(compass, {{899500, 0}});
  EXPECT_EQ(open(10, 10), 1u);
  EXPECT_EQ(message(compass, 899000), 1u);  // whatever the event
  EXPECT_EQ(popup(), nullptr);
  EXPECT_EQ(move(50, 50), 1u);
  EXPECT_THAT(told(), IsEmpty());
}

Q7Dispatcher window_dispatch;
std::vector<uint32_t> window_tags;
uint64_t reads_item_by_item(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  if (method == Q7M_NEW) {
    for (const Q7TagItem *t = tags; t->tag; ++t) window_tags.push_back(t->tag);
  }
  return window_dispatch(cl, obj, method, a, b, tags);
}

TEST_F(Compass, ThePopupIsAskedForInOnePlainList) {
  Q7Object &windows = Q7ClassFind(20)->header;
  window_tags.clear();
  window_dispatch = windows.dispatch;
  windows.dispatch = reads_item_by_item;
  open(500, 400);
  windows.dispatch = window_dispatch;
  EXPECT_THAT(window_tags,
              ElementsAre(41500, 41501, 41502, 41503, 41504, 20526, 20517, 20501, 20519, 20500, 20525, 41511));
}

TEST_F(Compass, NullEventsAreRefused) {
  EXPECT_EQ(message(compass, 899000), 0u);
  open(500, 400);
  EXPECT_EQ(message(compass, 899003), 0u);
}

TEST_F(Compass, SecondOpeningIsReportedAndChangesNothing) {
  open(500, 400);
  Q7Object *p = popup();
  EXPECT_EQ(open(100, 100), 1u);
  EXPECT_THAT(reports(), ElementsAre("q7compas: Internal error: compass already open"));
  EXPECT_EQ(popup(), p);
  EXPECT_EQ(live(), 4);
  move(500, 380);
  EXPECT_THAT(told(), ElementsAre(report(0, 0, 0)));
}

TEST_F(Compass, ClosingReleasesThePopup) {
  EXPECT_EQ(message(compass, 899002), 1u);  // not open
  open(500, 400);
  EXPECT_EQ(live(), 4);
  EXPECT_EQ(message(compass, 899002), 1u);
  EXPECT_EQ(live(), 3);
  EXPECT_EQ(popup(), nullptr);
  message(compass, 899002);
  open(500, 400);
  Q7ObjectDelete(compass);
  compass = nullptr;
  EXPECT_EQ(live(), 3);
}

TEST_F(Compass, ParentDestroyedWhileOpen) {
  open(500, 400);
  move(520, 400);
  message(window, 10);
  window = nullptr;
  EXPECT_EQ(live(), 3);  // the pop-up stays until it is closed
  move(500, 300);
  EXPECT_EQ(message(compass, 899002), 1u);
  EXPECT_EQ(live(), 2);
  EXPECT_EQ(open(1, 1), 1u);
  EXPECT_EQ(live(), 2);
}

TEST_F(Compass, PopupDeletedWhileOpen) {
  set(compass, {{899504, 1}});
  open(500, 400);
  record(popup()).values[20523] = num(dc);
  move(520, 400);
  Q7ObjectDelete(popup());
  move(500, 300);
  message(compass, 899004);
  EXPECT_EQ(message(compass, 899002), 1u);
}

// ---- The needle ----

TEST_F(Compass, NeedleFollowsAtHalfSpeedTruncated) {
  open(500, 400);
  EXPECT_EQ(move(510, 400), 1u);  // 5 pixels: no longer in the dead zone
  EXPECT_THAT(told(), ElementsAre(report(0, 0, 2)));
  move(509, 400);  // 4.5 become 4
  EXPECT_THAT(told(), ElementsAre(report(0, 0, 2), report(0, -1, -1)));
  move(508, 400);  // 4 again: nothing
  move(500, 400 - 140);
  EXPECT_EQ(told().back(), report(0, 1, 0));
  move(500, 400 - 139);  // (400 - 69.5) is truncated to 330: 70 still
  move(500, 400 - 600);
  EXPECT_THAT(told(), SizeIs(3));  // the last ring
}

TEST_F(Compass, SmallMovesInTheDeadZoneReportNothing) {
  open(500, 400);
  move(506, 400);  // 3 pixels: -1 and -1, as before
  EXPECT_THAT(told(), IsEmpty());
  move(500, 400);
  EXPECT_THAT(told(), IsEmpty());
}

TEST_F(Compass, FinalTellsAndCloses) {
  open(500, 400);
  move(600, 300);
  record(target).messages.clear();
  EXPECT_EQ(message(compass, 899001), 1u);
  EXPECT_THAT(told(), ElementsAre(report(1, 1, 1)));  // sqrt(50^2 + 50^2) = 70.7: (71 - 5) / 60
  EXPECT_EQ(popup(), nullptr);
}

TEST_F(Compass, FinalWithoutTargetOnlyCloses) {
  set(compass, {{899501, 0}});
  open(500, 400);
  move(600, 300);
  message(compass, 899001);
  EXPECT_THAT(told(), IsEmpty());
  EXPECT_EQ(live(), 3);
}

TEST_F(Compass, PopupIsShownWithTheFirstReport) {
  open(500, 400);
  Q7Object *p = popup();
  move(504, 400);
  EXPECT_THAT(record(p).sets, IsEmpty());
  move(600, 400);
  move(500, 500);
  ASSERT_THAT(record(p).sets, SizeIs(1));
  EXPECT_EQ(record(p).sets[0].tag, 41511u);
  EXPECT_EQ(record(p).sets[0].data, 1u);
}

TEST_F(Compass, TargetMayCloseOrDeleteTheCompass) {
  record(target).hook = [&](const Message &) { message(compass, 899002); };
  open(500, 400);
  move(600, 400);
  EXPECT_EQ(popup(), nullptr);
  record(target).hook = [&](const Message &) { Q7ObjectDelete(std::exchange(compass, nullptr)); };
  open(500, 400);
  Q7Object *going = compass;
  Event e;
  e.x = 600;
  e.y = 400;
  EXPECT_EQ(message(going, 899003, 0, 0, num(&e)), 1u);
  EXPECT_EQ(compass, nullptr);
  EXPECT_EQ(live(), 3);
}

// ---- Directions and rings ----

// Against the definition by angles, for every pixel of a square: the borders hold no pixel, so doubles decide safely.
TEST(CompassGeometry, EveryPixelAgreesWithTheAngles) {
  constexpr double kPi = 3.14159265358979323846;
  for (int dy = -150; dy <= 150; ++dy) {
    for (int dx = -150; dx <= 150; ++dx) {
      const double dist = std::sqrt(static_cast<double>(dx * dx + dy * dy));
      Choice expected = {-1, -1};
      if ((dx || dy) && dist >= 5) {
        double angle = std::acos(dx / dist);
        if (dy < 0) angle = 2 * kPi - angle;
        expected.direction = (static_cast<int>(std::floor((angle + kPi / 8) / (kPi / 4))) + 2) % 8;
        expected.ring = std::min((static_cast<int>(std::floor(dist + 0.5)) - 5) / 60, 2);
      }
      EXPECT_EQ(q7::compass::choose(dx, dy, 60, 5, 3), expected) << dx << ", " << dy;
    }
  }
}

// On both sides of each of the eight borders, at the best approximations of their slopes: sqrt(2) - 1 lies between
// neighbouring quotients of 1, 2, 5, 12, 29, 70, 169, 408, 985, 2378.
TEST(CompassGeometry, PixelsNextToTheBorders) {
  constexpr int kPell[] = {1, 2, 5, 12, 29, 70, 169, 408, 985, 2378};
  for (size_t i = 0; i + 1 < std::size(kPell); ++i) {
    const int small = kPell[i], large = kPell[i + 1];
    const bool diagonal = i % 2 == 0;  // 1/2, 5/12, 29/70 ... are steeper than the border
    for (int sx : {-1, 1}) {
      for (int sy : {-1, 1}) {
        const int across = diagonal ? (sx > 0 ? (sy < 0 ? 1 : 3) : (sy < 0 ? 7 : 5)) : (sx > 0 ? 2 : 6);
        const int along = diagonal ? across : (sy < 0 ? 0 : 4);
        EXPECT_EQ(q7::compass::choose(sx * large, sy * small, 60, 0, 2).direction, across) << small << "/" << large;
        EXPECT_EQ(q7::compass::choose(sx * small, sy * large, 60, 0, 2).direction, along) << small << "/" << large;
      }
    }
  }
}

TEST(CompassGeometry, RingsRoundHalfUp) {
  EXPECT_EQ(q7::compass::choose(0, -70, 60, 5, 2), (Choice{0, 1}));
  EXPECT_EQ(q7::compass::choose(0, -64, 60, 5, 9), (Choice{0, 0}));
  EXPECT_EQ(q7::compass::choose(0, -65, 60, 5, 9), (Choice{0, 1}));
  EXPECT_EQ(q7::compass::choose(8, 64, 60, 5, 9), (Choice{4, 0}));  // sqrt(4160) = 64.498
  EXPECT_EQ(q7::compass::choose(9, 64, 60, 5, 9), (Choice{4, 1}));  // sqrt(4177) = 64.63
  EXPECT_EQ(q7::compass::choose(0, 125, 60, 5, 9), (Choice{4, 2}));
  EXPECT_EQ(q7::compass::choose(0, 5000, 60, 5, 2), (Choice{4, 1}));
}

TEST(CompassGeometry, OddSettings) {
  EXPECT_EQ(q7::compass::choose(0, 0, 60, 0, 2), (Choice{-1, -1}));
  EXPECT_EQ(q7::compass::choose(0, 0, 60, -5, 2), (Choice{-1, -1}));
  EXPECT_EQ(q7::compass::choose(1, 0, 60, 0, 2), (Choice{2, 0}));
  EXPECT_EQ(q7::compass::choose(9, 0, 0, 5, 3), (Choice{2, 2}));
  EXPECT_EQ(q7::compass::choose(9, 0, -4, 5, 3), (Choice{2, 2}));
  EXPECT_EQ(q7::compass::choose(9, 0, 60, 5, 0), (Choice{2, -1}));
  EXPECT_EQ(q7::compass::choose(100000000, -100000000, 60, 5, 3), (Choice{1, 2}));
}

TEST(CompassGeometry, DirectionPoints) {
  constexpr int kExpected[8][2] = {{100, 40},  {160, 55}, {160, 100}, {160, 145},
                                   {100, 160}, {40, 145}, {40, 100},  {40, 55}};
  for (int i = 0; i < 8; ++i) {
    const Q7Point p = q7::compass::direction_point(100, 100, 60, i);
    EXPECT_EQ(p.x, kExpected[i][0]) << i;
    EXPECT_EQ(p.y, kExpected[i][1]) << i;
  }
  EXPECT_EQ(q7::compass::direction_point(0, 0, 5, 1).y, -3);  // 15 / 4
  EXPECT_EQ(q7::compass::direction_point(0, 0, 100000, 2).x, 32767);
}

// ---- Drawing ----

struct Line {
  uint64_t pen, mode;
  std::vector<std::pair<int, int>> points;
  bool operator==(const Line &) const = default;
};

class CompassDrawing : public Compass {
 protected:
  void SetUp() override {
    Compass::SetUp();
    // Pop-ups get their context the moment they are realized, before it is asked for.
    record(dc).hook = [this](const Message &m) {
      if (m.method == 267006) pen = m.slot;
      if (m.method == 267007) mode = m.slot;
      if (m.method != 267014) return;
      const auto *p = reinterpret_cast<const Q7Point *>(m.slot);
      Line line = {pen, mode, {}};
      for (uint64_t i = 0; i < m.a; ++i) line.points.emplace_back(p[i].x, p[i].y);
      lines.push_back(line);
    };
    Q7Class *cl = Q7ClassFind(20);
    original = cl->header.dispatch;
    context = dc;
    Q7SetClassAttrs(20, Q7CT_DISPATCHER, num(&with_context), 0);
  }
  static uint64_t with_context(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
    if (method == 41006) record(obj).values[20523] = num(context);
    return original(cl, obj, method, a, b, tags);
  }
  std::vector<Line> of_mode(uint64_t wanted) {
    std::vector<Line> found;
    for (const Line &l : lines) {
      if (l.mode == wanted) found.push_back(l);
    }
    return found;
  }
  static inline Q7Dispatcher original;
  static inline Q7Object *context;
  uint64_t pen = 0, mode = 0;
  std::vector<Line> lines;
};

TEST_F(CompassDrawing, RoseIsTwoRingsOfSpokesAndConnectingLines) {
  open(500, 400);
  EXPECT_THAT(lines, IsEmpty());
  move(600, 400);  // E, ring 0: 50 pixels
  const auto rose = of_mode(0);
  ASSERT_THAT(rose, SizeIs(24));
  // The centre of the pop-up is (145, 130); radii 5 and 30, then 60 and 90.
  EXPECT_EQ(rose[0], (Line{1, 0, {{145, 125}, {145, 90}}}));
  EXPECT_EQ(rose[1], (Line{1, 0, {{150, 127}, {175, 108}}}));
  EXPECT_EQ(rose[2], (Line{2, 0, {{150, 130}, {185, 130}}}));  // the chosen one
  EXPECT_EQ(rose[4], (Line{1, 0, {{145, 135}, {145, 170}}}));
  EXPECT_EQ(rose[6], (Line{1, 0, {{140, 130}, {105, 130}}}));
  EXPECT_EQ(rose[7], (Line{1, 0, {{140, 127}, {115, 108}}}));
  EXPECT_EQ(rose[8], (Line{1, 0, {{145, 100}, {175, 108}}}));  // N to NE
  EXPECT_EQ(rose[9], (Line{1, 0, {{175, 130}, {175, 152}}}));  // E to SE
  EXPECT_EQ(rose[12], (Line{1, 0, {{145, 70}, {145, 30}}}));
  EXPECT_EQ(rose[15], (Line{1, 0, {{205, 175}, {235, 197}}}));
  EXPECT_EQ(rose[23], (Line{1, 0, {{55, 130}, {55, 63}}}));  // W to NW
  EXPECT_THAT(of_mode(1), SizeIs(12));                       // four letters, and four pairs
  EXPECT_THAT(of_mode(4), ElementsAre(Line{5, 4, {{145, 130}, {195, 130}}}));
}

TEST_F(CompassDrawing, MoveWithinASectorRedrawsTheNeedleAlone) {
  open(500, 400);
  move(600, 400);
  lines.clear();
  move(610, 400);
  EXPECT_THAT(lines, ElementsAre(Line{5, 4, {{145, 130}, {195, 130}}}, Line{5, 4, {{145, 130}, {200, 130}}}));
  lines.clear();
  message(compass, 899002);
  EXPECT_THAT(lines, ElementsAre(Line{5, 4, {{145, 130}, {200, 130}}}));
}

TEST_F(CompassDrawing, LabelsTakeTheFontsHeight) {
  open(500, 400);
  move(500, 300);
  const auto labels = of_mode(1);
  // N, a line of 10 beyond the spoke's end at 30: 6 wide and 8 high around (145, 20), in the chosen label's pen.
  ASSERT_THAT(labels, SizeIs(12));
  EXPECT_EQ(labels[0], (Line{4, 1, {{142, 24}, {142, 16}, {148, 24}, {148, 16}}}));
  EXPECT_EQ(labels[1].pen, 3u);
}

TEST_F(CompassDrawing, InvisibleRoseAndNeedle) {
  Q7SetClassAttrs(899, 899508, uint64_t{1}, 0);
  open(500, 400);
  move(600, 400);
  EXPECT_THAT(of_mode(0), IsEmpty());
  EXPECT_THAT(of_mode(1), SizeIs(12));
  EXPECT_THAT(of_mode(4), SizeIs(1));
  message(compass, 899002);
  lines.clear();
  Q7SetClassAttrs(899, 899508, uint64_t{0}, 899509, uint64_t{1}, 0);
  open(500, 400);
  move(600, 400);
  message(compass, 899002);
  EXPECT_THAT(of_mode(0), SizeIs(24));
  EXPECT_THAT(of_mode(4), IsEmpty());
}

TEST_F(CompassDrawing, ArrowHasAShaftAndAHead) {
  Q7SetClassAttrs(899, 899510, uint64_t{0}, 0);
  open(500, 400);
  move(600, 400);
  EXPECT_THAT(of_mode(4), ElementsAre(Line{5, 4, {{145, 130}, {185, 130}}},
                                      Line{5, 4, {{185, 135}, {195, 130}, {185, 125}, {185, 135}}}));
}

TEST_F(CompassDrawing, RedrawNeedsTheValue) {
  open(500, 400);
  move(600, 400);
  lines.clear();
  EXPECT_EQ(message(compass, 899004), 1u);
  EXPECT_THAT(lines, IsEmpty());
  set(compass, {{899504, 1}});
  EXPECT_EQ(message(compass, 899004), 1u);
  EXPECT_THAT(of_mode(0), SizeIs(24));
  EXPECT_THAT(of_mode(1), SizeIs(12));
  EXPECT_THAT(of_mode(4), SizeIs(1));
  message(compass, 899002);
  lines.clear();
  message(compass, 899004);
  EXPECT_THAT(lines, IsEmpty());
}

TEST_F(CompassDrawing, WhatWasNotDrawnIsNotErased) {
  record(dc).answers[267014] = 0;
  open(500, 400);
  move(600, 400);
  record(dc).answers[267014] = 1;
  lines.clear();
  message(compass, 899002);
  EXPECT_THAT(lines, IsEmpty());
}

}  // namespace
