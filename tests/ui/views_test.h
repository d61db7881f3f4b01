// views_test: an application on the recording platform layer, collected reports, and objects that record what they
// receive: plain ones, native gadgets (26 and 80), windows (20) and draw contexts.
#ifndef Q7_TESTS_UI_VIEWS_TEST_H
#define Q7_TESTS_UI_VIEWS_TEST_H

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

namespace views {

enum { kRecorder = 3950, kFont = 3951, kDrawContext = 3952 };

struct Message {
  uint32_t method;
  uint64_t a, b, slot;
  bool operator==(const Message &) const = default;
};
std::ostream &operator<<(std::ostream &out, const Message &m);

// What a recording object keeps and answers.
struct Record {
  std::vector<Message> messages;              // all but creation, disposal, set and get
  std::vector<Q7TagItem> sets;                // items that were set after creation
  std::map<uint32_t, uint64_t> values;        // attributes of the class's own, kept from creation on
  std::map<uint32_t, uint64_t> answers;       // methods with an answer of their own; others go on
  std::function<void(const Message &)> hook;  // called for each recorded message
  std::function<void(const Q7TagItem &)> on_set;
  std::function<void()> on_dispose;
  // Of one method only.
  std::vector<Message> of(uint32_t method) const;
};
Record &record(Q7Object *obj);
// Objects of the recording classes that exist.
int live();

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
uint64_t class_message(uint32_t clid, uint32_t method, uint64_t a = 0, uint64_t b = 0, uint64_t slot = 0);
uint64_t list_message(Q7Object *obj, uint32_t method, Items items);
Q7Object *make(uint32_t clid, Items items = {});
uint64_t set(Q7Object *obj, Items items);

template <class T = int32_t>
T get(Q7Object *obj, uint32_t tag) {
  uint64_t buffer = 0xAAAAAAAAAAAAAAAA;
  list_message(obj, Q7M_GET, {{tag, num(&buffer)}});
  T value;
  memcpy(&value, &buffer, sizeof value);
  return value;
}

class ViewsTest : public q7test::Test {
 protected:
  void SetUp() override;
  void TearDown() override;
  static std::vector<std::string> reports();  // "module: text"
  static void clear_reports();
};

}  // namespace views

#endif
