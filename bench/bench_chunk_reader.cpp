// Chunk-model ASCII to binary: the Chunk-model ASCII file of a generated
// model of about one million triangles (8 objects of 250 x 250 cells, two
// triangles each) and of one tenth of it (8 objects of 79 x 79 cells), made
// once with the built program. Timed end to end through the program, and
// in-process: the whole read and write, and the parse alone.
#include <benchmark/benchmark.h>

#include <chrono>
#include <filesystem>
#include <string>

#include "base/console.h"
#include "binary/chunk_reader.h"
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

// The Chunk-model ASCII file of one size, kept for the whole benchmark run.
// Each lives in its own folder as big.vka: the object names of the source
// carry the file's base name, which keeps them distinct.
const std::string &ChunkFile(int grid) {
  static vktest::ScratchDir dirs[2];
  static std::string names[2];
  const int slot = grid == 250 ? 0 : 1;
  std::string &name = names[slot];
  if (name.empty()) {
    const vktest::ScratchDir &dir = dirs[slot];
    vktest::WriteVka(dir.file("big.vka"), Params(grid));
    vktest::RunVkconv({"big.vka"}, dir.path());
    std::filesystem::remove(dir.file("big.vka.bk"));
    name = dir.file("big.vka");
  }
  return name;
}

void SetCounters(benchmark::State &state, int grid, const std::string &output) {
  const double input = static_cast<double>(std::filesystem::file_size(ChunkFile(grid)));
  state.counters["triangles"] = static_cast<double>(vktest::ExpectedVkaCounts(Params(grid)).triangles);
  state.counters["input_MB"] = input / 1048576.0;
  state.counters["input_bytes_per_s"] =
      benchmark::Counter(input * static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
  if (!output.empty())
    state.counters["output_MB"] = static_cast<double>(std::filesystem::file_size(output)) / 1048576.0;
}

// vkconv chunk.vka -bin: program start, read, write.
void BM_ChunkReaderEndToEnd(benchmark::State &state) {
  const int grid = static_cast<int>(state.range(0));
  const std::string &input = ChunkFile(grid);
  const std::filesystem::path folder = std::filesystem::path(input).parent_path();
  const std::string name = std::filesystem::path(input).filename().string();
  for (auto _ : state) {
    const auto start = std::chrono::steady_clock::now();
    vktest::RunVkconv({name, "-bin"}, folder.string());
    state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
  }
  SetCounters(state, grid, (folder / (std::filesystem::path(name).stem().string() + ".vk")).string());
}

// The reader in-process: parse, link and write the binary file.
void BM_ChunkReaderReadAndWrite(benchmark::State &state) {
  const int grid = static_cast<int>(state.range(0));
  const std::string &input = ChunkFile(grid);
  vktest::ScratchDir work;
  const std::string output = work.file("out.vk");
  for (auto _ : state) {
    VKTextureList textures;
    const VKStatus status = VKReadChunkModel(input.c_str(), output.c_str(), &textures);
    if (!status.ok()) state.SkipWithError(status.message.c_str());
  }
  SetCounters(state, grid, output);
}

// The parse alone, from the file.
void BM_ChunkReaderParseOnly(benchmark::State &state) {
  const int grid = static_cast<int>(state.range(0));
  const std::string &input = ChunkFile(grid);
  for (auto _ : state) {
    VKTextureList textures;
    const VKStatus status = VKReadChunkModel(input.c_str(), nullptr, &textures);
    if (!status.ok()) state.SkipWithError(status.message.c_str());
  }
  SetCounters(state, grid, "");
}

BENCHMARK(BM_ChunkReaderEndToEnd)->Arg(79)->Arg(250)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_ChunkReaderReadAndWrite)->Arg(79)->Arg(250)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_ChunkReaderParseOnly)->Arg(79)->Arg(250)->Unit(benchmark::kMillisecond)->Iterations(3);

}  // namespace
