// The strip builder: small meshes worked out by hand, the driver's
// statistics, the fast orderings against the exchange sorts they replace,
// and properties over generated meshes and the bundled sample.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "process/nodelist.h"
#include "process/optimize.h"
#include "process/strips.h"
#include "process_util.h"
#include "reader/reader.h"

namespace {

struct Corner {
  int vertex;
  float u = 0.0f, v = 0.0f;
};
struct Tri {
  Corner c[3];
  float normal[3] = {0.0f, 0.0f, 1.0f};
};
struct MeshSpec {
  std::vector<std::array<float, 3>> positions;
  std::vector<Tri> tris;
};

// UVs follow the vertex, so triangles wound like their neighbour pass the UV
// test across a shared edge and triangles wound against it fail.
Tri MakeTri(int a, int b, int c) {
  auto at = [](int v) { return Corner{v, v * 0.01f, v * 0.003f}; };
  return Tri{{at(a), at(b), at(c)}};
}

// The triangles of a spec chained through listNext.
ScMesh *Build(const MeshSpec &spec) {
  const int nv = static_cast<int>(spec.positions.size()), nt = static_cast<int>(spec.tris.size());
  ScMesh *mesh = ScMeshAlloc(nv, nt, nt);
  for (int i = 0; i < nv; ++i) std::copy(spec.positions[i].begin(), spec.positions[i].end(), mesh->vertices[i].pos);
  for (int t = 0; t < nt; ++t) {
    ScPolygon &p = mesh->polygons[t];
    p.nbCorner = 3;
    p.corners = ScPolyNodeAlloc(3);
    for (int k = 0; k < 3; ++k) {
      p.corners[k].vertex = static_cast<uint16_t>(spec.tris[t].c[k].vertex);
      p.corners[k].u = spec.tris[t].c[k].u;
      p.corners[k].v = spec.tris[t].c[k].v;
      p.normal[k] = spec.tris[t].normal[k];
    }
    p.listNext = t + 1 < nt ? &mesh->polygons[t + 1] : nullptr;
  }
  return mesh;
}

// A W x H grid of quads split in two, wound alike, all normals equal.
MeshSpec Grid(int w, int h) {
  MeshSpec spec;
  for (int y = 0; y <= h; ++y)
    for (int x = 0; x <= w; ++x) spec.positions.push_back({float(x), float(y), 0.0f});
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      const int a = y * (w + 1) + x, d = a + w + 1;
      spec.tris.push_back(MakeTri(a, a + 1, d + 1));
      spec.tris.push_back(MakeTri(a, d + 1, d));
    }
  }
  return spec;
}

// The unit quad 0 (0,0), 1 (1,0), 2 (1,1), 3 (0,1) split along 0-2; the
// second triangle's corner 1 moved by (du, dv) in UV and its normal tilted.
MeshSpec Quad(float du = 0, float dv = 0, double tilt = 0) {
  MeshSpec spec{{{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}}, {MakeTri(0, 1, 2), MakeTri(0, 2, 3)}};
  Tri &second = spec.tris[1];
  second.c[1].u += du;
  second.c[1].v += dv;
  second.normal[0] = static_cast<float>(std::sin(tilt / 57.29578));
  second.normal[2] = static_cast<float>(std::cos(tilt / 57.29578));
  return spec;
}

// A random soup: triangles grown on existing edges (wound against them),
// some on edges that already have two, some degenerate; normals from a few
// directions (ties and real angles).
MeshSpec Soup(std::mt19937 &rng, int triangles) {
  MeshSpec spec;
  std::uniform_real_distribution<float> coord(0.0f, 10.0f);
  auto newVertex = [&] {
    spec.positions.push_back({coord(rng), coord(rng), coord(rng)});
    return static_cast<int>(spec.positions.size()) - 1;
  };
  const int a = newVertex(), b = newVertex(), c = newVertex();
  spec.tris.push_back(MakeTri(a, b, c));
  std::vector<std::pair<int, int>> edges = {{a, b}, {b, c}, {c, a}};
  const float normals[4][3] = {{0, 0, 1}, {0, 1, 0}, {0.6f, 0.8f, 0}, {0, 0, 1}};
  while (static_cast<int>(spec.tris.size()) < triangles) {
    const int roll = static_cast<int>(rng() % 100);
    Tri tri;
    if (roll < 4) {
      const int v = static_cast<int>(rng() % spec.positions.size());
      tri = MakeTri(v, v, newVertex());
    } else {
      const auto e = edges[rng() % edges.size()];
      int x = roll < 70 ? newVertex() : static_cast<int>(rng() % spec.positions.size());
      if (x == e.first || x == e.second) x = newVertex();
      tri = MakeTri(e.second, e.first, x);
      edges.insert(edges.end(), {{e.second, e.first}, {e.first, x}, {x, e.second}});
    }
    const float *normal = normals[rng() % 4];
    std::copy(normal, normal + 3, tri.normal);
    spec.tris.push_back(tri);
  }
  return spec;
}

// ---- The exchange sorts as the builder describes them ----------------------

void LiteralEdgeOrder(const uint32_t *keys, int32_t n, int32_t *order) {
  std::vector<uint32_t> k(keys, keys + n);
  for (int32_t i = 0; i < n; ++i) order[i] = i;
  for (int32_t i = 0; i < n; ++i)
    for (int32_t j = i + 1; j < n; ++j)
      if (k[j] < k[i]) std::swap(k[i], k[j]), std::swap(order[i], order[j]);
}

void LiteralTriangleOrder(const float *keys, int32_t n, int32_t *order) {
  for (int32_t i = 0; i < n; ++i) order[i] = i;
  for (int32_t i = 0; i < n; ++i)
    for (int32_t j = i + 1; j < n; ++j)
      if (!std::lexicographical_compare(keys + order[i] * 3, keys + order[i] * 3 + 3, keys + order[j] * 3,
                                        keys + order[j] * 3 + 3))
        std::swap(order[i], order[j]);
}

// ---- Running and decoding ----------------------------------------------------

struct Outcome {
  ScMesh *mesh;
  int strips;
  VKStripOptions options;
  std::string warnings;
};

Outcome Strip(const MeshSpec &spec, uint32_t bits = kStripBitStrips, uint32_t output = 0, bool literal = false,
              void (*edit)(ScMesh *) = nullptr) {
  Outcome o{Build(spec), 0, {}, {}};
  if (edit) edit(o.mesh);
  VKInitStripOptions(&o.options, bits, output);
  if (literal) o.options.edgeOrder = LiteralEdgeOrder, o.options.triangleOrder = LiteralTriangleOrder;
  ptest::Capture capture;
  o.strips = VKStripList(o.mesh->vertices, o.mesh->nbVertex, o.mesh->nbPolygon ? o.mesh->polygons : nullptr, -1,
                         &o.options);
  o.warnings = capture.Text();
  return o;
}

// The vertex lists the strips draw, how often each polygon is drawn, and the
// first fault found: a broken chain or a triangle drawn against its winding.
struct Decoded {
  std::vector<std::vector<int>> strips;
  std::vector<int> drawn;
  std::string error;
};

Decoded Decode(const ScMesh *mesh) {
  Decoded d;
  const int n = mesh->nbPolygon;
  d.drawn.assign(static_cast<size_t>(n), 0);
  for (int t = 0; t < n; ++t) {
    const ScPolygon *head = &mesh->polygons[t];
    if (!(head->stripState & kStripFirst)) continue;
    const int c = head->stripState & kStripCornerMask;
    const bool left = head->stripState & kStripLeft;
    std::vector<int> w;
    for (int k = 0; k < 3; ++k) w.push_back(head->corners[(left ? c + k : c + 3 - k) % 3].vertex);
    std::vector<const ScPolygon *> tris = {head};
    for (const ScPolygon *p = head->stripNext; p != nullptr && tris.size() <= static_cast<size_t>(n); p = p->stripNext) {
      if (p->stripPrev != tris.back()) d.error = "broken previous link";
      tris.push_back(p);
      w.push_back(p->corners[p->stripState & kStripCornerMask].vertex);
    }
    if (head->stripLength != tris.size()) d.error = "strip length differs from its chain";
    for (size_t k = 0; k < tris.size(); ++k) {
      int tri[3] = {w[k], w[k + 1], w[k + 2]};
      if ((k % 2 == 1) == left) std::swap(tri[0], tri[1]);
      const ScPolyNode *pc = tris[k]->corners;
      bool same = false;
      for (int r = 0; r < 3; ++r)
        same |= tri[0] == pc[r].vertex && tri[1] == pc[(r + 1) % 3].vertex && tri[2] == pc[(r + 2) % 3].vertex;
      if (!same) d.error = "winding changed at polygon " + std::to_string(tris[k] - mesh->polygons);
      d.drawn[tris[k] - mesh->polygons]++;
    }
    d.strips.push_back(w);
  }
  return d;
}

// ---- Hand-worked meshes ------------------------------------------------------

TEST(Strips, HandWorkedMeshes) {
  const uint32_t kStrips = kStripBitStrips, kSquare = kStripBitSquare;
  auto moveCorner = [](ScMesh *m) {
    m->polygons[1].corners[0].color[2] = 7;  // corner a of edge (0, 2) in the second triangle
    m->polygons[1].corners[0].normal[0] = 0.5f;
  };
  MeshSpec degenerate = Quad();
  degenerate.tris.insert(degenerate.tris.begin() + 1, MakeTri(0, 2, 2));
  // A = (0,1,4) between B = (0,4,3) across (4,0) and C = (1,5,4) across
  // (1,4): A has the smallest key and seeds; it grows forward to B and
  // backward to C. One backward step leaves the parity at 1: a right strip
  // from C, starting at the corner opposite (1,4), vertex 5.
  const MeshSpec middle{{{0, 0, 0}, {1, 0, 0}, {2, 0, 0}, {0, 1, 0}, {1, 1, 0}, {2, 1, 0}},
                        {MakeTri(0, 1, 4), MakeTri(0, 4, 3), MakeTri(1, 5, 4)}};
  // Edge (0, 1) shared by three triangles: the first two pair up and join
  // as in the quad; the third has no neighbour and stands alone.
  const MeshSpec three{{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, -1, 0}, {1, -1, 1}},
                       {MakeTri(0, 1, 2), MakeTri(1, 0, 3), MakeTri(1, 0, 4)}};
  const std::vector<uint16_t> joined = {0x8001, 0xE002}, apart = {0xE400, 0xE400};
  const std::vector<std::vector<int>> one = {{3, 0, 2, 1}}, two = {{0, 1, 2}, {0, 2, 3}};
  const struct {
    const char *what;
    MeshSpec spec;
    uint32_t bits, output;
    void (*edit)(ScMesh *);
    std::vector<uint16_t> states;  // used, first, left, single, excluded, corner
    std::vector<std::vector<int>> strips;
    const char *warnings;
  } cases[] = {
      // Both keys tie: the later triangle seeds, toward edge (0, 2); no
      // backward edge: a left strip from the corner opposite, vertex 3.
      {"quad", Quad(), kStrips, 0, nullptr, joined, one, ""},
      {"uv jump of one step", Quad(1.0f / 255.0f), kStrips, 0, nullptr, apart, two, ""},
      {"uv jump within 0.0039", Quad(0, 0.003f), kStrips, 0, nullptr, joined, one, ""},
      {"degenerate", degenerate, kStrips, 0, nullptr, {0x8001, 0x8008, 0xE002}, one,
       "\n##### Warning : Bad data! polygon 1 (0, 2, 2)\n"},
      {"seed in the middle", middle, kStrips, 0, nullptr, {0x8000, 0x8002, 0xC001}, {{5, 1, 4, 0, 3}}, ""},
      {"edge of three", three, kStrips, 0, nullptr, {0x8002, 0xE002, 0xE400}, {{3, 1, 0, 2}, {1, 0, 4}}, ""},
      // Strip mode joins across any angle; square mode within 0.1 degree.
      {"strip 30 degrees", Quad(0, 0, 30), kStrips, 0, nullptr, joined, one, ""},
      {"strips win over square", Quad(0, 0, 30), kStrips | kSquare, 0, nullptr, joined, one, ""},
      {"square flat", Quad(), kSquare, 0, nullptr, joined, one, ""},
      {"square 0.05 degrees", Quad(0, 0, 0.05), kSquare, 0, nullptr, joined, one, ""},
      {"square 0.2 degrees", Quad(0, 0, 0.2), kSquare, 0, nullptr, apart, two, ""},
      {"square 30 degrees", Quad(0, 0, 30), kSquare, 0, nullptr, apart, two, ""},
      // -pvc and -pvn compare the first corners of the shared edge.
      {"-pvc", Quad(), kStrips, 0x2000, moveCorner, apart, two, ""},
      {"-pvn", Quad(), kStrips, 0x4000, moveCorner, apart, two, ""},
      {"neither", Quad(), kStrips, 0, moveCorner, joined, one, ""},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    Outcome r = Strip(c.spec, c.bits, c.output, false, c.edit);
    const int n = r.mesh->nbPolygon;
    std::vector<uint16_t> states;
    for (int t = 0; t < n; ++t) states.push_back(r.mesh->polygons[t].stripState);
    EXPECT_EQ(states, c.states);
    Decoded d = Decode(r.mesh);
    EXPECT_EQ(d.error, "");
    EXPECT_EQ(d.strips, c.strips);
    for (int t = 0; t < n; ++t) EXPECT_EQ(d.drawn[t], c.states[t] & kStripExcluded ? 0 : 1) << t;
    EXPECT_EQ(r.warnings, c.warnings);
    EXPECT_EQ(r.strips, static_cast<int>(c.strips.size()));
    int vertices = 0;
    for (const auto &s : c.strips) vertices += static_cast<int>(s.size());
    EXPECT_EQ(r.options.polygonTotal, n);
    EXPECT_EQ(r.options.polygonVertexSum, 3 * n);
    EXPECT_EQ(r.options.stripTotal, r.strips);
    EXPECT_EQ(r.options.stripVertexSum, vertices);
  }
}

TEST(Strips, LongRowIsCutAtTheSideLimitAndLosesNothing) {
  const int quads = 6000;  // 12000 triangles in a row
  Outcome r = Strip(Grid(quads, 1));
  Decoded d = Decode(r.mesh);
  EXPECT_EQ(d.error, "");
  EXPECT_EQ(d.drawn, std::vector<int>(2 * quads, 1));
  size_t longest = 0;
  for (const auto &s : d.strips) longest = std::max(longest, s.size() - 2);
  EXPECT_GT(r.strips, 1);
  EXPECT_LE(longest, static_cast<size_t>(2 * kStripSideLimit + 1));
  EXPECT_GE(longest, static_cast<size_t>(kStripSideLimit));
}

TEST(Strips, DriverStripsEveryGroupAndPrintsTheStatistics) {
  // Node a: a 2x1 grid under two materials (a quad each); node b: no mesh;
  // node c: a quad with no materials.
  ScModel *models[3] = {ScModelAlloc("a"), ScModelAlloc("b"), ScModelAlloc("c")};
  ScMesh *grid = models[0]->mesh = Build(Grid(2, 1));
  for (int t = 0; t < 4; ++t) grid->polygons[t].materialId = t / 2;
  models[0]->materials = ScMaterialsAlloc(2);
  models[0]->nbMaterial = 2;
  models[0]->materials->next->specularPower = 3.0f;  // two groups
  models[2]->mesh = Build(Quad());
  models[0]->hasMesh = models[2]->hasMesh = 1;
  ScNode nodes[3] = {};
  ScNode *slist[3];
  for (int i = 0; i < 3; ++i) nodes[i].model = nodes[i].node = models[i], slist[i] = &nodes[i];
  ScNodeList list{};
  list.slist = slist;
  list.node_n = 3;
  list.stripbits = kStripBitStrips;
  VKOptimizeInfo *info = VKGetOptimizeInfo(&list, 0x40000001);
  ASSERT_NE(info, nullptr);
  {
    ptest::Capture capture;
    EXPECT_EQ(VKMakeStrips(&list, info), 3);
    EXPECT_EQ(capture.Text(),
              "[STRIP] polygon_total_n 6\npolygon_vertex_sum 18\nstrip_total_n 3\nstrip_vertex_sum 12\n");
  }
  EXPECT_EQ(info->mnlist[0].groups[0].stripTotal, 1);
  EXPECT_EQ(info->mnlist[0].groups[1].lists[kVKListTriangles].stripCount, 1);
  EXPECT_EQ(info->mnlist[2].defaultGroup.stripTotal, 1);
  EXPECT_EQ(Decode(grid).drawn, std::vector<int>(4, 1));
  list.stripbits = 0;
  EXPECT_EQ(VKMakeStrips(&list, info), 0);
  VKFreeOptimizeInfo(info);
}

// ---- Orderings and properties ------------------------------------------------

TEST(StripOrder, EdgeAndTriangleOrdersMatchTheExchangeSortsWithHeavyTies) {
  std::mt19937 rng(7);
  const float angles[] = {0.0f, 0.0f, 12.5f, 45.0f, 90.0f, 999.0f};
  for (int round = 0; round < 3000; ++round) {
    SCOPED_TRACE(round);
    const int n = static_cast<int>(rng() % 40);
    const uint32_t range = 1 + rng() % (round % 3 == 0 ? 3 : 20);
    std::vector<uint32_t> edgeKeys(static_cast<size_t>(n));
    for (auto &k : edgeKeys) k = (rng() % range) << (rng() % 2 ? 16 : 0);
    std::vector<float> triangleKeys(static_cast<size_t>(n) * 3);
    for (auto &k : triangleKeys) k = angles[rng() % (round % 2 ? 2 : 6)];
    std::vector<int32_t> fast(static_cast<size_t>(n)), literal(static_cast<size_t>(n));
    VKEdgeOrder(edgeKeys.data(), n, fast.data());
    LiteralEdgeOrder(edgeKeys.data(), n, literal.data());
    ASSERT_EQ(fast, literal);
    VKTriangleOrder(triangleKeys.data(), n, fast.data());
    LiteralTriangleOrder(triangleKeys.data(), n, literal.data());
    ASSERT_EQ(fast, literal);
  }
}

// Fast and literal sorts give the same strip fields and statistics; the
// strips draw every non-degenerate triangle once, wound as given.
void CheckMesh(const MeshSpec &spec, uint32_t bits, const std::string &what) {
  SCOPED_TRACE(what);
  Outcome fast = Strip(spec, bits), literal = Strip(spec, bits, 0, true);
  const ScMesh *fm = fast.mesh, *lm = literal.mesh;
  ASSERT_EQ(fast.strips, literal.strips);
  EXPECT_EQ(fast.warnings, literal.warnings);
  EXPECT_EQ(fast.options.stripTotal, literal.options.stripTotal);
  EXPECT_EQ(fast.options.stripVertexSum, literal.options.stripVertexSum);
  EXPECT_EQ(fast.options.polygonTotal, literal.options.polygonTotal);
  auto at = [](const ScMesh *m, const ScPolygon *p) { return p ? p - m->polygons : -1; };
  for (int t = 0; t < fm->nbPolygon; ++t) {
    const ScPolygon &f = fm->polygons[t], &l = lm->polygons[t];
    ASSERT_EQ(f.stripState, l.stripState) << "polygon " << t;
    ASSERT_EQ(f.stripLength, l.stripLength) << "polygon " << t;
    ASSERT_EQ(at(fm, f.stripNext), at(lm, l.stripNext)) << "polygon " << t;
    ASSERT_EQ(at(fm, f.stripPrev), at(lm, l.stripPrev)) << "polygon " << t;
  }
  Decoded d = Decode(fm);
  EXPECT_EQ(d.error, "");
  for (int t = 0; t < fm->nbPolygon; ++t) {
    const ScPolyNode *c = fm->polygons[t].corners;
    const bool degenerate = c[0].vertex == c[1].vertex || c[1].vertex == c[2].vertex || c[2].vertex == c[0].vertex;
    EXPECT_EQ(d.drawn[t], degenerate ? 0 : 1) << "polygon " << t;
  }
  int vertices = 0;
  for (const auto &s : d.strips) {
    vertices += static_cast<int>(s.size());
    EXPECT_TRUE(bits != kStripBitSquare || s.size() <= 4u);
  }
  EXPECT_EQ(static_cast<int>(d.strips.size()), fast.strips);
  EXPECT_EQ(vertices, fast.options.stripVertexSum);
}

TEST(StripProperty, GridsSoupsSeamsAndTheSampleStripEveryTriangleOnceLikeTheExchangeSorts) {
  ptest::FreshAllocator();
  // The bundled sample, its polygons made triangles.
  ScObject *sample = ReadBasicModel(VK_SOURCE_DIR "/examples/sample.vka");
  ASSERT_NE(sample, nullptr);
  ScNodeList *list;
  {
    ptest::Capture capture;
    const float rotation[3] = {0, 0, 0};
    list = ScGetNodeList(sample, 0x00300000, 0, 0, rotation);
  }
  ASSERT_NE(list, nullptr);
  std::vector<std::pair<std::string, MeshSpec>> sampleMeshes;
  for (int i = 0; i < list->node_n; i++) {
    const ScMesh *mesh = list->slist[i]->model->mesh;
    if (!mesh) continue;
    MeshSpec spec;
    for (int v = 0; v < mesh->nbVertex; v++)
      spec.positions.push_back({mesh->vertices[v].pos[0], mesh->vertices[v].pos[1], mesh->vertices[v].pos[2]});
    for (int p = 0; p < mesh->nbPolygon; p++) {
      const ScPolygon &polygon = mesh->polygons[p];
      ASSERT_EQ(polygon.nbCorner, 3);
      Tri tri;
      for (int k = 0; k < 3; k++) {
        tri.c[k] = {polygon.corners[k].vertex, polygon.corners[k].u, polygon.corners[k].v};
        tri.normal[k] = polygon.normal[k];
      }
      spec.tris.push_back(tri);
    }
    sampleMeshes.emplace_back(list->slist[i]->name, spec);
  }
  ASSERT_GE(sampleMeshes.size(), 3u);

  std::mt19937 rng(2024);
  for (uint32_t bits : {kStripBitStrips, kStripBitSquare}) {
    for (const auto &[name, spec] : sampleMeshes) CheckMesh(spec, bits, "sample " + name);
    for (auto [w, h] : {std::pair{1, 1}, {2, 3}, {7, 5}, {16, 16}})
      CheckMesh(Grid(w, h), bits, "grid " + std::to_string(w) + "x" + std::to_string(h));
    for (int round = 0; round < 40; ++round)
      CheckMesh(Soup(rng, 5 + static_cast<int>(rng() % 300)), bits, "soup " + std::to_string(round));
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
  ScFreeAll();
}

}  // namespace
