// The reader's one counting pass (block counts and array sizes together)
// against the literal two passes it replaces: counting the block words of
// every line, then, after a rewind, measuring every array block.
#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "reader/basic_blocks.h"
#include "support/test_support.h"
#include "support/vka_gen.h"

// The tests name only the generator settings they change.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

namespace {

using vkreader::LineReader;
using vkreader::ReaderContext;

struct FileCloser {
  void operator()(std::FILE *file) const { std::fclose(file); }
};

// The literal first pass: every line whose first token is a block word.
void LiteralCountBlocks(ReaderContext &ctx) {
  static constexpr std::pair<std::string_view, int> kWords[] = {
      {"TEXN", vkreader::kTexEntry},          {"TEXN3", vkreader::kTexEntry},
      {"PTEXN", vkreader::kTexEntry},         {"MATSTART", vkreader::kMaterialKind},
      {"POLYGON", vkreader::kPolygonKind},    {"POLYNORMAL", vkreader::kPolyNormalKind},
      {"VERTUV", vkreader::kVertUvKind},      {"MESHSTART", vkreader::kMeshSetKind},
      {"POINT", vkreader::kPointKind},        {"NORMAL", vkreader::kNormalKind},
      {"MODEL", vkreader::kModelKind},        {"OBJECT", vkreader::kObjectKind},
  };
  ctx.counts = {};
  while (ctx.reader->ReadLine()) {
    for (const auto &[word, kind] : kWords) {
      if (ctx.reader->first() == word) {
        ctx.counts[kind]++;
        break;
      }
    }
  }
}

// The literal second pass: the values of a POLYGON block (a strip line's
// first two tokens not counted), the lines of the other array blocks; a
// START line begins the count again.
void LiteralMeasureArrays(ReaderContext &ctx) {
  struct Kind {
    std::string_view word;
    std::vector<int32_t> *sizes;
    bool values;
  };
  const Kind kinds[] = {{"POLYGON", &ctx.polygonSizes, true},
                        {"POLYNORMAL", &ctx.polyNormalSizes, false},
                        {"VERTUV", &ctx.vertUvSizes, false},
                        {"NORMAL", &ctx.normalSizes, false},
                        {"POINT", &ctx.pointSizes, false}};
  LineReader &r = *ctx.reader;
  while (r.ReadLine()) {
    for (const Kind &kind : kinds) {
      if (r.first() != kind.word) continue;
      int32_t count = 0;
      while (r.ReadLine()) {
        const std::string_view first = r.first();
        if (first == "END") break;
        if (first == "START") {
          count = 0;
        } else if (!kind.values) {
          count++;
        } else if (first == "Strip") {
          count += r.count() > 2 ? r.count() - 2 : 0;
        } else {
          count += r.count();
        }
      }
      kind.sizes->push_back(count);
      break;
    }
  }
}

struct Passes {
  std::array<int32_t, vkreader::kBlockKindCount> counts{};
  std::vector<int32_t> polygons, polyNormals, vertUvs, points, normals;
  int lines = 0;  // lines the pass read
  bool operator==(const Passes &) const = default;
};

Passes Take(const ReaderContext &ctx, const LineReader &r) {
  return {ctx.counts,     ctx.polygonSizes, ctx.polyNormalSizes, ctx.vertUvSizes,
          ctx.pointSizes, ctx.normalSizes,  r.line()};
}

// Both versions on the file `path`; the second pass is read after them to
// see that the reader stands where a rewind puts it.
void Compare(const std::string &path, const std::string &what) {
  std::unique_ptr<std::FILE, FileCloser> file(std::fopen(path.c_str(), "r"));
  ASSERT_TRUE(file) << path;
  LineReader reader(file.get());
  ReaderContext literal;
  literal.reader = &reader;
  LiteralCountBlocks(literal);
  const int lines = reader.line();
  reader.Rewind();
  LiteralMeasureArrays(literal);
  Passes expected = Take(literal, reader);
  expected.lines = lines;
  reader.Rewind();
  ReaderContext fast;
  fast.reader = &reader;
  fast.polygonSizes = {99};  // left from an earlier file: cleared
  fast.counts[0] = 7;
  vkreader::CountAndMeasureBlocks(fast);
  EXPECT_EQ(Take(fast, reader), expected) << what;
}

// Random lines of block words, START/END, strips, numbers and noise, some
// longer than a line of the reader, some without a final newline.
std::string RandomText(std::mt19937 &random) {
  static const char *const kWords[] = {
      "TEXN",  "TEXN3",   "PTEXN",    "MATSTART", "MATEND",    "POLYGON", "POLYNORMAL", "VERTUV", "MESHSTART",
      "POINT", "NORMAL",  "MODEL",    "OBJECT",   "START",     "END",     "Strip",      "MESHSET", "12",
      "-3",    "0x8000",  "VERT",     "(",        "POLYGONS",  "END2",    "",           "\t",     "Strip(1,"};
  std::string text;
  const int lines = std::uniform_int_distribution<int>(0, 300)(random);
  for (int i = 0; i < lines; i++) {
    const int tokens = std::uniform_int_distribution<int>(0, 6)(random);
    for (int t = 0; t < tokens; t++) {
      text += kWords[std::uniform_int_distribution<size_t>(0, std::size(kWords) - 1)(random)];
      text += " ,()"[std::uniform_int_distribution<int>(0, 3)(random)];
    }
    if (std::uniform_int_distribution<int>(0, 40)(random) == 0) {
      text.append(std::uniform_int_distribution<size_t>(100, 3 * vkreader::kLineSize)(random), 'x');
      text += " POLYGON 1 2 3";
    }
    if (i + 1 < lines || std::uniform_int_distribution<int>(0, 1)(random)) text += '\n';
  }
  return text;
}

TEST(SpeedPassesTest, OneCountingPassMatchesTheLiteralTwo) {
  vktest::ScratchDir dir;
  std::mt19937 random(20261124);
  for (int round = 0; round < 400; round++) {
    const std::string path = dir.file("random.vka");
    ASSERT_TRUE(vktest::WriteFile(path, RandomText(random)));
    Compare(path, "random text " + std::to_string(round));
  }
  // Generated models of every mesh kind and option family.
  using vktest::VkaMesh;
  const std::vector<vktest::VkaGenParams> models = {
      {.objects = 5, .gridWidth = 6, .gridHeight = 5,
       .meshKinds = {VkaMesh::kTriangles, VkaMesh::kQuads, VkaMesh::kPolygons, VkaMesh::kStrips,
                     VkaMesh::kReverseStrips},
       .polyNormals = true, .materials = 3, .textures = 2},
      {.objects = 3, .meshKinds = {VkaMesh::kStrips}, .normals = false, .uvs = false, .textures = 3,
       .paletteBanks = true, .defaultMaterialList = true},
      {.objects = 1, .gridWidth = 40, .gridHeight = 30, .meshKinds = {VkaMesh::kQuads, VkaMesh::kPolygons}},
  };
  for (size_t i = 0; i < models.size(); i++) {
    const std::string path = dir.file("model.vka");
    ASSERT_TRUE(vktest::WriteFile(path, vktest::GenerateVka(models[i])));
    Compare(path, "model " + std::to_string(i));
  }
}

}  // namespace
