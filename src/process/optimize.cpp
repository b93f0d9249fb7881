// Optimize info: texture list, material groups and polygon lists.
#include "process/optimize.h"

#include <cmath>
#include <cstring>
#include <vector>

#include "base/numbers.h"
#include "process/nodelist.h"
#include "process/strips_order.h"
#include "scene/memory.h"
#include "scene/records.h"

namespace {

// The first nbMaterial entries of a node's material chain.
int32_t MaterialCount(const ScModel *model) {
  int32_t n = 0;
  for (const ScMaterials *m = model->materials; m != nullptr && n < model->nbMaterial; m = m->next) ++n;
  return n;
}

int32_t TextureCount(const ScMaterials *material) {
  int32_t n = 0;
  for (const ScTexture *t = material->textures; t != nullptr && n < material->nbTexture; t = t->next) ++n;
  return n;
}

bool Near(float a, float b) { return std::fabs(a - b) < kScTolerance; }

// Groups compare diffuse, specular, specular power, texture and attrflags;
// ambient is left out.
bool SameLook(const VKMaterialGroup &x, const VKMaterialGroup &y) {
  const ScMaterials *a = x.material;
  const ScMaterials *b = y.material;
  for (int c = 0; c < 4; ++c) {
    if (!Near(a->diffuse[c], b->diffuse[c]) || !Near(a->specular[c], b->specular[c])) return false;
  }
  if (!Near(a->specularPower, b->specularPower)) return false;
  if (x.textureNumber != y.textureNumber) return false;
  return a->attrflags == b->attrflags;
}

void InitGroup(VKMaterialGroup &group, int32_t number, ScMaterials *material) {
  group = VKMaterialGroup{};
  group.group = number;
  group.material = material;
  group.texture = -1;
  group.textureNumber = -1;
  group.leader = &group;
}

const char *PicName(const VKTextureEntry &entry) {
  return entry.texture != nullptr && entry.texture->picname != nullptr ? entry.texture->picname : "";
}

// Texture order: file name (bytes), then bank; equal pairs merge into one
// unique number, kept by the first of their run.
void OrderTextures(VKOptimizeInfo *info) {
  const int32_t n = info->textureCount;
  VKTextureEntry *tlist = info->tlist;
  auto less = [tlist](int32_t x, int32_t y) {
    int c = std::strcmp(PicName(tlist[x]), PicName(tlist[y]));
    return c < 0 || (c == 0 && tlist[x].bank < tlist[y].bank);
  };
  std::vector<int32_t> sorted(static_cast<size_t>(n));
  vkorder::StrictExchangeOrder(n, less, sorted.data());

  int32_t unique = 0;
  int32_t duplicates = 0;
  std::vector<int32_t> merged;
  for (int32_t k = 0; k < n; ++k) {
    int32_t p = sorted[k];
    if (k > 0 && !less(sorted[k - 1], p)) {
      tlist[p].number = tlist[sorted[k - 1]].number;
      merged.push_back(p);
      ++duplicates;
    } else {
      tlist[p].number = unique;
      info->ts_idx[unique++] = p;
    }
  }
  for (int32_t d = 0; d < duplicates; ++d) info->ts_idx[unique + d] = merged[d];
  for (int32_t k = 0; k < n; ++k) info->ts_ridx[info->ts_idx[k]] = k;
  info->uniqueTextureCount = unique;
}

// Materials found equal share the group of the first earlier one; groups
// are numbered densely in order of first appearance.
void GroupMaterials(VKMaterialNode &node) {
  int32_t groups = 0;
  for (int32_t i = 0; i < node.materialCount; ++i) {
    VKMaterialGroup &entry = node.groups[i];
    entry.leader = &entry;
    entry.group = groups;
    for (int32_t j = 0; j < i; ++j) {
      if (SameLook(entry, node.groups[j])) {
        entry.leader = node.groups[j].leader;
        entry.group = node.groups[j].group;
        break;
      }
    }
    if (entry.leader == &entry) ++groups;
  }
  node.groupCount = groups;
}

void Append(VKPolyList &list, ScPolygon *polygon) {
  polygon->listNext = nullptr;
  if (list.last != nullptr) {
    list.last->listNext = polygon;
  } else {
    list.first = polygon;
  }
  list.last = polygon;
  ++list.count;
}

void FillPolygonLists(VKMaterialNode &node, ScMesh *mesh) {
  for (int32_t p = 0; p < mesh->nbPolygon; ++p) {
    ScPolygon *polygon = &mesh->polygons[p];
    VKMaterialGroup *group = &node.defaultGroup;
    if (node.materialCount > 0) {
      // A material number past the node's list falls to its first material.
      int32_t id = polygon->materialId;
      group = node.groups[id >= 0 && id < node.materialCount ? id : 0].leader;
    }
    int list = polygon->nbCorner == 3 ? kVKListTriangles : polygon->nbCorner == 4 ? kVKListQuads : kVKListPolygons;
    Append(group->lists[list], polygon);
  }
}

}  // namespace

// The material and texture counts are taken in every mode, volume modes
// included, because the lists below are always filled.
VKOptimizeInfo *VKGetOptimizeInfo(ScNodeList *list, uint32_t /*chunkFlags*/) {
  if (list == nullptr) return nullptr;
  const int32_t nodeCount = list->node_n;

  int32_t meshNodes = 0, vertices = 0, polygons = 0, materials = 0, untextured = 0, textures = 0;
  for (int32_t i = 0; i < nodeCount; ++i) {
    ScModel *model = list->slist[i]->model;
    if (ScMesh *mesh = ScGetMesh(model)) {
      ++meshNodes;
      vertices += mesh->nbVertex;
      polygons += mesh->nbPolygon;
    }
    const ScMaterials *m = model->materials;
    for (int32_t k = 0, n = MaterialCount(model); k < n; ++k, m = m->next) {
      ++materials;
      int32_t t = TextureCount(m);
      if (t == 0) ++untextured;
      textures += t;
    }
  }

  auto *info = ScNew<VKOptimizeInfo>("VKOptInfo(VKGetOptimizeInfo)");
  info->meshNodeCount = meshNodes;
  info->vertexCount = vertices;
  info->polygonCount = polygons;
  info->materialCount = materials;
  info->untexturedMaterialCount = untextured;
  info->textureCount = textures;
  info->nodeCount = nodeCount;
  if (textures > 0) {
    info->ts_idx = ScNew<int32_t>("ts_idx(VKGetOptimizeInfo)", textures);
    info->ts_ridx = ScNew<int32_t>("ts_ridx(VKGetOptimizeInfo)", textures);
    info->tlist = ScNew<VKTextureEntry>("tlist(VKGetOptimizeInfo)", textures);
  }
  info->mnlist = ScNew<VKMaterialNode>("mnlist(VKGetOptimizeInfo)", nodeCount > 0 ? nodeCount : 1);
  info->mlist = ScNew<VKMaterialGroup>("mlist(VKGetOptimizeInfo)", materials > 0 ? materials : 1);

  // Entries, node by node and material by material.
  int32_t nextGroup = 0;
  int32_t nextTexture = 0;
  for (int32_t i = 0; i < nodeCount; ++i) {
    ScModel *model = list->slist[i]->model;
    VKMaterialNode &node = info->mnlist[i];
    node = VKMaterialNode{};
    InitGroup(node.defaultGroup, 0, nullptr);
    node.materialCount = MaterialCount(model);
    node.groups = node.materialCount > 0 ? &info->mlist[nextGroup] : nullptr;
    ScMaterials *m = model->materials;
    for (int32_t k = 0; k < node.materialCount; ++k, m = m->next) {
      VKMaterialGroup &entry = info->mlist[nextGroup++];
      InitGroup(entry, k, m);
      ScTexture *t = m->textures;
      for (int32_t n = TextureCount(m), x = 0; x < n; ++x, t = t->next) {
        VKTextureEntry &tex = info->tlist[nextTexture];
        tex.number = nextTexture;
        tex.bank = m->bank;
        tex.texture = t;
        tex.source = t;
        if (x == 0) entry.texture = nextTexture;
        info->ts_idx[nextTexture] = nextTexture;
        ++nextTexture;
      }
    }
  }

  if (textures > 0) OrderTextures(info);
  for (int32_t g = 0; g < materials; ++g) {
    VKMaterialGroup &entry = info->mlist[g];
    if (entry.texture >= 0) entry.textureNumber = info->tlist[entry.texture].number;
  }

  for (int32_t i = 0; i < nodeCount; ++i) {
    VKMaterialNode &node = info->mnlist[i];
    if (node.materialCount > 1) {
      GroupMaterials(node);
    } else {
      node.groupCount = node.materialCount;
    }
    if (ScMesh *mesh = ScGetMesh(list->slist[i]->model)) FillPolygonLists(node, mesh);
  }
  return info;
}

void VKFreeOptimizeInfo(VKOptimizeInfo *info) {
  if (info == nullptr) return;
  ScFree(info->ts_idx, "ts_idx(VKGetOptimizeInfo)");
  ScFree(info->ts_ridx, "ts_ridx(VKGetOptimizeInfo)");
  ScFree(info->tlist, "tlist(VKFreeOptimizeInfo)");
  ScFree(info->mnlist, "mnlist(VKFreeOptimizeInfo)");
  ScFree(info->mlist, "mlist(VKFreeOptimizeInfo)");
  ScFree(info, "oinfo_p(VKFreeOptimizeInfo)");
}
