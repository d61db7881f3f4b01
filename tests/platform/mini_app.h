// mini_app: the least that the layer needs of an application: a record with an object system, a lock and idle queues.
// Tests of the layer's own parts stand on it, so that they say nothing about the rest of the library.
#ifndef Q7_TESTS_PLATFORM_MINI_APP_H
#define Q7_TESTS_PLATFORM_MINI_APP_H

#include <cstdint>
#include <string>
#include <vector>

#include "app/q7idle.h"
#include "core/q7memory.h"
#include "core/q7objects.h"
#include "core/q7oops.h"
#include "platform/posix/q7posix.h"
#include "tests/support/test_support.h"

namespace q7test {

inline uint64_t word(const void *pointer) { return reinterpret_cast<uint64_t>(pointer); }
template <class T>
uint64_t word_of(T function) {
  return reinterpret_cast<uint64_t>(function);
}

// The error reports of the running test.
inline std::vector<std::string> &errors() {
  static std::vector<std::string> texts;
  return texts;
}
inline int record_error(const char *module, int, const char *text, ...) {
  errors().push_back(std::string(module) + ": " + text);
  return 0;
}

class MiniApp {
 public:
  MiniApp() {
    app_.error_handler = record_error;
    app_.name = "mini";
    app_.running = 1;
    Q7OopsInit(&app_);
    Q7RegisterClient(&app_);
    Q7RegisterTaskClass(&app_);
    Q7RegisterSemaphoreClass(&app_);
    app_.lock = Q7LockAlloc();
    J7SystemDependInitP1(&app_, 0, nullptr, 0, nullptr);
    Q7RegisterIconClass(&app_);
    Q7RegisterCursorClass(&app_);
    Q7RegisterTimerClass(&app_);
    Q7RegisterMsgPortClass(&app_);
    app_.idle = &idle_;
    app_.idle_free = &idle_free_;
    Q7NewList(&idle_);
    Q7NewList(&idle_free_);
    Q7NewList(&app_.idle_held);
    Q7NewList(&app_.idle_low);
    J7SystemDependInitP2(&app_, 0, nullptr, 0, nullptr);
  }
  ~MiniApp() {
    while (Q7Node *node = Q7RemHead(&idle_free_)) Q7FreeMem(node, sizeof(Q7IdleMsg));
    app_.idle = nullptr;
    app_.idle_free = nullptr;
    Q7LockFree(app_.lock);
    app_.lock = nullptr;
    Q7OopsFree(&app_);
    J7SystemDependFree(&app_);
    J7SystemDependDelete(&app_);
    Q7RegisterClient(nullptr);
  }
  MiniApp(const MiniApp &) = delete;
  MiniApp &operator=(const MiniApp &) = delete;
  Q7App *get() { return &app_; }

 private:
  Q7App app_{};
  Q7List idle_{};
  Q7List idle_free_{};
};

// A test with a home folder of its own and, unless it says otherwise, an application.
class PlatformTest : public Test {
 protected:
  PlatformTest() { errors().clear(); }
  Q7App *app() { return mini_.get(); }
  std::string user_folder() const { return (home() / Q7GetUserFolder()).string(); }

 private:
  MiniApp mini_;
};

// A class whose instances hand every message of its own range (100000 and up) to a function of the test.
using Receiver = uint64_t (*)(Q7Object *, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *slot);
inline Receiver &receiver() {
  static Receiver function = nullptr;
  return function;
}
inline uint64_t probe_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *slot) {
  if (method >= 100000) return receiver() ? receiver()(obj, method, a, b, slot) : 0;
  return cl->superdispatch(cl->super, obj, method, a, b, slot);
}
inline Q7Object *make_probe(Receiver function) {
  receiver() = function;
  Q7ClassCreate(Q7C_ROOT, 100, probe_dispatch, 0, Q7CT_NAME, word("probe"), 0);
  auto *object = reinterpret_cast<Q7Object *>(Q7ObjectCreate(100, 0));
  Q7SendMsg(object, Q7M_ADDREF, 0);
  return object;
}

}  // namespace q7test

#endif
