// q7drawing: the layer's draw context. It owns the record of what was drawn and a reference on its font. Whatever is in
// force when a drawing message comes (pen, clipping, origin) goes into the command, so the record stands by itself.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <iterator>

#include "core/q7memory.h"
#include "core/q7root.h"
#include "io/q7file.h"
#include "platform/posix/drawing.hpp"
#include "platform/posix/q7posix.h"
#include "platform/posix/record.hpp"
#include "platform/posix/shape.hpp"
#include "ui/q7dc.h"
#include "ui/q7widget.h"

using namespace q7posix;

namespace {

constexpr char kModule[] = "q7drawing";

struct Drawing {  // instance data
  Record record;
  int32_t width, height;  // 267502, 267503
  uint32_t ground;        // colour of the picture where nothing is drawn
  Ink ink;                // its font is that of `font` when a text is drawn
  int32_t pen;            // 267522; -1 after a colour
  Q7Object *font;         // referenced; null for the drawing's own
  Clip clips[Q7DC_DEPTH + 1];
  int32_t clip_depth;
  Place origins[Q7DC_DEPTH + 1];
  int32_t origin_depth;
  uint32_t free_pens[Q7PEN_LAST - Q7PEN_FIRST_FREE + 1];

  const Clip &clip() const { return clips[clip_depth]; }
  const Place &origin() const { return origins[origin_depth]; }
};

// ---- Colours ----

uint32_t channel(double value) {
  return std::isnan(value) ? 0 : static_cast<uint32_t>(std::lround(std::clamp(value, 0.0, 1.0) * 255));
}
uint32_t rgb_of(const double *color) { return channel(color[0]) << 16 | channel(color[1]) << 8 | channel(color[2]); }

// Pens 0 to 9: the widget class's attribute, and what is asked where that class is missing.
struct SchemePen {
  uint32_t attribute;
  int32_t (*function)(double *);
};
constexpr SchemePen kSchemePens[] = {{Q7A_WIDGET_BACKGROUND_COLOR, Q7GetBackgroundColor},
                                     {Q7A_WIDGET_FOREGROUND_COLOR, Q7GetForegroundColor},
                                     {Q7A_WIDGET_TOP_SHADOW_COLOR, Q7GetTopshadowColor},
                                     {Q7A_WIDGET_BOTTOM_SHADOW_COLOR, Q7GetBottomshadowColor},
                                     {Q7A_WIDGET_DOWN_COLOR, Q7GetDownColor},
                                     {Q7A_WIDGET_DOWN_FOREGROUND_COLOR, Q7GetDownForegroundColor},
                                     {Q7A_WIDGET_INPUT_BACKGROUND_COLOR, Q7GetInputBackgroundColor},
                                     {Q7A_WIDGET_ACTIVE_TITLE_COLOR, Q7GetActiveTitleBackgroundColor},
                                     {Q7A_WIDGET_INACTIVE_TITLE_COLOR, Q7GetInactiveTitleBackgroundColor},
                                     {Q7A_WIDGET_TITLE_TEXT_COLOR, Q7GetTitleTextColor}};
constexpr int32_t kSchemeCount = static_cast<int32_t>(std::size(kSchemePens));

uint32_t scheme_color(int32_t pen) {
  double color[4] = {0, 0, 0, 1};
  if (Q7Class *widgets = Q7ClassFind(Q7C_WIDGET)) {
    Q7TagItem query[2] = {{kSchemePens[pen].attribute, word(&color[0])}, {Q7TAG_END, 0}};
    send(&widgets->header, Q7M_GETCLASSATTRS, 0, 0, query);
  } else {
    kSchemePens[pen].function(color);
  }
  return rgb_of(color);
}

bool q7dw_set_pen(Drawing &d, int32_t pen) {
  if (pen < 0 || pen > Q7PEN_LAST) return false;
  if (pen < kSchemeCount) {
    d.ink.color = scheme_color(pen);
  } else {
    d.ink.color = pen < Q7PEN_FIRST_FREE ? 0 : d.free_pens[pen - Q7PEN_FIRST_FREE];
  }
  d.pen = pen;
  return true;
}

bool q7dw_set_pen_color(Drawing &d, uint64_t pen, const double *color) {
  if (!color || pen < Q7PEN_FIRST_FREE || pen > Q7PEN_LAST) return false;
  d.free_pens[pen - Q7PEN_FIRST_FREE] = rgb_of(color);
  if (d.pen == static_cast<int32_t>(pen)) d.ink.color = rgb_of(color);
  return true;
}

// ---- What is in force ----

bool q7dw_set_mode(Drawing &d, int32_t mode) {
  if (mode != Q7DC_MODE_COPY && mode != Q7DC_MODE_OPAQUE && mode != Q7DC_MODE_INVERT) return false;
  d.ink.mode = mode;
  return true;
}

bool q7dw_set_color(Drawing &d, const double *color) {
  if (!color) return false;
  d.ink.color = rgb_of(color);
  d.pen = -1;
  return true;
}

bool q7dw_set_background(Drawing &d, const double *color) {
  if (!color) return false;
  d.ink.background = rgb_of(color);
  return true;
}

bool q7dw_set_line_width(Drawing &d, int32_t width) {
  if (width < 1) return false;
  d.ink.line_width = std::min(width, 10000);
  return true;
}

bool q7dw_set_dash(Drawing &d, int32_t dash) {
  if (dash < Q7DASH_SOLID || dash > Q7DASH_DOTTED) return false;
  d.ink.dash = dash;
  return true;
}

bool q7dw_set_font(Drawing &d, Q7Object *font) {
  if (font && !Q7ObjectIsOfKind(font, Q7C_FONT)) return false;
  Q7Object *old = d.font;
  send(font, Q7M_ADDREF);
  d.font = font;
  send(old, Q7M_RELEASE);
  return true;
}

int32_t narrow(int64_t value) { return static_cast<int32_t>(std::clamp<int64_t>(value, INT32_MIN, INT32_MAX)); }

bool q7dw_push_clip(Drawing &d, const Q7Rect *rect) {
  if (!rect || d.clip_depth >= Q7DC_DEPTH) return false;
  const Clip wanted = {narrow(rect->x + d.origin().x), narrow(rect->y + d.origin().y), std::max(rect->width, 0),
                       std::max(rect->height, 0)};
  const Clip both = intersect(d.clip(), wanted);
  d.clips[++d.clip_depth] = both;
  return true;
}

bool q7dw_push_origin(Drawing &d, const Q7Point *point) {
  if (!point || d.origin_depth >= Q7DC_DEPTH) return false;
  const Place origin = d.origin();
  d.origins[++d.origin_depth] = {origin.x + point->x, origin.y + point->y};
  return true;
}

bool q7dw_pop(int32_t &depth) {
  if (depth == 0) return false;
  --depth;
  return true;
}

// ---- Drawing ----

// A command with what is in force.
Command *q7dw_make(const Drawing &d, Shape shape, uint64_t numbers, uint64_t bytes) {
  Command *c = Record::make(shape, numbers, bytes);
  if (!c) return nullptr;
  c->ink = d.ink;
  c->clip = d.clip();
  return c;
}

bool q7dw_add(Drawing &d, Command *c) {
  if (c->clip.empty()) {
    Q7FreeMem(c, 0);
  } else {
    d.record.add(c);
  }
  return true;
}

void q7dw_place(const Drawing &d, Command &c, int32_t at, int64_t x, int64_t y) {
  c.number()[at] = narrow(x + d.origin().x);
  c.number()[at + 1] = narrow(y + d.origin().y);
}

bool q7dw_points(Drawing &d, Shape shape, uint64_t count, const Q7Point *points) {
  // Counts are 32-bit values; what an int32_t below 0 becomes is none.
  if (!points || count == 0 || count > INT32_MAX) return false;
  Command *c = q7dw_make(d, shape, count * 2, 0);
  if (!c) return false;
  for (uint64_t i = 0; i < count; ++i) q7dw_place(d, *c, static_cast<int32_t>(i * 2), points[i].x, points[i].y);
  return q7dw_add(d, c);
}

bool q7dw_line(Drawing &d, const Q7Point *from, const Q7Point *to) {
  if (!from || !to) return false;
  const Q7Point points[2] = {*from, *to};
  return q7dw_points(d, Shape::kPolyline, 2, points);
}

bool q7dw_rectangle(Drawing &d, Shape shape, const Q7Rect *rect, const double *angles = nullptr) {
  const bool arc = shape == Shape::kArc || shape == Shape::kFillArc;
  if (!rect || rect->width < 1 || rect->height < 1) return false;
  if (arc && (!angles || !std::isfinite(angles[0]) || !std::isfinite(angles[1]))) return false;
  const bool covers = shape == Shape::kFillRectangle && d.clip().all() && d.ink.mode != Q7DC_MODE_INVERT &&
                      d.width > 0 && d.height > 0 && rect->x + d.origin().x <= 0 && rect->y + d.origin().y <= 0 &&
                      rect->x + d.origin().x + rect->width >= d.width &&
                      rect->y + d.origin().y + rect->height >= d.height;
  Command *c = q7dw_make(d, shape, 4, arc ? 2 * sizeof(double) : 0);
  if (!c) return false;
  q7dw_place(d, *c, 0, rect->x, rect->y);
  c->number()[2] = rect->width;
  c->number()[3] = rect->height;
  if (arc) std::memcpy(c->byte(), angles, 2 * sizeof(double));
  // Nothing of what lies below is seen any more.
  if (covers) d.record.clear();
  return q7dw_add(d, c);
}

FontSpec q7dw_font(const Drawing &d) {
  FontSpec font;
  if (!d.font) return font;
  int32_t size = font.size;
  int32_t style = 0;
  Q7TagItem query[3] = {{Q7A_FONT_SIZE, word(&size)}, {Q7A_FONT_STYLE, word(&style)}, {Q7TAG_END, 0}};
  send(d.font, Q7M_GET, 0, 0, query);
  return {size, static_cast<uint32_t>(style)};
}

bool q7dw_text(Drawing &d, const char *text, const Q7Point *point) {
  if (!text || !point) return false;
  if (!*text) return true;
  Command *c = q7dw_make(d, Shape::kText, 2, std::strlen(text) + 1);
  if (!c) return false;
  q7dw_place(d, *c, 0, point->x, point->y);
  clean_text(reinterpret_cast<char *>(c->byte()), text);
  c->ink.font = q7dw_font(d);
  return q7dw_add(d, c);
}

bool q7dw_image(Drawing &d, const Q7Image *image, const Q7Point *point) {
  constexpr int32_t kMost = 16384;
  if (!image || !point || !image->pixels) return false;
  if (image->width < 1 || image->height < 1 || image->width > kMost || image->height > kMost) return false;
  const uint64_t bytes = static_cast<uint64_t>(image->width) * static_cast<uint64_t>(image->height) * 4;
  Command *c = q7dw_make(d, Shape::kImage, 5, bytes);
  if (!c) return false;
  q7dw_place(d, *c, 0, point->x, point->y);
  c->number()[2] = image->width;
  c->number()[3] = image->height;
  std::memcpy(c->byte(), image->pixels, bytes);
  c->number()[4] = 1;
  for (uint64_t i = 3; i < bytes; i += 4) {
    if (image->pixels[i] != 255) c->number()[4] = 0;
  }
  return q7dw_add(d, c);
}

bool q7dw_icon(Drawing &d, Q7Object *icon, const Q7Point *point) {
  if (!icon || !point || !Q7ObjectIsOfKind(icon, Q7C_ICON)) return false;
  const Q7Image *image = nullptr;
  Q7TagItem query[2] = {{Q7A_ICON_IMAGE, word(&image)}, {Q7TAG_END, 0}};
  send(icon, Q7M_GET, 0, 0, query);
  return image && q7dw_image(d, image, point);
}

bool q7dw_draw(Drawing &d, Q7Object *other, const Q7Point *point) {
  Drawing *from = nullptr;
  for (Q7Class *cl = other ? other->cl : nullptr; cl; cl = cl->super) {
    if (cl->header.clid == Q7C_DRAWING) from = &data<Drawing>(cl, other);
  }
  if (!from || from == &d) return false;
  const Q7Point origin = {0, 0};
  if (!point) point = &origin;
  return d.record.join(from->record, narrow(d.origin().x + point->x), narrow(d.origin().y + point->y), d.clip());
}

// ---- Writing the picture ----

struct Output {
  int32_t format = -1;  // -1: the path's end says it
  const char *path = nullptr;
  Q7Object *stream = nullptr;
  int32_t percent = 100;
};

bool ends_with(const char *path, const char *end) {
  const size_t length = path ? std::strlen(path) : 0;
  const size_t wanted = std::strlen(end);
  return length >= wanted && strcasecmp(path + length - wanted, end) == 0;
}

Output q7dw_output(Q7TagItem *list) {
  Output o;
  each_tag(list, [&](const Q7TagItem &item) {
    switch (item.tag) {
      case Q7A_DRAWING_FORMAT: o.format = static_cast<int32_t>(item.data); break;
      case Q7A_DRAWING_PATH: o.path = reinterpret_cast<const char *>(item.data); break;
      case Q7A_DRAWING_STREAM: o.stream = reinterpret_cast<Q7Object *>(item.data); break;
      case Q7A_DRAWING_SCALE: o.percent = static_cast<int32_t>(item.data); break;
      default: break;
    }
  });
  if (o.format < 0) {
    o.format = ends_with(o.path, ".svg") ? Q7DRAWING_SVG : ends_with(o.path, ".png") ? Q7DRAWING_PNG : Q7DRAWING_TEXT;
  }
  return o;
}

// 0, or the error number.
int write_all(int file, const Buffer &bytes) {
  for (uint64_t done = 0; done < bytes.size();) {
    const ssize_t written = write(file, bytes.data() + done, bytes.size() - done);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return errno;
    done += static_cast<uint64_t>(written);
  }
  return 0;
}

bool write_file(const char *path, const Buffer &bytes) {
  const int file = open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  int error = file < 0 ? errno : 0;
  if (file >= 0) {
    error = write_all(file, bytes);
    struct stat status {};
    const bool regular = fstat(file, &status) == 0 && S_ISREG(status.st_mode);
    if (close(file) != 0 && !error) error = errno;
    if (error && regular) unlink(path);
  }
  if (!error) return true;
  Q7P_ERROR(kModule, "Cannot write the picture %s: %s", path, strerrordesc_np(error));
  return false;
}

bool write_stream(Q7Object *stream, const Buffer &bytes) {
  Q7TagItem block[3] = {{Q7A_FILE_BUFFER, word(bytes.data())}, {Q7A_FILE_LENGTH, bytes.size()}, {Q7TAG_END, 0}};
  if (Q7ObjectIsOfKind(stream, Q7C_FILE) && send(stream, Q7M_FILE_WRITE, 0, 0, block)) return true;
  Q7P_ERROR(kModule, "Cannot write the picture to its stream");
  return false;
}

bool q7dw_write(const Drawing &d, Q7TagItem *list) {
  const Output o = q7dw_output(list);
  constexpr int32_t kMostPixels = 32000;
  if (o.percent < 1 || o.percent > 1000 || o.format > Q7DRAWING_PNG || (!o.path && !o.stream)) return false;
  if (d.width < 1 || d.height < 1 || int64_t{d.width} * o.percent / 100 > kMostPixels ||
      int64_t{d.height} * o.percent / 100 > kMostPixels) {
    Q7P_ERROR(kModule, "A picture of %d x %d pixels cannot be written", d.width, d.height);
    return false;
  }
  const Canvas canvas = {d.width, d.height, d.ground, o.percent / 100.0};
  Buffer bytes;
  const char *error = nullptr;
  switch (o.format) {
    case Q7DRAWING_SVG: error = write_svg(d.record, canvas, bytes); break;
    case Q7DRAWING_PNG: error = write_png(d.record, canvas, bytes); break;
    default: error = write_text(d.record, canvas, bytes) ? nullptr : "out of memory"; break;
  }
  if (error) {
    Q7P_ERROR(kModule, "Cannot draw the picture: %s", error);
    return false;
  }
  return o.stream ? write_stream(o.stream, bytes) : write_file(o.path, bytes);
}

// ---- Attributes and life ----

bool q7dw_set(Drawing &d, const Q7TagItem &item) {
  const auto number = static_cast<int32_t>(item.data);
  const auto *color = reinterpret_cast<const double *>(item.data);
  switch (item.tag) {
    case Q7A_DC_WIDTH: d.width = std::max(number, 0); return true;
    case Q7A_DC_HEIGHT: d.height = std::max(number, 0); return true;
    case Q7A_DC_LINE_WIDTH: q7dw_set_line_width(d, number); return true;
    case Q7A_DC_DASH: q7dw_set_dash(d, number); return true;
    case Q7A_DC_FONT: q7dw_set_font(d, reinterpret_cast<Q7Object *>(item.data)); return true;
    case Q7A_DC_COLOR: q7dw_set_color(d, color); return true;
    case Q7A_DC_BACKGROUND: q7dw_set_background(d, color); return true;
    case Q7A_DC_PEN: q7dw_set_pen(d, number); return true;
    case Q7A_DC_MODE: q7dw_set_mode(d, number); return true;
    default: return false;
  }
}

bool store_color(const Q7TagItem &item, uint32_t rgb) {
  const double color[3] = {((rgb >> 16) & 255) / 255.0, ((rgb >> 8) & 255) / 255.0, (rgb & 255) / 255.0};
  if (item.data) std::memcpy(reinterpret_cast<void *>(item.data), color, sizeof color);
  return true;
}

bool q7dw_get(const Drawing &d, const Q7TagItem &item) {
  switch (item.tag) {
    case Q7A_DC_WIDTH: return store<int32_t>(item, d.width);
    case Q7A_DC_HEIGHT: return store<int32_t>(item, d.height);
    case Q7A_DC_LINE_WIDTH: return store<int32_t>(item, d.ink.line_width);
    case Q7A_DC_DASH: return store<int32_t>(item, d.ink.dash);
    case Q7A_DC_FONT: return store<Q7Object *>(item, d.font);
    case Q7A_DC_COLOR: return store_color(item, d.ink.color);
    case Q7A_DC_BACKGROUND: return store_color(item, d.ink.background);
    case Q7A_DC_PEN: return store<int32_t>(item, d.pen);
    case Q7A_DC_MODE: return store<int32_t>(item, d.ink.mode);
    case Q7A_DRAWING_COUNT: return store<int32_t>(item, narrow(static_cast<int64_t>(d.record.count)));
    default: return false;
  }
}

uint64_t q7dw_new(Q7Class *cl, Q7Object *receiver, uint64_t a, uint64_t b, Q7TagItem *list) {
  auto *obj = reinterpret_cast<Q7Object *>(inherit(cl, receiver, Q7M_NEW, a, b, list));
  if (!obj) return 0;
  auto &d = data<Drawing>(cl, obj);
  d.record.init();
  d.clips[0] = Clip{};
  d.ink = Ink{};
  d.ground = d.ink.background = scheme_color(Q7PEN_BACKGROUND);
  q7dw_set_pen(d, Q7PEN_FOREGROUND);
  each_tag(list, [&](const Q7TagItem &item) { q7dw_set(d, item); });
  return word(obj);
}

uint64_t q7dw_dispose(Q7Class *cl, Q7Object *obj, uint64_t a, uint64_t b, Q7TagItem *list) {
  auto &d = data<Drawing>(cl, obj);
  d.record.clear();
  send(d.font, Q7M_RELEASE);
  d.font = nullptr;
  return inherit(cl, obj, Q7M_DISPOSE, a, b, list);
}

uint64_t q7dw_copy(Q7Class *cl, Q7Object *obj, uint64_t a, uint64_t b, Q7TagItem *list) {
  auto *copy = reinterpret_cast<Q7Object *>(inherit(cl, obj, Q7M_COPY, a, b, list));
  if (!copy) return 0;
  auto &d = data<Drawing>(cl, copy);
  d.record.init();
  send(d.font, Q7M_ADDREF);
  if (d.record.join(data<Drawing>(cl, obj).record, 0, 0, Clip{})) return word(copy);
  send(copy, Q7M_DISPOSE, a);
  return 0;
}

uint64_t q7dw_clear(Drawing &d) {
  d.record.clear();
  d.ground = scheme_color(Q7PEN_BACKGROUND);
  return 1;
}

uint64_t q7dw_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *list) {
  if (method == Q7M_NEW) return q7dw_new(cl, obj, a, b, list);
  // Messages to the class itself have no instance behind them.
  if (&obj->cl->header == obj) return inherit(cl, obj, method, a, b, list);
  auto &d = data<Drawing>(cl, obj);
  const auto number = static_cast<int32_t>(word(list));
  const auto *point = reinterpret_cast<const Q7Point *>(list);
  const auto *rect = reinterpret_cast<const Q7Rect *>(list);
  const auto *real = reinterpret_cast<const double *>(list);
  switch (method) {
    case Q7M_DISPOSE: return q7dw_dispose(cl, obj, a, b, list);
    case Q7M_SET: return walk<Drawing>(cl, obj, method, list, q7dw_set);
    case Q7M_GET: return walk<Drawing>(cl, obj, method, list, q7dw_get);
    case Q7M_COPY: return q7dw_copy(cl, obj, a, b, list);
    case Q7M_DC_CLEAR: return q7dw_clear(d);
    case Q7M_DC_SET_PEN_COLOR: return q7dw_set_pen_color(d, a, real);
    case Q7M_DC_SET_COLOR: return q7dw_set_color(d, real);
    case Q7M_DC_SET_BACKGROUND: return q7dw_set_background(d, real);
    case Q7M_DC_SET_LINE_WIDTH: return q7dw_set_line_width(d, number);
    case Q7M_DC_SET_PEN: return q7dw_set_pen(d, number);
    case Q7M_DC_SET_MODE: return q7dw_set_mode(d, number);
    case Q7M_DC_SET_DASH: return q7dw_set_dash(d, number);
    case Q7M_DC_SET_FONT: return q7dw_set_font(d, reinterpret_cast<Q7Object *>(list));
    case Q7M_DC_PIXEL: return q7dw_points(d, Shape::kPolyline, 1, point);
    case Q7M_DC_LINE: return q7dw_line(d, reinterpret_cast<const Q7Point *>(a), point);
    case Q7M_DC_POLYLINE: return q7dw_points(d, Shape::kPolyline, a, point);
    case Q7M_DC_POLYGON: return q7dw_points(d, Shape::kPolygon, a, point);
    case Q7M_DC_FILL_POLYGON: return q7dw_points(d, Shape::kFillPolygon, a, point);
    case Q7M_DC_RECTANGLE: return q7dw_rectangle(d, Shape::kRectangle, rect);
    case Q7M_DC_FILL_RECTANGLE: return q7dw_rectangle(d, Shape::kFillRectangle, rect);
    case Q7M_DC_ELLIPSE: return q7dw_rectangle(d, Shape::kEllipse, rect);
    case Q7M_DC_FILL_ELLIPSE: return q7dw_rectangle(d, Shape::kFillEllipse, rect);
    case Q7M_DC_ARC: return q7dw_rectangle(d, Shape::kArc, reinterpret_cast<const Q7Rect *>(a), real);
    case Q7M_DC_FILL_ARC: return q7dw_rectangle(d, Shape::kFillArc, reinterpret_cast<const Q7Rect *>(a), real);
    case Q7M_DC_TEXT: return q7dw_text(d, reinterpret_cast<const char *>(a), point);
    case Q7M_DC_TEXT_EXTENTS:
      return text_extents(q7dw_font(d), reinterpret_cast<const char *>(a), reinterpret_cast<Q7TextExtents *>(list));
    case Q7M_DC_IMAGE: return q7dw_image(d, reinterpret_cast<const Q7Image *>(a), point);
    case Q7M_DC_ICON: return q7dw_icon(d, reinterpret_cast<Q7Object *>(a), point);
    case Q7M_DC_PUSH_CLIP: return q7dw_push_clip(d, rect);
    case Q7M_DC_POP_CLIP: return q7dw_pop(d.clip_depth);
    case Q7M_DC_PUSH_ORIGIN: return q7dw_push_origin(d, point);
    case Q7M_DC_POP_ORIGIN: return q7dw_pop(d.origin_depth);
    case Q7M_DRAWING_WRITE: return q7dw_write(d, list);
    case Q7M_DRAWING_DRAW: return q7dw_draw(d, reinterpret_cast<Q7Object *>(a), point);
    default: return inherit(cl, obj, method, a, b, list);
  }
}

constexpr ClassDef drawing_class = {Q7C_DRAWING,
                                    Q7C_DRAW_CONTEXT,
                                    "q7drawing",
                                    q7dw_dispatch,
                                    sizeof(Drawing),
                                    Q7RegisterDrawContextClass,
                                    "Recording Draw Context"};

}  // namespace

namespace q7posix {

bool text_extents(const FontSpec &font, const char *text, Q7TextExtents *extents) {
  if (!text || !extents) return false;
  char small[256];
  const size_t size = std::strlen(text) + 1;
  auto *clean = size <= sizeof small ? small : static_cast<char *>(Q7AllocMem(size, 0));
  if (!clean) {
    Q7P_ERROR(kModule, "No memory to measure a text");
    return false;
  }
  clean_text(clean, text);
  const bool good = measure_text(font, clean, extents);
  if (!good) Q7P_ERROR(kModule, "A text cannot be measured");
  if (clean != small) Q7FreeMem(clean, size);
  return good;
}

}  // namespace q7posix

int32_t Q7RegisterDrawingClass(Q7App *app) { return register_class(app, drawing_class); }
