// q7fileopen: opening and closing the stream of a file object. A stream is open when its file is not null or one of its
// sockets is not -1; closing leaves nothing of what was open behind but the error id.
#include <fcntl.h>
#include <sys/stat.h>

#include <cstdio>

#include "core/classdef.hpp"
#include "core/q7root.h"
#include "io/q7file.h"
#include "io/stream.hpp"
#include "platform/q7platform.h"

namespace {

// What the creation tags ask for.
struct Opening {
  const char *name = nullptr;
  const char *mode = nullptr;
  const char *search_path = nullptr;
  char *opened_path = nullptr;
  const char *host = nullptr;
  bool connection = false;
  int32_t port = 0;
  int32_t connect_seconds = -1;
  int32_t *bound_port = nullptr;
  char *peer = nullptr;
  int32_t *system_error = nullptr;
  int32_t *error = nullptr;
};

Opening q7fo_read_tags(Q7TagItem *tags) {
  Opening o;
  for (const Q7TagItem &item : q7::tags(tags)) {
    switch (item.tag) {
      case Q7A_FILE_NAME: o.name = q7::value<const char *>(item); break;
      case Q7A_FILE_MODE: o.mode = q7::value<const char *>(item); break;
      case Q7A_FILE_SEARCH_PATH: o.search_path = q7::value<const char *>(item); break;
      case Q7A_FILE_OPENED_PATH: o.opened_path = q7::value<char *>(item); break;
      case Q7A_FILE_HOST:
        o.host = q7::value<const char *>(item);
        o.connection = true;
        break;
      case Q7A_FILE_PORT: o.port = q7::value<int32_t>(item); break;
      case Q7A_FILE_CONNECT_TIME: o.connect_seconds = q7::value<int32_t>(item); break;
      case Q7A_FILE_BOUND_PORT: o.bound_port = q7::value<int32_t *>(item); break;
      case Q7A_FILE_PEER: o.peer = q7::value<char *>(item); break;
      case Q7A_FILE_SYSTEM_ERROR: o.system_error = q7::value<int32_t *>(item); break;
      case Q7A_FILE_ERROR: o.error = q7::value<int32_t *>(item); break;
      default: break;
    }
  }
  return o;
}

// Opens one candidate. A path that does not fit its room is not cut, which would make it another file's.
bool q7fo_try(Q7Stream &s, const char *path) {
  if (std::strlen(path) >= sizeof s.name) {
    errno = ENAMETOOLONG;
    return false;
  }
  char system_path[sizeof s.name];
  Q7ToSystemPath(system_path, path, sizeof system_path);
  FILE *file = std::fopen(system_path, s.mode);
  if (!file) return false;
  std::memcpy(s.name, system_path, sizeof s.name);
  s.file = file;
  struct stat status;
  const int descriptor = fileno(file);
  if (descriptor < 0) return true;
  fcntl(descriptor, F_SETFD, FD_CLOEXEC);
  if (fstat(descriptor, &status) != 0) return true;
  s.pipe = S_ISFIFO(status.st_mode) || S_ISSOCK(status.st_mode);
  // stdio asks the system for the position at every tell until it has moved once; chunked files tell all the time.
  if (S_ISREG(status.st_mode) && s.mode[0] != 'a') fseeko(file, 0, SEEK_CUR);
  return true;
}

// Tries the folders of a ";" list in turn, each from its own bounded room, however long the list is.
bool q7fo_search(Q7Stream &s, const char *folders, const char *name) {
  while (*folders) {
    while (*folders == ' ') ++folders;
    const size_t length = std::strcspn(folders, ";");
    const bool separator = length && folders[length - 1] != '/' && folders[length - 1] != '\\';
    char path[Q7PATH_SIZE];
    const int written = length < sizeof path ? std::snprintf(path, sizeof path, "%.*s%s%s", static_cast<int>(length),
                                                             folders, separator ? "/" : "", name)
                                             : -1;
    if (length && written > 0 && written < static_cast<int>(sizeof path) && q7fo_try(s, path)) return true;
    folders += length;
    if (*folders) ++folders;
  }
  return false;
}

bool q7fo_open_disk(Q7Stream &s, const Opening &o) {
  errno = ENOENT;
  if (!o.name || !*o.name || !s.mode[0]) return false;
  if (!q7fo_try(s, o.name) && (!o.search_path || !q7fo_search(s, o.search_path, o.name))) return false;
  if (o.opened_path) std::memcpy(o.opened_path, s.name, std::strlen(s.name) + 1);
  return true;
}

bool q7fo_open_connection(Q7Stream &s, const Opening &o) {
  if (!q7::open_connection(s, o.host, o.port)) return false;
  if (o.bound_port) *o.bound_port = q7::local_port(s);
  if (o.peer) std::memcpy(o.peer, s.peer, sizeof s.peer);
  return true;
}

// A stream that has nothing open; the error of what was stays.
void q7fo_reset(Q7Stream &s) {
  const int32_t error = s.error;
  const int32_t system_error = s.system_error;
  s = Q7Stream{};
  s.socket = s.accepted = -1;
  s.connect_seconds = -1;
  s.error = error;
  s.system_error = system_error;
}

bool q7fo_open(Q7Stream &s, const Opening &o) {
  q7fo_reset(s);
  s.connect_seconds = o.connect_seconds;
  const char *mode = o.mode ? o.mode : "";
  errno = EINVAL;
  bool opened = false;
  // A "," would select a character conversion, which the byte methods know nothing of.
  if (std::strlen(mode) < sizeof s.mode && !std::strchr(mode, ',')) {
    std::strcpy(s.mode, mode);
    opened = o.connection ? q7fo_open_connection(s, o) : q7fo_open_disk(s, o);
  }
  if (opened) return true;
  s.system_error = errno;
  s.error = o.connection && errno == ETIMEDOUT ? Q7FE_TIMEOUT : Q7FE_NOT_FOUND;
  if (o.error) *o.error = s.error;
  if (o.system_error) *o.system_error = s.system_error;
  return false;
}

}  // namespace

bool q7::close_stream(Q7Stream &s) {
  if (is_socket(s)) return close_connection(s);
  bool written = !s.failed;
  if (s.file) {
    PipeGuard guard(s.pipe);
    errno = 0;
    FILE *file = s.file;
    s.file = nullptr;
    if (std::fclose(file) != 0) {
      written = false;
      s.failed = true;
      set_error(s);
    }
  }
  free_buffers(s);
  return written;
}

bool q7::open_object(Q7Class *cl, Q7Object *object, Q7TagItem *tags, bool is_new, uint64_t allocator) {
  auto &s = data<Q7Stream>(cl, object);
  const Opening opening = q7fo_read_tags(tags);
  if (!is_new && !close_stream(s)) {
    if (opening.error) *opening.error = s.error;
    return false;
  }
  if (q7fo_open(s, opening)) return true;
  if (is_new) {
    if (object->succ && object->pred) Q7Remove(reinterpret_cast<Q7Node *>(object));
    inherit(cl, object, Q7M_DISPOSE, allocator, 0, nullptr);
  }
  return false;
}

int32_t Q7FileOpen(Q7Class *cl, Q7Object *object, Q7TagItem *tags, int32_t is_new) {
  return cl && object && q7::open_object(cl, object, tags, is_new != 0, 0);
}
