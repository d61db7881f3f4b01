// trace: one path a sample: what the ray meets is lit by every light that reaches it, by the light from everywhere as
// far as nothing near stands in its way, and by what it mirrors.
#include "examples/studio/trace.hpp"

#include <algorithm>
#include <cmath>

#include "examples/studio/scene/scene.h"
#include "math/q7noise.h"

namespace studio {

namespace {

constexpr double kNothing = 1e-6;  // of the world's size: distances below it do not count

class Tracer {
 public:
  Tracer(const World &world, uint32_t x, uint32_t y) : world_(world), nothing_(world.size * kNothing) {
    // The generator's two words are never near each other for neighbours.
    Q7SetRNGSeed(&random_, scramble(x * 0x9E3779B9u + y + 1), scramble(y * 0x85EBCA6Bu + x + 0x51ED270Bu));
  }

  double random() { return Q7GetRNGFloat(&random_); }
  uint32_t rays() const { return rays_; }

  Q7Vector radiance(const Ray &ray, int bounces) {
    ++rays_;
    Hit hit = {1e300, UINT32_MAX, 0, 0};
    if (!world_.tree.nearest(world_.points.data(), world_.corners.data(), ray, 0, hit)) return sky(ray.to);
    return shade(ray, hit, bounces);
  }

 private:
  struct Place {
    Q7Vector at;      // a little above the surface
    Q7Vector normal;  // towards the viewer
    Q7Vector flat;    // of the triangle, likewise
  };

  static uint32_t scramble(uint32_t v) {
    v ^= v >> 16;
    v *= 0x7FEB352Du;
    v ^= v >> 15;
    v *= 0x846CA68Bu;
    return v ^ v >> 16;
  }

  Q7Vector sky(const Q7Vector &direction) const {
    const double up = std::clamp(direction.y, 0.0, 1.0);
    Q7Vector color;
    return *VInterpolate(&color, &world_.horizon, &world_.sky, std::sqrt(up));
  }

  Q7Vector corner(const uint32_t *corners, int k, const std::vector<float> &from) const {
    const float *p = &from[size_t{corners[k]} * 3];
    return {p[0], p[1], p[2]};
  }

  Place place(const Ray &ray, const Hit &hit, bool smooth) const {
    const uint32_t *corners = &world_.corners[size_t{hit.triangle} * 3];
    const Q7Vector a = corner(corners, 0, world_.points), b = corner(corners, 1, world_.points),
                   c = corner(corners, 2, world_.points);
    Place place;
    J7Normal(&place.flat, &a, &b, &c);
    OppDir(&place.flat, &ray.to);
    place.normal = place.flat;
    if (smooth) {
      Q7Vector mean = {}, part;
      const double weights[3] = {1 - hit.u - hit.v, hit.u, hit.v};
      for (int k = 0; k < 3; ++k) {
        Q7Vector n = corner(corners, k, world_.normals);
        TNorm(&n);
        VFAdd(&mean, VMul(&part, weights[k], &n));
      }
      if (TNorm(&mean) > 1e-9) place.normal = *CoDir(&mean, &place.flat);
    }
    Q7Vector way;
    VAdd(&place.at, &ray.from, VMul(&way, hit.distance, &ray.to));
    // Rounding grows with the distance from the origin and with that of the eye.
    VFAdd(&place.at, VMul(&way, nothing_ + hit.distance * 1e-9, &place.flat));
    return place;
  }

  // How much of the second colour is at a point of a solid texture.
  static double texture(const Surface &s, const Q7Vector &at) {
    Q7Vector p;
    Q7CsMapV(&p, &at, &s.space);
    // The noise has 25 cells a unit; a texture of scale 1 has about four.
    VFMul(&p, 0.16);
    switch (s.texture) {
      case Q7TEXTURE_CLOUDS: return std::clamp((CSmoothNoise(&p, 2, s.octaves) - 0.3) * 2.5, 0.0, 1.0);
      case Q7TEXTURE_MARBLE: {
        const double bend = CSmoothNoise(&p, 2, s.octaves);
        const double vein = std::fabs(std::sin((p.x + p.y * 0.5) * 25 + bend * 9));
        return (1 - vein) * (1 - vein);
      }
      case Q7TEXTURE_WOOD: {
        const double ring = std::sqrt(p.x * p.x + p.z * p.z) * 75 + CSmoothNoise(&p, 2, s.octaves) * 4;
        const double share = ring - std::floor(ring);
        return share * share;
      }
      case Q7TEXTURE_CELLS: return std::clamp(CPoint3DTo1DNoise(&p, 2, std::min(s.octaves, 3.0)) * 1.6, 0.0, 1.0);
      default: return 0;
    }
  }

  static Q7Vector color(const Surface &s, const Q7Vector &at) {
    if (s.texture == Q7TEXTURE_PLAIN) return s.color;
    Q7Vector mixed;
    return *VInterpolate(&mixed, &s.color, &s.second, texture(s, at));
  }

  // A unit vector in any direction.
  Q7Vector anywhere() {
    const double z = 2 * random() - 1;
    const double turn = 2 * M_PI * random();
    const double r = std::sqrt(std::max(0.0, 1 - z * z));
    return {r * std::cos(turn), r * std::sin(turn), z};
  }

  bool blocked(const Q7Vector &from, const Q7Vector &direction, double distance) {
    ++rays_;
    return world_.tree.any(world_.points.data(), world_.corners.data(), {from, direction}, 0, distance);
  }

  // Adds what one light does: to `diffuse` what the surface scatters, to `glossy` its highlight.
  void light(const Lamp &lamp, const Surface &s, const Place &place, const Q7Vector &viewer, Q7Vector &diffuse,
             Q7Vector &glossy) {
    Q7Vector source = lamp.at;
    if (lamp.radius > 0) {
      Q7Vector aside = anywhere();
      VFAdd(&source, VFMul(&aside, lamp.radius));
    }
    Q7Vector to, part;
    VSub(&to, &place.at, &source);
    const double distance = TNorm(&to);
    const double facing = PMul(&to, &place.normal);
    if (facing <= 0 || PMul(&to, &place.flat) <= 0) return;
    if (blocked(place.at, to, distance)) return;
    VFAdd(&diffuse, VMul(&part, facing, &lamp.light));
    if (s.gloss <= 0) return;
    Q7Vector half;
    VAdd(&half, &to, &viewer);
    TNorm(&half);
    const double shine = std::pow(std::max(0.0, PMul(&half, &place.normal)), s.shine);
    VFAdd(&glossy, VMul(&part, shine * s.gloss, &lamp.light));
  }

  // The share of the light from everywhere that nothing near holds back: one ray of a random direction decides.
  double open(const Place &place, double reach) {
    Q7Vector direction = anywhere();
    VFAdd(&direction, &place.normal);
    if (TNorm(&direction) < 1e-6) return 1;
    return blocked(place.at, direction, reach) ? 0.25 : 1;
  }

  Q7Vector shade(const Ray &ray, const Hit &hit, int bounces) {
    const Piece &piece = world_.piece_list[world_.pieces[hit.triangle]];
    const Surface &s = world_.surfaces[piece.surface];
    const Place here = place(ray, hit, piece.smooth);
    Q7Vector viewer;
    VSetNeg(&viewer, &ray.to);
    Q7Vector diffuse, glossy = {};
    VMul(&diffuse, open(here, hit.distance * 0.25) * (0.7 + 0.3 * here.normal.y), &world_.ambient);
    for (const Lamp &lamp : world_.lamps) light(lamp, s, here, viewer, diffuse, glossy);
    const Q7Vector own = color(s, here.at);
    Q7Vector result;
    VFAdd(CMul(&result, &diffuse, &own), &glossy);
    if (s.mirror > 0 && bounces > 0) {
      Q7Vector direction = ray.to, back;
      const double straight = PMul(&ray.to, &here.normal);
      VFSub(&direction, VMul(&back, 2 * straight, &here.normal));
      if (TNorm(&direction) > 0 && PMul(&direction, &here.flat) > 0) {
        // Surfaces mirror more at a glancing angle.
        const double glance = std::clamp(1 + straight, 0.0, 1.0);
        const double share = s.mirror + (1 - s.mirror) * s.mirror * glance * glance * glance;
        const Q7Vector seen = radiance({here.at, direction}, bounces - 1);
        VInterpolate(&result, &result, &seen, share);
      }
    }
    return result;
  }

  const World &world_;
  double nothing_;
  Q7RngState random_;
  uint32_t rays_ = 0;
};

// Light to the value that a screen shows; bright light fades to white instead of being cut off.
uint8_t to_byte(double light) {
  if (!(light > 0)) return 0;
  const double soft = light < 0.8 ? light : 0.8 + 0.2 * (1 - std::exp(-(light - 0.8) / 0.2));
  const double screen = soft <= 0.0031308 ? 12.92 * soft : 1.055 * std::pow(soft, 1 / 2.4) - 0.055;
  return static_cast<uint8_t>(std::clamp(screen * 255 + 0.5, 0.0, 255.0));
}

}  // namespace

uint32_t trace_pixel(const World &world, PictureSize size, int x, int y, uint8_t *rgb) {
  Tracer tracer(world, static_cast<uint32_t>(x), static_cast<uint32_t>(y));
  const int side = static_cast<int>(std::sqrt(static_cast<double>(world.samples)));
  const bool grid = side * side == world.samples;
  Q7Vector sum = {};
  for (int i = 0; i < world.samples; ++i) {
    // A square number of samples is spread evenly over the pixel.
    double dx = tracer.random(), dy = tracer.random();
    if (grid) {
      dx = (i % side + dx) / side;
      dy = (i / side + dy) / side;
    }
    const double across = ((x + dx) / size.width - 0.5) * world.width_at_one;
    const double upwards = (0.5 * size.height - (y + dy)) / size.width * world.width_at_one;
    Q7Vector direction = world.ahead, part;
    VFAdd(&direction, VMul(&part, across, &world.right));
    VFAdd(&direction, VMul(&part, upwards, &world.up));
    TNorm(&direction);
    const Q7Vector seen = tracer.radiance({world.eye, direction}, world.bounces);
    VFAdd(&sum, &seen);
  }
  VFMul(&sum, 1.0 / world.samples);
  rgb[0] = to_byte(sum.x);
  rgb[1] = to_byte(sum.y);
  rgb[2] = to_byte(sum.z);
  return tracer.rays();
}

}  // namespace studio
