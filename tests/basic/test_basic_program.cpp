// End-to-end runs of the built program on the -B route: a Chunk model made
// from the -B output equals the one made from the source, except where the
// format forces a difference; the files each route leaves; the refusals that
// leave every file as it was; the largest object the format holds.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "basic/basic_test_util.h"
#include "reader/reader.h"
#include "support/vka_gen.h"

// The cases name only the generator settings they change.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

namespace {

using namespace vktest;

std::vector<std::string> Lines(const std::string &text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

// Empty when the two Chunk-model files are equal but for the UVs that the
// Basic format takes back one step of 1/255 lower (trunc((1 - v) x 255) of a
// v that the reader stored as 1 - V / 255): at most 2 in Uvn's units of
// 1/256, 5 in Uvh's of 1/1024. Otherwise the first other difference.
std::string ChunkDifference(const std::string &direct, const std::string &viaBasic, bool uvSteps) {
  const std::vector<std::string> a = Lines(direct), b = Lines(viaBasic);
  if (a.size() != b.size()) return "line count " + std::to_string(a.size()) + " != " + std::to_string(b.size());
  static const std::regex uv(R"(Uv([nh])\( (-?\d+), (-?\d+) \))");
  for (size_t i = 0; i < a.size(); ++i) {
    if (a[i] == b[i]) continue;
    const std::string where = "line " + std::to_string(i + 1) + ":\n" + a[i] + "\n" + b[i];
    if (!uvSteps || std::regex_replace(a[i], uv, "") != std::regex_replace(b[i], uv, "")) return where;
    std::sregex_iterator x(a[i].begin(), a[i].end(), uv), y(b[i].begin(), b[i].end(), uv), end;
    for (; x != end && y != end; ++x, ++y) {
      const int limit = (*x)[1] == "n" ? 2 : 5;
      for (int k : {2, 3})
        if (std::abs(std::stoi((*x)[k]) - std::stoi((*y)[k])) > limit) return where;
    }
    if (x != end || y != end) return where;
  }
  return "";
}

std::vector<std::string> Args(const std::string &input, const std::vector<std::string> &options) {
  std::vector<std::string> args{input};
  args.insert(args.end(), options.begin(), options.end());
  return args;
}

// Chunk-model files made directly and through -B, over vertex kinds, strips,
// volume modes, polygon vertex normals and colours, UV precision and binary
// output. Normals and UVs are chosen so that "%9.6f" keeps them (grids of a
// power of two), except in the model whose UVs are allowed their step. No
// material holds both triangles and quadrangles: the Basic model lists a
// material's triangles before its quadrangles, so the Chunk model made from
// it would strip them in another order.
TEST(BasicProgram, AChunkModelMadeThroughBasicEqualsTheDirectOne) {
  const struct {
    const char *what;
    VkaGenParams params;
    bool uvSteps;  // UVs that the Basic format moves by one step
  } models[] = {
      {"polygon entries, strips and quadrangles, polygon normals, palette banks, LW source",
       {.baseName = "m", .objects = 3, .childrenPerNode = 2, .gridWidth = 4, .gridHeight = 4,
        .meshKinds = {VkaMesh::kPolygons, VkaMesh::kQuads, VkaMesh::kStrips, VkaMesh::kQuads},
        .polyNormals = true, .uvs = false, .materials = 2, .evalFlags = 0x20, .textures = 2, .paletteBanks = true},
       false},
      {"quadrangles, tags kept by the flags, one row of UVs",
       {.baseName = "m", .objects = 5, .childrenPerNode = 1, .gridWidth = 8, .gridHeight = 1,
        .meshKinds = {VkaMesh::kQuads}, .materials = 3, .materialTag = "A21D150EsFL_", .textures = 2},
       false},
      {"reverse strips, default material list, banks",
       {.baseName = "m", .objects = 4, .childrenPerNode = 3, .gridWidth = 2, .gridHeight = 1,
        .meshKinds = {VkaMesh::kReverseStrips}, .normals = false, .materials = 1, .textures = 1, .paletteBanks = true,
        .defaultMaterialList = true},
       false},
      {"UVs on several rows",
       {.baseName = "m", .objects = 3, .childrenPerNode = 2, .gridWidth = 4, .gridHeight = 4,
        .meshKinds = {VkaMesh::kTriangles, VkaMesh::kQuads, VkaMesh::kStrips, VkaMesh::kQuads},
        .materials = 2, .textures = 2},
       true},
  };
  const std::vector<std::vector<std::string>> optionSets = {
      {}, {"-bin"}, {"-VND8"}, {"-co34"}, {"-coS", "-bin"}, {"-pvn"}, {"-pvc"}, {"-uvh"}, {"-SH", "-bin"}, {"-dma"}};
  for (const auto &model : models) {
    const std::string input = GenerateVka(model.params);
    for (const auto &options : optionSets) {
      const bool binary = std::find(options.begin(), options.end(), "-bin") != options.end();
      if (binary && model.uvSteps) continue;
      std::string trace = model.what;
      for (const std::string &o : options) trace += " " + o;
      SCOPED_TRACE(trace);
      ScratchDir direct, viaBasic;
      ASSERT_TRUE(WriteFile(direct.file("m.vka"), input) && WriteFile(viaBasic.file("m.vka"), input));
      RunVkconv(Args("m.vka", options), direct.path());
      RunVkconv(model.params.polyNormals ? Args("m.vka", {"-B", "-polynormal"}) : Args("m.vka", {"-B"}),
                viaBasic.path());
      RunVkconv(Args("m.vka", options), viaBasic.path());
      const char *output = binary ? "m.vk" : "m.vka";
      const std::string expected = ReadFile(direct.file(output));
      ASSERT_FALSE(expected.empty());
      EXPECT_EQ(ChunkDifference(expected, ReadFile(viaBasic.file(output)), model.uvSteps), "");
    }
  }
}

// Which files each run leaves: -B writes the Basic model under the input's
// name and keeps the input as .vka.bk; -B -bin writes .vk beside an
// untouched input; -septex puts the model data under .vad / .vkd and the
// texture list under .vat / .vkt (which -notexture leaves).
TEST(BasicProgram, FilesOfEachRoute) {
  const char *kVad = "/* VAD 0.86alpha1 VorkaAsciiModel (VKA) */\n";
  const struct {
    std::vector<std::string> args;
    std::vector<std::string> files;  // left in the folder, besides the input when it stays
    bool inputStays;
    const char *written, *firstBytes;  // the model file
  } cases[] = {
      {{"m", "-B"}, {"m.vka", "m.vka.bk"}, false, "m.vka", "/* VKA 0.86alpha1 VorkaAsciiDataMix (VKA) */\n"},
      {{"m.vka", "-B", "-BD"}, {"m.vk"}, true, "m.vk", "VKTL"},
      {{"m.vka", "-B", "-septex"}, {"m.vad", "m.vat", "m.vka.bk"}, false, "m.vad", kVad},
      {{"m.vka", "-B", "-st", "-bin"}, {"m.vkd", "m.vkt"}, true, "m.vkd", "VKBM"},
      {{"m.vka", "-B", "-septex", "-notexture"}, {"m.vad", "m.vat", "m.vka.bk"}, false, "m.vad", kVad},
  };
  const std::string input = GenerateVka({.baseName = "m", .objects = 2, .textures = 1});
  for (const auto &c : cases) {
    SCOPED_TRACE(c.args[1] + " " + c.args.back());
    ScratchDir dir;
    ASSERT_TRUE(WriteFile(dir.file("m.vka"), input));
    const RunResult run = RunVkconv(c.args, dir.path());
    EXPECT_EQ(run.status, 0);
    EXPECT_NE(run.err.find("[INPUT BASIC][OUTPUT BASIC]"), std::string::npos) << run.err;
    std::vector<std::string> files = c.files, left;
    if (c.inputStays) files.push_back("m.vka");
    for (const auto &entry : std::filesystem::directory_iterator(dir.path()))
      left.push_back(entry.path().filename().string());
    std::sort(files.begin(), files.end()), std::sort(left.begin(), left.end());
    EXPECT_EQ(left, files);
    EXPECT_EQ(ReadFile(dir.file(c.inputStays ? "m.vka" : "m.vka.bk")), input);
    EXPECT_EQ(ReadFile(dir.file(c.written)).rfind(c.firstBytes, 0), 0u);
  }
}

// A model the format cannot hold is refused before any file is touched: the
// input stays, no backup, no output, and the error names the object. An
// older backup survives.
TEST(BasicProgram, ModelsBeyondTheFormatAreRefusedBeforeAnyFileIsTouched) {
  // 182 x 182 points: past the 32768 a polygon list can index.
  const std::string grid =
      GenerateVka({.baseName = "big", .gridWidth = 181, .gridHeight = 181, .normals = false, .uvs = false});
  // 35000 triangles listed twice over one material: 70000 in one mesh set.
  VkaTriangleMesh mesh{.baseName = "big", .points = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}};
  mesh.triangles.assign(35000, {0, 1, 2});
  std::string many = GenerateMeshVka(mesh);
  const size_t from = many.find("MESHSTART"), to = many.find("MESHEND\n\n") + 9;
  many.insert(to, many.substr(from, to - from)).replace(many.find("MeshsetNum  1"), 13, "MeshsetNum  2");
  const std::string points = "Error : Object o0 has 33124 points; a Basic model indexes at most 32768 per object\n";
  const struct {
    std::string input;
    std::vector<std::string> options;
    std::string error;
  } cases[] = {
      {grid, {"-B"}, points},
      {grid, {"-B", "-bin"}, points},
      {many, {"-B"},
       "Error : Object o0 has 70000 meshes of one kind in one material; a Basic-model mesh set holds at most 65535\n"},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.error + c.options.back());
    ScratchDir dir;
    ASSERT_TRUE(WriteFile(dir.file("big.vka"), c.input));
    ASSERT_TRUE(WriteFile(dir.file("big.vka.bk"), "an older backup\n"));
    const RunResult run = RunVkconv(Args("big.vka", c.options), dir.path());
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err, "[INPUT BASIC]\n##### " + c.error);
    EXPECT_TRUE(ReadFile(dir.file("big.vka")) == c.input);
    EXPECT_EQ(ReadFile(dir.file("big.vka.bk")), "an older backup\n");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), 2);
  }
}

// The largest object the format holds: 128 x 256 = 32768 points, 64770
// triangles in one mesh set, written and read back whole.
TEST(BasicProgram, TheLargestObjectIsWrittenWhole) {
  ScratchDir dir;
  const VkaGenParams params{.baseName = "edge", .gridWidth = 127, .gridHeight = 255, .normals = false, .uvs = false};
  ASSERT_TRUE(WriteVka(dir.file("edge.vka"), params));
  const RunResult run = RunVkconv({"edge.vka", "-B"}, dir.path());
  EXPECT_EQ(run.err.find("Error"), std::string::npos) << run.err;
  ScMallocTabInit();
  {
    chunktest::QuietConsole quiet;
    ScObject *scene = ReadBasicModel(dir.file("edge.vka").c_str());
    ASSERT_NE(scene, nullptr);
    ASSERT_NE(scene->root->mesh, nullptr);
    EXPECT_EQ(scene->root->mesh->nbVertex, 32768);
    EXPECT_EQ(scene->root->mesh->nbPolygon, ExpectedVkaCounts(params).trianglesPerObject);
  }
  ScFreeAll();
}

}  // namespace
