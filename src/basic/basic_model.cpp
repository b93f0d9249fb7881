// The model writer of the Basic-model format: per node its material list,
// its polygon lists with the polygon-normal, vertex-colour and UV lists that
// go with them, its mesh sets, points, normals and model record, every line
// through the dual print.
#include <string>
#include <vector>

#include "base/flags.h"
#include "basic/basic_internal.h"
#include "binary/vkprint.h"
#include "binary/write_info.h"
#include "chunk/material_emit.h"
#include "chunk/strip_layout.h"
#include "process/nodelist.h"
#include "process/optimize.h"
#include "scene/records.h"

namespace {

// The mesh's count of coloured vertices: the scene records carry none on any
// route of this program, so no vertex-colour list is written.
constexpr int kMeshColouredVertices = 0;

// A strip is written whole unless its indices overflow the 15-bit count of
// its entry (the strip builder never makes one that long); longer ones would
// be cut into entries that keep their triangles' winding.
constexpr int kStripEntrySize = 0x7FFF + 2;

struct ListKind {
  const char *prefix;
  const char *keyword;
};
constexpr ListKind kPolygonList{"pg", "POLYGON     "};
constexpr ListKind kNormalList{"pn", "POLYNORMAL  "};
constexpr ListKind kColourList{"vc", "VERTCOLOR   "};
constexpr ListKind kUvList{"vuv", "VERTUV      "};

constexpr uint32_t kDirectionReversed = 0x8000;

std::string Named(const char *prefix, const char *objectBase) { return std::string(prefix) + "_" + objectBase; }

// "%s%s_%d_%s" of the list's prefix, the set's kind letter, its material
// index and the object base.
std::string ListName(const ListKind &list, const BasicPolySet &set, const char *objectBase) {
  return std::string(list.prefix) + set.kind.letter + "_" + std::to_string(set.material) + "_" + objectBase;
}

// Corner k of the zigzag order of an n-corner polygon: 0, 1, n-1, 2, n-2, ...
int ZigzagCorner(int k, int n) { return k == 0 ? 0 : k % 2 ? (k + 1) / 2 : n - k / 2; }

int Trunc(double value) {
  if (!(value > -2147483648.0 && value < 2147483647.0)) return 0;
  return static_cast<int>(value);
}

// One set with its strips when it is a strip set.
struct SetOutput {
  const BasicPolySet *set;
  VKStripSet strips;
  bool normals = false;  // lists written for the set
  bool colours = false;
  bool uvs = false;
  int meshes() const {
    return set->kind.type == kBasicStrips.type ? static_cast<int>(strips.pieces.size()) : set->list->count;
  }
};

// Every written corner of the set in order: the zigzag corners of each
// polygon, or the vertices of each strip.
template <typename Visit>
void ForEachCorner(const SetOutput &out, Visit visit) {
  if (out.set->kind.type == kBasicStrips.type) {
    for (const VKStripPiece &piece : out.strips.pieces)
      for (int k = 0; k < piece.count; ++k) {
        const VKStripVertex &vertex = out.strips.vertices[piece.first + k];
        visit(*vertex.polygon, vertex.corner);
      }
    return;
  }
  for (const ScPolygon *polygon = out.set->list->first; polygon; polygon = polygon->listNext)
    for (int k = 0; k < polygon->nbCorner; ++k) visit(*polygon, ZigzagCorner(k, polygon->nbCorner));
}

// Every written face of the set in order: each polygon, or each triangle of
// each strip.
template <typename Visit>
void ForEachFace(const SetOutput &out, Visit visit) {
  if (out.set->kind.type == kBasicStrips.type) {
    for (const VKStripPiece &piece : out.strips.pieces)
      for (int k = 2; k < piece.count; ++k) visit(*out.strips.vertices[piece.first + k].polygon);
    return;
  }
  for (const ScPolygon *polygon = out.set->list->first; polygon; polygon = polygon->listNext) visit(*polygon);
}

// ---- Payload lines ---------------------------------------------------------------------
void WritePolygonEntry(VKWriter &w, const ScPolygon &polygon, bool counted) {
  const int n = polygon.nbCorner;
  VKPrintAscii(w, "    ");
  if (counted) VKPrint(w, "$s", "%d,  ", n);
  for (int k = 0; k < n; ++k) {
    const int vertex = polygon.corners[ZigzagCorner(k, n)].vertex;
    if (k + 1 < n)
      VKPrint(w, "$s", "%d, ", vertex);
    else
      VKPrint(w, "$s", "%d,\n", vertex);
  }
}

void WriteStripEntry(VKWriter &w, const VKStripPiece &piece, const std::vector<VKStripVertex> &vertices) {
  const uint32_t direction = piece.left ? 0 : kDirectionReversed;
  VKPrintAscii(w, "    ");
  VKPrintAscii(w, "%s(0x%x, %d),  ", "Strip", direction, piece.count);
  VKPrintBin(w, "$s", static_cast<int>(piece.count | direction));
  for (int k = 0; k < piece.count; ++k) {
    const VKStripVertex &vertex = vertices[piece.first + k];
    VKPrint(w, "$s", "%d, ", vertex.polygon->corners[vertex.corner].vertex);
    if ((k + 1) % 10 == 0 && k + 1 < piece.count) VKPrintAscii(w, "\n            ");
  }
  VKPrintAscii(w, "\n");
}

void WritePolygonNormal(VKWriter &w, const ScPolygon &polygon) {
  const float *n = polygon.normal;
  VKPrint(w, "!g$f$f$f", "%s( %9.6fF, %9.6fF, %9.6fF ),\n", "\tPNORM", static_cast<double>(n[0]),
          static_cast<double>(n[1]), static_cast<double>(n[2]));
}

// The colour of the corner's vertex, bytes stored B, G, R, A.
void WriteVertexColour(VKWriter &w, const ScMesh &mesh, const ScPolygon &polygon, int corner) {
  const uint8_t *c = mesh.vertices[polygon.corners[corner].vertex].diffuse;
  VKPrint(w, "!g$8", "%s( %d, %d, %d, %d),\n", "\tARGB", c[3], c[2], c[1], c[0]);
}

void WriteUv(VKWriter &w, const ScPolygon &polygon, int corner) {
  const ScPolyNode &node = polygon.corners[corner];
  const int u = Trunc(static_cast<double>(node.u) * 255.0);
  const int v = Trunc((1.0 - static_cast<double>(node.v)) * 255.0);
  VKPrintAscii(w, "%s( %d, %d ),\n", "\tUV", u, v);
  VKPrintBin(w, "$I", static_cast<uint32_t>(v) << 16 | (static_cast<uint32_t>(u) & 0xFFFF));
}

// ---- Lists ---------------------------------------------------------------------------------
template <typename Payload>
void WriteList(VKWriter &w, const ListKind &kind, const std::string &name, Payload payload) {
  VKPrint(w, "T1", "%s%s[]\n", kind.keyword, name.c_str());
  VKPrintAscii(w, "%s\n", "START");
  payload();
  VKPrintAscii(w, "%s\n\n", "END");
}

void WritePolygonList(VKWriter &w, const SetOutput &out, const char *objectBase) {
  WriteList(w, kPolygonList, ListName(kPolygonList, *out.set, objectBase), [&] {
    if (out.set->kind.type == kBasicStrips.type) {
      for (const VKStripPiece &piece : out.strips.pieces) WriteStripEntry(w, piece, out.strips.vertices);
      return;
    }
    const bool counted = out.set->kind.type == kBasicPolygons.type;
    for (const ScPolygon *polygon = out.set->list->first; polygon; polygon = polygon->listNext)
      WritePolygonEntry(w, *polygon, counted);
  });
}

// ---- Materials -----------------------------------------------------------------------------
// The attribute flags written for a group's material, stored back into it.
uint32_t AttributeFlags(const VKWriteInfo *info, ScMaterials *material, int textureNumber) {
  uint32_t flags = material->attrflags;
  if (material->kind == 1) flags |= vkattr::kIgnoreLight;
  if (material->kind == 3) flags |= vkattr::kIgnoreSpecular;
  const VKOptimizeInfo *oinfo = info->optimizeInfo;
  if (textureNumber >= 0 && textureNumber < oinfo->uniqueTextureCount) {
    const ScTexture *texture = VKUniqueTexture(oinfo, textureNumber)->texture;
    if (texture && (texture->alphaKind == 2 || texture->alphaKind == 3)) flags |= vkattr::kUseAlpha;
  }
  material->attrflags = flags;
  return flags;
}

void WriteMaterialLines(VKWriter &w, const int diffuse[4], const int specular[4], double exponent, int texture,
                        uint32_t flags) {
  VKPrint(w, "!g$8", "%s( %d, %d, %d, %d ),\n", "Diffuse   ", diffuse[0], diffuse[1], diffuse[2], diffuse[3]);
  VKPrint(w, "!g$8", "%s( %d, %d, %d, %d ),\n", "Specular  ", specular[0], specular[1], specular[2], specular[3]);
  VKPrint(w, "!g$f", "%s( %4.1fF ),\n", "Exponent  ", exponent);
  VKPrintAscii(w, "%s( 0x%x, %d ),\n", "AttrTexId ", 0, texture);
  VKPrintBin(w, "$I", texture);
  VKPrint(w, "!g$I", "%s( 0x%08x ),\n", "AttrFlags ", flags);
}

void WriteMaterial(const VKWriteInfo *info, const VKMaterialGroup &group) {
  VKWriter &w = *info->writer;
  ScMaterials *material = group.material;
  const bool textured = group.texture >= 0 && (info->flags & vkflag::kTextures);
  const int texture = textured ? group.textureNumber : 0;
  const uint32_t flags = AttributeFlags(info, material, textured ? group.textureNumber : -1);
  const float *d = material->diffuse, *s = material->specular;
  const int diffuse[4] = {VKColourByte(d[3]), VKColourByte(d[0]), VKColourByte(d[1]), VKColourByte(d[2])};
  const int specular[4] = {VKColourByte(s[3]), VKColourByte(s[0]), VKColourByte(s[1]), VKColourByte(s[2])};
  VKPrintAscii(w, "MATSTART\n");
  WriteMaterialLines(w, diffuse, specular, VKExponentStep(material->specularPower), texture, flags);
  VKPrintAscii(w, "MATEND\n\n");
}

void WriteMaterialList(const VKWriteInfo *info, const std::vector<const VKMaterialGroup *> &groups) {
  VKWriter &w = *info->writer;
  VKPrint(w, "T1", "%s%s[]\n", "MATERIAL    ", Named("matlist", info->objectBase).c_str());
  VKPrintAscii(w, "START\n\n");
  for (const VKMaterialGroup *group : groups) WriteMaterial(info, *group);
  VKPrintAscii(w, "END\n\n");
}

// ---- Mesh sets, points, normals, model record ----------------------------------------------
void WriteMeshSet(VKWriter &w, const SetOutput &out, const char *objectBase) {
  const BasicPolySet &set = *out.set;
  const auto nameOr = [&](bool written, const ListKind &list) {
    return written ? ListName(list, set, objectBase) : std::string("NULL");
  };
  VKPrintAscii(w, "%s\n", "MESHSTART");
  VKPrintAscii(w, "%s( 0x%04x, %d ),\n", "TypeMatId ", set.kind.type, set.material);
  VKPrintBin(w, "$S", set.kind.type | set.material);
  VKPrint(w, "!g$S", "%s%d,\n", "MeshNum     ", out.meshes());
  VKPrint(w, "P1", "%s%s,\n", "Meshes      ", ListName(kPolygonList, set, objectBase).c_str());
  VKPrint(w, "P1", "%s%s,\n", "PolyAttrs   ", "NULL");
  VKPrint(w, "P1", "%s%s,\n", "PolyNormal  ", nameOr(out.normals, kNormalList).c_str());
  VKPrint(w, "P1", "%s%s,\n", "VertColor   ", nameOr(out.colours, kColourList).c_str());
  VKPrint(w, "P1", "%s%s,\n", "VertUV      ", nameOr(out.uvs, kUvList).c_str());
  VKPrintAscii(w, "%s\n\n", "MESHEND");
}

void WriteVectors(VKWriter &w, const char *keyword, const std::string &name, const char *macro, const ScMesh &mesh,
                  bool positions, float scale) {
  VKPrint(w, "T1", "%s%s[]\n", keyword, name.c_str());
  VKPrintAscii(w, "%s\n", "START");
  for (int i = 0; i < mesh.nbVertex; ++i) {
    const ScVertex &vertex = mesh.vertices[i];
    const float *v = positions ? vertex.pos : vertex.normal;
    const float f = positions ? scale : 1.0f;
    VKPrint(w, "!g$f$f$f", "%s( %9.6fF, %9.6fF, %9.6fF ),\n", macro, static_cast<double>(v[0] * f),
            static_cast<double>(v[1] * f), static_cast<double>(v[2] * f));
  }
  VKPrintAscii(w, "%s\n\n", "END");
}

void WriteModelRecord(const VKWriteInfo *info, const ScNode *node, const ScMesh &mesh, int meshSets, int groups) {
  VKWriter &w = *info->writer;
  const char *base = info->objectBase;
  const float scale = info->globalScale;
  const std::string materials = groups > 0 ? Named("matlist", base) : std::string(info->defaultMaterialName);
  VKPrint(w, "T1", "%s%s[]\n", "MODEL       ", info->modelName);
  VKPrintAscii(w, "%s\n", "START");
  VKPrint(w, "P1", "%s%s,\n", "Points      ", Named("point", base).c_str());
  VKPrint(w, "P1", "%s%s,\n", "Normal      ", Named("normal", base).c_str());
  VKPrint(w, "!g$I", "%s%d,\n", "PointNum    ", mesh.nbVertex);
  VKPrint(w, "P1", "%s%s,\n", "Meshset     ", Named("meshset", base).c_str());
  VKPrint(w, "P1", "%s%s,\n", "Materials   ", materials.c_str());
  VKPrint(w, "!g$S", "%s%d,\n", "MeshsetNum  ", meshSets);
  VKPrint(w, "!g$S", "%s%d,\n", "MatNum      ", groups);
  const float *centre = node->bbox.local.average;
  VKPrint(w, "!g$f$f$f", "%s%9.6fF, %9.6fF, %9.6fF,\n", "Center      ", static_cast<double>(centre[0] * scale),
          static_cast<double>(centre[1] * scale), static_cast<double>(centre[2] * scale));
  VKPrint(w, "!g$f", "%s%9.6fF,\n", "Radius      ", static_cast<double>(node->bbox.world.radius * scale));
  VKPrintAscii(w, "%s\n\n", "END");
}

}  // namespace

void WriteBasicDefaultMaterialList(const VKWriteInfo *info) {
  static constexpr int kDiffuse[4] = {255, 191, 191, 191};
  static constexpr int kSpecular[4] = {255, 255, 255, 255};
  VKWriter &w = *info->writer;
  VKPrint(w, "T1", "%s%s[]\n", "MATERIAL    ", info->defaultMaterialName);
  VKPrintAscii(w, "%s\n\n", "START");
  VKPrintAscii(w, "%s\n", "MATSTART");
  WriteMaterialLines(w, kDiffuse, kSpecular, 6.0, 0, vkattr::kDefault);
  VKPrintAscii(w, "%s\n\n", "MATEND");
  VKPrintAscii(w, "%s\n\n", "END");
}

void WriteBasicModel(VKWriteInfo *info, const ScNode *node, bool hasModel) {
  VKWriter &w = *info->writer;
  const VKMaterialNode &materialNode = info->optimizeInfo->mnlist[node->nameId];
  const std::vector<const VKMaterialGroup *> groups = BasicMaterialGroups(materialNode);
  if (!groups.empty()) WriteMaterialList(info, groups);
  const ScMesh *mesh = ScGetMesh(node->model);
  if (!hasModel || !mesh) return;

  const char *base = info->objectBase;
  const uint32_t flags = info->flags;
  const std::vector<BasicPolySet> sets = BasicPolySets(materialNode);
  std::vector<SetOutput> outputs(sets.size());
  for (size_t i = 0; i < sets.size(); ++i) {
    SetOutput &out = outputs[i];
    out.set = &sets[i];
    if (sets[i].kind.type == kBasicStrips.type) VKCollectStrips(sets[i].list->first, 1, 0, out.strips, kStripEntrySize);
    out.normals = (flags & vkflag::kPolyNormal) != 0;
    out.colours = (flags & vkflag::kPolyVertexColour) && kMeshColouredVertices >= 1;
    out.uvs = (flags & vkflag::kTextures) && !groups.empty() && sets[i].group->texture >= 0;
  }

  for (const SetOutput &out : outputs) WritePolygonList(w, out, base);
  for (const SetOutput &out : outputs) {
    if (!out.normals) continue;
    WriteList(w, kNormalList, ListName(kNormalList, *out.set, base),
              [&] { ForEachFace(out, [&](const ScPolygon &polygon) { WritePolygonNormal(w, polygon); }); });
  }
  for (const SetOutput &out : outputs) {
    if (!out.colours) continue;
    WriteList(w, kColourList, ListName(kColourList, *out.set, base), [&] {
      ForEachCorner(out, [&](const ScPolygon &polygon, int corner) { WriteVertexColour(w, *mesh, polygon, corner); });
    });
  }
  for (const SetOutput &out : outputs) {
    if (!out.uvs) continue;
    WriteList(w, kUvList, ListName(kUvList, *out.set, base),
              [&] { ForEachCorner(out, [&](const ScPolygon &polygon, int corner) { WriteUv(w, polygon, corner); }); });
  }

  VKPrint(w, "T1", "%s%s[]\n", "MESHSET     ", Named("meshset", base).c_str());
  VKPrintAscii(w, "%s\n\n", "START");
  for (const SetOutput &out : outputs) WriteMeshSet(w, out, base);
  VKPrintAscii(w, "%s\n\n", "END");

  WriteVectors(w, "POINT       ", Named("point", base), "\tVERT", *mesh, true, info->globalScale);
  WriteVectors(w, "NORMAL      ", Named("normal", base), "\tNORM", *mesh, false, 1.0f);
  WriteModelRecord(info, node, *mesh, static_cast<int>(outputs.size()), static_cast<int>(groups.size()));
}
