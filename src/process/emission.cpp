// Emission normals: vertex normals pointing away from the centre of the
// node's local box, for the whole mesh or for the vertices of materials
// named with "En".
#include <cstring>

#include "process/geometry.h"
#include "process/nodelist.h"
#include "scene/memory.h"
#include "scene/records.h"

namespace {

// A vertex at the centre keeps its normal and is counted.
void SetEmissionNormal(ScVertex *vertex, const float centre[3], int *zeroVectors) {
  float direction[3];
  ScVectorDiff(centre, vertex->pos, direction);
  ScUnitVectorCounted(direction, vertex->normal, zeroVectors);
}

}  // namespace

void ScModelEmissionNormal(ScNode *node) {
  if (!node || !node->model) return;
  ScMesh *mesh = ScGetMesh(node->model);
  if (!mesh) return;
  const float *centre = node->bbox.local.average;
  int zeroVectors = 0;
  for (int i = 0; i < mesh->nbVertex; i++) SetEmissionNormal(&mesh->vertices[i], centre, &zeroVectors);
  ScPrintZeroVectors(zeroVectors, node->model->name);
}

void ScMaterialEmissionNormal(ScNode *node) {
  if (!node || !node->model) return;
  ScModel *model = node->model;
  ScMesh *mesh = ScGetMesh(model);
  const int materialCount = model->nbMaterial;
  if (!mesh || materialCount == 0) return;

  auto *marked = static_cast<unsigned char *>(ScMalloc(static_cast<size_t>(materialCount), "EMMat"));
  bool any = false;
  int m = 0;
  for (ScMaterials *material = model->materials; material && m < materialCount;
       material = material->next, m++) {
    if (material->name && std::strstr(material->name, "En")) {
      marked[m] = 1;
      any = true;
    }
  }
  if (any) {
    for (int i = 0; i < mesh->nbVertex; i++) mesh->vertices[i].useCount = 0;
    for (int p = 0; p < mesh->nbPolygon; p++) {
      const ScPolygon &polygon = mesh->polygons[p];
      const int id = polygon.materialId;
      if (id < 0 || id >= materialCount || !marked[id]) continue;
      for (int c = 0; c < polygon.nbCorner; c++) {
        const int v = polygon.corners[c].vertex;
        if (v >= mesh->nbVertex) continue;
        mesh->vertices[v].useCount++;
        mesh->vertices[v].useMaterial = id;
      }
    }
    const float *centre = node->bbox.local.average;
    int zeroVectors = 0;
    for (int i = 0; i < mesh->nbVertex; i++) {
      if (mesh->vertices[i].useCount != 0) SetEmissionNormal(&mesh->vertices[i], centre, &zeroVectors);
    }
    ScPrintZeroVectors(zeroVectors, model->name);
  }
  ScFree(marked, "EMMat");
}
