// texts: the table of default texts, and the catalogue opened over it.
#include "examples/studio/texts.hpp"

#include <cstdio>
#include <iterator>

#include "platform/q7platform.h"

namespace studio {

namespace {

Q7LocaleEntry table[] = {
    {"CannotOpen", "%s cannot be opened: %s", 0},
    {"NotAFile", "%s is not a file", 0},
    {"NameTooLong", "the name of %s is too long", 0},
    {"UnknownKind", "%s is neither an .obj nor a .q7d file", 0},
    {"CannotWrite", "%s cannot be written: %s", 0},
    {"NoMemory", "not enough memory", 0},
    {"NotStarted", "the application cannot be started", 0},
    {"NoPlugin", "the plug-in library %s cannot be loaded from %s", 0},
    {"ObjNoTriangles", "%s holds no triangles", 0},
    {"ObjBadFace", "%s: face %ld has a corner that is no vertex", 0},
    {"ObjBadPoint", "%s: vertex %ld is not a point", 0},
    {"ObjTooLarge", "%s holds too many vertices, faces or materials", 0},
    {"NotAScene", "%s is not a scene", 0},
    {"Damaged", "%s is damaged or cut off", 0},
    {"NoCamera", "the scene has no camera named \"%s\"", 0},
    {"NoCameras", "the scene has no camera", 0},
    {"NoScript", "no language is installed for %s", 0},
    {"ScriptFailed", "%s failed", 0},
    {"Cancelled", "cancelled, nothing was written", 0},
    {"NotATile", "%s is not a part of a picture", 0},
    {"TileDiffers", "%s is a part of another picture than %s", 0},
    {"TileMissing", "part %d of %d is missing", 0},
    {"TileTwice", "part %d is there twice: %s", 0},
    {"CannotServe", "nothing can be received on %s, port %d: %s", 0},
    {"CannotConnect", "no connection to %s: %s", 0},
    {"PeerGone", "%s has broken off", 0},
    {"PeerRefused", "%s has not taken the scene: %s", 0},
    {"NotAPort", "%s is not a host and a port", 0},
    {"Loaded", "%s: %ld meshes, %ld triangles, %ld lights, %ld materials (%.2f s)", 0},
    {"ScriptDone", "%s was run (%.2f s)", 0},
    {"Saved", "%s was saved (%.2f s)", 0},
    {"Rendered", "%d x %d pixels, %d rays each, on %d threads (%.2f s)", 0},
    {"Written", "%s was written", 0},
    {"TileWritten", "%s was written: rows %d to %d of %d", 0},
    {"Merged", "%s was written out of %d parts", 0},
    {"Serving", "receiving scenes on %s, port %d, into %s", 0},
    {"Received", "%s was received from %s", 0},
    {"NotReceived", "nothing was received from %s: %s", 0},
    {"Sent", "%s was sent to %s", 0},
    {"Served", "%d scenes were received", 0},
    {"Progress", "rendering", 0},
};
static_assert(std::size(table) == static_cast<size_t>(Text::kCount));

Q7LocaleEntry *opened;

}  // namespace

void open_texts(Q7App *app) {
  opened = static_cast<Q7LocaleEntry *>(Q7AppOpenLocale(app, "studio", "studio", table, std::size(table)));
}

void close_texts(Q7App *app) {
  if (opened) Q7AppCloseLocale(app, opened, std::size(table));
  opened = nullptr;
}

const char *text(Text which) { return (opened ? opened : table)[static_cast<size_t>(which)].text; }

std::string format(Text which, va_list arguments) {
  va_list again;
  va_copy(again, arguments);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  const int length = std::vsnprintf(nullptr, 0, text(which), arguments);
  std::string line(length > 0 ? static_cast<size_t>(length) : 0, ' ');
  std::vsnprintf(line.data(), line.size() + 1, text(which), again);
#pragma GCC diagnostic pop
  va_end(again);
  return line;
}

std::string format(Text which, ...) {
  va_list arguments;
  va_start(arguments, which);
  std::string line = format(which, arguments);
  va_end(arguments);
  return line;
}

}  // namespace studio
