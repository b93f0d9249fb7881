// The vectors of a VQ compression: level checks, the codebook size, one
// quantised vector per 2x2 block, and the ascending array of unique vectors.
// Duplicates are removed by sorting (key, block number) pairs, which gives the
// unique keys in ascending order with the first block of each key keeping its
// texels.
#include <algorithm>
#include <cstring>
#include <new>

#include "texture/texture_io.h"
#include "texture/vq_internal.h"

namespace vq {
namespace {

// Codebook sizes by side; 0 refuses.
struct CodebookRow {
  int32_t side;
  int32_t full;
  int32_t smallSingle;
  int32_t smallMipmap;
};
constexpr CodebookRow kCodebookSizes[] = {
    {16, 0, 16, 16},     {32, 0, 32, 64},     {64, 256, 128, 0},   {128, 256, 0, 0},
    {256, 256, 0, 0},    {512, 256, 0, 0},    {1024, 256, 0, 0},
};

// A block's vector and its sort key (most significant word first).
struct KeyedBlock {
  uint64_t high;
  uint64_t low;
  uint32_t block;
};

bool KeyLess(const KeyedBlock &a, const KeyedBlock &b) {
  if (a.high != b.high) return a.high < b.high;
  if (a.low != b.low) return a.low < b.low;
  return a.block < b.block;
}

// Bit i of a byte moved to bit 4i.
constexpr auto kSpread4 = [] {
  struct Table {
    uint32_t value[256];
  } table{};
  for (uint32_t byte = 0; byte < 256; ++byte) {
    for (int bit = 0; bit < 8; ++bit) table.value[byte] |= ((byte >> bit) & 1u) << (4 * bit);
  }
  return table;
}();

// Four bytes interleaved bit by bit, most significant bits first, the first
// byte in the highest position of each group of four.
constexpr uint32_t Interleave(uint32_t b0, uint32_t b1, uint32_t b2, uint32_t b3) {
  return kSpread4.value[b0] << 3 | kSpread4.value[b1] << 2 | kSpread4.value[b2] << 1 |
         kSpread4.value[b3];
}

// The exact-duplicate key: the 16 bytes in order.
void ByteKey(const uint8_t *v, KeyedBlock *key) {
  uint64_t high = 0, low = 0;
  for (int i = 0; i < 8; ++i) high = high << 8 | v[i];
  for (int i = 8; i < 16; ++i) low = low << 8 | v[i];
  key->high = high, key->low = low;
}

// The space-filling key: the alpha-weighted averages (G, R, B) and the
// average alpha, then per channel (G, R, B) the four texels' alpha-weighted
// values.
void MortonKey(int32_t texelFormat, const uint8_t *v, KeyedBlock *key) {
  uint32_t weighted[4][4];  // [texel][channel]
  uint32_t sum[4] = {};
  for (int t = 0; t < 4; ++t) {
    uint32_t alpha = v[4 * t];
    weighted[t][0] = alpha;
    for (int c = 1; c < 4; ++c) weighted[t][c] = v[4 * t + c] * alpha / 255;
    for (int c = 0; c < 4; ++c) sum[c] += weighted[t][c];
  }
  uint8_t average[4];
  for (int c = 0; c < 4; ++c) average[c] = static_cast<uint8_t>(sum[c] / 4);
  QuantiseTexel(texelFormat, average);
  uint32_t word0 = Interleave(average[kTexelG], average[kTexelR], average[kTexelB], average[kTexelA]);
  auto channel = [&](int c) {
    return Interleave(weighted[0][c], weighted[1][c], weighted[2][c], weighted[3][c]);
  };
  key->high = static_cast<uint64_t>(word0) << 32 | channel(kTexelG);
  key->low = static_cast<uint64_t>(channel(kTexelR)) << 32 | channel(kTexelB);
}

// Gathers the block at (bx, by) of a level: top-left, top-right, bottom-left,
// bottom-right; a level of width or height 1 repeats its texels.
void GatherBlock(const PVR_Image &level, int32_t bx, int32_t by, uint8_t *v) {
  int32_t x0 = std::min(2 * bx, level.width - 1), x1 = std::min(2 * bx + 1, level.width - 1);
  int32_t y0 = std::min(2 * by, level.height - 1), y1 = std::min(2 * by + 1, level.height - 1);
  std::memcpy(v, level.At(x0, y0), 4);
  std::memcpy(v + 4, level.At(x1, y0), 4);
  std::memcpy(v + 8, level.At(x0, y1), 4);
  std::memcpy(v + 12, level.At(x1, y1), 4);
}

// InitVQContext: level count and shapes, index image sizes.
bool InitVQContext(const PVR_VQOptions &options, const PVR_Input &input, Context *context) {
  int32_t count = static_cast<int32_t>(input.levels.size());
  if (count < 1 || count > kPVRMaxMipmapLevels) {
    PVR_ShowStarred("InitVQContext: Invalid pImage->numMipmapLevels");
    return false;
  }
  const PVR_Image &top = input.levels[0];
  if (top.width != top.height) {
    PVR_ShowStarred("Only square VQ textures supported");
    return false;
  }
  for (const PVR_Image &level : input.levels) {
    bool shaped = level.width >= 1 && level.height >= 1 &&
                  level.texels.size() == 4 * static_cast<size_t>(level.width) * level.height;
    if (!PVR_IsSide(level.width) || !PVR_IsSide(level.height) || !shaped) {
      PVR_ShowStarred("%dx%d textures not supported", level.width, level.height);
      return false;
    }
  }
  context->codebookSize = PVR_VQCodebookSize(top.width, options.smallVQ != 0, options.mipmaps != 0);
  if (context->codebookSize == 0) {
    if (options.smallVQ == 0 && options.mipmaps == 0) {
      PVR_ShowStarred("VQ compression of full codebook %dx%d single textures not supported",
                      top.width, top.height);
    } else if (options.smallVQ == 0) {
      PVR_ShowStarred("VQ compression of full codebook %dx%d mipmap textures not supported",
                      top.width, top.height);
    } else if (options.mipmaps == 0) {
      PVR_ShowStarred("VQ compression of small codebook %dx%d single textures not supported",
                      top.width, top.height);
    } else {
      PVR_ShowStarred("VQ compression of small codebook %dx%d mipmap textures not supported",
                      top.width, top.height);
    }
    return false;
  }
  context->levels.clear();
  uint32_t blocks = 0;
  for (const PVR_Image &level : input.levels) {
    VectorData data;
    data.width = std::max(1, level.width / 2);
    data.height = std::max(1, level.height / 2);
    data.firstBlock = blocks;
    blocks += static_cast<uint32_t>(data.width * data.height);
    context->levels.push_back(data);
  }
  context->totalBlocks = blocks;
  return true;
}

// Gathers, quantises and keys every block of one level, then releases the
// level's texels.
void GatherLevel(PVR_Image &level, const VectorData &data, Context *context, std::vector<Vector> *blockVectors,
                 std::vector<KeyedBlock> *keys) {
  ParallelRanges(context->threads, static_cast<size_t>(data.height), [&](size_t begin, size_t end, int) {
    for (size_t by = begin; by < end; ++by) {
      for (int32_t bx = 0; bx < data.width; ++bx) {
        uint32_t block = data.firstBlock + static_cast<uint32_t>(by) * data.width + bx;
        uint8_t *v = (*blockVectors)[block].bytes;
        GatherBlock(level, bx, static_cast<int32_t>(by), v);
        for (int t = 0; t < 4; ++t) QuantiseTexel(context->texelFormat, v + 4 * t);
        KeyedBlock &key = (*keys)[block];
        key.block = block;
        if (context->algorithm == 3) {
          ByteKey(v, &key);
        } else {
          MortonKey(context->texelFormat, v, &key);
        }
      }
    }
  });
  if (level.width == 1 && level.height == 1) std::memcpy(context->lastTexel, (*blockVectors)[data.firstBlock].bytes, 4);
  level.texels.clear();
  level.texels.shrink_to_fit();
}

// BuildVectorArray: one unique vector per run of equal keys in the sorted
// blocks, with the texels of its first block and the run's length as count;
// every block's slot names its unique vector.
void BuildVectorArray(const std::vector<KeyedBlock> &keys, const std::vector<Vector> &blockVectors,
                      Context *context) {
  context->blockSlots.assign(context->totalBlocks, 0);
  context->vectors.clear();
  context->counts.clear();
  for (size_t i = 0; i < keys.size(); ++i) {
    if (i == 0 || keys[i].high != keys[i - 1].high || keys[i].low != keys[i - 1].low) {
      context->vectors.push_back(blockVectors[keys[i].block]);
      context->counts.push_back(0);
    }
    context->counts.back()++;
    context->blockSlots[keys[i].block] = static_cast<uint32_t>(context->vectors.size() - 1);
  }
  context->entries.assign(context->vectors.size(), 0);
  context->distances.assign(context->vectors.size(), 0);
}

}  // namespace

bool ClampVectorComponents(int32_t texelFormat, uint8_t *vector) {
  if (texelFormat != kVQARGB1555 && texelFormat != kVQARGB4444 && texelFormat != kVQRGB565) {
    PVR_ShowStarred("ClampVectorComponents: Unknown texel output format");
    return false;
  }
  for (int t = 0; t < 4; ++t) QuantiseTexel(texelFormat, vector + 4 * t);
  return true;
}

bool BuildVectors(const PVR_VQOptions &options, PVR_Input *input, Context *context) {
  if (!InitVQContext(options, *input, context)) return false;
  uint8_t probe[kVectorBytes] = {};
  if (!ClampVectorComponents(context->texelFormat, probe)) return false;
  const char *stage = "Can't allocate memory for NewNode";
  try {
    std::vector<Vector> blockVectors(context->totalBlocks);
    std::vector<KeyedBlock> keys(context->totalBlocks);
    for (size_t l = 0; l < context->levels.size(); ++l) {
      GatherLevel(input->levels[l], context->levels[l], context, &blockVectors, &keys);
    }
    stage = "Can't allocate memory for SortKey";
    std::sort(keys.begin(), keys.end(), KeyLess);
    stage = "BuildVectorArray: Can't allocate memory for vector pointers";
    BuildVectorArray(keys, blockVectors, context);
  } catch (const std::bad_alloc &) {
    PVR_ShowStarred("%s", stage);
    return false;
  }
  return true;
}

}  // namespace vq

int PVR_VQCodebookSize(int32_t side, bool smallVQ, bool mipmaps) {
  for (const vq::CodebookRow &row : vq::kCodebookSizes) {
    if (row.side == side) return !smallVQ ? row.full : mipmaps ? row.smallMipmap : row.smallSingle;
  }
  return 0;
}
