// File-name utilities.
#include "base/file_names.h"

#include <cstdio>
#include <cstring>

namespace {

bool IsSeparator(char c) { return c == '/' || c == '\\'; }

// Position of the last '.' after the last directory separator, or null: a dot
// in a folder name ("dir.v2/model") is no suffix.
char *LastDot(char *name) {
  char *dot = nullptr;
  for (char *p = name; *p != '\0'; ++p) {
    if (*p == '.') dot = p;
    if (IsSeparator(*p)) dot = nullptr;
  }
  return dot;
}

// Copies text to dest, never writing more than `room` bytes.
void CopyBounded(char *dest, const char *text, size_t room) {
  if (room == 0) return;
  size_t length = std::strlen(text);
  if (length >= room) length = room - 1;
  std::memmove(dest, text, length);
  dest[length] = '\0';
}

}  // namespace

void ReplaceSuffix(char *name, const char *suffix) {
  char *dot = LastDot(name);
  char *end = dot != nullptr ? dot : name + std::strlen(name);
  size_t used = static_cast<size_t>(end - name);
  if (used >= static_cast<size_t>(kNameSize)) return;
  CopyBounded(end, suffix, static_cast<size_t>(kNameSize) - used);
}

void CheckSuffix(char *name, const char *suffix) {
  const char *dot = LastDot(name);
  if (dot != nullptr && std::strcmp(dot, suffix) != 0) {
    std::fprintf(stderr, "Warning : Mismatch suffix\n");
  }
  ReplaceSuffix(name, suffix);
}

void StripSuffix(char *name) {
  char *dot = LastDot(name);
  if (dot != nullptr) *dot = '\0';
}

const char *BaseName(const char *name) {
  const char *base = name;
  for (const char *p = name; *p != '\0'; ++p) {
    if (IsSeparator(*p)) base = p + 1;
  }
  return base;
}

bool FileExists(const char *name) {
  FILE *file = std::fopen(name, "rb");
  if (file == nullptr) return false;
  std::fclose(file);
  return true;
}
