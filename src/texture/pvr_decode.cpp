// PVR file decoding: the chunks, the texture types' layouts (twiddled,
// mipmapped, row order, palettized, VQ), then the colours.
#include "texture/pvr_decode.h"

#include <cstdarg>
#include <cstdio>

#include "texture/decode_refusal.h"
#include "texture/pvr_decode_colour.h"
#include "texture/pvr_format.h"

namespace pvr_decode {

bool Refuse(std::string *error, const char *format, ...) {
  char text[256];
  va_list args;
  va_start(args, format);
  std::vsnprintf(text, sizeof text, format, args);
  va_end(args);
  if (error != nullptr) *error = text;
  return false;
}

std::string NameText(const uint8_t *name) {
  std::string text;
  for (int i = 0; i < 4; ++i) text += name[i] >= 0x20 && name[i] < 0x7F ? static_cast<char>(name[i]) : '?';
  return text;
}

bool ReadChunkAt(std::span<const uint8_t> file, size_t position, ChunkAt *chunk, std::string *error) {
  if (file.size() - position < 8)
    return Refuse(error, "file is cut short inside the chunk head at offset %zu", position);
  const uint8_t *head = &file[position];
  const uint64_t length = pvr::Get32(head + 4);
  const size_t available = file.size() - position - 8;
  chunk->name = NameText(head);
  if (length > available)
    return Refuse(error, "chunk \"%s\" at offset %zu claims %llu bytes, only %zu follow", chunk->name.c_str(),
                  position, static_cast<unsigned long long>(length), available);
  chunk->data = file.subspan(position + 8, static_cast<size_t>(length));
  return true;
}

}  // namespace pvr_decode

namespace {

using pvr_decode::EntryToTexel;
using pvr_decode::IsWordFormat;
using pvr_decode::WordsToImage;
using Bytes = std::span<const uint8_t>;

using pvr_decode::NameText;
using pvr_decode::Refuse;

// ---- Layouts ------------------------------------------------------------------
// A row-order image of width x height from values stored twiddled: a square as
// one square, a non-square image as squares of the smaller side (left to
// right, or top to bottom).
template <typename T>
std::vector<T> Untwiddle(const T *stored, int32_t width, int32_t height) {
  const int32_t side = width < height ? width : height;
  const int32_t squares = (width > height ? width : height) / side;
  std::vector<uint32_t> xBits(side), yBits(side);
  for (int32_t i = 0; i < side; ++i) {
    xBits[i] = pvr::TwiddleIndex(static_cast<uint32_t>(i), 0);
    yBits[i] = pvr::TwiddleIndex(0, static_cast<uint32_t>(i));
  }
  std::vector<T> rows(static_cast<size_t>(width) * height);
  for (int32_t square = 0; square < squares; ++square) {
    const T *source = stored + static_cast<size_t>(square) * side * side;
    const int32_t left = width >= height ? square * side : 0;
    const int32_t top = width >= height ? 0 : square * side;
    for (int32_t y = 0; y < side; ++y) {
      T *row = rows.data() + static_cast<size_t>(top + y) * width + left;
      for (int32_t x = 0; x < side; ++x) row[x] = source[xBits[x] | yBits[y]];
    }
  }
  return rows;
}

// Where the texels of one level are stored: `count` values from `offset`.
struct LevelPlace {
  int32_t side;
  size_t offset;
};

// Levels of a square mipmapped texture, level 0 first; the data holds the
// levels smallest first at the texel offsets of the mipmap layout.
std::vector<LevelPlace> MipmapPlaces(int32_t side) {
  std::vector<LevelPlace> places;
  for (int32_t s = side; s >= 1; s /= 2) places.push_back({s, pvr::MipOffset(pvr::Log2(static_cast<uint32_t>(s)))});
  return places;
}

size_t MipmapTexelCount(int32_t side) {
  return pvr::MipOffset(pvr::Log2(static_cast<uint32_t>(side))) + static_cast<size_t>(side) * side;
}

// ---- Texture kinds ---------------------------------------------------------------
enum class Layout { kTwiddled, kTwiddledMipmap, kRows, kRowsMipmap, kPalette4, kPalette8, kVQ, kSmallVQ };

struct TypeInfo {
  uint8_t type;
  Layout layout;
  bool mipmap;
  bool square;  // the type needs a square texture
};
constexpr TypeInfo kTypes[] = {
    {pvr::kTypeTwiddled, Layout::kTwiddled, false, true},
    {pvr::kTypeTwiddledMip, Layout::kTwiddledMipmap, true, true},
    {pvr::kTypeTwiddledNonSquare, Layout::kTwiddled, false, false},
    {pvr::kTypeRectangle, Layout::kRows, false, false},
    {pvr::kTypeRectangleMip, Layout::kRowsMipmap, true, true},
    {pvr::kTypeStride, Layout::kRows, false, false},
    {pvr::kTypeStrideMip, Layout::kRowsMipmap, true, true},
    {pvr::kTypePal4, Layout::kPalette4, false, false},
    {pvr::kTypePal4Mip, Layout::kPalette4, true, true},
    {pvr::kTypePal8, Layout::kPalette8, false, false},
    {pvr::kTypePal8Mip, Layout::kPalette8, true, true},
    {pvr::kTypeVQ, Layout::kVQ, false, true},
    {pvr::kTypeVQMip, Layout::kVQ, true, true},
    {pvr::kTypeSmallVQ, Layout::kSmallVQ, false, true},
    {pvr::kTypeSmallVQMip, Layout::kSmallVQ, true, true},
};

const TypeInfo *FindType(uint8_t type) {
  for (const TypeInfo &info : kTypes) {
    if (info.type == type) return &info;
  }
  return nullptr;
}

// Codebook entries of a small-VQ texture by side and mipmaps; 0 when refused.
uint32_t SmallCodebookSize(int32_t side, bool mipmap) {
  switch (side) {
    case 16:
      return 16;
    case 32:
      return mipmap ? 64 : 32;
    case 64:
      return mipmap ? 0 : 128;
    default:
      return 0;
  }
}

uint32_t CodebookSize(const TypeInfo &type, int32_t side) {
  return type.layout == Layout::kVQ ? 256 : SmallCodebookSize(side, type.mipmap);
}

// Bytes of texel data that a texture of this type and (accepted) size holds:
// 16-bit texels, palette indices of 4 or 8 bits, or a VQ codebook of four
// 16-bit texels an entry with one index byte per 2 x 2 block of every level
// (and ten zero bytes after mipmapped data).
size_t DataSize(const TypeInfo &type, int32_t width, int32_t height) {
  const size_t texels = type.mipmap ? MipmapTexelCount(width) : static_cast<size_t>(width) * height;
  switch (type.layout) {
    case Layout::kPalette4:
      return (texels + 1) / 2;
    case Layout::kPalette8:
      return texels;
    case Layout::kVQ:
    case Layout::kSmallVQ: {
      size_t size = 8 * static_cast<size_t>(CodebookSize(type, width)) + (type.mipmap && width > 1 ? 10 : 0);
      for (int32_t side = width; side >= 1; side /= 2) {
        const size_t indexSide = side > 1 ? static_cast<size_t>(side) / 2 : 1;
        size += indexSide * indexSide;
        if (!type.mipmap) break;
      }
      return size;
    }
    default:
      return 2 * texels;
  }
}

std::vector<uint16_t> ReadWords(Bytes data, size_t first, size_t count) {
  std::vector<uint16_t> words(count);
  for (size_t i = 0; i < count; ++i) words[i] = static_cast<uint16_t>(pvr::Get16(&data[2 * (first + i)]));
  return words;
}

// 16-bit texels, twiddled or in rows, with or without mipmaps.
bool DecodeWords(const TypeInfo &type, Bytes data, PVR_Decoded *out, std::string *error) {
  const bool twiddled = type.layout == Layout::kTwiddled || type.layout == Layout::kTwiddledMipmap;
  const size_t needed = DataSize(type, out->width, out->height);
  if (data.size() < needed) return Refuse(error, "texel data holds %zu bytes, %zu needed", data.size(), needed);
  std::vector<LevelPlace> places = type.mipmap ? MipmapPlaces(out->width) : std::vector<LevelPlace>{{out->width, 0}};
  for (const LevelPlace &place : places) {
    const int32_t width = type.mipmap ? place.side : out->width;
    const int32_t height = type.mipmap ? place.side : out->height;
    std::vector<uint16_t> words = ReadWords(data, place.offset, static_cast<size_t>(width) * height);
    if (twiddled) words = Untwiddle(words.data(), width, height);
    out->levels.push_back(WordsToImage(words, width, height, out->pixelFormat));
  }
  return true;
}

// ---- Palettized -------------------------------------------------------------------
struct Palette {
  int32_t pixelFormat = 0;
  uint32_t first = 0;
  uint32_t count = 0;
  std::vector<uint32_t> entries;
};

// The palette file: "PVPL", length, pixel format, bank, first entry, entry
// count (16 bits each), the entries.
bool ReadPalette(Bytes file, Palette *palette, std::string *error) {
  if (file.size() < 16) return Refuse(error, "palette file holds %zu bytes, less than its 16-byte head", file.size());
  if (NameText(file.data()) != "PVPL")
    return Refuse(error, "palette file starts with \"%s\", not \"PVPL\"", NameText(file.data()).c_str());
  const uint64_t length = pvr::Get32(&file[4]);
  if (length < 8 || length > file.size() - 8)
    return Refuse(error, "palette chunk length %llu does not fit the file of %zu bytes",
                  static_cast<unsigned long long>(length), file.size());
  palette->pixelFormat = static_cast<int32_t>(pvr::Get16(&file[8]));
  palette->first = pvr::Get16(&file[12]);
  palette->count = pvr::Get16(&file[14]);
  const int32_t format = palette->pixelFormat;
  if (format != kPixARGB1555 && format != kPixRGB565 && format != kPixARGB4444 && format != kPixRGB555 &&
      format != kPixARGB8888)
    return Refuse(error, "palette pixel format %d is not a palette entry format", format);
  const uint64_t entrySize = format == kPixARGB8888 ? 4 : 2;
  if (entrySize * palette->count > length - 8)
    return Refuse(error, "palette of %u entries needs %llu bytes, its chunk holds %llu", palette->count,
                  static_cast<unsigned long long>(entrySize * palette->count),
                  static_cast<unsigned long long>(length - 8));
  palette->entries.resize(palette->count);
  for (uint32_t i = 0; i < palette->count; ++i)
    palette->entries[i] = entrySize == 4 ? pvr::Get32(&file[16 + 4 * i]) : pvr::Get16(&file[16 + 2 * i]);
  return true;
}

bool DecodePalettized(const TypeInfo &type, Bytes data, Bytes paletteFile, PVR_Decoded *out, std::string *error) {
  Palette palette;
  if (!ReadPalette(paletteFile, &palette, error)) return false;
  if (palette.pixelFormat != out->pixelFormat)
    return Refuse(error, "palette pixel format %d differs from the texture's %d", palette.pixelFormat,
                  out->pixelFormat);
  const bool fourBits = type.layout == Layout::kPalette4;
  const size_t texels = type.mipmap ? MipmapTexelCount(out->width) : static_cast<size_t>(out->width) * out->height;
  const size_t bytes = DataSize(type, out->width, out->height);
  if (data.size() < bytes) return Refuse(error, "index data holds %zu bytes, %zu needed", data.size(), bytes);
  std::vector<uint8_t> stored(texels);
  for (size_t i = 0; i < texels; ++i)
    stored[i] = fourBits ? (i % 2 == 0 ? data[i / 2] >> 4 : data[i / 2] & 0x0F) : data[i];

  std::vector<LevelPlace> places = type.mipmap ? MipmapPlaces(out->width) : std::vector<LevelPlace>{{out->width, 0}};
  for (const LevelPlace &place : places) {
    const int32_t width = type.mipmap ? place.side : out->width;
    const int32_t height = type.mipmap ? place.side : out->height;
    const std::vector<uint8_t> indices = Untwiddle(stored.data() + place.offset, width, height);
    PVR_Image image;
    image.width = width;
    image.height = height;
    image.texels.resize(4 * indices.size());
    for (size_t i = 0; i < indices.size(); ++i) {
      if (indices[i] < palette.first || indices[i] - palette.first >= palette.count)
        return Refuse(error, "index %u has no entry in the palette (entries %u to %u)", indices[i], palette.first,
                      palette.first + palette.count - 1);
      EntryToTexel(palette.entries[indices[i] - palette.first], palette.pixelFormat, &image.texels[4 * i]);
    }
    out->levels.push_back(std::move(image));
  }
  return true;
}

// ---- VQ ------------------------------------------------------------------------------

// The codebook (entries of four 16-bit texels: top-left, bottom-left,
// top-right, bottom-right), then one index image per level, smallest level
// first, one byte per 2 x 2 block in twiddled order; ten zero bytes follow
// mipmapped data. The 1 x 1 level shows its entry's bottom-right texel.
bool DecodeVQ(const TypeInfo &type, Bytes data, PVR_Decoded *out, std::string *error) {
  const int32_t side = out->width;
  if (side < 2) return Refuse(error, "VQ texture of side %d is below 2", side);
  const uint32_t codebook = CodebookSize(type, side);
  if (codebook == 0)
    return Refuse(error, "small VQ texture of side %d%s has no codebook size", side,
                  type.mipmap ? " with mipmaps" : "");
  std::vector<LevelPlace> places = type.mipmap ? MipmapPlaces(side) : std::vector<LevelPlace>{{side, 0}};
  const size_t needed = DataSize(type, side, side);
  if (data.size() < needed) return Refuse(error, "VQ data holds %zu bytes, %zu needed", data.size(), needed);

  const std::vector<uint16_t> entries = ReadWords(data, 0, 4 * static_cast<size_t>(codebook));
  size_t at = 8 * static_cast<size_t>(codebook);
  std::vector<std::vector<uint16_t>> levels(places.size());
  for (size_t k = places.size(); k-- > 0;) {  // smallest level first in the file
    const int32_t levelSide = places[k].side;
    const int32_t indexSide = levelSide > 1 ? levelSide / 2 : 1;
    const std::vector<uint8_t> indices = Untwiddle(&data[at], indexSide, indexSide);
    at += indices.size();
    std::vector<uint16_t> &words = levels[k];
    words.resize(static_cast<size_t>(levelSide) * levelSide);
    for (int32_t y = 0; y < levelSide; ++y) {
      for (int32_t x = 0; x < levelSide; ++x) {
        const uint32_t index = indices[static_cast<size_t>(y / 2) * indexSide + x / 2];
        if (index >= codebook)
          return Refuse(error, "VQ index %u is beyond the codebook of %u entries", index, codebook);
        const uint32_t corner = levelSide == 1 ? 3 : static_cast<uint32_t>((x & 1) * 2 + (y & 1));
        words[static_cast<size_t>(y) * levelSide + x] = entries[4 * index + corner];
      }
    }
  }
  for (size_t k = 0; k < places.size(); ++k)
    out->levels.push_back(WordsToImage(levels[k], places[k].side, places[k].side, out->pixelFormat));
  return true;
}

// ---- Chunks --------------------------------------------------------------------------
// Finds the "PVRT" chunk (after an optional "GBIX" chunk and any others) and
// returns its data, from the category word on.
bool FindTextureChunk(Bytes file, PVR_Decoded *out, Bytes *texture, std::string *error) {
  size_t position = 0;
  pvr_decode::ChunkAt chunk;
  while (position < file.size()) {
    if (!pvr_decode::ReadChunkAt(file, position, &chunk, error)) return false;
    const size_t length = chunk.data.size();
    if (chunk.name == "GBIX") {
      if (length < 4) return Refuse(error, "GBIX chunk of %zu bytes holds no index", length);
      out->hasGlobalIndex = true;
      out->globalIndex = pvr::Get32(chunk.data.data());
    } else if (chunk.name == "PVRT") {
      if (length < 8) return Refuse(error, "PVRT chunk of %zu bytes holds no category and size", length);
      *texture = chunk.data;
      return true;
    }
    position += 8 + length;
  }
  return Refuse(error, "no PVRT chunk in %zu bytes", file.size());
}

}  // namespace

size_t PVR_TexelDataSize(uint32_t category, int32_t width, int32_t height) {
  const TypeInfo *type = FindType(static_cast<uint8_t>(category >> 8));
  if (type == nullptr || !PVR_IsSide(width) || !PVR_IsSide(height) || (type->square && width != height)) return 0;
  if ((type->layout == Layout::kVQ || type->layout == Layout::kSmallVQ) && (width < 2 || CodebookSize(*type, width) == 0))
    return 0;
  return DataSize(*type, width, height);
}

bool PVR_IsPalettized(uint8_t textureType) { return textureType >= pvr::kTypePal4 && textureType <= pvr::kTypePal8Mip; }

bool PVR_Decode(std::span<const uint8_t> file, std::span<const uint8_t> palette, PVR_Decoded *out, std::string *error) {
  *out = PVR_Decoded{};
  Bytes texture;
  if (!FindTextureChunk(file, out, &texture, error)) return false;
  out->category = pvr::Get32(texture.data());
  out->pixelFormat = static_cast<int32_t>(out->category & 0xFF);
  out->textureType = static_cast<uint8_t>(out->category >> 8);
  out->width = static_cast<int32_t>(pvr::Get16(&texture[4]));
  out->height = static_cast<int32_t>(pvr::Get16(&texture[6]));
  const Bytes data = texture.subspan(8);

  const TypeInfo *type = FindType(out->textureType);
  if (type == nullptr) return Refuse(error, "texture type 0x%02X is not supported", out->textureType);
  if (!PVR_IsSide(out->width) || !PVR_IsSide(out->height))
    return Refuse(error, "size %dx%d is not a power of two from 1 to 1024 on each side", out->width, out->height);
  if (type->square && out->width != out->height)
    return Refuse(error, "texture type 0x%02X needs a square texture, not %dx%d", out->textureType, out->width,
                  out->height);
  const bool palettized = type->layout == Layout::kPalette4 || type->layout == Layout::kPalette8;
  if (!palettized && !IsWordFormat(out->pixelFormat))
    return Refuse(error, "pixel format %d has no 16-bit texels", out->pixelFormat);

  bool ok = false;
  switch (type->layout) {
    case Layout::kPalette4:
    case Layout::kPalette8:
      ok = DecodePalettized(*type, data, palette, out, error);
      break;
    case Layout::kVQ:
    case Layout::kSmallVQ:
      ok = DecodeVQ(*type, data, out, error);
      break;
    default:
      ok = DecodeWords(*type, data, out, error);
      break;
  }
  if (!ok) out->levels.clear();
  return ok;
}
