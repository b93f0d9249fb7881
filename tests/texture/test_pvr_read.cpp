// Reading PVR files: the header reader on malformed files and its file
// lookup, the decoder on files built by hand and on malformed ones.
#include <gtest/gtest.h>

#include "texture/pvr_header.h"
#include "texture_test_util.h"

namespace {

using namespace textest;
using namespace std::string_literals;

// Little-endian file bytes.
struct Builder {
  std::string bytes;
  Builder &U8(uint32_t v) { return bytes += static_cast<char>(v), *this; }
  Builder &U16(uint32_t v) { return U8(v).U8(v >> 8); }
  Builder &U32(uint32_t v) { return U16(v).U16(v >> 16); }
  Builder &Chunk(const char *name, uint32_t length) { return bytes.append(name, 4), U32(length); }
  Builder &Texture(uint32_t length, uint32_t category, uint32_t width, uint32_t height) {
    return Chunk("PVRT", length).U32(category).U16(width).U16(height);
  }
  std::vector<uint8_t> Data() const { return Bytes(bytes); }
};

TEST(HeaderReader, SurvivesMalformedFiles) {
  const std::string head565 = "\x01\x02\0\0\x40\0\x20\0"s;  // RGB565 twiddled with mipmaps, 64x32
  const std::vector<int> fresh = {0, 0, 0, 0, 1, 0, 0, 1, 1}, good = {64, 32, 1, 0, 1, 1, 1, 1, 0};
  const std::tuple<std::string, std::vector<int>, const char *> cases[] = {
      {"", fresh, "No texture data"},
      {"PVR", fresh, "No texture data"},
      {Builder().Chunk("PVRT", 0).bytes, fresh, "No texture data"},
      {Builder().Chunk("PVRT", 4).bytes + head565, fresh, "No texture data"},  // too short for the fields
      {Builder().Chunk("PVRT", 8).bytes + "\x01\x02", fresh, "No texture data"},
      {Builder().Chunk("PVRT", 4104).bytes + head565 + "xy", good, "is cut short"},
      {Builder().Chunk("GBIX", 0xFFFFFFFF).U32(7).Chunk("PVRT", 8).bytes + head565,
       {0, 0, 0, 7, 1, 0, 0, 1, 1},
       "No texture data"},
      {Builder().Chunk("ABCD", 0).Chunk("\0\0\0\0", 0).Chunk("PVRT", 8).bytes + head565, good, ""},
      {Builder().Chunk("GBIX", 2).U16(7).Chunk("PVRT", 8).bytes + head565, good, ""},
      {Builder().Chunk("PVRT", 8).bytes + head565 + "xyz", good, "is cut short"},
      {Builder().Texture(8, 0x2005, 8, 8).bytes, {8, 8, 1, 0, 5, 0, 0, 1, 0}, "Not Support categorycode 8197"},
      {Builder().Texture(8, 0x0902, 12, 2048).bytes, {12, 2048, 2, 0, 2, 2, 0, 1, 1}, ""},
  };
  ScratchDir dir;
  for (const auto &[bytes, fields, warning] : cases) {
    ASSERT_TRUE(WriteFile(dir.file("m.pvr"), bytes));
    PVR_TexInfo info, fromMemory;
    Console console;
    EXPECT_EQ(PVR_ReadHeaderInfo(dir.file("m.pvr").c_str(), &info), 1);
    EXPECT_EQ(Fields(info), fields) << bytes.size();
    const std::string printed = console.warning.Text();
    EXPECT_TRUE(*warning == '\0' ? printed.empty() : printed.find(warning) != std::string::npos) << printed;
    PVR_ParseHeaderInfo(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size(), &fromMemory);
    EXPECT_EQ(Fields(fromMemory), fields);
  }
}

// As named; else "./" and the base name, after '/' or '\'.
TEST(HeaderReader, LooksInTheWorkingFolderAndNamesWhatItCannotOpen) {
  ScratchDir dir;
  ASSERT_TRUE(WriteFile(dir.file("w.pvr"), Builder().Texture(8, 0x0201, 64, 32).bytes));
  InFolder here(dir.path());
  PVR_TexInfo info;
  for (const char *path : {"w.pvr", "no/such/folder/w.pvr", "C:\\textures\\w.pvr"}) {
    info = PVR_TexInfo{};
    EXPECT_EQ(PVR_ReadHeaderInfo(path, &info) * 100 + info.width, 164) << path;
  }
  Console console;
  EXPECT_EQ(PVR_ReadHeaderInfo("tex/missing.pvr", &info), 0);
  EXPECT_EQ(console.error.Text(), "\n##### Error: Can't open file tex/missing.pvr\n");
}

std::vector<uint8_t> Texel(const PVR_Image &image, int32_t x, int32_t y) {
  return {image.At(x, y), image.At(x, y) + 4};
}

// 2x1 rectangles of two words: bit replication, the 1-bit alpha, YUV422 back
// to RGB, BUMP angles as normal colours.
TEST(Decoder, TexelColours) {
  const std::tuple<uint32_t, uint16_t, uint16_t, std::vector<uint8_t>, std::vector<uint8_t>> cases[] = {
      {kPixARGB1555, 0x8886, 0x7FFF, {255, 16, 33, 49}, {0, 255, 255, 255}},
      {kPixRGB565, 0xF800, 0x07E1, {255, 255, 0, 0}, {255, 0, 255, 8}},
      {kPixARGB4444, 0x8123, 0x0F0F, {0x88, 0x11, 0x22, 0x33}, {0, 255, 0, 255}},
      {kPixRGB555, 0x7C00, 0x0021, {255, 255, 0, 0}, {255, 0, 8, 8}},
      {kPixYUV422, 0xFF80, 0xFF80, {255, 255, 255, 255}, {255, 255, 255, 255}},
      {kPixYUV422, 0x4B54, 0x4BFF, {255, 250, 3, 0}, {255, 250, 3, 0}},  // red, V clamped: 75 + 1.375 * 127, ...
      {kPixBump, 0xFF00, 0x0000, {255, 128, 128, 255}, {255, 255, 128, 128}},
  };
  for (const auto &[format, first, second, texel0, texel1] : cases) {
    const PVR_Decoded decoded = Decode(Builder().Texture(12, format | 0x0900, 2, 1).U16(first).U16(second).Data());
    ASSERT_EQ(decoded.levels.size(), 1u);
    EXPECT_EQ(Texel(decoded.levels[0], 0, 0), texel0) << format;
    EXPECT_EQ(Texel(decoded.levels[0], 1, 0), texel1) << format;
  }
}

// Small VQ 16x16: entry e holds blue e (top-left), green e (bottom-left), red
// e (top-right), red e with blue 31 (bottom-right) in RGB565; block (bx, by)
// of an index image of side s takes entry (bx + 2by + s) mod 16, stored
// twiddled; mipmapped: the index images from the 1x1 level up, ten zeros.
Builder SmallVQ(bool mipmaps) {
  const uint32_t indexBytes = mipmaps ? 1 + 1 + 4 + 16 + 64 + 10 : 64;
  Builder file;
  file.Chunk("GBIX", 8).U32(42).U32(0x20202020).Texture(8 * 16 + 8 + indexBytes, mipmaps ? 0x1101 : 0x1001, 16, 16);
  for (uint32_t e = 0; e < 16; ++e) file.U16(e).U16(e << 5).U16(e << 11).U16(e << 11 | 0x1F);
  for (uint32_t side : mipmaps ? std::vector<uint32_t>{1, 1, 2, 4, 8} : std::vector<uint32_t>{8}) {
    std::string stored(side * side, '\0');
    for (uint32_t block = 0; block < side * side; ++block)
      stored[pvr::TwiddleIndex(block % side, block / side)] =
          static_cast<char>((block % side + 2 * (block / side) + side) % 16);
    file.bytes += stored;
  }
  if (mipmaps) file.bytes.append(10, '\0');
  return file;
}

TEST(Decoder, SmallVQCodebookCornersAndLevels) {
  const PVR_Decoded single = Decode(SmallVQ(false).Data()), mipmapped = Decode(SmallVQ(true).Data());
  EXPECT_EQ(single.hasGlobalIndex * 1000 + single.globalIndex, 1042u);
  ASSERT_EQ(single.levels.size(), 1u);
  ASSERT_EQ(mipmapped.levels.size(), 5u);
  const std::tuple<const PVR_Image &, int32_t, int32_t, std::vector<uint8_t>> texels[] = {
      {single.levels[0], 0, 0, {255, 0, 0, 66}},       // block (0,0): entry 8, top-left blue 8
      {single.levels[0], 3, 2, {255, 90, 0, 0}},       // block (1,1): entry 11, top-right red 11
      {single.levels[0], 4, 5, {255, 0, 56, 0}},       // block (2,2): entry 14, bottom-left green 14
      {single.levels[0], 15, 15, {255, 107, 0, 255}},  // block (7,7): entry 13, bottom-right
      {mipmapped.levels[4], 0, 0, {255, 8, 0, 255}},   // 1x1: entry 1, bottom-right
      {mipmapped.levels[3], 1, 0, {255, 8, 0, 0}},     // 2x2: entry 1, top-right
      {mipmapped.levels[2], 2, 3, {255, 0, 20, 0}},    // 4x4: block (1,1) entry 5, bottom-left
  };
  for (const auto &[level, x, y, texel] : texels) EXPECT_EQ(Texel(level, x, y), texel) << x << "," << y;
  EXPECT_EQ(mipmapped.levels[0].texels, single.levels[0].texels);
}

TEST(Decoder, RefusesMalformedFilesWithTheReason) {
  const Builder pvp = Builder().Chunk("PVPL", 16).U16(1).U16(0).U16(0).U16(2).U16(0).U16(0xFFFF).U32(0);
  const auto palettized = [](uint32_t category, uint8_t first) {
    return Builder().Texture(8 + 64, category, 8, 8).U8(first).bytes + std::string(63, '\0');
  };
  const auto cut = [](Builder file, size_t size) { return file.bytes.resize(size), file.bytes; };
  const std::tuple<std::string, std::string, const char *> cases[] = {
      {"", "", "no PVRT chunk in 0 bytes"},
      {"PVRT\x08", "", "cut short inside the chunk head at offset 0"},
      {Builder().Texture(100, 0x0101, 8, 8).bytes, "", "claims 100 bytes, only 8 follow"},
      {Builder().Chunk("GBIX", 0xFFFFFFF8).U32(1).bytes, "", "claims 4294967288 bytes"},
      {Builder().Chunk("PVRT", 4).U32(0x0101).bytes, "", "holds no category and size"},
      {Builder().Chunk("GBIX", 2).U16(0).bytes, "", "GBIX chunk of 2 bytes holds no index"},
      {Builder().Texture(8, 0x0E01, 8, 8).bytes, "", "texture type 0x0E is not supported"},
      {Builder().Texture(8, 0x0901, 12, 8).bytes, "", "size 12x8 is not a power of two"},
      {Builder().Texture(8, 0x0101, 16, 8).bytes, "", "needs a square texture, not 16x8"},
      {Builder().Texture(8, 0x0106, 8, 8).bytes, "", "pixel format 6 has no 16-bit texels"},
      {cut(Builder().Texture(8 + 127, 0x0101, 8, 8), 16 + 127), "", "texel data holds 127 bytes, 128 needed"},
      {cut(Builder().Texture(8 + 128, 0x0201, 8, 8), 16 + 128), "", "texel data holds 128 bytes, 172 needed"},
      {palettized(0x0701, 0), "", "palette file holds 0 bytes"},
      {palettized(0x0701, 0), Builder().Chunk("PVPX", 8).U32(0).U32(0).bytes, "not \"PVPL\""},
      {palettized(0x0701, 0), Builder().Chunk("PVPL", 9).U32(1).U32(0).bytes, "palette chunk length 9 does not fit"},
      {palettized(0x0701, 0), Builder().Chunk("PVPL", 8).U16(1).U16(0).U16(0).U16(3).bytes,
       "palette of 3 entries needs 6 bytes, its chunk holds 0"},
      {palettized(0x0703, 0), Builder().Chunk("PVPL", 8).U16(3).U32(0).U16(0).bytes,
       "palette pixel format 3 is not a palette entry format"},
      {palettized(0x0702, 0), pvp.bytes, "palette pixel format 1 differs from the texture's 2"},
      {palettized(0x0701, 2), pvp.bytes, "index 2 has no entry in the palette (entries 0 to 1)"},
      {Builder().Texture(8, 0x1101, 64, 64).bytes, "", "small VQ texture of side 64 with mipmaps"},
      {cut(Builder().Texture(8 + 2048, 0x0301, 64, 64), 16 + 2048), "", "VQ data holds 2048 bytes, 3072 needed"},
      {cut(SmallVQ(false), SmallVQ(false).bytes.size() - 1) + "\x10", "",
       "VQ index 16 is beyond the codebook of 16 entries"},
  };
  for (const auto &[file, palette, reason] : cases) {
    PVR_Decoded decoded;
    std::string error;
    EXPECT_FALSE(PVR_Decode(Bytes(file), Bytes(palette), &decoded, &error)) << reason;
    EXPECT_NE(error.find(reason), std::string::npos) << reason << " / " << error;
    EXPECT_TRUE(decoded.levels.empty()) << reason;
  }
}

}  // namespace
