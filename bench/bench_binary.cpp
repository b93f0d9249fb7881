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
void WriteItems(VKWriter &w, const std::vector<std::string> &names) {
  const long count = static_cast<long>(names.size());
  for (long i = 0; i < count; i++) {
    VKPrintBin(w, "T0", names[static_cast<size_t>(i)].c_str());
    VKPrintBin(w, "i", static_cast<int>(i));
    VKPrintBin(w, "P0", names[static_cast<size_t>((i * 7919L) % count)].c_str());
  }
}

// The whole file: items, chunk close and the write.
void BM_ChunkWithLabelsAndPointers(benchmark::State &state) {
  const std::vector<std::string> names = Names(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    FILE *file = std::tmpfile();
    VKWriter w;
    VKWriteOpen(w, file);
    VKWriteSetBin(w);
    VKWriteBinChunkStart(w, kVKChunkVKCM);
    WriteItems(w, names);
    VKWriteBinChunkEnd(w);
    VKWriteClose(w);
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
    VKWriter w;
    VKWriteSetBin(w);
    VKWriteBinChunkStart(w, kVKChunkVKCM);
    WriteItems(w, names);
    state.ResumeTiming();
    VKWriteBinChunkEnd(w);
    state.PauseTiming();
    VKWriteSetAscii(w);  // nothing to write: the image is dropped
    VKWriteClose(w);
    state.ResumeTiming();
  }
}
BENCHMARK(BM_ChunkClose)->Arg(200000)->Unit(benchmark::kMillisecond);

}  // namespace
