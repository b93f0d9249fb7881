// The Chunk-model encoding above the shared tables of base/chunk_kinds.h:
// flag names of head words as text, and the vertex types of the chunk
// options.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "base/chunk_kinds.h"

// ---- Flag names -------------------------------------------------------------------
// Bits of each group.
uint16_t VKFlagGroupMask(VKFlagGroup group);

// The name of one group's field value (value already in place, e.g. 0x1000 for
// FBS_OC); empty when the group has no name for it (FDA of 0).
std::string_view VKFlagName(VKFlagGroup group, uint16_t value);

// Flag names of a head word joined with "|": multi-bit fields by the name of
// their value when it is not 0, single bits by their names in table order, bits
// of no group of the word as one hexadecimal part; "0x0" when nothing is set.
std::string VKFlagsText(uint16_t value, VKFlagWord word);
// The flag groups of a chunk's head word.
VKFlagWord VKHeadFlagWord(int id);

// ---- Vertex types -------------------------------------------------------------------
// The vertex chunk kind of each chunk vertex type (chunkFlags &
// vkopt::kChunkVertexTypeMask, base/flags.h); the type's name is the kind's.
struct VKVertexType {
  uint32_t value;
  VKChunkId id;
};
extern const VKVertexType kVKVertexTypes[];
extern const int kVKVertexTypeCount;
// The vertex chunk kind of the type in chunkFlags, or null for a value that
// names no type.
const VKChunkKind *VKFindVertexType(uint32_t chunkFlags);

// The packers of packed vertex values are in base/packers.h.
