// Byte-exact output of a small model, worked out by hand: one object "box"
// of five vertices; a textured group (two triangles that join into one
// strip) and an untextured group (one triangle).
//
//   v2 ---- v3
//   |  t0 /  |  .  t2
//   |   / t1 |     .
//   v0 ---- v1 ---- v4        t0 = (0,1,2), t1 = (2,1,3): material "wood"
//                             t2 = (1,4,3): material "stone"
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "chunk/chunk_test_util.h"
#include "frontend/console.h"
#include "scene/memory.h"
#include "support/test_support.h"

namespace {

using chunktest::RunOptions;
using chunktest::TestTriangle;

// `woodName` names the textured material; null leaves the object without
// materials.
ScObject *BoxScene(const char *woodName = "wood") {
  // UV: u = x / 2, v = y (the writer prints trunc(u * 256), trunc((1 - v) * 256)).
  const std::vector<TestTriangle> triangles = {
      {{{0, 0.0f, 0.0f}, {1, 0.5f, 0.0f}, {2, 0.0f, 1.0f}}, 0},
      {{{2, 0.0f, 1.0f}, {1, 0.5f, 0.0f}, {3, 0.5f, 1.0f}}, 0},
      {{{1, 0.5f, 0.0f}, {4, 1.0f, 0.0f}, {3, 0.5f, 1.0f}}, 1},
  };
  std::vector<chunktest::TestMaterial> materials;
  if (woodName)
    materials = {{woodName, {0.8f, 0.6f, 0.4f, 1.0f}, {1, 1, 1, 1}, 8.0f, "wood.bmp"},
                 {"stone", {0.2f, 0.2f, 0.2f, 1.0f}, {1, 1, 1, 1}, 8.0f, nullptr}};
  return chunktest::MakeScene("box", {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {1, 1, 0}, {2, 0, 0}}, triangles,
                              materials);
}

class ChunkExpected : public ::testing::Test {
 protected:
  void SetUp() override {
    ScMallocTabInit();
    SetInfoStream(nullptr);
    SetMessageStream(nullptr);
  }
  void TearDown() override {
    ScFreeAll();
    SetInfoStream(stderr);
    SetMessageStream(stderr);
  }
  std::string Convert(const RunOptions &options, const char *suffix) {
    const std::string name = dir_.file("box.vka");
    EXPECT_EQ(chunktest::RunWriter(BoxScene(), options, name), 1);
    const std::string written = dir_.file(std::string("box") + suffix);
    EXPECT_FALSE(vktest::Exists(written + ".tmp~"));
    return vktest::ReadFile(written);
  }
  vktest::ScratchDir dir_;
};

// The parts of the file around the object's blocks.
const char kHead[] =
    "/* VKA 0.86alpha1 VorkaAsciiDataMix CnkModel (VKA) */\n"
    "\n"
    "/* ROOT OBJECT : object_box_box n(1) d(1) */\n"
    "/* TEXLIST     : texlist_box n(1) */\n"
    "\n"
    "\nCNKOBJECT_START\n\n";
const char kTail[] =
    "CNKMODEL   model_box_box[]\n"
    "START\n"
    "VList      vertex_box_box,\n"
    "PList      strip_box_box,\n"
    "Center       1.000000F,  0.500000F,  0.000000F,\n"
    "Radius       1.000000F,\n"
    "END\n\n"
    "CNKOBJECT  object_box_box[]\n"
    "START\n"
    "EvalFlags ( 0x00000017 ),\n"
    "CNKModel   model_box_box,\n"
    "OPosition  (  0.000000F,  0.000000F,  0.000000F ),\n"
    "OAngle     (  0.000000F,  0.000000F,  0.000000F ),\n"
    "OScale     (  1.000000F,  1.000000F,  1.000000F ),\n"
    "Child       NULL,\n"
    "Sibling     NULL,\n"
    "END\n\n"
    "CNKOBJECT_END\n\n\n"
    "DEFAULT_START\n\n"
    "#ifndef DEFAULT_OBJECT_NAME\n"
    "#define DEFAULT_OBJECT_NAME object_box_box\n"
    "#endif\n"
    "#ifndef DEFAULT_TEXLIST_NAME\n"
    "#define DEFAULT_TEXLIST_NAME texlist_box\n"
    "#endif\n"
    "\nDEFAULT_END\n\n";

// Seeded by t1 (equal keys: the later triangle sorts first), joined with t0
// across edge 1-2: a left strip starting at t1's corner 2 (vertex 3).
const char kStripsDefault[] =
    "PLIST      strip_box_box[]\n"
    "START\n"
    "\tCnkM_DAS( FBS_SA|FBD_ISA ), 6,\n"
    "\tMDiff( 255, 204, 153, 102 ),\n"
    "\tMAmbi( 0, 0, 0, 0 ),\n"
    "\tMSpec( 5, 255, 255, 255 ),\n"
    "\tCnkT_TID( 0x0|FDA_100 ), _TID( FFM_BF, 0 ),\n"
    "\tCnkS_UVN( 0x0 ), 14, _NB( UFO_0, 1 ),\n"
    "\tStripL(4),  3, \tUvn( 128, 0 ),2, \tUvn( 0, 0 ),1, \tUvn( 128, 256 ),0, \tUvn( 0, 256 ),\n"
    "\tCnkM_D( FBS_SA|FBD_ISA ), 2,\n"
    "\tMDiff( 255, 51, 51, 51 ),\n"
    "\tCnkS( 0x0 ), 6, _NB( UFO_0, 1 ),\n"
    "\tStripL(3),  1, 4, 3, \n"
    "\tCnkNull(),\n"
    "\tCnkEnd()\n"
    "END\n\n";

TEST_F(ChunkExpected, AsciiDefaultVertexTypeWithTexturedAndUntexturedGroups) {
  const std::string expected = std::string(kHead) + kStripsDefault +
                               "VLIST      vertex_box_box[]\n"
                               "START\n"
                               "\tCnkV_VN(0, 31),\n"
                               "\tOffnbIdx(0, 5),\n"
                               "\tVERT( 0x00000000, 0x00000000, 0x00000000 ),\n"
                               "\tNORM( 0x00000000, 0x00000000, 0x3f800000 ),\n"
                               "\tVERT( 0x3f800000, 0x00000000, 0x00000000 ),\n"
                               "\tNORM( 0x00000000, 0x00000000, 0x3f800000 ),\n"
                               "\tVERT( 0x00000000, 0x3f800000, 0x00000000 ),\n"
                               "\tNORM( 0x00000000, 0x00000000, 0x3f800000 ),\n"
                               "\tVERT( 0x3f800000, 0x3f800000, 0x00000000 ),\n"
                               "\tNORM( 0x00000000, 0x00000000, 0x3f800000 ),\n"
                               "\tVERT( 0x40000000, 0x00000000, 0x00000000 ),\n"
                               "\tNORM( 0x00000000, 0x00000000, 0x3f800000 ),\n"
                               "\tCnkEnd()\n"
                               "END\n\n" +
                               kTail;
  EXPECT_EQ(Convert(RunOptions{}, ".vka"), expected);
}

// -VNX -co3: packed normals (511 * 1.0 = 0x1ff in z); the volume mode writes
// no material or texture chunk and every triangle in its own corner order.
TEST_F(ChunkExpected, AsciiPackedNormalsAndVolumeTriangles) {
  RunOptions options;
  options.chunkFlags = 0x20000001 | 0x04000000;
  std::string vertices;
  const char *positions[5] = {"0x00000000, 0x00000000", "0x3f800000, 0x00000000", "0x00000000, 0x3f800000",
                              "0x3f800000, 0x3f800000", "0x40000000, 0x00000000"};
  for (const char *p : positions)
    vertices += std::string("\tVERT( ") + p + ", 0x00000000 ),\n\tNORM32( 0x0, 0x0, 0x1ff ),\n";
  const std::string expected = std::string(kHead) +
                               "PLIST      strip_box_box[]\n"
                               "START\n"
                               "\tCnkO_P3( 0x0 ), 8, _NB( UFO_0, 2 ),\n"
                               "\t0, 1, 2,\n"
                               "\t2, 1, 3,\n"
                               "\tCnkNull(),\n"
                               "\tCnkO_P3( 0x0 ), 4, _NB( UFO_0, 1 ),\n"
                               "\t1, 4, 3,\n"
                               "\tCnkEnd()\n"
                               "END\n\n"
                               "VLIST      vertex_box_box[]\n"
                               "START\n"
                               "\tCnkV_VNX(0, 21),\n"
                               "\tOffnbIdx(0, 5),\n" +
                               vertices +
                               "\tCnkEnd()\n"
                               "END\n\n" +
                               kTail;
  EXPECT_EQ(Convert(options, ".vka"), expected);
}

// Little-endian words of the expected binary file.
class Bytes {
 public:
  Bytes &u8(uint32_t v) {
    data_.push_back(static_cast<char>(v & 0xFF));
    return *this;
  }
  Bytes &u16(uint32_t v) { return u8(v).u8(v >> 8); }
  Bytes &u32(uint32_t v) { return u16(v).u16(v >> 16); }
  Bytes &f32(float f) {
    uint32_t v;
    std::memcpy(&v, &f, 4);
    return u32(v);
  }
  Bytes &text(const char *t) {
    data_ += t;
    return *this;
  }
  const std::string &str() const { return data_; }

 private:
  std::string data_;
};

// The same model with -bin: one VKCM chunk (object record, strip list,
// vertex list, model record, each starting 4-aligned) and its POF0 chunk.
TEST_F(ChunkExpected, BinaryDefaultVertexType) {
  RunOptions options;
  options.outputFlags |= 0x01;
  const float positions[5][3] = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {1, 1, 0}, {2, 0, 0}};
  Bytes e;
  e.text("VKCM").u32(288);
  // 0: object record; the model record is at 264.
  e.u32(0x17).u32(264);                          // EvalFlags, CNKModel
  e.f32(0).f32(0).f32(0);                        // OPosition
  e.u32(0).u32(0).u32(0);                        // OAngle
  e.f32(1).f32(1).f32(1);                        // OScale
  e.u32(0).u32(0);                               // Child, Sibling
  // 52: strip list.
  e.u16(0x2517).u16(6);                          // CnkM_DAS | FBS_SA | FBD_ISA
  e.u32(0xFFCC9966).u32(0).u32(0x05FFFFFF);      // diffuse, ambient, exponent 5 + specular
  e.u16(0x0408).u16(0x4000);                     // CnkT_TID | FDA_100; FFM_BF, texture 0
  e.u16(0x0041).u16(14).u16(1);                  // CnkS_UVN, size, UFO_0 | 1 strip
  e.u16(4);                                      // StripL(4)
  e.u16(3).u16(128).u16(0).u16(2).u16(0).u16(0).u16(1).u16(128).u16(256).u16(0).u16(0).u16(256);
  e.u16(0x2511).u16(2).u32(0xFF333333);          // CnkM_D
  e.u16(0x0040).u16(6).u16(1).u16(3).u16(1).u16(4).u16(3).u16(0);  // CnkS, StripL(3), CnkNull
  e.u16(0x00FF).u16(0);                          // CnkEnd at 128, then 4-alignment
  // 132: vertex list.
  e.u32(0x001F0029).u32(5 << 16);                // CnkV_VN size 31; OffnbIdx(0, 5)
  for (const auto &p : positions) e.f32(p[0]).f32(p[1]).f32(p[2]).f32(0).f32(0).f32(1);
  e.u32(0xFF);                                   // CnkEnd
  // 264: model record.
  e.u32(132).u32(52).f32(1.0f).f32(0.5f).f32(0).f32(1.0f);
  // Pointers at 4, 264 and 268: steps of 1, 65 and 1 words.
  e.text("POF0").u32(4).u8(0x41).u8(0x80).u8(0x41).u8(0x41);
  EXPECT_EQ(Convert(options, ".vk"), e.str());
}

}  // namespace

namespace {

// The polygon list of "box" under options and materials: which chunk lines
// appear in it and which do not.
TEST_F(ChunkExpected, MaterialAndTextureChunksByOption) {
  struct Case {
    const char *what;
    const char *firstName;  // name (with tags) of the textured material; null: no materials
    uint32_t outputFlags;
    uint32_t chunkFlags;
    std::vector<std::string> present;
    std::vector<std::string> absent;
  };
  const std::string kTid = "\tCnkT_TID( 0x0|FDA_100 ), _TID( FFM_BF, 0 ),\n";
  const Case cases[] = {
      {"-dma: no material chunk, the texture chunk stays", "wood", 0, 0x8000, {kTid, "\tCnkS_UVN( 0x0 )"},
       {"CnkM_"}},
      {"-delmat: the textured group keeps only its texture; the next group writes the full chunk", "wood", 0,
       0x10000, {kTid, "\tCnkM_DAS( FBS_SA|FBD_ISA ), 6,\n\tMDiff( 255, 51, 51, 51 ),"}, {"MDiff( 255, 204"}},
      {"environment mapping drops the UV", "Ewood", 0, 0, {"\tCnkS( FST_ENV ), 6, _NB( UFO_0, 1 ),\n"},
       {"Uvn("}},
      {"-euv keeps the UV of an environment-mapped group", "Ewood", 0, 0x1000,
       {"\tCnkS_UVN( FST_ENV ), 14,"}, {}},
      {"-nodiffuse: a textured group's diffuse is white", "wood", 0x80000000, 0,
       {"\tMDiff( 255, 255, 255, 255 ),\n"}, {"MDiff( 255, 204"}},
      {"-delambi: no ambient part", "wood", 0, 0x100,
       {"\tCnkM_DS( FBS_SA|FBD_ISA ), 4,\n", "\tCnkS_UVN( FST_IA ), 14,", "\tCnkS( FST_IA ), 6,"}, {"MAmbi"}},
      {"-uvh with the tags D and Na", "DNawood", 0, 0x4000,
       {"\tCnkM_DS( FBS_SA|FBD_ISA ), 4,\n", "\tCnkS_UVH( FST_IA|FST_DB ), 14,", "Uvh( 512, 0 )"}, {}},
      {"the default material", nullptr, 0, 0,
       {"\tCnkM_DAS( FBS_SA|FBD_ISA ), 6,\n\tMDiff( 191, 191, 191, 191 ),\n\tMAmbi( 0, 0, 0, 0 ),\n"
        "\tMSpec( 5, 255, 255, 255 ),\n\tCnkS( 0x0 ), 8, _NB( UFO_0, 1 ),\n"},
       {"CnkT_TID"}},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.what);
    ScObject *scene = BoxScene(c.firstName);
    RunOptions options;
    options.outputFlags |= c.outputFlags;
    options.chunkFlags |= c.chunkFlags;
    const std::string name = dir_.file("box.vka");
    ASSERT_EQ(chunktest::RunWriter(scene, options, name), 1);
    const std::string text = vktest::ReadFile(name);
    const size_t start = text.find("PLIST");
    const std::string strips = text.substr(start, text.find("VLIST") - start);
    for (const std::string &line : c.present) EXPECT_NE(strips.find(line), std::string::npos) << line << strips;
    for (const std::string &line : c.absent) EXPECT_EQ(strips.find(line), std::string::npos) << line << strips;
    ScFreeAll();
    ScMallocTabInit();
  }
}

// A mesh without vertices still gets its vertex chunk head (size 1).
TEST_F(ChunkExpected, EmptyMeshKeepsItsVertexChunkHead) {
  const std::string name = dir_.file("box.vka");
  ASSERT_EQ(chunktest::RunWriter(chunktest::MakeScene("box", {}, {}, {}), RunOptions{}, name), 1);
  const std::string text = vktest::ReadFile(name);
  EXPECT_NE(text.find("START\n\tCnkEnd()\nEND\n\nVLIST      vertex_box_box[]\nSTART\n\tCnkV_VN(0, 1),\n"
                      "\tOffnbIdx(0, 0),\n\tCnkEnd()\nEND\n"),
            std::string::npos)
      << text;
}

}  // namespace
