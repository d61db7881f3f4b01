// q7appstr: the application strings. The catalogue's handle is kept after closing, so that the strings are opened once
// a process; whether its memory may still be read is a state of its own.
#include "app/q7appstr.h"

#include "platform/q7platform.h"

namespace {

Q7LocaleEntry table[Q7STR_COUNT] = {
    {"OK", "OK", 0},
    {"Cancel", "Cancel", 0},
    {"NotEnoughMemory", "Cannot allocate %du bytes", 0},
    {"ConflictingClassId", "Conflicting ClassID", 0},
    {"ClassNotInstalled", "Class Not Installed", 0},
    {"CannotInstallExtension", "Cannot Install Extension", 0},
    {"CannotReplaceClass", "Cannot Replace Class", 0},
    {"Error", "Error", 0},
    {"Warning", "Warning", 0},
    {"Info", "Info", 0},
    {"Debug", "Debug", 0},
};

void *handle;  // of the one opening; deliberately kept after closing
bool open;     // the handle's entries may be read

static_assert(sizeof(Q7LocaleEntry) == 24);

}  // namespace

int32_t Q7AppInitStrings(Q7App *app) {
  if (!handle) {
    handle = Q7AppOpenLocale(app, "q7common", "q7appstr", table, Q7STR_COUNT);
    open = handle != nullptr;
  }
  return handle != nullptr;
}

const char *Q7AppStr(int32_t index) {
  // An index that no text has is a caller's slip; it words a report, so it must not end the process.
  if (index < 0 || index >= Q7STR_COUNT) return "";
  const Q7LocaleEntry *entries = open ? static_cast<const Q7LocaleEntry *>(handle) : table;
  return entries[index].text;
}

void Q7AppCloseStrings(Q7App *app) {
  if (!open) return;
  open = false;
  Q7AppCloseLocale(app, handle, Q7STR_COUNT);
}
