// Scenes taken apart for the round-trip comparisons (see basic_scene_compare.h).
#include "basic/basic_scene_compare.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "base/file_names.h"
#include "chunk/material_emit.h"
#include "process/nodelist.h"
#include "scene/records.h"

namespace basictest {
namespace {

// One turn in the reader's angle steps.
constexpr double kAngleStep = 6.283184 / 65536;

float Printed(float value) {
  char text[64];
  std::snprintf(text, sizeof text, "%.6f", static_cast<double>(value));
  return std::strtof(text, nullptr);
}

std::array<float, 3> Printed3(const float v[3], float scale = 1.0f) {
  return {Printed(v[0] * scale), Printed(v[1] * scale), Printed(v[2] * scale)};
}

int Trunc(double value) { return static_cast<int>(value); }

// A polygon's own corners rotated to the smallest sequence, winding kept.
std::vector<Corner> Rotated(std::vector<Corner> corners) {
  std::vector<Corner> best = corners;
  for (size_t r = 1; r < corners.size(); ++r) {
    std::rotate(corners.begin(), corners.begin() + 1, corners.end());
    if (corners < best) best = corners;
  }
  return best;
}

const ScMaterials *MaterialOf(const ScModel *model, int32_t id) {
  if (model->nbMaterial == 0) return nullptr;
  const ScMaterials *m = model->materials;
  if (id < 0 || id >= model->nbMaterial) return m;
  for (int32_t k = 0; k < id && m; ++k) m = m->next;
  return m;
}

std::string TextureName(const char *picname) {
  char name[kNameSize];
  std::snprintf(name, sizeof name, "%s", BaseName(picname ? picname : ""));
  StripSuffix(name);
  return name;
}

bool Textured(const ScMaterials *m) { return m && m->nbTexture > 0 && m->textures; }

// The look of a material as a Basic-model file carries it: colour bytes,
// exponent step, attribute flags as the reader completes them, texture name
// and palette bank.
std::string Look(const ScMaterials *m, bool textures, bool source) {
  if (!m) return "none";
  char text[160];
  uint32_t flags = m->attrflags;
  if (source && (flags & 0xFC000000u) == 0) flags |= 0x94000000u;
  std::snprintf(text, sizeof text, "%d,%d,%d,%d/%d,%d,%d,%d/%d/%08x", VKColourByte(m->diffuse[3]),
                VKColourByte(m->diffuse[0]), VKColourByte(m->diffuse[1]), VKColourByte(m->diffuse[2]),
                VKColourByte(m->specular[3]), VKColourByte(m->specular[0]), VKColourByte(m->specular[1]),
                VKColourByte(m->specular[2]), VKExponentStep(m->specularPower), flags);
  std::string look = text;
  if (textures && Textured(m))
    look += "/" + (source ? TextureName(m->textures->picname) : std::string(m->textures->picname)) + "/" +
            std::to_string(m->bank);
  return look;
}

// The triangles the reader makes of an n-gon entry written in zigzag order,
// as the node list's triangulation gives them.
std::vector<std::array<int, 3>> Triangulated(int n) {
  std::vector<std::array<int, 3>> triangles;
  for (int t = 0; t <= n - 3; ++t) {
    const int h = t / 2;
    if (t == 0)
      triangles.push_back({0, 1, n - 1});
    else if (t % 2)
      triangles.push_back({h + 1, h + 2, n - (t + 1) / 2});
    else
      triangles.push_back({n - h, (t + 1) / 2 + 1, n - h - 1});
  }
  return triangles;
}

Node NodeBase(const ScNode *node) {
  Node out;
  out.name = node->name;
  out.child = node->child ? node->child->name : "NULL";
  out.sibling = node->sibling ? node->sibling->name : "NULL";
  for (int i = 0; i < 3; ++i) out.rot[i] = node->rot[i];
  return out;
}

}  // namespace

std::vector<Node> ReadBackSide(const ScNodeList *list) {
  std::vector<Node> nodes;
  for (int32_t i = 0; i < list->node_n; ++i) {
    const ScNode *node = list->slist[i];
    const ScModel *model = node->model;
    Node out = NodeBase(node);
    for (int k = 0; k < 3; ++k) out.trans[k] = model->OPosition[k], out.scale[k] = model->OScale[k];
    const ScMesh *mesh = ScGetMesh(node->model);
    out.hasMesh = mesh != nullptr;
    if (mesh) {
      for (int v = 0; v < mesh->nbVertex; ++v) {
        const ScVertex &vertex = mesh->vertices[v];
        out.points.push_back({vertex.pos[0], vertex.pos[1], vertex.pos[2]});
        out.normals.push_back({vertex.normal[0], vertex.normal[1], vertex.normal[2]});
      }
      for (int p = 0; p < mesh->nbPolygon; ++p) {
        const ScPolygon &polygon = mesh->polygons[p];
        Polygon face{Look(MaterialOf(model, polygon.materialId), true, false), {}, {}};
        for (int c = 0; c < polygon.nbCorner; ++c)
          face.corners.push_back({polygon.corners[c].vertex, polygon.corners[c].u, polygon.corners[c].v});
        face.corners = Rotated(face.corners);
        face.normal = {polygon.normal[0], polygon.normal[1], polygon.normal[2]};
        out.polygons.push_back(face);
      }
      std::sort(out.polygons.begin(), out.polygons.end());
    }
    nodes.push_back(std::move(out));
  }
  return nodes;
}

std::vector<Node> SourceSide(const ScNodeList *list, const WriteOptions &options) {
  std::vector<Node> nodes;
  for (int32_t i = 0; i < list->node_n; ++i) {
    const ScNode *node = list->slist[i];
    const ScModel *model = node->model;
    Node out = NodeBase(node);
    out.trans = Printed3(node->trans, options.scale);
    out.scale = Printed3(model->OScale);
    const ScMesh *mesh = ScGetMesh(node->model);
    out.hasMesh = mesh && mesh->nbVertex > 0 && mesh->nbPolygon > 0;
    if (!out.hasMesh) {
      nodes.push_back(std::move(out));
      continue;
    }
    for (int v = 0; v < mesh->nbVertex; ++v) {
      out.points.push_back(Printed3(mesh->vertices[v].pos, options.scale));
      out.normals.push_back(Printed3(mesh->vertices[v].normal));
    }
    for (int p = 0; p < mesh->nbPolygon; ++p) {
      const ScPolygon &polygon = mesh->polygons[p];
      const ScMaterials *material = MaterialOf(model, polygon.materialId);
      const bool uvs = options.textures && Textured(material);
      const std::string look = Look(material, options.textures, true);
      std::vector<Corner> corners;
      for (int c = 0; c < polygon.nbCorner; ++c) {
        const ScPolyNode &corner = polygon.corners[c];
        const int u = Trunc(static_cast<double>(corner.u) * 255.0);
        const int v = Trunc((1.0 - static_cast<double>(corner.v)) * 255.0);
        corners.push_back({corner.vertex, uvs ? static_cast<float>(u / 255.0) : 0.0f,
                           uvs ? static_cast<float>(1.0 - v / 255.0) : 0.0f});
      }
      std::array<float, 3> normal{0, 0, 0};
      if (options.polyNormals) normal = Printed3(polygon.normal);
      if (polygon.nbCorner <= 4) {
        out.polygons.push_back({look, Rotated(corners), normal});
        continue;
      }
      for (const auto &t : Triangulated(polygon.nbCorner))
        out.polygons.push_back({look, Rotated({corners[t[0]], corners[t[1]], corners[t[2]]}), normal});
    }
    std::sort(out.polygons.begin(), out.polygons.end());
    nodes.push_back(std::move(out));
  }
  return nodes;
}

std::string CompareSides(const std::vector<Node> &source, const std::vector<Node> &back, bool strips) {
  if (source.size() != back.size())
    return "node count " + std::to_string(source.size()) + " != " + std::to_string(back.size());
  for (size_t i = 0; i < source.size(); ++i) {
    const Node &a = source[i], &b = back[i];
    const std::string where = "node " + a.name + ": ";
    if (a.name != b.name || a.child != b.child || a.sibling != b.sibling)
      return where + "name or links " + b.name + " " + b.child + " " + b.sibling;
    if (a.trans != b.trans || a.scale != b.scale) return where + "position or scale";
    for (int k = 0; k < 3; ++k)
      if (std::fabs(a.rot[k] - b.rot[k]) > kAngleStep * 1.01) return where + "angle " + std::to_string(k);
    if (a.hasMesh != b.hasMesh) return where + "model";
    if (a.points != b.points) return where + "points";
    if (a.normals != b.normals) return where + "normals";
    if (a.polygons.size() != b.polygons.size())
      return where + "polygon count " + std::to_string(a.polygons.size()) + " != " +
             std::to_string(b.polygons.size());
    for (size_t p = 0; p < a.polygons.size(); ++p) {
      const Polygon &x = a.polygons[p], &y = b.polygons[p];
      const std::string face = where + "polygon " + std::to_string(p) + ": ";
      if (x.material != y.material) return face + "material " + x.material + " != " + y.material;
      if (x.corners.size() != y.corners.size()) return face + "corner count";
      for (size_t c = 0; c < x.corners.size(); ++c) {
        const Corner &s = x.corners[c], &t = y.corners[c];
        if (s.vertex != t.vertex) return face + "vertex";
        // A strip writes one UV per point: the joined triangle's, at most
        // the joining limit 0.0039 away, itself within one step of 1/255.
        const float limit = strips ? 0.0039f + 1.0f / 255 : 0.0f;
        if (std::fabs(s.u - t.u) > limit || std::fabs(s.v - t.v) > limit)
          return face + "uv " + std::to_string(s.u) + "," + std::to_string(s.v) + " != " + std::to_string(t.u) +
                 "," + std::to_string(t.v);
      }
      if (!strips && x.normal != y.normal) return face + "polygon normal";
    }
  }
  return "";
}

std::string TextureSection(const ScNodeList *list, const std::string &baseName) {
  std::vector<std::pair<std::string, int>> entries;
  for (int32_t i = 0; i < list->node_n; ++i) {
    const ScModel *model = list->slist[i]->model;
    const ScMaterials *m = model->materials;
    for (int k = 0; k < model->nbMaterial && m; ++k, m = m->next)
      if (Textured(m)) entries.push_back({m->textures->picname ? m->textures->picname : "", m->bank});
  }
  if (entries.empty()) return "";
  std::sort(entries.begin(), entries.end(), [](const auto &x, const auto &y) {
    const int c = std::strcmp(x.first.c_str(), y.first.c_str());
    return c < 0 || (c == 0 && x.second < y.second);
  });
  entries.erase(std::unique(entries.begin(), entries.end()), entries.end());
  std::string text = "TEXTURE_START\n\nTEXTURENAME textures_" + baseName + "[]\nSTART\n";
  std::string previous;
  for (const auto &[picname, bank] : entries) {
    const std::string name = TextureName(picname.c_str());
    if (bank != -1)
      text += "\tPTEXN( \"" + name + "\", " + (name == previous ? "1" : "0") + ", " + std::to_string(bank) + " ),\n";
    else
      text += "\tTEXN( \"" + name + "\" ),\n";
    previous = name;
  }
  return text + "END\n\nTEXTURELIST texlist_" + baseName + "\nSTART\nTextureList textures_" + baseName +
         ",\nTextureNum  " + std::to_string(entries.size()) + ",\nEND\n\nTEXTURE_END\n\n\n";
}

std::string WithTextureSection(const std::string &file, const std::string &section) {
  if (section.empty() || file.find("TEXTURE_START") != std::string::npos) return file;
  const size_t comment = file.find("/* TEXLIST");
  if (comment == std::string::npos) return file;
  const size_t end = file.find('\n', comment);
  return file.substr(0, end + 2) + section + file.substr(end + 2);
}

}  // namespace basictest
