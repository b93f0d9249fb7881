// The chunk walk over an existing PVR file: "GBIX" gives the global index,
// "PVRT" the category word and the size; other chunks are passed over.
//
// Only the chunk heads and the few fields are read (by offset), so a hostile
// file costs nothing: every step moves at least 8 bytes forward, offsets are
// 64-bit, and a field is read only when all its bytes lie inside the file.
#include "texture/pvr_header.h"

#include <array>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <system_error>

#include "base/console.h"
#include "base/file_names.h"
#include "texture/pvr_format.h"

namespace {

// Texture format and mipmap flag by texture type (byte 1 of the category).
struct TypeRow {
  uint8_t type;
  int32_t textureFormat;
  int32_t mipmap;
};
constexpr std::array<TypeRow, 15> kTypeTable = {{
    {pvr::kTypeTwiddled, kTexFormatTwiddled, 0},
    {pvr::kTypeTwiddledMip, kTexFormatTwiddled, 1},
    {pvr::kTypeVQ, kTexFormatVQ, 0},
    {pvr::kTypeVQMip, kTexFormatVQ, 1},
    {pvr::kTypePal4, kTexFormatPal4, 0},
    {pvr::kTypePal4Mip, kTexFormatPal4, 1},
    {pvr::kTypePal8, kTexFormatPal8, 0},
    {pvr::kTypePal8Mip, kTexFormatPal8, 1},
    {pvr::kTypeRectangle, kTexFormatRectangle, 0},
    {pvr::kTypeRectangleMip, kTexFormatRectangle, 1},
    {pvr::kTypeStride, kTexFormatStride, 0},
    {pvr::kTypeStrideMip, kTexFormatStride, 1},
    {pvr::kTypePlatformBitmap, kTexFormatPlatformBitmap, 0},
    {pvr::kTypeSmallVQ, kTexFormatVQ, 0},
    {pvr::kTypeSmallVQMip, kTexFormatVQ, 1},
}};

enum class WalkEnd { kComplete, kNoTexture, kCutShort };

// Walks the chunks of a file of `size` bytes; `read(offset, bytes, count)`
// fetches bytes that lie inside the file.
template <typename Read>
WalkEnd Walk(Read read, uint64_t size, PVR_TexInfo *info) {
  *info = PVR_FreshTexInfo();
  bool texture = false, cutShort = false;
  uint64_t position = 0;
  while (position < size) {
    uint8_t head[8];
    if (size - position < sizeof head || !read(position, head, sizeof head)) {
      cutShort = true;
      break;
    }
    const uint64_t length = pvr::Get32(head + 4);
    const uint64_t available = size - position - sizeof head;
    if (length > available) cutShort = true;
    uint8_t field[8];
    if (std::memcmp(head, pvr::kPVRT, 4) == 0 && length >= 8 && available >= 8 && read(position + 8, field, 8)) {
      const uint32_t category = pvr::Get32(field);
      info->pixelFormat = static_cast<int32_t>(category & 0xFF);
      info->alphaKind = (category & 1) != 0 ? kAlphaNone : kAlphaBilevel;
      info->textureFormat = kTexFormatNone;
      info->mipmap = 0;
      const uint8_t type = static_cast<uint8_t>(category >> 8);
      bool known = false;
      for (const TypeRow &row : kTypeTable) {
        if (row.type != type) continue;
        info->textureFormat = row.textureFormat;
        info->mipmap = row.mipmap;
        known = true;
      }
      if (!known) PrintWarning("Warning : Not Support categorycode %d\n", static_cast<int32_t>(category));
      info->width = static_cast<int32_t>(pvr::Get16(field + 4));
      info->height = static_cast<int32_t>(pvr::Get16(field + 6));
      texture = true;
    } else if (std::memcmp(head, pvr::kGBIX, 4) == 0 && length >= 4 && available >= 4 && read(position + 8, field, 4)) {
      info->globalIndex = static_cast<int32_t>(pvr::Get32(field));
    }
    position += sizeof head + length;
  }
  info->skipped = 1;
  info->badSize = PVR_IsSide(info->width) && PVR_IsSide(info->height) ? 0 : 1;
  if (!texture) return WalkEnd::kNoTexture;
  return cutShort ? WalkEnd::kCutShort : WalkEnd::kComplete;
}

// Opens the file as named, else as "./" followed by its base name.
FILE *OpenWithLookup(const char *path, std::string *opened) {
  *opened = path;
  FILE *file = std::fopen(path, "rb");
  if (file != nullptr) return file;
  *opened = std::string("./") + BaseName(path);
  return std::fopen(opened->c_str(), "rb");
}

}  // namespace

void PVR_ParseHeaderInfo(const uint8_t *data, size_t size, PVR_TexInfo *info) {
  Walk(
      [data](uint64_t offset, uint8_t *bytes, size_t count) {
        std::memcpy(bytes, data + offset, count);
        return true;
      },
      data == nullptr ? 0 : size, info);
}

int PVR_ReadHeaderInfo(const char *path, PVR_TexInfo *info) {
  std::string opened;
  FILE *file = OpenWithLookup(path, &opened);
  if (file == nullptr) {
    PrintError("Error: Can't open file %s\n", path);
    return 0;
  }
  std::error_code error;
  const uintmax_t fileSize = std::filesystem::file_size(opened, error);
  const uint64_t size = error ? 0 : static_cast<uint64_t>(fileSize);
  const WalkEnd end = Walk(
      [file](uint64_t offset, uint8_t *bytes, size_t count) {
        return std::fseek(file, static_cast<long>(offset), SEEK_SET) == 0 && std::fread(bytes, 1, count, file) == count;
      },
      size, info);
  std::fclose(file);
  if (end == WalkEnd::kNoTexture) PrintWarning("Warning : No texture data in %s\n", opened.c_str());
  if (end == WalkEnd::kCutShort) PrintWarning("Warning : %s is cut short\n", opened.c_str());
  return 1;
}
