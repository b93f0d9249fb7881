// The written files decoded back: generated models in every vertex kind and
// every strip or volume kind, as binary and as ASCII, compared with the
// processed meshes; end-to-end runs of the program on the Chunk-model route
// (which files under which names, their head lines, what is refused).
#include <gtest/gtest.h>

#include <bit>
#include <cctype>
#include <cstdlib>
#include <random>
#include <string>

#include "base/packers.h"
#include "chunk/chunk_test_util.h"
#include "chunk/encoding.h"
#include "reader/reader.h"
#include "scene/memory.h"
#include "scene/records.h"
#include "support/test_support.h"
#include "support/vka_gen.h"

namespace {

using chunktest::Triangle;
using Word3 = std::array<uint32_t, 3>;

// ---- Decoders of the written files --------------------------------------------------
// Objects in file order (the ASCII file lists the last node first); a
// malformed file fails the current test.
struct DecodedObject {
  bool hasModel = false;
  std::vector<Word3> pos, normal;   // float bit patterns by vertex index; no normals: empty
  std::vector<uint32_t> packed;     // NORM32 words by vertex index; none: empty
  std::vector<Triangle> triangles;  // in their own winding
  int quads = 0;                    // CnkO_P4 f0 f1 f2 f3 gives f0 f1 f2 and f1 f3 f2
  std::vector<int> stripChunkIds;   // strip and volume chunks (ASCII: 0x40 for any strip)
};

// The indices of a strip, of a CnkO_P3 triangle or of a CnkO_P4 quadrilateral.
void AddPolygon(const std::vector<int> &v, int corners, bool left, DecodedObject &o) {
  if (!corners) chunktest::AddStrip(v, left, o.triangles);
  if (corners) o.triangles.push_back({v[0], v[1], v[2]});
  if (corners == 4) o.triangles.push_back({v[1], v[3], v[2]}), ++o.quads;
}

// Little-endian words inside [pos, end); past the end they read 0 and clear ok.
struct Reader {
  const std::string &b;
  size_t pos, end;
  bool ok = true;
  uint32_t U16() {
    if (pos + 2 > end) return ok = false, 0;
    pos += 2;
    return static_cast<uint8_t>(b[pos - 2]) | static_cast<uint8_t>(b[pos - 1]) << 8;
  }
  uint32_t U32() {
    const uint32_t low = U16();
    return low | U16() << 16;
  }
};

// Words per vertex of strip chunks 0x40-0x48 and of vertex chunks 0x20-0x32.
constexpr int kStripWords[] = {1, 3, 3, 4, 6, 6, 3, 5, 5};
constexpr int kVertexWords[] = {4, 8, 3, 4, 4, 4, 4, 4, 4, 6, 7, 7, 7, 7, 7, 7, 4, 5, 5};

void DecodePolygons(Reader &r, DecodedObject &o) {
  while (r.ok) {
    const int id = static_cast<int>(r.U16() & 0xFF);
    const bool material = id >= 0x11 && id <= 0x17;
    if (id == 0xFF) return;
    if (id == 0x08) r.U16();                   // texture id word
    if (material) r.pos += 2 * r.U16();
    if (id == 0x00 || id == 0x08 || material) continue;
    ASSERT_TRUE(id >= 0x38 && id <= 0x48) << "unknown chunk id " << id;
    o.stripChunkIds.push_back(id);
    const uint32_t size = r.U16(), countWord = r.U16();
    const size_t start = r.pos - 2;
    const int corners = id == 0x38 ? 3 : id == 0x39 ? 4 : 0, userWords = countWord >> 14;
    const int words = id < 0x40 ? 1 : kStripWords[id - 0x40];
    for (uint32_t s = 0; s < (countWord & 0x3FFF) && r.ok; ++s) {
      const int length = corners ? corners : static_cast<int16_t>(r.U16());
      std::vector<int> v;
      for (int i = 0; i < std::abs(length); ++i) {
        v.push_back(static_cast<int>(r.U16()));
        for (int w = 1; w < words; ++w) r.U16();
        for (int k = 0; (corners ? i == corners - 1 : i >= 2) && k < userWords; ++k) r.U16();
      }
      AddPolygon(v, corners, length > 0, o);
    }
    const size_t used = r.pos - start;  // the chunk may end in one zero pad word
    EXPECT_TRUE(size % 2 == 0 && (used == size * 2 || (used + 2 == size * 2 && r.U16() == 0)))
        << "chunk size " << size << " used " << used;
  }
}

void DecodeVertices(Reader &r, DecodedObject &o) {
  while (r.ok) {
    const uint32_t head = r.U32();
    const int id = static_cast<int>(head & 0xFF);
    if (id == 0xFF) return;
    ASSERT_TRUE(id >= 0x20 && id <= 0x32) << "unknown vertex chunk " << id;
    const uint32_t index = r.U32();
    const int offset = index & 0xFFFF, count = index >> 16, words = kVertexWords[id - 0x20];
    EXPECT_EQ(head >> 16, 1u + count * words);
    const bool sh = id <= 0x21, normal = id == 0x21 || (id >= 0x29 && id <= 0x2F);
    const size_t size = std::max<size_t>(o.pos.size(), offset + count);
    o.pos.resize(size), o.normal.resize(normal ? size : 0), o.packed.resize(id >= 0x30 ? size : 0);
    for (int i = offset; i < offset + count && r.ok; ++i) {
      std::array<uint32_t, 8> w{};
      for (int k = 0; k < words; ++k) w[k] = r.U32();
      o.pos[i] = {w[0], w[1], w[2]};
      EXPECT_TRUE(!sh || (w[3] == 0x3F800000u && (!normal || w[7] == 0))) << "VERT_SH or NORM_SH padding";
      if (normal) o.normal[i] = {w[3 + sh], w[4 + sh], w[5 + sh]};
      if (id >= 0x30) o.packed[i] = w[3];
    }
  }
}

std::vector<DecodedObject> DecodeBinary(const std::string &bytes) {
  std::vector<DecodedObject> objects;
  const auto word = [&](size_t at) { return Reader{bytes, at, bytes.size()}.U32(); };
  size_t at = 0;  // past a texture-list chunk when there is one
  while (at + 8 <= bytes.size() && bytes.compare(at, 4, "VKCM") != 0) at += 8 + word(at + 4);
  const size_t base = at + 8, end = base + word(at + 4);
  if (end + 8 > bytes.size() || bytes.compare(end, 4, "POF0") != 0) {
    ADD_FAILURE() << "no VKCM chunk followed by POF0";
    return objects;
  }
  EXPECT_EQ(end + 8 + word(end + 4), bytes.size());
  // POF0: the pointer offsets as steps of 6, 14 or 30 bits of words (1, 2 or 4 bytes).
  std::vector<size_t> listed, pointers;
  for (size_t p = end + 8, previous = 0; p < bytes.size();) {
    const int tag = static_cast<uint8_t>(bytes[p]) >> 6, length = tag == 3 ? 4 : tag;
    if (!tag || p + length > bytes.size()) break;  // padding
    uint32_t n = static_cast<uint8_t>(bytes[p]) & 0x3F;
    for (int k = 1; k < length; ++k) n = n << 8 | static_cast<uint8_t>(bytes[p + k]);
    p += length;
    listed.push_back(previous += n * 4);
  }
  // Object records (EvalFlags, model, 9 transform words, child, sibling),
  // each followed by its polygon list, vertex list and model record.
  Reader r{bytes, base, end};
  while (r.ok && r.pos + 52 <= end) {
    DecodedObject &o = objects.emplace_back();
    const size_t record = r.pos - base;
    const uint32_t evalFlags = r.U32(), model = r.U32();
    for (int i = 0; i < 9; ++i) r.U32();
    const uint32_t child = r.U32(), sibling = r.U32();
    for (size_t field : {model ? 4 : 0, child ? 44 : 0, sibling ? 48 : 0})
      if (field) pointers.push_back(record + field);
    if (!(o.hasModel = !(evalFlags & 0x08))) continue;
    const size_t strips = r.pos - base;
    DecodePolygons(r, o);
    r.pos = (r.pos + 3) / 4 * 4;
    const size_t vertices = r.pos - base;
    DecodeVertices(r, o);
    const size_t modelRecord = r.pos - base;
    EXPECT_EQ(model, modelRecord);
    EXPECT_EQ(r.U32(), vertices);
    EXPECT_EQ(r.U32(), strips);
    pointers.insert(pointers.end(), {modelRecord, modelRecord + 4});
    for (int i = 0; i < 4; ++i) r.U32();  // centre, radius
  }
  EXPECT_TRUE(r.ok && r.pos == end);
  std::sort(pointers.begin(), pointers.end());
  EXPECT_EQ(pointers, listed);
  return objects;
}

struct Token {  // a macro call "Name(args)" or a bare number
  std::string name, args;
  int number = 0;
};

std::vector<Token> Tokens(const std::string &s) {
  std::vector<Token> out;
  const auto at = [&](size_t j) { return j < s.size() ? static_cast<unsigned char>(s[j]) : 0; };
  for (size_t i = 0, j; i < s.size(); i = j) {
    j = i + 1;
    if (std::isalpha(at(i)) || at(i) == '_') {
      while (std::isalnum(at(j)) || at(j) == '_') ++j;
      if (at(j) != '(') continue;
      const size_t close = s.find(')', j);
      out.push_back({s.substr(i, j - i), s.substr(j + 1, close - j - 1)});
      j = close + 1;
    } else if (std::isdigit(at(i))) {
      while (std::isdigit(at(j))) ++j;
      out.push_back({"", "", std::stoi(s.substr(i, j - i))});
    }
  }
  return out;
}

// One pass over an object's text: the vertex list's macros and the strip and
// volume chunks of the polygon list (bare numbers are indices; Uvn( ... ) and
// the like are skipped).
DecodedObject DecodeAsciiObject(const std::string &body) {
  DecodedObject o;
  o.hasModel = body.find("PLIST      ") != std::string::npos;
  const std::vector<Token> t = Tokens(body);
  size_t index = 0;
  for (size_t i = 0; i < t.size(); ++i) {
    const std::string &name = t[i].name;
    unsigned a = 0, b = 0, c = 0;
    if (name == "OffnbIdx" && std::sscanf(t[i].args.c_str(), "%u, %u", &a, &b) == 2)
      index = a, o.pos.resize(std::max<size_t>(o.pos.size(), a + b));
    if (std::sscanf(t[i].args.c_str(), " 0x%x, 0x%x, 0x%x", &a, &b, &c) == 3) {  // of the vertex last read
      if (name == "VERT" || name == "VERT_SH") o.pos.at(index++) = {a, b, c};
      if (name == "NORM" || name == "NORM_SH") o.normal.resize(o.pos.size()), o.normal.at(index - 1) = {a, b, c};
      if (name == "NORM32") o.packed.resize(o.pos.size()), o.packed.at(index - 1) = a << 20 | b << 10 | c;
    }
    if (name.rfind("CnkS", 0) != 0 && name.rfind("CnkO_", 0) != 0) continue;
    const int id = name == "CnkO_P3" ? 0x38 : name == "CnkO_P4" ? 0x39 : name == "CnkO_ST" ? 0x3A : 0x40;
    const int corners = id == 0x38 ? 3 : id == 0x39 ? 4 : 0;
    o.stripChunkIds.push_back(id);
    while (t.at(i).name != "_NB") ++i;
    for (int count = std::stoi(t[i].args.substr(t[i].args.find(',') + 1)); count > 0; --count) {
      while (!corners && t.at(++i).name.rfind("Strip", 0) != 0) {
      }
      const int n = corners ? corners : std::stoi(t[i].args);
      const bool left = corners || t[i].name == "StripL";
      std::vector<int> v;
      while (static_cast<int>(v.size()) < n)
        if (t.at(++i).name.empty()) v.push_back(t[i].number);
      AddPolygon(v, corners, left, o);
    }
  }
  return o;
}

std::vector<DecodedObject> DecodeAscii(const std::string &text) {
  std::vector<DecodedObject> objects;
  const char *kStart = "\nCNKOBJECT_START\n";
  for (size_t at = text.find(kStart); at != std::string::npos; at = text.find(kStart, at + 1))
    objects.push_back(DecodeAsciiObject(text.substr(at, text.find("CNKOBJECT_END", at) - at)));
  return objects;
}

// ---- Round trips ------------------------------------------------------------------
constexpr uint32_t kVertexKinds[] = {0x00000000, 0x40000000, 0x00000001, 0x00000002, 0x00000003,
                                     0x00000004, 0x00000005, 0x00000006, 0x00000007, 0x40000001,
                                     0x40000002, 0x40000003, 0x40000004, 0x40000005, 0x40000006,
                                     0x40000007, 0x20000001, 0x20000002, 0x20000003};

// Strip and volume kinds: output flags, chunk flags, textured or not, material tag.
struct StripVariant {
  const char *name;
  uint32_t outputFlags, chunkFlags;
  bool textured;
  const char *tag;
};
constexpr StripVariant kVariants[] = {
    {"CnkS", 0, 0, false, ""},            {"CnkS_UVN", 0, 0, true, ""},
    {"CnkS_UVH", 0, 0x4000, true, ""},    {"CnkS_VN", 0x4000, 0, false, ""},
    {"CnkS_UVN_VN", 0x4000, 0, true, ""}, {"CnkS_UVH_VN user words", 0x4000, 0x4000, true, "U3_"},
    {"CnkS_D8", 0x2000, 0, false, ""},    {"CnkS_UVN_D8 polygon colour", 0x2000, 0x2000, true, ""},
    {"CnkS_UVH_D8", 0x2000, 0x4000, true, ""}, {"CnkS user words", 0, 0, false, "U1_"},
    {"CnkO_ST", 0, 0x02000000, true, ""}, {"CnkO_P3", 0, 0x04000000, true, "U2_"},
    {"CnkO_P3 and CnkO_P4 (-co34)", 0, 0x06000000, false, ""},
};

uint32_t Bits(float f) { return std::bit_cast<uint32_t>(f); }

class ChunkRoundTrip : public ::testing::Test {
 protected:
  // Converts the generated model and compares the decoded file with the node
  // list; returns the number of strip or volume chunks of the first object.
  size_t Check(const vktest::VkaGenParams &params, uint32_t kind, const StripVariant &variant, float scale,
               bool binary) {
    SCOPED_TRACE(std::string(variant.name) + (binary ? " binary" : " ascii") + " kind " + std::to_string(kind));
    ScMallocTabInit();
    const std::string input = dir_.file(params.baseName + ".vka");
    EXPECT_TRUE(vktest::WriteVka(input, params));
    ScObject *scene = ReadBasicModel(input.c_str());
    ScNodeList *list = nullptr;
    const uint32_t outputFlags = 0x38000000 | variant.outputFlags | (binary ? 0x01 : 0);
    EXPECT_EQ(scene ? chunktest::RunWriter(scene, input, kind | variant.chunkFlags, outputFlags, scale, &list) : 0, 1);
    const std::string bytes = vktest::ReadFile(binary ? dir_.file(params.baseName + ".vk") : input);
    const auto objects = binary ? DecodeBinary(bytes) : DecodeAscii(bytes);
    const int nodes = list ? list->node_n : 0;
    EXPECT_EQ(static_cast<int>(objects.size()), nodes);
    for (int i = 0; i < nodes && i < static_cast<int>(objects.size()); ++i)
      Compare(list->slist[i], objects[binary ? i : nodes - 1 - i], kind, scale, variant.chunkFlags & 0x06000000);
    ScFreeAll();
    return objects.empty() ? 0 : objects[0].stripChunkIds.size();
  }

  static void Compare(const ScNode *node, const DecodedObject &object, uint32_t kind, float scale,
                      uint32_t volume) {
    const ScMesh *mesh = ScGetMesh(node->model);
    ASSERT_TRUE(mesh && object.hasModel);
    std::vector<Word3> pos, normal;
    std::vector<uint32_t> packed;
    for (int v = 0; v < mesh->nbVertex; ++v) {
      const float *p = mesh->vertices[v].pos, *n = mesh->vertices[v].normal;
      pos.push_back({Bits(p[0] * scale), Bits(p[1] * scale), Bits(p[2] * scale)});
      if (kind & 0x40000000) normal.push_back({Bits(n[0]), Bits(n[1]), Bits(n[2])});
      if (kind & 0x20000000) packed.push_back(VKPackNORM32(n[0], n[1], n[2]));
    }
    EXPECT_EQ(object.pos, pos);
    EXPECT_EQ(object.normal, normal);
    EXPECT_EQ(object.packed, packed);
    std::vector<Triangle> expected;
    for (int p = 0; p < mesh->nbPolygon; ++p) {
      const ScPolyNode *c = mesh->polygons[p].corners;
      ASSERT_EQ(mesh->polygons[p].nbCorner, 3);
      expected.push_back({c[0].vertex, c[1].vertex, c[2].vertex});
    }
    EXPECT_EQ(chunktest::Normalized(object.triangles), chunktest::Normalized(expected));
    EXPECT_TRUE(volume != 0x06000000 || object.quads > 0);
    for (int id : object.stripChunkIds)
      EXPECT_TRUE(volume == 0 || volume == 0x06000000 || id == (volume == 0x02000000 ? 0x3A : 0x38)) << id;
  }

  chunktest::QuietConsole quiet_;
  vktest::ScratchDir dir_;
};

TEST_F(ChunkRoundTrip, EveryVertexKindAndStripKindInBothForms) {
  std::mt19937 random(7);
  int run = 0;
  for (const StripVariant &variant : kVariants) {
    for (uint32_t kind : kVertexKinds) {
      vktest::VkaGenParams params;
      params.baseName = "rt";
      params.objects = 1 + static_cast<int>(random() % 3);
      params.gridWidth = 1 + static_cast<int>(random() % 5);
      params.gridHeight = 1 + static_cast<int>(random() % 4);
      params.materials = 1 + static_cast<int>(random() % 3);
      params.textures = variant.textured ? 1 + static_cast<int>(random() % 2) : 0;
      params.materialTag = variant.tag;
      // Square mode pairs only triangles whose polygon normals agree.
      params.polyNormals = (variant.chunkFlags & 0x06000000) == 0x06000000 || random() % 2;
      params.meshKinds = {vktest::VkaMesh::kTriangles, vktest::VkaMesh::kQuads, vktest::VkaMesh::kStrips};
      std::shuffle(params.meshKinds.begin(), params.meshKinds.end(), random);
      const float scale = (run % 4 == 3) ? 2.5f : 1.0f;
      Check(params, kind, variant, scale, run % 2 == 0);
      Check(params, kind, variant, scale, run++ % 2 == 1);
    }
  }
}

// A group large enough that its strip or volume chunk (16-bit size) and its
// vertex chunk are split into several chunks, in both forms.
TEST_F(ChunkRoundTrip, LargeGroupsSplitIntoSeveralChunks) {
  vktest::VkaGenParams params;
  params.baseName = "big";
  params.gridWidth = 140;  // 11421 vertices: two CnkV_VN chunks
  params.gridHeight = 80;
  params.textures = 1;
  params.polyNormals = true;
  for (bool binary : {true, false})
    for (const StripVariant &variant : {kVariants[4], kVariants[11]})
      EXPECT_GE(Check(params, 0x40000001, variant, 1.0f, binary), 2u);
}

// ---- End-to-end runs of the program -------------------------------------------------
TEST(ChunkFiles, WrittenFilesBackupsAndRefusals) {
  struct Head {
    const char *file;
    std::string text;             // the file's first bytes
    bool whole = false;           // ... or all of them
    const char *lacks = nullptr;  // found nowhere in the file
  };
  struct Case {
    std::vector<std::string> args;
    int textures;
    const char *input;  // where the input is afterwards
    std::vector<Head> heads;
    const char *model;  // holds the three objects: binary or ASCII, null: none
    std::vector<const char *> absent;
    const char *err = "";
    int grid = 4;
  };
  const Case cases[] = {
      {{"-bin"}, 1, "m.vka", {}, "m.vk", {"m.vka.bk"}},
      {{}, 1, "m.vka.bk",
       {{"m.vka", "/* VKA 0.86alpha1 VorkaAsciiDataMix CnkModel (VKA) */\n\n"
                  "/* ROOT OBJECT : object_m_o0 n(3) d(2) */\n/* TEXLIST     : texlist_m n(1) */\n\n"}},
       "m.vka", {"m.vka.tmp~"}},
      // The input is kept as its backup; the model goes under the two new names.
      {{"-septex"}, 2, "m.vka.bk",
       {{"m.vad", "/* VAD 0.86alpha1 VorkaAsciiModel (VKA) */\n\n/* ROOT OBJECT : object_m_o0 n(3) d(2) */\n\n"
                  "\nCNKOBJECT_START\n", false, "TEXLIST"},
        {"m.vat", "/* VAT 0.86alpha1 VorkaAsciiTexture (VKA) */\n\n/* TEXLIST     : texlist_m n(2) */\n\n"
                  "TEXTURE_START\n\nTEXTURENAME textures_m[]\nSTART\n"
                  // Neither source exists: both lines show a fresh information block.
                  "\tTEXN( \"tex0\" ),            /* 0 0x0 565 XXXX ?? ?? */\n"
                  "\tTEXN( \"tex1\" ),            /* 0 0x0 565 XXXX ?? ?? */\n"
                  "END\n\nTEXTURELIST texlist_m\nSTART\nTextureList textures_m,\nTextureNum  2,\nEND\n\n"
                  "TEXTURE_END\n\n\n"
                  "DEFAULT_START\n\n#ifndef DEFAULT_TEXLIST_NAME\n#define DEFAULT_TEXLIST_NAME texlist_m\n#endif\n"
                  "\nDEFAULT_END\n\n", true}},
       "m.vad", {"m.vka"}},
      {{"-septex", "-bin"}, 2, "m.vka", {{"m.vkt", ""}}, "m.vkd", {"m.vk"}},
      {{"-septex"}, 0, "m.vka.bk", {}, "m.vad", {"m.vat"}, "[There is no texture]"},
      // 256 x 256 points in one object cannot be indexed by 16-bit strips: the
      // run stops before any file is touched, naming the object.
      {{"-VN"}, 0, "m.vka", {}, nullptr, {"m.vka.bk"}, "Object o0 has 65536 vertices", 255},
      {{"-bin"}, 0, "m.vka", {}, nullptr, {"m.vka.bk", "m.vk"}, "Object o0 has 65536 vertices", 255},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.args.empty() ? "" : c.args[0] + std::to_string(c.textures) + std::to_string(c.grid));
    vktest::ScratchDir dir;
    vktest::VkaGenParams params;
    params.baseName = "m";
    params.objects = c.grid > 4 ? 1 : 3;
    params.gridWidth = params.gridHeight = c.grid;
    params.normals = params.uvs = c.grid <= 4;
    params.materials = 2;
    params.textures = c.textures;
    ASSERT_TRUE(vktest::WriteVka(dir.file("m.vka"), params));
    const std::string input = vktest::ReadFile(dir.file("m.vka"));
    std::vector<std::string> args = {"m.vka"};
    args.insert(args.end(), c.args.begin(), c.args.end());
    const vktest::RunResult run = vktest::RunVkconv(args, dir.path());
    EXPECT_EQ(run.status, 0);
    EXPECT_NE(run.err.find(c.err), std::string::npos) << run.err;
    EXPECT_EQ(vktest::ReadFile(dir.file(c.input)), input);
    for (const Head &head : c.heads) {
      const std::string text = vktest::ReadFile(dir.file(head.file));
      EXPECT_TRUE(vktest::Exists(dir.file(head.file))) << head.file;
      EXPECT_EQ(head.whole ? text : text.substr(0, head.text.size()), head.text);
      EXPECT_TRUE(!head.lacks || text.find(head.lacks) == std::string::npos) << head.file;
    }
    const std::string model = c.model ? vktest::ReadFile(dir.file(c.model)) : "";
    const bool ascii = model.rfind("/*", 0) == 0;
    EXPECT_EQ(!c.model ? 3 : ascii ? DecodeAscii(model).size() : DecodeBinary(model).size(), 3u) << c.model;
    for (const char *file : c.absent) EXPECT_FALSE(vktest::Exists(dir.file(file))) << file;
  }
}

// ---- Damaged meshes ------------------------------------------------------------------
// A generated w x h grid damaged the way scanned and exported meshes are:
// faces duplicated in either winding, a few flipped, fins (a third face on an
// edge, run either way); flat polygon normals, UVs per point or none.
vktest::VkaTriangleMesh ScannedGrid(int w, int h, unsigned seed, bool uvs) {
  std::mt19937 rng(seed);
  vktest::VkaTriangleMesh m;
  m.baseName = "scan";
  for (int y = 0; y <= h; ++y)
    for (int x = 0; x <= w; ++x) {
      m.points.push_back({float(x), float(y), 0.0f});
      if (uvs) m.pointUvs.push_back({x * 255 / w, y * 255 / h});
    }
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      const int p00 = y * (w + 1) + x, p10 = p00 + 1, p01 = p00 + w + 1, p11 = p01 + 1;
      for (std::array<int, 3> t : {std::array<int, 3>{p00, p10, p01}, std::array<int, 3>{p01, p10, p11}}) {
        const int roll = static_cast<int>(rng() % 24);
        if (roll < 2) std::swap(t[1], t[2]);
        m.triangles.push_back(t);
        if (roll == 2) m.triangles.push_back(t);
        if (roll == 3) m.triangles.push_back({t[0], t[2], t[1]});
        if (roll == 4) {
          const int k = static_cast<int>(rng() % 3), a = t[k], b = t[(k + 1) % 3];
          m.points.push_back({(m.points[a][0] + m.points[b][0]) / 2, (m.points[a][1] + m.points[b][1]) / 2, 1.0f});
          if (uvs) m.pointUvs.push_back(m.pointUvs[a]);
          const int fin = static_cast<int>(m.points.size()) - 1;
          m.triangles.push_back(rng() % 2 ? std::array<int, 3>{a, b, fin} : std::array<int, 3>{b, a, fin});
        }
      }
    }
  m.faceNormals.assign(m.triangles.size(), {0.0f, 0.0f, 1.0f});
  return m;
}

// Every triangle of a damaged mesh comes back once per source face with its
// winding, in strips and in every volume mode, ASCII and binary; the faces
// of the four-face case are written as hand-worked.
TEST(ChunkFiles, DamagedMeshesKeepEveryTriangleWithItsWinding) {
  int runs = 0, quads = 0;
  for (unsigned seed : {1u, 2u, 3u}) {
    for (bool uvs : {false, true}) {
      const vktest::VkaTriangleMesh mesh = ScannedGrid(9, 7, seed, uvs);
      std::vector<Triangle> source(mesh.triangles.begin(), mesh.triangles.end());
      for (const char *mode : {"", "-coS", "-co3", "-co34"}) {
        for (bool binary : {false, true}) {
          SCOPED_TRACE(std::to_string(seed) + (uvs ? " uv " : " ") + mode + (binary ? " -bin" : ""));
          vktest::ScratchDir dir;
          ASSERT_TRUE(vktest::WriteFile(dir.file("scan.vka"), vktest::GenerateMeshVka(mesh)));
          std::vector<std::string> args = {"scan.vka"};
          if (*mode) args.push_back(mode);
          if (binary) args.push_back("-bin");
          const vktest::RunResult run = vktest::RunVkconv(args, dir.path());
          const std::string bytes = vktest::ReadFile(dir.file(binary ? "scan.vk" : "scan.vka"));
          const auto objects = binary ? DecodeBinary(bytes) : DecodeAscii(bytes);
          ASSERT_EQ(objects.size(), 1u) << run.err;
          EXPECT_EQ(chunktest::Normalized(objects[0].triangles), chunktest::Normalized(source));
          quads += objects[0].quads;
          ++runs;
        }
      }
    }
  }
  EXPECT_EQ(runs, 48);
  EXPECT_GT(quads, 0);

  vktest::ScratchDir dir;
  vktest::VkaTriangleMesh four;
  four.baseName = "four";
  four.points = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {2, 1, 0.2f}, {2, 0, 0.3f}, {3, 1, 0.1f}};
  four.triangles = {{0, 1, 2}, {1, 3, 4}, {3, 1, 2}, {3, 5, 4}};
  ASSERT_TRUE(vktest::WriteFile(dir.file("four.vka"), vktest::GenerateMeshVka(four)));
  vktest::RunVkconv({"four.vka"}, dir.path());
  const std::string text = vktest::ReadFile(dir.file("four.vka"));
  EXPECT_NE(text.find("\tCnkS( 0x0 ), 12, _NB( UFO_0, 2 ),\n\tStripL(3),  0, 1, 2, \n\tStripR(5),  2, 1, 3, 4, 5, \n"
                      "\tCnkNull(),\n"),
            std::string::npos)
      << text;
}

// ---- Labels -----------------------------------------------------------------------
// Base names with characters that cannot stand in a label (the bundled sample
// renamed): every label uses "_" in their place, one warning names the file,
// and the files are byte for byte those of a run on the name so spelt.
TEST(ChunkFiles, BaseNamesAreWrittenAsLabels) {
  const std::string sample = vktest::ReadFile(vktest::SourceDir() + "/examples/sample.vka");
  ASSERT_FALSE(sample.empty());
  struct Case {
    std::string name, label;  // base names
    std::vector<std::string> args;
    std::vector<std::string> files;  // written, by suffix
  };
  const Case cases[] = {
      {"my model", "my_model", {}, {".vka"}},
      {"a-b+c", "a_b_c", {"-septex"}, {".vad", ".vat"}},
      {"caf\xc3\xa9 1", "caf___1", {}, {".vka"}},  // two bytes of UTF-8
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.label);
    vktest::ScratchDir dir;
    std::vector<std::string> odd = {c.name + ".vka"}, plain = {c.label + ".vka"};
    odd.insert(odd.end(), c.args.begin(), c.args.end());
    plain.insert(plain.end(), c.args.begin(), c.args.end());
    ASSERT_TRUE(vktest::WriteFile(dir.file(odd[0]), sample) && vktest::WriteFile(dir.file(plain[0]), sample));
    const vktest::RunResult oddRun = vktest::RunVkconv(odd, dir.path());
    const vktest::RunResult plainRun = vktest::RunVkconv(plain, dir.path());
    const std::string warning = "\n##### Warning : The base name \"" + c.name + "\" of " + c.name +
                                ".vka can't stand in a label; labels use \"" + c.label + "\"\n";
    const size_t at = oddRun.err.find(warning);
    ASSERT_NE(at, std::string::npos) << oddRun.err;
    EXPECT_EQ(std::string(oddRun.err).erase(at, warning.size()), plainRun.err);
    for (const std::string &suffix : c.files) {
      const std::string written = vktest::ReadFile(dir.file(c.name + suffix));
      EXPECT_EQ(written, vktest::ReadFile(dir.file(c.label + suffix))) << suffix;
      EXPECT_EQ(written.find(c.name), std::string::npos) << suffix;
    }
    const std::string model = vktest::ReadFile(dir.file(c.name + c.files[0]));
    // The reader cuts the prefix "object_" + base name + "_" by its length.
    const std::string antenna = std::string("object_sample_antenna").substr(8 + c.name.size());
    EXPECT_NE(model.find("CNKOBJECT  object_" + c.label + "_" + antenna + "[]"), std::string::npos);
    EXPECT_EQ(DecodeAscii(model).size(), 4u);
  }
}

}  // namespace
