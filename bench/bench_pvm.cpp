// Packing a model's textures into an archive: twenty 512x512 RGB565 twiddled
// textures with mipmaps (about 700 KB each), loaded, laid out and written
// through the temporary; and the same through the program, a model whose
// twenty textures are converted already, run with -bin and with -bin -outpvm
// (the difference is the archive).
#include <benchmark/benchmark.h>

#include <filesystem>
#include <random>
#include <string>

#include "base/console.h"
#include "support/test_support.h"
#include "support/vka_gen.h"
#include "texture/image_files.h"
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

// Argument 1: with -outpvm.
void BM_ProgramTwenty512(benchmark::State &state) {
  vktest::ScratchDir dir;
  vktest::VkaGenParams params;
  params.baseName = "scene";
  params.materials = kTextures;
  for (int t = 0; t < kTextures; ++t) {
    params.textureNames.push_back("tex" + std::to_string(t) + ".bmp");
    teximg::WriteBytes(dir.file(params.textureNames.back()),
                       teximg::Bmp(teximg::RandomImage(kSide, kSide, 100 + t, false)));
  }
  vktest::WriteVka(dir.file("scene.vka"), params);
  vktest::RunVkconv({"scene.vka", "-bin"}, dir.path());  // converts every texture once
  std::vector<std::string> args = {"scene.vka", "-bin"};
  if (state.range(0) != 0) args.push_back("-outpvm");
  for (auto _ : state) {
    const vktest::RunResult run = vktest::RunVkconv(args, dir.path());
    if (run.status != 0 || (state.range(0) != 0 && !vktest::Exists(dir.file("scene.pvm"))))
      state.SkipWithError("run failed");
  }
}

}  // namespace

BENCHMARK(BM_PackTwenty512)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ProgramTwenty512)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime();
