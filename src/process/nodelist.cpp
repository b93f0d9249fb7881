// The node list builder: world matrices, global freeze, counting pass, the
// plain and bone-removal walks, node matrices, bounding boxes, instance
// detection, polygon conversion and per-material counts.
#include "process/nodelist.h"

#include <cmath>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "base/console.h"
#include "base/flags.h"
#include "base/numbers.h"
#include "process/geometry.h"
#include "process/nodelist_internal.h"
#include "scene/memory.h"
#include "scene/records.h"

namespace {

bool IsMeshBearing(const ScModel *model) { return model->hasMesh == 1; }

// The hierarchy in pre-order (node, its child subtree one level deeper, then
// its siblings at the same level) with the level of each node.
std::vector<std::pair<ScModel *, int>> PreOrder(ScModel *root) {
  std::vector<std::pair<ScModel *, int>> order;
  std::vector<std::pair<ScModel *, int>> stack;
  if (root) stack.emplace_back(root, 0);
  while (!stack.empty()) {
    auto [model, depth] = stack.back();
    stack.pop_back();
    order.emplace_back(model, depth);
    if (model->sibling) stack.emplace_back(model->sibling, depth);
    if (model->child) stack.emplace_back(model->child, depth + 1);
  }
  return order;
}

// Both matrices of every node become its world matrix: the local matrix
// (scale, then rotate XYZ, then translate) followed by the parent's world.
void ComputeWorldMatrices(const std::vector<std::pair<ScModel *, int>> &order) {
  for (const auto &[model, depth] : order) {
    float local[12];
    ScMatrixIdentity(local);
    ScMatrixTranslate(local, model->OPosition);
    ScMatrixRotateXYZ(local, model->OAngle);
    ScMatrixScale(local, model->OScale);
    float world[12];
    if (model->parent) {
      ScMatrixCopy(model->parent->matrixA, world);
      ScMatrixMultiply(world, local);
    } else {
      ScMatrixCopy(local, world);
    }
    ScMatrixCopy(world, model->matrixA);
    ScMatrixCopy(world, model->matrixB);
  }
}

void TransformDirection(float v[3], const float linear[12], int *zeroVectors) {
  ScMatrixTransform(v, v, linear);
  ScUnitVectorCounted(v, v, zeroVectors);
}

// Vertex and polygon normals without a direction are counted and reported
// once for the object, not once per vector.
void FreezeMesh(const ScModel *model, ScMesh *mesh, const float world[12]) {
  float linear[12];
  ScMatrixCopy(world, linear);
  linear[9] = linear[10] = linear[11] = 0.0f;
  int zeroVectors = 0;
  for (int i = 0; i < mesh->nbVertex; i++) {
    ScVertex &vertex = mesh->vertices[i];
    ScMatrixTransform(vertex.pos, vertex.pos, world);
    TransformDirection(vertex.normal, linear, &zeroVectors);
  }
  for (int p = 0; p < mesh->nbPolygon; p++) {
    ScPolygon &polygon = mesh->polygons[p];
    TransformDirection(polygon.normal, linear, &zeroVectors);
    // Corner normals are copies of vertex normals; a corner without one
    // stays zero without a warning of its own.
    for (int c = 0; polygon.corners && c < polygon.nbCorner; c++) {
      float *normal = polygon.corners[c].normal;
      ScMatrixTransform(normal, normal, linear);
      const float length = ScGetVectorLength(normal);
      if (length != 0.0f) {
        for (int k = 0; k < 3; k++) normal[k] /= length;
      }
    }
  }
  ScPrintZeroVectors(zeroVectors, model->name);
}

void GlobalFreeze(ScObject *scene, uint32_t optionbits2) {
  PrintMessage("[GLOBAL FREEZE] ");
  const auto order = PreOrder(scene->root);
  ScModel *previous = nullptr;
  for (const auto &[model, depth] : order) {
    if (IsMeshBearing(model) && model->mesh) FreezeMesh(model, model->mesh, model->matrixA);
    ScMatrixIdentity(model->matrixA);
    ScMatrixIdentity(model->matrixB);
    for (int k = 0; k < 3; k++) {
      model->OPosition[k] = 0.0f;
      model->OAngle[k] = 0.0f;
      model->OScale[k] = 1.0f;
    }
    model->parent = nullptr;
    model->child = nullptr;
    model->sibling = nullptr;
    if (previous) previous->sibling = model;
    previous = model;
  }
  if (optionbits2 & vkopt::kOutBuildMap) {
    PrintMessage("[BUILD MAP] ");
    ScModelTreeFree(scene->root);
    scene->root = nullptr;
  }
}

struct Counts {
  int all = 0;
  int meshBearing = 0;
  int meshlessRootLevel = 0;
};

Counts CountingPass(ScObject *scene, ScNodeList *header, const std::vector<std::pair<ScModel *, int>> &order) {
  Counts counts;
  uint32_t info = scene->infoFlags;
  for (const auto &[model, depth] : order) {
    counts.all++;
    if (IsMeshBearing(model)) {
      counts.meshBearing++;
      if (!model->materials) header->nomat_model_n++;
    } else if (depth == 0) {
      counts.meshlessRootLevel++;
    }
    if (model->instroot) header->inst_obj_n++;
    if (depth > header->max_depth) header->max_depth = depth;
    if (model->EvalFlags & vkeval::kZeroRotation) info |= kScInfoEvalFlag2;
    for (int k = 0; k < 3; k++) {
      const float d = model->OScale[k] - 1.0f;
      if (!(d > -kScTolerance && d < kScTolerance)) info |= kScInfoScaled;
    }
  }
  if (!IsMeshBearing(scene->root)) info |= kScInfoMeshlessRoot;
  if (counts.meshBearing < counts.all) info |= kScInfoMeshlessNodes;
  if (counts.all == counts.meshBearing + 1 && (info & kScInfoMeshlessRoot)) info &= ~kScInfoMeshlessNodes;
  header->infobits = info;
  return counts;
}

void FinishBox(ScBox &box) {
  float half[3];
  for (int k = 0; k < 3; k++) {
    box.average[k] = (box.min[k] + box.max[k]) / 2.0f;
    half[k] = (box.max[k] - box.min[k]) / 2.0f;
  }
  const float planar = half[0] > half[1] ? half[0] : half[1];
  box.radius = std::sqrt(planar * planar + half[2] * half[2]);
}

void Widen(ScBox &box, const float p[3], bool first) {
  for (int k = 0; k < 3; k++) {
    if (first || p[k] < box.min[k]) box.min[k] = p[k];
    if (first || p[k] > box.max[k]) box.max[k] = p[k];
  }
}

// False for a mesh-bearing node without a mesh.
bool ComputeBoxes(ScNode *node) {
  ScModel *model = node->model;
  ScNodeBox &bbox = node->bbox;
  if (IsMeshBearing(model)) {
    ScMesh *mesh = model->mesh;
    if (!mesh) return false;
    for (int i = 0; i < mesh->nbVertex; i++) {
      const float *p = mesh->vertices[i].pos;
      float world[3];
      ScMatrixTransform(p, world, model->matrixA);
      Widen(bbox.world, world, i == 0);
      Widen(bbox.local, p, i == 0);
    }
  } else {
    const float origin[3] = {0.0f, 0.0f, 0.0f};
    float world[3];
    ScMatrixTransform(origin, world, model->matrixA);
    Widen(bbox.world, world, true);
    Widen(bbox.local, origin, true);
  }
  FinishBox(bbox.world);
  FinishBox(bbox.local);
  return true;
}

VKStatus BadMesh() { return VKStopStatus(VKStatusCode::kBadMesh, "Error : Bad Mesh Pointer\n"); }

// False for a mesh-bearing node without a mesh.
bool EnterNode(ScNodeList *list, ScModel *model, int depth) {
  ScNode *node = &list->nodes[list->node_n];
  node->name = model->name;
  node->node = model;
  node->model = model;
  ScVectorCopy(model->OAngle, node->rot);
  ScVectorCopy(model->OPosition, node->trans);
  ScVectorCopy(model->OScale, node->scaling);
  node->depth = depth;
  if (!ComputeBoxes(node)) return false;
  list->node_n++;
  return true;
}

VKStatus PlainWalk(ScNodeList *list, const std::vector<std::pair<ScModel *, int>> &order) {
  list->optionbits &= ~vkopt::kModelRemoveBones;
  for (const auto &[model, depth] : order) {
    if (!EnterNode(list, model, depth)) return BadMesh();
  }
  for (int i = 0; i < list->node_n; i++) {
    list->slist[i] = &list->nodes[i];
    list->nodes[i].model->listIndex = i;
  }
  for (int i = 0; i < list->node_n; i++) {
    ScNode *node = list->slist[i];
    const ScModel *model = node->model;
    if (model->parent) node->parent = list->slist[model->parent->listIndex];
    if (model->child) node->child = list->slist[model->child->listIndex];
    if (model->sibling) node->sibling = list->slist[model->sibling->listIndex];
  }
  return VKStatus{};
}

VKStatus BoneRemovalWalk(ScNodeList *list, const std::vector<std::pair<ScModel *, int>> &order) {
  PrintMessage("[REMOVE BONES] ");
  for (const auto &[model, depth] : order) {
    model->listIndex = -1;
    if ((IsMeshBearing(model) || depth == 0) && !EnterNode(list, model, depth)) return BadMesh();
  }
  long total = 0;
  for (int i = 0; i < list->node_n; i++) {
    int n = 0;
    for (const ScModel *a = list->nodes[i].model->parent; a; a = a->parent) n++;
    if (n > kScMaxAncestors) {
      return VKErrorStatus(VKStatusCode::kTooDeep, "Error : Too deep hierarchy (%d levels) : %s\n", n,
                           list->nodes[i].name);
    }
    list->nodes[i].ancestor_n = n;
    total += n;
  }
  ScModel **store = total > 0 ? ScNew<ScModel *>("ancestors(ScGetNodeList)", static_cast<size_t>(total)) : nullptr;
  for (int i = 0; i < list->node_n; i++) {
    ScNode *node = &list->nodes[i];
    list->slist[i] = node;
    if (node->ancestor_n == 0) continue;
    node->ancestors = store;
    store += node->ancestor_n;
    int k = 0;
    for (ScModel *a = node->model->parent; a; a = a->parent) node->ancestors[k++] = a;
  }
  if (!(list->infobits & kScInfoEvalFlag2)) ScSortByAncestry(list->slist, list->node_n);
  ScLinkByAncestry(list->slist, list->node_n, (list->infobits & kScInfoMeshlessNodes) != 0);
  for (int i = 0; i < list->node_n; i++) list->slist[i]->model->listIndex = i;
  if (list->node_n > 0) list->slist[0]->depth = 0;
  for (int i = 0; i < list->node_n; i++) {
    ScNode *node = list->slist[i];
    if (node->child) node->child->depth = node->depth + 1;
    if (node->sibling) node->sibling->depth = node->depth;
  }
  return VKStatus{};
}

void NodeMatrices(ScNodeList *list) {
  for (int i = 0; i < list->node_n; i++) {
    ScNode *node = list->slist[i];
    const ScModel *model = node->model;
    if (!node->parent) {
      ScMatrixCopy(model->matrixA, node->matrix);
      ScMatrixCopy(model->matrixB, node->shadow);
      continue;
    }
    const ScModel *parent = node->parent->model;
    float inverse[12];
    ScMatrixCopy(parent->matrixA, inverse);
    ScMatrixInvert(inverse);
    ScMatrixMultiply(inverse, model->matrixA);
    ScMatrixCopy(inverse, node->matrix);
    ScMatrixCopy(parent->matrixB, inverse);
    ScMatrixInvert(inverse);
    ScMatrixMultiply(inverse, model->matrixB);
    ScMatrixCopy(inverse, node->shadow);
  }
}

// After bone removal the written transform comes from the node matrix.
void TransformsFromMatrices(ScNodeList *list) {
  for (int i = 0; i < list->node_n; i++) {
    ScNode *node = list->slist[i];
    node->trans[0] = node->matrix[9];
    node->trans[1] = node->matrix[10];
    node->trans[2] = node->matrix[11];
    float angles[3];
    ScMatrixDecompose(node->matrix, angles);
    ScVectorCopy(angles, node->rot_hint);
    for (int k = 0; k < 3; k++) {
      if (angles[k] > kScPi) angles[k] -= kScTwoPi;
    }
    ScVectorCopy(angles, node->rot);
    ScVectorCopy(node->model->OScale, node->scaling);
  }
}

void DetectInstances(ScNodeList *list) {
  if (list->inst_obj_n == 0) return;
  PrintMessage("[INSTANCE MODEL %d/%d] ", list->inst_obj_n, list->node_n);
  // First list node of each name.
  std::unordered_map<std::string_view, ScNode *> firstByName;
  firstByName.reserve(static_cast<size_t>(list->node_n) * 2);
  for (int j = 0; j < list->node_n; j++) {
    ScNode *node = list->slist[j];
    if (node->model->name) firstByName.emplace(node->model->name, node);
  }
  for (int i = 0; i < list->node_n; i++) {
    ScNode *node = list->slist[i];
    if (!node->model->instroot) continue;
    auto found = firstByName.find(node->model->instroot);
    if (found == firstByName.end()) continue;
    ScNode *source = found->second;
    node->inst_src = source;
    source->inst_n++;
    if (source->child) source->child->child_inst_n++;
  }
}

uint32_t PrintConversionTag(uint32_t optionbits) {
  if ((optionbits & vkopt::kModelAllToTri) == vkopt::kModelAllToTri) {
    PrintMessage("[POLY4N to POLY3] ");
  } else if (optionbits & vkopt::kModelQuadToTri) {
    PrintMessage("[POLY4 to POLY3] ");
  } else if (optionbits & vkopt::kModelPolyToTri) {
    PrintMessage("[POLYN to POLY3] ");
  }
  return optionbits & vkopt::kModelAllToTri;
}

// Every label of a model file is formed from a node's name, so two nodes of
// one name would define one label twice: the ASCII file would not compile
// and the binary file's pointers would all reach the last record of that
// name. A node whose name an earlier node already has (objects named outside
// the file's prefix all become the default name, a shared child chain is
// expanded into copies) gets "_<n>" added, the smallest n from 2 that no
// node is named. One warning names the first.
void MakeNodeNamesUnique(ScNodeList *list) {
  std::unordered_set<std::string_view> taken;
  for (int i = 0; i < list->node_n; i++) taken.insert(list->slist[i]->node->name);
  std::unordered_set<std::string_view> seen;
  std::unordered_map<std::string_view, int> next;
  std::vector<std::string> kept;  // the old and new names of the first renamed node
  int renamed = 0;
  for (int i = 0; i < list->node_n; i++) {
    ScNode *node = list->slist[i];
    const std::string_view name = node->node->name;
    if (seen.insert(name).second) continue;
    int &n = next.try_emplace(name, 2).first->second;
    std::string unique;
    do {
      unique = std::string(name) + "_" + std::to_string(n++);
    } while (taken.count(unique) != 0);
    char *copy = ScVStrdup(unique.c_str());
    if (renamed++ == 0) kept = {std::string(name), unique};
    node->node->name = copy;
    node->name = copy;
    taken.insert(copy);
    seen.insert(copy);
  }
  if (renamed > 0) {
    PrintWarning("Warning : %d object(s) have the name of an earlier object; a number is added to each (%s is written as %s)\n",
                 renamed, kept[0].c_str(), kept[1].c_str());
  }
}

}  // namespace

VKStatus ScGetNodeList(ScObject *scene, uint32_t optionbits, uint32_t optionbits2, uint32_t stripbits,
                       const float rotation[3], ScNodeList **result) {
  (void)rotation;
  *result = nullptr;
  const auto badModel = [] { return VKStopStatus(VKStatusCode::kBadModel, "Error : Bad Model pointer\n"); };
  if (!scene || !scene->root) return badModel();
  ComputeWorldMatrices(PreOrder(scene->root));

  if (optionbits2 & vkopt::kOutGlobalFreeze) GlobalFreeze(scene, optionbits2);
  if (!scene->root) return badModel();

  ScNodeList counted{};
  const auto order = PreOrder(scene->root);
  const Counts counts = CountingPass(scene, &counted, order);
  const bool removeBones = (optionbits & vkopt::kModelRemoveBones) != 0;
  const bool boneWalk = removeBones && (counted.infobits & kScInfoMeshlessNodes);
  int capacity = counts.all;
  if (removeBones && !(counted.infobits & kScInfoEvalFlag2)) {
    capacity = counts.meshBearing + counts.meshlessRootLevel;
  }
  // Without bone removal's walk every node is entered (the count above is
  // then the same anyway).
  if (!boneWalk) capacity = counts.all;

  auto *list = ScNew<ScNodeList>("pnl(ScGetNodeList)");
  const size_t slots = static_cast<size_t>(capacity > 0 ? capacity : 1);
  list->nodes = ScNew<ScNode>("nodes(ScGetNodeList)", slots);
  list->slist = ScNew<ScNode *>("slist(ScGetNodeList)", slots);
  list->scene = scene;
  list->max_depth = counted.max_depth;
  list->nomat_model_n = counted.nomat_model_n;
  list->inst_obj_n = counted.inst_obj_n;
  list->optionbits = optionbits;
  list->optionbits2 = optionbits2;
  list->stripbits = stripbits;
  list->infobits = counted.infobits;

  if (boneWalk) {
    if (VKStatus status = BoneRemovalWalk(list, order); !status.ok()) return status;
    NodeMatrices(list);
    TransformsFromMatrices(list);
  } else {
    if (VKStatus status = PlainWalk(list, order); !status.ok()) return status;
    NodeMatrices(list);
  }
  list->depth = 0;

  DetectInstances(list);
  MakeNodeNamesUnique(list);

  const uint32_t conversion = PrintConversionTag(list->optionbits);
  for (int i = 0; i < list->node_n; i++) {
    ScNode *node = list->slist[i];
    node->nameId = i;
    node->myaddress = 0;
    ScModel *model = node->model;
    if (conversion && IsMeshBearing(model) && model->mesh) model->mesh = ScConvertMesh(model->mesh, conversion);
  }
  for (int i = 0; i < list->node_n; i++) ScSetPolygonCount(list->slist[i]->model);

  // No mesh of a Basic-model scene carries vertex colour data.
  if (optionbits2 & vkopt::kOutPolyVertexColour) PrintWarning("Warning : Can't find vertex color data.\n");
  *result = list;
  return VKStatus{};
}
