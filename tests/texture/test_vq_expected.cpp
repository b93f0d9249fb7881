// VQ files worked out by hand: codebooks in key order, twiddled index images,
// mipmap layout, the 1x1 rule, channel quantisation, the codebook-size table
// and every refusal, the file writer's checks, and the driver's output.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "base/console.h"
#include "support/test_support.h"
#include "support/vq_oracle.h"
#include "texture/pvr_format.h"
#include "texture/vq.h"

namespace {

using Bytes = std::vector<uint8_t>;

// Collects what one console stream prints while it lives.
class StreamCapture {
 public:
  using Setter = void (*)(FILE *);
  explicit StreamCapture(Setter setter) : setter_(setter), file_(std::tmpfile()) { setter_(file_); }
  ~StreamCapture() {
    setter_(stderr);
    std::fclose(file_);
  }
  std::string Text() {
    std::fflush(file_);
    std::string text;
    std::rewind(file_);
    int c;
    while ((c = std::fgetc(file_)) != EOF) text.push_back(static_cast<char>(c));
    return text;
  }

 private:
  Setter setter_;
  FILE *file_;
};

PVR_Image Uniform(int side, uint8_t a, uint8_t r, uint8_t g, uint8_t b) {
  PVR_Image image;
  image.width = image.height = side;
  for (int i = 0; i < side * side; ++i) image.texels.insert(image.texels.end(), {a, r, g, b});
  return image;
}

void FillBlock(PVR_Image *image, int bx, int by, const uint8_t (&texels)[4][4]) {
  const int xs[4] = {0, 1, 0, 1}, ys[4] = {0, 0, 1, 1};
  for (int t = 0; t < 4; ++t) {
    uint8_t *p = image->At(2 * bx + xs[t], 2 * by + ys[t]);
    for (int c = 0; c < 4; ++c) p[c] = texels[t][c];
  }
}

void Put16(Bytes &out, uint32_t v) { out.push_back(v & 0xFF), out.push_back((v >> 8) & 0xFF); }
void Put32(Bytes &out, uint32_t v) { Put16(out, v & 0xFFFF), Put16(out, v >> 16); }
void PutText(Bytes &out, const char *text) {
  for (int i = 0; i < 4; ++i) out.push_back(static_cast<uint8_t>(text[i]));
}
void PutEntry(Bytes &out, uint32_t tl, uint32_t bl, uint32_t tr, uint32_t br) {
  Put16(out, tl), Put16(out, bl), Put16(out, tr), Put16(out, br);
}
void PutRepeated(Bytes &out, size_t count, uint8_t value) { out.insert(out.end(), count, value); }
// The texture chunk's head: "PVRT", length, category word, width, height.
Bytes Head(uint32_t length, uint32_t category, uint32_t side) {
  Bytes out;
  PutText(out, "PVRT");
  Put32(out, length), Put32(out, category);
  Put16(out, side), Put16(out, side);
  return out;
}
// Index byte of twiddled position t in a square index image: x from the odd
// bits, y from the even bits.
void Untwiddle(uint32_t t, uint32_t *x, uint32_t *y) {
  *x = *y = 0;
  for (int bit = 0; bit < 16; ++bit) *y |= ((t >> (2 * bit)) & 1) << bit, *x |= ((t >> (2 * bit + 1)) & 1) << bit;
}

// Compresses and writes; returns the file (empty when refused or not written).
Bytes Compress(PVR_VQOptions options, PVR_Input input, int32_t globalIndex = -1) {
  vktest::ScratchDir dir;
  std::string name = dir.file("out.pvr");
  PVR_VQOutput output;
  options.threads = 2;
  if (!PVR_CompressVQ(options, &input, &output)) return {};
  if (!PVR_WriteVQPVRFile(&output, name.c_str(), globalIndex)) return {};
  std::string text = vktest::ReadFile(name);
  return Bytes(text.begin(), text.end());
}

PVR_VQOptions Options(int texelFormat, bool smallVQ, bool mipmaps, int algorithm) {
  PVR_VQOptions options;
  options.texelFormat = texelFormat;
  options.smallVQ = smallVQ;
  options.mipmaps = mipmaps;
  options.algorithm = algorithm;
  return options;
}

PVR_Input Single(PVR_Image image) {
  PVR_Input input;
  input.levels.push_back(std::move(image));
  return input;
}

// 256 distinct blocks: block (bx, by) has red 8a (5 bits) and green 4b (6
// bits) with a * 8 + b = (bx + 7 by) mod 256. In byte order (alpha, red,
// green, blue) the blocks sort by a, then b, so entry i is that colour, every
// block maps exactly to its own i, and no quantisation runs.
TEST(VQExpected, DistinctBlocksKeepTreeOrderWithoutQuantisation) {
  PVR_Image image;
  image.width = image.height = 256;
  image.texels.resize(4 * 256 * 256);
  for (int y = 0; y < 256; ++y) {
    for (int x = 0; x < 256; ++x) {
      int i = (x / 2 + 7 * (y / 2)) % 256;
      uint8_t *t = image.At(x, y);
      t[0] = 255, t[1] = static_cast<uint8_t>(8 * (i / 8)), t[2] = static_cast<uint8_t>(4 * (i % 8)), t[3] = 0;
    }
  }
  Bytes expected = Head(18440, 0x0301, 256);  // 8 x 256 + 8 + 128 x 128; RGB565, VQ
  for (int i = 0; i < 256; ++i) {
    // red 8a keeps 5 bits a (a < 32), green 4b keeps 6 bits b.
    uint32_t word = static_cast<uint32_t>((i / 8) << 11 | (i % 8) << 5);
    PutEntry(expected, word, word, word, word);
  }
  for (uint32_t t = 0; t < 128 * 128; ++t) {
    uint32_t x, y;
    Untwiddle(t, &x, &y);
    expected.push_back(static_cast<uint8_t>((x + 7 * y) % 256));
  }
  EXPECT_EQ(Compress(Options(kVQRGB565, false, false, 3), Single(image)), expected);
}

// Red (255, 0, 0) on the left half, green (0, 255, 0) on the right. In byte
// order green (red byte 0) comes first; in the space-filling key the top bit
// is green's, so red comes first. The twiddled index image holds the left
// half in its first 8192 bytes (x < 64) and the right half after.
TEST(VQExpected, KeyOrderOfBothAlgorithms) {
  PVR_Image image = Uniform(256, 255, 255, 0, 0);
  for (int y = 0; y < 256; ++y) {
    for (int x = 128; x < 256; ++x) image.At(x, y)[1] = 0, image.At(x, y)[2] = 255;
  }
  for (int algorithm : {3, 4}) {
    SCOPED_TRACE(algorithm);
    uint8_t red = algorithm == 3 ? 1 : 0, green = algorithm == 3 ? 0 : 1;
    Bytes expected = Head(18440, 0x0301, 256);
    for (int e = 0; e < 256; ++e) {
      uint32_t word = e == red ? 0xF800 : e == green ? 0x07E0 : 0;
      PutEntry(expected, word, word, word, word);
    }
    PutRepeated(expected, 8192, red);
    PutRepeated(expected, 8192, green);
    EXPECT_EQ(Compress(Options(kVQRGB565, false, false, algorithm), Single(image)), expected);
  }
}

// A 256x256 mipmapped texture whose level k is uniform with red 8(k + 1):
// nine levels, entries 0 to 8 in level order; index images of 128^2, 64^2,
// ..., 1, 1 bytes written smallest first, then ten zero bytes.
TEST(VQExpected, MipmapIndexImagesSmallestFirstThenTenZeros) {
  PVR_Input input;
  for (int k = 0; k < 9; ++k) input.levels.push_back(Uniform(256 >> k, 255, static_cast<uint8_t>(8 * (k + 1)), 0, 0));
  // RGB565, VQ with mipmaps.
  Bytes expected = Head(8 * 256 + 8 + 10 + 16384 + 4096 + 1024 + 256 + 64 + 16 + 4 + 1 + 1, 0x0401, 256);
  for (int e = 0; e < 256; ++e) {
    uint32_t word = e < 9 ? static_cast<uint32_t>((e + 1) << 11) : 0;
    PutEntry(expected, word, word, word, word);
  }
  for (int k = 8; k >= 0; --k) {
    int side = std::max(1, 128 >> k);
    PutRepeated(expected, static_cast<size_t>(side) * side, static_cast<uint8_t>(k));
  }
  PutRepeated(expected, 10, 0);
  Bytes file = Compress(Options(kVQRGB565, false, true, 4), input);
  EXPECT_EQ(file.size(), 16 + 8 * 256 + 21846u + 10);
  EXPECT_EQ(file, expected);
}

// 64x64 small VQ: a 128-entry codebook, 32x32 index image: PVRT length
// 8 x 128 + 8 + 1024 = 2056, type 0x10. Blocks alternate between two blues.
TEST(VQExpected, SmallCodebookOf64x64HasOneHundredTwentyEightEntries) {
  PVR_Image image = Uniform(64, 255, 0, 0, 64);
  for (int y = 0; y < 64; ++y) {
    for (int x = 0; x < 64; ++x) {
      if ((x / 2 + y / 2) % 2 == 1) image.At(x, y)[3] = 128;
    }
  }
  Bytes expected = Head(2056, 0x1001, 64);
  for (int e = 0; e < 128; ++e) {
    uint32_t word = e == 0 ? 64 >> 3 : e == 1 ? 128 >> 3 : 0;
    PutEntry(expected, word, word, word, word);
  }
  for (uint32_t t = 0; t < 32 * 32; ++t) {
    uint32_t x, y;
    Untwiddle(t, &x, &y);
    expected.push_back(static_cast<uint8_t>((x + y) % 2));
  }
  EXPECT_EQ(Compress(Options(kVQRGB565, true, false, 4), Single(image)), expected);
}

// A 32x32 ARGB1555 small-VQ texture with global index 5, in quadrants: red
// top-left, transparent (colour 10, 20, 30) top-right, white bottom-left,
// blue bottom-right. Quantised: transparent (0, 8, 16, 24), blue, red, white
// in key order (the transparent block weighs nothing; then blue, red, white
// by the interleaved averages). Index image 16x16, twiddled: top-left,
// bottom-left, top-right, bottom-right quadrants of 64 bytes each.
TEST(VQExpected, ThirtyTwoSquareFourColoursByteByByte) {
  PVR_Image image = Uniform(32, 255, 255, 0, 0);
  for (int y = 0; y < 32; ++y) {
    for (int x = 0; x < 32; ++x) {
      uint8_t *t = image.At(x, y);
      if (x >= 16 && y < 16) t[0] = 0, t[1] = 10, t[2] = 20, t[3] = 30;
      if (x < 16 && y >= 16) t[1] = t[2] = t[3] = 255;
      if (x >= 16 && y >= 16) t[1] = 0, t[3] = 255;
    }
  }
  const Bytes head = {
      'G', 'B', 'I', 'X', 8, 0, 0, 0, 5, 0, 0, 0, 0x20, 0x20, 0x20, 0x20,  // global index 5
      'P', 'V', 'R', 'T', 0x08, 0x02, 0, 0,                                // 8 x 32 + 8 + 256 = 520
      0x00, 0x10, 0, 0,                                                    // ARGB1555, small VQ
      32, 0, 32, 0,
      0x43, 0x04, 0x43, 0x04, 0x43, 0x04, 0x43, 0x04,  // 0: alpha 0, 8>>3 << 10 | 16>>3 << 5 | 24>>3
      0x1F, 0x80, 0x1F, 0x80, 0x1F, 0x80, 0x1F, 0x80,  // 1: blue
      0x00, 0xFC, 0x00, 0xFC, 0x00, 0xFC, 0x00, 0xFC,  // 2: red
      0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,  // 3: white
  };
  Bytes expected = head;
  PutRepeated(expected, 28 * 8, 0);  // entries 4 to 31
  PutRepeated(expected, 64, 2);      // top-left: red
  PutRepeated(expected, 64, 3);      // bottom-left: white
  PutRepeated(expected, 64, 0);      // top-right: transparent
  PutRepeated(expected, 64, 1);      // bottom-right: blue
  ASSERT_EQ(expected.size(), 544u);
  for (int algorithm : {3, 4}) {
    SCOPED_TRACE(algorithm);
    StreamCapture info(SetInfoStream);
    EXPECT_EQ(Compress(Options(kVQARGB1555, true, false, algorithm), Single(image), 5), expected);
    EXPECT_EQ(info.Text(), "[GLOBALINDEX 5]");
  }
}

// The 1x1 level takes the entry whose bottom-right texel is nearest to its own
// texel, ties to the first: level 0's block (0, 0) is black with a green
// bottom-right texel and sorts before the all-green vector of the 1x1 level.
TEST(VQExpected, OneByOneLevelMatchesBottomRightTexels) {
  PVR_Input input;
  input.levels.push_back(Uniform(16, 255, 248, 0, 0));
  const uint8_t corner[4][4] = {{255, 0, 0, 0}, {255, 0, 0, 0}, {255, 0, 0, 0}, {255, 0, 252, 0}};
  FillBlock(&input.levels[0], 0, 0, corner);
  for (int side : {8, 4, 2}) input.levels.push_back(Uniform(side, 255, 248, 0, 0));
  input.levels.push_back(Uniform(1, 255, 0, 252, 0));
  // RGB565, small VQ with mipmaps.
  Bytes expected = Head(8 * 16 + 8 + 10 + 64 + 16 + 4 + 1 + 1, 0x1101, 16);
  PutEntry(expected, 0, 0, 0, 0x07E0);  // black with a green bottom-right
  PutEntry(expected, 0x07E0, 0x07E0, 0x07E0, 0x07E0);
  PutEntry(expected, 0xF800, 0xF800, 0xF800, 0xF800);
  PutRepeated(expected, 13 * 8, 0);
  expected.push_back(0);                // 1x1 level: entry 0 by its bottom-right texel
  PutRepeated(expected, 1 + 4 + 16, 2);  // 2x2, 4x4, 8x8 levels: red
  expected.push_back(0);                // level 0, block (0, 0)
  PutRepeated(expected, 63, 2);
  PutRepeated(expected, 10, 0);
  EXPECT_EQ(Compress(Options(kVQRGB565, true, true, 3), input), expected);
}

// Channel quantisation of (alpha 200, red 133, green 130, blue 7) per texel
// output format, read back from the first codebook word.
TEST(VQExpected, ChannelQuantisationPerFormat) {
  struct Row {
    int texelFormat;
    uint32_t category;
    uint32_t word;
  };
  const Row rows[] = {
      {kVQARGB1555, 0x1000, 0xC200},  // alpha 255, red and green 132 (5 bits 16), blue 0
      {kVQARGB4444, 0x1002, 0xC880},  // alpha 204, red and green 136 (4 bits 8), blue 0
      {kVQRGB565, 0x1001, 0x8400},    // red 132 (16), green 130 (32), blue 0
  };
  for (const Row &row : rows) {
    SCOPED_TRACE(row.texelFormat);
    Bytes file = Compress(Options(row.texelFormat, true, false, 4), Single(Uniform(16, 200, 133, 130, 7)));
    ASSERT_EQ(file.size(), 16u + 8 * 16 + 64);
    EXPECT_EQ(pvr::Get32(&file[8]), row.category);
    EXPECT_EQ(pvr::Get16(&file[16]), row.word);
    EXPECT_EQ(pvr::Get16(&file[22]), row.word);
  }
}

// The codebook-size table and every refusal with its text.
TEST(VQExpected, CodebookSizesAndRefusals) {
  struct Row {
    int side;
    bool smallVQ;
    bool mipmaps;
    int size;
    const char *message;
  };
  const Row rows[] = {
      {8, false, false, 0, "VQ compression of full codebook 8x8 single textures not supported"},
      {8, true, true, 0, "VQ compression of small codebook 8x8 mipmap textures not supported"},
      {16, false, false, 0, "VQ compression of full codebook 16x16 single textures not supported"},
      {16, false, true, 0, "VQ compression of full codebook 16x16 mipmap textures not supported"},
      {16, true, false, 16, nullptr},
      {16, true, true, 16, nullptr},
      {32, false, true, 0, "VQ compression of full codebook 32x32 mipmap textures not supported"},
      {32, true, false, 32, nullptr},
      {32, true, true, 64, nullptr},
      {64, false, false, 256, nullptr},
      {64, false, true, 256, nullptr},
      {64, true, false, 128, nullptr},
      {64, true, true, 0, "VQ compression of small codebook 64x64 mipmap textures not supported"},
      {128, true, false, 0, "VQ compression of small codebook 128x128 single textures not supported"},
      {128, false, true, 256, nullptr},
      {1024, false, false, 256, nullptr},
      {1024, true, true, 0, "VQ compression of small codebook 1024x1024 mipmap textures not supported"},
  };
  for (const Row &row : rows) {
    SCOPED_TRACE(row.side);
    EXPECT_EQ(PVR_VQCodebookSize(row.side, row.smallVQ, row.mipmaps), row.size);
    if (row.message == nullptr || row.side > 128) continue;
    StreamCapture info(SetInfoStream);
    PVR_VQOutput output;
    PVR_Input input = vqtest::BoxMipmaps(Uniform(row.side, 255, 1, 2, 3), row.mipmaps);
    PVR_VQOptions options = Options(kVQRGB565, row.smallVQ, row.mipmaps, 4);
    EXPECT_FALSE(PVR_CompressVQ(options, &input, &output));
    EXPECT_EQ(info.Text(), std::string("\n*** ") + row.message + " ***\n");
  }
}

// Inputs refused before any vector is built.
TEST(VQExpected, InvalidInputs) {
  PVR_Image square = Uniform(64, 255, 0, 0, 0);
  PVR_Image wide = square;
  wide.width = 128, wide.height = 32;
  PVR_Image odd = Uniform(48, 255, 0, 0, 0);
  PVR_Image huge;
  huge.width = huge.height = 2048;
  PVR_Image torn = square;
  torn.texels.resize(100);
  struct Row {
    std::vector<PVR_Image> levels;
    int texelFormat;
    const char *message;
  };
  const Row rows[] = {
      {{}, kVQRGB565, "InitVQContext: Invalid pImage->numMipmapLevels"},
      {std::vector<PVR_Image>(13, square), kVQRGB565, "InitVQContext: Invalid pImage->numMipmapLevels"},
      {{wide}, kVQRGB565, "Only square VQ textures supported"},
      {{odd}, kVQRGB565, "48x48 textures not supported"},
      {{huge}, kVQRGB565, "2048x2048 textures not supported"},
      {{torn}, kVQRGB565, "64x64 textures not supported"},
      {{square}, 7, "ClampVectorComponents: Unknown texel output format"},
  };
  for (const Row &row : rows) {
    SCOPED_TRACE(row.message);
    StreamCapture info(SetInfoStream);
    PVR_Input input;
    input.levels = row.levels;
    PVR_VQOutput output;
    EXPECT_FALSE(PVR_CompressVQ(Options(row.texelFormat, false, false, 4), &input, &output));
    EXPECT_EQ(info.Text(), std::string("\n*** ") + row.message + " ***\n");
  }
}

// The writer's checks; a failed write leaves an older file as it was.
TEST(VQExpected, FileWriterChecks) {
  vktest::ScratchDir dir;
  PVR_VQOutput good;
  PVR_Input input = Single(Uniform(16, 255, 0, 0, 0));
  ASSERT_TRUE(PVR_CompressVQ(Options(kVQRGB565, true, false, 4), &input, &good));
  PVR_VQOutput noLevels = good;
  noLevels.levels.clear();
  PVR_VQOutput badFormat = good;
  badFormat.categoryCode = pvr::Category(kPixYUV422, pvr::kTypeSmallVQ);
  PVR_VQOutput torn = good;
  torn.levels[0].indices.pop_back();

  std::string readOnly = dir.file("locked");
  ASSERT_EQ(mkdir(readOnly.c_str(), 0555), 0);
  std::string lockedName = readOnly + "/t.pvr";
  std::string missingDir = dir.file("missing/t.pvr");
  struct Row {
    const PVR_VQOutput *output;
    std::string name;
    std::string message;
  };
  const Row rows[] = {
      {nullptr, dir.file("a.pvr"), "PVR_WriteVQPVRFile: Invalid pVQImage"},
      {&torn, dir.file("a.pvr"), "PVR_WriteVQPVRFile: Invalid pVQImage"},
      {&noLevels, dir.file("a.pvr"), "PVR_WriteVQPVRFile: Invalid number of mipmap levels"},
      {&good, "", "No pvr filename given"},
      {&badFormat, dir.file("a.pvr"), "PVR_WriteVQPVRFile: Unknown categoryCode"},
      {&good, missingDir, "Could not open the pvr file " + missingDir},
  };
  for (const Row &row : rows) {
    SCOPED_TRACE(row.message);
    StreamCapture info(SetInfoStream);
    EXPECT_FALSE(PVR_WriteVQPVRFile(row.output, row.name.c_str(), 3));
    EXPECT_EQ(info.Text(), "\n*** " + row.message + " ***\n");
  }
  EXPECT_FALSE(vktest::Exists(dir.file("a.pvr")));
  if (geteuid() != 0) {  // root writes into read-only folders
    StreamCapture info(SetInfoStream);
    EXPECT_FALSE(PVR_WriteVQPVRFile(&good, lockedName.c_str(), -1));
    EXPECT_EQ(info.Text(), "\n*** Could not open the pvr file " + lockedName + " ***\n");
  }
  // An older file survives a failed write: a directory in the temporary's
  // place makes the write fail after the name was checked.
  std::string older = dir.file("older.pvr");
  ASSERT_TRUE(vktest::WriteFile(older, "old bytes"));
  ASSERT_EQ(mkdir((older + ".tmp~").c_str(), 0755), 0);
  {
    StreamCapture info(SetInfoStream);
    EXPECT_FALSE(PVR_WriteVQPVRFile(&good, older.c_str(), -1));
  }
  EXPECT_EQ(vktest::ReadFile(older), "old bytes");
  chmod(readOnly.c_str(), 0755);
}

// The driver: tags on the info stream, the compression lines on standard
// output, dither of level 0 before the mipmaps, the file of the literal
// compressor, the global index recorded.
TEST(VQExpected, DriverPrintsAndWrites) {
  vktest::ScratchDir dir;
  PVR_Image image = vqtest::MakeImage(vqtest::ImageKind::kPhoto, 64, 3);
  PVR_Settings settings;
  settings.textureFormat = kTexFormatVQ;
  settings.pixelFormat = kPixRGB565;
  settings.dither = 1;
  settings.globalIndex = 7;
  settings.outputName = dir.file("photo.pvr");
  int dithered = 0, built = 0;
  PVR_VQHooks hooks;
  hooks.dither = [&](PVR_Image *level, const PVR_Settings &s) {
    ++dithered;
    EXPECT_EQ(level->width, 64);
    vqtest::LiteralDither(level, s.pixelFormat, s.alphaDither != 0);
  };
  hooks.setMipmaps = [&](PVR_Input *input) {
    ++built;
    EXPECT_EQ(input->levels.size(), 1u);
    *input = vqtest::BoxMipmaps(input->levels[0], true);
    return 0;
  };
  StreamCapture info(SetInfoStream);
  testing::internal::CaptureStdout();
  ASSERT_TRUE(PVR_EncodeVQ(&settings, image, hooks));
  std::string out = testing::internal::GetCapturedStdout();
  EXPECT_EQ(dithered, 1);
  EXPECT_EQ(built, 1);
  EXPECT_EQ(info.Text(), "[VQ AUTO MIPMAP][GLOBALINDEX 7]");
  EXPECT_EQ(settings.info.globalIndex, 7);

  PVR_Image dither = image;
  vqtest::LiteralDither(&dither, kPixRGB565, false);
  vqtest::LiteralResult literal = vqtest::LiteralVQ({2, false, true, 4}, vqtest::BoxMipmaps(dither, true), 7);
  std::string file = vktest::ReadFile(settings.outputName);
  EXPECT_TRUE(Bytes(file.begin(), file.end()) == literal.file);

  std::string lines = "\nCOMPRESSING IMAGE\n";
  for (double fraction : literal.progress) {
    char line[64];
    std::snprintf(line, sizeof line, "COMPRESSION IS %d%% COMPLETE     \r", static_cast<int>(fraction * 100));
    lines += line;
  }
  lines += "\n\nCOMPRESSION TOOK ";
  ASSERT_GE(out.size(), lines.size());
  EXPECT_EQ(out.substr(0, lines.size()), lines);
  EXPECT_EQ(out.substr(out.size() - 9), " SECONDS\n");
}

// Pixel formats without VQ texels fall back to RGB565 with one warning;
// without VQ mipmaps nothing is built and the tag says so; a failed mipmap
// build ends the texture without a file.
TEST(VQExpected, DriverFallbacksAndFailures) {
  vktest::ScratchDir dir;
  PVR_VQHooks hooks;
  int built = 0;
  hooks.setMipmaps = [&](PVR_Input *) { return ++built, -1; };
  for (int pixelFormat : {kPixYUV422, kPixBump}) {
    PVR_Settings settings;
    settings.textureFormat = kTexFormatSmallVQ;
    settings.pixelFormat = pixelFormat;
    settings.vqMipmap = 0;
    settings.outputName = dir.file("plain.pvr");
    StreamCapture info(SetInfoStream);
    StreamCapture warning(SetWarningStream);
    testing::internal::CaptureStdout();
    ASSERT_TRUE(PVR_EncodeVQ(&settings, Uniform(32, 255, 9, 9, 9), hooks));
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(warning.Text(), "\n##### Warning : VQ texels are ARGB1555, RGB565 or ARGB4444 only. Use RGB565.\n");
    EXPECT_EQ(info.Text(), "[VQ AUTO MIPMAP OFF]");
    EXPECT_EQ(settings.pixelFormat, kPixRGB565);
    std::string file = vktest::ReadFile(settings.outputName);
    ASSERT_EQ(file.size(), 16u + 8 * 32 + 256);
    EXPECT_EQ(pvr::Get32(reinterpret_cast<const uint8_t *>(file.data()) + 8), 0x1001u);
  }
  EXPECT_EQ(built, 0);

  PVR_Settings settings;
  settings.outputName = dir.file("never.pvr");
  StreamCapture info(SetInfoStream);
  EXPECT_FALSE(PVR_EncodeVQ(&settings, Uniform(64, 255, 9, 9, 9), hooks));
  EXPECT_EQ(built, 1);
  EXPECT_FALSE(vktest::Exists(settings.outputName));
}

}  // namespace
