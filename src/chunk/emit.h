// Chunk emitters of one node: the vertex list and the polygon list, each
// written through the dual print in both its ASCII and binary form.
#pragma once

#include <cstdint>

struct VKWriteInfo;
struct ScMesh;
struct ScNode;
struct VKMaterialNode;

// Vertex list of one node: the vertex chunks holding every vertex of the
// mesh (one chunk, or several with index offsets when one chunk's size
// field would exceed 16 bits).
void VKWriteVertexChunks(const VKWriteInfo *info, const ScMesh *mesh);

// Polygon list of one node: material, texture and strip (or volume) chunks
// of every material group in group order.
void VKWritePolygonChunks(const VKWriteInfo *info, VKMaterialNode *groups, const ScMesh *mesh);

// Largest vertex count a node may have: strip indices are 16-bit.
constexpr int kMaxChunkVertices = 65535;
// Largest value of a 16-bit chunk size field that stays even.
constexpr int kMaxChunkSize = 65534;
