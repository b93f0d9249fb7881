// The decoder on files built by hand: texel colours, VQ layouts, and a table
// of malformed files that must be refused with their reason.
#include <gtest/gtest.h>

#include "texture/pvr_format.h"
#include "texture_test_util.h"

namespace {

using namespace textest;

struct FileBuilder {
  std::vector<uint8_t> bytes;
  FileBuilder &U8(uint32_t v) { return bytes.push_back(static_cast<uint8_t>(v)), *this; }
  FileBuilder &U16(uint32_t v) { return U8(v).U8(v >> 8); }
  FileBuilder &U32(uint32_t v) { return U16(v).U16(v >> 16); }
  FileBuilder &Name(const char *name) { return U8(name[0]).U8(name[1]).U8(name[2]).U8(name[3]); }
  FileBuilder &Texture(uint32_t length, uint32_t category, uint32_t width, uint32_t height) {
    return Name("PVRT").U32(length).U32(category).U16(width).U16(height);
  }
};

std::vector<uint8_t> Texel(const PVR_Image &image, int32_t x, int32_t y) { return {image.At(x, y), image.At(x, y) + 4}; }

// 2x1 rectangles of two words: bit replication, the 1-bit alpha, YUV422 back
// to RGB, BUMP angles as normal colours.
TEST(Decoder, TexelColours) {
  struct Case {
    uint32_t format;
    uint16_t words[2];
    std::vector<uint8_t> first, second;
  };
  const Case cases[] = {
      {kPixARGB1555, {0x8886, 0x7FFF}, {255, 16, 33, 49}, {0, 255, 255, 255}},
      {kPixRGB565, {0xF800, 0x07E1}, {255, 255, 0, 0}, {255, 0, 255, 8}},
      {kPixARGB4444, {0x8123, 0x0F0F}, {0x88, 0x11, 0x22, 0x33}, {0, 255, 0, 255}},
      {kPixRGB555, {0x7C00, 0x0021}, {255, 255, 0, 0}, {255, 0, 8, 8}},
      {kPixYUV422, {0xFF80, 0xFF80}, {255, 255, 255, 255}, {255, 255, 255, 255}},
      {kPixYUV422, {0x4B54, 0x4BFF}, {255, 250, 3, 0}, {255, 250, 3, 0}},  // red, V clamped at 255: 75 + 1.375 * 127, ...
      {kPixBump, {0xFF00, 0x0000}, {255, 128, 128, 255}, {255, 255, 128, 128}},
  };
  for (const Case &c : cases) {
    FileBuilder file;
    file.Texture(12, c.format | 0x0900, 2, 1).U16(c.words[0]).U16(c.words[1]);
    PVR_Decoded decoded;
    std::string error;
    ASSERT_TRUE(PVR_Decode(file.bytes, {}, &decoded, &error)) << error;
    ASSERT_EQ(decoded.levels.size(), 1u);
    EXPECT_EQ(Texel(decoded.levels[0], 0, 0), c.first) << c.format;
    EXPECT_EQ(Texel(decoded.levels[0], 1, 0), c.second) << c.format;
  }
}

// Small VQ 16x16: entry e holds blue e (top-left), green e (bottom-left), red
// e (top-right) and red e with blue 31 (bottom-right) in RGB565; the block at
// (bx, by) of an index image of side s takes entry (bx + 2by + s) mod 16, stored
// twiddled (x in the odd bits).
FileBuilder SmallVQ(bool mipmaps) {
  FileBuilder file;
  const uint32_t indexBytes = mipmaps ? 1 + 1 + 4 + 16 + 64 + 10 : 64;
  file.Name("GBIX").U32(8).U32(42).U32(0x20202020);
  file.Texture(8 * 16 + 8 + indexBytes, mipmaps ? 0x1101 : 0x1001, 16, 16);
  for (uint32_t e = 0; e < 16; ++e) file.U16(e).U16(e << 5).U16(e << 11).U16(e << 11 | 0x1F);
  auto indexImage = [&](uint32_t side) {
    std::vector<uint8_t> stored(side * side);
    for (uint32_t by = 0; by < side; ++by)
      for (uint32_t bx = 0; bx < side; ++bx) stored[pvr::TwiddleIndex(bx, by)] = static_cast<uint8_t>((bx + 2 * by + side) % 16);
    for (uint8_t b : stored) file.U8(b);
  };
  if (mipmaps) {
    for (uint32_t side : {1u, 1u, 2u, 4u}) indexImage(side);
  }
  indexImage(8);
  if (mipmaps) file.bytes.resize(file.bytes.size() + 10, 0);
  return file;
}

TEST(Decoder, SmallVQCodebookCornersAndLevels) {
  PVR_Decoded decoded;
  std::string error;
  ASSERT_TRUE(PVR_Decode(SmallVQ(false).bytes, {}, &decoded, &error)) << error;
  EXPECT_TRUE(decoded.hasGlobalIndex);
  EXPECT_EQ(decoded.globalIndex, 42u);
  ASSERT_EQ(decoded.levels.size(), 1u);
  const PVR_Image &level = decoded.levels[0];
  EXPECT_EQ(Texel(level, 0, 0), (std::vector<uint8_t>{255, 0, 0, 66}));     // block (0,0): entry 8, top-left blue 8
  EXPECT_EQ(Texel(level, 3, 2), (std::vector<uint8_t>{255, 90, 0, 0}));     // block (1,1): entry 11, top-right red 11
  EXPECT_EQ(Texel(level, 4, 5), (std::vector<uint8_t>{255, 0, 56, 0}));     // block (2,2): entry 14, bottom-left green 14
  EXPECT_EQ(Texel(level, 15, 15), (std::vector<uint8_t>{255, 107, 0, 255}));  // block (7,7): entry 13, bottom-right

  ASSERT_TRUE(PVR_Decode(SmallVQ(true).bytes, {}, &decoded, &error)) << error;
  ASSERT_EQ(decoded.levels.size(), 5u);
  EXPECT_EQ(Texel(decoded.levels[4], 0, 0), (std::vector<uint8_t>{255, 8, 0, 255}));  // 1x1: entry 1, bottom-right
  EXPECT_EQ(Texel(decoded.levels[3], 1, 0), (std::vector<uint8_t>{255, 8, 0, 0}));    // 2x2: entry 1, top-right
  EXPECT_EQ(Texel(decoded.levels[2], 2, 3), (std::vector<uint8_t>{255, 0, 20, 0}));   // 4x4: block (1,1) entry 5, bottom-left
  EXPECT_EQ(decoded.levels[0].texels, [] {
    PVR_Decoded single;
    std::string e;
    PVR_Decode(SmallVQ(false).bytes, {}, &single, &e);
    return single.levels[0].texels;
  }());
}

TEST(Decoder, RefusesMalformedFilesWithTheReason) {
  const std::vector<uint8_t> pvp = FileBuilder().Name("PVPL").U32(16).U16(1).U16(0).U16(0).U16(2).U16(0).U16(0xFFFF).U32(0).bytes;
  auto palettized = [](uint32_t category, uint8_t first) {
    FileBuilder file;
    file.Texture(8 + 64, category, 8, 8).U8(first);
    file.bytes.resize(file.bytes.size() + 63, 0);
    return file.bytes;
  };
  struct Case {
    const char *what;
    std::vector<uint8_t> file, palette;
    const char *reason;
  };
  const Case cases[] = {
      {"empty", {}, {}, "no PVRT chunk in 0 bytes"},
      {"short head", {'P', 'V', 'R', 'T', 8}, {}, "cut short inside the chunk head at offset 0"},
      {"length past the end", FileBuilder().Texture(100, 0x0101, 8, 8).bytes, {}, "claims 100 bytes, only 8 follow"},
      {"huge length", FileBuilder().Name("GBIX").U32(0xFFFFFFF8).U32(1).bytes, {}, "claims 4294967288 bytes"},
      {"short PVRT", FileBuilder().Name("PVRT").U32(4).U32(0x0101).bytes, {}, "holds no category and size"},
      {"short GBIX", FileBuilder().Name("GBIX").U32(2).U16(0).bytes, {}, "GBIX chunk of 2 bytes holds no index"},
      {"only other chunks", FileBuilder().Name("ABCD").U32(0).Name("EFGH").U32(0).bytes, {}, "no PVRT chunk in 16 bytes"},
      {"unknown type", FileBuilder().Texture(8, 0x0E01, 8, 8).bytes, {}, "texture type 0x0E is not supported"},
      {"not a power of two", FileBuilder().Texture(8, 0x0901, 12, 8).bytes, {}, "size 12x8 is not a power of two"},
      {"too big", FileBuilder().Texture(8, 0x0901, 2048, 8).bytes, {}, "size 2048x8"},
      {"zero size", FileBuilder().Texture(8, 0x0901, 0, 0).bytes, {}, "size 0x0"},
      {"square type", FileBuilder().Texture(8, 0x0101, 16, 8).bytes, {}, "needs a square texture, not 16x8"},
      {"palette-only format", FileBuilder().Texture(8, 0x0106, 8, 8).bytes, {}, "pixel format 6 has no 16-bit texels"},
      {"unknown format", FileBuilder().Texture(8, 0x0109, 8, 8).bytes, {}, "pixel format 9 has no 16-bit texels"},
      {"texels missing", FileBuilder().Texture(8 + 127, 0x0101, 8, 8).bytes, {}, "claims 135 bytes, only 8 follow"},
      {"texels short", [] { auto f = FileBuilder().Texture(8 + 127, 0x0101, 8, 8); f.bytes.resize(16 + 127); return f.bytes; }(), {},
       "texel data holds 127 bytes, 128 needed"},
      {"mipmaps short", [] { auto f = FileBuilder().Texture(8 + 128, 0x0201, 8, 8); f.bytes.resize(16 + 128); return f.bytes; }(), {},
       "texel data holds 128 bytes, 172 needed"},
      {"no palette", palettized(0x0701, 0), {}, "palette file holds 0 bytes"},
      {"palette magic", palettized(0x0701, 0), FileBuilder().Name("PVPX").U32(8).U32(0).U32(0).bytes, "not \"PVPL\""},
      {"palette length", palettized(0x0701, 0), FileBuilder().Name("PVPL").U32(9).U32(1).U32(0).bytes, "palette chunk length 9 does not fit"},
      {"palette entries", palettized(0x0701, 0), FileBuilder().Name("PVPL").U32(8).U16(1).U16(0).U16(0).U16(3).bytes,
       "palette of 3 entries needs 6 bytes, its chunk holds 0"},
      {"palette format", palettized(0x0703, 0), FileBuilder().Name("PVPL").U32(8).U16(3).U16(0).U16(0).U16(0).bytes,
       "palette pixel format 3 is not a palette entry format"},
      {"formats differ", palettized(0x0702, 0), pvp, "palette pixel format 1 differs from the texture's 2"},
      {"index past the palette", palettized(0x0701, 2), pvp, "index 2 has no entry in the palette (entries 0 to 1)"},
      {"small VQ refused size", FileBuilder().Texture(8, 0x1101, 64, 64).bytes, {}, "small VQ texture of side 64 with mipmaps"},
      {"VQ data short", FileBuilder().Texture(8 + 2048, 0x0301, 64, 64).bytes, {}, "claims 2056 bytes"},
      {"VQ index past the codebook", [] { auto f = SmallVQ(false); f.bytes.back() = 16; return f.bytes; }(), {},
       "VQ index 16 is beyond the codebook of 16 entries"},
  };
  for (const Case &c : cases) {
    PVR_Decoded decoded;
    std::string error;
    EXPECT_FALSE(PVR_Decode(c.file, c.palette, &decoded, &error)) << c.what;
    EXPECT_NE(error.find(c.reason), std::string::npos) << c.what << ": " << error;
    EXPECT_TRUE(decoded.levels.empty()) << c.what;
  }
}

}  // namespace
