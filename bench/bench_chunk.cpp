// Chunk-model output of a generated model of about one million triangles
// (8 objects of 250 x 250 cells, two triangles each) and of one tenth of it
// (8 objects of 79 x 79 cells): end to end through the built program (read,
// node list, strips, write; ASCII and -bin), with the child's peak memory,
// and the writer alone in-process.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "base/console.h"
#include "chunk/chunk_writer.h"
#include "frontend/options.h"
#include "process/nodelist.h"
#include "reader/reader.h"
#include "scene/memory.h"
#include "bench_run.h"
#include "support/test_support.h"
#include "support/vka_gen.h"

namespace {

vktest::VkaGenParams Params(int grid) {
  vktest::VkaGenParams params;
  params.baseName = "big";
  params.objects = 8;
  params.gridWidth = grid;
  params.gridHeight = grid;
  params.materials = 2;
  params.textures = 1;
  return params;
}

// One generated source file per size, kept for the whole benchmark run.
const std::string &Source(int grid) {
  static vktest::ScratchDir dir;
  static std::string names[2];
  std::string &name = names[grid == 250 ? 0 : 1];
  if (name.empty()) {
    name = dir.file("source" + std::to_string(grid) + ".vka");
    vktest::WriteVka(name, Params(grid));
  }
  return name;
}


void EndToEnd(benchmark::State &state, bool binary) {
  const int grid = static_cast<int>(state.range(0));
  const std::string &source = Source(grid);
  vktest::ScratchDir work;
  long peak = 0;
  for (auto _ : state) {
    state.PauseTiming();
    std::filesystem::copy_file(source, work.file("big.vka"), std::filesystem::copy_options::overwrite_existing);
    std::filesystem::remove(work.file("big.vka.bk"));
    state.ResumeTiming();
    const auto start = std::chrono::steady_clock::now();
    peak = vkbench::RunVkconvPeak(binary ? std::vector<std::string>{"big.vka", "-bin"} : std::vector<std::string>{"big.vka"},
                    work.path());
    state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
  }
  state.counters["triangles"] = static_cast<double>(vktest::ExpectedVkaCounts(Params(grid)).triangles);
  state.counters["peak_MB"] = static_cast<double>(peak) / 1024.0;
  state.counters["output_MB"] =
      static_cast<double>(std::filesystem::file_size(work.file(binary ? "big.vk" : "big.vka"))) / 1048576.0;
}

void BM_ChunkAsciiEndToEnd(benchmark::State &state) { EndToEnd(state, false); }
void BM_ChunkBinaryEndToEnd(benchmark::State &state) { EndToEnd(state, true); }

// The writer alone (material tags, optimize info, strips, output), on a
// scene read and flattened outside the timing.
void WriterOnly(benchmark::State &state, bool binary) {
  const int grid = static_cast<int>(state.range(0));
  const std::string &source = Source(grid);
  vktest::ScratchDir work;
  SetInfoStream(nullptr);
  SetMessageStream(nullptr);
  for (auto _ : state) {
    state.PauseTiming();
    ScMallocTabInit();
    ScObject *scene = ReadBasicModel(source.c_str());
    uint32_t modelFlags = 0x80000000, stripFlags = 0, chunkFlags = 0x40000001;
    CompleteChunkOptions(&chunkFlags, &stripFlags, &modelFlags);
    const float rotation[3] = {0, 0, 0};
    ScNodeList *list = nullptr;
    ScGetNodeList(scene, modelFlags, 0x38000000u | (binary ? 1u : 0u), stripFlags, rotation, &list);
    char name[kNameSize];
    std::snprintf(name, sizeof name, "%s", work.file("big.vka").c_str());
    GlobalIndexBlock globalIndex{};
    state.ResumeTiming();
    VKWriteChunkModel({list, "big.vka", name, &globalIndex, "", chunkFlags, 1.0f, nullptr, nullptr});
    state.PauseTiming();
    ScFreeAll();
    state.ResumeTiming();
  }
  SetInfoStream(stderr);
  SetMessageStream(stderr);
}

void BM_ChunkAsciiWriterOnly(benchmark::State &state) { WriterOnly(state, false); }
void BM_ChunkBinaryWriterOnly(benchmark::State &state) { WriterOnly(state, true); }

BENCHMARK(BM_ChunkAsciiEndToEnd)->Arg(79)->Arg(250)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_ChunkBinaryEndToEnd)->Arg(79)->Arg(250)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_ChunkAsciiWriterOnly)->Arg(79)->Arg(250)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_ChunkBinaryWriterOnly)->Arg(79)->Arg(250)->Unit(benchmark::kMillisecond)->Iterations(3);

}  // namespace
