// matrixkernels: product and inverse of matrices over four lanes, for the paths. V is four doubles with load, store,
// set1, arithmetic, the three permutations of the cross product, and a transpose. Every path that includes this gets
// functions of its own.
#ifndef Q7_MATH_MATRIXKERNELS_HPP
#define Q7_MATH_MATRIXKERNELS_HPP

#include "math/paths.hpp"

namespace {

// All of b is loaded first and each row of a before it is stored, in the order k = 0, 1, 2, 3 of the sum.
template <class V>
Q7Matrix *concat(Q7Matrix *r, const Q7Matrix *a, const Q7Matrix *b) {
  const V b0 = V::load(b->m[0]), b1 = V::load(b->m[1]), b2 = V::load(b->m[2]), b3 = V::load(b->m[3]);
  auto row = [&](int i) {
    const double *e = a->m[i];
    return V::set1(e[0]) * b0 + V::set1(e[1]) * b1 + V::set1(e[2]) * b2 + V::set1(e[3]) * b3;
  };
  row(0).store(r->m[0]);
  row(1).store(r->m[1]);
  row(2).store(r->m[2]);
  row(3).store(r->m[3]);
  return r;
}

// The cross product of V4Cross: with the components of each vector arranged as (y,x,x,x), (z,z,y,y), (w,w,w,z), each
// lane is the determinant of its row of three, and lanes y and w change sign. The two-by-two determinants of b and c
// are shared by two products each.
template <class V>
struct Arranged {
  V first, second, third;
  explicit Arranged(V v) : first(v.yxxx()), second(v.zzyy()), third(v.wwwz()) {}
};

template <class V>
struct Minors {
  V first, second, third;
  Minors(const Arranged<V> &b, const Arranged<V> &c)
      : first(b.second * c.third - b.third * c.second),
        second(b.first * c.third - b.third * c.first),
        third(b.first * c.second - b.second * c.first) {}
  V cross(const Arranged<V> &a) const { return (a.first * first - a.second * second + a.third * third).negate_yw(); }
};

template <class V>
int32_t invert(Q7Matrix *r, const Q7Matrix *m) {
  V k0 = V::load(m->m[0]), k1 = V::load(m->m[1]), k2 = V::load(m->m[2]), k3 = V::load(m->m[3]);
  V::transpose(k0, k1, k2, k3);
  const Arranged<V> a0(k0), a1(k1), a2(k2), a3(k3);
  // Exchanged cyclically: (k2, k3, k0) has the cross product of (k0, k2, k3).
  const Minors<V> m23(a2, a3), m01(a0, a1);
  const V c0 = m23.cross(a1), c1 = m23.cross(a0), c2 = m01.cross(a3), c3 = m01.cross(a2);
  V p0 = k0 * c0, p1 = k1 * c1, p2 = k2 * c2, p3 = k3 * c3;
  V::transpose(p0, p1, p2, p3);
  const V d = p0 + p1 + p2 + p3;
  if (d.any_below(q7::singular_limit)) {
    double c[4][4], products[4];
    c0.store(c[0]);
    c1.store(c[1]);
    c2.store(c[2]);
    c3.store(c[3]);
    d.store(products);
    return q7::invert_singular(r, *m, c, products);
  }
  double factor[4];
  (V::set1(1) / d).store(factor);
  (c0 * V::set1(factor[0])).store(r->m[0]);
  (c1 * V::set1(factor[1])).store(r->m[1]);
  (c2 * V::set1(factor[2])).store(r->m[2]);
  (c3 * V::set1(factor[3])).store(r->m[3]);
  return 1;
}

}  // namespace

#endif
