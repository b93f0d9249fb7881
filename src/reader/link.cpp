// Linking by name: every reference of an object, model or mesh set is looked
// up among the blocks of its kind, in the search order that decides which of
// two blocks of the same name wins; a name not found draws a warning.
#include <cstdio>

#include "reader/basic_blocks.h"
#include "reader/name_index.h"

namespace vkreader {
namespace {

template <typename Block>
NameIndex IndexOf(const std::vector<Block> &blocks) {
  NameIndex index;
  for (size_t i = 0; i < blocks.size(); i++) index.Add(blocks[i].name, static_cast<int32_t>(i));
  return index;
}

bool IsReference(const std::string &name) { return name != kNoReference; }

// The warning formats of the linking table, one per reference.
void WarnChild(const std::string &n) { std::fprintf(stderr, "Warning : Can't chain child %s\n", n.c_str()); }
void WarnSibling(const std::string &n) { std::fprintf(stderr, "Warning : Can't chain sibling %s\n", n.c_str()); }
void WarnModel(const std::string &n) { std::fprintf(stderr, "Warning : Can't chain model %s\n", n.c_str()); }
void WarnMaterial(const std::string &n) { std::fprintf(stderr, "Warning : Can't chain material %s\n", n.c_str()); }
void WarnMeshSet(const std::string &n) { std::fprintf(stderr, "Warning : Can't chain meshset %s\n", n.c_str()); }
void WarnNormal(const std::string &n) { std::fprintf(stderr, "Warning : Can't chain normal %s\n", n.c_str()); }
void WarnPoint(const std::string &n) { std::fprintf(stderr, "Warning : Can't chain point %s\n", n.c_str()); }
void WarnVertUv(const std::string &n) { std::fprintf(stderr, "Warning : Can't chain vertuv %s\n", n.c_str()); }
void WarnPolyNormal(const std::string &n) { std::fprintf(stderr, "Warning : Can't chain normals %s\n", n.c_str()); }
void WarnMeshes(const std::string &n) { std::fprintf(stderr, "Warning : Can't chain meshes %s\n", n.c_str()); }

// Looks a reference up with `search`; -1 (and the warning) when not found,
// -1 without a warning for "NULL".
template <typename Search>
int32_t Resolve(const std::string &name, Search search, void (*warn)(const std::string &)) {
  if (!IsReference(name)) return -1;
  int32_t found = search(name);
  if (found < 0) warn(name);
  return found;
}

}  // namespace

void LinkByName(ReaderContext &ctx) {
  const NameIndex objectIndex = IndexOf(ctx.objects);
  const NameIndex modelIndex = IndexOf(ctx.models);
  const NameIndex materialIndex = IndexOf(ctx.materialTable);
  const NameIndex meshsetIndex = IndexOf(ctx.meshsets);
  const NameIndex normalIndex = IndexOf(ctx.normals);
  const NameIndex pointIndex = IndexOf(ctx.points);
  const NameIndex vertUvIndex = IndexOf(ctx.vertUvs);
  const NameIndex polyNormalIndex = IndexOf(ctx.polyNormals);
  const NameIndex polygonIndex = IndexOf(ctx.polygons);

  const auto last = [](const NameIndex &index) {
    return [&index](const std::string &name) { return index.Last(name); };
  };
  const auto first = [](const NameIndex &index) {
    return [&index](const std::string &name) { return index.First(name); };
  };

  // 1: Child and Sibling, searched from the object back to the first. The
  // hierarchy is built by name again later; these links serve the warnings.
  for (int32_t j = static_cast<int32_t>(ctx.objects.size()) - 1; j >= 0; j--) {
    const BasicObject &o = ctx.objects[static_cast<size_t>(j)];
    const auto upTo = [&](const std::string &name) { return objectIndex.LastAtOrBefore(name, j); };
    Resolve(o.childName, upTo, WarnChild);
    Resolve(o.siblingName, upTo, WarnSibling);
  }
  // 2: models of the objects.
  for (auto o = ctx.objects.rbegin(); o != ctx.objects.rend(); ++o) {
    o->model = Resolve(o->modelName, last(modelIndex), WarnModel);
  }
  // 3 to 6: materials, mesh sets, normals and points of the models, each
  // step over all models from the last to the first.
  for (auto m = ctx.models.rbegin(); m != ctx.models.rend(); ++m) {
    int32_t entry = Resolve(m->materialsName, last(materialIndex), WarnMaterial);
    m->mats = entry < 0 ? -1 : ctx.materialTable[static_cast<size_t>(entry)].slot;
  }
  for (auto m = ctx.models.rbegin(); m != ctx.models.rend(); ++m) {
    m->meshsets = Resolve(m->meshsetName, last(meshsetIndex), WarnMeshSet);
  }
  for (auto m = ctx.models.rbegin(); m != ctx.models.rend(); ++m) {
    m->normals = Resolve(m->normalName, last(normalIndex), WarnNormal);
  }
  for (auto m = ctx.models.rbegin(); m != ctx.models.rend(); ++m) {
    m->points = Resolve(m->pointsName, last(pointIndex), WarnPoint);
  }
  // 7 to 9: UVs, polygon normals and index lists of the mesh sets, searched
  // from the first block on.
  for (BasicMeshSet &s : ctx.meshsets) s.vertuv = Resolve(s.vertUvName, first(vertUvIndex), WarnVertUv);
  for (BasicMeshSet &s : ctx.meshsets) s.normals = Resolve(s.polyNormalName, first(polyNormalIndex), WarnPolyNormal);
  for (BasicMeshSet &s : ctx.meshsets) s.meshes = Resolve(s.meshesName, first(polygonIndex), WarnMeshes);
}

}  // namespace vkreader
