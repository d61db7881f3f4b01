// stream: the instance data of a file object and what the modules that work on it share: the file class (q7file), its
// opening (q7fileopen), connections (q7connect), buffered sockets (q7socket) and chunked files (q7iff).
#ifndef Q7_IO_STREAM_HPP
#define Q7_IO_STREAM_HPP

#include <cerrno>
#include <cstring>

#include "core/q7oops.h"
#include "io/q7file.h"
#include "io/q7path.h"
#include "io/q7socket.h"

// Opening makes one of: an open disk file, a connected socket, a listening socket; closing makes it none again.
struct Q7Stream {
  FILE *file;                // open disk file, or null
  char name[Q7PATH_SIZE];    // path that was opened
  int32_t socket;            // connected or listening socket; -1: none
  int32_t accepted;          // connection accepted on a listening socket; -1: none
  uint8_t *read_buffer;      // unpacked bytes of the current block; allocated by the first read
  int32_t filled;            // valid bytes of it
  int32_t position;          // bytes of it already handed out
  int32_t read_capacity;     // Q7SOCKET_BLOCK
  uint8_t *write_buffer;     // bytes not sent yet; allocated by the first write
  int32_t used;              // bytes waiting in it
  int32_t write_capacity;    // Q7SOCKET_BLOCK
  uint8_t *packing_buffer;   // a packed block on its way, in either direction; allocated with the first of the others
  int32_t packing_capacity;  // Q7SOCKET_PACKED
  char mode[16];             // mode text of the opening
  uint32_t flags;            // kStream...
  int32_t error;             // Q7FE_..., of the last failure; 0 before the first

  // Behind the documented state.
  int32_t system_error;     // errno of the last failure
  int32_t connect_seconds;  // time-out of connecting; -1: the class's
  bool failed;              // a write was lost: no later flush or close may claim success
  bool broken;              // a block was sent in part: nothing that follows would be understood
  bool pipe;                // the disk stream is a pipe: writing may raise SIGPIPE
  bool server;              // the socket listens
  char peer[64];            // address of the other end, as numbers
  uint8_t *scratch;         // room of a block read without a buffer on a connection
};

namespace q7 {

enum StreamFlag : uint32_t {
  kStreamSocket = 2,        // the stream is a connection
  kStreamAccepted = 8,      // an accepted connection is open
  kStreamDead = 16,         // reading the socket has failed
  kStreamAcceptedDead = 32  // reading the accepted socket has failed
};

// Entries of the file class's catalogue.
enum FileString {
  kStartupError,
  kDeadSocket,
  kSocketTimeout,
  kTellSocket,
  kNotSupported,
  kTooManyParameters,
  kTooFewParameters,
  kScanSocket,
  kTextTooLong,
  kFileDescription,
  kFileStringCount
};
const char *file_string(FileString entry);

inline bool is_socket(const Q7Stream &s) { return s.flags & kStreamSocket; }
inline int32_t active_socket(const Q7Stream &s) { return s.flags & kStreamAccepted ? s.accepted : s.socket; }
inline bool is_dead(const Q7Stream &s) {
  return s.flags & (s.flags & kStreamAccepted ? kStreamAcceptedDead : kStreamDead);
}

// Records the failure that errno stands for; `out` (may be null) receives the error id too.
void set_error(Q7Stream &s, int32_t *out = nullptr);

// Waits until a socket is readable (POLLIN) or writable (POLLOUT): 1 ready, 0 time-out (errno ETIMEDOUT), -1 failure.
int wait_socket(int32_t socket, short events, int64_t timeout_ms);

// Frees the three buffers and forgets what was in them.
void free_buffers(Q7Stream &s);

// Connects or listens as the mode's first letter says; false with errno set.
bool open_connection(Q7Stream &s, const char *host, int32_t port);
bool accept_connection(Q7Stream &s);
// Flushes and closes the accepted connection; false if the flush failed.
bool close_accepted(Q7Stream &s);
// Flushes and closes all sockets; false if the flush failed.
bool close_connection(Q7Stream &s);
// Port that the socket is bound to; 0 if unknown.
int32_t local_port(const Q7Stream &s);

// What Q7FileOpen does, for an object in the memory of an allocator (0: the heap).
bool open_object(Q7Class *cl, Q7Object *object, Q7TagItem *tags, bool is_new, uint64_t allocator);

// Closes whatever is open; false if something that was written may be lost.
bool close_stream(Q7Stream &s);

// Writes to a pipe whose reader is gone raise SIGPIPE, which is no reason to end the host. Holds the signal back for a
// scope and takes away the one that came.
class PipeGuard {
 public:
  explicit PipeGuard(bool needed);
  ~PipeGuard();
  PipeGuard(const PipeGuard &) = delete;
  PipeGuard &operator=(const PipeGuard &) = delete;

 private:
  bool active_ = false;
};

// Values of a few bytes mostly fit the stdio buffer; then they are copied right there, as putc_unlocked and
// getc_unlocked do it for one byte, instead of through a call for each.
template <int N>
bool read_value(Q7Stream &s, void *to) {
#ifdef __GLIBC__
  if (FILE *f = s.file; f && f->_IO_read_end - f->_IO_read_ptr >= N) [[likely]] {
    std::memcpy(to, f->_IO_read_ptr, N);
    f->_IO_read_ptr += N;
    return true;
  }
#endif
  return q7_read(&s, to, N, 1, s.file) == 1;
}
template <int N>
bool write_value(Q7Stream &s, const void *from) {
#ifdef __GLIBC__
  if (FILE *f = s.file; f && f->_IO_write_end - f->_IO_write_ptr >= N) [[likely]] {
    std::memcpy(f->_IO_write_ptr, from, N);
    f->_IO_write_ptr += N;
    return true;
  }
#endif
  return q7_write(&s, from, N, 1, s.file) == 1;
}

}  // namespace q7

#endif
