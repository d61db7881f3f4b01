// resolve: host names to addresses within a bounded time, and the clock that bounds waits.
#ifndef Q7_IO_RESOLVE_HPP
#define Q7_IO_RESOLVE_HPP

#include <netdb.h>

#include <cstdint>

namespace q7 {

// Class attribute 5515 in milliseconds.
int64_t socket_timeout_ms();

// Milliseconds of a clock that nobody sets.
int64_t now_ms();

// The addresses of a host. Numbers are read at once; names are looked up for at most `timeout_ms`. A look-up that does
// not end in time is left to itself.
class Addresses {
 public:
  Addresses(const char *host, const char *service, int family, int flags, int64_t timeout_ms);
  ~Addresses();
  Addresses(const Addresses &) = delete;
  Addresses &operator=(const Addresses &) = delete;
  const addrinfo *first() const { return list_; }
  bool timed_out() const { return timed_out_; }

 private:
  addrinfo *list_ = nullptr;
  bool timed_out_ = false;
};

}  // namespace q7

#endif
