/* q7iff: chunked files, a subclass of the file class. A chunk is a four-character id, the size of its contents (4 or 8
 * bytes, highest byte first) and the contents: values and further chunks. Odd contents are followed by one zero byte
 * that the size counts, so that a reader can skip by the size alone. A file holds one chunk, "FORM" with 32-bit or
 * "Q7D8" with 64-bit sizes, whose contents begin with a four-character form type.
 *
 * Values of 16, 32 and 64 bits are stored highest byte first whatever the host; blocks and texts as they are. Ids and
 * form types are four bytes in file order: copy "FORM" into a uint32_t to get one. All methods of q7file.h work. */
#ifndef Q7_IO_Q7IFF_H
#define Q7_IO_Q7IFF_H

#include "core/q7oops.h"

Q7_BEGIN_DECLS

enum { Q7C_IFF = 127 }; /**< Class id, "q7iff". */

/** Creation tags, beside those of the file class. */
enum {
  Q7A_IFF_ID = 127500,   /**< Address of the 32-bit id of the file's chunk: filled in mode "r", stored in mode "w".
                            Without   it no header is read or written. */
  Q7A_IFF_FORM = 127501, /**< Address of the 4-byte form type: filled or stored likewise. Without it none is. */
  Q7A_IFF_SWAP = 127502, /**< 1 (default): values highest byte first; 0: in the host's order. get: int32_t. */
  Q7A_IFF_WIDE = 127503  /**< 1 (default): 64-bit sizes; 0: 32-bit ones. Reading follows the file's own chunk. get:
                              int32_t. */
};

/** Error ids beside those of the file class. */
enum {
  Q7FE_NOT_IFF = 127500,   /**< The first chunk is neither "FORM" nor "Q7D8". */
  Q7FE_NOT_V4 = 127501,    /**< Registered for callers that refuse a form type. */
  Q7FE_CORRUPTED = 127502, /**< A chunk was not read exactly, or has a negative size. */
  Q7FE_NEEDS_64 = 127503   /**< A size does not fit 32 bits. */
};

/** Methods. */
enum {
  Q7M_IFF_BEGIN_READ = 127000, /**< Slot: address that receives the id: enters the next chunk. 1; 0 at the end of the
                                    enclosing chunk or on failure. */
  Q7M_IFF_END_READ = 127001,   /**< Leaves the chunk. 1 when it was read exactly; otherwise 0 and Q7FE_CORRUPTED, though
                                  the   stream stands behind the chunk. */
  Q7M_IFF_BEGIN_WRITE = 127002, /**< Slot: the 32-bit id: begins a chunk. Non-null, or null. */
  Q7M_IFF_END_WRITE = 127003,   /**< Ends it: pads it and stores its size. Non-zero on success. */
  Q7M_IFF_SKIP = 127004         /**< Leaves the chunk that was entered wherever reading stands. 1. */
};

/** Registers the class once an application, with the file class, the error database and its error texts.
 * @return 1, or 0 */
Q7_API int32_t Q7RegisterIFFClass(Q7App *app);

Q7_END_DECLS

#endif
