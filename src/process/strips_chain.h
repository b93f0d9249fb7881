// Working records of the strip builder, shared by its two halves: the
// neighbour search (strips.cpp) and the growth of strips (strips_grow.cpp).
#pragma once

#include <cstdint>

struct ScPolygon;
struct VKStripOptions;

namespace vkstrip {

constexpr float kEmptyAngle = 999.0f;

// One neighbour of a triangle across one of its edges.
struct Slot {
  int32_t neighbour;  // chain position, -1 when empty
  float angle;        // degrees between the two normals
  float length;       // length of the shared edge
  int32_t a, b;       // the edge's vertex indices in this triangle's winding
  int32_t opposite;   // this triangle's corner opposite the edge
};

struct ChainEntry {
  ScPolygon *polygon;
  Slot slot[3];
};

// Grows the strips of a chain whose slots are filled and sorted, seeding
// them in `order`; writes the polygons' strip fields and the statistics and
// returns the number of strips.
int32_t GrowStrips(ChainEntry *chain, int32_t n, const int32_t *order, bool square, VKStripOptions *options);

}  // namespace vkstrip
