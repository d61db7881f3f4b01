// q7app: the application object. One record a process, counted, built step by step in an order that everything else
// relies on, and torn down from any step: teardown tolerates every piece that is not there yet.
#include "app/q7app.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

#include "app/idle.hpp"
#include "core/classdef.hpp"
#include "core/q7memory.h"
#include "core/q7oops.h"
#include "core/q7strings.h"
#include "io/q7file.h"
#include "platform/q7platform.h"

namespace {

constexpr char kModule[] = "q7app";
constexpr char kProduct[] = "Karmonic7D";
constexpr int32_t kCapacity = 128;
constexpr uint32_t kMakeFolder = 5031;  // of the file class
constexpr uint32_t kTaskKind = 1505;    // of the task class
constexpr uint64_t kMainTask = 3;
constexpr int kTaskWaits = 3;  // seconds that teardown gives the tasks
constexpr size_t kRegistryText = 512;

int32_t users;  // references on the application
bool deleting;
char user_folder[256] = ".Karmonic7D/Karmonic-9.1";
char registry_home[kRegistryText + 8];
char registry_net_home[kRegistryText + 8];
Q7RunModeCallback run_mode;

// What the creation tags say beyond the record.
struct Creation {
  int32_t interactive = 1;
  void *arg1 = nullptr;
  uint32_t arg2 = 0;
  void *arg3 = nullptr;
  const char *const *locale = nullptr;
  bool no_main_task = false;
  bool trap = false;
};

void q7ap_read_tags(Q7App &app, Creation &creation, Q7TagItem *tags) {
  for (const Q7TagItem &item : q7::tags(tags)) {
    switch (item.tag) {
      case Q7APP_Trap: creation.trap = true; break;
      case Q7APP_ErrorHandler: app.error_handler = q7::value<Q7Handler>(item); break;
      case Q7APP_Interactive:
        creation.interactive = q7::value<int32_t>(item) != 0;
        if (!app.error_handler) app.error_handler = creation.interactive ? Q7DefAppError : Q7AppConsoleError;
        break;
      case Q7APP_PlatformArg1: creation.arg1 = q7::value<void *>(item); break;
      case Q7APP_PlatformArg2: creation.arg2 = q7::value<uint32_t>(item); break;
      case Q7APP_PlatformArg3: creation.arg3 = q7::value<void *>(item); break;
      case Q7APP_Name: app.name = q7::value<const char *>(item); break;
      case Q7APP_Locale: creation.locale = q7::value<const char *const *>(item); break;
      case Q7APP_Version:
        if (item.data) Q7StrCpy(app.version, q7::value<const char *>(item), sizeof app.version);
        break;
      case Q7APP_ProductFolder: app.product = q7::value<const char *>(item); break;
      case Q7APP_ClientData: app.client_data = item.data; break;
      case Q7APP_InfoHandler: app.info_handler = q7::value<Q7Handler>(item); break;
      case Q7APP_Mode: app.mode = q7::value<int32_t>(item); break;
      case Q7APP_NoMainTask: creation.no_main_task = q7::value<int32_t>(item) != 0; break;
      case Q7APP_Flag4:
        app.flags = q7::value<int32_t>(item) ? app.flags | Q7APPF_FLAG4 : app.flags & ~uint32_t{Q7APPF_FLAG4};
        break;
      default: break;
    }
  }
}

bool q7ap_register_file_class(Q7App *app) {
  if (Q7RegisterFileClass(app)) return true;
  std::fputs("Error: Q7RegisterFileClass() failed", stderr);
  std::fflush(stderr);
  return false;
}

// The folders below the user folder; whatever cannot be made is missed later by whoever needs it.
void q7ap_make_folders(Q7App *app) {
  for (const char *name : {"temp", "logs", "resources", "icons", "images", "projects"}) {
    char folder[Q7APP_FILENAME_SIZE];
    Q7AppConfigUserFileName(app, folder, name, nullptr);
    q7::send(Q7ClassFind(Q7C_FILE), kMakeFolder, 0, 0, q7::slot(folder));
  }
}

void q7ap_read_install_folders(Q7App *app) {
  void *key = Q7AppOpenRegistry(app, 1, "App Paths");
  if (!key) return;
  if (Q7AppReadRegistry(app, key, "Home", registry_home)) app->home = registry_home;
  if (Q7AppReadRegistry(app, key, "NetHome", registry_net_home)) app->net_home = registry_net_home;
  Q7AppCloseRegistry(app, key);
}

bool q7ap_make_main_task(Q7App *app) {
  Q7TagItem tags[] = {{kTaskKind, kMainTask}, {Q7TAG_END, 0}};
  app->main_task = q7::as<Q7Object *>(q7::send(Q7ClassFind(Q7C_TASK), Q7M_NEW, 0, 0, tags));
  if (!app->main_task) return false;
  q7::add_reference(app->main_task);
  return true;
}

// Everything behind the record. The order is relied upon, by platform layers above all.
bool q7ap_build(Q7App *app, int32_t *count, Q7TagItem *tags) {
  Creation creation;
  q7ap_read_tags(*app, creation, tags);
  if (!app->name) app->name = "Default";
  if (!app->product) app->product = kProduct;
  std::snprintf(user_folder, sizeof user_folder, ".%s/%s-%d.%d", app->product, "Karmonic", 9, 1);

  if (!Q7OopsInit(app) || !Q7RegisterClient(app) || !Q7AppInitStrings(app)) return false;
  if (!Q7RegisterTaskClass(app) || !Q7RegisterSemaphoreClass(app)) return false;
  app->lock = Q7LockAlloc();
  if (!app->lock) return false;
  if (!J7SystemDependInitP1(app, creation.interactive, creation.arg1, creation.arg2, creation.arg3)) return false;
  if (!q7ap_register_file_class(app)) return false;
  q7ap_make_folders(app);
  q7ap_read_install_folders(app);
  if (count) *count = app->argc;
  if (creation.locale && *creation.locale) Q7StrCpy(app->language, *creation.locale, sizeof app->language);
  if (!Q7RegisterIconClass(app) || !Q7RegisterCursorClass(app)) return false;
  if (!Q7RegisterTimerClass(app) || !Q7RegisterMsgPortClass(app)) return false;
  if (!creation.no_main_task && !q7ap_make_main_task(app)) return false;
  if (!q7::idle_create(app)) return false;
  if (creation.trap) __builtin_trap();
  if (!app->error_handler) app->error_handler = Q7DefAppError;
  if (!app->info_handler) app->info_handler = Q7DefAppInfo;
  return J7SystemDependInitP2(app, creation.interactive, creation.arg1, creation.arg2, creation.arg3) != 0;
}

// Gives tasks time to end until only the main one is left.
void q7ap_await_tasks() {
  for (int i = 0; i < kTaskWaits; ++i) {
    Q7Class *task = Q7ClassFind(Q7C_TASK);
    if (task && std::atomic_ref(task->ninstances).load(std::memory_order_relaxed) < 2) return;
    Q7Sleep(1);
  }
}

void q7ap_tear_down(Q7App *app) {
  q7::idle_flush_all(app);
  q7ap_await_tasks();
  q7::release(app->macros);
  q7::idle_drain(app);
  q7::idle_free(app);
  q7::send(app->delete_object, Q7M_DISPOSE);
  if (app->lock) Q7LockFree(app->lock);
  app->lock = nullptr;
  Q7OopsFree(app);
  J7SystemDependFree(app);
  J7SystemDependDelete(app);
  Q7AppCloseStrings(app);
  Q7StrFree(app->default_extension);
  Q7FreeMem(app, sizeof(Q7App));
  Q7RegisterClient(nullptr);
}

void q7ap_say_farewell() {
  const char *user = std::getenv("USER");
  if (user && std::strcmp(user, "root") != 0) std::printf("\nHave a nice day %s\n", user);
}

// The tags of a variadic call; too many are reported with the line that the call has always had.
void q7ap_gather(q7::GatheredTags &list, uint32_t tag, va_list arguments, int32_t line) {
  if (q7::gather(list, tag, arguments)) return;
  Q7ErrPos(kModule, line);
  Q7_Error("too many tags");
}

const char *q7ap_level(int32_t level) { return level >= 0 && level <= 3 ? Q7AppStr(Q7STR_ERROR + level) : "???: "; }

}  // namespace

Q7App *Q7AppCreateA(int32_t *count, char **vector, Q7TagItem *tags) {
  if (users++ != 0) return Q7ApplicationContext;
  auto *app = static_cast<Q7App *>(Q7AllocMem(sizeof(Q7App), Q7MEM_CLEAR));
  // The count stays raised on purpose: a process that could not even make the record starts no second attempt.
  if (!app) return nullptr;
  Q7ApplicationContext = app;
  app->argc = count ? *count : 0;
  app->argv = vector;
  Q7StrCpy(app->version, "8", sizeof app->version);
  Q7StrCpy(app->language, "english", sizeof app->language);
  app->mode = 1;
  app->capacity = kCapacity;
  app->running = 1;
  if (q7ap_build(app, count, tags)) return app;
  Q7AppDelete(app);
  return nullptr;
}

Q7App *Q7AppCreate(int32_t *count, char **vector, uint32_t tag, ...) {
  q7::GatheredTags list;
  va_list arguments;
  va_start(arguments, tag);
  q7ap_gather(list, tag, arguments, 1157);
  va_end(arguments);
  return Q7AppCreateA(count, vector, list.items);
}

void Q7AppDelete(Q7App *app) {
  if (app) {
    // A record that is gone already, or that is being torn down by a caller further up, is nobody's to delete.
    if (app != Q7ApplicationContext || deleting) return;
    if (--users > 0) return;
    deleting = true;
    q7ap_tear_down(app);
    deleting = false;
  }
  q7ap_say_farewell();
}

int32_t Q7ProcessEvents(Q7App *app, uint64_t argument, uint32_t tag, ...) {
  q7::GatheredTags list;
  va_list arguments;
  va_start(arguments, tag);
  q7ap_gather(list, tag, arguments, 1167);
  va_end(arguments);
  return Q7ProcessEventsA(app, argument, list.items);
}

int32_t Q7AppTerminate(Q7App *app, ...) {
  if (app) app->running = 0;
  // All that can travel in registers is handed on; what the caller did not give is noise that nobody reads.
  uint64_t rest[5];
  va_list arguments;
  va_start(arguments, app);
  for (uint64_t &argument : rest) argument = va_arg(arguments, uint64_t);
  va_end(arguments);
  return J7AppTerminate(app, rest[0], rest[1], rest[2], rest[3], rest[4]);
}

void Q7AppSetRunModeCallback(Q7App *, Q7RunModeCallback callback) { run_mode = callback; }

uint64_t M7DRunMode(uint64_t first, ...) {
  if (!run_mode) return 0;
  uint64_t rest[5];
  va_list arguments;
  va_start(arguments, first);
  for (uint64_t &argument : rest) argument = va_arg(arguments, uint64_t);
  va_end(arguments);
  return run_mode(first, rest[0], rest[1], rest[2], rest[3], rest[4]);
}

Q7Object *Q7AppMacros(Q7App *app) { return app ? app->macros : nullptr; }

uint64_t Q7AppSetMacros(Q7App *app, Q7Object *macros) {
  if (!app) return 0;
  Q7Object *old = app->macros;
  if (old && old == macros) {
    // The same object again must not die between its two references.
    const uint64_t result = q7::send(macros, Q7M_ADDREF);
    q7::send(old, Q7M_RELEASE);
    return result;
  }
  const uint64_t released = q7::send(old, Q7M_RELEASE);
  app->macros = macros;
  return macros ? q7::send(macros, Q7M_ADDREF) : released;
}

void Q7AppSetRoot(Q7App *app, Q7Object *root) {
  if (app) app->root = root;
}

Q7Object *Q7AppGetRoot(Q7App *app) { return app ? app->root : nullptr; }

void Q7AppSetMainWindow(Q7App *app, Q7Object *window) {
  if (app) app->main_window = window;
}

void Q7AppSetInfo(Q7App *app, Q7Object *object) {
  if (app) app->info = object;
}

void Q7AppInfo(Q7App *app, int32_t level, const char *format, ...) {
  if (!app || !app->info || !format) return;
  char text[512];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  char prefixed[sizeof text + 256];
  std::snprintf(prefixed, sizeof prefixed, "%s: %s", q7ap_level(level), text);
  q7::send(app->info, Q7M_INFO_SHOW, q7::arg(level), 0, q7::slot(prefixed));
}

void Q7AppSetHome(Q7App *app, const char *home, const char *net_home) {
  if (!app) return;
  if (home && *home) app->home = home;
  if (net_home && *net_home) app->net_home = net_home;
}

const char *Q7GetUserFolder(void) { return user_folder; }
