// Tests of drag and drop: the handlers of a widget, the registered ones, and the way drops bubble.
#include "tests/ui/ui_test.h"

using namespace uitest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

enum { kDrag = 2901010, kFinished, kDrop, kCanDrop, kRegistered };

class Drag : public UiTest {
 protected:
  void SetUp() override {
    UiTest::SetUp();
    handler = make(kProbeObject);
    object = make(kProbeObject);
    top = make(Q7C_WIDGET, {{41501, 100}, {41502, 50}});
    w = make(Q7C_WIDGET, {{41500, num(top)}, {41501, 10}, {41502, 5}});
    probe(handler).hook = [this](const Message &m) {
      if (m.method != kDrop && m.method != kCanDrop && m.method != kRegistered) return;
      const auto *p = reinterpret_cast<const Q7Point *>(m.b);
      points.push_back({p->x, p->y});
    };
  }
  void TearDown() override {
    for (Q7Object *o : {top, handler, object}) Q7ObjectDelete(o);
    UiTest::TearDown();
  }
  static void accept_drops(Q7Object *widget, Q7Object *by) {
    set(widget, {{41534, num(by)}, {41535, kCanDrop}, {41536, kDrop}, {41537, 88}});
  }
  uint64_t drop(uint32_t method = 41015) { return message(w, method, num(object), 0, num(&at)); }
  uint64_t add(uint32_t clid, uint32_t method = kRegistered) { return message(w, 41031, clid, num(handler), method); }

  Q7Object *handler, *object, *top, *w;
  Q7Point at = {115, 60};
  std::vector<std::pair<int, int>> points;
};

TEST_F(Drag, StartTellsTheHandlerThenTheWidgetItself) {
  Q7Object *told = make(kProbeObject);
  list_message(w, 41001, {{41514, num(told)}, {41517, 2901001}});
  set(w, {{41531, num(handler)}, {41532, kDrag}, {41533, 7}});
  probe(handler).answers[kDrag] = 42;
  EXPECT_EQ(message(w, 41014, 0, 0, 9), 42u);
  const Message m = probe(handler).messages.at(0);
  EXPECT_EQ(m.a, num(w));
  EXPECT_EQ(m.b, 9u);
  EXPECT_EQ(m.slot, 7u);
  const Message c = probe(told).messages.at(0);
  EXPECT_EQ(c.a, 41014u);
  EXPECT_EQ(c.slot, 9u);
  set(w, {{41531, 0}});
  EXPECT_EQ(message(w, 41014, 0, 0, 9), 0u);
  EXPECT_EQ(probe(told).messages.size(), 2u);  // also without a handler
  Q7ObjectDelete(told);
}

// Each handler lies in a tree of its own, whose top has the next handler: no tree is deep, the way through them is.
TEST_F(Drag, DropsThatGoFromTreeToTreeEndWithAReport) {
  std::vector<Q7Object *> tops;
  Q7Object *at_widget = w;
  for (int i = 0; i < 20000; ++i) {
    Q7Object *other = make(Q7C_WIDGET), *inside = make(Q7C_WIDGET, {{41500, num(other)}});
    set(at_widget, {{41534, num(inside)}});
    tops.push_back(other);
    at_widget = other;
  }
  EXPECT_EQ(drop(), 0u);
  EXPECT_THAT(reports(), ::testing::Contains("q7widget: Widgets are nested too deep"));
  for (Q7Object *o : tops) Q7ObjectDelete(o);
}

TEST_F(Drag, FinishedNeedsHandlerAndMethod) {
  EXPECT_EQ(message(w, 41017, 0, 0, 3), 0u);
  set(w, {{41531, num(handler)}, {41533, 7}});
  EXPECT_EQ(message(w, 41017, 0, 0, 3), 0u);
  set(w, {{41542, kFinished}});
  probe(handler).answers[kFinished] = 6;
  EXPECT_EQ(message(w, 41017, 0, 0, 3), 6u);
  const Message m = probe(handler).messages.at(0);
  EXPECT_EQ(m.a, 3u);
  EXPECT_EQ(m.b, num(w));
  EXPECT_EQ(m.slot, 7u);
}

TEST_F(Drag, DropArrivesInLocalCoordinatesAndLeavesThePoint) {
  accept_drops(w, handler);
  probe(handler).answers[kDrop] = 11;
  EXPECT_EQ(drop(), 11u);
  const Message m = probe(handler).messages.at(0);
  EXPECT_EQ(m.a, num(object));
  EXPECT_EQ(m.slot, 88u);
  EXPECT_THAT(points, ElementsAre(std::pair(5, 5)));
  EXPECT_EQ(at.x, 115);
  EXPECT_EQ(at.y, 60);
  EXPECT_EQ(message(w, 41015, num(object)), 11u);  // no point counts as 0, 0
  EXPECT_THAT(points.back(), std::pair(-110, -55));
}

TEST_F(Drag, RegisteredHandlersComeFirstAndOnlyForTheirKind) {
  accept_drops(w, handler);
  probe(handler).answers[kDrop] = 11;
  EXPECT_EQ(add(41), 1u);
  EXPECT_EQ(add(0), 1u);
  probe(handler).answers[kRegistered] = 1;
  EXPECT_EQ(drop(), 11u);
  EXPECT_THAT(probe(handler).log, ElementsAre(std::to_string(kRegistered), std::to_string(kDrop)));
  EXPECT_EQ(probe(handler).messages[0].slot, num(handler));
  probe(handler).log.clear();
  probe(handler).answers[kRegistered] = 0;
  EXPECT_EQ(drop(), 0u);  // abandoned
  EXPECT_THAT(probe(handler).log, ElementsAre(std::to_string(kRegistered)));
}

TEST_F(Drag, CanDropAsksTheMethodFirst) {
  accept_drops(w, handler);
  add(0);
  EXPECT_EQ(drop(41016), 0u);
  EXPECT_THAT(probe(handler).log, ElementsAre(std::to_string(kCanDrop)));
  probe(handler).answers[kCanDrop] = 21;
  probe(handler).answers[kRegistered] = 1;
  EXPECT_EQ(drop(41016), 21u);
  probe(handler).answers[kRegistered] = 0;
  EXPECT_EQ(drop(41016), 0u);
}

TEST_F(Drag, UnansweredDropsBubbleToTheHandlersParentThenTheOwn) {
  Q7Object *handler_parent = make(kProbeWidget);
  Q7Object *by = make(kProbeWidget, {{41500, num(handler_parent)}});
  accept_drops(w, by);
  Q7Object *parent = make(kProbeWidget);
  set(w, {{41500, num(parent)}});
  probe(parent).log.clear();
  probe(handler_parent).log.clear();
  probe(parent).answers[41015] = 5;
  EXPECT_EQ(drop(), 5u);
  EXPECT_THAT(probe(handler_parent).log, ElementsAre("41015"));
  EXPECT_EQ(probe(handler_parent).messages.back().a, num(object));
  EXPECT_EQ(probe(handler_parent).messages.back().slot, num(&at));
  probe(handler_parent).answers[41015] = 6;
  EXPECT_EQ(drop(), 6u);
  EXPECT_THAT(probe(parent).log, ElementsAre("41009", "41015", "41009"));  // only converted the second
  set(w, {{41534, 0}, {41500, num(top)}});
  Q7ObjectDelete(parent);
  Q7ObjectDelete(handler_parent);
}

TEST_F(Drag, DropsDoNotRunInCircles) {
  Q7Object *child = make(Q7C_WIDGET, {{41500, num(w)}});
  accept_drops(w, child);
  accept_drops(child, child);
  clear_reports();
  EXPECT_EQ(drop(), 0u);
  EXPECT_EQ(drop(41016), 0u);
  EXPECT_EQ(message(child, 41015, num(object), 0, num(&at)), 0u);
}

TEST_F(Drag, TheHundredthHandlerIsRefused) {
  for (int i = 0; i < 98; ++i) EXPECT_EQ(add(4000), 1u);
  EXPECT_EQ(add(4000), 1u);  // the 99th
  EXPECT_THAT(reports(), IsEmpty());
  EXPECT_EQ(add(4000), 0u);
  EXPECT_THAT(reports(), ElementsAre("q7widget: too many handlers"));
  EXPECT_EQ(add(4000), 0u);
}

TEST_F(Drag, HandlersThatAreWidgetsAreForgottenWhenTheyGo) {
  Q7Object *widget_handler = make(kProbeWidget);
  accept_drops(w, widget_handler);
  set(w, {{41531, num(widget_handler)}, {41532, 2900001}});
  message(w, 41031, 0, num(widget_handler), 2900002);
  add(0);
  Q7ObjectDelete(widget_handler);
  EXPECT_EQ(object_of(w, 41534), nullptr);
  EXPECT_EQ(object_of(w, 41531), nullptr);
  accept_drops(w, handler);
  probe(handler).answers[kRegistered] = 1;
  probe(handler).answers[kDrop] = 3;
  EXPECT_EQ(drop(), 3u);
  EXPECT_THAT(probe(handler).log, ElementsAre(std::to_string(kRegistered), std::to_string(kDrop)));
  EXPECT_EQ(message(w, 41014), 0u);
}

TEST_F(Drag, ANewApplicationStartsWithoutHandlers) {
  for (int i = 0; i < 99; ++i) add(4000);
  TearDown();
  SetUp();
  EXPECT_EQ(add(4000), 1u);
}

}  // namespace
