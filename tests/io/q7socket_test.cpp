// q7socket: blocks, sent and received, and the methods of connections.
#include "tests/io/q7socket_test.h"
#include "io/q7compress.h"

namespace {

using namespace sockettest;

// ---- Blocks that are sent ----

TEST_F(SocketTest, AHundredBytesAreAPlainBlock) {
  const std::string text = noise(100);
  EXPECT_EQ(write(text), 100u);
  EXPECT_FALSE(far_.pending());
  EXPECT_EQ(flush(), 0u);
  EXPECT_EQ(far_.read(105), bytes("\0\0\0\x64\0") + text);
}

TEST_F(SocketTest, TwoHundredZerosAreAPackedBlock) {
  const std::string text(200, 0);
  EXPECT_EQ(write(text), 200u);
  EXPECT_EQ(q7_flushsocket(stream()), 200);
  const std::string payload = packed(text);
  EXPECT_EQ(far_.read(5 + payload.size()), header(static_cast<uint32_t>(payload.size()), true) + payload);
}

TEST_F(SocketTest, PackedBlocksMayBeLongerThanTheirContent) {
  const std::string text = noise(1000);
  write(text);
  flush();
  const std::string payload = packed(text);
  ASSERT_GT(payload.size(), text.size());
  EXPECT_EQ(far_.read(5 + payload.size()), header(static_cast<uint32_t>(payload.size()), true) + payload);
}

TEST_F(SocketTest, SmallWritesGatherInOneBlock) {
  for (int i = 0; i < 10; ++i) iotest::put(obj(), Q7M_FILE_WRITE16, 0x4142);
  flush();
  EXPECT_EQ(far_.read(25), bytes("\0\0\0\x14\0") + "BABABABABABABABABABA");
}

TEST_F(SocketTest, AFullBufferIsSentWithoutAFlush) {
  const std::string text(Q7SOCKET_BLOCK, 'z');
  EXPECT_EQ(write(text), text.size());
  EXPECT_EQ(q7_flushsocket(stream()), 0);
  EXPECT_EQ(far_.read(packed_block(text).size()), packed_block(text));
}

TEST_F(SocketTest, OneByteMoreThanAFullBufferWaits) {
  const std::string text(Q7SOCKET_BLOCK + 1, 'z');
  EXPECT_EQ(write(text), text.size());
  EXPECT_EQ(q7_flushsocket(stream()), 1);
  const std::string expected = packed_block(text.substr(1)) + plain_block("z");
  EXPECT_EQ(far_.read(expected.size()), expected);
}

TEST_F(SocketTest, NothingWaitingIsNothingSent) {
  EXPECT_EQ(q7_flushsocket(stream()), 0);
  EXPECT_EQ(q7_flush_socket(stream(), -1), 1);
  EXPECT_EQ(flush(), 0u);
  EXPECT_EQ(q7_write(stream(), "", 1, 0, nullptr), 0u);
  EXPECT_EQ(q7_writesocket(stream(), -1, nullptr, 0), 1);
  EXPECT_EQ(q7_writesocket(stream(), -1, nullptr, -5), 1);
  EXPECT_FALSE(far_.pending());
}

TEST_F(SocketTest, ClosingFlushes) {
  write("last words");
  EXPECT_EQ(iotest::send(obj(), Q7M_FILE_CLOSE), 1u);
  EXPECT_EQ(far_.rest(), plain_block("last words"));
}

TEST_F(SocketTest, DisposingFlushes) {
  write("last words");
  EXPECT_EQ(object_->dispose(), 1u);
  EXPECT_EQ(far_.rest(), plain_block("last words"));
  object_ = std::make_unique<Object>(Q7C_FILE, client_tags(port_));
}

// ---- Blocks that arrive ----

TEST_F(SocketTest, ReadsAcrossBlocks) {
  far_.write(plain_block("1234") + plain_block("567890"));
  EXPECT_EQ(read(10), "1234567890");
}

TEST_F(SocketTest, ReadsPartsOfBlocksPlainAndPacked) {
  const std::string large = noise(3000) + std::string(3000, 'x');
  far_.write(packed_block(large) + plain_block("tail"));
  EXPECT_EQ(read(1), large.substr(0, 1));
  EXPECT_EQ(read(5998), large.substr(1, 5998));
  EXPECT_EQ(read(5), large.substr(5999) + "tail");
}

TEST_F(SocketTest, LengthZeroMeansAsManyPlainBytesAsTheWholeRequest) {
  far_.write(plain_block("12") + header(0, false) + "345678" + plain_block("end"));
  EXPECT_EQ(read(6), "123456");  // 2 bytes of a block, then a run of 6, of which 4 are handed out
  EXPECT_EQ(read(5), "78end");
}

TEST_F(SocketTest, LengthZeroWithAFlagIsPlainToo) {
  far_.write(header(0, true) + "abcd");
  EXPECT_EQ(read(4), "abcd");
}

TEST_F(SocketTest, AnyNonZeroFlagIsPacked) {
  const std::string payload = packed("hello");
  std::string block = header(static_cast<uint32_t>(payload.size()), true) + payload;
  block[4] = '\x80';
  far_.write(block);
  EXPECT_EQ(read(5), "hello");
}

TEST_F(SocketTest, APlainLengthIsCutToTheBuffer) {
  const std::string text(Q7SOCKET_BLOCK, 'p');
  far_.write(header(0xFFFFFFFF, false));
  std::thread writer([&] { far_.write(text); });
  EXPECT_EQ(read(text.size()), text);
  writer.join();
  far_.write(plain_block("next"));  // the next header follows the cut
  EXPECT_EQ(read(4), "next");
}

TEST_F(SocketTest, AnEmptyPackedBlockIsPassedOver) {
  far_.write(packed_block("") + plain_block("x"));
  EXPECT_EQ(read(1), "x");
}

TEST_F(SocketTest, GarbageInAPackedBlockCountsAsAFullBufferOfThisConnection) {
  far_.write(plain_block("secret") + header(10, true) + "0123456789");
  EXPECT_EQ(read(6), "secret");
  std::string text = read(Q7SOCKET_BLOCK);
  ASSERT_EQ(text.size(), static_cast<size_t>(Q7SOCKET_BLOCK));
  EXPECT_EQ(text, "secret" + std::string(Q7SOCKET_BLOCK - 6, 0));
  EXPECT_FALSE(dead());
}

TEST_F(SocketTest, APackedBlockThatUnpacksToMoreThanTheBufferIsCut) {
  far_.write(packed_block(std::string(Q7SOCKET_BLOCK + 100000, 'm')) + plain_block("next"));
  EXPECT_EQ(read(Q7SOCKET_BLOCK), std::string(Q7SOCKET_BLOCK, 'm'));
  EXPECT_EQ(read(4), "next");
}

TEST_F(SocketTest, APackedBlockThatEndsTooEarlyFails) {
  const std::string payload = packed(noise(500));
  far_.write(header(20, true) + payload.substr(0, 20));
  EXPECT_EQ(read(1), "failed");
  EXPECT_TRUE(dead());
}

TEST_F(SocketTest, APackedLengthAboveTheBufferFails) {
  far_.write(header(Q7SOCKET_PACKED + 1, true) + "x");
  EXPECT_EQ(read(1), "failed");
  EXPECT_TRUE(dead());
  EXPECT_EQ(error_of(obj()), 5508);
}

TEST_F(SocketTest, ReadingNothingAnswersItsCount) {
  char byte;
  EXPECT_EQ(q7_read(stream(), &byte, 0, 7, nullptr), 7u);
  EXPECT_EQ(q7_read(stream(), &byte, 7, 0, nullptr), 0u);
  EXPECT_EQ(q7_readsocket(stream(), stream() ? far_.get() : -1, &byte, 0), 0);
  EXPECT_FALSE(dead());
}

TEST_F(SocketTest, OverflowingCountsFail) {
  char byte;
  EXPECT_EQ(q7_read(stream(), &byte, ~uint64_t{0}, 2, nullptr), 0u);
  EXPECT_EQ(q7_write(stream(), &byte, ~uint64_t{0}, 2, nullptr), 0u);
}

TEST_F(SocketTest, LowLevelCallsMoveExactlyNBytes) {
  Plain client = Plain::connected(port_);
  Plain server = listener_.accept();
  EXPECT_EQ(q7_write_socket(client.get(), "abcdef", 6), 1);
  char buffer[8] = "";
  EXPECT_EQ(q7_read_socket(server.get(), buffer, 4), 1);
  EXPECT_STREQ(buffer, "abcd");
  EXPECT_EQ(q7_read_socket(-1, nullptr, 0), 1);
  EXPECT_EQ(q7_write_socket(-1, nullptr, -1), 1);
  EXPECT_EQ(q7_write_socket(-1, buffer, 1), 0);
  EXPECT_EQ(q7_read_socket(-1, buffer, 1), 0);
  client.close();
  EXPECT_EQ(q7_read_socket(server.get(), buffer, 3), 0);
}

// ---- Methods on connections ----

TEST_F(SocketTest, SeekAndTell) {
  EXPECT_EQ(call(obj(), Q7M_FILE_SEEK, {{Q7A_FILE_OFFSET, 5}}), 0u);
  EXPECT_THAT(errors(), IsEmpty());
  EXPECT_EQ(iotest::send(obj(), Q7M_FILE_TELL), 0u);
  EXPECT_THAT(errors(), ElementsAre("q7file: Q7FM_TELL with a socket"));
  EXPECT_EQ(iotest::send(obj(), Q7M_FILE_EXISTS), 0u);
}

TEST_F(SocketTest, TextsAndValues) {
  far_.write(plain_block(bytes("line\nstring\0\x05\0word\0\x01\x02\x03\x04")));
  char text[32];
  const Tags tags = {{Q7A_FILE_BUFFER, arg(text)}, {Q7A_FILE_LENGTH, 32}};
  EXPECT_EQ(call(obj(), Q7M_FILE_READ_LINE, tags), arg(text));
  EXPECT_STREQ(text, "line\n");
  EXPECT_EQ(call(obj(), Q7M_FILE_READ_STRING, tags), 6u);
  EXPECT_STREQ(text, "string");
  EXPECT_EQ(put(obj(), Q7M_FILE_READ_COUNTED, text), 1u);
  EXPECT_STREQ(text, "word");
  EXPECT_EQ(iotest::send(obj(), Q7M_FILE_GET), 1u);
  EXPECT_EQ(call(obj(), Q7M_FILE_READ, {{Q7A_FILE_LENGTH, 3}}), 1u);
  EXPECT_EQ(std::string(get<const char *>(obj(), Q7A_FILE_BUFFER), 3), "\x02\x03\x04");
  EXPECT_EQ(put(obj(), Q7M_FILE_PUT, 'c'), static_cast<uint64_t>('c'));
  EXPECT_EQ(put(obj(), Q7M_FILE_WRITE_TEXT, "text"), 1u);
  EXPECT_EQ(put(obj(), Q7M_FILE_WRITE32, 0x44434241), 1u);
  flush();
  EXPECT_EQ(far_.read(14), plain_block("ctextABCD"));
  EXPECT_EQ(iotest::send(obj(), Q7M_FILE_SCAN, arg("%d"), 0, nullptr), 0u);
  EXPECT_THAT(errors(), ElementsAre("q7file: Formatted read with a socket"));
}

TEST_F(SocketTest, OnlyTheBuffersThatAreUsedAreAllocated) {
  q7test::AllocGate gate;
  write("x");
  EXPECT_EQ(gate.count(), 2);  // write and packing buffer
  write("y");
  flush();
  EXPECT_EQ(gate.count(), 2);
  far_.write(plain_block("z"));
  read(1);
  EXPECT_EQ(gate.count(), 3);  // the read buffer; the packing buffer is shared
}

TEST_F(SocketTest, ExhaustionFailsCleanly) {
  for (int n = 1; n <= 2; ++n) {
    Object client(Q7C_FILE, client_tags(port_));
    q7test::AllocGate gate;
    gate.fail(n);
    EXPECT_EQ(q7_write(stream_of(client), "x", 1, 1, nullptr), 0u);
    EXPECT_EQ(iotest::send(client, Q7M_FILE_FLUSH), kMinusOne);
  }
  for (int n = 1; n <= 2; ++n) {
    Object client(Q7C_FILE, client_tags(port_));
    q7test::AllocGate gate;
    gate.fail(n);
    char byte;
    EXPECT_EQ(q7_read(stream_of(client), &byte, 1, 1, nullptr), 0u);
  }
}

TEST_F(SocketTest, TwoLibrariesUnderstandEachOther) {
  int32_t port = 0;
  Object server(Q7C_FILE, server_tags(&port));
  Object client(Q7C_FILE, client_tags(port));
  ASSERT_EQ(iotest::send(server, Q7M_FILE_ACCEPT), 1u);
  const std::string text = noise(3000000) + std::string(7000000, 'k') + noise(100);
  std::thread writer([&] {
    q7_write(stream_of(client), text.data(), 1, text.size(), nullptr);
    q7_flushsocket(stream_of(client));
  });
  std::string received(text.size(), 0);
  EXPECT_EQ(q7_read(stream_of(server), received.data(), 1, received.size(), nullptr), received.size());
  writer.join();
  EXPECT_TRUE(received == text);
}

}  // namespace
