// q7compress: results against zlib's own one-shot functions and against streams written by hand.
#include "io/q7compress.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <string>
#include <vector>

namespace {

using Bytes = std::vector<uint8_t>;

Bytes pattern(size_t n) {
  Bytes data(n);
  for (size_t i = 0; i < n; ++i) data[i] = static_cast<uint8_t>(i * i / 7);
  return data;
}

TEST(Compress, BelowTheSmallestNothingIsTouched) {
  const Bytes source(127, 0);
  Bytes destination(1000, 0xAA);
  uint32_t length = 1000;
  EXPECT_EQ(Q7Compress(destination.data(), &length, source.data(), 127), 0);
  EXPECT_EQ(Q7Compress(destination.data(), &length, source.data(), 100), 0);
  EXPECT_EQ(length, 1000u);
  EXPECT_EQ(destination, Bytes(1000, 0xAA));
}

TEST(Compress, IsZlibWithTheDefaultLevel) {
  const Bytes source = pattern(5000);
  Bytes ours(6000), theirs(6000);
  uint32_t length = 6000;
  uLongf expected = 6000;
  ASSERT_EQ(Q7Compress(ours.data(), &length, source.data(), 5000), 1);
  ASSERT_EQ(compress2(theirs.data(), &expected, source.data(), 5000, -1), Z_OK);
  EXPECT_EQ(length, expected);
  EXPECT_EQ(ours, theirs);
}

TEST(Compress, TheSmallestIsPacked) {
  const Bytes source(128, 0);
  Bytes destination(200);
  uint32_t length = 200;
  EXPECT_EQ(Q7Compress(destination.data(), &length, source.data(), 128), 1);
  EXPECT_LT(length, 128u);
}

TEST(Compress, Compress2TakesSmallBuffersAndLevels) {
  const Bytes source(10, 'x');
  for (int level : {-1, 0, 1, 9}) {
    Bytes destination(200);
    uint32_t length = 200;
    EXPECT_EQ(Q7Compress2(destination.data(), &length, source.data(), 10, level), 1);
    Bytes back(10);
    uLongf size = 10;
    EXPECT_EQ(uncompress(back.data(), &size, destination.data(), length), Z_OK);
    EXPECT_EQ(back, source);
  }
  uint32_t length = 200;
  Bytes destination(200);
  EXPECT_EQ(Q7Compress2(destination.data(), &length, source.data(), 10, 10), 0);
  EXPECT_EQ(Q7Compress2(destination.data(), &length, source.data(), 10, -2), 0);
  EXPECT_EQ(length, 200u);
}

TEST(Compress, TooSmallADestinationFailsAndKeepsTheLength) {
  const Bytes source = pattern(5000);
  Bytes destination(100);
  uint32_t length = 100;
  EXPECT_EQ(Q7Compress(destination.data(), &length, source.data(), 5000), 0);
  EXPECT_EQ(length, 100u);
}

// "abc" in a stored deflate block between zlib's header and its checksum.
const Bytes kStored = {0x78, 0x01, 0x01, 0x03, 0x00, 0xFC, 0xFF, 'a', 'b', 'c', 0x02, 0x4D, 0x01, 0x27};

TEST(UnCompress, ReadsAStreamWrittenByHand) {
  Bytes back(10);
  uint32_t length = 10;
  ASSERT_EQ(Q7UnCompress(back.data(), &length, kStored.data(), 14), 1);
  EXPECT_EQ(length, 3u);
  EXPECT_EQ(std::string(back.begin(), back.begin() + 3), "abc");
}

TEST(UnCompress, TooSmallADestinationIsMinusFive) {
  const Bytes source = pattern(5000);
  Bytes packed(6000);
  uLongf size = 6000;
  ASSERT_EQ(compress(packed.data(), &size, source.data(), 5000), Z_OK);
  Bytes back(100);
  uint32_t length = 100;
  EXPECT_EQ(Q7UnCompress(back.data(), &length, packed.data(), static_cast<uint32_t>(size)), -5);
  EXPECT_EQ(length, 100u);
}

TEST(UnCompress, ACorruptStreamIsMinusThree) {
  Bytes damaged = kStored;
  damaged[13] ^= 1;  // checksum
  Bytes back(10);
  uint32_t length = 10;
  EXPECT_EQ(Q7UnCompress(back.data(), &length, damaged.data(), 14), -3);
  damaged = kStored;
  damaged[0] = 0xFF;  // header
  EXPECT_EQ(Q7UnCompress(back.data(), &length, damaged.data(), 14), -3);
  EXPECT_EQ(length, 10u);
}

TEST(UnCompress, DataThatEndTooEarlyAreZero) {
  Bytes back(10);
  uint32_t length = 10;
  for (uint32_t n = 0; n < 14; ++n) {
    EXPECT_EQ(Q7UnCompress(back.data(), &length, kStored.data(), n), 0) << n;
    EXPECT_EQ(length, 10u);
  }
}

TEST(UnCompress, ANeededDictionaryIsZero) {
  z_stream stream = {};
  ASSERT_EQ(deflateInit(&stream, 9), Z_OK);
  ASSERT_EQ(deflateSetDictionary(&stream, reinterpret_cast<const Bytef *>("hello"), 5), Z_OK);
  Bytes packed(100);
  const std::string text = "hello hello";
  stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(text.data()));
  stream.avail_in = 11;
  stream.next_out = packed.data();
  stream.avail_out = 100;
  ASSERT_EQ(deflate(&stream, Z_FINISH), Z_STREAM_END);
  const auto size = static_cast<uint32_t>(stream.total_out);
  deflateEnd(&stream);
  Bytes back(100);
  uint32_t length = 100;
  EXPECT_EQ(Q7UnCompress(back.data(), &length, packed.data(), size), 0);
}

TEST(UnCompress, NullsAreHarmless) {
  uint8_t byte = 0;
  uint32_t length = 1;
  EXPECT_EQ(Q7Compress2(nullptr, &length, &byte, 1, -1), 0);
  EXPECT_EQ(Q7Compress2(&byte, nullptr, &byte, 1, -1), 0);
  EXPECT_EQ(Q7Compress2(&byte, &length, nullptr, 1, -1), 0);
  EXPECT_EQ(Q7UnCompress(nullptr, &length, &byte, 1), 0);
  EXPECT_EQ(Q7UnCompress(&byte, nullptr, &byte, 1), 0);
  EXPECT_EQ(Q7UnCompress(&byte, &length, nullptr, 1), 0);
}

}  // namespace
