// The write-info initializer shared by the model writers, and the option
// report it prints.
#include "chunk/write_start.h"

#include <cstdio>
#include <string>

#include "base/console.h"
#include "base/file_names.h"
#include "base/flags.h"
#include "binary/vkprint.h"
#include "chunk/encoding.h"
#include "process/nodelist.h"
#include "process/tags.h"
#include "scene/records.h"

using namespace vkopt;

namespace {

void CopyName(char (&target)[256], const char *text) {
  std::snprintf(target, sizeof target, "%s", text ? text : "");
}

bool LabelCharacter(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_';
}

// Every label the writers make starts with the base name: a character that
// cannot stand in one (anything but letters, digits and "_") becomes "_",
// keeping the length and so the reader's prefix rule. One warning.
void MakeLabelBase(char (&baseName)[256], const char *fileName) {
  const std::string original = baseName;
  bool changed = false;
  for (char *c = baseName; *c != '\0'; ++c) {
    if (!LabelCharacter(*c)) *c = '_', changed = true;
  }
  if (changed) {
    PrintWarning("Warning : The base name \"%s\" of %s can't stand in a label; labels use \"%s\"\n",
                 original.c_str(), fileName, baseName);
  }
}

// Condition -> tag rows of the chunk report that test a single bit.
struct BitTag {
  uint32_t bit;
  const char *tag;
};

constexpr BitTag kChunkBitTagsBeforeUv[] = {
    {kChunkVertexComments, "[VLIST COMMENT] "},
};

constexpr BitTag kChunkBitTagsAfterMaterials[] = {
    {kChunkVertexColourToUserFlag, "[VCOLOR TO USERFLAG] "},
    {kChunkPolyColourToUserFlag, "[PCOLOR TO USERFLAG] "},
    {kChunkEnvUv, "[PRINT ENVUV] "},
};

// Volume mode -> tag (mode 0 prints nothing).
constexpr const char *kVolumeTags[] = {nullptr, "[VOLUMES] ", "[VOLUME3] ", "[VOLUME34] "};

void PrintChunkReport(uint32_t chunkFlags) {
  const VKChunkKind *type = VKFindVertexType(chunkFlags);
  if (type == nullptr) {
    PrintWarning("Warning : Bad CnkV type\n");
    return;
  }
  PrintInfo("[ChunkV Type %s] ", type->name.data());
  for (const BitTag &row : kChunkBitTagsBeforeUv) {
    if ((chunkFlags & row.bit) != 0) PrintInfo("%s", row.tag);
  }
  if ((chunkFlags & kChunkUvHigh) != 0) {
    PrintInfo("[UVH(0-1023)] ");
  } else {
    PrintInfo("[UVN(0-255)] ");
  }
  if ((chunkFlags & kChunkDeleteAllMaterials) != 0) {
    PrintInfo("[DELETE ALL MATERIALS] ");
  } else if ((chunkFlags & kChunkDeleteTexMaterials) != 0) {
    PrintInfo("[DELETE TEXTURE MATERIALS] ");
  }
  for (const BitTag &row : kChunkBitTagsAfterMaterials) {
    if ((chunkFlags & row.bit) != 0) PrintInfo("%s", row.tag);
  }
  const char *volume = kVolumeTags[VolumeMode(chunkFlags)];
  if (volume != nullptr) PrintInfo("%s", volume);
  if ((chunkFlags & kChunkDeleteAmbient) != 0) PrintInfo("[DELETE AMBIENT] ");
}

}  // namespace

void VKInitWriteInfo(VKWriteInfo *info, const VKWriteRequest &request, uint32_t chunkModel, VKWriter *writer) {
  ScNodeList *nodeList = request.nodeList;
  *info = VKWriteInfo{};
  info->nodeList = nodeList;
  info->inputName = request.inputName;
  info->outputName = request.outputName;
  CopyName(info->openedPath, request.outputName);
  CopyName(info->texturePath, request.texturePath);
  info->globalIndex = request.globalIndex;
  info->writer = writer;
  info->record = request.hooks != nullptr ? request.hooks->record : nullptr;
  info->sourceKind = nodeList->scene ? nodeList->scene->kind : 0;
  info->chunkModel = chunkModel;
  info->chunkFlags = request.chunkFlags;
  info->globalScale = request.globalScale;
  info->flags = VKMakeWriteFlags(nodeList->optionbits, nodeList->optionbits2, request.chunkFlags, info->sourceKind);
  // Base name: the output name cut at its last '.', then after its last
  // directory separator.
  char cut[kNameSize];
  CopyName(cut, request.outputName);
  StripSuffix(cut);
  CopyName(info->baseName, BaseName(cut));
  MakeLabelBase(info->baseName, request.outputName);
  CopyName(info->defaultMaterialName, (std::string("defmat_") + info->baseName).c_str());
  PrintOptionReport(nodeList, request.chunkFlags);
}

void PrintOptionReport(const ScNodeList *nodeList, uint32_t chunkFlags) {
  if (nodeList == nullptr) return;
  PrintOptionReportWords(nodeList->optionbits, nodeList->optionbits2, nodeList->infobits, chunkFlags);
}

void PrintOptionReportWords(uint32_t modelFlags, uint32_t outputFlags, uint32_t infoBits, uint32_t chunkFlags) {
  if ((outputFlags & kOutSeparateTexList) != 0) PrintInfo("[SEPARATE TEXLIST] ");
  if ((modelFlags & kModelNoTexture) != 0) PrintInfo("[IGNORE TEXTURE] ");
  if ((outputFlags & kOutBinDebug) != 0) {
    PrintInfo("[BIN DEBUG] ");
  } else if ((outputFlags & kOutBinary) != 0) {
    PrintInfo("[BIN] ");
  }
  if ((modelFlags & kModelNoEnv) != 0) PrintInfo("[IGNORE ENV] ");
  if ((outputFlags & kOutNoDiffuse) != 0) PrintInfo("[IGNORE DIFFUSE] ");
  if ((chunkFlags & kChunkModel) != 0) PrintChunkReport(chunkFlags);
  if ((modelFlags & kModelNoFlags) == 0) PrintInfo("[MATERIAL NAME] ");
  if ((modelFlags & kModelForceTexture) != 0) PrintInfo("[FORCE TEXTURE] ");
  if ((modelFlags & kModelPolyNormal) != 0) PrintInfo("[POLYGON NORMAL] ");
  if ((outputFlags & kOutPolyVertexNormal) != 0) PrintInfo("[POLYGON VERTEX NORMAL] ");
  if ((outputFlags & kOutPolyVertexColour) != 0) PrintInfo("[POLYGON VERTEX COLOR] ");
  if ((outputFlags & kOutTexn3) != 0) PrintInfo("[USE TEXN3 MACRO] ");
  if ((modelFlags & kModelFreezeTrs) == 0 && (infoBits & kScInfoScaled) != 0) {
    if ((modelFlags & kModelFreezeMask) == 0 || (modelFlags & kModelFreezeTrr) != 0) {
      PrintInfo("[TYPE A] ");
      PrintWarning("Warning : You must do scale freeze for motion !\n");
    } else if ((modelFlags & kModelFreezeTrt) != 0) {
      PrintInfo("[TYPE B] ");
      PrintWarning("Warning : You must do scale freeze for motion !\n");
    }
  }
}
