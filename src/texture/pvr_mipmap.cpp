// Mipmap levels by box filtering level 0.
//
// Level k averages 2^k x 2^k blocks of level 0. Rather than summing each block
// afresh, a pyramid of exact per-channel block sums is kept: the sums of level
// k are the 2 x 2 sums of the sums of level k - 1, so each level costs one pass
// over a quarter of the previous one and gives the same integers as summing
// the blocks of level 0 directly.
#include <new>
#include <vector>

#include "texture/pvr_encode.h"
#include "texture/pvr_texels.h"
#include "texture/texture_io.h"

namespace {

// Sums of 2 x 2 blocks of a square `side` x `side` of 4-channel values.
template <typename In>
std::vector<uint32_t> SumQuads(const In *values, int32_t side) {
  const int32_t half = side / 2;
  std::vector<uint32_t> sums(4 * static_cast<size_t>(half) * half);
  uint32_t *out = sums.data();
  for (int32_t y = 0; y < half; ++y) {
    const In *top = values + 4 * static_cast<size_t>(2 * y) * side;
    const In *bottom = top + 4 * static_cast<size_t>(side);
    for (int32_t x = 0; x < half; ++x, top += 8, bottom += 8, out += 4) {
      for (int c = 0; c < 4; ++c) out[c] = static_cast<uint32_t>(top[c]) + top[4 + c] + bottom[c] + bottom[4 + c];
    }
  }
  return sums;
}

int Fail(PVR_Input *input, int code) {
  input->levels.clear();
  input->levels.shrink_to_fit();
  return code;
}

}  // namespace

int PVR_SetMipmaps(PVR_Input *input) {
  if (input == nullptr) {
    PVR_ShowStarred("PVR_SetMipmaps: pImage is NULL !!");
    return kMipmapNoImage;
  }
  if (input->levels.size() != 1) {
    PVR_ShowStarred("PVR_SetMipmaps() needs a single mipmap as input");
    return Fail(input, kMipmapNotSingle);
  }
  const PVR_Image &base = input->levels[0];
  if (!pvr_encode::HasTexels(base)) {
    PVR_ShowStarred("PVR_SetMipmaps: pImage is NULL !!");
    return Fail(input, kMipmapNoImage);
  }
  if (base.width != base.height) {
    PVR_ShowStarred("Only square mipmaps supported");
    return Fail(input, kMipmapNotSquare);
  }
  if (!PVR_IsSide(base.width)) {
    PVR_ShowStarred("Texture dimensions must be a power of 2 for mipmapping");
    return Fail(input, kMipmapBadSide);
  }

  std::vector<uint32_t> sums;
  int32_t side = base.width;
  for (int level = 1; side > 1; ++level) {
    if (level >= kPVRMaxMipmapLevels) {
      PVR_ShowStarred("Too many mipmap levels");
      return Fail(input, kMipmapTooMany);
    }
    try {
      sums = level == 1 ? SumQuads(input->levels[0].texels.data(), side) : SumQuads(sums.data(), side);
      side /= 2;
      PVR_Image image;
      image.width = side;
      image.height = side;
      image.texels.resize(sums.size());
      const int shift = 2 * level;
      const uint32_t round = 1u << (shift - 1);
      for (size_t i = 0; i < sums.size(); ++i) image.texels[i] = static_cast<uint8_t>((sums[i] + round) >> shift);
      input->levels.push_back(std::move(image));
    } catch (const std::bad_alloc &) {
      PVR_ShowStarred("Can't allocate memory for mipmap[ %d ] texels", level);
      return Fail(input, kMipmapNoMemory);
    }
  }
  return kMipmapOK;
}
