// io_test: what the tests of this room share: an application on the recording platform layer, the errors it was told,
// objects that go away with their scope, and short ways to send messages.
#ifndef Q7_TESTS_IO_IO_TEST_H
#define Q7_TESTS_IO_IO_TEST_H

#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "app/q7app.h"
#include "core/client.hpp"
#include "core/q7objects.h"
#include "core/q7root.h"
#include "io/q7file.h"
#include "io/q7iff.h"
#include "io/q7socket.h"
#include "tests/support/fake_platform.h"
#include "tests/support/test_support.h"

namespace iotest {

inline std::vector<std::string> &errors() {
  static std::vector<std::string> list;
  return list;
}
inline int keep_error(const char *module, int, const char *text, ...) {
  errors().push_back(std::string(module) + ": " + text);
  return 0;
}

using q7client::arg;
using q7client::send;
using q7client::slot;
template <class T>
uint64_t put(Q7Object *obj, uint32_t method, T value) {
  return send(obj, method, 0, 0, slot(value));
}
inline Q7Object *file_class() { return &Q7ClassFind(Q7C_FILE)->header; }

using Tags = std::vector<std::pair<uint32_t, uint64_t>>;
inline std::vector<Q7TagItem> list(const Tags &tags) {
  std::vector<Q7TagItem> items;
  for (const auto &[tag, value] : tags) items.push_back({tag, value});
  items.push_back({Q7TAG_END, 0});
  return items;
}
inline uint64_t call(Q7Object *obj, uint32_t method, const Tags &tags, uint64_t a = 0) {
  std::vector<Q7TagItem> items = list(tags);
  return send(obj, method, a, 0, items.data());
}

// An object that is disposed of at the end of its scope.
class Object {
 public:
  Object(uint32_t clid, const Tags &tags) { obj_ = Q7ObjectCreateA(clid, list(tags).data()); }
  ~Object() { dispose(); }
  Object(const Object &) = delete;
  Object &operator=(const Object &) = delete;
  uint64_t dispose() {
    Q7Object *obj = std::exchange(obj_, nullptr);
    return obj ? send(obj, Q7M_DISPOSE) : 1;
  }
  void forget() { obj_ = nullptr; }
  operator Q7Object *() const { return obj_; }
  Q7Object *operator->() const { return obj_; }

 private:
  Q7Object *obj_;
};
inline Tags file_tags(const std::string &name, const char *mode) {
  return {{Q7A_FILE_NAME, arg(name.c_str())}, {Q7A_FILE_MODE, arg(mode)}};
}
class File : public Object {
 public:
  File(const std::string &name, const char *mode) : Object(Q7C_FILE, file_tags(name, mode)) {}
};

template <class T>
T get(Q7Object *obj, uint32_t tag) {
  T value{};
  Q7TagItem items[] = {{tag, arg(&value)}, {Q7TAG_END, 0}};
  EXPECT_EQ(send(obj, Q7M_GET, 0, 0, items), 0u);
  return value;
}
inline int32_t error_of(Q7Object *obj) { return get<int32_t>(obj, Q7A_FILE_ERROR); }
inline Q7Stream *stream_of(Q7Object *obj) {
  return reinterpret_cast<Q7Stream *>(reinterpret_cast<char *>(obj) + Q7ClassFind(Q7C_FILE)->ioffset);
}
inline void set_timeout(int32_t seconds) { Q7SetClassAttrs(Q7C_FILE, Q7A_FILE_TIMEOUT, uint64_t(seconds), 0); }

constexpr uint64_t kMinusOne = ~uint64_t{0};

class Test : public q7test::Test {
 protected:
  Test() {
    errors().clear();
    fake::reset();
    app_ = Q7AppCreate(&argc_, argv_, Q7APP_ErrorHandler, arg(&keep_error), Q7APP_Name, arg("io"), Q7APP_NoMainTask,
                       uint64_t{1}, 0);
    if (!app_ || !Q7RegisterIFFClass(app_)) std::abort();
  }
  ~Test() override {
    Q7AppDelete(app_);
    EXPECT_EQ(fake::live(), fake::Live{});
  }
  std::string path(const std::string &name) const { return (home() / name).string(); }
  Q7App *app() const { return app_; }

 private:
  int32_t argc_ = 1;
  char program_[3] = "io";
  char *argv_[2] = {program_, nullptr};
  Q7App *app_;
};

// Bytes out of text: bytes("\x00\x01") keeps its zeros.
template <size_t N>
std::string bytes(const char (&text)[N]) {
  return std::string(text, N - 1);
}

}  // namespace iotest

#endif
