// math_bench: the geometry and noise functions called through the shared library, beside their peers where these are
// installed.
#include <benchmark/benchmark.h>

#include <random>
#include <string>
#include <vector>

#include "bench/ratios.hpp"
#include "math/q7noise.h"
#include "math/q7wide.h"

#if Q7_BENCH_IMATH
#include <ImathMatrix.h>
#include <ImathVec.h>
#endif
#if Q7_BENCH_GLM
#include <glm/glm.hpp>
#endif
#if Q7_BENCH_EIGEN
#include <Eigen/Dense>
#endif
#if Q7_BENCH_NOISE
#include <noisegen.h>
#endif

namespace {

constexpr int kCount = 1024;  // points or matrices a pass: all fit the first cache

std::vector<double> numbers(int count, double size) {
  std::mt19937_64 engine(1);
  std::uniform_real_distribution<double> number(-size, size);
  std::vector<double> v(static_cast<size_t>(count));
  for (double &x : v) x = number(engine);
  return v;
}

std::vector<Q7Vector> points() {
  const std::vector<double> n = numbers(3 * kCount, 40);
  std::vector<Q7Vector> v;
  for (size_t i = 0; i < n.size(); i += 3) v.push_back({n[i], n[i + 1], n[i + 2]});
  return v;
}

constexpr int kMatrices = 64;

std::vector<Q7Matrix> matrices() {
  const std::vector<double> n = numbers(16 * kMatrices, 2);
  std::vector<Q7Matrix> v(kMatrices);
  for (size_t i = 0; i < n.size(); ++i) v[i / 16].m[i % 16 / 4][i % 4] = n[i];
  return v;
}

// Ours.

void concat(benchmark::State &state) {
  const auto m = matrices();
  Q7Matrix r;
  for (auto _ : state) {
    for (int i = 0; i + 1 < kMatrices; ++i) {
      Q7MxConcat(&r, &m[static_cast<size_t>(i)], &m[static_cast<size_t>(i) + 1]);
      benchmark::DoNotOptimize(r);
    }
  }
}

void invert(benchmark::State &state) {
  const auto m = matrices();
  Q7Matrix r;
  for (auto _ : state) {
    for (const Q7Matrix &e : m) {
      Q7MxInvert(&r, &e);
      benchmark::DoNotOptimize(r);
    }
  }
}

// Points are transformed by a placement, as scenes do; the division by w is part of the work of both sides.
Q7Matrix placement() {
  Q7Matrix m;
  const Q7Vector axis = {1, 2, 3};
  Q7MxRotate(&m, &q7v_null, &axis, 0.7);
  Q7MxConcatTranslate(&m, 1, 2, 3);
  return m;
}

Q7Matrix projection() {
  Q7Matrix m = placement();
  m.m[3][0] = 0.01;
  m.m[3][1] = -0.02;
  m.m[3][2] = 0.005;
  return m;
}

void transform(benchmark::State &state, Q7Matrix m) {
  const auto p = points();
  Q7Vector r;
  for (auto _ : state) {
    for (const Q7Vector &e : p) {
      Q7MxTransform(&r, &m, &e);
      benchmark::DoNotOptimize(r);
    }
  }
}

void transform_array(benchmark::State &state, Q7Matrix m) {
  const auto p = points();
  std::vector<Q7Vector> r(kCount);
  for (auto _ : state) {
    Q7MxTransformArray(r.data(), &m, p.data(), kCount);
    benchmark::ClobberMemory();
  }
}

void scalar_noise(benchmark::State &state, double (*noise)(const Q7Vector *)) {
  const auto p = points();
  for (auto _ : state) {
    for (const Q7Vector &e : p) benchmark::DoNotOptimize(noise(&e));
  }
}

void array_noise(benchmark::State &state, void (*noise)(double *, const Q7Vector *, int32_t)) {
  const auto p = points();
  std::vector<double> r(kCount);
  for (auto _ : state) {
    noise(r.data(), p.data(), kCount);
    benchmark::ClobberMemory();
  }
}

void vector_noise(benchmark::State &state) {
  const auto p = points();
  Q7Vector r;
  for (auto _ : state) {
    for (const Q7Vector &e : p) benchmark::DoNotOptimize(Q7VecNoise3D(&r, &e));
  }
}

void vector_noise_array(benchmark::State &state) {
  const auto p = points();
  std::vector<Q7Vector> r(kCount);
  for (auto _ : state) {
    Q7VecNoise3DArray(r.data(), p.data(), kCount);
    benchmark::ClobberMemory();
  }
}

void norm(benchmark::State &state) {
  auto p = points();
  for (auto _ : state) {
    for (Q7Vector &e : p) benchmark::DoNotOptimize(VNorm(&e));
  }
}

void norm_array(benchmark::State &state) {
  auto p = points();
  for (auto _ : state) {
    VNormArray(p.data(), kCount);
    benchmark::ClobberMemory();
  }
}

// The peers.

#if Q7_BENCH_IMATH
Imath::M44d imath_matrix(const Q7Matrix &m) {
  Imath::M44d r;  // row vectors: the transpose
  for (int i = 0; i < 4; ++i) {
    for (int j = 0; j < 4; ++j) r[j][i] = m.m[i][j];
  }
  return r;
}

void imath_concat(benchmark::State &state) {
  std::vector<Imath::M44d> m;
  for (const Q7Matrix &e : matrices()) m.push_back(imath_matrix(e));
  for (auto _ : state) {
    for (size_t i = 0; i + 1 < m.size(); ++i) {
      Imath::M44d r = m[i] * m[i + 1];
      benchmark::DoNotOptimize(r);
    }
  }
}

void imath_transform(benchmark::State &state, Q7Matrix matrix) {
  Imath::M44d m = imath_matrix(matrix);
  std::vector<Imath::V3d> p;
  for (const Q7Vector &e : points()) p.emplace_back(e.x, e.y, e.z);
  for (auto _ : state) {
    benchmark::DoNotOptimize(m);
    for (const Imath::V3d &e : p) {
      Imath::V3d r;
      m.multVecMatrix(e, r);
      benchmark::DoNotOptimize(r);
    }
  }
}
#endif

#if Q7_BENCH_GLM
void glm_concat(benchmark::State &state) {
  std::vector<glm::dmat4> m;
  for (const Q7Matrix &e : matrices()) {
    glm::dmat4 g;
    for (int i = 0; i < 4; ++i) {
      for (int j = 0; j < 4; ++j) g[j][i] = e.m[i][j];
    }
    m.push_back(g);
  }
  for (auto _ : state) {
    for (size_t i = 0; i + 1 < m.size(); ++i) {
      glm::dmat4 r = m[i] * m[i + 1];
      benchmark::DoNotOptimize(r);
    }
  }
}
#endif

#if Q7_BENCH_EIGEN
void eigen_invert(benchmark::State &state) {
  std::vector<Eigen::Matrix4d> m;
  for (const Q7Matrix &e : matrices()) {
    Eigen::Matrix4d g;
    for (int i = 0; i < 4; ++i) {
      for (int j = 0; j < 4; ++j) g(i, j) = e.m[i][j];
    }
    m.push_back(g);
  }
  for (auto _ : state) {
    for (const Eigen::Matrix4d &e : m) {
      Eigen::Matrix4d r = e.inverse();
      benchmark::DoNotOptimize(r);
    }
  }
}
#endif

#if Q7_BENCH_NOISE
void libnoise_value(benchmark::State &state) {
  const auto p = points();
  for (auto _ : state) {
    for (const Q7Vector &e : p) {
      benchmark::DoNotOptimize(noise::ValueCoherentNoise3D(25 * e.x, 25 * e.y, 25 * e.z, 0, noise::QUALITY_FAST));
    }
  }
}
#endif

}  // namespace

int main(int argc, char **argv) {
  benchmark::RegisterBenchmark("Q7MxConcat", concat);
  benchmark::RegisterBenchmark("Q7MxInvert", invert);
  benchmark::RegisterBenchmark("Q7MxTransform", transform, placement());
  benchmark::RegisterBenchmark("Q7MxTransform_projecting", transform, projection());
  benchmark::RegisterBenchmark("Q7MxTransformArray", transform_array, placement());
  benchmark::RegisterBenchmark("Q7MxTransformArray_projecting", transform_array, projection());
  benchmark::RegisterBenchmark("VNorm", norm);
  benchmark::RegisterBenchmark("VNormArray", norm_array);
  benchmark::RegisterBenchmark("Q7Noise3D", scalar_noise, Q7Noise3D);
  benchmark::RegisterBenchmark("_Q7SmoothNoise", scalar_noise, _Q7SmoothNoise);
  benchmark::RegisterBenchmark("Q7VecNoise3D", vector_noise);
  benchmark::RegisterBenchmark("Q7Noise3DArray", array_noise, Q7Noise3DArray);
  benchmark::RegisterBenchmark("Q7SmoothNoise3DArray", array_noise, Q7SmoothNoise3DArray);
  benchmark::RegisterBenchmark("Q7VecNoise3DArray", vector_noise_array);
  for (int32_t i = 0; const Q7MathPath *path = Q7MathPathAt(i); ++i) {
    const std::string name = path->name;
    benchmark::RegisterBenchmark(("noise_array_" + name).c_str(), array_noise, path->noise_array);
    benchmark::RegisterBenchmark(("smooth_noise_array_" + name).c_str(), array_noise, path->smooth_noise_array);
  }
#if Q7_BENCH_IMATH
  benchmark::RegisterBenchmark("imath_concat", imath_concat);
  benchmark::RegisterBenchmark("imath_transform", imath_transform, placement());
  benchmark::RegisterBenchmark("imath_transform_projecting", imath_transform, projection());
#endif
#if Q7_BENCH_GLM
  benchmark::RegisterBenchmark("glm_concat", glm_concat);
#endif
#if Q7_BENCH_EIGEN
  benchmark::RegisterBenchmark("eigen_invert", eigen_invert);
#endif
#if Q7_BENCH_NOISE
  benchmark::RegisterBenchmark("libnoise_value", libnoise_value);
#endif

  std::vector<q7bench::Bar> bars = {
      {"Q7MxConcat, to Imath", "Q7MxConcat", "imath_concat", 1.1},
      {"  to GLM", "Q7MxConcat", "glm_concat", 1.1},
      {"Q7MxInvert, to Eigen", "Q7MxInvert", "eigen_invert", 1.5},
      {"Q7MxTransform, to Imath", "Q7MxTransform", "imath_transform", 1.5},
      {"  with a projecting matrix", "Q7MxTransform_projecting", "imath_transform_projecting", 1.5},
      {"Q7MxTransformArray, a point, to Q7MxTransform", "Q7MxTransformArray", "Q7MxTransform", 1 / 3.0},
      {"Q7Noise3D, to libnoise value noise", "Q7Noise3D", "libnoise_value", 0.5},
      {"_Q7SmoothNoise, to libnoise value noise", "_Q7SmoothNoise", "libnoise_value", 2.2},
  };
  // Without wide instructions the array forms are loops over the others.
  if (Q7MathPathAt(1)) {
    bars.push_back({"Q7Noise3DArray, a point, to Q7Noise3D", "Q7Noise3DArray", "Q7Noise3D", 1 / 3.0});
    bars.push_back({"Q7SmoothNoise3DArray, to _Q7SmoothNoise", "Q7SmoothNoise3DArray", "_Q7SmoothNoise", 1 / 3.0});
    bars.push_back({"Q7VecNoise3DArray, to Q7VecNoise3D", "Q7VecNoise3DArray", "Q7VecNoise3D", 1 / 3.0});
    bars.push_back({"VNormArray, to VNorm", "VNormArray", "VNorm", 0});
    bars.push_back({"Q7Noise3DArray with AVX2 alone", "noise_array_avx2", "Q7Noise3D", 0});
    bars.push_back({"Q7SmoothNoise3DArray with AVX2 alone", "smooth_noise_array_avx2", "_Q7SmoothNoise", 0});
  }
  return q7bench::run(argc, argv, bars);
}
