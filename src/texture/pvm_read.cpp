// PVM archive reading: the header and its entries, then the chunks after it,
// each texture and palette given back as the file it was made from.
#include "texture/pvm_read.h"

#include <cstdio>
#include <cstring>

#include "base/flags.h"
#include "texture/decode_refusal.h"
#include "texture/pvr_decode.h"
#include "texture/pvr_format.h"

namespace {

using Bytes = std::span<const uint8_t>;

using pvr_decode::NameText;
using pvr_decode::Refuse;

constexpr size_t kEntryNameSize = 28;
constexpr uint32_t kNoIndex = 0xFFFFFFFF;

// Bytes of one header entry under these flags: id, name, the optional format
// word and dimension code, the global index.
size_t EntrySize(uint16_t flags) {
  return 2 + kEntryNameSize + ((flags & vkpvm::kFormats) ? 2 : 0) + ((flags & vkpvm::kDimensions) ? 2 : 0) +
         4;
}

bool ReadHeader(Bytes data, PVM_Archive *out, std::string *error) {
  if (data.size() < 4) return Refuse(error, "PVMH chunk of %zu bytes holds no flags and entry count", data.size());
  out->flags = static_cast<uint16_t>(pvr::Get16(&data[0]));
  const size_t count = pvr::Get16(&data[2]);
  const size_t entrySize = EntrySize(out->flags);
  if (count * entrySize > data.size() - 4)
    return Refuse(error, "PVMH chunk of %zu bytes is too short for %zu entries of %zu bytes", data.size(), count,
                  entrySize);
  const bool banks = (out->flags & vkpvm::kPaletteBanks) != 0;
  out->entries.resize(count);
  const uint8_t *at = &data[4];
  for (PVM_Entry &entry : out->entries) {
    entry.id = static_cast<uint16_t>(pvr::Get16(at));
    const void *end = std::memchr(at + 2, 0, kEntryNameSize);
    entry.name.assign(reinterpret_cast<const char *>(at + 2),
                      end != nullptr ? static_cast<size_t>(static_cast<const uint8_t *>(end) - (at + 2)) : kEntryNameSize);
    at += 2 + kEntryNameSize;
    if (out->flags & vkpvm::kFormats) entry.format = static_cast<uint16_t>(pvr::Get16(at)), at += 2;
    if (out->flags & vkpvm::kDimensions) entry.dimension = static_cast<uint16_t>(pvr::Get16(at)), at += 2;
    entry.globalIndex = pvr::Get32(at);
    at += 4;
    if (banks) {
      entry.paletteBank = static_cast<int32_t>(entry.globalIndex >> vkpvm::kBankShift);
      entry.globalIndex &= vkpvm::kIndexBits;
      if (entry.globalIndex == vkpvm::kIndexBits) entry.globalIndex = kNoIndex;
    }
  }
  return true;
}

// "MDLN": a 16-bit name count, then each name with its terminating zero.
bool ReadModelNames(Bytes data, PVM_Archive *out, std::string *error) {
  if (data.size() < 2) return Refuse(error, "MDLN chunk of %zu bytes holds no name count", data.size());
  const size_t count = pvr::Get16(&data[0]);
  size_t at = 2;
  for (size_t i = 0; i < count; ++i) {
    const void *end = at < data.size() ? std::memchr(&data[at], 0, data.size() - at) : nullptr;
    if (end == nullptr) return Refuse(error, "MDLN chunk ends inside model name %zu of %zu", i + 1, count);
    const size_t length = static_cast<size_t>(static_cast<const uint8_t *>(end) - &data[at]);
    out->modelNames.emplace_back(reinterpret_cast<const char *>(&data[at]), length);
    at += length + 1;
  }
  return true;
}

// The texture's PVR file: the global-index chunk, then "PVRT" with the
// length of the texel data its type and size hold (the whole chunk when the
// type is unknown or the data is short: the decoder names that).
std::vector<uint8_t> TextureFile(Bytes data, uint32_t globalIndex) {
  const uint32_t category = pvr::Get32(&data[0]);
  size_t length = data.size();
  const size_t texels = PVR_TexelDataSize(category, static_cast<int32_t>(pvr::Get16(&data[4])),
                                          static_cast<int32_t>(pvr::Get16(&data[6])));
  if (texels != 0 && texels <= data.size() - 8) length = 8 + texels;
  std::vector<uint8_t> file;
  file.reserve(16 + 8 + length);
  if (globalIndex != kNoIndex)
    pvr::PutGlobalIndexChunk(file, globalIndex, PVR_IsPalettized(static_cast<uint8_t>(category >> 8)));
  pvr::PutName(file, pvr::kPVRT);
  pvr::Put32(file, static_cast<uint32_t>(length));
  file.insert(file.end(), data.begin(), data.begin() + static_cast<std::ptrdiff_t>(length));
  return file;
}

// The palette file: "PVPL", then pixel format, bank, first entry, entry count
// and the entries padded to a multiple of 8, its length counting those.
std::vector<uint8_t> PaletteFile(Bytes data) {
  const uint32_t pixelFormat = pvr::Get16(&data[0]);
  const size_t entries = (pixelFormat == kPixARGB8888 ? 4 : 2) * static_cast<size_t>(pvr::Get16(&data[6]));
  size_t length = 8 + entries + (8 - entries % 8) % 8;
  if (length > data.size()) length = data.size();
  std::vector<uint8_t> file;
  pvr::PutName(file, pvr::kPVPL);
  pvr::Put32(file, static_cast<uint32_t>(length));
  file.insert(file.end(), data.begin(), data.begin() + static_cast<std::ptrdiff_t>(length));
  return file;
}

// Chunks after the header that are passed over.
constexpr const char *kSkipped[] = {"CONV", "PVMI", "IMGC", "COMM"};

bool ReadChunks(Bytes file, PVM_Archive *out, std::string *error) {
  size_t textures = 0, palettes = 0;
  size_t position = 0;
  while (position < file.size()) {
    pvr_decode::ChunkAt chunk;
    if (!pvr_decode::ReadChunkAt(file, position, &chunk, error)) return false;
    const std::string &name = chunk.name;
    const Bytes data = chunk.data;
    const size_t length = data.size();
    if (position == 0 && name != "PVMH") return Refuse(error, "file starts with \"%s\", not \"PVMH\"", name.c_str());
    if (name == "PVMH") {
      if (position != 0) return Refuse(error, "second PVMH chunk at offset %zu", position);
      if (!ReadHeader(data, out, error)) return false;
    } else if (name == "MDLN") {
      if (!ReadModelNames(data, out, error)) return false;
    } else if (name == "PVRT" || name == "PVPL") {
      const bool texture = name == "PVRT";
      size_t &seen = texture ? textures : palettes;
      if (seen == out->entries.size())
        return Refuse(error, "%s chunk at offset %zu is one more than the %zu entries", name.c_str(), position,
                      out->entries.size());
      if (data.size() < 8)
        return Refuse(error, "%s chunk at offset %zu of %zu bytes holds no %s", name.c_str(), position, data.size(),
                      texture ? "category and size" : "palette head");
      PVM_Entry &entry = out->entries[seen++];
      if (texture) entry.pvr = TextureFile(data, entry.globalIndex);
      else entry.pvp = PaletteFile(data);
    } else {
      bool known = false;
      for (const char *skipped : kSkipped) known = known || name == skipped;
      if (!known) return Refuse(error, "unknown chunk \"%s\" at offset %zu", name.c_str(), position);
    }
    position += 8 + length;
  }
  if (file.empty()) return Refuse(error, "file is empty");
  if (textures != out->entries.size())
    return Refuse(error, "archive holds %zu textures for %zu entries", textures, out->entries.size());
  if ((out->flags & vkpvm::kPalettes) && palettes != out->entries.size())
    return Refuse(error, "archive holds %zu palettes for %zu entries", palettes, out->entries.size());
  return true;
}

}  // namespace

bool PVM_ReadArchive(std::span<const uint8_t> file, PVM_Archive *out, std::string *error) {
  *out = PVM_Archive{};
  if (ReadChunks(file, out, error)) return true;
  *out = PVM_Archive{};
  return false;
}
