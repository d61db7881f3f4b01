// The shell: paths, joined and resolved, and moving along them.
#include "tests/lang/shell_test.h"

namespace {

using namespace langtest;
using ::testing::IsEmpty;

// ---- Joining paths

TEST_F(Shell, ARelativePathIsJoinedWithADot) {
  at("scene.obj2");
  EXPECT_EQ(command(Q7M_PRGLNG_MAKE_CURRENT, "light"), 1u);
  EXPECT_EQ(path(), "scene.obj2.light");
  EXPECT_EQ(status(), 1);
}

TEST_F(Shell, ACurrentPathThatEndsInADotGetsNoOther) {
  at("scene.");
  EXPECT_EQ(command(Q7M_PRGLNG_MAKE_CURRENT, "obj1"), 1u);
  EXPECT_EQ(path(), "scene.obj1");
}

TEST_F(Shell, AnAbsolutePathStaysAsItIs) {
  at("scene.obj2");
  EXPECT_EQ(command(Q7M_PRGLNG_MAKE_CURRENT, ".scene"), 1u);
  EXPECT_EQ(path(), ".scene");
}

TEST_F(Shell, AnEmptyPathIsTheCurrentOne) {
  at("scene.obj2");
  EXPECT_EQ(command(Q7M_PRGLNG_MAKE_CURRENT, ""), 1u);
  EXPECT_EQ(path(), "scene.obj2");
  EXPECT_EQ(command(Q7M_PRGLNG_MAKE_CURRENT, nullptr), 1u);
  EXPECT_EQ(path(), "scene.obj2");
}

TEST_F(Shell, FromAnEmptyCurrentPathARelativeOneBecomesAbsolute) {
  EXPECT_EQ(command(Q7M_PRGLNG_MAKE_CURRENT, "scene"), 1u);
  EXPECT_EQ(path(), ".scene");
  EXPECT_EQ(command(Q7M_PRGLNG_MAKE_CURRENT, "obj1"), 1u);
  EXPECT_EQ(path(), ".scene.obj1");
}

TEST_F(Shell, AnEmptyPathWithoutACurrentOneIsTheRootObject) {
  EXPECT_EQ(command(Q7M_PRGLNG_MAKE_CURRENT, ""), 1u);
  EXPECT_EQ(path(), "");
  EXPECT_EQ(command(Q7M_PRGLNG_RESOLVE, nullptr), 1u);
}

TEST_F(Shell, AJoinedPathIsCutTo511Characters) {
  // "x" repeated names an object; the path leads to it only when exactly what is behind 511 characters is gone.
  Q7Object *parent = add(root_, "p");
  const std::string a(250, 'a'), b(257, 'b');
  add(add(parent, a.c_str()), b.substr(0, 255).c_str());
  at(("p." + a).c_str());  // 252 characters, 253 with the dot
  EXPECT_EQ(command(Q7M_PRGLNG_MAKE_CURRENT, b.substr(0, 255).c_str()), 1u);
  EXPECT_EQ(path().size(), 508u);
  at(("..."
      "p." +
      a)
         .c_str());                                            // 255, so 256 + 255 = 511
  EXPECT_EQ(command(Q7M_PRGLNG_MAKE_CURRENT, b.c_str()), 1u);  // its last two characters are cut
  EXPECT_EQ(path().size(), 511u);
  at("");
  EXPECT_EQ(command(Q7M_PRGLNG_MAKE_CURRENT, (std::string(510, '.') + "p" + "zzz").c_str()), 1u);
  EXPECT_EQ(path(), std::string(510, '.') + "p");
}

TEST_F(Shell, APathThatLeadsNowhereIsNotFound) {
  at("scene");
  command(Q7M_PRGLNG_MAKE_CURRENT, ".");
  EXPECT_EQ(status(), 1);
  at("scene");
  for (uint32_t method : {Q7M_PRGLNG_MAKE_CURRENT, Q7M_PRGLNG_RESOLVE, Q7M_PRGLNG_LIST, Q7M_PRGLNG_PRINT_CLASS}) {
    command(Q7M_PRGLNG_RESOLVE);
    ASSERT_EQ(status(), 1);
    EXPECT_EQ(command(method, "nobody"), 0u) << method;
    EXPECT_EQ(status(), 0) << method;
  }
  EXPECT_EQ(path(), "scene");
  EXPECT_THAT(messages, IsEmpty());
}

TEST_F(Shell, AValueIsNoObject) {
  for (uint32_t method : {Q7M_PRGLNG_MAKE_CURRENT, Q7M_PRGLNG_RESOLVE}) {
    command(Q7M_PRGLNG_LIST);
    for (const char *value : {".Count", ".Color.r", ".Text", ".Type19", ".Members", ".Old", ".Nothing", ".Array[1]"}) {
      EXPECT_EQ(command(method, value), 0u) << value;
      EXPECT_EQ(status(), 3) << value;
    }
  }
  EXPECT_EQ(path(), "(null)");
  EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(Shell, AnObjectAttributeLeadsOn) {
  scene(root_).light = light_;
  EXPECT_EQ(command(Q7M_PRGLNG_MAKE_CURRENT, "Light"), 1u);
  EXPECT_EQ(path(), ".Light");
  EXPECT_EQ(command(Q7M_PRGLNG_MAKE_CURRENT, ".scene.obj1.Next"), 1u);
  EXPECT_EQ(command(Q7M_PRGLNG_MAKE_CURRENT, ".scene.obj2.Next"), 0u);  // the end of the list
  EXPECT_EQ(status(), 3);
}

TEST_F(Shell, ResolvingMovesNothing) {
  at("scene");
  EXPECT_EQ(command(Q7M_PRGLNG_RESOLVE, "obj1"), 1u);
  EXPECT_EQ(status(), 1);
  EXPECT_EQ(path(), "scene");
}

TEST_F(Shell, WithoutARootObjectNothingIsFound) {
  set(shell_, Q7A_PRGLNG_ROOT, nullptr);
  for (const char *of : {"", "scene"}) {
    for (uint32_t method = Q7M_PRGLNG_MAKE_CURRENT; method <= Q7M_PRGLNG_RESOLVE; ++method) {
      if (method == Q7M_PRGLNG_PRINT_PATH) continue;
      const uint64_t a = method == Q7M_PRGLNG_GET || method == Q7M_PRGLNG_SET ? arg(of) : 0;
      EXPECT_EQ(send(shell_, method, a, 0, a ? nullptr : slot(of)), 0u) << method;
      EXPECT_EQ(status(), 0) << method;
    }
  }
}

TEST_F(Shell, MakingCurrentWithoutMemoryKeepsThePath) {
  at("scene");
  q7test::AllocGate counter;
  ASSERT_EQ(command(Q7M_PRGLNG_MAKE_CURRENT, "obj1"), 1u);
  const int64_t needed = counter.count();
  for (int64_t n = 1; n <= needed; ++n) {
    counter.pass();
    at("scene");
    counter.fail(n);
    const bool done = command(Q7M_PRGLNG_MAKE_CURRENT, "obj1") != 0;
    EXPECT_EQ(status(), done ? 1 : 0) << n;
    EXPECT_EQ(path(), done ? "scene.obj1" : "scene") << n;
    // The copy of the path is the last block asked for. Some of the others a root object can do without.
    EXPECT_FALSE(n == needed && done);
  }
}

// ---- Moving

TEST_F(Shell, PrintsTheCurrentPath) {
  at("scene.obj1");
  EXPECT_EQ(command(Q7M_PRGLNG_PRINT_PATH), 1u);
  ASSERT_EQ(messages.size(), 1u);
  EXPECT_EQ(messages[0].format, "%s");
  EXPECT_EQ(messages[0].text, "scene.obj1");
}

TEST_F(Shell, PrintsAPathWithPercentSigns) {
  at("100%s%n");
  command(Q7M_PRGLNG_PRINT_PATH);
  EXPECT_EQ(shown(), "100%s%n");
}

TEST_F(Shell, PrintsNoPathAsTheEmptyText) {
  command(Q7M_PRGLNG_PRINT_PATH);
  ASSERT_EQ(messages.size(), 1u);
  EXPECT_EQ(messages[0].text, "");
}

TEST_F(Shell, ParentRemovesTheLastComponent) {
  at(".scene.obj1");
  EXPECT_EQ(command(Q7M_PRGLNG_PARENT), 1u);
  EXPECT_EQ(path(), ".scene");
  EXPECT_EQ(command(Q7M_PRGLNG_PARENT), 1u);
  EXPECT_EQ(path(), "");
  EXPECT_EQ(command(Q7M_PRGLNG_PARENT), 0u);
  EXPECT_EQ(path(), "");
}

TEST_F(Shell, ParentDoesNotResolve) {
  at("nobody.knows");
  EXPECT_EQ(command(Q7M_PRGLNG_PARENT), 1u);
  EXPECT_EQ(path(), "nobody");
}

TEST_F(Shell, ParentOfAPathWithoutADotFails) {
  at("scene");
  EXPECT_EQ(command(Q7M_PRGLNG_PARENT), 0u);
  EXPECT_EQ(path(), "scene");
  at(nullptr);
  EXPECT_EQ(command(Q7M_PRGLNG_PARENT), 0u);
}

TEST_F(Shell, NextAndPreviousReplaceTheLastComponent) {
  for (const char *dot : {"", "."}) {
    const std::string prefix = std::string(dot) + "scene.";
    at((prefix + "obj1").c_str());
    EXPECT_EQ(command(Q7M_PRGLNG_NEXT), 1u);
    EXPECT_EQ(path(), prefix + "obj2");
    EXPECT_EQ(status(), 1);
    EXPECT_EQ(command(Q7M_PRGLNG_PREVIOUS), 1u);
    EXPECT_EQ(path(), prefix + "obj1");
  }
}

TEST_F(Shell, NextOfAPathWithOneComponent) {
  add(root_, "other");
  at("scene");
  EXPECT_EQ(command(Q7M_PRGLNG_NEXT), 1u);
  EXPECT_EQ(path(), "other");
}

TEST_F(Shell, AtTheEndsOfAListThereIsNoCurrentObject) {
  at("scene.obj2");
  EXPECT_EQ(command(Q7M_PRGLNG_NEXT), 0u);
  EXPECT_EQ(status(), 4);
  EXPECT_EQ(path(), "scene.obj2");
  at("scene.obj1");
  EXPECT_EQ(command(Q7M_PRGLNG_PREVIOUS), 0u);
  EXPECT_EQ(status(), 4);
  EXPECT_EQ(path(), "scene.obj1");
}

TEST_F(Shell, AnObjectInNoListHasNoSibling) {
  at("");
  EXPECT_EQ(command(Q7M_PRGLNG_NEXT), 0u);
  EXPECT_EQ(status(), 4);
}

TEST_F(Shell, ASiblingWithoutANameCannotBeReached) {
  set(obj2_, Q7A_NAME, nullptr);
  at("scene.obj1");
  EXPECT_EQ(command(Q7M_PRGLNG_NEXT), 0u);
  EXPECT_EQ(status(), 4);
}

TEST_F(Shell, SiblingsOfNothingAndOfValues) {
  at("scene.nobody");
  EXPECT_EQ(command(Q7M_PRGLNG_NEXT), 0u);
  EXPECT_EQ(status(), 0);
  at("scene.Count");
  EXPECT_EQ(command(Q7M_PRGLNG_PREVIOUS), 0u);
  EXPECT_EQ(status(), 3);
}

TEST_F(Shell, ASiblingWhoseNameDoesNotFitIsNotReached) {
  set(obj2_, Q7A_NAME, std::string(600, 'n').c_str());
  at("scene.obj1");
  EXPECT_EQ(command(Q7M_PRGLNG_NEXT), 0u);
  EXPECT_EQ(status(), 0);
  EXPECT_EQ(path(), "scene.obj1");
}

}  // namespace
