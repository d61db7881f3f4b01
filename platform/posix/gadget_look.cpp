// gadget_look: what the native gadgets look like: raised buttons, sunken fields, boxes with a mark, round radio
// buttons.
#include <algorithm>
#include <cstring>

#include "platform/posix/gadget.hpp"
#include "platform/posix/q7posix.h"
#include "platform/posix/tree.hpp"
#include "ui/q7dc.h"
#include "ui/q7mxbutto.h"
#include "ui/q7widget.h"

namespace q7posix {

namespace {

constexpr int32_t kMark = 13;    // size of a box or a radio button
constexpr int32_t kGap = 5;      // between a mark or a label and what follows
constexpr int32_t kButtonX = 8;  // room beside a button's label
constexpr int32_t kButtonY = 4;  // room above and below it
constexpr int32_t kFieldX = 4;   // the same of a field
constexpr int32_t kFieldY = 3;
constexpr int32_t kFieldWidth = 120;  // a field's natural width

bool has_field(int32_t look) { return look == Q7GADGET_FIELD || look == Q7GADGET_NUMBER; }
bool has_mark(int32_t look) { return look == Q7GADGET_TOGGLE || look == Q7GADGET_RADIO; }
bool has_text(const char *text) { return text && *text; }

Q7Object *font_of(Q7Object *self) {
  Q7Object *window = window_of(self);
  return window ? attribute<Q7Object *>(window, Q7A_WINDOW_FONT) : nullptr;
}

// Of the gadget's own font, or of a window class that has none.
FontSpec spec_of(Q7Object *font) {
  FontSpec spec;
  if (!font || !is_kind(font, Q7C_FONT)) return spec;
  return {attribute<int32_t>(font, Q7A_FONT_SIZE, spec.size),
          static_cast<uint32_t>(attribute<int32_t>(font, Q7A_FONT_STYLE))};
}

struct Size {
  int32_t width = 0, height = 0;
};
Size image_size(const Gadget &g) {
  if (!g.image || !is_kind(g.image, Q7C_ICON)) return {};
  return {attribute<int32_t>(g.image, Q7A_ICON_WIDTH), attribute<int32_t>(g.image, Q7A_ICON_HEIGHT)};
}

// ---- Drawing ----

// The tools of one drawing: every place counts from the gadget's corner.
class Brush {
 public:
  explicit Brush(Q7Object *dc) : dc_(dc) {
    send(dc_, Q7M_DC_SET_MODE, 0, 0, slot(Q7DC_MODE_COPY));
    send(dc_, Q7M_DC_SET_LINE_WIDTH, 0, 0, slot(1));
    send(dc_, Q7M_DC_SET_DASH, 0, 0, slot(Q7DASH_SOLID));
  }
  void pen(int32_t pen) const { send(dc_, Q7M_DC_SET_PEN, 0, 0, slot(static_cast<uint64_t>(pen))); }
  void fill(const Q7Rect &rect, int32_t p) const {
    pen(p);
    send(dc_, Q7M_DC_FILL_RECTANGLE, 0, 0, slot(word(&rect)));
  }
  void frame(const Q7Rect &rect, int32_t p) const {
    pen(p);
    send(dc_, Q7M_DC_RECTANGLE, 0, 0, slot(word(&rect)));
  }
  void dots(bool on) const { send(dc_, Q7M_DC_SET_DASH, 0, 0, slot(on ? Q7DASH_DOTTED : Q7DASH_SOLID)); }
  void ellipse(const Q7Rect &rect, int32_t p, bool filled) const {
    pen(p);
    send(dc_, filled ? Q7M_DC_FILL_ELLIPSE : Q7M_DC_ELLIPSE, 0, 0, slot(word(&rect)));
  }
  template <size_t N>
  void lines(const Q7Point (&points)[N], int32_t p, int32_t width = 1) const {
    pen(p);
    send(dc_, Q7M_DC_SET_LINE_WIDTH, 0, 0, slot(static_cast<uint64_t>(width)));
    send(dc_, Q7M_DC_POLYLINE, N, 0, slot(word(&points[0])));
    send(dc_, Q7M_DC_SET_LINE_WIDTH, 0, 0, slot(1));
  }
  // Edges of a raised thing: lit from above left.
  void edges(const Q7Rect &r, bool sunken) const {
    const auto right = static_cast<int16_t>(r.x + r.width - 1);
    const auto bottom = static_cast<int16_t>(r.y + r.height - 1);
    const auto left = static_cast<int16_t>(r.x);
    const auto top = static_cast<int16_t>(r.y);
    const Q7Point lit[3] = {{left, bottom}, {left, top}, {right, top}};
    const Q7Point shaded[3] = {{left, bottom}, {right, bottom}, {right, top}};
    lines(lit, sunken ? Q7PEN_BOTTOM_SHADOW : Q7PEN_TOP_SHADOW);
    lines(shaded, sunken ? Q7PEN_TOP_SHADOW : Q7PEN_BOTTOM_SHADOW);
  }
  // A text whose line begins at (x, y); one that cannot be used is lit from behind.
  void text(const char *text, int32_t x, int32_t y, int32_t ascent, int32_t p, bool disabled) const {
    if (!has_text(text)) return;
    const auto at = [&](int32_t d) {
      return Q7Point{static_cast<int16_t>(x + d), static_cast<int16_t>(y + ascent + d)};
    };
    if (disabled) {
      const Q7Point behind = at(1);
      pen(Q7PEN_TOP_SHADOW);
      send(dc_, Q7M_DC_TEXT, word(text), 0, slot(word(&behind)));
    }
    const Q7Point front = at(0);
    pen(disabled ? Q7PEN_BOTTOM_SHADOW : p);
    send(dc_, Q7M_DC_TEXT, word(text), 0, slot(word(&front)));
  }
  void icon(Q7Object *icon, int32_t x, int32_t y) const {
    const Q7Point at = {static_cast<int16_t>(x), static_cast<int16_t>(y)};
    send(dc_, Q7M_DC_ICON, word(icon), 0, slot(word(&at)));
  }
  void clip(const Q7Rect &rect) const { send(dc_, Q7M_DC_PUSH_CLIP, 0, 0, slot(word(&rect))); }
  void unclip() const { send(dc_, Q7M_DC_POP_CLIP); }
  void font(Q7Object *font) const { send(dc_, Q7M_DC_SET_FONT, 0, 0, slot(word(font))); }

 private:
  Q7Object *dc_;
};

// What all looks are drawn from.
struct Look {
  Gadget &g;
  const Brush &brush;
  FontSpec font;
  Q7Rect rect;
  Q7TextExtents label;  // its measures; height and ascent also without a label
  bool focus;
};

int32_t middle(int32_t room, int32_t size) { return (room - size) / 2; }

void focus_ring(const Look &l, const Q7Rect &rect) {
  if (!l.focus) return;
  l.brush.dots(true);
  l.brush.frame(rect, Q7PEN_FOREGROUND);
  l.brush.dots(false);
}

// Icon and label, together in the middle of a room.
void draw_content(const Look &l, const Q7Rect &room, int32_t p, int32_t shift) {
  const Size image = image_size(l.g);
  const int32_t gap = image.width > 0 && has_text(l.g.label) ? kGap : 0;
  int32_t x = room.x + middle(room.width, image.width + gap + l.label.width) + shift;
  if (image.width > 0) l.brush.icon(l.g.image, x, room.y + middle(room.height, image.height) + shift);
  x += image.width + gap;
  l.brush.text(l.g.label, x, room.y + middle(room.height, l.label.height) + shift, l.label.ascent, p, l.g.disabled);
}

void draw_button(const Look &l) {
  const bool held = l.g.pressed == 1;
  const bool down = held || l.g.selected;
  l.brush.fill(l.rect, down ? Q7PEN_DOWN : Q7PEN_BACKGROUND);
  l.brush.edges(l.rect, down);
  draw_content(l, l.rect, down ? Q7PEN_DOWN_FOREGROUND : Q7PEN_FOREGROUND, held ? 1 : 0);
  focus_ring(l, {3, 3, l.rect.width - 6, l.rect.height - 6});
}

void draw_mark(const Look &l, bool round) {
  const int32_t top = middle(l.rect.height, kMark);
  const Q7Rect box = {0, top, kMark, kMark};
  const int32_t inside = l.g.pressed == 1 ? Q7PEN_DOWN : Q7PEN_INPUT_BACKGROUND;
  const int32_t mark = l.g.disabled ? Q7PEN_BOTTOM_SHADOW : Q7PEN_FOREGROUND;
  if (round) {
    l.brush.ellipse(box, inside, true);
    l.brush.ellipse(box, Q7PEN_BOTTOM_SHADOW, false);
    if (l.g.selected) l.brush.ellipse({4, top + 4, kMark - 8, kMark - 8}, mark, true);
  } else {
    l.brush.fill(box, inside);
    l.brush.edges(box, true);
    const auto y = static_cast<int16_t>(top);
    const Q7Point check[3] = {
        {3, static_cast<int16_t>(y + 6)}, {5, static_cast<int16_t>(y + 9)}, {9, static_cast<int16_t>(y + 3)}};
    if (l.g.selected) l.brush.lines(check, mark, 2);
  }
  const Size image = image_size(l.g);
  int32_t x = kMark + kGap;
  if (image.width > 0) {
    l.brush.icon(l.g.image, x, middle(l.rect.height, image.height));
    x += image.width + (has_text(l.g.label) ? kGap : 0);
  }
  const int32_t y = middle(l.rect.height, l.label.height);
  l.brush.text(l.g.label, x, y, l.label.ascent, Q7PEN_FOREGROUND, l.g.disabled);
  focus_ring(l, {kMark + kGap - 2, y, x - kMark - kGap + l.label.width + 4, l.label.height});
}

// Measures the first bytes of a text; the caret stands behind them.
int32_t width_of(const FontSpec &font, const char *text, int32_t bytes) {
  char small[256];
  if (bytes <= 0) return 0;
  Q7TextExtents extents{};
  const auto kept = std::min<size_t>(static_cast<size_t>(bytes), sizeof small - 1);
  std::memcpy(small, text, kept);
  small[kept] = 0;
  return text_extents(font, small, &extents) ? extents.width : 0;
}

void draw_field(const Look &l) {
  const int32_t left = has_text(l.g.label) ? l.label.width + kGap : 0;
  const Q7Rect field = {left, 0, std::max(l.rect.width - left, 1), l.rect.height};
  l.brush.text(l.g.label, 0, middle(l.rect.height, l.label.height), l.label.ascent, Q7PEN_FOREGROUND, l.g.disabled);
  l.brush.fill(field, l.g.disabled ? Q7PEN_BACKGROUND : Q7PEN_INPUT_BACKGROUND);
  l.brush.edges(field, true);
  const Q7Rect inside = {field.x + kFieldX - 1, field.y + 1, field.width - 2 * kFieldX + 2, field.height - 2};
  l.brush.clip(inside);
  const char *text = l.g.text ? l.g.text : "";
  // A caret beyond the right end moves the text to the left.
  const int32_t caret = width_of(l.font, text, l.g.caret);
  const int32_t x = field.x + kFieldX - (l.focus ? std::max(0, caret - (inside.width - 2)) : 0);
  const int32_t y = middle(l.rect.height, l.label.height);
  l.brush.text(text, x, y, l.label.ascent, Q7PEN_FOREGROUND, l.g.disabled);
  if (l.focus) l.brush.fill({x + caret, y, 1, l.label.height}, Q7PEN_FOREGROUND);
  l.brush.unclip();
}

void draw_label(const Look &l) {
  const Size image = image_size(l.g);
  if (image.width > 0) l.brush.icon(l.g.image, 0, middle(l.rect.height, image.height));
  const int32_t x = image.width > 0 ? image.width + kGap : 0;
  l.brush.text(l.g.label, x, middle(l.rect.height, l.label.height), l.label.ascent, Q7PEN_FOREGROUND, l.g.disabled);
}

void measure(const FontSpec &font, const char *label, Q7TextExtents *extents) {
  *extents = {};
  text_extents(font, label ? label : "", extents);
}

}  // namespace

int32_t look_of(const Gadget &g, Q7Object *self) {
  if (g.look != Q7GADGET_AUTOMATIC) return g.look;
  return g.takes_part && !is_kind(self, Q7C_MXBUTTON) ? Q7GADGET_RADIO : Q7GADGET_BUTTON;
}

const Gadget::Natural &natural_size(Gadget &g, Q7Object *self) {
  const FontSpec font = spec_of(font_of(self));
  const int32_t look = look_of(g, self);
  Gadget::Natural &n = g.natural;
  if (n.known && n.font == font && n.look == look) return n;
  Q7TextExtents label;
  measure(font, g.label, &label);
  const Size image = image_size(g);
  const int32_t gap = image.width > 0 && has_text(g.label) ? kGap : 0;
  const int32_t width = image.width + gap + label.width;
  const int32_t height = std::max(label.height, image.height);
  n = {1, font, look, width, height, 0};
  if (has_field(look)) {
    n.client_x = has_text(g.label) ? label.width + kGap : 0;
    n.width = n.client_x + kFieldWidth;
    n.height = label.height + 2 * kFieldY;
  } else if (has_mark(look)) {
    n.width = kMark + kGap + width;
    n.height = std::max(height, kMark);
  } else if (look == Q7GADGET_BUTTON) {
    n.width += 2 * kButtonX;
    n.height += 2 * kButtonY;
  }
  return n;
}

bool draw_gadget(Gadget &g, Q7Object *self, const Q7Rect &rect, Q7Object *dc) {
  const Brush brush(dc);
  Q7Object *font = font_of(self);
  if (font && is_kind(font, Q7C_FONT)) brush.font(font);
  Look l = {g, brush, spec_of(font), rect, {}, g.has_keyboard != 0};
  measure(l.font, g.label, &l.label);
  switch (look_of(g, self)) {
    case Q7GADGET_TOGGLE: draw_mark(l, false); break;
    case Q7GADGET_RADIO: draw_mark(l, true); break;
    case Q7GADGET_FIELD:
    case Q7GADGET_NUMBER: draw_field(l); break;
    case Q7GADGET_LABEL: draw_label(l); break;
    default: draw_button(l); break;
  }
  brush.font(nullptr);
  return true;
}

}  // namespace q7posix
