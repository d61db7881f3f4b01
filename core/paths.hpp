// paths: joining a folder and a name, for every module that builds file names.
#ifndef Q7_CORE_PATHS_HPP
#define Q7_CORE_PATHS_HPP

#include <cstddef>
#include <cstdio>
#include <cstring>

namespace q7 {

// Joins with "/" unless the folder ends in "/", ":" or "\". An empty part leaves the other alone. False when the result
// does not fit; the buffer then holds its beginning.
inline bool join_path(char *buffer, size_t size, const char *folder, const char *name) {
  if (!folder) folder = "";
  if (!name) name = "";
  const size_t length = std::strlen(folder);
  const bool separator = length > 0 && *name && !std::strchr("/:\\", folder[length - 1]);
  const int written = std::snprintf(buffer, size, "%s%s%s", folder, separator ? "/" : "", name);
  return written >= 0 && static_cast<size_t>(written) < size;
}

}  // namespace q7

#endif
