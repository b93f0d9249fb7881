// The polygon sets of a node in writing order.
#include "basic/basic_internal.h"

#include "process/optimize.h"

namespace {

void AddSets(const VKMaterialGroup &group, int32_t material, std::vector<BasicPolySet> &sets) {
  const VKPolyList &triangles = group.lists[kVKListTriangles];
  if (triangles.stripCount > 0)
    sets.push_back({kBasicStrips, material, &group, &triangles, triangles.stripCount});
  else if (triangles.count > 0)
    sets.push_back({kBasicTriangles, material, &group, &triangles, triangles.count});
  if (const VKPolyList &quads = group.lists[kVKListQuads]; quads.count > 0)
    sets.push_back({kBasicQuads, material, &group, &quads, quads.count});
  if (const VKPolyList &polygons = group.lists[kVKListPolygons]; polygons.count > 0)
    sets.push_back({kBasicPolygons, material, &group, &polygons, polygons.count});
}

}  // namespace

std::vector<const VKMaterialGroup *> BasicMaterialGroups(const VKMaterialNode &node) {
  std::vector<const VKMaterialGroup *> groups;
  for (int32_t i = 0; i < node.materialCount; ++i)
    if (node.groups[i].leader == &node.groups[i]) groups.push_back(&node.groups[i]);
  return groups;
}

std::vector<BasicPolySet> BasicPolySets(const VKMaterialNode &node) {
  std::vector<BasicPolySet> sets;
  const std::vector<const VKMaterialGroup *> groups = BasicMaterialGroups(node);
  if (groups.empty()) AddSets(node.defaultGroup, 0, sets);
  for (const VKMaterialGroup *group : groups) AddSets(*group, group->group, sets);
  return sets;
}
