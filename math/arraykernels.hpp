// arraykernels: transforms, normalising and noise of eight points at once, for the paths with wide registers. D is eight
// doubles; eight 32-bit integers are one AVX2 register on both. Every operation and its order is that of the one-point
// function, lane by lane; what is left over behind the last eight goes through the baseline.
#ifndef Q7_MATH_ARRAYKERNELS_HPP
#define Q7_MATH_ARRAYKERNELS_HPP

#include <immintrin.h>

#include "math/paths.hpp"
#include "math/randomtable.hpp"

namespace {

constexpr int32_t lanes = 8;

// The table.

inline __m256i ints(int32_t v) { return _mm256_set1_epi32(v); }
inline __m256i plus(__m256i a, __m256i b) { return _mm256_add_epi32(a, b); }

// T[i] in the low and T[i + 1] in the high half of each lane.
inline __m256i table_pairs(__m256i i) {
  return _mm256_i32gather_epi32(reinterpret_cast<const int *>(q7_random_table.value),
                                _mm256_and_si256(i, ints(32767)), 2);
}
inline __m256i low_half(__m256i pairs) { return _mm256_and_si256(pairs, ints(0xffff)); }
inline __m256i high_half(__m256i pairs) { return _mm256_srli_epi32(pairs, 16); }
inline __m256i table(__m256i i) { return low_half(table_pairs(i)); }

// One coordinate of eight points on the lattice, as LatticeCoordinate.
template <class D>
struct Coordinate {
  __m256i cell;
  D fraction;
  explicit Coordinate(D coordinate) {
    const D scaled = D::set1(q7::lattice_scale) * coordinate;
    cell = D::decrement_negative(D::truncate(scaled), scaled);
    fraction = scaled - D::from_ints(cell);
  }
};

template <class D>
struct Mix {
  D t, rest;
  explicit Mix(D fraction) : t(fraction), rest(D::set1(1) - fraction) {}
  D operator()(D a, D b) const { return rest * a + t * b; }
};

template <class D>
D noise(D px, D py, D pz) {
  const Coordinate<D> x(px), y(py), z(pz);
  const __m256i offset = ints(static_cast<int32_t>(q7::offset_linear));
  const __m256i ix = plus(x.cell, offset), iy = plus(y.cell, offset), iz = plus(z.cell, offset);
  const __m256i tz = table_pairs(iz), ty = table_pairs(iy);
  const __m256i z0 = plus(ix, table(low_half(tz))), z1 = plus(ix, table(high_half(tz)));
  const __m256i y0 = low_half(ty), y1 = high_half(ty);
  const Mix<D> along_x(x.fraction), along_y(y.fraction), along_z(z.fraction);
  auto row = [&](__m256i base) {
    const __m256i pairs = table_pairs(base);
    return along_x(D::from_ints(low_half(pairs)), D::from_ints(high_half(pairs)));
  };
  const D near = along_y(row(plus(y0, z0)), row(plus(y1, z0)));
  const D far = along_y(row(plus(y0, z1)), row(plus(y1, z1)));
  return along_z(near, far).one_nan();
}

template <class D>
struct Spline {
  D b0, b1, b2, b3;
  explicit Spline(D t) {
    const D t2 = t * t, t3 = t2 * t, one = D::set1(1), three = D::set1(3);
    const D d = t2 - t3;
    b0 = (t2 - t) * three + one - t3;
    b1 = D::set1(4) - three * (t2 + d);
    b2 = three * (t + d) + one;
    b3 = t3;
  }
};

template <class D>
D smooth_noise(D px, D py, D pz) {
  const Coordinate<D> x(px), y(py), z(pz);
  const Spline<D> wx(x.fraction), wy(y.fraction), wz(z.fraction);
  const __m256i offset = ints(static_cast<int32_t>(q7::offset_cubic));
  const __m256i ix = plus(x.cell, offset), iy = plus(y.cell, offset), iz = plus(z.cell, offset);
  const __m256i y01 = table_pairs(iy), y23 = table_pairs(plus(iy, ints(2)));
  const __m256i z01 = table_pairs(iz), z23 = table_pairs(plus(iz, ints(2)));
  const __m256i rows[4] = {plus(ix, low_half(y01)), plus(ix, high_half(y01)), plus(ix, low_half(y23)),
                           plus(ix, high_half(y23))};
  auto row = [&](__m256i base) {
    const typename D::Quads quads(q7_random_table.value, _mm256_and_si256(base, ints(32767)));
    return wx.b0 * quads.template value<0>() + wx.b1 * quads.template value<1>() + wx.b2 * quads.template value<2>() +
           wx.b3 * quads.template value<3>();
  };
  auto plane = [&](__m256i tz) {
    const __m256i zk = table(tz);
    return wy.b0 * row(plus(rows[0], zk)) + wy.b1 * row(plus(rows[1], zk)) + wy.b2 * row(plus(rows[2], zk)) +
           wy.b3 * row(plus(rows[3], zk));
  };
  const D sum = wz.b0 * plane(low_half(z01)) + wz.b1 * plane(high_half(z01)) + wz.b2 * plane(low_half(z23)) +
                wz.b3 * plane(high_half(z23));
  return (sum / D::set1(216)).one_nan();
}

// Each table value of the lattice vectors, looked up once: the coordinate, T of it and T[T] of it.
struct Hashed {
  __m256i at[2], t[2], tt[2];
  explicit Hashed(__m256i i) {
    const __m256i pairs = table_pairs(i);
    at[0] = i;
    at[1] = plus(i, ints(1));
    t[0] = low_half(pairs);
    t[1] = high_half(pairs);
    tt[0] = table(t[0]);
    tt[1] = table(t[1]);
  }
};

template <class D>
void vec_noise(D px, D py, D pz, D *r) {
  const Coordinate<D> x(px), y(py), z(pz);
  const __m256i offset = ints(static_cast<int32_t>(q7::offset_linear));
  const Hashed a(plus(x.cell, offset)), b(plus(y.cell, offset)), c(plus(z.cell, offset));
  const Mix<D> along_x(x.fraction), along_y(y.fraction), along_z(z.fraction);
  auto interpolated = [&](auto corner) {
    auto row = [&](int j, int k) { return along_x(corner(0, j, k), corner(1, j, k)); };
    auto plane = [&](int k) { return along_y(row(0, k), row(1, k)); };
    return along_z(plane(0), plane(1)).one_nan();
  };
  auto value = [](__m256i i, __m256i j, __m256i k) { return D::from_ints(table(plus(plus(i, j), k))); };
  r[0] = interpolated([&](int i, int j, int k) { return value(a.at[i], b.t[j], c.tt[k]); });
  r[1] = interpolated([&](int i, int j, int k) { return value(b.at[j], c.t[k], a.tt[i]); });
  r[2] = interpolated([&](int i, int j, int k) { return value(c.at[k], a.t[i], b.tt[j]); });
}

// The arrays.

template <class D>
void transform_array(Q7Vector *r, const Q7Matrix *m, const Q7Vector *p, int32_t n) {
  const auto &e = m->m;
  const D one = D::set1(1);
  int32_t i = 0;
  for (; i + lanes <= n; i += lanes) {
    D x, y, z;
    D::load_points(p + i, x, y, z);
    auto row = [&](int k) {
      return D::set1(e[k][0]) * x + D::set1(e[k][1]) * y + D::set1(e[k][2]) * z + D::set1(e[k][3]);
    };
    const D w = row(3);
    D rx = row(0), ry = row(1), rz = row(2);
    if (!w.all_equal(one)) {
      rx = (rx / w).zero_where_zero(w);
      ry = (ry / w).zero_where_zero(w);
      rz = (rz / w).zero_where_zero(w);
    }
    D::store_points(r + i, rx.one_nan(), ry.one_nan(), rz.one_nan());
  }
  q7::baseline_path.transform_array(r + i, m, p + i, n - i);
}

template <class D>
void transform_l_array(Q7Vector *r, const Q7Matrix *m, const Q7Vector *v, int32_t n) {
  const auto &e = m->m;
  int32_t i = 0;
  for (; i + lanes <= n; i += lanes) {
    D x, y, z;
    D::load_points(v + i, x, y, z);
    auto row = [&](int k) {
      return (D::set1(e[k][0]) * x + D::set1(e[k][1]) * y + D::set1(e[k][2]) * z).one_nan();
    };
    D::store_points(r + i, row(0), row(1), row(2));
  }
  q7::baseline_path.transform_l_array(r + i, m, v + i, n - i);
}

template <class D>
void norm_array(Q7Vector *v, int32_t n) {
  int32_t i = 0;
  for (; i + lanes <= n; i += lanes) {
    D x, y, z;
    D::load_points(v + i, x, y, z);
    const D len = (x * x + y * y + z * z).root();
    D::store_points(v + i, D::where_normal(len, x / len, D::set1(1)), D::where_normal(len, y / len, y),
                    D::where_normal(len, z / len, z));
  }
  q7::baseline_path.norm_array(v + i, n - i);
}

template <class D>
void noise_array(double *r, const Q7Vector *p, int32_t n) {
  int32_t i = 0;
  for (; i + lanes <= n; i += lanes) {
    D x, y, z;
    D::load_points(p + i, x, y, z);
    noise(x, y, z).store(r + i);
  }
  q7::baseline_path.noise_array(r + i, p + i, n - i);
}

template <class D>
void smooth_noise_array(double *r, const Q7Vector *p, int32_t n) {
  int32_t i = 0;
  for (; i + lanes <= n; i += lanes) {
    D x, y, z;
    D::load_points(p + i, x, y, z);
    smooth_noise(x, y, z).store(r + i);
  }
  q7::baseline_path.smooth_noise_array(r + i, p + i, n - i);
}

template <class D>
void vec_noise_array(Q7Vector *r, const Q7Vector *p, int32_t n) {
  int32_t i = 0;
  for (; i + lanes <= n; i += lanes) {
    D x, y, z, v[3];
    D::load_points(p + i, x, y, z);
    vec_noise(x, y, z, v);
    D::store_points(r + i, v[0], v[1], v[2]);
  }
  q7::baseline_path.vec_noise_array(r + i, p + i, n - i);
}

}  // namespace

#endif
