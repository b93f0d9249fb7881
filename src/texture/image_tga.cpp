// TGA header and image reader: 8-bit colour-mapped (or grey), 16-bit with a
// one-bit alpha, 24- and 32-bit pixels, plain or run-length packed; rows
// bottom row first.
#include <new>
#include <vector>

#include "base/console.h"
#include "texture/image_source.h"
#include "texture/texture_io.h"

namespace pvr_read {
namespace {

constexpr size_t kTgaHeaderSize = 18;
constexpr uint8_t kTypeRunLength = 8;  // added to the image type when packed

struct TgaHeader {
  uint8_t idLength;
  uint8_t mapType;
  uint8_t imageType;
  uint32_t mapFirst;
  uint32_t mapLength;
  uint8_t mapEntryBits;
  int32_t width;
  int32_t height;
  int bitsPerPixel;
};

TgaHeader ParseHeader(const uint8_t *h) {
  return TgaHeader{h[0], h[1], h[2], Le16(h + 3), Le16(h + 5), h[7], static_cast<int32_t>(Le16(h + 12)),
                   static_cast<int32_t>(Le16(h + 14)), h[16]};
}

// Colour of a 16-bit word: bit 15 alpha (255 or 0), five bits each of red,
// green and blue shifted left by 3.
void Put16(uint32_t word, uint8_t *texel) {
  texel[kTexelA] = (word & 0x8000) ? 255 : 0;
  texel[kTexelR] = static_cast<uint8_t>(((word >> 10) & 31) << 3);
  texel[kTexelG] = static_cast<uint8_t>(((word >> 5) & 31) << 3);
  texel[kTexelB] = static_cast<uint8_t>((word & 31) << 3);
}

// The colour map as texels (alpha 255): 24-bit entries blue, green, red; 32-bit
// the same and a byte passed over; 15- and 16-bit entries as 16-bit pixels.
bool ReadColourMap(SourceFile &file, const TgaHeader &header, std::vector<uint8_t> *map, std::string *why) {
  int entryBytes = (header.mapEntryBits + 7) / 8;
  if (header.mapEntryBits != 15 && header.mapEntryBits != 16 && header.mapEntryBits != 24 &&
      header.mapEntryBits != 32) {
    SetWhy(why, "The TGA colour map has entries of %d bits; 15, 16, 24 and 32 are read.", header.mapEntryBits);
    return false;
  }
  std::vector<uint8_t> bytes(static_cast<size_t>(entryBytes) * header.mapLength);
  if (!file.Read(bytes.data(), bytes.size())) {
    SetWhy(why, "The TGA colour map runs past the end of the file.");
    return false;
  }
  map->assign(4 * static_cast<size_t>(header.mapLength), 255);
  for (uint32_t i = 0; i < header.mapLength; ++i) {
    const uint8_t *in = &bytes[static_cast<size_t>(entryBytes) * i];
    uint8_t *texel = &(*map)[4 * i];
    if (entryBytes == 2) {
      Put16(Le16(in), texel);
      texel[kTexelA] = 255;
    } else {
      texel[kTexelR] = in[2];
      texel[kTexelG] = in[1];
      texel[kTexelB] = in[0];
    }
  }
  return true;
}

// Turns one pixel's bytes into a texel.
struct PixelDecoder {
  int bits;
  const std::vector<uint8_t> *map;  // colour-mapped 8-bit images
  uint32_t mapFirst;

  bool Put(const uint8_t *in, uint8_t *texel, std::string *why) const {
    switch (bits) {
      case 8:
        if (map == nullptr) {
          texel[kTexelR] = texel[kTexelG] = texel[kTexelB] = in[0];
        } else {
          uint32_t entry = in[0] - mapFirst;
          if (in[0] < mapFirst || 4 * static_cast<size_t>(entry) >= map->size()) {
            SetWhy(why, "A TGA pixel uses colour %d, outside the colour map of %zu entries from %u.", in[0],
                   map->size() / 4, mapFirst);
            return false;
          }
          const uint8_t *colour = &(*map)[4 * entry];
          texel[kTexelR] = colour[kTexelR];
          texel[kTexelG] = colour[kTexelG];
          texel[kTexelB] = colour[kTexelB];
        }
        return true;
      case 16: Put16(Le16(in), texel); return true;
      default:
        texel[kTexelR] = in[2];
        texel[kTexelG] = in[1];
        texel[kTexelB] = in[0];
        if (bits == 32) texel[kTexelA] = in[3];
        return true;
    }
  }
};

// Texel of pixel number n of the file (rows bottom row first).
uint8_t *TexelOf(PVR_Image *image, long n) {
  return image->At(static_cast<int32_t>(n % image->width), image->height - 1 - static_cast<int32_t>(n / image->width));
}

bool ReadPlain(SourceFile &file, const PixelDecoder &decoder, PVR_Image *image, std::string *why) {
  const size_t pixelBytes = static_cast<size_t>(decoder.bits) / 8;
  const size_t rowBytes = pixelBytes * static_cast<size_t>(image->width);
  std::vector<uint8_t> row(rowBytes);
  for (int32_t r = 0; r < image->height; ++r) {
    if (!file.Read(row.data(), row.size())) {
      SetWhy(why, "The TGA file could not be read to its end.");
      return false;
    }
    uint8_t *texel = image->At(0, image->height - 1 - r);
    for (int32_t x = 0; x < image->width; ++x, texel += 4) {
      if (!decoder.Put(&row[pixelBytes * static_cast<size_t>(x)], texel, why)) return false;
    }
  }
  return true;
}

// Packets of a one-byte head (top bit: one pixel repeated, else literal
// pixels; low seven bits: count - 1) running on across rows.
bool ReadRunLength(SourceFile &file, const PixelDecoder &decoder, PVR_Image *image, std::string *why) {
  const size_t pixelBytes = static_cast<size_t>(decoder.bits) / 8;
  const long total = static_cast<long>(image->width) * image->height;
  uint8_t pixel[4];
  for (long n = 0; n < total;) {
    uint8_t head;
    if (!file.Read(&head, 1)) {
      SetWhy(why, "The TGA run data ends after %ld of %ld pixels.", n, total);
      return false;
    }
    long count = (head & 0x7F) + 1;
    bool repeat = (head & 0x80) != 0;
    if (count > total - n) {
      SetWhy(why, "The TGA run at byte %ld covers %ld pixels where %ld remain.", file.Position() - 1, count, total - n);
      return false;
    }
    for (long i = 0; i < count; ++i, ++n) {
      if ((!repeat || i == 0) && !file.Read(pixel, pixelBytes)) {
        SetWhy(why, "The TGA run data ends after %ld of %ld pixels.", n, total);
        return false;
      }
      if (!decoder.Put(pixel, TexelOf(image, n), why)) return false;
    }
  }
  return true;
}

}  // namespace

int ReadHeaderTGA(SourceFile &file, const char *name, PVR_TexInfo *info, std::string *why) {
  uint8_t head[kTgaHeaderSize];
  if (!file.Read(head, sizeof head)) {
    PrintWarning("Warning : Can't read file %s\n", name);
    return 0;
  }
  TgaHeader header = ParseHeader(head);
  if (!SidesUsable(header.width, header.height, why)) return 0;
  info->width = header.width;
  info->height = header.height;
  return 1;
}

int ReadImageTGA(const char *name, PVR_Image *image, std::string *why) {
  SourceFile file;
  uint8_t head[kTgaHeaderSize];
  if (!file.Open(name) || !file.Read(head, sizeof head)) {
    PVR_ShowFramed("Could not open %s\nABORTING PROGRAM", name);
    return FailImage(image);
  }
  TgaHeader header = ParseHeader(head);
  int bits = header.bitsPerPixel;
  if (bits != 8 && bits != 16 && bits != 24 && bits != 32) {
    PVR_ShowFramed("Could not open %s\nABORTING PROGRAM", name);
    SetWhy(why, "The TGA depth is %d bits; 8, 16, 24 and 32 are read.", bits);
    return FailImage(image);
  }
  int kind = header.imageType & ~kTypeRunLength;
  if (kind < 1 || kind > 3) {
    SetWhy(why, "The TGA image type is %d; colour-mapped, true-colour and grey images are read.", header.imageType);
    return FailImage(image);
  }
  if (!SidesUsable(header.width, header.height, why)) return FailImage(image);
  if (!file.Skip(header.idLength)) {
    SetWhy(why, "The TGA identification field runs past the end of the file.");
    return FailImage(image);
  }
  std::vector<uint8_t> map;
  PixelDecoder decoder{bits, nullptr, header.mapFirst};
  if (header.mapType == 1 && bits == 8 && kind != 3) {
    if (!ReadColourMap(file, header, &map, why)) return FailImage(image);
    decoder.map = &map;
  } else if (header.mapType == 1) {  // a colour map the pixels do not use
    if (!file.Skip(static_cast<long>((header.mapEntryBits + 7) / 8) * header.mapLength)) {
      SetWhy(why, "The TGA colour map runs past the end of the file.");
      return FailImage(image);
    }
  } else if (bits == 8 && kind != 3) {
    SetWhy(why, "The colour-mapped TGA has no colour map.");
    return FailImage(image);
  }
  bool packed = (header.imageType & kTypeRunLength) != 0;
  const long total = static_cast<long>(header.width) * header.height;
  const long least = packed ? (total + 127) / 128 * (1 + bits / 8) : total * (bits / 8);
  if (file.Remaining() < least) {
    SetWhy(why, "The TGA pixel data needs %s%ld bytes from byte %ld but the file holds %ld bytes.",
           packed ? "at least " : "", least, file.Position(), file.Size());
    return FailImage(image);
  }
  try {
    StartImage(image, header.width, header.height);
  } catch (const std::bad_alloc &) {
    PVR_ShowFramed("Could not open %s\nABORTING PROGRAM", name);
    SetWhy(why, "Not enough memory for %dx%d texels.", header.width, header.height);
    return FailImage(image);
  }
  if (!(packed ? ReadRunLength(file, decoder, image, why) : ReadPlain(file, decoder, image, why))) {
    return FailImage(image);
  }
  if (bits == 16 || bits == 32) PrintInfo("[READ ALPHA]");
  return 1;
}

}  // namespace pvr_read
