#include "tests/platform/ui_fixture.h"

using namespace q7test;
using ::testing::HasSubstr;

namespace {

class OsGadgets : public UiOnLayer {};

TEST_F(OsGadgets, KeepTheirAttributesInTheirWidths) {
  for (uint32_t id : {26u, 80u}) {
    Q7Object *icon = Q7ObjectCreate(Q7C_ICON, 0);
    Q7SendMsg(icon, Q7M_ADDREF, 0);
    char label[] = "Label";
    Q7Object *g = Q7ObjectCreate(id, 41500, word(window()), 21500, word(label), 21507, word(icon), 21502, uint64_t{0},
                                 21506, uint64_t{7}, 21508, uint64_t{1}, 21509, uint64_t{1}, 21510, uint64_t{'k'},
                                 21513, UINT64_C(0x123456789ABCDEF0), 0);
    label[0] = 'X';
    EXPECT_STREQ(pointer<const char *>(g, 21500), "Label");
    EXPECT_EQ(pointer<Q7Object *>(g, 21507), icon);
    EXPECT_EQ(icon->refcount, 2);
    EXPECT_EQ(pointer<uint64_t>(g, 21513), UINT64_C(0x123456789ABCDEF0));
    const struct {
      uint32_t tag;
      int32_t value;
    } numbers[] = {{21502, 0}, {21506, 7}, {21508, 1}, {21509, 1}, {21510, 'k'}};
    for (auto [tag, value] : numbers) {
      int32_t place[2] = {-1, -77};
      Q7Get(g, tag, word(place), 0);
      EXPECT_EQ(place[0], value) << tag;
      EXPECT_EQ(place[1], -77) << tag;
    }
    EXPECT_EQ(Q7Set(g, 21502, uint64_t{1}, 21508, uint64_t{0}, 21509, uint64_t{0}, 21513, uint64_t{3}, 0), 0u);
    EXPECT_EQ(number(g, 21502), 1);
    EXPECT_EQ(number(g, 21508), 0);
    EXPECT_EQ(number(g, 21509), 0);
    EXPECT_EQ(pointer<uint64_t>(g, 21513), 3u);
    Q7ObjectDelete(g);
    EXPECT_EQ(icon->refcount, 1);
    Q7SendMsg(icon, Q7M_RELEASE, 0);
  }
  EXPECT_TRUE(errors().empty());
}

TEST_F(OsGadgets, StartUsableUnselectedAndAlone) {
  Q7Object *g = Q7ObjectCreate(26, 41500, word(window()), 0);
  EXPECT_EQ(number(g, 21502), 1);
  EXPECT_EQ(number(g, 21508), 0);
  EXPECT_EQ(number(g, 21509), 0);
  EXPECT_EQ(number(g, Q7A_GADGET_LOOK), Q7GADGET_AUTOMATIC);
  EXPECT_EQ(pointer<const char *>(g, 21500), nullptr);
  EXPECT_STREQ(pointer<const char *>(g, Q7A_GADGET_TEXT), "");
}

TEST_F(OsGadgets, NeedAWindow) {
  EXPECT_EQ(Q7ObjectCreate(26, 21500, word("x"), 0), nullptr);
  EXPECT_THAT(errors()[0], HasSubstr("No window for gadget"));
}

TEST_F(OsGadgets, BeginWithTheSizeThatTheirLabelNeeds) {
  Q7Object *small = Q7ObjectCreate(26, 41500, word(window()), 21500, word("OK"), 0);
  Q7Object *large = Q7ObjectCreate(26, 41500, word(window()), 21500, word("A much longer label"), 0);
  EXPECT_GT(number(small, 41503), 0);
  EXPECT_EQ(number(small, 41505), number(small, 41503));
  EXPECT_GT(number(large, 41505), number(small, 41505));
  EXPECT_EQ(number(large, 41506), number(small, 41506));
  // The label's extents and the room of a button around it.
  Q7TextExtents extents{};
  auto *font = pointer<Q7Object *>(window(), 41513);
  message(font, Q7M_FONT_EXTENTS, word("OK"), &extents);
  EXPECT_EQ(number(small, 41505), extents.width + 16);
  EXPECT_EQ(number(small, 41506), extents.height + 8);
  // A layout does not become the minimum.
  Q7Set(small, 41503, uint64_t{150}, 0);
  EXPECT_EQ(number(small, 41505), extents.width + 16);
  Q7Set(small, 21500, word("O"), 0);
  EXPECT_LT(number(small, 41505), extents.width + 16);
}

TEST_F(OsGadgets, KeepAMinimumThatIsLargerThanTheirNeed) {
  Q7Object *g = Q7ObjectCreate(26, 41500, word(window()), 41505, uint64_t{180}, 41506, uint64_t{90}, 0);
  EXPECT_EQ(number(g, 41505), 180);
  EXPECT_EQ(number(g, 41506), 90);
}

TEST_F(OsGadgets, MeasureWithTheFontOfTheirWindow) {
  Q7Object *g = Q7ObjectCreate(26, 41500, word(window()), 21500, word("Text"), 0);
  const int32_t height = number(g, 41506);
  Q7Object *font = Q7ObjectCreate(Q7C_FONT, Q7A_FONT_SIZE, uint64_t{36}, 0);
  Q7Set(window(), 41513, word(font), 0);
  EXPECT_GT(number(g, 41506), 2 * height);
}

TEST_F(OsGadgets, AFieldsClientAreaBeginsBehindItsLabel) {
  Q7Object *plain = gadget("", 0, 0, 0, 0, Q7GADGET_FIELD);
  Q7Object *labelled = gadget("Name", 0, 0, 0, 0, Q7GADGET_FIELD);
  EXPECT_EQ(number(plain, 41509), 0);
  EXPECT_GT(number(labelled, 41509), 10);
  EXPECT_EQ(number(labelled, 41510), 0);
  EXPECT_EQ(number(labelled, 41505) - number(labelled, 41509), number(plain, 41505));
}

TEST_F(OsGadgets, APressOfAButtonTellsItsValue) {
  Q7Object *g = gadget("Press", 10, 10, 80, 20);
  Q7Set(g, 21513, UINT64_C(0xABCDEF0123), 0);
  listen(g);
  EXPECT_EQ(press(15, 15), 1u);
  EXPECT_TRUE(heard().empty());
  EXPECT_EQ(release(20, 20), 1u);
  EXPECT_EQ(heard(), (std::vector<Heard>{{100001, 21513, word(g), UINT64_C(0xABCDEF0123)}}));
  EXPECT_EQ(number(g, 21509), 0);
}

TEST_F(OsGadgets, ATargetAttributeReceivesTheValue) {
  Q7Object *g = gadget("Press", 10, 10, 80, 20);
  Q7Object *icon = Q7ObjectCreate(Q7C_ICON, 0);
  Q7Set(g, 21513, uint64_t{42}, Q7A_WIDGET_TARGET, word(icon), Q7A_WIDGET_TARGET_ATTRIBUTE, uint64_t{27500}, 0);
  click(15, 15);
  EXPECT_EQ(number(icon, 27500), 42);
  Q7ObjectDelete(g);
  Q7ObjectDelete(icon);
}

TEST_F(OsGadgets, ReleasedOutsideAButtonIsNotPressed) {
  listen(gadget("Press", 10, 10, 80, 20));
  press(15, 15);
  EXPECT_EQ(motion(150, 15), 1u);
  EXPECT_EQ(release(150, 15), 1u);
  EXPECT_TRUE(heard().empty());
  press(15, 15);
  motion(150, 15);
  motion(16, 16);
  release(16, 16);
  EXPECT_EQ(heard().size(), 1u);
}

TEST_F(OsGadgets, ADisabledOneTakesThePressAndDoesNothing) {
  Q7Object *g = gadget("Press", 10, 10, 80, 20);
  Q7Set(g, 21502, uint64_t{0}, 0);
  listen(g);
  EXPECT_EQ(press(15, 15), 1u);
  release(15, 15);
  EXPECT_TRUE(heard().empty());
  EXPECT_EQ(pointer<Q7Object *>(window(), Q7A_WINDOW_FOCUS), nullptr);
}

TEST_F(OsGadgets, OtherButtonsOfThePointerDoNothing) {
  listen(gadget("Press", 10, 10, 80, 20));
  EXPECT_EQ(press(15, 15, 3), 0u);
  EXPECT_EQ(release(15, 15, 3), 0u);
  EXPECT_TRUE(heard().empty());
}

TEST_F(OsGadgets, AToggleChangesItsState) {
  Q7Object *g = gadget("Toggle", 10, 10, 80, 20, Q7GADGET_TOGGLE);
  listen(g);
  click(15, 15);
  EXPECT_EQ(number(g, 21509), 1);
  click(15, 15);
  EXPECT_EQ(number(g, 21509), 0);
  EXPECT_EQ(heard(), (std::vector<Heard>{{100001, 21509, word(g), 1}, {100001, 21509, word(g), 0}}));
}

TEST_F(OsGadgets, OneThatTakesPartIsARadioButtonAndStaysSelected) {
  Q7Object *g = gadget("Radio", 10, 10, 80, 20);
  Q7Set(g, 21508, uint64_t{1}, 0);
  listen(g);
  click(15, 15);
  click(15, 15);
  EXPECT_EQ(number(g, 21509), 1);
  EXPECT_EQ(heard(), (std::vector<Heard>{{100001, 21509, word(g), 1}, {100001, 21509, word(g), 1}}));
}

TEST_F(OsGadgets, ALabelTakesNothing) {
  listen(gadget("Label", 10, 10, 80, 20, Q7GADGET_LABEL));
  EXPECT_EQ(press(15, 15), 0u);
  EXPECT_TRUE(heard().empty());
}

// ---- Keyboard ----

TEST_F(OsGadgets, APressGivesTheKeyboardAndSpacePresses) {
  Q7Object *g = gadget("Press", 10, 10, 80, 20);
  listen(g);
  click(15, 15);
  EXPECT_EQ(pointer<Q7Object *>(window(), Q7A_WINDOW_FOCUS), g);
  EXPECT_EQ(type(" "), 1u);
  EXPECT_EQ(key(Q7KEY_RETURN), 1u);
  EXPECT_EQ(heard().size(), 3u);
  EXPECT_EQ(type("x"), 0u);
}

TEST_F(OsGadgets, TabGoesAroundThoseThatCanUseIt) {
  Q7Object *first = gadget("1", 0, 0, 20, 20);
  Q7Object *label = gadget("2", 20, 0, 20, 20, Q7GADGET_LABEL);
  Q7Object *hidden = gadget("3", 40, 0, 20, 20);
  Q7Object *disabled = gadget("4", 60, 0, 20, 20);
  Q7Object *last = gadget("5", 80, 0, 20, 20, Q7GADGET_FIELD);
  Q7Set(hidden, 41511, uint64_t{0}, 0);
  Q7Set(disabled, 21502, uint64_t{0}, 0);
  (void)label;
  const auto focus = [&] { return pointer<Q7Object *>(window(), Q7A_WINDOW_FOCUS); };
  EXPECT_EQ(focus(), nullptr);
  EXPECT_EQ(key(Q7KEY_TAB), 1u);
  EXPECT_EQ(focus(), first);
  key(Q7KEY_TAB);
  EXPECT_EQ(focus(), last);
  key(Q7KEY_TAB);
  EXPECT_EQ(focus(), first);
  key(Q7KEY_TAB, Q7EVENT_SHIFT);
  EXPECT_EQ(focus(), last);
  key(Q7KEY_TAB, Q7EVENT_SHIFT);
  EXPECT_EQ(focus(), first);
  Q7ObjectDelete(first);
  EXPECT_EQ(focus(), nullptr);
}

TEST_F(OsGadgets, AShortcutPressesWhereNobodyTakesTheKey) {
  Q7Object *ok = gadget("OK", 0, 0, 20, 20);
  Q7Set(ok, 21510, uint64_t{'O'}, 0);
  listen(ok);
  EXPECT_EQ(type("o"), 1u);
  EXPECT_EQ(type("O"), 1u);
  EXPECT_EQ(heard().size(), 2u);
  gadget("Field", 30, 0, 100, 20, Q7GADGET_FIELD);
  click(120, 10);
  EXPECT_EQ(type("o"), 1u);
  EXPECT_EQ(heard().size(), 2u) << "the field took it";
  Q7Set(ok, 21502, uint64_t{0}, 0);
  Q7Set(window(), Q7A_WINDOW_FOCUS, uint64_t{0}, 0);
  EXPECT_EQ(type("o"), 0u);
}

TEST_F(OsGadgets, AFieldIsEdited) {
  Q7Object *g = gadget("", 0, 0, 100, 20, Q7GADGET_FIELD);
  const auto text = [&] { return std::string(pointer<const char *>(g, Q7A_GADGET_TEXT)); };
  Q7Set(g, Q7A_GADGET_TEXT, word("gr\xC3\xBCn"), 0);
  EXPECT_EQ(number(g, Q7A_GADGET_CARET), 5);
  click(50, 10);
  key(Q7KEY_LEFT);
  key(Q7KEY_LEFT);
  EXPECT_EQ(number(g, Q7A_GADGET_CARET), 2) << "in front of the two bytes of one character";
  EXPECT_EQ(key(Q7KEY_DELETE), 1u);
  EXPECT_EQ(text(), "grn");
  EXPECT_EQ(type("\xC3\xA4"), 1u);
  EXPECT_EQ(text(), "gr\xC3\xA4n");
  EXPECT_EQ(number(g, Q7A_GADGET_CARET), 4);
  key(Q7KEY_BACKSPACE);
  EXPECT_EQ(text(), "grn");
  key(Q7KEY_HOME);
  key(Q7KEY_BACKSPACE);
  EXPECT_EQ(text(), "grn");
  key(Q7KEY_END);
  key(Q7KEY_RIGHT);
  key(Q7KEY_DELETE);
  type("\xFF\n");
  EXPECT_EQ(text(), "grn? ");
  EXPECT_EQ(type("c", Q7EVENT_CONTROL), 1u);
  EXPECT_EQ(text(), "grn? ");
  for (int i = 0; i < 5; ++i) key(Q7KEY_BACKSPACE);
  EXPECT_EQ(text(), "");
}

TEST_F(OsGadgets, ReturnTellsTheText) {
  Q7Object *g = gadget("", 0, 0, 100, 20, Q7GADGET_FIELD);
  listen(g);
  click(50, 10);
  type("ab");
  EXPECT_TRUE(heard().empty());
  EXPECT_EQ(key(Q7KEY_RETURN), 1u);
  ASSERT_EQ(heard().size(), 1u);
  EXPECT_EQ(heard()[0].a, 21504u);
  EXPECT_STREQ(reinterpret_cast<const char *>(heard()[0].slot), "ab");
}

TEST_F(OsGadgets, LosingTheKeyboardBehindAChangeTellsTheText) {
  Q7Object *g = gadget("", 0, 0, 100, 20, Q7GADGET_FIELD);
  gadget("Other", 100, 0, 50, 20);
  listen(g);
  click(50, 10);
  click(120, 10);
  EXPECT_TRUE(heard().empty());
  click(50, 10);
  type("ab");
  click(120, 10);
  ASSERT_EQ(heard().size(), 1u);
  EXPECT_STREQ(reinterpret_cast<const char *>(heard()[0].slot), "ab");
}

TEST_F(OsGadgets, UpAndDownStepTheDigitAtTheCaret) {
  Q7Object *g = gadget("", 0, 0, 100, 20, Q7GADGET_NUMBER);
  const auto text = [&] { return std::string(pointer<const char *>(g, Q7A_GADGET_TEXT)); };
  Q7Set(g, Q7A_GADGET_TEXT, word("123"), Q7A_GADGET_CARET, uint64_t{2}, 0);
  click(50, 10);
  EXPECT_EQ(key(Q7KEY_UP), 1u);
  EXPECT_EQ(text(), "133");
  EXPECT_EQ(number(g, Q7A_GADGET_CARET), 2);
  key(Q7KEY_DOWN);
  key(Q7KEY_DOWN);
  EXPECT_EQ(text(), "113");
  Q7Set(g, Q7A_GADGET_TEXT, word("999"), Q7A_GADGET_CARET, uint64_t{3}, 0);
  key(Q7KEY_UP);
  EXPECT_EQ(text(), "1000");
  EXPECT_EQ(number(g, Q7A_GADGET_CARET), 4);
  Q7Set(g, Q7A_GADGET_TEXT, word("no"), 0);
  key(Q7KEY_UP);
  EXPECT_EQ(text(), "no");
  Q7Set(g, Q7A_GADGET_TEXT, word("99999999999999"), 0);
  key(Q7KEY_UP);
  EXPECT_EQ(text(), "99999999999999");
}

TEST_F(OsGadgets, ACaretIsNeverInsideACharacter) {
  Q7Object *g = gadget("", 0, 0, 100, 20, Q7GADGET_FIELD);
  Q7Set(g, Q7A_GADGET_TEXT, word("\xC3\xBC\xE2\x82\xAC"), Q7A_GADGET_CARET, uint64_t{4}, 0);
  EXPECT_EQ(number(g, Q7A_GADGET_CARET), 2);
  Q7Set(g, Q7A_GADGET_CARET, static_cast<uint64_t>(-5), 0);
  EXPECT_EQ(number(g, Q7A_GADGET_CARET), 0);
  Q7Set(g, Q7A_GADGET_CARET, uint64_t{99}, 0);
  EXPECT_EQ(number(g, Q7A_GADGET_CARET), 5);
}

// ---- Looks ----

TEST_F(OsGadgets, AButtonIsDrawnInItsPlace) {
  Q7Object *font = Q7ObjectCreate(Q7C_FONT, Q7A_FONT_SIZE, uint64_t{10}, 0);
  Q7Set(window(), 41513, word(font), 0);
  gadget("OK", 10, 20, 60, 24);
  const std::string text = picture();
  EXPECT_THAT(text, HasSubstr("drawing 200 100 #bfbfbf\n"));
  EXPECT_THAT(text, HasSubstr("clip 10 20 60 24\n"));
  EXPECT_THAT(text, HasSubstr("fill-rectangle 10,20 60 24\n"));
  EXPECT_THAT(text,
              HasSubstr("color #f2f2f2\npolyline 10,43 10,20 69,20\ncolor #737373\npolyline 10,43 69,43 69,20\n"));
  EXPECT_THAT(text, HasSubstr("font 10\n"));
  EXPECT_THAT(text, HasSubstr(" \"OK\"\n"));
}

TEST_F(OsGadgets, APressedButtonLooksPressed) {
  gadget("OK", 10, 20, 60, 24);
  press(20, 30);
  EXPECT_THAT(picture(), HasSubstr("color #999999\nfill-rectangle 10,20 60 24\ncolor #737373\npolyline 10,43 10,20"));
  motion(150, 90);
  EXPECT_THAT(picture(), ::testing::Not(HasSubstr("color #999999\nfill-rectangle 10,20 60 24\n")));
}

TEST_F(OsGadgets, MarksShowTheirState) {
  Q7Object *toggle = gadget("Toggle", 0, 0, 80, 20, Q7GADGET_TOGGLE);
  EXPECT_THAT(picture(), ::testing::Not(HasSubstr("width 2\n")));
  Q7Set(toggle, 21509, uint64_t{1}, 0);
  EXPECT_THAT(picture(), HasSubstr("width 2\npolyline 3,9 5,12 9,6\n"));
  Q7Set(toggle, Q7A_GADGET_LOOK, uint64_t{Q7GADGET_RADIO}, 0);
  EXPECT_THAT(picture(), HasSubstr("fill-ellipse 0,3 13 13\n"));
  EXPECT_THAT(picture(), HasSubstr("fill-ellipse 4,7 5 5\n"));
  Q7Set(toggle, 21509, uint64_t{0}, 0);
  EXPECT_THAT(picture(), ::testing::Not(HasSubstr("fill-ellipse 4,7 5 5\n")));
}

TEST_F(OsGadgets, AnImageIsDrawn) {
  const uint8_t pixels[4] = {1, 2, 3, 255};
  const Q7Image image = {1, 1, pixels};
  Q7Object *icon = Q7ObjectCreate(Q7C_ICON, Q7A_ICON_IMAGE, word(&image), 0);
  Q7Object *g =
      Q7ObjectCreate(80, 41500, word(window()), 21507, word(icon), 41503, uint64_t{20}, 41504, uint64_t{20}, 0);
  EXPECT_THAT(picture(), HasSubstr("image 9,9 1 1 "));
  Q7Set(g, 21507, uint64_t{0}, 0);
  EXPECT_THAT(picture(), ::testing::Not(HasSubstr("image")));
}

TEST_F(OsGadgets, EveryLookIsDrawnUsableAndDisabledWithAndWithoutKeyboard) {
  for (uint64_t look = 0; look <= Q7GADGET_LABEL; ++look) {
    Q7Object *g = gadget("Label", 0, 0, 120, 24, look);
    Q7Set(g, Q7A_GADGET_TEXT, word("a text that is longer than its field is wide"), 0);
    const std::string plain = picture();
    EXPECT_THAT(plain, HasSubstr("\"Label\"")) << look;
    Q7Set(window(), Q7A_WINDOW_FOCUS, word(g), 0);
    if (look == Q7GADGET_LABEL) {
      EXPECT_EQ(picture(), plain);
    } else {
      EXPECT_NE(picture(), plain) << look;
    }
    Q7Set(g, 21502, uint64_t{0}, 0);
    EXPECT_NE(picture(), plain) << look;
    Q7ObjectDelete(g);
  }
}

TEST_F(OsGadgets, WithoutMemoryATextStaysAsItWas) {
  Capture quiet(1);
  Q7Object *g = gadget("Label", 0, 0, 120, 24, Q7GADGET_FIELD);
  Q7Set(g, Q7A_GADGET_TEXT, word("old"), 0);
  click(110, 10);
  AllocGate gate;
  gate.fail(1, true);
  Q7TagItem list[3] = {{21500, word("new")}, {21504, word("new")}, {0, 0}};
  message(g, Q7M_SET, 0, list);
  const Q7Event typed = {Q7EVENT_KEY, 0, 0, 0, 0, 0, 0, 0, 0, "x"};
  message(window(), Q7M_WINDOW_EVENT, 0, &typed);
  gate.pass();
  EXPECT_STREQ(pointer<const char *>(g, 21500), "Label");
  EXPECT_STREQ(pointer<const char *>(g, 21504), "old");
  EXPECT_EQ(errors().size(), 3u);
}

}  // namespace
