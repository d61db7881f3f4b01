// replay: runs what a fuzz target has collected through it, in an ordinary build.
#include <fstream>
#include <iterator>
#include <string>

#include "tests/support/test_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

namespace {

class Replay : public q7test::Test {};

TEST_F(Replay, Corpus) {
  int count = 0;
  for (const auto &entry : std::filesystem::directory_iterator(Q7_CORPUS)) {
    std::ifstream in(entry.path(), std::ios::binary);
    const std::string content{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    SCOPED_TRACE(entry.path().filename().string());
    EXPECT_EQ(LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(content.data()), content.size()), 0);
    ++count;
  }
  EXPECT_GT(count, 5);
}

}  // namespace
