// Drawing a window's tree, events, and the library's user-interface classes on the layer.
#include <algorithm>
#include <functional>
#include <tuple>

#include "tests/platform/ui_fixture.h"
#include "ui/q7canvas.h"
#include "ui/q7compas.h"
#include "ui/q7easymx.h"
#include "ui/q7gmanag.h"
#include "ui/q7mxbutto.h"
#include "ui/q7packer.h"
#include "ui/q7placer.h"
#include "ui/q7separg.h"

using namespace q7test;
using ::testing::HasSubstr;
using ::testing::Not;

namespace {

// A widget class of a client that draws a rectangle, takes events and may do something when it is told.
constexpr uint32_t kClient = 105;
std::function<uint64_t(Q7Object *, uint32_t, uint64_t, Q7TagItem *)> client_hook;

uint64_t client_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *slot) {
  const bool hook = method == Q7M_WIDGET_DRAW || method == Q7M_WIDGET_EVENT || method == Q7M_WIDGET_FOCUS;
  if (hook && client_hook) return client_hook(obj, method, a, slot);
  return cl->superdispatch(cl->super, obj, method, a, b, slot);
}

class Tree : public UiOnLayer {
 protected:
  Tree() {
    client_hook = nullptr;
    Q7ClassCreate(Q7C_WIDGET, kClient, client_dispatch, 0, Q7CT_NAME, word("client"), 0);
  }
  ~Tree() override { client_hook = nullptr; }
  Q7Object *widget(uint32_t clid, Q7Object *parent, int x, int y, int width, int height) {
    Q7Object *w = Q7ObjectCreate(clid, Q7A_WIDGET_PARENT, word(parent), 0);
    place(w, x, y, width, height);
    return w;
  }
  static void place(Q7Object *w, int x, int y, int width, int height) {
    Q7Set(w, Q7A_WIDGET_X, static_cast<uint64_t>(x), Q7A_WIDGET_Y, static_cast<uint64_t>(y), Q7A_WIDGET_WIDTH,
          static_cast<uint64_t>(width), Q7A_WIDGET_HEIGHT, static_cast<uint64_t>(height), 0);
  }
  static bool is_gadget(Q7Object *w) { return Q7ObjectIsOfKind(w, Q7C_OSGADGET) != 0; }
  Q7Object *at(int x, int y) {
    const Q7Point point = {static_cast<int16_t>(x), static_cast<int16_t>(y)};
    return reinterpret_cast<Q7Object *>(message(window(), Q7M_WINDOW_WIDGET_AT, 0, &point));
  }
};

// ---- Drawing ----

TEST_F(Tree, AnEmptyWindowIsItsBackground) {
  EXPECT_EQ(picture(), "drawing 200 100 #bfbfbf\ncolor #bfbfbf\nfill-rectangle 0,0 200 100\n");
}

TEST_F(Tree, ChildrenAreDrawnInOrderEachInItsPlace) {
  Q7Object *outer = widget(kClient, window(), 10, 20, 50, 40);
  Q7Object *inner = widget(kClient, outer, 30, 5, 50, 10);
  std::vector<Q7Object *> order;
  client_hook = [&](Q7Object *obj, uint32_t method, uint64_t a, Q7TagItem *dc) -> uint64_t {
    if (method != Q7M_WIDGET_DRAW) return 0;
    order.push_back(obj);
    return message(reinterpret_cast<Q7Object *>(dc), Q7M_DC_RECTANGLE, 0, reinterpret_cast<const void *>(a));
  };
  EXPECT_EQ(picture(),
            "drawing 200 100 #bfbfbf\ncolor #bfbfbf\nfill-rectangle 0,0 200 100\n"
            "clip 10 20 50 40\nrectangle 10,20 50 40\nclip 40 25 20 10\nrectangle 40,25 50 10\n");
  EXPECT_EQ(order, (std::vector<Q7Object *>{outer, inner}));
}

TEST_F(Tree, WhatIsHiddenOrEmptyIsNotDrawn) {
  Q7Object *hidden = widget(kClient, window(), 0, 0, 50, 40);
  widget(kClient, hidden, 0, 0, 10, 10);
  Q7Set(hidden, Q7A_WIDGET_SHOWN, uint64_t{0}, 0);
  widget(kClient, window(), 0, 0, 0, 40);
  int drawn = 0;
  client_hook = [&](Q7Object *, uint32_t, uint64_t, Q7TagItem *) -> uint64_t { return ++drawn; };
  picture();
  EXPECT_EQ(drawn, 0);
}

TEST_F(Tree, TheChildrenOfAFrameBeginAtItsClientArea) {
  Q7Object *frame = widget(Q7C_FRAME, window(), 10, 20, 60, 50);
  Q7Set(frame, Q7A_FRAME_LEFT, uint64_t{5}, Q7A_FRAME_TOP, uint64_t{7}, 0);
  Q7Object *child = widget(kClient, frame, 1, 2, 10, 10);
  client_hook = [&](Q7Object *, uint32_t, uint64_t a, Q7TagItem *dc) {
    return message(reinterpret_cast<Q7Object *>(dc), Q7M_DC_RECTANGLE, 0, reinterpret_cast<const void *>(a));
  };
  EXPECT_THAT(picture(), HasSubstr("clip 16 29 10 10\n"));
  EXPECT_EQ(at(16, 29), child);
  EXPECT_EQ(at(15, 29), frame);
}

TEST_F(Tree, AFramesTitleStandsInItsLine) {
  Q7Object *frame = widget(Q7C_FRAME, window(), 10, 20, 60, 50);
  EXPECT_THAT(picture(), HasSubstr("rectangle 11,21 59 49\ncolor #737373\nrectangle 10,20 59 49\n"));
  Q7Set(frame, Q7A_FRAME_TITLE, word("Title"), 0);
  EXPECT_THAT(picture(), HasSubstr("\"Title\"\n"));
}

TEST_F(Tree, ASeparatorIsAShadedAndALitLine) {
  Q7RegisterSeparatorGadgetClass(app());
  Q7Object *separator = widget(Q7C_SEPARATOR, window(), 10, 20, 100, 6);
  EXPECT_THAT(picture(),
              HasSubstr("color #737373\nfill-rectangle 10,22 100 1\ncolor #f2f2f2\nfill-rectangle 10,23 100 1"));
  Q7Set(separator, 41546, uint64_t{0}, 0);
  place(separator, 10, 20, 3, 50);
  EXPECT_THAT(picture(),
              HasSubstr("color #737373\nfill-rectangle 10,20 1 50\ncolor #f2f2f2\nfill-rectangle 11,20 1 50"));
}

TEST_F(Tree, WhatWasDrawnIntoAWindowLiesAboveItsChildren) {
  widget(kClient, window(), 10, 20, 50, 40);
  client_hook = [&](Q7Object *, uint32_t, uint64_t a, Q7TagItem *dc) {
    return message(reinterpret_cast<Q7Object *>(dc), Q7M_DC_RECTANGLE, 0, reinterpret_cast<const void *>(a));
  };
  const Q7Point line[2] = {{0, 0}, {9, 9}};
  message(pointer<Q7Object *>(window(), Q7A_WINDOW_DRAW_CONTEXT), Q7M_DC_POLYLINE, 2, line);
  EXPECT_THAT(picture(), HasSubstr("rectangle 10,20 50 40\nclip none\ncolor #000000\npolyline 0,0 9,9\n"));
}

TEST_F(Tree, APopupHasALineAroundItAndShowsWhatWasDrawnIntoIt) {
  Q7Object *popup = Q7ObjectCreate(Q7C_WINDOW, Q7A_WIDGET_PARENT, word(window()), Q7A_WIDGET_X, uint64_t{50},
                                   Q7A_WIDGET_Y, uint64_t{10}, Q7A_WIDGET_WIDTH, uint64_t{40}, Q7A_WIDGET_HEIGHT,
                                   uint64_t{30}, Q7A_WINDOW_KIND, uint64_t{12}, Q7A_WINDOW_BORDERLESS, uint64_t{1}, 0);
  const Q7Point line[2] = {{0, 0}, {9, 9}};
  message(pointer<Q7Object *>(popup, Q7A_WINDOW_DRAW_CONTEXT), Q7M_DC_POLYLINE, 2, line);
  EXPECT_THAT(picture(), HasSubstr("clip 50 10 40 30\nfill-rectangle 50,10 40 30\ncolor #737373\nrectangle 50,10 40 "
                                   "30\ncolor #000000\npolyline 50,10 59,19\n"));
}

TEST_F(Tree, TheMainLoopDrawsWhatAsksForIt) {
  Q7Object *w = widget(kClient, window(), 10, 20, 50, 40);
  int drawn = 0;
  client_hook = [&](Q7Object *, uint32_t, uint64_t, Q7TagItem *) -> uint64_t { return ++drawn; };
  Q7Refresh(w);
  Q7ProcessEventsA(app(), Q7PROCESS_POLL, nullptr);
  EXPECT_EQ(drawn, 0) << "not realized";
  message(window(), Q7M_WIDGET_REALIZE);
  EXPECT_EQ(Q7ProcessEventsA(app(), Q7PROCESS_POLL, nullptr), 1);
  EXPECT_EQ(drawn, 1);
  EXPECT_EQ(Q7ProcessEventsA(app(), Q7PROCESS_POLL, nullptr), 0);
  for (int i = 0; i < 10; ++i) EXPECT_EQ(Q7Refresh(w), 1);
  Q7ProcessEventsA(app(), Q7PROCESS_POLL, nullptr);
  EXPECT_EQ(drawn, 2) << "requests are joined";
  EXPECT_NE(pointer<Q7Object *>(window(), Q7A_WINDOW_PICTURE), nullptr);
  Q7Set(window(), Q7A_WIDGET_SHOWN, uint64_t{0}, 0);
  Q7ProcessEventsA(app(), Q7PROCESS_POLL, nullptr);
  EXPECT_EQ(drawn, 2) << "not shown";
}

TEST_F(Tree, AWidgetThatAsksWhileItIsDrawnHasItsTurnInTheNextRound) {
  widget(kClient, window(), 10, 20, 50, 40);
  message(window(), Q7M_WIDGET_REALIZE);
  int drawn = 0;
  client_hook = [&](Q7Object *obj, uint32_t, uint64_t, Q7TagItem *) -> uint64_t { return Q7Refresh(obj), ++drawn; };
  for (int i = 1; i <= 3; ++i) {
    Q7ProcessEventsA(app(), Q7PROCESS_POLL, nullptr);
    EXPECT_EQ(drawn, i);
  }
}

TEST_F(Tree, DeepTreesAreDrawnAsDeepAsOriginsGo) {
  Q7Object *w = window();
  for (int i = 0; i < 400; ++i) w = widget(kClient, w, 0, 0, 50, 40);
  int drawn = 0;
  client_hook = [&](Q7Object *, uint32_t, uint64_t, Q7TagItem *) -> uint64_t { return ++drawn; };
  picture();
  EXPECT_GE(drawn, 100);
  EXPECT_NE(at(1, 1), nullptr);
}

TEST_F(Tree, EveryFailingAllocationOfAPictureIsSurvived) {
  Capture quiet(1);
  gadget("Press", 10, 10, 80, 20);
  gadget("Field", 10, 40, 120, 20, Q7GADGET_FIELD);
  widget(Q7C_FRAME, window(), 0, 0, 200, 100);
  const std::string path = home() / "picture.txt";
  Q7TagItem list[2] = {{Q7A_DRAWING_PATH, word(path.c_str())}, {0, 0}};
  bool failed = true;
  for (int64_t n = 1; failed; ++n) {
    ASSERT_LT(n, 500);
    AllocGate gate;
    gate.fail(n);
    message(window(), Q7M_WINDOW_PICTURE, 0, list);
    failed = gate.refused() != 0;
  }
  EXPECT_EQ(message(window(), Q7M_WINDOW_PICTURE, 0, list), 1u);
}

// ---- Events ----

TEST_F(Tree, TheLastOneAtAPlaceIsFound) {
  Q7Object *below = widget(kClient, window(), 10, 10, 50, 50);
  Q7Object *above = widget(kClient, window(), 30, 30, 50, 50);
  EXPECT_EQ(at(20, 20), below);
  EXPECT_EQ(at(40, 40), above);
  EXPECT_EQ(at(0, 0), window());
  EXPECT_EQ(at(200, 0), nullptr);
  EXPECT_EQ(at(-1, 0), nullptr);
  Q7Set(above, Q7A_WIDGET_SHOWN, uint64_t{0}, 0);
  EXPECT_EQ(at(40, 40), below);
}

TEST_F(Tree, AnEventComesInTheCoordinatesOfWhoReceivesItAndGoesUpUntilItIsTaken) {
  Q7Object *outer = widget(kClient, window(), 10, 20, 100, 60);
  Q7Object *inner = widget(kClient, outer, 5, 6, 50, 40);
  std::vector<std::tuple<Q7Object *, int, int>> seen;
  client_hook = [&](Q7Object *obj, uint32_t method, uint64_t, Q7TagItem *slot) -> uint64_t {
    if (method != Q7M_WIDGET_EVENT) return 0;
    const auto *e = reinterpret_cast<const Q7Event *>(slot);
    seen.emplace_back(obj, e->x, e->y);
    return obj == outer;
  };
  EXPECT_EQ(press(20, 30), 1u);
  EXPECT_EQ(seen, (std::vector<std::tuple<Q7Object *, int, int>>{{inner, 5, 4}, {outer, 10, 10}}));
  seen.clear();
  EXPECT_EQ(motion(190, 90), 1u) << "goes to who took the press";
  EXPECT_EQ(seen, (std::vector<std::tuple<Q7Object *, int, int>>{{outer, 180, 70}}));
  EXPECT_EQ(release(0, 0), 1u);
  seen.clear();
  EXPECT_EQ(motion(190, 90), 0u);
  EXPECT_TRUE(seen.empty());
}

TEST_F(Tree, AHandlerMayDeleteTheWidget) {
  Q7Object *outer = widget(kClient, window(), 10, 20, 100, 60);
  Q7Object *inner = widget(kClient, outer, 5, 6, 50, 40);
  int asked = 0;
  client_hook = [&](Q7Object *obj, uint32_t method, uint64_t, Q7TagItem *) -> uint64_t {
    if (method != Q7M_WIDGET_EVENT) return 0;
    ++asked;
    if (obj == inner) Q7ObjectDelete(outer);
    return 0;
  };
  EXPECT_EQ(press(20, 30), 0u);
  EXPECT_EQ(asked, 1);
}

TEST_F(Tree, AHandlerMayDeleteTheWindow) {
  widget(kClient, window(), 10, 20, 100, 60);
  for (int32_t kind : {Q7EVENT_PRESS, Q7EVENT_MOTION, Q7EVENT_RESIZE, Q7EVENT_CLOSE}) {
    Q7Object *w = Q7ObjectCreate(Q7C_WINDOW, 41503, uint64_t{50}, 41504, uint64_t{50}, 0);
    widget(kClient, w, 0, 0, 50, 50);
    Q7Object *deleter = make_probe([](Q7Object *, uint32_t, uint64_t, uint64_t b, Q7TagItem *) -> uint64_t {
      return Q7ObjectDelete(reinterpret_cast<Q7Object *>(b));
    });
    Q7SendMsg(w, Q7M_WIDGET_ADD_CALLBACK, Q7A_CALLBACK_OBJECT, word(deleter), Q7A_CALLBACK_METHOD, uint64_t{100002}, 0);
    client_hook = [&](Q7Object *, uint32_t method, uint64_t, Q7TagItem *) -> uint64_t {
      if (method == Q7M_WIDGET_EVENT) Q7ObjectDelete(w);
      return 0;
    };
    const Q7Event e = {kind, 1, 0, 5, 5, 0, 60, 60, 0, nullptr};
    message(w, Q7M_WINDOW_EVENT, 0, &e);
    Q7SendMsg(deleter, Q7M_RELEASE, 0);
  }
}

TEST_F(Tree, AResizeLaysOutAndNotifies) {
  Q7RegisterPackerClass(app());
  Q7Object *packer = Q7ObjectCreate(Q7C_PACKER, 0);
  Q7Object *g = gadget("Press", 0, 0, 10, 10);
  message(packer, Q7M_PACKER_PACK, 0, g);
  packer->dispatch(packer->cl, packer, Q7M_PACKER_PACK, Q7PACK_FILL_X, Q7ANCHOR_CENTER,
                   reinterpret_cast<Q7TagItem *>(g));
  Q7Set(window(), Q7A_WINDOW_CONTENT, word(packer), 0);
  listen(window());
  EXPECT_EQ(event({Q7EVENT_RESIZE, 0, 0, 0, 0, 0, 333, 222, 0, nullptr}), 1u);
  EXPECT_EQ(number(window(), 20510), 333);
  EXPECT_EQ(number(window(), 20511), 222);
  EXPECT_EQ(number(packer, 41503), 333);
  EXPECT_EQ(number(packer, 41504), 222);
  EXPECT_EQ(number(g, 41503), 333);
  EXPECT_EQ(heard(), (std::vector<Heard>{{100001, 20510, word(window()), 333}}));
  EXPECT_EQ(event({Q7EVENT_RESIZE, 0, 0, 0, 0, 0, 0, 5, 0, nullptr}), 0u);
}

TEST_F(Tree, AWindowWithoutASizeTakesItsContents) {
  Q7RegisterPackerClass(app());
  Q7Object *w = Q7ObjectCreate(Q7C_WINDOW, 0);
  Q7Object *packer = Q7ObjectCreate(Q7C_PACKER, 0);
  Q7Object *g = Q7ObjectCreate(26, 41500, word(w), 41505, uint64_t{70}, 41506, uint64_t{33}, 0);
  packer->dispatch(packer->cl, packer, Q7M_PACKER_PACK, 0, Q7ANCHOR_CENTER, reinterpret_cast<Q7TagItem *>(g));
  Q7Set(w, Q7A_WINDOW_CONTENT, word(packer), 0);
  message(w, Q7M_WIDGET_REALIZE);
  EXPECT_EQ(number(w, 41503), number(packer, 41505));
  EXPECT_EQ(number(w, 41503), 70);
  EXPECT_EQ(number(w, 41504), 33);
  Q7ObjectDelete(w);
}

TEST_F(Tree, AClosedWindowSaysSo) {
  listen(window());
  EXPECT_EQ(number(window(), Q7A_WINDOW_CLOSED), 0);
  EXPECT_EQ(event({Q7EVENT_CLOSE, 0, 0, 0, 0, 0, 0, 0, 0, nullptr}), 1u);
  EXPECT_EQ(number(window(), Q7A_WINDOW_CLOSED), 1);
  EXPECT_EQ(heard(), (std::vector<Heard>{{100001, 20505, word(window()), 1}}));
}

TEST_F(Tree, UnknownEventsAndNullAreNotTaken) {
  EXPECT_EQ(message(window(), Q7M_WINDOW_EVENT), 0u);
  EXPECT_EQ(event({77, 0, 0, 0, 0, 0, 0, 0, 0, nullptr}), 0u);
  EXPECT_EQ(message(window(), Q7M_WINDOW_WIDGET_AT), 0u);
  EXPECT_EQ(message(window(), Q7M_WIDGET_DRAW), 0u);
}

TEST_F(Tree, ACanvasTellsItsPointerEvents) {
  Q7RegisterCanvasClass(app());
  Q7Object *canvas = widget(Q7C_CANVAS, window(), 10, 10, 50, 50);
  Q7Set(canvas, Q7A_WIDGET_PARENT, word(window()), 0);
  listen(canvas);
  static Q7Event last;
  receiver() = [](Q7Object *, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *slot) -> uint64_t {
    heard().push_back({method, a, b, 0});
    last = *reinterpret_cast<const Q7Event *>(slot);
    return 1;
  };
  EXPECT_EQ(press(30, 20), 1u);
  EXPECT_EQ(heard(), (std::vector<Heard>{{100001, Q7M_WIDGET_EVENT, word(canvas), 0}}));
  EXPECT_EQ(last.kind, Q7EVENT_PRESS);
  EXPECT_EQ(last.x, 20);
  EXPECT_EQ(last.y, 10);
  EXPECT_EQ(release(100, 90), 1u);
  EXPECT_EQ(last.kind, Q7EVENT_RELEASE);
  EXPECT_EQ(last.x, 90);
}

TEST_F(Tree, AModalWindowKeepsInputFromTheOthers) {
  listen(gadget("Press", 10, 10, 80, 20));
  Q7Object *dialog =
      Q7ObjectCreate(Q7C_WINDOW, 41503, uint64_t{50}, 41504, uint64_t{50}, Q7A_WINDOW_MODAL, uint64_t{1}, 0);
  EXPECT_EQ(click(15, 15), 1u) << "not realized";
  message(dialog, Q7M_WIDGET_REALIZE);
  EXPECT_EQ(click(15, 15), 0u);
  EXPECT_EQ(event({Q7EVENT_CLOSE, 0, 0, 0, 0, 0, 0, 0, 0, nullptr}), 0u);
  const Q7Event close = {Q7EVENT_CLOSE, 0, 0, 0, 0, 0, 0, 0, 0, nullptr};
  EXPECT_EQ(message(dialog, Q7M_WINDOW_EVENT, 0, &close), 1u);
  Q7ObjectDelete(dialog);
  EXPECT_EQ(click(15, 15), 1u);
  EXPECT_EQ(heard().size(), 2u);
}

TEST_F(Tree, AWindowThatIsNotResizableStaysAsItIs) {
  EXPECT_EQ(number(window(), Q7A_WINDOW_RESIZABLE), 1);
  Q7Set(window(), Q7A_WINDOW_RESIZABLE, uint64_t{0}, 0);
  EXPECT_EQ(event({Q7EVENT_RESIZE, 0, 0, 0, 0, 0, 333, 222, 0, nullptr}), 0u);
  EXPECT_EQ(number(window(), 20510), 200);
}

TEST_F(Tree, AWindowMayLeaveTheKeyboardWhereItIs) {
  Q7Object *first = gadget("1", 0, 0, 20, 20);
  click(5, 5);
  Q7Object *popup =
      Q7ObjectCreate(Q7C_WINDOW, Q7A_WIDGET_PARENT, word(window()), Q7A_WIDGET_X, uint64_t{50}, Q7A_WIDGET_WIDTH,
                     uint64_t{40}, Q7A_WIDGET_HEIGHT, uint64_t{30}, Q7A_WINDOW_NO_FOCUS, uint64_t{1}, 0);
  Q7Object *inner = Q7ObjectCreate(26, Q7A_WIDGET_PARENT, word(popup), 41503, uint64_t{40}, 41504, uint64_t{30}, 0);
  click(60, 10);
  EXPECT_EQ(pointer<Q7Object *>(window(), Q7A_WINDOW_FOCUS), first);
  Q7Set(popup, Q7A_WINDOW_NO_FOCUS, uint64_t{0}, 0);
  click(60, 10);
  EXPECT_EQ(pointer<Q7Object *>(window(), Q7A_WINDOW_FOCUS), inner);
}

TEST_F(Tree, WhatIsDraggedIsDroppedOnTheWidgetUnderThePointer) {
  static Q7Object *dragged;
  dragged = Q7ObjectCreate(Q7C_ICON, 0);
  Q7SendMsg(dragged, Q7M_ADDREF, 0);
  Q7Object *source = widget(kClient, window(), 0, 0, 50, 50);
  Q7Object *target = widget(kClient, window(), 100, 10, 50, 50);
  receiver() = [](Q7Object *, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *slot) -> uint64_t {
    if (method == 100010) return word(dragged);
    if (method == 100013) {
      heard().push_back({method, a, b, word(slot)});
      return 1;
    }
    const auto *point = reinterpret_cast<const Q7Point *>(b);
    heard().push_back({method, a, static_cast<uint64_t>(point->x), static_cast<uint64_t>(point->y)});
    return 77;
  };
  Q7Set(source, Q7A_WIDGET_DRAG_HANDLER, word(listener()), Q7A_WIDGET_DRAG_METHOD, uint64_t{100010},
        Q7A_WIDGET_DRAG_FINISHED_METHOD, uint64_t{100013}, 0);
  Q7Set(target, Q7A_WIDGET_DROP_HANDLER, word(listener()), Q7A_WIDGET_CAN_DROP_METHOD, uint64_t{100011},
        Q7A_WIDGET_DROP_METHOD, uint64_t{100012}, 0);
  EXPECT_EQ(press(10, 10), 1u);
  motion(25, 10);
  EXPECT_EQ(dragged->refcount, 1) << "below the threshold";
  motion(31, 10);
  EXPECT_EQ(dragged->refcount, 2);
  EXPECT_EQ(motion(110, 30), 1u);
  EXPECT_EQ(release(110, 30), 1u);
  EXPECT_EQ(heard(),
            (std::vector<Heard>{
                {100011, word(dragged), 10, 20}, {100012, word(dragged), 10, 20}, {100013, 77, word(source), 0}}));
  EXPECT_EQ(dragged->refcount, 1);
  heard().clear();
  press(10, 10);
  motion(60, 60);
  EXPECT_EQ(release(60, 60), 1u);
  EXPECT_EQ(heard(), (std::vector<Heard>{{100013, 0, word(source), 0}})) << "dropped on nothing";
  press(10, 10);
  motion(60, 60);
  Q7SendMsg(dragged, Q7M_RELEASE, 0);
}

TEST_F(Tree, RandomEventsAmongWidgetsThatComeAndGoAreSurvived) {
  Q7RegisterCompassClass(app());
  Q7RegisterCanvasClass(app());
  uint32_t state = 12345;
  const auto random = [&](int32_t below) {
    state = state * 1664525 + 1013904223;
    return static_cast<int32_t>((state >> 8) % static_cast<uint32_t>(below));
  };
  std::vector<Q7Object *> widgets;
  const auto remove = [&](Q7Object *gone) { widgets.erase(std::find(widgets.begin(), widgets.end(), gone)); };
  // A client's widget takes one event of three, and goes at one of nine.
  client_hook = [&](Q7Object *obj, uint32_t method, uint64_t, Q7TagItem *) -> uint64_t {
    if (method != Q7M_WIDGET_EVENT) return method == Q7M_WIDGET_FOCUS;
    const int32_t choice = random(9);
    if (choice == 0) {
      remove(obj);
      Q7ObjectDelete(obj);
    }
    return choice < 3;
  };
  Q7Object *compass =
      Q7ObjectCreate(Q7C_COMPASS, Q7A_COMPASS_PARENT, word(window()), Q7A_COMPASS_RINGS, uint64_t{2}, 0);
  Q7Set(window(), Q7A_WINDOW_POINTER_OBJECT, word(compass), Q7A_WINDOW_POINTER_PRESS, uint64_t{899000},
        Q7A_WINDOW_POINTER_MOTION, uint64_t{899003}, Q7A_WINDOW_POINTER_RELEASE, uint64_t{899001}, 0);
  message(window(), Q7M_WIDGET_REALIZE);
  const char *const texts[] = {"a", " ", "\xC3\xA4", "\xFF", "12", nullptr};
  for (int i = 0; i < 3000; ++i) {
    const int x = random(240) - 20;
    const int y = random(140) - 20;
    switch (random(10)) {
      case 0: press(x, y, 1 + random(3)); break;
      case 1: release(x, y, 1 + random(3)); break;
      case 2:
      case 3: motion(x, y); break;
      case 4: key(random(12), static_cast<uint32_t>(random(8))); break;
      case 5: type(texts[random(6)]); break;
      case 6: event({Q7EVENT_RESIZE, 0, 0, 0, 0, 0, 100 + random(200), 50 + random(100), 0, nullptr}); break;
      case 7:
        if (widgets.size() < 20) {
          const uint32_t classes[] = {kClient, Q7C_OSGADGET, Q7C_FRAME, Q7C_SPLITTER, Q7C_CANVAS, kClient};
          Q7Object *w = Q7ObjectCreate(classes[random(6)], Q7A_WIDGET_PARENT, word(window()), 0);
          ASSERT_NE(w, nullptr);
          Q7Set(w, Q7A_WIDGET_PARENT, word(window()), 0);
          place(w, random(150), random(80), 1 + random(80), 1 + random(40));
          if (is_gadget(w)) Q7Set(w, Q7A_GADGET_LOOK, static_cast<uint64_t>(random(7)), 21500, word("Label"), 0);
          widgets.push_back(w);
        }
        break;
      case 8:
        if (!widgets.empty() && random(4) == 0) {
          Q7Object *gone = widgets[static_cast<size_t>(random(static_cast<int32_t>(widgets.size())))];
          remove(gone);
          Q7ObjectDelete(gone);
        }
        break;
      default:
        if (random(10) == 0) picture();
        Q7ProcessEventsA(app(), Q7PROCESS_POLL, nullptr);
        break;
    }
  }
  Q7Set(window(), Q7A_WINDOW_POINTER_OBJECT, uint64_t{0}, 0);
}

// ---- The library's classes on the layer ----

TEST_F(Tree, ASplitterDragMovesThePanesOfAPlacer) {
  Q7RegisterPlacerClass(app());
  Q7Object *placer = Q7ObjectCreate(Q7C_PLACER, 0);
  Q7Object *left = widget(kClient, window(), 0, 0, 0, 0);
  Q7Object *right = widget(kClient, window(), 0, 0, 0, 0);
  Q7Object *splitter = widget(Q7C_SPLITTER, window(), 0, 0, 0, 0);
  const auto add = [&](Q7Object *slave, uint64_t x, uint64_t width) {
    Q7SendMsg(placer, Q7M_GMANAGER_ADD, Q7A_GMANAGER_SLAVE, word(slave), 25504, x, 25505, uint64_t{0}, 25506, width,
              25507, uint64_t{100}, 0);
  };
  add(left, 0, 50);
  add(right, 50, 50);
  Q7SendMsg(placer, Q7M_GMANAGER_ADD, Q7A_GMANAGER_SLAVE, word(splitter), 25512, uint64_t{1}, 25513, word(left), 25514,
            word(right), 0);
  Q7Set(window(), Q7A_WINDOW_CONTENT, word(placer), 0);
  message(window(), Q7M_WIDGET_REALIZE);
  const int32_t x = number(splitter, 41501);
  const int32_t before = number(left, 41503);
  ASSERT_GT(x, 80);
  EXPECT_EQ(at(x + 1, 50), splitter);
  EXPECT_EQ(press(x + 1, 50), 1u);
  EXPECT_EQ(motion(x + 31, 60), 1u);
  EXPECT_EQ(number(splitter, 284501), 30);
  EXPECT_EQ(number(splitter, 41501), x + 30);
  EXPECT_EQ(number(left, 41503), before + 30);
  motion(x + 21, 60);
  EXPECT_EQ(number(splitter, 41501), x + 20);
  EXPECT_EQ(release(x + 21, 60), 1u);
  EXPECT_EQ(number(splitter, 41501), x + 20);
  EXPECT_EQ(motion(x + 50, 60), 0u);
}

class Groups : public Tree {
 protected:
  Groups() {
    Q7RegisterEasyMxClass(app());
    static const char *const labels[] = {"One", "Two", "Three", nullptr};
    static const uint64_t values[] = {10, 20, 30};
    group_ = Q7ObjectCreate(Q7C_EASYMX, Q7A_WIDGET_PARENT, word(window()), Q7A_MX_LABELS, word(labels), Q7A_MX_VALUES,
                            word(values), Q7A_MX_ORDINAL, uint64_t{1}, 0);
    Q7SendMsg(group_, Q7M_ADDREF, 0);
    Q7Set(window(), Q7A_WINDOW_CONTENT, word(pointer<Q7Object *>(group_, Q7A_MX_MANAGER)), 0);
    message(window(), Q7M_WIDGET_REALIZE);
    listen(group_);
  }
  ~Groups() override { Q7SendMsg(group_, Q7M_RELEASE, 0); }
  Q7Object *group() { return group_; }

 private:
  Q7Object *group_;
};

TEST_F(Groups, AreMadeOfRadioButtonsOfTheLayer) {
  ASSERT_NE(group(), nullptr);
  EXPECT_EQ(number(group(), Q7A_MX_ORDINAL), 1);
  EXPECT_EQ(number(group(), Q7A_EASYMX_COUNT), 3);
  EXPECT_EQ(pointer<uint64_t>(group(), Q7A_EASYMX_VALUE), 20u);
  Q7Object *first = at(5, 5);
  EXPECT_EQ(Q7ObjectIsOfKind(first, 26), 1);
  EXPECT_STREQ(pointer<const char *>(first, 21500), "One");
  EXPECT_EQ(pointer<uint64_t>(first, 21513), 10u);
  EXPECT_TRUE(errors().empty());
}

TEST_F(Groups, APressActivatesAndNotifies) {
  Q7Object *first = at(5, 5);
  EXPECT_EQ(click(5, 5), 1u);
  EXPECT_EQ(number(group(), Q7A_MX_ORDINAL), 0);
  EXPECT_EQ(pointer<Q7Object *>(group(), Q7A_MX_ACTIVE), first);
  EXPECT_EQ(number(first, 21509), 1);
  EXPECT_EQ(heard(), (std::vector<Heard>{{100001, 0, word(group()), 0}}));
  const int32_t third = number(first, 41504) * 2 + 5;
  click(5, third);
  EXPECT_EQ(number(group(), Q7A_MX_ORDINAL), 2);
  EXPECT_EQ(number(first, 21509), 0);
  EXPECT_EQ(number(at(5, third), 21509), 1);
  EXPECT_EQ(heard().back(), (Heard{100001, 2, word(group()), 2}));
}

TEST_F(Groups, AreSeen) {
  const std::string text = picture();
  for (const char *label : {"\"One\"", "\"Two\"", "\"Three\""}) EXPECT_THAT(text, HasSubstr(label));
  Q7Set(group(), 21502, uint64_t{0}, 0);
  EXPECT_NE(picture(), text);
}

TEST_F(Groups, AGroupThatIsNotExclusiveLetsItsMembersSelectThemselves) {
  Q7Set(group(), Q7A_MX_EXCLUSIVE, uint64_t{0}, 0);
  Q7Object *first = at(5, 5);
  click(5, 5);
  EXPECT_EQ(number(first, 21509), 1);
  EXPECT_EQ(number(group(), Q7A_MX_ORDINAL), 0);
}

TEST_F(Tree, ASteppingButtonGoesThroughItsItems) {
  Q7RegisterMxButtonClass(app());
  const char *const labels[] = {"Low", "High", nullptr};
  const uint64_t values[] = {5, 9};
  Q7Object *button = Q7ObjectCreate(Q7C_MXBUTTON, Q7A_WIDGET_PARENT, word(window()), Q7A_MX_LABELS, word(labels),
                                    Q7A_MX_VALUES, word(values), 41503, uint64_t{60}, 41504, uint64_t{20}, 0);
  ASSERT_NE(button, nullptr);
  listen(button);
  EXPECT_STREQ(pointer<const char *>(button, 21500), "Low");
  EXPECT_THAT(picture(), HasSubstr("\"Low\""));
  EXPECT_EQ(click(5, 5), 1u);
  EXPECT_STREQ(pointer<const char *>(button, 21500), "High");
  EXPECT_EQ(pointer<uint64_t>(button, 21513), 9u);
  EXPECT_EQ(number(button, 395500), 1);
  EXPECT_EQ(heard(), (std::vector<Heard>{{100001, 1, word(button), 1}}));
  EXPECT_THAT(picture(), HasSubstr("\"High\""));
  click(5, 5);
  EXPECT_STREQ(pointer<const char *>(button, 21500), "Low");
}

class Compasses : public Tree {
 protected:
  Compasses() {
    Q7RegisterCompassClass(app());
    Q7Set(window(), 41503, uint64_t{400}, 41504, uint64_t{400}, 0);
    compass_ = Q7ObjectCreate(Q7C_COMPASS, Q7A_COMPASS_PARENT, word(window()), Q7A_COMPASS_TARGET, word(listener()),
                              Q7A_COMPASS_METHOD, uint64_t{100003}, Q7A_COMPASS_RINGS, uint64_t{2}, 0);
    Q7SendMsg(compass_, Q7M_ADDREF, 0);
    Q7Set(window(), Q7A_WINDOW_POINTER_OBJECT, word(compass_), Q7A_WINDOW_POINTER_PRESS, uint64_t{899000},
          Q7A_WINDOW_POINTER_MOTION, uint64_t{899003}, Q7A_WINDOW_POINTER_RELEASE, uint64_t{899001}, 0);
  }
  ~Compasses() override { Q7SendMsg(compass_, Q7M_RELEASE, 0); }
  Q7Object *compass() { return compass_; }

 private:
  Q7Object *compass_;
};

TEST_F(Compasses, FollowThePointerOfAWindow) {
  EXPECT_EQ(press(200, 200), 1u);
  Q7Object *popup = at(200, 200);
  EXPECT_EQ(Q7ObjectIsOfKind(popup, Q7C_WINDOW), 1);
  EXPECT_NE(popup, window());
  EXPECT_EQ(number(popup, 41503), 290);
  EXPECT_EQ(number(popup, 41504), 260);
  EXPECT_EQ(motion(200, 60), 1u);  // 70 pixels up for the needle: ring 1, north
  ASSERT_EQ(heard().size(), 1u);
  EXPECT_EQ(heard()[0], (Heard{100003, 0, 1, 0}));
  EXPECT_EQ(release(200, 60), 1u);
  EXPECT_EQ(heard().back(), (Heard{100003, 1, 1, 0}));
  EXPECT_EQ(at(200, 200), window()) << "closed";
  EXPECT_TRUE(errors().empty());
}

TEST_F(Compasses, DrawTheirRoseAndNeedle) {
  press(200, 200);
  motion(200, 60);
  const std::string text = picture();
  EXPECT_THAT(text, HasSubstr("color #264080\n")) << "the chosen spoke";
  EXPECT_THAT(text, HasSubstr("mode invert\npolyline 200,200 200,130\n"));
  motion(340, 200);
  const std::string moved = picture();
  EXPECT_THAT(moved, HasSubstr("polyline 200,200 270,200\n"));
  EXPECT_THAT(moved, Not(HasSubstr("polyline 200,200 200,130\n"))) << "the old needle was taken away";
  const auto lines = [](const std::string &drawn) {
    size_t count = 0;
    for (size_t i = 0; (i = drawn.find("polyline", i)) != std::string::npos; ++i) ++count;
    return count;
  };
  EXPECT_EQ(lines(moved), lines(text)) << "the new rose took the place of the old one";
  release(340, 200);
  EXPECT_EQ(picture(), "drawing 400 400 #bfbfbf\ncolor #bfbfbf\nfill-rectangle 0,0 400 400\n");
}

TEST_F(Compasses, DrawnToForHoursTheListStaysShort) {
  press(200, 200);
  Q7Object *popup = at(200, 200);
  auto *context = pointer<Q7Object *>(popup, Q7A_WINDOW_DRAW_CONTEXT);
  int32_t most = 0;
  for (int i = 0; i < 2000; ++i) {
    motion(200 + (i * 37) % 150 - 75, 200 + (i * 53) % 150 - 75);
    most = std::max(most, number(context, Q7A_DRAWING_COUNT));
  }
  EXPECT_LT(most, 200);
  release(200, 200);
}

TEST_F(Compasses, AParentThatGoesWhileOneIsOpen) {
  press(200, 200);
  Q7Object *w = window();
  forget_window();
  Q7ObjectDelete(w);
  EXPECT_EQ(message(compass(), Q7M_COMPASS_CLOSE), 1u);
}

}  // namespace
