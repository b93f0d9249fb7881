// Strip building over a generated grid split into nodes of at most 60,000
// vertices, with the fast orderings and with the exchange sorts they
// replace. Counters: triangles, strips, and the builder's peak memory above
// the resident size it started from (Linux: VmHWM after clearing it).
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "base/console.h"
#include "process/nodelist.h"
#include "process/optimize.h"
#include "process/strips.h"
#include "process/process_util.h"
#include "scene/records.h"

namespace {

constexpr int kMaxNodeVertices = 60000;

// A grid of about `triangles` triangles, as bands of rows, one node each.
struct GridScene {
  std::vector<ScNode> nodes;
  std::vector<ScNode *> slist;
  ScNodeList list{};
  VKOptimizeInfo *info = nullptr;
  int triangles = 0;

  explicit GridScene(int wanted) {
    int width = wanted >= 100000 ? 1000 : wanted >= 20000 ? 100 : 50;
    int rows = wanted / (2 * width);
    int bandRows = kMaxNodeVertices / (width + 1) - 1;
    for (int row = 0; row < rows; row += bandRows) {
      int h = std::min(bandRows, rows - row);
      ScModel *model = ScModelAlloc("band");
      model->mesh = ptest::Grid(width, h);
      model->hasMesh = 1;
      nodes.push_back(ScNode{});
      nodes.back().model = nodes.back().node = model;
      triangles += model->mesh->nbPolygon;
    }
    for (ScNode &node : nodes) slist.push_back(&node);
    list.slist = slist.data();
    list.node_n = static_cast<int>(nodes.size());
    list.stripbits = vkopt::kStripOn;
    info = VKGetOptimizeInfo(&list, 0x40000001);
  }
};

long StatusKb(const char *field) {
  std::ifstream status("/proc/self/status");
  std::string line;
  while (std::getline(status, line)) {
    if (line.rfind(field, 0) == 0) return std::atol(line.c_str() + std::strlen(field));
  }
  return 0;
}

// Hands freed heap pages back first, so that the builder's own allocations
// show in the peak instead of reusing resident pages.
void ResetPeak() {
  malloc_trim(0);
  std::ofstream clear("/proc/self/clear_refs");
  clear << "5";
}

void Strip(benchmark::State &state, bool literal) {
  GridScene scene(static_cast<int>(state.range(0)));
  SetMessageStream(nullptr);
  SetInfoStream(nullptr);
  int strips = 0;
  long peakKb = 0;
  for (auto _ : state) {
    ResetPeak();
    long base = StatusKb("VmRSS:");
    VKStripOptions options;
    VKInitStripOptions(&options, vkopt::kStripOn, 0);
    if (literal) {
      options.edgeOrder = ptest::LiteralEdgeOrder;
      options.triangleOrder = ptest::LiteralTriangleOrder;
    }
    strips = VKMakeStrips(&scene.list, scene.info, &options);
    peakKb = std::max(peakKb, StatusKb("VmHWM:") - base);
  }
  SetMessageStream(stderr);
  SetInfoStream(stderr);
  state.counters["triangles"] = scene.triangles;
  state.counters["nodes"] = static_cast<double>(scene.nodes.size());
  state.counters["strips"] = strips;
  state.counters["peak_extra_MB"] = static_cast<double>(peakKb) / 1024.0;
  state.counters["rss_MB"] = static_cast<double>(StatusKb("VmHWM:")) / 1024.0;
}

void BM_StripGrid(benchmark::State &state) { Strip(state, false); }
void BM_StripGridLiteral(benchmark::State &state) { Strip(state, true); }

BENCHMARK(BM_StripGrid)->Arg(2000)->Arg(20000)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_StripGridLiteral)->Arg(2000)->Arg(20000)->Unit(benchmark::kMillisecond)->Iterations(1);

}  // namespace
