// The palettized encoder: a palette file (.pvp) and a PVR file of twiddled
// 4- or 8-bit indices.
#include <cstdio>
#include <new>

#include "base/console.h"
#include "base/file_names.h"
#include "texture/pvr_encode.h"
#include "texture/pvr_format.h"
#include "texture/pvr_texels.h"
#include "texture/texture_io.h"

namespace {

using namespace pvr_encode;

// Pixel formats a palette entry can be written in.
int32_t PaletteFormat(int32_t requested) {
  switch (requested) {
    case kPixARGB1555:
    case kPixRGB565:
    case kPixARGB4444:
    case kPixARGB8888:
      return requested;
    default:
      PrintWarning("Warning : Pixel format %d is not supported for palettes; using RGB565\n", requested);
      return kPixRGB565;
  }
}

// The palette file: "PVPL", 8 + entry data + pad, pixel format, bank, first
// entry, entry count (16 bits each), the entries from the first one on, zero
// padding of the entry data to a multiple of 8. Entries past the end of the
// palette are written as 0.
std::vector<uint8_t> PaletteFile(const PVR_Palette &palette, int32_t pixelFormat) {
  const uint32_t entrySize = pixelFormat == kPixARGB8888 ? 4 : 2;
  const uint32_t dataSize = entrySize * static_cast<uint32_t>(palette.entryCount);
  const uint32_t pad = (8 - dataSize % 8) % 8;
  std::vector<uint8_t> out;
  pvr::PutName(out, pvr::kPVPL);
  pvr::Put32(out, 8 + dataSize + pad);
  pvr::Put16(out, static_cast<uint32_t>(pixelFormat));
  pvr::Put16(out, static_cast<uint32_t>(palette.bank));
  pvr::Put16(out, static_cast<uint32_t>(palette.firstEntry));
  pvr::Put16(out, static_cast<uint32_t>(palette.entryCount));
  for (int32_t i = 0; i < palette.entryCount; ++i) {
    const size_t at = static_cast<size_t>(palette.firstEntry) + i;
    const uint32_t argb = at < palette.entries.size() ? palette.entries[at] : 0;
    const uint32_t a = argb >> 24, r = (argb >> 16) & 0xFF, g = (argb >> 8) & 0xFF, b = argb & 0xFF;
    switch (pixelFormat) {
      case kPixARGB1555:
        pvr::Put16(out, pvr::PackARGB1555(a, r, g, b));
        break;
      case kPixARGB4444:
        pvr::Put16(out, pvr::PackARGB4444(a, r, g, b));
        break;
      case kPixARGB8888:
        pvr::Put32(out, argb);
        break;
      default:
        pvr::Put16(out, pvr::PackRGB565(r, g, b));
        break;
    }
  }
  out.resize(out.size() + pad, 0);
  return out;
}

// The indices, one per texel in row order.
std::vector<uint8_t> Unpack(const PVR_PalImage &image) {
  if (image.bitsPerPixel == 8) return image.indices;
  std::vector<uint8_t> out(static_cast<size_t>(image.width) * image.height);
  for (size_t i = 0; i < out.size(); ++i)
    out[i] = (i % 2 == 0) ? image.indices[i / 2] >> 4 : image.indices[i / 2] & 0x0F;
  return out;
}

// Twiddled index data: one byte per texel at 8 bits; at 4 bits two per byte,
// the first of each pair in the high half.
std::vector<uint8_t> IndexData(const PVR_PalImage &image) {
  const std::vector<uint8_t> rows = Unpack(image);
  std::vector<uint8_t> twiddled(rows.size());
  Twiddle(rows.data(), image.width, image.height, twiddled.data());
  if (image.bitsPerPixel == 8) return twiddled;
  std::vector<uint8_t> packed(twiddled.size() / 2);
  for (size_t i = 0; i < packed.size(); ++i)
    packed[i] = static_cast<uint8_t>(twiddled[2 * i] << 4 | (twiddled[2 * i + 1] & 0x0F));
  return packed;
}

bool CheckPalettized(const PVR_Settings &settings, const PVR_Palette &palette, const PVR_PalImage &image) {
  if (image.bitsPerPixel != 4 && image.bitsPerPixel != 8) {
    PrintError("Error : %s: %d bits per texel can't be palettized\n", settings.inputName.c_str(), image.bitsPerPixel);
    return false;
  }
  if (!CheckEncoderSize(image.width, image.height)) return false;
  if (image.indices.size() != static_cast<size_t>(image.width) * image.height * image.bitsPerPixel / 8) {
    PrintError("Error : %s: the index data does not match the size %dx%d\n", settings.inputName.c_str(), image.width,
               image.height);
    return false;
  }
  const int32_t limit = 1 << image.bitsPerPixel;
  if (palette.firstEntry < 0 || palette.entryCount < 0 || palette.firstEntry + palette.entryCount > limit ||
      palette.bank < 0 || palette.bank > 0xFFFF) {
    PrintError("Error : %s: palette bank %d, entries %d to %d are out of range\n", settings.inputName.c_str(),
               palette.bank, palette.firstEntry, palette.firstEntry + palette.entryCount - 1);
    return false;
  }
  return true;
}

}  // namespace

bool PVR_EncodePalettized(PVR_Settings *settings, const PVR_Palette &palette, const PVR_PalImage &image) {
  if (!CheckPalettized(*settings, palette, image)) return false;
  char paletteName[kNameSize];
  char textureName[kNameSize];
  std::snprintf(paletteName, sizeof paletteName, "%s", settings->outputName.c_str());
  std::snprintf(textureName, sizeof textureName, "%s", settings->outputName.c_str());
  ReplaceSuffix(paletteName, ".pvp");
  ReplaceSuffix(textureName, ".pvr");
  if (settings->outputName.empty()) paletteName[0] = textureName[0] = '\0';

  const int32_t pixelFormat = PaletteFormat(palette.pixelFormat);
  const bool fourBits = image.bitsPerPixel == 4;
  try {
    const std::vector<uint8_t> paletteFile = PaletteFile(palette, pixelFormat);
    const std::vector<uint8_t> indices = IndexData(image);
    std::vector<uint8_t> file =
        FileHead(pvr::Category(pixelFormat, fourBits ? pvr::kTypePal4 : pvr::kTypePal8), image.width, image.height,
                 settings->globalIndex, true, static_cast<uint32_t>(indices.size()));
    file.insert(file.end(), indices.begin(), indices.end());

    // Both files are written to temporaries first and go into place only
    // together: a failure keeps the older pair, never a new palette beside
    // an old texture.
    if (!WriteFile(paletteName, paletteFile, true)) return false;
    PrintInfo("\nConvert BMP to PVP\n");
    if (!WriteFile(textureName, file, true)) {
      PVR_DiscardTemporaryFile(paletteName);
      return false;
    }
    if (!PVR_CommitTemporaryFile(paletteName)) {
      PVR_DiscardTemporaryFile(textureName);
      PrintError("Error : Can't write file %s\n", paletteName);
      return false;
    }
    if (!PVR_CommitTemporaryFile(textureName)) {
      PrintError("Error : Can't write file %s\n", textureName);
      return false;
    }
    PrintInfo("Convert BMP to PVR\n");
  } catch (const std::bad_alloc &) {
    PrintWarning("Warning : Error Memory Allocation!!.\n");
    return false;
  }
  PVR_TexInfo &info = settings->info;
  info.width = image.width;
  info.height = image.height;
  info.globalIndex = settings->globalIndex;
  info.pixelFormat = pixelFormat;
  info.textureFormat = fourBits ? kTexFormatPal4 : kTexFormatPal8;
  info.mipmap = 0;
  info.skipped = 0;
  return true;
}
