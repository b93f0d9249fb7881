// The vkview program: arguments, the input's kind, output names, and one
// picture per texture.
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <new>
#include <set>
#include <span>

#include "base/console.h"
#include "frontend/view.h"
#include "texture/pvm_read.h"
#include "texture/texture_io.h"

namespace {

namespace fs = std::filesystem;

void PrintViewUsage() {
  PrintMessage(
      "Usage: vkview FILE.pvr|FILE.pvm [-o OUT]\n"
      "Draws a PVR texture, or every texture of a PVM archive, as PNG pictures.\n"
      "  FILE.pvr  a texture (a palettized one needs its palette FILE.pvp beside it)\n"
      "  FILE.pvm  an archive: one picture per texture\n"
      "  -o OUT    a folder (an existing one, or a name ending in '/', made when\n"
      "            missing) gets the pictures under their default names; otherwise\n"
      "            OUT is the PNG file of a PVR, or the prefix of an archive's\n"
      "            pictures (OUT_<entry>.png)\n"
      "Default names: FILE.png beside a PVR, FILE_<entry>.png beside a PVM (an entry\n"
      "name repeated, empty or holding other characters than letters, digits, '_',\n"
      "'.' and '-' is made unique with '_' and the entry id). The kind of FILE is\n"
      "told by its first chunk, not by its suffix.\n"
      "A picture shows the mipmap levels side by side, level 0 first. A texture with\n"
      "alpha gets three rows: the texels over a checkerboard, the alpha as grey, the\n"
      "colour without alpha. The caption names the size, pixel format, texture type\n"
      "and global index (and the archive entry's name and palette bank).\n"
      "Bad input is refused with one line naming the file; the status is then 1.\n");
}

// One refusal line: "vkview: <file>: <reason>".
void Refuse(const std::string &file, const std::string &reason) {
  PrintMessage("vkview: %s: %s\n", file.c_str(), reason.c_str());
}

bool ReadInput(const std::string &name, std::vector<uint8_t> *bytes, std::string *reason) {
  std::error_code ec;
  if (fs::is_directory(name, ec)) {
    *reason = "is a folder, not a file";
    return false;
  }
  errno = 0;
  if (!PVR_ReadWholeFile(name.c_str(), bytes)) {
    *reason = std::string("cannot be read: ") + (errno != 0 ? std::strerror(errno) : "read error");
    return false;
  }
  return true;
}

// Where the pictures go: a folder, a single file, or a prefix.
struct OutputPlan {
  fs::path folder;     // with the default names (made when missing); empty when not a folder
  std::string target;  // the PNG file of a PVR, or the prefix of an archive's pictures
};

OutputPlan PlanOutput(const std::string &input, const std::string &option, bool archive) {
  OutputPlan plan;
  std::error_code ec;
  const fs::path stem = fs::path(input).replace_extension();
  if (!option.empty() && (option.back() == '/' || fs::is_directory(option, ec))) {
    plan.folder = option;
    plan.target = (plan.folder / stem.filename()).string();
  } else if (!option.empty()) {
    plan.target = option;
    return plan;
  } else {
    plan.target = stem.string();
  }
  if (!archive) plan.target += ".png";
  return plan;
}

// The part of an archive picture's name that stands for the entry.
std::string EntryPart(const PVM_Entry &entry, std::set<std::string> *used) {
  std::string part;
  bool changed = entry.name.empty();
  for (char c : entry.name) {
    const bool kept = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_' ||
                      c == '.' || c == '-';
    part += kept ? c : '_';
    changed = changed || !kept;
  }
  if (changed || used->count(part) != 0) part += "_" + std::to_string(entry.id);
  used->insert(part);
  return part;
}

bool WritePicture(const PVR_Decoded &texture, const std::string &caption, const std::string &output) {
  std::vector<uint8_t> png;
  std::string reason;
  if (!ViewEncodePNG(ViewRender(texture, caption), &png, &reason)) {
    Refuse(output, reason);
    return false;
  }
  if (!PVR_WriteWholeFile(output.c_str(), png)) {
    Refuse(output, "cannot be written");
    return false;
  }
  return true;
}

bool ViewTexture(const std::string &input, std::span<const uint8_t> bytes, const OutputPlan &plan) {
  std::vector<uint8_t> palette;
  PVR_Decoded texture;
  std::string reason;
  // The palette is read only when the texture is palettized: a first decode
  // without it names the type.
  if (!PVR_Decode(bytes, palette, &texture, &reason) && PVR_IsPalettized(texture.textureType)) {
    const std::string paletteName = fs::path(input).replace_extension(".pvp").string();
    std::string why;
    if (!ReadInput(paletteName, &palette, &why)) {
      Refuse(input, "palette file " + paletteName + " " + why);
      return false;
    }
    if (!PVR_Decode(bytes, palette, &texture, &reason)) {
      Refuse(input, reason + " (palette " + paletteName + ")");
      return false;
    }
  } else if (!reason.empty()) {
    Refuse(input, reason);
    return false;
  }
  return WritePicture(texture, ViewCaption(texture, "", texture.globalIndex, texture.hasGlobalIndex, -1), plan.target);
}

bool ViewArchive(const std::string &input, std::span<const uint8_t> bytes, const OutputPlan &plan) {
  PVM_Archive archive;
  std::string reason;
  if (!PVM_ReadArchive(bytes, &archive, &reason)) {
    Refuse(input, reason);
    return false;
  }
  if (archive.entries.empty()) {
    Refuse(input, "archive holds no texture");
    return false;
  }
  bool ok = true;
  std::set<std::string> used;
  for (const PVM_Entry &entry : archive.entries) {
    PVR_Decoded texture;
    if (!PVR_Decode(entry.pvr, entry.pvp, &texture, &reason)) {
      Refuse(input, "entry " + std::to_string(entry.id) + " \"" + entry.name + "\": " + reason);
      ok = false;
      continue;
    }
    const std::string caption =
        ViewCaption(texture, entry.name, entry.globalIndex, entry.globalIndex != 0xFFFFFFFF, entry.paletteBank);
    ok = WritePicture(texture, caption, plan.target + "_" + EntryPart(entry, &used) + ".png") && ok;
  }
  return ok;
}

int View(const std::string &input, const std::string &output) {
  std::vector<uint8_t> bytes;
  std::string reason;
  if (!ReadInput(input, &bytes, &reason)) {
    Refuse(input, reason);
    return 1;
  }
  const auto startsWith = [&](const char *name) { return bytes.size() >= 4 && std::memcmp(bytes.data(), name, 4) == 0; };
  const bool archive = startsWith("PVMH");
  if (!archive && !startsWith("GBIX") && !startsWith("PVRT")) {
    Refuse(input, bytes.size() < 4 ? "is too short for a PVR or PVM file"
                                   : "is not a PVR or PVM file (it starts with neither GBIX, PVRT nor PVMH)");
    return 1;
  }
  const OutputPlan plan = PlanOutput(input, output, archive);
  std::error_code ec;
  if (!plan.folder.empty() && !fs::is_directory(plan.folder, ec) && !fs::create_directories(plan.folder, ec)) {
    Refuse(plan.folder.string(), "cannot be created: " + ec.message());
    return 1;
  }
  return (archive ? ViewArchive(input, bytes, plan) : ViewTexture(input, bytes, plan)) ? 0 : 1;
}

}  // namespace

int RunViewer(int argc, char **argv) {
  std::string input, output;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg == "-h" || arg == "-help" || arg == "--help") {
      PrintViewUsage();
      return 0;
    }
    if (arg == "-o") {
      if (i + 1 >= argc || argv[i + 1][0] == '\0') {
        Refuse("-o", "needs the name of the output");
        return 1;
      }
      output = argv[++i];
    } else if (!arg.empty() && arg[0] == '-') {
      Refuse(arg, "unknown option (vkview -h shows the usage)");
      return 1;
    } else if (!input.empty()) {
      Refuse(arg, "a second input; vkview takes one file");
      return 1;
    } else {
      input = arg;
    }
  }
  if (input.empty()) {
    PrintViewUsage();
    return 1;
  }
  try {
    return View(input, output);
  } catch (const std::bad_alloc &) {
    Refuse(input, "out of memory");
    return 1;
  }
}
