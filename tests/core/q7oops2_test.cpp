// Tests of core/q7oops2.cpp: class settings.
#include "core/q7oops2.h"

#include <clocale>
#include <cstdlib>

#include "core/classdef.hpp"
#include "tests/core/core_test.h"

namespace {

using q7test::make_class;
using q7test::report_texts;
using q7test::u64;
using Texts = std::vector<std::string>;

// A class with one class-wide setting of every storable type.
struct Settings {
  int32_t count;
  int32_t flag;
  double ratio;
  double colour[4];
  double rgb[4];
  double place[3];
  std::string text;
};
Settings settings;

enum { kCount = 100500, kFlag, kRatio, kColour, kRgb, kPlace, kText, kUnknown, kAxis };

bool settings_set(const Q7TagItem &item) {
  switch (item.tag) {
    case kCount: settings.count = q7::value<int32_t>(item); return true;
    case kFlag: settings.flag = q7::flag(item); return true;
    case kRatio: settings.ratio = *q7::value<const double *>(item); return true;
    case kColour: std::memcpy(settings.colour, q7::value<const double *>(item), 32); return true;
    case kRgb: std::memcpy(settings.rgb, q7::value<const double *>(item), 32); return true;
    case kPlace: std::memcpy(settings.place, q7::value<const double *>(item), 24); return true;
    case kText: settings.text = q7::value<const char *>(item); return true;
    default: return false;
  }
}
bool settings_get(const Q7TagItem &item) {
  auto *out = q7::value<void *>(item);
  switch (item.tag) {
    case kCount: return q7::store<int32_t>(item, settings.count);
    case kFlag: return q7::store<int32_t>(item, settings.flag);
    case kRatio: return q7::store<double>(item, settings.ratio);
    case kColour: std::memcpy(out, settings.colour, 32); return true;
    case kRgb: std::memcpy(out, settings.rgb, 32); return true;
    case kPlace: std::memcpy(out, settings.place, 24); return true;
    case kText: return q7::store<const char *>(item, settings.text.c_str());
    default: return false;
  }
}
uint64_t settings_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  if (method != Q7M_SETCLASSATTRS && method != Q7M_GETCLASSATTRS) {
    return cl->superdispatch(cl->super, obj, method, a, b, tags);
  }
  uint64_t unknown = 0;
  for (Q7TagItem &item : q7::tags(tags)) {
    if (method == Q7M_SETCLASSATTRS ? settings_set(item) : settings_get(item)) continue;
    Q7TagItem single[2] = {item, {0, 0}};
    if (cl->superdispatch(cl->super, obj, method, 0, 0, single)) unknown = u64(&item);
  }
  return unknown;
}

Q7PublicAttribute row(const char *name, uint32_t tag, uint32_t type) { return {name, tag, type, 0, {}, 0, {}}; }

class ClassSettings : public q7test::Core {
 protected:
  ClassSettings()
      : rows_{row("Count", kCount, 1),   row("Flag", kFlag, 17),      row("Ratio", kRatio, 2),
              row("Colour", kColour, 6), row("Rgb", kRgb, 8),         row("Place", kPlace, 10),
              row("Text", kText, 12),    row("Unknown", kUnknown, 1), Q7PublicAttribute{}} {
    settings = {};
  }
  Q7Class *create() {
    return Q7ClassCreate(0, 100, settings_dispatch, 0, uint32_t{Q7CT_NAME}, "lamp", uint32_t{Q7CT_PUBATTRS}, rows_, 0);
  }
  std::map<std::string, std::string> &stored() { return fake::settings()["/q7root/lamp"]; }
  Q7PublicAttribute rows_[9];
};

TEST_F(ClassSettings, EveryTypeIsWrittenInItsForm) {
  Q7Class *cl = create();
  settings = {42, 1, 0.1, {1, 0.5, 0.25, 0}, {0.123456789, 2, 3, 9}, {-1.5, 1e10, 1e-7}, "a text"};
  EXPECT_EQ(Q7ClassWrite(cl), 0);
  EXPECT_EQ(stored()["Count"], "42");
  EXPECT_EQ(stored()["Flag"], "1");
  EXPECT_EQ(stored()["Ratio"], "0.1");
  EXPECT_EQ(stored()["Colour"], "1 0.5 0.25 0");
  EXPECT_EQ(stored()["Rgb"], "0.123457 2 3");
  EXPECT_EQ(stored()["Place"], "-1.5 1e+10 1e-07");
  EXPECT_EQ(stored()["Text"], "a text");
  EXPECT_EQ(fake::live().keys, 0);
}

TEST_F(ClassSettings, FloatsHaveTenDigitsAndChannelsSix) {
  Q7Class *cl = create();
  settings.ratio = 1.0 / 3;
  settings.colour[0] = 2.0 / 3;
  Q7ClassWrite(cl);
  EXPECT_EQ(stored()["Ratio"], "0.3333333333");
  EXPECT_EQ(stored()["Colour"], "0.666667 0 0 0");
}

TEST_F(ClassSettings, UnknownAttributesAreLeftUntouchedInTheStore) {
  Q7Class *cl = create();
  stored()["Unknown"] = "17";
  stored()["Foreign"] = "x";
  Q7ClassWrite(cl);
  EXPECT_EQ(stored()["Unknown"], "17");
  EXPECT_EQ(stored()["Foreign"], "x");
  EXPECT_TRUE(report_texts().empty()) << "the probe is silent";
}

TEST_F(ClassSettings, EverythingIsReadAtCreation) {
  stored() = {{"Count", "-7"},       {"Flag", "1"},         {"Ratio", "2.5"}, {"Colour", "1 2 3 4"},
              {"Rgb", "0.5 0.25 1"}, {"Place", "1e3 -2 0"}, {"Text", "hello"}};
  settings.rgb[3] = 9;
  create();
  EXPECT_EQ(settings.count, -7);
  EXPECT_EQ(settings.flag, 1);
  EXPECT_EQ(settings.ratio, 2.5);
  EXPECT_EQ(settings.colour[3], 4);
  EXPECT_EQ(settings.rgb[1], 0.25);
  EXPECT_EQ(settings.place[0], 1000);
  EXPECT_EQ(settings.place[1], -2);
  EXPECT_EQ(settings.text, "hello");
  EXPECT_EQ(fake::live().keys, 0);
}

TEST_F(ClassSettings, ARoundTripThroughTheStoreKeepsEverything) {
  create();
  settings = {INT32_MIN,          1, 123456.789, {0.1, 0.2, 0.3, 0.4}, {0.5, 0.6, 0.7, 0}, {100000, -1e-5, 3},
              "text with = and ;"};
  const Settings before = settings;
  free_oops();
  settings = {};
  ASSERT_EQ(Q7OopsInit(&app_), 1);
  Q7RegisterRootClass(&app_);
  create();
  EXPECT_EQ(settings.count, before.count);
  EXPECT_EQ(settings.flag, before.flag);
  EXPECT_EQ(settings.ratio, before.ratio);
  for (int i = 0; i < 4; ++i) EXPECT_EQ(settings.colour[i], before.colour[i]);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(settings.rgb[i], before.rgb[i]);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(settings.place[i], before.place[i]);
  EXPECT_EQ(settings.text, before.text);
  Q7OopsFree(&app_);
}

TEST_F(ClassSettings, EmptyAndBrokenColoursAreIgnored) {
  settings.colour[0] = 7;
  settings.place[0] = 8;
  stored() = {{"Colour", ""}, {"Place", "nonsense"}};
  create();
  EXPECT_EQ(settings.colour[0], 7);
  EXPECT_EQ(settings.place[0], 8);
}

TEST_F(ClassSettings, WhatAClassAcceptsWithoutAnsweringIsStoredAsPreset) {
  Q7Class *cl = Q7ClassCreate(
      0, 100, [](Q7Class *, Q7Object *, uint32_t, uint64_t, uint64_t, Q7TagItem *) { return uint64_t{0}; }, 0, 0);
  cl->header.name = "lamp";
  cl->pubattrs = rows_;
  EXPECT_EQ(Q7ClassWrite(cl), 0);
  EXPECT_EQ(stored()["Count"], "1234567890");
  EXPECT_EQ(stored()["Flag"], "1234567890");
  EXPECT_EQ(stored()["Ratio"], "1.797693135e+308");
  EXPECT_EQ(stored()["Colour"], "0.7 0.7 1.79769e+308 1.79769e+308");
  EXPECT_EQ(stored()["Rgb"], "0.7 0.7 1.79769e+308");
  EXPECT_EQ(stored()["Place"], "1.79769e+308 1.79769e+308 1.79769e+308");
  EXPECT_EQ(stored().count("Text"), 0u);
}

TEST_F(ClassSettings, ChannelsThatAShorterTextLeavesOutAreZero) {
  settings.colour[3] = 7;
  settings.place[2] = 8;
  stored() = {{"Colour", "1 0.5 0.25"}, {"Place", "2 3,5"}};
  create();
  EXPECT_EQ(settings.colour[2], 0.25);
  EXPECT_EQ(settings.colour[3], 0);
  EXPECT_EQ(settings.place[0], 2);
  EXPECT_EQ(settings.place[1], 3);
  EXPECT_EQ(settings.place[2], 0);
}

TEST_F(ClassSettings, AMissingKeyIsNoError) {
  settings.count = 3;
  Q7Class *cl = create();
  EXPECT_EQ(settings.count, 3);
  EXPECT_EQ(Q7ClassRead(cl), 0);
  fake::fail("Q7AppCreateRegistry");
  EXPECT_EQ(Q7ClassWrite(cl), 0);
  EXPECT_TRUE(report_texts().empty());
}

TEST_F(ClassSettings, WithoutTableOrNameThereIsNothingToDo) {
  Q7Class *plain = make_class(0, 101);
  fake::clear_calls();
  EXPECT_EQ(Q7ClassRead(plain), 1);
  EXPECT_EQ(Q7ClassWrite(plain), 1);
  plain->pubattrs = rows_;
  plain->header.name = nullptr;
  EXPECT_EQ(Q7ClassRead(plain), 1);
  EXPECT_EQ(Q7ClassWrite(plain), 1);
  EXPECT_EQ(Q7ClassRead(nullptr), 1);
  EXPECT_TRUE(fake::calls().empty());
  plain->pubattrs = nullptr;
  plain->header.name = "test";
}

TEST_F(ClassSettings, AnUnsupportedTypeIsReportedOncePerPassAndTheOthersAreDone) {
  rows_[7] = row("Axis", kAxis, 19);
  stored()["Count"] = "5";
  Q7Class *cl = create();
  EXPECT_EQ(settings.count, 5);
  ASSERT_EQ(report_texts(), Texts{"Type not supported"});
  EXPECT_EQ(q7test::reports()[0].module, "q7oops");
  Q7ClassWrite(cl);
  ASSERT_EQ(report_texts(), (Texts{"Type not supported", "Type not supported"}));
  EXPECT_EQ(q7test::reports()[1].module, "q7oops2");
  EXPECT_EQ(stored()["Text"], "");
  EXPECT_EQ(stored().count("Axis"), 0u);
}

TEST_F(ClassSettings, EveryOtherTypeIsUnsupported) {
  Q7Class *cl = create();
  for (uint32_t type = 0; type < 30; ++type) {
    q7test::reports().clear();
    rows_[0] = row("Only", kUnknown, type);
    rows_[1] = {};
    Q7ClassWrite(cl);
    Q7ClassRead(cl);
    const bool supported = type == 1 || type == 2 || type == 6 || type == 8 || type == 10 || type == 12 || type == 17;
    EXPECT_EQ(report_texts().size(), supported ? 0u : 2u) << type << ": once a pass";
  }
}

TEST_F(ClassSettings, NumbersKeepTheirFormInALocaleWithADecimalComma) {
  // A locale of the test's own, compiled for it: none need be installed on the machine.
  const std::string folder = home().string();
  ASSERT_EQ(std::system(("localedef -c -i de_DE -f UTF-8 '" + folder + "/de_DE.UTF-8' >/dev/null 2>&1").c_str()), 0);
  setenv("LOCPATH", folder.c_str(), 1);
  ASSERT_NE(std::setlocale(LC_ALL, "de_DE.UTF-8"), nullptr);
  ASSERT_STREQ(std::localeconv()->decimal_point, ",");
  stored() = {{"Colour", "0.5 1.5 2.5 3.5"}};
  Q7Class *cl = create();
  EXPECT_EQ(settings.colour[1], 1.5);
  settings.ratio = 0.25;
  Q7ClassWrite(cl);
  EXPECT_EQ(stored()["Ratio"], "0.25");
  EXPECT_EQ(stored()["Colour"], "0.5 1.5 2.5 3.5");
  std::setlocale(LC_ALL, "C");
}

TEST_F(ClassSettings, SettingsAreWrittenAtTheEndBetweenBeginAndEnd) {
  create();
  fake::clear_calls();
  free_oops();
  const Texts calls = fake::calls();
  ASSERT_GE(calls.size(), 4u);
  EXPECT_NE(calls.front().find("Q7AppBeginRegistryWrite(1)"), std::string::npos) << calls.front();
  EXPECT_EQ(fake::settings().count("/q7root/lamp"), 1u);
}

TEST_F(ClassSettings, ExhaustionWhileReadingAndWritingLeavesTheDefaults) {
  stored()["Count"] = "5";
  q7test::AllocGate gate;
  gate.fail(2);
  Q7Class *cl = create();
  gate.pass();
  ASSERT_NE(cl, nullptr);
  EXPECT_EQ(settings.count, 0);
  gate.fail(1);
  EXPECT_EQ(Q7ClassWrite(cl), 0);
  gate.pass();
  EXPECT_EQ(stored()["Count"], "5");
}

}  // namespace
