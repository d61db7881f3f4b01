// Tests of plugins/lua: idle work and notices of models.
#include <thread>

#include "app/q7idle.h"
#include "tests/plugins/lua_test.h"
#include "ui/q7model.h"

using namespace luatest;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace {

class LuaBridge : public luatest::Test {
 protected:
  LuaBridge() {
    Q7RegisterModelClass(app());
    model_ = make(Q7C_MODEL, "model");
    langtest::scene(scene_).light = model_;
    run("model = scene.Light");
  }
  ~LuaBridge() override {
    if (model_) send(model_, Q7M_DISPOSE);
  }
  std::string idle_round() {
    messages.clear();
    Q7AppDoIdle(app());
    return told(kShownMethod) + told(kErrorMethod);
  }
  uint64_t change(uint32_t tag, uint64_t value) {
    messages.clear();
    Q7TagItem tags[] = {{tag, value}, {Q7TAG_END, 0}};
    return send(model_, Q7M_MODEL_CHANGED, 0, 0, tags);
  }
  static uint32_t receivers() { return Q7ClassFind(Q7C_LUA_RECEIVER)->ninstances; }
  Q7Object *model_;
};

// ---- Idle work ----

TEST_F(LuaBridge, IdleWorkRunsInTheNextRound) {
  EXPECT_EQ(run("q7.idle(function() print('later') end) q7.idle(function() print('and then') end) print('now')"),
            "now\n");
  EXPECT_EQ(idle_round(), "later\nand then\n");
  EXPECT_EQ(idle_round(), "");
}

TEST_F(LuaBridge, IdleWorkMayQueueItselfAgain) {
  run("n = 0 local function again() n = n + 1 print(n) q7.idle(again) end q7.idle(again)");
  EXPECT_EQ(idle_round(), "1\n");
  EXPECT_EQ(idle_round(), "2\n");
  send(lua_, Q7M_LUA_RESET);
  EXPECT_EQ(idle_round(), "");
}

TEST_F(LuaBridge, ErrorsOfIdleWorkGoToTheErrorObject) {
  run("q7.idle(function() error('late', 0) end)");
  EXPECT_THAT(idle_round(), HasSubstr("late\nstack traceback:"));
}

TEST_F(LuaBridge, IdleWorkOfAClosedStateDoesNothing) {
  run("q7.idle(function() print('never') end) model:listen(print)");
  send(std::exchange(lua_, nullptr), Q7M_DISPOSE);
  EXPECT_EQ(idle_round(), "");
  EXPECT_EQ(receivers(), 0u);
}

TEST_F(LuaBridge, HeldIdleWorkOfAClosedStateDoesNothing) {
  Q7AppDisableIdleProcessing();
  run("q7.idle(function() print('never') end)");
  send(std::exchange(lua_, nullptr), Q7M_DISPOSE);
  messages.clear();
  Q7AppEnableIdleProcessing(app());
  EXPECT_THAT(messages, IsEmpty());
  EXPECT_EQ(receivers(), 0u);
}

TEST_F(LuaBridge, IdleTakesAFunction) { EXPECT_THAT(error("q7.idle(5)"), HasSubstr("function expected")); }

// ---- Models ----

TEST_F(LuaBridge, ListenersAreToldThroughTheIdleQueue) {
  run("listener = model:listen(function(change, value, aspect) print(change, value, aspect) end, {aspect = -7})");
  EXPECT_EQ(change(100, 5), arg(model_));
  EXPECT_THAT(messages, IsEmpty());
  EXPECT_EQ(idle_round(), "100\t5\t-7\n");
  change(100, static_cast<uint64_t>(-3));
  EXPECT_EQ(idle_round(), "100\t-3\t-7\n");
}

TEST_F(LuaBridge, OrAtOnce) {
  run("model:listen(print, {direct = true})");
  change(100, 5);
  EXPECT_EQ(told(kShownMethod), "100\t5\t0\n");
}

TEST_F(LuaBridge, ScriptsRaiseChangesToo) {
  EXPECT_EQ(run("model:listen(print, {direct = true}) model:send(6002, {{100, 1}, {101, 2}}) print('done')"),
            "100\t1\t0\n101\t2\t0\ndone\n");
}

TEST_F(LuaBridge, UnlisteningEndsIt) {
  EXPECT_EQ(run("listener = model:listen(print, {direct = true}) print(listener:alive(), model:unlisten(listener), "
                "listener:alive())"),
            "true\ttrue\tfalse\n");
  EXPECT_EQ(change(100, 5), 0u);
  EXPECT_THAT(messages, IsEmpty());
  EXPECT_EQ(receivers(), 0u);
  EXPECT_EQ(eval("model:unlisten(listener), model:unlisten(scene), model:unlisten(5)"), "false\tfalse\tfalse");
}

TEST_F(LuaBridge, AListenerMayUnlistenWhileItIsTold) {
  run("local l l = model:listen(function(c) print(c) model:unlisten(l) end, {direct = true})");
  change(100, 5);
  EXPECT_EQ(told(kShownMethod), "100\n");
  change(100, 5);
  EXPECT_THAT(messages, IsEmpty());
}

TEST_F(LuaBridge, AListenerBelongsToItsModel) {
  run("listener = model:listen(print)");
  EXPECT_EQ(error("listener:delete()"), "q7luareceiver is in use (1 references)");
  send(std::exchange(model_, nullptr), Q7M_DISPOSE);
  EXPECT_EQ(eval("listener:alive()"), "false");
  EXPECT_EQ(receivers(), 0u);
}

TEST_F(LuaBridge, ErrorsOfListenersGoToTheErrorObject) {
  run("model:listen(function() error('bad', 0) end, {direct = true})");
  change(100, 5);
  EXPECT_THAT(told(kErrorMethod), HasSubstr("bad\n"));
  EXPECT_EQ(run("model:send(6002, {{100, 1}}) print('goes on')").substr(0, 8), "goes on\n");
  EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(LuaBridge, ListenersOfAClosedStateAreTakenBack) {
  run("model:listen(print, {direct = true}) model:listen(print)");
  change(100, 5);
  send(lua_, Q7M_LUA_RESET);
  EXPECT_EQ(idle_round(), "") << "what was queued is dropped";
  EXPECT_EQ(change(100, 5), 0u) << "nobody is left";
  EXPECT_EQ(receivers(), 0u);
}

TEST_F(LuaBridge, NoticesOfOtherThreadsComeOnTheMainThread) {
  run("model:listen(print, {direct = true})");
  messages.clear();
  // At the end of a batch the direct ones are told on whatever thread ends it.
  std::thread([this] {
    Q7TagItem tags[] = {{100, 5}, {Q7TAG_END, 0}};
    send(model_, Q7M_MODEL_BEGIN);
    send(model_, Q7M_MODEL_CHANGED, 0, 0, tags);
    send(model_, Q7M_MODEL_END);
  }).join();
  EXPECT_THAT(messages, IsEmpty());
  EXPECT_EQ(idle_round(), "100\t5\t0\n");
}

TEST_F(LuaBridge, OnlyModelsAreListenedTo) {
  EXPECT_EQ(error("scene:listen(print)"), "scene 'scene' is no model");
  EXPECT_THAT(error("model:listen(5)"), HasSubstr("function expected"));
  EXPECT_THAT(error("model:listen(print, 5)"), HasSubstr("table expected"));
}

TEST_F(LuaBridge, AReceiverThatNobodyMadeForAScriptIsIdle) {
  EXPECT_EQ(run("local r <close> = q7.create('q7luareceiver') print(r:send(4261000, 1))"), "0\n");
}

TEST_F(LuaBridge, CoroutinesCallAndAreCalled) {
  EXPECT_EQ(run("local co = coroutine.wrap(function() model:listen(function(c) print('told', c) end, {direct = true}) "
                "model:send(6002, {{100, 1}}) coroutine.yield(1) model:send(6002, {{101, 1}}) end) co() co()"),
            "told\t100\ntold\t101\n");
  EXPECT_THAT(run("model:listen(function() coroutine.yield() end, {direct = true}) model:send(6002, {{102, 1}})"),
              HasSubstr("yield"));
}

}  // namespace
