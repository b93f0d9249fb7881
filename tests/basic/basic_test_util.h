// Helpers of the Basic-model writer tests.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

#include "base/console.h"
#include "base/file_names.h"
#include "basic/basic_writer.h"
#include "process/nodelist.h"

namespace basictest {

// Silences the console printers while it lives.
struct QuietConsole {
  QuietConsole() { SetInfoStream(nullptr), SetMessageStream(nullptr), SetWarningStream(nullptr); }
  ~QuietConsole() { SetInfoStream(stderr), SetMessageStream(stderr), SetWarningStream(stderr); }
};

// The option words of a -B run (no chunk completion).
struct Words {
  uint32_t modelFlags = 0x80000000;
  uint32_t outputFlags = 0x38000000;
  uint32_t stripFlags = 0;
  uint32_t chunkFlags = 0x40000001;
};

// Builds the node list of `scene` and writes it as a Basic model to
// `outputName`; returns the writer's status (kBadModel when there is no
// node list).
inline VKStatus RunBasicWriter(ScObject *scene, const std::string &outputName, const Words &words = {},
                               const VKWriterHooks *hooks = nullptr) {
  const float rotation[3] = {0, 0, 0};
  ScNodeList *list = nullptr;
  ScGetNodeList(scene, words.modelFlags, words.outputFlags, words.stripFlags, rotation, &list);
  if (!list) return VKStatus{VKStatusCode::kBadModel, "", true, false};
  char name[kNameSize];
  std::snprintf(name, sizeof name, "%s", outputName.c_str());
  GlobalIndexBlock globalIndex{};
  return VKWriteBasicModel({list, "in.vka", name, &globalIndex, "", words.chunkFlags, 1.0f, hooks});
}

}  // namespace basictest
