// Numeric constants of the program: the comparison tolerance and the values
// of pi and of the angle units, each written once with the precision the
// file formats depend on.
#pragma once

#include <cstdint>

// Floating comparisons (vectors, colours, normals, pivots) use this tolerance.
constexpr float kScTolerance = 0.0001f;

// Pi and 2 pi in single precision: angles of the bone removal are wrapped
// into (-pi, pi] with these.
constexpr float kScPi = 3.1415927f;
constexpr float kScTwoPi = 6.2831855f;

// A value truncated toward zero to 32 bits, clamped at the ends of the
// range; NaN gives 0.
constexpr int32_t VKTruncToInt(double value) {
  if (!(value > -2147483648.0)) return value != value ? 0 : INT32_MIN;
  if (value >= 2147483647.0) return INT32_MAX;
  return static_cast<int32_t>(value);
}

// Pi as the object records write degrees: radians x 180 / 3.141592.
constexpr double kVKDegreesPi = 3.141592;
// Binary angles: 65536 units per turn.
constexpr double kVKBinaryAnglePerDegree = 182.04444444444445;
// A binary angle of a degree value, truncated toward zero; 0 for a value
// outside the 32-bit range.
constexpr int32_t VKBinaryAngle(double degrees) {
  const double value = degrees * kVKBinaryAnglePerDegree;
  if (!(value > -2147483648.0 && value < 2147483647.0)) return 0;
  return static_cast<int32_t>(value);
}

// Degrees per radian of the strip builder's joining angle.
constexpr double kScDegreesPerRadian = 57.29578;

// The Basic-model file's angles: degrees into 65536-per-turn units (the
// single-precision value of 65536 / 360), and those units back into radians
// with 2 pi written with six decimals.
constexpr float kVKAngleUnitsPerDegree = 182.044449f;
constexpr double kVKTurnRadians = 6.283184;
constexpr double kVKAngleUnitsPerTurn = 65536.0;
