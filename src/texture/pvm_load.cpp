// Loading the archive's PVR files: the chunk walk to the texture head, the
// palette files of palettized textures, and the rule that keeps the textures
// of the first kept texture's kind.
//
// The walk reads only fields whose bytes lie inside the file; offsets are
// 64-bit and every step moves at least 8 bytes forward, so hostile files
// cost nothing and are refused with a reason.
#include <cstring>

#include "base/console.h"
#include "base/flags.h"
#include "texture/pvm_internal.h"
#include "texture/pvr_format.h"
#include "texture/texture_io.h"

namespace pvm {

namespace {

constexpr size_t kChunkHead = 8;    // name and size
constexpr size_t kTextureHead = 16;  // name, size, category, width, height
constexpr size_t kPaletteHead = 16;  // name, size, pixel format, bank, first entry, count
// Chunk sizes in the archive are 32-bit: a file must leave room for the padding.
constexpr uint64_t kLargestFile = 0xFFFFFF00u;

bool Named(std::span<const uint8_t> file, uint64_t at, const char (&name)[4]) {
  return std::memcmp(file.data() + at, name, 4) == 0;
}

uint16_t TextureType(uint16_t format) { return format & vkpvm::kFormatTextureMask; }

// The palette kind: the texture type with its mipmapped form taken as the plain one.
uint16_t PaletteKind(uint16_t format) {
  const uint16_t type = TextureType(format);
  if (type == pvr::kTypePal4Mip << 8) return pvr::kTypePal4 << 8;
  if (type == pvr::kTypePal8Mip << 8) return pvr::kTypePal8 << 8;
  return type;
}

// The palette file of a PVR file: the text after the last "." replaced by
// "pvp" (".pvp" appended when there is no ".").
std::string PalettePath(const std::string &path) {
  const size_t dot = path.rfind('.');
  return (dot == std::string::npos ? path : path.substr(0, dot)) + ".pvp";
}

}  // namespace

bool IsPalettized(uint16_t format) {
  const uint16_t type = TextureType(format);
  return type >= (pvr::kTypePal4 << 8) && type <= (pvr::kTypePal8Mip << 8);
}

bool ParseTexture(std::span<const uint8_t> file, Texture *texture, const char **reason) {
  const uint64_t size = file.size();
  if (size > kLargestFile) {
    *reason = "larger than 4 GB";
    return false;
  }
  texture->globalIndex = size >= 12 && Named(file, 0, pvr::kGBIX) ? pvr::Get32(&file[8]) : kNoGlobalIndex;
  uint64_t at = 0;
  for (;;) {
    if (size - at < kChunkHead) {
      *reason = "no PVRT chunk";
      return false;
    }
    const uint64_t length = pvr::Get32(&file[at + 4]);
    if (length > size - at - kChunkHead) {
      *reason = Named(file, at, pvr::kPVRT) ? "PVRT chunk cut short" : "a chunk runs past the end";
      return false;
    }
    if (Named(file, at, pvr::kPVRT)) break;
    at += kChunkHead + length;
  }
  if (size - at < kTextureHead) {
    *reason = "PVRT chunk cut short";
    return false;
  }
  texture->format = static_cast<uint16_t>(pvr::Get16(&file[at + 8]));
  texture->dimension = DimensionCode(pvr::Get16(&file[at + 12]), pvr::Get16(&file[at + 14]));
  texture->textureAt = static_cast<size_t>(at);
  return true;
}

bool IsPaletteFile(std::span<const uint8_t> file) {
  return file.size() >= kPaletteHead && file.size() <= kLargestFile && Named(file, 0, pvr::kPVPL);
}

bool LoadTextures(const std::vector<LoadName> &loadList, const std::string &archiveName, Loaded *loaded) {
  uint16_t expectedPixelFormat = kNoExpectation, expectedKind = kNoExpectation;
  for (const LoadName &name : loadList) {
    Texture texture;
    texture.path = name.absolute;
    texture.shownPath = name.shown;
    if (!PVR_ReadWholeFile(texture.path.c_str(), &texture.file)) {
      PrintError("Error : Can't open file %s; archive %s not written\n", name.shown.c_str(), archiveName.c_str());
      return false;
    }
    const char *reason = "";
    if (!ParseTexture(texture.file, &texture, &reason)) {
      PrintError("Error : %s is not a PVR texture (%s); archive %s not written\n", name.shown.c_str(), reason,
                 archiveName.c_str());
      return false;
    }
    const bool palettized = IsPalettized(texture.format);
    const uint16_t pixelFormat = texture.format & vkpvm::kFormatPixelMask;
    if (!loaded->textures.empty()) {
      const bool keep = loaded->palettized
                            ? palettized && pixelFormat == expectedPixelFormat && PaletteKind(texture.format) == expectedKind
                            : !palettized;
      if (!keep) continue;
    }
    if (palettized) {
      if (!PVR_ReadWholeFile(PalettePath(name.absolute).c_str(), &texture.palette)) continue;  // no palette: left out
      if (!IsPaletteFile(texture.palette)) {
        PrintError("Error : %s is not a palette file; archive %s not written\n", PalettePath(name.shown).c_str(),
                   archiveName.c_str());
        return false;
      }
      if (loaded->textures.empty()) {
        loaded->palettized = true;
        expectedPixelFormat = pixelFormat;
        expectedKind = PaletteKind(texture.format);
      }
    }
    loaded->textures.push_back(std::move(texture));
  }
  return true;
}

}  // namespace pvm
