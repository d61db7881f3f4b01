/* q7report: error and information reports, the log and the handlers. A call site reads as two calls: first the
 * position, then the text. All state is global to the process and takes no lock: reports belong to the main thread;
 * from another thread lines may interleave. */
#ifndef Q7_CORE_Q7REPORT_H
#define Q7_CORE_Q7REPORT_H

#include <stdarg.h>

#include "core/q7types.h"

Q7_BEGIN_DECLS

/**
 * Receives a report. The formatted text stands in the format position; the first variadic argument is the user data
 * given to Q7AppSetErrorHandler (0 for information reports). A handler that formats its third argument again therefore
 * meets the user data as the first value. The result is ignored.
 */
typedef int (*Q7Handler)(const char *module, int line, const char *format, ...);

/** Records where the next error comes from; at most 79 characters of the module name are kept. @return 0 */
Q7_API int32_t Q7ErrPos(const char *module, int32_t line);
/** Records where the next information comes from. The log shows the error position on every line all the same. @return
 * 0 */
Q7_API int32_t Q7InfoPos(const char *module, int32_t line);

/**
 * Reports an error: the text (at most 1023 characters) goes to the application's error handler and to the log, unless
 * it ends with the name of a disabled plug-in (Q7DisablePlugin).
 * @return 0, always
 */
Q7_API int32_t Q7_Error(const char *format, ...) Q7_PRINTF(1, 2);
/** Reports an information: text of at most 255 characters to the information handler and to the log. @return 0, always
 */
Q7_API int32_t Q7_Info(const char *format, ...) Q7_PRINTF(1, 2);

/**
 * Appends one line to the log file "<home>/<user folder>/logs/<application name>.log" and echoes it to standard output.
 * The message is cut at 511 characters. The file is opened and closed for every line.
 * @return 1 if the log file could be opened, else 0
 */
Q7_API int32_t Q7_WriteLog(const char *format, ...) Q7_PRINTF(1, 2);

/**
 * Silences the errors whose text ends with (matches "*name") the given name. The text is not copied.
 * @param ignored not used
 * @return the index at which the name was stored; 64, after a report, when 64 names are stored already
 */
Q7_API int32_t Q7DisablePlugin(uint64_t ignored, const char *name);

/** Default error handler: the text and "\nError Code:<module>/<line>" in a choice requester. @return 0 */
Q7_API int Q7DefAppError(const char *module, int line, const char *format, ...);
/** Default information handler: the text in a choice requester. @return 0 */
Q7_API int Q7DefAppInfo(const char *module, int line, const char *format, ...);
/** Error handler of applications without a user interface: writes to standard error. @return 0 */
Q7_API int Q7AppConsoleError(const char *module, int line, const char *format, ...);

/** Installs an error handler. Null installs Q7DefAppError and keeps the user data. @return the previous handler */
Q7_API Q7Handler Q7AppSetErrorHandler(Q7App *app, Q7Handler handler, uint64_t data);
/** Installs an information handler. Null installs Q7DefAppInfo. @return the previous handler */
Q7_API Q7Handler Q7AppSetInfoHandler(Q7App *app, Q7Handler handler);

/** Shows the out-of-memory text to the user; called as hook(app, title, text). */
typedef void (*Q7MessageHook)(Q7App *app, const char *title, const char *text);
/** Installs the message hook (null, the default, shows nothing). @return the previous one */
Q7_API Q7MessageHook Q7AppSetMessageHook(Q7App *app, Q7MessageHook hook);

Q7_END_DECLS

#endif
