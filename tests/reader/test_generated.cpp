// Generated files of every mesh kind, and the name index against the literal
// searches of the linking step.
#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "reader/name_index.h"
#include "reader_test_util.h"
#include "support/vka_gen.h"

namespace {

using vkreadertest::ReaderTest;
using vkreadertest::ReadText;
using vktest::VkaGenParams;
using vktest::VkaMesh;

struct Totals {
  int nodes = 0;
  long long triangles = 0;
  long long quads = 0;
};

// Checks one node against the generator's grid, stopping at the first
// polygon that fails to keep the output short.
void CheckNode(const VkaGenParams &p, const ScModel *node, const std::string &prefix, Totals *totals) {
  const std::string name = node->name;
  SCOPED_TRACE(name);
  ASSERT_EQ(name[0], 'o');
  const int i = std::stoi(name.substr(1));
  totals->nodes++;
  const int c = p.childrenPerNode;
  if (i == 0) {
    EXPECT_EQ(node->parent, nullptr);
  } else {
    ASSERT_NE(node->parent, nullptr);
    EXPECT_EQ(std::string(node->parent->name), "o" + std::to_string((i - 1) / c));
  }
  EXPECT_FLOAT_EQ(node->OPosition[0], static_cast<float>(i));
  EXPECT_NEAR(node->OAngle[1], (i % 4) * 0.785398, 1e-5);

  const ScMesh *mesh = node->mesh;
  ASSERT_EQ(node->hasMesh, 1);
  ASSERT_NE(mesh, nullptr);
  const auto counts = vktest::ExpectedVkaCounts(p);
  EXPECT_EQ(mesh->nbVertex, counts.pointsPerObject);
  EXPECT_EQ(mesh->nbTriangle, counts.trianglesPerObject);
  EXPECT_EQ(mesh->nbQuad, counts.quadsPerObject);
  EXPECT_EQ(mesh->nbPolygon, counts.trianglesPerObject + counts.quadsPerObject);
  totals->triangles += mesh->nbTriangle;
  totals->quads += mesh->nbQuad;

  const bool usesDefault = p.defaultMaterialList && (i & 1);
  const int matCount = usesDefault ? 1 : p.materials;
  ASSERT_EQ(node->nbMaterial, matCount);
  const ScMaterials *m = node->materials;
  for (int k = 0; k < matCount; k++, m = m->next) {
    ASSERT_NE(m, nullptr);
    if (usesDefault) {
      EXPECT_EQ(std::string(m->name), prefix + "defmat_" + p.baseName);
      EXPECT_EQ(m->nbTexture, 0);
      continue;
    }
    const std::string blockName = p.materialTag + "matlist_" + p.baseName + "_o" + std::to_string(i);
    EXPECT_EQ(std::string(m->name), prefix + (k == 0 ? blockName : std::string("NULL")));
    EXPECT_FLOAT_EQ(m->diffuse[0], (200 - k) / 255.0f);
    EXPECT_FLOAT_EQ(m->specular[2], (30 + k) / 255.0f);
    EXPECT_FLOAT_EQ(m->diffuse[3], (255 - k) / 255.0f);
    if (p.textures > 0) {
      ASSERT_EQ(m->nbTexture, 1);
      EXPECT_EQ(std::string(m->textures->picname), "tex" + std::to_string(k % p.textures) + ".bmp");
      EXPECT_EQ(m->bank, p.paletteBanks ? k % p.textures : -1);
    } else {
      EXPECT_EQ(m->nbTexture, 0);
    }
  }

  const float w = static_cast<float>(p.gridWidth), h = static_cast<float>(p.gridHeight);
  for (int v = 0; v < mesh->nbVertex; v++) {
    const ScVertex &vx = mesh->vertices[v];
    EXPECT_EQ(static_cast<int>(vx.pos[1]) * (p.gridWidth + 1) + static_cast<int>(vx.pos[0]), v);
    if (p.normals) {
      EXPECT_NEAR(vx.normal[0], vx.pos[0] / w, 1e-6);  // written with six decimals
      EXPECT_NEAR(vx.normal[1], vx.pos[1] / h, 1e-6);
    }
  }
  for (int q = 0; q < mesh->nbPolygon && !::testing::Test::HasFailure(); q++) {
    const ScPolygon &poly = mesh->polygons[q];
    ASSERT_TRUE(poly.nbCorner == 3 || poly.nbCorner == 4);
    EXPECT_EQ(poly.attribute, &mesh->attributes[q]);
    EXPECT_LT(poly.materialId, matCount);
    float cx = 0, cy = 0;
    for (int k = 0; k < poly.nbCorner; k++) {
      const ScPolyNode &corner = poly.corners[k];
      ASSERT_LT(corner.vertex, mesh->nbVertex);
      const ScVertex &vx = mesh->vertices[corner.vertex];
      cx += vx.pos[0] / poly.nbCorner;
      cy += vx.pos[1] / poly.nbCorner;
      if (p.normals) {
        EXPECT_EQ(std::vector<float>(corner.normal, corner.normal + 3), std::vector<float>(vx.normal, vx.normal + 3));
      }
      if (p.uvs) {
        const int x = static_cast<int>(vx.pos[0]), y = static_cast<int>(vx.pos[1]);
        EXPECT_FLOAT_EQ(corner.u, static_cast<float>((x * 255 / p.gridWidth) / 255.0)) << "polygon " << q;
        EXPECT_FLOAT_EQ(corner.v, static_cast<float>(1.0 - (y * 255 / p.gridHeight) / 255.0)) << "polygon " << q;
      } else {
        EXPECT_EQ(corner.u, 0.0f);
      }
      // Every edge turns left: the corners go counter-clockwise around the face.
      const ScVertex &a = mesh->vertices[poly.corners[k].vertex];
      const ScVertex &b = mesh->vertices[poly.corners[(k + 1) % poly.nbCorner].vertex];
      const ScVertex &d = mesh->vertices[poly.corners[(k + 2) % poly.nbCorner].vertex];
      const float cross = (b.pos[0] - a.pos[0]) * (d.pos[1] - b.pos[1]) - (b.pos[1] - a.pos[1]) * (d.pos[0] - b.pos[0]);
      EXPECT_GT(cross, 0.0f) << "polygon " << q << " corner " << k;
    }
    if (p.polyNormals) {
      EXPECT_FLOAT_EQ(poly.normal[2], 1.0f);
      EXPECT_LT(std::fabs(poly.normal[1] - cy), 0.5f) << "polygon " << q;
      if (std::fabs(poly.normal[0] - w / 2) > 1e-6f || poly.nbCorner == 4) {
        EXPECT_LT(std::fabs(poly.normal[0] - cx), 0.5f) << "polygon " << q;
      }
    }
  }
}

void CheckTree(const VkaGenParams &p, const ScModel *node, const std::string &prefix, Totals *totals) {
  for (; node; node = node->sibling) {
    CheckNode(p, node, prefix, totals);
    CheckTree(p, node->child, prefix, totals);
  }
}

TEST_F(ReaderTest, GeneratedFilesOfEveryMeshKind) {
  struct Case {
    const char *what;
    VkaGenParams p;
    const char *prefix;
  };
  auto params = [](std::vector<VkaMesh> kinds, int objects, int children, int w, int h) {
    VkaGenParams p;
    p.meshKinds = std::move(kinds);
    p.objects = objects;
    p.childrenPerNode = children;
    p.gridWidth = w;
    p.gridHeight = h;
    return p;
  };
  std::vector<Case> cases = {
      {"triangles", params({VkaMesh::kTriangles}, 1, 2, 3, 2), "_"},
      {"quadrangles", params({VkaMesh::kQuads}, 3, 2, 4, 3), "_"},
      {"polygons", params({VkaMesh::kPolygons}, 2, 1, 5, 2), "_"},
      {"strips", params({VkaMesh::kStrips}, 4, 3, 6, 4), "_"},
      {"reversed strips", params({VkaMesh::kReverseStrips}, 2, 2, 7, 3), "_"},
      {"every kind", params({VkaMesh::kTriangles, VkaMesh::kQuads, VkaMesh::kPolygons, VkaMesh::kStrips,
                             VkaMesh::kReverseStrips},
                            7, 2, 8, 11),
       "EsSsHiBk_"},
      {"more kinds than rows", params({VkaMesh::kStrips, VkaMesh::kQuads, VkaMesh::kTriangles}, 2, 2, 3, 2), "_"},
      {"large indices", params({VkaMesh::kQuads, VkaMesh::kReverseStrips}, 1, 2, 300, 110), "Hi_"},
  };
  cases[1].p.materials = 3;
  cases[1].p.textures = 2;
  cases[2].p.polyNormals = true;
  cases[3].p.polyNormals = true;
  cases[3].p.textures = 3;
  cases[3].p.paletteBanks = true;
  cases[3].p.materials = 2;
  cases[4].p.normals = false;
  cases[4].p.uvs = false;
  cases[5].p.evalFlags = 0xD8;
  cases[5].p.polyNormals = true;
  cases[5].p.materials = 5;
  cases[5].p.materialTag = "DEn_";
  cases[5].p.textures = 2;
  cases[5].p.defaultMaterialList = true;
  cases[6].p.materials = 2;
  cases[7].p.evalFlags = 0x28;
  for (const Case &c : cases) {
    SCOPED_TRACE(c.what);
    const std::string name = c.p.baseName + ".vka";
    auto [scene, err] = ReadText(dir_, vktest::GenerateVka(c.p), name);
    ASSERT_NE(scene, nullptr) << err;
    EXPECT_EQ(err, "");
    EXPECT_EQ(scene->modelCount, c.p.objects);
    EXPECT_EQ(scene->kind, (c.p.evalFlags & 0x20) ? 8 : 7);
    EXPECT_STREQ(scene->root->name, "o0");
    Totals totals;
    CheckTree(c.p, scene->root, c.prefix, &totals);
    const auto counts = vktest::ExpectedVkaCounts(c.p);
    EXPECT_EQ(totals.nodes, c.p.objects);
    EXPECT_EQ(totals.triangles, counts.triangles);
    EXPECT_EQ(totals.quads, counts.quads);
    ScFreeAll();
    ScMallocTabInit();
  }
}

// Node ids follow creation: depth first, child before sibling.
TEST_F(ReaderTest, CreationNumbersFollowTheHierarchy) {
  VkaGenParams p;
  p.objects = 6;
  p.childrenPerNode = 2;
  p.gridWidth = p.gridHeight = 1;
  p.materials = 2;
  p.textures = 1;
  auto [scene, err] = ReadText(dir_, vktest::GenerateVka(p), "gen.vka");
  ASSERT_NE(scene, nullptr) << err;
  // Tree: o0 > (o1 > (o3, o4), o2 > o5); depth-first order o0 o1 o3 o4 o2 o5.
  const char *order[] = {"o0", "o1", "o3", "o4", "o2", "o5"};
  for (int id = 0; id < 6; id++) {
    ScModel *node = vkreadertest::NodeById(scene->root, id);
    ASSERT_NE(node, nullptr);
    EXPECT_STREQ(node->name, order[id]);
    EXPECT_EQ(node->materials->id, 2 * id);
    EXPECT_EQ(node->materials->next->id, 2 * id + 1);
    EXPECT_EQ(node->materials->textures->id, 2 * id);
  }
}

// Blocks that share a name: the search order of each reference decides.
TEST_F(ReaderTest, DuplicateNamesFollowTheSearchOrder) {
  auto point = [](const char *name, float x) {
    return std::string("POINT ") + name + "[]\nSTART\nVERT( " + std::to_string(x) + "F, 0.0F, 0.0F ),\n"
           "VERT( 1.0F, 0.0F, 0.0F ),\nVERT( 0.0F, 1.0F, 0.0F ),\nEND\n";
  };
  auto uv = [](const char *name, int u) {
    return std::string("VERTUV ") + name + "[]\nSTART\nUV( " + std::to_string(u) + ", 0 ),\nUV( 0, 0 ),\nUV( 0, 0 ),\nEND\n";
  };
  auto object = [](const char *name, const char *model, const char *child, const char *sibling) {
    return std::string("OBJECT ") + name + "[]\nSTART\nEvalFlags ( 0x0 ),\nModel " + model +
           ",\nOPosition ( 0.0F, 0.0F, 0.0F ),\nOAngle ( 0.0F, 0.0F, 0.0F ),\nOScale ( 1.0F, 1.0F, 1.0F ),\nChild " +
           child + ",\nSibling " + sibling + ",\nEND\n";
  };
  std::string text =
      "MATERIAL mat[]\nSTART\nMATSTART\nDiffuse ( 255, 1, 1, 1 ),\nSpecular ( 0, 0, 0, 0 ),\nExponent ( 0.0F ),\n"
      "AttrTexId ( 0x0, 0 ),\nAttrFlags ( 0x0 ),\nMATEND\nEND\n"
      "MATERIAL mat[]\nSTART\nMATSTART\nDiffuse ( 255, 2, 2, 2 ),\nSpecular ( 0, 0, 0, 0 ),\nExponent ( 0.0F ),\n"
      "AttrTexId ( 0x0, 0 ),\nAttrFlags ( 0x0 ),\nMATEND\nEND\n"
      "POLYGON pg[]\nSTART\n0, 1, 2,\nEND\nPOLYGON pg[]\nSTART\n2, 1, 0,\nEND\n" +
      point("pt", 7.0f) + point("pt", 9.0f) + uv("uv", 51) + uv("uv", 102) +
      "MESHSET ms[]\nSTART\nMESHSTART\nTypeMatId ( 0x0, 0 ),\nMeshNum 1,\nMeshes pg,\nPolyAttrs NULL,\n"
      "PolyNormal NULL,\nVertColor NULL,\nVertUV uv,\nMESHEND\nEND\n"
      "MODEL mdl[]\nSTART\nPoints pt,\nNormal NULL,\nPointNum 3,\nMeshset ms,\nMaterials mat,\nMeshsetNum 1,\n"
      "MatNum 1,\nCenter 0.0F, 0.0F, 0.0F,\nRadius 0.0F,\nEND\n" +
      object("object_d_kid", "mdl", "NULL", "NULL") + object("object_d_kid", "NULL", "NULL", "NULL") +
      object("object_d_top", "NULL", "object_d_kid", "NULL");
  auto [scene, err] = ReadText(dir_, text, "d.vka");
  ASSERT_NE(scene, nullptr) << err;
  EXPECT_EQ(err, "");
  ScModel *kid = scene->root->child;
  ASSERT_NE(kid, nullptr);
  ASSERT_EQ(kid->hasMesh, 1);                                  // the first OBJECT block of that name
  EXPECT_FLOAT_EQ(kid->mesh->vertices[0].pos[0], 9.0f);       // the last POINT block
  EXPECT_EQ(kid->mesh->polygons[0].corners[0].vertex, 0);     // the first POLYGON block
  EXPECT_FLOAT_EQ(kid->mesh->polygons[0].corners[0].u, 0.2f);  // the first VERTUV block
  EXPECT_FLOAT_EQ(kid->materials->diffuse[0], 2 / 255.0f);    // the last MATERIAL block
}

// ---- The index against the literal searches --------------------------------

int32_t LiteralFirst(const std::vector<std::string> &names, const std::string &name) {
  for (size_t i = 0; i < names.size(); i++) {
    if (names[i] == name) return static_cast<int32_t>(i);
  }
  return -1;
}

int32_t LiteralLast(const std::vector<std::string> &names, const std::string &name) {
  for (size_t i = names.size(); i-- > 0;) {
    if (names[i] == name) return static_cast<int32_t>(i);
  }
  return -1;
}

int32_t LiteralBackFrom(const std::vector<std::string> &names, const std::string &name, int32_t from) {
  for (int32_t i = from; i >= 0; i--) {
    if (names[static_cast<size_t>(i)] == name) return i;
  }
  return -1;
}

TEST(NameIndexTest, MatchesTheLiteralSearches) {
  std::mt19937 random(7);
  for (int round = 0; round < 200; round++) {
    const int size = static_cast<int>(random() % 60);
    const int distinct = 1 + static_cast<int>(random() % 8);  // few names: many duplicates
    std::vector<std::string> names;
    for (int i = 0; i < size; i++) names.push_back("n" + std::to_string(random() % distinct));
    vkreader::NameIndex index;
    for (int i = 0; i < size; i++) index.Add(names[static_cast<size_t>(i)], i);
    for (int probe = 0; probe <= distinct; probe++) {
      const std::string name = "n" + std::to_string(probe);  // the last one is absent
      EXPECT_EQ(index.First(name), LiteralFirst(names, name));
      EXPECT_EQ(index.Last(name), LiteralLast(names, name));
      for (int from = -1; from < size; from++) {
        ASSERT_EQ(index.LastAtOrBefore(name, from), LiteralBackFrom(names, name, from)) << name << " from " << from;
      }
    }
  }
}

}  // namespace
