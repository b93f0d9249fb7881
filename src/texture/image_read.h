// Source image readers of the texture converter (BMP, PIC, PIX, TGA), the
// palettized BMP reader, and the two driver steps that sit on them: finding a
// texture's source file and loading its image for an encoder.
//
// Failures: every reader prints the converter's own message where it has one
// (framed messages, "Error: Not support BMP type ..."). A malformed file
// (truncated data, zero or absurd sizes, runs or size fields pointing past the
// data) is refused without a message of its own; the reason then comes back in
// `why` (when given) so that the caller can print it under its
// "Error : Can't read file %s" line. `why` is left empty whenever the reader
// has already said what went wrong.
#pragma once

#include <cstdio>
#include <string>

#include "texture/texture_types.h"

// Sides above this are refused by every reader as absurd (accepted textures
// are at most 1024 per side; larger images are still read so that the
// encoders can refuse them with their size messages).
constexpr int kPVRMaxSourceSide = 4096;

// Status of the palettized BMP reader.
enum PVR_PalStatus : int {
  kPalOk = 0,
  kPalCantOpen = -1,
  kPalNotBMP = -2,
  kPalBadDepth = -3,
  kPalMalformed = -4,  // truncated or inconsistent file; the reason is in `why`
  kPalBadSize = -5,
  kPalNoMemory = -6,
};

// Opens a source file as named, else as "./" followed by its base name (both
// '/' and '\' separate directories). Stores the path that opened in `found`.
// Null when neither opens.
FILE *PVR_OpenSource(const char *name, std::string *found);

// Header reader of one format: opens the file with PVR_OpenSource and fills
// width, height, source type, default texture format, bad-size flag and found
// path of `info` (BMP also sets alpha kind 1). Returns 1, or 0 on failure.
int PVR_ReadHeader(PVR_SourceType type, const char *name, PVR_TexInfo *info,
                   std::string *why = nullptr);

// Image reader of one format: opens `name` as named. The BMP reader takes its
// translucent bitmap from beside the file ("t" before the file name) or else
// from settings.bmpAlphaName; the PIX reader its mask from
// settings.pixMaskName. Returns 1, or 0 with the image left empty.
int PVR_ReadImage(PVR_SourceType type, const char *name, const PVR_Settings &settings,
                  PVR_Image *image, std::string *why = nullptr);

// Palettized 4- and 8-bit BMP reader; may turn a requested format 20 into 6
// or 7 and narrow the palette range of `settings`. The palette always holds 16
// (4 bits) or 256 (8 bits) entries; entries the file does not give are opaque
// black. Returns kPalOk or a negative PVR_PalStatus.
int PVR_ReadPalettizedBMP(const char *name, PVR_Settings *settings, PVR_Palette *palette,
                          PVR_PalImage *image, std::string *why = nullptr);

// The translucent bitmap looked for beside a BMP: the same directory, "t" and
// the same file name ("tex\wood.bmp" gives "tex\twood.bmp").
std::string PVR_TranslucentName(const char *name);

// The suffix of a path: the text from the last '.' of its base name, or ""
// when the base name has none.
std::string PVR_Suffix(const char *name);
// The path with the suffix of its base name replaced by `suffix` (appended
// when the base name has none).
std::string PVR_WithSuffix(const char *name, const char *suffix);
// The source type of a suffix compared without regard to case (".bmp",
// ".pic", ".tga", ".pix"), or kSourceNone.
PVR_SourceType PVR_SourceTypeOfSuffix(const std::string &suffix);

// Finds the source of settings->inputName (as named or "./" + base name; the
// path that opened becomes the input name), determines its type by suffix or,
// without a suffix, by trying the four header readers, and fills
// settings->info with the header. Returns 1, or 0 when the texture cannot be
// converted (messages printed).
int PVR_FindSource(PVR_Settings *settings);

// The output name when none is set: the input name with the suffix ".pvr",
// moved into the output directory when there is one.
void PVR_DeriveOutputName(PVR_Settings *settings);

// Image loading for the encoders: derives the output name when empty, reads
// the image with the reader of its suffix (or of the source type found),
// classifies its alpha into settings->info.alphaKind, chooses the pixel format
// with auto form, and prints the tags. Returns 1, or 0 with messages printed.
int PVR_LoadImage(PVR_Settings *settings, PVR_Image *image);

// Alpha classification of a loaded image: 1 none below 255, 2 every such texel
// at 0, 3 otherwise; `below` receives the count of texels below 255.
int PVR_ClassifyAlpha(const PVR_Image &image, long *below);

// Name of a pixel format code for the "[%s]" tag ("ARGB1555" ... "RGB555"),
// "XXXX" for any other code.
const char *PVR_PixelFormatName(int32_t code);
