// Facts of the PVR texture file shared by the encoders, the VQ compressor,
// the archive builder and the decoder: chunk names, texture types, the 16-bit
// texel encodings, the twiddled order and the mipmap layout.
#pragma once

#include <cstdint>
#include <vector>

namespace pvr {

// Texture types (byte 1 of the category word).
constexpr uint8_t kTypeTwiddled = 0x01;
constexpr uint8_t kTypeTwiddledMip = 0x02;
constexpr uint8_t kTypeVQ = 0x03;
constexpr uint8_t kTypeVQMip = 0x04;
constexpr uint8_t kTypePal4 = 0x05;
constexpr uint8_t kTypePal4Mip = 0x06;
constexpr uint8_t kTypePal8 = 0x07;
constexpr uint8_t kTypePal8Mip = 0x08;
constexpr uint8_t kTypeRectangle = 0x09;
constexpr uint8_t kTypeRectangleMip = 0x0A;  // only read, never written
constexpr uint8_t kTypeStride = 0x0B;
constexpr uint8_t kTypeStrideMip = 0x0C;
constexpr uint8_t kTypeTwiddledNonSquare = 0x0D;
constexpr uint8_t kTypePlatformBitmap = 0x0E;
constexpr uint8_t kTypeSmallVQ = 0x10;
constexpr uint8_t kTypeSmallVQMip = 0x11;

// Category word: byte 0 the pixel format, byte 1 the texture type.
constexpr uint32_t Category(int32_t pixelFormat, uint8_t type) {
  return (static_cast<uint32_t>(pixelFormat) & 0xFF) | static_cast<uint32_t>(type) << 8;
}

// Four-character chunk names as they stand in the file.
constexpr char kGBIX[4] = {'G', 'B', 'I', 'X'};
constexpr char kPVRT[4] = {'P', 'V', 'R', 'T'};
constexpr char kPVPL[4] = {'P', 'V', 'P', 'L'};

// ---- 16-bit texel encodings from (a, r, g, b) ---------------------------------
constexpr uint16_t PackARGB1555(uint32_t a, uint32_t r, uint32_t g, uint32_t b) {
  return static_cast<uint16_t>((a & 0x80) << 8 | (r & 0xF8) << 7 | (g & 0xF8) << 2 | b >> 3);
}
constexpr uint16_t PackRGB565(uint32_t r, uint32_t g, uint32_t b) {
  return static_cast<uint16_t>((r & 0xF8) << 8 | (g & 0xFC) << 3 | b >> 3);
}
constexpr uint16_t PackARGB4444(uint32_t a, uint32_t r, uint32_t g, uint32_t b) {
  return static_cast<uint16_t>((a & 0xF0) << 8 | (r & 0xF0) << 4 | (g & 0xF0) | b >> 4);
}
constexpr uint16_t PackRGB555(uint32_t r, uint32_t g, uint32_t b) {
  return static_cast<uint16_t>((r & 0xF8) << 7 | (g & 0xF8) << 2 | b >> 3);
}

// ---- Twiddled order -------------------------------------------------------------
// Index of column x, row y in a twiddled square: bit 2i of the index is bit i
// of y, bit 2i + 1 is bit i of x.
constexpr uint32_t TwiddleIndex(uint32_t x, uint32_t y) {
  uint32_t index = 0;
  for (int bit = 0; bit < 16; ++bit) {
    index |= ((y >> bit) & 1u) << (2 * bit);
    index |= ((x >> bit) & 1u) << (2 * bit + 1);
  }
  return index;
}

// ---- Mipmap layout ----------------------------------------------------------------
// Texel offset of the level of side 2^k in twiddled mipmapped data (levels are
// stored from the smallest up after one pad texel): 1 + (4^k - 1) / 3.
constexpr uint32_t MipOffset(int log2Side) {
  return 1 + ((1u << (2 * log2Side)) - 1) / 3;
}

constexpr int Log2(uint32_t value) {
  int log = 0;
  while ((1u << log) < value) ++log;
  return log;
}

// ---- Little-endian helpers -----------------------------------------------------
inline void Put16(std::vector<uint8_t> &out, uint32_t value) {
  out.push_back(static_cast<uint8_t>(value));
  out.push_back(static_cast<uint8_t>(value >> 8));
}
inline void Put32(std::vector<uint8_t> &out, uint32_t value) {
  Put16(out, value & 0xFFFF);
  Put16(out, value >> 16);
}
// (Byte by byte: g++ 12 mistakes a 4-byte range insert into an empty vector
// for an overflow.)
inline void PutName(std::vector<uint8_t> &out, const char (&name)[4]) {
  for (char c : name) out.push_back(static_cast<uint8_t>(c));
}
// The global-index chunk: "GBIX", length 8, the index, then four blanks (four
// zero bytes in files of the palettized encoder).
inline void PutGlobalIndexChunk(std::vector<uint8_t> &out, uint32_t index, bool zeroTail) {
  PutName(out, kGBIX);
  Put32(out, 8);
  Put32(out, index);
  Put32(out, zeroTail ? 0u : 0x20202020u);
}
// The head of the texture-data chunk: "PVRT", data size + 8, the category
// word, width and height of level 0.
inline void PutTextureHead(std::vector<uint8_t> &out, uint32_t dataSize, uint32_t category,
                           uint32_t width, uint32_t height) {
  PutName(out, kPVRT);
  Put32(out, dataSize + 8);
  Put32(out, category);
  Put16(out, width);
  Put16(out, height);
}

inline uint32_t Get16(const uint8_t *p) { return p[0] | static_cast<uint32_t>(p[1]) << 8; }
inline uint32_t Get32(const uint8_t *p) { return Get16(p) | Get16(p + 2) << 16; }

}  // namespace pvr
