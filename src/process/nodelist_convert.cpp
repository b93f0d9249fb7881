// Polygon-to-triangle conversion of one mesh and the per-material polygon
// counts.
#include "base/flags.h"
#include "process/nodelist_internal.h"
#include "scene/memory.h"
#include "scene/records.h"

namespace {

enum class Conversion { None, QuadsOnly, LargeOnly, All };

Conversion ConversionOf(uint32_t mode) {
  if ((mode & vkopt::kModelAllToTri) == vkopt::kModelAllToTri) return Conversion::All;
  if (mode & vkopt::kModelQuadToTri) return Conversion::QuadsOnly;
  if (mode & vkopt::kModelPolyToTri) return Conversion::LargeOnly;
  return Conversion::None;
}

bool IsConverted(Conversion conversion, int corners) {
  switch (conversion) {
    case Conversion::QuadsOnly:
      return corners == 4;
    case Conversion::LargeOnly:
      return corners >= 5;
    case Conversion::All:
      return corners >= 4;
    case Conversion::None:
      break;
  }
  return false;
}

// Source corners of triangle t of an n-corner polygon.
void TriangleCorners(int n, int t, int out[3]) {
  const int h = t / 2;
  if (t == 0) {
    out[0] = 0;
    out[1] = 1;
    out[2] = n - 1;
  } else if (t % 2 == 1) {
    out[0] = h + 1;
    out[1] = h + 2;
    out[2] = n - (t + 1) / 2;
  } else {
    out[0] = n - h;
    out[1] = (t + 1) / 2 + 1;
    out[2] = n - h - 1;
  }
}

}  // namespace

ScMesh *ScConvertMesh(ScMesh *mesh, uint32_t mode) {
  const Conversion conversion = ConversionOf(mode);
  if (!mesh || conversion == Conversion::None) return mesh;

  long resultCount = 0;
  bool anyConverted = false;
  for (int p = 0; p < mesh->nbPolygon; p++) {
    const int n = mesh->polygons[p].nbCorner;
    if (IsConverted(conversion, n)) {
      anyConverted = true;
      resultCount += n - 2;
    } else {
      resultCount += 1;
    }
  }
  if (!anyConverted) return mesh;

  ScMesh *result = ScMeshAlloc(0, static_cast<int>(resultCount), 0);
  ScPolygon *polygons = result->polygons;
  *result = *mesh;
  result->polygons = polygons;
  result->nbPolygon = static_cast<int32_t>(resultCount);

  int out = 0;
  int triangles = 0;
  int quads = 0;
  for (int p = 0; p < mesh->nbPolygon; p++) {
    ScPolygon &source = mesh->polygons[p];
    const int n = source.nbCorner;
    if (!IsConverted(conversion, n)) {
      ScPolygon &copy = polygons[out];
      copy = source;
      copy.index = out++;
      source.corners = nullptr;  // moved to the copy
      source.attribute = nullptr;
      if (n == 3) triangles++;
      if (n == 4) quads++;
      continue;
    }
    for (int t = 0; t < n - 2; t++) {
      ScPolygon &triangle = polygons[out];
      triangle = source;
      triangle.index = out++;
      triangle.nbCorner = 3;
      triangle.corners = ScPolyNodeAlloc(3);
      int corners[3];
      TriangleCorners(n, t, corners);
      for (int k = 0; k < 3; k++) triangle.corners[k] = source.corners[corners[k]];
      triangles++;
    }
    source.attribute = nullptr;
  }
  result->nbTriangle = triangles;
  result->nbQuad = quads;

  // The vertex and attribute arrays now belong to the new mesh.
  mesh->vertices = nullptr;
  mesh->nbVertex = 0;
  mesh->attributes = nullptr;
  mesh->nbAttribute = 0;
  ScMeshFree(mesh);
  return result;
}

void ScSetPolygonCount(ScModel *model) {
  ScMesh *mesh = ScGetMesh(model);
  if (!mesh || !model->materials || model->nbMaterial == 0) return;
  const int count = model->nbMaterial;
  auto **list = static_cast<ScMaterials **>(ScMalloc(sizeof(ScMaterials *) * count, "mlist(ScSetPolygonCount)"));
  int m = 0;
  for (ScMaterials *material = model->materials; material && m < count; material = material->next) {
    list[m++] = material;
  }
  for (int p = 0; p < mesh->nbPolygon; p++) {
    const ScPolygon &polygon = mesh->polygons[p];
    const int id = polygon.materialId;
    if (id < 0 || id >= m) continue;
    if (polygon.nbCorner == 3) {
      list[id]->nbPolyTriangle++;
    } else if (polygon.nbCorner == 4) {
      list[id]->nbPolyQuad++;
    } else if (polygon.nbCorner > 4) {
      list[id]->nbPolyLarge++;
    }
  }
  ScFree(list, "mlist(ScSetPolygonCount)");
}
