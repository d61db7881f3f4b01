// ui_test: see ui_test.h.
#include "tests/ui/ui_test.h"

#include <cstring>
#include <ostream>

namespace uitest {

namespace {

std::vector<std::string> collected;

int collect(const char *module, int, const char *text, ...) {
  collected.push_back(std::string(module) + ": " + text);
  return 0;
}

struct Data {
  Probe *probe;
};
Data &data(const Q7Class *cl, Q7Object *obj) {
  return *reinterpret_cast<Data *>(reinterpret_cast<char *>(obj) + cl->ioffset);
}

uint64_t dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  const auto inherit = [&](Q7TagItem *list) { return cl->superdispatch(cl->super, obj, method, a, b, list); };
  if (method == Q7M_NEW) {
    // Attributes that arrive during creation meet no probe yet.
    auto *made = reinterpret_cast<Q7Object *>(inherit(tags));
    if (made) data(cl, made).probe = new Probe;
    return num(made);
  }
  if (&obj->cl->header == obj) return inherit(tags);
  Probe *p = data(cl, obj).probe;
  if (!p) return inherit(tags);
  if (method == Q7M_DISPOSE) {
    data(cl, obj).probe = nullptr;
    delete p;
    return inherit(tags);
  }
  if (method == Q7M_GET) {
    Q7TagItem *state[2] = {tags, nullptr};
    uint64_t unknown = 0;
    while (Q7TagItem *item = Q7TagNext(state)) {
      auto found = p->attributes.find(item->tag);
      if (found != p->attributes.end()) {
        if (item->data) std::memcpy(reinterpret_cast<void *>(item->data), &found->second, sizeof(int32_t));
        continue;
      }
      Q7TagItem single[2] = {*item, {0, 0}};
      if (inherit(single)) unknown = num(item);
    }
    return unknown;
  }
  if (method == Q7M_SET) {
    std::string line = "set";
    Q7TagItem *state[2] = {tags, nullptr};
    std::vector<uint32_t> set_tags;
    while (Q7TagItem *item = Q7TagNext(state)) {
      line += " " + std::to_string(item->tag) + "=" + std::to_string(static_cast<int64_t>(item->data));
      set_tags.push_back(item->tag);
    }
    p->log.push_back(line);
    const auto on_set = p->on_set;
    const uint64_t answer = inherit(tags);
    if (on_set) {
      for (uint32_t tag : set_tags) on_set(tag);
    }
    return answer;
  }
  const Message m = {method, a, b, num(tags)};
  p->log.push_back(std::to_string(method));
  p->messages.push_back(m);
  auto answer = p->answers.find(method);
  const bool answered = answer != p->answers.end();
  const uint64_t value = answered ? answer->second : 0;
  if (const auto hook = p->hook) hook(m);
  if (answered) return value;
  return method / 1000 == kProbeWidget || method / 1000 == kProbeObject ? 0 : inherit(tags);
}

}  // namespace

Probe &probe(Q7Object *obj) {
  Q7Class *cl = obj->cl;
  while (cl->header.clid != kProbeWidget && cl->header.clid != kProbeObject) cl = cl->super;
  return *data(cl, obj).probe;
}

uint64_t message(Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, uint64_t slot) {
  return obj->dispatch(obj->cl, obj, method, a, b, reinterpret_cast<Q7TagItem *>(slot));
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
uint64_t set_class(uint32_t clid, Items items) {
  return list_message(&Q7ClassFind(clid)->header, Q7M_SETCLASSATTRS, items);
}

Q7Object *sized(int32_t width, int32_t height) {
  return make(kProbeWidget, {{Q7A_WIDGET_MIN_WIDTH, num(width)}, {Q7A_WIDGET_MIN_HEIGHT, num(height)}});
}

std::ostream &operator<<(std::ostream &out, const Rect &r) {
  return out << r.x << "," << r.y << " " << r.width << "x" << r.height;
}

Rect rect(Q7Object *obj) {
  return {get(obj, Q7A_WIDGET_X), get(obj, Q7A_WIDGET_Y), get(obj, Q7A_WIDGET_WIDTH), get(obj, Q7A_WIDGET_HEIGHT)};
}

void set_rect(Q7Object *obj, Rect r) {
  set(obj, {{Q7A_WIDGET_X, num(r.x)},
            {Q7A_WIDGET_Y, num(r.y)},
            {Q7A_WIDGET_WIDTH, num(r.width)},
            {Q7A_WIDGET_HEIGHT, num(r.height)}});
}

void UiTest::SetUp() {
  fake::reset();
  collected.clear();
  q7test::Capture quiet(1);
  Q7App *app = Q7AppCreate(nullptr, nullptr, Q7APP_ErrorHandler, num(&collect), 0);
  ASSERT_NE(app, nullptr);
  ASSERT_TRUE(Q7RegisterWidgetClass(app));
  ASSERT_TRUE(Q7RegisterRowColClass(app));
  ASSERT_TRUE(Q7RegisterPlacerClass(app));
  ASSERT_TRUE(Q7RegisterSPGadgetClass(app));
  ASSERT_TRUE(Q7RegisterMxIltGadgetClass(app));
  ASSERT_TRUE(Q7RegisterSlctblClass(app));
  ASSERT_TRUE(Q7RegisterSeparatorGadgetClass(app));
  ASSERT_TRUE(Q7ClassCreate(Q7C_WIDGET, kProbeWidget, dispatch, sizeof(Data), Q7CT_NAME, "probewidget", 0));
  ASSERT_TRUE(Q7ClassCreate(Q7C_ROOT, kProbeObject, dispatch, sizeof(Data), Q7CT_NAME, "probe", 0));
}

void UiTest::TearDown() {
  q7test::Capture quiet(1);
  Q7AppDelete(Q7ApplicationContext);
}

std::vector<std::string> UiTest::reports() { return collected; }
void UiTest::clear_reports() { collected.clear(); }

uint32_t UiTest::instances(uint32_t clid) {
  uint32_t count = 0;
  Q7GetClassAttrs(clid, Q7CT_NSUBINSTANCES, num(&count), 0);
  return count;
}

}  // namespace uitest
