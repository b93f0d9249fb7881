// Helpers of the texture tests: console captures, byte strings, images, the
// precision of the pixel formats, files.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <initializer_list>
#include <random>
#include <string>
#include <vector>

#include "mipmap_oracle.h"
#include "support/console_capture.h"
#include "support/test_support.h"
#include "texture/pvr_decode.h"
#include "texture/pvr_encode.h"
#include "texture/pvr_format.h"
#include "texture/pvr_header.h"

namespace textest {

using vktest::Exists;
using vktest::ReadFile;
using vktest::ScratchDir;
using vktest::WriteFile;

// Each console stream on its own while it lives.
struct Console {
  vktest::Capture info{InfoStream, SetInfoStream}, warning{WarningStream, SetWarningStream},
      error{ErrorStream, SetErrorStream};
};
// Everything the console streams print, in order (they all go to standard error).
class Stderr {
 public:
  Stderr() { testing::internal::CaptureStderr(); }
  ~Stderr() {
    if (!taken_) testing::internal::GetCapturedStderr();
  }
  std::string Text() { return taken_ = true, testing::internal::GetCapturedStderr(); }

 private:
  bool taken_ = false;
};
// Runs in `folder` while it lives.
class InFolder {
 public:
  explicit InFolder(const std::string &folder) : old_(getcwd(buffer_, sizeof buffer_) ? buffer_ : ".") {
    EXPECT_EQ(chdir(folder.c_str()), 0);
  }
  ~InFolder() { EXPECT_EQ(chdir(old_.c_str()), 0); }

 private:
  char buffer_[4096];
  std::string old_;
};

inline std::string Le16(uint32_t v) { return {char(v & 0xFF), char(v >> 8 & 0xFF)}; }
inline std::string Le32(uint32_t v) { return Le16(v & 0xFFFF) + Le16(v >> 16); }
inline std::string Be16(uint32_t v) { return {char(v >> 8 & 0xFF), char(v & 0xFF)}; }
inline std::string Chars(std::initializer_list<int> list) { return std::string(list.begin(), list.end()); }
inline std::vector<uint8_t> Bytes(const std::string &text) { return {text.begin(), text.end()}; }
inline std::vector<uint8_t> FileBytes(const std::string &name) { return Bytes(ReadFile(name)); }
inline std::vector<uint16_t> Words(const std::string &file, size_t at, size_t count) {
  std::vector<uint16_t> words;
  for (size_t i = at; i + 1 < file.size() && words.size() < count; i += 2)
    words.push_back(static_cast<uint16_t>(uint8_t(file[i]) | uint8_t(file[i + 1]) << 8));
  return words;
}

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
// The levels a decoder gives back for `source`: level 0 and, with mipmaps,
// the literal box filter of each level, quantised to the pixel format.
inline std::vector<PVR_Image> QuantisedLevels(const PVR_Image &source, int32_t pixelFormat, bool mipmaps) {
  std::vector<PVR_Image> levels;
  for (int k = 0; (source.width >> k) > 0 && (source.height >> k) > 0 && (k == 0 || mipmaps); ++k) {
    levels.push_back(LiteralMipmap(source, k));
    for (size_t i = 0; i < levels.back().texels.size(); i += 4) Quantise(pixelFormat, &levels.back().texels[i]);
  }
  return levels;
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

inline PVR_Decoded Decode(const std::vector<uint8_t> &pvr, const std::vector<uint8_t> &pvp = {}) {
  PVR_Decoded decoded;
  std::string error;
  EXPECT_TRUE(PVR_Decode(pvr, pvp, &decoded, &error)) << error;
  return decoded;
}
inline PVR_Decoded DecodeFile(const std::string &name, const std::string &paletteName = "") {
  return Decode(FileBytes(name), paletteName.empty() ? std::vector<uint8_t>{} : FileBytes(paletteName));
}

}  // namespace textest
