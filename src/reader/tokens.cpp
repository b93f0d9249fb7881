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

LineReader::LineReader(std::FILE *file) : file_(file), block_(new char[kBlockSize + 1]) {}

void LineReader::Restore() {
  if (cut_) block_[cutAt_] = cutByte_;
  cut_ = false;
}

void LineReader::Fill() {
  const size_t rest = end_ - begin_;
  std::memmove(block_.get(), block_.get() + begin_, rest);
  begin_ = 0;
  end_ = rest;
  while (!atEnd_ && end_ < kBlockSize) {
    const size_t got = std::fread(block_.get() + end_, 1, kBlockSize - end_, file_);
    end_ += got;
    if (got == 0) atEnd_ = true;  // end of file or a read error (std::ferror tells)
  }
}

bool LineReader::ReadLine() {
  constexpr size_t kMostPerLine = kLineSize - 1;
  Restore();
  if (end_ - begin_ < kMostPerLine && !atEnd_) Fill();
  const size_t available = end_ - begin_;
  if (available == 0) {
    tokens_.count = 0;
    tokenized_ = firstKnown_ = true;
    first_ = {};
    return false;
  }
  char *start = block_.get() + begin_;
  const size_t most = available < kMostPerLine ? available : kMostPerLine;
  const void *newline = std::memchr(start, '\n', most);
  const size_t length = newline ? static_cast<size_t>(static_cast<const char *>(newline) - start) + 1 : most;
  begin_ += length;
  cutAt_ = begin_;
  cutByte_ = block_[cutAt_];
  block_[cutAt_] = '\0';
  cut_ = true;
  line_ = start;
  lineCount_++;
  tokenized_ = firstKnown_ = false;
  return true;
}

const LineTokens &LineReader::Tokenized() const {
  if (!tokenized_) {
    Tokenize(&tokens_, line_);
    tokenized_ = true;
  }
  return tokens_;
}

std::string_view LineReader::first() const {
  if (tokenized_) return FirstToken(tokens_);
  if (!firstKnown_) {
    // The same token Tokenize would find first, without cutting the line.
    const auto *p = reinterpret_cast<const unsigned char *>(line_);
    while (kClass[*p] == kSeparator) p++;
    const unsigned char *start = p;
    while (kClass[*p] == kTokenChar) p++;
    first_ = std::string_view(reinterpret_cast<const char *>(start), static_cast<size_t>(p - start));
    firstKnown_ = true;
  }
  return first_;
}

void LineReader::Rewind() {
  std::rewind(file_);
  cut_ = false;
  begin_ = end_ = 0;
  atEnd_ = false;
  lineCount_ = 0;
  tokens_.count = 0;
  tokenized_ = firstKnown_ = true;
  first_ = {};
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
