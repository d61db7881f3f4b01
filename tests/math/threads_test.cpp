// Everything in the room on eight threads at once: the functions share nothing but constants, so every thread gets the
// bits that one thread alone gets.
#include <thread>

#include "tests/math/math_test.h"

namespace {

using q7test::Random;

// Numbers out of a call of every kind of function.
std::vector<double> everything(uint64_t seed) {
  std::vector<double> out;
  Random random(seed);
  auto keep = [&out](const Q7Vector &v) { out.insert(out.end(), {v.x, v.y, v.z}); };
  auto keep_matrix = [&out](const Q7Matrix &m) { out.insert(out.end(), m.m[0], m.m[0] + 16); };
  for (int n = 0; n < 20; ++n) {
    const Q7Vector a = random.vector(3), b = random.unit(), c = random.vector(3);
    const Q7Vector4 q = random.vector4(3), s = random.vector4(3), t = random.vector4(3);
    Q7Vector r, u = a, v = c;
    Q7Vector4 w;
    keep(*VIdentityX());
    keep(*VIdentityO());
    keep(*VCross(&r, &a, &b));
    keep(*NormCross(&r, &a, &b));
    keep(*VOrt(&r, &a, &b));
    keep(*VMirr(&r, &a, &c, &b));
    Q7OrthSys2(&u, &v, &a, &c);
    keep(u);
    keep(v);
    Q7Vector m3[3] = {a, b, c};
    keep(*VLinComp(&r, &c, m3));
    Q7OrthSys3(m3);
    keep(m3[2]);
    out.push_back(FindAngle(&a, &q7v_hor, &q7v_vert));
    out.push_back(FindEllipticAngle(&a, &b, &c));
    out.push_back(Q7NearestAngle(a.x, a.y));
    Q7Vector ellipse[8];
    Q7VEllipse(ellipse, 8, &a, &b, &c);
    keep(ellipse[5]);
    V4Cross(&w, &q, &s, &t);
    out.push_back(w.x);
    V4Norm(&w);
    out.push_back(w.w);

    Q7Matrix m = random.matrix(2), inverse;
    out.push_back(Q7MxInvert(&inverse, &m));
    keep_matrix(inverse);
    Q7MxConcatRotate(&m, &a, &b, 0.5);
    Q7MxConcatSkew(&m, &a, &b, &c, 0.2);
    keep_matrix(m);
    keep_matrix(*Q7MxRotate2V(&m, &a, &c, &b));
    keep(*Q7MxTransform(&r, &inverse, &a));

    double h, p, k, angles[3];
    Q7CoordSys f = random.frame();
    Q7HPBFromXYZ(&h, &p, &k, &f.hor, &f.vert, &f.norm);
    out.insert(out.end(), {h, p, k});
    Q7HPTFromXYZ(&h, &p, &k, &f.hor, &f.vert, &f.norm);
    out.insert(out.end(), {h, p, k});
    for (int32_t order = 0; order < 12; ++order) {
      Q7EulerFromXYZ(angles, &f.hor, &f.vert, &f.norm, order);
      out.insert(out.end(), angles, angles + 3);
    }
    Q7CsGetFastAngles(angles, &f, &_q7cs_abs);
    out.insert(out.end(), angles, angles + 3);
    Q7CsRotate(&f, 0.1, 0.2, 0.3);
    Q7CsRemoveSkew(&f);
    keep(*Q7CsMapVExt(&r, &a, &f));
    Q7Quat quat;
    Q7HPBToQ(&quat, angles);
    out.push_back(Q7QToAxAngle(&quat, &r));
    keep(r);

    out.insert(out.end(), {Q7Noise3D(&a), _Q7SmoothNoise(&a), Q7VectorNoise(&a, 3, 2), CSmoothNoise(&a, 2, 2.5),
                           Q7Point3Dto1DBase(&a), Q7Noise4D(&q), CNoise4DTo1D(&q, 2, 1.5), Q7Point4Dto1DBase(&q),
                           _Q7SmoothNoise4D(&q), Q7LRand(Q7InitRandKey(&a))});
    keep(*Q7VecNoise3D(&r, &a));
    keep(*Q7SmoothNoise3D(&r, &a, 2, 2));
    keep(*Q7VecNoise4D(&r, &q));
    std::vector<Q7Vector> points;
    for (int i = 0; i < 19; ++i) points.push_back(random.vector(4));
    std::vector<double> values(points.size());
    Q7Noise3DArray(values.data(), points.data(), 19);
    out.insert(out.end(), values.begin(), values.end());
    Q7SmoothNoiseArray(values.data(), points.data(), 19, 2, 2);
    out.insert(out.end(), values.begin(), values.end());
    Q7MxTransformArray(points.data(), &inverse, points.data(), 19);
    VNormArray(points.data(), 19);
    keep(points[18]);
    Q7RngState state;
    Q7SetRNGSeed(&state, static_cast<uint32_t>(seed), 5);
    out.push_back(Q7GetRNGFloat(&state));
    const Q7ColorRGB rgb = {0.1, 0.5, 0.3};
    Q7ColorHSL hsl;
    Q7RgbToHsl(&hsl, &rgb);
    out.push_back(hsl.h);
  }
  return out;
}

TEST(MathThreads, EightThreadsGetTheBitsOfOne) {
  constexpr int kThreads = 8;
  std::vector<std::vector<double>> expected, got(kThreads);
  for (int t = 0; t < kThreads; ++t) expected.push_back(everything(static_cast<uint64_t>(t)));
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([t, &got] { got[static_cast<size_t>(t)] = everything(static_cast<uint64_t>(t)); });
  }
  for (std::thread &thread : threads) thread.join();
  for (size_t t = 0; t < kThreads; ++t) {
    ASSERT_EQ(got[t].size(), expected[t].size());
    EXPECT_EQ(std::memcmp(got[t].data(), expected[t].data(), got[t].size() * sizeof(double)), 0) << t;
  }
}

TEST(MathThreads, NothingAllocates) {
  q7test::AllocGate gate;
  everything(3);
  EXPECT_EQ(gate.count(), 0);
}

}  // namespace
