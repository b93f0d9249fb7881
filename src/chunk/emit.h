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
void VKWriteVertexChunks(VKWriteInfo *info, const ScMesh *mesh);

// Polygon list of one node: material, texture and strip (or volume) chunks
// of every material group in group order.
void VKWritePolygonChunks(VKWriteInfo *info, VKMaterialNode *groups, const ScMesh *mesh);

// Values outside what their packed field holds are clamped, with one
// warning per kind and run naming the object being written:
// a normal component to [-1, 1] (not a number: 0) ...
float VKClampNormal(VKWriteInfo *info, float component);
// ... and a UV scaled by 256 or 1024, truncated toward zero, to -32768 .. 32767.
int VKClampUv(VKWriteInfo *info, double scaled);

// Largest vertex count a node may have: strip indices are 16-bit.
constexpr int kMaxChunkVertices = 65535;
// Largest number of textures a model may use: texture chunks hold the id in
// 13 bits.
constexpr int kMaxChunkTextures = 8191;
// Largest value of a 16-bit chunk size field that stays even.
constexpr int kMaxChunkSize = 65534;
