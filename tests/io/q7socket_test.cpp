// q7socket: connections. The far end is a plain socket of the test, so what goes over the wire is written and read as
// bytes; blocks are packed and unpacked with zlib's own functions.
#include "io/q7socket.h"

#include <arpa/inet.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>
#include <zlib.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <thread>

#include "io/q7compress.h"
#include "io/q7swap.h"
#include "tests/io/io_test.h"

namespace {

using namespace iotest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Clock = std::chrono::steady_clock;

// ---- Injected failures of send, recv and poll ----

struct Injected {
  std::atomic<int> send_error{0}, recv_error{0}, poll_error{0};  // errno of the next calls
  std::atomic<int> sends{0}, recvs{0}, polls{0};                 // how many of them fail
  std::atomic<int> sends_let{0};                                 // sends that pass before that
  std::atomic<size_t> most{0};                                   // bytes that a call moves at most; 0: all
} injected;

bool inject(std::atomic<int> &count, const std::atomic<int> &error) {
  if (count <= 0) return false;
  --count;
  errno = error;
  return true;
}

template <class F>
F next(const char *name) {
  return reinterpret_cast<F>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" ssize_t send(int socket, const void *data, size_t n, int flags) {
  if (injected.sends_let > 0) {
    --injected.sends_let;
  } else if (inject(injected.sends, injected.send_error)) {
    return -1;
  }
  if (injected.most && n > injected.most) n = injected.most;
  static const auto real = next<ssize_t (*)(int, const void *, size_t, int)>("send");
  return real(socket, data, n, flags);
}
extern "C" ssize_t recv(int socket, void *data, size_t n, int flags) {
  if (inject(injected.recvs, injected.recv_error)) return -1;
  if (injected.most && n > injected.most) n = injected.most;
  static const auto real = next<ssize_t (*)(int, void *, size_t, int)>("recv");
  return real(socket, data, n, flags);
}
extern "C" int poll(pollfd *list, nfds_t n, int timeout) {
  if (inject(injected.polls, injected.poll_error)) return -1;
  static const auto real = next<int (*)(pollfd *, nfds_t, int)>("poll");
  return real(list, n, timeout);
}

namespace {

// A plain TCP socket of the test.
class Plain {
 public:
  explicit Plain(int descriptor = -1) : descriptor_(descriptor) {}
  ~Plain() { close(); }
  Plain(Plain &&other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
  Plain &operator=(Plain &&other) noexcept {
    std::swap(descriptor_, other.descriptor_);
    return *this;
  }
  static Plain listening(int *port) {
    Plain s(socket(AF_INET, SOCK_STREAM, 0));
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    if (bind(s.descriptor_, reinterpret_cast<sockaddr *>(&address), size) || listen(s.descriptor_, 5)) std::abort();
    getsockname(s.descriptor_, reinterpret_cast<sockaddr *>(&address), &size);
    *port = ntohs(address.sin_port);
    return s;
  }
  static Plain connected(int port) {
    Plain s(socket(AF_INET, SOCK_STREAM, 0));
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<uint16_t>(port));
    if (connect(s.descriptor_, reinterpret_cast<sockaddr *>(&address), sizeof address)) std::abort();
    return s;
  }
  Plain accept() { return Plain(::accept(descriptor_, nullptr, nullptr)); }
  void write(const std::string &text) {
    for (size_t done = 0; done < text.size();) {
      const ssize_t n = ::write(descriptor_, text.data() + done, text.size() - done);
      if (n <= 0) return;
      done += static_cast<size_t>(n);
    }
  }
  // Reads n bytes, or what there is until the end.
  std::string read(size_t n) {
    std::string text(n, 0);
    size_t done = 0;
    while (done < n) {
      const ssize_t got = ::read(descriptor_, text.data() + done, n - done);
      if (got <= 0) break;
      done += static_cast<size_t>(got);
    }
    text.resize(done);
    return text;
  }
  std::string rest() {
    std::string text;
    char part[65536];
    for (ssize_t n; (n = ::read(descriptor_, part, sizeof part)) > 0;) text.append(part, static_cast<size_t>(n));
    return text;
  }
  bool pending() const {
    pollfd p = {descriptor_, POLLIN, 0};
    return ::poll(&p, 1, 100) > 0;
  }
  void reset() {
    const linger on = {1, 0};
    setsockopt(descriptor_, SOL_SOCKET, SO_LINGER, &on, sizeof on);
    close();
  }
  void close() {
    if (descriptor_ >= 0) ::close(descriptor_);
    descriptor_ = -1;
  }
  int get() const { return descriptor_; }

 private:
  int descriptor_;
};

std::string header(uint32_t length, bool packed) {
  std::string text;
  for (int shift = 24; shift >= 0; shift -= 8) text += static_cast<char>(length >> shift);
  return text + static_cast<char>(packed);
}
std::string plain_block(const std::string &content) {
  return header(static_cast<uint32_t>(content.size()), false) + content;
}
std::string packed(const std::string &content) {
  uLongf size = compressBound(content.size());
  std::string text(size, 0);
  compress2(reinterpret_cast<Bytef *>(text.data()), &size, reinterpret_cast<const Bytef *>(content.data()),
            content.size(), -1);
  text.resize(size);
  return text;
}
std::string packed_block(const std::string &content) {
  const std::string payload = packed(content);
  return header(static_cast<uint32_t>(payload.size()), true) + payload;
}
std::string noise(size_t n) {
  std::string text(n, 0);
  uint32_t state = 12345;
  for (char &c : text) {
    state = state * 1664525 + 1013904223;
    c = static_cast<char>(state >> 24);
  }
  return text;
}

Tags client_tags(int port) {
  return {{Q7A_FILE_MODE, arg("c")}, {Q7A_FILE_HOST, arg("127.0.0.1")}, {Q7A_FILE_PORT, static_cast<uint64_t>(port)}};
}

// A client object and the plain end of its connection.
class SocketTest : public iotest::Test {
 protected:
  SocketTest() : listener_(Plain::listening(&port_)), object_(std::make_unique<Object>(Q7C_FILE, client_tags(port_))) {
    if (!obj()) std::abort();
    far_ = listener_.accept();
    set_timeout(5);
  }
  ~SocketTest() override {
    injected.sends = injected.recvs = injected.polls = 0;
    injected.most = 0;
    object_.reset();
  }
  Q7Object *obj() const { return *object_; }
  Q7Stream *stream() const { return stream_of(obj()); }
  uint64_t write(const std::string &text) const { return q7_write(stream(), text.data(), 1, text.size(), nullptr); }
  std::string read(size_t n) const {
    std::string text(n, 0);
    return q7_read(stream(), text.data(), 1, n, nullptr) == n ? text : "failed";
  }
  uint64_t flush() const { return iotest::send(obj(), Q7M_FILE_FLUSH); }
  bool dead() const { return get<int32_t>(obj(), Q7A_FILE_DEAD); }

  int port_ = 0;
  Plain listener_;
  std::unique_ptr<Object> object_;
  Plain far_;
};

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
  for (int i = 0; i < 20 && !failed; ++i) failed = write(text) == 0;
  EXPECT_TRUE(failed);
  EXPECT_LT(std::chrono::duration<double>(Clock::now() - start).count(), 30);
  EXPECT_EQ(error_of(obj()), 5509);
  EXPECT_EQ(flush(), kMinusOne);
  EXPECT_EQ(object_->dispose(), 0u);
  object_ = std::make_unique<Object>(Q7C_FILE, client_tags(port_));
}

int print_error(const char *module, int line, const char *text, ...) {
  return std::fprintf(stderr, "%s/%d/%s\n", module, line, text);
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

// ---- Servers ----

Tags server_tags(int32_t *port) {
  return {{Q7A_FILE_MODE, arg("s")},
          {Q7A_FILE_HOST, arg("127.0.0.1")},
          {Q7A_FILE_PORT, 0},
          {Q7A_FILE_BOUND_PORT, arg(port)}};
}

TEST_F(SocketTest, AServerPicksAFreePort) {
  int32_t port = 0;
  Object server(Q7C_FILE, server_tags(&port));
  ASSERT_NE(server, nullptr);
  EXPECT_GT(port, 0);
  EXPECT_EQ(get<int32_t>(server, Q7A_FILE_PORT), port);
  Plain client = Plain::connected(port);
  EXPECT_EQ(iotest::send(server, Q7M_FILE_ACCEPT), 1u);
  EXPECT_STREQ(get<const char *>(server, Q7A_FILE_PEER), "127.0.0.1");
  client.write(plain_block("ping"));
  char text[5] = "";
  EXPECT_EQ(q7_read(stream_of(server), text, 4, 1, nullptr), 1u);
  EXPECT_STREQ(text, "ping");
  q7_write(stream_of(server), "pong", 4, 1, nullptr);
  EXPECT_EQ(iotest::send(server, Q7M_FILE_CLOSE_ACCEPTED), 1u);
  EXPECT_EQ(client.rest(), plain_block("pong"));
  EXPECT_EQ(iotest::send(server, Q7M_FILE_CLOSE_ACCEPTED), 0u);
}

TEST_F(SocketTest, TheNextClientMeetsNothingOfTheOneBefore) {
  int32_t port = 0;
  Object server(Q7C_FILE, server_tags(&port));
  {
    Plain client = Plain::connected(port);
    ASSERT_EQ(iotest::send(server, Q7M_FILE_ACCEPT), 1u);
    client.write(plain_block("secret of the first"));
    char byte;
    EXPECT_EQ(q7_read(stream_of(server), &byte, 1, 1, nullptr), 1u);
  }
  Plain client = Plain::connected(port);
  ASSERT_EQ(iotest::send(server, Q7M_FILE_ACCEPT), 1u);  // closes the first
  client.write(header(3, true) + "zzz");
  std::string text(100, 'x');
  EXPECT_EQ(q7_read(stream_of(server), text.data(), 1, 100, nullptr), 100u);
  EXPECT_EQ(text, std::string(100, 0));
}

TEST_F(SocketTest, ReadingADeadAcceptedConnectionStopsTheProcess) {
  int32_t port = 0;
  Object server(Q7C_FILE, server_tags(&port));
  Plain::connected(port).close();
  ASSERT_EQ(iotest::send(server, Q7M_FILE_ACCEPT), 1u);
  char byte;
  EXPECT_EQ(q7_read(stream_of(server), &byte, 1, 1, nullptr), 0u);
  EXPECT_EQ(get<int32_t>(server, Q7A_FILE_DEAD), 1);
  EXPECT_DEATH(q7_read(stream_of(server), &byte, 1, 1, nullptr), "Assertion failed: 0 \\(q7file:647\\)");
}

TEST_F(SocketTest, AcceptWaitsForTheTimeoutOnly) {
  set_timeout(1);
  int32_t port = 0;
  Object server(Q7C_FILE, server_tags(&port));
  const auto start = Clock::now();
  EXPECT_EQ(iotest::send(server, Q7M_FILE_ACCEPT), 0u);
  EXPECT_LT(std::chrono::duration<double>(Clock::now() - start).count(), 3);
  EXPECT_EQ(error_of(server), 5509);
  EXPECT_EQ(iotest::send(obj(), Q7M_FILE_ACCEPT), 0u);  // no server
}

TEST_F(SocketTest, WaitAnswersLikeSelect) {
  set_timeout(1);
  EXPECT_EQ(iotest::send(obj(), Q7M_FILE_WAIT, 0), 0u);
  EXPECT_EQ(error_of(obj()), 5509);
  EXPECT_EQ(iotest::send(obj(), Q7M_FILE_WAIT, 1), 1u);
  far_.write(plain_block("ab"));
  EXPECT_EQ(iotest::send(obj(), Q7M_FILE_WAIT, 0), 1u);
  EXPECT_EQ(read(1), "a");
  EXPECT_EQ(iotest::send(obj(), Q7M_FILE_WAIT, 0), 1u);  // "b" is here already
  set_timeout(0);
  EXPECT_EQ(read(1), "b");
  EXPECT_EQ(iotest::send(obj(), Q7M_FILE_WAIT, 0), 0u);
}

// ---- Opening ----

TEST_F(SocketTest, RefusedConnectionsAre5501) {
  int port = 0;
  Plain::listening(&port).close();
  int32_t error = 0, system = 0;
  Tags tags = client_tags(port);
  tags.push_back({512, arg(&error)});
  tags.push_back({Q7A_FILE_SYSTEM_ERROR, arg(&system)});
  EXPECT_EQ(Q7ObjectCreateA(Q7C_FILE, list(tags).data()), nullptr);
  EXPECT_EQ(error, 5501);
  EXPECT_EQ(system, ECONNREFUSED);
}

TEST_F(SocketTest, WrongModesAndPortsAre5501) {
  const std::pair<const char *, int> cases[] = {{"r", port_}, {"", port_},  {nullptr, port_}, {"c", 0},
                                                {"c", -1},    {"c", 65536}, {"s", 70000}};
  for (const auto &[mode, port] : cases) {
    int32_t error = 0;
    const Tags tags = {{Q7A_FILE_MODE, arg(mode)},
                       {Q7A_FILE_HOST, arg("127.0.0.1")},
                       {Q7A_FILE_PORT, static_cast<uint64_t>(port)},
                       {512, arg(&error)}};
    EXPECT_EQ(Q7ObjectCreateA(Q7C_FILE, list(tags).data()), nullptr);
    EXPECT_EQ(error, 5501);
  }
}

TEST_F(SocketTest, NamesAndIpv6) {
  const Tags by_name = {
      {Q7A_FILE_MODE, arg("client")}, {Q7A_FILE_HOST, arg("localhost")}, {Q7A_FILE_PORT, static_cast<uint64_t>(port_)}};
  EXPECT_NE(Object(Q7C_FILE, by_name), nullptr);
  const Tags unnamed = {{Q7A_FILE_MODE, arg("c")}, {Q7A_FILE_HOST, 0}, {Q7A_FILE_PORT, static_cast<uint64_t>(port_)}};
  EXPECT_NE(Object(Q7C_FILE, unnamed), nullptr);
  int32_t port = 0;
  const Tags v6 = {
      {Q7A_FILE_MODE, arg("s")}, {Q7A_FILE_HOST, arg("::1")}, {Q7A_FILE_PORT, 0}, {Q7A_FILE_BOUND_PORT, arg(&port)}};
  Object server(Q7C_FILE, v6);
  // Where the machine itself has no IPv6 loopback, the stream is refused and nothing else.
  const Plain probe(socket(AF_INET6, SOCK_STREAM, 0));
  sockaddr_in6 loopback = {};
  loopback.sin6_family = AF_INET6;
  loopback.sin6_addr = in6addr_loopback;
  const bool has_v6 = bind(probe.get(), reinterpret_cast<sockaddr *>(&loopback), sizeof loopback) == 0;
  ASSERT_EQ(static_cast<bool>(server), has_v6);
  if (!has_v6) return;
  char peer[64] = "";
  const Tags client = {{Q7A_FILE_MODE, arg("c")},
                       {Q7A_FILE_HOST, arg("::1")},
                       {Q7A_FILE_PORT, static_cast<uint64_t>(port)},
                       {Q7A_FILE_PEER, arg(peer)}};
  EXPECT_NE(Object(Q7C_FILE, client), nullptr);
  EXPECT_STREQ(peer, "::1");
}

TEST_F(SocketTest, ConnectingIsBounded) {
  // A listener whose queue is full answers no further connection.
  Plain full(socket(AF_INET, SOCK_STREAM, 0));
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  ASSERT_EQ(bind(full.get(), reinterpret_cast<sockaddr *>(&address), size), 0);
  ASSERT_EQ(listen(full.get(), 0), 0);
  getsockname(full.get(), reinterpret_cast<sockaddr *>(&address), &size);
  Plain fills = Plain::connected(ntohs(address.sin_port));
  int32_t error = 0;
  Tags tags = client_tags(ntohs(address.sin_port));
  tags.push_back({Q7A_FILE_CONNECT_TIME, 1});
  tags.push_back({512, arg(&error)});
  const auto start = Clock::now();
  Q7Object *late = Q7ObjectCreateA(Q7C_FILE, list(tags).data());
  EXPECT_LT(std::chrono::duration<double>(Clock::now() - start).count(), 3);
  ASSERT_EQ(late, nullptr);
  EXPECT_EQ(error, 5509);
}

TEST_F(SocketTest, NewConnectionsArePrepared) {
  Plain client = Plain::connected(port_);
  EXPECT_EQ(setdefsockopts(client.get()), 1);
  int on = 0;
  socklen_t size = sizeof on;
  getsockopt(client.get(), IPPROTO_TCP, TCP_NODELAY, &on, &size);
  EXPECT_EQ(on, 1);
  EXPECT_EQ(setdefsockopts(-1), 0);
}

TEST_F(SocketTest, ReopeningOnAFile) {
  const std::string name = path("f");
  write("bye");
  EXPECT_EQ(call(obj(), Q7M_FILE_OPEN, file_tags(name, "w")), 1u);
  EXPECT_EQ(far_.rest(), plain_block("bye"));
  EXPECT_EQ(put(obj(), Q7M_FILE_WRITE_TEXT, "disk"), 1u);
  EXPECT_EQ(flush(), 0u);
  EXPECT_EQ(q7test::read_file(name), "disk");
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
