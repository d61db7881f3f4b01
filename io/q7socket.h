/* q7socket: how file objects move bytes. On a disk stream these are fread and fwrite; on a connection writes gather in
 * a large buffer that is sent as one block, packed when that helps, and reads hand out the blocks that arrive as one
 * stream of bytes.
 *
 * A block on the wire: 4 bytes of payload length, highest first; 1 byte that is 1 for a packed payload (q7compress.h),
 * 0 for a plain one; the payload. A block carries at most Q7SOCKET_BLOCK bytes, unpacked. A length of 0 means that
 * plain bytes follow, as many as the reader asks for.
 *
 * A stream is used by one thread at a time; nothing here takes a lock. Every single wait for the peer ends after the
 * socket time-out (class attribute Q7A_FILE_TIMEOUT). SIGPIPE is never raised. */
#ifndef Q7_IO_Q7SOCKET_H
#define Q7_IO_Q7SOCKET_H

#include <stdio.h>

#include "core/q7types.h"

Q7_BEGIN_DECLS

enum {
  Q7SOCKET_BLOCK = 8290304,   /**< Bytes of the read and the write buffer: 8 MiB less 98304. */
  Q7SOCKET_PACKED = 10777395, /**< Bytes of the packing buffer: 1.3 times as many. */
  Q7SOCKET_HEADER = 5         /**< Bytes in front of a block's payload. */
};

/** The instance data of a file object: the address of the object plus the ioffset of the file class's record. */
typedef struct Q7Stream Q7Stream;

/**
 * Writes size * count bytes: into the write buffer of a connection (the accepted one if there is one), to `file` on a
 * disk stream.
 * @return on a connection count, or 0 on failure; on a disk stream what fwrite answers. Failures set the stream's
 * error.
 */
Q7_API uint64_t q7_write(Q7Stream *stream, const void *buffer, uint64_t size, uint64_t count, FILE *file);

/**
 * Reads size * count bytes.
 * @return on a connection count, or 0 on failure, which marks the connection dead; on a disk stream what fread answers.
 * Reading a dead connection is a fault of the program: it is reported and the process stops. Attribute Q7A_FILE_DEAD
 * says beforehand whether it would.
 */
Q7_API uint64_t q7_read(Q7Stream *stream, void *buffer, uint64_t size, uint64_t count, FILE *file);

/** Sends the waiting bytes as one block. @return 0 if none waited, -1 on failure (also of a write before it), else the
 * number of bytes sent, before packing */
Q7_API int32_t q7_flushsocket(Q7Stream *stream);

/** Gathers n bytes in the write buffer, which is allocated on first use together with the packing buffer, and sends it
 * each time it is full. @return 1, at once for n below 1; 0 on failure or exhaustion */
Q7_API int32_t q7_writesocket(Q7Stream *stream, int32_t socket, const void *data, int32_t n);

/** Sends the write buffer's bytes as one block; nothing for an empty one. A header that cannot be sent leaves them
 * waiting. @return 1, or 0 on failure */
Q7_API int32_t q7_flush_socket(Q7Stream *stream, int32_t socket);

/**
 * Hands out n bytes of the blocks that arrive; the read buffer is allocated on first use, filled with zeros, together
 * with the packing buffer. A damaged packed payload (negative result of Q7UnCompress) counts as a full block: what lies
 * in the buffer, bytes of this connection or zeros, is handed out. A packed length above Q7SOCKET_PACKED fails.
 * @return n, or 0 on failure and for n below 1
 */
Q7_API int32_t q7_readsocket(Q7Stream *stream, int32_t socket, void *data, int32_t n);

/** Sends exactly n bytes. @return 1, at once for n below 1; 0 on failure */
Q7_API int32_t q7_write_socket(int32_t socket, const void *data, int32_t n);
/** Receives exactly n bytes. @return 1, at once for n below 1; 0 on failure or when the peer has closed */
Q7_API int32_t q7_read_socket(int32_t socket, void *data, int32_t n);

/** Whether the last signal that the calling thread's task received is SIGPIPE. @return 1 or 0 */
Q7_API int32_t q7broken_pipe(void);

/** Prepares a new connection: buffers of Q7SOCKET_BLOCK bytes (as far as the system grants them), no delay for small
 * packets, acknowledgements at once. @return 1 if all was accepted, else 0 */
Q7_API int32_t setdefsockopts(int32_t socket);

Q7_END_DECLS

#endif
