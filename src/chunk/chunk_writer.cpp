// The Chunk-model file writer: output files, header comment, instance
// prototypes, per-object blocks (strip list, vertex list, model record,
// object record) and the DEFAULT block, in ASCII (last object first) or
// binary (first object first) order.
#include "chunk/chunk_writer.h"

#include <cstdio>
#include <string>

#include "base/console.h"
#include "base/file_names.h"
#include "base/flags.h"
#include "base/numbers.h"
#include "base/version.h"
#include "binary/vkprint.h"
#include "binary/write_info.h"
#include "chunk/emit.h"
#include "chunk/write_start.h"
#include "process/geometry.h"
#include "process/nodelist.h"
#include "process/optimize.h"
#include "process/strips.h"
#include "process/tags.h"
#include "scene/records.h"

namespace {


struct SourceTag {
  int32_t kind;
  const char *tag;
};
constexpr SourceTag kSourceTags[] = {{0, "(SI)"}, {1, "(AW)"},  {5, "(LW)"},
                                     {6, "(MAX)"}, {7, "(VKA)"}, {8, "(VKALW)"}};

const char *SourceTagOf(int32_t kind) {
  for (const SourceTag &entry : kSourceTags)
    if (entry.kind == kind) return entry.tag;
  return "";
}

std::string Joined(const char *prefix, const char *base, const char *name) {
  return std::string(prefix) + "_" + base + "_" + (name ? name : "");
}

bool IsZero(const float v[3]) {
  static constexpr float kZero[3] = {0, 0, 0};
  return ScVectorEqual(v, kZero);
}
bool IsOne(const float v[3]) {
  static constexpr float kOne[3] = {1, 1, 1};
  return ScVectorEqual(v, kOne);
}

// Degrees as the object record prints them.
double Degrees(float radians) { return radians * 180.0 / kVKDegreesPi; }

// A binary angle: 65536 per turn, truncated toward zero.
int32_t BinaryAngle(float radians) {
  const double value = Degrees(radians) * kVKBinaryAnglePerDegree;
  if (!(value > -2147483648.0 && value < 2147483647.0)) return 0;
  return static_cast<int32_t>(value);
}

int TextureCount(const VKWriteInfo *info) { return info->optimizeInfo->uniqueTextureCount; }

// ---- Header and DEFAULT block ----------------------------------------------------------
void WriteHeader(const VKWriteInfo *info) {
  VKWriter &w = *info->writer;
  const uint32_t section = info->flags & vkflag::kSectionMask;
  const char *kind = "VKA";
  const char *format = info->chunkModel ? "VorkaAsciiDataMix CnkModel" : "VorkaAsciiDataMix";
  if (section == vkflag::kTexListSection) {
    kind = "VAT";
    format = "VorkaAsciiTexture";
  } else if (section == vkflag::kObjectSection) {
    kind = "VAD";
    format = "VorkaAsciiModel";
  }
  VKPrintAscii(w, "/* %s %s%s %s %s */\n", kind, kVKVersion, kVKVersionSuffix, format, SourceTagOf(info->sourceKind));
  VKPrintAscii(w, "\n");
  const ScNodeList *list = info->nodeList;
  if ((info->flags & vkflag::kObjectSection) && list->node_n > 0)
    VKPrintAscii(w, "/* %sobject_%s_%s n(%d) d(%d) */\n", "ROOT OBJECT : ", info->baseName, list->slist[0]->node->name,
                 list->node_n, list->max_depth + 1);
  if ((info->flags & vkflag::kTexListSection) && TextureCount(info) > 0)
    VKPrintAscii(w, "/* %stexlist_%s n(%d) */\n", "TEXLIST     : ", info->baseName, TextureCount(info));
  VKPrintAscii(w, "\n");
}

void WriteDefaultBlock(const VKWriteInfo *info) {
  VKWriter &w = *info->writer;
  VKPrintAscii(w, "DEFAULT_START\n\n");
  const ScNodeList *list = info->nodeList;
  if ((info->flags & vkflag::kObjectSection) && list->node_n > 0) {
    VKPrintAscii(w, "#ifndef DEFAULT_OBJECT_NAME\n");
    VKPrintAscii(w, "#define DEFAULT_OBJECT_NAME object_%s_%s\n", info->baseName, list->slist[0]->node->name);
    VKPrintAscii(w, "#endif\n");
  }
  if ((info->flags & vkflag::kTexListSection) && TextureCount(info) > 0) {
    VKPrintAscii(w, "#ifndef DEFAULT_TEXLIST_NAME\n");
    VKPrintAscii(w, "#define DEFAULT_TEXLIST_NAME texlist_%s\n", info->baseName);
    VKPrintAscii(w, "#endif\n");
  }
  VKPrintAscii(w, "\nDEFAULT_END\n\n");
}

// The texture-list section: written by the texture conversion, which this
// program does not have yet; its place stays empty.
void WriteTextureListSection(VKWriteInfo *) {}

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

void WriteNullPointer(VKWriter &w, const char *label) {
  VKPrintAscii(w, "%s%s,\n", label, "NULL");
  VKPrintBin(w, "I", 0);
}

uint32_t EvaluationFlags(const VKWriteInfo *info, const ScNode *node, const ScNode *source) {
  uint32_t flags = 0;
  if (IsZero(node->trans)) flags |= vkeval::kZeroTranslation;
  if (IsZero(node->rot)) flags |= vkeval::kZeroRotation;
  if (IsOne(node->scaling)) flags |= vkeval::kUnitScale;
  if (!ScGetMesh(source->model)) flags |= vkeval::kNoModel;
  if (!source->child) flags |= vkeval::kNoChild;
  if (info->sourceKind == 5 || info->sourceKind == 8) flags |= vkeval::kSourceAngles;
  const ScModel *model = source->model;
  int n = 0;
  for (const ScMaterials *material = model->materials; material && n < model->nbMaterial;
       material = material->next, ++n)
    flags |= material->evalFlags;
  return flags;
}

// Returns 0 for an instance object whose prototype was not found.
int WriteObjectRecord(VKWriteInfo *info, ScNode *node) {
  const ScModel *model = node->model;
  const bool instance = model->instroot != nullptr;
  const ScNode *prototype = instance ? node->inst_src : nullptr;
  int result = 1;
  if (instance && !prototype) {
    PrintError("Error : Illegal instance object : %s\n", model->name);
    result = 0;
  }
  VKWriter &w = *info->writer;
  const float scale = info->globalScale;
  if (prototype)
    VKPrint(w, "T1", "%s%s[] %s\n", "CNKOBJECT  ", info->objectName, "/* INSTANCE_OBJECT */");
  else
    VKPrint(w, "T1", "%s%s[]\n", "CNKOBJECT  ", info->objectName);
  VKPrintAscii(w, "%s\n", "START");
  VKPrint(w, "!g$I", "%s( 0x%08x ),\n", "EvalFlags ", EvaluationFlags(info, node, prototype ? prototype : node));

  if (ScGetMesh(node->model)) {
    VKPrint(w, "P1", "%s%s,\n", "CNKModel   ", info->modelName);
  } else if (prototype) {
    const std::string name = Joined("model", info->baseName, prototype->node->name);
    VKPrint(w, "P1", "%s%s, %s\n", "CNKModel   ", name.c_str(), "/* instance */");
  } else {
    WriteNullPointer(w, "CNKModel   ");
  }

  const float p[3] = {node->trans[0] * scale, node->trans[1] * scale, node->trans[2] * scale};
  VKPrint(w, "!g$f$f$f", "%s( %9.6fF, %9.6fF, %9.6fF ),\n", "OPosition  ", static_cast<double>(p[0]),
          static_cast<double>(p[1]), static_cast<double>(p[2]));
  VKPrintAscii(w, "%s( %9.6fF, %9.6fF, %9.6fF ),\n", "OAngle     ", Degrees(node->rot[0]), Degrees(node->rot[1]),
               Degrees(node->rot[2]));
  VKPrintBin(w, "$i$i$i", BinaryAngle(node->rot[0]), BinaryAngle(node->rot[1]), BinaryAngle(node->rot[2]));
  const float *s = model->OScale;
  VKPrint(w, "!g$f$f$f", "%s( %9.6fF, %9.6fF, %9.6fF ),\n", "OScale     ", static_cast<double>(s[0]),
          static_cast<double>(s[1]), static_cast<double>(s[2]));

  const ScNode *child = prototype ? prototype->child : node->child;
  if (child) {
    const std::string name = Joined("object", info->baseName, child->node->name);
    if (prototype)
      VKPrint(w, "P1", "%s%s, %s\n", "Child       ", name.c_str(), "/* instance */");
    else
      VKPrint(w, "P1", "%s%s,\n", "Child       ", name.c_str());
  } else {
    WriteNullPointer(w, "Child       ");
  }
  if (const ScNode *sibling = node->sibling) {
    const std::string name = Joined("object", info->baseName, sibling->node->name);
    VKPrint(w, "P1", "%s%s,\n", "Sibling     ", name.c_str());
  } else {
    WriteNullPointer(w, "Sibling     ");
  }
  VKPrintAscii(w, "%s\n\n", "END");
  return result;
}

void WriteInstancePrototypes(const VKWriteInfo *info) {
  const ScNodeList *list = info->nodeList;
  if (list->inst_obj_n == 0) return;
  VKWriter &w = *info->writer;
  VKPrintAscii(w, "/* INSTANCE OBJECT COUNT %d */\n", list->inst_obj_n);
  VKPrintAscii(w, "%s\n\n", "INSTANCE_PROTOTYPE_START");
  for (int i = list->node_n - 1; i >= 0; --i) {
    const ScNode *node = list->slist[i];
    if (node->inst_n != 0)
      VKPrintAscii(w, "extern %s%s[];\n", "CNKMODEL   ", Joined("model", info->baseName, node->node->name).c_str());
    if (node->child_inst_n != 0)
      VKPrintAscii(w, "extern %s%s[];\n", "CNKOBJECT  ", Joined("object", info->baseName, node->node->name).c_str());
  }
  VKPrintAscii(w, "\n%s\n\n\n", "INSTANCE_PROTOTYPE_END");
}

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
      if (!WriteObjectRecord(info, node)) result = 0;
      WriteModelBlock(info, node);
      VKPrintAscii(w, "%s\n\n\n", "CNKOBJECT_END");
    }
  } else {
    WriteInstancePrototypes(info);
    for (int i = list->node_n - 1; i >= 0; --i) {
      ScNode *node = list->slist[i];
      VKPrintAscii(w, "\n%s\n\n", "CNKOBJECT_START");
      VKSetNodeNames(info, node->node->name);
      WriteModelBlock(info, node);
      if (!WriteObjectRecord(info, node)) result = 0;
      VKPrintAscii(w, "%s\n\n\n", "CNKOBJECT_END");
    }
  }
  VKWriteBinChunkEnd(w);
  return result;
}

// ---- Files ----------------------------------------------------------------------------------
VKStatus OpenOutput(VKWriteInfo *info, const char *suffix) {
  VKWriter &w = *info->writer;
  std::snprintf(info->openedPath, sizeof info->openedPath, "%s", info->outputName);
  if (suffix) ReplaceSuffix(info->openedPath, suffix);
  if (VKStatus status = VKWriteOpenFile(w, info->openedPath); !status.ok()) {
    PrintError("Error : Can't write file!! (%s)\n", info->openedPath);
    return status;
  }
  if (info->flags & vkflag::kBinDebug)
    VKWriteSetBinDebug(w);
  else if (info->flags & vkflag::kBinary)
    VKWriteSetBin(w);
  return VKStatus{};
}

bool ShowsTextureList(const VKWriteInfo *info) {
  return (info->flags & vkflag::kTexListSection) && !(info->chunkFlags & vkopt::kChunkVolumeMask);
}

const ScModel *FindOversizedModel(const ScModel *model) {
  for (; model; model = model->sibling) {
    if (model->hasMesh && model->mesh && model->mesh->nbVertex > kMaxChunkVertices) return model;
    if (const ScModel *found = FindOversizedModel(model->child)) return found;
  }
  return nullptr;
}

// The files of one run: the model file, and with -septex the data file and
// the texture-list file. The info's flags are the run's again afterwards.
VKStatus WriteFiles(VKWriteInfo *info) {
  VKWriter &w = *info->writer;
  const bool separate = (info->nodeList->optionbits2 & vkopt::kOutSeparateTexList) != 0;
  const bool binary = (info->flags & vkflag::kBinary) != 0;
  const VKModelSuffixes &suffixes = binary ? kVKBinarySuffixes : kVKAsciiSuffixes;
  const char *dataSuffix = separate ? suffixes.data : suffixes.model;
  if (VKStatus status = OpenOutput(info, dataSuffix); !status.ok()) return status;
  const uint32_t saved = info->flags;
  if (separate) info->flags &= ~vkflag::kTexListSection;
  WriteHeader(info);
  if (ShowsTextureList(info)) WriteTextureListSection(info);
  int objects = 1;
  if (info->flags & vkflag::kObjectSection) objects = WriteObjectSection(info);
  WriteDefaultBlock(info);
  info->flags = saved;
  if (VKStatus status = VKWriteClose(w); !status.ok()) return status;
  if (!objects) return VKReportedStatus(VKStatusCode::kBadObject);
  if (!separate) return VKStatus{};

  if (TextureCount(info) == 0) {
    PrintInfo("[There is no texture]");
    return VKStatus{};
  }
  if (VKStatus status = OpenOutput(info, suffixes.texList); !status.ok()) return status;
  info->flags &= ~vkflag::kObjectSection;
  WriteHeader(info);
  if (ShowsTextureList(info)) WriteTextureListSection(info);
  WriteDefaultBlock(info);
  info->flags = saved;
  return VKWriteClose(w);
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
  if (!model) return VKStatus{};
  return VKErrorStatus(VKStatusCode::kRefused,
                       "Error : Object %s has %d vertices; a Chunk model holds at most %d per object\n", model->name,
                       model->mesh->nbVertex, kMaxChunkVertices);
}

VKStatus VKWriteChunkModel(const VKWriteRequest &request) {
  VKWriter writer(request.hooks, request.outputs);
  VKWriteInfo info;
  VKInitWriteInfo(&info, request, 1, &writer);
  VKApplyMaterialTags(request.nodeList, info.flags);
  info.optimizeInfo = VKGetOptimizeInfo(request.nodeList, request.chunkFlags);
  VKMakeStrips(request.nodeList, info.optimizeInfo);
  const VKStatus status = WriteFiles(&info);
  VKFreeOptimizeInfo(info.optimizeInfo);
  return status;
}
