// The -B route through RunConversion: a failed write and a refusal that only
// the writer can make (materials it merges) come back as statuses, and the
// input is back under its own name with nothing else in the folder.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "base/status.h"
#include "binary/vkprint.h"
#include "frontend/driver.h"
#include "support/test_support.h"
#include "support/vka_gen.h"

// The cases name only the generator settings they change.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

namespace {

using namespace vktest;

// Two materials of one look, 35000 triangles each: one mesh set of 70000
// once the writer has merged them.
std::string MergedMaterials() {
  std::string text = "MATERIAL    matlist_m_t[]\nSTART\n\n";
  for (int m = 0; m < 2; ++m)
    text += "MATSTART\nDiffuse   ( 255, 1, 2, 3 ),\nSpecular  ( 255, 4, 5, 6 ),\nExponent  (  4.0F ),\n"
            "AttrTexId ( 0x0, 0 ),\nAttrFlags ( 0x94002400 ),\nMATEND\n\n";
  text += "END\n\nPOLYGON     pg_t[]\nSTART\n";
  for (int i = 0; i < 35000; ++i) text += "    0, 1, 2,\n";
  text += "END\n\nMESHSET     meshset_t[]\nSTART\n\n";
  for (int m = 0; m < 2; ++m)
    text += "MESHSTART\nTypeMatId ( 0x0000, " + std::to_string(m) +
            " ),\nMeshNum     35000,\nMeshes      pg_t,\nPolyAttrs   NULL,\nPolyNormal  NULL,\nVertColor   NULL,\n"
            "VertUV      NULL,\nMESHEND\n\n";
  return text +
         "END\n\nPOINT       point_t[]\nSTART\n\tVERT( 0.0F, 0.0F, 0.0F ),\n\tVERT( 1.0F, 0.0F, 0.0F ),\n"
         "\tVERT( 0.0F, 1.0F, 0.0F ),\nEND\n\n"
         "MODEL       model_t[]\nSTART\nPoints      point_t,\nNormal      NULL,\nPointNum    3,\n"
         "Meshset     meshset_t,\nMaterials   matlist_m_t,\nMeshsetNum  2,\nMatNum      2,\n"
         "Center      0.0F, 0.0F, 0.0F,\nRadius      1.0F,\nEND\n\n"
         "OBJECT      object_m_t[]\nSTART\nEvalFlags ( 0x0 ),\nModel       model_t,\nOPosition  ( 0, 0, 0 ),\n"
         "OAngle     ( 0, 0, 0 ),\nOScale     ( 1, 1, 1 ),\nChild       NULL,\nSibling     NULL,\nEND\n";
}

TEST(DriverBasic, FailuresOfTheBasicRouteLeaveTheInputInPlace) {
  const VKWriterHooks noRename{nullptr, [](const char *, const char *) { return -1; }, nullptr};
  const std::string grid = GenerateVka({.baseName = "m", .objects = 2, .gridWidth = 4, .gridHeight = 4});
  struct Case {
    const char *what;
    std::string input;
    std::vector<std::string> options;
    const VKWriterHooks *hooks;
    VKStatusCode code;
    std::string err;  // the end of what is printed, "%s" for the folder
  };
  const Case cases[] = {
      {"no rename", grid, {"-B"}, &noRename, VKStatusCode::kCantWrite, "\n##### Error : Can't write %s/m.vka\n"},
      {"no rename, binary", grid, {"-B", "-bin"}, &noRename, VKStatusCode::kCantWrite,
       "\n##### Error : Can't write %s/m.vk\n"},
      {"merged materials", MergedMaterials(), {"-B"}, nullptr, VKStatusCode::kRefused,
       "[OUTPUT BASIC][MATERIAL NAME] \n##### Error : Object t has 70000 meshes of one kind in one material; a "
       "Basic-model mesh set holds at most 65535\n"},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.what);
    ScratchDir dir;
    ASSERT_TRUE(WriteFile(dir.file("m.vka"), c.input));
    std::vector<std::string> words = {"vkconv", dir.file("m.vka")};
    words.insert(words.end(), c.options.begin(), c.options.end());
    std::vector<char *> argv;
    for (std::string &word : words) argv.push_back(word.data());
    ::testing::internal::CaptureStderr();
    const VKStatus status = RunConversion(static_cast<int>(argv.size()), argv.data(), c.hooks);
    const std::string err = ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(status.code, c.code);
    std::string tail = c.err;
    if (const size_t at = tail.find("%s"); at != std::string::npos) tail.replace(at, 2, dir.path());
    EXPECT_EQ(err.substr(err.size() < tail.size() ? 0 : err.size() - tail.size()), tail);
    EXPECT_EQ(ReadFile(dir.file("m.vka")), c.input);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), 1);
  }
}

}  // namespace
