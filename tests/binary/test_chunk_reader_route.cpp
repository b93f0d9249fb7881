// The Chunk-model route end to end: a generated Basic model converted to a
// Chunk-model ASCII file and that file converted with -bin gives the binary
// file that the Basic model converted with -bin directly gives. The files
// are compared byte for byte, except the values that the ASCII form holds
// rounded (floats and per-vertex strip normals with six decimals, angles in
// degrees): a float must be exactly the direct float printed with six
// decimals and read back, an angle or a normal component at most one unit
// apart.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "binary/binary_model.h"
#include "support/test_support.h"
#include "support/vka_gen.h"

// The cases name only the generator settings they change.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

namespace {

using namespace vktest;
using namespace binarytest;

enum class Source { kGrid, kOne, kTagged, kStrips, kBig, kUser1, kUser3, kSample };

VkaGenParams Params(Source source) {
  switch (source) {
    case Source::kGrid:  // a hierarchy of turned children, two materials, two textures
      return {.baseName = "m", .objects = 5, .childrenPerNode = 2, .gridWidth = 3, .gridHeight = 2,
              .meshKinds = {VkaMesh::kTriangles, VkaMesh::kQuads}, .polyNormals = true, .materials = 2,
              .textures = 2};
    case Source::kOne:  // one object at the origin: every value has six exact decimals
      return {.baseName = "m", .gridWidth = 4, .gridHeight = 2, .meshKinds = {VkaMesh::kTriangles, VkaMesh::kQuads},
              .materials = 2, .textures = 1};
    case Source::kTagged:
      return {.baseName = "m", .objects = 2, .childrenPerNode = 1, .gridWidth = 3, .gridHeight = 2,
              .meshKinds = {VkaMesh::kTriangles, VkaMesh::kStrips}, .materials = 3,
              .materialTag = "MateA21D150B07EsHiFU2VcEn_", .textures = 2, .paletteBanks = true};
    case Source::kStrips:
      return {.baseName = "m", .objects = 4, .childrenPerNode = 1, .gridWidth = 3, .gridHeight = 3,
              .meshKinds = {VkaMesh::kStrips, VkaMesh::kReverseStrips, VkaMesh::kPolygons}, .normals = false,
              .materials = 2, .evalFlags = 0x20, .defaultMaterialList = true};
    case Source::kBig:  // 10201 vertices: a split vertex list with eight words per vertex
      return {.baseName = "m", .gridWidth = 100, .gridHeight = 100, .materials = 1, .textures = 1};
    case Source::kUser1:
      return {.baseName = "m", .objects = 3, .gridWidth = 3, .gridHeight = 2, .materials = 2, .materialTag = "U1_",
              .textures = 1};
    case Source::kUser3:
      return {.baseName = "m", .objects = 3, .gridWidth = 3, .gridHeight = 2,
              .meshKinds = {VkaMesh::kQuads, VkaMesh::kTriangles}, .materials = 2, .materialTag = "U3_"};
    case Source::kSample: break;
  }
  return {};
}

struct RouteCase {
  Source source;
  std::vector<std::string> options;
};

// Every vertex kind, on a hierarchy and on a single object.
constexpr const char *kVertexKinds[] = {"-VN",   "-SH",   "-VNSH", "-CV",   "-D8",   "-UF",   "-NF",
                                        "-S5",   "-S4",   "-IN",   "-VND8", "-VNUF", "-VNNF", "-VNS5",
                                        "-VNS4", "-VNIN", "-VNX",  "-VNXD8", "-VNXUF"};

const std::vector<RouteCase> kOtherCases = {
    {Source::kGrid, {"-VCOM", "-UF", "-vctouf"}}, {Source::kOne, {"-VCOM", "-VNX"}},
    // Strip kinds: plain, UV (256 and 1024), normals, colours and their mixes.
    {Source::kGrid, {"-pvn"}}, {Source::kGrid, {"-pvc"}}, {Source::kGrid, {"-pvn", "-pvc"}},
    {Source::kGrid, {"-uvh"}}, {Source::kGrid, {"-uvh", "-pvn"}}, {Source::kGrid, {"-uvh", "-pvc"}},
    {Source::kStrips, {"-pvc"}}, {Source::kUser3, {"-pvn"}},
    {Source::kOne, {"-pvc", "-D8"}}, {Source::kOne, {"-uvh", "-euv"}},
    {Source::kTagged, {}}, {Source::kTagged, {"-pvc", "-uvh", "-euv"}}, {Source::kTagged, {"-pvn"}},
    {Source::kStrips, {}}, {Source::kStrips, {"-pvn"}},
    // Volume modes.
    {Source::kGrid, {"-co3"}}, {Source::kGrid, {"-coS"}}, {Source::kGrid, {"-co34"}}, {Source::kStrips, {"-co34"}},
    {Source::kOne, {"-co34"}}, {Source::kStrips, {"-coS"}},
    // User words: polygon colours, and one to three words by material tag.
    {Source::kGrid, {"-pctouf"}}, {Source::kGrid, {"-coS", "-pctouf"}}, {Source::kGrid, {"-co34", "-pctouf"}},
    {Source::kUser1, {}}, {Source::kUser1, {"-co34"}}, {Source::kUser3, {}}, {Source::kUser3, {"-coS"}},
    {Source::kUser3, {"-co3", "-pvn"}}, {Source::kUser1, {"-pvc", "-uvh"}},
    // Materials.
    {Source::kGrid, {"-delmat"}}, {Source::kGrid, {"-dma"}}, {Source::kGrid, {"-da", "-nodiffuse"}},
    {Source::kTagged, {"-noenv", "-forcetex", "-delmat"}}, {Source::kTagged, {"-noflags"}},
    // Hierarchy and transforms.
    {Source::kGrid, {"-G"}}, {Source::kGrid, {"-rmb"}}, {Source::kGrid, {"-trr"}}, {Source::kGrid, {"-trt"}},
    {Source::kGrid, {"-gscale", "2.5"}}, {Source::kOne, {"-gs", "0.5"}},
    // Large: a split vertex list, and long strips with UV and normals.
    {Source::kBig, {"-VNSH"}}, {Source::kBig, {"-pvn", "-uvh"}},
    // The bundled sample.
    {Source::kSample, {}}, {Source::kSample, {"-pvn", "-VNX"}}, {Source::kSample, {"-rmb", "-pvc"}},
};

std::vector<RouteCase> Cases() {
  std::vector<RouteCase> cases;
  for (Source source : {Source::kGrid, Source::kOne})
    for (const char *kind : kVertexKinds) cases.push_back({source, {kind}});
  cases.insert(cases.end(), kOtherCases.begin(), kOtherCases.end());
  return cases;
}

std::string CaseName(const RouteCase &c) {
  static const char *const kNames[] = {"grid", "one", "tagged", "strips", "big", "user1", "user3", "sample"};
  std::string name = kNames[static_cast<int>(c.source)];
  for (const std::string &option : c.options) name += " " + option;
  return name;
}

bool WriteSource(Source source, const std::string &path) {
  if (source == Source::kSample) return WriteFile(path, ReadFile(SourceDir() + "/examples/sample.vka"));
  return WriteVka(path, Params(source));
}

// What the ASCII form makes of a float: printed with six decimals, read back.
float SixDecimals(float value) {
  char text[96];
  std::snprintf(text, sizeof text, "%.6f", static_cast<double>(value));
  return static_cast<float>(std::strtod(text, nullptr));
}

struct Differences {
  int floats = 0;  // rounded floats that differ from the direct ones (as they must)
  int angles = 0;
  int normals = 0;
};

// The comparison described at the top of the file.
::testing::AssertionResult SameModel(const std::string &direct, const std::string &read, Differences &diff,
                                     DecodedModel &model) {
  std::vector<FileChunk> directChunks, readChunks;
  if (!SplitChunks(direct, directChunks) || !SplitChunks(read, readChunks))
    return ::testing::AssertionFailure() << "chunks do not tile the files";
  if (direct.size() != read.size()) return ::testing::AssertionFailure() << direct.size() << " != " << read.size();
  std::vector<char> rounded(direct.size(), 0);
  bool sawModel = false;
  for (size_t i = 0; i < directChunks.size(); ++i) {
    const FileChunk &chunk = directChunks[i];
    if (chunk.name != readChunks[i].name || chunk.payload != readChunks[i].payload)
      return ::testing::AssertionFailure() << "chunk " << i << " differs";
    if (chunk.name != "VKCM") continue;
    sawModel = true;
    model = ModelDecoder(direct, chunk).Run();
    if (!model.ok) return ::testing::AssertionFailure() << "direct file: " << model.error;
    const DecodedModel again = ModelDecoder(read, readChunks[i]).Run();
    if (!again.ok || again.objects != model.objects || again.models != model.models)
      return ::testing::AssertionFailure() << "read file: " << again.error;
    for (const RoundedValue &value : model.rounded) {
      const size_t at = value.offset;
      for (int k = 0; k < (value.kind == Rounded::kNormal ? 2 : 4); ++k) rounded[at + k] = 1;
      switch (value.kind) {
        case Rounded::kFloat:
          if (F32(read, at) != SixDecimals(F32(direct, at)))
            return ::testing::AssertionFailure() << "float at " << at << ": " << F32(read, at) << " from "
                                                 << F32(direct, at);
          diff.floats += F32(read, at) != F32(direct, at);
          break;
        case Rounded::kAngle: {
          const long delta = static_cast<long>(static_cast<int32_t>(U32(read, at))) -
                             static_cast<int32_t>(U32(direct, at));
          if (std::labs(delta) > 1) return ::testing::AssertionFailure() << "angle at " << at << " off by " << delta;
          diff.angles += delta != 0;
          break;
        }
        case Rounded::kNormal: {
          const int delta = static_cast<int16_t>(U16(read, at)) - static_cast<int16_t>(U16(direct, at));
          if (std::abs(delta) > 1) return ::testing::AssertionFailure() << "normal at " << at << " off by " << delta;
          diff.normals += delta != 0;
          break;
        }
      }
    }
  }
  if (!sawModel) return ::testing::AssertionFailure() << "no VKCM chunk";
  for (size_t at = 0; at < direct.size(); ++at)
    if (!rounded[at] && direct[at] != read[at])
      return ::testing::AssertionFailure() << "byte " << at << " differs outside the rounded values";
  return ::testing::AssertionSuccess();
}

TEST(ChunkReaderRoute, ChunkAsciiToBinaryMatchesTheDirectBinary) {
  Differences total;
  int identical = 0;
  const std::vector<RouteCase> cases = Cases();
  for (const RouteCase &c : cases) {
    SCOPED_TRACE(CaseName(c));
    ScratchDir dir;
    ASSERT_TRUE(WriteSource(c.source, dir.file("m.vka")));
    ASSERT_TRUE(WriteFile(dir.file("a.vka"), ReadFile(dir.file("m.vka"))));
    std::vector<std::string> direct = {"m.vka", "-bin"}, ascii = {"a.vka"};
    direct.insert(direct.end(), c.options.begin(), c.options.end());
    ascii.insert(ascii.end(), c.options.begin(), c.options.end());
    RunVkconv(direct, dir.path());
    RunVkconv(ascii, dir.path());
    const std::string chunkText = ReadFile(dir.file("a.vka"));
    ASSERT_NE(chunkText.find("CnkModel"), std::string::npos) << "no Chunk-model ASCII file";
    const RunResult run = RunVkconv({"a.vka", "-bin"}, dir.path());
    EXPECT_EQ(run.err, "[INPUT CHUNK][OUTPUT CHUNK]");
    EXPECT_EQ(ReadFile(dir.file("a.vka")), chunkText) << "the input changed";
    const std::string expected = ReadFile(dir.file("m.vk")), got = ReadFile(dir.file("a.vk"));
    ASSERT_FALSE(expected.empty());
    Differences diff;
    DecodedModel model;
    EXPECT_TRUE(SameModel(expected, got, diff, model));
    if (c.source == Source::kBig) {  // one material: the strips need more than one chunk
      EXPECT_EQ(model.maxVertexChunks, c.options[0] == "-VNSH" ? 2 : 1);
      EXPECT_GE(model.stripChunks, c.options[0] == "-VNSH" ? 1 : 2);
    }
    // One object at the origin: nothing is rounded away, the files are equal.
    if (c.source == Source::kOne) {
      EXPECT_TRUE(got == expected);
    }
    identical += got == expected;
    total.floats += diff.floats, total.angles += diff.angles, total.normals += diff.normals;
  }
  std::printf("[ route ] %zu cases, %d byte-identical; rounded values that differ: %d floats, %d angles, %d normals\n",
              cases.size(), identical, total.floats, total.angles, total.normals);
}

// ---- Texture lists --------------------------------------------------------------------------
// A texture line of the section in its ASCII form: TEXN, PTEXN with the
// same-name flag and bank, or TEXN3; then blanks and an info comment.
struct TextureLine {
  std::string name;
  int form;  // 0 TEXN, 1 PTEXN, 2 TEXN3
  int flag;
  int bank;
};

std::string SectionText(const std::string &list, const std::vector<TextureLine> &lines) {
  std::string text = "TEXTURE_START\n\nTEXTURENAME textures_" + list + "[]\nSTART\n";
  for (const TextureLine &t : lines) {
    if (t.form == 0) text += "\tTEXN( \"" + t.name + "\" ),";
    if (t.form == 1) text += "\tPTEXN( \"" + t.name + "\", " + std::to_string(t.flag) + ", " + std::to_string(t.bank) + " ),";
    if (t.form == 2) text += "\tTEXN3( \"" + t.name + "\", 0x0, 0 ),";
    text += std::string(t.name.size() < 15 ? 16 - t.name.size() : 1, ' ') + "/* 0 64x64 565 TW MIP */\n";
  }
  return text + "END\n\nTEXTURELIST texlist_" + list + "\nSTART\nTextureList textures_" + list +
         ",\nTextureNum  " + std::to_string(lines.size()) + ",\nEND\n\nTEXTURE_END\n\n\n";
}

std::string Le32(uint32_t value) {
  std::string bytes;
  for (int k = 0; k < 4; ++k) bytes.push_back(static_cast<char>(value >> (8 * k)));
  return bytes;
}

// The VKTL chunk and its POF0 chunk as the texture-list section writes them
// in binary: "T12" the list, "P12" the entries, "!g$i" the count, "T12" the
// entries, "g$I$i" per entry (name, 0x10000 for a PTEXN line whose flag is
// 1, bank << 26); the names after the entries, the chunk padded to 4.
std::string TextureChunks(const std::vector<TextureLine> &lines) {
  std::string payload = Le32(8) + Le32(static_cast<uint32_t>(lines.size())), names;
  const size_t namesAt = 8 + 12 * lines.size();
  std::string pointers(1, '\x40');  // the entries pointer at 0
  for (size_t i = 0; i < lines.size(); ++i) {
    const TextureLine &t = lines[i];
    payload += Le32(static_cast<uint32_t>(namesAt + names.size()));
    payload += Le32(t.form == 1 && t.flag ? 0x10000 : 0) + Le32(t.form == 1 ? static_cast<uint32_t>(t.bank) << 26 : 0);
    names += t.name + std::string(1, '\0');
    pointers += static_cast<char>(0x40 | (i == 0 ? 2 : 3));  // name pointers at 8, 20, 32, ...
  }
  payload += names;
  payload.resize((payload.size() + 3) / 4 * 4, '\0');
  pointers.resize((pointers.size() + 3) / 4 * 4, '\0');
  return "VKTL" + Le32(static_cast<uint32_t>(payload.size())) + payload + "POF0" +
         Le32(static_cast<uint32_t>(pointers.size())) + pointers;
}

TEST(ChunkReaderRoute, TextureSectionsBecomeTheTextureListChunk) {
  const std::vector<std::vector<TextureLine>> sections = {
      {{"tex0", 0, 0, 0}},
      {{"wood", 1, 0, 2}, {"wood", 1, 1, 2}, {"stone", 1, 0, 63}},
      {{"a_texture_name_longer_than_sixteen", 2, 0, 0}, {"b", 2, 0, 0}},
  };
  for (const std::vector<TextureLine> &section : sections) {
    SCOPED_TRACE(section[0].name);
    ScratchDir dir;
    ASSERT_TRUE(WriteVka(dir.file("m.vka"), Params(Source::kOne)));
    ASSERT_TRUE(WriteFile(dir.file("a.vka"), ReadFile(dir.file("m.vka"))));
    RunVkconv({"m.vka", "-bin"}, dir.path());
    RunVkconv({"a.vka"}, dir.path());
    // The section written (for tex0.bmp, which is not there) is replaced.
    std::string text = ReadFile(dir.file("a.vka"));
    const size_t from = text.find("TEXTURE_START"), to = text.find("TEXTURE_END\n\n\n");
    ASSERT_NE(to, std::string::npos);
    text.replace(from, to + 14 - from, SectionText("a", section));
    ASSERT_TRUE(WriteFile(dir.file("a.vka"), text));
    const RunResult run = RunVkconv({"a.vka", "-bin"}, dir.path());
    EXPECT_EQ(run.err, "[INPUT CHUNK][OUTPUT CHUNK]");
    // m.vk without its own VKTL chunk and that chunk's POF0 chunk.
    const std::string model = ReadFile(dir.file("m.vk"));
    size_t skip = 0;
    for (int chunk = 0; chunk < 2 && skip + 8 <= model.size(); ++chunk)
      skip += 8 + (static_cast<uint8_t>(model[skip + 4]) | static_cast<uint8_t>(model[skip + 5]) << 8);
    EXPECT_EQ(ReadFile(dir.file("a.vk")), TextureChunks(section) + model.substr(std::min(skip, model.size())));
  }
}

}  // namespace
