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

#include <string>
#include <vector>

#include "basic/basic_test_util.h"

namespace {

using chunktest::Point;

const std::vector<Point> kBoxPoints = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0},    {1, 1, 0}, {2, 0, 0},
                                       {2, 1, 0}, {3, 0, 0}, {3, 1, 0}, {2.5f, 2, 0}};
const std::vector<Point> kLidPoints = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}};

// Changes to the box scene for one case.
struct SceneEdit {
  const char *woodTag = "";           // put before the wood material's name
  int woodKind = 4;                   // ScMaterials kind of wood
  const char *lidInstance = nullptr;  // the lid's instance-root name (it then has no mesh)
  bool emptyLid = false;              // the lid's mesh without polygons
};

ScObject *BoxScene(const SceneEdit &edit = {}) {
  ScModel *box = chunktest::MeshModel("box", kBoxPoints, {{{0, 1, 2}, 0}, {{2, 1, 3}, 0}, {{1, 4, 5, 3}, 1},
                                                          {{4, 6, 7, 8, 5}, 1}});
  chunktest::WoodAndStone(box, std::string(edit.woodTag) + "wood", edit.woodKind);
  std::vector<chunktest::Face> lidFaces;
  if (!edit.emptyLid) lidFaces.push_back({{0, 1, 2}, 0});
  ScModel *lid = box->child = chunktest::MeshModel("lid", kLidPoints, lidFaces);
  lid->parent = box;
  if (edit.lidInstance) {
    ScMeshFree(lid->mesh);
    lid->mesh = nullptr, lid->hasMesh = 0;
    lid->instroot = ScVStrdup(edit.lidInstance);
  }
  lid->OPosition[2] = 1.5f;
  lid->OScale[2] = 2.0f;
  return chunktest::SceneOf(box, 2);
}

constexpr uint32_t kStrips = 0x80000000;

class BasicExpected : public chunktest::SceneTest {
 protected:
  // Writes the box with strips and returns the file with `suffix`.
  std::string Convert(uint32_t outputFlags, const char *suffix) {
    EXPECT_TRUE(basictest::RunBasicWriter(BoxScene(), dir_.file("box.vka"), {0x80000000, outputFlags, kStrips}).ok());
    EXPECT_FALSE(vktest::Exists(dir_.file(std::string("box") + suffix + ".tmp~")));
    return vktest::ReadFile(dir_.file(std::string("box") + suffix));
  }
};

std::string Material(const char *diffuse, const char *exponent, const char *flags) {
  return std::string("MATSTART\nDiffuse   ( ") + diffuse + " ),\nSpecular  ( 255, 255, 255, 255 ),\nExponent  (  " +
         exponent + "F ),\nAttrTexId ( 0x0, 0 ),\nAttrFlags ( " + flags + " ),\nMATEND\n\n";
}
std::string Mesh(const char *typeMat, const char *list, const char *uvs) {
  return std::string("MESHSTART\nTypeMatId ( ") + typeMat + " ),\nMeshNum     1,\nMeshes      " + list +
         ",\nPolyAttrs   NULL,\nPolyNormal  NULL,\nVertColor   NULL,\nVertUV      " + uvs + ",\nMESHEND\n\n";
}
std::string Normals(int count) {
  std::string lines;
  while (count--) lines += "\tNORM(  0.000000F,  0.000000F,  1.000000F ),\n";
  return lines;
}
std::string Object(const char *name, const char *flags, const char *z, const char *scaleZ, const char *child) {
  return std::string("OBJECT      object_box_") + name + "[]\nSTART\nEvalFlags ( " + flags +
         " ),\nModel       model_box_" + name + ",\nOPosition  (  0.000000F,  0.000000F,  " + z +
         "F ),\nOAngle     (  0.000000F,  0.000000F,  0.000000F ),\nOScale     (  1.000000F,  1.000000F,  " + scaleZ +
         "F ),\nChild       " + child + ",\nSibling     NULL,\nEND\n\nOBJECT_END\n\n\n";
}

// The ASCII file, last object first. Materials: wood 0.8, 0.6, 0.4, 1.0 ->
// 204, 153, 102, 255; stone 0.2 -> 51; specular power 8 -> exponent step 5;
// wood's flags are the default word 0x94002400 with the textured bit; its
// texture is number 0 of the list (wood.bmp is not found beside the test: its
// line shows a fresh block). Strips: t1 seeds (equal keys: the later
// triangle sorts first) and joins t0 across edge 1-2 as a left strip from
// t1's corner 2 (v3): v3, v2, v1, then t0's new corner v0; the lid's single
// triangle is a strip of its own from corner 0. The quadrangle is written
// as corners 0, 1, 3, 2; the pentagon as its count and corners 0, 1, 4, 2, 3.
// UVs u x 255 and (1 - v) x 255, truncated: v3 (0.5, 1), v2 (0, 1), v1 (0.5, 0), v0 (0, 0).
// Centre: the local box's middle; radius: sqrt(max(hx, hy)^2 + hz^2) of the
// world box (the lid's points lie at z = 1.5, half-extents 0.5, 0.5, 0).
// Evaluation flags: box 0x07 (no translation, rotation, scale); lid 0x12
// (no rotation, no child).
const std::string kAscii =
    "/* VKA 0.86alpha1 VorkaAsciiDataMix (VKA) */\n\n/* ROOT OBJECT : object_box_box n(2) d(2) */\n"
    "/* TEXLIST     : texlist_box n(1) */\n\n"
    "TEXTURE_START\n\nTEXTURENAME textures_box[]\nSTART\n\tTEXN( \"wood\" ),            /* 0 0x0 565 XXXX ?? ?? */\n"
    "END\n\nTEXTURELIST texlist_box\nSTART\nTextureList textures_box,\nTextureNum  1,\nEND\n\nTEXTURE_END\n\n\n"
    "MATERIAL    defmat_box[]\nSTART\n\n" + Material("255, 191, 191, 191", "6.0", "0x94002400") + "END\n\n"
    // The lid.
    "\nOBJECT_START\n\nPOLYGON     pgS_0_box_lid[]\nSTART\n    Strip(0x0, 3),  0, 1, 2, \nEND\n\n"
    "MESHSET     meshset_box_lid[]\nSTART\n\n" + Mesh("0xc000, 0", "pgS_0_box_lid", "NULL") + "END\n\n"
    "POINT       point_box_lid[]\nSTART\n\tVERT(  0.000000F,  0.000000F,  0.000000F ),\n"
    "\tVERT(  1.000000F,  0.000000F,  0.000000F ),\n\tVERT(  0.000000F,  1.000000F,  0.000000F ),\nEND\n\n"
    "NORMAL      normal_box_lid[]\nSTART\n" + Normals(3) + "END\n\n"
    "MODEL       model_box_lid[]\nSTART\nPoints      point_box_lid,\nNormal      normal_box_lid,\nPointNum    3,\n"
    "Meshset     meshset_box_lid,\nMaterials   defmat_box,\nMeshsetNum  1,\nMatNum      0,\n"
    "Center       0.500000F,  0.500000F,  0.000000F,\nRadius       0.500000F,\nEND\n\n" +
    Object("lid", "0x00000012", "1.500000", "2.000000", "NULL") +
    // The box.
    "\nOBJECT_START\n\nMATERIAL    matlist_box_box[]\nSTART\n\n" +
    Material("255, 204, 153, 102", "5.0", "0x94202400") + Material("255, 51, 51, 51", "5.0", "0x94002400") +
    "END\n\nPOLYGON     pgS_0_box_box[]\nSTART\n    Strip(0x0, 4),  3, 2, 1, 0, \nEND\n\n"
    "POLYGON     pg4_1_box_box[]\nSTART\n    1, 4, 3, 5,\nEND\n\n"
    "POLYGON     pgN_1_box_box[]\nSTART\n    5,  4, 6, 5, 7, 8,\nEND\n\n"
    "VERTUV      vuvS_0_box_box[]\nSTART\n\tUV( 127, 0 ),\n\tUV( 0, 0 ),\n\tUV( 127, 255 ),\n\tUV( 0, 255 ),\nEND\n\n"
    "MESHSET     meshset_box_box[]\nSTART\n\n" + Mesh("0xc000, 0", "pgS_0_box_box", "vuvS_0_box_box") +
    Mesh("0x4000, 1", "pg4_1_box_box", "NULL") + Mesh("0x8000, 1", "pgN_1_box_box", "NULL") + "END\n\n"
    "POINT       point_box_box[]\nSTART\n"
    "\tVERT(  0.000000F,  0.000000F,  0.000000F ),\n\tVERT(  1.000000F,  0.000000F,  0.000000F ),\n"
    "\tVERT(  0.000000F,  1.000000F,  0.000000F ),\n\tVERT(  1.000000F,  1.000000F,  0.000000F ),\n"
    "\tVERT(  2.000000F,  0.000000F,  0.000000F ),\n\tVERT(  2.000000F,  1.000000F,  0.000000F ),\n"
    "\tVERT(  3.000000F,  0.000000F,  0.000000F ),\n\tVERT(  3.000000F,  1.000000F,  0.000000F ),\n"
    "\tVERT(  2.500000F,  2.000000F,  0.000000F ),\nEND\n\n"
    "NORMAL      normal_box_box[]\nSTART\n" + Normals(9) + "END\n\n"
    "MODEL       model_box_box[]\nSTART\nPoints      point_box_box,\nNormal      normal_box_box,\nPointNum    9,\n"
    "Meshset     meshset_box_box,\nMaterials   matlist_box_box,\nMeshsetNum  3,\nMatNum      2,\n"
    "Center       1.500000F,  1.000000F,  0.000000F,\nRadius       1.500000F,\nEND\n\n" +
    Object("box", "0x00000007", "0.000000", "1.000000", "object_box_lid") +
    "DEFAULT_START\n\n#ifndef DEFAULT_OBJECT_NAME\n#define DEFAULT_OBJECT_NAME object_box_box\n#endif\n"
    "#ifndef DEFAULT_TEXLIST_NAME\n#define DEFAULT_TEXLIST_NAME texlist_box\n#endif\n\nDEFAULT_END\n\n";

TEST_F(BasicExpected, AsciiFile) { EXPECT_EQ(Convert(0x38000000, ".vka"), kAscii); }

// The same model with -bin: the VKTL chunk, then one VKBM chunk, first
// object first, each object record followed by its model; the default
// material list last; each with its POF0 chunk. VKBM offsets
// from the payload's start: box record 0, materials 52, strip list 92 (10
// bytes), quadrangle list 104, n-gon list 112, UVs 124, mesh sets 140,
// points 212, normals 320, model 428; lid record 468, strip list 520, mesh
// set 528, points 552, normals 588, model 624; default material 664.
TEST_F(BasicExpected, BinaryFile) {
  chunktest::Bytes e;
  const auto material = [&](uint32_t diffuse, float exponent, uint32_t flags) {
    e.u32(diffuse).u32(0xFFFFFFFF).f32(exponent).u32(0).u32(flags);  // texture number 0
  };
  const auto meshSet = [&](uint32_t typeMat, uint32_t list, uint32_t uvs) {
    e.u16(typeMat).u16(1).u32(list).u32(0).u32(0).u32(0).u32(uvs);
  };
  e.text("VKTL").u32(28).u32(8).u32(1);          // TextureList at 8, TextureNum
  e.u32(20).u32(0).u32(0).text("wood").u32(0);  // the name at 20, same-name word, bank; "wood" padded
  e.text("POF0").u32(4).u8(0x40).u8(0x42).u16(0);
  e.text("VKBM").u32(684);
  e.u32(0x07).u32(428).f32(0).f32(0).f32(0).u32(0).u32(0).u32(0);  // 0: box record
  e.f32(1).f32(1).f32(1).u32(468).u32(0);                           // scale, child lid, sibling NULL
  material(0xFFCC9966, 5, 0x94202400), material(0xFF333333, 5, 0x94002400);  // 52
  e.u16(4).u16(3).u16(2).u16(1).u16(0).u16(0);                      // 92: Strip(0x0, 4), padding
  e.u16(1).u16(4).u16(3).u16(5);                                    // 104: quadrangle
  e.u16(5).u16(4).u16(6).u16(5).u16(7).u16(8);                      // 112: pentagon
  e.u32(127).u32(0).u32(255 << 16 | 127).u32(255 << 16);            // 124: UVs, v in the upper half
  meshSet(0xC000, 92, 124), meshSet(0x4001, 104, 0), meshSet(0x8001, 112, 0);  // 140
  for (const auto &p : kBoxPoints) e.f32(p[0]).f32(p[1]).f32(p[2]);  // 212
  for (int i = 0; i < 9; ++i) e.f32(0).f32(0).f32(1);                // 320
  e.u32(212).u32(320).u32(9).u32(140).u32(52).u16(3).u16(2);         // 428: box model
  e.f32(1.5f).f32(1).f32(0).f32(1.5f);
  e.u32(0x12).u32(624).f32(0).f32(0).f32(1.5f).u32(0).u32(0).u32(0);  // 468: lid record
  e.f32(1).f32(1).f32(2).u32(0).u32(0);
  e.u16(3).u16(0).u16(1).u16(2);                                     // 520: Strip(0x0, 3)
  meshSet(0xC000, 520, 0);                                           // 528
  for (const auto &p : kLidPoints) e.f32(p[0]).f32(p[1]).f32(p[2]);  // 552
  for (int i = 0; i < 3; ++i) e.f32(0).f32(0).f32(1);                // 588
  e.u32(552).u32(588).u32(3).u32(528).u32(664).u16(1).u16(0);        // 624: lid model
  e.f32(0.5f).f32(0.5f).f32(0).f32(0.5f);
  material(0xFFBFBFBF, 6, 0x94002400);                               // 664: defmat_box
  // Every pointer field, NULL ones included, in order of writing: 4, 44,
  // 48; the mesh sets' five at 144-160, 168-184, 192-208; the model's four
  // at 428, 432, 440, 444; 472, 512, 516; 532-548; 624, 628, 636, 640.
  // Steps in words, all below 64: one byte each, 34 bytes and 2 of padding.
  e.text("POF0").u32(36);
  for (int step : {1, 10, 1, 24, 1, 1, 1, 1, 2, 1, 1, 1, 1, 2, 1, 1, 1, 1, 55, 1, 2, 1, 7, 10, 1, 4, 1, 1, 1, 1, 19,
                   1, 2, 1})
    e.u8(0x40 | step);
  e.u16(0);
  EXPECT_EQ(Convert(0x38000001, ".vk"), e.s);
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
        "POLYNORMAL  pnS_0_box_lid[]\nSTART\n" + kPnorm + "END\n\n", "PolyNormal  pnN_1_box_box,\n"}},
      {"-notexture: no UV list, texture number 0, no textured bit, a model-only header",
       {0x80000000 | 0x2, 0x38000000, kStrips},
       {},
       {"/* VAD 0.86alpha1 VorkaAsciiModel (VKA) */\n",
        "Exponent  (  5.0F ),\nAttrTexId ( 0x0, 0 ),\nAttrFlags ( 0x94002400 ),\nMATEND\n\nMATSTART",
        "PolyNormal  NULL,\nVertColor   NULL,\nVertUV      NULL,\nMESHEND\n\nMESHSTART\nTypeMatId ( 0x4000, 1 )"},
       "VERTUV"},
      {"-pvc: no vertex-colour data in any scene, so no VERTCOLOR list",
       {0x80000000, 0x38000000 | 0x2000, kStrips}, {}, {"VertColor   NULL,\nVertUV      vuvS_0_box_box,\n"}, "VERTCOLOR"},
      {"name tags D and Na: double-sided, ignore ambient", {0x80000000, 0x38000000, kStrips}, {.woodTag = "DNa_"},
       {"AttrFlags ( 0x94a02440 ),\n"}},
      {"-noflags: the tags stay in the name only", {0x80000000 | 0x1000, 0x38000000, kStrips}, {.woodTag = "DNa_"},
       {"AttrFlags ( 0x94202400 ),\n"}},
      {"material kind 1 ignores light", {0x80000000, 0x38000000, kStrips}, {.woodKind = 1},
       {"AttrFlags ( 0x96202400 ),\n"}},
      {"material kind 3 ignores specular", {0x80000000, 0x38000000, kStrips}, {.woodKind = 3},
       {"AttrFlags ( 0x94282400 ),\n"}},
      {"an instance of the box's model: prototypes, the shared model, the prototype's child",
       {0x80000000, 0x38000000, kStrips},
       {.lidInstance = "box"},
       {"/* INSTANCE OBJECT COUNT 1 */\nINSTANCE_PROTOTYPE_START\n\n"
        "extern OBJECT      object_box_lid[];\nextern MODEL       model_box_box[];\n\nINSTANCE_PROTOTYPE_END\n\n\n",
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
    EXPECT_EQ(basictest::RunBasicWriter(BoxScene(c.edit), dir_.file("box.vka"), c.words).code, c.status);
    const std::string text = vktest::ReadFile(dir_.file("box.vka"));
    for (const std::string &line : c.present) EXPECT_NE(text.find(line), std::string::npos) << line << text;
    EXPECT_TRUE(!c.absent || text.find(c.absent) == std::string::npos) << c.absent << text;
    Reset();
  }
}

}  // namespace
