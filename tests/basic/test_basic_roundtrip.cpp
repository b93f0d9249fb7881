// Round trips: generated models (every mesh-set kind, hierarchies,
// transforms, materials, textures, tags) and hand-built n-gons written with
// the Basic-model writer and read back by the reader give the same scene,
// to the precision of the format.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <string>

#include "basic/basic_scene_compare.h"
#include "basic/basic_test_util.h"
#include "reader/reader.h"
#include "scene/memory.h"
#include "scene/records.h"
#include "support/test_support.h"
#include "support/vka_gen.h"

namespace {

using namespace vktest;

constexpr uint32_t kNoTexture = 0x2, kPolyNormal = 0x20000000, kQuadToTri = 0x00100000, kNoFlags = 0x1000;
constexpr uint32_t kGlobalFreeze = 0x00010000;
constexpr uint32_t kStripOn = 0x80000000;

// Tags whose effects the attribute flags and the object's evaluation flags
// keep; each is followed by "_" in the name.
const char *const kTags[] = {"", "D", "NaNs", "EsHi", "A21", "Bi", "FL", "D150Tl", "B05", "A00"};

struct RoundTrip {
  VkaGenParams params;
  basictest::Words words;
  float scale = 1.0f;
};

RoundTrip RandomCase(std::mt19937 &rng, int index) {
  auto pick = [&](int n) { return static_cast<int>(rng() % static_cast<unsigned>(n)); };
  RoundTrip c;
  VkaGenParams &p = c.params;
  p.baseName = "gen";
  p.objects = 1 + pick(6);
  p.childrenPerNode = 1 + pick(3);
  p.gridWidth = 1 + pick(5);
  p.gridHeight = 1 + pick(4);
  p.meshKinds.clear();
  for (int k = 0, n = 1 + pick(4); k < n; ++k) p.meshKinds.push_back(static_cast<VkaMesh>(pick(5)));
  p.normals = pick(4) != 0;
  p.polyNormals = pick(2) != 0;
  p.uvs = pick(4) != 0;
  p.materials = pick(4);
  p.textures = p.materials > 0 ? pick(4) : 0;
  p.paletteBanks = pick(2) != 0;
  p.defaultMaterialList = pick(3) == 0;
  p.evalFlags = (pick(2) ? 0x20u : 0u) | (pick(2) ? 0x40u : 0u);
  const char *tag = kTags[pick(static_cast<int>(std::size(kTags)))];
  p.materialTag = *tag ? std::string(tag) + "_" : "";
  basictest::Words &w = c.words;
  if (pick(2)) w.stripFlags |= kStripOn;
  if (pick(3) == 0) w.modelFlags |= kPolyNormal;
  if (pick(5) == 0) w.modelFlags |= kNoTexture;
  if (pick(4) == 0) w.modelFlags |= kQuadToTri;
  if (pick(6) == 0) w.modelFlags |= kNoFlags;
  if (pick(6) == 0) w.outputFlags |= kGlobalFreeze;
  const float scales[] = {1.0f, 0.5f, 2.0f, 1.0f};
  c.scale = scales[index % 4];
  return c;
}

std::string Describe(const RoundTrip &c) {
  const VkaGenParams &p = c.params;
  std::string kinds;
  for (VkaMesh k : p.meshKinds) kinds += std::to_string(static_cast<int>(k));
  return "objects " + std::to_string(p.objects) + "/" + std::to_string(p.childrenPerNode) + " grid " +
         std::to_string(p.gridWidth) + "x" + std::to_string(p.gridHeight) + " kinds " + kinds + " materials " +
         std::to_string(p.materials) + " textures " + std::to_string(p.textures) + " tag " + p.materialTag +
         " model " + std::to_string(c.words.modelFlags) + " output " + std::to_string(c.words.outputFlags) +
         " strips " + std::to_string(c.words.stripFlags != 0) + " scale " + std::to_string(c.scale);
}

class BasicRoundTrip : public ::testing::Test {
 protected:
  void SetUp() override { ScMallocTabInit(); }
  void TearDown() override { ScFreeAll(); }

  // Writes `scene` as a Basic model (with the texture section put in as
  // the section writer will write it), reads it back, and compares.
  void Check(ScObject *scene, const basictest::Words &words, float scale, const std::string &what) {
    SCOPED_TRACE(what);
    const float rotation[3] = {0, 0, 0};
    ScNodeList *source = nullptr;
    ASSERT_TRUE(ScGetNodeList(scene, words.modelFlags, words.outputFlags, words.stripFlags, rotation, &source).ok());
    const std::string out = dir_.file("gen.vka");
    char name[kNameSize];
    std::snprintf(name, sizeof name, "%s", out.c_str());
    GlobalIndexBlock globalIndex{};
    ASSERT_TRUE(VKWriteBasicModel({source, "in.vka", name, &globalIndex, "", words.chunkFlags, scale, nullptr}).ok());
    const bool textures = !(words.modelFlags & kNoTexture);
    const std::string section = textures ? basictest::TextureSection(source, "gen") : "";
    ASSERT_TRUE(WriteFile(out, basictest::WithTextureSection(ReadFile(out), section)));

    ScObject *back = ReadBasicModel(out.c_str());
    ASSERT_NE(back, nullptr);
    ScNodeList *backList = nullptr;
    ASSERT_TRUE(ScGetNodeList(back, 0x80000000, 0x38000000, 0, rotation, &backList).ok());
    const basictest::WriteOptions options{textures, (words.modelFlags & kPolyNormal) != 0, scale};
    const std::string difference = basictest::CompareSides(basictest::SourceSide(source, options),
                                                           basictest::ReadBackSide(backList),
                                                           (words.stripFlags & kStripOn) != 0);
    EXPECT_EQ(difference, "");
  }

  basictest::QuietConsole quiet_;
  ScratchDir dir_;     // the written file
  ScratchDir source_;  // the generated source, of the same name
};

TEST_F(BasicRoundTrip, GeneratedModelsComeBackAsWritten) {
  std::mt19937 rng(1717);
  for (int i = 0; i < 150; ++i) {
    const RoundTrip c = RandomCase(rng, i);
    const std::string source = source_.file("gen.vka");
    ASSERT_TRUE(WriteVka(source, c.params));
    ScObject *scene = ReadBasicModel(source.c_str());
    ASSERT_NE(scene, nullptr) << Describe(c);
    Check(scene, c.words, c.scale, std::to_string(i) + ": " + Describe(c));
    ScFreeAll();
    ScMallocTabInit();
  }
}

// One node of polygons with 3 to 9 corners, each on its own ring of points,
// alternating a textured and an untextured material.
ScObject *PolygonScene() {
  constexpr int kFirst = 3, kLast = 9;
  int points = 0, polygons = 0;
  for (int n = kFirst; n <= kLast; ++n) points += n, ++polygons;
  ScObject *scene = ScObjectAlloc("scene", 7);
  ScModel *model = scene->root = ScModelAlloc("ring");
  scene->modelCount = model->hasMesh = 1;
  model->OScale[0] = model->OScale[1] = model->OScale[2] = 1.0f;
  model->OPosition[1] = 0.25f;
  ScMesh *mesh = model->mesh = ScMeshAlloc(points, polygons, polygons);
  int first = 0;
  for (int n = kFirst, p = 0; n <= kLast; ++n, ++p) {
    ScPolygon &polygon = mesh->polygons[p];
    polygon.nbCorner = static_cast<uint16_t>(n);
    polygon.corners = ScPolyNodeAlloc(n);
    polygon.attribute = &mesh->attributes[p];
    polygon.materialId = p % 2;
    polygon.normal[0] = 0.125f * p, polygon.normal[2] = 1.0f;
    for (int c = 0; c < n; ++c) {
      const double angle = 6.283185307179586 * c / n;
      ScVertex &vertex = mesh->vertices[first + c];
      vertex.pos[0] = static_cast<float>(std::cos(angle) + 3 * p), vertex.pos[1] = static_cast<float>(std::sin(angle));
      vertex.normal[2] = 1.0f;
      ScPolyNode &corner = polygon.corners[c];
      corner.vertex = static_cast<uint16_t>(first + c);
      corner.u = static_cast<float>(0.5 + 0.5 * std::cos(angle)), corner.v = static_cast<float>(0.5 + 0.5 * std::sin(angle));
      corner.normal[2] = 1.0f;
    }
    if (n == 3) ++mesh->nbTriangle;
    if (n == 4) ++mesh->nbQuad;
    first += n;
  }
  model->materials = ScMaterialsAlloc(2);
  model->nbMaterial = 2;
  ScMaterials *material = model->materials;
  for (int m = 0; m < 2; ++m, material = material->next) {
    material->name = ScVStrdup(m ? "plain" : "painted");
    material->kind = 4;
    material->diffuse[0] = material->diffuse[3] = 1.0f;
    material->diffuse[1] = m ? 0.5f : 0.25f;
    material->specularPower = 16.0f;
    if (m == 0) material->textures = ScTextureAlloc(1), material->textures->picname = ScVStrdup("paint.tga");
    material->nbTexture = m == 0;
  }
  return scene;
}

// Polygons of five corners or more are written as n-gon entries (their
// count, then the corners in zigzag order), and the reader makes of each the
// triangles the node list's triangulation would give; with -nto3 they are
// triangles already.
TEST_F(BasicRoundTrip, PolygonsOfManyCornersComeBackAsTheirTriangles) {
  const struct {
    const char *what;
    uint32_t modelFlags, stripFlags;
  } cases[] = {
      {"n-gon entries", 0x80000000, 0},
      {"n-gon entries with polygon normals and strips", 0x80000000 | kPolyNormal, kStripOn},
      {"triangulated before writing", 0x80000000 | 0x00300000, 0},
      {"without textures", 0x80000000 | kNoTexture | kPolyNormal, 0},
  };
  for (const auto &c : cases) {
    basictest::Words words;
    words.modelFlags = c.modelFlags;
    words.stripFlags = c.stripFlags;
    Check(PolygonScene(), words, 1.0f, c.what);
    ScFreeAll();
    ScMallocTabInit();
  }
}

}  // namespace
