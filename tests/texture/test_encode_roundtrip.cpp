// Encoders checked through the decoder on many generated images, the fast
// mipmap builder against the literal box filter, and the refusals.
#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>

#include "texture_test_util.h"

namespace {

using namespace textest;
using vktest::Exists;
using vktest::ScratchDir;

TEST(Mipmaps, EqualTheLiteralBoxFilterOnRandomAndExtremeImages) {
  std::mt19937 random(11);
  for (int32_t side = 1; side <= 1024; side *= 2) {
    for (int fill : {-1, 0, 255}) {
      if (fill != -1 && side > 64) continue;
      PVR_Image base = fill < 0 ? RandomImage(random, side, side) : MakeImage(side, side, 255, 255, static_cast<uint8_t>(fill), 0);
      PVR_Input input;
      input.levels.push_back(base);
      ASSERT_EQ(PVR_SetMipmaps(&input), kMipmapOK);
      ASSERT_EQ(input.levels.size(), static_cast<size_t>(pvr::Log2(side) + 1));
      for (size_t k = 0; k < input.levels.size(); ++k)
        ASSERT_EQ(input.levels[k].texels, LiteralMipmap(base, static_cast<int>(k)).texels) << side << " level " << k;
    }
  }
}

TEST(Mipmaps, RefusalsPrintTheirMessageAndReleaseTheInput) {
  struct Case {
    std::vector<PVR_Image> levels;
    int code;
    const char *message;
  };
  const Case cases[] = {
      {{MakeImage(8, 8, 0, 0, 0, 0), MakeImage(4, 4, 0, 0, 0, 0)}, kMipmapNotSingle, "PVR_SetMipmaps() needs a single mipmap as input"},
      {{}, kMipmapNotSingle, "PVR_SetMipmaps() needs a single mipmap as input"},
      {{MakeImage(16, 8, 0, 0, 0, 0)}, kMipmapNotSquare, "Only square mipmaps supported"},
      {{MakeImage(12, 12, 0, 0, 0, 0)}, kMipmapBadSide, "Texture dimensions must be a power of 2 for mipmapping"},
      {{MakeImage(2048, 2048, 0, 0, 0, 0)}, kMipmapBadSide, "Texture dimensions must be a power of 2 for mipmapping"},
      {{PVR_Image{}}, kMipmapNoImage, "PVR_SetMipmaps: pImage is NULL !!"},
  };
  for (const Case &c : cases) {
    PVR_Input input;
    input.levels = c.levels;
    Console console;
    EXPECT_EQ(PVR_SetMipmaps(&input), c.code);
    EXPECT_EQ(console.info.text(), std::string("\n*** ") + c.message + " ***\n");
    EXPECT_TRUE(input.levels.empty());
  }
  Console console;
  EXPECT_EQ(PVR_SetMipmaps(nullptr), kMipmapNoImage);
  EXPECT_EQ(console.info.text(), "\n*** PVR_SetMipmaps: pImage is NULL !! ***\n");
}

enum class Kind { kTwiddled, kRectangle, kStride };

bool Encode(Kind kind, PVR_Settings *settings, const PVR_Image &image) {
  if (kind == Kind::kTwiddled) return PVR_EncodeTwiddled(settings, image);
  return PVR_EncodeRectangle(settings, image, kind == Kind::kStride);
}

// Every encoder, every pixel format with a 16-bit encoding, with and without
// mipmaps, on random sizes: the decoded levels are the box-filtered source
// in the pixel format's precision.
TEST(RoundTrip, DecodedLevelsAreTheQuantisedBoxFilter) {
  std::mt19937 random(7);
  ScratchDir dir;
  const int32_t formats[] = {kPixARGB1555, kPixRGB565, kPixARGB4444, kPixRGB555, kPixBump};
  for (int run = 0; run < 80; ++run) {
    const Kind kind = static_cast<Kind>(run % 3);
    const int32_t format = formats[random() % 5];
    int32_t width = 8 << random() % 8, height = random() % 3 == 0 ? width : 8 << random() % 8;
    if (run == 10) width = height = 1024;
    while (width * height > 512 * 512 && run != 10) width /= 2;
    const bool mipmap = random() % 2 == 0;
    PVR_Settings settings = SettingsFor(dir.file("r.pvr"), format, mipmap);
    settings.globalIndex = run % 4 == 0 ? -1 : run;
    const PVR_Image source = RandomImage(random, width, height);
    Console console;
    ASSERT_TRUE(Encode(kind, &settings, source));

    const PVR_Decoded decoded = DecodeFile(dir.file("r.pvr"));
    const bool mipmapped = kind == Kind::kTwiddled && mipmap && width == height;
    const uint8_t type = kind == Kind::kRectangle ? 0x09 : kind == Kind::kStride ? 0x0B : width != height ? 0x0D : mipmapped ? 0x02 : 0x01;
    const int32_t written = format == kPixBump ? kPixRGB565 : format;
    SCOPED_TRACE(testing::Message() << "run " << run << " " << width << "x" << height << " format " << format);
    EXPECT_EQ(decoded.category, static_cast<uint32_t>(written | type << 8));
    EXPECT_EQ(decoded.hasGlobalIndex, settings.globalIndex != -1);
    EXPECT_EQ(decoded.width, width);
    EXPECT_EQ(decoded.height, height);
    ASSERT_EQ(decoded.levels.size(), mipmapped ? static_cast<size_t>(pvr::Log2(width) + 1) : 1u);
    for (size_t k = 0; k < decoded.levels.size(); ++k) {
      PVR_Image expected = LiteralMipmap(source, static_cast<int>(k));
      for (size_t i = 0; i < expected.texels.size(); i += 4) Quantise(written, &expected.texels[i]);
      ASSERT_EQ(decoded.levels[k].texels, expected.texels) << "level " << k;
    }
    EXPECT_EQ(settings.info.pixelFormat, written);
    EXPECT_EQ(settings.info.mipmap, mipmapped ? 1 : 0);
    EXPECT_EQ(console.warning.text(), format == kPixBump ? "\n##### Warning : BUMP pixel format is not supported for this texture format; using RGB565\n" : "");
  }
}

// YUV422 with one colour per row (so every pair and every box-filtered pair
// shares its colour) in 32..223 (so U and V never clamp): each channel comes
// back within 3, the most that the truncations of Y, U and V can move it
// through the inverse matrix (1 + 1.72 for blue).
TEST(RoundTrip, YUV422ComesBackWithinTheTruncationError) {
  std::mt19937 random(3);
  ScratchDir dir;
  for (int run = 0; run < 12; ++run) {
    const int32_t width = 8 << random() % 6, height = run % 2 == 0 ? width : 8 << random() % 6;
    PVR_Image source = MakeImage(width, height, 255, 0, 0, 0);
    for (int32_t y = 0; y < height; ++y) {
      const uint8_t r = 32 + random() % 192, g = 32 + random() % 192, b = 32 + random() % 192;
      for (int32_t x = 0; x < width; ++x) source.At(x, y)[1] = r, source.At(x, y)[2] = g, source.At(x, y)[3] = b;
    }
    PVR_Settings settings = SettingsFor(dir.file("y.pvr"), kPixYUV422, true);
    ASSERT_TRUE(run % 3 == 2 ? PVR_EncodeRectangle(&settings, source, false) : PVR_EncodeTwiddled(&settings, source));
    const PVR_Decoded decoded = DecodeFile(dir.file("y.pvr"));
    for (size_t k = 0; k < decoded.levels.size(); ++k) {
      const PVR_Image expected = LiteralMipmap(source, static_cast<int>(k));
      if (expected.width < 2) continue;  // a 1x1 level keeps Y and U only
      for (size_t i = 0; i < expected.texels.size(); ++i)
        ASSERT_LE(std::abs(decoded.levels[k].texels[i] - expected.texels[i]), 3) << run << " level " << k << " byte " << i;
    }
  }
}

TEST(RoundTrip, PalettizedDecodesToThePaletteEntries) {
  std::mt19937 random(5);
  ScratchDir dir;
  const int32_t formats[] = {kPixARGB1555, kPixRGB565, kPixARGB4444, kPixARGB8888};
  for (int run = 0; run < 24; ++run) {
    PVR_PalImage image;
    image.bitsPerPixel = run % 2 == 0 ? 4 : 8;
    image.width = 8 << random() % 5;
    image.height = run % 3 == 0 ? image.width : 8 << random() % 5;
    const int32_t colours = 1 << image.bitsPerPixel;
    std::vector<uint8_t> rows(static_cast<size_t>(image.width) * image.height);
    for (uint8_t &index : rows) index = static_cast<uint8_t>(random() % colours);
    for (size_t i = 0; i < rows.size(); i += image.bitsPerPixel == 4 ? 2 : 1)
      image.indices.push_back(image.bitsPerPixel == 4 ? static_cast<uint8_t>(rows[i] << 4 | rows[i + 1]) : rows[i]);
    PVR_Palette palette;
    palette.pixelFormat = formats[run % 4];
    palette.bank = run;
    palette.entryCount = colours;
    for (int32_t i = 0; i < colours; ++i) palette.entries.push_back(static_cast<uint32_t>(random()));
    PVR_Settings settings = SettingsFor(dir.file("p.pvr"), kPixRGB565);
    Console console;
    ASSERT_TRUE(PVR_EncodePalettized(&settings, palette, image));
    const PVR_Decoded decoded = DecodeFile(dir.file("p.pvr"), dir.file("p.pvp"));
    ASSERT_EQ(decoded.levels.size(), 1u);
    EXPECT_EQ(decoded.textureType, image.bitsPerPixel == 4 ? 0x05 : 0x07);
    for (size_t i = 0; i < rows.size(); ++i) {
      const uint32_t argb = palette.entries[rows[i]];
      uint8_t expected[4] = {static_cast<uint8_t>(argb >> 24), static_cast<uint8_t>(argb >> 16), static_cast<uint8_t>(argb >> 8),
                             static_cast<uint8_t>(argb)};
      Quantise(palette.pixelFormat, expected);
      ASSERT_EQ(std::vector<uint8_t>(expected, expected + 4),
                std::vector<uint8_t>(decoded.levels[0].texels.begin() + 4 * i, decoded.levels[0].texels.begin() + 4 * i + 4))
          << "run " << run << " texel " << i;
    }
  }
}

// Sizes that are not powers of two from 8 to 1024 are refused by every
// encoder with the framed message, and nothing is written.
TEST(Refusals, BadSizesWriteNothing) {
  const std::pair<int32_t, int32_t> sizes[] = {{4, 4}, {8, 12}, {2048, 8}, {16, 2048}, {1, 8}};
  ScratchDir dir;
  for (const auto &[width, height] : sizes) {
    for (int encoder = 0; encoder < 4; ++encoder) {
      PVR_Settings settings = SettingsFor(dir.file("s.pvr"), kPixRGB565, true);
      Console console;
      bool ok = true;
      if (encoder < 3) {
        ok = Encode(static_cast<Kind>(encoder), &settings, MakeImage(width, height, 255, 1, 2, 3));
      } else {
        PVR_PalImage image;
        image.width = width, image.height = height, image.bitsPerPixel = 8;
        image.indices.resize(static_cast<size_t>(width) * height);
        PVR_Palette palette;
        ok = PVR_EncodePalettized(&settings, palette, image);
      }
      EXPECT_FALSE(ok);
      EXPECT_EQ(console.info.text(), "\n#####\nBMP size error.\nWidth:" + std::to_string(width) + "  Height:" +
                                         std::to_string(height) + "\n#####\n");
      EXPECT_FALSE(Exists(dir.file("s.pvr")));
      EXPECT_FALSE(Exists(dir.file("s.pvp")));
      EXPECT_EQ(settings.info.skipped, 1);  // the information block is left as it was
    }
  }
}

TEST(Refusals, BrokenInputsAreNamed) {
  ScratchDir dir;
  PVR_Settings settings = SettingsFor(dir.file("b.pvr"), kPixRGB565);
  settings.inputName = "wood.bmp";
  struct Case {
    std::function<bool()> run;
    const char *error;
  };
  PVR_Image short_image = MakeImage(8, 8, 0, 0, 0, 0);
  short_image.texels.pop_back();
  PVR_PalImage palImage;
  palImage.width = palImage.height = 8;
  palImage.bitsPerPixel = 4;
  palImage.indices.resize(32);
  PVR_Palette palette;
  palette.entryCount = 17;
  PVR_PalImage oddDepth = palImage;
  oddDepth.bitsPerPixel = 2;
  const Case cases[] = {
      {[&] { return PVR_EncodeTwiddled(&settings, short_image); }, "\n##### Error : Image wood.bmp has no texels\n"},
      {[&] { PVR_Settings s = settings; s.pixelFormat = kPixARGB8888; return PVR_EncodeRectangle(&s, MakeImage(8, 8, 0, 0, 0, 0), false); },
       "\n##### Error : Pixel format 6 can't be used for this texture format\n"},
      {[&] { return PVR_EncodePalettized(&settings, palette, palImage); },
       "\n##### Error : wood.bmp: palette bank 0, entries 0 to 16 are out of range\n"},
      {[&] { return PVR_EncodePalettized(&settings, PVR_Palette{}, oddDepth); },
       "\n##### Error : wood.bmp: 2 bits per texel can't be palettized\n"},
      {[&] { PVR_Settings s = settings; s.outputName.clear(); return PVR_EncodeTwiddled(&s, MakeImage(8, 8, 0, 0, 0, 0)); },
       "\n##### Error : No pvr filename given\n"},
  };
  for (const Case &c : cases) {
    Console console;
    EXPECT_FALSE(c.run());
    EXPECT_EQ(console.error.text(), c.error);
    EXPECT_FALSE(Exists(dir.file("b.pvr")));
  }
}

}  // namespace
