// The option set of a run: command-line words gathered into four flag words
// (their bits are in base/flags.h), the value options, the conflict rules,
// and the strip options. The chunk completion is the Chunk-model writer's
// (chunk/chunk_writer.h).
#pragma once

#include <cstdint>

#include "base/file_names.h"
#include "base/flags.h"
#include "binary/write_info.h"

struct ScObject;
struct ScNodeList;

// ---- Option set --------------------------------------------------------------

struct ConvertOptions {
  ScObject *scene;
  ScNodeList *nodeList;
  char inputName[kNameSize];
  char outputName[kNameSize];
  char texturePath[kNameSize];
  uint32_t modelFlags;
  uint32_t outputFlags;
  uint32_t stripFlags;
  uint32_t chunkFlags;
  float rootRotation[3];  // radians
  GlobalIndexBlock globalIndex;
  float globalScale;      // -gscale, 1.0 by default
};

// Sets every field to its default; the environment name is not used.
void InitConvertOptions(ConvertOptions *options, const char *environmentName);

// Applies -gibase, the option table in its order, -gscale, then the conflict
// rules. The arguments that carry option values get their first character
// overwritten with '-', so the input argument must be chosen before.
void ParseOptions(int argc, char **argv, ConvertOptions *options);

// The strip options -Strip/-S, -St, -ST, -STt (exact, case-sensitive words
// anywhere in the argument vector) ask for triangle strips; the last three
// also choose which polygons are triangulated first.
void ParseStripOptions(int argc, const char *const *argv, uint32_t *modelFlags, uint32_t *stripFlags);

// ---- Lookups -----------------------------------------------------------------
// Index of the first argument (from index 0) equal to formA or formB (formB
// may be null), or -1. Comparison is exact and case-sensitive.
int FindOption(int argc, const char *const *argv, const char *formA, const char *formB);
// Index of the argument following the option, or -1 when the option is
// absent, last, or followed by an argument beginning with '-'.
int FindOptionValue(int argc, const char *const *argv, const char *formA, const char *formB);
// Index of the (n+1)-th argument from index 1 not beginning with '-', or -1.
int FindInputArgument(int argc, const char *const *argv, int n);
