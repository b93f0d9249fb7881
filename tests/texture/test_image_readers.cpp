// Image readers on hand-worked byte layouts, round trips through the test
// writers, and the refusals of malformed files.
#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "support/test_support.h"
#include "texture/image_files.h"
#include "texture/image_read.h"
#include "texture/reader_test_util.h"

using namespace readtest;

namespace {

using Texel = std::array<int, 4>;  // a, r, g, b

Texel At(const PVR_Image &image, int x, int y) {
  const uint8_t *t = image.At(x, y);
  return {t[0], t[1], t[2], t[3]};
}

// A 54-byte BMP header worked out field by field.
std::string BmpHead(int32_t w, int32_t h, int bits, uint32_t offset = 54, uint32_t colorsUsed = 0,
                    uint32_t compression = 0) {
  return "BM" + Le32(0) + Le32(0) + Le32(offset) + Le32(40) + Le32(static_cast<uint32_t>(w)) +
         Le32(static_cast<uint32_t>(h)) + Le16(1) + Le16(static_cast<uint32_t>(bits)) + Le32(compression) +
         Le32(0) + Le32(0) + Le32(0) + Le32(colorsUsed) + Le32(0);
}
std::string PicHead(int w, int h) {
  std::string head(104, '\0');
  head.replace(92, 4, Be16(static_cast<uint32_t>(w)) + Be16(static_cast<uint32_t>(h)));
  return head;
}
std::string PixHead(int w, int h, int bits = 24) { return Be16(w) + Be16(h) + Le32(0) + Le16(bits); }
std::string TgaHead(int w, int h, int bits, int type = 2, int mapType = 0, int mapLength = 0) {
  return Bytes({0, mapType, type}) + Le16(0) + Le16(mapLength) + Bytes({mapType ? 24 : 0}) + Le32(0) + Le16(w) +
         Le16(h) + Bytes({bits, 0});
}

struct Read {
  int ok;
  PVR_Image image;
  std::string why;
  std::string console;
};

Read ReadFile(PVR_SourceType type, const std::string &path, const PVR_Settings &settings = PVR_Settings{}) {
  Read r;
  Console console;
  r.ok = PVR_ReadImage(type, path.c_str(), settings, &r.image, &r.why);
  r.console = console.Text();
  return r;
}

Read ReadBytes(PVR_SourceType type, const std::string &bytes, const std::string &name = "img") {
  static vktest::ScratchDir dir;
  std::string path = dir.file(name);
  teximg::WriteBytes(path, bytes);
  return ReadFile(type, path);
}

}  // namespace

TEST(BmpReader, WidthTenReadsRowsOf32BytesBottomRowFirst) {
  std::string rows;
  for (int k = 0; k < 2; ++k) {
    for (int x = 0; x < 10; ++x) rows += Bytes({k * 100 + x, k * 100 + 10 + x, k * 100 + 20 + x});
    rows += "\xEE\xEE";  // padding to 32 bytes
  }
  Read r = ReadBytes(kSourceBMP, BmpHead(10, 2, 24) + rows);
  ASSERT_EQ(r.ok, 1) << r.why;
  EXPECT_EQ(r.image.width, 10);
  EXPECT_EQ(At(r.image, 9, 1), (Texel{255, 29, 19, 9}));      // file's first row is the bottom row
  EXPECT_EQ(At(r.image, 0, 0), (Texel{255, 120, 110, 100}));  // padding not taken as texels
  EXPECT_EQ(r.console, "");
}

TEST(BmpReader, TranslucentBitmapGivesAlphaOfEveryDepth) {
  vktest::ScratchDir dir;
  const std::string wood = dir.file("wood.bmp"), twood = dir.file("twood.bmp");
  teximg::WriteBytes(wood, BmpHead(2, 1, 24) + Bytes({1, 2, 3, 4, 5, 6, 0, 0}));
  struct Case {
    const char *what;
    std::string translucent;
    Texel alphas;  // alpha of texel 0 and 1; [2] 1 when "[READ ALPHA]"
  } cases[] = {
      {"24-bit: 255 - red", BmpHead(2, 1, 24) + Bytes({9, 9, 0, 0, 0, 200, 0, 0}), {255, 55, 1}},
      {"32-bit rows", BmpHead(2, 1, 32) + Bytes({0, 0, 0x40, 0xAA, 0, 0, 0xFF, 0}), {0xBF, 0, 1}},
      {"8-bit palette red", BmpHead(2, 1, 8, 62, 2) + Bytes({0, 0, 10, 0, 0, 0, 250, 0}) + Bytes({1, 0, 0, 0}),
       {5, 245, 1}},
      {"16-bit X1R5G5B5 widened", BmpHead(2, 1, 16) + Le16(0x7C00) + Le16(0x0400), {0, 247, 1}},
      {"other size ignored", BmpHead(1, 1, 24) + Bytes({0, 0, 200, 0}), {255, 255, 0}},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.what);
    teximg::WriteBytes(twood, c.translucent);
    Read r = ReadFile(kSourceBMP, wood);
    ASSERT_EQ(r.ok, 1) << r.why;
    EXPECT_EQ(At(r.image, 0, 0), (Texel{c.alphas[0], 3, 2, 1}));
    EXPECT_EQ(At(r.image, 1, 0)[0], c.alphas[1]);
    EXPECT_EQ(r.console, c.alphas[2] ? "[READ ALPHA]"
                                     : "\n##### Warning : " + twood +
                                           ". The translucent bitmap is not the same size. It is ignored.\n");
  }
  // Without twood.bmp the settings' alpha file is used.
  std::remove(twood.c_str());
  PVR_Settings settings;
  settings.bmpAlphaName = dir.file("other.bmp");
  teximg::WriteBytes(settings.bmpAlphaName, BmpHead(2, 1, 24) + Bytes({0, 0, 1, 0, 0, 2, 0, 0}));
  Read r = ReadFile(kSourceBMP, wood, settings);
  EXPECT_EQ(At(r.image, 1, 0)[0], 253);
  EXPECT_EQ(PVR_TranslucentName("tex\\wood.bmp"), "tex\\twood.bmp");
  EXPECT_EQ(PVR_TranslucentName("a/b/wood.bmp"), "a/b/twood.bmp");
}

TEST(BmpReader, OtherDepthsAreRefusedWithTheirDepth) {
  vktest::ScratchDir dir;
  for (int bits : {32, 8}) {
    teximg::WriteBytes(dir.file("deep.bmp"), BmpHead(1, 1, bits) + Bytes({1, 2, 3, 4}));
    Read r = ReadFile(kSourceBMP, dir.file("deep.bmp"));
    EXPECT_EQ(r.ok, 0);
    EXPECT_EQ(r.console, "\n##### Error: Not support BMP type " + dir.file("deep.bmp") + " depth " +
                             std::to_string(bits) + "\n");
    EXPECT_EQ(r.why, "");
  }
}

TEST(PicReader, ChannelPacketsAndMixedRuns) {
  // Packet 1: red, green, blue as mixed runs; packet 2: alpha, plain.
  std::string bytes = PicHead(3, 1) + Bytes({1, 8, 2, 0xE0, 0, 8, 0, 0x10}) +
                      Bytes({0x81, 10, 20, 30, 0x00, 40, 50, 60}) + Bytes({1, 2, 3});
  Read r = ReadBytes(kSourcePIC, bytes);
  ASSERT_EQ(r.ok, 1) << r.why;
  EXPECT_EQ(At(r.image, 0, 0), (Texel{1, 10, 20, 30}));
  EXPECT_EQ(At(r.image, 1, 0), (Texel{2, 10, 20, 30}));
  EXPECT_EQ(At(r.image, 2, 0), (Texel{3, 40, 50, 60}));
  EXPECT_EQ(r.console, "[READ ALPHA]");

  // A count byte of 128 takes a 16-bit count, high byte first (0x012C = 300).
  r = ReadBytes(kSourcePIC, PicHead(300, 1) + Bytes({0, 8, 2, 0xE0, 0x80, 0x01, 0x2C, 7, 8, 9}));
  ASSERT_EQ(r.ok, 1) << r.why;
  EXPECT_EQ(At(r.image, 299, 0), (Texel{255, 7, 8, 9}));
  EXPECT_EQ(r.console, "");
}

TEST(PixReader, RunsAndMasksOfBothDepths) {
  vktest::ScratchDir dir;
  const std::string pix = dir.file("a.pix");
  teximg::WriteBytes(pix, PixHead(5, 1) + Bytes({5, 1, 2, 3}));
  struct Case {
    const char *what;
    std::string mask;
    std::array<int, 5> alphas;
    std::string console;
  } cases[] = {
      {"8-bit runs 3 then 2", PixHead(5, 1, 8) + Bytes({3, 0x11, 2, 0x22}), {0x11, 0x11, 0x11, 0x22, 0x22},
       "[READ ALPHA][MASKFILE(8bit-mode)]"},
      {"24-bit: 255 - average", PixHead(5, 1, 24) + Bytes({5, 30, 60, 90}), {195, 195, 195, 195, 195},
       "[READ ALPHA][MASKFILE(24bit-mode)]"},
      {"16-bit unsupported", PixHead(5, 1, 16) + Bytes({5, 0}), {255, 255, 255, 255, 255},
       "ERROR : The Maskfile Mode is not support.\n"},
      {"other size ignored", PixHead(4, 1, 8) + Bytes({4, 0}), {255, 255, 255, 255, 255},
       "\n##### Warning : " + dir.file("m.pix") + ". The mask file is not the same size (4x1). It is ignored.\n"},
  };
  PVR_Settings settings;
  settings.pixMaskName = dir.file("m.pix");
  for (const Case &c : cases) {
    SCOPED_TRACE(c.what);
    teximg::WriteBytes(settings.pixMaskName, c.mask);
    Read r = ReadFile(kSourcePIX, pix, settings);
    ASSERT_EQ(r.ok, 1) << r.why;
    for (int x = 0; x < 5; ++x) EXPECT_EQ(At(r.image, x, 0), (Texel{c.alphas[x], 3, 2, 1}));
    EXPECT_EQ(r.console, c.console);
  }
}

TEST(TgaReader, DepthsAndBottomRowFirst) {
  Read r = ReadBytes(kSourceTGA, TgaHead(1, 2, 16) + Le16(0xFFFF) + Le16(0x7C00));
  ASSERT_EQ(r.ok, 1) << r.why;
  EXPECT_EQ(At(r.image, 0, 1), (Texel{255, 248, 248, 248}));
  EXPECT_EQ(At(r.image, 0, 0), (Texel{0, 248, 0, 0}));
  EXPECT_EQ(r.console, "[READ ALPHA]");

  std::string map(768, '\0');
  map.replace(0, 3, Bytes({1, 2, 3}));
  map.replace(15, 3, Bytes({7, 8, 9}));
  r = ReadBytes(kSourceTGA, TgaHead(2, 1, 8, 1, 1, 256) + map + Bytes({5, 0}));
  ASSERT_EQ(r.ok, 1) << r.why;
  EXPECT_EQ(At(r.image, 0, 0), (Texel{255, 9, 8, 7}));
  EXPECT_EQ(At(r.image, 1, 0), (Texel{255, 3, 2, 1}));
  EXPECT_EQ(r.console, "");

  r = ReadBytes(kSourceTGA, TgaHead(1, 2, 32) + Bytes({1, 2, 3, 4, 5, 6, 7, 8}));
  EXPECT_EQ(At(r.image, 0, 1), (Texel{4, 3, 2, 1}));
  EXPECT_EQ(At(r.image, 0, 0), (Texel{8, 7, 6, 5}));
  r = ReadBytes(kSourceTGA, TgaHead(1, 1, 24, 10) + Bytes({0x80, 1, 2, 3}));  // one run-length packet
  EXPECT_EQ(At(r.image, 0, 0), (Texel{255, 3, 2, 1}));
}

// Every writer of the tests read back on many generated images.
TEST(ImageReaders, RoundTripsOfGeneratedImages) {
  vktest::ScratchDir dir;
  const std::array<int, 2> sizes[] = {{1, 1}, {3, 5}, {10, 7}, {64, 32}, {17, 1}, {300, 2}};
  uint32_t seed = 0;
  for (auto [w, h] : sizes) {
    for (int colours : {2, 200}) {
      ++seed;
      PVR_Image opaque = teximg::RandomImage(w, h, seed, false, colours);
      PVR_Image alpha = teximg::RandomImage(w, h, seed, true, colours);
      PVR_Settings settings;
      settings.pixMaskName = dir.file("m.pix");
      teximg::WriteBytes(settings.pixMaskName, teximg::PixMask(alpha, seed % 2 ? 8 : 24));
      struct Case {
        PVR_SourceType type;
        std::string name;
        std::string bytes;
        const PVR_Image &expected;
      } cases[] = {
          {kSourceBMP, "x.bmp", teximg::Bmp(opaque), opaque},
          {kSourcePIC, "r.pic", teximg::Pic(alpha, true, true), alpha},
          {kSourcePIC, "p.pic", teximg::Pic(opaque, false, false), opaque},
          {kSourcePIX, "x.pix", teximg::Pix(alpha), alpha},
          {kSourceTGA, "a.tga", teximg::Tga(opaque, 24, seed % 2), opaque},
          {kSourceTGA, "b.tga", teximg::Tga(alpha, 32, seed % 2 == 0), alpha},
          {kSourceTGA, "c.tga", teximg::Tga(opaque, 8, seed % 2), opaque},
      };
      for (const Case &c : cases) {
        SCOPED_TRACE(c.name + " " + std::to_string(w) + "x" + std::to_string(h));
        teximg::WriteBytes(dir.file(c.name), c.bytes);
        Read r = ReadFile(c.type, dir.file(c.name), settings);
        ASSERT_EQ(r.ok, 1) << r.why;
        EXPECT_EQ(r.image.texels, c.expected.texels);
      }
      teximg::WriteBytes(dir.file("x.bmp"), teximg::Bmp(alpha));
      teximg::WriteBytes(dir.file("tx.bmp"), teximg::TranslucentBmp(alpha));
      EXPECT_EQ(ReadFile(kSourceBMP, dir.file("x.bmp")).image.texels, alpha.texels);
      std::remove(dir.file("tx.bmp").c_str());
    }
  }
}

TEST(ImageReaders, MalformedFilesAreRefusedWithAReason) {
  struct Case {
    PVR_SourceType type;
    std::string bytes;
    const char *why;      // part of the reason, or "" when the reader printed the message itself
    const char *console;  // part of the console text
  } cases[] = {
      {kSourceBMP, BmpHead(10, 2, 24) + std::string(63, 'x'), "past the end of the file (117 bytes)", ""},
      {kSourceBMP, BmpHead(0, 2, 24), "size 0x2 is not valid", ""},
      {kSourceBMP, BmpHead(5000, 1, 24), "beyond the limit of 4096", ""},
      {kSourceBMP, BmpHead(1, 1, 24, 1000) + "abcd", "from byte 1000", ""},
      {kSourceBMP, BmpHead(1, 1, 24).substr(0, 40), "header is cut short", ""},
      {kSourceBMP, BmpHead(1, 1, 24, 54, 0, 1) + "abcd", "compression method 1", ""},
      {kSourceBMP, "", "", "Error: Not support BMP type"},
      {kSourcePIC, PicHead(3, 1) + Bytes({0, 8, 2, 0xE0, 0x83, 1, 2, 3}), "of 4 pixels at column 0", ""},
      {kSourcePIC, PicHead(3, 1) + Bytes({0, 8, 0, 0xE0, 1, 2, 3, 4, 5, 6}), "too short for 3x1 pixels", ""},
      {kSourcePIC, PicHead(3, 1) + Bytes({0, 8, 1, 0xE0}), "has the type 1", ""},
      {kSourcePIC, PicHead(3, 2) + Bytes({0, 8, 2, 0xE0, 0x82, 1, 2, 3, 0, 1, 2, 3, 0}), "ends in row 1", ""},
      {kSourcePIC, PicHead(3, 1) + Bytes({0, 8, 2, 0xE0, 0x80, 0, 0, 1, 2, 3}), "run of 0 pixels", ""},
      {kSourcePIC, PicHead(-3, 1) + Bytes({0, 8, 2, 0xE0}), "", "illegal picture size. ("},
      {kSourcePIC, PicHead(3, 1) + Bytes({0, 8, 2, 0x0F}), "", " illegal channel code. ("},
      {kSourcePIC, PicHead(3, 1) + Bytes({1, 8, 2, 0x80, 1, 8, 2, 0x40, 1, 8, 2, 0x20, 1, 8, 2, 0x10}), "",
       " illegal channel information. ("},
      {kSourcePIX, PixHead(5, 1) + Bytes({6, 1, 2, 3}), "covers 6 texels where 5 remain", ""},
      {kSourcePIX, PixHead(5, 1) + Bytes({0, 1, 2, 3}), "covers 0 texels", ""},
      {kSourcePIX, PixHead(5, 1) + Bytes({3, 1, 2, 3}), "", "cannot load pix data. ("},
      {kSourcePIX, PixHead(-5, 1), "", "illegal pix size. ("},
      {kSourceTGA, TgaHead(2, 2, 24) + std::string(10, 'x'), "needs 12 bytes", ""},
      {kSourceTGA, TgaHead(1, 1, 24, 10) + Bytes({0x81, 1, 2, 3}), "covers 2 pixels where 1 remain", ""},
      {kSourceTGA, TgaHead(1, 1, 12), "depth is 12 bits", "Could not open"},
      {kSourceTGA, TgaHead(1, 1, 8, 1, 1, 2) + std::string(6, '\0') + Bytes({5}), "outside the colour map", ""},
      {kSourceTGA, TgaHead(0, 1, 24), "size 0x1 is not valid", ""},
  };
  int index = 0;
  for (const Case &c : cases) {
    SCOPED_TRACE(index++);
    std::string bytes = c.bytes.empty() ? BmpHead(1, 1, 8) : c.bytes;
    Read r = ReadBytes(c.type, bytes);
    EXPECT_EQ(r.ok, 0);
    EXPECT_EQ(r.image.width, 0);
    EXPECT_TRUE(r.image.texels.empty());
    if (*c.why == '\0') EXPECT_EQ(r.why, "");
    else EXPECT_NE(r.why.find(c.why), std::string::npos) << r.why;
    EXPECT_NE(r.console.find(c.console), std::string::npos) << r.console;
  }
}
