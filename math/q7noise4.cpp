// q7noise4: four-dimensional noise: the lattice, hashing and interpolation of q7noise.cpp with one coordinate more.
// Where three dimensions hash T[i + T[j] + T[T[k]]], the fourth adds T[T[T[l]]]. The values are fixed for ever, as all
// noise.
#include <cmath>

#include "math/noisebase.hpp"
#include "math/octaves.hpp"
#include "math/pointnoise.hpp"
#include "math/q7noise.h"
#include "math/values.hpp"

using q7::finished;
using q7::LatticeCoordinate;
using q7::offset_cubic;
using q7::offset_linear;
using q7::SplineWeights;
using q7::table;

namespace {

double hash(uint32_t a, uint32_t b, uint32_t c, uint32_t d) {
  return static_cast<double>(table(a + table(b) + table(table(c)) + table(table(table(d)))));
}

Q7Vector hash_vector(uint32_t a, uint32_t b, uint32_t c, uint32_t d) {
  return {hash(a, b, c, d), hash(b, c, d, a), hash(c, d, a, b)};
}

// A position on the lattice.
struct Lattice4 {
  LatticeCoordinate x, y, z, w;
  uint32_t ix, iy, iz, iw;
  Lattice4(const Q7Vector4 &p, uint32_t offset)
      : x(p.x),
        y(p.y),
        z(p.z),
        w(p.w),
        ix(x.cell + offset),
        iy(y.cell + offset),
        iz(z.cell + offset),
        iw(w.cell + offset) {}
};

// Interpolates the 16 corners of the cell, x first, w last. `corner` is a hash.
template <class Corner>
auto linear(const Q7Vector4 &p, Corner corner) {
  const Lattice4 at(p, offset_linear);
  auto mixed = [](double t, const auto &a, const auto &b) { return (1 - t) * a + t * b; };
  auto along_x = [&](uint32_t dj, uint32_t dk, uint32_t dl) {
    return mixed(at.x.fraction, corner(at.ix, at.iy + dj, at.iz + dk, at.iw + dl),
                 corner(at.ix + 1, at.iy + dj, at.iz + dk, at.iw + dl));
  };
  auto along_y = [&](uint32_t dk, uint32_t dl) { return mixed(at.y.fraction, along_x(0, dk, dl), along_x(1, dk, dl)); };
  auto along_z = [&](uint32_t dl) { return mixed(at.z.fraction, along_y(0, dl), along_y(1, dl)); };
  return finished(mixed(at.w.fraction, along_z(0), along_z(1)));
}

// The B-spline over the 256 points of the neighbourhood, six to the fourth times too large.
template <class Corner>
auto cubic(const Q7Vector4 &p, Corner corner) {
  const Lattice4 at(p, offset_cubic);
  const SplineWeights wx(at.x.fraction), wy(at.y.fraction), wz(at.z.fraction), ww(at.w.fraction);
  auto weighted = [](const SplineWeights &w, auto point) {
    return w.b[0] * point(0u) + w.b[1] * point(1u) + w.b[2] * point(2u) + w.b[3] * point(3u);
  };
  return weighted(ww, [&](uint32_t l) {
    return weighted(wz, [&](uint32_t k) {
      return weighted(wy, [&](uint32_t j) {
        return weighted(wx, [&](uint32_t i) { return corner(at.ix + i, at.iy + j, at.iz + k, at.iw + l); });
      });
    });
  });
}

double noise_4d(const Q7Vector4 &p) { return linear(p, hash); }
Q7Vector vec_noise_4d(const Q7Vector4 &p) { return linear(p, hash_vector); }
double smooth_noise_4d(const Q7Vector4 &p) { return finished(cubic(p, hash) / 1296.0); }
Q7Vector smooth_vec_noise_4d(const Q7Vector4 &p) { return finished((1 / 1296.0) * cubic(p, hash_vector)); }

q7::Nearest nearest_4d(const Q7Vector4 &p) {
  const Lattice4 at(p, q7::offset_point);
  q7::Nearest nearest;
  for (int l = -1; l <= 1; ++l) {
    for (int k = -1; k <= 1; ++k) {
      for (int j = -1; j <= 1; ++j) {
        for (int i = -1; i <= 1; ++i) {
          const uint32_t a = at.ix + static_cast<uint32_t>(i), b = at.iy + static_cast<uint32_t>(j);
          const uint32_t c = at.iz + static_cast<uint32_t>(k), d = at.iw + static_cast<uint32_t>(l);
          const double dx = i + hash(a, b, c, d) * q7::per_range - at.x.fraction;
          const double dy = j + hash(b, c, d, a) * q7::per_range - at.y.fraction;
          const double dz = k + hash(c, d, a, b) * q7::per_range - at.z.fraction;
          const double dw = l + hash(d, a, b, c) * q7::per_range - at.w.fraction;
          nearest.add(dx * dx + dy * dy + dz * dz + dw * dw);
        }
      }
    }
  }
  return nearest;
}

double point_1d(const Q7Vector4 &p) { return nearest_4d(p).first(); }
Q7Vector point_3d(const Q7Vector4 &p) { return nearest_4d(p).all(); }

}  // namespace

double Q7Rnd4D(uint32_t a, uint32_t b, uint32_t c, uint32_t d) { return hash(a, b, c, d); }

Q7Vector *Q7VecRnd4D(Q7Vector *r, uint32_t a, uint32_t b, uint32_t c, uint32_t d) {
  return q7::put(r, hash_vector(a, b, c, d));
}

double Q7Noise4D(const Q7Vector4 *p) { return noise_4d(*p); }

Q7Vector *Q7VecNoise4D(Q7Vector *r, const Q7Vector4 *p) { return q7::put(r, vec_noise_4d(*p)); }

double _Q7SmoothNoise4D(const Q7Vector4 *p) { return smooth_noise_4d(*p); }

Q7Vector *_Q7SmoothNoise4DTo3D(Q7Vector *r, const Q7Vector4 *p) { return q7::put(r, smooth_vec_noise_4d(*p)); }

double Q7Point4Dto1DBase(const Q7Vector4 *p) { return point_1d(*p); }

Q7Vector *Q7Point4Dto3DBase(Q7Vector *r, const Q7Vector4 *p) { return q7::put(r, point_3d(*p)); }

// Sums of octaves.

double Q7Noise4DTo1D(const Q7Vector4 *p, int32_t octaves, double f) {
  return q7::whole_octaves(*p, octaves, f, q7::noise_range, noise_4d);
}

Q7Vector *Q7Noise4DTo3D(Q7Vector *r, const Q7Vector4 *p, int32_t octaves, double f) {
  return q7::put(r, q7::whole_octaves(*p, octaves, f, q7::noise_range, vec_noise_4d));
}

double Q7SmoothNoise4DTo1D(const Q7Vector4 *p, int32_t octaves, double f) {
  return q7::whole_octaves(*p, octaves, f, q7::noise_range, smooth_noise_4d);
}

Q7Vector *Q7SmoothNoise4DTo3D(Q7Vector *r, const Q7Vector4 *p, int32_t octaves, double f) {
  return q7::put(r, q7::whole_octaves(*p, octaves, f, q7::noise_range, smooth_vec_noise_4d));
}

double Q7Point4DTo1DNoise(const Q7Vector4 *p, int32_t octaves, double f) {
  return q7::whole_octaves(*p, octaves, f, 1, point_1d);
}

Q7Vector *Q7Point4DTo3DNoise(Q7Vector *r, const Q7Vector4 *p, int32_t octaves, double f) {
  return q7::put(r, q7::whole_octaves(*p, octaves, f, 1, point_3d));
}

double CNoise4DTo1D(const Q7Vector4 *p, double f, double octaves) {
  return q7::fractional_octaves(*p, octaves, f, q7::noise_range, noise_4d);
}

Q7Vector *CNoise4DTo3D(Q7Vector *r, const Q7Vector4 *p, double f, double octaves) {
  return q7::put(r, q7::fractional_octaves(*p, octaves, f, q7::noise_range, vec_noise_4d));
}

double CSmoothNoise4DTo1D(const Q7Vector4 *p, double f, double octaves) {
  return q7::fractional_octaves(*p, octaves, f, q7::noise_range, smooth_noise_4d);
}

Q7Vector *CSmoothNoise4DTo3D(Q7Vector *r, const Q7Vector4 *p, double f, double octaves) {
  return q7::put(r, q7::fractional_octaves(*p, octaves, f, q7::noise_range, smooth_vec_noise_4d));
}

double CPoint4DTo1DNoise(const Q7Vector4 *p, double f, double octaves) {
  return q7::fractional_octaves(*p, octaves, f, 1, point_1d);
}

Q7Vector *CPoint4DTo3DNoise(Q7Vector *r, const Q7Vector4 *p, double f, double octaves) {
  return q7::put(r, q7::fractional_octaves(*p, octaves, f, 1, point_3d));
}
