// q7file: the file class. Its instance data (stream.hpp) owns one open disk file or the sockets and buffers of one
// connection; opening is in q7fileopen, moving bytes in q7socket, requests that need no object in q7fcm. The class owns
// the socket time-out, the only thing that several threads share.
#include "io/q7file.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>

#include "app/q7errdb.h"
#include "core/classdef.hpp"
#include "core/q7memory.h"
#include "core/q7root.h"
#include "core/q7typeid.h"
#include "core/report.hpp"
#include "io/fcm.hpp"
#include "io/resolve.hpp"
#include "io/stream.hpp"

namespace {

constexpr char kModule[] = "q7file";
constexpr int32_t kDefaultTimeout = 60;     // seconds
constexpr int32_t kDefaultTextRoom = 1024;  // of read string and read line
constexpr size_t kErrorTextSize = 512;      // room of an error text's buffer
constexpr size_t kLongestCounted = 0xFFFF;  // bytes of a counted text, zero included
constexpr int kMostDestinations = 10;       // of formatted read

std::atomic<int32_t> timeout_seconds{kDefaultTimeout};

Q7LocaleEntry file_strings[q7::kFileStringCount] = {
    {"StartupError", "Startup error: %s\n", 0},
    {"DeadSocket", "FATAL ERROR, attemp to read dead accepted socket", 0},
    {"SocketTimeout", "Error: socket timeout", 0},
    {"TellSocket", "Q7FM_TELL with a socket", 0},
    {"NotSupported", "not supported in file", 0},
    {"TooManyParameters", "Too many parameters", 0},
    {"TooFewParameters", "Too few parameters", 0},
    {"ScanSocket", "Formatted read with a socket", 0},
    {"TextTooLong", "Text too long to be stored with its length", 0},
    {"ClassDescription", "Files and sockets", 0},
};

// 5506 stands twice: the second registration replaces the text by itself.
constexpr struct {
  int32_t id;
  const char *text;
} kErrors[] = {
    {Q7FE_NONE, "No error"},
    {Q7FE_NOT_FOUND, "No such file or directory"},
    {Q7FE_PERMISSION, "Permission denied for file or directory"},
    {Q7FE_DIRECTORY, "Can not open a directory"},
    {Q7FE_READ_ONLY, "Can not write on a read only file system"},
    {Q7FE_TRUNCATED, "File seems to be truncated"},
    {Q7FE_TOO_BIG, "File is getting too big"},
    {Q7FE_TOO_BIG, "File is getting too big"},
    {Q7FE_DISK_FULL, "No more space left on disk"},
    {Q7FE_UNKNOWN, "Unknown system error"},
    {Q7FE_TIMEOUT, "Timeout"},
};

constexpr Q7PublicAttribute file_attributes[] = {
    {"SocketTimeout", Q7A_FILE_TIMEOUT, Q7TID_INT, Q7PAF_READ_ONLY, {}, 0, {}},
    {nullptr, 0, 0, 0, {}, 0, {}},
};

// Results that C calls answer as int: -1 keeps all its bits.
uint64_t q7fl_int(int64_t value) { return static_cast<uint64_t>(value); }

template <class T>
T q7fl_argument(Q7TagItem *tags, uint32_t tag, uint64_t fallback) {
  return q7::as<T>(Q7TagVal(tags, tag, fallback));
}

// ---- Blocks and items ----

// The object's own room of a block that is read without a buffer. On a disk stream nothing else uses the read buffer;
// on a connection it holds the current block.
void *q7fl_own_room(Q7Stream &s, int64_t length) {
  if (length > Q7SOCKET_BLOCK) {
    errno = EFBIG;
    q7::set_error(s);
    return nullptr;
  }
  uint8_t *&room = q7::is_socket(s) ? s.scratch : s.read_buffer;
  if (!room) room = static_cast<uint8_t *>(Q7AllocMem(Q7SOCKET_BLOCK, Q7MEM_CLEAR));
  if (room && !q7::is_socket(s)) s.read_capacity = Q7SOCKET_BLOCK;
  return room;
}

void q7fl_store_count(Q7TagItem *tags, uint64_t count) {
  auto *address = q7fl_argument<int32_t *>(tags, Q7A_FILE_COUNT, 0);
  if (address) *address = static_cast<int32_t>(std::min<uint64_t>(count, INT32_MAX));
}

uint64_t q7fl_read_block(Q7Stream &s, Q7TagItem *tags) {
  const auto length = q7fl_argument<int64_t>(tags, Q7A_FILE_LENGTH, 0);
  auto *buffer = q7fl_argument<void *>(tags, Q7A_FILE_BUFFER, 0);
  q7fl_store_count(tags, 0);
  if (length < 0) return 0;
  if (!buffer && !(buffer = q7fl_own_room(s, length))) return 0;
  const auto wanted = static_cast<uint64_t>(length);
  const uint64_t count = q7_read(&s, buffer, 1, wanted, s.file);
  q7fl_store_count(tags, count);
  return count == wanted;
}

uint64_t q7fl_write_block(Q7Stream &s, Q7TagItem *tags) {
  const auto length = q7fl_argument<int64_t>(tags, Q7A_FILE_LENGTH, 0);
  const auto *data = q7fl_argument<const void *>(tags, Q7A_FILE_BUFFER, 0);
  q7fl_store_count(tags, 0);
  if (length < 0 || (length > 0 && !data)) return 0;
  const auto wanted = static_cast<uint64_t>(length);
  const uint64_t count = q7_write(&s, data, 1, wanted, s.file);
  q7fl_store_count(tags, count);
  return count == wanted;
}

template <int N>
uint64_t q7fl_read_value(Q7Stream &s, void *address) {
  return address && q7::read_value<N>(s, address);
}

template <class T>
uint64_t q7fl_write_value(Q7Stream &s, T value) {
  return q7::write_value<sizeof(T)>(s, &value);
}

uint64_t q7fl_write_double(Q7Stream &s, const void *address) { return address && q7::write_value<8>(s, address); }

uint64_t q7fl_read_items(Q7Stream &s, uint64_t size, uint64_t count, void *buffer) {
  uint64_t total;
  if (!buffer || __builtin_mul_overflow(size, count, &total)) return 0;
  return q7_read(&s, buffer, size, count, s.file);
}

uint64_t q7fl_write_items(Q7Stream &s, uint64_t size, uint64_t count, const void *buffer) {
  uint64_t total;
  if (!buffer || __builtin_mul_overflow(size, count, &total)) return 0;
  return q7_write(&s, buffer, size, count, s.file);
}

// ---- Characters and texts ----

int q7fl_get(Q7Stream &s) {
  uint8_t byte;
  if (q7::is_socket(s)) return q7_read(&s, &byte, 1, 1, nullptr) == 1 ? byte : EOF;
  if (!s.file) return EOF;
  errno = 0;
  const int c = getc_unlocked(s.file);
  if (c == EOF && ferror_unlocked(s.file)) q7::set_error(s);
  return c;
}

uint64_t q7fl_put(Q7Stream &s, int character) {
  const auto byte = static_cast<uint8_t>(character);
  return q7fl_int(q7::write_value<1>(s, &byte) ? byte : EOF);
}

// Bytes of a text's buffer; what a count of 32 bits cannot reach is not used.
int32_t q7fl_text_room(Q7TagItem *tags) {
  const auto room = q7fl_argument<int64_t>(tags, Q7A_FILE_LENGTH, kDefaultTextRoom);
  return static_cast<int32_t>(std::clamp<int64_t>(room, 0, INT32_MAX));
}

// Whether the next byte is there without waiting and is the zero that ends a text; it is then taken.
bool q7fl_take_zero(Q7Stream &s) {
  if (q7::is_socket(s)) {
    if (s.position >= s.filled || s.read_buffer[s.position]) return false;
    ++s.position;
    return true;
  }
  const int c = q7fl_get(s);
  if (c == 0) return true;
  if (c != EOF) ungetc(c, s.file);
  return false;
}

uint64_t q7fl_read_string(Q7Stream &s, Q7TagItem *tags) {
  auto *buffer = q7fl_argument<char *>(tags, Q7A_FILE_BUFFER, 0);
  const int32_t room = q7fl_text_room(tags);
  if (!buffer || room < 1) return 0;
  int32_t count = 0;
  for (int c; count < room - 1; buffer[count++] = static_cast<char>(c)) {
    c = q7fl_get(s);
    if (c > 0) continue;
    if (c == EOF) s.error = Q7FE_TRUNCATED;
    buffer[count] = 0;
    return static_cast<uint64_t>(count);
  }
  buffer[count] = 0;
  // A text that fits exactly takes its zero with it; of a longer one the rest stays to be read.
  q7fl_take_zero(s);
  return static_cast<uint64_t>(count);
}

uint64_t q7fl_read_line(Q7Stream &s, Q7TagItem *tags) {
  auto *buffer = q7fl_argument<char *>(tags, Q7A_FILE_BUFFER, 0);
  const int32_t room = q7fl_text_room(tags);
  if (!buffer || room < 1) return 0;
  if (!q7::is_socket(s)) {
    if (!s.file) return 0;
    errno = 0;
    char *line = std::fgets(buffer, room, s.file);
    if (!line && std::ferror(s.file)) q7::set_error(s);
    return q7::arg(line);
  }
  int32_t count = 0;
  while (count < room - 1) {
    const int c = q7fl_get(s);
    if (c == EOF) {
      if (count == 0) return 0;
      break;
    }
    buffer[count++] = static_cast<char>(c);
    if (c == '\n') break;
  }
  buffer[count] = 0;
  return q7::arg(buffer);
}

uint64_t q7fl_write_string(Q7Object *self, const char *text) {
  if (!text) text = "";
  const size_t size = std::strlen(text) + 1;
  if (size > INT32_MAX) return 0;
  Q7TagItem block[] = {{Q7A_FILE_BUFFER, q7::arg(text)}, {Q7A_FILE_LENGTH, size}, {Q7TAG_END, 0}};
  return q7::send(self, Q7M_FILE_WRITE, 0, 0, block);
}

uint64_t q7fl_write_text(Q7Stream &s, const char *text) {
  if (!text) return 0;
  const size_t length = std::strlen(text);
  return q7_write(&s, text, 1, length, s.file) == length && (length || q7::is_socket(s) || s.file);
}

uint64_t q7fl_write_counted(Q7Object *self, const char *text) {
  if (!text) text = "";
  const size_t size = std::strlen(text) + 1;
  if (size > kLongestCounted) {
    Q7_REPORT_ERROR(kModule, "%s", q7::file_string(q7::kTextTooLong));
    return 0;
  }
  if (!q7::send(self, Q7M_FILE_WRITE16, 0, 0, q7::slot(size))) return 0;
  Q7TagItem block[] = {{Q7A_FILE_BUFFER, q7::arg(text)}, {Q7A_FILE_LENGTH, size}, {Q7TAG_END, 0}};
  return q7::send(self, Q7M_FILE_WRITE, 0, 0, block) != 0;
}

uint64_t q7fl_read_counted(Q7Object *self, uint64_t room, char *buffer) {
  if (!buffer) return 0;
  uint16_t size = 0;
  buffer[0] = 0;
  if (!q7::send(self, Q7M_FILE_READ16, 0, 0, q7::slot(&size))) return 0;
  if (size < 1 || (room && size > room)) return 0;
  Q7TagItem block[] = {{Q7A_FILE_BUFFER, q7::arg(buffer)}, {Q7A_FILE_LENGTH, size}, {Q7TAG_END, 0}};
  const bool read = q7::send(self, Q7M_FILE_READ, 0, 0, block) != 0;
  const bool ended = buffer[size - 1] == 0;
  buffer[size - 1] = 0;
  return read && ended;
}

// ---- Formatted reading ----

// One conversion of the format; the text stands behind its "%". Answers how many destinations the format has use for
// up to and with this one.
int q7fl_scan_conversion(const char *&p, int used) {
  int position = 0;
  const char *start = p;
  while (*p >= '0' && *p <= '9') position = std::min(position * 10 + (*p++ - '0'), 1000);
  if (*p == '$') {
    ++p;
  } else {
    position = 0;
    p = start;
  }
  bool stored = true;
  for (; *p && std::strchr("*'I0123456789", *p); ++p) stored &= *p != '*';
  while (*p && std::strchr("mhlLqjzt", *p)) ++p;
  if (*p == '[') {
    ++p;
    if (*p == '^') ++p;
    if (*p == ']') ++p;
    while (*p && *p != ']') ++p;
  }
  const bool percent = *p == '%';
  if (*p) ++p;
  if (percent || !stored) return used;
  return position ? std::max(used, position) : used + 1;
}

int q7fl_scan_uses(const char *format) {
  int used = 0;
  while ((format = std::strchr(format, '%'))) {
    ++format;
    used = q7fl_scan_conversion(format, used);
  }
  return used;
}

uint64_t q7fl_scan(Q7Stream &s, const char *format, Q7TagItem *tags) {
  if (q7::is_socket(s)) {
    Q7_REPORT_ERROR(kModule, "%s", q7::file_string(q7::kScanSocket));
    return 0;
  }
  if (!format || !s.file) return 0;
  void *to[kMostDestinations] = {};
  int count = 0;
  for (const Q7TagItem &item : q7::tags(tags)) {
    if (item.tag != Q7A_FILE_DESTINATION) continue;
    if (count == kMostDestinations) {
      Q7_REPORT_ERROR(kModule, "%s", q7::file_string(q7::kTooManyParameters));
      return 0;
    }
    to[count++] = q7::value<void *>(item);
  }
  const int used = q7fl_scan_uses(format);
  if (used > count || std::count(to, to + used, nullptr)) {
    Q7_REPORT_ERROR(kModule, "%s", q7::file_string(q7::kTooFewParameters));
    return 0;
  }
  errno = 0;
  const int read = std::fscanf(s.file, format, to[0], to[1], to[2], to[3], to[4], to[5], to[6], to[7], to[8], to[9]);
  if (std::ferror(s.file)) q7::set_error(s);
  return q7fl_int(read);
}

// ---- Position, flushing, waiting ----

uint64_t q7fl_seek(Q7Stream &s, Q7TagItem *tags) {
  if (q7::is_socket(s)) return 0;
  const auto offset = q7fl_argument<int64_t>(tags, Q7A_FILE_OFFSET, 0);
  const auto origin = q7fl_argument<int32_t>(tags, Q7A_FILE_ORIGIN, SEEK_SET);
  errno = EBADF;
  if (s.file) {
    q7::PipeGuard guard(s.pipe);
    errno = 0;
    if (fseeko(s.file, offset, origin) == 0) return 0;
    // Moving writes out what is buffered. Unless the place itself was impossible, that is what went wrong.
    if (errno != EINVAL && errno != ESPIPE && errno != EOVERFLOW) s.failed = true;
  }
  q7::set_error(s);
  return q7fl_int(-1);
}

uint64_t q7fl_tell(const Q7Stream &s) {
  if (q7::is_socket(s)) {
    Q7_REPORT_ERROR(kModule, "%s", q7::file_string(q7::kTellSocket));
    return 0;
  }
  return q7fl_int(s.file ? ftello(s.file) : -1);
}

uint64_t q7fl_flush(Q7Stream &s) {
  if (q7::is_socket(s)) return q7fl_int(q7_flushsocket(&s) < 0 ? -1 : 0);
  errno = EBADF;
  if (s.file) {
    q7::PipeGuard guard(s.pipe);
    errno = 0;
    if (fflush_unlocked(s.file) == 0) return q7fl_int(s.failed ? -1 : 0);
    s.failed = true;
  }
  q7::set_error(s);
  return q7fl_int(-1);
}

uint64_t q7fl_has_error(const Q7Stream &s) {
  if (q7::is_socket(s)) return q7::is_dead(s);
  return s.file ? q7fl_int(std::ferror(s.file)) : 0;
}

uint64_t q7fl_wait(Q7Stream &s, bool writable) {
  if (!q7::is_socket(s)) return 0;
  if (!writable && s.position < s.filled) return 1;
  const int ready = q7::wait_socket(q7::active_socket(s), writable ? POLLOUT : POLLIN, q7::socket_timeout_ms());
  if (ready != 1) q7::set_error(s);
  return q7fl_int(ready);
}

uint64_t q7fl_accept(Q7Stream &s) {
  if (q7::accept_connection(s)) return 1;
  q7::set_error(s);
  return 0;
}

// ---- Error texts ----

// The conversion that stands at `text`, a "%": formats the argument and answers the characters of the conversion, or 0
// when it is none that takes a text, an integer or a character.
size_t q7fl_convert(char *to, size_t room, const char *text, uint64_t argument) {
  const char *p = text + 1;
  p += std::strspn(p, "-+ #0");
  const size_t width = std::strspn(p, "0123456789");
  p += width;
  size_t precision = 0;
  if (*p == '.') precision = std::strspn(++p, "0123456789");
  p += precision;
  const char *length = p;
  p += std::strspn(p, "hljzt");
  const auto head = static_cast<size_t>(length - text);
  char form[24];
  if (!*p || !std::strchr("sdiuxXoc", *p) || width > 3 || precision > 3 || head + 4 > sizeof form) return 0;
  const bool wide = p != length && *length != 'h' && *p != 's' && *p != 'c';
  std::memcpy(form, text, head);
  std::snprintf(form + head, sizeof form - head, "%s%c", wide ? "ll" : "", *p);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  if (*p == 's') {
    std::snprintf(to, room, form, argument ? q7::as<const char *>(argument) : "");
  } else if (wide) {
    std::snprintf(to, room, form, static_cast<unsigned long long>(argument));
  } else {
    std::snprintf(to, room, form, static_cast<unsigned>(argument));
  }
#pragma GCC diagnostic pop
  return static_cast<size_t>(p - text) + 1;
}

// Formats an error text with its one argument. Texts come from whoever registered them, so they are not handed to
// printf: the first conversion takes the argument, "%%" is a percent sign, all else stands as it is.
void q7fl_format(char *buffer, size_t size, const char *text, uint64_t argument) {
  size_t used = 0;
  bool taken = false;
  while (*text && used < size - 1) {
    if (text[0] == '%' && !taken) {
      if (const size_t read = q7fl_convert(buffer + used, size - used, text, argument)) {
        used += std::strlen(buffer + used);
        text += read;
        taken = true;
        continue;
      }
    }
    buffer[used++] = *text;
    text += text[0] == '%' && text[1] == '%' ? 2 : 1;
  }
  buffer[used] = 0;
}

uint64_t q7fl_error_text(int32_t id, char *buffer, uint64_t argument) {
  if (!buffer) return 0;
  buffer[0] = 0;
  const auto *text = q7::as<const char *>(q7::send(Q7ClassFind(Q7C_ERRDB), Q7M_ERRDB_LOOKUP, 0, 0, q7::slot(id)));
  if (!text) return 0;
  q7fl_format(buffer, kErrorTextSize, text, argument);
  return 1;
}

// ---- Creation, disposal, attributes ----

uint64_t q7fl_new(Q7Class *cl, Q7Object *receiver, uint64_t a, uint64_t b, Q7TagItem *tags) {
  auto *obj = q7::as<Q7Object *>(q7::inherit(cl, receiver, Q7M_NEW, a, b, tags));
  if (!obj) return 0;
  return q7::open_object(cl, obj, tags, true, a) ? q7::arg(obj) : 0;
}

uint64_t q7fl_dispose(Q7Class *cl, Q7Object *obj, uint64_t a, uint64_t b, Q7TagItem *tags) {
  const bool written = q7::close_stream(q7::data<Q7Stream>(cl, obj));
  const uint64_t disposed = q7::inherit(cl, obj, Q7M_DISPOSE, a, b, tags);
  return written ? disposed : 0;
}

uint64_t q7fl_delete(Q7Stream &s, Q7Object *obj, uint64_t allocator) {
  const bool disk = !q7::is_socket(s) && s.name[0];
  q7::close_stream(s);
  if (disk) unlink(s.name);
  q7::send(obj, Q7M_DISPOSE, allocator);
  return 0;
}

// A copy does not share the open file or connection, which one of the two would close under the other: it is a closed
// stream.
uint64_t q7fl_copy(Q7Class *cl, Q7Object *obj, uint64_t a, uint64_t b, Q7TagItem *tags) {
  auto *copy = q7::as<Q7Object *>(q7::inherit(cl, obj, Q7M_COPY, a, b, tags));
  if (!copy) return 0;
  auto &s = q7::data<Q7Stream>(cl, copy);
  s = Q7Stream{};
  s.socket = s.accepted = s.connect_seconds = -1;
  return q7::arg(copy);
}

bool q7fl_get_attribute(Q7Stream &s, const Q7TagItem &item) {
  switch (item.tag) {
    case Q7A_FILE_ERROR: return q7::store<int32_t>(item, s.error);
    case Q7A_FILE_NAME: return q7::store<const char *>(item, s.name);
    case Q7A_FILE_MODE: return q7::store<const char *>(item, s.mode);
    case Q7A_FILE_BUFFER: return q7::store<const void *>(item, q7::is_socket(s) ? s.scratch : s.read_buffer);
    case Q7A_FILE_PORT: return q7::store<int32_t>(item, q7::local_port(s));
    case Q7A_FILE_TIMEOUT: return q7::store<int32_t>(item, timeout_seconds);
    case Q7A_FILE_PEER: return q7::store<const char *>(item, s.peer);
    case Q7A_FILE_SYSTEM_ERROR: return q7::store<int32_t>(item, s.system_error);
    case Q7A_FILE_DEAD: return q7::store<int32_t>(item, q7::is_socket(s) && q7::is_dead(s));
    default: return false;
  }
}

bool q7fl_class_attribute(uint32_t method, const Q7TagItem &item) {
  if (item.tag != Q7A_FILE_TIMEOUT) return false;
  if (method == Q7M_GETCLASSATTRS) return q7::store<int32_t>(item, timeout_seconds);
  timeout_seconds = std::max(q7::value<int32_t>(item), 0);
  return true;
}

uint64_t q7fl_class_attributes(Q7Class *cl, Q7Object *receiver, uint32_t method, Q7TagItem *list) {
  uint64_t unknown = 0;
  for (Q7TagItem &item : q7::tags(list)) {
    if (q7fl_class_attribute(method, item)) continue;
    Q7TagItem single[2] = {item, {Q7TAG_END, 0}};
    if (q7::inherit(cl, receiver, method, 0, 0, single)) unknown = q7::arg(&item);
  }
  return unknown;
}

extern const q7::ClassDef file_class;

uint64_t q7fl_class_free(Q7Class *cl, Q7Object *obj, uint64_t a, uint64_t b, Q7TagItem *tags) {
  if (&cl->header == obj) timeout_seconds = kDefaultTimeout;
  return q7::class_free(file_class, cl, obj, a, b, tags);
}

uint64_t q7fl_not_supported() {
  Q7_REPORT_ERROR(kModule, "%s", q7::file_string(q7::kNotSupported));
  return 0;
}

// What the class record answers, and what every receiver hands on to the root class.
uint64_t q7fl_class_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  uint64_t result;
  if (q7::file_system_request(method, a, tags, result)) return result;
  switch (method) {
    case Q7M_NEW: return q7fl_new(cl, obj, a, b, tags);
    case Q7M_SETCLASSATTRS:
    case Q7M_GETCLASSATTRS: return q7fl_class_attributes(cl, obj, method, tags);
    case Q7M_CLASS_FREE: return q7fl_class_free(cl, obj, a, b, tags);
    case Q7M_COLLECT_TABLES:
    case Q7M_NAME_OF_TAG:
    case Q7M_ROW_BY_NAME:
    case Q7M_ROW_BY_TAG:
    case Q7M_TAG_BY_NAME: return q7::public_attributes(file_attributes, cl, obj, method, a, b, tags);
    default: return q7::inherit(cl, obj, method, a, b, tags);
  }
}

uint64_t q7fl_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  if (!obj) return 0;
  if (&obj->cl->header == obj) {
    // Methods of objects find no stream behind a class record.
    if (method >= Q7M_FILE_READ && method <= Q7M_FILE_EXISTS) {
      uint64_t result = 0;
      q7::file_system_request(method, a, tags, result);
      return result;
    }
    return q7fl_class_dispatch(cl, obj, method, a, b, tags);
  }
  auto &s = q7::data<Q7Stream>(cl, obj);
  auto *address = q7::slot_as<void *>(tags);
  auto *text = q7::slot_as<char *>(tags);
  switch (method) {
    case Q7M_DISPOSE: return q7fl_dispose(cl, obj, a, b, tags);
    case Q7M_GET: return q7::get_attributes<Q7Stream>(cl, obj, tags, q7fl_get_attribute);
    case Q7M_COPY: return q7fl_copy(cl, obj, a, b, tags);
    case Q7M_FILE_READ: return q7fl_read_block(s, tags);
    case Q7M_FILE_READ32:
    case Q7M_FILE_READ32_B: return q7fl_read_value<4>(s, address);
    case Q7M_FILE_READ16: return q7fl_read_value<2>(s, address);
    case Q7M_FILE_READ_DOUBLE:
    case Q7M_FILE_READ64: return q7fl_read_value<8>(s, address);
    case Q7M_FILE_READ_STRING: return q7fl_read_string(s, tags);
    case Q7M_FILE_WRITE: return q7fl_write_block(s, tags);
    case Q7M_FILE_WRITE32:
    case Q7M_FILE_WRITE32_B: return q7fl_write_value(s, q7::slot_as<uint32_t>(tags));
    case Q7M_FILE_WRITE16: return q7fl_write_value(s, q7::slot_as<uint16_t>(tags));
    case Q7M_FILE_WRITE_DOUBLE: return q7fl_write_double(s, address);
    case Q7M_FILE_WRITE_STRING: return q7fl_write_string(obj, text);
    case Q7M_FILE_SEEK: return q7fl_seek(s, tags);
    case Q7M_FILE_DELETE: return q7fl_delete(s, obj, a);
    case Q7M_FILE_TELL: return q7fl_tell(s);
    case Q7M_FILE_READ_LINE: return q7fl_read_line(s, tags);
    case Q7M_FILE_SCAN: return q7fl_scan(s, q7::as<const char *>(a), tags);
    case Q7M_FILE_FLUSH: return q7fl_flush(s);
    case Q7M_FILE_HAS_ERROR: return q7fl_has_error(s);
    case Q7M_FILE_PUT: return q7fl_put(s, q7::slot_int(tags));
    case Q7M_FILE_READ_ITEMS: return q7fl_read_items(s, a, b, address);
    case Q7M_FILE_WRITE_ITEMS: return q7fl_write_items(s, a, b, address);
    case Q7M_FILE_GET: return q7fl_int(q7fl_get(s));
    case Q7M_FILE_WRITE_TEXT: return q7fl_write_text(s, text);
    case Q7M_FILE_ERROR_TEXT: return q7fl_error_text(q7::as<int32_t>(a), q7::as<char *>(b), q7::arg(address));
    case Q7M_FILE_ACCEPT: return q7fl_accept(s);
    case Q7M_FILE_CLOSE_ACCEPTED: return q7::close_accepted(s);
    case Q7M_FILE_WRITE8: return q7fl_write_value(s, q7::slot_as<uint8_t>(tags));
    case Q7M_FILE_READ8: return q7fl_read_value<1>(s, address);
    case Q7M_FILE_OPEN: return q7::open_object(cl, obj, tags, false, 0);
    case Q7M_FILE_CLOSE: return q7::close_stream(s);
    case Q7M_FILE_WRITE64: return q7fl_write_value(s, q7::slot_as<uint64_t>(tags));
    case Q7M_FILE_WAIT: return q7fl_wait(s, a != 0);
    case Q7M_FILE_WRITE_SIZE:
    case Q7M_FILE_READ_SIZE: return q7fl_not_supported();
    case Q7M_FILE_WRITE_COUNTED: return q7fl_write_counted(obj, text);
    case Q7M_FILE_READ_COUNTED: return q7fl_read_counted(obj, a, text);
    case Q7M_FILE_EXISTS: return !q7::is_socket(s) && q7fcm_exists(cl, method, s.name);
    default: return q7fl_class_dispatch(cl, obj, method, a, b, tags);
  }
}

int32_t q7fl_register_bases(Q7App *app) { return Q7RegisterRootClass(app) && Q7RegisterErrorDatabaseClass(app); }

const q7::ClassDef file_class = {.id = Q7C_FILE,
                                 .name = "q7file",
                                 .dispatch = q7fl_dispatch,
                                 .size = sizeof(Q7Stream),
                                 .needs = q7fl_register_bases,
                                 .strings = file_strings,
                                 .string_count = q7::kFileStringCount,
                                 .attributes = file_attributes,
                                 .description_string = q7::kFileDescription};

// errno to error id; everything that is not listed is unknown.
int32_t q7fl_error_of(int error, bool socket) {
  switch (error) {
    case ENOENT: return Q7FE_NOT_FOUND;
    case EIO: return Q7FE_TRUNCATED;
    case EACCES: return Q7FE_PERMISSION;
    case EISDIR: return Q7FE_DIRECTORY;
    case EFBIG: return Q7FE_TOO_BIG;
    case ENOSPC: return Q7FE_DISK_FULL;
    case EROFS: return Q7FE_READ_ONLY;
    case ETIMEDOUT: return socket ? Q7FE_TIMEOUT : Q7FE_UNKNOWN;
    default: return Q7FE_UNKNOWN;
  }
}

}  // namespace

const char *q7::file_string(FileString entry) {
  const Q7Class *cl = Q7ApplicationContext ? Q7ClassFind(Q7C_FILE) : nullptr;
  return (cl && cl->catalog ? cl->catalog : file_strings)[entry].text;
}

int64_t q7::socket_timeout_ms() { return int64_t{std::min(timeout_seconds.load(), INT32_MAX / 1000)} * 1000; }

void q7::set_error(Q7Stream &s, int32_t *out) {
  s.system_error = errno;
  const int32_t id = q7fl_error_of(errno, is_socket(s));
  // "Unknown" says less than whatever is recorded already.
  if (id != Q7FE_UNKNOWN || !s.error) s.error = id;
  if (out) *out = s.error;
}

int32_t Q7RegisterFileClass(Q7App *app) {
  if (Q7ClassFind(Q7C_FILE)) return 1;
  if (!q7::register_once(app, file_class)) return 0;
  Q7Class *database = Q7ClassFind(Q7C_ERRDB);
  for (const auto &error : kErrors) {
    q7::send(database, Q7M_ERRDB_REGISTER, q7::arg(error.id), 0, q7::slot(error.text));
  }
  return 1;
}
