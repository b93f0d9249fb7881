// PVR files of every kind the converter writes, made by its own encoders
// into a folder: twiddled with and without mipmaps in every pixel format,
// non-square twiddled, rectangle, stride, palettized of 4 and 8 bits with
// every palette format, VQ and small VQ with and without mipmaps. For the
// archive reader's and the viewer's tests.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/console.h"
#include "texture/pvr_encode.h"
#include "texture/vq.h"

namespace pvrkinds {

struct KindFile {
  std::string label;  // e.g. "twiddled-mip-RGB565"
  std::string pvr;    // path of the PVR file
  std::string pvp;    // path of its palette file, or empty
};

// A picture with something in every channel: red across, green down, a
// blue diagonal band, and alpha (when asked) falling from the top left
// corner with a fully transparent square in the middle.
inline PVR_Image PatternImage(int32_t width, int32_t height, bool alpha) {
  PVR_Image image;
  image.width = width;
  image.height = height;
  image.texels.resize(4 * static_cast<size_t>(width) * height);
  for (int32_t y = 0; y < height; ++y) {
    for (int32_t x = 0; x < width; ++x) {
      uint8_t *t = image.At(x, y);
      const bool hole = x >= width / 4 && x < width * 3 / 4 && y >= height / 4 && y < height * 3 / 4;
      t[kTexelA] = !alpha ? 255 : hole ? 0 : static_cast<uint8_t>(255 - (x + y) * 200 / (width + height));
      t[kTexelR] = static_cast<uint8_t>(x * 255 / (width > 1 ? width - 1 : 1));
      t[kTexelG] = static_cast<uint8_t>(y * 255 / (height > 1 ? height - 1 : 1));
      t[kTexelB] = ((x + y) / 4) % 4 == 0 ? 255 : 40;
    }
  }
  return image;
}

// Writes every kind into `folder` (console output silenced while encoding);
// returns the files, in a fixed order. A failed encoder leaves its entry out,
// which the callers' counts catch.
inline std::vector<KindFile> WriteEveryKind(const std::string &folder) {
  FILE *info = InfoStream(), *warning = WarningStream(), *error = ErrorStream();
  SetInfoStream(nullptr), SetWarningStream(nullptr), SetErrorStream(nullptr);
  std::vector<KindFile> files;
  const char *formatNames[] = {"ARGB1555", "RGB565", "ARGB4444", "YUV422", "BUMP", "RGB555", "ARGB8888"};
  int32_t index = 0;
  const auto settingsFor = [&](const std::string &label, int32_t pixelFormat, bool mipmap) {
    PVR_Settings settings;
    settings.outputName = folder + "/" + label + ".pvr";
    settings.pixelFormat = pixelFormat;
    settings.autoMipmap = mipmap ? 1 : 0;
    settings.globalIndex = index++ % 3 == 2 ? -1 : index;
    return settings;
  };
  // Twiddled and row-order encoders.
  for (int32_t format : {kPixARGB1555, kPixRGB565, kPixARGB4444, kPixYUV422, kPixRGB555}) {
    const bool alpha = format == kPixARGB1555 || format == kPixARGB4444;
    for (bool mipmap : {false, true}) {
      const std::string label = std::string("twiddled") + (mipmap ? "-mip-" : "-") + formatNames[format];
      PVR_Settings settings = settingsFor(label, format, mipmap);
      if (PVR_EncodeTwiddled(&settings, PatternImage(32, 32, alpha))) files.push_back({label, settings.outputName, ""});
    }
  }
  const struct {
    const char *label;
    int kind;  // 0 twiddled, 1 rectangle, 2 stride
    int32_t width, height, format;
  } shaped[] = {{"nonsquare-wide-ARGB4444", 0, 64, 16, kPixARGB4444},
                {"nonsquare-tall-RGB565", 0, 8, 32, kPixRGB565},
                {"rectangle-ARGB1555", 1, 64, 32, kPixARGB1555},
                {"rectangle-YUV422", 1, 32, 16, kPixYUV422},
                {"stride-RGB555", 2, 16, 64, kPixRGB555}};
  for (const auto &s : shaped) {
    PVR_Settings settings = settingsFor(s.label, s.format, false);
    const PVR_Image image = PatternImage(s.width, s.height, s.format == kPixARGB1555 || s.format == kPixARGB4444);
    if (s.kind == 0 ? PVR_EncodeTwiddled(&settings, image) : PVR_EncodeRectangle(&settings, image, s.kind == 2))
      files.push_back({s.label, settings.outputName, ""});
  }
  // Palettized: 4 and 8 bits, every palette format.
  for (int32_t format : {kPixARGB1555, kPixRGB565, kPixARGB4444, kPixARGB8888}) {
    for (int32_t bits : {4, 8}) {
      const std::string label = "pal" + std::to_string(bits) + "-" + formatNames[format];
      const int32_t width = 32, height = bits == 4 ? 16 : 32, colours = 1 << bits;
      PVR_Palette palette{bits == 4 ? 3 : 5, format, colours, 0, {}};
      for (int32_t i = 0; i < colours; ++i) {
        const uint32_t a = format == kPixRGB565 ? 255 : static_cast<uint32_t>(i * 255 / (colours - 1));
        palette.entries.push_back(a << 24 | static_cast<uint32_t>(i * 97 % 256) << 16 |
                                  static_cast<uint32_t>(255 - i * 255 / (colours - 1)) << 8 |
                                  static_cast<uint32_t>(i * 53 % 256));
      }
      PVR_PalImage image{width, height, bits, {}};
      for (int32_t y = 0; y < height; ++y) {
        for (int32_t x = 0; x < width; x += bits == 4 ? 2 : 1) {
          const auto at = [&](int32_t column) { return static_cast<uint8_t>((column / 2 + y) % colours); };
          image.indices.push_back(bits == 4 ? static_cast<uint8_t>(at(x) << 4 | at(x + 1)) : at(x));
        }
      }
      PVR_Settings settings = settingsFor(label, kPixRGB565, false);
      if (PVR_EncodePalettized(&settings, palette, image))
        files.push_back({label, settings.outputName, folder + "/" + label + ".pvp"});
    }
  }
  // VQ: full codebook at 64 (with and without mipmaps), small codebook at
  // 16 (mipmaps), 32 and 64 (without); each texel format.
  const struct {
    const char *label;
    int32_t side, texelFormat;
    bool small, mipmap;
  } vq[] = {{"vq-RGB565", 64, kVQRGB565, false, false},
            {"vq-mip-ARGB4444", 64, kVQARGB4444, false, true},
            {"smallvq-mip-ARGB1555", 16, kVQARGB1555, true, true},
            {"smallvq-RGB565", 32, kVQRGB565, true, false},
            {"smallvq-ARGB4444", 64, kVQARGB4444, true, false}};
  for (const auto &v : vq) {
    PVR_Input input{{PatternImage(v.side, v.side, v.texelFormat != kVQRGB565)}};
    if (v.mipmap && PVR_SetMipmaps(&input) != kMipmapOK) continue;
    PVR_VQOptions options;
    options.texelFormat = v.texelFormat;
    options.smallVQ = v.small ? 1 : 0;
    options.mipmaps = v.mipmap ? 1 : 0;
    options.threads = 1;
    PVR_VQOutput output;
    const std::string name = folder + "/" + v.label + ".pvr";
    if (PVR_CompressVQ(options, &input, &output) && PVR_WriteVQPVRFile(&output, name.c_str(), index++))
      files.push_back({v.label, name, ""});
  }
  SetInfoStream(info), SetWarningStream(warning), SetErrorStream(error);
  return files;
}

// The number of files WriteEveryKind makes.
constexpr size_t kKindCount = 10 + 5 + 8 + 5;

}  // namespace pvrkinds
