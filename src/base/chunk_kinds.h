// The chunk kinds of the Chunk-model encoding with their names and ids, the
// head-word and size arithmetic, and the flag names with their values: the
// data that the chunk emitters and the Chunk-model ASCII reader both use.
//
// The polygon list is a stream of 16-bit words, the vertex list a stream of
// 32-bit words; the first 16-bit word of every chunk is its head word (id in
// bits 0-7, flags in bits 8-15).
#pragma once

#include <cstdint>
#include <string_view>

// ---- Chunk kinds ----------------------------------------------------------------
enum VKChunkId : int {
  CnkNull = 0x00,
  CnkB_BA = 0x01,
  CnkB_DA = 0x02,
  CnkB_EXP = 0x03,
  CnkT_TID = 0x08,
  CnkM_D = 0x11,
  CnkM_A = 0x12,
  CnkM_DA = 0x13,
  CnkM_S = 0x14,
  CnkM_DS = 0x15,
  CnkM_AS = 0x16,
  CnkM_DAS = 0x17,
  CnkV_SH = 0x20,
  CnkV_VN_SH = 0x21,
  CnkV = 0x22,
  CnkV_D8 = 0x23,
  CnkV_UF = 0x24,
  CnkV_NF = 0x25,
  CnkV_S5 = 0x26,
  CnkV_S4 = 0x27,
  CnkV_IN = 0x28,
  CnkV_VN = 0x29,
  CnkV_VN_D8 = 0x2A,
  CnkV_VN_UF = 0x2B,
  CnkV_VN_NF = 0x2C,
  CnkV_VN_S5 = 0x2D,
  CnkV_VN_S4 = 0x2E,
  CnkV_VN_IN = 0x2F,
  CnkV_VNX = 0x30,
  CnkV_VNX_D8 = 0x31,
  CnkV_VNX_UF = 0x32,
  CnkO_P3 = 0x38,
  CnkO_P4 = 0x39,
  CnkO_ST = 0x3A,
  CnkS = 0x40,
  CnkS_UVN = 0x41,
  CnkS_UVH = 0x42,
  CnkS_VN = 0x43,
  CnkS_UVN_VN = 0x44,
  CnkS_UVH_VN = 0x45,
  CnkS_D8 = 0x46,
  CnkS_UVN_D8 = 0x47,
  CnkS_UVH_D8 = 0x48,
  CnkEnd = 0xFF,
};

enum class VKChunkList : uint8_t { kPolygon, kVertex, kBoth };

// Which flag groups a head word holds; decides how an overlapping value
// (FDA/FEXP in bits 8-11, FFL/FFM in bits 14-15, FCL_U/FSS in bit 13) reads.
enum class VKFlagWord : uint8_t {
  kNone,         // flags always 0
  kBlend,        // FBS | FBD: CnkB_BA and the CnkM kinds
  kDepthAdjust,  // FDA: CnkB_DA
  kExponent,     // FEXP: CnkB_EXP
  kTextureHead,  // FFL | FCL | FDA: CnkT_TID head word
  kTextureId,    // FFM | FSS (and the texture id): CnkT_TID second word
  kStrip,        // FST: the CnkS kinds
};

struct VKChunkKind {
  std::string_view name;  // macro name of the ASCII form
  uint8_t id;
  VKChunkList list;
  VKFlagWord flags;
  // Vertex kinds: 32-bit words per vertex. Strip kinds: 16-bit words per strip
  // vertex (index, UV, normal, colour). Material kinds: the size word.
  // CnkT_TID: 1 following word. Otherwise 0.
  uint8_t words;
};

// Every chunk kind in id order.
extern const VKChunkKind kVKChunkKinds[];
extern const int kVKChunkKindCount;

// The kind of a name or an id; null when unknown.
const VKChunkKind *VKFindChunkKind(std::string_view name);
const VKChunkKind *VKFindChunkKindById(int id);

// End marks of the two lists.
constexpr uint16_t kVKPolygonListEnd = 0x00FF;
constexpr uint32_t kVKVertexListEnd = 0x000000FF;

// Head words.
constexpr uint16_t VKHeadWord(int id, uint16_t flags) {
  return static_cast<uint16_t>((id & 0xFF) | (flags & 0xFF00));
}
// Vertex chunk head as one 32-bit word: id | size << 16.
constexpr uint32_t VKVertexHeadWord(int id, int size) {
  return static_cast<uint32_t>(id & 0xFFFF) | static_cast<uint32_t>(size & 0xFFFF) << 16;
}
// Vertex chunk size: 1 + count x words per vertex.
constexpr int VKVertexChunkSize(int vertexCount, int wordsPerVertex) {
  return 1 + vertexCount * wordsPerVertex;
}
// Strip chunk size before evenness: (T + 2S) x W + T x U + S + 1.
constexpr int VKStripChunkSize(int triangles, int strips, int userWords, int wordsPerVertex) {
  return (triangles + 2 * strips) * wordsPerVertex + triangles * userWords + strips + 1;
}
// A polygon-list size made even (the odd case gets one zero word at the end).
constexpr int VKEvenSize(int size) { return size + (size & 1); }
// The count word of strip and volume chunks: user words per triangle (0-3) in
// bits 14-15, count in bits 0-13.
constexpr int kVKMaxChunkCount = 0x3FFF;
// The user-word counts 0-3 as the "_NB" lines of strip and volume chunks
// name them (the count word's bits 14-15).
constexpr const char *kVKUserOffsetNames[4] = {"UFO_0", "UFO_1", "UFO_2", "UFO_3"};
constexpr uint16_t VKCountWord(int userWords, int count) {
  return static_cast<uint16_t>((userWords & 3) << 14 | (count & kVKMaxChunkCount));
}

// ---- Flags ------------------------------------------------------------------------
enum VKFlagGroup : uint8_t { kFBS, kFBD, kFDA, kFEXP, kFST, kFFL, kFCL, kFFM, kFSS };

struct VKFlag {
  std::string_view name;
  uint16_t value;
  VKFlagGroup group;
};

// Every flag name with its value, grouped as above in table order.
extern const VKFlag kVKFlags[];
extern const int kVKFlagCount;

// The value of a flag name; an unknown name gives 0xFC19 (-999 as 16 bits).
constexpr uint16_t kVKUnknownFlag = 0xFC19;
uint16_t VKFlagValue(std::string_view name);
