// q7iff: chunked files. The instance data is the stack of open chunks; each record is allocated when a chunk is begun
// and freed when it is ended or with the object, so nesting is bounded by memory and by nothing else. The top chunk of
// a file that is written is ended at disposal.
#include "io/q7iff.h"

#include <cstdio>
#include <cstring>
#include <utility>

#include "app/q7errdb.h"
#include "core/classdef.hpp"
#include "core/q7memory.h"
#include "core/q7root.h"
#include "core/report.hpp"
#include "io/q7file.h"
#include "io/stream.hpp"

namespace {

constexpr char kModule[] = "q7iff";
constexpr int64_t kLargest32 = 0xFFFFFFFF;
constexpr int64_t kSmallestHeader = 4;  // no chunk begins in fewer bytes than its id takes

// Markers of a size of variable width.
constexpr uint8_t kMarker32 = 4;
constexpr uint8_t kMarker64 = 8;

struct Iff {       // instance data
  Q7List chunks;   // open chunks, the newest at the head
  uint32_t flags;  // k...
};

enum IffFlag : uint32_t {
  kSwap = 1,  // values are stored highest byte first (Q7A_IFF_SWAP)
  kWide = 2,  // sizes have 64 bits (Q7A_IFF_WIDE)
  kTop = 4    // the top chunk was begun at opening and must be ended at disposal
};

struct Chunk {
  Q7Node node;
  int64_t start;  // file position of the first byte of the contents
  int64_t size;   // as read; 0 while writing
};

enum IffString { kNotIff, kNotV4, kCorrupted, kNeeds64Bit, kIffStringCount };
Q7LocaleEntry iff_strings[kIffStringCount] = {
    {"NotIFF", "Format of '%s' not recognized", 0},
    {"NotV4", "Format of '%s' not recognized", 0},
    {"Corrupted", "'%s' file is corrupted", 0},
    {"Needs64Bit", "'%s' file is too large", 0},
};

// What a handler works on: the chunk stack, and the file below it.
struct Handle {
  Q7Class *cl;
  Q7Object *obj;
  Iff &iff;

  Handle(Q7Class *c, Q7Object *o) : cl(c), obj(o), iff(q7::data<Iff>(c, o)) {}
  bool has(IffFlag flag) const { return iff.flags & flag; }
  uint64_t file(uint32_t method, uint64_t a = 0, uint64_t b = 0, Q7TagItem *tags = nullptr) const {
    return q7::inherit(cl, obj, method, a, b, tags);
  }
  template <class T>
  bool read(uint32_t method, T &value) const {
    return file(method, 0, 0, q7::slot(&value)) != 0;
  }
  template <class T>
  bool write(uint32_t method, T value) const {
    return file(method, 0, 0, q7::slot(value)) != 0;
  }
  int64_t tell() const { return static_cast<int64_t>(file(Q7M_FILE_TELL)); }
  bool seek(int64_t offset, int origin) const {
    Q7TagItem tags[] = {{Q7A_FILE_OFFSET, q7::arg(offset)}, {Q7A_FILE_ORIGIN, q7::arg(origin)}, {Q7TAG_END, 0}};
    return file(Q7M_FILE_SEEK, 0, 0, tags) == 0;
  }
  int32_t &error() const { return q7::data<Q7Stream>(cl->super, obj).error; }
};

// The newest open chunk, or null; it stays on the stack.
Chunk *q7if_top(const Iff &iff) {
  return iff.chunks.head && iff.chunks.head->succ ? reinterpret_cast<Chunk *>(iff.chunks.head) : nullptr;
}

// Owns the record that was popped; a null one is reported as what is out of balance.
class Popped {
 public:
  Popped(Iff &iff, const char *unbalanced) : chunk_(q7if_top(iff)) {
    if (chunk_) {
      Q7RemHead(&iff.chunks);
    } else {
      Q7_REPORT_ERROR(kModule, "%s", unbalanced);
    }
  }
  ~Popped() { Q7FreeMem(chunk_, sizeof(Chunk)); }
  Popped(const Popped &) = delete;
  Popped &operator=(const Popped &) = delete;
  explicit operator bool() const { return chunk_ != nullptr; }
  const Chunk *operator->() const { return chunk_; }

 private:
  Chunk *chunk_;
};

Chunk *q7if_push(Iff &iff, int64_t start, int64_t size) {
  auto *chunk = static_cast<Chunk *>(Q7AllocMem(sizeof(Chunk), Q7MEM_CLEAR));
  if (!chunk) return nullptr;
  chunk->start = start;
  chunk->size = size;
  Q7AddHead(&iff.chunks, &chunk->node);
  return chunk;
}

void q7if_free_chunks(Iff &iff) {
  while (Chunk *chunk = q7if_top(iff)) {
    Q7RemHead(&iff.chunks);
    Q7FreeMem(chunk, sizeof(Chunk));
  }
}

// Q7Swap for the widths that values have, which the compiler turns into one instruction: values come one message each.
template <class T>
T q7if_swapped(T value) {
  if constexpr (sizeof(T) == 2) return static_cast<T>(__builtin_bswap16(static_cast<uint16_t>(value)));
  if constexpr (sizeof(T) == 4) return static_cast<T>(__builtin_bswap32(static_cast<uint32_t>(value)));
  if constexpr (sizeof(T) == 8) return static_cast<T>(__builtin_bswap64(static_cast<uint64_t>(value)));
}

// ---- Reading chunks ----

// The size behind an id; false with the error set for one that no reader of 32-bit positions could follow.
bool q7if_read_size(const Handle &h, int64_t &size) {
  if (h.has(kWide)) {
    uint64_t wide;
    if (!h.read(Q7M_FILE_READ64, wide)) return false;
    wide = q7if_swapped(wide);
    if (wide > static_cast<uint64_t>(kLargest32)) {
      h.error() = Q7FE_NEEDS_64;
      return false;
    }
    size = static_cast<int64_t>(wide);
    return true;
  }
  int32_t narrow;
  if (!h.read(Q7M_FILE_READ32, narrow)) return false;
  size = q7if_swapped(narrow);
  if (size >= 0) return true;
  h.error() = Q7FE_CORRUPTED;
  return false;
}

uint64_t q7if_begin_read(const Handle &h, void *id) {
  if (!id) return 0;
  const Chunk *enclosing = q7if_top(h.iff);
  const int64_t position = h.tell();
  if (enclosing && enclosing->size && position - enclosing->start >= enclosing->size - kSmallestHeader) return 0;
  char characters[4];
  if (!h.read(Q7M_FILE_READ32, characters)) return 0;
  std::memcpy(id, characters, sizeof characters);
  if (std::memcmp(characters, "FORM", 4) == 0) {
    h.iff.flags &= ~uint32_t{kWide};
  } else if (std::memcmp(characters, "Q7D8", 4) == 0) {
    h.iff.flags |= kWide;
  }
  int64_t size = 0;
  return q7if_read_size(h, size) && q7if_push(h.iff, h.tell(), size);
}

uint64_t q7if_end_read(const Handle &h) {
  const Popped chunk(h.iff, "Unbalanced BEGINREAD/ENDREAD");
  if (!chunk) return 0;
  int64_t consumed = h.tell() - chunk->start;
  bool padded = true;
  if (consumed & 1) {
    uint8_t pad;
    padded = h.read(Q7M_FILE_READ8, pad);
    ++consumed;
  }
  if (consumed == chunk->size && padded) return 1;
  // A chunk that was read in part counts as corrupted, so that no reader overlooks what it does not know; the next
  // chunk can be read all the same.
  h.seek(chunk->size - consumed, SEEK_CUR);
  h.error() = Q7FE_CORRUPTED;
  return 0;
}

uint64_t q7if_skip(const Handle &h) {
  const Popped chunk(h.iff, "Unbalanced BEGINREAD/SKIP");
  if (!chunk) return 0;
  h.seek(chunk->size - (h.tell() - chunk->start), SEEK_CUR);
  return 1;
}

// ---- Writing chunks ----

uint64_t q7if_begin_write(const Handle &h, uint32_t id) {
  Chunk *chunk = q7if_push(h.iff, 0, 0);
  if (!chunk) return 0;
  if (h.write(Q7M_FILE_WRITE32, id) && h.write(h.has(kWide) ? Q7M_FILE_WRITE64 : Q7M_FILE_WRITE32, uint64_t{0})) {
    chunk->start = h.tell();
    return q7::arg(chunk);
  }
  Q7RemHead(&h.iff.chunks);
  Q7FreeMem(chunk, sizeof(Chunk));
  return 0;
}

bool q7if_patch_size(const Handle &h, int64_t start, int64_t length) {
  if (h.has(kWide)) {
    return h.seek(start - 8, SEEK_SET) && h.write(Q7M_FILE_WRITE64, q7if_swapped(static_cast<uint64_t>(length)));
  }
  if (length > kLargest32) {
    h.error() = Q7FE_NEEDS_64;
    return false;
  }
  return h.seek(start - 4, SEEK_SET) && h.write(Q7M_FILE_WRITE32, q7if_swapped(static_cast<uint32_t>(length)));
}

uint64_t q7if_end_write(const Handle &h) {
  const Popped chunk(h.iff, "Unbalanced BEGINWRITE/ENDWRITE");
  if (!chunk) return 0;
  int64_t position = h.tell();
  if (position < 0) return 0;
  if ((position - chunk->start) & 1) {
    if (!h.write(Q7M_FILE_WRITE8, 0)) return 0;
    ++position;
  }
  const bool patched = q7if_patch_size(h, chunk->start, position - chunk->start);
  return h.seek(position, SEEK_SET) && patched;
}

// ---- Values ----

template <class T>
uint64_t q7if_read_value(const Handle &h, uint32_t method, void *address) {
  const uint64_t result = h.file(method, 0, 0, q7::slot(address));
  if (result && h.has(kSwap)) {
    T value;
    std::memcpy(&value, address, sizeof value);
    value = q7if_swapped(value);
    std::memcpy(address, &value, sizeof value);
  }
  return result;
}

template <class T>
uint64_t q7if_write_value(const Handle &h, uint32_t method, T value) {
  return h.file(method, 0, 0, q7::slot(h.has(kSwap) ? q7if_swapped(value) : value));
}

uint64_t q7if_write_double(const Handle &h, const void *address) {
  if (!address) return 0;
  uint64_t bits;
  std::memcpy(&bits, address, sizeof bits);
  return q7if_write_value(h, Q7M_FILE_WRITE64, bits);
}

// A length in 5 bytes when it fits 32 bits, else in 9.
uint64_t q7if_write_size(Q7Object *self, uint64_t value) {
  const bool narrow = value <= static_cast<uint64_t>(kLargest32);
  return q7::send(self, Q7M_FILE_WRITE8, 0, 0, q7::slot(narrow ? kMarker32 : kMarker64)) &&
         q7::send(self, narrow ? Q7M_FILE_WRITE32 : Q7M_FILE_WRITE64, 0, 0, q7::slot(value));
}

uint64_t q7if_read_size_value(const Handle &h, uint64_t *destination) {
  uint8_t marker = 0;
  if (!destination || !q7::send(h.obj, Q7M_FILE_READ8, 0, 0, q7::slot(&marker))) return 0;
  if (marker > kMarker64) {
    h.error() = Q7FE_TOO_BIG;
    return 0;
  }
  uint64_t wide = 0;
  uint32_t narrow = 0;
  if (marker == kMarker32) {
    if (!q7::send(h.obj, Q7M_FILE_READ32, 0, 0, q7::slot(&narrow))) return 0;
    wide = narrow;
  } else if (!q7::send(h.obj, Q7M_FILE_READ64, 0, 0, q7::slot(&wide))) {
    return 0;
  }
  std::memcpy(destination, &wide, sizeof wide);
  return 1;
}

// ---- Opening and closing ----

bool q7if_block(const Handle &h, uint32_t method, const void *bytes, uint64_t length) {
  Q7TagItem tags[] = {{Q7A_FILE_BUFFER, q7::arg(bytes)}, {Q7A_FILE_LENGTH, length}, {Q7TAG_END, 0}};
  return h.file(method, 0, 0, tags) != 0;
}

bool q7if_is_top(const void *id) { return std::memcmp(id, "FORM", 4) == 0 || std::memcmp(id, "Q7D8", 4) == 0; }

bool q7if_read_header(const Handle &h, void *id, void *form) {
  const int32_t earlier = std::exchange(h.error(), 0);
  char characters[4] = {};
  const bool entered = q7if_begin_read(h, characters) != 0;
  const bool ours = q7if_is_top(characters);
  std::memcpy(id, characters, sizeof characters);
  if (entered && ours && (!form || q7if_block(h, Q7M_FILE_READ, form, 4))) {
    h.error() = earlier;
    return true;
  }
  // A size says something only behind an id that is known.
  const bool size_refused = h.error() == Q7FE_NEEDS_64 || h.error() == Q7FE_CORRUPTED;
  if (!ours || !size_refused) h.error() = Q7FE_NOT_IFF;
  return false;
}

bool q7if_write_header(const Handle &h, const void *id, const void *form) {
  uint32_t characters;
  std::memcpy(&characters, id, sizeof characters);
  if (!q7if_begin_write(h, characters)) return false;
  h.iff.flags |= kTop;
  return !form || q7if_block(h, Q7M_FILE_WRITE, form, 4);
}

// What opening does behind the file class: the stack, the flags and the top chunk. On failure the error is stored and
// nothing is left open above the file.
bool q7if_open(const Handle &h, Q7TagItem *tags) {
  Q7NewList(&h.iff.chunks);
  h.iff.flags =
      (Q7TagVal(tags, Q7A_IFF_SWAP, 1) ? uint32_t{kSwap} : 0) | (Q7TagVal(tags, Q7A_IFF_WIDE, 1) ? uint32_t{kWide} : 0);
  const auto *mode = q7::as<const char *>(Q7TagVal(tags, Q7A_FILE_MODE, 0));
  auto *id = q7::as<void *>(Q7TagVal(tags, Q7A_IFF_ID, 0));
  auto *form = q7::as<void *>(Q7TagVal(tags, Q7A_IFF_FORM, 0));
  if (!mode || !id) return true;
  if (mode[0] == 'r' && q7if_read_header(h, id, form)) return true;
  if (mode[0] == 'w' && q7if_write_header(h, id, form)) return true;
  if (mode[0] != 'r' && mode[0] != 'w') return true;
  if (!h.error()) h.error() = Q7FE_UNKNOWN;  // exhaustion has no id of its own
  if (auto *error = q7::as<int32_t *>(Q7TagVal(tags, Q7A_FILE_ERROR, 0))) *error = h.error();
  h.iff.flags &= ~uint32_t{kTop};
  q7if_free_chunks(h.iff);
  return false;
}

uint64_t q7if_new(Q7Class *cl, Q7Object *receiver, uint64_t a, uint64_t b, Q7TagItem *tags) {
  auto *obj = q7::as<Q7Object *>(q7::inherit(cl, receiver, Q7M_NEW, a, b, tags));
  if (!obj) return 0;
  const Handle h(cl, obj);
  if (q7if_open(h, tags)) return q7::arg(obj);
  if (obj->succ && obj->pred) Q7Remove(reinterpret_cast<Q7Node *>(obj));
  h.file(Q7M_DISPOSE, a);
  return 0;
}

// Ends the top chunk; false if its size could not be stored.
bool q7if_finish(const Handle &h) {
  const bool ended = !h.has(kTop) || q7if_end_write(h) != 0;
  h.iff.flags &= ~uint32_t{kTop};
  q7if_free_chunks(h.iff);
  return ended;
}

// Opening anew ends what was being written first, as disposal does.
uint64_t q7if_reopen(const Handle &h, Q7TagItem *tags) {
  const bool finished = q7if_finish(h);
  if (finished && h.file(Q7M_FILE_OPEN, 0, 0, tags) && q7if_open(h, tags)) return 1;
  h.file(Q7M_FILE_CLOSE);
  return 0;
}

uint64_t q7if_dispose(const Handle &h, uint64_t a, uint64_t b, Q7TagItem *tags) {
  const bool finished = q7if_finish(h);
  const uint64_t disposed = h.file(Q7M_DISPOSE, a, b, tags);
  return finished ? disposed : 0;
}

// A copy is a closed stream and has no chunks of its own.
uint64_t q7if_copy(Q7Class *cl, Q7Object *obj, uint64_t a, uint64_t b, Q7TagItem *tags) {
  auto *copy = q7::as<Q7Object *>(q7::inherit(cl, obj, Q7M_COPY, a, b, tags));
  if (!copy) return 0;
  auto &iff = q7::data<Iff>(cl, copy);
  Q7NewList(&iff.chunks);
  iff.flags &= ~uint32_t{kTop};
  return q7::arg(copy);
}

bool q7if_get_attribute(Iff &iff, const Q7TagItem &item) {
  switch (item.tag) {
    case Q7A_IFF_SWAP: return q7::store<int32_t>(item, (iff.flags & kSwap) != 0);
    case Q7A_IFF_WIDE: return q7::store<int32_t>(item, (iff.flags & kWide) != 0);
    default: return false;
  }
}

extern const q7::ClassDef iff_class;

uint64_t q7if_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  if (!obj) return 0;
  if (&obj->cl->header == obj) {
    switch (method) {
      case Q7M_NEW: return q7if_new(cl, obj, a, b, tags);
      case Q7M_CLASS_FREE: return q7::class_free(iff_class, cl, obj, a, b, tags);
      default:
        // Methods of objects find no chunks behind a class record.
        return method >= Q7M_IFF_BEGIN_READ && method <= Q7M_IFF_SKIP ? 0 : q7::inherit(cl, obj, method, a, b, tags);
    }
  }
  const Handle h(cl, obj);
  auto *address = q7::slot_as<void *>(tags);
  switch (method) {
    case Q7M_DISPOSE: return q7if_dispose(h, a, b, tags);
    case Q7M_GET: return q7::get_attributes<Iff>(cl, obj, tags, q7if_get_attribute);
    case Q7M_COPY: return q7if_copy(cl, obj, a, b, tags);
    case Q7M_FILE_READ32:
    case Q7M_FILE_READ32_B: return q7if_read_value<uint32_t>(h, method, address);
    case Q7M_FILE_READ16: return q7if_read_value<uint16_t>(h, method, address);
    case Q7M_FILE_READ_DOUBLE:
    case Q7M_FILE_READ64: return q7if_read_value<uint64_t>(h, method, address);
    case Q7M_FILE_WRITE32:
    case Q7M_FILE_WRITE32_B: return q7if_write_value(h, method, q7::slot_as<uint32_t>(tags));
    case Q7M_FILE_WRITE16: return q7if_write_value(h, method, q7::slot_as<uint16_t>(tags));
    case Q7M_FILE_WRITE_DOUBLE: return q7if_write_double(h, address);
    case Q7M_FILE_OPEN: return q7if_reopen(h, tags);
    case Q7M_FILE_WRITE64: return q7if_write_value(h, method, q7::slot_as<uint64_t>(tags));
    case Q7M_FILE_WRITE_SIZE: return q7if_write_size(obj, a);
    case Q7M_FILE_READ_SIZE: return q7if_read_size_value(h, static_cast<uint64_t *>(address));
    case Q7M_IFF_BEGIN_READ: return q7if_begin_read(h, address);
    case Q7M_IFF_END_READ: return q7if_end_read(h);
    case Q7M_IFF_BEGIN_WRITE: return q7if_begin_write(h, q7::slot_as<uint32_t>(tags));
    case Q7M_IFF_END_WRITE: return q7if_end_write(h);
    case Q7M_IFF_SKIP: return q7if_skip(h);
    default: return q7::inherit(cl, obj, method, a, b, tags);
  }
}

int32_t q7if_register_bases(Q7App *app) { return Q7RegisterFileClass(app) && Q7RegisterErrorDatabaseClass(app); }

const q7::ClassDef iff_class = {.id = Q7C_IFF,
                                .super = Q7C_FILE,
                                .name = kModule,
                                .dispatch = q7if_dispatch,
                                .size = sizeof(Iff),
                                .needs = q7if_register_bases,
                                .strings = iff_strings,
                                .string_count = kIffStringCount};

}  // namespace

int32_t Q7RegisterIFFClass(Q7App *app) {
  if (Q7ClassFind(Q7C_IFF)) return 1;
  if (!q7::register_once(app, iff_class)) return 0;
  // "Needs64Bit" is an error id of objects only; whoever formats it takes the text from the class (method 25).
  const Q7LocaleEntry *strings = Q7ClassFind(Q7C_IFF)->catalog;
  Q7Class *database = Q7ClassFind(Q7C_ERRDB);
  for (const auto &[id, entry] :
       {std::pair{Q7FE_NOT_IFF, kNotIff}, {Q7FE_NOT_V4, kNotV4}, {Q7FE_CORRUPTED, kCorrupted}}) {
    q7::send(database, Q7M_ERRDB_REGISTER, q7::arg(id), 0, q7::slot(strings[entry].text));
  }
  return 1;
}
