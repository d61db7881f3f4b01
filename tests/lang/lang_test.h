// lang_test: what the tests of this room share: an application on the recording platform layer, with the classes of
// scene.h.
#ifndef Q7_TESTS_LANG_LANG_TEST_H
#define Q7_TESTS_LANG_LANG_TEST_H

#include "tests/lang/scene.h"
#include "tests/support/fake_platform.h"

namespace langtest {

class Test : public q7test::Test {
 protected:
  Test() {
    errors().clear();
    messages.clear();
    recorder_answer = 0;
    fail_collect = keep_nodes = false;
    fake::reset();
    app_ = Q7AppCreate(&argc_, argv_, Q7APP_ErrorHandler, arg(&keep_error), Q7APP_Name, arg("lang"), Q7APP_NoMainTask,
                       uint64_t{1}, 0);
    if (!app_ || !Q7RegisterPrgLngClass(app_)) std::abort();
    register_scene_classes();
  }
  ~Test() override {
    Q7AppDelete(app_);
    EXPECT_EQ(fake::live(), fake::Live{});
  }
  Q7App *app() const { return app_; }

 private:
  int32_t argc_ = 1;
  char program_[5] = "lang";
  char *argv_[2] = {program_, nullptr};
  Q7App *app_;
};

}  // namespace langtest

#endif
