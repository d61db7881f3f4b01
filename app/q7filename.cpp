// q7filename: the file-name builders. A name is put together in a Path, which never grows beyond a caller's buffer, and
// copied out at the end, so that a buffer may serve as an argument too.
#include "app/q7filename.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "core/classdef.hpp"
#include "core/q7oops.h"
#include "core/q7strings.h"
#include "io/q7file.h"
#include "io/q7path.h"
#include "platform/q7platform.h"

namespace {

enum : uint32_t { kFileName = 5501, kFileMode = 5502 };

bool q7fn_given(const char *text) { return text && *text; }

char q7fn_forward(char c) { return c == '\\' ? '/' : c; }

class Path {
 public:
  void append(const char *text) {
    if (!text) return;
    const size_t n = strnlen(text, sizeof text_ - 1 - length_);
    std::memcpy(text_ + length_, text, n);
    length_ += n;
    text_[length_] = 0;
  }
  void assign(const char *text) {
    length_ = 0;
    text_[0] = 0;
    append(text);
  }
  void append_separator(bool backslash_counts) {
    const char last = length_ ? text_[length_ - 1] : 0;
    if (last != '/' && !(backslash_counts && last == '\\')) append("/");
  }
  void convert() { std::transform(text_, text_ + length_, text_, q7fn_forward); }
  bool empty() const { return length_ == 0; }
  size_t length() const { return length_; }
  const char *text() const { return text_; }
  char *copy_to(char *buffer) const {
    if (buffer) std::memcpy(buffer, text_, length_ + 1);
    return buffer;
  }

 private:
  char text_[Q7APP_FILENAME_SIZE] = "";
  size_t length_ = 0;
};

Path q7fn_config(Q7App *app, const char *subfolder, const char *name) {
  Path path;
  const bool absolute = q7fn_given(subfolder) && Q7IsAbsolutePathName(subfolder);
  path.assign(absolute ? subfolder : app ? app->home : nullptr);
  if (path.empty()) path.assign(".");
  path.append_separator(true);
  if (q7fn_given(subfolder) && !absolute) {
    path.append(subfolder);
    path.append_separator(true);
  }
  path.append(name);
  path.convert();
  return path;
}

Path q7fn_external(Q7App *app, const char *subfolder, const char *name) {
  Path path;
  path.assign(app && q7fn_given(app->net_home) ? app->net_home : app ? app->home : nullptr);
  if (path.empty()) path.assign(".");
  path.append_separator(false);
  if (q7fn_given(subfolder)) {
    path.append(subfolder);
    path.append_separator(false);
  }
  path.append(name);
  return path;
}

Path q7fn_user(const char *subfolder, const char *name) {
  Path path;
  if (const char *home = Q7GetUserHome(); q7fn_given(home)) {
    path.append(home);
    path.append("/");
    path.append(Q7GetUserFolder());
    if (!subfolder && !name) return path;
    path.append("/");
  }
  if (q7fn_given(subfolder)) {
    path.append(subfolder);
    if (!name) return path;
    path.append("/");
  }
  path.append(name);
  return path;
}

bool q7fn_opens(const Path &path) {
  Q7TagItem tags[] = {{kFileMode, q7::arg("r")}, {kFileName, q7::arg(path.text())}, {Q7TAG_END, 0}};
  auto *file = q7::as<Q7Object *>(q7::send(Q7ClassFind(Q7C_FILE), Q7M_NEW, 0, 0, tags));
  if (file) q7::send(file, Q7M_DISPOSE);
  return file != nullptr;
}

// Whether the path, already converted, begins with the first n characters of an entry that may hold backslashes.
bool q7fn_begins(const char *path, const char *entry, size_t n) {
  for (size_t i = 0; i < n; ++i) {
    if (path[i] != q7fn_forward(entry[i])) return false;
  }
  return true;
}

// What of the path remains behind the first matching entry of the search list; null if none matches.
const char *q7fn_search(const char *path, const char *list) {
  const size_t length = std::strlen(path);
  const auto behind = [&](size_t position) { return path + std::min(position, length); };
  while (const char *end = std::strchr(list, ';')) {
    const auto k = static_cast<size_t>(end - list);
    // The bounded copy that an entry is compared through drops its last character, deliberately: an entry matches with
    // and without its closing separator.
    if (k > 0 && q7fn_begins(path, list, k - 1)) return behind(*behind(k) == '/' ? k + 1 : k);
    list = end + 1;
  }
  const size_t k = std::strlen(list);
  const size_t m = std::min<size_t>(k, Q7APP_FILENAME_SIZE - 2);
  if (m > 0 && q7fn_begins(path, list, m)) return behind(q7fn_forward(list[m - 1]) == '/' ? k : k + 1);
  return nullptr;
}

bool q7fn_ends_in(const char *name, size_t n, const char *extension) {
  const size_t k = std::strlen(extension);
  return n >= k && Q7StrCaseCmp(name + n - k, extension) == 0;
}

}  // namespace

char *Q7AppConfigFileName(Q7App *app, char *buffer, const char *subfolder, const char *name) {
  return q7fn_config(app, subfolder, name).copy_to(buffer);
}

char *Q7AppConfigExternalFileName(Q7App *app, char *buffer, const char *subfolder, const char *name) {
  return q7fn_external(app, subfolder, name).copy_to(buffer);
}

char *Q7AppConfigUserFileName(Q7App *, char *buffer, const char *subfolder, const char *name) {
  return q7fn_user(subfolder, name).copy_to(buffer);
}

char *Q7AppCompleteFileName(Q7App *app, char *buffer, const char *name) {
  Path path = q7fn_config(app, nullptr, name);
  if (!q7fn_opens(path)) path = q7fn_external(app, nullptr, name);
  if (!q7fn_opens(path)) path.assign(name);
  return path.copy_to(buffer);
}

char *Q7AppMakeRelativeFileName(Q7App *app, char *path, const char *searchlist) {
  if (!path) return nullptr;
  const Path folder = q7fn_config(app, nullptr, nullptr);
  char current[Q7APP_FILENAME_SIZE + 1] = "";
  if (Q7AppGetCurrentDir(app, current)) {
    std::transform(current, current + std::strlen(current), current, q7fn_forward);
    if (std::strcmp(current, folder.text()) == 0) return path;
  }
  const size_t length = std::strlen(path);
  std::transform(path, path + length, path, q7fn_forward);
  const char *relative = nullptr;
  if (std::strncmp(path, folder.text(), folder.length()) == 0) {
    // The folder ends in "/" unless it was cut at the end of its buffer.
    const bool separated = folder.text()[folder.length() - 1] == '/';
    relative = path + std::min(length, folder.length() + (separated ? 0 : 1));
  } else if (q7fn_given(searchlist)) {
    relative = q7fn_search(path, searchlist);
  }
  if (relative) std::memmove(path, relative, std::strlen(relative) + 1);
  return path;
}

char *Q7AppSetDefaultExtension(Q7App *app, const char *extension) {
  if (!app) return nullptr;
  char *copy = Q7StrDup(extension);
  Q7StrFree(app->default_extension);
  return app->default_extension = copy;
}

const char *Q7AppDefaultExtension(Q7App *app) {
  return app && app->default_extension ? app->default_extension : ".q7d";
}

uint64_t Q7AppReplaceExtension(Q7App *app, char *name, const char *extension) {
  if (!name || !extension) return 0;
  const size_t n = std::strlen(name);
  const char *stored = app ? app->default_extension : nullptr;
  if (stored && q7fn_ends_in(name, n, stored)) name[n - std::strlen(stored)] = 0;
  // Measured from the length before the cut: a name that lost its default extension compares unequal here.
  if (q7fn_ends_in(name, n, extension)) return 0;
  return Q7StrCat(name, extension, Q7APP_FILENAME_SIZE - 1);
}

int32_t Q7FileLineToErrorCode(char *destination, const char *module, int32_t line) {
  if (!destination) return 0;
  char name[256];
  Q7StrCpy(name, module ? module : "", sizeof name);
  if (char *dot = std::strchr(name, '.')) *dot = 0;
  return std::sprintf(destination, "%s:%d", name, line);
}
