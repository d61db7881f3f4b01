// editor: lines from a terminal, with editing, history and completion. The history is kept in the user's folder.
#include <editline/readline.h>

#include <cstdlib>
#include <cstring>

#include "tools/q7sh/shell.hpp"

namespace q7sh {

namespace {

constexpr int kMostLines = 1000;

Shell *completing;
std::string history_file;
std::vector<std::string> matches;

char *next_match(const char *, int state) {
  return static_cast<size_t>(state) < matches.size() ? strdup(matches[static_cast<size_t>(state)].c_str()) : nullptr;
}

char **complete_word(const char *word, int start, int) {
  rl_attempted_completion_over = 1;  // no file names where there are none
  matches = completing->complete(word, start == 0);
  // A path may go on behind what is completed.
  rl_completion_append_character = start == 0 ? static_cast<int>(' ') : 0;
  return matches.empty() ? nullptr : rl_completion_matches(word, next_match);
}

char program_name[] = "q7sh";
char word_breaks[] = " \t";

}  // namespace

void open_editor(Shell &shell, std::FILE *out, const std::string &history) {
  completing = &shell;
  history_file = history;
  rl_readline_name = program_name;
  rl_outstream = out;
  rl_attempted_completion_function = complete_word;
  rl_completer_word_break_characters = word_breaks;
  using_history();
  stifle_history(kMostLines);
  if (!history_file.empty()) read_history(history_file.c_str());
}

void close_editor() {
  if (!history_file.empty()) write_history(history_file.c_str());
}

bool edit_line(const std::string &prompt, std::string &line) {
  char *read = readline(prompt.c_str());
  if (!read) return false;
  line = read;
  std::free(read);
  if (!line.empty()) add_history(line.c_str());
  return true;
}

}  // namespace q7sh
