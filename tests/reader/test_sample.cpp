// The bundled sample and small hand-written files, against scenes worked out
// by hand.
#include <filesystem>
#include <string>

#include "reader_test_util.h"

namespace {

using vkreadertest::NodeById;
using vkreadertest::ReaderTest;
using vkreadertest::ReadText;

struct Corner {
  int vertex;
  float u, v;
};

void ExpectCorners(const ScPolygon &p, std::initializer_list<Corner> corners, const char *what) {
  ASSERT_EQ(p.nbCorner, corners.size()) << what;
  int i = 0;
  for (const Corner &c : corners) {
    EXPECT_EQ(p.corners[i].vertex, c.vertex) << what << " corner " << i;
    EXPECT_FLOAT_EQ(p.corners[i].u, c.u) << what << " corner " << i;
    EXPECT_FLOAT_EQ(p.corners[i].v, c.v) << what << " corner " << i;
    i++;
  }
}

void ExpectColour(const float *got, float r, float g, float b, float a) {
  EXPECT_FLOAT_EQ(got[0], r);
  EXPECT_FLOAT_EQ(got[1], g);
  EXPECT_FLOAT_EQ(got[2], b);
  EXPECT_FLOAT_EQ(got[3], a);
}

TEST_F(ReaderTest, BundledSample) {
  const std::string text = vktest::ReadFile(vktest::SourceDir() + "/examples/sample.vka");
  ASSERT_FALSE(text.empty());
  auto [scene, err] = ReadText(dir_, text, "sample.vka");
  ASSERT_NE(scene, nullptr) << err;
  EXPECT_EQ(err, "");
  EXPECT_STREQ(scene->name, "body");
  EXPECT_EQ(scene->kind, 7);  // the first OBJECT block (antenna) lacks bit 0x20
  EXPECT_EQ(scene->modelCount, 4);

  // Hierarchy: body > wheel_l, wheel_r, antenna (a sibling chain).
  ScModel *body = scene->root;
  ASSERT_NE(body, nullptr);
  ScModel *wheelL = body->child;
  ASSERT_NE(wheelL, nullptr);
  ScModel *wheelR = wheelL->sibling;
  ASSERT_NE(wheelR, nullptr);
  ScModel *antenna = wheelR->sibling;
  ASSERT_NE(antenna, nullptr);
  EXPECT_EQ(body->sibling, nullptr);
  EXPECT_EQ(antenna->sibling, nullptr);
  EXPECT_EQ(antenna->child, nullptr);
  const struct {
    ScModel *node;
    const char *name;
    int id;
    ScModel *parent;
    float angle[3];
  } nodes[] = {{body, "body", 0, nullptr, {0.785398f, 0, 0}},
               {wheelL, "wheel_l", 1, body, {0, 1.570796f, 0}},
               {wheelR, "wheel_r", 2, body, {0, -1.570796f, 0}},
               {antenna, "antenna", 3, body, {0, 0, 0}}};
  for (const auto &n : nodes) {
    EXPECT_STREQ(n.node->name, n.name);
    EXPECT_EQ(n.node->id, n.id) << n.name;
    EXPECT_EQ(n.node->parent, n.parent) << n.name;
    EXPECT_EQ(n.node->EvalFlags, 0u);
    for (int i = 0; i < 3; i++) EXPECT_NEAR(n.node->OAngle[i], n.angle[i], 1e-5) << n.name;
  }
  EXPECT_FLOAT_EQ(body->OPosition[1], 0.5f);
  EXPECT_FLOAT_EQ(body->OScale[2], 2.0f);
  EXPECT_FLOAT_EQ(wheelR->OPosition[0], 1.0f);
  EXPECT_EQ(antenna->hasMesh, 0);
  EXPECT_EQ(antenna->mesh, nullptr);
  EXPECT_EQ(antenna->nbMaterial, 0);

  // Body: two triangles with UVs and polygon normals, one quadrangle.
  ScMesh *mesh = ScGetMesh(body);
  ASSERT_NE(mesh, nullptr);
  EXPECT_EQ(mesh->nbVertex, 6);
  EXPECT_EQ(mesh->nbPolygon, 3);
  EXPECT_EQ(mesh->nbAttribute, 3);
  EXPECT_EQ(mesh->nbTriangle, 2);
  EXPECT_EQ(mesh->nbQuad, 1);
  EXPECT_FLOAT_EQ(mesh->vertices[5].pos[0], 1.0f);
  EXPECT_FLOAT_EQ(mesh->vertices[5].pos[2], 1.0f);
  EXPECT_FLOAT_EQ(mesh->vertices[5].normal[1], -1.0f);
  ExpectCorners(mesh->polygons[0], {{0, 0, 1}, {1, 1, 1}, {2, 0, 0}}, "body triangle 0");
  ExpectCorners(mesh->polygons[1], {{2, 0, 0}, {1, 1, 1}, {3, 1, 0}}, "body triangle 1");
  ExpectCorners(mesh->polygons[2], {{0, 0, 0}, {1, 0, 0}, {5, 0, 0}, {4, 0, 0}}, "body quadrangle");
  EXPECT_FLOAT_EQ(mesh->polygons[1].normal[2], -1.0f);
  EXPECT_FLOAT_EQ(mesh->polygons[2].normal[2], 0.0f);
  EXPECT_FLOAT_EQ(mesh->polygons[2].corners[2].normal[1], -1.0f);  // vertex 5's normal
  EXPECT_FLOAT_EQ(mesh->polygons[0].corners[0].normal[2], -1.0f);
  EXPECT_EQ(mesh->polygons[0].materialId, 0);
  EXPECT_EQ(mesh->polygons[2].materialId, 1);
  for (int p = 0; p < 3; p++) EXPECT_EQ(mesh->polygons[p].attribute, &mesh->attributes[p]);
  ExpectColour(mesh->attributes[0].diffuse, 1.0f, 128 / 255.0f, 0.0f, 1.0f);
  ExpectColour(mesh->attributes[2].diffuse, 0.0f, 0.0f, 1.0f, 128 / 255.0f);

  // Body materials: EvalFlags 0x40 gives the "Es" prefix.
  ASSERT_EQ(body->nbMaterial, 2);
  ScMaterials *m0 = body->materials;
  ScMaterials *m1 = m0->next;
  ASSERT_NE(m1, nullptr);
  EXPECT_EQ(m1->next, nullptr);
  EXPECT_STREQ(m0->name, "Es_matlist_sample_body");
  EXPECT_STREQ(m1->name, "Es_NULL");
  EXPECT_EQ(m0->id, 0);
  EXPECT_EQ(m1->id, 1);
  EXPECT_EQ(m0->kind, 4);
  EXPECT_EQ(m0->attrflags, 0x94202400u);
  EXPECT_EQ(m1->attrflags, 0x94002400u);
  EXPECT_FLOAT_EQ(m0->specularPower, 256.0f);
  EXPECT_FLOAT_EQ(m1->specularPower, 0.0f);
  ExpectColour(m0->diffuse, 1.0f, 128 / 255.0f, 0.0f, 1.0f);
  ExpectColour(m0->specular, 0.2f, 0.4f, 0.6f, 1.0f);
  ExpectColour(m0->ambient, 0, 0, 0, 0);
  ASSERT_EQ(m0->nbTexture, 1);
  EXPECT_STREQ(m0->textures->picname, "checker.bmp");
  EXPECT_EQ(m0->textures->id, 0);
  EXPECT_EQ(m0->textures->word0, 3);
  EXPECT_FLOAT_EQ(m0->textures->scale[1], 1.0f);
  EXPECT_EQ(m0->textures->maskname, nullptr);
  EXPECT_EQ(m0->bank, -1);
  EXPECT_EQ(m1->nbTexture, 0);
  EXPECT_EQ(m1->textures, nullptr);

  // Wheels: the same model converted twice; strips 5 and 0x8004 and one
  // four-index polygon entry give 3 + 2 + 2 triangles.
  for (ScModel *wheel : {wheelL, wheelR}) {
    ScMesh *w = ScGetMesh(wheel);
    ASSERT_NE(w, nullptr);
    EXPECT_NE(w, mesh);
    EXPECT_EQ(w->nbVertex, 5);
    EXPECT_EQ(w->nbPolygon, 7);
    EXPECT_EQ(w->nbTriangle, 7);
    EXPECT_EQ(w->nbQuad, 0);
    const float half = 1.0f - 128 / 255.0f;
    ExpectCorners(w->polygons[0], {{0, 0, 1}, {1, 1, 1}, {2, 0, half}}, "strip triangle 0");
    ExpectCorners(w->polygons[1], {{2, 0, half}, {1, 1, 1}, {3, 1, half}}, "strip triangle 1");
    ExpectCorners(w->polygons[2], {{2, 0, half}, {3, 1, half}, {4, 0, 0}}, "strip triangle 2");
    ExpectCorners(w->polygons[3], {{3, 1, half}, {4, 0, 0}, {2, 0, half}}, "reversed strip triangle 0");
    ExpectCorners(w->polygons[4], {{3, 1, half}, {2, 0, half}, {1, 1, 1}}, "reversed strip triangle 1");
    ExpectCorners(w->polygons[5], {{0, 0, 0}, {1, 0, 0}, {2, 0, 0}}, "polygon triangle 0");
    ExpectCorners(w->polygons[6], {{2, 0, 0}, {1, 0, 0}, {3, 0, 0}}, "polygon triangle 1");
    EXPECT_FLOAT_EQ(w->polygons[6].corners[0].normal[2], 0.0f);  // the model has no normals
    ASSERT_EQ(wheel->nbMaterial, 1);
    EXPECT_STREQ(wheel->materials->name, "_matlist_sample_wheel");
    EXPECT_FLOAT_EQ(wheel->materials->specularPower, 6.0f);  // exponent 5
    ASSERT_EQ(wheel->materials->nbTexture, 1);
    EXPECT_STREQ(wheel->materials->textures->picname, "stripes.tga");
    ExpectColour(w->attributes[6].diffuse, 64 / 255.0f, 64 / 255.0f, 64 / 255.0f, 1.0f);
  }
  EXPECT_EQ(wheelL->materials->id, 2);
  EXPECT_EQ(wheelR->materials->id, 3);
  EXPECT_EQ(wheelL->materials->textures->id, 1);
  EXPECT_EQ(wheelR->materials->textures->id, 2);
}

// A small file with every texture entry form, the default-material order,
// tag prefixes and the specular power table.
constexpr const char *kMaterialsFile = R"(
TEXTURE_START
TEXTURENAME textures_m[]
START
	TEXN( "plain.bmp" ),
	TEXN3( "three.bmp", 0x0, 0 ),
	PTEXN( "pal.bmp", 1, 5 ),
END
TEXTURE_END

MATERIAL    defmat_m[]
START
MATSTART
Diffuse   ( 255, 191, 191, 191 ),
Specular  ( 255, 255, 255, 255 ),
Exponent  (  6.0F ),
AttrTexId ( 0x0, 0 ),
AttrFlags ( 0x94002400 ),
MATEND
END

MATERIAL    DEn_matlist_m_a[]
START
MATSTART
Diffuse   ( 10, 20, 30, 40 ),
Specular  ( 1, 2, 3, 4 ),
Exponent  (  5.5F ),
AttrTexId ( 0x0, 2 ),
AttrFlags ( 0x80200000 ),
MATEND
MATSTART
Diffuse   ( 255, 0, 0, 0 ),
Specular  ( 255, 0, 0, 0 ),
Exponent  (  16.0F ),
AttrTexId ( 0xc0000000, 1 ),
AttrFlags ( 0x00202400 ),
MATEND
MATSTART
Diffuse   ( 255, 0, 0, 0 ),
Specular  ( 255, 0, 0, 0 ),
Exponent  (  17.0F ),
AttrTexId ( 0x0, 0 ),
AttrFlags ( 0x00200000 ),
MATEND
END

MODEL       model_m_a[]
START
Points      NULL,
Normal      NULL,
PointNum    0,
Meshset     NULL,
Materials   DEn_matlist_m_a,
MeshsetNum  0,
MatNum      3,
Center       0.0F, 0.0F, 0.0F,
Radius       0.0F,
END

MODEL       model_m_d[]
START
Points      NULL,
Normal      NULL,
PointNum    0,
Meshset     NULL,
Materials   defmat_m,
MeshsetNum  0,
MatNum      1,
Center       0.0F, 0.0F, 0.0F,
Radius       0.0F,
END

OBJECT      object_m_d[]
START
EvalFlags ( 0x000000d8 ),
Model       model_m_d,
OPosition  ( 0.0F, 0.0F, 0.0F ),
OAngle     ( 0.0F, 0.0F, 0.0F ),
OScale     ( 1.0F, 1.0F, 1.0F ),
Child       NULL,
Sibling     NULL,
END

OBJECT      object_m_a[]
START
EvalFlags ( 0x000000e0 ),
Model       model_m_a,
OPosition  ( 0.0F, 0.0F, 0.0F ),
OAngle     ( 0.0F, 0.0F, 0.0F ),
OScale     ( 1.0F, 1.0F, 1.0F ),
Child       object_m_d,
Sibling     NULL,
END
)";

TEST_F(ReaderTest, MaterialsTexturesAndDefaultOrder) {
  auto [scene, err] = ReadText(dir_, kMaterialsFile, "m.vka");
  ASSERT_NE(scene, nullptr) << err;
  EXPECT_EQ(err, "");
  EXPECT_EQ(scene->kind, 7);  // first OBJECT block: 0xd8 has no 0x20
  ScModel *a = scene->root;
  EXPECT_STREQ(a->name, "a");
  EXPECT_EQ(a->hasMesh, 1);  // a model without points or polygons still gives a mesh
  ASSERT_NE(a->mesh, nullptr);
  EXPECT_EQ(a->mesh->nbPolygon, 0);
  ASSERT_EQ(a->nbMaterial, 3);
  const ScMaterials *m[3] = {a->materials, a->materials->next, a->materials->next->next};
  // Block DEn_matlist_m_a is stored in slots 0-2 (the defmat block's single
  // material went to the last slot), EvalFlags 0xe0 gives "EsSs_".
  EXPECT_STREQ(m[0]->name, "EsSs_DEn_matlist_m_a");
  EXPECT_STREQ(m[1]->name, "EsSs_NULL");
  EXPECT_STREQ(m[2]->name, "EsSs_NULL");
  EXPECT_EQ(m[0]->attrflags, 0x80200000u);  // bits 26-31 not all clear: kept
  EXPECT_EQ(m[1]->attrflags, 0x94202400u);
  EXPECT_EQ(m[2]->attrflags, 0x94200000u);
  EXPECT_FLOAT_EQ(m[0]->specularPower, 0.0f);  // 5.5 is not in the table
  EXPECT_FLOAT_EQ(m[1]->specularPower, 256.0f);
  EXPECT_FLOAT_EQ(m[2]->specularPower, 0.0f);  // 17 is past the table
  ExpectColour(m[0]->diffuse, 20 / 255.0f, 30 / 255.0f, 40 / 255.0f, 10 / 255.0f);
  ExpectColour(m[0]->specular, 2 / 255.0f, 3 / 255.0f, 4 / 255.0f, 1 / 255.0f);
  // Texture ids: 2 is the PTEXN entry (bank 5); 0xc0000000 | 1 loses bits
  // 30 and 31 and names TEXN3 entry 1.
  ASSERT_EQ(m[0]->nbTexture, 1);
  EXPECT_STREQ(m[0]->textures->picname, "pal.bmp");
  EXPECT_EQ(m[0]->bank, 5);
  ASSERT_EQ(m[1]->nbTexture, 1);
  EXPECT_STREQ(m[1]->textures->picname, "three.bmp");
  EXPECT_EQ(m[1]->bank, -1);
  EXPECT_STREQ(m[2]->textures->picname, "plain.bmp");
  EXPECT_EQ(m[0]->textures->id, 0);
  EXPECT_EQ(m[2]->textures->id, 2);

  ScModel *d = a->child;
  ASSERT_NE(d, nullptr);
  EXPECT_STREQ(d->name, "d");
  ASSERT_EQ(d->nbMaterial, 1);
  EXPECT_STREQ(d->materials->name, "EsSsHiBk_defmat_m");
  ExpectColour(d->materials->diffuse, 191 / 255.0f, 191 / 255.0f, 191 / 255.0f, 1.0f);
  EXPECT_FLOAT_EQ(d->materials->specularPower, 8.0f);
  EXPECT_EQ(d->materials->id, 3);
}

// The same materials in a file without texture entries: the textured bit
// stays in attrflags but no texture is attached, and no id is checked.
TEST_F(ReaderTest, TexturedMaterialWithoutTextureList) {
  std::string text = kMaterialsFile;
  text.erase(text.find("TEXTURE_START"), text.find("TEXTURE_END") + 11 - text.find("TEXTURE_START"));
  auto [scene, err] = ReadText(dir_, text, "m.vka");
  ASSERT_NE(scene, nullptr) << err;
  const ScMaterials *m = scene->root->materials;
  EXPECT_EQ(m->attrflags & 0x00200000u, 0x00200000u);
  EXPECT_EQ(m->nbTexture, 0);
  EXPECT_EQ(m->textures, nullptr);
  EXPECT_EQ(m->bank, -1);
}

}  // namespace

namespace {

using vkreadertest::ReaderTest;
using vkreadertest::ReadText;

std::string ObjectBlock(const std::string &name, const std::string &child, const std::string &sibling) {
  return "OBJECT " + name + "[]\nSTART\nEvalFlags ( 0x0 ),\nModel NULL,\nOPosition ( 0.0F, 0.0F, 0.0F ),\n"
         "OAngle ( 0.0F, 0.0F, 0.0F ),\nOScale ( 1.0F, 1.0F, 1.0F ),\nChild " + child + ",\nSibling " + sibling +
         ",\nEND\n";
}

// Node names drop as many characters as "object_" + base name + "_" has,
// whatever they are; nothing left gives the default name.
TEST_F(ReaderTest, NodeNamesAndPrefix) {
  const std::string text = ObjectBlock("object_sample_x", "NULL", "NULL") +
                           ObjectBlock("object_sample_", "NULL", "object_sample_x") +
                           ObjectBlock("object_sample_arm.L.001", "object_sample_x", "NULL") +
                           ObjectBlock("object_sample_top", "object_sample_arm.L.001", "NULL");
  struct Case {
    std::string file;
    const char *root, *arm, *twin;
  } cases[] = {
      {"sample.vka", "top", "arm_L_001", "x"},
      {"dir.v2/sample.1.vka", "top", "arm_L_001", "x"},
      {"sub\\sample.vka", "top", "arm_L_001", "x"},
      {"samp.vka", "e_top", "e_arm_L_001", "e_x"},
      {"a_much_longer_base.vka", "gonbe0", "gonbe0", "gonbe0"},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.file);
    std::filesystem::create_directories(std::filesystem::path(dir_.file(c.file)).parent_path());
    auto [scene, err] = ReadText(dir_, text, c.file);
    ASSERT_NE(scene, nullptr) << err;
    EXPECT_STREQ(scene->name, c.root);
    ScModel *arm = scene->root->child;
    ASSERT_NE(arm, nullptr);
    EXPECT_STREQ(arm->name, c.arm);
    ASSERT_NE(arm->child, nullptr);
    EXPECT_STREQ(arm->child->name, c.twin);
    EXPECT_EQ(arm->child->parent, arm);
  }
  // The block named exactly like the prefix gives the default name.
  auto [scene, err] = ReadText(dir_, ObjectBlock("object_sample_", "NULL", "NULL"), "sample.vka");
  ASSERT_NE(scene, nullptr) << err;
  EXPECT_STREQ(scene->name, "gonbe0");
  EXPECT_EQ(scene->modelCount, 1);
}

// Two objects naming the same child get two nodes; a sibling chain that
// reaches an object twice is not a cycle when the first visit has ended.
TEST_F(ReaderTest, SharedChildGivesTwoNodes) {
  const std::string text = ObjectBlock("object_s_leaf", "NULL", "NULL") +
                           ObjectBlock("object_s_b", "object_s_leaf", "NULL") +
                           ObjectBlock("object_s_a", "object_s_leaf", "object_s_b") +
                           ObjectBlock("object_s_root", "object_s_a", "NULL");
  auto [scene, err] = ReadText(dir_, text, "s.vka");
  ASSERT_NE(scene, nullptr) << err;
  EXPECT_EQ(err, "");
  ScModel *a = scene->root->child;
  ASSERT_NE(a, nullptr);
  ScModel *b = a->sibling;
  ASSERT_NE(b, nullptr);
  ASSERT_NE(a->child, nullptr);
  ASSERT_NE(b->child, nullptr);
  EXPECT_NE(a->child, b->child);
  EXPECT_STREQ(a->child->name, "leaf");
  EXPECT_STREQ(b->child->name, "leaf");
  EXPECT_EQ(b->parent, scene->root);
  EXPECT_EQ(b->child->parent, b);
  EXPECT_EQ(b->child->id, 4);
}

TEST_F(ReaderTest, DirectoryIsRefused) {
  testing::internal::CaptureStderr();
  EXPECT_EQ(ReadBasicModel(dir_.path().c_str()), nullptr);
  EXPECT_NE(testing::internal::GetCapturedStderr().find(dir_.path()), std::string::npos);
}

}  // namespace
