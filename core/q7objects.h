/* q7objects: the calls of code that uses objects. Each is a thin sender of one message; what a message does is up to
 * the receiving class and, for all that classes leave alone, the root class (q7root.h). Nothing here locks. */
#ifndef Q7_CORE_Q7OBJECTS_H
#define Q7_CORE_Q7OBJECTS_H

#include <setjmp.h>

#include "core/q7oops.h"

Q7_BEGIN_DECLS

/* ---- Creating and deleting ---- */

/** Creates an object of a class (method 0). @return the object with a reference count of 0, or null (also for an
 * unknown class). Delete it with Q7ObjectDelete or by releasing its last reference. */
Q7_API Q7Object *Q7ObjectCreateA(uint32_t clid, Q7TagItem *tags);
Q7_API Q7Object *Q7ObjectCreate(uint32_t clid, uint32_t tag, ...);
/** Disposes of an object (method 1), whatever its reference count. Null is allowed. @return what the class answers */
Q7_API uint64_t Q7ObjectDelete(Q7Object *object);

/** Supplies the memory of an object and of its name. */
typedef struct Q7AltMem {
  /** Returns a block of size bytes or null; Q7MEM_CLEAR in flags asks for zeros. */
  void *(*allocate)(void *context, uint64_t size, uint32_t flags);
  /** Takes a block back. */
  void (*release)(void *context, void *block, uint64_t size);
  void *context; /**< Handed to both. */
} Q7AltMem;

/**
 * Creates an object in an allocator's memory; it must be deleted with the same allocator. Such objects are not counted
 * when they are created, but their disposal lowers the counters: pools of objects are meant not to hold up
 * Q7ClassReplace, and whoever balances the books by hand counts on it.
 * @param b argument b of method 0
 * @return the object or null; an unknown class is reported ("<application string 4>: <id>")
 */
Q7_API Q7Object *Q7AltObjectCreateA2(uint32_t clid, Q7AltMem *allocator, uint64_t b, Q7TagItem *tags);
Q7_API Q7Object *Q7AltObjectCreate(uint32_t clid, Q7AltMem *allocator, uint32_t tag, ...);
Q7_API uint64_t Q7AltObjectDelete(Q7Object *object, Q7AltMem *allocator);

/* ---- Loading and saving ---- */

/** Loads an object of whatever class the stream names (method 21 to the root class). @return the object or null */
Q7_API Q7Object *Q7ObjectLoadA(Q7Object *stream, Q7TagItem *tags);
Q7_API Q7Object *Q7ObjectLoad(Q7Object *stream, uint32_t tag, ...);
/** Saves an object (method 7); tag 517 is the stream. @return non-zero on success */
Q7_API uint64_t Q7ObjectSaveA(Q7Object *object, Q7TagItem *tags);
Q7_API uint64_t Q7ObjectSave(Q7Object *object, uint32_t tag, ...);

/* ---- Attributes ---- */

/** Sets attributes (method 4). @return 0 when all were known, else the last unknown item */
Q7_API uint64_t Q7Set(Q7Object *object, uint32_t tag, ...);
/** The same as Q7Set. */
Q7_API uint64_t Q7SetAttrs(Q7Object *object, uint32_t tag, ...);
/** Reads attributes (method 5): each value is the address that receives the attribute. @return as Q7Set */
Q7_API uint64_t Q7Get(Q7Object *object, uint32_t tag, ...);
/** The same as Q7Get. */
Q7_API uint64_t Q7GetAttrs(Q7Object *object, uint32_t tag, ...);
/** Sets one element of an indexed attribute (method 28). @return the class's answer; the attribute id when no class
 * knows it (reported) */
Q7_API uint64_t Q7SetIndexedAttr(Q7Object *object, int32_t attribute, int32_t index, uint64_t value);
/** Reads one element of an indexed attribute into address (method 29). @return as Q7SetIndexedAttr */
Q7_API uint64_t Q7GetIndexedAttr(Q7Object *object, int32_t attribute, int32_t index, void *address);

/** Asks the task class (class 1) for a task object (its method 1001); argument 0: the calling thread's.
 * @return the task or null */
Q7_API Q7Object *Q7FindTask(uint64_t argument);

/* ---- Unique ids ---- */

/** A number that no earlier call of the process returned; the first one comes from the clock. Main thread. */
Q7_API uint32_t Q7UniqueId(void);
/** The id of a copy: ((id & ~0x3FF) + 1024) | id. The OR keeps the bits of the original's group recognisable in every
 * copy's id. */
Q7_API uint32_t Q7CopyUniqueId(uint32_t id);

/* ---- Separated lists ---- */

/**
 * Takes the next path of a list separated by ";" into buffer, which holds the remaining text. Leading blanks are
 * skipped. The cursor moves behind the ";" or becomes null at the end.
 * @return 1 for a piece; an empty last piece and a null cursor give 0 (with a null cursor the buffer is untouched)
 */
Q7_API int32_t Q7GetNextPath(char *buffer, const char **cursor);
/** The same for any separator, without skipping blanks. @return 1 whenever the cursor was not null */
Q7_API int32_t Q7StrNext(char *buffer, const char **cursor, int32_t separator);

/* ---- Non-local exit ---- */

/** A saved execution context; one level, owned by the caller. */
typedef struct Q7JmpBuf {
  jmp_buf context;
} Q7JmpBuf;

/** Saves the context and returns 0; returns once more, with Q7LongJmp's value, for every Q7LongJmp. The function that
 * called it must not have returned by then. */
Q7_API int32_t Q7SetJmp(Q7JmpBuf *buffer) __attribute__((returns_twice));
/** Restores a context saved by Q7SetJmp. A value of 0 arrives as 1. Does not return. */
Q7_API void Q7LongJmp(Q7JmpBuf *buffer, int32_t value) __attribute__((noreturn));

Q7_END_DECLS

#endif
