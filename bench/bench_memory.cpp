// Tracked allocator: a million allocations released in random order.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <random>
#include <vector>

#include "scene/memory.h"

namespace {

void BM_TrackedAllocRelease(benchmark::State &state) {
  const long count = state.range(0);
  std::vector<void *> blocks(static_cast<size_t>(count));
  std::mt19937 random(1);
  for (auto _ : state) {
    ScMallocTabInit();
    for (long i = 0; i < count; i++) blocks[static_cast<size_t>(i)] = ScMalloc(16, "bench");
    std::shuffle(blocks.begin(), blocks.end(), random);
    for (void *block : blocks) ScFree(block, "bench");
    ScFreeAll();
  }
  state.SetItemsProcessed(state.iterations() * count);
}
BENCHMARK(BM_TrackedAllocRelease)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond);

}  // namespace
