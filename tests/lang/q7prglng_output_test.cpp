// The shell: listings, descriptions and output.
#include "tests/lang/shell_test.h"

namespace {

using namespace langtest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

// ---- Listings

TEST_F(Shell, ListsTheRowsOfTheWholeChain) {
  EXPECT_EQ(listing("scene"),
            "int Count\n"
            "float Size\n"
            "word Word\n"
            "byte Byte\n"
            "float Paint\n"
            "float Color\n"
            "vect Place\n"
            "vect Point\n"
            "string Text\n"
            "object Light\n"
            "object list Members\n"
            "object Old\n"
            "object Nothing\n"
            "int array Array\n"
            "int array Second\n"
            "int indexed array Grid\n"
            "string list array Everything (read only) \n"
            "??? Type5\n"
            "byte Type7\n"
            "byte Type9\n"
            "word Type13\n"
            "word Type14\n"
            "int3 Type15\n"
            "int4 Type16\n"
            "bool Type17\n"
            "axis Type19\n"
            "coordsys Type20\n"
            "??? Type21\n"
            "matrix Type23\n"
            "??? Type24\n"
            "??? Type25\n"
            "size_t Type26\n"
            "??? Type27\n"
            "string Name\n"
            "object Next (read only) \n"
            "object Previous (read only) \n");
  EXPECT_EQ(messages.size(), 36u);  // a message a line
  for (const Message &m : messages) EXPECT_EQ(m.format, "%s");
}

TEST_F(Shell, ListsTheRootObjectForAnEmptyPath) {
  set(shell_, Q7A_PRGLNG_ROOT, recorder_);
  EXPECT_EQ(listing(""), "string Name\nobject Next (read only) \nobject Previous (read only) \n");
}

TEST_F(Shell, ValuesWithoutChannelsListNothing) {
  for (const char *name : {".Count", ".Size", ".Word", ".Byte", ".Text", ".Type17", ".Color.r"}) {
    EXPECT_EQ(listing(name), "") << name;
  }
  EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(Shell, ValuesWithChannelsListThem) {
  EXPECT_EQ(listing(".Paint"), "float r\nfloat g\nfloat b\nfloat a\n");
  EXPECT_EQ(listing(".Point"), "vect x\nvect y\nvect z\nvect w\n");
  EXPECT_EQ(listing(".Color"), "float r\nfloat g\nfloat b\n");
  EXPECT_EQ(listing(".Type9"), "byte r\nbyte g\nbyte b\n");
  EXPECT_EQ(listing(".Place"), "vect x\nvect y\nvect z\n");
}

TEST_F(Shell, OtherValuesListQuestionMarks) {
  for (int type : {5, 7, 13, 14, 15, 16, 19, 20, 21, 23, 24, 25, 26, 27}) {
    EXPECT_EQ(listing((".Type" + std::to_string(type)).c_str()), "???\n") << type;
  }
  for (const char *name : {".Members", ".Old", ".Nothing"}) EXPECT_EQ(listing(name), "???\n") << name;
  EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(Shell, AListThatCannotBeCollectedHasItsStatus) {
  fail_collect = true;
  EXPECT_EQ(command(Q7M_PRGLNG_LIST), 0u);
  EXPECT_EQ(status(), 5);
  EXPECT_THAT(messages, IsEmpty());
}

TEST_F(Shell, NodesThatAClassForgetsAreFreed) {
  keep_nodes = true;
  EXPECT_FALSE(listing("").empty());  // the address sanitizer looks for what is left
}

TEST_F(Shell, ListingWithoutMemory) {
  q7test::AllocGate gate;
  for (int64_t n = 1; n <= 2; ++n) {
    gate.fail(n);
    EXPECT_EQ(command(Q7M_PRGLNG_LIST), 0u) << n;
    EXPECT_EQ(status(), 5) << n;
  }
}

TEST_F(Shell, DescribesAClass) {
  EXPECT_EQ(command(Q7M_PRGLNG_PRINT_CLASS, "scene"), 1u);
  EXPECT_EQ(shown(),
            "ID: 4100\n"
            "Name: scene\n"
            "Description: A scene\n"
            "Version: 7\n"
            "Organization: Makers\n"
            "Module: tests\n"
            "Super class: 0, q7root, Root\n\n");
  EXPECT_EQ(messages.size(), 7u);
  EXPECT_EQ(status(), 1);
}

TEST_F(Shell, DescribesOnlyWhatIsSet) {
  Q7Class *plain = Q7ClassCreate(kRecorderClass, 4300, recorder_dispatch, 0, 0);
  plain->header.name = nullptr;  // classes that nobody named are called "private"
  Q7Object *object = Q7ObjectCreate(4300, 0);
  set(shell_, Q7A_PRGLNG_ROOT, object);
  EXPECT_EQ(command(Q7M_PRGLNG_PRINT_CLASS), 1u);
  EXPECT_EQ(shown(),
            "ID: 4300\nName: \nVersion: " + std::to_string(plain->version) + "\nSuper class: 4101, recorder, \n\n");
  send(object, Q7M_DISPOSE);
}

TEST_F(Shell, DescribesARootObjectWithoutASuperClass) {
  Q7Object *object = Q7ObjectCreate(Q7C_ROOT, 0);
  set(shell_, Q7A_PRGLNG_ROOT, object);
  EXPECT_EQ(command(Q7M_PRGLNG_PRINT_CLASS), 1u);
  EXPECT_EQ(shown(), "ID: 0\nName: q7root\nDescription: Root\nVersion: 1\nOrganization: Karmonic\nModule: q7common\n");
  send(object, Q7M_DISPOSE);
}

TEST_F(Shell, DescribesAValueByItsTypeWord) {
  EXPECT_EQ(command(Q7M_PRGLNG_PRINT_CLASS, ".Color"), 1u);
  EXPECT_EQ(shown(), "float \n");
  messages.clear();
  EXPECT_EQ(command(Q7M_PRGLNG_PRINT_CLASS, ".Type20"), 1u);
  EXPECT_EQ(shown(), "coordsys \n");
}

TEST_F(Shell, AnObjectOfNoClassIsNotDescribed) {
  set(light_, Q7A_CLASS_ID, 4999);
  EXPECT_EQ(command(Q7M_PRGLNG_PRINT_CLASS, "scene.obj2.light"), 0u);
  EXPECT_EQ(status(), 0);
  set(light_, Q7A_CLASS_ID, uint32_t{kSceneClass});
}

// ---- Output

uint64_t say(Q7Object *shell, uint32_t method, const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const uint64_t result = send(shell, method, arg(format), 0, slot(&arguments));
  va_end(arguments);
  return result;
}

TEST_F(Shell, PrintFormatsAndSendsPlainText) {
  EXPECT_EQ(say(shell_, Q7M_PRGLNG_PRINT, "%d %s %.2f%%", 5, "five", 5.5), 1u);
  ASSERT_EQ(messages.size(), 1u);
  EXPECT_EQ(messages[0].method, uint32_t{kShownMethod});
  EXPECT_EQ(messages[0].format, "%s");
  EXPECT_EQ(messages[0].text, "5 five 5.50%");
}

TEST_F(Shell, PrintTakesTextsOfAnyLength) {
  const std::string text(100000, 'x');
  say(shell_, Q7M_PRGLNG_PRINT, "<%s>", text.c_str());
  EXPECT_EQ(shown(), "<" + text + ">");
  messages.clear();
  send(shell_, Q7M_PRGLNG_PRINT, arg(text.c_str()));
  EXPECT_EQ(shown(), text);
}

TEST_F(Shell, PrintWithoutMemoryCutsTheText) {
  const std::string text(5000, 'x');
  q7test::AllocGate gate;
  gate.fail(1, true);
  say(shell_, Q7M_PRGLNG_PRINT, "%s", text.c_str());
  send(shell_, Q7M_PRGLNG_PRINT, arg(text.c_str()));
  gate.pass();
  ASSERT_EQ(messages.size(), 2u);
  EXPECT_EQ(messages[0].text, text.substr(0, 1023));
  EXPECT_EQ(messages[1].text, text.substr(0, 1023));
}

TEST_F(Shell, WithoutArgumentsConversionsStayAsTheyAre) {
  EXPECT_EQ(send(shell_, Q7M_PRGLNG_PRINT, arg("100%% of %s %n %")), 1u);
  EXPECT_EQ(shown(), "100% of %s %n %");
}

TEST_F(Shell, ANullFormatPrintsNothing) {
  EXPECT_EQ(send(shell_, Q7M_PRGLNG_PRINT), 0u);
  EXPECT_EQ(send(shell_, Q7M_PRGLNG_ERROR), 0u);
  EXPECT_THAT(messages, IsEmpty());
}

TEST_F(Shell, WithoutAnOutputObjectStandardOutputGetsALine) {
  set(shell_, Q7A_PRGLNG_OUTPUT, nullptr);
  q7test::Capture capture(1);
  say(shell_, Q7M_PRGLNG_PRINT, "number %d", 1);
  at("scene");
  command(Q7M_PRGLNG_PRINT_PATH);
  EXPECT_EQ(capture.stop(), "number 1\nscene\n");
}

TEST_F(Shell, AnOutputObjectWithoutAMethodIsNone) {
  set(shell_, Q7A_PRGLNG_OUTPUT_METHOD, 0);
  q7test::Capture capture(1);
  say(shell_, Q7M_PRGLNG_PRINT, "number %d", 1);
  EXPECT_EQ(capture.stop(), "number 1\n");
  EXPECT_THAT(messages, IsEmpty());
}

TEST_F(Shell, ErrorsGoToTheErrorObject) {
  Q7Object *other = make(kRecorderClass);
  set(shell_, Q7A_PRGLNG_ERROR, other);
  set(shell_, Q7A_PRGLNG_ERROR_METHOD, uint32_t{kErrorMethod});
  EXPECT_EQ(say(shell_, Q7M_PRGLNG_ERROR, "line %d", 3), 1u);
  ASSERT_EQ(messages.size(), 1u);
  EXPECT_EQ(messages[0].receiver, other);
  EXPECT_EQ(messages[0].method, uint32_t{kErrorMethod});
  EXPECT_EQ(messages[0].text, "line 3");
  EXPECT_THAT(errors(), IsEmpty());
  send(other, Q7M_DISPOSE);
}

TEST_F(Shell, ErrorsGoToTheOutputObjectOtherwise) {
  set(shell_, Q7A_PRGLNG_ERROR_METHOD, uint32_t{kErrorMethod});
  say(shell_, Q7M_PRGLNG_ERROR, "line %d", 3);
  ASSERT_EQ(messages.size(), 1u);
  EXPECT_EQ(messages[0].receiver, recorder_);
  EXPECT_EQ(messages[0].method, uint32_t{kShownMethod});
  EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(Shell, ErrorsAreReportedWithoutEither) {
  set(shell_, Q7A_PRGLNG_OUTPUT, nullptr);
  say(shell_, Q7M_PRGLNG_ERROR, "line %d %s", 3, "%s%n");
  EXPECT_THAT(errors(), ElementsAre("q7prglng: line 3 %s%n"));
}

TEST_F(Shell, ALanguageMaySpeakThroughAnother) {
  Q7Object *inner =
      Q7ObjectCreate(Q7C_PRGLNG, Q7A_PRGLNG_OUTPUT, arg(shell_), Q7A_PRGLNG_OUTPUT_METHOD, uint64_t{Q7M_PRGLNG_PRINT},
                     Q7A_PRGLNG_ERROR, arg(shell_), Q7A_PRGLNG_ERROR_METHOD, uint64_t{Q7M_PRGLNG_ERROR}, 0);
  say(inner, Q7M_PRGLNG_PRINT, "%d%%", 50);
  say(inner, Q7M_PRGLNG_ERROR, "%s", "bad");
  EXPECT_EQ(shown(), "50%bad");
  // In a circle the text comes out in the end.
  set(shell_, Q7A_PRGLNG_OUTPUT, inner);
  set(shell_, Q7A_PRGLNG_OUTPUT_METHOD, uint32_t{Q7M_PRGLNG_PRINT});
  q7test::Capture capture(1);
  say(inner, Q7M_PRGLNG_PRINT, "%s", "round");
  EXPECT_EQ(capture.stop(), "round\n");
  send(inner, Q7M_DISPOSE);
}

TEST_F(Shell, AClassRecordPrintsButHasNoPath) {
  Q7Object *record = &Q7ClassFind(Q7C_PRGLNG)->header;
  for (uint32_t method = Q7M_PRGLNG_MAKE_CURRENT; method <= Q7M_PRGLNG_RESOLVE; ++method) {
    EXPECT_EQ(send(record, method), 0u) << method;
  }
  say(record, Q7M_PRGLNG_ERROR, "%d", 1);
  EXPECT_THAT(errors(), ElementsAre("q7prglng: 1"));
  q7test::Capture capture(1);
  say(record, Q7M_PRGLNG_PRINT, "%d", 2);
  EXPECT_EQ(capture.stop(), "2\n");
}

TEST_F(Shell, OtherMethodsGoToTheRootClass) {
  EXPECT_EQ(send(shell_, 260001), 0u);
  EXPECT_EQ(errors().size(), 1u);
  EXPECT_EQ(send(shell_, Q7M_ISOFKIND, 0, 0, slot(Q7C_ROOT)), 2u);
}

// A language overrides printing and loading; the commands speak through it.
std::string spoken;
uint64_t speaking(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  if (method == Q7M_PRGLNG_PRINT) {
    char text[256];
    std::vsnprintf(text, sizeof text, reinterpret_cast<const char *>(a), *reinterpret_cast<va_list *>(tags));
    spoken += text;
    return 1;
  }
  if (method == Q7M_PRGLNG_LOAD) return 1;
  return inherit(cl, obj, method, a, b, tags);
}

TEST_F(Shell, ADerivedLanguageOverrides) {
  Q7ClassCreate(Q7C_PRGLNG, 4200, speaking, 16, Q7CT_NAME, arg("lang"), 0);
  Q7Object *language = Q7ObjectCreate(4200, Q7A_PRGLNG_ROOT, arg(root_), 0);
  ASSERT_TRUE(language);
  EXPECT_EQ(send(language, Q7M_PRGLNG_LOAD), 1u);
  EXPECT_EQ(send(language, Q7M_PRGLNG_LIST, 0, 0, slot(".Color")), 1u);
  EXPECT_EQ(spoken, "float r\nfloat g\nfloat b\n");
  EXPECT_EQ(send(language, Q7M_PRGLNG_MAKE_CURRENT, 0, 0, slot("scene")), 1u);
  EXPECT_STREQ(get<const char *>(language, Q7A_PRGLNG_PATH), ".scene");
  send(language, Q7M_DISPOSE);
}

}  // namespace
