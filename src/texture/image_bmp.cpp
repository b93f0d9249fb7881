// BMP header and 24-bit image reader, with the translucent bitmap that gives
// the image its alpha (255 minus its red, so black is opaque).
#include <new>
#include <vector>

#include "base/console.h"
#include "texture/image_source.h"
#include "texture/texture_io.h"

namespace pvr_read {
namespace {

constexpr long kBmpHeaderSize = 54;

// The fields of a BMP header that the readers use.
struct BmpLayout {
  int64_t width = 0;
  int64_t height = 0;  // rows; the file's sign is in topDown
  bool topDown = false;
  int bitsPerPixel = 0;
  uint32_t compression = 0;
  uint32_t colorsUsed = 0;
  long paletteOffset = 0;
  long dataOffset = 0;
  long rowSize = 0;
};

// Reads the 54-byte header. False (with a reason) when the file is shorter.
bool ReadLayout(SourceFile &file, BmpLayout *layout, std::string *why) {
  uint8_t head[kBmpHeaderSize];
  if (!file.Seek(0) || !file.Read(head, sizeof head)) {
    SetWhy(why, "The BMP header is cut short: the file holds %ld of its %ld bytes.", file.Size(),
           kBmpHeaderSize);
    return false;
  }
  int32_t height = Le32s(head + 22);
  layout->width = Le32s(head + 18);
  layout->topDown = height < 0;
  layout->height = height < 0 ? -static_cast<int64_t>(height) : height;
  layout->bitsPerPixel = static_cast<int>(Le16(head + 28));
  layout->compression = Le32(head + 30);
  layout->colorsUsed = Le32(head + 46);
  uint32_t infoSize = Le32(head + 14);
  layout->paletteOffset = 14 + static_cast<long>(infoSize < 40 || infoSize > 1024 ? 40 : infoSize);
  return true;
}

// Completes the layout for rows of `bitsPerPixel` and checks that the sizes
// are sane and the rows lie inside the file.
bool PlaceRows(const SourceFile &file, BmpLayout *layout, long paletteBytes, const uint8_t *head,
               std::string *why) {
  if (!SidesUsable(layout->width, layout->height, why)) return false;
  layout->rowSize = static_cast<long>((layout->width * layout->bitsPerPixel + 31) / 32 * 4);
  uint32_t declared = Le32(head + 10);
  layout->dataOffset = declared >= kBmpHeaderSize ? static_cast<long>(declared)
                                                    : layout->paletteOffset + paletteBytes;
  int64_t end = layout->dataOffset + static_cast<int64_t>(layout->rowSize) * layout->height;
  if (end > file.Size()) {
    SetWhy(why, "The BMP pixel rows run from byte %ld to byte %lld, past the end of the file (%ld bytes).",
           layout->dataOffset, static_cast<long long>(end), file.Size());
    return false;
  }
  return true;
}

// Image row of the file's row `row`.
int32_t ImageRow(const BmpLayout &layout, int64_t row) {
  return static_cast<int32_t>(layout.topDown ? row : layout.height - 1 - row);
}

// Reads the 24-bit rows into the image's colours.
bool ReadColourRows(SourceFile &file, const BmpLayout &layout, PVR_Image *image) {
  std::vector<uint8_t> row(static_cast<size_t>(layout.rowSize));
  if (!file.Seek(layout.dataOffset)) return false;
  for (int64_t r = 0; r < layout.height; ++r) {
    if (!file.Read(row.data(), row.size())) return false;
    uint8_t *texel = image->At(0, ImageRow(layout, r));
    const uint8_t *in = row.data();
    for (int64_t x = 0; x < layout.width; ++x, texel += 4, in += 3) {
      texel[kTexelR] = in[2];
      texel[kTexelG] = in[1];
      texel[kTexelB] = in[0];
    }
  }
  return true;
}

// Red of texel x in a row of the translucent bitmap, for every depth it may
// have: palette indices of 1, 4 or 8 bits, 16-bit X1R5G5B5 (five bits widened
// to eight so that white reads 255), 24- and 32-bit blue, green, red (, x).
uint8_t RowRed(const BmpLayout &layout, const uint8_t *row, int64_t x, const std::vector<uint8_t> &paletteRed) {
  switch (layout.bitsPerPixel) {
    case 1:
    case 4:
    case 8: {
      int64_t bit = x * layout.bitsPerPixel;
      unsigned index = (row[bit / 8] >> (8 - layout.bitsPerPixel - bit % 8)) & ((1u << layout.bitsPerPixel) - 1);
      return index < paletteRed.size() ? paletteRed[index] : 0;
    }
    case 16: {
      unsigned red = (Le16(row + 2 * x) >> 10) & 31;
      return static_cast<uint8_t>(red << 3 | red >> 2);
    }
    case 24: return row[3 * x + 2];
    default: return row[4 * x + 2];
  }
}

bool DepthReadable(const BmpLayout &layout) {
  int bits = layout.bitsPerPixel;
  bool known = bits == 1 || bits == 4 || bits == 8 || bits == 16 || bits == 24 || bits == 32;
  return known && layout.compression == 0;
}

// Applies the translucent bitmap `alphaName` to the image. Returns false only
// when the file is malformed; a bitmap of another size or an unreadable depth
// is ignored with a warning.
bool ApplyTranslucent(SourceFile &file, const char *alphaName, PVR_Image *image, std::string *why) {
  BmpLayout layout;
  std::string inner;
  if (!ReadLayout(file, &layout, &inner)) {
    SetWhy(why, "Translucent bitmap %s: %s", alphaName, inner.c_str());
    return false;
  }
  if (layout.width != image->width || layout.height != image->height) {
    PrintWarning("Warning : %s. The translucent bitmap is not the same size. It is ignored.\n", alphaName);
    return true;
  }
  if (!DepthReadable(layout)) {
    PrintWarning("Warning : %s. The translucent bitmap of depth %d (compression %u) cannot be read. It is ignored.\n",
                 alphaName, layout.bitsPerPixel, layout.compression);
    return true;
  }
  std::vector<uint8_t> paletteRed;
  if (layout.bitsPerPixel <= 8) {
    uint32_t count = layout.colorsUsed != 0 ? layout.colorsUsed : 1u << layout.bitsPerPixel;
    if (count > (1u << layout.bitsPerPixel)) {
      SetWhy(why, "Translucent bitmap %s: its header claims %u palette colours for %d bits a pixel.", alphaName,
             count, layout.bitsPerPixel);
      return false;
    }
    std::vector<uint8_t> palette(4 * static_cast<size_t>(count));
    if (!file.Seek(layout.paletteOffset) || !file.Read(palette.data(), palette.size())) {
      SetWhy(why, "Translucent bitmap %s: the file ends inside its palette.", alphaName);
      return false;
    }
    for (uint32_t i = 0; i < count; ++i) paletteRed.push_back(palette[4 * i + 2]);
  }
  uint8_t head[kBmpHeaderSize];
  file.Seek(0);
  file.Read(head, sizeof head);
  if (!PlaceRows(file, &layout, 4 * static_cast<long>(paletteRed.size()), head, &inner)) {
    SetWhy(why, "Translucent bitmap %s: %s", alphaName, inner.c_str());
    return false;
  }
  PrintInfo("[READ ALPHA]");
  std::vector<uint8_t> row(static_cast<size_t>(layout.rowSize));
  file.Seek(layout.dataOffset);
  for (int64_t r = 0; r < layout.height; ++r) {
    if (!file.Read(row.data(), row.size())) {
      SetWhy(why, "Translucent bitmap %s: the file could not be read to its end.", alphaName);
      return false;
    }
    uint8_t *texel = image->At(0, ImageRow(layout, r));
    for (int64_t x = 0; x < layout.width; ++x, texel += 4) {
      texel[kTexelA] = static_cast<uint8_t>(255 - RowRed(layout, row.data(), x, paletteRed));
    }
  }
  return true;
}

}  // namespace

int ReadHeaderBMP(SourceFile &file, const char *, PVR_TexInfo *info, std::string *why) {
  uint8_t sizes[8];
  if (!file.Seek(18) || !file.Read(sizes, sizeof sizes)) {
    SetWhy(why, "The file ends before the width and height of a BMP header (%ld bytes).", file.Size());
    return 0;
  }
  int64_t width = Le32s(sizes);
  int64_t height = Le32s(sizes + 4);
  if (height < 0) height = -height;  // rows stored from the top down
  if (!SidesUsable(width, height, why)) return 0;
  info->width = static_cast<int32_t>(width);
  info->height = static_cast<int32_t>(height);
  info->alphaKind = kAlphaNone;
  return 1;
}

int ReadImageBMP(const char *name, const PVR_Settings &settings, PVR_Image *image, std::string *why) {
  SourceFile file;
  if (!file.Open(name)) {
    PVR_ShowFramed("Could not open %s\nABORTING PROGRAM", name);
    return FailImage(image);
  }
  BmpLayout layout;
  uint8_t head[kBmpHeaderSize];
  if (file.Size() >= 30 && file.Seek(28) && file.Read(head, 2) && Le16(head) != 24) {
    PrintError("Error: Not support BMP type %s depth %d\n", name, static_cast<int>(Le16(head)));
    return FailImage(image);
  }
  if (!ReadLayout(file, &layout, why)) return FailImage(image);
  if (layout.compression != 0) {
    SetWhy(why, "The 24-bit BMP declares compression method %u; only plain rows are read.", layout.compression);
    return FailImage(image);
  }
  file.Seek(0);
  file.Read(head, sizeof head);
  if (!PlaceRows(file, &layout, 0, head, why)) return FailImage(image);
  try {
    StartImage(image, static_cast<int32_t>(layout.width), static_cast<int32_t>(layout.height));
  } catch (const std::bad_alloc &) {
    PVR_ShowFramed("Not enough memory\nABORTING PROGRAM");
    return FailImage(image);
  }
  if (!ReadColourRows(file, layout, image)) {
    SetWhy(why, "The BMP file could not be read to its end.");
    return FailImage(image);
  }

  std::string alphaName = PVR_TranslucentName(name);
  SourceFile alpha;
  if (!alpha.Open(alphaName.c_str())) {
    if (settings.bmpAlphaName.empty() || !alpha.Open(settings.bmpAlphaName.c_str())) return 1;
    alphaName = settings.bmpAlphaName;
  }
  if (!ApplyTranslucent(alpha, alphaName.c_str(), image, why)) return FailImage(image);
  return 1;
}

}  // namespace pvr_read
