// The record types the resource database recognises, with their word lists
// and defaults.
#include <cstring>

#include "texture/resource_db.h"

namespace {

constexpr ResWord kFormatWords[] = {{"auto", -1}, {"ARGB1555", 0}, {"RGB565", 1},
                                    {"ARGB4444", 2}, {"BUMP", 4},   {"YUV422", 3}};
constexpr ResWord kCategoryWords[] = {{"auto", -1}, {"twiddled", 1}, {"rectangle", 2},
                                      {"stride", 3}, {"VQ", 4},      {"SMALLVQ", 5}};
constexpr ResWord kVQModeWords[] = {{"VQ3", 3}, {"VQ4", 4}};

template <size_t N>
constexpr int32_t Count(const ResWord (&)[N]) {
  return static_cast<int32_t>(N);
}

constexpr ResField kTextureTexFields[] = {
    {ResTypeWord(kResLong), "Fromat", kFormatWords, Count(kFormatWords)},
    {ResTypeWord(kResLong), "Category", kCategoryWords, Count(kCategoryWords)},
    {ResTypeWord(kResBool), "Mipmap", nullptr, 0},
    {ResTypeWord(kResBool), "Dither", nullptr, 0},
    {ResTypeWord(kResBool), "AlphaDither", nullptr, 0},
    {ResTypeWord(kResLong), "GlobalIndex", nullptr, 0},
    {ResTypeWord(kResLong), "paletteBank", nullptr, 0},
    {ResTypeWord(kResLong), "VQMode", kVQModeWords, Count(kVQModeWords)},
    {ResTypeWord(kResBool), "pvrLockOn", nullptr, 0},
};
constexpr ResTextureTex kTextureTexDefaults = {-1, -1, 1, 0, 0, -1, -1, -1, 0};

constexpr ResField kTextureVQ2Fields[] = {
    {ResTypeWord(kResBool), "UseYIO", nullptr, 0},     {ResTypeWord(kResFloat3), "YIQ", nullptr, 0},
    {ResTypeWord(kResFloat), "Iterations", nullptr, 0}, {ResTypeWord(kResLong), "nbCode", nullptr, 0},
    {ResTypeWord(kResFloat), "AllowedError", nullptr, 0},
};
constexpr ResTextureVQ2 kTextureVQ2Defaults = {1, {1.0f, 1.0f, 1.0f}, 5.0f, 256, 0.5f};

static_assert(sizeof(ResTextureTex) == 36 && sizeof(ResTextureVQ2) == 28);

void TextureTexDefaults(void *data) { std::memcpy(data, &kTextureTexDefaults, sizeof kTextureTexDefaults); }
void TextureVQ2Defaults(void *data) { std::memcpy(data, &kTextureVQ2Defaults, sizeof kTextureVQ2Defaults); }

constexpr ResType kDeclaredTypes[] = {
    {"TextureTex", kTextureTexFields, 9, sizeof(ResTextureTex), TextureTexDefaults},
    {"TextureVQ2", kTextureVQ2Fields, 5, sizeof(ResTextureVQ2), TextureVQ2Defaults},
};
static_assert(sizeof kTextureTexFields / sizeof kTextureTexFields[0] == 9);
static_assert(sizeof kTextureVQ2Fields / sizeof kTextureVQ2Fields[0] == 5);

}  // namespace

const ResType *VKResDeclaredTypes(int32_t *count) {
  *count = static_cast<int32_t>(sizeof kDeclaredTypes / sizeof kDeclaredTypes[0]);
  return kDeclaredTypes;
}
