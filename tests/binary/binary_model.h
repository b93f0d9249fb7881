// A decoder of binary model files for the reader tests: the chunks of a
// file, and for the VKCM chunk every record with the places of the values
// that a Chunk-model ASCII file holds in rounded form (floats with six
// decimals, angles in degrees, per-vertex strip normals with six decimals).
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace binarytest {

inline uint32_t U32(const std::string &b, size_t at) {
  uint32_t value = 0;
  for (int k = 3; k >= 0; --k) value = value << 8 | static_cast<uint8_t>(b[at + k]);
  return value;
}
inline uint32_t U16(const std::string &b, size_t at) {
  return static_cast<uint8_t>(b[at]) | static_cast<uint32_t>(static_cast<uint8_t>(b[at + 1])) << 8;
}
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

// A value of the VKCM chunk that the ASCII form rounds.
enum class Rounded : uint8_t { kFloat, kAngle, kNormal };
struct RoundedValue {
  size_t offset;  // in the file
  Rounded kind;
};

struct DecodedModel {
  bool ok = true;
  std::string error;
  int objects = 0;
  int models = 0;
  int vertexChunks = 0;  // over all vertex lists
  int maxVertexChunks = 0;  // in one vertex list
  int stripChunks = 0;   // strip and volume chunks
  std::vector<int> polygonChunkIds;
  std::vector<RoundedValue> rounded;
};

// Walks the objects of a VKCM payload: each object record, followed (when
// its model comes after it) by the strip list, the vertex list and the model
// record.
class ModelDecoder {
 public:
  ModelDecoder(const std::string &bytes, const FileChunk &chunk) : b_(bytes), base_(chunk.payload), end_(chunk.size) {}

  DecodedModel Run() {
    size_t pos = 0;
    while (d_.ok && pos < end_) {
      if (!Need(pos, 52)) break;
      ++d_.objects;
      for (size_t field : {8, 12, 16, 32, 36, 40}) Round(pos + field, Rounded::kFloat);
      for (size_t field : {20, 24, 28}) Round(pos + field, Rounded::kAngle);
      const size_t model = U32(b_, base_ + pos + 4);
      if (model == 0 || model <= pos) {
        pos += 52;
        continue;
      }
      ++d_.models;
      const size_t strips = pos + 52;
      size_t at = PolygonList(strips);
      at = (at + 3) / 4 * 4;
      const size_t vertices = at;
      at = (VertexList(at) + 3) / 4 * 4;
      if (!d_.ok) break;
      if (at != model) Fail("model record not after the vertex list");
      if (!Need(at, 24)) break;
      if (U32(b_, base_ + at) != vertices || U32(b_, base_ + at + 4) != strips) Fail("model pointers");
      for (size_t field : {8, 12, 16, 20}) Round(at + field, Rounded::kFloat);
      pos = at + 24;
    }
    if (d_.ok && pos != end_) Fail("records do not fill the chunk");
    return d_;
  }

 private:
  bool Need(size_t pos, size_t bytes) {
    if (pos + bytes <= end_) return true;
    Fail("record runs past the chunk");
    return false;
  }
  void Fail(const std::string &what) {
    if (d_.ok) d_.error = what;
    d_.ok = false;
  }
  void Round(size_t pos, Rounded kind) { d_.rounded.push_back({base_ + pos, kind}); }
  uint32_t Word16(size_t pos) { return Need(pos, 2) ? U16(b_, base_ + pos) : 0; }

  // Returns the position after the end mark.
  size_t PolygonList(size_t pos) {
    while (d_.ok) {
      const uint32_t head = Word16(pos);
      const int id = static_cast<int>(head & 0xFF);
      if (id == 0xFF) return pos + 2;
      if (id == 0x00 || (id >= 0x01 && id <= 0x03)) {
        pos += 2;
      } else if (id == 0x08) {
        pos += 4;
      } else if (id >= 0x11 && id <= 0x17) {
        pos += 4 + 2 * Word16(pos + 2);
      } else if ((id >= 0x38 && id <= 0x3A) || (id >= 0x40 && id <= 0x48)) {
        ++d_.stripChunks;
        d_.polygonChunkIds.push_back(id);
        const size_t size = Word16(pos + 2);
        if (id >= 0x43 && id <= 0x45) StripNormals(pos + 4, id);
        pos += 4 + 2 * size;
      } else {
        Fail("unknown polygon chunk " + std::to_string(id));
      }
    }
    return pos;
  }

  // The normals of a VN strip chunk: per strip vertex index, UV, normal.
  void StripNormals(size_t pos, int id) {
    const uint32_t count = Word16(pos);
    const int userWords = static_cast<int>(count >> 14);
    const int uv = (id - 0x40) % 3 ? 2 : 0;
    pos += 2;
    for (uint32_t s = 0; s < (count & 0x3FFF) && d_.ok; ++s) {
      const int length = std::abs(static_cast<int16_t>(Word16(pos)));
      pos += 2;
      for (int i = 0; i < length && d_.ok; ++i) {
        pos += 2 + 2 * uv;
        for (int k = 0; k < 3; ++k, pos += 2) Round(pos, Rounded::kNormal);
        if (i >= 2) pos += 2 * userWords;
      }
    }
  }

  size_t VertexList(size_t pos) {
    int chunks = 0;
    while (d_.ok && Need(pos, 4)) {
      const uint32_t head = U32(b_, base_ + pos);
      if (head == 0xFF) {
        d_.maxVertexChunks = std::max(d_.maxVertexChunks, chunks);
        return pos + 4;
      }
      const int id = static_cast<int>(head & 0xFFFF);
      if (id < 0x20 || id > 0x32) Fail("unknown vertex chunk " + std::to_string(id));
      ++chunks;
      ++d_.vertexChunks;
      pos += 4 + 4 * (head >> 16);
    }
    return pos;
  }

  const std::string &b_;
  size_t base_;
  size_t end_;
  DecodedModel d_;
};

}  // namespace binarytest
