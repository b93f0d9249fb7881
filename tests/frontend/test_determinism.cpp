// Outputs are byte-deterministic: every route run twice on the same input in
// the same folder writes the same files, byte for byte (nothing time- or
// address-dependent reaches a file).
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "support/test_support.h"
#include "support/vka_gen.h"

namespace {

namespace fs = std::filesystem;
using namespace vktest;

using Files = std::map<std::string, std::string>;

Files Snapshot(const std::string &folder) {
  Files files;
  for (const auto &entry : fs::recursive_directory_iterator(folder)) {
    if (entry.is_regular_file()) files[fs::relative(entry.path(), folder).string()] = ReadFile(entry.path().string());
  }
  return files;
}

void Clear(const std::string &folder) {
  for (const auto &entry : fs::directory_iterator(folder)) fs::remove_all(entry.path());
}

// The bundled samples with their textures, and a generated model of many
// objects, mesh kinds and materials.
void CopyInputs(const std::string &folder) {
  for (const auto &entry : fs::directory_iterator(SourceDir() + "/examples")) {
    if (entry.is_regular_file()) fs::copy_file(entry.path(), fs::path(folder) / entry.path().filename());
  }
  VkaGenParams params;
  params.baseName = "gen";
  params.objects = 9;
  params.gridWidth = 7;
  params.gridHeight = 5;
  params.meshKinds = {VkaMesh::kTriangles, VkaMesh::kQuads, VkaMesh::kPolygons, VkaMesh::kStrips,
                      VkaMesh::kReverseStrips};
  params.materials = 3;
  params.polyNormals = true;
  ASSERT_TRUE(WriteVka(folder + "/gen.vka", params));
}

TEST(Determinism, EveryRouteWritesTheSameBytesTwice) {
  const std::vector<std::vector<std::string>> routes = {
      {"sample.vka"},
      {"sample.vka", "-bin"},
      {"sample.vka", "-septex"},
      {"sample.vka", "-septex", "-bin"},
      {"sample.vka", "-B"},
      {"sample.vka", "-B", "-bin"},
      {"sample.vka", "-outpvm", "-forcetex"},
      {"crate.vka", "-MF", "crate.d", "-strict"},
      {"gen.vka", "-S", "-D8", "-uvh"},
      {"gen.vka", "-bin", "-co34", "-VNX"},
      {"gen.vka", "-B", "-G", "-rmb"},
      {"gen.vka", "-bindebug"},
  };
  ScratchDir dir;
  for (const std::vector<std::string> &route : routes) {
    std::string label;
    for (const std::string &word : route) label += word + " ";
    SCOPED_TRACE(label);
    Files runs[2];
    for (Files &files : runs) {
      Clear(dir.path());
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
    EXPECT_EQ(runs[0].size(), runs[1].size());
    for (const auto &[name, bytes] : runs[0]) {
      ASSERT_EQ(runs[1].count(name), 1u) << name;
      EXPECT_TRUE(bytes == runs[1].at(name)) << name << " differs between the runs";
    }
  }
}

}  // namespace
