// Formatting of the dual print's text: a format is compiled once into its
// literal runs and conversions; each conversion is written with std::to_chars
// and padded as printf pads it.
#include "binary/text_format.h"

#include <sys/types.h>

#include <charconv>
#include <cmath>
#include <cstring>
#include <type_traits>

namespace {

enum Length : uint8_t { kNone, kChar, kShort, kLong, kLongLong, kSize };

constexpr int kMostWidth = 4096;
constexpr int kMostPrecision = 64;

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// Reads the conversion after a '%'; null when it is not one handled here.
const char *ParseSpec(const char *p, VKTextConversion *spec) {
  spec->left = spec->zero = false;
  spec->width = 0;
  spec->precision = -1;
  spec->length = kNone;
  for (;; ++p) {
    if (*p == '-') {
      spec->left = true;
    } else if (*p == '0') {
      spec->zero = true;
    } else {
      break;
    }
  }
  int width = 0;
  for (; IsDigit(*p); ++p) {
    width = width * 10 + (*p - '0');
    if (width > kMostWidth) return nullptr;
  }
  spec->width = static_cast<int16_t>(width);
  if (*p == '.') {
    int precision = 0;
    for (++p; IsDigit(*p); ++p) {
      precision = precision * 10 + (*p - '0');
      if (precision > kMostPrecision) return nullptr;
    }
    spec->precision = static_cast<int8_t>(precision);
  }
  if (*p == 'h') {
    ++p;
    spec->length = kShort;
    if (*p == 'h') {
      ++p;
      spec->length = kChar;
    }
  } else if (*p == 'l') {
    ++p;
    spec->length = kLong;
    if (*p == 'l') {
      ++p;
      spec->length = kLongLong;
    }
  } else if (*p == 'z') {
    ++p;
    spec->length = kSize;
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
      if (spec->precision >= 0 || spec->length != kNone) return nullptr;
      break;
    case 's':
      if (spec->length != kNone) return nullptr;
      break;
    case 'f':
    case 'F':
      if (spec->length != kNone && spec->length != kLong) return nullptr;
      break;
    case '%':
      if (spec->left || spec->zero || spec->width || spec->precision >= 0 || spec->length != kNone) return nullptr;
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
  // The same for a text that has at least 16 readable bytes (the pieces of
  // a compiled format and the digits made here): short ones are copied as
  // 16 bytes at once, the rest of them overwritten by what follows.
  void PutPadded(const char *text, size_t length) {
    if (length <= 16 && static_cast<size_t>(end_ - p_) > 16) {
      std::memcpy(p_, text, 16);
      p_ += length;
      return;
    }
    Put(text, length);
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
  void Field(const VKTextConversion &spec, const char *text, size_t length, bool zeros, bool padded = false) {
    const int pad = spec.width - static_cast<int>(length);
    if (pad <= 0) {
      if (padded) {
        PutPadded(text, length);
      } else {
        Put(text, length);
      }
    } else if (spec.left) {
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
void Integer(Output &out, const VKTextConversion &spec, T value, int base, bool upper) {
  char digits[48];
  size_t length;
  if (base == 16) {
    // Hexadecimal digits from the lowest up, as to_chars gives them.
    const char *names = upper ? "0123456789ABCDEF" : "0123456789abcdef";
    auto rest = static_cast<std::make_unsigned_t<T>>(value);
    length = 0;
    for (auto v = rest; v != 0 || length == 0; v >>= 4) ++length;
    for (size_t i = length; i-- > 0; rest >>= 4) digits[i] = names[rest & 15];
  } else {
    length = static_cast<size_t>(std::to_chars(digits, digits + 32, value, base).ptr - digits);
  }
  out.Field(spec, digits, length, true, true);
}

void Signed(Output &out, const VKTextConversion &spec, va_list *args) {
  switch (spec.length) {
    case kChar: Integer(out, spec, static_cast<signed char>(va_arg(*args, int)), 10, false); break;
    case kShort: Integer(out, spec, static_cast<short>(va_arg(*args, int)), 10, false); break;
    case kLong: Integer(out, spec, va_arg(*args, long), 10, false); break;
    case kLongLong: Integer(out, spec, va_arg(*args, long long), 10, false); break;
    case kSize: Integer(out, spec, va_arg(*args, ssize_t), 10, false); break;
    case kNone: Integer(out, spec, va_arg(*args, int), 10, false); break;
  }
}

void Unsigned(Output &out, const VKTextConversion &spec, va_list *args) {
  const int base = spec.conversion == 'u' ? 10 : 16;
  const bool upper = spec.conversion == 'X';
  switch (spec.length) {
    case kChar: Integer(out, spec, static_cast<unsigned char>(va_arg(*args, unsigned)), base, upper); break;
    case kShort: Integer(out, spec, static_cast<unsigned short>(va_arg(*args, unsigned)), base, upper); break;
    case kLong: Integer(out, spec, va_arg(*args, unsigned long), base, upper); break;
    case kLongLong: Integer(out, spec, va_arg(*args, unsigned long long), base, upper); break;
    case kSize: Integer(out, spec, va_arg(*args, size_t), base, upper); break;
    case kNone: Integer(out, spec, va_arg(*args, unsigned), base, upper); break;
  }
}

// Fixed notation: std::to_chars with a precision rounds the exact binary
// value as printf does. Infinities and NaNs are spelt as printf spells them
// and never padded with zeros.
void Fixed(Output &out, const VKTextConversion &spec, double value) {
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
  out.Field(spec, text, static_cast<size_t>(result.ptr - text), true, true);
}

void Text(Output &out, const VKTextConversion &spec, const char *text) {
  if (text == nullptr) text = spec.precision < 0 || spec.precision >= 6 ? "(null)" : "";
  const size_t length = spec.precision < 0 ? std::strlen(text) : strnlen(text, static_cast<size_t>(spec.precision));
  out.Field(spec, text, length, false);
}

}  // namespace

bool VKTextFormat::Compile(const char *format) {
  address_ = nullptr;
  handled_ = false;
  count_ = 0;
  const size_t size = strnlen(format, kMostLength + 1);
  if (size > static_cast<size_t>(kMostLength)) return false;
  std::memcpy(text_, format, size + 1);
  address_ = format;
  size_t literal = 0;
  for (size_t i = 0; i < size;) {
    if (text_[i] != '%') {
      ++i;
      continue;
    }
    if (count_ == kMostConversions) return false;
    VKTextConversion &conversion = conversions_[count_];
    const char *next = ParseSpec(text_ + i + 1, &conversion);
    if (next == nullptr) return false;
    conversion.literalStart = static_cast<uint16_t>(literal);
    conversion.literalLength = static_cast<uint16_t>(i - literal);
    ++count_;
    i = static_cast<size_t>(next - text_);
    literal = i;
  }
  tailStart_ = static_cast<uint16_t>(literal);
  tailLength_ = static_cast<uint16_t>(size - literal);
  handled_ = true;
  return true;
}

bool VKTextFormat::Is(const char *format) const {
  return address_ == format && std::strcmp(text_, format) == 0;
}

int VKTextFormat::Format(char *out, size_t room, va_list args) const {
  if (!handled_ || room == 0) return -1;
  // The arguments are read from a copy: the caller's list stays as it was
  // for printf when the text does not fit.
  va_list walk;
  va_copy(walk, args);
  Output text(out, room);
  for (int i = 0; i < count_ && !text.full(); ++i) {
    const VKTextConversion &spec = conversions_[i];
    text.PutPadded(text_ + spec.literalStart, spec.literalLength);
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
  text.PutPadded(text_ + tailStart_, tailLength_);
  va_end(walk);
  if (text.full()) return -1;
  *text.end() = '\0';
  return static_cast<int>(text.end() - out);
}

int VKFormatText(char *out, size_t room, const char *format, va_list args) {
  VKTextFormat compiled;
  if (!compiled.Compile(format)) return -1;
  return compiled.Format(out, room, args);
}

int VKTextFormats::Format(char *out, size_t room, const char *format, va_list args) {
  static_assert(kEntries == 64);
  const uint64_t key = reinterpret_cast<uintptr_t>(format);
  VKTextFormat &entry = entries_[(key * 0x9E3779B97F4A7C15ull) >> (64 - 6)];
  if (!entry.Is(format)) entry.Compile(format);
  return entry.Format(out, room, args);
}
