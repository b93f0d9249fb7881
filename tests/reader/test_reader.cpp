// The Basic-model reader (the bundled sample is read in the golden
// transcripts). Valid files read into scenes: small hand-written files against
// scenes worked out by hand (u = U / 255, v = 1 - V / 255, colours as the
// file's bytes), generated files of every mesh
// kind against the generator's grid, and the name index against the literal
// searches. Invalid input: every class is refused with a message naming the
// file (and the line where there is one) and no scene; warnings for names not
// found; hostile files (a second START, exponential expansion) refused.
#include <algorithm>
#include <cmath>
#include <filesystem>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "reader/name_index.h"
#include "reader_test_util.h"
#include "support/vka_gen.h"

namespace {

using namespace vkreadertest;
using vktest::VkaGenParams;

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
  const struct { std::string file, root, arm, x, empty; } cases[] = {
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
  const struct { const char *what, *prefix; VkaGenParams p; } cases[] = {
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

// A small valid file the cases below edit: object_t_o0 (written last, the
// root) with its child object_t_o1, each a model of two triangles, one
// textured material and one texture entry; the first of each line is o1's.
std::string Base() {
  return vktest::GenerateVka({.baseName = "t", .objects = 2, .childrenPerNode = 1, .gridWidth = 1, .gridHeight = 1,
                              .normals = false, .textures = 1});
}

// "Line <n>" for the first line holding `text`, counting from 1.
std::string LineOf(const std::string &file, const std::string &text) {
  const size_t at = file.find(text);
  EXPECT_NE(at, std::string::npos) << text;
  return "Line " + std::to_string(1 + std::count(file.begin(), file.begin() + std::min(at, file.size()), '\n'));
}

// Each case edits the base file; the message is expected after "Error :
// <file> : ", or is all that is printed for a bad argument count.
TEST_F(ReaderTest, InvalidFilesAreRefused) {
  const std::string base = Base(), longName(256, 'n');
  ASSERT_EQ(Read(base).second, "");  // read without a word
  using Case = std::pair<std::string, std::string>;  // text, message
  auto edit = [&base](const std::string &from, const std::string &to) { return Replace(base, from, to); };
  // An edit refused with a message naming the line of `from`, or with a bad argument count there.
  auto at = [&](const std::string &from, const std::string &to, const std::string &message) {
    return Case{edit(from, to), LineOf(base, from) + " : " + message};
  };
  auto bad = [&](const std::string &from, const std::string &to) {
    return Case{edit(from, to), "Bad arg count : " + LineOf(base, from) + "\n"};
  };
  const std::string child = "Child       object_t_o1", noSibling = "Sibling     NULL", matNum = "MatNum      1";
  const std::string typeMat = "TypeMatId ( 0x0000, 0 )", meshNum = "MeshNum     2", noMats = "Materials   matlist_t_o1";
  const std::string vert = "\tVERT(  1.000000F,  0.000000F,  0.000000F ),", triangle = "    0, 1, 2,";
  const std::string center = "Center       0.500000F,  0.500000F,  0.000000F";
  const std::string late = Object("object_t_top", "NULL", "object_t_c", "NULL");
  // A chain of 129 objects, each the only child of the one before.
  const std::string deep = vktest::GenerateVka({.objects = 129, .childrenPerNode = 1, .gridWidth = 1, .gridHeight = 1});
  const Case cases[] = {
      {base.substr(0, base.find("OBJECT")), "no OBJECT block"},
      at(child, "Child object_t_o0", "Child object_t_o0 leads back"),
      at("Child       NULL", "Child object_t_o0", "Child object_t_o0 leads back"),
      at(noSibling, "Sibling object_t_o0", "Sibling object_t_o0 leads back"),
      {edit(child + ",\n" + noSibling, "Child NULL,\nSibling object_t_o0"), "Sibling object_t_o0 leads back"},
      // The root object_t_c's sibling, before it, leads back to it through its child.
      {late + Object("object_t_c", "NULL", "NULL", "object_t_top"), "Child object_t_c leads back"},
      {deep, LineOf(deep, "Child       object_gen_o128") + " : the object hierarchy is deeper than 128 levels"},
      at(typeMat, "TypeMatId ( 0x0000, 1 )", "material index 1 is not below MatNum 1"),
      {edit("    2, 1, 3,", "    2, 1, 4,"), LineOf(base, "POLYGON") + " : POLYGON pg3_0_t_o1 holds the point index 4"},
      at("AttrTexId ( 0x0, 0 )", "AttrTexId ( 0x0, 1 )", "texture id 1 is not below the 1 texture entries"),
      at("Points      point_t_o1", "Points NULL", "MODEL model_t_o1 has 4 points but no POINT list"),
      {edit("meshset_t_o1,", "NULL,"), "has 1 mesh sets but no MESHSET list"},
      {edit(noMats, "Materials NULL"), "has 1 materials but no MATERIAL list"},
      {Replace(Replace(edit(noMats, "Materials NULL"), matNum, "MatNum 0"), typeMat, "TypeMatId ( 0x0000, 1 )"),
       "material index 1 is not below MatNum 0"},
      {edit("pg3_0_t_o1,", "NULL,"), "mesh set with 2 meshes but no POLYGON list"},
      {edit(meshNum, "MeshNum 3"), "POLYGON pg3_0_t_o1: the counts of 3 meshes run past the end of its 6 values"},
      {Replace(Replace(edit(typeMat, "TypeMatId ( 0xc000, 0 )"), meshNum, "MeshNum 1"), triangle,
               "    Strip(0x8000, 6), 1, 2,"),
       "the counts of 1 meshes run past the end"},
      {Replace(edit(typeMat, "TypeMatId ( 0x8000, 0 )"), triangle, "    65535, 1, 2,"), "run past the end"},
      {edit("PointNum    4", "PointNum 5"), "POINT point_t_o1 holds 4 points, MODEL model_t_o1 needs PointNum 5"},
      {edit("PointNum    4", "PointNum -4"), "negative PointNum -4"},
      {edit("\tUV( 255, 255 ),\n", ""), "VERTUV vuv3_0_t_o1 holds 5 UV pairs, POLYGON pg3_0_t_o1 needs 6"},
      {edit("MeshsetNum  1", "MeshsetNum 3"), "MeshsetNum 3 runs past the last mesh set"},
      {edit(matNum, "MatNum 3"), "MatNum 3 runs past the last material"},
      at("POINT       point_t_o1[]", "POINT " + longName + "[]", "name of 256 characters (at most 255)"),
      {edit("tex0.bmp", longName), "name of 256 characters"},
      bad(vert, "\tVERT( 1.0F, 0.0F ),"),
      bad(vert, ""),
      bad("MATERIAL    matlist_t_o1[]", "MATERIAL"),
      bad("Diffuse   ( 255, 200, 100, 50 )", "Diffuse ( 255, 1, 2 )"),
      bad(center, "Center 0.5F, 0.5F"),
      bad("OAngle     (  0.000000F, 45.000000F,  0.000000F )", "OAngle ( 0.0F, 0.0F )"),
      bad("\tTEXN( \"tex0.bmp\" )", "\tPTEXN( \"tex0.bmp\", 1 )"),
      bad(triangle, "    Strip(0x0)"),
      {edit("MeshsetNum  1,\n", ""), bad(center, center).second},  // a missing MODEL line shifts the rest
  };
  for (const auto &[text, message] : cases) {
    SCOPED_TRACE(message);
    auto [scene, err] = Read(text);
    EXPECT_EQ(scene, nullptr);
    if (message.starts_with("Bad arg count")) {
      EXPECT_EQ(err, message);
    } else {
      EXPECT_NE(err.find("Error : " + dir_.file("t.vka") + " : "), std::string::npos) << err;
      EXPECT_NE(err.find(message), std::string::npos) << err;
    }
    EXPECT_EQ(vktest::ReadFile(dir_.file("t.vka")), text);  // the input is untouched
  }
  EXPECT_EQ(ReadPath(dir_.file("absent.vka")).second, "Error : Can't open " + dir_.file("absent.vka") + "\n");
  const auto [folder, folderErr] = ReadPath(dir_.path());
  EXPECT_TRUE(!folder && folderErr.starts_with("Error : " + dir_.path())) << folderErr;
}

// Hostile files: a second START in a block of each kind (read on, its line
// would be a value 0 in a POLYGON list and a triangle lost), refused with
// both lines named.
TEST_F(ReaderTest, SecondStartInAnyBlockIsRefused) {
  const std::string text = vktest::GenerateVka(
      {.baseName = "t", .gridWidth = 1, .gridHeight = 1, .polyNormals = true, .textures = 1});
  ASSERT_EQ(Read(text).second, "");
  struct Case {
    const char *block;  // as the message names it
    const char *head;   // the line before the block's START
    const char *after;  // the line the second START follows
  };
  const Case cases[] = {
      {"TEXTURE_START", "TEXTURENAME textures_t[]", "\tTEXN( \"tex0.bmp\" ),"},
      {"MATERIAL matlist_t_o0", "MATERIAL    matlist_t_o0[]", "Diffuse   ( 255, 200, 100, 50 ),"},
      {"POLYGON pg3_0_t_o0", "POLYGON     pg3_0_t_o0[]", "    0, 1, 2,"},
      {"POLYNORMAL pn3_0_t_o0", "POLYNORMAL  pn3_0_t_o0[]", "\tPNORM(  0.500000F,  0.500000F,  1.000000F ),"},
      {"VERTUV vuv3_0_t_o0", "VERTUV      vuv3_0_t_o0[]", "\tUV( 0, 0 ),"},
      {"MESHSET meshset_t_o0", "MESHSET     meshset_t_o0[]", "MESHEND"},
      {"POINT point_t_o0", "POINT       point_t_o0[]", "\tVERT(  0.000000F,  0.000000F,  0.000000F ),"},
      {"NORMAL normal_t_o0", "NORMAL      normal_t_o0[]", "\tNORM(  0.000000F,  0.000000F,  1.000000F ),"},
      {"MODEL model_t_o0", "MODEL       model_t_o0[]", "Radius       1.000000F,"},
      {"OBJECT object_t_o0", "OBJECT      object_t_o0[]", "Model       model_t_o0,"},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.block);
    const std::string lines = LineOf(text, c.after), first = LineOf(text, c.head);
    const std::string message = Format("Error : %s : Line %d : second START in %s (the first is on line %d)\n",
                                       dir_.file("t.vka").c_str(), std::stoi(lines.substr(5)) + 1, c.block,
                                       std::stoi(first.substr(5)) + 1);
    auto [scene, err] = Read(Replace(text, std::string(c.after) + "\n", std::string(c.after) + "\nSTART\n"));
    EXPECT_EQ(scene, nullptr);
    EXPECT_EQ(err, message);
    Reset();
  }
}

// Objects x0 (the model: a strip of `strip` indices over `points` points,
// strip - 2 triangles) and for k = 1 .. levels three objects without a
// model: p_k and q_k each have x_(k-1) as their child, q_k is p_k's sibling,
// and x_k has p_k as its child. The tree under x_k holds 2^(k+2) - 3 nodes
// and 2^k copies of the model; the root is x_levels. Written tersely, as a
// hostile file would be.
std::string Doubling(int levels, int points, int strip) {
  std::string s =
      "MATERIAL mat[]\nSTART\nMATSTART\nD 255 1 2 3\nS 255 1 2 3\nE 0\nT 0x0 0\nF 0x94002400\nMATEND\nEND\n";
  s += Format("POLYGON pg[]\nSTART\nStrip 0x0 %d", strip);
  for (int i = 0; i < strip; i++) s += Format(" %d", i % points);
  s += "\nEND\nMESHSET ms[]\nSTART\nMESHSTART\nT 0xc000 0\nN 1\nM pg\nA NULL\nP NULL\nC NULL\nU NULL\nMESHEND\nEND\n";
  s += "POINT pt[]\nSTART\n";
  for (int i = 0; i < points; i++) s += Format("V %d %d 0\n", i / 2, i % 2);
  s += Format("END\nMODEL m[]\nSTART\nP pt\nN NULL\nN %d\nM ms\nM mat\nN 1\nN 1\nC 0 0 0\nR 1\nEND\n", points);
  auto object = [&s](const std::string &name, const char *model, const std::string &child, const std::string &sibling) {
    s += Format("OBJECT %s[]\nSTART\nE 0\nM %s\nP 0 0 0\nA 0 0 0\nS 1 1 1\nC %s\nS %s\nEND\n", name.c_str(), model,
                child.c_str(), sibling.c_str());
  };
  object("x0", "m", "NULL", "NULL");
  for (int k = 1; k <= levels; k++) {
    const std::string below = "x" + std::to_string(k - 1), n = std::to_string(k);
    object("q" + n, "NULL", below, "NULL");
    object("p" + n, "NULL", below, "q" + n);
    object("x" + n, "NULL", "p" + n, "NULL");
  }
  return s;
}

// Hierarchies that share children expand before they are built: within the
// budget they are read, past it refused naming the object whose subtree
// passes it, before any node is made. Budget: 64 x (objects + points +
// POLYGON values), at least 1,000,000 nodes, vertices and polygons.
TEST_F(ReaderTest, ExpandingHierarchiesAreRefusedBeforeTheyAreBuilt) {
  // Five levels: 2^7 - 3 = 125 nodes, 2^5 copies of 58 triangles.
  auto [scene, err] = Read(Doubling(5, 4, 60));
  ASSERT_NE(scene, nullptr) << err;
  int nodes = 0, polygons = 0;
  std::vector<const ScModel *> pending = {scene->root};
  while (!pending.empty()) {
    const ScModel *m = pending.back();
    pending.pop_back();
    ++nodes, polygons += m->mesh ? m->mesh->nbPolygon : 0;
    for (const ScModel *next : {m->child, m->sibling})
      if (next) pending.push_back(next);
  }
  EXPECT_EQ(nodes, 125);
  EXPECT_EQ(polygons, 32 * 58);
  Reset();

  // x_k holds 66 * 2^k - 3 (model: 4 points and 58 triangles); x13 540669,
  // q14 540670, p14 2 + 2 * 540669 = 1081340 > 1000000 (64 * 111 is less).
  // The file is under 4 KB and would expand to 2^17 - 3 nodes and 2^15
  // copies of the model.
  const std::string hostile = Doubling(15, 4, 60);
  EXPECT_LE(hostile.size(), 4096u);
  std::tie(scene, err) = Read(hostile);
  EXPECT_EQ(scene, nullptr);
  EXPECT_EQ(err, "Error : " + dir_.file("t.vka") + " : " + LineOf(hostile, "OBJECT p14[]") +
                     " : OBJECT p14 expands to 1081340 nodes, vertices and polygons; this file allows at most "
                     "1000000\n");
  EXPECT_EQ(ScMallocGetStats().blocks, 0);  // no node, mesh or material made
  Reset();

  // 16000 points: own content 22 objects + 16000 + 7 values, budget
  // 64 * 16029 = 1025856; x6 = 2^8 - 3 + 64 * 16004 = 1024509, q7 1024510,
  // p7 2 + 2 * 1024509.
  const std::string large = Doubling(7, 16000, 6);
  std::tie(scene, err) = Read(large);
  EXPECT_EQ(scene, nullptr);
  EXPECT_EQ(err, "Error : " + dir_.file("t.vka") + " : " + LineOf(large, "OBJECT p7[]") +
                     " : OBJECT p7 expands to 2049020 nodes, vertices and polygons; this file allows at most "
                     "1025856\n");
}

TEST_F(ReaderTest, NamesNotFoundDrawWarnings) {
  std::string text = Replace(Base(), "VertUV      vuv3_0_t_o1", "VertUV uv_x");
  text = Replace(Replace(text, "PolyNormal  NULL", "PolyNormal pn_x"), "Normal      NULL", "Normal normal_x");
  auto [scene, err] = Read(Replace(text, "Sibling     NULL", "Sibling object_t_c"));
  ASSERT_NE(scene, nullptr) << err;
  EXPECT_EQ(err,
            "Warning : Can't chain sibling object_t_c\nWarning : Can't chain normal normal_x\n"
            "Warning : Can't chain vertuv uv_x\nWarning : Can't chain normals pn_x\n");
  EXPECT_EQ(scene->root->child->sibling, nullptr);
  EXPECT_FLOAT_EQ(scene->root->child->mesh->polygons[1].corners[2].u, 0.0f);  // no UVs linked
  // A child written after its parent is not found when linking (the search
  // runs back from the parent) but still joins the tree, after the warning.
  EXPECT_EQ(ReadDescribed(Object("object_t_top", "NULL", "object_t_c", "NULL", "0x20") +
                          Object("object_t_c", "NULL", "NULL", "NULL") +
                          Object("object_t_root", "NULL", "object_t_top", "NULL")),
            "Warning : Can't chain child object_t_c\nroot kind8 models3\nroot#0\n  top#1\n    c#2\n");
}

// Cut-off and garbled files never crash or read out of bounds (the sanitizer
// build checks the latter); a refusal always says why.
TEST_F(ReaderTest, TruncatedAndGarbledFilesNeverCrash) {
  using enum vktest::VkaMesh;
  const std::string text = vktest::GenerateVka(
      {.objects = 3, .gridWidth = 2, .gridHeight = 2, .meshKinds = {kStrips, kPolygons, kQuads}, .polyNormals = true,
       .textures = 1});
  std::mt19937 next(12345);
  for (int round = 0; round < 60; round++) {  // cut off, or eight bytes garbled
    std::string mutated = round % 2 ? text : text.substr(0, next() % text.size());
    for (int k = 0; round % 2 && k < 8; k++) mutated[next() % mutated.size()] = "0123456789 ,\n-xSTARTEND{}"[next() % 25];
    auto [scene, err] = Read(mutated, "g.vka");
    EXPECT_TRUE(scene || !err.empty()) << "refused without a message";
    Reset();
  }
}

}  // namespace
