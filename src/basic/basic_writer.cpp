// The Basic-model writer: the output run (write info, material tags,
// optimize info, strips, the check against the format's limits) and the
// object section with its per-object blocks, in ASCII (last object first) or
// binary (first object first) order, inside the files that
// chunk/model_file.h writes.
#include "basic/basic_writer.h"

#include "base/console.h"
#include "basic/basic_internal.h"
#include "binary/vkprint.h"
#include "chunk/model_file.h"
#include "chunk/write_start.h"
#include "process/nodelist.h"
#include "process/optimize.h"
#include "process/strips.h"
#include "process/tags.h"
#include "scene/records.h"

namespace {

constexpr VKObjectRecordWords kObjectRecordWords{"OBJECT      ", "Model       ", true};

// A mesh without points or polygons is written as no model at all.
bool ModelCheck(const ScNode *node) {
  const ScMesh *mesh = ScGetMesh(node->model);
  if (!mesh) return false;
  if (mesh->nbVertex == 0 || mesh->nbPolygon == 0) {
    PrintWarning("Warning : Bad mesh polygon count zero : %s\n", node->model->name);
    return false;
  }
  return true;
}

void WriteDefaultMaterials(const VKWriteInfo *info) {
  const int count = info->nodeList->nomat_model_n;
  if (count == 0) return;
  PrintInfo("[NO MATERIAL MODELS %d] ", count);
  WriteBasicDefaultMaterialList(info);
}

// One object: its model and its record, in the mode's order.
int WriteObject(VKWriteInfo *info, ScNode *node, bool ascii) {
  VKWriter &w = *info->writer;
  VKPrintAscii(w, "\n%s\n\n", "OBJECT_START");
  VKSetNodeNames(info, node->node->name);
  const bool hasModel = ModelCheck(node);
  int result = 1;
  if (ascii) {
    WriteBasicModel(info, node, hasModel);
    result = VKWriteObjectRecord(info, node, hasModel, kObjectRecordWords);
  } else {
    result = VKWriteObjectRecord(info, node, hasModel, kObjectRecordWords);
    WriteBasicModel(info, node, hasModel);
  }
  VKPrintAscii(w, "%s\n\n\n", "OBJECT_END");
  return result;
}

int WriteObjectSection(VKWriteInfo *info) {
  ScNodeList *list = info->nodeList;
  VKWriter &w = *info->writer;
  int result = 1;
  VKWriteBinChunkStart(w, kVKChunkVKBM);
  if (VKWriteGetMode(w) == kVKModeAscii) {
    VKWriteInstancePrototypes(info, "MODEL       ", "OBJECT      ");
    WriteDefaultMaterials(info);
    for (int i = list->node_n - 1; i >= 0; --i)
      if (!WriteObject(info, list->slist[i], true)) result = 0;
  } else {
    for (int i = 0; i < list->node_n; ++i)
      if (!WriteObject(info, list->slist[i], false)) result = 0;
    WriteDefaultMaterials(info);
  }
  VKWriteBinChunkEnd(w);
  return result;
}

}  // namespace

VKStatus VKWriteBasicModel(const VKWriteRequest &request) {
  VKWriter writer(request.hooks);
  VKWriteInfo info;
  VKInitWriteInfo(&info, request, 0, &writer);
  VKApplyMaterialTags(request.nodeList, info.flags);
  info.optimizeInfo = VKGetOptimizeInfo(request.nodeList, request.chunkFlags);
  VKMakeStrips(request.nodeList, info.optimizeInfo);
  VKStatus status = BasicNodeListFits(&info);
  if (status.ok()) status = VKWriteModelFiles(&info, {WriteObjectSection, true});
  VKFreeOptimizeInfo(info.optimizeInfo);
  return status;
}
