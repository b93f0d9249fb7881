// Helpers of the reader tests: read a text as a .vka file and capture what
// the reader prints.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "reader/reader.h"
#include "scene/memory.h"
#include "scene/records.h"
#include "support/test_support.h"

namespace vkreadertest {

struct ReadResult {
  ScObject *scene = nullptr;
  std::string err;
};

// Writes `text` as `name` into `dir` and reads it back.
inline ReadResult ReadText(const vktest::ScratchDir &dir, const std::string &text,
                           const std::string &name = "model.vka") {
  const std::string path = dir.file(name);
  EXPECT_TRUE(vktest::WriteFile(path, text));
  ReadResult result;
  testing::internal::CaptureStderr();
  result.scene = ReadBasicModel(path.c_str());
  result.err = testing::internal::GetCapturedStderr();
  return result;
}

class ReaderTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (ScMallocGetStats().initialised) ScFreeAll();
    ScMallocTabInit();
  }
  void TearDown() override { ScFreeAll(); }
  vktest::ScratchDir dir_;
};

// The n-th node of a tree in creation order (depth first, child before
// sibling), or null.
inline ScModel *NodeById(ScModel *node, int id) {
  for (; node; node = node->sibling) {
    if (node->id == id) return node;
    if (ScModel *found = NodeById(node->child, id)) return found;
  }
  return nullptr;
}

}  // namespace vkreadertest
