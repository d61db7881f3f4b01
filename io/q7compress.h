/* q7compress: one-shot packing of memory buffers in the zlib format. The results are not zlib's own: exactly 1 is
 * success, and callers test for it. Lengths are in and out: the room of the destination on the way in, the bytes
 * written on the way out; a failure leaves them as they were. Source and destination must not overlap. */
#ifndef Q7_IO_Q7COMPRESS_H
#define Q7_IO_Q7COMPRESS_H

#include "core/q7types.h"

Q7_BEGIN_DECLS

/** Buffers shorter than this are kept unpacked. */
enum { Q7COMPRESS_SMALLEST = 128 };

/** Packs with the default level. A source below Q7COMPRESS_SMALLEST bytes is refused with 0, and nothing is touched:
 * buffers that small are stored as they are. @return 1, or 0 */
Q7_API int32_t Q7Compress(void *destination, uint32_t *destination_length, const void *source, uint32_t source_length);

/** Packs a source of any length. @param level 0 to 9, or -1 for the default @return 1; 0 if the destination is too
 * small, the level is none or memory is exhausted */
Q7_API int32_t Q7Compress2(void *destination, uint32_t *destination_length, const void *source, uint32_t source_length,
                           int32_t level);

/**
 * Unpacks a whole stream.
 * @return 1 on success; 0 or a negative zlib code on failure: -5 when the destination is too small, -3 for damaged
 * data, 0 for data that end too early or need a dictionary. The destination may then hold what was unpacked so far.
 */
Q7_API int32_t Q7UnCompress(void *destination, uint32_t *destination_length, const void *source,
                            uint32_t source_length);

Q7_END_DECLS

#endif
