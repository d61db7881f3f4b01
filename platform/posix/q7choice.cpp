// q7choice: the choice requester, asked on the terminal, and the colours of the user interface. A process without a
// terminal is never held up: the text still goes to standard error, where a service's log finds it.
#include <strings.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/q7platform.h"

namespace {

constexpr size_t kAnswerSize = 128;

// Labels are pieces of one text with "|" between them.
struct Labels {
  const char *text;
  int32_t count() const {
    int32_t n = 1;
    for (const char *c = text; *c; ++c) n += *c == '|';
    return n;
  }
  // The ordinal, from 1, of the only label that begins with the answer, or that equals it; 0 if there is none.
  int32_t find(const char *answer) const {
    size_t length = strlen(answer);
    int32_t found = 0;
    int32_t ordinal = 1;
    for (const char *label = text;; ++ordinal) {
      size_t size = strcspn(label, "|");
      if (length <= size && strncasecmp(label, answer, length) == 0) {
        if (length == size) return ordinal;
        found = found ? -1 : ordinal;
      }
      if (!label[size]) return found > 0 ? found : 0;
      label += size + 1;
    }
  }
  void print() const {
    int32_t ordinal = 1;
    for (const char *label = text;; ++ordinal) {
      int size = static_cast<int>(strcspn(label, "|"));
      fprintf(stderr, "%s%d = %.*s", ordinal == 1 ? "[" : ", ", ordinal, size, label);
      if (!label[size]) break;
      label += size + 1;
    }
    fputs("] ", stderr);
  }
};

// One line of standard input without its line end; what does not fit is dropped. False at the end of the input.
bool read_line(char *answer) {
  size_t length = 0;
  char c = 0;
  for (;;) {
    ssize_t got = read(STDIN_FILENO, &c, 1);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return false;
    if (c == '\n') break;
    if (length + 1 < kAnswerSize) answer[length++] = c;
  }
  while (length && (answer[length - 1] == ' ' || answer[length - 1] == '\r')) --length;
  answer[length] = 0;
  return true;
}

int32_t give(double *rgba, double r, double g, double b) {
  if (!rgba) return 0;
  rgba[0] = r;
  rgba[1] = g;
  rgba[2] = b;
  rgba[3] = 1.0;
  return 1;
}

}  // namespace

int32_t Q7GetChoice(const char *buttons, const char *text, void *) {
  if (!text) return 0;
  Labels labels = {buttons && *buttons ? buttons : "OK"};
  fprintf(stderr, "%s\n", text);
  if (!isatty(STDIN_FILENO) || !isatty(STDERR_FILENO)) return 1;
  char answer[kAnswerSize];
  for (;;) {
    labels.print();
    fflush(stderr);
    if (!read_line(answer) || !*answer) return 1;
    char *end = nullptr;
    long ordinal = strtol(answer, &end, 10);
    if (!*end && ordinal >= 1 && ordinal <= labels.count()) return static_cast<int32_t>(ordinal);
    if (int32_t found = labels.find(answer)) return found;
  }
}

// One neutral scheme: a light grey surface lit from the top, dark blue for what is active.
int32_t Q7GetBackgroundColor(double *rgba) { return give(rgba, 0.75, 0.75, 0.75); }
int32_t Q7GetForegroundColor(double *rgba) { return give(rgba, 0.0, 0.0, 0.0); }
int32_t Q7GetTopshadowColor(double *rgba) { return give(rgba, 0.95, 0.95, 0.95); }
int32_t Q7GetBottomshadowColor(double *rgba) { return give(rgba, 0.45, 0.45, 0.45); }
int32_t Q7GetDownColor(double *rgba) { return give(rgba, 0.6, 0.6, 0.6); }
int32_t Q7GetDownForegroundColor(double *rgba) { return give(rgba, 0.0, 0.0, 0.0); }
int32_t Q7GetInputBackgroundColor(double *rgba) { return give(rgba, 1.0, 1.0, 1.0); }
int32_t Q7GetActiveTitleBackgroundColor(double *rgba) { return give(rgba, 0.15, 0.25, 0.5); }
int32_t Q7GetInactiveTitleBackgroundColor(double *rgba) { return give(rgba, 0.5, 0.5, 0.5); }
int32_t Q7GetTitleTextColor(double *rgba) { return give(rgba, 1.0, 1.0, 1.0); }
