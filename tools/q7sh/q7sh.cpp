// q7sh: a shell over the object tree: it moves through the tree, lists and changes public attributes, describes
// classes, makes objects and runs scripts. On a terminal it asks for lines; otherwise it reads them and shows nothing
// but results.
#include <signal.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <string>
#include <vector>

#include "app/q7app.h"
#include "core/q7plugin.h"
#include "io/q7file.h"
#include "math/q7color.h"
#include "platform/q7platform.h"
#include "tools/q7sh/shell.hpp"
#include "ui/q7model.h"
#include "ui/q7widget.h"

namespace {

using q7sh::Shell;

struct Settings {
  std::vector<std::string> files, commands, plugins;
  std::string folder;
  bool stop = false;
};

Shell *running;
void interrupt(int) {
  if (running) running->interrupt();
}

// Where plug-ins lie: beside the program's folder in a build, in the library's folder when installed.
std::string default_folder() {
  std::error_code error;
  const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
  const std::filesystem::path prefix = program.parent_path().parent_path();
  for (const char *place : {"plugins", Q7_PLUGIN_FOLDER}) {
    if (std::filesystem::is_directory(prefix / place, error)) return (prefix / place).string();
  }
  return "";
}

std::string history_file() {
  const char *home = Q7GetUserHome();
  return home ? std::string(home) + "/" + Q7GetUserFolder() + "/q7sh.history" : "";
}

std::string prompt(const Shell &shell) {
  if (shell.wants_more()) return ">> ";
  if (shell.speaks_lua()) return "lua> ";
  const std::string path = shell.path();
  return (path.empty() ? "." : path) + "> ";
}

bool talk(Shell &shell, std::FILE *out) {
  std::string line;
  q7sh::open_editor(shell, out, history_file());
  while (!shell.over() && q7sh::edit_line(prompt(shell), line)) {
    shell.run(line);
    std::fflush(out);
  }
  q7sh::close_editor();
  return true;
}

bool read_lines(Shell &shell, bool stop) {
  bool whole = true;
  std::string line;
  while (!shell.over() && std::getline(std::cin, line)) {
    whole = shell.run(line) && whole;
    std::fflush(q7sh::output());
    if (!whole && stop) return false;
  }
  if (shell.wants_more()) {
    std::fprintf(stderr, "q7sh: the script ends in the middle\n");
    return false;
  }
  return whole;
}

bool run(Q7App *app, const Settings &settings, std::FILE *out, bool terminal) {
  Shell shell(app);
  running = &shell;
  signal(SIGINT, interrupt);
  bool whole = true;
  if (std::filesystem::exists(settings.folder + "/libq7lua.so")) whole = shell.load_plugin("q7lua");
  for (const std::string &name : settings.plugins) {
    if (!shell.load_plugin(name)) {
      std::fprintf(stderr, "q7sh: plugin %s: cannot be loaded\n", name.c_str());
      whole = false;
    }
  }
  for (const std::string &file : settings.files) {
    if (!whole && settings.stop) break;
    whole = shell.run_file(file) && whole;
  }
  for (const std::string &command : settings.commands) {
    if ((!whole && settings.stop) || shell.over()) break;
    whole = shell.run(command) && whole;
  }
  if (settings.files.empty() && settings.commands.empty() && (whole || !settings.stop)) {
    whole = (terminal ? talk(shell, out) : read_lines(shell, settings.stop)) && whole;
  }
  signal(SIGINT, SIG_DFL);
  running = nullptr;
  return whole;
}

// Reports are seen once, as lines of the log.
int quiet(const char *, int, const char *, ...) { return 0; }

void register_library(Q7App *app) {
  Q7RegisterFileClass(app);
  Q7RegisterColorClass(app);
  Q7RegisterModelClass(app);
  Q7RegisterWidgetClass(app);
}

}  // namespace

int main(int argc, char **argv) {
  CLI::App options(
      "A shell over the object tree: moves, lists and changes attributes, describes classes, runs scripts.");
  Settings settings;
  settings.folder = default_folder();
  options.add_option("file", settings.files, "Scripts to run instead of reading lines");
  options.add_option("-c,--command", settings.commands, "Line to run instead of reading lines, may be given again")
      ->allow_extra_args(false);
  options.add_option("--plugins", settings.folder, "Folder in which plug-ins are looked for");
  options.add_option("-p,--plugin", settings.plugins, "Plug-in to load, a short name or a file, may be given again")
      ->allow_extra_args(false);
  options.add_flag("--stop", settings.stop, "Stop at the first line that fails");
  options.footer("\"help\" lists the commands. Exit status: 0 when all went well, 1 when something failed.");
  CLI11_PARSE(options, argc, argv);

  // The library echoes its log to standard output; what this program says has it for itself.
  const bool terminal = isatty(STDIN_FILENO) && isatty(STDOUT_FILENO);
  std::FILE *out = fdopen(dup(STDOUT_FILENO), "w");
  if (!out || dup2(STDERR_FILENO, STDOUT_FILENO) < 0) return 1;
  if (terminal) std::setvbuf(out, nullptr, _IOLBF, BUFSIZ);
  q7sh::set_output(out);
  int32_t count = argc;
  Q7App *app = Q7AppCreate(&count, argv, Q7APP_Interactive, uint64_t{0}, Q7APP_Name, q7sh::arg("q7sh"),
                           Q7APP_ErrorHandler, reinterpret_cast<uint64_t>(quiet), 0);
  if (!app || !Q7RegisterPrgLngClass(app) || !q7sh::register_classes()) return 1;
  register_library(app);
  Q7SetPluginDir(app, settings.folder.c_str());
  bool whole = run(app, settings, out, terminal);
  Q7AppDelete(app);
  if (std::fclose(out) != 0) whole = false;
  return whole ? 0 : 1;
}
