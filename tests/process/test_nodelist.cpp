// Rotations, inversion with its pivot rule and decomposition against explicit
// products (the plain products are checked by the golden transcripts); the node list (walk order, links,
// transforms, boxes, global freeze, bone removal, polygon conversion) on
// hand-built scenes, its sorts, links and instances against literal searches.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "process/geometry.h"
#include "process/nodelist_internal.h"
#include "process_util.h"

namespace {

using ptest::Printed;
using ptest::SceneBuilder;
using ptest::Vec3;
using Scene = void (*)(SceneBuilder &);
using Strings = std::vector<std::string>;

constexpr uint32_t kRemoveBones = 0x00000001, kQuadsTo3 = 0x00100000, kLargeTo3 = 0x00200000;
constexpr uint32_t kGlobalFreeze = 0x00010000, kBuildMap = 0x00008000, kVertexColor = 0x00002000;

struct M4 {  // a row-vector 4x4 matrix
  double m[4][4] = {};
};
M4 Affine(double sx, double sy, double sz, double tx = 0, double ty = 0, double tz = 0) {
  M4 r;
  r.m[0][0] = sx, r.m[1][1] = sy, r.m[2][2] = sz, r.m[3][3] = 1, r.m[3][0] = tx, r.m[3][1] = ty, r.m[3][2] = tz;
  return r;
}
M4 Rot(int axis, double a) {  // turns a row vector counter-clockwise about the axis
  M4 r = Affine(1, 1, 1);
  const int i = (axis + 1) % 3, j = (axis + 2) % 3;
  r.m[i][i] = r.m[j][j] = std::cos(a), r.m[i][j] = std::sin(a), r.m[j][i] = -std::sin(a);
  return r;
}
M4 Mul(const M4 &a, const M4 &b) {
  M4 r;
  for (int i = 0; i < 16; i++)
    for (int k = 0; k < 4; k++) r.m[i / 4][i % 4] += a.m[i / 4][k] * b.m[k][i % 4];
  return r;
}

void ExpectNear(const float *got, Vec3 want, double tolerance = 1e-5) {
  for (int k = 0; k < 3; k++) EXPECT_NEAR(got[k], want[k], tolerance) << k;
}

const float kT[3] = {1.5f, -2.0f, 3.25f}, kS[3] = {2.0f, 0.5f, -1.5f}, kA[3] = {0.3f, -0.7f, 1.1f};
const float kZeroPivot[12] = {0, 0, 0, 0, 2, 0, 0, 0, 4, 1, 2, 3};

void Compose(float *m) { ScMatrixTranslate(m, kT), ScMatrixRotateXYZ(m, kA), ScMatrixScale(m, kS); }

TEST(Geometry, MatricesMatchExplicitProducts) {
  const M4 xyz = Mul(Rot(0, kA[0]), Mul(Rot(1, kA[1]), Rot(2, kA[2])));
  const struct { const char *name; void (*apply)(float *); M4 want; double tolerance = 1e-5; } cases[] = {
      {"rotateXYZ", [](float *m) { ScMatrixRotateXYZ(m, kA); }, xyz},
      {"invert identity", ScMatrixInvert, Affine(1, 1, 1), 0},
      // A zero pivot is taken as 0.0001, a tiny negative one as -0.0001.
      {"invert zero pivot", [](float *m) { std::copy_n(kZeroPivot, 12, m), ScMatrixInvert(m); },
       Affine(10000, 0.5, 0.25, -10000, -1, -0.75), 1e-2},
      {"invert tiny negative pivot", [](float *m) { m[0] = -0.00001f, ScMatrixInvert(m); }, Affine(-10000, 1, 1), 1e-2},
      {"inverse times the matrix",
       [](float *m) {
         float g[12];
         ScMatrixIdentity(g), Compose(g), Compose(m), ScMatrixInvert(m), ScMatrixMultiply(m, g);
       },
       Affine(1, 1, 1), 1e-4},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.name);
    float m[12];
    ScMatrixIdentity(m), c.apply(m);
    for (int i = 0; i < 12; i++) EXPECT_NEAR(m[i], c.want.m[i / 3][i % 3], c.tolerance) << "element " << i;
  }
  // Decomposing gives the angles back, the moves notwithstanding.
  for (const Vec3 &a : {Vec3{0, 0, .5f}, {.3f, -.4f, 1.2f}, {-2.5f, 1, -.2f}, {1.5f, .1f, 3}, {0, -1.4f, 0}}) {
    float m[12], angles[3];
    ScMatrixIdentity(m), ScMatrixTranslate(m, a.data()), ScMatrixRotateXYZ(m, a.data()), ScMatrixDecompose(m, angles);
    ExpectNear(angles, a, 1e-4);
  }
  const float zero[3] = {0, 0, 0};
  float kept[3] = {5, 6, 7};
  EXPECT_EQ(Printed([&] { EXPECT_EQ(ScUnitVector(zero, kept), 0); }),
            "WARNING: Floating division by zero [ ScUnitVector ]\n");
  ExpectNear(kept, {5, 6, 7}, 0);
}

class NodeListTest : public ::testing::Test {
 protected:
  void SetUp() override { ptest::FreshAllocator(); }
  void TearDown() override { ScFreeAll(); }
  // The node list of the scene so far, or of a fresh `scene`; it prints `printed`.
  ScNodeList *Make(uint32_t model = 0, uint32_t output = 0, Scene scene = nullptr, const std::string &printed = "") {
    if (scene) ptest::FreshAllocator(), b = SceneBuilder(), scene(b);
    const float rotation[3] = {0, 0, 0};
    ScNodeList *list = nullptr;
    EXPECT_EQ(Printed([&] { EXPECT_TRUE(ScGetNodeList(b.scene(), model, output, 0, rotation, &list).ok()); }),
              printed);
    return list;
  }
  // The list holds these names, in the tree `parents` (list positions, -1 for
  // the root level) describes: children and siblings in list order.
  static void ExpectTree(const ScNodeList *list, const Strings &names, const std::vector<int> &parents) {
    const int n = list->node_n;
    ScNode **s = list->slist;
    auto at = [&](const ScNode *x) { return x ? static_cast<int>(std::find(s, s + n, x) - s) : -1; };
    Strings gotNames;
    std::vector<std::vector<int>> got, want;  // parent, child, sibling, depth, list position twice
    for (int i = 0; i < n; i++) {
      int child = -1, sibling = -1;
      for (int j = n - 1; j > i; j--)
        child = parents[j] == i ? j : child, sibling = parents[j] == parents[i] ? j : sibling;
      gotNames.push_back(s[i]->name);
      got.push_back(
          {at(s[i]->parent), at(s[i]->child), at(s[i]->sibling), s[i]->depth, s[i]->nameId, s[i]->model->listIndex});
      want.push_back({parents[i], child, sibling, parents[i] < 0 ? 0 : want[parents[i]][3] + 1, i, i});
    }
    EXPECT_EQ(gotNames, names);
    EXPECT_EQ(got, want);
  }
  SceneBuilder b;
};

TEST_F(NodeListTest, PlainWalkOrderDepthsLinksAndInfobits) {
  ScModel *root = b.Add("root", nullptr, true), *a = b.Add("a", root, true);
  b.Add("b", root, true), b.Add("a1", a, true);
  ptest::GiveMaterials(root, 1);
  ScNodeList *list = Make();
  ASSERT_NE(list, nullptr);
  ExpectTree(list, {"root", "a", "a1", "b"}, {-1, 0, 1, 0});
  EXPECT_EQ(list->max_depth, 2);
  EXPECT_EQ(list->nomat_model_n, 3);
  EXPECT_EQ(list->infobits, 0u);
  const struct { const char *name; Scene scene; uint32_t infobits; } cases[] = {
      {"scaled", [](SceneBuilder &b) { b.Add("r", nullptr, true, {}, {}, {1, 1.0002f, 1}); }, 0x20},
      {"meshless root", [](SceneBuilder &b) { b.Add("c", b.Add("r", nullptr, false), true); }, 0x02},
      {"bone", [](SceneBuilder &b) { b.Add("c", b.Add("bone", b.Add("r", nullptr, true), false), true); }, 0x01},
      {"eval flag 2", [](SceneBuilder &b) { b.Add("r", nullptr, true)->EvalFlags = 2; }, 0x10},
  };
  for (const auto &c : cases) EXPECT_EQ(Make(0, 0, c.scene)->infobits, c.infobits) << c.name;
  EXPECT_NE(Make(0, kVertexColor, nullptr, "\n##### Warning : Can't find vertex color data.\n"), nullptr);
}

// The failures come back as statuses with their messages; the two stops are
// left for the driver to print, the too-deep hierarchy is reported here.
TEST_F(NodeListTest, FailuresComeBackAsStatuses) {
  using Code = VKStatusCode;
  const struct {
    const char *name;
    Scene scene;
    uint32_t model, output;
    Code code;
    std::string message, printed;
  } cases[] = {
      {"-GM releases the root", [](SceneBuilder &b) { b.Add("c", b.Add("r", nullptr, true), true); }, 0,
       kGlobalFreeze | kBuildMap, Code::kBadModel, "Error : Bad Model pointer\n", "[GLOBAL FREEZE] [BUILD MAP] "},
      {"no root", [](SceneBuilder &b) { b.scene(); }, 0, 0, Code::kBadModel, "Error : Bad Model pointer\n", ""},
      {"mesh-bearing without a mesh", [](SceneBuilder &b) { b.Add("r", nullptr, true)->mesh = nullptr; }, 0, 0,
       Code::kBadMesh, "Error : Bad Mesh Pointer\n", ""},
      {"... also in the bone walk",
       [](SceneBuilder &b) { b.Add("c", b.Add("bone", b.Add("r", nullptr, true), false), true)->mesh = nullptr; },
       kRemoveBones, 0, Code::kBadMesh, "Error : Bad Mesh Pointer\n", "[REMOVE BONES] "},
      {"deeper than the bone removal takes",
       [](SceneBuilder &b) {
         ScModel *parent = b.Add("bone0", nullptr, false);
         for (int i = 1; i <= kScMaxAncestors; i++) parent = b.Add("bone", parent, false);
         b.Add("deep", parent, true);
       },
       kRemoveBones, 0, Code::kTooDeep, "Error : Too deep hierarchy (129 levels) : deep\n",
       "[REMOVE BONES] \n##### Error : Too deep hierarchy (129 levels) : deep\n"},
  };
  const float rotation[3] = {0, 0, 0};
  for (const auto &c : cases) {
    SCOPED_TRACE(c.name);
    ptest::FreshAllocator(), b = SceneBuilder(), c.scene(b);
    ScNodeList stale{};
    ScNodeList *list = &stale;  // must be cleared
    VKStatus status;
    EXPECT_EQ(Printed([&] { status = ScGetNodeList(b.scene(), c.model, c.output, 0, rotation, &list); }), c.printed);
    EXPECT_EQ(status.code, c.code);
    EXPECT_EQ(status.message, c.message);
    EXPECT_EQ(status.reported, c.code == Code::kTooDeep);
    EXPECT_EQ(list, nullptr);
  }
}

TEST_F(NodeListTest, GlobalFreezeFlattensAndMovesVertices) {
  ScModel *parent = b.Add("parent", nullptr, true, {0, 2, 0});
  ScModel *child = b.Add("child", parent, false, {1, 0, 0}, {0, 0, 1.5707964f});
  ScModel *grandchild = b.Add("grandchild", child, true);
  ScMesh *moved = ptest::GiveMesh(b.Add("other", parent, false, {1, 0, 0}), {{0, 0, 0}, {-1, 0.5f, 3}}, {});
  ScMesh *mesh = ptest::GiveMesh(child, {{0, 0, 0}, {1, 1, 1}}, {{0, 1, 0}});
  ScPolygon &polygon = mesh->polygons[0];
  mesh->vertices[1].normal[0] = 2, polygon.normal[1] = 1, polygon.corners[1].normal[0] = 3;
  mesh->vertices[1].normal[2] = polygon.normal[2] = 0;
  ScNodeList *list = Make(0, kGlobalFreeze, nullptr, "[GLOBAL FREEZE] ");
  ASSERT_NE(list, nullptr);
  ExpectTree(list, {"parent", "child", "grandchild", "other"}, {-1, -1, -1, -1});
  for (int i = 0; i < list->node_n; i++) EXPECT_EQ(list->slist[i]->matrix[0], 1.0f);
  // The child's points turn a quarter about Z and move by (1, 2, 0), its
  // normals turn and become unit; "other" moves by (1, 2, 0).
  ExpectNear(mesh->vertices[0].pos, {1, 2, 0}), ExpectNear(mesh->vertices[1].pos, {0, 3, 1});
  ExpectNear(mesh->vertices[1].normal, {0, 1, 0}), ExpectNear(polygon.normal, {-1, 0, 0});
  ExpectNear(polygon.corners[1].normal, {0, 1, 0}), ExpectNear(grandchild->mesh->vertices[0].pos, {1, 2, 0});
  ExpectNear(moved->vertices[0].pos, {1, 2, 0}), ExpectNear(moved->vertices[1].pos, {0, 2.5f, 3});
}

TEST_F(NodeListTest, BoneRemovalReparentsAndFoldsTheBones) {
  // Leaf's translation: the bone's (0,5,0) plus its (1,0,0) turned 0.5 about Z.
  // Side's ancestry [root] sorts before leaf's [root, bone]; its parent has a
  // mesh, so leaf goes under root.
  ScModel *root = b.Add("root", nullptr, true);
  b.Add("leaf", b.Add("bone", root, false, {0, 5, 0}, {0, 0, 0.5f}), true, {1, 0, 0}, {0.25f, 0, 0});
  b.Add("side", root, true);
  ScNodeList *list = Make(kRemoveBones, 0, nullptr, "[REMOVE BONES] ");
  ASSERT_NE(list, nullptr);
  ExpectTree(list, {"root", "side", "leaf"}, {-1, 0, 0});
  ExpectNear(list->slist[2]->trans, {std::cos(0.5f), 5 + std::sin(0.5f), 0});
  ExpectNear(list->slist[2]->rot, {0.25f, 0, 0.5f}, 1e-3);
  // A mesh-less root stays. Thigh's ancestry [root, hip] is a prefix of shin's
  // [root, hip, thigh, knee]; tail's [root, hipbone] meets only the root.
  Scene legs = [](SceneBuilder &b) {
    ScModel *root = b.Add("root", nullptr, false, {0, 0, 1});
    ScModel *thigh = b.Add("thigh", b.Add("hip", root, false), true, {0, -1, 0});
    b.Add("shin", b.Add("knee", thigh, false), true, {0, -1, 0}, {0, 0, 3.0f});
    b.Add("tail", b.Add("hipbone", root, false), true, {0, 0, -1});
  };
  list = Make(kRemoveBones, 0, legs, "[REMOVE BONES] ");
  ASSERT_NE(list, nullptr);
  ExpectTree(list, {"root", "thigh", "shin", "tail"}, {-1, 0, 1, 0});
  ExpectNear(list->slist[2]->trans, {0, -1, 0}), ExpectNear(list->slist[2]->rot, {0, 0, 3.0f}, 1e-3);
}

TEST_F(NodeListTest, PolygonConversionPatterns) {
  // Source polygon p: a triangle, quad, pentagon, hexagon of material p % 2,
  // corner k at vertex 10 * p + k. Per output polygon: its source's corners.
  const struct { uint32_t bits; std::string tag; ptest::Polygons corners; int triangles, quads; } cases[] = {
      {kLargeTo3, "[POLYN to POLY3] ",
       {{0, 1, 2}, {0, 1, 2, 3}, {0, 1, 4}, {1, 2, 4}, {4, 2, 3}, {0, 1, 5}, {1, 2, 5}, {5, 2, 4}, {2, 3, 4}}, 8, 1},
      {kQuadsTo3, "[POLY4 to POLY3] ", {{0, 1, 2}, {0, 1, 3}, {1, 2, 3}, {0, 1, 2, 3, 4}, {0, 1, 2, 3, 4, 5}}, 3, 0},
      {kQuadsTo3 | kLargeTo3, "[POLY4N to POLY3] ",
       {{0, 1, 2}, {0, 1, 3}, {1, 2, 3}, {0, 1, 4}, {1, 2, 4}, {4, 2, 3}, {0, 1, 5}, {1, 2, 5}, {5, 2, 4}, {2, 3, 4}},
       10, 0},
      {0, "", {{0, 1, 2}, {0, 1, 2, 3}, {0, 1, 2, 3, 4}, {0, 1, 2, 3, 4, 5}}, 1, 1},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.tag);
    ScNodeList *list = Make(c.bits, 0, [](SceneBuilder &b) {
      ScModel *m = b.Add("m", nullptr, false);
      ScMesh *mesh = ptest::GiveMesh(m, std::vector<Vec3>(40), {{0, 1, 2}, {10, 11, 12, 13}, {20, 21, 22, 23, 24},
                                                               {30, 31, 32, 33, 34, 35}});
      for (int p = 0; p < 4; p++) mesh->polygons[p].materialId = p % 2;
      ptest::GiveMaterials(m, 2);
    }, c.tag);
    ASSERT_NE(list, nullptr);
    const ScModel *model = list->slist[0]->model;
    const ScMesh *result = model->mesh;
    EXPECT_EQ(result->nbTriangle, c.triangles);
    EXPECT_EQ(result->nbQuad, c.quads);
    ptest::Polygons corners;
    std::vector<int> counts(6);  // per material: triangles, quads, larger
    for (int p = 0; p < result->nbPolygon; p++) {
      const ScPolygon &polygon = result->polygons[p];
      const int source = polygon.corners[0].vertex / 10;
      corners.emplace_back();
      for (int k = 0; k < polygon.nbCorner; k++) corners.back().push_back(polygon.corners[k].vertex - 10 * source);
      for (int k = 0; k < polygon.nbCorner; k++) EXPECT_EQ(polygon.corners[k].u, polygon.corners[k].vertex * 0.01f);
      EXPECT_EQ(polygon.index, p);
      EXPECT_EQ(polygon.attribute, &result->attributes[source]);
      EXPECT_EQ(polygon.materialId, source % 2);
      counts[source % 2 * 3 + std::min(polygon.nbCorner - 3, 2)]++;
    }
    EXPECT_EQ(corners, c.corners);
    const ScMaterials *m0 = model->materials, *m1 = m0->next;
    EXPECT_EQ(counts, (std::vector<int>{m0->nbPolyTriangle, m0->nbPolyQuad, m0->nbPolyLarge, m1->nbPolyTriangle,
                                        m1->nbPolyQuad, m1->nbPolyLarge}));
  }
}

// Compares the ancestries root-most first by creation number; of a prefix
// and a longer ancestry, by how much of the first is left.
int LiteralCompare(const ScNode *a, const ScNode *b) {
  if (a->ancestor_n == 0 || b->ancestor_n == 0) return 0;
  for (int ia = a->ancestor_n - 1, ib = b->ancestor_n - 1;; ia--, ib--) {
    if (a->ancestors[ia] != b->ancestors[ib]) return a->ancestors[ia]->id - b->ancestors[ib]->id;
    if (ia == 0 || ib == 0) return ia;
  }
}

// Each node joins the nearest earlier node whose ancestry is a prefix of its
// own: as its last child when longer, else as its last sibling.
void LiteralLink(std::vector<ScNode *> &list, bool skipMeshParents) {
  for (size_t i = 1; i < list.size(); i++) {
    ScNode *node = list[i];
    for (size_t j = i; j-- > 0;) {
      ScNode *other = list[j];
      if (skipMeshParents && other->model->parent && other->model->parent->hasMesh == 1) continue;
      bool prefix = other->ancestor_n <= node->ancestor_n || other->ancestor_n == 0;
      for (int k = 1; prefix && k <= other->ancestor_n; k++)
        prefix = other->ancestors[other->ancestor_n - k] == node->ancestors[node->ancestor_n - k];
      if (!prefix) continue;
      const bool child = other->ancestor_n == 0 || node->ancestor_n > other->ancestor_n;
      ScNode **slot = child ? &other->child : &other->sibling;
      while (*slot) slot = &(*slot)->sibling;
      *slot = node;
      node->parent = child ? other : other->parent;
      break;
    }
  }
}

TEST(NodeListOrder, SortAndLinkMatchTheLiteralAlgorithms) {
  std::mt19937 random(20240611);
  int reordered = 0;
  for (int trial = 0; trial < 1500; trial++) {
    SCOPED_TRACE(trial);
    // n models, each under one of a few "hub" models (heavy ties), a recent
    // model, or none; creation numbers shuffled, sometimes repeated.
    const int n = 2 + static_cast<int>(random() % (trial % 10 == 0 ? 150 : 40));
    std::vector<ScModel> models(static_cast<size_t>(n));
    std::vector<std::vector<ScModel *>> ancestors(static_cast<size_t>(n));
    std::vector<int> ids(static_cast<size_t>(n)), kept;
    std::iota(ids.begin(), ids.end(), 0);
    std::shuffle(ids.begin(), ids.end(), random);
    const int hubs = 1 + static_cast<int>(random() % 6);
    for (int i = 0; i < n; i++) {
      ScModel &model = models[i];
      model.id = trial % 7 == 3 ? ids[i] % std::max(2, n / 3) : ids[i];
      model.hasMesh = random() % 3 != 0;
      if (i > 0 && random() % 8 != 0)
        model.parent =
            &models[random() % 2 ? random() % std::min(i, hubs) : i - 1 - random() % std::min(i, hubs + i / 4)];
      for (ScModel *a = model.parent; a; a = a->parent) ancestors[i].push_back(a);
      if (!model.parent || model.hasMesh == 1 || random() % 4 == 0) kept.push_back(i);
    }
    if (trial % 2) std::shuffle(kept.begin(), kept.end(), random);
    std::vector<ScNode> a(kept.size()), b(kept.size());
    std::vector<ScNode *> listA, listB;
    for (size_t k = 0; k < kept.size(); k++) {
      for (ScNode *node : {&a[k], &b[k]}) {
        node->model = &models[kept[k]];
        node->ancestors = ancestors[kept[k]].data();
        node->ancestor_n = static_cast<int>(ancestors[kept[k]].size());
      }
      listA.push_back(&a[k]), listB.push_back(&b[k]);
    }
    auto at = [](const std::vector<ScNode> &v, const ScNode *x) { return x ? x - v.data() : -1L; };
    for (size_t i = 0; i < listA.size(); i++)  // the exchange sort
      for (size_t j = i; j < listA.size(); j++)
        if (LiteralCompare(listA[i], listA[j]) > 0) std::swap(listA[i], listA[j]);
    ScSortByAncestry(listB.data(), static_cast<int>(listB.size()));
    for (size_t k = 0; k < kept.size(); k++) {
      ASSERT_EQ(at(a, listA[k]), at(b, listB[k])) << "position " << k;
      reordered += at(a, listA[k]) != static_cast<long>(k);
    }
    LiteralLink(listA, trial % 3 != 0);
    ScLinkByAncestry(listB.data(), static_cast<int>(listB.size()), trial % 3 != 0);
    for (size_t k = 0; k < kept.size(); k++) {
      ASSERT_EQ(at(a, a[k].parent), at(b, b[k].parent)) << "node " << k;
      ASSERT_EQ(at(a, a[k].child), at(b, b[k].child)) << "node " << k;
      ASSERT_EQ(at(a, a[k].sibling), at(b, b[k].sibling)) << "node " << k;
    }
  }
  EXPECT_GT(reordered, 1000);  // the inputs really exercise the sort
}

// Instance sources, counts and the instance line against the literal
// first-match search by name (case matters, later namesakes lose).
TEST_F(NodeListTest, InstancesMatchTheLinearSearch) {
  std::mt19937 random(99);
  const char *names[] = {"a", "b", "c", "A", "d"};
  for (int trial = 0; trial < 40; trial++) {
    ptest::FreshAllocator(), b = SceneBuilder();
    std::vector<ScModel *> models;
    int instances = 0, n = 1 + static_cast<int>(random() % 30);
    for (int i = 0; i < n; i++) {
      models.push_back(b.Add(names[random() % 5], i == 0 ? nullptr : models[random() % models.size()], true));
      if (random() % 3 == 0) models.back()->instroot = ScVStrdup(names[random() % 5]), instances++;
    }
    const std::string counts = std::to_string(instances) + "/" + std::to_string(n);
    // Repeated names are numbered after the instances are found (one warning).
    const float rotation[3] = {0, 0, 0};
    ScNodeList *list = nullptr;
    const std::string printed =
        Printed([&] { EXPECT_TRUE(ScGetNodeList(b.scene(), 0, 0, 0, rotation, &list).ok()); });
    EXPECT_EQ(printed.substr(0, printed.find('\n')), instances ? "[INSTANCE MODEL " + counts + "] " : "");
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(list->inst_obj_n, instances);
    std::vector<int> instN(static_cast<size_t>(n)), childInstN(static_cast<size_t>(n));
    for (int i = 0; i < n; i++) {
      ScNode *node = list->slist[i], *expected = nullptr;
      for (int j = 0; node->model->instroot && j < n && !expected; j++)
        if (std::strcmp(node->model->instroot, list->slist[j]->model->name) == 0) expected = list->slist[j];
      EXPECT_EQ(node->inst_src, expected);
      if (expected) instN[expected->nameId]++;
      if (expected && expected->child) childInstN[expected->child->nameId]++;
    }
    for (int i = 0; i < n; i++) {
      EXPECT_EQ(list->slist[i]->inst_n, instN[i]);
      EXPECT_EQ(list->slist[i]->child_inst_n, childInstN[i]);
    }
  }
}

}  // namespace
