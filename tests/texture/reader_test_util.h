// Small helpers of the texture reader tests: little- and big-endian byte
// strings, a console capture, and a working-folder switch.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <initializer_list>
#include <string>

namespace readtest {

inline std::string Le16(uint32_t v) { return {static_cast<char>(v & 0xFF), static_cast<char>((v >> 8) & 0xFF)}; }
inline std::string Le32(uint32_t v) { return Le16(v & 0xFFFF) + Le16(v >> 16); }
inline std::string Be16(uint32_t v) { return {static_cast<char>((v >> 8) & 0xFF), static_cast<char>(v & 0xFF)}; }
inline std::string Bytes(std::initializer_list<int> list) {
  std::string out;
  for (int b : list) out += static_cast<char>(b);
  return out;
}

// Everything printed on the console while it lives (all streams are stderr).
class Console {
 public:
  Console() { testing::internal::CaptureStderr(); }
  ~Console() {
    if (!taken_) testing::internal::GetCapturedStderr();
  }
  std::string Text() {
    taken_ = true;
    return testing::internal::GetCapturedStderr();
  }

 private:
  bool taken_ = false;
};

// Runs in `folder` while it lives.
class InFolder {
 public:
  explicit InFolder(const std::string &folder) {
    char buffer[4096];
    old_ = getcwd(buffer, sizeof buffer) ? buffer : ".";
    EXPECT_EQ(chdir(folder.c_str()), 0);
  }
  ~InFolder() { EXPECT_EQ(chdir(old_.c_str()), 0); }

 private:
  std::string old_;
};

}  // namespace readtest
