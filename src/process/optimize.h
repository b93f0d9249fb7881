// Optimize info: the run's texture list (sorted, duplicates merged) and, per
// node, the material groups with their polygon lists, which the strip
// builder and the chunk emitters consume.
#pragma once

#include <cstdint>

struct ScMaterials;
struct ScMesh;
struct ScNodeList;
struct ScPolygon;
struct ScTexture;

// Polygon lists of a group. Lists are numbered from 1 in the text of the
// format; here they are indexed from 0.
constexpr int kVKPolyListCount = 6;
constexpr int kVKStripListCount = 4;     // lists the strip builder works on
constexpr int kVKListTriangles = 0;      // list 1
constexpr int kVKListQuads = 4;          // list 5
constexpr int kVKListPolygons = 5;       // list 6: five corners or more

// Polygons chained through ScPolygon::listNext.
struct VKPolyList {
  int32_t count;
  int32_t stripCount;  // strips made from this list (strip builder)
  ScPolygon *first;
  ScPolygon *last;
};

// One entry of mlist: one material of a node. Materials found equal share
// one group; its polygon lists live in the group's leader, the group's first
// material, and the other members' lists stay empty. Walk a node's groups in
// group order by taking the entries that are their own leader.
struct VKMaterialGroup {
  int32_t group;              // group number within the node, dense from 0
  ScMaterials *material;      // null in a node's default group
  int32_t texture;            // tlist position of the material's first texture, or -1
  int32_t textureNumber;      // unique texture number (position in the written list), or -1
  VKPolyList lists[kVKPolyListCount];
  int32_t stripTotal;         // strips over the strip lists (strip builder)
  VKMaterialGroup *leader;    // entry holding the group's polygon lists
};

// One entry of mnlist, per node of the node list in list order.
struct VKMaterialNode {
  VKMaterialGroup *groups;    // the node's first mlist entry; null without materials
  int32_t materialCount;      // mlist entries of the node
  int32_t groupCount;         // distinct groups
  VKMaterialGroup defaultGroup;  // holds every polygon when the node has no materials
};

// One entry of tlist: one texture of one material.
struct VKTextureEntry {
  int32_t number;             // unique texture number once the list is sorted
  int32_t bank;               // the material's palette bank, -1 for none
  ScTexture *texture;
  ScTexture *source;
};

struct VKOptimizeInfo {
  int32_t meshNodeCount;
  int32_t vertexCount;
  int32_t polygonCount;
  int32_t materialCount;
  int32_t untexturedMaterialCount;
  int32_t textureCount;        // tlist entries
  int32_t uniqueTextureCount;  // textures written in the texture list
  // tlist positions in texture-list order: the first uniqueTextureCount
  // entries are the unique textures (written in this order), the rest the
  // merged duplicates in sorted order. ts_ridx is the inverse permutation.
  int32_t *ts_idx;
  int32_t *ts_ridx;
  VKTextureEntry *tlist;
  int32_t nodeCount;
  VKMaterialNode *mnlist;
  VKMaterialGroup *mlist;
};

// Builds the optimize info of a node list (null for none); chunkFlags is the
// write info's chunk word.
VKOptimizeInfo *VKGetOptimizeInfo(ScNodeList *list, uint32_t chunkFlags);
void VKFreeOptimizeInfo(VKOptimizeInfo *info);

// The written texture of unique number `number` (0 .. uniqueTextureCount-1).
inline const VKTextureEntry *VKUniqueTexture(const VKOptimizeInfo *info, int32_t number) {
  return &info->tlist[info->ts_idx[number]];
}
