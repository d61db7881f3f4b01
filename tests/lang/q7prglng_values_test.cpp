// The shell: the object's own attributes, and public attributes by path.
#include "tests/lang/shell_test.h"

namespace {

using namespace langtest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

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

}  // namespace
