// The Basic-model writer: one processed scene written as a Basic-model ASCII
// file (-B, under the output name), binary file (-B -bin, .vk) or data and
// texture-list pair (-septex).
#pragma once

#include <cstdint>

#include "base/status.h"
#include "binary/write_info.h"

struct ScObject;

// What a Basic model can hold. Polygon lists index the points with 16-bit
// signed values; a mesh set counts its meshes in 16 bits; TypeMatId keeps
// 14 bits for the material index; a strip or polygon entry counts its
// indices in 15 bits.
constexpr int kMaxBasicVertices = 32768;
constexpr int kMaxBasicMeshes = 65535;
constexpr int kMaxBasicMaterials = 16384;
constexpr int kMaxBasicEntryIndices = 32767;

// Writes the request's node list as a Basic model. The output file's name is
// derived from the request's output name (".vk" for binary, ".vad"/".vat" or
// ".vkd"/".vkt" with -septex); every file is written to a temporary name and
// renamed into place when complete. Returns ok when every object was
// written; kRefused (reported) before any file is opened when a node does
// not fit a Basic model; kCantOpen or kCantWrite (reported) when a file could
// not be written; kBadObject (reported) after an illegal instance object, the
// files being written all the same; or the writer's failure (kOutOfMemory,
// kBadRewrite), which is not printed yet and leaves no file behind.
VKStatus VKWriteBasicModel(const VKWriteRequest &request);

// The limits above on the scene as read, for the driver to ask before it
// touches any file: fails with kRefused, after an error naming the object,
// when an object has more points than a polygon list can index, or when the
// polygons of one material of one corner count (after the triangulation that
// modelFlags asks for) would overflow a mesh set's count; triangles are not
// counted when stripFlags makes strips, since strips are fewer. Material
// groups merged by the writer are checked again by VKWriteBasicModel.
VKStatus VKSceneFitsBasicModel(const ScObject *scene, uint32_t modelFlags, uint32_t stripFlags);
