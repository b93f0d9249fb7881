// The expansion count of a hierarchy: an iterative depth-first walk over the
// objects, each visited once, its subtree's size kept for every further
// naming.
#include "reader/expansion.h"

#include <algorithm>
#include <cstdio>
#include <vector>

#include "reader/mesh_faces.h"

namespace vkreader {
namespace {

// Faces of a mesh set as the building walks them (none when its list is
// missing; those that fit when its counts run past the end).
int64_t FaceCount(const ReaderContext &ctx, const BasicMeshSet &set) {
  if (set.meshes < 0) return 0;
  int64_t faces = 0;
  WalkFaces(set, ctx.polygons[static_cast<size_t>(set.meshes)].items, [&faces](const Face &) { faces++; });
  return faces;
}

// Vertices and polygons of one copy of a model, as far as the file holds them.
int64_t ModelSize(const ReaderContext &ctx, const BasicModel &m, const std::vector<int64_t> &setFaces) {
  int64_t size = 0;
  if (m.points >= 0) {
    const auto held = static_cast<int64_t>(ctx.points[static_cast<size_t>(m.points)].items.size());
    size += std::clamp<int64_t>(m.nbPoint, 0, held);
  }
  if (m.meshsets >= 0) {
    const auto last = std::min<size_t>(static_cast<size_t>(m.meshsets) + m.nbMeshset, setFaces.size());
    for (size_t i = static_cast<size_t>(m.meshsets); i < last; i++) size += setFaces[i];
  }
  return size;
}

int64_t OwnContent(const ReaderContext &ctx) {
  auto own = static_cast<int64_t>(ctx.objects.size());
  for (const auto &block : ctx.points) own += static_cast<int64_t>(block.items.size());
  for (const auto &block : ctx.polygons) own += static_cast<int64_t>(block.items.size());
  return own;
}

enum class Mark : uint8_t { kNew, kOnPath, kDone };

struct Frame {
  int32_t object;
  int step;  // 0: enter, 1: child done, 2: sibling done
};

}  // namespace

bool CheckExpansion(const ReaderContext &ctx, const NameIndex &objects) {
  const int64_t budget = std::max(kExpansionFloor, kExpansionFactor * OwnContent(ctx));
  std::vector<int64_t> setFaces(ctx.meshsets.size());
  for (size_t i = 0; i < setFaces.size(); i++) setFaces[i] = FaceCount(ctx, ctx.meshsets[i]);
  std::vector<int64_t> modelSize(ctx.models.size());
  for (size_t i = 0; i < modelSize.size(); i++) modelSize[i] = ModelSize(ctx, ctx.models[i], setFaces);

  const size_t n = ctx.objects.size();
  std::vector<Mark> mark(n, Mark::kNew);
  std::vector<int64_t> size(n, 0);
  auto link = [&objects](std::string_view name) { return name == kNoReference ? -1 : objects.First(name); };
  // Follows a child or sibling name: false when it leads back onto the path.
  auto follow = [&](const BasicObject &o, bool child, std::vector<Frame> &stack) {
    const int32_t next = link(child ? o.childName : o.siblingName);
    if (next < 0 || mark[static_cast<size_t>(next)] == Mark::kDone) return true;
    if (mark[static_cast<size_t>(next)] == Mark::kOnPath) {
      std::fprintf(stderr, "Error : %s : Line %d : %s %s leads back to an object that contains it\n", ctx.fileName,
                   child ? o.childLine : o.siblingLine, child ? "Child" : "Sibling",
                   ctx.objects[static_cast<size_t>(next)].name.c_str());
      return false;
    }
    stack.push_back({next, 0});
    return true;
  };

  std::vector<Frame> stack = {{static_cast<int32_t>(n) - 1, 0}};
  while (!stack.empty()) {
    Frame &frame = stack.back();
    const auto at = static_cast<size_t>(frame.object);
    const BasicObject &o = ctx.objects[at];
    if (frame.step < 2) {
      if (frame.step == 0) mark[at] = Mark::kOnPath;
      const bool child = frame.step++ == 0;
      if (!follow(o, child, stack)) return false;
      continue;
    }
    int64_t total = 1 + (o.model >= 0 ? modelSize[static_cast<size_t>(o.model)] : 0);
    for (const std::string *name : {&o.childName, &o.siblingName}) {
      const int32_t next = link(*name);
      if (next >= 0) total += size[static_cast<size_t>(next)];
    }
    if (total > budget) {
      std::fprintf(stderr,
                   "Error : %s : Line %d : OBJECT %s expands to %lld nodes, vertices and polygons; this file allows "
                   "at most %lld\n",
                   ctx.fileName, o.line, o.name.c_str(), static_cast<long long>(total),
                   static_cast<long long>(budget));
      return false;
    }
    size[at] = total;
    mark[at] = Mark::kDone;
    stack.pop_back();
  }
  return true;
}

}  // namespace vkreader
