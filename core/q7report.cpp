// q7report: delivery of reports: position, filter, handler, log. The log file is opened and closed for every line, so a
// crash loses nothing and several processes may share a file. State is global and unlocked.
#include "core/q7report.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "core/classdef.hpp"
#include "core/q7context.h"
#include "core/q7strings.h"
#include "core/report.hpp"
#include "platform/q7platform.h"

namespace {

constexpr char kModule[] = "q7report";
constexpr int kMaxDisabled = 64;
constexpr uint64_t kRotateAbove = 10240;      // bytes
constexpr uint32_t kFileStatusMethod = 5027;  // class-level status query of the file class

struct Position {
  char module[80];
  int32_t line;
};

// What the file class fills for a status query.
struct FileStatus {
  uint64_t size;
  uint32_t changed;
  uint32_t modified;
};

Position error_position;
Position info_position;
const char *disabled[kMaxDisabled];
int32_t disabled_count;
char log_path[256];
char log_title[255];
bool log_initialised;
// The text a report is handing to its handler now. A default handler that gets it back formats it a second time, and
// must not take conversions in it for requests to read arguments that nobody passed.
const char *delivered_text;

int32_t q7rp_position(Position &position, const char *module, int32_t line) {
  Q7StrCpy(position.module, module, sizeof position.module);
  position.line = line;
  return 0;
}

// Formats one integer conversion at `format` ("%" included) with a value. Answers the characters of the conversion that
// were read, or 0 when it is not a plain integer conversion of reasonable width.
size_t q7rp_format_integer(char *out, size_t size, const char *format, uint64_t value) {
  const char *p = format + 1;
  p += std::strspn(p, "-+ #0");
  const size_t width = std::strspn(p, "0123456789");
  p += width;
  size_t precision = 0;
  if (*p == '.') {
    ++p;
    precision = std::strspn(p, "0123456789");
    p += precision;
  }
  const char *length = p;
  p += std::strspn(p, "hljzt");
  if (width > 2 || precision > 2 || p - length > 2 || !*p || !std::strchr("diuxXocp", *p)) return 0;
  char conversion[32];
  const bool wide = p != length && *length != 'h';
  const size_t head = static_cast<size_t>(length - format);
  if (head + 4 > sizeof conversion) return 0;
  std::memcpy(conversion, format, head);
  std::snprintf(conversion + head, sizeof conversion - head, "%s%c", wide ? "ll" : "", *p);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  if (*p == 'p') {
    std::snprintf(out, size, conversion, reinterpret_cast<void *>(value));
  } else if (wide) {
    std::snprintf(out, size, conversion, static_cast<unsigned long long>(value));
  } else {
    std::snprintf(out, size, conversion, static_cast<unsigned>(value));
  }
#pragma GCC diagnostic pop
  return static_cast<size_t>(p - format) + 1;
}

// Interprets "%" in a text that was formatted before, as printf would: "%%" becomes "%", and the first integer
// conversion shows `value` when there is one. Every other conversion has no argument; it stays as it stands, so that no
// text can make the process read or write memory.
void q7rp_interpret_again(char *out, size_t size, const char *text, const uint64_t *value) {
  size_t n = 0;
  while (*text && n + 1 < size) {
    if (text[0] == '%' && text[1] == '%') {
      out[n++] = '%';
      text += 2;
      continue;
    }
    if (text[0] == '%' && value) {
      const size_t read = q7rp_format_integer(out + n, size - n, text, *value);
      if (read > 0) {
        n += std::strlen(out + n);
        text += read;
        value = nullptr;
        continue;
      }
    }
    out[n++] = *text++;
  }
  out[n] = 0;
}

// Formats a handler's arguments into `out`.
void q7rp_handler_text(char *out, size_t size, const char *format, va_list arguments) {
  if (!format) format = "";
  if (format == delivered_text) {
    const uint64_t value = va_arg(arguments, uint64_t);
    q7rp_interpret_again(out, size, format, &value);
  } else {
    std::vsnprintf(out, size, format, arguments);
  }
}

void q7rp_deliver(Q7Handler handler, const Position &position, const char *text, uint64_t data) {
  const char *outer = delivered_text;
  delivered_text = text;
  handler(position.module, position.line, text, data);
  delivered_text = outer;
}

bool q7rp_is_disabled(const char *text) {
  for (int32_t i = 0; i < disabled_count; ++i) {
    char pattern[512];
    std::snprintf(pattern, sizeof pattern, "*%s", disabled[i]);
    if (Q7StringMatch(text, pattern)) return true;
  }
  return false;
}

void q7rp_append(const char *text) {
  const size_t used = std::strlen(log_path);
  std::snprintf(log_path + used, sizeof log_path - used, "%s", text);
}

void q7rp_suffixed(char *out, size_t size, int number) { std::snprintf(out, size, "%s.%d", log_path, number); }

void q7rp_rename_suffix(int from, int to) {
  char old_name[272];
  char new_name[272];
  q7rp_suffixed(old_name, sizeof old_name, from);
  q7rp_suffixed(new_name, sizeof new_name, to);
  std::rename(old_name, new_name);
}

// Measures and rotates the name as it stands, without ".log": the file that is written never is. Whoever keeps old logs
// under the bare name relies on it, and the written log stays whole.
void q7rp_rotate() {
  FileStatus status = {};
  Q7Class *file_class = Q7ClassFind(Q7C_FILE);
  if (!q7::send(file_class, kFileStatusMethod, q7::arg(log_path), 0, q7::slot(&status))) return;
  if (status.size <= kRotateAbove) return;
  char name[272];
  q7rp_suffixed(name, sizeof name, 3);
  std::remove(name);
  q7rp_rename_suffix(2, 3);
  q7rp_rename_suffix(1, 2);
  q7rp_suffixed(name, sizeof name, 1);
  std::rename(log_path, name);
}

// Makes the user folder and what of its path is missing below the home folder.
void q7rp_make_folders(size_t home_length) {
  constexpr mode_t kMode = 0755;
  for (char *slash = std::strchr(log_path + home_length + 1, '/'); slash; slash = std::strchr(slash + 1, '/')) {
    *slash = 0;
    mkdir(log_path, kMode);
    *slash = '/';
  }
  mkdir(log_path, kMode);
}

void q7rp_build_path() {
  const char *home = Q7GetUserHome();
  log_path[0] = 0;
  q7rp_append(home ? home : "");
  const size_t home_length = std::strlen(log_path);
  q7rp_append("/");
  q7rp_append(Q7GetUserFolder());
  q7rp_append("/logs");
  q7rp_make_folders(home_length < sizeof log_path - 1 ? home_length : sizeof log_path - 2);
  q7rp_append("/");
  if (const Q7App *app = Q7ApplicationContext) {
    log_initialised = true;
    std::snprintf(log_title, sizeof log_title, "%s:%s", app->name ? app->name : "", app->version);
    q7rp_append(app->name ? app->name : "");
    q7rp_rotate();
  } else {
    q7rp_append("Karmonic 7D");
  }
  q7rp_append(".log");
}

void q7rp_print_line(FILE *file, const char *time, const char *message) {
  std::fprintf(file, "%s %12s/%4d: %s%s", time, error_position.module, error_position.line, message, "\n");
}

int32_t q7rp_log(const char *message) {
  char date[64] = "";
  char time[64] = "";
  Q7GetDateTime(0, date, time);
  FILE *file = nullptr;
  if (!log_initialised) {
    q7rp_build_path();
    file = std::fopen(log_path, "a+");
    if (file) std::fprintf(file, "%s: date: %s:%s", log_title, date, "\n");
  }
  if (!file) file = std::fopen(log_path, "a+");
  if (file) {
    q7rp_print_line(file, time, message);
    std::fclose(file);
  }
  q7rp_print_line(stdout, time, message);
  return file != nullptr;
}

// A formatted text that becomes the log's format.
void q7rp_log_text(const char *text) {
  char message[512];
  q7rp_interpret_again(message, sizeof message, text, nullptr);
  q7rp_log(message);
}

}  // namespace

int32_t Q7ErrPos(const char *module, int32_t line) { return q7rp_position(error_position, module, line); }

int32_t Q7InfoPos(const char *module, int32_t line) { return q7rp_position(info_position, module, line); }

int32_t Q7_Error(const char *format, ...) {
  if (!format) return 0;
  char text[1024];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  if (q7rp_is_disabled(text)) return 0;
  const Q7App *app = Q7ApplicationContext;
  // The text stands in the format position and the user data is the first argument: handlers may format again.
  if (app && app->error_handler) q7rp_deliver(app->error_handler, error_position, text, app->error_data);
  q7rp_log_text(text);
  return 0;
}

int32_t Q7_Info(const char *format, ...) {
  if (!format) return 0;
  char text[256];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  const Q7App *app = Q7ApplicationContext;
  if (app && app->info_handler) q7rp_deliver(app->info_handler, info_position, text, 0);
  q7rp_log_text(text);
  return 0;
}

int32_t Q7_WriteLog(const char *format, ...) {
  if (!format) return 0;
  char message[512];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(message, sizeof message, format, arguments);
  va_end(arguments);
  return q7rp_log(message);
}

int32_t Q7DisablePlugin(uint64_t, const char *name) {
  if (!name) return disabled_count;
  if (disabled_count == kMaxDisabled) {
    Q7_REPORT_ERROR(kModule, "Cannot disable plug-in '%s': %d are disabled already", name, kMaxDisabled);
    return kMaxDisabled;
  }
  disabled[disabled_count] = name;
  return disabled_count++;
}

int Q7DefAppError(const char *module, int line, const char *format, ...) {
  char text[512];
  va_list arguments;
  va_start(arguments, format);
  q7rp_handler_text(text, 256, format, arguments);
  va_end(arguments);
  const size_t used = std::strlen(text);
  std::snprintf(text + used, sizeof text - used, "\nError Code:%s/%d", module ? module : "", line);
  Q7GetChoice(Q7AppStr(0), text, nullptr);
  return 0;
}

int Q7DefAppInfo(const char *, int, const char *format, ...) {
  char text[256];
  va_list arguments;
  va_start(arguments, format);
  q7rp_handler_text(text, sizeof text, format, arguments);
  va_end(arguments);
  Q7GetChoice(Q7AppStr(0), text, nullptr);
  return 0;
}

int Q7AppConsoleError(const char *module, int line, const char *format, ...) {
  char text[512];
  va_list arguments;
  va_start(arguments, format);
  q7rp_handler_text(text, 256, format, arguments);
  va_end(arguments);
  const size_t used = std::strlen(text);
  std::snprintf(text + used, sizeof text - used, "\nFile %s, Line %d", module ? module : "", line);
  std::fprintf(stderr, "%s\n", text);
  return 0;
}

Q7Handler Q7AppSetErrorHandler(Q7App *app, Q7Handler handler, uint64_t data) {
  if (!app) return nullptr;
  Q7Handler previous = app->error_handler;
  // A null handler restores the default one and leaves the data alone: a host that swaps its handler out and in again
  // finds its data where it was.
  if (handler) app->error_data = data;
  app->error_handler = handler ? handler : Q7DefAppError;
  return previous;
}

Q7Handler Q7AppSetInfoHandler(Q7App *app, Q7Handler handler) {
  if (!app) return nullptr;
  Q7Handler previous = app->info_handler;
  app->info_handler = handler ? handler : Q7DefAppInfo;
  return previous;
}

void q7::assertion_failed(const char *text, const char *module, int32_t line) {
  std::fprintf(stderr, "Assertion failed: %s (%s:%d)\n", text, module, line);
  Q7ErrPos(module, line);
  Q7_WriteLog("Assertion failed: %s", text);
  std::fflush(stdout);
  std::abort();
}
