#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <string>

#include "process/geometry.h"
#include "process/nodelist.h"
#include "test_nodelist_util.h"

namespace {

// Row-vector 4x4 matrices in double precision, for explicit products.
struct M4 {
  double m[4][4] = {};
};

M4 Identity4() {
  M4 r;
  for (int i = 0; i < 4; i++) r.m[i][i] = 1;
  return r;
}

M4 Mul(const M4 &a, const M4 &b) {
  M4 r;
  for (int i = 0; i < 4; i++)
    for (int j = 0; j < 4; j++)
      for (int k = 0; k < 4; k++) r.m[i][j] += a.m[i][k] * b.m[k][j];
  return r;
}

M4 Translation(double x, double y, double z) {
  M4 r = Identity4();
  r.m[3][0] = x;
  r.m[3][1] = y;
  r.m[3][2] = z;
  return r;
}

M4 Scaling(double x, double y, double z) {
  M4 r = Identity4();
  r.m[0][0] = x;
  r.m[1][1] = y;
  r.m[2][2] = z;
  return r;
}

// Rotations that turn a row vector counter-clockwise about the axis.
M4 RotX(double a) {
  M4 r = Identity4();
  r.m[1][1] = std::cos(a);
  r.m[1][2] = std::sin(a);
  r.m[2][1] = -std::sin(a);
  r.m[2][2] = std::cos(a);
  return r;
}
M4 RotY(double a) {
  M4 r = Identity4();
  r.m[0][0] = std::cos(a);
  r.m[0][2] = -std::sin(a);
  r.m[2][0] = std::sin(a);
  r.m[2][2] = std::cos(a);
  return r;
}
M4 RotZ(double a) {
  M4 r = Identity4();
  r.m[0][0] = std::cos(a);
  r.m[0][1] = std::sin(a);
  r.m[1][0] = -std::sin(a);
  r.m[1][1] = std::cos(a);
  return r;
}

void ExpectMatrixNear(const float got[12], const M4 &want, double tolerance = 1e-5) {
  for (int i = 0; i < 4; i++)
    for (int j = 0; j < 3; j++) EXPECT_NEAR(got[i * 3 + j], want.m[i][j], tolerance) << "row " << i << " col " << j;
}

TEST(Geometry, RotateTranslateScaleMatchExplicitProducts) {
  const float t[3] = {1.5f, -2.0f, 3.25f};
  const float s[3] = {2.0f, 0.5f, -1.5f};
  const float a[3] = {0.3f, -0.7f, 1.1f};
  struct Case {
    const char *name;
    void (*apply)(float *, const float *, const float *, const float *);
    M4 want;
  };
  const Case cases[] = {
      {"translate", [](float *m, const float *t, const float *, const float *) { ScMatrixTranslate(m, t); },
       Translation(t[0], t[1], t[2])},
      {"scale", [](float *m, const float *, const float *s, const float *) { ScMatrixScale(m, s); },
       Scaling(s[0], s[1], s[2])},
      {"rotateX", [](float *m, const float *, const float *, const float *a) { ScMatrixRotateX(m, a[0]); }, RotX(a[0])},
      {"rotateY", [](float *m, const float *, const float *, const float *a) { ScMatrixRotateY(m, a[1]); }, RotY(a[1])},
      {"rotateZ", [](float *m, const float *, const float *, const float *a) { ScMatrixRotateZ(m, a[2]); }, RotZ(a[2])},
      {"rotateXYZ", [](float *m, const float *, const float *, const float *a) { ScMatrixRotateXYZ(m, a); },
       Mul(RotX(a[0]), Mul(RotY(a[1]), RotZ(a[2])))},
      // The local matrix of a node: each step prepends, so a point is
      // scaled, rotated, then moved.
      {"translate-rotate-scale",
       [](float *m, const float *t, const float *s, const float *a) {
         ScMatrixTranslate(m, t);
         ScMatrixRotateXYZ(m, a);
         ScMatrixScale(m, s);
       },
       Mul(Scaling(s[0], s[1], s[2]), Mul(Mul(RotX(a[0]), Mul(RotY(a[1]), RotZ(a[2]))), Translation(t[0], t[1], t[2])))},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.name);
    float m[12];
    ScMatrixIdentity(m);
    c.apply(m, t, s, a);
    ExpectMatrixNear(m, c.want);
  }

  // multiply(A, B) puts B first; transforming a point follows the rows.
  float a1[12], b1[12];
  ScMatrixIdentity(a1);
  ScMatrixTranslate(a1, t);
  ScMatrixIdentity(b1);
  ScMatrixRotateZ(b1, 0.4f);
  ScMatrixMultiply(a1, b1);
  ExpectMatrixNear(a1, Mul(RotZ(0.4), Translation(t[0], t[1], t[2])));
  const float p[3] = {1, 2, 3};
  float q[3];
  ScMatrixTransform(p, q, a1);
  const double c4 = std::cos(0.4), s4 = std::sin(0.4);
  EXPECT_NEAR(q[0], 1 * c4 - 2 * s4 + t[0], 1e-5);
  EXPECT_NEAR(q[1], 1 * s4 + 2 * c4 + t[1], 1e-5);
  EXPECT_NEAR(q[2], 3 + t[2], 1e-5);
}

TEST(Geometry, InvertIdentityZeroPivotAndGeneral) {
  float m[12];
  ScMatrixIdentity(m);
  ScMatrixInvert(m);
  ExpectMatrixNear(m, Identity4(), 0);

  // A zero diagonal element is taken as 0.0001 (and a tiny negative one as
  // -0.0001); nothing fails.
  float z[12] = {0, 0, 0, 0, 2, 0, 0, 0, 4, 1, 2, 3};
  ScMatrixInvert(z);
  M4 want = Scaling(10000, 0.5, 0.25);
  want.m[3][0] = -10000;
  want.m[3][1] = -1;
  want.m[3][2] = -0.75;
  ExpectMatrixNear(z, want, 1e-2);
  float neg[12] = {-0.00001f, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0};
  ScMatrixInvert(neg);
  EXPECT_NEAR(neg[0], -10000.0f, 1e-2);
  for (float v : z) EXPECT_TRUE(std::isfinite(v));

  // A general affine matrix times its inverse gives the identity.
  std::mt19937 random(7);
  std::uniform_real_distribution<float> angle(-3.0f, 3.0f), offset(-10.0f, 10.0f), scale(0.5f, 2.0f);
  for (int round = 0; round < 50; round++) {
    float g[12];
    ScMatrixIdentity(g);
    const float t[3] = {offset(random), offset(random), offset(random)};
    const float a[3] = {angle(random), angle(random), angle(random)};
    const float s[3] = {scale(random), scale(random), scale(random)};
    ScMatrixTranslate(g, t);
    ScMatrixRotateXYZ(g, a);
    ScMatrixScale(g, s);
    float inverse[12];
    ScMatrixCopy(g, inverse);
    ScMatrixInvert(inverse);
    // Only well-conditioned pivots are comparable with the exact inverse.
    if (std::fabs(g[0]) < 0.05f) continue;
    ScMatrixMultiply(inverse, g);
    ExpectMatrixNear(inverse, Identity4(), 2e-3);
  }
}

TEST(Geometry, DecomposeGivesTheAnglesBack) {
  float m[12];
  float angles[3];
  ScMatrixIdentity(m);
  ScMatrixDecompose(m, angles);
  EXPECT_EQ(angles[0], 0.0f);
  EXPECT_EQ(angles[1], 0.0f);
  EXPECT_EQ(angles[2], 0.0f);

  ScMatrixRotateZ(m, 0.5f);
  ScMatrixDecompose(m, angles);
  EXPECT_NEAR(angles[2], 0.5f, 1e-5);
  EXPECT_NEAR(angles[0], 0.0f, 1e-5);
  EXPECT_NEAR(angles[1], 0.0f, 1e-5);

  const float chosen[][3] = {{0.3f, -0.4f, 1.2f}, {-2.5f, 1.0f, -0.2f}, {1.5f, 0.1f, 3.0f},
                             {0.0f, -1.4f, 0.0f}, {-0.9f, 0.9f, -2.9f}};
  for (const auto &a : chosen) {
    ScMatrixIdentity(m);
    ScMatrixTranslate(m, a);  // translation does not disturb the angles
    ScMatrixRotateXYZ(m, a);
    const float before = m[4];
    ScMatrixDecompose(m, angles);
    EXPECT_EQ(m[4], before);  // the caller's matrix is left alone
    for (int k = 0; k < 3; k++) EXPECT_NEAR(angles[k], a[k], 1e-4) << k;
  }
}

TEST(Geometry, VectorsAndUnitVectorWarning) {
  const float a[3] = {1, 2, 2};
  const float b[3] = {1.00009f, 2, 1.99991f};
  const float c[3] = {1.0002f, 2, 2};
  EXPECT_TRUE(ScVectorEqual(a, b));
  EXPECT_FALSE(ScVectorEqual(a, c));
  EXPECT_FLOAT_EQ(ScGetVectorLength(a), 3.0f);
  EXPECT_FLOAT_EQ(ScVectorDot(a, a), 9.0f);
  float d[3];
  ScVectorDiff(a, c, d);
  EXPECT_NEAR(d[0], 0.0002f, 1e-6);

  float unit[3] = {9, 9, 9};
  EXPECT_EQ(ScUnitVector(a, unit), 1);
  EXPECT_FLOAT_EQ(unit[1], 2.0f / 3.0f);
  float inPlace[3] = {0, 0, -4};
  EXPECT_EQ(ScUnitVector(inPlace, inPlace), 1);
  EXPECT_FLOAT_EQ(inPlace[2], -1.0f);

  const float zero[3] = {0, 0, 0};
  float kept[3] = {5, 6, 7};
  testing::internal::CaptureStderr();
  EXPECT_EQ(ScUnitVector(zero, kept), 0);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "WARNING: Floating division by zero [ ScUnitVector ]\n");
  EXPECT_EQ(kept[0], 5.0f);
  EXPECT_EQ(kept[2], 7.0f);
}

class EmissionTest : public ::testing::Test {
 protected:
  void SetUp() override { nltest::FreshAllocator(); }
  void TearDown() override { ScFreeAll(); }
};

TEST_F(EmissionTest, ModelAndMaterialPasses) {
  nltest::SceneBuilder builder;
  ScModel *model = builder.Add("m", nullptr);
  // Points 0..3 with the box centre (1, 1, 0) as point 4.
  ScMesh *mesh = nltest::SceneBuilder::GiveMesh(model, {{0, 0, 0}, {2, 0, 0}, {2, 2, 0}, {0, 2, 0}, {1, 1, 0}},
                                                {{0, 1, 4}, {1, 2, 4}, {2, 3, 4}});
  mesh->polygons[1].materialId = 1;
  mesh->polygons[2].materialId = 1;
  model->materials = ScMaterialsAlloc(2);
  model->nbMaterial = 2;
  model->materials->name = ScVStrdup("Floor");
  model->materials->next->name = ScVStrdup("WallEn");  // "En" in the middle counts here
  for (int i = 0; i < 5; i++) mesh->vertices[i].normal[2] = 1.0f;

  ScNode node{};
  node.model = model;
  node.bbox.local.average[0] = 1;
  node.bbox.local.average[1] = 1;

  testing::internal::CaptureStderr();
  ScMaterialEmissionNormal(&node);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "WARNING: Floating division by zero [ ScUnitVector ]\n");
  // Vertex 0 is used by material 0 only: unchanged.
  EXPECT_EQ(mesh->vertices[0].normal[2], 1.0f);
  EXPECT_EQ(mesh->vertices[0].useCount, 0);
  EXPECT_EQ(mesh->vertices[2].useCount, 2);
  EXPECT_EQ(mesh->vertices[2].useMaterial, 1);
  const float r = 1.0f / std::sqrt(2.0f);
  EXPECT_NEAR(mesh->vertices[1].normal[0], r, 1e-6);
  EXPECT_NEAR(mesh->vertices[1].normal[1], -r, 1e-6);
  EXPECT_EQ(mesh->vertices[1].normal[2], 0.0f);
  EXPECT_EQ(mesh->vertices[4].normal[2], 1.0f);  // the centre keeps its normal

  testing::internal::CaptureStderr();
  ScModelEmissionNormal(&node);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "WARNING: Floating division by zero [ ScUnitVector ]\n");
  EXPECT_NEAR(mesh->vertices[0].normal[0], -r, 1e-6);
  EXPECT_NEAR(mesh->vertices[0].normal[1], -r, 1e-6);

  // No marked material: nothing changes, nothing printed.
  model->materials->next->name[4] = 'e';
  mesh->vertices[1].normal[0] = 42;
  testing::internal::CaptureStderr();
  ScMaterialEmissionNormal(&node);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(mesh->vertices[1].normal[0], 42.0f);
}

}  // namespace
