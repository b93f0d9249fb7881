// Writers of small source image files (BMP, PIC, PIX, TGA) from an in-memory
// image, for the texture tests, the fuzz seed corpus and the benchmarks. Each
// returns the file's bytes; the layouts are the plain ones the readers expect
// (standard 54-byte BMP header, bottom row first where the format says so).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "texture/texture_types.h"

namespace teximg {

// An image filled by fn(x, y) -> {a, r, g, b}.
template <typename Fn>
PVR_Image MakeImage(int32_t width, int32_t height, Fn fn) {
  PVR_Image image;
  image.width = width;
  image.height = height;
  image.texels.resize(4 * static_cast<size_t>(width) * static_cast<size_t>(height));
  for (int32_t y = 0; y < height; ++y) {
    for (int32_t x = 0; x < width; ++x) {
      auto argb = fn(x, y);
      for (int c = 0; c < 4; ++c) image.At(x, y)[c] = static_cast<uint8_t>(argb[c]);
    }
  }
  return image;
}

// Pseudo-random texels from a seed; alpha 255 unless withAlpha.
PVR_Image RandomImage(int32_t width, int32_t height, uint32_t seed, bool withAlpha, int colours = 256);

// Uncompressed BMP of 24 or 32 bits (alpha dropped).
std::string Bmp(const PVR_Image &image, int bitsPerPixel = 24);
// The translucent bitmap of an image: 24 bits, every channel 255 - alpha.
std::string TranslucentBmp(const PVR_Image &image);
// Palettized BMP of 4 or 8 bits; indices one a texel, top row first; palette
// entries 0xAARRGGBB (alpha ignored); colorsUsed as written in the header.
std::string PalBmp(int32_t width, int32_t height, int bitsPerPixel, const std::vector<uint32_t> &palette,
                   const std::vector<uint8_t> &indices, uint32_t colorsUsed = 0);
// PIC with one red-green-blue packet and, with alpha, a second alpha packet;
// mixed runs (type 2) or plain pixels (type 0).
std::string Pic(const PVR_Image &image, bool alpha, bool runs);
// PIX colour runs, and a mask of 8- or 24-bit runs from the image's alpha.
std::string Pix(const PVR_Image &image);
std::string PixMask(const PVR_Image &image, int bitsPerPixel);
// TGA of 8 (colour-mapped, at most 256 colours), 16, 24 or 32 bits; plain or
// run-length packed.
std::string Tga(const PVR_Image &image, int bitsPerPixel, bool runLength = false);

bool WriteBytes(const std::string &path, const std::string &bytes);

}  // namespace teximg
