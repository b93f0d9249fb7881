// vkview: PVR textures and PVM archives as PNG pictures.
//
// One picture per texture. Its mipmap levels stand side by side, level 0 on
// the left, top-aligned, in one row; a texture with any texel below full
// alpha gets three rows: the texels over a checkerboard, the alpha as grey,
// and the colour with alpha ignored. A caption line under the rows names
// the size, the pixel format, the texture type and the global index.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "texture/pvr_decode.h"

// An 8-bit RGB picture, rows from the top.
struct ViewPicture {
  int32_t width = 0;
  int32_t height = 0;
  std::vector<uint8_t> rgb;  // 3 * width * height bytes
};

// Rows of a picture with alpha, top down; a picture without alpha has only
// the first.
enum ViewRow : int { kViewOverChecker = 0, kViewAlpha = 1, kViewColour = 2 };

constexpr int32_t kViewMargin = 4;     // around everything
constexpr int32_t kViewGap = 4;        // between panels and rows
constexpr int32_t kViewChecker = 8;    // side of a checkerboard square
constexpr uint8_t kViewCheckerLight = 0xCC;
constexpr uint8_t kViewCheckerDark = 0x88;
constexpr uint8_t kViewBackground = 0x30;
constexpr uint8_t kViewInk = 0xFF;     // caption text
constexpr int32_t kViewGlyphWidth = 5;
constexpr int32_t kViewGlyphHeight = 7;
constexpr int32_t kViewGlyphAdvance = 6;

// Where everything goes: the left of each level's panels, the top of each
// row, the caption's top and the picture's size.
struct ViewLayout {
  int32_t width = 0;
  int32_t height = 0;
  std::vector<int32_t> levelX;
  std::vector<int32_t> rowY;
  int32_t captionY = 0;
};

// True when some texel of some level is below full alpha.
bool ViewHasAlpha(const PVR_Decoded &texture);

ViewLayout ViewLayoutOf(const PVR_Decoded &texture, const std::string &caption);

// "256x256 RGB565 TW MIP GI 7": size, pixel format, texture type, "MIP" for
// mipmapped types, the global index ("GI -" without one); an archive entry's
// name goes first and its palette bank (when >= 0) last as "BANK 3".
std::string ViewCaption(const PVR_Decoded &texture, const std::string &entryName, uint32_t globalIndex,
                        bool hasGlobalIndex, int32_t paletteBank);

ViewPicture ViewRender(const PVR_Decoded &texture, const std::string &caption);

// Draws `text` with its top left at (x, y) in the ink colour; characters
// outside printable ASCII are drawn as '?'. Clipped to the picture.
void ViewDrawText(ViewPicture *picture, int32_t x, int32_t y, const std::string &text);

// The picture as a PNG file's bytes; false with the reason.
bool ViewEncodePNG(const ViewPicture &picture, std::vector<uint8_t> *png, std::string *error);

// The program: vkview FILE.pvr|FILE.pvm [-o OUT]. Returns the process status.
int RunViewer(int argc, char **argv);
