// q7wide: chooses the path of the machine while the library is loaded, and the functions that follow it. After loading
// nothing here changes.
#include "math/q7wide.h"

#include "math/noisebase.hpp"
#include "math/octaves.hpp"
#include "math/paths.hpp"

namespace {

// The paths that the machine can run, best last; built while loading.
Q7MathPath paths[3];
int32_t path_count;

bool has_avx2() { return __builtin_cpu_supports("avx2") != 0; }

bool has_avx512() {
  return __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512dq") &&
         __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vl");
}

// Before all other initialisers, so that they already run on the best path.
__attribute__((constructor(101))) void choose_path() {
  __builtin_cpu_init();
  paths[path_count++] = q7::baseline_path;
  if (has_avx2()) {
    paths[path_count++] = q7::avx2_path;
    if (has_avx512()) {
      Q7MathPath &path = paths[path_count++];
      path = q7::avx512_path;
      path.concat = q7::avx2_path.concat;
      path.invert = q7::avx2_path.invert;
    }
  }
  q7::active_path = paths[path_count - 1];
}

}  // namespace

namespace q7 {

constinit Q7MathPath active_path = {
    "baseline",
    [](Q7Matrix *r, const Q7Matrix *a, const Q7Matrix *b) { return baseline_path.concat(r, a, b); },
    [](Q7Matrix *r, const Q7Matrix *m) { return baseline_path.invert(r, m); },
    [](Q7Vector *r, const Q7Matrix *m, const Q7Vector *p, int32_t n) { baseline_path.transform_array(r, m, p, n); },
    [](Q7Vector *r, const Q7Matrix *m, const Q7Vector *v, int32_t n) { baseline_path.transform_l_array(r, m, v, n); },
    [](Q7Vector *v, int32_t n) { baseline_path.norm_array(v, n); },
    [](double *r, const Q7Vector *p, int32_t n) { baseline_path.noise_array(r, p, n); },
    [](double *r, const Q7Vector *p, int32_t n) { baseline_path.smooth_noise_array(r, p, n); },
    [](Q7Vector *r, const Q7Vector *p, int32_t n) { baseline_path.vec_noise_array(r, p, n); }};

// The columns' own products are too small to divide by. The direction that is lost is filled in from the column itself,
// and the divisor is held at the limit, so that the caller gets large but finite numbers instead of none.
int32_t invert_singular(Q7Matrix *r, const Q7Matrix &m, const double (*c)[4], const double *d) {
  Q7Vector4 columns[4];
  double lengths[4];
  for (int j = 0; j < 4; ++j) {
    columns[j] = {m.m[0][j], m.m[1][j], m.m[2][j], m.m[3][j]};
    lengths[j] = V4Len(columns + j);
  }
  for (int i = 0; i < 4; ++i) {
    Q7Vector4 row = {c[i][0], c[i][1], c[i][2], c[i][3]};
    double product = d[i];
    if (product < singular_limit && product > -singular_limit) {
      if (V4Len(&row) < singular_limit) {
        row = columns[i];
        V4Norm(&row);
        V4FMul(&row, lengths[(i + 1) % 4] * lengths[(i + 2) % 4] * lengths[(i + 3) % 4]);
      }
      product = product >= 0 ? singular_limit : -singular_limit;
    }
    V4FMul(&row, 1 / product);
    Q7MxVectorToRow(&row.x, r, i, 4);
  }
  return 0;
}

}  // namespace q7

const Q7MathPath *Q7MathPathAt(int32_t index) { return index >= 0 && index < path_count ? paths + index : nullptr; }

void Q7MxTransformArray(Q7Vector *r, const Q7Matrix *m, const Q7Vector *p, int32_t n) {
  if (n > 0) q7::active_path.transform_array(r, m, p, n);
}

void Q7MxTransformLArray(Q7Vector *r, const Q7Matrix *m, const Q7Vector *v, int32_t n) {
  if (n > 0) q7::active_path.transform_l_array(r, m, v, n);
}

void VNormArray(Q7Vector *v, int32_t n) {
  if (n > 0) q7::active_path.norm_array(v, n);
}

void Q7Noise3DArray(double *r, const Q7Vector *p, int32_t n) {
  if (n > 0) q7::active_path.noise_array(r, p, n);
}

void Q7SmoothNoise3DArray(double *r, const Q7Vector *p, int32_t n) {
  if (n > 0) q7::active_path.smooth_noise_array(r, p, n);
}

void Q7VecNoise3DArray(Q7Vector *r, const Q7Vector *p, int32_t n) {
  if (n > 0) q7::active_path.vec_noise_array(r, p, n);
}

namespace {

// Sums of octaves go block by block over one scaled copy of the points, on the stack.
void octave_array(double *r, const Q7Vector *p, int32_t n, int32_t octaves, double f,
                  void (*base)(double *, const Q7Vector *, int32_t)) {
  constexpr int32_t block = 64;
  Q7Vector scaled[block];
  double values[block];
  for (int32_t start = 0; start < n; start += block) {
    const int32_t count = n - start < block ? n - start : block;
    double sums[block] = {};
    double weights = 0, s = 1;
    for (int32_t octave = 0; octave < octaves; ++octave) {
      for (int32_t i = 0; i < count; ++i) scaled[i] = q7::scaled(s, p[start + i]);
      base(values, scaled, count);
      const double w = 1 / s;
      for (int32_t i = 0; i < count; ++i) sums[i] = sums[i] + w * values[i];
      weights = weights + w;
      s = s * f;
    }
    for (int32_t i = 0; i < count; ++i) r[start + i] = q7::one_nan(sums[i] / (weights * q7::noise_range));
  }
}

}  // namespace

void Q7VectorNoiseArray(double *r, const Q7Vector *p, int32_t n, int32_t octaves, double f) {
  octave_array(r, p, n, octaves, f, q7::active_path.noise_array);
}

void Q7SmoothNoiseArray(double *r, const Q7Vector *p, int32_t n, int32_t octaves, double f) {
  octave_array(r, p, n, octaves, f, q7::active_path.smooth_noise_array);
}
