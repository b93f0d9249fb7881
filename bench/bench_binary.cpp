// A binary chunk with many labels and pointers: every item written through
// the dual print, then the chunk closed (strings placed, pointers resolved,
// POF0 written) and the image written to a file.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>
#include <vector>

#include "binary/vkprint.h"

namespace {

std::vector<std::string> Names(int count) {
  std::vector<std::string> names;
  names.reserve(static_cast<size_t>(count));
  for (int i = 0; i < count; i++) names.push_back("object_m_" + std::to_string(i));
  return names;
}

// `count` labels, values and pointers; each pointer refers to a label spread
// over the whole chunk.
void WriteItems(const std::vector<std::string> &names) {
  const long count = static_cast<long>(names.size());
  for (long i = 0; i < count; i++) {
    VKPrintBin("T0", names[static_cast<size_t>(i)].c_str());
    VKPrintBin("i", static_cast<int>(i));
    VKPrintBin("P0", names[static_cast<size_t>((i * 7919L) % count)].c_str());
  }
}

// The whole file: items, chunk close and the write.
void BM_ChunkWithLabelsAndPointers(benchmark::State &state) {
  const std::vector<std::string> names = Names(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    FILE *file = std::tmpfile();
    VKWriteOpen(file);
    VKWriteSetBin();
    VKWriteBinChunkStart(kVKChunkVKCM);
    WriteItems(names);
    VKWriteBinChunkEnd();
    VKWriteClose();
    std::fclose(file);
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_ChunkWithLabelsAndPointers)->Arg(200000)->Unit(benchmark::kMillisecond);

// The chunk close alone: strings, pointer resolution, POF0.
void BM_ChunkClose(benchmark::State &state) {
  const std::vector<std::string> names = Names(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    state.PauseTiming();
    VKWriteOpen(nullptr);
    VKWriteSetBin();
    VKWriteBinChunkStart(kVKChunkVKCM);
    WriteItems(names);
    state.ResumeTiming();
    VKWriteBinChunkEnd();
    state.PauseTiming();
    VKWriteSetAscii();  // nothing to write: the image is dropped
    VKWriteClose();
    state.ResumeTiming();
  }
}
BENCHMARK(BM_ChunkClose)->Arg(200000)->Unit(benchmark::kMillisecond);

}  // namespace
