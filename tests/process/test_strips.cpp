// Strip builder on small meshes worked out by hand.
#include <gtest/gtest.h>

#include "process/nodelist.h"
#include "process/optimize.h"
#include "process/strips.h"
#include "scene/memory.h"
#include "test_strips_mesh.h"

namespace {

using namespace striptest;

struct Result {
  BuiltMesh built;
  int strips;
  VKStripOptions options;
  std::string warnings;
  uint16_t state(int t) const { return built.mesh->polygons[t].stripState; }
  const ScPolygon *polygon(int t) const { return &built.mesh->polygons[t]; }
};

Result StripIt(const MeshSpec &spec, uint32_t stripBits = kStripBitStrips, uint32_t outputFlags = 0) {
  Result r;
  r.built = Build(spec);
  VKInitStripOptions(&r.options, stripBits, outputFlags);
  Capture capture;
  r.strips = VKStripList(r.built.mesh->vertices, r.built.mesh->nbVertex, r.built.first(), -1, &r.options);
  r.warnings = capture.Text();
  return r;
}

// A unit quad 0 (0,0), 1 (1,0), 2 (1,1), 3 (0,1) split along 0-2.
MeshSpec Quad() {
  MeshSpec spec;
  spec.positions = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}};
  spec.tris = {MakeTri(0, 1, 2), MakeTri(0, 2, 3)};
  return spec;
}

void Tilt(Tri &tri, double degrees) {
  double r = degrees / 57.29578;
  tri.normal[0] = static_cast<float>(std::sin(r));
  tri.normal[1] = 0.0f;
  tri.normal[2] = static_cast<float>(std::cos(r));
}

TEST(Strips, TwoTrianglesWithContinuousUvsMakeOneLeftStrip) {
  // Both keys (0, 999, 999): the later triangle seeds. Its slot toward the
  // first is edge (0, 2); no triangle beyond, no backward edge: a left strip
  // starting at the corner opposite (0, 2), vertex 3.
  Result r = StripIt(Quad());
  EXPECT_EQ(r.strips, 1);
  EXPECT_EQ(r.state(1), 0xE002);  // used, first, left, start corner 2
  EXPECT_EQ(r.polygon(1)->stripLength, 2);
  EXPECT_EQ(r.state(0), 0x8001);  // new corner 1: vertex 1
  EXPECT_EQ(r.polygon(1)->stripNext, r.polygon(0));
  EXPECT_EQ(r.polygon(0)->stripPrev, r.polygon(1));
  Decoded d = Decode(r.built.mesh);
  ASSERT_EQ(d.strips.size(), 1u);
  EXPECT_EQ(d.strips[0], (std::vector<int>{3, 0, 2, 1}));
  EXPECT_EQ(d.error, "");
  EXPECT_EQ(r.options.polygonTotal, 2);
  EXPECT_EQ(r.options.polygonVertexSum, 6);
  EXPECT_EQ(r.options.stripTotal, 1);
  EXPECT_EQ(r.options.stripVertexSum, 4);
  EXPECT_EQ(r.warnings, "");
}

TEST(Strips, UvJumpAcrossTheEdgeGivesTwoSingleStrips) {
  MeshSpec spec = Quad();
  spec.tris[1].c[1].u += 1.0f / 255.0f;  // one step of an 8-bit coordinate
  Result r = StripIt(spec);
  EXPECT_EQ(r.strips, 2);
  for (int t = 0; t < 2; ++t) {
    EXPECT_EQ(r.state(t), 0xE400) << t;  // used, first, left, single, corner 0
    EXPECT_EQ(r.polygon(t)->stripLength, 1);
    EXPECT_EQ(r.polygon(t)->stripNext, nullptr);
  }
  EXPECT_EQ(r.options.stripVertexSum, 6);

  MeshSpec small = Quad();
  small.tris[1].c[1].v += 0.003f;  // within 0.0039: still one strip
  EXPECT_EQ(StripIt(small).strips, 1);
}

TEST(Strips, DegenerateTriangleWarnsOnceAndStaysOutOfStrips) {
  MeshSpec spec = Quad();
  spec.tris.insert(spec.tris.begin() + 1, MakeTri(0, 2, 2));
  Result r = StripIt(spec);
  EXPECT_EQ(r.warnings, "\n##### Warning : Bad data! polygon 1 (0, 2, 2)\n");
  EXPECT_EQ(r.state(1), 0x8008);
  EXPECT_EQ(r.strips, 1);
  Decoded d = Decode(r.built.mesh);
  EXPECT_EQ(d.drawn, (std::vector<int>{1, 0, 1}));
  EXPECT_EQ(d.error, "");
  EXPECT_EQ(r.options.polygonTotal, 3);
}

TEST(Strips, QuadJoinsInStripModeAndInSquareModeOnlyWithinATenthOfADegree) {
  struct Case {
    double tilt;
    uint32_t bits;
    int strips;
  };
  const Case cases[] = {
      {30.0, kStripBitStrips, 1},
      {30.0, kStripBitStrips | kStripBitSquare, 1},  // strips win over square
      {0.0, kStripBitSquare, 1},
      {0.05, kStripBitSquare, 1},
      {0.2, kStripBitSquare, 2},
      {30.0, kStripBitSquare, 2},
  };
  for (const Case &c : cases) {
    MeshSpec spec = Quad();
    Tilt(spec.tris[1], c.tilt);
    Result r = StripIt(spec, c.bits);
    EXPECT_EQ(r.strips, c.strips) << c.tilt << " " << std::hex << c.bits;
    EXPECT_EQ(Decode(r.built.mesh).error, "");
  }
}

TEST(Strips, SeedInTheMiddleGrowsBothWaysIntoARightStrip) {
  // A = (0,1,4) between B = (0,4,3) across (4,0) and D = (1,5,4) across
  // (1,4). A has the smallest key and seeds: attempt 1 goes forward to B
  // and backward to D; attempt 2 (toward D) reaches only D. One backward
  // step leaves the backward parity at 1: a right strip from D, starting
  // at the corner opposite (1,4), vertex 5.
  MeshSpec spec;
  spec.positions = {{0, 0, 0}, {1, 0, 0}, {2, 0, 0}, {0, 1, 0}, {1, 1, 0}, {2, 1, 0}};
  spec.tris = {MakeTri(0, 1, 4), MakeTri(0, 4, 3), MakeTri(1, 5, 4)};
  Result r = StripIt(spec);
  EXPECT_EQ(r.strips, 1);
  EXPECT_EQ(r.state(2), 0xC001);  // used, first, right, start corner 1
  EXPECT_EQ(r.polygon(2)->stripLength, 3);
  EXPECT_EQ(r.state(0), 0x8000);
  EXPECT_EQ(r.state(1), 0x8002);
  Decoded d = Decode(r.built.mesh);
  ASSERT_EQ(d.strips.size(), 1u);
  EXPECT_EQ(d.strips[0], (std::vector<int>{5, 1, 4, 0, 3}));
  EXPECT_EQ(d.error, "");
  EXPECT_EQ(r.options.stripVertexSum, 5);
}

TEST(Strips, EdgeOfThreeTrianglesJoinsOnlyTheFirstTwo) {
  MeshSpec spec;
  spec.positions = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, -1, 0}, {1, -1, 1}};
  spec.tris = {MakeTri(0, 1, 2), MakeTri(1, 0, 3), MakeTri(1, 0, 4)};
  Result r = StripIt(spec);
  EXPECT_EQ(r.strips, 2);
  EXPECT_EQ(r.polygon(2)->stripState, 0xE400);  // alone
  EXPECT_EQ(r.polygon(0)->stripNext != nullptr || r.polygon(1)->stripNext != nullptr, true);
  EXPECT_EQ(Decode(r.built.mesh).error, "");
}

TEST(Strips, PolygonVertexColourAndNormalCompareTheFirstCornersOfTheEdge) {
  // Corner a of edge (0,2) in the second triangle is its corner 0.
  for (uint32_t flag : {0x2000u, 0x4000u, 0u}) {
    BuiltMesh built = Build(Quad());
    built.mesh->polygons[1].corners[0].color[2] = 7;
    built.mesh->polygons[1].corners[0].normal[0] = 0.5f;
    VKStripOptions options;
    VKInitStripOptions(&options, kStripBitStrips, flag);
    EXPECT_EQ(VKStripList(built.mesh->vertices, 4, built.first(), -1, &options), flag ? 2 : 1) << flag;
  }
}

TEST(Strips, LongRowIsCutAtTheSideLimitAndLosesNothing) {
  const int quads = 6000;  // 12000 triangles in a row
  Result r = StripIt(Grid(quads, 1));
  Decoded d = Decode(r.built.mesh);
  EXPECT_EQ(d.error, "");
  EXPECT_EQ(d.drawn, std::vector<int>(2 * quads, 1));
  size_t longest = 0;
  for (const auto &s : d.strips) longest = std::max(longest, s.size() - 2);
  EXPECT_GT(r.strips, 1);
  EXPECT_LE(longest, static_cast<size_t>(2 * kStripSideLimit + 1));
  EXPECT_GE(longest, static_cast<size_t>(kStripSideLimit));
}

TEST(StripDriver, StripsEveryGroupAndPrintsTheStatistics) {
  // Node 0: a 2x1 grid under two materials (quad 0 and quad 1); node 1: no
  // mesh; node 2: a quad with no materials.
  BuiltMesh grid = striptest::Build(striptest::Grid(2, 1));
  for (int t = 0; t < 4; ++t) grid.mesh->polygons[t].materialId = t / 2;
  BuiltMesh quad = striptest::Build(Quad());
  ScModel *models[3] = {ScModelAlloc("a"), ScModelAlloc("b"), ScModelAlloc("c")};
  models[0]->mesh = grid.mesh;
  models[0]->hasMesh = 1;
  models[0]->materials = ScMaterialsAlloc(2);
  models[0]->nbMaterial = 2;
  models[0]->materials->next->specularPower = 3.0f;  // two groups
  models[2]->mesh = quad.mesh;
  models[2]->hasMesh = 1;
  ScNode nodes[3] = {};
  ScNode *slist[3];
  for (int i = 0; i < 3; ++i) {
    nodes[i].model = nodes[i].node = models[i];
    slist[i] = &nodes[i];
  }
  ScNodeList list{};
  list.slist = slist;
  list.node_n = 3;
  list.stripbits = kStripBitStrips;
  VKOptimizeInfo *info = VKGetOptimizeInfo(&list, 0x40000001);
  ASSERT_NE(info, nullptr);

  Capture capture(MessageStream, SetMessageStream);
  Capture tags(InfoStream, SetInfoStream);
  EXPECT_EQ(VKMakeStrips(&list, info), 3);
  EXPECT_EQ(tags.Text(), "[STRIP] ");
  EXPECT_EQ(capture.Text(), "polygon_total_n 6\npolygon_vertex_sum 18\nstrip_total_n 3\nstrip_vertex_sum 12\n");
  EXPECT_EQ(info->mnlist[0].groups[0].stripTotal, 1);
  EXPECT_EQ(info->mnlist[0].groups[1].lists[kVKListTriangles].stripCount, 1);
  EXPECT_EQ(info->mnlist[2].defaultGroup.stripTotal, 1);
  EXPECT_EQ(Decode(grid.mesh).drawn, std::vector<int>(4, 1));

  list.stripbits = 0;
  EXPECT_EQ(VKMakeStrips(&list, info), 0);
  VKFreeOptimizeInfo(info);
}

}  // namespace
