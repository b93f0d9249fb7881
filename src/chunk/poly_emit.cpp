// Polygon list of one node: per material group its material and texture
// chunks, then its strip chunks, or in the volume modes the CnkO_ST /
// CnkO_P3 / CnkO_P4 chunks.
#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "base/flags.h"
#include "base/numbers.h"
#include "binary/vkprint.h"
#include "binary/write_info.h"
#include "chunk/emit.h"
#include "chunk/encoding.h"
#include "chunk/material_emit.h"
#include "chunk/strip_layout.h"
#include "process/optimize.h"
#include "scene/records.h"

namespace {

// Strip-flag bits taken from a material's attrflags.
struct AttrToStrip {
  uint32_t attr;
  uint16_t strip;
};
constexpr AttrToStrip kAttrToStrip[] = {
    {vkattr::kIgnoreLight, vkfst::kIL},    {vkattr::kIgnoreSpecular, vkfst::kIS},
    {vkattr::kIgnoreAmbient, vkfst::kIA},  {vkattr::kDoubleSided, vkfst::kDB},
    {vkattr::kFlat, vkfst::kFL},           {vkattr::kEnvironment, vkfst::kENV},
};

const char *ChunkName(int id) { return VKFindChunkKindById(id)->name.data(); }


struct GroupContext {
  VKWriteInfo *info;
  const ScMesh *mesh;
  ScMaterials *material;  // null for the default group
  int textureId;          // -1 when untextured
  uint32_t outputWord;    // F
  int userWords;          // U
  uint16_t stripFlags;    // S
};

// ---- Strip flags and user words ------------------------------------------------------
bool VertexColoursCarryAlpha(const VKWriteInfo *info, uint32_t outputWord) {
  if ((outputWord & vkflag::kPolyVertexColour) && !(outputWord & vkflag::kNoVertexColour)) return true;
  if (info->chunkFlags & vkopt::kChunkVertexColourToUserFlag) return true;
  switch (info->chunkFlags & vkopt::kChunkVertexFormatMask) {
    case vkopt::kCnkV_D8: case vkopt::kCnkV_S5: case vkopt::kCnkV_S4: case vkopt::kCnkV_IN: return true;
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
    if (kind == 1) flags |= vkfst::kIL;
    if (kind == 3) flags |= vkfst::kIS;
    if (kind != 4 && kind != 5) flags |= vkfst::kIS;
    for (const AttrToStrip &bit : kAttrToStrip)
      if (material->attrflags & bit.attr) flags |= bit.strip;
    if ((material->attrflags & vkattr::kUseAlpha) ||
        (VertexColoursCarryAlpha(group.info, group.outputWord) && kMeshAlphaVertices > 0))
      flags |= vkfst::kUA;
  }
  if (group.info->flags & vkflag::kDeleteAmbient) flags |= vkfst::kIA;
  return flags;
}

int UserWordsOf(uint32_t outputWord) {
  int count = kMeshUserWords;
  if (outputWord & vkflag::kPolyColourToUserFlag)
    count = 2;
  else if (outputWord & vkflag::kUserWordsMask)
    count = static_cast<int>(outputWord & vkflag::kUserWordsMask);
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

int TruncScaled(float value, double scale) { return VKTruncToInt(static_cast<double>(value) * scale); }

void WriteUserWords(VKWriter &w, const StripFormat &format, const ScPolygon *polygon) {
  if (format.userWords == 0) return;
  const ScAttribute *attribute = polygon->attribute;
  if (format.colourWords) {
    static constexpr float kNoColour[4] = {0, 0, 0, 0};
    const float *c = attribute ? attribute->diffuse : kNoColour;
    VKPrint(w, "!g$8", " %s( %d, %d, %d, %d ),", "MDiff", VKColourByte(c[3]), VKColourByte(c[0]), VKColourByte(c[1]),
            VKColourByte(c[2]));
    return;
  }
  VKPrintAscii(w, "%s%d(", "Uf", format.userWords);
  for (int k = 0; k < format.userWords; ++k) {
    const unsigned word = attribute ? static_cast<unsigned>(attribute->tail[k]) & 0xFFFF : 0;
    if (k + 1 < format.userWords)
      VKPrint(w, "S", " 0x%x,", word);
    else
      VKPrint(w, "S", " 0x%x ),", word);
  }
}

void WriteStripVertex(VKWriteInfo *info, const StripFormat &format, const VKStripVertex &vertex) {
  VKWriter &w = *info->writer;
  const ScPolyNode &corner = vertex.polygon->corners[vertex.corner];
  VKPrint(w, "S", "%d, ", corner.vertex);
  if (format.uv) {
    const double scale = format.uv == 1 ? 256.0 : 1024.0;
    const int u = VKClampUv(info, static_cast<double>(corner.u) * scale);
    const int v = VKClampUv(info, (1.0 - static_cast<double>(corner.v)) * scale);
    VKPrint(w, "!g$s$s", "\t%s( %d, %d ),", format.uv == 1 ? "Uvn" : "Uvh", u, v);
  }
  if (format.normal) {
    const float n[3] = {VKClampNormal(info, corner.normal[0]), VKClampNormal(info, corner.normal[1]),
                        VKClampNormal(info, corner.normal[2])};
    VKPrintAscii(w, " %s( %f, %f, %f ), ", "Pvn", n[0], n[1], n[2]);
    VKPrintBin(w, "sss", TruncScaled(n[0], 32767.0), TruncScaled(n[1], 32767.0), TruncScaled(n[2], 32767.0));
  }
  if (format.colour) {
    const uint8_t *c = corner.color;
    VKPrint(w, "!g$8", " %s( %d, %d, %d, %d ), ", "MDiff", c[3], c[0], c[1], c[2]);
  }
}

void WriteStrip(VKWriteInfo *info, const StripFormat &format, const VKStripPiece &piece,
                const VKStripVertex *vertices) {
  VKWriter &w = *info->writer;
  VKPrintAscii(w, "\t%s(%d),  ", piece.left ? "StripL" : "StripR", piece.count);
  VKPrintBin(w, "s", piece.left ? piece.count : -piece.count);
  for (int i = 0; i < piece.count; ++i) {
    if (format.userWords > 0) {
      if (i >= 3) VKPrintAscii(w, "\n\t");
    } else if (i > 0 && i % 10 == 0) {
      VKPrintAscii(w, "\n                   ");
    }
    WriteStripVertex(info, format, vertices[piece.first + i]);
    if (i >= 2) WriteUserWords(w, format, vertices[piece.first + i].polygon);
  }
  VKPrintAscii(w, "\n");
}

void WriteNull(VKWriter &w) {
  VKPrintAscii(w, "\t%s(),\n", "CnkNull");
  VKPrintBin(w, "S", 0);
}

int WordsPerStripVertex(const StripFormat &format) {
  return 1 + (format.uv ? 2 : 0) + (format.normal ? 3 : 0) + (format.colour ? 2 : 0);
}

// Strip chunks of one kind: as many as the 16-bit size and 14-bit count need.
void WriteStripChunks(VKWriteInfo *info, int id, uint16_t flags, const StripFormat &format, const VKStripSet &set) {
  VKWriter &w = *info->writer;
  const int words = WordsPerStripVertex(format);
  for (const VKStripRun &run : VKSplitStripChunks(set, words, format.userWords)) {
    const int size = VKEvenSize(run.size);
    const std::string flagText = VKFlagsText(flags, VKFlagWord::kStrip);
    VKPrintAscii(w, "\t%s( %s ), %d, ", ChunkName(id), id == CnkO_ST ? "0x0" : flagText.c_str(), size);
    VKPrintAscii(w, "%s( %s, %d ),\n", "_NB", kVKUserOffsetNames[format.userWords], run.pieceCount);
    VKPrintBin(w, "SSS", VKHeadWord(id, flags), size, VKCountWord(format.userWords, run.pieceCount));
    for (int p = run.firstPiece; p < run.firstPiece + run.pieceCount; ++p)
      WriteStrip(info, format, set.pieces[p], set.vertices.data());
    if (size != run.size) WriteNull(w);
  }
}

// CnkO_P3 / CnkO_P4 chunks: one line of corner indices per polygon.
void WritePolygonChunks(VKWriter &w, int id, const StripFormat &format,
                        const std::vector<VKVolumePolygon> &polygons) {
  const int corners = id == CnkO_P4 ? 4 : 3;
  const int perPolygon = corners + format.userWords;
  const int maxCount = std::min(kVKMaxChunkCount, (kMaxChunkSize - 1) / perPolygon);
  for (size_t first = 0; first < polygons.size(); first += maxCount) {
    const int count = static_cast<int>(std::min<size_t>(maxCount, polygons.size() - first));
    const int natural = count * perPolygon + 1;
    const int size = VKEvenSize(natural);
    VKPrintAscii(w, "\t%s( 0x0 ), %d, ", ChunkName(id), size);
    VKPrintAscii(w, "%s( %s, %d ),\n", "_NB", kVKUserOffsetNames[format.userWords], count);
    VKPrintBin(w, "SSS", VKHeadWord(id, 0), size, VKCountWord(format.userWords, count));
    for (size_t i = first; i < first + count; ++i) {
      const VKVolumePolygon &polygon = polygons[i];
      for (int c = 0; c < corners; ++c)
        VKPrint(w, "S", c == 0 ? "\t%d, " : (c + 1 < corners ? "%d, " : "%d,"), polygon.vertices[c]);
      WriteUserWords(w, format, polygon.polygon);
      VKPrintAscii(w, "\n");
    }
    if (size != natural) WriteNull(w);
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
  VKWriter &w = *group.info->writer;
  StripFormat format{0, false, false, group.userWords, (group.outputWord & vkflag::kPolyColourToUserFlag) != 0};
  switch (vkopt::VolumeMode(group.info->chunkFlags)) {
    case vkopt::kChunkVolumeStrip: {
      const VKStripSet set = StripsOf(lists, 1, format.userWords);
      if (!set.pieces.empty()) WriteStripChunks(group.info, CnkO_ST, 0, format, set);
      break;
    }
    case vkopt::kChunkVolumePoly3: {
      const VKVolumeSet volume = VolumeOf(lists, false);
      WritePolygonChunks(w, CnkO_P3, format, volume.triangles);
      break;
    }
    default: {
      const VKVolumeSet volume = VolumeOf(lists, true);
      WritePolygonChunks(w, CnkO_P3, format, volume.triangles);
      WritePolygonChunks(w, CnkO_P4, format, volume.quads);
      break;
    }
  }
}

void WriteGroup(GroupContext &group, const VKMaterialGroup &lists, VKMaterialState &state) {
  const uint32_t F = group.outputWord;
  group.userWords = UserWordsOf(F);
  if (group.info->chunkFlags & vkopt::kChunkVolumeMask) {
    WriteVolumeGroup(group, lists);
    return;
  }
  if (lists.stripTotal < 1) return;
  group.stripFlags = StripFlagsOf(group);
  VKWriteMaterialChunks(group.info, group.material, group.textureId, group.stripFlags, state);

  StripFormat format{0, false, false, group.userWords, (F & vkflag::kPolyColourToUserFlag) != 0};
  if (group.textureId != -1 && (!(group.stripFlags & vkfst::kENV) || (F & vkflag::kEnvUv)))
    format.uv = (F & vkflag::kUvHigh) ? 2 : 1;
  if (F & vkflag::kPolyVertexNormal)
    format.normal = true;
  else if ((F & vkflag::kPolyVertexColour) && !(F & vkflag::kNoVertexColour))
    format.colour = true;
  const int id = CnkS + format.uv + (format.normal ? 3 : 0) + (format.colour ? 6 : 0);
  const VKStripSet set = StripsOf(lists, WordsPerStripVertex(format), format.userWords);
  if (!set.pieces.empty()) WriteStripChunks(group.info, id, group.stripFlags, format, set);
}

}  // namespace

void VKWritePolygonChunks(VKWriteInfo *info, VKMaterialNode *node, const ScMesh *mesh) {
  VKMaterialState state{};
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
  constexpr uint32_t kColourChoice = vkflag::kPolyVertexColour | vkflag::kNoVertexColour;
  uint32_t colourBits = 0;
  for (const VKMaterialGroup *group : groups) {
    if (group->material) colourBits = group->material->outputFlags & kColourChoice;
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
        material->attrflags |= vkattr::kUseAlpha;
    }
    GroupContext group{info, mesh, material, textureId, material ? material->outputFlags : info->flags, 0, 0};
    WriteGroup(group, *lists, state);
  }
}
