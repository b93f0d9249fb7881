// Helpers of the processing tests: hand-built scenes, meshes and node lists,
// and what the console prints.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "process/nodelist.h"
#include "scene/memory.h"
#include "scene/records.h"

namespace ptest {

using Vec3 = std::array<float, 3>;
using Polygons = std::vector<std::vector<int>>;

// Starts a fresh tracked allocation table.
inline void FreshAllocator() {
  if (ScMallocGetStats().initialised) ScFreeAll();
  ScMallocTabInit();
  ScResetCreationCounters();
}

// What `run` prints: every console stream is standard error unless set.
template <typename Run>
std::string Printed(Run &&run) {
  testing::internal::CaptureStderr();
  run();
  return testing::internal::GetCapturedStderr();
}

inline ScMaterials *GiveMaterials(ScModel *model, int count) {
  model->nbMaterial = static_cast<uint16_t>(count);
  return model->materials = ScMaterialsAlloc(count);
}

// A mesh of these points and one polygon per index list (all normals +Z,
// polygons chained through listNext), given to `model` if any. A corner's
// UV follows its vertex: the same on both sides of a shared edge.
inline ScMesh *GiveMesh(ScModel *model, const std::vector<Vec3> &points, const Polygons &polygons) {
  const int np = static_cast<int>(polygons.size());
  ScMesh *mesh = ScMeshAlloc(static_cast<int>(points.size()), np, np);
  for (size_t i = 0; i < points.size(); i++) {
    std::copy(points[i].begin(), points[i].end(), mesh->vertices[i].pos);
    mesh->vertices[i].normal[2] = 1.0f;
  }
  for (int p = 0; p < np; p++) {
    ScPolygon &polygon = mesh->polygons[p];
    polygon.nbCorner = static_cast<uint16_t>(polygons[p].size());
    polygon.corners = ScPolyNodeAlloc(polygon.nbCorner);
    polygon.attribute = &mesh->attributes[p];
    polygon.normal[2] = 1.0f;
    polygon.listNext = p + 1 < np ? &mesh->polygons[p + 1] : nullptr;
    for (int c = 0; c < polygon.nbCorner; c++) {
      ScPolyNode &corner = polygon.corners[c];
      const int v = polygons[p][c];
      corner.vertex = static_cast<uint16_t>(v), corner.u = v * 0.01f, corner.v = v * 0.003f;
    }
    mesh->nbTriangle += polygon.nbCorner == 3;
    mesh->nbQuad += polygon.nbCorner == 4;
  }
  if (model) model->hasMesh = 1, model->mesh = mesh;
  return mesh;
}

// A W x H grid of quads split in two, wound alike, all normals equal.
inline ScMesh *Grid(int w, int h) {
  std::vector<Vec3> points;
  Polygons tris;
  for (int a = 0; a < (w + 1) * (h + 1); ++a) points.push_back({float(a % (w + 1)), float(a / (w + 1)), 0.0f});
  for (int a = 0; a < (w + 1) * h; ++a)
    if (a % (w + 1) != w) tris.push_back({a, a + 1, a + w + 2}), tris.push_back({a, a + w + 2, a + w + 1});
  return GiveMesh(nullptr, points, tris);
}

// The builder's exchange sorts, literally: swap when the later edge key is
// smaller, or when the front triangle key is not smaller.
inline void LiteralEdgeOrder(const uint32_t *keys, int32_t n, int32_t *order) {
  std::vector<uint32_t> k(keys, keys + n);
  for (int32_t i = 0; i < n; ++i) order[i] = i;
  for (int32_t i = 0; i < n; ++i)
    for (int32_t j = i + 1; j < n; ++j)
      if (k[j] < k[i]) std::swap(k[i], k[j]), std::swap(order[i], order[j]);
}

inline void LiteralTriangleOrder(const float *keys, int32_t n, int32_t *order) {
  auto key = [&](int32_t i) { return keys + order[i] * 3; };
  for (int32_t i = 0; i < n; ++i) order[i] = i;
  for (int32_t i = 0; i < n; ++i)
    for (int32_t j = i + 1; j < n; ++j)
      if (!std::lexicographical_compare(key(i), key(i) + 3, key(j), key(j) + 3)) std::swap(order[i], order[j]);
}

// A scene under construction; a node goes last among its parent's children
// (or at the end of the root level), with a one-point mesh when `meshed`.
class SceneBuilder {
 public:
  ScObject *scene() { return scene_ ? scene_ : (scene_ = ScObjectAlloc("scene", 7)); }
  ScModel *Add(const char *name, ScModel *parent, bool meshed, Vec3 pos = {}, Vec3 angle = {}, Vec3 scale = {1, 1, 1}) {
    ScModel *model = ScModelAlloc(name);
    for (int k = 0; k < 3; k++) model->OPosition[k] = pos[k], model->OAngle[k] = angle[k], model->OScale[k] = scale[k];
    if (meshed) GiveMesh(model, {{0, 0, 0}}, {});
    model->parent = parent;
    ScModel **slot = parent ? &parent->child : &scene()->root;
    while (*slot) slot = &(*slot)->sibling;
    return *slot = model;
  }

 private:
  ScObject *scene_ = nullptr;
};

// A node list made by hand: one node per model, in order.
struct HandList {
  explicit HandList(const std::vector<ScModel *> &models) : nodes(models.size()) {
    for (size_t i = 0; i < models.size(); i++) nodes[i].model = nodes[i].node = models[i], slist.push_back(&nodes[i]);
    list.slist = slist.data();
    list.node_n = static_cast<int>(models.size());
  }
  ScNodeList list{};
  std::vector<ScNode> nodes;
  std::vector<ScNode *> slist;
};

}  // namespace ptest
