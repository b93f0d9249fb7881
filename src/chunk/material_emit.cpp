// The material state machine of a polygon list.
#include "chunk/material_emit.h"

#include <cstring>
#include <string>

#include "binary/vkprint.h"
#include "binary/write_info.h"
#include "chunk/encoding.h"
#include "scene/records.h"

namespace {

struct BitMap {
  uint32_t attr;
  uint16_t word;
};

// Texture flip and clamp: attrflags bit, TID head-word bit.
constexpr BitMap kAttrToTextureHead[] = {
    {vkattr::kFlipU, 0x8000}, {vkattr::kFlipV, 0x4000}, {vkattr::kClampU, 0x2000}, {vkattr::kClampV, 0x1000}};

// Second TID word: super-sample bit and texture id field.
constexpr uint16_t kTextureIdSuperSample = 0x2000;
constexpr uint16_t kTextureIdMask = 0x1FFF;

// Filter mode by attrflags bits 13-14, as the second TID word holds it (both
// bits set reads as trilinear).
constexpr uint16_t kFilterMode[4] = {0x0000, 0x4000, 0x8000, 0x8000};

// Bounds of the specular exponent steps 1-15; above the last is step 16.
constexpr float kExponentBounds[15] = {1, 2, 3, 5, 8, 11, 15, 23, 31, 47, 63, 95, 127, 191, 255};

// Material kinds by the parts they hold: bit 0 diffuse, 1 ambient, 2 specular.
constexpr int kMaterialKind[8] = {0, CnkM_D, CnkM_A, CnkM_DA, CnkM_S, CnkM_DS, CnkM_AS, CnkM_DAS};

// The default material of a group without one.
constexpr float kDefaultDiffuse[4] = {0.75f, 0.75f, 0.75f, 0.75f};
constexpr float kDefaultAmbient[4] = {0, 0, 0, 0};
constexpr float kDefaultSpecular[4] = {1.0f, 1.0f, 1.0f, 1.0f};
constexpr float kDefaultPower = 6.0f;

const char *ChunkName(int id) { return VKFindChunkKindById(id)->name.data(); }

void WriteTextureChunk(VKWriter &w, uint32_t attrflags, int textureId) {
  if (textureId == -1) return;
  uint16_t head = 0;
  for (const BitMap &bit : kAttrToTextureHead)
    if (attrflags & bit.attr) head |= bit.word;
  const uint16_t depth = static_cast<uint16_t>(attrflags & vkattr::kDepthAdjust);
  const std::string flipClamp = VKFlagsText(head, VKFlagWord::kTextureHead);
  const std::string depthName(VKFlagName(kFDA, depth));
  VKPrintAscii(w, "\t%s( %s|%s ),", "CnkT_TID", flipClamp.c_str(), depthName.c_str());
  VKPrintBin(w, "S", VKHeadWord(CnkT_TID, static_cast<uint16_t>(head | depth)));
  const uint16_t filter = kFilterMode[(attrflags & vkattr::kFilter) >> vkattr::kFilterShift];
  const std::string filterName(VKFlagName(kFFM, filter));
  const bool superSample = (attrflags & vkattr::kSuperSample) != 0;
  if (superSample)
    VKPrintAscii(w, " %s( %s|%s, %d ),\n", "_TID", filterName.c_str(), "FSS", textureId);
  else
    VKPrintAscii(w, " %s( %s, %d ),\n", "_TID", filterName.c_str(), textureId);
  VKPrintBin(w, "S", filter | (superSample ? kTextureIdSuperSample : 0) | (textureId & kTextureIdMask));
}

void WriteColourLine(VKWriter &w, const char *label, int a, int r, int g, int b) {
  VKPrint(w, "!g$8", "\t%s( %d, %d, %d, %d ),\n", label, a, r, g, b);
}

void WriteMaterialChunk(VKWriter &w, int parts, uint32_t attrflags, const VKMaterialState &state) {
  const int id = kMaterialKind[parts];
  const int size = 2 * ((parts & 1) + (parts >> 1 & 1) + (parts >> 2 & 1));
  const uint16_t source = static_cast<uint16_t>((attrflags >> vkattr::kBlendSourceShift & 7) << 11);
  const uint16_t destination = static_cast<uint16_t>((attrflags >> vkattr::kBlendDestinationShift & 7) << 8);
  const std::string sourceName(VKFlagName(kFBS, source));
  const std::string destinationName(VKFlagName(kFBD, destination));
  VKPrintAscii(w, "\t%s( %s|%s ), %d,\n", ChunkName(id), sourceName.c_str(), destinationName.c_str(), size);
  VKPrintBin(w, "SS", VKHeadWord(id, source | destination), size);
  const uint8_t *d = state.diffuse;
  const uint8_t *a = state.ambient;
  const uint8_t *s = state.specular;
  if (parts & 1) WriteColourLine(w, "MDiff", d[3], d[0], d[1], d[2]);
  if (parts & 2) WriteColourLine(w, "MAmbi", a[3], a[0], a[1], a[2]);
  if (parts & 4) WriteColourLine(w, "MSpec", state.exponent, s[0], s[1], s[2]);
}

}  // namespace

void VKWriteMaterialChunks(const VKWriteInfo *info, const ScMaterials *material, int textureId,
                           uint16_t stripFlags, VKMaterialState &state) {
  VKWriter &w = *info->writer;
  const uint32_t flags = info->flags;
  const uint32_t attrflags = material ? material->attrflags : vkattr::kDefault;
  const bool textured = textureId != -1;
  if ((flags & vkflag::kDeleteAllMaterials) ||
      ((flags & vkflag::kDeleteTexMaterials) && textured && !(stripFlags & vkfst::kUA))) {
    WriteTextureChunk(w, attrflags, textureId);
    return;
  }
  const float *diffuse = material ? material->diffuse : kDefaultDiffuse;
  const float *ambient = material ? material->ambient : kDefaultAmbient;
  const float *specular = material ? material->specular : kDefaultSpecular;
  const float power = material ? material->specularPower : kDefaultPower;

  uint8_t d[4], a[4], s[4];
  for (int i = 0; i < 4; ++i) {
    d[i] = static_cast<uint8_t>(VKColourByte(diffuse[i]));
    a[i] = static_cast<uint8_t>(VKColourByte(ambient[i]));
    s[i] = static_cast<uint8_t>(VKColourByte(specular[i]));
  }
  if ((flags & vkflag::kIgnoreDiffuse) && textured) d[0] = d[1] = d[2] = 255;
  const bool ambientOn = !(stripFlags & vkfst::kIA);
  const bool specularOn = !(stripFlags & vkfst::kIS);
  const int exponent = specularOn ? VKExponentStep(power) : 0;
  const uint32_t textureFlags = attrflags & vkattr::kTextureFlags;

  if (!state.started) {
    std::memcpy(state.diffuse, d, 4);
    std::memcpy(state.ambient, a, 4);
    std::memcpy(state.specular, s, 4);
    state.exponent = exponent;
    state.textureFlags = textureFlags;
    state.textureId = textureId;
    WriteMaterialChunk(w, 1 | (ambientOn ? 2 : 0) | (specularOn ? 4 : 0), attrflags, state);
    WriteTextureChunk(w, attrflags, textureId);
    state.started = true;
    return;
  }
  int parts = 0;
  if (std::memcmp(state.diffuse, d, 4) != 0) parts |= 1;
  std::memcpy(state.diffuse, d, 4);
  if (ambientOn) {
    if (std::memcmp(state.ambient, a, 4) != 0) parts |= 2;
    std::memcpy(state.ambient, a, 4);
  }
  if (specularOn) {
    if (std::memcmp(state.specular, s, 3) != 0 || state.exponent != exponent) parts |= 4;
    std::memcpy(state.specular, s, 4);
    state.exponent = exponent;
  }
  if (parts) WriteMaterialChunk(w, parts, attrflags, state);
  if (state.textureFlags != textureFlags || state.textureId != textureId) {
    state.textureFlags = textureFlags;
    state.textureId = textureId;
    WriteTextureChunk(w, attrflags, textureId);
  }
}

int VKExponentStep(float power) {
  if (power == 0.0f) return 0;
  for (int step = 0; step < 15; ++step)
    if (!(power > kExponentBounds[step])) return step + 1;
  return 16;
}

int VKColourByte(float value) {
  const double scaled = static_cast<double>(value) * 255.0;
  if (!(scaled > -2147483648.0 && scaled < 2147483647.0)) return 0;
  return static_cast<int>(scaled) & 0xFF;
}
