// Vector and matrix routines shared by the processing and the writers, and
// the emission-normal passes.
//
// A matrix is 12 floats: four rows of three, rows 0-2 the linear part and
// row 3 the translation. Points are row vectors: p' = p x M.
#pragma once

struct ScNode;

// ---- Vectors ----------------------------------------------------------------
void ScVectorZero(float v[3]);
void ScVectorCopy(const float src[3], float dst[3]);
// out = b - a
void ScVectorDiff(const float a[3], const float b[3], float out[3]);
float ScVectorDot(const float a[3], const float b[3]);
// Each component differs by less than 0.0001.
bool ScVectorEqual(const float a[3], const float b[3]);
float ScGetVectorLength(const float v[3]);
// out = v / |v| and 1; for a zero vector prints
// "WARNING: Floating division by zero [ ScUnitVector ]\n" to stderr, leaves
// out unchanged and returns 0. out may be v.
int ScUnitVector(const float v[3], float out[3]);
// The same for the vectors of a whole object: a zero vector adds one to
// `zeroVectors` instead of printing; the caller prints the count once with
// ScPrintZeroVectors.
int ScUnitVectorCounted(const float v[3], float out[3], int *zeroVectors);
// "WARNING: Floating division by zero [ ScUnitVector ] : zero-length vectors
// in %s: %d\n" to stderr when the count is not 0.
void ScPrintZeroVectors(int zeroVectors, const char *objectName);

// ---- Matrices ---------------------------------------------------------------
void ScMatrixCopy(const float src[12], float dst[12]);
void ScMatrixIdentity(float m[12]);
// out = p x m (out may be p)
void ScMatrixTransform(const float p[3], float out[3], const float m[12]);
// a := b x a (b applied first)
void ScMatrixMultiply(float a[12], const float b[12]);
// m := T(t) x m
void ScMatrixTranslate(float m[12], const float t[3]);
// m := S(s) x m (rows 0-2 scaled)
void ScMatrixScale(float m[12], const float s[3]);
// m := R(angle) x m
void ScMatrixRotateX(float m[12], float angle);
void ScMatrixRotateY(float m[12], float angle);
void ScMatrixRotateZ(float m[12], float angle);
// m := Rx x Ry x Rz x m
void ScMatrixRotateXYZ(float m[12], const float angles[3]);
// In-place Gauss-Jordan inversion without row exchange; pivots closer to 0
// than 0.0001 are clamped to +-0.0001.
void ScMatrixInvert(float m[12]);
// Angles (x, y, z) such that rotate XYZ of them gives the linear part of m
// (for |y| < pi/2 and no scale); m is not changed.
void ScMatrixDecompose(const float m[12], float angles[3]);

// ---- Emission normals --------------------------------------------------------
// Every vertex of the node's mesh gets the unit vector from the centre of the
// node's local box to its position.
void ScModelEmissionNormal(ScNode *node);
// The same for the vertices used by polygons whose material name contains
// "En"; nothing happens when no material of the node is so named.
void ScMaterialEmissionNormal(ScNode *node);
