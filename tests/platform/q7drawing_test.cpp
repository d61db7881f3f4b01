#include "core/q7root.h"
#include "io/q7file.h"
#include "tests/platform/mini_app.h"
#include "ui/q7dc.h"
#include "ui/q7widget.h"

using namespace q7test;

namespace {

constexpr double kRed[3] = {1, 0, 0};
constexpr double kGreen[3] = {0, 1, 0};

class Drawings : public PlatformTest {
 protected:
  Drawings() {
    Q7RegisterDrawingClass(app());
    dc_ = make(100, 50);
  }
  ~Drawings() override {
    if (dc_) Q7ObjectDelete(dc_);
  }
  static Q7Object *make(uint64_t width, uint64_t height) {
    return Q7ObjectCreate(Q7C_DRAWING, Q7A_DC_WIDTH, width, Q7A_DC_HEIGHT, height, 0);
  }
  Q7Object *dc() { return dc_; }
  uint64_t draw(uint32_t method, uint64_t a, const void *slot) { return draw(dc_, method, a, slot); }
  static uint64_t draw(Q7Object *dc, uint32_t method, uint64_t a, const void *slot) {
    return dc->dispatch(dc->cl, dc, method, a, 0, static_cast<Q7TagItem *>(const_cast<void *>(slot)));
  }
  uint64_t draw(uint32_t method, uint64_t number) {
    return dc_->dispatch(dc_->cl, dc_, method, 0, 0, reinterpret_cast<Q7TagItem *>(number));
  }
  template <size_t N>
  uint64_t polyline(const Q7Point (&points)[N]) {
    return draw(Q7M_DC_POLYLINE, N, points);
  }
  // The text form without its first line.
  std::string commands() { return commands(dc_); }
  std::string commands(Q7Object *dc) {
    const std::string text = whole(dc);
    return text.substr(text.find('\n') + 1);
  }
  std::string whole(Q7Object *dc) {
    const std::string path = home() / "drawing.txt";
    EXPECT_EQ(write(dc, path.c_str()), 1u);
    return read_file(path);
  }
  static uint64_t write(Q7Object *dc, const char *path, uint32_t tag = 0, uint64_t value = 0) {
    return Q7SendMsg(dc, Q7M_DRAWING_WRITE, Q7A_DRAWING_PATH, word(path), tag, value, 0);
  }
  int32_t number(uint32_t tag) {
    int32_t value = -12345;
    Q7Get(dc_, tag, word(&value), 0);
    return value;
  }

 private:
  Q7Object *dc_;
};

TEST_F(Drawings, StandOnTheDrawContextClass) { EXPECT_EQ(Q7ClassIdIsOfKind(Q7C_DRAWING, Q7C_DRAW_CONTEXT), 1); }

TEST_F(Drawings, TheFirstLineIsSizeAndBackground) { EXPECT_EQ(whole(dc()), "drawing 100 50 #bfbfbf\n"); }

TEST_F(Drawings, EveryShapeIsRecordedInOrder) {
  const Q7Point line[3] = {{1, 2}, {3, 4}, {-5, 6}};
  const Q7Rect rect = {1, 2, 30, 40};
  const double angles[2] = {0, 1.5707963267948966};
  const Q7Point at = {7, 8};
  EXPECT_EQ(polyline(line), 1u);
  EXPECT_EQ(draw(Q7M_DC_POLYGON, 3, line), 1u);
  EXPECT_EQ(draw(Q7M_DC_FILL_POLYGON, 3, line), 1u);
  EXPECT_EQ(draw(Q7M_DC_RECTANGLE, 0, &rect), 1u);
  EXPECT_EQ(draw(Q7M_DC_FILL_RECTANGLE, 0, &rect), 1u);
  EXPECT_EQ(draw(Q7M_DC_ELLIPSE, 0, &rect), 1u);
  EXPECT_EQ(draw(Q7M_DC_FILL_ELLIPSE, 0, &rect), 1u);
  EXPECT_EQ(draw(Q7M_DC_ARC, word(&rect), angles), 1u);
  EXPECT_EQ(draw(Q7M_DC_FILL_ARC, word(&rect), angles), 1u);
  EXPECT_EQ(draw(Q7M_DC_PIXEL, 0, &at), 1u);
  EXPECT_EQ(draw(Q7M_DC_LINE, word(&line[0]), &line[1]), 1u);
  EXPECT_EQ(draw(Q7M_DC_TEXT, word("a \"b\" \\"), &at), 1u);
  EXPECT_EQ(commands(),
            "polyline 1,2 3,4 -5,6\n"
            "polygon 1,2 3,4 -5,6\n"
            "fill-polygon 1,2 3,4 -5,6\n"
            "rectangle 1,2 30 40\n"
            "fill-rectangle 1,2 30 40\n"
            "ellipse 1,2 30 40\n"
            "fill-ellipse 1,2 30 40\n"
            "arc 1,2 30 40 0 90000\n"
            "fill-arc 1,2 30 40 0 90000\n"
            "polyline 7,8\n"
            "polyline 1,2 3,4\n"
            "text 7,8 \"a \\\"b\\\" \\\\\"\n");
  EXPECT_EQ(number(Q7A_DRAWING_COUNT), 12);
}

TEST_F(Drawings, NothingIsDrawnFromNullOrWithoutAPixel) {
  const Q7Rect empty = {1, 2, 0, 40};
  const Q7Rect rect = {1, 2, 3, 4};
  const Q7Point at = {0, 0};
  const double endless[2] = {0, HUGE_VAL};
  const Q7Image no_pixels = {2, 2, nullptr};
  const uint8_t pixel[4] = {};
  const Q7Image no_size = {0, 1, pixel};
  for (uint32_t method = 267000; method <= 267043; ++method) {
    if (method == Q7M_DC_CLEAR || method == Q7M_DC_SET_PEN || method == Q7M_DC_SET_MODE || method == Q7M_DC_SET_DASH ||
        method == Q7M_DC_SET_FONT) {
      continue;
    }
    EXPECT_EQ(draw(method, 0, nullptr), 0u) << method;
    EXPECT_EQ(draw(method, word(&rect), nullptr), 0u) << method;
  }
  EXPECT_EQ(draw(Q7M_DC_RECTANGLE, 0, &empty), 0u);
  EXPECT_EQ(draw(Q7M_DC_POLYLINE, 0, &at), 0u);
  EXPECT_EQ(draw(Q7M_DC_POLYLINE, static_cast<uint64_t>(-1), &at), 0u);
  EXPECT_EQ(draw(Q7M_DC_ARC, word(&rect), endless), 0u);
  EXPECT_EQ(draw(Q7M_DC_IMAGE, word(&no_pixels), &at), 0u);
  EXPECT_EQ(draw(Q7M_DC_IMAGE, word(&no_size), &at), 0u);
  EXPECT_EQ(commands(), "");
  EXPECT_TRUE(errors().empty());
}

TEST_F(Drawings, WhatIsInForceStandsInFrontOfTheShapesThatUseIt) {
  const Q7Point line[2] = {{0, 0}, {9, 0}};
  const Q7Rect rect = {0, 0, 3, 3};
  EXPECT_EQ(draw(Q7M_DC_SET_COLOR, 0, kRed), 1u);
  EXPECT_EQ(draw(Q7M_DC_SET_LINE_WIDTH, 3), 1u);
  EXPECT_EQ(draw(Q7M_DC_SET_DASH, Q7DASH_DOTTED), 1u);
  draw(Q7M_DC_FILL_RECTANGLE, 0, &rect);
  polyline(line);
  EXPECT_EQ(draw(Q7M_DC_SET_MODE, Q7DC_MODE_OPAQUE), 1u);
  EXPECT_EQ(draw(Q7M_DC_SET_BACKGROUND, 0, kGreen), 1u);
  draw(Q7M_DC_TEXT, word("x"), &line[1]);
  EXPECT_EQ(commands(),
            "color #ff0000\nfill-rectangle 0,0 3 3\nwidth 3\ndash dotted\npolyline 0,0 9,0\n"
            "mode opaque\nbackground #00ff00\ntext 9,0 \"x\"\n");
}

TEST_F(Drawings, PensAreTheColoursOfTheUserInterface) {
  const Q7Point line[2] = {{0, 0}, {9, 0}};
  double color[4];
  EXPECT_EQ(draw(Q7M_DC_SET_PEN, Q7PEN_ACTIVE_TITLE), 1u);
  EXPECT_EQ(number(Q7A_DC_PEN), Q7PEN_ACTIVE_TITLE);
  Q7GetActiveTitleBackgroundColor(color);
  double read[3];
  Q7Get(dc(), Q7A_DC_COLOR, word(read), 0);
  for (int i = 0; i < 3; ++i) EXPECT_NEAR(read[i], color[i], 0.5 / 255);
  polyline(line);
  EXPECT_EQ(commands(), "color #264080\npolyline 0,0 9,0\n");
}

TEST_F(Drawings, PensFollowTheColourSchemeOfTheWidgetClass) {
  Q7RegisterWidgetClass(app());
  const double color[4] = {0.2, 0.4, 0.6, 0};
  Q7SetClassAttrs(Q7C_WIDGET, Q7A_WIDGET_DEFINE_COLOR_SCHEME, uint64_t{1}, Q7A_WIDGET_DOWN_COLOR, word(color), 0);
  EXPECT_EQ(draw(Q7M_DC_SET_PEN, Q7PEN_DOWN), 1u);
  const Q7Point line[2] = {{0, 0}, {9, 0}};
  polyline(line);
  EXPECT_EQ(commands(), "color #336699\npolyline 0,0 9,0\n");
}

TEST_F(Drawings, FreePensTakeAColour) {
  const Q7Point line[2] = {{0, 0}, {9, 0}};
  EXPECT_EQ(draw(Q7M_DC_SET_PEN_COLOR, 16, kRed), 1u);
  EXPECT_EQ(draw(Q7M_DC_SET_PEN_COLOR, 15, kRed), 0u);
  EXPECT_EQ(draw(Q7M_DC_SET_PEN_COLOR, 64, kRed), 0u);
  EXPECT_EQ(draw(Q7M_DC_SET_PEN, 16), 1u);
  polyline(line);
  EXPECT_EQ(draw(Q7M_DC_SET_PEN, 64), 0u);
  EXPECT_EQ(draw(Q7M_DC_SET_PEN, static_cast<uint64_t>(-1)), 0u);
  EXPECT_EQ(number(Q7A_DC_PEN), 16);
  EXPECT_EQ(commands(), "color #ff0000\npolyline 0,0 9,0\n");
}

TEST_F(Drawings, UnknownModesAndDashesAreRefused) {
  EXPECT_EQ(draw(Q7M_DC_SET_MODE, 2), 0u);
  EXPECT_EQ(draw(Q7M_DC_SET_MODE, 4), 1u);
  EXPECT_EQ(number(Q7A_DC_MODE), 4);
  EXPECT_EQ(draw(Q7M_DC_SET_DASH, 3), 0u);
  EXPECT_EQ(draw(Q7M_DC_SET_LINE_WIDTH, 0), 0u);
  EXPECT_EQ(number(Q7A_DC_LINE_WIDTH), 1);
}

TEST_F(Drawings, AttributesSetWhatTheMessagesSet) {
  EXPECT_EQ(Q7Set(dc(), Q7A_DC_LINE_WIDTH, uint64_t{4}, Q7A_DC_DASH, uint64_t{1}, Q7A_DC_MODE, uint64_t{1}, Q7A_DC_PEN,
                  uint64_t{2}, Q7A_DC_BACKGROUND, word(kRed), 0),
            0u);
  EXPECT_EQ(number(Q7A_DC_LINE_WIDTH), 4);
  EXPECT_EQ(number(Q7A_DC_DASH), 1);
  EXPECT_EQ(number(Q7A_DC_MODE), 1);
  EXPECT_EQ(number(Q7A_DC_PEN), 2);
  Q7Set(dc(), Q7A_DC_COLOR, word(kGreen), 0);
  EXPECT_EQ(number(Q7A_DC_PEN), -1);
  double read[3];
  Q7Get(dc(), Q7A_DC_BACKGROUND, word(read), 0);
  EXPECT_EQ(read[0], 1.0);
  EXPECT_EQ(number(Q7A_DC_WIDTH), 100);
  EXPECT_EQ(number(Q7A_DC_HEIGHT), 50);
}

TEST_F(Drawings, WhatIsInvertedTwiceWasNeverDrawn) {
  const Q7Point needle[2] = {{5, 5}, {9, 9}};
  const Q7Point other[2] = {{5, 5}, {1, 9}};
  draw(Q7M_DC_SET_MODE, Q7DC_MODE_INVERT);
  polyline(needle);
  polyline(other);
  EXPECT_EQ(polyline(needle), 1u);
  EXPECT_EQ(commands(), "mode invert\npolyline 5,5 1,9\n");
}

TEST_F(Drawings, AnInversionThatSomethingWasDrawnOverStays) {
  const Q7Point needle[2] = {{5, 5}, {9, 9}};
  const Q7Point line[2] = {{0, 7}, {20, 7}};
  draw(Q7M_DC_SET_MODE, Q7DC_MODE_INVERT);
  polyline(needle);
  draw(Q7M_DC_SET_MODE, Q7DC_MODE_COPY);
  polyline(line);
  draw(Q7M_DC_SET_MODE, Q7DC_MODE_INVERT);
  polyline(needle);
  EXPECT_EQ(commands(), "mode invert\npolyline 5,5 9,9\nmode copy\npolyline 0,7 20,7\nmode invert\npolyline 5,5 9,9\n");
}

TEST_F(Drawings, TheSamePixelsAgainReplaceWhatWasThere) {
  const Q7Point first[2] = {{5, 5}, {9, 9}};
  const Q7Point second[2] = {{0, 7}, {20, 7}};
  for (int i = 0; i < 1000; ++i) {
    draw(Q7M_DC_SET_COLOR, 0, i % 2 ? kRed : kGreen);
    polyline(first);
    polyline(second);
  }
  EXPECT_EQ(number(Q7A_DRAWING_COUNT), 2);
  EXPECT_EQ(commands(), "color #ff0000\npolyline 5,5 9,9\npolyline 0,7 20,7\n");
}

TEST_F(Drawings, AnotherLineWidthIsOtherPixels) {
  const Q7Point line[2] = {{5, 5}, {9, 9}};
  polyline(line);
  draw(Q7M_DC_SET_LINE_WIDTH, 2);
  polyline(line);
  EXPECT_EQ(number(Q7A_DRAWING_COUNT), 2);
}

TEST_F(Drawings, FillingAllOfThePictureForgetsWhatIsBelow) {
  const Q7Point line[2] = {{5, 5}, {9, 9}};
  const Q7Rect all = {0, 0, 100, 50};
  const Q7Rect less = {0, 0, 100, 49};
  polyline(line);
  draw(Q7M_DC_FILL_RECTANGLE, 0, &less);
  EXPECT_EQ(number(Q7A_DRAWING_COUNT), 2);
  draw(Q7M_DC_FILL_RECTANGLE, 0, &all);
  EXPECT_EQ(number(Q7A_DRAWING_COUNT), 1);
}

TEST_F(Drawings, ClippingIsNestedAndCutsWithWhatWasInForce) {
  const Q7Point line[2] = {{0, 0}, {50, 0}};
  const Q7Rect outer = {10, 10, 20, 20};
  const Q7Rect inner = {25, 5, 20, 20};
  const Q7Rect apart = {80, 80, 5, 5};
  EXPECT_EQ(draw(Q7M_DC_PUSH_CLIP, 0, &outer), 1u);
  polyline(line);
  EXPECT_EQ(draw(Q7M_DC_PUSH_CLIP, 0, &inner), 1u);
  polyline(line);
  EXPECT_EQ(draw(Q7M_DC_PUSH_CLIP, 0, &apart), 1u);
  EXPECT_EQ(polyline(line), 1u) << "outside of the clipping is drawn, and seen nowhere";
  for (int i = 0; i < 3; ++i) EXPECT_EQ(draw(Q7M_DC_POP_CLIP, 0), 1u);
  EXPECT_EQ(draw(Q7M_DC_POP_CLIP, 0), 0u);
  polyline(line);
  EXPECT_EQ(commands(),
            "clip 10 10 20 20\npolyline 0,0 50,0\nclip 25 10 5 15\npolyline 0,0 50,0\nclip none\npolyline 0,0 50,0\n");
}

TEST_F(Drawings, OriginsAreNestedAndMoveClippingToo) {
  const Q7Point ten = {10, 10};
  const Q7Point at = {1, 2};
  const Q7Rect rect = {0, 0, 5, 5};
  EXPECT_EQ(draw(Q7M_DC_PUSH_ORIGIN, 0, &ten), 1u);
  draw(Q7M_DC_PUSH_CLIP, 0, &rect);
  draw(Q7M_DC_PUSH_ORIGIN, 0, &ten);
  draw(Q7M_DC_PIXEL, 0, &at);
  EXPECT_EQ(draw(Q7M_DC_POP_ORIGIN, 0), 1u);
  EXPECT_EQ(draw(Q7M_DC_POP_ORIGIN, 0), 1u);
  EXPECT_EQ(draw(Q7M_DC_POP_ORIGIN, 0), 0u);
  EXPECT_EQ(commands(), "clip 10 10 5 5\npolyline 21,22\n");
}

TEST_F(Drawings, NestingEndsAt64) {
  const Q7Point ten = {10, 10};
  const Q7Rect rect = {0, 0, 5, 5};
  for (int i = 0; i < Q7DC_DEPTH; ++i) {
    EXPECT_EQ(draw(Q7M_DC_PUSH_ORIGIN, 0, &ten), 1u);
    EXPECT_EQ(draw(Q7M_DC_PUSH_CLIP, 0, &rect), 1u);
  }
  EXPECT_EQ(draw(Q7M_DC_PUSH_ORIGIN, 0, &ten), 0u);
  EXPECT_EQ(draw(Q7M_DC_PUSH_CLIP, 0, &rect), 0u);
}

TEST_F(Drawings, CoordinatesBeyondTheRangeStayAtItsEnd) {
  const Q7Rect far = {INT32_MAX, INT32_MIN, INT32_MAX, INT32_MAX};
  const Q7Point ten = {10, -10};
  draw(Q7M_DC_PUSH_ORIGIN, 0, &ten);
  draw(Q7M_DC_PUSH_CLIP, 0, &far);
  EXPECT_EQ(draw(Q7M_DC_ELLIPSE, 0, &far), 1u);
  EXPECT_EQ(commands(),
            "clip 2147483647 -2147483648 2147483647 2147483647\nellipse 2147483647,-2147483648 2147483647 "
            "2147483647\n");
  EXPECT_EQ(write(dc(), (home() / "far.png").c_str()), 1u);
}

TEST_F(Drawings, ImagesAreKeptWithTheirPixels) {
  const uint8_t pixels[8] = {255, 0, 0, 255, 0, 0, 255, 255};
  const Q7Image image = {2, 1, pixels};
  const Q7Point at = {3, 4};
  EXPECT_EQ(draw(Q7M_DC_IMAGE, word(&image), &at), 1u);
  uint64_t hash = 14695981039346656037u;
  for (uint8_t byte : pixels) hash = (hash ^ byte) * 1099511628211u;
  char line[80];
  snprintf(line, sizeof line, "image 3,4 2 1 %016lx\n", static_cast<unsigned long>(hash));
  EXPECT_EQ(commands(), line);
}

TEST_F(Drawings, AnOpaqueImageReplacesTheOneBelowIt) {
  uint8_t pixels[4] = {255, 0, 0, 255};
  const Q7Image image = {1, 1, pixels};
  const Q7Point at = {3, 4};
  for (pixels[1] = 0; pixels[1] < 100; ++pixels[1]) draw(Q7M_DC_IMAGE, word(&image), &at);
  EXPECT_EQ(number(Q7A_DRAWING_COUNT), 1);
  pixels[3] = 128;
  for (pixels[1] = 0; pixels[1] < 3; ++pixels[1]) draw(Q7M_DC_IMAGE, word(&image), &at);
  EXPECT_EQ(number(Q7A_DRAWING_COUNT), 4);
}

TEST_F(Drawings, TextsThatAreNoUtf8AreMadeSuch) {
  const Q7Point at = {0, 0};
  draw(Q7M_DC_TEXT, word("gr\xC3\xBC\xC3\x9F\xFF \xE2\x82 \xED\xA0\x80 a\nb"), &at);
  EXPECT_EQ(commands(), "text 0,0 \"gr\xC3\xBC\xC3\x9F? ?? ??? a b\"\n");
  EXPECT_EQ(draw(Q7M_DC_TEXT, word(""), &at), 1u);
  EXPECT_EQ(number(Q7A_DRAWING_COUNT), 1);
}

TEST_F(Drawings, TextsHaveExtents) {
  Q7TextExtents one{};
  Q7TextExtents two{};
  EXPECT_EQ(draw(Q7M_DC_TEXT_EXTENTS, word("m"), &one), 1u);
  EXPECT_EQ(draw(Q7M_DC_TEXT_EXTENTS, word("mm"), &two), 1u);
  EXPECT_GT(one.width, 0);
  EXPECT_GE(two.width, 2 * one.width - 1);
  EXPECT_LE(two.width, 2 * one.width);
  EXPECT_GT(one.ascent, one.descent);
  EXPECT_GE(one.height, one.ascent + one.descent);
  EXPECT_EQ(draw(Q7M_DC_TEXT_EXTENTS, word(""), &one), 1u);
  EXPECT_EQ(one.width, 0);
  EXPECT_EQ(one.height, two.height);
  const std::string longer(1000, 'm');
  EXPECT_EQ(draw(Q7M_DC_TEXT_EXTENTS, word(longer.c_str()), &one), 1u);
  EXPECT_GT(one.width, 400 * two.width);
}

TEST_F(Drawings, WithoutAnyFontTextsAreBoxesOfTheUsualSize) {
  write_file(home() / "fonts.conf", "<?xml version=\"1.0\"?><!DOCTYPE fontconfig SYSTEM \"fonts.dtd\"><fontconfig/>");
  setenv("FONTCONFIG_FILE", (home() / "fonts.conf").c_str(), 1);
  Q7TextExtents extents{};
  EXPECT_EQ(draw(Q7M_DC_TEXT_EXTENTS, word("m\xC3\xA4m"), &extents), 1u);
  EXPECT_EQ(extents.width, 22);  // three of 0.6 * 12
  EXPECT_EQ(extents.ascent, 12);
  EXPECT_EQ(extents.descent, 3);
  EXPECT_EQ(extents.height, 15);
  const Q7Point at = {10, 20};
  EXPECT_EQ(draw(Q7M_DC_TEXT, word("mm"), &at), 1u);
  EXPECT_EQ(write(dc(), (home() / "box.png").c_str()), 1u);
  EXPECT_EQ(write(dc(), (home() / "box.svg").c_str()), 1u);
  EXPECT_THAT(read_file(home() / "box.svg"), ::testing::HasSubstr("M 10.5 8.5 L 24.5 8.5 L 24.5 22.5 L 10.5 22.5"));
  EXPECT_TRUE(errors().empty());
}

TEST_F(Drawings, AFontIsReferencedAndUsed) {
  Q7Object *font =
      Q7ObjectCreate(Q7C_FONT, Q7A_FONT_SIZE, uint64_t{20}, Q7A_FONT_STYLE, uint64_t{Q7FONT_BOLD | Q7FONT_MONO}, 0);
  Q7SendMsg(font, Q7M_ADDREF, 0);
  const Q7Point at = {0, 20};
  EXPECT_EQ(draw(Q7M_DC_SET_FONT, 0, font), 1u);
  EXPECT_EQ(font->refcount, 2);
  draw(Q7M_DC_TEXT, word("x"), &at);
  EXPECT_EQ(commands(), "font 20 bold mono\ntext 0,20 \"x\"\n");
  Q7Object *read = nullptr;
  Q7Get(dc(), Q7A_DC_FONT, word(&read), 0);
  EXPECT_EQ(read, font);
  EXPECT_EQ(draw(Q7M_DC_SET_FONT, 0, dc()), 0u) << "no font";
  EXPECT_EQ(draw(Q7M_DC_SET_FONT, 0, nullptr), 1u);
  EXPECT_EQ(font->refcount, 1);
  Q7SendMsg(font, Q7M_RELEASE, 0);
}

TEST_F(Drawings, ClearTakesAllAwayAndLeavesWhatIsInForce) {
  const Q7Point line[2] = {{5, 5}, {9, 9}};
  draw(Q7M_DC_SET_COLOR, 0, kRed);
  polyline(line);
  EXPECT_EQ(draw(Q7M_DC_CLEAR, 0), 1u);
  EXPECT_EQ(commands(), "");
  polyline(line);
  EXPECT_EQ(commands(), "color #ff0000\npolyline 5,5 9,9\n");
}

TEST_F(Drawings, OneIsDrawnIntoAnother) {
  const Q7Point line[2] = {{5, 5}, {9, 9}};
  const Q7Rect clip = {0, 0, 7, 7};
  const Q7Point at = {10, 20};
  polyline(line);
  draw(Q7M_DC_PUSH_CLIP, 0, &clip);
  draw(Q7M_DC_RECTANGLE, 0, &clip);
  Q7Object *other = make(40, 40);
  EXPECT_EQ(draw(other, Q7M_DRAWING_DRAW, word(dc()), &at), 1u);
  EXPECT_EQ(commands(other), "polyline 15,25 19,29\nclip 10 20 7 7\nrectangle 10,20 7 7\n");
  EXPECT_EQ(draw(other, Q7M_DRAWING_DRAW, word(other), &at), 0u);
  EXPECT_EQ(draw(other, Q7M_DRAWING_DRAW, 0, &at), 0u);
  Q7ObjectDelete(other);
}

TEST_F(Drawings, ACopyStandsByItself) {
  const Q7Point line[2] = {{5, 5}, {9, 9}};
  polyline(line);
  auto *copy = reinterpret_cast<Q7Object *>(draw(Q7M_COPY, 0));
  ASSERT_NE(copy, nullptr);
  draw(Q7M_DC_CLEAR, 0);
  EXPECT_EQ(commands(copy), "polyline 5,5 9,9\n");
  Q7ObjectDelete(copy);
}

// ---- Pictures ----

TEST_F(Drawings, APngHasItsSizeAndPixels) {
  const std::string path = home() / "a.png";
  EXPECT_EQ(write(dc(), path.c_str()), 1u);
  const std::string bytes = read_file(path);
  ASSERT_GT(bytes.size(), 33u);
  EXPECT_EQ(bytes.substr(0, 8), "\x89PNG\r\n\x1a\n");
  EXPECT_EQ(bytes.substr(16, 8), std::string("\0\0\0\x64\0\0\0\x32", 8));
  EXPECT_EQ(write(dc(), path.c_str(), Q7A_DRAWING_SCALE, 250), 1u);
  EXPECT_EQ(read_file(path).substr(16, 8), std::string("\0\0\0\xfa\0\0\0\x7d", 8));
}

TEST_F(Drawings, AnSvgHasItsSizeAndShapes) {
  const Q7Rect rect = {1, 2, 30, 40};
  draw(Q7M_DC_SET_COLOR, 0, kRed);
  draw(Q7M_DC_FILL_RECTANGLE, 0, &rect);
  const std::string path = home() / "a.SVG";
  EXPECT_EQ(write(dc(), path.c_str()), 1u);
  const std::string text = read_file(path);
  EXPECT_EQ(text.substr(0, 5), "<?xml");
  EXPECT_THAT(text, ::testing::HasSubstr("viewBox=\"0 0 100 50\""));
  EXPECT_THAT(text, ::testing::HasSubstr("M 1 2 L 31 2 L 31 42 L 1 42"));
  EXPECT_THAT(text, ::testing::HasSubstr("</svg>"));
}

TEST_F(Drawings, AnInversionKeepsAnSvgAVectorPicture) {
  const Q7Point line[2] = {{5, 5}, {9, 9}};
  draw(Q7M_DC_SET_MODE, Q7DC_MODE_INVERT);
  polyline(line);
  const std::string path = home() / "a.svg";
  write(dc(), path.c_str());
  EXPECT_EQ(read_file(path).find("<image"), std::string::npos);
}

TEST_F(Drawings, AStreamTakesAPicture) {
  Q7RegisterFileClass(app());
  const std::string path = home() / "stream.txt";
  Q7Object *stream = Q7ObjectCreate(Q7C_FILE, Q7A_FILE_NAME, word(path.c_str()), Q7A_FILE_MODE, word("wb"), 0);
  ASSERT_NE(stream, nullptr);
  EXPECT_EQ(Q7SendMsg(dc(), Q7M_DRAWING_WRITE, Q7A_DRAWING_STREAM, word(stream), 0), 1u);
  Q7ObjectDelete(stream);
  EXPECT_EQ(read_file(path), "drawing 100 50 #bfbfbf\n");
}

TEST_F(Drawings, WhatCannotBeWrittenIsReported) {
  EXPECT_EQ(write(dc(), (home() / "no/such/folder.png").c_str()), 0u);
  ASSERT_EQ(errors().size(), 1u);
  EXPECT_THAT(errors()[0], ::testing::HasSubstr("No such file or directory"));
  EXPECT_EQ(write(dc(), "/dev/full"), 0u);
  ASSERT_EQ(errors().size(), 2u);
  EXPECT_EQ(errors()[1], "q7drawing: Cannot write the picture /dev/full: No space left on device");
  EXPECT_TRUE(std::filesystem::exists("/dev/full"));
  EXPECT_EQ(Q7SendMsg(dc(), Q7M_DRAWING_WRITE, Q7A_DRAWING_STREAM, word(dc()), 0), 0u);
  EXPECT_EQ(errors().size(), 3u);
  EXPECT_EQ(Q7SendMsg(dc(), Q7M_DRAWING_WRITE, 0), 0u) << "nowhere to";
}

TEST_F(Drawings, APictureWithoutASizeIsReported) {
  Q7Object *none = make(0, 10);
  EXPECT_EQ(write(none, (home() / "none.png").c_str()), 0u);
  EXPECT_EQ(errors(), std::vector<std::string>{"q7drawing: A picture of 0 x 10 pixels cannot be written"});
  EXPECT_FALSE(std::filesystem::exists(home() / "none.png"));
  Q7ObjectDelete(none);
  EXPECT_EQ(write(dc(), (home() / "none.png").c_str(), Q7A_DRAWING_SCALE, 0), 0u);
  EXPECT_EQ(write(dc(), (home() / "none.png").c_str(), Q7A_DRAWING_SCALE, 1001), 0u);
}

TEST_F(Drawings, EveryFailingAllocationIsSurvived) {
  Capture quiet(1);
  const Q7Point line[2] = {{5, 5}, {9, 9}};
  const Q7Point at = {3, 4};
  const uint8_t pixels[4] = {255, 0, 0, 255};
  const Q7Image image = {1, 1, pixels};
  const std::string longer(1000, 'm');
  Q7TextExtents extents;
  bool failed = true;
  for (int64_t n = 1; failed; ++n) {
    ASSERT_LT(n, 100);
    AllocGate gate;
    gate.fail(n);
    if (Q7Object *dc = make(20, 20)) {
      uint64_t good = draw(dc, Q7M_DC_POLYLINE, 2, line);
      good &= draw(dc, Q7M_DC_TEXT, word("text"), &at);
      good &= draw(dc, Q7M_DC_IMAGE, word(&image), &at);
      good &= draw(dc, Q7M_DC_TEXT_EXTENTS, word(longer.c_str()), &extents);
      auto *copy = reinterpret_cast<Q7Object *>(draw(dc, Q7M_COPY, 0, nullptr));
      if (copy) Q7ObjectDelete(copy);
      for (const char *name : {"a.txt", "a.svg", "a.png"}) good &= write(dc, (home() / name).c_str());
      EXPECT_TRUE((good && copy) || gate.refused()) << n;
      Q7ObjectDelete(dc);
    }
    failed = gate.refused() != 0;
  }
}

}  // namespace
