// Round trips: generated models written in every vertex kind and every
// strip or volume kind, as binary and as ASCII, decoded back to vertices and
// triangles and compared with the processed meshes.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>

#include "chunk/chunk_test_util.h"
#include "chunk/encoding.h"
#include "frontend/console.h"
#include "process/nodelist.h"
#include "reader/reader.h"
#include "scene/memory.h"
#include "scene/records.h"
#include "support/test_support.h"
#include "support/vka_gen.h"

namespace {

using chunktest::Canonical;
using chunktest::DecodedObject;

constexpr uint32_t kVertexKinds[] = {0x00000000, 0x40000000, 0x00000001, 0x00000002, 0x00000003,
                                     0x00000004, 0x00000005, 0x00000006, 0x00000007, 0x40000001,
                                     0x40000002, 0x40000003, 0x40000004, 0x40000005, 0x40000006,
                                     0x40000007, 0x20000001, 0x20000002, 0x20000003};

// Strip and volume variants: output flags, chunk flags, textured or not,
// material tag.
struct StripVariant {
  const char *name;
  uint32_t outputFlags;
  uint32_t chunkFlags;
  bool textured;
  const char *tag;
};
constexpr StripVariant kVariants[] = {
    {"CnkS", 0, 0, false, ""},
    {"CnkS_UVN", 0, 0, true, ""},
    {"CnkS_UVH", 0, 0x4000, true, ""},
    {"CnkS_VN", 0x4000, 0, false, ""},
    {"CnkS_UVN_VN", 0x4000, 0, true, ""},
    {"CnkS_UVH_VN user words", 0x4000, 0x4000, true, "U3_"},
    {"CnkS_D8", 0x2000, 0, false, ""},
    {"CnkS_UVN_D8 polygon colour", 0x2000, 0x2000, true, ""},
    {"CnkS_UVH_D8", 0x2000, 0x4000, true, ""},
    {"CnkS user words", 0, 0, false, "U1_"},
    {"CnkO_ST", 0, 0x02000000, true, ""},
    {"CnkO_P3", 0, 0x04000000, true, "U2_"},
    {"CnkO_P3 and CnkO_P4", 0, 0x06000000, false, ""},
};

uint32_t Bits(float f) {
  uint32_t b;
  std::memcpy(&b, &f, 4);
  return b;
}

class ChunkRoundTrip : public ::testing::Test {
 protected:
  void SetUp() override {
    SetInfoStream(nullptr);
    SetMessageStream(nullptr);
    SetWarningStream(nullptr);
  }
  void TearDown() override {
    SetInfoStream(stderr);
    SetMessageStream(stderr);
    SetWarningStream(stderr);
  }

  // Converts the generated model with the options and checks both decoded
  // forms against the node list.
  // Returns the number of strip or volume chunks of the first object.
  size_t Check(const vktest::VkaGenParams &params, uint32_t vertexKind, const StripVariant &variant, float scale,
               bool binary) {
    size_t chunks = 0;
    CheckInto(params, vertexKind, variant, scale, binary, &chunks);
    return chunks;
  }

  void CheckInto(const vktest::VkaGenParams &params, uint32_t vertexKind, const StripVariant &variant,
                 float scale, bool binary, size_t *chunks) {
    SCOPED_TRACE(std::string(variant.name) + (binary ? " binary" : " ascii") + " kind " +
                 std::to_string(vertexKind));
    ScMallocTabInit();
    const std::string input = dir_.file(params.baseName + ".vka");
    ASSERT_TRUE(vktest::WriteVka(input, params));
    ScObject *scene = ReadBasicModel(input.c_str());
    ASSERT_NE(scene, nullptr);
    chunktest::RunOptions options;
    options.outputFlags |= variant.outputFlags | (binary ? 0x01 : 0);
    options.chunkFlags = vertexKind | variant.chunkFlags;
    options.globalScale = scale;
    ScNodeList *list = nullptr;
    ASSERT_EQ(chunktest::RunWriter(scene, options, input, &list), 1);
    const std::string bytes = vktest::ReadFile(binary ? dir_.file(params.baseName + ".vk") : input);
    const std::vector<DecodedObject> objects = binary ? chunktest::DecodeBinary(bytes) : chunktest::DecodeAscii(bytes);
    ASSERT_EQ(static_cast<int>(objects.size()), list->node_n);
    for (int i = 0; i < list->node_n; ++i) {
      const DecodedObject &object = objects[binary ? i : list->node_n - 1 - i];
      CompareObject(list->slist[i], object, vertexKind, scale, variant.chunkFlags & 0x06000000);
    }
    if (!objects.empty()) *chunks = objects[0].stripChunkIds.size();
    ScFreeAll();
  }

  void CompareObject(const ScNode *node, const DecodedObject &object, uint32_t vertexKind, float scale,
                     uint32_t volume) {
    const ScMesh *mesh = ScGetMesh(node->model);
    ASSERT_NE(mesh, nullptr);
    ASSERT_TRUE(object.hasModel);
    ASSERT_EQ(static_cast<int>(object.vertices.size()), mesh->nbVertex);
    const bool normals = (vertexKind & 0x40000000) != 0;
    const bool packed = (vertexKind & 0x20000000) != 0;
    for (int v = 0; v < mesh->nbVertex; ++v) {
      const ScVertex &vertex = mesh->vertices[v];
      const auto &decoded = object.vertices[v];
      for (int k = 0; k < 3; ++k) ASSERT_EQ(decoded.pos[k], Bits(vertex.pos[k] * scale)) << "vertex " << v;
      ASSERT_EQ(decoded.hasNormal, normals);
      for (int k = 0; normals && k < 3; ++k) ASSERT_EQ(decoded.normal[k], Bits(vertex.normal[k])) << "vertex " << v;
      ASSERT_EQ(decoded.hasPacked, packed);
      if (packed) {
        ASSERT_EQ(decoded.packed, VKPackNORM32(vertex.normal[0], vertex.normal[1], vertex.normal[2]));
      }
    }
    std::vector<std::array<int, 3>> expected, actual;
    for (int p = 0; p < mesh->nbPolygon; ++p) {
      const ScPolygon &polygon = mesh->polygons[p];
      ASSERT_EQ(polygon.nbCorner, 3);
      expected.push_back(Canonical({polygon.corners[0].vertex, polygon.corners[1].vertex, polygon.corners[2].vertex}));
    }
    for (const auto &t : object.triangles) actual.push_back(Canonical(t));
    std::vector<std::array<int, 3>> fromQuads;
    for (const auto &q : object.quads) chunktest::AddQuadTriangles(q, fromQuads);
    for (const auto &t : fromQuads) actual.push_back(Canonical(t));
    std::sort(expected.begin(), expected.end());
    std::sort(actual.begin(), actual.end());
    EXPECT_EQ(actual, expected);
    if (volume == 0x06000000) {
      EXPECT_FALSE(object.quads.empty());
    }
    for (int id : object.stripChunkIds) {
      if (volume == 0x02000000) {
        EXPECT_EQ(id, 0x3A);
      } else if (volume == 0x04000000) {
        EXPECT_EQ(id, 0x38);
      }
    }
  }

  vktest::ScratchDir dir_;
};

TEST_F(ChunkRoundTrip, EveryVertexKindAndStripKindInBothForms) {
  std::mt19937 random(7);
  int run = 0;
  for (const StripVariant &variant : kVariants) {
    for (uint32_t kind : kVertexKinds) {
      vktest::VkaGenParams params;
      params.baseName = "rt";
      params.objects = 1 + static_cast<int>(random() % 3);
      params.gridWidth = 1 + static_cast<int>(random() % 5);
      params.gridHeight = 1 + static_cast<int>(random() % 4);
      params.materials = 1 + static_cast<int>(random() % 3);
      params.textures = variant.textured ? 1 + static_cast<int>(random() % 2) : 0;
      params.materialTag = variant.tag;
      // Square mode pairs only triangles whose polygon normals agree.
      params.polyNormals = (variant.chunkFlags & 0x06000000) == 0x06000000 || random() % 2;
      params.meshKinds = {vktest::VkaMesh::kTriangles, vktest::VkaMesh::kQuads, vktest::VkaMesh::kStrips};
      std::shuffle(params.meshKinds.begin(), params.meshKinds.end(), random);
      const float scale = (run % 4 == 3) ? 2.5f : 1.0f;
      Check(params, kind, variant, scale, run % 2 == 0);
      Check(params, kind, variant, scale, run % 2 == 1);
      ++run;
    }
  }
}

// A group large enough that its strip chunk and its vertex chunk are split
// into several chunks (16-bit size fields), in both forms.
TEST_F(ChunkRoundTrip, LargeGroupsSplitIntoSeveralChunks) {
  vktest::VkaGenParams params;
  params.baseName = "big";
  params.gridWidth = 140;  // 11421 vertices: two CnkV_VN chunks
  params.gridHeight = 80;
  params.textures = 1;
  params.polyNormals = true;
  for (bool binary : {true, false}) {
    EXPECT_GE(Check(params, 0x40000001, kVariants[4], 1.0f, binary), 2u);
    EXPECT_GE(Check(params, 0x40000001, kVariants[11], 1.0f, binary), 2u);
  }
}

}  // namespace
