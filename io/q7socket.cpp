// q7socket: blocks on the wire. The write and read buffers belong to the stream and are freed when it is closed; a
// packed block passes through the packing buffer in either direction. Whatever the peer sends, no more is stored than
// the buffers hold, and the read buffer starts as zeros, so only this connection's bytes are ever handed out.
#include "io/q7socket.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>

#include "core/classdef.hpp"
#include "core/q7memory.h"
#include "core/q7objects.h"
#include "core/report.hpp"
#include "io/q7compress.h"
#include "io/q7swap.h"
#include "io/resolve.hpp"
#include "io/stream.hpp"

namespace {

constexpr uint32_t kLastSignalMethod = 1004;  // of the task class
// Spare bytes behind the packing buffer: packing starts behind the header and may fill the whole stated capacity.
constexpr uint64_t kPackingRoom = uint64_t{Q7SOCKET_PACKED} + Q7SOCKET_HEADER;
constexpr uint64_t kPiece = 1 << 30;  // bytes handed on at once where counts have 32 bits

bool q7sk_allocate(uint8_t *&buffer, int32_t &capacity, int32_t size, uint64_t room, uint32_t flags) {
  if (!buffer) buffer = static_cast<uint8_t *>(Q7AllocMem(room, flags));
  if (buffer) capacity = size;
  return buffer != nullptr;
}

bool q7sk_packing_buffer(Q7Stream &s) {
  return q7sk_allocate(s.packing_buffer, s.packing_capacity, Q7SOCKET_PACKED, kPackingRoom, 0);
}

bool q7sk_write_buffers(Q7Stream &s) {
  return q7sk_allocate(s.write_buffer, s.write_capacity, Q7SOCKET_BLOCK, Q7SOCKET_BLOCK, 0) && q7sk_packing_buffer(s);
}

bool q7sk_read_buffers(Q7Stream &s) {
  if (!s.read_buffer) s.filled = s.position = 0;
  // Zeros, because a damaged packed block counts as a full one.
  return q7sk_allocate(s.read_buffer, s.read_capacity, Q7SOCKET_BLOCK, Q7SOCKET_BLOCK, Q7MEM_CLEAR) &&
         q7sk_packing_buffer(s);
}

void q7sk_put_header(uint8_t *header, uint32_t length, bool packed) {
  Q7Swap(&length, sizeof length);
  std::memcpy(header, &length, sizeof length);
  header[4] = packed;
}

// What a failed send or recv means for the loop that called it.
enum class Failure { kRetry, kGiveUp };

Failure q7sk_failed(int64_t deadline) {
  const int error = errno;
  if (error == EINTR) {
    const bool broken = q7broken_pipe();
    errno = error;
    return broken ? Failure::kGiveUp : Failure::kRetry;
  }
  if (error != EAGAIN) return Failure::kGiveUp;
  // Ready, then not after all: tried again at once, but not beyond the time-out.
  if (q7::now_ms() < deadline) return Failure::kRetry;
  errno = ETIMEDOUT;
  return Failure::kGiveUp;
}

// Sending has failed: false. A time-out is printed too, the system's own and that of waiting for the peer alike.
bool q7sk_not_sent() {
  if (errno != ETIMEDOUT) return false;
  std::fputs(q7::file_string(q7::kSocketTimeout), stdout);
  std::fflush(stdout);
  errno = ETIMEDOUT;
  return false;
}

// Sends n bytes; `sent` counts those that went out.
bool q7sk_send(int32_t socket, const void *data, int32_t n, int32_t &sent) {
  const auto *bytes = static_cast<const char *>(data);
  sent = 0;
  const int64_t timeout = q7::socket_timeout_ms();
  int64_t deadline = q7::now_ms() + timeout;
  while (sent < n) {
    if (q7::wait_socket(socket, POLLOUT, timeout) != 1) return q7sk_not_sent();
    errno = 0;
    const ssize_t moved = send(socket, bytes + sent, static_cast<size_t>(n - sent), MSG_NOSIGNAL | MSG_DONTWAIT);
    if (moved > 0) {
      sent += static_cast<int32_t>(moved);
      deadline = q7::now_ms() + timeout;
    } else if (moved == 0 || errno == ETIMEDOUT || q7sk_failed(deadline) == Failure::kGiveUp) {
      return q7sk_not_sent();
    }
  }
  return true;
}

// Reads the header of the next block and its payload into the read buffer. `wanted` is the whole request that is being
// served: a block of length 0 carries as many bytes, whatever part of the request is served already, because its sender
// counts requests and not blocks.
bool q7sk_next_block(Q7Stream &s, int32_t socket, int32_t wanted) {
  uint32_t length;
  uint8_t packed;
  s.filled = s.position = 0;
  if (!q7_read_socket(socket, &length, sizeof length) || !q7_read_socket(socket, &packed, 1)) return false;
  Q7Swap(&length, sizeof length);
  if (length == 0 || !packed) {
    const uint32_t plain = std::min<uint32_t>(length == 0 ? static_cast<uint32_t>(wanted) : length, Q7SOCKET_BLOCK);
    if (!q7_read_socket(socket, s.read_buffer, static_cast<int32_t>(plain))) return false;
    s.filled = static_cast<int32_t>(plain);
    return true;
  }
  if (length > Q7SOCKET_PACKED) {
    errno = EMSGSIZE;
    return false;
  }
  if (!q7_read_socket(socket, s.packing_buffer, static_cast<int32_t>(length))) return false;
  uint32_t unpacked = Q7SOCKET_BLOCK;
  // Only 0 is a failure. A negative result counts as a full buffer: peers rely on a connection that outlives one
  // damaged block.
  if (Q7UnCompress(s.read_buffer, &unpacked, s.packing_buffer, length) == 0) {
    errno = EBADMSG;
    return false;
  }
  s.filled = static_cast<int32_t>(unpacked);
  return true;
}

[[noreturn]] void q7sk_dead(bool accepted) {
  // One text for both sockets; the line tells them apart, and log filters know both lines.
  Q7ErrPos("q7file", accepted ? 646 : 656);
  Q7_Error("%s", q7::file_string(q7::kDeadSocket));
  q7::assertion_failed("0", "q7file", accepted ? 647 : 657);
}

uint64_t q7sk_read_stream(Q7Stream &s, void *buffer, uint64_t size, uint64_t count) {
  const bool accepted = s.flags & q7::kStreamAccepted;
  if (q7::is_dead(s)) q7sk_dead(accepted);
  uint64_t total;
  if (__builtin_mul_overflow(size, count, &total)) return 0;
  if (total == 0) return count;
  if (!buffer) return 0;
  auto *bytes = static_cast<uint8_t *>(buffer);
  errno = 0;
  for (uint64_t done = 0; done < total;) {
    const auto piece = static_cast<int32_t>(std::min(total - done, kPiece));
    if (q7_readsocket(&s, q7::active_socket(s), bytes + done, piece) != piece) {
      s.flags |= accepted ? q7::kStreamAcceptedDead : q7::kStreamDead;
      q7::set_error(s);
      return 0;
    }
    done += static_cast<uint64_t>(piece);
  }
  return count;
}

uint64_t q7sk_write_stream(Q7Stream &s, const void *buffer, uint64_t size, uint64_t count) {
  uint64_t total;
  if (__builtin_mul_overflow(size, count, &total)) return 0;
  if (total == 0) return count;
  if (!buffer) return 0;
  const auto *bytes = static_cast<const uint8_t *>(buffer);
  errno = q7::active_socket(s) < 0 ? EBADF : 0;
  bool written = errno == 0;
  for (uint64_t done = 0; written && done < total; done += kPiece) {
    const auto piece = static_cast<int32_t>(std::min(total - done, kPiece));
    written = q7_writesocket(&s, q7::active_socket(s), bytes + done, piece) != 0;
  }
  if (written) return count;
  s.failed = true;
  q7::set_error(s);
  return 0;
}

}  // namespace

void q7::free_buffers(Q7Stream &s) {
  Q7FreeMem(s.read_buffer, 0);
  Q7FreeMem(s.write_buffer, 0);
  Q7FreeMem(s.packing_buffer, 0);
  Q7FreeMem(s.scratch, 0);
  s.read_buffer = s.write_buffer = s.packing_buffer = s.scratch = nullptr;
  s.read_capacity = s.write_capacity = s.packing_capacity = 0;
  s.filled = s.position = s.used = 0;
}

int q7::wait_socket(int32_t socket, short events, int64_t timeout_ms) {
  const int64_t deadline = now_ms() + timeout_ms;
  int64_t left = timeout_ms;
  for (;;) {
    pollfd descriptor = {socket, events, 0};
    errno = 0;
    // A negative descriptor would be waited for without end of use.
    const int ready = socket < 0 ? (errno = EBADF, -1) : poll(&descriptor, 1, static_cast<int>(left));
    if (ready > 0) return 1;
    if (ready == 0) {
      errno = ETIMEDOUT;
      return 0;
    }
    if (errno != EINTR) return -1;
    if (q7broken_pipe()) {
      errno = EINTR;
      return -1;
    }
    left = std::max<int64_t>(deadline - now_ms(), 0);
  }
}

q7::PipeGuard::PipeGuard(bool needed) {
  if (!needed) return;
  sigset_t set;
  sigset_t old;
  sigpending(&set);
  if (sigismember(&set, SIGPIPE)) return;  // held back already, and not by us
  sigemptyset(&set);
  sigaddset(&set, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &set, &old);
  active_ = !sigismember(&old, SIGPIPE);
}

q7::PipeGuard::~PipeGuard() {
  if (!active_) return;
  const int error = errno;
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGPIPE);
  const timespec none = {};
  while (sigtimedwait(&set, nullptr, &none) < 0 && errno == EINTR) {
  }
  pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
  errno = error;
}

uint64_t q7_write(Q7Stream *stream, const void *buffer, uint64_t size, uint64_t count, FILE *file) {
  if (!stream) return 0;
  if (q7::is_socket(*stream)) return q7sk_write_stream(*stream, buffer, size, count);
  if (!size || !count) return 0;
  uint64_t written = 0;
  errno = file ? 0 : EBADF;
  if (file && buffer) {
    q7::PipeGuard guard(stream->pipe);
    written = fwrite_unlocked(buffer, size, count, file);
  }
  if (written < count) {
    stream->failed = true;
    q7::set_error(*stream);
  }
  return written;
}

uint64_t q7_read(Q7Stream *stream, void *buffer, uint64_t size, uint64_t count, FILE *file) {
  if (!stream) return 0;
  if (q7::is_socket(*stream)) return q7sk_read_stream(*stream, buffer, size, count);
  if (!size || !count) return 0;
  errno = file ? 0 : EBADF;
  const uint64_t read = file && buffer ? fread_unlocked(buffer, size, count, file) : 0;
  if (read < count) q7::set_error(*stream);
  return read;
}

int32_t q7_flushsocket(Q7Stream *stream) {
  if (!stream || !q7::is_socket(*stream)) return 0;
  Q7Stream &s = *stream;
  if (s.used == 0) return s.failed ? -1 : 0;
  const int32_t waiting = s.used;
  if (!q7_flush_socket(&s, q7::active_socket(s))) {
    q7::set_error(s);
    return -1;
  }
  return s.failed ? -1 : waiting;
}

int32_t q7_writesocket(Q7Stream *stream, int32_t socket, const void *data, int32_t n) {
  if (!stream || !q7sk_write_buffers(*stream)) return 0;
  Q7Stream &s = *stream;
  if (n < 1) return 1;
  if (!data) return 0;
  const auto *bytes = static_cast<const uint8_t *>(data);
  for (;;) {
    const int32_t piece = std::min(n, s.write_capacity - s.used);
    std::memcpy(s.write_buffer + s.used, bytes, static_cast<size_t>(piece));
    s.used += piece;
    bytes += piece;
    n -= piece;
    // A buffer that could not be sent earlier is still full.
    if (s.used == s.write_capacity && !q7_flush_socket(&s, socket)) return 0;
    if (n == 0) return 1;
  }
}

int32_t q7_flush_socket(Q7Stream *stream, int32_t socket) {
  if (!stream) return 0;
  Q7Stream &s = *stream;
  if (s.used == 0) return 1;
  if (s.broken) {
    s.used = 0;
    errno = EPIPE;
    return 0;
  }
  const auto used = static_cast<uint32_t>(s.used);
  int32_t sent = 0;
  uint32_t packed = Q7SOCKET_PACKED;
  if (Q7Compress(s.packing_buffer + Q7SOCKET_HEADER, &packed, s.write_buffer, used) == 1) {
    q7sk_put_header(s.packing_buffer, packed, true);
    s.used = 0;
    if (q7sk_send(socket, s.packing_buffer, static_cast<int32_t>(Q7SOCKET_HEADER + packed), sent)) return 1;
    s.failed = s.broken = true;
    return 0;
  }
  q7sk_put_header(s.packing_buffer, used, false);
  if (!q7sk_send(socket, s.packing_buffer, Q7SOCKET_HEADER, sent)) {
    // Nothing went out: the bytes wait for another attempt.
    if (sent) s.failed = s.broken = true;
    return 0;
  }
  s.used = 0;
  if (q7sk_send(socket, s.write_buffer, static_cast<int32_t>(used), sent)) return 1;
  s.failed = s.broken = true;
  return 0;
}

int32_t q7_readsocket(Q7Stream *stream, int32_t socket, void *data, int32_t n) {
  if (!stream || !q7sk_read_buffers(*stream) || n < 1 || !data) return 0;
  Q7Stream &s = *stream;
  auto *bytes = static_cast<uint8_t *>(data);
  for (int32_t done = 0; done < n;) {
    if (s.position >= s.filled && !q7sk_next_block(s, socket, n)) return 0;
    const int32_t piece = std::min(n - done, s.filled - s.position);
    std::memcpy(bytes + done, s.read_buffer + s.position, static_cast<size_t>(piece));
    s.position += piece;
    done += piece;
  }
  return n;
}

int32_t q7_write_socket(int32_t socket, const void *data, int32_t n) {
  if (n < 1) return 1;
  int32_t sent;
  return data && q7sk_send(socket, data, n, sent);
}

int32_t q7_read_socket(int32_t socket, void *data, int32_t n) {
  if (n < 1) return 1;
  if (!data) return 0;
  auto *bytes = static_cast<char *>(data);
  const int64_t timeout = q7::socket_timeout_ms();
  int64_t deadline = q7::now_ms() + timeout;
  for (int32_t received = 0; received < n;) {
    if (q7::wait_socket(socket, POLLIN, timeout) != 1) return 0;
    errno = 0;
    const ssize_t moved = recv(socket, bytes + received, static_cast<size_t>(n - received), MSG_DONTWAIT);
    if (moved > 0) {
      received += static_cast<int32_t>(moved);
      deadline = q7::now_ms() + timeout;
    } else if (moved == 0 || q7sk_failed(deadline) == Failure::kGiveUp) {
      return 0;
    }
  }
  return 1;
}

int32_t q7broken_pipe(void) { return q7::send(Q7FindTask(0), kLastSignalMethod) == SIGPIPE; }

int32_t setdefsockopts(int32_t socket) {
  const int size = Q7SOCKET_BLOCK;
  const int on = 1;
  bool accepted = setsockopt(socket, SOL_SOCKET, SO_SNDBUF, &size, sizeof size) == 0;
  accepted &= setsockopt(socket, SOL_SOCKET, SO_RCVBUF, &size, sizeof size) == 0;
  accepted &= setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on) == 0;
  accepted &= setsockopt(socket, IPPROTO_TCP, TCP_QUICKACK, &on, sizeof on) == 0;
  return accepted;
}
