// Scenes before and after a Basic-model round trip, taken apart for
// comparison: per node of the node list its name, links, transform, points,
// normals and polygons, each polygon with the look of its material and its
// corners (winding kept, rotated to start at the smallest point index).
//
// The source side is predicted through the precision of the format: the
// writer prints points, normals, positions and scales with "%9.6f" and the
// reader takes them back with strtof, so a value comes back as
// strtof(printf("%.6f", value)); UVs come back as U / 255 and 1 - V / 255
// from U = trunc(u x 255) and V = trunc((1 - v) x 255); angles to within one
// step of 65536 per turn.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

struct ScNodeList;
struct VKWriteInfo;

namespace basictest {

struct Corner {
  int vertex;
  float u, v;
  bool operator<(const Corner &o) const {
    return vertex != o.vertex ? vertex < o.vertex : u != o.u ? u < o.u : v < o.v;
  }
  bool operator==(const Corner &o) const = default;
};

struct Polygon {
  std::string material;  // the look of the material as the file carries it
  std::vector<Corner> corners;
  std::array<float, 3> normal;
  bool operator<(const Polygon &o) const {
    return material != o.material ? material < o.material : corners < o.corners;
  }
};

struct Node {
  std::string name, child, sibling;
  std::array<float, 3> trans, rot, scale;
  bool hasMesh = false;
  std::vector<std::array<float, 3>> points, normals;
  std::vector<Polygon> polygons;  // sorted
};

// How the source was written (the -B run's options).
struct WriteOptions {
  bool textures = true;    // absence of -notexture
  bool polyNormals = false;
  float scale = 1.0f;
};

// The scene as read back from the written file.
std::vector<Node> ReadBackSide(const ScNodeList *list);
// The source scene after the writer ran, as the file should bring it back:
// n-gons become the triangles the reader makes of them.
std::vector<Node> SourceSide(const ScNodeList *list, const WriteOptions &options);

// Compares the two sides; strips (-S) let a corner's UV be that of the
// corner of a joined triangle that the strip wrote for the point, and give
// the polygons of a strip entry one polygon normal, so neither is compared
// exactly then. Returns an empty text or the first difference.
std::string CompareSides(const std::vector<Node> &source, const std::vector<Node> &back, bool strips);

// The texture-list section as the section writer will write it for the
// node list (names without folder and suffix, sorted by file name and
// palette bank, duplicates merged), and the file with it put after its
// header (unless the file has a section of its own). Empty when the list
// holds no texture.
std::string TextureSection(const ScNodeList *list, const std::string &baseName);
std::string WithTextureSection(const std::string &file, const std::string &section);

}  // namespace basictest
