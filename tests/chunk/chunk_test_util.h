// Helpers of the Chunk-model writer tests: in-process runs of the writer and
// decoders of its binary and ASCII output back to vertices and triangles.
#pragma once

#include <array>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "frontend/console.h"

struct ScObject;
struct ScNodeList;

namespace chunktest {

// Silences the console printers while it lives.
struct QuietConsole {
  QuietConsole() { SetInfoStream(nullptr), SetMessageStream(nullptr), SetWarningStream(nullptr); }
  ~QuietConsole() { SetInfoStream(stderr), SetMessageStream(stderr), SetWarningStream(stderr); }
};

// Completes the chunk options, builds the node list and writes `outputName`.
// Returns the writer's result (-1 when there is no node list).
int RunWriter(ScObject *scene, const std::string &outputName, uint32_t chunkFlags = 0x40000001,
              uint32_t outputFlags = 0x38000000, float scale = 1.0f, ScNodeList **listOut = nullptr);

using Triangle = std::array<int, 3>;
using Word3 = std::array<uint32_t, 3>;

struct DecodedVertex {
  Word3 pos{}, normal{};  // float bit patterns
  uint32_t packed = 0;    // NORM32 word
  bool hasNormal = false, hasPacked = false;
};

struct DecodedObject {
  bool hasModel = false;
  std::vector<DecodedVertex> vertices;  // by index
  std::vector<Triangle> triangles;      // in their own winding
  int quads = 0;                        // CnkO_P4 f0 f1 f2 f3 gives f0 f1 f2 and f1 f3 f2
  std::vector<int> stripChunkIds;       // strip and volume chunks (ASCII: 0x40 for any strip)
};

// Objects in file order (the ASCII file lists the last node first). A
// malformed file fails the current test.
std::vector<DecodedObject> DecodeBinary(const std::string &bytes);
std::vector<DecodedObject> DecodeAscii(const std::string &text);

// The triangles of a strip over `v` (left: the first one as listed), in their own winding.
void AddStrip(const std::vector<int> &v, bool left, std::vector<Triangle> &out);
// Triangles rotated so that the smallest index comes first (winding kept), sorted.
std::vector<Triangle> Normalized(std::vector<Triangle> triangles);

}  // namespace chunktest
