// noisebase: the table, the lattice and one octave of value noise, written once for the one-point functions and for the
// paths of the wide ones.
#ifndef Q7_MATH_NOISEBASE_HPP
#define Q7_MATH_NOISEBASE_HPP

#include <emmintrin.h>

#include "math/paths.hpp"
#include "math/q7noise.h"
#include "math/randomtable.hpp"

namespace q7 {

inline uint32_t table(uint32_t i) { return q7_random_table.value[i & 32767]; }

// One coordinate on the lattice.
struct LatticeCoordinate {
  uint32_t cell;
  double fraction;
  // Less one below zero instead of a floor: negative whole numbers get the cell below and a fraction of 1. Patterns in
  // stored scenes need it so. The conversion is the machine's, so that any value, NaN too, gives some cell.
  explicit LatticeCoordinate(double coordinate) {
    const double scaled = lattice_scale * coordinate;
    cell = static_cast<uint32_t>(_mm_cvttsd_si32(_mm_set_sd(scaled))) - (scaled < 0 ? 1u : 0u);
    fraction = scaled - static_cast<double>(static_cast<int32_t>(cell));
  }
};

inline double mix(double t, double a, double b) { return (1 - t) * a + t * b; }

// Six times the weights of the uniform cubic B-spline.
struct SplineWeights {
  double b[4];
  explicit SplineWeights(double t) {
    const double t2 = t * t, t3 = t2 * t;
    b[0] = (t2 - t) * 3 + 1 - t3;
    b[1] = 4 - 3 * (t2 + (t2 - t3));
    b[2] = 3 * (t + (t2 - t3)) + 1;
    b[3] = t3;
  }
  double operator()(double p, double q, double r, double s) const { return b[0] * p + b[1] * q + b[2] * r + b[3] * s; }
};

inline double noise_3d(const Q7Vector &p) {
  const LatticeCoordinate x(p.x), y(p.y), z(p.z);
  const uint32_t ix = x.cell + offset_linear, iy = y.cell + offset_linear, iz = z.cell + offset_linear;
  const uint32_t z0 = table(table(iz)), z1 = table(table(iz + 1));
  const uint32_t y0 = ix + table(iy), y1 = ix + table(iy + 1);
  auto along_x = [&x](uint32_t base) {
    return mix(x.fraction, static_cast<double>(static_cast<int32_t>(table(base))),
               static_cast<double>(static_cast<int32_t>(table(base + 1))));
  };
  const double near = mix(y.fraction, along_x(y0 + z0), along_x(y1 + z0));
  const double far = mix(y.fraction, along_x(y0 + z1), along_x(y1 + z1));
  return one_nan(mix(z.fraction, near, far));
}

inline double smooth_noise_3d(const Q7Vector &p) {
  const LatticeCoordinate x(p.x), y(p.y), z(p.z);
  const SplineWeights wx(x.fraction), wy(y.fraction), wz(z.fraction);
  const uint32_t ix = x.cell + offset_cubic, iy = y.cell + offset_cubic, iz = z.cell + offset_cubic;
  uint32_t rows[4];
  for (uint32_t j = 0; j < 4; ++j) rows[j] = table(iy + j) + ix;
  double planes[4];
  for (uint32_t k = 0; k < 4; ++k) {
    const uint32_t zk = table(table(iz + k));
    double row[4];
    for (uint32_t j = 0; j < 4; ++j) {
      const uint32_t base = rows[j] + zk;
      auto at = [base](uint32_t i) { return static_cast<double>(static_cast<int32_t>(table(base + i))); };
      row[j] = wx(at(0), at(1), at(2), at(3));
    }
    planes[k] = wy(row[0], row[1], row[2], row[3]);
  }
  return one_nan(wz(planes[0], planes[1], planes[2], planes[3]) / 216.0);
}

}  // namespace q7

#endif
