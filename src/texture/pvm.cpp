// The archive builder's operations and the build: absolute names, the load
// list, the header entries and flags, the console lines and the write.
#include "texture/pvm.h"

#include <array>
#include <cstdio>
#include <filesystem>
#include <new>
#include <system_error>
#include <unordered_set>

#include "base/console.h"
#include "base/file_names.h"
#include "base/flags.h"
#include "texture/pvm_internal.h"
#include "texture/pvr_format.h"
#include "texture/texture_io.h"

namespace {

using pvm::Entry;

constexpr char kSeparator = '/';
constexpr uint16_t kMaxEntries = 0xFFFF;

// The summary's words for the header flags, in the order they are printed;
// the model names start a new line.
struct IncludeRow {
  uint16_t flag;
  bool newLine;
  const char *word;
};
constexpr std::array<IncludeRow, 10> kIncludeRows = {{
    {vkpvm::kNames, false, "PVRNAME"},
    {vkpvm::kFormats, false, "CATEGORYCODE"},
    {vkpvm::kDimensions, false, "ENTRYINFO"},
    {vkpvm::kGlobalIndices, false, "GLOBALINDEX"},
    {vkpvm::kModelNames, true, "MDLN"},
    {vkpvm::kConverter, false, "CONV"},
    {vkpvm::kTextureNames, false, "PVMI"},
    {vkpvm::kImages, false, "IMGC"},
    {vkpvm::kPalettes, false, "PVPL"},
    {vkpvm::kTextures, false, "PVRT"},
}};

bool IsLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

std::string CurrentDirectory() {
  std::error_code error;
  const std::filesystem::path path = std::filesystem::current_path(error);
  return error ? std::string(".") : path.string();
}

// A name that does not start with "/" gets the directory and "/" in front.
std::string Absolute(const std::string &directory, std::string_view name) {
  if (!name.empty() && name.front() == kSeparator) return std::string(name);
  std::string out = directory;
  if (out.empty() || out.back() != kSeparator) out += kSeparator;
  return out.append(name);
}

// Without a name set: the first file's base name with its last three
// characters replaced by "pvm".
std::string DefaultName(const std::string &firstFile) {
  const std::string base = BaseName(firstFile.c_str());
  return base.substr(0, base.size() < 3 ? 0 : base.size() - 3) + "pvm";
}

void PrintSummary(const std::string &name, uint16_t flags, uint16_t lockWord) {
  PrintInfo("\n[OUTPUT]");
  if (!name.empty() && IsLetter(name.front())) {
    PrintInfo(".%c%s", kSeparator, name.c_str());
  } else {
    PrintInfo("%s", name.c_str());
  }
  PrintInfo("\n[INCLUDE]:");
  PrintInfo("[%s]", "PVMH");
  for (const IncludeRow &row : kIncludeRows)
    if (flags & row.flag) PrintInfo(row.newLine ? "\n[%s]" : "[%s]", row.word);
  PrintInfo("[%s]", (lockWord & vkpvm::kPvrLock) ? "PVR-LOCKON" : "PVR-LOCKOFF");
  PrintInfo("[%s]", (lockWord & vkpvm::kOrderLock) ? "ORDER-LOCKON" : "ORDER-LOCKOFF");
  PrintInfo("\n");
}

// One header entry per kept texture, in load order. False after the error
// when a name does not fit its 28 bytes.
bool MakeEntries(const pvm::Loaded &loaded, uint16_t lockWord, const std::string &name, std::vector<Entry> *entries) {
  entries->resize(loaded.textures.size());
  for (size_t i = 0; i < entries->size(); ++i) {
    const pvm::Texture &texture = loaded.textures[i];
    Entry &entry = (*entries)[i];
    entry.id = static_cast<uint16_t>(i);
    const std::string_view entryName = pvm::EntryName(texture.path);
    if (entryName.size() > pvm::kNameBytes) {
      PrintError("Error : Texture name %.*s of %s is longer than %zu bytes; archive %s not written\n",
                 static_cast<int>(entryName.size()), entryName.data(), texture.shownPath.c_str(), pvm::kNameBytes,
                 name.c_str());
      return false;
    }
    entryName.copy(entry.name, entryName.size());
    entry.format = texture.format;
    entry.dimension = texture.dimension | lockWord;
    entry.globalIndex = texture.globalIndex;
    if (loaded.palettized) {
      const uint32_t bank = pvr::Get16(&texture.palette[10]);
      entry.globalIndex = (entry.globalIndex & ~vkpvm::kBankMask) | ((bank << vkpvm::kBankShift) & vkpvm::kBankMask);
    }
  }
  return true;
}

// Builds and writes the archive; `name` is the archive's name once known.
ArchiveStatus Build(const TextureArchive &archive, std::string *name) {
  *name = archive.name;
  if (archive.files.empty()) {
    PrintInfo("\n    Input filename was not set!\n\n");
    return ArchiveStatus::kNoInput;
  }
  PrintInfo("\n<< %s >>\n", "SAVEPVRS");
  std::vector<pvm::LoadName> loadList;
  std::unordered_set<std::string> listed;
  for (const std::string &file : archive.files) {
    std::string absolute = Absolute(archive.currentDirectory, file);
    if (listed.insert(absolute).second) loadList.push_back({std::move(absolute), file});
    PrintInfo(" Loading %s%c%s\n", archive.inputPath.c_str(), kSeparator, BaseName(file.c_str()));
  }
  *name = archive.name.empty() ? DefaultName(archive.files.front()) : archive.name;

  pvm::Loaded loaded;
  if (!pvm::LoadTextures(loadList, *name, &loaded)) return ArchiveStatus::kCantLoad;
  if (loaded.textures.size() > kMaxEntries) {
    PrintError("Error : %zu textures are more than an archive holds; archive %s not written\n",
               loaded.textures.size(), name->c_str());
    return ArchiveStatus::kTooMany;
  }

  uint16_t flags = vkpvm::kDefault;
  if (loaded.palettized) flags |= vkpvm::kPaletteBanks | vkpvm::kPalettes;
  std::vector<Entry> entries;
  if (!MakeEntries(loaded, archive.lockWord, *name, &entries)) return ArchiveStatus::kNameTooLong;

  std::vector<std::string> modelNames;
  if (!archive.modelPath.empty()) {
    std::printf("Model name exists ... %s\n", archive.modelPath.c_str());
    std::fflush(stdout);
    modelNames.push_back(archive.modelPath);  // absolute already
    flags |= vkpvm::kModelNames;
  }
  PrintSummary(*name, flags, archive.lockWord);

  const std::vector<uint8_t> bytes = pvm::LayoutArchive(flags, entries, modelNames, loaded.textures);
  if (PVR_WriteWholeFile(name->c_str(), bytes)) return ArchiveStatus::kWritten;
  PrintError("Error : Can't write file %s\n", name->c_str());
  return ArchiveStatus::kCantWrite;
}

}  // namespace

void ArchiveReset(TextureArchive *archive) {
  *archive = TextureArchive{};
  archive->currentDirectory = CurrentDirectory();
  archive->active = true;
}

void ArchiveSetName(TextureArchive *archive, std::string_view name) { archive->name = name; }

void ArchiveSetModelPath(TextureArchive *archive, std::string_view path) {
  const std::string copy(path);
  archive->modelPath = Absolute(archive->currentDirectory, BaseName(copy.c_str()));
}

void ArchiveStart(TextureArchive *archive) {
  archive->converter.length = 8;
  archive->converter.command = "txlpack";
}

void ArchiveAddFile(TextureArchive *archive, std::string_view path) { archive->files.emplace_back(path); }

void ArchiveAddTextureName(TextureArchive *archive, std::string_view name, std::string_view comment) {
  archive->textureNames.emplace_back(name, comment);
}

ArchiveStatus ArchiveFinish(TextureArchive *archive) {
  ArchiveStatus status;
  std::string name;
  try {
    status = Build(*archive, &name);
  } catch (const std::bad_alloc &) {
    PrintError("Error : Not enough memory; archive %s not written\n", name.c_str());
    status = ArchiveStatus::kOutOfMemory;
  }
  *archive = TextureArchive{};
  return status;
}
