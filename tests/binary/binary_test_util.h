// Helpers of the binary writer tests: running a writer session into a file
// and capturing console streams.
#pragma once

#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "binary/vkprint.h"
#include "frontend/console.h"
#include "support/test_support.h"

namespace vktest {

// Redirects one console stream into a temporary file for the object's life.
class Capture {
 public:
  using Setter = void (*)(FILE *);
  using Getter = FILE *(*)();
  Capture(Getter get, Setter set) : set_(set), old_(get()), file_(std::tmpfile()) { set_(file_); }
  ~Capture() {
    set_(old_);
    std::fclose(file_);
  }
  std::string Text() {
    std::fflush(file_);
    std::string text;
    std::rewind(file_);
    char buffer[4096];
    size_t n;
    while ((n = std::fread(buffer, 1, sizeof buffer, file_)) > 0) text.append(buffer, n);
    std::fseek(file_, 0, SEEK_END);
    return text;
  }

 private:
  Setter set_;
  FILE *old_;
  FILE *file_;
};

// Runs `body` with the writer opened on a scratch file in binary mode (or the
// dump mode) and returns the bytes of the file.
inline std::string WriteBinary(const std::function<void()> &body, bool debug = false) {
  ScratchDir dir;
  std::string name = dir.file("out.vk");
  VKWriteOpenFile(name.c_str());
  if (debug)
    VKWriteSetBinDebug();
  else
    VKWriteSetBin();
  body();
  VKWriteClose();
  return ReadFile(name);
}

inline std::string Bytes(std::initializer_list<int> values) {
  std::string bytes;
  for (int v : values) bytes.push_back(static_cast<char>(v));
  return bytes;
}

inline std::string Hex(const std::string &bytes) {
  std::string text;
  char part[4];
  for (unsigned char c : bytes) {
    std::snprintf(part, sizeof part, "%02x ", c);
    text += part;
  }
  return text;
}

}  // namespace vktest
