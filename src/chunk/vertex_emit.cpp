// Vertex chunks of one node: every vertex kind of the chunk format, with the
// global scale, vertex comments and vertex colour to user flag.
#include <cstring>

#include "base/flags.h"
#include "base/packers.h"
#include "binary/vkprint.h"
#include "binary/write_info.h"
#include "chunk/emit.h"
#include "chunk/encoding.h"
#include "scene/records.h"

namespace {

enum class Normal : uint8_t { kNone, kPlain, kSh, kPacked };

// The form of a vertex type, read from its bits: the format bits give the
// position form (0: four words) and the extra word, bit 30 a normal (four
// words with a four-word position), bit 29 a packed normal.
struct VertexKind {
  const VKChunkKind *chunk;
  bool sh;        // four-word position
  Normal normal;
  uint32_t extra;  // vkopt::kCnkV_D8 .. kCnkV_IN, or 0 for none
};

VertexKind KindOf(uint32_t chunkFlags) {
  const VKChunkKind *chunk = VKFindVertexType(chunkFlags);
  if (!chunk) {  // the report has warned already
    chunkFlags = vkopt::kChunkDefault;
    chunk = VKFindVertexType(chunkFlags);
  }
  const uint32_t format = chunkFlags & vkopt::kChunkVertexFormatMask;
  VertexKind kind{chunk, format == vkopt::kCnkV_SH, Normal::kNone, format > vkopt::kCnkV ? format : 0};
  if (chunkFlags & vkopt::kChunkVertexNormal) kind.normal = kind.sh ? Normal::kSh : Normal::kPlain;
  if (chunkFlags & vkopt::kChunkVertexNormalX) kind.normal = Normal::kPacked;
  return kind;
}

uint32_t Bits(float value) {
  uint32_t bits;
  std::memcpy(&bits, &value, sizeof bits);
  return bits;
}

int Intensity(const uint8_t *colour) { return VKIntensity(colour[0], colour[1], colour[2]); }

void WriteFloatLine(VKWriter &w, const char *label, const float v[3], bool comment, bool fourth, float fourthValue) {
  VKPrintAscii(w, "%s( 0x%08x, 0x%08x, 0x%08x ),", label, Bits(v[0]), Bits(v[1]), Bits(v[2]));
  if (comment) VKPrintAscii(w, " /* %f, %f, %f */", v[0], v[1], v[2]);
  VKPrintAscii(w, "\n");
  if (fourth)
    VKPrintBin(w, "ffff", static_cast<double>(v[0]), static_cast<double>(v[1]), static_cast<double>(v[2]),
               static_cast<double>(fourthValue));
  else
    VKPrintBin(w, "fff", static_cast<double>(v[0]), static_cast<double>(v[1]), static_cast<double>(v[2]));
}

void WriteD8888(VKWriter &w, const uint8_t *c) {
  VKPrint(w, "!g$8", "%s( %d, %d, %d, %d ),\n", "\tD8888", c[3], c[0], c[1], c[2]);
}

void WriteVertex(VKWriteInfo *info, const VertexKind &kind, const ScVertex &vertex, float scale,
                 uint32_t chunkFlags) {
  VKWriter &w = *info->writer;
  const bool comment = (chunkFlags & vkopt::kChunkVertexComments) != 0;
  const float pos[3] = {vertex.pos[0] * scale, vertex.pos[1] * scale, vertex.pos[2] * scale};
  WriteFloatLine(w, kind.sh ? "\tVERT_SH" : "\tVERT", pos, comment, kind.sh, 1.0f);
  switch (kind.normal) {
    case Normal::kNone: break;
    case Normal::kPlain: WriteFloatLine(w, "\tNORM", vertex.normal, comment, false, 0.0f); break;
    case Normal::kSh: WriteFloatLine(w, "\tNORM_SH", vertex.normal, comment, true, 0.0f); break;
    case Normal::kPacked: {
      const int x = VKNorm10(VKClampNormal(info, vertex.normal[0]));
      const int y = VKNorm10(VKClampNormal(info, vertex.normal[1]));
      const int z = VKNorm10(VKClampNormal(info, vertex.normal[2]));
      VKPrint(w, "!g$X", "%s( 0x%x, 0x%x, 0x%x ),\n", "\tNORM32", x, y, z);
      break;
    }
  }
  const uint8_t *d = vertex.diffuse;
  const uint8_t *s = vertex.specular;
  switch (kind.extra) {
    case vkopt::kCnkV_D8: WriteD8888(w, d); break;
    case vkopt::kCnkV_UF:
      if (chunkFlags & vkopt::kChunkVertexColourToUserFlag)
        WriteD8888(w, d);
      else
        VKPrint(w, "!g$I", "%s( 0x%x ),\n", "\tUFlags", vertex.userFlags);
      break;
    case vkopt::kCnkV_NF: VKPrint(w, "!g$I", "%s( 0x%x ),\n", "\tNFlags", vertex.libraryFlags); break;
    case vkopt::kCnkV_S5:
      VKPrint(w, "!g$5", "%s( %d, %d, %d,  %d, %d, %d ),\n", "\tD565S565", VKChannel5(d[0]), VKChannel6(d[1]),
              VKChannel5(d[2]), VKChannel5(s[0]), VKChannel6(s[1]), VKChannel5(s[2]));
      break;
    case vkopt::kCnkV_S4:
      VKPrint(w, "!g$a", "%s( %d, %d, %d, %d,  %d, %d, %d ),\n", "\tD4444S565", VKChannel4(d[3]), VKChannel4(d[0]),
              VKChannel4(d[1]), VKChannel4(d[2]), VKChannel5(s[0]), VKChannel6(s[1]), VKChannel5(s[2]));
      break;
    case vkopt::kCnkV_IN: {
      const int di = Intensity(d);
      const int si = Intensity(s);
      VKPrintAscii(w, "%s( 0x%x, 0x%x ),\n", "\tD16S16", di, si);
      VKPrintBin(w, "I", VKPackD16S16(di, si));
      break;
    }
    default: break;
  }
}

}  // namespace

void VKWriteVertexChunks(VKWriteInfo *info, const ScMesh *mesh) {
  VKWriter &w = *info->writer;
  const VertexKind kind = KindOf(info->chunkFlags);
  const int words = kind.chunk->words;
  const int count = mesh ? mesh->nbVertex : 0;
  const float scale = info->globalScale;
  // One chunk normally; more when the 16-bit size would overflow, each
  // carrying the index offset of its first vertex.
  const int perChunk = kMaxChunkSize / words;
  int first = 0;
  do {
    const int n = count - first < perChunk ? count - first : perChunk;
    const int size = VKVertexChunkSize(n, words);
    VKPrintAscii(w, "\t%s(%d, %d),\n", kind.chunk->name.data(), 0, size);
    VKPrintBin(w, "SS", kind.chunk->id, size);
    VKPrint(w, "!g$S$S", "\t%s(%d, %d),\n", "OffnbIdx", first, n);
    for (int i = first; i < first + n; ++i) WriteVertex(info, kind, mesh->vertices[i], scale, info->chunkFlags);
    first += n;
  } while (first < count);
}
