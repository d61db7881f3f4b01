/* q7swap: byte order. Chunked files and socket blocks store numbers with the highest byte first. */
#ifndef Q7_IO_Q7SWAP_H
#define Q7_IO_Q7SWAP_H

#include "core/q7types.h"

Q7_BEGIN_DECLS

/** Reverses the bytes of a value in place. @param size its width in bytes, any number; below 2 nothing changes @return
 * value */
Q7_API void *Q7Swap(void *value, int32_t size);

Q7_END_DECLS

#endif
