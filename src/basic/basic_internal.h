// What the parts of the Basic-model writer share: the polygon sets of a node
// (per material group its strips or its triangles, its quadrangles and its
// n-gons, each written as one POLYGON list and one mesh set), the model
// writer and the check of a node list against the limits of the format.
#pragma once

#include <cstdint>
#include <vector>

#include "base/status.h"

struct ScNode;
struct VKMaterialGroup;
struct VKMaterialNode;
struct VKPolyList;
struct VKWriteInfo;

// Set kinds: the kind letter of the list names and the mesh type of TypeMatId.
struct BasicSetKind {
  char letter;
  uint16_t type;
};
constexpr BasicSetKind kBasicStrips{'S', 0xC000};
constexpr BasicSetKind kBasicTriangles{'3', 0x0000};
constexpr BasicSetKind kBasicQuads{'4', 0x4000};
constexpr BasicSetKind kBasicPolygons{'N', 0x8000};

struct BasicPolySet {
  BasicSetKind kind;
  int32_t material;               // material index i: the group number, 0 without groups
  const VKMaterialGroup *group;   // the group holding the lists
  const VKPolyList *list;
  int32_t meshes;                 // strips or polygons of the set
};

// The non-empty sets of a node in writing order: for each material group in
// group order (or the default group alone when the node has none) its strips
// when its triangles were made into strips, else its triangles; then its
// quadrangles; then its n-gons.
std::vector<BasicPolySet> BasicPolySets(const VKMaterialNode &node);

// The groups written as the node's material list, in group order (empty when
// the node has no materials).
std::vector<const VKMaterialGroup *> BasicMaterialGroups(const VKMaterialNode &node);

// The model writer: the node's material list, then, when `hasModel`, its
// polygon, polygon-normal, vertex-colour and vertex-UV lists, mesh sets,
// points, normals and model record. The per-node names of the info are set.
void WriteBasicModel(VKWriteInfo *info, const ScNode *node, bool hasModel);

// The default material list, for the objects without materials.
void WriteBasicDefaultMaterialList(const VKWriteInfo *info);

// Every node of the info's node list against the limits of the format, with
// the material groups and strips the writer will write; kRefused (reported)
// naming the first object that does not fit.
VKStatus BasicNodeListFits(const VKWriteInfo *info);
