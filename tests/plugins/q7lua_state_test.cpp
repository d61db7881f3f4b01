// Tests of plugins/lua: the class, running scripts, their errors and their limits, and the end of a state.
#include <signal.h>
#include <unistd.h>

#include <filesystem>
#include <utility>

#include "tests/plugins/lua_test.h"

using namespace luatest;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

namespace {

class LuaState : public luatest::Test {
 protected:
  std::string file(const std::string &name, const std::string &text) const {
    const std::string path = (home() / name).string();
    std::ofstream(path) << text;
    return path;
  }
  uint64_t load(const std::string &path) {
    messages.clear();
    return send(lua_, Q7M_PRGLNG_LOAD, 0, 0, slot(path.c_str()));
  }
};

// ---- The class ----

TEST_F(LuaState, IsALanguage) {
  EXPECT_EQ(Q7FindLanguage(nullptr, "lua"), uint32_t{Q7C_LUA});
  EXPECT_EQ(Q7FindLanguage(nullptr, "LUA"), uint32_t{Q7C_LUA});
  EXPECT_TRUE(Q7ClassIdIsOfKind(Q7C_LUA, Q7C_PRGLNG));
  EXPECT_STREQ(Q7ClassFind(Q7C_LUA)->header.name, "q7lua");
  EXPECT_STREQ(Q7ClassFind(Q7C_LUA)->description, "Programming Language");
}

TEST_F(LuaState, IsNamedLuaAmongTheLanguages) {
  Q7Object *handler = make(kRecorderClass);
  messages.clear();
  Q7EnumLanguages(nullptr, handler, kShownMethod + 5, 7);
  ASSERT_EQ(messages.size(), 1u);
  EXPECT_STREQ(reinterpret_cast<const char *>(messages[0].a), "Lua");
  EXPECT_EQ(messages[0].b, uint64_t{Q7C_LUA});
  send(handler, Q7M_DISPOSE);
}

TEST_F(LuaState, ASecondLoadingChangesNothing) {
  EXPECT_EQ(Q7LoadPluginLibrary(app(), "q7lua"), 1);
  EXPECT_EQ(eval("1"), "1");
}

TEST_F(LuaState, IsAShellToo) {
  EXPECT_EQ(send(lua_, Q7M_PRGLNG_MAKE_CURRENT, 0, 0, slot("scene")), 1u);
  EXPECT_STREQ(get<const char *>(lua_, Q7A_PRGLNG_PATH), ".scene");
}

TEST_F(LuaState, MessagesToTheClassNeedNoObject) {
  Q7Object *record = &Q7ClassFind(Q7C_LUA)->header;
  for (uint32_t method : {uint32_t{Q7M_PRGLNG_LOAD}, uint32_t{Q7M_LUA_RUN}, uint32_t{Q7M_LUA_EVALUATE},
                          uint32_t{Q7M_LUA_RESET}, uint32_t{Q7M_LUA_INTERRUPT}, uint32_t{Q7M_LUA_INCOMPLETE}}) {
    EXPECT_EQ(send(record, method, 0, 0, slot("x")), 0u) << method;
  }
}

TEST_F(LuaState, ACopyHasAStateOfItsOwn) {
  run("answer = 42");
  auto *copy = reinterpret_cast<Q7Object *>(send(lua_, Q7M_COPY));
  messages.clear();
  EXPECT_EQ(send(copy, Q7M_LUA_RUN, 0, 0, slot("print(answer)")), 1u);
  EXPECT_EQ(told(kShownMethod), "nil\n");
  send(copy, Q7M_DISPOSE);
}

// ---- Running ----

TEST_F(LuaState, PrintsALineAMessage) {
  EXPECT_EQ(run("print(1, 'two', nil, 2.5, true)"), "1\ttwo\tnil\t2.5\ttrue\n");
  EXPECT_EQ(run("print()"), "\n");
  EXPECT_EQ(messages[0].format, "%s");
  EXPECT_EQ(run("print('100 %s')"), "100 %s\n");
}

TEST_F(LuaState, WithoutAnOutputObjectItPrintsToStandardOutput) {
  set(lua_, Q7A_PRGLNG_OUTPUT, nullptr);
  q7test::Capture capture(1);
  run("print('hello')");
  EXPECT_EQ(capture.stop(), "hello\n");
}

TEST_F(LuaState, GlobalsLiveFromOneScriptToTheNext) {
  run("answer = 42");
  EXPECT_EQ(eval("answer"), "42");
  EXPECT_EQ(send(lua_, Q7M_LUA_RESET), 1u);
  EXPECT_EQ(eval("answer"), "nil");
}

TEST_F(LuaState, LoadsAFile) {
  const std::string path = file("hello.lua", "print('from a file') scene.Count = 3");
  EXPECT_EQ(load(path), 1u);
  EXPECT_EQ(told(kShownMethod), "from a file\n");
  EXPECT_EQ(langtest::scene(scene_).integer, 3);
}

TEST_F(LuaState, AFileWithAnErrorSaysWhere) {
  const std::string path = file("broken.lua", "\nerror('no')");
  EXPECT_EQ(load(path), 0u);
  EXPECT_THAT(told(kErrorMethod), StartsWith(path + ":2: no\nstack traceback:"));
  EXPECT_EQ(load(file("syntax.lua", "x = = 1")), 0u);
  EXPECT_THAT(told(kErrorMethod), HasSubstr("syntax.lua:1: unexpected symbol near '='"));
}

TEST_F(LuaState, AMissingFileIsAnError) {
  EXPECT_EQ(load((home() / "none.lua").string()), 0u);
  EXPECT_THAT(told(kErrorMethod), HasSubstr("none.lua: No such file or directory"));
  EXPECT_EQ(load(std::string(600, 'x')), 0u);
  EXPECT_THAT(told(kErrorMethod), HasSubstr("the file name is too long"));
  EXPECT_EQ(load(""), 0u);
  EXPECT_THAT(told(kErrorMethod), HasSubstr("no file name"));
  EXPECT_EQ(send(lua_, Q7M_PRGLNG_LOAD), 0u);
}

TEST_F(LuaState, CompiledChunksAreRefused) {
  EXPECT_EQ(load(file("code.lua", "\x1bLua")), 0u);
  EXPECT_THAT(told(kErrorMethod), HasSubstr("attempt to load a binary chunk (mode is 't')"));
  EXPECT_EQ(eval("load('\\27Lua')"), "nil\tattempt to load a binary chunk (mode is 't')");
  EXPECT_EQ(eval("load('\\27Lua', 'x', 'b')"), "nil\tattempt to load a binary chunk (mode is 't')");
  EXPECT_EQ(eval("load('return 1 + 1')()"), "2");
  EXPECT_EQ(eval("load('return x', 'x', 'bt', {x = 3})()"), "3");
}

TEST_F(LuaState, RequiresFilesBesideTheScript) {
  file("part.lua", "print('once', ...) return {value = 5}");
  std::filesystem::create_directory(home() / "deep");
  file("deep/er.lua", "depth = 1");
  EXPECT_EQ(load(file("main.lua", "print(require('part').value, require('part').value, require('deep.er'), depth)")),
            1u);
  EXPECT_EQ(told(kShownMethod), "once\tpart\n5\t5\ttrue\t1\n");
  EXPECT_EQ(load(file("other.lua", "require('nothing')")), 0u);
  EXPECT_THAT(told(kErrorMethod), HasSubstr("cannot open " + (home() / "nothing.lua").string()));
}

TEST_F(LuaState, RunsOtherFiles) {
  const std::string path = file("other.lua", "return 1, 2, x");
  EXPECT_EQ(eval("dofile('" + path + "')"), "1\t2\tnil");
  EXPECT_EQ(eval("loadfile('" + path + "', 't', {x = 9})()"), "1\t2\t9");
  EXPECT_EQ(eval("select('#', loadfile('" + path + "x'))"), "2");
}

TEST_F(LuaState, EvaluatesExpressionsAndStatements) {
  const auto evaluate = [this](const char *text) {
    messages.clear();
    send(lua_, Q7M_LUA_EVALUATE, arg("=line"), 0, slot(text));
    return told(kShownMethod) + told(kErrorMethod).substr(0, told(kErrorMethod).find('\n'));
  };
  EXPECT_EQ(evaluate("1 + 1, 'x'"), "2\tx\n");
  EXPECT_EQ(evaluate("y = 5"), "");
  EXPECT_EQ(evaluate("y"), "5\n");
  EXPECT_EQ(evaluate("nil"), "nil\n");
  EXPECT_EQ(evaluate("y ="), "line:1: unexpected symbol near <eof>");
  EXPECT_EQ(evaluate("error('bad')"), "line:1: bad");
}

TEST_F(LuaState, KnowsWhatIsIncomplete) {
  const auto incomplete = [this](const char *text) { return send(lua_, Q7M_LUA_INCOMPLETE, 0, 0, slot(text)); };
  EXPECT_EQ(incomplete("for i = 1, 3 do"), 1u);
  EXPECT_EQ(incomplete("f(1,"), 1u);
  EXPECT_EQ(incomplete("x = [["), 1u);
  EXPECT_EQ(incomplete("for i = 1, 3 do end"), 0u);
  EXPECT_EQ(incomplete("1 + 1"), 0u);
  EXPECT_EQ(incomplete("x = = 1"), 0u);
  EXPECT_EQ(incomplete(""), 0u);
}

TEST_F(LuaState, NullsAreRefused) {
  EXPECT_EQ(send(lua_, Q7M_LUA_RUN), 0u);
  EXPECT_EQ(send(lua_, Q7M_LUA_EVALUATE), 0u);
  EXPECT_EQ(send(lua_, Q7M_LUA_INCOMPLETE), 0u);
}

// ---- What scripts do not get ----

TEST_F(LuaState, NothingEndsOrReplacesTheHost) {
  for (const char *name :
       {"os.exit", "os.execute", "os.remove", "os.rename", "os.setlocale", "os.tmpname", "io.popen", "debug.sethook",
        "debug.setmetatable", "debug.getregistry", "debug.setupvalue", "string.dump", "package"}) {
    EXPECT_EQ(eval(name), "nil") << name;
  }
  EXPECT_EQ(eval("type(os.time()), type(debug.traceback()), type(io.open), math.type(1)"),
            "number\tstring\tfunction\tinteger");
  EXPECT_EQ(eval("getmetatable(_G), getmetatable(scene), getmetatable(q7.vector())"), "false\tq7.object\tq7.vector");
}

// ---- Errors ----

TEST_F(LuaState, UncaughtErrorsGoToTheErrorObject) {
  EXPECT_EQ(run("error('oh no')"), "error: script:1: oh no");
  ASSERT_EQ(messages.size(), 1u);
  EXPECT_EQ(messages[0].receiver, output_);
  EXPECT_EQ(messages[0].method, uint32_t{kErrorMethod});
  EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(LuaState, WithoutAnErrorObjectTheyGoToTheOutputObject) {
  set(lua_, Q7A_PRGLNG_ERROR, nullptr);
  messages.clear();
  EXPECT_EQ(send(lua_, Q7M_LUA_RUN, 0, 0, slot("error('oh no', 0)")), 0u);
  EXPECT_THAT(told(kShownMethod), StartsWith("oh no\n"));
}

TEST_F(LuaState, WithoutEitherTheyAreReported) {
  set(lua_, Q7A_PRGLNG_ERROR, nullptr);
  set(lua_, Q7A_PRGLNG_OUTPUT, nullptr);
  EXPECT_EQ(send(lua_, Q7M_LUA_RUN, 0, 0, slot("error('oh no', 0)")), 0u);
  ASSERT_EQ(errors().size(), 1u);
  EXPECT_THAT(errors()[0], StartsWith("q7prglng: oh no\nstack traceback:"));
}

TEST_F(LuaState, ErrorsNeedNotBeTexts) {
  EXPECT_EQ(run("error({})"), "error: (error object is a table value)");
  EXPECT_EQ(run("error(nil)"), "error: (error object is a nil value)");
  EXPECT_EQ(run("error(setmetatable({}, {__tostring = function() return 'mine' end}))"), "error: mine");
  EXPECT_EQ(run("error(setmetatable({}, {__tostring = function() return 5 end}))"),
            "error: (error object is a table value)");
  EXPECT_THAT(run("error(setmetatable({}, {__tostring = function() error('again') end}))"), StartsWith("error: "));
  EXPECT_EQ(eval("1"), "1");
}

TEST_F(LuaState, ReportsBecomeErrorsOfTheScript) {
  EXPECT_EQ(eval("pcall(scene.send, scene, 4100999)"), "false\tUndefined Method 4100:4100999");
  EXPECT_THAT(errors(), IsEmpty()) << "the script has it";
  EXPECT_EQ(run("scene:send(4100999)"), "error: script:1: Undefined Method 4100:4100999");
  EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(LuaState, AfterACallReportsGoToTheHostAgain) {
  run("pcall(scene.send, scene, 4100999)");
  Q7SendMsg(scene_, 4100999, 0);
  EXPECT_THAT(errors(), ElementsAre("q7root: Undefined Method 4100:4100999"));
}

// ---- Limits ----

TEST_F(LuaState, RunawayMemoryIsAnError) {
  set(lua_, Q7A_LUA_MEMORY_LIMIT, uint64_t{4} << 20);
  EXPECT_EQ(run("local t = {} for i = 1, 1e9 do t[i] = {} end"), "error: not enough memory");
  EXPECT_EQ(run("return ('x'):rep(1 << 40)"), "error: script:1: resulting string too large");
  EXPECT_EQ(run("local s = 'x' while true do s = s .. s end"), "error: not enough memory");
  EXPECT_EQ(eval("1 + 1"), "2");
  EXPECT_LE(get<uint64_t>(lua_, Q7A_LUA_MEMORY_USED), uint64_t{4} << 20);
  EXPECT_EQ(get<uint64_t>(lua_, Q7A_LUA_MEMORY_LIMIT), uint64_t{4} << 20);
}

TEST_F(LuaState, RunawayRecursionIsAnError) {
  EXPECT_THAT(run("local function f() return 1 + f() end f()"), HasSubstr("stack overflow"));
  EXPECT_THAT(
      run("local t = setmetatable({}, {}) getmetatable(t).__index = function(t, k) return t[k + 1] end print(t[1])"),
      HasSubstr("stack overflow"));
  EXPECT_THAT(run("local function f() return coroutine.wrap(f)() end f()"), HasSubstr("stack overflow"));
  EXPECT_THAT(run("string.rep('(', 1000):match(string.rep('(', 1000))"), HasSubstr("error:"));
  EXPECT_EQ(eval("1 + 1"), "2");
}

TEST_F(LuaState, ScriptsThatRunScriptsDoNotRunForEver) {
  static Q7Object *self;
  self = lua_;
  Q7ClassAddExtensionMethod(kSceneClass, "rerun", [](Q7Object *, uint64_t, uint64_t, Q7TagItem *) {
    return self->dispatch(self->cl, self, Q7M_LUA_RUN, 0, 0, langtest::slot("f()"));
  });
  messages.clear();
  send(lua_, Q7M_LUA_RUN, 0, 0, slot("function f() scene:call('rerun') end f()"));
  ASSERT_FALSE(messages.empty());
  EXPECT_EQ(messages[0].text, "scripts call each other too deeply");
  EXPECT_EQ(eval("1 + 1"), "2");
}

TEST_F(LuaState, StepsCanBeLimited) {
  set(lua_, Q7A_LUA_STEP_LIMIT, uint64_t{100000});
  EXPECT_EQ(run("while true do end"), "error: script:1: stopped after 100000 steps");
  EXPECT_EQ(run("while true do pcall(function() while true do end end) end"),
            "error: script:1: stopped after 100000 steps");
  EXPECT_THAT(run("coroutine.wrap(function() while true do end end)()"), HasSubstr("stopped after 100000 steps"));
  EXPECT_EQ(eval("1 + 1"), "2") << "each run starts anew";
  set(lua_, Q7A_LUA_STEP_LIMIT, uint64_t{0});
  EXPECT_EQ(run("for i = 1, 1000000 do end"), "");
}

TEST_F(LuaState, CanBeInterruptedFromASignalHandler) {
  static Q7Object *running;
  running = lua_;
  signal(SIGALRM, [](int) { running->dispatch(running->cl, running, Q7M_LUA_INTERRUPT, 0, 0, nullptr); });
  alarm(1);
  EXPECT_EQ(run("while true do end"), "error: script:1: interrupted");
  EXPECT_EQ(send(lua_, Q7M_LUA_INTERRUPT), 0u);
  EXPECT_EQ(eval("1 + 1"), "2");
}

TEST_F(LuaState, EveryAllocationMayFail) {
  static int64_t left;
  const auto gate = [](uint64_t, void *) -> int32_t { return --left != 0; };
  run("print(1)");
  for (int64_t n = 1; n < 400; ++n) {
    left = n;
    Q7SetAllocGate(gate, nullptr);
    send(lua_, Q7M_LUA_RUN, 0, 0, slot("local t = {} for i = 1, 50 do t[i] = q7.vector(i, i, i) .. '' end"));
    send(lua_, Q7M_LUA_RUN, 0, 0,
         slot("local s <close> = q7.create('scene', {Name = 'new', Color = {1, 2, 3}}) scene.Members:add(s) "
              "s.Light = scene.light q7.idle(print) for _, m in pairs(scene.Members) do m:name() end"));
    Q7SetAllocGate(nullptr, nullptr);
    const bool reached = left <= 0;
    messages.clear();
    Q7AppFlushIdle(app());
    if (!reached) break;
  }
  EXPECT_EQ(eval("1 + 1"), "2");
}

// ---- The end ----

TEST_F(LuaState, TheLanguageMayGoWhileItsScriptRuns) {
  static Q7Object **language;
  language = &lua_;
  Q7ClassAddExtensionMethod(kSceneClass, "end", [](Q7Object *, uint64_t, uint64_t, Q7TagItem *) {
    return Q7ObjectDelete(std::exchange(*language, nullptr));
  });
  messages.clear();
  Q7Object *self = lua_;
  EXPECT_EQ(send(self, Q7M_LUA_RUN, 0, 0,
                 slot("scene:call('end') while true do pcall(function() print('still here') end) end")),
            0u);
  EXPECT_THAT(messages, IsEmpty());
  EXPECT_EQ(lua_, nullptr);
}

TEST_F(LuaState, AScriptCannotResetItself) {
  Q7ClassAddExtensionMethod(kSceneClass, "reset", [](Q7Object *, uint64_t, uint64_t, Q7TagItem *slot) {
    auto *self = reinterpret_cast<Q7Object *>(slot);
    return self->dispatch(self->cl, self, Q7M_LUA_RESET, 0, 0, nullptr);
  });
  langtest::scene(scene_).light = lua_;
  EXPECT_EQ(eval("scene:call('reset', scene.Light)"), "0");
}

TEST_F(LuaState, FinalizersRunAtTheEnd) {
  run("keep = setmetatable({}, {__gc = function() print('bye') scene.Count = 9 end})");
  messages.clear();
  send(lua_, Q7M_LUA_RESET);
  EXPECT_EQ(langtest::scene(scene_).integer, 9);
}

TEST_F(LuaState, ErrorsInFinalizersAreTold) {
  messages.clear();
  const char text[] = "setmetatable({}, {__gc = function() error('late', 0) end}) collectgarbage() print('on')";
  EXPECT_EQ(send(lua_, Q7M_LUA_RUN, 0, 0, slot(text)), 1u);
  EXPECT_EQ(told(kShownMethod), "on\n");
  EXPECT_THAT(told(kErrorMethod), HasSubstr("late"));
}

}  // namespace
