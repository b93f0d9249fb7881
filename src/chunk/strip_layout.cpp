// Collects the strips and volume polygons of a triangle list and cuts them
// into chunk-sized runs.
#include "chunk/strip_layout.h"

#include <algorithm>

#include "base/flags.h"
#include "scene/records.h"

namespace {

constexpr int kMaxStripLength = 0x7FFF;  // the signed 16-bit length word

bool StartsStrip(const ScPolygon *polygon) {
  return (polygon->stripState & kStripFirst) && !(polygon->stripState & kStripExcluded) && polygon->nbCorner >= 3;
}

// The written vertices of the strip that `head` starts; returns whether the
// first triangle is listed in its own winding (StripL).
bool AppendStripVertices(const ScPolygon *head, std::vector<VKStripVertex> &out) {
  const int c = (head->stripState & 3) % 3;
  const bool left = (head->stripState & kStripLeft) != 0;
  out.push_back({head, static_cast<uint8_t>(c)});
  out.push_back({head, static_cast<uint8_t>(left ? (c + 1) % 3 : (c + 2) % 3)});
  out.push_back({head, static_cast<uint8_t>(left ? (c + 2) % 3 : (c + 1) % 3)});
  const ScPolygon *next = head->stripNext;
  for (int i = 1; next && i < head->stripLength; ++i, next = next->stripNext)
    out.push_back({next, static_cast<uint8_t>((next->stripState & 3) % 3)});
  return left;
}

// Size of one piece in a strip chunk: its length word, its vertices and the
// user words of its triangles.
int PieceSize(int count, int words, int userWords) { return 1 + count * words + (count - 2) * userWords; }

}  // namespace

void VKCollectStrips(const ScPolygon *first, int words, int userWords, VKStripSet &set, int maxSize) {
  // Longest piece that fits a chunk alone (with the count word), kept with
  // an even number of triangles so that every piece keeps its direction.
  int longest = (maxSize - 2 + 2 * userWords) / (words + userWords);
  longest = std::min(longest, kMaxStripLength);
  if ((longest - 2) % 2) --longest;
  longest = std::max(longest, 4);
  for (const ScPolygon *polygon = first; polygon; polygon = polygon->listNext) {
    if (!StartsStrip(polygon)) continue;
    const int start = static_cast<int>(set.vertices.size());
    const bool left = AppendStripVertices(polygon, set.vertices);
    const int total = static_cast<int>(set.vertices.size()) - start;
    for (int k = 0; k + 2 < total; k += longest - 2) {
      const int count = std::min(longest, total - k);
      set.pieces.push_back({start + k, count, left != (k % 2 == 1)});
    }
  }
}

std::vector<VKStripRun> VKSplitStripChunks(const VKStripSet &set, int words, int userWords, int maxSize,
                                           int maxCount) {
  std::vector<VKStripRun> runs;
  VKStripRun run{0, 0, 1};
  for (int p = 0; p < static_cast<int>(set.pieces.size()); ++p) {
    const int size = PieceSize(set.pieces[p].count, words, userWords);
    if (run.pieceCount > 0 && (run.size + size > maxSize || run.pieceCount == maxCount)) {
      runs.push_back(run);
      run = {p, 0, 1};
    }
    run.size += size;
    ++run.pieceCount;
  }
  if (run.pieceCount > 0) runs.push_back(run);
  return runs;
}

void VKCollectVolume(const ScPolygon *first, bool pairs, VKVolumeSet &set) {
  std::vector<VKStripVertex> strip;
  for (const ScPolygon *polygon = first; polygon; polygon = polygon->listNext) {
    const uint16_t state = polygon->stripState;
    if ((state & kStripExcluded) || polygon->nbCorner < 3) continue;
    if (pairs && (state & kStripFirst) && polygon->stripLength == 2 && polygon->stripNext) {
      strip.clear();
      const bool left = AppendStripVertices(polygon, strip);
      uint16_t v[4];
      for (int i = 0; i < 4; ++i) v[i] = strip[i].polygon->corners[strip[i].corner].vertex;
      // A right strip lists its first triangle against its winding.
      if (left)
        set.quads.push_back({polygon, {v[0], v[1], v[2], v[3]}});
      else
        set.quads.push_back({polygon, {v[0], v[2], v[1], v[3]}});
      continue;
    }
    // The second triangle of a pair has been written with its quadrilateral.
    if (pairs && (state & kStripUsed) && !(state & kStripFirst) && polygon->stripPrev &&
        polygon->stripPrev->stripLength == 2)
      continue;
    const ScPolyNode *c = polygon->corners;
    set.triangles.push_back({polygon, {c[0].vertex, c[1].vertex, c[2].vertex, 0}});
  }
}
