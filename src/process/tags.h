// Material name tags: the drawing flags a material's name adds or removes,
// and the write-info flag word that the tags and the writers test.
//
// The tags edit the material's flag word directly, so there is no separate
// set-mask or clear-mask for the writers to apply afterwards.
#pragma once

#include <cstdint>

#include "base/flags.h"

struct ScMaterials;
struct ScModel;
struct ScNodeList;

// A material whose attrflags is 0 starts from vkattr::kDefault; the bits of
// the output word F that ask for emission normals are
// vkflag::kModelEmissionNormal and vkflag::kMaterialEmissionNormal.

// The write-info flag word of an output run, from the command-line words
// (modelFlags, outputFlags, chunkFlags) and the scene's source kind. Every
// per-material output word F starts from this word.
uint32_t VKMakeWriteFlags(uint32_t modelFlags, uint32_t outputFlags, uint32_t chunkFlags,
                          int32_t sourceKind);

// Parses one material's name with the write-info flag word `writeFlags` and
// stores attrflags, the output word F (material->outputFlags), the
// evaluation bits E (material->evalFlags) and the bank. Prints the tag
// warnings.
void VKParseMaterialTags(ScMaterials *material, uint32_t writeFlags);

// Parses the first nbMaterial materials of a node and returns the OR of
// their output words F; the caller runs the emission-normal passes that
// they ask for.
uint32_t VKParseNodeMaterials(ScModel *model, uint32_t writeFlags);

// Parses the materials of every node of the list and, per node, runs the
// emission-normal passes its materials ask for ("[MODEL EMISSION NORMAL]",
// "[MATERIAL EMISSION NORMAL]").
void VKApplyMaterialTags(ScNodeList *list, uint32_t writeFlags);
