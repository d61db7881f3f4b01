// Tests of core/q7typeid.cpp.
#include "core/q7typeid.h"

#include "tests/core/core_test.h"

namespace {

struct Row {
  uint32_t id;
  int32_t size, channels;
  uint32_t channel_type;
  const char *word;
  const char *names[4];
};
constexpr const char *kFail = "??? ";
const Row kRows[] = {
    {1, 4, 1, 1, "int ", {"", "", "", ""}},
    {2, 8, 1, 2, "float ", {"", "", "", ""}},
    {3, 2, 1, 3, "word ", {"", "", "", ""}},
    {4, 1, 1, 4, "byte ", {"", "", "", ""}},
    {5, 0, 0, 0, kFail, {kFail, kFail, kFail, kFail}},
    {6, 32, 4, 2, "float ", {"r", "g", "b", "a"}},
    {7, 4, 4, 4, "byte ", {"r", "g", "b", "a"}},
    {8, 24, 3, 2, "float ", {"r", "g", "b", "a"}},
    {9, 3, 3, 4, "byte ", {"r", "g", "b", "a"}},
    {10, 24, 3, 2, "vect ", {"x", "y", "z", "w"}},
    {11, 32, 4, 2, "vect ", {"x", "y", "z", "w"}},
    {12, 1, 1, 0, "string ", {"", "", "", ""}},
    {13, 6, 3, 3, "word ", {"x", "y", "z", "w"}},
    {14, 8, 4, 3, "word ", {"x", "y", "z", "w"}},
    {15, 12, 3, 1, "int3 ", {"x", "y", "z", "w"}},
    {16, 16, 4, 1, "int4 ", {"x", "y", "z", "w"}},
    {17, 1, 1, 4, "bool ", {"", "", "", ""}},
    {18, 0, 0, 0, "object ", {"", "", "", ""}},
    {19, 48, 6, 2, "axis ", {"", "", "", ""}},
    {20, 96, 12, 2, "coordsys ", {"", "", "", ""}},
    {21, 4, 0, 0, kFail, {kFail, kFail, kFail, kFail}},
    {22, 0, 0, 0, "object ", {kFail, kFail, kFail, kFail}},
    {23, 128, 16, 2, "matrix ", {"0", "1", "2", "3"}},
    {24, 0, 0, 0, kFail, {kFail, kFail, kFail, kFail}},
    {25, 16, 0, 0, kFail, {kFail, kFail, kFail, kFail}},
    {26, 8, 1, 26, "size_t ", {kFail, kFail, kFail, kFail}},
};

TEST(TypeIds, TheTable) {
  for (const Row &row : kRows) {
    EXPECT_EQ(Q7SizeofType(row.id), row.size) << row.id;
    EXPECT_EQ(Q7SubChannelCountOfType(row.id), row.channels) << row.id;
    EXPECT_EQ(Q7SubTypeOf(row.id), row.channel_type) << row.id;
    char text[32] = "";
    EXPECT_EQ(Q7TidToStr(text, row.id), row.word != kFail) << row.id;
    EXPECT_STREQ(text, row.word) << row.id;
    for (int channel = 0; channel < 4; ++channel) {
      char name[32] = "";
      EXPECT_EQ(Q7SubTidToStr(name, row.id, channel), row.names[channel] != kFail) << row.id;
      EXPECT_STREQ(name, row.names[channel]) << row.id;
    }
  }
}

TEST(TypeIds, OutsideOneToTwentySixEverythingIsZero) {
  for (uint32_t id : {0u, 27u, 0x7FFFFFFFu, 0xFFFFFFFFu, 0x80000001u}) {
    EXPECT_EQ(Q7SizeofType(id), 0);
    EXPECT_EQ(Q7SubChannelCountOfType(id), 0);
    EXPECT_EQ(Q7SubTypeOf(id), 0u);
    char text[32] = "a";
    EXPECT_EQ(Q7TidToStr(text, id), 0);
    EXPECT_STREQ(text, "a??? ");
  }
}

TEST(TypeIds, TheWordIsAppended) {
  char text[32] = "list ";
  EXPECT_EQ(Q7TidToStr(text, 8), 1);
  EXPECT_STREQ(text, "list float ");
}

TEST(TypeIds, AMatrixChannelReplacesTheBuffer) {
  char text[32] = "whatever it held";
  EXPECT_EQ(Q7SubTidToStr(text, 23, 5), 1);
  EXPECT_STREQ(text, "5");
}

TEST(TypeIds, AChannelAboveThreeAppendsNothing) {
  char text[32] = "same";
  EXPECT_EQ(Q7SubTidToStr(text, 10, 4), 1);
  EXPECT_STREQ(text, "same");
}

TEST(TypeIds, ChannelMinusOneAppendsNothing) {
  for (uint32_t id : {0u, 5u, 10u, 22u, 23u, 99u}) {
    char text[32] = "same";
    EXPECT_EQ(Q7SubTidToStr(text, id, -1), 1);
    EXPECT_STREQ(text, "same");
  }
}

TEST(TypeIds, AssignCopiesTheSizeOfTheType) {
  const char source[32] = "0123456789012345678901234567890";
  char destination[32];
  for (const Row &row : kRows) {
    if (row.size > 32) continue;
    std::memset(destination, '-', sizeof destination);
    EXPECT_EQ(Q7AssignType(destination, source, row.id), row.size);
    EXPECT_EQ(std::memcmp(destination, source, static_cast<size_t>(row.size)), 0);
    if (row.size < 32) {
      EXPECT_EQ(destination[row.size], '-');
    }
  }
  EXPECT_EQ(Q7AssignType(nullptr, nullptr, 18), 0) << "objects are not copied by value";
}

}  // namespace
