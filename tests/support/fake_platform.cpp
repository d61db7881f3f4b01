// fake_platform: the functions of the recording platform layer; its classes are in fake_classes.cpp.
#include "tests/support/fake_platform.h"

#include <dirent.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <mutex>
#include <optional>

namespace {

// What is known about one function of the layer. Made once and never moved, so that callers may keep its address.
struct Function {
  std::atomic<int64_t> calls{0};
  std::atomic<bool> armed{false};
  int64_t fail_from = 0;  // number of the first call to fail
  int64_t fail_until = 0;
};

struct Key {
  std::string name;
};
struct Library {
  std::string path;
};

// Never destroyed: threads of the code under test may still call the layer while the process ends.
struct State {
  std::mutex mutex;
  std::map<std::string, std::unique_ptr<Function>> functions;
  std::vector<std::string> calls;
  std::function<void(const std::string &)> observer;
  std::atomic<bool> all{false};
  std::optional<std::string> home;
  bool no_home = false;
  std::string date = "2001-02-03", time = "04:05:06";
  int32_t choice = 1, events = 1;
  std::vector<std::string> choices;
  std::vector<uint64_t> terminate;
  uint64_t events_argument = 0;
  std::vector<Q7TagItem> events_tags;
  fake::StartUp start_up[2] = {};
  fake::Settings settings;
  std::map<std::string, std::string> texts;
  std::map<std::string, std::function<bool(Q7App *)>> libraries;
  std::map<std::string, std::string> homes;  // keeps answered home texts alive
  pthread_t main_thread = pthread_self();
};
State &state() {
  static State &s = *new State;
  return s;
}
// The thread that runs the constructors is the main one.
[[maybe_unused]] State &constructed_on_main_thread = state();

std::atomic<int64_t> live_counts[7];
thread_local int locks_held;

Function &function(const std::string &name) {
  std::lock_guard lock(state().mutex);
  auto &entry = state().functions[name];
  if (!entry) entry = std::make_unique<Function>();
  return *entry;
}

// Counts a call; true when it is to go on, false when it is to fail.
bool count_call(Function &f) {
  const int64_t number = ++f.calls;
  if (!f.armed.load(std::memory_order_acquire)) return true;
  std::lock_guard lock(state().mutex);
  return number < f.fail_from || number >= f.fail_until;
}

void write_line(const std::string &line) {
  std::function<void(const std::string &)> observer;
  {
    std::lock_guard lock(state().mutex);
    state().calls.push_back(line);
    observer = state().observer;
  }
  if (observer) observer(line);
}

std::string text(const char *t) { return t ? t : "null"; }
std::string number(int64_t n) { return std::to_string(n); }

void copy_text(char *destination, const std::string &source, size_t size) {
  if (destination) std::snprintf(destination, size, "%s", source.c_str());
}

}  // namespace

// Counts a frequent call, recorded only when everything is.
#define QUIET(name)                         \
  static Function &entry_ = function(name); \
  const bool goes_on = count_call(entry_);  \
  if (state().all.load(std::memory_order_relaxed)) write_line(name "()")
#define CALL(name, line)                            \
  static Function &entry_ = function(name);         \
  write_line(std::string(name "(") + (line) + ")"); \
  const bool goes_on = count_call(entry_)

namespace fake {

void reset() {
  State &s = state();
  std::lock_guard lock(s.mutex);
  for (auto &[name, f] : s.functions) {
    f->calls = 0;
    f->armed = false;
  }
  s.calls.clear();
  s.observer = nullptr;
  s.all = false;
  s.home.reset();
  s.no_home = false;
  s.date = "2001-02-03";
  s.time = "04:05:06";
  s.choice = s.events = 1;
  s.choices.clear();
  s.terminate.clear();
  s.events_argument = 0;
  s.events_tags.clear();
  s.settings.clear();
  s.texts.clear();
  s.libraries.clear();
}

std::vector<std::string> calls() {
  std::lock_guard lock(state().mutex);
  return state().calls;
}

std::vector<std::string> calls(const std::string &name) {
  std::vector<std::string> found;
  for (const std::string &line : calls()) {
    if (line.compare(0, name.size() + 1, name + "(") == 0) found.push_back(line);
  }
  return found;
}

void clear_calls() {
  std::lock_guard lock(state().mutex);
  state().calls.clear();
}

void record_all(bool on) { state().all = on; }
void note(const std::string &line) { write_line(line); }
void set_observer(std::function<void(const std::string &)> observer) {
  std::lock_guard lock(state().mutex);
  state().observer = std::move(observer);
}
int64_t count(const std::string &name) { return function(name).calls; }

void fail(const std::string &name, int64_t nth, int64_t times) {
  Function &f = function(name);
  std::lock_guard lock(state().mutex);
  f.fail_from = f.calls + nth;
  f.fail_until = times ? f.fail_from + times : INT64_MAX;
  f.armed = true;
}

void pass(const std::string &name) { function(name).armed = false; }

void set_home(const char *home) {
  std::lock_guard lock(state().mutex);
  state().no_home = !home;
  state().home = home ? std::optional<std::string>(home) : std::nullopt;
}

void set_date(const std::string &date, const std::string &time) {
  std::lock_guard lock(state().mutex);
  state().date = date;
  state().time = time;
}

void set_choice(int32_t answer) { state().choice = answer; }
void set_events_result(int32_t answer) { state().events = answer; }

std::vector<std::string> choices() {
  std::lock_guard lock(state().mutex);
  return state().choices;
}
std::vector<uint64_t> terminate_arguments() { return state().terminate; }
std::pair<uint64_t, std::vector<Q7TagItem>> events_arguments() {
  return {state().events_argument, state().events_tags};
}
StartUp start_up(int phase) { return state().start_up[phase == 2]; }
Settings &settings() { return state().settings; }

void set_text(const std::string &module, const std::string &key, const std::string &value) {
  std::lock_guard lock(state().mutex);
  state().texts[module + "/" + key] = value;
}

void set_library(const std::string &path, std::function<bool(Q7App *)> open) {
  std::lock_guard lock(state().mutex);
  state().libraries[path] = std::move(open);
}

Live live() {
  return {live_counts[0], live_counts[1], live_counts[2], live_counts[3],
          live_counts[4], live_counts[5], live_counts[6]};
}

int held_locks() { return locks_held; }

bool detail::called(const char *name, const std::string &line) {
  write_line(std::string(name) + "(" + line + ")");
  return count_call(function(name));
}

void detail::add_live(int64_t Live::*what, int64_t by) {
  static constexpr int64_t Live::*order[] = {&Live::locks, &Live::keys,    &Live::catalogues, &Live::libraries,
                                             &Live::tasks, &Live::threads, &Live::signals};
  for (size_t i = 0; i < 7; ++i) {
    if (order[i] == what) live_counts[i] += by;
  }
}

}  // namespace fake

using fake::Live;
using fake::detail::add_live;

// ---- Start and end ----

int32_t J7SystemDependInitP1(Q7App *, int32_t interactive, void *arg1, uint32_t arg2, void *arg3) {
  CALL("J7SystemDependInitP1", number(interactive));
  state().start_up[0] = {interactive, arg1, arg2, arg3};
  return goes_on;
}

int32_t J7SystemDependInitP2(Q7App *, int32_t interactive, void *arg1, uint32_t arg2, void *arg3) {
  CALL("J7SystemDependInitP2", number(interactive));
  state().start_up[1] = {interactive, arg1, arg2, arg3};
  return goes_on;
}

int32_t J7SystemDependFree(Q7App *) {
  CALL("J7SystemDependFree", "");
  return goes_on;
}

int32_t J7SystemDependDelete(Q7App *) {
  CALL("J7SystemDependDelete", "");
  return goes_on;
}

int32_t J7AppTerminate(Q7App *app, ...) {
  CALL("J7AppTerminate", "");
  std::vector<uint64_t> arguments;
  va_list list;
  va_start(list, app);
  for (int i = 0; i < 5; ++i) arguments.push_back(va_arg(list, uint64_t));
  va_end(list);
  state().terminate = arguments;
  return goes_on;
}

int32_t J7OopsInit(Q7App *) {
  CALL("J7OopsInit", "");
  return goes_on;
}

int32_t J7OopsFree(Q7App *) {
  CALL("J7OopsFree", "");
  return goes_on;
}

// ---- Locks and time ----

void *Q7LockAlloc(void) {
  CALL("Q7LockAlloc", "");
  if (!goes_on) return nullptr;
  auto *lock = new pthread_mutex_t;
  pthread_mutexattr_t attributes;
  pthread_mutexattr_init(&attributes);
  pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
  pthread_mutex_init(lock, &attributes);
  pthread_mutexattr_destroy(&attributes);
  add_live(&Live::locks, 1);
  return lock;
}

void Q7LockFree(void *lock) {
  CALL("Q7LockFree", "");
  (void)goes_on;
  if (!lock) return;
  pthread_mutex_destroy(static_cast<pthread_mutex_t *>(lock));
  delete static_cast<pthread_mutex_t *>(lock);
  add_live(&Live::locks, -1);
}

void Q7Lock(void *lock) {
  QUIET("Q7Lock");
  (void)goes_on;
  if (lock) pthread_mutex_lock(static_cast<pthread_mutex_t *>(lock));
  ++locks_held;
}

void Q7Unlock(void *lock) {
  QUIET("Q7Unlock");
  (void)goes_on;
  --locks_held;
  if (lock) pthread_mutex_unlock(static_cast<pthread_mutex_t *>(lock));
}

int32_t Q7IsMainThread(void) {
  QUIET("Q7IsMainThread");
  (void)goes_on;
  return pthread_equal(state().main_thread, pthread_self()) != 0;
}

// Long sleeps are recorded and not slept: teardown asks for whole seconds.
void Q7Sleep(uint32_t seconds) {
  CALL("Q7Sleep", number(seconds));
  (void)goes_on;
}

void Q7SleepMs(uint32_t milliseconds) {
  QUIET("Q7SleepMs");
  (void)goes_on;
  const timespec duration = {milliseconds / 1000, static_cast<long>(milliseconds % 1000) * 1000000};
  nanosleep(&duration, nullptr);
}

void Q7WakeUpGui(Q7App *) {
  QUIET("Q7WakeUpGui");
  (void)goes_on;
}

// ---- Settings ----

void *Q7AppOpenRegistry(Q7App *, uint32_t scope, const char *key) {
  CALL("Q7AppOpenRegistry", number(scope) + ", " + text(key));
  if (!goes_on || !key || !state().settings.count(key)) return nullptr;
  add_live(&Live::keys, 1);
  return new Key{key};
}

void *Q7AppCreateRegistry(Q7App *, uint32_t scope, const char *key) {
  CALL("Q7AppCreateRegistry", number(scope) + ", " + text(key));
  if (!goes_on || !key) return nullptr;
  state().settings[key];
  add_live(&Live::keys, 1);
  return new Key{key};
}

int32_t Q7AppCloseRegistry(Q7App *, void *key) {
  CALL("Q7AppCloseRegistry", key ? static_cast<Key *>(key)->name : "null");
  if (!key) return 0;
  delete static_cast<Key *>(key);
  add_live(&Live::keys, -1);
  return goes_on;
}

static const std::string *setting(void *key, const char *name) {
  if (!key || !name) return nullptr;
  auto &values = state().settings[static_cast<Key *>(key)->name];
  auto found = values.find(name);
  return found == values.end() ? nullptr : &found->second;
}

int32_t Q7AppReadRegistry(Q7App *, void *key, const char *name, char *buffer) {
  CALL("Q7AppReadRegistry", text(name));
  const std::string *value = setting(key, name);
  if (!goes_on || !value) return 0;
  copy_text(buffer, *value, 512);
  return 1;
}

int32_t Q7AppReadRegistryInt(Q7App *, void *key, const char *name, int32_t *value) {
  CALL("Q7AppReadRegistryInt", text(name));
  const std::string *stored = setting(key, name);
  if (!goes_on || !stored || !value) return 0;
  *value = static_cast<int32_t>(std::strtol(stored->c_str(), nullptr, 10));
  return 1;
}

int32_t Q7AppReadRegistryFloat(Q7App *, void *key, const char *name, double *value) {
  CALL("Q7AppReadRegistryFloat", text(name));
  const std::string *stored = setting(key, name);
  if (!goes_on || !stored || !value) return 0;
  *value = std::strtod(stored->c_str(), nullptr);
  return 1;
}

int32_t Q7AppWriteRegistryInt(Q7App *, void *key, const char *name, int32_t value) {
  CALL("Q7AppWriteRegistryInt", text(name) + ", " + number(value));
  if (!goes_on || !key || !name) return 0;
  state().settings[static_cast<Key *>(key)->name][name] = number(value);
  return 1;
}

int32_t Q7AppWriteRegistryString(Q7App *, void *key, const char *name, const char *value) {
  CALL("Q7AppWriteRegistryString", text(name) + ", " + text(value));
  if (!goes_on || !key || !name || !value) return 0;
  state().settings[static_cast<Key *>(key)->name][name] = value;
  return 1;
}

int32_t Q7AppBeginRegistryWrite(Q7App *, uint32_t scope) {
  CALL("Q7AppBeginRegistryWrite", number(scope));
  return goes_on;
}

int32_t Q7AppEndRegistryWrite(Q7App *, uint32_t scope) {
  CALL("Q7AppEndRegistryWrite", number(scope));
  return goes_on;
}

// ---- Catalogues ----

void *Q7AppOpenLocale(Q7App *, const char *catalogue, const char *module, Q7LocaleEntry *table, uint32_t count) {
  CALL("Q7AppOpenLocale", text(catalogue) + ", " + text(module) + ", " + number(count));
  if (!goes_on || !table) return nullptr;
  auto *opened = static_cast<Q7LocaleEntry *>(std::calloc(count + 1, sizeof(Q7LocaleEntry)));
  std::lock_guard lock(state().mutex);
  for (uint32_t i = 0; i < count; ++i) {
    opened[i] = table[i];
    auto found = state().texts.find(text(module) + "/" + text(table[i].key));
    const char *shown = found == state().texts.end() ? table[i].text : found->second.c_str();
    // Every text is a copy that dies with the catalogue, so that a reader of a closed one is found out.
    char *copy = shown ? strdup(shown) : nullptr;
    opened[i].text = copy;
    opened[i].reserved = reinterpret_cast<uint64_t>(copy);
  }
  add_live(&Live::catalogues, 1);
  return opened;
}

int32_t Q7AppCloseLocale(Q7App *, void *catalogue, uint32_t count) {
  CALL("Q7AppCloseLocale", number(count));
  if (!catalogue) return 0;
  auto *opened = static_cast<Q7LocaleEntry *>(catalogue);
  for (uint32_t i = 0; i < count; ++i) std::free(reinterpret_cast<void *>(opened[i].reserved));
  std::free(opened);
  add_live(&Live::catalogues, -1);
  return goes_on;
}

// ---- Files, libraries, paths ----

int32_t Q7ExamineDir(const char *folder, int32_t (*each)(int32_t is_folder, const char *path, void *context),
                     void *context) {
  CALL("Q7ExamineDir", text(folder));
  DIR *dir = goes_on && folder && each ? opendir(folder) : nullptr;
  if (!dir) return 0;
  while (const dirent *entry = readdir(dir)) {
    const std::string name = entry->d_name;
    if (name == "." || name == "..") continue;
    const std::string path = std::string(folder) + "/" + name;
    struct stat status;
    const bool is_folder = stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
    if (!each(is_folder, path.c_str(), context)) break;
  }
  closedir(dir);
  return 1;
}

void *Q7LibraryOpen(Q7App *app, const char *path, uint64_t, uint64_t) {
  CALL("Q7LibraryOpen", text(path));
  if (!goes_on || !path) return nullptr;
  std::function<bool(Q7App *)> open;
  {
    std::lock_guard lock(state().mutex);
    auto found = state().libraries.find(path);
    if (found == state().libraries.end()) return nullptr;
    open = found->second;
  }
  if (open && !open(app)) return nullptr;
  add_live(&Live::libraries, 1);
  return new Library{path};
}

int32_t Q7LibraryClose(Q7App *, void *library, int32_t shutdown) {
  CALL("Q7LibraryClose", (library ? static_cast<Library *>(library)->path : "null") + ", " + number(shutdown));
  if (!library) return 0;
  delete static_cast<Library *>(library);
  add_live(&Live::libraries, -1);
  return goes_on;
}

char *Q7ToSystemPath(char *destination, const char *source, int32_t size) {
  QUIET("Q7ToSystemPath");
  (void)goes_on;
  if (!destination || size < 1) return destination;
  copy_text(destination, std::string(source ? source : ""), static_cast<size_t>(size));
  return destination;
}

char *Q7FromSystemPath(char *destination, const char *source, int32_t size) {
  QUIET("Q7FromSystemPath");
  (void)goes_on;
  if (!destination || size < 1) return destination;
  copy_text(destination, std::string(source ? source : ""), static_cast<size_t>(size));
  return destination;
}

char *Q7FileNameToNative(char *destination, const char *name) {
  QUIET("Q7FileNameToNative");
  (void)goes_on;
  copy_text(destination, std::string(name ? name : ""), 512);
  return destination;
}

// Absolute as the library's own rule has it: a leading separator, or a device part in front of one.
int32_t Q7IsAbsolutePathName(const char *path) {
  QUIET("Q7IsAbsolutePathName");
  if (!goes_on || !path) return 0;
  return path[0] == '/' || path[0] == '\\' || std::strstr(path, ":/") || std::strstr(path, ":\\");
}

const char *Q7GetUserHome(void) {
  QUIET("Q7GetUserHome");
  State &s = state();
  std::lock_guard lock(s.mutex);
  if (!goes_on || s.no_home) return nullptr;
  if (!s.home) return std::getenv("HOME");
  return s.homes.emplace(*s.home, *s.home).first->second.c_str();
}

int32_t Q7GetDateTime(uint32_t, char *date, char *time_text) {
  QUIET("Q7GetDateTime");
  std::lock_guard lock(state().mutex);
  copy_text(date, state().date, 64);
  copy_text(time_text, state().time, 64);
  return goes_on;
}

// ---- User interface ----

int32_t Q7ProcessEventsA(Q7App *, uint64_t argument, Q7TagItem *tags) {
  CALL("Q7ProcessEventsA", number(static_cast<int64_t>(argument)));
  state().events_argument = argument;
  state().events_tags.clear();
  for (Q7TagItem *item = tags; item && item->tag != Q7TAG_END; ++item) state().events_tags.push_back(*item);
  return goes_on ? state().events : 0;
}

int32_t Q7GetChoice(const char *buttons, const char *shown, void *) {
  CALL("Q7GetChoice", text(buttons) + ", " + text(shown));
  std::lock_guard lock(state().mutex);
  state().choices.push_back(text(shown));
  return goes_on ? state().choice : 0;
}

// Ten colours that differ in every channel: (base, base + 0.01, base + 0.02, 1).
#define COLOUR(name, base)           \
  int32_t name(double *rgba) {       \
    QUIET(#name);                    \
    if (!goes_on || !rgba) return 0; \
    rgba[0] = base;                  \
    rgba[1] = base + 0.01;           \
    rgba[2] = base + 0.02;           \
    rgba[3] = 1;                     \
    return 1;                        \
  }
COLOUR(Q7GetBackgroundColor, 0.05)
COLOUR(Q7GetForegroundColor, 0.10)
COLOUR(Q7GetTopshadowColor, 0.15)
COLOUR(Q7GetBottomshadowColor, 0.20)
COLOUR(Q7GetDownColor, 0.25)
COLOUR(Q7GetDownForegroundColor, 0.30)
COLOUR(Q7GetInputBackgroundColor, 0.35)
COLOUR(Q7GetActiveTitleBackgroundColor, 0.40)
COLOUR(Q7GetInactiveTitleBackgroundColor, 0.45)
COLOUR(Q7GetTitleTextColor, 0.50)

int32_t Q7Refresh(Q7Object *) {
  CALL("Q7Refresh", "");
  return goes_on;
}
