// Flag names of head words as text, and the vertex types of the chunk
// options.
#include "chunk/encoding.h"

#include <cstdio>
#include <span>

#include "base/flags.h"

namespace {

// Bits of each group, indexed by VKFlagGroup; the multi-bit fields print by
// the name of their value, the others bit by bit.
struct GroupInfo {
  uint16_t mask;
  bool field;
};
constexpr GroupInfo kGroups[] = {
    {0x3800, true},   // FBS
    {0x0700, true},   // FBD
    {0x0F00, true},   // FDA
    {0x1F00, true},   // FEXP
    {0x7F00, false},  // FST
    {0xC000, false},  // FFL
    {0x3000, false},  // FCL
    {0xC000, true},   // FFM
    {0x2000, false},  // FSS
};

// The groups of each head word, in printing order.
struct WordGroups {
  VKFlagWord word;
  VKFlagGroup groups[3];
  int count;
};
constexpr WordGroups kWordGroups[] = {
    {VKFlagWord::kNone, {}, 0},
    {VKFlagWord::kBlend, {kFBS, kFBD}, 2},
    {VKFlagWord::kDepthAdjust, {kFDA}, 1},
    {VKFlagWord::kExponent, {kFEXP}, 1},
    {VKFlagWord::kTextureHead, {kFFL, kFCL, kFDA}, 3},
    {VKFlagWord::kTextureId, {kFFM, kFSS}, 2},
    {VKFlagWord::kStrip, {kFST}, 1},
};

void AddPart(std::string &text, std::string_view part) {
  if (!text.empty()) text += '|';
  text += part;
}

}  // namespace




uint16_t VKFlagGroupMask(VKFlagGroup group) { return kGroups[group].mask; }

std::string_view VKFlagName(VKFlagGroup group, uint16_t value) {
  for (const VKFlag &flag : std::span(kVKFlags, kVKFlagCount))
    if (flag.group == group && flag.value == value) return flag.name;
  return {};
}

VKFlagWord VKHeadFlagWord(int id) {
  const VKChunkKind *kind = VKFindChunkKindById(id);
  return kind ? kind->flags : VKFlagWord::kNone;
}

std::string VKFlagsText(uint16_t value, VKFlagWord word) {
  std::string text;
  uint16_t covered = 0;
  for (const WordGroups &entry : kWordGroups) {
    if (entry.word != word) continue;
    for (int i = 0; i < entry.count; i++) {
      VKFlagGroup group = entry.groups[i];
      const GroupInfo &info = kGroups[group];
      covered |= info.mask;
      uint16_t bits = value & info.mask;
      if (bits == 0) continue;
      if (info.field) {
        std::string_view name = VKFlagName(group, bits);
        if (!name.empty()) {
          AddPart(text, name);
        } else {
          covered &= static_cast<uint16_t>(~bits);  // no name: shown as a number below
        }
        continue;
      }
      for (const VKFlag &flag : std::span(kVKFlags, kVKFlagCount))
        if (flag.group == group && (bits & flag.value) == flag.value && flag.value) AddPart(text, flag.name);
    }
  }
  uint16_t rest = value & static_cast<uint16_t>(~covered);
  if (rest) {
    char number[8];
    std::snprintf(number, sizeof number, "0x%x", rest);
    AddPart(text, number);
  }
  return text.empty() ? std::string("0x0") : text;
}

const VKVertexType kVKVertexTypes[] = {
    {vkopt::kCnkV_SH, CnkV_SH},         {vkopt::kCnkV, CnkV},
    {vkopt::kCnkV_D8, CnkV_D8},         {vkopt::kCnkV_UF, CnkV_UF},
    {vkopt::kCnkV_NF, CnkV_NF},         {vkopt::kCnkV_S5, CnkV_S5},
    {vkopt::kCnkV_S4, CnkV_S4},         {vkopt::kCnkV_IN, CnkV_IN},
    {vkopt::kCnkV_VN_SH, CnkV_VN_SH},   {vkopt::kCnkV_VN, CnkV_VN},
    {vkopt::kCnkV_VN_D8, CnkV_VN_D8},   {vkopt::kCnkV_VN_UF, CnkV_VN_UF},
    {vkopt::kCnkV_VN_NF, CnkV_VN_NF},   {vkopt::kCnkV_VN_S5, CnkV_VN_S5},
    {vkopt::kCnkV_VN_S4, CnkV_VN_S4},   {vkopt::kCnkV_VN_IN, CnkV_VN_IN},
    {vkopt::kCnkV_VNX, CnkV_VNX},       {vkopt::kCnkV_VNX_D8, CnkV_VNX_D8},
    {vkopt::kCnkV_VNX_UF, CnkV_VNX_UF},
};
const int kVKVertexTypeCount = static_cast<int>(sizeof(kVKVertexTypes) / sizeof(kVKVertexTypes[0]));

const VKChunkKind *VKFindVertexType(uint32_t chunkFlags) {
  const uint32_t value = chunkFlags & vkopt::kChunkVertexTypeMask;
  for (const VKVertexType &type : kVKVertexTypes)
    if (type.value == value) return VKFindChunkKindById(type.id);
  return nullptr;
}
