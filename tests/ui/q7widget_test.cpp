// Tests of the widget's attributes, callbacks, change notification and class-wide settings.
#include "tests/ui/ui_test.h"

using namespace uitest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class Widget : public UiTest {};

std::vector<double> color(uint32_t tag) {
  std::vector<double> c(4, -1);
  Q7GetClassAttrs(Q7C_WIDGET, tag, num(c.data()), 0);
  return c;
}

TEST_F(Widget, StartsShownStretchableWithoutTargetIndex) {
  Q7Object *w = make(Q7C_WIDGET);
  EXPECT_EQ(get(w, 41511), 1);
  EXPECT_EQ(get(w, 41556), 1);
  EXPECT_EQ(get(w, 41557), 1);
  EXPECT_EQ(get(w, 41547), 0);
  EXPECT_EQ(get(w, 41548), 0);
  EXPECT_EQ(get(w, 41549), 0);
  EXPECT_EQ(get(w, 41553), -1);
  EXPECT_EQ(get(w, 41555), 0);
  EXPECT_EQ(get(w, 41509), 0);
  EXPECT_EQ(get(w, 41510), 0);
  Q7ObjectDelete(w);
  EXPECT_THAT(reports(), IsEmpty());
}

TEST_F(Widget, RegistersOnceWithItsTexts) {
  EXPECT_EQ(Q7RegisterWidgetClass(Q7ApplicationContext), 1);
  const Q7Class *cl = Q7ClassFind(41);
  EXPECT_STREQ(cl->header.name, "q7widget");
  EXPECT_STREQ(cl->description, "Graphical User Interface");
  EXPECT_STREQ(cl->organisation, "Karmonic");
  EXPECT_STREQ(cl->module, "q7common");
  EXPECT_EQ(cl->super, Q7ClassFind(0));
}

TEST_F(Widget, PublicAttributesStandInOrder) {
  const Q7PublicAttribute *row = Q7ClassFind(41)->pubattrs;
  const struct {
    const char *name;
    uint32_t tag, type;
  } expected[] = {{"DrawDropFrame", 41540, 17},
                  {"DragThreshold", 41552, 1},
                  {"DragTimeThreshold", 41554, 1},
                  {"DefineColorScheme", 41566, 17},
                  {"BackgroundColor", 41561, 8},
                  {"ForegroundColor", 41562, 8},
                  {"TopShadowColor", 41563, 8},
                  {"BottomShadowColor", 41564, 8},
                  {"DownColor", 41565, 8},
                  {"DownForegroundColor", 41567, 8},
                  {"InputBackgroundColor", 41568, 8},
                  {"ActiveTitleBackgroundColor", 41569, 8},
                  {"InactiveTitleBackgroundColor", 41570, 8},
                  {"TitleTextColor", 41571, 8}};
  for (const auto &e : expected) {
    ASSERT_STREQ(row->name, e.name);
    EXPECT_EQ(row->tag, e.tag);
    EXPECT_EQ(row->type, e.type);
    ++row;
  }
  EXPECT_EQ(row->name, nullptr);
}

TEST_F(Widget, WidthBecomesTheMinimumOnceAndTheMinimumRaisesTheWidth) {
  Q7Object *w = make(Q7C_WIDGET);
  set(w, {{41503, 50}, {41504, 20}});
  EXPECT_EQ(get(w, 41505), 50);
  EXPECT_EQ(get(w, 41506), 20);
  set(w, {{41505, 80}, {41506, 30}});
  EXPECT_EQ(get(w, 41503), 80);
  EXPECT_EQ(get(w, 41504), 30);
  set(w, {{41503, 10}});
  EXPECT_EQ(get(w, 41503), 10);
  EXPECT_EQ(get(w, 41505), 80);
  set(w, {{41503, num(-5)}});
  EXPECT_EQ(get(w, 41503), -5);
  Q7ObjectDelete(w);
}

TEST_F(Widget, StoresEveryPlainAttribute) {
  Q7Object *w = make(Q7C_WIDGET, {{41501, num(-3)}, {41502, 4}});
  EXPECT_EQ(get(w, 41501), -3);
  EXPECT_EQ(get(w, 41502), 4);
  set(w, {{41512, 0x123456789ABCDEF0}, {41519, 7}, {41520, 8}, {41553, 9}, {41555, 10}, {41546, 11}});
  EXPECT_EQ(get<uint64_t>(w, 41512), 0x123456789ABCDEF0u);
  EXPECT_EQ(get(w, 41519), 7);
  EXPECT_EQ(get(w, 41520), 8);
  EXPECT_EQ(get(w, 41553), 9);
  EXPECT_EQ(get(w, 41555), 10);
  EXPECT_EQ(get(w, 41546), 11);
  for (uint32_t flag : {41547, 41548, 41549}) {
    set(w, {{flag, 5}});
    EXPECT_EQ(get(w, flag), 1);
  }
  EXPECT_EQ(message(w, 41025), 3u);
  for (uint32_t ignored : {41507, 41508, 41550, 41551, 41558, 41559, 41560}) {
    EXPECT_EQ(set(w, {{ignored, 5}}), 0u);
    EXPECT_EQ(get(w, ignored), 0);
  }
  Q7ObjectDelete(w);
  EXPECT_THAT(reports(), IsEmpty());
}

TEST_F(Widget, UnknownAttributesGoToTheSuperclassOneByOne) {
  Q7Object *w = make(Q7C_WIDGET);
  Q7TagItem list[] = {{41501, 1}, {999, 2}, {513, num("name")}, {998, 4}, {0, 0}};
  EXPECT_EQ(Q7WidgetSet(w->cl, w, list, 0), &list[3]);
  EXPECT_EQ(reports().size(), 2u);
  EXPECT_STREQ(w->name, "name");
  EXPECT_EQ(Q7WidgetSet(w->cl, w, list, 1), nullptr);
  EXPECT_EQ(reports().size(), 2u);
  EXPECT_EQ(Q7WidgetSet(nullptr, w, list, 0), nullptr);
  EXPECT_EQ(Q7WidgetSet(w->cl, nullptr, list, 0), nullptr);
  Q7ObjectDelete(w);
}

TEST_F(Widget, SetOfASubclassMayHandInItsOwnRecord) {
  Q7Object *w = make(kProbeWidget);
  Q7TagItem list[] = {{41501, 17}, {0, 0}};
  Q7WidgetSet(w->cl, w, list, 0);
  EXPECT_EQ(get(w, 41501), 17);
  Q7ObjectDelete(w);
}

TEST_F(Widget, ExtensionReceivesGeometryAndShownState) {
  Q7Object *ext = make(kProbeObject);
  Q7Object *w = make(kProbeWidget);
  probe(w).attributes = {{41550, 10}, {41551, 20}};
  set(w, {{41539, num(ext)}});
  set(w, {{41501, 5}, {41502, 6}});
  set(w, {{41503, 7}});
  set(w, {{41504, 8}});
  set(w, {{41511, 0}});
  set(w, {{41511, 0}});
  set(w, {{41511, 1}});
  EXPECT_THAT(probe(ext).log, ElementsAre("set 41501=-5", "set 41502=-14", "set 41503=7 41504=0", "set 41503=7 41504=8",
                                          "set 41511=0", "set 41511=1"));
  clear_reports();
  Q7ObjectDelete(w);
  EXPECT_THAT(reports(), ElementsAre("q7widget: Deleted widget has extension object"));
  Q7ObjectDelete(ext);
}

TEST_F(Widget, TargetShowsAndHidesUnderItsOwnTag) {
  Q7Object *ext = make(kProbeObject);
  Q7Object *target = make(kProbeObject);
  Q7Object *w = make(Q7C_WIDGET, {{41539, num(ext)}});
  set(w, {{41518, 0}});
  EXPECT_EQ(get(w, 41511), 0);
  set(w, {{41518, num(target)}});
  EXPECT_EQ(get(w, 41511), 1);
  EXPECT_EQ(object_of(w, 41518), target);
  EXPECT_THAT(probe(ext).log, ElementsAre("set 41518=0", "set 41518=" + std::to_string(num(target))));
  set(w, {{41539, 0}});
  Q7ObjectDelete(w);
  Q7ObjectDelete(ext);
  Q7ObjectDelete(target);
}

TEST_F(Widget, InheritedValueReachesTheWholeSubtreeOnChangeOnly) {
  Q7Object *top = make(Q7C_WIDGET);
  Q7Object *mid = make(kProbeWidget, {{41500, num(top)}});
  Q7Object *leaf = make(Q7C_WIDGET, {{41500, num(mid)}});
  set(top, {{41546, 3}});
  EXPECT_EQ(get(leaf, 41546), 3);
  set(top, {{41546, 3}});
  EXPECT_THAT(probe(mid).log, ElementsAre("41004", "set 41546=3"));
  Q7ObjectDelete(top);
}

TEST_F(Widget, ChangeTellsTheTargetMethodWhenThereIsNoAttribute) {
  Q7Object *target = make(kProbeObject);
  Q7Object *w = make(Q7C_WIDGET, {{41518, num(target)}, {41520, 2901005}});
  EXPECT_EQ(message(w, 41003, 77, 0, 99), num(w));
  ASSERT_EQ(probe(target).messages.size(), 1u);
  const Message m = probe(target).messages[0];
  EXPECT_EQ(m.method, 2901005u);
  EXPECT_EQ(m.a, 77u);
  EXPECT_EQ(m.b, 0u);
  EXPECT_EQ(m.slot, 99u);
  message(w, 41003, 77, 1, 99);
  EXPECT_EQ(probe(target).messages.size(), 1u);
  Q7ObjectDelete(w);
  Q7ObjectDelete(target);
}

TEST_F(Widget, ChangeSetsTheTargetAttributePlainOrIndexed) {
  Q7Object *target = make(kProbeObject);
  probe(target).answers[28] = 1;
  Q7Object *w = make(Q7C_WIDGET, {{41518, num(target)}, {41519, 518}, {41520, 2901005}});
  message(w, 41003, 1, 0, 42);
  set(w, {{41553, 4}});
  message(w, 41003, 1, 0, 43);
  EXPECT_THAT(probe(target).log, ElementsAre("set 518=42", "28"));
  const Message m = probe(target).messages[0];
  EXPECT_EQ(m.a, 518u);
  EXPECT_EQ(m.b, 4u);
  EXPECT_EQ(m.slot, 43u);
  Q7ObjectDelete(w);
  Q7ObjectDelete(target);
}

TEST_F(Widget, CallbackRecordsReadSetAndSend) {
  Q7Object *o = make(kProbeObject);
  Q7Object *w = make(Q7C_WIDGET, {{41501, 31}});
  EXPECT_EQ(list_message(w, 41001, {{41514, num(o)}, {41515, 41501}, {41516, 518}, {41517, 2901007}}), num(w));
  message(w, 41003, 5, 0, 6);
  EXPECT_THAT(probe(o).log, ElementsAre("set 518=31", "2901007"));
  Message m = probe(o).messages[0];
  EXPECT_EQ(m.a, 5u);
  EXPECT_EQ(m.b, num(w));
  EXPECT_EQ(m.slot, 31u);
  // Quiet: nothing is read or set, the method still comes, with the data.
  message(w, 41003, 5, 1, 6);
  m = probe(o).messages[1];
  EXPECT_EQ(m.slot, 6u);
  EXPECT_EQ(probe(o).log.size(), 3u);
  Q7ObjectDelete(w);
  Q7ObjectDelete(o);
}

// A subclass that stores an attribute of its own and answers non-zero all the same.
uint64_t answers_one(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  if (method != Q7M_GET) return cl->superdispatch(cl->super, obj, method, a, b, tags);
  const int32_t value = 17;
  memcpy(reinterpret_cast<void *>(tags->data), &value, sizeof value);
  return 1;
}

TEST_F(Widget, ASourceAttributeCountsWhateverTheSubclassAnswers) {
  ASSERT_NE(Q7ClassCreateA(Q7C_WIDGET, 2905, answers_one, 0, nullptr), nullptr);
  Q7Object *o = make(kProbeObject);
  Q7Object *w = make(2905);
  list_message(w, 41001, {{41514, num(o)}, {41515, 2905500}, {41516, 518}});
  message(w, 41003, 5, 0, 6);
  EXPECT_THAT(probe(o).log, ElementsAre("set 518=17"));
  Q7ObjectDelete(w);
  Q7ObjectDelete(o);
}

TEST_F(Widget, RemovingACallbackMatchesNonZeroValuesAndTakesTheFirst) {
  Q7Object *o = make(kProbeObject);
  Q7Object *w = make(Q7C_WIDGET);
  list_message(w, 41001, {{41514, num(o)}, {41517, 2901001}});
  list_message(w, 41001, {{41514, num(o)}, {41517, 2901002}});
  list_message(w, 41001, {{41514, num(o)}, {41517, 2901003}});
  EXPECT_EQ(list_message(w, 41002, {{41517, 2901002}}), num(w));
  EXPECT_EQ(list_message(w, 41002, {{41517, 2901009}}), num(w));
  message(w, 41003);
  EXPECT_THAT(probe(o).log, ElementsAre("2901001", "2901003"));
  list_message(w, 41002, {{41514, num(o)}});
  probe(o).log.clear();
  message(w, 41003);
  EXPECT_THAT(probe(o).log, ElementsAre("2901003"));
  Q7ObjectDelete(w);
  Q7ObjectDelete(o);
}

TEST_F(Widget, ACallbackMayRemoveItselfAndOthersWhileTold) {
  Q7Object *o = make(kProbeObject);
  Q7Object *w = make(Q7C_WIDGET);
  for (uint64_t i = 1; i <= 4; ++i) list_message(w, 41001, {{41514, num(o)}, {41517, 2901000 + i}});
  probe(o).hook = [&](const Message &m) {
    if (m.method == 2901001) {
      list_message(w, 41002, {{41517, 2901001}});
      list_message(w, 41002, {{41517, 2901002}});
    }
  };
  message(w, 41003);
  EXPECT_THAT(probe(o).log, ElementsAre("2901001", "2901003", "2901004"));
  Q7ObjectDelete(w);
  Q7ObjectDelete(o);
}

TEST_F(Widget, AWideSourceAttributeDoesNotOverrun) {
  Q7Object *o = make(kProbeObject);
  Q7Object *w = make(Q7C_WIDGET);
  list_message(w, 41001, {{41514, num(o)}, {41515, 999}, {41517, 2901007}});
  message(w, 41003, 1, 0, 55);
  EXPECT_EQ(probe(o).messages[0].slot, 55u);  // an unknown attribute leaves the data
  Q7ObjectDelete(w);
  Q7ObjectDelete(o);
}

TEST_F(Widget, CallbackOutOfMemoryIsDropped) {
  Q7Object *w = make(Q7C_WIDGET);
  q7test::AllocGate gate;
  gate.fail(1);
  q7test::Capture quiet(1);
  EXPECT_EQ(list_message(w, 41001, {{41517, 2901001}}), 0u);
  gate.fail(1);
  EXPECT_EQ(set(w, {{41531, 5}}), 0u);
  EXPECT_EQ(get<uint64_t>(w, 41531), 0u);
  gate.pass();
  Q7ObjectDelete(w);
}

TEST_F(Widget, DragAttributesAreStoredInTheBlock) {
  Q7Object *w = make(Q7C_WIDGET);
  for (uint32_t tag : {41532, 41535, 41536, 41541, 41542, 41545}) EXPECT_EQ(get(w, tag), 0);
  for (uint32_t tag : {41532, 41535, 41536, 41541, 41542, 41545}) {
    set(w, {{tag, tag}});
    EXPECT_EQ(get(w, tag), static_cast<int32_t>(tag));
  }
  for (uint32_t tag : {41531, 41533, 41534, 41537}) {
    set(w, {{tag, 0x1122334455667788}});
    EXPECT_EQ(get<uint64_t>(w, tag), 0x1122334455667788u);
  }
  Q7ObjectDelete(w);
}

TEST_F(Widget, ClassAttributesHaveTheirDefaults) {
  int32_t v[4] = {-1, -1, -1, -1};
  EXPECT_EQ(Q7GetClassAttrs(41, 41540, num(&v[0]), 41552, num(&v[1]), 41554, num(&v[2]), 41566, num(&v[3]), 0), 0);
  EXPECT_THAT(v, ElementsAre(0, 20, 0, 0));
  set_class(41, {{41540, 7}, {41552, 30}, {41554, 40}, {41566, 2}});
  Q7GetClassAttrs(41, 41540, num(&v[0]), 41552, num(&v[1]), 41554, num(&v[2]), 41566, num(&v[3]), 0);
  EXPECT_THAT(v, ElementsAre(1, 30, 40, 1));
}

TEST_F(Widget, ColorsComeFromThePlatformUntilASchemeIsDefined) {
  const double blue[4] = {0, 0, 0.5, 0.25};
  set_class(41, {{41565, num(blue)}});
  EXPECT_THAT(color(41565), ElementsAre(0.25, 0.25 + 0.01, 0.25 + 0.02, 1));
  set_class(41, {{41566, 1}});
  EXPECT_THAT(color(41565), ElementsAre(0, 0, 0.5, 0.25));
  EXPECT_THAT(color(41561), ElementsAre(0, 0, 0, 0));  // nothing is stored before the first reset
}

TEST_F(Widget, PlatformColorsStandInTheOrderOfTheTable) {
  const uint32_t tags[] = {41561, 41562, 41563, 41564, 41565, 41567, 41568, 41569, 41570, 41571};
  for (int i = 0; i < 10; ++i) EXPECT_DOUBLE_EQ(color(tags[i])[0], 0.05 * (i + 1)) << tags[i];
}

TEST_F(Widget, ResetAndBrightnessOfTheScheme) {
  Q7Object *w = make(Q7C_WIDGET);
  set_class(41, {{41566, 1}});
  EXPECT_EQ(message(w, 41037), 0u);
  EXPECT_THAT(color(41561), ElementsAre(0.6, 0.6, 0.6, 0));
  EXPECT_THAT(color(41562), ElementsAre(0, 0, 0, 0));
  EXPECT_THAT(color(41563), ElementsAre(0.8, 0.8, 0.8, 0));
  EXPECT_THAT(color(41564), ElementsAre(0.4, 0.4, 0.4, 0));
  EXPECT_THAT(color(41565), ElementsAre(0, 0, 1, 0));
  EXPECT_THAT(color(41567), ElementsAre(1, 1, 1, 0));
  EXPECT_THAT(color(41568), ElementsAre(1, 1, 1, 0));
  EXPECT_THAT(color(41569), ElementsAre(0.4, 0.4, 0.4, 0));
  EXPECT_THAT(color(41570), ElementsAre(0.3, 0.3, 0.3, 0));
  EXPECT_THAT(color(41571), ElementsAre(0.8, 0.8, 0.8, 0));
  EXPECT_EQ(message(w, 41038, 0, 0, 200), 0u);
  EXPECT_THAT(color(41561), ElementsAre(1, 1, 1, 0));
  EXPECT_THAT(color(41570), ElementsAre(0.3 * 2, 0.3 * 2, 0.3 * 2, 0));
  message(w, 41038, 0, 0, 50);
  EXPECT_THAT(color(41561), ElementsAre(0.3, 0.3, 0.3, 0));
  message(w, 41038, 0, 0, num(-50));
  EXPECT_THAT(color(41561), ElementsAre(0, 0, 0, 0));
  Q7ObjectDelete(w);
}

TEST_F(Widget, SettingsSurviveInTheStore) {
  set_class(41, {{41552, 33}});
  {
    q7test::Capture quiet(1);
    Q7AppDelete(Q7ApplicationContext);
  }
  EXPECT_EQ(fake::settings()["/q7root/q7widget"]["DragThreshold"], "33");
  q7test::Capture quiet(1);
  Q7App *app = Q7AppCreate(nullptr, nullptr, 0);
  ASSERT_TRUE(Q7RegisterWidgetClass(app));
  int32_t v = 0;
  Q7GetClassAttrs(41, 41552, num(&v), 0);
  EXPECT_EQ(v, 33);
}

TEST_F(Widget, ConstantAndForwardedMethods) {
  Q7Object *top = make(Q7C_WIDGET);
  Q7Object *child = make(Q7C_WIDGET, {{41500, num(top)}});
  EXPECT_EQ(message(child, 41036), 1u);
  EXPECT_EQ(message(child, 41033, 1, 2, 3), 1u);
  Q7Object *p = make(kProbeWidget);
  probe(p).answers[41033] = 77;
  set(child, {{41500, num(p)}});
  EXPECT_EQ(message(child, 41033, 1, 2, 3), 77u);
  EXPECT_EQ(probe(p).messages.back().a, 1u);
  EXPECT_EQ(probe(p).messages.back().b, 2u);
  EXPECT_EQ(probe(p).messages.back().slot, 3u);
  for (uint32_t hook : {41010, 41011, 41012, 41013, 41020, 41021, 41027, 41028, 41029, 41034, 41035}) {
    EXPECT_EQ(message(child, hook), 0u);
  }
  EXPECT_THAT(reports(), IsEmpty());
  Q7ObjectDelete(top);
  Q7ObjectDelete(p);
}

TEST_F(Widget, ClassRecordsTakeNoInstanceMessages) {
  Q7Object *cl = &Q7ClassFind(41)->header;
  for (uint32_t method : {1u, 4u, 5u, 41000u, 41003u, 41004u, 41005u, 41022u, 41030u}) {
    EXPECT_EQ(message(cl, method, 0, 0, 0), 0u) << method;
  }
  EXPECT_EQ(message(cl, 41036), 1u);
}

TEST_F(Widget, CannotBeCopied) {
  Q7Object *w = make(Q7C_WIDGET);
  EXPECT_EQ(message(w, Q7M_COPY), 0u);
  Q7ObjectDelete(w);
}

TEST_F(Widget, RequestLayoutGoesToTheManagerOrTheParent) {
  Q7Object *parent = make(kProbeWidget);
  Q7Object *manager = make(kProbeWidget);
  Q7Object *w = make(Q7C_WIDGET, {{41500, num(parent)}});
  probe(parent).log.clear();
  probe(parent).answers[41000] = 5;
  EXPECT_EQ(message(w, 41018), 5u);
  EXPECT_THAT(probe(parent).log, ElementsAre("41000"));
  set(w, {{41543, num(manager)}});
  message(w, 41018);
  EXPECT_THAT(probe(manager).log, ElementsAre("41000"));
  Q7ObjectDelete(parent);
  Q7ObjectDelete(manager);
}

}  // namespace
