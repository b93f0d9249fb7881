// Redirects one console stream into a temporary file for the object's life.
#pragma once

#include <cstdio>
#include <string>

#include "base/console.h"

namespace vktest {

class Capture {
 public:
  Capture(FILE *(*get)(), void (*set)(FILE *)) : set_(set), old_(get()), file_(std::tmpfile()) { set_(file_); }
  ~Capture() {
    set_(old_);
    std::fclose(file_);
  }
  Capture(const Capture &) = delete;
  Capture &operator=(const Capture &) = delete;
  std::string Text() {  // everything written so far
    std::string text(static_cast<size_t>(std::ftell(file_)), '\0');
    std::rewind(file_);
    text.resize(std::fread(text.data(), 1, text.size(), file_));
    std::fseek(file_, 0, SEEK_END);
    return text;
  }

 private:
  void (*set_)(FILE *);
  FILE *old_;
  FILE *file_;
};

}  // namespace vktest
