// The strip builder on meshes worked out by hand, the fast sorts against the literal ones, alone and over whole meshes.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "process/optimize.h"
#include "process/strips.h"
#include "process_util.h"
#include "reader/reader.h"

namespace {

using ptest::GiveMesh;
using ptest::Grid;
using ptest::LiteralEdgeOrder;
using ptest::LiteralTriangleOrder;
using ptest::Polygons;

// The unit quad 0 (0,0), 1 (1,0), 2 (1,1), 3 (0,1) split along 0-2; in the second
// triangle corner 1 moved by (du, dv) in UV, the normal tilted, and corner 0
// (corner a of edge (0, 2)) given another colour and normal.
ScMesh *Quad(float du = 0, float dv = 0, double tilt = 0, bool otherCorner = false) {
  ScMesh *mesh = GiveMesh(nullptr, {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}}, {{0, 1, 2}, {0, 2, 3}});
  ScPolygon &second = mesh->polygons[1];
  second.corners[1].u += du, second.corners[1].v += dv;
  second.normal[0] = static_cast<float>(std::sin(tilt / 57.29578)), second.normal[2] = std::cos(tilt / 57.29578);
  if (otherCorner) second.corners[0].color[2] = 7, second.corners[0].normal[0] = 0.5f;
  return mesh;
}

// Four faces whose first and third run their shared edge (1, 2) alike,
// untextured (UV 0 everywhere, so the UV test joins across any edge).
ScMesh *FourFaces() {
  ScMesh *mesh = GiveMesh(nullptr, {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {2, 1, 0.2f}, {2, 0, 0.3f}, {3, 1, 0.1f}},
                          {{0, 1, 2}, {1, 3, 4}, {3, 1, 2}, {3, 5, 4}});
  for (int p = 0; p < 4; ++p)
    for (int c = 0; c < 3; ++c) mesh->polygons[p].corners[c].u = mesh->polygons[p].corners[c].v = 0;
  return mesh;
}

// The strip count, statistics, warnings and vertex lists the strips draw;
// `wrong` counts drawn triangles that are not their polygon with its winding.
struct Outcome { int strips; VKStripOptions options; std::string warnings; Polygons drawn; int wrong; };

// The joining rule: the two triangles must run their shared edge in opposite
// directions, or (the literal test, oracle of consistent meshes) either way.
enum class Join { kOpposite, kEitherWay };

// Strips a mesh's polygons (chained through listNext), with the literal
// sorts when asked, and decodes the strips: the chains must hold and add up
// to the statistics, and with the winding rule every non-degenerate triangle
// is drawn once as wound.
Outcome Strip(ScMesh *mesh, uint32_t bits = vkopt::kStripOn, uint32_t output = 0, bool literal = false,
              Join join = Join::kOpposite) {
  Outcome o{0, {}, {}, {}, 0};
  VKInitStripOptions(&o.options, bits, output);
  if (literal) o.options.edgeOrder = LiteralEdgeOrder, o.options.triangleOrder = LiteralTriangleOrder;
  o.options.joinEitherDirection = join == Join::kEitherWay;
  const int n = mesh->nbPolygon;
  o.warnings = ptest::Printed(
      [&] { o.strips = VKStripList(mesh->vertices, mesh->nbVertex, n ? mesh->polygons : nullptr, -1, &o.options); });
  std::vector<int> times(static_cast<size_t>(n), 0);
  auto turned = [](std::array<int, 3> t) {  // equal for triangles wound alike
    std::rotate(t.begin(), std::min_element(t.begin(), t.end()), t.end());
    return t;
  };
  int vertices = 0;
  for (const ScPolygon *head = mesh->polygons; head < mesh->polygons + n; ++head) {
    if (!(head->stripState & kStripFirst)) continue;
    const int c = head->stripState & kStripCornerMask;
    const bool left = head->stripState & kStripLeft;
    std::vector<int> w;
    for (int k = 0; k < 3; ++k) w.push_back(head->corners[(left ? c + k : c + 3 - k) % 3].vertex);
    int k = 0;
    for (const ScPolygon *p = head, *prev = nullptr; p && k <= n; prev = p, p = p->stripNext, ++k) {
      EXPECT_EQ(p->stripPrev, prev);
      if (prev) w.push_back(p->corners[p->stripState & kStripCornerMask].vertex);
      std::array<int, 3> drawn = {w[k], w[k + 1], w[k + 2]};
      if ((k % 2 == 1) == left) std::swap(drawn[0], drawn[1]);
      o.wrong += turned(drawn) != turned({p->corners[0].vertex, p->corners[1].vertex, p->corners[2].vertex});
      times[p - mesh->polygons]++;
    }
    EXPECT_EQ(head->stripLength, k);
    o.drawn.push_back(w);
    vertices += static_cast<int>(w.size());
  }
  for (int t = 0; t < n; ++t) {
    const ScPolyNode *c = mesh->polygons[t].corners;
    const bool degenerate = c[0].vertex == c[1].vertex || c[1].vertex == c[2].vertex || c[2].vertex == c[0].vertex;
    EXPECT_EQ(times[t], degenerate ? 0 : 1) << "polygon " << t;
  }
  if (join == Join::kOpposite) {
    EXPECT_EQ(o.wrong, 0) << "triangles drawn otherwise than in the mesh";
  }
  const VKStripOptions &t = o.options;
  EXPECT_EQ((std::vector<int>{o.strips, t.stripTotal, t.stripVertexSum, t.polygonTotal, t.polygonVertexSum}),
            (std::vector<int>{static_cast<int>(o.drawn.size()), o.strips, vertices, n, 3 * n}));
  return o;
}

TEST(Strips, HandWorkedMeshes) {
  const uint32_t kStrips = vkopt::kStripOn, kSquare = vkopt::kStripSquare;
  const std::vector<uint16_t> joined = {0x8001, 0xE002}, apart = {0xE400, 0xE400};
  const Polygons one = {{3, 0, 2, 1}}, two = {{0, 1, 2}, {0, 2, 3}};
  // Wanted strip states (used, first, left, single, excluded, corner), strips
  // drawn and warnings.
  const struct {
    const char *what; ScMesh *mesh; uint32_t bits, output;
    std::vector<uint16_t> states; Polygons strips; const char *warnings = "";
  } cases[] = {
      // Both keys tie: the later triangle seeds, toward edge (0, 2); no
      // backward edge: a left strip from the corner opposite, vertex 3.
      {"quad", Quad(), kStrips, 0, joined, one},
      {"uv jump of one step", Quad(1.0f / 255.0f), kStrips, 0, apart, two},
      {"uv jump within 0.0039", Quad(0, 0.003f), kStrips, 0, joined, one},
      {"degenerate", GiveMesh(nullptr, {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}}, {{0, 1, 2}, {0, 2, 2}, {0, 2, 3}}),
       kStrips, 0, {0x8001, 0x8008, 0xE002}, one, "\n##### Warning : Bad data! polygon 1 (0, 2, 2)\n"},
      // A = (0,1,4) between B = (0,4,3) across (4,0) and C = (1,5,4) across
      // (1,4): A has the smallest key and seeds; it grows forward to B and
      // backward to C. One backward step leaves the parity at 1: a right
      // strip from C, starting at the corner opposite (1,4), vertex 5.
      {"seed in the middle",
       GiveMesh(nullptr, {{0, 0, 0}, {1, 0, 0}, {2, 0, 0}, {0, 1, 0}, {1, 1, 0}, {2, 1, 0}},
                {{0, 1, 4}, {0, 4, 3}, {1, 5, 4}}),
       kStrips, 0, {0x8000, 0x8002, 0xC001}, {{5, 1, 4, 0, 3}}},
      // Edge (0, 1) shared by three triangles: the first two pair up and
      // join as in the quad; the third has no neighbour and stands alone.
      {"edge of three",
       GiveMesh(nullptr, {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, -1, 0}, {1, -1, 1}}, {{0, 1, 2}, {1, 0, 3}, {1, 0, 4}}),
       kStrips, 0, {0x8002, 0xE002, 0xE400}, {{3, 1, 0, 2}, {1, 0, 4}}},
      // Strip mode joins across any angle; square mode within 0.1 degree.
      {"strip 30 degrees", Quad(0, 0, 30), kStrips, 0, joined, one},
      {"square 0.05 degrees", Quad(0, 0, 0.05), kSquare, 0, joined, one},
      {"square 0.2 degrees", Quad(0, 0, 0.2), kSquare, 0, apart, two},
      // -pvc and -pvn compare the first corners of the shared edge.
      {"-pvc", Quad(0, 0, 0, true), kStrips, 0x2000, apart, two},
      {"-pvn", Quad(0, 0, 0, true), kStrips, 0x4000, apart, two},
      {"neither", Quad(0, 0, 0, true), kStrips, 0, joined, one},
      // T0 (0,1,2) and T2 (3,1,2) run edge (1,2) the same way and stay apart;
      // T1 (1,3,4) joins T2 across (1,3) and T3 (3,5,4) across (3,4). T1 has
      // the smallest key and seeds; attempt 2 (toward T3) also grows back to
      // T2 and wins: a right strip from T2's corner opposite (1,3), vertex 2.
      {"edge (1,2) run alike", FourFaces(), kStrips, 0, {0xE400, 0x8002, 0xC002, 0x8001}, {{0, 1, 2}, {2, 1, 3, 4, 5}}},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    Outcome r = Strip(c.mesh, c.bits, c.output);
    std::vector<uint16_t> states;
    for (int t = 0; t < c.mesh->nbPolygon; ++t) states.push_back(c.mesh->polygons[t].stripState);
    EXPECT_EQ(states, c.states);
    EXPECT_EQ(r.drawn, c.strips);
    EXPECT_EQ(r.warnings, c.warnings);
  }
  // The joining test alone (the oracle of consistent meshes) joins T0 and T2
  // and draws (2,3,4) for T1 and (1,2,3) for T2: one triangle missing, one
  // not in the mesh, one flipped.
  Outcome literal = Strip(FourFaces(), kStrips, 0, false, Join::kEitherWay);
  EXPECT_EQ(literal.drawn, (Polygons{{0, 1, 2, 3, 4, 5}}));
  EXPECT_EQ(literal.wrong, 2);
  // A row of 12000 triangles is cut at the side limit and loses nothing.
  Outcome row = Strip(Grid(6000, 1));
  size_t longest = 0;
  for (const auto &w : row.drawn) longest = std::max(longest, w.size() - 2);
  EXPECT_GT(row.strips, 1);
  EXPECT_LE(longest, static_cast<size_t>(2 * kStripSideLimit + 1));
  EXPECT_GE(longest, static_cast<size_t>(kStripSideLimit));
}

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
    VKEdgeOrder(edgeKeys.data(), n, fast.data()), LiteralEdgeOrder(edgeKeys.data(), n, literal.data());
    ASSERT_EQ(fast, literal);
    VKTriangleOrder(triangleKeys.data(), n, fast.data()), LiteralTriangleOrder(triangleKeys.data(), n, literal.data());
    ASSERT_EQ(fast, literal);
  }
}

// Every polygon's strip fields, links as polygon positions.
std::vector<std::vector<long>> StripFields(const ScMesh *m) {
  std::vector<std::vector<long>> out;
  auto at = [m](const ScPolygon *p) { return p ? p - m->polygons : -1L; };
  for (const ScPolygon *p = m->polygons; p < m->polygons + m->nbPolygon; ++p)
    out.push_back({p->stripState, p->stripLength, at(p->stripNext), at(p->stripPrev)});
  return out;
}

// Node i's mesh of the bundled sample made triangles and chained, if any.
ScMesh *SampleMesh(int i) {
  ScNodeList *list = nullptr;
  const float rotation[3] = {0, 0, 0};
  ptest::Printed([&] {
    ScGetNodeList(ReadBasicModel(VK_SOURCE_DIR "/examples/sample.vka"), 0x00300000, 0, 0, rotation, &list);
  });
  ScMesh *m = list && i < list->node_n ? list->slist[i]->model->mesh : nullptr;
  for (int p = 0; m && p + 1 < m->nbPolygon; p++) m->polygons[p].listNext = &m->polygons[p + 1];
  return m;
}

// ---- The winding rule -------------------------------------------------------------
// A triangle list with its polygon normals and its UVs: those of GiveMesh,
// with a few seams, or none (0 everywhere: the UV test then holds across
// every edge, whichever way the two triangles run it).
struct MeshPlan {
  std::string what;
  std::vector<ptest::Vec3> points = {};
  Polygons tris = {};
  std::vector<ptest::Vec3> normals = {};  // per triangle
  unsigned seams = 0;                     // 0: none; else the seed of a few
  bool untextured = false;
};

ptest::Vec3 FaceNormal(const MeshPlan &m, const std::vector<int> &t) {
  const ptest::Vec3 &a = m.points[t[0]], &b = m.points[t[1]], &c = m.points[t[2]];
  const float u[3] = {b[0] - a[0], b[1] - a[1], b[2] - a[2]}, v[3] = {c[0] - a[0], c[1] - a[1], c[2] - a[2]};
  ptest::Vec3 n = {u[1] * v[2] - u[2] * v[1], u[2] * v[0] - u[0] * v[2], u[0] * v[1] - u[1] * v[0]};
  const float length = std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
  for (float &x : n) x = length > 0 ? x / length : 0;
  return n;
}

void GeometricNormals(MeshPlan &m) {
  m.normals.clear();
  for (const auto &t : m.tris) m.normals.push_back(FaceNormal(m, t));
}

// The mesh of a plan; with seams, one corner in eight moves in UV.
ScMesh *Make(const MeshPlan &m) {
  ScMesh *mesh = GiveMesh(nullptr, m.points, m.tris);
  std::mt19937 rng(m.seams);
  for (int p = 0; p < mesh->nbPolygon; ++p) {
    std::copy_n(m.normals[p].begin(), 3, mesh->polygons[p].normal);
    if (m.seams && rng() % 8 == 0) mesh->polygons[p].corners[rng() % 3].u += 0.25f;
    for (int c = 0; m.untextured && c < 3; ++c) mesh->polygons[p].corners[c].u = mesh->polygons[p].corners[c].v = 0;
  }
  return mesh;
}

// Every edge run by at most two triangles, in opposite directions: no
// directed edge is run twice.
bool Consistent(const Polygons &tris) {
  std::map<std::pair<int, int>, int> runs;
  for (const auto &t : tris)
    for (int k = 0; k < 3; ++k) ++runs[{t[k], t[(k + 1) % 3]}];
  for (const auto &[edge, n] : runs)
    if (n > 1) return false;
  return true;
}

// A w x h grid over random heights, each cell cut along a random diagonal.
MeshPlan HeightGrid(std::mt19937 &rng, int w, int h) {
  MeshPlan m{"height grid " + std::to_string(w) + "x" + std::to_string(h)};
  for (int y = 0; y <= h; ++y)
    for (int x = 0; x <= w; ++x) m.points.push_back({float(x), float(y), float(rng() % 4) * 0.25f});
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      const int a = y * (w + 1) + x, b = a + 1, c = a + w + 1, d = c + 1;
      if (rng() % 2)
        m.tris.push_back({a, b, d}), m.tris.push_back({a, d, c});
      else
        m.tris.push_back({a, b, c}), m.tris.push_back({b, d, c});
    }
  return m;
}

// n triangles around vertex 0, closed into a cone when `closed`.
MeshPlan Fan(int n, bool closed) {
  MeshPlan m{"fan " + std::to_string(n) + (closed ? " closed" : "")};
  m.points.push_back({0, 0, 1});
  const int ring = closed ? n : n + 1;
  for (int k = 0; k < ring; ++k)
    m.points.push_back({std::cos(6.2831853f * k / ring), std::sin(6.2831853f * k / ring), 0});
  for (int k = 0; k < n; ++k) m.tris.push_back({0, 1 + k, 1 + (k + 1) % ring});
  return m;
}

// The surface of a cube, each side cut into n x n cells, wound outward.
MeshPlan Box(int n) {
  MeshPlan m{"box " + std::to_string(n)};
  std::map<std::array<int, 3>, int> index;
  auto vertex = [&](std::array<int, 3> p) {
    auto [it, added] = index.emplace(p, static_cast<int>(m.points.size()));
    if (added) m.points.push_back({float(p[0]), float(p[1]), float(p[2])});
    return it->second;
  };
  for (int axis = 0; axis < 3; ++axis)
    for (int side : {0, n})
      for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) {
          auto at = [&](int di, int dj) {
            std::array<int, 3> p;
            p[axis] = side, p[(axis + 1) % 3] = i + di, p[(axis + 2) % 3] = j + dj;
            return vertex(p);
          };
          std::vector<int> t1 = {at(0, 0), at(1, 0), at(1, 1)}, t2 = {at(0, 0), at(1, 1), at(0, 1)};
          for (std::vector<int> *t : {&t1, &t2}) {
            if ((FaceNormal(m, *t)[axis] > 0) != (side == n)) std::swap((*t)[1], (*t)[2]);
            m.tris.push_back(*t);
          }
        }
  return m;
}

// The same surface with other vertex numbers, triangle order and first corners.
MeshPlan Shuffled(MeshPlan m, std::mt19937 &rng) {
  std::vector<int> number(m.points.size());
  std::iota(number.begin(), number.end(), 0);
  std::shuffle(number.begin(), number.end(), rng);
  std::vector<ptest::Vec3> points(m.points.size());
  for (size_t v = 0; v < number.size(); ++v) points[number[v]] = m.points[v];
  m.points = points;
  for (auto &t : m.tris) {
    for (int &v : t) v = number[v];
    std::rotate(t.begin(), t.begin() + rng() % 3, t.end());
  }
  std::shuffle(m.tris.begin(), m.tris.end(), rng);
  m.what += " shuffled";
  return m;
}

// A consistent surface damaged the way scanned and exported meshes are:
// some triangles flipped, some duplicated in either winding, fins (a third
// triangle on an edge, run either way), some degenerate; normals stay those
// of the surface.
MeshPlan Damaged(MeshPlan m, std::mt19937 &rng) {
  const size_t n = m.tris.size();
  for (size_t t = 0; t < n; ++t) {
    const int roll = static_cast<int>(rng() % 16);
    std::vector<int> tri = m.tris[t];
    if (roll == 0) std::swap(m.tris[t][1], m.tris[t][2]);
    if (roll == 1 || roll == 2) {
      if (roll == 2) std::swap(tri[1], tri[2]);
      m.tris.push_back(tri), m.normals.push_back(m.normals[t]);
    }
    if (roll == 4) m.tris.push_back({tri[0], tri[0], tri[1]}), m.normals.push_back(m.normals[t]);
    if (roll == 3) {
      const int k = static_cast<int>(rng() % 3), a = tri[k], b = tri[(k + 1) % 3];
      const ptest::Vec3 &p = m.points[a], &q = m.points[b];
      m.points.push_back({(p[0] + q[0]) / 2, (p[1] + q[1]) / 2, (p[2] + q[2]) / 2 + 1});
      const int x = static_cast<int>(m.points.size()) - 1;
      m.tris.push_back(rng() % 2 ? std::vector<int>{a, b, x} : std::vector<int>{b, a, x});
      m.normals.push_back(m.normals[t]);
    }
  }
  m.what += " damaged";
  return m;
}

// Grids, fans, boxes, shuffled, with seams and untextured: all consistently
// wound.
std::vector<MeshPlan> ConsistentPlans() {
  std::mt19937 rng(13);
  std::vector<MeshPlan> plans;
  for (int k = 0; k < 12; ++k) {
    const int w = 1 + static_cast<int>(rng() % 12), h = 1 + static_cast<int>(rng() % 9);
    plans.push_back(HeightGrid(rng, w, h));
  }
  for (int n : {1, 2, 3, 7, 16}) plans.push_back(Fan(n, false)), plans.push_back(Fan(n + 2, true));
  for (int n : {1, 2, 3, 5}) plans.push_back(Box(n));
  const size_t plain = plans.size();
  for (size_t k = 0; k < plain; ++k) plans.push_back(Shuffled(plans[k], rng));
  for (MeshPlan &m : plans) GeometricNormals(m);
  for (size_t k = 0; k < plain; ++k) {
    plans.push_back(plans[k]), plans.back().seams = 1 + static_cast<unsigned>(k), plans.back().what += " seams";
    plans.push_back(plans[plain + k]), plans.back().untextured = true, plans.back().what += " untextured";
  }
  return plans;
}

// Over the sample's meshes, consistent surfaces and damaged copies, in strip
// and square mode: every triangle is drawn once with its winding (Strip
// checks that), the fast sorts strip exactly as the literal ones, and on
// consistent surfaces the winding rule strips exactly as the joining test
// alone, which on damaged ones draws triangles that are not in the mesh.
TEST(StripProperty, EveryTriangleOnceLikeTheLiteralSortsAndTheJoiningTest) {
  ptest::FreshAllocator();
  std::mt19937 rng(29);
  std::vector<MeshPlan> plans = ConsistentPlans();
  const size_t consistent = plans.size();
  for (size_t k = 0; k < consistent; ++k)
    for (int copy = 0; copy < 3; ++copy) plans.push_back(Damaged(plans[k], rng));
  int literalWrong = 0, damaged = 0;
  for (uint32_t bits : {vkopt::kStripOn, vkopt::kStripSquare}) {
    const std::string mode = bits == vkopt::kStripOn ? " strips" : " square";
    EXPECT_EQ(SampleMesh(3), nullptr);  // body and wheels have meshes, the antenna none
    for (int i = 0; i < 3; i++) {
      SCOPED_TRACE("sample " + std::to_string(i) + mode);
      ScMesh *fm = SampleMesh(i), *lm = SampleMesh(i);
      ASSERT_TRUE(fm && lm);
      EXPECT_EQ(Strip(fm, bits).warnings, Strip(lm, bits, 0, true).warnings);
      EXPECT_EQ(StripFields(fm), StripFields(lm));
    }
    for (size_t k = 0; k < plans.size(); ++k) {
      const MeshPlan &plan = plans[k];
      SCOPED_TRACE(plan.what + mode);
      const bool isConsistent = Consistent(plan.tris);
      ASSERT_TRUE(isConsistent || k >= consistent);
      ScMesh *ruled = Make(plan), *sorted = Make(plan), *either = Make(plan);
      const Outcome r = Strip(ruled, bits), l = Strip(either, bits, 0, false, Join::kEitherWay);
      EXPECT_EQ(r.warnings, Strip(sorted, bits, 0, true).warnings);
      EXPECT_EQ(StripFields(ruled), StripFields(sorted));
      for (const auto &w : r.drawn) EXPECT_TRUE(bits != vkopt::kStripSquare || w.size() <= 4u);
      if (isConsistent) {
        EXPECT_EQ(StripFields(ruled), StripFields(either));
        EXPECT_EQ(r.drawn, l.drawn);
        EXPECT_EQ(l.wrong, 0);
      } else {
        literalWrong += l.wrong, damaged++;
      }
    }
  }
  EXPECT_GT(damaged, 200);
  EXPECT_GT(literalWrong, 200);  // what the winding rule prevents
  ScFreeAll();
}

}  // namespace
