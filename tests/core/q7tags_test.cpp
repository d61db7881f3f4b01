// Tests of core/q7tags.cpp.
#include "core/q7tags.h"

#include "tests/core/core_test.h"

namespace {

using q7test::u64;
using Tags = q7test::Core;
constexpr uint64_t k64 = 0x1122334455667788;

TEST_F(Tags, NextWalksToTheEndAndStaysThere) {
  Q7TagItem list[] = {{10, 1}, {2, 2}, {3, 3}, {4, 4}, {0, 9}};
  Q7TagItem *state[1] = {list};
  for (int i = 0; i < 4; ++i) EXPECT_EQ(Q7TagNext(state), &list[i]) << "ids 2, 3 and 4 are ordinary";
  EXPECT_EQ(Q7TagNext(state), nullptr);
  EXPECT_EQ(state[0], &list[4]);
  EXPECT_EQ(Q7TagNext(state), nullptr);
}

TEST_F(Tags, NextFollowsLinksAndNeverReturns) {
  Q7TagItem second[] = {{20, 2}, {0, 0}};
  Q7TagItem list[] = {{10, 1}, {Q7TAG_LINK, u64(second)}, {30, 3}, {0, 0}};
  Q7TagItem *state[1] = {list};
  EXPECT_EQ(Q7TagNext(state), &list[0]);
  EXPECT_EQ(Q7TagNext(state), &second[0]);
  EXPECT_EQ(Q7TagNext(state), nullptr);
}

TEST_F(Tags, ANullLinkEndsTheList) {
  Q7TagItem list[] = {{Q7TAG_LINK, 0}, {10, 1}, {0, 0}};
  Q7TagItem *state[1] = {list};
  EXPECT_EQ(Q7TagNext(state), nullptr);
  EXPECT_EQ(Q7TagNext(state), nullptr);
}

TEST_F(Tags, TagFiveIsAStandingRedirectionToTheNextCursor) {
  Q7TagItem other[] = {{20, 2}, {21, 3}, {0, 0}};
  Q7TagItem list[] = {{10, 1}, {Q7TAG_NEXT_CURSOR, 0}, {30, 3}, {0, 0}};
  Q7TagItem *state[2] = {list, other};
  EXPECT_EQ(Q7TagNext(state), &list[0]);
  EXPECT_EQ(Q7TagNext(state), &other[0]);
  EXPECT_EQ(state[0], &list[1]) << "the first cursor is left on the tag-5 item";
  EXPECT_EQ(Q7TagNext(state), &other[1]);
  EXPECT_EQ(Q7TagNext(state), nullptr);
}

TEST_F(Tags, NextSWalksQueryItems) {
  uint32_t out = 0;
  Q7TagQuery second[] = {{20, &out, 4}, {0, nullptr, 0}};
  Q7TagQuery list[] = {{10, &out, 4}, {Q7TAG_LINK, second, 0}, {0, nullptr, 0}};
  Q7TagQuery *state[1] = {list};
  EXPECT_EQ(Q7TagNextS(state), &list[0]);
  EXPECT_EQ(Q7TagNextS(state), &second[0]);
  EXPECT_EQ(Q7TagNextS(state), nullptr);
}

TEST_F(Tags, FindTakesTheTagFirst) {
  Q7TagItem list[] = {{10, 1}, {10, 2}, {0, 0}};
  EXPECT_EQ(Q7TagFind(10, list), &list[0]);
  EXPECT_EQ(Q7TagFind(11, list), nullptr);
  EXPECT_EQ(Q7TagFind(10, nullptr), nullptr);
}

TEST_F(Tags, ValComparesBeforeItFollowsALink) {
  Q7TagItem second[] = {{20, k64}, {0, 0}};
  Q7TagItem list[] = {{10, 1}, {Q7TAG_LINK, u64(second)}, {0, 0}};
  EXPECT_EQ(Q7TagVal(list, 20, 7), k64);
  EXPECT_EQ(Q7TagVal(list, 1, 7), u64(second)) << "asked for tag 1: the link's pointer";
  EXPECT_EQ(Q7TagVal(list, 30, 7), 7u);
  EXPECT_EQ(Q7TagVal(nullptr, 30, 7), 7u);
  EXPECT_EQ(Q7TagVal(list, 0, 7), 7u);
}

TEST_F(Tags, ValDoesNotInterpretTagFive) {
  Q7TagItem list[] = {{Q7TAG_NEXT_CURSOR, 3}, {10, 1}, {0, 0}};
  EXPECT_EQ(Q7TagVal(list, 10, 7), 1u);
  EXPECT_EQ(Q7TagVal(list, 5, 7), 3u);
}

TEST_F(Tags, GetWithOneTagMissingFillsTheOthersAndReturnsZero) {
  Q7TagItem source[] = {{10, k64}, {20, 2}, {0, 0}};
  uint64_t ten = 0, thirty = 77, twenty = 0;
  EXPECT_EQ(Q7TagGet(source, 10u, &ten, 30u, &thirty, 20u, &twenty, 0), 0);
  EXPECT_EQ(ten, k64);
  EXPECT_EQ(thirty, 77u);
  EXPECT_EQ(twenty, 2u);
  EXPECT_EQ(Q7TagGet(source, 10u, &ten, 0), 1);
  EXPECT_EQ(Q7TagGet(source, 0), 1) << "nothing asked, nothing missing";
}

TEST_F(Tags, GetSCopiesTheGivenNumberOfBytes) {
  Q7TagItem source[] = {{10, k64}, {0, 0}};
  unsigned char out[16];
  for (uint32_t size = 1; size <= 8; ++size) {
    std::memset(out, 0xEE, sizeof out);
    EXPECT_EQ(Q7TagGetS(source, 10u, out, size, 0), 1);
    EXPECT_EQ(std::memcmp(out, &k64, size), 0);
    EXPECT_EQ(out[size], 0xEE);
  }
  std::memset(out, 0xEE, sizeof out);
  Q7TagQuery query[] = {{10, out, 100}, {11, out, 4}, {0, nullptr, 0}};
  EXPECT_EQ(Q7TagGetSA(source, query), 0);
  EXPECT_EQ(out[8], 0xEE) << "never more than the value has";
}

TEST_F(Tags, CopyFlattens) {
  Q7TagItem second[] = {{20, 2}, {0, 0}};
  Q7TagItem list[] = {{10, 1}, {Q7TAG_LINK, u64(second)}, {0, 0}};
  Q7TagItem out[4] = {{9, 9}, {9, 9}, {9, 9}, {9, 9}};
  Q7TagCopyA(out, list);
  EXPECT_EQ(out[0].tag, 10u);
  EXPECT_EQ(out[1].tag, 20u);
  EXPECT_EQ(out[2].tag, 0u);
  EXPECT_EQ(out[3].tag, 9u);
  Q7TagCopyA(out, nullptr);
  EXPECT_EQ(out[0].tag, 0u);
  Q7TagCopy(out, 5000u, uint64_t{5}, 6000u, uint64_t{6}, 0);
  EXPECT_EQ(out[1].tag, 6000u);
  EXPECT_EQ(out[1].data, 6u);
  EXPECT_EQ(out[2].tag, 0u);
}

TEST_F(Tags, ConcatAppendsBehindTheLinksOfTheDestination) {
  Q7TagItem second[4] = {{20, 2}, {0, 0}, {9, 9}, {9, 9}};
  Q7TagItem list[] = {{10, 1}, {Q7TAG_LINK, u64(second)}};
  Q7TagConcat(list, 30u, uint64_t{3}, 0);
  EXPECT_EQ(second[1].tag, 30u);
  EXPECT_EQ(second[1].data, 3u);
  EXPECT_EQ(second[2].tag, 0u);
}

TEST_F(Tags, ConcatOfAListToItselfEnds) {
  Q7TagItem list[6] = {{10, 1}, {20, 2}, {0, 0}, {9, 9}, {9, 9}, {9, 9}};
  Q7TagConcatA(list, list);
  EXPECT_EQ(list[2].tag, 10u);
  EXPECT_EQ(list[3].tag, 20u);
  EXPECT_EQ(list[4].tag, 0u);
}

// A call with n pairs of the tag 100 and the values 1, 2, 3...
template <size_t... I>
void copy_many(Q7TagItem *out, std::index_sequence<I...>) {
  Q7TagCopy(out, 100u, uint64_t{1}, (I % 2 == 0 ? uint64_t{100} : uint64_t{I / 2 + 2})..., 0);
}
template <size_t N>
std::vector<uint64_t> copied() {
  std::vector<Q7TagItem> out(300, Q7TagItem{9, 9});
  copy_many(out.data(), std::make_index_sequence<2 * (N - 1)>());
  std::vector<uint64_t> values;
  for (const Q7TagItem &item : out) {
    if (item.tag == 0) return values;
    EXPECT_EQ(item.tag, 100u);
    values.push_back(item.data);
  }
  ADD_FAILURE() << "not ended";
  return values;
}

TEST_F(Tags, TwoHundredFiftyFiveItemsPassWithoutAReport) {
  EXPECT_EQ(copied<255>().size(), 255u);
  EXPECT_TRUE(q7test::reports().empty());
}

TEST_F(Tags, ATwoHundredFiftySixthItemIsDeliveredAndReported) {
  const std::vector<uint64_t> values = copied<256>();
  ASSERT_EQ(values.size(), 256u);
  EXPECT_EQ(values.back(), 256u);
  ASSERT_EQ(q7test::reports().size(), 1u);
  EXPECT_EQ(q7test::reports()[0].text, "too many tags");
  EXPECT_EQ(q7test::reports()[0].module, "q7tags");
}

TEST_F(Tags, ItemsBehindTheTwoHundredFiftySixthAreNotRead) {
  EXPECT_EQ(copied<260>().size(), 256u);
  EXPECT_EQ(q7test::reports().size(), 1u);
}

TEST_F(Tags, GatheringStopsBehindALink) {
  Q7TagItem more[] = {{20, 2}, {0, 0}};
  Q7TagItem out[8] = {};
  Q7TagCopy(out, 10u, uint64_t{1}, uint32_t{Q7TAG_LINK}, more);
  EXPECT_EQ(out[0].tag, 10u);
  EXPECT_EQ(out[1].tag, 20u);
  EXPECT_EQ(out[2].tag, 0u);
}

}  // namespace
