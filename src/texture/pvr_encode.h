// The non-VQ PVR encoders and the steps they share with the VQ compressor.
//
// Every encoder takes an image that is already loaded (and whose alpha has
// been classified), encodes it in the texture type it stands for, writes the
// PVR file named by settings->outputName through a temporary (so a failure
// leaves no file, and an older file of that name intact) and fills
// settings->info (width, height, global index, pixel format, texture format,
// mipmap; skipped 0). It returns false after printing why when nothing was
// written; settings->info is then left as it was.
#pragma once

#include <cstdint>

#include "texture/texture_types.h"

// Result codes of PVR_SetMipmaps.
enum PVR_MipmapResult : int {
  kMipmapOK = 0,
  kMipmapNoImage = -1,
  kMipmapNotSingle = -2,
  kMipmapNotSquare = -3,
  kMipmapBadSide = -4,
  kMipmapTooMany = -5,
  kMipmapNoMemory = -6,
};

// Adds every smaller level to an input that holds exactly level 0 (square,
// side a power of two up to 1024). Texel (x, y) of level k is the rounded
// average of the 2^k x 2^k block of level 0 at (x * 2^k, y * 2^k), per
// channel. On failure the message is printed, the input is released (no
// levels) and a negative PVR_MipmapResult is returned.
int PVR_SetMipmaps(PVR_Input *input);

// Error-diffusion dither of one level in place, for the 16-bit pixel format
// (ARGB1555, RGB565, ARGB4444, RGB555; other formats leave the texels alone).
// Levels of width or height 1 are not changed. Alpha takes part only with
// alphaDither and not for ARGB1555.
void PVR_Dither(PVR_Image *level, int32_t pixelFormat, bool alphaDither);

// Twiddled texture: type 0x02 (square with settings->autoMipmap), 0x01
// (square without), 0x0D (non-square, as squares of the smaller side, never
// with mipmaps). Pixel formats ARGB1555, RGB565, ARGB4444, YUV422, RGB555;
// BUMP is replaced by RGB565 with a warning.
bool PVR_EncodeTwiddled(PVR_Settings *settings, PVR_Image image);

// Rectangle (type 0x09) or stride (type 0x0B) texture: the texels in row
// order, no mipmaps. Pixel formats as for PVR_EncodeTwiddled.
bool PVR_EncodeRectangle(PVR_Settings *settings, PVR_Image image, bool stride);

// Palettized texture: the palette file (settings->outputName with the suffix
// ".pvp") and the PVR file (suffix ".pvr") of type 0x05 (4 bits per texel) or
// 0x07 (8 bits), the indices twiddled. The palette's pixel format (ARGB1555,
// RGB565, ARGB4444 or ARGB8888) is the texture's; another one is replaced by
// RGB565 with a warning.
bool PVR_EncodePalettized(PVR_Settings *settings, const PVR_Palette &palette, const PVR_PalImage &image);
