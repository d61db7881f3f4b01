// Failures of send, recv and poll: these stand in front of the system's in the program that holds them.
#include <dlfcn.h>
#include <netdb.h>

#include <cerrno>

#include "tests/io/q7socket_test.h"

namespace sockettest {
Injected injected;
}

namespace {

using sockettest::injected;

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
// "both.test" is a host of both kinds, the newer one first.
extern "C" int getaddrinfo(const char *host, const char *service, const addrinfo *hints, addrinfo **list) {
  static const auto real = next<int (*)(const char *, const char *, const addrinfo *, addrinfo **)>("getaddrinfo");
  if (!host || std::strcmp(host, "both.test") != 0) return real(host, service, hints, list);
  if (const int error = real("::1", service, hints, list)) return error;
  return real("127.0.0.1", service, hints, &(*list)->ai_next);
}
