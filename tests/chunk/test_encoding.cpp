// The chunk encoding tables and packers.
#include <gtest/gtest.h>

#include <random>
#include <set>
#include <string>

#include "chunk/encoding.h"

namespace {

TEST(Encoding, Packers) {
  // NORM32: -1.0 is -511 in 10-bit two's complement.
  EXPECT_EQ(VKNorm10(-1.0f), 0x201);
  EXPECT_EQ(VKPackNORM32(-1.0f, -1.0f, -1.0f), 0x201u << 20 | 0x201u << 10 | 0x201u);
  EXPECT_EQ(VKPackNORM32(1.0f, 0.0f, 0.5f), 0x1FFu << 20 | 0u << 10 | 255u);
  EXPECT_EQ(VKNorm10(-0.5f), (-255) & 0x3FF);

  EXPECT_EQ(VKPackARGB8888(0x80, 0x10, 0x20, 0x30), 0x80102030u);
  EXPECT_EQ(VKPackARGB8888(-1, 0x1FF, 0, 1), 0xFFFF0001u);

  // Diffuse orange (255, 128, 64), specular (8, 4, 2).
  int d[3] = {255, 128, 64}, s[3] = {8, 4, 2};
  EXPECT_EQ(VKPackD565S565(VKChannel5(d[0]), VKChannel6(d[1]), VKChannel5(d[2]), VKChannel5(s[0]),
                           VKChannel6(s[1]), VKChannel5(s[2])),
            0xFC080820u);
  // Diffuse (a 255, r 128, g 64, b 16) as 4-4-4-4, specular white.
  EXPECT_EQ(VKPackD4444S565(VKChannel4(255), VKChannel4(128), VKChannel4(64), VKChannel4(16), VKChannel5(255),
                            VKChannel6(255), VKChannel5(255)),
            0xF841FFFFu);
  // Intensities: white is 32640, pure red trunc(0.299 x 255 x 128) = 9759.
  EXPECT_EQ(VKIntensity(255, 255, 255), 32640);
  EXPECT_EQ(VKIntensity(255, 0, 0), 9759);
  EXPECT_EQ(VKPackD16S16(VKIntensity(255, 255, 255), VKIntensity(255, 0, 0)), 0x7F80261Fu);
  EXPECT_EQ(VKPackD16S16(0, 0), 0u);
}

TEST(Encoding, ChunkKinds) {
  std::set<std::string_view> names;
  for (int i = 0; i < kVKChunkKindCount; i++) {
    const VKChunkKind &kind = kVKChunkKinds[i];
    EXPECT_TRUE(names.insert(kind.name).second) << kind.name;
    if (i > 0) {
      EXPECT_LT(kVKChunkKinds[i - 1].id, kind.id);
    }
    EXPECT_EQ(VKFindChunkKind(kind.name), &kind);
    EXPECT_EQ(VKFindChunkKindById(kind.id), &kind);
  }
  EXPECT_EQ(kVKChunkKindCount, 44);
  EXPECT_EQ(VKFindChunkKind("CnkV_VNX_UF")->id, 0x32);
  EXPECT_EQ(VKFindChunkKind("CnkV_VN_SH")->words, 8);
  EXPECT_EQ(VKFindChunkKind("CnkS_UVH_D8")->words, 5);
  EXPECT_EQ(VKFindChunkKind("CnkM_DAS")->words, 6);
  EXPECT_EQ(VKFindChunkKind("CnkS_UVF"), nullptr);
  EXPECT_EQ(VKFindChunkKindById(0x33), nullptr);

  EXPECT_EQ(VKHeadWord(CnkS_UVN, VKFlagValue("FST_UA")), 0x0841);
  EXPECT_EQ(VKVertexHeadWord(CnkV_VN, VKVertexChunkSize(2, 6)), 0x000D0029u);
  // Two strips of 3 and 1 triangles (8 vertices), UVN, no user words: 8 x 3 + 2 + 1 = 27, made 28.
  EXPECT_EQ(VKStripChunkSize(4, 2, 0, 3), 27);
  EXPECT_EQ(VKEvenSize(27), 28);
  EXPECT_EQ(VKCountWord(2, 5), 0x8005);
}

TEST(Encoding, FlagNamesByChunkKind) {
  EXPECT_EQ(VKFlagsText(0, VKFlagWord::kStrip), "0x0");
  EXPECT_EQ(VKFlagsText(0x0900, VKFlagWord::kStrip), "FST_IL|FST_UA");
  EXPECT_EQ(VKFlagsText(0x2500, VKHeadFlagWord(CnkM_DAS)), "FBS_SA|FBD_ISA");
  EXPECT_EQ(VKFlagsText(0x0000, VKHeadFlagWord(CnkB_BA)), "0x0");
  // FDA and FEXP share bits 8-11.
  EXPECT_EQ(VKFlagsText(0x0300, VKHeadFlagWord(CnkB_DA)), "FDA_075");
  EXPECT_EQ(VKFlagsText(0x0300, VKHeadFlagWord(CnkB_EXP)), "FEXP_03");
  EXPECT_EQ(VKFlagsText(0x1000, VKHeadFlagWord(CnkB_EXP)), "FEXP_16");
  // FFL_U / FFM_TF share 0x8000, FCL_U / FSS share 0x2000.
  EXPECT_EQ(VKFlagsText(0xA000, VKHeadFlagWord(CnkT_TID)), "FFL_U|FCL_U");
  EXPECT_EQ(VKFlagsText(0xA000, VKFlagWord::kTextureId), "FFM_TF|FSS");
  EXPECT_EQ(VKFlagsText(0x4400, VKHeadFlagWord(CnkT_TID)), "FFL_V|FDA_100");
  EXPECT_EQ(VKFlagsText(0x4000, VKFlagWord::kTextureId), "FFM_BF");
  // Bits outside the word's groups stay visible as a number.
  EXPECT_EQ(VKFlagsText(0x8100, VKFlagWord::kStrip), "FST_IL|0x8000");
  EXPECT_EQ(VKFlagsText(0x1F00, VKFlagWord::kExponent), "0x1f00");

  EXPECT_EQ(VKFlagName(kFBS, 0x3800), "FBS_IDA");
  EXPECT_EQ(VKFlagName(kFFM, 0x0000), "FFM_PS");
  EXPECT_EQ(VKFlagName(kFDA, 0x0000), "");
  EXPECT_EQ(VKFlagValue("FST_ENV"), 0x4000);
  EXPECT_EQ(VKFlagValue("FFM_TF"), 0x8000);
  EXPECT_EQ(VKFlagValue("FDA_375"), 0x0F00);
  EXPECT_EQ(VKFlagValue("FST_XX"), kVKUnknownFlag);
  EXPECT_EQ(kVKUnknownFlag, static_cast<uint16_t>(-999));
}

// Printing a value and reading the names back (as the Chunk-model reader
// does: names by the table, numbers as hexadecimal) gives the value again.
TEST(Encoding, FlagTextReadsBackToItsValue) {
  const VKFlagWord words[] = {VKFlagWord::kBlend,       VKFlagWord::kDepthAdjust, VKFlagWord::kExponent,
                              VKFlagWord::kTextureHead, VKFlagWord::kTextureId,   VKFlagWord::kStrip};
  std::mt19937 random(7);
  for (VKFlagWord word : words) {
    for (int i = 0; i < 500; i++) {
      auto value = static_cast<uint16_t>(random() & 0xFF00);
      std::string text = VKFlagsText(value, word);
      uint16_t back = 0;
      size_t start = 0;
      while (start <= text.size()) {
        size_t bar = text.find('|', start);
        std::string part = text.substr(start, bar == std::string::npos ? std::string::npos : bar - start);
        back |= part.rfind("0x", 0) == 0 ? static_cast<uint16_t>(std::stoul(part, nullptr, 16)) : VKFlagValue(part);
        if (bar == std::string::npos) break;
        start = bar + 1;
      }
      EXPECT_EQ(back, value) << text;
    }
  }
}

}  // namespace
