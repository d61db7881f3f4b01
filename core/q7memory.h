/* q7memory: the allocator front that the whole library and its clients share. */
#ifndef Q7_CORE_Q7MEMORY_H
#define Q7_CORE_Q7MEMORY_H

#include "core/q7types.h"

Q7_BEGIN_DECLS

/** Flag of the allocation calls: fill the block with zeros. Every other bit is accepted and ignored. */
enum { Q7MEM_CLEAR = 0x10000 };

/**
 * Allocates a block of at least max(size, 8) bytes.
 * @return the block, or null on exhaustion, without a report. Free it with Q7FreeMem.
 */
Q7_API void *Q7AllocSilent(uint64_t size, uint32_t flags);

/**
 * As Q7AllocSilent, but exhaustion is reported: the out-of-memory text (application string 2, with the size) goes to
 * the log and, with an empty title, to the message hook of the host (Q7AppSetMessageHook).
 */
Q7_API void *Q7AllocMem(uint64_t size, uint32_t flags);

/** Frees a block; null is allowed. The size is accepted for symmetry and ignored. */
Q7_API void Q7FreeMem(void *block, uint64_t size);

/**
 * Resizes a block to max(newsize, 8) bytes. Equal sizes return the block unchanged; a null block is a plain
 * Q7AllocMem(newsize, flags). Bytes below max(oldsize, 8) are kept; with Q7MEM_CLEAR the grown tail is zero-filled.
 * @return the block, or null on exhaustion, without a report; the old block is then still the caller's.
 */
Q7_API void *Q7ReAllocMem(void *block, uint64_t oldsize, uint64_t newsize, uint32_t flags);

/**
 * Decides whether an allocation may take place; answers 0 to make it fail. For tests of exhaustion and for hosts that
 * keep a memory budget. Called on the allocating thread, before the allocation.
 */
typedef int32_t (*Q7AllocGate)(uint64_t size, void *data);

/** Installs the gate that every allocation of the library passes (null removes it). Not to be changed while other
 * threads allocate. */
Q7_API void Q7SetAllocGate(Q7AllocGate gate, void *data);

Q7_END_DECLS

#endif
