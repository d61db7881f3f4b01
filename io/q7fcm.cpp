// q7fcm: file-system and host-name requests. Every path goes through Q7FileNameToNative into a room of kNativeSize
// bytes; whatever does not fit fails before the file system is asked, so a cut name never stands for another file.
#include "io/q7fcm.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <ctime>

#include "core/classdef.hpp"
#include "io/fcm.hpp"
#include "io/q7file.h"
#include "io/q7path.h"
#include "io/resolve.hpp"
#include "platform/q7platform.h"

namespace {

static_assert(sizeof(Q7FileStatus) == 16 && offsetof(Q7FileStatus, changed) == 8 &&
              offsetof(Q7FileStatus, modified) == 12);

constexpr size_t kNativeSize = 512;
constexpr size_t kCopyBlock = 4096;
constexpr mode_t kFolderMode = 0755;

// A path in the platform's form; empty (false) for one that is null, empty or too long.
class NativePath {
 public:
  explicit NativePath(const char *path) {
    if (path && std::strlen(path) < kNativeSize) Q7FileNameToNative(text_, path);
    text_[kNativeSize - 1] = 0;
  }
  explicit operator bool() const { return text_[0] != 0; }
  char *get() { return text_; }

 private:
  char text_[kNativeSize] = {};
};

// An open stdio stream; closed at the end of the scope or by close(), which answers whether everything was written.
class Stdio {
 public:
  Stdio(const char *path, const char *mode) : file_(std::fopen(path, mode)) {}
  ~Stdio() { close(); }
  Stdio(const Stdio &) = delete;
  Stdio &operator=(const Stdio &) = delete;
  explicit operator bool() const { return file_ != nullptr; }
  FILE *get() const { return file_; }
  bool close() {
    FILE *file = file_;
    file_ = nullptr;
    return file && std::fclose(file) == 0;
  }

 private:
  FILE *file_;
};

bool q7fm_status(const char *path, Q7FileStatus *status) {
  NativePath native(path);
  struct stat found;
  if (!native || !status || stat(native.get(), &found) != 0) return false;
  status->size = static_cast<uint64_t>(found.st_size);
  status->changed = static_cast<uint32_t>(found.st_ctime);
  status->modified = static_cast<uint32_t>(found.st_mtime);
  return true;
}

bool q7fm_is_folder(const char *path) {
  NativePath native(path);
  struct stat found;
  return native && stat(native.get(), &found) == 0 && S_ISDIR(found.st_mode);
}

bool q7fm_rename(const char *from, const char *to) {
  NativePath old_name(from);
  NativePath new_name(to);
  return old_name && new_name && std::rename(old_name.get(), new_name.get()) == 0;
}

bool q7fm_remove_folder(const char *path) {
  NativePath native(path);
  return native && rmdir(native.get()) == 0;
}

bool q7fm_create(const char *path) {
  NativePath native(path);
  return native && mkdir(native.get(), kFolderMode) == 0;
}

// Makes the parents from left to right, then the folder itself. The part before the first separator is taken as given:
// it is a device, the root, or a folder that the caller stands on.
bool q7fm_make_folder(const char *path) {
  if (!path || std::strlen(path) >= kNativeSize) return false;
  char internal[kNativeSize];
  Q7FromSystemPath(internal, path, kNativeSize);
  char *separator = std::strchr(internal, '/');
  if (!separator) return false;
  while ((separator = std::strchr(separator + 1, '/'))) {
    *separator = 0;
    q7fm_create(internal);  // fails for the parents that exist already
    *separator = '/';
  }
  return q7fm_create(internal);
}

bool q7fm_host_name(char *buffer, int32_t size) {
  if (!buffer || size < 1) return false;
  if (gethostname(buffer, static_cast<size_t>(size)) != 0) {
    buffer[0] = 0;
    return false;
  }
  buffer[size - 1] = 0;
  return true;
}

bool q7fm_current_folder(char *buffer, int32_t size) {
  if (!buffer || size < 1 || !getcwd(buffer, static_cast<size_t>(size))) return false;
  Q7FromSystemPath(buffer, buffer, size);
  return true;
}

// The name that belongs to an IPv4 address in network byte order.
bool q7fm_name_of_address(uint32_t address, char *buffer) {
  if (!buffer) return false;
  sockaddr_in socket_address = {};
  socket_address.sin_family = AF_INET;
  socket_address.sin_addr.s_addr = address;
  return getnameinfo(reinterpret_cast<const sockaddr *>(&socket_address), sizeof socket_address, buffer, Q7PATH_SIZE,
                     nullptr, 0, NI_NAMEREQD) == 0;
}

enum class Copied { kAll, kReadError, kShortWrite };

Copied q7fm_copy_blocks(FILE *from, FILE *to) {
  char block[kCopyBlock];
  for (size_t n; (n = std::fread(block, 1, sizeof block, from)) > 0;) {
    if (std::fwrite(block, 1, n, to) != n) return Copied::kShortWrite;
  }
  return std::ferror(from) ? Copied::kReadError : Copied::kAll;
}

// Two passes over a temporary file: the destination is opened for writing only once the whole source lies in the copy,
// so an unreadable source never costs an existing destination.
bool q7fm_copy(const char *source, const char *destination) {
  if (!source || !destination || std::strcmp(source, destination) == 0) return false;
  char temporary[kNativeSize];
  if (std::snprintf(temporary, sizeof temporary, "%s_temp", destination) >= static_cast<int>(sizeof temporary)) {
    return false;
  }
  NativePath from(source);
  NativePath to(destination);
  NativePath temp(temporary);
  if (!from || !to || !temp) return false;

  Stdio in(from.get(), "rb");
  if (!in) return false;
  {
    Stdio out(temp.get(), "wb");
    if (!out) return false;
    const Copied copied = q7fm_copy_blocks(in.get(), out.get());
    if (copied == Copied::kReadError) std::remove(temp.get());
    // The temporary file of a short write stays behind: it is all there is of the copy.
    if (copied != Copied::kAll || !out.close()) return false;
  }
  in.close();

  Stdio again(temp.get(), "rb");
  if (!again) {
    std::remove(temp.get());
    return false;
  }
  Stdio out(to.get(), "wb");
  if (!out) {
    again.close();
    std::remove(temp.get());
    return false;
  }
  if (q7fm_copy_blocks(again.get(), out.get()) != Copied::kAll || !out.close()) return false;
  again.close();
  std::remove(temp.get());
  return true;
}

}  // namespace

bool q7::remove_file(const char *path) {
  NativePath native(path);
  return native && unlink(native.get()) == 0;
}

bool q7::file_system_request(uint32_t method, uint64_t a, Q7TagItem *slot, uint64_t &result) {
  const auto *first = as<const char *>(a);
  const auto *text = slot_as<const char *>(slot);
  auto *buffer = slot_as<char *>(slot);
  switch (method) {
    case Q7M_FILE_STATUS: result = q7fm_status(first, slot_as<Q7FileStatus *>(slot)); return true;
    case Q7M_FILE_RENAME: result = q7fm_rename(first, text); return true;
    case Q7M_FILE_REMOVE: result = remove_file(text); return true;
    case Q7M_FILE_HOST_NAME: result = q7fm_host_name(buffer, as<int32_t>(a)); return true;
    case Q7M_FILE_MAKE_FOLDER: result = q7fm_make_folder(text); return true;
    case Q7M_FILE_COPY: result = q7fm_copy(first, text); return true;
    case Q7M_FILE_REMOVE_FOLDER: result = q7fm_remove_folder(text); return true;
    case Q7M_FILE_IS_FOLDER: result = q7fm_is_folder(text); return true;
    case Q7M_FILE_HOST_IP: result = Q7GetHostIp(text); return true;
    case Q7M_FILE_HOST_OF_IP: result = q7fm_name_of_address(as<uint32_t>(a), buffer); return true;
    case Q7M_FILE_CURRENT_FOLDER: result = q7fm_current_folder(buffer, as<int32_t>(a)); return true;
    default: return false;
  }
}

int32_t q7fcm_exists(Q7Class *, uint32_t, const char *path) {
  NativePath native(path);
  if (!native) return 0;
  char *text = native.get();
  const size_t last = std::strlen(text) - 1;
  if (text[last] == '/' || text[last] == '\\') text[last] = 0;
  struct stat found;
  // Nothing left means the root folder.
  return stat(last == 0 && !text[0] ? "/" : text, &found) == 0;
}

uint32_t Q7GetHostIp(const char *name) {
  in_addr address;
  if (!name || !*name) return 0;
  if (inet_pton(AF_INET, name, &address) == 1) return address.s_addr;
  const q7::Addresses found(name, nullptr, AF_INET, 0, q7::socket_timeout_ms());
  if (!found.first()) return 0;
  sockaddr_in first;
  std::memcpy(&first, found.first()->ai_addr, sizeof first);
  return first.sin_addr.s_addr;
}

int32_t Q7CleanupHook(int32_t skip, const char *path, void *age) {
  if (skip) return 1;
  Q7Class *files = Q7ClassFind(Q7C_FILE);
  Q7FileStatus status = {};
  if (!q7::send(files, Q7M_FILE_STATUS, q7::arg(path), 0, q7::slot(&status))) return 1;
  const int64_t seconds = static_cast<int64_t>(std::time(nullptr)) - status.modified;
  if (seconds > static_cast<int32_t>(reinterpret_cast<intptr_t>(age))) {
    q7::send(files, Q7M_FILE_REMOVE, 0, 0, q7::slot(path));
  }
  return 1;
}
