// Triangle strips: the triangles of every material group joined into strips
// (or, in square mode, paired), written into the polygons' strip fields.
#pragma once

#include <cstdint>

#include "base/flags.h"

struct ScNodeList;
struct ScPolygon;
struct ScVertex;
struct VKOptimizeInfo;

// The strip option bits are vkopt::kStripOn and vkopt::kStripSquare, the
// polygons' strip state bits kStrip* (base/flags.h).

// Longest growth on either side of a strip's seed; the rest of the
// triangles seed further strips.
constexpr int32_t kStripSideLimit = 5120;

// Most threads VKMakeStrips runs.
constexpr int32_t kStripMaxThreads = 8;

// Orderings of the edge records and of the triangles. Each returns the
// permutation its sort leaves: order[k] is the original position of the
// entry that ends at position k. The defaults reproduce the builder's
// exchange sorts exactly in O(n log n); tests may plug in the sorts
// themselves.
using VKEdgeOrderFn = void (*)(const uint32_t *keys, int32_t n, int32_t *order);
// Triangle keys come three per triangle.
using VKTriangleOrderFn = void (*)(const float *keys, int32_t n, int32_t *order);

// Edge keys ascending; of equal keys, the arrangement that swapping on
// "later key smaller" gives.
void VKEdgeOrder(const uint32_t *keys, int32_t n, int32_t *order);
// Triangle keys ascending (lexicographic over the three slot angles); of
// equal keys, the arrangement that swapping on "front key not smaller" gives.
void VKTriangleOrder(const float *keys, int32_t n, int32_t *order);

// Strip options of one run, with its statistics.
struct VKStripOptions {
  uint32_t stripBits;    // vkopt::kStripOn, vkopt::kStripSquare
  uint32_t outputFlags;  // the node list's optionbits2: -pvn 0x4000, -pvc 0x2000
  int32_t method;        // 1, the only method
  float angleLimit;      // degrees: 999.0, or 0.1 in square mode
  int32_t polygonTotal;
  int32_t polygonVertexSum;
  int32_t stripTotal;
  int32_t stripVertexSum;
  // Tests only: join two triangles whichever way they run their shared
  // edge (the joining test without the winding condition), the oracle of
  // consistently wound meshes.
  bool joinEitherDirection;
  VKEdgeOrderFn edgeOrder;          // VKEdgeOrder when null
  VKTriangleOrderFn triangleOrder;  // VKTriangleOrder when null
  // Threads of VKMakeStrips; 0: the environment's VK_THREADS when it is a
  // positive number, else the machine's cores (at most kStripMaxThreads).
  // The strips made do not depend on it.
  int32_t threads;
};

void VKInitStripOptions(VKStripOptions *options, uint32_t stripBits, uint32_t outputFlags);

// Strips one polygon list (chained through listNext) of triangles over the
// mesh's vertex array and returns the number of strips made. A negative
// count stands for the whole list. Square mode when the options have
// vkopt::kStripSquare without vkopt::kStripOn.
int32_t VKStripList(const ScVertex *vertices, int32_t vertexCount, ScPolygon *first, int32_t count,
                    VKStripOptions *options);

// Strips every material group of every node with a mesh: prints "[STRIP] "
// or "[STRIP SQUARE] ", stores each list's strip count and the group's
// total, and prints the statistics. Does nothing when the node list asks
// for neither. `options` may be null (a record is made from the node list).
// Returns the number of strips made.
int32_t VKMakeStrips(ScNodeList *list, VKOptimizeInfo *info, VKStripOptions *options = nullptr);

// The four statistics lines on the message stream: "polygon_total_n %d\n",
// "polygon_vertex_sum %d\n", "strip_total_n %d\n", "strip_vertex_sum %d\n".
void PrintStripStatistics(int polygonCount, int polygonVertexSum, int stripCount, int stripVertexSum);
