// Node list build times: a one-million-triangle scene (quads triangulated on
// the way), and bone removal over many nodes.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>
#include <unordered_map>

#include "base/console.h"
#include "process/nodelist.h"
#include "scene/memory.h"
#include "scene/records.h"

namespace {

constexpr uint32_t kRemoveBones = 0x00000001;
constexpr uint32_t kAllTo3 = 0x00300000;
constexpr uint32_t kGlobalFreeze = 0x00010000;
constexpr float kNoRotation[3] = {0, 0, 0};

void FreshTable() {
  if (ScMallocGetStats().initialised) ScFreeAll();
  ScMallocTabInit();
  ScResetCreationCounters();
}

ScModel *AddNode(ScObject *scene, ScModel *parent, const std::string &name, float x, float angle) {
  ScModel *model = ScModelAlloc(name.c_str());
  model->OPosition[0] = x;
  model->OAngle[1] = angle;
  model->OScale[0] = model->OScale[1] = model->OScale[2] = 1.0f;
  model->parent = parent;
  // The last child of each parent is remembered so that wide levels link in
  // constant time.
  static std::unordered_map<const void *, ScModel *> lastChild;
  const void *key = parent ? static_cast<const void *>(parent) : static_cast<const void *>(scene);
  ScModel **slot = parent ? &parent->child : &scene->root;
  if (*slot == nullptr) lastChild.erase(key);
  auto last = lastChild.find(key);
  if (last != lastChild.end()) slot = &last->second->sibling;
  while (*slot) slot = &(*slot)->sibling;
  *slot = model;
  lastChild[key] = model;
  return model;
}

// A grid of width x height quads (or two triangles per cell) on z = 0.
void GiveGrid(ScModel *model, int width, int height, bool quads) {
  const int points = (width + 1) * (height + 1);
  const int cells = width * height;
  const int polygons = quads ? cells : 2 * cells;
  ScMesh *mesh = ScMeshAlloc(points, polygons, polygons);
  for (int y = 0; y <= height; y++) {
    for (int x = 0; x <= width; x++) {
      ScVertex &v = mesh->vertices[y * (width + 1) + x];
      v.pos[0] = static_cast<float>(x);
      v.pos[1] = static_cast<float>(y);
      v.normal[2] = 1.0f;
    }
  }
  int p = 0;
  for (int y = 0; y < height; y++) {
    for (int x = 0; x < width; x++) {
      const int a = y * (width + 1) + x;
      const int corners[4] = {a, a + 1, a + width + 2, a + width + 1};
      const int shapes[2][3] = {{0, 1, 2}, {0, 2, 3}};
      for (int t = 0; t < (quads ? 1 : 2); t++) {
        ScPolygon &polygon = mesh->polygons[p];
        polygon.nbCorner = quads ? 4 : 3;
        polygon.corners = ScPolyNodeAlloc(polygon.nbCorner);
        polygon.attribute = &mesh->attributes[p];
        polygon.normal[2] = 1.0f;
        for (int c = 0; c < polygon.nbCorner; c++) {
          polygon.corners[c].vertex = static_cast<uint16_t>(quads ? corners[c] : corners[shapes[t][c]]);
          polygon.corners[c].normal[2] = 1.0f;
        }
        p++;
      }
    }
  }
  mesh->nbQuad = quads ? polygons : 0;
  mesh->nbTriangle = quads ? 0 : polygons;
  model->hasMesh = 1;
  model->mesh = mesh;
  model->materials = ScMaterialsAlloc(1);
  model->nbMaterial = 1;
}

// 64 mesh nodes of 88 x 89 quads (1,002,496 triangles after conversion),
// each under a mesh-less bone below the root.
ScObject *MillionTriangleScene() {
  ScObject *scene = ScObjectAlloc("bench", 7);
  ScModel *root = AddNode(scene, nullptr, "root", 0, 0);
  GiveGrid(root, 1, 1, true);
  for (int i = 0; i < 64; i++) {
    ScModel *bone = AddNode(scene, root, "bone" + std::to_string(i), 1.0f, 0.1f);
    GiveGrid(AddNode(scene, bone, "part" + std::to_string(i), 0.5f, 0.2f), 88, 89, true);
  }
  return scene;
}

void RunMillion(benchmark::State &state, uint32_t modelFlags, uint32_t outputFlags) {
  SetMessageStream(nullptr);
  long triangles = 0;
  for (auto _ : state) {
    state.PauseTiming();
    FreshTable();
    ScObject *scene = MillionTriangleScene();
    state.ResumeTiming();
    ScNodeList *list = nullptr;
    ScGetNodeList(scene, modelFlags, outputFlags, 0, kNoRotation, &list);
    benchmark::DoNotOptimize(list);
    state.PauseTiming();
    triangles = 0;
    for (int i = 0; i < list->node_n; i++) {
      if (ScMesh *mesh = ScGetMesh(list->slist[i]->model)) triangles += mesh->nbTriangle;
    }
    state.ResumeTiming();
  }
  state.counters["triangles"] = static_cast<double>(triangles);
  FreshTable();
  SetMessageStream(stderr);
}

void BM_NodeList_MillionTriangles(benchmark::State &state) { RunMillion(state, kAllTo3, 0); }
void BM_NodeList_MillionTriangles_RemoveBones(benchmark::State &state) {
  RunMillion(state, kAllTo3 | kRemoveBones, 0);
}
void BM_NodeList_MillionTriangles_GlobalFreeze(benchmark::State &state) {
  RunMillion(state, kAllTo3, kGlobalFreeze);
}

// Bone removal over n nodes: root -> (bone_t -> part_t, leaf_t) for each t;
// every leaf sorts in front of the parts, so the ancestry order moves half of
// the list.
void BM_NodeList_RemoveBonesNodes(benchmark::State &state) {
  const int pairs = static_cast<int>(state.range(0)) / 2;
  SetMessageStream(nullptr);
  for (auto _ : state) {
    state.PauseTiming();
    FreshTable();
    ScObject *scene = ScObjectAlloc("bench", 7);
    ScModel *root = AddNode(scene, nullptr, "root", 0, 0);
    GiveGrid(root, 1, 1, false);
    for (int t = 0; t < pairs; t++) {
      ScModel *bone = AddNode(scene, root, "bone" + std::to_string(t), 1.0f, 0.0f);
      GiveGrid(AddNode(scene, bone, "part" + std::to_string(t), 0.5f, 0.0f), 1, 1, false);
      GiveGrid(AddNode(scene, root, "leaf" + std::to_string(t), 0.25f, 0.0f), 1, 1, false);
    }
    state.ResumeTiming();
    ScNodeList *list = nullptr;
    ScGetNodeList(scene, kRemoveBones, 0, 0, kNoRotation, &list);
    benchmark::DoNotOptimize(list);
  }
  state.SetComplexityN(state.range(0));
  FreshTable();
  SetMessageStream(stderr);
}

}  // namespace

BENCHMARK(BM_NodeList_MillionTriangles)->Unit(benchmark::kMillisecond)->Iterations(3)->Repetitions(3);
BENCHMARK(BM_NodeList_MillionTriangles_RemoveBones)->Unit(benchmark::kMillisecond)->Iterations(3)->Repetitions(3);
BENCHMARK(BM_NodeList_MillionTriangles_GlobalFreeze)->Unit(benchmark::kMillisecond)->Iterations(3)->Repetitions(3);
BENCHMARK(BM_NodeList_RemoveBonesNodes)
    ->Unit(benchmark::kMillisecond)
    ->RangeMultiplier(4)
    ->Range(4096, 262144)
    ->Complexity();
