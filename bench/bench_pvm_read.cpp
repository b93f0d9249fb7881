// Splitting PVM archives into their entries, by archive size (textures of
// 256x256 with mipmaps, 16-bit texels); medians of several repetitions.
#include <benchmark/benchmark.h>

#include <vector>

#include "texture/pvm_layout.h"
#include "texture/pvm_read.h"

namespace {

void BM_ReadPvm(benchmark::State &state) {
  const int count = static_cast<int>(state.range(0));
  constexpr uint32_t kDataSize = 174764;  // 256x256 with mipmaps
  std::vector<pvmtest::Texture> textures;
  for (int i = 0; i < count; ++i) {
    std::vector<uint8_t> pvr;
    pvr::PutGlobalIndexChunk(pvr, static_cast<uint32_t>(i), false);
    pvr::PutTextureHead(pvr, kDataSize, 0x0201, 256, 256);
    pvr.resize(pvr.size() + kDataSize, static_cast<uint8_t>(i));
    textures.push_back({"tex_" + std::to_string(i), pvr, {}});
  }
  const std::vector<uint8_t> archive = pvmtest::Archive(textures, {"model.vka"});
  PVM_Archive out;
  std::string error;
  for (auto _ : state) {
    if (!PVM_ReadArchive(archive, &out, &error)) state.SkipWithError(error.c_str());
    benchmark::DoNotOptimize(out.entries.data());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(archive.size()));
}

BENCHMARK(BM_ReadPvm)->Arg(4)->Arg(16)->Arg(64)->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly(true);

}  // namespace
