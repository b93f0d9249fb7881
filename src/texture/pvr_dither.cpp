// Error-diffusion dither for the 16-bit pixel formats.
//
// Each channel's quantisation error e is spread with q = (3e + 4) >> 3: q to
// the right, q straight down and e - 2q down-right. The right and diagonal
// carries run on from one row into the next (they are not reset at row
// starts), exactly as the reference output expects.
#include <vector>

#include "texture/pvr_encode.h"

namespace {

// Error of a stored value against the value its quantised form stands for, by
// the channel's bit count (0: the channel does not take part).
template <int kBits>
int32_t QuantisationError(int32_t v) {
  if constexpr (kBits == 5) return v - ((v & 0xF8) | 4);
  if constexpr (kBits == 6) return v - ((v & 0xFC) | 2);
  if constexpr (kBits == 4) return v - ((v & 0xF0) | 4 | ((v >> 4) & 8));
  return 0;
}

template <int kBits>
void DitherChannel(uint8_t *stored, int32_t *below, int32_t &right, int32_t &diagonal) {
  if constexpr (kBits != 0) {
    int32_t value = *stored + right + *below;
    value = value < 0 ? 0 : value > 255 ? 255 : value;
    *stored = static_cast<uint8_t>(value);
    const int32_t error = QuantisationError<kBits>(value);
    const int32_t q = (3 * error + 4) >> 3;
    *below = diagonal + q;
    diagonal = error - 2 * q;
    right = q;
  }
}

// Bit counts of alpha, red, green and blue.
template <int kA, int kR, int kG, int kB>
void DitherLevel(PVR_Image *level) {
  std::vector<int32_t> below(4 * static_cast<size_t>(level->width), 0);
  int32_t right[4] = {0, 0, 0, 0};
  int32_t diagonal[4] = {0, 0, 0, 0};
  uint8_t *texel = level->texels.data();
  for (int32_t y = 0; y < level->height; ++y) {
    int32_t *column = below.data();
    for (int32_t x = 0; x < level->width; ++x, texel += 4, column += 4) {
      DitherChannel<kA>(texel + kTexelA, column + kTexelA, right[kTexelA], diagonal[kTexelA]);
      DitherChannel<kR>(texel + kTexelR, column + kTexelR, right[kTexelR], diagonal[kTexelR]);
      DitherChannel<kG>(texel + kTexelG, column + kTexelG, right[kTexelG], diagonal[kTexelG]);
      DitherChannel<kB>(texel + kTexelB, column + kTexelB, right[kTexelB], diagonal[kTexelB]);
    }
  }
}

}  // namespace

// Alpha dithered in ARGB1555 is left out; in RGB555 and RGB565 its error is 0
// and its carries stay 0, so leaving it out gives the same texels.
void PVR_Dither(PVR_Image *level, int32_t pixelFormat, bool alphaDither) {
  if (level == nullptr || level->width <= 1 || level->height <= 1) return;
  if (level->texels.size() != 4 * static_cast<size_t>(level->width) * level->height) return;
  switch (pixelFormat) {
    case kPixARGB1555:
    case kPixRGB555:
      DitherLevel<0, 5, 5, 5>(level);
      break;
    case kPixRGB565:
      DitherLevel<0, 5, 6, 5>(level);
      break;
    case kPixARGB4444:
      if (alphaDither) {
        DitherLevel<4, 4, 4, 4>(level);
      } else {
        DitherLevel<0, 4, 4, 4>(level);
      }
      break;
    default:
      break;  // error 0 everywhere: the texels stay as they are
  }
}
