// Basic-model output (-B, -B -bin) of a generated model of one million
// triangles (40 objects of 125 x 100 cells, two triangles each) and of one
// tenth of it (4 such objects): end to end through the built program (read,
// node list, write), with the child's peak memory, and the writer alone
// in-process.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "base/console.h"
#include "base/file_names.h"
#include "basic/basic_writer.h"
#include "process/nodelist.h"
#include "reader/reader.h"
#include "scene/memory.h"
#include "bench_run.h"
#include "support/test_support.h"
#include "support/vka_gen.h"

namespace {

vktest::VkaGenParams Params(int objects) {
  vktest::VkaGenParams params;
  params.baseName = "big";
  params.objects = objects;
  params.gridWidth = 125;
  params.gridHeight = 100;
  params.materials = 2;
  params.textures = 1;
  return params;
}

// One generated source file per size, kept for the whole benchmark run.
const std::string &Source(int objects) {
  static vktest::ScratchDir dir;
  static std::map<int, std::string> names;
  std::string &name = names[objects];
  if (name.empty()) {
    name = dir.file("source" + std::to_string(objects) + ".vka");
    vktest::WriteVka(name, Params(objects));
  }
  return name;
}


void EndToEnd(benchmark::State &state, bool binary) {
  const int objects = static_cast<int>(state.range(0));
  const std::string &source = Source(objects);
  vktest::ScratchDir work;
  long peak = 0;
  for (auto _ : state) {
    state.PauseTiming();
    std::filesystem::copy_file(source, work.file("big.vka"), std::filesystem::copy_options::overwrite_existing);
    std::filesystem::remove(work.file("big.vka.bk"));
    state.ResumeTiming();
    const auto start = std::chrono::steady_clock::now();
    peak = vkbench::RunVkconvPeak(binary ? std::vector<std::string>{"big.vka", "-B", "-bin"}
                           : std::vector<std::string>{"big.vka", "-B"},
                    work.path());
    state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
  }
  state.counters["triangles"] = static_cast<double>(vktest::ExpectedVkaCounts(Params(objects)).triangles);
  state.counters["peak_MB"] = static_cast<double>(peak) / 1024.0;
  state.counters["output_MB"] =
      static_cast<double>(std::filesystem::file_size(work.file(binary ? "big.vk" : "big.vka"))) / 1048576.0;
}

void BM_BasicAsciiEndToEnd(benchmark::State &state) { EndToEnd(state, false); }
void BM_BasicBinaryEndToEnd(benchmark::State &state) { EndToEnd(state, true); }

// The writer alone (material tags, optimize info, output), on a scene read
// and flattened outside the timing.
void WriterOnly(benchmark::State &state, bool binary) {
  const int objects = static_cast<int>(state.range(0));
  const std::string &source = Source(objects);
  vktest::ScratchDir work;
  SetInfoStream(nullptr);
  SetMessageStream(nullptr);
  for (auto _ : state) {
    state.PauseTiming();
    ScMallocTabInit();
    ScObject *scene = ReadBasicModel(source.c_str());
    const float rotation[3] = {0, 0, 0};
    ScNodeList *list = nullptr;
    ScGetNodeList(scene, 0x80000000, 0x38000000u | (binary ? 1u : 0u), 0, rotation, &list);
    char name[kNameSize];
    std::snprintf(name, sizeof name, "%s", work.file("big.vka").c_str());
    GlobalIndexBlock globalIndex{};
    state.ResumeTiming();
    VKWriteBasicModel({list, "big.vka", name, &globalIndex, "", 0x40000001, 1.0f, nullptr, nullptr});
    state.PauseTiming();
    ScFreeAll();
    state.ResumeTiming();
  }
  SetInfoStream(stderr);
  SetMessageStream(stderr);
}

void BM_BasicAsciiWriterOnly(benchmark::State &state) { WriterOnly(state, false); }
void BM_BasicBinaryWriterOnly(benchmark::State &state) { WriterOnly(state, true); }

BENCHMARK(BM_BasicAsciiEndToEnd)->Arg(4)->Arg(40)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_BasicBinaryEndToEnd)->Arg(4)->Arg(40)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_BasicAsciiWriterOnly)->Arg(4)->Arg(40)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_BasicBinaryWriterOnly)->Arg(4)->Arg(40)->Unit(benchmark::kMillisecond)->Iterations(3);

}  // namespace
