// Image readers on hand-worked byte layouts, translucent bitmaps and masks,
// round trips through the test writers, malformed files refused with a
// reason; the palettized BMP reader; finding a source by its header, and
// image loading for the encoders with its console texts.
#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "texture/image_files.h"
#include "texture/image_read.h"
#include "texture_test_util.h"

namespace {

using namespace textest;
using Texel = std::array<int, 4>;  // a, r, g, b

Texel At(const PVR_Image &image, int x, int y) {
  const uint8_t *t = image.At(x, y);
  return {t[0], t[1], t[2], t[3]};
}

// Headers worked out field by field: BMP 54 bytes, PIC 104, PIX 10, TGA 18.
std::string BmpHead(int32_t w, int32_t h, int bits, uint32_t offset = 54, uint32_t colorsUsed = 0,
                    uint32_t compression = 0) {
  return "BM" + Le32(0) + Le32(0) + Le32(offset) + Le32(40) + Le32(uint32_t(w)) + Le32(uint32_t(h)) + Le16(1) +
         Le16(uint32_t(bits)) + Le32(compression) + Le32(0) + Le32(0) + Le32(0) + Le32(colorsUsed) + Le32(0);
}
std::string PicHead(int w, int h) {
  return std::string(92, '\0') + Be16(uint32_t(w)) + Be16(uint32_t(h)) + std::string(8, '\0');
}
std::string PixHead(int w, int h, int bits = 24) { return Be16(w) + Be16(h) + Le32(0) + Le16(bits); }
std::string TgaHead(int w, int h, int bits, int type = 2, int mapType = 0, int mapLength = 0) {
  return Chars({0, mapType, type}) + Le16(0) + Le16(mapLength) + Chars({mapType ? 24 : 0}) + Le32(0) + Le16(w) +
         Le16(h) + Chars({bits, 0});
}

struct Read {
  int ok;
  PVR_Image image;
  std::string why, console;
};
Read ReadImage(PVR_SourceType type, const std::string &path, const PVR_Settings &settings = PVR_Settings{}) {
  Read r;
  Stderr console;
  r.ok = PVR_ReadImage(type, path.c_str(), settings, &r.image, &r.why);
  r.console = console.Text();
  return r;
}
Read ReadBytes(PVR_SourceType type, const std::string &bytes) {
  static ScratchDir dir;
  WriteFile(dir.file("img"), bytes);
  return ReadImage(type, dir.file("img"));
}

TEST(ImageReaders, HandWorkedLayouts) {
  std::string rows;  // BMP of width 10: rows of 30 bytes padded to 32, bottom row first
  for (int k = 0; k < 2; ++k) {
    for (int x = 0; x < 10; ++x) rows += Chars({k * 100 + x, k * 100 + 10 + x, k * 100 + 20 + x});
    rows += "\xEE\xEE";
  }
  std::string map(768, '\0');  // colour map entries 0 and 5, blue first
  map.replace(0, 3, Chars({1, 2, 3}));
  map.replace(15, 3, Chars({7, 8, 9}));
  const struct {
    PVR_SourceType type;
    std::string bytes, console;
    std::vector<std::pair<std::array<int, 2>, Texel>> texels;
  } cases[] = {
      {kSourceBMP, BmpHead(10, 2, 24) + rows, "", {{{9, 1}, {255, 29, 19, 9}}, {{0, 0}, {255, 120, 110, 100}}}},
      // Packet 1: red, green, blue as mixed runs; packet 2: alpha, plain.
      {kSourcePIC,
       PicHead(3, 1) + Chars({1, 8, 2, 0xE0, 0, 8, 0, 0x10, 0x81, 10, 20, 30, 0x00, 40, 50, 60, 1, 2, 3}),
       "[READ ALPHA]",
       {{{0, 0}, {1, 10, 20, 30}}, {{1, 0}, {2, 10, 20, 30}}, {{2, 0}, {3, 40, 50, 60}}}},
      // A count byte of 128 takes a 16-bit count, high byte first (0x012C = 300).
      {kSourcePIC,
       PicHead(300, 1) + Chars({0, 8, 2, 0xE0, 0x80, 0x01, 0x2C, 7, 8, 9}),
       "",
       {{{299, 0}, {255, 7, 8, 9}}}},
      {kSourceTGA,
       TgaHead(1, 2, 16) + Le16(0xFFFF) + Le16(0x7C00),
       "[READ ALPHA]",
       {{{0, 1}, {255, 248, 248, 248}}, {{0, 0}, {0, 248, 0, 0}}}},
      {kSourceTGA,
       TgaHead(2, 1, 8, 1, 1, 256) + map + Chars({5, 0}),
       "",
       {{{0, 0}, {255, 9, 8, 7}}, {{1, 0}, {255, 3, 2, 1}}}},
      {kSourceTGA,
       TgaHead(1, 2, 32) + Chars({1, 2, 3, 4, 5, 6, 7, 8}),
       "[READ ALPHA]",
       {{{0, 1}, {4, 3, 2, 1}}, {{0, 0}, {8, 7, 6, 5}}}},
      {kSourceTGA, TgaHead(1, 1, 24, 10) + Chars({0x80, 1, 2, 3}), "", {{{0, 0}, {255, 3, 2, 1}}}},  // one run packet
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.bytes.size());
    const Read r = ReadBytes(c.type, c.bytes);
    ASSERT_EQ(r.ok, 1) << r.why;
    for (const auto &[xy, texel] : c.texels) EXPECT_EQ(At(r.image, xy[0], xy[1]), texel);
    EXPECT_EQ(r.console, c.console);
  }
}

// wood.bmp's alpha from twood.bmp beside it (or the settings' alpha file);
// a.pix's from the settings' mask.
TEST(ImageReaders, TranslucentBitmapsAndMasks) {
  ScratchDir dir;
  const std::string wood = dir.file("wood.bmp"), twood = dir.file("twood.bmp"), pix = dir.file("a.pix");
  WriteFile(wood, BmpHead(2, 1, 24) + Chars({1, 2, 3, 4, 5, 6, 0, 0}));
  WriteFile(pix, PixHead(5, 1) + Chars({5, 1, 2, 3}));
  const std::string bmpIgnored =
      "\n##### Warning : " + twood + ". The translucent bitmap is not the same size. It is ignored.\n";
  PVR_Settings masked;
  masked.pixMaskName = dir.file("m.pix");
  const struct {
    const char *what;
    std::string side, sideFile;
    std::vector<int> alphas;  // of the texels in order
    std::string console;
  } cases[] = {
      {"24-bit: 255 - red", BmpHead(2, 1, 24) + Chars({9, 9, 0, 0, 0, 200, 0, 0}), twood, {255, 55}, "[READ ALPHA]"},
      {"32-bit rows", BmpHead(2, 1, 32) + Chars({0, 0, 0x40, 0xAA, 0, 0, 0xFF, 0}), twood, {0xBF, 0}, "[READ ALPHA]"},
      {"8-bit palette red",
       BmpHead(2, 1, 8, 62, 2) + Chars({0, 0, 10, 0, 0, 0, 250, 0, 1, 0, 0, 0}),
       twood,
       {5, 245},
       "[READ ALPHA]"},
      {"16-bit X1R5G5B5 widened", BmpHead(2, 1, 16) + Le16(0x7C00) + Le16(0x0400), twood, {0, 247}, "[READ ALPHA]"},
      {"other size ignored", BmpHead(1, 1, 24) + Chars({0, 0, 200, 0}), twood, {255, 255}, bmpIgnored},
      {"settings' alpha file",
       BmpHead(2, 1, 24) + Chars({0, 0, 1, 0, 0, 2, 0, 0}),
       dir.file("other.bmp"),
       {254, 253},
       "[READ ALPHA]"},
      {"mask: 8-bit runs 3 then 2",
       PixHead(5, 1, 8) + Chars({3, 0x11, 2, 0x22}),
       masked.pixMaskName,
       {0x11, 0x11, 0x11, 0x22, 0x22},
       "[READ ALPHA][MASKFILE(8bit-mode)]"},
      {"mask: 24-bit, 255 - average",
       PixHead(5, 1, 24) + Chars({5, 30, 60, 90}),
       masked.pixMaskName,
       {195, 195, 195, 195, 195},
       "[READ ALPHA][MASKFILE(24bit-mode)]"},
      {"mask: 16-bit unsupported",
       PixHead(5, 1, 16) + Chars({5, 0}),
       masked.pixMaskName,
       {255, 255, 255, 255, 255},
       "ERROR : The Maskfile Mode is not support.\n"},
      {"mask: other size ignored",
       PixHead(4, 1, 8) + Chars({4, 0}),
       masked.pixMaskName,
       {255, 255, 255, 255, 255},
       "\n##### Warning : " + masked.pixMaskName + ". The mask file is not the same size (4x1). It is ignored.\n"},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    std::remove(twood.c_str());
    WriteFile(c.sideFile, c.side);
    PVR_Settings settings = masked;
    if (c.sideFile == dir.file("other.bmp")) settings.bmpAlphaName = c.sideFile;
    const bool isPix = c.sideFile == masked.pixMaskName;
    const Read r = ReadImage(isPix ? kSourcePIX : kSourceBMP, isPix ? pix : wood, settings);
    ASSERT_EQ(r.ok, 1) << r.why;
    for (size_t x = 0; x < c.alphas.size(); ++x)
      EXPECT_EQ(At(r.image, int(x), 0), (isPix ? Texel{c.alphas[x], 3, 2, 1}
                                               : Texel{c.alphas[x], 3 + 3 * int(x), 2 + 3 * int(x), 1 + 3 * int(x)}));
    EXPECT_EQ(r.console, c.console);
  }
  EXPECT_EQ(PVR_TranslucentName("tex\\wood.bmp"), "tex\\twood.bmp");
  EXPECT_EQ(PVR_TranslucentName("a/b/wood.bmp"), "a/b/twood.bmp");
}

// Every writer of the tests read back on many generated images.
TEST(ImageReaders, RoundTripsOfGeneratedImages) {
  ScratchDir dir;
  uint32_t seed = 0;
  for (auto [w, h] : std::vector<std::array<int, 2>>{{1, 1}, {3, 5}, {10, 7}, {64, 32}, {17, 1}, {300, 2}}) {
    for (int colours : {2, 200}) {
      ++seed;
      const PVR_Image opaque = teximg::RandomImage(w, h, seed, false, colours),
                      alpha = teximg::RandomImage(w, h, seed, true, colours);
      PVR_Settings settings;
      settings.pixMaskName = dir.file("m.pix");
      WriteFile(settings.pixMaskName, teximg::PixMask(alpha, seed % 2 ? 8 : 24));
      WriteFile(dir.file("ta.bmp"), teximg::TranslucentBmp(alpha));
      const struct {
        PVR_SourceType type;
        std::string name, bytes;
        const PVR_Image &expected;
      } cases[] = {
          {kSourceBMP, "x.bmp", teximg::Bmp(opaque), opaque},
          {kSourceBMP, "a.bmp", teximg::Bmp(alpha), alpha},  // alpha from ta.bmp
          {kSourcePIC, "r.pic", teximg::Pic(alpha, true, true), alpha},
          {kSourcePIC, "p.pic", teximg::Pic(opaque, false, false), opaque},
          {kSourcePIX, "x.pix", teximg::Pix(alpha), alpha},
          {kSourceTGA, "a.tga", teximg::Tga(opaque, 24, seed % 2), opaque},
          {kSourceTGA, "b.tga", teximg::Tga(alpha, 32, seed % 2 == 0), alpha},
          {kSourceTGA, "c.tga", teximg::Tga(opaque, 8, seed % 2), opaque},
      };
      for (const auto &c : cases) {
        SCOPED_TRACE(c.name + " " + std::to_string(w) + "x" + std::to_string(h));
        WriteFile(dir.file(c.name), c.bytes);
        const Read r = ReadImage(c.type, dir.file(c.name), settings);
        ASSERT_EQ(r.ok, 1) << r.why;
        EXPECT_EQ(r.image.texels, c.expected.texels);
      }
    }
  }
}

TEST(ImageReaders, MalformedFilesAreRefusedWithAReason) {
  const struct {
    PVR_SourceType type;
    std::string bytes;
    const char *why;      // part of the reason, or "" when the reader printed the message itself
    const char *console;  // the end of the console text
  } cases[] = {
      {kSourceBMP, BmpHead(10, 2, 24) + std::string(63, 'x'), "past the end of the file (117 bytes)", ""},
      {kSourceBMP, BmpHead(0, 2, 24), "size 0x2 is not valid", ""},
      {kSourceBMP, BmpHead(5000, 1, 24), "beyond the limit of 4096", ""},
      {kSourceBMP, BmpHead(1, 1, 24, 1000) + "abcd", "from byte 1000", ""},
      {kSourceBMP, BmpHead(1, 1, 24).substr(0, 40), "header is cut short", ""},
      {kSourceBMP, BmpHead(1, 1, 24, 54, 0, 1) + "abcd", "compression method 1", ""},
      {kSourceBMP, BmpHead(1, 1, 8) + "abcd", "", "Error: Not support BMP type "},  // 8 and 32 bits: not as colour
      {kSourceBMP, BmpHead(1, 1, 32) + "abcd", "", "/img depth 32\n"},
      {kSourcePIC, PicHead(3, 1) + Chars({0, 8, 2, 0xE0, 0x83, 1, 2, 3}), "of 4 pixels at column 0", ""},
      {kSourcePIC, PicHead(3, 1) + Chars({0, 8, 0, 0xE0, 1, 2, 3, 4, 5, 6}), "too short for 3x1 pixels", ""},
      {kSourcePIC, PicHead(3, 1) + Chars({0, 8, 1, 0xE0}), "has the type 1", ""},
      {kSourcePIC, PicHead(3, 2) + Chars({0, 8, 2, 0xE0, 0x82, 1, 2, 3, 0, 1, 2, 3, 0}), "ends in row 1", ""},
      {kSourcePIC, PicHead(3, 1) + Chars({0, 8, 2, 0xE0, 0x80, 0, 0, 1, 2, 3}), "run of 0 pixels", ""},
      {kSourcePIC, PicHead(-3, 1) + Chars({0, 8, 2, 0xE0}), "", "illegal picture size. ("},
      {kSourcePIC, PicHead(3, 1) + Chars({0, 8, 2, 0x0F}), "", " illegal channel code. ("},
      {kSourcePIC, PicHead(3, 1) + Chars({1, 8, 2, 0x80, 1, 8, 2, 0x40, 1, 8, 2, 0x20, 1, 8, 2, 0x10}), "",
       " illegal channel information. ("},
      {kSourcePIX, PixHead(5, 1) + Chars({6, 1, 2, 3}), "covers 6 texels where 5 remain", ""},
      {kSourcePIX, PixHead(5, 1) + Chars({0, 1, 2, 3}), "covers 0 texels", ""},
      {kSourcePIX, PixHead(5, 1) + Chars({3, 1, 2, 3}), "", "cannot load pix data. ("},
      {kSourcePIX, PixHead(-5, 1), "", "illegal pix size. ("},
      {kSourceTGA, TgaHead(2, 2, 24) + std::string(10, 'x'), "needs 12 bytes", ""},
      {kSourceTGA, TgaHead(1, 1, 24, 10) + Chars({0x81, 1, 2, 3}), "covers 2 pixels where 1 remain", ""},
      {kSourceTGA, TgaHead(1, 1, 12), "depth is 12 bits", "Could not open"},
      {kSourceTGA, TgaHead(1, 1, 8, 1, 1, 2) + std::string(6, '\0') + Chars({5}), "outside the colour map", ""},
      {kSourceTGA, TgaHead(0, 1, 24), "size 0x1 is not valid", ""},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.bytes.size());
    const Read r = ReadBytes(c.type, c.bytes);
    EXPECT_EQ(r.ok, 0);
    EXPECT_EQ(r.image.width, 0);
    EXPECT_TRUE(r.image.texels.empty());
    if (*c.why == '\0')
      EXPECT_EQ(r.why, "");
    else
      EXPECT_NE(r.why.find(c.why), std::string::npos) << r.why;
    EXPECT_NE(r.console.find(c.console), std::string::npos) << r.console;
  }
}

// 8x8 palettized: palette entry i is blue i, green 2i, red step * i + base;
// texel (x, y) has index (x + y) & mask.
std::vector<uint32_t> Palette16(uint32_t step = 3, uint32_t base = 1) {
  std::vector<uint32_t> palette;
  for (uint32_t i = 0; i < 16; ++i) palette.push_back((step * i + base) << 16 | (2 * i) << 8 | i);
  return palette;
}
std::vector<uint8_t> Diagonal(int mask) {
  std::vector<uint8_t> indices;
  for (int i = 0; i < 64; ++i) indices.push_back(static_cast<uint8_t>((i % 8 + i / 8) & mask));
  return indices;
}
struct PalRead {
  int status;
  PVR_Palette palette;
  PVR_PalImage image;
  std::string why, console;
};
PalRead ReadPal(const std::string &path, PVR_Settings *settings) {
  PalRead r;
  Stderr console;
  r.status = PVR_ReadPalettizedBMP(path.c_str(), settings, &r.palette, &r.image, &r.why);
  r.console = console.Text();
  return r;
}

// Depth from the file, the palette range made to fit, alpha from the red of
// an alpha file's palette of the same depth (else 255).
TEST(PalettizedBmp, FourBitsWithDepthFromTheFileAndAlphaPalette) {
  ScratchDir dir;
  const std::string path = dir.file("p.bmp");
  WriteFile(path, teximg::PalBmp(8, 8, 4, Palette16(), Diagonal(15)));
  PVR_Settings settings;
  settings.textureFormat = kTexFormatPalFromBmp;
  settings.paletteFirst = 10, settings.paletteCount = 10;  // 10 + 10 > 16: becomes 0 and 16
  settings.paletteBank = 3;
  settings.pixelFormat = kPixARGB4444;
  settings.bmpAlphaName = dir.file("alpha.bmp");
  WriteFile(settings.bmpAlphaName, teximg::PalBmp(8, 8, 4, Palette16(16, 0), Diagonal(15)));
  PalRead r = ReadPal(path, &settings);
  ASSERT_EQ(r.status, kPalOk) << r.why;
  EXPECT_EQ(r.console, "[4BPP]This BMP File could use for Alpha File\n");
  EXPECT_EQ((std::vector<int>{settings.textureFormat, settings.paletteFirst, settings.paletteCount, r.image.width,
                              r.image.bitsPerPixel, r.palette.bank, r.palette.pixelFormat, r.palette.entryCount}),
            (std::vector<int>{kTexFormatPal4, 0, 16, 8, 4, 3, kPixARGB4444, 16}));
  ASSERT_EQ(r.image.indices.size(), 32u);
  EXPECT_EQ(r.image.indices[0], 0x01);          // top row: indices 0, 1 (first in the high half)
  EXPECT_EQ(r.image.indices[4 * 7 + 3], 0xDE);  // bottom row: 13, 14
  ASSERT_EQ(r.palette.entries.size(), 16u);
  EXPECT_EQ(r.palette.entries[0], 0x00010000u);  // alpha 0 from red 0 of the alpha palette
  EXPECT_EQ(r.palette.entries[2], 0x20070402u);  // alpha 32, red 7, green 4, blue 2

  WriteFile(settings.bmpAlphaName, teximg::PalBmp(8, 8, 8, Palette16(), Diagonal(15)));
  settings.textureFormat = kTexFormatPal4;
  r = ReadPal(path, &settings);
  ASSERT_EQ(r.status, kPalOk);
  EXPECT_EQ(r.palette.entries[2], 0xFF070402u);
  EXPECT_EQ(r.console, "[4BPP]Cannot use This BMP File for Alpha File!!\n" + settings.bmpAlphaName +
                           ": its depth or size differs from the image's; the palette keeps alpha 255.\n");
}

TEST(PalettizedBmp, StatusCodes) {
  ScratchDir dir;
  const std::vector<uint32_t> two = {0x112233, 0x445566};
  const std::string good8 = teximg::PalBmp(8, 8, 8, two, Diagonal(1), 2);
  const struct {
    int32_t format;
    std::string bytes;
    int status;
  } cases[] = {
      {kTexFormatPal8, "", kPalCantOpen},
      {kTexFormatPal8, "XM" + good8.substr(2), kPalNotBMP},
      {kTexFormatPalFromBmp, teximg::Bmp(teximg::RandomImage(8, 8, 1, false)), kPalBadDepth},
      {kTexFormatPal4, good8, kPalBadDepth},
      {kTexFormatTwiddled, good8, kPalBadDepth},
      {kTexFormatPal8, teximg::PalBmp(8, 4, 8, two, Diagonal(1), 2), kPalBadSize},
      {kTexFormatPal8, teximg::PalBmp(12, 8, 8, two, std::vector<uint8_t>(96), 2), kPalBadSize},
      {kTexFormatPal8, good8.substr(0, good8.size() - 1), kPalMalformed},
      {kTexFormatPal8, teximg::PalBmp(8, 8, 8, two, Diagonal(1), 300), kPalMalformed},
      {kTexFormatPal8, good8, kPalOk},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.status);
    const std::string path = dir.file(c.bytes.empty() ? "missing.bmp" : "p.bmp");
    if (!c.bytes.empty()) WriteFile(path, c.bytes);
    PVR_Settings settings;
    settings.textureFormat = c.format;
    const PalRead r = ReadPal(path, &settings);
    EXPECT_EQ(r.status, c.status);
    EXPECT_EQ(r.why.empty(), c.status != kPalMalformed);
    if (c.status != kPalOk) continue;
    EXPECT_EQ(r.palette.entryCount, 2);
    EXPECT_EQ(r.palette.entries[1], 0xFF445566u);
    EXPECT_EQ(r.palette.entries[2], 0xFF000000u);  // not in the file: opaque black
    EXPECT_EQ(r.image.indices[9], 0);              // (1, 1): (1 + 1) & 1
  }
}

TEST(FindSource, SuffixesProbingAndLookup) {
  ScratchDir dir;
  InFolder here(dir.path());
  WriteFile("tex", teximg::Pic(teximg::RandomImage(4, 2, 1, false), false, false));
  WriteFile("wood.bmp", teximg::Bmp(teximg::RandomImage(2048, 1, 1, false)));
  WriteFile("WIDE.BMP", teximg::Bmp(teximg::RandomImage(5000, 1, 1, false)));
  WriteFile("junk", std::string(200, 'x'));
  const struct {
    const char *input;
    int ok;
    const char *found;
    std::array<int, 4> info;  // width, height, source type, texture format
    std::string console;
  } cases[] = {
      {"tex", 1, "tex", {4, 2, kSourcePIC, kTexFormatRectangle}, "[PIC]"},
      {"no\\dir\\wood.bmp", 1, "./wood.bmp", {2048, 1, kSourceBMP, kTexFormatRectangle}, ""},
      {"a/wood.png", 0, "a/wood.png", {}, "\n##### Error : Can't convert filetype \".png\"\n"},
      {"junk", 0, "junk", {}, "\n##### Error : You must set suffix to filename\n"},
      {"WIDE.BMP",
       0,
       "WIDE.BMP",
       {},
       "\n##### Error : Can't read file WIDE.BMP\nThe image size 5000x1 is beyond the limit of 4096 texels a side.\n"},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.input);
    PVR_Settings settings;
    settings.inputName = c.input;
    Stderr console;
    EXPECT_EQ(PVR_FindSource(&settings), c.ok);
    EXPECT_EQ(console.Text(), c.console);
    EXPECT_EQ(settings.inputName, c.found);
    if (!c.ok) continue;
    const PVR_TexInfo &i = settings.info;
    EXPECT_EQ((std::array<int, 4>{i.width, i.height, i.sourceType, i.textureFormat}), c.info);
    EXPECT_EQ(i.badSize, c.info[0] > 1024);
    EXPECT_STREQ(i.foundPath, c.found);
  }
}

TEST(LoadImage, OutputNameAlphaClassAndPixelFormat) {
  ScratchDir dir;
  InFolder here(dir.path());
  const auto alpha = [](std::array<int, 4> as) {
    return teximg::MakeImage(4, 1, [&](int x, int) { return std::array<int, 4>{as[x], 1, 2, 3}; });
  };
  WriteFile("graded.tga", teximg::Tga(alpha({0, 128, 1, 255}), 32));
  WriteFile("cut.bmp", teximg::Bmp(alpha({255, 255, 255, 255})).substr(0, 60));
  const struct {
    const char *input, *directory;
    int32_t autoForm, sourceType;  // the source type as found by the header step
    int ok;
    const char *output;
    int32_t kind, pixelFormat;
    std::string console;
  } cases[] = {
      {"graded.tga", "out", 1, 0, 1, "out/graded.pvr", 3, kPixARGB4444, "[READ ALPHA][ALPHA 3][ARGB4444]"},
      {"graded.tga", "c:\\out\\", 1, 0, 1, "c:\\out\\graded.pvr", 3, kPixARGB4444, "[READ ALPHA][ALPHA 3][ARGB4444]"},
      {"graded.tga", "out/", 0, 0, 1, "out/graded.pvr", 3, kPixRGB555, "[READ ALPHA][ALPHA 3][RGB555]"},
      {"./graded", "", 1, kSourceTGA, 0, "./graded.pvr", 0, kPixRGB565, "Could not open ./graded\nABORTING PROGRAM"},
      {"tex/wood.gif", "", 1, 0, 0, "tex/wood.pvr", 0, kPixRGB565, "\n##### Error : Can't convert filetype \".gif\"\n"},
      {"tex/wood", "", 1, 0, 0, "tex/wood.pvr", 0, kPixRGB565, "\n##### Error : You must set filename suffix\n"},
      {"cut.bmp", "", 1, 0, 0, "cut.pvr", 0, kPixRGB565,
       "\n##### Error : Can't read file cut.bmp\nThe BMP pixel rows run from byte 54 to byte 66, past the end of "
       "the file (60 bytes).\n"},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.input);
    PVR_Settings settings;
    settings.inputName = c.input;
    settings.outputDirectory = c.directory;
    settings.autoForm = c.autoForm;
    settings.pixelFormat = c.autoForm ? kPixRGB565 : kPixRGB555;
    settings.info.sourceType = c.sourceType;
    PVR_Image image;
    Stderr console;
    EXPECT_EQ(PVR_LoadImage(&settings, &image), c.ok);
    const std::string text = console.Text();
    EXPECT_NE(text.find(c.console), std::string::npos) << text;
    EXPECT_EQ(settings.outputName, c.output);
    EXPECT_EQ(settings.info.alphaKind, c.kind);
    EXPECT_EQ(settings.pixelFormat, c.pixelFormat);
  }
}

}  // namespace
