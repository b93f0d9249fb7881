// Strips too long for one chunk are cut into pieces and pieces grouped into
// chunks; every triangle must come back once, with its winding, and every
// chunk must fit its 16-bit size and 14-bit count.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <vector>

#include "chunk/chunk_test_util.h"
#include "chunk/strip_layout.h"
#include "scene/records.h"

namespace {

// One strip of n triangles over the vertices 0 .. n+1, left or right, and
// the triangles it stands for.
struct BuiltStrip {
  std::vector<ScPolygon> polygons;
  std::vector<std::array<ScPolyNode, 3>> corners;
  std::vector<std::array<int, 3>> triangles;
};

void BuildStrip(int n, bool left, BuiltStrip &strip) {
  strip.polygons.assign(n, ScPolygon{});
  strip.corners.assign(n, {});
  for (int i = 0; i < n; ++i) {
    // The written order i, i+1, i+2 is the winding of triangle i when the
    // strip is left and i is even, or right and i is odd.
    const bool listed = left == (i % 2 == 0);
    std::array<int, 3> t = listed ? std::array<int, 3>{i, i + 1, i + 2} : std::array<int, 3>{i + 1, i, i + 2};
    strip.triangles.push_back(t);
    ScPolygon &p = strip.polygons[i];
    p.nbCorner = 3;
    p.corners = strip.corners[i].data();
    for (int c = 0; c < 3; ++c) p.corners[c].vertex = static_cast<uint16_t>(t[c]);
    // Corner 2 holds vertex i+2: the new corner, and on the first triangle
    // the corner opposite the edge shared with the second.
    if (i == 0) {
      // Start corner c must list the first triangle from vertex 0.
      const int start = t[0] == 0 ? 0 : 1;
      p.stripState = static_cast<uint16_t>(0xC000 | (left ? 0x2000 : 0) | start);
      p.stripLength = static_cast<uint16_t>(n);
    } else {
      p.stripState = 0x8000 | 2;
    }
  }
  for (int i = 0; i + 1 < n; ++i) {
    strip.polygons[i].stripNext = &strip.polygons[i + 1];
    strip.polygons[i + 1].stripPrev = &strip.polygons[i];
    strip.polygons[i].listNext = &strip.polygons[i + 1];
  }
}

TEST(StripLayout, LongStripsAreCutIntoChunksWithoutLosingTriangles) {
  struct Case {
    int triangles;
    bool left;
    int words;
    int userWords;
    int maxSize;
    int maxCount;
  };
  const Case cases[] = {
      {1, true, 1, 0, 64, 0x3FFF},    {40, true, 1, 0, 64, 0x3FFF},  {41, false, 3, 0, 64, 0x3FFF},
      {57, true, 6, 3, 80, 0x3FFF},   {57, false, 6, 3, 80, 0x3FFF}, {300, true, 5, 2, 200, 3},
      {10241, true, 6, 3, 65534, 0x3FFF}, {10241, false, 1, 0, 65534, 0x3FFF},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.triangles);
    // The strip under test, and a one-triangle strip after it in the list.
    BuiltStrip strip;
    BuildStrip(c.triangles, c.left, strip);
    std::array<ScPolyNode, 3> single{};
    ScPolygon tail{};
    tail.nbCorner = 3;
    tail.corners = single.data();
    for (int k = 0; k < 3; ++k) single[k].vertex = static_cast<uint16_t>(9000 + k);
    tail.stripState = 0xC000 | 0x2400;
    tail.stripLength = 1;
    strip.polygons.back().listNext = &tail;

    VKStripSet set;
    VKCollectStrips(&strip.polygons[0], c.words, c.userWords, set, c.maxSize);
    const std::vector<VKStripRun> runs = VKSplitStripChunks(set, c.words, c.userWords, c.maxSize, c.maxCount);
    int pieces = 0;
    for (const VKStripRun &run : runs) {
      EXPECT_EQ(run.firstPiece, pieces);
      EXPECT_LE(run.size, c.maxSize);
      EXPECT_LE(run.pieceCount, c.maxCount);
      pieces += run.pieceCount;
    }
    EXPECT_EQ(pieces, static_cast<int>(set.pieces.size()));

    std::vector<std::array<int, 3>> decoded;
    for (const VKStripPiece &piece : set.pieces) {
      for (int i = 0; i + 2 < piece.count; ++i) {
        int v[3];
        for (int k = 0; k < 3; ++k) {
          const VKStripVertex &sv = set.vertices[piece.first + i + k];
          v[k] = sv.polygon->corners[sv.corner].vertex;
        }
        const bool listed = piece.left == (i % 2 == 0);
        decoded.push_back(chunktest::Canonical(listed ? std::array<int, 3>{v[0], v[1], v[2]}
                                                      : std::array<int, 3>{v[1], v[0], v[2]}));
      }
    }
    std::vector<std::array<int, 3>> expected;
    for (const auto &t : strip.triangles) expected.push_back(chunktest::Canonical(t));
    expected.push_back({9000, 9001, 9002});
    std::sort(expected.begin(), expected.end());
    std::sort(decoded.begin(), decoded.end());
    EXPECT_EQ(decoded, expected);
  }
}

}  // namespace
