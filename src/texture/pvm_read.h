// Reader of PVM texture archives: splits an archive into its entries, each
// with its texture re-formed as a PVR file and, in an archive with palettes,
// its palette file. For viewers and for checking what the archive builder
// wrote.
//
// The archive: a "PVMH" chunk (flags, entry count, entries), then chunks of a
// 4-character name and a 32-bit size that counts everything after the size
// field including the chunk's padding: "MDLN" (model names), "PVPL" (one
// palette file per entry, in entry order), "PVRT" (one texture per entry, in
// entry order); "CONV", "PVMI", "IMGC" and "COMM" are passed over. Any byte
// sequence is safe to pass: what is not a well-formed archive is refused with
// a text naming the reason.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

struct PVM_Entry {
  uint16_t id = 0;
  std::string name;          // up to 28 bytes, to its first zero
  uint16_t format = 0;       // pixel format | texture type << 8 (0 without vkpvm::kFormats)
  uint16_t dimension = 0;    // dimension code with the lock bits (0 without vkpvm::kDimensions)
  uint32_t globalIndex = 0;  // 0xFFFFFFFF for none; without the bank bits
  int32_t paletteBank = -1;  // bits 26-31 of the stored index with vkpvm::kPaletteBanks, else -1
  // The texture as a PVR file: a "GBIX" chunk unless the index is none (its
  // tail four zero bytes for palettized types, four blanks otherwise), then
  // the "PVRT" chunk with the archive's padding cut off.
  std::vector<uint8_t> pvr;
  // The palette file ("PVPL", its own length, the palette) when the archive
  // holds palettes; empty otherwise.
  std::vector<uint8_t> pvp;
};

struct PVM_Archive {
  uint16_t flags = 0;  // vkpvm header flags
  std::vector<std::string> modelNames;
  std::vector<PVM_Entry> entries;
};

// Splits `file`. Returns false with the reason in *error.
bool PVM_ReadArchive(std::span<const uint8_t> file, PVM_Archive *out, std::string *error);
