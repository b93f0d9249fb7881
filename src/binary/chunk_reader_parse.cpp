// The top level of a Chunk-model ASCII file: the texture section, the model
// and object blocks, the instance prototypes that are passed over, and the
// links by name once the whole file is read.
#include <cstdarg>
#include <cstdio>
#include <string>
#include <unordered_map>

#include "base/console.h"
#include "base/numbers.h"
#include "binary/chunk_reader_parse.h"

namespace vkcnk {
namespace {

// What the top level acts on; every other token there is passed over.
enum class TopKeyword : uint8_t { kTextures, kModel, kVertexList, kStripList, kObject, kPrototypes, kMarker };

struct TopEntry {
  std::string_view name;
  TopKeyword keyword;
  bool opensOrCloses;  // met inside a block, it means the block has lost its END
};
constexpr TopEntry kTopKeywords[] = {
    {"TEXTURE_START", TopKeyword::kTextures, true},
    {"CNKMODEL", TopKeyword::kModel, true},
    {"VLIST", TopKeyword::kVertexList, true},
    {"PLIST", TopKeyword::kStripList, true},
    {"CNKOBJECT", TopKeyword::kObject, true},
    {"INSTANCE_PROTOTYPE_START", TopKeyword::kPrototypes, true},
    // Markers the top level passes over.
    {"TEXTURE_END", TopKeyword::kMarker, true},
    {"CNKOBJECT_START", TopKeyword::kMarker, true},
    {"CNKOBJECT_END", TopKeyword::kMarker, true},
    {"TEXTURENAME", TopKeyword::kMarker, false},
    {"TEXTURELIST", TopKeyword::kMarker, false},
    {"INSTANCE_PROTOTYPE_END", TopKeyword::kMarker, false},
};

const TopEntry *FindTopKeyword(std::string_view token) {
  for (const TopEntry &entry : kTopKeywords)
    if (entry.name == token) return &entry;
  return nullptr;
}

// Texture entries of the texture section.
constexpr uint32_t kSameNameAttribute = 0x00010000;  // PTEXN with a non-zero flag
constexpr int kBankShift = 26;

constexpr std::string_view kNull = "NULL";

// Record kinds, indexing the parser's name tables.
enum RecordKind : int { kStripListRecord, kVertexListRecord, kModelRecord, kObjectRecord };

}  // namespace

bool IsBlockKeyword(std::string_view token) {
  const TopEntry *entry = FindTopKeyword(token);
  return entry && entry->opensOrCloses;
}

// ---- Tokens with their errors ---------------------------------------------------------------
bool Parser::Fail(int line, const char *format, ...) {
  if (!error_.ok()) return false;
  va_list args, again;
  va_start(args, format);
  va_copy(again, args);
  const int length = std::vsnprintf(nullptr, 0, format, again);
  va_end(again);
  std::string text(length > 0 ? static_cast<size_t>(length) : 0, '\0');
  if (length > 0) std::vsnprintf(text.data(), text.size() + 1, format, args);
  va_end(args);
  error_ = VKStopStatus(VKStatusCode::kBadInput, "Error : %s : Line %d : %s", fileName_, line, text.c_str());
  return false;
}

void Parser::EnterBlock(const char *kind, std::string_view name, int line, const char *end) {
  blockKind_ = kind;
  blockName_.assign(name);
  blockLine_ = line;
  blockEnd_ = end;
}

bool Parser::Token(std::string_view &token, Delimiters set) {
  if (lexer_.Next(token, set)) return true;
  if (lexer_.unclosedComment()) return Fail(lexer_.line(), "\"/*\" without \"*/\" on the same line\n");
  if (lexer_.readError()) return Fail(lexer_.line(), "read error\n");
  const std::string block = blockName_.empty() ? blockKind_ : std::string(blockKind_) + " " + blockName_;
  return Fail(blockLine_, "%s has no %s (the file ends at line %d)\n", block.c_str(), blockEnd_, lexer_.line());
}

bool Parser::Expect(std::string_view expected) {
  std::string_view token;
  if (!Token(token)) return false;
  if (token == expected) return true;
  return Fail(line(), "%s expected in %s %s, found \"%s\"\n", std::string(expected).c_str(), blockKind_,
              blockName_.c_str(), std::string(token).c_str());
}

bool Parser::NotNumber(const char *what, std::string_view token) {
  return Fail(line(), "%s: \"%s\" is not a number\n", what, std::string(token).c_str());
}

bool Parser::Integer(uint32_t &value, const char *what) {
  std::string_view token;
  if (!Token(token)) return false;
  return ParseInteger(token, value) || NotNumber(what, token);
}

bool Parser::Hex(uint32_t &value, const char *what) {
  std::string_view token;
  if (!Token(token)) return false;
  return ParseHex(token, value) || NotNumber(what, token);
}

bool Parser::Real(double &value, const char *what) {
  std::string_view token;
  if (!Token(token)) return false;
  return ParseReal(token, value) || NotNumber(what, token);
}

bool Parser::Flags(uint16_t &value, const char *what) {
  std::string_view token, unknown;
  if (!Token(token, Delimiters::kNarrow)) return false;
  if (!ParseFlagExpression(token, value, unknown)) return NotNumber(what, token);
  if (!unknown.empty())
    PrintWarning("Warning : %s : Line %d : unknown flag name %s is read as 0xFC19\n", fileName_, line(),
                 std::string(unknown).c_str());
  return true;
}

// ---- Blocks ------------------------------------------------------------------------------------
namespace {

// A block of one kind, its name defined once.
template <typename Record>
bool Unique(Parser &parser, const std::vector<Record> &records, const std::unordered_map<std::string, int> &seen,
            const char *kind, const std::string &name, int line) {
  const auto found = seen.find(name);
  if (found == seen.end()) return true;
  return parser.Fail(line, "%s %s is defined again (first on line %d)\n", kind, name.c_str(),
                     records[static_cast<size_t>(found->second)].line);
}

}  // namespace

bool Parser::BlockName(const char *kind, std::string &name) {
  const int start = line();
  EnterBlock(kind, "", start);
  std::string_view token;
  if (!Token(token)) return false;
  if (IsBlockKeyword(token) || token == "START" || token == "END")
    return Fail(line(), "%s without a name\n", kind);
  name.assign(token);
  EnterBlock(kind, name, start);
  return true;
}

bool Parser::TextureSection() {
  EnterBlock("TEXTURE_START", "", line(), "TEXTURE_END");
  VKTextureList &textures = file_.textures;
  for (;;) {
    std::string_view token;
    if (!Token(token)) return false;
    if (token == "TEXTURE_END") return true;
    if (token == "TEXN" || token == "PTEXN" || token == "TEXN3") {
      const bool paletted = token == "PTEXN";
      const bool raw = token == "TEXN3";
      const bool plain = token == "TEXN";
      VKTextureEntry entry{};
      if (!Token(token)) return false;
      entry.name.assign(token);
      if (!plain) {
        uint32_t first = 0, second = 0;
        if (!Integer(first, paletted ? "PTEXN flag" : "TEXN3 attribute") ||
            !Integer(second, paletted ? "PTEXN bank" : "TEXN3 address"))
          return false;
        entry.attribute = raw ? first : (first != 0 ? kSameNameAttribute : 0);
        entry.address = raw ? second : second << kBankShift;
      }
      textures.entries.push_back(std::move(entry));
    } else if (token == "TextureNum") {
      uint32_t count = 0;
      if (!Integer(count, "TextureNum")) return false;
      textures.count = count & 0xFFFF;
      file_.textureNumLine = line();
    } else if (IsBlockKeyword(token)) {
      return Fail(line(), "TEXTURE_START has no TEXTURE_END before %s\n", std::string(token).c_str());
    }
  }
}

bool Parser::ModelBlock(const std::string &name, int line) {
  VKChunkModelRecord model;
  model.name = name;
  model.line = line;
  for (;;) {
    std::string_view token;
    if (!Token(token)) return false;
    if (token == "END") break;
    if (token == "VList" || token == "PList") {
      VKChunkLink &link = token == "VList" ? model.vertexList : model.stripList;
      if (!Token(token)) return false;
      link.name.assign(token);
      link.line = this->line();
    } else if (token == "Center") {
      for (float &value : model.center) {
        double real = 0;
        if (!Real(real, "Center")) return false;
        value = static_cast<float>(real);
      }
    } else if (token == "Radius") {
      double real = 0;
      if (!Real(real, "Radius")) return false;
      model.radius = static_cast<float>(real);
    } else if (IsBlockKeyword(token)) {
      return Fail(this->line(), "CNKMODEL %s has no END before %s\n", name.c_str(), std::string(token).c_str());
    }
  }
  file_.models.push_back(std::move(model));
  return true;
}

bool Parser::ObjectBlock(const std::string &name, int line) {
  VKChunkObjectRecord object;
  object.name = name;
  object.line = line;
  for (;;) {
    std::string_view token;
    if (!Token(token)) return false;
    if (token == "END") break;
    if (token == "EvalFlags") {
      if (!Hex(object.evalFlags, "EvalFlags")) return false;
    } else if (token == "CNKModel" || token == "Child" || token == "Sibling") {
      VKChunkLink &link = token == "CNKModel" ? object.model : token == "Child" ? object.child : object.sibling;
      if (!Token(token)) return false;
      link.name.assign(token);
      link.line = this->line();
    } else if (token == "OPosition" || token == "OScale") {
      const bool position = token == "OPosition";
      for (float &value : position ? object.position : object.scale) {
        double real = 0;
        if (!Real(real, position ? "OPosition" : "OScale")) return false;
        value = static_cast<float>(real);
      }
    } else if (token == "OAngle") {
      for (int32_t &value : object.angle) {
        double degrees = 0;
        if (!Real(degrees, "OAngle")) return false;
        value = VKBinaryAngle(degrees);
      }
    } else if (IsBlockKeyword(token)) {
      return Fail(this->line(), "CNKOBJECT %s has no END before %s\n", name.c_str(), std::string(token).c_str());
    }
  }
  file_.objects.push_back(std::move(object));
  return true;
}

bool Parser::SkipInstancePrototypes() {
  EnterBlock("INSTANCE_PROTOTYPE_START", "", line(), "INSTANCE_PROTOTYPE_END");
  std::string_view token;
  do {
    if (!Token(token)) return false;
  } while (token != "INSTANCE_PROTOTYPE_END");
  return true;
}

bool Parser::TopLevel() {
  auto &seen = names_;
  std::string_view token;
  int objectStart = 0;  // line of an open CNKOBJECT_START
  while (lexer_.Next(token)) {
    const TopEntry *entry = FindTopKeyword(token);
    if (!entry) continue;
    std::string name;
    const int start = line();
    switch (entry->keyword) {
      case TopKeyword::kTextures:
        if (!TextureSection()) return false;
        break;
      case TopKeyword::kPrototypes:
        if (!SkipInstancePrototypes()) return false;
        break;
      case TopKeyword::kMarker:
        // The writer puts every object between a start and an end marker: a
        // start without its end is a file cut short.
        if (token == "CNKOBJECT_START") {
          if (objectStart > 0) return Fail(objectStart, "CNKOBJECT_START has no CNKOBJECT_END before line %d\n", start);
          objectStart = start;
        } else if (token == "CNKOBJECT_END") {
          if (objectStart == 0) return Fail(start, "CNKOBJECT_END without CNKOBJECT_START\n");
          objectStart = 0;
        }
        break;
      case TopKeyword::kStripList: {
        if (!BlockName("PLIST", name) || !Unique(*this, file_.stripLists, seen[kStripListRecord], "PLIST", name, start)) return false;
        VKChunkStripList list;
        list.name = name;
        list.line = start;
        if (!ParseStripList(*this, list)) return false;
        seen[kStripListRecord].emplace(name, static_cast<int>(file_.stripLists.size()));
        file_.stripLists.push_back(std::move(list));
        break;
      }
      case TopKeyword::kVertexList: {
        if (!BlockName("VLIST", name) || !Unique(*this, file_.vertexLists, seen[kVertexListRecord], "VLIST", name, start))
          return false;
        VKChunkVertexList list;
        list.name = name;
        list.line = start;
        if (!ParseVertexList(*this, list)) return false;
        seen[kVertexListRecord].emplace(name, static_cast<int>(file_.vertexLists.size()));
        file_.vertexLists.push_back(std::move(list));
        break;
      }
      case TopKeyword::kModel:
        if (!BlockName("CNKMODEL", name) || !Unique(*this, file_.models, seen[kModelRecord], "CNKMODEL", name, start) ||
            !ModelBlock(name, start))
          return false;
        seen[kModelRecord].emplace(name, static_cast<int>(file_.models.size() - 1));
        break;
      case TopKeyword::kObject:
        if (!BlockName("CNKOBJECT", name) || !Unique(*this, file_.objects, seen[kObjectRecord], "CNKOBJECT", name, start) ||
            !ObjectBlock(name, start))
          return false;
        seen[kObjectRecord].emplace(name, static_cast<int>(file_.objects.size() - 1));
        break;
    }
  }
  if (lexer_.unclosedComment()) return Fail(line(), "\"/*\" without \"*/\" on the same line\n");
  if (lexer_.readError()) return Fail(line(), "read error\n");
  if (objectStart > 0)
    return Fail(objectStart, "CNKOBJECT_START has no CNKOBJECT_END (the file ends at line %d)\n", lexer_.line());
  return true;
}

// ---- Links ----------------------------------------------------------------------------------
namespace {

// Resolves one link against an index; "NULL" and an absent name are none.
bool Resolve(Parser &parser, VKChunkLink &link, const std::unordered_map<std::string, int> &index,
             const char *field, const char *ownerKind, const std::string &owner, const char *targetKind) {
  link.index = -1;
  if (link.name.empty() || link.name == kNull) return true;
  const auto found = index.find(link.name);
  if (found != index.end()) {
    link.index = found->second;
    return true;
  }
  return parser.Fail(link.line, "%s %s of %s %s names no %s block\n", field, link.name.c_str(), ownerKind,
                     owner.c_str(), targetKind);
}

}  // namespace

bool Parser::Link() {
  const auto &stripLists = names_[kStripListRecord];
  const auto &vertexLists = names_[kVertexListRecord];
  const auto &models = names_[kModelRecord];
  const auto &objects = names_[kObjectRecord];
  for (VKChunkModelRecord &model : file_.models) {
    if (!Resolve(*this, model.vertexList, vertexLists, "VList", "CNKMODEL", model.name, "VLIST") ||
        !Resolve(*this, model.stripList, stripLists, "PList", "CNKMODEL", model.name, "PLIST"))
      return false;
  }
  for (VKChunkObjectRecord &object : file_.objects) {
    if (!Resolve(*this, object.model, models, "CNKModel", "CNKOBJECT", object.name, "CNKMODEL") ||
        !Resolve(*this, object.child, objects, "Child", "CNKOBJECT", object.name, "CNKOBJECT") ||
        !Resolve(*this, object.sibling, objects, "Sibling", "CNKOBJECT", object.name, "CNKOBJECT"))
      return false;
  }
  return true;
}

VKStatus Parser::Run() {
  if (TopLevel()) {
    const VKTextureList &textures = file_.textures;
    if (textures.count > textures.entries.size()) {
      Fail(file_.textureNumLine, "TextureNum %u is larger than the %zu texture entries\n", textures.count,
           textures.entries.size());
    } else if (!file_.objects.empty()) {
      Link();
    }
  }
  return error_;
}

}  // namespace vkcnk
