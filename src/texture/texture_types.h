// Types shared by the texture converter: the format codes, the conversion
// settings of one texture, the information block a conversion leaves, and the
// in-memory images that the image readers fill and the encoders consume.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

// ---- Codes ------------------------------------------------------------------
// Texture format codes (settings, information block, info comment, resource
// records).
enum PVR_TextureFormat : int32_t {
  kTexFormatNone = 0,  // take it from the source image's shape
  kTexFormatTwiddled = 1,
  kTexFormatRectangle = 2,
  kTexFormatStride = 3,
  kTexFormatVQ = 4,
  kTexFormatSmallVQ = 5,
  kTexFormatPal4 = 6,
  kTexFormatPal8 = 7,
  kTexFormatPlatformBitmap = 11,  // only seen in an existing PVR file
  kTexFormatPalFromBmp = 20,      // palettized, depth taken from the source BMP
};

// Pixel format codes; also byte 0 of a PVR category word.
enum PVR_PixelFormat : int32_t {
  kPixARGB1555 = 0,
  kPixRGB565 = 1,
  kPixARGB4444 = 2,
  kPixYUV422 = 3,
  kPixBump = 4,
  kPixRGB555 = 5,
  kPixARGB8888 = 6,  // palette entries only
};

// Alpha kinds found by the classification of a loaded image.
enum PVR_AlphaKind : int32_t {
  kAlphaUnknown = 0,
  kAlphaNone = 1,
  kAlphaBilevel = 2,  // every texel fully opaque or fully transparent
  kAlphaGraded = 3,
};

// Source image types.
enum PVR_SourceType : int32_t {
  kSourceNone = 0,
  kSourceBMP = 1,
  kSourcePIC = 2,
  kSourceTGA = 3,
  kSourcePIX = 4,
};

constexpr int kPVRMaxSide = 1024;
constexpr int kPVRMaxMipmapLevels = 12;
constexpr int kPVRNameSize = 256;  // paths of at most 255 characters

// True for 1, 2, 4, ..., 1024.
constexpr bool PVR_IsSide(int32_t value) {
  return value >= 1 && value <= kPVRMaxSide && (value & (value - 1)) == 0;
}

// ---- Information block of one texture ---------------------------------------
struct PVR_TexInfo {
  int32_t width;
  int32_t height;
  int32_t alphaKind;    // PVR_AlphaKind, 0 before classification
  int32_t globalIndex;  // as written in the PVR file
  int32_t pixelFormat;
  int32_t textureFormat;
  int32_t mipmap;      // 0 or 1
  int32_t skipped;     // 1 when read from an existing PVR file
  int32_t badSize;     // 1 when a side is not a power of two from 1 to 1024
  int32_t sourceType;  // PVR_SourceType
  char foundPath[kPVRNameSize];
};

// A fresh block: everything 0 except pixel format 1 and skipped 1.
inline PVR_TexInfo PVR_FreshTexInfo() {
  PVR_TexInfo info{};
  info.pixelFormat = kPixRGB565;
  info.skipped = 1;
  return info;
}

// ---- Conversion settings ------------------------------------------------------
// One block per run; the texture driver snapshots it before each texture and
// restores it after, so nothing set for one texture reaches the next.
struct PVR_Settings {
  int32_t textureFormat = kTexFormatNone;  // requested format
  int32_t autoMipmap = 1;
  int32_t dither = 0;
  int32_t alphaDither = 0;  // turns dither on
  int32_t pixelFormat = kPixRGB565;
  int32_t autoForm = 1;  // choose the pixel format from the image's alpha
  std::string outputDirectory;
  std::string inputName;
  std::string bmpAlphaName;  // translucent bitmap named by the model (BMP reader)
  std::string pixMaskName;   // mask file (PIX reader)
  std::string outputName;    // derived from the input name when empty
  int32_t globalIndex = -1;  // GBIX chunk written unless -1
  int32_t vqAlgorithm = 4;   // 3 or 4
  int32_t vqMipmap = 1;
  int32_t paletteBank = 0;
  int32_t paletteFirst = 0;
  int32_t paletteCount = 0;  // 0: the count of the source palette
  PVR_TexInfo info = PVR_FreshTexInfo();
};

// ---- In-memory images -----------------------------------------------------------
// Four bytes a texel in the order alpha, red, green, blue; rows from the top
// down, left to right. An empty image has width and height 0 and no texels.
struct PVR_Image {
  int32_t width = 0;
  int32_t height = 0;
  std::vector<uint8_t> texels;  // 4 * width * height bytes

  uint8_t *At(int32_t x, int32_t y) { return &texels[4 * (static_cast<size_t>(y) * width + x)]; }
  const uint8_t *At(int32_t x, int32_t y) const {
    return &texels[4 * (static_cast<size_t>(y) * width + x)];
  }
};

// Byte offsets of the channels inside a texel.
constexpr int kTexelA = 0;
constexpr int kTexelR = 1;
constexpr int kTexelG = 2;
constexpr int kTexelB = 3;

// The image set the encoders work on: level 0 is the full image, level k the
// image reduced by 2^k in each direction; at most 12 levels.
struct PVR_Input {
  std::vector<PVR_Image> levels;
};

// A palettized image: one byte per texel at 8 bits, two per byte at 4 bits
// (the first texel in the high half), rows from the top down.
struct PVR_PalImage {
  int32_t width = 0;
  int32_t height = 0;
  int32_t bitsPerPixel = 0;  // 4 or 8
  std::vector<uint8_t> indices;
};

// A palette: entries as ARGB8888 words (alpha in bits 24-31, red 16-23,
// green 8-15, blue 0-7).
struct PVR_Palette {
  int32_t bank = 0;
  int32_t pixelFormat = kPixRGB565;
  int32_t entryCount = 0;
  int32_t firstEntry = 0;
  std::vector<uint32_t> entries;
};
