// A decoder of binary model files for the tests: the chunks of a file, and
// the VKCM chunk's objects (vertex words, triangles of every strip and volume
// chunk), checked against its POF0 pointer list, with the places of the
// values that a Chunk-model ASCII file holds in rounded form (floats with six
// decimals, angles in degrees, per-vertex strip normals with six decimals).
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace binarytest {

inline uint32_t U16(const std::string &b, size_t at) {
  return static_cast<uint8_t>(b[at]) | static_cast<uint32_t>(static_cast<uint8_t>(b[at + 1])) << 8;
}
inline uint32_t U32(const std::string &b, size_t at) { return U16(b, at) | U16(b, at + 2) << 16; }
inline float F32(const std::string &b, size_t at) {
  const uint32_t bits = U32(b, at);
  float value;
  std::memcpy(&value, &bits, sizeof value);
  return value;
}

struct FileChunk {
  std::string name;
  size_t payload;  // file offset of the first payload byte
  size_t size;
};

// The chunks in file order; false when they do not tile the file.
inline bool SplitChunks(const std::string &bytes, std::vector<FileChunk> &chunks) {
  chunks.clear();
  for (size_t at = 0; at < bytes.size();) {
    if (at + 8 > bytes.size()) return false;
    const size_t size = U32(bytes, at + 4);
    if (at + 8 + size > bytes.size() || size % 4 != 0) return false;
    chunks.push_back({bytes.substr(at, 4), at + 8, size});
    at += 8 + size;
  }
  return true;
}

using Triangle = std::array<int, 3>;
using Word3 = std::array<uint32_t, 3>;

// The triangles of a strip over `v` (left: the first one as listed), in their own winding.
inline void AddStrip(const std::vector<int> &v, bool left, std::vector<Triangle> &out) {
  for (size_t i = 0; i + 2 < v.size(); ++i)
    out.push_back(left == (i % 2 == 0) ? Triangle{v[i], v[i + 1], v[i + 2]} : Triangle{v[i + 1], v[i], v[i + 2]});
}

// Rotated so that the smallest index comes first (winding kept), sorted.
inline std::vector<Triangle> Normalized(std::vector<Triangle> triangles) {
  for (Triangle &t : triangles)
    while (t[0] > t[1] || t[0] > t[2]) t = {t[1], t[2], t[0]};
  std::sort(triangles.begin(), triangles.end());
  return triangles;
}

// A value of the VKCM chunk that the ASCII form rounds, by its file offset.
enum class Rounded : uint8_t { kFloat, kAngle, kNormal };
struct RoundedValue {
  size_t offset;
  Rounded kind;
};

struct DecodedObject {
  bool hasModel = false;            // its model follows it
  std::vector<Word3> pos, normal;   // float bit patterns by vertex index; no normals: empty
  std::vector<uint32_t> packed;     // NORM32 words by vertex index; none: empty
  std::vector<Triangle> triangles;  // in their own winding
  int quads = 0;                    // CnkO_P4 f0 f1 f2 f3 gives f0 f1 f2 and f1 f3 f2
  std::vector<int> stripChunkIds;   // strip and volume chunks
  int vertexChunks = 0;
};

struct DecodedModel {
  std::vector<DecodedObject> objects;  // in file order
  std::vector<RoundedValue> rounded;
};

// Little-endian words inside [pos, end); past the end they read 0 and clear ok.
struct Reader {
  const std::string &b;
  size_t pos, end;
  bool ok = true;
  uint32_t U16() { return pos + 2 > end ? ok = false, 0 : (pos += 2, binarytest::U16(b, pos - 2)); }
  uint32_t U32() {
    const uint32_t low = U16();
    return low | U16() << 16;
  }
};

// Words per vertex of strip chunks 0x40-0x48 and of vertex chunks 0x20-0x32.
constexpr int kStripWords[] = {1, 3, 3, 4, 6, 6, 3, 5, 5};
constexpr int kVertexWords[] = {4, 8, 3, 4, 4, 4, 4, 4, 4, 6, 7, 7, 7, 7, 7, 7, 4, 5, 5};

inline void DecodePolygons(Reader &r, DecodedObject &o, DecodedModel &m) {
  while (r.ok) {
    const int id = static_cast<int>(r.U16() & 0xFF);
    const bool material = id >= 0x11 && id <= 0x17;
    if (id == 0xFF) return;
    if (id == 0x08) r.U16();  // texture id word
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
        for (int w = 1; w < words; ++w) {
          if (id >= 0x43 && id <= 0x45 && w >= words - 3) m.rounded.push_back({r.pos, Rounded::kNormal});
          r.U16();
        }
        for (int k = 0; (corners ? i == corners - 1 : i >= 2) && k < userWords; ++k) r.U16();
      }
      if (!corners) AddStrip(v, length > 0, o.triangles);
      if (corners) o.triangles.push_back({v[0], v[1], v[2]});
      if (corners == 4) o.triangles.push_back({v[1], v[3], v[2]}), ++o.quads;
    }
    const size_t used = r.pos - start;  // the chunk may end in one zero pad word
    EXPECT_TRUE(size % 2 == 0 && (used == size * 2 || (used + 2 == size * 2 && r.U16() == 0)))
        << "chunk size " << size << " used " << used;
  }
}

inline void DecodeVertices(Reader &r, DecodedObject &o) {
  while (r.ok) {
    const uint32_t head = r.U32();
    const int id = static_cast<int>(head & 0xFF);
    if (id == 0xFF) return;
    ASSERT_TRUE(id >= 0x20 && id <= 0x32) << "unknown vertex chunk " << id;
    ++o.vertexChunks;
    const uint32_t index = r.U32();
    const int offset = index & 0xFFFF, count = index >> 16, words = kVertexWords[id - 0x20];
    EXPECT_EQ(head >> 16, 1u + count * words);
    const bool sh = id <= 0x21, normal = id == 0x21 || (id >= 0x29 && id <= 0x2F);
    const size_t size = std::max<size_t>(o.pos.size(), offset + count);
    o.pos.resize(size), o.normal.resize(normal ? size : 0), o.packed.resize(id >= 0x30 ? size : 0);
    for (int i = offset; i < offset + count && r.ok; ++i) {
      std::array<uint32_t, 8> w{};
      for (int k = 0; k < words; ++k) w[k] = r.U32();
      o.pos[i] = {w[0], w[1], w[2]};
      EXPECT_TRUE(!sh || (w[3] == 0x3F800000u && (!normal || w[7] == 0))) << "VERT_SH or NORM_SH padding";
      if (normal) o.normal[i] = {w[3 + sh], w[4 + sh], w[5 + sh]};
      if (id >= 0x30) o.packed[i] = w[3];
    }
  }
}

// The VKCM chunk of a file (after a texture-list chunk when there is one)
// and its POF0 chunk: object records (EvalFlags, model, 9 transform words,
// child, sibling), each followed by its polygon list, vertex list and model
// record when its model comes after it; every pointer field is listed.
inline DecodedModel DecodeModel(const std::string &bytes) {
  DecodedModel m;
  size_t at = 0;
  while (at + 8 <= bytes.size() && bytes.compare(at, 4, "VKCM") != 0) at += 8 + U32(bytes, at + 4);
  const size_t base = at + 8, end = at + 8 <= bytes.size() ? base + U32(bytes, at + 4) : 0;
  if (end + 8 > bytes.size() || bytes.compare(end, 4, "POF0") != 0) {
    ADD_FAILURE() << "no VKCM chunk followed by POF0";
    return m;
  }
  EXPECT_EQ(end + 8 + U32(bytes, end + 4), bytes.size());
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
  Reader r{bytes, base, end};
  while (r.ok && r.pos + 52 <= end) {
    DecodedObject &o = m.objects.emplace_back();
    const size_t record = r.pos - base;
    for (size_t field : {8, 12, 16, 32, 36, 40}) m.rounded.push_back({r.pos + field, Rounded::kFloat});
    for (size_t field : {20, 24, 28}) m.rounded.push_back({r.pos + field, Rounded::kAngle});
    r.U32();
    const uint32_t model = r.U32();
    for (int i = 0; i < 9; ++i) r.U32();
    const uint32_t child = r.U32(), sibling = r.U32();
    for (size_t field : {model ? 4 : 0, child ? 44 : 0, sibling ? 48 : 0})
      if (field) pointers.push_back(record + field);
    if (!(o.hasModel = model > record)) continue;
    const size_t strips = r.pos - base;
    DecodePolygons(r, o, m);
    r.pos = (r.pos + 3) / 4 * 4;
    const size_t vertices = r.pos - base;
    DecodeVertices(r, o);
    const size_t modelRecord = r.pos - base;
    EXPECT_EQ(model, modelRecord);
    EXPECT_EQ(r.U32(), vertices);
    EXPECT_EQ(r.U32(), strips);
    pointers.insert(pointers.end(), {modelRecord, modelRecord + 4});
    for (int i = 0; i < 4; ++i) m.rounded.push_back({r.pos, Rounded::kFloat}), r.U32();  // centre, radius
  }
  EXPECT_TRUE(r.ok && r.pos == end);
  std::sort(pointers.begin(), pointers.end());
  EXPECT_EQ(pointers, listed);
  return m;
}

}  // namespace binarytest
