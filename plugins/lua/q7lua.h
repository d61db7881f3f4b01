/* q7lua: the language Lua (5.4) as a class of its own, added by the plug-in library libq7lua.so. The class derives from
 * the language class (lang/q7prglng.h) and is registered as the language "Lua" for files that end in "lua". Objects of
 * it are shells like their superclass and hold, besides, one Lua state each: globals live from one script to the next
 * until Q7M_LUA_RESET or the object's disposal. What scripts can call is described in docs/q7lua.md.
 *
 * Everything belongs to the main thread. While a script runs, its language object may be disposed of: the script is
 * then stopped at its next step, and the state is closed behind it. */
#ifndef Q7_PLUGINS_LUA_Q7LUA_H
#define Q7_PLUGINS_LUA_Q7LUA_H

#include "lang/q7prglng.h"

Q7_BEGIN_DECLS

/** Class ids: the language, and the class of the objects that carry a script's functions to models and idle queues. */
enum { Q7C_LUA = 4260, Q7C_LUA_RECEIVER = 4261 };

/** Methods of a Lua object. Q7M_PRGLNG_LOAD runs a file (text, no compiled chunks); 1, or 0 after the error went where
 * Q7M_PRGLNG_ERROR sends it. */
enum {
  Q7M_LUA_RUN = 4260000,       /**< a: name of the text for messages, null for "=script"; slot: text of a script. Runs
                                    it; 1, or 0 after the error was told. */
  Q7M_LUA_EVALUATE = 4260001,  /**< As Q7M_LUA_RUN for a line typed in: an expression is evaluated too, and its values
                                  are  printed through Q7M_PRGLNG_PRINT. */
  Q7M_LUA_RESET = 4260002,     /**< Closes the state, with its globals, its idle work and its listeners. 1; 0 while a
                                    script runs. */
  Q7M_LUA_INTERRUPT = 4260003, /**< Stops the running script at its next step with the error "interrupted". 1; 0 when
                                    none runs. May be sent from a signal handler of the main thread. */
  Q7M_LUA_INCOMPLETE = 4260004 /**< Slot: text. 1 if it is the beginning of a script whose rest is missing, so that a
                                    shell asks for another line; else 0. */
};

/** Attributes of a Lua object. */
enum {
  Q7A_LUA_MEMORY_LIMIT = 4260500, /**< set, get: bytes that the state may use (uint64_t), 256 MB at first; beyond it the
                                       script meets the error "not enough memory". */
  Q7A_LUA_MEMORY_USED = 4260501,  /**< get: bytes that it uses (uint64_t). */
  Q7A_LUA_STEP_LIMIT = 4260502    /**< set, get: instructions that one run may take (uint64_t), 0 at first: no limit. */
};

Q7_END_DECLS

#endif
