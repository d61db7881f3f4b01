// Tests of the widget tree: parents and children, coordinates, names and paths.
#include "tests/ui/ui_test.h"

using namespace uitest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class Tree : public UiTest {
 protected:
  static Q7Object *named(const char *name, Q7Object *parent = nullptr) {
    return make(Q7C_WIDGET, {{513, num(name)}, {41500, num(parent)}});
  }
  static Q7Object *by_path(Q7Object *w, const char *path) { return Q7FindByName(nullptr, w, path); }
  static int32_t count(Q7Object *w) { return get(w, Q7A_REFCOUNT); }
};

TEST_F(Tree, ParentHoldsAReferenceOnItsChild) {
  Q7Object *top = named("top");
  Q7Object *child = named("child", top);
  EXPECT_EQ(object_of(child, 41500), top);
  EXPECT_EQ(count(child), 1);
  Q7ObjectDelete(top);
  EXPECT_EQ(instances(41), 0u);
}

TEST_F(Tree, SettingTheSameParentTwiceSendsNothing) {
  Q7Object *top = make(kProbeWidget);
  Q7Object *child = named("child", top);
  set(child, {{41500, num(top)}});
  EXPECT_THAT(probe(top).log, ElementsAre("41004"));
  EXPECT_EQ(probe(top).messages[0].slot, num(child));
  Q7ObjectDelete(top);
}

TEST_F(Tree, ReparentingTellsBothAndKeepsTheChildAlive) {
  Q7Object *a = make(kProbeWidget), *b = make(kProbeWidget), *ext = make(kProbeObject);
  Q7Object *child = make(kProbeWidget, {{41500, num(a)}, {41539, num(ext)}});
  probe(child).log.clear();
  set(child, {{41500, num(b)}});
  EXPECT_THAT(probe(a).log, ElementsAre("41004", "41005"));
  EXPECT_THAT(probe(b).log, ElementsAre("41004"));
  EXPECT_THAT(probe(child).log, ElementsAre("set 41500=" + std::to_string(num(b)), "13", "10", "12", "9"));
  EXPECT_THAT(probe(ext).log, ElementsAre("set 41500=" + std::to_string(num(b))));
  EXPECT_EQ(count(child), 1);
  set(child, {{41500, 0}});
  EXPECT_EQ(count(child), 0);
  EXPECT_EQ(object_of(child, 41500), nullptr);
  set(child, {{41539, 0}});
  for (Q7Object *o : {a, b, child, ext}) Q7ObjectDelete(o);
}

TEST_F(Tree, ChildAddedAnswersTheRealizedFlag) {
  Q7Object *top = named("top");
  Q7Object *child = named("child");
  EXPECT_EQ(message(top, 41004, 0, 0, num(child)), 0u);
  EXPECT_EQ(message(top, 41006), num(top));
  Q7Object *other = named("other");
  EXPECT_EQ(message(top, 41004, 0, 0, num(other)), 1u);
  EXPECT_EQ(message(top, 41005, 0, 0, num(other)), 1u);  // its only reference
  EXPECT_EQ(message(top, 41005, 0, 0, num(top)), 0u);
  EXPECT_EQ(message(top, 41005), 0u);
  EXPECT_EQ(message(top, 41004), 0u);
  message(top, 41007);
  Q7ObjectDelete(top);
  EXPECT_EQ(instances(41), 0u);
}

TEST_F(Tree, DisposeSendsEachChildAReferenceANullParentAndARelease) {
  Q7Object *top = named("top");
  Q7Object *child = make(kProbeWidget, {{41500, num(top)}});
  message(child, 9);
  probe(child).log.clear();
  Q7ObjectDelete(top);
  EXPECT_THAT(probe(child).log, ElementsAre("9", "set 41500=0", "13", "10", "10"));
  EXPECT_EQ(object_of(child, 41500), nullptr);
  EXPECT_EQ(count(child), 1);
  message(child, 10);
  EXPECT_EQ(instances(41), 0u);
}

TEST_F(Tree, ADeletedChildLeavesItsParent) {
  Q7Object *top = named("top");
  Q7Object *a = named("a", top), *b = named("b", top);
  Q7ObjectDelete(a);
  EXPECT_EQ(by_path(top, "top/a"), nullptr);
  EXPECT_EQ(by_path(top, "top/b"), b);
  Q7ObjectDelete(top);
  EXPECT_EQ(instances(41), 0u);
}

TEST_F(Tree, CirclesAreRefused) {
  Q7Object *a = named("a");
  Q7Object *b = named("b", a);
  Q7Object *c = named("c", b);
  set(a, {{41500, num(a)}});
  set(a, {{41500, num(c)}});
  EXPECT_EQ(object_of(a, 41500), nullptr);
  message(c, 41004, 0, 0, num(a));
  message(a, 41004, 0, 0, num(a));
  message(a, 41006);
  Q7ObjectDelete(a);
  EXPECT_EQ(instances(41), 0u);
}

TEST_F(Tree, CirclesBehindTheParentFieldsAreRefusedToo) {
  Q7Object *a = named("a"), *b = named("b");
  message(a, 41004, 0, 0, num(b));
  message(b, 41004, 0, 0, num(a));
  set(a, {{41500, num(b)}});
  message(a, 41006);
  Q7ObjectDelete(a);
  EXPECT_LE(instances(41), 1u);
}

TEST_F(Tree, AddingAChildTwiceCountsItOnce) {
  Q7Object *top = named("top"), *other = named("other");
  Q7Object *child = named("child", top);
  message(top, 41004, 0, 0, num(child));
  EXPECT_EQ(count(child), 1);
  message(other, 41004, 0, 0, num(child));
  EXPECT_EQ(count(child), 1);
  EXPECT_EQ(by_path(top, "top/child"), nullptr);
  EXPECT_EQ(by_path(other, "other/child"), child);
  Q7ObjectDelete(top);
  Q7ObjectDelete(other);
  EXPECT_EQ(instances(41), 0u);
}

TEST_F(Tree, ChildrenMayLeaveWhileTheyAreTold) {
  Q7Object *top = named("top");
  std::vector<Q7Object *> children;
  for (int i = 0; i < 4; ++i) children.push_back(make(kProbeWidget, {{41500, num(top)}}));
  int told = 0;
  for (Q7Object *child : children) {
    probe(child).answers[41032] = 1;  // not passed on: one of them is gone by then
    probe(child).hook = [&told, &children, child](const Message &m) {
      if (m.method != 41032) return;
      ++told;
      if (child == children[0]) {
        Q7ObjectDelete(children[1]);
        Q7ObjectDelete(child);
      }
    };
  }
  EXPECT_EQ(message(top, 41032, 0, 0, 5), num(top));
  EXPECT_EQ(told, 3);
  Q7ObjectDelete(top);
}

TEST_F(Tree, TheParentMayGoWhileItsChildrenAreTold) {
  Q7Object *top = named("top");
  Q7Object *child = make(kProbeWidget, {{41500, num(top)}});
  make(kProbeWidget, {{41500, num(top)}});
  message(child, 9);
  probe(child).hook = [&](const Message &m) {
    if (m.method == 41006) Q7ObjectDelete(top);
  };
  EXPECT_EQ(message(top, 41006), 0u);
  message(child, 10);
  EXPECT_EQ(instances(41), 0u);
}

TEST_F(Tree, EachChildIsToldToAHandlerInOrderUntilItRefuses) {
  Q7Object *top = named("top");
  Q7Object *handler = make(kProbeObject);
  EXPECT_EQ(message(top, 41039, num(handler), 2901001, 5), 1u) << "no children";
  Q7Object *first = named("first", top), *second = named("second", top);
  probe(handler).answers[2901001] = 3;
  EXPECT_EQ(message(top, 41039, num(handler), 2901001, 5), 1u);
  ASSERT_EQ(probe(handler).messages.size(), 2u);
  EXPECT_EQ(probe(handler).messages[0].a, num(first));
  EXPECT_EQ(probe(handler).messages[0].b, num(top));
  EXPECT_EQ(probe(handler).messages[0].slot, 5u);
  EXPECT_EQ(probe(handler).messages[1].a, num(second));
  probe(handler).answers[2901002] = 0;
  EXPECT_EQ(message(top, 41039, num(handler), 2901002, 5), 0u);
  EXPECT_EQ(probe(handler).messages.size(), 3u) << "the first one ended it";
  EXPECT_EQ(message(top, 41039, 0, 2901002, 5), 0u);
  probe(handler).hook = [&](const Message &m) {
    if (m.method == 2901001 && m.a == num(first)) Q7ObjectDelete(first);
  };
  EXPECT_EQ(message(top, 41039, num(handler), 2901001, 5), 1u);
  EXPECT_EQ(probe(handler).messages.back().a, num(second));
  EXPECT_EQ(message(&Q7ClassFind(41)->header, 41039, num(handler), 2901001), 0u);
  Q7ObjectDelete(top);
  Q7ObjectDelete(handler);
}

TEST_F(Tree, CoordinatesGoUpAndDown) {
  Q7Object *top = named("top"), *mid = named("mid", top), *leaf = named("leaf", mid);
  set(top, {{41501, 100}, {41502, 200}});
  set(mid, {{41501, 10}, {41502, 20}});
  set(leaf, {{41501, 1}, {41502, 2}});
  Q7Point p = {5, 6};
  EXPECT_EQ(message(leaf, 41008, 0, 0, num(&p)), 1u);
  EXPECT_EQ(p.x, 116);
  EXPECT_EQ(p.y, 228);
  EXPECT_EQ(message(leaf, 41009, 0, 0, num(&p)), 1u);
  EXPECT_EQ(p.x, 5);
  EXPECT_EQ(p.y, 6);
  EXPECT_EQ(message(leaf, 41008), 0u);
  EXPECT_EQ(message(leaf, 41009), 0u);
  Q7ObjectDelete(top);
}

TEST_F(Tree, ShownMeansEveryAncestorIsShown) {
  Q7Object *top = named("top"), *mid = named("mid", top), *leaf = named("leaf", mid);
  EXPECT_EQ(message(leaf, 41030), 1u);
  set(top, {{41511, 0}});
  EXPECT_EQ(message(leaf, 41030), 0u);
  EXPECT_EQ(message(top, 41030), 0u);
  Q7ObjectDelete(top);
}

TEST_F(Tree, ChildAtFindsTheLastShownChild) {
  Q7Object *top = named("top"), *a = named("a", top), *b = named("b", top);
  set_rect(a, {0, 0, 10, 10});
  set_rect(b, {5, 5, 10, 10});
  Q7Point p = {7, 7};
  EXPECT_EQ(message(top, 41024, 0, 0, num(&p)), num(b));
  set(b, {{41511, 0}});
  EXPECT_EQ(message(top, 41024, 0, 0, num(&p)), num(a));
  p = {10, 0};
  EXPECT_EQ(message(top, 41024, 0, 0, num(&p)), 0u);
  EXPECT_EQ(message(b, 41019), num(top));
  Q7ObjectDelete(top);
}

TEST_F(Tree, PathsNameTheStartingWidgetFirst) {
  Q7Object *dialog = named("dialog"), *ok = named("ok", dialog), *row = named("row", dialog);
  Q7Object *field = named("field", row);
  EXPECT_EQ(by_path(dialog, "dialog"), dialog);
  EXPECT_EQ(by_path(dialog, "dialog/ok"), ok);
  EXPECT_EQ(by_path(dialog, "ok"), nullptr);
  EXPECT_EQ(by_path(dialog, "dialogue"), nullptr);
  EXPECT_EQ(by_path(dialog, "dialog/row/field"), field);
  EXPECT_EQ(by_path(field, "/dialog/ok"), ok);
  EXPECT_EQ(by_path(field, "../row/field"), field);
  EXPECT_EQ(by_path(field, "../../dialog/ok"), ok);
  EXPECT_EQ(by_path(dialog, "./dialog/ok"), ok);
  EXPECT_EQ(by_path(dialog, "../x"), nullptr);
  EXPECT_EQ(by_path(dialog, "dialog/"), nullptr);
  EXPECT_EQ(by_path(dialog, ""), nullptr);
  EXPECT_EQ(message(dialog, 41023, 0, 0, num("dialog/ok")), num(ok));
  EXPECT_EQ(message(dialog, 41023), 0u);
  EXPECT_EQ(Q7FindByName(nullptr, nullptr, "x"), nullptr);
  Q7ObjectDelete(dialog);
}

TEST_F(Tree, TheFirstOfEqualNamesThatLeadsOnWins) {
  Q7Object *top = named("t"), *first = named("a", top), *second = named("a", top), *leaf = named("x", second);
  EXPECT_EQ(by_path(top, "t/a"), first);
  EXPECT_EQ(by_path(top, "t/a/x"), leaf);
  Q7ObjectDelete(top);
}

TEST_F(Tree, PathsThatGoUpAndDownEndInTime) {
  Q7Object *top = named("a");
  for (int i = 0; i < 10; ++i) named("a", top);
  std::string path = "a";
  for (int i = 0; i < 2000; ++i) path += "//a";
  EXPECT_EQ(by_path(top, (path + "/b").c_str()), nullptr);
  path = "a";
  for (int i = 0; i < 2000; ++i) path += "/../a";
  EXPECT_EQ(by_path(top, (path + "/b").c_str()), nullptr);
  Q7ObjectDelete(top);
}

TEST_F(Tree, SearchIsPreOrderFromTheTopAndUsesTheLastPart) {
  Q7Object *top = named("t"), *a = named("a", top), *deep = named("x", a), *late = named("x", top);
  EXPECT_EQ(message(late, 41026, 0, 0, num("x")), num(deep));
  EXPECT_EQ(message(late, 41026, 0, 0, num("/some/path/x")), num(deep));
  EXPECT_EQ(Q7FindByNameAnywhere(nullptr, late, "x", 1), late);
  EXPECT_EQ(Q7FindByNameAnywhere(nullptr, a, "t", 1), nullptr);
  EXPECT_EQ(Q7FindByNameAnywhere(nullptr, a, "t/x", 1), nullptr);
  EXPECT_EQ(Q7FindByNameAnywhere(nullptr, a, nullptr, 0), nullptr);
  EXPECT_EQ(Q7FindByNameAnywhere(nullptr, nullptr, "x", 0), nullptr);
  Q7ObjectDelete(top);
}

TEST_F(Tree, NamesFallBackToTheClassAndToNoname) {
  Q7Object *w = make(Q7C_WIDGET);
  EXPECT_EQ(by_path(w, "q7widget"), w);
  Q7ClassFind(41)->header.name = "";
  clear_reports();
  EXPECT_EQ(by_path(w, ""), w);
  EXPECT_THAT(reports(), ElementsAre("q7widget: object has no name"));
  Q7ClassFind(41)->header.name = "q7widget";
  set(w, {{Q7A_CLASS_ID, 4000}});
  EXPECT_EQ(by_path(w, "noname"), w);
  set(w, {{Q7A_CLASS_ID, 41}});
  Q7ObjectDelete(w);
}

TEST_F(Tree, MakeNameFitsEveryBuffer) {
  Q7Object *top = named("top"), *ok = named("ok", top);
  char buffer[64] = "";
  EXPECT_EQ(message(ok, 41022, sizeof buffer, 0, num(buffer)), 1u);
  EXPECT_STREQ(buffer, "/top/ok");
  EXPECT_EQ(Q7MakeName(nullptr, ok, sizeof buffer, buffer), 1);
  EXPECT_STREQ(buffer, "/top/ok/top/ok");  // appends
  for (int size = 0; size <= 10; ++size) {
    std::vector<char> tight(static_cast<size_t>(size) + 1, '\0');
    tight[static_cast<size_t>(size)] = 'G';
    const int32_t answer = Q7MakeName(nullptr, ok, size, tight.data());
    EXPECT_EQ(tight[static_cast<size_t>(size)], 'G') << size;
    EXPECT_EQ(answer, size >= 8) << size;
    EXPECT_STREQ(size > 0 ? tight.data() : "", size >= 8 ? "/top/ok" : size >= 5 ? "/top" : "") << size;
  }
  char open[4] = {'a', 'b', 'c', 'd'};
  EXPECT_EQ(Q7MakeName(nullptr, ok, 4, open), 0);
  EXPECT_EQ(Q7MakeName(nullptr, ok, 4, nullptr), 0);
  EXPECT_EQ(Q7MakeName(nullptr, ok, -1, buffer), 0);
  EXPECT_EQ(Q7MakeName(nullptr, nullptr, 4, buffer), 0);
  Q7ObjectDelete(top);
}

}  // namespace
