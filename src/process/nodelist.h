// The node list: the scene hierarchy flattened into one record per kept node,
// in walk order, with transforms, depths, bounding boxes, list links and
// instance information. Built once per run by ScGetNodeList; every writer
// walks `slist`.
//
// Both records come from the tracked allocator (zero-filled) and are plain,
// trivially constructible structs.
#pragma once

#include <cstdint>

#include "base/flags.h"
#include "base/status.h"

struct ScObject;
struct ScModel;

// Deepest ancestry the bone removal accepts; deeper hierarchies are refused.
constexpr int kScMaxAncestors = 128;

// One axis-aligned box with its centre and the radius the writers use:
// sqrt(max(hx, hy)^2 + hz^2) over the half-extents h.
struct ScBox {
  float min[3];
  float max[3];
  float average[3];
  float radius;
};

// The two boxes of a node: `world` holds the mesh points taken through the
// node's world matrix, `local` the points as stored in the mesh.
struct ScNodeBox {
  ScBox world;
  ScBox local;
};

struct ScNode {
  const char *name;        // the ScModel's name (shared)
  int32_t nameId;          // position in slist
  ScModel *node;           // hierarchy node this entry stands for
  ScModel *model;          // node whose mesh and materials are written (same node)
  ScModel **ancestors;     // nearest first; filled by bone removal only (tracked block)
  int32_t ancestor_n;
  float matrix[12];        // transform relative to the list parent
  float shadow[12];        // the same from the second matrices
  float trans[3];
  float rot[3];            // radians
  float scaling[3];
  float rot_hint[3];       // angles straight from the decomposition (bone removal)
  int32_t decomp_state[2];
  int32_t depth;           // depth in the list's own tree, root level 0
  ScNodeBox bbox;
  ScNode *parent;
  ScNode *child;
  ScNode *sibling;
  ScNode *inst_src;        // node whose model an instance shares, or null
  int32_t inst_n;          // list nodes whose inst_src is this node
  int32_t child_inst_n;    // times this node's list parent was an instance source
  uint32_t myaddress;      // 0 after the build; writers keep their bookkeeping here
  uint32_t reserved;
};

struct ScNodeList {
  ScObject *scene;
  ScNode *nodes;           // storage; iterate slist instead
  ScNode **slist;          // the nodes in list order
  int32_t node_n;
  int32_t depth;           // walk scratch, 0 after the build
  int32_t max_depth;       // deepest hierarchy level (root level 0)
  int32_t nomat_model_n;   // mesh-bearing nodes without a material list
  int32_t inst_obj_n;      // nodes with an instance-root name
  uint32_t optionbits;     // modelFlags
  uint32_t optionbits2;    // outputFlags
  uint32_t stripbits;      // stripFlags
  uint32_t infobits;       // facts of the counting pass (kScInfo*, base/flags.h)
};

// Flattens the scene into *list. Applies the global freeze, bone removal,
// polygon conversion, instance detection and the per-material polygon counts
// that the option words ask for; the hierarchy is changed in place (world
// matrices, list indexes, converted meshes). Fails, leaving *list null, with
// kBadModel ("Error : Bad Model pointer\n") for a scene without a root (also
// after -GM has released it) and kBadMesh ("Error : Bad Mesh Pointer\n") for
// a mesh-bearing node without a mesh, both left for the driver to print; and
// with kTooDeep for a hierarchy too deep for bone removal, reported here.
// `rotation` is accepted for the caller's convenience and not read.
VKStatus ScGetNodeList(ScObject *scene, uint32_t optionbits, uint32_t optionbits2, uint32_t stripbits,
                       const float rotation[3], ScNodeList **list);
