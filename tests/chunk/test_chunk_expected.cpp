// Byte-exact output of a small model, worked out by hand: object "box" of
// five vertices, a textured group (two triangles joining into one strip)
// and an untextured group (one triangle).
//
//   v2 ---- v3
//   |  t0 /  |  .  t2         t0 = (0,1,2), t1 = (2,1,3): material "wood"
//   |   / t1 |     .          t2 = (1,4,3): material "stone"
//   v0 ---- v1 ---- v4
#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "chunk/chunk_test_util.h"
#include "support/console_capture.h"

namespace {

const std::vector<chunktest::Point> kPositions = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {1, 1, 0}, {2, 0, 0}};

// Every normal (0, 0, 1); UV u = x / 2, v = y, written as trunc(u * 256),
// trunc((1 - v) * 256). `woodName` names the textured material (null: no
// materials); `empty` leaves the mesh without vertices and triangles.
ScObject *BoxScene(const char *woodName = "wood", bool empty = false) {
  ScModel *model = empty ? chunktest::MeshModel("box", {}, {})
                         : chunktest::MeshModel("box", kPositions, {{{0, 1, 2}, 0}, {{2, 1, 3}, 0}, {{1, 4, 3}, 1}});
  if (woodName) chunktest::WoodAndStone(model, woodName);
  return chunktest::SceneOf(model);
}

class ChunkExpected : public chunktest::SceneTest {
 protected:
  // Writes `scene` (default: the box) and returns the file with `suffix`.
  std::string Convert(uint32_t chunkFlags, uint32_t outputFlags, const char *suffix, ScObject *scene = BoxScene()) {
    EXPECT_EQ(chunktest::RunWriter(scene, dir_.file("box.vka"), chunkFlags, outputFlags), 1);
    EXPECT_FALSE(vktest::Exists(dir_.file(std::string("box") + suffix + ".tmp~")));
    return vktest::ReadFile(dir_.file(std::string("box") + suffix));
  }
};

// The ASCII file: head, texture list (outside the volume modes; wood.bmp is
// not found beside the test, so its line shows a fresh information block),
// the polygon list, the vertex list (its chunk head, then per vertex the
// VERT line and `normal`), the model, the object and the DEFAULT block.
std::string AsciiFile(bool textures, const std::string &strips, const char *vertexHead, const char *normal) {
  std::string file =
      "/* VKA 0.86alpha1 VorkaAsciiDataMix CnkModel (VKA) */\n\n/* ROOT OBJECT : object_box_box n(1) d(1) */\n"
      "/* TEXLIST     : texlist_box n(1) */\n\n";
  if (textures)
    file += "TEXTURE_START\n\nTEXTURENAME textures_box[]\nSTART\n"
            "\tTEXN( \"wood\" ),            /* 0 0x0 565 XXXX ?? ?? */\n"
            "END\n\nTEXTURELIST texlist_box\nSTART\nTextureList textures_box,\nTextureNum  1,\nEND\n\n"
            "TEXTURE_END\n\n\n";
  file += "\nCNKOBJECT_START\n\nPLIST      strip_box_box[]\nSTART\n" + strips + "\tCnkEnd()\nEND\n\n" +
          "VLIST      vertex_box_box[]\nSTART\n\t" + vertexHead + ",\n\tOffnbIdx(0, 5),\n";
  for (const char *xy : {"0x00000000, 0x00000000", "0x3f800000, 0x00000000", "0x00000000, 0x3f800000",
                         "0x3f800000, 0x3f800000", "0x40000000, 0x00000000"})
    file += std::string("\tVERT( ") + xy + ", 0x00000000 ),\n\t" + normal + ",\n";
  return file +
         "\tCnkEnd()\nEND\n\nCNKMODEL   model_box_box[]\nSTART\nVList      vertex_box_box,\nPList      strip_box_box,\n"
         "Center       1.000000F,  0.500000F,  0.000000F,\nRadius       1.000000F,\nEND\n\n"
         "CNKOBJECT  object_box_box[]\nSTART\nEvalFlags ( 0x00000017 ),\nCNKModel   model_box_box,\n"
         "OPosition  (  0.000000F,  0.000000F,  0.000000F ),\nOAngle     (  0.000000F,  0.000000F,  0.000000F ),\n"
         "OScale     (  1.000000F,  1.000000F,  1.000000F ),\nChild       NULL,\nSibling     NULL,\nEND\n\n"
         "CNKOBJECT_END\n\n\nDEFAULT_START\n\n"
         "#ifndef DEFAULT_OBJECT_NAME\n#define DEFAULT_OBJECT_NAME object_box_box\n#endif\n"
         "#ifndef DEFAULT_TEXLIST_NAME\n#define DEFAULT_TEXLIST_NAME texlist_box\n#endif\n\nDEFAULT_END\n\n";
}

TEST_F(ChunkExpected, AsciiModels) {
  // Seeded by t1 (equal keys: the later triangle sorts first), joined with
  // t0 across edge 1-2: a left strip from t1's corner 2 (vertex 3). The
  // second group writes only the changed diffuse; CnkNull pads to even size.
  EXPECT_EQ(Convert(0x40000001, 0x38000000, ".vka"),
            AsciiFile(true,
                      "\tCnkM_DAS( FBS_SA|FBD_ISA ), 6,\n\tMDiff( 255, 204, 153, 102 ),\n\tMAmbi( 0, 0, 0, 0 ),\n"
                      "\tMSpec( 5, 255, 255, 255 ),\n\tCnkT_TID( 0x0|FDA_100 ), _TID( FFM_BF, 0 ),\n"
                      "\tCnkS_UVN( 0x0 ), 14, _NB( UFO_0, 1 ),\n"
                      "\tStripL(4),  3, \tUvn( 128, 0 ),2, \tUvn( 0, 0 ),1, \tUvn( 128, 256 ),0, \tUvn( 0, 256 ),\n"
                      "\tCnkM_D( FBS_SA|FBD_ISA ), 2,\n\tMDiff( 255, 51, 51, 51 ),\n"
                      "\tCnkS( 0x0 ), 6, _NB( UFO_0, 1 ),\n\tStripL(3),  1, 4, 3, \n\tCnkNull(),\n",
                      "CnkV_VN(0, 31)", "NORM( 0x00000000, 0x00000000, 0x3f800000 )"));
  // -VNX -co3: packed normals (511 * 1.0 = 0x1ff in z); the volume mode
  // writes no material or texture chunk and every triangle as listed.
  EXPECT_EQ(Convert(0x24000001, 0x38000000, ".vka"),
            AsciiFile(false,
                      "\tCnkO_P3( 0x0 ), 8, _NB( UFO_0, 2 ),\n\t0, 1, 2,\n\t2, 1, 3,\n\tCnkNull(),\n"
                      "\tCnkO_P3( 0x0 ), 4, _NB( UFO_0, 1 ),\n\t1, 4, 3,\n",
                      "CnkV_VNX(0, 21)", "NORM32( 0x0, 0x0, 0x1ff )"));
}

// The same model with -bin: the VKTL chunk, then one VKCM chunk (object
// record, strip list, vertex list, model record, each starting 4-aligned),
// each with its POF0 chunk.
TEST_F(ChunkExpected, BinaryDefaultVertexType) {
  chunktest::Bytes e;
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

// The polygon list of "box" under options and materials (those the golden
// runs do not meet): chunk lines that appear in the file and one that does not.
TEST_F(ChunkExpected, MaterialAndTextureChunksByOption) {
  const struct {
    const char *what, *woodName;
    uint32_t chunkFlags;
    std::vector<std::string> present;
    const char *absent;
    bool empty = false;
  } cases[] = {
      {"environment mapping drops the UV", "Ewood", 0, {"\tCnkS( FST_ENV ), 6, _NB( UFO_0, 1 ),\n"}, "Uvn("},
      {"-euv keeps the UV of an environment-mapped group", "Ewood", 0x1000, {"\tCnkS_UVN( FST_ENV ), 14,"}, "CnkS( FST"},
      {"the default material", nullptr, 0,
       {"\tCnkM_DAS( FBS_SA|FBD_ISA ), 6,\n\tMDiff( 191, 191, 191, 191 ),\n\tMAmbi( 0, 0, 0, 0 ),\n"
        "\tMSpec( 5, 255, 255, 255 ),\n\tCnkS( 0x0 ), 8, _NB( UFO_0, 1 ),\n"},
       "CnkT_TID"},
      {"a mesh without vertices keeps its vertex chunk head (size 1)", nullptr, 0,
       {"START\n\tCnkEnd()\nEND\n\nVLIST      vertex_box_box[]\nSTART\n\tCnkV_VN(0, 1),\n\tOffnbIdx(0, 0),\n"
        "\tCnkEnd()\nEND\n"}, "VERT(", true},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    const std::string text = Convert(0x40000001 | c.chunkFlags, 0x38000000, ".vka", BoxScene(c.woodName, c.empty));
    for (const std::string &line : c.present) EXPECT_NE(text.find(line), std::string::npos) << line << text;
    EXPECT_EQ(text.find(c.absent), std::string::npos) << c.absent << text;
  }
}

// Normals and UVs outside what their fields hold are clamped, ASCII and
// binary alike, with one warning per kind and run naming the object.
TEST_F(ChunkExpected, ClampedNormalsAndUvs) {
  const std::string kNormals =
      "\n##### Warning : object_box_box has normals outside [-1, 1]; they are clamped to [-1, 1] for packing\n";
  const std::string kUvs =
      "\n##### Warning : object_box_box has UVs outside the 16-bit range; they are clamped to -32768 .. 32767\n";
  enum Edit { kNormalsOnly, kWideUvs, kUvh };
  auto le = [](std::initializer_list<uint32_t> values, int size) {
    chunktest::Bytes b;
    for (uint32_t v : values) size == 2 ? b.u16(v) : b.u32(v);
    return b.s;
  };
  const struct {
    const char *what;
    uint32_t outputFlags, chunkFlags;
    Edit edit;
    std::vector<std::string> present;  // in the ASCII file
    std::vector<std::string> binary;   // little-endian words in the binary file
    std::string warnings;
  } cases[] = {
      // Vertex 0 (1.5, -1.5, 0.5) and vertex 3 (nan, 3, -7): one warning.
      {"-VNX", 0, 0x20000001, kNormalsOnly, {"\tNORM32( 0x1ff, 0x201, 0xff ),\n", "\tNORM32( 0x0, 0x1ff, 0x201 ),\n"},
       {le({0x1FFu << 20 | 0x201u << 10 | 0xFF}, 4), le({0x1FFu << 10 | 0x201}, 4)}, kNormals},
      // Corner normals of t0 (2, 0, -3): trunc(+-1 x 32767) in binary.
      {"-pvn", 0x4000, 0x00000001, kNormalsOnly, {"Pvn( 1.000000, 0.000000, -1.000000 )"},
       {le({0x7FFF, 0, 0x8001}, 2)}, kNormals},
      // Corner 0 of t0 (vertex 0) at u 200, v -200; corner 1 (vertex 1) at u -200:
      // 51200 and (1 + 200) x 256 = 51456 clamp to 32767, -51200 to -32768.
      {"UVN", 0, 0x40000001, kWideUvs, {"0, \tUvn( 32767, 32767 ),1, \tUvn( -32768, 256 ),"},
       {le({0, 0x7FFF, 0x7FFF, 1, 0x8000, 256}, 2)}, kUvs},
      // u 0.5 x 1024 fits; u 40 x 1024 = 40960 (vertex 3 of t1) does not.
      {"UVH", 0, 0x40004001, kUvh, {"3, \tUvh( 32767, 0 ),"}, {le({3, 0x7FFF, 0}, 2)}, kUvs},
      {"both kinds", 0x4000, 0x00000001, kWideUvs, {"Pvn( 1.000000, 0.000000, -1.000000 )", "Uvn( 32767, 32767 )"},
       {}, kUvs + kNormals},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    for (bool binary : {false, true}) {
      ScObject *scene = BoxScene();
      ScMesh *mesh = scene->root->mesh;
      ScPolyNode *t0 = mesh->polygons[0].corners, *t1 = mesh->polygons[1].corners;
      const float nan = std::numeric_limits<float>::quiet_NaN();
      std::copy_n(std::array{1.5f, -1.5f, 0.5f}.begin(), 3, mesh->vertices[0].normal);
      std::copy_n(std::array{nan, 3.0f, -7.0f}.begin(), 3, mesh->vertices[3].normal);
      for (int k = 0; k < 3; ++k) std::copy_n(std::array{2.0f, 0.0f, -3.0f}.begin(), 3, t0[k].normal);
      if (c.edit == kUvh) t1[2].u = 40.0f;
      if (c.edit == kWideUvs) t0[0].u = 200.0f, t0[0].v = -200.0f, t0[1].u = -200.0f;
      vktest::Capture warnings(WarningStream, SetWarningStream);
      const std::string file =
          Convert(c.chunkFlags, 0x38000000 | c.outputFlags | binary, binary ? ".vk" : ".vka", scene);
      EXPECT_EQ(warnings.Text(), c.warnings);
      for (const std::string &piece : binary ? c.binary : c.present)
        EXPECT_NE(file.find(piece), std::string::npos) << piece;
    }
  }
}

// Texture chunks hold 13-bit ids: a scene using more than 8191 textures (a
// file name in a palette bank) is refused before anything is written.
TEST_F(ChunkExpected, MoreThan8191TexturesAreRefused) {
  const struct {
    int materials;
    bool shareLast;  // the last material uses the first one's texture, in another bank when `otherBank`
    bool otherBank, fits;
  } cases[] = {{8191, false, false, true}, {8192, false, false, false}, {8192, true, false, true},
               {8192, true, true, false}};
  for (const auto &c : cases) {
    SCOPED_TRACE(std::to_string(c.materials) + (c.shareLast ? " shared" : "") + (c.otherBank ? " in a bank" : ""));
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
    EXPECT_EQ(VKSceneFitsChunkModel(scene).ok(), c.fits);
    EXPECT_EQ(errors.Text(),
              c.fits ? "" : "\n##### Error : The model uses 8192 textures; a Chunk model holds at most 8191\n");
  }
}

}  // namespace
