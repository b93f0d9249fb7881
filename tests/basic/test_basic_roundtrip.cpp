// Round trips: generated models (every mesh-set kind, hierarchies,
// transforms, materials, textures, tags) and hand-built n-gons written with
// the Basic-model writer and read back by the reader give the same scene,
// to the precision of the format.
//
// Both scenes are taken apart per node: name, links, transform, points,
// normals and polygons, each polygon with the look of its material and its
// corners (winding kept, rotated to start at the smallest sequence). The
// source side is predicted through the precision of the format: the writer
// prints points, normals, positions and scales with "%9.6f" and the reader
// takes them back with strtof, so a value comes back as
// strtof(printf("%.6f", value)); UVs come back as U / 255 and 1 - V / 255
// from U = trunc(u x 255) and V = trunc((1 - v) x 255); angles to within one
// step of 65536 per turn; n-gons as the triangles the reader makes of them.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <random>
#include <string>
#include <tuple>

#include "basic/basic_test_util.h"
#include "chunk/material_emit.h"
#include "reader/reader.h"
#include "support/vka_gen.h"

namespace {

using namespace vktest;
using Vec3 = std::array<float, 3>;

constexpr uint32_t kNoTexture = 0x2, kPolyNormal = 0x20000000, kQuadToTri = 0x00100000, kNoFlags = 0x1000;
constexpr uint32_t kGlobalFreeze = 0x00010000, kStripOn = 0x80000000;
constexpr double kAngleStep = 6.283184 / 65536;  // one turn in the reader's angle steps

struct Corner {
  int vertex;
  float u, v;
  auto operator<=>(const Corner &) const = default;
};
struct Polygon {
  std::string material;  // the look of the material as the file carries it
  std::vector<Corner> corners;
  Vec3 normal;
  bool operator<(const Polygon &o) const { return std::tie(material, corners) < std::tie(o.material, o.corners); }
};
struct Node {
  std::string name, child, sibling;
  Vec3 trans, rot, scale;
  bool hasMesh = false;
  std::vector<Vec3> points, normals;
  std::vector<Polygon> polygons;  // sorted
};

// How the source was written (the -B run's options).
struct WriteOptions {
  bool textures = true;  // absence of -notexture
  bool polyNormals = false;
  float scale = 1.0f;
};

float Printed(float value) {
  char text[64];
  std::snprintf(text, sizeof text, "%.6f", static_cast<double>(value));
  return std::strtof(text, nullptr);
}

// A polygon's own corners rotated to the smallest sequence, winding kept.
std::vector<Corner> Rotated(std::vector<Corner> corners) {
  std::vector<Corner> best = corners;
  for (size_t r = 1; r < corners.size(); ++r) {
    std::rotate(corners.begin(), corners.begin() + 1, corners.end());
    best = std::min(best, corners);
  }
  return best;
}

const ScMaterials *MaterialOf(const ScModel *model, int32_t id) {
  const ScMaterials *m = model->nbMaterial ? model->materials : nullptr;
  for (int32_t k = 0; id < model->nbMaterial && k < id && m; ++k) m = m->next;
  return m;
}

bool Textured(const ScMaterials *m) { return m && m->nbTexture > 0 && m->textures; }

// The look of a material as a Basic-model file carries it: colour bytes,
// exponent step, attribute flags as the reader completes them, texture name
// (the source's without folder and suffix) and palette bank.
std::string Look(const ScMaterials *m, bool textures, bool source) {
  if (!m) return "none";
  uint32_t flags = m->attrflags;
  if (source && (flags & 0xFC000000u) == 0) flags |= 0x94000000u;
  std::string look;
  for (const float *colour : {m->diffuse, m->specular})
    for (int k : {3, 0, 1, 2}) look += std::to_string(VKColourByte(colour[k])) + ",";
  look += std::to_string(VKExponentStep(m->specularPower)) + "/" + std::to_string(flags);
  if (!textures || !Textured(m)) return look;
  char name[kNameSize];
  const char *picname = m->textures->picname ? m->textures->picname : "";
  std::snprintf(name, sizeof name, "%s", source ? BaseName(picname) : picname);
  if (source) StripSuffix(name);
  return look + "/" + name + "/" + std::to_string(m->bank);
}

// The triangles the reader makes of an n-gon entry written in zigzag order,
// as the node list's triangulation gives them.
std::vector<std::array<int, 3>> Triangulated(int n) {
  std::vector<std::array<int, 3>> triangles{{0, 1, n - 1}};
  for (int t = 1, h = 0; t <= n - 3; h = ++t / 2)
    triangles.push_back(t % 2 ? std::array<int, 3>{h + 1, h + 2, n - (t + 1) / 2}
                              : std::array<int, 3>{n - h, (t + 1) / 2 + 1, n - h - 1});
  return triangles;
}

// The scene as read back (`source` null), or the source scene after the
// writer ran as the file should bring it back.
std::vector<Node> Side(const ScNodeList *list, const WriteOptions *source) {
  const auto vec = [&](const float v[3], float scale) {
    return source ? Vec3{Printed(v[0] * scale), Printed(v[1] * scale), Printed(v[2] * scale)} : Vec3{v[0], v[1], v[2]};
  };
  const float scale = source ? source->scale : 1.0f;
  std::vector<Node> nodes;
  for (int32_t i = 0; i < list->node_n; ++i) {
    const ScNode *node = list->slist[i];
    const ScModel *model = node->model;
    Node &out = nodes.emplace_back();
    out.name = node->name;
    out.child = node->child ? node->child->name : "NULL";
    out.sibling = node->sibling ? node->sibling->name : "NULL";
    out.rot = {node->rot[0], node->rot[1], node->rot[2]};
    out.trans = vec(source ? node->trans : model->OPosition, scale);
    out.scale = vec(model->OScale, 1.0f);
    const ScMesh *mesh = ScGetMesh(node->model);
    out.hasMesh = mesh && (!source || (mesh->nbVertex > 0 && mesh->nbPolygon > 0));
    if (!out.hasMesh) continue;
    for (int v = 0; v < mesh->nbVertex; ++v)
      out.points.push_back(vec(mesh->vertices[v].pos, scale)), out.normals.push_back(vec(mesh->vertices[v].normal, 1));
    for (int p = 0; p < mesh->nbPolygon; ++p) {
      const ScPolygon &polygon = mesh->polygons[p];
      const ScMaterials *material = MaterialOf(model, polygon.materialId);
      const bool uvs = !source || (source->textures && Textured(material));
      const std::string look = Look(material, !source || source->textures, source);
      std::vector<Corner> corners;
      for (int c = 0; c < polygon.nbCorner; ++c) {
        const ScPolyNode &k = polygon.corners[c];
        const int u = static_cast<int>(k.u * 255.0), v = static_cast<int>((1.0 - k.v) * 255.0);
        corners.push_back({k.vertex, !uvs ? 0.0f : source ? static_cast<float>(u / 255.0) : k.u,
                           !uvs ? 0.0f : source ? static_cast<float>(1.0 - v / 255.0) : k.v});
      }
      const Vec3 normal = !source || source->polyNormals ? vec(polygon.normal, 1) : Vec3{0, 0, 0};
      if (!source || polygon.nbCorner <= 4) {
        out.polygons.push_back({look, Rotated(corners), normal});
        continue;
      }
      for (const auto &t : Triangulated(polygon.nbCorner))
        out.polygons.push_back({look, Rotated({corners[t[0]], corners[t[1]], corners[t[2]]}), normal});
    }
    std::sort(out.polygons.begin(), out.polygons.end());
  }
  return nodes;
}

// Strips (-S) let a corner's UV be that of the corner of a joined triangle
// that the strip wrote for the point, and give the polygons of a strip entry
// one polygon normal, so neither is compared exactly then. Returns an empty
// text or the first difference.
std::string CompareSides(const std::vector<Node> &source, const std::vector<Node> &back, bool strips) {
  if (source.size() != back.size()) return "node count " + std::to_string(back.size());
  for (size_t i = 0; i < source.size(); ++i) {
    const Node &a = source[i], &b = back[i];
    const std::string where = "node " + a.name + ": ";
    if (std::tie(a.name, a.child, a.sibling) != std::tie(b.name, b.child, b.sibling))
      return where + "name or links " + b.name + " " + b.child + " " + b.sibling;
    if (a.trans != b.trans || a.scale != b.scale) return where + "position or scale";
    for (int k = 0; k < 3; ++k)
      if (std::fabs(a.rot[k] - b.rot[k]) > kAngleStep * 1.01) return where + "angle " + std::to_string(k);
    if (a.hasMesh != b.hasMesh || a.points != b.points || a.normals != b.normals) return where + "points or normals";
    if (a.polygons.size() != b.polygons.size()) return where + "polygon count " + std::to_string(b.polygons.size());
    for (size_t p = 0; p < a.polygons.size(); ++p) {
      const Polygon &x = a.polygons[p], &y = b.polygons[p];
      const std::string face = where + "polygon " + std::to_string(p) + ": ";
      if (x.material != y.material) return face + "material " + x.material + " != " + y.material;
      if (x.corners.size() != y.corners.size()) return face + "corner count";
      // A strip writes one UV per point: the joined triangle's, at most the
      // joining limit 0.0039 away, itself within one step of 1/255.
      const float limit = strips ? 0.0039f + 1.0f / 255 : 0.0f;
      for (size_t c = 0; c < x.corners.size(); ++c) {
        const Corner &s = x.corners[c], &t = y.corners[c];
        if (s.vertex != t.vertex || std::fabs(s.u - t.u) > limit || std::fabs(s.v - t.v) > limit)
          return face + "corner " + std::to_string(c);
      }
      if (!strips && x.normal != y.normal) return face + "polygon normal";
    }
  }
  return "";
}

using BasicRoundTrip = chunktest::SceneTest;

// Writes `scene` as a Basic model, reads it back, and compares.
void Check(ScObject *scene, const basictest::Words &words, float scale, const std::string &out) {
  ScNodeList *source = nullptr;
  ASSERT_TRUE(basictest::RunBasicWriter(scene, out, words, nullptr, scale, &source).ok());
  ScObject *back = ReadBasicModel(out.c_str());
  ASSERT_NE(back, nullptr);
  ScNodeList *backList = nullptr;
  const float rotation[3] = {0, 0, 0};
  ASSERT_TRUE(ScGetNodeList(back, 0x80000000, 0x38000000, 0, rotation, &backList).ok());
  const WriteOptions options{!(words.modelFlags & kNoTexture), (words.modelFlags & kPolyNormal) != 0, scale};
  EXPECT_EQ(CompareSides(Side(source, &options), Side(backList, nullptr), (words.stripFlags & kStripOn) != 0), "");
}

// Tags whose effects the attribute flags and the object's evaluation flags
// keep; each is followed by "_" in the name.
const char *const kTags[] = {"", "D", "NaNs", "EsHi", "A21", "Bi", "FL", "D150Tl", "B05", "A00"};

TEST_F(BasicRoundTrip, GeneratedModelsComeBackAsWritten) {
  std::mt19937 rng(1717);
  auto pick = [&](int n) { return static_cast<int>(rng() % static_cast<unsigned>(n)); };
  for (int i = 0; i < 150; ++i) {
    VkaGenParams p;
    p.objects = 1 + pick(6), p.childrenPerNode = 1 + pick(3), p.gridWidth = 1 + pick(5), p.gridHeight = 1 + pick(4);
    p.meshKinds.clear();
    std::string trace = std::to_string(i) + ": kinds ";
    for (int k = 0, n = 1 + pick(4); k < n; ++k)
      p.meshKinds.push_back(static_cast<VkaMesh>(pick(5))), trace += std::to_string(int(p.meshKinds.back()));
    p.normals = pick(4) != 0, p.polyNormals = pick(2) != 0, p.uvs = pick(4) != 0;
    p.materials = pick(4), p.textures = p.materials > 0 ? pick(4) : 0;
    p.paletteBanks = pick(2) != 0, p.defaultMaterialList = pick(3) == 0;
    p.evalFlags = (pick(2) ? 0x20u : 0u) | (pick(2) ? 0x40u : 0u);
    const char *tag = kTags[pick(static_cast<int>(std::size(kTags)))];
    p.materialTag = *tag ? std::string(tag) + "_" : "";
    basictest::Words w;
    if (pick(2)) w.stripFlags |= kStripOn;
    if (pick(3) == 0) w.modelFlags |= kPolyNormal;
    if (pick(5) == 0) w.modelFlags |= kNoTexture;
    if (pick(4) == 0) w.modelFlags |= kQuadToTri;
    if (pick(6) == 0) w.modelFlags |= kNoFlags;
    if (pick(6) == 0) w.outputFlags |= kGlobalFreeze;
    const float scale = i % 4 == 1 ? 0.5f : i % 4 == 2 ? 2.0f : 1.0f;
    SCOPED_TRACE(trace + " objects " + std::to_string(p.objects) + " grid " + std::to_string(p.gridWidth) + "x" +
                 std::to_string(p.gridHeight) + " materials " + std::to_string(p.materials) + " textures " +
                 std::to_string(p.textures) + " tag " + p.materialTag + " words " + std::to_string(w.modelFlags) +
                 " " + std::to_string(w.outputFlags) + " " + std::to_string(w.stripFlags));
    ScratchDir source;
    ASSERT_TRUE(WriteVka(source.file("gen.vka"), p));
    ScObject *scene = ReadBasicModel(source.file("gen.vka").c_str());
    ASSERT_NE(scene, nullptr);
    Check(scene, w, scale, dir_.file("gen.vka"));
    Reset();
  }
}

// One node of polygons with 3 to 9 corners, each on its own ring of points,
// alternating the textured and the untextured material.
ScObject *PolygonScene() {
  std::vector<chunktest::Point> points;
  std::vector<chunktest::Face> faces;
  for (int n = 3; n <= 9; ++n) {
    chunktest::Face &face = faces.emplace_back(chunktest::Face{{}, (n - 3) % 2});
    for (int c = 0; c < n; ++c) {
      const double angle = 6.283185307179586 * c / n;
      face.corners.push_back(static_cast<int>(points.size()));
      points.push_back({static_cast<float>(std::cos(angle) + 3 * (n - 3)), static_cast<float>(std::sin(angle)), 0});
    }
  }
  ScModel *model = chunktest::MeshModel("ring", points, faces);
  model->OPosition[1] = 0.25f;
  for (int p = 0; p < model->mesh->nbPolygon; ++p) {
    ScPolygon &polygon = model->mesh->polygons[p];
    polygon.normal[0] = 0.125f * p;
    for (int c = 0; c < polygon.nbCorner; ++c) {
      const double angle = 6.283185307179586 * c / polygon.nbCorner;
      polygon.corners[c].u = static_cast<float>(0.5 + 0.5 * std::cos(angle));
      polygon.corners[c].v = static_cast<float>(0.5 + 0.5 * std::sin(angle));
    }
  }
  chunktest::WoodAndStone(model);
  return chunktest::SceneOf(model);
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
    SCOPED_TRACE(c.what);
    Check(PolygonScene(), {c.modelFlags, 0x38000000, c.stripFlags}, 1.0f, dir_.file("gen.vka"));
    Reset();
  }
}

}  // namespace
