#include "chunk/chunk_test_util.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>

#include "chunk/chunk_writer.h"
#include "frontend/options.h"
#include "process/nodelist.h"

namespace chunktest {

int RunWriter(ScObject *scene, const std::string &outputName, uint32_t chunkFlags, uint32_t outputFlags, float scale,
              ScNodeList **listOut) {
  uint32_t modelFlags = 0x80000000, stripFlags = 0;
  CompleteChunkOptions(&chunkFlags, &stripFlags, &modelFlags);
  SetGlobalScale(scale);
  const float rotation[3] = {0, 0, 0};
  ScNodeList *list = ScGetNodeList(scene, modelFlags, outputFlags, stripFlags, rotation);
  if (listOut) *listOut = list;
  char name[kNameSize];
  std::snprintf(name, sizeof name, "%s", outputName.c_str());
  GlobalIndexBlock globalIndex{};
  return list ? VKWriteChunkModel(list, "in.vka", name, &globalIndex, "", chunkFlags) : -1;
}

void AddStrip(const std::vector<int> &v, bool left, std::vector<Triangle> &out) {
  for (size_t i = 0; i + 2 < v.size(); ++i)
    out.push_back(left == (i % 2 == 0) ? Triangle{v[i], v[i + 1], v[i + 2]} : Triangle{v[i + 1], v[i], v[i + 2]});
}

std::vector<Triangle> Normalized(std::vector<Triangle> triangles) {
  for (Triangle &t : triangles)
    while (t[0] > t[1] || t[0] > t[2]) t = {t[1], t[2], t[0]};
  std::sort(triangles.begin(), triangles.end());
  return triangles;
}

namespace {

// The indices of a strip, of a CnkO_P3 triangle or of a CnkO_P4 quadrilateral.
void AddPolygon(const std::vector<int> &v, int corners, bool left, DecodedObject &o) {
  if (!corners) AddStrip(v, left, o.triangles);
  if (corners) o.triangles.push_back({v[0], v[1], v[2]});
  if (corners == 4) o.triangles.push_back({v[1], v[3], v[2]}), ++o.quads;
}

// Little-endian words inside [pos, end); past the end they read 0 and clear ok.
struct Reader {
  const std::string &b;
  size_t pos, end;
  bool ok = true;
  uint32_t U16() {
    if (pos + 2 > end) return ok = false, 0;
    pos += 2;
    return static_cast<uint8_t>(b[pos - 2]) | static_cast<uint8_t>(b[pos - 1]) << 8;
  }
  uint32_t U32() {
    const uint32_t lo = U16();
    return lo | U16() << 16;
  }
};

// Words per vertex of strip chunks 0x40-0x48 and of vertex chunks 0x20-0x32.
constexpr int kStripWords[] = {1, 3, 3, 4, 6, 6, 3, 5, 5};
constexpr int kVertexWords[] = {4, 8, 3, 4, 4, 4, 4, 4, 4, 6, 7, 7, 7, 7, 7, 7, 4, 5, 5};

void DecodePolygons(Reader &r, DecodedObject &o) {
  while (r.ok) {
    const int id = static_cast<int>(r.U16() & 0xFF);
    const bool material = id >= 0x11 && id <= 0x17;
    if (id == 0xFF) return;
    if (id == 0x08) r.U16();                   // texture id word
    if (material) r.pos += 2 * r.U16();
    if (id == 0x00 || id == 0x08 || material) continue;
    ASSERT_TRUE(id >= 0x38 && id <= 0x48) << "unknown chunk id " << id;
    o.stripChunkIds.push_back(id);
    const uint32_t size = r.U16(), countWord = r.U16();
    const size_t start = r.pos - 2;
    const int corners = id == 0x38 ? 3 : id == 0x39 ? 4 : 0, userWords = countWord >> 14;
    const int words = id < 0x40 ? 1 : kStripWords[id - 0x40];
    for (uint32_t s = 0; s < (countWord & 0x3FFF) && r.ok; ++s) {
      const int length = corners ? corners : static_cast<int16_t>(r.U16());
      std::vector<int> v;
      for (int i = 0; i < std::abs(length); ++i) {
        v.push_back(static_cast<int>(r.U16()));
        for (int w = 1; w < words; ++w) r.U16();
        for (int k = 0; (corners ? i == corners - 1 : i >= 2) && k < userWords; ++k) r.U16();
      }
      AddPolygon(v, corners, length > 0, o);
    }
    const size_t used = r.pos - start;  // the chunk may end in one zero pad word
    EXPECT_TRUE(size % 2 == 0 && (used == size * 2 || (used + 2 == size * 2 && r.U16() == 0)))
        << "chunk size " << size << " used " << used;
  }
}

void DecodeVertices(Reader &r, DecodedObject &o) {
  while (r.ok) {
    const uint32_t head = r.U32();
    const int id = static_cast<int>(head & 0xFF);
    if (id == 0xFF) return;
    ASSERT_TRUE(id >= 0x20 && id <= 0x32) << "unknown vertex chunk " << id;
    const uint32_t index = r.U32();
    const int offset = index & 0xFFFF, count = index >> 16, words = kVertexWords[id - 0x20];
    EXPECT_EQ(head >> 16, 1u + count * words);
    const bool sh = id <= 0x21, normal = id == 0x21 || (id >= 0x29 && id <= 0x2F);
    o.vertices.resize(std::max<size_t>(o.vertices.size(), offset + count));
    for (int i = 0; i < count && r.ok; ++i) {
      std::array<uint32_t, 8> w{};
      for (int k = 0; k < words; ++k) w[k] = r.U32();
      DecodedVertex &v = o.vertices[offset + i];
      v.pos = {w[0], w[1], w[2]};
      EXPECT_TRUE(!sh || (w[3] == 0x3F800000u && (!normal || w[7] == 0))) << "VERT_SH or NORM_SH padding";
      if ((v.hasNormal = normal)) v.normal = {w[3 + sh], w[4 + sh], w[5 + sh]};
      if ((v.hasPacked = id >= 0x30)) v.packed = w[3];
    }
  }
}

}  // namespace

std::vector<DecodedObject> DecodeBinary(const std::string &bytes) {
  std::vector<DecodedObject> objects;
  const auto word = [&](size_t at) { return Reader{bytes, at, bytes.size()}.U32(); };
  size_t at = 0;  // past a texture-list chunk when there is one
  while (at + 8 <= bytes.size() && bytes.compare(at, 4, "VKCM") != 0) at += 8 + word(at + 4);
  const size_t base = at + 8, end = base + word(at + 4);
  if (end + 8 > bytes.size() || bytes.compare(end, 4, "POF0") != 0) {
    ADD_FAILURE() << "no VKCM chunk followed by POF0";
    return objects;
  }
  EXPECT_EQ(end + 8 + word(end + 4), bytes.size());
  // POF0: the pointer offsets as steps of 6, 14 or 30 bits of words (1, 2 or 4 bytes).
  std::vector<size_t> listed, pointers;
  for (size_t p = end + 8, previous = 0; p < bytes.size();) {
    const int tag = static_cast<uint8_t>(bytes[p]) >> 6, length = tag == 3 ? 4 : tag;
    if (!tag || p + length > bytes.size()) break;  // padding
    uint32_t n = static_cast<uint8_t>(bytes[p]) & 0x3F;
    for (int k = 1; k < length; ++k) n = n << 8 | static_cast<uint8_t>(bytes[p + k]);
    p += length;
    listed.push_back(previous += n * 4);
  }
  // Object records (EvalFlags, model, 9 transform words, child, sibling),
  // each followed by its polygon list, vertex list and model record.
  Reader r{bytes, base, end};
  while (r.ok && r.pos + 52 <= end) {
    DecodedObject &o = objects.emplace_back();
    const size_t record = r.pos - base;
    const uint32_t evalFlags = r.U32(), model = r.U32();
    for (int i = 0; i < 9; ++i) r.U32();
    const uint32_t child = r.U32(), sibling = r.U32();
    for (size_t field : {model ? 4 : 0, child ? 44 : 0, sibling ? 48 : 0})
      if (field) pointers.push_back(record + field);
    if (!(o.hasModel = !(evalFlags & 0x08))) continue;
    const size_t strips = r.pos - base;
    DecodePolygons(r, o);
    r.pos = (r.pos + 3) / 4 * 4;
    const size_t vertices = r.pos - base;
    DecodeVertices(r, o);
    const size_t modelRecord = r.pos - base;
    EXPECT_EQ(model, modelRecord);
    EXPECT_EQ(r.U32(), vertices);
    EXPECT_EQ(r.U32(), strips);
    pointers.insert(pointers.end(), {modelRecord, modelRecord + 4});
    for (int i = 0; i < 4; ++i) r.U32();  // centre, radius
  }
  EXPECT_TRUE(r.ok && r.pos == end);
  std::sort(pointers.begin(), pointers.end());
  EXPECT_EQ(pointers, listed);
  return objects;
}

namespace {

struct Token {  // a macro call "Name(args)" or a bare number
  std::string name, args;
  int number = 0;
};

std::vector<Token> Tokens(const std::string &s) {
  std::vector<Token> out;
  const auto at = [&](size_t j) { return j < s.size() ? static_cast<unsigned char>(s[j]) : 0; };
  for (size_t i = 0, j; i < s.size(); i = j) {
    j = i + 1;
    if (std::isalpha(at(i)) || at(i) == '_') {
      while (std::isalnum(at(j)) || at(j) == '_') ++j;
      if (at(j) != '(') continue;
      const size_t close = s.find(')', j);
      out.push_back({s.substr(i, j - i), s.substr(j + 1, close - j - 1)});
      j = close + 1;
    } else if (std::isdigit(at(i))) {
      while (std::isdigit(at(j))) ++j;
      out.push_back({"", "", std::stoi(s.substr(i, j - i))});
    }
  }
  return out;
}

// One pass over an object's text: the vertex list's macros and the strip and
// volume chunks of the polygon list (bare numbers are indices; Uvn( ... ) and
// the like are skipped).
DecodedObject DecodeAsciiObject(const std::string &body) {
  DecodedObject o;
  o.hasModel = body.find("PLIST      ") != std::string::npos;
  const std::vector<Token> t = Tokens(body);
  size_t index = 0;
  for (size_t i = 0; i < t.size(); ++i) {
    const std::string &name = t[i].name;
    unsigned a = 0, b = 0, c = 0;
    if (name == "OffnbIdx" && std::sscanf(t[i].args.c_str(), "%u, %u", &a, &b) == 2) {
      index = a;
      o.vertices.resize(std::max<size_t>(o.vertices.size(), a + b));
    }
    if (std::sscanf(t[i].args.c_str(), " 0x%x, 0x%x, 0x%x", &a, &b, &c) == 3) {
      if (name == "VERT" || name == "VERT_SH") o.vertices.at(index++).pos = {a, b, c};
      if (name.rfind("NORM", 0) == 0) {  // NORM, NORM_SH or NORM32 of the last vertex
        DecodedVertex &v = o.vertices.at(index - 1);
        if (name == "NORM32")
          v.packed = a << 20 | b << 10 | c, v.hasPacked = true;
        else
          v.normal = {a, b, c}, v.hasNormal = true;
      }
    }
    if (name.rfind("CnkS", 0) != 0 && name.rfind("CnkO_", 0) != 0) continue;
    const int id = name == "CnkO_P3" ? 0x38 : name == "CnkO_P4" ? 0x39 : name == "CnkO_ST" ? 0x3A : 0x40;
    const int corners = id == 0x38 ? 3 : id == 0x39 ? 4 : 0;
    o.stripChunkIds.push_back(id);
    while (t.at(i).name != "_NB") ++i;
    for (int count = std::stoi(t[i].args.substr(t[i].args.find(',') + 1)); count > 0; --count) {
      while (!corners && t.at(++i).name.rfind("Strip", 0) != 0) {
      }
      const int n = corners ? corners : std::stoi(t[i].args);
      const bool left = corners || t[i].name == "StripL";
      std::vector<int> v;
      while (static_cast<int>(v.size()) < n)
        if (t.at(++i).name.empty()) v.push_back(t[i].number);
      AddPolygon(v, corners, left, o);
    }
  }
  return o;
}

}  // namespace

std::vector<DecodedObject> DecodeAscii(const std::string &text) {
  std::vector<DecodedObject> objects;
  const char *kStart = "\nCNKOBJECT_START\n";
  for (size_t at = text.find(kStart); at != std::string::npos; at = text.find(kStart, at + 1))
    objects.push_back(DecodeAsciiObject(text.substr(at, text.find("CNKOBJECT_END", at) - at)));
  return objects;
}

}  // namespace chunktest
