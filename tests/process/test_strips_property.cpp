// Properties of the strip builder over generated meshes, and the fast
// orderings against the exchange sorts they replace.
#include <gtest/gtest.h>

#include <random>

#include "process/strips.h"
#include "test_strips_mesh.h"

namespace {

using namespace striptest;

TEST(StripOrder, EdgeOrderMatchesTheExchangeSortWithHeavyTies) {
  std::mt19937 rng(7);
  for (int round = 0; round < 3000; ++round) {
    int n = static_cast<int>(rng() % 40);
    uint32_t range = 1 + rng() % (round % 3 == 0 ? 3 : 20);
    std::vector<uint32_t> keys(static_cast<size_t>(n));
    for (auto &k : keys) k = (rng() % range) << (rng() % 2 ? 16 : 0);
    std::vector<int32_t> fast(static_cast<size_t>(n)), literal(static_cast<size_t>(n));
    VKEdgeOrder(keys.data(), n, fast.data());
    LiteralEdgeOrder(keys.data(), n, literal.data());
    ASSERT_EQ(fast, literal) << "round " << round;
  }
}

TEST(StripOrder, TriangleOrderMatchesTheExchangeSortWithHeavyTies) {
  std::mt19937 rng(11);
  const float angles[] = {0.0f, 0.0f, 12.5f, 45.0f, 90.0f, 999.0f};
  for (int round = 0; round < 3000; ++round) {
    int n = static_cast<int>(rng() % 40);
    std::vector<float> keys(static_cast<size_t>(n) * 3);
    for (auto &k : keys) k = angles[rng() % (round % 2 ? 2 : 6)];
    std::vector<int32_t> fast(static_cast<size_t>(n)), literal(static_cast<size_t>(n));
    VKTriangleOrder(keys.data(), n, fast.data());
    LiteralTriangleOrder(keys.data(), n, literal.data());
    ASSERT_EQ(fast, literal) << "round " << round;
  }
}

struct Outcome {
  BuiltMesh built;
  int strips;
  VKStripOptions options;
};

Outcome Strip(const MeshSpec &spec, uint32_t bits, uint32_t outputFlags, bool literal) {
  Outcome o;
  o.built = Build(spec);
  VKInitStripOptions(&o.options, bits, outputFlags);
  if (literal) {
    o.options.edgeOrder = LiteralEdgeOrder;
    o.options.triangleOrder = LiteralTriangleOrder;
  }
  SetWarningStream(nullptr);
  o.strips = VKStripList(o.built.mesh->vertices, o.built.mesh->nbVertex, o.built.first(), -1, &o.options);
  SetWarningStream(stderr);
  return o;
}

int Index(const ScMesh *mesh, const ScPolygon *p) { return p != nullptr ? static_cast<int>(p - mesh->polygons) : -1; }

bool Degenerate(const ScPolygon &p) {
  int a = p.corners[0].vertex, b = p.corners[1].vertex, c = p.corners[2].vertex;
  return a == b || b == c || c == a;
}

void CheckMesh(const MeshSpec &spec, uint32_t bits, const std::string &what) {
  SCOPED_TRACE(what);
  Outcome fast = Strip(spec, bits, 0, false);
  Outcome literal = Strip(spec, bits, 0, true);
  const ScMesh *fm = fast.built.mesh;
  const ScMesh *lm = literal.built.mesh;

  ASSERT_EQ(fast.strips, literal.strips);
  EXPECT_EQ(fast.options.stripTotal, literal.options.stripTotal);
  EXPECT_EQ(fast.options.stripVertexSum, literal.options.stripVertexSum);
  EXPECT_EQ(fast.options.polygonTotal, literal.options.polygonTotal);
  for (int t = 0; t < fm->nbPolygon; ++t) {
    const ScPolygon &f = fm->polygons[t];
    const ScPolygon &l = lm->polygons[t];
    ASSERT_EQ(f.stripState, l.stripState) << "polygon " << t;
    ASSERT_EQ(f.stripLength, l.stripLength) << "polygon " << t;
    ASSERT_EQ(Index(fm, f.stripNext), Index(lm, l.stripNext)) << "polygon " << t;
    ASSERT_EQ(Index(fm, f.stripPrev), Index(lm, l.stripPrev)) << "polygon " << t;
  }

  Decoded d = Decode(fm);
  EXPECT_EQ(d.error, "");
  for (int t = 0; t < fm->nbPolygon; ++t) {
    EXPECT_EQ(d.drawn[t], Degenerate(fm->polygons[t]) ? 0 : 1) << "polygon " << t;
  }
  int vertices = 0;
  for (const auto &s : d.strips) vertices += static_cast<int>(s.size());
  EXPECT_EQ(static_cast<int>(d.strips.size()), fast.strips);
  EXPECT_EQ(vertices, fast.options.stripVertexSum);
  if (bits == kStripBitSquare) {
    for (const auto &s : d.strips) EXPECT_LE(s.size(), 4u);
  }
}

TEST(StripProperty, GridsSoupsAndSeamsStripEveryTriangleOnceWithItsWindingLikeTheExchangeSorts) {
  std::mt19937 rng(2024);
  for (uint32_t bits : {kStripBitStrips, kStripBitSquare}) {
    for (auto [w, h] : {std::pair{1, 1}, {2, 3}, {7, 5}, {16, 16}}) {
      CheckMesh(Grid(w, h), bits, "grid " + std::to_string(w) + "x" + std::to_string(h));
    }
    for (int round = 0; round < 40; ++round) {
      CheckMesh(Soup(rng, 5 + static_cast<int>(rng() % 300)), bits, "soup " + std::to_string(round));
    }
    // Grids with UV seams and a few tilted quads break the ties unevenly.
    for (int round = 0; round < 10; ++round) {
      MeshSpec spec = Grid(6 + round, 4);
      for (Tri &tri : spec.tris) {
        if (rng() % 5 == 0) tri.c[rng() % 3].u += 0.25f;
        if (rng() % 7 == 0) tri.normal[0] = 0.2f;
      }
      CheckMesh(spec, bits, "seamed grid " + std::to_string(round));
    }
  }
}

}  // namespace
