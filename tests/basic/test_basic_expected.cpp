// Byte-exact output of a small model, worked out by hand: a root object "box"
// with a textured material "wood" (two triangles that join into one strip)
// and a material "stone" (a quadrangle and a pentagon), and its child "lid"
// (one triangle, no materials), written with -B -S and with -B -S -bin.
//
//              v8
//            /    \            t0 = (0,1,2), t1 = (2,1,3): wood
//   v2 -- v3 -- v5    v7       q  = (1,4,5,3): stone
//   | t0 / | q  |  pent |      pentagon (4,6,7,8,5): stone
//   |  / t1|    |       |
//   v0 -- v1 -- v4 ---- v6
//
// Every vertex normal is (0, 0, 1); corner UVs are u = x / 2, v = y.
#include <gtest/gtest.h>

#include <bit>
#include <cstring>
#include <string>
#include <vector>

#include "basic/basic_test_util.h"
#include "scene/memory.h"
#include "scene/records.h"
#include "support/test_support.h"

namespace {

constexpr float kBoxPoints[9][3] = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {1, 1, 0}, {2, 0, 0},
                                    {2, 1, 0}, {3, 0, 0}, {3, 1, 0}, {2.5f, 2, 0}};
constexpr float kLidPoints[3][3] = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}};

struct Face {
  std::vector<int> corners;
  int material;
};

ScModel *MeshNode(const char *name, const float (*points)[3], int pointCount, const std::vector<Face> &faces) {
  ScModel *model = ScModelAlloc(name);
  model->hasMesh = 1;
  model->OScale[0] = model->OScale[1] = model->OScale[2] = 1.0f;
  const int n = static_cast<int>(faces.size());
  ScMesh *mesh = model->mesh = ScMeshAlloc(pointCount, n, n);
  for (int i = 0; i < pointCount; ++i) {
    std::memcpy(mesh->vertices[i].pos, points[i], sizeof points[i]);
    mesh->vertices[i].normal[2] = 1.0f;
  }
  for (int f = 0; f < n; ++f) {
    ScPolygon &polygon = mesh->polygons[f];
    const int corners = static_cast<int>(faces[f].corners.size());
    polygon.nbCorner = static_cast<uint16_t>(corners);
    polygon.corners = ScPolyNodeAlloc(corners);
    polygon.normal[2] = 1.0f;
    polygon.attribute = &mesh->attributes[f];
    polygon.materialId = faces[f].material;
    for (int c = 0; c < corners; ++c) {
      ScPolyNode &corner = polygon.corners[c];
      corner.vertex = static_cast<uint16_t>(faces[f].corners[c]);
      corner.u = points[corner.vertex][0] / 2, corner.v = points[corner.vertex][1];
      corner.normal[2] = 1.0f;
    }
    if (corners == 3) ++mesh->nbTriangle;
    if (corners == 4) ++mesh->nbQuad;
  }
  return model;
}

// Changes to the box scene for one case.
struct SceneEdit {
  const char *woodTag = "";        // put before the wood material's name
  int woodKind = 4;                // ScMaterials kind of wood
  const char *lidInstance = nullptr;  // the lid's instance-root name (it then has no mesh)
  bool emptyLid = false;           // the lid's mesh without polygons
};

// The box with its lid.
ScObject *BoxScene(const SceneEdit &edit = {}) {
  ScObject *scene = ScObjectAlloc("scene", 7);
  ScModel *box = scene->root = MeshNode(
      "box", kBoxPoints, 9, {{{0, 1, 2}, 0}, {{2, 1, 3}, 0}, {{1, 4, 5, 3}, 1}, {{4, 6, 7, 8, 5}, 1}});
  box->materials = ScMaterialsAlloc(2);
  box->nbMaterial = 2;
  const float diffuse[2][4] = {{0.8f, 0.6f, 0.4f, 1.0f}, {0.2f, 0.2f, 0.2f, 1.0f}};
  ScMaterials *entry = box->materials;
  for (int m = 0; m < 2; ++m, entry = entry->next) {
    entry->name = ScVStrdup(m ? "stone" : (std::string(edit.woodTag) + "wood").c_str());
    entry->kind = m ? 4 : edit.woodKind;
    std::memcpy(entry->diffuse, diffuse[m], sizeof diffuse[m]);
    entry->specular[0] = entry->specular[1] = entry->specular[2] = entry->specular[3] = 1.0f;
    entry->specularPower = 8.0f;
    if (m == 0) entry->textures = ScTextureAlloc(1), entry->textures->picname = ScVStrdup("wood.bmp");
    entry->nbTexture = m == 0;
  }
  std::vector<Face> lidFaces;
  if (!edit.emptyLid) lidFaces.push_back({{0, 1, 2}, 0});
  ScModel *lid = box->child = MeshNode("lid", kLidPoints, 3, lidFaces);
  lid->parent = box;
  if (edit.lidInstance) {
    ScMeshFree(lid->mesh);
    lid->mesh = nullptr;
    lid->hasMesh = 0;
    lid->instroot = ScVStrdup(edit.lidInstance);
  }
  lid->OPosition[2] = 1.5f;
  lid->OScale[2] = 2.0f;
  scene->modelCount = 2;
  return scene;
}

class BasicExpected : public ::testing::Test {
 protected:
  void SetUp() override { ScMallocTabInit(); }
  void TearDown() override { ScFreeAll(); }
  // Writes `scene` (default: the box) and returns the file with `suffix`.
  std::string Convert(basictest::Words words, const char *suffix, ScObject *scene = BoxScene()) {
    EXPECT_TRUE(basictest::RunBasicWriter(scene, dir_.file("box.vka"), words).ok());
    EXPECT_FALSE(vktest::Exists(dir_.file(std::string("box") + suffix + ".tmp~")));
    return vktest::ReadFile(dir_.file(std::string("box") + suffix));
  }
  basictest::QuietConsole quiet_;
  vktest::ScratchDir dir_;
};

constexpr uint32_t kStrips = 0x80000000;

// The ASCII file, last object first. Materials: wood 0.8, 0.6, 0.4, 1.0 ->
// 204, 153, 102, 255; stone 0.2 -> 51; specular power 8 -> exponent step 5;
// wood's flags are the default word 0x94002400 with the textured bit; its
// texture is number 0 of the list. Strips: t1 seeds (equal keys: the later
// triangle sorts first) and joins t0 across edge 1-2 as a left strip from
// t1's corner 2 (v3): v3, v2, v1, then t0's new corner v0; the lid's single
// triangle is a strip of its own from corner 0. The quadrangle is written
// as corners 0, 1, 3, 2; the pentagon as its count and corners 0, 1, 4, 2, 3.
// Centre: the local box's middle; radius: sqrt(max(hx, hy)^2 + hz^2) of the
// world box (the lid's points lie at z = 1.5, half-extents 0.5, 0.5, 0).
// Evaluation flags: box 0x07 (no translation, rotation, scale); lid 0x12
// (no rotation, no child).
const char kAscii[] =
    "/* VKA 0.86alpha1 VorkaAsciiDataMix (VKA) */\n\n"
    "/* ROOT OBJECT : object_box_box n(2) d(2) */\n"
    "/* TEXLIST     : texlist_box n(1) */\n\n"
    // wood.bmp is not found beside the test: its line shows a fresh block.
    "TEXTURE_START\n\nTEXTURENAME textures_box[]\nSTART\n"
    "\tTEXN( \"wood\" ),            /* 0 0x0 565 XXXX ?? ?? */\n"
    "END\n\nTEXTURELIST texlist_box\nSTART\nTextureList textures_box,\nTextureNum  1,\nEND\n\n"
    "TEXTURE_END\n\n\n"
    "MATERIAL    defmat_box[]\nSTART\n\n"
    "MATSTART\nDiffuse   ( 255, 191, 191, 191 ),\nSpecular  ( 255, 255, 255, 255 ),\nExponent  (  6.0F ),\n"
    "AttrTexId ( 0x0, 0 ),\nAttrFlags ( 0x94002400 ),\nMATEND\n\n"
    "END\n\n"
    // The lid.
    "\nOBJECT_START\n\n"
    "POLYGON     pgS_0_box_lid[]\nSTART\n    Strip(0x0, 3),  0, 1, 2, \nEND\n\n"
    "MESHSET     meshset_box_lid[]\nSTART\n\n"
    "MESHSTART\nTypeMatId ( 0xc000, 0 ),\nMeshNum     1,\nMeshes      pgS_0_box_lid,\nPolyAttrs   NULL,\n"
    "PolyNormal  NULL,\nVertColor   NULL,\nVertUV      NULL,\nMESHEND\n\n"
    "END\n\n"
    "POINT       point_box_lid[]\nSTART\n"
    "\tVERT(  0.000000F,  0.000000F,  0.000000F ),\n"
    "\tVERT(  1.000000F,  0.000000F,  0.000000F ),\n"
    "\tVERT(  0.000000F,  1.000000F,  0.000000F ),\n"
    "END\n\n"
    "NORMAL      normal_box_lid[]\nSTART\n"
    "\tNORM(  0.000000F,  0.000000F,  1.000000F ),\n"
    "\tNORM(  0.000000F,  0.000000F,  1.000000F ),\n"
    "\tNORM(  0.000000F,  0.000000F,  1.000000F ),\n"
    "END\n\n"
    "MODEL       model_box_lid[]\nSTART\n"
    "Points      point_box_lid,\nNormal      normal_box_lid,\nPointNum    3,\nMeshset     meshset_box_lid,\n"
    "Materials   defmat_box,\nMeshsetNum  1,\nMatNum      0,\n"
    "Center       0.500000F,  0.500000F,  0.000000F,\nRadius       0.500000F,\nEND\n\n"
    "OBJECT      object_box_lid[]\nSTART\n"
    "EvalFlags ( 0x00000012 ),\nModel       model_box_lid,\n"
    "OPosition  (  0.000000F,  0.000000F,  1.500000F ),\n"
    "OAngle     (  0.000000F,  0.000000F,  0.000000F ),\n"
    "OScale     (  1.000000F,  1.000000F,  2.000000F ),\n"
    "Child       NULL,\nSibling     NULL,\nEND\n\n"
    "OBJECT_END\n\n\n"
    // The box.
    "\nOBJECT_START\n\n"
    "MATERIAL    matlist_box_box[]\nSTART\n\n"
    "MATSTART\nDiffuse   ( 255, 204, 153, 102 ),\nSpecular  ( 255, 255, 255, 255 ),\nExponent  (  5.0F ),\n"
    "AttrTexId ( 0x0, 0 ),\nAttrFlags ( 0x94202400 ),\nMATEND\n\n"
    "MATSTART\nDiffuse   ( 255, 51, 51, 51 ),\nSpecular  ( 255, 255, 255, 255 ),\nExponent  (  5.0F ),\n"
    "AttrTexId ( 0x0, 0 ),\nAttrFlags ( 0x94002400 ),\nMATEND\n\n"
    "END\n\n"
    "POLYGON     pgS_0_box_box[]\nSTART\n    Strip(0x0, 4),  3, 2, 1, 0, \nEND\n\n"
    "POLYGON     pg4_1_box_box[]\nSTART\n    1, 4, 3, 5,\nEND\n\n"
    "POLYGON     pgN_1_box_box[]\nSTART\n    5,  4, 6, 5, 7, 8,\nEND\n\n"
    // u x 255 and (1 - v) x 255, truncated: v3 (0.5, 1), v2 (0, 1), v1 (0.5, 0), v0 (0, 0).
    "VERTUV      vuvS_0_box_box[]\nSTART\n"
    "\tUV( 127, 0 ),\n\tUV( 0, 0 ),\n\tUV( 127, 255 ),\n\tUV( 0, 255 ),\n"
    "END\n\n"
    "MESHSET     meshset_box_box[]\nSTART\n\n"
    "MESHSTART\nTypeMatId ( 0xc000, 0 ),\nMeshNum     1,\nMeshes      pgS_0_box_box,\nPolyAttrs   NULL,\n"
    "PolyNormal  NULL,\nVertColor   NULL,\nVertUV      vuvS_0_box_box,\nMESHEND\n\n"
    "MESHSTART\nTypeMatId ( 0x4000, 1 ),\nMeshNum     1,\nMeshes      pg4_1_box_box,\nPolyAttrs   NULL,\n"
    "PolyNormal  NULL,\nVertColor   NULL,\nVertUV      NULL,\nMESHEND\n\n"
    "MESHSTART\nTypeMatId ( 0x8000, 1 ),\nMeshNum     1,\nMeshes      pgN_1_box_box,\nPolyAttrs   NULL,\n"
    "PolyNormal  NULL,\nVertColor   NULL,\nVertUV      NULL,\nMESHEND\n\n"
    "END\n\n"
    "POINT       point_box_box[]\nSTART\n"
    "\tVERT(  0.000000F,  0.000000F,  0.000000F ),\n"
    "\tVERT(  1.000000F,  0.000000F,  0.000000F ),\n"
    "\tVERT(  0.000000F,  1.000000F,  0.000000F ),\n"
    "\tVERT(  1.000000F,  1.000000F,  0.000000F ),\n"
    "\tVERT(  2.000000F,  0.000000F,  0.000000F ),\n"
    "\tVERT(  2.000000F,  1.000000F,  0.000000F ),\n"
    "\tVERT(  3.000000F,  0.000000F,  0.000000F ),\n"
    "\tVERT(  3.000000F,  1.000000F,  0.000000F ),\n"
    "\tVERT(  2.500000F,  2.000000F,  0.000000F ),\n"
    "END\n\n"
    "NORMAL      normal_box_box[]\nSTART\n"
    "\tNORM(  0.000000F,  0.000000F,  1.000000F ),\n\tNORM(  0.000000F,  0.000000F,  1.000000F ),\n"
    "\tNORM(  0.000000F,  0.000000F,  1.000000F ),\n\tNORM(  0.000000F,  0.000000F,  1.000000F ),\n"
    "\tNORM(  0.000000F,  0.000000F,  1.000000F ),\n\tNORM(  0.000000F,  0.000000F,  1.000000F ),\n"
    "\tNORM(  0.000000F,  0.000000F,  1.000000F ),\n\tNORM(  0.000000F,  0.000000F,  1.000000F ),\n"
    "\tNORM(  0.000000F,  0.000000F,  1.000000F ),\n"
    "END\n\n"
    "MODEL       model_box_box[]\nSTART\n"
    "Points      point_box_box,\nNormal      normal_box_box,\nPointNum    9,\nMeshset     meshset_box_box,\n"
    "Materials   matlist_box_box,\nMeshsetNum  3,\nMatNum      2,\n"
    "Center       1.500000F,  1.000000F,  0.000000F,\nRadius       1.500000F,\nEND\n\n"
    "OBJECT      object_box_box[]\nSTART\n"
    "EvalFlags ( 0x00000007 ),\nModel       model_box_box,\n"
    "OPosition  (  0.000000F,  0.000000F,  0.000000F ),\n"
    "OAngle     (  0.000000F,  0.000000F,  0.000000F ),\n"
    "OScale     (  1.000000F,  1.000000F,  1.000000F ),\n"
    "Child       object_box_lid,\nSibling     NULL,\nEND\n\n"
    "OBJECT_END\n\n\n"
    "DEFAULT_START\n\n"
    "#ifndef DEFAULT_OBJECT_NAME\n#define DEFAULT_OBJECT_NAME object_box_box\n#endif\n"
    "#ifndef DEFAULT_TEXLIST_NAME\n#define DEFAULT_TEXLIST_NAME texlist_box\n#endif\n"
    "\nDEFAULT_END\n\n";

TEST_F(BasicExpected, AsciiFile) {
  basictest::Words words;
  words.stripFlags = kStrips;
  EXPECT_EQ(Convert(words, ".vka"), kAscii);
}

// Little-endian values of an expected binary file.
struct Bytes {
  std::string s;
  Bytes &u8(uint32_t v) { return s.push_back(static_cast<char>(v & 0xFF)), *this; }
  Bytes &u16(uint32_t v) { return u8(v).u8(v >> 8); }
  Bytes &u32(uint32_t v) { return u16(v).u16(v >> 16); }
  Bytes &f32(float f) { return u32(std::bit_cast<uint32_t>(f)); }
  Bytes &text(const char *t) { return s += t, *this; }
  Bytes &material(uint32_t diffuse, float exponent, uint32_t flags) {
    return u32(diffuse).u32(0xFFFFFFFF).f32(exponent).u32(0).u32(flags);  // texture number 0
  }
  Bytes &meshSet(uint32_t typeMat, uint32_t meshes, uint32_t list, uint32_t uvs) {
    return u16(typeMat).u16(meshes).u32(list).u32(0).u32(0).u32(0).u32(uvs);
  }
};

// The same model with -bin: the VKTL chunk, then one VKBM chunk, first
// object first, each object record followed by its model; the default
// material list last; each with its POF0 chunk. VKBM offsets
// from the payload's start: box record 0, materials 52, strip list 92 (10
// bytes), quadrangle list 104, n-gon list 112, UVs 124, mesh sets 140,
// points 212, normals 320, model 428; lid record 468, strip list 520, mesh
// set 528, points 552, normals 588, model 624; default material 664.
TEST_F(BasicExpected, BinaryFile) {
  Bytes e;
  e.text("VKTL").u32(28).u32(8).u32(1);          // TextureList at 8, TextureNum
  e.u32(20).u32(0).u32(0).text("wood").u32(0);  // the name at 20, same-name word, bank; "wood" padded
  e.text("POF0").u32(4).u8(0x40).u8(0x42).u16(0);
  e.text("VKBM").u32(684);
  e.u32(0x07).u32(428).f32(0).f32(0).f32(0).u32(0).u32(0).u32(0);  // 0: box record
  e.f32(1).f32(1).f32(1).u32(468).u32(0);                           // scale, child lid, sibling NULL
  e.material(0xFFCC9966, 5, 0x94202400).material(0xFF333333, 5, 0x94002400);  // 52
  e.u16(4).u16(3).u16(2).u16(1).u16(0).u16(0);                      // 92: Strip(0x0, 4), padding
  e.u16(1).u16(4).u16(3).u16(5);                                    // 104: quadrangle
  e.u16(5).u16(4).u16(6).u16(5).u16(7).u16(8);                      // 112: pentagon
  e.u32(127).u32(0).u32(255 << 16 | 127).u32(255 << 16);            // 124: UVs, v in the upper half
  e.meshSet(0xC000, 1, 92, 124).meshSet(0x4001, 1, 104, 0).meshSet(0x8001, 1, 112, 0);  // 140
  for (const auto &p : kBoxPoints) e.f32(p[0]).f32(p[1]).f32(p[2]);  // 212
  for (int i = 0; i < 9; ++i) e.f32(0).f32(0).f32(1);                // 320
  e.u32(212).u32(320).u32(9).u32(140).u32(52).u16(3).u16(2);         // 428: box model
  e.f32(1.5f).f32(1).f32(0).f32(1.5f);
  e.u32(0x12).u32(624).f32(0).f32(0).f32(1.5f).u32(0).u32(0).u32(0);  // 468: lid record
  e.f32(1).f32(1).f32(2).u32(0).u32(0);
  e.u16(3).u16(0).u16(1).u16(2);                                     // 520: Strip(0x0, 3)
  e.meshSet(0xC000, 1, 520, 0);                                      // 528
  for (const auto &p : kLidPoints) e.f32(p[0]).f32(p[1]).f32(p[2]);  // 552
  for (int i = 0; i < 3; ++i) e.f32(0).f32(0).f32(1);                // 588
  e.u32(552).u32(588).u32(3).u32(528).u32(664).u16(1).u16(0);        // 624: lid model
  e.f32(0.5f).f32(0.5f).f32(0).f32(0.5f);
  e.material(0xFFBFBFBF, 6, 0x94002400);                             // 664: defmat_box
  // Every pointer field, NULL ones included, in order of writing: 4, 44,
  // 48; the mesh sets' five at 144-160, 168-184, 192-208; the model's four
  // at 428, 432, 440, 444; 472, 512, 516; 532-548; 624, 628, 636, 640.
  // Steps in words, all below 64: one byte each, 34 bytes and 2 of padding.
  e.text("POF0").u32(36);
  for (int step : {1, 10, 1, 24, 1, 1, 1, 1, 2, 1, 1, 1, 1, 2, 1, 1, 1, 1, 55, 1, 2, 1, 7, 10, 1, 4, 1, 1, 1, 1, 19,
                   1, 2, 1})
    e.u8(0x40 | step);
  e.u16(0);
  basictest::Words words;
  words.stripFlags = kStrips;
  words.outputFlags |= 1;
  EXPECT_EQ(Convert(words, ".vk"), e.s);
}

// Options, tags, material kinds, instances and an empty mesh: the lines that
// change, and a line that must not appear.
TEST_F(BasicExpected, VariationsByOptionAndScene) {
  struct Case {
    const char *what;
    basictest::Words words;
    SceneEdit edit;
    std::vector<std::string> present;
    const char *absent = nullptr;
    VKStatusCode status = VKStatusCode::kOk;
  };
  const std::string kPnorm = "\tPNORM(  0.000000F,  0.000000F,  1.000000F ),\n";
  const Case cases[] = {
      {"without strips: triangle lists, UVs in corner order",
       {},
       {},
       {"POLYGON     pg3_0_box_box[]\nSTART\n    0, 1, 2,\n    2, 1, 3,\nEND\n\n",
        "VERTUV      vuv3_0_box_box[]\nSTART\n\tUV( 0, 255 ),\n\tUV( 127, 255 ),\n\tUV( 0, 0 ),\n"
        "\tUV( 0, 0 ),\n\tUV( 127, 255 ),\n\tUV( 127, 0 ),\nEND\n\n",
        "TypeMatId ( 0x0000, 0 ),\nMeshNum     2,\nMeshes      pg3_0_box_box,",
        "POLYGON     pg3_0_box_lid[]\nSTART\n    0, 1, 2,\nEND\n\n"},
       "Strip("},
      {"-polynormal: one normal per strip triangle, per quadrangle and per pentagon",
       {0x80000000 | 0x20000000, 0x38000000, kStrips},
       {},
       {"POLYNORMAL  pnS_0_box_box[]\nSTART\n" + kPnorm + kPnorm + "END\n\n",
        "POLYNORMAL  pn4_1_box_box[]\nSTART\n" + kPnorm + "END\n\n",
        "POLYNORMAL  pnN_1_box_box[]\nSTART\n" + kPnorm + "END\n\n",
        "POLYNORMAL  pnS_0_box_lid[]\nSTART\n" + kPnorm + "END\n\n",
        "PolyNormal  pnN_1_box_box,\n"}},
      {"-notexture: no UV list, texture number 0, no textured bit, a model-only header",
       {0x80000000 | 0x2, 0x38000000, kStrips},
       {},
       {"/* VAD 0.86alpha1 VorkaAsciiModel (VKA) */\n",
        "Exponent  (  5.0F ),\nAttrTexId ( 0x0, 0 ),\nAttrFlags ( 0x94002400 ),\nMATEND\n\nMATSTART",
        "PolyNormal  NULL,\nVertColor   NULL,\nVertUV      NULL,\nMESHEND\n\nMESHSTART\nTypeMatId ( 0x4000, 1 )"},
       "VERTUV"},
      {"-pvc: no vertex-colour data in any scene, so no VERTCOLOR list",
       {0x80000000, 0x38000000 | 0x2000, kStrips},
       {},
       {"VertColor   NULL,\nVertUV      vuvS_0_box_box,\n"},
       "VERTCOLOR"},
      {"name tags D and Na: double-sided, ignore ambient",
       {0x80000000, 0x38000000, kStrips},
       {.woodTag = "DNa_"},
       {"AttrFlags ( 0x94a02440 ),\n"}},
      {"-noflags: the tags stay in the name only",
       {0x80000000 | 0x1000, 0x38000000, kStrips},
       {.woodTag = "DNa_"},
       {"AttrFlags ( 0x94202400 ),\n"}},
      {"material kind 1 ignores light",
       {0x80000000, 0x38000000, kStrips},
       {.woodKind = 1},
       {"AttrFlags ( 0x96202400 ),\n"}},
      {"material kind 3 ignores specular",
       {0x80000000, 0x38000000, kStrips},
       {.woodKind = 3},
       {"AttrFlags ( 0x94282400 ),\n"}},
      {"an instance of the box's model: prototypes, the shared model, the prototype's child",
       {0x80000000, 0x38000000, kStrips},
       {.lidInstance = "box"},
       {"/* INSTANCE OBJECT COUNT 1 */\nINSTANCE_PROTOTYPE_START\n\n"
        "extern OBJECT      object_box_lid[];\nextern MODEL       model_box_box[];\n"
        "\nINSTANCE_PROTOTYPE_END\n\n\n",
        "OBJECT      object_box_lid[] /* INSTANCE_OBJECT */\nSTART\nEvalFlags ( 0x00000002 ),\n"
        "Model       model_box_box, /* instance */\n",
        "Child       object_box_lid, /* instance */\nSibling     NULL,\n"},
       "MODEL       model_box_lid"},
      {"an instance whose prototype is missing is written as a plain object",
       {0x80000000, 0x38000000, kStrips},
       {.lidInstance = "nothing"},
       {"OBJECT      object_box_lid[]\nSTART\nEvalFlags ( 0x0000001a ),\nModel       NULL,\n"},
       "INSTANCE_OBJECT */",
       VKStatusCode::kBadObject},
      {"a mesh without polygons is written as no model",
       {0x80000000, 0x38000000, kStrips},
       {.emptyLid = true},
       {"\nOBJECT_START\n\nOBJECT      object_box_lid[]\nSTART\nEvalFlags ( 0x00000012 ),\nModel       NULL,\n"},
       "model_box_lid"},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.what);
    const VKStatus status = basictest::RunBasicWriter(BoxScene(c.edit), dir_.file("box.vka"), c.words);
    EXPECT_EQ(status.code, c.status);
    const std::string text = vktest::ReadFile(dir_.file("box.vka"));
    for (const std::string &line : c.present) EXPECT_NE(text.find(line), std::string::npos) << line << text;
    EXPECT_TRUE(!c.absent || text.find(c.absent) == std::string::npos) << c.absent << text;
    ScFreeAll();
    ScMallocTabInit();
  }
}

}  // namespace
