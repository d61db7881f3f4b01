// Tests of plugins/lua: objects and classes in scripts, and what happens to a script when its objects go.
#include "tests/plugins/lua_test.h"
#include "ui/q7widget.h"

using namespace luatest;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace {

class LuaObjects : public luatest::Test {
 protected:
  void remove(Q7Object *obj) {
    send(obj, Q7M_REMOVE);
    send(obj, Q7M_DISPOSE);
  }
};

// ---- Deleted objects ----

TEST_F(LuaObjects, ADeletedObjectIsAnErrorWhateverIsTried) {
  run("l = scene.light members = l.Members color = l.Color");
  remove(light_);
  for (const char *text : {"print(l.Count)",
                           "l.Count = 1",
                           "print(l.anything)",
                           "l.anything = 1",
                           "l:get('Count')",
                           "l:set('Count', 1)",
                           "l:attributes()",
                           "l:send(4100999)",
                           "l:call('x')",
                           "l:copy()",
                           "l:retain()",
                           "l:release()",
                           "l:next()",
                           "l:previous()",
                           "l:parent()",
                           "l:name()",
                           "l:class()",
                           "l:is('scene')",
                           "l:listen(print)",
                           "l:unlisten(l)",
                           "print(members.x)",
                           "print(#members)",
                           "members:add(scene)",
                           "for _ in pairs(members) do end",
                           "color.r = 1",
                           "scene.Light = l",
                           "scene.Members:add(l)",
                           "scene:send(4100999, l)",
                           "scene:send(4100999, {{100, l}})",
                           "q7.create('scene', {[4100509] = l})"}) {
    EXPECT_EQ(error(text), "the object has been deleted") << text;
  }
  EXPECT_EQ(eval("l, l:alive()"), "a deleted object\tfalse");
  EXPECT_EQ(run("l:delete()"), "");
  EXPECT_EQ(eval("scene.light"), "nil");
}

TEST_F(LuaObjects, ANewObjectAtTheSameAddressIsAnotherOne) {
  run("old = {}");
  for (int i = 0; i < 100; ++i) {
    run("local s = q7.create('scene') table.insert(old, s) s:delete() assert(not s:alive())");
  }
  EXPECT_EQ(eval("old[1]:alive(), old[1] == old[2]"), "false\tfalse");
  EXPECT_EQ(run("new = q7.create('scene', {Name = 'new'}) for _, s in ipairs(old) do assert(not s:alive()) end "
                "print(new:alive()) new:delete()"),
            "true\n");
}

TEST_F(LuaObjects, DisposalByTheLastReferenceIsNoticed) {
  send(light_, Q7M_ADDREF);
  run("l = scene.light");
  send(light_, Q7M_REMOVE);
  send(light_, Q7M_RELEASE);
  EXPECT_EQ(eval("l:alive()"), "false");
}

TEST_F(LuaObjects, TheSameObjectHasTheSameHandle) {
  EXPECT_EQ(eval("scene.light == scene.light, scene.Members[1] == scene.light, scene.light == scene.lamp"),
            "true\ttrue\tfalse");
  EXPECT_EQ(run("local t = {[scene.light] = 1} collectgarbage() print(t[scene.light])"), "1\n");
}

TEST_F(LuaObjects, HandlesKeepNothingAlive) {
  run("l = scene.light");
  EXPECT_EQ(get<int32_t>(light_, Q7A_REFCOUNT), 0);
}

TEST_F(LuaObjects, SeveralStatesLearnOfADisposal) {
  auto *other = reinterpret_cast<Q7Object *>(send(lua_, Q7M_COPY));
  send(other, Q7M_LUA_RUN, 0, 0, slot("l = scene.light"));
  run("l = scene.light l:delete()");
  messages.clear();
  send(other, Q7M_LUA_RUN, 0, 0, slot("print(l:alive())"));
  EXPECT_EQ(told(kShownMethod), "false\n");
  send(other, Q7M_DISPOSE);
}

// ---- Disposal by scripts ----

TEST_F(LuaObjects, DeletingTakesAnObjectOutOfItsList) {
  EXPECT_EQ(run("scene.light:delete() print(#scene.Members, scene.Members[1])"), "1\tscene 'lamp'\n");
}

TEST_F(LuaObjects, WhatIsReferencedCannotBeDeleted) {
  send(light_, Q7M_ADDREF);
  send(light_, Q7M_ADDREF);
  EXPECT_EQ(error("scene.light:delete()"), "scene 'light' is in use (2 references)");
  EXPECT_EQ(run("scene.light:retain() print(pcall(scene.light.delete, scene.light))"),
            "false\tscene 'light' is in use (2 references)\n");
  run("scene.light:release()");
  EXPECT_EQ(get<int32_t>(light_, Q7A_REFCOUNT), 2);
}

TEST_F(LuaObjects, AScriptGivesBackItsOwnReferencesOnly) {
  EXPECT_EQ(error("scene.light:release()"), "the script holds no reference on scene 'light'");
  EXPECT_EQ(run("local s = q7.create('scene') s:retain() s:retain() s:delete() print(s:alive())"), "false\n");
  EXPECT_EQ(run("local s = q7.create('scene') s:retain():retain() s:release() print(s:alive()) s:release() "
                "print(s:alive())"),
            "true\nfalse\n");
}

TEST_F(LuaObjects, ReferencesOfAForgottenHandleAreGivenBack) {
  run("q7.create('scene', {Name = 'kept'}):retain()");
  EXPECT_EQ(Q7ClassFind(kSceneClass)->ninstances, 5u);
  run("collectgarbage() collectgarbage()");
  EXPECT_EQ(Q7ClassFind(kSceneClass)->ninstances, 4u) << "the last reference was the script's";
}

TEST_F(LuaObjects, AVariableMayBeDeclaredToBeClosed) {
  EXPECT_EQ(run("local kept do local s <close> = q7.create('scene') kept = s print(kept:alive()) end "
                "print(kept:alive())"),
            "true\nfalse\n");
}

TEST_F(LuaObjects, AttributesThatHoldADeletedObjectAreEmptied) {
  run("scene.Light = scene.lamp scene.lamp:delete()");
  EXPECT_EQ(langtest::scene(scene_).light, nullptr);
  EXPECT_EQ(eval("scene.Light"), "nil");
  run("scene.Light = scene.light");
  remove(light_);
  EXPECT_EQ(langtest::scene(scene_).light, nullptr) << "whoever disposes of it";
}

TEST_F(LuaObjects, AttributesThatWereSetAnewAreLeftAlone) {
  run("scene.Light = scene.lamp scene.Light = scene.light scene.lamp:delete()");
  EXPECT_EQ(langtest::scene(scene_).light, light_);
  langtest::scene(scene_).light = root_;
  remove(light_);
  EXPECT_EQ(langtest::scene(scene_).light, root_);
}

TEST_F(LuaObjects, AHolderMayGoFirst) {
  run("scene.light.Light = scene.lamp scene.light:delete() scene.lamp:delete()");
  EXPECT_EQ(eval("#scene.Members"), "0");
}

TEST_F(LuaObjects, FinalizersMayDeleteWhatIsBeingRead) {
  // Objects are made and dropped at every allocation that Lua makes while a list is walked.
  EXPECT_EQ(run("local function arm() setmetatable({}, {__gc = function() local m = scene.Members[1] "
                "if m then m:delete() end end}) end "
                "for i = 1, 200 do scene.Members:add(q7.create('scene', {Name = 'n' .. i})) end "
                "collectgarbage('setpause', 0) collectgarbage('setstepmul', 10000) "
                "for i = 1, 2000 do arm() local m = scene.Members[2] local v = m and m:alive() and m.Color "
                "local n = m and m:alive() and m:next() end "
                "print(#scene.Members >= 0)"),
            "true\n");
  EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(LuaObjects, TheLastReferenceTakesAnObjectOutOfItsList) {
  EXPECT_EQ(run("local l = scene.light l:retain() l:release() print(l:alive(), #scene.Members, scene.Members[1])"),
            "false\t1\tscene 'lamp'\n");
  run("scene.lamp:retain() collectgarbage() collectgarbage()");
  EXPECT_EQ(eval("#scene.Members"), "0") << "nobody else held one";
}

TEST_F(LuaObjects, WhatAScriptPutIntoAListLeavesItWhenItGoes) {
  run("new = q7.create('scene') scene.Members:add(new)");
  auto *made = reinterpret_cast<Q7Object *>(langtest::scene(scene_).members.tail_pred);
  send(made, Q7M_ADDREF);
  send(made, Q7M_RELEASE);
  EXPECT_EQ(eval("#scene.Members, new:alive()"), "2\tfalse");
}

// ---- Making objects ----

TEST_F(LuaObjects, ClassesAreNamedOrNumbered) {
  EXPECT_EQ(run("local a <close> = q7.create('scene') local b <close> = q7.create(4100) print(a:class()) "
                "print(b:is('scene'), b:is(4100), b:is('q7root'), b:is(41))"),
            "scene\t4100\ntrue\ttrue\ttrue\tfalse\n");
}

TEST_F(LuaObjects, AttributesMayBeGivenAtCreation) {
  EXPECT_EQ(run("local s <close> = q7.create('scene', {Name = 'new', Count = 5, Color = {1, 0.5, 0}, Light = scene}) "
                "print(s, s.Count, s.Color, s.Light)"),
            "scene 'new'\t5\t(1, 0.5, 0, 1)\tscene 'scene'\n");
}

TEST_F(LuaObjects, UnknownClassesAndAttributesAreErrors) {
  EXPECT_EQ(error("q7.create('nothing')"), "there is no class 'nothing'");
  EXPECT_EQ(error("q7.create(4999)"), "there is no class 4999");
  EXPECT_EQ(error("q7.create(-1)"), "there is no class -1");
  EXPECT_THAT(error("q7.create(70000)"), HasSubstr("PANIC"));
  EXPECT_THAT(run("q7.create('scene', {Cont = 5})"), HasSubstr("scene has no attribute 'Cont'"));
  EXPECT_THAT(run("q7.create('scene', {Count = 'x'})"), HasSubstr("Count: a whole number expected, got x"));
  EXPECT_THAT(run("q7.create('scene', {Name = 5})"), HasSubstr("Name: a text expected, got number"));
  EXPECT_THAT(run("q7.create('scene', {[532] = 5})"), HasSubstr("tag 532 cannot be given"));
  EXPECT_THAT(run("q7.create('scene', {[1] = 5})"), HasSubstr("1 is no tag"));
  EXPECT_THAT(run("q7.create('scene', 5)"), HasSubstr("table expected"));
  EXPECT_EQ(Q7ClassFind(kSceneClass)->ninstances, 4u) << "nothing is left of what failed";
}

TEST_F(LuaObjects, CopiesAreMade) {
  EXPECT_EQ(run("scene.light.Count = 8 local c <close> = scene.light:copy() print(c, c.Count, c == scene.light)"),
            "scene 'light'\t8\tfalse\n");
}

TEST_F(LuaObjects, ClassesAreListed) {
  EXPECT_EQ(run("local c = q7.class('scene') print(c.id, c.name, c.description, c.version, c.organization, c.module, "
                "c.super, c.instances)"),
            "4100\tscene\tA scene\t7\tMakers\ttests\t0\t4\n");
  EXPECT_EQ(run("local last, names = -1, {} for _, c in ipairs(q7.classes()) do assert(c.id > last) last = c.id "
                "names[c.name] = c.id end print(names.q7root, names.scene, names.q7lua)"),
            "0\t4100\t4260\n");
  EXPECT_EQ(error("q7.class('x')"), "there is no class 'x'");
}

// ---- The tree ----

TEST_F(LuaObjects, SiblingsAndParentsAreWalked) {
  EXPECT_EQ(eval("scene.light:next(), scene.light:previous(), scene.lamp:next(), scene.lamp:previous()"),
            "scene 'lamp'\tnil\tnil\tscene 'light'");
  EXPECT_EQ(eval("scene.light.Next, scene.light.Previous"), "scene 'lamp'\tnil");
  EXPECT_EQ(eval("scene.light:parent(), scene:parent(), q7.root():parent()"), "scene 'scene'\tscene 'root'\tnil");
  EXPECT_EQ(run("local s <close> = q7.create('scene') print(s:parent(), s:next(), s:previous())"), "nil\tnil\tnil\n");
}

TEST_F(LuaObjects, ListsAreWalkedByNumberNameAndPairs) {
  EXPECT_EQ(eval("#scene.Members, scene.Members[1], scene.Members[2], scene.Members[3], scene.Members[0], "
                 "scene.Members[-1], scene.Members.lamp, scene.Members.none, scene.Members[{}]"),
            "2\tscene 'light'\tscene 'lamp'\tnil\tnil\tnil\tscene 'lamp'\tnil\tnil");
  EXPECT_EQ(run("for i, m in ipairs(scene.Members) do print(i, m) end"), "1\tscene 'light'\n2\tscene 'lamp'\n");
  EXPECT_EQ(run("for m in pairs(scene.Members) do print(m) end"), "scene 'light'\nscene 'lamp'\n");
  EXPECT_EQ(run("for m in pairs(scene.light.Members) do print(m) end print(#scene.light.Members)"), "0\n");
}

TEST_F(LuaObjects, ObjectsAreAddedToLists) {
  EXPECT_EQ(run("scene.Members:add(q7.create('scene', {Name = 'new'})):name() print(#scene.Members, scene.new) "
                "scene.light.Members:add(scene.new) print(#scene.Members, scene.light.new:parent())"),
            "3\tscene 'new'\n2\tscene 'light'\n");
}

TEST_F(LuaObjects, AnObjectIsNotPutIntoItself) {
  EXPECT_EQ(error("scene.Members:add(scene)"), "an object cannot be put into itself");
  EXPECT_EQ(error("scene.light.Members:add(q7.root())"), "an object cannot be put into itself");
  EXPECT_EQ(eval("scene:parent(), #scene.Members"), "scene 'root'\t2");
}

TEST_F(LuaObjects, AWidgetsParentIsItsOwn) {
  Q7RegisterWidgetClass(app());
  EXPECT_EQ(run("w = q7.create('q7widget', {Name = 'top'}) c = q7.create('q7widget', {[41500] = w}) "
                "print(c:parent(), w:parent())"),
            "q7widget 'top'\tnil\n");
  EXPECT_EQ(error("scene.Members:add(c)"), "a widget is moved by its parent attribute");
  EXPECT_EQ(error("c:delete()"), "q7widget is in use (1 references)");
  EXPECT_EQ(run("w:delete() print(c:alive())"), "false\n");
}

// ---- Messages ----

std::vector<uint64_t> sent;
uint64_t keep_message(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  if (method < 4103000) return inherit(cl, obj, method, a, b, tags);
  sent = {method, a, b, arg(tags)};
  if (method == 4103001) sent = {method, tags[0].tag, tags[0].data, tags[1].tag, tags[1].data, tags[2].tag};
  if (method == 4103002) *reinterpret_cast<double *>(tags) = 7;
  return 99;
}

TEST_F(LuaObjects, MessagesCarryTheirArgumentsWhereTheyBelong) {
  Q7ClassCreate(Q7C_ROOT, 4103, keep_message, 0, Q7CT_NAME, arg("probe"), 0);
  run("p = q7.create('probe')");
  EXPECT_EQ(eval("p:send(4103000)"), "99");
  EXPECT_EQ(sent, (std::vector<uint64_t>{4103000, 0, 0, 0}));
  run("p:send(4103000, 1)");
  EXPECT_EQ(sent, (std::vector<uint64_t>{4103000, 0, 0, 1}));
  run("p:send(4103000, 1, 2)");
  EXPECT_EQ(sent, (std::vector<uint64_t>{4103000, 1, 0, 2}));
  run("p:send(4103000, 1, true, scene)");
  EXPECT_EQ(sent, (std::vector<uint64_t>{4103000, 1, 1, arg(scene_)}));
  run("p:send(4103000, -1)");
  EXPECT_EQ(sent[3], ~uint64_t{0});
  run("p:send(4103001, {{100, 5}, {101, 'x'}})");
  EXPECT_EQ(sent[1], 100u);
  EXPECT_EQ(sent[2], 5u);
  EXPECT_EQ(sent[3], 101u);
  EXPECT_EQ(sent[5], 0u);
  EXPECT_EQ(run("local v = q7.vector(1, 2, 3) p:send(4103002, v) print(v)"), "(7, 2, 3)\n");
  EXPECT_THAT(run("p:send(4103000, 1.5)"), HasSubstr("no integer representation"));
  EXPECT_EQ(error("p:send(4103000, print)"), "a function cannot be sent");
  EXPECT_EQ(error("p:send(4103000, 1, 2, 3, 4)"), "a message has at most three arguments");
  EXPECT_EQ(error("p:send(4103000, {5})"), "a tag is a pair {id, value}");
  EXPECT_EQ(error("p:send(4103000, {{1, 5}})"), "1 is no tag");
  EXPECT_EQ(error("p:send(4103000, {}, 5)"), "a table cannot be sent");
  run("p:delete()");
}

TEST_F(LuaObjects, MethodsThatTakeAddressesAreNotSent) {
  for (int method : {0, 1, 2, 4, 5, 6, 7, 9, 10, 11, 12, 14, 15, 16, 21, 22, 24, 28, 35, 36, 999, -1}) {
    EXPECT_EQ(error("scene:send(" + std::to_string(method) + ", 8)"),
              "method " + std::to_string(method) + " cannot be sent by a script");
  }
  EXPECT_EQ(eval("scene.light:send(30, 0)"), "2");
}

TEST_F(LuaObjects, ExtensionMethodsAreCalled) {
  Q7ClassAddExtensionMethod(kSceneClass, "sum",
                            [](Q7Object *, uint64_t a, uint64_t b, Q7TagItem *slot) { return a + b + arg(slot); });
  EXPECT_EQ(eval("scene:call('sum', 1, 2, 3)"), "6");
  EXPECT_NE(error("scene:call('nothing')").find("nothing"), std::string::npos);
  EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(LuaObjects, FunctionsAndMethodsCheckTheirReceivers) {
  for (const char *text : {"scene.delete(5)", "scene.name('x')", "scene.get(nil, 'x')",
                           "getmetatable('').__index.rep()", "scene.Members.add(5)", "q7.vector().length(5)",
                           "q7.generator().number(io.stdout)", "scene.name(io.stdout)", "scene.delete(q7.vector())"}) {
    EXPECT_THAT(run(text), HasSubstr("error: ")) << text;
  }
}

TEST_F(LuaObjects, AnObjectWithADispatcherOfItsOwnHasItsOwnRows) {
  Q7ClassCreate(Q7C_ROOT, 4104, scene_dispatch, sizeof(Scene), Q7CT_NAME, arg("plain"), 0);
  run("a = q7.create('scene') b = q7.create('scene')");
  EXPECT_EQ(run("print(#a:attributes() == #b:attributes()) a:delete() b:delete()"), "true\n");
  light_->dispatch = [](Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
    return method == Q7M_COLLECT_TABLES ? inherit(cl, obj, method, a, b, tags)
                                        : scene_dispatch(cl, obj, method, a, b, tags);
  };
  EXPECT_EQ(eval("#scene.light:attributes(), #scene.lamp:attributes(), scene.light.Count"), "3\t36\tnil");
  light_->dispatch = scene_dispatch;
}

}  // namespace
