// VQ files worked out by hand: codebooks in key order, twiddled index images,
// mipmap layout, the 1x1 rule, the codebook-size table
// and every refusal, the file writer's checks, and the driver's output.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <functional>

#include "support/vq_oracle.h"
#include "texture/vq.h"
#include "texture_test_util.h"

namespace {

using namespace textest;
using Bytes = std::vector<uint8_t>;
using Entry = std::array<uint16_t, 4>;  // top-left, bottom-left, top-right, bottom-right

Entry Flat(uint16_t word) { return {word, word, word, word}; }
PVR_Image Uniform(int side, uint8_t a, uint8_t r, uint8_t g, uint8_t b) { return MakeImage(side, side, a, r, g, b); }
PVR_Input Single(PVR_Image image) { return PVR_Input{{std::move(image)}}; }
PVR_VQOptions Options(int texelFormat, bool smallVQ, bool mipmaps, int algorithm) {
  PVR_VQOptions options;
  options.texelFormat = texelFormat, options.smallVQ = smallVQ, options.mipmaps = mipmaps;
  options.algorithm = algorithm, options.threads = 2;
  return options;
}
// Compresses and writes; the file, empty when refused or not written.
Bytes Compress(const PVR_VQOptions &options, PVR_Input input, int32_t globalIndex = -1) {
  ScratchDir dir;
  PVR_VQOutput output;
  if (!PVR_CompressVQ(options, &input, &output) || !PVR_WriteVQPVRFile(&output, dir.file("o.pvr").c_str(), globalIndex))
    return {};
  return FileBytes(dir.file("o.pvr"));
}
// A VQ file: the texture chunk's head, the codebook zero-filled to `entries`
// entries, the index bytes.
Bytes VQFile(uint32_t category, uint32_t side, size_t entries, const std::vector<Entry> &codebook,
             const Bytes &indices) {
  Bytes out;
  pvr::PutTextureHead(out, static_cast<uint32_t>(8 * entries + indices.size()), category, side, side);
  for (size_t e = 0; e < entries; ++e)
    for (uint16_t word : e < codebook.size() ? codebook[e] : Entry{}) pvr::Put16(out, word);
  out.insert(out.end(), indices.begin(), indices.end());
  return out;
}
// A square index image stored twiddled.
Bytes Twiddled(uint32_t side, const std::function<uint8_t(uint32_t, uint32_t)> &index) {
  Bytes out(side * side);
  for (uint32_t y = 0; y < side; ++y)
    for (uint32_t x = 0; x < side; ++x) out[pvr::TwiddleIndex(x, y)] = index(x, y);
  return out;
}
Bytes Runs(std::initializer_list<std::pair<size_t, uint8_t>> runs) {  // {count, byte}...
  Bytes out;
  for (const auto &[count, byte] : runs) out.insert(out.end(), count, byte);
  return out;
}

TEST(VQExpected, CodebooksAndIndexImagesWorkedByHand) {
  // 256 distinct blocks: block (bx, by) has red 8a (5 bits) and green 4b (6
  // bits) with a * 8 + b = (bx + 7 by) mod 256. In byte order (alpha, red,
  // green, blue) the blocks sort by a, then b: entry i is that colour, every
  // block maps to its own i, no quantisation runs. RGB565, VQ.
  PVR_Image distinct = Uniform(256, 255, 0, 0, 0);
  for (int y = 0; y < 256; ++y)
    for (int x = 0; x < 256; ++x) {
      const int i = (x / 2 + 7 * (y / 2)) % 256;
      distinct.At(x, y)[1] = uint8_t(8 * (i / 8)), distinct.At(x, y)[2] = uint8_t(4 * (i % 8));
    }
  std::vector<Entry> ramp;
  for (int i = 0; i < 256; ++i) ramp.push_back(Flat(uint16_t((i / 8) << 11 | (i % 8) << 5)));
  EXPECT_EQ(Compress(Options(kVQRGB565, false, false, 3), Single(distinct)),
            VQFile(0x0301, 256, 256, ramp, Twiddled(128, [](uint32_t x, uint32_t y) { return uint8_t(x + 7 * y); })));

  // Red on the left half, green on the right. In byte order green (red byte 0)
  // comes first; in the space-filling key the top bit is green's, so red comes
  // first. The index image holds the left half in its first 8192 bytes.
  PVR_Image halves = Uniform(256, 255, 255, 0, 0);
  for (int y = 0; y < 256; ++y)
    for (int x = 128; x < 256; ++x) halves.At(x, y)[1] = 0, halves.At(x, y)[2] = 255;
  for (int algorithm : {3, 4}) {
    const uint8_t red = algorithm == 3 ? 1 : 0, green = 1 - red;
    std::vector<Entry> codebook(2);
    codebook[red] = Flat(0xF800), codebook[green] = Flat(0x07E0);
    EXPECT_EQ(Compress(Options(kVQRGB565, false, false, algorithm), Single(halves)),
              VQFile(0x0301, 256, 256, codebook, Runs({{8192, red}, {8192, green}})))
        << algorithm;
  }

  // 256x256 mipmapped, level k uniform with red 8(k + 1): entries 0 to 8 in
  // level order; index images of 128^2, 64^2, ..., 1, 1 bytes written
  // smallest first, then ten zero bytes. RGB565, VQ with mipmaps.
  PVR_Input levels;
  std::vector<Entry> reds;
  Bytes indices;
  for (int k = 0; k < 9; ++k) {
    levels.levels.push_back(Uniform(256 >> k, 255, uint8_t(8 * (k + 1)), 0, 0));
    reds.push_back(Flat(uint16_t((k + 1) << 11)));
    const size_t side = std::max(1, 128 >> (8 - k));
    indices.insert(indices.end(), side * side, uint8_t(8 - k));
  }
  indices.resize(indices.size() + 10, 0);
  const Bytes mipmapped = Compress(Options(kVQRGB565, false, true, 4), levels);
  EXPECT_EQ(mipmapped.size(), 16 + 8 * 256 + 21846u + 10);
  EXPECT_EQ(mipmapped, VQFile(0x0401, 256, 256, reds, indices));

  // 64x64 small VQ: 128 entries, a 32x32 index image; blocks alternate
  // between two blues.
  PVR_Image blues = Uniform(64, 255, 0, 0, 64);
  for (int y = 0; y < 64; ++y)
    for (int x = 0; x < 64; ++x)
      if ((x / 2 + y / 2) % 2 == 1) blues.At(x, y)[3] = 128;
  EXPECT_EQ(Compress(Options(kVQRGB565, true, false, 4), Single(blues)),
            VQFile(0x1001, 64, 128, {Flat(64 >> 3), Flat(128 >> 3)},
                   Twiddled(32, [](uint32_t x, uint32_t y) { return uint8_t((x + y) % 2); })));

  // The 1x1 level takes the entry whose bottom-right texel is nearest its own
  // texel, ties to the first: level 0's block (0, 0) is black with a green
  // bottom-right texel and sorts before the all-green vector of the 1x1
  // level. RGB565, small VQ with mipmaps; index images 1x1, 2x2, 4x4, 8x8.
  PVR_Input corner{{Uniform(16, 255, 248, 0, 0)}};
  for (int t = 0; t < 4; ++t)
    std::copy_n(std::array<uint8_t, 4>{255, 0, uint8_t(t == 3 ? 252 : 0), 0}.data(), 4,
                corner.levels[0].At(t % 2, t / 2));
  for (int side : {8, 4, 2}) corner.levels.push_back(Uniform(side, 255, 248, 0, 0));
  corner.levels.push_back(Uniform(1, 255, 0, 252, 0));
  EXPECT_EQ(Compress(Options(kVQRGB565, true, true, 3), corner),
            VQFile(0x1101, 16, 16, {{0, 0, 0, 0x07E0}, Flat(0x07E0), Flat(0xF800)},
                   Runs({{1, 0}, {1 + 4 + 16, 2}, {1, 0}, {63, 2}, {10, 0}})));
}

// A 32x32 ARGB1555 small-VQ texture with global index 5, in quadrants: red
// top-left, transparent (colour 10, 20, 30) top-right, white bottom-left,
// blue bottom-right. Quantised: transparent (0, 8, 16, 24) = 8>>3 << 10 |
// 16>>3 << 5 | 24>>3, blue, red, white in key order (the transparent block
// weighs nothing; then by the interleaved averages). Index image 16x16,
// twiddled: top-left, bottom-left, top-right, bottom-right quadrants.
TEST(VQExpected, ThirtyTwoSquareFourColoursByteByByte) {
  PVR_Image image = Uniform(32, 255, 255, 0, 0);
  for (int y = 0; y < 32; ++y)
    for (int x = 0; x < 32; ++x) {
      uint8_t *t = image.At(x, y);
      if (x >= 16 && y < 16) t[0] = 0, t[1] = 10, t[2] = 20, t[3] = 30;
      if (x < 16 && y >= 16) t[1] = t[2] = t[3] = 255;
      if (x >= 16 && y >= 16) t[1] = 0, t[3] = 255;
    }
  Bytes expected;
  pvr::PutGlobalIndexChunk(expected, 5, false);
  const Bytes texture = VQFile(0x1000, 32, 32, {Flat(0x0443), Flat(0x801F), Flat(0xFC00), Flat(0xFFFF)},
                               Runs({{64, 2}, {64, 3}, {64, 0}, {64, 1}}));
  expected.insert(expected.end(), texture.begin(), texture.end());
  ASSERT_EQ(expected.size(), 544u);
  for (int algorithm : {3, 4}) {
    vktest::Capture info(InfoStream, SetInfoStream);
    EXPECT_EQ(Compress(Options(kVQARGB1555, true, false, algorithm), Single(image), 5), expected) << algorithm;
    EXPECT_EQ(info.Text(), "[GLOBALINDEX 5]");
  }
}

// The codebook-size table and every refusal with its text; inputs refused
// before any vector is built.
TEST(VQExpected, CodebookSizesAndRefusals) {
  const struct {
    int side;
    bool smallVQ, mipmaps;
    int size;
  } rows[] = {{8, false, false, 0},  {8, true, true, 0},      {16, false, false, 0},   {16, false, true, 0},
              {16, true, false, 16}, {16, true, true, 16},    {32, false, true, 0},    {32, true, false, 32},
              {32, true, true, 64},  {64, false, false, 256}, {64, false, true, 256},  {64, true, false, 128},
              {64, true, true, 0},   {128, true, false, 0},   {128, false, true, 256}, {1024, false, false, 256},
              {1024, true, true, 0}};
  for (const auto &row : rows) {
    SCOPED_TRACE(row.side);
    EXPECT_EQ(PVR_VQCodebookSize(row.side, row.smallVQ, row.mipmaps), row.size);
    if (row.size != 0 || row.side > 128) continue;
    vktest::Capture info(InfoStream, SetInfoStream);
    PVR_VQOutput output;
    PVR_Input input = vqtest::BoxMipmaps(Uniform(row.side, 255, 1, 2, 3), row.mipmaps);
    EXPECT_FALSE(PVR_CompressVQ(Options(kVQRGB565, row.smallVQ, row.mipmaps, 4), &input, &output));
    EXPECT_EQ(info.Text(), "\n*** VQ compression of " + std::string(row.smallVQ ? "small" : "full") + " codebook " +
                               std::to_string(row.side) + "x" + std::to_string(row.side) +
                               (row.mipmaps ? " mipmap" : " single") + " textures not supported ***\n");
  }
  const PVR_Image square = Uniform(64, 255, 0, 0, 0);
  PVR_Image wide = square, torn = square;
  wide.width = 128, wide.height = 32;
  torn.texels.resize(100);
  const std::tuple<std::vector<PVR_Image>, int, const char *> inputs[] = {
      {{}, kVQRGB565, "InitVQContext: Invalid pImage->numMipmapLevels"},
      {std::vector<PVR_Image>(13, square), kVQRGB565, "InitVQContext: Invalid pImage->numMipmapLevels"},
      {{wide}, kVQRGB565, "Only square VQ textures supported"},
      {{Uniform(48, 255, 0, 0, 0)}, kVQRGB565, "48x48 textures not supported"},
      {{PVR_Image{2048, 2048, {}}}, kVQRGB565, "2048x2048 textures not supported"},
      {{torn}, kVQRGB565, "64x64 textures not supported"},
      {{square}, 7, "ClampVectorComponents: Unknown texel output format"},
  };
  for (const auto &[levels, texelFormat, message] : inputs) {
    vktest::Capture info(InfoStream, SetInfoStream);
    PVR_Input input{levels};
    PVR_VQOutput output;
    EXPECT_FALSE(PVR_CompressVQ(Options(texelFormat, false, false, 4), &input, &output));
    EXPECT_EQ(info.Text(), std::string("\n*** ") + message + " ***\n");
  }
}

// The writer's checks (failed writes: WriteFailures).
TEST(VQExpected, FileWriterChecks) {
  ScratchDir dir;
  PVR_VQOutput good;
  PVR_Input input = Single(Uniform(16, 255, 0, 0, 0));
  ASSERT_TRUE(PVR_CompressVQ(Options(kVQRGB565, true, false, 4), &input, &good));
  PVR_VQOutput noLevels = good, badFormat = good, torn = good;
  noLevels.levels.clear();
  badFormat.categoryCode = pvr::Category(kPixYUV422, pvr::kTypeSmallVQ);
  torn.levels[0].indices.pop_back();
  const std::pair<const PVR_VQOutput *, std::string> rows[] = {
      {nullptr, "Invalid pVQImage"},
      {&torn, "Invalid pVQImage"},
      {&noLevels, "Invalid number of mipmap levels"},
      {&good, ""},
      {&badFormat, "Unknown categoryCode"},
  };
  for (const auto &[output, message] : rows) {
    vktest::Capture info(InfoStream, SetInfoStream);
    const std::string name = message.empty() ? "" : dir.file("a.pvr");
    EXPECT_FALSE(PVR_WriteVQPVRFile(output, name.c_str(), 3)) << message;
    EXPECT_EQ(info.Text(), message.empty() ? "\n*** No pvr filename given ***\n"
                                           : "\n*** PVR_WriteVQPVRFile: " + message + " ***\n");
  }
  EXPECT_FALSE(Exists(dir.file("a.pvr")));
}

// The driver: tags on the info stream, the compression lines on standard
// output, dither of level 0 before the mipmaps, the file of the literal
// compressor, the global index recorded. Pixel formats without VQ texels
// fall back to RGB565 with one warning; without VQ mipmaps nothing is built;
// a failed mipmap build ends the texture without a file.
TEST(VQExpected, DriverPrintsWritesAndFallsBack) {
  ScratchDir dir;
  const PVR_Image image = vqtest::MakeImage(vqtest::ImageKind::kPhoto, 64, 3);
  int dithered = 0, built = 0, failing = 0;
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
    return failing ? -1 : 0;
  };
  const auto settingsFor = [&](int32_t textureFormat, int32_t pixelFormat, const char *name) {
    PVR_Settings settings;
    settings.textureFormat = textureFormat, settings.pixelFormat = pixelFormat, settings.dither = 1;
    settings.globalIndex = 7, settings.outputName = dir.file(name);
    return settings;
  };
  PVR_Settings settings = settingsFor(kTexFormatVQ, kPixRGB565, "photo.pvr");
  Console console;
  testing::internal::CaptureStdout();
  ASSERT_TRUE(PVR_EncodeVQ(&settings, image, hooks));
  const std::string out = testing::internal::GetCapturedStdout();
  EXPECT_EQ(dithered * 10 + built, 11);
  EXPECT_EQ(console.info.Text(), "[VQ AUTO MIPMAP][GLOBALINDEX 7]");
  EXPECT_EQ(settings.info.globalIndex, 7);
  PVR_Image dither = image;
  vqtest::LiteralDither(&dither, kPixRGB565, false);
  const vqtest::LiteralResult literal = vqtest::LiteralVQ({2, false, true, 4}, vqtest::BoxMipmaps(dither, true), 7);
  EXPECT_TRUE(FileBytes(settings.outputName) == literal.file);
  std::string lines = "\nCOMPRESSING IMAGE\n";
  for (double fraction : literal.progress)
    lines += "COMPRESSION IS " + std::to_string(static_cast<int>(fraction * 100)) + "% COMPLETE     \r";
  lines += "\n\nCOMPRESSION TOOK ";
  ASSERT_GE(out.size(), lines.size());
  EXPECT_EQ(out.substr(0, lines.size()), lines);
  EXPECT_EQ(out.substr(out.size() - 9), " SECONDS\n");

  for (int pixelFormat : {kPixYUV422, kPixBump}) {
    settings = settingsFor(kTexFormatSmallVQ, pixelFormat, "plain.pvr");
    settings.vqMipmap = 0, settings.globalIndex = -1, settings.dither = 0;
    Console fallback;
    testing::internal::CaptureStdout();
    ASSERT_TRUE(PVR_EncodeVQ(&settings, Uniform(32, 255, 9, 9, 9), hooks));
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(fallback.warning.Text(),
              "\n##### Warning : VQ texels are ARGB1555, RGB565 or ARGB4444 only. Use RGB565.\n");
    EXPECT_EQ(fallback.info.Text(), "[VQ AUTO MIPMAP OFF]");
    EXPECT_EQ(settings.pixelFormat, kPixRGB565);
    const Bytes file = FileBytes(settings.outputName);
    ASSERT_EQ(file.size(), 16u + 8 * 32 + 256);
    EXPECT_EQ(pvr::Get32(&file[8]), 0x1001u);
  }
  EXPECT_EQ(built, 1);
  failing = 1, settings = settingsFor(kTexFormatVQ, kPixRGB565, "never.pvr");
  EXPECT_FALSE(PVR_EncodeVQ(&settings, Uniform(64, 255, 9, 9, 9), hooks));
  EXPECT_EQ(built, 2);
  EXPECT_FALSE(Exists(settings.outputName));
}

}  // namespace
