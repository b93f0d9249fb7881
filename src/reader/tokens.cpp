// Line reading, tokenising and number conversions of the Basic-model reader.
#include "reader/tokens.h"

#include <array>
#include <charconv>
#include <cstdlib>
#include <cstring>

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

float RealValue(std::string_view token) {
  // Find the longest prefix of the form [-]digits[.digits][(e|E)[-]digits].
  size_t i = 0;
  if (i < token.size() && token[i] == '-') i++;
  size_t digits = 0;
  while (i < token.size() && IsDigit(token[i])) i++, digits++;
  if (i < token.size() && token[i] == '.') {
    i++;
    while (i < token.size() && IsDigit(token[i])) i++, digits++;
  }
  if (digits == 0) return 0.0f;
  if (i < token.size() && (token[i] == 'e' || token[i] == 'E')) {
    size_t j = i + 1;
    if (j < token.size() && token[j] == '-') j++;
    if (j < token.size() && IsDigit(token[j])) {
      while (j < token.size() && IsDigit(token[j])) j++;
      i = j;
    }
  }
  float value = 0.0f;
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
