// The layers of src/ depend only downward: a file of one layer includes
// headers of its own layer and of the layers below it, never of a layer
// above. The same holds for each layer's test folder. Every folder of src/
// must be a known layer.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

#include "support/test_support.h"

namespace {

namespace fs = std::filesystem;

// Lowest first.
constexpr std::string_view kLayers[] = {"base",    "scene", "reader", "process", "binary",
                                        "texture", "chunk", "basic",  "frontend"};

int Rank(std::string_view layer) {
  const auto *found = std::find(std::begin(kLayers), std::end(kLayers), layer);
  return found == std::end(kLayers) ? -1 : static_cast<int>(found - std::begin(kLayers));
}

// The folder named by an include line `#include "folder/..."`, or empty.
std::string IncludedFolder(const std::string &line) {
  size_t at = line.find_first_not_of(" \t");
  if (at == std::string::npos || line.compare(at, 8, "#include") != 0) return "";
  at = line.find('"', at);
  if (at == std::string::npos) return "";
  const size_t slash = line.find('/', at);
  const size_t close = line.find('"', at + 1);
  if (slash == std::string::npos || close == std::string::npos || slash > close) return "";
  return line.substr(at + 1, slash - at - 1);
}

// "file:line includes folder/... above layer" for every upward include
// under `root`/<layer> (folders of `root` that are not layers are skipped
// unless `allLayers`, which reports them).
std::vector<std::string> UpwardIncludes(const fs::path &root, bool allLayers) {
  std::vector<std::string> found;
  if (!fs::exists(root)) return found;
  for (const auto &folder : fs::directory_iterator(root)) {
    if (!folder.is_directory()) continue;
    const std::string layer = folder.path().filename().string();
    const int rank = Rank(layer);
    if (rank < 0) {
      if (allLayers) found.push_back(folder.path().string() + " is not a layer");
      continue;
    }
    for (const auto &entry : fs::recursive_directory_iterator(folder.path())) {
      const std::string extension = entry.path().extension().string();
      if (!entry.is_regular_file() || (extension != ".h" && extension != ".cpp")) continue;
      std::ifstream in(entry.path());
      int number = 0;
      for (std::string line; std::getline(in, line);) {
        ++number;
        const std::string included = IncludedFolder(line);
        if (!included.empty() && Rank(included) > rank) {
          found.push_back(entry.path().string() + ":" + std::to_string(number) + " includes " + included +
                          "/..., above " + layer);
        }
      }
    }
  }
  return found;
}

TEST(Layers, SourcesIncludeOnlyTheirOwnAndLowerLayers) {
  const fs::path source = vktest::SourceDir();
  ASSERT_TRUE(fs::exists(source / "src" / "base")) << source;
  EXPECT_EQ(UpwardIncludes(source / "src", true), std::vector<std::string>{});
  EXPECT_EQ(UpwardIncludes(source / "tests", false), std::vector<std::string>{});
}

// The scan itself, on a small tree: an upward include is found with its
// line, a downward or same-layer one is not, and an unknown folder is named.
TEST(Layers, TheScanFindsUpwardIncludes) {
  vktest::ScratchDir dir;
  const fs::path root = dir.path();
  fs::create_directories(root / "scene");
  fs::create_directories(root / "chunk" / "inner");
  fs::create_directories(root / "extra");
  ASSERT_TRUE(vktest::WriteFile((root / "scene" / "a.cpp").string(),
                                "#include <cstdio>\n#include \"base/console.h\"\n  #include \"frontend/driver.h\"\n"));
  ASSERT_TRUE(vktest::WriteFile((root / "chunk" / "inner" / "b.h").string(),
                                "// #include \"basic/x.h\"\n#include \"chunk/c.h\"\n#include \"basic/x.h\"\n"));
  ASSERT_TRUE(vktest::WriteFile((root / "chunk" / "notes.txt").string(), "#include \"frontend/driver.h\"\n"));
  std::vector<std::string> found = UpwardIncludes(root, true);
  std::sort(found.begin(), found.end());
  const std::vector<std::string> expected = {
      (root / "chunk" / "inner" / "b.h").string() + ":3 includes basic/..., above chunk",
      (root / "extra").string() + " is not a layer",
      (root / "scene" / "a.cpp").string() + ":3 includes frontend/..., above scene",
  };
  EXPECT_EQ(found, expected);
}

}  // namespace
