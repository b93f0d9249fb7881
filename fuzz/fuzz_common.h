// Shared by the fuzz targets: a private scratch folder for the files the
// readers open, a silent console, and the split of one input into a flags
// byte and two files.
#pragma once

#include <stdlib.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

#include "base/console.h"

namespace fuzz {

// Created on first use (in memory-backed /dev/shm when there is one, else
// /tmp), removed at exit. The name is kept in a plain array so that the exit
// handler never sees a destroyed string.
inline const char *Scratch() {
  static char folder[64] = "";
  if (folder[0] == '\0') {
    std::snprintf(folder, sizeof folder, "%s/vkfuzz-XXXXXX",
                  std::filesystem::is_directory("/dev/shm") ? "/dev/shm" : "/tmp");
    if (mkdtemp(folder) == nullptr) std::abort();
    SetMessageStream(nullptr);
    SetInfoStream(nullptr);
    SetErrorStream(nullptr);
    SetWarningStream(nullptr);
    SetNoteStream(nullptr);
    std::atexit([] {
      std::error_code ec;
      std::filesystem::remove_all(Scratch(), ec);
    });
  }
  return folder;
}

inline std::string Path(const char *name) { return std::string(Scratch()) + "/" + name; }

// Replaces the file (unlinked first: rewriting a truncated file makes some
// file systems flush it on close, which is slow).
inline void Write(const std::string &path, const uint8_t *data, size_t size) {
  std::remove(path.c_str());
  FILE *file = std::fopen(path.c_str(), "wb");
  if (file == nullptr) std::abort();
  if (size > 0 && std::fwrite(data, 1, size, file) != size) std::abort();
  std::fclose(file);
}

// Input layout: byte 0 flags, bytes 1-4 the length of the first file (low
// byte first, cut to what is there), the first file, then the second file.
struct Parts {
  uint8_t flags = 0;
  const uint8_t *first = nullptr;
  size_t firstSize = 0;
  const uint8_t *second = nullptr;
  size_t secondSize = 0;
};

inline Parts Split(const uint8_t *data, size_t size) {
  Parts parts;
  if (size == 0) return parts;
  parts.flags = data[0];
  size_t at = size < 5 ? size : 5;
  uint32_t length = 0;
  for (size_t i = 1; i < at; ++i) length |= static_cast<uint32_t>(data[i]) << (8 * (i - 1));
  size_t rest = size - at;
  parts.first = data + at;
  parts.firstSize = length < rest ? length : rest;
  parts.second = parts.first + parts.firstSize;
  parts.secondSize = rest - parts.firstSize;
  return parts;
}

// Messages the program prints straight to stderr (the Basic reader's, the
// suffix warning) go nowhere while an object of this lives; libFuzzer keeps
// its own stream, and sanitizer reports go to the file descriptor.
class QuietStderr {
 public:
  QuietStderr() : saved_(stderr) { stderr = Null(); }
  ~QuietStderr() { stderr = saved_; }
  QuietStderr(const QuietStderr &) = delete;
  QuietStderr &operator=(const QuietStderr &) = delete;

 private:
  static FILE *Null() {
    static FILE *const null = std::fopen("/dev/null", "w");
    if (null == nullptr) std::abort();
    return null;
  }
  FILE *saved_;
};

}  // namespace fuzz
