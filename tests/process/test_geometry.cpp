// Matrices against explicit double-precision products, and the unit vector.
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "process/geometry.h"

namespace {

// Row-vector 4x4 matrices.
struct M4 {
  double m[4][4] = {};
};
M4 Affine(double sx, double sy, double sz, double tx = 0, double ty = 0, double tz = 0) {
  M4 r;
  r.m[0][0] = sx, r.m[1][1] = sy, r.m[2][2] = sz, r.m[3][3] = 1, r.m[3][0] = tx, r.m[3][1] = ty, r.m[3][2] = tz;
  return r;
}
M4 Rot(int axis, double a) {  // turns a row vector counter-clockwise about the axis
  M4 r = Affine(1, 1, 1);
  const int i = (axis + 1) % 3, j = (axis + 2) % 3;
  r.m[i][i] = r.m[j][j] = std::cos(a), r.m[i][j] = std::sin(a), r.m[j][i] = -std::sin(a);
  return r;
}
M4 Mul(const M4 &a, const M4 &b) {
  M4 r;
  for (int i = 0; i < 16; i++)
    for (int k = 0; k < 4; k++) r.m[i / 4][i % 4] += a.m[i / 4][k] * b.m[k][i % 4];
  return r;
}
void ExpectNear(const float got[12], const M4 &want, double tolerance = 1e-5) {
  for (int i = 0; i < 12; i++) EXPECT_NEAR(got[i], want.m[i / 3][i % 3], tolerance) << "element " << i;
}

const float kT[3] = {1.5f, -2.0f, 3.25f}, kS[3] = {2.0f, 0.5f, -1.5f}, kA[3] = {0.3f, -0.7f, 1.1f};
const float kQuarterZ[12] = {0, 1, 0, -1, 0, 0, 0, 0, 1, 0, 0, 0};

TEST(Geometry, RotateTranslateScaleMatchExplicitProducts) {
  const M4 xyz = Mul(Rot(0, kA[0]), Mul(Rot(1, kA[1]), Rot(2, kA[2]))), move = Affine(1, 1, 1, kT[0], kT[1], kT[2]);
  const struct { const char *name; void (*apply)(float *); M4 want; } cases[] = {
      {"translate", [](float *m) { ScMatrixTranslate(m, kT); }, move},
      {"scale", [](float *m) { ScMatrixScale(m, kS); }, Affine(kS[0], kS[1], kS[2])},
      {"rotateX", [](float *m) { ScMatrixRotateX(m, kA[0]); }, Rot(0, kA[0])},
      {"rotateY", [](float *m) { ScMatrixRotateY(m, kA[1]); }, Rot(1, kA[1])},
      {"rotateZ", [](float *m) { ScMatrixRotateZ(m, kA[2]); }, Rot(2, kA[2])},
      {"rotateXYZ", [](float *m) { ScMatrixRotateXYZ(m, kA); }, xyz},
      // Each step prepends: a point is scaled, rotated, then moved.
      {"translate-rotate-scale",
       [](float *m) { ScMatrixTranslate(m, kT), ScMatrixRotateXYZ(m, kA), ScMatrixScale(m, kS); },
       Mul(Affine(kS[0], kS[1], kS[2]), Mul(xyz, move))},
      {"multiply(A, B) puts B first",
       [](float *m) { ScMatrixTranslate(m, kT), ScMatrixMultiply(m, kQuarterZ); }, Mul(Rot(2, std::acos(0.0)), move)},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.name);
    float m[12];
    ScMatrixIdentity(m);
    c.apply(m);
    ExpectNear(m, c.want);
  }
  float m[12], q[3];
  const float p[3] = {1, 2, 3};
  ScMatrixIdentity(m), ScMatrixTranslate(m, kT), ScMatrixRotateZ(m, 0.4f);  // turn, then move
  ScMatrixTransform(p, q, m);
  const double c4 = std::cos(0.4), s4 = std::sin(0.4), want[3] = {c4 - 2 * s4 + kT[0], s4 + 2 * c4 + kT[1], 3 + kT[2]};
  for (int k = 0; k < 3; k++) EXPECT_NEAR(q[k], want[k], 1e-5);
}

TEST(Geometry, InvertIdentityZeroPivotAndGeneral) {
  float m[12];
  ScMatrixIdentity(m);
  ScMatrixInvert(m);
  ExpectNear(m, Affine(1, 1, 1), 0);
  // A zero pivot is taken as 0.0001, a tiny negative one as -0.0001.
  float z[12] = {0, 0, 0, 0, 2, 0, 0, 0, 4, 1, 2, 3}, neg[12] = {-0.00001f, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0};
  ScMatrixInvert(z);
  ExpectNear(z, Affine(10000, 0.5, 0.25, -10000, -1, -0.75), 1e-2);
  ScMatrixInvert(neg);
  EXPECT_NEAR(neg[0], -10000.0f, 1e-2);
  // General affine matrices times their inverses give the identity.
  std::mt19937 random(7);
  std::uniform_real_distribution<float> angle(-3.0f, 3.0f), offset(-10.0f, 10.0f), scale(0.5f, 2.0f);
  for (int round = 0; round < 50; round++) {
    const float t[3] = {offset(random), offset(random), offset(random)};
    const float a[3] = {angle(random), angle(random), angle(random)}, s[3] = {scale(random), scale(random), scale(random)};
    float g[12], inverse[12];
    ScMatrixIdentity(g), ScMatrixTranslate(g, t), ScMatrixRotateXYZ(g, a), ScMatrixScale(g, s);
    ScMatrixCopy(g, inverse);
    ScMatrixInvert(inverse);
    if (std::fabs(g[0]) < 0.05f) continue;  // a clamped pivot is not the exact inverse
    ScMatrixMultiply(inverse, g);
    ExpectNear(inverse, Affine(1, 1, 1), 2e-3);
  }
}

TEST(Geometry, DecomposeGivesTheAnglesBack) {
  const float chosen[][3] = {{0, 0, 0.5f},       {0.3f, -0.4f, 1.2f}, {-2.5f, 1.0f, -0.2f}, {1.5f, 0.1f, 3.0f},
                             {0.0f, -1.4f, 0.0f}, {-0.9f, 0.9f, -2.9f}, {0, 0, 0}};
  for (const auto &a : chosen) {
    float m[12], angles[3];
    ScMatrixIdentity(m);
    ScMatrixTranslate(m, a);  // translation does not disturb the angles
    (a[0] == 0 && a[1] == 0) ? ScMatrixRotateZ(m, a[2]) : ScMatrixRotateXYZ(m, a);  // a pure turn about Z first
    const float before = m[4];
    ScMatrixDecompose(m, angles);
    EXPECT_EQ(m[4], before);  // the caller's matrix is left alone
    for (int k = 0; k < 3; k++) EXPECT_NEAR(angles[k], a[k], 1e-4) << a[0] << " " << a[1] << " " << a[2];
  }
}

TEST(Geometry, UnitVectorWarnsOnZero) {
  const float a[3] = {1, 2, 2}, zero[3] = {0, 0, 0};
  float unit[3] = {9, 9, 9}, kept[3] = {5, 6, 7};
  EXPECT_EQ(ScUnitVector(a, unit), 1);
  EXPECT_FLOAT_EQ(unit[1], 2.0f / 3.0f);
  testing::internal::CaptureStderr();
  EXPECT_EQ(ScUnitVector(zero, kept), 0);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "WARNING: Floating division by zero [ ScUnitVector ]\n");
  EXPECT_EQ(kept[0], 5.0f);
}

}  // namespace
