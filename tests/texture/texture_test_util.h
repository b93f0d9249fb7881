// Helpers of the texture tests: console capture, images, quantisation, files.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "base/console.h"
#include "mipmap_oracle.h"
#include "support/test_support.h"
#include "texture/pvr_decode.h"
#include "texture/pvr_encode.h"
#include "texture/pvr_format.h"
#include "texture/pvr_header.h"

namespace textest {

// Collects what one console stream prints while it lives.
class Capture {
 public:
  Capture(FILE *(*get)(), void (*set)(FILE *)) : set_(set), old_(get()), file_(std::tmpfile()) { set_(file_); }
  ~Capture() { set_(old_), std::fclose(file_); }
  std::string text() {
    std::string out;
    std::rewind(file_);
    for (int c; (c = std::fgetc(file_)) != EOF;) out += static_cast<char>(c);
    return out;
  }

 private:
  void (*set_)(FILE *);
  FILE *old_, *file_;
};
struct Console {
  Capture info{InfoStream, SetInfoStream}, warning{WarningStream, SetWarningStream}, error{ErrorStream, SetErrorStream};
};

inline PVR_Image MakeImage(int32_t width, int32_t height, uint8_t a, uint8_t r, uint8_t g, uint8_t b) {
  PVR_Image image{width, height, {}};
  for (int32_t i = 0; i < width * height; ++i) image.texels.insert(image.texels.end(), {a, r, g, b});
  return image;
}
inline PVR_Image RandomImage(std::mt19937 &random, int32_t width, int32_t height) {
  PVR_Image image = MakeImage(width, height, 0, 0, 0, 0);
  for (uint8_t &byte : image.texels) byte = static_cast<uint8_t>(random());
  return image;
}

// A channel after a pixel format of `bits` and the decoder's widening: the
// kept top bits repeated into the low bits.
inline uint8_t Keep(uint8_t v, int bits) {
  int out = 0;
  for (int shift = 8 - bits; shift > -bits; shift -= bits)
    out |= shift >= 0 ? (v >> (8 - bits)) << shift : (v >> (8 - bits)) >> -shift;
  return static_cast<uint8_t>(out);
}
inline void Quantise(int32_t pixelFormat, uint8_t *t) {
  const int bits[4][4] = {{1, 5, 5, 5}, {0, 5, 6, 5}, {4, 4, 4, 4}, {0, 5, 5, 5}};  // 1555, 565, 4444, 555
  const int row = pixelFormat == kPixRGB555 ? 3 : pixelFormat;
  if (pixelFormat == kPixYUV422 || row > 3) return;  // YUV422 and BUMP: no channel precision
  for (int c = 0; c < 4; ++c)
    t[c] = bits[row][c] == 0 ? 255 : bits[row][c] == 1 ? (t[c] >= 128 ? 255 : 0) : Keep(t[c], bits[row][c]);
}

inline std::vector<uint8_t> Bytes(const std::string &text) { return {text.begin(), text.end()}; }
inline std::vector<uint16_t> Words(const std::string &file, size_t at, size_t count) {
  std::vector<uint16_t> words;
  for (size_t i = at; i + 1 < file.size() && words.size() < count; i += 2)
    words.push_back(static_cast<uint16_t>(static_cast<uint8_t>(file[i]) | static_cast<uint8_t>(file[i + 1]) << 8));
  return words;
}

inline PVR_Settings SettingsFor(const std::string &name, int32_t pixelFormat, bool mipmap = false) {
  PVR_Settings settings;
  settings.outputName = name, settings.pixelFormat = pixelFormat, settings.autoMipmap = mipmap ? 1 : 0;
  return settings;
}

// width, height, alpha kind, global index, pixel format, texture format,
// mipmap, skipped, bad size.
inline std::vector<int> Fields(const PVR_TexInfo &i) {
  return {i.width,         i.height, i.alphaKind, i.globalIndex, i.pixelFormat,
          i.textureFormat, i.mipmap, i.skipped,   i.badSize};
}

inline PVR_Decoded DecodeFile(const std::string &name, const std::string &paletteName = "") {
  PVR_Decoded decoded;
  std::string error;
  EXPECT_TRUE(PVR_Decode(Bytes(vktest::ReadFile(name)), Bytes(paletteName.empty() ? "" : vktest::ReadFile(paletteName)),
                         &decoded, &error))
      << name << ": " << error;
  return decoded;
}

}  // namespace textest
