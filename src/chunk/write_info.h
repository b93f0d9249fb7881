// The record of one model-file output run, shared by the Chunk-model writer,
// the Basic-model writer and the texture-list section writer.
#pragma once

#include <cstdint>
#include <cstdio>

struct ScNodeList;
struct ScNode;
struct VKOptimizeInfo;
struct GlobalIndexBlock;

// Output flags of the write info.
namespace vkflag {
constexpr uint32_t kBinary = 0x00000004;
constexpr uint32_t kBinDebug = 0x00000008;
constexpr uint32_t kTexn3 = 0x00000080;
constexpr uint32_t kDeleteAmbient = 0x00000100;
constexpr uint32_t kDeleteAllMaterials = 0x00000200;
constexpr uint32_t kDeleteTexMaterials = 0x00000400;
constexpr uint32_t kPolyColourToUserFlag = 0x00000800;
constexpr uint32_t kVertexColourToUserFlag = 0x00001000;
constexpr uint32_t kEnvUv = 0x00004000;
constexpr uint32_t kIgnoreEnv = 0x00008000;
constexpr uint32_t kUvHigh = 0x00020000;
constexpr uint32_t kIgnoreDiffuse = 0x00040000;
constexpr uint32_t kSourceKind1 = 0x00180000;
constexpr uint32_t kTexListSection = 0x00400000;
constexpr uint32_t kObjectSection = 0x00800000;
constexpr uint32_t kPolyVertexColour = 0x02000000;
constexpr uint32_t kNoVertexColour = 0x01000000;  // per-material word only
constexpr uint32_t kPolyVertexNormal = 0x04000000;
constexpr uint32_t kPolyNormal = 0x10000000;
constexpr uint32_t kForceTexture = 0x20000000;
constexpr uint32_t kTextures = 0x40000000;
constexpr uint32_t kMaterialTags = 0x80000000;
}  // namespace vkflag

struct VKWriteInfo {
  ScNodeList *nodeList;
  const char *inputName;
  char *outputName;
  char openedPath[256];
  char texturePath[256];
  char defaultMaterialName[256];
  GlobalIndexBlock *globalIndex;
  FILE *file;
  VKOptimizeInfo *optimizeInfo;
  uint32_t flags;
  char baseName[256];
  int32_t sourceKind;
  uint32_t chunkModel;
  uint32_t chunkFlags;
  char objectBase[256];
  char modelName[256];
  char vertexName[256];
  char stripName[256];
  char objectName[256];
};

// Fills the write info from the node list's option words and chunkFlags and
// prints the option report. Returns 0, touching nothing, when the node list
// or the output name is missing; else 1.
int VKInitWriteInfo(VKWriteInfo *info, ScNodeList *nodeList, const char *inputName,
                    char *outputName, GlobalIndexBlock *globalIndex,
                    const char *texturePath, uint32_t chunkFlags, uint32_t chunkModel);

// Rewrites the five per-node names (object base, model, vertex, strip and
// object name) for the node's object.
void VKSetNodeNames(VKWriteInfo *info, const char *objectName);
