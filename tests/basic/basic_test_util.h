// Helpers of the Basic-model writer tests.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

#include "basic/basic_writer.h"
#include "chunk/chunk_test_util.h"

namespace basictest {

// The option words of a -B run (no chunk completion).
struct Words {
  uint32_t modelFlags = 0x80000000;
  uint32_t outputFlags = 0x38000000;
  uint32_t stripFlags = 0;
  uint32_t chunkFlags = 0x40000001;
};

// Builds the node list of `scene` (returned in `listOut`) and writes it as a
// Basic model to `outputName`; returns the writer's status (kBadModel when
// there is no node list).
inline VKStatus RunBasicWriter(ScObject *scene, const std::string &outputName, const Words &words = {},
                               const VKWriterHooks *hooks = nullptr, float scale = 1.0f,
                               ScNodeList **listOut = nullptr) {
  const float rotation[3] = {0, 0, 0};
  ScNodeList *list = nullptr;
  ScGetNodeList(scene, words.modelFlags, words.outputFlags, words.stripFlags, rotation, &list);
  if (listOut) *listOut = list;
  if (!list) return VKStatus{VKStatusCode::kBadModel, "", true, false};
  char name[kNameSize];
  std::snprintf(name, sizeof name, "%s", outputName.c_str());
  GlobalIndexBlock globalIndex{};
  return VKWriteBasicModel({list, "in.vka", name, &globalIndex, "", words.chunkFlags, scale, hooks, nullptr});
}

}  // namespace basictest
