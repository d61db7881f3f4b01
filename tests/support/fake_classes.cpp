// fake_classes: the classes of the recording platform layer: tasks (1) and signals (2) on real threads, and plain
// stand-ins for windows, native gadgets, icons, cursors, timers and message ports.
#include <pthread.h>

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <vector>

#include "core/q7root.h"
#include "tests/support/fake_platform.h"

namespace {

using fake::Live;
using fake::detail::add_live;
using fake::detail::called;

enum { kTaskEntry = 1501, kTaskPriority = 1505, kFindTask = 1001, kLastSignal = 1004, kWake = 2000, kWait = 2001 };
enum { kWidgetClass = 41 };

// What a thread and its task object share; outlives whichever goes first.
struct Control {
  std::mutex mutex;
  std::condition_variable changed;
  Q7TaskEntry entry{};
  Q7Object *task = nullptr;  // null once the object was disposed
  pthread_t thread{};
  bool has_thread = false;
  bool disposing = false;
  bool finished = false;
};

struct Task {  // instance data
  std::shared_ptr<Control> *control;
  int32_t priority;
};

struct Signal {  // instance data
  struct State {
    std::mutex mutex;
    std::condition_variable woken;
    int64_t waiters = 0;
    int64_t wakes = 0;
  } * state;
};

thread_local std::shared_ptr<Control> current_task;
thread_local Q7Object *last_signal;
std::mutex main_mutex;
std::vector<Q7Object *> main_tasks;

template <class T>
T &data(Q7Class *cl, Q7Object *obj) {
  return *reinterpret_cast<T *>(reinterpret_cast<char *>(obj) + cl->ioffset);
}

uint64_t inherit(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  return cl->superdispatch ? cl->superdispatch(cl->super, obj, method, a, b, tags) : 0;
}

void *run_task(void *argument) {
  auto *handed = static_cast<std::shared_ptr<Control> *>(argument);
  std::shared_ptr<Control> control = std::move(*handed);
  delete handed;
  current_task = control;
  control->entry.run(control->task, control->entry.argument);
  {
    std::lock_guard lock(control->mutex);
    control->finished = true;
    control->changed.notify_all();
  }
  add_live(&Live::threads, -1);
  return nullptr;
}

bool start(const std::shared_ptr<Control> &control) {
  auto *handed = new std::shared_ptr<Control>(control);
  control->has_thread = true;
  add_live(&Live::threads, 1);
  if (pthread_create(&control->thread, nullptr, run_task, handed) == 0) return true;
  control->has_thread = false;
  add_live(&Live::threads, -1);
  delete handed;
  return false;
}

uint64_t task_new(Q7Class *cl, Q7Object *receiver, uint64_t a, uint64_t b, Q7TagItem *tags) {
  const auto *entry = reinterpret_cast<const Q7TaskEntry *>(Q7TagVal(tags, kTaskEntry, 0));
  const auto priority = static_cast<int32_t>(Q7TagVal(tags, kTaskPriority, 0));
  if (!called("task", (entry ? "thread, " : "main, ") + std::to_string(priority))) return 0;
  auto *obj = reinterpret_cast<Q7Object *>(inherit(cl, receiver, 0, a, b, tags));
  if (!obj) return 0;
  auto control = std::make_shared<Control>();
  control->task = obj;
  data<Task>(cl, obj) = {new std::shared_ptr<Control>(control), priority};
  add_live(&Live::tasks, 1);
  if (entry) {
    control->entry = *entry;
    if (!start(control)) {
      delete data<Task>(cl, obj).control;
      add_live(&Live::tasks, -1);
      inherit(cl, obj, 1, a, 0, nullptr);
      return 0;
    }
  } else {
    current_task = control;
    std::lock_guard lock(main_mutex);
    main_tasks.push_back(obj);
  }
  return reinterpret_cast<uint64_t>(obj);
}

uint64_t task_dispose(Q7Class *cl, Q7Object *obj, uint64_t a, uint64_t b, Q7TagItem *tags) {
  std::shared_ptr<Control> control = *data<Task>(cl, obj).control;
  {
    std::lock_guard lock(control->mutex);
    control->disposing = true;
    control->changed.notify_all();
  }
  if (control->has_thread) {
    if (pthread_equal(control->thread, pthread_self())) {
      pthread_detach(control->thread);
    } else {
      pthread_join(control->thread, nullptr);
    }
  } else {
    if (current_task == control) current_task.reset();
    std::lock_guard lock(main_mutex);
    std::erase(main_tasks, obj);
  }
  {
    std::lock_guard lock(control->mutex);
    control->task = nullptr;
  }
  delete data<Task>(cl, obj).control;
  add_live(&Live::tasks, -1);
  return inherit(cl, obj, 1, a, b, tags);
}

void free_main_tasks() {
  for (;;) {
    Q7Object *task;
    {
      std::lock_guard lock(main_mutex);
      if (main_tasks.empty()) return;
      task = main_tasks.back();
    }
    task->dispatch(task->cl, task, 1, 0, 0, nullptr);
  }
}

uint64_t task_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  switch (method) {
    case 0: return task_new(cl, obj, a, b, tags);
    case 1: return task_dispose(cl, obj, a, b, tags);
    case 24:
      if (obj == &cl->header) free_main_tasks();
      return inherit(cl, obj, method, a, b, tags);
    case kFindTask: return current_task ? reinterpret_cast<uint64_t>(current_task->task) : 0;
    case kLastSignal: return reinterpret_cast<uint64_t>(last_signal);
    default: return inherit(cl, obj, method, a, b, tags);
  }
}

uint64_t signal_wait(Signal::State &s, Q7Object *obj, uint64_t milliseconds) {
  std::unique_lock lock(s.mutex);
  ++s.waiters;
  const auto woken = [&] { return s.wakes > 0; };
  bool answer = true;
  if (milliseconds == 0) {
    s.woken.wait(lock, woken);
  } else {
    // Against the system clock: the thread sanitizer knows the wait on it.
    answer =
        s.woken.wait_until(lock, std::chrono::system_clock::now() + std::chrono::milliseconds(milliseconds), woken);
  }
  --s.waiters;
  if (!answer) return 0;
  --s.wakes;
  last_signal = obj;
  return 1;
}

// One wake is kept when nobody waits, and one for each waiter otherwise: more do not add up.
void signal_wake(Signal::State &s) {
  std::lock_guard lock(s.mutex);
  if (s.wakes < std::max<int64_t>(s.waiters, 1)) ++s.wakes;
  s.woken.notify_one();
}

uint64_t signal_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  switch (method) {
    case 0: {
      if (!called("signal", "")) return 0;
      auto *made = reinterpret_cast<Q7Object *>(inherit(cl, obj, method, a, b, tags));
      if (!made) return 0;
      data<Signal>(cl, made).state = new Signal::State;
      add_live(&Live::signals, 1);
      return reinterpret_cast<uint64_t>(made);
    }
    case 1:
      if (last_signal == obj) last_signal = nullptr;
      delete data<Signal>(cl, obj).state;
      add_live(&Live::signals, -1);
      return inherit(cl, obj, method, a, b, tags);
    case kWake: signal_wake(*data<Signal>(cl, obj).state); return 1;
    case kWait: return signal_wait(*data<Signal>(cl, obj).state, obj, reinterpret_cast<uint64_t>(tags));
    default: return inherit(cl, obj, method, a, b, tags);
  }
}

int32_t register_class(Q7App *app, const char *function, uint32_t super, uint32_t id, Q7Dispatcher dispatch,
                       uint32_t size, const char *name) {
  if (!called(function, "")) return 0;
  if (!Q7RegisterRootClass(app)) return 0;
  if (!Q7ClassFind(super)) super = Q7C_ROOT;
  return Q7ClassCreate(super, id, dispatch, size, Q7CT_NAME, name, Q7TAG_END) != nullptr;
}

}  // namespace

int32_t Q7TaskWaitTermination(Q7Object *task) {
  called("Q7TaskWaitTermination", "");
  if (!task) return 0;
  std::shared_ptr<Control> control = current_task;
  if (control && control->task == task) {
    std::unique_lock lock(control->mutex);
    control->changed.wait(lock, [&] { return control->disposing; });
    return 1;
  }
  Q7Class *cl = Q7ClassFind(Q7C_TASK);
  control = *data<Task>(cl, task).control;
  std::unique_lock lock(control->mutex);
  control->changed.wait(lock, [&] { return control->finished; });
  return 1;
}

int32_t Q7RegisterTaskClass(Q7App *app) {
  return register_class(app, "Q7RegisterTaskClass", Q7C_ROOT, Q7C_TASK, task_dispatch, sizeof(Task), "task");
}
int32_t Q7RegisterSemaphoreClass(Q7App *app) {
  return register_class(app, "Q7RegisterSemaphoreClass", Q7C_ROOT, Q7C_SIGNAL, signal_dispatch, sizeof(Signal),
                        "signal");
}
int32_t Q7RegisterWindowClass(Q7App *app) {
  return register_class(app, "Q7RegisterWindowClass", kWidgetClass, 20, nullptr, 0, "window");
}
int32_t Q7RegisterOSGadgetClass(Q7App *app) {
  return register_class(app, "Q7RegisterOSGadgetClass", 21, 26, nullptr, 0, "osgadget");
}
int32_t Q7RegisterIconClass(Q7App *app) {
  return register_class(app, "Q7RegisterIconClass", Q7C_ROOT, fake::kIconClass, nullptr, 0, "icon");
}
int32_t Q7RegisterCursorClass(Q7App *app) {
  return register_class(app, "Q7RegisterCursorClass", Q7C_ROOT, fake::kCursorClass, nullptr, 0, "cursor");
}
int32_t Q7RegisterTimerClass(Q7App *app) {
  return register_class(app, "Q7RegisterTimerClass", Q7C_ROOT, fake::kTimerClass, nullptr, 0, "timer");
}
int32_t Q7RegisterMsgPortClass(Q7App *app) {
  return register_class(app, "Q7RegisterMsgPortClass", Q7C_ROOT, fake::kMsgPortClass, nullptr, 0, "msgport");
}
