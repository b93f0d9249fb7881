// Helpers of the processing tests: hand-built scenes and node lists, and a
// capture of the console streams.
#pragma once

#include <algorithm>
#include <array>
#include <cstdio>
#include <string>
#include <vector>

#include "frontend/console.h"
#include "process/nodelist.h"
#include "scene/memory.h"
#include "scene/records.h"

namespace ptest {

using Vec3 = std::array<float, 3>;

// Starts a fresh tracked allocation table.
inline void FreshAllocator() {
  if (ScMallocGetStats().initialised) ScFreeAll();
  ScMallocTabInit();
  ScResetCreationCounters();
}

inline ScMaterials *GiveMaterials(ScModel *model, int count) {
  model->nbMaterial = static_cast<uint16_t>(count);
  return model->materials = ScMaterialsAlloc(count);
}

// A scene under construction; a node goes last among its parent's children
// (or at the end of the root level).
class SceneBuilder {
 public:
  ScObject *scene() { return scene_ ? scene_ : (scene_ = ScObjectAlloc("scene", 7)); }

  ScModel *Add(const char *name, ScModel *parent, Vec3 pos = {}, Vec3 angle = {}, Vec3 scale = {1, 1, 1}) {
    ScModel *model = ScModelAlloc(name);
    std::copy(pos.begin(), pos.end(), model->OPosition);
    std::copy(angle.begin(), angle.end(), model->OAngle);
    std::copy(scale.begin(), scale.end(), model->OScale);
    model->parent = parent;
    ScModel **slot = parent ? &parent->child : &scene()->root;
    while (*slot) slot = &(*slot)->sibling;
    return *slot = model;
  }

  // A mesh with these points and one polygon per list of point indices, all
  // of `material`; normals +Z, corner k gets u = k to mark where it came from.
  static ScMesh *GiveMesh(ScModel *model, const std::vector<Vec3> &points,
                          const std::vector<std::vector<int>> &polygons = {}, int material = 0) {
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
      polygon.materialId = material;
      polygon.normal[2] = 1.0f;
      for (int c = 0; c < polygon.nbCorner; c++) {
        polygon.corners[c].vertex = static_cast<uint16_t>(polygons[p][c]);
        polygon.corners[c].u = static_cast<float>(c);
        polygon.corners[c].normal[2] = 1.0f;
      }
      mesh->nbTriangle += polygon.nbCorner == 3;
      mesh->nbQuad += polygon.nbCorner == 4;
    }
    model->hasMesh = 1;
    return model->mesh = mesh;
  }
  static ScMesh *GivePointMesh(ScModel *model) { return GiveMesh(model, {{0, 0, 0}}); }

 private:
  ScObject *scene_ = nullptr;
};

// A node list made by hand: one node per model, in order.
struct HandList {
  explicit HandList(const std::vector<ScModel *> &models) : nodes(models.size()) {
    for (size_t i = 0; i < models.size(); i++) nodes[i].model = nodes[i].node = models[i], slist.push_back(&nodes[i]);
    list.nodes = nodes.data();
    list.slist = slist.data();
    list.node_n = static_cast<int>(models.size());
  }
  ScNodeList list{};
  std::vector<ScNode> nodes;
  std::vector<ScNode *> slist;
};

// Sends the message, info, error and warning streams to one file while alive.
class Capture {
 public:
  Capture() : file_(std::tmpfile()) {
    for (int i = 0; i < 4; i++) old_[i] = kGet[i](), kSet[i](file_);
  }
  ~Capture() {
    for (int i = 0; i < 4; i++) kSet[i](old_[i]);
    std::fclose(file_);
  }
  Capture(const Capture &) = delete;
  Capture &operator=(const Capture &) = delete;
  std::string Text() {
    std::fflush(file_);
    std::rewind(file_);
    std::string text;
    for (int ch; (ch = std::fgetc(file_)) != EOF;) text.push_back(static_cast<char>(ch));
    return text;
  }

 private:
  static constexpr FILE *(*kGet[4])() = {MessageStream, InfoStream, ErrorStream, WarningStream};
  static constexpr void (*kSet[4])(FILE *) = {SetMessageStream, SetInfoStream, SetErrorStream, SetWarningStream};
  FILE *file_;
  FILE *old_[4];
};

}  // namespace ptest
