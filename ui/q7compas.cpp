// q7compas: the compass. It owns a reference on its pop-up while it is open. Positions are pixels of the parent; what
// is drawn is moved by the pop-up's corner.
#include "ui/q7compas.h"

#include <cmath>
#include <cstring>

#include "core/q7objects.h"
#include "core/q7root.h"
#include "core/q7typeid.h"
#include "core/report.hpp"
#include "ui/compass.hpp"
#include "ui/q7dc.h"
#include "ui/widget.hpp"

namespace {

using q7::compass::Choice;

constexpr char kModule[] = "q7compas";

struct Settings {
  int32_t radius = 60;
  int32_t dead_radius = 5;
  double speed = 0.5;
  int32_t invisible = 0;
  int32_t needle_invisible = 0;
  int32_t simple_needle = 1;
};
Settings settings;

constexpr Q7PublicAttribute compass_attributes[] = {
    {"Radius", Q7A_COMPASS_RADIUS, Q7TID_INT, 0, {}, 0, {}},
    {"DeadRadius", Q7A_COMPASS_DEAD_RADIUS, Q7TID_INT, 0, {}, 0, {}},
    {"MouseSpeed", Q7A_COMPASS_SPEED, Q7TID_FLOAT, 0, {}, 0, {}},
    {"CompassInvisible", Q7A_COMPASS_INVISIBLE, Q7TID_BOOL, 0, {}, 0, {}},
    {"NeedleInvisible", Q7A_COMPASS_NEEDLE_INVISIBLE, Q7TID_BOOL, 0, {}, 0, {}},
    {"SimpleNeedle", Q7A_COMPASS_SIMPLE_NEEDLE, Q7TID_BOOL, 0, {}, 0, {}},
    {nullptr, 0, 0, 0, {}, 0, {}},
};

// The platform's window attributes and what they are set to: a borderless pop-up above its parent.
enum : uint32_t { kInnerWidth = 20510, kInnerHeight = 20511, kWindowValue = 20523, kFirstPen = 20535, kFont = 41513 };
enum : uint32_t { kFontHeight = 11501, kFontAscent = 11504 };
constexpr Q7TagItem kPopup[] = {{20526, 2}, {20517, 1}, {20501, 0}, {20519, 0}, {20500, 12}, {20525, 1}};

enum Pen { kRosePen, kSpokePen, kLabelPen, kChosenPen, kNeedlePen, kPens };

struct Position {
  int32_t x, y;
  bool operator==(const Position &) const = default;
};

struct Compass {
  Q7Object *parent;       // 899500
  uint64_t parent_value;  // the parent's 20523
  Q7Object *target;       // 899501
  int32_t method;         // 899502
  int32_t rings;          // 899503
  uint64_t value;         // 899504
  Q7Object *popup;        // referenced; null while closed
  Q7Object *dc;           // the pop-up's, gone with it: used while there is a pop-up
  Position mouse;         // where the mouse was when it was opened
  Position start;         // where the needle was then
  Position needle;
  Position corner;  // of the pop-up
  Position centre;
  Choice last;          // reported last; -1 before
  int32_t shown;        // 1 once the pop-up was shown
  int32_t redraw;       // 1 while the rose is to be drawn again
  int32_t needle_seen;  // 1 while the needle stands inverted in the pop-up
  int32_t pens[kPens];
  int32_t font_height, font_ascent;
  q7::WeakField parent_link, target_link, popup_link;
};

// Messages under way to the target, which may delete the compass.
struct Reporting {
  Q7Object *compass;  // null once it was disposed of
  Reporting *outer;
};
Reporting *reporting;

// ---- Class attributes ----

bool q7cp_set_class(const Q7TagItem &item) {
  switch (item.tag) {
    case Q7A_COMPASS_RADIUS: settings.radius = q7::value<int32_t>(item); return true;
    case Q7A_COMPASS_DEAD_RADIUS: settings.dead_radius = q7::value<int32_t>(item); return true;
    case Q7A_COMPASS_SPEED:
      if (item.data) std::memcpy(&settings.speed, q7::value<const void *>(item), sizeof settings.speed);
      return true;
    case Q7A_COMPASS_INVISIBLE: settings.invisible = q7::flag(item); return true;
    case Q7A_COMPASS_NEEDLE_INVISIBLE: settings.needle_invisible = q7::flag(item); return true;
    case Q7A_COMPASS_SIMPLE_NEEDLE: settings.simple_needle = q7::flag(item); return true;
    default: return false;
  }
}

bool q7cp_get_class(const Q7TagItem &item) {
  switch (item.tag) {
    case Q7A_COMPASS_RADIUS: return q7::store<int32_t>(item, settings.radius);
    case Q7A_COMPASS_DEAD_RADIUS: return q7::store<int32_t>(item, settings.dead_radius);
    case Q7A_COMPASS_SPEED: return q7::store<double>(item, settings.speed);
    case Q7A_COMPASS_INVISIBLE: return q7::store<int32_t>(item, settings.invisible);
    case Q7A_COMPASS_NEEDLE_INVISIBLE: return q7::store<int32_t>(item, settings.needle_invisible);
    case Q7A_COMPASS_SIMPLE_NEEDLE: return q7::store<int32_t>(item, settings.simple_needle);
    default: return false;
  }
}

// ---- Drawing ----

void q7cp_pen(const Compass &c, Pen pen) { q7::send(c.dc, Q7M_DC_SET_PEN, 0, 0, q7::slot(c.pens[pen])); }
void q7cp_mode(const Compass &c, int32_t mode) { q7::send(c.dc, Q7M_DC_SET_MODE, 0, 0, q7::slot(mode)); }
template <uint64_t N>
bool q7cp_lines(const Compass &c, const Q7Point (&points)[N]) {
  return q7::send(c.dc, Q7M_DC_POLYLINE, N, 0, q7::slot(&points[0])) != 0;
}

Position q7cp_local(const Compass &c, Position p) { return {p.x - c.corner.x, p.y - c.corner.y}; }

// Eight spokes, those of the four winds longer by 10 pixels, and four lines that join each wind's point with the next.
void q7cp_draw_ring(const Compass &c, int32_t inner, int32_t outer) {
  const Position o = q7cp_local(c, c.centre);
  for (int i = 0; i < 8; ++i) {
    Q7Point spoke[2] = {q7::compass::direction_point(o.x, o.y, inner, i),
                        q7::compass::direction_point(o.x, o.y, outer, i)};
    constexpr int32_t kLonger = 10;
    if (i == 0) spoke[1].y = q7::compass::coordinate(spoke[1].y - kLonger);
    if (i == 2) spoke[1].x = q7::compass::coordinate(spoke[1].x + kLonger);
    if (i == 4) spoke[1].y = q7::compass::coordinate(spoke[1].y + kLonger);
    if (i == 6) spoke[1].x = q7::compass::coordinate(spoke[1].x - kLonger);
    q7cp_pen(c, i == c.last.direction ? kSpokePen : kRosePen);
    q7cp_lines(c, spoke);
  }
  q7cp_pen(c, kRosePen);
  for (int i = 0; i < 8; i += 2) {
    const Q7Point line[2] = {q7::compass::direction_point(o.x, o.y, outer, i),
                             q7::compass::direction_point(o.x, o.y, outer, i + 1)};
    q7cp_lines(c, line);
  }
}

void q7cp_draw_rose(Compass &c) {
  c.redraw = 0;
  if (settings.invisible) return;
  q7cp_mode(c, Q7DC_MODE_COPY);
  const int32_t half = settings.radius / 2;
  q7cp_draw_ring(c, settings.dead_radius, half);
  q7cp_draw_ring(c, settings.radius, static_cast<int32_t>(static_cast<int64_t>(settings.radius) + half));
}

// The letters of the winds as lines, in fourths of their width and height.
struct Glyph {
  char letter;
  int32_t count;
  int8_t x[10], y[10];
};
constexpr Glyph kGlyphs[] = {{'N', 4, {0, 0, 4, 4}, {4, 0, 4, 0}},
                             {'E', 7, {4, 0, 0, 3, 0, 0, 4}, {0, 0, 2, 2, 2, 4, 4}},
                             {'S', 6, {4, 0, 0, 4, 4, 0}, {0, 0, 2, 2, 4, 4}},
                             {'W', 5, {0, 1, 2, 3, 4}, {0, 4, 1, 4, 0}}};
constexpr const char *kLabels[8] = {"N", "NE", "E", "SE", "S", "SW", "W", "NW"};

void q7cp_draw_letter(const Compass &c, char letter, int32_t x, int32_t y, int32_t width, int32_t height) {
  for (const Glyph &glyph : kGlyphs) {
    if (glyph.letter != letter) continue;
    Q7Point points[10];
    for (int32_t i = 0; i < glyph.count; ++i) {
      points[i] = q7::compass::point(x + glyph.x[i] * width / 4, y + glyph.y[i] * height / 4);
    }
    q7::send(c.dc, Q7M_DC_POLYLINE, q7::arg(glyph.count), 0, q7::slot(&points[0]));
  }
}

// Labels stand around the outer ring, centred a line's height beyond the ends of the spokes.
void q7cp_draw_labels(const Compass &c) {
  const Position o = q7cp_local(c, c.centre);
  const int32_t height = std::clamp(c.font_ascent, 4, 100);
  const int32_t width = height * 3 / 4;
  const int32_t line = std::clamp(c.font_height, height, 200);
  const int64_t ring = static_cast<int64_t>(settings.radius) + settings.radius / 2;
  q7cp_mode(c, Q7DC_MODE_OPAQUE);
  for (int i = 0; i < 8; ++i) {
    const int64_t beyond = ring + (i % 2 == 0 ? 10 : 0) + line;
    const Q7Point middle = q7::compass::direction_point(o.x, o.y, beyond, i);
    const auto letters = static_cast<int32_t>(std::strlen(kLabels[i]));
    const int32_t gap = 2;
    int32_t x = middle.x - (letters * width + (letters - 1) * gap) / 2;
    q7cp_pen(c, i == c.last.direction ? kChosenPen : kLabelPen);
    for (const char *letter = kLabels[i]; *letter; ++letter, x += width + gap) {
      q7cp_draw_letter(c, *letter, x, middle.y - height / 2, width, height);
    }
  }
}

// An arrow: a shaft up to the head, and the head as a triangle, so that no pixel but its base is inverted twice.
bool q7cp_draw_arrow(const Compass &c, Position from, Position to) {
  constexpr double kHead = 10;
  const double dx = to.x - from.x;
  const double dy = to.y - from.y;
  const double length = std::sqrt(dx * dx + dy * dy);
  const double head = std::min(kHead, length);
  const double ux = dx / length * head;
  const double uy = dy / length * head;
  const auto at = [](double x, double y) { return q7::compass::point(std::llround(x), std::llround(y)); };
  const Q7Point base = at(to.x - ux, to.y - uy);
  const Q7Point tip = q7::compass::point(to.x, to.y);
  const Q7Point shaft[2] = {q7::compass::point(from.x, from.y), base};
  const Q7Point triangle[4] = {at(to.x - ux - uy / 2, to.y - uy + ux / 2), tip,
                               at(to.x - ux + uy / 2, to.y - uy - ux / 2), at(to.x - ux - uy / 2, to.y - uy + ux / 2)};
  const bool drawn = q7cp_lines(c, shaft);
  return q7cp_lines(c, triangle) || drawn;
}

bool q7cp_invert_needle(const Compass &c) {
  const Position from = q7cp_local(c, c.centre);
  const Position to = q7cp_local(c, c.needle);
  q7cp_mode(c, Q7DC_MODE_INVERT);
  q7cp_pen(c, kNeedlePen);
  bool drawn;
  if (settings.simple_needle || from == to) {
    const Q7Point line[2] = {q7::compass::point(from.x, from.y), q7::compass::point(to.x, to.y)};
    drawn = q7cp_lines(c, line);
  } else {
    drawn = q7cp_draw_arrow(c, from, to);
  }
  q7cp_mode(c, Q7DC_MODE_COPY);
  return drawn;
}

void q7cp_draw_needle(Compass &c) {
  if (!settings.needle_invisible && c.popup) c.needle_seen = q7cp_invert_needle(c);
}

// What was not drawn cannot be taken away by drawing it.
void q7cp_erase_needle(Compass &c) {
  if (c.needle_seen && c.popup) q7cp_invert_needle(c);
  c.needle_seen = 0;
}

// ---- Opening and closing ----

bool q7cp_event(const void *event, Position &mouse) {
  if (!event) return false;
  int16_t place[2];
  std::memcpy(place, static_cast<const char *>(event) + 12, sizeof place);
  mouse = {place[0], place[1]};
  return true;
}

int32_t q7cp_narrow(int64_t value) { return static_cast<int32_t>(std::clamp<int64_t>(value, INT32_MIN, INT32_MAX)); }

// The corner of a pop-up that is centred on the mouse and pushed inside the parent.
int32_t q7cp_inside(int32_t mouse, int32_t size, int32_t room) {
  int32_t corner = std::max(mouse - size / 2, 0);
  if (corner > room - size) corner = room - size;
  return corner;
}

void q7cp_make_popup(Compass &c, Position size) {
  // The last place of the list stays its end.
  Q7TagItem list[13] = {{Q7A_WIDGET_PARENT, q7::arg(c.parent)},
                        {Q7A_WIDGET_X, q7::arg(c.corner.x)},
                        {Q7A_WIDGET_Y, q7::arg(c.corner.y)},
                        {Q7A_WIDGET_WIDTH, q7::arg(size.x)},
                        {Q7A_WIDGET_HEIGHT, q7::arg(size.y)}};
  int i = 5;
  for (const Q7TagItem &item : kPopup) list[i++] = item;
  list[i] = {Q7A_WIDGET_SHOWN, 1};
  Q7Object *popup = Q7ObjectCreateA(Q7C_WINDOW, list);
  if (!popup) return;
  c.popup_link.assign(c.popup, popup);
  q7::send(popup, Q7M_WIDGET_REALIZE);
  q7::add_reference(c.popup);
  c.dc = q7::get_attribute<Q7Object *>(c.popup, kWindowValue);
  auto *font = q7::get_attribute<Q7Object *>(c.popup, kFont);
  for (uint32_t pen = 0; pen < kPens; ++pen) c.pens[pen] = q7::get_attribute<int32_t>(c.parent, kFirstPen + pen);
  c.font_height = font ? q7::get_attribute<int32_t>(font, kFontHeight, 10) : 10;
  c.font_ascent = font ? q7::get_attribute<int32_t>(font, kFontAscent, 8) : 8;
}

uint64_t q7cp_open(Compass &c, const void *event) {
  if (!c.parent) return 1;
  Position mouse;
  if (!q7cp_event(event, mouse)) return 0;
  // A second opening changes nothing: the needle goes on where it is.
  if (c.popup) {
    Q7_REPORT_ERROR(kModule, "Internal error: compass already open");
    return 1;
  }
  const Position room = {q7::get_attribute<int32_t>(c.parent, kInnerWidth),
                         q7::get_attribute<int32_t>(c.parent, kInnerHeight)};
  const int64_t reach = (static_cast<int64_t>(c.rings) * settings.radius + settings.dead_radius) * 2;
  const Position size = {q7cp_narrow(std::min<int64_t>(reach + 40, room.x)),
                         q7cp_narrow(std::min<int64_t>(reach + 10, room.y))};
  c.corner = {q7cp_inside(mouse.x, size.x, room.x), q7cp_inside(mouse.y, size.y, room.y)};
  c.mouse = mouse;
  // Moved by as much as the pop-up was: it begins at the centre.
  c.start = {mouse.x + c.corner.x - (mouse.x - size.x / 2), mouse.y + c.corner.y - (mouse.y - size.y / 2)};
  c.centre = {c.corner.x + size.x / 2, c.corner.y + size.y / 2};
  c.needle = c.start;
  c.last = {-1, -1};
  c.shown = c.redraw = c.needle_seen = 0;
  q7cp_make_popup(c, size);
  return 1;
}

uint64_t q7cp_close(Compass &c) {
  q7cp_erase_needle(c);
  Q7Object *popup = c.popup;
  c.popup_link.assign(c.popup, nullptr);
  c.dc = nullptr;
  if (!popup) return 1;
  q7::set_attribute(popup, Q7A_WIDGET_PARENT, 0);
  q7::release(popup);
  return 1;
}

// ---- Moving ----

Choice q7cp_choose(const Compass &c) {
  return q7::compass::choose(c.needle.x - c.centre.x, c.needle.y - c.centre.y, settings.radius, settings.dead_radius,
                             c.rings);
}

// Tells the target. False when the compass went meanwhile.
bool q7cp_report(const Compass &c, Q7Object *self, uint64_t final, Choice choice) {
  if (!c.target) return true;
  Reporting r = {self, reporting};
  reporting = &r;
  q7::send(c.target, q7::as<uint32_t>(q7::arg(c.method)), final, q7::arg(choice.ring), q7::slot(choice.direction));
  reporting = r.outer;
  return r.compass != nullptr;
}

int32_t q7cp_follow(int32_t start, int32_t mouse, int32_t mouse_start) {
  const double place = start + (static_cast<double>(mouse) - mouse_start) * settings.speed;
  // Offsets stay small enough for squares of 64 bits; not a number leaves the needle where it began.
  if (std::isnan(place)) return start;
  return static_cast<int32_t>(std::clamp(place, -1e8, 1e8));
}

uint64_t q7cp_move(Compass &c, Q7Object *self, const void *event) {
  Position mouse;
  if (!q7cp_event(event, mouse)) return 0;
  if (!c.popup) return 1;
  const Position needle = {q7cp_follow(c.start.x, mouse.x, c.mouse.x), q7cp_follow(c.start.y, mouse.y, c.mouse.y)};
  if (needle == c.needle) return 1;
  q7cp_erase_needle(c);
  c.needle = needle;
  const Choice choice = q7cp_choose(c);
  if (choice == c.last) {
    q7cp_draw_needle(c);
    return 1;
  }
  c.last = choice;
  q7cp_draw_rose(c);
  q7cp_draw_labels(c);
  q7cp_draw_needle(c);
  if (!q7cp_report(c, self, 0, choice)) return 1;
  if (!c.shown && c.popup) {
    c.shown = 1;
    q7::set_attribute(c.popup, Q7A_WIDGET_SHOWN, 1);
  }
  return 1;
}

uint64_t q7cp_final(Compass &c, Q7Object *self) {
  if (c.target && !q7cp_report(c, self, 1, q7cp_choose(c))) return 1;
  return q7cp_close(c);
}

uint64_t q7cp_redraw(Compass &c) {
  if (!c.value) return 1;
  // The pixels were lost, the needle's too.
  c.redraw = 1;
  c.needle_seen = 0;
  if (!c.popup) return 1;
  q7cp_draw_rose(c);
  q7cp_draw_labels(c);
  q7cp_draw_needle(c);
  return 1;
}

// ---- Attributes and life ----

bool q7cp_set(Compass &c, const Q7TagItem &item) {
  switch (item.tag) {
    case Q7A_COMPASS_PARENT:
      c.parent_link.assign(c.parent, q7::value<Q7Object *>(item));
      c.parent_value = c.parent ? q7::get_attribute<uint64_t>(c.parent, kWindowValue) : 0;
      return true;
    case Q7A_COMPASS_TARGET: c.target_link.assign(c.target, q7::value<Q7Object *>(item)); return true;
    case Q7A_COMPASS_METHOD: c.method = q7::value<int32_t>(item); return true;
    case Q7A_COMPASS_RINGS: c.rings = q7::value<int32_t>(item); return true;
    case Q7A_COMPASS_VALUE: c.value = item.data; return true;
    default: return false;
  }
}

uint64_t q7cp_new(Q7Class *cl, Q7Object *receiver, uint64_t a, uint64_t b, Q7TagItem *tags) {
  return q7::create<Compass>(cl, receiver, a, b, tags, q7cp_set, [](Compass &c, Q7Object *) {
    c.last = {-1, -1};
    return true;
  });
}

uint64_t q7cp_dispose(Q7Class *cl, Q7Object *self, uint64_t a, uint64_t b, Q7TagItem *tags) {
  auto &c = q7::data<Compass>(cl, self);
  for (Reporting *r = reporting; r; r = r->outer) {
    if (r->compass == self) r->compass = nullptr;
  }
  q7cp_close(c);
  c.parent_link.drop();
  c.target_link.drop();
  return q7::inherit(cl, self, Q7M_DISPOSE, a, b, tags);
}

uint64_t q7cp_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  switch (method) {
    case Q7M_NEW: return q7cp_new(cl, obj, a, b, tags);
    case Q7M_SETCLASSATTRS: return q7::walk_items(cl, obj, method, tags, q7cp_set_class);
    case Q7M_GETCLASSATTRS: return q7::walk_items(cl, obj, method, tags, q7cp_get_class);
    case Q7M_COLLECT_TABLES:
    case Q7M_NAME_OF_TAG:
    case Q7M_ROW_BY_TAG:
    case Q7M_ROW_BY_NAME:
    case Q7M_TAG_BY_NAME: return q7::public_attributes(compass_attributes, cl, obj, method, a, b, tags);
    case Q7M_CLASS_FREE:
      if (&cl->header == obj) settings = Settings{};
      return q7::inherit(cl, obj, method, a, b, tags);
    default: break;
  }
  // Messages to the class itself have no instance behind them.
  if (&obj->cl->header == obj) return q7::inherit(cl, obj, method, a, b, tags);
  auto &c = q7::data<Compass>(cl, obj);
  switch (method) {
    case Q7M_DISPOSE: return q7cp_dispose(cl, obj, a, b, tags);
    case Q7M_SET: return q7::set_attributes<Compass>(cl, obj, tags, q7cp_set);
    // A pop-up and its links are no bytes to be copied.
    case Q7M_COPY: return 0;
    case Q7M_COMPASS_OPEN: return q7cp_open(c, q7::slot_as<const void *>(tags));
    case Q7M_COMPASS_FINAL: return q7cp_final(c, obj);
    case Q7M_COMPASS_CLOSE: return q7cp_close(c);
    case Q7M_COMPASS_MOVE: return q7cp_move(c, obj, q7::slot_as<const void *>(tags));
    case Q7M_COMPASS_REDRAW: return q7cp_redraw(c);
    default: return q7::inherit(cl, obj, method, a, b, tags);
  }
}

constexpr q7::ClassDef compass_class = {.id = Q7C_COMPASS,
                                        .name = "q7compas",
                                        .dispatch = q7cp_dispatch,
                                        .size = sizeof(Compass),
                                        .attributes = compass_attributes,
                                        .description = "Compass Input Device"};

}  // namespace

int32_t Q7RegisterCompassClass(Q7App *app) { return q7::register_once(app, compass_class); }
