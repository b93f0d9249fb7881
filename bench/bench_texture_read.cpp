// Reading 1024x1024 24-bit source images (BMP and TGA) into the in-memory
// image; medians of several repetitions.
#include <benchmark/benchmark.h>

#include <string>

#include "support/test_support.h"
#include "texture/image_files.h"
#include "texture/image_read.h"

namespace {

void ReadSource(benchmark::State &state, PVR_SourceType type, const char *name) {
  vktest::ScratchDir dir;
  PVR_Image source = teximg::RandomImage(1024, 1024, 7, false, 1 << 20);
  std::string path = dir.file(name);
  teximg::WriteBytes(path, type == kSourceBMP ? teximg::Bmp(source) : teximg::Tga(source, 24));
  PVR_Settings settings;
  PVR_Image image;
  for (auto _ : state) {
    if (!PVR_ReadImage(type, path.c_str(), settings, &image)) state.SkipWithError("read failed");
    benchmark::DoNotOptimize(image.texels.data());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * 1024 * 1024 * 3);
}

void BM_ReadBmp1024(benchmark::State &state) { ReadSource(state, kSourceBMP, "big.bmp"); }
void BM_ReadTga1024(benchmark::State &state) { ReadSource(state, kSourceTGA, "big.tga"); }

BENCHMARK(BM_ReadBmp1024)->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly(true);
BENCHMARK(BM_ReadTga1024)->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly(true);

}  // namespace
