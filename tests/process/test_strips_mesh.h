// Small triangle meshes for the strip tests, the literal exchange sorts the
// fast orderings must match, and a decoder of the polygons' strip fields.
#pragma once

#include <array>
#include <cstdint>
#include <cstdio>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "frontend/console.h"
#include "process/strips.h"
#include "scene/records.h"

namespace striptest {

struct Corner {
  int vertex;
  float u = 0.0f, v = 0.0f;
};

struct Tri {
  Corner c[3];
  float normal[3] = {0.0f, 0.0f, 1.0f};
};

struct MeshSpec {
  std::vector<std::array<float, 3>> positions;
  std::vector<Tri> tris;
};

// A mesh built from a spec, its triangles chained through listNext.
struct BuiltMesh {
  ScMesh *mesh = nullptr;
  ScPolygon *first() const { return mesh->nbPolygon > 0 ? mesh->polygons : nullptr; }
  int count() const { return mesh->nbPolygon; }
};

inline BuiltMesh Build(const MeshSpec &spec) {
  BuiltMesh built;
  int nv = static_cast<int>(spec.positions.size());
  int nt = static_cast<int>(spec.tris.size());
  built.mesh = ScMeshAlloc(nv, nt, nt);
  for (int i = 0; i < nv; ++i) {
    for (int k = 0; k < 3; ++k) built.mesh->vertices[i].pos[k] = spec.positions[i][k];
  }
  for (int t = 0; t < nt; ++t) {
    ScPolygon &p = built.mesh->polygons[t];
    p.nbCorner = 3;
    p.corners = ScPolyNodeAlloc(3);
    for (int k = 0; k < 3; ++k) {
      p.corners[k].vertex = static_cast<uint16_t>(spec.tris[t].c[k].vertex);
      p.corners[k].u = spec.tris[t].c[k].u;
      p.corners[k].v = spec.tris[t].c[k].v;
      p.normal[k] = spec.tris[t].normal[k];
    }
    p.listNext = t + 1 < nt ? &built.mesh->polygons[t + 1] : nullptr;
  }
  return built;
}

// UVs that follow the vertex, so that triangles wound the same way as their
// neighbour pass the UV test and triangles wound against it fail.
inline Corner At(int vertex) { return Corner{vertex, vertex * 0.01f, vertex * 0.003f}; }

inline Tri MakeTri(int a, int b, int c) { return Tri{{At(a), At(b), At(c)}}; }

// A W x H grid of quads, each split into two triangles, wound
// consistently. All normals equal: every inner triangle has the same key.
inline MeshSpec Grid(int w, int h) {
  MeshSpec spec;
  for (int y = 0; y <= h; ++y) {
    for (int x = 0; x <= w; ++x) spec.positions.push_back({float(x), float(y), 0.0f});
  }
  auto id = [w](int x, int y) { return y * (w + 1) + x; };
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      int a = id(x, y), b = id(x + 1, y), c = id(x + 1, y + 1), d = id(x, y + 1);
      spec.tris.push_back(MakeTri(a, b, c));
      spec.tris.push_back(MakeTri(a, c, d));
    }
  }
  return spec;
}

// A random soup: triangles grown on existing edges (wound against them),
// extra triangles on edges that already have two (edges of three or more
// triangles), degenerate triangles, random normals from a few directions
// (ties and real angles).
inline MeshSpec Soup(std::mt19937 &rng, int triangles) {
  MeshSpec spec;
  std::uniform_real_distribution<float> coord(0.0f, 10.0f);
  auto newVertex = [&] {
    spec.positions.push_back({coord(rng), coord(rng), coord(rng)});
    return static_cast<int>(spec.positions.size()) - 1;
  };
  std::vector<std::pair<int, int>> edges;  // directed edges in use
  int a = newVertex(), b = newVertex(), c = newVertex();
  spec.tris.push_back(MakeTri(a, b, c));
  edges = {{a, b}, {b, c}, {c, a}};
  const float normals[4][3] = {{0, 0, 1}, {0, 1, 0}, {0.6f, 0.8f, 0}, {0, 0, 1}};
  while (static_cast<int>(spec.tris.size()) < triangles) {
    int roll = static_cast<int>(rng() % 100);
    Tri tri;
    if (roll < 4) {
      int v = static_cast<int>(rng() % spec.positions.size());
      tri = MakeTri(v, v, newVertex());
    } else {
      auto e = edges[rng() % edges.size()];
      int x = roll < 70 ? newVertex() : static_cast<int>(rng() % spec.positions.size());
      if (x == e.first || x == e.second) x = newVertex();
      tri = MakeTri(e.second, e.first, x);
      edges.push_back({e.second, e.first});
      edges.push_back({e.first, x});
      edges.push_back({x, e.second});
    }
    const float *n = normals[rng() % 4];
    for (int k = 0; k < 3; ++k) tri.normal[k] = n[k];
    spec.tris.push_back(tri);
  }
  return spec;
}

// ---- The exchange sorts as the builder describes them ---------------------

inline void LiteralEdgeOrder(const uint32_t *keys, int32_t n, int32_t *order) {
  std::vector<uint32_t> k(keys, keys + n);
  for (int32_t i = 0; i < n; ++i) order[i] = i;
  for (int32_t i = 0; i < n; ++i) {
    for (int32_t j = i + 1; j < n; ++j) {
      if (k[j] < k[i]) {
        std::swap(k[i], k[j]);
        std::swap(order[i], order[j]);
      }
    }
  }
}

inline bool TriangleLess(const float *x, const float *y) {
  if (x[0] != y[0]) return x[0] < y[0];
  if (x[1] != y[1]) return x[1] < y[1];
  return x[2] < y[2];
}

inline void LiteralTriangleOrder(const float *keys, int32_t n, int32_t *order) {
  std::vector<int32_t> at(static_cast<size_t>(n));
  for (int32_t i = 0; i < n; ++i) at[i] = i;
  for (int32_t i = 0; i < n; ++i) {
    for (int32_t j = i + 1; j < n; ++j) {
      if (!TriangleLess(keys + at[i] * 3, keys + at[j] * 3)) std::swap(at[i], at[j]);
    }
  }
  for (int32_t i = 0; i < n; ++i) order[i] = at[i];
}

// ---- Decoding ----------------------------------------------------------------

// The triangles the strips draw, each wound as drawn, keyed by polygon.
struct Decoded {
  std::vector<int> drawn;                         // times each polygon is drawn
  std::vector<std::vector<int>> windings;         // polygon -> drawn vertices
  std::vector<std::vector<int>> strips;           // vertex lists
  std::string error;
};

inline bool SameWinding(const std::vector<int> &x, const ScPolygon &p) {
  int v[3] = {p.corners[0].vertex, p.corners[1].vertex, p.corners[2].vertex};
  for (int r = 0; r < 3; ++r) {
    if (x[0] == v[r] && x[1] == v[(r + 1) % 3] && x[2] == v[(r + 2) % 3]) return true;
  }
  return false;
}

inline Decoded Decode(const ScMesh *mesh) {
  Decoded d;
  int n = mesh->nbPolygon;
  d.drawn.assign(static_cast<size_t>(n), 0);
  d.windings.assign(static_cast<size_t>(n), {});
  for (int t = 0; t < n; ++t) {
    const ScPolygon *head = &mesh->polygons[t];
    if (!(head->stripState & kStripFirst)) continue;
    int c = head->stripState & kStripCornerMask;
    bool left = head->stripState & kStripLeft;
    std::vector<int> w;
    for (int k = 0; k < 3; ++k) w.push_back(head->corners[(left ? c + k : c + 3 - k) % 3].vertex);
    std::vector<const ScPolygon *> tris = {head};
    for (const ScPolygon *p = head->stripNext; p != nullptr; p = p->stripNext) {
      if (p->stripPrev != tris.back()) d.error = "broken previous link";
      tris.push_back(p);
      w.push_back(p->corners[p->stripState & kStripCornerMask].vertex);
      if (tris.size() > static_cast<size_t>(n)) {
        d.error = "strip loops";
        return d;
      }
    }
    if (head->stripLength != tris.size()) d.error = "strip length differs from its chain";
    for (size_t k = 0; k < tris.size(); ++k) {
      std::vector<int> tri = {w[k], w[k + 1], w[k + 2]};
      if ((k % 2 == 1) == left) std::swap(tri[0], tri[1]);
      int index = static_cast<int>(tris[k] - mesh->polygons);
      d.drawn[index]++;
      d.windings[index] = tri;
      if (!SameWinding(tri, *tris[k])) d.error = "winding changed at polygon " + std::to_string(index);
    }
    d.strips.push_back(w);
  }
  return d;
}

// Captures what a console stream prints while alive (the warning stream by
// default).
class Capture {
 public:
  explicit Capture(FILE *(*get)() = WarningStream, void (*set)(FILE *) = SetWarningStream)
      : file_(std::tmpfile()), old_(get()), set_(set) {
    set_(file_);
  }
  ~Capture() {
    set_(old_);
    std::fclose(file_);
  }
  std::string Text() {
    std::fflush(file_);
    std::rewind(file_);
    std::string text;
    for (int ch; (ch = std::fgetc(file_)) != EOF;) text.push_back(static_cast<char>(ch));
    return text;
  }

 private:
  FILE *file_;
  FILE *old_;
  void (*set_)(FILE *);
};

}  // namespace striptest
