#include "tests/platform/mini_app.h"

using namespace q7test;

namespace {

class Windows : public PlatformTest {
 protected:
  static int32_t get_int(Q7Object *object, uint32_t tag) {
    int32_t value = -12345;
    Q7Get(object, tag, word(&value), 0);
    return value;
  }
};

// A stand-in for the widget class: keeps the attributes that the classes here look at.
struct FakeWidget {
  int32_t width, height;
  Q7Object *manager;
};
uint64_t widget_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  auto &widget = *reinterpret_cast<FakeWidget *>(reinterpret_cast<char *>(obj) + cl->ioffset);
  Q7TagItem *item = tags;
  if (method == Q7M_SET && item && item->tag == 41503) return widget.width = static_cast<int32_t>(item->data), 0;
  if (method == Q7M_SET && item && item->tag == 41504) return widget.height = static_cast<int32_t>(item->data), 0;
  if (method == Q7M_SET && item && item->tag == 41543) {
    widget.manager = reinterpret_cast<Q7Object *>(item->data);
    return 0;
  }
  if (method == Q7M_GET && item && item->tag == 41503)
    return *reinterpret_cast<int32_t *>(item->data) = widget.width, 0;
  if (method == Q7M_GET && item && item->tag == 41504)
    return *reinterpret_cast<int32_t *>(item->data) = widget.height, 0;
  if (method == Q7M_GET && item && item->tag == 41543) {
    *reinterpret_cast<Q7Object **>(item->data) = widget.manager;
    return 0;
  }
  return cl->superdispatch(cl->super, obj, method, a, b, tags);
}
void make_widget_class() { Q7ClassCreate(Q7C_ROOT, 41, widget_dispatch, sizeof(FakeWidget), 0); }

TEST_F(Windows, WithoutAWidgetClassTheRegistrationIsRefusedAndReported) {
  EXPECT_EQ(Q7RegisterWindowClass(app()), 0);
  EXPECT_EQ(Q7RegisterOSGadgetClass(app()), 0);
  EXPECT_EQ(errors(),
            (std::vector<std::string>{"q7posix: q7window: class 20 needs class 41, which is not registered",
                                      "q7posix: q7osgadget: class 26 needs class 21, which is not registered"}));
}

TEST_F(Windows, TheWindowClassesStandOnTheWidgetClass) {
  make_widget_class();
  EXPECT_EQ(Q7RegisterWindowClass(app()), 1);
  EXPECT_EQ(Q7RegisterWindowClass(app()), 1);
  for (uint32_t id : {20u, 29u, 284u}) EXPECT_EQ(Q7ClassIdIsOfKind(id, 41), 1) << id;
}

TEST_F(Windows, TheNativeGadgetsStandOnTheGadgetClass) {
  make_widget_class();
  Q7ClassCreate(41, 21, nullptr, 0, 0);
  EXPECT_EQ(Q7RegisterOSGadgetClass(app()), 1);
  for (uint32_t id : {26u, 80u}) EXPECT_EQ(Q7ClassIdIsOfKind(id, 21), 1) << id;
}

TEST_F(Windows, AWindowKeepsItsAttributes) {
  make_widget_class();
  Q7RegisterWindowClass(app());
  Q7Object *window = Q7ObjectCreate(Q7C_WINDOW, 20526, uint64_t{2}, 20500, uint64_t{15}, 0);
  EXPECT_EQ(get_int(window, 20526), 2);
  EXPECT_EQ(get_int(window, 20500), 15);
  EXPECT_EQ(get_int(window, 20525), 0);
  Q7Set(window, 20525, uint64_t{1}, Q7A_WINDOW_DRAW_CONTEXT, word(window), 0);
  EXPECT_EQ(get_int(window, 20525), 1);
  Q7Object *context = nullptr;
  Q7Get(window, Q7A_WINDOW_DRAW_CONTEXT, word(&context), 0);
  EXPECT_EQ(context, window);
  EXPECT_TRUE(errors().empty());
  Q7ObjectDelete(window);
}

TEST_F(Windows, TheInnerSizeIsTheSize) {
  make_widget_class();
  Q7RegisterWindowClass(app());
  Q7Object *window = Q7ObjectCreate(Q7C_WINDOW, 0);
  Q7Set(window, 41503, uint64_t{320}, 41504, uint64_t{200}, 0);
  EXPECT_EQ(get_int(window, 20510), 320);
  EXPECT_EQ(get_int(window, 20511), 200);
  Q7ObjectDelete(window);
}

TEST_F(Windows, AnUnknownWindowAttributeReachesTheRootClass) {
  make_widget_class();
  Q7RegisterWindowClass(app());
  Q7Object *window = Q7ObjectCreate(Q7C_WINDOW, 0);
  EXPECT_NE(Q7Set(window, 20550, uint64_t{1}, 0), 0u);
  EXPECT_EQ(errors().size(), 1u);
  Q7ObjectDelete(window);
}

TEST_F(Windows, AFramesInsetsAreItsClientOffset) {
  make_widget_class();
  Q7RegisterWindowClass(app());
  Q7Object *frame = Q7ObjectCreate(29, 41522, uint64_t{3}, 41523, uint64_t{4}, 0);
  EXPECT_EQ(get_int(frame, 41522), 3);
  EXPECT_EQ(get_int(frame, 41524), 2);
  EXPECT_EQ(get_int(frame, 41525), 2);
  EXPECT_EQ(get_int(frame, 41509), 3);
  EXPECT_EQ(get_int(frame, 41510), 4);
  Q7ObjectDelete(frame);
}

TEST_F(Windows, ADraggedSplitterNotifiesItsManager) {
  make_widget_class();
  Q7RegisterWindowClass(app());
  static Q7Object *splitter;
  static int32_t asked;
  // The manager reads the distance from the splitter, as a placer does.
  Q7ClassCreate(
      Q7C_ROOT, 102,
      [](Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) -> uint64_t {
        if (method != 25001) return cl->superdispatch(cl->super, obj, method, a, b, tags);
        EXPECT_EQ(a, 284501u);
        EXPECT_EQ(b, word(splitter));
        EXPECT_EQ(static_cast<int32_t>(word(tags)), -7);
        asked = get_int(splitter, 284501);
        return 5;
      },
      0, 0);
  Q7Object *manager = Q7ObjectCreate(102, 0);
  splitter = Q7ObjectCreate(284, 0);
  Q7Set(splitter, 41543, word(manager), 0);
  EXPECT_EQ(splitter->dispatch(splitter->cl, splitter, 284000, 0, 0,
                               reinterpret_cast<Q7TagItem *>(static_cast<uint64_t>(static_cast<uint32_t>(-7)))),
            5u);
  EXPECT_EQ(asked, -7);
  Q7ObjectDelete(splitter);
  Q7ObjectDelete(manager);
}

TEST_F(Windows, AFontHasAHeightAndAnAscent) {
  Q7Object *font = Q7ObjectCreate(11, 0);
  EXPECT_EQ(get_int(font, 11501), 10);
  EXPECT_EQ(get_int(font, 11504), 8);
  Q7Set(font, 11501, uint64_t{16}, 0);
  EXPECT_EQ(get_int(font, 11501), 16);
  Q7ObjectDelete(font);
}

TEST_F(Windows, IconsAndCursorsKeepTheirSizes) {
  Q7Object *icon = Q7ObjectCreate(27, 27500, uint64_t{32}, 27501, uint64_t{24}, 513, word("open"), 0);
  EXPECT_EQ(get_int(icon, 27500), 32);
  EXPECT_EQ(get_int(icon, 27501), 24);
  EXPECT_STREQ(icon->name, "open");
  Q7ObjectDelete(icon);
  Q7Object *cursor = Q7ObjectCreate(28, 28500, uint64_t{3}, 0);
  EXPECT_EQ(get_int(cursor, 28500), 3);
  Q7ObjectDelete(cursor);
}

TEST_F(Windows, RefreshTakesWidgetsOnly) {
  make_widget_class();
  Q7RegisterWindowClass(app());
  Q7Object *window = Q7ObjectCreate(Q7C_WINDOW, 0);
  Q7Object *font = Q7ObjectCreate(11, 0);
  EXPECT_EQ(Q7Refresh(window), 1);
  EXPECT_EQ(Q7Refresh(font), 0);
  EXPECT_EQ(Q7Refresh(nullptr), 0);
  Q7ObjectDelete(font);
  Q7ObjectDelete(window);
}

}  // namespace
