/* q7platform: everything the library expects of a platform layer. */
#ifndef Q7_PLATFORM_Q7PLATFORM_H
#define Q7_PLATFORM_Q7PLATFORM_H

#include "core/q7oops.h"

Q7_BEGIN_DECLS

/** What the thread of a task object runs: the value of tag 1501 is the address of one; it is copied. */
typedef struct Q7TaskEntry {
  void (*run)(Q7Object *task, void *argument); /**< Called on the new thread. */
  void *argument;                              /**< Handed to run. */
} Q7TaskEntry;

Q7_API int32_t J7SystemDependInitP1(Q7App *app, int32_t interactive, void *arg1, uint32_t arg2, void *arg3);
Q7_API int32_t J7SystemDependInitP2(Q7App *app, int32_t interactive, void *arg1, uint32_t arg2, void *arg3);
Q7_API int32_t J7SystemDependFree(Q7App *app);
Q7_API int32_t J7SystemDependDelete(Q7App *app);
Q7_API int32_t J7AppTerminate(Q7App *app, ...);
Q7_API int32_t J7OopsInit(Q7App *app);
Q7_API int32_t J7OopsFree(Q7App *app);

Q7_API void *Q7LockAlloc(void);
Q7_API void Q7LockFree(void *lock);
Q7_API void Q7Lock(void *lock);
Q7_API void Q7Unlock(void *lock);
Q7_API int32_t Q7IsMainThread(void);
Q7_API int32_t Q7TaskWaitTermination(Q7Object *task);
Q7_API void Q7Sleep(uint32_t seconds);
Q7_API void Q7SleepMs(uint32_t milliseconds);
Q7_API void Q7WakeUpGui(Q7App *app);

Q7_API void *Q7AppOpenRegistry(Q7App *app, uint32_t scope, const char *key);
Q7_API void *Q7AppCreateRegistry(Q7App *app, uint32_t scope, const char *key);
Q7_API int32_t Q7AppCloseRegistry(Q7App *app, void *key);
Q7_API int32_t Q7AppReadRegistry(Q7App *app, void *key, const char *name, char *buffer);
Q7_API int32_t Q7AppReadRegistryInt(Q7App *app, void *key, const char *name, int32_t *value);
Q7_API int32_t Q7AppReadRegistryFloat(Q7App *app, void *key, const char *name, double *value);
Q7_API int32_t Q7AppWriteRegistryInt(Q7App *app, void *key, const char *name, int32_t value);
Q7_API int32_t Q7AppWriteRegistryString(Q7App *app, void *key, const char *name, const char *text);
Q7_API int32_t Q7AppBeginRegistryWrite(Q7App *app, uint32_t scope);
Q7_API int32_t Q7AppEndRegistryWrite(Q7App *app, uint32_t scope);

Q7_API void *Q7AppOpenLocale(Q7App *app, const char *catalogue, const char *module, Q7LocaleEntry *table,
                             uint32_t count);
Q7_API int32_t Q7AppCloseLocale(Q7App *app, void *catalogue, uint32_t count);

Q7_API int32_t Q7ExamineDir(const char *folder, int32_t (*each)(int32_t is_folder, const char *path, void *context),
                            void *context);
Q7_API void *Q7LibraryOpen(Q7App *app, const char *path, uint64_t reserved1, uint64_t reserved2);
Q7_API int32_t Q7LibraryClose(Q7App *app, void *library, int32_t shutdown);
Q7_API char *Q7ToSystemPath(char *destination, const char *source, int32_t size);
Q7_API char *Q7FromSystemPath(char *destination, const char *source, int32_t size);
Q7_API char *Q7FileNameToNative(char *destination, const char *name);
Q7_API int32_t Q7IsAbsolutePathName(const char *path);
Q7_API const char *Q7GetUserHome(void);
Q7_API int32_t Q7GetDateTime(uint32_t time, char *date, char *time_text);

Q7_API int32_t Q7ProcessEventsA(Q7App *app, uint64_t argument, Q7TagItem *tags);
Q7_API int32_t Q7GetChoice(const char *buttons, const char *text, void *reserved);
Q7_API int32_t Q7GetBackgroundColor(double *rgba);
Q7_API int32_t Q7GetForegroundColor(double *rgba);
Q7_API int32_t Q7GetTopshadowColor(double *rgba);
Q7_API int32_t Q7GetBottomshadowColor(double *rgba);
Q7_API int32_t Q7GetDownColor(double *rgba);
Q7_API int32_t Q7GetDownForegroundColor(double *rgba);
Q7_API int32_t Q7GetInputBackgroundColor(double *rgba);
Q7_API int32_t Q7GetActiveTitleBackgroundColor(double *rgba);
Q7_API int32_t Q7GetInactiveTitleBackgroundColor(double *rgba);
Q7_API int32_t Q7GetTitleTextColor(double *rgba);
Q7_API int32_t Q7Refresh(Q7Object *widget);

Q7_API int32_t Q7RegisterTaskClass(Q7App *app);
Q7_API int32_t Q7RegisterSemaphoreClass(Q7App *app);
Q7_API int32_t Q7RegisterWindowClass(Q7App *app);
Q7_API int32_t Q7RegisterOSGadgetClass(Q7App *app);
Q7_API int32_t Q7RegisterIconClass(Q7App *app);
Q7_API int32_t Q7RegisterCursorClass(Q7App *app);
Q7_API int32_t Q7RegisterTimerClass(Q7App *app);
Q7_API int32_t Q7RegisterMsgPortClass(Q7App *app);

Q7_END_DECLS

#endif
