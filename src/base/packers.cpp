// The packers that are not constant expressions.
#include "base/packers.h"

#include <cmath>

int VKIntensity(int red, int green, int blue) {
  double weighted = (0.299 * (red & 0xFF) + 0.587 * (green & 0xFF) + 0.114 * (blue & 0xFF)) * 128.0;
  auto value = static_cast<int>(std::trunc(weighted));
  return value < 0 ? 0 : value > 0x7FFF ? 0x7FFF : value;
}

int VKNorm10(float component) {
  if (std::isnan(component)) component = 0.0f;
  component = component < -1.0f ? -1.0f : component > 1.0f ? 1.0f : component;
  return static_cast<int>(std::trunc(static_cast<double>(component) * 511.0)) & 0x3FF;
}

uint32_t VKPackNORM32(float nx, float ny, float nz) {
  return VKPackNorm32Fields(static_cast<uint32_t>(VKNorm10(nx)), static_cast<uint32_t>(VKNorm10(ny)),
                            static_cast<uint32_t>(VKNorm10(nz)));
}
