// Scene building: the node hierarchy by name from the last OBJECT block, and
// the conversion of each object's model into vertices, polygons, attributes,
// materials and textures. Every reference a model needs is checked before
// anything of it is converted, so an invalid file is refused cleanly.
#include "reader/scene_build.h"

#include <algorithm>
#include <cstdio>
#include <string>

#include "base/flags.h"
#include "base/numbers.h"
#include "reader/expansion.h"
#include "reader/mesh_faces.h"
#include "reader/name_index.h"
#include "scene/memory.h"

namespace vkreader {
namespace {

constexpr int kMaxDepth = 128;
constexpr long kMaxNodes = 1000000;
constexpr long long kMaxPolygons = 50000000;
constexpr const char *kDefaultNodeName = "gonbe0";


struct EvalTag {
  uint32_t bit;
  const char *tag;
};
constexpr EvalTag kEvalTags[] = {
    {vkeval::kTagEs, "Es"}, {vkeval::kTagSs, "Ss"}, {vkeval::kNoModel, "Hi"}, {vkeval::kNoChild, "Bk"}};

constexpr float kSpecularPower[17] = {0, 1, 2, 3, 4, 6, 8, 12, 16, 24, 32, 48, 64, 96, 128, 192, 256};

float SpecularPower(float exponent) {
  for (int i = 0; i < 17; i++) {
    if (exponent == static_cast<float>(i)) return kSpecularPower[i];
  }
  return 0.0f;
}

// Red, green, blue, alpha floats of an ARGB8888 word.
void ColourFloats(uint32_t word, float *out) {
  out[0] = static_cast<float>(((word >> 16) & 0xFF) / 255.0);
  out[1] = static_cast<float>(((word >> 8) & 0xFF) / 255.0);
  out[2] = static_cast<float>((word & 0xFF) / 255.0);
  out[3] = static_cast<float>(((word >> 24) & 0xFF) / 255.0);
}

struct ModelCheck {
  bool checked = false;
  bool valid = false;
  int32_t triangles = 0;
  int32_t quads = 0;
};

class SceneBuilder {
 public:
  explicit SceneBuilder(const ReaderContext &ctx) : ctx_(ctx), checks_(ctx.models.size()), active_(ctx.objects.size()) {
    const char *base = ctx.fileName;
    for (const char *p = ctx.fileName; *p; p++) {
      if (*p == '\\' || *p == '/') base = p + 1;
    }
    std::string baseName(base);
    baseName = baseName.substr(0, baseName.find('.'));
    prefixLength_ = std::string("object_").size() + baseName.size() + 1;
    slotEntry_.assign(ctx.materials.size(), -1);
    for (size_t k = 0; k < ctx.materialTable.size(); k++) {
      slotEntry_[static_cast<size_t>(ctx.materialTable[k].slot)] = static_cast<int32_t>(k);
    }
    for (size_t i = 0; i < ctx.objects.size(); i++) objectIndex_.Add(ctx.objects[i].name, static_cast<int32_t>(i));
  }

  ScObject *Build() {
    if (!CheckExpansion(ctx_, objectIndex_)) return nullptr;
    const int32_t last = static_cast<int32_t>(ctx_.objects.size()) - 1;
    const std::string rootName = NodeName(last);
    const int kind = (ctx_.objects.front().evalflags & vkeval::kSourceAngles) ? 8 : 7;
    ScObject *scene = ScObjectAlloc(rootName.c_str(), kind);
    if (!scene) return nullptr;
    scene->modelCount = static_cast<int32_t>(ctx_.objects.size());
    ScResetCreationCounters();
    scene->root = ScModelAlloc(rootName.c_str());
    nodes_ = 1;
    if (!scene->root || !BuildChain(scene->root, nullptr, last, 1)) {
      ScObjectFree(scene);
      return nullptr;
    }
    return scene;
  }

 private:
  std::string NodeName(int32_t object) const {
    const std::string &name = ctx_.objects[static_cast<size_t>(object)].name;
    return name.size() > prefixLength_ ? name.substr(prefixLength_) : std::string(kDefaultNodeName);
  }

  // Builds `node` from `object`, its child subtree, then its chain of
  // siblings (iteratively: sibling chains may be long, child nesting is
  // bounded by kMaxDepth). Every object of the chain stays marked while the
  // chain is built: reaching a marked object again would never end.
  bool BuildChain(ScModel *node, ScModel *parent, int32_t object, int depth) {
    std::vector<int32_t> chain;
    bool ok = true;
    for (;;) {
      active_[static_cast<size_t>(object)] = 1;
      chain.push_back(object);
      const BasicObject &o = ctx_.objects[static_cast<size_t>(object)];
      if (!Convert(node, parent, o)) {
        ok = false;
        break;
      }
      if (o.childName != kNoReference) {
        const int32_t c = objectIndex_.First(o.childName);
        if (c >= 0) {
          if (depth >= kMaxDepth) {
            std::fprintf(stderr, "Error : %s : Line %d : the object hierarchy is deeper than %d levels\n",
                         ctx_.fileName, o.childLine, kMaxDepth);
            ok = false;
            break;
          }
          ScModel *child = NewNode(c, o.childLine, "Child");
          if (!child) {
            ok = false;
            break;
          }
          node->child = child;
          if (!BuildChain(child, node, c, depth + 1)) {
            ok = false;
            break;
          }
        }
      }
      if (o.siblingName == kNoReference) break;
      const int32_t s = objectIndex_.First(o.siblingName);
      if (s < 0) break;
      ScModel *sibling = NewNode(s, o.siblingLine, "Sibling");
      if (!sibling) {
        ok = false;
        break;
      }
      node->sibling = sibling;
      node = sibling;
      object = s;
    }
    for (int32_t i : chain) active_[static_cast<size_t>(i)] = 0;
    return ok;
  }

  ScModel *NewNode(int32_t object, int32_t line, const char *what) {
    if (active_[static_cast<size_t>(object)]) {
      std::fprintf(stderr, "Error : %s : Line %d : %s %s leads back to an object that contains it\n", ctx_.fileName,
                   line, what, ctx_.objects[static_cast<size_t>(object)].name.c_str());
      return nullptr;
    }
    if (++nodes_ > kMaxNodes) {
      std::fprintf(stderr, "Error : %s : Line %d : the object hierarchy expands to more than %ld nodes\n",
                   ctx_.fileName, line, kMaxNodes);
      return nullptr;
    }
    return ScModelAlloc(NodeName(object).c_str());
  }

  // ---- Checks -------------------------------------------------------------

  const ModelCheck &Check(int32_t modelIndex) {
    ModelCheck &check = checks_[static_cast<size_t>(modelIndex)];
    if (!check.checked) {
      check.checked = true;
      check.valid = CheckModel(ctx_.models[static_cast<size_t>(modelIndex)], &check);
    }
    return check;
  }

  bool CheckModel(const BasicModel &m, ModelCheck *check) const {
    const char *file = ctx_.fileName;
    const char *model = m.name.c_str();
    if (m.nbPoint < 0) {
      std::fprintf(stderr, "Error : %s : Line %d : MODEL %s has a negative PointNum %d\n", file, m.line, model,
                   m.nbPoint);
      return false;
    }
    if (m.nbPoint > 0 && m.points < 0) {
      std::fprintf(stderr, "Error : %s : Line %d : MODEL %s has %d points but no POINT list (Points %s)\n", file,
                   m.pointsLine, model, m.nbPoint, m.pointsName.c_str());
      return false;
    }
    if (m.points >= 0) {
      const auto &block = ctx_.points[static_cast<size_t>(m.points)];
      if (block.items.size() < static_cast<size_t>(m.nbPoint)) {
        std::fprintf(stderr, "Error : %s : Line %d : POINT %s holds %d points, MODEL %s needs PointNum %d\n", file,
                     block.line, block.name.c_str(), static_cast<int>(block.items.size()), model, m.nbPoint);
        return false;
      }
    }
    if (m.normals >= 0) {
      const auto &block = ctx_.normals[static_cast<size_t>(m.normals)];
      if (block.items.size() < static_cast<size_t>(m.nbPoint)) {
        std::fprintf(stderr, "Error : %s : Line %d : NORMAL %s holds %d normals, MODEL %s needs PointNum %d\n", file,
                     block.line, block.name.c_str(), static_cast<int>(block.items.size()), model, m.nbPoint);
        return false;
      }
    }
    if (m.nbMeshset > 0 && m.meshsets < 0) {
      std::fprintf(stderr, "Error : %s : Line %d : MODEL %s has %d mesh sets but no MESHSET list (Meshset %s)\n",
                   file, m.meshsetLine, model, m.nbMeshset, m.meshsetName.c_str());
      return false;
    }
    if (m.meshsets >= 0 && static_cast<size_t>(m.meshsets) + m.nbMeshset > ctx_.meshsets.size()) {
      std::fprintf(stderr, "Error : %s : Line %d : MODEL %s: MeshsetNum %d runs past the last mesh set of the file\n",
                   file, m.meshsetLine, model, m.nbMeshset);
      return false;
    }
    if (m.nbMat > 0 && m.mats < 0) {
      std::fprintf(stderr, "Error : %s : Line %d : MODEL %s has %d materials but no MATERIAL list (Materials %s)\n",
                   file, m.materialsLine, model, m.nbMat, m.materialsName.c_str());
      return false;
    }
    if (m.mats >= 0 && static_cast<size_t>(m.mats) + m.nbMat > ctx_.materials.size()) {
      std::fprintf(stderr, "Error : %s : Line %d : MODEL %s: MatNum %d runs past the last material of the file\n", file,
                   m.materialsLine, model, m.nbMat);
      return false;
    }
    long long triangles = 0, quads = 0;
    for (int i = 0; i < m.nbMeshset; i++) {
      if (!CheckMeshSet(m, ctx_.meshsets[static_cast<size_t>(m.meshsets + i)], &triangles, &quads)) return false;
    }
    if (triangles + quads > kMaxPolygons) {
      std::fprintf(stderr, "Error : %s : Line %d : MODEL %s would hold more than %lld polygons\n", file, m.line,
                   model, kMaxPolygons);
      return false;
    }
    for (int i = 0; i < m.nbMat; i++) {
      const BasicMaterial &mat = ctx_.materials[static_cast<size_t>(m.mats + i)];
      const uint32_t flags = ctx_.hasTexList ? mat.attrFlags : (mat.attrFlags & ~vkattr::kTextured);
      const uint32_t texId = mat.attrTexId & 0x3FFFFFFFu;
      if ((flags & vkattr::kTextured) && texId >= ctx_.textures.size()) {
        std::fprintf(stderr, "Error : %s : Line %d : texture id %u is not below the %d texture entries (MODEL %s)\n",
                     file, mat.texIdLine, texId, static_cast<int>(ctx_.textures.size()), model);
        return false;
      }
    }
    check->triangles = static_cast<int32_t>(triangles);
    check->quads = static_cast<int32_t>(quads);
    return true;
  }

  bool CheckMeshSet(const BasicModel &m, const BasicMeshSet &set, long long *triangles, long long *quads) const {
    const char *file = ctx_.fileName;
    const char *model = m.name.c_str();
    const int32_t materialId = set.typeMatId & kMaterialMask;
    // A model without materials names material index 0 (the writers give
    // its polygons the default material).
    if (set.nbMesh > 0 && materialId >= std::max<int32_t>(m.nbMat, 1)) {
      std::fprintf(stderr, "Error : %s : Line %d : material index %d is not below MatNum %d of MODEL %s\n", file,
                   set.typeLine, materialId, m.nbMat, model);
      return false;
    }
    if (set.nbMesh == 0) return true;
    if (set.meshes < 0) {
      std::fprintf(stderr, "Error : %s : Line %d : mesh set with %d meshes but no POLYGON list (Meshes %s)\n", file,
                   set.meshesLine, set.nbMesh, set.meshesName.c_str());
      return false;
    }
    const auto &list = ctx_.polygons[static_cast<size_t>(set.meshes)];
    int32_t maxUv = -1, maxNormal = -1, badIndex = -1;
    long long faces = 0;
    const bool walked = WalkFaces(set, list.items, [&](const Face &f) {
      faces++;
      maxNormal = std::max(maxNormal, f.normal);
      for (int c = 0; c < f.corners; c++) {
        maxUv = std::max(maxUv, f.uv[c]);
        const uint16_t vertex = static_cast<uint16_t>(list.items[static_cast<size_t>(f.list[c])]);
        if (vertex >= m.nbPoint && badIndex < 0) badIndex = vertex;
      }
    });
    if (!walked) {
      std::fprintf(stderr, "Error : %s : Line %d : POLYGON %s: the counts of %d meshes run past the end of its %d values\n",
                   file, list.line, list.name.c_str(), set.nbMesh, static_cast<int>(list.items.size()));
      return false;
    }
    if (badIndex >= 0) {
      std::fprintf(stderr, "Error : %s : Line %d : POLYGON %s holds the point index %d, not below PointNum %d of MODEL %s\n",
                   file, list.line, list.name.c_str(), badIndex, m.nbPoint, model);
      return false;
    }
    if (set.vertuv >= 0) {
      const auto &uvs = ctx_.vertUvs[static_cast<size_t>(set.vertuv)];
      if (static_cast<size_t>(maxUv + 1) > uvs.items.size()) {
        std::fprintf(stderr, "Error : %s : Line %d : VERTUV %s holds %d UV pairs, POLYGON %s needs %d\n", file,
                     uvs.line, uvs.name.c_str(), static_cast<int>(uvs.items.size()), list.name.c_str(), maxUv + 1);
        return false;
      }
    }
    if (set.normals >= 0) {
      const auto &normals = ctx_.polyNormals[static_cast<size_t>(set.normals)];
      if (static_cast<size_t>(maxNormal + 1) > normals.items.size()) {
        std::fprintf(stderr, "Error : %s : Line %d : POLYNORMAL %s holds %d normals, POLYGON %s needs %d\n", file,
                     normals.line, normals.name.c_str(), static_cast<int>(normals.items.size()), list.name.c_str(),
                     maxNormal + 1);
        return false;
      }
    }
    ((set.typeMatId & kTypeMask) == kQuads ? *quads : *triangles) += faces;
    return true;
  }

  // ---- Conversion ---------------------------------------------------------

  bool Convert(ScModel *node, ScModel *parent, const BasicObject &o) {
    for (int i = 0; i < 3; i++) {
      node->OPosition[i] = o.pos[static_cast<size_t>(i)];
      node->OAngle[i] = static_cast<float>(static_cast<double>(o.ang[static_cast<size_t>(i)]) * kVKTurnRadians /
                                            kVKAngleUnitsPerTurn);
      node->OScale[i] = o.scl[static_cast<size_t>(i)];
    }
    node->parent = parent;
    if (o.model < 0) {
      node->hasMesh = 0;
      return true;
    }
    const BasicModel &m = ctx_.models[static_cast<size_t>(o.model)];
    const ModelCheck &check = Check(o.model);
    if (!check.valid) return false;
    polygons_ += check.triangles + check.quads;
    if (polygons_ > kMaxPolygons) {
      std::fprintf(stderr, "Error : %s : Line %d : the object hierarchy expands to more than %lld polygons\n",
                   ctx_.fileName, o.line, kMaxPolygons);
      return false;
    }
    node->hasMesh = 1;
    node->mesh = ConvertMesh(m, check);
    ConvertMaterials(node, m, o.evalflags);
    return true;
  }

  ScMesh *ConvertMesh(const BasicModel &m, const ModelCheck &check) const {
    const int32_t polygonCount = check.triangles + check.quads;
    ScMesh *mesh = ScMeshAlloc(m.nbPoint, polygonCount, polygonCount);
    mesh->nbTriangle = check.triangles;
    mesh->nbQuad = check.quads;
    const Vec3 *normals = m.normals >= 0 ? ctx_.normals[static_cast<size_t>(m.normals)].items.data() : nullptr;
    if (m.nbPoint > 0) {
      const Vec3 *points = ctx_.points[static_cast<size_t>(m.points)].items.data();
      for (int32_t i = 0; i < m.nbPoint; i++) {
        ScVertex &v = mesh->vertices[i];
        std::copy(points[i].begin(), points[i].end(), v.pos);
        if (normals) std::copy(normals[i].begin(), normals[i].end(), v.normal);
      }
    }
    int32_t p = 0;
    for (int i = 0; i < m.nbMeshset; i++) {
      const BasicMeshSet &set = ctx_.meshsets[static_cast<size_t>(m.meshsets + i)];
      if (set.nbMesh == 0) continue;
      const int32_t materialId = set.typeMatId & kMaterialMask;
      // A model without materials may still name a MATERIAL block (the
      // writers name the default material): its first material colours the
      // polygons; with none they keep the attribute's own colour.
      float diffuse[4] = {};
      const size_t material = static_cast<size_t>(m.mats + materialId);
      const bool coloured = m.mats >= 0 && material < ctx_.materials.size();
      if (coloured) ColourFloats(ctx_.materials[material].diffuse, diffuse);
      const std::vector<int16_t> &list = ctx_.polygons[static_cast<size_t>(set.meshes)].items;
      const UvPair *uvs = set.vertuv >= 0 ? ctx_.vertUvs[static_cast<size_t>(set.vertuv)].items.data() : nullptr;
      const Vec3 *polyNormals = set.normals >= 0 ? ctx_.polyNormals[static_cast<size_t>(set.normals)].items.data() : nullptr;
      WalkFaces(set, list, [&](const Face &f) {
        ScPolygon &poly = mesh->polygons[p];
        poly.materialId = materialId;
        poly.attribute = &mesh->attributes[p];
        if (coloured) std::copy(diffuse, diffuse + 4, poly.attribute->diffuse);
        poly.nbCorner = static_cast<uint16_t>(f.corners);
        poly.corners = ScPolyNodeAlloc(f.corners);
        for (int c = 0; c < f.corners; c++) {
          ScPolyNode &corner = poly.corners[c];
          corner.vertex = static_cast<uint16_t>(list[static_cast<size_t>(f.list[c])]);
          if (normals) std::copy(normals[corner.vertex].begin(), normals[corner.vertex].end(), corner.normal);
          if (uvs) {
            const UvPair uv = uvs[f.uv[c]];
            corner.u = static_cast<float>(uv.u / 255.0);
            corner.v = static_cast<float>(1.0 - uv.v / 255.0);
          }
        }
        if (polyNormals) std::copy(polyNormals[f.normal].begin(), polyNormals[f.normal].end(), poly.normal);
        p++;
      });
    }
    return mesh;
  }

  void ConvertMaterials(ScModel *node, const BasicModel &m, uint32_t evalflags) const {
    if (m.nbMat == 0) return;
    std::string prefix;
    for (const EvalTag &t : kEvalTags) {
      if (evalflags & t.bit) prefix += t.tag;
    }
    prefix += '_';
    node->nbMaterial = m.nbMat;
    node->materials = ScMaterialsAlloc(m.nbMat);
    ScMaterials *out = node->materials;
    for (int i = 0; i < m.nbMat; i++, out = out->next) {
      const size_t slot = static_cast<size_t>(m.mats + i);
      const BasicMaterial &mat = ctx_.materials[slot];
      const int32_t entry = slotEntry_[slot];
      const std::string name =
          prefix + (entry >= 0 ? ctx_.materialTable[static_cast<size_t>(entry)].name : std::string(kNoReference));
      out->id = ScNextMaterialId();
      out->name = ScVStrdup(name.c_str());
      out->kind = 4;
      out->attrflags = mat.attrFlags;
      out->specularPower = SpecularPower(mat.exponent);
      ColourFloats(mat.diffuse, out->diffuse);
      ColourFloats(mat.specular, out->specular);
      const uint32_t flags = ctx_.hasTexList ? mat.attrFlags : (mat.attrFlags & ~vkattr::kTextured);
      if (!(flags & vkattr::kTextured)) continue;
      const BasicTexName &tex = ctx_.textures[mat.attrTexId & 0x3FFFFFFFu];
      out->nbTexture = 1;
      out->textures = ScTextureAlloc(1);
      out->textures->id = ScNextTextureId();
      out->textures->picname = ScVStrdup(tex.filename.c_str());
      out->textures->word0 = 3;
      for (float &s : out->textures->scale) s = 1.0f;
      if (tex.texaddr & 1u) out->bank = static_cast<int32_t>(tex.texaddr >> 26);
    }
  }

  const ReaderContext &ctx_;
  std::vector<ModelCheck> checks_;
  std::vector<uint8_t> active_;
  std::vector<int32_t> slotEntry_;
  NameIndex objectIndex_;
  size_t prefixLength_ = 0;
  long nodes_ = 0;
  long long polygons_ = 0;
};

}  // namespace

ScObject *BuildScene(const ReaderContext &ctx) {
  SceneBuilder builder(ctx);
  return builder.Build();
}

}  // namespace vkreader
