// Creation and release of the scene records.
#include "scene/records.h"

#include <cstring>
#include <vector>

#include "scene/memory.h"

namespace {

struct CreationCounters {
  int32_t model = 0;
  int32_t material = 0;
  int32_t texture = 0;
};

CreationCounters &Counters() {
  static CreationCounters counters;
  return counters;
}

void SetIdentity(float *matrix) {
  for (int i = 0; i < 12; i++) matrix[i] = 0.0f;
  matrix[0] = matrix[4] = matrix[8] = 1.0f;
}

void SetBgra(uint8_t *color, uint8_t b, uint8_t g, uint8_t r, uint8_t a) {
  color[0] = b;
  color[1] = g;
  color[2] = r;
  color[3] = a;
}

constexpr int32_t kAttributeWords[16] = {5, 0, 1, 0, 0, 0, 1, 1, 0, 3, 0, 2, 2, 2, -1, 0};

}  // namespace

int32_t ScNextModelId() { return Counters().model++; }
int32_t ScNextMaterialId() { return Counters().material++; }
int32_t ScNextTextureId() { return Counters().texture++; }
void ScResetCreationCounters() { Counters() = CreationCounters{}; }

ScObject *ScObjectAlloc(const char *name, int kind) {
  char *copy = ScVStrdup(name);
  if (!copy) return nullptr;
  auto *object = ScNew<ScObject>("ScObject");
  object->name = copy;
  object->kind = kind;
  return object;
}

ScModel *ScModelAlloc(const char *name) {
  char *copy = ScVStrdup(name);
  if (!copy) return nullptr;
  for (char *c = copy; *c; c++) {
    if (*c == '.') *c = '_';
  }
  auto *model = ScNew<ScModel>("model_p");
  model->id = ScNextModelId();
  model->name = copy;
  SetIdentity(model->matrixA);
  SetIdentity(model->matrixB);
  return model;
}

ScMesh *ScMeshAlloc(int vertexCount, int polygonCount, int attributeCount) {
  auto *mesh = ScNew<ScMesh>("mesh_p");
  if (vertexCount > 0) {
    mesh->vertices = ScNew<ScVertex>("vertices_p", static_cast<size_t>(vertexCount));
    mesh->nbVertex = vertexCount;
    for (int i = 0; i < vertexCount; i++) {
      ScVertex &v = mesh->vertices[i];
      v.index = i;
      SetBgra(v.diffuse, 178, 178, 178, 255);
      SetBgra(v.specular, 0, 0, 0, 255);
    }
  }
  if (polygonCount > 0) {
    mesh->polygons = ScNew<ScPolygon>("polygons_p", static_cast<size_t>(polygonCount));
    mesh->nbPolygon = polygonCount;
    for (int i = 0; i < polygonCount; i++) mesh->polygons[i].index = i;
  }
  if (attributeCount > 0) {
    mesh->attributes = ScNew<ScAttribute>("attributes_p", static_cast<size_t>(attributeCount));
    mesh->nbAttribute = attributeCount;
    for (int i = 0; i < attributeCount; i++) {
      ScAttribute &a = mesh->attributes[i];
      a.index = i;
      std::memcpy(a.words, kAttributeWords, sizeof(kAttributeWords));
      a.diffuse[0] = a.diffuse[1] = a.diffuse[2] = 0.8f;
    }
  }
  return mesh;
}

ScPolyNode *ScPolyNodeAlloc(int cornerCount) {
  if (cornerCount < 1) return nullptr;
  auto *corners = ScNew<ScPolyNode>("pnode_p", static_cast<size_t>(cornerCount));
  for (int i = 0; i < cornerCount; i++) SetBgra(corners[i].color, 178, 178, 178, 255);
  return corners;
}

ScMaterials *ScMaterialsAlloc(int count) {
  ScMaterials *head = nullptr;
  ScMaterials **link = &head;
  for (int i = 0; i < count; i++) {
    auto *entry = ScNew<ScMaterials>("material_p");
    entry->bank = -1;
    *link = entry;
    link = &entry->next;
  }
  return head;
}

ScTexture *ScTextureAlloc(int count) {
  ScTexture *head = nullptr;
  ScTexture **link = &head;
  for (int i = 0; i < count; i++) {
    auto *entry = ScNew<ScTexture>("textures_p");
    *link = entry;
    link = &entry->next;
  }
  return head;
}

ScMesh *ScGetMesh(ScModel *model) {
  if (model && model->hasMesh == 1 && model->mesh) return model->mesh;
  return nullptr;
}

void ScTextureFree(ScTexture *list) {
  while (list) {
    ScTexture *next = list->next;
    if (list->picname) ScFree(list->picname, "picname(ScTextureFree)");
    if (list->maskname) ScFree(list->maskname, "maskname(ScTextureFree)");
    ScFree(list, "current_p(ScTextureFree)");
    list = next;
  }
}

void ScMaterialsFree(ScMaterials *list) {
  while (list) {
    ScMaterials *next = list->next;
    if (list->name) ScFree(list->name, "name(ScMaterialsFree)");
    ScTextureFree(list->textures);
    ScFree(list, "current_p(ScMaterialsFree)");
    list = next;
  }
}

void ScPolyNodeFree(ScPolyNode *corners) {
  if (corners) ScFree(corners, "ScPolyNodeFree");
}

void ScMeshFree(ScMesh *mesh) {
  if (!mesh) return;
  if (mesh->vertices) ScFree(mesh->vertices, "vertices_p(ScMeshFree)");
  for (int i = 0; i < mesh->nbPolygon; i++) ScPolyNodeFree(mesh->polygons[i].corners);
  if (mesh->polygons) ScFree(mesh->polygons, "polygons_p(ScMeshFree)");
  if (mesh->attributes) ScFree(mesh->attributes, "attributes_p(ScMeshFree)");
  ScFree(mesh, "mesh_p(ScMeshFree)");
}

void ScModelFree(ScModel *model) {
  if (!model) return;
  if (model->name) ScFree(model->name, "name(ScModelFree)");
  if (model->instroot) ScFree(model->instroot, "instroot(ScModelFree)");
  if (model->nbMaterial != 0) ScMaterialsFree(model->materials);
  if (model->nbTexture != 0) ScTextureFree(model->textures);
  ScFree(model, "model_p(ScModelFree)");
}

// A node's mesh, child subtree, sibling subtree, then the node. The sibling
// chain is walked in a loop (nodes released last first, as the recursive
// order has it) so a long chain cannot exhaust the stack.
void ScModelTreeFree(ScModel *model) {
  std::vector<ScModel *> chain;
  for (; model; model = model->sibling) {
    if (model->hasMesh == 1) ScMeshFree(model->mesh);
    ScModelTreeFree(model->child);
    chain.push_back(model);
  }
  for (auto node = chain.rbegin(); node != chain.rend(); ++node) ScModelFree(*node);
}

void ScObjectFree(ScObject *object) {
  if (!object) return;
  ScModelTreeFree(object->root);
  if (object->name) ScFree(object->name, "name(ScObjectFree)");
  ScFree(object, "obj_p(ScObjectFree)");
}
