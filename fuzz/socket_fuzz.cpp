// socket_fuzz: the reader of socket blocks. The input is what a peer sends before it closes; it is read in pieces of
// growing size until the connection is at its end.
#include <sys/socket.h>

#include <vector>

#include "fuzz/fuzz.hpp"
#include "io/q7socket.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  q7fuzz::start();
  constexpr size_t kMost = 100000;  // what a socket takes without a reader
  if (size > kMost) return 0;
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0) std::abort();
  if (write(ends[0], data, size) != static_cast<ssize_t>(size)) std::abort();
  close(ends[0]);

  Q7Object *file =
      Q7ObjectCreate(Q7C_FILE, Q7A_FILE_NAME, q7fuzz::arg("/dev/null"), Q7A_FILE_MODE, q7fuzz::arg("r"), 0);
  if (!file) std::abort();
  auto *stream = reinterpret_cast<Q7Stream *>(reinterpret_cast<char *>(file) + Q7ClassFind(Q7C_FILE)->ioffset);
  static std::vector<uint8_t> buffer(Q7SOCKET_BLOCK + 1000);
  int32_t piece = 1;
  // A damaged block counts as a full buffer, so a few bytes of input give much to read: the last pieces are large.
  for (int i = 0; i < 40 && q7_readsocket(stream, ends[1], buffer.data(), piece) == piece; ++i) {
    piece = i < 8 ? piece * 3 : Q7SOCKET_BLOCK + 7;
  }
  Q7ObjectDelete(file);
  close(ends[1]);
  return 0;
}
