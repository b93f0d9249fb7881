// Helpers of the model-writer tests (Chunk and Basic): hand-built scenes,
// a little-endian byte builder and a writer run.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "base/console.h"
#include "base/file_names.h"
#include "binary/binary_model.h"
#include "chunk/chunk_writer.h"
#include "process/nodelist.h"
#include "scene/memory.h"
#include "scene/records.h"
#include "support/test_support.h"

namespace chunktest {

// Silences the console printers while it lives.
struct QuietConsole {
  QuietConsole() { SetInfoStream(nullptr), SetMessageStream(nullptr), SetWarningStream(nullptr); }
  ~QuietConsole() { SetInfoStream(stderr), SetMessageStream(stderr), SetWarningStream(stderr); }
};

// A test with the tracked allocator, a quiet console and a scratch folder.
class SceneTest : public ::testing::Test {
 protected:
  void SetUp() override { ScMallocTabInit(); }
  void TearDown() override { ScFreeAll(); }
  static void Reset() { ScFreeAll(), ScMallocTabInit(); }
  QuietConsole quiet_;
  vktest::ScratchDir dir_;
};

// Little-endian values of an expected binary file.
struct Bytes {
  std::string s;
  Bytes &u8(uint32_t v) { return s.push_back(static_cast<char>(v & 0xFF)), *this; }
  Bytes &u16(uint32_t v) { return u8(v).u8(v >> 8); }
  Bytes &u32(uint32_t v) { return u16(v).u16(v >> 16); }
  Bytes &f32(float f) { return u32(std::bit_cast<uint32_t>(f)); }
  Bytes &text(const char *t) { return s += t, *this; }
};

using Point = std::array<float, 3>;
struct Face {
  std::vector<int> corners;
  int material = 0;
};

// A model of the points and faces: every normal (0, 0, 1), corner UV u = x / 2,
// v = y of its point, scale 1.
inline ScModel *MeshModel(const char *name, const std::vector<Point> &points, const std::vector<Face> &faces) {
  ScModel *model = ScModelAlloc(name);
  model->hasMesh = 1;
  model->OScale[0] = model->OScale[1] = model->OScale[2] = 1.0f;
  const int n = static_cast<int>(faces.size());
  ScMesh *mesh = model->mesh = ScMeshAlloc(static_cast<int>(points.size()), n, n);
  for (size_t i = 0; i < points.size(); ++i) {
    std::copy(points[i].begin(), points[i].end(), mesh->vertices[i].pos);
    mesh->vertices[i].normal[2] = 1.0f;
  }
  for (int f = 0; f < n; ++f) {
    ScPolygon &polygon = mesh->polygons[f];
    const int corners = static_cast<int>(faces[f].corners.size());
    polygon.nbCorner = static_cast<uint16_t>(corners);
    polygon.corners = ScPolyNodeAlloc(corners);
    polygon.normal[2] = 1.0f;
    polygon.attribute = &mesh->attributes[f];
    polygon.materialId = faces[f].material;
    for (int c = 0; c < corners; ++c) {
      ScPolyNode &corner = polygon.corners[c];
      corner.vertex = static_cast<uint16_t>(faces[f].corners[c]);
      corner.u = points[corner.vertex][0] / 2, corner.v = points[corner.vertex][1];
      corner.normal[2] = 1.0f;
    }
    mesh->nbTriangle += corners == 3, mesh->nbQuad += corners == 4;
  }
  return model;
}

// Materials "wood" (textured with wood.bmp; diffuse 0.8, 0.6, 0.4, 1) and
// "stone" (diffuse 0.2 grey), specular white, power 8.
inline void WoodAndStone(ScModel *model, const std::string &woodName = "wood", int woodKind = 4) {
  model->materials = ScMaterialsAlloc(2);
  model->nbMaterial = 2;
  const float diffuse[2][4] = {{0.8f, 0.6f, 0.4f, 1.0f}, {0.2f, 0.2f, 0.2f, 1.0f}};
  ScMaterials *entry = model->materials;
  for (int m = 0; m < 2; ++m, entry = entry->next) {
    entry->name = ScVStrdup(m ? "stone" : woodName.c_str());
    entry->kind = m ? 4 : woodKind;
    std::copy(diffuse[m], diffuse[m] + 4, entry->diffuse);
    entry->specular[0] = entry->specular[1] = entry->specular[2] = entry->specular[3] = 1.0f;
    entry->specularPower = 8.0f;
    if (m == 0) entry->textures = ScTextureAlloc(1), entry->textures->picname = ScVStrdup("wood.bmp");
    entry->nbTexture = m == 0;
  }
}

inline ScObject *SceneOf(ScModel *root, int models = 1) {
  ScObject *scene = ScObjectAlloc("scene", 7);
  scene->root = root;
  scene->modelCount = models;
  return scene;
}

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

using binarytest::AddStrip;
using binarytest::Normalized;
using binarytest::Triangle;

}  // namespace chunktest
