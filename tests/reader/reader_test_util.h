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

namespace vkreadertest {

struct ReadResult {
  ScObject *scene = nullptr;
  std::string err;
};

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
  vktest::ScratchDir dir_;
};

// `text` with the first `from` replaced by `to`.
inline std::string Replace(std::string text, const std::string &from, const std::string &to) {
  const size_t at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  return at == std::string::npos ? text : text.replace(at, from.size(), to);
}

inline std::string Object(const std::string &name, const std::string &model, const std::string &child,
                          const std::string &sibling, const std::string &evalFlags = "0x0") {
  return "OBJECT " + name + "[]\nSTART\nEvalFlags ( " + evalFlags + " ),\nModel " + model +
         ",\nOPosition ( 0.0F, 0.0F, 0.0F ),\nOAngle ( 0.0F, 0.0F, 0.0F ),\nOScale ( 1.0F, 1.0F, 1.0F ),\nChild " +
         child + ",\nSibling " + sibling + ",\nEND\n";
}

inline std::string Model(const std::string &name, const std::string &points, int pointNum, const std::string &meshset,
                         const std::string &materials, int matNum) {
  return "MODEL " + name + "[]\nSTART\nPoints " + points + ",\nNormal NULL,\nPointNum " + std::to_string(pointNum) +
         ",\nMeshset " + meshset + ",\nMaterials " + materials + ",\nMeshsetNum " + (meshset == "NULL" ? "0" : "1") +
         ",\nMatNum " + std::to_string(matNum) + ",\nCenter 0.0F, 0.0F, 0.0F,\nRadius 0.0F,\nEND\n";
}

// One MATSTART entry; colours as written (alpha, red, green, blue).
inline std::string Mat(const std::string &diffuse, const std::string &specular, const std::string &exponent,
                       const std::string &texId, const std::string &flags) {
  return "MATSTART\nDiffuse ( " + diffuse + " ),\nSpecular ( " + specular + " ),\nExponent ( " + exponent +
         " ),\nAttrTexId ( " + texId + " ),\nAttrFlags ( " + flags + " ),\nMATEND\n";
}

inline std::string Floats(const float *f, int n, float scale = 1) {
  std::string s;
  for (int i = 0; i < n; i++) {
    char b[32];
    std::snprintf(b, sizeof b, "%s%g", i ? "," : "", static_cast<double>(f[i] * scale));
    s += b;
  }
  return s;
}

// The text the hand-worked scenes are written in: a line per node (indented
// by depth; transforms only when not the identity), material, mesh and
// polygon. Colours print as bytes (value * 255); corners as vertex:u,v. A
// '!' marks a broken link or count.
inline void Describe(const ScModel *node, int depth, const ScModel *parent, std::string &out) {
  static const float kZero[3] = {0, 0, 0}, kOne[3] = {1, 1, 1};
  for (const std::string in(2 * depth, ' '); node; node = node->sibling) {
    out += in + node->name + "#" + std::to_string(node->id) + (node->parent != parent ? " !parent" : "");
    if (node->EvalFlags) out += " eval" + std::to_string(node->EvalFlags);
    if (std::memcmp(node->OPosition, kZero, 12)) out += " pos" + Floats(node->OPosition, 3);
    if (std::memcmp(node->OAngle, kZero, 12)) out += " ang" + Floats(node->OAngle, 3);
    if (std::memcmp(node->OScale, kOne, 12)) out += " scl" + Floats(node->OScale, 3);
    out += "\n";
    int materials = 0;
    for (const ScMaterials *m = node->materials; m; m = m->next, materials++) {
      char b[64];
      std::snprintf(b, sizeof b, " %08x p%g", m->attrflags, static_cast<double>(m->specularPower));
      out += in + " mat#" + std::to_string(m->id) + " " + m->name + b + " d" + Floats(m->diffuse, 4, 255) + " s" +
             Floats(m->specular, 4, 255) + " a" + Floats(m->ambient, 4, 255);
      for (const ScTexture *t = m->textures; t; t = t->next) out += " tex#" + std::to_string(t->id) + " " + t->picname;
      if (m->bank != -1) out += " bank" + std::to_string(m->bank);
      out += (m->textures ? 1 : 0) != m->nbTexture ? " !nbTexture\n" : "\n";
    }
    if (materials != node->nbMaterial) out += in + " !nbMaterial\n";
    if (const ScMesh *mesh = node->hasMesh ? node->mesh : nullptr) {
      out += in + " mesh v" + std::to_string(mesh->nbVertex) + " p" + std::to_string(mesh->nbPolygon) + " a" +
             std::to_string(mesh->nbAttribute) + " t" + std::to_string(mesh->nbTriangle) + " q" +
             std::to_string(mesh->nbQuad) + "\n";
      std::string pos = in + " pos", normal = in + " nrm";
      for (int v = 0; v < mesh->nbVertex; v++) {
        pos += " " + Floats(mesh->vertices[v].pos, 3);
        normal += " " + Floats(mesh->vertices[v].normal, 3);
      }
      if (mesh->nbVertex) out += pos + "\n" + normal + "\n";
      for (int q = 0; q < mesh->nbPolygon; q++) {
        const ScPolygon &p = mesh->polygons[q];
        out += in + " m" + std::to_string(p.materialId) + " n" + Floats(p.normal, 3) + " d" +
               Floats(p.attribute->diffuse, 4, 255) + (p.attribute != &mesh->attributes[q] ? " !attr" : "");
        for (int k = 0; k < p.nbCorner; k++) {
          const ScPolyNode &c = p.corners[k];
          out += " " + std::to_string(c.vertex) + ":" + Floats(&c.u, 1) + "," + Floats(&c.v, 1);
          if (std::memcmp(c.normal, mesh->vertices[c.vertex].normal, 12)) out += " !normal";
        }
        out += "\n";
      }
    } else if (node->hasMesh || node->mesh) {
      out += in + " !mesh\n";
    }
    Describe(node->child, depth + 1, node, out);
  }
}

inline std::string Describe(const ScObject *scene) {
  std::string out = std::string(scene->name) + " kind" + std::to_string(scene->kind) + " models" +
                    std::to_string(scene->modelCount) + "\n";
  Describe(scene->root, 0, nullptr, out);
  return out;
}

}  // namespace vkreadertest
