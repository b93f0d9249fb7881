// The written files decoded back: generated models in every vertex kind and
// every strip or volume kind, as binary and as ASCII (through the Chunk-model
// reader, whose own bytes are checked by hand in tests/binary), compared with
// the processed meshes; end-to-end runs of the program on the Chunk-model
// route (damaged meshes, the limits golden runs do not meet, labels).
#include <gtest/gtest.h>

#include <bit>
#include <random>
#include <string>

#include "base/packers.h"
#include "binary/chunk_reader.h"
#include "chunk/chunk_test_util.h"
#include "reader/reader.h"
#include "support/vka_gen.h"

// The cases name only the generator settings they change.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

namespace {

using binarytest::DecodedObject;
using binarytest::Triangle;
using binarytest::Word3;

std::vector<DecodedObject> DecodeBinary(const std::string &bytes) { return binarytest::DecodeModel(bytes).objects; }

// An ASCII file decoded through its binary form, which the Chunk-model
// reader writes with the objects in the same order.
std::vector<DecodedObject> DecodeAscii(const std::string &text) {
  vktest::ScratchDir dir;
  EXPECT_TRUE(vktest::WriteFile(dir.file("a.vka"), text));
  const VKStatus status = VKReadChunkModel(dir.file("a.vka").c_str(), dir.file("a.vk").c_str(), nullptr);
  EXPECT_TRUE(status.ok()) << status.message;
  return DecodeBinary(vktest::ReadFile(dir.file("a.vk")));
}

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

class ChunkRoundTrip : public chunktest::SceneTest {
 protected:
  // Converts the generated model and compares the decoded file with the node
  // list; returns the number of strip or volume chunks of the first object.
  size_t Check(const vktest::VkaGenParams &params, uint32_t kind, const StripVariant &variant, float scale,
               bool binary) {
    SCOPED_TRACE(std::string(variant.name) + (binary ? " binary" : " ascii") + " kind " + std::to_string(kind));
    const std::string input = dir_.file(params.baseName + ".vka");
    EXPECT_TRUE(vktest::WriteVka(input, params));
    ScObject *scene = ReadBasicModel(input.c_str());
    ScNodeList *list = nullptr;
    const uint32_t outputFlags = 0x38000000 | variant.outputFlags | (binary ? 0x01 : 0);
    EXPECT_EQ(scene ? chunktest::RunWriter(scene, input, kind | variant.chunkFlags, outputFlags, scale, &list) : 0, 1);
    const std::string bytes = vktest::ReadFile(binary ? dir_.file(params.baseName + ".vk") : input);
    const auto objects = binary ? DecodeBinary(bytes) : DecodeAscii(bytes);
    const int nodes = list ? list->node_n : 0;
    EXPECT_EQ(static_cast<int>(objects.size()), nodes);
    for (int i = 0; i < nodes && i < static_cast<int>(objects.size()); ++i)
      Compare(list->slist[i], objects[i], kind, scale, variant.chunkFlags & 0x06000000);
    Reset();
    return objects.empty() ? 0 : objects[0].stripChunkIds.size();
  }

  static void Compare(const ScNode *node, const DecodedObject &object, uint32_t kind, float scale,
                      uint32_t volume) {
    const ScMesh *mesh = ScGetMesh(node->model);
    ASSERT_TRUE(mesh && object.hasModel);
    std::vector<Word3> pos, normal;
    std::vector<uint32_t> packed;
    for (int v = 0; v < mesh->nbVertex; ++v) {
      const float *p = mesh->vertices[v].pos, *n = mesh->vertices[v].normal;
      pos.push_back({Bits(p[0] * scale), Bits(p[1] * scale), Bits(p[2] * scale)});
      if (kind & 0x40000000) normal.push_back({Bits(n[0]), Bits(n[1]), Bits(n[2])});
      if (kind & 0x20000000) packed.push_back(VKPackNORM32(n[0], n[1], n[2]));
    }
    EXPECT_EQ(object.pos, pos);
    EXPECT_EQ(object.normal, normal);
    EXPECT_EQ(object.packed, packed);
    std::vector<Triangle> expected;
    for (int p = 0; p < mesh->nbPolygon; ++p) {
      const ScPolyNode *c = mesh->polygons[p].corners;
      ASSERT_EQ(mesh->polygons[p].nbCorner, 3);
      expected.push_back({c[0].vertex, c[1].vertex, c[2].vertex});
    }
    EXPECT_EQ(chunktest::Normalized(object.triangles), chunktest::Normalized(expected));
    EXPECT_TRUE(volume != 0x06000000 || object.quads > 0);
    for (int id : object.stripChunkIds)
      EXPECT_TRUE(volume == 0 ? id >= 0x40 : volume == 0x06000000 ? id == 0x38 || id == 0x39
                                                                  : id == (volume == 0x02000000 ? 0x3A : 0x38))
          << id;
  }
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

// What the golden runs do not meet: -septex of a model without textures
// writes no texture file; 256 x 256 points in one object (one past what
// 16-bit strips index) stop the run before any file is touched.
TEST(ChunkFiles, NoTextureFileAndTheVertexLimit) {
  const struct {
    std::vector<std::string> args;
    int grid;
    const char *input, *model;  // where the input is afterwards; the model (null: none)
    std::vector<const char *> absent;
    const char *err;
  } cases[] = {
      {{"m.vka", "-septex"}, 4, "m.vka.bk", "m.vad", {"m.vat", "m.vka"}, "[There is no texture]"},
      {{"m.vka", "-VN"}, 255, "m.vka", nullptr, {"m.vka.bk"}, "Object o0 has 65536 vertices"},
      {{"m.vka", "-bin"}, 255, "m.vka", nullptr, {"m.vka.bk", "m.vk"}, "Object o0 has 65536 vertices"},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.args[1]);
    vktest::ScratchDir dir;
    const std::string input = vktest::GenerateVka({.baseName = "m", .objects = c.grid > 4 ? 1 : 3,
                                                   .gridWidth = c.grid, .gridHeight = c.grid,
                                                   .meshKinds = {c.grid > 4 ? vktest::VkaMesh::kQuads
                                                                            : vktest::VkaMesh::kTriangles},
                                                   .normals = c.grid <= 4, .uvs = c.grid <= 4, .materials = 2});
    ASSERT_TRUE(vktest::WriteFile(dir.file("m.vka"), input));
    const vktest::RunResult run = vktest::RunVkconv(c.args, dir.path());
    EXPECT_EQ(run.status, 0);
    EXPECT_NE(run.err.find(c.err), std::string::npos) << run.err;
    EXPECT_TRUE(vktest::ReadFile(dir.file(c.input)) == input);
    EXPECT_EQ(c.model ? DecodeAscii(vktest::ReadFile(dir.file(c.model))).size() : 3u, 3u);
    for (const char *file : c.absent) EXPECT_FALSE(vktest::Exists(dir.file(file))) << file;
  }
}

// A generated w x h grid damaged the way scanned and exported meshes are:
// faces duplicated in either winding, a few flipped, fins (a third face on an
// edge, run either way); flat polygon normals, UVs per point or none.
vktest::VkaTriangleMesh ScannedGrid(int w, int h, unsigned seed, bool uvs) {
  std::mt19937 rng(seed);
  vktest::VkaTriangleMesh m;
  m.baseName = "scan";
  for (int y = 0; y <= h; ++y)
    for (int x = 0; x <= w; ++x) {
      m.points.push_back({float(x), float(y), 0.0f});
      if (uvs) m.pointUvs.push_back({x * 255 / w, y * 255 / h});
    }
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      const int p00 = y * (w + 1) + x, p10 = p00 + 1, p01 = p00 + w + 1, p11 = p01 + 1;
      for (std::array<int, 3> t : {std::array<int, 3>{p00, p10, p01}, std::array<int, 3>{p01, p10, p11}}) {
        const int roll = static_cast<int>(rng() % 24);
        if (roll < 2) std::swap(t[1], t[2]);
        m.triangles.push_back(t);
        if (roll == 2) m.triangles.push_back(t);
        if (roll == 3) m.triangles.push_back({t[0], t[2], t[1]});
        if (roll == 4) {
          const int k = static_cast<int>(rng() % 3), a = t[k], b = t[(k + 1) % 3];
          m.points.push_back({(m.points[a][0] + m.points[b][0]) / 2, (m.points[a][1] + m.points[b][1]) / 2, 1.0f});
          if (uvs) m.pointUvs.push_back(m.pointUvs[a]);
          const int fin = static_cast<int>(m.points.size()) - 1;
          m.triangles.push_back(rng() % 2 ? std::array<int, 3>{a, b, fin} : std::array<int, 3>{b, a, fin});
        }
      }
    }
  m.faceNormals.assign(m.triangles.size(), {0.0f, 0.0f, 1.0f});
  return m;
}

// Every triangle of a damaged mesh comes back once per source face with its
// winding, in strips and in every volume mode, ASCII and binary; the faces
// of the four-face case are written as hand-worked.
TEST(ChunkFiles, DamagedMeshesKeepEveryTriangleWithItsWinding) {
  int runs = 0, quads = 0;
  for (unsigned seed : {1u, 2u, 3u}) {
    for (bool uvs : {false, true}) {
      const vktest::VkaTriangleMesh mesh = ScannedGrid(9, 7, seed, uvs);
      std::vector<Triangle> source(mesh.triangles.begin(), mesh.triangles.end());
      for (const char *mode : {"", "-coS", "-co3", "-co34"}) {
        for (bool binary : {false, true}) {
          SCOPED_TRACE(std::to_string(seed) + (uvs ? " uv " : " ") + mode + (binary ? " -bin" : ""));
          vktest::ScratchDir dir;
          ASSERT_TRUE(vktest::WriteFile(dir.file("scan.vka"), vktest::GenerateMeshVka(mesh)));
          std::vector<std::string> args = {"scan.vka"};
          if (*mode) args.push_back(mode);
          if (binary) args.push_back("-bin");
          const vktest::RunResult run = vktest::RunVkconv(args, dir.path());
          const std::string bytes = vktest::ReadFile(dir.file(binary ? "scan.vk" : "scan.vka"));
          const auto objects = binary ? DecodeBinary(bytes) : DecodeAscii(bytes);
          ASSERT_EQ(objects.size(), 1u) << run.err;
          EXPECT_EQ(chunktest::Normalized(objects[0].triangles), chunktest::Normalized(source));
          quads += objects[0].quads;
          ++runs;
        }
      }
    }
  }
  EXPECT_EQ(runs, 48);
  EXPECT_GT(quads, 0);

  vktest::ScratchDir dir;
  vktest::VkaTriangleMesh four;
  four.baseName = "four";
  four.points = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {2, 1, 0.2f}, {2, 0, 0.3f}, {3, 1, 0.1f}};
  four.triangles = {{0, 1, 2}, {1, 3, 4}, {3, 1, 2}, {3, 5, 4}};
  ASSERT_TRUE(vktest::WriteFile(dir.file("four.vka"), vktest::GenerateMeshVka(four)));
  vktest::RunVkconv({"four.vka"}, dir.path());
  const std::string text = vktest::ReadFile(dir.file("four.vka"));
  EXPECT_NE(text.find("\tCnkS( 0x0 ), 12, _NB( UFO_0, 2 ),\n\tStripL(3),  0, 1, 2, \n\tStripR(5),  2, 1, 3, 4, 5, \n"
                      "\tCnkNull(),\n"),
            std::string::npos)
      << text;
}

// Base names with characters that cannot stand in a label (the bundled sample
// renamed): every label uses "_" in their place, one warning names the file,
// and the files are byte for byte those of a run on the name so spelt.
TEST(ChunkFiles, BaseNamesAreWrittenAsLabels) {
  const std::string sample = vktest::ReadFile(vktest::SourceDir() + "/examples/sample.vka");
  ASSERT_FALSE(sample.empty());
  const struct {
    std::string name, label;  // base names
    std::vector<std::string> args;
    std::vector<std::string> files;  // written, by suffix
  } cases[] = {
      {"my model", "my_model", {}, {".vka"}},
      {"a-b+c", "a_b_c", {"-septex"}, {".vad", ".vat"}},
      {"caf\xc3\xa9 1", "caf___1", {}, {".vka"}},  // two bytes of UTF-8
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.label);
    vktest::ScratchDir dir;
    const auto run = [&](const std::string &base) {
      std::vector<std::string> args = {base + ".vka"};
      args.insert(args.end(), c.args.begin(), c.args.end());
      EXPECT_TRUE(vktest::WriteFile(dir.file(args[0]), sample));
      return vktest::RunVkconv(args, dir.path());
    };
    const vktest::RunResult oddRun = run(c.name), plainRun = run(c.label);
    const std::string warning = "\n##### Warning : The base name \"" + c.name + "\" of " + c.name +
                                ".vka can't stand in a label; labels use \"" + c.label + "\"\n";
    const size_t at = oddRun.err.find(warning);
    ASSERT_NE(at, std::string::npos) << oddRun.err;
    EXPECT_EQ(std::string(oddRun.err).erase(at, warning.size()), plainRun.err);
    for (const std::string &suffix : c.files) {
      const std::string written = vktest::ReadFile(dir.file(c.name + suffix));
      EXPECT_EQ(written, vktest::ReadFile(dir.file(c.label + suffix))) << suffix;
      EXPECT_EQ(written.find(c.name), std::string::npos) << suffix;
    }
    const std::string model = vktest::ReadFile(dir.file(c.name + c.files[0]));
    // The reader cuts the prefix "object_" + base name + "_" by its length.
    const std::string antenna = std::string("object_sample_antenna").substr(8 + c.name.size());
    EXPECT_NE(model.find("CNKOBJECT  object_" + c.label + "_" + antenna + "[]"), std::string::npos);
    EXPECT_EQ(DecodeAscii(model).size(), 4u);
  }
}

}  // namespace
