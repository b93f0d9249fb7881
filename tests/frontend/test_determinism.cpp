// Outputs are byte-deterministic: every route run twice on the same input in
// the same folder writes the same files, byte for byte (nothing time- or
// address-dependent reaches a file).
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "support/test_support.h"
#include "support/vka_gen.h"
#include "texture/image_files.h"

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

// A 24-bit BMP of width x height with a pattern in every channel.
std::string Bmp(int width, int height) {
  return teximg::Bmp(teximg::MakeImage(width, height, [](int x, int y) {
    return std::array<int, 4>{255, x * 4 + y, y * 4, (x ^ y) * 8};
  }));
}

// The bundled samples with their textures, and a generated model of many
// objects, mesh kinds and materials whose four textures are converted as VQ
// (both algorithms, with dither), small VQ and rectangle by their resource
// databases.
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
  params.materials = 4;
  params.textures = 4;
  params.polyNormals = true;
  ASSERT_TRUE(WriteVka(folder + "/gen.vka", params));
  const struct {
    int width, height;
    const char *settings;
  } textures[] = {  // fields in the record's order
      {64, 64, "Fromat auto\nCategory VQ\n"},
      {64, 64, "Fromat auto\nCategory VQ\nMipmap on\nDither on\nAlphaDither off\nGlobalIndex -1\n"
               "paletteBank -1\nVQMode VQ3\n"},
      {32, 32, "Fromat auto\nCategory SMALLVQ\nMipmap off\n"},
      {64, 32, "Fromat ARGB1555\nCategory rectangle\nMipmap off\nDither on\n"}};
  for (int i = 0; i < 4; ++i) {
    const std::string name = folder + "/tex" + std::to_string(i);
    ASSERT_TRUE(WriteFile(name + ".bmp", Bmp(textures[i].width, textures[i].height)));
    ASSERT_TRUE(WriteFile(name + ".nre", "Chunk TextureTex 0 1 0 0\n! 0 tex" + std::to_string(i) + "\n" +
                                             textures[i].settings));
  }
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
      {"gen.vka", "-septex", "-MF", "gen.d"},
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
    if (route[0] == "gen.vka" && route[1] == "-S") {
      // The generated model's textures: VQ with mipmaps twice, small VQ, rectangle.
      const int types[] = {0x04, 0x04, 0x10, 0x09};
      for (int i = 0; i < 4; ++i) {
        const std::string name = "tex" + std::to_string(i) + ".pvr";
        ASSERT_EQ(runs[0].count(name), 1u) << name;
        ASSERT_GT(runs[0].at(name).size(), 25u);
        EXPECT_EQ(static_cast<uint8_t>(runs[0].at(name)[25]), types[i]) << name;
      }
    }
    EXPECT_EQ(runs[0].size(), runs[1].size());
    for (const auto &[name, bytes] : runs[0]) {
      ASSERT_EQ(runs[1].count(name), 1u) << name;
      EXPECT_TRUE(bytes == runs[1].at(name)) << name << " differs between the runs";
    }
  }
}

}  // namespace
