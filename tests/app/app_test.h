// app_test: what the tests of this room share: a fixture that owns an application on the recording platform layer,
// collects the reports, and a class whose objects record what they are sent.
#ifndef Q7_TESTS_APP_APP_TEST_H
#define Q7_TESTS_APP_APP_TEST_H

#include <mutex>
#include <string>
#include <tuple>
#include <vector>

#include "app/q7app.h"
#include "core/q7oops.h"
#include "tests/support/fake_platform.h"
#include "tests/support/test_support.h"

namespace apptest {

// Error handler that collects the reports as "module:line: text".
int collect(const char *module, int line, const char *format, ...);
std::vector<std::string> reports();

class AppTest : public q7test::Test {
 protected:
  AppTest();
  ~AppTest() override;
  // Creates the application with the collecting error handler and the given tags.
  Q7App *create(std::vector<Q7TagItem> tags = {});
  void destroy();

  Q7App *app = nullptr;
};

// A message as a probe received it.
struct Message {
  uint32_t method;
  uint64_t a, b, slot;
  bool operator==(const Message &) const = default;
};
void PrintTo(const Message &m, std::ostream *out);

// The probe class: its objects record every message of its own range and answer `answer`; methods 9, 10 and 1 are
// counted and passed on. All from any thread.
enum : uint32_t { kProbeClass = 4000, kProbeMethod = 4000000 };
struct Probe {
  std::mutex *mutex;
  std::vector<Message> *messages;
  int64_t references, releases;
  uint64_t answer;
  uint64_t (*hook)(Q7Object *probe, const Message &message);  // called instead of recording, if set
  void *data;
};
bool register_probe(Q7App *app);
Q7Object *new_probe();  // with one reference, the test's
Probe &probe(Q7Object *object);
std::vector<Message> messages(Q7Object *object);
int64_t live_probes();
void release(Q7Object *object);

inline uint64_t num(const void *pointer) { return reinterpret_cast<uint64_t>(pointer); }

}  // namespace apptest

#endif
