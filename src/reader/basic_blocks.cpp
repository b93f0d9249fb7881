// The two passes of the Basic-model reader: counting the blocks and measuring
// the array blocks in one, then reading every block into its intermediate
// record.
#include "reader/basic_blocks.h"

#include <cmath>
#include <limits>
#include <new>

#include "base/flags.h"
#include "base/numbers.h"

namespace vkreader {
namespace {

// ---- Pass 1: block counts and array sizes ---------------------------------

struct CountWord {
  std::string_view word;
  BlockKind kind;
};

constexpr CountWord kCountWords[] = {
    {"TEXN", kTexEntry},        {"TEXN3", kTexEntry},         {"PTEXN", kTexEntry},
    {"MATSTART", kMaterialKind}, {"POLYGON", kPolygonKind},    {"POLYNORMAL", kPolyNormalKind},
    {"VERTUV", kVertUvKind},    {"MESHSTART", kMeshSetKind},  {"POINT", kPointKind},
    {"NORMAL", kNormalKind},    {"MODEL", kModelKind},        {"OBJECT", kObjectKind},
};

struct ArrayKind {
  std::string_view keyword;
  std::vector<int32_t> ReaderContext::*sizes;
  bool countsTokens;  // POLYGON counts values, the others lines
};

constexpr ArrayKind kArrayKinds[] = {
    {"POLYGON", &ReaderContext::polygonSizes, true},
    {"POLYNORMAL", &ReaderContext::polyNormalSizes, false},
    {"VERTUV", &ReaderContext::vertUvSizes, false},
    {"NORMAL", &ReaderContext::normalSizes, false},
    {"POINT", &ReaderContext::pointSizes, false},
};

// Counts the line's block word, if it is one (every line of the file is
// counted, inside array blocks too).
void CountLine(ReaderContext &ctx, std::string_view first) {
  for (const CountWord &w : kCountWords) {
    if (first == w.word) {
      ctx.counts[w.kind]++;
      return;
    }
  }
}

int32_t MeasureBlock(ReaderContext &ctx, bool countsTokens) {
  LineReader &reader = *ctx.reader;
  int32_t count = 0;
  while (reader.ReadLine()) {
    std::string_view first = reader.first();
    CountLine(ctx, first);
    if (first == "END") break;
    if (first == "START") {
      count = 0;
    } else if (!countsTokens) {
      count++;
    } else if (first == "Strip") {
      count += reader.count() > 2 ? reader.count() - 2 : 0;
    } else {
      count += reader.count();
    }
  }
  return count;
}

// ---- Pass 2 helpers -------------------------------------------------------

// Reads the next line of the current block; false at the end of the file
// and after a second START line, which is refused: its lines would be read
// as values of the first.
bool BlockLine(ReaderContext &ctx) {
  LineReader &r = *ctx.reader;
  if (!r.ReadLine()) return false;
  if (r.first() != "START") return true;
  if (ctx.blockStart == 0) {
    ctx.blockStart = r.line();
    return true;
  }
  std::fprintf(stderr, "Error : %s : Line %d : second START in %s (the first is on line %d)\n", ctx.fileName,
               r.line(), ctx.block.c_str(), ctx.blockStart);
  ctx.blockFailed = true;
  return false;
}

bool NeedTokens(const ReaderContext &ctx, int count) {
  if (ctx.reader->count() >= count) return true;
  std::fprintf(stderr, "Bad arg count : Line %d\n", ctx.reader->line());
  return false;
}

// Copies token `index` (0-based) into `out`, refusing names that do not fit
// the 255-character name fields.
bool TakeName(const ReaderContext &ctx, int index, std::string *out) {
  std::string_view token = (*ctx.reader)[index];
  if (token.size() > static_cast<size_t>(kMaxNameLength)) {
    std::fprintf(stderr, "Error : %s : Line %d : name of %d characters (at most %d)\n", ctx.fileName,
                 ctx.reader->line(), static_cast<int>(token.size()), kMaxNameLength);
    return false;
  }
  out->assign(token);
  return true;
}

// A positional line of a block: the next line must have `count` tokens and
// its token 2 is taken as a name.
enum class Positional { kRead, kEndOfFile, kFailed };

Positional NextLine(ReaderContext &ctx, int count) {
  if (!BlockLine(ctx)) return ctx.blockFailed ? Positional::kFailed : Positional::kEndOfFile;
  return NeedTokens(ctx, count) ? Positional::kRead : Positional::kFailed;
}

Positional NextName(ReaderContext &ctx, std::string *name, int32_t *line = nullptr) {
  Positional p = NextLine(ctx, 2);
  if (p != Positional::kRead) return p;
  if (line) *line = ctx.reader->line();
  return TakeName(ctx, 1, name) ? Positional::kRead : Positional::kFailed;
}

// A count line whose value the format keeps in 16 bits (polygons of a mesh
// set, mesh sets and materials of a model): a value outside 0 to 65535
// would be cut to its low bits and lose what lies beyond, so it is refused.
Positional NextCount16(ReaderContext &ctx, uint16_t *value) {
  Positional p = NextLine(ctx, 2);
  if (p != Positional::kRead) return p;
  const LineReader &r = *ctx.reader;
  const int32_t count = DecimalValue(r[1]);
  if (count < 0 || count > 0xFFFF) {
    std::fprintf(stderr, "Error : %s : Line %d : %.*s %d is outside 0 to 65535\n", ctx.fileName, r.line(),
                 static_cast<int>(r[0].size()), r[0].data(), count);
    return Positional::kFailed;
  }
  *value = static_cast<uint16_t>(count);
  return Positional::kRead;
}

Positional NextVec3(ReaderContext &ctx, Vec3 *out) {
  Positional p = NextLine(ctx, 4);
  if (p != Positional::kRead) return p;
  const LineReader &r = *ctx.reader;
  *out = {RealValue(r[1]), RealValue(r[2]), RealValue(r[3])};
  return p;
}

// Alpha, red, green and blue tokens into an ARGB8888 word.
uint32_t ColourWord(const LineReader &r) {
  uint32_t word = 0;
  for (int i = 1; i <= 4; i++) word = (word << 8) | (static_cast<uint32_t>(DecimalValue(r[i])) & 0xFFu);
  return word;
}

// Degrees into the 65536-to-a-turn angle, truncated toward zero.
int32_t AngleValue(std::string_view token) {
  float units = RealValue(token) * kVKAngleUnitsPerDegree;
  if (std::isnan(units)) return 0;
  if (units >= 2147483648.0f) return std::numeric_limits<int32_t>::max();
  if (units <= -2147483648.0f) return std::numeric_limits<int32_t>::min();
  return static_cast<int32_t>(units);
}

// Skips the lines before "START"; false when the block ends (END or end of
// file) before it.
bool SkipToStart(ReaderContext &ctx) {
  while (BlockLine(ctx)) {
    std::string_view first = ctx.reader->first();
    if (first == "START") return true;
    if (first == "END") return false;
  }
  return false;
}

// Opening line of a named block: 2 tokens, token 2 the name.
bool OpenBlock(ReaderContext &ctx, std::string *name, int32_t *line) {
  if (!NeedTokens(ctx, 2)) return false;
  *line = ctx.reader->line();
  return TakeName(ctx, 1, name);
}

size_t PlannedSize(const std::vector<int32_t> &sizes, size_t index) {
  return index < sizes.size() && sizes[index] > 0 ? static_cast<size_t>(sizes[index]) : 0;
}

// ---- Block handlers ---------------------------------------------------------

bool ReadTextureBlock(ReaderContext &ctx) {
  LineReader &r = *ctx.reader;
  while (BlockLine(ctx)) {
    std::string_view first = r.first();
    if (first == "END") return true;
    BasicTexName entry;
    if (first == "TEXN") {
      if (!NeedTokens(ctx, 2)) return false;
    } else if (first == "TEXN3") {
      if (!NeedTokens(ctx, 4)) return false;
      entry.attr = HexValue(r[2]);
      entry.texaddr = static_cast<uint32_t>(DecimalValue(r[3]));
    } else if (first == "PTEXN") {
      if (!NeedTokens(ctx, 4)) return false;
      entry.attr = DecimalValue(r[2]) != 0 ? 0x10000u : 0u;
      entry.texaddr = (static_cast<uint32_t>(DecimalValue(r[3])) << 26) | 1u;
    } else {
      continue;
    }
    if (!TakeName(ctx, 1, &entry.filename)) return false;
    ctx.textures.push_back(std::move(entry));
  }
  return !ctx.blockFailed;
}

// The five positional lines of one material.
Positional ReadMaterialLines(ReaderContext &ctx, BasicMaterial &m) {
  LineReader &r = *ctx.reader;
  Positional p = NextLine(ctx, 5);
  if (p != Positional::kRead) return p;
  m.diffuse = ColourWord(r);
  if ((p = NextLine(ctx, 5)) != Positional::kRead) return p;
  m.specular = ColourWord(r);
  if ((p = NextLine(ctx, 2)) != Positional::kRead) return p;
  m.exponent = RealValue(r[1]);
  if ((p = NextLine(ctx, 3)) != Positional::kRead) return p;
  m.attrTexId = HexValue(r[1]) | static_cast<uint32_t>(DecimalValue(r[2]));
  m.texIdLine = r.line();
  if ((p = NextLine(ctx, 2)) != Positional::kRead) return p;
  m.attrFlags = HexValue(r[1]);
  if ((m.attrFlags & vkattr::kBlend) == 0) m.attrFlags |= vkattr::kBlendDefault;
  return p;
}

bool ReadMaterialBlock(ReaderContext &ctx) {
  std::string name;
  int32_t line = 0;
  if (!OpenBlock(ctx, &name, &line)) return false;
  const int32_t stored = static_cast<int32_t>(ctx.materialTable.size());
  if (stored == 0 && name.compare(0, 6, "defmat") == 0) ctx.defaultMaterialOrder = true;
  bool firstOfBlock = true;
  LineReader &r = *ctx.reader;
  while (BlockLine(ctx)) {
    std::string_view first = r.first();
    if (first == "END") return true;
    if (first != "MATSTART") continue;
    const int32_t k = static_cast<int32_t>(ctx.materialTable.size());
    int32_t slot = k;
    if (ctx.defaultMaterialOrder) slot = k == 0 ? ctx.lastMaterialSlot : k - 1;
    if (slot < 0 || slot >= static_cast<int32_t>(ctx.materials.size())) {
      std::fprintf(stderr, "Error : %s : Line %d : more materials than MATSTART lines\n", ctx.fileName, r.line());
      return false;
    }
    ctx.materialTable.push_back({firstOfBlock ? name : std::string(kNoReference), slot});
    firstOfBlock = false;
    Positional p = ReadMaterialLines(ctx, ctx.materials[static_cast<size_t>(slot)]);
    if (p == Positional::kFailed) return false;
    if (p == Positional::kEndOfFile) return true;
  }
  return !ctx.blockFailed;
}

bool ReadPolygonBlock(ReaderContext &ctx) {
  ArrayBlock<int16_t> block;
  if (!OpenBlock(ctx, &block.name, &block.line)) return false;
  block.items.reserve(PlannedSize(ctx.polygonSizes, ctx.polygons.size()));
  LineReader &r = *ctx.reader;
  if (SkipToStart(ctx)) {
    while (BlockLine(ctx)) {
      std::string_view first = r.first();
      if (first == "END") break;
      int from = 0;
      if (first == "Strip") {
        if (!NeedTokens(ctx, 3)) return false;
        uint32_t head = HexValue(r[1]) | static_cast<uint32_t>(DecimalValue(r[2]));
        block.items.push_back(static_cast<int16_t>(static_cast<uint16_t>(head)));
        from = 3;
      }
      for (int i = from; i < r.count(); i++) block.items.push_back(static_cast<int16_t>(Decimal16(r[i])));
    }
  }
  if (ctx.blockFailed) return false;
  ctx.polygons.push_back(std::move(block));
  return true;
}

// POLYNORMAL, POINT and NORMAL: three reals per line after START.
bool ReadVec3Block(ReaderContext &ctx, std::vector<ArrayBlock<Vec3>> &blocks, const std::vector<int32_t> &sizes) {
  ArrayBlock<Vec3> block;
  if (!OpenBlock(ctx, &block.name, &block.line)) return false;
  block.items.reserve(PlannedSize(sizes, blocks.size()));
  LineReader &r = *ctx.reader;
  if (SkipToStart(ctx)) {
    while (BlockLine(ctx)) {
      if (r.first() == "END") break;
      if (!NeedTokens(ctx, 4)) return false;
      block.items.push_back({RealValue(r[1]), RealValue(r[2]), RealValue(r[3])});
    }
  }
  if (ctx.blockFailed) return false;
  blocks.push_back(std::move(block));
  return true;
}

bool ReadPolyNormalBlock(ReaderContext &ctx) { return ReadVec3Block(ctx, ctx.polyNormals, ctx.polyNormalSizes); }
bool ReadPointBlock(ReaderContext &ctx) { return ReadVec3Block(ctx, ctx.points, ctx.pointSizes); }
bool ReadNormalBlock(ReaderContext &ctx) { return ReadVec3Block(ctx, ctx.normals, ctx.normalSizes); }

bool ReadVertUvBlock(ReaderContext &ctx) {
  ArrayBlock<UvPair> block;
  if (!OpenBlock(ctx, &block.name, &block.line)) return false;
  block.items.reserve(PlannedSize(ctx.vertUvSizes, ctx.vertUvs.size()));
  LineReader &r = *ctx.reader;
  if (SkipToStart(ctx)) {
    while (BlockLine(ctx)) {
      if (r.first() == "END") break;
      if (!NeedTokens(ctx, 3)) return false;
      block.items.push_back({static_cast<int16_t>(Decimal16(r[1])), static_cast<int16_t>(Decimal16(r[2]))});
    }
  }
  if (ctx.blockFailed) return false;
  ctx.vertUvs.push_back(std::move(block));
  return true;
}

Positional ReadMeshSetLines(ReaderContext &ctx, BasicMeshSet &m) {
  LineReader &r = *ctx.reader;
  Positional p = NextLine(ctx, 3);
  if (p != Positional::kRead) return p;
  m.typeMatId = static_cast<uint16_t>(HexValue(r[1]) | static_cast<uint32_t>(DecimalValue(r[2])));
  m.typeLine = r.line();
  if ((p = NextCount16(ctx, &m.nbMesh)) != Positional::kRead) return p;
  if ((p = NextName(ctx, &m.meshesName, &m.meshesLine)) != Positional::kRead) return p;
  if ((p = NextName(ctx, &m.polyAttrsName)) != Positional::kRead) return p;
  if ((p = NextName(ctx, &m.polyNormalName)) != Positional::kRead) return p;
  if ((p = NextName(ctx, &m.vertColorName)) != Positional::kRead) return p;
  return NextName(ctx, &m.vertUvName);
}

bool ReadMeshSetBlock(ReaderContext &ctx) {
  std::string name;
  int32_t line = 0;
  if (!OpenBlock(ctx, &name, &line)) return false;
  bool firstOfBlock = true;
  LineReader &r = *ctx.reader;
  while (BlockLine(ctx)) {
    std::string_view first = r.first();
    if (first == "END") return true;
    if (first != "MESHSTART") continue;
    BasicMeshSet &m = ctx.meshsets.emplace_back();
    m.name = firstOfBlock ? name : std::string(kNoReference);
    m.line = r.line();
    firstOfBlock = false;
    Positional p = ReadMeshSetLines(ctx, m);
    if (p == Positional::kFailed) return false;
    if (p == Positional::kEndOfFile) return true;
  }
  return !ctx.blockFailed;
}

Positional ReadModelLines(ReaderContext &ctx, BasicModel &m) {
  LineReader &r = *ctx.reader;
  Positional p;
  if ((p = NextName(ctx, &m.pointsName, &m.pointsLine)) != Positional::kRead) return p;
  if ((p = NextName(ctx, &m.normalName, &m.normalLine)) != Positional::kRead) return p;
  if ((p = NextLine(ctx, 2)) != Positional::kRead) return p;
  m.nbPoint = DecimalValue(r[1]);
  if ((p = NextName(ctx, &m.meshsetName, &m.meshsetLine)) != Positional::kRead) return p;
  if ((p = NextName(ctx, &m.materialsName, &m.materialsLine)) != Positional::kRead) return p;
  if ((p = NextCount16(ctx, &m.nbMeshset)) != Positional::kRead) return p;
  if ((p = NextCount16(ctx, &m.nbMat)) != Positional::kRead) return p;
  if ((p = NextVec3(ctx, &m.center)) != Positional::kRead) return p;
  if ((p = NextLine(ctx, 2)) != Positional::kRead) return p;
  m.r = RealValue(r[1]);
  return p;
}

bool ReadModelBlock(ReaderContext &ctx) {
  BasicModel &m = ctx.models.emplace_back();
  if (!OpenBlock(ctx, &m.name, &m.line)) return false;
  LineReader &r = *ctx.reader;
  while (BlockLine(ctx)) {
    std::string_view first = r.first();
    if (first == "END") return true;
    if (first != "START") continue;
    Positional p = ReadModelLines(ctx, m);
    if (p == Positional::kFailed) return false;
    if (p == Positional::kEndOfFile) return true;
  }
  return !ctx.blockFailed;
}

Positional ReadObjectLines(ReaderContext &ctx, BasicObject &o) {
  LineReader &r = *ctx.reader;
  Positional p;
  if ((p = NextLine(ctx, 2)) != Positional::kRead) return p;
  o.evalflags = HexValue(r[1]);
  if ((p = NextName(ctx, &o.modelName)) != Positional::kRead) return p;
  if ((p = NextVec3(ctx, &o.pos)) != Positional::kRead) return p;
  if ((p = NextLine(ctx, 4)) != Positional::kRead) return p;
  for (int i = 0; i < 3; i++) o.ang[static_cast<size_t>(i)] = AngleValue(r[i + 1]);
  if ((p = NextVec3(ctx, &o.scl)) != Positional::kRead) return p;
  if ((p = NextName(ctx, &o.childName, &o.childLine)) != Positional::kRead) return p;
  return NextName(ctx, &o.siblingName, &o.siblingLine);
}

bool ReadObjectBlock(ReaderContext &ctx) {
  BasicObject &o = ctx.objects.emplace_back();
  if (!OpenBlock(ctx, &o.name, &o.line)) return false;
  LineReader &r = *ctx.reader;
  while (BlockLine(ctx)) {
    std::string_view first = r.first();
    if (first == "END") return true;
    if (first != "START") continue;
    Positional p = ReadObjectLines(ctx, o);
    if (p == Positional::kFailed) return false;
    if (p == Positional::kEndOfFile) return true;
  }
  return !ctx.blockFailed;
}

struct BlockHandler {
  std::string_view keyword;
  bool (*read)(ReaderContext &ctx);
};

constexpr BlockHandler kBlockHandlers[] = {
    {"TEXTURE_START", ReadTextureBlock}, {"MATERIAL", ReadMaterialBlock},
    {"POLYGON", ReadPolygonBlock},       {"POLYNORMAL", ReadPolyNormalBlock},
    {"VERTUV", ReadVertUvBlock},         {"MESHSET", ReadMeshSetBlock},
    {"POINT", ReadPointBlock},           {"NORMAL", ReadNormalBlock},
    {"MODEL", ReadModelBlock},           {"OBJECT", ReadObjectBlock},
};

}  // namespace

void CountAndMeasureBlocks(ReaderContext &ctx) {
  ctx.counts = {};
  for (const ArrayKind &kind : kArrayKinds) (ctx.*kind.sizes).clear();
  while (ctx.reader->ReadLine()) {
    std::string_view first = ctx.reader->first();
    CountLine(ctx, first);
    for (const ArrayKind &kind : kArrayKinds) {
      if (first == kind.keyword) {
        (ctx.*kind.sizes).push_back(MeasureBlock(ctx, kind.countsTokens));
        break;
      }
    }
  }
}

bool CreateRecords(ReaderContext &ctx) {
  struct Plan {
    const char *word;
    size_t bytes;
  };
  const Plan plans[] = {
      {"texname", sizeof(BasicTexName) * static_cast<size_t>(ctx.counts[kTexEntry])},
      {"material", sizeof(BasicMaterial) * static_cast<size_t>(ctx.counts[kMaterialKind])},
      {"meshset", sizeof(BasicMeshSet) * static_cast<size_t>(ctx.counts[kMeshSetKind])},
      {"model", sizeof(BasicModel) * static_cast<size_t>(ctx.counts[kModelKind])},
      {"object", sizeof(BasicObject) * static_cast<size_t>(ctx.counts[kObjectKind])},
  };
  size_t step = 0;
  try {
    ctx.hasTexList = ctx.counts[kTexEntry] > 0;
    ctx.textures.reserve(static_cast<size_t>(ctx.counts[kTexEntry]));
    step++;
    ctx.materials.assign(static_cast<size_t>(ctx.counts[kMaterialKind]), BasicMaterial{});
    ctx.materialTable.reserve(static_cast<size_t>(ctx.counts[kMaterialKind]));
    ctx.lastMaterialSlot = ctx.counts[kMaterialKind] - 1;
    step++;
    ctx.meshsets.reserve(static_cast<size_t>(ctx.counts[kMeshSetKind]));
    step++;
    ctx.models.reserve(static_cast<size_t>(ctx.counts[kModelKind]));
    step++;
    ctx.objects.reserve(static_cast<size_t>(ctx.counts[kObjectKind]));
  } catch (const std::bad_alloc &) {
    std::fprintf(stderr, "%s %d\n", plans[step].word,
                 static_cast<int>(std::min<size_t>(plans[step].bytes, std::numeric_limits<int>::max())));
    return false;
  }
  return true;
}

bool ReadBlocks(ReaderContext &ctx) {
  LineReader &r = *ctx.reader;
  while (r.ReadLine()) {
    std::string_view first = r.first();
    for (const BlockHandler &h : kBlockHandlers) {
      if (first == h.keyword) {
        ctx.block.assign(h.keyword);
        if (r.count() > 1) ctx.block.append(" ").append(r[1]);
        ctx.blockStart = 0;
        ctx.blockFailed = false;
        if (!h.read(ctx)) return false;
        break;
      }
    }
  }
  return true;
}

}  // namespace vkreader
