// The build pipeline of examples/pipeline/ run with make on a copy of the
// examples: the first make converts both sample models and draws their
// textures; a second make -j2 does nothing; after one texture source is
// touched only the model that uses it is converted again.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <map>
#include <string>

#include "support/test_support.h"

#ifndef VKVIEW_BIN
#define VKVIEW_BIN "vkview"
#endif

namespace {

namespace fs = std::filesystem;
using namespace vktest;
using Times = std::map<std::string, fs::file_time_type>;

// The modification times of every file under `folder`, each first moved
// back by `age` (so that a file touched afterwards is newer than all of them
// whatever the file system's clock steps).
Times ModificationTimes(const std::string &folder, std::chrono::seconds age = {}) {
  Times times;
  for (const auto &entry : fs::recursive_directory_iterator(folder)) {
    if (!entry.is_regular_file()) continue;
    if (age.count() != 0) fs::last_write_time(entry.path(), entry.last_write_time() - age);
    times[fs::relative(entry.path(), folder).string()] = fs::last_write_time(entry.path());
  }
  return times;
}

RunResult Make(const std::string &pipeline, const std::vector<std::string> &extra = {}) {
  std::vector<std::string> args = {"--no-print-directory", "-C", pipeline, "VKCONV=" + VkconvPath(),
                                   std::string("VKVIEW=") + VKVIEW_BIN};
  args.insert(args.end(), extra.begin(), extra.end());
  return RunProgram("make", args, pipeline);
}

TEST(Pipeline, MakeConvertsDrawsAndRebuildsOnlyWhatChanged) {
  if (std::system("make --version >/dev/null 2>&1") != 0) GTEST_SKIP() << "make is not installed";
  ScratchDir dir;
  const std::string examples = dir.file("examples"), pipeline = examples + "/pipeline", build = pipeline + "/build";
  fs::create_directories(pipeline);
  for (const auto &entry : fs::directory_iterator(SourceDir() + "/examples")) {
    if (entry.is_regular_file()) fs::copy_file(entry.path(), examples + "/" + entry.path().filename().string());
  }
  fs::copy_file(SourceDir() + "/examples/pipeline/Makefile", pipeline + "/Makefile");

  const RunResult first = Make(pipeline, {"-j2"});
  ASSERT_EQ(first.status, 0) << first.out << first.err;
  // Both models converted (the sources kept as backups), their dependency
  // files written, their textures converted and drawn.
  for (const char *file : {"sample/sample.vka", "sample/sample.vka.bk", "sample/sample.d", "sample/checker.pvr",
                           "sample/stripes.pvr", "sample/checker.png", "sample/stripes.png", "crate/crate.vka",
                           "crate/crate.vka.bk", "crate/crate.d", "crate/stripes.pvr", "crate/stripes.png"}) {
    EXPECT_TRUE(Exists(build + "/" + file)) << file;
  }
  EXPECT_FALSE(Exists(build + "/crate/checker.pvr"));
  EXPECT_EQ(ReadFile(build + "/sample/sample.vka.bk"), ReadFile(examples + "/sample.vka"));
  const std::string deps = ReadFile(build + "/sample/sample.d");
  EXPECT_NE(deps.find(" checker.bmp"), std::string::npos) << deps;
  EXPECT_EQ(ReadFile(build + "/crate/crate.d").find("checker.bmp"), std::string::npos);

  // A second make does nothing.
  const Times built = ModificationTimes(build);
  const RunResult second = Make(pipeline, {"-j2"});
  EXPECT_EQ(second.status, 0);
  EXPECT_EQ(second.out.find("vkconv"), std::string::npos) << second.out;
  EXPECT_EQ(second.out.find("cp "), std::string::npos) << second.out;
  EXPECT_EQ(ModificationTimes(build), built);

  // Touch the sample's own texture: only the sample is converted and drawn
  // again; then nothing is left to do.
  ModificationTimes(examples, std::chrono::seconds(10));
  const Times aged = ModificationTimes(build);
  fs::last_write_time(examples + "/checker.bmp", fs::file_time_type::clock::now());
  const RunResult third = Make(pipeline, {"-j2"});
  EXPECT_EQ(third.status, 0) << third.out << third.err;
  EXPECT_NE(third.out.find("sample/sample.vka -forcetex"), std::string::npos) << third.out;
  EXPECT_EQ(third.out.find("crate/crate.vka -forcetex"), std::string::npos) << third.out;
  const Times after = ModificationTimes(build);
  for (const auto &[file, time] : aged) {
    const bool sample = file.rfind("sample/", 0) == 0 || file == "checker.bmp";
    EXPECT_EQ(after.at(file) != time, sample) << file;
  }
  EXPECT_EQ(Make(pipeline, {"-j2"}).out.find("vkconv"), std::string::npos);
  EXPECT_EQ(ModificationTimes(build), after);
}

// A conversion that fails under -strict fails the build and leaves no model
// behind, so the next make tries again.
TEST(Pipeline, AFailedConversionFailsTheBuild) {
  if (std::system("make --version >/dev/null 2>&1") != 0) GTEST_SKIP() << "make is not installed";
  ScratchDir dir;
  const std::string examples = dir.file("examples"), pipeline = examples + "/pipeline";
  fs::create_directories(pipeline);
  fs::copy_file(SourceDir() + "/examples/pipeline/Makefile", pipeline + "/Makefile");
  ASSERT_TRUE(WriteFile(examples + "/broken.vka", "MODEL model_broken[]\nSTART\nPoints nowhere,\nEND\n"));
  const RunResult run = Make(pipeline);
  EXPECT_NE(run.status, 0);
  EXPECT_NE(run.out.find("vkconv broken/broken.vka -forcetex -MF broken/broken.d -strict"), std::string::npos)
      << run.out << run.err;
  EXPECT_FALSE(Exists(pipeline + "/build/broken/broken.vka"));
  EXPECT_FALSE(Exists(pipeline + "/build/broken/pictures"));
}

}  // namespace
