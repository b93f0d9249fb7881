// Strip builder, first half: the chain of triangles, the shared edges and
// the joining test, slot and triangle order; and the driver over the
// material groups.
#include "process/strips.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <exception>
#include <thread>
#include <unordered_map>
#include <vector>

#include "base/console.h"
#include "base/flags.h"
#include "base/numbers.h"
#include "process/nodelist.h"
#include "process/optimize.h"
#include "process/strips_chain.h"
#include "process/strips_order.h"
#include "scene/memory.h"
#include "scene/records.h"

namespace {

using vkstrip::ChainEntry;
using vkstrip::Slot;

constexpr float kStripAngleLimit = 999.0f;
constexpr float kSquareAngleLimit = 0.1f;
constexpr double kUvTolerance = 0.0039;

struct EdgeRecord {
  uint32_t key;       // smaller vertex << 16 | larger vertex
  int32_t a, b;       // vertex indices in the triangle's winding
  int32_t opposite;   // corner opposite the edge
  int32_t triangle;   // chain position
};

bool IsSquareMode(uint32_t stripBits) {
  return (stripBits & vkopt::kStripSquare) && !(stripBits & vkopt::kStripOn);
}

const ScPolyNode &CornerA(const ScPolygon *p, const EdgeRecord &e) { return p->corners[(e.opposite + 1) % 3]; }
const ScPolyNode &CornerB(const ScPolygon *p, const EdgeRecord &e) { return p->corners[(e.opposite + 2) % 3]; }

bool UvClose(float x, float y) { return std::fabs(static_cast<double>(x - y)) <= kUvTolerance; }

void PutInFirstEmptySlot(ChainEntry &entry, int32_t neighbour, float angle, float length, const EdgeRecord &own) {
  for (Slot &slot : entry.slot) {
    if (slot.neighbour < 0) {
      slot = Slot{neighbour, angle, length, own.a, own.b, own.opposite};
      return;
    }
  }
}

// Joins the two triangles of a shared edge when the joining test holds.
// Beyond the test on normals, colours, UVs and angle, the two must run the
// edge in opposite directions (A's first corner is B's second and the other
// way round): a strip through two triangles wound against each other, or
// through two of three on a non-manifold edge that run it alike, would draw
// a triangle the mesh does not have and flip another. Consistently wound
// meshes pass this everywhere, so their strips are not changed by it.
void TryJoin(ChainEntry *chain, const ScVertex *vertices, const EdgeRecord &A, const EdgeRecord &B,
             const VKStripOptions &options) {
  if (!options.joinEitherDirection && (A.a != B.b || A.b != B.a)) return;
  const ScPolygon *pa = chain[A.triangle].polygon;
  const ScPolygon *pb = chain[B.triangle].polygon;
  const ScPolyNode &aa = CornerA(pa, A), &ab = CornerB(pa, A);
  const ScPolyNode &ba = CornerA(pb, B), &bb = CornerB(pb, B);

  if (options.outputFlags & vkopt::kOutPolyVertexNormal) {
    for (int c = 0; c < 3; ++c) {
      if (!(std::fabs(aa.normal[c] - ba.normal[c]) < kScTolerance)) return;
    }
  }
  if (options.outputFlags & vkopt::kOutPolyVertexColour) {
    for (int c = 0; c < 4; ++c) {
      if (aa.color[c] != ba.color[c]) return;
    }
  }
  if (!UvClose(aa.u, bb.u) || !UvClose(ab.u, ba.u) || !UvClose(aa.v, bb.v) || !UvClose(ab.v, ba.v)) return;

  float dot = pa->normal[0] * pb->normal[0] + pa->normal[1] * pb->normal[1] + pa->normal[2] * pb->normal[2];
  if (dot > 1.0f) dot = 1.0f;
  if (dot < -1.0f) dot = -1.0f;  // keeps the angle a number for opposite normals
  auto angle = static_cast<float>(std::acos(static_cast<double>(dot)) * kScDegreesPerRadian);
  if (angle > options.angleLimit) return;

  const float *p = vertices[A.a].pos;
  const float *q = vertices[A.b].pos;
  float dx = q[0] - p[0], dy = q[1] - p[1], dz = q[2] - p[2];
  auto length = static_cast<float>(std::sqrt(static_cast<double>(dx * dx + dy * dy + dz * dz)));

  PutInFirstEmptySlot(chain[A.triangle], B.triangle, angle, length, A);
  PutInFirstEmptySlot(chain[B.triangle], A.triangle, angle, length, B);
}

// Filled slots (a prefix) by angle, near-equal angles by longer edge first.
void SortSlots(ChainEntry &entry) {
  for (int i = 0; i < 3; ++i) {
    for (int j = i + 1; j < 3; ++j) {
      Slot &si = entry.slot[i];
      Slot &sj = entry.slot[j];
      if (si.neighbour < 0 || sj.neighbour < 0) continue;
      if (si.angle > sj.angle || (std::fabs(si.angle - sj.angle) < kScTolerance && sj.length > si.length)) {
        Slot t = si;
        si = sj;
        sj = t;
      }
    }
  }
}

bool ValidTriangle(const ScPolygon *p, int32_t vertexCount) {
  if (p->nbCorner != 3 || p->corners == nullptr) return false;
  for (int c = 0; c < 3; ++c) {
    if (p->corners[c].vertex >= vertexCount) return false;
  }
  int v0 = p->corners[0].vertex, v1 = p->corners[1].vertex, v2 = p->corners[2].vertex;
  return v0 != v1 && v1 != v2 && v2 != v0;
}

void AddEdge(EdgeRecord *&out, int32_t va, int32_t vb, int32_t opposite, int32_t triangle) {
  uint32_t lo = static_cast<uint32_t>(va < vb ? va : vb);
  uint32_t hi = static_cast<uint32_t>(va < vb ? vb : va);
  *out++ = EdgeRecord{(lo << 16) | hi, va, vb, opposite, triangle};
}

}  // namespace

void VKEdgeOrder(const uint32_t *keys, int32_t n, int32_t *order) {
  if (n <= 0) return;
  // Stably sorted positions from one plain sort of key-and-position words.
  std::vector<uint64_t> words(static_cast<size_t>(n));
  for (int32_t i = 0; i < n; ++i) words[i] = (uint64_t{keys[i]} << 32) | static_cast<uint32_t>(i);
  std::sort(words.begin(), words.end());
  std::vector<int32_t> sorted(static_cast<size_t>(n));
  for (int32_t k = 0; k < n; ++k) sorted[k] = static_cast<int32_t>(words[k] & 0xFFFFFFFFu);
  words = {};
  vkorder::StrictExchangeOrderOfSorted(n, [keys](int32_t x, int32_t y) { return keys[x] < keys[y]; }, sorted, order);
}

void VKTriangleOrder(const float *keys, int32_t n, int32_t *order) {
  // Each key as unsigned words in the same order (both zeros one word),
  // the index reversed in the low word: one plain ascending sort of the
  // records gives the keys ascending and equal keys in reverse original
  // order. A NaN, which the float order cannot rank, takes the general way.
  auto word = [](float value, uint32_t *out) {
    if (std::isnan(value)) return false;
    const auto bits = std::bit_cast<uint32_t>(value);
    *out = value == 0.0f ? 0x80000000u : (bits & 0x80000000u) ? ~bits : bits | 0x80000000u;
    return true;
  };
  struct Record {
    uint64_t high;  // first and second key
    uint64_t low;   // third key, then the reversed index
  };
  std::vector<Record> records(static_cast<size_t>(n > 0 ? n : 0));
  bool plain = true;
  for (int32_t t = 0; t < n && plain; ++t) {
    const float *k = keys + static_cast<ptrdiff_t>(t) * 3;
    uint32_t w0 = 0, w1 = 0, w2 = 0;
    plain = word(k[0], &w0) && word(k[1], &w1) && word(k[2], &w2);
    records[t] = Record{(uint64_t{w0} << 32) | w1, (uint64_t{w2} << 32) | (0xFFFFFFFFu - static_cast<uint32_t>(t))};
  }
  if (plain) {
    std::sort(records.begin(), records.end(), [](const Record &x, const Record &y) {
      return x.high != y.high ? x.high < y.high : x.low < y.low;
    });
    for (int32_t k = 0; k < n; ++k) order[k] = static_cast<int32_t>(0xFFFFFFFFu - static_cast<uint32_t>(records[k].low));
    return;
  }
  vkorder::FrontNotSmallerOrder(n, vkorder::TriangleKeyLess{keys}, order);
}

void VKInitStripOptions(VKStripOptions *options, uint32_t stripBits, uint32_t outputFlags) {
  *options = VKStripOptions{};
  options->stripBits = stripBits;
  options->outputFlags = outputFlags;
  options->method = 1;
  options->angleLimit = IsSquareMode(stripBits) ? kSquareAngleLimit : kStripAngleLimit;
}

namespace {

// Working blocks of one strip builder, reused list after list: the chain
// (one entry per triangle) and the edge records (three per triangle).
struct StripBuffers {
  ChainEntry *chain;
  EdgeRecord *edges;
  size_t capacity;  // triangles
};

// A triangle refused as bad data, kept for its warning.
struct BadTriangle {
  int32_t index, v0, v1, v2;
};

void PrintBadTriangle(const BadTriangle &bad) {
  PrintWarning("Warning : Bad data! polygon %d (%d, %d, %d)\n", bad.index, bad.v0, bad.v1, bad.v2);
}

int32_t ListLength(ScPolygon *first, int32_t count) {
  int32_t n = 0;
  for (ScPolygon *p = first; p != nullptr && (count < 0 || n < count); p = p->listNext) ++n;
  return n;
}

StripBuffers AllocateBuffers(size_t capacity) {
  StripBuffers buffers{nullptr, nullptr, capacity};
  buffers.chain = ScNew<ChainEntry>("strip chain", capacity);
  buffers.edges = ScNew<EdgeRecord>("sortbuf", capacity * 3);
  return buffers;
}

void FreeBuffers(StripBuffers &buffers) {
  ScFree(buffers.edges, "Strip chain");
  ScFree(buffers.chain, "Strip chain");
  buffers = StripBuffers{nullptr, nullptr, 0};
}

// Strips one list of n triangles in the given buffers. Neither allocates
// through the tracked table nor prints: bad triangles go to `bad`, the
// statistics to `options`. Touches only the list's polygons, so lists of
// disjoint polygons may be stripped side by side.
int32_t StripListIn(StripBuffers &buffers, const ScVertex *vertices, int32_t vertexCount, ScPolygon *first,
                    int32_t n, VKStripOptions *options, std::vector<BadTriangle> *bad) {
  ChainEntry *chain = buffers.chain;
  EdgeRecord *edges = buffers.edges;
  // Chain, one entry per polygon in list order.
  ScPolygon *p = first;
  for (int32_t t = 0; t < n; ++t, p = p->listNext) {
    p->stripState = 0;
    p->stripLength = 0;
    p->stripNext = nullptr;
    p->stripPrev = nullptr;
    chain[t].polygon = p;
    for (Slot &slot : chain[t].slot) slot = Slot{-1, vkstrip::kEmptyAngle, 0.0f, 0, 0, 0};
  }

  // Edges; degenerate triangles take part in nothing further.
  EdgeRecord *end = edges;
  for (int32_t t = 0; t < n; ++t) {
    ScPolygon *tri = chain[t].polygon;
    if (!ValidTriangle(tri, vertexCount)) {
      if (tri->nbCorner == 3 && tri->corners != nullptr) {
        bad->push_back(BadTriangle{t, tri->corners[0].vertex, tri->corners[1].vertex, tri->corners[2].vertex});
      }
      tri->stripState = kStripUsed | kStripExcluded;
      continue;
    }
    int32_t v0 = tri->corners[0].vertex, v1 = tri->corners[1].vertex, v2 = tri->corners[2].vertex;
    AddEdge(end, v0, v1, 2, t);
    AddEdge(end, v1, v2, 0, t);
    AddEdge(end, v2, v0, 1, t);
  }
  const auto m = static_cast<int32_t>(end - edges);

  // Sorted edges; the first two records of every run of equal keys are a pair.
  std::vector<int32_t> order(static_cast<size_t>(m > n ? m : n));
  {
    std::vector<uint32_t> keys(static_cast<size_t>(m));
    for (int32_t k = 0; k < m; ++k) keys[k] = edges[k].key;
    (options->edgeOrder != nullptr ? options->edgeOrder : VKEdgeOrder)(keys.data(), m, order.data());
  }
  for (int32_t k = 0; k + 1 < m; ++k) {
    const EdgeRecord &rec = edges[order[k]];
    const EdgeRecord &next = edges[order[k + 1]];
    bool runStart = k == 0 || edges[order[k - 1]].key != rec.key;
    if (runStart && next.key == rec.key) TryJoin(chain, vertices, rec, next, *options);
  }

  // Slot order, then triangle order by the three slot angles.
  std::vector<float> keys(static_cast<size_t>(n) * 3);
  for (int32_t t = 0; t < n; ++t) {
    SortSlots(chain[t]);
    for (int c = 0; c < 3; ++c) keys[static_cast<size_t>(t) * 3 + c] = chain[t].slot[c].angle;
  }
  (options->triangleOrder != nullptr ? options->triangleOrder : VKTriangleOrder)(keys.data(), n, order.data());

  int32_t strips = vkstrip::GrowStrips(chain, n, order.data(), IsSquareMode(options->stripBits), options);
  options->polygonTotal += n;
  options->polygonVertexSum += 3 * n;
  return strips;
}

bool Strippable(const ScVertex *vertices, int32_t vertexCount, const ScPolygon *first, int32_t count) {
  return vertices != nullptr && vertexCount > 0 && first != nullptr && count != 0;
}

// One polygon list of the node list, with what stripping it gave.
struct StripItem {
  ScMesh *mesh;
  int32_t node;
  VKPolyList *polys;
  int32_t n;
  int32_t strips;
  VKStripOptions stats;  // the run's options with the statistics from zero
  std::vector<BadTriangle> bad;
};

int32_t AutomaticThreadCount() {
  if (const char *text = std::getenv("VK_THREADS")) {
    const long wanted = std::strtol(text, nullptr, 10);
    if (wanted >= 1) return static_cast<int32_t>(std::min<long>(wanted, kStripMaxThreads));
  }
  const unsigned cores = std::thread::hardware_concurrency();
  return cores == 0 ? 1 : static_cast<int32_t>(std::min<unsigned>(cores, kStripMaxThreads));
}

// Tasks of the items: one list each, or every list of a mesh that more than
// one node shows (its lists then run one after the other in node order,
// the later overwriting the earlier as they would alone).
std::vector<std::vector<size_t>> StripTasks(const std::vector<StripItem> &items) {
  std::unordered_map<const ScMesh *, int32_t> firstNode;
  std::unordered_map<const ScMesh *, bool> shared;
  for (const StripItem &item : items) {
    auto [it, fresh] = firstNode.emplace(item.mesh, item.node);
    if (!fresh && it->second != item.node) shared[item.mesh] = true;
  }
  std::vector<std::vector<size_t>> tasks;
  std::unordered_map<const ScMesh *, size_t> taskOfMesh;
  for (size_t k = 0; k < items.size(); ++k) {
    if (shared.count(items[k].mesh) == 0) {
      tasks.push_back({k});
      continue;
    }
    auto [it, fresh] = taskOfMesh.emplace(items[k].mesh, tasks.size());
    if (fresh) tasks.emplace_back();
    tasks[it->second].push_back(k);
  }
  return tasks;
}

// Strips the items on up to `threads` threads. Tasks touch disjoint
// polygons and an item's result depends on its list alone (the buffers are
// filled before they are read), so the outcome is the same whatever the
// number of threads and whichever thread takes a task. The tracked buffers
// are allocated and released here, on the calling thread.
void StripItems(std::vector<StripItem> &items, int32_t threads) {
  size_t capacity = 0;
  for (const StripItem &item : items) capacity = std::max(capacity, static_cast<size_t>(item.n));
  if (items.empty() || capacity == 0) return;
  const std::vector<std::vector<size_t>> tasks = StripTasks(items);
  const auto workers = static_cast<size_t>(std::clamp<int64_t>(threads, 1, static_cast<int64_t>(tasks.size())));

  std::vector<StripBuffers> buffers;
  auto release = [&buffers] {
    while (!buffers.empty()) {
      FreeBuffers(buffers.back());
      buffers.pop_back();
    }
  };
  try {
    buffers.reserve(workers);
    for (size_t w = 0; w < workers; ++w) buffers.push_back(AllocateBuffers(capacity));

    std::atomic<size_t> next{0};
    std::vector<std::exception_ptr> failures(workers);
    auto work = [&](size_t w) {
      try {
        for (size_t t = next++; t < tasks.size(); t = next++) {
          for (size_t k : tasks[t]) {
            StripItem &item = items[k];
            item.strips = StripListIn(buffers[w], item.mesh->vertices, item.mesh->nbVertex, item.polys->first,
                                      item.n, &item.stats, &item.bad);
          }
        }
      } catch (...) {
        failures[w] = std::current_exception();
        next = tasks.size();
      }
    };
    if (workers == 1) {
      work(0);
    } else {
      std::vector<std::thread> pool;
      pool.reserve(workers - 1);
      for (size_t w = 1; w < workers; ++w) pool.emplace_back(work, w);
      work(0);
      for (std::thread &thread : pool) thread.join();
    }
    for (const std::exception_ptr &failure : failures) {
      if (failure) std::rethrow_exception(failure);
    }
  } catch (...) {
    release();
    throw;
  }
  release();
}

}  // namespace

int32_t VKStripList(const ScVertex *vertices, int32_t vertexCount, ScPolygon *first, int32_t count,
                    VKStripOptions *options) {
  if (!Strippable(vertices, vertexCount, first, count)) return 0;
  const int32_t n = ListLength(first, count);
  StripBuffers buffers = AllocateBuffers(static_cast<size_t>(n));
  std::vector<BadTriangle> bad;
  int32_t strips;
  try {
    strips = StripListIn(buffers, vertices, vertexCount, first, n, options, &bad);
  } catch (...) {
    FreeBuffers(buffers);
    throw;
  }
  FreeBuffers(buffers);
  for (const BadTriangle &b : bad) PrintBadTriangle(b);
  return strips;
}

namespace {

// Calls fn(node index, mesh, group) for every material group that leads its
// merged groups, node by node, in nodes with a mesh.
template <typename Fn>
void ForEachLeadingGroup(ScNodeList *list, VKOptimizeInfo *info, Fn fn) {
  for (int32_t i = 0; i < list->node_n && i < info->nodeCount; ++i) {
    ScMesh *mesh = ScGetMesh(list->slist[i]->model);
    if (mesh == nullptr) continue;
    VKMaterialNode &node = info->mnlist[i];
    const int32_t groups = node.materialCount > 0 ? node.materialCount : 1;
    for (int32_t g = 0; g < groups; ++g) {
      VKMaterialGroup &group = node.materialCount > 0 ? node.groups[g] : node.defaultGroup;
      if (group.leader == &group) fn(i, mesh, group);
    }
  }
}

}  // namespace

int32_t VKMakeStrips(ScNodeList *list, VKOptimizeInfo *info, VKStripOptions *options) {
  if (list == nullptr || info == nullptr) return 0;
  VKStripOptions local;
  if (options == nullptr) {
    VKInitStripOptions(&local, list->stripbits, list->optionbits2);
    options = &local;
  }
  if (options->stripBits & vkopt::kStripOn) {
    PrintInfo("[STRIP] ");
  } else if (options->stripBits & vkopt::kStripSquare) {
    PrintInfo("[STRIP SQUARE] ");
  } else {
    return 0;
  }

  // The lists in the order one after the other would strip them.
  std::vector<StripItem> items;
  ForEachLeadingGroup(list, info, [&](int32_t i, ScMesh *mesh, VKMaterialGroup &group) {
    for (int l = 0; l < kVKStripListCount; ++l) {
      VKPolyList &polys = group.lists[l];
      polys.stripCount = 0;
      if (!Strippable(mesh->vertices, mesh->nbVertex, polys.first, polys.count)) continue;
      VKStripOptions stats = *options;
      stats.polygonTotal = stats.polygonVertexSum = stats.stripTotal = stats.stripVertexSum = 0;
      items.push_back(StripItem{mesh, i, &polys, ListLength(polys.first, polys.count), 0, stats, {}});
    }
  });
  StripItems(items, options->threads > 0 ? options->threads : AutomaticThreadCount());

  for (StripItem &item : items) {
    item.polys->stripCount = item.strips;
    for (const BadTriangle &b : item.bad) PrintBadTriangle(b);
    options->polygonTotal += item.stats.polygonTotal;
    options->polygonVertexSum += item.stats.polygonVertexSum;
    options->stripTotal += item.stats.stripTotal;
    options->stripVertexSum += item.stats.stripVertexSum;
  }
  int32_t total = 0;
  ForEachLeadingGroup(list, info, [&](int32_t, ScMesh *, VKMaterialGroup &group) {
    group.stripTotal = 0;
    for (int l = 0; l < kVKStripListCount; ++l) group.stripTotal += group.lists[l].stripCount;
    total += group.stripTotal;
  });
  PrintStripStatistics(options->polygonTotal, options->polygonVertexSum, options->stripTotal,
                       options->stripVertexSum);
  return total;
}

void PrintStripStatistics(int polygonCount, int polygonVertexSum, int stripCount, int stripVertexSum) {
  PrintMessage("polygon_total_n %d\n", polygonCount);
  PrintMessage("polygon_vertex_sum %d\n", polygonVertexSum);
  PrintMessage("strip_total_n %d\n", stripCount);
  PrintMessage("strip_vertex_sum %d\n", stripVertexSum);
}
