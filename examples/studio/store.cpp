// store: see the header.
#include "examples/studio/store.hpp"

#include <cerrno>
#include <cstring>

#include "examples/studio/scene/scene.h"
#include "examples/studio/session.hpp"
#include "io/q7file.h"
#include "io/q7iff.h"

namespace studio {

namespace {

// Ids are four bytes in file order.
uint32_t id(const char (&characters)[5]) {
  uint32_t value;
  std::memcpy(&value, characters, 4);
  return value;
}

Referenced read_scene(Q7Object *file, const std::string &path) {
  uint32_t chunk = 0;
  while (send(file, Q7M_IFF_BEGIN_READ, 0, 0, slot(&chunk))) {
    if (chunk != id("OBJS")) {
      send(file, Q7M_IFF_SKIP);
      continue;
    }
    Q7Object *loaded = Q7ObjectLoad(file, 0);
    if (!loaded) throw failure_of(path, Text::kDamaged);
    if (!Q7ObjectIsOfKind(loaded, Q7C_SCENE)) {
      Q7ObjectDelete(loaded);
      throw Failure(Text::kNotAScene, path.c_str());
    }
    Referenced scene(loaded);
    if (!send(file, Q7M_IFF_END_READ)) throw failure_of(path, Text::kDamaged);
    return scene;
  }
  throw failure_of(path, Text::kDamaged);
}

}  // namespace

Referenced load_scene(const std::string &path) {
  uint32_t top = 0, form = 0;
  Owned file(Q7ObjectCreate(Q7C_IFF, Q7A_FILE_NAME, word(path.c_str()), Q7A_FILE_MODE, word("r"), Q7A_IFF_ID,
                            word(&top), Q7A_IFF_FORM, word(&form), 0));
  if (!file || form != id("SCEN")) throw failure_of(path, Text::kNotAScene);
  Referenced scene = read_scene(file.get(), path);
  // What was loaded to the end is not spoiled by a remark on the way.
  take_report();
  return scene;
}

void save_scene(Q7Object *scene, const std::string &path, const std::string &name_for_user) {
  uint32_t top = id("Q7D8"), form = id("SCEN");
  Owned file(Q7ObjectCreate(Q7C_IFF, Q7A_FILE_NAME, word(path.c_str()), Q7A_FILE_MODE, word("w"), Q7A_IFF_ID,
                            word(&top), Q7A_IFF_FORM, word(&form), 0));
  if (!file) throw failure_of(name_for_user, Text::kNoMemory);
  const bool saved = send(file.get(), Q7M_IFF_BEGIN_WRITE, 0, 0, slot(id("OBJS"))) &&
                     Q7ObjectSave(scene, Q7A_STREAM, word(file.get()), 0) && send(file.get(), Q7M_IFF_END_WRITE);
  const int32_t error = get<int32_t>(file.get(), Q7A_FILE_ERROR);
  // The top chunk is ended by the disposal, whose answer says whether everything has reached the file.
  const bool closed = file.reset() != 0;
  if (saved && closed) return;
  const std::string reported = take_report();
  const char *why = error == Q7FE_DISK_FULL ? std::strerror(ENOSPC) : std::strerror(EIO);
  throw Failure(Text::kCannotWrite, name_for_user.c_str(), reported.empty() ? why : reported.c_str());
}

}  // namespace studio
