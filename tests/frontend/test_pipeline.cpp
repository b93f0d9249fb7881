// Build-pipeline options of vkconv: the dependency file (-MF) worked by hand
// for each route, its place among the arguments, its escaping and its
// failures; the -strict status; every route run twice in the same folder
// writes the same bytes.
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "base/run_record.h"
#include "frontend/depfile.h"
#include "support/test_support.h"
#include "support/vka_gen.h"
#include "texture/image_files.h"

// The cases name only the generator settings they change.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

namespace {

using namespace vktest;
namespace fs = std::filesystem;

TEST(DependencyFile, TextWorkedByHand) {
  const struct { std::vector<std::string> read, written; std::string text; } cases[] = {
      {{"m.vka.bk"}, {"m.vka"}, "m.vka: \\\n m.vka.bk\n\nm.vka.bk:\n"},
      {{"m.vka", "tex/a.bmp", "m.vka"}, {"m.vk", "tex/a.pvr"},
       "m.vk tex/a.pvr: \\\n m.vka \\\n tex/a.bmp\n\nm.vka:\n\ntex/a.bmp:\n"},
      // A file read and written is no prerequisite of itself.
      {{"a.pvr", "a.bmp"}, {"m.vka", "a.pvr"}, "m.vka a.pvr: \\\n a.bmp\n\na.bmp:\n"},
      // Blanks and '#' get a backslash, backslashes before a blank are
      // doubled, '$' is doubled; other backslashes stay.
      {{"my tex.bmp", "a#1.bmp", "c$d.bmp", "e\\ f.bmp", "g\\h.bmp"}, {"out dir/m.vk"},
       "out\\ dir/m.vk: \\\n my\\ tex.bmp \\\n a\\#1.bmp \\\n c$$d.bmp \\\n e\\\\\\ f.bmp \\\n g\\h.bmp\n\n"
       "my\\ tex.bmp:\n\na\\#1.bmp:\n\nc$$d.bmp:\n\ne\\\\\\ f.bmp:\n\ng\\h.bmp:\n"},
      {{}, {"m.vk"}, "m.vk:\n"},
  };
  for (const auto &c : cases) {
    VKRunRecord record;
    for (const std::string &name : c.read) record.AddRead(name);
    for (const std::string &name : c.written) record.AddWritten(name);
    std::string text, error;
    EXPECT_TRUE(VKDependencyText(record, &text, &error)) << error;
    EXPECT_EQ(text, c.text);
  }
  VKRunRecord record;
  std::string text, error;
  EXPECT_FALSE(VKDependencyText(record, &text, &error));
  EXPECT_EQ(error, "the run wrote no file");
  record.AddWritten("m.vk");
  record.AddRead("two\nlines.bmp");
  EXPECT_FALSE(VKDependencyText(record, &text, &error));
  EXPECT_EQ(error, "the name \"two\nlines.bmp\" holds a line end");
}

// A dependency file's text from its targets and prerequisites (the layout
// is worked by hand above).
std::string Deps(const std::string &targets, const std::vector<std::string> &prerequisites) {
  std::string text = targets + ":";
  for (const std::string &name : prerequisites) text += " \\\n " + name;
  text += "\n";
  for (const std::string &name : prerequisites) text += "\n" + name + ":\n";
  return text;
}

// The sample model and its textures (one with a resource database).
void CopySample(const std::string &folder) {
  ASSERT_TRUE(WriteFile(folder + "/m.vka", ReadFile(SourceDir() + "/examples/sample.vka")));
  for (const char *name : {"checker.bmp", "stripes.tga", "stripes.nre"})
    ASSERT_TRUE(WriteFile(folder + "/" + name, ReadFile(SourceDir() + "/examples/" + name)));
}

// The sample model converted on each route with -MF (before or after the
// file name): the dependency file names what was written and what was read.
TEST(DependencyFile, EveryRouteEndToEnd) {
  const std::vector<std::string> sources = {"checker.bmp", "stripes.tga", "stripes.nre"};
  const auto with = [&](const std::string &model) {
    std::vector<std::string> all = {model};
    all.insert(all.end(), sources.begin(), sources.end());
    return all;
  };
  const struct { std::vector<std::string> args; std::string deps; } cases[] = {
      {{"-MF", "m.d", "m.vka"}, Deps("checker.pvr stripes.pvr m.vka", with("m.vka.bk"))},
      {{"m.vka", "-MF", "m.d", "-bin"}, Deps("checker.pvr stripes.pvr m.vk", with("m.vka"))},
      {{"m", "-B", "-MF", "m.d"}, Deps("checker.pvr stripes.pvr m.vka", with("m.vka.bk"))},
      {{"-bin", "-B", "m.vka", "-MF", "m.d"}, Deps("checker.pvr stripes.pvr m.vk", with("m.vka"))},
      {{"m.vka", "-bin", "-septex", "-MF", "m.d"}, Deps("checker.pvr stripes.pvr m.vkd m.vkt", with("m.vka"))},
      {{"-MF", "m.d", "m.vka", "-gibase", "5", "-nt", "-septex"}, Deps("m.vad m.vat", {"m.vka.bk"})},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.args[0] + " " + c.args[1] + " " + c.args[2]);
    ScratchDir dir;
    CopySample(dir.path());
    const RunResult run = RunVkconv(c.args, dir.path());
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err.find("Error"), std::string::npos) << run.err;
    EXPECT_EQ(ReadFile(dir.file("m.d")), c.deps);
    EXPECT_FALSE(Exists(dir.file("m.d.tmp~")));
  }
  // Textures whose PVR files exist are read, not converted: the model
  // depends on the PVR files.
  ScratchDir dir;
  CopySample(dir.path());
  ASSERT_EQ(RunVkconv({"m.vka", "-bin"}, dir.path()).status, 0);
  ASSERT_EQ(RunVkconv({"m.vka", "-bin", "-MF", "m.d"}, dir.path()).status, 0);
  EXPECT_EQ(ReadFile(dir.file("m.d")), Deps("m.vk", {"m.vka", "checker.pvr", "stripes.pvr"}));
}

// -MF without a value refuses the run before anything is touched; a
// dependency file that cannot be written is an error after the outputs were
// written. -strict turns every error and stop into status 1.
TEST(DependencyFile, FailuresAndStrictStatus) {
  const std::string sample = ReadFile(SourceDir() + "/examples/sample.vka");
  const struct {
    std::vector<std::string> args;
    int status;
    std::string errorLine;  // in the standard error output; empty: no error
    bool converted;
    bool noChecker = false;  // the source image checker.bmp is missing
  } cases[] = {
      {{"m.vka", "-MF"}, 0, "##### Error : -MF needs the name of the dependency file\n", false},
      {{"m.vka", "-MF", "-strict"}, 1, "##### Error : -MF needs the name of the dependency file\n", false},
      {{"m.vka", "-MF", ""}, 0, "##### Error : -MF needs the name of the dependency file\n", false},
      {{"-MF", "-bin", "m.vka"}, 0, "##### Error : -MF needs the name of the dependency file\n", false},
      {{"m.vka", "-MF", "no/such/m.d"}, 0, "##### Error : Can't write dependency file no/such/m.d: it cannot be written\n",
       true},
      {{"m.vka", "-MF", "no/such/m.d", "-strict"}, 1,
       "##### Error : Can't write dependency file no/such/m.d: it cannot be written\n", true},
      {{"m.vka", "-strict"}, 0, "", true},
      // A missing texture source: the model is written, the texture is not
      // converted, and only -strict makes that a failure.
      {{"m.vka", "-strict"}, 1, "##### Error : 1 texture(s) could not be converted\n", true, true},
      {{"m.vka"}, 0, "", true, true},
      {{"absent.vka", "-strict"}, 1, "Error : Can't open absent.vka\n", false},
      {{"absent.vka"}, 0, "Error : Can't open absent.vka\n", false},
      {{"-strict"}, 1, "Error : Can't open file\n", false},
      {{"-strict", "-v"}, 0, "", false},
      {{"-strict", "-h"}, 1, "Error : Can't open file\n", false},  // not a help request with two words
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.args[0] + " " + (c.args.size() > 1 ? c.args[1] : "") + " " + (c.args.size() > 2 ? c.args[2] : ""));
    ScratchDir dir;
    CopySample(dir.path());
    if (c.noChecker) fs::remove(dir.file("checker.bmp"));
    const RunResult run = RunVkconv(c.args, dir.path());
    EXPECT_EQ(run.status, c.status);
    if (!c.errorLine.empty()) {
      EXPECT_NE(run.err.find(c.errorLine), std::string::npos) << run.err;
    } else if (!c.noChecker) {
      EXPECT_EQ(run.err.find("Error"), std::string::npos) << run.err;
    }
    EXPECT_EQ(Exists(dir.file("m.vka.bk")), c.converted);
    if (!c.converted) {
      EXPECT_EQ(ReadFile(dir.file("m.vka")), sample);
    }
  }
  // Without its source the texture is neither read nor written.
  ScratchDir dir;
  CopySample(dir.path());
  fs::remove(dir.file("checker.bmp"));
  EXPECT_EQ(RunVkconv({"m.vka", "-MF", "m.d"}, dir.path()).status, 0);
  EXPECT_EQ(ReadFile(dir.file("m.d")), Deps("stripes.pvr m.vka", {"m.vka.bk", "stripes.tga", "stripes.nre"}));
}

using Files = std::map<std::string, std::string>;

Files Snapshot(const std::string &folder) {
  Files files;
  for (const auto &entry : fs::recursive_directory_iterator(folder))
    if (entry.is_regular_file()) files[fs::relative(entry.path(), folder).string()] = ReadFile(entry.path().string());
  return files;
}

// The bundled samples with their textures, and a generated model of many
// objects, mesh kinds and materials whose four textures (24-bit BMP, a
// pattern in every channel) are converted as VQ (both algorithms, with
// dither), small VQ and rectangle by their resource databases.
void CopyInputs(const std::string &folder) {
  for (const auto &entry : fs::directory_iterator(SourceDir() + "/examples"))
    if (entry.is_regular_file()) fs::copy_file(entry.path(), fs::path(folder) / entry.path().filename());
  using enum VkaMesh;
  ASSERT_TRUE(WriteVka(folder + "/gen.vka", {.baseName = "gen", .objects = 9, .gridWidth = 7, .gridHeight = 5,
                                             .meshKinds = {kTriangles, kQuads, kPolygons, kStrips, kReverseStrips},
                                             .polyNormals = true, .materials = 4, .textures = 4}));
  const struct { int width, height; const char *settings; } textures[] = {  // fields in the record's order
      {64, 64, "Fromat auto\nCategory VQ\n"},
      {64, 64, "Fromat auto\nCategory VQ\nMipmap on\nDither on\nAlphaDither off\nGlobalIndex -1\n"
               "paletteBank -1\nVQMode VQ3\n"},
      {32, 32, "Fromat auto\nCategory SMALLVQ\nMipmap off\n"},
      {64, 32, "Fromat ARGB1555\nCategory rectangle\nMipmap off\nDither on\n"}};
  for (int i = 0; i < 4; ++i) {
    const std::string name = folder + "/tex" + std::to_string(i);
    ASSERT_TRUE(WriteFile(name + ".bmp", teximg::Bmp(teximg::MakeImage(textures[i].width, textures[i].height, [](int x, int y) {
      return std::array<int, 4>{255, x * 4 + y, y * 4, (x ^ y) * 8};
    }))));
    ASSERT_TRUE(WriteFile(name + ".nre", "Chunk TextureTex 0 1 0 0\n! 0 tex" + std::to_string(i) + "\n" +
                                             textures[i].settings));
  }
}

// Nothing time- or address-dependent reaches a file.
TEST(Determinism, EveryRouteWritesTheSameBytesTwice) {
  const std::vector<std::vector<std::string>> routes = {
      {"sample.vka"}, {"sample.vka", "-bin"}, {"sample.vka", "-septex"}, {"sample.vka", "-septex", "-bin"},
      {"sample.vka", "-B"}, {"sample.vka", "-B", "-bin"}, {"sample.vka", "-outpvm", "-forcetex"},
      {"crate.vka", "-MF", "crate.d", "-strict"}, {"gen.vka", "-S", "-D8", "-uvh"},
      {"gen.vka", "-septex", "-MF", "gen.d"}, {"gen.vka", "-bin", "-co34", "-VNX"}, {"gen.vka", "-B", "-G", "-rmb"},
      {"gen.vka", "-bindebug"},
  };
  ScratchDir dir;
  for (const std::vector<std::string> &route : routes) {
    SCOPED_TRACE(route[0] + " " + route.back());
    Files runs[2];
    for (Files &files : runs) {
      for (const auto &entry : fs::directory_iterator(dir.path())) fs::remove_all(entry.path());
      CopyInputs(dir.path());
      const Files inputs = Snapshot(dir.path());
      EXPECT_EQ(RunVkconv(route, dir.path()).status, 0);
      // The Chunk-model file of the default route goes on to the binary route.
      if (route.size() == 1) {
        EXPECT_EQ(RunVkconv({route[0], "-bin"}, dir.path()).status, 0);
      }
      files = Snapshot(dir.path());
      EXPECT_NE(files, inputs);
    }
    if (route.size() > 1 && route[1] == "-S") {  // the textures: VQ with mipmaps twice, small VQ, rectangle
      const int types[] = {0x04, 0x04, 0x10, 0x09};
      for (int i = 0; i < 4; ++i) {
        const std::string pvr = runs[0]["tex" + std::to_string(i) + ".pvr"];
        EXPECT_TRUE(pvr.size() > 25 && static_cast<uint8_t>(pvr[25]) == types[i]) << i;
      }
    }
    EXPECT_EQ(runs[0].size(), runs[1].size());
    for (const auto &[name, bytes] : runs[0]) EXPECT_TRUE(runs[1].count(name) && bytes == runs[1].at(name)) << name;
  }
}

}  // namespace
