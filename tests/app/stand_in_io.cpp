// stand_in_io: the little of the file class that the application needs, for builds without the room io: opening a file
// for reading, making a folder, and the current folder.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "app/q7errdb.h"
#include "core/q7root.h"
#include "io/q7file.h"
#include "io/q7path.h"

static uint64_t dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  if (method == Q7M_NEW) {
    FILE *file = std::fopen(reinterpret_cast<const char *>(Q7TagVal(tags, 5501, 0)),
                            reinterpret_cast<const char *>(Q7TagVal(tags, 5502, 0)));
    if (!file) return 0;
    std::fclose(file);
  }
  if (method == 5027) return 0;
  if (method == 5031) {
    const std::string path = reinterpret_cast<const char *>(tags);
    for (size_t end = path.find('/', 1); end != std::string::npos; end = path.find('/', end + 1)) {
      mkdir(path.substr(0, end).c_str(), 0755);
    }
    return mkdir(path.c_str(), 0755) == 0;
  }
  return cl->superdispatch(cl->super, obj, method, a, b, tags);
}

int32_t Q7RegisterFileClass(Q7App *app) {
  if (!Q7RegisterRootClass(app) || !Q7RegisterErrorDatabaseClass(app)) return 0;
  return Q7ClassCreate(Q7C_ROOT, Q7C_FILE, dispatch, 0, Q7CT_NAME, "q7file", Q7TAG_END) != nullptr;
}

char *Q7AppGetCurrentDir(Q7App *, char *buffer) { return getcwd(buffer, 256); }
