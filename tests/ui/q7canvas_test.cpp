// Tests of canvas, draw context and attribute objects.
#include "ui/q7canvas.h"

#include <cstring>
#include <thread>

#include "core/q7typeid.h"
#include "tests/ui/views_test.h"
#include "ui/q7attrib.h"
#include "ui/q7dc.h"

using namespace views;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

namespace {

class Canvas : public ViewsTest {
 protected:
  void SetUp() override {
    ViewsTest::SetUp();
    ASSERT_EQ(Q7RegisterCanvasClass(Q7ApplicationContext), 1);
  }
};

TEST_F(Canvas, IsRegisteredAsStated) {
  const Q7Class *cl = Q7ClassFind(264);
  EXPECT_STREQ(cl->header.name, "q7canvas");
  EXPECT_STREQ(cl->description, "Rendering Canvas");
  EXPECT_EQ(cl->super, Q7ClassFind(41));
  EXPECT_STREQ(Q7ClassFind(267)->header.name, "q7dc");
  EXPECT_EQ(Q7ClassFind(267)->super, Q7ClassFind(0));
}

TEST_F(Canvas, CreationIgnoresTheTags) {
  Q7Object *c = make(264, {{41501, 5}, {Q7A_NAME, num("name")}});
  EXPECT_EQ(get(c, 41501), 0);
  EXPECT_EQ(get<const char *>(c, Q7A_NAME), nullptr);
  Q7ObjectDelete(c);
}

TEST_F(Canvas, AttributesReadNeutralValues) {
  Q7Object *c = make(264);
  for (uint32_t tag = 264500; tag <= 264519; ++tag) {
    if (tag == 264510 || tag == 264518) continue;
    EXPECT_EQ(get(c, tag), 0) << tag;
  }
  EXPECT_THAT(reports(), IsEmpty());
  get(c, 264510);
  get(c, 264518);
  EXPECT_THAT(reports(), SizeIs(2));
  clear_reports();
  EXPECT_EQ(set(c, {{264506, 1}, {264510, 1}, {264511, 1}, {264512, 1}, {264513, 1}, {41501, 9}}), 0u);
  EXPECT_EQ(get(c, 41501), 9);
  EXPECT_THAT(reports(), IsEmpty());
  EXPECT_NE(set(c, {{264500, 1}}), 0u);
  Q7ObjectDelete(c);
}

TEST_F(Canvas, RenderersMethodsAnswerOne) {
  Q7Object *c = make(264);
  for (uint32_t method = 264006; method <= 264009; ++method) EXPECT_EQ(message(c, method), 1u);
  Q7ObjectDelete(c);
}

TEST_F(Canvas, EmptyRegistrySucceedsWithoutACall) {
  Q7Object *handler = make(kRecorder);
  EXPECT_EQ(class_message(264, 264005, num(handler), 3950001, 7), 1u);
  EXPECT_EQ(class_message(264, 264005, 0, 3950001, 7), 1u);
  EXPECT_THAT(record(handler).messages, IsEmpty());
  Q7ObjectDelete(handler);
}

TEST_F(Canvas, KindsAreEnumeratedInOrderUpToTheFirstZero) {
  Q7Object *handler = make(kRecorder), *c = make(264);
  EXPECT_EQ(class_message(264, 264004, 1ull << 40, 0, 1), 1u);
  EXPECT_EQ(message(c, 264004, 20, 0, num(-2)), 1u);
  EXPECT_EQ(class_message(264, 264004, 30, 0, 3), 1u);
  record(handler).answers[3950001] = 5;
  EXPECT_EQ(message(c, 264005, num(handler), 3950001, 77), 1u);
  EXPECT_THAT(record(handler).messages, ElementsAre(Message{3950001, 1ull << 40, 1, 77},
                                                    Message{3950001, 20, num(-2), 77}, Message{3950001, 30, 3, 77}));
  record(handler).messages.clear();
  EXPECT_EQ(class_message(264, 264005, num(handler), 3950002, 0), 0u);
  EXPECT_THAT(record(handler).messages, SizeIs(1));
  EXPECT_EQ(class_message(264, 264005, 0, 3950001, 0), 0u);
  Q7ObjectDelete(handler);
  Q7ObjectDelete(c);
}

TEST_F(Canvas, HandlerMayRegisterAndTearDown) {
  Q7Object *handler = make(kRecorder);
  class_message(264, 264004, 1, 0, 1);
  record(handler).answers[3950001] = 1;
  record(handler).hook = [](const Message &) { class_message(264, 264004, 2, 0, 2); };
  EXPECT_EQ(class_message(264, 264005, num(handler), 3950001, 0), 1u);
  EXPECT_THAT(record(handler).messages, SizeIs(1));
  record(handler).hook = [](const Message &) { class_message(264, 24); };
  EXPECT_EQ(class_message(264, 264005, num(handler), 3950001, 0), 0u);
  record(handler).messages.clear();
  EXPECT_EQ(class_message(264, 264005, num(handler), 3950001, 0), 1u);
  EXPECT_THAT(record(handler).messages, IsEmpty());
  Q7ObjectDelete(handler);
}

TEST_F(Canvas, KindWithoutMemoryFails) {
  q7test::Capture quiet(1);
  q7test::AllocGate gate;
  gate.fail(1);
  EXPECT_EQ(class_message(264, 264004, 1, 0, 1), 0u);
  gate.pass();
  EXPECT_EQ(class_message(264, 264005, 0, 1, 0), 1u);
}

TEST_F(Canvas, SecondRegistrationKeepsTheKinds) {
  class_message(264, 264004, 1, 0, 1);
  EXPECT_EQ(Q7RegisterCanvasClass(Q7ApplicationContext), 1);
  EXPECT_EQ(class_message(264, 264005, 0, 1, 0), 0u);  // there is one, and nobody takes it
}

// ---- Draw context ----

TEST_F(Canvas, DrawingFailsInTheBaseClass) {
  Q7Object *dc = make(267, {{267504, 1}, {999, 1}});
  for (uint32_t method = 267000; method <= 267114; ++method) {
    if (method == 267091) continue;
    const uint64_t expected = method == 267096 || method == 267097 ? 1 : 0;
    EXPECT_EQ(message(dc, method, 1, 2, 3), expected) << method;
  }
  EXPECT_EQ(message(dc, 267122), 0u);
  EXPECT_THAT(reports(), IsEmpty());
  message(dc, 267115);
  message(dc, 267121);
  message(dc, 267123);
  EXPECT_THAT(reports(), SizeIs(3));
  Q7ObjectDelete(dc);
}

TEST_F(Canvas, ContextAttributes) {
  Q7Object *dc = make(267);
  EXPECT_EQ(get<double>(dc, 267529), 1.0);
  for (uint32_t tag : {267502, 267503, 267504, 267505, 267506, 267520, 267521, 267522, 267523, 267524, 267529, 267533,
                       267534, 267536}) {
    EXPECT_EQ(set(dc, {{tag, 1}}), 0u) << tag;
  }
  EXPECT_THAT(reports(), IsEmpty());
  EXPECT_NE(set(dc, {{267501, 1}}), 0u);
  EXPECT_NE(set(dc, {{267507, 1}}), 0u);
  EXPECT_THAT(reports(), SizeIs(2));
  Q7ObjectDelete(dc);
}

TEST_F(Canvas, ContextRemembersItsTask) {
  Q7Object *dc = make(267);
  Q7Object *task = Q7FindTask(0);
  ASSERT_NE(task, nullptr);
  EXPECT_EQ(message(dc, 267091), num(task));
  // A thread without a task object duplicates it.
  Q7Object *copy = nullptr;
  std::thread([&] { copy = reinterpret_cast<Q7Object *>(message(dc, 19)); }).join();
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(message(copy, 267091), 0u);
  EXPECT_EQ(message(copy, 20, 0, 0, num(dc)), 1u);
  EXPECT_EQ(message(copy, 267091), 0u);
  EXPECT_EQ(message(dc, 267091), num(task));
  Q7ObjectDelete(copy);
  Q7ObjectDelete(dc);
}

// ---- Attribute objects ----

class Attribute : public ViewsTest {
 protected:
  void SetUp() override {
    ViewsTest::SetUp();
    ASSERT_EQ(Q7RegisterAttributeClass(Q7ApplicationContext), 1);
  }
  static Q7PublicAttribute row(const char *name, uint32_t tag) {
    Q7PublicAttribute r = {};
    r.name = name;
    r.tag = tag;
    r.type = Q7TID_INT;
    r.flags = 0x20;
    r.index = 4;
    r.reserved2[2] = 0xABCD;
    return r;
  }
  static Q7PublicAttribute description(Q7Object *obj) {
    Q7PublicAttribute r;
    list_message(obj, Q7M_GET, {{1682501, num(&r)}});
    return r;
  }
};

TEST_F(Attribute, IsRegisteredAsStated) {
  EXPECT_STREQ(Q7ClassFind(1682)->header.name, "q7attrib");
  EXPECT_EQ(Q7ClassFind(1682)->super, Q7ClassFind(0));
  EXPECT_STREQ(Q7ClassFind(1682)->organisation, "Karmonic");
}

TEST_F(Attribute, KeepsWhatItIsGiven) {
  char name[] = "Radius";
  const Q7PublicAttribute r = row(name, 899505);
  Q7Object *at = make(1682, {{1682500, 1ull << 50}, {1682501, num(&r)}, {1682502, num(-3)}, {1682599, 1}});
  ASSERT_NE(at, nullptr);
  EXPECT_THAT(reports(), IsEmpty());
  name[0] = 'X';
  EXPECT_EQ(get<uint64_t>(at, 1682500), 1ull << 50);
  EXPECT_EQ(get(at, 1682502), -3);
  const Q7PublicAttribute d = description(at);
  EXPECT_STREQ(d.name, "Radius");
  EXPECT_EQ(d.name, description(at).name);  // its own, no copy
  EXPECT_EQ(memcmp(reinterpret_cast<const char *>(&d) + 8, reinterpret_cast<const char *>(&r) + 8, 72), 0);
  Q7ObjectDelete(at);
}

TEST_F(Attribute, SettingAgainFreesTheFirstName) {
  const Q7PublicAttribute one = row("one", 1), two = row("two", 2);
  Q7Object *at = make(1682, {{1682501, num(&one)}});
  set(at, {{1682501, num(&two)}});
  EXPECT_STREQ(description(at).name, "two");
  const Q7PublicAttribute own = description(at);
  set(at, {{1682501, num(&own)}});  // with the name that it owns itself
  EXPECT_STREQ(description(at).name, "two");
  set(at, {{1682501, 0}});
  EXPECT_EQ(description(at).name, nullptr);
  EXPECT_EQ(description(at).tag, 0u);
  EXPECT_NE(set(at, {{1682503, 1}}), 0u);
  Q7ObjectDelete(at);
}

TEST_F(Attribute, CopyHasANameOfItsOwn) {
  const Q7PublicAttribute one = row("one", 1);
  Q7Object *at = make(1682, {{1682501, num(&one)}, {1682502, 8}});
  auto *copy = reinterpret_cast<Q7Object *>(message(at, 19));
  ASSERT_NE(copy, nullptr);
  EXPECT_NE(description(copy).name, description(at).name);
  Q7ObjectDelete(at);
  EXPECT_STREQ(description(copy).name, "one");
  EXPECT_EQ(get(copy, 1682502), 8);
  Q7ObjectDelete(copy);
}

TEST_F(Attribute, WithoutMemoryTheOldDescriptionStays) {
  const Q7PublicAttribute one = row("one", 1), two = row("two", 2);
  Q7Object *at = make(1682, {{1682501, num(&one)}});
  q7test::Capture quiet(1);
  q7test::AllocGate gate;
  gate.fail(1);
  set(at, {{1682501, num(&two)}});
  EXPECT_STREQ(description(at).name, "one");
  EXPECT_EQ(description(at).tag, 1u);
  for (int n = 1; n <= 2; ++n) {
    gate.fail(n);
    EXPECT_EQ(message(at, 19), 0u);
  }
  gate.pass();
  Q7ObjectDelete(at);
}

}  // namespace
