// The Chunk-model file writer: the object section with its per-object blocks
// (strip list, vertex list, model record, object record), in ASCII (last
// object first) or binary (first object first) order, inside the files that
// chunk/model_file.h writes.
#include "chunk/chunk_writer.h"

#include <set>
#include <string>
#include <utility>

#include "base/flags.h"
#include "binary/vkprint.h"
#include "binary/write_info.h"
#include "chunk/emit.h"
#include "chunk/model_file.h"
#include "chunk/write_start.h"
#include "process/nodelist.h"
#include "process/optimize.h"
#include "process/strips.h"
#include "process/tags.h"
#include "scene/records.h"

namespace {

// ---- Object section -----------------------------------------------------------------------
void WriteModelBlock(VKWriteInfo *info, ScNode *node) {
  const ScMesh *mesh = ScGetMesh(node->model);
  if (!mesh) return;
  VKWriter &w = *info->writer;
  const float scale = info->globalScale;
  VKPrint(w, "T123", "%s%s%s%s[]\n", "PLIST      ", "strip", "_", info->objectBase);
  VKPrintAscii(w, "%s\n", "START");
  VKWritePolygonChunks(info, &info->optimizeInfo->mnlist[node->nameId], mesh);
  VKPrintAscii(w, "\t%s()\n", "CnkEnd");
  VKPrintBin(w, "$s", 255);
  VKPrintAscii(w, "%s\n\n", "END");

  VKPrint(w, "T1", "%s%s[]\n", "VLIST      ", info->vertexName);
  VKPrintAscii(w, "%s\n", "START");
  VKWriteVertexChunks(info, mesh);
  VKPrintAscii(w, "\t%s()\n", "CnkEnd");
  VKPrintBin(w, "$i", 255);
  VKPrintAscii(w, "%s\n\n", "END");

  VKPrint(w, "T1", "%s%s[]\n", "CNKMODEL   ", info->modelName);
  VKPrintAscii(w, "%s\n", "START");
  VKPrint(w, "P1", "%s%s,\n", "VList      ", info->vertexName);
  VKPrint(w, "P1", "%s%s,\n", "PList      ", info->stripName);
  const float *centre = node->bbox.local.average;
  const float c[3] = {centre[0] * scale, centre[1] * scale, centre[2] * scale};
  const float radius = node->bbox.world.radius * scale;
  VKPrint(w, "!g$f$f$f", "%s%9.6fF, %9.6fF, %9.6fF,\n", "Center      ", static_cast<double>(c[0]),
          static_cast<double>(c[1]), static_cast<double>(c[2]));
  VKPrint(w, "!g$f", "%s%9.6fF,\n", "Radius      ", static_cast<double>(radius));
  VKPrintAscii(w, "%s\n\n", "END");
}

constexpr VKObjectRecordWords kObjectRecordWords{"CNKOBJECT  ", "CNKModel   ", false};

int WriteObjectSection(VKWriteInfo *info) {
  ScNodeList *list = info->nodeList;
  VKWriter &w = *info->writer;
  int result = 1;
  VKWriteBinChunkStart(w, kVKChunkVKCM);
  if (VKWriteGetMode(w) != kVKModeAscii) {
    for (int i = 0; i < list->node_n; ++i) {
      ScNode *node = list->slist[i];
      VKPrintAscii(w, "\n%s\n\n", "CNKOBJECT_START");
      VKSetNodeNames(info, node->node->name);
      if (!VKWriteObjectRecord(info, node, ScGetMesh(node->model) != nullptr, kObjectRecordWords)) result = 0;
      WriteModelBlock(info, node);
      VKPrintAscii(w, "%s\n\n\n", "CNKOBJECT_END");
    }
  } else {
    VKWriteInstancePrototypes(info, "CNKMODEL   ", "CNKOBJECT  ");
    for (int i = list->node_n - 1; i >= 0; --i) {
      ScNode *node = list->slist[i];
      VKPrintAscii(w, "\n%s\n\n", "CNKOBJECT_START");
      VKSetNodeNames(info, node->node->name);
      WriteModelBlock(info, node);
      if (!VKWriteObjectRecord(info, node, ScGetMesh(node->model) != nullptr, kObjectRecordWords)) result = 0;
      VKPrintAscii(w, "%s\n\n\n", "CNKOBJECT_END");
    }
  }
  VKWriteBinChunkEnd(w);
  return result;
}

const ScModel *FindOversizedModel(const ScModel *model) {
  for (; model; model = model->sibling) {
    if (model->hasMesh && model->mesh && model->mesh->nbVertex > kMaxChunkVertices) return model;
    if (const ScModel *found = FindOversizedModel(model->child)) return found;
  }
  return nullptr;
}

// The textures of the scene's materials as the texture list counts them:
// one per file name and palette bank.
void CollectTextures(const ScModel *model, std::set<std::pair<std::string, int32_t>> &textures) {
  for (; model; model = model->sibling) {
    const ScMaterials *m = model->materials;
    for (int k = 0; m && k < model->nbMaterial; ++k, m = m->next) {
      const ScTexture *t = m->textures;
      for (int x = 0; t && x < m->nbTexture; ++x, t = t->next) textures.emplace(t->picname ? t->picname : "", m->bank);
    }
    CollectTextures(model->child, textures);
  }
}

}  // namespace

void CompleteChunkOptions(uint32_t *chunkFlags, uint32_t *stripFlags, uint32_t *modelFlags) {
  *modelFlags |= vkopt::kModelAllToTri;
  switch (vkopt::VolumeMode(*chunkFlags)) {
    case vkopt::kChunkVolumePoly3:
      *stripFlags &= ~vkopt::kStripOn;
      break;
    case vkopt::kChunkVolumePoly34:
      *stripFlags |= vkopt::kStripSquare;
      break;
    default:
      *stripFlags |= vkopt::kStripOn;
      break;
  }
  *chunkFlags |= vkopt::kChunkModel;
}

VKStatus VKSceneFitsChunkModel(const ScObject *scene) {
  const ScModel *model = scene ? FindOversizedModel(scene->root) : nullptr;
  if (model) {
    return VKErrorStatus(VKStatusCode::kRefused,
                         "Error : Object %s has %d vertices; a Chunk model holds at most %d per object\n", model->name,
                         model->mesh->nbVertex, kMaxChunkVertices);
  }
  std::set<std::pair<std::string, int32_t>> textures;
  if (scene) CollectTextures(scene->root, textures);
  if (textures.size() > static_cast<size_t>(kMaxChunkTextures)) {
    return VKErrorStatus(VKStatusCode::kRefused, "Error : The model uses %d textures; a Chunk model holds at most %d\n",
                         static_cast<int>(textures.size()), kMaxChunkTextures);
  }
  return VKStatus{};
}

VKStatus VKWriteChunkModel(const VKWriteRequest &request) {
  VKWriter writer(request.hooks);
  VKWriteInfo info;
  VKInitWriteInfo(&info, request, 1, &writer);
  VKApplyMaterialTags(request.nodeList, info.flags);
  info.optimizeInfo = VKGetOptimizeInfo(request.nodeList, request.chunkFlags);
  VKMakeStrips(request.nodeList, info.optimizeInfo);
  const VKStatus status = VKWriteModelFiles(&info, {WriteObjectSection, false});
  VKFreeOptimizeInfo(info.optimizeInfo);
  return status;
}
