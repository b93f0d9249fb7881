// Decoder of PVR texture files (and the palette files of palettized ones)
// into ARGB8888 images, for viewers and for checking what the encoders wrote.
//
// Every texture type the converter writes is read: twiddled (0x01, 0x02),
// non-square twiddled (0x0D), rectangle (0x09) and stride (0x0B), palettized
// (0x05 to 0x08, with the .pvp file), VQ (0x03, 0x04) and small VQ (0x10,
// 0x11); types 0x0A and 0x0C (rectangle and stride with mipmaps, which the
// converter never writes) are read as levels in row order at the offsets of
// the twiddled mipmap layout, and palettized mipmaps likewise in texel units.
//
// Texels come out as alpha, red, green, blue bytes. Narrow channels are
// widened by bit replication, so that 0 stays 0 and the largest value becomes
// 255: 5 bits v give v << 3 | v >> 2, 6 bits v << 2 | v >> 4, 4 bits
// v << 4 | v, the 1-bit alpha 0 or 255; formats without alpha give alpha 255.
// YUV422 pairs are turned back to RGB with the inverse of the encoder's
// matrix (rounded, clamped; approximate, since the chroma of a pair is
// shared); a level of width 1 holds Y and U per texel and is decoded with a
// neutral V. BUMP texels are two 8-bit angles, the elevation in the high
// byte (0..255 for 0..90 degrees) and the rotation in the low byte (0..255
// for 0..360 degrees); they are shown as a normal-map colour
// ((n + 1) / 2 * 255 for x, y, z in red, green, blue), alpha 255.
//
// Any byte sequence is safe to pass: what is not a well-formed texture is
// refused with a text naming the reason.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "texture/texture_types.h"

struct PVR_Decoded {
  uint32_t category = 0;    // the category word
  int32_t pixelFormat = 0;  // byte 0 of the category word
  uint8_t textureType = 0;  // byte 1 of the category word
  bool hasGlobalIndex = false;
  uint32_t globalIndex = 0;  // from the "GBIX" chunk when there is one
  int32_t width = 0;
  int32_t height = 0;
  std::vector<PVR_Image> levels;  // level 0 (full size) first, then each half size
};

// True for the texture types whose colours are in a palette file.
bool PVR_IsPalettized(uint8_t textureType);

// Bytes of texel data (after the category word, width and height) that a
// texture of this category and size holds, as the encoders write it; 0 for a
// type or size the decoder refuses.
size_t PVR_TexelDataSize(uint32_t category, int32_t width, int32_t height);

// Decodes the PVR file `file`; `palette` is the palette file's bytes and is
// only read for palettized types. Returns false with the reason in *error.
bool PVR_Decode(std::span<const uint8_t> file, std::span<const uint8_t> palette, PVR_Decoded *out, std::string *error);
