// The PVM texture archive builder: packs the PVR files of one model (and the
// palette files of palettized ones) into one archive file.
//
// The texture-list section writer drives it: ArchiveReset, ArchiveSetName,
// ArchiveSetModelPath and ArchiveStart before the first texture,
// ArchiveAddFile and ArchiveAddTextureName for each texture, ArchiveFinish
// after the section. ArchiveFinish loads the files, keeps the textures of
// one kind (the kind of the first one), prints the "SAVEPVRS" banner, the
// Loading lines and the summary through PrintInfo ("Model name exists ..."
// on standard output), and writes the archive through a temporary beside it,
// so a failed build never leaves a partial archive and keeps an older one.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// What ArchiveFinish did. Every status but kWritten leaves no new archive.
enum class ArchiveStatus : int {
  kWritten = 0,
  kOutOfMemory = 1,
  kNoInput = 2,      // no PVR file was added
  kCantLoad = 3,     // a PVR file could not be opened, or a PVR or palette file is malformed
  kNameTooLong = 4,  // an entry name longer than 28 bytes
  kTooMany = 5,      // more entries than the 16-bit count holds
  kCantWrite = 6,    // the archive file could not be written (one error line names it)
};

// The builder's context, one per archive being built.
struct TextureArchive {
  bool active = false;       // between ArchiveReset and ArchiveFinish
  std::string name;          // the archive file; empty: derived from the first PVR file
  std::string modelPath;     // absolute; written into the "MDLN" chunk when set
  std::string inputPath = ".";  // the folder the Loading lines name
  // Taken from the process by ArchiveReset; relative names are made absolute
  // against it.
  std::string currentDirectory;
  uint16_t lockWord = 0;  // vkpvm::kOrderLock, vkpvm::kPvrLock: never set here
  struct Converter {      // the converter argument record (never written here)
    uint32_t length = 0;
    std::string command;
  } converter;
  std::vector<std::string> files;  // the PVR files, as added
  std::vector<std::pair<std::string, std::string>> textureNames;  // {texture name, comment}
};

// Clears every list and name, takes the current directory and marks the
// builder active.
void ArchiveReset(TextureArchive *archive);
// The archive's file name (the model's output name with the suffix ".pvm").
void ArchiveSetName(TextureArchive *archive, std::string_view name);
// The model path: the current directory, "/" and the base name of `path`.
void ArchiveSetModelPath(TextureArchive *archive, std::string_view path);
// Prepares the converter argument record.
void ArchiveStart(TextureArchive *archive);
// Adds a PVR file to pack (the same file added twice is packed once).
void ArchiveAddFile(TextureArchive *archive, std::string_view path);
// Adds a texture name as written in the model, with a comment.
void ArchiveAddTextureName(TextureArchive *archive, std::string_view name, std::string_view comment);
// Builds and writes the archive, then clears the context (inactive).
ArchiveStatus ArchiveFinish(TextureArchive *archive);
