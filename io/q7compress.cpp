// q7compress: one-shot packing of memory buffers. Owns nothing between calls.
#include "io/q7compress.h"

#include <zlib.h>

namespace {

// The zlib release whose structure layout and behaviour the callers were written for.
constexpr char kZlibVersion[] = "1.2.13";

z_stream q7zp_stream(void *destination, uint32_t room, const void *source, uint32_t length) {
  z_stream stream = {};
  stream.next_in = const_cast<Bytef *>(static_cast<const Bytef *>(source));
  stream.avail_in = length;
  stream.next_out = static_cast<Bytef *>(destination);
  stream.avail_out = room;
  return stream;
}

}  // namespace

int32_t Q7Compress(void *destination, uint32_t *destination_length, const void *source, uint32_t source_length) {
  // Small buffers are not worth a header; their callers keep them as they are.
  if (source_length < Q7COMPRESS_SMALLEST) return 0;
  return Q7Compress2(destination, destination_length, source, source_length, Z_DEFAULT_COMPRESSION);
}

int32_t Q7Compress2(void *destination, uint32_t *destination_length, const void *source, uint32_t source_length,
                    int32_t level) {
  if (!destination || !destination_length || (!source && source_length)) return 0;
  z_stream stream = q7zp_stream(destination, *destination_length, source, source_length);
  if (deflateInit_(&stream, level, kZlibVersion, sizeof stream) != Z_OK) return 0;
  if (deflate(&stream, Z_FINISH) != Z_STREAM_END) {
    deflateEnd(&stream);
    return 0;
  }
  *destination_length = static_cast<uint32_t>(stream.total_out);
  return deflateEnd(&stream) == Z_OK;
}

int32_t Q7UnCompress(void *destination, uint32_t *destination_length, const void *source, uint32_t source_length) {
  if (!destination || !destination_length || (!source && source_length)) return 0;
  z_stream stream = q7zp_stream(destination, *destination_length, source, source_length);
  if (inflateInit_(&stream, kZlibVersion, sizeof stream) != Z_OK) return 0;
  const int code = inflate(&stream, Z_FINISH);
  if (code == Z_STREAM_END) {
    *destination_length = static_cast<uint32_t>(stream.total_out);
    return inflateEnd(&stream) == Z_OK;
  }
  const bool input_left = stream.avail_in > 0;
  inflateEnd(&stream);
  if (code == Z_NEED_DICT) return 0;
  // Out of room with input left is an error of its own; without input the data just end too early.
  if (code == Z_BUF_ERROR) return input_left ? Z_BUF_ERROR : 0;
  return code;
}
