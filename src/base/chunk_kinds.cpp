// Tables of the Chunk-model encoding: chunk kinds and flag names with their
// values.
#include "base/chunk_kinds.h"

#include "base/flags.h"

namespace {

using L = VKChunkList;
using W = VKFlagWord;

}  // namespace

const VKChunkKind kVKChunkKinds[] = {
    {"CnkNull", CnkNull, L::kPolygon, W::kNone, 0},
    {"CnkB_BA", CnkB_BA, L::kPolygon, W::kBlend, 0},
    {"CnkB_DA", CnkB_DA, L::kPolygon, W::kDepthAdjust, 0},
    {"CnkB_EXP", CnkB_EXP, L::kPolygon, W::kExponent, 0},
    {"CnkT_TID", CnkT_TID, L::kPolygon, W::kTextureHead, 1},
    {"CnkM_D", CnkM_D, L::kPolygon, W::kBlend, 2},
    {"CnkM_A", CnkM_A, L::kPolygon, W::kBlend, 2},
    {"CnkM_DA", CnkM_DA, L::kPolygon, W::kBlend, 4},
    {"CnkM_S", CnkM_S, L::kPolygon, W::kBlend, 2},
    {"CnkM_DS", CnkM_DS, L::kPolygon, W::kBlend, 4},
    {"CnkM_AS", CnkM_AS, L::kPolygon, W::kBlend, 4},
    {"CnkM_DAS", CnkM_DAS, L::kPolygon, W::kBlend, 6},
    {"CnkV_SH", CnkV_SH, L::kVertex, W::kNone, 4},
    {"CnkV_VN_SH", CnkV_VN_SH, L::kVertex, W::kNone, 8},
    {"CnkV", CnkV, L::kVertex, W::kNone, 3},
    {"CnkV_D8", CnkV_D8, L::kVertex, W::kNone, 4},
    {"CnkV_UF", CnkV_UF, L::kVertex, W::kNone, 4},
    {"CnkV_NF", CnkV_NF, L::kVertex, W::kNone, 4},
    {"CnkV_S5", CnkV_S5, L::kVertex, W::kNone, 4},
    {"CnkV_S4", CnkV_S4, L::kVertex, W::kNone, 4},
    {"CnkV_IN", CnkV_IN, L::kVertex, W::kNone, 4},
    {"CnkV_VN", CnkV_VN, L::kVertex, W::kNone, 6},
    {"CnkV_VN_D8", CnkV_VN_D8, L::kVertex, W::kNone, 7},
    {"CnkV_VN_UF", CnkV_VN_UF, L::kVertex, W::kNone, 7},
    {"CnkV_VN_NF", CnkV_VN_NF, L::kVertex, W::kNone, 7},
    {"CnkV_VN_S5", CnkV_VN_S5, L::kVertex, W::kNone, 7},
    {"CnkV_VN_S4", CnkV_VN_S4, L::kVertex, W::kNone, 7},
    {"CnkV_VN_IN", CnkV_VN_IN, L::kVertex, W::kNone, 7},
    {"CnkV_VNX", CnkV_VNX, L::kVertex, W::kNone, 4},
    {"CnkV_VNX_D8", CnkV_VNX_D8, L::kVertex, W::kNone, 5},
    {"CnkV_VNX_UF", CnkV_VNX_UF, L::kVertex, W::kNone, 5},
    {"CnkO_P3", CnkO_P3, L::kPolygon, W::kNone, 0},
    {"CnkO_P4", CnkO_P4, L::kPolygon, W::kNone, 0},
    {"CnkO_ST", CnkO_ST, L::kPolygon, W::kNone, 1},
    {"CnkS", CnkS, L::kPolygon, W::kStrip, 1},
    {"CnkS_UVN", CnkS_UVN, L::kPolygon, W::kStrip, 3},
    {"CnkS_UVH", CnkS_UVH, L::kPolygon, W::kStrip, 3},
    {"CnkS_VN", CnkS_VN, L::kPolygon, W::kStrip, 4},
    {"CnkS_UVN_VN", CnkS_UVN_VN, L::kPolygon, W::kStrip, 6},
    {"CnkS_UVH_VN", CnkS_UVH_VN, L::kPolygon, W::kStrip, 6},
    {"CnkS_D8", CnkS_D8, L::kPolygon, W::kStrip, 3},
    {"CnkS_UVN_D8", CnkS_UVN_D8, L::kPolygon, W::kStrip, 5},
    {"CnkS_UVH_D8", CnkS_UVH_D8, L::kPolygon, W::kStrip, 5},
    {"CnkEnd", CnkEnd, L::kBoth, W::kNone, 0},
};
const int kVKChunkKindCount = static_cast<int>(sizeof(kVKChunkKinds) / sizeof(kVKChunkKinds[0]));

const VKFlag kVKFlags[] = {
    {"FBS_ZER", 0x0000, kFBS}, {"FBS_ONE", 0x0800, kFBS}, {"FBS_OC", 0x1000, kFBS},
    {"FBS_IOC", 0x1800, kFBS}, {"FBS_SA", 0x2000, kFBS},  {"FBS_ISA", 0x2800, kFBS},
    {"FBS_DA", 0x3000, kFBS},  {"FBS_IDA", 0x3800, kFBS},

    {"FBD_ZER", 0x0000, kFBD}, {"FBD_ONE", 0x0100, kFBD}, {"FBD_OC", 0x0200, kFBD},
    {"FBD_IOC", 0x0300, kFBD}, {"FBD_SA", 0x0400, kFBD},  {"FBD_ISA", 0x0500, kFBD},
    {"FBD_DA", 0x0600, kFBD},  {"FBD_IDA", 0x0700, kFBD},

    {"FDA_025", 0x0100, kFDA}, {"FDA_050", 0x0200, kFDA}, {"FDA_075", 0x0300, kFDA},
    {"FDA_100", 0x0400, kFDA}, {"FDA_125", 0x0500, kFDA}, {"FDA_150", 0x0600, kFDA},
    {"FDA_175", 0x0700, kFDA}, {"FDA_200", 0x0800, kFDA}, {"FDA_225", 0x0900, kFDA},
    {"FDA_250", 0x0A00, kFDA}, {"FDA_275", 0x0B00, kFDA}, {"FDA_300", 0x0C00, kFDA},
    {"FDA_325", 0x0D00, kFDA}, {"FDA_350", 0x0E00, kFDA}, {"FDA_375", 0x0F00, kFDA},

    {"FEXP_00", 0x0000, kFEXP}, {"FEXP_01", 0x0100, kFEXP}, {"FEXP_02", 0x0200, kFEXP},
    {"FEXP_03", 0x0300, kFEXP}, {"FEXP_04", 0x0400, kFEXP}, {"FEXP_05", 0x0500, kFEXP},
    {"FEXP_06", 0x0600, kFEXP}, {"FEXP_07", 0x0700, kFEXP}, {"FEXP_08", 0x0800, kFEXP},
    {"FEXP_09", 0x0900, kFEXP}, {"FEXP_10", 0x0A00, kFEXP}, {"FEXP_11", 0x0B00, kFEXP},
    {"FEXP_12", 0x0C00, kFEXP}, {"FEXP_13", 0x0D00, kFEXP}, {"FEXP_14", 0x0E00, kFEXP},
    {"FEXP_15", 0x0F00, kFEXP}, {"FEXP_16", 0x1000, kFEXP},

    {"FST_IL", vkfst::kIL, kFST}, {"FST_IS", vkfst::kIS, kFST}, {"FST_IA", vkfst::kIA, kFST},
    {"FST_UA", vkfst::kUA, kFST}, {"FST_DB", vkfst::kDB, kFST}, {"FST_FL", vkfst::kFL, kFST},
    {"FST_ENV", vkfst::kENV, kFST},

    {"FFL_U", 0x8000, kFFL},   {"FFL_V", 0x4000, kFFL},
    {"FCL_U", 0x2000, kFCL},   {"FCL_V", 0x1000, kFCL},

    {"FFM_PS", 0x0000, kFFM},  {"FFM_BF", 0x4000, kFFM}, {"FFM_TF", 0x8000, kFFM},

    {"FSS", 0x2000, kFSS},
};
const int kVKFlagCount = static_cast<int>(sizeof(kVKFlags) / sizeof(kVKFlags[0]));

const VKChunkKind *VKFindChunkKind(std::string_view name) {
  for (const VKChunkKind &kind : kVKChunkKinds)
    if (kind.name == name) return &kind;
  return nullptr;
}

const VKChunkKind *VKFindChunkKindById(int id) {
  for (const VKChunkKind &kind : kVKChunkKinds)
    if (kind.id == id) return &kind;
  return nullptr;
}

uint16_t VKFlagValue(std::string_view name) {
  for (const VKFlag &flag : kVKFlags)
    if (flag.name == name) return flag.value;
  return kVKUnknownFlag;
}
