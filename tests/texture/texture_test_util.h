// Helpers of the texture encoder tests: console capture, images, literal
// oracles, and encode-then-decode runs through real files.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "frontend/console.h"
#include "support/test_support.h"
#include "texture/pvr_decode.h"
#include "texture/pvr_encode.h"
#include "texture/pvr_format.h"
#include "texture/texture_types.h"

namespace textest {

// Collects what one console stream prints while it lives.
class Capture {
 public:
  Capture(FILE *(*get)(), void (*set)(FILE *)) : set_(set), old_(get()), file_(std::tmpfile()) { set_(file_); }
  ~Capture() {
    set_(old_);
    std::fclose(file_);
  }
  Capture(const Capture &) = delete;
  Capture &operator=(const Capture &) = delete;
  std::string text() {
    std::fflush(file_);
    std::string out;
    std::rewind(file_);
    for (int c; (c = std::fgetc(file_)) != EOF;) out += static_cast<char>(c);
    return out;
  }

 private:
  void (*set_)(FILE *);
  FILE *old_;
  FILE *file_;
};

// Info, warning and error streams captured together.
struct Console {
  Capture info{InfoStream, SetInfoStream};
  Capture warning{WarningStream, SetWarningStream};
  Capture error{ErrorStream, SetErrorStream};
};

inline PVR_Image MakeImage(int32_t width, int32_t height, uint8_t a, uint8_t r, uint8_t g, uint8_t b) {
  PVR_Image image;
  image.width = width;
  image.height = height;
  image.texels.resize(4 * static_cast<size_t>(width) * height);
  for (size_t i = 0; i < image.texels.size(); i += 4) {
    image.texels[i] = a, image.texels[i + 1] = r, image.texels[i + 2] = g, image.texels[i + 3] = b;
  }
  return image;
}

inline PVR_Image RandomImage(std::mt19937 &random, int32_t width, int32_t height) {
  PVR_Image image = MakeImage(width, height, 0, 0, 0, 0);
  for (uint8_t &byte : image.texels) byte = static_cast<uint8_t>(random());
  return image;
}

// The literal mipmap of level k: each texel averages its 2^k x 2^k block of
// level 0, summed afresh, rounded by 2^(2k-1).
inline PVR_Image LiteralMipmap(const PVR_Image &base, int k) {
  PVR_Image level = MakeImage(base.width >> k, base.height >> k, 0, 0, 0, 0);
  for (int32_t y = 0; y < level.height; ++y)
    for (int32_t x = 0; x < level.width; ++x)
      for (int c = 0; c < 4; ++c) {
        uint32_t sum = 0;
        for (int32_t dy = 0; dy < (1 << k); ++dy)
          for (int32_t dx = 0; dx < (1 << k); ++dx) sum += base.At((x << k) + dx, (y << k) + dy)[c];
        level.At(x, y)[c] = static_cast<uint8_t>(k == 0 ? sum : (sum + (1u << (2 * k - 1))) >> (2 * k));
      }
  return level;
}

// What a texel looks like after a 16-bit pixel format and the decoder's bit
// replication: the kept top bits, repeated into the low bits.
inline uint8_t Keep(uint8_t v, int bits) {
  const int top = v >> (8 - bits);
  int out = 0;
  for (int shift = 8 - bits; shift > -bits; shift -= bits) out |= shift >= 0 ? top << shift : top >> -shift;
  return static_cast<uint8_t>(out);
}

inline void Quantise(int32_t pixelFormat, uint8_t *t) {
  switch (pixelFormat) {
    case kPixARGB1555: t[0] = t[0] >= 128 ? 255 : 0, t[1] = Keep(t[1], 5), t[2] = Keep(t[2], 5), t[3] = Keep(t[3], 5); break;
    case kPixRGB565: t[0] = 255, t[1] = Keep(t[1], 5), t[2] = Keep(t[2], 6), t[3] = Keep(t[3], 5); break;
    case kPixARGB4444: for (int c = 0; c < 4; ++c) t[c] = Keep(t[c], 4); break;
    case kPixRGB555: t[0] = 255, t[1] = Keep(t[1], 5), t[2] = Keep(t[2], 5), t[3] = Keep(t[3], 5); break;
    default: break;
  }
}

inline std::vector<uint8_t> Bytes(const std::string &text) { return {text.begin(), text.end()}; }

// Little-endian words from `at` on.
inline std::vector<uint16_t> Words(const std::string &file, size_t at, size_t count) {
  std::vector<uint16_t> words;
  for (size_t i = 0; i < count && at + 2 * i + 1 < file.size(); ++i)
    words.push_back(static_cast<uint16_t>(static_cast<uint8_t>(file[at + 2 * i]) |
                                          static_cast<uint8_t>(file[at + 2 * i + 1]) << 8));
  return words;
}

inline uint32_t Word32(const std::string &file, size_t at) {
  uint32_t value = 0;
  for (int i = 3; i >= 0; --i) value = value << 8 | static_cast<uint8_t>(file.at(at + i));
  return value;
}

// Settings writing `name`, no global index, no mipmaps unless asked.
inline PVR_Settings SettingsFor(const std::string &name, int32_t pixelFormat, bool mipmap = false) {
  PVR_Settings settings;
  settings.outputName = name;
  settings.pixelFormat = pixelFormat;
  settings.autoMipmap = mipmap ? 1 : 0;
  return settings;
}

// Decodes a written file (and its palette file); fails the test when it does not decode.
inline PVR_Decoded DecodeFile(const std::string &name, const std::string &paletteName = "") {
  const std::vector<uint8_t> file = Bytes(vktest::ReadFile(name));
  const std::vector<uint8_t> palette = paletteName.empty() ? std::vector<uint8_t>{} : Bytes(vktest::ReadFile(paletteName));
  PVR_Decoded decoded;
  std::string error;
  EXPECT_TRUE(PVR_Decode(file, palette, &decoded, &error)) << name << ": " << error;
  return decoded;
}

}  // namespace textest
