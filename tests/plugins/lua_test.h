// lua_test: what the tests of the Lua plug-in share: an application on the default platform layer with the plug-in
// loaded, a small tree of scene objects, and a language object whose output and errors are recorded.
#ifndef Q7_TESTS_PLUGINS_LUA_TEST_H
#define Q7_TESTS_PLUGINS_LUA_TEST_H

#include <fstream>
#include <string>

#include "app/q7app.h"
#include "core/q7plugin.h"
#include "plugins/lua/q7lua.h"
#include "tests/lang/scene.h"

namespace luatest {

using namespace langtest;

// What objects are sent, the language's own words apart.
inline std::string told(uint32_t method) {
  std::string all;
  for (const Message &m : messages) {
    if (m.method == method) all += m.text + "\n";
  }
  return all;
}

class Test : public q7test::Test {
 protected:
  Test() {
    errors().clear();
    messages.clear();
    recorder_answer = 0;
    fail_collect = keep_nodes = false;
    app_ = Q7AppCreate(&argc_, argv_, Q7APP_ErrorHandler, arg(&keep_error), Q7APP_Name, arg("lua"), 0);
    if (!app_) std::abort();
    register_scene_classes();
    Q7SetPluginDir(app_, Q7_PLUGINS);
    if (!Q7LoadPluginLibrary(app_, "q7lua")) std::abort();
    root_ = make(kSceneClass, "root");
    scene_ = add(root_, "scene");
    light_ = add(scene_, "light");
    lamp_ = add(scene_, "lamp");
    output_ = make(kRecorderClass);
    lua_ = Q7ObjectCreate(Q7C_LUA, Q7A_PRGLNG_ROOT, arg(root_), Q7A_PRGLNG_OUTPUT, arg(output_),
                          Q7A_PRGLNG_OUTPUT_METHOD, uint64_t{kShownMethod}, Q7A_PRGLNG_ERROR, arg(output_),
                          Q7A_PRGLNG_ERROR_METHOD, uint64_t{kErrorMethod}, 0);
  }
  ~Test() override {
    if (lua_) send(lua_, Q7M_DISPOSE);
    if (root_) dispose_tree(root_);
    send(output_, Q7M_DISPOSE);
    EXPECT_EQ(Q7ClassFind(Q7C_ROOT)->nsubinstances, objects_at_rest_);
    Q7AppDelete(app_);
  }

  // Runs a text: what it printed, a line each, or "error: " and the first line of its error.
  std::string run(const std::string &text) {
    messages.clear();
    const bool done = send(lua_, Q7M_LUA_RUN, 0, 0, slot(text.c_str())) != 0;
    std::string error = told(kErrorMethod);
    EXPECT_TRUE(done || !error.empty());
    if (!done) return told(kShownMethod) + "error: " + error.substr(0, error.find('\n'));
    return told(kShownMethod) + error;
  }
  // The values of an expression, as print shows them.
  std::string eval(const std::string &expression) {
    std::string shown = run("print(" + expression + ")");
    if (!shown.empty() && shown.back() == '\n') shown.pop_back();
    return shown;
  }
  // The error of a statement that must fail, without the place in front of it.
  std::string error(const std::string &text) {
    const std::string shown = run(text);
    constexpr char kPlace[] = "error: script:1: ";
    if (shown.rfind(kPlace, 0) == 0) return shown.substr(sizeof kPlace - 1);
    return "no error: " + shown;
  }

  Q7App *app() const { return app_; }
  Q7App *app_;
  Q7Object *root_, *scene_, *light_, *lamp_, *output_, *lua_;
  uint32_t objects_at_rest_ = 1;  // the main task

 private:
  int32_t argc_ = 1;
  char program_[4] = "lua";
  char *argv_[2] = {program_, nullptr};
};

}  // namespace luatest

#endif
