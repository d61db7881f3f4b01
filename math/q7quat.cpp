// q7quat: conversions of quaternions. The turning sense is that of q7matrix: the half angle enters negated.
#include "math/q7quat.h"

#include <cmath>

#include "math/values.hpp"

static_assert(sizeof(Q7Quat) == 32);

void Q7AxAngleToQ(Q7Quat *q, const Q7Vector *axis, double angle) {
  const q7::SinCos half(-angle / 2);
  *q = {half.s * axis->x, half.s * axis->y, half.s * axis->z, half.c};
}

double Q7QToAxAngle(const Q7Quat *q, Q7Vector *axis) {
  double w = q->w, d = 1;
  if (w > 0.9999) {
    w = 1;
  } else if (w < -0.9999) {
    w = -1;
  } else {
    d = std::sqrt(1 - w * w);
  }
  Q7Vector a = {q->x / d, q->y / d, q->z / d};
  TNorm(&a);
  double angle = -2 * std::acos(w);
  // One axis stands for both directions: the dominant component is made positive, so that equal rotations get equal
  // axes. The angle then moves by a whole turn instead of changing its sign back into range; callers depend on it.
  double dominant = std::fabs(a.y) < std::fabs(a.x) ? a.x : a.y;
  if (std::fabs(dominant) < std::fabs(a.z)) dominant = a.z;
  if (dominant < 0) {
    a = -a;
    angle = q7::two_pi - angle;
  }
  *axis = a;
  return angle;
}

void Q7QToMatrix(const Q7Quat *q, Q7Matrix *m) {
  const double x = q->x, y = q->y, z = q->z, w = q->w;
  *m = {{{1 - 2 * (y * y + z * z), 2 * (x * y - z * w), 2 * (x * z + y * w), 0},
         {2 * (x * y + z * w), 1 - 2 * (x * x + z * z), 2 * (y * z - x * w), 0},
         {2 * (x * z - y * w), 2 * (y * z + x * w), 1 - 2 * (x * x + y * y), 0},
         {0, 0, 0, 1}}};
}

void Q7MatrixToQ(Q7Quat *q, const Q7Matrix *matrix) {
  const auto &m = matrix->m;
  const double t = m[0][0] + m[1][1] + m[2][2] + 1;
  if (t > 0) {
    const double k = 0.5 / std::sqrt(t);
    *q = {(m[2][1] - m[1][2]) * k, (m[0][2] - m[2][0]) * k, (m[1][0] - m[0][1]) * k, 0.25 / k};
    V4Norm(q);  // the branches below leave the length as the matrix gives it
  } else if (m[0][0] >= m[1][1] && m[0][0] >= m[2][2]) {
    const double s = 2 * std::sqrt(1 + m[0][0] - m[1][1] - m[2][2]);
    *q = {s / 4, (m[0][1] + m[1][0]) / s, (m[0][2] + m[2][0]) / s, (m[2][1] - m[1][2]) / s};
  } else if (m[1][1] >= m[2][2]) {
    const double s = 2 * std::sqrt(1 + m[1][1] - m[0][0] - m[2][2]);
    *q = {(m[0][1] + m[1][0]) / s, s / 4, (m[1][2] + m[2][1]) / s, (m[0][2] - m[2][0]) / s};
  } else {
    const double s = 2 * std::sqrt(1 + m[2][2] - m[0][0] - m[1][1]);
    *q = {(m[0][2] + m[2][0]) / s, (m[1][2] + m[2][1]) / s, s / 4, (m[1][0] - m[0][1]) / s};
  }
}

namespace {

// The unit axes that q turns X, Y and Z into; q is normalised in place.
void axes_of(Q7Quat *q, Q7Vector *axes) {
  const double len = V4Len(q);
  if (len >= 1e-8) V4FDiv(q, len);
  Q7Matrix m;
  Q7QToMatrix(q, &m);
  for (int j = 0; j < 3; ++j) {
    Q7MxColumnToVector(&axes[j].x, &m, j, 3);
    VNorm(axes + j);
  }
}

void from_axes(Q7Quat *q, const Q7Vector *axes) {
  Q7Matrix m;
  Q7MxIdentity(&m);
  for (int j = 0; j < 3; ++j) Q7MxVectorToColumn(&axes[j].x, &m, j, 3);
  Q7MatrixToQ(q, &m);
}

}  // namespace

void Q7QToHPB(Q7Quat *q, double *angles) {
  Q7Vector axes[3];
  axes_of(q, axes);
  Q7HPBFromXYZ(angles, angles + 1, angles + 2, axes, axes + 1, axes + 2);
}

void Q7QToHPT(Q7Quat *q, double *angles) {
  Q7Vector axes[3];
  axes_of(q, axes);
  Q7HPTFromXYZ(angles, angles + 1, angles + 2, axes, axes + 1, axes + 2);
}

void Q7HPBToQ(Q7Quat *q, const double *angles) {
  Q7Vector axes[3];
  Q7HPBToXYZ(angles[0], angles[1], angles[2], axes, axes + 1, axes + 2);
  from_axes(q, axes);
}

void Q7HPTToQ(Q7Quat *q, const double *angles) {
  Q7Vector axes[3];
  Q7HPTToXYZ(angles[0], angles[1], angles[2], axes, axes + 1, axes + 2);
  from_axes(q, axes);
}

double Q7HPBToAxAngle(Q7Vector *axis, const double *angles) {
  Q7Quat q;
  Q7HPBToQ(&q, angles);
  return Q7QToAxAngle(&q, axis);
}

double Q7HPTToAxAngle(Q7Vector *axis, const double *angles) {
  Q7Quat q;
  Q7HPTToQ(&q, angles);
  return Q7QToAxAngle(&q, axis);
}

void Q7AxAngleToHPB(double *angles, Q7Vector *axis, double angle) {
  Q7Quat q;
  TNorm(axis);
  Q7AxAngleToQ(&q, axis, angle);
  Q7QToHPB(&q, angles);
}

void Q7AxAngleToHPT(double *angles, Q7Vector *axis, double angle) {
  Q7Quat q;
  TNorm(axis);
  Q7AxAngleToQ(&q, axis, angle);
  Q7QToHPT(&q, angles);
}

// The self-test.

namespace {

constexpr double agreement = 1e-9;

bool same_matrix(const Q7Matrix &a, const Q7Matrix &b) {
  for (int i = 0; i < 4; ++i) {
    for (int j = 0; j < 4; ++j) {
      if (!(std::fabs(a.m[i][j] - b.m[i][j]) <= agreement)) return false;
    }
  }
  return true;
}

bool agrees(const Q7Vector &axis, double angle) {
  Q7Quat q;
  Q7Matrix expected, m;
  Q7MxRotateUnit(&expected, &q7v_null, &axis, angle);
  Q7AxAngleToQ(&q, &axis, angle);
  Q7QToMatrix(&q, &m);
  if (!same_matrix(m, expected)) return false;

  // At a half turn the first branch of Q7MatrixToQ has only rounding to go by; exact_half_turns() sees to those.
  if (std::fabs(q.w) < 1e-3) return true;

  Q7Quat back;
  Q7MatrixToQ(&back, &m);
  Q7QToMatrix(&back, &m);
  if (!same_matrix(m, expected)) return false;

  // Near no rotation the axis is given up on purpose.
  if (std::fabs(q.w) <= 0.9999) {
    Q7Vector found;
    const double found_angle = Q7QToAxAngle(&q, &found);
    Q7MxRotateUnit(&m, &q7v_null, &found, found_angle);
    if (!same_matrix(m, expected)) return false;
  }

  double angles[3];
  Q7QToHPB(&q, angles);
  Q7HPBToQ(&back, angles);
  Q7QToMatrix(&back, &m);
  if (!same_matrix(m, expected)) return false;
  Q7QToHPT(&q, angles);
  Q7HPTToQ(&back, angles);
  Q7QToMatrix(&back, &m);
  return same_matrix(m, expected);
}

// The half turns about X, Y and Z, whose matrices are exact, take one branch of Q7MatrixToQ each.
bool exact_half_turns() {
  for (int axis = 0; axis < 3; ++axis) {
    Q7Matrix m, back;
    Q7MxScale(&m, axis == 0 ? 1 : -1, axis == 1 ? 1 : -1, axis == 2 ? 1 : -1);
    Q7Quat q;
    Q7MatrixToQ(&q, &m);
    Q7QToMatrix(&q, &back);
    if (!same_matrix(back, m)) return false;
  }
  return true;
}

}  // namespace

int32_t Q7TestQ(void) {
  if (!exact_half_turns()) return 0;
  constexpr int turns = 24;
  for (int x = -2; x <= 2; ++x) {
    for (int y = -2; y <= 2; ++y) {
      for (int z = -2; z <= 2; ++z) {
        Q7Vector axis = {static_cast<double>(x), static_cast<double>(y), static_cast<double>(z)};
        if (TNorm(&axis) == 0) continue;
        for (int k = -turns; k <= turns; ++k) {
          if (!agrees(axis, k * q7::two_pi / turns)) return 0;
        }
      }
    }
  }
  return 1;
}
