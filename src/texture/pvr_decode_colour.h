// Colours of decoded texels (for the decoder's own files): 16-bit words and
// palette entries to ARGB8888 texels.
#pragma once

#include <cstdint>
#include <vector>

#include "texture/texture_types.h"

namespace pvr_decode {

// True for the pixel formats of 16-bit texels: ARGB1555, RGB565, ARGB4444,
// YUV422, BUMP, RGB555.
bool IsWordFormat(int32_t pixelFormat);

// A level of row-order 16-bit words (width x height) as an image.
PVR_Image WordsToImage(const std::vector<uint16_t> &words, int32_t width, int32_t height, int32_t pixelFormat);

// One palette entry (a 16-bit word for ARGB1555, RGB565, ARGB4444, RGB555; the
// ARGB8888 word itself) as alpha, red, green, blue.
void EntryToTexel(uint32_t entry, int32_t pixelFormat, uint8_t *texel);

}  // namespace pvr_decode
