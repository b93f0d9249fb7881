// Polygon list of one node: per material group the material and texture
// chunks (only the parts that changed since the previous group), then the
// strip chunk, or in the volume modes the CnkO_ST / CnkO_P3 / CnkO_P4 chunks.
#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "binary/vkprint.h"
#include "chunk/emit.h"
#include "chunk/encoding.h"
#include "chunk/strip_layout.h"
#include "chunk/write_info.h"
#include "process/optimize.h"
#include "process/tags.h"
#include "scene/records.h"

namespace {

// ---- Flag words ---------------------------------------------------------------
namespace attr {
constexpr uint32_t kIgnoreAmbient = 0x00000040;
constexpr uint32_t kDepthAdjust = 0x00000F00;
constexpr uint32_t kSuperSample = 0x00001000;
constexpr uint32_t kFilter = 0x00006000;
constexpr uint32_t kClampV = 0x00008000;
constexpr uint32_t kClampU = 0x00010000;
constexpr uint32_t kFlipV = 0x00020000;
constexpr uint32_t kFlipU = 0x00040000;
constexpr uint32_t kIgnoreSpecular = 0x00080000;
constexpr uint32_t kUseAlpha = 0x00100000;
constexpr uint32_t kEnvironment = 0x00400000;
constexpr uint32_t kDoubleSided = 0x00800000;
constexpr uint32_t kFlat = 0x01000000;
constexpr uint32_t kIgnoreLight = 0x02000000;
constexpr uint32_t kTextureFlags = 0x0007FF00;
}  // namespace attr

constexpr uint16_t kFST_IL = 0x0100;
constexpr uint16_t kFST_IS = 0x0200;
constexpr uint16_t kFST_IA = 0x0400;
constexpr uint16_t kFST_UA = 0x0800;
constexpr uint16_t kFST_DB = 0x1000;
constexpr uint16_t kFST_FL = 0x2000;
constexpr uint16_t kFST_ENV = 0x4000;

// Strip-flag bits taken from a material's attrflags.
struct AttrToStrip {
  uint32_t attr;
  uint16_t strip;
};
constexpr AttrToStrip kAttrToStrip[] = {
    {attr::kIgnoreLight, kFST_IL}, {attr::kIgnoreSpecular, kFST_IS}, {attr::kIgnoreAmbient, kFST_IA},
    {attr::kDoubleSided, kFST_DB}, {attr::kFlat, kFST_FL},           {attr::kEnvironment, kFST_ENV},
};

// Texture flip and clamp: attrflags bit, TID head-word bit.
constexpr AttrToStrip kAttrToTextureHead[] = {
    {attr::kFlipU, 0x8000}, {attr::kFlipV, 0x4000}, {attr::kClampU, 0x2000}, {attr::kClampV, 0x1000}};

// Filter mode by attrflags bits 13-14, as the second TID word holds it (both
// bits set reads as trilinear).
constexpr uint16_t kFilterMode[4] = {0x0000, 0x4000, 0x8000, 0x8000};

constexpr const char *kUfoNames[4] = {"UFO_0", "UFO_1", "UFO_2", "UFO_3"};

// Bounds of the specular exponent steps 1-15; above the last is step 16.
constexpr float kExponentBounds[15] = {1, 2, 3, 5, 8, 11, 15, 23, 31, 47, 63, 95, 127, 191, 255};

// Material kinds by the parts they hold: bit 0 diffuse, 1 ambient, 2 specular.
constexpr int kMaterialKind[8] = {0, CnkM_D, CnkM_A, CnkM_DA, CnkM_S, CnkM_DS, CnkM_AS, CnkM_DAS};

// The default material of a group without one.
constexpr float kDefaultDiffuse[4] = {0.75f, 0.75f, 0.75f, 0.75f};
constexpr float kDefaultAmbient[4] = {0, 0, 0, 0};
constexpr float kDefaultSpecular[4] = {1.0f, 1.0f, 1.0f, 1.0f};
constexpr float kDefaultPower = 6.0f;

const char *ChunkName(int id) { return VKFindChunkKindById(id)->name.data(); }

int ColourByte(float value) {
  const double scaled = static_cast<double>(value) * 255.0;
  if (!(scaled > -2147483648.0 && scaled < 2147483647.0)) return 0;
  return static_cast<int>(scaled) & 0xFF;
}

int TruncToInt(double value) {
  if (!(value > -2147483648.0)) return value != value ? 0 : INT32_MIN;
  if (value >= 2147483647.0) return INT32_MAX;
  return static_cast<int>(value);
}

int ExponentStep(float power) {
  if (power == 0.0f) return 0;
  for (int step = 0; step < 15; ++step)
    if (!(power > kExponentBounds[step])) return step + 1;
  return 16;
}

// ---- Material state ---------------------------------------------------------------
struct MaterialState {
  uint8_t diffuse[4];  // R, G, B, A
  uint8_t ambient[4];
  uint8_t specular[4];
  int exponent;
  uint32_t textureFlags;
  int textureId;
  bool started;
};

struct GroupContext {
  const VKWriteInfo *info;
  const ScMesh *mesh;
  ScMaterials *material;  // null for the default group
  int textureId;          // -1 when untextured
  uint32_t outputWord;    // F
  int userWords;          // U
  uint16_t stripFlags;    // S
};

void WriteTextureChunk(uint32_t attrflags, int textureId) {
  if (textureId == -1) return;
  uint16_t head = 0;
  for (const AttrToStrip &bit : kAttrToTextureHead)
    if (attrflags & bit.attr) head |= bit.strip;
  const uint16_t depth = static_cast<uint16_t>(attrflags & attr::kDepthAdjust);
  const std::string flipClamp = VKFlagsText(head, VKFlagWord::kTextureHead);
  const std::string depthName(VKFlagName(kFDA, depth));
  VKPrintAscii("\t%s( %s|%s ),", "CnkT_TID", flipClamp.c_str(), depthName.c_str());
  VKPrintBin("S", VKHeadWord(CnkT_TID, static_cast<uint16_t>(head | depth)));
  const uint16_t filter = kFilterMode[(attrflags & attr::kFilter) >> 13];
  const std::string filterName(VKFlagName(kFFM, filter));
  const bool superSample = (attrflags & attr::kSuperSample) != 0;
  if (superSample)
    VKPrintAscii(" %s( %s|%s, %d ),\n", "_TID", filterName.c_str(), "FSS", textureId);
  else
    VKPrintAscii(" %s( %s, %d ),\n", "_TID", filterName.c_str(), textureId);
  VKPrintBin("S", filter | (superSample ? 0x2000 : 0) | (textureId & 0x1FFF));
}

void WriteColourLine(const char *label, int a, int r, int g, int b) {
  VKPrint("!g$8", "\t%s( %d, %d, %d, %d ),\n", label, a, r, g, b);
}

void WriteMaterialChunk(int parts, uint32_t attrflags, const MaterialState &state) {
  const int id = kMaterialKind[parts];
  const int size = 2 * ((parts & 1) + (parts >> 1 & 1) + (parts >> 2 & 1));
  const uint16_t source = static_cast<uint16_t>((attrflags >> 29 & 7) << 11);
  const uint16_t destination = static_cast<uint16_t>((attrflags >> 26 & 7) << 8);
  const std::string sourceName(VKFlagName(kFBS, source));
  const std::string destinationName(VKFlagName(kFBD, destination));
  VKPrintAscii("\t%s( %s|%s ), %d,\n", ChunkName(id), sourceName.c_str(), destinationName.c_str(), size);
  VKPrintBin("SS", VKHeadWord(id, source | destination), size);
  const uint8_t *d = state.diffuse;
  const uint8_t *a = state.ambient;
  const uint8_t *s = state.specular;
  if (parts & 1) WriteColourLine("MDiff", d[3], d[0], d[1], d[2]);
  if (parts & 2) WriteColourLine("MAmbi", a[3], a[0], a[1], a[2]);
  if (parts & 4) WriteColourLine("MSpec", state.exponent, s[0], s[1], s[2]);
}

void WriteMaterialAndTexture(const GroupContext &group, MaterialState &state) {
  const uint32_t flags = group.info->flags;
  const ScMaterials *material = group.material;
  const uint32_t attrflags = material ? material->attrflags : kDefaultAttrFlags;
  const bool textured = group.textureId != -1;
  if ((flags & vkflag::kDeleteAllMaterials) ||
      ((flags & vkflag::kDeleteTexMaterials) && textured && !(group.stripFlags & kFST_UA))) {
    WriteTextureChunk(attrflags, group.textureId);
    return;
  }
  const float *diffuse = material ? material->diffuse : kDefaultDiffuse;
  const float *ambient = material ? material->ambient : kDefaultAmbient;
  const float *specular = material ? material->specular : kDefaultSpecular;
  const float power = material ? material->specularPower : kDefaultPower;

  uint8_t d[4], a[4], s[4];
  for (int i = 0; i < 4; ++i) {
    d[i] = static_cast<uint8_t>(ColourByte(diffuse[i]));
    a[i] = static_cast<uint8_t>(ColourByte(ambient[i]));
    s[i] = static_cast<uint8_t>(ColourByte(specular[i]));
  }
  if ((flags & vkflag::kIgnoreDiffuse) && textured) d[0] = d[1] = d[2] = 255;
  const bool ambientOn = !(group.stripFlags & kFST_IA);
  const bool specularOn = !(group.stripFlags & kFST_IS);
  const int exponent = specularOn ? ExponentStep(power) : 0;
  const uint32_t textureFlags = attrflags & attr::kTextureFlags;

  if (!state.started) {
    std::memcpy(state.diffuse, d, 4);
    std::memcpy(state.ambient, a, 4);
    std::memcpy(state.specular, s, 4);
    state.exponent = exponent;
    state.textureFlags = textureFlags;
    state.textureId = group.textureId;
    WriteMaterialChunk(1 | (ambientOn ? 2 : 0) | (specularOn ? 4 : 0), attrflags, state);
    WriteTextureChunk(attrflags, group.textureId);
    state.started = true;
    return;
  }
  int parts = 0;
  if (std::memcmp(state.diffuse, d, 4) != 0) parts |= 1;
  std::memcpy(state.diffuse, d, 4);
  if (ambientOn) {
    if (std::memcmp(state.ambient, a, 4) != 0) parts |= 2;
    std::memcpy(state.ambient, a, 4);
  }
  if (specularOn) {
    if (std::memcmp(state.specular, s, 3) != 0 || state.exponent != exponent) parts |= 4;
    std::memcpy(state.specular, s, 4);
    state.exponent = exponent;
  }
  if (parts) WriteMaterialChunk(parts, attrflags, state);
  if (state.textureFlags != textureFlags || state.textureId != group.textureId) {
    state.textureFlags = textureFlags;
    state.textureId = group.textureId;
    WriteTextureChunk(attrflags, group.textureId);
  }
}

// ---- Strip flags and user words ------------------------------------------------------
bool VertexColoursCarryAlpha(const VKWriteInfo *info, uint32_t outputWord) {
  if ((outputWord & vkflag::kPolyVertexColour) && !(outputWord & vkflag::kNoVertexColour)) return true;
  if (info->chunkFlags & 0x08000000) return true;  // -vctouf
  switch (info->chunkFlags & 7) {
    case 2: case 5: case 6: case 7: return true;  // D8, S5, S4, IN
    default: return false;
  }
}

// Vertices carrying alpha: the scene records hold no such count on any
// route of this program, so it is always 0.
constexpr int kMeshAlphaVertices = 0;
// Per-polygon user words of a mesh: the reader never sets any.
constexpr int kMeshUserWords = 0;

uint16_t StripFlagsOf(const GroupContext &group) {
  const ScMaterials *material = group.material;
  uint16_t flags = 0;
  if (material) {
    const int kind = material->kind;
    if (kind == 1) flags |= kFST_IL;
    if (kind == 3) flags |= kFST_IS;
    if (kind != 4 && kind != 5) flags |= kFST_IS;
    for (const AttrToStrip &bit : kAttrToStrip)
      if (material->attrflags & bit.attr) flags |= bit.strip;
    if ((material->attrflags & attr::kUseAlpha) ||
        (VertexColoursCarryAlpha(group.info, group.outputWord) && kMeshAlphaVertices > 0))
      flags |= kFST_UA;
  }
  if (group.info->flags & vkflag::kDeleteAmbient) flags |= kFST_IA;
  return flags;
}

int UserWordsOf(uint32_t outputWord) {
  int count = kMeshUserWords;
  if (outputWord & vkflag::kPolyColourToUserFlag)
    count = 2;
  else if (outputWord & 3)
    count = static_cast<int>(outputWord & 3);
  return count > 3 ? 3 : count;
}

// ---- Chunk writing ----------------------------------------------------------------------
struct StripFormat {
  int uv;      // 0 none, 1 UVN (x256), 2 UVH (x1024)
  bool normal;
  bool colour;
  int userWords;
  bool colourWords;  // polygon colour as one ARGB8888 word in place of the user words
};

int TruncScaled(float value, double scale) { return TruncToInt(static_cast<double>(value) * scale); }

void WriteUserWords(const StripFormat &format, const ScPolygon *polygon) {
  if (format.userWords == 0) return;
  const ScAttribute *attribute = polygon->attribute;
  if (format.colourWords) {
    const float *c = attribute ? attribute->diffuse : kDefaultAmbient;
    VKPrint("!g$8", " %s( %d, %d, %d, %d ),", "MDiff", ColourByte(c[3]), ColourByte(c[0]), ColourByte(c[1]),
            ColourByte(c[2]));
    return;
  }
  VKPrintAscii("%s%d(", "Uf", format.userWords);
  for (int k = 0; k < format.userWords; ++k) {
    const unsigned word = attribute ? static_cast<unsigned>(attribute->tail[k]) & 0xFFFF : 0;
    if (k + 1 < format.userWords)
      VKPrint("S", " 0x%x,", word);
    else
      VKPrint("S", " 0x%x ),", word);
  }
}

void WriteStripVertex(const StripFormat &format, const VKStripVertex &vertex) {
  const ScPolyNode &corner = vertex.polygon->corners[vertex.corner];
  VKPrint("S", "%d, ", corner.vertex);
  if (format.uv) {
    const double scale = format.uv == 1 ? 256.0 : 1024.0;
    const int u = TruncScaled(corner.u, scale);
    const int v = TruncToInt((1.0 - static_cast<double>(corner.v)) * scale);
    VKPrint("!g$s$s", "\t%s( %d, %d ),", format.uv == 1 ? "Uvn" : "Uvh", u, v);
  }
  if (format.normal) {
    const float *n = corner.normal;
    VKPrintAscii(" %s( %f, %f, %f ), ", "Pvn", n[0], n[1], n[2]);
    VKPrintBin("sss", TruncScaled(n[0], 32767.0), TruncScaled(n[1], 32767.0), TruncScaled(n[2], 32767.0));
  }
  if (format.colour) {
    const uint8_t *c = corner.color;
    VKPrint("!g$8", " %s( %d, %d, %d, %d ), ", "MDiff", c[3], c[0], c[1], c[2]);
  }
}

void WriteStrip(const StripFormat &format, const VKStripPiece &piece, const VKStripVertex *vertices) {
  VKPrintAscii("\t%s(%d),  ", piece.left ? "StripL" : "StripR", piece.count);
  VKPrintBin("s", piece.left ? piece.count : -piece.count);
  for (int i = 0; i < piece.count; ++i) {
    if (format.userWords > 0) {
      if (i >= 3) VKPrintAscii("\n\t");
    } else if (i > 0 && i % 10 == 0) {
      VKPrintAscii("\n                   ");
    }
    WriteStripVertex(format, vertices[piece.first + i]);
    if (i >= 2) WriteUserWords(format, vertices[piece.first + i].polygon);
  }
  VKPrintAscii("\n");
}

void WriteNull() {
  VKPrintAscii("\t%s(),\n", "CnkNull");
  VKPrintBin("S", 0);
}

int WordsPerStripVertex(const StripFormat &format) {
  return 1 + (format.uv ? 2 : 0) + (format.normal ? 3 : 0) + (format.colour ? 2 : 0);
}

// Strip chunks of one kind: as many as the 16-bit size and 14-bit count need.
void WriteStripChunks(int id, uint16_t flags, const StripFormat &format, const VKStripSet &set) {
  const int words = WordsPerStripVertex(format);
  for (const VKStripRun &run : VKSplitStripChunks(set, words, format.userWords)) {
    const int size = VKEvenSize(run.size);
    const std::string flagText = VKFlagsText(flags, VKFlagWord::kStrip);
    VKPrintAscii("\t%s( %s ), %d, ", ChunkName(id), id == CnkO_ST ? "0x0" : flagText.c_str(), size);
    VKPrintAscii("%s( %s, %d ),\n", "_NB", kUfoNames[format.userWords], run.pieceCount);
    VKPrintBin("SSS", VKHeadWord(id, flags), size, VKCountWord(format.userWords, run.pieceCount));
    for (int p = run.firstPiece; p < run.firstPiece + run.pieceCount; ++p)
      WriteStrip(format, set.pieces[p], set.vertices.data());
    if (size != run.size) WriteNull();
  }
}

// CnkO_P3 / CnkO_P4 chunks: one line of corner indices per polygon.
void WritePolygonChunks(int id, const StripFormat &format, const std::vector<VKVolumePolygon> &polygons) {
  const int corners = id == CnkO_P4 ? 4 : 3;
  const int perPolygon = corners + format.userWords;
  const int maxCount = std::min(0x3FFF, (kMaxChunkSize - 1) / perPolygon);
  for (size_t first = 0; first < polygons.size(); first += maxCount) {
    const int count = static_cast<int>(std::min<size_t>(maxCount, polygons.size() - first));
    const int natural = count * perPolygon + 1;
    const int size = VKEvenSize(natural);
    VKPrintAscii("\t%s( 0x0 ), %d, ", ChunkName(id), size);
    VKPrintAscii("%s( %s, %d ),\n", "_NB", kUfoNames[format.userWords], count);
    VKPrintBin("SSS", VKHeadWord(id, 0), size, VKCountWord(format.userWords, count));
    for (size_t i = first; i < first + count; ++i) {
      const VKVolumePolygon &polygon = polygons[i];
      for (int c = 0; c < corners; ++c)
        VKPrint("S", c == 0 ? "\t%d, " : (c + 1 < corners ? "%d, " : "%d,"), polygon.vertices[c]);
      WriteUserWords(format, polygon.polygon);
      VKPrintAscii("\n");
    }
    if (size != natural) WriteNull();
  }
}

VKStripSet StripsOf(const VKMaterialGroup &group, int words, int userWords) {
  VKStripSet set;
  for (int list = 0; list < kVKStripListCount; ++list) VKCollectStrips(group.lists[list].first, words, userWords, set);
  return set;
}

VKVolumeSet VolumeOf(const VKMaterialGroup &group, bool pairs) {
  VKVolumeSet set;
  for (int list = 0; list < kVKStripListCount; ++list) VKCollectVolume(group.lists[list].first, pairs, set);
  return set;
}

void WriteVolumeGroup(const GroupContext &group, const VKMaterialGroup &lists) {
  StripFormat format{0, false, false, group.userWords, (group.outputWord & vkflag::kPolyColourToUserFlag) != 0};
  switch (group.info->chunkFlags & 0x06000000) {
    case 0x02000000: {
      const VKStripSet set = StripsOf(lists, 1, format.userWords);
      if (!set.pieces.empty()) WriteStripChunks(CnkO_ST, 0, format, set);
      break;
    }
    case 0x04000000: {
      const VKVolumeSet volume = VolumeOf(lists, false);
      WritePolygonChunks(CnkO_P3, format, volume.triangles);
      break;
    }
    default: {
      const VKVolumeSet volume = VolumeOf(lists, true);
      WritePolygonChunks(CnkO_P3, format, volume.triangles);
      WritePolygonChunks(CnkO_P4, format, volume.quads);
      break;
    }
  }
}

void WriteGroup(GroupContext &group, const VKMaterialGroup &lists, MaterialState &state) {
  const uint32_t F = group.outputWord;
  group.userWords = UserWordsOf(F);
  if (group.info->chunkFlags & 0x06000000) {
    WriteVolumeGroup(group, lists);
    return;
  }
  if (lists.stripTotal < 1) return;
  group.stripFlags = StripFlagsOf(group);
  WriteMaterialAndTexture(group, state);

  StripFormat format{0, false, false, group.userWords, (F & vkflag::kPolyColourToUserFlag) != 0};
  if (group.textureId != -1 && (!(group.stripFlags & kFST_ENV) || (F & vkflag::kEnvUv)))
    format.uv = (F & vkflag::kUvHigh) ? 2 : 1;
  if (F & vkflag::kPolyVertexNormal)
    format.normal = true;
  else if ((F & vkflag::kPolyVertexColour) && !(F & vkflag::kNoVertexColour))
    format.colour = true;
  const int id = CnkS + format.uv + (format.normal ? 3 : 0) + (format.colour ? 6 : 0);
  const VKStripSet set = StripsOf(lists, WordsPerStripVertex(format), format.userWords);
  if (!set.pieces.empty()) WriteStripChunks(id, group.stripFlags, format, set);
}

}  // namespace

void VKWritePolygonChunks(const VKWriteInfo *info, VKMaterialNode *node, const ScMesh *mesh) {
  MaterialState state{};
  if (!node || node->materialCount == 0 || !node->groups) {
    if (!node) return;
    GroupContext group{info, mesh, nullptr, -1, info->flags, 0, 0};
    WriteGroup(group, node->defaultGroup, state);
    return;
  }
  // Group leaders in group order.
  std::vector<VKMaterialGroup *> groups;
  for (int i = 0; i < node->materialCount; ++i)
    if (node->groups[i].leader == &node->groups[i] || !node->groups[i].leader) groups.push_back(&node->groups[i]);

  // The vertex-colour choice of the first group that makes one holds for all.
  uint32_t colourBits = 0;
  for (const VKMaterialGroup *group : groups) {
    if (group->material) colourBits = group->material->outputFlags & (vkflag::kPolyVertexColour | vkflag::kNoVertexColour);
    if (colourBits) break;
  }
  for (VKMaterialGroup *group : groups)
    if (group->material) group->material->outputFlags |= colourBits;

  for (VKMaterialGroup *lists : groups) {
    ScMaterials *material = lists->material;
    int textureId = -1;
    if (material && material->nbTexture > 0 && material->textures && (info->flags & vkflag::kTextures) &&
        lists->textureNumber >= 0) {
      textureId = lists->textureNumber;
      if (const ScTexture *texture = material->textures; texture->alphaKind == 2 || texture->alphaKind == 3)
        material->attrflags |= attr::kUseAlpha;
    }
    GroupContext group{info, mesh, material, textureId, material ? material->outputFlags : info->flags, 0, 0};
    WriteGroup(group, *lists, state);
  }
}
