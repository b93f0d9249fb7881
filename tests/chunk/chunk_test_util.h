// Helpers of the Chunk-model writer tests: small scenes built straight from
// records, in-process runs of the writer, and decoders of its binary and
// ASCII output back to vertices and triangles.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

struct ScObject;
struct ScNodeList;

namespace chunktest {

// ---- Scenes ----------------------------------------------------------------------
struct TestMaterial {
  const char *name;
  float diffuse[4];
  float specular[4];
  float power;
  const char *texture;  // null: untextured
};

struct TestCorner {
  int vertex;
  float u, v;
};

struct TestTriangle {
  TestCorner corners[3];
  int material;
};

// One object named `name` at the origin: vertices at `positions`, every
// vertex and corner normal `normal`, polygon normals (0, 0, 1).
ScObject *MakeScene(const char *name, const std::vector<std::array<float, 3>> &positions,
                    const std::vector<TestTriangle> &triangles, const std::vector<TestMaterial> &materials);

// ---- Runs -------------------------------------------------------------------------
struct RunOptions {
  uint32_t modelFlags = 0x80000000;
  uint32_t outputFlags = 0x38000000;
  uint32_t stripFlags = 0;
  uint32_t chunkFlags = 0x40000001;
  float globalScale = 1.0f;
};

// Completes the chunk options, builds the node list and runs the writer on
// `outputName`. Returns the writer's result (-1 when no node list).
int RunWriter(ScObject *scene, const RunOptions &options, const std::string &outputName,
              ScNodeList **listOut = nullptr);

// ---- Decoding ----------------------------------------------------------------------
struct DecodedVertex {
  uint32_t pos[3];     // float bit patterns
  uint32_t normal[3];  // float bit patterns (VN kinds)
  uint32_t packed;     // NORM32 word (VNX kinds)
  bool hasNormal = false;
  bool hasPacked = false;
};

struct DecodedObject {
  std::vector<DecodedVertex> vertices;          // by index
  std::vector<std::array<int, 3>> triangles;    // in their own winding
  std::vector<std::array<int, 4>> quads;        // CnkO_P4 corners as written
  std::vector<int> stripChunkIds;               // ids of strip / volume chunks
  uint32_t evalFlags = 0;
  bool hasModel = false;
};

// Decodes a binary .vk file (VKCM chunk and its POF0 chunk); objects in file
// order. Fails the current test on a malformed file.
std::vector<DecodedObject> DecodeBinary(const std::string &bytes);
// Decodes a Chunk-model ASCII file; objects in file order (last node first).
std::vector<DecodedObject> DecodeAscii(const std::string &text);

// The triangles a quadrilateral f0 f1 f2 f3 stands for.
void AddQuadTriangles(const std::array<int, 4> &quad, std::vector<std::array<int, 3>> &out);
// A triangle rotated so that its smallest index comes first (winding kept).
std::array<int, 3> Canonical(std::array<int, 3> triangle);

}  // namespace chunktest
