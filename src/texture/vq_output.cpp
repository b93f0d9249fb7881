// The VQ compression as a whole, and its output: the category word, the
// codebook and one index image per level.
#include <algorithm>
#include <cstring>
#include <new>
#include <thread>

#include "texture/pvr_format.h"
#include "texture/texture_io.h"
#include "texture/vq_internal.h"

namespace vq {
namespace {

// GetCategoryCode: byte 0 the pixel format of the texel output format, byte 1
// the VQ texture type.
bool GetCategoryCode(const PVR_VQOptions &options, uint32_t *code) {
  int32_t pixelFormat;
  switch (options.texelFormat) {
    case kVQARGB1555: pixelFormat = kPixARGB1555; break;
    case kVQARGB4444: pixelFormat = kPixARGB4444; break;
    case kVQRGB565: pixelFormat = kPixRGB565; break;
    default:
      PVR_ShowStarred("GetCategoryCode: Unknown format");
      return false;
  }
  uint8_t type = options.smallVQ ? (options.mipmaps ? pvr::kTypeSmallVQMip : pvr::kTypeSmallVQ)
                                 : (options.mipmaps ? pvr::kTypeVQMip : pvr::kTypeVQ);
  *code = pvr::Category(pixelFormat, type);
  return true;
}

// The entry whose bottom-right texel is nearest to one texel, ties to the first.
template <bool kAlpha>
uint32_t NearestCorner(const Context &context, const uint8_t *texel) {
  uint32_t best = 0;
  uint32_t bestDistance = TexelDistance<kAlpha>(texel, context.codebook[0].bytes + 12);
  for (int32_t e = 1; e < context.codebookSize; ++e) {
    uint32_t distance = TexelDistance<kAlpha>(texel, context.codebook[e].bytes + 12);
    if (distance < bestDistance) bestDistance = distance, best = static_cast<uint32_t>(e);
  }
  return best;
}

}  // namespace

bool InitVQOutput(const PVR_VQOptions &options, const Context &context, PVR_VQOutput *output) {
  int32_t levelCount = static_cast<int32_t>(context.levels.size());
  if (levelCount < 1 || levelCount > kPVRMaxMipmapLevels) {
    PVR_ShowStarred("InitVQOutput: Invalid vqContext->numMipmapLevels");
    return false;
  }
  if (!GetCategoryCode(options, &output->categoryCode)) return false;
  output->entryCount = context.codebookSize;
  std::memcpy(output->codebook, context.codebook, sizeof output->codebook);
  output->levels.clear();
  int32_t current = 0;
  try {
    output->levels.resize(static_cast<size_t>(levelCount));
    for (current = 0; current < levelCount; ++current) {
      const VectorData &data = context.levels[static_cast<size_t>(current)];
      PVR_VQLevel &level = output->levels[static_cast<size_t>(current)];
      level.width = data.width;
      level.height = data.height;
      level.indices.resize(static_cast<size_t>(data.width) * data.height);
      for (size_t b = 0; b < level.indices.size(); ++b) {
        level.indices[b] = static_cast<uint8_t>(context.entries[context.blockSlots[data.firstBlock + b]]);
      }
    }
  } catch (const std::bad_alloc &) {
    if (output->levels.empty()) {
      PVR_ShowStarred("InitVQOutput: Can't allocate memory for PVR_VQOutput");
    } else {
      PVR_ShowStarred("InitVQOutput: Can't allocate memory for mipmap[ %d ]", current);
    }
    output->levels.clear();
    return false;
  }
  const VectorData &last = context.levels.back();
  if (options.mipmaps && levelCount > 1 && last.width == 1 && last.height == 1) {
    output->levels.back().indices[0] = static_cast<uint8_t>(
        context.hasAlpha ? NearestCorner<true>(context, context.lastTexel)
                         : NearestCorner<false>(context, context.lastTexel));
  }
  return true;
}

}  // namespace vq

bool PVR_CompressVQ(const PVR_VQOptions &options, PVR_Input *input, PVR_VQOutput *output) {
  vq::Context context;
  context.texelFormat = options.texelFormat;
  context.hasAlpha = options.texelFormat != kVQRGB565;
  context.algorithm = options.algorithm == 3 ? 3 : 4;
  constexpr int32_t kMaxThreads = 16;
  context.threads = options.threads > 0 ? options.threads
                                        : static_cast<int32_t>(std::max(1u, std::thread::hardware_concurrency()));
  context.threads = std::min(context.threads, kMaxThreads);
  context.progress = options.progress;
  context.wideSearch = options.wideSearch != 0;
  if (!vq::BuildVectors(options, input, &context)) return false;
  vq::DesignCodebook(&context);
  return vq::InitVQOutput(options, context, output);
}
