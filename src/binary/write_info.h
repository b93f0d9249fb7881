// The record of one model-file output run, shared by the model writers (the
// Chunk-model and the Basic-model writer) and the texture-list section
// writer, and what the driver hands a model writer.
#pragma once

#include <cstdint>

struct ScNodeList;
struct VKOptimizeInfo;
struct VKRunRecord;
struct VKWriterHooks;
class VKWriter;
class VKOutputSet;

// The global-index block handed to the writers: the -gibase value, the four
// motion tolerances, and the counter that the texture-list writer reads and
// advances (it starts at gibase).
struct GlobalIndexBlock {
  int32_t gibase;
  float motionTolerance[4];
  int32_t counter;
};

// Suffixes of the files a model writer writes: one model file, or with
// -septex a model data file and a texture-list file (ASCII keeps the output
// name's own suffix for the single file).
struct VKModelSuffixes {
  const char *model;    // null: the output name as it is
  const char *data;
  const char *texList;
};
constexpr VKModelSuffixes kVKAsciiSuffixes{nullptr, ".vad", ".vat"};
constexpr VKModelSuffixes kVKBinarySuffixes{".vk", ".vkd", ".vkt"};

// What the driver hands a model writer for one run.
struct VKWriteRequest {
  ScNodeList *nodeList;
  const char *inputName;
  char *outputName;             // the output file name; writers derive theirs from it
  GlobalIndexBlock *globalIndex;
  const char *texturePath;
  uint32_t chunkFlags;
  float globalScale;            // -gscale, 1.0 by default
  const VKWriterHooks *hooks;   // null: the standard file operations
  VKOutputSet *outputs;         // the run's outputs, committed by the driver; null: each file at its close
};

struct VKWriteInfo {
  ScNodeList *nodeList;
  const char *inputName;
  char *outputName;
  char openedPath[256];
  char texturePath[256];
  char defaultMaterialName[256];
  GlobalIndexBlock *globalIndex;
  VKWriter *writer;             // the dual print of the run, owned by the model writer
  VKRunRecord *record;          // what the run reads and writes (the request's hooks'); may be null
  VKOptimizeInfo *optimizeInfo;
  uint32_t flags;               // vkflag bits (base/flags.h)
  char baseName[256];
  int32_t sourceKind;
  uint32_t chunkModel;
  uint32_t chunkFlags;
  float globalScale;
  char objectBase[256];
  char modelName[256];
  char vertexName[256];
  char stripName[256];
  char objectName[256];
  uint32_t clampWarned;         // vkclamp kinds clamped and warned about in this run
};

// Rewrites the five per-node names (object base, model, vertex, strip and
// object name) for the node's object.
void VKSetNodeNames(VKWriteInfo *info, const char *objectName);
