// q7swap: byte order.
#include "io/q7swap.h"

#include <gmock/gmock.h>

namespace {

using ::testing::ElementsAre;

TEST(Swap, ReversesBytes) {
  uint32_t four = 0x01020304;
  EXPECT_EQ(Q7Swap(&four, 4), &four);
  EXPECT_EQ(four, 0x04030201u);
  uint8_t three[] = {1, 2, 3};
  Q7Swap(three, 3);
  EXPECT_THAT(three, ElementsAre(3, 2, 1));
  Q7Swap(three, 1);
  Q7Swap(three, -1);
  EXPECT_EQ(Q7Swap(nullptr, 4), nullptr);
  EXPECT_THAT(three, ElementsAre(3, 2, 1));
}

}  // namespace
