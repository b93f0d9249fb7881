// The strip options of the command line: -Strip/-S, -St, -ST, -STt ask for
// triangle strips; the last three also choose which polygons are
// triangulated first.
#pragma once

#include <cstdint>

// Reads the strip options (exact, case-sensitive words anywhere in the
// argument vector) into the strip and model flag words.
void ParseStripOptions(int argc, const char *const *argv, uint32_t *modelFlags,
                       uint32_t *stripFlags);
