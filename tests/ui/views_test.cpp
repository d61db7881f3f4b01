// views_test: see views_test.h.
#include "tests/ui/views_test.h"

#include <cstring>
#include <ostream>

#include "ui/q7dc.h"
#include "ui/q7gadget.h"

namespace views {

namespace {

std::vector<std::string> collected;
int live_records;

int collect(const char *module, int, const char *text, ...) {
  collected.push_back(std::string(module) + ": " + text);
  return 0;
}

struct Data {
  Record *record;
};
Data &data(const Q7Class *cl, Q7Object *obj) {
  return *reinterpret_cast<Data *>(reinterpret_cast<char *>(obj) + cl->ioffset);
}

bool recording(uint32_t clid) {
  return clid == kRecorder || clid == kFont || clid == kDrawContext || clid == 20 || clid == 26 || clid == 80;
}

// Attributes that the recording classes keep themselves: those of windows and fonts, and of native gadgets.
bool own(uint32_t tag) {
  return (tag >= 20500 && tag <= 20549) || tag == 41513 || (tag >= 11500 && tag <= 11515) || tag == 21500 ||
         tag == 21502 || (tag >= 21506 && tag <= 21509) || tag == 21513;
}

bool wide(uint32_t tag) { return tag == 20523 || tag == 41513 || tag == 21500 || tag == 21507 || tag == 21513; }

template <class Take>
uint64_t walk(Q7Class *cl, Q7Object *obj, uint32_t method, Q7TagItem *tags, Take take) {
  Q7TagItem *state[2] = {tags, nullptr};
  uint64_t unknown = 0;
  while (Q7TagItem *item = Q7TagNext(state)) {
    if (take(*item)) continue;
    Q7TagItem single[2] = {*item, {0, 0}};
    if (cl->superdispatch(cl->super, obj, method, 0, 0, single)) unknown = num(item);
  }
  return unknown;
}

uint64_t dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  const auto inherit = [&] { return cl->superdispatch(cl->super, obj, method, a, b, tags); };
  if (method == Q7M_NEW) {
    auto *made = reinterpret_cast<Q7Object *>(inherit());
    if (!made) return 0;
    auto *r = data(cl, made).record = new Record;
    ++live_records;
    Q7TagItem *state[2] = {tags, nullptr};
    while (Q7TagItem *item = Q7TagNext(state)) {
      if (own(item->tag)) r->values[item->tag] = item->data;
    }
    return num(made);
  }
  if (&obj->cl->header == obj) return inherit();
  Record *r = data(cl, obj).record;
  if (!r) return inherit();
  if (method == Q7M_DISPOSE) {
    if (const auto on_dispose = r->on_dispose) on_dispose();
    data(cl, obj).record = nullptr;
    delete r;
    --live_records;
    return inherit();
  }
  if (method == Q7M_GET) {
    return walk(cl, obj, method, tags, [&](const Q7TagItem &item) {
      const auto found = r->values.find(item.tag);
      if (found == r->values.end() && !own(item.tag)) return false;
      const uint64_t value = found == r->values.end() ? 0 : found->second;
      std::memcpy(reinterpret_cast<void *>(item.data), &value, wide(item.tag) ? 8 : 4);
      return true;
    });
  }
  if (method == Q7M_SET) {
    return walk(cl, obj, method, tags, [&](const Q7TagItem &item) {
      r->sets.push_back(item);
      if (own(item.tag)) r->values[item.tag] = item.data;
      if (const auto on_set = r->on_set) on_set(item);
      return own(item.tag);
    });
  }
  const Message m = {method, a, b, num(tags)};
  r->messages.push_back(m);
  const auto answer = r->answers.find(method);
  const bool answered = answer != r->answers.end();
  const uint64_t value = answered ? answer->second : 0;
  if (const auto hook = r->hook) hook(m);
  if (answered) return value;
  return method / 1000 == kRecorder ? 0 : inherit();
}

}  // namespace

std::ostream &operator<<(std::ostream &out, const Message &m) {
  return out << m.method << "(" << static_cast<int64_t>(m.a) << ", " << static_cast<int64_t>(m.b) << ", "
             << static_cast<int64_t>(m.slot) << ")";
}

std::vector<Message> Record::of(uint32_t method) const {
  std::vector<Message> result;
  for (const Message &m : messages) {
    if (m.method == method) result.push_back(m);
  }
  return result;
}

Record &record(Q7Object *obj) {
  Q7Class *cl = obj->cl;
  while (!recording(cl->header.clid)) cl = cl->super;
  return *data(cl, obj).record;
}

int live() { return live_records; }

uint64_t message(Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, uint64_t slot) {
  return obj->dispatch(obj->cl, obj, method, a, b, reinterpret_cast<Q7TagItem *>(slot));
}
uint64_t class_message(uint32_t clid, uint32_t method, uint64_t a, uint64_t b, uint64_t slot) {
  return message(&Q7ClassFind(clid)->header, method, a, b, slot);
}
uint64_t list_message(Q7Object *obj, uint32_t method, Items items) {
  std::vector<Q7TagItem> list(items);
  list.push_back({0, 0});
  return obj->dispatch(obj->cl, obj, method, 0, 0, list.data());
}
Q7Object *make(uint32_t clid, Items items) {
  return reinterpret_cast<Q7Object *>(list_message(&Q7ClassFind(clid)->header, Q7M_NEW, items));
}
uint64_t set(Q7Object *obj, Items items) { return list_message(obj, Q7M_SET, items); }

void ViewsTest::SetUp() {
  fake::reset();
  collected.clear();
  q7test::Capture quiet(1);
  Q7App *app = Q7AppCreate(nullptr, nullptr, Q7APP_ErrorHandler, num(&collect), 0);
  ASSERT_NE(app, nullptr);
  ASSERT_TRUE(Q7RegisterGadgetClass(app));
  ASSERT_TRUE(Q7RegisterDrawContextClass(app));
  ASSERT_TRUE(Q7ClassCreate(Q7C_WIDGET, 20, dispatch, sizeof(Data), Q7CT_NAME, "window", 0));
  ASSERT_TRUE(Q7ClassCreate(Q7C_GADGET, 26, dispatch, sizeof(Data), Q7CT_NAME, "native", 0));
  ASSERT_TRUE(Q7ClassCreate(Q7C_GADGET, 80, dispatch, sizeof(Data), Q7CT_NAME, "native2", 0));
  ASSERT_TRUE(Q7ClassCreate(Q7C_ROOT, kRecorder, dispatch, sizeof(Data), Q7CT_NAME, "recorder", 0));
  ASSERT_TRUE(Q7ClassCreate(Q7C_ROOT, kFont, dispatch, sizeof(Data), Q7CT_NAME, "font", 0));
  ASSERT_TRUE(Q7ClassCreate(Q7C_DRAW_CONTEXT, kDrawContext, dispatch, sizeof(Data), Q7CT_NAME, "recorderdc", 0));
}

void ViewsTest::TearDown() {
  q7test::Capture quiet(1);
  Q7AppDelete(Q7ApplicationContext);
}

std::vector<std::string> ViewsTest::reports() { return collected; }
void ViewsTest::clear_reports() { collected.clear(); }

}  // namespace views
