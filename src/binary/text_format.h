// The text side of the dual print without the printf machinery: the
// conversions the model writers use, formatted with std::to_chars, which
// gives the same characters as printf for them.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>

// Formats like vsnprintf into `out` (at most `room` bytes with the closing
// NUL) and returns the length. Handles the conversions d, i, u, x, X, c, s, f,
// F and %% with the flags '-' and '0', a width, a precision (for s, f and F)
// and the length modifiers h, hh, l, ll and z, in formats of at most 127
// characters and 16 conversions. For any other format, and for a text that
// does not fit, returns -1; the arguments are read from a copy, so the
// caller formats `args` with printf then.
int VKFormatText(char *out, size_t room, const char *format, va_list args);

// One conversion of a compiled format and the literal text before it.
struct VKTextConversion {
  uint16_t literalStart;  // in the format
  uint16_t literalLength;
  int16_t width;
  int8_t precision;  // -1: none
  uint8_t length;    // length modifier
  char conversion;
  bool left;  // '-'
  bool zero;  // '0'
};

// A format read once, formatted many times.
class VKTextFormat {
 public:
  static constexpr int kMostLength = 127;
  static constexpr int kMostConversions = 16;
  // False when the format is not one VKFormatText handles.
  bool Compile(const char *format);
  // VKFormatText with this format.
  int Format(char *out, size_t room, va_list args) const;
  // The format this one was compiled from: the same address and text.
  bool Is(const char *format) const;

 private:
  const char *address_ = nullptr;
  bool handled_ = false;
  uint8_t count_ = 0;
  uint16_t tailStart_ = 0;  // literal text after the last conversion
  uint16_t tailLength_ = 0;
  char text_[kMostLength + 1 + 16] = {};  // 16 bytes more: pieces are copied 16 bytes at a time
  VKTextConversion conversions_[kMostConversions] = {};
};

// The formats of one writer, each compiled on its first use and found again
// by its address (and checked against its text).
class VKTextFormats {
 public:
  int Format(char *out, size_t room, const char *format, va_list args);

 private:
  static constexpr int kEntries = 64;
  VKTextFormat entries_[kEntries];
};
