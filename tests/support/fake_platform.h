// fake_platform: a platform layer for tests. It supplies every function that the library expects, records the calls in
// order, lets a test make each of them fail, and holds settings, catalogues, dates and the home folder in memory. Its
// locks, tasks and signals are real threads' ones, so executors run on it. Everything is global to the process; reset()
// puts it back to the start.
#ifndef Q7_TESTS_SUPPORT_FAKE_PLATFORM_H
#define Q7_TESTS_SUPPORT_FAKE_PLATFORM_H

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "platform/q7platform.h"

namespace fake {

// Ids of the classes whose ids are the layer's own.
enum { kIconClass = 4901, kCursorClass = 4902, kTimerClass = 4903, kMsgPortClass = 4904 };

// Forgets records, failures, settings and texts. Does not end threads or free what the library still holds.
void reset();

// The calls so far, one line each: the name and the key arguments, as in `Q7AppOpenRegistry(1, App Paths)`. Frequent
// calls (locks, wake-ups, short sleeps, dates, homes, path conversions) are recorded only after record_all(true);
// count() knows them all the same.
std::vector<std::string> calls();
std::vector<std::string> calls(const std::string &function);  // only those of one function
void clear_calls();
void record_all(bool on);
// Writes a line of the test's own between the calls.
void note(const std::string &line);
// Called with every recorded line before the call takes effect, on the calling thread; null removes it.
void set_observer(std::function<void(const std::string &)> observer);
// How often a function was called since reset().
int64_t count(const std::string &function);

// Makes a function answer its failure (0 or null) from its nth call from now (1: the next) for `times` calls (0: for
// good).
void fail(const std::string &function, int64_t nth = 1, int64_t times = 1);
void pass(const std::string &function);

// The home folder; by default the environment variable HOME. Null: there is none.
void set_home(const char *home);
// What Q7GetDateTime answers; "2001-02-03" and "04:05:06" by default.
void set_date(const std::string &date, const std::string &time);
// What Q7GetChoice and Q7ProcessEventsA answer; 1 by default.
void set_choice(int32_t answer);
void set_events_result(int32_t answer);
// The texts that Q7GetChoice was asked to show.
std::vector<std::string> choices();
// What J7AppTerminate was given behind the application.
std::vector<uint64_t> terminate_arguments();
// The argument and tags of the last Q7ProcessEventsA.
std::pair<uint64_t, std::vector<Q7TagItem>> events_arguments();
// The arguments of the last start-up call (1 or 2).
struct StartUp {
  int32_t interactive;
  void *arg1;
  uint32_t arg2;
  void *arg3;
};
StartUp start_up(int phase);

// The settings store: key, then value name, then text.
using Settings = std::map<std::string, std::map<std::string, std::string>>;
Settings &settings();

// Gives a catalogue a text for a key in place of the default one, from the next opening on.
void set_text(const std::string &module, const std::string &key, const std::string &text);

// Lets Q7LibraryOpen find a library: `open` is its registration entry, its answer the success.
void set_library(const std::string &path, std::function<bool(Q7App *)> open);

// What the library holds of the layer at this moment.
struct Live {
  int64_t locks, keys, catalogues, libraries, tasks, threads, signals;
  bool operator==(const Live &) const = default;
};
Live live();

// Depth of locks that the calling thread holds.
int held_locks();

// What fake_classes.cpp and fake_platform.cpp share.
namespace detail {
bool called(const char *function, const std::string &line);
void add_live(int64_t Live::*what, int64_t by);
}  // namespace detail

}  // namespace fake

#endif
