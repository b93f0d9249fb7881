// Hand-built scenes for the node list and geometry tests.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "frontend/console.h"
#include "scene/memory.h"
#include "scene/records.h"

namespace nltest {

struct Vec3 {
  float x, y, z;
};

// A scene under construction; nodes are appended as the last child of their
// parent (or at the end of the root level).
class SceneBuilder {
 public:
  // The scene is created on first use, once the tracked allocator is set up.
  ScObject *scene() {
    if (!scene_) scene_ = ScObjectAlloc("scene", 7);
    return scene_;
  }

  ScModel *Add(const char *name, ScModel *parent, Vec3 pos = {0, 0, 0}, Vec3 angle = {0, 0, 0},
               Vec3 scale = {1, 1, 1}) {
    ScModel *model = ScModelAlloc(name);
    model->OPosition[0] = pos.x;
    model->OPosition[1] = pos.y;
    model->OPosition[2] = pos.z;
    model->OAngle[0] = angle.x;
    model->OAngle[1] = angle.y;
    model->OAngle[2] = angle.z;
    model->OScale[0] = scale.x;
    model->OScale[1] = scale.y;
    model->OScale[2] = scale.z;
    model->parent = parent;
    ScModel **slot = parent ? &parent->child : &scene()->root;
    while (*slot) slot = &(*slot)->sibling;
    *slot = model;
    return model;
  }

  // Gives the node a mesh with these points and one polygon per entry of
  // `polygons` (lists of point indices), all of material `material`.
  static ScMesh *GiveMesh(ScModel *model, const std::vector<Vec3> &points,
                          const std::vector<std::vector<int>> &polygons = {}, int material = 0) {
    ScMesh *mesh = ScMeshAlloc(static_cast<int>(points.size()), static_cast<int>(polygons.size()),
                               static_cast<int>(polygons.size()));
    for (size_t i = 0; i < points.size(); i++) {
      mesh->vertices[i].pos[0] = points[i].x;
      mesh->vertices[i].pos[1] = points[i].y;
      mesh->vertices[i].pos[2] = points[i].z;
      mesh->vertices[i].normal[2] = 1.0f;
    }
    for (size_t p = 0; p < polygons.size(); p++) {
      ScPolygon &polygon = mesh->polygons[p];
      polygon.nbCorner = static_cast<uint16_t>(polygons[p].size());
      polygon.corners = ScPolyNodeAlloc(polygon.nbCorner);
      polygon.attribute = &mesh->attributes[p];
      polygon.materialId = material;
      polygon.normal[2] = 1.0f;
      for (size_t c = 0; c < polygons[p].size(); c++) {
        polygon.corners[c].vertex = static_cast<uint16_t>(polygons[p][c]);
        polygon.corners[c].u = static_cast<float>(c);  // marks the source corner
        polygon.corners[c].normal[2] = 1.0f;
      }
      if (polygon.nbCorner == 3) mesh->nbTriangle++;
      if (polygon.nbCorner == 4) mesh->nbQuad++;
    }
    model->hasMesh = 1;
    model->mesh = mesh;
    return mesh;
  }

  static ScMesh *GivePointMesh(ScModel *model) { return GiveMesh(model, {{0, 0, 0}}); }

 private:
  ScObject *scene_ = nullptr;
};

// Starts a fresh tracked allocation table.
inline void FreshAllocator() {
  if (ScMallocGetStats().initialised) ScFreeAll();
  ScMallocTabInit();
  ScResetCreationCounters();
}

// Captures what the console message, error and warning streams print.
class ConsoleCapture {
 public:
  ConsoleCapture() {
    file_ = std::tmpfile();
    SetMessageStream(file_);
    SetErrorStream(file_);
    SetWarningStream(file_);
    SetInfoStream(file_);
  }
  ~ConsoleCapture() {
    SetMessageStream(stderr);
    SetErrorStream(stderr);
    SetWarningStream(stderr);
    SetInfoStream(stderr);
    if (file_) std::fclose(file_);
  }
  ConsoleCapture(const ConsoleCapture &) = delete;
  ConsoleCapture &operator=(const ConsoleCapture &) = delete;

  std::string Text() {
    std::fflush(file_);
    std::string text;
    std::rewind(file_);
    char buffer[512];
    size_t n;
    while ((n = std::fread(buffer, 1, sizeof buffer, file_)) > 0) text.append(buffer, n);
    return text;
  }

 private:
  FILE *file_ = nullptr;
};

}  // namespace nltest
