// q7signal: the signal class, a counting semaphore: every wake that meets no waiter is kept for one later wait. Nobody
// may be waiting when a signal is disposed.
#include <pthread.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <ctime>

#include "core/q7root.h"
#include "platform/posix/shape.hpp"
#include "platform/posix/threads.hpp"
#include "platform/q7platform.h"

using namespace q7posix;

namespace {

struct Signal {  // instance data
  pthread_mutex_t mutex;
  pthread_cond_t woken;  // measures time-outs on the monotonic clock
  uint32_t kept;         // wakes that nobody has taken yet
};

bool q7si_init(Signal &signal) {
  pthread_condattr_t monotonic;
  pthread_condattr_init(&monotonic);
  pthread_condattr_setclock(&monotonic, CLOCK_MONOTONIC);
  int error = pthread_cond_init(&signal.woken, &monotonic);
  pthread_condattr_destroy(&monotonic);
  if (!error) {
    error = pthread_mutex_init(&signal.mutex, nullptr);
    if (error) pthread_cond_destroy(&signal.woken);
  }
  if (error) Q7P_ERROR("q7signal", "Cannot make a signal: %s", strerrordesc_np(error));
  return !error;
}

uint64_t q7si_new(Q7Class *cl, Q7Object *receiver, uint64_t a, uint64_t b, Q7TagItem *list) {
  auto *obj = reinterpret_cast<Q7Object *>(inherit(cl, receiver, Q7M_NEW, a, b, list));
  if (obj && !q7si_init(data<Signal>(cl, obj))) {
    inherit(cl, obj, Q7M_DISPOSE, a, 0, nullptr);
    return 0;
  }
  return word(obj);
}

uint64_t q7si_dispose(Q7Class *cl, Q7Object *obj, uint64_t a, uint64_t b, Q7TagItem *list) {
  auto &signal = data<Signal>(cl, obj);
  {
    // A waker on its way out of the mutex has let go of it before it is destroyed.
    Guard guard(signal.mutex);
    forget_signal(obj);
  }
  pthread_cond_destroy(&signal.woken);
  pthread_mutex_destroy(&signal.mutex);
  return inherit(cl, obj, Q7M_DISPOSE, a, b, list);
}

uint64_t q7si_wake(Signal &signal) {
  Guard guard(signal.mutex);
  if (signal.kept != UINT32_MAX) ++signal.kept;
  pthread_cond_signal(&signal.woken);
  return 1;
}

uint64_t q7si_wait(Signal &signal, Q7Object *obj, uint32_t milliseconds) {
  timespec until{};
  clock_gettime(CLOCK_MONOTONIC, &until);
  until.tv_sec += milliseconds / 1000;
  until.tv_nsec += static_cast<long>(milliseconds % 1000) * 1000000;
  if (until.tv_nsec >= 1000000000) {
    ++until.tv_sec;
    until.tv_nsec -= 1000000000;
  }
  Guard guard(signal.mutex);
  while (!signal.kept) {
    int error = milliseconds ? pthread_cond_timedwait(&signal.woken, &signal.mutex, &until)
                             : pthread_cond_wait(&signal.woken, &signal.mutex);
    if (error == ETIMEDOUT && !signal.kept) return 0;
  }
  --signal.kept;
  set_last_signal(obj);
  return 1;
}

uint64_t q7si_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *list) {
  switch (method) {
    case Q7M_NEW: return q7si_new(cl, obj, a, b, list);
    case Q7M_DISPOSE: return q7si_dispose(cl, obj, a, b, list);
    case Q7M_COPY: return 0;  // a mutex cannot be copied
    case Q7M_SIGNAL_WAKE: return q7si_wake(data<Signal>(cl, obj));
    case Q7M_SIGNAL_WAIT: return q7si_wait(data<Signal>(cl, obj), obj, static_cast<uint32_t>(word(list)));
    default: return inherit(cl, obj, method, a, b, list);
  }
}

constexpr ClassDef signal_class = {Q7C_SIGNAL,          Q7C_ROOT, "q7signal", q7si_dispatch, sizeof(Signal),
                                   Q7RegisterRootClass, "Signal"};

}  // namespace

int32_t Q7RegisterSemaphoreClass(Q7App *app) { return register_class(app, signal_class); }
