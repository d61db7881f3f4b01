/* q7plugin: classes from shared libraries. The plug-in directory is one text for the process; once it is set, no
 * default replaces it. Opening a library and running its registration is the platform layer's work (Q7LibraryOpen). */
#ifndef Q7_CORE_Q7PLUGIN_H
#define Q7_CORE_Q7PLUGIN_H

#include "core/q7types.h"

Q7_BEGIN_DECLS

/** Makes directory (cut at 255 characters) the plug-in directory. @return 1 */
Q7_API int32_t Q7SetPluginDir(Q7App *app, const char *directory);

/** With a directory: Q7SetPluginDir. Without one, and only while none is set: "plugins" below the application's network
 * home, or below its home. @return 1 */
Q7_API int32_t init_plugin_dir(Q7App *app, const char *directory);

/** Opens every file of a directory whose path ends in ".so": of the given one (which becomes the plug-in directory if
 * none is set), else of the plug-in directory. Files that do not open are passed over. @return 1 */
Q7_API int32_t Q7RegisterExternalClasses(Q7App *app, const char *directory);

/** Offers every entry of a directory, whatever its name, to the library opener. @return what the scan answers */
Q7_API int32_t Q7AutoConfig(Q7App *app, const char *directory);

/** Opens one plug-in of the plug-in directory by its short name: "foo" opens libfoo.so. @return 1 if it opened, else 0
 */
Q7_API int32_t Q7LoadPluginLibrary(Q7App *app, const char *name);

/** Records an opened library, once, so that Q7OopsFree closes it. The calls above do this themselves; it is for hosts
 * that open libraries by other ways. @return 1, or 0 for a null library or on exhaustion */
Q7_API int32_t Q7RecordLibrary(Q7App *app, void *library);

Q7_END_DECLS

#endif
