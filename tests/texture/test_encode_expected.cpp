// Encoder output compared with bytes worked out by hand.
#include <gtest/gtest.h>

#include "texture_test_util.h"

namespace {

using namespace textest;
using vktest::ReadFile;
using vktest::ScratchDir;

// Level 0 of 8x8 with red 32x and green 32y, in RGB565, is 0x2000x + 0x100y;
// the 4x4 box average (red 64X + 16, green 64Y + 16) is 0x4000X + 0x200Y +
// 0x1080; the 2x2 (red 128X + 48, green 128Y + 48) 0x8000X + 0x400Y + 0x3180;
// the 1x1 (112, 112) 0x7380. Twiddled: bit 0 of the index is bit 0 of y.
constexpr uint16_t kMipmapped8x8[86] = {
    0x0000, 0x7380, 0x3180, 0x3580, 0xB180, 0xB580, 0x1080, 0x1280,  //
    0x5080, 0x5280, 0x1480, 0x1680, 0x5480, 0x5680, 0x9080, 0x9280,  //
    0xD080, 0xD280, 0x9480, 0x9680, 0xD480, 0xD680, 0x0000, 0x0100,  //
    0x2000, 0x2100, 0x0200, 0x0300, 0x2200, 0x2300, 0x4000, 0x4100,  //
    0x6000, 0x6100, 0x4200, 0x4300, 0x6200, 0x6300, 0x0400, 0x0500,  //
    0x2400, 0x2500, 0x0600, 0x0700, 0x2600, 0x2700, 0x4400, 0x4500,  //
    0x6400, 0x6500, 0x4600, 0x4700, 0x6600, 0x6700, 0x8000, 0x8100,  //
    0xA000, 0xA100, 0x8200, 0x8300, 0xA200, 0xA300, 0xC000, 0xC100,  //
    0xE000, 0xE100, 0xC200, 0xC300, 0xE200, 0xE300, 0x8400, 0x8500,  //
    0xA400, 0xA500, 0x8600, 0x8700, 0xA600, 0xA700, 0xC400, 0xC500,  //
    0xE400, 0xE500, 0xC600, 0xC700, 0xE600, 0xE700};

// The left 8x8 square of 16x8 with red 16x and green 32y: 0x1000x + 0x100y;
// the right square is the same plus 0x8000.
constexpr uint16_t kLeftSquare16x8[64] = {
    0x0000, 0x0100, 0x1000, 0x1100, 0x0200, 0x0300, 0x1200, 0x1300,  //
    0x2000, 0x2100, 0x3000, 0x3100, 0x2200, 0x2300, 0x3200, 0x3300,  //
    0x0400, 0x0500, 0x1400, 0x1500, 0x0600, 0x0700, 0x1600, 0x1700,  //
    0x2400, 0x2500, 0x3400, 0x3500, 0x2600, 0x2700, 0x3600, 0x3700,  //
    0x4000, 0x4100, 0x5000, 0x5100, 0x4200, 0x4300, 0x5200, 0x5300,  //
    0x6000, 0x6100, 0x7000, 0x7100, 0x6200, 0x6300, 0x7200, 0x7300,  //
    0x4400, 0x4500, 0x5400, 0x5500, 0x4600, 0x4700, 0x5600, 0x5700,  //
    0x6400, 0x6500, 0x7400, 0x7500, 0x6600, 0x6700, 0x7600, 0x7700};

PVR_Image Ramp(int32_t width, int32_t height, int redStep, int greenStep) {
  PVR_Image image = MakeImage(width, height, 255, 0, 0, 0);
  for (int32_t y = 0; y < height; ++y)
    for (int32_t x = 0; x < width; ++x) image.At(x, y)[1] = static_cast<uint8_t>(redStep * x), image.At(x, y)[2] = static_cast<uint8_t>(greenStep * y);
  return image;
}

std::string Head(const std::string &file, size_t count) { return file.substr(0, count); }

TEST(EncodeExpected, Twiddled8x8WithMipmapsAndBlankEndedGlobalIndex) {
  ScratchDir dir;
  PVR_Settings settings = SettingsFor(dir.file("t.pvr"), kPixRGB565, true);
  settings.globalIndex = 5;
  Console console;
  ASSERT_TRUE(PVR_EncodeTwiddled(&settings, Ramp(8, 8, 32, 32)));
  const std::string file = ReadFile(dir.file("t.pvr"));
  ASSERT_EQ(file.size(), 16u + 16u + 172u);
  EXPECT_EQ(Head(file, 32), std::string("GBIX\x08\0\0\0\x05\0\0\0    PVRT\xB4\0\0\0\x01\x02\0\0\x08\0\x08\0", 32));
  EXPECT_EQ(Words(file, 32, 86), std::vector<uint16_t>(kMipmapped8x8, kMipmapped8x8 + 86));
  EXPECT_EQ(console.info.text(), "[GLOBALINDEX 5]");
  const PVR_TexInfo &info = settings.info;
  EXPECT_EQ((std::vector<int>{info.width, info.height, info.globalIndex, info.pixelFormat, info.textureFormat, info.mipmap, info.skipped}),
            (std::vector<int>{8, 8, 5, 1, 1, 1, 0}));
}

TEST(EncodeExpected, NonSquareTwiddledIsTwoSquaresWithoutMipmaps) {
  ScratchDir dir;
  PVR_Settings settings = SettingsFor(dir.file("w.pvr"), kPixRGB565, true);  // mipmaps asked, not given
  ASSERT_TRUE(PVR_EncodeTwiddled(&settings, Ramp(16, 8, 16, 32)));
  const std::string file = ReadFile(dir.file("w.pvr"));
  ASSERT_EQ(file.size(), 16u + 256u);
  EXPECT_EQ(Head(file, 16), std::string("PVRT\x08\x01\0\0\x01\x0D\0\0\x10\0\x08\0", 16));
  std::vector<uint16_t> expected(kLeftSquare16x8, kLeftSquare16x8 + 64);
  for (uint16_t word : kLeftSquare16x8) expected.push_back(static_cast<uint16_t>(word + 0x8000));
  EXPECT_EQ(Words(file, 16, 128), expected);
  EXPECT_EQ(settings.info.mipmap, 0);

  // Tall: the same squares top to bottom.
  PVR_Image tall = MakeImage(8, 16, 255, 0, 0, 0);
  for (int32_t y = 0; y < 16; ++y)
    for (int32_t x = 0; x < 8; ++x) tall.At(x, y)[1] = static_cast<uint8_t>(16 * (x + 8 * (y / 8))), tall.At(x, y)[2] = static_cast<uint8_t>(32 * (y % 8));
  ASSERT_TRUE(PVR_EncodeTwiddled(&settings, tall));
  EXPECT_EQ(Words(ReadFile(dir.file("w.pvr")), 16, 128), expected);
}

// RGB565 with dither: red 132 and blue 132 are (v & 0xF8) | 4 and green 130
// is (v & 0xFC) | 2, so every error is 0 and every word 0x8410.
TEST(EncodeExpected, DitherOfExactValuesChangesNothing) {
  ScratchDir dir;
  PVR_Settings settings = SettingsFor(dir.file("d.pvr"), kPixRGB565);
  settings.dither = 1;
  ASSERT_TRUE(PVR_EncodeRectangle(&settings, MakeImage(8, 8, 255, 132, 130, 132), false));
  EXPECT_EQ(Words(ReadFile(dir.file("d.pvr")), 16, 64), std::vector<uint16_t>(64, 0x8410));
}

// Red 97 (error -3, then -4 ...) and green 129 (error -1) in a 3x2 level;
// carries run on from the end of row 0 into row 1. ARGB4444 alpha 200 with
// alpha dither: errors -4, -5, -7, -11 (4-bit rule with the 8 for v >= 128).
TEST(EncodeExpected, DitherCarriesWorkedByHand) {
  struct Case {
    int32_t format;
    bool alphaDither;
    int32_t width;
    uint8_t a, r, g, b;
    std::vector<uint8_t> a2, r2, g2;  // per texel after the dither
  };
  const Case cases[] = {
      {kPixRGB565, false, 3, 200, 97, 129, 132, {200, 200, 200, 200, 200, 200}, {97, 96, 96, 95, 96, 93}, {129, 129, 129, 129, 128, 127}},
      {kPixRGB565, true, 3, 200, 97, 129, 132, {200, 200, 200, 200, 200, 200}, {97, 96, 96, 95, 96, 93}, {129, 129, 129, 129, 128, 127}},
      {kPixARGB4444, true, 2, 200, 68, 68, 68, {200, 199, 197, 193}, {68, 68, 68, 68}, {68, 68, 68, 68}},
      {kPixARGB4444, false, 2, 200, 68, 68, 68, {200, 200, 200, 200}, {68, 68, 68, 68}, {68, 68, 68, 68}},
      {kPixARGB1555, true, 2, 200, 68, 68, 68, {200, 200, 200, 200}, {68, 68, 68, 68}, {68, 68, 68, 68}},
      {kPixYUV422, true, 2, 200, 97, 97, 97, {200, 200, 200, 200}, {97, 97, 97, 97}, {97, 97, 97, 97}},
  };
  for (const Case &c : cases) {
    PVR_Image image = MakeImage(c.width, 2, c.a, c.r, c.g, c.b);
    PVR_Dither(&image, c.format, c.alphaDither);
    std::vector<uint8_t> a, r, g;
    for (size_t i = 0; i < image.texels.size(); i += 4) a.push_back(image.texels[i]), r.push_back(image.texels[i + 1]), g.push_back(image.texels[i + 2]);
    EXPECT_EQ(a, c.a2) << c.format;
    EXPECT_EQ(r, c.r2) << c.format;
    EXPECT_EQ(g, c.g2) << c.format;
  }
}

// White: Y 255, U and V 128. Red: Y 75, U 84, V 258.9 clamped to 255.
// Blue: Y 30, U clamped to 255, V 106. A (red, blue) pair shares (84 + 255) / 2
// and (255 + 106) / 2.
TEST(EncodeExpected, YUV422Pairs) {
  struct Case {
    uint8_t first[3], second[3];
    uint16_t words[2];
  };
  const Case cases[] = {
      {{255, 255, 255}, {255, 255, 255}, {0xFF80, 0xFF80}},
      {{255, 0, 0}, {255, 0, 0}, {0x4B54, 0x4BFF}},
      {{255, 0, 0}, {0, 0, 255}, {0x4BA9, 0x1EB4}},
  };
  ScratchDir dir;
  for (const Case &c : cases) {
    PVR_Image image = MakeImage(8, 8, 255, 255, 255, 255);
    for (int i = 0; i < 3; ++i) image.At(0, 0)[1 + i] = c.first[i], image.At(1, 0)[1 + i] = c.second[i];
    PVR_Settings settings = SettingsFor(dir.file("y.pvr"), kPixYUV422);
    ASSERT_TRUE(PVR_EncodeRectangle(&settings, image, true));
    const std::string file = ReadFile(dir.file("y.pvr"));
    EXPECT_EQ(Head(file, 16), std::string("PVRT\x88\0\0\0\x03\x0B\0\0\x08\0\x08\0", 16));
    EXPECT_EQ(Words(file, 16, 4), (std::vector<uint16_t>{c.words[0], c.words[1], 0xFF80, 0xFF80}));
  }
}

// Indices (x + 2y) & 15 of an 8x8 4-bit image: twiddled texels 0..3 are (0,0),
// (0,1), (1,0), (1,1), i.e. 0, 2, 1, 3, packed high half first.
TEST(EncodeExpected, PalettizedFileAndPaletteFile) {
  struct Case {
    int32_t format;
    std::vector<uint32_t> entries;
    std::string pvp;
  };
  const Case cases[] = {
      {kPixARGB1555, {0xFFFF0000, 0x0000FF00, 0x80102030},
       std::string("PVPL\x10\0\0\0\0\0\x03\0\0\0\x03\0\x00\xFC\xE0\x03\x86\x88\0\0", 24)},
      {kPixARGB8888, {0x80102030, 0x01020304},
       std::string("PVPL\x10\0\0\0\x06\0\x03\0\0\0\x02\0\x30\x20\x10\x80\x04\x03\x02\x01", 24)},
      {kPixARGB4444, {0x80102030}, std::string("PVPL\x10\0\0\0\x02\0\x03\0\0\0\x01\0\x23\x81\0\0\0\0\0\0", 24)},
  };
  ScratchDir dir;
  for (const Case &c : cases) {
    PVR_PalImage image;
    image.width = image.height = 8;
    image.bitsPerPixel = 4;
    for (int y = 0; y < 8; ++y)
      for (int x = 0; x < 8; x += 2) image.indices.push_back(static_cast<uint8_t>(((x + 2 * y) & 15) << 4 | ((x + 1 + 2 * y) & 15)));
    PVR_Palette palette;
    palette.bank = 3;
    palette.pixelFormat = c.format;
    palette.entryCount = static_cast<int32_t>(c.entries.size());
    palette.entries = c.entries;
    PVR_Settings settings = SettingsFor(dir.file("p.pvr"), kPixRGB565);
    settings.globalIndex = 7;
    Console console;
    ASSERT_TRUE(PVR_EncodePalettized(&settings, palette, image));
    EXPECT_EQ(ReadFile(dir.file("p.pvp")), c.pvp);
    const std::string file = ReadFile(dir.file("p.pvr"));
    ASSERT_EQ(file.size(), 32u + 32u);
    EXPECT_EQ(Head(file, 34), std::string("GBIX\x08\0\0\0\x07\0\0\0\0\0\0\0PVRT\x28\0\0\0", 24) +
                                  static_cast<char>(c.format) + std::string("\x05\0\0\x08\0\x08\0\x02\x13", 9));
    EXPECT_EQ(console.info.text(), "\nConvert BMP to PVP\nConvert BMP to PVR\n");
    EXPECT_EQ(settings.info.globalIndex, 7);
    EXPECT_EQ(settings.info.textureFormat, kTexFormatPal4);
  }
}

// 256x256 with mipmaps: (21846 + 65536) x 2 = 174764 bytes of texels.
TEST(EncodeExpected, LengthOf256WithMipmaps) {
  ScratchDir dir;
  PVR_Settings settings = SettingsFor(dir.file("big"), kPixRGB565, true);
  ASSERT_TRUE(PVR_EncodeTwiddled(&settings, MakeImage(256, 256, 255, 200, 100, 50)));
  const std::string file = ReadFile(dir.file("big"));
  ASSERT_EQ(file.size(), 16u + 174764u);
  EXPECT_EQ(Word32(file, 4), 174772u);
  EXPECT_EQ(Word32(file, 8), 0x0201u);
  EXPECT_EQ(Words(file, 16, 2), (std::vector<uint16_t>{0, 0xCB26}));  // 0xC800 | 0x64 << 3 | 50 >> 3
  EXPECT_EQ(Words(file, 16 + 2 * 21846, 1), (std::vector<uint16_t>{0xCB26}));
}

}  // namespace
