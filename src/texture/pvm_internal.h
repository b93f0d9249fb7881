// Shared by the archive builder's files: the loaded texture records, the
// loader and the file layout.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace pvm {

constexpr size_t kNameBytes = 28;      // an entry name, zero-filled
constexpr uint32_t kNoGlobalIndex = 0xFFFFFFFF;
constexpr uint16_t kNoExpectation = 0xFFFF;

// A file of the load list: the absolute name it is opened by, and the name
// as it was added, which messages show.
struct LoadName {
  std::string absolute;
  std::string shown;
};

// One loaded PVR file.
struct Texture {
  uint16_t format = 0;  // pixel format in the low byte, texture type in the high byte
  uint32_t globalIndex = kNoGlobalIndex;
  uint16_t dimension = 0;
  std::string path;       // absolute
  std::string shownPath;  // as added
  std::vector<uint8_t> file;     // the whole PVR file
  size_t textureAt = 0;          // offset of its "PVRT" chunk
  std::vector<uint8_t> palette;  // the whole ".pvp" file of a palettized texture
};

// The kept textures, in load order.
struct Loaded {
  std::vector<Texture> textures;
  bool palettized = false;  // the kept textures are palettized
};

// One header entry.
struct Entry {
  uint16_t id = 0;
  char name[kNameBytes] = {};
  uint16_t format = 0;
  uint16_t dimension = 0;  // ORed with the lock word
  uint32_t globalIndex = kNoGlobalIndex;
};

// Reads the fields of one PVR file's bytes into `texture` (global index,
// format word, dimension code, offset of the "PVRT" chunk). Returns false
// with the reason when the bytes are not a PVR texture: no "PVRT" chunk, a
// chunk that runs past the end, a texture head cut short.
bool ParseTexture(std::span<const uint8_t> file, Texture *texture, const char **reason);

// True for the bytes of a palette file ("PVPL" and its 16-byte head).
bool IsPaletteFile(std::span<const uint8_t> file);

// True when the format word's texture type is palettized (0x05 to 0x08).
bool IsPalettized(uint16_t format);

// Loads the files of the load list in order and keeps those of the first
// kept texture's kind. On a file that cannot be opened or is malformed,
// prints the error naming it (as added) and `archiveName` and returns false.
bool LoadTextures(const std::vector<LoadName> &loadList, const std::string &archiveName, Loaded *loaded);

// Low nibble from the width, high nibble from the height: 8 gives 1, 16
// gives 2, ..., 512 gives 7, any other size 8.
uint16_t DimensionCode(uint32_t width, uint32_t height);

// The entry name of a path: its last run of letters, digits, "_" and ".",
// up to the run's first ".".
std::string_view EntryName(std::string_view path);

// The archive's bytes: "PVMH" with the entries, "MDLN" (with the flag and a
// model name), one "PVPL" per texture (with vkpvm::kPalettes), one "PVRT"
// per texture. The last chunk before the texture data and every "PVRT"
// chunk but the last are padded so that the next chunk starts at 16 modulo
// 32; the others to a multiple of 4.
std::vector<uint8_t> LayoutArchive(uint16_t flags, const std::vector<Entry> &entries,
                                   const std::vector<std::string> &modelNames, const std::vector<Texture> &textures);

}  // namespace pvm
