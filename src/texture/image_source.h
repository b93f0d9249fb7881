// Internal to the image readers: buffered, bounds-checked access to one source
// file, byte-order helpers, and the per-format entry points that
// image_read.cpp dispatches to.
#pragma once

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <string>

#include "texture/image_read.h"

namespace pvr_read {

// A source file opened for reading. Every read is checked against the file's
// size: a read that would run past the end fails and consumes nothing.
class SourceFile {
 public:
  SourceFile() = default;
  ~SourceFile();
  SourceFile(const SourceFile &) = delete;
  SourceFile &operator=(const SourceFile &) = delete;

  bool Open(const char *path);  // as named, binary
  void Adopt(FILE *file);       // takes an open file over
  bool IsOpen() const { return file_ != nullptr; }
  long Size() const { return size_; }
  long Position() const { return bufferStart_ + static_cast<long>(bufferPos_); }
  long Remaining() const { return size_ - Position(); }
  bool Seek(long offset);  // false when offset lies past the end
  bool Read(void *dst, size_t count);
  bool Skip(long count) { return count >= 0 && count <= Remaining() && Seek(Position() + count); }

 private:
  void Refill();

  FILE *file_ = nullptr;
  long size_ = 0;
  long bufferStart_ = 0;
  size_t bufferUsed_ = 0;
  size_t bufferPos_ = 0;
  uint8_t buffer_[1 << 16];
};

inline uint32_t Le16(const uint8_t *p) { return p[0] | static_cast<uint32_t>(p[1]) << 8; }
inline uint32_t Le32(const uint8_t *p) { return Le16(p) | Le16(p + 2) << 16; }
inline int32_t Le32s(const uint8_t *p) { return static_cast<int32_t>(Le32(p)); }
inline int32_t Be16s(const uint8_t *p) { return static_cast<int16_t>(p[0] << 8 | p[1]); }
inline uint32_t Be16(const uint8_t *p) { return static_cast<uint32_t>(p[0]) << 8 | p[1]; }

// Sets *why (when given) to the formatted text.
void SetWhy(std::string *why, const char *format, ...) __attribute__((format(printf, 2, 3)));

// False (with a reason) when a side is not 1 to kPVRMaxSourceSide.
bool SidesUsable(int64_t width, int64_t height, std::string *why);

// Allocates the image filled with alpha 255 and black.
void StartImage(PVR_Image *image, int32_t width, int32_t height);
// Leaves the image empty and returns 0.
int FailImage(PVR_Image *image);

// Header of each format into `info` (width, height, source type; the caller
// completes it). Return 1 or 0.
int ReadHeaderBMP(SourceFile &file, const char *name, PVR_TexInfo *info, std::string *why);
int ReadHeaderPIC(SourceFile &file, const char *name, PVR_TexInfo *info, std::string *why);
int ReadHeaderTGA(SourceFile &file, const char *name, PVR_TexInfo *info, std::string *why);
int ReadHeaderPIX(SourceFile &file, const char *name, PVR_TexInfo *info, std::string *why);

// Image of each format. Return 1 or 0 (image left empty).
int ReadImageBMP(const char *name, const PVR_Settings &settings, PVR_Image *image, std::string *why);
int ReadImagePIC(const char *name, PVR_Image *image, std::string *why);
int ReadImageTGA(const char *name, PVR_Image *image, std::string *why);
int ReadImagePIX(const char *name, const PVR_Settings &settings, PVR_Image *image, std::string *why);

}  // namespace pvr_read
