// q7noise: the random table, keyed values, three-dimensional noise and the generator. The table is made by the compiler
// and immutable; nothing else here has state. The four-dimensional functions are in q7noise4.cpp.
#include "math/q7noise.h"

#include <emmintrin.h>

#include <cmath>

#include "math/noisebase.hpp"
#include "math/octaves.hpp"
#include "math/pointnoise.hpp"
#include "math/values.hpp"

static_assert(sizeof(Q7RngState) == 8 && sizeof(rndtab) == 65536);

namespace {

constexpr Q7RandomTable make_table() {
  Q7RandomTable t{};
  uint32_t state = 1;
  for (auto &entry : t.value) {
    state = state * 214013 + 2531011;
    entry = static_cast<uint16_t>((state >> 16) & 0x7fff);
  }
  for (int i = 0; i < 8; ++i) t.wrapped[i] = t.value[i];
  return t;
}

constexpr Q7RandomTable make_table_twice() {
  const Q7RandomTable once = make_table();
  Q7RandomTable t{};
  for (int i = 0; i < 32768; ++i) t.value[i] = once.value[once.value[i]];
  for (int i = 0; i < 8; ++i) t.wrapped[i] = t.value[i];
  return t;
}

constexpr Q7RandomDoubles make_doubles() {
  const Q7RandomTable once = make_table();
  Q7RandomDoubles t{};
  for (int i = 0; i < 32768; ++i) t.value[i] = once.value[i];
  for (int i = 0; i < 8; ++i) t.wrapped[i] = t.value[i];
  return t;
}

}  // namespace

extern "C" {
constinit __attribute__((used)) const Q7RandomTable q7_random_table = make_table();
constinit const Q7RandomTable q7_random_table_twice = make_table_twice();
constinit const Q7RandomDoubles q7_random_doubles = make_doubles();
}
// The exported name is the table proper, without what is repeated behind it.
asm(".globl rndtab\n"
    ".type rndtab, @object\n"
    ".set rndtab, q7_random_table\n"
    ".size rndtab, 65536\n");

using q7::finished;
using q7::LatticeCoordinate;
using q7::offset_cubic;
using q7::offset_linear;
using q7::SplineWeights;
using q7::table;

// Keyed values.

int32_t Q7RandInt(uint32_t k) { return static_cast<int32_t>(table(k)); }

double Q7Rand(uint32_t k) { return table(k) / 32767.0; }

double Q7LRand(uint32_t k) { return (table(k) ^ table((k >> 30) & 3) ^ table((k >> 15) & 0x7fff)) / 32767.0; }

double Q7Rand2(uint32_t a, uint32_t b) { return table(table(a) + b) / 32767.0; }

int32_t Q7Rand2Int(uint32_t a, uint32_t b) { return static_cast<int32_t>(table(table(a) + b) >> 7); }

Q7Vector *Q7VecRnd3D(Q7Vector *r, uint32_t a, uint32_t b, uint32_t c) {
  const uint32_t ta = table(a), tb = table(b), tc = table(c);
  *r = {static_cast<double>(table(a + tb + table(tc))), static_cast<double>(table(b + tc + table(ta))),
        static_cast<double>(table(c + ta + table(tb)))};
  return r;
}

namespace {

// A coordinate as a 32-bit integer of 28 fractional bits, whole part modulo 16.
uint32_t key_bits(double c) { return static_cast<uint32_t>(_mm_cvttsd_si64(_mm_set_sd(c * 268435455.0))); }

}  // namespace

uint32_t Q7InitRandKey(const Q7Vector *p) {
  const uint32_t ux = key_bits(p->x), uy = key_bits(p->y), uz = key_bits(p->z);
  const uint32_t xz = uz ^ ux;
  return table((xz >> 30) ^ (xz & 0x7fff) ^ ((ux >> 15) & 0x7fff) ^ ((uz >> 15) & 0x7fff) ^ table(uy & 0x7fff) ^
               table((uy >> 30) & 3) ^ table((uy >> 15) & 0x7fff));
}

uint32_t Q7InitRandKey2D(const Q7Vector *p) {
  const uint32_t ux = key_bits(p->x), uy = key_bits(p->y);
  return table(((ux >> 15) & 0x1ffff) ^ (ux >> 30) ^ table((uy >> 30) & 3) ^ table((uy >> 15) & 0x7fff) ^
               table(uy & 0x7fff) ^ ux);
}

// One octave.

namespace {

Q7Vector mix(double t, const Q7Vector &a, const Q7Vector &b) { return (1 - t) * a + t * b; }

Q7Vector lattice_vector(uint32_t a, uint32_t b, uint32_t c) {
  Q7Vector v;
  Q7VecRnd3D(&v, a, b, c);
  return v;
}

Q7Vector spline(const SplineWeights &w, const Q7Vector *v) {
  Q7Vector r;
  Q7Bsc(&r, w.b[0], w.b[1], w.b[2], w.b[3], v, v + 1, v + 2, v + 3);
  return r;
}

Q7Vector vec_noise_3d(const Q7Vector &p) {
  const LatticeCoordinate x(p.x), y(p.y), z(p.z);
  const uint32_t ix = x.cell + offset_linear, iy = y.cell + offset_linear, iz = z.cell + offset_linear;
  auto along_x = [&](uint32_t dj, uint32_t dk) {
    return mix(x.fraction, lattice_vector(ix, iy + dj, iz + dk), lattice_vector(ix + 1, iy + dj, iz + dk));
  };
  const Q7Vector near = mix(y.fraction, along_x(0, 0), along_x(1, 0));
  const Q7Vector far = mix(y.fraction, along_x(0, 1), along_x(1, 1));
  return finished(mix(z.fraction, near, far));
}

Q7Vector smooth_vec_noise_3d(const Q7Vector &p) {
  const LatticeCoordinate x(p.x), y(p.y), z(p.z);
  const SplineWeights wx(x.fraction), wy(y.fraction), wz(z.fraction);
  const uint32_t ix = x.cell + offset_cubic, iy = y.cell + offset_cubic, iz = z.cell + offset_cubic;
  Q7Vector planes[4], rows[4], values[4];
  for (uint32_t k = 0; k < 4; ++k) {
    for (uint32_t j = 0; j < 4; ++j) {
      for (uint32_t i = 0; i < 4; ++i) values[i] = lattice_vector(ix + i, iy + j, iz + k);
      rows[j] = spline(wx, values);
    }
    planes[k] = spline(wy, rows);
  }
  return finished(0.004629629629629629 * spline(wz, planes));
}

q7::Nearest nearest_3d(const Q7Vector &p) {
  const LatticeCoordinate x(p.x), y(p.y), z(p.z);
  q7::Nearest nearest;
  for (int k = -1; k <= 1; ++k) {
    for (int j = -1; j <= 1; ++j) {
      for (int i = -1; i <= 1; ++i) {
        const Q7Vector feature = lattice_vector(x.cell + q7::offset_point + static_cast<uint32_t>(i),
                                                y.cell + q7::offset_point + static_cast<uint32_t>(j),
                                                z.cell + q7::offset_point + static_cast<uint32_t>(k));
        const double dx = i + feature.x * q7::per_range - x.fraction;
        const double dy = j + feature.y * q7::per_range - y.fraction;
        const double dz = k + feature.z * q7::per_range - z.fraction;
        nearest.add(dx * dx + dy * dy + dz * dz);
      }
    }
  }
  return nearest;
}

double point_1d(const Q7Vector &p) { return nearest_3d(p).first(); }
Q7Vector point_3d(const Q7Vector &p) { return nearest_3d(p).all(); }

}  // namespace

double Q7Noise3D(const Q7Vector *p) { return q7::noise_3d(*p); }

Q7Vector *Q7VecNoise3D(Q7Vector *r, const Q7Vector *p) { return q7::put(r, vec_noise_3d(*p)); }

double _Q7SmoothNoise(const Q7Vector *p) { return q7::smooth_noise_3d(*p); }

Q7Vector *_Q7SmoothNoise3DTo3D(Q7Vector *r, const Q7Vector *p) { return q7::put(r, smooth_vec_noise_3d(*p)); }

double Q7Point3Dto1DBase(const Q7Vector *p) { return point_1d(*p); }

Q7Vector *Q7Point3Dto3DBase(Q7Vector *r, const Q7Vector *p) { return q7::put(r, point_3d(*p)); }

Q7Vector *Q7Bsc(Q7Vector *r, double w0, double w1, double w2, double w3, const Q7Vector *a, const Q7Vector *b,
                const Q7Vector *c, const Q7Vector *d) {
  return q7::put(r, w0 * *a + w1 * *b + w2 * *c + w3 * *d);
}

// Sums of octaves.

double Q7VectorNoise(const Q7Vector *p, int32_t octaves, double f) {
  return q7::whole_octaves(*p, octaves, f, q7::noise_range, q7::noise_3d);
}

double Q7SmoothNoise(const Q7Vector *p, int32_t octaves, double f) {
  return q7::whole_octaves(*p, octaves, f, q7::noise_range, q7::smooth_noise_3d);
}

Q7Vector *Q7VectorNoise3D(Q7Vector *r, const Q7Vector *p, int32_t octaves, double f) {
  return q7::put(r, q7::whole_octaves(*p, octaves, f, q7::noise_range, vec_noise_3d));
}

Q7Vector *Q7SmoothNoise3D(Q7Vector *r, const Q7Vector *p, int32_t octaves, double f) {
  return q7::put(r, q7::whole_octaves(*p, octaves, f, q7::noise_range, smooth_vec_noise_3d));
}

double Q7Point3DTo1DNoise(const Q7Vector *p, int32_t octaves, double f) {
  return q7::whole_octaves(*p, octaves, f, 1, point_1d);
}

Q7Vector *Q7Point3DTo3DNoise(Q7Vector *r, const Q7Vector *p, int32_t octaves, double f) {
  return q7::put(r, q7::whole_octaves(*p, octaves, f, 1, point_3d));
}

double CVectorNoise(const Q7Vector *p, double f, double octaves) {
  return q7::fractional_octaves(*p, octaves, f, q7::noise_range, q7::noise_3d);
}

double CSmoothNoise(const Q7Vector *p, double f, double octaves) {
  return q7::fractional_octaves(*p, octaves, f, q7::noise_range, q7::smooth_noise_3d);
}

Q7Vector *CVectorNoise3D(Q7Vector *r, const Q7Vector *p, double f, double octaves) {
  return q7::put(r, q7::fractional_octaves(*p, octaves, f, q7::noise_range, vec_noise_3d));
}

Q7Vector *CSmoothNoise3D(Q7Vector *r, const Q7Vector *p, double f, double octaves) {
  return q7::put(r, q7::fractional_octaves(*p, octaves, f, q7::noise_range, smooth_vec_noise_3d));
}

double CPoint3DTo1DNoise(const Q7Vector *p, double f, double octaves) {
  return q7::fractional_octaves(*p, octaves, f, 1, point_1d);
}

Q7Vector *CPoint3DTo3DNoise(Q7Vector *r, const Q7Vector *p, double f, double octaves) {
  return q7::put(r, q7::fractional_octaves(*p, octaves, f, 1, point_3d));
}

// The generator.

void Q7SetRNGSeed(Q7RngState *state, uint32_t s1, uint32_t s2) {
  state->w = s1 ? s1 : 521288629u;
  state->z = s2 ? s2 : 362436069u;
}

uint32_t Q7GetRNG(Q7RngState *state) {
  state->z = 36969u * (state->z & 65535u) + (state->z >> 16);
  state->w = 18000u * (state->w & 65535u) + (state->w >> 16);
  return (state->z << 16) + (state->w & 65535u);
}

double Q7GetRNGFloat(Q7RngState *state) { return (Q7GetRNG(state) + 1.0) * 2.328306435454494e-10; }
