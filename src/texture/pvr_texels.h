// Texel placement shared by the PVR encoders (not for callers outside the
// encoders): 16-bit texel words in row order, the twiddled walk, and the
// assembly of a PVR file in memory.
#pragma once

#include <cstdint>
#include <vector>

#include "texture/texture_types.h"

namespace pvr_encode {

// The level's texels as 16-bit words in row order in the pixel format
// (ARGB1555, RGB565, ARGB4444, RGB555, or YUV422 pairs). A YUV422 level of
// width 1 holds, per texel, the first word of the pair of that texel with
// itself.
std::vector<uint16_t> EncodeTexels(const PVR_Image &level, int32_t pixelFormat);

// The row-order image `rows` (width x height) twiddled into `out`: a square
// image as one square, a non-square one as squares of the smaller side
// following each other (left to right, or top to bottom). Each square is
// walked row by row with the masked increments of the two partial indices.
template <typename T>
void Twiddle(const T *rows, int32_t width, int32_t height, T *out) {
  const int32_t side = width < height ? width : height;
  const int32_t squares = (width > height ? width : height) / side;
  for (int32_t square = 0; square < squares; ++square) {
    const T *origin =
        width >= height ? rows + static_cast<size_t>(square) * side : rows + static_cast<size_t>(square) * side * width;
    T *dest = out + static_cast<size_t>(square) * side * side;
    uint32_t yBits = 0;  // bits of y in the even positions
    for (int32_t y = 0; y < side; ++y) {
      const T *row = origin + static_cast<size_t>(y) * width;
      uint32_t xBits = 0;  // bits of x in the odd positions
      for (int32_t x = 0; x < side; ++x) {
        dest[xBits | yBits] = row[x];
        xBits = (xBits + 0x55556) & 0xAAAAA;
      }
      yBits = (yBits + 0xAAAAB) & 0x55555;
    }
  }
}

// A PVR file in memory: the global-index chunk unless the index is -1 (ending
// in four zero bytes for palettized files, else four blanks), the head of the
// texture-data chunk for `dataSize` bytes of texels; the caller appends them.
std::vector<uint8_t> FileHead(uint32_t category, int32_t width, int32_t height, int32_t globalIndex, bool paletteStyle,
                              uint32_t dataSize);

// Appends words little-endian.
void AppendWords(std::vector<uint8_t> &out, const std::vector<uint16_t> &words);

// Writes `bytes` as the whole file `name` (or, with temporaryOnly, only its
// temporary, for PVR_CommitTemporaryFile); prints an error naming the file
// when that fails.
bool WriteFile(const char *name, const std::vector<uint8_t> &bytes, bool temporaryOnly = false);

// True when every texel of the image is there (4 bytes each).
bool HasTexels(const PVR_Image &image);

// Width and height each a power of two from 8 to 1024; otherwise prints the
// framed size error.
bool CheckEncoderSize(int32_t width, int32_t height);

}  // namespace pvr_encode
