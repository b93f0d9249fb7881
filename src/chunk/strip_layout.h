// The strips and volume polygons of one polygon list as the chunk emitters
// write them: every written strip vertex with the triangle corner it comes
// from, strips cut into pieces and pieces grouped into chunks so that no
// 16-bit size or 14-bit count field overflows.
#pragma once

#include <cstdint>
#include <vector>

#include "chunk/emit.h"
#include "chunk/encoding.h"

struct ScPolygon;

// One written strip vertex: the corner `corner` of `polygon`. From the third
// vertex of a strip on, `polygon` is also the triangle the vertex completes.
struct VKStripVertex {
  const ScPolygon *polygon;
  uint8_t corner;
};

// A strip as written: `count` vertices from `first`; left (StripL) when the
// first triangle's winding is the listed order.
struct VKStripPiece {
  int first;
  int count;
  bool left;
};

struct VKStripSet {
  std::vector<VKStripVertex> vertices;
  std::vector<VKStripPiece> pieces;
};

// Appends the strips of a triangle list (linked through listNext), in list
// order. A
// strip whose own size would not fit one chunk (maxSize 16-bit words with
// `words` per vertex and `userWords` per triangle) is cut into pieces that
// overlap by two vertices, each keeping its triangles' winding.
void VKCollectStrips(const ScPolygon *first, int words, int userWords, VKStripSet &set,
                     int maxSize = kMaxChunkSize);

// Consecutive pieces that share one chunk; `size` is the chunk's size field
// before evenness.
struct VKStripRun {
  int firstPiece;
  int pieceCount;
  int size;
};
std::vector<VKStripRun> VKSplitStripChunks(const VKStripSet &set, int words, int userWords,
                                           int maxSize = kMaxChunkSize, int maxCount = kVKMaxChunkCount);

// A volume polygon: its corners' vertex indices and the polygon whose user
// words follow it.
struct VKVolumePolygon {
  const ScPolygon *polygon;
  uint16_t vertices[4];
};
struct VKVolumeSet {
  std::vector<VKVolumePolygon> triangles;
  std::vector<VKVolumePolygon> quads;
};
// Appends the triangles of a list for CnkO_P3; with `pairs`, every two-triangle strip
// becomes one quadrilateral f0 f1 f2 f3 standing for the triangles
// (f0, f1, f2) and (f1, f3, f2), and only the unpaired triangles stay.
void VKCollectVolume(const ScPolygon *first, bool pairs, VKVolumeSet &set);
