// The palettized BMP reader, finding a source with its header, and image
// loading for the encoders with its console texts.
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

// 8x8 at 4 bits: palette entry i is blue i, green 2i, red 3i + 1; texel (x, y)
// has index (x + y) & 15.
std::vector<uint32_t> Palette16(int redStep = 3, int redBase = 1) {
  std::vector<uint32_t> palette;
  for (uint32_t i = 0; i < 16; ++i) palette.push_back((redStep * i + redBase) << 16 | (2 * i) << 8 | i);
  return palette;
}
std::vector<uint8_t> Diagonal(int side, int mask) {
  std::vector<uint8_t> indices;
  for (int y = 0; y < side; ++y)
    for (int x = 0; x < side; ++x) indices.push_back(static_cast<uint8_t>((x + y) & mask));
  return indices;
}

struct PalRead {
  int status;
  PVR_Palette palette;
  PVR_PalImage image;
  std::string why;
  std::string console;
};

PalRead ReadPal(const std::string &path, PVR_Settings *settings) {
  PalRead r;
  Console console;
  r.status = PVR_ReadPalettizedBMP(path.c_str(), settings, &r.palette, &r.image, &r.why);
  r.console = console.Text();
  return r;
}

}  // namespace

TEST(PalettizedBmp, FourBitsWithDepthFromTheFileAndAlphaPalette) {
  vktest::ScratchDir dir;
  const std::string path = dir.file("p.bmp");
  teximg::WriteBytes(path, teximg::PalBmp(8, 8, 4, Palette16(), Diagonal(8, 15)));
  PVR_Settings settings;
  settings.textureFormat = kTexFormatPalFromBmp;
  settings.paletteFirst = 10;
  settings.paletteCount = 10;  // 10 + 10 > 16: becomes 0 and 16
  settings.paletteBank = 3;
  settings.pixelFormat = kPixARGB4444;
  settings.bmpAlphaName = dir.file("alpha.bmp");
  teximg::WriteBytes(settings.bmpAlphaName, teximg::PalBmp(8, 8, 4, Palette16(16, 0), Diagonal(8, 15)));
  PalRead r = ReadPal(path, &settings);
  ASSERT_EQ(r.status, kPalOk) << r.why;
  EXPECT_EQ(r.console, "[4BPP]This BMP File could use for Alpha File\n");
  EXPECT_EQ(settings.textureFormat, kTexFormatPal4);
  EXPECT_EQ(settings.paletteFirst, 0);
  EXPECT_EQ(settings.paletteCount, 16);
  EXPECT_EQ(r.image.width, 8);
  EXPECT_EQ(r.image.bitsPerPixel, 4);
  ASSERT_EQ(r.image.indices.size(), 32u);
  EXPECT_EQ(r.image.indices[0], 0x01);       // top row: indices 0, 1 (first in the high half)
  EXPECT_EQ(r.image.indices[4 * 7 + 3], 0xDE);  // bottom row: 13, 14
  EXPECT_EQ(r.palette.bank, 3);
  EXPECT_EQ(r.palette.pixelFormat, kPixARGB4444);
  EXPECT_EQ(r.palette.entryCount, 16);
  ASSERT_EQ(r.palette.entries.size(), 16u);
  EXPECT_EQ(r.palette.entries[0], 0x00010000u);  // alpha 0 from red 0 of the alpha palette
  EXPECT_EQ(r.palette.entries[2], 0x20070402u);  // alpha 32, red 7, green 4, blue 2

  // An alpha file of another depth leaves alpha 255.
  teximg::WriteBytes(settings.bmpAlphaName, teximg::PalBmp(8, 8, 8, Palette16(), Diagonal(8, 15)));
  settings.textureFormat = kTexFormatPal4;
  r = ReadPal(path, &settings);
  ASSERT_EQ(r.status, kPalOk);
  EXPECT_EQ(r.palette.entries[2], 0xFF070402u);
  EXPECT_EQ(r.console, "[4BPP]Cannot use This BMP File for Alpha File!!\n" + settings.bmpAlphaName +
                           ": its depth or size differs from the image's; the palette keeps alpha 255.\n");
}

TEST(PalettizedBmp, StatusCodes) {
  vktest::ScratchDir dir;
  std::vector<uint32_t> two = {0x112233, 0x445566};
  std::string good8 = teximg::PalBmp(8, 8, 8, two, Diagonal(8, 1), 2);
  struct Case {
    int32_t format;
    std::string bytes;
    int status;
  } cases[] = {
      {kTexFormatPal8, "", kPalCantOpen},
      {kTexFormatPal8, "XM" + good8.substr(2), kPalNotBMP},
      {kTexFormatPalFromBmp, teximg::Bmp(teximg::RandomImage(8, 8, 1, false)), kPalBadDepth},
      {kTexFormatPal4, good8, kPalBadDepth},
      {kTexFormatTwiddled, good8, kPalBadDepth},
      {kTexFormatPal8, teximg::PalBmp(8, 4, 8, two, Diagonal(8, 1), 2), kPalBadSize},
      {kTexFormatPal8, teximg::PalBmp(12, 8, 8, two, std::vector<uint8_t>(96), 2), kPalBadSize},
      {kTexFormatPal8, good8.substr(0, good8.size() - 1), kPalMalformed},
      {kTexFormatPal8, teximg::PalBmp(8, 8, 8, two, Diagonal(8, 1), 300), kPalMalformed},
      {kTexFormatPal8, good8, kPalOk},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.status);
    std::string path = dir.file(c.bytes.empty() ? "missing.bmp" : "p.bmp");
    if (!c.bytes.empty()) teximg::WriteBytes(path, c.bytes);
    PVR_Settings settings;
    settings.textureFormat = c.format;
    PalRead r = ReadPal(path, &settings);
    EXPECT_EQ(r.status, c.status);
    EXPECT_EQ(r.why.empty(), c.status != kPalMalformed);
    if (c.status == kPalOk) {
      EXPECT_EQ(r.palette.entryCount, 2);
      EXPECT_EQ(r.palette.entries[1], 0xFF445566u);
      EXPECT_EQ(r.palette.entries[2], 0xFF000000u);  // not in the file: opaque black
      EXPECT_EQ(r.image.indices[9], 0);           // (1, 1): (1 + 1) & 1
    }
  }
}

TEST(FindSource, SuffixesProbingAndLookup) {
  vktest::ScratchDir dir;
  InFolder here(dir.path());
  teximg::WriteBytes("tex", teximg::Pic(teximg::RandomImage(4, 2, 1, false), false, false));
  teximg::WriteBytes("wood.bmp", teximg::Bmp(teximg::RandomImage(2048, 1, 1, false)));
  teximg::WriteBytes("WIDE.BMP", teximg::Bmp(teximg::RandomImage(5000, 1, 1, false)));
  teximg::WriteBytes("junk", std::string(200, 'x'));
  struct Case {
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
      {"WIDE.BMP", 0, "WIDE.BMP", {},
       "\n##### Error : Can't read file WIDE.BMP\nThe image size 5000x1 is beyond the limit of 4096 texels a side.\n"},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.input);
    PVR_Settings settings;
    settings.inputName = c.input;
    Console console;
    EXPECT_EQ(PVR_FindSource(&settings), c.ok);
    EXPECT_EQ(console.Text(), c.console);
    EXPECT_EQ(settings.inputName, c.found);
    if (!c.ok) continue;
    EXPECT_EQ(settings.info.width, c.info[0]);
    EXPECT_EQ(settings.info.height, c.info[1]);
    EXPECT_EQ(settings.info.sourceType, c.info[2]);
    EXPECT_EQ(settings.info.textureFormat, c.info[3]);
    EXPECT_EQ(settings.info.badSize, c.info[0] > 1024);
    EXPECT_STREQ(settings.info.foundPath, c.found);
  }
}

TEST(LoadImage, OutputNameAlphaClassAndPixelFormat) {
  vktest::ScratchDir dir;
  InFolder here(dir.path());
  auto alpha = [](std::array<int, 4> as) {
    return teximg::MakeImage(4, 1, [&](int x, int) { return std::array<int, 4>{as[x], 1, 2, 3}; });
  };
  teximg::WriteBytes("opaque.tga", teximg::Tga(alpha({255, 255, 255, 255}), 32));
  teximg::WriteBytes("bilevel.tga", teximg::Tga(alpha({0, 255, 0, 255}), 32));
  teximg::WriteBytes("graded.tga", teximg::Tga(alpha({0, 128, 1, 255}), 32));
  teximg::WriteBytes("cut.bmp", teximg::Bmp(alpha({255, 255, 255, 255})).substr(0, 60));
  struct Case {
    const char *input;
    const char *directory;
    int32_t autoForm;
    int32_t sourceType;  // found by the header step
    int ok;
    const char *output;
    int32_t kind;
    int32_t pixelFormat;
    std::string console;
  } cases[] = {
      {"opaque.tga", "", 1, 0, 1, "opaque.pvr", 1, kPixRGB565, "[READ ALPHA][NO ALPHA DATA][RGB565]"},
      {"bilevel.tga", "out", 1, 0, 1, "out/bilevel.pvr", 2, kPixARGB1555, "[READ ALPHA][BILEVEL][ARGB1555]"},
      {"graded.tga", "c:\\out\\", 1, 0, 1, "c:\\out\\graded.pvr", 3, kPixARGB4444,
       "[READ ALPHA][ALPHA 3][ARGB4444]"},
      {"graded.tga", "out/", 0, 0, 1, "out/graded.pvr", 3, kPixRGB555, "[READ ALPHA][ALPHA 3][RGB555]"},
      {"./graded", "", 1, kSourceTGA, 0, "./graded.pvr", 0, kPixRGB565,
       "Could not open ./graded\nABORTING PROGRAM"},
      {"tex/wood.gif", "", 1, 0, 0, "tex/wood.pvr", 0, kPixRGB565,
       "\n##### Error : Can't convert filetype \".gif\"\n"},
      {"tex/wood", "", 1, 0, 0, "tex/wood.pvr", 0, kPixRGB565, "\n##### Error : You must set filename suffix\n"},
      {"cut.bmp", "", 1, 0, 0, "cut.pvr", 0, kPixRGB565,
       "\n##### Error : Can't read file cut.bmp\nThe BMP pixel rows run from byte 54 to byte 66, past the end of "
       "the file (60 bytes).\n"},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.input);
    PVR_Settings settings;
    settings.inputName = c.input;
    settings.outputDirectory = c.directory;
    settings.autoForm = c.autoForm;
    settings.pixelFormat = kPixRGB555;
    if (c.autoForm) settings.pixelFormat = kPixRGB565;
    settings.info.sourceType = c.sourceType;
    PVR_Image image;
    Console console;
    EXPECT_EQ(PVR_LoadImage(&settings, &image), c.ok);
    std::string text = console.Text();
    EXPECT_NE(text.find(c.console), std::string::npos) << text;
    EXPECT_EQ(settings.outputName, c.output);
    EXPECT_EQ(settings.info.alphaKind, c.kind);
    EXPECT_EQ(settings.pixelFormat, c.pixelFormat);
  }
}
