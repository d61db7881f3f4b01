// arraykernels: transforms, normalising and noise of eight points at once, for the paths with wide registers. D is
// eight doubles; eight 32-bit integers are one AVX2 register on both. Every operation and its order is that of the
// one-point function, lane by lane; what is left over behind the last eight goes through the baseline.
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

// The indices of eight points, masked. They leave the register two at a time: single loads from the table take less
// time than the machine's gather instructions, which most processors run as microcode since they were hardened.
struct Indices {
  uint32_t at[lanes];
  explicit Indices(__m256i i) {
    const __m256i masked = _mm256_and_si256(i, ints(32767));
    const __m128i low = _mm256_castsi256_si128(masked), high = _mm256_extracti128_si256(masked, 1);
    const uint64_t two[4] = {
        static_cast<uint64_t>(_mm_cvtsi128_si64(low)), static_cast<uint64_t>(_mm_extract_epi64(low, 1)),
        static_cast<uint64_t>(_mm_cvtsi128_si64(high)), static_cast<uint64_t>(_mm_extract_epi64(high, 1))};
    for (int k = 0; k < 4; ++k) {
      at[2 * k] = static_cast<uint32_t>(two[k]);
      at[2 * k + 1] = static_cast<uint32_t>(two[k] >> 32);
    }
  }
};

inline int load_pair(const uint16_t *p) {
  int pair;
  __builtin_memcpy(&pair, p, sizeof pair);
  return pair;
}
inline __m128i four_pairs(const uint16_t *t, const uint32_t *at) {
  __m128i v = _mm_cvtsi32_si128(load_pair(t + at[0]));
  v = _mm_insert_epi32(v, load_pair(t + at[1]), 1);
  v = _mm_insert_epi32(v, load_pair(t + at[2]), 2);
  return _mm_insert_epi32(v, load_pair(t + at[3]), 3);
}
inline __m128i two_quads(const uint16_t *t, const uint32_t *at) {
  const __m128i low = _mm_loadl_epi64(reinterpret_cast<const __m128i *>(t + at[0]));
  const __m128i high = _mm_loadl_epi64(reinterpret_cast<const __m128i *>(t + at[1]));
  return _mm_unpacklo_epi64(low, high);
}

// T[i] in the low and T[i + 1] in the high half of each lane, and the same of T[T[i]] and T[T[i + 1]].
inline __m256i pairs_of(const Q7RandomTable &t, __m256i i) {
  const Indices k(i);
  return _mm256_inserti128_si256(_mm256_castsi128_si256(four_pairs(t.value, k.at)), four_pairs(t.value, k.at + 4), 1);
}
inline __m256i table_pairs(__m256i i) { return pairs_of(q7_random_table, i); }
inline __m256i table_twice_pairs(__m256i i) { return pairs_of(q7_random_table_twice, i); }
inline __m256i low_half(__m256i pairs) { return _mm256_and_si256(pairs, ints(0xffff)); }
inline __m256i high_half(__m256i pairs) { return _mm256_srli_epi32(pairs, 16); }

// T[i] to T[i + 3] of eight points: points 0 to 3 and 4 to 7 in 64-bit lanes.
struct Quads {
  __m256i low, high;
  Quads(const Q7RandomTable &t, __m256i i) {
    const Indices k(i);
    low = _mm256_inserti128_si256(_mm256_castsi128_si256(two_quads(t.value, k.at)), two_quads(t.value, k.at + 2), 1);
    high =
        _mm256_inserti128_si256(_mm256_castsi128_si256(two_quads(t.value, k.at + 4)), two_quads(t.value, k.at + 6), 1);
  }
  // Value k of the eight points as integers: pairs of values first, then one of the pair.
  template <int k>
  __m256i value() const {
    const __m256 lo = _mm256_castsi256_ps(low), hi = _mm256_castsi256_ps(high);
    const __m256 mixed = k < 2 ? _mm256_shuffle_ps(lo, hi, 0x88) : _mm256_shuffle_ps(lo, hi, 0xdd);
    const __m256i pairs = _mm256_permute4x64_epi64(_mm256_castps_si256(mixed), 0xd8);
    return k % 2 ? high_half(pairs) : low_half(pairs);
  }
};

// The values of eight lattice rows: at the base and behind it.
template <class D>
struct RowPair {
  D at0, at1;
  explicit RowPair(__m256i base) {
    const Indices k(base);
    D::load_pairs(q7_random_doubles.value, k.at, at0, at1);
  }
};
template <class D>
struct RowQuad {
  D at0, at1, at2, at3;
  explicit RowQuad(__m256i base) {
    const Indices k(base);
    D::load_pairs(q7_random_doubles.value, k.at, at0, at1);
    D::load_pairs(q7_random_doubles.value + 2, k.at, at2, at3);
  }
};

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

// Value noise in two steps, so that the array can look up the tables of one eight while another's values are on their
// way.
template <class D>
struct NoiseCell {
  Mix<D> along_x, along_y, along_z;
  __m256i base[4];  // of the rows at (y, z) = (0, 0), (1, 0), (0, 1), (1, 1)

  NoiseCell(const Coordinate<D> &x, const Coordinate<D> &y, const Coordinate<D> &z)
      : along_x(x.fraction), along_y(y.fraction), along_z(z.fraction) {
    const __m256i offset = ints(static_cast<int32_t>(q7::offset_linear));
    const __m256i ix = plus(x.cell, offset);
    const __m256i tz = table_twice_pairs(plus(z.cell, offset)), ty = table_pairs(plus(y.cell, offset));
    const __m256i z0 = plus(ix, low_half(tz)), z1 = plus(ix, high_half(tz));
    const __m256i y0 = low_half(ty), y1 = high_half(ty);
    base[0] = plus(y0, z0);
    base[1] = plus(y1, z0);
    base[2] = plus(y0, z1);
    base[3] = plus(y1, z1);
  }
  static NoiseCell at(const Q7Vector *p) {
    D x, y, z;
    D::load_points(p, x, y, z);
    return NoiseCell(Coordinate<D>(x), Coordinate<D>(y), Coordinate<D>(z));
  }
  D row(int k) const {
    const RowPair<D> values(base[k]);
    return along_x(values.at0, values.at1);
  }
  D value() const { return along_z(along_y(row(0), row(1)), along_y(row(2), row(3))).one_nan(); }
};

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
  const Quads ty(q7_random_table, iy), tz(q7_random_table_twice, iz);
  const __m256i rows[4] = {plus(ix, ty.value<0>()), plus(ix, ty.value<1>()), plus(ix, ty.value<2>()),
                           plus(ix, ty.value<3>())};
  auto row = [&](__m256i base) {
    const RowQuad<D> values(base);
    return wx.b0 * values.at0 + wx.b1 * values.at1 + wx.b2 * values.at2 + wx.b3 * values.at3;
  };
  auto plane = [&](__m256i zk) {
    return wy.b0 * row(plus(rows[0], zk)) + wy.b1 * row(plus(rows[1], zk)) + wy.b2 * row(plus(rows[2], zk)) +
           wy.b3 * row(plus(rows[3], zk));
  };
  const D sum = wz.b0 * plane(tz.value<0>()) + wz.b1 * plane(tz.value<1>()) + wz.b2 * plane(tz.value<2>()) +
                wz.b3 * plane(tz.value<3>());
  return (sum / D::set1(216)).one_nan();
}

// Two neighbouring lattice coordinates: T and T[T] of each.
struct Hashed {
  __m256i at, t[2], tt[2];
  explicit Hashed(__m256i i) : at(i) {
    const __m256i once = table_pairs(i), twice = table_twice_pairs(i);
    t[0] = low_half(once);
    t[1] = high_half(once);
    tt[0] = low_half(twice);
    tt[1] = high_half(twice);
  }
};

// The three components are the same function of the coordinates in turned order, (a, b, c), (b, c, a) and (c, a, b):
// T[first + T[second] + T[T[third]]], whose two neighbours along the first coordinate lie side by side in the table.
template <class D>
struct Corners {
  D values[2][2][2];  // by second, third, first
  Corners(const Hashed &first, const Hashed &second, const Hashed &third) {
    for (int s = 0; s < 2; ++s) {
      for (int t = 0; t < 2; ++t) {
        const RowPair<D> row(plus(first.at, plus(second.t[s], third.tt[t])));
        values[s][t][0] = row.at0;
        values[s][t][1] = row.at1;
      }
    }
  }
  D at(int first, int second, int third) const { return values[second][third][first]; }
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
  const Corners<D> abc(a, b, c);
  r[0] = interpolated([&](int i, int j, int k) { return abc.at(i, j, k); });
  const Corners<D> bca(b, c, a);
  r[1] = interpolated([&](int i, int j, int k) { return bca.at(j, k, i); });
  const Corners<D> cab(c, a, b);
  r[2] = interpolated([&](int i, int j, int k) { return cab.at(k, i, j); });
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
    auto row = [&](int k) { return (D::set1(e[k][0]) * x + D::set1(e[k][1]) * y + D::set1(e[k][2]) * z).one_nan(); };
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
[[gnu::flatten]] void noise_array(double *r, const Q7Vector *p, int32_t n) {
  int32_t i = 0;
  for (; i + 2 * lanes <= n; i += 2 * lanes) {
    const NoiseCell<D> first = NoiseCell<D>::at(p + i), second = NoiseCell<D>::at(p + i + lanes);
    first.value().store(r + i);
    second.value().store(r + i + lanes);
  }
  for (; i + lanes <= n; i += lanes) NoiseCell<D>::at(p + i).value().store(r + i);
  q7::baseline_path.noise_array(r + i, p + i, n - i);
}

template <class D>
[[gnu::flatten]] void smooth_noise_array(double *r, const Q7Vector *p, int32_t n) {
  int32_t i = 0;
  for (; i + lanes <= n; i += lanes) {
    D x, y, z;
    D::load_points(p + i, x, y, z);
    smooth_noise(x, y, z).store(r + i);
  }
  q7::baseline_path.smooth_noise_array(r + i, p + i, n - i);
}

template <class D>
[[gnu::flatten]] void vec_noise_array(Q7Vector *r, const Q7Vector *p, int32_t n) {
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
