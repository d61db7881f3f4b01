// Tests of core/q7memory.cpp.
#include <malloc.h>

#include "tests/core/core_test.h"

namespace {

using q7test::AllocGate;
using Memory = q7test::Core;

std::string shown_title;
std::string shown_text;
void show(Q7App *, const char *title, const char *text) {
  shown_title = title;
  shown_text = text;
}

TEST_F(Memory, AllocMemOfZeroBytesReturnsABlockOfEightBytes) {
  auto *block = static_cast<char *>(Q7AllocMem(0, 0));
  ASSERT_NE(block, nullptr);
  EXPECT_GE(malloc_usable_size(block), 8u);
  std::memset(block, 1, 8);
  Q7FreeMem(block, 0);
}

TEST_F(Memory, ClearFillsSmallAndLargeBlocksWithZeros) {
  for (uint64_t size : {8, 9, 100, 1024, 1025, 100000}) {
    auto *dirty = static_cast<char *>(Q7AllocMem(size, 0));
    std::memset(dirty, 0xAA, size);
    Q7FreeMem(dirty, size);
    auto *block = static_cast<char *>(Q7AllocMem(size, Q7MEM_CLEAR | 0x7));
    for (uint64_t i = 0; i < size; ++i) ASSERT_EQ(block[i], 0) << size;
    Q7FreeMem(block, size);
  }
}

TEST_F(Memory, FreeingNullIsAllowed) { Q7FreeMem(nullptr, 12); }

TEST_F(Memory, ExhaustionInAllocMemIsLoggedAndShownThroughTheMessageHook) {
  EXPECT_EQ(Q7AppSetMessageHook(&app_, show), nullptr);
  shown_title = "untouched";
  q7test::Capture out(1);
  AllocGate gate;
  gate.fail(1);
  EXPECT_EQ(Q7AllocMem(12345, 0), nullptr);
  gate.pass();
  EXPECT_EQ(shown_title, "");
  EXPECT_EQ(shown_text, "Cannot allocate 12345u bytes");
  EXPECT_NE(out.stop().find("    q7memory/"), std::string::npos);
  EXPECT_NE(out.stop().find(": Cannot allocate 12345u bytes\n"), std::string::npos);
  EXPECT_EQ(Q7AppSetMessageHook(&app_, nullptr), show);
  EXPECT_TRUE(q7test::reports().empty()) << "the error handler is not called";
}

TEST_F(Memory, ExhaustionInAllocSilentIsSilent) {
  q7test::Capture out(1);
  AllocGate gate;
  gate.fail(1);
  EXPECT_EQ(Q7AllocSilent(10, 0), nullptr);
  EXPECT_EQ(out.stop(), "");
}

TEST_F(Memory, AnImpossibleSizeIsExhaustion) { EXPECT_EQ(Q7AllocSilent(UINT64_MAX, 0), nullptr); }

TEST_F(Memory, ReAllocOfEqualSizesReturnsTheBlockUnchanged) {
  AllocGate gate;
  void *block = Q7AllocMem(20, 0);
  EXPECT_EQ(Q7ReAllocMem(block, 20, 20, 0), block);
  EXPECT_EQ(gate.count(), 1);
  EXPECT_EQ(Q7ReAllocMem(nullptr, 5, 5, 0), nullptr);
  Q7FreeMem(block, 20);
}

TEST_F(Memory, ReAllocOfNullAllocates) {
  auto *block = static_cast<char *>(Q7ReAllocMem(nullptr, 0, 16, Q7MEM_CLEAR));
  for (int i = 0; i < 16; ++i) EXPECT_EQ(block[i], 0);
  Q7FreeMem(block, 16);
}

TEST_F(Memory, ReAllocKeepsBytesAndClearsTheGrownTailFromEightUp) {
  auto *block = static_cast<char *>(Q7AllocMem(3, 0));
  std::memset(block, 7, 8);
  block = static_cast<char *>(Q7ReAllocMem(block, 3, 4000, Q7MEM_CLEAR));
  for (int i = 0; i < 8; ++i) EXPECT_EQ(block[i], 7) << "bytes below max(oldsize, 8) are kept";
  for (int i = 8; i < 4000; ++i) ASSERT_EQ(block[i], 0);
  Q7FreeMem(block, 4000);
}

TEST_F(Memory, AFailedReAllocReturnsNullWithoutAReportAndKeepsTheBlock) {
  auto *block = static_cast<char *>(Q7AllocMem(16, 0));
  std::strcpy(block, "kept");
  q7test::Capture out(1);
  AllocGate gate;
  gate.fail(1);
  EXPECT_EQ(Q7ReAllocMem(block, 16, 32, 0), nullptr);
  EXPECT_EQ(out.stop(), "");
  EXPECT_STREQ(block, "kept");
  Q7FreeMem(block, 16);
}

}  // namespace
