// Helpers of the reader tests: read a text as a .vka file and capture what
// the reader prints, write small blocks, and print a scene as text.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "reader/reader.h"
#include "scene/memory.h"
#include "scene/records.h"
#include "support/test_support.h"

// The tests name only the generator settings they change.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

namespace vkreadertest {

template <typename... Args>
std::string Format(const char *format, Args... args) {
  std::string s(static_cast<size_t>(std::snprintf(nullptr, 0, format, args...)), '\0');
  std::snprintf(s.data(), s.size() + 1, format, args...);
  return s;
}

// `text` with the first `from` replaced by `to`.
inline std::string Replace(std::string text, const std::string &from, const std::string &to) {
  const size_t at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  return at == std::string::npos ? text : text.replace(at, from.size(), to);
}

// A block "<kind> <name>[]" holding `body`.
inline std::string Block(const std::string &head, const std::string &body) {
  return head + "[]\nSTART\n" + body + "END\n";
}

inline std::string Object(const std::string &name, const std::string &model, const std::string &child,
                          const std::string &sibling, const std::string &evalFlags = "0x0") {
  return Block("OBJECT " + name, "EvalFlags ( " + evalFlags + " ),\nModel " + model + ",\nOPosition ( 0, 0, 0 ),\n"
               "OAngle ( 0, 0, 0 ),\nOScale ( 1, 1, 1 ),\nChild " + child + ",\nSibling " + sibling + ",\n");
}

inline std::string Model(const char *name, const char *points, int pointNum, const char *meshset, const char *materials,
                         int matNum) {
  return Format("MODEL %s[]\nSTART\nPoints %s,\nNormal NULL,\nPointNum %d,\nMeshset %s,\nMaterials %s,\n"
                "MeshsetNum %d,\nMatNum %d,\nCenter 0, 0, 0,\nRadius 0,\nEND\n",
                name, points, pointNum, meshset, materials, std::strcmp(meshset, "NULL") ? 1 : 0, matNum);
}

// One MATSTART entry; colours as written (alpha, red, green, blue).
inline std::string Mat(const std::string &diffuse, const std::string &specular, const std::string &exponent,
                       const std::string &texId, const std::string &flags) {
  return "MATSTART\nDiffuse ( " + diffuse + " ),\nSpecular ( " + specular + " ),\nExponent ( " + exponent +
         " ),\nAttrTexId ( " + texId + " ),\nAttrFlags ( " + flags + " ),\nMATEND\n";
}

inline std::string Floats(const float *f, int n, float scale = 1) {
  std::string s;
  for (int i = 0; i < n; i++) s += Format(i ? ",%g" : "%g", static_cast<double>(f[i] * scale));
  return s;
}

// The text the hand-worked scenes are written in: a line per node (indented
// by depth; transforms only when not the identity), material, mesh, its
// vertices (position/normal) and polygon. Colours print as bytes (value *
// 255), corners as vertex:u,v; a '!' marks a broken link.
inline void Describe(const ScModel *node, int depth, const ScModel *parent, std::string &out) {
  static const float kZero[3] = {0, 0, 0}, kOne[3] = {1, 1, 1};
  for (const std::string in(2 * depth, ' '); node; node = node->sibling) {
    out += in + Format("%s#%d%s", node->name, node->id, node->parent != parent ? " !parent" : "");
    if (node->EvalFlags) out += Format(" eval%x", node->EvalFlags);
    if (std::memcmp(node->OPosition, kZero, 12)) out += " pos" + Floats(node->OPosition, 3);
    if (std::memcmp(node->OAngle, kZero, 12)) out += " ang" + Floats(node->OAngle, 3);
    if (std::memcmp(node->OScale, kOne, 12)) out += " scl" + Floats(node->OScale, 3);
    if (node->mesh && node->sibling && node->mesh == node->sibling->mesh) out += " !shared";
    out += node->hasMesh != (node->mesh != nullptr) ? " !mesh\n" : "\n";
    for (const ScMaterials *m = node->materials; m; m = m->next) {
      out += in + Format(" mat#%d %s %08x p%g d", m->id, m->name, m->attrflags, double{m->specularPower}) +
             Floats(m->diffuse, 4, 255) + " s" + Floats(m->specular, 4, 255) + " a" + Floats(m->ambient, 4, 255);
      if (m->nbTexture) out += Format(" tex#%d %s", m->textures->id, m->textures->picname);
      out += (m->bank != -1 ? Format(" bank%d", m->bank) : "") + "\n";
    }
    if (const ScMesh *mesh = node->mesh) {
      out += in + Format(" mesh v%d p%d a%d t%d q%d\n", mesh->nbVertex, mesh->nbPolygon, mesh->nbAttribute,
                         mesh->nbTriangle, mesh->nbQuad);
      std::string v;
      for (const ScVertex *x = mesh->vertices; x < mesh->vertices + mesh->nbVertex; x++) {
        v.append(" ").append(Floats(x->pos, 3)).append("/").append(Floats(x->normal, 3));
      }
      if (!v.empty()) out += in + " v" + v + "\n";
      for (const ScPolygon *p = mesh->polygons; p < mesh->polygons + mesh->nbPolygon; p++) {
        out += in + Format(" m%d n", p->materialId) + Floats(p->normal, 3);
        out += " d" + Floats(p->attribute->diffuse, 4, 255);
        if (p->attribute != mesh->attributes + (p - mesh->polygons)) out += " !attr";
        for (const ScPolyNode *c = p->corners; c < p->corners + p->nbCorner; c++) {
          out += Format(" %d:%g,%g", c->vertex, double{c->u}, double{c->v});
          if (std::memcmp(c->normal, mesh->vertices[c->vertex].normal, 12)) out += " !normal";
        }
        out += "\n";
      }
    }
    Describe(node->child, depth + 1, node, out);
  }
}

using ReadResult = std::pair<ScObject *, std::string>;  // the scene and what the reader printed

class ReaderTest : public ::testing::Test {
 protected:
  void SetUp() override { Reset(); }
  void TearDown() override { ScFreeAll(); }
  static void Reset() {
    if (ScMallocGetStats().initialised) ScFreeAll();
    ScMallocTabInit();
  }
  static ReadResult ReadPath(const std::string &path) {
    testing::internal::CaptureStderr();
    ScObject *scene = ReadBasicModel(path.c_str());
    return {scene, testing::internal::GetCapturedStderr()};
  }
  // Writes `text` as `name` in the scratch folder and reads it back.
  ReadResult Read(const std::string &text, const std::string &name = "t.vka") {
    EXPECT_TRUE(vktest::WriteFile(dir_.file(name), text));
    return ReadPath(dir_.file(name));
  }
  // What the reader prints, then the scene as text.
  std::string ReadDescribed(const std::string &text, const std::string &name = "t.vka") {
    auto [scene, out] = Read(text, name);
    if (!scene) return out + "no scene\n";
    out += Format("%s kind%d models%d\n", scene->name, scene->kind, scene->modelCount);
    Describe(scene->root, 0, nullptr, out);
    return out;
  }
  vktest::ScratchDir dir_;
};

}  // namespace vkreadertest
