// Material name tags and the write-info flag word.
#include "process/tags.h"

#include <array>
#include <cstddef>
#include <cstring>

#include "base/console.h"
#include "base/flags.h"
#include "process/geometry.h"
#include "process/nodelist.h"
#include "scene/records.h"

namespace {

// ---- Write-info flag word ---------------------------------------------------

enum class Word { Model, Output, Chunk };

struct FlagMap {
  Word word;
  uint32_t bit;       // bit of the command-line word
  uint32_t writeBit;  // bit of the write-info word it sets
};

// Options that carry straight over into the write-info word.
constexpr FlagMap kFlagMap[] = {
    {Word::Output, vkopt::kOutBinary, vkflag::kBinary},
    {Word::Output, vkopt::kOutBinDebug, vkflag::kBinDebug},
    {Word::Output, vkopt::kOutTexn3, vkflag::kTexn3},
    {Word::Chunk, vkopt::kChunkDeleteAmbient, vkflag::kDeleteAmbient},
    {Word::Chunk, vkopt::kChunkDeleteAllMaterials, vkflag::kDeleteAllMaterials},
    {Word::Chunk, vkopt::kChunkPolyColourToUserFlag, vkflag::kPolyColourToUserFlag},
    {Word::Chunk, vkopt::kChunkVertexColourToUserFlag, vkflag::kVertexColourToUserFlag},
    {Word::Chunk, vkopt::kChunkEnvUv, vkflag::kEnvUv},
    {Word::Model, vkopt::kModelNoEnv, vkflag::kIgnoreEnv},
    {Word::Chunk, vkopt::kChunkUvHigh, vkflag::kUvHigh},
    {Word::Output, vkopt::kOutNoDiffuse, vkflag::kIgnoreDiffuse},
    {Word::Output, vkopt::kOutPolyVertexColour, vkflag::kPolyVertexColour},
    {Word::Output, vkopt::kOutPolyVertexNormal, vkflag::kPolyVertexNormal},
    {Word::Model, vkopt::kModelPolyNormal, vkflag::kPolyNormal},
    {Word::Model, vkopt::kModelForceTexture, vkflag::kForceTexture},
};

// ---- Tag table ----------------------------------------------------------------

struct TagState {
  uint32_t flags;  // attrflags being built
  uint32_t out;    // output word F
  uint32_t eval;   // evaluation bits E
  int32_t bank;
  bool stop;
};

struct TagRow;
// Applies a row at `text` (with `left` characters left in the name) and
// returns the characters consumed, or 0 when the row does not match there.
using TagHandler = size_t (*)(const TagRow &row, TagState &state, const char *text, size_t left);

struct TagRow {
  const char *tag;
  TagHandler handler;
  uint32_t value;
  uint32_t value2;
};

constexpr size_t TagLength(const char *tag) {
  size_t n = 0;
  while (tag[n] != '\0') ++n;
  return n;
}

bool StartsWith(const char *text, size_t left, const char *tag) {
  size_t n = TagLength(tag);
  return left >= n && std::memcmp(text, tag, n) == 0;
}

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

size_t Prefix(const TagRow &row, const char *text, size_t left) {
  return StartsWith(text, left, row.tag) ? TagLength(row.tag) : 0;
}

size_t Skip(const TagRow &row, TagState &, const char *text, size_t left) {
  return Prefix(row, text, left);
}

size_t OrFlags(const TagRow &row, TagState &state, const char *text, size_t left) {
  size_t n = Prefix(row, text, left);
  if (n != 0) state.flags |= row.value;
  return n;
}

size_t ClearFlags(const TagRow &row, TagState &state, const char *text, size_t left) {
  size_t n = Prefix(row, text, left);
  if (n != 0) state.flags &= ~row.value;
  return n;
}

size_t Filter(const TagRow &row, TagState &state, const char *text, size_t left) {
  size_t n = Prefix(row, text, left);
  if (n != 0) state.flags = (state.flags & ~vkattr::kFilter) | row.value;
  return n;
}

size_t OrEval(const TagRow &row, TagState &state, const char *text, size_t left) {
  size_t n = Prefix(row, text, left);
  if (n != 0) state.eval |= row.value;
  return n;
}

size_t OrOut(const TagRow &row, TagState &state, const char *text, size_t left) {
  size_t n = Prefix(row, text, left);
  if (n != 0) state.out |= row.value;
  return n;
}

size_t ClearOut(const TagRow &row, TagState &state, const char *text, size_t left) {
  size_t n = Prefix(row, text, left);
  if (n != 0) state.out &= ~row.value;
  return n;
}

// Flag word and output word together (the emission-normal environment tags).
size_t OrFlagsOut(const TagRow &row, TagState &state, const char *text, size_t left) {
  size_t n = Prefix(row, text, left);
  if (n != 0) {
    state.flags |= row.value;
    state.out |= row.value2;
  }
  return n;
}

size_t Stop(const TagRow &row, TagState &state, const char *text, size_t left) {
  size_t n = Prefix(row, text, left);
  if (n != 0) state.stop = true;
  return n;
}

// "D" and three digits: 000 warns; 025, 050, ... 375 set the mipmap depth
// step 1-15. Any other number is not this tag (the "D" row takes it).
size_t Depth(const TagRow &, TagState &state, const char *text, size_t left) {
  if (left < 4 || text[0] != 'D' || !IsDigit(text[1]) || !IsDigit(text[2]) || !IsDigit(text[3])) {
    return 0;
  }
  int value = (text[1] - '0') * 100 + (text[2] - '0') * 10 + (text[3] - '0');
  if (value == 0) {
    PrintWarning("Warning : Don't use D000\n");
    return 4;
  }
  if (value % 25 != 0 || value > 375) return 0;
  uint32_t step = static_cast<uint32_t>(value * 4 / 100);
  state.flags = (state.flags & ~vkattr::kDepthAdjust) | (step << vkattr::kDepthShift);
  return 4;
}

// "A" and two digits 0-7: blend source and destination.
size_t Blend(const TagRow &, TagState &state, const char *text, size_t left) {
  auto blendDigit = [](char c) { return c >= '0' && c <= '7'; };
  if (left < 3 || text[0] != 'A' || !blendDigit(text[1]) || !blendDigit(text[2])) return 0;
  uint32_t source = static_cast<uint32_t>(text[1] - '0');
  uint32_t dest = static_cast<uint32_t>(text[2] - '0');
  state.flags = (state.flags & ~vkattr::kBlend) | (source << vkattr::kBlendSourceShift) |
                (dest << vkattr::kBlendDestinationShift);
  if (source == 0) state.flags |= vkattr::kBlendSourceZero;
  return 3;
}

// "B" and two digits: palette bank 0-63.
size_t Bank(const TagRow &, TagState &state, const char *text, size_t left) {
  if (left < 3 || text[0] != 'B' || !IsDigit(text[1]) || !IsDigit(text[2])) return 0;
  int bank = (text[1] - '0') * 10 + (text[2] - '0');
  if (bank > 63) {
    PrintWarning("Warning : Bad bankId %d\n", bank);
  } else {
    state.bank = bank;
  }
  return 3;
}

constexpr TagRow kTagTable[] = {
    {"Mate", Skip, 0, 0},
    {"Defa", Skip, 0, 0},
    {"D000", Depth, 0, 0},
    {"A00", Blend, 0, 0},
    {"B00", Bank, 0, 0},
    {"An", OrFlags, vkattr::kSuperSample, 0},
    {"Ps", Filter, vkattr::kFilterPoint, 0},
    {"Bi", Filter, vkattr::kFilterBilinear, 0},
    {"Tl", Filter, vkattr::kFilterTrilinear, 0},
    {"Es", OrEval, vkeval::kTagEs, 0},
    {"Ss", OrEval, vkeval::kTagSs, 0},
    {"Hi", OrEval, vkeval::kNoModel, 0},
    {"Bk", OrEval, vkeval::kNoChild, 0},
    {"D", OrFlags, vkattr::kDoubleSided, 0},
    {"Ee", OrFlagsOut, vkattr::kEnvironment, vkflag::kModelEmissionNormal},
    {"En", OrFlagsOut, vkattr::kEnvironment, vkflag::kMaterialEmissionNormal},
    {"E", OrFlags, vkattr::kEnvironment, 0},
    {"F", OrFlags, vkattr::kFlat, 0},
    {"L", OrFlags, vkattr::kIgnoreLight, 0},
    {"Nl", OrFlags, vkattr::kIgnoreLight, 0},
    {"Ns", OrFlags, vkattr::kIgnoreSpecular, 0},
    {"Na", OrFlags, vkattr::kIgnoreAmbient, 0},
    {"G", ClearFlags, vkattr::kFlat, 0},
    {"_", Stop, 0, 0},
    {"U1", OrOut, 1, 0},
    {"U2", OrOut, 2, 0},
    {"U3", OrOut, 3, 0},
    {"Vc", OrOut, vkflag::kPolyVertexColour, 0},
    {"Nvc", OrOut, vkflag::kNoVertexColour, 0},
    {"N", ClearOut, vkflag::kUvHigh, 0},
    {"H", OrOut, vkflag::kUvHigh, 0},
};
constexpr int kTagCount = static_cast<int>(std::size(kTagTable));

// Rows indexed by their first character; rows sharing it are chained in
// table order.
struct TagIndex {
  std::array<int, 256> first;
  std::array<int, kTagCount> next;
};

constexpr TagIndex BuildTagIndex() {
  TagIndex index{};
  index.first.fill(-1);
  index.next.fill(-1);
  for (int row = 0; row < kTagCount; ++row) {
    auto c = static_cast<unsigned char>(kTagTable[row].tag[0]);
    if (index.first[c] < 0) {
      index.first[c] = row;
    } else {
      int last = index.first[c];
      while (index.next[last] >= 0) last = index.next[last];
      index.next[last] = row;
    }
  }
  return index;
}

constexpr TagIndex kTagIndex = BuildTagIndex();

void ScanTags(const char *name, size_t length, TagState &state) {
  size_t pos = 0;
  while (pos < length && !state.stop) {
    int row = kTagIndex.first[static_cast<unsigned char>(name[pos])];
    size_t consumed = 0;
    for (; row >= 0 && consumed == 0; row = kTagIndex.next[row]) {
      consumed = kTagTable[row].handler(kTagTable[row], state, name + pos, length - pos);
    }
    pos += consumed != 0 ? consumed : 1;
  }
}

bool HasTexture(const ScMaterials *material) {
  return material->nbTexture > 0 && material->textures != nullptr;
}

// trunc(alpha × 255) is 255 exactly when the product lies in [255, 256).
bool OpaqueAlpha(float alpha) {
  double scaled = static_cast<double>(alpha) * 255.0;
  return scaled >= 255.0 && scaled < 256.0;
}

}  // namespace

uint32_t VKMakeWriteFlags(uint32_t modelFlags, uint32_t outputFlags, uint32_t chunkFlags,
                          int32_t sourceKind) {
  uint32_t flags = vkflag::kInitial;
  for (const FlagMap &m : kFlagMap) {
    uint32_t word = m.word == Word::Model ? modelFlags : m.word == Word::Output ? outputFlags : chunkFlags;
    if (word & m.bit) flags |= m.writeBit;
  }
  if ((chunkFlags & vkopt::kChunkDeleteTexMaterials) && !(chunkFlags & vkopt::kChunkDeleteAllMaterials)) {
    flags |= vkflag::kDeleteTexMaterials;
  }
  if (sourceKind == 1) flags |= vkflag::kSourceKind1;
  if (modelFlags & vkopt::kModelNoTexture) {
    flags &= ~(vkflag::kSourceKind1 | vkflag::kTexListSection);
  } else {
    flags |= vkflag::kTextures;
  }
  if (!(modelFlags & vkopt::kModelNoFlags)) flags |= vkflag::kMaterialTags;
  return flags;
}

void VKParseMaterialTags(ScMaterials *material, uint32_t writeFlags) {
  TagState state{};
  state.flags = material->attrflags != 0 ? material->attrflags : vkattr::kDefault;
  state.out = writeFlags;
  state.bank = -1;

  const char *name = material->name;
  size_t length = name != nullptr ? std::strlen(name) : 0;
  if (length == 0) {
    // No name, no tags: only the flag word (and F at its starting value).
    material->attrflags = state.flags;
    material->outputFlags = state.out;
    material->evalFlags = 0;
    return;
  }

  if (writeFlags & vkflag::kMaterialTags) ScanTags(name, length, state);

  if (!OpaqueAlpha(material->diffuse[3])) state.flags |= vkattr::kUseAlpha;
  if (writeFlags & vkflag::kTextures) {
    if (HasTexture(material)) {
      state.flags |= vkattr::kTextured;
      if (writeFlags & vkflag::kIgnoreDiffuse) {
        material->diffuse[0] = material->diffuse[1] = material->diffuse[2] = 1.0f;
      }
      // The texture records carry no flip, clamp or kind fields; the flip and
      // clamp bits come from the file's AttrFlags alone.
    }
  } else {
    state.flags &= ~vkattr::kEnvironment;
  }
  if ((state.flags & vkattr::kEnvironment) && !HasTexture(material)) {
    PrintWarning("\nWarning : You must set a texture on \"%s\" for environment mapping !\n", name);
    state.flags &= ~vkattr::kEnvironment;
  }
  if (writeFlags & vkflag::kIgnoreEnv) state.flags &= ~vkattr::kEnvironment;

  material->attrflags = state.flags;
  material->outputFlags = state.out;
  material->evalFlags = state.eval;
  if (state.bank != -1) material->bank = state.bank;
}

uint32_t VKParseNodeMaterials(ScModel *model, uint32_t writeFlags) {
  uint32_t all = 0;
  ScMaterials *material = model->materials;
  for (int i = 0; i < model->nbMaterial && material != nullptr; ++i, material = material->next) {
    VKParseMaterialTags(material, writeFlags);
    all |= material->outputFlags;
  }
  return all;
}

void VKApplyMaterialTags(ScNodeList *list, uint32_t writeFlags) {
  if (list == nullptr) return;
  for (int32_t i = 0; i < list->node_n; ++i) {
    ScNode *node = list->slist[i];
    uint32_t all = VKParseNodeMaterials(node->model, writeFlags);
    if (all & vkflag::kModelEmissionNormal) {
      PrintInfo("[MODEL EMISSION NORMAL]");
      ScModelEmissionNormal(node);
    }
    if (all & vkflag::kMaterialEmissionNormal) {
      PrintInfo("[MATERIAL EMISSION NORMAL]");
      ScMaterialEmissionNormal(node);
    }
  }
}
