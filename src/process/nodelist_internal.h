// Steps of the node list builder that live in their own source files; used by
// the builder and by its tests, not by other subsystems.
#pragma once

#include <cstdint>

struct ScNode;
struct ScMesh;
struct ScModel;

// Orders list nodes by ancestry: the order of the exchange sort
//   for i, for j >= i: if compare(list[i], list[j]) > 0 swap
// with the ancestry comparison of the bone removal, in near-linear time.
void ScSortByAncestry(ScNode **list, int count);

// Links list nodes (parent, child, sibling) by their ancestor lists: each node
// goes under, or beside, the nearest earlier node whose ancestry is a prefix
// of its own. With skipMeshParents, earlier nodes whose hierarchy parent
// carries a mesh are passed over.
void ScLinkByAncestry(ScNode **list, int count, bool skipMeshParents);

// Converts the polygons that `mode` (the conversion bits of the model option
// word, vkopt::kModelQuadToTri and vkopt::kModelPolyToTri) selects into triangles and returns the
// new mesh (the old one is released), or `mesh` itself when there is nothing
// to convert. Triangle t of an n-corner polygon takes the corners
// (0, 1, n-1), (1, 2, n-1), (n-1, 2, n-2), (2, 3, n-2), ...
ScMesh *ScConvertMesh(ScMesh *mesh, uint32_t mode);

// Adds every polygon of the node's mesh to its material's triangle, quad or
// large-polygon counter.
void ScSetPolygonCount(ScModel *model);
