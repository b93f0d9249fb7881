// The Basic-model writer under failure: a file that cannot be opened,
// renamed or held in memory leaves the old output where it stood and nothing
// else; a node list beyond the format is refused before any file is opened.
// And the strip lines' breaks after every tenth index.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <regex>
#include <string>

#include "basic/basic_test_util.h"
#include "binary/vkprint.h"
#include "scene/memory.h"
#include "scene/records.h"
#include "support/test_support.h"

namespace {

using namespace vktest;

// One node of `triangles` triangles copied over three points, spread over
// `materials` materials of equal colours (the writer merges them into one
// group); or, with `row`, a row of triangles that join into one strip.
ScObject *TriangleScene(int triangles, int materials, bool row = false) {
  ScObject *scene = ScObjectAlloc("scene", 7);
  ScModel *model = scene->root = ScModelAlloc("t");
  scene->modelCount = model->hasMesh = 1;
  model->OScale[0] = model->OScale[1] = model->OScale[2] = 1.0f;
  const int points = row ? 2 * (triangles / 2 + 2) : 3;
  ScMesh *mesh = model->mesh = ScMeshAlloc(points, triangles, triangles);
  mesh->nbTriangle = triangles;
  for (int i = 0; i < points; ++i) {
    mesh->vertices[i].pos[0] = static_cast<float>(row ? i / 2 : i % 2);
    mesh->vertices[i].pos[1] = static_cast<float>(row ? i % 2 : i / 2);
  }
  for (int t = 0; t < triangles; ++t) {
    ScPolygon &polygon = mesh->polygons[t];
    polygon.nbCorner = 3;
    polygon.corners = ScPolyNodeAlloc(3);
    polygon.attribute = &mesh->attributes[t];
    polygon.materialId = materials > 0 ? t % materials : 0;
    polygon.normal[2] = 1.0f;
    // Row: bottom points even, top points odd; cell x holds (2x, 2x+2, 2x+1)
    // and (2x+1, 2x+2, 2x+3), all counter-clockwise.
    const int x = t / 2;
    const int corners[3] = {t % 2 ? 2 * x + 1 : 2 * x, 2 * x + 2, t % 2 ? 2 * x + 3 : 2 * x + 1};
    for (int c = 0; c < 3; ++c) polygon.corners[c].vertex = static_cast<uint16_t>(row ? corners[c] : c);
  }
  if (materials > 0) {
    model->materials = ScMaterialsAlloc(materials);
    model->nbMaterial = static_cast<uint16_t>(materials);
    for (ScMaterials *m = model->materials; m; m = m->next) m->name = ScVStrdup("same"), m->kind = 4;
  }
  return scene;
}

class BasicFailures : public ::testing::Test {
 protected:
  void SetUp() override { ScMallocTabInit(); }
  void TearDown() override { ScFreeAll(); }
  basictest::QuietConsole quiet_;
  ScratchDir dir_;
};

// Failing file operations and memory: the status, and the folder holding
// only the older output, unchanged.
TEST_F(BasicFailures, AFailedWriteLeavesTheOldFile) {
  static int piecesLeft;
  const VKWriterHooks noOpen{[](const char *, const char *) -> FILE * { return nullptr; }, nullptr, nullptr};
  const VKWriterHooks noRename{nullptr, [](const char *, const char *) { return -1; }, nullptr};
  const VKWriterHooks fewPieces{nullptr, nullptr,
                                [](size_t size) { return piecesLeft-- > 0 ? std::malloc(size) : nullptr; }};
  const struct {
    const char *what;
    const VKWriterHooks *hooks;
    uint32_t outputFlags;
    const char *file;
    VKStatusCode code;
    const char *printed;  // the end of what is printed ("" for nothing, left to the driver)
  } cases[] = {
      {"no temporary file", &noOpen, 0x38000000, "t.vka", VKStatusCode::kCantOpen,
       "t.vka.tmp~\n\n##### Error : Can't write file!! (%s/t.vka)\n"},
      {"no rename, ASCII", &noRename, 0x38000000, "t.vka", VKStatusCode::kCantWrite, "Error : Can't write %s/t.vka\n"},
      {"no rename, binary", &noRename, 0x38000001, "t.vk", VKStatusCode::kCantWrite, "Error : Can't write %s/t.vk\n"},
      {"no rename, separate texture list", &noRename, 0x39000000, "t.vad", VKStatusCode::kCantWrite,
       "Error : Can't write %s/t.vad\n"},
      {"the byte image cannot grow", &fewPieces, 0x38000001, "t.vk", VKStatusCode::kOutOfMemory, ""},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    ScratchDir dir;
    ASSERT_TRUE(WriteFile(dir.file(c.file), "an older file\n"));
    piecesLeft = 1;
    basictest::Words words;
    words.outputFlags = c.outputFlags;
    // 3000 triangles: more than one piece of the byte image.
    ::testing::internal::CaptureStderr();
    const VKStatus status = basictest::RunBasicWriter(TriangleScene(3000, 1), dir.file("t.vka"), words, c.hooks);
    const std::string err = ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(status.code, c.code);
    std::string printed = c.printed;
    if (const size_t at = printed.find("%s"); at != std::string::npos) printed.replace(at, 2, dir.path());
    EXPECT_EQ(err.substr(err.size() < printed.size() ? 0 : err.size() - printed.size()), printed);
    EXPECT_EQ(ReadFile(dir.file(c.file)), "an older file\n");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), 1);
    ScFreeAll();
    ScMallocTabInit();
  }
}

// Materials that the writer merges into one group hold more triangles
// together than a mesh set counts: refused, naming the object, before any
// file is opened.
TEST_F(BasicFailures, MergedMaterialsBeyondAMeshSetAreRefused) {
  ::testing::internal::CaptureStderr();
  basictest::Words words;
  words.outputFlags = 0x38000000;
  VKStatus status = basictest::RunBasicWriter(TriangleScene(70000, 2), dir_.file("t.vka"), words);
  const std::string err = ::testing::internal::GetCapturedStderr();
  EXPECT_EQ(status.code, VKStatusCode::kRefused);
  EXPECT_TRUE(status.reported);
  EXPECT_NE(err.find("Error : Object t has 70000 meshes of one kind in one material; a Basic-model mesh set holds at "
                     "most 65535\n"),
            std::string::npos)
      << err;
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir_.path()), {}), 0);
}

// A strip's indices run ten to a line; the eleventh starts a new line
// indented to the first index, and no break follows the last index.
TEST_F(BasicFailures, StripLinesBreakAfterEveryTenthIndex) {
  for (int triangles : {8, 9, 18, 19}) {
    SCOPED_TRACE(triangles);
    basictest::Words words;
    words.stripFlags = 0x80000000;
    ASSERT_TRUE(basictest::RunBasicWriter(TriangleScene(triangles, 0, true), dir_.file("t.vka"), words).ok());
    const std::string text = ReadFile(dir_.file("t.vka"));
    const std::string head = "POLYGON     pgS_0_t_t[]\nSTART\n    Strip(0x";
    const size_t at = text.find(head);
    ASSERT_NE(at, std::string::npos) << text;
    const size_t end = text.find("\nEND\n", at);
    const std::string entry = text.substr(at + head.size(), end - at - head.size());
    const int count = triangles + 2;
    // One strip of all the triangles: "<flag>, <count>),  " then the indices.
    std::smatch m;
    ASSERT_TRUE(std::regex_match(entry, m, std::regex(R"(([08]000|0), (\d+)\),  ((\d+, )+(\n {12}(\d+, )+)*))")))
        << entry;
    EXPECT_EQ(std::stoi(m[2]), count);
    const std::string indices = m[3];
    std::string expectedShape;
    for (int k = 1; k <= count; ++k) expectedShape += k % 10 == 1 && k > 1 ? "\n            #, " : "#, ";
    EXPECT_EQ(std::regex_replace(indices, std::regex(R"(\d+)"), "#"), expectedShape);
    ScFreeAll();
    ScMallocTabInit();
  }
}

}  // namespace
