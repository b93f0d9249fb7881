// What a Basic model can hold, checked on the scene before any file is
// touched and again on the node list with the groups and strips the writer
// will write.
#include <algorithm>
#include <vector>

#include "base/flags.h"
#include "basic/basic_internal.h"
#include "basic/basic_writer.h"
#include "binary/write_info.h"
#include "process/nodelist.h"
#include "process/optimize.h"
#include "scene/records.h"

namespace {

VKStatus TooManyPoints(const char *name, int points) {
  return VKErrorStatus(VKStatusCode::kRefused,
                       "Error : Object %s has %d points; a Basic model indexes at most %d per object\n", name, points,
                       kMaxBasicVertices);
}

VKStatus TooManyMeshes(const char *name, long long meshes) {
  return VKErrorStatus(VKStatusCode::kRefused,
                       "Error : Object %s has %lld meshes of one kind in one material; a Basic-model mesh set holds "
                       "at most %d\n",
                       name, meshes, kMaxBasicMeshes);
}

// Polygons of one material by the form they are written in, once the node
// list has triangulated what modelFlags asks for.
struct MaterialCounts {
  long long triangles = 0;
  long long quads = 0;
  long long polygons = 0;
};

}  // namespace

VKStatus VKSceneFitsBasicModel(const ScObject *scene, uint32_t modelFlags, uint32_t stripFlags) {
  if (!scene) return VKStatus{};
  const bool quadsToTriangles = (modelFlags & vkopt::kModelQuadToTri) != 0;
  const bool polygonsToTriangles = (modelFlags & vkopt::kModelPolyToTri) != 0;
  const bool strips = (stripFlags & vkopt::kStripOn) != 0;
  std::vector<const ScModel *> pending;
  if (scene->root) pending.push_back(scene->root);
  std::vector<MaterialCounts> counts;
  while (!pending.empty()) {
    const ScModel *model = pending.back();
    pending.pop_back();
    if (model->sibling) pending.push_back(model->sibling);
    if (model->child) pending.push_back(model->child);
    const ScMesh *mesh = model->hasMesh ? model->mesh : nullptr;
    if (!mesh) continue;
    if (mesh->nbVertex > kMaxBasicVertices) return TooManyPoints(model->name, mesh->nbVertex);
    // A material number past the node's list counts with the first
    // material, as the material groups take it.
    counts.assign(model->nbMaterial > 0 ? model->nbMaterial : 1, MaterialCounts{});
    for (int32_t p = 0; p < mesh->nbPolygon; ++p) {
      const ScPolygon &polygon = mesh->polygons[p];
      const int32_t id = polygon.materialId;
      MaterialCounts &c = counts[id >= 0 && id < static_cast<int32_t>(counts.size()) ? id : 0];
      const int corners = polygon.nbCorner;
      if (corners == 3) {
        ++c.triangles;
      } else if (corners == 4) {
        quadsToTriangles ? c.triangles += 2 : ++c.quads;
      } else if (corners > 4) {
        polygonsToTriangles ? c.triangles += corners - 2 : ++c.polygons;
      }
    }
    // Strips are fewer than their triangles: those are left to the writer.
    for (const MaterialCounts &c : counts) {
      const long long most = std::max({strips ? 0 : c.triangles, c.quads, c.polygons});
      if (most > kMaxBasicMeshes) return TooManyMeshes(model->name, most);
    }
  }
  return VKStatus{};
}

VKStatus BasicNodeListFits(const VKWriteInfo *info) {
  const ScNodeList *list = info->nodeList;
  for (int32_t i = 0; i < list->node_n; ++i) {
    ScModel *model = list->slist[i]->model;
    const ScMesh *mesh = ScGetMesh(model);
    if (mesh && mesh->nbVertex > kMaxBasicVertices) return TooManyPoints(model->name, mesh->nbVertex);
    const VKMaterialNode &node = info->optimizeInfo->mnlist[i];
    if (node.groupCount > kMaxBasicMaterials)
      return VKErrorStatus(VKStatusCode::kRefused,
                           "Error : Object %s has %d distinct materials; a Basic-model mesh set names at most %d\n",
                           model->name, node.groupCount, kMaxBasicMaterials);
    for (const BasicPolySet &set : BasicPolySets(node)) {
      if (set.meshes > kMaxBasicMeshes) return TooManyMeshes(model->name, set.meshes);
      if (set.kind.type != kBasicPolygons.type) continue;
      for (const ScPolygon *polygon = set.list->first; polygon; polygon = polygon->listNext)
        if (polygon->nbCorner > kMaxBasicEntryIndices)
          return VKErrorStatus(VKStatusCode::kRefused,
                               "Error : Object %s has a polygon of %d corners; a Basic-model polygon entry holds at "
                               "most %d\n",
                               model->name, polygon->nbCorner, kMaxBasicEntryIndices);
    }
  }
  return VKStatus{};
}
