// The texture-list section of a model file: its lines (ASCII, or the "VKTL"
// chunk in binary mode) and, per listed texture, the steps around its
// conversion: the PVR path, convert or skip, the texture records, the texture
// line with its info comment.
#include "texture/section.h"

#include <algorithm>
#include <cstdio>
#include <memory>
#include <string>

#include "base/console.h"
#include "base/file_names.h"
#include "base/flags.h"
#include "base/run_record.h"
#include "binary/vkprint.h"
#include "binary/write_info.h"
#include "process/nodelist.h"
#include "process/optimize.h"
#include "scene/records.h"
#include "texture/image_read.h"
#include "texture/pvr_header.h"
#include "texture/resource_db.h"
#include "texture/section_archive.h"
#include "texture/texture_convert.h"

namespace {

// Words of the info comment.
constexpr const char *kPixelWords[] = {"1555", "565", "4444", "YUV", "BUMP", "555"};

struct TextureWord {
  int32_t format;
  const char *word;
};
constexpr TextureWord kTextureWords[] = {
    {kTexFormatTwiddled, "TW"}, {kTexFormatRectangle, "RE"}, {kTexFormatStride, "ST"}, {kTexFormatVQ, "VQ"},
    {kTexFormatSmallVQ, "SVQ"}, {kTexFormatPal4, "P4"},      {kTexFormatPal8, "P8"}};

constexpr size_t kCommentColumn = 16;  // the info comment starts after the name padded to this width

const char *PixelWord(int32_t code) {
  constexpr int32_t count = sizeof kPixelWords / sizeof kPixelWords[0];
  return code >= 0 && code < count ? kPixelWords[code] : "XXXX";
}

const char *TextureFormatWord(int32_t code) {
  for (const TextureWord &row : kTextureWords)
    if (row.format == code) return row.word;
  return "XXXX";
}

bool ShowsMipmap(int32_t format) {
  return format == kTexFormatTwiddled || format == kTexFormatVQ || format == kTexFormatSmallVQ;
}

// The info comment of a texture: index, size, pixel and texture format, MIP,
// then DI and AD from the settings it was converted with, or "?? ??" for a
// texture that was not converted.
std::string InfoComment(const PVR_TexInfo &texture, const PVR_Settings &settings) {
  char text[160];
  int n = std::snprintf(text, sizeof text, "/* %d %dx%d %s %s", texture.globalIndex, texture.width, texture.height,
                        PixelWord(texture.pixelFormat), TextureFormatWord(texture.textureFormat));
  std::string comment(text, static_cast<size_t>(n));
  if (ShowsMipmap(texture.textureFormat) && texture.mipmap) comment += " MIP";
  if (!texture.skipped) {
    if (settings.dither) comment += " DI";
    if (settings.alphaDither) comment += " AD";
  } else {
    comment += " ?? ??";
  }
  return comment + " */";
}

// The name a texture line gives: the file name without directory and suffix.
std::string TextureName(const char *picname) {
  std::string name = BaseName(picname);
  const size_t dot = name.rfind('.');
  if (dot != std::string::npos) name.erase(dot);
  return name;
}

// A path's directory with its last separator, or "" when it has none.
std::string DirectoryOf(const char *path) {
  const std::string text = path;
  const size_t cut = text.find_last_of("/\\");
  return cut == std::string::npos ? std::string() : text.substr(0, cut + 1);
}

// The texture's PVR file beside the model: the output directory and the
// texture's file name, or the name as written when the output has no
// directory; the suffix (from the last '.' of the whole path) becomes ".pvr".
std::string PvrPath(const char *outputName, const char *picname) {
  const std::string directory = DirectoryOf(outputName);
  std::string path = directory.empty() ? std::string(picname) : directory + BaseName(picname);
  const size_t dot = path.rfind('.');
  if (dot != std::string::npos) path.erase(dot);
  return path + ".pvr";
}

class Section {
 public:
  explicit Section(VKWriteInfo *info)
      : info_(info),
        writer_(*info->writer),
        list_(info->optimizeInfo),
        counter_(info->globalIndex ? &info->globalIndex->counter : &ownCounter_) {}

  void Write() {
    const bool binary = VKWriteGetMode(writer_) != kVKModeAscii;
    VKWriteBinChunkStart(writer_, kVKChunkVKTL);
    VKPrintAscii(writer_, "%s\n\n", "TEXTURE_START");
    if (binary) WriteTextureList();
    VKPrint(writer_, "T12", "%s%s%s[]\n", "TEXTURENAME ", "textures_", info_->baseName);
    VKPrintAscii(writer_, "%s\n", "START");
    if (info_->nodeList && (info_->nodeList->optionbits2 & vkopt::kOutPvm)) archive_ = VKStartSectionArchive(info_);
    for (int32_t number = 0; number < list_->uniqueTextureCount; ++number) Texture(number);
    VKPrintAscii(writer_, "%s\n\n", "END");
    if (!binary) WriteTextureList();
    VKPrintAscii(writer_, "%s\n\n\n", "TEXTURE_END");
    VKWriteBinChunkEnd(writer_);
    if (archive_) archive_->Finish();
  }

 private:
  void WriteTextureList() {
    const char *name = info_->baseName;
    VKPrint(writer_, "T12", "%s%s%s\n", "TEXTURELIST ", "texlist_", name);
    VKPrintAscii(writer_, "%s\n", "START");
    VKPrint(writer_, "P12", "%s%s%s,\n", "TextureList ", "textures_", name);
    VKPrint(writer_, "!g$i", "%s%d,\n", "TextureNum  ", list_->uniqueTextureCount);
    VKPrintAscii(writer_, "%s\n\n", "END");
  }

  // One unique texture: convert it or read its existing PVR file, fill the
  // texture records, write its line. The settings are as before afterwards.
  void Texture(int32_t number) {
    const VKTextureEntry &entry = *VKUniqueTexture(list_, number);
    const ScTexture *texture = entry.texture;
    const char *picname = texture && texture->picname ? texture->picname : "";
    const PVR_Settings snapshot = settings_;
    std::printf("Input file name = %s\n", picname);
    std::fflush(stdout);
    const std::string pvrPath = PvrPath(info_->outputName, picname);
    if (archive_) archive_->AddFile(pvrPath.c_str());
    PrintInfo("\n<TXLConv> ");

    PVR_TexInfo result;
    if ((info_->flags & vkflag::kForceTexture) || !FileExists(pvrPath.c_str())) {
      settings_.inputName = picname;
      if (texture && texture->maskname) settings_.bmpAlphaName = settings_.pixMaskName = texture->maskname;
      settings_.outputDirectory = DirectoryOf(info_->outputName);
      settings_.globalIndex = (*counter_)++;
      bool converted = false;
      std::string database;
      if (pvrPath.size() >= static_cast<size_t>(kNameSize)) {
        PrintError("Error : File name too long (at most %d characters): %s\n", kNameSize - 1, pvrPath.c_str());
        settings_.info = PVR_FreshTexInfo();
      } else {
        PVR_ApplyResource(&settings_, picname, &database);
        converted = PVR_ConvertTexture(&settings_) != 0;
      }
      result = settings_.info;
      RecordConversion(database, pvrPath, result, converted);
    } else {
      PVR_ReadHeaderInfo(pvrPath.c_str(), &result);
      PrintInfo("File %s(%dx%d) [SKIP] \n", pvrPath.c_str(), result.width, result.height);
      if (info_->record) info_->record->AddRead(pvrPath);
    }
    StoreInRecords(entry.number, result);
    WriteLine(entry, TextureName(picname), InfoComment(result, settings_));
    if (archive_) archive_->AddTextureName(picname);
    settings_ = snapshot;
  }

  // What a conversion read (the source image where it was found, the
  // translucent bitmap or mask, the resource database when there is one) and
  // wrote (the PVR file, and the palette file of a palettized texture), for
  // the run's dependency file; a texture not converted is counted.
  void RecordConversion(const std::string &database, const std::string &pvrPath, const PVR_TexInfo &result,
                        bool converted) {
    VKRunRecord *record = info_->record;
    if (record == nullptr) return;
    if (!converted) ++record->failedTextures;
    record->AddRead(result.foundPath);
    record->AddRead(database);
    for (const std::string *alpha : {&settings_.bmpAlphaName, &settings_.pixMaskName}) {
      if (!alpha->empty() && FileExists(alpha->c_str())) record->AddRead(*alpha);
    }
    if (!converted) return;
    record->AddWritten(pvrPath);
    if (result.textureFormat == kTexFormatPal4 || result.textureFormat == kTexFormatPal8)
      record->AddWritten(PVR_WithSuffix(pvrPath.c_str(), ".pvp"));
  }

  // Every texture record of the unique texture (all materials that use the
  // image) takes its size and alpha kind; the size is at most 1024.
  void StoreInRecords(int32_t number, const PVR_TexInfo &result) {
    for (int32_t k = 0; k < list_->textureCount; ++k) {
      if (list_->tlist[k].number != number) continue;
      ScTexture *record = list_->tlist[k].texture;
      if (record == nullptr) continue;
      record->width = std::min(result.width, kPVRMaxSide);
      record->height = std::min(result.height, kPVRMaxSide);
      record->alphaKind = result.alphaKind;
    }
  }

  void WriteLine(const VKTextureEntry &entry, const std::string &name, const std::string &comment) {
    const char *text = name.c_str();
    if (entry.bank != -1) {
      const int same = name == previousName_ ? 1 : 0;
      VKPrintAscii(writer_, "%s( \"%s\", %d, %d ),", "\tPTEXN", text, same, entry.bank);
      VKPrintBin(writer_, "g$I$i", text, same ? 0x10000 : 0, static_cast<int>(static_cast<uint32_t>(entry.bank) << 26));
    } else if (info_->flags & vkflag::kTexn3) {
      VKPrintAscii(writer_, "%s( \"%s\", 0x0, 0 ),", "\tTEXN3", text);
      VKPrintBin(writer_, "g$I$i", text, 0, 0);
    } else {
      VKPrintAscii(writer_, "%s( \"%s\" ),", "\tTEXN", text);
      VKPrintBin(writer_, "g$I$i", text, 0, 0);
    }
    const size_t blanks = name.size() < kCommentColumn ? kCommentColumn - name.size() : 1;
    VKPrintAscii(writer_, "%*s%s\n", static_cast<int>(blanks), "", comment.c_str());
    previousName_ = name;
  }

  VKWriteInfo *info_;
  VKWriter &writer_;
  const VKOptimizeInfo *list_;
  int32_t ownCounter_ = 0;
  int32_t *counter_;
  PVR_Settings settings_;  // the defaults before the first texture
  std::string previousName_;
  std::unique_ptr<VKSectionArchive> archive_;
};

}  // namespace

int SectionWriter(VKWriteInfo *info) {
  if (info == nullptr || info->writer == nullptr || !(info->flags & vkflag::kTexListSection)) return 1;
  const VKOptimizeInfo *list = info->optimizeInfo;
  if (list == nullptr || list->textureCount < 1) return 1;
  Section(info).Write();
  return 1;
}
