// Test-fixture generator for Basic-model ASCII files (see vka_gen.h).
#include "support/vka_gen.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>

namespace vktest {
namespace {

// Collects text and hands it to a file in large pieces (or keeps it all).
class Sink {
 public:
  explicit Sink(std::FILE *file) : file_(file) {}
  ~Sink() { Flush(); }
  void Print(const char *format, ...) __attribute__((format(printf, 2, 3))) {
    char line[512];
    va_list args;
    va_start(args, format);
    int n = std::vsnprintf(line, sizeof line, format, args);
    va_end(args);
    text_.append(line, static_cast<size_t>(n < 0 ? 0 : n));
    if (file_ && text_.size() > (1u << 20)) Flush();
  }
  void Flush() {
    if (!file_ || text_.empty()) return;
    if (std::fwrite(text_.data(), 1, text_.size(), file_) != text_.size()) failed_ = true;
    text_.clear();
  }
  std::string &text() { return text_; }
  bool failed() const { return failed_; }

 private:
  std::FILE *file_;
  std::string text_;
  bool failed_ = false;
};

constexpr const char *kKindNames[] = {"3", "4", "N", "S", "R"};
constexpr unsigned kKindTypes[] = {0x0000, 0x4000, 0x8000, 0xC000, 0xC000};

class Generator {
 public:
  Generator(const VkaGenParams &p, Sink &out) : p_(p), out_(out) {
    if (!p_.textureNames.empty()) p_.textures = static_cast<int>(p_.textureNames.size());
  }

  void Run() {
    if (p_.textures > 0) Textures();
    if (p_.defaultMaterialList) DefaultMaterials();
    for (int i = p_.objects - 1; i >= 0; i--) Object(i);
  }

 private:
  int Point(int x, int y) const { return y * (p_.gridWidth + 1) + x; }
  std::string Obj(int i) const { return p_.baseName + "_o" + std::to_string(i); }
  bool UsesDefault(int i) const { return p_.defaultMaterialList && (i & 1); }
  int Kinds() const { return static_cast<int>(p_.meshKinds.size()); }
  bool KindHasRows(int k) const { return k < p_.gridHeight; }
  bool IsStrip(int k) const {
    const VkaMesh kind = p_.meshKinds[static_cast<size_t>(k)];
    return kind == VkaMesh::kStrips || kind == VkaMesh::kReverseStrips;
  }
  // A mesh set holds at most 65,535 polygons: the rows of a kind are split
  // into parts of at most that many; part 0 keeps the plain names.
  int RowsPerPart(int k) const {
    const int perRow = IsStrip(k) ? 1 : p_.gridWidth * (p_.meshKinds[static_cast<size_t>(k)] == VkaMesh::kTriangles ? 2 : 1);
    return std::max(1, 65535 / perRow);
  }
  int Parts(int k) const {
    int rows = 0;
    for (int y = k; y < p_.gridHeight; y += Kinds()) rows++;
    return (rows + RowsPerPart(k) - 1) / RowsPerPart(k);
  }
  // Rows y of kind k in part `part`.
  std::vector<int> Rows(int k, int part) const {
    std::vector<int> rows;
    int n = 0;
    for (int y = k; y < p_.gridHeight; y += Kinds(), n++) {
      if (n / RowsPerPart(k) == part) rows.push_back(y);
    }
    return rows;
  }
  // The name suffix of kind k, part `part`, object i: "_<k>_<object>".
  std::string Tail(int k, int part, int i) const {
    return "_" + std::to_string(k) + (part > 0 ? "p" + std::to_string(part) : "") + "_" + Obj(i);
  }

  void Textures() {
    out_.Print("TEXTURE_START\n\nTEXTURENAME textures_%s[]\nSTART\n", p_.baseName.c_str());
    for (int t = 0; t < p_.textures; t++) {
      const std::string name =
          p_.textureNames.empty() ? "tex" + std::to_string(t) + ".bmp" : p_.textureNames[static_cast<size_t>(t)];
      if (p_.paletteBanks) out_.Print("\tPTEXN( \"%s\", %d, %d ),\n", name.c_str(), 0, t);
      else out_.Print("\tTEXN( \"%s\" ),\n", name.c_str());
    }
    out_.Print("END\n\nTEXTURELIST texlist_%s\nSTART\nTextureList textures_%s,\nTextureNum  %d,\nEND\n\n"
               "TEXTURE_END\n\n\n",
               p_.baseName.c_str(), p_.baseName.c_str(), p_.textures);
  }

  void Material(int m) {
    const bool textured = p_.textures > 0;
    out_.Print("MATSTART\nDiffuse   ( %d, %d, %d, %d ),\nSpecular  ( %d, %d, %d, %d ),\nExponent  ( %4.1fF ),\n", 255 - m,
               200 - m, 100 + m, 50 + m, 255, 10 + m, 20 + m, 30 + m, static_cast<double>(m % 17));
    out_.Print("AttrTexId ( 0x%x, %d ),\nAttrFlags ( 0x%08x ),\nMATEND\n\n", 0, textured ? m % p_.textures : 0,
               textured ? 0x94202400u : 0x94002400u);
  }

  void DefaultMaterials() {
    out_.Print("MATERIAL    defmat_%s[]\nSTART\n\nMATSTART\nDiffuse   ( 255, 191, 191, 191 ),\n"
               "Specular  ( 255, 255, 255, 255 ),\nExponent  (  6.0F ),\nAttrTexId ( 0x0, 0 ),\n"
               "AttrFlags ( 0x94002400 ),\nMATEND\n\nEND\n\n", p_.baseName.c_str());
  }

  // Index lists of mesh kind k: for each row of that kind, the faces.
  void Polygons(int i, int k, int part) {
    const VkaMesh kind = p_.meshKinds[static_cast<size_t>(k)];
    out_.Print("POLYGON     pg%s%s[]\nSTART\n", kKindNames[static_cast<int>(kind)], Tail(k, part, i).c_str());
    for (int y : Rows(k, part)) {
      if (kind == VkaMesh::kStrips || kind == VkaMesh::kReverseStrips) {
        const bool reverse = kind == VkaMesh::kReverseStrips;
        const int count = 2 * (p_.gridWidth + 1);
        out_.Print("    Strip(0x%x, %d),  ", reverse ? 0x8000 : 0, count);
        for (int n = 0; n < count; n++) {
          const int x = n / 2;
          const bool top = (n % 2 == 0) != reverse;
          out_.Print("%d, ", Point(x, top ? y + 1 : y));
          if (n % 10 == 9 && n + 1 < count) out_.Print("\n            ");
        }
        out_.Print("\n");
        continue;
      }
      for (int x = 0; x < p_.gridWidth; x++) {
        const int p00 = Point(x, y), p10 = Point(x + 1, y), p01 = Point(x, y + 1), p11 = Point(x + 1, y + 1);
        switch (kind) {
          case VkaMesh::kTriangles:
            out_.Print("    %d, %d, %d,\n    %d, %d, %d,\n", p00, p10, p01, p01, p10, p11);
            break;
          case VkaMesh::kQuads:
            out_.Print("    %d, %d, %d, %d,\n", p00, p10, p01, p11);
            break;
          default:
            out_.Print("    4,  %d, %d, %d, %d,\n", p00, p10, p01, p11);
            break;
        }
      }
    }
    out_.Print("END\n\n");
  }

  // One UV per corner position, in list order without count words.
  void Uvs(int i, int k, int part) {
    const VkaMesh kind = p_.meshKinds[static_cast<size_t>(k)];
    out_.Print("VERTUV      vuv%s%s[]\nSTART\n", kKindNames[static_cast<int>(kind)], Tail(k, part, i).c_str());
    auto uv = [&](int x, int y) {
      out_.Print("\tUV( %d, %d ),\n", x * 255 / p_.gridWidth, y * 255 / p_.gridHeight);
    };
    for (int y : Rows(k, part)) {
      if (kind == VkaMesh::kStrips || kind == VkaMesh::kReverseStrips) {
        const bool reverse = kind == VkaMesh::kReverseStrips;
        for (int n = 0; n < 2 * (p_.gridWidth + 1); n++) uv(n / 2, ((n % 2 == 0) != reverse) ? y + 1 : y);
        continue;
      }
      for (int x = 0; x < p_.gridWidth; x++) {
        if (kind == VkaMesh::kTriangles) {
          uv(x, y), uv(x + 1, y), uv(x, y + 1), uv(x, y + 1), uv(x + 1, y), uv(x + 1, y + 1);
        } else {
          uv(x, y), uv(x + 1, y), uv(x, y + 1), uv(x + 1, y + 1);
        }
      }
    }
    out_.Print("END\n\n");
  }

  void PolyNormals(int i, int k, int part) {
    const VkaMesh kind = p_.meshKinds[static_cast<size_t>(k)];
    out_.Print("POLYNORMAL  pn%s%s[]\nSTART\n", kKindNames[static_cast<int>(kind)], Tail(k, part, i).c_str());
    for (int y : Rows(k, part)) {
      if (kind == VkaMesh::kStrips || kind == VkaMesh::kReverseStrips) {
        out_.Print("\tPNORM( %9.6fF, %9.6fF, %9.6fF ),\n", p_.gridWidth / 2.0, y + 0.5, 1.0);
        continue;
      }
      const int perCell = kind == VkaMesh::kTriangles ? 2 : 1;
      for (int x = 0; x < p_.gridWidth; x++) {
        for (int n = 0; n < perCell; n++) out_.Print("\tPNORM( %9.6fF, %9.6fF, %9.6fF ),\n", x + 0.5, y + 0.5, 1.0);
      }
    }
    out_.Print("END\n\n");
  }

  int MeshCount(int k, int part) const {
    const VkaMesh kind = p_.meshKinds[static_cast<size_t>(k)];
    const int rows = static_cast<int>(Rows(k, part).size());
    if (kind == VkaMesh::kStrips || kind == VkaMesh::kReverseStrips) return rows;
    return rows * p_.gridWidth * (kind == VkaMesh::kTriangles ? 2 : 1);
  }

  void Object(int i) {
    const std::string o = Obj(i);
    const char *on = o.c_str();
    const std::string matlist = UsesDefault(i) ? "defmat_" + p_.baseName : p_.materialTag + "matlist_" + o;
    const int matCount = UsesDefault(i) ? 1 : p_.materials;
    if (!UsesDefault(i) && p_.materials > 0) {
      out_.Print("MATERIAL    %s[]\nSTART\n\n", matlist.c_str());
      for (int m = 0; m < p_.materials; m++) Material(m);
      out_.Print("END\n\n");
    }
    int meshsets = 0;
    for (int k = 0; k < Kinds(); k++) {
      if (!KindHasRows(k)) continue;
      for (int part = 0; part < Parts(k); part++) {
        meshsets++;
        Polygons(i, k, part);
        if (p_.polyNormals) PolyNormals(i, k, part);
        if (p_.uvs) Uvs(i, k, part);
      }
    }
    out_.Print("MESHSET     meshset_%s[]\nSTART\n\n", on);
    for (int k = 0; k < Kinds(); k++) {
      if (!KindHasRows(k)) continue;
      const int kind = static_cast<int>(p_.meshKinds[static_cast<size_t>(k)]);
      const char *kn = kKindNames[kind];
      for (int part = 0; part < Parts(k); part++) {
        const std::string tail = Tail(k, part, i);
        const char *t = tail.c_str();
        out_.Print("MESHSTART\nTypeMatId ( 0x%04x, %d ),\nMeshNum     %d,\nMeshes      pg%s%s,\nPolyAttrs   NULL,\n",
                   kKindTypes[kind], matCount > 0 ? k % matCount : 0, MeshCount(k, part), kn, t);
        if (p_.polyNormals) out_.Print("PolyNormal  pn%s%s,\n", kn, t);
        else out_.Print("PolyNormal  NULL,\n");
        out_.Print("VertColor   NULL,\n");
        if (p_.uvs) out_.Print("VertUV      vuv%s%s,\nMESHEND\n\n", kn, t);
        else out_.Print("VertUV      NULL,\nMESHEND\n\n");
      }
    }
    out_.Print("END\n\n");
    out_.Print("POINT       point_%s[]\nSTART\n", on);
    for (int y = 0; y <= p_.gridHeight; y++) {
      for (int x = 0; x <= p_.gridWidth; x++) {
        out_.Print("\tVERT( %9.6fF, %9.6fF, %9.6fF ),\n", static_cast<double>(x), static_cast<double>(y), 0.0);
      }
    }
    out_.Print("END\n\n");
    if (p_.normals) {
      out_.Print("NORMAL      normal_%s[]\nSTART\n", on);
      for (int y = 0; y <= p_.gridHeight; y++) {
        for (int x = 0; x <= p_.gridWidth; x++) {
          out_.Print("\tNORM( %9.6fF, %9.6fF, %9.6fF ),\n", static_cast<double>(x) / p_.gridWidth,
                     static_cast<double>(y) / p_.gridHeight, 1.0);
        }
      }
      out_.Print("END\n\n");
    }
    out_.Print("MODEL       model_%s[]\nSTART\nPoints      point_%s,\n", on, on);
    if (p_.normals) out_.Print("Normal      normal_%s,\n", on);
    else out_.Print("Normal      NULL,\n");
    out_.Print("PointNum    %d,\nMeshset     meshset_%s,\nMaterials   %s,\nMeshsetNum  %d,\nMatNum      %d,\n",
               (p_.gridWidth + 1) * (p_.gridHeight + 1), on, matCount > 0 ? matlist.c_str() : "NULL", meshsets,
               matCount);
    out_.Print("Center      %9.6fF, %9.6fF, %9.6fF,\nRadius      %9.6fF,\nEND\n\n", p_.gridWidth / 2.0,
               p_.gridHeight / 2.0, 0.0, (p_.gridWidth + p_.gridHeight) / 2.0);

    const int c = p_.childrenPerNode < 1 ? 1 : p_.childrenPerNode;
    const int firstChild = i * c + 1;
    const bool hasSibling = i > 0 && i % c != 0 && i + 1 < p_.objects;
    out_.Print("OBJECT      object_%s[]\nSTART\nEvalFlags ( 0x%08x ),\nModel       model_%s,\n", on, p_.evalFlags, on);
    out_.Print("OPosition  ( %9.6fF, %9.6fF, %9.6fF ),\n", static_cast<double>(i), 0.0, 0.0);
    out_.Print("OAngle     ( %9.6fF, %9.6fF, %9.6fF ),\n", 0.0, (i % 4) * 45.0, 0.0);
    out_.Print("OScale     ( %9.6fF, %9.6fF, %9.6fF ),\n", 1.0, 1.0, 1.0);
    const std::string child = firstChild < p_.objects ? "object_" + Obj(firstChild) : "NULL";
    const std::string sibling = hasSibling ? "object_" + Obj(i + 1) : "NULL";
    out_.Print("Child       %s,\nSibling     %s,\nEND\n\n\n", child.c_str(), sibling.c_str());
  }

  VkaGenParams p_;
  Sink &out_;
};

}  // namespace

std::string GenerateVka(const VkaGenParams &params) {
  Sink sink(nullptr);
  Generator(params, sink).Run();
  return std::move(sink.text());
}

std::string GenerateMeshVka(const VkaTriangleMesh &mesh) {
  Sink out(nullptr);
  const char *b = mesh.baseName.c_str();
  out.Print("MATERIAL    matlist_%s[]\nSTART\n\nMATSTART\nDiffuse   ( 255, 200, 100, 50 ),\n"
            "Specular  ( 255, 10, 20, 30 ),\nExponent  (  0.0F ),\nAttrTexId ( 0x0, 0 ),\n"
            "AttrFlags ( 0x94002400 ),\nMATEND\n\nEND\n\n", b);
  out.Print("POLYGON     pg_%s[]\nSTART\n", b);
  for (const auto &t : mesh.triangles) out.Print("    %d, %d, %d,\n", t[0], t[1], t[2]);
  out.Print("END\n\n");
  if (!mesh.faceNormals.empty()) {
    out.Print("POLYNORMAL  pn_%s[]\nSTART\n", b);
    for (const auto &n : mesh.faceNormals) out.Print("\tPNORM( %9.6fF, %9.6fF, %9.6fF ),\n", n[0], n[1], n[2]);
    out.Print("END\n\n");
  }
  if (!mesh.pointUvs.empty()) {
    out.Print("VERTUV      vuv_%s[]\nSTART\n", b);
    for (const auto &t : mesh.triangles)
      for (int v : t) out.Print("\tUV( %d, %d ),\n", mesh.pointUvs[v][0], mesh.pointUvs[v][1]);
    out.Print("END\n\n");
  }
  out.Print("MESHSET     meshset_%s[]\nSTART\n\nMESHSTART\nTypeMatId ( 0x0000, 0 ),\nMeshNum     %d,\n"
            "Meshes      pg_%s,\nPolyAttrs   NULL,\n", b, static_cast<int>(mesh.triangles.size()), b);
  const std::string normals = mesh.faceNormals.empty() ? "NULL" : "pn_" + mesh.baseName;
  const std::string uvs = mesh.pointUvs.empty() ? "NULL" : "vuv_" + mesh.baseName;
  out.Print("PolyNormal  %s,\nVertColor   NULL,\nVertUV      %s,\n", normals.c_str(), uvs.c_str());
  out.Print("MESHEND\n\nEND\n\nPOINT       point_%s[]\nSTART\n", b);
  for (const auto &p : mesh.points) out.Print("\tVERT( %9.6fF, %9.6fF, %9.6fF ),\n", p[0], p[1], p[2]);
  out.Print("END\n\nMODEL       model_%s[]\nSTART\nPoints      point_%s,\nNormal      NULL,\nPointNum    %d,\n"
            "Meshset     meshset_%s,\nMaterials   matlist_%s,\nMeshsetNum  1,\nMatNum      1,\n"
            "Center       0.000000F,  0.000000F,  0.000000F,\nRadius       1.000000F,\nEND\n\n",
            b, b, static_cast<int>(mesh.points.size()), b, b);
  out.Print("OBJECT      object_%s_o0[]\nSTART\nEvalFlags ( 0x00000000 ),\nModel       model_%s,\n"
            "OPosition  (  0.000000F,  0.000000F,  0.000000F ),\nOAngle     (  0.000000F,  0.000000F,  0.000000F ),\n"
            "OScale     (  1.000000F,  1.000000F,  1.000000F ),\nChild       NULL,\nSibling     NULL,\nEND\n",
            b, b);
  return std::move(out.text());
}

bool WriteVka(const std::string &path, const VkaGenParams &params) {
  std::FILE *file = std::fopen(path.c_str(), "wb");
  if (!file) return false;
  bool failed;
  {
    Sink sink(file);
    Generator(params, sink).Run();
    sink.Flush();
    failed = sink.failed();
  }
  return std::fclose(file) == 0 && !failed;
}

VkaGenCounts ExpectedVkaCounts(const VkaGenParams &params) {
  VkaGenCounts c;
  c.objects = params.objects;
  c.pointsPerObject = (params.gridWidth + 1) * (params.gridHeight + 1);
  const int kinds = static_cast<int>(params.meshKinds.size());
  for (int y = 0; y < params.gridHeight; y++) {
    const VkaMesh kind = params.meshKinds[static_cast<size_t>(y % kinds)];
    if (kind == VkaMesh::kQuads) {
      c.quadsPerObject += params.gridWidth;
    } else {
      c.trianglesPerObject += 2LL * params.gridWidth;
    }
  }
  c.triangles = c.trianglesPerObject * params.objects;
  c.quads = c.quadsPerObject * params.objects;
  return c;
}

}  // namespace vktest
