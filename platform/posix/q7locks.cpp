// q7locks: recursive locks, the question which thread is the main one, and sleeping.
//
// The main thread is the one that started the object system; before that and after its end, the initial thread of the
// process. A host may therefore create its application on a thread of its own.
#include <pthread.h>
#include <sys/types.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <ctime>

#include "core/q7memory.h"
#include "platform/posix/shape.hpp"
#include "platform/posix/threads.hpp"
#include "platform/q7platform.h"

namespace {

// Every thread has its own; the address tells threads apart without a call. Few bytes fit into what is set aside for
// libraries that are loaded later.
[[gnu::tls_model("initial-exec")]] thread_local char here;
std::atomic<const char *> claimant{nullptr};
thread_local Q7Object *received = nullptr;

void sleep_for(timespec rest) {
  while (clock_nanosleep(CLOCK_MONOTONIC, 0, &rest, &rest) == EINTR) {
  }
}

}  // namespace

namespace q7posix {

void claim_main_thread() { claimant.store(&here, std::memory_order_relaxed); }

void release_main_thread() { claimant.store(nullptr, std::memory_order_relaxed); }

Q7Object *last_signal() { return received; }

void set_last_signal(Q7Object *signal) { received = signal; }

void forget_signal(const Q7Object *signal) {
  if (received == signal) received = nullptr;
}

}  // namespace q7posix

void *Q7LockAlloc(void) {
  auto *mutex = static_cast<pthread_mutex_t *>(Q7AllocMem(sizeof(pthread_mutex_t), Q7MEM_CLEAR));
  if (!mutex) return nullptr;
  pthread_mutexattr_t recursive;
  pthread_mutexattr_init(&recursive);
  pthread_mutexattr_settype(&recursive, PTHREAD_MUTEX_RECURSIVE);
  int error = pthread_mutex_init(mutex, &recursive);
  pthread_mutexattr_destroy(&recursive);
  if (error) {
    Q7P_ERROR("q7locks", "Cannot make a lock: %s", strerrordesc_np(error));
    Q7FreeMem(mutex, sizeof *mutex);
    return nullptr;
  }
  return mutex;
}

void Q7LockFree(void *lock) {
  if (!lock) return;
  pthread_mutex_destroy(static_cast<pthread_mutex_t *>(lock));
  Q7FreeMem(lock, sizeof(pthread_mutex_t));
}

void Q7Lock(void *lock) {
  if (lock) pthread_mutex_lock(static_cast<pthread_mutex_t *>(lock));
}

void Q7Unlock(void *lock) {
  if (lock) pthread_mutex_unlock(static_cast<pthread_mutex_t *>(lock));
}

int32_t Q7IsMainThread(void) {
  if (const char *main_thread = claimant.load(std::memory_order_relaxed)) return main_thread == &here;
  return gettid() == getpid();
}

void Q7Sleep(uint32_t seconds) { sleep_for({static_cast<time_t>(seconds), 0}); }

void Q7SleepMs(uint32_t milliseconds) {
  sleep_for({static_cast<time_t>(milliseconds / 1000), static_cast<long>(milliseconds % 1000) * 1000000});
}
