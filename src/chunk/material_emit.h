// Material and texture chunks of a polygon list: the current material state
// and the CnkM / CnkT_TID chunks of what changed since the previous group.
#pragma once

#include <cstdint>

#include "base/flags.h"

struct VKWriteInfo;
struct ScMaterials;

// The current material of one polygon list; value-initialise it at the
// start of every list.
struct VKMaterialState {
  uint8_t diffuse[4];  // R, G, B, A
  uint8_t ambient[4];
  uint8_t specular[4];
  int exponent;
  uint32_t textureFlags;
  int textureId;
  bool started;
};

// Writes the material and texture chunks of one group: the full material
// chunk for the list's first material, later only the changed parts; the
// texture chunk when the texture or its flags changed. `material` null is
// the default material; `textureId` -1 an untextured group; `stripFlags` the
// group's FST word (its IA, IS and UA bits decide the parts).
void VKWriteMaterialChunks(const VKWriteInfo *info, const ScMaterials *material, int textureId,
                           uint16_t stripFlags, VKMaterialState &state);

// The specular exponent step 0-16 of a specular power: 0 for 0, else the
// first step whose bound (1, 2, 3, 5, 8, 11, 15, 23, 31, 47, 63, 95, 127,
// 191, 255) the power does not exceed, 16 above 255.
int VKExponentStep(float power);

// trunc(value x 255), keeping the low 8 bits; 0 for values out of range.
int VKColourByte(float value);
