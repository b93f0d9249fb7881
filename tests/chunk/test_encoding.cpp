// The chunk encoding tables and packers.
#include <gtest/gtest.h>

#include <random>
#include <set>
#include <string>

#include "chunk/encoding.h"

namespace {

TEST(Encoding, Packers) {
  // NORM32: -1.0 is -511 in 10-bit two's complement.
  EXPECT_EQ(VKPackNORM32(-1.0f, -1.0f, -1.0f), 0x201u << 20 | 0x201u << 10 | 0x201u);
  EXPECT_EQ(VKPackNORM32(1.0f, 0.0f, 0.5f), 0x1FFu << 20 | 0u << 10 | 255u);
  EXPECT_EQ(VKNorm10(-0.5f), (-255) & 0x3FF);
  EXPECT_EQ(VKPackARGB8888(0x80, 0x10, 0x20, 0x30), 0x80102030u);
  EXPECT_EQ(VKPackARGB8888(-1, 0x1FF, 0, 1), 0xFFFF0001u);
  // Diffuse orange (255, 128, 64), specular (8, 4, 2).
  EXPECT_EQ(VKPackD565S565(VKChannel5(255), VKChannel6(128), VKChannel5(64), VKChannel5(8), VKChannel6(4),
                           VKChannel5(2)),
            0xFC080820u);
  // Diffuse (a 255, r 128, g 64, b 16) as 4-4-4-4, specular white.
  EXPECT_EQ(VKPackD4444S565(VKChannel4(255), VKChannel4(128), VKChannel4(64), VKChannel4(16), VKChannel5(255),
                            VKChannel6(255), VKChannel5(255)),
            0xF841FFFFu);
  // Intensities: white is 32640, pure red trunc(0.299 x 255 x 128) = 9759.
  EXPECT_EQ(VKPackD16S16(VKIntensity(255, 255, 255), VKIntensity(255, 0, 0)), 0x7F80261Fu);
  // Two strips of 3 and 1 triangles (8 vertices), UVN, no user words: 8 x 3 + 2 + 1 = 27, made 28.
  EXPECT_EQ(VKEvenSize(VKStripChunkSize(4, 2, 0, 3)), 28);
  EXPECT_EQ(VKCountWord(2, 5), 0x8005);
}

TEST(Encoding, ChunkKindsByNameAndId) {
  std::set<std::string_view> names;
  for (int i = 0; i < kVKChunkKindCount; i++) {
    const VKChunkKind &kind = kVKChunkKinds[i];
    EXPECT_TRUE(names.insert(kind.name).second) << kind.name;
    EXPECT_TRUE(i == 0 || kVKChunkKinds[i - 1].id < kind.id) << kind.name;  // id order
    EXPECT_EQ(VKFindChunkKind(kind.name), &kind);
    EXPECT_EQ(VKFindChunkKindById(kind.id), &kind);
  }
  EXPECT_EQ(VKFindChunkKind("CnkS_UVF"), nullptr);
  EXPECT_EQ(VKFindChunkKindById(0x33), nullptr);
}

TEST(Encoding, FlagNamesByChunkKind) {
  struct Case {
    uint16_t value;
    VKFlagWord word;
    const char *text;
  };
  const Case cases[] = {
      {0, VKFlagWord::kStrip, "0x0"},
      {0x0900, VKFlagWord::kStrip, "FST_IL|FST_UA"},
      {0x2500, VKHeadFlagWord(CnkM_DAS), "FBS_SA|FBD_ISA"},
      {0x0000, VKHeadFlagWord(CnkB_BA), "0x0"},
      {0x0300, VKHeadFlagWord(CnkB_DA), "FDA_075"},  // FDA and FEXP share bits 8-11
      {0x0300, VKHeadFlagWord(CnkB_EXP), "FEXP_03"},
      {0x1000, VKHeadFlagWord(CnkB_EXP), "FEXP_16"},
      {0xA000, VKHeadFlagWord(CnkT_TID), "FFL_U|FCL_U"},  // FFL_U / FFM_TF share 0x8000, FCL_U / FSS 0x2000
      {0xA000, VKFlagWord::kTextureId, "FFM_TF|FSS"},
      {0x4400, VKHeadFlagWord(CnkT_TID), "FFL_V|FDA_100"},
      {0x4000, VKFlagWord::kTextureId, "FFM_BF"},
      {0x8100, VKFlagWord::kStrip, "FST_IL|0x8000"},  // bits outside the word's groups stay a number
      {0x1F00, VKFlagWord::kExponent, "0x1f00"},
  };
  for (const Case &c : cases) EXPECT_EQ(VKFlagsText(c.value, c.word), c.text) << std::hex << c.value;
  EXPECT_EQ(VKFlagName(kFBS, 0x3800), "FBS_IDA");
  EXPECT_EQ(VKFlagName(kFFM, 0x0000), "FFM_PS");
  EXPECT_EQ(VKFlagName(kFDA, 0x0000), "");
  EXPECT_EQ(VKFlagValue("FST_ENV"), 0x4000);
  EXPECT_EQ(VKFlagValue("FDA_375"), 0x0F00);
  EXPECT_EQ(VKFlagValue("FST_XX"), 0xFC19);  // -999 as 16 bits
}

// Printing a value and reading the names back (names by the table, numbers as
// hexadecimal, as the Chunk-model reader does) gives the value again.
TEST(Encoding, FlagTextReadsBackToItsValue) {
  std::mt19937 random(7);
  for (VKFlagWord word : {VKFlagWord::kBlend, VKFlagWord::kDepthAdjust, VKFlagWord::kExponent,
                          VKFlagWord::kTextureHead, VKFlagWord::kTextureId, VKFlagWord::kStrip}) {
    for (int i = 0; i < 500; i++) {
      const auto value = static_cast<uint16_t>(random() & 0xFF00);
      const std::string text = VKFlagsText(value, word) + "|";
      uint16_t back = 0;
      for (size_t start = 0, bar; (bar = text.find('|', start)) != std::string::npos; start = bar + 1) {
        const std::string part = text.substr(start, bar - start);
        back |= part.rfind("0x", 0) == 0 ? static_cast<uint16_t>(std::stoul(part, nullptr, 16)) : VKFlagValue(part);
      }
      EXPECT_EQ(back, value) << text;
    }
  }
}

}  // namespace
