// Runs of the built program for the end-to-end benchmarks.
#pragma once

#include <string>
#include <vector>

namespace vkbench {

// Runs vkconv with the arguments in the folder `cwd` (standard error
// discarded) and returns its peak resident memory in kilobytes, -1 when it
// could not be started.
long RunVkconvPeak(const std::vector<std::string> &args, const std::string &cwd);

}  // namespace vkbench
