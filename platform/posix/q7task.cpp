// q7task: the task class. A task object either owns a thread or stands for the thread that created it (the main task).
//
// What the thread and its object share is a Thread record that is freed by whoever lets go of it last: an object may be
// disposed by its own thread, which then ends by itself, and a thread may wait for a task whose object another thread
// disposes meanwhile. The thread itself never touches the object's memory.
#include <pthread.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <cstring>

#include "core/q7memory.h"
#include "core/q7root.h"
#include "platform/posix/shape.hpp"
#include "platform/posix/threads.hpp"
#include "platform/q7platform.h"

using namespace q7posix;

namespace {

struct Thread {
  std::atomic<int32_t> owners;  // the object, the thread, and whoever waits
  pthread_mutex_t mutex;        // guards the fields below
  pthread_cond_t changed;
  Q7Object *task;        // null once the object is gone
  const Q7Object *self;  // the object's address, for comparison only; outlives the object
  Q7TaskEntry entry;     // entry.run is null when the object stands for an existing thread
  int32_t setting;       // Q7TASK_...
  pid_t tid;             // kernel id, 0 until the thread runs
  pthread_t handle;
  bool ended;      // the entry function has returned
  bool disposing;  // the object is being disposed
  Thread *outer;   // the record that this one covers on its thread
};

struct Task {      // instance data
  Thread *thread;  // never null in a finished object
};

void let_go(Thread *thread) {
  if (!thread || thread->owners.fetch_sub(1) != 1) return;
  pthread_cond_destroy(&thread->changed);
  pthread_mutex_destroy(&thread->mutex);
  Q7FreeMem(thread, sizeof *thread);
}

Thread *make_thread_record() {
  auto *thread = static_cast<Thread *>(Q7AllocMem(sizeof(Thread), Q7MEM_CLEAR));
  if (!thread) return nullptr;
  thread->owners.store(1);
  pthread_mutex_init(&thread->mutex, nullptr);
  pthread_cond_init(&thread->changed, nullptr);
  return thread;
}

// The records of the calling thread: its own, or those of the objects that were created to stand for it, newest first.
class Current {
 public:
  ~Current() {
    while (top_) drop(top_);
  }
  void push(Thread *thread) {
    thread->owners.fetch_add(1);
    thread->outer = top_;
    top_ = thread;
  }
  // Lets go of the record if it is one of the calling thread's.
  bool drop(Thread *thread) {
    for (Thread **link = &top_; *link; link = &(*link)->outer) {
      if (*link != thread) continue;
      *link = thread->outer;
      let_go(thread);
      return true;
    }
    return false;
  }
  bool holds(const Thread *thread) const {
    for (Thread *each = top_; each; each = each->outer) {
      if (each == thread) return true;
    }
    return false;
  }
  Thread *of_object(const Q7Object *object) const {
    for (Thread *each = top_; each; each = each->outer) {
      if (each->self == object) return each;
    }
    return nullptr;
  }
  // The newest object that still lives.
  Q7Object *task() const {
    for (Thread *each = top_; each; each = each->outer) {
      Guard guard(each->mutex);
      if (each->task) return each->task;
    }
    return nullptr;
  }

 private:
  Thread *top_ = nullptr;
};
thread_local Current current;

Q7Object *main_task = nullptr;  // the object that stands for the main thread; freed with the class

// A hint to the scheduler. Raising a priority takes a privilege that most users lack, so a refusal is no failure.
void apply_setting(const Thread &thread) {
  int nice = thread.setting == Q7TASK_BACKGROUND ? 10 : thread.setting == Q7TASK_URGENT ? -5 : 0;
  if (nice && thread.tid) setpriority(PRIO_PROCESS, static_cast<id_t>(thread.tid), nice);
}

void *run_thread(void *argument) {
  auto *thread = static_cast<Thread *>(argument);
  current.push(thread);
  Q7Object *task;
  {
    Guard guard(thread->mutex);
    thread->tid = gettid();
    apply_setting(*thread);
    task = thread->task;
  }
  thread->entry.run(task, thread->entry.argument);
  {
    Guard guard(thread->mutex);
    thread->ended = true;
    pthread_cond_broadcast(&thread->changed);
  }
  let_go(thread);
  return nullptr;
}

// Signals of the process stay with the threads that the host made for them.
int start_thread(Thread *thread) {
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  thread->owners.fetch_add(1);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  int error = pthread_create(&thread->handle, nullptr, run_thread, thread);
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  if (error) thread->owners.fetch_sub(1);
  return error;
}

bool q7ta_set(Task &task, const Q7TagItem &item) {
  if (item.tag != Q7A_TASK_SETTING) return false;
  Guard guard(task.thread->mutex);
  task.thread->setting = static_cast<int32_t>(item.data);
  if (task.thread->entry.run) apply_setting(*task.thread);
  return true;
}

bool q7ta_get(Task &task, const Q7TagItem &item) {
  if (item.tag != Q7A_TASK_SETTING) return false;
  Guard guard(task.thread->mutex);
  return store<int32_t>(item, task.thread->setting);
}

uint64_t q7ta_new(Q7Class *cl, Q7Object *receiver, uint64_t a, uint64_t b, Q7TagItem *list) {
  auto *obj = reinterpret_cast<Q7Object *>(inherit(cl, receiver, Q7M_NEW, a, b, list));
  if (!obj) return 0;
  Thread *thread = make_thread_record();
  if (!thread) {
    inherit(cl, obj, Q7M_DISPOSE, a, 0, nullptr);
    return 0;
  }
  data<Task>(cl, obj).thread = thread;
  thread->task = obj;
  thread->self = obj;
  each_tag(list, [&](const Q7TagItem &item) {
    if (item.tag == Q7A_TASK_SETTING) thread->setting = static_cast<int32_t>(item.data);
    if (item.tag == Q7A_TASK_ENTRY && item.data) {
      thread->entry = *reinterpret_cast<const Q7TaskEntry *>(item.data);
    }
  });
  if (!thread->entry.run) {
    current.push(thread);
    if (thread->setting == Q7TASK_MAIN && !main_task) main_task = obj;
    return word(obj);
  }
  if (int error = start_thread(thread)) {
    Q7P_ERROR("q7task", "Cannot start a thread: %s", strerrordesc_np(error));
    data<Task>(cl, obj).thread = nullptr;
    let_go(thread);
    inherit(cl, obj, Q7M_DISPOSE, a, 0, nullptr);
    return 0;
  }
  return word(obj);
}

uint64_t q7ta_dispose(Q7Class *cl, Q7Object *obj, uint64_t a, uint64_t b, Q7TagItem *list) {
  Thread *thread = data<Task>(cl, obj).thread;
  bool own = current.holds(thread);
  {
    Guard guard(thread->mutex);
    thread->disposing = true;
    if (own) thread->task = nullptr;
    pthread_cond_broadcast(&thread->changed);
  }
  if (thread->entry.run) {
    // The own thread goes on running without its object and is cleaned up by the system when it ends.
    own ? pthread_detach(pthread_self()) : pthread_join(thread->handle, nullptr);
  } else if (own) {
    current.drop(thread);
  }
  if (!own) {
    Guard guard(thread->mutex);
    thread->task = nullptr;
  }
  if (main_task == obj) main_task = nullptr;
  if (Q7ApplicationContext && Q7ApplicationContext->main_task == obj) Q7ApplicationContext->main_task = nullptr;
  let_go(thread);
  return inherit(cl, obj, Q7M_DISPOSE, a, b, list);
}

uint64_t q7ta_class_free(Q7Class *cl, Q7Object *obj, uint64_t a, uint64_t b, Q7TagItem *list) {
  // A subclass passes its own release on to here; the main task goes with this class only.
  if (obj == &cl->header && main_task) send(main_task, Q7M_DISPOSE);
  return inherit(cl, obj, Q7M_CLASS_FREE, a, b, list);
}

uint64_t q7ta_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *list) {
  switch (method) {
    case Q7M_NEW: return q7ta_new(cl, obj, a, b, list);
    case Q7M_DISPOSE: return q7ta_dispose(cl, obj, a, b, list);
    case Q7M_SET: return walk<Task>(cl, obj, method, list, q7ta_set);
    case Q7M_GET: return walk<Task>(cl, obj, method, list, q7ta_get);
    case Q7M_COPY: return 0;  // a thread has no second copy
    case Q7M_CLASS_FREE: return q7ta_class_free(cl, obj, a, b, list);
    case Q7M_TASK_FIND: return word(current.task());
    case Q7M_TASK_LAST_SIGNAL: return word(last_signal());
    default: return inherit(cl, obj, method, a, b, list);
  }
}

constexpr ClassDef task_class = {Q7C_TASK, Q7C_ROOT, "q7task", q7ta_dispatch, sizeof(Task), Q7RegisterRootClass,
                                 "Task"};

}  // namespace

int32_t Q7TaskWaitTermination(Q7Object *task) {
  if (!task) return 0;
  if (Thread *own = current.of_object(task)) {
    if (!own->entry.run) return 0;
    Guard guard(own->mutex);
    while (!own->disposing) pthread_cond_wait(&own->changed, &own->mutex);
    return 1;
  }
  Q7Class *cl = Q7ClassFind(Q7C_TASK);
  if (!cl || !Q7ObjectIsOfKind(task, Q7C_TASK)) return 0;
  Thread *thread = data<Task>(cl, task).thread;
  if (!thread->entry.run) return 0;
  thread->owners.fetch_add(1);
  {
    Guard guard(thread->mutex);
    while (!thread->ended) pthread_cond_wait(&thread->changed, &thread->mutex);
  }
  let_go(thread);
  return 1;
}

int32_t Q7RegisterTaskClass(Q7App *app) { return register_class(app, task_class); }
