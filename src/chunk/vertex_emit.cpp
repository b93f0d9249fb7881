// Vertex chunks of one node: every vertex kind of the chunk format, with the
// global scale, vertex comments and vertex colour to user flag.
#include <cstring>

#include "binary/vkprint.h"
#include "chunk/emit.h"
#include "frontend/options.h"
#include "chunk/encoding.h"
#include "chunk/write_info.h"
#include "scene/records.h"

namespace {

enum class Normal : uint8_t { kNone, kPlain, kSh, kPacked };
enum class Extra : uint8_t { kNone, kD8, kUF, kNF, kS5, kS4, kIN };

struct VertexKind {
  uint32_t type;  // chunkFlags & 0x60000007
  const char *name;
  uint16_t id;
  bool sh;  // four-word position
  Normal normal;
  Extra extra;
};

constexpr VertexKind kVertexKinds[] = {
    {0x00000000, "CnkV_SH", 0x20, true, Normal::kNone, Extra::kNone},
    {0x40000000, "CnkV_VN_SH", 0x21, true, Normal::kSh, Extra::kNone},
    {0x00000001, "CnkV", 0x22, false, Normal::kNone, Extra::kNone},
    {0x00000002, "CnkV_D8", 0x23, false, Normal::kNone, Extra::kD8},
    {0x00000003, "CnkV_UF", 0x24, false, Normal::kNone, Extra::kUF},
    {0x00000004, "CnkV_NF", 0x25, false, Normal::kNone, Extra::kNF},
    {0x00000005, "CnkV_S5", 0x26, false, Normal::kNone, Extra::kS5},
    {0x00000006, "CnkV_S4", 0x27, false, Normal::kNone, Extra::kS4},
    {0x00000007, "CnkV_IN", 0x28, false, Normal::kNone, Extra::kIN},
    {0x40000001, "CnkV_VN", 0x29, false, Normal::kPlain, Extra::kNone},
    {0x40000002, "CnkV_VN_D8", 0x2A, false, Normal::kPlain, Extra::kD8},
    {0x40000003, "CnkV_VN_UF", 0x2B, false, Normal::kPlain, Extra::kUF},
    {0x40000004, "CnkV_VN_NF", 0x2C, false, Normal::kPlain, Extra::kNF},
    {0x40000005, "CnkV_VN_S5", 0x2D, false, Normal::kPlain, Extra::kS5},
    {0x40000006, "CnkV_VN_S4", 0x2E, false, Normal::kPlain, Extra::kS4},
    {0x40000007, "CnkV_VN_IN", 0x2F, false, Normal::kPlain, Extra::kIN},
    {0x20000001, "CnkV_VNX", 0x30, false, Normal::kPacked, Extra::kNone},
    {0x20000002, "CnkV_VNX_D8", 0x31, false, Normal::kPacked, Extra::kD8},
    {0x20000003, "CnkV_VNX_UF", 0x32, false, Normal::kPacked, Extra::kUF},
};

constexpr uint32_t kVertexTypeMask = 0x60000007;
constexpr uint32_t kVertexComments = 0x10000000;
constexpr uint32_t kVertexColourToUF = 0x08000000;

int WordsPerVertex(const VertexKind &kind) {
  int words = kind.sh ? 4 : 3;
  switch (kind.normal) {
    case Normal::kNone: break;
    case Normal::kPlain: words += 3; break;
    case Normal::kSh: words += 4; break;
    case Normal::kPacked: words += 1; break;
  }
  return words + (kind.extra == Extra::kNone ? 0 : 1);
}

uint32_t Bits(float value) {
  uint32_t bits;
  std::memcpy(&bits, &value, sizeof bits);
  return bits;
}

int Intensity(const uint8_t *colour) { return VKIntensity(colour[0], colour[1], colour[2]); }

void WriteFloatLine(const char *label, const float v[3], bool comment, bool fourth, float fourthValue) {
  VKPrintAscii("%s( 0x%08x, 0x%08x, 0x%08x ),", label, Bits(v[0]), Bits(v[1]), Bits(v[2]));
  if (comment) VKPrintAscii(" /* %f, %f, %f */", v[0], v[1], v[2]);
  VKPrintAscii("\n");
  if (fourth)
    VKPrintBin("ffff", static_cast<double>(v[0]), static_cast<double>(v[1]), static_cast<double>(v[2]),
               static_cast<double>(fourthValue));
  else
    VKPrintBin("fff", static_cast<double>(v[0]), static_cast<double>(v[1]), static_cast<double>(v[2]));
}

void WriteD8888(const uint8_t *c) {
  VKPrint("!g$8", "%s( %d, %d, %d, %d ),\n", "\tD8888", c[3], c[0], c[1], c[2]);
}

void WriteVertex(const VertexKind &kind, const ScVertex &vertex, float scale, uint32_t chunkFlags) {
  const bool comment = (chunkFlags & kVertexComments) != 0;
  const float pos[3] = {vertex.pos[0] * scale, vertex.pos[1] * scale, vertex.pos[2] * scale};
  WriteFloatLine(kind.sh ? "\tVERT_SH" : "\tVERT", pos, comment, kind.sh, 1.0f);
  switch (kind.normal) {
    case Normal::kNone: break;
    case Normal::kPlain: WriteFloatLine("\tNORM", vertex.normal, comment, false, 0.0f); break;
    case Normal::kSh: WriteFloatLine("\tNORM_SH", vertex.normal, comment, true, 0.0f); break;
    case Normal::kPacked: {
      const int x = VKNorm10(vertex.normal[0]);
      const int y = VKNorm10(vertex.normal[1]);
      const int z = VKNorm10(vertex.normal[2]);
      VKPrint("!g$X", "%s( 0x%x, 0x%x, 0x%x ),\n", "\tNORM32", x, y, z);
      break;
    }
  }
  const uint8_t *d = vertex.diffuse;
  const uint8_t *s = vertex.specular;
  switch (kind.extra) {
    case Extra::kNone: break;
    case Extra::kD8: WriteD8888(d); break;
    case Extra::kUF:
      if (chunkFlags & kVertexColourToUF)
        WriteD8888(d);
      else
        VKPrint("!g$I", "%s( 0x%x ),\n", "\tUFlags", vertex.userFlags);
      break;
    case Extra::kNF: VKPrint("!g$I", "%s( 0x%x ),\n", "\tNFlags", vertex.libraryFlags); break;
    case Extra::kS5:
      VKPrint("!g$5", "%s( %d, %d, %d,  %d, %d, %d ),\n", "\tD565S565", d[0] >> 3, d[1] >> 2, d[2] >> 3,
              s[0] >> 3, s[1] >> 2, s[2] >> 3);
      break;
    case Extra::kS4:
      VKPrint("!g$a", "%s( %d, %d, %d, %d,  %d, %d, %d ),\n", "\tD4444S565", d[3] >> 4, d[0] >> 4, d[1] >> 4,
              d[2] >> 4, s[0] >> 3, s[1] >> 2, s[2] >> 3);
      break;
    case Extra::kIN: {
      const int di = Intensity(d);
      const int si = Intensity(s);
      VKPrintAscii("%s( 0x%x, 0x%x ),\n", "\tD16S16", di, si);
      VKPrintBin("I", VKPackD16S16(di, si));
      break;
    }
  }
}

const VertexKind *FindVertexKind(uint32_t chunkFlags) {
  for (const VertexKind &kind : kVertexKinds)
    if (kind.type == (chunkFlags & kVertexTypeMask)) return &kind;
  return nullptr;
}

}  // namespace

void VKWriteVertexChunks(const VKWriteInfo *info, const ScMesh *mesh) {
  const VertexKind *kind = FindVertexKind(info->chunkFlags);
  if (!kind) kind = FindVertexKind(0x40000001);  // the report has warned already
  const int words = WordsPerVertex(*kind);
  const int count = mesh ? mesh->nbVertex : 0;
  const float scale = GlobalScale();
  // One chunk normally; more when the 16-bit size would overflow, each
  // carrying the index offset of its first vertex.
  const int perChunk = (0xFFFF - 1) / words;
  int first = 0;
  do {
    const int n = count - first < perChunk ? count - first : perChunk;
    const int size = 1 + n * words;
    VKPrintAscii("\t%s(%d, %d),\n", kind->name, 0, size);
    VKPrintBin("SS", kind->id, size);
    VKPrint("!g$S$S", "\t%s(%d, %d),\n", "OffnbIdx", first, n);
    for (int i = first; i < first + n; ++i) WriteVertex(*kind, mesh->vertices[i], scale, info->chunkFlags);
    first += n;
  } while (first < count);
}
