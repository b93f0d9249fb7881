// Building the scene from the linked blocks. Internal to the reader.
#pragma once

#include "reader/basic_blocks.h"
#include "scene/records.h"

namespace vkreader {

// The hierarchy from the last OBJECT block down, with every object converted
// into its node; null after printing why (nothing half-built is returned).
ScObject *BuildScene(const ReaderContext &ctx);

}  // namespace vkreader
