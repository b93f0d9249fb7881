// Helpers of the archive tests: PVR and palette files laid out by hand, a
// reader of archive files written independently of the builder, and a
// capture of the standard output.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "texture_test_util.h"

namespace pvmtest {

inline std::string Le16(uint32_t v) { return {char(v & 0xFF), char(v >> 8 & 0xFF)}; }
inline std::string Le32(uint32_t v) { return Le16(v & 0xFFFF) + Le16(v >> 16); }
inline uint32_t Get16(const std::string &s, size_t at) { return uint8_t(s[at]) | uint32_t(uint8_t(s[at + 1])) << 8; }
inline uint32_t Get32(const std::string &s, size_t at) { return Get16(s, at) | Get16(s, at + 2) << 16; }

// A PVR file: an optional "GBIX" chunk (ending in four blanks, or four zero
// bytes for palettized textures), then "PVRT", data size + 8, the category,
// width, height and the data.
inline std::string Pvr(int64_t globalIndex, uint32_t category, uint32_t width, uint32_t height,
                       const std::string &data, bool zeroTail = false) {
  std::string out;
  if (globalIndex >= 0)
    out += "GBIX" + Le32(8) + Le32(uint32_t(globalIndex)) + (zeroTail ? std::string(4, '\0') : "    ");
  return out + "PVRT" + Le32(uint32_t(data.size()) + 8) + Le32(category) + Le16(width) + Le16(height) + data;
}

// A palette file: "PVPL", 8 + entries + pad, pixel format, bank, first
// entry, count, 2-byte entries, zero padding to a multiple of 8.
inline std::string Pvp(uint32_t pixelFormat, uint32_t bank, const std::vector<uint16_t> &entries) {
  std::string data;
  for (uint16_t e : entries) data += Le16(e);
  data.resize((data.size() + 7) / 8 * 8, '\0');
  return "PVPL" + Le32(8 + uint32_t(data.size())) + Le16(pixelFormat) + Le16(bank) + Le16(0) +
         Le16(uint32_t(entries.size())) + data;
}

// Bytes counting up from `seed`.
inline std::string Ramp(size_t size, uint32_t seed) {
  std::string out(size, '\0');
  for (size_t i = 0; i < size; ++i) out[i] = char(seed + 7 * i);
  return out;
}

// ---- Reading an archive back ------------------------------------------------------
struct Chunk {
  std::string name;
  size_t offset = 0;
  std::string payload;  // the bytes after the size field, padding included
};
struct Entry {
  uint32_t id = 0;
  std::string name;  // up to the first zero
  uint32_t format = 0, dimension = 0, globalIndex = 0;
};
struct Archive {
  std::vector<Chunk> chunks;
  uint32_t flags = 0;
  std::vector<Entry> entries;
  std::vector<std::string> modelNames;
  std::vector<const Chunk *> palettes, textures;
};

// Walks the chunks (each must fit, and the last must end at the end of the
// file) and reads the header entries (id, 28-byte name, format, dimension,
// global index) and the model names.
inline Archive ReadArchive(const std::string &file) {
  Archive archive;
  size_t at = 0;
  while (at < file.size()) {
    EXPECT_GE(file.size() - at, 8u) << "chunk head cut short at " << at;
    if (file.size() - at < 8) break;
    const uint32_t size = Get32(file, at + 4);
    EXPECT_LE(size, file.size() - at - 8) << "chunk at " << at << " runs past the end";
    if (size > file.size() - at - 8) break;
    archive.chunks.push_back({file.substr(at, 4), at, file.substr(at + 8, size)});
    at += 8 + size;
  }
  for (const Chunk &chunk : archive.chunks) {
    if (chunk.name == "PVMH") {
      archive.flags = Get16(chunk.payload, 0);
      const uint32_t count = Get16(chunk.payload, 2);
      EXPECT_GE(chunk.payload.size(), 4 + 38 * size_t(count));
      for (uint32_t i = 0; i < count && 4 + 38 * (i + 1) <= chunk.payload.size(); ++i) {
        const size_t e = 4 + 38 * i;
        const std::string name = chunk.payload.substr(e + 2, 28);
        archive.entries.push_back({Get16(chunk.payload, e), name.substr(0, name.find('\0')),
                                   Get16(chunk.payload, e + 30), Get16(chunk.payload, e + 32),
                                   Get32(chunk.payload, e + 34)});
      }
    } else if (chunk.name == "MDLN") {
      size_t p = 2;
      for (uint32_t i = 0; i < Get16(chunk.payload, 0); ++i) {
        const size_t end = chunk.payload.find('\0', p);
        archive.modelNames.push_back(chunk.payload.substr(p, end - p));
        p = end + 1;
      }
    } else if (chunk.name == "PVPL") {
      archive.palettes.push_back(&chunk);
    } else if (chunk.name == "PVRT") {
      archive.textures.push_back(&chunk);
    }
  }
  return archive;
}

// Entry i against the PVR file it came from (and its palette file): the
// same global index (bits 26-31 hold the palette bank of a palettized
// entry), the texture chunk's payload is the file's followed by zero padding
// (under 32 bytes), likewise the palette chunk's, and, with `decode`, both
// decode to the same images.
inline void ExpectSameFile(const Archive &read, size_t i, const std::string &original, const std::string &palette,
                           bool decode = true) {
  const Entry &entry = read.entries[i];
  const bool palettized = !palette.empty();
  const uint32_t indexMask = palettized ? 0x03FFFFFF : 0xFFFFFFFF;
  const bool hasIndex = original.substr(0, 4) == "GBIX";
  EXPECT_EQ(entry.globalIndex & indexMask, (hasIndex ? Get32(original, 8) : 0xFFFFFFFF) & indexMask) << entry.name;
  const std::string head = original.substr(0, hasIndex ? 16 : 0);
  const std::string payload = original.substr(head.size() + 8);
  const std::string &stored = read.textures[i]->payload;
  ASSERT_GE(stored.size(), payload.size());
  EXPECT_LT(stored.size() - payload.size(), 32u);
  EXPECT_EQ(stored, payload + std::string(stored.size() - payload.size(), '\0')) << entry.name;
  std::string chunkPalette;
  if (palettized) {
    const std::string &storedPalette = read.palettes[i]->payload;
    EXPECT_EQ(entry.globalIndex >> 26, Get16(palette, 10));
    ASSERT_GE(storedPalette.size(), palette.size() - 8);
    EXPECT_EQ(storedPalette, palette.substr(8) + std::string(storedPalette.size() - (palette.size() - 8), '\0'));
    chunkPalette = "PVPL" + Le32(uint32_t(storedPalette.size())) + storedPalette;
  }
  if (!decode) return;

  // Both decode to the same images.
  const std::string chunkFile = head + "PVRT" + Le32(uint32_t(stored.size())) + stored;
  PVR_Decoded fromArchive, fromFile;
  std::string error;
  ASSERT_TRUE(PVR_Decode(textest::Bytes(chunkFile), textest::Bytes(chunkPalette), &fromArchive, &error)) << error;
  ASSERT_TRUE(PVR_Decode(textest::Bytes(original), textest::Bytes(palette), &fromFile, &error)) << error;
  ASSERT_EQ(fromArchive.levels.size(), fromFile.levels.size());
  for (size_t k = 0; k < fromFile.levels.size(); ++k)
    EXPECT_EQ(fromArchive.levels[k].texels, fromFile.levels[k].texels) << entry.name << " level " << k;
  EXPECT_EQ(entry.format, fromFile.category & 0xFFFF);
}

// The standard output of this process while the object lives.
class StdoutCapture {
 public:
  StdoutCapture() : file_(std::tmpfile()) {
    std::fflush(stdout);
    saved_ = dup(1);
    dup2(fileno(file_), 1);
  }
  ~StdoutCapture() {
    Restore();
    std::fclose(file_);
  }
  std::string Text() {
    Restore();
    std::string text;
    std::rewind(file_);
    for (int c; (c = std::fgetc(file_)) != EOF;) text += char(c);
    return text;
  }

 private:
  void Restore() {
    if (saved_ < 0) return;
    std::fflush(stdout);
    dup2(saved_, 1);
    close(saved_);
    saved_ = -1;
  }
  FILE *file_;
  int saved_ = -1;
};

}  // namespace pvmtest
