/* q7watch: notices of disposal. Whoever remembers an object that belongs to others, without counting a reference on it,
 * watches it and forgets it when the notice comes: handles of scripts do so. Every disposal ends in the root class, and
 * that is where the notice is sent, whatever caused it.
 *
 * Any thread may watch and unwatch; a notice comes on the thread that disposes of the object. */
#ifndef Q7_CORE_Q7WATCH_H
#define Q7_CORE_Q7WATCH_H

#include "core/q7types.h"

Q7_BEGIN_DECLS

/**
 * Receives the notice that an object is going: its header and its name are still there, the data of its class are torn
 * down already. No lock is held; it may watch and unwatch other objects.
 * @param object what goes; not to be kept
 * @param data as it was given to Q7ObjectWatch
 */
typedef void (*Q7WatchFunction)(Q7Object *object, uint64_t data);

/**
 * Has function(object, data) called once when the object is disposed of. Watching twice with the same function and data
 * gives two notices, the earlier watch's first. The object keeps its reference count.
 * @return 1; 0 for a null argument or when out of memory
 */
Q7_API int32_t Q7ObjectWatch(Q7Object *object, Q7WatchFunction function, uint64_t data);

/**
 * Takes back one watch. Once it has returned, the function is not running and will not be called for this watch: while
 * another thread is just calling it, it waits for the end of the call. From within that very call it does not wait.
 * @return 1; 0 when there is none, or when the notice has been given already
 */
Q7_API int32_t Q7ObjectUnwatch(Q7Object *object, Q7WatchFunction function, uint64_t data);

Q7_END_DECLS

#endif
