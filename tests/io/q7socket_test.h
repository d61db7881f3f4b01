// q7socket_test: what the tests of connections share. The far end is a plain socket of the test, so what goes over the
// wire is written and read as bytes; blocks are packed and unpacked with zlib's own functions.
#ifndef Q7_TESTS_IO_Q7SOCKET_TEST_H
#define Q7_TESTS_IO_Q7SOCKET_TEST_H

#include <arpa/inet.h>
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

#include "io/q7socket.h"
#include "tests/io/io_test.h"

namespace sockettest {

using namespace iotest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Clock = std::chrono::steady_clock;

// Failures of send, recv and poll (q7socket_inject.cpp stands in front of the system's).
struct Injected {
  std::atomic<int> send_error{0}, recv_error{0}, poll_error{0};  // errno of the next calls
  std::atomic<int> sends{0}, recvs{0}, polls{0};                 // how many of them fail
  std::atomic<int> sends_let{0};                                 // sends that pass before that
  std::atomic<size_t> most{0};                                   // bytes that a call moves at most; 0: all
};
extern Injected injected;

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

inline std::string header(uint32_t length, bool packed) {
  std::string text;
  for (int shift = 24; shift >= 0; shift -= 8) text += static_cast<char>(length >> shift);
  return text + static_cast<char>(packed);
}
inline std::string plain_block(const std::string &content) {
  return header(static_cast<uint32_t>(content.size()), false) + content;
}
inline std::string packed(const std::string &content) {
  uLongf size = compressBound(content.size());
  std::string text(size, 0);
  compress2(reinterpret_cast<Bytef *>(text.data()), &size, reinterpret_cast<const Bytef *>(content.data()),
            content.size(), -1);
  text.resize(size);
  return text;
}
inline std::string packed_block(const std::string &content) {
  const std::string payload = packed(content);
  return header(static_cast<uint32_t>(payload.size()), true) + payload;
}
inline std::string noise(size_t n) {
  std::string text(n, 0);
  uint32_t state = 12345;
  for (char &c : text) {
    state = state * 1664525 + 1013904223;
    c = static_cast<char>(state >> 24);
  }
  return text;
}

inline Tags client_tags(int port) {
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

inline Tags server_tags(int32_t *port) {
  return {{Q7A_FILE_MODE, arg("s")},
          {Q7A_FILE_HOST, arg("127.0.0.1")},
          {Q7A_FILE_PORT, 0},
          {Q7A_FILE_BOUND_PORT, arg(port)}};
}

inline int print_error(const char *module, int line, const char *text, ...) {
  return std::fprintf(stderr, "%s/%d/%s\n", module, line, text);
}

}  // namespace sockettest

#endif
