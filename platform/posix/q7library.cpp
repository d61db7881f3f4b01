// q7library: plug-in libraries. Each opening has a record of its own, so that each can be closed once; the library
// itself is registered by the first and unregistered by the last. Code that a registered class still points to is never
// taken out of memory.
#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "core/q7lists.h"
#include "core/q7memory.h"
#include "platform/posix/shape.hpp"

#include "platform/q7platform.h"

using namespace q7posix;

namespace {

struct Library {
  Q7Node link;   // in the list of open libraries
  void *handle;  // of dlopen, which counts its openings too
};

Q7List library_list;
bool list_made = false;

Q7List *libraries() {
  if (!list_made) Q7NewList(&library_list);
  list_made = true;
  return &library_list;
}

int32_t openings(const void *handle) {
  int32_t count = 0;
  for (Q7Node *each = libraries()->head; each->succ; each = each->succ) {
    count += reinterpret_cast<Library *>(each)->handle == handle;
  }
  return count;
}

bool is_open(const void *library) {
  for (Q7Node *each = libraries()->head; each->succ; each = each->succ) {
    if (each == library) return true;
  }
  return false;
}

// Where the object that holds an address lies in memory; null for an address of none.
const void *base_of(const void *address) {
  Dl_info info{};
  return address && dladdr(address, &info) ? info.dli_fbase : nullptr;
}

const void *base_of_library(void *handle) {
  // The entries are the only symbols that a library is known to have.
  void *entry = dlsym(handle, Q7_LIBRARY_REGISTER);
  return base_of(entry);
}

bool holds_classes(const void *base) {
  if (!base || !Q7ApplicationContext) return false;
  uint32_t id = 0;
  for (Q7Class *cl = Q7ClassNext(0, &id); cl; cl = Q7ClassNext(id + 1, &id)) {
    if (base_of(reinterpret_cast<const void *>(cl->header.dispatch)) == base || base_of(cl->header.name) == base ||
        base_of(cl->pubattrs) == base) {
      return true;
    }
  }
  return false;
}

// Ends an opening of dlopen. True if the library's code could go.
bool let_go(void *handle, const char *path) {
  bool stays = openings(handle) == 0 && holds_classes(base_of_library(handle));
  if (stays) {
    // One opening that is never closed keeps the classes' code where it is.
    Q7P_ERROR("q7library", "%s has registered classes and stays in memory", path);
    return false;
  }
  dlclose(handle);
  return true;
}

// Folders are offered to the opener whole, read-me files and all: what is no library is passed over without a word.
bool is_library(const char *path) {
  int file = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (file < 0) return false;
  char magic[4] = {};
  bool found = read(file, magic, sizeof magic) == sizeof magic && memcmp(magic, "\177ELF", sizeof magic) == 0;
  close(file);
  return found;
}

int32_t call_entry(void *handle, const char *name, Q7App *app, int32_t missing) {
  auto entry = reinterpret_cast<Q7LibraryEntry>(dlsym(handle, name));
  return entry ? entry(app) : missing;
}

}  // namespace

void *Q7LibraryOpen(Q7App *app, const char *path, uint64_t, uint64_t) {
  if (!path || !*path) return nullptr;
  auto *library = static_cast<Library *>(Q7AllocMem(sizeof(Library), Q7MEM_CLEAR));
  if (!library) return nullptr;
  // The dynamic linker would look for a bare name in its own folders, which no other file name here means.
  uint64_t room = strlen(path) + 3;
  auto *file = static_cast<char *>(Q7AllocMem(room, 0));
  if (file) {
    snprintf(file, room, "%s%s", strchr(path, '/') ? "" : "./", path);
    bool sound = is_library(file);
    if (sound) library->handle = dlopen(file, RTLD_NOW | RTLD_LOCAL);
    if (sound && !library->handle) Q7P_ERROR("q7library", "Cannot open %.400s: %.400s", path, dlerror());
  }
  Q7FreeMem(file, room);
  if (library->handle && openings(library->handle) == 0) {
    if (!dlsym(library->handle, Q7_LIBRARY_REGISTER)) {
      Q7P_ERROR("q7library", "%.400s is no plug-in library: it has no " Q7_LIBRARY_REGISTER, path);
      dlclose(library->handle);
      library->handle = nullptr;
    } else if (!call_entry(library->handle, Q7_LIBRARY_REGISTER, app, 0)) {
      Q7P_ERROR("q7library", "%.400s could not be registered", path);
      let_go(library->handle, path);
      library->handle = nullptr;
    }
  }
  if (!library->handle) {
    Q7FreeMem(library, sizeof *library);
    return nullptr;
  }
  Q7AddTail(libraries(), &library->link);
  return library;
}

int32_t Q7LibraryClose(Q7App *app, void *library, int32_t shutdown) {
  if (!library || !is_open(library)) return 0;
  auto *record = static_cast<Library *>(library);
  bool last = openings(record->handle) == 1;
  if (last && !shutdown && holds_classes(base_of_library(record->handle))) {
    Q7P_ERROR("q7library", "A library whose classes are registered cannot be closed");
    return 0;
  }
  if (last) call_entry(record->handle, Q7_LIBRARY_UNREGISTER, app, 1);
  Q7Remove(&record->link);
  dlclose(record->handle);
  Q7FreeMem(record, sizeof *record);
  return 1;
}
