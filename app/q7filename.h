/* q7filename: where a configuration file lies, what a file is called relative to the configuration folder or a search
 * list, and the default extension of project files.
 *
 * Every builder writes into a buffer of the caller that holds Q7APP_FILENAME_SIZE bytes and returns it; a name that
 * does not fit is cut. The buffer may be one of the other arguments. Null texts count as empty ones unless said
 * otherwise, and a null application as one without install folders. */
#ifndef Q7_APP_Q7FILENAME_H
#define Q7_APP_Q7FILENAME_H

#include "core/q7context.h"

Q7_BEGIN_DECLS

/** Bytes of a file name buffer, the ending zero included. */
enum { Q7APP_FILENAME_SIZE = 256 };

/**
 * A file of the installation: home (or "." without one), "/", sub-folder, "/", name; every "\" becomes "/". An absolute
 * sub-folder takes the place of home.
 */
Q7_API char *Q7AppConfigFileName(Q7App *app, char *buffer, const char *subfolder, const char *name);

/**
 * A file of the shared installation: net home, or else home, or else ".". Unlike Q7AppConfigFileName it keeps
 * backslashes and does not look whether the sub-folder is absolute: shared folders may be named in the form of another
 * system.
 */
Q7_API char *Q7AppConfigExternalFileName(Q7App *app, char *buffer, const char *subfolder, const char *name);

/**
 * A file of the user: home folder, user folder, sub-folder, name. A null name names the sub-folder itself, an empty one
 * leaves a "/" behind it; with both null it is the user folder. Without a home folder the parts that follow stand alone
 * ("s/n").
 */
Q7_API char *Q7AppConfigUserFileName(Q7App *app, char *buffer, const char *subfolder, const char *name);

/**
 * The first of the configuration file and the external file of that name that can be opened for reading; the bare name
 * if neither can.
 */
Q7_API char *Q7AppCompleteFileName(Q7App *app, char *buffer, const char *name);

/**
 * Makes a path relative, in place (of any length; it never grows): to the configuration folder, or else to the first
 * matching entry of a search list whose entries are separated by ";". When nothing matches only the "\" become "/".
 * Nothing at all happens when the current folder is the configuration folder.
 *
 * An entry in front of a ";" loses its last character before it is compared, so that "/data/;" and "/data;" both find
 * what lies in /data: a path matches when it begins with the shortened entry, and what follows the full entry, without
 * one leading "/", is the result. The last entry is compared whole.
 * @return path
 */
Q7_API char *Q7AppMakeRelativeFileName(Q7App *app, char *path, const char *searchlist);

/** Stores a copy of the default extension (null: none). @return the copy; null for null or on exhaustion */
Q7_API char *Q7AppSetDefaultExtension(Q7App *app, const char *extension);

/** The default extension, ".q7d" when none is stored. */
Q7_API const char *Q7AppDefaultExtension(Q7App *app);

/**
 * Gives a file name an extension: takes a stored default extension off its end (the built-in one does not count) and
 * appends the new one, unless the name ends in that already; both without regard to case. The name's buffer holds
 * Q7APP_FILENAME_SIZE bytes; at most 254 characters are kept.
 * @return 0 if nothing was appended, else the name as a number
 */
Q7_API uint64_t Q7AppReplaceExtension(Q7App *app, char *name, const char *extension);

/**
 * Writes an error code, "<module>:<line>", into destination (at most 267 characters and the zero). The module name is
 * cut at its first "." and at 255 characters.
 * @return the number of characters written
 */
Q7_API int32_t Q7FileLineToErrorCode(char *destination, const char *module, int32_t line);

Q7_END_DECLS

#endif
