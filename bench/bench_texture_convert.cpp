// Textures converted the way a model's section converts them: the per-texture
// conversion from the source file to the PVR file (read, decide, encode,
// write), and a model with twenty 512x512 textures through the program.
// Medians of five repetitions.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include "base/console.h"
#include "support/test_support.h"
#include "support/vka_gen.h"
#include "support/vq_oracle.h"
#include "texture/image_files.h"
#include "texture/texture_convert.h"

namespace {

// Standard output (the compressor's progress lines) and the tags go nowhere
// while it lives, so that they do not run into the benchmark's report.
class Silence {
 public:
  Silence() {
    std::fflush(stdout);
    saved_ = dup(1);
    const int null = open("/dev/null", O_WRONLY);
    dup2(null, 1);
    close(null);
    SetInfoStream(nullptr);
    SetWarningStream(nullptr);
  }
  ~Silence() {
    std::fflush(stdout);
    dup2(saved_, 1);
    close(saved_);
    SetInfoStream(stderr);
    SetWarningStream(stderr);
  }

 private:
  int saved_;
};

// One 24-bit BMP photograph of `side` converted with the settings `format`
// asks for; range(0) is the side.
void Convert(benchmark::State &state, int32_t format, bool dither) {
  const int side = static_cast<int>(state.range(0));
  vktest::ScratchDir dir;
  const std::string source = dir.file("photo.bmp");
  teximg::WriteBytes(source, teximg::Bmp(vqtest::MakeImage(vqtest::ImageKind::kPhoto, side, 42)));
  Silence silence;
  for (auto _ : state) {
    PVR_Settings settings;
    settings.inputName = source;
    settings.textureFormat = format;
    settings.dither = dither ? 1 : 0;
    settings.globalIndex = 0;
    if (!PVR_ConvertTexture(&settings)) state.SkipWithError("conversion failed");
  }
}

void BM_ConvertTwiddledMipDither(benchmark::State &state) { Convert(state, kTexFormatTwiddled, true); }
void BM_ConvertVQ4Mip(benchmark::State &state) { Convert(state, kTexFormatVQ, false); }

BENCHMARK(BM_ConvertTwiddledMipDither)
    ->Arg(1024)
    ->Unit(benchmark::kMillisecond)
    ->Repetitions(5)
    ->ReportAggregatesOnly(true);
BENCHMARK(BM_ConvertVQ4Mip)
    ->Arg(256)
    ->Arg(1024)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Repetitions(5)
    ->ReportAggregatesOnly(true);

// A model whose twenty materials use twenty 512x512 photographs, converted
// by the program (-bin keeps the input in place; -forcetex converts every
// texture again on each run).
void BM_ModelTwentyTextures512(benchmark::State &state) {
  vktest::ScratchDir dir;
  vktest::VkaGenParams params;
  params.baseName = "scene";
  params.materials = 20;
  for (int t = 0; t < 20; ++t) {
    params.textureNames.push_back("tex" + std::to_string(t) + ".bmp");
    teximg::WriteBytes(dir.file(params.textureNames.back()),
                       teximg::Bmp(vqtest::MakeImage(vqtest::ImageKind::kPhoto, 512, 100 + t)));
  }
  vktest::WriteVka(dir.file("scene.vka"), params);
  for (auto _ : state) {
    const vktest::RunResult run = vktest::RunVkconv({"scene.vka", "-bin", "-forcetex"}, dir.path());
    if (run.status != 0 || !vktest::Exists(dir.file("tex19.pvr"))) state.SkipWithError("conversion failed");
  }
}
BENCHMARK(BM_ModelTwentyTextures512)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(1)
    ->Repetitions(5)
    ->ReportAggregatesOnly(true);

}  // namespace
