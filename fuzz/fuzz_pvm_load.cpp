// Texture archive builder on hostile PVR and palette files: the chunk walk in
// memory, then a whole build from files (beside valid textures, added twice,
// with or without a model path), and a check of the archive written.
//
// Input: flags byte, the PVR file, the palette file (see fuzz_common.h).
// Flags: 1 a valid plain texture first, 2 a valid palettized texture first,
// 4 the hostile file added twice, 8 its palette file written, 16 a model
// path, 32 a name of 29 characters.
#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <string>
#include <vector>

#include "fuzz_common.h"
#include "texture/pvm.h"
#include "texture/pvm_internal.h"
#include "texture/pvr_format.h"
#include "texture/texture_io.h"

namespace {

void Check(bool condition) {
  if (!condition) __builtin_trap();
}

void WriteBytes(const std::string &path, const std::vector<uint8_t> &bytes) {
  fuzz::Write(path, bytes.data(), bytes.size());
}

// A valid texture: RGB565 twiddled 8x8, or 8-bit palettized with its palette.
void WriteValid(const std::string &path, bool palettized) {
  std::vector<uint8_t> out;
  pvr::PutGlobalIndexChunk(out, 3, palettized);
  const uint32_t size = palettized ? 64 : 128;
  pvr::PutTextureHead(out, size, pvr::Category(1, palettized ? pvr::kTypePal8 : pvr::kTypeTwiddled), 8, 8);
  out.resize(out.size() + size, 0x5A);
  WriteBytes(path + ".pvr", out);
  if (!palettized) return;
  std::vector<uint8_t> palette;
  pvr::PutName(palette, pvr::kPVPL);
  pvr::Put32(palette, 16);
  for (uint32_t field : {1u, 4u, 0u, 4u}) pvr::Put16(palette, field);
  palette.resize(24, 0x33);
  WriteBytes(path + ".pvp", palette);
}

// The archive: chunks that fit and end at the end, padded to 4, as many
// texture chunks as entries, each texture's texels on a 32-byte boundary.
void CheckArchive(const std::vector<uint8_t> &file) {
  size_t at = 0, textures = 0, entries = 0;
  Check(file.size() >= 12 && std::string(file.begin(), file.begin() + 4) == "PVMH");
  entries = pvr::Get16(&file[10]);
  while (at < file.size()) {
    Check(file.size() - at >= 8 && at % 4 == 0);
    const uint64_t size = pvr::Get32(&file[at + 4]);
    Check(size <= file.size() - at - 8);
    if (std::string(file.begin() + at, file.begin() + at + 4) == "PVRT") {
      Check((at + 16) % 32 == 0);
      ++textures;
    }
    at += 8 + size;
  }
  Check(textures == entries);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  fuzz::Scratch();
  const fuzz::Parts parts = fuzz::Split(data, size);
  const std::span<const uint8_t> hostile(parts.first, parts.firstSize);

  pvm::Texture parsed;
  const char *reason = nullptr;
  const bool wellFormed = pvm::ParseTexture(hostile, &parsed, &reason);
  Check(wellFormed ? parsed.textureAt + 16 <= hostile.size() : reason != nullptr);

  const std::string base = parts.flags & 32 ? fuzz::Path("hostile_name_of_29_characters") : fuzz::Path("h");
  fuzz::Write(base + ".pvr", parts.first, parts.firstSize);
  if (parts.flags & 8) {
    fuzz::Write(base + ".pvp", parts.second, parts.secondSize);
  } else {
    std::remove((base + ".pvp").c_str());
  }
  TextureArchive archive;
  ArchiveReset(&archive);
  const std::string name = fuzz::Path("out.pvm");
  ArchiveSetName(&archive, name);
  if (parts.flags & 16) ArchiveSetModelPath(&archive, "model.vka");
  ArchiveStart(&archive);
  if (parts.flags & 1) WriteValid(fuzz::Path("plain"), false), ArchiveAddFile(&archive, fuzz::Path("plain.pvr"));
  if (parts.flags & 2) WriteValid(fuzz::Path("pal"), true), ArchiveAddFile(&archive, fuzz::Path("pal.pvr"));
  ArchiveAddFile(&archive, base + ".pvr");
  if (parts.flags & 4) ArchiveAddFile(&archive, base + ".pvr");
  std::remove(name.c_str());
  // "Model name exists ..." goes to standard output: hidden while the build runs.
  static const int null = open("/dev/null", O_WRONLY);
  std::fflush(stdout);
  const int saved = dup(1);
  dup2(null, 1);
  const ArchiveStatus status = ArchiveFinish(&archive);
  std::fflush(stdout);
  dup2(saved, 1);
  close(saved);
  Check(!archive.active && archive.files.empty());
  std::vector<uint8_t> written;
  const bool exists = PVR_ReadWholeFile(name.c_str(), &written);
  Check(exists == (status == ArchiveStatus::kWritten));
  if (!wellFormed) Check(status == ArchiveStatus::kCantLoad);
  if (exists) CheckArchive(written);
  return 0;
}
