// A PVM archive laid out from PVR (and palette) files the way the archive
// builder writes it, for the reader's tests, the viewer's tests and the fuzz
// seeds: "PVMH" (flags 0x010F, plus 0x0010 with model names and 0x0C00 with
// palettes), "MDLN", one "PVPL" per texture with palettes, one "PVRT" per
// texture. The last chunk before the first "PVRT" and every "PVRT" but the
// last are padded so that the next chunk starts at 16 modulo 32; the others
// to a multiple of 4. Sizes count the padding.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "texture/pvr_format.h"

namespace pvmtest {

struct Texture {
  std::string name;          // entry name, at most 28 bytes
  std::vector<uint8_t> pvr;  // a PVR file (optional GBIX, then PVRT)
  std::vector<uint8_t> pvp;  // its palette file, or empty
};

inline uint16_t DimensionCode(uint32_t width, uint32_t height) {
  const auto nibble = [](uint32_t side) -> uint16_t {
    for (uint16_t code = 1; code <= 7; ++code) {
      if (side == (4u << code)) return code;
    }
    return 8;
  };
  return static_cast<uint16_t>(nibble(width) | nibble(height) << 4);
}

// The chunk (name, size field, data, padding) appended at `out`'s end; the
// padding reaches 16 modulo 32 with `align`, else a multiple of 4.
inline void PutChunk(std::vector<uint8_t> &out, const char (&name)[4], const std::vector<uint8_t> &data, bool align) {
  const size_t start = out.size(), unpadded = 8 + data.size();
  const size_t pad = align ? (16 + 32 - (start + unpadded) % 32) % 32 : (4 - unpadded % 4) % 4;
  pvr::PutName(out, name);
  pvr::Put32(out, static_cast<uint32_t>(data.size() + pad));
  out.insert(out.end(), data.begin(), data.end());
  out.resize(out.size() + pad, 0);
}

inline std::vector<uint8_t> Archive(const std::vector<Texture> &textures, const std::vector<std::string> &models = {},
                                    uint16_t lock = 0) {
  constexpr char kPVMH[4] = {'P', 'V', 'M', 'H'}, kMDLN[4] = {'M', 'D', 'L', 'N'};
  const bool palettes = !textures.empty() && !textures[0].pvp.empty();
  struct Parsed {
    uint32_t globalIndex = 0xFFFFFFFF;
    std::vector<uint8_t> data;  // the PVRT chunk's data
  };
  std::vector<Parsed> parsed;
  for (const Texture &texture : textures) {
    Parsed p;
    size_t at = 0;
    if (texture.pvr.size() >= 12 && std::string(texture.pvr.begin(), texture.pvr.begin() + 4) == "GBIX") {
      p.globalIndex = pvr::Get32(&texture.pvr[8]);
      at = 8 + pvr::Get32(&texture.pvr[4]);
    }
    p.data.assign(texture.pvr.begin() + static_cast<std::ptrdiff_t>(at + 8), texture.pvr.end());
    parsed.push_back(std::move(p));
  }
  std::vector<uint8_t> header;
  const uint16_t flags = static_cast<uint16_t>(0x010F | (models.empty() ? 0 : 0x0010) | (palettes ? 0x0C00 : 0));
  pvr::Put16(header, flags);
  pvr::Put16(header, static_cast<uint32_t>(textures.size()));
  for (size_t i = 0; i < textures.size(); ++i) {
    const std::vector<uint8_t> &data = parsed[i].data;
    pvr::Put16(header, static_cast<uint32_t>(i));
    std::string name = textures[i].name;
    name.resize(28, '\0');
    header.insert(header.end(), name.begin(), name.end());
    pvr::Put16(header, pvr::Get16(&data[0]));
    pvr::Put16(header, DimensionCode(pvr::Get16(&data[4]), pvr::Get16(&data[6])) | lock);
    uint32_t index = parsed[i].globalIndex;
    if (palettes) index = (index & 0x03FFFFFF) | pvr::Get16(&textures[i].pvp[10]) << 26;
    pvr::Put32(header, index);
  }
  std::vector<uint8_t> out;
  PutChunk(out, kPVMH, header, models.empty() && !palettes);
  if (!models.empty()) {
    std::vector<uint8_t> names;
    pvr::Put16(names, static_cast<uint32_t>(models.size()));
    for (const std::string &model : models) names.insert(names.end(), model.c_str(), model.c_str() + model.size() + 1);
    PutChunk(out, kMDLN, names, !palettes);
  }
  for (size_t i = 0; palettes && i < textures.size(); ++i) {
    const std::vector<uint8_t> &pvp = textures[i].pvp;
    PutChunk(out, pvr::kPVPL, std::vector<uint8_t>(pvp.begin() + 8, pvp.end()), i + 1 == textures.size());
  }
  for (size_t i = 0; i < textures.size(); ++i) PutChunk(out, pvr::kPVRT, parsed[i].data, i + 1 < textures.size());
  return out;
}

}  // namespace pvmtest
