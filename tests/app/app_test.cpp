// app_test: see app_test.h.
#include "tests/app/app_test.h"

#include <atomic>
#include <cstdarg>
#include <ostream>

#include "core/q7root.h"

namespace apptest {

namespace {

std::mutex report_mutex;
std::vector<std::string> collected;
std::atomic<int64_t> probes;

Probe &data(Q7Class *cl, Q7Object *obj) {
  return *reinterpret_cast<Probe *>(reinterpret_cast<char *>(obj) + cl->ioffset);
}

uint64_t dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  const auto inherit = [&] { return cl->superdispatch(cl->super, obj, method, a, b, tags); };
  if (method == Q7M_NEW) {
    const uint64_t made = inherit();
    if (made) {
      Probe &p = data(cl, reinterpret_cast<Q7Object *>(made));
      p.mutex = new std::mutex;
      p.messages = new std::vector<Message>;
      ++probes;
    }
    return made;
  }
  if (obj == &cl->header) return inherit();
  Probe &p = data(cl, obj);
  switch (method) {
    case Q7M_ADDREF:
    case Q7M_RELEASE: {
      {
        std::lock_guard lock(*p.mutex);
        ++(method == Q7M_ADDREF ? p.references : p.releases);
      }
      return inherit();
    }
    case Q7M_DISPOSE:
      delete p.mutex;
      delete p.messages;
      --probes;
      return inherit();
    default: break;
  }
  if (method / 1000 != kProbeClass) return inherit();
  const Message message = {method, a, b, num(tags)};
  if (p.hook) return p.hook(obj, message);
  std::lock_guard lock(*p.mutex);
  p.messages->push_back(message);
  return p.answer;
}

}  // namespace

int collect(const char *module, int line, const char *format, ...) {
  std::lock_guard lock(report_mutex);
  collected.push_back(std::string(module) + ":" + std::to_string(line) + ": " + format);
  return 0;
}

std::vector<std::string> reports() {
  std::lock_guard lock(report_mutex);
  return collected;
}

AppTest::AppTest() {
  fake::reset();
  collected.clear();
}

AppTest::~AppTest() { destroy(); }

Q7App *AppTest::create(std::vector<Q7TagItem> tags) {
  tags.insert(tags.begin(), {Q7APP_ErrorHandler, reinterpret_cast<uint64_t>(&collect)});
  tags.push_back({Q7TAG_END, 0});
  int32_t count = 0;
  app = Q7AppCreateA(&count, nullptr, tags.data());
  return app;
}

void AppTest::destroy() {
  if (app) Q7AppDelete(app);
  app = nullptr;
}

void PrintTo(const Message &m, std::ostream *out) {
  *out << "{" << m.method << ", " << m.a << ", " << m.b << ", " << m.slot << "}";
}

bool register_probe(Q7App *app) {
  return Q7RegisterRootClass(app) &&
         Q7ClassCreate(Q7C_ROOT, kProbeClass, dispatch, sizeof(Probe), Q7CT_NAME, "probe", Q7TAG_END);
}

Q7Object *new_probe() {
  Q7Class *cl = Q7ClassFind(kProbeClass);
  auto *object = reinterpret_cast<Q7Object *>(dispatch(cl, &cl->header, Q7M_NEW, 0, 0, nullptr));
  dispatch(cl, object, Q7M_ADDREF, 0, 0, nullptr);
  probe(object).references = 0;
  probe(object).answer = 1;
  return object;
}

Probe &probe(Q7Object *object) { return data(Q7ClassFind(kProbeClass), object); }

std::vector<Message> messages(Q7Object *object) {
  std::lock_guard lock(*probe(object).mutex);
  return *probe(object).messages;
}

int64_t live_probes() { return probes; }

void release(Q7Object *object) { object->dispatch(object->cl, object, Q7M_RELEASE, 0, 0, nullptr); }

}  // namespace apptest
