// The Chunk-model ASCII reader against words and bytes worked out by hand:
// every vertex line, every polygon chunk, the texture list, the links and
// the binary file; the refusals of malformed files (one error naming the
// file and line, no output, an older output left as it was); comments, line
// ends and files read in blocks. Failures of the output file are tested
// through the driver (tests/frontend).
#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

#include "base/console.h"
#include "binary/chunk_reader.h"
#include "binary/vkprint.h"
#include "support/test_support.h"

namespace {

using vktest::ReadFile;
using vktest::ScratchDir;
using vktest::WriteFile;

std::string LE(std::initializer_list<uint32_t> words, int width = 4) {
  std::string bytes;
  for (uint32_t word : words)
    for (int k = 0; k < width; ++k) bytes.push_back(static_cast<char>(word >> (8 * k) & 0xFF));
  return bytes;
}
uint32_t FloatBits(float value) { return std::bit_cast<uint32_t>(value); }
std::string Chunk(const char *name, const std::string &payload) {
  return std::string(name, 4) + LE({static_cast<uint32_t>(payload.size())}) + payload;
}
std::string Bytes(std::initializer_list<int> values) { return std::string(values.begin(), values.end()); }

VKChunkFile Parse(const std::string &text) {
  VKChunkFile file;
  const VKStatus status = VKParseChunkModel(text, "t.vka", &file);
  EXPECT_TRUE(status.ok()) << status.message;
  return file;
}

constexpr const char *kHead = "/* VKA 0.86alpha1 VorkaAsciiDataMix CnkModel (VKA) */\n\n";

// A model whose strip and vertex lists are given; one object uses it.
std::string OneModel(const std::string &strips, const std::string &vertices) {
  return std::string(kHead) + "CNKOBJECT_START\nPLIST      strip_t_o[]\nSTART\n" + strips +
         "\tCnkEnd()\nEND\n\nVLIST      vertex_t_o[]\nSTART\n" + vertices +
         "\tCnkEnd()\nEND\n\n"
         "CNKMODEL   model_t_o[]\nSTART\nVList      vertex_t_o,\nPList      strip_t_o,\n"
         "Center       0.500000F,  1.000000F,  0.000000F,\nRadius       1.500000F,\nEND\n\n"
         "CNKOBJECT  object_t_o[]\nSTART\nEvalFlags ( 0x00000017 ),\nCNKModel   model_t_o,\n"
         "OPosition  (  0.000000F,  0.000000F,  0.000000F ),\n"
         "OAngle     ( 90.000000F,  0.000000F, -45.000000F ),\n"
         "OScale     (  1.000000F,  1.000000F,  1.000000F ),\nChild       NULL,\nSibling     NULL,\nEND\n\n"
         "CNKOBJECT_END\n\n\nDEFAULT_START\n\n#ifndef DEFAULT_OBJECT_NAME\n"
         "#define DEFAULT_OBJECT_NAME object_t_o\n#endif\n\nDEFAULT_END\n\n";
}

struct VertexCase {
  const char *lines;  // after the head and index lines of a CnkV_UF chunk sized to fit
  std::vector<uint32_t> words;
};

TEST(ChunkReader, VertexLinesGiveTheirWords) {
  const VertexCase cases[] = {
      {"VERT( 0x3f800000, 0x00000000, 0xbf800000 ),", {0x3F800000, 0, 0xBF800000}},
      {"VERT_SH( 0x3f800000, 0x40000000, 0x40400000 ),", {0x3F800000, 0x40000000, 0x40400000, 0x3F800000}},
      {"NORM( 0x00000000, 0x80000000, 0x3f800000 ), /* 0.0, -0.0, 1.0 */", {0, 0x80000000, 0x3F800000}},
      {"NORM_SH( 0x1, 0x2, 0x3 ),", {1, 2, 3, 0}},
      {"NORM32( 0x201, 0x0, 0x1ff ),", {0x201u << 20 | 0x1FF}},  // (-1, 0, 1)
      {"D8888( 255, 128, 64, 1 ),", {0xFF804001}},
      {"UFlags( 0xdeadbeef ),", {0xDEADBEEF}},
      {"NFlags( 17 ),", {17}},
      {"D565S565( 31, 63, 31,  1, 2, 3 ),", {0xFFFF0000u | 1 << 11 | 2 << 5 | 3}},
      {"D4444S565( 15, 1, 2, 3,  31, 0, 1 ),", {0xF1230000u | 31 << 11 | 1}},
      {"D16S16( 0x7fff, 0x10 ),", {0x7FFF0010}},
      {"D16S16( 1, 2 ), // the rest of the line is not read VERT( 1, 2, 3 )", {0x00010002}},
  };
  for (const VertexCase &c : cases) {
    SCOPED_TRACE(c.lines);
    const auto size = static_cast<uint32_t>(1 + c.words.size());
    const std::string list = "\tCnkV_UF(0, " + std::to_string(size) + "),\n\tOffnbIdx(0, 1),\n\t" + c.lines + "\n";
    const VKChunkFile file = Parse(OneModel("", list));
    ASSERT_EQ(file.vertexLists.size(), 1u);
    std::vector<uint32_t> expected = {size << 16 | 0x24, 1u << 16};
    expected.insert(expected.end(), c.words.begin(), c.words.end());
    expected.push_back(0xFF);
    EXPECT_EQ(file.vertexLists[0].words, expected);
  }
  // Two chunks as the writer splits a list, and a chunk whose size covers more
  // than its lines: the words it leaves free are 0.
  const VKChunkFile file = Parse(OneModel("",
                                          "\tCnkV_SH(0, 5),\n\tOffnbIdx(0, 1),\n\tVERT_SH( 0x1, 0x2, 0x3 ),\n"
                                          "\tCnkV(0, 6),\n\tOffnbIdx(1, 1),\n\tVERT( 0x4, 0x5, 0x6 ),\n"));
  EXPECT_EQ(file.vertexLists[0].words, (std::vector<uint32_t>{5u << 16 | 0x20, 1u << 16, 1, 2, 3, 0x3F800000,
                                                               6u << 16 | 0x22, 1u << 16 | 1, 4, 5, 6, 0, 0, 0xFF}));
}

TEST(ChunkReader, PolygonChunksGiveTheirWords) {
  const std::string strips =
      "\tCnkB_BA( FBS_ONE|FBD_ONE ),\n\tCnkB_DA( FDA_250 ),\n\tCnkB_EXP( FEXP_16 ),\n"
      "\tCnkM_DAS( FBS_SA|FBD_ISA ), 6,\n\tMDiff( 255, 191, 128, 64 ),\n\tMAmbi( 0, 1, 2, 3 ),\n"
      "\tMSpec( 6, 255, 255, 255 ),\n"
      "\tCnkM_S( FBS_ZER|FBD_ZER ), 2,\n\tMSpec( 16, 1, 2, 3 ),\n"
      "\tCnkT_TID( FFL_U|FCL_V|FDA_100 ), _TID( FFM_BF|FSS, 3 ),\n"
      "\tCnkT_TID( 0x0| ), _TID( FFM_PS, 0 ),\n"
      // One left strip with UV: 1 + 1 + 3 x 3 = 11 words, made even with CnkNull.
      "\tCnkS_UVN( FST_IS|FST_UA ), 12, _NB( UFO_0, 1 ),\n"
      "\tStripL(3),  0, \tUvn( 0, 256 ),1, \tUvn( 256, 256 ),2, \tUvn( -3, 0 ),\n\tCnkNull(),\n"
      // A right strip with normals and colours.
      "\tCnkS_VN( 0x0 ), 14, _NB( UFO_0, 1 ),\n"
      "\tStripR(3),  4,  Pvn( 1.000000, 0.000000, -1.000000 ), 5,  Pvn( 0.5, -0.5, 0.25 ), "
      "6,  Pvn( 0.000000, 0.000000, 1.000000 ),\n"
      "\tCnkS_D8( FST_ENV ), 12, _NB( UFO_0, 1 ),\n"
      "\tStripL(3),  7,  MDiff( 255, 1, 2, 3 ), 8,  MDiff( 0, 4, 5, 6 ), 9,  MDiff( 1, 1, 1, 1 ), \n\tCnkNull(),\n";
  const VKChunkFile file = Parse(OneModel(strips, ""));
  const std::vector<uint16_t> expected = {
      0x0901, 0x0A02, 0x1003,                                   // blend, depth, exponent
      0x2517, 6, 0x8040, 0xFFBF, 0x0203, 0x0001, 0xFFFF, 0x06FF,  // CnkM_DAS
      0x0014, 2, 0x0203, 0x1001,                                // CnkM_S
      0x9408, 0x6003, 0x0008, 0x0000,                           // CnkT_TID twice
      0x0A41, 12, 1, 3, 0, 0, 256, 1, 256, 256, 2, 0xFFFD, 0, 0,  // CnkS_UVN and its pad
      0x0043, 14, 1, 0xFFFD, 4, 32767, 0, 0x8001, 5, 16383, 0xC001, 8191, 6, 0, 0, 32767,
      0x4046, 12, 1, 3, 7, 0x0203, 0xFF01, 8, 0x0506, 0x0004, 9, 0x0101, 0x0101, 0,
      0x00FF};
  EXPECT_EQ(file.stripLists[0].words, expected);
}

TEST(ChunkReader, VolumeChunksAndUserWords) {
  const std::string strips =
      // Two triangles with one user word each: 1 + 2 x 4 = 9, made even.
      "\tCnkO_P3( 0x0 ), 10, _NB( UFO_1, 2 ),\n\t0, 1, 2,Uf1( 0x11 ),\n\t2, 1, 3,Uf1( 0x12 ),\n\tCnkNull(),\n"
      // A quadrilateral with a polygon colour as two user words.
      "\tCnkO_P4( 0x0 ), 7, _NB( UFO_2, 1 ),\n\t0, 1, 2, 3, MDiff( 255, 10, 20, 30 ),\n"
      // A strip of two triangles with three user words each.
      "\tCnkO_ST( 0x0 ), 12, _NB( UFO_3, 1 ),\n\tStripR(4),  0, 1, 2,Uf3( 0x1, 0x2, 0x3 ),\n\t3,Uf3( 0x4, 0x5, 0x6 ),\n"
      // A strip chunk with two user words per triangle, the offset as a number.
      "\tCnkS( FST_DB ), 8, _NB( 32768, 1 ),\n\tStripL(3),  0, 1, 2,Uf2( 0xffff, 7 ),\n";
  const VKChunkFile file = Parse(OneModel(strips, ""));
  const std::vector<uint16_t> expected = {
      0x0038, 10, 0x4002, 0, 1, 2, 0x11, 2, 1, 3, 0x12, 0,
      0x0039, 7, 0x8001, 0, 1, 2, 3, 0x141E, 0xFF0A,
      0x003A, 12, 0xC001, 0xFFFC, 0, 1, 2, 1, 2, 3, 3, 4, 5, 6,
      0x1040, 8, 0x8001, 3, 0, 1, 2, 0xFFFF, 7, 0,
      0x00FF};
  EXPECT_EQ(file.stripLists[0].words, expected);
}

// A texture section in the layout of the texture-list writer, with an info
// comment, a repeated name with a bank and a TEXN3 line.
constexpr const char *kTextureSection =
    "TEXTURE_START\n\nTEXTURENAME textures_t[]\nSTART\n"
    "\tTEXN( \"wood\" ),            /* 0 64x64 565 TW MIP */\n"
    "\tPTEXN( \"pal\", 0, 3 ),      /* 1 8x8 565 P8 MIP DI */\n"
    "\tPTEXN( \"pal\", 1, 3 ),      /* 2 8x8 565 P8 MIP */\n"
    "\tTEXN3( \"raw\", 0x5, 7 ),    /* 3 0x0 XXXX XXXX ?? ?? */\n"
    "END\n\nTEXTURELIST texlist_t\nSTART\nTextureList textures_t,\nTextureNum  4,\nEND\n\nTEXTURE_END\n\n\n";

// The file of OneModel with the texture section, worked out by hand.
std::string ExpectedFile() {
  // VKTL: list record (entries at 8, count 4), four 12-byte entries, the names.
  std::string textures = LE({8, 4}) + LE({56, 0, 0}) + LE({61, 0, 0x0C000000}) + LE({65, 0x10000, 0x0C000000}) +
                         LE({69, 5, 7}) + std::string("wood\0pal\0pal\0raw\0", 17) + Bytes({0, 0, 0});
  // POF0: the list's pointer at 0, the name pointers 8, 12, 12 and 12 bytes on.
  const std::string texturePointers = Bytes({0x40, 0x42, 0x43, 0x43, 0x43, 0, 0, 0});
  // VKCM: object (52 bytes), strip list at 52 (CnkM_D and CnkEnd, 10 bytes
  // and 2 of padding), vertex list at 64 (one vertex), model record at 88.
  std::string model = LE({0x17, 88, 0, 0, 0, 16384, 0, static_cast<uint32_t>(-8192), FloatBits(1), FloatBits(1),
                          FloatBits(1), 0, 0});
  model += LE({0x2511, 2, 0x8040, 0xFFBF, 0x00FF}, 2) + Bytes({0, 0});
  model += LE({4u << 16 | 0x22, 1u << 16, 1, 2, 3, 0xFF});
  model += LE({64, 52, FloatBits(0.5f), FloatBits(1), 0, FloatBits(1.5f)});
  // POF0: the model pointer at 4, the list pointers at 88 and 92.
  const std::string modelPointers = Bytes({0x41, 0x40 | 21, 0x41, 0});
  return Chunk("VKTL", textures) + Chunk("POF0", texturePointers) + Chunk("VKCM", model) +
         Chunk("POF0", modelPointers);
}

TEST(ChunkReader, WritesTheTextureListAndTheObjectsAsWorkedOutByHand) {
  ScratchDir dir;
  std::string text = OneModel("\tCnkM_D( FBS_SA|FBD_ISA ), 2,\n\tMDiff( 255, 191, 128, 64 ),\n",
                              "\tCnkV(0, 4),\n\tOffnbIdx(0, 1),\n\tVERT( 0x1, 0x2, 0x3 ),\n");
  text.insert(std::strlen(kHead), kTextureSection);
  ASSERT_TRUE(WriteFile(dir.file("t.vka"), text));
  VKTextureList textures;
  const VKStatus status = VKReadChunkModel(dir.file("t.vka").c_str(), dir.file("t.vk").c_str(), &textures);
  ASSERT_TRUE(status.ok()) << status.message;
  EXPECT_EQ(ReadFile(dir.file("t.vk")), ExpectedFile());
  ASSERT_EQ(textures.entries.size(), 4u);
  EXPECT_EQ(textures.count, 4u);
  EXPECT_EQ(textures.entries[2].name, "pal");
  EXPECT_EQ(textures.entries[2].attribute, 0x10000u);
  EXPECT_EQ(textures.entries[2].address, 3u << 26);
  EXPECT_EQ(ReadFile(dir.file("t.vka")), text);
  EXPECT_FALSE(vktest::Exists(dir.file("t.vk.tmp~")));
}

TEST(ChunkReader, WithoutATextureRecordOrObjects) {
  ScratchDir dir;
  std::string text = OneModel("", "\tCnkV(0, 1),\n\tOffnbIdx(0, 0),\n");
  text.insert(std::strlen(kHead), kTextureSection);
  ASSERT_TRUE(WriteFile(dir.file("t.vka"), text));
  // No texture record: no VKTL chunk.
  ASSERT_TRUE(VKReadChunkModel(dir.file("t.vka").c_str(), dir.file("t.vk").c_str(), nullptr).ok());
  EXPECT_EQ(ReadFile(dir.file("t.vk")).substr(0, 4), "VKCM");
  // No output name: nothing is written, the texture list is filled.
  VKTextureList textures;
  ASSERT_TRUE(VKReadChunkModel(dir.file("t.vka").c_str(), nullptr, &textures).ok());
  EXPECT_EQ(textures.entries.size(), 4u);
  // A name longer than sixteen characters, the highest palette bank.
  ASSERT_TRUE(WriteFile(dir.file("l.vka"), std::string(kHead) + "TEXTURE_START\nPTEXN( \"a_name_longer_than_sixteen\", "
                                           "1, 63 ),\nTextureNum 1,\nTEXTURE_END\n"));
  ASSERT_TRUE(VKReadChunkModel(dir.file("l.vka").c_str(), nullptr, &textures).ok());
  ASSERT_EQ(textures.entries.size(), 1u);
  EXPECT_EQ(textures.entries[0].name, "a_name_longer_than_sixteen");
  EXPECT_EQ(textures.entries[0].attribute, 0x10000u);
  EXPECT_EQ(textures.entries[0].address, 63u << 26);
  // Neither textures nor objects: an empty file.
  ASSERT_TRUE(WriteFile(dir.file("e.vka"), std::string(kHead)));
  ASSERT_TRUE(VKReadChunkModel(dir.file("e.vka").c_str(), dir.file("e.vk").c_str(), &textures).ok());
  EXPECT_TRUE(vktest::Exists(dir.file("e.vk")));
  EXPECT_EQ(ReadFile(dir.file("e.vk")), "");
  // An input that cannot be opened writes nothing.
  const VKStatus missing = VKReadChunkModel(dir.file("absent.vka").c_str(), dir.file("absent.vk").c_str(), nullptr);
  EXPECT_EQ(missing.message, "Error : Can't open " + dir.file("absent.vka") + "\n");
  EXPECT_FALSE(vktest::Exists(dir.file("absent.vk")));
}

TEST(ChunkReader, LinksObjectsInNodeOrderAndWritesSharedRecordsOnce) {
  // Two objects in the writer's order (the child first); the child shares
  // the root's model, which is written once, after the root, which the
  // binary file holds first.
  const std::string text = std::string(kHead) +
                           "PLIST p[]\nSTART\n\tCnkEnd()\nEND\nVLIST v[]\nSTART\n\tCnkEnd()\nEND\n"
                           "CNKMODEL m[]\nSTART\nVList v,\nPList p,\nEND\n"
                           "CNKOBJECT child[]\nSTART\nCNKModel m,\nChild NULL,\nSibling NULL,\nEND\n"
                           "CNKOBJECT root[]\nSTART\nCNKModel m,\nChild child,\nSibling NULL,\nEND\n";
  ScratchDir dir;
  ASSERT_TRUE(WriteFile(dir.file("t.vka"), text));
  ASSERT_TRUE(VKReadChunkModel(dir.file("t.vka").c_str(), dir.file("t.vk").c_str(), nullptr).ok());
  const std::string zero3 = LE({0, 0, 0});
  const std::string model = LE({0, 60}) + zero3 + zero3 + zero3 + LE({84, 0}) +  // root: model, child
                            LE({0xFF}, 2) + Bytes({0, 0}) + LE({0xFF}) +          // strip list, vertex list
                            LE({56, 52}) + zero3 + LE({0}) +                      // model at 60
                            LE({0, 60}) + zero3 + zero3 + zero3 + LE({0, 0});     // child at 84
  // Pointer fields at 4, 44, 60, 64 and 88.
  const std::string pointers = Bytes({0x41, 0x40 | 10, 0x40 | 4, 0x41, 0x40 | 6, 0, 0, 0});
  EXPECT_EQ(ReadFile(dir.file("t.vk")), Chunk("VKCM", model) + Chunk("POF0", pointers));
}

struct Refusal {
  const char *what;
  std::string text;
  const char *message;  // after "Error : t.vka : "
};

std::string Replace(std::string text, const std::string &from, const std::string &to) {
  const size_t at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  return at == std::string::npos ? text : text.replace(at, from.size(), to);
}

const std::string kGood = OneModel("\tCnkS( 0x0 ), 6, _NB( UFO_0, 1 ),\n\tStripL(3),  0, 1, 2,\n",
                                   "\tCnkV(0, 7),\n\tOffnbIdx(0, 2),\n\tVERT( 0x1, 0x2, 0x3 ),\n"
                                   "\tVERT( 0x4, 0x5, 0x6 ),\n");
// Lines of kGood: 3 CNKOBJECT_START, 4 PLIST, 6 CnkS, 7 StripL, 8 CnkEnd,
// 11 VLIST, 13 CnkV, 14 OffnbIdx, 15 and 16 VERT, 17 CnkEnd, 20 CNKMODEL,
// 22 VList, 23 PList, 24 Center, 25 Radius, 28 CNKOBJECT, 30 EvalFlags,
// 31 CNKModel, 32 OPosition, 33 OAngle, 35 Child, 36 Sibling, 37 END,
// 39 CNKOBJECT_END.

std::vector<Refusal> Refusals() {
  const std::string texture = "TEXTURE_START\nTEXN( \"a\" ),\nTextureNum 2,\nTEXTURE_END\n";
  return {
      {"comment without its end", Replace(kGood, "0x4, 0x5", "0x4, /* 0x5,\n */ 0x5"),
       "Line 16 : \"/*\" without \"*/\" on the same line\n"},
      {"TextureNum above the entries", texture + kGood, "Line 3 : TextureNum 2 is larger than the 1 texture entries\n"},
      {"strip chunk smaller than its lines", Replace(kGood, "), 6,", "), 4,"),
       "Line 6 : CnkS: written size 4 is smaller than its contents\n"},
      {"vertex chunk smaller than its lines", Replace(kGood, "CnkV(0, 7)", "CnkV(0, 5)"),
       "Line 13 : CnkV: written size 5 is smaller than its contents\n"},
      {"material chunk smaller than its colours",
       Replace(kGood, "\tCnkS(", "\tCnkM_DA( FBS_SA|FBD_ISA ), 2,\nMDiff( 1, 2, 3, 4 ),\nMAmbi( 1, 2, 3, 4 ),\n\tCnkS("),
       "Line 6 : CnkM_DA: written size 2 is smaller than its 4 words\n"},
      {"truncated inside an object", kGood.substr(0, kGood.find("Sibling")),
       "Line 28 : CNKOBJECT object_t_o has no END (the file ends at line 35)\n"},
      {"truncated inside a vertex list", kGood.substr(0, kGood.find("\tVERT( 0x4")),
       "Line 11 : VLIST vertex_t_o has no END (the file ends at line 15)\n"},
      {"truncated texture section", "TEXTURE_START\nTEXN( \"a\" ),\n",
       "Line 1 : TEXTURE_START has no TEXTURE_END (the file ends at line 2)\n"},
      {"truncated instance prototypes", "INSTANCE_PROTOTYPE_START\nextern CNKMODEL m[];\n",
       "Line 1 : INSTANCE_PROTOTYPE_START has no INSTANCE_PROTOTYPE_END (the file ends at line 2)\n"},
      {"block cut short by the next block", Replace(kGood, "Sibling     NULL,\nEND\n", "Sibling     NULL,\n"),
       "Line 38 : CNKOBJECT object_t_o has no END before CNKOBJECT_END\n"},
      {"list cut short by the next block", Replace(kGood, "\tCnkEnd()\nEND\n\nVLIST", "VLIST"),
       "Line 8 : PLIST strip_t_o has no END before VLIST\n"},
      {"model names no object", Replace(kGood, "CNKModel   model_t_o", "CNKModel   model_x"),
       "Line 31 : CNKModel model_x of CNKOBJECT object_t_o names no CNKMODEL block\n"},
      {"child names no object", Replace(kGood, "Child       NULL", "Child       object_x"),
       "Line 35 : Child object_x of CNKOBJECT object_t_o names no CNKOBJECT block\n"},
      {"vertex list names no list", Replace(kGood, "VList      vertex_t_o", "VList      vertex_x"),
       "Line 22 : VList vertex_x of CNKMODEL model_t_o names no VLIST block\n"},
      {"unknown vertex chunk", Replace(kGood, "CnkV(0, 7)", "CnkV_XY(0, 7)"),
       "Line 13 : unknown chunk CnkV_XY in VLIST vertex_t_o\n"},
      {"unknown polygon chunk", Replace(kGood, "CnkS( 0x0 )", "CnkQ( 0x0 )"),
       "Line 6 : unknown chunk CnkQ in PLIST strip_t_o\n"},
      {"vertex chunk in a strip list", Replace(kGood, "CnkS( 0x0 )", "CnkV_VN( 0x0 )"),
       "Line 6 : unknown chunk CnkV_VN in PLIST strip_t_o\n"},
      {"strip kind without an id", Replace(kGood, "CnkS( 0x0 )", "CnkS_UVF( 0x0 )"),
       "Line 6 : CnkS_UVF has no chunk id and cannot be converted\n"},
      {"vertex value not a number", Replace(kGood, "0x4, 0x5", "0x4, 0x5g"), "Line 16 : VERT: \"0x5g\" is not a number\n"},
      {"real value not a number", Replace(kGood, "1.500000F", "1.5.0F"), "Line 25 : Radius: \"1.5.0F\" is not a number\n"},
      {"angle not a number", Replace(kGood, "90.000000F", "ninety"), "Line 33 : OAngle: \"ninety\" is not a number\n"},
      {"EvalFlags not hexadecimal", Replace(kGood, "0x00000017", "0x0000001z"),
       "Line 30 : EvalFlags: \"0x0000001z\" is not a number\n"},
      {"index not a number", Replace(kGood, "0, 1, 2,", "0, 1x, 2,"), "Line 7 : vertex index: \"1x\" is not a number\n"},
      {"number past 32 bits", Replace(kGood, "0x4, 0x5", "0x4, 4294967296"),
       "Line 16 : VERT: \"4294967296\" is not a number\n"},
      {"flag part not a number", Replace(kGood, "CnkS( 0x0 )", "CnkS( 0x0|0xq )"), "Line 6 : CnkS: \"0x0|0xq\" is not a number\n"},
      {"size past 16 bits", Replace(kGood, "CnkV(0, 7)", "CnkV(0, 65536)"),
       "Line 13 : CnkV: size 65536 does not fit the 16-bit size field\n"},
      {"count past 14 bits", Replace(kGood, "UFO_0, 1", "UFO_0, 16384"),
       "Line 6 : CnkS: count 16384 does not fit the 14-bit count field\n"},
      {"bad user offset", Replace(kGood, "UFO_0, 1", "UFO_4, 1"), "Line 6 : CnkS: user offset \"UFO_4\" is not UFO_0 to UFO_3\n"},
      {"missing user words", Replace(kGood, "UFO_0, 1", "UFO_1, 1"), "Line 8 : CnkS: \"CnkEnd\" where 1 user words are due\n"},
      {"wrong user words", Replace(kGood, "UFO_0, 1 ),\n\tStripL(3),  0, 1, 2,", "UFO_1, 1 ),\n\tStripL(3),  0, 1, 2, Uf2( 1, 2 ),"),
       "Line 7 : CnkS: \"Uf2\" where 1 user words are due\n"},
      {"strip length", Replace(kGood, "StripL(3)", "StripL(40000)"), "Line 7 : CnkS: strip length 40000 is not from 0 to 32767\n"},
      {"no _NB", Replace(kGood, "_NB( UFO_0, 1 )", "NB( UFO_0, 1 )"),
       "Line 6 : _NB expected in PLIST strip_t_o, found \"NB\"\n"},
      {"list without CnkEnd", Replace(kGood, "\tCnkEnd()\nEND\n\nVLIST", "END\n\nVLIST"),
       "Line 8 : PLIST strip_t_o has no CnkEnd before END\n"},
      {"chunk after CnkEnd", Replace(kGood, "\tCnkEnd()\nEND\n\nCNKMODEL", "\tCnkEnd()\nCnkV(0, 1),\nEND\n\nCNKMODEL"),
       "Line 18 : CnkV after CnkEnd in VLIST vertex_t_o\n"},
      {"vertex line before a head", Replace(kGood, "\tCnkV(0, 7),\n", ""),
       "Line 13 : OffnbIdx before the head line of a vertex chunk in VLIST vertex_t_o\n"},
      {"name defined twice", Replace(kGood, "CNKOBJECT_END", "VLIST vertex_t_o[]\nSTART\nCnkEnd()\nEND\n"),
       "Line 39 : VLIST vertex_t_o is defined again (first on line 11)\n"},
      {"block without a name", Replace(kGood, "CNKMODEL   model_t_o[]", "CNKMODEL"),
       "Line 21 : CNKMODEL without a name\n"},
  };
}

TEST(ChunkReader, RefusesMalformedFilesWithOneErrorAndNoOutput) {
  // The good file itself goes through.
  VKChunkFile parsed;
  ASSERT_TRUE(VKParseChunkModel(kGood, "t.vka", &parsed).ok());
  for (const Refusal &r : Refusals()) {
    SCOPED_TRACE(r.what);
    ScratchDir dir;
    ASSERT_TRUE(WriteFile(dir.file("t.vka"), r.text));
    ASSERT_TRUE(WriteFile(dir.file("t.vk"), "an older binary file"));
    VKTextureList textures;
    testing::internal::CaptureStderr();
    const VKStatus status = VKReadChunkModel(dir.file("t.vka").c_str(), dir.file("t.vk").c_str(), &textures);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");  // the driver prints it
    EXPECT_EQ(status.code, VKStatusCode::kBadInput);
    EXPECT_EQ(status.message, "Error : " + dir.file("t.vka") + " : " + r.message);
    EXPECT_EQ(ReadFile(dir.file("t.vk")), "an older binary file");
    EXPECT_FALSE(vktest::Exists(dir.file("t.vk.tmp~")));
    EXPECT_EQ(ReadFile(dir.file("t.vka")), r.text);
    // The parse alone says the same.
    EXPECT_EQ(VKParseChunkModel(r.text, "t.vka", &parsed).message, "Error : t.vka : " + std::string(r.message));
  }
}

TEST(ChunkReader, UnknownFlagNamesWarnAndReadAsTheirCode) {
  testing::internal::CaptureStderr();
  const VKChunkFile file = Parse(Replace(kGood, "CnkS( 0x0 )", "CnkS( FST_XX|FST_IL )"));
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "\n##### Warning : t.vka : Line 6 : unknown flag name FST_XX is read as 0xFC19\n");
  EXPECT_EQ(file.stripLists[0].words[0], 0xFC19 | 0x0100 | 0x40);
}

TEST(ChunkReader, CommentsCarriageReturnsAndLongLines) {
  // A comment counts as one blank; CR LF line ends; a line longer than any
  // buffer; names written with [] after them.
  std::string text = Replace(kGood, "0x4, 0x5, 0x6", "0x4,/* five */0x5, 0x6");
  text = Replace(text, "OffnbIdx(0, 2),", "OffnbIdx(0,/**/2),   " + std::string(5000, ' ') + "// end");
  std::string crlf;
  for (char c : text) c == '\n' ? crlf += "\r\n" : crlf += c;
  for (const std::string &variant : {text, crlf}) {
    const VKChunkFile file = Parse(variant);
    ASSERT_EQ(file.vertexLists.size(), 1u);
    EXPECT_EQ(file.vertexLists[0].words,
              (std::vector<uint32_t>{7u << 16 | 0x22, 2u << 16, 1, 2, 3, 4, 5, 6, 0xFF}));
    EXPECT_EQ(file.models[0].name, "model_t_o");
    EXPECT_EQ(file.objects[0].model.index, 0);
    EXPECT_EQ(file.objects[0].angle[0], 16384);
    EXPECT_EQ(file.objects[0].angle[2], -8192);
  }
  // A file read in blocks gives what the text in memory gives, lines across
  // block ends included: 20001 vertex chunks in one list.
  ScratchDir dir;
  const std::string chunk = "\tCnkV(0, 7),\n\tOffnbIdx(0, 2),\n\tVERT( 0x1, 0x2, 0x3 ),\n\tVERT( 0x4, 0x5, 0x6 ),\n";
  std::string many;
  for (int i = 0; i < 20000; ++i) many += chunk;
  const std::string big = Replace(kGood, "\tCnkV(0, 7),\n", many + "\tCnkV(0, 7),\n");
  ASSERT_GT(big.size(), 1u << 20);
  ASSERT_TRUE(WriteFile(dir.file("big.vka"), big));
  VKChunkFile fromText;
  ASSERT_TRUE(VKParseChunkModel(big, "big.vka", &fromText).ok());
  const std::vector<uint32_t> &words = fromText.vertexLists[0].words;
  ASSERT_EQ(words.size(), 20001u * 8 + 1);
  EXPECT_EQ(std::vector<uint32_t>(words.end() - 9, words.end()),
            (std::vector<uint32_t>{7u << 16 | 0x22, 2u << 16, 1, 2, 3, 4, 5, 6, 0xFF}));
  ASSERT_TRUE(VKReadChunkModel(dir.file("big.vka").c_str(), dir.file("big.vk").c_str(), nullptr).ok());
  const std::string bytes = ReadFile(dir.file("big.vk"));
  const size_t vertices = 8 + 52 + 20;  // after the chunk head, the object record and the strip list
  ASSERT_GT(bytes.size(), vertices + 4 * words.size());
  EXPECT_EQ(bytes.compare(vertices, 4 * words.size(),
                          std::string(reinterpret_cast<const char *>(words.data()), 4 * words.size())),
            0);
}

}  // namespace
