// q7catalog: the locale service. It owns the opened handles and the catalogue files they take their texts from. Files
// are read once and stay until the last handle is closed, because texts that were taken out of a handle before its
// language changed may still be in use.
//
// The service outlives the rest of the layer: the application's own texts are opened before the layer's first start-up
// call and closed after its last. Main thread only, as the registrations that open catalogues are.
#include <dlfcn.h>
#include <fcntl.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "core/q7context.h"
#include "core/q7lists.h"
#include "core/q7memory.h"
#include "core/q7strings.h"
#include "platform/posix/mofile.hpp"
#include "platform/posix/services.hpp"
#include "platform/posix/shape.hpp"
#include "platform/q7platform.h"

using namespace q7posix;

namespace {

constexpr off_t kMaxFile = 16 << 20;  // bytes of a catalogue file
constexpr size_t kMaxLanguage = 64;   // characters of a language code
constexpr uint32_t kMaxEntries = 1 << 20;

struct File {
  Q7Node link;  // name: the path, owned
  char *bytes;
  uint64_t size;  // of the block
  MoFile catalogue;
};

struct Handle {
  Q7Node link;  // name: the catalogue's name, owned
  char *module;
  const Q7LocaleEntry *table;  // the default texts
  uint32_t count;
  Q7LocaleEntry entries[];  // what the client holds
};

Q7List file_list;
Q7List handle_list;
bool lists_made = false;

void make_lists() {
  if (lists_made) return;
  Q7NewList(&file_list);
  Q7NewList(&handle_list);
  lists_made = true;
}

struct LanguageName {
  const char *name;
  const char *code;
};
// Languages by English and own name; anything else is taken as a code.
constexpr LanguageName kNames[] = {
    {"english", "en"},   {"german", "de"},     {"deutsch", "de"},   {"finnish", "fi"},  {"suomi", "fi"},
    {"french", "fr"},    {"francais", "fr"},   {"italian", "it"},   {"italiano", "it"}, {"spanish", "es"},
    {"espanol", "es"},   {"portuguese", "pt"}, {"portugues", "pt"}, {"dutch", "nl"},    {"nederlands", "nl"},
    {"swedish", "sv"},   {"svenska", "sv"},    {"danish", "da"},    {"dansk", "da"},    {"norwegian", "nb"},
    {"norsk", "nb"},     {"polish", "pl"},     {"polski", "pl"},    {"czech", "cs"},    {"cesky", "cs"},
    {"hungarian", "hu"}, {"magyar", "hu"},     {"russian", "ru"},   {"greek", "el"},    {"turkish", "tr"},
    {"japanese", "ja"},  {"chinese", "zh"},    {"korean", "ko"},    {"estonian", "et"}, {"eesti", "et"},
    {"icelandic", "is"}, {"slovak", "sk"},     {"slovenian", "sl"}, {"croatian", "hr"}, {"romanian", "ro"},
    {"ukrainian", "uk"}, {"hebrew", "he"},     {"arabic", "ar"},    {"catalan", "ca"},
};

// The language's code without its character set; empty when the name cannot be one. It becomes part of a path, so
// nothing but letters, digits and the marks of a code gets through.
void language_code(const Q7App *app, char *code) {
  const char *name = app ? app->language : "english";
  for (const LanguageName &each : kNames) {
    if (strcasecmp(each.name, name) == 0) name = each.code;
  }
  size_t length = strcspn(name, ".");
  bool sound = length > 0 && length < kMaxLanguage;
  for (size_t i = 0; sound && i < length; ++i) {
    char c = name[i];
    sound =
        (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '-' || c == '@';
  }
  if (!sound) length = 0;
  memcpy(code, name, length);
  code[length] = 0;
}

bool plain_name(const char *name) { return *name && *name != '.' && !strchr(name, '/'); }

char *read_file(const char *path, uint64_t *size) {
  int file = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (file < 0) return nullptr;
  struct stat status;
  char *bytes = nullptr;
  if (fstat(file, &status) == 0 && S_ISREG(status.st_mode) && status.st_size > 0 && status.st_size <= kMaxFile) {
    *size = static_cast<uint64_t>(status.st_size);
    bytes = static_cast<char *>(Q7AllocMem(*size + 1, Q7MEM_CLEAR));
  }
  uint64_t done = 0;
  while (bytes && done < *size) {
    ssize_t got = read(file, bytes + done, *size - done);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) break;
    done += static_cast<uint64_t>(got);
  }
  close(file);
  if (bytes && done == *size) return bytes;
  Q7FreeMem(bytes, *size + 1);
  return nullptr;
}

void free_file(File *file) {
  Q7FreeMem(file->bytes, file->size + 1);
  Q7StrFree(const_cast<char *>(file->link.name));
  Q7FreeMem(file, sizeof *file);
}

// The catalogue in a file, read at most once; null when there is none.
const MoFile *catalogue_at(const char *path) {
  if (Q7Node *known = Q7FindName(&file_list, path)) return &reinterpret_cast<File *>(known)->catalogue;
  uint64_t size = 0;
  char *bytes = read_file(path, &size);
  if (!bytes) return nullptr;
  auto *file = static_cast<File *>(Q7AllocMem(sizeof(File), Q7MEM_CLEAR));
  if (!file) {
    Q7FreeMem(bytes, size + 1);
    return nullptr;
  }
  file->bytes = bytes;
  file->size = size;
  file->link.name = Q7StrDup(path);
  bool sound = file->catalogue.attach(bytes, static_cast<uint32_t>(size));
  if (file->link.name && sound) {
    Q7AddTail(&file_list, &file->link);
    return &file->catalogue;
  }
  if (!sound) Q7P_ERROR("q7catalog", "%.800s is no catalogue", path);
  free_file(file);
  return nullptr;
}

const MoFile *catalogue_below(const char *folder, const char *below, const char *code, const char *catalogue) {
  if (!folder || !*folder) return nullptr;
  char path[PATH_MAX];
  int length = snprintf(path, sizeof path, "%s%s/%s/LC_MESSAGES/%s.mo", folder, below, code, catalogue);
  return length > 0 && length < static_cast<int>(sizeof path) ? catalogue_at(path) : nullptr;
}

// The folder that this layer lies in.
bool own_folder(char *folder) {
  Dl_info info{};
  if (!dladdr(reinterpret_cast<const void *>(&Q7AppOpenLocale), &info) || !info.dli_fname) return false;
  size_t length = strlen(info.dli_fname);
  if (length >= PATH_MAX) return false;
  memcpy(folder, info.dli_fname, length + 1);
  char *end = strrchr(folder, '/');
  if (!end) return false;
  *end = 0;
  return true;
}

const MoFile *catalogue_of(const Q7App *app, const char *code, const char *catalogue) {
  const MoFile *found = catalogue_below(getenv("Q7_LOCALE_DIR"), "", code, catalogue);
  if (!found && app) found = catalogue_below(app->home, "/locale", code, catalogue);
  if (!found && app) found = catalogue_below(app->net_home, "/locale", code, catalogue);
  char folder[PATH_MAX];
  if (!found && own_folder(folder)) {
    // Libraries lie in "lib", or in a folder of the machine's kind below it.
    found = catalogue_below(folder, "/../share/locale", code, catalogue);
    if (!found) found = catalogue_below(folder, "/../../share/locale", code, catalogue);
  }
  return found;
}

// A text's translation in the language, else in the language without its region ("de_AT", "de").
void translate(const Q7App *app, Handle *handle) {
  char code[kMaxLanguage];
  language_code(app, code);
  const MoFile *files[2] = {nullptr, nullptr};
  if (*code) files[0] = catalogue_of(app, code, handle->link.name);
  size_t base = strcspn(code, "_@-");
  if (code[base]) {
    code[base] = 0;
    if (*code) files[1] = catalogue_of(app, code, handle->link.name);
  }
  for (uint32_t i = 0; i < handle->count; ++i) {
    const Q7LocaleEntry &plain = handle->table[i];
    const char *text = plain.text;
    for (const MoFile *file : files) {
      const char *translation = file && plain.key ? file->find(handle->module, plain.key) : nullptr;
      // Many texts are formats; a translation must not read arguments that are not there.
      if (!translation || !plain.text || !same_arguments(plain.text, translation)) continue;
      text = translation;
      break;
    }
    handle->entries[i].text = text;
  }
}

uint64_t handle_size(uint32_t count) { return sizeof(Handle) + uint64_t{count} * sizeof(Q7LocaleEntry); }

void free_handle(Handle *handle) {
  Q7StrFree(const_cast<char *>(handle->link.name));
  Q7StrFree(handle->module);
  Q7FreeMem(handle, handle_size(handle->count));
}

}  // namespace

namespace q7posix {

void refresh_catalogues(Q7App *app) {
  make_lists();
  for (Q7Node *each = handle_list.head; each->succ; each = each->succ) translate(app, reinterpret_cast<Handle *>(each));
}

}  // namespace q7posix

void *Q7AppOpenLocale(Q7App *app, const char *catalogue, const char *module, Q7LocaleEntry *table, uint32_t count) {
  if (!catalogue || !module || !table || count > kMaxEntries || !plain_name(catalogue)) return nullptr;
  make_lists();
  auto *handle = static_cast<Handle *>(Q7AllocMem(handle_size(count), Q7MEM_CLEAR));
  if (!handle) return nullptr;
  handle->table = table;
  handle->count = count;
  handle->link.name = Q7StrDup(catalogue);
  handle->module = Q7StrDup(module);
  if (!handle->link.name || !handle->module) {
    free_handle(handle);
    return nullptr;
  }
  for (uint32_t i = 0; i < count; ++i) handle->entries[i].key = table[i].key;
  translate(app, handle);
  Q7AddTail(&handle_list, &handle->link);
  return handle->entries;
}

int32_t Q7AppCloseLocale(Q7App *, void *catalogue, uint32_t) {
  make_lists();
  for (Q7Node *each = handle_list.head; each->succ; each = each->succ) {
    auto *handle = reinterpret_cast<Handle *>(each);
    if (handle->entries != catalogue) continue;
    Q7Remove(each);
    free_handle(handle);
    if (!handle_list.head->succ) {
      while (Q7Node *file = Q7RemHead(&file_list)) free_file(reinterpret_cast<File *>(file));
    }
    return 1;
  }
  return 0;
}
