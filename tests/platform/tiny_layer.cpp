// tiny_layer: a whole platform layer in one file, in standard C++ and nothing else: everything in memory, no
// catalogues, no plug-ins, a main loop that looks every millisecond. It shows how little the library needs of a layer,
// and the test beside it runs the very library file that the default layer runs.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <variant>

#include "app/q7idle.h"
#include "core/q7root.h"
#include "platform/q7platform.h"

namespace {

// ---- Classes ----

template <class T>
T *&data(Q7Class *cl, Q7Object *obj) {
  return *reinterpret_cast<T **>(reinterpret_cast<char *>(obj) + cl->ioffset);
}
uint64_t inherit(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  return cl->superdispatch(cl->super, obj, method, a, b, tags);
}
int32_t make_class(Q7App *app, uint32_t id, const char *name, Q7Dispatcher dispatch) {
  if (Q7ClassFind(id)) return 1;
  return Q7RegisterRootClass(app) && Q7ClassCreate(Q7C_ROOT, id, dispatch, dispatch ? sizeof(void *) : 0, Q7CT_NAME,
                                                   reinterpret_cast<uint64_t>(name), 0);
}

struct Task {
  std::thread thread;
  std::mutex mutex;
  std::condition_variable changed;
  bool ended = false;
  bool disposing = false;
};
thread_local Q7Object *current_task = nullptr;
Q7Object *main_task = nullptr;

uint64_t task_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  switch (method) {
    case Q7M_NEW: {
      auto *made = reinterpret_cast<Q7Object *>(inherit(cl, obj, method, a, b, tags));
      if (!made) return 0;
      auto *task = data<Task>(cl, made) = new Task;
      auto *entry = reinterpret_cast<Q7TaskEntry *>(Q7TagVal(tags, Q7A_TASK_ENTRY, 0));
      if (!entry) {
        current_task = main_task = made;
        return reinterpret_cast<uint64_t>(made);
      }
      task->thread = std::thread([task, made, copy = *entry] {
        current_task = made;
        copy.run(made, copy.argument);
        std::lock_guard guard(task->mutex);
        task->ended = true;
        task->changed.notify_all();
      });
      return reinterpret_cast<uint64_t>(made);
    }
    case Q7M_DISPOSE: {
      std::unique_ptr<Task> task(data<Task>(cl, obj));
      {
        std::lock_guard guard(task->mutex);
        task->disposing = true;
        task->changed.notify_all();
      }
      if (task->thread.joinable()) task->thread.join();
      if (main_task == obj) current_task = main_task = nullptr;
      return inherit(cl, obj, method, a, b, tags);
    }
    case Q7M_CLASS_FREE:
      if (obj == &cl->header && main_task) main_task->dispatch(main_task->cl, main_task, Q7M_DISPOSE, 0, 0, nullptr);
      return inherit(cl, obj, method, a, b, tags);
    case Q7M_TASK_FIND: return reinterpret_cast<uint64_t>(current_task);
    default: return inherit(cl, obj, method, a, b, tags);
  }
}

struct Signal {
  std::mutex mutex;
  std::condition_variable woken;
  int kept = 0;
};
uint64_t signal_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  if (method == Q7M_NEW) {
    auto *made = reinterpret_cast<Q7Object *>(inherit(cl, obj, method, a, b, tags));
    if (made) data<Signal>(cl, made) = new Signal;
    return reinterpret_cast<uint64_t>(made);
  }
  if (method != Q7M_DISPOSE && method != Q7M_SIGNAL_WAKE && method != Q7M_SIGNAL_WAIT) {
    return inherit(cl, obj, method, a, b, tags);
  }
  Signal *signal = data<Signal>(cl, obj);
  if (method == Q7M_DISPOSE) {
    delete signal;
    return inherit(cl, obj, method, a, b, tags);
  }
  std::unique_lock lock(signal->mutex);
  if (method == Q7M_SIGNAL_WAKE) {
    ++signal->kept;
    signal->woken.notify_one();
    return 1;
  }
  auto some = [&] { return signal->kept > 0; };
  auto limit = std::chrono::milliseconds(static_cast<uint32_t>(reinterpret_cast<uint64_t>(tags)));
  if (limit.count() == 0) {
    signal->woken.wait(lock, some);
  } else if (!signal->woken.wait_for(lock, limit, some)) {
    return 0;
  }
  --signal->kept;
  return 1;
}

// ---- Settings ----

using Value = std::variant<int32_t, std::string>;
using Key = std::map<std::string, Value>;
std::map<std::string, Key> settings;

template <class T>
T *find_value(void *key, const char *name) {
  auto &values = *static_cast<Key *>(key);
  auto found = values.find(name);
  return found == values.end() ? nullptr : std::get_if<T>(&found->second);
}

std::atomic<bool> ended{false};
std::thread::id main_thread = std::this_thread::get_id();

}  // namespace

int32_t J7OopsInit(Q7App *) { return 1; }
int32_t J7OopsFree(Q7App *) { return 1; }
int32_t J7SystemDependInitP1(Q7App *, int32_t, void *, uint32_t, void *) {
  ended = false;
  return 1;
}
int32_t J7SystemDependInitP2(Q7App *, int32_t, void *, uint32_t, void *) { return 1; }
int32_t J7SystemDependFree(Q7App *) { return 1; }
int32_t J7SystemDependDelete(Q7App *) {
  settings.clear();
  return 1;
}
int32_t J7AppTerminate(Q7App *, ...) {
  ended = true;
  return 1;
}

void *Q7LockAlloc(void) { return new std::recursive_mutex; }
void Q7LockFree(void *lock) { delete static_cast<std::recursive_mutex *>(lock); }
void Q7Lock(void *lock) {
  if (lock) static_cast<std::recursive_mutex *>(lock)->lock();
}
void Q7Unlock(void *lock) {
  if (lock) static_cast<std::recursive_mutex *>(lock)->unlock();
}
int32_t Q7IsMainThread(void) { return std::this_thread::get_id() == main_thread; }
int32_t Q7TaskWaitTermination(Q7Object *object) {
  Q7Class *cl = Q7ClassFind(Q7C_TASK);
  if (!object || !cl) return 0;
  Task *task = data<Task>(cl, object);
  std::unique_lock lock(task->mutex);
  bool own = object == current_task;
  task->changed.wait(lock, [&] { return own ? task->disposing : task->ended; });
  return 1;
}
void Q7Sleep(uint32_t seconds) { std::this_thread::sleep_for(std::chrono::seconds(seconds)); }
void Q7SleepMs(uint32_t milliseconds) { std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds)); }
void Q7WakeUpGui(Q7App *) {}

void *Q7AppOpenRegistry(Q7App *, uint32_t, const char *key) {
  auto found = key ? settings.find(key) : settings.end();
  return found == settings.end() ? nullptr : &found->second;
}
void *Q7AppCreateRegistry(Q7App *, uint32_t, const char *key) { return key ? &settings[key] : nullptr; }
int32_t Q7AppCloseRegistry(Q7App *, void *key) { return key != nullptr; }
int32_t Q7AppReadRegistry(Q7App *, void *key, const char *name, char *buffer) {
  auto *text = key && name ? find_value<std::string>(key, name) : nullptr;
  if (!text || !buffer) return 0;
  std::string cut = text->substr(0, 511);
  memcpy(buffer, cut.c_str(), cut.size() + 1);
  return 1;
}
int32_t Q7AppReadRegistryInt(Q7App *, void *key, const char *name, int32_t *value) {
  auto *found = key && name ? find_value<int32_t>(key, name) : nullptr;
  if (found && value) *value = *found;
  return found && value;
}
int32_t Q7AppReadRegistryFloat(Q7App *, void *key, const char *name, double *value) {
  if (!key || !name || !value) return 0;
  if (auto *number = find_value<int32_t>(key, name)) {
    *value = *number;
    return 1;
  }
  auto *text = find_value<std::string>(key, name);
  if (!text) return 0;
  *value = strtod(text->c_str(), nullptr);
  return 1;
}
int32_t Q7AppWriteRegistryInt(Q7App *, void *key, const char *name, int32_t value) {
  if (!key || !name) return 0;
  (*static_cast<Key *>(key))[name] = value;
  return 1;
}
int32_t Q7AppWriteRegistryString(Q7App *, void *key, const char *name, const char *text) {
  if (!key || !name || !text) return 0;
  (*static_cast<Key *>(key))[name] = std::string(text);
  return 1;
}
int32_t Q7AppBeginRegistryWrite(Q7App *, uint32_t) { return 1; }
int32_t Q7AppEndRegistryWrite(Q7App *, uint32_t) { return 1; }

void *Q7AppOpenLocale(Q7App *, const char *, const char *, Q7LocaleEntry *table, uint32_t count) {
  auto *copy = new Q7LocaleEntry[count];
  std::copy_n(table, count, copy);
  return copy;
}
int32_t Q7AppCloseLocale(Q7App *, void *catalogue, uint32_t) {
  delete[] static_cast<Q7LocaleEntry *>(catalogue);
  return 1;
}

int32_t Q7ExamineDir(const char *folder, int32_t (*each)(int32_t, const char *, void *), void *context) {
  std::error_code error;
  for (auto &entry : std::filesystem::directory_iterator(folder ? folder : "", error)) {
    if (!each(entry.is_directory(error), entry.path().c_str(), context)) break;
  }
  return !error;
}
void *Q7LibraryOpen(Q7App *, const char *, uint64_t, uint64_t) { return nullptr; }
int32_t Q7LibraryClose(Q7App *, void *, int32_t) { return 0; }
char *Q7ToSystemPath(char *destination, const char *source, int32_t size) {
  std::string copy = source;
  return size > 0 ? strcpy(destination, copy.substr(0, static_cast<size_t>(size) - 1).c_str()) : destination;
}
char *Q7FromSystemPath(char *destination, const char *source, int32_t size) {
  return Q7ToSystemPath(destination, source, size);
}
char *Q7FileNameToNative(char *destination, const char *name) { return Q7ToSystemPath(destination, name, 512); }
int32_t Q7IsAbsolutePathName(const char *path) { return path && *path == '/'; }
const char *Q7GetUserHome(void) { return getenv("HOME"); }
int32_t Q7GetDateTime(uint32_t seconds, char *date, char *text) {
  time_t when = seconds ? static_cast<time_t>(seconds) : time(nullptr);
  strftime(date, 64, "%Y-%m-%d", gmtime(&when));
  strftime(text, 64, "%H:%M:%S", gmtime(&when));
  return 1;
}

int32_t Q7ProcessEventsA(Q7App *app, uint64_t, Q7TagItem *) {
  while (!ended) {
    if (!Q7AppDoIdle(app)) Q7SleepMs(1);
  }
  return 1;
}
int32_t Q7GetChoice(const char *, const char *, void *) { return 1; }

namespace {
int32_t grey(double *rgba) {
  std::fill_n(rgba, 4, 0.5);
  return 1;
}
}  // namespace
int32_t Q7GetBackgroundColor(double *rgba) { return grey(rgba); }
int32_t Q7GetForegroundColor(double *rgba) { return grey(rgba); }
int32_t Q7GetTopshadowColor(double *rgba) { return grey(rgba); }
int32_t Q7GetBottomshadowColor(double *rgba) { return grey(rgba); }
int32_t Q7GetDownColor(double *rgba) { return grey(rgba); }
int32_t Q7GetDownForegroundColor(double *rgba) { return grey(rgba); }
int32_t Q7GetInputBackgroundColor(double *rgba) { return grey(rgba); }
int32_t Q7GetActiveTitleBackgroundColor(double *rgba) { return grey(rgba); }
int32_t Q7GetInactiveTitleBackgroundColor(double *rgba) { return grey(rgba); }
int32_t Q7GetTitleTextColor(double *rgba) { return grey(rgba); }
int32_t Q7Refresh(Q7Object *widget) { return widget != nullptr; }

int32_t Q7RegisterTaskClass(Q7App *app) { return make_class(app, Q7C_TASK, "tinytask", task_dispatch); }
int32_t Q7RegisterSemaphoreClass(Q7App *app) { return make_class(app, Q7C_SIGNAL, "tinysignal", signal_dispatch); }
int32_t Q7RegisterIconClass(Q7App *app) { return make_class(app, 4001, "tinyicon", nullptr); }
int32_t Q7RegisterCursorClass(Q7App *app) { return make_class(app, 4002, "tinycursor", nullptr); }
int32_t Q7RegisterTimerClass(Q7App *app) { return make_class(app, 4003, "tinytimer", nullptr); }
int32_t Q7RegisterMsgPortClass(Q7App *app) { return make_class(app, 4004, "tinyport", nullptr); }
int32_t Q7RegisterWindowClass(Q7App *) { return 0; }
int32_t Q7RegisterOSGadgetClass(Q7App *) { return 0; }
