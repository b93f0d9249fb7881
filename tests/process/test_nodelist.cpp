// The node list on hand-built scenes: walk order, links, transforms, boxes,
// global freeze, bone removal, instances and polygon conversion.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "process/geometry.h"
#include "process_util.h"

namespace {

using ptest::SceneBuilder;
using ptest::Vec3;
using Build = void (*)(SceneBuilder &);

constexpr uint32_t kRemoveBones = 0x00000001, kQuadsTo3 = 0x00100000, kLargeTo3 = 0x00200000;
constexpr uint32_t kGlobalFreeze = 0x00010000, kBuildMap = 0x00008000, kVertexColor = 0x00002000;

ScModel *Meshed(ScModel *model) { return SceneBuilder::GivePointMesh(model), model; }

class NodeListTest : public ::testing::Test {
 protected:
  void SetUp() override { ptest::FreshAllocator(); }
  void TearDown() override { ScFreeAll(); }
  ScNodeList *Make(uint32_t model = 0, uint32_t output = 0, Build build = nullptr) {
    if (build) ptest::FreshAllocator(), builder = SceneBuilder(), build(builder);
    const float rotation[3] = {0, 0, 0};
    return ScGetNodeList(builder.scene(), model, output, 0, rotation);
  }
  // The list holds these names in order, its tree is the one `parents`
  // (list positions, -1 for the root level) describes, children and
  // siblings in list order, with depths and positions to match.
  static void ExpectTree(const ScNodeList *list, const std::vector<std::string> &names, const std::vector<int> &parents) {
    ASSERT_EQ(list->node_n, static_cast<int>(names.size()));
    ScNode **s = list->slist;
    auto at = [&](int i) { return i < 0 ? nullptr : s[i]; };
    for (int i = 0; i < list->node_n; i++) {
      int child = -1, sibling = -1;
      for (int j = list->node_n - 1; j > i; j--) {
        if (parents[j] == i) child = j;
        if (parents[j] == parents[i]) sibling = j;
      }
      EXPECT_EQ(s[i]->name, names[i]);
      EXPECT_EQ(s[i]->parent, at(parents[i])) << i;
      EXPECT_EQ(s[i]->child, at(child)) << i;
      EXPECT_EQ(s[i]->sibling, at(sibling)) << i;
      EXPECT_EQ(s[i]->depth, parents[i] < 0 ? 0 : s[parents[i]]->depth + 1) << i;
      EXPECT_EQ(s[i]->nameId, i);
      EXPECT_EQ(s[i]->model->listIndex, i);
    }
  }
  SceneBuilder builder;
  ptest::Capture console;
};

TEST_F(NodeListTest, PlainWalkOrderDepthsLinksAndInfobits) {
  ScModel *root = Meshed(builder.Add("root", nullptr)), *a = Meshed(builder.Add("a", root));
  Meshed(builder.Add("b", root)), Meshed(builder.Add("a1", a));
  ptest::GiveMaterials(root, 1);
  ScNodeList *list = Make();
  ASSERT_NE(list, nullptr);
  ExpectTree(list, {"root", "a", "a1", "b"}, {-1, 0, 1, 0});
  EXPECT_EQ(list->max_depth, 2);
  EXPECT_EQ(list->nomat_model_n, 3);
  EXPECT_EQ(console.Text(), "");

  const struct {
    const char *name;
    Build build;
    uint32_t infobits;
  } cases[] = {
      {"plain", [](SceneBuilder &b) { Meshed(b.Add("r", nullptr)); }, 0},
      {"scaled", [](SceneBuilder &b) { Meshed(b.Add("r", nullptr, {}, {}, {1, 1.0002f, 1})); }, 0x20},
      {"meshless root", [](SceneBuilder &b) { Meshed(b.Add("c", b.Add("r", nullptr))); }, 0x02},
      {"meshless inner node", [](SceneBuilder &b) { Meshed(b.Add("c", b.Add("bone", Meshed(b.Add("r", nullptr))))); },
       0x01},
      {"both", [](SceneBuilder &b) { Meshed(b.Add("c", b.Add("bone", b.Add("r", nullptr)))); }, 0x03},
      {"eval flag 2", [](SceneBuilder &b) { Meshed(b.Add("r", nullptr))->EvalFlags = 2; }, 0x10},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.name);
    ScNodeList *one = Make(0, 0, c.build);
    ASSERT_NE(one, nullptr);
    EXPECT_EQ(one->infobits, c.infobits);
  }
  ASSERT_NE(Make(0, kVertexColor), nullptr);
  EXPECT_EQ(console.Text(), "\n##### Warning : Can't find vertex color data.\n");
}

TEST_F(NodeListTest, NodeMatricesAndBoxesFollowTheTransforms) {
  // The parent at (0, 2, 0) turned a quarter about Z; the child at (1, 0, 0)
  // with scale 2.
  ScModel *parent = builder.Add("parent", nullptr, {0, 2, 0}, {0, 0, 1.5707964f});
  ScModel *child = builder.Add("child", parent, {1, 0, 0}, {}, {2, 2, 2});
  SceneBuilder::GiveMesh(parent, {{-1, -2, -3}, {3, 4, 1}});
  SceneBuilder::GiveMesh(child, {{0, 0, 0}, {1, 0, 0}});
  ScNodeList *list = Make();
  ASSERT_NE(list, nullptr);
  ScNode *p = list->slist[0], *c = list->slist[1];
  EXPECT_EQ(list->infobits, 0x20u);
  // Local box: half-extents (2, 3, 2), radius sqrt(3^2 + 2^2). World: (x, y,
  // z) -> (-y, x + 2, z) takes the corners to (2, 1, -3) and (-4, 5, 1). The
  // child's points go to (0, 3, 0) and, scaled, moved, turned and moved, to
  // (0, 5, 0).
  const struct {
    const ScBox &box;
    Vec3 min, max, average;
    float radius;
  } boxes[] = {
      {p->bbox.local, {-1, -2, -3}, {3, 4, 1}, {1, 1, -1}, std::sqrt(13.0f)},
      {p->bbox.world, {-4, 1, -3}, {2, 5, 1}, {-1, 3, -1}, std::sqrt(13.0f)},
      {c->bbox.world, {0, 3, 0}, {0, 5, 0}, {0, 4, 0}, 1.0f},
  };
  for (const auto &b : boxes) {
    for (int k = 0; k < 3; k++) {
      EXPECT_NEAR(b.box.min[k], b.min[k], 1e-5);
      EXPECT_NEAR(b.box.max[k], b.max[k], 1e-5);
      EXPECT_NEAR(b.box.average[k], b.average[k], 1e-5);
    }
    EXPECT_NEAR(b.box.radius, b.radius, 1e-5);
  }
  // Root matrix = world; the child's takes a point where its world matrix
  // and then the parent's inverse take it: its own scale 2 and move (1, 0, 0).
  for (int i = 0; i < 12; i++) EXPECT_EQ(p->matrix[i], parent->matrixA[i]);
  float inverse[12];
  ScMatrixCopy(parent->matrixA, inverse);
  ScMatrixInvert(inverse);
  for (const Vec3 &q : {Vec3{0, 0, 0}, Vec3{1, 0, 0}, Vec3{0.5f, -3, 2}}) {
    float viaNode[3], viaWorld[3];
    ScMatrixTransform(q.data(), viaNode, c->matrix);
    ScMatrixTransform(q.data(), viaWorld, child->matrixA);
    ScMatrixTransform(viaWorld, viaWorld, inverse);
    for (int k = 0; k < 3; k++) EXPECT_NEAR(viaNode[k], viaWorld[k], 1e-5);
  }
  EXPECT_NEAR(c->matrix[0], 2.0f, 1e-3);
  EXPECT_NEAR(c->matrix[9], 1.0f, 1e-3);
  for (int i = 0; i < 12; i++) EXPECT_EQ(c->shadow[i], c->matrix[i]);
  EXPECT_EQ(c->trans[0], 1.0f);
  EXPECT_EQ(c->scaling[0], 2.0f);
  EXPECT_EQ(p->rot[2], 1.5707964f);
}

TEST_F(NodeListTest, GlobalFreezeFlattensAndMovesVertices) {
  ScModel *parent = Meshed(builder.Add("parent", nullptr, {0, 2, 0}));
  ScModel *child = builder.Add("child", parent, {1, 0, 0}, {0, 0, 1.5707964f});
  ScModel *grandchild = Meshed(builder.Add("grandchild", child));
  ScMesh *moved = SceneBuilder::GiveMesh(builder.Add("other", parent, {1, 0, 0}), {{0, 0, 0}, {-1, 0.5f, 3}});
  ScMesh *mesh = SceneBuilder::GiveMesh(child, {{0, 0, 0}, {1, 1, 1}}, {{0, 1, 0}});
  ScPolygon &polygon = mesh->polygons[0];
  mesh->vertices[1].normal[0] = 2, polygon.normal[1] = 1, polygon.corners[1].normal[0] = 3;
  mesh->vertices[1].normal[2] = polygon.normal[2] = polygon.corners[1].normal[2] = 0;
  ScNodeList *list = Make(0, kGlobalFreeze);
  ASSERT_NE(list, nullptr);
  EXPECT_EQ(console.Text(), "[GLOBAL FREEZE] ");
  ExpectTree(list, {"parent", "child", "grandchild", "other"}, {-1, -1, -1, -1});
  for (int i = 0; i < list->node_n; i++) EXPECT_EQ(list->slist[i]->matrix[0], 1.0f);
  // The child's points turn a quarter about Z and move by (1, 2, 0); its
  // normals turn and become unit; "other" moves by (1, 2, 0).
  const struct {
    const float *got;
    Vec3 want;
  } checks[] = {{mesh->vertices[0].pos, {1, 2, 0}},     {mesh->vertices[1].pos, {0, 3, 1}},
                {mesh->vertices[1].normal, {0, 1, 0}},  {polygon.normal, {-1, 0, 0}},
                {polygon.corners[1].normal, {0, 1, 0}}, {grandchild->mesh->vertices[0].pos, {1, 2, 0}},
                {moved->vertices[0].pos, {1, 2, 0}},    {moved->vertices[1].pos, {0, 2.5f, 3}}};
  for (const auto &c : checks)
    for (int k = 0; k < 3; k++) EXPECT_NEAR(c.got[k], c.want[k], 1e-5) << &c - checks << " " << k;
}

TEST_F(NodeListTest, FatalStopsEndTheRunWithStatusZero) {
  ScModel *root = Meshed(builder.Add("root", nullptr));
  Meshed(builder.Add("child", root));
  EXPECT_EXIT((SetMessageStream(stderr), SetErrorStream(stderr), Make(0, kGlobalFreeze | kBuildMap)),
              ::testing::ExitedWithCode(0),
              "^\\[GLOBAL FREEZE\\] \\[BUILD MAP\\] \n##### Error : Bad Model pointer\n$");
  root->mesh = nullptr;
  EXPECT_EXIT((SetErrorStream(stderr), Make()), ::testing::ExitedWithCode(0), "Error : Bad Mesh Pointer\n$");
}

TEST_F(NodeListTest, BoneRemovalReparentsAndFoldsTheBones) {
  const struct {
    const char *what;
    Build build;
    std::vector<std::string> names;
    std::vector<int> parents;
    Vec3 trans, rot;  // of the list's third node, or second when there are two
  } cases[] = {
      // Translation: the bone's (0,5,0) plus the leaf's (1,0,0) turned 0.5
      // about Z. Side's ancestry [root] is shorter than leaf's [root, bone];
      // side hangs under a mesh-bearing parent, so leaf goes under root.
      {"turned bone",
       [](SceneBuilder &b) {
         ScModel *root = Meshed(b.Add("root", nullptr)), *bone = b.Add("bone", root, {0, 5, 0}, {0, 0, 0.5f});
         Meshed(b.Add("leaf", bone, {1, 0, 0}, {0.25f, 0, 0})), Meshed(b.Add("side", root));
       },
       {"root", "side", "leaf"}, {-1, 0, 0}, {std::cos(0.5f), 5.0f + std::sin(0.5f), 0}, {0.25f, 0, 0.5f}},
      {"plain bone",
       [](SceneBuilder &b) { Meshed(b.Add("leaf", b.Add("bone", Meshed(b.Add("root", nullptr)), {0, 5, 0}), {1, 0, 0})); },
       {"root", "leaf"}, {-1, 0}, {1, 5, 0}, {0, 0, 0}},
      // A mesh-less root stays. Ancestries by creation number, root-most
      // first: thigh [root, hip] is a prefix of shin's [root, hip, thigh,
      // knee]; tail [root, hipbone] meets only the root.
      {"mesh-less root",
       [](SceneBuilder &b) {
         ScModel *root = b.Add("root", nullptr, {0, 0, 1});
         ScModel *thigh = Meshed(b.Add("thigh", b.Add("hip", root), {0, -1, 0}));
         Meshed(b.Add("shin", b.Add("knee", thigh), {0, -1, 0}, {0, 0, 3.0f}));
         Meshed(b.Add("tail", b.Add("hipbone", root), {0, 0, -1}));
       },
       {"root", "thigh", "shin", "tail"}, {-1, 0, 1, 0}, {0, -1, 0}, {0, 0, 3.0f}},
      // Equal ancestries come out reversed by the exchange sort.
      {"equal ancestries",
       [](SceneBuilder &b) {
         ScModel *root = Meshed(b.Add("root", nullptr)), *bone = b.Add("bone", root);
         Meshed(b.Add("c1", bone)), Meshed(b.Add("c2", bone)), Meshed(b.Add("q", root));
       },
       {"root", "q", "c2", "c1"}, {-1, 0, 0, 0}, {0, 0, 0}, {0, 0, 0}},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    ptest::Capture capture;
    ScNodeList *list = Make(kRemoveBones, 0, c.build);
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(capture.Text(), "[REMOVE BONES] ");
    ExpectTree(list, c.names, c.parents);
    const ScNode *node = list->slist[std::min(2, list->node_n - 1)];
    for (int k = 0; k < 3; k++) {
      EXPECT_NEAR(node->trans[k], c.trans[k], 1e-5);
      EXPECT_NEAR(node->rot[k], c.rot[k], 1e-3);
    }
  }
}

TEST_F(NodeListTest, InstancesShareTheFirstNodeOfTheirName) {
  ScModel *root = Meshed(builder.Add("root", nullptr)), *proto = Meshed(builder.Add("proto", root));
  Meshed(builder.Add("pchild", proto));
  for (const char *source : {"proto", "proto", "Proto"})  // case matters
    Meshed(builder.Add("copy", root))->instroot = ScVStrdup(source);
  Meshed(builder.Add("proto", root));  // a later node of the same name
  ScNodeList *list = Make();
  ASSERT_NE(list, nullptr);
  EXPECT_EQ(console.Text(), "[INSTANCE MODEL 3/7] ");
  EXPECT_EQ(list->inst_obj_n, 3);
  ScNode **s = list->slist;
  EXPECT_EQ(s[3]->inst_src, s[1]);
  EXPECT_EQ(s[4]->inst_src, s[1]);
  EXPECT_EQ(s[5]->inst_src, nullptr);
  EXPECT_EQ(s[1]->inst_n, 2);
  EXPECT_EQ(s[6]->inst_n, 0);
  EXPECT_EQ(s[2]->child_inst_n, 2);
}

TEST_F(NodeListTest, PolygonConversionPatterns) {
  // Source polygons: a triangle, a quad, a pentagon, a hexagon; per output
  // polygon, its corners' numbers in the source.
  const struct {
    uint32_t bits;
    const char *tag;
    std::vector<std::vector<int>> corners;
    int triangles, quads;
  } cases[] = {
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
    ptest::FreshAllocator();
    builder = SceneBuilder();
    ptest::Capture capture;
    ScModel *model = builder.Add("m", nullptr);
    // Corner k of source polygon p is vertex 10 * p + k; material p % 2.
    ScMesh *mesh = SceneBuilder::GiveMesh(model, std::vector<Vec3>(40),
                                          {{0, 1, 2}, {10, 11, 12, 13}, {20, 21, 22, 23, 24}, {30, 31, 32, 33, 34, 35}});
    ptest::GiveMaterials(model, 2);
    for (int p = 0; p < 4; p++) mesh->polygons[p].materialId = p % 2;
    ScAttribute *attributes = mesh->attributes;
    ASSERT_NE(Make(c.bits), nullptr);
    EXPECT_EQ(capture.Text(), c.tag);
    const ScMesh *result = model->mesh;
    ASSERT_EQ(result->nbPolygon, static_cast<int>(c.corners.size()));
    EXPECT_EQ(result->attributes, attributes);
    EXPECT_EQ(result->nbVertex, 40);
    EXPECT_EQ(result->nbTriangle, c.triangles);
    EXPECT_EQ(result->nbQuad, c.quads);
    int counts[2][3] = {};  // per material: triangles, quads, larger
    for (int p = 0; p < result->nbPolygon; p++) {
      const ScPolygon &polygon = result->polygons[p];
      ASSERT_EQ(polygon.nbCorner, c.corners[p].size());
      const int source = polygon.corners[0].vertex / 10;
      EXPECT_EQ(polygon.index, p);
      EXPECT_EQ(polygon.attribute, &attributes[source]);
      EXPECT_EQ(polygon.materialId, source % 2);
      for (int k = 0; k < polygon.nbCorner; k++) {
        EXPECT_EQ(polygon.corners[k].vertex, 10 * source + c.corners[p][k]) << "polygon " << p << " corner " << k;
        EXPECT_EQ(polygon.corners[k].u, c.corners[p][k]);  // the whole corner is copied
      }
      counts[source % 2][std::min(polygon.nbCorner - 3, 2)]++;
    }
    for (const ScMaterials *m = model->materials; m; m = m->next) {
      const int *want = counts[m == model->materials ? 0 : 1];
      EXPECT_EQ(m->nbPolyTriangle, want[0]);
      EXPECT_EQ(m->nbPolyQuad, want[1]);
      EXPECT_EQ(m->nbPolyLarge, want[2]);
    }
  }
}

}  // namespace
