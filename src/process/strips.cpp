// Strip builder, first half: the chain of triangles, the shared edges and
// the joining test, slot and triangle order; and the driver over the
// material groups.
#include "process/strips.h"

#include <cmath>
#include <cstddef>
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
  vkorder::StrictExchangeOrder(n, [keys](int32_t x, int32_t y) { return keys[x] < keys[y]; }, order);
}

void VKTriangleOrder(const float *keys, int32_t n, int32_t *order) {
  auto less = [keys](int32_t x, int32_t y) {
    const float *kx = keys + static_cast<ptrdiff_t>(x) * 3;
    const float *ky = keys + static_cast<ptrdiff_t>(y) * 3;
    for (int c = 0; c < 3; ++c) {
      if (kx[c] < ky[c]) return true;
      if (ky[c] < kx[c]) return false;
    }
    return false;
  };
  vkorder::FrontNotSmallerOrder(n, less, order);
}

void VKInitStripOptions(VKStripOptions *options, uint32_t stripBits, uint32_t outputFlags) {
  *options = VKStripOptions{};
  options->stripBits = stripBits;
  options->outputFlags = outputFlags;
  options->method = 1;
  options->angleLimit = IsSquareMode(stripBits) ? kSquareAngleLimit : kStripAngleLimit;
}

int32_t VKStripList(const ScVertex *vertices, int32_t vertexCount, ScPolygon *first, int32_t count,
                    VKStripOptions *options) {
  if (vertices == nullptr || vertexCount <= 0 || first == nullptr || count == 0) return 0;
  int32_t n = 0;
  for (ScPolygon *p = first; p != nullptr && (count < 0 || n < count); p = p->listNext) ++n;

  // Chain, one entry per polygon in list order.
  auto *chain = ScNew<ChainEntry>("strip chain", static_cast<size_t>(n));
  auto *edges = ScNew<EdgeRecord>("sortbuf", static_cast<size_t>(n) * 3);
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
        PrintWarning("Warning : Bad data! polygon %d (%d, %d, %d)\n", t, tri->corners[0].vertex,
                     tri->corners[1].vertex, tri->corners[2].vertex);
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
  ScFree(edges, "Strip chain");

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
  ScFree(chain, "Strip chain");
  return strips;
}

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

  int32_t total = 0;
  for (int32_t i = 0; i < list->node_n && i < info->nodeCount; ++i) {
    ScMesh *mesh = ScGetMesh(list->slist[i]->model);
    if (mesh == nullptr) continue;
    VKMaterialNode &node = info->mnlist[i];
    int32_t groups = node.materialCount > 0 ? node.materialCount : 1;
    for (int32_t g = 0; g < groups; ++g) {
      VKMaterialGroup &group = node.materialCount > 0 ? node.groups[g] : node.defaultGroup;
      if (group.leader != &group) continue;
      group.stripTotal = 0;
      for (int l = 0; l < kVKStripListCount; ++l) {
        VKPolyList &polys = group.lists[l];
        polys.stripCount = VKStripList(mesh->vertices, mesh->nbVertex, polys.first, polys.count, options);
        group.stripTotal += polys.stripCount;
      }
      total += group.stripTotal;
    }
  }
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
