// Material and texture chunks of a polygon list: the current material state
// and the CnkM / CnkT_TID chunks of what changed since the previous group.
#pragma once

#include <cstdint>

struct VKWriteInfo;
struct ScMaterials;

// Bits of a material's attrflags read by the chunk emitters.
namespace vkattr {
constexpr uint32_t kIgnoreAmbient = 0x00000040;
constexpr uint32_t kDepthAdjust = 0x00000F00;
constexpr uint32_t kSuperSample = 0x00001000;
constexpr uint32_t kFilter = 0x00006000;
constexpr uint32_t kClampV = 0x00008000;
constexpr uint32_t kClampU = 0x00010000;
constexpr uint32_t kFlipV = 0x00020000;
constexpr uint32_t kFlipU = 0x00040000;
constexpr uint32_t kIgnoreSpecular = 0x00080000;
constexpr uint32_t kUseAlpha = 0x00100000;
constexpr uint32_t kEnvironment = 0x00400000;
constexpr uint32_t kDoubleSided = 0x00800000;
constexpr uint32_t kFlat = 0x01000000;
constexpr uint32_t kIgnoreLight = 0x02000000;
constexpr uint32_t kTextureFlags = 0x0007FF00;
}  // namespace vkattr

// Strip flags (FST_) of a strip chunk's head word.
namespace vkfst {
constexpr uint16_t kIL = 0x0100;
constexpr uint16_t kIS = 0x0200;
constexpr uint16_t kIA = 0x0400;
constexpr uint16_t kUA = 0x0800;
constexpr uint16_t kDB = 0x1000;
constexpr uint16_t kFL = 0x2000;
constexpr uint16_t kENV = 0x4000;
}  // namespace vkfst

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

// trunc(value x 255), keeping the low 8 bits; 0 for values out of range.
int VKColourByte(float value);
