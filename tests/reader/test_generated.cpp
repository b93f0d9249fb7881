// Generated files of every mesh kind, duplicate block names, and the name
// index against the literal searches of the linking step.
#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "reader/name_index.h"
#include "reader_test_util.h"
#include "support/vka_gen.h"

// The cases name only the generator settings they change.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

namespace {

using namespace vkreadertest;
using vktest::VkaGenParams;
using vktest::VkaMesh;

// Checks every node of a tree against the generator's grid (see vka_gen.h),
// stopping at the first failing polygon; adds up the triangles and quads.
void CheckTree(const VkaGenParams &p, const ScModel *node, const std::string &prefix, long long totals[2]) {
  for (; node && !::testing::Test::HasFailure(); node = node->sibling) {
    const int i = std::stoi(node->name + 1);
    SCOPED_TRACE(node->name);
    EXPECT_EQ(node->parent ? node->parent->name : "-", i ? "o" + std::to_string((i - 1) / p.childrenPerNode) : "-");
    EXPECT_FLOAT_EQ(node->OPosition[0], static_cast<float>(i));
    EXPECT_NEAR(node->OAngle[1], (i % 4) * 0.785398, 1e-5);
    const ScMesh *mesh = node->hasMesh ? node->mesh : nullptr;
    const auto counts = vktest::ExpectedVkaCounts(p);
    ASSERT_NE(mesh, nullptr);
    EXPECT_EQ(mesh->nbVertex, counts.pointsPerObject);
    EXPECT_EQ(mesh->nbTriangle, counts.trianglesPerObject);
    EXPECT_EQ(mesh->nbQuad, counts.quadsPerObject);
    EXPECT_EQ(mesh->nbPolygon, counts.trianglesPerObject + counts.quadsPerObject);
    totals[0] += mesh->nbTriangle;
    totals[1] += mesh->nbQuad;

    const bool usesDefault = p.defaultMaterialList && (i & 1);
    const int matCount = usesDefault ? 1 : p.materials;
    ASSERT_EQ(node->nbMaterial, matCount);
    const ScMaterials *m = node->materials;
    for (int k = 0; k < matCount; k++, m = m->next) {
      const std::string block =
          usesDefault ? "defmat_" + p.baseName : p.materialTag + "matlist_" + p.baseName + "_o" + std::to_string(i);
      EXPECT_EQ(m->name, prefix + (k == 0 ? block : "NULL"));
      if (usesDefault) continue;
      const float diffuse[4] = {200.0f - k, 100.0f + k, 50.0f + k, 255.0f - k};
      const float specular[4] = {10.0f + k, 20.0f + k, 30.0f + k, 255};
      EXPECT_EQ(Floats(m->diffuse, 4, 255), Floats(diffuse, 4));
      EXPECT_EQ(Floats(m->specular, 4, 255), Floats(specular, 4));
      EXPECT_EQ(m->textures ? m->textures->picname : "-", p.textures ? "tex" + std::to_string(k % p.textures) + ".bmp" : "-");
      EXPECT_EQ(m->bank, p.paletteBanks ? k % p.textures : -1);
    }

    const float w = static_cast<float>(p.gridWidth), h = static_cast<float>(p.gridHeight);
    for (int v = 0; v < mesh->nbVertex; v++) {
      const ScVertex &vx = mesh->vertices[v];
      EXPECT_EQ(static_cast<int>(vx.pos[1]) * (p.gridWidth + 1) + static_cast<int>(vx.pos[0]), v);
      EXPECT_NEAR(vx.normal[0], p.normals ? vx.pos[0] / w : 0, 1e-6);  // written with six decimals
      EXPECT_NEAR(vx.normal[1], p.normals ? vx.pos[1] / h : 0, 1e-6);
    }
    for (int q = 0; q < mesh->nbPolygon && !::testing::Test::HasFailure(); q++) {
      const ScPolygon &poly = mesh->polygons[q];
      ASSERT_TRUE(poly.nbCorner == 3 || poly.nbCorner == 4) << "polygon " << q;
      EXPECT_EQ(poly.attribute, &mesh->attributes[q]);
      EXPECT_LT(poly.materialId, matCount);
      float cx = 0, cy = 0;
      for (int k = 0; k < poly.nbCorner; k++) {
        const ScPolyNode &corner = poly.corners[k];
        ASSERT_LT(corner.vertex, mesh->nbVertex);
        const ScVertex &a = mesh->vertices[corner.vertex];
        const int x = static_cast<int>(a.pos[0]), y = static_cast<int>(a.pos[1]);
        cx += a.pos[0] / poly.nbCorner;
        cy += a.pos[1] / poly.nbCorner;
        EXPECT_EQ(Floats(corner.normal, 3), Floats(a.normal, 3));
        EXPECT_FLOAT_EQ(corner.u, p.uvs ? static_cast<float>((x * 255 / p.gridWidth) / 255.0) : 0) << "polygon " << q;
        EXPECT_FLOAT_EQ(corner.v, p.uvs ? static_cast<float>(1.0 - (y * 255 / p.gridHeight) / 255.0) : 0) << "polygon " << q;
        // Every edge turns left: the corners go counter-clockwise around the face.
        const ScVertex &b = mesh->vertices[poly.corners[(k + 1) % poly.nbCorner].vertex];
        const ScVertex &d = mesh->vertices[poly.corners[(k + 2) % poly.nbCorner].vertex];
        EXPECT_GT((b.pos[0] - a.pos[0]) * (d.pos[1] - b.pos[1]) - (b.pos[1] - a.pos[1]) * (d.pos[0] - b.pos[0]), 0.0f)
            << "polygon " << q << " corner " << k;
      }
      // Polygon normals hold the centre of the cell (a strip's: of its row).
      if (p.polyNormals) {
        EXPECT_FLOAT_EQ(poly.normal[2], 1.0f);
        EXPECT_LT(std::fabs(poly.normal[1] - cy), 0.5f) << "polygon " << q;
        if (std::fabs(poly.normal[0] - w / 2) > 1e-6f || poly.nbCorner == 4) {
          EXPECT_LT(std::fabs(poly.normal[0] - cx), 0.5f);
        }
      }
    }
    CheckTree(p, node->child, prefix, totals);
  }
}

TEST_F(ReaderTest, GeneratedFilesOfEveryMeshKind) {
  using enum VkaMesh;
  const struct {
    const char *what, *prefix;
    VkaGenParams p;
  } cases[] = {
      {"triangles", "_", {.gridWidth = 3, .gridHeight = 2}},
      {"quadrangles", "_", {.objects = 3, .gridHeight = 3, .meshKinds = {kQuads}, .materials = 3, .textures = 2}},
      {"polygons", "_",
       {.objects = 2, .childrenPerNode = 1, .gridWidth = 5, .gridHeight = 2, .meshKinds = {kPolygons},
        .polyNormals = true}},
      {"strips", "_",
       {.objects = 4, .childrenPerNode = 3, .gridWidth = 6, .meshKinds = {kStrips}, .polyNormals = true,
        .materials = 2, .textures = 3, .paletteBanks = true}},
      {"reversed strips", "_",
       {.objects = 2, .gridWidth = 7, .gridHeight = 3, .meshKinds = {kReverseStrips}, .normals = false, .uvs = false}},
      {"every kind", "EsSsHiBk_",
       {.objects = 7, .gridWidth = 8, .gridHeight = 11, .meshKinds = {kTriangles, kQuads, kPolygons, kStrips,
        kReverseStrips}, .polyNormals = true, .materials = 5, .materialTag = "DEn_", .evalFlags = 0xD8, .textures = 2,
        .defaultMaterialList = true}},
      {"more kinds than rows", "_",
       {.objects = 2, .gridWidth = 3, .gridHeight = 2, .meshKinds = {kStrips, kQuads, kTriangles}, .materials = 2}},
      {"large indices", "Hi_", {.gridWidth = 300, .gridHeight = 110, .meshKinds = {kQuads, kReverseStrips},
       .evalFlags = 0x28}},
  };
  for (const auto &[what, prefix, p] : cases) {
    SCOPED_TRACE(what);
    auto [scene, err] = Read(vktest::GenerateVka(p), "gen.vka");
    ASSERT_NE(scene, nullptr) << err;
    EXPECT_EQ(err, "");
    EXPECT_EQ(scene->modelCount, p.objects);
    EXPECT_EQ(scene->kind, (p.evalFlags & 0x20) ? 8 : 7);
    EXPECT_STREQ(scene->root->name, "o0");
    const auto counts = vktest::ExpectedVkaCounts(p);
    long long totals[2] = {0, 0};
    CheckTree(p, scene->root, prefix, totals);
    EXPECT_EQ(totals[0], counts.triangles);
    EXPECT_EQ(totals[1], counts.quads);
    Reset();
  }
}

// Blocks that share a name: the search order of each reference decides.
TEST_F(ReaderTest, DuplicateNamesFollowTheSearchOrder) {
  auto point = [](int x) { return "POINT pt[]\nSTART\nVERT( " + std::to_string(x) + ".0F, 0.0F, 0.0F ),\n"
                                  "VERT( 1.0F, 0.0F, 0.0F ),\nVERT( 0.0F, 1.0F, 0.0F ),\nEND\n"; };
  auto uv = [](int u) { return "VERTUV uv[]\nSTART\nUV( " + std::to_string(u) + ", 0 ),\nUV( 0, 0 ),\nUV( 0, 0 ),\nEND\n"; };
  auto mat = [](const char *c) { return std::string("MATERIAL mat[]\nSTART\n") + Mat(c, "0, 0, 0, 0", "0.0F", "0x0, 0", "0x0") + "END\n"; };
  const std::string text =
      mat("255, 1, 1, 1") + mat("255, 2, 2, 2") + "POLYGON pg[]\nSTART\n0, 1, 2,\nEND\nPOLYGON pg[]\nSTART\n2, 1, 0,\nEND\n" +
      point(7) + point(9) + uv(51) + uv(102) +
      "MESHSET ms[]\nSTART\nMESHSTART\nTypeMatId ( 0x0, 0 ),\nMeshNum 1,\nMeshes pg,\nPolyAttrs NULL,\n"
      "PolyNormal NULL,\nVertColor NULL,\nVertUV uv,\nMESHEND\nEND\n" +
      Model("mdl", "pt", 3, "ms", "mat", 1) + Object("object_d_kid", "mdl", "NULL", "NULL") +
      Object("object_d_kid", "NULL", "NULL", "NULL") + Object("object_d_top", "NULL", "object_d_kid", "NULL");
  auto [scene, err] = Read(text, "d.vka");
  ASSERT_NE(scene, nullptr) << err;
  EXPECT_EQ(err, "");
  // The first OBJECT, the last POINT, the first POLYGON, the first VERTUV and
  // the last MATERIAL block of each name.
  EXPECT_EQ(Describe(scene),
            "top kind7 models3\ntop#0\n  kid#1\n   mat#0 _mat 94000000 p0 d2,2,2,255 s0,0,0,0 a0,0,0,0\n"
            "   mesh v3 p1 a1 t1 q0\n   pos 9,0,0 1,0,0 0,1,0\n   nrm 0,0,0 0,0,0 0,0,0\n"
            "   m0 n0,0,0 d2,2,2,255 0:0.2,1 1:0,1 2:0,1\n");
}

// ---- The index against the literal searches --------------------------------

int32_t LiteralBackFrom(const std::vector<std::string> &names, const std::string &name, int32_t from) {
  for (int32_t i = from; i >= 0; i--) {
    if (names[static_cast<size_t>(i)] == name) return i;
  }
  return -1;
}

int32_t LiteralFirst(const std::vector<std::string> &names, const std::string &name) {
  for (size_t i = 0; i < names.size(); i++) {
    if (names[i] == name) return static_cast<int32_t>(i);
  }
  return -1;
}

TEST(NameIndexTest, MatchesTheLiteralSearches) {
  std::mt19937 random(7);
  for (int round = 0; round < 200; round++) {
    const int size = static_cast<int>(random() % 60);
    const int distinct = 1 + static_cast<int>(random() % 8);  // few names: many duplicates
    std::vector<std::string> names;
    vkreader::NameIndex index;
    for (int i = 0; i < size; i++) names.push_back("n" + std::to_string(random() % distinct));
    for (int i = 0; i < size; i++) index.Add(names[static_cast<size_t>(i)], i);
    for (int probe = 0; probe <= distinct; probe++) {
      const std::string name = "n" + std::to_string(probe);  // the last one is absent
      EXPECT_EQ(index.First(name), LiteralFirst(names, name));
      EXPECT_EQ(index.Last(name), LiteralBackFrom(names, name, size - 1));
      for (int from = -1; from < size; from++) {
        ASSERT_EQ(index.LastAtOrBefore(name, from), LiteralBackFrom(names, name, from)) << name << " from " << from;
      }
    }
  }
}

}  // namespace
