// Source file access shared by the image readers, and the format dispatch of
// the header and image readers.
#include "texture/image_read.h"

#include <cctype>
#include <cstring>

#include "base/console.h"
#include "base/file_names.h"
#include "texture/image_source.h"

namespace pvr_read {

SourceFile::~SourceFile() {
  if (file_ != nullptr) std::fclose(file_);
}

bool SourceFile::Open(const char *path) {
  FILE *file = std::fopen(path, "rb");
  if (file == nullptr) return false;
  Adopt(file);
  return true;
}

void SourceFile::Adopt(FILE *file) {
  if (file_ != nullptr) std::fclose(file_);
  file_ = file;
  size_ = 0;
  if (std::fseek(file, 0, SEEK_END) == 0) {
    long end = std::ftell(file);
    if (end > 0) size_ = end;
  }
  std::fseek(file, 0, SEEK_SET);
  bufferStart_ = 0;
  bufferUsed_ = bufferPos_ = 0;
}

void SourceFile::Refill() {
  bufferStart_ += static_cast<long>(bufferPos_);
  bufferPos_ = 0;
  bufferUsed_ = std::fread(buffer_, 1, sizeof buffer_, file_);
}

bool SourceFile::Seek(long offset) {
  if (file_ == nullptr || offset < 0 || offset > size_) return false;
  if (offset >= bufferStart_ && offset <= bufferStart_ + static_cast<long>(bufferUsed_)) {
    bufferPos_ = static_cast<size_t>(offset - bufferStart_);
    return true;
  }
  if (std::fseek(file_, offset, SEEK_SET) != 0) return false;
  bufferStart_ = offset;
  bufferUsed_ = bufferPos_ = 0;
  return true;
}

bool SourceFile::Read(void *dst, size_t count) {
  if (file_ == nullptr || static_cast<unsigned long>(Remaining()) < count) return false;
  auto *out = static_cast<uint8_t *>(dst);
  long start = Position();
  while (count > 0) {
    if (bufferPos_ == bufferUsed_) {
      Refill();
      if (bufferUsed_ == 0) {  // the file shrank under us
        Seek(start);
        return false;
      }
    }
    size_t take = bufferUsed_ - bufferPos_;
    if (take > count) take = count;
    std::memcpy(out, buffer_ + bufferPos_, take);
    bufferPos_ += take;
    out += take;
    count -= take;
  }
  return true;
}

void SetWhy(std::string *why, const char *format, ...) {
  if (why == nullptr) return;
  char text[512];
  va_list args;
  va_start(args, format);
  std::vsnprintf(text, sizeof text, format, args);
  va_end(args);
  *why = text;
}

bool SidesUsable(int64_t width, int64_t height, std::string *why) {
  if (width < 1 || height < 1) {
    SetWhy(why, "The image size %lldx%lld is not valid.", static_cast<long long>(width),
           static_cast<long long>(height));
    return false;
  }
  if (width > kPVRMaxSourceSide || height > kPVRMaxSourceSide) {
    SetWhy(why, "The image size %lldx%lld is beyond the limit of %d texels a side.",
           static_cast<long long>(width), static_cast<long long>(height), kPVRMaxSourceSide);
    return false;
  }
  return true;
}

void StartImage(PVR_Image *image, int32_t width, int32_t height) {
  image->width = width;
  image->height = height;
  image->texels.assign(4 * static_cast<size_t>(width) * static_cast<size_t>(height), 0);
  for (size_t i = 0; i < image->texels.size(); i += 4) image->texels[i + kTexelA] = 255;
}

int FailImage(PVR_Image *image) {
  image->width = image->height = 0;
  image->texels.clear();
  image->texels.shrink_to_fit();
  return 0;
}

}  // namespace pvr_read

using namespace pvr_read;

FILE *PVR_OpenSource(const char *name, std::string *found) {
  FILE *file = std::fopen(name, "rb");
  if (file != nullptr) {
    *found = name;
    return file;
  }
  std::string local = std::string("./") + BaseName(name);
  file = std::fopen(local.c_str(), "rb");
  if (file != nullptr) *found = local;
  return file;
}

int PVR_ReadHeader(PVR_SourceType type, const char *name, PVR_TexInfo *info, std::string *why) {
  if (why != nullptr) why->clear();
  std::string found;
  FILE *opened = PVR_OpenSource(name, &found);
  if (opened == nullptr) {
    if (type == kSourceBMP) PrintError("Error: Can't open file %s\n", name);
    else PrintWarning("Warning : Can't open file %s\n", name);
    return 0;
  }
  SourceFile file;
  file.Adopt(opened);
  int ok = 0;
  switch (type) {
    case kSourceBMP: ok = ReadHeaderBMP(file, name, info, why); break;
    case kSourcePIC: ok = ReadHeaderPIC(file, name, info, why); break;
    case kSourceTGA: ok = ReadHeaderTGA(file, name, info, why); break;
    case kSourcePIX: ok = ReadHeaderPIX(file, name, info, why); break;
    default: SetWhy(why, "Unknown source type %d.", static_cast<int>(type)); return 0;
  }
  if (!ok) return 0;
  info->sourceType = type;
  info->textureFormat = info->width == info->height ? kTexFormatTwiddled : kTexFormatRectangle;
  info->badSize = PVR_IsSide(info->width) && PVR_IsSide(info->height) ? 0 : 1;
  std::snprintf(info->foundPath, sizeof info->foundPath, "%s", found.c_str());
  return 1;
}

int PVR_ReadImage(PVR_SourceType type, const char *name, const PVR_Settings &settings,
                  PVR_Image *image, std::string *why) {
  if (why != nullptr) why->clear();
  FailImage(image);
  switch (type) {
    case kSourceBMP: return ReadImageBMP(name, settings, image, why);
    case kSourcePIC: return ReadImagePIC(name, image, why);
    case kSourceTGA: return ReadImageTGA(name, image, why);
    case kSourcePIX: return ReadImagePIX(name, settings, image, why);
    default: SetWhy(why, "Unknown source type %d.", static_cast<int>(type)); return 0;
  }
}

std::string PVR_TranslucentName(const char *name) {
  const char *base = BaseName(name);
  std::string result(name, static_cast<size_t>(base - name));
  result += 't';
  result += base;
  return result;
}

std::string PVR_Suffix(const char *name) {
  const char *dot = std::strrchr(BaseName(name), '.');
  return dot != nullptr ? std::string(dot) : std::string();
}

std::string PVR_WithSuffix(const char *name, const char *suffix) {
  std::string path(name);
  size_t base = static_cast<size_t>(BaseName(name) - name);
  size_t dot = path.rfind('.');
  if (dot != std::string::npos && dot >= base) path.erase(dot);
  return path + suffix;
}

PVR_SourceType PVR_SourceTypeOfSuffix(const std::string &suffix) {
  struct Entry {
    const char *suffix;
    PVR_SourceType type;
  };
  static constexpr Entry kSuffixes[] = {
      {".bmp", kSourceBMP}, {".pic", kSourcePIC}, {".tga", kSourceTGA}, {".pix", kSourcePIX}};
  for (const Entry &entry : kSuffixes) {
    if (suffix.size() != std::strlen(entry.suffix)) continue;
    bool same = true;
    for (size_t i = 0; i < suffix.size() && same; ++i) {
      same = std::tolower(static_cast<unsigned char>(suffix[i])) == entry.suffix[i];
    }
    if (same) return entry.type;
  }
  return kSourceNone;
}
