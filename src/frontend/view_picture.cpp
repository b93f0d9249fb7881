// The picture of one texture: layout, caption and panels.
#include <algorithm>
#include <cstdio>

#include "frontend/view.h"
#include "texture/image_read.h"
#include "texture/pvr_format.h"

namespace {

struct TypeName {
  uint8_t type;
  const char *name;
  bool mipmap;
};
constexpr TypeName kTypeNames[] = {
    {pvr::kTypeTwiddled, "TW", false},       {pvr::kTypeTwiddledMip, "TW", true},
    {pvr::kTypeVQ, "VQ", false},             {pvr::kTypeVQMip, "VQ", true},
    {pvr::kTypePal4, "PAL4", false},         {pvr::kTypePal4Mip, "PAL4", true},
    {pvr::kTypePal8, "PAL8", false},         {pvr::kTypePal8Mip, "PAL8", true},
    {pvr::kTypeRectangle, "RECT", false},    {pvr::kTypeRectangleMip, "RECT", true},
    {pvr::kTypeStride, "STRIDE", false},     {pvr::kTypeStrideMip, "STRIDE", true},
    {pvr::kTypeTwiddledNonSquare, "TW", false}, {pvr::kTypeSmallVQ, "SVQ", false},
    {pvr::kTypeSmallVQMip, "SVQ", true},
};

void Fill(ViewPicture *picture, int32_t x, int32_t y, const uint8_t rgb[3]) {
  uint8_t *pixel = &picture->rgb[3 * (static_cast<size_t>(y) * picture->width + x)];
  pixel[0] = rgb[0], pixel[1] = rgb[1], pixel[2] = rgb[2];
}

// A channel over the checkerboard: c * a + background * (255 - a), rounded.
uint8_t Over(uint8_t channel, uint8_t alpha, uint8_t background) {
  return static_cast<uint8_t>((channel * alpha + background * (255 - alpha) + 127) / 255);
}

}  // namespace

bool ViewHasAlpha(const PVR_Decoded &texture) {
  for (const PVR_Image &level : texture.levels) {
    for (size_t i = kTexelA; i < level.texels.size(); i += 4) {
      if (level.texels[i] != 255) return true;
    }
  }
  return false;
}

ViewLayout ViewLayoutOf(const PVR_Decoded &texture, const std::string &caption) {
  ViewLayout layout;
  int32_t x = kViewMargin, height = 0;
  for (const PVR_Image &level : texture.levels) {
    layout.levelX.push_back(x);
    x += level.width + kViewGap;
    height = std::max(height, level.height);
  }
  const int32_t panelsWidth = texture.levels.empty() ? 0 : x - kViewGap - kViewMargin;
  const int rows = ViewHasAlpha(texture) ? 3 : 1;
  for (int row = 0; row < rows; ++row) layout.rowY.push_back(kViewMargin + row * (height + kViewGap));
  layout.captionY = kViewMargin + rows * (height + kViewGap);
  const int32_t captionWidth =
      caption.empty() ? 0 : static_cast<int32_t>(caption.size()) * kViewGlyphAdvance - (kViewGlyphAdvance - kViewGlyphWidth);
  layout.width = 2 * kViewMargin + std::max(panelsWidth, captionWidth);
  layout.height = layout.captionY + kViewGlyphHeight + kViewMargin;
  return layout;
}

std::string ViewCaption(const PVR_Decoded &texture, const std::string &entryName, uint32_t globalIndex,
                        bool hasGlobalIndex, int32_t paletteBank) {
  char text[160];
  const char *type = "?";
  bool mipmap = false;
  for (const TypeName &name : kTypeNames) {
    if (name.type == texture.textureType) type = name.name, mipmap = name.mipmap;
  }
  const char *format =
      texture.pixelFormat == kPixARGB8888 ? "ARGB8888" : PVR_PixelFormatName(texture.pixelFormat);
  std::string caption = entryName.empty() ? "" : entryName + " ";
  std::snprintf(text, sizeof text, "%dx%d %s %s%s", texture.width, texture.height, format, type,
                mipmap ? " MIP" : "");
  caption += text;
  if (hasGlobalIndex) std::snprintf(text, sizeof text, " GI %u", globalIndex);
  else std::snprintf(text, sizeof text, " GI -");
  caption += text;
  if (paletteBank >= 0) {
    std::snprintf(text, sizeof text, " BANK %d", paletteBank);
    caption += text;
  }
  return caption;
}

ViewPicture ViewRender(const PVR_Decoded &texture, const std::string &caption) {
  const ViewLayout layout = ViewLayoutOf(texture, caption);
  ViewPicture picture;
  picture.width = layout.width;
  picture.height = layout.height;
  picture.rgb.assign(3 * static_cast<size_t>(picture.width) * picture.height, kViewBackground);
  for (size_t k = 0; k < texture.levels.size(); ++k) {
    const PVR_Image &level = texture.levels[k];
    for (int32_t y = 0; y < level.height; ++y) {
      for (int32_t x = 0; x < level.width; ++x) {
        const uint8_t *texel = level.At(x, y);
        const uint8_t colour[3] = {texel[kTexelR], texel[kTexelG], texel[kTexelB]};
        const int32_t px = layout.levelX[k] + x;
        if (layout.rowY.size() == 1) {
          Fill(&picture, px, layout.rowY[0] + y, colour);
          continue;
        }
        const bool light = ((x / kViewChecker) + (y / kViewChecker)) % 2 == 0;
        const uint8_t background = light ? kViewCheckerLight : kViewCheckerDark;
        const uint8_t a = texel[kTexelA];
        const uint8_t over[3] = {Over(colour[0], a, background), Over(colour[1], a, background),
                                 Over(colour[2], a, background)};
        const uint8_t grey[3] = {a, a, a};
        Fill(&picture, px, layout.rowY[kViewOverChecker] + y, over);
        Fill(&picture, px, layout.rowY[kViewAlpha] + y, grey);
        Fill(&picture, px, layout.rowY[kViewColour] + y, colour);
      }
    }
  }
  ViewDrawText(&picture, kViewMargin, layout.captionY, caption);
  return picture;
}
