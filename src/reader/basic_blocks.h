// Intermediate records of the Basic-model reader and the reading context that
// holds them while one file is read. Internal to the reader.
#pragma once

#include <array>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "reader/tokens.h"

namespace vkreader {

constexpr int kMaxNameLength = 255;
constexpr std::string_view kNoReference = "NULL";

using Vec3 = std::array<float, 3>;

struct UvPair {
  int16_t u;
  int16_t v;
};

struct BasicTexName {
  std::string filename;
  uint32_t attr = 0;
  uint32_t texaddr = 0;
};

struct BasicMaterial {
  uint32_t diffuse = 0;   // ARGB8888: byte 0 blue, 1 green, 2 red, 3 alpha
  uint32_t specular = 0;
  float exponent = 0.0f;
  uint32_t attrTexId = 0;
  uint32_t attrFlags = 0;
  int32_t texIdLine = 0;  // line of AttrTexId, for messages
};

// Name-table entry of one material, in arrival order; `slot` is where the
// material was stored (see the default-material order).
struct MaterialEntry {
  std::string name;
  int32_t slot = 0;
};

// One array block (POLYGON, POLYNORMAL, VERTUV, POINT, NORMAL).
template <typename T>
struct ArrayBlock {
  std::string name;
  int32_t line = 0;  // opening line
  std::vector<T> items;
};

struct BasicMeshSet {
  std::string name;  // the block name for a block's first mesh set, else "NULL"
  std::string meshesName, polyAttrsName, polyNormalName, vertColorName, vertUvName;
  uint16_t typeMatId = 0;
  uint16_t nbMesh = 0;
  int32_t line = 0;        // MESHSTART line
  int32_t typeLine = 0;    // TypeMatId line
  int32_t meshesLine = 0;  // Meshes line
  // Linked block indices, -1 for none.
  int32_t meshes = -1;
  int32_t normals = -1;
  int32_t vertuv = -1;
};

struct BasicModel {
  std::string name;
  std::string pointsName, normalName, meshsetName, materialsName;
  int32_t nbPoint = 0;
  uint16_t nbMeshset = 0;
  uint16_t nbMat = 0;
  Vec3 center{};
  float r = 0.0f;
  int32_t line = 0;
  int32_t pointsLine = 0, normalLine = 0, meshsetLine = 0, materialsLine = 0;
  // Linked: POINT and NORMAL block indices, first mesh set, first material
  // slot; -1 for none.
  int32_t points = -1;
  int32_t normals = -1;
  int32_t meshsets = -1;
  int32_t mats = -1;
};

struct BasicObject {
  std::string name;
  std::string modelName, childName, siblingName;
  uint32_t evalflags = 0;
  Vec3 pos{};
  std::array<int32_t, 3> ang{};  // 65536 units to a full turn
  Vec3 scl{};
  int32_t line = 0;
  int32_t childLine = 0, siblingLine = 0;
  int32_t model = -1;  // linked MODEL block
};

// Block counts of pass 1, in the order of the keyword table.
enum BlockKind : int {
  kTexEntry, kMaterialKind, kPolygonKind, kPolyNormalKind, kVertUvKind,
  kMeshSetKind, kPointKind, kNormalKind, kModelKind, kObjectKind, kBlockKindCount
};

struct ReaderContext {
  const char *fileName = nullptr;
  LineReader *reader = nullptr;

  std::array<int32_t, kBlockKindCount> counts{};  // pass 1
  // Pass 1 too: element counts of the array blocks, in file order per kind.
  std::vector<int32_t> polygonSizes, polyNormalSizes, vertUvSizes, pointSizes, normalSizes;

  bool hasTexList = false;
  std::vector<BasicTexName> textures;

  std::vector<BasicMaterial> materials;  // slots
  std::vector<MaterialEntry> materialTable;
  int32_t lastMaterialSlot = -1;
  bool defaultMaterialOrder = false;

  std::vector<ArrayBlock<int16_t>> polygons;
  std::vector<ArrayBlock<Vec3>> polyNormals;
  std::vector<ArrayBlock<UvPair>> vertUvs;
  std::vector<ArrayBlock<Vec3>> points;
  std::vector<ArrayBlock<Vec3>> normals;
  std::vector<BasicMeshSet> meshsets;
  std::vector<BasicModel> models;
  std::vector<BasicObject> objects;

  // The block pass 2 is reading: its keyword and name for messages, the
  // line of its START (0 before it), and whether a line of it was refused.
  std::string block;
  int32_t blockStart = 0;
  bool blockFailed = false;
};

// The two passes over the file; each starts at the current position of the
// context's reader (the caller rewinds between them). The first counts the
// lines opening each kind of block (anywhere in the file) and the elements
// of every array block.
void CountAndMeasureBlocks(ReaderContext &ctx);
// Creates the record arrays sized by the counting pass; false (after
// printing the kind word and byte count) when memory runs out.
bool CreateRecords(ReaderContext &ctx);
// Pass 2; false after a block failed (its message printed).
bool ReadBlocks(ReaderContext &ctx);

// Joins the blocks by name, printing a warning for every name not found.
void LinkByName(ReaderContext &ctx);

}  // namespace vkreader
