// resolve: see resolve.hpp. The system's look-up cannot be interrupted, so it runs beside the caller, who stops waiting
// when the time is over; the request's memory then belongs to the look-up for good.
#include "io/resolve.hpp"

#include <cstring>
#include <ctime>

#include "core/q7memory.h"

namespace {

constexpr size_t kHostSize = 256;
constexpr size_t kServiceSize = 16;

// One look-up with everything it points to.
struct Lookup {
  gaicb request;
  addrinfo hints;
  char host[kHostSize];
  char service[kServiceSize];
};

// Waits for the end of a look-up; false when the time is over.
bool q7rs_wait(const Lookup &lookup, int64_t timeout_ms) {
  const gaicb *const list[] = {&lookup.request};
  const int64_t deadline = q7::now_ms() + timeout_ms;
  while (gai_error(const_cast<gaicb *>(&lookup.request)) == EAI_INPROGRESS) {
    const int64_t left = deadline - q7::now_ms();
    if (left <= 0) return false;
    const timespec duration = {left / 1000, left % 1000 * 1000000};
    gai_suspend(list, 1, &duration);
  }
  return true;
}

}  // namespace

int64_t q7::now_ms() {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
}

q7::Addresses::Addresses(const char *host, const char *service, int family, int flags, int64_t timeout_ms) {
  addrinfo hints = {};
  hints.ai_family = family;
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = flags | AI_NUMERICHOST | (service ? AI_NUMERICSERV : 0);
  if (getaddrinfo(host, service, &hints, &list_) == 0) return;
  list_ = nullptr;
  if (!host || std::strlen(host) >= kHostSize || (service && std::strlen(service) >= kServiceSize)) return;

  auto *lookup = static_cast<Lookup *>(Q7AllocMem(sizeof(Lookup), Q7MEM_CLEAR));
  if (!lookup) return;
  std::strcpy(lookup->host, host);
  if (service) std::strcpy(lookup->service, service);
  lookup->hints = hints;
  lookup->hints.ai_flags &= ~AI_NUMERICHOST;
  lookup->request = {lookup->host, service ? lookup->service : nullptr, &lookup->hints, nullptr, 0, {}};
  gaicb *list[] = {&lookup->request};
  if (getaddrinfo_a(GAI_NOWAIT, list, 1, nullptr) != 0) {
    Q7FreeMem(lookup, sizeof(Lookup));
    return;
  }
  timed_out_ = !q7rs_wait(*lookup, timeout_ms);
  if (timed_out_ && gai_cancel(&lookup->request) == EAI_NOTCANCELED) return;
  if (gai_error(&lookup->request) == 0) list_ = lookup->request.ar_result;
  Q7FreeMem(lookup, sizeof(Lookup));
}

q7::Addresses::~Addresses() {
  if (list_) freeaddrinfo(list_);
}
