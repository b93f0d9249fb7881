// The VQ PVR file: optional global-index chunk, the texture chunk with the
// codebook and the twiddled index images (smallest level first).
#include <cstdint>
#include <vector>

#include "base/console.h"
#include "texture/pvr_format.h"
#include "texture/texture_io.h"
#include "texture/vq.h"

namespace {

constexpr int kMipmapTailBytes = 10;  // zero bytes after the index images of a mipmapped file
// Order of an entry's texels in the file: top-left, bottom-left, top-right,
// bottom-right.
constexpr int kFileTexelOrder[4] = {0, 2, 1, 3};

bool ValidLevels(const PVR_VQOutput &output) {
  for (const PVR_VQLevel &level : output.levels) {
    if (level.width != level.height || !PVR_IsSide(level.width) ||
        level.indices.size() != static_cast<size_t>(level.width) * level.height) {
      return false;
    }
  }
  return output.entryCount >= 1 && output.entryCount <= 256;
}

uint16_t PackTexel(int32_t pixelFormat, const uint8_t *t) {
  switch (pixelFormat) {
    case kPixARGB1555: return pvr::PackARGB1555(t[kTexelA], t[kTexelR], t[kTexelG], t[kTexelB]);
    case kPixARGB4444: return pvr::PackARGB4444(t[kTexelA], t[kTexelR], t[kTexelG], t[kTexelB]);
    default: return pvr::PackRGB565(t[kTexelR], t[kTexelG], t[kTexelB]);
  }
}

}  // namespace

bool PVR_WriteVQPVRFile(const PVR_VQOutput *output, const char *name, int32_t globalIndex) {
  if (output == nullptr || !ValidLevels(*output)) {
    PVR_ShowStarred("PVR_WriteVQPVRFile: Invalid pVQImage");
    return false;
  }
  size_t levelCount = output->levels.size();
  if (levelCount < 1 || levelCount > static_cast<size_t>(kPVRMaxMipmapLevels)) {
    PVR_ShowStarred("PVR_WriteVQPVRFile: Invalid number of mipmap levels");
    return false;
  }
  if (name == nullptr || name[0] == '\0') {
    PVR_ShowStarred("No pvr filename given");
    return false;
  }
  int32_t pixelFormat = static_cast<int32_t>(output->categoryCode & 0xFF);
  if (pixelFormat != kPixARGB1555 && pixelFormat != kPixRGB565 && pixelFormat != kPixARGB4444) {
    PVR_ShowStarred("PVR_WriteVQPVRFile: Unknown categoryCode");
    return false;
  }

  uint32_t dataSize = 8 * static_cast<uint32_t>(output->entryCount) + (levelCount > 1 ? kMipmapTailBytes : 0);
  for (const PVR_VQLevel &level : output->levels) dataSize += static_cast<uint32_t>(level.indices.size());
  std::vector<uint8_t> bytes;
  bytes.reserve(dataSize + 32);
  if (globalIndex != -1) pvr::PutGlobalIndexChunk(bytes, static_cast<uint32_t>(globalIndex), false);
  const PVR_VQLevel &top = output->levels[0];
  pvr::PutTextureHead(bytes, dataSize, output->categoryCode, static_cast<uint32_t>(top.width) * 2,
                      static_cast<uint32_t>(top.height) * 2);
  for (int32_t e = 0; e < output->entryCount; ++e) {
    for (int t : kFileTexelOrder) pvr::Put16(bytes, PackTexel(pixelFormat, output->codebook[e] + 4 * t));
  }
  for (size_t l = levelCount; l-- > 0;) {
    const PVR_VQLevel &level = output->levels[l];
    size_t base = bytes.size();
    bytes.resize(base + level.indices.size());
    for (int32_t y = 0; y < level.height; ++y) {
      for (int32_t x = 0; x < level.width; ++x) {
        bytes[base + pvr::TwiddleIndex(static_cast<uint32_t>(x), static_cast<uint32_t>(y))] =
            level.indices[static_cast<size_t>(y) * level.width + x];
      }
    }
  }
  if (levelCount > 1) bytes.insert(bytes.end(), kMipmapTailBytes, 0);

  if (!PVR_WriteWholeFile(name, bytes)) {
    PVR_ShowStarred("Could not open the pvr file %s", name);
    return false;
  }
  if (globalIndex != -1) PrintInfo("[GLOBALINDEX %d]", globalIndex);
  return true;
}
