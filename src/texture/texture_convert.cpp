// The per-texture conversion: find the source and read its header, decide the
// texture format (with the VQ size checks) and the mipmaps, print the input
// tags, then load the image and run the encoder of the format.
#include "texture/texture_convert.h"

#include <utility>

#include "base/console.h"
#include "texture/image_read.h"
#include "texture/pvr_encode.h"
#include "texture/vq.h"

namespace {

// Full VQ is refused for square textures of this side or less; they are
// written twiddled instead.
constexpr int32_t kVQSmallestSide = 32;

struct PaletteTag {
  int32_t pixelFormat;
  const char *tag;
};
// Palette pixel formats by the tag printed before a palettized encoding.
constexpr PaletteTag kPaletteTags[] = {
    {kPixARGB1555, "[ARGB1555]"}, {kPixRGB565, "[RGB565]"}, {kPixARGB4444, "[ARGB4444]"}, {kPixARGB8888, "[ARGB8888]"}};

const char *PaletteTagOf(int32_t pixelFormat) {
  for (const PaletteTag &row : kPaletteTags)
    if (row.pixelFormat == pixelFormat) return row.tag;
  return "[XXXX]";
}

bool KeepsMipmaps(int32_t format) {
  return format == kTexFormatTwiddled || format == kTexFormatVQ || format == kTexFormatSmallVQ ||
         format == kTexFormatPal4 || format == kTexFormatPal8;
}

bool IsPalettized(int32_t format) {
  return format == kTexFormatPal4 || format == kTexFormatPal8 || format == kTexFormatPalFromBmp;
}

// Loads the image (output name, reader, alpha classification, automatic
// pixel format) and hands it to an encoder.
template <typename Encode>
bool LoadAndEncode(PVR_Settings *work, Encode encode) {
  PVR_Image image;
  if (!PVR_LoadImage(work, &image)) return false;
  return encode(work, std::move(image));
}

bool EncodeVQ(PVR_Settings *work, PVR_Image image) {
  const int32_t width = image.width, height = image.height;
  const PVR_VQHooks hooks{[](PVR_Image *level, const PVR_Settings &settings) {
                            PVR_Dither(level, settings.pixelFormat, settings.alphaDither != 0);
                          },
                          PVR_SetMipmaps};
  if (!PVR_EncodeVQ(work, std::move(image), hooks)) return false;
  PVR_TexInfo &info = work->info;
  info.width = width;
  info.height = height;
  info.pixelFormat = work->pixelFormat;
  info.textureFormat = work->textureFormat;
  info.mipmap = work->vqMipmap != 0 ? 1 : 0;
  info.skipped = 0;
  return true;
}

bool EncodePalettized(PVR_Settings *work) {
  PrintInfo("[Palettized]");
  PrintInfo("[Twiddled]");
  PrintInfo("%s", PaletteTagOf(work->pixelFormat));
  PrintInfo("[Bank %d]", work->paletteBank);
  PVR_DeriveOutputName(work);
  PVR_Palette palette;
  PVR_PalImage image;
  std::string why;
  if (PVR_ReadPalettizedBMP(work->inputName.c_str(), work, &palette, &image, &why) != kPalOk) {
    PrintWarning("Warning : This Input File is Falture!!.\n");
    if (!why.empty()) PrintNote("%s\n", why.c_str());
    return false;
  }
  return PVR_EncodePalettized(work, palette, image);
}

// Prints the format's tag and runs its encoder; true when the file was
// written.
bool Encode(PVR_Settings *work, int32_t format) {
  switch (format) {
    case kTexFormatTwiddled:
      PrintInfo("[Twiddled]");
      return LoadAndEncode(work, PVR_EncodeTwiddled);
    case kTexFormatRectangle:
    case kTexFormatStride: {
      const bool stride = format == kTexFormatStride;
      PrintInfo(stride ? "[Stride]" : "[Rectangle]");
      return LoadAndEncode(work, [stride](PVR_Settings *s, PVR_Image image) {
        return PVR_EncodeRectangle(s, std::move(image), stride);
      });
    }
    case kTexFormatVQ:
    case kTexFormatSmallVQ:
      PrintInfo("%s", PVR_VQTag(format, work->vqAlgorithm));
      return LoadAndEncode(work, EncodeVQ);
    default:
      if (IsPalettized(format)) return EncodePalettized(work);
      PrintError("Error : Texture format %d can't be converted\n", format);
      return false;
  }
}

}  // namespace

int PVR_ConvertTexture(PVR_Settings *settings) {
  PVR_Settings work = *settings;
  settings->info = PVR_FreshTexInfo();
  work.info = PVR_FreshTexInfo();
  if (!PVR_FindSource(&work)) return 0;
  const int32_t width = work.info.width, height = work.info.height;

  int32_t format = work.textureFormat != kTexFormatNone ? work.textureFormat : work.info.textureFormat;
  if (format == kTexFormatVQ) {
    if (width != height) {
      PrintWarning("Warning : Bad size. Ignore VQ option.\n");
      format = kTexFormatRectangle;
    } else if (width <= kVQSmallestSide && (work.vqAlgorithm == 3 || work.vqAlgorithm == 4)) {
      PrintWarning("Warning : Too small size. Use Twiddled.\n");
      format = kTexFormatTwiddled;
    }
  }
  if (!KeepsMipmaps(format)) work.autoMipmap = 0;
  work.textureFormat = format;

  PrintInfo("[INPUT] %s(%dx%d) ", work.inputName.c_str(), width, height);
  if (format != kTexFormatVQ) PrintInfo(work.autoMipmap ? "[AUTO MIPMAP]" : "[AUTO MIPMAP OFF]");
  if (work.autoForm) PrintInfo("[AUTO FORM]");
  if (work.alphaDither) {
    work.dither = 1;
    PrintInfo("[ALPHA DITHER]");
  }
  if (work.dither) PrintInfo("[DITHER]");

  if (!Encode(&work, format)) return 0;
  PrintInfo("\n[OUTPUT] %s\n", work.outputName.c_str());
  settings->info = work.info;
  return 1;
}
