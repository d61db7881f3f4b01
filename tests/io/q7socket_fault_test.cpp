// q7socket: far ends that go, stall or are slow, calls that are interrupted, short or fail.
#include "tests/io/q7socket_test.h"

namespace {

using namespace sockettest;

// ---- The far end goes, stalls, or is slow ----

TEST_F(SocketTest, APeerThatClosesAtEveryByteMarksTheStreamDead) {
  const std::string all = plain_block("abcd") + packed_block(std::string(300, 'q'));
  set_timeout(2);
  for (size_t cut = 0; cut < all.size(); ++cut) {
    Object client(Q7C_FILE, client_tags(port_));
    Plain far = listener_.accept();
    far.write(all.substr(0, cut));
    far.close();
    std::string text(304, 0);
    EXPECT_EQ(q7_read(stream_of(client), text.data(), 1, 304, nullptr), 0u) << cut;
    EXPECT_EQ(get<int32_t>(client, Q7A_FILE_DEAD), 1);
    EXPECT_EQ(iotest::send(client, Q7M_FILE_HAS_ERROR), 1u);
  }
}

TEST_F(SocketTest, APeerThatStallsIsATimeout) {
  set_timeout(1);
  for (const std::string &part : {std::string(), header(100, false).substr(0, 3), header(4, false) + "ab"}) {
    Object client(Q7C_FILE, client_tags(port_));
    Plain far = listener_.accept();
    far.write(part);
    const auto start = Clock::now();
    char buffer[4];
    EXPECT_EQ(q7_read(stream_of(client), buffer, 1, 4, nullptr), 0u);
    const auto seconds = std::chrono::duration<double>(Clock::now() - start).count();
    EXPECT_GT(seconds, 0.9);
    EXPECT_LT(seconds, 3);
    EXPECT_EQ(error_of(client), 5509);
    EXPECT_EQ(get<int32_t>(client, Q7A_FILE_DEAD), 1);
  }
}

TEST_F(SocketTest, APeerThatDoesNotReadIsATimeout) {
  set_timeout(1);
  const std::string text = noise(Q7SOCKET_BLOCK);
  const auto start = Clock::now();
  bool failed = false;
  q7test::Capture out(1);
  for (int i = 0; i < 20 && !failed; ++i) failed = write(text) == 0;
  EXPECT_EQ(out.stop(), "Error: socket timeout");
  EXPECT_TRUE(failed);
  EXPECT_LT(std::chrono::duration<double>(Clock::now() - start).count(), 30);
  EXPECT_EQ(error_of(obj()), 5509);
  EXPECT_EQ(flush(), kMinusOne);
  EXPECT_EQ(object_->dispose(), 0u);
  object_ = std::make_unique<Object>(Q7C_FILE, client_tags(port_));
}

TEST_F(SocketTest, ReadingADeadStreamStopsTheProcess) {
  far_.close();
  EXPECT_EQ(read(1), "failed");
  ASSERT_TRUE(dead());
  EXPECT_DEATH(
      {
        Q7AppSetErrorHandler(app(), print_error, 0);
        read(1);
      },
      "q7file/656/FATAL ERROR, attemp to read dead accepted socket\nAssertion failed: 0 \\(q7file:657\\)");
}

TEST_F(SocketTest, APeerThatHasGoneFailsTheFlushAndRaisesNoSignal) {
  ASSERT_NE(std::signal(SIGPIPE, SIG_DFL), SIG_ERR);
  far_.reset();
  bool failed = false;
  for (int i = 0; i < 20 && !failed; ++i) {
    write("x");
    failed = flush() == kMinusOne;
    usleep(10000);
  }
  EXPECT_TRUE(failed);
  EXPECT_EQ(flush(), kMinusOne);
  EXPECT_EQ(iotest::send(obj(), Q7M_FILE_CLOSE), 0u);
}

// ---- Interrupted and short calls ----

TEST_F(SocketTest, InterruptedCallsAreRepeated) {
  injected.send_error = injected.recv_error = injected.poll_error = EINTR;
  injected.sends = injected.recvs = injected.polls = 3;
  write("hello");
  EXPECT_EQ(flush(), 0u);
  EXPECT_EQ(far_.read(10), plain_block("hello"));
  injected.polls = 3;
  far_.write(plain_block("world"));
  EXPECT_EQ(read(5), "world");
}

TEST_F(SocketTest, NotReadyAfterAllIsRepeated) {
  injected.send_error = injected.recv_error = EAGAIN;
  injected.sends = injected.recvs = 1000;
  write("hello");
  EXPECT_EQ(flush(), 0u);
  far_.write(plain_block("world"));
  EXPECT_EQ(read(5), "world");
}

TEST_F(SocketTest, NeverReadyEndsWithTheTimeout) {
  set_timeout(1);
  injected.recv_error = EAGAIN;
  injected.recvs = 2000000000;
  far_.write(plain_block("world"));
  EXPECT_EQ(read(5), "failed");
  EXPECT_EQ(error_of(obj()), 5509);
}

TEST_F(SocketTest, OneByteAtATime) {
  injected.most = 1;
  const std::string text = noise(300);
  write(text);
  EXPECT_EQ(flush(), 0u);
  EXPECT_EQ(far_.read(packed_block(text).size()), packed_block(text));
  far_.write(packed_block(text));
  EXPECT_EQ(read(300), text);
}

TEST_F(SocketTest, TimeoutOfTheSystemIsPrinted) {
  injected.send_error = ETIMEDOUT;
  injected.sends = 1;
  write("x");
  q7test::Capture out(1);
  EXPECT_EQ(flush(), kMinusOne);
  EXPECT_EQ(out.stop(), "Error: socket timeout");
  EXPECT_EQ(error_of(obj()), 5509);
}

TEST_F(SocketTest, AHeaderThatCannotBeSentLeavesTheBytesWaiting) {
  injected.send_error = ENOBUFS;
  injected.sends = 1;
  write("hello");
  EXPECT_EQ(q7_flushsocket(stream()), -1);
  EXPECT_EQ(q7_flushsocket(stream()), 5);
  EXPECT_EQ(far_.read(10), plain_block("hello"));
}

TEST_F(SocketTest, APartOfABlockIsNeverFollowedByAnother) {
  write("hello");
  injected.most = 2;
  injected.sends_let = 1;
  injected.send_error = ENOBUFS;
  injected.sends = 1;
  EXPECT_EQ(q7_flushsocket(stream()), -1);  // two bytes of the header are out
  injected.most = 0;
  EXPECT_EQ(q7_flushsocket(stream()), -1);
  EXPECT_EQ(write("more"), 4u);
  EXPECT_EQ(flush(), kMinusOne);
  EXPECT_EQ(iotest::send(obj(), Q7M_FILE_CLOSE), 0u);
  EXPECT_EQ(far_.rest(), bytes("\0\0"));
}

TEST_F(SocketTest, ALostBlockIsNeverReportedAsSent) {
  injected.send_error = ENOBUFS;
  injected.sends = 1;
  EXPECT_EQ(write(std::string(Q7SOCKET_BLOCK, 'z')), 0u);
  EXPECT_EQ(error_of(obj()), 5508);
  EXPECT_EQ(flush(), kMinusOne);
  EXPECT_EQ(object_->dispose(), 0u);
  object_ = std::make_unique<Object>(Q7C_FILE, client_tags(port_));
}

TEST_F(SocketTest, ABrokenPipeEndsTheRetries) {
  EXPECT_EQ(q7broken_pipe(), 0);
  // A task class whose current task has received SIGPIPE.
  Q7Class *tasks = Q7ClassFind(Q7C_TASK);
  ASSERT_NE(tasks, nullptr);
  const Q7Dispatcher dispatch = tasks->header.dispatch;
  tasks->header.dispatch = [](Q7Class *, Q7Object *obj, uint32_t method, uint64_t, uint64_t, Q7TagItem *) -> uint64_t {
    return method == 1001 ? arg(obj) : method == 1004 ? SIGPIPE : 0;
  };
  EXPECT_EQ(q7broken_pipe(), 1);
  injected.send_error = injected.recv_error = EINTR;
  injected.sends = injected.recvs = 1;
  EXPECT_EQ(q7_write_socket(far_.get(), "x", 1), 0);
  char byte;
  far_.write(plain_block("a"));
  EXPECT_EQ(q7_read(stream(), &byte, 1, 1, nullptr), 0u);
  tasks->header.dispatch = dispatch;
}

}  // namespace
