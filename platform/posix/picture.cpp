// picture: a record drawn through Cairo, and the measures of texts. Cairo's pixel (x, y) reaches from x to x + 1, so
// lines run through the middle of pixels; fonts are neither hinted nor fitted to pixels, so that a text measures the
// same at every scale.
#include <cairo-svg.h>
#include <cairo.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "core/q7memory.h"
#include "platform/posix/q7posix.h"
#include "platform/posix/record.hpp"
#include "ui/q7dc.h"

namespace q7posix {

namespace {

constexpr double kTurn = 2 * 3.14159265358979323846;

// Cairo counts 24 bits of pixels; what lies far outside of any picture is drawn at its edge.
double near(int64_t value) { return static_cast<double>(std::clamp<int64_t>(value, -1000000, 1000000)); }

// False where the system has no font.
bool choose_font(cairo_t *cr, const FontSpec &font) {
  cairo_font_face_t *face = font_face(font.style);
  if (!face) return false;
  cairo_set_font_face(cr, face);
  cairo_set_font_size(cr, font.size);
  cairo_font_options_t *options = cairo_font_options_create();
  cairo_font_options_set_antialias(options, CAIRO_ANTIALIAS_GRAY);
  cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_NONE);
  cairo_font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_OFF);
  cairo_set_font_options(cr, options);
  cairo_font_options_destroy(options);
  return true;
}

void set_color(cairo_t *cr, uint32_t rgb) {
  cairo_set_source_rgb(cr, ((rgb >> 16) & 255) / 255.0, ((rgb >> 8) & 255) / 255.0, (rgb & 255) / 255.0);
}

void stroke(cairo_t *cr, const Ink &ink) {
  cairo_set_line_width(cr, ink.line_width);
  const double unit = ink.line_width;
  const double dashed[] = {4 * unit, 4 * unit};
  const double dotted[] = {unit, 2 * unit};
  // Square ends add half a pixel at both ends: the last pixels are covered whole. Dashes would grow into each other.
  cairo_set_line_cap(cr, ink.dash == Q7DASH_SOLID ? CAIRO_LINE_CAP_SQUARE : CAIRO_LINE_CAP_BUTT);
  cairo_set_dash(cr, ink.dash == Q7DASH_DASHED ? dashed : dotted, ink.dash == Q7DASH_SOLID ? 0 : 2, 0);
  cairo_stroke(cr);
}

void trace_points(cairo_t *cr, const Command &c) {
  const int32_t *n = c.number();
  for (int32_t i = 0; i + 1 < c.numbers; i += 2) cairo_line_to(cr, near(n[i]) + 0.5, near(n[i + 1]) + 0.5);
  // A single point is a line without a length, of which square ends leave a pixel.
  if (c.numbers == 2) cairo_line_to(cr, near(n[0]) + 0.5, near(n[1]) + 0.5);
}

// The ellipse inside a rectangle; an outline runs through the middle of its outermost pixels.
void trace_ellipse(cairo_t *cr, const Command &c, bool outline) {
  const int32_t *n = c.number();
  const double less = outline ? 1 : 0;
  const double width = std::max(near(n[2]) - less, 0.01);
  const double height = std::max(near(n[3]) - less, 0.01);
  double angles[2] = {0, kTurn};
  const bool slice = c.shape == Shape::kArc || c.shape == Shape::kFillArc;
  if (slice) std::memcpy(angles, c.byte(), sizeof angles);
  const double extent = std::clamp(angles[1], -kTurn, kTurn);
  cairo_save(cr);
  cairo_translate(cr, near(n[0]) + near(n[2]) / 2, near(n[1]) + near(n[3]) / 2);
  cairo_scale(cr, width / 2, height / 2);
  cairo_new_sub_path(cr);
  if (c.shape == Shape::kFillArc) cairo_move_to(cr, 0, 0);
  const double start = std::fmod(angles[0], kTurn);
  if (extent < 0) {
    cairo_arc_negative(cr, 0, 0, 1, start, start + extent);
  } else {
    cairo_arc(cr, 0, 0, 1, start, start + extent);
  }
  if (!slice || c.shape == Shape::kFillArc) cairo_close_path(cr);
  cairo_restore(cr);
}

void draw_text(cairo_t *cr, const Command &c) {
  const auto *text = reinterpret_cast<const char *>(c.byte());
  const double x = near(c.number()[0]);
  const double y = near(c.number()[1]);
  Q7TextExtents extents{};
  const bool readable = choose_font(cr, c.ink.font);
  const bool measured = measure_text(c.ink.font, text, &extents);
  const double height = extents.ascent + extents.descent;
  if (c.ink.mode == Q7DC_MODE_OPAQUE && measured) {
    set_color(cr, c.ink.background);
    cairo_rectangle(cr, x, y - extents.ascent, extents.width, height);
    cairo_fill(cr);
    set_color(cr, c.ink.color);
  }
  if (readable) {
    cairo_move_to(cr, x, y);
    cairo_show_text(cr, text);
  } else if (extents.width > 1) {
    cairo_rectangle(cr, x + 0.5, y - extents.ascent + 0.5, extents.width - 1, height - 1);
    cairo_set_line_width(cr, 1);
    cairo_stroke(cr);
  }
}

// Cairo wants pixels multiplied by their opacity, in the machine's byte order.
void draw_image(cairo_t *cr, const Command &c) {
  const int32_t *n = c.number();
  cairo_surface_t *surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, n[2], n[3]);
  if (cairo_surface_status(surface) == CAIRO_STATUS_SUCCESS) {
    uint8_t *rows = cairo_image_surface_get_data(surface);
    const int stride = cairo_image_surface_get_stride(surface);
    const uint8_t *from = c.byte();
    for (int32_t y = 0; y < n[3]; ++y) {
      for (int32_t x = 0; x < n[2]; ++x, from += 4) {
        const uint32_t a = from[3];
        const auto times = [a](uint32_t channel) { return (channel * a + 127) / 255; };
        const uint32_t pixel = a << 24 | times(from[0]) << 16 | times(from[1]) << 8 | times(from[2]);
        std::memcpy(rows + static_cast<ptrdiff_t>(y) * stride + static_cast<ptrdiff_t>(x) * 4, &pixel, sizeof pixel);
      }
    }
    cairo_surface_mark_dirty(surface);
    cairo_set_source_surface(cr, surface, near(n[0]), near(n[1]));
    cairo_pattern_set_filter(cairo_get_source(cr), CAIRO_FILTER_NEAREST);
    cairo_paint(cr);
  }
  // A surface that could not be made hands its error on to the context.
  if (cairo_surface_status(surface) != CAIRO_STATUS_SUCCESS) cairo_set_source_surface(cr, surface, 0, 0);
  cairo_surface_destroy(surface);
}

void draw_command(cairo_t *cr, const Command &c) {
  const int32_t *n = c.number();
  cairo_new_path(cr);
  switch (c.shape) {
    case Shape::kPolyline:
    case Shape::kPolygon:
      trace_points(cr, c);
      if (c.shape == Shape::kPolygon) cairo_close_path(cr);
      stroke(cr, c.ink);
      break;
    case Shape::kFillPolygon:
      trace_points(cr, c);
      cairo_fill(cr);
      break;
    case Shape::kRectangle:
      if (n[2] == 1 || n[3] == 1) {
        cairo_move_to(cr, near(n[0]) + 0.5, near(n[1]) + 0.5);
        cairo_line_to(cr, near(n[0]) + near(n[2]) - 0.5, near(n[1]) + near(n[3]) - 0.5);
      } else {
        cairo_rectangle(cr, near(n[0]) + 0.5, near(n[1]) + 0.5, near(n[2]) - 1, near(n[3]) - 1);
      }
      stroke(cr, c.ink);
      break;
    case Shape::kFillRectangle:
      cairo_rectangle(cr, near(n[0]), near(n[1]), near(n[2]), near(n[3]));
      cairo_fill(cr);
      break;
    case Shape::kEllipse:
    case Shape::kArc:
      trace_ellipse(cr, c, true);
      stroke(cr, c.ink);
      break;
    case Shape::kFillEllipse:
    case Shape::kFillArc:
      trace_ellipse(cr, c, false);
      cairo_fill(cr);
      break;
    case Shape::kText: draw_text(cr, c); break;
    case Shape::kImage: draw_image(cr, c); break;
  }
}

// Inverting in pixels is exact, so pixels that are inverted twice are what they were: no edge is smoothed. In an SVG
// picture it is a colour of its own, the inverse of the picture's background.
void draw_record(cairo_t *cr, const Record &record, const Canvas &canvas, bool pixels) {
  cairo_scale(cr, canvas.scale, canvas.scale);
  set_color(cr, canvas.background);
  cairo_rectangle(cr, 0, 0, canvas.width, canvas.height);
  cairo_fill(cr);
  cairo_set_fill_rule(cr, CAIRO_FILL_RULE_EVEN_ODD);
  for (const Q7Node *node = record.commands.head; node->succ; node = node->succ) {
    const auto &c = *reinterpret_cast<const Command *>(node);
    cairo_save(cr);
    if (!c.clip.all()) {
      cairo_rectangle(cr, near(c.clip.x), near(c.clip.y), near(c.clip.width), near(c.clip.height));
      cairo_clip(cr);
    }
    if (c.ink.mode != Q7DC_MODE_INVERT) {
      set_color(cr, c.ink.color);
    } else if (pixels) {
      set_color(cr, 0xFFFFFF);
      cairo_set_operator(cr, CAIRO_OPERATOR_DIFFERENCE);
      cairo_set_antialias(cr, CAIRO_ANTIALIAS_NONE);
    } else {
      set_color(cr, ~canvas.background & 0xFFFFFF);
    }
    draw_command(cr, c);
    cairo_restore(cr);
  }
}

cairo_status_t append(void *closure, const unsigned char *bytes, unsigned int size) {
  return static_cast<Buffer *>(closure)->append(bytes, size) ? CAIRO_STATUS_SUCCESS : CAIRO_STATUS_NO_MEMORY;
}

const char *message_of(cairo_status_t status) {
  return status == CAIRO_STATUS_SUCCESS ? nullptr : cairo_status_to_string(status);
}

// Finishes the surface too, so that what it writes at its end is known to have been written.
cairo_status_t draw_on(cairo_surface_t *surface, const Record &record, const Canvas &canvas, bool pixels) {
  cairo_t *cr = cairo_create(surface);
  draw_record(cr, record, canvas, pixels);
  const cairo_status_t status = cairo_status(cr);
  cairo_destroy(cr);
  return status != CAIRO_STATUS_SUCCESS ? status : cairo_surface_status(surface);
}

}  // namespace

const char *write_png(const Record &record, const Canvas &canvas, Buffer &out) {
  const auto pixels = [&](int32_t size) { return std::max(1, static_cast<int>(std::ceil(size * canvas.scale))); };
  cairo_surface_t *surface =
      cairo_image_surface_create(CAIRO_FORMAT_RGB24, pixels(canvas.width), pixels(canvas.height));
  cairo_status_t status = draw_on(surface, record, canvas, true);
  if (status == CAIRO_STATUS_SUCCESS) status = cairo_surface_write_to_png_stream(surface, append, &out);
  cairo_surface_destroy(surface);
  return message_of(status);
}

const char *write_svg(const Record &record, const Canvas &canvas, Buffer &out) {
  cairo_surface_t *surface =
      cairo_svg_surface_create_for_stream(append, &out, canvas.width * canvas.scale, canvas.height * canvas.scale);
  cairo_svg_surface_restrict_to_version(surface, CAIRO_SVG_VERSION_1_1);
  cairo_status_t status = draw_on(surface, record, canvas, false);
  cairo_surface_finish(surface);
  if (status == CAIRO_STATUS_SUCCESS) status = cairo_surface_status(surface);
  cairo_surface_destroy(surface);
  return message_of(status);
}

bool measure_text(const FontSpec &font, const char *text, Q7TextExtents *extents) {
  cairo_surface_t *surface = cairo_image_surface_create(CAIRO_FORMAT_A8, 1, 1);
  cairo_t *cr = cairo_create(surface);
  cairo_font_extents_t lines{};
  cairo_text_extents_t measured{};
  if (choose_font(cr, font)) {
    cairo_font_extents(cr, &lines);
    cairo_text_extents(cr, text, &measured);
  } else {
    // What texts of such a size usually measure.
    for (const char *s = text; *s; ++s) measured.x_advance += (*s & 0xC0) == 0x80 ? 0 : 0.6 * font.size;
    lines = {0.93 * font.size, 0.24 * font.size, 1.17 * font.size, 0, 0};
  }
  const bool good = cairo_status(cr) == CAIRO_STATUS_SUCCESS;
  cairo_destroy(cr);
  cairo_surface_destroy(surface);
  if (!good) return false;
  // A hair above a whole pixel is rounding, not width.
  const auto up = [](double value) {
    return static_cast<int32_t>(std::ceil(std::clamp(value, 0.0, 1000000000.0) - 1e-3));
  };
  extents->width = up(measured.x_advance);
  extents->ascent = up(lines.ascent);
  extents->descent = up(lines.descent);
  extents->height = std::max(up(lines.height), extents->ascent + extents->descent);
  return true;
}

// ---- Texts ----

namespace {

// Length of the well-formed character at s, 0 for none.
int character_length(const uint8_t *s) {
  const auto follows = [&](int i, uint8_t low = 0x80, uint8_t high = 0xBF) { return s[i] >= low && s[i] <= high; };
  if (s[0] < 0x80) return 1;
  if (s[0] >= 0xC2 && s[0] <= 0xDF) return follows(1) ? 2 : 0;
  if (s[0] >= 0xE0 && s[0] <= 0xEF) {
    return follows(1, s[0] == 0xE0 ? 0xA0 : 0x80, s[0] == 0xED ? 0x9F : 0xBF) && follows(2) ? 3 : 0;
  }
  if (s[0] >= 0xF0 && s[0] <= 0xF4) {
    return follows(1, s[0] == 0xF0 ? 0x90 : 0x80, s[0] == 0xF4 ? 0x8F : 0xBF) && follows(2) && follows(3) ? 4 : 0;
  }
  return 0;
}

}  // namespace

void clean_text(char *destination, const char *text) {
  const auto *s = reinterpret_cast<const uint8_t *>(text);
  while (*s) {
    const int length = character_length(s);
    if (length == 0) {
      *destination++ = '?';
      ++s;
    } else if (length == 1 && (*s < 0x20 || *s == 0x7F)) {
      *destination++ = ' ';
      ++s;
    } else {
      std::memcpy(destination, s, static_cast<size_t>(length));
      destination += length;
      s += length;
    }
  }
  *destination = 0;
}

}  // namespace q7posix
