// The strip builder on several threads: the same strips, counts, statistics
// and warnings whatever the number of threads, and the same as stripping the
// lists one after the other with VKStripList.
#include <gtest/gtest.h>

#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "process/optimize.h"
#include "process/strips.h"
#include "process_util.h"

namespace {

using ptest::Grid;

// Everything stripping leaves behind, polygons named by their index.
struct Outcome {
  std::string printed;
  int32_t strips = 0;
  std::vector<int32_t> counts;  // per list, then per group total
  std::vector<int64_t> fields;  // per polygon: state, length, next, prev
  bool operator==(const Outcome &) const = default;
};

int64_t IndexOf(const ScMesh *mesh, const ScPolygon *p) { return p == nullptr ? -1 : p - mesh->polygons; }

// A scene of grids with bent normals (varied angles), three materials in
// one, bad triangles in another, a mesh shown by two nodes and a node
// without a mesh.
struct ThreadScene {
  std::vector<ScModel *> models;
  std::vector<ScMesh *> meshes;

  explicit ThreadScene(unsigned seed) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> bend(-0.3f, 0.3f);
    const int sizes[][2] = {{20, 12}, {30, 5}, {7, 9}, {40, 3}, {1, 1}};
    for (int k = 0; k < 5; ++k) {
      ScModel *model = ScModelAlloc("grid");
      ScMesh *mesh = model->mesh = Grid(sizes[k][0], sizes[k][1]);
      model->hasMesh = 1;
      for (int p = 0; p < mesh->nbPolygon; ++p) {
        mesh->polygons[p].normal[0] = bend(rng) * static_cast<float>(rng() % 2);
        mesh->polygons[p].normal[1] = bend(rng) * static_cast<float>(rng() % 3 == 0);
      }
      meshes.push_back(mesh);
      models.push_back(model);
    }
    ScMesh *first = meshes[0];
    for (int p = 0; p < first->nbPolygon; ++p) first->polygons[p].materialId = p % 3;
    ptest::GiveMaterials(models[0], 3)->next->specularPower = 3.0f;
    models[0]->materials->next->next->specularPower = 5.0f;
    ScMesh *second = meshes[1];
    for (int p = 5; p < second->nbPolygon; p += 17) second->polygons[p].corners[2].vertex = second->polygons[p].corners[0].vertex;
    // Node order: a grid, the mesh shown twice around others, a bare node.
    models = {models[0], models[2], models[1], models[2], ScModelAlloc("bare"), models[3], models[4]};
  }
};

Outcome Record(const ThreadScene &scene, const ptest::HandList &hand, VKOptimizeInfo *info) {
  Outcome out;
  for (int32_t i = 0; i < hand.list.node_n; ++i) {
    VKMaterialNode &node = info->mnlist[i];
    int32_t groups = node.materialCount > 0 ? node.materialCount : 1;
    for (int32_t g = 0; g < groups; ++g) {
      VKMaterialGroup &group = node.materialCount > 0 ? node.groups[g] : node.defaultGroup;
      for (const VKPolyList &polys : group.lists) out.counts.push_back(polys.stripCount);
      out.counts.push_back(group.stripTotal);
    }
  }
  for (const ScMesh *mesh : scene.meshes) {
    for (int p = 0; p < mesh->nbPolygon; ++p) {
      const ScPolygon &polygon = mesh->polygons[p];
      out.fields.insert(out.fields.end(), {polygon.stripState, polygon.stripLength, IndexOf(mesh, polygon.stripNext),
                                           IndexOf(mesh, polygon.stripPrev)});
    }
  }
  return out;
}

// Strips a fresh scene with `threads` threads (0: as the environment says),
// or, with threads < 0, list by list with VKStripList as the oracle.
Outcome Strip(unsigned seed, int32_t threads, uint32_t stripBits) {
  ptest::FreshAllocator();
  ThreadScene scene(seed);
  ptest::HandList hand(scene.models);
  hand.list.stripbits = stripBits;
  VKOptimizeInfo *info = VKGetOptimizeInfo(&hand.list, 0x40000001);
  EXPECT_NE(info, nullptr);
  VKStripOptions options;
  VKInitStripOptions(&options, stripBits, 0);
  options.threads = threads;
  int32_t strips = 0;
  std::string printed = ptest::Printed([&] {
    if (threads >= 0) {
      strips = VKMakeStrips(&hand.list, info, &options);
      return;
    }
    for (int32_t i = 0; i < hand.list.node_n; ++i) {
      ScMesh *mesh = ScGetMesh(hand.list.slist[i]->model);
      if (mesh == nullptr) continue;
      VKMaterialNode &node = info->mnlist[i];
      int32_t groups = node.materialCount > 0 ? node.materialCount : 1;
      for (int32_t g = 0; g < groups; ++g) {
        VKMaterialGroup &group = node.materialCount > 0 ? node.groups[g] : node.defaultGroup;
        if (group.leader != &group) continue;
        group.stripTotal = 0;
        for (VKPolyList &polys : group.lists) {
          polys.stripCount = VKStripList(mesh->vertices, mesh->nbVertex, polys.first, polys.count, &options);
          group.stripTotal += polys.stripCount;
        }
        strips += group.stripTotal;
      }
    }
    PrintStripStatistics(options.polygonTotal, options.polygonVertexSum, options.stripTotal, options.stripVertexSum);
  });
  if (threads < 0) printed = (stripBits & vkopt::kStripOn ? "[STRIP] " : "[STRIP SQUARE] ") + printed;
  Outcome out = Record(scene, hand, info);
  out.printed = printed;
  out.strips = strips;
  VKFreeOptimizeInfo(info);
  return out;
}

TEST(StripThreads, SameOutcomeWithAnyThreadCountAsListByList) {
  for (uint32_t bits : {vkopt::kStripOn, vkopt::kStripSquare}) {
    for (unsigned seed = 1; seed <= 4; ++seed) {
      SCOPED_TRACE(testing::Message() << "bits " << bits << " seed " << seed);
      const Outcome oracle = Strip(seed, -1, bits);
      EXPECT_NE(oracle.printed.find("Warning : Bad data! polygon "), std::string::npos);
      EXPECT_GT(oracle.strips, 0);
      for (int32_t threads : {1, 2, 3, 8}) {
        SCOPED_TRACE(testing::Message() << threads << " threads");
        EXPECT_EQ(Strip(seed, threads, bits), oracle);
      }
    }
  }
}

TEST(StripThreads, EnvironmentChoosesTheThreadsWithoutChangingTheOutcome) {
  const Outcome oracle = Strip(9, 1, vkopt::kStripOn);
  for (const char *value : {"1", "2", "5", "0", "junk"}) {
    SCOPED_TRACE(value);
    setenv("VK_THREADS", value, 1);
    EXPECT_EQ(Strip(9, 0, vkopt::kStripOn), oracle);
  }
  unsetenv("VK_THREADS");
  EXPECT_EQ(Strip(9, 0, vkopt::kStripOn), oracle);
}

}  // namespace
