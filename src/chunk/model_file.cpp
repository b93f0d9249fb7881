// The output files of a model writer: names and modes, header comment,
// texture-list section, object section and DEFAULT block; and the pieces of
// the object records that both model formats share.
#include "chunk/model_file.h"

#include <cstdio>
#include <optional>
#include <string>

#include "base/console.h"
#include "base/file_names.h"
#include "base/flags.h"
#include "base/numbers.h"
#include "base/version.h"
#include "binary/vkprint.h"
#include "process/geometry.h"
#include "process/nodelist.h"
#include "process/optimize.h"
#include "scene/records.h"
#include "texture/section.h"

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

bool IsZero(const float v[3]) {
  static constexpr float kZero[3] = {0, 0, 0};
  return ScVectorEqual(v, kZero);
}
bool IsOne(const float v[3]) {
  static constexpr float kOne[3] = {1, 1, 1};
  return ScVectorEqual(v, kOne);
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

bool ShowsTextureList(const VKWriteInfo *info, const VKModelFileParts &parts) {
  if (!(info->flags & vkflag::kTexListSection)) return false;
  return parts.textureListInVolumeModes || !(info->chunkFlags & vkopt::kChunkVolumeMask);
}

std::string JoinedName(const char *prefix, const char *base, const char *name) {
  return std::string(prefix) + "_" + base + "_" + (name ? name : "");
}

// `source` gives the model, child and material bits: the prototype of an
// instance, else the node itself.
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

// Degrees as the ASCII record prints them.
double Degrees(float radians) { return radians * 180.0 / kVKDegreesPi; }

// A binary angle: 65536 per turn, truncated toward zero.
int32_t BinaryAngle(float radians) { return VKBinaryAngle(Degrees(radians)); }

void WriteAbsent(VKWriter &w, const char *label, const VKObjectRecordWords &words) {
  if (words.nullPointers) {
    VKPrint(w, "P1", "%s%s,\n", label, "NULL");
  } else {
    VKPrintAscii(w, "%s%s,\n", label, "NULL");
    VKPrintBin(w, "I", 0);
  }
}

// A child or sibling line: "object_", the base name, "_" and the other
// object's name make both the ASCII name and the binary label.
void WriteLink(VKWriter &w, const char *label, const char *base, const ScNode *other, bool instance,
               const VKObjectRecordWords &words) {
  if (!other) return WriteAbsent(w, label, words);
  if (instance)
    VKPrint(w, "P1234", "%s%s%s%s%s, %s\n", label, "object_", base, "_", other->node->name, "/* instance */");
  else
    VKPrint(w, "P1234", "%s%s%s%s%s,\n", label, "object_", base, "_", other->node->name);
}

}  // namespace

// With -septex the texture-list file is opened and written (its textures
// converted) before the data file, so that the data file's material chunks
// see the alpha kinds found; it is committed after the data file, and not at
// all after an illegal object.
VKStatus VKWriteModelFiles(VKWriteInfo *info, const VKModelFileParts &parts) {
  VKWriter &w = *info->writer;
  const bool separate = (info->nodeList->optionbits2 & vkopt::kOutSeparateTexList) != 0;
  const bool binary = (info->flags & vkflag::kBinary) != 0;
  const VKModelSuffixes &suffixes = binary ? kVKBinarySuffixes : kVKAsciiSuffixes;
  const char *dataSuffix = separate ? suffixes.data : suffixes.model;
  if (VKStatus status = OpenOutput(info, dataSuffix); !status.ok()) return status;
  const uint32_t saved = info->flags;

  std::optional<VKWriter> texWriter;
  VKStatus texStatus;
  const bool texFile = separate && TextureCount(info) > 0;
  if (texFile) {
    info->writer = &texWriter.emplace(VKWriteHooks(w));
    texStatus = OpenOutput(info, suffixes.texList);
    if (texStatus.ok()) {
      info->flags &= ~vkflag::kObjectSection;
      WriteHeader(info);
      if (ShowsTextureList(info, parts)) SectionWriter(info);
      WriteDefaultBlock(info);
      info->flags = saved;
    }
    info->writer = &w;
  }

  if (separate) info->flags &= ~vkflag::kTexListSection;
  WriteHeader(info);
  if (ShowsTextureList(info, parts)) SectionWriter(info);
  int objects = 1;
  if (info->flags & vkflag::kObjectSection) objects = parts.objectSection(info);
  WriteDefaultBlock(info);
  info->flags = saved;
  if (VKStatus status = VKWriteClose(w); !status.ok()) return status;
  if (!objects) return VKReportedStatus(VKStatusCode::kBadObject);
  if (!separate) return VKStatus{};

  if (!texFile) {
    PrintInfo("[There is no texture]");
    return VKStatus{};
  }
  if (!texStatus.ok()) return texStatus;
  return VKWriteClose(*texWriter);
}

int VKWriteObjectRecord(VKWriteInfo *info, ScNode *node, bool hasModel, const VKObjectRecordWords &words) {
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
    VKPrint(w, "T1", "%s%s[] %s\n", words.object, info->objectName, "/* INSTANCE_OBJECT */");
  else
    VKPrint(w, "T1", "%s%s[]\n", words.object, info->objectName);
  VKPrintAscii(w, "%s\n", "START");
  VKPrint(w, "!g$I", "%s( 0x%08x ),\n", "EvalFlags ", EvaluationFlags(info, node, prototype ? prototype : node));

  if (hasModel) {
    VKPrint(w, "P1", "%s%s,\n", words.model, info->modelName);
  } else if (prototype) {
    const std::string name = JoinedName("model", info->baseName, prototype->node->name);
    VKPrint(w, "P1", "%s%s, %s\n", words.model, name.c_str(), "/* instance */");
  } else {
    WriteAbsent(w, words.model, words);
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

  WriteLink(w, "Child       ", info->baseName, prototype ? prototype->child : node->child, prototype != nullptr,
            words);
  WriteLink(w, "Sibling     ", info->baseName, node->sibling, false, words);
  VKPrintAscii(w, "%s\n\n", "END");
  return result;
}

void VKWriteInstancePrototypes(const VKWriteInfo *info, const char *modelKeyword, const char *objectKeyword) {
  const ScNodeList *list = info->nodeList;
  if (list->inst_obj_n == 0) return;
  VKWriter &w = *info->writer;
  VKPrintAscii(w, "/* INSTANCE OBJECT COUNT %d */\n", list->inst_obj_n);
  VKPrintAscii(w, "%s\n\n", "INSTANCE_PROTOTYPE_START");
  for (int i = list->node_n - 1; i >= 0; --i) {
    const ScNode *node = list->slist[i];
    if (node->inst_n != 0)
      VKPrintAscii(w, "extern %s%s[];\n", modelKeyword, JoinedName("model", info->baseName, node->node->name).c_str());
    if (node->child_inst_n != 0)
      VKPrintAscii(w, "extern %s%s[];\n", objectKeyword,
                   JoinedName("object", info->baseName, node->node->name).c_str());
  }
  VKPrintAscii(w, "\n%s\n\n\n", "INSTANCE_PROTOTYPE_END");
}
