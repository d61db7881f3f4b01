// session: the studio's application object and everything around it: the plug-in, the handlers of reports, the log, the
// streams the user sees, the catalogue of texts and the signal that cancels.
#ifndef Q7_STUDIO_SESSION_HPP
#define Q7_STUDIO_SESSION_HPP

#include <cstdarg>
#include <cstdio>
#include <stdexcept>
#include <string>

#include "app/q7app.h"
#include "examples/studio/texts.hpp"

namespace studio {

// What ends a command: the one line that the user gets. Never thrown across a frame of the library.
class Failure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
  template <class... Values>
  explicit Failure(Text text, Values... values) : std::runtime_error(format(text, values...)) {}
};

// The user has pressed Ctrl-C, or the process was asked to end.
class Cancelled : public std::exception {
 public:
  explicit Cancelled(int signal) : signal(signal) {}
  int signal;
};

class Session {
 public:
  // Starts the application. `plugins` is the folder of the plug-in libraries; empty: beside the folder of the program.
  // `quiet` keeps say() silent. Throws Failure.
  Session(const std::string &plugins, bool quiet);
  ~Session() { stop(); }
  Session(const Session &) = delete;
  Session &operator=(const Session &) = delete;

  Q7App *app() const { return app_; }

  // A line for the user, on standard output. It waits for tell(): a command that fails leaves standard output clean.
  void say(Text text, ...);
  void tell();
  // From now on say() does not wait.
  void tell_at_once();
  // Moves what say() tells to standard error, since standard output carries a picture.
  void free_standard_output();
  // Bytes for standard output. False when they do not all arrive.
  bool write_standard_output(const void *bytes, size_t size);

 private:
  void start(const std::string &plugins);
  void stop();

  Q7App *app_ = nullptr;
  std::FILE *screen_ = nullptr;  // what was standard output; the library's echo of the log goes nowhere
  std::FILE *lines_ = nullptr;   // where say() writes
  std::string waiting_;          // what it is to write
  bool at_once_ = false;
};

// The first report of an error since the last call, as one line; empty when there was none.
std::string take_report();
// A failure about a file: the report that the library made of it, or else the text, which takes the name.
Failure failure_of(const std::string &name, Text text);

// 0, or the signal that asks for the end (SIGINT, SIGTERM).
int interrupted();
void throw_if_interrupted();
// While a script runs: the language object that a signal is to stop; null when none does.
void set_running_script(Q7Object *language);

// One line: control characters become blanks.
std::string one_line(std::string text);

}  // namespace studio

#endif
