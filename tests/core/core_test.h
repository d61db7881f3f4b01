// core_test: the fixture of the core's tests: an application record with a class registry and the root class, on the
// recording platform layer, with the reports collected.
#ifndef Q7_TESTS_CORE_CORE_TEST_H
#define Q7_TESTS_CORE_CORE_TEST_H

#include <cstdarg>
#include <cstring>
#include <string>
#include <vector>

#include "core/q7memory.h"
#include "core/q7objects.h"
#include "core/q7oops.h"
#include "core/q7oops2.h"
#include "core/q7root.h"
#include "core/q7strings.h"
#include "core/q7typeid.h"
#include "tests/support/fake_platform.h"
#include "tests/support/test_support.h"

namespace q7test {

struct Report {
  std::string module;
  int line;
  std::string text;
  uint64_t data;
};

inline std::vector<Report> &reports() {
  static std::vector<Report> list;
  return list;
}

inline int collect_report(const char *module, int line, const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const uint64_t data = va_arg(arguments, uint64_t);
  va_end(arguments);
  reports().push_back({module, line, format, data});
  return 0;
}

inline std::vector<std::string> report_texts() {
  std::vector<std::string> texts;
  for (const Report &report : reports()) texts.push_back(report.text);
  return texts;
}

// An application record that nobody built: enough for the object system.
class Core : public Test {
 protected:
  Core() {
    fake::reset();
    reports().clear();
    std::memset(static_cast<void *>(&app_), 0, sizeof app_);
    app_.name = "Default";
    std::strcpy(app_.version, "8");
    app_.error_handler = collect_report;
  }
  void SetUp() override {
    ASSERT_EQ(Q7OopsInit(&app_), 1);
    ASSERT_EQ(Q7RegisterRootClass(&app_), 1);
    reports().clear();
    fake::clear_calls();
  }
  void TearDown() override {
    if (!freed_) Q7OopsFree(&app_);
    Q7RegisterClient(nullptr);
  }
  void free_oops() {
    Q7OopsFree(&app_);
    freed_ = true;
  }
  Q7App app_;

 private:
  bool freed_ = false;
};

// Makes a class; the tags are optional.
inline Q7Class *make_class(uint32_t super, uint32_t id, Q7Dispatcher dispatcher = nullptr, uint32_t size = 0,
                           const char *name = "test") {
  return Q7ClassCreate(super, id, dispatcher, size, uint32_t{Q7CT_NAME}, name, 0);
}

inline uint64_t u64(const void *pointer) { return reinterpret_cast<uint64_t>(pointer); }
template <class T>
Q7TagItem *slot(T value) {
  return (Q7TagItem *)(uintptr_t)(value);
}
inline uint64_t send(Q7Object *obj, uint32_t method, uint64_t a = 0, uint64_t b = 0, Q7TagItem *tags = nullptr) {
  return obj->dispatch(obj->cl, obj, method, a, b, tags);
}
inline uint64_t send(Q7Class *cl, uint32_t method, uint64_t a = 0, uint64_t b = 0, Q7TagItem *tags = nullptr) {
  return send(&cl->header, method, a, b, tags);
}

}  // namespace q7test

#endif
