// Strips too long for one chunk are cut into pieces and pieces grouped into
// chunks; every triangle must come back once, with its winding, and every
// chunk must fit its size and 14-bit count.
#include <gtest/gtest.h>

#include <array>
#include <vector>

#include "chunk/chunk_test_util.h"
#include "chunk/strip_layout.h"
#include "scene/records.h"

namespace {

TEST(StripLayout, LongStripsAreCutIntoChunksWithoutLosingTriangles) {
  struct Case {
    int triangles;
    bool left;
    int words, userWords, maxSize, maxCount;
  };
  const Case cases[] = {
      {1, true, 1, 0, 64, 0x3FFF},        {40, true, 1, 0, 64, 0x3FFF},  {41, false, 3, 0, 64, 0x3FFF},
      {57, true, 6, 3, 80, 0x3FFF},       {57, false, 6, 3, 80, 0x3FFF}, {300, true, 5, 2, 200, 3},
      {10241, true, 6, 3, 65534, 0x3FFF}, {10241, false, 1, 0, 65534, 0x3FFF},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.triangles);
    // A strip over the vertices 0 .. n+1, then a one-triangle strip in the list.
    const int n = c.triangles;
    std::vector<int> indices;
    for (int i = 0; i < n + 2; ++i) indices.push_back(i);
    std::vector<std::array<int, 3>> expected;
    chunktest::AddStrip(indices, c.left, expected);
    expected.push_back({9000, 9001, 9002});
    std::vector<ScPolygon> polygons(n + 1);
    std::vector<std::array<ScPolyNode, 3>> corners(n + 1);
    for (int i = 0; i <= n; ++i) {
      // Corner 2 of triangle i holds vertex i+2, the one the strip adds.
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
      EXPECT_EQ(run.firstPiece, pieces);
      EXPECT_LE(run.size, c.maxSize);
      EXPECT_LE(run.pieceCount, c.maxCount);
      pieces += run.pieceCount;
    }
    EXPECT_EQ(pieces, static_cast<int>(set.pieces.size()));
    std::vector<std::array<int, 3>> decoded;
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
