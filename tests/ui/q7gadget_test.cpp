// Tests of the gadget family: gadget, SP gadget, the marking classes, separator and number scrolling.
#include "tests/ui/ui_test.h"

using namespace uitest;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class Gadget : public UiTest {
 protected:
  static std::vector<double> conflict() {
    std::vector<double> c(4, -1);
    Q7GetClassAttrs(21, 21515, num(c.data()), 0);
    return c;
  }
};

TEST_F(Gadget, NeedsAWindow) {
  EXPECT_EQ(make(21), nullptr);
  EXPECT_THAT(reports(), ElementsAre("q7gadget: No window for gadget"));
  EXPECT_EQ(instances(41), 0u);
  Q7Object *window = make(41);
  Q7Object *g = make(21, {{41500, num(window)}});
  ASSERT_NE(g, nullptr);
  EXPECT_EQ(object_of(g, 41500), window);
  Q7ObjectDelete(window);
  EXPECT_EQ(instances(41), 0u);
}

TEST_F(Gadget, RefusedCreationGivesBackModelAndList) {
  const uint32_t before = instances(0);
  Q7Object *model = make(0);
  Q7List list;
  Q7NewList(&list);
  EXPECT_EQ(make(21, {{21501, num(model)}, {524, num(&list)}}), nullptr);
  EXPECT_EQ(Q7NodeCount(&list), 0);
  EXPECT_EQ(instances(0), before);  // the model's only reference was the gadget's
}

TEST_F(Gadget, HoldsItsModel) {
  Q7Object *window = make(41), *a = make(kProbeObject), *b = make(kProbeObject);
  for (Q7Object *m : {a, b}) message(m, 9);
  Q7Object *g = make(21, {{41500, num(window)}, {21501, num(a)}});
  set(g, {{21501, num(b)}});
  EXPECT_EQ(object_of(g, 21501), b);
  EXPECT_THAT(probe(a).log, ElementsAre("9", "9", "10"));
  Q7ObjectDelete(window);
  EXPECT_THAT(probe(b).log, ElementsAre("9", "9", "10"));
  for (Q7Object *m : {a, b}) message(m, 10);
}

TEST_F(Gadget, FlagsAndIgnoredAttributes) {
  Q7Object *window = make(41);
  Q7Object *g = make(43, {{41500, num(window)}, {21517, 9}});
  EXPECT_EQ(get(g, 21516), 0);
  EXPECT_EQ(get(g, 21517), 1);
  set(g, {{21516, 1}, {21517, 0}, {21518, 1}});
  EXPECT_EQ(get(g, 21516), 1);
  EXPECT_EQ(get(g, 21517), 0);
  EXPECT_EQ(get(g, 21518), 1);
  for (uint32_t tag : {21502, 21508, 21509, 21510, 21513}) EXPECT_EQ(set(g, {{tag, 4}}), 0u);
  for (uint32_t tag : {21502, 21508, 21509, 21510}) EXPECT_EQ(get(g, tag), 0);
  EXPECT_EQ(message(g, 21000), 0u);
  EXPECT_EQ(message(g, 21001), 0u);
  EXPECT_THAT(reports(), IsEmpty());
  Q7ObjectDelete(window);
}

TEST_F(Gadget, WindowIsForgottenWithItsParent) {
  Q7Object *window = make(41);
  Q7Object *g = make(21, {{41500, num(window)}});
  message(g, 9);
  Q7ObjectDelete(window);
  EXPECT_EQ(object_of(g, 41500), nullptr);
  set(g, {{41500, num(g)}});
  EXPECT_EQ(object_of(g, 41500), nullptr);
  message(g, 10);
}

TEST_F(Gadget, ConflictColor) {
  EXPECT_THAT(conflict(), ElementsAre(1, 0, 0, -1));  // three doubles
  const double c[3] = {0.25, 0.5, 0.75};
  set_class(21, {{21515, num(c)}});
  EXPECT_THAT(conflict(), ElementsAre(0.25, 0.5, 0.75, -1));
  set_class(21, {{21512, num("1,0,0")}});  // five characters: ignored
  EXPECT_THAT(conflict(), ElementsAre(0.25, 0.5, 0.75, -1));
  set_class(21, {{21512, num("0.5,0.5,0")}});
  EXPECT_THAT(conflict(), ElementsAre(0.5, 0.5, 0, -1));
  set_class(21, {{21512, num("0.125,x,9")}});
  EXPECT_THAT(conflict(), ElementsAre(0.125, 0.5, 0, -1));
  set_class(21, {{21512, 0}});
  EXPECT_EQ(Q7ClassFind(21)->pubattrs->tag, 21515u);
}

TEST_F(Gadget, CatalogueTextsAreTranslated) {
  Q7Object *window = make(41);
  Q7Object *g = make(43, {{41500, num(window)}});
  const char *texts[] = {"No window for gadget",
                         "Close",
                         "Name",
                         "Yes",
                         "No",
                         "Cancel",
                         "OK",
                         "Apply",
                         "C",
                         "Y",
                         "N",
                         "C",
                         "O",
                         "A",
                         "Reserved",
                         "Reserved",
                         "Reserved",
                         "Reserved",
                         "Reserved",
                         "Reserved",
                         "Gadget"};
  for (uint64_t i = 0; i < 21; ++i) {
    EXPECT_STREQ(reinterpret_cast<const char *>(message(g, 25, 0, 0, i)), texts[i]) << i;
  }
  EXPECT_EQ(message(g, 25, 0, 0, 21), 0u);
  EXPECT_EQ(message(g, 25, 0, 0, num(-1)), 0u);
  EXPECT_STREQ(Q7ClassFind(21)->description, "Gadget");
  EXPECT_THAT(fake::calls("Q7AppOpenLocale"), Contains("Q7AppOpenLocale(q7common, q7gadget, 21)"));
  Q7ObjectDelete(window);
}

TEST_F(Gadget, TheCatalogueIsClosedWithTheClass) {
  TearDown();
  EXPECT_EQ(fake::live().catalogues, 0);
  fake::set_text("q7gadget", "NoWindowForGadget", "Kein Fenster");
  q7test::Capture quiet(1);
  Q7App *app = Q7AppCreate(nullptr, nullptr, 0);
  ASSERT_TRUE(Q7RegisterSPGadgetClass(app));
  EXPECT_STREQ(Q7ClassFind(21)->catalog[0].text, "Kein Fenster");
}

TEST_F(Gadget, ClassTree) {
  const struct {
    uint32_t id, super;
    const char *name;
  } expected[] = {{21, 41, "q7gadget"}, {43, 21, "q7spgdgt"},  {395, 21, "q7mxgad"}, {828, 395, "q7mxiltg"},
                  {74, 0, "q7slctbl"},  {22, 24, "q7packer"},  {24, 41, "q7gmanag"}, {23, 22, "q7rowcol"},
                  {25, 24, "q7placer"}, {1465, 20, "q7separg"}};
  for (const auto &e : expected) {
    const Q7Class *cl = Q7ClassFind(e.id);
    ASSERT_NE(cl, nullptr) << e.id;
    EXPECT_EQ(cl->super->header.clid, e.super) << e.id;
    EXPECT_STREQ(cl->header.name, e.name);
    EXPECT_STREQ(cl->organisation, "Karmonic");
    EXPECT_STREQ(cl->module, "q7common");
  }
  EXPECT_STREQ(Q7ClassFind(24)->description, "Geometry Manager");
  EXPECT_STREQ(Q7ClassFind(25)->description, "Placer");
  EXPECT_STREQ(Q7ClassFind(1465)->description, "Separator");
  Q7Object *window = make(41);
  Q7Object *g = make(828, {{41500, num(window)}});
  EXPECT_EQ(Q7ObjectIsOfKind(g, 395), 2);
  EXPECT_EQ(Q7ObjectIsOfKind(g, 21), 3);
  Q7Object *s = make(74);
  EXPECT_EQ(Q7ObjectIsOfKind(s, 74), 1);
  Q7ObjectDelete(s);
  Q7ObjectDelete(window);
  EXPECT_EQ(Q7RegisterMxIltGadgetClass(Q7ApplicationContext), 1);
}

TEST_F(Gadget, SeparatorAsksForASmallWindow) {
  clear_reports();
  Q7Object *s = make(1465);
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(get(s, 41546), 1);
  EXPECT_EQ(get(s, 41505), 3);
  EXPECT_EQ(get(s, 41506), 3);
  EXPECT_EQ(get(s, 41547), 0);
  EXPECT_EQ(get(s, 41548), 1);
  EXPECT_EQ(message(s, 41025), 2u);
  fake::clear_calls();
  set(s, {{41546, 1}});
  EXPECT_THAT(fake::calls("Q7Refresh"), IsEmpty());
  set(s, {{41546, 0}});
  EXPECT_EQ(fake::calls("Q7Refresh").size(), 1u);
  EXPECT_EQ(get(s, 41546), 0);
  set(s, {{41501, 12}});
  EXPECT_EQ(get(s, 41501), 12);
  Q7Object *other = make(1465, {{41546, 7}});
  EXPECT_EQ(get(other, 41546), 7);
  Q7ObjectDelete(s);
  Q7ObjectDelete(other);
}

TEST_F(Gadget, ScrollNumber) {
  EXPECT_EQ(Q7ScrollNumber(123, 3, 2, 1), 133);
  EXPECT_EQ(Q7ScrollNumber(123, 3, 2, -1), 113);
  EXPECT_EQ(Q7ScrollNumber(-5, 1, 0, 1), 5);
  EXPECT_EQ(Q7ScrollNumber(-5, 1, 1, 1), 5);
  EXPECT_EQ(Q7ScrollNumber(-5, 2, 2, 1), -4);
  EXPECT_EQ(Q7ScrollNumber(5, 1, 0, 0), 15);
  EXPECT_EQ(Q7ScrollNumber(5, 1, 2, 1), 5);  // a tenth: the integer part
  EXPECT_EQ(Q7ScrollNumber(INT32_MIN, 1, 0, 1), INT32_MAX);
  EXPECT_EQ(Q7ScrollNumber(1, 300, 1, 1), INT32_MAX);
  EXPECT_EQ(Q7ScrollNumber(1, INT32_MAX, INT32_MIN, -1), INT32_MIN);
}

}  // namespace
