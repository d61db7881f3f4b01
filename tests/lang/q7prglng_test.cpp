// The shell: moving through the tree, statuses, attributes by path, listings, output.
#include "tests/lang/lang_test.h"

namespace {

using namespace langtest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class Shell : public langtest::Test {
 protected:
  // root - scene - obj1, obj2 - light
  Shell() {
    root_ = make(kSceneClass, "root");
    scene_ = add(root_, "scene");
    obj1_ = add(scene_, "obj1");
    obj2_ = add(scene_, "obj2");
    light_ = add(obj2_, "light");
    recorder_ = make(kRecorderClass);
    shell_ = Q7ObjectCreate(Q7C_PRGLNG, Q7A_PRGLNG_ROOT, arg(root_), Q7A_PRGLNG_OUTPUT, arg(recorder_),
                            Q7A_PRGLNG_OUTPUT_METHOD, uint64_t{kShownMethod}, 0);
  }
  ~Shell() override {
    send(shell_, Q7M_DISPOSE);
    send(recorder_, Q7M_DISPOSE);
    dispose_tree(root_);
  }
  uint64_t command(uint32_t method, const char *path = nullptr) { return send(shell_, method, 0, 0, slot(path)); }
  void at(const char *path) { set(shell_, Q7A_PRGLNG_PATH, path); }
  std::string path() {
    const char *text = get<const char *>(shell_, Q7A_PRGLNG_PATH);
    return text ? text : "(null)";
  }
  int32_t status() { return get<int32_t>(shell_, Q7A_PRGLNG_STATUS); }
  std::string listing(const char *of) {
    messages.clear();
    EXPECT_EQ(command(Q7M_PRGLNG_LIST, of), 1u);
    EXPECT_EQ(status(), 1);
    return shown();
  }
  template <class T>
  uint64_t read(const char *of, T *value, Q7PublicAttribute *row = nullptr) {
    return send(shell_, Q7M_PRGLNG_GET, arg(of), arg(row), slot(value));
  }
  template <class T>
  uint64_t write(const char *of, const T *value) {
    return send(shell_, Q7M_PRGLNG_SET, arg(of), 0, slot(value));
  }
  uint64_t write_text(const char *of, const char *text) {
    return send(shell_, Q7M_PRGLNG_SET, arg(of), 12, slot(text));
  }

  Q7Object *root_, *scene_, *obj1_, *obj2_, *light_, *recorder_, *shell_;
};

// ---- Attributes

TEST_F(Shell, AttributesAreStoredAndRead) {
  set(shell_, 260500, light_);
  set(shell_, 260501, 11);
  set(shell_, 260503, scene_);
  set(shell_, 260507, obj1_);
  set(shell_, 260508, 12);
  EXPECT_EQ(get<Q7Object *>(shell_, 260500), light_);
  EXPECT_EQ(get<int32_t>(shell_, 260501), 11);
  EXPECT_EQ(get<Q7Object *>(shell_, 260503), scene_);
  EXPECT_EQ(get<Q7Object *>(shell_, 260507), obj1_);
  EXPECT_EQ(get<int32_t>(shell_, 260508), 12);
  EXPECT_EQ(light_->refcount, 0);  // nothing is counted
  set(shell_, 260500, nullptr);
}

TEST_F(Shell, IntegersAreStoredAs32Bits) {
  struct {
    int32_t value, guard;
  } place = {0, 0x5A5A5A5A};
  Q7TagItem items[] = {{260501, arg(&place)}, {260508, arg(&place)}, {260502, arg(&place)}, {Q7TAG_END, 0}};
  EXPECT_EQ(send(shell_, Q7M_GET, 0, 0, items), 0u);
  EXPECT_EQ(place.guard, 0x5A5A5A5A);
}

TEST_F(Shell, AttributesAreTakenAtCreation) {
  Q7Object *other = Q7ObjectCreate(Q7C_PRGLNG, 260500, arg(light_), 260501, uint64_t{5}, 260503, arg(root_), 260505,
                                   arg("scene"), 260507, arg(obj1_), 260508, uint64_t{6}, Q7A_NAME, arg("shell"), 0);
  EXPECT_EQ(get<Q7Object *>(other, 260500), light_);
  EXPECT_EQ(get<int32_t>(other, 260501), 5);
  EXPECT_EQ(get<Q7Object *>(other, 260503), root_);
  EXPECT_STREQ(get<const char *>(other, 260505), "scene");
  EXPECT_EQ(get<Q7Object *>(other, 260507), obj1_);
  EXPECT_EQ(get<int32_t>(other, 260508), 6);
  EXPECT_STREQ(get<const char *>(other, Q7A_NAME), "shell");
  send(other, Q7M_DISPOSE);
}

TEST_F(Shell, TheCurrentPathIsACopy) {
  char text[] = "scene";
  at(text);
  text[0] = 'x';
  EXPECT_EQ(path(), "scene");
  at(get<const char *>(shell_, Q7A_PRGLNG_PATH));  // its own text
  EXPECT_EQ(path(), "scene");
  at(nullptr);
  EXPECT_EQ(path(), "(null)");
}

TEST_F(Shell, TheStatusCannotBeSet) {
  Q7TagItem items[] = {{Q7A_PRGLNG_STATUS, 3}, {Q7TAG_END, 0}};
  EXPECT_EQ(send(shell_, Q7M_SET, 0, 0, items), arg(&items[0]));
  EXPECT_EQ(errors().size(), 1u);
  EXPECT_EQ(status(), 0);
}

TEST_F(Shell, WithoutMemoryThePathStays) {
  at("scene");
  q7test::AllocGate gate;
  gate.fail(1);
  at("scene.obj1");
  EXPECT_EQ(gate.refused(), 1);
  EXPECT_EQ(path(), "scene");
}

TEST_F(Shell, ACopyHasAPathOfItsOwn) {
  at("scene.obj1");
  auto *copy = reinterpret_cast<Q7Object *>(send(shell_, Q7M_COPY));
  ASSERT_TRUE(copy);
  at("scene");
  EXPECT_STREQ(get<const char *>(copy, Q7A_PRGLNG_PATH), "scene.obj1");
  send(copy, Q7M_DISPOSE);
}

// ---- Joining paths

TEST_F(Shell, ARelativePathIsJoinedWithADot) {
  at("scene.obj2");
  EXPECT_EQ(command(Q7M_PRGLNG_MAKE_CURRENT, "light"), 1u);
  EXPECT_EQ(path(), "scene.obj2.light");
  EXPECT_EQ(status(), 1);
}

TEST_F(Shell, ACurrentPathThatEndsInADotGetsNoOther) {
  at("scene.");
  EXPECT_EQ(command(Q7M_PRGLNG_MAKE_CURRENT, "obj1"), 1u);
  EXPECT_EQ(path(), "scene.obj1");
}

TEST_F(Shell, AnAbsolutePathStaysAsItIs) {
  at("scene.obj2");
  EXPECT_EQ(command(Q7M_PRGLNG_MAKE_CURRENT, ".scene"), 1u);
  EXPECT_EQ(path(), ".scene");
}

TEST_F(Shell, AnEmptyPathIsTheCurrentOne) {
  at("scene.obj2");
  EXPECT_EQ(command(Q7M_PRGLNG_MAKE_CURRENT, ""), 1u);
  EXPECT_EQ(path(), "scene.obj2");
  EXPECT_EQ(command(Q7M_PRGLNG_MAKE_CURRENT, nullptr), 1u);
  EXPECT_EQ(path(), "scene.obj2");
}

TEST_F(Shell, FromAnEmptyCurrentPathARelativeOneBecomesAbsolute) {
  EXPECT_EQ(command(Q7M_PRGLNG_MAKE_CURRENT, "scene"), 1u);
  EXPECT_EQ(path(), ".scene");
  EXPECT_EQ(command(Q7M_PRGLNG_MAKE_CURRENT, "obj1"), 1u);
  EXPECT_EQ(path(), ".scene.obj1");
}

TEST_F(Shell, AnEmptyPathWithoutACurrentOneIsTheRootObject) {
  EXPECT_EQ(command(Q7M_PRGLNG_MAKE_CURRENT, ""), 1u);
  EXPECT_EQ(path(), "");
  EXPECT_EQ(command(Q7M_PRGLNG_RESOLVE, nullptr), 1u);
}

TEST_F(Shell, AJoinedPathIsCutTo511Characters) {
  // "x" repeated names an object; the path leads to it only when exactly what is behind 511 characters is gone.
  Q7Object *parent = add(root_, "p");
  const std::string a(250, 'a'), b(257, 'b');
  add(add(parent, a.c_str()), b.substr(0, 255).c_str());
  at(("p." + a).c_str());  // 252 characters, 253 with the dot
  EXPECT_EQ(command(Q7M_PRGLNG_MAKE_CURRENT, b.substr(0, 255).c_str()), 1u);
  EXPECT_EQ(path().size(), 508u);
  at(("..."
      "p." +
      a)
         .c_str());                                            // 255, so 256 + 255 = 511
  EXPECT_EQ(command(Q7M_PRGLNG_MAKE_CURRENT, b.c_str()), 1u);  // its last two characters are cut
  EXPECT_EQ(path().size(), 511u);
  at("");
  EXPECT_EQ(command(Q7M_PRGLNG_MAKE_CURRENT, (std::string(510, '.') + "p" + "zzz").c_str()), 1u);
  EXPECT_EQ(path(), std::string(510, '.') + "p");
}

TEST_F(Shell, APathThatLeadsNowhereIsNotFound) {
  at("scene");
  command(Q7M_PRGLNG_MAKE_CURRENT, ".");
  EXPECT_EQ(status(), 1);
  at("scene");
  for (uint32_t method : {Q7M_PRGLNG_MAKE_CURRENT, Q7M_PRGLNG_RESOLVE, Q7M_PRGLNG_LIST, Q7M_PRGLNG_PRINT_CLASS}) {
    command(Q7M_PRGLNG_RESOLVE);
    ASSERT_EQ(status(), 1);
    EXPECT_EQ(command(method, "nobody"), 0u) << method;
    EXPECT_EQ(status(), 0) << method;
  }
  EXPECT_EQ(path(), "scene");
  EXPECT_THAT(messages, IsEmpty());
}

TEST_F(Shell, AValueIsNoObject) {
  for (uint32_t method : {Q7M_PRGLNG_MAKE_CURRENT, Q7M_PRGLNG_RESOLVE}) {
    command(Q7M_PRGLNG_LIST);
    for (const char *value : {".Count", ".Color.r", ".Text", ".Type19", ".Members", ".Old", ".Nothing", ".Array[1]"}) {
      EXPECT_EQ(command(method, value), 0u) << value;
      EXPECT_EQ(status(), 3) << value;
    }
  }
  EXPECT_EQ(path(), "(null)");
  EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(Shell, AnObjectAttributeLeadsOn) {
  scene(root_).light = light_;
  EXPECT_EQ(command(Q7M_PRGLNG_MAKE_CURRENT, "Light"), 1u);
  EXPECT_EQ(path(), ".Light");
  EXPECT_EQ(command(Q7M_PRGLNG_MAKE_CURRENT, ".scene.obj1.Next"), 1u);
  EXPECT_EQ(command(Q7M_PRGLNG_MAKE_CURRENT, ".scene.obj2.Next"), 0u);  // the end of the list
  EXPECT_EQ(status(), 3);
}

TEST_F(Shell, ResolvingMovesNothing) {
  at("scene");
  EXPECT_EQ(command(Q7M_PRGLNG_RESOLVE, "obj1"), 1u);
  EXPECT_EQ(status(), 1);
  EXPECT_EQ(path(), "scene");
}

TEST_F(Shell, WithoutARootObjectNothingIsFound) {
  set(shell_, Q7A_PRGLNG_ROOT, nullptr);
  for (const char *of : {"", "scene"}) {
    for (uint32_t method = Q7M_PRGLNG_MAKE_CURRENT; method <= Q7M_PRGLNG_RESOLVE; ++method) {
      if (method == Q7M_PRGLNG_PRINT_PATH) continue;
      const uint64_t a = method == Q7M_PRGLNG_GET || method == Q7M_PRGLNG_SET ? arg(of) : 0;
      EXPECT_EQ(send(shell_, method, a, 0, a ? nullptr : slot(of)), 0u) << method;
      EXPECT_EQ(status(), 0) << method;
    }
  }
}

TEST_F(Shell, MakingCurrentWithoutMemoryKeepsThePath) {
  at("scene");
  q7test::AllocGate counter;
  ASSERT_EQ(command(Q7M_PRGLNG_MAKE_CURRENT, "obj1"), 1u);
  const int64_t needed = counter.count();
  for (int64_t n = 1; n <= needed; ++n) {
    counter.pass();
    at("scene");
    counter.fail(n);
    const bool done = command(Q7M_PRGLNG_MAKE_CURRENT, "obj1") != 0;
    EXPECT_EQ(status(), done ? 1 : 0) << n;
    EXPECT_EQ(path(), done ? "scene.obj1" : "scene") << n;
    // The copy of the path is the last block asked for. Some of the others a root object can do without.
    EXPECT_FALSE(n == needed && done);
  }
}

// ---- Moving

TEST_F(Shell, PrintsTheCurrentPath) {
  at("scene.obj1");
  EXPECT_EQ(command(Q7M_PRGLNG_PRINT_PATH), 1u);
  ASSERT_EQ(messages.size(), 1u);
  EXPECT_EQ(messages[0].format, "%s");
  EXPECT_EQ(messages[0].text, "scene.obj1");
}

TEST_F(Shell, PrintsAPathWithPercentSigns) {
  at("100%s%n");
  command(Q7M_PRGLNG_PRINT_PATH);
  EXPECT_EQ(shown(), "100%s%n");
}

TEST_F(Shell, PrintsNoPathAsTheEmptyText) {
  command(Q7M_PRGLNG_PRINT_PATH);
  ASSERT_EQ(messages.size(), 1u);
  EXPECT_EQ(messages[0].text, "");
}

TEST_F(Shell, ParentRemovesTheLastComponent) {
  at(".scene.obj1");
  EXPECT_EQ(command(Q7M_PRGLNG_PARENT), 1u);
  EXPECT_EQ(path(), ".scene");
  EXPECT_EQ(command(Q7M_PRGLNG_PARENT), 1u);
  EXPECT_EQ(path(), "");
  EXPECT_EQ(command(Q7M_PRGLNG_PARENT), 0u);
  EXPECT_EQ(path(), "");
}

TEST_F(Shell, ParentDoesNotResolve) {
  at("nobody.knows");
  EXPECT_EQ(command(Q7M_PRGLNG_PARENT), 1u);
  EXPECT_EQ(path(), "nobody");
}

TEST_F(Shell, ParentOfAPathWithoutADotFails) {
  at("scene");
  EXPECT_EQ(command(Q7M_PRGLNG_PARENT), 0u);
  EXPECT_EQ(path(), "scene");
  at(nullptr);
  EXPECT_EQ(command(Q7M_PRGLNG_PARENT), 0u);
}

TEST_F(Shell, NextAndPreviousReplaceTheLastComponent) {
  for (const char *dot : {"", "."}) {
    const std::string prefix = std::string(dot) + "scene.";
    at((prefix + "obj1").c_str());
    EXPECT_EQ(command(Q7M_PRGLNG_NEXT), 1u);
    EXPECT_EQ(path(), prefix + "obj2");
    EXPECT_EQ(status(), 1);
    EXPECT_EQ(command(Q7M_PRGLNG_PREVIOUS), 1u);
    EXPECT_EQ(path(), prefix + "obj1");
  }
}

TEST_F(Shell, NextOfAPathWithOneComponent) {
  add(root_, "other");
  at("scene");
  EXPECT_EQ(command(Q7M_PRGLNG_NEXT), 1u);
  EXPECT_EQ(path(), "other");
}

TEST_F(Shell, AtTheEndsOfAListThereIsNoCurrentObject) {
  at("scene.obj2");
  EXPECT_EQ(command(Q7M_PRGLNG_NEXT), 0u);
  EXPECT_EQ(status(), 4);
  EXPECT_EQ(path(), "scene.obj2");
  at("scene.obj1");
  EXPECT_EQ(command(Q7M_PRGLNG_PREVIOUS), 0u);
  EXPECT_EQ(status(), 4);
  EXPECT_EQ(path(), "scene.obj1");
}

TEST_F(Shell, AnObjectInNoListHasNoSibling) {
  at("");
  EXPECT_EQ(command(Q7M_PRGLNG_NEXT), 0u);
  EXPECT_EQ(status(), 4);
}

TEST_F(Shell, ASiblingWithoutANameCannotBeReached) {
  set(obj2_, Q7A_NAME, nullptr);
  at("scene.obj1");
  EXPECT_EQ(command(Q7M_PRGLNG_NEXT), 0u);
  EXPECT_EQ(status(), 4);
}

TEST_F(Shell, SiblingsOfNothingAndOfValues) {
  at("scene.nobody");
  EXPECT_EQ(command(Q7M_PRGLNG_NEXT), 0u);
  EXPECT_EQ(status(), 0);
  at("scene.Count");
  EXPECT_EQ(command(Q7M_PRGLNG_PREVIOUS), 0u);
  EXPECT_EQ(status(), 3);
}

TEST_F(Shell, ASiblingWhoseNameDoesNotFitIsNotReached) {
  set(obj2_, Q7A_NAME, std::string(600, 'n').c_str());
  at("scene.obj1");
  EXPECT_EQ(command(Q7M_PRGLNG_NEXT), 0u);
  EXPECT_EQ(status(), 0);
  EXPECT_EQ(path(), "scene.obj1");
}

// ---- Values

TEST_F(Shell, EveryTypeIsReadWithItsRecord) {
  Scene &s = scene(scene_);
  s.integer = -7;
  s.real = 0.5;
  s.word = -300;
  s.byte = -5;
  const double rgba[] = {0.1, 0.2, 0.3, 0.4};
  std::memcpy(s.rgba, rgba, sizeof rgba);
  std::memcpy(s.rgb, rgba, sizeof s.rgb);
  std::memcpy(s.vector, rgba, sizeof s.vector);
  std::memcpy(s.vector4, rgba, sizeof rgba);
  std::strcpy(s.text, "hello");
  s.light = light_;
  at("scene");
  Q7PublicAttribute row;
  int32_t integer = 0;
  EXPECT_EQ(read("Count", &integer, &row), 1u);
  EXPECT_EQ(integer, -7);
  EXPECT_EQ(row.type, 1u);
  EXPECT_EQ(row.tag, uint32_t{kInt});
  EXPECT_STREQ(row.name, "Count");
  double real = 0;
  EXPECT_EQ(read("Size", &real, &row), 1u);
  EXPECT_EQ(real, 0.5);
  EXPECT_EQ(row.type, 2u);
  int16_t word = 0;
  EXPECT_EQ(read("Word", &word), 1u);
  EXPECT_EQ(word, -300);
  int8_t byte = 0;
  EXPECT_EQ(read("Byte", &byte), 1u);
  EXPECT_EQ(byte, -5);
  for (const char *name : {"Paint", "Point"}) {
    double four[4] = {};
    EXPECT_EQ(read(name, four), 1u);
    EXPECT_THAT(four, ElementsAre(0.1, 0.2, 0.3, 0.4)) << name;
  }
  for (const char *name : {"Color", "Place"}) {
    double three[4] = {0, 0, 0, 9};
    EXPECT_EQ(read(name, three), 1u);
    EXPECT_THAT(three, ElementsAre(0.1, 0.2, 0.3, 9)) << name;
  }
  EXPECT_EQ(read("Color.b", &real, &row), 1u);
  EXPECT_EQ(real, 0.3);
  EXPECT_EQ(row.type, 2u);
  const char *text = nullptr;
  EXPECT_EQ(read("Text", &text), 1u);
  EXPECT_STREQ(text, "hello");
  for (const char *name : {"Light", "Old", ".scene.obj2.light"}) {
    Q7Object *object = nullptr;
    EXPECT_EQ(read(name, &object), 1u);
    EXPECT_EQ(object, light_) << name;
  }
  EXPECT_EQ(status(), 1);
  EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(Shell, TypesThatCannotBeHandedOverSayWhy) {
  char place[256];
  for (int type : {5, 7, 9, 13, 14, 15, 16, 17, 21, 23, 24, 25, 26, 27}) {
    errors().clear();
    const std::string name = ".Type" + std::to_string(type);
    EXPECT_EQ(read(name.c_str(), place), 0u);
    EXPECT_EQ(status(), 0);
    EXPECT_THAT(errors(), ElementsAre("q7root: Not supported type " + std::to_string(type)));
    errors().clear();
    EXPECT_EQ(write(name.c_str(), place), 0u);
    EXPECT_EQ(write_text(name.c_str(), "1"), 0u);
    EXPECT_EQ(errors().size(), 2u);
  }
  for (const char *name : {".Type19", ".Type20"}) {
    errors().clear();
    EXPECT_EQ(read(name, place), 0u);
    EXPECT_THAT(errors(), ElementsAre("q7root: Axis/coordsys not implemented yet"));
  }
}

TEST_F(Shell, AnEmptyPathReadsTheRootObjectWithAnEmptyRecord) {
  Q7PublicAttribute row;
  std::memset(&row, 0xEE, sizeof row);
  Q7Object *object = nullptr;
  EXPECT_EQ(read("", &object, &row), 1u);
  EXPECT_EQ(object, root_);
  Q7PublicAttribute expected = {};
  expected.type = 22;
  EXPECT_EQ(std::memcmp(&row, &expected, sizeof row), 0);
  EXPECT_EQ(send(shell_, Q7M_PRGLNG_GET), 1u);  // nowhere to put them
  at("scene");
  EXPECT_EQ(read("", &object, &row), 1u);
  EXPECT_EQ(object, scene_);
}

TEST_F(Shell, ValuesAreSetInTheirOwnForm) {
  at("scene");
  const Scene &s = scene(scene_);
  const int32_t integer = 123456;
  EXPECT_EQ(write("Count", &integer), 1u);
  EXPECT_EQ(s.integer, 123456);
  EXPECT_EQ(status(), 1);
  const double four[] = {1, 2, 3, 4};
  EXPECT_EQ(write("Size", four), 1u);
  EXPECT_EQ(s.real, 1);
  EXPECT_EQ(write("Paint", four), 1u);
  EXPECT_THAT(s.rgba, ElementsAre(1, 2, 3, 4));
  EXPECT_EQ(write("Place", four), 1u);
  EXPECT_THAT(s.vector, ElementsAre(1, 2, 3));
  EXPECT_EQ(write("Place.y", &four[3]), 1u);
  EXPECT_THAT(s.vector, ElementsAre(1, 4, 3));
  const int16_t word = -2;
  EXPECT_EQ(write("Word", &word), 1u);
  EXPECT_EQ(s.word, -2);
  const int8_t byte = -3;
  EXPECT_EQ(write("Byte", &byte), 1u);
  EXPECT_EQ(s.byte, -3);
  const char *text = "new";
  EXPECT_EQ(write("Text", &text), 1u);
  EXPECT_STREQ(s.text, "new");
  EXPECT_EQ(write("Light", &obj1_), 1u);
  EXPECT_EQ(s.light, obj1_);
}

TEST_F(Shell, ValuesAreSetFromTexts) {
  at("scene");
  const Scene &s = scene(scene_);
  EXPECT_EQ(write_text("Count", "-42"), 1u);
  EXPECT_EQ(s.integer, -42);
  EXPECT_EQ(write_text("Color", "0.25 0.5 1"), 1u);
  EXPECT_THAT(s.rgb, ElementsAre(0.25, 0.5, 1));
  EXPECT_EQ(write_text("Color.g", "7"), 1u);
  EXPECT_THAT(s.rgb, ElementsAre(0.25, 7, 1));
  EXPECT_EQ(write_text("Text", "words"), 1u);
  EXPECT_STREQ(s.text, "words");
}

TEST_F(Shell, WhatCannotBeSetSaysNotFound) {
  at("scene");
  command(Q7M_PRGLNG_RESOLVE);
  for (const char *name : {"nobody", "obj1", "", "Next"}) {
    EXPECT_EQ(write_text(name, "1"), 0u) << name;
    EXPECT_EQ(status(), 0);
  }
  EXPECT_EQ(write_text("Count", "many"), 0u);
  EXPECT_EQ(send(shell_, Q7M_PRGLNG_SET, arg("Count"), 0, nullptr), 0u);
  EXPECT_EQ(send(shell_, Q7M_PRGLNG_SET), 0u);
}

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

// A root object whose class answers paths in its own way, and looks at neither place before it fills it.
std::vector<std::string> asked;
Q7Object *answered;
uint64_t own_paths(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  if (method != Q7M_GET_BY_PATH) return inherit(cl, obj, method, a, b, tags);
  asked.emplace_back(reinterpret_cast<const char *>(a));
  if (asked.back() == "nowhere" || asked.back() == "nowhere.to") return 0;
  reinterpret_cast<Q7PublicAttribute *>(b)->type = asked.back() == ".value" ? Q7TID_INT : Q7TID_OBJECT2;
  memcpy(tags, &answered, sizeof answered);
  return 1;
}

TEST_F(Shell, ARootObjectMayAnswerPathsInItsOwnWay) {
  Q7ClassCreate(Q7C_ROOT, 4201, own_paths, 0, 0);
  Q7Object *own = Q7ObjectCreate(4201, 0);
  ASSERT_TRUE(own);
  set(shell_, Q7A_PRGLNG_ROOT, own);
  asked.clear();
  answered = light_;
  at("scene.obj");
  EXPECT_EQ(command(Q7M_PRGLNG_MAKE_CURRENT, "light"), 1u);
  EXPECT_EQ(path(), "scene.obj.light");
  at("scene.");
  EXPECT_EQ(command(Q7M_PRGLNG_RESOLVE, "light"), 1u);
  EXPECT_EQ(command(Q7M_PRGLNG_MAKE_CURRENT, ".world"), 1u);
  EXPECT_EQ(path(), ".world");
  EXPECT_EQ(command(Q7M_PRGLNG_MAKE_CURRENT, ".value"), 0u);
  EXPECT_EQ(status(), 3);
  at("nowhere");
  EXPECT_EQ(command(Q7M_PRGLNG_MAKE_CURRENT, "to"), 0u);
  EXPECT_EQ(status(), 0);
  EXPECT_THAT(asked, ElementsAre("scene.obj.light", "scene.light", ".world", ".value", "nowhere.to"));
  set(shell_, Q7A_PRGLNG_ROOT, root_);
  send(own, Q7M_DISPOSE);
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
