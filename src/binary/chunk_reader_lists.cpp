// The vertex and strip lists of a Chunk-model ASCII file: each chunk line
// turned back into the 32-bit words of a vertex list or the 16-bit words of a
// polygon list, as the chunk encoding lays them out.
#include <cstdint>
#include <string>
#include <string_view>

#include "base/chunk_kinds.h"
#include "base/numbers.h"
#include "base/packers.h"
#include "binary/chunk_reader_parse.h"

namespace vkcnk {
namespace {

constexpr uint32_t kFloatOne = 0x3F800000;  // the fourth word of VERT_SH
constexpr int kMaxSize = 0xFFFF;             // 16-bit size fields
constexpr int kMaxStripLength = 0x7FFF;      // signed 16-bit strip lengths
constexpr double kNormalScale = 32767.0;     // per-vertex normals of VN strips

// ---- Vertex lists ---------------------------------------------------------------------------
// The data lines of a vertex chunk and how their values become words.
enum class VertexForm : uint8_t { kIndex, kFloats, kFloatsOne, kFloatsZero, kNorm32, kArgb, kWord, kD565, kD4444, kD16 };

struct VertexLine {
  std::string_view name;
  VertexForm form;
  int values;
};
constexpr VertexLine kVertexLines[] = {
    {"OffnbIdx", VertexForm::kIndex, 2},      {"VERT", VertexForm::kFloats, 3},
    {"NORM", VertexForm::kFloats, 3},         {"VERT_SH", VertexForm::kFloatsOne, 3},
    {"NORM_SH", VertexForm::kFloatsZero, 3},  {"NORM32", VertexForm::kNorm32, 3},
    {"D8888", VertexForm::kArgb, 4},          {"UFlags", VertexForm::kWord, 1},
    {"NFlags", VertexForm::kWord, 1},         {"D565S565", VertexForm::kD565, 6},
    {"D4444S565", VertexForm::kD4444, 7},     {"D16S16", VertexForm::kD16, 2},
};
constexpr int kMaxVertexValues = 7;

const VertexLine *FindVertexLine(std::string_view name) {
  for (const VertexLine &line : kVertexLines)
    if (line.name == name) return &line;
  return nullptr;
}

// The words of one data line, from its values; returns their count.
int VertexWords(VertexForm form, const uint32_t *v, uint32_t *words) {
  switch (form) {
    case VertexForm::kIndex: words[0] = v[1] << 16 | v[0]; return 1;
    case VertexForm::kFloats: words[0] = v[0], words[1] = v[1], words[2] = v[2]; return 3;
    case VertexForm::kFloatsOne: words[0] = v[0], words[1] = v[1], words[2] = v[2], words[3] = kFloatOne; return 4;
    case VertexForm::kFloatsZero: words[0] = v[0], words[1] = v[1], words[2] = v[2], words[3] = 0; return 4;
    case VertexForm::kNorm32: words[0] = VKPackNorm32Fields(v[0], v[1], v[2]); return 1;
    case VertexForm::kArgb:
      words[0] = VKPackARGB8888(static_cast<int>(v[0]), static_cast<int>(v[1]), static_cast<int>(v[2]),
                                static_cast<int>(v[3]));
      return 1;
    case VertexForm::kWord: words[0] = v[0]; return 1;
    // The colour fields as written, not masked to their widths.
    case VertexForm::kD565: words[0] = v[0] << 27 | v[1] << 21 | v[2] << 16 | v[3] << 11 | v[4] << 5 | v[5]; return 1;
    case VertexForm::kD4444:
      words[0] = v[0] << 28 | v[1] << 24 | v[2] << 20 | v[3] << 16 | v[4] << 11 | v[5] << 5 | v[6];
      return 1;
    case VertexForm::kD16: words[0] = v[0] << 16 | v[1]; return 1;
  }
  return 0;
}

// The vertex chunk being filled: its words run from the head word to `end`.
struct OpenChunk {
  bool open = false;
  std::string name;
  int line = 0;
  uint32_t size = 0;
  size_t end = 0;
};

// Fills what the chunk's size covers and the data lines left empty with 0.
template <typename Word>
void CloseChunk(OpenChunk &chunk, std::vector<Word> &words) {
  if (chunk.open && words.size() < chunk.end) words.resize(chunk.end, 0);
  chunk.open = false;
}

bool ChunkSize(Parser &parser, const std::string &name, uint32_t &size) {
  if (!parser.Integer(size, "chunk size")) return false;
  if (size <= static_cast<uint32_t>(kMaxSize)) return true;
  return parser.Fail(parser.line(), "%s: size %d does not fit the 16-bit size field\n", name.c_str(),
                     static_cast<int32_t>(size));
}

bool TooSmall(Parser &parser, const OpenChunk &chunk) {
  return parser.Fail(chunk.line, "%s: written size %u is smaller than its contents\n", chunk.name.c_str(), chunk.size);
}

// A token that no list accepts: a lost END, or an unknown chunk.
bool Unknown(Parser &parser, std::string_view token) {
  const std::string text(token);
  if (IsBlockKeyword(token))
    return parser.Fail(parser.line(), "%s %s has no END before %s\n", parser.blockKind(), parser.blockName().c_str(),
                       text.c_str());
  return parser.Fail(parser.line(), "unknown chunk %s in %s %s\n", text.c_str(), parser.blockKind(),
                     parser.blockName().c_str());
}

bool AfterEnd(Parser &parser, std::string_view token) {
  return parser.Fail(parser.line(), "%s after CnkEnd in %s %s\n", std::string(token).c_str(), parser.blockKind(),
                     parser.blockName().c_str());
}

bool NoEndMark(Parser &parser) {
  return parser.Fail(parser.line(), "%s %s has no CnkEnd before END\n", parser.blockKind(),
                     parser.blockName().c_str());
}

}  // namespace

bool ParseVertexList(Parser &parser, VKChunkVertexList &list) {
  std::vector<uint32_t> &words = list.words;
  OpenChunk chunk;
  bool ended = false;
  std::string_view token;
  for (;;) {
    if (!parser.Token(token)) return false;
    if (token == "END") return ended || NoEndMark(parser);
    if (token == "START") continue;
    if (ended) return AfterEnd(parser, token);
    if (token == "CnkEnd") {
      CloseChunk(chunk, words);
      words.push_back(kVKVertexListEnd);
      ended = true;
      continue;
    }
    if (const VertexLine *line = FindVertexLine(token)) {
      if (!chunk.open)
        return parser.Fail(parser.line(), "%s before the head line of a vertex chunk in VLIST %s\n",
                           std::string(line->name).c_str(), list.name.c_str());
      uint32_t values[kMaxVertexValues];
      for (int i = 0; i < line->values; ++i)
        if (!parser.Integer(values[i], line->name.data())) return false;
      uint32_t lineWords[4];
      const int count = VertexWords(line->form, values, lineWords);
      if (words.size() + static_cast<size_t>(count) > chunk.end) return TooSmall(parser, chunk);
      words.insert(words.end(), lineWords, lineWords + count);
      continue;
    }
    const VKChunkKind *kind = VKFindChunkKind(token);
    if (!kind || kind->list != VKChunkList::kVertex) return Unknown(parser, token);
    CloseChunk(chunk, words);
    chunk.name.assign(kind->name);
    chunk.line = parser.line();
    uint16_t flags = 0;  // read and dropped: vertex chunks carry no flags
    if (!parser.Flags(flags, chunk.name.c_str()) || !ChunkSize(parser, chunk.name, chunk.size)) return false;
    words.push_back(VKVertexHeadWord(kind->id, static_cast<int>(chunk.size)));
    chunk.end = words.size() + chunk.size;
    chunk.open = true;
  }
}

// ---- Strip lists -----------------------------------------------------------------------------
namespace {

// Strip-chunk names without an id in the encoding.
constexpr std::string_view kUnsupportedStrips[] = {"CnkS_UVF", "CnkS_UVF_VN", "CnkS_UVF_D8"};

// Per-vertex parts of the strip kinds CnkS ... CnkS_UVH_D8, by id - CnkS:
// UV every 3 ids (none, 256 scale, 1024 scale), normals or colours by thirds.
struct StripForm {
  int uv;       // 0 none, 1 "Uvn", 2 "Uvh"
  bool normal;  // "Pvn"
  bool colour;  // "MDiff"
};
StripForm StripFormOf(int id) {
  if (id < CnkS) return {0, false, false};  // CnkO_ST: indices only
  const int k = id - CnkS;
  return {k % 3, k / 3 == 1, k / 3 == 2};
}

// Material colour lines by the part bits of a CnkM id (id - 0x10).
constexpr std::string_view kMaterialParts[3] = {"MDiff", "MAmbi", "MSpec"};
constexpr int kMaterialBase = 0x10;

constexpr std::string_view kUserWordPrefix = "Uf";
constexpr int kColourUserWords = 2;  // a polygon colour as user words

struct StripChunk {
  Parser &parser;
  std::vector<uint16_t> &words;
  OpenChunk chunk;
  StripForm form;
  int userWords;

  void Push(uint32_t word) { words.push_back(static_cast<uint16_t>(word)); }
  bool Fits() { return words.size() <= chunk.end || TooSmall(parser, chunk); }

  // One 16-bit word per value.
  bool Values(int count, const char *what) {
    for (int i = 0; i < count; ++i) {
      uint32_t value = 0;
      if (!parser.Integer(value, what)) return false;
      Push(value);
    }
    return true;
  }

  // A colour a, r, g, b as two words: g << 8 | b, then a << 8 | r.
  bool Colour(const char *what) {
    uint32_t argb[4];
    for (uint32_t &value : argb)
      if (!parser.Integer(value, what)) return false;
    Push(argb[2] << 8 | argb[3]);
    Push(argb[0] << 8 | argb[1]);
    return true;
  }

  // The user words of a triangle: "Uf<n>( ... )" with one value per word, or
  // a polygon colour "MDiff( a, r, g, b )" in two words.
  bool UserWords() {
    std::string_view token;
    if (!parser.Token(token)) return false;
    if (token == "MDiff" && userWords == kColourUserWords) return Colour("MDiff");
    if (token.substr(0, kUserWordPrefix.size()) == kUserWordPrefix) {
      uint32_t count = 0;
      if (ParseInteger(token.substr(kUserWordPrefix.size()), count) && count == static_cast<uint32_t>(userWords))
        return Values(userWords, "user word");
    }
    return parser.Fail(parser.line(), "%s: \"%s\" where %d user words are due\n", chunk.name.c_str(),
                       std::string(token).c_str(), userWords);
  }

  bool Named(std::string_view expected) { return parser.Expect(expected); }

  // One strip vertex: its index and the parts of the kind.
  bool Vertex() {
    if (!Values(1, "vertex index")) return false;
    if (form.uv && (!Named(form.uv == 1 ? "Uvn" : "Uvh") || !Values(2, "UV"))) return false;
    if (form.normal) {
      if (!Named("Pvn")) return false;
      for (int i = 0; i < 3; ++i) {
        double component = 0;
        if (!parser.Real(component, "Pvn")) return false;
        Push(static_cast<uint32_t>(VKTruncToInt(component * kNormalScale)));
      }
    }
    return !form.colour || (Named("MDiff") && Colour("MDiff"));
  }

  // A strip: "StripL" or "StripR" and the vertex count, or the signed
  // count alone; then its vertices, each from the third on with the user
  // words of the triangle it completes.
  bool Strip() {
    std::string_view token;
    if (!parser.Token(token)) return false;
    int32_t length = 0;
    uint32_t value = 0;
    if (token == "StripL" || token == "StripR") {
      const bool left = token == "StripL";
      if (!parser.Integer(value, "strip length")) return false;
      if (value > static_cast<uint32_t>(kMaxStripLength))
        return parser.Fail(parser.line(), "%s: strip length %d is not from 0 to %d\n", chunk.name.c_str(),
                           static_cast<int32_t>(value), kMaxStripLength);
      length = left ? static_cast<int32_t>(value) : -static_cast<int32_t>(value);
    } else {
      if (!ParseInteger(token, value)) return parser.Fail(parser.line(), "%s: StripL or StripR expected, found \"%s\"\n",
                                                          chunk.name.c_str(), std::string(token).c_str());
      length = static_cast<int32_t>(value);
      if (length < -kMaxStripLength || length > kMaxStripLength)
        return parser.Fail(parser.line(), "%s: strip length %d is not from %d to %d\n", chunk.name.c_str(), length,
                           -kMaxStripLength, kMaxStripLength);
    }
    Push(static_cast<uint32_t>(length));
    const int count = length < 0 ? -length : length;
    for (int i = 0; i < count; ++i) {
      if (!Vertex() || (i >= 2 && userWords > 0 && !UserWords()) || !Fits()) return false;
    }
    return true;
  }

  // A CnkO_P3 or CnkO_P4 polygon: its corner indices and user words.
  bool Polygon(int corners) { return Values(corners, "vertex index") && (userWords == 0 || UserWords()) && Fits(); }

  // "_NB( <user offset>, <count> )": the count word.
  bool CountWord(uint32_t &count) {
    if (!Named("_NB")) return false;
    std::string_view token;
    if (!parser.Token(token)) return false;
    uint32_t offset = 0;
    int names = 0;
    for (const char *name : kVKUserOffsetNames) {
      if (token == name) break;
      ++names;
    }
    if (names < 4) {
      offset = static_cast<uint32_t>(names) << 14;
    } else if (!ParseInteger(token, offset) || (offset & 0x3FFF) != 0 || offset > 0xC000) {
      return parser.Fail(parser.line(), "%s: user offset \"%s\" is not UFO_0 to UFO_3\n", chunk.name.c_str(),
                         std::string(token).c_str());
    }
    if (!parser.Integer(count, "count")) return false;
    if (count > static_cast<uint32_t>(kVKMaxChunkCount))
      return parser.Fail(parser.line(), "%s: count %d does not fit the 14-bit count field\n", chunk.name.c_str(),
                         static_cast<int32_t>(count));
    userWords = static_cast<int>(offset >> 14);
    Push(offset | count);
    return true;
  }

  // A strip or volume chunk from its name on. Its size fixes the words it
  // covers; what the lines leave free stays 0.
  bool Read(const VKChunkKind &kind) {
    chunk.name.assign(kind.name);
    chunk.line = parser.line();
    form = StripFormOf(kind.id);
    uint16_t flags = 0;
    if (!parser.Flags(flags, chunk.name.c_str()) || !ChunkSize(parser, chunk.name, chunk.size)) return false;
    const bool volume = kind.id < CnkS;  // the flags of volume chunks are read and dropped
    Push(volume ? kind.id : (kind.id | flags));
    Push(chunk.size);
    chunk.end = words.size() + chunk.size;
    chunk.open = true;
    uint32_t count = 0;
    if (!CountWord(count) || !Fits()) return false;
    const int corners = kind.id == CnkO_P3 ? 3 : kind.id == CnkO_P4 ? 4 : 0;
    for (uint32_t i = 0; i < count; ++i)
      if (!(corners ? Polygon(corners) : Strip())) return false;
    CloseChunk(chunk, words);
    return true;
  }
};

// A material chunk: head word, size as written and its colour lines; it
// covers the words it holds.
bool MaterialChunk(Parser &parser, const VKChunkKind &kind, std::vector<uint16_t> &words) {
  uint16_t flags = 0;
  uint32_t size = 0;
  const std::string name(kind.name);
  const int line = parser.line();
  if (!parser.Flags(flags, name.c_str()) || !ChunkSize(parser, name, size)) return false;
  words.push_back(static_cast<uint16_t>(kind.id | flags));
  words.push_back(static_cast<uint16_t>(size));
  const int parts = kind.id - kMaterialBase;
  uint32_t held = 0;
  for (int part = 0; part < 3; ++part) {
    if (!(parts & (1 << part))) continue;
    if (!parser.Expect(kMaterialParts[part])) return false;
    uint32_t argb[4];
    for (uint32_t &value : argb)
      if (!parser.Integer(value, kMaterialParts[part].data())) return false;
    words.push_back(static_cast<uint16_t>(argb[2] << 8 | argb[3]));
    words.push_back(static_cast<uint16_t>(argb[0] << 8 | argb[1]));
    held += 2;
  }
  if (size >= held) return true;
  return parser.Fail(line, "%s: written size %u is smaller than its %u words\n", name.c_str(), size, held);
}

// A texture chunk: head word, then after "_TID" the filter flags ORed with
// the texture id.
bool TextureChunk(Parser &parser, std::vector<uint16_t> &words) {
  uint16_t flags = 0, mode = 0;
  uint32_t id = 0;
  if (!parser.Flags(flags, "CnkT_TID")) return false;
  words.push_back(static_cast<uint16_t>(CnkT_TID | flags));
  if (!parser.Expect("_TID") || !parser.Flags(mode, "_TID") || !parser.Integer(id, "texture id")) return false;
  words.push_back(static_cast<uint16_t>(mode | id));
  return true;
}

bool IsUnsupportedStrip(std::string_view token) {
  for (std::string_view name : kUnsupportedStrips)
    if (name == token) return true;
  return false;
}

}  // namespace

bool ParseStripList(Parser &parser, VKChunkStripList &list) {
  std::vector<uint16_t> &words = list.words;
  bool ended = false;
  std::string_view token;
  for (;;) {
    if (!parser.Token(token)) return false;
    if (token == "END") return ended || NoEndMark(parser);
    if (token == "START") continue;
    if (ended) return AfterEnd(parser, token);
    const VKChunkKind *kind = VKFindChunkKind(token);
    if (!kind || kind->list == VKChunkList::kVertex) {
      if (IsUnsupportedStrip(token))
        return parser.Fail(parser.line(), "%s has no chunk id and cannot be converted\n", std::string(token).c_str());
      return Unknown(parser, token);
    }
    const int id = kind->id;
    if (id == CnkEnd) {
      words.push_back(kVKPolygonListEnd);
      ended = true;
    } else if (id == CnkNull) {
      // The padding word that the previous chunk's size covers.
      if (words.empty())
        words.push_back(0);
      else
        words.back() = 0;
    } else if (id == CnkB_BA || id == CnkB_DA || id == CnkB_EXP) {
      uint16_t flags = 0;
      if (!parser.Flags(flags, std::string(kind->name).c_str())) return false;
      words.push_back(static_cast<uint16_t>(id | flags));
    } else if (id == CnkT_TID) {
      if (!TextureChunk(parser, words)) return false;
    } else if (id >= CnkM_D && id <= CnkM_DAS) {
      if (!MaterialChunk(parser, *kind, words)) return false;
    } else {
      StripChunk strip{parser, words, {}, {}, 0};
      if (!strip.Read(*kind)) return false;
    }
  }
}

}  // namespace vkcnk
