// The faces of a mesh set in list order, shared by the scene building and
// the expansion count. Internal to the reader.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "reader/basic_blocks.h"

namespace vkreader {

// Mesh types (bits 14-15 of typeMatId) and the material index (bits 0-13).
constexpr uint16_t kTypeMask = 0xC000;
constexpr uint16_t kTriangles = 0x0000;
constexpr uint16_t kQuads = 0x4000;
constexpr uint16_t kStrips = 0xC000;
constexpr uint16_t kMaterialMask = 0x3FFF;

// One triangle or quadrangle of a mesh set: list positions of its corners,
// their UV positions and its polygon-normal position.
struct Face {
  int corners;
  int32_t list[4];
  int32_t uv[4];
  int32_t normal;
};

// Walks the faces of one mesh set in order, calling `visit` for each; false
// when an entry runs past the end of the index list.
template <typename Visit>
bool WalkFaces(const BasicMeshSet &set, const std::vector<int16_t> &list, Visit visit) {
  const size_t size = list.size();
  const uint16_t type = set.typeMatId & kTypeMask;
  if (type == kTriangles || type == kQuads) {
    const int n = type == kTriangles ? 3 : 4;
    if (static_cast<size_t>(set.nbMesh) * n > size) return false;
    for (int32_t k = 0; k < set.nbMesh; k++) {
      Face f{n, {}, {}, k};
      const int32_t base = k * n;
      // A quadrangle lists its third and fourth corner the other way round.
      static constexpr int kQuadOrder[4] = {0, 1, 3, 2};
      for (int c = 0; c < n; c++) f.list[c] = f.uv[c] = base + (n == 4 ? kQuadOrder[c] : c);
      visit(f);
    }
    return true;
  }
  size_t q = 0;
  for (int32_t s = 0; s < set.nbMesh; s++) {
    if (q >= size) return false;
    const uint16_t word = static_cast<uint16_t>(list[q]);
    const bool reverse = type == kStrips && (word & 0x8000) != 0;
    const int32_t n = type == kStrips ? (word & 0x7FFF) : word;
    if (q + 1 + static_cast<size_t>(n) > size) return false;
    for (int32_t t = 0; t + 3 <= n; t++) {
      int32_t a = static_cast<int32_t>(q) + 1 + t, b = a + 1, c = a + 2;
      if ((!reverse && (t & 1)) || (reverse && !(t & 1))) std::swap(a, b);
      Face f{3, {a, b, c, 0}, {a - (s + 1), b - (s + 1), c - (s + 1), 0}, s};
      visit(f);
    }
    q += static_cast<size_t>(n) + 1;
  }
  return true;
}

}  // namespace vkreader
