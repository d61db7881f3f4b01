// q7connect: making and ending the TCP connections of a stream. The stream owns its sockets; both are -1 while there
// are none. Every wait is bounded by the class's time-out, connecting by the stream's own where one was given.
#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <utility>

#include "io/resolve.hpp"
#include "io/stream.hpp"

namespace {

constexpr int kBacklog = 16;

// Owns a descriptor until it is released.
class Socket {
 public:
  explicit Socket(int descriptor) : descriptor_(descriptor) {}
  ~Socket() {
    if (descriptor_ < 0) return;
    const int error = errno;
    close(descriptor_);
    errno = error;
  }
  Socket(const Socket &) = delete;
  Socket &operator=(const Socket &) = delete;
  explicit operator bool() const { return descriptor_ >= 0; }
  int get() const { return descriptor_; }
  int release() { return std::exchange(descriptor_, -1); }

 private:
  int descriptor_;
};

int q7cn_socket(const addrinfo &address) {
  return socket(address.ai_family, address.ai_socktype | SOCK_CLOEXEC | SOCK_NONBLOCK, address.ai_protocol);
}

bool q7cn_connect(const Socket &connection, const addrinfo &address, int64_t timeout_ms) {
  if (connect(connection.get(), address.ai_addr, address.ai_addrlen) == 0) return true;
  // An interrupted attempt goes on in the background just like one that takes its time.
  if (errno != EINPROGRESS && errno != EINTR) return false;
  if (q7::wait_socket(connection.get(), POLLOUT, timeout_ms) != 1) return false;
  int error = 0;
  socklen_t size = sizeof error;
  if (getsockopt(connection.get(), SOL_SOCKET, SO_ERROR, &error, &size) != 0) return false;
  errno = error;
  return error == 0;
}

bool q7cn_listen(const Socket &listener, const addrinfo &address) {
  const int on = 1;
  setsockopt(listener.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  return bind(listener.get(), address.ai_addr, address.ai_addrlen) == 0 && listen(listener.get(), kBacklog) == 0;
}

void q7cn_store_peer(Q7Stream &s, int descriptor) {
  sockaddr_storage address = {};
  socklen_t size = sizeof address;
  s.peer[0] = 0;
  if (getpeername(descriptor, reinterpret_cast<sockaddr *>(&address), &size) != 0) return;
  getnameinfo(reinterpret_cast<const sockaddr *>(&address), size, s.peer, sizeof s.peer, nullptr, 0, NI_NUMERICHOST);
}

// Ends the sending side first and takes what still came in: closing with unread bytes would reset the connection and
// might cost the peer what was sent last.
void q7cn_close(int32_t &descriptor) {
  if (descriptor < 0) return;
  shutdown(descriptor, SHUT_WR);
  char ignored[4096];
  for (int i = 0; i < 256 && recv(descriptor, ignored, sizeof ignored, MSG_DONTWAIT) > 0; ++i) {
  }
  shutdown(descriptor, SHUT_RDWR);
  close(descriptor);
  descriptor = -1;
}

}  // namespace

bool q7::open_connection(Q7Stream &s, const char *host, int32_t port) {
  s.server = s.mode[0] == 's';
  if ((!s.server && s.mode[0] != 'c') || port < 0 || port > 65535 || (!s.server && port == 0)) {
    errno = EINVAL;
    return false;
  }
  if (host && !*host) host = nullptr;
  char service[8];
  std::snprintf(service, sizeof service, "%d", static_cast<int>(port));
  const int64_t timeout = s.connect_seconds >= 0 ? int64_t{s.connect_seconds} * 1000 : socket_timeout_ms();
  const int64_t deadline = now_ms() + timeout;
  // A server without a host listens on every IPv4 address.
  const int family = s.server && !host ? AF_INET : AF_UNSPEC;
  const Addresses found(host, service, family, s.server ? AI_PASSIVE : 0, timeout);
  errno = found.timed_out() ? ETIMEDOUT : EADDRNOTAVAIL;
  // A server listens on the first IPv4 address of its host if there is one: most clients look for it there, and a name
  // like "localhost" stands for both kinds.
  for (const bool other : {false, true}) {
    for (const addrinfo *address = found.first(); address; address = address->ai_next) {
      if (other != (s.server && address->ai_family != AF_INET)) continue;
      Socket made(q7cn_socket(*address));
      if (!made) continue;
      setdefsockopts(made.get());
      const int64_t left = deadline - now_ms();
      if (s.server ? !q7cn_listen(made, *address) : !q7cn_connect(made, *address, left > 0 ? left : 0)) continue;
      s.flags |= kStreamSocket;
      if (!s.server) q7cn_store_peer(s, made.get());
      s.socket = made.release();
      return true;
    }
  }
  return false;
}

int32_t q7::local_port(const Q7Stream &s) {
  sockaddr_storage address = {};
  socklen_t size = sizeof address;
  if (s.socket < 0 || getsockname(s.socket, reinterpret_cast<sockaddr *>(&address), &size) != 0) return 0;
  if (address.ss_family == AF_INET) return ntohs(reinterpret_cast<const sockaddr_in &>(address).sin_port);
  if (address.ss_family == AF_INET6) return ntohs(reinterpret_cast<const sockaddr_in6 &>(address).sin6_port);
  return 0;
}

bool q7::accept_connection(Q7Stream &s) {
  errno = EINVAL;
  if (!s.server || s.socket < 0) return false;
  if (s.flags & kStreamAccepted) close_accepted(s);
  const int64_t deadline = now_ms() + socket_timeout_ms();
  for (;;) {
    const int64_t left = deadline - now_ms();
    if (wait_socket(s.socket, POLLIN, left > 0 ? left : 0) != 1) return false;
    Socket connection(accept4(s.socket, nullptr, nullptr, SOCK_CLOEXEC));
    if (connection) {
      setdefsockopts(connection.get());
      q7cn_store_peer(s, connection.get());
      s.accepted = connection.release();
      s.flags = (s.flags | kStreamAccepted) & ~uint32_t{kStreamAcceptedDead};
      return true;
    }
    // A client that has gone again is not the one that is waited for.
    if (errno != EINTR && errno != EAGAIN && errno != ECONNABORTED) return false;
    if (now_ms() < deadline) continue;
    errno = ETIMEDOUT;
    return false;
  }
}

bool q7::close_accepted(Q7Stream &s) {
  if (!(s.flags & kStreamAccepted)) return false;
  const bool flushed = q7_flushsocket(&s) >= 0;
  q7cn_close(s.accepted);
  s.flags = (s.flags | kStreamAcceptedDead) & ~uint32_t{kStreamAccepted};
  // The next connection meets nothing of this one: neither its bytes nor its failures.
  free_buffers(s);
  s.failed = s.broken = false;
  s.peer[0] = 0;
  return flushed;
}

bool q7::close_connection(Q7Stream &s) {
  const bool flushed = q7_flushsocket(&s) >= 0;
  if (s.flags & kStreamAccepted) {
    q7cn_close(s.accepted);
    s.flags |= kStreamAcceptedDead;
  }
  q7cn_close(s.socket);
  s.flags |= kStreamDead;
  free_buffers(s);
  return flushed;
}
