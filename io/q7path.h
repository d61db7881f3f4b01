/* q7path: names of files and folders as text. Inside the library folders are separated by "/"; names that come from
 * outside may also use "\" and a device part such as "C:". Nothing here needs an application or touches a file, but for
 * the question for the current folder. Null texts are allowed everywhere. */
#ifndef Q7_IO_Q7PATH_H
#define Q7_IO_Q7PATH_H

#include "core/q7types.h"

Q7_BEGIN_DECLS

/** Bytes, NUL included, of every buffer that a function of this module writes a path into. */
enum { Q7PATH_SIZE = 256 };

/** 1 if the path begins with "/" or "\" or holds ":/" or ":\" anywhere, else 0. "C:x" is relative to the current folder
 * of its device. */
Q7_API int32_t Q7IsAbsolutePath(const char *path);

/** The part behind the later of the last "/" and the last "\"; without either, the part behind a device ("C:x" gives
 * "x") or the path itself. Points into path; null for null. */
Q7_API const char *Q7FileNameOfPath(const char *path);

/**
 * Copies everything before the last separator, without a leading device part, in the library's own form; "." for a name
 * without folder, the empty text for a name in the root folder.
 * @param destination Q7PATH_SIZE bytes; a longer folder is cut
 * @return destination
 */
Q7_API char *Q7DirectoryOfPath(const char *path, char *destination);

/**
 * Joins a folder and a name with "/", which is left out behind a folder that ends in "/", ":" or "\". An empty or null
 * part leaves the other alone.
 * @param destination Q7PATH_SIZE bytes, may be one of the parts; a longer result is cut
 * @return destination
 */
Q7_API char *Q7MakeFileName(char *destination, const char *folder, const char *name);

/** 1 if two names are the same bytes, else 0. Case counts and separators are not normalised. */
Q7_API int32_t Q7CmpFileNames(const char *a, const char *b);

/** The path behind its device: behind the first ":/" or else ":\" or else ":", or behind one leading separator. Points
 * into path; null for null. */
Q7_API const char *Q7SkipDevicePartOfPath(const char *path);

/** Whether a name ends in an extension, "." included, without regard to case. The extension may hold wildcards
 * (q7strings.h) but must have as many characters as what it is compared with. @return 1 or 0; 1 for a null extension */
Q7_API int32_t Q7FileMatchExtension(const char *extension, const char *name);

/** The current working folder in the library's own form. @param buffer Q7PATH_SIZE bytes @return buffer, or null when
 * the folder is gone or its name does not fit */
Q7_API char *Q7AppGetCurrentDir(Q7App *app, char *buffer);

Q7_END_DECLS

#endif
