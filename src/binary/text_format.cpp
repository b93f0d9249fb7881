// Formatting of the dual print's text: one walk over the format, each
// conversion written with std::to_chars and padded as printf pads it.
#include "binary/text_format.h"

#include <sys/types.h>

#include <charconv>
#include <cstdint>
#include <cmath>
#include <cstring>

namespace {

enum class Length : uint8_t { kNone, kChar, kShort, kLong, kLongLong, kSize };

struct Spec {
  bool left = false;  // '-'
  bool zero = false;  // '0'
  int width = 0;
  int precision = -1;  // none
  Length length = Length::kNone;
  char conversion = 0;
};

constexpr int kMostWidth = 4096;
constexpr int kMostPrecision = 64;

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// Reads the conversion after a '%'; null when it is not one handled here.
const char *ParseSpec(const char *p, Spec *spec) {
  *spec = Spec{};
  for (;; ++p) {
    if (*p == '-') {
      spec->left = true;
    } else if (*p == '0') {
      spec->zero = true;
    } else {
      break;
    }
  }
  for (; IsDigit(*p); ++p) {
    spec->width = spec->width * 10 + (*p - '0');
    if (spec->width > kMostWidth) return nullptr;
  }
  if (*p == '.') {
    spec->precision = 0;
    for (++p; IsDigit(*p); ++p) {
      spec->precision = spec->precision * 10 + (*p - '0');
      if (spec->precision > kMostPrecision) return nullptr;
    }
  }
  if (*p == 'h') {
    ++p;
    spec->length = Length::kShort;
    if (*p == 'h') {
      ++p;
      spec->length = Length::kChar;
    }
  } else if (*p == 'l') {
    ++p;
    spec->length = Length::kLong;
    if (*p == 'l') {
      ++p;
      spec->length = Length::kLongLong;
    }
  } else if (*p == 'z') {
    ++p;
    spec->length = Length::kSize;
  }
  spec->conversion = *p;
  switch (*p) {
    case 'd':
    case 'i':
    case 'u':
    case 'x':
    case 'X':
      if (spec->precision >= 0) return nullptr;
      break;
    case 'c':
      if (spec->precision >= 0 || spec->length != Length::kNone) return nullptr;
      break;
    case 's':
      if (spec->length != Length::kNone) return nullptr;
      break;
    case 'f':
    case 'F':
      if (spec->length != Length::kNone && spec->length != Length::kLong) return nullptr;
      break;
    case '%':
      if (spec->left || spec->zero || spec->width || spec->precision >= 0 || spec->length != Length::kNone)
        return nullptr;
      break;
    default:
      return nullptr;
  }
  return p + 1;
}

class Output {
 public:
  Output(char *out, size_t room) : p_(out), end_(out + room) {}
  void Put(const char *text, size_t length) {
    if (static_cast<size_t>(end_ - p_) <= length) {
      full_ = true;
      return;
    }
    std::memcpy(p_, text, length);
    p_ += length;
  }
  void Fill(char c, int count) {
    if (count <= 0) return;
    if (end_ - p_ <= count) {
      full_ = true;
      return;
    }
    std::memset(p_, c, static_cast<size_t>(count));
    p_ += count;
  }
  // A field padded to the width: on the left with spaces, or with zeros
  // after the sign when `zeros`; on the right with spaces when left-aligned.
  void Field(const Spec &spec, const char *text, size_t length, bool zeros) {
    const int pad = spec.width - static_cast<int>(length);
    if (spec.left) {
      Put(text, length);
      Fill(' ', pad);
    } else if (zeros && spec.zero) {
      const size_t sign = length > 0 && text[0] == '-' ? 1 : 0;
      Put(text, sign);
      Fill('0', pad);
      Put(text + sign, length - sign);
    } else {
      Fill(' ', pad);
      Put(text, length);
    }
  }
  bool full() const { return full_; }
  char *end() const { return p_; }

 private:
  char *p_;
  char *end_;
  bool full_ = false;
};

template <typename T>
void Integer(Output &out, const Spec &spec, T value, int base, bool upper) {
  char digits[32];
  const auto result = std::to_chars(digits, digits + sizeof digits, value, base);
  const size_t length = static_cast<size_t>(result.ptr - digits);
  if (upper) {
    for (size_t i = 0; i < length; ++i)
      if (digits[i] >= 'a' && digits[i] <= 'f') digits[i] = static_cast<char>(digits[i] - 'a' + 'A');
  }
  out.Field(spec, digits, length, true);
}

void Signed(Output &out, const Spec &spec, va_list *args) {
  switch (spec.length) {
    case Length::kChar: Integer(out, spec, static_cast<signed char>(va_arg(*args, int)), 10, false); break;
    case Length::kShort: Integer(out, spec, static_cast<short>(va_arg(*args, int)), 10, false); break;
    case Length::kLong: Integer(out, spec, va_arg(*args, long), 10, false); break;
    case Length::kLongLong: Integer(out, spec, va_arg(*args, long long), 10, false); break;
    case Length::kSize: Integer(out, spec, va_arg(*args, ssize_t), 10, false); break;
    case Length::kNone: Integer(out, spec, va_arg(*args, int), 10, false); break;
  }
}

void Unsigned(Output &out, const Spec &spec, va_list *args) {
  const int base = spec.conversion == 'u' ? 10 : 16;
  const bool upper = spec.conversion == 'X';
  switch (spec.length) {
    case Length::kChar: Integer(out, spec, static_cast<unsigned char>(va_arg(*args, unsigned)), base, upper); break;
    case Length::kShort: Integer(out, spec, static_cast<unsigned short>(va_arg(*args, unsigned)), base, upper); break;
    case Length::kLong: Integer(out, spec, va_arg(*args, unsigned long), base, upper); break;
    case Length::kLongLong: Integer(out, spec, va_arg(*args, unsigned long long), base, upper); break;
    case Length::kSize: Integer(out, spec, va_arg(*args, size_t), base, upper); break;
    case Length::kNone: Integer(out, spec, va_arg(*args, unsigned), base, upper); break;
  }
}

// Fixed notation: std::to_chars with a precision rounds the exact binary
// value as printf does. Infinities and NaNs are spelt as printf spells them
// and never padded with zeros.
void Fixed(Output &out, const Spec &spec, double value) {
  char text[320 + kMostPrecision];
  if (!std::isfinite(value)) {
    size_t length = 0;
    if (std::signbit(value)) text[length++] = '-';
    const char *word = std::isnan(value) ? (spec.conversion == 'F' ? "NAN" : "nan") : (spec.conversion == 'F' ? "INF" : "inf");
    std::memcpy(text + length, word, 3);
    out.Field(spec, text, length + 3, false);
    return;
  }
  const int precision = spec.precision < 0 ? 6 : spec.precision;
  const auto result = std::to_chars(text, text + sizeof text, value, std::chars_format::fixed, precision);
  out.Field(spec, text, static_cast<size_t>(result.ptr - text), true);
}

void Text(Output &out, const Spec &spec, const char *text) {
  if (text == nullptr) text = spec.precision < 0 || spec.precision >= 6 ? "(null)" : "";
  const size_t length = spec.precision < 0 ? std::strlen(text) : strnlen(text, static_cast<size_t>(spec.precision));
  out.Field(spec, text, length, false);
}

}  // namespace

int VKFormatText(char *out, size_t room, const char *format, va_list args) {
  if (room == 0) return -1;
  // The arguments are read from a copy: a conversion not handled here, met
  // halfway, leaves the caller's list as it was for printf.
  va_list walk;
  va_copy(walk, args);
  Output text(out, room);
  Spec spec;
  bool handled = true;
  for (const char *p = format; *p != '\0' && handled && !text.full();) {
    const char *start = p;
    while (*p != '\0' && *p != '%') ++p;
    text.Put(start, static_cast<size_t>(p - start));
    if (*p == '\0') break;
    p = ParseSpec(p + 1, &spec);
    if (p == nullptr) {
      handled = false;
      break;
    }
    switch (spec.conversion) {
      case 'd':
      case 'i': Signed(text, spec, &walk); break;
      case 'u':
      case 'x':
      case 'X': Unsigned(text, spec, &walk); break;
      case 'c': {
        const char c = static_cast<char>(va_arg(walk, int));
        text.Field(spec, &c, 1, false);
        break;
      }
      case 's': Text(text, spec, va_arg(walk, const char *)); break;
      case 'f':
      case 'F': Fixed(text, spec, va_arg(walk, double)); break;
      default: text.Put("%", 1); break;
    }
  }
  va_end(walk);
  if (!handled || text.full()) return -1;
  *text.end() = '\0';
  return static_cast<int>(text.end() - out);
}
