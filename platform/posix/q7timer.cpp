// q7timer: the timer class. Started timers stand in one list, which the main loop looks through; there are few of them.
// A firing may stop, start or dispose any timer, so the walk begins anew behind each one; it ends because a timer that
// has fired is due later than the moment the round looks at.
#include "core/q7lists.h"
#include "core/q7root.h"
#include "platform/posix/loop.hpp"
#include "platform/posix/q7posix.h"
#include "platform/posix/shape.hpp"

using namespace q7posix;

namespace {

struct Timer {  // instance data
  Q7Node link;  // in `started` while running
  Q7Object *self;
  int32_t running;
  uint32_t interval;  // milliseconds (3500)
  int32_t repeat;     // 3501
  Q7Object *target;   // referenced (3502)
  uint32_t method;    // 3503
  uint64_t argument;  // 3504
  int64_t due;        // on the monotonic clock, while running
};

Q7List started_list;
bool list_made = false;

Q7List *started() {
  if (!list_made) Q7NewList(&started_list);
  list_made = true;
  return &started_list;
}

Timer *first_started() { return reinterpret_cast<Timer *>(started()->head); }
Timer *next_started(Timer *timer) { return reinterpret_cast<Timer *>(timer->link.succ); }

bool q7ti_stop(Timer &timer) {
  if (!timer.running) return false;
  Q7Remove(&timer.link);
  timer.running = 0;
  return true;
}

int64_t after_interval(const Timer &timer) {
  return monotonic_ns() + (timer.interval ? timer.interval : 1) * INT64_C(1000000);
}

bool q7ti_start(Timer &timer) {
  if (!timer.target) return false;
  q7ti_stop(timer);
  timer.due = after_interval(timer);
  timer.running = 1;
  Q7AddTail(started(), &timer.link);
  return true;
}

void q7ti_fire(Timer &timer) {
  Q7Object *self = timer.self;
  Q7Object *target = timer.target;
  uint32_t method = timer.method;
  uint64_t argument = timer.argument;
  if (timer.repeat) {
    timer.due = after_interval(timer);
  } else {
    q7ti_stop(timer);
  }
  // The message may dispose the timer and with it the last reference on the target.
  send(target, Q7M_ADDREF);
  send(target, method, word(self), 0, slot(argument));
  send(target, Q7M_RELEASE);
}

bool q7ti_set(Timer &timer, const Q7TagItem &item) {
  switch (item.tag) {
    case Q7A_TIMER_INTERVAL: timer.interval = static_cast<uint32_t>(item.data); return true;
    case Q7A_TIMER_REPEAT: timer.repeat = item.data != 0; return true;
    case Q7A_TIMER_TARGET: {
      auto *target = reinterpret_cast<Q7Object *>(item.data);
      Q7Object *old = timer.target;
      send(target, Q7M_ADDREF);
      timer.target = target;
      if (!target) q7ti_stop(timer);
      send(old, Q7M_RELEASE);
      return true;
    }
    case Q7A_TIMER_METHOD: timer.method = static_cast<uint32_t>(item.data); return true;
    case Q7A_TIMER_ARGUMENT: timer.argument = item.data; return true;
    default: return false;
  }
}

bool q7ti_get(const Timer &timer, const Q7TagItem &item) {
  switch (item.tag) {
    case Q7A_TIMER_INTERVAL: return store<uint32_t>(item, timer.interval);
    case Q7A_TIMER_REPEAT: return store<int32_t>(item, timer.repeat);
    case Q7A_TIMER_TARGET: return store<Q7Object *>(item, timer.target);
    case Q7A_TIMER_METHOD: return store<uint32_t>(item, timer.method);
    case Q7A_TIMER_ARGUMENT: return store<uint64_t>(item, timer.argument);
    case Q7A_TIMER_RUNNING: return store<int32_t>(item, timer.running);
    default: return false;
  }
}

uint64_t q7ti_new(Q7Class *cl, Q7Object *receiver, uint64_t a, uint64_t b, Q7TagItem *list) {
  auto *obj = reinterpret_cast<Q7Object *>(inherit(cl, receiver, Q7M_NEW, a, b, list));
  if (!obj) return 0;
  auto &timer = data<Timer>(cl, obj);
  timer.self = obj;
  each_tag(list, [&](const Q7TagItem &item) { q7ti_set(timer, item); });
  return word(obj);
}

uint64_t q7ti_dispose(Q7Class *cl, Q7Object *obj, uint64_t a, uint64_t b, Q7TagItem *list) {
  auto &timer = data<Timer>(cl, obj);
  q7ti_stop(timer);
  send(timer.target, Q7M_RELEASE);
  timer.target = nullptr;
  return inherit(cl, obj, Q7M_DISPOSE, a, b, list);
}

uint64_t q7ti_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *list) {
  switch (method) {
    case Q7M_NEW: return q7ti_new(cl, obj, a, b, list);
    case Q7M_DISPOSE: return q7ti_dispose(cl, obj, a, b, list);
    case Q7M_SET: return walk<Timer>(cl, obj, method, list, q7ti_set);
    case Q7M_GET: return walk<Timer>(cl, obj, method, list, q7ti_get);
    case Q7M_COPY: return 0;  // a byte copy would stand in the list of the original
    case Q7M_TIMER_START: return q7ti_start(data<Timer>(cl, obj));
    case Q7M_TIMER_STOP: return q7ti_stop(data<Timer>(cl, obj));
    default: return inherit(cl, obj, method, a, b, list);
  }
}

constexpr ClassDef timer_class = {Q7C_TIMER,           Q7C_ROOT, "q7timer", q7ti_dispatch, sizeof(Timer),
                                  Q7RegisterRootClass, "Timer"};

}  // namespace

namespace q7posix {

bool fire_timers() {
  int64_t now = monotonic_ns();
  bool fired = false;
  for (;;) {
    Timer *due = nullptr;
    for (Timer *each = first_started(); each->link.succ; each = next_started(each)) {
      if (each->due <= now && (!due || each->due < due->due)) due = each;
    }
    if (!due) return fired;
    q7ti_fire(*due);
    fired = true;
  }
}

int64_t next_timer() {
  int64_t next = kNever;
  for (Timer *each = first_started(); each->link.succ; each = next_started(each)) {
    if (each->due < next) next = each->due;
  }
  return next;
}

}  // namespace q7posix

int32_t Q7RegisterTimerClass(Q7App *app) { return register_class(app, timer_class); }
