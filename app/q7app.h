/* q7app: the application object, which a host creates first and deletes last. It starts the object system, registers
 * the library's and the platform layer's service classes, makes the user's folders, finds the install folders, and owns
 * the idle queues (q7idle.h) and the report handlers (core/q7report.h). It is counted: creating it again while it lives
 * answers the same object, and each creation needs its deletion.
 *
 * Created and deleted on the main thread. The record itself, Q7App, is declared in core/q7context.h. */
#ifndef Q7_APP_Q7APP_H
#define Q7_APP_Q7APP_H

#include "app/q7appstr.h"
#include "app/q7filename.h"
#include "app/q7idle.h"
#include "core/q7context.h"
#include "core/q7report.h"
#include "core/q7tags.h"

Q7_BEGIN_DECLS

/** Creation tags; every other id is skipped, and of two tags that set the same thing the later one wins. */
enum {
  Q7APP_Trap = 30,         /**< Present: creation stops the process with a fault; hosts never pass it. */
  Q7APP_ErrorHandler = 31, /**< Q7Handler */
  /** Boolean, default true: handed to the platform layer's start-up calls. If no error handler is set yet, true
   * installs Q7DefAppError and false Q7AppConsoleError. */
  Q7APP_Interactive = 32,
  Q7APP_PlatformArg1 = 34,  /**< Pointer-sized; these three are handed to the platform layer's start-up calls. */
  Q7APP_PlatformArg2 = 35,  /**< uint32_t */
  Q7APP_PlatformArg3 = 36,  /**< Pointer-sized. */
  Q7APP_Name = 37,          /**< Text, not copied; also names the log file. Default "Default". */
  Q7APP_Locale = 38,        /**< Address of a record whose first field is the language text; copied if not null. */
  Q7APP_Version = 39,       /**< Text, copied. Default "8". */
  Q7APP_ProductFolder = 40, /**< Text, not copied. Default "Karmonic7D". */
  Q7APP_ClientData = 41,    /**< Pointer-sized. */
  Q7APP_InfoHandler = 42,   /**< Q7Handler */
  Q7APP_Mode = 43,          /**< int32_t, for the platform layer. Default 1. */
  Q7APP_NoMainTask = 44,    /**< Boolean: true makes no task object for the main thread. */
  Q7APP_Flag4 = 45          /**< Boolean: sets or clears Q7APPF_FLAG4. */
};

/** Method that Q7AppInfo sends to the info object: a: level; slot: the text. */
enum { Q7M_INFO_SHOW = 604000 };

/**
 * Creates the application, or counts one more user of the one that lives (the arguments are then ignored).
 * @param count the host's argument count; written back at the end of creation. May be null.
 * @param vector the host's argument vector; kept, not copied
 * @return the application; null on failure, after everything made so far was released. When not even the record can be
 * allocated the count stays raised, so no later creation in this process builds an application.
 */
Q7_API Q7App *Q7AppCreateA(int32_t *count, char **vector, Q7TagItem *tags);
/** Q7AppCreateA with (tag, value) pairs ended by 0. */
Q7_API Q7App *Q7AppCreate(int32_t *count, char **vector, uint32_t tag, ...);

/**
 * Gives up one use of the application. The last one runs what is queued for idle time, waits up to three seconds for
 * tasks, stores the classes' settings, frees classes, plug-in libraries, strings, lock and record, and prints a
 * farewell to the user named by the environment variable USER (unless that is root), which is all that happens for a
 * null application.
 */
Q7_API void Q7AppDelete(Q7App *app);

/** Has the platform layer process events; the arguments are its business. @return what it answers */
Q7_API int32_t Q7ProcessEvents(Q7App *app, uint64_t argument, uint32_t tag, ...);

/** Ends the main loop: clears `running` and hands all arguments, up to six in all, to the platform layer. @return what
 * it answers */
Q7_API int32_t Q7AppTerminate(Q7App *app, ...);

/** The host's run-mode callback; receives up to six integer or pointer arguments. */
typedef uint64_t (*Q7RunModeCallback)(uint64_t first, ...);
/** Stores the run-mode callback of the process (null: none). The application is ignored. */
Q7_API void Q7AppSetRunModeCallback(Q7App *app, Q7RunModeCallback callback);
/** Calls the run-mode callback with all arguments, up to six. @return its result; 0 without a callback */
Q7_API uint64_t M7DRunMode(uint64_t first, ...);

/** The macros object, or null. */
Q7_API Q7Object *Q7AppMacros(Q7App *app);
/**
 * Replaces the macros object: the old one's reference is given back, the new one is referenced.
 * @return what the new object answered to method 9, or, without a new one, the old one to method 10; 0 without either
 */
Q7_API uint64_t Q7AppSetMacros(Q7App *app, Q7Object *macros);
/** Stores the root object; no reference is taken. */
Q7_API void Q7AppSetRoot(Q7App *app, Q7Object *root);
Q7_API Q7Object *Q7AppGetRoot(Q7App *app);
/** Stores the main window; no reference is taken. */
Q7_API void Q7AppSetMainWindow(Q7App *app, Q7Object *window);
/** Stores the object that receives the texts of Q7AppInfo; no reference is taken. */
Q7_API void Q7AppSetInfo(Q7App *app, Q7Object *object);

/**
 * Sends a text of at most 511 characters to the info object, as "Error: text" for level 0, "Warning", "Info" and
 * "Debug" for 1 to 3; any other level reads "???: : text", with the two colons that the prefix and the format have
 * together. Does nothing without an info object.
 */
Q7_API void Q7AppInfo(Q7App *app, int32_t level, const char *format, ...) Q7_PRINTF(3, 4);

/** Sets the install folders; null and empty ones leave what is set. The texts are not copied. */
Q7_API void Q7AppSetHome(Q7App *app, const char *home, const char *net_home);

Q7_END_DECLS

#endif
