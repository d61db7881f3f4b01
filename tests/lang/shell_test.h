// shell_test: a shell in a small tree of scene objects, with short ways to give it commands.
#ifndef Q7_TESTS_LANG_SHELL_TEST_H
#define Q7_TESTS_LANG_SHELL_TEST_H

#include "tests/lang/lang_test.h"

namespace langtest {

class Shell : public langtest::Test {
 protected:
  // root - scene - obj1, obj2 - light
  Shell() {
    root_ = make(kSceneClass, "root");
    scene_ = add(root_, "scene");
    obj1_ = add(scene_, "obj1");
    obj2_ = add(scene_, "obj2");
    light_ = add(obj2_, "light");
    recorder_ = make(kRecorderClass);
    shell_ = Q7ObjectCreate(Q7C_PRGLNG, Q7A_PRGLNG_ROOT, arg(root_), Q7A_PRGLNG_OUTPUT, arg(recorder_),
                            Q7A_PRGLNG_OUTPUT_METHOD, uint64_t{kShownMethod}, 0);
  }
  ~Shell() override {
    send(shell_, Q7M_DISPOSE);
    send(recorder_, Q7M_DISPOSE);
    dispose_tree(root_);
  }
  uint64_t command(uint32_t method, const char *path = nullptr) { return send(shell_, method, 0, 0, slot(path)); }
  void at(const char *path) { set(shell_, Q7A_PRGLNG_PATH, path); }
  std::string path() {
    const char *text = get<const char *>(shell_, Q7A_PRGLNG_PATH);
    return text ? text : "(null)";
  }
  int32_t status() { return get<int32_t>(shell_, Q7A_PRGLNG_STATUS); }
  std::string listing(const char *of) {
    messages.clear();
    EXPECT_EQ(command(Q7M_PRGLNG_LIST, of), 1u);
    EXPECT_EQ(status(), 1);
    return shown();
  }
  template <class T>
  uint64_t read(const char *of, T *value, Q7PublicAttribute *row = nullptr) {
    return send(shell_, Q7M_PRGLNG_GET, arg(of), arg(row), slot(value));
  }
  template <class T>
  uint64_t write(const char *of, const T *value) {
    return send(shell_, Q7M_PRGLNG_SET, arg(of), 0, slot(value));
  }
  uint64_t write_text(const char *of, const char *text) {
    return send(shell_, Q7M_PRGLNG_SET, arg(of), 12, slot(text));
  }

  Q7Object *root_, *scene_, *obj1_, *obj2_, *light_, *recorder_, *shell_;
};

}  // namespace langtest

#endif
