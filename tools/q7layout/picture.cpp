// picture: through the drawing class of the platform layer: managers as dashed outlines, frames and splitters filled,
// widgets in colours of their own with their names, where these fit.
#include "tools/q7layout/picture.hpp"

#include <algorithm>
#include <iterator>

#include "core/q7objects.h"
#include "platform/posix/q7posix.h"

namespace q7layout {

namespace {

struct Color {
  double rgb[3];
};
constexpr Color kBackground = {{1, 1, 1}}, kLine = {{0.25, 0.25, 0.3}}, kOutline = {{0.6, 0.6, 0.65}};
constexpr Color kFrame = {{0.85, 0.86, 0.88}}, kSplitter = {{0.55, 0.57, 0.62}};
constexpr Color kWidgets[] = {{{0.68, 0.82, 0.95}}, {{0.98, 0.84, 0.65}}, {{0.75, 0.9, 0.72}},
                              {{0.95, 0.75, 0.76}}, {{0.85, 0.78, 0.94}}, {{0.97, 0.93, 0.64}}};

class Pencil {
 public:
  explicit Pencil(Pair size)
      : dc_(Q7ObjectCreate(Q7C_DRAWING, Q7A_DC_WIDTH, static_cast<uint64_t>(size.x), Q7A_DC_HEIGHT,
                           static_cast<uint64_t>(size.y), 0)) {}
  ~Pencil() {
    if (dc_) Q7ObjectDelete(dc_);
  }
  Pencil(const Pencil &) = delete;
  Pencil &operator=(const Pencil &) = delete;
  explicit operator bool() const { return dc_ != nullptr; }

  void fill(const Q7Rect &rect, const Color &color) {
    send(Q7M_DC_SET_COLOR, 0, color.rgb);
    send(Q7M_DC_FILL_RECTANGLE, 0, &rect);
  }
  void outline(const Q7Rect &rect, const Color &color, int dash) {
    send(Q7M_DC_SET_COLOR, 0, color.rgb);
    send(Q7M_DC_SET_DASH, 0, reinterpret_cast<const void *>(static_cast<intptr_t>(dash)));
    send(Q7M_DC_RECTANGLE, 0, &rect);
  }
  // In the middle of a rectangle, if there is room.
  void name(const Q7Rect &rect, const std::string &text) {
    Q7TextExtents extents = {};
    send(Q7M_DC_TEXT_EXTENTS, word(text.c_str()), &extents);
    if (extents.width + 2 > rect.width || extents.ascent + extents.descent > rect.height) return;
    const Q7Point at = {static_cast<int16_t>(rect.x + (rect.width - extents.width) / 2),
                        static_cast<int16_t>(rect.y + (rect.height + extents.ascent - extents.descent) / 2)};
    send(Q7M_DC_SET_COLOR, 0, kLine.rgb);
    send(Q7M_DC_TEXT, word(text.c_str()), &at);
  }
  bool write(const std::string &path) {
    return Q7SendMsg(dc_, Q7M_DRAWING_WRITE, Q7A_DRAWING_PATH, word(path.c_str()), 0) != 0;
  }

 private:
  static uint64_t word(const void *pointer) { return reinterpret_cast<uint64_t>(pointer); }
  uint64_t send(uint32_t method, uint64_t a, const void *slot) {
    return dc_->dispatch(dc_->cl, dc_, method, a, 0, static_cast<Q7TagItem *>(const_cast<void *>(slot)));
  }
  Q7Object *dc_;
};

bool is_hidden(const Item &item) {
  for (const Item *at = &item; at; at = at->parent) {
    if (at->hidden) return true;
  }
  return false;
}

}  // namespace

bool draw(const Description &description, const Scene &scene, Pair size, const std::string &path) {
  Pencil pencil(size);
  if (!pencil) return false;
  pencil.fill({0, 0, size.x, size.y}, kBackground);
  size_t widgets = 0;
  for (const Item &item : description.items) {
    if (is_hidden(item)) continue;
    const Q7Rect rect = scene.rect(item);
    if (item.frame) {
      pencil.fill(scene.frame_rect(item), kFrame);
      pencil.outline(scene.frame_rect(item), kOutline, Q7DASH_SOLID);
    }
    if (item.kind == Kind::kWidget) {
      pencil.fill(rect, kWidgets[widgets++ % std::size(kWidgets)]);
      pencil.outline(rect, kLine, Q7DASH_SOLID);
      pencil.name(rect, item.name);
    } else if (item.kind == Kind::kSplitter) {
      pencil.fill(rect, kSplitter);
    } else {
      pencil.outline(rect, kOutline, Q7DASH_DASHED);
    }
  }
  return pencil.write(path);
}

}  // namespace q7layout
