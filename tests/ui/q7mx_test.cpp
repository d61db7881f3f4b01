// Tests of groups: activation by the user and by attributes, participation, managers, groups made from labels, and the
// stepping button.
#include "ui/q7mx.h"

#include "app/q7idle.h"
#include "tests/ui/views_test.h"
#include "ui/q7easymx.h"
#include "ui/q7gmanag.h"
#include "ui/q7mxbutto.h"
#include "ui/q7packer.h"

using namespace views;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

namespace {

class Mx : public ViewsTest {
 protected:
  void SetUp() override {
    ViewsTest::SetUp();
    ASSERT_EQ(Q7RegisterEasyMxClass(Q7ApplicationContext), 1);
    ASSERT_EQ(Q7RegisterMxButtonClass(Q7ApplicationContext), 1);
    window = make(20);
    message(window, 9);
    packer = make(22);
    message(packer, 9);
    for (int i = 0; i < 4; ++i) gadgets.push_back(member(packer, 1));
  }
  void TearDown() override {
    message(window, 10);
    message(packer, 10);
    EXPECT_EQ(live(), 0);
    ViewsTest::TearDown();
  }
  Q7Object *member(Q7Object *manager, uint64_t takes_part) {
    Q7Object *g = make(26, {{41500, num(window)}, {21508, takes_part}});
    list_message(manager, 24000, {{24500, num(g)}});
    return g;
  }
  Q7Object *group(int32_t exclusive = 1, int32_t ordinal = -1) {
    return make(181, {{181503, num(packer)}, {181501, num(exclusive)}, {395500, num(ordinal)}, {41500, num(window)}});
  }
  // What the gadgets show as active, "0100".
  std::string selected() {
    std::string text;
    for (Q7Object *g : gadgets) text += record(g).values[21509] ? '1' : '0';
    return text;
  }
  // The user presses a gadget.
  static void press(Q7Object *g) { message(g, 41003, 1, 0, 0); }
  static int32_t ordinal(Q7Object *g) { return get(g, 395500); }
  static Q7Object *active(Q7Object *g) { return get<Q7Object *>(g, 181502); }

  Q7Object *window = nullptr, *packer = nullptr;
  std::vector<Q7Object *> gadgets;
};

TEST_F(Mx, IsRegisteredAsStated) {
  EXPECT_EQ(Q7ClassFind(181)->super, Q7ClassFind(395));
  EXPECT_EQ(Q7ClassFind(304)->super, Q7ClassFind(181));
  EXPECT_EQ(Q7ClassFind(827)->super, Q7ClassFind(26));
  EXPECT_NE(Q7ClassFind(828), nullptr);
  EXPECT_STREQ(Q7ClassFind(181)->header.name, "q7mx");
  EXPECT_STREQ(Q7ClassFind(304)->header.name, "q7easymx");
  EXPECT_STREQ(Q7ClassFind(827)->header.name, "q7mxbutto");
  EXPECT_EQ(Q7RegisterMxClass(Q7ApplicationContext), 1);
}

TEST_F(Mx, NeedsAWindow) {
  EXPECT_EQ(make(181, {{181503, num(packer)}}), nullptr);
  EXPECT_EQ(get(packer, Q7A_REFCOUNT), 1);
}

TEST_F(Mx, CreationHooksMembersAndHoldsTheManager) {
  Q7Object *g = group();
  EXPECT_EQ(get(packer, Q7A_REFCOUNT), 2);
  for (Q7Object *x : gadgets) EXPECT_THAT(record(x).of(41001), SizeIs(1));
  EXPECT_EQ(ordinal(g), -1);
  EXPECT_EQ(active(g), nullptr);
  EXPECT_EQ(get(g, 181501), 1);
  EXPECT_EQ(get<Q7Object *>(g, 181503), packer);
  Q7ObjectDelete(g);
  EXPECT_EQ(get(packer, Q7A_REFCOUNT), 1);
  for (Q7Object *x : gadgets) EXPECT_THAT(record(x).of(41002), SizeIs(1));
  press(gadgets[0]);  // nobody listens any more
}

TEST_F(Mx, CreationActivatesByOrdinalWithoutNotification) {
  Q7Object *g = group(1, 2);
  EXPECT_EQ(ordinal(g), 2);
  EXPECT_EQ(active(g), gadgets[2]);
  EXPECT_EQ(selected(), "0010");
}

TEST_F(Mx, PressActivatesAndNotifiesWithTheOrdinal) {
  Q7Object *g = group();
  Q7Object *listener = make(kRecorder);
  list_message(g, 41001, {{41514, num(listener)}, {41517, 3950001}});
  press(gadgets[1]);
  EXPECT_EQ(ordinal(g), 1);
  EXPECT_EQ(active(g), gadgets[1]);
  EXPECT_EQ(selected(), "0100");
  press(gadgets[3]);
  EXPECT_EQ(selected(), "0001");
  EXPECT_THAT(record(listener).messages, ElementsAre(Message{3950001, 1, num(g), 1}, Message{3950001, 3, num(g), 3}));
  Q7ObjectDelete(listener);
}

TEST_F(Mx, CallbackCarriesTheMemberItself) {
  Q7Object *g = group();
  message(g, 181000, 0, 0, num(gadgets[2]));
  EXPECT_EQ(ordinal(g), 2);
  message(g, 181499, 0, num(gadgets[1]), num(gadgets[1]));  // the rest of the range does the same
  EXPECT_EQ(ordinal(g), 1);
  message(g, 181000, 0, 0, 12345);
  EXPECT_EQ(ordinal(g), -1);
  EXPECT_EQ(selected(), "0000");
  message(gadgets[3], 41003, 7, 1, 99);  // quiet: only the callback's method runs
  EXPECT_EQ(ordinal(g), 3);
}

TEST_F(Mx, MethodsOutsideTheRangeGoToTheSuperclass) {
  Q7Object *g = group(1, 1);
  message(g, 181500);
  message(g, 999999);
  EXPECT_EQ(ordinal(g), 1);
  EXPECT_THAT(reports(), SizeIs(2));
}

TEST_F(Mx, WithoutExclusiveModeOnlyTheOthersAreCleared) {
  group(0);
  set(gadgets[0], {{21509, 1}});
  set(gadgets[1], {{21509, 1}});  // the pressed one selects itself
  for (Q7Object *x : gadgets) record(x).sets.clear();
  press(gadgets[1]);
  EXPECT_EQ(selected(), "0100");
  EXPECT_THAT(record(gadgets[1]).sets, IsEmpty());
  EXPECT_THAT(record(gadgets[0]).sets, SizeIs(1));
}

TEST_F(Mx, ExclusiveModeCanBeSwitched) {
  Q7Object *g = group(0);
  set(g, {{395500, 2}});
  EXPECT_EQ(ordinal(g), 2);
  EXPECT_EQ(selected(), "0000");
  set(g, {{181501, 5}, {395500, 2}});
  EXPECT_EQ(selected(), "0010");
  EXPECT_EQ(get(g, 181501), 5);
}

TEST_F(Mx, SettingActivatesWithoutNotification) {
  Q7Object *g = group();
  Q7Object *listener = make(kRecorder);
  list_message(g, 41001, {{41514, num(listener)}, {41517, 3950001}});
  EXPECT_EQ(set(g, {{181500, num(gadgets[2])}}), 0u);
  EXPECT_EQ(ordinal(g), 2);
  set(g, {{395500, 0}});
  EXPECT_EQ(active(g), gadgets[0]);
  set(g, {{395500, num(-1)}});
  EXPECT_EQ(ordinal(g), -1);
  EXPECT_EQ(active(g), nullptr);
  EXPECT_EQ(selected(), "0000");
  set(g, {{395500, 1}});
  set(g, {{395500, 4}});  // nobody has it
  EXPECT_EQ(ordinal(g), -1);
  set(g, {{395500, 1}});
  set(g, {{181500, 0}});
  EXPECT_EQ(ordinal(g), -1);
  set(g, {{181500, num(window)}});  // no member
  EXPECT_EQ(active(g), nullptr);
  EXPECT_THAT(record(listener).messages, IsEmpty());
  Q7ObjectDelete(listener);
}

TEST_F(Mx, OrdinalsCountThoseThatTakePart) {
  set(gadgets[1], {{21508, 0}});
  Q7Object *g = group(1, 1);
  EXPECT_EQ(active(g), gadgets[2]);
  EXPECT_THAT(record(gadgets[1]).of(41001), IsEmpty());
  set(gadgets[1], {{21508, 1}});  // between walks
  EXPECT_EQ(ordinal(g), 2);
  set(g, {{395500, 1}});
  EXPECT_EQ(active(g), gadgets[1]);
  EXPECT_EQ(selected(), "0100");
  set(gadgets[0], {{21508, 0}});
  EXPECT_EQ(ordinal(g), 0);
  set(gadgets[1], {{21508, 0}});  // the active one itself
  EXPECT_EQ(ordinal(g), -1);
  EXPECT_EQ(active(g), nullptr);
  set(g, {{181503, num(packer)}});  // hooks those that came meanwhile
  press(gadgets[3]);
  EXPECT_EQ(ordinal(g), 1);
}

TEST_F(Mx, ActiveMemberLeaves) {
  Q7Object *g = group(1, 2);
  list_message(packer, 24001, {{24500, num(gadgets[0])}});
  EXPECT_EQ(ordinal(g), 1);
  list_message(packer, 24001, {{24500, num(gadgets[2])}});
  EXPECT_EQ(ordinal(g), -1);
  EXPECT_EQ(active(g), nullptr);
  set(g, {{395500, 1}});
  EXPECT_EQ(active(g), gadgets[3]);
  Q7ObjectDelete(gadgets[3]);
  EXPECT_EQ(active(g), nullptr);
  EXPECT_EQ(ordinal(g), -1);
}

TEST_F(Mx, MemberThatGoesWhileStatesAreSet) {
  Q7Object *g = group();
  record(gadgets[3]).on_set = [&](const Q7TagItem &item) {
    if (item.tag == 21509) Q7ObjectDelete(gadgets[1]);
  };
  press(gadgets[1]);
  EXPECT_EQ(ordinal(g), -1);
  EXPECT_EQ(active(g), nullptr);
}

TEST_F(Mx, GroupThatGoesWhileStatesAreSet) {
  Q7Object *g = group();
  record(gadgets[2]).on_set = [&](const Q7TagItem &item) {
    if (item.tag == 21509 && g) Q7ObjectDelete(std::exchange(g, nullptr));
  };
  press(gadgets[0]);
  EXPECT_EQ(g, nullptr);
  EXPECT_EQ(get(packer, Q7A_REFCOUNT), 1);
}

TEST_F(Mx, MemberThatNotifiesWhenItIsSetDoesNotDisturb) {
  Q7Object *g = group();
  for (Q7Object *x : gadgets) {
    record(x).on_set = [x](const Q7TagItem &item) {
      if (item.tag == 21509) press(x);
    };
  }
  press(gadgets[2]);
  EXPECT_EQ(ordinal(g), 2);
  EXPECT_EQ(selected(), "0010");
}

TEST_F(Mx, TwoGroupsOverOneManager) {
  Q7Object *one = group(), *two = group();
  press(gadgets[3]);
  EXPECT_EQ(ordinal(one), 3);
  EXPECT_EQ(ordinal(two), 3);
  set(one, {{395500, 1}});
  EXPECT_EQ(ordinal(two), 3);
  // A press from within the walk of the first group reaches the second one later.
  bool once = true;
  record(gadgets[0]).on_set = [&](const Q7TagItem &item) {
    if (item.tag == 21509 && std::exchange(once, false)) press(gadgets[2]);
  };
  set(one, {{395500, 0}});
  EXPECT_EQ(ordinal(one), 0);
  EXPECT_EQ(ordinal(two), 3);
  while (Q7AppDoIdle(Q7ApplicationContext)) {
  }
  EXPECT_EQ(ordinal(two), 2);
  EXPECT_EQ(ordinal(one), 0);
}

TEST_F(Mx, ReplacingTheManager) {
  Q7Object *other = make(22);
  Q7Object *x = member(other, 1), *y = member(other, 1);
  Q7Object *g = group(1, 1);
  set(g, {{181503, num(other)}});
  EXPECT_EQ(get(packer, Q7A_REFCOUNT), 1);
  EXPECT_EQ(get(other, Q7A_REFCOUNT), 1);
  EXPECT_EQ(ordinal(g), -1);  // the active one is no member any more
  press(gadgets[2]);
  EXPECT_EQ(ordinal(g), -1);
  press(y);
  EXPECT_EQ(ordinal(g), 1);
  EXPECT_EQ(record(x).values[21509], 0u);
  set(g, {{181503, num(other)}});
  EXPECT_EQ(get(other, Q7A_REFCOUNT), 1);
  set(g, {{181503, 0}});
  EXPECT_EQ(ordinal(g), -1);
  EXPECT_EQ(get<Q7Object *>(g, 181503), nullptr);
}

TEST_F(Mx, NestedManagersAreWalkedToo) {
  Q7Object *inner = make(22);
  Q7Object *x = member(inner, 1);
  list_message(packer, 24000, {{24500, num(inner)}});
  Q7Object *g = group();
  press(x);
  EXPECT_EQ(ordinal(g), 4);
  EXPECT_EQ(active(g), x);
  list_message(packer, 24001, {{24500, num(inner)}});
}

TEST_F(Mx, RectangleAndShownStateAreTheManagers) {
  Q7Object *g = group();
  set(g, {{41501, 5}, {41502, 6}, {41503, 70}, {41504, 80}, {41511, 0}});
  EXPECT_EQ(get(packer, 41501), 5);
  EXPECT_EQ(get(packer, 41502), 6);
  EXPECT_EQ(get(packer, 41503), 70);
  EXPECT_EQ(get(packer, 41504), 80);
  EXPECT_EQ(get(g, 41503), 70);
  EXPECT_EQ(get(g, 41504), 80);
  for (Q7Object *x : gadgets) set(x, {{41505, 30}, {41506, 10}});
  message(packer, 41000);
  EXPECT_EQ(get(g, 41505), get(packer, 41505));
  EXPECT_EQ(get(g, 41506), get(packer, 41506));
  EXPECT_EQ(get(g, 41509), get(packer, 41509));
}

TEST_F(Mx, WithoutAManagerTheRectangleIsItsOwn) {
  Q7Object *g = make(181, {{41500, num(window)}});
  set(g, {{41501, 5}, {395500, 0}, {21502, 1}});
  EXPECT_EQ(get(g, 41501), 5);
  EXPECT_EQ(ordinal(g), -1);
  press(gadgets[0]);
  EXPECT_EQ(message(g, 181005, 0, 0, 0), 0u);
}

TEST_F(Mx, ParentAndStatesArePassedOn) {
  Q7Object *g = group();
  Q7Object *other = make(20);
  message(other, 9);
  for (Q7Object *x : gadgets) record(x).sets.clear();
  set(g, {{41500, num(window)}});  // no change
  for (Q7Object *x : gadgets) EXPECT_THAT(record(x).sets, IsEmpty());
  set(g, {{41500, num(other)}, {21502, 1}, {21506, 2}});
  for (Q7Object *x : gadgets) {
    EXPECT_EQ(get<Q7Object *>(x, 41500), other);
    EXPECT_EQ(record(x).values[21502], 1u);
    EXPECT_EQ(record(x).values[21506], 2u);
  }
  EXPECT_EQ(get<Q7Object *>(g, 41500), other);
  message(other, 10);
}

TEST_F(Mx, AttributesOfOneMemberCountAllGadgets) {
  set(gadgets[0], {{21508, 0}});
  Q7Object *g = group();
  Q7TagItem list[] = {{21513, 77}, {0, 0}};
  EXPECT_EQ(message(g, 181005, 1, 0, num(&list[0])), 1u);
  EXPECT_EQ(record(gadgets[1]).values[21513], 77u);
  EXPECT_EQ(record(gadgets[2]).values[21513], 0u);
  EXPECT_EQ(message(g, 181005, 4, 0, num(&list[0])), 0u);
  EXPECT_EQ(message(g, 181005, num(-1), 0, num(&list[0])), 0u);
}

TEST_F(Mx, WalkMethodsTakeNull) {
  Q7Object *g = group();
  for (uint32_t method = 181001; method <= 181007; ++method) message(g, method);
  for (uint32_t method = 181002; method <= 181007; ++method) {
    if (method != 181005) message(g, method, num(gadgets[0]));
  }
}

// ---- Groups made from labels ----

class EasyMx : public Mx {
 protected:
  static constexpr const char *kLabels[] = {"Draft", "Normal", "Fine", nullptr};
  static constexpr uint64_t kValues[] = {10, 20, 1ull << 40};
  std::vector<Q7Object *> members(Q7Object *g) {
    std::vector<Q7Object *> found;
    auto *walker = make(kRecorder);
    record(walker).answers[3950002] = 1;
    message(get<Q7Object *>(g, 181503), 24004, num(walker), 3950002, 0);
    for (const Message &m : record(walker).messages) found.push_back(reinterpret_cast<Q7Object *>(m.a));
    Q7ObjectDelete(walker);
    return found;
  }
};

TEST_F(EasyMx, BuildsTheWholeGroup) {
  const int before = live();
  Q7Object *g = make(304, {{41500, num(window)}, {828500, num(&kLabels[0])}, {828501, num(&kValues[0])}, {395500, 1}});
  ASSERT_NE(g, nullptr);
  const auto m = members(g);
  ASSERT_THAT(m, SizeIs(3));
  for (size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(m[i]->clid, 26u);
    EXPECT_EQ(get<Q7Object *>(m[i], 41500), window);
    EXPECT_STREQ(get<const char *>(m[i], 21500), kLabels[i]);
    EXPECT_EQ(get<uint64_t>(m[i], 21513), kValues[i]);
    EXPECT_EQ(get(m[i], 21509), i == 1);
  }
  EXPECT_EQ(ordinal(g), 1);
  EXPECT_EQ(get(g, 181501), 1);
  EXPECT_EQ(get(g, 181504), 3);
  EXPECT_EQ(get<uint64_t>(g, 181505), 20u);
  press(m[2]);
  EXPECT_EQ(ordinal(g), 2);
  EXPECT_EQ(get<uint64_t>(g, 181505), kValues[2]);
  EXPECT_EQ(get(m[1], 21509), 0);
  Q7ObjectDelete(g);
  EXPECT_EQ(live(), before);
}

TEST_F(EasyMx, GoesWithItsWindow) {
  Q7Object *other = make(20);
  message(other, 9);
  const int before = live();
  make(304, {{41500, num(other)}, {828500, num(&kLabels[0])}});
  EXPECT_EQ(live(), before + 3);
  message(other, 10);
  EXPECT_EQ(live(), before - 1);
}

TEST_F(EasyMx, ImagesMakeGadgetsOfTheOtherClass) {
  Q7Object *image = make(kRecorder);
  Q7Object *images[] = {nullptr, image, nullptr};
  Q7Object *g = make(304, {{41500, num(window)}, {828500, num(&kLabels[0])}, {828502, num(&images[0])}});
  const auto m = members(g);
  ASSERT_THAT(m, SizeIs(3));
  EXPECT_EQ(m[0]->clid, 26u);
  EXPECT_EQ(m[1]->clid, 80u);
  EXPECT_EQ(get<Q7Object *>(m[1], 21507), image);
  EXPECT_EQ(get<uint64_t>(m[2], 21513), 2u);  // without values, the ordinals
  EXPECT_EQ(ordinal(g), -1);
  EXPECT_EQ(get<uint64_t>(g, 181505), 0u);
  Q7ObjectDelete(g);
  Q7ObjectDelete(image);
}

TEST_F(EasyMx, LaysItsMembersOut) {
  Q7Object *g = make(304, {{41500, num(window)}, {828500, num(&kLabels[0])}, {22500, 1}});
  EXPECT_EQ(get(g, 22500), 1);
  const auto m = members(g);
  for (Q7Object *x : m) set(x, {{41505, 20}, {41506, 10}});
  EXPECT_EQ(get(g, 41505), 60);
  set(g, {{41501, 0}, {41502, 0}, {41503, 60}, {41504, 10}});
  EXPECT_EQ(get(m[2], 41501), 40);
  set(g, {{22500, 0}});
  set(g, {{41503, 20}, {41504, 30}});
  EXPECT_EQ(get(m[2], 41501), 0);
  EXPECT_EQ(get(m[2], 41502), 20);
  set(g, {{181503, num(packer)}});  // its packer stays its own
  EXPECT_NE(get<Q7Object *>(g, 181503), packer);
}

TEST_F(EasyMx, WithoutLabelsOrWindow) {
  Q7Object *g = make(304, {{41500, num(window)}});
  EXPECT_EQ(get(g, 181504), 0);
  EXPECT_EQ(make(304, {{828500, num(&kLabels[0])}}), nullptr);
}

TEST_F(EasyMx, DeletedMemberIsForgotten) {
  Q7Object *g = make(304, {{41500, num(window)}, {828500, num(&kLabels[0])}, {395500, 2}});
  Q7ObjectDelete(members(g)[0]);
  EXPECT_EQ(ordinal(g), 1);
  EXPECT_EQ(get<uint64_t>(g, 181505), 2u);
  Q7ObjectDelete(g);
}

TEST_F(EasyMx, EveryAllocationMayFail) {
  const int before = live();
  for (int n = 1;; ++n) {
    q7test::Capture quiet(1);
    q7test::AllocGate gate;
    gate.fail(n);
    Q7Object *g = make(304, {{41500, num(window)}, {828500, num(&kLabels[0])}, {395500, 1}});
    const bool refused = gate.refused() > 0;
    gate.pass();
    if (g) Q7ObjectDelete(g);
    EXPECT_EQ(live(), before) << n;
    if (!refused) break;
    ASSERT_LT(n, 1000);
  }
}

// ---- The stepping button ----

class MxButton : public EasyMx {};

TEST_F(MxButton, StepsThroughItsItems) {
  Q7Object *b = make(827, {{41500, num(window)}, {828500, num(&kLabels[0])}, {828501, num(&kValues[0])}, {395500, 1}});
  EXPECT_EQ(ordinal(b), 1);
  EXPECT_STREQ(get<const char *>(b, 21500), "Normal");
  EXPECT_EQ(get<uint64_t>(b, 21513), 20u);
  EXPECT_EQ(get(b, 21508), 1);
  Q7Object *listener = make(kRecorder);
  list_message(b, 41001, {{41514, num(listener)}, {41517, 3950001}});
  press(b);
  EXPECT_STREQ(get<const char *>(b, 21500), "Fine");
  EXPECT_EQ(get<uint64_t>(b, 21513), kValues[2]);
  press(b);
  EXPECT_EQ(ordinal(b), 0);
  EXPECT_THAT(record(listener).messages, ElementsAre(Message{3950001, 2, num(b), 2}, Message{3950001, 0, num(b), 0}));
  EXPECT_EQ(message(b, 827000, 0, 0, num(-1)), 1u);
  EXPECT_EQ(ordinal(b), 2);
  message(b, 41003, 9, 1, 8);  // quiet: passed on as it is
  EXPECT_EQ(record(listener).messages.back(), (Message{3950001, 9, num(b), 8}));
  EXPECT_EQ(ordinal(b), 2);
  set(b, {{395500, 0}});
  EXPECT_STREQ(get<const char *>(b, 21500), "Draft");
  set(b, {{395500, 3}});
  EXPECT_EQ(ordinal(b), 0);
  EXPECT_THAT(record(listener).messages, SizeIs(3));
  Q7ObjectDelete(b);
  Q7ObjectDelete(listener);
}

TEST_F(MxButton, WithoutItemsItIsAPlainButton) {
  Q7Object *b = make(827, {{41500, num(window)}});
  Q7Object *listener = make(kRecorder);
  list_message(b, 41001, {{41514, num(listener)}, {41517, 3950001}});
  EXPECT_EQ(ordinal(b), -1);
  message(b, 41003, 4, 0, 5);
  EXPECT_THAT(record(listener).messages, ElementsAre(Message{3950001, 4, num(b), 5}));
  EXPECT_EQ(message(b, 827000, 0, 0, 1), 0u);
  Q7ObjectDelete(b);
  Q7ObjectDelete(listener);
}

TEST_F(MxButton, ArraysAreCopiedAndReplaced) {
  char label[] = "one";
  const char *labels[] = {label, nullptr};
  Q7Object *image = make(kRecorder);
  message(image, 9);
  Q7Object *images[] = {image};
  Q7Object *b = make(827, {{41500, num(window)}, {828500, num(&labels[0])}, {828502, num(&images[0])}});
  label[0] = 'X';
  EXPECT_STREQ(get<const char *>(b, 21500), "one");
  EXPECT_EQ(get<Q7Object *>(b, 21507), image);
  EXPECT_EQ(get(image, Q7A_REFCOUNT), 2);
  set(b, {{828500, num(&kLabels[0])}, {395500, 2}});
  EXPECT_STREQ(get<const char *>(b, 21500), "Fine");
  EXPECT_EQ(get(image, Q7A_REFCOUNT), 1);
  set(b, {{828501, num(&kValues[0])}});
  EXPECT_EQ(get<uint64_t>(b, 21513), kValues[2]);
  set(b, {{828500, 0}});
  EXPECT_EQ(ordinal(b), -1);
  EXPECT_EQ(record(b).values[21500], 0u);
  message(image, 10);
}

TEST_F(MxButton, TakesPartInAGroup) {
  Q7Object *b = make(827, {{41500, num(window)}, {828500, num(&kLabels[0])}});
  list_message(packer, 24000, {{24500, num(b)}});
  Q7Object *g = group();
  press(b);
  EXPECT_EQ(ordinal(g), 4);
  EXPECT_EQ(get(b, 21509), 1);
  press(gadgets[0]);
  EXPECT_EQ(get(b, 21509), 0);
  set(b, {{21508, 0}});
  EXPECT_EQ(get(b, 21508), 0);
}

TEST_F(MxButton, EveryAllocationMayFail) {
  const int before = live();
  for (int n = 1;; ++n) {
    q7test::Capture quiet(1);
    q7test::AllocGate gate;
    gate.fail(n);
    Q7Object *b = make(827, {{41500, num(window)}, {828500, num(&kLabels[0])}});
    const bool refused = gate.refused() > 0;
    gate.pass();
    if (b) Q7ObjectDelete(b);
    EXPECT_EQ(live(), before);
    if (!refused) break;
    ASSERT_LT(n, 1000);
  }
}

}  // namespace
