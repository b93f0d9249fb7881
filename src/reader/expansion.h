// The size of the tree a hierarchy expands to, checked before anything of it
// is built. Internal to the reader.
#pragma once

#include <cstdint>

#include "reader/basic_blocks.h"
#include "reader/name_index.h"

namespace vkreader {

// A tree may hold this many times the file's own content (objects, points
// and polygon values)...
constexpr int64_t kExpansionFactor = 64;
// ... or this many nodes, vertices and polygons, when that is more.
constexpr int64_t kExpansionFloor = 1000000;

// An object named by several parents is built once per naming, so a small
// file can describe a tree of any size. From the root (the last OBJECT
// block), following the child and sibling names as the building does, adds
// up the nodes, vertices and polygons of the tree (each object's share
// counted once) and refuses a tree larger than the budget above, naming the
// object whose subtree passes it; refuses, as the building would, a child or
// sibling name that leads back to an object containing it. False after the
// message.
bool CheckExpansion(const ReaderContext &ctx, const NameIndex &objects);

}  // namespace vkreader
