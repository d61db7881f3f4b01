// shell: what the files of q7sh share: the tree of objects in which it moves, the commands, and the line editor.
#ifndef Q7_TOOLS_Q7SH_SHELL_HPP
#define Q7_TOOLS_Q7SH_SHELL_HPP

#include <cstdio>
#include <string>
#include <type_traits>
#include <vector>

#include "core/client.hpp"
#include "lang/q7prglng.h"

namespace q7sh {

using q7client::arg;
using q7client::send;
using q7client::slot;

// ---- tree.cpp: the program's own classes ----

// An object with a list of objects, "Members"; the root of the tree is one. It disposes of its members.
enum : uint32_t { kFolderClass = 4270, kMembers = 4270500 };
// Takes the texts of languages: the first method writes to the program's output, the second to standard error.
enum : uint32_t { kSinkClass = 4271, kShow = 4271000, kComplain = 4271001 };

bool register_classes();
// Where texts are shown; standard output itself gets what the library echoes.
void set_output(std::FILE *out);
std::FILE *output();
void show(const std::string &text);
std::vector<Q7PublicAttribute> rows_of(Q7Object *object);
// The list of an attribute; null for anything else.
Q7List *list_of(Q7Object *object, const Q7PublicAttribute &row);
std::string name_of(Q7Object *object);

// ---- commands.cpp ----

class Shell {
 public:
  explicit Shell(Q7App *app);
  ~Shell();
  Shell(const Shell &) = delete;
  Shell &operator=(const Shell &) = delete;

  // Runs one line; false when it failed.
  bool run(const std::string &line);
  // Runs a file by the language of its extension.
  bool run_file(const std::string &file);
  bool load_plugin(const std::string &name);
  bool over() const { return over_; }
  // Asks for more of a script before it can be run.
  bool wants_more() const { return !script_.empty(); }
  bool speaks_lua() const { return in_lua_; }
  std::string path() const;
  // What a word may be completed to; `first` says that it is a command.
  std::vector<std::string> complete(const std::string &word, bool first) const;
  // Stops a running script; from a signal handler.
  void interrupt() const;

 private:
  struct Command {
    const char *name;
    const char *arguments;
    const char *help;
    bool (Shell::*function)(const std::string &arguments);
  };
  static const Command kCommands[];
  static const Command *find(const std::string &name);

  bool help(const std::string &arguments);
  bool change(const std::string &path);
  bool print_path(const std::string &arguments);
  bool up(const std::string &arguments);
  bool next(const std::string &arguments);
  bool previous(const std::string &arguments);
  bool list_members(const std::string &path);
  bool list_attributes(const std::string &path);
  bool get(const std::string &path);
  bool set(const std::string &arguments);
  bool print_class(const std::string &path);
  bool list_classes(const std::string &pattern);
  bool list_languages(const std::string &arguments);
  bool make(const std::string &arguments);
  bool remove(const std::string &path);
  bool lua(const std::string &text);
  bool plugin(const std::string &name);
  bool run_command(const std::string &file);
  bool idle(const std::string &arguments);
  bool echo(const std::string &text);
  bool quit(const std::string &arguments);

  bool step(uint32_t method);
  bool path_command(uint32_t method, const std::string &path, const char *what);
  bool fail(const std::string &text) const;
  std::string status_text() const;
  Q7Object *resolve(const std::string &path) const;
  Q7Object *language(uint32_t clid);
  bool run_lua(const std::string &text);
  Q7List *list_for(const std::string &path, Q7Object *&owner) const;

  Q7App *app_;
  Q7Object *root_, *sink_, *shell_;
  Q7Object *lua_ = nullptr;
  std::vector<Q7Object *> languages_;
  std::string script_;   // the lines so far of a script that is not complete
  bool in_lua_ = false;  // lines are Lua until a single dot
  bool over_ = false;
};

// ---- editor.cpp: lines from a terminal ----

void open_editor(Shell &shell, std::FILE *out, const std::string &history);
void close_editor();
// The next line; false at the end.
bool edit_line(const std::string &prompt, std::string &line);

}  // namespace q7sh

#endif
