// session: start and end of the application, and what the user hears of it.
//
// The library echoes its log to standard output, which belongs to whoever runs the studio in a script. So descriptor 1
// leads nowhere while the application lives, and the studio writes to a copy of what it was.
#include "examples/studio/session.hpp"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <string_view>
#include <utility>

#include "app/q7async.h"
#include "core/q7plugin.h"
#include "core/q7report.h"
#include "examples/studio/naming.hpp"
#include "examples/studio/settings.hpp"
#include "io/q7file.h"
#include "io/q7iff.h"
#include "platform/q7platform.h"
#include "plugins/lua/q7lua.h"
#include "ui/q7model.h"

namespace studio {

namespace {

volatile sig_atomic_t caught;

std::atomic<Q7Object *> script;

// The first signal asks for the end; a second one does not ask.
void on_signal(int number) {
  if (caught) {
    signal(number, SIG_DFL);
    raise(number);
    return;
  }
  caught = number;
  // The one language that can be stopped from here.
  Q7Object *running = script;
  if (running && running->clid == Q7C_LUA) running->dispatch(running->cl, running, Q7M_LUA_INTERRUPT, 0, 0, nullptr);
}

void catch_signals() {
  struct sigaction action = {};
  action.sa_handler = on_signal;
  // Waiting ends at once: no SA_RESTART.
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
  action.sa_handler = SIG_IGN;
  sigaction(SIGPIPE, &action, nullptr);
}

// Reports come from any thread; only the first one since the last look says what went wrong first.
std::mutex report_lock;
std::string report;

int on_error(const char *, int, const char *text, ...) {
  std::lock_guard lock(report_lock);
  // What follows the first line tells where in the program it was.
  const std::string_view line(text);
  if (report.empty()) report = one_line(std::string(line.substr(0, line.find('\n'))));
  return 0;
}

int on_info(const char *, int, const char *text, ...) {
  std::fprintf(stderr, "studio: %s\n", one_line(text).c_str());
  return 0;
}

const char *language() {
  for (const char *name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    const char *value = std::getenv(name);
    if (value && *value)
      return std::string_view(value) == "C" || std::string_view(value) == "POSIX" ? "english" : value;
  }
  return "english";
}

std::string plugin_folder() {
  std::error_code error;
  const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
  return (program.parent_path().parent_path() / "plugins").string();
}

}  // namespace

Session::Session(const std::string &plugins, bool quiet) {
  catch_signals();
  std::fflush(stdout);
  const int screen = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
  const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
  if (screen >= 0) screen_ = fdopen(screen, "w");
  if (nowhere >= 0) dup2(nowhere, STDOUT_FILENO);
  if (nowhere > STDERR_FILENO) close(nowhere);
  lines_ = quiet ? nullptr : screen_;
  try {
    start(plugins.empty() ? plugin_folder() : plugins);
  } catch (...) {
    stop();
    throw;
  }
}

void Session::start(const std::string &plugins) {
  static int32_t count = 0;
  static const char *const locale = language();
  app_ = Q7AppCreate(&count, nullptr, Q7APP_Name, reinterpret_cast<uint64_t>("studio"), Q7APP_Interactive, uint64_t{0},
                     Q7APP_ErrorHandler, reinterpret_cast<uint64_t>(&on_error), Q7APP_InfoHandler,
                     reinterpret_cast<uint64_t>(&on_info), Q7APP_Locale, reinterpret_cast<uint64_t>(&locale), 0);
  if (!app_) throw failure_of("", Text::kNotStarted);
  open_texts(app_);
  if (!Q7RegisterIFFClass(app_) || !Q7RegisterAsyncExecutorClass(app_) || !Q7RegisterModelClass(app_) ||
      !register_settings_class(app_) || !register_naming_class(app_)) {
    throw failure_of("", Text::kNotStarted);
  }
  Q7SetPluginDir(app_, plugins.c_str());
  if (!Q7LoadPluginLibrary(app_, "q7scene")) throw Failure(Text::kNoPlugin, "libq7scene.so", plugins.c_str());
}

void Session::stop() {
  if (app_) {
    close_texts(app_);
    Q7AppDelete(app_);
    app_ = nullptr;
  }
  std::fflush(stdout);
  if (screen_) std::fclose(screen_);
  screen_ = nullptr;
}

void Session::say(Text text, ...) {
  va_list arguments;
  va_start(arguments, text);
  const std::string line = format(text, arguments);
  va_end(arguments);
  Q7ErrPos("studio", 0);
  Q7_WriteLog("%s", line.c_str());
  waiting_ += line + "\n";
  if (at_once_) tell();
}

void Session::tell() {
  if (lines_) {
    std::fputs(waiting_.c_str(), lines_);
    std::fflush(lines_);
  }
  waiting_.clear();
}

void Session::tell_at_once() {
  at_once_ = true;
  tell();
}

void Session::free_standard_output() {
  if (lines_) lines_ = stderr;
}

bool Session::write_standard_output(const void *bytes, size_t size) {
  return screen_ && std::fwrite(bytes, 1, size, screen_) == size && std::fflush(screen_) == 0;
}

std::string take_report() {
  std::lock_guard lock(report_lock);
  return std::exchange(report, {});
}

Failure failure_of(const std::string &name, Text text) {
  const std::string reported = take_report();
  if (reported.empty()) return Failure(text, name.c_str());
  return Failure(name.empty() ? reported : name + ": " + reported);
}

int interrupted() { return caught; }

void throw_if_interrupted() {
  if (caught) throw Cancelled(caught);
}

void set_running_script(Q7Object *language) { script = language; }

std::string one_line(std::string text) {
  for (char &c : text) {
    if (static_cast<unsigned char>(c) < ' ' || c == 0x7f) c = ' ';
  }
  while (!text.empty() && text.back() == ' ') text.pop_back();
  return text;
}

}  // namespace studio
