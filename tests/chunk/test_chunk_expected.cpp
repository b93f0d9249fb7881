// Byte-exact output of a small model, worked out by hand: object "box" of
// five vertices, a textured group (two triangles joining into one strip) and
// an untextured group (one triangle).
//
//   v2 ---- v3
//   |  t0 /  |  .  t2         t0 = (0,1,2), t1 = (2,1,3): material "wood"
//   |   / t1 |     .          t2 = (1,4,3): material "stone"
//   v0 ---- v1 ---- v4
#include <gtest/gtest.h>

#include <bit>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "chunk/chunk_test_util.h"
#include "scene/memory.h"
#include "scene/records.h"
#include "support/console_capture.h"
#include "support/test_support.h"

namespace {

constexpr float kPositions[5][3] = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {1, 1, 0}, {2, 0, 0}};
constexpr int kTriangles[3][4] = {{0, 1, 2, 0}, {2, 1, 3, 0}, {1, 4, 3, 1}};  // corners, material

// Every normal (0, 0, 1); UV u = x / 2, v = y, written as trunc(u * 256),
// trunc((1 - v) * 256). `woodName` names the textured material (null: no
// materials); `empty` leaves the mesh without vertices and triangles.
ScObject *BoxScene(const char *woodName = "wood", bool empty = false) {
  ScObject *scene = ScObjectAlloc("scene", 7);
  ScModel *model = scene->root = ScModelAlloc("box");
  scene->modelCount = model->hasMesh = 1;
  model->OScale[0] = model->OScale[1] = model->OScale[2] = 1.0f;
  const int vertices = empty ? 0 : 5, triangles = empty ? 0 : 3;
  ScMesh *mesh = model->mesh = ScMeshAlloc(vertices, triangles, triangles);
  mesh->nbTriangle = triangles;
  for (int i = 0; i < vertices; ++i) {
    std::memcpy(mesh->vertices[i].pos, kPositions[i], sizeof kPositions[i]);
    mesh->vertices[i].normal[2] = 1.0f;
  }
  for (int t = 0; t < triangles; ++t) {
    ScPolygon &polygon = mesh->polygons[t];
    polygon.nbCorner = 3;
    polygon.corners = ScPolyNodeAlloc(3);
    polygon.normal[2] = 1.0f;
    polygon.attribute = &mesh->attributes[t];
    polygon.materialId = kTriangles[t][3];
    for (int c = 0; c < 3; ++c) {
      ScPolyNode &corner = polygon.corners[c];
      corner.vertex = static_cast<uint16_t>(kTriangles[t][c]);
      corner.u = kPositions[corner.vertex][0] / 2, corner.v = kPositions[corner.vertex][1];
      corner.normal[2] = 1.0f;
    }
  }
  if (!woodName) return scene;
  model->materials = ScMaterialsAlloc(2);
  model->nbMaterial = 2;
  const float diffuse[2][4] = {{0.8f, 0.6f, 0.4f, 1.0f}, {0.2f, 0.2f, 0.2f, 1.0f}};
  ScMaterials *entry = model->materials;
  for (int m = 0; m < 2; ++m, entry = entry->next) {
    entry->name = ScVStrdup(m ? "stone" : woodName);
    entry->kind = 4;
    std::memcpy(entry->diffuse, diffuse[m], sizeof diffuse[m]);
    entry->specular[0] = entry->specular[1] = entry->specular[2] = entry->specular[3] = 1.0f;
    entry->specularPower = 8.0f;
    if (m == 0) entry->textures = ScTextureAlloc(1), entry->textures->picname = ScVStrdup("wood.bmp");
    entry->nbTexture = m == 0;
  }
  return scene;
}

class ChunkExpected : public ::testing::Test {
 protected:
  void SetUp() override { ScMallocTabInit(); }
  void TearDown() override { ScFreeAll(); }
  // Writes `scene` (default: the box) and returns the file with `suffix`.
  std::string Convert(uint32_t chunkFlags, uint32_t outputFlags, const char *suffix, ScObject *scene = BoxScene()) {
    EXPECT_EQ(chunktest::RunWriter(scene, dir_.file("box.vka"), chunkFlags, outputFlags), 1);
    EXPECT_FALSE(vktest::Exists(dir_.file(std::string("box") + suffix + ".tmp~")));
    return vktest::ReadFile(dir_.file(std::string("box") + suffix));
  }
  chunktest::QuietConsole quiet_;
  vktest::ScratchDir dir_;
};

const char kHead[] =
    "/* VKA 0.86alpha1 VorkaAsciiDataMix CnkModel (VKA) */\n\n"
    "/* ROOT OBJECT : object_box_box n(1) d(1) */\n"
    "/* TEXLIST     : texlist_box n(1) */\n\n";
// The texture list (outside the volume modes): wood.bmp is not found beside
// the test, so its line shows a fresh information block.
const char kTextureList[] =
    "TEXTURE_START\n\nTEXTURENAME textures_box[]\nSTART\n"
    "\tTEXN( \"wood\" ),            /* 0 0x0 565 XXXX ?? ?? */\n"
    "END\n\nTEXTURELIST texlist_box\nSTART\nTextureList textures_box,\nTextureNum  1,\nEND\n\n"
    "TEXTURE_END\n\n\n";
const char kFirstObject[] = "\nCNKOBJECT_START\n\n";
const char kTail[] =
    "CNKMODEL   model_box_box[]\nSTART\n"
    "VList      vertex_box_box,\nPList      strip_box_box,\n"
    "Center       1.000000F,  0.500000F,  0.000000F,\nRadius       1.000000F,\nEND\n\n"
    "CNKOBJECT  object_box_box[]\nSTART\n"
    "EvalFlags ( 0x00000017 ),\nCNKModel   model_box_box,\n"
    "OPosition  (  0.000000F,  0.000000F,  0.000000F ),\n"
    "OAngle     (  0.000000F,  0.000000F,  0.000000F ),\n"
    "OScale     (  1.000000F,  1.000000F,  1.000000F ),\n"
    "Child       NULL,\nSibling     NULL,\nEND\n\n"
    "CNKOBJECT_END\n\n\n"
    "DEFAULT_START\n\n"
    "#ifndef DEFAULT_OBJECT_NAME\n#define DEFAULT_OBJECT_NAME object_box_box\n#endif\n"
    "#ifndef DEFAULT_TEXLIST_NAME\n#define DEFAULT_TEXLIST_NAME texlist_box\n#endif\n"
    "\nDEFAULT_END\n\n";

// The vertex list: its chunk head, then per vertex the VERT line and `normal`.
std::string VertexList(const char *head, const char *normal) {
  std::string list = std::string("VLIST      vertex_box_box[]\nSTART\n\t") + head + ",\n\tOffnbIdx(0, 5),\n";
  for (const char *xy : {"0x00000000, 0x00000000", "0x3f800000, 0x00000000", "0x00000000, 0x3f800000",
                         "0x3f800000, 0x3f800000", "0x40000000, 0x00000000"})
    list += std::string("\tVERT( ") + xy + ", 0x00000000 ),\n\t" + normal + ",\n";
  return list + "\tCnkEnd()\nEND\n\n";
}

TEST_F(ChunkExpected, AsciiModels) {
  struct Case {
    const char *what;
    uint32_t chunkFlags;
    const char *textureList, *strips, *vertexHead, *normal;
  };
  const Case cases[] = {
      // Seeded by t1 (equal keys: the later triangle sorts first), joined with
      // t0 across edge 1-2: a left strip from t1's corner 2 (vertex 3). The
      // second group writes only the changed diffuse; CnkNull pads to even size.
      {"default vertex type", 0x40000001, kTextureList,
       "\tCnkM_DAS( FBS_SA|FBD_ISA ), 6,\n\tMDiff( 255, 204, 153, 102 ),\n\tMAmbi( 0, 0, 0, 0 ),\n"
       "\tMSpec( 5, 255, 255, 255 ),\n"
       "\tCnkT_TID( 0x0|FDA_100 ), _TID( FFM_BF, 0 ),\n"
       "\tCnkS_UVN( 0x0 ), 14, _NB( UFO_0, 1 ),\n"
       "\tStripL(4),  3, \tUvn( 128, 0 ),2, \tUvn( 0, 0 ),1, \tUvn( 128, 256 ),0, \tUvn( 0, 256 ),\n"
       "\tCnkM_D( FBS_SA|FBD_ISA ), 2,\n\tMDiff( 255, 51, 51, 51 ),\n"
       "\tCnkS( 0x0 ), 6, _NB( UFO_0, 1 ),\n\tStripL(3),  1, 4, 3, \n\tCnkNull(),\n",
       "CnkV_VN(0, 31)", "NORM( 0x00000000, 0x00000000, 0x3f800000 )"},
      // -VNX -co3: packed normals (511 * 1.0 = 0x1ff in z); the volume mode
      // writes no material or texture chunk and every triangle as listed.
      {"packed normals, volume triangles", 0x24000001, "",
       "\tCnkO_P3( 0x0 ), 8, _NB( UFO_0, 2 ),\n\t0, 1, 2,\n\t2, 1, 3,\n\tCnkNull(),\n"
       "\tCnkO_P3( 0x0 ), 4, _NB( UFO_0, 1 ),\n\t1, 4, 3,\n",
       "CnkV_VNX(0, 21)", "NORM32( 0x0, 0x0, 0x1ff )"},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.what);
    EXPECT_EQ(Convert(c.chunkFlags, 0x38000000, ".vka"),
              std::string(kHead) + c.textureList + kFirstObject + "PLIST      strip_box_box[]\nSTART\n" + c.strips + "\tCnkEnd()\nEND\n\n" +
                  VertexList(c.vertexHead, c.normal) + kTail);
  }
}

// Little-endian words of an expected binary file.
struct Bytes {
  std::string s;
  Bytes &u8(uint32_t v) { return s.push_back(static_cast<char>(v & 0xFF)), *this; }
  Bytes &u16(uint32_t v) { return u8(v).u8(v >> 8); }
  Bytes &u32(uint32_t v) { return u16(v).u16(v >> 16); }
  Bytes &f32(float f) { return u32(std::bit_cast<uint32_t>(f)); }
  Bytes &text(const char *t) { return s += t, *this; }
};

// The same model with -bin: the VKTL chunk, then one VKCM chunk (object
// record, strip list, vertex list, model record, each starting 4-aligned),
// each with its POF0 chunk.
TEST_F(ChunkExpected, BinaryDefaultVertexType) {
  Bytes e;
  e.text("VKTL").u32(28);
  e.u32(8).u32(1);                               // 0: TextureList at 8, TextureNum
  e.u32(20).u32(0).u32(0);                       // 8: the name at 20, same-name word, bank
  e.text("wood").u32(0);                         // 20: "wood", its zero, padding to 28
  e.text("POF0").u32(4).u8(0x40).u8(0x42).u16(0);  // pointers at 0 and 8
  e.text("VKCM").u32(288);
  e.u32(0x17).u32(264);                          // 0: EvalFlags, CNKModel at 264
  e.f32(0).f32(0).f32(0).u32(0).u32(0).u32(0);   // OPosition, OAngle
  e.f32(1).f32(1).f32(1).u32(0).u32(0);          // OScale, Child, Sibling
  e.u16(0x2517).u16(6);                          // 52: CnkM_DAS | FBS_SA | FBD_ISA
  e.u32(0xFFCC9966).u32(0).u32(0x05FFFFFF);      // diffuse, ambient, exponent 5 + specular
  e.u16(0x0408).u16(0x4000);                     // CnkT_TID | FDA_100; FFM_BF, texture 0
  e.u16(0x0041).u16(14).u16(1).u16(4);           // CnkS_UVN, size, UFO_0 | 1 strip, StripL(4)
  e.u16(3).u16(128).u16(0).u16(2).u16(0).u16(0).u16(1).u16(128).u16(256).u16(0).u16(0).u16(256);
  e.u16(0x2511).u16(2).u32(0xFF333333);          // CnkM_D
  e.u16(0x0040).u16(6).u16(1).u16(3).u16(1).u16(4).u16(3).u16(0);  // CnkS, StripL(3), CnkNull
  e.u16(0x00FF).u16(0);                          // CnkEnd at 128, then 4-alignment
  e.u32(0x001F0029).u32(5 << 16);                // 132: CnkV_VN size 31; OffnbIdx(0, 5)
  for (const auto &p : kPositions) e.f32(p[0]).f32(p[1]).f32(p[2]).f32(0).f32(0).f32(1);
  e.u32(0xFF);                                   // CnkEnd
  e.u32(132).u32(52).f32(1.0f).f32(0.5f).f32(0).f32(1.0f);  // 264: model record
  // Pointers at 4, 264 and 268: steps of 1, 65 and 1 words.
  e.text("POF0").u32(4).u8(0x41).u8(0x80).u8(0x41).u8(0x41);
  EXPECT_EQ(Convert(0x40000001, 0x38000001, ".vk"), e.s);
}

// The polygon list of "box" under options and materials: chunk lines that
// appear in the file and one that does not.
TEST_F(ChunkExpected, MaterialAndTextureChunksByOption) {
  struct Case {
    const char *what, *woodName;
    uint32_t outputFlags, chunkFlags;
    std::vector<std::string> present;
    const char *absent = nullptr;
    bool empty = false;
  };
  const std::string kTid = "\tCnkT_TID( 0x0|FDA_100 ), _TID( FFM_BF, 0 ),\n";
  const Case cases[] = {
      {"-dma: no material chunk, the texture chunk stays", "wood", 0, 0x8000, {kTid, "\tCnkS_UVN( 0x0 )"}, "CnkM_"},
      {"-delmat: the textured group keeps only its texture; the next group writes the full chunk", "wood", 0,
       0x10000, {kTid, "\tCnkM_DAS( FBS_SA|FBD_ISA ), 6,\n\tMDiff( 255, 51, 51, 51 ),"}, "MDiff( 255, 204"},
      {"environment mapping drops the UV", "Ewood", 0, 0, {"\tCnkS( FST_ENV ), 6, _NB( UFO_0, 1 ),\n"}, "Uvn("},
      {"-euv keeps the UV of an environment-mapped group", "Ewood", 0, 0x1000, {"\tCnkS_UVN( FST_ENV ), 14,"}},
      {"-nodiffuse: a textured group's diffuse is white", "wood", 0x80000000, 0,
       {"\tMDiff( 255, 255, 255, 255 ),\n"}, "MDiff( 255, 204"},
      {"-delambi: no ambient part", "wood", 0, 0x100,
       {"\tCnkM_DS( FBS_SA|FBD_ISA ), 4,\n", "\tCnkS_UVN( FST_IA ), 14,", "\tCnkS( FST_IA ), 6,"}, "MAmbi"},
      {"-uvh with the tags D and Na", "DNawood", 0, 0x4000,
       {"\tCnkM_DS( FBS_SA|FBD_ISA ), 4,\n", "\tCnkS_UVH( FST_IA|FST_DB ), 14,", "Uvh( 512, 0 )"}},
      {"the default material", nullptr, 0, 0,
       {"\tCnkM_DAS( FBS_SA|FBD_ISA ), 6,\n\tMDiff( 191, 191, 191, 191 ),\n\tMAmbi( 0, 0, 0, 0 ),\n"
        "\tMSpec( 5, 255, 255, 255 ),\n\tCnkS( 0x0 ), 8, _NB( UFO_0, 1 ),\n"},
       "CnkT_TID"},
      {"a mesh without vertices keeps its vertex chunk head (size 1)", nullptr, 0, 0,
       {"START\n\tCnkEnd()\nEND\n\nVLIST      vertex_box_box[]\nSTART\n\tCnkV_VN(0, 1),\n\tOffnbIdx(0, 0),\n"
        "\tCnkEnd()\nEND\n"}, nullptr, true},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.what);
    const std::string text =
        Convert(0x40000001 | c.chunkFlags, 0x38000000 | c.outputFlags, ".vka", BoxScene(c.woodName, c.empty));
    for (const std::string &line : c.present) EXPECT_NE(text.find(line), std::string::npos) << line << text;
    EXPECT_TRUE(!c.absent || text.find(c.absent) == std::string::npos) << c.absent << text;
  }
}

// Normals and UVs outside what their fields hold are clamped, ASCII and
// binary alike, with one warning per kind and run naming the object.
TEST_F(ChunkExpected, ClampedNormalsAndUvs) {
  const float kNan = std::numeric_limits<float>::quiet_NaN();
  const std::string kNormals =
      "\n##### Warning : object_box_box has normals outside [-1, 1]; they are clamped to [-1, 1] for packing\n";
  const std::string kUvs =
      "\n##### Warning : object_box_box has UVs outside the 16-bit range; they are clamped to -32768 .. 32767\n";
  struct Case {
    const char *what;
    uint32_t outputFlags, chunkFlags;
    std::vector<std::string> present;  // in the ASCII file
    std::vector<std::string> binary;   // little-endian words in the binary file
    std::string warnings;
  };
  auto words = [](std::initializer_list<uint32_t> values, int size) {
    std::string s;
    for (uint32_t v : values)
      for (int b = 0; b < size; ++b) s.push_back(static_cast<char>(v >> (8 * b)));
    return s;
  };
  const Case cases[] = {
      // Vertex 0 (1.5, -1.5, 0.5) and vertex 3 (nan, 3, -7): one warning.
      {"-VNX", 0, 0x20000001,
       {"\tNORM32( 0x1ff, 0x201, 0xff ),\n", "\tNORM32( 0x0, 0x1ff, 0x201 ),\n"},
       {words({0x1FFu << 20 | 0x201u << 10 | 0xFF}, 4), words({0x1FFu << 10 | 0x201}, 4)}, kNormals},
      // Corner normals of t0 (2, 0, -3): trunc(+-1 x 32767) in binary.
      {"-pvn", 0x4000, 0x00000001, {"Pvn( 1.000000, 0.000000, -1.000000 )"},
       {words({0x7FFF, 0, 0x8001}, 2)}, kNormals},
      // Corner 0 of t0 (vertex 0) at u 200, v -200; corner 1 (vertex 1) at u -200:
      // 51200 and (1 + 200) x 256 = 51456 clamp to 32767, -51200 to -32768.
      {"UVN", 0, 0x40000001, {"0, \tUvn( 32767, 32767 ),1, \tUvn( -32768, 256 ),"},
       {words({0, 0x7FFF, 0x7FFF, 1, 0x8000, 256}, 2)}, kUvs},
      // u 0.5 x 1024 fits; u 40 x 1024 = 40960 does not.
      {"UVH", 0, 0x40004001, {"3, \tUvh( 32767, 0 ),"}, {words({3, 0x7FFF, 0}, 2)}, kUvs},
      {"both kinds", 0x4000, 0x00000001, {"Pvn( 1.000000, 0.000000, -1.000000 )", "Uvn( 32767, 32767 )"}, {},
       kUvs + kNormals},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.what);
    for (bool binary : {false, true}) {
      ScObject *scene = BoxScene();
      ScMesh *mesh = scene->root->mesh;
      ScPolyNode *t0 = mesh->polygons[0].corners, *t1 = mesh->polygons[1].corners;
      const float v0[3] = {1.5f, -1.5f, 0.5f}, v3[3] = {kNan, 3.0f, -7.0f}, corner[3] = {2.0f, 0.0f, -3.0f};
      std::memcpy(mesh->vertices[0].normal, v0, sizeof v0), std::memcpy(mesh->vertices[3].normal, v3, sizeof v3);
      for (int k = 0; k < 3; ++k) std::memcpy(t0[k].normal, corner, sizeof corner);
      if (c.what == std::string("UVH")) {
        t1[2].u = 40.0f;  // vertex 3
      } else if (c.what != std::string("-VNX") && c.what != std::string("-pvn")) {
        t0[0].u = 200.0f, t0[0].v = -200.0f, t0[1].u = -200.0f;
      }
      vktest::Capture warnings(WarningStream, SetWarningStream);
      const std::string file =
          Convert(c.chunkFlags, 0x38000000 | c.outputFlags | binary, binary ? ".vk" : ".vka", scene);
      EXPECT_EQ(warnings.Text(), c.warnings);
      if (binary) {
        for (const std::string &piece : c.binary) EXPECT_NE(file.find(piece), std::string::npos);
      } else {
        for (const std::string &line : c.present) EXPECT_NE(file.find(line), std::string::npos) << line << file;
      }
    }
  }
}

// Texture chunks hold 13-bit ids: a scene using more than 8191 textures (a
// file name in a palette bank) is refused before anything is written.
TEST_F(ChunkExpected, MoreThan8191TexturesAreRefused) {
  struct Case {
    const char *what;
    int materials;
    bool shareLast;  // the last material uses the first one's texture, in another bank when `otherBank`
    bool otherBank;
    bool fits;
  };
  const Case cases[] = {
      {"8191 textures", 8191, false, false, true},
      {"8192 textures", 8192, false, false, false},
      {"8192 materials, 8191 textures", 8192, true, false, true},
      {"8192 materials, the same file in two banks", 8192, true, true, false},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.what);
    ScObject *scene = BoxScene(nullptr);
    ScModel *model = scene->root;
    model->materials = ScMaterialsAlloc(c.materials);
    model->nbMaterial = static_cast<uint16_t>(c.materials);
    int k = 0;
    for (ScMaterials *m = model->materials; m; m = m->next, ++k) {
      const bool shared = c.shareLast && k == c.materials - 1;
      m->nbTexture = 1;
      m->textures = ScTextureAlloc(1);
      m->textures->picname = ScVStrdup(("t" + std::to_string(shared ? 0 : k) + ".bmp").c_str());
      m->bank = shared && c.otherBank ? 3 : -1;
    }
    vktest::Capture errors(ErrorStream, SetErrorStream);
    const VKStatus status = VKSceneFitsChunkModel(scene);
    EXPECT_EQ(status.ok(), c.fits);
    EXPECT_EQ(errors.Text(),
              c.fits ? "" : "\n##### Error : The model uses 8192 textures; a Chunk model holds at most 8191\n");
  }
}

}  // namespace
