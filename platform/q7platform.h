/* q7platform: everything the library expects of a platform layer, and the one place that says so.
 *
 * The library imports these functions by name; they stay undefined in libq7common.so and come from whatever layer the
 * process brings: libq7platform.so (platform/posix), the executable itself, or a layer of the host's own. A layer that
 * keeps what is written here can replace another without the library being built again. Classes of the layer are
 * reached through their class ids alone.
 *
 * Results are 1 (or a pointer) for success and 0 (or null) for failure. A failure of the system underneath (no memory,
 * no descriptors, no space, no permission) is that result and an error report (Q7_Error), unless a function says that
 * it is silent. Null arguments are allowed everywhere and fail. What follows the word "default:" is this project's own
 * layer; another one may do otherwise.
 *
 * Functions that take the application may be called with null where they say so; all others are called between
 * J7OopsInit and J7SystemDependDelete. Unless it says "any thread", a function is called on the main thread. */
#ifndef Q7_PLATFORM_Q7PLATFORM_H
#define Q7_PLATFORM_Q7PLATFORM_H

#include "core/q7oops.h"

Q7_BEGIN_DECLS

/* ---- Start and end, in the order of the calls ---- */

/**
 * Called by Q7OopsInit once the class table is empty and ready, before the application becomes the process's own: the
 * layer may register classes here.
 * Default: remembers the calling thread as the main thread; registers nothing, since each class is asked for later.
 * @return 1, or 0 to make the creation of the application fail
 */
Q7_API int32_t J7OopsInit(Q7App *app);

/**
 * First start-up call: the object system, the task and the signal class stand, the application's lock exists; folders,
 * file class and idle queues do not. What wakes the main loop must work from here on.
 * Default: makes the descriptor that wakes the main loop.
 * @param interactive creation tag 32: 0 for an application without a user interface
 * @param arg1, arg2, arg3 creation tags 34, 35 and 36, for the layer alone. Default: not used
 * @return 1, or 0 to make the creation of the application fail
 */
Q7_API int32_t J7SystemDependInitP1(Q7App *app, int32_t interactive, void *arg1, uint32_t arg2, void *arg3);

/**
 * Last step of creation: everything stands, the language is known. Catalogues that were opened earlier get their texts
 * in the application's language now, in place: handles stay valid, texts that were taken out of them before stay valid
 * too but keep the language they had.
 * @return 1, or 0 to make the creation of the application fail
 */
Q7_API int32_t J7SystemDependInitP2(Q7App *app, int32_t interactive, void *arg1, uint32_t arg2, void *arg3);

/**
 * Called by Q7AppTerminate with all its arguments (up to six 64-bit ones, the application included) after `running` was
 * cleared: the main loop is to end. Any thread.
 * Default: ends every running and later Q7ProcessEventsA of this application; further arguments are not used.
 * @return 1
 */
Q7_API int32_t J7AppTerminate(Q7App *app, ...);

/** Called by Q7OopsFree after the last class is gone and the plug-in libraries are closed. Its result is the result of
 * Q7OopsFree. Default: the initial thread is the main thread again. @return 1 */
Q7_API int32_t J7OopsFree(Q7App *app);

/**
 * First call of the teardown behind J7OopsFree; no object exists any more. Also called when creation failed half way,
 * so every piece may be missing. Default: closes the main loop's descriptor and drops what was still queued on it.
 * @return 1
 */
Q7_API int32_t J7SystemDependFree(Q7App *app);

/**
 * Last call of the teardown. Only catalogues are closed after it (Q7AppCloseLocale). Default: closes the settings
 * store. @return 1
 */
Q7_API int32_t J7SystemDependDelete(Q7App *app);

/* ---- Locks and threads ---- */

/** Makes a lock that its holder may take again (recursive), for any thread. @return the lock, or null */
Q7_API void *Q7LockAlloc(void);
/** Frees a lock that nobody holds; null is allowed. */
Q7_API void Q7LockFree(void *lock);
/** Takes a lock, waiting for as long as another thread holds it; null does nothing. Any thread. Everything written
 * before an unlock is seen behind the lock that follows it. */
Q7_API void Q7Lock(void *lock);
/** Gives a lock back, as often as it was taken; null does nothing. Only its holder does so. */
Q7_API void Q7Unlock(void *lock);

/** 1 on the main thread, else 0. Any thread, also without an application. Default: the main thread is the one that
 * called J7OopsInit, until J7OopsFree; without an application it is the process's initial thread. */
Q7_API int32_t Q7IsMainThread(void);

/**
 * Waits for a task's end. Called on the task's own thread, as its last act, it waits until the task object is being
 * disposed (by another thread), so that whoever disposes it meets a thread that is about to end. Called elsewhere it
 * waits until the thread's entry function has returned.
 * @return 1; 0 for null, for an object that is no task and for one that has no thread of its own
 */
Q7_API int32_t Q7TaskWaitTermination(Q7Object *task);

/** Suspends the calling thread for at least that long; signals do not shorten it. Any thread, with no application. */
Q7_API void Q7Sleep(uint32_t seconds);
/** Q7Sleep in milliseconds. */
Q7_API void Q7SleepMs(uint32_t milliseconds);

/**
 * Wakes the main loop, so that it calls Q7AppDoIdle soon. Any thread, also with a null application, before the main
 * loop runs (the wake is kept) and while the application is torn down (nothing happens). Several wakes may be joined
 * into one, but none is lost: work that was queued before the call is seen by a round that begins after it.
 */
Q7_API void Q7WakeUpGui(Q7App *app);

/**
 * The task class, id 1, superclass the root class. An object created with attribute 1501 owns a thread that calls
 * entry->run(task, entry->argument); it runs before the creating call has returned. An object created without 1501
 * stands for the calling thread (the application makes one for the main thread). Task objects cannot be copied.
 *
 * Disposing an object that owns a thread waits for the thread's end, unless the caller is that thread: then the object
 * goes at once and the thread ends by itself when `run` returns; it may still call Q7TaskWaitTermination, which then
 * returns at once.
 */
enum {
  Q7M_TASK_FIND = 1001,        /**< To the class: slot: 0, other values are not looked at; the calling thread's task
                                  object, null if it has none. Any thread. */
  Q7M_TASK_LAST_SIGNAL = 1004, /**< The signal object that woke the calling thread last; null if none did. It is not
                                  kept alive by this. To the class or any task. */
  Q7A_TASK_ENTRY = 1501,       /**< At creation: struct Q7TaskEntry *, copied. */
  Q7A_TASK_SETTING = 1505      /**< int32_t, set and get: Q7TASK_... */
};

/** What a task is for; a hint to the scheduler and no more. Default: background tasks give way to all others; urgent
 * ones go first where the user may ask for that. */
enum { Q7TASK_NORMAL = 0, Q7TASK_BACKGROUND = 1, Q7TASK_URGENT = 2, Q7TASK_MAIN = 3 };

/** What a task's thread does. */
typedef struct Q7TaskEntry {
  void (*run)(Q7Object *task, void *argument); /**< Called once, on the new thread; its return ends the thread. */
  void *argument;                              /**< Handed over as it is. */
} Q7TaskEntry;

/**
 * Registers class 1, and its superclass first: it is asked for before the library has registered its root class. The
 * class frees the main task (created without 1501 and with 1505 = 3) when it receives method 24. Calling it again is
 * harmless. @return 1, or 0, reported
 */
Q7_API int32_t Q7RegisterTaskClass(Q7App *app);

/**
 * The signal class, id 2, superclass the root class: a counting semaphore. Its methods may be sent from any thread.
 * Nobody may be waiting on a signal that is disposed; signals cannot be copied.
 */
enum {
  Q7M_SIGNAL_WAKE = 2000, /**< Wakes one waiter; without a waiter the wake is kept for the next wait, each wake for one
                             wait. 1. */
  Q7M_SIGNAL_WAIT =
      2001 /**< Slot: time-out in milliseconds (uint32_t), 0 waits for ever. 1 when woken, 0 on time-out. */
};

/** Registers class 2 as Q7RegisterTaskClass does class 1. */
Q7_API int32_t Q7RegisterSemaphoreClass(Q7App *app);

/**
 * Registers the layer's timer class; its id and messages are the layer's own. Default: class 3,
 * platform/posix/q7posix.h.
 * @return 1, or 0, reported
 */
Q7_API int32_t Q7RegisterTimerClass(Q7App *app);
/** Registers the layer's message-port class; its id and messages are the layer's own. Default: class 4,
 * platform/posix/q7posix.h. @return 1, or 0, reported */
Q7_API int32_t Q7RegisterMsgPortClass(Q7App *app);

/* ---- Settings store: named values under keys such as "/q7root/q7file" or "App Paths" ---- */

/* Scope 1 is the user's settings, the one the library uses; every other number is a scope of its own.
 * Integers and texts keep their type: a value written as one is not read as the other. Writing a value replaces it, its
 * type included. Several processes may read and write at once. Keys and names compare byte by byte.
 *
 * Default: one SQLite file, settings.sqlite3, in the user folder below the home folder; made by the first write. A
 * damaged file is moved aside ("settings.sqlite3.damaged-1", ...), reported, and a fresh one is used. Where the folder
 * cannot be written or nothing is left of the disk, reading goes on as far as it can, writing answers 0, and one report
 * an application says so. */

/** Opens a key for reading. @return a handle for Q7AppCloseRegistry; null, silently, when the key does not exist */
Q7_API void *Q7AppOpenRegistry(Q7App *app, uint32_t scope, const char *key);
/** Opens a key for reading and writing, and makes it if it does not exist. @return a handle for Q7AppCloseRegistry, or
 * null */
Q7_API void *Q7AppCreateRegistry(Q7App *app, uint32_t scope, const char *key);
/** Closes a key. @return 1; 0 for what is no open key */
Q7_API int32_t Q7AppCloseRegistry(Q7App *app, void *key);

/** Reads a text into a buffer of 512 bytes; a longer text is cut to 511 characters. @return 1; 0, silently and with the
 * buffer untouched, when there is no such text */
Q7_API int32_t Q7AppReadRegistry(Q7App *app, void *key, const char *name, char *buffer);
/** Reads an integer. @return 1; 0, silently and with the value untouched, when there is no such integer */
Q7_API int32_t Q7AppReadRegistryInt(Q7App *app, void *key, const char *name, int32_t *value);
/** Reads a number: an integer, or a text that is a number as C writes it (always with a point). @return 1; 0, silently
 * and with the value untouched, when there is no such number */
Q7_API int32_t Q7AppReadRegistryFloat(Q7App *app, void *key, const char *name, double *value);
/** Writes an integer. @return 1, or 0 */
Q7_API int32_t Q7AppWriteRegistryInt(Q7App *app, void *key, const char *name, int32_t value);
/** Writes a text of any length. @return 1; 0 also for a null text */
Q7_API int32_t Q7AppWriteRegistryString(Q7App *app, void *key, const char *name, const char *text);

/**
 * Begins a group of writes that take effect together: a process that dies before Q7AppEndRegistryWrite has returned
 * leaves the store as it was before the group. Groups may be nested; the outermost counts. Outside a group each write
 * stands alone. Other processes' writes wait meanwhile.
 * @return 1; 0 when the store cannot be written: the group's writes then answer 0 too, and it is ended all the same
 */
Q7_API int32_t Q7AppBeginRegistryWrite(Q7App *app, uint32_t scope);
/** Ends a group. @return 1 when all of it is stored; 0 when it could not be: the store is then as it was before. Also 0
 * without a begin; of an inner end the result only says whether the group is still sound. */
Q7_API int32_t Q7AppEndRegistryWrite(Q7App *app, uint32_t scope);

/* ---- Catalogues ---- */

/**
 * Opens the texts of a module in the application's language (Q7App.language). A text that has no translation, and one
 * whose translation does not take the same printf arguments in the same order, is the default text of the table. May be
 * called with a null application (default texts) and before J7SystemDependInitP1.
 *
 * Default: translations are gettext catalogues, msgctxt the module, msgid the key, compiled as
 * <folder>/<language>/LC_MESSAGES/<catalogue>.mo in UTF-8. The folders are, in this order, the one that the environment
 * variable Q7_LOCALE_DIR names, "locale" in the application's home and net home, and the one installed with this layer
 * (share/locale). Languages are given as ISO codes ("de", "de_AT", "fi_FI.UTF-8") or by English or own name ("german",
 * "Deutsch", "finnish", "suomi"). The process's own locale is neither read nor changed.
 *
 * @param catalogue name of the file of translations, "q7common" for the library's own
 * @param module the module within it
 * @param table the default texts; they must outlive the handle
 * @return an array of count entries, or null
 */
Q7_API void *Q7AppOpenLocale(Q7App *app, const char *catalogue, const char *module, Q7LocaleEntry *table,
                             uint32_t count);
/** Closes what Q7AppOpenLocale gave out; its texts are gone with it. Null is allowed, and so is a call after
 * J7SystemDependDelete or with a null application. @return 1; 0 for what is no open catalogue */
Q7_API int32_t Q7AppCloseLocale(Q7App *app, void *catalogue, uint32_t count);

/* ---- Files and libraries. No application is needed, but for libraries. ---- */

/**
 * Calls each(is_folder, path, context) for every entry of a folder but "." and "..". The path is the folder, "/" and
 * the entry's name; a link counts as what it points to. A result of 0 ends the scan. Default: the folder is read before
 * the first call and visited in the byte order of the names, so the callback may change it.
 * @return 1, also when the callback ended the scan; 0, silently, when the folder cannot be read
 */
Q7_API int32_t Q7ExamineDir(const char *folder, int32_t (*each)(int32_t is_folder, const char *path, void *context),
                            void *context);

/**
 * What a plug-in library exports under the name Q7_LIBRARY_REGISTER: it registers the library's classes
 * (Q7ClassCreate, Q7ClassReplace). @return 1; 0 when the library cannot be used
 */
typedef int32_t (*Q7LibraryEntry)(Q7App *app);
#define Q7_LIBRARY_REGISTER "Q7LibraryRegister"
/** An optional second export of the same type: called before the library is closed; its result is ignored. */
#define Q7_LIBRARY_UNREGISTER "Q7LibraryUnregister"

/**
 * Opens a plug-in library and calls its Q7_LIBRARY_REGISTER. A library that is open already is registered no second
 * time. The handle is not recorded for the shutdown; that is what the library's own plug-in calls, and
 * Q7RecordLibrary, are for.
 * @param path a path; a bare name is a file in the current folder
 * @param reserved1, reserved2 0
 * @return a handle for Q7LibraryClose; null, silently, when the file does not exist or is no library; null, reported,
 * when it cannot be loaded, has no registration entry, or its registration answers 0. The library is then closed again;
 * if it left classes behind, its code stays in memory.
 */
Q7_API void *Q7LibraryOpen(Q7App *app, const char *path, uint64_t reserved1, uint64_t reserved2);
/**
 * Closes a library.
 * @param shutdown 1 at the end of the object system, when its classes are gone; with 0, a library whose classes are
 * still registered is not closed
 * @return 1; 0 for null and, reported, when it has to stay
 */
Q7_API int32_t Q7LibraryClose(Q7App *app, void *library, int32_t shutdown);

/** Converts a path from the internal form ("/" between the parts) to the system's. At most size - 1 characters arrive;
 * the two texts may be the same. Default: a copy. @return destination */
Q7_API char *Q7ToSystemPath(char *destination, const char *source, int32_t size);
/** Converts a path from the system's form to the internal one, in the same manner. */
Q7_API char *Q7FromSystemPath(char *destination, const char *source, int32_t size);
/** Converts a file name to what the system's calls take, into a buffer of 512 bytes. A name that does not fit gives the
 * empty text: a shortened one would be another file's. @return destination */
Q7_API char *Q7FileNameToNative(char *destination, const char *name);
/** 1 if the system takes the path as absolute, else 0. Default: it begins with "/". */
Q7_API int32_t Q7IsAbsolutePathName(const char *path);
/** The user's home folder, without a "/" at the end as the system gives it, or null if there is none. Default: the
 * environment variable HOME, where the empty text means none; without it the user database. */
Q7_API const char *Q7GetUserHome(void);
/**
 * A point in time as two texts for people, in the local time zone; the form never depends on the language:
 * "2031-07-04" and "16:05:09".
 * @param time seconds since 1970-01-01 00:00 UTC; 0 means now
 * @param date, time_text buffers of 64 bytes; null is allowed
 * @return 1, or 0
 */
Q7_API int32_t Q7GetDateTime(uint32_t time, char *date, char *time_text);

/* ---- User interface ---- */

/**
 * The main loop: until Q7AppTerminate it runs timers, message ports and events, calls Q7AppDoIdle whenever it was woken
 * or has nothing else to do, and waits, without using the processor, when nothing is left. It may be called again from
 * work that it runs (a modal dialog); Q7AppTerminate ends all of them.
 * @param argument default: Q7PROCESS_RUN, Q7PROCESS_POLL or Q7PROCESS_ONCE (platform/posix/q7posix.h)
 * @param tags default: Q7A_PROCESS_TIMEOUT
 * @return default: 1 when it was ended by Q7AppTerminate; for the other arguments 1 if anything ran; else 0
 */
Q7_API int32_t Q7ProcessEventsA(Q7App *app, uint64_t argument, Q7TagItem *tags);

/**
 * Shows a text and lets the user choose one of several buttons. Any application, also none.
 * Default: asks on the terminal; the text goes to standard error. Where standard input is no terminal, or at its end,
 * the first button is taken at once.
 * @param buttons their labels, with "|" between them; null or empty is "OK"
 * @param reserved 0
 * @return the chosen button, counted from 1; 0 for a null text
 */
Q7_API int32_t Q7GetChoice(const char *buttons, const char *text, void *reserved);

/* The ten colours of the user interface: each stores red, green, blue and opacity, 0 to 1, as four doubles. @return 1;
 * 0 for null */

/** Colour of empty areas. */
Q7_API int32_t Q7GetBackgroundColor(double *rgba);
/** Colour of texts on the background. */
Q7_API int32_t Q7GetForegroundColor(double *rgba);
/** Colour of the lit edges of raised things. */
Q7_API int32_t Q7GetTopshadowColor(double *rgba);
/** Colour of their shaded edges. */
Q7_API int32_t Q7GetBottomshadowColor(double *rgba);
/** Background of a gadget that is pressed or selected. */
Q7_API int32_t Q7GetDownColor(double *rgba);
/** Colour of texts on it. */
Q7_API int32_t Q7GetDownForegroundColor(double *rgba);
/** Background of fields that take input. */
Q7_API int32_t Q7GetInputBackgroundColor(double *rgba);
/** Background of the title of the active window. */
Q7_API int32_t Q7GetActiveTitleBackgroundColor(double *rgba);
/** Background of the titles of the other windows. */
Q7_API int32_t Q7GetInactiveTitleBackgroundColor(double *rgba);
/** Colour of the texts of titles. */
Q7_API int32_t Q7GetTitleTextColor(double *rgba);

/* ---- Drawing: the messages that a layer's draw contexts answer (class 267, ui/q7dc.h, and what derives from it) ----
 *
 * A window gives its context as attribute 20523. Coordinates are whole pixels, x to the right, y downwards, from the
 * origin that is in force; a point is a Q7Point (ui/q7widget.h), a rectangle a Q7Rect. Line ends and corners are pixels
 * that are drawn themselves: a line from (0,0) to (3,0) covers four pixels, the outline of a rectangle lies inside it.
 *
 * A drawing message answers 1 when it was drawn (also where all of it lies outside of the clipping rectangle) and 0 for
 * a null argument, for a shape without a pixel (a count or size below 1) and when memory is short, which is reported. A
 * context that cannot draw something answers 0. Default: class 30, which records all of it, platform/posix/q7posix.h.
 * What a context is told is kept by it: arrays, texts and pixels may be
 * freed after the call. Drawing belongs to the thread that made the context. */

/** A rectangle: its left upper pixel and its size. */
typedef struct Q7Rect {
  int32_t x;      /**< Pixels from the left. */
  int32_t y;      /**< Pixels from the top. */
  int32_t width;  /**< Pixels; below 1: empty. */
  int32_t height; /**< Pixels; below 1: empty. */
} Q7Rect;

/** Pixels to be drawn: rows from the top, four bytes a pixel: red, green, blue, opacity (255: opaque; the colours are
 * not multiplied by it). */
typedef struct Q7Image {
  int32_t width;         /**< Pixels of a row, 1 to 16384. */
  int32_t height;        /**< Rows, 1 to 16384. */
  const uint8_t *pixels; /**< width * height * 4 bytes. */
} Q7Image;

/** How large a text is, in pixels. */
typedef struct Q7TextExtents {
  int32_t width;   /**< From the beginning of the text to where the next one would begin. */
  int32_t height;  /**< From line to line. */
  int32_t ascent;  /**< Above the base line. */
  int32_t descent; /**< Below it. */
} Q7TextExtents;

/** Drawing messages besides 267006 (pen), 267007 (mode) and 267014 (polyline). */
enum {
  Q7M_DC_CLEAR = 267000,          /**< Nothing is drawn any more; pen, font, clipping and origin stay. */
  Q7M_DC_SET_PEN_COLOR = 267002,  /**< a: pen, Q7PEN_FIRST_FREE to Q7PEN_LAST; slot: colour: gives the pen a colour. */
  Q7M_DC_SET_COLOR = 267003,      /**< Slot: colour, the address of three doubles 0 to 1: draws in it until a pen or
                                     another colour is set. */
  Q7M_DC_SET_BACKGROUND = 267004, /**< Slot: colour of what lies behind texts in mode 1. */
  Q7M_DC_SET_LINE_WIDTH = 267005, /**< Slot: pixels, at least 1 (int32_t). */
  Q7M_DC_SET_DASH = 267008,       /**< Slot: Q7DASH_... of lines and outlines. */
  Q7M_DC_SET_FONT = 267009,       /**< Slot: font object (class 11), referenced; null: the context's own. */
  Q7M_DC_PIXEL = 267010,          /**< Slot: const Q7Point *. */
  Q7M_DC_LINE = 267011,           /**< a, slot: const Q7Point *: from the one to the other. */
  Q7M_DC_POLYGON = 267015,        /**< a: count; slot: const Q7Point *: the closed outline. */
  Q7M_DC_FILL_POLYGON = 267016,   /**< The same, filled; where it crosses itself, by the even-odd rule. */
  Q7M_DC_RECTANGLE = 267017,      /**< Slot: const Q7Rect *: the outline. */
  Q7M_DC_FILL_RECTANGLE = 267018, /**< The same, filled. */
  Q7M_DC_ELLIPSE = 267019,        /**< Slot: const Q7Rect * around it: the outline. */
  Q7M_DC_FILL_ELLIPSE = 267020,   /**< The same, filled. */
  Q7M_DC_ARC = 267021,            /**< a: const Q7Rect * around its ellipse; slot: address of two doubles: where it
                                     begins and how far it goes, radians, clockwise from the right. */
  Q7M_DC_FILL_ARC = 267022,       /**< The same as a filled slice. */
  Q7M_DC_TEXT = 267030,           /**< a: text, UTF-8; slot: const Q7Point *: the left end of its base line. */
  Q7M_DC_TEXT_EXTENTS = 267031,   /**< a: text; slot: Q7TextExtents * to fill. 1, also of the empty text. */
  Q7M_DC_IMAGE = 267035,          /**< a: const Q7Image *; slot: const Q7Point *: where its left upper pixel goes. */
  Q7M_DC_ICON = 267036,           /**< a: icon object; slot: const Q7Point *. 0 for an icon without pixels. */
  Q7M_DC_PUSH_CLIP = 267040,      /**< Slot: const Q7Rect *: from here on only what lies in it and in what was in force
                                     is drawn. 1; 0 beyond Q7DC_DEPTH. */
  Q7M_DC_POP_CLIP = 267041,       /**< Back to what was in force before; 0 without a push. */
  Q7M_DC_PUSH_ORIGIN = 267042,    /**< Slot: const Q7Point *: it is (0,0) from here on. 1; 0 beyond Q7DC_DEPTH. */
  Q7M_DC_POP_ORIGIN = 267043      /**< Back; 0 without a push. */
};
/** How deep clipping and origins may be nested. */
enum { Q7DC_DEPTH = 256 };

/** Attributes that can be set and read on every context that draws. */
enum {
  Q7A_DC_WIDTH = 267502,      /**< int32_t, pixels of the picture; a window's context has the window's. */
  Q7A_DC_HEIGHT = 267503,     /**< int32_t */
  Q7A_DC_LINE_WIDTH = 267504, /**< int32_t, as 267005; 1 at first. */
  Q7A_DC_DASH = 267505,       /**< int32_t, as 267008. */
  Q7A_DC_FONT = 267506,       /**< Object, as 267009. */
  Q7A_DC_COLOR = 267520,      /**< Colour, as 267003; get: three doubles. */
  Q7A_DC_BACKGROUND = 267521, /**< Colour, as 267004; get: three doubles. */
  Q7A_DC_PEN = 267522,        /**< int32_t, as 267006; get: the pen set last, -1 after a colour. */
  Q7A_DC_MODE = 267523        /**< int32_t, as 267007. */
};

/** Pens that every context has: the colours of the user interface as the widget class answers them (41561 to 41571) at
 * the moment the pen is set. Pens from Q7PEN_FIRST_FREE on are black until 267002 gives them a colour. A pen outside of
 * 0 to Q7PEN_LAST is refused with 0. */
enum {
  Q7PEN_BACKGROUND = 0,
  Q7PEN_FOREGROUND = 1,
  Q7PEN_TOP_SHADOW = 2,
  Q7PEN_BOTTOM_SHADOW = 3,
  Q7PEN_DOWN = 4,
  Q7PEN_DOWN_FOREGROUND = 5,
  Q7PEN_INPUT_BACKGROUND = 6,
  Q7PEN_ACTIVE_TITLE = 7,
  Q7PEN_INACTIVE_TITLE = 8,
  Q7PEN_TITLE_TEXT = 9,
  Q7PEN_FIRST_FREE = 16,
  Q7PEN_LAST = 63
};

/** How lines are dashed. */
enum { Q7DASH_SOLID = 0, Q7DASH_DASHED = 1, Q7DASH_DOTTED = 2 };

/* ---- Windows and gadgets: what the library and its clients ask of a layer's classes ---- */

/** Attributes of a window (class 20, superclass the widget class); int32_t, set and got, unless another form is given.
 * A window that is the child of another one is an area or a pop-up of it. */
enum {
  Q7A_WINDOW_KIND = 20500,            /**< What it is for: Q7WINDOW_...; other numbers are the client's. */
  Q7A_WINDOW_RESIZABLE = 20501,       /**< Boolean: the user may resize it; 1 at creation. */
  Q7A_WINDOW_INNER_WIDTH = 20510,     /**< get: width inside the border. */
  Q7A_WINDOW_INNER_HEIGHT = 20511,    /**< get: height inside the border. */
  Q7A_WINDOW_NO_FOCUS = 20517,        /**< Boolean: showing it leaves the keyboard where it is. */
  Q7A_WINDOW_MODAL = 20519,           /**< Boolean: the other windows get no input while it is shown. */
  Q7A_WINDOW_DRAW_CONTEXT = 20523,    /**< get: Q7Object *, the draw context that draws into the window. It is the
                                         window's, and gone with it. */
  Q7A_WINDOW_BORDERLESS = 20525,      /**< Boolean: without border and title. */
  Q7A_WINDOW_LEVEL = 20526,           /**< Q7WINDOW_TOP_LEVEL, Q7WINDOW_DIALOG or Q7WINDOW_INSIDE (its parent). */
  Q7A_WINDOW_PEN_LINE = 20535,        /**< Pen for lines that are drawn into the window and its pop-ups, */
  Q7A_WINDOW_PEN_MARKED = 20536,      /**< for the lines among them that are chosen, */
  Q7A_WINDOW_PEN_TEXT = 20537,        /**< for texts, */
  Q7A_WINDOW_PEN_MARKED_TEXT = 20538, /**< for chosen texts, */
  Q7A_WINDOW_PEN_POINTER = 20539,     /**< and for what follows the mouse. */
  Q7A_WINDOW_FONT = 41513             /**< Q7Object *: the font of its texts (class 11); 11501 and 11504 are its height
                                         from line to line and its ascent, int32_t, pixels. */
};
/** Kinds and levels of a window. */
enum {
  Q7WINDOW_KIND_PLAIN = 0,
  Q7WINDOW_KIND_POPUP = 12,
  Q7WINDOW_KIND_SEPARATOR = 15,
  Q7WINDOW_TOP_LEVEL = 0,
  Q7WINDOW_DIALOG = 1,
  Q7WINDOW_INSIDE = 2
};

/** Attributes of the native gadgets (classes 26 and 80, superclass the gadget class); int32_t, set and got, unless
 * another form is given. A gadget of class 80 shows an image where it has one. */
enum {
  Q7A_GADGET_LABEL = 21500, /**< const char *, UTF-8, copied; null for none. get: the gadget's own copy. */
  /* 21501 is the model, the gadget class's. */
  Q7A_GADGET_ENABLED = 21502,    /**< Boolean: takes input; 1 at creation. */
  Q7A_GADGET_LOOK = 21503,       /**< Q7GADGET_..., what it looks and works like. */
  Q7A_GADGET_TEXT = 21504,       /**< const char *, UTF-8, copied: the text of a field; never null. */
  Q7A_GADGET_CARET = 21505,      /**< Place in that text, in bytes, in front of which the next character goes. */
  Q7A_GADGET_HELP = 21506,       /**< Number of a help text; the client's. */
  Q7A_GADGET_IMAGE = 21507,      /**< Q7Object *, referenced: an icon; null for none. */
  Q7A_GADGET_TAKES_PART = 21508, /**< Boolean: it is a member of a group (q7mx.h). */
  Q7A_GADGET_SELECTED = 21509,   /**< Boolean: whether it shows as selected. */
  Q7A_GADGET_SHORTCUT = 21510,   /**< Character code of the key that presses it, without regard to the case of ASCII
                                    letters; 0 for none. */
  Q7A_GADGET_DATA = 21513        /**< 64 bits for the client: the value that a press tells. */
};
/** Looks of a native gadget. */
enum {
  Q7GADGET_AUTOMATIC = 0, /**< A radio button when it takes part in a group (21508), else a button. A stepping button
                             (class 827) is a button in both cases. */
  Q7GADGET_BUTTON = 1,
  Q7GADGET_TOGGLE = 2, /**< A box with a mark. */
  Q7GADGET_RADIO = 3,
  Q7GADGET_FIELD = 4,  /**< A line of text to edit, its label in front of it. */
  Q7GADGET_NUMBER = 5, /**< The same; the keys up and down step the digit at the caret. */
  Q7GADGET_LABEL = 6   /**< A text that takes no input. */
};
/* What the user does to a gadget comes out as its change notification (method 41003, not quiet): a: 21513 with the
 * value as data for a press of a button; 21509 with the new state (0 or 1) for a toggle and a radio button, which have
 * taken that state by then; 21504 with the text (const char *) for a field, when Return ends the input or the keyboard
 * goes elsewhere behind a change. */

/** What a pointer, a keyboard or a window system tells. */
typedef struct Q7Event {
  int32_t kind;       /**< Q7EVENT_... */
  int32_t button;     /**< Of the pointer: 1 left, 2 middle, 3 right. */
  uint32_t modifiers; /**< Q7EVENT_SHIFT and so on, added. */
  int16_t x;          /**< Byte 12. Of the pointer: pixels in the coordinates of who receives the event. */
  int16_t y;          /**< Byte 14. */
  int32_t key;        /**< Of the keyboard: Q7KEY_..., or 0 for a character. */
  int32_t width;      /**< Of a resize: the new size. */
  int32_t height;
  int32_t reserved;
  const char *text; /**< Of the keyboard: the characters it gives, UTF-8; null for none. */
} Q7Event;
/** Kinds of events. */
enum {
  Q7EVENT_PRESS = 1,
  Q7EVENT_RELEASE = 2,
  Q7EVENT_MOTION = 3,
  Q7EVENT_KEY = 4, /**< A key went down. */
  Q7EVENT_RESIZE = 5,
  Q7EVENT_CLOSE = 6 /**< The user wants the window to be closed. */
};
/** Modifiers of an event. */
enum { Q7EVENT_SHIFT = 1, Q7EVENT_CONTROL = 2, Q7EVENT_ALT = 4 };
/** Keys without a character. */
enum {
  Q7KEY_RETURN = 1,
  Q7KEY_TAB = 2,
  Q7KEY_BACKSPACE = 3,
  Q7KEY_DELETE = 4,
  Q7KEY_LEFT = 5,
  Q7KEY_RIGHT = 6,
  Q7KEY_UP = 7,
  Q7KEY_DOWN = 8,
  Q7KEY_HOME = 9,
  Q7KEY_END = 10,
  Q7KEY_ESCAPE = 11
};

/** Messages that a layer sends to widgets of every class; the widget class answers 0. */
enum {
  Q7M_WIDGET_DRAW = 41010,  /**< a: const Q7Rect *, its place and size, always at (0,0) of the context; slot: draw
                               context, clipped to it. Draws the widget without its children, which follow. 1 when it
                               did, 0 when there is nothing of its own to see. */
  Q7M_WIDGET_EVENT = 41011, /**< Slot: const Q7Event *, coordinates its own: a pointer or key event. 1 when the widget
                               takes it; else its parent is asked. Who takes a press also gets the motion and the
                               release that follow, wherever the pointer is. */
  Q7M_WIDGET_FOCUS = 41012  /**< Slot: 1: it gets the keyboard, 0: it loses it. 1 when it can use the keyboard; else it
                               goes nowhere. */
};

/** Asks for a widget to be drawn again, soon, by the main loop; several requests are joined into one. @return 1; 0 for
 * null and for what is no widget */
Q7_API int32_t Q7Refresh(Q7Object *widget);

/** Registers the window class, id 20, and with it the other classes of the layer that stand on the widget class, id 41:
 * frame and splitter (284). The widget class is registered first. @return 1, or 0, reported */
Q7_API int32_t Q7RegisterWindowClass(Q7App *app);
/** Registers the native gadget classes, ids 26 and 80, on the gadget class, id 21, which is registered first. @return
 * 1, or 0, reported */
Q7_API int32_t Q7RegisterOSGadgetClass(Q7App *app);
/** Registers the icon class (and the font class, id 11); the icon class's id is the layer's own. Default: class 27.
 * @return 1, or 0, reported */
Q7_API int32_t Q7RegisterIconClass(Q7App *app);
/** Registers the cursor class; its id is the layer's own. Default: class 28. @return 1, or 0, reported */
Q7_API int32_t Q7RegisterCursorClass(Q7App *app);

Q7_END_DECLS

#endif
