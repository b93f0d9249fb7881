// 16-bit texel words and palette entries to ARGB8888, by bit replication;
// YUV422 pairs through the inverse of the encoder's matrix; BUMP angles as a
// normal-map colour.
#include "texture/pvr_decode_colour.h"

#include <cmath>
#include <numbers>

namespace pvr_decode {
namespace {

constexpr uint8_t Expand4(uint32_t v) { return static_cast<uint8_t>(v << 4 | v); }
constexpr uint8_t Expand5(uint32_t v) { return static_cast<uint8_t>(v << 3 | v >> 2); }
constexpr uint8_t Expand6(uint32_t v) { return static_cast<uint8_t>(v << 2 | v >> 4); }

void Set(uint8_t *texel, uint32_t a, uint32_t r, uint32_t g, uint32_t b) {
  texel[kTexelA] = static_cast<uint8_t>(a);
  texel[kTexelR] = static_cast<uint8_t>(r);
  texel[kTexelG] = static_cast<uint8_t>(g);
  texel[kTexelB] = static_cast<uint8_t>(b);
}

// ---- YUV422 -----------------------------------------------------------------
// The encoder computes (Y, U - 128, V - 128) = M (r, g, b); its inverse turns
// them back.
struct Matrix3 {
  double m[3][3];
};
constexpr Matrix3 kToYUV = {
    {{5.0 / 17, 10.0 / 17, 2.0 / 17}, {-32.0 / 187, -64.0 / 187, 96.0 / 187}, {96.0 / 187, -80.0 / 187, -16.0 / 187}}};

constexpr Matrix3 Inverse(const Matrix3 &a) {
  const auto &m = a.m;
  const double det = m[0][0] * (m[1][1] * m[2][2] - m[1][2] * m[2][1]) -
                     m[0][1] * (m[1][0] * m[2][2] - m[1][2] * m[2][0]) +
                     m[0][2] * (m[1][0] * m[2][1] - m[1][1] * m[2][0]);
  Matrix3 out{};
  for (int r = 0; r < 3; ++r) {
    for (int c = 0; c < 3; ++c) {
      // Cofactor of (c, r), transposed.
      const int r0 = (c + 1) % 3, r1 = (c + 2) % 3, c0 = (r + 1) % 3, c1 = (r + 2) % 3;
      out.m[r][c] = (m[r0][c0] * m[r1][c1] - m[r0][c1] * m[r1][c0]) / det;
    }
  }
  return out;
}
constexpr Matrix3 kFromYUV = Inverse(kToYUV);

uint8_t ToByte(double value) {
  const double rounded = std::floor(value + 0.5);
  return static_cast<uint8_t>(rounded < 0 ? 0 : rounded > 255 ? 255 : rounded);
}

void YUVToTexel(uint32_t y, uint32_t u, uint32_t v, uint8_t *texel) {
  const double in[3] = {static_cast<double>(y), static_cast<double>(u) - 128.0, static_cast<double>(v) - 128.0};
  double out[3];
  for (int r = 0; r < 3; ++r) out[r] = kFromYUV.m[r][0] * in[0] + kFromYUV.m[r][1] * in[1] + kFromYUV.m[r][2] * in[2];
  Set(texel, 255, ToByte(out[0]), ToByte(out[1]), ToByte(out[2]));
}

// Words Y0 * 256 + U and Y1 * 256 + V of each pair (x, x + 1) of a row.
void DecodeYUV422(const std::vector<uint16_t> &words, int32_t width, int32_t height, PVR_Image *image) {
  for (int32_t y = 0; y < height; ++y) {
    const uint16_t *row = words.data() + static_cast<size_t>(y) * width;
    if (width == 1) {
      YUVToTexel(row[0] >> 8, row[0] & 0xFF, 128, image->At(0, y));
      continue;
    }
    for (int32_t x = 0; x + 1 < width; x += 2) {
      const uint32_t u = row[x] & 0xFF, v = row[x + 1] & 0xFF;
      YUVToTexel(row[x] >> 8, u, v, image->At(x, y));
      YUVToTexel(row[x + 1] >> 8, u, v, image->At(x + 1, y));
    }
  }
}

// ---- BUMP ---------------------------------------------------------------------
void BumpToTexel(uint32_t word, uint8_t *texel) {
  const double elevation = (word >> 8) / 255.0 * (std::numbers::pi / 2);
  const double rotation = (word & 0xFF) / 255.0 * (2 * std::numbers::pi);
  const double nx = std::cos(elevation) * std::cos(rotation);
  const double ny = std::cos(elevation) * std::sin(rotation);
  const double nz = std::sin(elevation);
  Set(texel, 255, ToByte((nx + 1) * 127.5), ToByte((ny + 1) * 127.5), ToByte((nz + 1) * 127.5));
}

void WordToTexel(uint32_t w, int32_t pixelFormat, uint8_t *texel) {
  switch (pixelFormat) {
    case kPixARGB1555:
      Set(texel, (w & 0x8000) != 0 ? 255 : 0, Expand5(w >> 10 & 31), Expand5(w >> 5 & 31), Expand5(w & 31));
      break;
    case kPixRGB565:
      Set(texel, 255, Expand5(w >> 11 & 31), Expand6(w >> 5 & 63), Expand5(w & 31));
      break;
    case kPixARGB4444:
      Set(texel, Expand4(w >> 12 & 15), Expand4(w >> 8 & 15), Expand4(w >> 4 & 15), Expand4(w & 15));
      break;
    case kPixRGB555:
      Set(texel, 255, Expand5(w >> 10 & 31), Expand5(w >> 5 & 31), Expand5(w & 31));
      break;
    case kPixBump:
      BumpToTexel(w, texel);
      break;
    default:
      Set(texel, 0, 0, 0, 0);
      break;
  }
}

}  // namespace

bool IsWordFormat(int32_t pixelFormat) {
  switch (pixelFormat) {
    case kPixARGB1555:
    case kPixRGB565:
    case kPixARGB4444:
    case kPixYUV422:
    case kPixBump:
    case kPixRGB555:
      return true;
    default:
      return false;
  }
}

PVR_Image WordsToImage(const std::vector<uint16_t> &words, int32_t width, int32_t height, int32_t pixelFormat) {
  PVR_Image image;
  image.width = width;
  image.height = height;
  image.texels.resize(4 * static_cast<size_t>(width) * height);
  if (pixelFormat == kPixYUV422) {
    DecodeYUV422(words, width, height, &image);
  } else {
    for (size_t i = 0; i < words.size(); ++i) WordToTexel(words[i], pixelFormat, &image.texels[4 * i]);
  }
  return image;
}

void EntryToTexel(uint32_t entry, int32_t pixelFormat, uint8_t *texel) {
  if (pixelFormat == kPixARGB8888) {
    Set(texel, entry >> 24, entry >> 16 & 0xFF, entry >> 8 & 0xFF, entry & 0xFF);
  } else {
    WordToTexel(entry & 0xFFFF, pixelFormat, texel);
  }
}

}  // namespace pvr_decode
