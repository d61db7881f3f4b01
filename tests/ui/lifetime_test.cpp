// Lifetimes and sizes: trees torn down from any end, allocations that fail one after the other, trees 2,000 levels deep
// on an 8 MiB stack, and ten thousand slaves in one manager.
#include <chrono>
#include <random>

#include "tests/ui/ui_test.h"

using namespace uitest;
using ::testing::IsEmpty;

namespace {

class Lifetime : public UiTest {};

constexpr int kDeep = 2000;

// Whatever refers to whatever: every object but one order of deletion.
TEST_F(Lifetime, ATreeMayBeTornDownFromAnyEnd) {
  const uint32_t before = instances(0);
  for (unsigned seed = 1; seed <= 200; ++seed) {
    std::mt19937 r(seed);
    std::vector<Q7Object *> all;
    for (uint32_t clid : {41u, 22u, 22u, 23u, 25u, 24u, 2900u, 2900u, 2900u}) all.push_back(make(clid));
    const auto any = [&] { return num(all[r() % all.size()]); };
    all.push_back(make(21, {{41500, any()}}));
    all.push_back(make(43, {{41500, any()}}));
    for (Q7Object *o : all) message(o, 9);
    for (int i = 0; i < 60; ++i) {
      auto *o = reinterpret_cast<Q7Object *>(any());
      auto *manager = all[1 + r() % 5];
      switch (r() % 9) {
        case 0: set(o, {{41500, any()}}); break;
        case 1: set(o, {{41518, any()}}); break;
        case 2: set(o, {{41534, any()}, {41531, any()}}); break;
        case 3: list_message(o, 41001, {{41514, any()}, {41516, 41512}}); break;
        case 4: set(manager, {{24501, any()}}); break;
        case 5: message(o, 41031, 0, any(), 2900001); break;
        case 6: list_message(manager, 24000, {{24500, any()}, {25512, r() % 2}, {25513, any()}, {25514, any()}}); break;
        case 7: list_message(manager, 24000, {{24500, any()}, {22508, any()}}); break;
        default: set(manager, {{24506, any()}}); break;
      }
    }
    // Deleted in a random order, whoever refers to them, and used in between.
    std::shuffle(all.begin(), all.end(), r);
    while (!all.empty()) {
      Q7Object *o = all.back();
      all.pop_back();
      Q7ObjectDelete(o);
      for (Q7Object *left : all) {
        set_rect(left, {0, 0, 100, 100});
        get(left, 41505);
        message(left, 41000);
        message(left, 41003, 1, 0, 0);
        message(left, 41006);
        set(left, {{41511, 1}});
        Q7Point p = {1, 1};
        message(left, 41015, num(left), 0, num(&p));
      }
    }
    // Rows that row-columns made go with them.
    ASSERT_EQ(instances(41), 0u) << seed;
    TearDown();
    SetUp();
  }
  EXPECT_EQ(instances(0), before);
}

TEST_F(Lifetime, EveryFailingAllocationLeavesNothingBehind) {
  for (int n = 1; n < 60; ++n) {
    q7test::Capture quiet(1);
    q7test::AllocGate gate;
    gate.fail(n);
    Q7Object *window = make(41);
    Q7Object *r = make(23, {{23500, 2}, {513, num("r")}});
    Q7Object *p = make(25);
    for (int i = 0; i < 5 && window; ++i) {
      Q7Object *g = make(21, {{41500, num(window)}, {41531, num(window)}, {513, num("g")}});
      if (g && r) list_message(r, 24000, {{24500, num(g)}});
      if (g && p) list_message(p, 24000, {{24500, num(g)}, {25512, 1}});
    }
    if (r) message(r, 23000);
    gate.pass();
    for (Q7Object *o : {r, p, window}) {
      if (o) Q7ObjectDelete(o);
    }
    ASSERT_EQ(instances(41), 0u) << n;
  }
}

TEST_F(Lifetime, DeepWidgetTree) {
  Q7Object *top = make(41, {{513, num("w")}});
  Q7Object *leaf = top;
  std::vector<std::string> path = {"w"};
  for (int i = 1; i < kDeep; ++i) leaf = make(41, {{513, num("w")}, {41500, num(leaf)}, {41501, 1}});
  set(leaf, {{513, num("leaf")}});
  std::vector<char> name(3 * kDeep + 10, '\0');
  EXPECT_EQ(message(leaf, 41022, name.size(), 0, num(name.data())), 1u);
  EXPECT_EQ(std::string(name.data()).size(), 2u * (kDeep - 1) + 5);
  EXPECT_EQ(message(top, 41023, 0, 0, num(name.data() + 1)), num(leaf));
  EXPECT_EQ(message(leaf, 41023, 0, 0, num(name.data())), num(leaf));
  EXPECT_EQ(message(leaf, 41026, 0, 0, num("leaf")), num(leaf));
  EXPECT_EQ(message(top, 41006), num(top));
  EXPECT_EQ(message(top, 41000), num(top));
  EXPECT_EQ(message(top, 41032), num(top));
  EXPECT_EQ(message(leaf, 41030), 1u);
  set(top, {{41546, 5}});
  EXPECT_EQ(get(leaf, 41546), 5);
  Q7Point p = {0, 0};
  message(leaf, 41008, 0, 0, num(&p));
  EXPECT_EQ(p.x, kDeep - 1);
  message(leaf, 41009, 0, 0, num(&p));
  EXPECT_EQ(p.x, 0);
  EXPECT_EQ(message(leaf, 41015, num(leaf), 0, num(&p)), 0u);
  EXPECT_EQ(message(leaf, 41033), 1u);
  Q7ObjectDelete(top);
  EXPECT_EQ(instances(41), 0u);
}

void deep_managers(uint32_t clid) {
  Q7Object *outer = make(clid, {{23500, 1}});
  std::vector<Q7Object *> chain = {outer};
  for (int i = 1; i < kDeep; ++i) {
    Q7Object *inner = clid == 23 ? make(clid, {{23500, 1}}) : make(clid);
    list_message(chain.back(), 24000, {{24500, num(inner)}, {22501, 7}, {25506, 100}, {25507, 100}});
    chain.push_back(inner);
  }
  Q7Object *leaf = sized(7, 8);
  list_message(chain.back(), 24000, {{24500, num(leaf)}, {22501, 7}, {25506, 100}, {25507, 100}});
  EXPECT_EQ(get(outer, 41505), 7);
  EXPECT_EQ(get(outer, 41506), 8);
  set_rect(outer, {0, 0, 50, 60});
  message(outer, 41000);
  // Rows fill their row-column across only: one lies beside the other, as wide as its slaves need.
  EXPECT_EQ(rect(leaf), (Rect{0, 0, clid == 23 ? 7 : 50, 60}));
  set(outer, {{41511, 0}});
  EXPECT_EQ(get(leaf, 41511), 0);
  int32_t flags = -1;
  list_message(outer, 24007, {{24500, num(leaf)}, {22501, num(&flags)}});
  EXPECT_NE(list_message(outer, 24001, {{24500, num(leaf)}}), 0u);
  EXPECT_EQ(message(outer, 24004), 1u);
  Q7ObjectDelete(outer);
}

TEST_F(Lifetime, DeepPackers) {
  deep_managers(22);
  EXPECT_EQ(instances(41), 0u);
}
TEST_F(Lifetime, DeepPlacers) {
  deep_managers(25);
  EXPECT_EQ(instances(41), 0u);
}
TEST_F(Lifetime, DeepRowColumns) {
  deep_managers(23);
  EXPECT_EQ(instances(41), 0u);
}

// ---- Deeper than that: refused with a report, and never a stack that runs over

constexpr int kTooDeep = 100000;
const std::string kReport = "q7widget: Widgets are nested too deep";
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

TEST_F(Lifetime, AWidgetBelowTheDeepestLevelIsRefused) {
  Q7Object *top = make(41), *leaf = top;
  for (int level = 1; level < Q7_WIDGET_DEEPEST; ++level) leaf = make(41, {{41500, num(leaf)}});
  EXPECT_THAT(reports(), IsEmpty());
  Q7Object *deeper = make(41, {{41500, num(leaf)}});
  EXPECT_THAT(reports(), ElementsAre(kReport));
  EXPECT_EQ(object_of(deeper, 41500), nullptr);
  // Neither does a tree that is built from below grow higher.
  Q7Object *higher = make(41);
  set(top, {{41500, num(higher)}});
  EXPECT_EQ(object_of(top, 41500), nullptr);
  EXPECT_EQ(reports().size(), 2u);
  message(higher, 41004, 0, 0, num(top));
  EXPECT_EQ(reports().size(), 3u);
  // What counts is how deep the tree is now, not how deep it was.
  leaf = object_of(leaf, 41500);
  set(leaf, {{41500, 0}});
  Q7ObjectDelete(leaf);
  set(top, {{41500, num(higher)}});
  EXPECT_EQ(object_of(top, 41500), higher);
  EXPECT_EQ(reports().size(), 3u);
  clear_reports();
  for (uint32_t method : {41000u, 41006u, 41007u, 41032u}) message(higher, method);
  set(higher, {{41546, 5}});
  EXPECT_THAT(reports(), IsEmpty());
  Q7ObjectDelete(deeper);
  Q7ObjectDelete(higher);
  EXPECT_EQ(instances(41), 0u);
}

TEST_F(Lifetime, AHundredThousandWidgetsMakeNoTreeTooDeep) {
  std::vector<Q7Object *> all = {make(41)};
  for (int i = 1; i < kTooDeep / 10; ++i) all.push_back(make(41, {{41500, num(all.back())}}));
  EXPECT_THAT(reports(), Each(kReport));
  EXPECT_THAT(reports(), Not(IsEmpty()));
  for (Q7Object *widget : all) {
    if (!object_of(widget, 41500)) message(widget, 41000);
  }
  std::vector<Q7Object *> tops;
  for (Q7Object *widget : all) {
    if (!object_of(widget, 41500)) tops.push_back(widget);
  }
  for (Q7Object *widget : tops) Q7ObjectDelete(widget);
  EXPECT_EQ(instances(41), 0u);
}

// A chain of managers, or what make_next gives below one; everything that travels down it.
template <class Next>
void use_and_tear_down(Q7Object *outer, Next next) {
  Q7Object *last = outer;
  for (int i = 0; i < kTooDeep; ++i) last = next(last, i);
  set_rect(outer, {0, 0, 50, 60});
  get(outer, 41505);
  message(outer, 41000);
  set(outer, {{41511, 0}});
  set(outer, {{41511, 1}});
  set(outer, {{41507, 9}, {41508, 9}});
  int32_t flags = -1;
  Q7Object *stranger = make(41);
  EXPECT_EQ(list_message(outer, 24007, {{24500, num(stranger)}, {22501, num(&flags)}}), 0u);
  EXPECT_EQ(list_message(outer, 24001, {{24500, num(stranger)}}), 0u);
  message(outer, 24004);
  Q7ObjectDelete(stranger);
  Q7ObjectDelete(outer);
}
Q7Object *nest(Q7Object *outer, uint32_t clid) {
  Q7Object *inner = make(clid, {{23500, 1}});
  list_message(outer, 24000, {{24500, num(inner)}, {22501, 7}, {25506, 100}, {25507, 100}});
  return inner;
}

class TooDeep : public Lifetime, public ::testing::WithParamInterface<uint32_t> {};
TEST_P(TooDeep, ManagersAreCutAndReleased) {
  use_and_tear_down(make(GetParam(), {{23500, 1}}), [](Q7Object *outer, int) { return nest(outer, GetParam()); });
  EXPECT_EQ(instances(41), 0u);
  EXPECT_THAT(reports(), Not(IsEmpty()));
  EXPECT_THAT(reports(), ::testing::Contains(kReport));
}
INSTANTIATE_TEST_SUITE_P(Classes, TooDeep, ::testing::Values(22u, 25u, 23u));

TEST_F(Lifetime, ManagersOfAllKindsInOneAnotherAreCutAndReleased) {
  use_and_tear_down(make(22), [](Q7Object *outer, int i) { return nest(outer, i % 3 ? 25 : 22); });
  EXPECT_EQ(instances(41), 0u);
  EXPECT_THAT(reports(), ::testing::Contains(kReport));
}

// Slaves that are plain widgets with a manager as their child: neither kind of link goes deep by itself.
TEST_F(Lifetime, ManagersAndWidgetsInTurnAreCutAndReleased) {
  use_and_tear_down(make(22), [](Q7Object *outer, int i) {
    Q7Object *between = make(41, {{41505, 4}, {41506, 4}});
    list_message(outer, 24000, {{24500, num(between)}, {22501, 7}});
    return make(i % 2 ? 22 : 25, {{41500, num(between)}, {41503, 5}, {41504, 5}});
  });
  EXPECT_EQ(instances(41), 0u);
  EXPECT_THAT(reports(), ::testing::Contains(kReport));
}

TEST_F(Lifetime, FramesThatAreManagersWithFramesAreCutAndReleased) {
  use_and_tear_down(make(22), [](Q7Object *outer, int i) {
    Q7Object *frame = make(i % 2 ? 22 : 25);
    set(outer, {{24501, num(frame)}});
    return frame;
  });
  EXPECT_EQ(instances(41), 0u);
  EXPECT_THAT(reports(), ::testing::Contains(kReport));
}

TEST_F(Lifetime, TenThousandSlavesTakeLinearTime) {
  const auto seconds = [&](int count) {
    Q7Object *p = make(22);
    for (int i = 0; i < count; ++i) {
      Q7Object *s = make(41, {{41505, 2}, {41506, 3}});
      list_message(p, 24000, {{24500, num(s)}, {22501, 3}});
    }
    EXPECT_EQ(get(p, 41506), 3 * count);
    set_rect(p, {0, 0, 100, 6 * count});
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 5; ++i) {
      get(p, 41506);
      message(p, 41000);
    }
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
    Q7ObjectDelete(p);
    return taken.count();
  };
  const double small = seconds(1000), large = seconds(10000);
  EXPECT_LT(large, 40 * small + 0.05);
}

}  // namespace
