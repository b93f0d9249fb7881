// Vector and matrix routines (row-vector convention, 4x3 matrices).
#include "process/geometry.h"

#include <cmath>
#include <cstdio>

#include "base/numbers.h"

namespace {


// Element (row, column) of a 4x3 matrix.
inline float &At(float m[12], int row, int column) { return m[row * 3 + column]; }
inline float At(const float m[12], int row, int column) { return m[row * 3 + column]; }

// Rows r and s become c*r + s_*s and c*s - s_*r.
void RotateRows(float m[12], int r, int s, float angle) {
  const float sn = std::sin(angle);
  const float cs = std::cos(angle);
  for (int j = 0; j < 3; j++) {
    const float a = At(m, r, j);
    const float b = At(m, s, j);
    At(m, r, j) = cs * a + sn * b;
    At(m, s, j) = cs * b - sn * a;
  }
}

// acos(a / sqrt(a^2 + b^2)), 0 when a^2 + b^2 < 0.0001.
float AngleOf(float a, float b) {
  const float sum = a * a + b * b;
  if (sum < kScTolerance) return 0.0f;
  float c = a / std::sqrt(sum);
  if (c > 1.0f) c = 1.0f;
  if (c < -1.0f) c = -1.0f;
  return std::acos(c);
}

// m := m x r (r applied after m).
void PostMultiply(float m[12], const float r[12]) {
  float product[12];
  ScMatrixCopy(r, product);
  ScMatrixMultiply(product, m);
  ScMatrixCopy(product, m);
}

}  // namespace

void ScVectorZero(float v[3]) { v[0] = v[1] = v[2] = 0.0f; }

void ScVectorCopy(const float src[3], float dst[3]) {
  dst[0] = src[0];
  dst[1] = src[1];
  dst[2] = src[2];
}

void ScVectorDiff(const float a[3], const float b[3], float out[3]) {
  out[0] = b[0] - a[0];
  out[1] = b[1] - a[1];
  out[2] = b[2] - a[2];
}

float ScVectorDot(const float a[3], const float b[3]) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }

bool ScVectorEqual(const float a[3], const float b[3]) {
  for (int i = 0; i < 3; i++) {
    const float d = a[i] - b[i];
    if (!(d > -kScTolerance && d < kScTolerance)) return false;
  }
  return true;
}

float ScGetVectorLength(const float v[3]) { return std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]); }

int ScUnitVectorCounted(const float v[3], float out[3], int *zeroVectors) {
  const float length = ScGetVectorLength(v);
  if (length == 0.0f) {
    ++*zeroVectors;
    return 0;
  }
  out[0] = v[0] / length;
  out[1] = v[1] / length;
  out[2] = v[2] / length;
  return 1;
}

int ScUnitVector(const float v[3], float out[3]) {
  int zeroVectors = 0;
  const int unit = ScUnitVectorCounted(v, out, &zeroVectors);
  if (!unit) std::fprintf(stderr, "WARNING: Floating division by zero [ ScUnitVector ]\n");
  return unit;
}

void ScPrintZeroVectors(int zeroVectors, const char *objectName) {
  if (zeroVectors == 0) return;
  std::fprintf(stderr, "WARNING: Floating division by zero [ ScUnitVector ] : zero-length vectors in %s: %d\n",
               objectName ? objectName : "", zeroVectors);
}

void ScMatrixCopy(const float src[12], float dst[12]) {
  for (int i = 0; i < 12; i++) dst[i] = src[i];
}

void ScMatrixIdentity(float m[12]) {
  for (int i = 0; i < 12; i++) m[i] = 0.0f;
  m[0] = m[4] = m[8] = 1.0f;
}

void ScMatrixTransform(const float p[3], float out[3], const float m[12]) {
  float r[3];
  for (int j = 0; j < 3; j++) {
    r[j] = p[0] * At(m, 0, j) + p[1] * At(m, 1, j) + p[2] * At(m, 2, j) + At(m, 3, j);
  }
  ScVectorCopy(r, out);
}

void ScMatrixMultiply(float a[12], const float b[12]) {
  float r[12];
  for (int i = 0; i < 4; i++) {
    for (int j = 0; j < 3; j++) {
      float sum = At(b, i, 0) * At(a, 0, j) + At(b, i, 1) * At(a, 1, j) + At(b, i, 2) * At(a, 2, j);
      if (i == 3) sum += At(a, 3, j);
      r[i * 3 + j] = sum;
    }
  }
  ScMatrixCopy(r, a);
}

void ScMatrixTranslate(float m[12], const float t[3]) {
  for (int j = 0; j < 3; j++) {
    At(m, 3, j) += t[0] * At(m, 0, j) + t[1] * At(m, 1, j) + t[2] * At(m, 2, j);
  }
}

void ScMatrixScale(float m[12], const float s[3]) {
  for (int i = 0; i < 3; i++) {
    for (int j = 0; j < 3; j++) At(m, i, j) *= s[i];
  }
}

void ScMatrixRotateX(float m[12], float angle) { RotateRows(m, 1, 2, angle); }

// About Y: row 0 := c*row0 - s*row2, row 2 := c*row2 + s*row0, which is the
// common row rotation with the angle negated.
void ScMatrixRotateY(float m[12], float angle) { RotateRows(m, 0, 2, -angle); }

void ScMatrixRotateZ(float m[12], float angle) { RotateRows(m, 0, 1, angle); }

void ScMatrixRotateXYZ(float m[12], const float angles[3]) {
  ScMatrixRotateZ(m, angles[2]);
  ScMatrixRotateY(m, angles[1]);
  ScMatrixRotateX(m, angles[0]);
}

void ScMatrixInvert(float m[12]) {
  for (int i = 0; i < 3; i++) {
    float pivot = At(m, i, i);
    if (pivot >= 0.0f && pivot < kScTolerance) {
      pivot = kScTolerance;
    } else if (pivot < 0.0f && pivot > -kScTolerance) {
      pivot = -kScTolerance;
    }
    for (int j = 0; j < 3; j++) At(m, i, j) /= pivot;
    At(m, i, i) = 1.0f / pivot;
    for (int k = 0; k < 4; k++) {
      if (k == i) continue;
      const float factor = At(m, k, i);
      for (int j = 0; j < 3; j++) {
        if (j != i) At(m, k, j) -= At(m, i, j) * factor;
      }
      At(m, k, i) = -At(m, i, i) * factor;
    }
  }
}

void ScMatrixDecompose(const float m[12], float angles[3]) {
  float work[12];
  ScMatrixCopy(m, work);

  float z = AngleOf(At(work, 0, 0), At(work, 0, 1));
  if (At(work, 0, 1) < 0.0f) z = -z;
  float rz[12];
  ScMatrixIdentity(rz);
  ScMatrixRotateZ(rz, -z);
  PostMultiply(work, rz);

  float y = AngleOf(At(work, 0, 0), At(work, 0, 2));
  if (At(work, 0, 2) > 0.0f) y = -y;
  float ry[12];
  ScMatrixIdentity(ry);
  ScMatrixRotateY(ry, -y);
  PostMultiply(work, ry);

  float x = AngleOf(At(work, 1, 1), At(work, 1, 2));
  if (At(work, 1, 2) < 0.0f) x = -x;

  angles[0] = x;
  angles[1] = y;
  angles[2] = z;
}
