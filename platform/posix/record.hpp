// record: what was drawn, as a list of commands that can be drawn again, written as text, or joined to another list.
// Each command carries everything that it needs (colour, mode, clipping, coordinates of the picture), so commands can
// be left out one by one. Two things keep a list short whose owner draws for hours without ever clearing it: a command
// that covers the same pixels as an earlier one replaces it, and what is inverted twice with nothing else in between
// was never drawn. Everything is allocated through the library, nothing throws.
#ifndef Q7_PLATFORM_POSIX_RECORD_HPP
#define Q7_PLATFORM_POSIX_RECORD_HPP

#include <cstdint>

#include "core/q7lists.h"
#include "platform/q7platform.h"

struct _cairo_font_face;

namespace q7posix {

struct FontSpec {
  int32_t size = 12;   // pixels of the em square
  uint32_t style = 0;  // Q7FONT_BOLD and so on
  bool operator==(const FontSpec &) const = default;
};

// How a command draws.
struct Ink {
  uint32_t color = 0;              // 0xRRGGBB
  uint32_t background = 0xFFFFFF;  // behind texts in mode opaque
  int32_t mode = 0;                // Q7DC_MODE_...
  int32_t line_width = 1;
  int32_t dash = 0;
  FontSpec font;
  bool operator==(const Ink &) const = default;
};

// A rectangle of the picture; a negative width stands for all of it.
struct Clip {
  int32_t x = 0, y = 0, width = -1, height = -1;
  bool all() const { return width < 0; }
  bool empty() const { return width == 0 || height == 0; }
  bool operator==(const Clip &) const = default;
};
// What lies in both.
Clip intersect(const Clip &a, const Clip &b);

enum class Shape : uint32_t {
  kPolyline,
  kPolygon,
  kFillPolygon,
  kRectangle,
  kFillRectangle,
  kEllipse,
  kFillEllipse,
  kArc,
  kFillArc,
  kText,
  kImage
};

// One command: the header, then `numbers` int32_t, then `bytes` bytes (angles of arcs, text with its zero, pixels).
struct Command {
  Q7Node link;
  Command *chain;  // next one of the same bucket
  uint64_t hash;   // of what pixels it covers
  uint64_t serial;
  Shape shape;
  int32_t numbers;
  uint64_t bytes;
  Ink ink;
  Clip clip;

  int32_t *number() { return reinterpret_cast<int32_t *>(this + 1); }
  const int32_t *number() const { return reinterpret_cast<const int32_t *>(this + 1); }
  // Numbers are padded to an even count, so that angles are aligned.
  uint8_t *byte() { return reinterpret_cast<uint8_t *>(number() + (numbers + 1) / 2 * 2); }
  const uint8_t *byte() const { return reinterpret_cast<const uint8_t *>(number() + (numbers + 1) / 2 * 2); }
};

// The list; plain data, so that it can be part of an instance. init() first, clear() last.
struct Record {
  Q7List commands;
  Command **buckets;
  uint64_t bucket_count;  // a power of two, or 0
  uint64_t count;
  uint64_t serial;      // of the last command
  uint64_t last_plain;  // serial of the last one that does not invert

  void init();
  void clear();
  // A command to fill in and add(); null when memory is short, reported.
  static Command *make(Shape shape, uint64_t numbers, uint64_t bytes);
  // Takes the command over.
  void add(Command *command);
  // Adds copies of another list's commands, moved, within a clip. False when memory is short: part of them is there.
  bool join(const Record &other, int32_t dx, int32_t dy, const Clip &clip);

 private:
  void grow();
  void drop(Command *command);
  Command *covering_same(const Command &command) const;
};

// A buffer that grows; plain data of a function, freed with it.
class Buffer {
 public:
  Buffer() = default;
  ~Buffer();
  Buffer(const Buffer &) = delete;
  Buffer &operator=(const Buffer &) = delete;
  bool append(const void *bytes, uint64_t size);
  bool print(const char *format, ...) Q7_PRINTF(2, 3);
  const char *data() const { return data_; }
  uint64_t size() const { return size_; }

 private:
  char *data_ = nullptr;
  uint64_t size_ = 0;
  uint64_t room_ = 0;
};

// What a picture is besides its commands.
struct Canvas {
  int32_t width, height;
  uint32_t background;
  double scale;
};

// The text form, which q7posix.h describes. False when memory is short.
bool write_text(const Record &record, const Canvas &canvas, Buffer &out);
// Through Cairo. Null when done, else what went wrong.
const char *write_png(const Record &record, const Canvas &canvas, Buffer &out);
const char *write_svg(const Record &record, const Canvas &canvas, Buffer &out);

// The face of a style (Q7FONT_...), kept for the process; null when the system has no font.
_cairo_font_face *font_face(uint32_t style);
// What a text measures; it is well formed UTF-8. False when the font system fails.
bool measure_text(const FontSpec &font, const char *text, Q7TextExtents *extents);
// Copies a text of any bytes so that it is well formed UTF-8 without control characters: what is none becomes "?", a
// control character a blank. The copy is as long as the text.
void clean_text(char *destination, const char *text);

}  // namespace q7posix

#endif
