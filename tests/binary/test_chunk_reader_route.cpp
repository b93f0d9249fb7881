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

// The comparison described at the top of the file; `model` is the direct file decoded.
::testing::AssertionResult SameModel(const std::string &direct, const std::string &read, DecodedModel &model) {
  std::vector<FileChunk> directChunks, readChunks;
  if (!SplitChunks(direct, directChunks) || !SplitChunks(read, readChunks) || direct.size() != read.size())
    return ::testing::AssertionFailure() << "chunks do not tile the files or sizes differ";
  for (size_t i = 0; i < directChunks.size(); ++i)
    if (directChunks[i].name != readChunks[i].name || directChunks[i].payload != readChunks[i].payload)
      return ::testing::AssertionFailure() << "chunk " << i << " differs";
  model = DecodeModel(direct);
  if (model.objects.empty() || DecodeModel(read).objects.size() != model.objects.size())
    return ::testing::AssertionFailure() << "objects differ";
  std::vector<char> rounded(direct.size(), 0);
  for (const RoundedValue &value : model.rounded) {
    const size_t at = value.offset;
    std::fill_n(rounded.begin() + at, value.kind == Rounded::kNormal ? 2 : 4, 1);
    const long delta = value.kind == Rounded::kAngle
                           ? static_cast<long>(static_cast<int32_t>(U32(read, at))) - static_cast<int32_t>(U32(direct, at))
                           : static_cast<int16_t>(U16(read, at)) - static_cast<int16_t>(U16(direct, at));
    if (value.kind == Rounded::kFloat && F32(read, at) != SixDecimals(F32(direct, at)))
      return ::testing::AssertionFailure() << "float at " << at << ": " << F32(read, at) << " from " << F32(direct, at);
    if (value.kind != Rounded::kFloat && std::labs(delta) > 1)
      return ::testing::AssertionFailure() << "angle or normal at " << at << " off by " << delta;
  }
  for (size_t at = 0; at < direct.size(); ++at)
    if (!rounded[at] && direct[at] != read[at])
      return ::testing::AssertionFailure() << "byte " << at << " differs outside the rounded values";
  return ::testing::AssertionSuccess();
}

TEST(ChunkReaderRoute, ChunkAsciiToBinaryMatchesTheDirectBinary) {
  for (const RouteCase &c : Cases()) {
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
    EXPECT_EQ(RunVkconv({"a.vka", "-bin"}, dir.path()).err, "[INPUT CHUNK][OUTPUT CHUNK]");
    EXPECT_TRUE(ReadFile(dir.file("a.vka")) == chunkText) << "the input changed";
    const std::string expected = ReadFile(dir.file("m.vk")), got = ReadFile(dir.file("a.vk"));
    ASSERT_FALSE(expected.empty());
    DecodedModel model;
    EXPECT_TRUE(SameModel(expected, got, model));
    // One material: the vertices and strips need more than one chunk.
    if (c.source == Source::kBig && !model.objects.empty()) {
      EXPECT_EQ(model.objects[0].vertexChunks, c.options[0] == "-VNSH" ? 2 : 1);
      EXPECT_GE(model.objects[0].stripChunkIds.size(), c.options[0] == "-VNSH" ? 1u : 2u);
    }
    // One object at the origin: nothing is rounded away, the files are equal.
    EXPECT_TRUE(c.source != Source::kOne || got == expected);
  }
}

}  // namespace
