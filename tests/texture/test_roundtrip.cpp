// Encoders checked through the decoder on many generated images, and the
// fast mipmap builder against the literal box filter.
#include <gtest/gtest.h>

#include <cstdlib>

#include "texture_test_util.h"

namespace {

using namespace textest;
using namespace std::string_literals;

TEST(Mipmaps, EqualTheLiteralBoxFilter) {
  std::mt19937 random(11);
  for (int32_t side = 1; side <= 1024; side *= 2) {
    for (int fill : {-1, 0, 255}) {
      if (fill >= 0 && side > 64) continue;
      const PVR_Image base =
          fill < 0 ? RandomImage(random, side, side) : MakeImage(side, side, 255, 255, static_cast<uint8_t>(fill), 0);
      PVR_Input input{{base}};
      ASSERT_EQ(PVR_SetMipmaps(&input), kMipmapOK);
      ASSERT_EQ(input.levels.size(), static_cast<size_t>(pvr::Log2(side) + 1));
      for (size_t k = 0; k < input.levels.size(); ++k)
        ASSERT_EQ(input.levels[k].texels, LiteralMipmap(base, static_cast<int>(k)).texels) << side << " level " << k;
    }
  }
}

TEST(Mipmaps, RefusalsPrintTheirMessageAndReleaseTheInput) {
  const PVR_Image image8 = MakeImage(8, 8, 0, 0, 0, 0);
  const std::pair<std::vector<PVR_Image>, const char *> cases[] = {
      {{image8, image8}, "PVR_SetMipmaps() needs a single mipmap as input"},
      {{}, "PVR_SetMipmaps() needs a single mipmap as input"},
      {{MakeImage(16, 8, 0, 0, 0, 0)}, "Only square mipmaps supported"},
      {{MakeImage(12, 12, 0, 0, 0, 0)}, "Texture dimensions must be a power of 2 for mipmapping"},
      {{MakeImage(2048, 2048, 0, 0, 0, 0)}, "Texture dimensions must be a power of 2 for mipmapping"},
      {{PVR_Image{}}, "PVR_SetMipmaps: pImage is NULL !!"},
  };
  for (const auto &[levels, message] : cases) {
    PVR_Input input{levels};
    Console console;
    EXPECT_LT(PVR_SetMipmaps(&input), 0);
    EXPECT_EQ(console.info.Text(), std::string("\n*** ") + message + " ***\n");
    EXPECT_TRUE(input.levels.empty());
  }
  Console console;
  EXPECT_EQ(PVR_SetMipmaps(nullptr), kMipmapNoImage);
}

// Every encoder, every pixel format with a 16-bit encoding (BUMP falls back
// to RGB565), with and without mipmaps, on random sizes: the decoded levels
// are the box-filtered source in the pixel format's precision.
TEST(RoundTrip, DecodedLevelsAreTheQuantisedBoxFilter) {
  std::mt19937 random(7);
  ScratchDir dir;
  const int32_t formats[] = {kPixARGB1555, kPixRGB565, kPixARGB4444, kPixRGB555, kPixBump};
  for (int run = 0; run < 80; ++run) {
    const int kind = run % 3;  // twiddled, rectangle, stride
    const int32_t format = formats[random() % 5], written = format == kPixBump ? kPixRGB565 : format;
    int32_t width = 8 << random() % 8, height = random() % 3 == 0 ? width : 8 << random() % 8;
    while (width * height > 512 * 512) width /= 2;
    if (run == 10) width = height = 1024;
    PVR_Settings settings = SettingsFor(dir.file("r.pvr"), format, random() % 2 == 0);
    settings.globalIndex = run % 4 == 0 ? -1 : run;
    const PVR_Image source = RandomImage(random, width, height);
    Console console;
    ASSERT_TRUE(kind == 0 ? PVR_EncodeTwiddled(&settings, source) : PVR_EncodeRectangle(&settings, source, kind == 2));

    const PVR_Decoded decoded = DecodeFile(dir.file("r.pvr"));
    const bool mipmapped = kind == 0 && settings.autoMipmap && width == height;
    const int type = kind == 1 ? 0x09 : kind == 2 ? 0x0B : width != height ? 0x0D : mipmapped ? 0x02 : 0x01;
    SCOPED_TRACE(testing::Message() << "run " << run << " " << width << "x" << height << " format " << format);
    EXPECT_EQ(decoded.category, static_cast<uint32_t>(written | type << 8));
    EXPECT_EQ(decoded.hasGlobalIndex, settings.globalIndex != -1);
    EXPECT_EQ(decoded.width * 10000 + decoded.height, width * 10000 + height);
    ASSERT_EQ(decoded.levels.size(), mipmapped ? static_cast<size_t>(pvr::Log2(width) + 1) : 1u);
    for (size_t k = 0; k < decoded.levels.size(); ++k) {
      PVR_Image expected = LiteralMipmap(source, static_cast<int>(k));
      for (size_t i = 0; i < expected.texels.size(); i += 4) Quantise(written, &expected.texels[i]);
      ASSERT_EQ(decoded.levels[k].texels, expected.texels) << "level " << k;
    }
    EXPECT_EQ(settings.info.pixelFormat * 10 + settings.info.mipmap, written * 10 + mipmapped);
    // The header reader sees the same; the non-square type is not in its table.
    PVR_TexInfo info;
    ASSERT_EQ(PVR_ReadHeaderInfo(dir.file("r.pvr").c_str(), &info), 1);
    EXPECT_EQ(Fields(info), (std::vector<int>{width, height, written % 2 ? 1 : 2, settings.globalIndex == -1 ? 0 : run,
                                              written, type == 0x0D ? 0 : kind + 1, mipmapped, 1, 0}));
    EXPECT_EQ(
        console.warning.Text(),
        (format == kPixBump
             ? "\n##### Warning : BUMP pixel format is not supported for this texture format; using RGB565\n"s
             : ""s) +
            (type == 0x0D ? "\n##### Warning : Not Support categorycode " + std::to_string(written | type << 8) + "\n"
                          : ""s));
  }
}

// YUV422 with one colour per row (so every pair, on every level, shares its
// colour) in 32..223 (so U and V never clamp): each channel comes back within
// 3, the most the truncations of Y, U and V move it through the inverse
// matrix (blue: 1 + 1.72).
TEST(RoundTrip, YUV422ComesBackWithinTheTruncationError) {
  std::mt19937 random(3);
  ScratchDir dir;
  for (int run = 0; run < 12; ++run) {
    const int32_t width = 8 << random() % 6, height = run % 2 == 0 ? width : 8 << random() % 6;
    PVR_Image source = MakeImage(width, height, 255, 0, 0, 0);
    for (int32_t y = 0; y < height; ++y) {
      const uint8_t rgb[3] = {uint8_t(32 + random() % 192), uint8_t(32 + random() % 192), uint8_t(32 + random() % 192)};
      for (int32_t x = 0; x < width; ++x) std::copy(rgb, rgb + 3, source.At(x, y) + 1);
    }
    PVR_Settings settings = SettingsFor(dir.file("y.pvr"), kPixYUV422, true);
    ASSERT_TRUE(run % 3 == 2 ? PVR_EncodeRectangle(&settings, source, false) : PVR_EncodeTwiddled(&settings, source));
    const PVR_Decoded decoded = DecodeFile(dir.file("y.pvr"));
    for (size_t k = 0; k < decoded.levels.size() && decoded.levels[k].width > 1;
         ++k) {  // a 1x1 level keeps Y and U only
      const PVR_Image expected = LiteralMipmap(source, static_cast<int>(k));
      for (size_t i = 0; i < expected.texels.size(); ++i)
        ASSERT_LE(std::abs(decoded.levels[k].texels[i] - expected.texels[i]), 3)
            << run << " level " << k << " byte " << i;
    }
  }
}

TEST(RoundTrip, PalettizedDecodesToThePaletteEntries) {
  constexpr int32_t kFormats[] = {kPixARGB1555, kPixRGB565, kPixARGB4444, kPixARGB8888};
  std::mt19937 random(5);
  ScratchDir dir;
  for (int run = 0; run < 24; ++run) {
    const int32_t bits = run % 2 == 0 ? 4 : 8, colours = 1 << bits, width = 8 << random() % 5;
    PVR_PalImage image{width, run % 3 == 0 ? width : 8 << random() % 5, bits, {}};
    std::vector<uint8_t> rows(static_cast<size_t>(image.width) * image.height);
    for (uint8_t &index : rows) index = static_cast<uint8_t>(random() % colours);
    for (size_t i = 0; i < rows.size(); i += bits == 4 ? 2 : 1)
      image.indices.push_back(bits == 4 ? static_cast<uint8_t>(rows[i] << 4 | rows[i + 1]) : rows[i]);
    PVR_Palette palette{run, kFormats[run % 4], colours, 0, {}};
    for (int32_t i = 0; i < colours; ++i) palette.entries.push_back(static_cast<uint32_t>(random()));
    PVR_Settings settings = SettingsFor(dir.file("p.pvr"), kPixRGB565);
    Console console;
    ASSERT_TRUE(PVR_EncodePalettized(&settings, palette, image));
    const PVR_Decoded decoded = DecodeFile(dir.file("p.pvr"), dir.file("p.pvp"));
    ASSERT_EQ(decoded.levels.size(), 1u);
    EXPECT_EQ(decoded.textureType, bits == 4 ? 0x05 : 0x07);
    PVR_TexInfo info;
    ASSERT_EQ(PVR_ReadHeaderInfo(dir.file("p.pvr").c_str(), &info), 1);
    EXPECT_EQ(Fields(info),
              (std::vector<int>{image.width, image.height, palette.pixelFormat % 2 ? 1 : 2, 0, palette.pixelFormat,
                                bits == 4 ? kTexFormatPal4 : kTexFormatPal8, 0, 1, 0}));
    std::vector<uint8_t> expected;
    for (uint8_t index : rows) {
      const uint32_t argb = palette.entries[index];
      uint8_t texel[4] = {uint8_t(argb >> 24), uint8_t(argb >> 16), uint8_t(argb >> 8), uint8_t(argb)};
      Quantise(palette.pixelFormat, texel);
      expected.insert(expected.end(), texel, texel + 4);
    }
    ASSERT_EQ(decoded.levels[0].texels, expected) << "run " << run;
  }
}

}  // namespace
