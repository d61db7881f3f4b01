// ui_test: an application on the recording platform layer with all user-interface classes, collected reports, and two
// probe classes: widgets and plain objects that record what they receive.
#ifndef Q7_TESTS_UI_UI_TEST_H
#define Q7_TESTS_UI_UI_TEST_H

#include <functional>
#include <initializer_list>
#include <map>
#include <string>
#include <vector>

#include "app/q7app.h"
#include "core/q7objects.h"
#include "core/q7root.h"
#include "tests/support/fake_platform.h"
#include "tests/support/test_support.h"
#include "ui/q7gadget.h"
#include "ui/q7mxgad.h"
#include "ui/q7packer.h"
#include "ui/q7placer.h"
#include "ui/q7rowcol.h"
#include "ui/q7separg.h"
#include "ui/q7spgdgt.h"
#include "ui/q7widget.h"

namespace uitest {

enum { kProbeWidget = 2900, kProbeObject = 2901 };

struct Message {
  uint32_t method;
  uint64_t a, b, slot;
};

// What a probe records and answers.
struct Probe {
  std::vector<std::string> log;               // "41000", "9", "set 41501=3 41502=4"; gets are not recorded
  std::vector<Message> messages;              // everything but creation, disposal, set and get
  std::map<uint32_t, int32_t> attributes;     // answered on get in place of the widget's own
  std::map<uint32_t, uint64_t> answers;       // methods that are answered and not passed on
  std::function<void(const Message &)> hook;  // called for recorded messages
  std::function<void(uint32_t)> on_set;       // called with each tag that is set
};
Probe &probe(Q7Object *obj);

template <class T>
uint64_t num(T value) {
  if constexpr (std::is_pointer_v<T>) {
    return reinterpret_cast<uint64_t>(value);
  } else {
    return static_cast<uint64_t>(value);
  }
}

using Items = std::initializer_list<Q7TagItem>;
uint64_t message(Q7Object *obj, uint32_t method, uint64_t a = 0, uint64_t b = 0, uint64_t slot = 0);
uint64_t list_message(Q7Object *obj, uint32_t method, Items items);
Q7Object *make(uint32_t clid, Items items = {});
uint64_t set(Q7Object *obj, Items items);
uint64_t set_class(uint32_t clid, Items items);

template <class T = int32_t>
T get(Q7Object *obj, uint32_t tag) {
  uint64_t buffer = 0xAAAAAAAAAAAAAAAA;
  list_message(obj, Q7M_GET, {{tag, num(&buffer)}});
  T value;
  memcpy(&value, &buffer, sizeof value);
  return value;
}
inline Q7Object *object_of(Q7Object *obj, uint32_t tag) { return get<Q7Object *>(obj, tag); }

// A probe widget of a minimum size.
Q7Object *sized(int32_t width, int32_t height);

struct Rect {
  int32_t x, y, width, height;
  bool operator==(const Rect &) const = default;
};
std::ostream &operator<<(std::ostream &out, const Rect &r);
Rect rect(Q7Object *obj);
void set_rect(Q7Object *obj, Rect r);

class UiTest : public q7test::Test {
 protected:
  void SetUp() override;
  void TearDown() override;
  static std::vector<std::string> reports();  // "module: text"
  static void clear_reports();
  static uint32_t instances(uint32_t clid);  // of the class and all below it
};

}  // namespace uitest

#endif
