// Round trips: generated models written in every vertex kind and every strip
// or volume kind, as binary and as ASCII, decoded back to vertices and
// triangles and compared with the processed meshes.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <random>
#include <string>

#include "chunk/chunk_test_util.h"
#include "chunk/encoding.h"
#include "process/nodelist.h"
#include "reader/reader.h"
#include "scene/memory.h"
#include "scene/records.h"
#include "support/test_support.h"
#include "support/vka_gen.h"

namespace {

using chunktest::Word3;

constexpr uint32_t kVertexKinds[] = {0x00000000, 0x40000000, 0x00000001, 0x00000002, 0x00000003,
                                     0x00000004, 0x00000005, 0x00000006, 0x00000007, 0x40000001,
                                     0x40000002, 0x40000003, 0x40000004, 0x40000005, 0x40000006,
                                     0x40000007, 0x20000001, 0x20000002, 0x20000003};

// Strip and volume kinds: output flags, chunk flags, textured or not, material tag.
struct StripVariant {
  const char *name;
  uint32_t outputFlags, chunkFlags;
  bool textured;
  const char *tag;
};
constexpr StripVariant kVariants[] = {
    {"CnkS", 0, 0, false, ""},            {"CnkS_UVN", 0, 0, true, ""},
    {"CnkS_UVH", 0, 0x4000, true, ""},    {"CnkS_VN", 0x4000, 0, false, ""},
    {"CnkS_UVN_VN", 0x4000, 0, true, ""}, {"CnkS_UVH_VN user words", 0x4000, 0x4000, true, "U3_"},
    {"CnkS_D8", 0x2000, 0, false, ""},    {"CnkS_UVN_D8 polygon colour", 0x2000, 0x2000, true, ""},
    {"CnkS_UVH_D8", 0x2000, 0x4000, true, ""}, {"CnkS user words", 0, 0, false, "U1_"},
    {"CnkO_ST", 0, 0x02000000, true, ""}, {"CnkO_P3", 0, 0x04000000, true, "U2_"},
    {"CnkO_P3 and CnkO_P4 (-co34)", 0, 0x06000000, false, ""},
};

uint32_t Bits(float f) { return std::bit_cast<uint32_t>(f); }

class ChunkRoundTrip : public ::testing::Test {
 protected:
  // Converts the generated model and compares the decoded file with the node
  // list; returns the number of strip or volume chunks of the first object.
  size_t Check(const vktest::VkaGenParams &params, uint32_t kind, const StripVariant &variant, float scale,
               bool binary) {
    SCOPED_TRACE(std::string(variant.name) + (binary ? " binary" : " ascii") + " kind " + std::to_string(kind));
    ScMallocTabInit();
    const std::string input = dir_.file(params.baseName + ".vka");
    EXPECT_TRUE(vktest::WriteVka(input, params));
    ScObject *scene = ReadBasicModel(input.c_str());
    ScNodeList *list = nullptr;
    const uint32_t outputFlags = 0x38000000 | variant.outputFlags | (binary ? 0x01 : 0);
    EXPECT_EQ(scene ? chunktest::RunWriter(scene, input, kind | variant.chunkFlags, outputFlags, scale, &list) : 0, 1);
    const std::string bytes = vktest::ReadFile(binary ? dir_.file(params.baseName + ".vk") : input);
    const auto objects = binary ? chunktest::DecodeBinary(bytes) : chunktest::DecodeAscii(bytes);
    const int nodes = list ? list->node_n : 0;
    EXPECT_EQ(static_cast<int>(objects.size()), nodes);
    for (int i = 0; i < nodes && i < static_cast<int>(objects.size()); ++i)
      Compare(list->slist[i], objects[binary ? i : nodes - 1 - i], kind, scale, variant.chunkFlags & 0x06000000);
    ScFreeAll();
    return objects.empty() ? 0 : objects[0].stripChunkIds.size();
  }

  static void Compare(const ScNode *node, const chunktest::DecodedObject &object, uint32_t kind, float scale,
                      uint32_t volume) {
    const ScMesh *mesh = ScGetMesh(node->model);
    ASSERT_TRUE(mesh && object.hasModel);
    ASSERT_EQ(static_cast<int>(object.vertices.size()), mesh->nbVertex);
    const bool normals = kind & 0x40000000, packed = kind & 0x20000000;
    for (int v = 0; v < mesh->nbVertex; ++v) {
      const float *p = mesh->vertices[v].pos, *n = mesh->vertices[v].normal;
      const chunktest::DecodedVertex &d = object.vertices[v];
      SCOPED_TRACE(v);
      ASSERT_EQ(d.pos, (Word3{Bits(p[0] * scale), Bits(p[1] * scale), Bits(p[2] * scale)}));
      ASSERT_EQ(d.hasNormal, normals);
      ASSERT_EQ(d.normal, (normals ? Word3{Bits(n[0]), Bits(n[1]), Bits(n[2])} : Word3{}));
      ASSERT_EQ(d.hasPacked, packed);
      ASSERT_EQ(d.packed, packed ? VKPackNORM32(n[0], n[1], n[2]) : 0u);
    }
    std::vector<chunktest::Triangle> expected;
    for (int p = 0; p < mesh->nbPolygon; ++p) {
      const ScPolyNode *c = mesh->polygons[p].corners;
      ASSERT_EQ(mesh->polygons[p].nbCorner, 3);
      expected.push_back({c[0].vertex, c[1].vertex, c[2].vertex});
    }
    EXPECT_EQ(chunktest::Normalized(object.triangles), chunktest::Normalized(expected));
    EXPECT_TRUE(volume != 0x06000000 || object.quads > 0);
    for (int id : object.stripChunkIds)
      EXPECT_TRUE(volume == 0 || volume == 0x06000000 || id == (volume == 0x02000000 ? 0x3A : 0x38)) << id;
  }

  chunktest::QuietConsole quiet_;
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
      Check(params, kind, variant, scale, run++ % 2 == 1);
    }
  }
}

// A group large enough that its strip or volume chunk (16-bit size) and its
// vertex chunk are split into several chunks, in both forms.
TEST_F(ChunkRoundTrip, LargeGroupsSplitIntoSeveralChunks) {
  vktest::VkaGenParams params;
  params.baseName = "big";
  params.gridWidth = 140;  // 11421 vertices: two CnkV_VN chunks
  params.gridHeight = 80;
  params.textures = 1;
  params.polyNormals = true;
  for (bool binary : {true, false})
    for (const StripVariant &variant : {kVariants[4], kVariants[11]})
      EXPECT_GE(Check(params, 0x40000001, variant, 1.0f, binary), 2u);
}

}  // namespace
