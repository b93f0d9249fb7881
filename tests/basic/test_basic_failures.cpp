// The Basic-model writer under failure: a file that cannot be opened,
// renamed or held in memory leaves the old output where it stood and nothing
// else (the refusal of merged materials beyond a mesh set is run through the
// driver in tests/frontend). And the strip lines' breaks after every tenth index.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <regex>
#include <string>

#include "basic/basic_test_util.h"
#include "binary/vkprint.h"

namespace {

using namespace vktest;

// One node of `triangles` triangles copied over three points, one
// material; or, with `row`, a row of triangles that join into one strip:
// bottom points even, top points odd, cell x holds (2x, 2x+2, 2x+1) and
// (2x+1, 2x+2, 2x+3), all counter-clockwise.
ScObject *TriangleScene(int triangles, bool row = false) {
  std::vector<chunktest::Point> points;
  for (int i = 0, n = row ? 2 * (triangles / 2 + 2) : 3; i < n; ++i)
    points.push_back({static_cast<float>(row ? i / 2 : i % 2), static_cast<float>(row ? i % 2 : i / 2), 0});
  std::vector<chunktest::Face> faces;
  for (int t = 0, x = 0; t < triangles; x = ++t / 2) {
    if (!row) faces.push_back({{0, 1, 2}});
    if (row) faces.push_back({{t % 2 ? 2 * x + 1 : 2 * x, 2 * x + 2, t % 2 ? 2 * x + 3 : 2 * x + 1}});
  }
  ScModel *model = chunktest::MeshModel("t", points, faces);
  if (!row) model->materials = ScMaterialsAlloc(1), model->nbMaterial = 1, model->materials->kind = 4;
  if (!row) model->materials->name = ScVStrdup("one");
  return chunktest::SceneOf(model);
}

using BasicFailures = chunktest::SceneTest;
size_t FilesIn(const std::string &dir) { return std::distance(std::filesystem::directory_iterator(dir), {}); }

// Failing file operations and memory: the status, and the folder holding
// only the older output, unchanged.
TEST_F(BasicFailures, AFailedWriteLeavesTheOldFile) {
  static int piecesLeft;
  const VKWriterHooks noOpen{[](const char *, const char *) -> FILE * { return nullptr; }, nullptr, nullptr};
  const VKWriterHooks noRename{nullptr, [](const char *, const char *) { return -1; }, nullptr};
  const VKWriterHooks fewPieces{nullptr, nullptr,
                                [](size_t size) { return piecesLeft-- > 0 ? std::malloc(size) : nullptr; }};
  const struct {
    const VKWriterHooks *hooks;
    uint32_t outputFlags;
    const char *file;
    VKStatusCode code;
    const char *printed;  // the end of what is printed ("" for nothing, left to the driver)
  } cases[] = {
      {&noOpen, 0x38000000, "t.vka", VKStatusCode::kCantOpen, "t.vka.tmp~\n\n##### Error : Can't write file!! (%s/t.vka)\n"},
      {&noRename, 0x38000000, "t.vka", VKStatusCode::kCantWrite, "Error : Can't write %s/t.vka\n"},
      {&noRename, 0x38000001, "t.vk", VKStatusCode::kCantWrite, "Error : Can't write %s/t.vk\n"},
      {&noRename, 0x39000000, "t.vad", VKStatusCode::kCantWrite, "Error : Can't write %s/t.vad\n"},  // -septex
      {&fewPieces, 0x38000001, "t.vk", VKStatusCode::kOutOfMemory, ""},  // the byte image cannot grow
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.file + std::to_string(static_cast<int>(c.code)));
    ScratchDir dir;
    ASSERT_TRUE(WriteFile(dir.file(c.file), "an older file\n"));
    piecesLeft = 1;
    // 3000 triangles: more than one piece of the byte image.
    ::testing::internal::CaptureStderr();
    const VKStatus status = basictest::RunBasicWriter(TriangleScene(3000), dir.file("t.vka"),
                                                      {0x80000000, c.outputFlags}, c.hooks);
    const std::string err = ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(status.code, c.code);
    std::string printed = c.printed;
    if (const size_t at = printed.find("%s"); at != std::string::npos) printed.replace(at, 2, dir.path());
    EXPECT_EQ(err.substr(err.size() < printed.size() ? 0 : err.size() - printed.size()), printed);
    EXPECT_EQ(ReadFile(dir.file(c.file)), "an older file\n");
    EXPECT_EQ(FilesIn(dir.path()), 1u);
    Reset();
  }
}

// A strip's indices run ten to a line; the eleventh starts a new line
// indented to the first index, and no break follows the last index.
TEST_F(BasicFailures, StripLinesBreakAfterEveryTenthIndex) {
  for (int triangles : {8, 9, 18, 19}) {
    SCOPED_TRACE(triangles);
    ASSERT_TRUE(basictest::RunBasicWriter(TriangleScene(triangles, true), dir_.file("t.vka"),
                                          {0x80000000, 0x38000000, 0x80000000}).ok());
    const std::string text = ReadFile(dir_.file("t.vka"));
    const std::string head = "POLYGON     pgS_0_t_t[]\nSTART\n    Strip(0x";
    const size_t at = text.find(head);
    ASSERT_NE(at, std::string::npos) << text;
    const std::string entry = text.substr(at + head.size(), text.find("\nEND\n", at) - at - head.size());
    // One strip of all the triangles: "<flag>, <count>),  " then the indices.
    std::smatch m;
    ASSERT_TRUE(std::regex_match(entry, m, std::regex(R"(([08]000|0), (\d+)\),  ((\d+, )+(\n {12}(\d+, )+)*))")))
        << entry;
    EXPECT_EQ(std::stoi(m[2]), triangles + 2);
    std::string shape;
    for (int k = 1; k <= triangles + 2; ++k) shape += k % 10 == 1 && k > 1 ? "\n            #, " : "#, ";
    EXPECT_EQ(std::regex_replace(std::string(m[3]), std::regex(R"(\d+)"), "#"), shape);
    Reset();
  }
}

}  // namespace
