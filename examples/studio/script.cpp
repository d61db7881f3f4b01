// script: the language class of the file's extension makes an object, whose root is the scene and which runs the file.
#include "examples/studio/script.hpp"

#include <cstdio>

#include "core/q7plugin.h"
#include "examples/studio/files.hpp"
#include "examples/studio/scene/scene.h"
#include "examples/studio/session.hpp"
#include "lang/q7prglng.h"

namespace studio {

namespace {

// Takes what a script prints, since standard output is for what the studio tells, and what goes wrong in it.
enum {
  kOutputClass = 4214,
  kPrint = 4214001,   // a: "%s"; slot: the text
  kMistake = 4214002  // likewise
};

uint64_t output_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  const char *text = reinterpret_cast<const char *>(tags);
  switch (method) {
    case kPrint:
      if (text) std::fprintf(stderr, "%s\n", text);
      return 1;
    case kMistake:
      Q7ErrPos("studio", 0);
      Q7_Error("%s", text ? text : "");
      return 1;
    default: return cl->superdispatch(cl->super, obj, method, a, b, tags);
  }
}

// Idle work that scripts queue may queue more of it; one that never ends is not waited for.
constexpr int kMostRounds = 10000;

}  // namespace

void run_script(Q7App *app, Q7Object *scene, const std::string &path) {
  check_input(path);
  const std::string name = file_name(path);
  const size_t dot = name.rfind('.');
  const std::string extension = dot == std::string::npos ? "" : name.substr(dot + 1);
  bool plain = !extension.empty();
  for (char c : extension)
    plain = plain && ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'));
  if (!plain || !Q7RegisterPrgLngClass(app)) throw Failure(Text::kNoScript, path.c_str());
  Q7Class *base = Q7ClassFind(Q7C_PRGLNG);
  uint32_t clid = Q7FindLanguage(base, extension.c_str());
  if (!clid && Q7LoadPluginLibrary(app, ("q7" + extension).c_str())) clid = Q7FindLanguage(base, extension.c_str());
  if (!clid) {
    take_report();
    throw Failure(Text::kNoScript, path.c_str());
  }
  Owned language(Q7ObjectCreate(clid, Q7A_NAME, word("script"), 0));
  if (!language) throw failure_of(path, Text::kNoMemory);
  // The scene stands in a group of its own while the script runs, so that it has a name there: "scene".
  Referenced world(Q7ObjectCreate(Q7C_GROUP, Q7A_NAME, word("world"), 0));
  if (!world || !send(world.get(), Q7M_GROUP_ADD, 0, 0, slot(scene))) throw failure_of(path, Text::kNoMemory);
  Q7ClassCreate(Q7C_ROOT, kOutputClass, output_dispatch, 0, Q7CT_NAME, word("scriptoutput"), 0);
  Owned output(Q7ObjectCreate(kOutputClass, Q7A_NAME, word("output"), 0));
  Q7Set(language.get(), Q7A_PRGLNG_OUTPUT, word(output.get()), Q7A_PRGLNG_OUTPUT_METHOD, uint64_t{kPrint},
        Q7A_PRGLNG_ERROR, word(output.get()), Q7A_PRGLNG_ERROR_METHOD, uint64_t{kMistake}, 0);
  Q7AppSetRoot(app, world.get());
  Q7Set(language.get(), Q7A_PRGLNG_ROOT, word(world.get()), 0);
  set_running_script(language.get());
  const bool ran = send(language.get(), Q7M_PRGLNG_LOAD, 0, 0, slot(path.c_str())) != 0;
  // Work that the script has queued belongs to it.
  for (int i = 0; i < kMostRounds && !interrupted() && Q7AppFlushIdle(app); ++i) {
  }
  set_running_script(nullptr);
  Q7Set(language.get(), Q7A_PRGLNG_ROOT, uint64_t{0}, Q7A_PRGLNG_OUTPUT, uint64_t{0}, Q7A_PRGLNG_ERROR, uint64_t{0}, 0);
  Q7AppSetRoot(app, nullptr);
  language.reset();
  send(world.get(), Q7M_GROUP_REMOVE, 0, 0, slot(scene));
  // A value that a class has refused is a mistake of the script, too.
  throw_if_interrupted();
  const std::string reported = take_report();
  if (ran && reported.empty()) return;
  if (reported.empty()) throw Failure(Text::kScriptFailed, path.c_str());
  throw Failure(reported.find(name) == std::string::npos ? path + ": " + reported : reported);
}

}  // namespace studio
