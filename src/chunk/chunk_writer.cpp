// The Chunk-model file writer: output files, header comment, instance
// prototypes, per-object blocks (strip list, vertex list, model record,
// object record) and the DEFAULT block, in ASCII (last object first) or
// binary (first object first) order.
#include "chunk/chunk_writer.h"

#include <cstring>
#include <string>

#include "binary/vkprint.h"
#include "chunk/emit.h"
#include "chunk/write_info.h"
#include "frontend/console.h"
#include "frontend/options.h"
#include "process/geometry.h"
#include "process/nodelist.h"
#include "process/optimize.h"
#include "process/strips.h"
#include "process/tags.h"
#include "scene/records.h"

namespace {

constexpr const char *kVersion = "0.86";
constexpr const char *kVersionSuffix = "alpha1";
constexpr uint32_t kSeparateTexList = 0x01000000;  // outputFlags: -septex
constexpr uint32_t kVolumeModes = 0x06000000;      // chunkFlags

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
double Degrees(float radians) { return radians * 180.0 / 3.141592; }

// A binary angle: 65536 per turn, truncated toward zero.
int32_t BinaryAngle(float radians) {
  const double value = Degrees(radians) * 182.04444444444445;
  if (!(value > -2147483648.0 && value < 2147483647.0)) return 0;
  return static_cast<int32_t>(value);
}

int TextureCount(const VKWriteInfo *info) { return info->optimizeInfo->uniqueTextureCount; }

// ---- Header and DEFAULT block ----------------------------------------------------------
void WriteHeader(const VKWriteInfo *info) {
  const uint32_t section = info->flags & 0x00E00000;
  const char *kind = "VKA";
  const char *format = info->chunkModel ? "VorkaAsciiDataMix CnkModel" : "VorkaAsciiDataMix";
  if (section == vkflag::kTexListSection) {
    kind = "VAT";
    format = "VorkaAsciiTexture";
  } else if (section == vkflag::kObjectSection) {
    kind = "VAD";
    format = "VorkaAsciiModel";
  }
  VKPrintAscii("/* %s %s%s %s %s */\n", kind, kVersion, kVersionSuffix, format, SourceTagOf(info->sourceKind));
  VKPrintAscii("\n");
  const ScNodeList *list = info->nodeList;
  if ((info->flags & vkflag::kObjectSection) && list->node_n > 0)
    VKPrintAscii("/* %sobject_%s_%s n(%d) d(%d) */\n", "ROOT OBJECT : ", info->baseName, list->slist[0]->node->name,
                 list->node_n, list->max_depth + 1);
  if ((info->flags & vkflag::kTexListSection) && TextureCount(info) > 0)
    VKPrintAscii("/* %stexlist_%s n(%d) */\n", "TEXLIST     : ", info->baseName, TextureCount(info));
  VKPrintAscii("\n");
}

void WriteDefaultBlock(const VKWriteInfo *info) {
  VKPrintAscii("DEFAULT_START\n\n");
  const ScNodeList *list = info->nodeList;
  if ((info->flags & vkflag::kObjectSection) && list->node_n > 0) {
    VKPrintAscii("#ifndef DEFAULT_OBJECT_NAME\n");
    VKPrintAscii("#define DEFAULT_OBJECT_NAME object_%s_%s\n", info->baseName, list->slist[0]->node->name);
    VKPrintAscii("#endif\n");
  }
  if ((info->flags & vkflag::kTexListSection) && TextureCount(info) > 0) {
    VKPrintAscii("#ifndef DEFAULT_TEXLIST_NAME\n");
    VKPrintAscii("#define DEFAULT_TEXLIST_NAME texlist_%s\n", info->baseName);
    VKPrintAscii("#endif\n");
  }
  VKPrintAscii("\nDEFAULT_END\n\n");
}

// The texture-list section: written by the texture conversion, which this
// program does not have yet; its place stays empty.
void WriteTextureListSection(VKWriteInfo *) {}

// ---- Object section -----------------------------------------------------------------------
void WriteModelBlock(VKWriteInfo *info, ScNode *node) {
  const ScMesh *mesh = ScGetMesh(node->model);
  if (!mesh) return;
  const float scale = GlobalScale();
  VKPrint("T123", "%s%s%s%s[]\n", "PLIST      ", "strip", "_", info->objectBase);
  VKPrintAscii("%s\n", "START");
  VKWritePolygonChunks(info, &info->optimizeInfo->mnlist[node->nameId], mesh);
  VKPrintAscii("\t%s()\n", "CnkEnd");
  VKPrintBin("$s", 255);
  VKPrintAscii("%s\n\n", "END");

  VKPrint("T1", "%s%s[]\n", "VLIST      ", info->vertexName);
  VKPrintAscii("%s\n", "START");
  VKWriteVertexChunks(info, mesh);
  VKPrintAscii("\t%s()\n", "CnkEnd");
  VKPrintBin("$i", 255);
  VKPrintAscii("%s\n\n", "END");

  VKPrint("T1", "%s%s[]\n", "CNKMODEL   ", info->modelName);
  VKPrintAscii("%s\n", "START");
  VKPrint("P1", "%s%s,\n", "VList      ", info->vertexName);
  VKPrint("P1", "%s%s,\n", "PList      ", info->stripName);
  const float *centre = node->bbox.local.average;
  const float c[3] = {centre[0] * scale, centre[1] * scale, centre[2] * scale};
  const float radius = node->bbox.world.radius * scale;
  VKPrint("!g$f$f$f", "%s%9.6fF, %9.6fF, %9.6fF,\n", "Center      ", static_cast<double>(c[0]),
          static_cast<double>(c[1]), static_cast<double>(c[2]));
  VKPrint("!g$f", "%s%9.6fF,\n", "Radius      ", static_cast<double>(radius));
  VKPrintAscii("%s\n\n", "END");
}

void WriteNullPointer(const char *label) {
  VKPrintAscii("%s%s,\n", label, "NULL");
  VKPrintBin("I", 0);
}

uint32_t EvaluationFlags(const VKWriteInfo *info, const ScNode *node, const ScNode *source) {
  uint32_t flags = 0;
  if (IsZero(node->trans)) flags |= 0x01;
  if (IsZero(node->rot)) flags |= 0x02;
  if (IsOne(node->scaling)) flags |= 0x04;
  if (!ScGetMesh(source->model)) flags |= 0x08;
  if (!source->child) flags |= 0x10;
  if (info->sourceKind == 5 || info->sourceKind == 8) flags |= 0x20;
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
  const float scale = GlobalScale();
  if (prototype)
    VKPrint("T1", "%s%s[] %s\n", "CNKOBJECT  ", info->objectName, "/* INSTANCE_OBJECT */");
  else
    VKPrint("T1", "%s%s[]\n", "CNKOBJECT  ", info->objectName);
  VKPrintAscii("%s\n", "START");
  VKPrint("!g$I", "%s( 0x%08x ),\n", "EvalFlags ", EvaluationFlags(info, node, prototype ? prototype : node));

  if (ScGetMesh(node->model)) {
    VKPrint("P1", "%s%s,\n", "CNKModel   ", info->modelName);
  } else if (prototype) {
    const std::string name = Joined("model", info->baseName, prototype->node->name);
    VKPrint("P1", "%s%s, %s\n", "CNKModel   ", name.c_str(), "/* instance */");
  } else {
    WriteNullPointer("CNKModel   ");
  }

  const float p[3] = {node->trans[0] * scale, node->trans[1] * scale, node->trans[2] * scale};
  VKPrint("!g$f$f$f", "%s( %9.6fF, %9.6fF, %9.6fF ),\n", "OPosition  ", static_cast<double>(p[0]),
          static_cast<double>(p[1]), static_cast<double>(p[2]));
  VKPrintAscii("%s( %9.6fF, %9.6fF, %9.6fF ),\n", "OAngle     ", Degrees(node->rot[0]), Degrees(node->rot[1]),
               Degrees(node->rot[2]));
  VKPrintBin("$i$i$i", BinaryAngle(node->rot[0]), BinaryAngle(node->rot[1]), BinaryAngle(node->rot[2]));
  const float *s = model->OScale;
  VKPrint("!g$f$f$f", "%s( %9.6fF, %9.6fF, %9.6fF ),\n", "OScale     ", static_cast<double>(s[0]),
          static_cast<double>(s[1]), static_cast<double>(s[2]));

  const ScNode *child = prototype ? prototype->child : node->child;
  if (child) {
    const std::string name = Joined("object", info->baseName, child->node->name);
    if (prototype)
      VKPrint("P1", "%s%s, %s\n", "Child       ", name.c_str(), "/* instance */");
    else
      VKPrint("P1", "%s%s,\n", "Child       ", name.c_str());
  } else {
    WriteNullPointer("Child       ");
  }
  if (const ScNode *sibling = node->sibling) {
    const std::string name = Joined("object", info->baseName, sibling->node->name);
    VKPrint("P1", "%s%s,\n", "Sibling     ", name.c_str());
  } else {
    WriteNullPointer("Sibling     ");
  }
  VKPrintAscii("%s\n\n", "END");
  return result;
}

void WriteInstancePrototypes(const VKWriteInfo *info) {
  const ScNodeList *list = info->nodeList;
  if (list->inst_obj_n == 0) return;
  VKPrintAscii("/* INSTANCE OBJECT COUNT %d */\n", list->inst_obj_n);
  VKPrintAscii("%s\n\n", "INSTANCE_PROTOTYPE_START");
  for (int i = list->node_n - 1; i >= 0; --i) {
    const ScNode *node = list->slist[i];
    if (node->inst_n != 0)
      VKPrintAscii("extern %s%s[];\n", "CNKMODEL   ", Joined("model", info->baseName, node->node->name).c_str());
    if (node->child_inst_n != 0)
      VKPrintAscii("extern %s%s[];\n", "CNKOBJECT  ", Joined("object", info->baseName, node->node->name).c_str());
  }
  VKPrintAscii("\n%s\n\n\n", "INSTANCE_PROTOTYPE_END");
}

int WriteObjectSection(VKWriteInfo *info) {
  ScNodeList *list = info->nodeList;
  int result = 1;
  VKWriteBinChunkStart(kVKChunkVKCM);
  if (VKWriteGetMode() != kVKModeAscii) {
    for (int i = 0; i < list->node_n; ++i) {
      ScNode *node = list->slist[i];
      VKPrintAscii("\n%s\n\n", "CNKOBJECT_START");
      VKSetNodeNames(info, node->node->name);
      if (!WriteObjectRecord(info, node)) result = 0;
      WriteModelBlock(info, node);
      VKPrintAscii("%s\n\n\n", "CNKOBJECT_END");
    }
  } else {
    WriteInstancePrototypes(info);
    for (int i = list->node_n - 1; i >= 0; --i) {
      ScNode *node = list->slist[i];
      VKPrintAscii("\n%s\n\n", "CNKOBJECT_START");
      VKSetNodeNames(info, node->node->name);
      WriteModelBlock(info, node);
      if (!WriteObjectRecord(info, node)) result = 0;
      VKPrintAscii("%s\n\n\n", "CNKOBJECT_END");
    }
  }
  VKWriteBinChunkEnd();
  return result;
}

// ---- Files ----------------------------------------------------------------------------------
bool OpenOutput(VKWriteInfo *info, const char *suffix) {
  std::snprintf(info->openedPath, sizeof info->openedPath, "%s", info->outputName);
  if (suffix) ReplaceSuffix(info->openedPath, suffix);
  info->file = VKWriteOpenFile(info->openedPath);
  if (!info->file) {
    PrintError("Error : Can't write file!! (%s)\n", info->openedPath);
    return false;
  }
  if (info->flags & vkflag::kBinDebug)
    VKWriteSetBinDebug();
  else if (info->flags & vkflag::kBinary)
    VKWriteSetBin();
  return true;
}

bool CloseOutput(VKWriteInfo *info) {
  info->file = nullptr;
  return VKWriteClose();
}

bool ShowsTextureList(const VKWriteInfo *info) {
  return (info->flags & vkflag::kTexListSection) && !(info->chunkFlags & kVolumeModes);
}

// Material tags of every object, and the emission normals they ask for.
void ApplyMaterialTags(VKWriteInfo *info) {
  ScNodeList *list = info->nodeList;
  for (int i = 0; i < list->node_n; ++i) {
    ScNode *node = list->slist[i];
    const uint32_t words = VKParseNodeMaterials(node->model, info->flags);
    if (words & kModelEmissionNormal) {
      PrintInfo("[MODEL EMISSION NORMAL]");
      ScModelEmissionNormal(node);
    }
    if (words & kMaterialEmissionNormal) {
      PrintInfo("[MATERIAL EMISSION NORMAL]");
      ScMaterialEmissionNormal(node);
    }
  }
}

const ScModel *FindOversizedModel(const ScModel *model) {
  for (; model; model = model->sibling) {
    if (model->hasMesh && model->mesh && model->mesh->nbVertex > kMaxChunkVertices) return model;
    if (const ScModel *found = FindOversizedModel(model->child)) return found;
  }
  return nullptr;
}

bool ReportOversized(const ScModel *model) {
  if (!model) return true;
  PrintError("Error : Object %s has %d vertices; a Chunk model holds at most %d per object\n", model->name,
             model->mesh->nbVertex, kMaxChunkVertices);
  return false;
}

}  // namespace

bool VKSceneFitsChunkModel(const ScObject *scene) {
  return ReportOversized(scene ? FindOversizedModel(scene->root) : nullptr);
}

int VKWriteChunkModel(ScNodeList *nodeList, const char *inputName, char *outputName, GlobalIndexBlock *globalIndex,
                      const char *texturePath, uint32_t chunkFlags) {
  // Refuse what cannot be indexed before any file is touched.
  if (nodeList) {
    for (int i = 0; i < nodeList->node_n; ++i) {
      const ScModel *model = nodeList->slist[i]->model;
      const ScMesh *mesh = ScGetMesh(const_cast<ScModel *>(model));
      if (mesh && mesh->nbVertex > kMaxChunkVertices) {
        ReportOversized(model);
        return 0;
      }
    }
  }
  VKWriteInfo info;
  if (!VKInitWriteInfo(&info, nodeList, inputName, outputName, globalIndex, texturePath, chunkFlags, 1)) return 0;
  ApplyMaterialTags(&info);
  info.optimizeInfo = VKGetOptimizeInfo(nodeList, chunkFlags);
  if (!info.optimizeInfo) {
    PrintError("Error : Can't malloc oinfo!!\n");
    return 0;
  }
  VKMakeStrips(nodeList, info.optimizeInfo);

  const bool separate = (nodeList->optionbits2 & kSeparateTexList) != 0;
  const bool binary = (info.flags & vkflag::kBinary) != 0;
  const char *dataSuffix = separate ? (binary ? ".vkd" : ".vad") : (binary ? ".vk" : nullptr);
  if (!OpenOutput(&info, dataSuffix)) {
    VKFreeOptimizeInfo(info.optimizeInfo);
    return 0;
  }
  const uint32_t saved = info.flags;
  if (separate) info.flags &= ~vkflag::kTexListSection;
  WriteHeader(&info);
  if (ShowsTextureList(&info)) WriteTextureListSection(&info);
  int objects = 1;
  if (info.flags & vkflag::kObjectSection) objects = WriteObjectSection(&info);
  WriteDefaultBlock(&info);
  info.flags = saved;
  const bool written = CloseOutput(&info);
  if (!objects || !written) {
    VKFreeOptimizeInfo(info.optimizeInfo);
    return 0;
  }

  if (separate) {
    if (TextureCount(&info) == 0) {
      PrintInfo("[There is no texture]");
    } else {
      if (!OpenOutput(&info, binary ? ".vkt" : ".vat")) {
        VKFreeOptimizeInfo(info.optimizeInfo);
        return 0;
      }
      info.flags &= ~vkflag::kObjectSection;
      WriteHeader(&info);
      if (ShowsTextureList(&info)) WriteTextureListSection(&info);
      WriteDefaultBlock(&info);
      info.flags = saved;
      if (!CloseOutput(&info)) {
        VKFreeOptimizeInfo(info.optimizeInfo);
        return 0;
      }
    }
  }
  VKFreeOptimizeInfo(info.optimizeInfo);
  return 1;
}
