// The literal mipmap builder, kept as the oracle of the fast one (tests and
// benchmark): each texel of level k sums its 2^k x 2^k block of level 0 afresh.
#pragma once

#include <cstdint>

#include "texture/texture_types.h"

namespace textest {

inline PVR_Image LiteralMipmap(const PVR_Image &base, int k) {
  PVR_Image level;
  level.width = base.width >> k;
  level.height = base.height >> k;
  level.texels.resize(4 * static_cast<size_t>(level.width) * level.height);
  for (int32_t y = 0; y < level.height; ++y)
    for (int32_t x = 0; x < level.width; ++x)
      for (int c = 0; c < 4; ++c) {
        uint32_t sum = 0;
        for (int32_t dy = 0; dy < (1 << k); ++dy)
          for (int32_t dx = 0; dx < (1 << k); ++dx) sum += base.At((x << k) + dx, (y << k) + dy)[c];
        level.At(x, y)[c] = static_cast<uint8_t>(k == 0 ? sum : (sum + (1u << (2 * k - 1))) >> (2 * k));
      }
  return level;
}

}  // namespace textest
