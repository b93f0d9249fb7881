#include "texture/texture_io.h"

#include <cstdarg>
#include <cstdio>
#include <string>

#include "base/console.h"
#include "base/output_files.h"

namespace {

// Formats into a string (messages are short; long ones are cut).
std::string Format(const char *format, va_list args) {
  char buffer[2048];
  std::vsnprintf(buffer, sizeof buffer, format, args);
  return buffer;
}

std::string TemporaryOf(const char *path) { return std::string(path) + kTemporarySuffix; }

}  // namespace

void PVR_ShowFramed(const char *format, ...) {
  va_list args;
  va_start(args, format);
  std::string text = Format(format, args);
  va_end(args);
  PrintInfo("\n#####\n%s\n#####\n", text.c_str());
}

void PVR_ShowStarred(const char *format, ...) {
  va_list args;
  va_start(args, format);
  std::string text = Format(format, args);
  va_end(args);
  PrintInfo("\n*** %s ***\n", text.c_str());
}

bool PVR_WriteTemporaryFile(const char *path, const std::vector<uint8_t> &bytes) {
  const std::string temporary = TemporaryOf(path);
  FILE *file = std::fopen(temporary.c_str(), "wb");
  if (file == nullptr) return false;
  bool ok = bytes.empty() || std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
  if (std::fclose(file) != 0) ok = false;
  if (!ok) std::remove(temporary.c_str());
  return ok;
}

bool PVR_CommitTemporaryFile(const char *path) {
  const std::string temporary = TemporaryOf(path);
  if (std::rename(temporary.c_str(), path) == 0) return true;
  std::remove(temporary.c_str());
  return false;
}

void PVR_DiscardTemporaryFile(const char *path) { std::remove(TemporaryOf(path).c_str()); }

bool PVR_WriteWholeFile(const char *path, const std::vector<uint8_t> &bytes) {
  return PVR_WriteTemporaryFile(path, bytes) && PVR_CommitTemporaryFile(path);
}

bool PVR_ReadWholeFile(const char *path, std::vector<uint8_t> *bytes) {
  FILE *file = std::fopen(path, "rb");
  if (file == nullptr) return false;
  bytes->clear();
  unsigned char buffer[65536];
  size_t got;
  while ((got = std::fread(buffer, 1, sizeof buffer, file)) > 0) bytes->insert(bytes->end(), buffer, buffer + got);
  bool ok = !std::ferror(file);
  std::fclose(file);
  return ok;
}
