// Test-fixture generator: Basic-model ASCII (.vka) files of any size, for the
// test suites and benchmarks.
//
// Every object carries a grid of gridWidth x gridHeight cells on the plane
// z = 0: point (x, y) has index y * (gridWidth + 1) + x, position (x, y, 0),
// normal (x / gridWidth, y / gridHeight, 1) and UV (x * 255 / gridWidth,
// y * 255 / gridHeight), integer division. Row r of cells goes to the mesh
// set meshKinds[r % meshKinds.size()]; all faces face +z (counter-clockwise
// seen from above). Per kind:
//   kTriangles     two triangles per cell
//   kQuads         one quadrangle per cell
//   kPolygons      0x8000 entries: one 4-index entry per cell (two triangles)
//   kStrips        0xC000 entries: one strip per row (2 * gridWidth triangles)
//   kReverseStrips the same with the reverse flag (0x8000 in the count word)
// Polygon normals (with polyNormals) hold (cx, cy, 1), cx and cy the centre
// of the cell (or, for a strip, of the row) that the face comes from.
//
// Objects are named object_<baseName>_o<i>; object i > 0 is a child of
// object (i - 1) / childrenPerNode (first child via Child, the others via
// Sibling). Object 0 is the root and is written last. Object i stands at
// (i, 0, 0), turned (i % 4) * 45 degrees about Y, scale 1.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace vktest {

enum class VkaMesh { kTriangles, kQuads, kPolygons, kStrips, kReverseStrips };

struct VkaGenParams {
  std::string baseName = "gen";  // name the file <baseName>.vka
  int objects = 1;
  int childrenPerNode = 2;
  int gridWidth = 4;             // (gridWidth + 1) * (gridHeight + 1) <= 65536
  int gridHeight = 4;
  std::vector<VkaMesh> meshKinds = {VkaMesh::kTriangles};
  bool normals = true;
  bool polyNormals = false;
  bool uvs = true;
  // Materials per object, in one MATERIAL block named
  // <materialTag>matlist_<baseName>_o<i>; mesh set k uses material
  // k % materials. Material m, colours as written (alpha, red, green, blue):
  // Diffuse (255 - m, 200 - m, 100 + m, 50 + m),
  // Specular (255, 10 + m, 20 + m, 30 + m), Exponent m % 17.
  int materials = 1;
  std::string materialTag;
  uint32_t evalFlags = 0;        // every object's EvalFlags
  // Texture entries tex<i>.bmp (PTEXN with bank i when paletteBanks, else
  // TEXN); material m is textured with texture m % textures when textures > 0.
  int textures = 0;
  bool paletteBanks = false;
  // File names of the texture entries instead of tex<i>.bmp (textures is
  // then their count).
  std::vector<std::string> textureNames;
  // A one-material list defmat_<baseName> first in the file, used by the
  // odd-numbered objects instead of their own list.
  bool defaultMaterialList = false;
};

struct VkaGenCounts {
  int objects = 0;
  long long triangles = 0;  // in the whole file
  long long quads = 0;
  int pointsPerObject = 0;
  long long trianglesPerObject = 0;
  long long quadsPerObject = 0;
};

// One object, object_<baseName>_o0, whose model is the triangles given, as
// they are: one material, one triangle mesh set, polygon normals when given
// (one per triangle) and UVs when given (one per point, 0-255, written for
// every corner of that point).
struct VkaTriangleMesh {
  std::string baseName = "mesh";
  std::vector<std::array<float, 3>> points;
  std::vector<std::array<int, 3>> triangles;
  std::vector<std::array<float, 3>> faceNormals;
  std::vector<std::array<int, 2>> pointUvs;
};

std::string GenerateVka(const VkaGenParams &params);
std::string GenerateMeshVka(const VkaTriangleMesh &mesh);
// Streams the file to `path`; false when it cannot be written.
bool WriteVka(const std::string &path, const VkaGenParams &params);
VkaGenCounts ExpectedVkaCounts(const VkaGenParams &params);

}  // namespace vktest
