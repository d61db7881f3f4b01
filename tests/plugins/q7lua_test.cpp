// Tests of plugins/lua: the class, running scripts, and what they can reach.
#include "tests/plugins/lua_test.h"

using namespace luatest;

namespace {

using Lua = luatest::Test;

TEST_F(Lua, IsALanguage) {
  EXPECT_EQ(Q7FindLanguage(nullptr, "lua"), uint32_t{Q7C_LUA});
  EXPECT_EQ(Q7FindLanguage(nullptr, "LUA"), uint32_t{Q7C_LUA});
  EXPECT_TRUE(Q7ClassIdIsOfKind(Q7C_LUA, Q7C_PRGLNG));
}

TEST_F(Lua, Prints) {
  EXPECT_EQ(run("print(1, 'two', nil)"), "1\ttwo\tnil\n");
  EXPECT_EQ(messages[0].format, "%s");
}

TEST_F(Lua, SetsAChannelOfAnAttributeByItsPath) {
  EXPECT_EQ(run("scene.light.Color.r = 0.5"), "");
  EXPECT_EQ(langtest::scene(light_).rgb[0], 0.5);
  EXPECT_EQ(eval("scene.light.Color.r"), "0.5");
}

TEST_F(Lua, MakesObjects) {
  EXPECT_EQ(run("local s = q7.create('scene', {Name = 'new', Count = 7}) print(s, s.Count, s:alive()) s:delete() "
                "print(s, s:alive())"),
            "scene 'new'\t7\ttrue\na deleted object\tfalse\n");
}

}  // namespace
