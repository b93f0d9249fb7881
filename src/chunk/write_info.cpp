// The write-info initializer shared by the model writers.
#include "chunk/write_info.h"

#include <cstdio>
#include <cstring>
#include <string>

#include "frontend/console.h"
#include "frontend/options.h"
#include "process/nodelist.h"
#include "process/tags.h"
#include "scene/records.h"

namespace {

void CopyName(char (&target)[256], const char *text) {
  std::snprintf(target, sizeof target, "%s", text ? text : "");
}

// "%s_%s" and the like into a 256-byte name; longer results are cut.
void JoinName(char (&target)[256], const char *prefix, const char *separator, const char *name) {
  std::string joined = std::string(prefix) + separator + name;
  CopyName(target, joined.c_str());
}

}  // namespace

int VKInitWriteInfo(VKWriteInfo *info, ScNodeList *nodeList, const char *inputName, char *outputName,
                    GlobalIndexBlock *globalIndex, const char *texturePath, uint32_t chunkFlags,
                    uint32_t chunkModel) {
  if (!nodeList || !outputName) return 0;
  *info = VKWriteInfo{};
  info->nodeList = nodeList;
  info->inputName = inputName;
  info->outputName = outputName;
  CopyName(info->openedPath, outputName);
  CopyName(info->texturePath, texturePath);
  info->globalIndex = globalIndex;
  info->sourceKind = nodeList->scene ? nodeList->scene->kind : 0;
  info->chunkModel = chunkModel;
  info->chunkFlags = chunkFlags;
  info->flags = VKMakeWriteFlags(nodeList->optionbits, nodeList->optionbits2, chunkFlags, info->sourceKind);
  // Base name: the output name cut at its last '.', then after its last
  // directory separator.
  char cut[kNameSize];
  CopyName(cut, outputName);
  StripSuffix(cut);
  CopyName(info->baseName, BaseName(cut));
  JoinName(info->defaultMaterialName, "defmat", "_", info->baseName);
  PrintOptionReport(nodeList, chunkFlags);
  return 1;
}

void VKSetNodeNames(VKWriteInfo *info, const char *objectName) {
  JoinName(info->objectBase, info->baseName, "_", objectName ? objectName : "");
  JoinName(info->modelName, "model", "_", info->objectBase);
  JoinName(info->vertexName, "vertex", "_", info->objectBase);
  JoinName(info->stripName, "strip", "_", info->objectBase);
  JoinName(info->objectName, "object", "_", info->objectBase);
}
