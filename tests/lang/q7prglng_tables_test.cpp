// The tables of the process: registered languages and mappers.
#include "tests/lang/lang_test.h"

namespace {

using namespace langtest;

class Languages : public langtest::Test {
 protected:
  Q7Object *record() { return &Q7ClassFind(Q7C_PRGLNG)->header; }
  void fill(int count) {
    for (int i = 0; i < count; ++i) ASSERT_EQ(Q7RegisterLanguage(nullptr, uint32_t(1000 + i), "name", "ext"), 1);
  }
  // What an enumeration hands out.
  std::vector<Message> all(uint64_t argument = 0) {
    Q7Object *handler = make(kRecorderClass);
    messages.clear();
    EXPECT_EQ(Q7EnumLanguages(nullptr, handler, kShownMethod + 5, argument), 1);
    send(handler, Q7M_DISPOSE);
    return messages;
  }
};

TEST_F(Languages, TheClassIsRegisteredAsStated) {
  Q7Class *cl = Q7ClassFind(260);
  ASSERT_TRUE(cl);
  EXPECT_EQ(cl->super, Q7ClassFind(Q7C_ROOT));
  EXPECT_STREQ(cl->header.name, "q7prglng");
  EXPECT_STREQ(cl->description, "Programming Language");
  EXPECT_STREQ(cl->organisation, "Karmonic");
  EXPECT_STREQ(cl->module, "q7common");
  EXPECT_EQ(Q7RegisterPrgLngClass(app()), 1);
  EXPECT_EQ(Q7ClassFind(260), cl);
}

TEST_F(Languages, AreHandedOutInOrderWithNameIdAndArgument) {
  const char *const names[] = {"Lua", "Tcl"};
  EXPECT_EQ(Q7RegisterLanguage(nullptr, 900, names[0], "lua"), 1);
  EXPECT_EQ(send(record(), Q7M_PRGLNG_REGISTER, 800, arg(names[1]), slot("tcl")), 1u);
  recorder_answer = 0;  // answers are not looked at: the second is still handed out
  const std::vector<Message> got = all(0x123456789ABCull);
  ASSERT_EQ(got.size(), 2u);
  EXPECT_EQ(got[0].a, arg(names[0]));  // the text itself, not a copy
  EXPECT_EQ(got[0].b, 900u);
  EXPECT_EQ(got[0].slot, 0x123456789ABCull);
  EXPECT_EQ(got[1].a, arg(names[1]));
  EXPECT_EQ(got[1].b, 800u);
}

TEST_F(Languages, EnumerateThroughTheMethod) {
  fill(1);
  Q7Object *handler = make(kRecorderClass);
  EXPECT_EQ(send(record(), Q7M_PRGLNG_ENUM, arg(handler), kShownMethod + 9, slot(77)), 1u);
  ASSERT_EQ(messages.size(), 1u);
  EXPECT_EQ(messages[0].method, kShownMethod + 9);
  EXPECT_EQ(messages[0].slot, 77u);
  EXPECT_EQ(send(record(), Q7M_PRGLNG_ENUM, 0, 1, nullptr), 1u);  // nobody listens
  send(handler, Q7M_DISPOSE);
}

TEST_F(Languages, NoneIsAnEmptyEnumeration) { EXPECT_TRUE(all().empty()); }

TEST_F(Languages, TheSameClassTwiceKeepsTheFirstEntry) {
  EXPECT_EQ(Q7RegisterLanguage(nullptr, 900, "Lua", "lua"), 1);
  EXPECT_EQ(Q7RegisterLanguage(nullptr, 900, "Other", "oth"), 1);
  const std::vector<Message> got = all();
  ASSERT_EQ(got.size(), 1u);
  EXPECT_STREQ(reinterpret_cast<const char *>(got[0].a), "Lua");
  EXPECT_EQ(Q7FindLanguage(nullptr, "oth"), 0u);
}

TEST_F(Languages, NineteenFitTheTwentiethIsReported) {
  fill(19);
  EXPECT_TRUE(errors().empty());
  EXPECT_EQ(Q7RegisterLanguage(nullptr, 2000, "late", "late"), 0);
  EXPECT_EQ(errors(), std::vector<std::string>{"q7prglng: Cannot Install Extension: 2000"});
  EXPECT_EQ(all().size(), 19u);
  EXPECT_EQ(Q7FindLanguage(nullptr, "late"), 0u);
  EXPECT_EQ(send(record(), Q7M_PRGLNG_REGISTER, 2001, arg("l"), slot("l")), 0u);
}

TEST_F(Languages, AKnownClassSucceedsInAFullTable) {
  fill(19);
  EXPECT_EQ(Q7RegisterLanguage(nullptr, 1018, "x", "x"), 1);
  EXPECT_TRUE(errors().empty());
}

TEST_F(Languages, ExtensionsMatchWithoutRegardToCase) {
  Q7RegisterLanguage(nullptr, 900, "Python", "PY");
  Q7RegisterLanguage(nullptr, 901, "Second", "py");
  EXPECT_EQ(Q7FindLanguage(nullptr, "py"), 900u);
  EXPECT_EQ(send(record(), Q7M_PRGLNG_FIND, 0, 0, slot("Py")), 900u);
  EXPECT_EQ(Q7FindLanguage(nullptr, "p"), 0u);
  EXPECT_EQ(Q7FindLanguage(nullptr, "pyx"), 0u);
  EXPECT_EQ(Q7FindLanguage(nullptr, ""), 0u);
  EXPECT_EQ(Q7FindLanguage(nullptr, nullptr), 0u);
}

TEST_F(Languages, ExtensionsAreComparedOver256Characters) {
  const std::string known = std::string(256, 'x') + "a";
  Q7RegisterLanguage(nullptr, 900, "Long", known.c_str());
  EXPECT_EQ(Q7FindLanguage(nullptr, (std::string(256, 'X') + "b").c_str()), 900u);
  EXPECT_EQ(Q7FindLanguage(nullptr, (std::string(255, 'x') + "b").c_str()), 0u);
}

TEST_F(Languages, MissingTextsAreHarmless) {
  EXPECT_EQ(Q7RegisterLanguage(nullptr, 900, nullptr, nullptr), 1);
  EXPECT_EQ(Q7FindLanguage(nullptr, "lua"), 0u);
  ASSERT_EQ(all().size(), 1u);
  EXPECT_EQ(messages[0].a, 0u);
}

TEST_F(Languages, TheBaseClassCannotLoad) {
  EXPECT_EQ(send(record(), Q7M_PRGLNG_LOAD, 0, 0, slot("file.lua")), 0u);
  EXPECT_EQ(errors(), std::vector<std::string>{"q7prglng: Load not implemented"});
}

// ---- Mappers

struct Call {
  int mapper;
  uint64_t id;
  int32_t kind;
  bool operator==(const Call &) const = default;
};
std::vector<Call> mapper_calls;
int answering;  // which mapper answers
char answer[8];

template <int N>
void *mapper(uint64_t id, int32_t kind) {
  mapper_calls.push_back({N, id, kind});
  return answering == N ? answer + N : nullptr;
}
void *adding(uint64_t, int32_t) {
  for (uint32_t i = 0; i < 40; ++i) Q7AddLanguageMapper(5000 + i, mapper<4>);
  return nullptr;
}

class Mappers : public Languages {
 protected:
  Mappers() {
    mapper_calls.clear();
    answering = 0;
  }
  uint64_t map(uint64_t id, int32_t kind) { return send(record(), Q7M_PRGLNG_MAP, id, 0, slot(kind)); }
  using Calls = std::vector<Call>;
};

TEST_F(Mappers, NoneAnswerNothing) {
  EXPECT_EQ(map(41, 0), 0u);
  EXPECT_EQ(map(uint64_t(-1), 0), 0u);
}

TEST_F(Mappers, AreAskedForTheirOwnClassInOrder) {
  EXPECT_EQ(Q7AddLanguageMapper(41, mapper<1>), 1);
  EXPECT_EQ(Q7AddLanguageMapper(42, mapper<2>), 1);
  EXPECT_EQ(Q7AddLanguageMapper(41, mapper<3>), 1);
  EXPECT_EQ(map(41, 0), 0u);
  EXPECT_EQ(mapper_calls, (Calls{{1, 41, 0}, {3, 41, 0}}));
}

TEST_F(Mappers, TheFirstAnswerCounts) {
  Q7AddLanguageMapper(41, mapper<1>);
  Q7AddLanguageMapper(41, mapper<2>);
  Q7AddLanguageMapper(41, mapper<3>);
  answering = 2;
  EXPECT_EQ(map(41, 7), arg(answer + 2));
  EXPECT_EQ(mapper_calls, (Calls{{1, 41, 7}, {2, 41, 7}}));
}

TEST_F(Mappers, AMethodIsAskedOfItsClass) {
  Q7AddLanguageMapper(41, mapper<1>);
  map(41999, 2);
  EXPECT_EQ(mapper_calls, (Calls{{1, 41999, 2}}));
  map(42000, 2);
  EXPECT_EQ(mapper_calls.size(), 1u);
}

TEST_F(Mappers, AnAttributeIsAskedOfItsClass) {
  Q7AddLanguageMapper(41, mapper<1>);
  map(41500, 3);
  map(42499, 3);
  EXPECT_EQ(mapper_calls, (Calls{{1, 41500, 3}, {1, 42499, 3}}));
  map(41499, 3);
  map(42500, 3);
  EXPECT_EQ(mapper_calls.size(), 2u);
}

TEST_F(Mappers, AttributesOfTheRootClassBelongToClass0) {
  Q7AddLanguageMapper(0, mapper<1>);
  map(513, 3);
  EXPECT_EQ(mapper_calls, (Calls{{1, 513, 3}}));
  map(499, 3);  // below every attribute: nobody's
  EXPECT_EQ(mapper_calls.size(), 1u);
}

TEST_F(Mappers, MinusOneAsksAll) {
  Q7AddLanguageMapper(41, mapper<1>);
  Q7AddLanguageMapper(7, mapper<2>);
  EXPECT_EQ(map(uint64_t(-1), 0), 0u);
  EXPECT_EQ(mapper_calls, (Calls{{1, uint64_t(-1), 0}, {2, uint64_t(-1), 0}}));
  mapper_calls.clear();
  map(uint64_t(-1), 2);  // as a method it belongs to a class of its own
  EXPECT_TRUE(mapper_calls.empty());
}

TEST_F(Mappers, TheSameTwiceIsThereOnce) {
  EXPECT_EQ(Q7AddLanguageMapper(41, mapper<1>), 1);
  EXPECT_EQ(Q7AddLanguageMapper(41, mapper<1>), 1);
  map(41, 0);
  EXPECT_EQ(mapper_calls.size(), 1u);
  EXPECT_EQ(Q7AddLanguageMapper(41, nullptr), 0);
}

TEST_F(Mappers, CanBeRemoved) {
  Q7AddLanguageMapper(41, mapper<1>);
  Q7AddLanguageMapper(41, mapper<2>);
  EXPECT_EQ(Q7RemoveLanguageMapper(41, mapper<1>), 1);
  EXPECT_EQ(Q7RemoveLanguageMapper(41, mapper<1>), 0);
  EXPECT_EQ(Q7RemoveLanguageMapper(42, mapper<2>), 0);
  map(41, 0);
  EXPECT_EQ(mapper_calls, (Calls{{2, 41, 0}}));
}

TEST_F(Mappers, MayAddOthersWhileTheyAreAsked) {
  Q7AddLanguageMapper(41, adding);
  Q7AddLanguageMapper(41, mapper<1>);
  EXPECT_EQ(map(uint64_t(-1), 0), 0u);
  EXPECT_EQ(mapper_calls.size(), 41u);  // the 40 that were added are asked too
}

TEST_F(Mappers, WithoutMemoryTheTableStaysAsItIs) {
  for (uint32_t i = 0; i < 20; ++i) ASSERT_EQ(Q7AddLanguageMapper(i, mapper<0>), 1);
  {
    q7test::AllocGate gate;
    gate.fail(1);
    EXPECT_EQ(Q7AddLanguageMapper(99, mapper<1>), 0);
    EXPECT_EQ(gate.refused(), 1);
  }
  map(19, 0);
  EXPECT_EQ(mapper_calls.size(), 1u);
  EXPECT_EQ(Q7AddLanguageMapper(99, mapper<1>), 1);
  map(99, 0);
  EXPECT_EQ(mapper_calls.size(), 2u);
}

// A language's class passes the teardown on; the tables go with class 260 itself.
uint64_t pass_on(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  return inherit(cl, obj, method, a, b, tags);
}

TEST_F(Mappers, TeardownOfTheClassEmptiesTheTables) {
  Q7Class *derived = Q7ClassCreate(Q7C_PRGLNG, 4200, pass_on, 0, Q7CT_NAME, arg("lang"), 0);
  ASSERT_TRUE(derived);
  Q7AddLanguageMapper(41, mapper<1>);
  Q7RegisterLanguage(nullptr, 4200, "Lang", "lng");
  send(&derived->header, Q7M_CLASS_FREE);
  map(41, 0);
  EXPECT_EQ(mapper_calls.size(), 1u);
  EXPECT_EQ(Q7FindLanguage(nullptr, "lng"), 4200u);
  send(record(), Q7M_CLASS_FREE);
  map(41, 0);
  EXPECT_EQ(mapper_calls.size(), 1u);
  EXPECT_EQ(Q7FindLanguage(nullptr, "lng"), 0u);
  EXPECT_TRUE(all().empty());
}

}  // namespace
