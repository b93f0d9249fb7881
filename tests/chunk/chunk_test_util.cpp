#include "chunk/chunk_test_util.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <cctype>
#include <cstdio>
#include <string_view>

#include "chunk/chunk_writer.h"
#include "frontend/options.h"
#include "process/nodelist.h"
#include "scene/memory.h"
#include "scene/records.h"

namespace chunktest {

ScObject *MakeScene(const char *name, const std::vector<std::array<float, 3>> &positions,
                    const std::vector<TestTriangle> &triangles, const std::vector<TestMaterial> &materials) {
  ScObject *scene = ScObjectAlloc("scene", 7);
  ScModel *model = ScModelAlloc(name);
  scene->root = model;
  scene->modelCount = 1;
  for (float &s : model->OScale) s = 1.0f;
  const int n = static_cast<int>(triangles.size());
  ScMesh *mesh = ScMeshAlloc(static_cast<int>(positions.size()), n, n);
  model->hasMesh = 1;
  model->mesh = mesh;
  mesh->nbTriangle = n;
  for (size_t i = 0; i < positions.size(); ++i) {
    std::memcpy(mesh->vertices[i].pos, positions[i].data(), sizeof(float) * 3);
    mesh->vertices[i].normal[2] = 1.0f;
  }
  for (int t = 0; t < n; ++t) {
    ScPolygon &polygon = mesh->polygons[t];
    polygon.nbCorner = 3;
    polygon.corners = ScPolyNodeAlloc(3);
    polygon.normal[2] = 1.0f;
    polygon.attribute = &mesh->attributes[t];
    polygon.materialId = triangles[t].material;
    for (int c = 0; c < 3; ++c) {
      ScPolyNode &corner = polygon.corners[c];
      corner.vertex = static_cast<uint16_t>(triangles[t].corners[c].vertex);
      corner.u = triangles[t].corners[c].u;
      corner.v = triangles[t].corners[c].v;
      corner.normal[2] = 1.0f;
    }
  }
  if (!materials.empty()) {
    model->materials = ScMaterialsAlloc(static_cast<int>(materials.size()));
    model->nbMaterial = static_cast<uint16_t>(materials.size());
    ScMaterials *entry = model->materials;
    for (const TestMaterial &m : materials) {
      entry->name = ScVStrdup(m.name);
      entry->kind = 4;
      std::memcpy(entry->diffuse, m.diffuse, sizeof m.diffuse);
      std::memcpy(entry->specular, m.specular, sizeof m.specular);
      entry->specularPower = m.power;
      if (m.texture) {
        entry->textures = ScTextureAlloc(1);
        entry->textures->picname = ScVStrdup(m.texture);
        entry->nbTexture = 1;
      }
      entry = entry->next;
    }
  }
  return scene;
}

int RunWriter(ScObject *scene, const RunOptions &options, const std::string &outputName, ScNodeList **listOut) {
  uint32_t modelFlags = options.modelFlags;
  uint32_t stripFlags = options.stripFlags;
  uint32_t chunkFlags = options.chunkFlags;
  CompleteChunkOptions(&chunkFlags, &stripFlags, &modelFlags);
  SetGlobalScale(options.globalScale);
  const float rotation[3] = {0, 0, 0};
  ScNodeList *list = ScGetNodeList(scene, modelFlags, options.outputFlags, stripFlags, rotation);
  if (listOut) *listOut = list;
  if (!list) return -1;
  char name[kNameSize];
  std::snprintf(name, sizeof name, "%s", outputName.c_str());
  GlobalIndexBlock globalIndex{};
  return VKWriteChunkModel(list, "in.vka", name, &globalIndex, "", chunkFlags);
}

void AddQuadTriangles(const std::array<int, 4> &q, std::vector<std::array<int, 3>> &out) {
  out.push_back({q[0], q[1], q[2]});
  out.push_back({q[1], q[3], q[2]});
}

std::array<int, 3> Canonical(std::array<int, 3> t) {
  while (t[0] > t[1] || t[0] > t[2]) t = {t[1], t[2], t[0]};
  return t;
}

namespace {

// Strip of n vertices from a list of indices: the triangles in their own
// winding, the first one as listed for a left strip.
void AddStrip(const std::vector<int> &v, bool left, std::vector<std::array<int, 3>> &out) {
  for (size_t i = 0; i + 2 < v.size(); ++i) {
    const bool listed = left == (i % 2 == 0);
    if (listed)
      out.push_back({v[i], v[i + 1], v[i + 2]});
    else
      out.push_back({v[i + 1], v[i], v[i + 2]});
  }
}

// Words per strip vertex and whether the chunk is a volume chunk.
struct PolyKind {
  int words;
  int corners;  // 3 or 4 for CnkO_P3 / CnkO_P4, 0 for strips
};

PolyKind PolyKindOf(int id) {
  if (id == 0x38) return {1, 3};
  if (id == 0x39) return {1, 4};
  if (id == 0x3A) return {1, 0};
  const int k = id - 0x40;
  const int uv = k % 3 ? 2 : 0;
  const int extra = k / 3 == 1 ? 3 : (k / 3 == 2 ? 2 : 0);
  return {1 + uv + extra, 0};
}

class Reader {
 public:
  Reader(const std::string &bytes, size_t begin, size_t end) : bytes_(bytes), pos_(begin), end_(end) {}
  uint32_t U16() {
    Need(2);
    uint32_t v = static_cast<uint8_t>(bytes_[pos_]) | static_cast<uint8_t>(bytes_[pos_ + 1]) << 8;
    pos_ += 2;
    return v;
  }
  uint32_t U32() {
    uint32_t lo = U16();
    return lo | U16() << 16;
  }
  void Align(size_t n) { pos_ = (pos_ + n - 1) / n * n; }
  size_t pos() const { return pos_; }
  bool ok() const { return ok_; }

 private:
  void Need(size_t n) {
    if (pos_ + n > end_) {
      ok_ = false;
      pos_ = end_ - std::min(end_, n);
    }
  }
  const std::string &bytes_;
  size_t pos_;
  size_t end_;
  bool ok_ = true;
};

void DecodePolygonList(Reader &r, DecodedObject &object) {
  for (int guard = 0; guard < 1000000 && r.ok(); ++guard) {
    const uint32_t head = r.U16();
    const int id = static_cast<int>(head & 0xFF);
    if (id == 0xFF) return;
    if (id == 0x00) continue;
    if (id == 0x08) {
      r.U16();
      continue;
    }
    if (id >= 0x11 && id <= 0x17) {
      const uint32_t size = r.U16();
      for (uint32_t i = 0; i < size; ++i) r.U16();
      continue;
    }
    ASSERT_TRUE(id >= 0x38 && id <= 0x48) << "unknown chunk id " << id;
    object.stripChunkIds.push_back(id);
    const uint32_t size = r.U16();
    const size_t start = r.pos();
    const uint32_t countWord = r.U16();
    const int count = countWord & 0x3FFF;
    const int userWords = countWord >> 14;
    const PolyKind kind = PolyKindOf(id);
    for (int s = 0; s < count; ++s) {
      if (kind.corners) {
        std::array<int, 4> c{};
        for (int k = 0; k < kind.corners; ++k) c[k] = static_cast<int>(r.U16());
        for (int k = 0; k < userWords; ++k) r.U16();
        if (kind.corners == 3)
          object.triangles.push_back({c[0], c[1], c[2]});
        else
          object.quads.push_back(c);
        continue;
      }
      const int length = static_cast<int16_t>(r.U16());
      const int n = length < 0 ? -length : length;
      std::vector<int> indices;
      for (int i = 0; i < n; ++i) {
        indices.push_back(static_cast<int>(r.U16()));
        for (int w = 1; w < kind.words; ++w) r.U16();
        if (i >= 2) {
          for (int k = 0; k < userWords; ++k) r.U16();
        }
      }
      AddStrip(indices, length > 0, object.triangles);
    }
    const size_t used = r.pos() - start;
    EXPECT_EQ(size % 2, 0u);
    EXPECT_TRUE(used == size * 2 || used + 2 == size * 2) << "chunk size " << size << " used " << used;
    if (used + 2 == size * 2) {
      EXPECT_EQ(r.U16(), 0u);
    }
  }
}

constexpr int kVertexWords[] = {4, 8, 3, 4, 4, 4, 4, 4, 4, 6, 7, 7, 7, 7, 7, 7, 4, 5, 5};

void DecodeVertexList(Reader &r, DecodedObject &object) {
  for (int guard = 0; guard < 100000 && r.ok(); ++guard) {
    const uint32_t head = r.U32();
    const int id = static_cast<int>(head & 0xFF);
    if (id == 0xFF) return;
    ASSERT_TRUE(id >= 0x20 && id <= 0x32) << "unknown vertex chunk " << id;
    const int size = static_cast<int>(head >> 16);
    const uint32_t index = r.U32();
    const int offset = static_cast<int>(index & 0xFFFF);
    const int count = static_cast<int>(index >> 16);
    const int words = kVertexWords[id - 0x20];
    EXPECT_EQ(size, 1 + count * words);
    const bool sh = id == 0x20 || id == 0x21;
    const bool normal = id == 0x21 || (id >= 0x29 && id <= 0x2F);
    const bool packed = id >= 0x30;
    if (static_cast<int>(object.vertices.size()) < offset + count) object.vertices.resize(offset + count);
    for (int i = 0; i < count; ++i) {
      DecodedVertex &v = object.vertices[offset + i];
      int used = 0;
      for (uint32_t &p : v.pos) p = r.U32();
      used += 3;
      if (sh) {
        EXPECT_EQ(r.U32(), 0x3F800000u);
        ++used;
      }
      if (normal) {
        for (uint32_t &p : v.normal) p = r.U32();
        v.hasNormal = true;
        used += 3;
        if (sh) {
          EXPECT_EQ(r.U32(), 0u);
          ++used;
        }
      }
      if (packed) {
        v.packed = r.U32();
        v.hasPacked = true;
        ++used;
      }
      for (; used < words; ++used) r.U32();
    }
  }
}

}  // namespace

std::vector<DecodedObject> DecodeBinary(const std::string &bytes) {
  std::vector<DecodedObject> objects;
  EXPECT_GE(bytes.size(), 16u);
  if (bytes.size() < 16) return objects;
  size_t at = 0;
  // Skip a texture-list chunk pair when there is one.
  while (at + 8 <= bytes.size() && bytes.compare(at, 4, "VKCM") != 0) {
    Reader size(bytes, at + 4, at + 8);
    at += 8 + size.U32();
  }
  EXPECT_LE(at + 8, bytes.size());
  if (at + 8 > bytes.size()) return objects;
  Reader sizeReader(bytes, at + 4, at + 8);
  const size_t base = at + 8;
  const size_t end = base + sizeReader.U32();
  EXPECT_LE(end + 8, bytes.size());
  EXPECT_EQ(bytes.compare(end, 4, "POF0"), 0);

  // Pointer offsets listed in POF0.
  std::vector<size_t> listed;
  {
    Reader pofSize(bytes, end + 4, end + 8);
    const size_t pofEnd = end + 8 + pofSize.U32();
    EXPECT_EQ(pofEnd, bytes.size());
    size_t previous = 0;
    for (size_t p = end + 8; p < pofEnd && p < bytes.size();) {
      const uint8_t first = static_cast<uint8_t>(bytes[p]);
      uint32_t n = 0;
      if ((first & 0xC0) == 0x40) {
        n = first & 0x3F;
        p += 1;
      } else if ((first & 0xC0) == 0x80) {
        n = (first & 0x3F) << 8 | static_cast<uint8_t>(bytes[p + 1]);
        p += 2;
      } else if ((first & 0xC0) == 0xC0) {
        n = static_cast<uint32_t>(first & 0x3F) << 24 | static_cast<uint8_t>(bytes[p + 1]) << 16 |
            static_cast<uint8_t>(bytes[p + 2]) << 8 | static_cast<uint8_t>(bytes[p + 3]);
        p += 4;
      } else {
        break;  // padding
      }
      previous += n * 4;
      listed.push_back(previous);
    }
  }

  Reader r(bytes, base, end);
  std::vector<size_t> pointers;
  std::map<size_t, size_t> modelOfRecord;  // model pointer field -> its value
  while (r.pos() + 52 <= end) {
    DecodedObject object;
    const size_t record = r.pos() - base;
    object.evalFlags = r.U32();
    const uint32_t model = r.U32();
    for (int i = 0; i < 9; ++i) r.U32();
    const uint32_t child = r.U32();
    const uint32_t sibling = r.U32();
    if (model) pointers.push_back(record + 4);
    if (child) pointers.push_back(record + 44);
    if (sibling) pointers.push_back(record + 48);
    object.hasModel = !(object.evalFlags & 0x08);
    if (object.hasModel) {
      const size_t strips = r.pos() - base;
      DecodePolygonList(r, object);
      r.Align(4);
      const size_t vertices = r.pos() - base;
      DecodeVertexList(r, object);
      const size_t modelRecord = r.pos() - base;
      EXPECT_EQ(model, modelRecord);
      EXPECT_EQ(r.U32(), vertices);
      EXPECT_EQ(r.U32(), strips);
      pointers.push_back(modelRecord);
      pointers.push_back(modelRecord + 4);
      for (int i = 0; i < 4; ++i) r.U32();
    }
    objects.push_back(std::move(object));
    if (!r.ok()) break;
  }
  EXPECT_TRUE(r.ok());
  EXPECT_EQ(r.pos(), end);
  std::sort(pointers.begin(), pointers.end());
  std::sort(listed.begin(), listed.end());
  EXPECT_EQ(pointers, listed);
  return objects;
}

// ---- ASCII --------------------------------------------------------------------------
namespace {

struct Token {
  std::string name;  // macro name, empty for a bare number
  std::string args;
  long number = 0;
};

bool IdentifierStart(char c) { return std::isalpha(static_cast<unsigned char>(c)) || c == '_'; }
bool IdentifierChar(char c) { return std::isalnum(static_cast<unsigned char>(c)) || c == '_'; }

// Macro calls "Name( args )" and bare decimal numbers, in order.
std::vector<Token> Tokens(const std::string &text) {
  std::vector<Token> tokens;
  size_t i = 0;
  while (i < text.size()) {
    const char c = text[i];
    if (IdentifierStart(c)) {
      size_t j = i;
      while (j < text.size() && IdentifierChar(text[j])) ++j;
      size_t k = j;
      while (k < text.size() && text[k] == ' ') ++k;
      if (k < text.size() && text[k] == '(') {
        const size_t close = text.find(')', k);
        Token token;
        token.name = text.substr(i, j - i);
        token.args = text.substr(k + 1, close - k - 1);
        tokens.push_back(token);
        i = close + 1;
      } else {
        i = j;
      }
    } else if (std::isdigit(static_cast<unsigned char>(c))) {
      size_t j = i + 1;
      while (j < text.size() && std::isdigit(static_cast<unsigned char>(text[j]))) ++j;
      Token token;
      token.number = std::stol(text.substr(i, j - i));
      tokens.push_back(token);
      i = j;
    } else {
      ++i;
    }
  }
  return tokens;
}

std::string Block(const std::string &text, size_t from) {
  const size_t start = text.find("START\n", from);
  const size_t stop = text.find("\nEND\n", start);
  return text.substr(start + 6, stop - start - 6);
}

void DecodeAsciiPolygons(const std::string &block, DecodedObject &object) {
  const std::vector<Token> tokens = Tokens(block);
  size_t i = 0;
  while (i < tokens.size()) {
    const Token &t = tokens[i++];
    if (t.name.rfind("CnkS", 0) == 0 || t.name.rfind("CnkO_", 0) == 0) {
      const int id = t.name == "CnkO_P3" ? 0x38 : t.name == "CnkO_P4" ? 0x39 : t.name == "CnkO_ST" ? 0x3A : 0x40;
      object.stripChunkIds.push_back(id);
      const int corners = id == 0x38 ? 3 : (id == 0x39 ? 4 : 0);
      ++i;  // size
      const Token &nb = tokens[i++];
      EXPECT_EQ(nb.name, "_NB");
      for (int remaining = std::stoi(nb.args.substr(nb.args.find(',') + 1)); remaining > 0; --remaining) {
        if (corners) {
          std::array<int, 4> c{};
          for (int k = 0; k < corners; ++k) {
            while (!tokens[i].name.empty()) ++i;
            c[k] = static_cast<int>(tokens[i++].number);
          }
          if (corners == 3)
            object.triangles.push_back({c[0], c[1], c[2]});
          else
            object.quads.push_back(c);
          continue;
        }
        while (tokens[i].name != "StripL" && tokens[i].name != "StripR") ++i;
        const bool left = tokens[i].name == "StripL";
        const int n = std::stoi(tokens[i++].args);
        std::vector<int> indices;
        while (static_cast<int>(indices.size()) < n) {
          if (tokens[i].name.empty()) indices.push_back(static_cast<int>(tokens[i].number));
          ++i;
        }
        AddStrip(indices, left, object.triangles);
      }
    } else if (t.name.rfind("CnkM_", 0) == 0) {
      ++i;  // size
    }
  }
}

void DecodeAsciiVertices(const std::string &block, DecodedObject &object) {
  size_t index = 0;
  for (size_t at = 0; at < block.size();) {
    size_t nl = block.find('\n', at);
    if (nl == std::string::npos) nl = block.size();
    const std::string line = block.substr(at, nl - at);
    at = nl + 1;
    unsigned a = 0, b = 0, c = 0;
    if (std::sscanf(line.c_str(), "\tOffnbIdx(%u, %u)", &a, &b) == 2) {
      index = a;
      object.vertices.resize(std::max<size_t>(object.vertices.size(), a + b));
    } else if (std::sscanf(line.c_str(), "\tVERT( 0x%x, 0x%x, 0x%x )", &a, &b, &c) == 3 ||
               std::sscanf(line.c_str(), "\tVERT_SH( 0x%x, 0x%x, 0x%x )", &a, &b, &c) == 3) {
      DecodedVertex &v = object.vertices.at(index++);
      v.pos[0] = a, v.pos[1] = b, v.pos[2] = c;
    } else if (std::sscanf(line.c_str(), "\tNORM32( 0x%x, 0x%x, 0x%x )", &a, &b, &c) == 3) {
      DecodedVertex &v = object.vertices.at(index - 1);
      v.packed = a << 20 | b << 10 | c;
      v.hasPacked = true;
    } else if (std::sscanf(line.c_str(), "\tNORM( 0x%x, 0x%x, 0x%x )", &a, &b, &c) == 3 ||
               std::sscanf(line.c_str(), "\tNORM_SH( 0x%x, 0x%x, 0x%x )", &a, &b, &c) == 3) {
      DecodedVertex &v = object.vertices.at(index - 1);
      v.normal[0] = a, v.normal[1] = b, v.normal[2] = c;
      v.hasNormal = true;
    }
  }
}

}  // namespace

std::vector<DecodedObject> DecodeAscii(const std::string &text) {
  std::vector<DecodedObject> objects;
  for (size_t at = text.find("\nCNKOBJECT_START\n"); at != std::string::npos;
       at = text.find("\nCNKOBJECT_START\n", at + 1)) {
    DecodedObject object;
    const size_t end = text.find("CNKOBJECT_END", at);
    const std::string body = text.substr(at, end - at);
    if (body.find("PLIST      ") != std::string::npos) {
      object.hasModel = true;
      DecodeAsciiPolygons(Block(body, body.find("PLIST      ")), object);
      DecodeAsciiVertices(Block(body, body.find("VLIST      ")), object);
    }
    const size_t eval = body.find("EvalFlags ( 0x");
    unsigned flags = 0;
    if (eval != std::string::npos && std::sscanf(body.c_str() + eval, "EvalFlags ( 0x%x", &flags) == 1)
      object.evalFlags = flags;
    objects.push_back(std::move(object));
  }
  return objects;
}

}  // namespace chunktest
