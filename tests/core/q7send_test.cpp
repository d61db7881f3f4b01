// Tests of core/q7send.cpp and the short senders of core/q7objects.cpp: lists of every length arrive whole, whichever
// way they are gathered.
#include <utility>

#include "tests/core/core_test.h"

namespace {

using q7test::make_class;
using q7test::u64;

using Items = std::vector<std::pair<uint32_t, uint64_t>>;

struct Received {
  uint32_t method;
  uint64_t a, b;
  Items items;
};
std::vector<Received> received;

uint64_t keep(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  if (method != Q7M_SET && method != Q7M_GET && method < 40)
    return cl->superdispatch(cl->super, obj, method, a, b, tags);
  Received message = {method, a, b, {}};
  for (const Q7TagItem *item = tags; item->tag; ++item) {
    message.items.emplace_back(item->tag, item->data);
    if (item->tag == Q7TAG_LINK) break;
  }
  received.push_back(message);
  return 0x123456789ABCDEF0;
}

// Calls sender(tag, value, ..., 0) with `count` pairs; every bit of a value matters. Tags travel as 64-bit arguments,
// of which the senders read the lower half: one type for all keeps the compiler's work small.
constexpr uint64_t value_of(size_t i) { return 0xFEDCBA9800000000 + i; }
template <size_t Count, size_t... I, class Sender>
auto send_pairs(std::index_sequence<I...>, Sender sender) {
  if constexpr (Count == 0) {
    return sender(0);
  } else {
    return sender(7000u, value_of(0), (I % 2 == 0 ? uint64_t{7001 + I / 2} : value_of(1 + I / 2))..., 0);
  }
}
template <size_t Count>
using Pairs = std::make_index_sequence<Count == 0 ? 0 : 2 * (Count - 1)>;
Items expected(size_t count) {
  Items items;
  for (size_t i = 0; i < count; ++i) items.emplace_back(7000 + i, value_of(i));
  return items;
}

class Senders : public q7test::Core {
 protected:
  void SetUp() override {
    Core::SetUp();
    ASSERT_NE(make_class(0, 100, keep), nullptr);
    obj_ = Q7ObjectCreate(100, 0);
    received.clear();
  }
  void TearDown() override {
    Q7ObjectDelete(obj_);
    Core::TearDown();
  }
  template <size_t Count, class Sender>
  void check_one(uint32_t method, uint64_t a, uint64_t b, Sender sender) {
    received.clear();
    EXPECT_EQ(send_pairs<Count>(Pairs<Count>(), sender), 0x123456789ABCDEF0u) << Count;
    ASSERT_EQ(received.size(), 1u) << Count;
    EXPECT_EQ(received[0].method, method);
    EXPECT_EQ(received[0].a, a);
    EXPECT_EQ(received[0].b, b);
    EXPECT_EQ(received[0].items, expected(Count));
  }
  template <class Sender>
  void check(uint32_t method, uint64_t a, uint64_t b, Sender sender) {
    check_one<0>(method, a, b, sender);
    check_one<1>(method, a, b, sender);
    check_one<2>(method, a, b, sender);
    check_one<3>(method, a, b, sender);
    check_one<4>(method, a, b, sender);
    check_one<5>(method, a, b, sender);
    check_one<9>(method, a, b, sender);
  }
  Q7Object *obj_ = nullptr;
};

TEST_F(Senders, SendMsgDeliversListsOfEveryLength) {
  check(100000, 0, 0, [&](auto... list) { return Q7SendMsg(obj_, 100000, list...); });
}

TEST_F(Senders, SendMsg2AndSendMsg3DeliverListsOfEveryLength) {
  check(100000, 5, 0, [&](auto... list) { return Q7SendMsg2(obj_, 100000, 5, list...); });
  check(100000, 5, 6, [&](auto... list) { return Q7SendMsg3(obj_, 100000, 5, 6, list...); });
}

TEST_F(Senders, ClassMessagesDeliverListsOfEveryLength) {
  check(100000, 0, 0, [&](auto... list) { return Q7SendClassMsg(100, 100000, list...); });
  check(100000, 5, 0, [&](auto... list) { return Q7SendClassMsg2(100, 100000, 5, list...); });
  check(100000, 5, 6, [&](auto... list) { return Q7SendClassMsg3(100, 100000, 5, 6, list...); });
}

TEST_F(Senders, SetAndGetDeliverListsOfEveryLength) {
  check(Q7M_SET, 0, 0, [&](auto... list) { return Q7Set(obj_, list...); });
  check(Q7M_SET, 0, 0, [&](auto... list) { return Q7SetAttrs(obj_, list...); });
  check(Q7M_GET, 0, 0, [&](auto... list) { return Q7Get(obj_, list...); });
  check(Q7M_GET, 0, 0, [&](auto... list) { return Q7GetAttrs(obj_, list...); });
}

TEST_F(Senders, InheritDeliversListsOfEveryLength) {
  make_class(100, 101, nullptr);
  Q7Object *below = Q7ObjectCreate(101, 0);
  check(100000, 0, 0, [&](auto... list) { return Q7Inherit(below->cl, below, 100000, list...); });
  check(100000, 5, 6, [&](auto... list) { return Q7Inherit3(below->cl, below, 100000, 5, 6, list...); });
  Q7ObjectDelete(below);
}

TEST_F(Senders, CreationTakesListsOfEveryLength) {
  Q7List list;
  Q7NewList(&list);
  const uint32_t other = 7000;
  Q7Object *made[] = {
      Q7ObjectCreate(0, 0),
      Q7ObjectCreate(0, uint32_t{Q7A_NAME}, "one", 0),
      Q7ObjectCreate(0, other, uint64_t{1}, uint32_t{Q7A_NAME}, "two", 0),
      Q7ObjectCreate(0, other, uint64_t{1}, uint32_t{Q7A_ADD_TO_LIST}, &list, uint32_t{Q7A_NAME}, "three", 0),
      Q7ObjectCreate(0, other, uint64_t{1}, other, uint64_t{2}, uint32_t{Q7A_ADD_TO_LIST}, &list, uint32_t{Q7A_NAME},
                     "four", 0),
  };
  EXPECT_EQ(made[0]->name, nullptr);
  EXPECT_STREQ(made[1]->name, "one");
  EXPECT_STREQ(made[2]->name, "two");
  EXPECT_STREQ(made[3]->name, "three");
  EXPECT_STREQ(made[4]->name, "four");
  EXPECT_EQ(Q7NodeCount(&list), 2);
  for (Q7Object *each : made) Q7ObjectDelete(each);
}

// What lies behind a link is not an argument of the sender at all.
TEST_F(Senders, ALinkEndsTheListAtEveryPlace) {
  Q7TagItem more[] = {{8000, 8}, {Q7TAG_END, 0}};
  const uint32_t link = Q7TAG_LINK;
  Q7SendMsg(obj_, 100000, link, more);
  Q7SendMsg(obj_, 100000, 7000u, value_of(0), link, more);
  Q7SendMsg(obj_, 100000, 7000u, value_of(0), 7001u, value_of(1), link, more);
  Q7SendMsg(obj_, 100000, 7000u, value_of(0), 7001u, value_of(1), 7002u, value_of(2), link, more);
  Q7Set(obj_, link, more);
  Q7Set(obj_, 7000u, value_of(0), link, more);
  Q7Set(obj_, 7000u, value_of(0), 7001u, value_of(1), link, more);
  ASSERT_EQ(received.size(), 7u);
  for (size_t i = 0; i < 7; ++i) {
    const size_t count = i % 4;
    Items items = expected(count);
    items.emplace_back(link, u64(more));
    EXPECT_EQ(received[i].items, items) << i;
  }
}

TEST_F(Senders, NobodyAndNoDispatcherAnswerZero) {
  EXPECT_EQ(Q7SendMsg(nullptr, 100000, 0), 0u);
  EXPECT_EQ(Q7SendMsg(nullptr, 100000, 7000u, value_of(0), 0), 0u);
  EXPECT_EQ(Q7SendMsg(nullptr, 100000, 7000u, value_of(0), 7001u, value_of(1), 7002u, value_of(2), 0), 0u);
  EXPECT_EQ(Q7Set(nullptr, 7000u, value_of(0), 0), 0u);
  EXPECT_EQ(Q7Get(nullptr, 7000u, value_of(0), 0), 0u);
  Q7Object mute = {};
  EXPECT_EQ(Q7SendMsg(&mute, 100000, 0), 0u);
  EXPECT_EQ(Q7SendMsg(&mute, 100000, 7000u, value_of(0), 0), 0u);
  EXPECT_EQ(Q7Set(&mute, 7000u, value_of(0), 0), 0u);
}

TEST_F(Senders, TheReceiverMayReadTheEmptyListOfAPlainMessage) {
  Q7SendMsg(obj_, 100000, 0);
  ASSERT_EQ(received.size(), 1u);
  EXPECT_TRUE(received[0].items.empty());
}

// Look-up walks four items a round; every place in a round, and links at every place, are found.
TEST_F(Senders, ValuesAreFoundAtEveryPlaceAndBehindLinksAtEveryPlace) {
  for (uint32_t length = 0; length < 12; ++length) {
    std::vector<Q7TagItem> list(length + 1);
    for (uint32_t i = 0; i < length; ++i) list[i] = {9000 + i, i};
    list[length] = {Q7TAG_END, 77};
    for (uint32_t i = 0; i < length; ++i) EXPECT_EQ(Q7TagVal(list.data(), 9000 + i, 99), i);
    EXPECT_EQ(Q7TagVal(list.data(), 9000 + length, 99), 99u);
    EXPECT_EQ(Q7TagVal(list.data(), Q7TAG_END, 99), 99u);
    EXPECT_EQ(Q7TagVal(list.data(), Q7TAG_LINK, 99), 99u);
    Q7TagItem more[] = {{5, 1}, {9500, 55}, {Q7TAG_END, 0}};
    list[length] = {Q7TAG_LINK, u64(more)};
    EXPECT_EQ(Q7TagVal(list.data(), 9500, 99), 55u);
    EXPECT_EQ(Q7TagVal(list.data(), Q7TAG_NEXT_CURSOR, 99), 1u) << "no control tag here";
    EXPECT_EQ(Q7TagVal(list.data(), Q7TAG_LINK, 99), u64(more));
    EXPECT_EQ(Q7TagVal(list.data(), 9501, 99), 99u);
    list[length] = {Q7TAG_LINK, 0};
    EXPECT_EQ(Q7TagVal(list.data(), 9501, 99), 99u) << "a null link is an end";
  }
}

}  // namespace
