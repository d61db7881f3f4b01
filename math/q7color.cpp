// q7color: colours and the class that holds one. Hues run as the class of user interfaces expects: pure red is the end
// of the turn, brightness is the largest channel.
#include "math/q7color.h"

#include <algorithm>

#include "core/classdef.hpp"
#include "math/stream.hpp"

static_assert(sizeof(Q7Color) == 32 && sizeof(Q7ColorRGB) == 24 && sizeof(Q7ColorHSL) == 24);

int32_t Q7ColorWrite(const Q7Color *c, Q7Object *stream) {
  return c ? q7::stream_doubles(stream, q7::stream_write_double, &c->red, 4) : 0;
}
int32_t Q7ColorRead(Q7Color *c, Q7Object *stream) {
  return c ? q7::stream_doubles(stream, q7::stream_read_double, &c->red, 4) : 0;
}
int32_t Q7Color3Write(const Q7ColorRGB *c, Q7Object *stream) {
  return c ? q7::stream_doubles(stream, q7::stream_write_double, &c->red, 3) : 0;
}
int32_t Q7Color3Read(Q7ColorRGB *c, Q7Object *stream) {
  return c ? q7::stream_doubles(stream, q7::stream_read_double, &c->red, 3) : 0;
}

namespace {

constexpr double two_pi = 6.283185307179586;
constexpr double pi = 3.141592653589793;
constexpr double third = 2.0943951023931953;  // a third of the turn
constexpr double two_thirds = 4.1887902047863905;
constexpr double yellow = 1.0471975511965976;  // pi / 3
constexpr double magenta = 5.235987755982988;  // 5 pi / 3

// The hue angle of stretched channels (largest 1, smallest 0). Each third of the turn has its own secondary colour in
// the middle. The order of the tests puts pure red at the end of the turn.
double hue_angle(double r, double g, double b) {
  if ((g < r && b < g) || (g >= r && b < r)) {
    return g <= r ? yellow - (1 - g) * 0.5 * third : yellow + (1 - r) * 0.5 * third;
  }
  if (g < r) return r <= b ? magenta - (1 - r) * 0.5 * third : magenta + (1 - b) * 0.5 * third;
  return b <= g ? pi - (1 - b) * 0.5 * third : pi + (1 - g) * 0.5 * third;
}

}  // namespace

int32_t Q7RgbToHsl(Q7ColorHSL *hsl, const Q7ColorRGB *rgb) {
  const Q7ColorRGB c = *rgb;
  const double l = std::max({c.red, c.green, c.blue});
  if (l <= 1e-6) {
    *hsl = {0, 1, l};  // fully saturated, so that brightening black gives a colour again
    return 0;
  }
  const double r = c.red / l, g = c.green / l, b = c.blue / l;
  const double m = std::min({r, g, b});
  if (m >= 0.999999) {
    *hsl = {0, 1 - m, l};
    return 0;
  }
  const double angle = hue_angle((r - m) / (1 - m), (g - m) / (1 - m), (b - m) / (1 - m));
  *hsl = {angle / two_pi, 1 - m, l};
  return 1;
}

void Q7HslToRgb(Q7ColorRGB *rgb, const Q7ColorHSL *hsl) {
  const Q7ColorHSL c = *hsl;
  const double a = c.h * two_pi;
  double r = 0, g = 0, b = 0;
  if (a >= 0 && a < third) {
    g = 2 * a / third;
    r = 2 * (third - a) / third;
  } else if (a >= third && a < two_thirds) {
    g = 2 * (two_thirds - a) / third;
    b = 2 * (a - third) / third;
  } else {  // also a negative hue, whose channels then lie outside 0..1
    b = 2 * (two_pi - a) / third;
    r = 2 * (a - two_thirds) / third;
  }
  // Clipped above only: channels below 0 show that the hue was out of range.
  auto channel = [&c](double v) { return (std::min(v, 1.0) * c.s + (1 - c.s)) * c.l; };
  *rgb = {channel(r), channel(g), channel(b)};
}

// The class.

namespace {

struct Color {
  Q7Color value;  // Q7A_COLOR_VALUE
};

bool q7cl_set(Color &color, const Q7TagItem &item) {
  if (item.tag != Q7A_COLOR_VALUE) return false;
  if (const auto *value = q7::value<const Q7Color *>(item)) color.value = *value;
  return true;
}

bool q7cl_get(const Color &color, const Q7TagItem &item) {
  return item.tag == Q7A_COLOR_VALUE && q7::store<Q7Color>(item, color.value);
}

enum : uint32_t { stream_read_object = 5000, stream_write_object = 5005 };

// The application that the class was registered for; null before registration and after the class was freed.
Q7App *q7cl_context;

uint64_t q7cl_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  if (!obj) return 0;
  if (obj == &obj->cl->header) {  // there is no colour in a class record
    if (method == Q7M_NEW) return q7::create<Color>(cl, obj, a, b, tags, q7cl_set);
    if (method == Q7M_CLASS_FREE && obj == &cl->header) q7cl_context = nullptr;  // the next application registers anew
    return q7::inherit(cl, obj, method, a, b, tags);
  }
  switch (method) {
    case Q7M_SET: return q7::set_attributes<Color>(cl, obj, tags, q7cl_set);
    case Q7M_GET: return q7::get_attributes<Color>(cl, obj, tags, q7cl_get);
    case stream_read_object:
      if (!q7::inherit(cl, obj, method, a, b, tags)) return 0;
      return static_cast<uint64_t>(Q7ColorRead(&q7::data<Color>(cl, obj).value, q7::slot_as<Q7Object *>(tags)));
    case stream_write_object:
      if (!q7::inherit(cl, obj, method, a, b, tags)) return 0;
      return static_cast<uint64_t>(Q7ColorWrite(&q7::data<Color>(cl, obj).value, q7::slot_as<Q7Object *>(tags)));
    default: return q7::inherit(cl, obj, method, a, b, tags);
  }
}

}  // namespace

int32_t Q7RegisterColorClass(Q7App *app) {
  if (q7cl_context) return 1;
  q7cl_context = app;
  if (Q7ClassCreate(Q7C_ROOT, Q7C_COLOR, q7cl_dispatch, sizeof(Color), Q7CT_NAME, "q7color", Q7TAG_END)) return 1;
  q7cl_context = nullptr;  // a later call may try again
  return 0;
}
