// Tests of core/q7attrpath.cpp: public attributes by textual path.
#include "core/classdef.hpp"
#include "tests/core/core_test.h"

namespace {

using q7test::report_texts;
using q7test::send;
using q7test::slot;
using q7test::u64;
using Texts = std::vector<std::string>;

// A class with an attribute of every kind.
struct Item {
  int32_t number;
  double ratio;
  int16_t word;
  int8_t byte;
  double rgba[4];
  double rgb[4];
  double vector[3];
  double vector4[4];
  char text[32];
  Q7Object *child;
  Q7List members;
  double points[4];
  double grid[2][3];
  int32_t fixed[3];
};
enum {
  kNumber = 900500,
  kRatio,
  kWord,
  kByte,
  kRgba,
  kRgb,
  kVector,
  kVector4,
  kText,
  kChild,
  kMembers,
  kPoints,
  kGrid,
  kFixed,
  kAxis,
  kCoords,
  kBool,
  kMatrix,
  kLocked
};

const Q7PublicAttribute kRows[] = {
    {"Number", kNumber, 1, 0, {}, 0, {}},
    {"Ratio", kRatio, 2, 0, {}, 0, {}},
    {"Word", kWord, 3, 0, {}, 0, {}},
    {"Byte", kByte, 4, 0, {}, 0, {}},
    {"Color", kRgba, 6, 0, {}, 0, {}},
    {"Rgb", kRgb, 8, 0, {}, 0, {}},
    {"Vector", kVector, 10, 0, {}, 0, {}},
    {"Vector4", kVector4, 11, 0, {}, 0, {}},
    {"Text", kText, 12, 0, {}, 0, {}},
    {"Child", kChild, 18, 0, {}, 0, {}},
    {"Child2", kChild, 22, 0, {}, 0, {}},
    {"Members", kMembers, 22, 0x80, {}, 0, {}},
    {"Point", kPoints, 2, 0x20, {}, 0xFFFFFFFF, {}},
    {"Grid", kGrid, 2, 0x60, {}, 0xFFFFFFFF, {}},
    {"Third", kFixed, 1, 0x20, {}, 2, {}},
    {"Axis", kAxis, 19, 0, {}, 0, {}},
    {"Coords", kCoords, 20, 0, {}, 0, {}},
    {"Bool", kBool, 17, 0, {}, 0, {}},
    {"Matrix", kMatrix, 23, 0, {}, 0, {}},
    {"Locked", kNumber, 1, 0x100, {}, 0, {}},
    {nullptr, 0, 0, 0, {}, 0, {}},
};

template <class T>
bool copy_out(const Q7TagItem &item, const T &value) {
  std::memcpy(q7::value<void *>(item), &value, sizeof value);
  return true;
}
template <class T>
bool copy_in(const Q7TagItem &item, T &value) {
  std::memcpy(&value, q7::value<const void *>(item), sizeof value);
  return true;
}

bool item_get(Item &d, const Q7TagItem &item) {
  switch (item.tag) {
    case kNumber: return copy_out(item, d.number);
    case kRatio: return copy_out(item, d.ratio);
    case kWord: return copy_out(item, d.word);
    case kByte: return copy_out(item, d.byte);
    case kRgba: return copy_out(item, d.rgba);
    case kRgb: return copy_out(item, d.rgb);
    case kVector: return copy_out(item, d.vector);
    case kVector4: return copy_out(item, d.vector4);
    case kText: return q7::store<const char *>(item, d.text);
    case kChild: return copy_out(item, d.child);
    case kMembers: return q7::store<Q7List *>(item, &d.members);
    default: return false;
  }
}
bool item_set(Item &d, const Q7TagItem &item) {
  switch (item.tag) {
    case kNumber: d.number = q7::value<int32_t>(item); return true;
    case kRatio: return copy_in(item, d.ratio);
    case kWord: d.word = q7::value<int16_t>(item); return true;
    case kByte: d.byte = q7::value<int8_t>(item); return true;
    case kRgba: return copy_in(item, d.rgba);
    case kRgb: return copy_in(item, d.rgb);
    case kVector: return copy_in(item, d.vector);
    case kVector4: return copy_in(item, d.vector4);
    case kText: Q7StrCpy(d.text, q7::value<const char *>(item), sizeof d.text); return true;
    case kChild: d.child = q7::value<Q7Object *>(item); return true;
    default: return false;
  }
}
void *item_element(Item &d, uint32_t attribute, uint64_t index) {
  switch (attribute) {
    case kPoints: return index < 4 ? &d.points[index] : nullptr;
    case kGrid: return index % 0x100000000 < 2 && index >> 32 < 3 ? &d.grid[index % 0x100000000][index >> 32] : nullptr;
    case kFixed: return index < 3 ? &d.fixed[index] : nullptr;
    default: return nullptr;
  }
}
uint64_t item_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  auto &d = *reinterpret_cast<Item *>(reinterpret_cast<char *>(obj) + cl->ioffset);
  const size_t size = a == kFixed ? 4 : 8;
  switch (method) {
    case Q7M_NEW:
      return q7::create<Item>(cl, obj, a, b, tags, item_set, [](Item &made, Q7Object *) {
        Q7NewList(&made.members);
        return true;
      });
    case Q7M_SET: return q7::set_attributes<Item>(cl, obj, tags, item_set);
    case Q7M_GET: return q7::get_attributes<Item>(cl, obj, tags, item_get);
    case Q7M_GETINDEXED:
      if (void *element = item_element(d, static_cast<uint32_t>(a), b)) {
        std::memcpy(static_cast<void *>(tags), element, size);
        return 1;
      }
      return a;
    case Q7M_SETINDEXED:
      if (void *element = item_element(d, static_cast<uint32_t>(a), b)) {
        if (a == kFixed) {
          d.fixed[b] = static_cast<int32_t>(u64(tags));
        } else {
          std::memcpy(element, tags, size);
        }
        return 1;
      }
      return a;
    case Q7M_COLLECT_TABLES: return q7::public_attributes(kRows, cl, obj, method, a, b, tags);
    default: return q7::inherit(cl, obj, method, a, b, tags);
  }
}

class AttributePaths : public q7test::Core {
 protected:
  void SetUp() override {
    Core::SetUp();
    cl_ = q7test::make_class(0, 900, item_dispatch, sizeof(Item), "item");
    scene_ = Q7ObjectCreate(900, uint32_t{Q7A_NAME}, "scene", 0);
    light_ = Q7ObjectCreate(900, uint32_t{Q7A_NAME}, "light", uint32_t{Q7A_ADD_TO_LIST}, &data(scene_).members, 0);
    lamp_ = Q7ObjectCreate(900, uint32_t{Q7A_NAME}, "lamp", uint32_t{Q7A_ADD_TO_LIST}, &data(light_).members, 0);
    data(light_).child = lamp_;
    data(lamp_) = Item{7,
                       0.5,
                       -3,
                       -4,
                       {1, 2, 3, 4},
                       {5, 6, 7, 8},
                       {9, 10, 11},
                       {12, 13, 14, 15},
                       "words",
                       nullptr,
                       data(lamp_).members,
                       {20, 21, 22, 23},
                       {{30, 31, 32}, {33, 34, 35}},
                       {40, 41, 42}};
    Q7NewList(&data(lamp_).members);
  }
  void TearDown() override {
    for (Q7Object *obj : {lamp_, light_, scene_}) Q7ObjectDelete(obj);
    Core::TearDown();
  }
  Item &data(Q7Object *obj) { return *reinterpret_cast<Item *>(reinterpret_cast<char *>(obj) + cl_->ioffset); }
  template <class T>
  T get(const char *path, Q7Object *from = nullptr) {
    T value = {};
    row_ = {};
    EXPECT_EQ(send(from ? from : scene_, Q7M_GET_BY_PATH, u64(path), u64(&row_), slot(&value)), 1u) << path;
    return value;
  }
  uint64_t try_get(const char *path) {
    char buffer[128];
    return send(scene_, Q7M_GET_BY_PATH, u64(path), 0, slot(buffer));
  }
  uint64_t set_text(const char *path, const char *text) {
    return send(scene_, Q7M_SET_BY_PATH, u64(path), 12, slot(text));
  }
  template <class T>
  uint64_t set(const char *path, T value) {
    return send(scene_, Q7M_SET_BY_PATH, u64(path), 0, slot(&value));
  }
  Q7Class *cl_;
  Q7Object *scene_, *light_, *lamp_;
  Q7PublicAttribute row_;
};

struct Doubles {
  double d[4];
};

TEST_F(AttributePaths, ObjectsInListRowsAreFoundByName) {
  EXPECT_EQ(get<Q7Object *>("light"), light_);
  EXPECT_EQ(row_.type, 22u);
  EXPECT_EQ(row_.name, nullptr);
  EXPECT_EQ(get<Q7Object *>("light.lamp"), lamp_);
  EXPECT_EQ(get<Q7Object *>("Members.light.Members.lamp"), lamp_) << "through the list row's own name";
}

TEST_F(AttributePaths, ObjectRowsLeadOn) {
  EXPECT_EQ(get<Q7Object *>("light.Child"), lamp_);
  EXPECT_EQ(get<int32_t>("light.Child.Number"), 7);
  EXPECT_EQ(get<int32_t>("light.Child2.Number"), 7);
  EXPECT_EQ(try_get("light.Child.Child.Number"), 0u) << "no object there";
}

TEST_F(AttributePaths, TheEmptyPathIsTheReceiverAndALeadingDotChangesNothing) {
  for (const char *path : {"", "."}) {
    EXPECT_EQ(get<Q7Object *>(path), scene_);
    EXPECT_EQ(row_.type, 22u);
    EXPECT_EQ(row_.tag, 0u);
  }
  EXPECT_EQ(get<Q7Object *>(".light.lamp"), lamp_);
}

TEST_F(AttributePaths, ValuesComeInTheFormOfTheirType) {
  EXPECT_EQ(get<int32_t>("light.lamp.Number"), 7);
  EXPECT_EQ(row_.type, 1u);
  EXPECT_EQ(row_.tag, uint32_t{kNumber});
  EXPECT_STREQ(row_.name, "Number");
  EXPECT_EQ(get<double>("light.lamp.Ratio"), 0.5);
  EXPECT_EQ(get<int16_t>("light.lamp.Word"), -3);
  EXPECT_EQ(get<int8_t>("light.lamp.Byte"), -4);
  EXPECT_EQ(get<Doubles>("light.lamp.Color").d[3], 4);
  EXPECT_EQ(get<Doubles>("light.lamp.Rgb").d[2], 7);
  EXPECT_EQ(get<Doubles>("light.lamp.Rgb").d[3], 0) << "three doubles, no more";
  EXPECT_EQ(get<Doubles>("light.lamp.Vector").d[1], 10);
  EXPECT_EQ(get<Doubles>("light.lamp.Vector4").d[3], 15);
  EXPECT_STREQ(get<const char *>("light.lamp.Text"), "words");
}

TEST_F(AttributePaths, OnlyTheBytesOfTheTypeAreStored) {
  unsigned char buffer[64];
  const std::pair<const char *, size_t> sizes[] = {{"light.lamp.Number", 4}, {"light.lamp.Word", 2},
                                                   {"light.lamp.Byte", 1},   {"light.lamp.Ratio", 8},
                                                   {"light.lamp.Rgb", 24},   {"light.lamp.Color.r", 8}};
  for (const auto &[path, size] : sizes) {
    std::memset(buffer, 0xEE, sizeof buffer);
    EXPECT_EQ(send(scene_, Q7M_GET_BY_PATH, u64(path), 0, slot(&buffer[0])), 1u);
    EXPECT_EQ(buffer[size], 0xEE) << path;
  }
}

TEST_F(AttributePaths, TheRootsOwnRowsAreThere) {
  EXPECT_STREQ(get<const char *>("light.Name"), "light");
  EXPECT_EQ(set_text("light.Name", "sun"), 1u);
  EXPECT_EQ(get<Q7Object *>("sun"), light_);
  EXPECT_EQ(set_text("sun.Next", "x"), 0u) << "links are read only";
}

TEST_F(AttributePaths, LinksLeadToNeighboursAndNowhereAtTheEndsOfAList) {
  Q7Object *second =
      Q7ObjectCreate(900, uint32_t{Q7A_NAME}, "second", uint32_t{Q7A_ADD_TO_LIST}, &data(scene_).members, 0);
  EXPECT_EQ(get<Q7Object *>("light.Next"), second);
  EXPECT_STREQ(get<const char *>("light.Next.Name"), "second");
  EXPECT_EQ(get<Q7Object *>("second.Previous"), light_);
  EXPECT_EQ(get<Q7Object *>("second.Next"), nullptr);
  EXPECT_EQ(get<Q7Object *>("light.Previous"), nullptr);
  EXPECT_EQ(try_get("second.Next.Name"), 0u);
  EXPECT_EQ(try_get("Next.Name"), 0u) << "in no list";
  Q7ObjectDelete(second);
}

TEST_F(AttributePaths, ChannelsAreReachedByName) {
  EXPECT_EQ(get<double>("light.lamp.Color.r"), 1);
  EXPECT_EQ(row_.type, 2u) << "a channel is a float";
  EXPECT_EQ(get<double>("light.lamp.Color.a"), 4);
  EXPECT_EQ(get<double>("light.lamp.Vector.z"), 11);
  EXPECT_EQ(get<double>("light.lamp.Vector4.w"), 15);
  for (const char *path : {"light.lamp.Rgb.a", "light.lamp.Vector.w", "light.lamp.Color.x", "light.lamp.Color.r.r",
                           "light.lamp.Number.x", "light.lamp.Color.", "light.lamp.Text.x"}) {
    EXPECT_EQ(try_get(path), 0u) << path;
  }
  EXPECT_EQ(set_text("light.lamp.Color.g", "0.25"), 1u);
  EXPECT_EQ(data(lamp_).rgba[1], 0.25);
  EXPECT_EQ(data(lamp_).rgba[2], 3) << "the other channels stay";
  EXPECT_EQ(set("light.lamp.Vector.y", 0.75), 1u);
  EXPECT_EQ(data(lamp_).vector[1], 0.75);
}

TEST_F(AttributePaths, IndexedRowsTakeTheirIndicesFromTheText) {
  EXPECT_EQ(get<double>("light.lamp.Point[2]"), 22);
  EXPECT_EQ(get<double>("light.lamp.Grid[1][2]"), 35);
  EXPECT_EQ(get<int32_t>("light.lamp.Third"), 42) << "a fixed index needs none";
  for (const char *path : {"light.lamp.Point", "light.lamp.Point[4]", "light.lamp.Point[]", "light.lamp.Point[1",
                           "light.lamp.Point[x]", "light.lamp.Point[1][1]", "light.lamp.Grid[1]", "light.lamp.Third[1]",
                           "light.lamp.Number[0]", "light.lamp.Point[99999999999]", "light.lamp.Point[1]x", "[1]"}) {
    EXPECT_EQ(try_get(path), 0u) << path;
  }
  EXPECT_EQ(set_text("light.lamp.Point[3]", "-1.5"), 1u);
  EXPECT_EQ(data(lamp_).points[3], -1.5);
  EXPECT_EQ(set_text("light.lamp.Third", "99"), 1u);
  EXPECT_EQ(data(lamp_).fixed[2], 99);
}

TEST_F(AttributePaths, ValuesAreSetInTheFormOfTheirType) {
  EXPECT_EQ(set("light.lamp.Number", int32_t{-9}), 1u);
  EXPECT_EQ(data(lamp_).number, -9);
  EXPECT_EQ(set("light.lamp.Ratio", 2.25), 1u);
  EXPECT_EQ(data(lamp_).ratio, 2.25);
  EXPECT_EQ(set("light.lamp.Word", int16_t{300}), 1u);
  EXPECT_EQ(data(lamp_).word, 300);
  EXPECT_EQ(set("light.lamp.Byte", int8_t{-100}), 1u);
  EXPECT_EQ(data(lamp_).byte, -100);
  EXPECT_EQ(set("light.lamp.Color", Doubles{{4, 3, 2, 1}}), 1u);
  EXPECT_EQ(data(lamp_).rgba[0], 4);
  EXPECT_EQ(set("light.lamp.Text", "changed"), 1u);
  EXPECT_STREQ(data(lamp_).text, "changed");
  EXPECT_EQ(set("light.Child", scene_), 1u);
  EXPECT_EQ(data(light_).child, scene_);
}

TEST_F(AttributePaths, TextsAreConvertedByTheRowsType) {
  EXPECT_EQ(set_text("light.lamp.Number", " +12 "), 1u);
  EXPECT_EQ(data(lamp_).number, 12);
  EXPECT_EQ(set_text("light.lamp.Number", "-2147483648"), 1u);
  EXPECT_EQ(set_text("light.lamp.Ratio", "1e-3"), 1u);
  EXPECT_EQ(data(lamp_).ratio, 1e-3);
  EXPECT_EQ(set_text("light.lamp.Word", "-32768"), 1u);
  EXPECT_EQ(set_text("light.lamp.Byte", "127"), 1u);
  EXPECT_EQ(set_text("light.lamp.Rgb", "0.1 0.2 0.3"), 1u);
  EXPECT_EQ(data(lamp_).rgb[2], 0.3);
  EXPECT_EQ(set_text("light.lamp.Vector4", "1 2 3 4"), 1u);
  EXPECT_EQ(data(lamp_).vector4[3], 4);
  EXPECT_EQ(set_text("light.lamp.Text", "any 'text'"), 1u);
  EXPECT_STREQ(data(lamp_).text, "any 'text'");
}

TEST_F(AttributePaths, TextsThatDoNotConvertChangeNothing) {
  for (const char *text : {"", "x", "1x", "1 2", "2147483648", "1.5"}) {
    EXPECT_EQ(set_text("light.lamp.Number", text), 0u) << text;
  }
  EXPECT_EQ(data(lamp_).number, 7);
  EXPECT_EQ(set_text("light.lamp.Word", "32768"), 0u);
  EXPECT_EQ(set_text("light.lamp.Byte", "-129"), 0u);
  EXPECT_EQ(set_text("light.lamp.Vector", "1 2"), 0u);
  EXPECT_EQ(set_text("light.lamp.Vector", "1 2 3 4"), 0u);
  EXPECT_EQ(set_text("light.lamp.Color.r", ""), 0u);
  EXPECT_EQ(data(lamp_).vector[0], 9);
}

TEST_F(AttributePaths, ReadOnlyRowsCannotBeSet) {
  EXPECT_EQ(set_text("light.lamp.Locked", "1"), 0u);
  EXPECT_EQ(get<int32_t>("light.lamp.Locked"), 7);
}

TEST_F(AttributePaths, AxesAndCoordinateSystemsAreNotImplementedYet) {
  for (const char *path : {"light.lamp.Axis", "light.lamp.Coords"}) {
    EXPECT_EQ(try_get(path), 0u);
    EXPECT_EQ(set_text(path, "1"), 0u);
  }
  EXPECT_EQ(report_texts(), Texts(4, "Axis/coordsys not implemented yet"));
}

TEST_F(AttributePaths, OtherTypesAreReportedAsNotSupported) {
  EXPECT_EQ(try_get("light.lamp.Bool"), 0u);
  EXPECT_EQ(set_text("light.lamp.Matrix", "1"), 0u);
  EXPECT_EQ(set_text("light.Child", "lamp"), 0u);
  EXPECT_EQ(report_texts(), (Texts{"Not supported type 17", "Not supported type 23", "Not supported type 18"}));
  EXPECT_EQ(q7test::reports()[0].module, "q7root");
}

TEST_F(AttributePaths, TheRowAloneCanBeAskedFor) {
  row_ = {};
  EXPECT_EQ(send(scene_, Q7M_GET_BY_PATH, u64("light.lamp.Matrix"), u64(&row_), nullptr), 1u);
  EXPECT_EQ(row_.type, 23u);
  EXPECT_TRUE(report_texts().empty());
}

TEST_F(AttributePaths, WrongPathsAnswerZero) {
  const std::string long_path(100000, 'x');
  const std::string deep = [] {
    std::string path = "light";
    for (int i = 0; i < 5000; ++i) path += ".Next";
    return path;
  }();
  for (const char *path : {"nothing", "light.nothing", "light..lamp", "light.", "light.lamp.Number.", long_path.c_str(),
                           deep.c_str(), "Members.nothing", "]", "light[0]"}) {
    EXPECT_EQ(try_get(path), 0u) << std::string(path).substr(0, 40);
    EXPECT_EQ(set_text(path, "1"), 0u) << std::string(path).substr(0, 40);
  }
  EXPECT_EQ(send(scene_, Q7M_GET_BY_PATH, 0, 0, nullptr), 0u);
  EXPECT_EQ(send(scene_, Q7M_SET_BY_PATH, u64("Number"), 12, nullptr), 0u);
  EXPECT_EQ(set_text("", "1"), 0u);
}

TEST_F(AttributePaths, ExhaustionWhileCollectingTablesFindsWhatWasCollectedBefore) {
  for (int64_t n = 1; n <= 2; ++n) {
    q7test::AllocGate gate;
    gate.fail(n);
    const char *text = nullptr;
    const uint64_t result = send(lamp_, Q7M_GET_BY_PATH, u64("Text"), 0, slot(&text));
    EXPECT_EQ(gate.refused(), 1) << n;
    EXPECT_EQ(result, n == 1 ? 0u : 1u) << "the lamp's own table is the first";
  }
}

}  // namespace
