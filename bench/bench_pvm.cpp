// Packing a model's textures into an archive: twenty 512x512 RGB565 twiddled
// textures with mipmaps (about 700 KB each), loaded, laid out and written
// through the temporary.
#include <benchmark/benchmark.h>

#include <filesystem>
#include <random>
#include <string>

#include "base/console.h"
#include "texture/pvm.h"
#include "texture/pvr_encode.h"

namespace {

constexpr int kTextures = 20;
constexpr int32_t kSide = 512;

std::filesystem::path Folder() { return std::filesystem::temp_directory_path() / "bench_pvm"; }

void WriteTextures() {
  std::filesystem::create_directories(Folder());
  std::mt19937 random(3);
  for (int i = 0; i < kTextures; ++i) {
    PVR_Image image;
    image.width = image.height = kSide;
    image.texels.resize(4 * static_cast<size_t>(kSide) * kSide);
    for (uint8_t &byte : image.texels) byte = static_cast<uint8_t>(random());
    PVR_Settings settings;
    settings.outputName = (Folder() / ("tex" + std::to_string(i) + ".pvr")).string();
    settings.globalIndex = i;
    PVR_EncodeTwiddled(&settings, std::move(image));
  }
}

void BM_PackTwenty512(benchmark::State &state) {
  SetInfoStream(nullptr);
  WriteTextures();
  const std::string name = (Folder() / "model.pvm").string();
  for (auto _ : state) {
    TextureArchive archive;
    ArchiveReset(&archive);
    ArchiveSetName(&archive, name);
    ArchiveStart(&archive);
    for (int i = 0; i < kTextures; ++i) {
      ArchiveAddFile(&archive, (Folder() / ("tex" + std::to_string(i) + ".pvr")).string());
      ArchiveAddTextureName(&archive, "tex" + std::to_string(i) + ".bmp", "");
    }
    if (ArchiveFinish(&archive) != ArchiveStatus::kWritten) state.SkipWithError("archive not written");
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(std::filesystem::file_size(name)));
  std::filesystem::remove_all(Folder());
  SetInfoStream(stderr);
}

}  // namespace

BENCHMARK(BM_PackTwenty512)->Unit(benchmark::kMillisecond);
