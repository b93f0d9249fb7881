// Packers of the packed vertex and colour words (ARGB8888, D565S565,
// D4444S565, D16S16, NORM32), shared by the chunk emitters and the binary
// item codes.
#pragma once

#include <cstdint>

// Channel derivations from 8-bit channels.
constexpr int VKChannel5(int value) { return (value & 0xFF) >> 3; }
constexpr int VKChannel6(int value) { return (value & 0xFF) >> 2; }
constexpr int VKChannel4(int value) { return (value & 0xFF) >> 4; }
// trunc((0.299 R + 0.587 G + 0.114 B) x 128.0), clamped to 0 .. 0x7FFF.
int VKIntensity(int red, int green, int blue);

// A << 24 | R << 16 | G << 8 | B, 8 bits each.
constexpr uint32_t VKPackARGB8888(int a, int r, int g, int b) {
  return static_cast<uint32_t>(a & 0xFF) << 24 | static_cast<uint32_t>(r & 0xFF) << 16 |
         static_cast<uint32_t>(g & 0xFF) << 8 | static_cast<uint32_t>(b & 0xFF);
}
// 5-6-5 half word of already derived channels, each masked to its width.
constexpr uint32_t VKPack565(int r5, int g6, int b5) {
  return static_cast<uint32_t>(r5 & 31) << 11 | static_cast<uint32_t>(g6 & 63) << 5 |
         static_cast<uint32_t>(b5 & 31);
}
// Diffuse 5-6-5 in the high half, specular 5-6-5 in the low half.
constexpr uint32_t VKPackD565S565(int dr5, int dg6, int db5, int sr5, int sg6, int sb5) {
  return VKPack565(dr5, dg6, db5) << 16 | VKPack565(sr5, sg6, sb5);
}
// Diffuse 4-4-4-4 (A, R, G, B) in the high half, specular 5-6-5 in the low half.
constexpr uint32_t VKPackD4444S565(int a4, int r4, int g4, int b4, int sr5, int sg6, int sb5) {
  return (static_cast<uint32_t>(a4 & 15) << 12 | static_cast<uint32_t>(r4 & 15) << 8 |
          static_cast<uint32_t>(g4 & 15) << 4 | static_cast<uint32_t>(b4 & 15))
             << 16 |
         VKPack565(sr5, sg6, sb5);
}
// Diffuse intensity << 16 | specular intensity.
constexpr uint32_t VKPackD16S16(int diffuse, int specular) {
  return static_cast<uint32_t>(diffuse & 0xFFFF) << 16 | static_cast<uint32_t>(specular & 0xFFFF);
}
// Three 10-bit fields x << 20 | y << 10 | z, ORed as they come (the fields
// are not masked).
constexpr uint32_t VKPackNorm32Fields(uint32_t x, uint32_t y, uint32_t z) { return x << 20 | y << 10 | z; }
// One NORM32 component: trunc(n x 511.0) & 0x3FF of n clamped to [-1, 1]
// (a value that is not a number packs as 0).
int VKNorm10(float component);
// The NORM32 word of a normal: its three components as 10-bit fields.
uint32_t VKPackNORM32(float nx, float ny, float nz);
