// Normals and UVs clamped to the fields they are packed into, each kind
// warned about once per run.
#include <cmath>
#include <cstdint>

#include "base/console.h"
#include "base/flags.h"
#include "binary/write_info.h"
#include "chunk/emit.h"

namespace {

constexpr double kUvLowest = -32768.0;
constexpr double kUvHighest = 32767.0;

void WarnOnce(VKWriteInfo *info, uint32_t kind) {
  if (info->clampWarned & kind) return;
  info->clampWarned |= kind;
  if (kind == vkclamp::kNormal)
    PrintWarning("Warning : %s has normals outside [-1, 1]; they are clamped to [-1, 1] for packing\n",
                 info->objectName);
  else
    PrintWarning("Warning : %s has UVs outside the 16-bit range; they are clamped to -32768 .. 32767\n",
                 info->objectName);
}

}  // namespace

float VKClampNormal(VKWriteInfo *info, float component) {
  if (component >= -1.0f && component <= 1.0f) return component;
  WarnOnce(info, vkclamp::kNormal);
  return std::isnan(component) ? 0.0f : component < 0.0f ? -1.0f : 1.0f;
}

int VKClampUv(VKWriteInfo *info, double scaled) {
  const double value = std::trunc(scaled);
  if (value >= kUvLowest && value <= kUvHighest) return static_cast<int>(value);
  WarnOnce(info, vkclamp::kUv);
  return std::isnan(value) ? 0 : static_cast<int>(value < 0.0 ? kUvLowest : kUvHighest);
}
