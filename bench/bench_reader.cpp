// Basic-model reader: whole generated files of 100,000 and 1,000,000
// triangles, and a file of 20,000 small objects (linking by name).
#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include <cstdio>
#include <filesystem>
#include <map>
#include <string>

#include "reader/reader.h"
#include "scene/memory.h"
#include "scene/records.h"
#include "support/vka_gen.h"

namespace {

// Generated files, written once per process into the temporary folder.
const std::string &FixtureFile(const std::string &name, const vktest::VkaGenParams &params) {
  static std::map<std::string, std::string> files;
  auto it = files.find(name);
  if (it != files.end()) return it->second;
  const std::string path = (std::filesystem::temp_directory_path() / ("vk_bench_reader_" + name + ".vka")).string();
  if (!vktest::WriteVka(path, params)) std::fprintf(stderr, "cannot write %s\n", path.c_str());
  return files[name] = path;
}

double PeakRssMb() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss / 1024.0;
}

void ReadFileBenchmark(benchmark::State &state, const std::string &name, const vktest::VkaGenParams &params,
                       long long triangles) {
  const std::string &path = FixtureFile(name, params);
  for (auto _ : state) {
    ScMallocTabInit();
    ScObject *scene = ReadBasicModel(path.c_str());
    if (!scene) state.SkipWithError("read failed");
    benchmark::DoNotOptimize(scene);
    ScFreeAll();
  }
  state.counters["file_MB"] = static_cast<double>(std::filesystem::file_size(path)) / 1e6;
  state.counters["triangles"] = static_cast<double>(triangles);
  state.counters["peak_rss_MB"] = PeakRssMb();
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(std::filesystem::file_size(path)));
}

// Eight objects of 250 x rows cells, two triangles a cell, with normals and
// UVs: rows 250 gives 1,000,000 triangles, rows 25 gives 100,000.
void BM_ReadTriangles(benchmark::State &state) {
  vktest::VkaGenParams p;
  p.baseName = "tri" + std::to_string(state.range(0));
  p.objects = 8;
  p.gridWidth = 250;
  p.gridHeight = static_cast<int>(state.range(0));
  ReadFileBenchmark(state, p.baseName, p, vktest::ExpectedVkaCounts(p).triangles);
}
BENCHMARK(BM_ReadTriangles)->Arg(25)->Arg(250)->Unit(benchmark::kMillisecond)->Iterations(3);

// The same sizes in strips (the common output of the converter's own writer).
void BM_ReadStrips(benchmark::State &state) {
  vktest::VkaGenParams p;
  p.baseName = "strip" + std::to_string(state.range(0));
  p.objects = 8;
  p.gridWidth = 250;
  p.gridHeight = static_cast<int>(state.range(0));
  p.meshKinds = {vktest::VkaMesh::kStrips, vktest::VkaMesh::kReverseStrips};
  ReadFileBenchmark(state, p.baseName, p, vktest::ExpectedVkaCounts(p).triangles);
}
BENCHMARK(BM_ReadStrips)->Arg(25)->Arg(250)->Unit(benchmark::kMillisecond)->Iterations(3);

// 20,000 objects of one cell each: every reference is linked by name.
void BM_ReadManyObjects(benchmark::State &state) {
  vktest::VkaGenParams p;
  p.baseName = "objects" + std::to_string(state.range(0));
  p.objects = static_cast<int>(state.range(0));
  p.childrenPerNode = 4;
  p.gridWidth = p.gridHeight = 1;
  ReadFileBenchmark(state, p.baseName, p, vktest::ExpectedVkaCounts(p).triangles);
}
BENCHMARK(BM_ReadManyObjects)->Arg(2000)->Arg(20000)->Unit(benchmark::kMillisecond)->Iterations(3);

}  // namespace
