#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "process/geometry.h"
#include "process/nodelist.h"
#include "test_nodelist_util.h"

namespace {

using nltest::SceneBuilder;

constexpr uint32_t kRemoveBones = 0x00000001;
constexpr uint32_t kQuadsTo3 = 0x00100000;
constexpr uint32_t kLargeTo3 = 0x00200000;
constexpr uint32_t kAllTo3 = 0x00300000;
constexpr uint32_t kGlobalFreeze = 0x00010000;
constexpr uint32_t kBuildMap = 0x00008000;
constexpr uint32_t kVertexColor = 0x00002000;
constexpr float kNoRotation[3] = {0, 0, 0};

class NodeListTest : public ::testing::Test {
 protected:
  void SetUp() override { nltest::FreshAllocator(); }
  void TearDown() override { ScFreeAll(); }

  ScNodeList *Build(uint32_t model = 0, uint32_t output = 0) {
    return ScGetNodeList(builder.scene(), model, output, 0, kNoRotation);
  }

  static std::vector<std::string> Names(const ScNodeList *list) {
    std::vector<std::string> names;
    for (int i = 0; i < list->node_n; i++) names.emplace_back(list->slist[i]->name);
    return names;
  }

  static int Index(const ScNodeList *list, const ScNode *node) {
    for (int i = 0; i < list->node_n; i++)
      if (list->slist[i] == node) return i;
    return -1;
  }

  SceneBuilder builder;
  nltest::ConsoleCapture console;
};

TEST_F(NodeListTest, PlainWalkOrderDepthsLinksAndInfobits) {
  ScModel *root = builder.Add("root", nullptr);
  ScModel *a = builder.Add("a", root);
  ScModel *a1 = builder.Add("a1", a);
  ScModel *b = builder.Add("b", root);
  for (ScModel *m : {root, a, a1, b}) SceneBuilder::GivePointMesh(m);
  root->materials = ScMaterialsAlloc(1);
  root->nbMaterial = 1;

  ScNodeList *list = Build();
  ASSERT_NE(list, nullptr);
  EXPECT_EQ(Names(list), (std::vector<std::string>{"root", "a", "a1", "b"}));
  const int depths[] = {0, 1, 2, 1};
  for (int i = 0; i < 4; i++) {
    EXPECT_EQ(list->slist[i]->depth, depths[i]);
    EXPECT_EQ(list->slist[i]->nameId, i);
    EXPECT_EQ(list->slist[i]->model->listIndex, i);
  }
  ScNode **s = list->slist;
  EXPECT_EQ(s[0]->child, s[1]);
  EXPECT_EQ(s[1]->child, s[2]);
  EXPECT_EQ(s[1]->sibling, s[3]);
  EXPECT_EQ(s[3]->parent, s[0]);
  EXPECT_EQ(s[2]->parent, s[1]);
  EXPECT_EQ(s[0]->parent, nullptr);
  EXPECT_EQ(s[0]->sibling, nullptr);
  EXPECT_EQ(list->max_depth, 2);
  EXPECT_EQ(list->nomat_model_n, 3);
  EXPECT_EQ(list->infobits, 0u);
  EXPECT_EQ(list->depth, 0);
  EXPECT_EQ(console.Text(), "");
}

TEST_F(NodeListTest, InfobitsTable) {
  struct Case {
    const char *name;
    void (*build)(SceneBuilder &);
    uint32_t infobits;
  };
  const Case cases[] = {
      {"single mesh root", [](SceneBuilder &b) { SceneBuilder::GivePointMesh(b.Add("r", nullptr)); }, 0},
      {"scaled",
       [](SceneBuilder &b) { SceneBuilder::GivePointMesh(b.Add("r", nullptr, {}, {}, {1, 1.0002f, 1})); }, 0x20},
      {"meshless root, mesh children",
       [](SceneBuilder &b) {
         ScModel *r = b.Add("r", nullptr);
         SceneBuilder::GivePointMesh(b.Add("c", r));
         SceneBuilder::GivePointMesh(b.Add("d", r));
       },
       0x02},
      {"meshless inner node",
       [](SceneBuilder &b) {
         ScModel *r = b.Add("r", nullptr);
         SceneBuilder::GivePointMesh(r);
         SceneBuilder::GivePointMesh(b.Add("c", b.Add("bone", r)));
       },
       0x01},
      {"meshless root and inner node",
       [](SceneBuilder &b) { SceneBuilder::GivePointMesh(b.Add("c", b.Add("bone", b.Add("r", nullptr)))); }, 0x03},
      {"eval flag 2",
       [](SceneBuilder &b) {
         ScModel *r = b.Add("r", nullptr);
         SceneBuilder::GivePointMesh(r);
         r->EvalFlags = 0x2;
       },
       0x10},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.name);
    nltest::FreshAllocator();
    builder = SceneBuilder();
    c.build(builder);
    ScNodeList *list = Build();
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(list->infobits, c.infobits);
  }
}

TEST_F(NodeListTest, NodeMatricesAndBoxesFollowTheTransforms) {
  // The parent stands at (0, 2, 0) turned a quarter about Z; the child at
  // (1, 0, 0) with scale 2.
  const float quarter = 1.5707964f;
  ScModel *parent = builder.Add("parent", nullptr, {0, 2, 0}, {0, 0, quarter});
  ScModel *child = builder.Add("child", parent, {1, 0, 0}, {}, {2, 2, 2});
  SceneBuilder::GiveMesh(parent, {{-1, -2, -3}, {3, 4, 1}});
  SceneBuilder::GiveMesh(child, {{0, 0, 0}, {1, 0, 0}});

  ScNodeList *list = Build();
  ASSERT_NE(list, nullptr);
  ScNode *p = list->slist[0];
  ScNode *c = list->slist[1];

  // Local box of the parent: min (-1,-2,-3), max (3,4,1), half (2,3,2).
  EXPECT_EQ(p->bbox.local.min[2], -3.0f);
  EXPECT_EQ(p->bbox.local.max[1], 4.0f);
  EXPECT_FLOAT_EQ(p->bbox.local.average[0], 1.0f);
  EXPECT_FLOAT_EQ(p->bbox.local.average[2], -1.0f);
  EXPECT_FLOAT_EQ(p->bbox.local.radius, std::sqrt(13.0f));
  // World: (x, y, z) -> (-y, x + 2, z): points (2, 1, -3) and (-4, 5, 1).
  EXPECT_NEAR(p->bbox.world.min[0], -4.0f, 1e-5);
  EXPECT_NEAR(p->bbox.world.max[0], 2.0f, 1e-5);
  EXPECT_NEAR(p->bbox.world.min[1], 1.0f, 1e-5);
  EXPECT_NEAR(p->bbox.world.max[1], 5.0f, 1e-5);
  EXPECT_NEAR(p->bbox.world.radius, std::sqrt(13.0f), 1e-5);

  // The child's points in the world: (0,0,0) -> (0, 3, 0); (1,0,0) -> scaled
  // (2,0,0), moved (3,0,0), turned (0,3,0), moved (0,5,0).
  EXPECT_NEAR(c->bbox.world.min[1], 3.0f, 1e-5);
  EXPECT_NEAR(c->bbox.world.max[1], 5.0f, 1e-5);
  EXPECT_NEAR(c->bbox.world.average[0], 0.0f, 1e-5);
  EXPECT_NEAR(c->bbox.world.radius, 1.0f, 1e-5);

  // Root matrix = world; child matrix = world x parent-world^-1, so a point
  // through it lands where the world matrix and the parent's inverse take it.
  for (int i = 0; i < 12; i++) EXPECT_EQ(p->matrix[i], parent->matrixA[i]);
  float inverse[12];
  ScMatrixCopy(parent->matrixA, inverse);
  ScMatrixInvert(inverse);
  const float points[][3] = {{0, 0, 0}, {1, 0, 0}, {0.5f, -3, 2}};
  for (const auto &q : points) {
    float viaNode[3], viaWorld[3];
    ScMatrixTransform(q, viaNode, c->matrix);
    ScMatrixTransform(q, viaWorld, child->matrixA);
    ScMatrixTransform(viaWorld, viaWorld, inverse);
    for (int k = 0; k < 3; k++) EXPECT_NEAR(viaNode[k], viaWorld[k], 1e-5);
  }
  // ... which is the child's own local transform: scale 2, move (1,0,0)
  // (up to the inversion's clamp of the quarter turn's zero pivot).
  EXPECT_NEAR(c->matrix[0], 2.0f, 1e-3);
  EXPECT_NEAR(c->matrix[9], 1.0f, 1e-3);
  EXPECT_NEAR(c->matrix[10], 0.0f, 1e-3);
  for (int i = 0; i < 12; i++) EXPECT_EQ(c->shadow[i], c->matrix[i]);
  EXPECT_EQ(c->trans[0], 1.0f);
  EXPECT_EQ(c->scaling[0], 2.0f);
  EXPECT_EQ(p->rot[2], quarter);
  EXPECT_EQ(list->infobits, 0x20u);
}

TEST_F(NodeListTest, GlobalFreezeFlattensAndMovesVertices) {
  ScModel *parent = builder.Add("parent", nullptr, {0, 2, 0});
  ScModel *child = builder.Add("child", parent, {1, 0, 0}, {0, 0, 1.5707964f});
  ScModel *grandchild = builder.Add("grandchild", child);
  ScModel *other = builder.Add("other", parent, {0, 0, 7});
  SceneBuilder::GivePointMesh(parent);
  ScMesh *mesh = SceneBuilder::GiveMesh(child, {{0, 0, 0}, {1, 1, 1}}, {{0, 1, 0}});
  const float alongX[3] = {2, 0, 0}, alongY[3] = {0, 1, 0}, alongX3[3] = {3, 0, 0};
  ScVectorCopy(alongX, mesh->vertices[1].normal);  // unit after the turn: (0, 1, 0)
  ScVectorCopy(alongY, mesh->polygons[0].normal);
  ScVectorCopy(alongX3, mesh->polygons[0].corners[1].normal);
  SceneBuilder::GivePointMesh(grandchild);
  SceneBuilder::GivePointMesh(other);

  ScNodeList *list = Build(0, kGlobalFreeze);
  ASSERT_NE(list, nullptr);
  EXPECT_EQ(console.Text(), "[GLOBAL FREEZE] ");
  EXPECT_EQ(Names(list), (std::vector<std::string>{"parent", "child", "grandchild", "other"}));
  for (int i = 0; i < list->node_n; i++) {
    ScNode *node = list->slist[i];
    EXPECT_EQ(node->depth, 0);
    EXPECT_EQ(node->parent, nullptr);
    EXPECT_EQ(node->child, nullptr);
    EXPECT_EQ(node->sibling, i + 1 < list->node_n ? list->slist[i + 1] : nullptr);
    EXPECT_EQ(node->matrix[0], 1.0f);
    EXPECT_EQ(node->matrix[9], 0.0f);
    EXPECT_EQ(node->model->OScale[1], 1.0f);
  }
  // Turned a quarter about Z, then moved by (1, 2, 0).
  EXPECT_NEAR(mesh->vertices[0].pos[0], 1.0f, 1e-5);
  EXPECT_NEAR(mesh->vertices[0].pos[1], 2.0f, 1e-5);
  EXPECT_NEAR(mesh->vertices[1].pos[0], 0.0f, 1e-5);
  EXPECT_NEAR(mesh->vertices[1].pos[1], 3.0f, 1e-5);
  EXPECT_NEAR(mesh->vertices[1].pos[2], 1.0f, 1e-5);
  EXPECT_NEAR(mesh->vertices[1].normal[1], 1.0f, 1e-5);
  EXPECT_NEAR(mesh->vertices[1].normal[0], 0.0f, 1e-5);
  EXPECT_NEAR(mesh->polygons[0].normal[0], -1.0f, 1e-5);
  EXPECT_NEAR(mesh->polygons[0].corners[1].normal[1], 1.0f, 1e-5);
  EXPECT_NEAR(grandchild->mesh->vertices[0].pos[0], 1.0f, 1e-5);
  EXPECT_NEAR(grandchild->mesh->vertices[0].pos[1], 2.0f, 1e-5);
  EXPECT_NEAR(other->mesh->vertices[0].pos[2], 7.0f, 1e-5);
}

TEST_F(NodeListTest, GlobalFreezeMovesChildVerticesByParentAndChildOffsets) {
  ScModel *parent = builder.Add("parent", nullptr, {0, 2, 0});
  ScModel *child = builder.Add("child", parent, {1, 0, 0});
  SceneBuilder::GivePointMesh(parent);
  ScMesh *mesh = SceneBuilder::GiveMesh(child, {{0, 0, 0}, {-1, 0.5f, 3}});
  ScNodeList *list = Build(0, kGlobalFreeze);
  ASSERT_NE(list, nullptr);
  const float want[2][3] = {{1, 2, 0}, {0, 2.5f, 3}};
  for (int v = 0; v < 2; v++)
    for (int k = 0; k < 3; k++) EXPECT_FLOAT_EQ(mesh->vertices[v].pos[k], want[v][k]);
}

TEST_F(NodeListTest, BuildMapEndsTheRun) {
  ScModel *root = builder.Add("root", nullptr);
  SceneBuilder::GivePointMesh(root);
  SceneBuilder::GivePointMesh(builder.Add("child", root));
  EXPECT_EXIT(
      {
        SetMessageStream(stderr);
        SetErrorStream(stderr);
        Build(0, kGlobalFreeze | kBuildMap);
      },
      ::testing::ExitedWithCode(0), "^\\[GLOBAL FREEZE\\] \\[BUILD MAP\\] \n##### Error : Bad Model pointer\n$");
}

TEST_F(NodeListTest, BoneRemovalFoldsTheBoneIntoItsChild) {
  // root (mesh) -> bone (no mesh, at (0,5,0)) -> leaf (mesh, at (1,0,0));
  // root -> side (mesh).
  ScModel *root = builder.Add("root", nullptr);
  ScModel *bone = builder.Add("bone", root, {0, 5, 0}, {0, 0, 0.5f});
  ScModel *leaf = builder.Add("leaf", bone, {1, 0, 0}, {0.25f, 0, 0});
  ScModel *side = builder.Add("side", root);
  for (ScModel *m : {root, leaf, side}) SceneBuilder::GivePointMesh(m);

  ScNodeList *list = Build(kRemoveBones);
  ASSERT_NE(list, nullptr);
  EXPECT_EQ(console.Text(), "[REMOVE BONES] ");
  // Shallower ancestry first: side [root] before leaf [root, bone].
  EXPECT_EQ(Names(list), (std::vector<std::string>{"root", "side", "leaf"}));
  ScNode **s = list->slist;
  EXPECT_EQ(s[0]->child, s[1]);
  // leaf's nearest earlier candidate "side" hangs under a mesh-bearing
  // parent and is passed over; it goes under root, after side.
  EXPECT_EQ(s[1]->sibling, s[2]);
  EXPECT_EQ(s[2]->parent, s[0]);
  EXPECT_EQ(s[1]->depth, 1);
  EXPECT_EQ(s[2]->depth, 1);
  EXPECT_EQ(s[2]->ancestor_n, 2);
  EXPECT_EQ(s[2]->ancestors[0], bone);
  EXPECT_EQ(bone->listIndex, -1);
  EXPECT_EQ(leaf->listIndex, 2);
  EXPECT_EQ(list->optionbits & kRemoveBones, kRemoveBones);
  // Translation: the bone's (0,5,0) plus the leaf's (1,0,0) turned 0.5 about Z.
  EXPECT_NEAR(s[2]->trans[0], std::cos(0.5f), 1e-5);
  EXPECT_NEAR(s[2]->trans[1], 5.0f + std::sin(0.5f), 1e-5);
  EXPECT_NEAR(s[2]->trans[2], 0.0f, 1e-5);
  EXPECT_NEAR(s[2]->rot[0], 0.25f, 1e-4);
  EXPECT_NEAR(s[2]->rot[2], 0.5f, 1e-4);
  EXPECT_NEAR(s[2]->rot_hint[2], 0.5f, 1e-4);
}

TEST_F(NodeListTest, BoneRemovalOffsetFoldsIntoTranslation) {
  ScModel *root = builder.Add("root", nullptr);
  ScModel *bone = builder.Add("bone", root, {0, 5, 0});
  ScModel *leaf = builder.Add("leaf", bone, {1, 0, 0});
  SceneBuilder::GivePointMesh(root);
  SceneBuilder::GivePointMesh(leaf);
  ScNodeList *list = Build(kRemoveBones);
  ASSERT_NE(list, nullptr);
  ASSERT_EQ(list->node_n, 2);
  EXPECT_EQ(list->slist[0]->child, list->slist[1]);
  EXPECT_FLOAT_EQ(list->slist[1]->trans[0], 1.0f);
  EXPECT_FLOAT_EQ(list->slist[1]->trans[1], 5.0f);
  EXPECT_FLOAT_EQ(list->slist[1]->trans[2], 0.0f);
}

TEST_F(NodeListTest, BoneRemovalReparentsUnderMeshlessRoot) {
  // A mesh-less root keeps its place (root level); mesh-less inner nodes go,
  // and angles above pi come back reduced.
  ScModel *root = builder.Add("root", nullptr, {0, 0, 1});
  ScModel *hip = builder.Add("hip", root);
  ScModel *thigh = builder.Add("thigh", hip, {0, -1, 0});
  ScModel *knee = builder.Add("knee", thigh);
  ScModel *shin = builder.Add("shin", knee, {0, -1, 0}, {0, 0, 3.0f});
  ScModel *hipBone = builder.Add("hipbone", root);
  ScModel *tail = builder.Add("tail", hipBone, {0, 0, -1});
  for (ScModel *m : {thigh, shin, tail}) SceneBuilder::GivePointMesh(m);

  ScNodeList *list = Build(kRemoveBones);
  ASSERT_NE(list, nullptr);
  // Keys by creation numbers of the ancestors, root-most first: thigh
  // [root, hip], shin [root, hip, thigh, knee], tail [root, hipbone].
  EXPECT_EQ(Names(list), (std::vector<std::string>{"root", "thigh", "shin", "tail"}));
  ScNode **s = list->slist;
  EXPECT_EQ(s[0]->child, s[1]);
  EXPECT_EQ(s[1]->child, s[2]);   // thigh's ancestry is a prefix of shin's
  EXPECT_EQ(s[1]->sibling, s[3]); // tail matches only the root
  EXPECT_EQ(s[3]->parent, s[0]);
  const int depths[] = {0, 1, 2, 1};
  for (int i = 0; i < 4; i++) EXPECT_EQ(s[i]->depth, depths[i]) << i;
  EXPECT_NEAR(s[2]->trans[1], -1.0f, 1e-5);
  EXPECT_NEAR(s[2]->rot[2], 3.0f, 1e-3);
  EXPECT_NEAR(s[3]->trans[2], -1.0f, 1e-5);
  (void)knee;
  (void)shin;
  (void)tail;
}

TEST_F(NodeListTest, BoneRemovalExchangeSortReversesEqualAncestries) {
  ScModel *root = builder.Add("root", nullptr);
  ScModel *bone = builder.Add("bone", root);
  ScModel *c1 = builder.Add("c1", bone);
  ScModel *c2 = builder.Add("c2", bone);
  ScModel *q = builder.Add("q", root);
  for (ScModel *m : {root, c1, c2, q}) SceneBuilder::GivePointMesh(m);
  ScNodeList *list = Build(kRemoveBones);
  ASSERT_NE(list, nullptr);
  EXPECT_EQ(Names(list), (std::vector<std::string>{"root", "q", "c2", "c1"}));
  ScNode **s = list->slist;
  EXPECT_EQ(s[0]->child, s[1]);
  EXPECT_EQ(s[1]->sibling, s[2]);
  EXPECT_EQ(s[2]->sibling, s[3]);
  EXPECT_EQ(s[3]->parent, s[0]);
}

TEST_F(NodeListTest, InstancesShareTheFirstNodeOfTheirName) {
  ScModel *root = builder.Add("root", nullptr);
  ScModel *proto = builder.Add("proto", root);
  ScModel *protoChild = builder.Add("pchild", proto);
  ScModel *copy1 = builder.Add("copy1", root);
  ScModel *copy2 = builder.Add("copy2", root);
  ScModel *lost = builder.Add("lost", root);
  builder.Add("proto", root);  // a later node of the same name
  for (ScModel *m : {root, proto, protoChild, copy1, copy2, lost}) SceneBuilder::GivePointMesh(m);
  SceneBuilder::GivePointMesh(lost->sibling);
  copy1->instroot = ScVStrdup("proto");
  copy2->instroot = ScVStrdup("proto");
  lost->instroot = ScVStrdup("Proto");  // case matters

  ScNodeList *list = Build();
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
  struct Case {
    uint32_t bits;
    const char *tag;
    std::vector<std::vector<int>> corners;  // source corner numbers per output polygon
    int triangles, quads;
  };
  // Source polygons: a triangle, a quad, a pentagon, a hexagon.
  const Case cases[] = {
      {kLargeTo3, "[POLYN to POLY3] ",
       {{0, 1, 2}, {0, 1, 2, 3}, {0, 1, 4}, {1, 2, 4}, {4, 2, 3}, {0, 1, 5}, {1, 2, 5}, {5, 2, 4}, {2, 3, 4}},
       8, 1},
      {kQuadsTo3, "[POLY4 to POLY3] ",
       {{0, 1, 2}, {0, 1, 3}, {1, 2, 3}, {0, 1, 2, 3, 4}, {0, 1, 2, 3, 4, 5}}, 3, 0},
      {kAllTo3, "[POLY4N to POLY3] ",
       {{0, 1, 2}, {0, 1, 3}, {1, 2, 3}, {0, 1, 4}, {1, 2, 4}, {4, 2, 3}, {0, 1, 5}, {1, 2, 5}, {5, 2, 4}, {2, 3, 4}},
       10, 0},
      {0, "", {{0, 1, 2}, {0, 1, 2, 3}, {0, 1, 2, 3, 4}, {0, 1, 2, 3, 4, 5}}, 1, 1},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.tag);
    nltest::FreshAllocator();
    builder = SceneBuilder();
    nltest::ConsoleCapture capture;
    ScModel *model = builder.Add("m", nullptr);
    // Point k of each polygon is vertex 10 * polygon + k.
    std::vector<nltest::Vec3> points(40, nltest::Vec3{0, 0, 0});
    ScMesh *mesh = SceneBuilder::GiveMesh(model, points,
                                          {{0, 1, 2}, {10, 11, 12, 13}, {20, 21, 22, 23, 24}, {30, 31, 32, 33, 34, 35}});
    model->materials = ScMaterialsAlloc(2);
    model->nbMaterial = 2;
    for (int p = 0; p < 4; p++) mesh->polygons[p].materialId = p % 2;
    ScAttribute *attributes = mesh->attributes;
    std::vector<ScAttribute *> sourceAttribute;
    for (int p = 0; p < 4; p++) sourceAttribute.push_back(mesh->polygons[p].attribute);

    ScNodeList *list = Build(c.bits);
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(capture.Text(), c.tag);
    ScMesh *result = model->mesh;
    ASSERT_EQ(result->nbPolygon, static_cast<int>(c.corners.size()));
    EXPECT_EQ(result->attributes, attributes);
    EXPECT_EQ(result->nbVertex, 40);
    EXPECT_EQ(result->nbTriangle, c.triangles);
    EXPECT_EQ(result->nbQuad, c.quads);
    int tri = 0, quad = 0, large = 0;
    for (int p = 0; p < result->nbPolygon; p++) {
      const ScPolygon &polygon = result->polygons[p];
      EXPECT_EQ(polygon.index, p);
      ASSERT_EQ(polygon.nbCorner, c.corners[p].size());
      const int source = polygon.corners[0].vertex / 10;
      EXPECT_EQ(polygon.attribute, sourceAttribute[source]);
      for (int k = 0; k < polygon.nbCorner; k++) {
        EXPECT_EQ(polygon.corners[k].vertex, 10 * source + c.corners[p][k]) << "polygon " << p << " corner " << k;
        EXPECT_EQ(polygon.corners[k].u, static_cast<float>(c.corners[p][k]));  // whole corner copied
      }
      (polygon.nbCorner == 3 ? tri : polygon.nbCorner == 4 ? quad : large) += (polygon.materialId == 0);
    }
    // Per-material counts, material 0 holding the triangle and the pentagon.
    EXPECT_EQ(model->materials->nbPolyTriangle, tri);
    EXPECT_EQ(model->materials->nbPolyQuad, quad);
    EXPECT_EQ(model->materials->nbPolyLarge, large);
    const int all = model->materials->nbPolyTriangle + model->materials->nbPolyQuad + model->materials->nbPolyLarge +
                    model->materials->next->nbPolyTriangle + model->materials->next->nbPolyQuad +
                    model->materials->next->nbPolyLarge;
    EXPECT_EQ(all, result->nbPolygon);
  }
}

TEST_F(NodeListTest, VertexColourWarningWithPvc) {
  SceneBuilder::GivePointMesh(builder.Add("r", nullptr));
  ASSERT_NE(Build(0, kVertexColor), nullptr);
  EXPECT_EQ(console.Text(), "\n##### Warning : Can't find vertex color data.\n");
}

TEST_F(NodeListTest, MeshBearingNodeWithoutMeshEndsTheRun) {
  ScModel *root = builder.Add("root", nullptr);
  root->hasMesh = 1;
  EXPECT_EXIT(
      {
        SetErrorStream(stderr);
        Build();
      },
      ::testing::ExitedWithCode(0), "Error : Bad Mesh Pointer\n$");
}

}  // namespace
