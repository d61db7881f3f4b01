/* q7appstr: the library's own general texts, read by index. They are opened as a catalogue in the application's
 * language once a process; without one the built-in English texts stand in. Q7AppStr itself is declared in
 * core/q7context.h, since the core words its reports with it. */
#ifndef Q7_APP_Q7APPSTR_H
#define Q7_APP_Q7APPSTR_H

#include "core/q7context.h"

Q7_BEGIN_DECLS

/** Indices of the application strings, for Q7AppStr. */
enum {
  Q7STR_OK = 0,                /**< "OK": label of the default requesters. */
  Q7STR_CANCEL = 1,            /**< "Cancel" */
  Q7STR_NOT_ENOUGH_MEMORY = 2, /**< "Cannot allocate %du bytes": a number, then the letter u. */
  Q7STR_CONFLICTING_CLASS = 3, /**< "Conflicting ClassID" */
  Q7STR_CLASS_MISSING = 4,     /**< "Class Not Installed" */
  Q7STR_CANNOT_INSTALL = 5,    /**< "Cannot Install Extension" */
  Q7STR_CANNOT_REPLACE = 6,    /**< "Cannot Replace Class" */
  Q7STR_ERROR = 7,             /**< "Error": level 0 of Q7AppInfo; the levels follow one another. */
  Q7STR_WARNING = 8,           /**< "Warning" */
  Q7STR_INFO = 9,              /**< "Info" */
  Q7STR_DEBUG = 10,            /**< "Debug" */
  Q7STR_COUNT = 11
};

/**
 * Opens the application strings in the application's language, unless they were opened before: a second application in
 * one process does not open them again.
 * @return 1, or 0 if the platform layer's catalogue could not be opened
 */
Q7_API int32_t Q7AppInitStrings(Q7App *app);

/** Closes the catalogue, once for its one opening. Q7AppStr answers the built-in texts from then on. */
Q7_API void Q7AppCloseStrings(Q7App *app);

Q7_END_DECLS

#endif
