// record: the list of drawing commands and its text form.
#include "platform/posix/record.hpp"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "core/q7memory.h"
#include "platform/posix/q7posix.h"
#include "platform/posix/shape.hpp"
#include "ui/q7dc.h"

namespace q7posix {

namespace {

uint64_t hash_bytes(uint64_t hash, const void *data, uint64_t size) {
  const auto *byte = static_cast<const uint8_t *>(data);
  for (uint64_t i = 0; i < size; ++i) hash = (hash ^ byte[i]) * UINT64_C(1099511628211);
  return hash;
}
constexpr uint64_t kHashStart = UINT64_C(14695981039346656037);

// Pixels of an image do not say which pixels of the picture it covers, nor does their order; only whether it is opaque
// does, and number 4 of an image is that.
bool same_pixels(const Command &a, const Command &b) {
  if (a.hash != b.hash || a.shape != b.shape || a.numbers != b.numbers || !(a.clip == b.clip)) return false;
  if (a.ink.line_width != b.ink.line_width || a.ink.dash != b.ink.dash || !(a.ink.font == b.ink.font)) return false;
  if ((a.ink.mode == Q7DC_MODE_OPAQUE) != (b.ink.mode == Q7DC_MODE_OPAQUE)) return false;
  if (std::memcmp(a.number(), b.number(), static_cast<size_t>(a.numbers) * sizeof(int32_t)) != 0) return false;
  if (a.shape == Shape::kImage) return true;
  return a.bytes == b.bytes && std::memcmp(a.byte(), b.byte(), a.bytes) == 0;
}

uint64_t hash_of(const Command &c) {
  uint64_t hash = hash_bytes(kHashStart, &c.shape, sizeof c.shape);
  hash = hash_bytes(hash, c.number(), static_cast<uint64_t>(c.numbers) * sizeof(int32_t));
  return c.shape == Shape::kImage ? hash : hash_bytes(hash, c.byte(), c.bytes);
}

bool inverts(const Command &c) { return c.ink.mode == Q7DC_MODE_INVERT; }

// A translucent image shows what lies below it.
bool hides(const Command &c) { return c.shape != Shape::kImage || c.number()[4] != 0; }

int32_t narrow(int64_t value) { return static_cast<int32_t>(std::clamp<int64_t>(value, INT32_MIN, INT32_MAX)); }

// How many of a command's numbers are places, in pairs.
int32_t places(const Command &c) {
  switch (c.shape) {
    case Shape::kPolyline:
    case Shape::kPolygon:
    case Shape::kFillPolygon: return c.numbers;
    default: return 2;
  }
}

}  // namespace

Clip intersect(const Clip &a, const Clip &b) {
  if (a.all()) return b;
  if (b.all()) return a;
  const int64_t left = std::max(a.x, b.x);
  const int64_t top = std::max(a.y, b.y);
  const int64_t right = std::min<int64_t>(int64_t{a.x} + a.width, int64_t{b.x} + b.width);
  const int64_t bottom = std::min<int64_t>(int64_t{a.y} + a.height, int64_t{b.y} + b.height);
  if (right <= left || bottom <= top) return {0, 0, 0, 0};
  return {narrow(left), narrow(top), narrow(right - left), narrow(bottom - top)};
}

void Record::init() {
  Q7NewList(&commands);
  buckets = nullptr;
  bucket_count = count = serial = last_plain = 0;
}

void Record::clear() {
  while (Q7Node *node = Q7RemHead(&commands)) Q7FreeMem(node, 0);
  Q7FreeMem(buckets, 0);
  init();
}

Command *Record::make(Shape shape, uint64_t numbers, uint64_t bytes) {
  constexpr uint64_t kMost = uint64_t{1} << 31;
  if (numbers > kMost / sizeof(int32_t) || bytes > kMost) return nullptr;
  const uint64_t size = sizeof(Command) + (numbers + 1) / 2 * 2 * sizeof(int32_t) + bytes;
  auto *c = static_cast<Command *>(Q7AllocMem(size, Q7MEM_CLEAR));
  if (!c) {
    Q7P_ERROR("q7drawing", "No memory to record what is drawn");
    return nullptr;
  }
  c->shape = shape;
  c->numbers = static_cast<int32_t>(numbers);
  c->bytes = bytes;
  return c;
}

// Without more buckets the list still works, only slower.
void Record::grow() {
  if (count < bucket_count * 2) return;
  const uint64_t wanted = bucket_count ? bucket_count * 4 : 64;
  auto **fresh = static_cast<Command **>(Q7AllocSilent(wanted * sizeof(Command *), Q7MEM_CLEAR));
  if (!fresh) return;
  for (Q7Node *node = commands.head; node->succ; node = node->succ) {
    auto *c = reinterpret_cast<Command *>(node);
    Command *&bucket = fresh[c->hash & (wanted - 1)];
    c->chain = bucket;
    bucket = c;
  }
  Q7FreeMem(buckets, 0);
  buckets = fresh;
  bucket_count = wanted;
}

void Record::drop(Command *command) {
  if (bucket_count) {
    Command **link = &buckets[command->hash & (bucket_count - 1)];
    while (*link && *link != command) link = &(*link)->chain;
    if (*link) *link = command->chain;
  }
  Q7Remove(&command->link);
  Q7FreeMem(command, 0);
  --count;
}

Command *Record::covering_same(const Command &command) const {
  if (!bucket_count) return nullptr;
  for (Command *c = buckets[command.hash & (bucket_count - 1)]; c; c = c->chain) {
    if (inverts(*c) == inverts(command) && same_pixels(*c, command)) return c;
  }
  return nullptr;
}

void Record::add(Command *command) {
  command->hash = hash_of(*command);
  Command *same = covering_same(*command);
  if (same && inverts(*command)) {
    if (same->serial > last_plain) {
      drop(same);
      Q7FreeMem(command, 0);
      return;
    }
  } else if (same && hides(*command)) {
    drop(same);
  }
  grow();
  command->serial = ++serial;
  if (!inverts(*command)) last_plain = serial;
  if (bucket_count) {
    Command *&bucket = buckets[command->hash & (bucket_count - 1)];
    command->chain = bucket;
    bucket = command;
  }
  Q7AddTail(&commands, &command->link);
  ++count;
}

bool Record::join(const Record &other, int32_t dx, int32_t dy, const Clip &clip) {
  for (const Q7Node *node = other.commands.head; node->succ; node = node->succ) {
    const auto *from = reinterpret_cast<const Command *>(node);
    Clip moved = from->clip;
    if (!moved.all()) {
      moved.x = narrow(int64_t{moved.x} + dx);
      moved.y = narrow(int64_t{moved.y} + dy);
    }
    moved = intersect(moved, clip);
    if (moved.empty()) continue;
    Command *c = make(from->shape, static_cast<uint64_t>(from->numbers), from->bytes);
    if (!c) return false;
    c->ink = from->ink;
    c->clip = moved;
    std::memcpy(c->number(), from->number(), static_cast<size_t>(from->numbers) * sizeof(int32_t));
    std::memcpy(c->byte(), from->byte(), from->bytes);
    for (int32_t i = 0; i < places(*c); i += 2) {
      c->number()[i] = narrow(int64_t{c->number()[i]} + dx);
      c->number()[i + 1] = narrow(int64_t{c->number()[i + 1]} + dy);
    }
    add(c);
  }
  return true;
}

// ---- Buffer ----

Buffer::~Buffer() { Q7FreeMem(data_, 0); }

bool Buffer::append(const void *bytes, uint64_t size) {
  if (size > room_ - size_) {
    const uint64_t wanted = std::max<uint64_t>(std::max<uint64_t>(room_ * 2, size_ + size), 1024);
    auto *grown = static_cast<char *>(Q7ReAllocMem(data_, size_, wanted, 0));
    if (!grown) return false;
    data_ = grown;
    room_ = wanted;
  }
  if (size) std::memcpy(data_ + size_, bytes, size);
  size_ += size;
  return true;
}

bool Buffer::print(const char *format, ...) {
  char text[256];
  va_list arguments;
  va_start(arguments, format);
  const int length = vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  return length >= 0 && append(text, std::min<uint64_t>(static_cast<uint64_t>(length), sizeof text - 1));
}

// ---- Text form ----

namespace {

constexpr const char *kShapeNames[] = {"polyline",       "polygon", "fill-polygon", "rectangle",
                                       "fill-rectangle", "ellipse", "fill-ellipse", "arc",
                                       "fill-arc",       "text",    "image"};
constexpr const char *kDashNames[] = {"solid", "dashed", "dotted"};

const char *mode_name(int32_t mode) {
  return mode == Q7DC_MODE_INVERT ? "invert" : mode == Q7DC_MODE_OPAQUE ? "opaque" : "copy";
}

bool fills(Shape shape) {
  return shape == Shape::kFillPolygon || shape == Shape::kFillRectangle || shape == Shape::kFillEllipse ||
         shape == Shape::kFillArc;
}

// Thousandths of a degree, so that no printing of doubles enters the text.
long millidegrees(double radians) {
  const double value = radians * (180000.0 / 3.14159265358979323846);
  return static_cast<long>(value < 0 ? value - 0.5 : value + 0.5);
}

// Says what of a command's ink and clip is not in force yet, as far as the shape uses it.
bool write_changes(const Command &c, Ink &ink, Clip &clip, Buffer &out) {
  const bool text = c.shape == Shape::kText;
  const bool image = c.shape == Shape::kImage;
  bool good = true;
  if (!(c.clip == clip)) {
    good = c.clip.all() ? out.print("clip none\n")
                        : out.print("clip %d %d %d %d\n", c.clip.x, c.clip.y, c.clip.width, c.clip.height);
    clip = c.clip;
  }
  if (!image && c.ink.mode != ink.mode) {
    good = good && out.print("mode %s\n", mode_name(c.ink.mode));
    ink.mode = c.ink.mode;
  }
  if (!image && c.ink.color != ink.color) {
    good = good && out.print("color #%06x\n", c.ink.color);
    ink.color = c.ink.color;
  }
  if (text && c.ink.mode == Q7DC_MODE_OPAQUE && c.ink.background != ink.background) {
    good = good && out.print("background #%06x\n", c.ink.background);
    ink.background = c.ink.background;
  }
  if (text && !(c.ink.font == ink.font)) {
    good = good &&
           out.print("font %d%s%s%s\n", c.ink.font.size, c.ink.font.style & Q7FONT_BOLD ? " bold" : "",
                     c.ink.font.style & Q7FONT_ITALIC ? " italic" : "", c.ink.font.style & Q7FONT_MONO ? " mono" : "");
    ink.font = c.ink.font;
  }
  if (!text && !image && !fills(c.shape)) {
    if (c.ink.line_width != ink.line_width) good = good && out.print("width %d\n", c.ink.line_width);
    if (c.ink.dash != ink.dash) good = good && out.print("dash %s\n", kDashNames[c.ink.dash]);
    ink.line_width = c.ink.line_width;
    ink.dash = c.ink.dash;
  }
  return good;
}

bool write_quoted(const char *text, Buffer &out) {
  bool good = out.append("\"", 1);
  for (; *text && good; ++text) {
    if (*text == '"' || *text == '\\') good = out.append("\\", 1);
    good = good && out.append(text, 1);
  }
  return good && out.append("\"", 1);
}

bool write_command(const Command &c, Buffer &out) {
  bool good = out.print("%s", kShapeNames[static_cast<uint32_t>(c.shape)]);
  const int32_t *n = c.number();
  if (places(c) == c.numbers && c.shape <= Shape::kFillPolygon) {
    for (int32_t i = 0; i + 1 < c.numbers && good; i += 2) good = out.print(" %d,%d", n[i], n[i + 1]);
  } else if (c.shape == Shape::kText) {
    good = good && out.print(" %d,%d ", n[0], n[1]) && write_quoted(reinterpret_cast<const char *>(c.byte()), out);
  } else {
    good = good && out.print(" %d,%d %d %d", n[0], n[1], n[2], n[3]);
    if (c.shape == Shape::kArc || c.shape == Shape::kFillArc) {
      double angles[2];
      std::memcpy(angles, c.byte(), sizeof angles);
      good = good && out.print(" %ld %ld", millidegrees(angles[0]), millidegrees(angles[1]));
    } else if (c.shape == Shape::kImage) {
      good = good && out.print(" %016lx", static_cast<unsigned long>(hash_bytes(kHashStart, c.byte(), c.bytes)));
    }
  }
  return good && out.append("\n", 1);
}

}  // namespace

bool write_text(const Record &record, const Canvas &canvas, Buffer &out) {
  bool good = out.print("drawing %d %d #%06x\n", canvas.width, canvas.height, canvas.background);
  Ink ink;
  ink.background = canvas.background;
  Clip clip;
  for (const Q7Node *node = record.commands.head; node->succ && good; node = node->succ) {
    const auto &c = *reinterpret_cast<const Command *>(node);
    good = write_changes(c, ink, clip, out) && write_command(c, out);
  }
  return good;
}

}  // namespace q7posix
