// Tests of core/q7root.cpp and core/classdef.cpp.
#include "core/q7root.h"

#include "core/classdef.hpp"
#include "tests/core/core_test.h"

namespace {

using q7test::make_class;
using q7test::report_texts;
using q7test::reports;
using q7test::send;
using q7test::slot;
using q7test::u64;
using Texts = std::vector<std::string>;

class Root : public q7test::Core {
 protected:
  void SetUp() override {
    Core::SetUp();
    obj_ = Q7ObjectCreate(0, uint32_t{Q7A_NAME}, "thing", 0);
  }
  void TearDown() override {
    Q7ObjectDelete(obj_);
    Core::TearDown();
  }
  template <class T>
  T get(uint32_t tag, T start = T{}) {
    T value = start;
    EXPECT_EQ(Q7Get(obj_, tag, &value, 0), 0u) << tag;
    return value;
  }
  Q7Object *obj_;
};

TEST_F(Root, RegistrationRunsOnce) {
  Q7Class *root = Q7ClassFind(0);
  EXPECT_EQ(Q7RegisterRootClass(&app_), 1);
  EXPECT_EQ(Q7ClassFind(0), root);
  EXPECT_STREQ(root->header.name, "q7root");
  EXPECT_EQ(root->super, nullptr);
  EXPECT_EQ(root->itotal, 48u);
  EXPECT_EQ(root->version, 1u);
  EXPECT_STREQ(root->organisation, "Karmonic");
  EXPECT_STREQ(root->module, "q7common");
  EXPECT_STREQ(root->description, "Root");
  EXPECT_EQ(root->pubattrs, nullptr) << "its own table answers without being registered";
  EXPECT_EQ(root->header.dispatch, Q7RootDispatch);
}

TEST_F(Root, ItsCatalogueIsOpenedByName) {
  Q7ObjectDelete(obj_);
  obj_ = nullptr;
  free_oops();
  fake::clear_calls();
  Q7OopsInit(&app_);
  Q7RegisterRootClass(&app_);
  EXPECT_EQ(fake::calls("Q7AppOpenLocale"), Texts{"Q7AppOpenLocale(q7common, q7root, 7)"});
  EXPECT_EQ(Q7ClassFind(0)->catalog[1].text, std::string("Cannot Read Object"));
  EXPECT_STREQ(Q7ClassFind(0)->catalog[4].key, "Name");
  Q7OopsFree(&app_);
}

TEST_F(Root, StringsComeFromTheReceivingClass) {
  EXPECT_STREQ(reinterpret_cast<const char *>(send(obj_, Q7M_STRING, 0, 0, slot(3))), "Undefined Method");
  make_class(0, 100);
  Q7Object *other = Q7ObjectCreate(100, 0);
  EXPECT_EQ(send(other, Q7M_STRING, 0, 0, slot(3)), 0u);
  EXPECT_EQ(report_texts(), Texts{"String 3 not found"});
  Q7ObjectDelete(other);
}

// ---- Reports about undefined members ----

TEST_F(Root, WithoutANamingServiceAttributesAreCalledMethodsToo) {
  EXPECT_EQ(send(obj_, 40), 0u);
  Q7Set(obj_, 9999u, uint64_t{0}, 0);
  EXPECT_EQ(report_texts(), (Texts{"Undefined Method 0:40", "Undefined Method 0:9999"}));
  EXPECT_EQ(reports()[0].module, "q7root");
}

// A naming service that knows some names.
std::vector<std::vector<uint64_t>> asked;
const char *class_text;
const char *member_text;
uint64_t naming(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  if (method != 700007) return cl->superdispatch(cl->super, obj, method, a, b, tags);
  asked.push_back({a, b, u64(tags)});
  return u64(b == 1 ? class_text : member_text);
}

class Named : public Root {
 protected:
  void SetUp() override {
    Root::SetUp();
    make_class(0, 700, naming);
    make_class(0, 100);
    asked.clear();
    Q7SetClassAttrs(0, uint32_t{Q7CT_NAMING_CLASS}, uint64_t{700}, uint32_t{Q7CT_NAMING_METHOD}, uint64_t{700007}, 0);
    Q7ObjectDelete(obj_);
    obj_ = Q7ObjectCreate(100, 0);
  }
};

TEST_F(Named, TheFourWordings) {
  for (int i = 0; i < 4; ++i) {
    class_text = i & 1 ? "Lamp" : nullptr;
    member_text = i & 2 ? "Flash" : nullptr;
    send(obj_, 41);
    Q7Get(obj_, 9999u, nullptr, 0);
  }
  EXPECT_EQ(report_texts(),
            (Texts{"Undefined Method 100:41", "Undefined Attribute 100:9999", "Undefined Method Lamp:41",
                   "Undefined Attribute Lamp:9999", "Undefined Method 100:Flash", "Undefined Attribute 100:Flash",
                   "Undefined Method Lamp:Flash", "Undefined Attribute Lamp:Flash"}));
}

TEST_F(Named, TheServiceIsAskedForTheClassThenForTheMember) {
  class_text = member_text = nullptr;
  send(obj_, 41);
  Q7Set(obj_, 9999u, uint64_t{0}, 0);
  EXPECT_EQ(asked, (std::vector<std::vector<uint64_t>>{{100, 1, 100}, {100, 2, 41}, {100, 1, 100}, {100, 3, 9999}}));
}

TEST_F(Named, AServiceThatDoesNotKnowItsMethodIsReportedOnce) {
  Q7SetClassAttrs(0, uint32_t{Q7CT_NAMING_METHOD}, uint64_t{700008}, 0);
  EXPECT_STREQ(reinterpret_cast<const char *>(send(Q7ClassFind(0), Q7M_CLASSNAME, 0, 0, slot(4321))), "?");
  EXPECT_EQ(report_texts(), Texts{"Undefined Method 700:700008"});
  Q7Get(obj_, 9999u, nullptr, 0);
  EXPECT_EQ(report_texts().back(), "Undefined Attribute 100:9999");
}

TEST_F(Root, TheReleaseOfAClassSentToAnObjectDoesNothing) {
  EXPECT_EQ(send(obj_, Q7M_CLASS_FREE), 1u);
  EXPECT_STREQ(reinterpret_cast<const char *>(send(Q7ClassFind(0), Q7M_STRING, 0, 0, slot(uint64_t{3}))),
               "Undefined Method");
}

TEST_F(Named, ClassNamesForReports) {
  class_text = "Lamp";
  EXPECT_STREQ(reinterpret_cast<const char *>(send(Q7ClassFind(0), Q7M_CLASSNAME, 0, 0, slot(4321))), "Lamp");
  EXPECT_EQ(asked, (std::vector<std::vector<uint64_t>>{{4321, 1, 4321}}));
  EXPECT_EQ(make_class(4321, 101), nullptr);
  EXPECT_EQ(report_texts(), Texts{"Class Not Installed: 4321 (Lamp)"});
}

TEST_F(Named, AServiceWhoseClassIsMissingCountsAsNone) {
  Q7SetClassAttrs(0, uint32_t{Q7CT_NAMING_CLASS}, uint64_t{4000}, 0);
  Q7Get(obj_, 9999u, nullptr, 0);
  EXPECT_EQ(report_texts(), Texts{"Undefined Method 100:9999"});
  EXPECT_STREQ(reinterpret_cast<const char *>(send(Q7ClassFind(0), Q7M_CLASSNAME, 0, 0, slot(5))), "?");
}

TEST_F(Named, AGetOfANameAndAnUnknownTagFillsTheOneAndAnswersTheOther) {
  class_text = member_text = nullptr;
  const char *name = "x";
  Q7TagItem list[] = {{Q7A_NAME, u64(&name)}, {9999, 0}, {0, 0}};
  EXPECT_EQ(send(obj_, Q7M_GET, 0, 0, list), u64(&list[1]));
  EXPECT_EQ(name, nullptr);
  EXPECT_EQ(report_texts(), Texts{"Undefined Attribute 100:9999"});
}

// ---- Attributes ----

TEST_F(Root, GettableAttributes) {
  EXPECT_EQ(get<int32_t>(Q7A_ERROR, 7), 0);
  EXPECT_STREQ(get<const char *>(Q7A_NAME), "thing");
  EXPECT_STREQ(get<const char *>(Q7A_NAME_TAKEN), "thing");
  EXPECT_EQ(get<uint32_t>(Q7A_CLASS_ID, 9), 0u);
  EXPECT_EQ(get<Q7Class *>(Q7A_CLASS), Q7ClassFind(0));
  EXPECT_STREQ(get<const char *>(Q7A_CLASS_NAME), "q7root");
  EXPECT_EQ(get<uint32_t>(Q7A_CLASS_VERSION), 1u);
  EXPECT_EQ(get<Q7Object *>(Q7A_SELF), obj_);
  EXPECT_EQ(get<int32_t>(Q7A_REFCOUNT, 9), 0);
  EXPECT_EQ(get<Q7Dispatcher>(Q7A_DISPATCHER), Q7RootDispatch);
  EXPECT_EQ(get<uint64_t>(Q7A_RESERVED545, 9), 0u);
  EXPECT_EQ(get<Q7Object *>(Q7A_NEXT, obj_), nullptr);
}

TEST_F(Root, ThirtyTwoBitAttributesStoreFourBytes) {
  for (uint32_t tag : {uint32_t{Q7A_ERROR}, uint32_t{Q7A_CLASS_ID}, uint32_t{Q7A_REFCOUNT}}) {
    EXPECT_EQ(get<uint64_t>(tag, 0xEEEEEEEEEEEEEEEE), 0xEEEEEEEE00000000u);
  }
}

TEST_F(Root, SettingTheNameToNullFreesItAndLeavesTheObjectUnnamed) {
  EXPECT_EQ(Q7Set(obj_, uint32_t{Q7A_NAME}, "new", 0), 0u);
  EXPECT_STREQ(obj_->name, "new");
  EXPECT_EQ(Q7Set(obj_, uint32_t{Q7A_NAME}, nullptr, 0), 0u);
  EXPECT_EQ(obj_->name, nullptr);
}

TEST_F(Root, ANameCanBeSetToItself) {
  Q7Set(obj_, uint32_t{Q7A_NAME}, obj_->name, 0);
  EXPECT_STREQ(obj_->name, "thing");
}

TEST_F(Root, ANameCanBeTakenWithoutCopying) {
  Q7StrFree(const_cast<char *>(obj_->name));
  char *name = Q7StrDup("given");
  Q7Set(obj_, uint32_t{Q7A_NAME_TAKEN}, name, 0);
  EXPECT_EQ(obj_->name, name);
}

TEST_F(Root, SettableFields) {
  Q7Object other = {};
  Q7Set(obj_, uint32_t{Q7A_NEXT}, &other, uint32_t{Q7A_PREVIOUS}, &other, 0);
  EXPECT_EQ(get<Q7Object *>(Q7A_NEXT), &other);
  EXPECT_EQ(get<Q7Object *>(Q7A_PREVIOUS), &other);
  Q7Set(obj_, uint32_t{Q7A_CLASS_ID}, uint64_t{77}, uint32_t{Q7A_IGNORED}, uint64_t{1}, 3u, uint64_t{1}, 4u,
        uint64_t{1}, 0);
  EXPECT_EQ(obj_->clid, 77u);
  obj_->clid = 0;
  Q7Set(obj_, uint32_t{Q7A_DISPATCHER}, Q7RootDispatch, 0);
  EXPECT_TRUE(reports().empty());
  Q7List list;
  Q7NewList(&list);
  Q7Set(obj_, uint32_t{Q7A_ADD_TO_LIST}, &list, 0);
  EXPECT_EQ(Q7IsInList(&list, reinterpret_cast<Q7Node *>(obj_)), 1);
}

TEST_F(Root, WhatCannotBeSetOrReadIsUndefined) {
  for (uint32_t tag : {512u, 528u, 545u, 515u, 516u, 530u}) EXPECT_NE(Q7Set(obj_, tag, uint64_t{0}, 0), 0u) << tag;
  for (uint32_t tag : {518u, 524u}) EXPECT_NE(Q7Get(obj_, tag, nullptr, 0), 0u) << tag;
  EXPECT_EQ(reports().size(), 8u);
}

TEST_F(Root, TheAnswerIsTheLastUnknownItem) {
  Q7TagItem list[] = {{9998, 0}, {9999, 0}, {Q7A_NAME, u64("x")}, {0, 0}};
  EXPECT_EQ(send(obj_, Q7M_SET, 0, 0, list), u64(&list[1]));
  EXPECT_STREQ(obj_->name, "x") << "processing goes on";
}

TEST_F(Root, SettingTheReferenceCountStopsTheProcess) {
  EXPECT_DEATH(
      {
        dup2(2, 1);
        Q7Set(obj_, uint32_t{Q7A_REFCOUNT}, uint64_t{1}, 0);
      },
      "Cannot set refcount(.|\n)*Assertion failed");
}

// ---- Class tags ----

TEST_F(Root, ClassTagsAreSetAndRead) {
  Q7Class *cl = make_class(0, 100, nullptr, 8);
  const Q7PublicAttribute table[] = {{"A", 1, 1, 0, {}, 0, {}}, {}};
  EXPECT_EQ(Q7SetClassAttrs(100, uint32_t{Q7CT_VALUE503}, ~uint64_t{0}, uint32_t{Q7CT_VALUE506}, uint64_t{6},
                            uint32_t{Q7CT_VERSION}, uint64_t{9}, uint32_t{Q7CT_DESCRIPTION}, "d",
                            uint32_t{Q7CT_ORGANISATION}, "o", uint32_t{Q7CT_MODULE}, "m", uint32_t{Q7CT_PUBATTRS},
                            table, uint32_t{Q7CT_NAME}, "n", uint32_t{Q7CT_CREATION_FLAG}, uint64_t{1}, 0),
            0);
  uint64_t v503 = 0, v506 = 0;
  const char *name, *description, *organisation, *module;
  const Q7PublicAttribute *rows;
  Q7Dispatcher dispatcher;
  uint32_t numbers[7] = {9, 9, 9, 9, 9, 9, 0xEEEEEEEE};
  EXPECT_EQ(Q7GetClassAttrs(100, uint32_t{Q7CT_VALUE503}, &v503, uint32_t{Q7CT_VALUE506}, &v506, uint32_t{Q7CT_NAME},
                            &name, uint32_t{Q7CT_DESCRIPTION}, &description, uint32_t{Q7CT_ORGANISATION}, &organisation,
                            uint32_t{Q7CT_MODULE}, &module, uint32_t{Q7CT_PUBATTRS}, &rows, uint32_t{Q7CT_DISPATCHER},
                            &dispatcher, uint32_t{Q7CT_NINSTANCES}, &numbers[0], uint32_t{Q7CT_SIZE}, &numbers[1],
                            uint32_t{Q7CT_ID}, &numbers[2], uint32_t{Q7CT_VERSION}, &numbers[3],
                            uint32_t{Q7CT_NSUBINSTANCES}, &numbers[4], uint32_t{Q7CT_SUPER}, &numbers[5], 0),
            0);
  EXPECT_EQ(v503, ~uint64_t{0});
  EXPECT_EQ(v506, 6u);
  EXPECT_STREQ(name, "n");
  EXPECT_STREQ(description, "d");
  EXPECT_STREQ(organisation, "o");
  EXPECT_STREQ(module, "m");
  EXPECT_EQ(rows, table);
  EXPECT_EQ(dispatcher, cl->header.dispatch);
  EXPECT_EQ(numbers[0], 0u);
  EXPECT_EQ(numbers[1], 56u) << "get of 504 is the total size";
  EXPECT_EQ(numbers[2], 100u);
  EXPECT_EQ(numbers[3], 9u);
  EXPECT_EQ(numbers[4], 0u);
  EXPECT_EQ(numbers[5], 0u);
  EXPECT_EQ(numbers[6], 0xEEEEEEEE) << "four bytes each";
  cl->pubattrs = nullptr;
  uint32_t super = 0;
  Q7GetClassAttrs(0, uint32_t{Q7CT_SUPER}, &super, 0);
  EXPECT_EQ(super, 0xFFFFFFFFu);
}

TEST_F(Root, SizeAndIdTagsChangeTheirFieldsOnly) {
  Q7Class *cl = make_class(0, 100, nullptr, 8);
  Q7SetClassAttrs(100, uint32_t{Q7CT_SIZE}, uint64_t{400}, 0);
  EXPECT_EQ(cl->isize, 400u);
  EXPECT_EQ(cl->itotal, 56u);
  Q7SetClassAttrs(100, uint32_t{Q7CT_ID}, uint64_t{200}, 0);
  EXPECT_EQ(cl->header.clid, 200u);
  EXPECT_EQ(Q7ClassFind(100), cl);
  EXPECT_EQ(Q7ClassFind(200), nullptr);
  const Q7Class *born = Q7ClassCreate(0, 101, nullptr, 8, uint32_t{Q7CT_SIZE}, uint64_t{400}, 0);
  EXPECT_EQ(born->itotal, 56u) << "no effect on the layout at creation either";
}

TEST_F(Root, TagsThatCannotBeSetOrReadAreUnknown) {
  for (uint32_t tag : {500u, 509u, 557u, 600u}) EXPECT_EQ(Q7SetClassAttrs(0, tag, uint64_t{0}, 0), 1) << tag;
  EXPECT_EQ(reports().size(), 4u);
  reports().clear();
  uint64_t value = 5;
  for (uint32_t tag : {508u, 556u, 560u, 600u}) EXPECT_EQ(Q7GetClassAttrs(0, tag, &value, 0), 1) << tag;
  EXPECT_TRUE(reports().empty()) << "a class get reports nothing";
  EXPECT_EQ(Q7SetClassAttrs(0, 3u, uint64_t{0}, 4u, uint64_t{0}, 0), 0);
}

TEST_F(Root, NamingTagsBelongToTheRootClass) {
  make_class(0, 100);
  EXPECT_EQ(Q7SetClassAttrs(100, uint32_t{Q7CT_NAMING_CLASS}, uint64_t{5}, 0), 1);
  EXPECT_EQ(Q7SetClassAttrs(0, uint32_t{Q7CT_NAMING_CLASS}, uint64_t{5}, uint32_t{Q7CT_NAMING_METHOD}, uint64_t{6}, 0),
            0);
  uint32_t clid = 0, method = 0;
  Q7GetClassAttrs(0, uint32_t{Q7CT_NAMING_CLASS}, &clid, uint32_t{Q7CT_NAMING_METHOD}, &method, 0);
  EXPECT_EQ(clid, 5u);
  EXPECT_EQ(method, 6u);
}

// ---- References ----

TEST_F(Root, ReleasingACountOfTwoReturnsTheObjectAndOfOneDisposesIt) {
  Q7Object *obj = Q7ObjectCreate(0, 0);
  EXPECT_EQ(send(obj, Q7M_ADDREF), u64(obj));
  EXPECT_EQ(send(obj, Q7M_ADDREF), u64(obj));
  EXPECT_EQ(obj->refcount, 2);
  EXPECT_EQ(send(obj, Q7M_RELEASE), u64(obj));
  EXPECT_EQ(send(obj, Q7M_RELEASE), 0u);
  EXPECT_EQ(Q7ClassFind(0)->ninstances, 1u);
}

TEST_F(Root, ReleasingACountOfZeroDisposesToo) {
  Q7Object *obj = Q7ObjectCreate(0, 0);
  EXPECT_EQ(send(obj, Q7M_RELEASE), 0u);
  EXPECT_EQ(Q7ClassFind(0)->ninstances, 1u);
}

// ---- Lists ----

TEST_F(Root, ListMethods) {
  Q7List list;
  Q7NewList(&list);
  Q7Object *b = Q7ObjectCreate(0, 0);
  Q7Object *c = Q7ObjectCreate(0, 0);
  EXPECT_EQ(send(obj_, Q7M_ADDHEAD, 0, 0, slot(&list)), 1u);
  EXPECT_EQ(send(b, Q7M_ADDTAIL, 0, 0, slot(&list)), 1u);
  EXPECT_EQ(send(c, Q7M_INSERT, 0, u64(obj_), slot(&list)), 1u);
  EXPECT_EQ(reinterpret_cast<Q7Object *>(list.head), obj_);
  EXPECT_EQ(reinterpret_cast<Q7Object *>(obj_->succ), c);
  EXPECT_EQ(reinterpret_cast<Q7Object *>(list.tail_pred), b);
  EXPECT_EQ(send(c, Q7M_REMOVE), u64(c));
  EXPECT_EQ(send(c, Q7M_REMOVE), u64(c)) << "twice harms nobody";
  EXPECT_EQ(reinterpret_cast<Q7Object *>(obj_->succ), b);
  Q7ObjectDelete(b);
  Q7ObjectDelete(c);
}

// ---- Copy ----

TEST_F(Root, ACopyOfANamedObjectHasItsOwnName) {
  make_class(0, 100, nullptr, 8);
  Q7Object *original = Q7ObjectCreate(100, uint32_t{Q7A_NAME}, "n", 0);
  std::memcpy(reinterpret_cast<char *>(original) + 48, "payload", 8);
  original->refcount = 5;
  original->clid = 77;
  auto *copy = reinterpret_cast<Q7Object *>(send(original, Q7M_COPY));
  ASSERT_NE(copy, nullptr);
  EXPECT_STREQ(copy->name, "n");
  EXPECT_NE(copy->name, original->name);
  EXPECT_EQ(copy->refcount, 0);
  EXPECT_EQ(copy->clid, 100u) << "from the class";
  EXPECT_STREQ(reinterpret_cast<char *>(copy) + 48, "payload");
  EXPECT_EQ(Q7ClassFind(100)->ninstances, 2u);
  Q7ObjectDelete(copy);
  Q7ObjectDelete(original);
}

// ---- Public attributes ----

TEST_F(Root, TablesAreCollectedAndReleased) {
  Q7List list;
  Q7NewList(&list);
  EXPECT_EQ(send(obj_, Q7M_COLLECT_TABLES, 0, 0, slot(&list)), 1u);
  ASSERT_EQ(Q7NodeCount(&list), 1);
  const auto *node = reinterpret_cast<Q7AttributeTableNode *>(list.head);
  EXPECT_EQ(node->node.name, nullptr);
  EXPECT_STREQ(node->table[0].name, "Name");
  EXPECT_EQ(node->table[0].tag, 513u);
  EXPECT_EQ(node->table[0].type, 12u);
  EXPECT_EQ(node->table[0].flags, 0u);
  EXPECT_STREQ(node->table[1].name, "Next");
  EXPECT_EQ(node->table[1].tag, 521u);
  EXPECT_EQ(node->table[1].type, 22u);
  EXPECT_EQ(node->table[1].flags, 0x100u);
  EXPECT_STREQ(node->table[2].name, "Previous");
  EXPECT_EQ(node->table[2].tag, 522u);
  EXPECT_EQ(node->table[3].name, nullptr);
  EXPECT_EQ(send(obj_, Q7M_FREE_TABLE_NODE, 0, 0, slot(&list)), 1u);
  EXPECT_EQ(Q7NodeCount(&list), 0);
  EXPECT_EQ(send(obj_, Q7M_FREE_TABLE_NODE, 0, 0, slot(&list)), 1u) << "an empty list is no harm";
}

TEST_F(Root, RowsByTagAndName) {
  char buffer[32] = "";
  EXPECT_EQ(send(obj_, Q7M_NAME_OF_TAG, 521, 0, slot(buffer)), u64(buffer));
  EXPECT_STREQ(buffer, "Next");
  EXPECT_EQ(send(obj_, Q7M_NAME_OF_TAG, 999, 0, slot(buffer)), 0u);
  Q7PublicAttribute row;
  std::memset(&row, 0xEE, sizeof row);
  EXPECT_EQ(send(obj_, Q7M_ROW_BY_NAME, u64("Next"), 0, slot(&row)), 1u);
  EXPECT_EQ(row.name, nullptr) << "the copy's name pointer is null";
  EXPECT_EQ(row.tag, 521u);
  EXPECT_EQ(row.type, 22u);
  EXPECT_EQ(row.flags, 0x100u);
  EXPECT_EQ(row.reserved2[2], 0u) << "the whole row";
  EXPECT_EQ(send(obj_, Q7M_ROW_BY_NAME, u64("Nothing"), 0, slot(&row)), 0u);
  EXPECT_EQ(send(obj_, Q7M_ROW_BY_TAG, 513, 0, slot(&row)), 1u);
  EXPECT_STREQ(row.name, "Name");
  EXPECT_EQ(send(obj_, Q7M_TAG_BY_NAME, 0, 0, slot("Previous")), 522u);
  EXPECT_EQ(send(obj_, Q7M_TAG_BY_NAME, 0, 0, slot("Nothing")), 0u);
}

// ---- Forwarding and the small methods ----

std::vector<std::vector<uint64_t>> forwarded;
uint64_t see_forward(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  if (method < 40) return cl->superdispatch(cl->super, obj, method, a, b, tags);
  forwarded.push_back({u64(obj), method, a, b, u64(tags)});
  if (tags && tags[0].tag == Q7A_SENDER) forwarded.push_back({tags[0].data, tags[1].tag, tags[1].data});
  return 99;
}

TEST_F(Root, ForwardSendsToATargetOrToItself) {
  make_class(0, 100, see_forward);
  Q7Object *a = Q7ObjectCreate(100, 0);
  Q7Object *b = Q7ObjectCreate(100, 0);
  forwarded.clear();
  Q7TagItem to_b[] = {{Q7A_TARGET, u64(b)}, {Q7A_METHOD, 100001}, {0, 0}};
  EXPECT_EQ(send(a, Q7M_FORWARD, 0, 0, to_b), 99u);
  ASSERT_EQ(forwarded.size(), 2u);
  EXPECT_EQ(forwarded[0][0], u64(b));
  EXPECT_EQ(forwarded[0][1], 100001u);
  EXPECT_EQ(forwarded[1], (std::vector<uint64_t>{u64(a), 1, u64(to_b)}));
  forwarded.clear();
  Q7TagItem to_self[] = {{Q7A_METHOD, 100002}, {0, 0}};
  EXPECT_EQ(send(a, Q7M_FORWARD, 0, 0, to_self), 99u);
  EXPECT_EQ(forwarded, (std::vector<std::vector<uint64_t>>{{u64(a), 100002, 0, 0, u64(to_self)}}));
  EXPECT_EQ(send(a, Q7M_FORWARD, 0, 0, nullptr), 0u) << "no method, no harm";
  forwarded.clear();
  EXPECT_EQ(send(a, Q7M_FORWARD_TO, u64(b), 100003, to_self), 99u);
  EXPECT_EQ(forwarded, (std::vector<std::vector<uint64_t>>{{u64(b), 100003, 0, 0, u64(to_self)}}));
  EXPECT_EQ(send(a, Q7M_FORWARD_TO, 0, 100003, to_self), 0u);
  forwarded.clear();
  EXPECT_EQ(send(a, Q7M_FORWARD_TO_CLASS, 0, 100004, to_self), 99u);
  EXPECT_EQ(forwarded[0][0], u64(Q7ClassFind(100)));
  Q7ObjectDelete(a);
  Q7ObjectDelete(b);
}

TEST_F(Root, SmallMethods) {
  EXPECT_EQ(send(obj_, 8), 0u) << "a notice nobody takes";
  EXPECT_EQ(send(obj_, 18), 1u);
  EXPECT_EQ(send(obj_, 20), 1u);
  EXPECT_EQ(send(obj_, 27), 1u);
  EXPECT_EQ(send(obj_, 38), 0u);
  EXPECT_EQ(send(obj_, 6), 1u);
  EXPECT_TRUE(reports().empty());
  const auto *table = reinterpret_cast<const Q7PublicAttribute *>(send(obj_, Q7M_ATTRIBUTE_TABLE));
  ASSERT_NE(table, nullptr);
  EXPECT_STREQ(table->name, "Name");
}

TEST_F(Root, OwnershipOfIdsIsOddOnPurpose) {
  EXPECT_EQ(send(obj_, Q7M_OWNS_ID, 0, 0, slot(0)), 0u);
  EXPECT_EQ(send(obj_, Q7M_OWNS_ID, 0, 0, slot(1)), 1u);
  EXPECT_EQ(send(obj_, Q7M_OWNS_ID, 0, 0, slot(999)), 1u);
  EXPECT_EQ(send(obj_, Q7M_OWNS_ID, 0, 0, slot(1000)), 0u);
  make_class(0, 100);
  Q7Object *other = Q7ObjectCreate(100, 0);
  for (uint32_t id : {100u, 1000u, 1099u, 100000u, 100001u, 100999u}) {
    EXPECT_EQ(send(other, Q7M_OWNS_ID, 0, 0, slot(id)), 0u) << "no id passes for classes of 1 and above";
  }
  Q7ObjectDelete(other);
}

TEST_F(Root, MethodsForClassesRefuseObjectsAndTheOtherWayRound) {
  EXPECT_EQ(send(obj_, Q7M_NEW), 0u);
  EXPECT_EQ(send(Q7ClassFind(0), Q7M_DISPOSE), 0u);
  EXPECT_EQ(send(Q7ClassFind(0), Q7M_COPY), 0u);
  EXPECT_EQ(Q7RootDispatch(nullptr, nullptr, 4, 0, 0, nullptr), 0u);
}

// ---- The shape that classes share ----

struct Lamp {
  int32_t on;
  Q7Object *shade;
};
bool lamp_set(Lamp &lamp, const Q7TagItem &item) {
  switch (item.tag) {
    case 900500: lamp.on = q7::flag(item); return true;
    case 900501: q7::replace_reference(lamp.shade, q7::value<Q7Object *>(item)); return true;
    default: return false;
  }
}
bool lamp_get(Lamp &lamp, const Q7TagItem &item) {
  return item.tag == 900500 ? q7::store<int32_t>(item, lamp.on) : false;
}
constexpr Q7PublicAttribute lamp_attributes[] = {{"On", 900500, Q7TID_BOOL, 0, {}, 0, {}}, {}};
bool lamp_refuses;
uint64_t lamp_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags);
Q7LocaleEntry lamp_strings[] = {{"ClassName", "Lamp", 0}, {"ClassDescription", "A lamp", 0}};
constexpr q7::ClassDef lamp_class = {.id = 900,
                                     .name = "q7lamp",
                                     .dispatch = lamp_dispatch,
                                     .size = sizeof(Lamp),
                                     .version = 3,
                                     .needs = Q7RegisterRootClass,
                                     .strings = lamp_strings,
                                     .string_count = 2,
                                     .attributes = lamp_attributes,
                                     .description_string = 1};
uint64_t lamp_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  switch (method) {
    case Q7M_NEW:
      return q7::create<Lamp>(cl, obj, a, b, tags, lamp_set, [](Lamp &, Q7Object *) { return !lamp_refuses; });
    case Q7M_DISPOSE: q7::release(q7::data<Lamp>(cl, obj).shade); return q7::inherit(cl, obj, method, a, b, tags);
    case Q7M_SET: return q7::set_attributes<Lamp>(cl, obj, tags, lamp_set);
    case Q7M_GET: return q7::get_attributes<Lamp>(cl, obj, tags, lamp_get);
    case Q7M_COLLECT_TABLES:
    case Q7M_NAME_OF_TAG:
    case Q7M_ROW_BY_NAME: return q7::public_attributes(lamp_attributes, cl, obj, method, a, b, tags);
    case Q7M_CLASS_FREE: return q7::class_free(lamp_class, cl, obj, a, b, tags);
    default: return q7::inherit(cl, obj, method, a, b, tags);
  }
}

class Lamps : public Root {
 protected:
  void SetUp() override {
    Root::SetUp();
    lamp_refuses = false;
    ASSERT_EQ(q7::register_once(&app_, lamp_class), 1);
  }
};

TEST_F(Lamps, RegisteringTwiceIsHarmless) {
  EXPECT_EQ(q7::register_once(&app_, lamp_class), 1);
  EXPECT_STREQ(Q7ClassFind(900)->description, "A lamp");
  EXPECT_EQ(Q7ClassFind(900)->version, 3u);
}

TEST_F(Lamps, OwnAttributesAreHandledAndOthersGoUpOneByOne) {
  Q7Object *lamp = Q7ObjectCreate(900, uint32_t{Q7A_NAME}, "l", 900500u, uint64_t{5}, 0);
  int32_t on = 0;
  const char *name = nullptr;
  EXPECT_EQ(Q7Get(lamp, 900500u, &on, uint32_t{Q7A_NAME}, &name, 0), 0u);
  EXPECT_EQ(on, 1);
  EXPECT_STREQ(name, "l");
  Q7TagItem list[] = {{900599, 0}, {900500, 0}, {0, 0}};
  EXPECT_EQ(send(lamp, Q7M_SET, 0, 0, list), u64(&list[0]));
  EXPECT_EQ(report_texts(), Texts{"Undefined Method 900:900599"});
  Q7ObjectDelete(lamp);
}

TEST_F(Lamps, ARefusedCreationLeavesNothing) {
  lamp_refuses = true;
  Q7List list;
  Q7NewList(&list);
  EXPECT_EQ(Q7ObjectCreate(900, uint32_t{Q7A_ADD_TO_LIST}, &list, 0), nullptr);
  EXPECT_EQ(Q7ClassFind(900)->ninstances, 0u);
  EXPECT_EQ(Q7NodeCount(&list), 0);
}

TEST_F(Lamps, ReferencesAreReplacedAndReleased) {
  Q7Object *shade = Q7ObjectCreate(0, 0);
  Q7Object *lamp = Q7ObjectCreate(900, 900501u, shade, 0);
  EXPECT_EQ(shade->refcount, 1);
  Q7Set(lamp, 900501u, shade, 0);
  EXPECT_EQ(shade->refcount, 1);
  Q7ObjectDelete(lamp);
  EXPECT_EQ(Q7ClassFind(0)->ninstances, 1u) << "the shade went with its last reference";
}

TEST_F(Lamps, TablesOfTheWholeChainAreFound) {
  Q7Object *lamp = Q7ObjectCreate(900, 0);
  Q7List list;
  Q7NewList(&list);
  EXPECT_EQ(send(lamp, Q7M_COLLECT_TABLES, 0, 0, slot(&list)), 1u);
  EXPECT_EQ(Q7NodeCount(&list), 2);
  while (Q7NodeCount(&list)) send(lamp, Q7M_FREE_TABLE_NODE, 0, 0, slot(&list));
  char buffer[32];
  EXPECT_EQ(send(lamp, Q7M_NAME_OF_TAG, 900500, 0, slot(buffer)), u64(buffer));
  EXPECT_STREQ(buffer, "On");
  EXPECT_EQ(send(lamp, Q7M_NAME_OF_TAG, 513, 0, slot(buffer)), u64(buffer));
  EXPECT_STREQ(buffer, "Name");
  Q7ObjectDelete(lamp);
}

TEST_F(Lamps, TheCatalogueIsClosedOnceWithItsClass) {
  make_class(900, 901);
  Q7ObjectDelete(obj_);
  obj_ = nullptr;
  fake::clear_calls();
  free_oops();
  EXPECT_EQ(fake::calls("Q7AppCloseLocale").size(), 2u) << "the lamp's and the root's";
}

}  // namespace
