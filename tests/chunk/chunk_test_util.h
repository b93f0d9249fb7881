// Helpers of the Chunk-model writer tests.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "base/console.h"
#include "base/file_names.h"
#include "chunk/chunk_writer.h"
#include "process/nodelist.h"

namespace chunktest {

// Silences the console printers while it lives.
struct QuietConsole {
  QuietConsole() { SetInfoStream(nullptr), SetMessageStream(nullptr), SetWarningStream(nullptr); }
  ~QuietConsole() { SetInfoStream(stderr), SetMessageStream(stderr), SetWarningStream(stderr); }
};

// Completes the chunk options, builds the node list and writes `outputName`.
// Returns the writer's result (-1 when there is no node list).
inline int RunWriter(ScObject *scene, const std::string &outputName, uint32_t chunkFlags = 0x40000001,
                     uint32_t outputFlags = 0x38000000, float scale = 1.0f, ScNodeList **listOut = nullptr) {
  uint32_t modelFlags = 0x80000000, stripFlags = 0;
  CompleteChunkOptions(&chunkFlags, &stripFlags, &modelFlags);
  const float rotation[3] = {0, 0, 0};
  ScNodeList *list = nullptr;
  ScGetNodeList(scene, modelFlags, outputFlags, stripFlags, rotation, &list);
  if (listOut) *listOut = list;
  char name[kNameSize];
  std::snprintf(name, sizeof name, "%s", outputName.c_str());
  GlobalIndexBlock globalIndex{};
  if (!list) return -1;
  return VKWriteChunkModel({list, "in.vka", name, &globalIndex, "", chunkFlags, scale, nullptr, nullptr}).ok() ? 1 : 0;
}

using Triangle = std::array<int, 3>;

// The triangles of a strip over `v` (left: the first one as listed), in their own winding.
inline void AddStrip(const std::vector<int> &v, bool left, std::vector<Triangle> &out) {
  for (size_t i = 0; i + 2 < v.size(); ++i)
    out.push_back(left == (i % 2 == 0) ? Triangle{v[i], v[i + 1], v[i + 2]} : Triangle{v[i + 1], v[i], v[i + 2]});
}

// Rotated so that the smallest index comes first (winding kept), sorted.
inline std::vector<Triangle> Normalized(std::vector<Triangle> triangles) {
  for (Triangle &t : triangles)
    while (t[0] > t[1] || t[0] > t[2]) t = {t[1], t[2], t[0]};
  std::sort(triangles.begin(), triangles.end());
  return triangles;
}

}  // namespace chunktest
