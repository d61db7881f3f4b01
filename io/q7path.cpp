// q7path: names of files and folders as text. Owns nothing; every result is either a part of its argument or written
// into the caller's room of Q7PATH_SIZE bytes.
#include "io/q7path.h"

#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "core/paths.hpp"
#include "core/q7strings.h"
#include "platform/q7platform.h"

namespace {

bool q7pa_is_separator(char c) { return c == '/' || c == '\\'; }

// The last separator of either kind, or null.
const char *q7pa_last_separator(const char *path) {
  const char *slash = std::strrchr(path, '/');
  const char *backslash = std::strrchr(path, '\\');
  return std::max(slash, backslash);  // null is the lowest address
}

bool q7pa_has_device(const char *path) { return path[0] && path[1] == ':' && path[2]; }

}  // namespace

int32_t Q7IsAbsolutePath(const char *path) {
  if (!path) return 0;
  return q7pa_is_separator(path[0]) || std::strstr(path, ":/") || std::strstr(path, ":\\");
}

const char *Q7FileNameOfPath(const char *path) {
  if (!path) return nullptr;
  if (const char *separator = q7pa_last_separator(path)) return separator + 1;
  return q7pa_has_device(path) ? path + 2 : path;
}

char *Q7DirectoryOfPath(const char *path, char *destination) {
  if (!destination) return nullptr;
  if (!path) path = "";
  if (q7pa_has_device(path)) path += 2;
  const char *separator = q7pa_last_separator(path);
  const char *folder = separator ? path : ".";
  const size_t length = separator ? static_cast<size_t>(separator - path) : 1;
  const size_t kept = std::min<size_t>(length, Q7PATH_SIZE - 1);
  std::memmove(destination, folder, kept);
  destination[kept] = 0;
  Q7FromSystemPath(destination, destination, Q7PATH_SIZE);
  return destination;
}

char *Q7MakeFileName(char *destination, const char *folder, const char *name) {
  if (!destination) return nullptr;
  // Callers extend a folder in place, so the text is made aside.
  char joined[Q7PATH_SIZE];
  q7::join_path(joined, sizeof joined, folder, name);
  std::memcpy(destination, joined, std::strlen(joined) + 1);
  return destination;
}

int32_t Q7CmpFileNames(const char *a, const char *b) { return a && b && std::strcmp(a, b) == 0; }

const char *Q7SkipDevicePartOfPath(const char *path) {
  if (!path) return nullptr;
  if (const char *device = std::strstr(path, ":/")) return device + 2;
  if (const char *device = std::strstr(path, ":\\")) return device + 2;
  if (const char *device = std::strchr(path, ':')) return device + 1;
  return q7pa_is_separator(path[0]) ? path + 1 : path;
}

int32_t Q7FileMatchExtension(const char *extension, const char *name) {
  if (!extension) return 1;
  const char *tail = name ? std::strrchr(name, '.') : nullptr;
  if (!tail || std::strlen(tail) != std::strlen(extension)) return 0;
  return Q7StringMatchIgnoreCase(tail, extension);
}

char *Q7AppGetCurrentDir(Q7App *, char *buffer) {
  if (!buffer || !getcwd(buffer, Q7PATH_SIZE)) return nullptr;
  Q7FromSystemPath(buffer, buffer, Q7PATH_SIZE);
  return buffer;
}
