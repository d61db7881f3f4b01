#include "tests/platform/mini_app.h"
#include "ui/q7gmanag.h"
#include "ui/q7widget.h"

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

TEST_F(Windows, WithoutTheirSuperclassTheyAreRefused) {
  for (int64_t n = 1; n <= 2; ++n) {
    AllocGate gate;
    gate.fail(n, true);
    EXPECT_EQ(Q7RegisterWindowClass(app()), 0);
    EXPECT_EQ(Q7RegisterOSGadgetClass(app()), 0);
    gate.pass();
    EXPECT_EQ(Q7ClassFind(Q7C_WINDOW), nullptr);
  }
  EXPECT_EQ(Q7RegisterWindowClass(app()), 1);
}

TEST_F(Windows, TheWindowClassesStandOnTheWidgetClass) {
  EXPECT_EQ(Q7RegisterWindowClass(app()), 1);
  EXPECT_EQ(Q7RegisterWindowClass(app()), 1);
  for (uint32_t id : {20u, 29u, 284u}) EXPECT_EQ(Q7ClassIdIsOfKind(id, 41), 1) << id;
}

TEST_F(Windows, TheNativeGadgetsStandOnTheGadgetClass) {
  EXPECT_EQ(Q7RegisterOSGadgetClass(app()), 1);
  for (uint32_t id : {26u, 80u}) EXPECT_EQ(Q7ClassIdIsOfKind(id, 21), 1) << id;
}

TEST_F(Windows, AWindowKeepsItsAttributes) {
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
  Q7Set(window, Q7A_WINDOW_DRAW_CONTEXT, uint64_t{0}, 0);
  Q7ObjectDelete(window);
}

TEST_F(Windows, EveryAttributeOfTheRangeCanBeSetAndRead) {
  Q7RegisterWindowClass(app());
  Q7Object *window = Q7ObjectCreate(Q7C_WINDOW, 0);
  for (uint32_t tag = 20500; tag <= 20549; ++tag) {
    uint64_t value[2] = {UINT64_C(0xEEEEEEEEEEEEEEEE), UINT64_C(0xEEEEEEEEEEEEEEEE)};
    EXPECT_EQ(Q7Set(window, tag, uint64_t{0}, 0), 0u) << tag;
    EXPECT_EQ(Q7Get(window, tag, word(value), 0), 0u) << tag;
    EXPECT_EQ(value[1], UINT64_C(0xEEEEEEEEEEEEEEEE)) << tag;
    const bool is_pointer =
        tag == 20502 || tag == 20503 || tag == 20504 || tag == 20512 || tag == 20523 || tag == 20524 || tag == 20540;
    EXPECT_EQ(value[0] >> 32, is_pointer ? value[0] >> 32 : 0xEEEEEEEEu) << tag;
    if (is_pointer && tag != 20523) {
      EXPECT_EQ(value[0], 0u) << tag;
    }
  }
  EXPECT_TRUE(errors().empty());
  Q7ObjectDelete(window);
}

TEST_F(Windows, PensAreGivenByItsParent) {
  Q7RegisterWindowClass(app());
  Q7Object *window = Q7ObjectCreate(Q7C_WINDOW, 0);
  EXPECT_EQ(get_int(window, 20535), Q7PEN_FOREGROUND);
  EXPECT_EQ(get_int(window, 20536), Q7PEN_ACTIVE_TITLE);
  EXPECT_EQ(get_int(window, 20539), Q7PEN_FOREGROUND);
  Q7Set(window, 20536, uint64_t{20}, 0);
  EXPECT_EQ(get_int(window, 20536), 20);
  Q7ObjectDelete(window);
}

TEST_F(Windows, ItsContextIsItsOwnAndHasItsSize) {
  Q7RegisterWindowClass(app());
  Q7Object *window = Q7ObjectCreate(Q7C_WINDOW, 41503, uint64_t{120}, 41504, uint64_t{80}, 0);
  Q7Object *context = nullptr;
  Q7Get(window, Q7A_WINDOW_DRAW_CONTEXT, word(&context), 0);
  ASSERT_NE(context, nullptr);
  EXPECT_EQ(Q7ObjectIsOfKind(context, 267) != 0, true);
  EXPECT_EQ(get_int(context, Q7A_DC_WIDTH), 120);
  Q7Set(window, 41503, uint64_t{130}, 0);
  EXPECT_EQ(get_int(context, Q7A_DC_WIDTH), 130);
  Q7Object *again = nullptr;
  Q7Get(window, Q7A_WINDOW_DRAW_CONTEXT, word(&again), 0);
  EXPECT_EQ(again, context);
  Q7ObjectDelete(window);
}

TEST_F(Windows, AFontComesFromTheWindowAround) {
  Q7RegisterWindowClass(app());
  Q7Object *top = Q7ObjectCreate(Q7C_WINDOW, 0);
  Q7Object *inner = Q7ObjectCreate(Q7C_WINDOW, 41500, word(top), 0);
  Q7Object *font = nullptr;
  Q7Object *inner_font = nullptr;
  Q7Get(inner, 41513, word(&inner_font), 0);
  Q7Get(top, 41513, word(&font), 0);
  ASSERT_NE(font, nullptr);
  EXPECT_EQ(inner_font, font);
  EXPECT_EQ(Q7ObjectIsOfKind(font, 11) != 0, true);
  Q7Object *own = Q7ObjectCreate(11, 0);
  Q7Set(inner, 41513, word(own), 0);
  Q7Get(inner, 41513, word(&inner_font), 0);
  EXPECT_EQ(inner_font, own);
  Q7ObjectDelete(top);
}

TEST_F(Windows, ATitleIsCopied) {
  Q7RegisterWindowClass(app());
  char text[] = "Title";
  Q7Object *window = Q7ObjectCreate(Q7C_WINDOW, Q7A_WINDOW_TITLE, word(text), 0);
  text[0] = 'X';
  const char *title = nullptr;
  Q7Get(window, Q7A_WINDOW_TITLE, word(&title), 0);
  EXPECT_STREQ(title, "Title");
  Q7ObjectDelete(window);
}

TEST_F(Windows, TheInnerSizeIsTheSize) {
  Q7RegisterWindowClass(app());
  Q7Object *window = Q7ObjectCreate(Q7C_WINDOW, 0);
  Q7Set(window, 41503, uint64_t{320}, 41504, uint64_t{200}, 0);
  EXPECT_EQ(get_int(window, 20510), 320);
  EXPECT_EQ(get_int(window, 20511), 200);
  Q7ObjectDelete(window);
}

TEST_F(Windows, AWindowReferencesItsFont) {
  Q7RegisterWindowClass(app());
  Q7Object *font = Q7ObjectCreate(11, 0);
  Q7SendMsg(font, Q7M_ADDREF, 0);
  Q7Object *window = Q7ObjectCreate(Q7C_WINDOW, Q7A_WINDOW_FONT, word(font), 0);
  EXPECT_EQ(font->refcount, 2);
  Q7Object *found = nullptr;
  Q7Get(window, Q7A_WINDOW_FONT, word(&found), 0);
  EXPECT_EQ(found, font);
  Q7ObjectDelete(window);
  EXPECT_EQ(font->refcount, 1);
  Q7SendMsg(font, Q7M_RELEASE, 0);
}

TEST_F(Windows, ANativeGadgetLivesInAWindow) {
  Q7RegisterWindowClass(app());
  Q7RegisterOSGadgetClass(app());
  Q7Object *window = Q7ObjectCreate(Q7C_WINDOW, 0);
  Q7Object *gadget = Q7ObjectCreate(26, 41500, word(window), 0);
  ASSERT_NE(gadget, nullptr);
  EXPECT_EQ(Q7ObjectCreate(80, 0), nullptr) << "a gadget needs a window";
  Q7Object *parent = nullptr;
  Q7Get(gadget, 41500, word(&parent), 0);
  EXPECT_EQ(parent, window);
  Q7ObjectDelete(window);
}

TEST_F(Windows, AnUnknownWindowAttributeReachesTheRootClass) {
  Q7RegisterWindowClass(app());
  Q7Object *window = Q7ObjectCreate(Q7C_WINDOW, 0);
  EXPECT_NE(Q7Set(window, 20550, uint64_t{1}, 0), 0u);
  EXPECT_EQ(errors().size(), 1u);
  Q7ObjectDelete(window);
}

TEST_F(Windows, AFramesInsetsAreItsClientOffset) {
  Q7RegisterWindowClass(app());
  Q7Object *frame = Q7ObjectCreate(29, 41522, uint64_t{3}, 41523, uint64_t{4}, 0);
  EXPECT_EQ(get_int(frame, 41522), 3);
  EXPECT_EQ(get_int(frame, 41524), 2);
  EXPECT_EQ(get_int(frame, 41525), 2);
  EXPECT_EQ(get_int(frame, 41509), 3);
  EXPECT_EQ(get_int(frame, 41510), 4);
  Q7ObjectDelete(frame);
}

TEST_F(Windows, AFramesOwnCoordinatesBeginAtItsClientArea) {
  Q7RegisterWindowClass(app());
  Q7Object *window = Q7ObjectCreate(Q7C_WINDOW, 0);
  Q7Object *frame = Q7ObjectCreate(29, 41500, word(window), 41501, uint64_t{10}, 41502, uint64_t{20}, 41522,
                                   uint64_t{3}, 41523, uint64_t{4}, 0);
  Q7Object *child = Q7ObjectCreate(41, 41500, word(frame), 41501, uint64_t{5}, 41502, uint64_t{6}, 0);
  Q7Point point = {1, 1};
  EXPECT_EQ(child->dispatch(child->cl, child, 41008, 0, 0, reinterpret_cast<Q7TagItem *>(&point)), 1u);
  EXPECT_EQ(point.x, 1 + 5 + 3 + 10);
  EXPECT_EQ(point.y, 1 + 6 + 4 + 20);
  EXPECT_EQ(child->dispatch(child->cl, child, 41009, 0, 0, reinterpret_cast<Q7TagItem *>(&point)), 1u);
  EXPECT_EQ(point.x, 1);
  EXPECT_EQ(point.y, 1);
  Q7ObjectDelete(window);
}

TEST_F(Windows, AFramesTitleTakesTheHeightOfALine) {
  Q7RegisterWindowClass(app());
  Q7Object *frame = Q7ObjectCreate(29, Q7A_FRAME_TITLE, word("Title"), 0);
  EXPECT_GT(get_int(frame, 41523), 8);
  Q7Set(frame, Q7A_FRAME_TITLE, uint64_t{0}, 0);
  EXPECT_EQ(get_int(frame, 41523), 2);
  Q7Set(frame, 41523, uint64_t{5}, Q7A_FRAME_TITLE, word("Title"), 0);
  EXPECT_EQ(get_int(frame, 41523), 5);
  Q7ObjectDelete(frame);
}

TEST_F(Windows, ADraggedSplitterNotifies) {
  Q7RegisterWindowClass(app());
  static Q7Object *splitter;
  static int32_t asked;
  // A manager hears of it by its callback and reads the distance from the splitter, as a placer does.
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
  Q7SendMsg(splitter, Q7M_WIDGET_ADD_CALLBACK, Q7A_CALLBACK_OBJECT, word(manager), Q7A_CALLBACK_METHOD, uint64_t{25001},
            0);
  EXPECT_EQ(splitter->dispatch(splitter->cl, splitter, 284000, 0, 0,
                               reinterpret_cast<Q7TagItem *>(static_cast<uint64_t>(static_cast<uint32_t>(-7)))),
            1u);
  EXPECT_EQ(asked, -7);
  Q7ObjectDelete(splitter);
  Q7ObjectDelete(manager);
}

TEST_F(Windows, AFontMeasuresItself) {
  Q7Object *font = Q7ObjectCreate(11, 0);
  EXPECT_EQ(get_int(font, Q7A_FONT_SIZE), 12);
  const int32_t height = get_int(font, Q7A_FONT_HEIGHT);
  EXPECT_GE(height, 12);
  EXPECT_LE(height, 20);
  EXPECT_GT(get_int(font, Q7A_FONT_ASCENT), get_int(font, Q7A_FONT_DESCENT));
  Q7Set(font, Q7A_FONT_SIZE, uint64_t{24}, 0);
  EXPECT_NEAR(get_int(font, Q7A_FONT_HEIGHT), 2 * height, 2);
  Q7ObjectDelete(font);
}

TEST_F(Windows, AFontKeepsTheMeasuresThatItIsGiven) {
  Q7Object *font = Q7ObjectCreate(11, Q7A_FONT_HEIGHT, uint64_t{16}, Q7A_FONT_ASCENT, uint64_t{11}, 0);
  EXPECT_EQ(get_int(font, 11501), 16);
  EXPECT_EQ(get_int(font, 11504), 11);
  Q7TextExtents extents{};
  EXPECT_EQ(font->dispatch(font->cl, font, Q7M_FONT_EXTENTS, word("mm"), 0, reinterpret_cast<Q7TagItem *>(&extents)),
            1u);
  EXPECT_EQ(extents.height, 16);
  EXPECT_EQ(extents.ascent, 11);
  EXPECT_GT(extents.width, 12);
  EXPECT_EQ(Q7SendMsg(font, Q7M_FONT_EXTENTS, 0), 0u);
  Q7ObjectDelete(font);
}

TEST_F(Windows, AFontsSizeAndStyleStayInTheirRange) {
  Q7Object *font = Q7ObjectCreate(11, Q7A_FONT_SIZE, uint64_t{0}, Q7A_FONT_STYLE, uint64_t{0xFF}, 0);
  EXPECT_EQ(get_int(font, Q7A_FONT_SIZE), 1);
  EXPECT_EQ(get_int(font, Q7A_FONT_STYLE), 7);
  Q7Set(font, Q7A_FONT_SIZE, uint64_t{100000}, 11515, uint64_t{5}, 0);
  EXPECT_EQ(get_int(font, Q7A_FONT_SIZE), 1000);
  EXPECT_EQ(get_int(font, 11515), 5);
  EXPECT_NE(Q7Set(font, 11516, uint64_t{5}, 0), 0u);
  Q7ObjectDelete(font);
}

TEST_F(Windows, IconsAndCursorsKeepTheirSizes) {
  Q7Object *icon = Q7ObjectCreate(27, 27500, uint64_t{32}, 27501, uint64_t{24}, 513, word("open"), 0);
  EXPECT_EQ(get_int(icon, 27500), 32);
  EXPECT_EQ(get_int(icon, 27501), 24);
  EXPECT_STREQ(icon->name, "open");
  Q7ObjectDelete(icon);
  Q7Object *cursor = Q7ObjectCreate(28, 28500, uint64_t{3}, 28503, uint64_t{9}, 0);
  EXPECT_EQ(get_int(cursor, 28500), 3);
  EXPECT_EQ(get_int(cursor, 28501), 0);
  EXPECT_EQ(get_int(cursor, 28503), 9);
  Q7ObjectDelete(cursor);
}

TEST_F(Windows, IconsAndCursorsKeepTheirPixels) {
  for (uint32_t id : {27u, 28u}) {
    const uint32_t tag = id == 27 ? 27502 : 28504;
    const uint32_t width = id == 27 ? 27500 : 28502;
    uint8_t pixels[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    const Q7Image image = {2, 1, pixels};
    Q7Object *icon = Q7ObjectCreate(id, tag, word(&image), 0);
    pixels[0] = 99;
    const Q7Image *kept = nullptr;
    Q7Get(icon, tag, word(&kept), 0);
    ASSERT_NE(kept, nullptr);
    EXPECT_EQ(kept->pixels[0], 1);
    EXPECT_EQ(kept->pixels[7], 8);
    EXPECT_EQ(get_int(icon, width), 2);
    auto *copy = reinterpret_cast<Q7Object *>(Q7SendMsg(icon, Q7M_COPY, 0));
    ASSERT_NE(copy, nullptr);
    Q7Set(icon, tag, uint64_t{0}, 0);
    Q7Get(icon, tag, word(&kept), 0);
    EXPECT_EQ(kept, nullptr);
    Q7Get(copy, tag, word(&kept), 0);
    EXPECT_EQ(kept->pixels[7], 8);
    const Q7Image broken = {0, 1, pixels};
    Q7Set(copy, tag, word(&broken), 0);
    Q7Get(copy, tag, word(&kept), 0);
    EXPECT_EQ(kept->width, 2);
    Q7ObjectDelete(copy);
    Q7ObjectDelete(icon);
  }
}

TEST_F(Windows, WithoutMemoryAnIconStaysAsItWas) {
  Capture quiet(1);
  const uint8_t pixels[8] = {1, 2, 3, 4, 5, 6, 7, 8};
  const Q7Image image = {2, 1, pixels};
  Q7Object *icon = Q7ObjectCreate(27, 27500, uint64_t{7}, 0);
  AllocGate gate;
  gate.fail(1);
  Q7Object *kept = icon;
  Q7Set(icon, Q7A_ICON_IMAGE, word(&image), 0);
  gate.pass();
  Q7Get(icon, Q7A_ICON_IMAGE, word(&kept), 0);
  EXPECT_EQ(kept, nullptr);
  EXPECT_EQ(get_int(icon, 27500), 7);
  EXPECT_EQ(errors().size(), 1u);
  Q7ObjectDelete(icon);
}

TEST_F(Windows, RefreshTakesWidgetsOnly) {
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
