// The strip-option parser run by the driver after the option table.
#include "process/strip_options.h"

#include "frontend/options.h"

namespace {

struct StripOptionRow {
  const char *formA;
  const char *formB;  // null for a single form
  uint32_t stripSet;
  uint32_t modelSet;
};

constexpr StripOptionRow kStripOptions[] = {
    {"-Strip", "-S", vkopt::kStripOn, 0},
    {"-St", nullptr, vkopt::kStripOn, vkopt::kModelQuadToTri},
    {"-ST", nullptr, vkopt::kStripOn, vkopt::kModelPolyToTri},
    {"-STt", nullptr, vkopt::kStripOn, vkopt::kModelAllToTri},
};

}  // namespace

void ParseStripOptions(int argc, const char *const *argv, uint32_t *modelFlags,
                       uint32_t *stripFlags) {
  for (const StripOptionRow &row : kStripOptions) {
    if (FindOption(argc, argv, row.formA, row.formB) < 0) continue;
    *stripFlags |= row.stripSet;
    *modelFlags |= row.modelSet;
  }
}
