// q7loop: the main loop. It waits on one event descriptor, which Q7WakeUpGui signals from any thread.
//
// A wake that meets an unanswered one is joined to it through `woken`, so that a million queued messages do not cost a
// million system calls. The loop empties the descriptor first, clears the flag second and looks for work third: a waker
// that finds the flag still set has queued its work before the flag is cleared, so the coming look sees it; one that
// finds it cleared signals the descriptor again.
#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <ctime>

#include "app/q7idle.h"
#include "platform/posix/loop.hpp"
#include "platform/posix/q7posix.h"
#include "platform/posix/shape.hpp"
#include "platform/posix/tree.hpp"

using namespace q7posix;

namespace {

pthread_mutex_t descriptor_lock = PTHREAD_MUTEX_INITIALIZER;  // keeps the descriptor open while it is signalled
int descriptor = -1;
std::atomic<bool> woken{false};
std::atomic<bool> terminated{false};

// The flag stays set while there is no descriptor, and open_loop() makes good for it: an early wake is kept.
void signal_descriptor() {
  Guard guard(descriptor_lock);
  uint64_t one = 1;
  while (descriptor >= 0 && write(descriptor, &one, sizeof one) < 0 && errno == EINTR) {
  }
}

void take_wakes() {
  uint64_t count;
  while (read(descriptor, &count, sizeof count) < 0 && errno == EINTR) {
  }
  woken.exchange(false);
}

void wait_until(int64_t due) {
  pollfd entry = {descriptor, POLLIN, 0};
  timespec rest{};
  if (due != kNever) {
    int64_t left = due - monotonic_ns();
    if (left <= 0) return;
    rest = {static_cast<time_t>(left / 1000000000), static_cast<long>(left % 1000000000)};
  }
  // A system that cannot even wait for the moment is given one.
  if (ppoll(&entry, 1, due == kNever ? nullptr : &rest, nullptr) < 0 && errno != EINTR) Q7SleepMs(1);
}

}  // namespace

namespace q7posix {

int64_t monotonic_ns() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<int64_t>(now.tv_sec) * 1000000000 + now.tv_nsec;
}

bool open_loop() {
  terminated.store(false);
  int error = 0;
  {
    Guard guard(descriptor_lock);
    if (descriptor < 0) descriptor = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (descriptor < 0) error = errno;
  }
  if (error) {
    Q7P_ERROR("q7loop", "Cannot make the main loop's event descriptor: %s", strerrordesc_np(error));
    return false;
  }
  if (woken.load()) signal_descriptor();
  return true;
}

void close_loop() {
  Guard guard(descriptor_lock);
  if (descriptor >= 0) close(descriptor);
  descriptor = -1;
  woken.store(false);
}

void terminate_loop() {
  terminated.store(true);
  Q7WakeUpGui(nullptr);
}

}  // namespace q7posix

void Q7WakeUpGui(Q7App *) {
  if (!woken.exchange(true)) signal_descriptor();
}

int32_t Q7ProcessEventsA(Q7App *app, uint64_t argument, Q7TagItem *tags) {
  if (!app) return 0;
  if (descriptor < 0 || !Q7IsMainThread()) {
    Q7P_ERROR("q7loop", "The main loop runs on the main thread of an application only");
    return 0;
  }
  int64_t end = kNever;
  each_tag(tags, [&](const Q7TagItem &item) {
    if (item.tag == Q7A_PROCESS_TIMEOUT) end = monotonic_ns() + static_cast<uint32_t>(item.data) * INT64_C(1000000);
  });
  while (!terminated.load()) {
    take_wakes();
    bool ran = fire_timers();
    ran = deliver_messages() || ran;
    ran = draw_windows() || ran;
    // What is still queued when the application ends is run by its deletion.
    if (terminated.load()) break;
    ran = Q7AppDoIdle(app) != 0 || ran;
    if (terminated.load()) break;
    if (argument == Q7PROCESS_POLL) return ran;
    if (argument == Q7PROCESS_ONCE && ran) return 1;
    if (end != kNever && monotonic_ns() >= end) return 0;
    int64_t due = next_timer();
    if (!ran) wait_until(due < end ? due : end);
  }
  return 1;
}
