// q7files: the platform's side of files: date and time, the home folder, path forms and the folder scan. Everything
// here may be called before an application exists.
#include <dirent.h>
#include <pthread.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "core/q7memory.h"
#include "core/q7strings.h"
#include "platform/posix/shape.hpp"
#include "platform/q7platform.h"

namespace {

constexpr size_t kDateSize = 64;         // bytes of the buffers of Q7GetDateTime
constexpr size_t kNativeNameSize = 512;  // bytes of the buffer of Q7FileNameToNative

char passwd_home[4096];
pthread_once_t passwd_once = PTHREAD_ONCE_INIT;

void read_passwd_home() {
  passwd entry{};
  passwd *found = nullptr;
  char buffer[16384];
  if (getpwuid_r(getuid(), &entry, buffer, sizeof buffer, &found) != 0 || !found || !found->pw_dir) return;
  size_t length = strlen(found->pw_dir);
  if (length < sizeof passwd_home) memcpy(passwd_home, found->pw_dir, length + 1);
}

// A bounded copy that may overlap; both path forms of this platform are the same bytes.
char *copy_path(char *destination, const char *source, int32_t size) {
  if (!destination || size <= 0) return destination;
  size_t length = source ? strnlen(source, static_cast<size_t>(size) - 1) : 0;
  if (length) memmove(destination, source, length);
  destination[length] = 0;
  return destination;
}

int skip_dots(const dirent *entry) { return strcmp(entry->d_name, ".") != 0 && strcmp(entry->d_name, "..") != 0; }

int by_bytes(const dirent **a, const dirent **b) { return strcmp((*a)->d_name, (*b)->d_name); }

// Links count as what they point to, so that a linked plug-in folder is a folder.
bool is_folder(const char *path, unsigned char type) {
  if (type == DT_DIR) return true;
  if (type != DT_LNK && type != DT_UNKNOWN) return false;
  struct stat status;
  return stat(path, &status) == 0 && S_ISDIR(status.st_mode);
}

}  // namespace

int32_t Q7GetDateTime(uint32_t seconds, char *date, char *time_text) {
  time_t when = seconds ? static_cast<time_t>(seconds) : ::time(nullptr);
  tm parts{};
  if (date) *date = 0;
  if (time_text) *time_text = 0;
  tzset();
  if (!localtime_r(&when, &parts)) return 0;
  if (date) strftime(date, kDateSize, "%Y-%m-%d", &parts);
  if (time_text) strftime(time_text, kDateSize, "%H:%M:%S", &parts);
  return 1;
}

const char *Q7GetUserHome(void) {
  // An empty HOME is a deliberate "no home"; a missing one is a service started without a login.
  if (const char *home = getenv("HOME")) return *home ? home : nullptr;
  pthread_once(&passwd_once, read_passwd_home);
  return *passwd_home ? passwd_home : nullptr;
}

char *Q7ToSystemPath(char *destination, const char *source, int32_t size) {
  return copy_path(destination, source, size);
}

char *Q7FromSystemPath(char *destination, const char *source, int32_t size) {
  return copy_path(destination, source, size);
}

char *Q7FileNameToNative(char *destination, const char *name) {
  if (!destination) return nullptr;
  // A shortened name is the name of another file, so one that does not fit becomes none.
  size_t length = name ? strnlen(name, kNativeNameSize) : 0;
  if (length == kNativeNameSize) length = 0;
  if (length) memmove(destination, name, length);
  destination[length] = 0;
  return destination;
}

int32_t Q7IsAbsolutePathName(const char *path) { return path && *path == '/'; }

int32_t Q7ExamineDir(const char *folder, int32_t (*each)(int32_t is_folder, const char *path, void *context),
                     void *context) {
  if (!folder || !*folder || !each) return 0;
  // The whole folder is read before the first call, in byte order: what the callback does to the folder does not
  // disturb the scan, and plug-ins are opened in the same order on every machine.
  dirent **entries = nullptr;
  int count = scandir(folder, &entries, skip_dots, by_bytes);
  if (count < 0) return 0;
  size_t length = strlen(folder);
  const char *separator = folder[length - 1] == '/' ? "" : "/";
  size_t room = length + sizeof(dirent::d_name) + 2;
  auto *path = static_cast<char *>(Q7AllocMem(room, 0));
  bool more = path != nullptr;
  for (int i = 0; i < count; ++i) {
    if (more) {
      snprintf(path, room, "%s%s%s", folder, separator, entries[i]->d_name);
      more = each(is_folder(path, entries[i]->d_type), path, context) != 0;
    }
    free(entries[i]);
  }
  free(entries);
  int32_t result = path != nullptr;
  Q7FreeMem(path, room);
  return result;
}
