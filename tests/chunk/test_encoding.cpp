// The flag names of the chunk encoding, and the strip layout: strips too
// long for one chunk are cut into pieces and pieces grouped into chunks. (The
// chunk kinds and vertex types are met by the round trips over every kind.)
#include <gtest/gtest.h>

#include <numeric>
#include <random>
#include <string>

#include "chunk/chunk_test_util.h"
#include "chunk/encoding.h"
#include "chunk/strip_layout.h"
#include "scene/records.h"

namespace {

TEST(Encoding, FlagNamesByChunkKind) {
  struct Case {
    uint16_t value;
    VKFlagWord word;
    const char *text;
  };
  const Case cases[] = {
      {0, VKFlagWord::kStrip, "0x0"},
      {0x0900, VKFlagWord::kStrip, "FST_IL|FST_UA"},
      {0x0000, VKHeadFlagWord(CnkB_BA), "0x0"},
      {0x0300, VKHeadFlagWord(CnkB_DA), "FDA_075"},  // FDA and FEXP share bits 8-11
      {0x0300, VKHeadFlagWord(CnkB_EXP), "FEXP_03"},
      {0x1000, VKHeadFlagWord(CnkB_EXP), "FEXP_16"},
      {0xA000, VKHeadFlagWord(CnkT_TID), "FFL_U|FCL_U"},  // FFL_U / FFM_TF share 0x8000, FCL_U / FSS 0x2000
      {0xA000, VKFlagWord::kTextureId, "FFM_TF|FSS"},
      {0x4400, VKHeadFlagWord(CnkT_TID), "FFL_V|FDA_100"},
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

  // Any value printed and read back (names by the table, numbers as
  // hexadecimal, as a Chunk-model reader would) gives the value again.
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

// Every triangle must come back once, with its winding, and every chunk must
// fit its size and 14-bit count.
TEST(StripLayout, LongStripsAreCutIntoChunksWithoutLosingTriangles) {
  struct Case {
    int triangles;
    bool left;
    int words, userWords, maxSize, maxCount;
  };
  const Case cases[] = {
      {1, true, 1, 0, 64, 0x3FFF},  {1, true, 1, 0, 64, 1},        {40, true, 1, 0, 64, 0x3FFF},
      {41, false, 3, 0, 64, 0x3FFF}, {57, true, 6, 3, 80, 0x3FFF},  {57, false, 6, 3, 80, 0x3FFF}, {300, true, 5, 2, 200, 3},
      {10241, true, 6, 3, 65534, 0x3FFF}, {10241, false, 1, 0, 65534, 0x3FFF},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.triangles);
    // A strip over the vertices 0 .. n+1 (corner 2 of triangle i holds the
    // vertex i+2 it adds), then a one-triangle strip in the list.
    const int n = c.triangles;
    std::vector<int> indices(n + 2);
    std::iota(indices.begin(), indices.end(), 0);
    std::vector<chunktest::Triangle> expected, decoded;
    chunktest::AddStrip(indices, c.left, expected);
    expected.push_back({9000, 9001, 9002});
    std::vector<ScPolygon> polygons(n + 1);
    std::vector<std::array<ScPolyNode, 3>> corners(n + 1);
    for (int i = 0; i <= n; ++i) {
      ScPolygon &p = polygons[i];
      p.nbCorner = 3;
      p.corners = corners[i].data();
      for (int k = 0; k < 3; ++k) p.corners[k].vertex = static_cast<uint16_t>(expected[i][k]);
      if (i > 0) polygons[i - 1].listNext = &p;
      if (i > 0 && i < n) p.stripPrev = &polygons[i - 1], polygons[i - 1].stripNext = &p, p.stripState = 0x8000 | 2;
    }
    // Strip heads; the start corner lists the first triangle from vertex 0.
    polygons[0].stripState = static_cast<uint16_t>(0xC000 | (c.left ? 0x2000 : 1));
    polygons[0].stripLength = static_cast<uint16_t>(n);
    polygons[n].stripState = 0xC000 | 0x2400;
    polygons[n].stripLength = 1;

    VKStripSet set;
    VKCollectStrips(&polygons[0], c.words, c.userWords, set, c.maxSize);
    int pieces = 0;
    for (const VKStripRun &run : VKSplitStripChunks(set, c.words, c.userWords, c.maxSize, c.maxCount)) {
      EXPECT_TRUE(run.firstPiece == pieces && run.size <= c.maxSize && run.pieceCount <= c.maxCount)
          << run.firstPiece << " " << run.size << " " << run.pieceCount;
      pieces += run.pieceCount;
    }
    EXPECT_EQ(pieces, static_cast<int>(set.pieces.size()));
    for (const VKStripPiece &piece : set.pieces) {
      std::vector<int> v;
      for (int i = piece.first; i < piece.first + piece.count; ++i)
        v.push_back(set.vertices[i].polygon->corners[set.vertices[i].corner].vertex);
      chunktest::AddStrip(v, piece.left, decoded);
    }
    EXPECT_EQ(chunktest::Normalized(decoded), chunktest::Normalized(expected));
  }
}

}  // namespace
