// Fuzz target of the PVR decoder: the first two bytes choose where the PVR
// file ends and its palette file begins.
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "texture/pvr_decode.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  std::span<const uint8_t> file(data, size), palette;
  if (size >= 2) {
    const size_t cut = (data[0] | static_cast<size_t>(data[1]) << 8) % (size - 1);
    file = std::span<const uint8_t>(data + 2, cut);
    palette = std::span<const uint8_t>(data + 2 + cut, size - 2 - cut);
  }
  PVR_Decoded decoded;
  std::string error;
  if (PVR_Decode(file, palette, &decoded, &error)) {
    // Every level is complete.
    for (const PVR_Image &level : decoded.levels) {
      if (level.texels.size() != 4 * static_cast<size_t>(level.width) * level.height) __builtin_trap();
    }
  } else if (error.empty()) {
    __builtin_trap();  // a refusal always names its reason
  }
  return 0;
}
