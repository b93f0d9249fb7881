// Palettized 4- and 8-bit BMP reader for palettized output, with the optional
// alpha palette taken from the red of a second BMP's palette.
#include <cstring>
#include <new>
#include <vector>

#include "base/console.h"
#include "texture/image_source.h"

namespace pvr_read {
namespace {

constexpr long kHeaderSize = 54;  // file header and 40-byte information block

struct PalHeader {
  int32_t width = 0;
  int32_t height = 0;
  int bitsPerPixel = 0;
  uint32_t compression = 0;
  uint32_t colorsUsed = 0;
  uint32_t dataOffset = 0;
  long paletteOffset = 0;
};

bool ReadPalHeader(SourceFile &file, PalHeader *header) {
  uint8_t head[kHeaderSize];
  if (!file.Seek(0) || !file.Read(head, sizeof head)) return false;
  uint32_t infoSize = Le32(head + 14);
  header->dataOffset = Le32(head + 10);
  header->width = Le32s(head + 18);
  header->height = Le32s(head + 22);
  header->bitsPerPixel = static_cast<int>(Le16(head + 28));
  header->compression = Le32(head + 30);
  header->colorsUsed = Le32(head + 46);
  header->paletteOffset = 14 + static_cast<long>(infoSize < 40 || infoSize > 1024 ? 40 : infoSize);
  return true;
}

// The palette's colour count: the used-colour count, or all colours of the
// depth when it is 0. Zero when the header claims more than the depth holds.
uint32_t ColourCount(const PalHeader &header) {
  uint32_t full = 1u << header.bitsPerPixel;
  uint32_t count = header.colorsUsed != 0 ? header.colorsUsed : full;
  return count <= full ? count : 0;
}

// Reads `count` palette entries (blue, green, red, reserved).
bool ReadPaletteBytes(SourceFile &file, const PalHeader &header, uint32_t count, std::vector<uint8_t> *bytes) {
  bytes->resize(4 * static_cast<size_t>(count));
  return file.Seek(header.paletteOffset) && file.Read(bytes->data(), bytes->size());
}

int Malformed(std::string *why, const char *text, const char *name) {
  SetWhy(why, "%s: %s", name, text);
  return kPalMalformed;
}

// Gives the palette the alpha of the alpha file's palette reds.
int ApplyAlphaPalette(const char *alphaName, const PalHeader &image, uint32_t imageCount, PVR_Palette *palette,
                      std::string *why) {
  SourceFile file;
  if (!file.Open(alphaName)) return kPalOk;
  PalHeader header;
  if (!ReadPalHeader(file, &header)) return Malformed(why, "the alpha file's header is cut short.", alphaName);
  if (header.bitsPerPixel != image.bitsPerPixel || header.width != image.width || header.height != image.height) {
    PrintInfo("Cannot use This BMP File for Alpha File!!\n");
    PrintNote("%s: its depth or size differs from the image's; the palette keeps alpha 255.\n", alphaName);
    return kPalOk;
  }
  uint32_t count = ColourCount(header);
  if (count == 0) return Malformed(why, "the alpha file claims more palette colours than its depth holds.", alphaName);
  std::vector<uint8_t> bytes;
  if (!ReadPaletteBytes(file, header, count, &bytes)) {
    return Malformed(why, "the alpha file ends inside its palette.", alphaName);
  }
  for (uint32_t i = 0; i < count && i < imageCount; ++i) {
    palette->entries[i] = (palette->entries[i] & 0x00FFFFFFu) | static_cast<uint32_t>(bytes[4 * i + 2]) << 24;
  }
  PrintInfo("This BMP File could use for Alpha File\n");
  return kPalOk;
}

}  // namespace
}  // namespace pvr_read

using namespace pvr_read;

int PVR_ReadPalettizedBMP(const char *name, PVR_Settings *settings, PVR_Palette *palette, PVR_PalImage *image,
                          std::string *why) {
  if (why != nullptr) why->clear();
  *image = PVR_PalImage{};
  SourceFile file;
  if (!file.Open(name)) return kPalCantOpen;
  uint8_t magic[2];
  if (!file.Read(magic, 2) || magic[0] != 'B' || magic[1] != 'M') return kPalNotBMP;
  PalHeader header;
  if (!ReadPalHeader(file, &header)) return Malformed(why, "the BMP header is cut short.", name);

  // Depth: requested by the format, or taken from the file (format 20).
  int bits = header.bitsPerPixel;
  int32_t format = settings->textureFormat;
  if (format == kTexFormatPalFromBmp && (bits == 4 || bits == 8)) {
    int32_t full = bits == 4 ? 16 : 256;
    settings->textureFormat = bits == 4 ? kTexFormatPal4 : kTexFormatPal8;
    if (settings->paletteFirst + settings->paletteCount > full) {
      settings->paletteFirst = 0;
      settings->paletteCount = full;
    }
  } else if (!((format == kTexFormatPal4 && bits == 4) || (format == kTexFormatPal8 && bits == 8))) {
    return kPalBadDepth;
  }
  PrintInfo(bits == 4 ? "[4BPP]" : "[8BPP]");

  auto sideOk = [](int32_t side) { return side >= 8 && PVR_IsSide(side); };
  if (!sideOk(header.width) || !sideOk(header.height)) return kPalBadSize;
  if (header.compression != 0) return Malformed(why, "the BMP is compressed; only plain index rows are read.", name);

  uint32_t count = ColourCount(header);
  if (count == 0) return Malformed(why, "the BMP claims more palette colours than its depth holds.", name);
  std::vector<uint8_t> bytes;
  if (!ReadPaletteBytes(file, header, count, &bytes)) return Malformed(why, "the BMP ends inside its palette.", name);

  size_t rowBytes = static_cast<size_t>(header.width) * static_cast<size_t>(bits) / 8;
  size_t total = rowBytes * static_cast<size_t>(header.height);
  long paletteEnd = header.paletteOffset + static_cast<long>(bytes.size());
  long dataOffset = header.dataOffset >= static_cast<uint32_t>(paletteEnd) ? static_cast<long>(header.dataOffset)
                                                                           : paletteEnd;
  if (!file.Seek(dataOffset) || file.Remaining() < static_cast<long>(total)) {
    return Malformed(why, "the BMP's index rows run past the end of the file.", name);
  }
  try {
    image->indices.resize(total);
    palette->entries.assign(static_cast<size_t>(1) << bits, 0xFF000000u);
  } catch (const std::bad_alloc &) {
    *image = PVR_PalImage{};
    return kPalNoMemory;
  }
  for (int32_t row = header.height - 1; row >= 0; --row) {
    if (!file.Read(image->indices.data() + rowBytes * static_cast<size_t>(row), rowBytes)) {
      *image = PVR_PalImage{};
      return Malformed(why, "the BMP could not be read to its end.", name);
    }
  }
  image->width = header.width;
  image->height = header.height;
  image->bitsPerPixel = bits;

  for (uint32_t i = 0; i < count; ++i) {
    const uint8_t *e = &bytes[4 * i];
    palette->entries[i] = 0xFF000000u + e[2] * 65536u + e[1] * 256u + e[0];
  }
  palette->bank = settings->paletteBank;
  palette->pixelFormat = settings->pixelFormat;
  palette->firstEntry = settings->paletteFirst;
  palette->entryCount = settings->paletteCount != 0 ? settings->paletteCount : static_cast<int32_t>(count);

  const std::string &alpha = settings->bmpAlphaName;
  if (!alpha.empty() && alpha != name && alpha != settings->outputName) {
    int status = ApplyAlphaPalette(alpha.c_str(), header, count, palette, why);
    if (status != kPalOk) {
      *image = PVR_PalImage{};
      return status;
    }
  }
  return kPalOk;
}
