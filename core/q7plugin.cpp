// q7plugin: the plug-in directory, the scans and the list of opened libraries. The list belongs to the registry and is
// emptied by Q7OopsFree, after the classes are freed: dispatchers live in these libraries.
#include "core/q7plugin.h"

#include <cstdio>
#include <cstring>

#include "core/classdef.hpp"
#include "core/paths.hpp"
#include "core/q7memory.h"
#include "core/q7strings.h"
#include "core/registry.hpp"
#include "platform/q7platform.h"

namespace {

constexpr char kSuffix[] = ".so";
constexpr char kPrefix[] = "lib";

char plugin_dir[256];

bool q7pl_given(const char *text) { return text && text[0]; }

bool q7pl_open(Q7App *app, const char *path) {
  void *library = Q7LibraryOpen(app, path, 0, 0);
  if (!library) return false;
  Q7RecordLibrary(app, library);
  return true;
}

int32_t q7pl_install(int32_t is_folder, const char *path, void *context) {
  char pattern[16];
  std::snprintf(pattern, sizeof pattern, "*%s", kSuffix);
  if (!is_folder && Q7StringMatch(path, pattern)) q7pl_open(static_cast<Q7App *>(context), path);
  return 1;
}

int32_t q7pl_offer(int32_t, const char *path, void *context) {
  q7pl_open(static_cast<Q7App *>(context), path);
  return 1;
}

bool q7pl_contains_ignoring_case(const char *text, const char *part) {
  const size_t length = std::strlen(part);
  for (; *text; ++text) {
    if (Q7StrNCaseCmp(text, part, length) == 0) return true;
  }
  return false;
}

}  // namespace

int32_t Q7SetPluginDir(Q7App *, const char *directory) {
  Q7StrCpy(plugin_dir, directory, sizeof plugin_dir);
  return 1;
}

int32_t init_plugin_dir(Q7App *app, const char *directory) {
  if (directory) return Q7SetPluginDir(app, directory);
  if (plugin_dir[0] || !app) return 1;
  const char *home = q7pl_given(app->net_home) ? app->net_home : app->home;
  if (q7pl_given(home)) std::snprintf(plugin_dir, sizeof plugin_dir, "%s/plugins", home);
  return 1;
}

int32_t Q7RegisterExternalClasses(Q7App *app, const char *directory) {
  if (!plugin_dir[0] && directory) Q7SetPluginDir(app, directory);
  Q7ExamineDir(directory ? directory : plugin_dir, q7pl_install, app);
  return 1;
}

int32_t Q7AutoConfig(Q7App *app, const char *directory) {
  return directory ? Q7ExamineDir(directory, q7pl_offer, app) : 0;
}

int32_t Q7LoadPluginLibrary(Q7App *app, const char *name) {
  if (!q7pl_given(name)) return 0;
  char file[512];
  const bool prefixed = Q7StrNCaseCmp(name, kPrefix, std::strlen(kPrefix)) == 0;
  const bool suffixed = q7pl_contains_ignoring_case(name, kSuffix);
  const int length = std::snprintf(file, sizeof file, "%s%s%s", prefixed ? "" : kPrefix, name, suffixed ? "" : kSuffix);
  if (length < 0 || static_cast<size_t>(length) >= sizeof file) return 0;
  if (!plugin_dir[0]) init_plugin_dir(app, nullptr);
  char path[sizeof plugin_dir + sizeof file];
  return q7::join_path(path, sizeof path, plugin_dir, file) && q7pl_open(app, path);
}

int32_t Q7RecordLibrary(Q7App *app, void *library) {
  if (!app || !app->classes || !library) return 0;
  for (Q7Node *node = app->libraries.head; node->succ; node = node->succ) {
    if (reinterpret_cast<q7::LibraryNode *>(node)->handle == library) return 1;
  }
  auto *node = static_cast<q7::LibraryNode *>(Q7AllocMem(sizeof(q7::LibraryNode), Q7MEM_CLEAR));
  if (!node) return 0;
  node->handle = library;
  Q7AddTail(&app->libraries, &node->node);
  return 1;
}
