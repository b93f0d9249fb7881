// Line reading, tokenising and number conversions of the Basic-model reader.
#include "reader/tokens.h"

#include <array>
#include <cfloat>
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iterator>

namespace vkreader {
namespace {

enum CharClass : uint8_t { kSeparator = 0, kTokenChar = 1, kEndOfLine = 2 };

constexpr std::array<uint8_t, 256> MakeClassTable() {
  std::array<uint8_t, 256> table{};
  for (int c = 'A'; c <= 'Z'; c++) table[c] = kTokenChar;
  for (int c = 'a'; c <= 'z'; c++) table[c] = kTokenChar;
  for (int c = '0'; c <= '9'; c++) table[c] = kTokenChar;
  for (char c : {'-', '.', '/', '_', '{', '}'}) table[static_cast<uint8_t>(c)] = kTokenChar;
  table[0] = kEndOfLine;
  return table;
}

constexpr std::array<uint8_t, 256> kClass = MakeClassTable();

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

}  // namespace

void Tokenize(LineTokens *tokens, char *buffer) {
  tokens->count = 0;
  auto *p = reinterpret_cast<unsigned char *>(buffer);
  for (;;) {
    while (kClass[*p] == kSeparator) p++;
    if (kClass[*p] == kEndOfLine) return;
    unsigned char *start = p;
    while (kClass[*p] == kTokenChar) p++;
    if (tokens->count < kMaxTokens) {
      tokens->token[tokens->count] = reinterpret_cast<const char *>(start);
      tokens->length[tokens->count] = static_cast<uint16_t>(p - start);
      tokens->count++;
    }
    if (kClass[*p] == kEndOfLine) return;
    *p++ = 0;
  }
}

std::string_view FindFirstToken(const char *line) {
  const auto *p = reinterpret_cast<const unsigned char *>(line);
  while (kClass[*p] == kSeparator) p++;
  const unsigned char *start = p;
  while (kClass[*p] == kTokenChar) p++;
  return std::string_view(reinterpret_cast<const char *>(start), static_cast<size_t>(p - start));
}

int32_t DecimalValue(std::string_view token) {
  size_t i = 0;
  bool negative = false;
  if (i < token.size() && token[i] == '-') {
    negative = true;
    i++;
  }
  uint32_t value = 0;
  for (; i < token.size() && IsDigit(token[i]); i++) value = value * 10u + static_cast<uint32_t>(token[i] - '0');
  if (negative) value = 0u - value;
  return static_cast<int32_t>(value);
}

uint32_t HexValue(std::string_view token) {
  size_t i = 0;
  if (token.size() >= 2 && token[0] == '0' && (token[1] == 'x' || token[1] == 'X')) i = 2;
  uint32_t value = 0;
  for (; i < token.size(); i++) {
    int digit = HexDigit(token[i]);
    if (digit < 0) break;
    value = value * 16u + static_cast<uint32_t>(digit);
  }
  return value;
}

namespace {

// The powers of ten a double holds exactly.
constexpr double kExactPowersOfTen[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                                        1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};

// mantissa / 10^fraction without the full conversion where that is exact:
// both are exact doubles, so their quotient is the correctly rounded double
// of the decimal, and that rounds to the correctly rounded float unless it
// lies exactly halfway between two floats (the decimal may then lie on
// either side) or outside the normal floats. False leaves it to the full
// conversion.
bool QuickReal(bool negative, uint64_t mantissa, size_t fraction, float *out) {
  if (mantissa > (uint64_t{1} << 53) || fraction >= std::size(kExactPowersOfTen)) return false;
  if (mantissa == 0) {
    *out = negative ? -0.0f : 0.0f;
    return true;
  }
  const double value = static_cast<double>(mantissa) / kExactPowersOfTen[fraction];
  if (!(value >= static_cast<double>(FLT_MIN) && value <= static_cast<double>(FLT_MAX))) return false;
  uint64_t bits;
  std::memcpy(&bits, &value, sizeof bits);
  constexpr int kDroppedBits = 52 - 23;  // the double's fraction bits a float has no room for
  constexpr uint64_t kDropped = (uint64_t{1} << kDroppedBits) - 1;
  if ((bits & kDropped) == uint64_t{1} << (kDroppedBits - 1)) return false;
  *out = static_cast<float>(negative ? -value : value);
  return true;
}

}  // namespace

float RealValue(std::string_view token) {
  // Find the longest prefix of the form [-]digits[.digits][(e|E)[-]digits].
  size_t i = 0;
  const bool negative = i < token.size() && token[i] == '-';
  if (negative) i++;
  size_t digits = 0, fraction = 0;
  uint64_t mantissa = 0;  // the first 19 digits
  for (; i < token.size() && IsDigit(token[i]); i++, digits++) {
    if (digits < 19) mantissa = mantissa * 10 + static_cast<uint64_t>(token[i] - '0');
  }
  if (i < token.size() && token[i] == '.') {
    i++;
    for (; i < token.size() && IsDigit(token[i]); i++, digits++, fraction++) {
      if (digits < 19) mantissa = mantissa * 10 + static_cast<uint64_t>(token[i] - '0');
    }
  }
  if (digits == 0) return 0.0f;
  bool exponent = false;
  if (i < token.size() && (token[i] == 'e' || token[i] == 'E')) {
    size_t j = i + 1;
    if (j < token.size() && token[j] == '-') j++;
    if (j < token.size() && IsDigit(token[j])) {
      while (j < token.size() && IsDigit(token[j])) j++;
      i = j;
      exponent = true;
    }
  }
  float value = 0.0f;
  if (!exponent && digits <= 19 && QuickReal(negative, mantissa, fraction, &value)) return value;
  auto result = std::from_chars(token.data(), token.data() + i, value);
  if (result.ec == std::errc::result_out_of_range) {
    // Overflow becomes an infinity and underflow zero, as strtof gives.
    char text[kLineSize];
    std::memcpy(text, token.data(), i);
    text[i] = 0;
    value = std::strtof(text, nullptr);
  }
  return value;
}

}  // namespace vkreader
