// texts: what the studio says, in the user's language. Every text is a format; translations take the same arguments.
#ifndef Q7_STUDIO_TEXTS_HPP
#define Q7_STUDIO_TEXTS_HPP

#include <cstdarg>
#include <string>

#include "core/q7types.h"

namespace studio {

enum class Text {
  kCannotOpen,
  kNotAFile,
  kNameTooLong,
  kUnknownKind,
  kCannotWrite,
  kNoMemory,
  kNotStarted,
  kNoPlugin,
  kObjNoTriangles,
  kObjBadFace,
  kObjBadPoint,
  kObjTooLarge,
  kNotAScene,
  kDamaged,
  kNoCamera,
  kNoCameras,
  kNoScript,
  kScriptFailed,
  kCancelled,
  kNotATile,
  kTileDiffers,
  kTileMissing,
  kTileTwice,
  kCannotServe,
  kCannotConnect,
  kPeerGone,
  kPeerRefused,
  kNotAPort,
  kLoaded,
  kScriptDone,
  kSaved,
  kRendered,
  kWritten,
  kTileWritten,
  kMerged,
  kServing,
  kReceived,
  kNotReceived,
  kSent,
  kServed,
  kProgress,
  kCount
};

// Opens the catalogue in the application's language; without one the English texts stand in.
void open_texts(Q7App *app);
void close_texts(Q7App *app);

const char *text(Text which);
std::string format(Text which, va_list arguments);
std::string format(Text which, ...);

}  // namespace studio

#endif
