// Texture encoding of a 1024x1024 image: twiddled RGB565 with mipmaps and
// dither, and rectangle, each written to a temporary file; the mipmap builder
// against the literal box filter it replaces.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <random>
#include <string>

#include "base/console.h"
#include "texture/mipmap_oracle.h"
#include "texture/pvr_encode.h"

namespace {

PVR_Image Source(int32_t side) {
  PVR_Image image;
  image.width = image.height = side;
  image.texels.resize(4 * static_cast<size_t>(side) * side);
  std::mt19937 random(1);
  for (uint8_t &byte : image.texels) byte = static_cast<uint8_t>(random());
  return image;
}

std::string TemporaryName() { return (std::filesystem::temp_directory_path() / "bench_texture_encode.pvr").string(); }

void Encode(benchmark::State &state, bool twiddled) {
  SetInfoStream(nullptr);
  const PVR_Image source = Source(1024);
  PVR_Settings settings;
  settings.outputName = TemporaryName();
  settings.pixelFormat = kPixRGB565;
  settings.autoMipmap = twiddled ? 1 : 0;
  settings.dither = twiddled ? 1 : 0;
  for (auto _ : state) {
    state.PauseTiming();
    PVR_Image image = source;  // the encoders take the image they may change
    state.ResumeTiming();
    const bool ok = twiddled ? PVR_EncodeTwiddled(&settings, std::move(image))
                             : PVR_EncodeRectangle(&settings, std::move(image), false);
    if (!ok) state.SkipWithError("encoding failed");
  }
  std::remove(settings.outputName.c_str());
  SetInfoStream(stderr);
}

void BM_TwiddledMipmapsDither1024(benchmark::State &state) { Encode(state, true); }
void BM_Rectangle1024(benchmark::State &state) { Encode(state, false); }

void BM_SetMipmaps1024(benchmark::State &state) {
  const PVR_Image source = Source(1024);
  for (auto _ : state) {
    PVR_Input input;
    input.levels.push_back(source);
    benchmark::DoNotOptimize(PVR_SetMipmaps(&input));
  }
}

void BM_LiteralMipmaps1024(benchmark::State &state) {
  const PVR_Image source = Source(1024);
  for (auto _ : state) {
    for (int k = 1; k <= 10; ++k) benchmark::DoNotOptimize(textest::LiteralMipmap(source, k));
  }
}

}  // namespace

BENCHMARK(BM_TwiddledMipmapsDither1024)->Unit(benchmark::kMillisecond)->Repetitions(7)->ReportAggregatesOnly(true);
BENCHMARK(BM_Rectangle1024)->Unit(benchmark::kMillisecond)->Repetitions(7)->ReportAggregatesOnly(true);
BENCHMARK(BM_SetMipmaps1024)->Unit(benchmark::kMillisecond)->Repetitions(7)->ReportAggregatesOnly(true);
BENCHMARK(BM_LiteralMipmaps1024)->Unit(benchmark::kMillisecond)->Repetitions(3)->ReportAggregatesOnly(true);
