// Valid files read into scenes: the bundled sample and small hand-written
// files against scenes worked out by hand (u = U / 255, v = 1 - V / 255,
// colours as the file's bytes), generated files of every mesh kind against
// the generator's grid, and the name index against the literal searches.
#include <cmath>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "reader/name_index.h"
#include "reader_test_util.h"
#include "support/vka_gen.h"

namespace {

using namespace vkreadertest;
using vktest::VkaGenParams;

TEST_F(ReaderTest, BundledSample) {
  // Wheels: strips 5 and 0x8004 (reversed), then one four-index polygon
  // entry; V 128 gives v = 0.498039.
  const char *wheel =
      "   mat#%d _matlist_sample_wheel 94202400 p6 d64,64,64,255 s255,255,255,255 a0,0,0,0 tex#%d stripes.tga\n"
      "   mesh v5 p7 a7 t7 q0\n   v 0,0,0/0,0,0 0.5,0,0/0,0,0 0,0.5,0/0,0,0 0.5,0.5,0/0,0,0 0,1,0/0,0,0\n"
      "   m0 n0,0,0 d64,64,64,255 0:0,1 1:1,1 2:0,0.498039\n"
      "   m0 n0,0,0 d64,64,64,255 2:0,0.498039 1:1,1 3:1,0.498039\n"
      "   m0 n0,0,0 d64,64,64,255 2:0,0.498039 3:1,0.498039 4:0,0\n"
      "   m0 n0,0,0 d64,64,64,255 3:1,0.498039 4:0,0 2:0,0.498039\n"
      "   m0 n0,0,0 d64,64,64,255 3:1,0.498039 2:0,0.498039 1:1,1\n"
      "   m0 n0,0,0 d64,64,64,255 0:0,0 1:0,0 2:0,0\n"
      "   m0 n0,0,0 d64,64,64,255 2:0,0 1:0,0 3:0,0\n";
  // The first OBJECT block (antenna) lacks EvalFlags 0x20: kind 7. The body's
  // 0x40 gives the "Es" prefix; its quadrangle 0, 1, 4, 5 goes round as 0, 1, 5, 4.
  EXPECT_EQ(ReadDescribed(vktest::ReadFile(vktest::SourceDir() + "/examples/sample.vka"), "sample.vka"),
            "body kind7 models4\n"
            "body#0 pos0,0.5,0 ang0.785398,0,0 scl2,2,2\n"
            " mat#0 Es_matlist_sample_body 94202400 p256 d255,128,0,255 s51,102,153,255 a0,0,0,0 tex#0 checker.bmp\n"
            " mat#1 Es_NULL 94002400 p0 d0,0,255,128 s0,0,0,255 a0,0,0,0\n"
            " mesh v6 p3 a3 t2 q1\n"
            " v 0,0,0/0,0,-1 1,0,0/0,0,-1 0,1,0/0,0,-1 1,1,0/0,0,-1 0,0,1/0,-1,0 1,0,1/0,-1,0\n"
            " m0 n0,0,-1 d255,128,0,255 0:0,1 1:1,1 2:0,0\n"
            " m0 n0,0,-1 d255,128,0,255 2:0,0 1:1,1 3:1,0\n"
            " m1 n0,0,0 d0,0,255,128 0:0,0 1:0,0 5:0,0 4:0,0\n"
            "  wheel_l#1 ang0,1.5708,0\n" + Format(wheel, 2, 1) +
            "  wheel_r#2 pos1,0,0 ang0,-1.5708,0\n" + Format(wheel, 3, 2) + "  antenna#3 pos0.5,1,1\n");
}

// Every texture entry form, tag prefixes, the specular power table, and the default-material
// order: a first block named defmat... takes the last slot, the others 0, 1, ... (MatNum 4 reaches it).
const std::string kMaterials =
    "TEXTURE_START\nTEXTURENAME textures_m[]\nSTART\n\tTEXN( \"plain.bmp\" ),\n\tTEXN3( \"three.bmp\", 0x0, 0 ),\n"
    "\tPTEXN( \"pal.bmp\", 1, 5 ),\nEND\nTEXTURE_END\n" +
    Block("MATERIAL defmat_m", Mat("255, 191, 191, 191", "255, 255, 255, 255", "6.0F", "0x0, 0", "0x94002400")) +
    Block("MATERIAL DEn_matlist_m_a", Mat("10, 20, 30, 40", "1, 2, 3, 4", "5.5F", "0x0, 2", "0x80200000") +
                                          Mat("255, 0, 0, 0", "255, 0, 0, 0", "16.0F", "0xc0000000, 1", "0x00202400") +
                                          Mat("255, 0, 0, 0", "255, 0, 0, 0", "17.0F", "0x0, 0", "0x00200000")) +
    Model("model_m_a", "NULL", 0, "NULL", "DEn_matlist_m_a", 4) + Model("model_m_d", "NULL", 0, "NULL", "defmat_m", 1) +
    Object("object_m_d", "model_m_d", "NULL", "NULL", "0xd8") +
    Object("object_m_a", "model_m_a", "object_m_d", "NULL", "0xe0");

TEST_F(ReaderTest, MaterialsTexturesAndDefaultOrder) {
  // Flags with bits 26-31 clear gain 0x94000000; texture id 0xc0000000 | 1 loses bits 30-31; exponents
  // 5.5 and 17 are not in the table; a model without points or polygons still has a mesh.
  EXPECT_EQ(ReadDescribed(kMaterials, "m.vka"),
            "a kind7 models2\n"
            "a#0\n"
            " mat#0 EsSs_DEn_matlist_m_a 80200000 p0 d20,30,40,10 s2,3,4,1 a0,0,0,0 tex#0 pal.bmp bank5\n"
            " mat#1 EsSs_NULL 94202400 p256 d0,0,0,255 s0,0,0,255 a0,0,0,0 tex#1 three.bmp\n"
            " mat#2 EsSs_NULL 94200000 p0 d0,0,0,255 s0,0,0,255 a0,0,0,0 tex#2 plain.bmp\n"
            " mat#3 EsSs_defmat_m 94002400 p8 d191,191,191,255 s255,255,255,255 a0,0,0,0\n"
            " mesh v0 p0 a0 t0 q0\n"
            "  d#1\n"
            "   mat#4 EsSsHiBk_defmat_m 94002400 p8 d191,191,191,255 s255,255,255,255 a0,0,0,0\n"
            "   mesh v0 p0 a0 t0 q0\n");
  // Without texture entries the textured bit stays but no texture is attached.
  const std::string untextured = ReadDescribed(kMaterials.substr(kMaterials.find("MATERIAL")), "m.vka");
  EXPECT_TRUE(untextured.starts_with("a kind7 models2\na#0\n mat#0 EsSs_DEn_matlist_m_a 80200000 p0 d20,30,40,10 "
                                     "s2,3,4,1 a0,0,0,0\n mat#1")) << untextured;
}

// Node names drop as many characters as "object_" + base name + "_" has, whatever they
// are ('.' becomes '_'); nothing left gives "gonbe0". Two objects naming the same child
// get two nodes; ids follow creation, depth first.
TEST_F(ReaderTest, NodeNamesAndSharedChildren) {
  const std::string text = Object("object_sample_x", "NULL", "NULL", "NULL") +
                           Object("object_sample_", "NULL", "NULL", "NULL") +
                           Object("object_sample_arm.L.001", "NULL", "object_sample_x", "object_sample_x") +
                           Object("object_sample_top", "NULL", "object_sample_arm.L.001", "object_sample_");
  const struct {
    std::string file, root, arm, x, empty;
  } cases[] = {
      {"dir.v2\\sub/sample.1.vka", "top", "arm_L_001", "x", "gonbe0"},
      {"samp.vka", "e_top", "e_arm_L_001", "e_x", "e_"},
      {"a_much_longer_base.vka", "gonbe0", "gonbe0", "gonbe0", "gonbe0"},
  };
  for (const auto &[file, root, arm, x, empty] : cases) {
    std::filesystem::create_directories(std::filesystem::path(dir_.file(file)).parent_path());
    const std::string expected = root + " kind7 models4\n" + root + "#0\n  " + arm + "#1\n    " + x + "#2\n  " + x;
    EXPECT_EQ(ReadDescribed(text, file), expected + "#3\n" + empty + "#4\n") << file;
  }
}

// Checks every node of a tree against the generator's grid (see vka_gen.h),
// stopping at the first failure; adds up the triangles and quads.
void CheckTree(const VkaGenParams &p, const ScModel *node, const std::string &prefix, long long totals[2]) {
  const float w = static_cast<float>(p.gridWidth), h = static_cast<float>(p.gridHeight);
  for (; node && !::testing::Test::HasFailure(); node = node->sibling) {
    const int i = std::stoi(node->name + 1);
    SCOPED_TRACE(node->name);
    EXPECT_EQ(node->parent ? node->parent->name : "-", i ? "o" + std::to_string((i - 1) / p.childrenPerNode) : "-");
    const ScMesh *mesh = node->mesh;
    ASSERT_NE(mesh, nullptr);
    EXPECT_EQ(mesh->nbVertex, vktest::ExpectedVkaCounts(p).pointsPerObject);
    EXPECT_EQ(mesh->nbPolygon, mesh->nbTriangle + mesh->nbQuad);
    totals[0] += mesh->nbTriangle;
    totals[1] += mesh->nbQuad;
    const bool usesDefault = p.defaultMaterialList && (i & 1);
    ASSERT_EQ(node->nbMaterial, usesDefault ? 1 : p.materials);
    const ScMaterials *m = node->materials;
    for (int k = 0; k < node->nbMaterial; k++, m = m->next) {
      const std::string list = usesDefault ? "defmat_" + p.baseName : p.materialTag + "matlist_" + p.baseName + "_";
      EXPECT_EQ(m->name, prefix + (k ? "NULL" : usesDefault ? list : list + node->name));
      if (usesDefault) continue;
      EXPECT_EQ(m->textures ? m->textures->picname : "-", p.textures ? Format("tex%d.bmp", k % p.textures) : "-");
      EXPECT_EQ(m->bank, p.paletteBanks ? k % p.textures : -1);
    }
    for (int q = 0; q < mesh->nbPolygon && !::testing::Test::HasFailure(); q++) {
      const ScPolygon &poly = mesh->polygons[q];
      SCOPED_TRACE(q);
      float cx = 0, cy = 0;
      for (int k = 0; k < poly.nbCorner; k++) {
        ASSERT_LT(poly.corners[k].vertex, mesh->nbVertex);
        const ScPolyNode &corner = poly.corners[k];
        const ScVertex &a = mesh->vertices[corner.vertex];
        const int x = static_cast<int>(a.pos[0]), y = static_cast<int>(a.pos[1]);
        cx += a.pos[0] / poly.nbCorner;
        cy += a.pos[1] / poly.nbCorner;
        EXPECT_EQ(y * (p.gridWidth + 1) + x, corner.vertex);
        EXPECT_NEAR(corner.normal[0], p.normals ? x / w : 0, 1e-6);  // written with six decimals
        EXPECT_NEAR(corner.normal[1], p.normals ? y / h : 0, 1e-6);
        EXPECT_FLOAT_EQ(corner.u, p.uvs ? static_cast<float>((x * 255 / p.gridWidth) / 255.0) : 0);
        EXPECT_FLOAT_EQ(corner.v, p.uvs ? static_cast<float>(1.0 - (y * 255 / p.gridHeight) / 255.0) : 0);
        // Every edge turns left: the corners go counter-clockwise around the face.
        const ScVertex &b = mesh->vertices[poly.corners[(k + 1) % poly.nbCorner].vertex];
        const ScVertex &d = mesh->vertices[poly.corners[(k + 2) % poly.nbCorner].vertex];
        EXPECT_GT((b.pos[0] - a.pos[0]) * (d.pos[1] - b.pos[1]) - (b.pos[1] - a.pos[1]) * (d.pos[0] - b.pos[0]), 0);
      }
      const float *n = poly.normal;  // the centre of the cell (a strip's: of its row) the face comes from
      EXPECT_TRUE(!p.polyNormals || (n[2] == 1 && std::fabs(n[1] - cy) < 0.5f &&
                                     ((n[0] == w / 2 && poly.nbCorner == 3) || std::fabs(n[0] - cx) < 0.5f)));
    }
    CheckTree(p, node->child, prefix, totals);
  }
}

TEST_F(ReaderTest, GeneratedFilesOfEveryMeshKind) {
  using enum vktest::VkaMesh;
  const struct {
    const char *what, *prefix;
    VkaGenParams p;
  } cases[] = {
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
      {"a chain 128 deep", "_", {.objects = 128, .childrenPerNode = 1, .gridWidth = 1, .gridHeight = 1}},
      {"indices past 32767", "Hi_",
       {.gridWidth = 300, .gridHeight = 110, .meshKinds = {kQuads, kReverseStrips}, .evalFlags = 0x28}},
  };
  for (const auto &[what, prefix, p] : cases) {
    SCOPED_TRACE(what);
    auto [scene, err] = Read(vktest::GenerateVka(p), "gen.vka");
    ASSERT_TRUE(scene && err.empty()) << err;
    EXPECT_EQ(Format("%s %d %d", scene->name, scene->modelCount, scene->kind),
              Format("o0 %d %d", p.objects, p.evalFlags & 0x20 ? 8 : 7));
    long long totals[2] = {0, 0};
    CheckTree(p, scene->root, prefix, totals);
    const auto counts = vktest::ExpectedVkaCounts(p);
    EXPECT_EQ(Format("%lld %lld", totals[0], totals[1]), Format("%lld %lld", counts.triangles, counts.quads));
    Reset();
  }
}

// Blocks that share a name: the first OBJECT, last POINT, first POLYGON, first
// VERTUV and last MATERIAL block of the name is used.
TEST_F(ReaderTest, DuplicateNamesFollowTheSearchOrder) {
  auto mat = [](const char *colour) { return Block("MATERIAL mat", Mat(colour, "0, 0, 0, 0", "0F", "0x0, 0", "0x0")); };
  const std::string text = mat("255, 1, 1, 1") + mat("255, 2, 2, 2") + Block("POLYGON pg", "0, 1, 2,\n") +
      Block("POLYGON pg", "2, 1, 0,\n") +
      Block("POINT pt", "VERT( 7, 0, 0 ),\nVERT( 1, 0, 0 ),\nVERT( 0, 1, 0 ),\n") +
      Block("POINT pt", "VERT( 9, 0, 0 ),\nVERT( 1, 0, 0 ),\nVERT( 0, 1, 0 ),\n") +
      Block("VERTUV uv", "UV( 51, 0 ),\nUV( 0, 0 ),\nUV( 0, 0 ),\n") +
      Block("VERTUV uv", "UV( 102, 0 ),\nUV( 0, 0 ),\nUV( 0, 0 ),\n") +
      Block("MESHSET ms", "MESHSTART\nTypeMatId ( 0x0, 0 ),\nMeshNum 1,\nMeshes pg,\nPolyAttrs NULL,\n"
                          "PolyNormal NULL,\nVertColor NULL,\nVertUV uv,\nMESHEND\n") +
      Model("mdl", "pt", 3, "ms", "mat", 1) + Object("object_d_kid", "mdl", "NULL", "NULL") +
      Object("object_d_kid", "NULL", "NULL", "NULL") + Object("object_d_top", "NULL", "object_d_kid", "NULL");
  EXPECT_EQ(ReadDescribed(text, "d.vka"),
            "top kind7 models3\ntop#0\n  kid#1\n   mat#0 _mat 94000000 p0 d2,2,2,255 s0,0,0,0 a0,0,0,0\n"
            "   mesh v3 p1 a1 t1 q0\n   v 9,0,0/0,0,0 1,0,0/0,0,0 0,1,0/0,0,0\n"
            "   m0 n0,0,0 d2,2,2,255 0:0.2,1 1:0,1 2:0,1\n");
}

// The index against the literal searches, run as one forward scan: the
// first match, and the last match at or before each position.
TEST(NameIndexTest, MatchesTheLiteralSearches) {
  std::mt19937 random(7);
  for (int round = 0; round < 200; round++) {
    std::vector<std::string> names(random() % 60);
    const unsigned distinct = 1 + random() % 8;  // few names: many duplicates
    for (std::string &name : names) name = std::string("n").append(std::to_string(random() % distinct));
    vkreader::NameIndex index;
    for (size_t i = 0; i < names.size(); i++) index.Add(names[i], static_cast<int32_t>(i));
    for (unsigned probe = 0; probe <= distinct; probe++) {  // the last name is absent
      const std::string name = "n" + std::to_string(probe);
      int32_t first = -1, last = -1;
      EXPECT_EQ(index.LastAtOrBefore(name, -1), -1);
      for (int32_t i = 0; i < static_cast<int32_t>(names.size()); i++) {
        if (names[static_cast<size_t>(i)] == name) last = i;
        if (first < 0) first = last;
        ASSERT_EQ(index.LastAtOrBefore(name, i), last) << name << " at " << i;
      }
      EXPECT_EQ(index.First(name), first);
      EXPECT_EQ(index.Last(name), last);
    }
  }
}

}  // namespace
