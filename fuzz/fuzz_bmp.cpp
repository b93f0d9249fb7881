// BMP header and 24-bit reader with a translucent bitmap (flags bit 0), and
// the palettized reader with an alpha file (flags bit 1; bits 2-3 choose the
// requested format).
#include <cstdlib>

#include "fuzz_common.h"
#include "texture/image_read.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  fuzz::Parts parts = fuzz::Split(data, size);
  const std::string image = fuzz::Path("img.bmp"), translucent = fuzz::Path("timg.bmp");
  fuzz::Write(image, parts.first, parts.firstSize);
  if (parts.flags & 1) fuzz::Write(translucent, parts.second, parts.secondSize);
  else std::remove(translucent.c_str());

  std::string why;
  PVR_TexInfo info = PVR_FreshTexInfo();
  if (PVR_ReadHeader(kSourceBMP, image.c_str(), &info, &why) && (info.width < 1 || info.height < 1)) std::abort();
  PVR_Settings settings;
  PVR_Image read;
  int ok = PVR_ReadImage(kSourceBMP, image.c_str(), settings, &read, &why);
  if (read.texels.size() != (ok ? 4u * read.width * read.height : 0u)) std::abort();

  if (parts.flags & 2) {
    constexpr int32_t kFormats[] = {kTexFormatPal4, kTexFormatPal8, kTexFormatPalFromBmp, kTexFormatTwiddled};
    settings.textureFormat = kFormats[(parts.flags >> 2) & 3];
    settings.paletteFirst = parts.flags >> 4;
    settings.paletteCount = 250;
    settings.bmpAlphaName = translucent;
    PVR_Palette palette;
    PVR_PalImage indices;
    if (PVR_ReadPalettizedBMP(image.c_str(), &settings, &palette, &indices, &why) == kPalOk) {
      size_t expected = static_cast<size_t>(indices.width) * indices.height * indices.bitsPerPixel / 8;
      if (indices.indices.size() != expected || palette.entries.size() != (1u << indices.bitsPerPixel)) std::abort();
    }
  }
  return 0;
}
