/* q7noise: random values that are a pure function of a key or a position, for procedural textures, and a small
 * sequential generator. Everything keyed stands on one table of 32768 values, so the same point has the same value on
 * every machine and in every version: stored scenes depend on it. No value here may ever change.
 *
 * The lattice. A position is multiplied by 25: the lattice spacing is 1/25 of a unit. The cell of a coordinate X is
 * trunc(X), less one if X < 0; so a negative whole number lies at the right border of the cell below (fraction 1),
 * where the value is the same. Beyond 2^31 lattice cells the functions go on without sense, but also without fault; a
 * NaN coordinate gives NaN.
 *
 * The families:
 *   value noise          random values at the lattice points, interpolated linearly (no fade: cells show their edges)
 *   smooth noise         the same with cubic B-splines; the spline of cell i uses points i .. i + 3, so the curve runs
 *                        between the second and third; it does not pass through the values
 *   vector noise         three values a lattice point instead of one
 *   point noise          one feature point a cell, at a random place in it; the value is how far the nearest ones are
 * each in three and in four dimensions (the fourth may be time), as one octave, as a sum of a whole number of octaves
 * (octaves, f) and as one of a fractional number (f, octaves: detail can be faded in). Octave n has frequency f^n and
 * weight 1 / f^n. Sums are normalised to 0..1; one octave of value and vector noise is 0..32767, of point noise 0..1.
 *
 * All functions are pure; the generator's state belongs to the caller. No allocation; any thread. */
#ifndef Q7_MATH_Q7NOISE_H
#define Q7_MATH_Q7NOISE_H

#include "math/q7vector4.h"

Q7_BEGIN_DECLS

/** The table: entry n is bits 16 to 30 of the n-th state of state = state * 214013 + 2531011 from state 1. Every entry
 * lies in 0..32767, so an entry is itself an index. T[i] below means rndtab[i & 32767]. */
extern Q7_API const uint16_t rndtab[32768];

/* ---- Keyed values ---- */

/** T[k], 0..32767. */
Q7_API int32_t Q7RandInt(uint32_t k);
/** T[k] / 32767, 0..1; only 15 bits of k count. */
Q7_API double Q7Rand(uint32_t k);
/** A value 0..1 that depends on all 32 bits of k. */
Q7_API double Q7LRand(uint32_t k);
/** T[T[a] + b] / 32767, 0..1. */
Q7_API double Q7Rand2(uint32_t a, uint32_t b);
/** T[T[a] + b] >> 7, 0..255. */
Q7_API int32_t Q7Rand2Int(uint32_t a, uint32_t b);
/** A random vector for the lattice point (a, b, c), components 0..32767. @return r */
Q7_API Q7Vector *Q7VecRnd3D(Q7Vector *r, uint32_t a, uint32_t b, uint32_t c);
/** A random value 0..32767 for the four-dimensional lattice point: T[a + T[b] + T[T[c]] + T[T[T[d]]]]. */
Q7_API double Q7Rnd4D(uint32_t a, uint32_t b, uint32_t c, uint32_t d);
/** A random vector for the four-dimensional lattice point, components 0..32767; x is Q7Rnd4D(a, b, c, d), y and z the
 * same with the coordinates turned by one and two places. @return r */
Q7_API Q7Vector *Q7VecRnd4D(Q7Vector *r, uint32_t a, uint32_t b, uint32_t c, uint32_t d);
/** A key, 0..32767, from a point; Q7Rand(key + i) is then the i-th random value of that point. Coordinates are told
 * apart down to 2^-28. */
Q7_API uint32_t Q7InitRandKey(const Q7Vector *p);
/** The same from x and y alone. */
Q7_API uint32_t Q7InitRandKey2D(const Q7Vector *p);

/* ---- Noise, three dimensions ---- */

/** Value noise, 0..32767. */
Q7_API double Q7Noise3D(const Q7Vector *p);
/** Vector noise, components 0..32767. @return r */
Q7_API Q7Vector *Q7VecNoise3D(Q7Vector *r, const Q7Vector *p);
/** Smooth value noise, 0..32767. */
Q7_API double _Q7SmoothNoise(const Q7Vector *p);
/** Smooth vector noise, components 0..32767. @return r */
Q7_API Q7Vector *_Q7SmoothNoise3DTo3D(Q7Vector *r, const Q7Vector *p);
/**
 * Point noise: how far, in lattice cells, the nearest feature point is, at most 1. The feature point of a cell lies at
 * the cell's corner plus Q7VecRnd3D / 32767 of the cell's coordinates plus 200000000. The 27 cells around p are
 * searched, which hold every feature nearer than 1; farther ones count as 1, so the value is continuous.
 */
Q7_API double Q7Point3Dto1DBase(const Q7Vector *p);
/** r = the distances of the nearest, the second and the third nearest feature point, each at most 1; r.x is
 * Q7Point3Dto1DBase. @return r */
Q7_API Q7Vector *Q7Point3Dto3DBase(Q7Vector *r, const Q7Vector *p);
/** r = w0 a + w1 b + w2 c + w3 d. @return r */
Q7_API Q7Vector *Q7Bsc(Q7Vector *r, double w0, double w1, double w2, double w3, const Q7Vector *a, const Q7Vector *b,
                       const Q7Vector *c, const Q7Vector *d);

/** Sum of octaves of Q7Noise3D, 0..1. octaves < 1 gives 0/0, here and below. */
Q7_API double Q7VectorNoise(const Q7Vector *p, int32_t octaves, double f);
/** Sum of octaves of _Q7SmoothNoise, 0..1. */
Q7_API double Q7SmoothNoise(const Q7Vector *p, int32_t octaves, double f);
/** Sum of octaves of Q7VecNoise3D, components 0..1. @return r */
Q7_API Q7Vector *Q7VectorNoise3D(Q7Vector *r, const Q7Vector *p, int32_t octaves, double f);
/** Sum of octaves of _Q7SmoothNoise3DTo3D, components 0..1. @return r */
Q7_API Q7Vector *Q7SmoothNoise3D(Q7Vector *r, const Q7Vector *p, int32_t octaves, double f);
/** Sum of octaves of Q7Point3Dto1DBase, 0..1. */
Q7_API double Q7Point3DTo1DNoise(const Q7Vector *p, int32_t octaves, double f);
/** Sum of octaves of Q7Point3Dto3DBase, components 0..1. @return r */
Q7_API Q7Vector *Q7Point3DTo3DNoise(Q7Vector *r, const Q7Vector *p, int32_t octaves, double f);

/** The same sums with a fractional number of octaves: floor(octaves) whole ones, and the rest of more than 1e-8 as one
 * more octave of accordingly less weight. At most 2^31 - 1 octaves are summed. */
Q7_API double CVectorNoise(const Q7Vector *p, double f, double octaves);
Q7_API double CSmoothNoise(const Q7Vector *p, double f, double octaves);
Q7_API Q7Vector *CVectorNoise3D(Q7Vector *r, const Q7Vector *p, double f, double octaves);
Q7_API Q7Vector *CSmoothNoise3D(Q7Vector *r, const Q7Vector *p, double f, double octaves);
Q7_API double CPoint3DTo1DNoise(const Q7Vector *p, double f, double octaves);
Q7_API Q7Vector *CPoint3DTo3DNoise(Q7Vector *r, const Q7Vector *p, double f, double octaves);

/* ---- Noise, four dimensions: the same lattice, offsets, weights and order of sums, w behind z ---- */

/** Value noise, 0..32767. */
Q7_API double Q7Noise4D(const Q7Vector4 *p);
/** Vector noise, components 0..32767. @return r */
Q7_API Q7Vector *Q7VecNoise4D(Q7Vector *r, const Q7Vector4 *p);
/** Smooth value noise, 0..32767. */
Q7_API double _Q7SmoothNoise4D(const Q7Vector4 *p);
/** Smooth vector noise, components 0..32767. @return r */
Q7_API Q7Vector *_Q7SmoothNoise4DTo3D(Q7Vector *r, const Q7Vector4 *p);
/** Point noise over the 81 cells around p; the feature point of a cell lies at the cell's corner plus Q7VecRnd4D /
 * 32767 and, for w, the coordinates turned by three places. 0..1. */
Q7_API double Q7Point4Dto1DBase(const Q7Vector4 *p);
/** r = the distances of the nearest, second and third nearest feature point, each at most 1. @return r */
Q7_API Q7Vector *Q7Point4Dto3DBase(Q7Vector *r, const Q7Vector4 *p);

/** Sums of octaves, 0..1. */
Q7_API double Q7Noise4DTo1D(const Q7Vector4 *p, int32_t octaves, double f);
Q7_API Q7Vector *Q7Noise4DTo3D(Q7Vector *r, const Q7Vector4 *p, int32_t octaves, double f);
Q7_API double Q7SmoothNoise4DTo1D(const Q7Vector4 *p, int32_t octaves, double f);
Q7_API Q7Vector *Q7SmoothNoise4DTo3D(Q7Vector *r, const Q7Vector4 *p, int32_t octaves, double f);
Q7_API double Q7Point4DTo1DNoise(const Q7Vector4 *p, int32_t octaves, double f);
Q7_API Q7Vector *Q7Point4DTo3DNoise(Q7Vector *r, const Q7Vector4 *p, int32_t octaves, double f);

/** Sums of a fractional number of octaves, 0..1. */
Q7_API double CNoise4DTo1D(const Q7Vector4 *p, double f, double octaves);
Q7_API Q7Vector *CNoise4DTo3D(Q7Vector *r, const Q7Vector4 *p, double f, double octaves);
Q7_API double CSmoothNoise4DTo1D(const Q7Vector4 *p, double f, double octaves);
Q7_API Q7Vector *CSmoothNoise4DTo3D(Q7Vector *r, const Q7Vector4 *p, double f, double octaves);
Q7_API double CPoint4DTo1DNoise(const Q7Vector4 *p, double f, double octaves);
Q7_API Q7Vector *CPoint4DTo3DNoise(Q7Vector *r, const Q7Vector4 *p, double f, double octaves);

/* ---- Sequential generator: two multiply-with-carry words ---- */

/** The state of a generator: 8 bytes, owned by the caller, one a thread. */
typedef struct Q7RngState {
  uint32_t z;
  uint32_t w;
} Q7RngState;

/** Starts a generator. Mind the order: s1 seeds w, s2 seeds z; a zero stands for 521288629, resp. 362436069. */
Q7_API void Q7SetRNGSeed(Q7RngState *state, uint32_t s1, uint32_t s2);
/** The next value, all 32 bits. */
Q7_API uint32_t Q7GetRNG(Q7RngState *state);
/** The next value strictly between 0 and 1: (u + 1) / (2^32 + 2). */
Q7_API double Q7GetRNGFloat(Q7RngState *state);

Q7_END_DECLS

#endif
