// Applies a texture's resource record to its conversion settings.
#include <cstring>
#include <string>

#include "base/console.h"
#include "base/file_names.h"
#include "texture/resource_db.h"

namespace {

constexpr int32_t kMaxPaletteBank = 63;

// The database beside the source: as named, else beside "./" and the base
// name, where the image readers find the source too.
VKResDB *OpenBeside(const char *picname) {
  if (VKResDB *db = VKResOpen(picname)) return db;
  std::string local = std::string("./") + BaseName(picname);
  return VKResOpen(local.c_str());
}

}  // namespace

int PVR_ApplyResource(PVR_Settings *settings, const char *picname, std::string *opened) {
  VKResDB *db = OpenBeside(picname);
  if (opened != nullptr) *opened = db != nullptr ? db->path : "";
  if (db == nullptr) return 0;
  VKResLoad(db);  // a load that stopped on an error still answers for what it read
  int status;
  const void *data = VKResFind(db, "TextureTex", &status);
  ResTextureTex record{};
  if (data != nullptr) std::memcpy(&record, data, sizeof record);
  VKResClose(db);
  if (data == nullptr) return 0;

  PrintInfo("[FIND RESOURCE] ");
  if (record.pvrLockOn) {
    PrintInfo("[PVR LOCK] ");
    return 1;
  }
  if (record.globalIndex != -1) settings->globalIndex = record.globalIndex;
  if (record.fromat == -1) {
    settings->autoForm = 1;
  } else {
    settings->autoForm = 0;
    settings->pixelFormat = record.fromat;
  }
  if (record.category != -1 && record.category != 0) settings->textureFormat = record.category;
  settings->autoMipmap = settings->vqMipmap = record.mipmap;
  settings->dither = record.dither;
  settings->alphaDither = record.alphaDither;
  settings->vqAlgorithm =
      record.vqMode == -1 || settings->textureFormat == kTexFormatSmallVQ ? 4 : record.vqMode;
  if (record.paletteBank >= 0 && record.paletteBank <= kMaxPaletteBank) {
    settings->textureFormat = kTexFormatPalFromBmp;
    settings->paletteBank = record.paletteBank;
    settings->paletteFirst = 0;
    settings->paletteCount = 0;
  }
  return 1;
}
