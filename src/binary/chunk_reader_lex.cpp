// Lines, comments, tokens and numbers of the Chunk-model ASCII reader.
#include "binary/chunk_reader_lex.h"

#include <array>
#include <charconv>
#include <cstring>

#include "base/chunk_kinds.h"

namespace vkcnk {
namespace {

using CharSet = std::array<bool, 256>;

constexpr CharSet MakeSet(std::string_view characters) {
  CharSet set{};
  for (char c : characters) set[static_cast<unsigned char>(c)] = true;
  return set;
}

// Blank, comma, tab, line end, parentheses, braces, brackets, vertical bar
// and double quote; flag expressions keep parentheses, bars and quotes.
constexpr CharSet kWideSet = MakeSet(" ,\t\n\r(){}[]|\"");
constexpr CharSet kNarrowSet = MakeSet(" ,\t\n\r{}[]");
// The parts of a flag expression.
constexpr CharSet kFlagPartSet = MakeSet(" \t\n\r()|");

bool In(const CharSet &set, char c) { return set[static_cast<unsigned char>(c)]; }

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

bool HasHexPrefix(std::string_view token) {
  return token.size() >= 2 && token[0] == '0' && (token[1] == 'x' || token[1] == 'X');
}

// Hexadecimal digits (at least one), up to 32 bits.
bool HexDigits(std::string_view digits, uint32_t &value) {
  if (digits.empty()) return false;
  const char *end = digits.data() + digits.size();
  auto [stop, error] = std::from_chars(digits.data(), end, value, 16);
  return error == std::errc() && stop == end;
}

}  // namespace

// ---- Lines ------------------------------------------------------------------------------
bool LineSource::Refill() {
  if (!file_ || atEnd_) return false;
  const size_t count = std::fread(block_.data(), 1, block_.size(), file_);
  if (count < block_.size()) {
    atEnd_ = true;
    if (std::ferror(file_)) readError_ = true;
  }
  data_ = block_.data();
  size_ = count;
  at_ = 0;
  return count > 0;
}

bool LineSource::Next(std::string_view &line) {
  carry_.clear();
  bool carrying = false;
  for (;;) {
    const size_t left = size_ - at_;
    const char *begin = left ? data_ + at_ : nullptr;
    const void *newline = left ? std::memchr(begin, '\n', left) : nullptr;
    if (newline) {
      const size_t length = static_cast<size_t>(static_cast<const char *>(newline) - begin);
      at_ += length + 1;
      if (!carrying) {
        line = std::string_view(begin, length);
      } else {
        carry_.append(begin, length);
        line = carry_;
      }
      return true;
    }
    if (left) {
      carry_.append(begin, left);
      carrying = true;
    }
    at_ = size_;
    if (!Refill()) {
      if (!carrying) return false;
      line = carry_;
      return true;
    }
  }
}

// ---- Tokens ------------------------------------------------------------------------------
bool Lexer::NextLine() {
  std::string_view raw;
  if (!source_.Next(raw)) return false;
  ++line_;
  at_ = 0;
  size_t slash = raw.find('/');
  if (slash == std::string_view::npos) {
    current_ = raw;
    return true;
  }
  text_.clear();
  size_t from = 0;
  for (; slash != std::string_view::npos && slash + 1 < raw.size(); slash = raw.find('/', from)) {
    const char next = raw[slash + 1];
    if (next == '/') {
      raw = raw.substr(0, slash);
      break;
    }
    if (next != '*') {
      text_.append(raw.substr(from, slash + 1 - from));
      from = slash + 1;
      continue;
    }
    const size_t close = raw.find("*/", slash + 2);
    if (close == std::string_view::npos) {
      unclosedComment_ = true;
      return false;
    }
    text_.append(raw.substr(from, slash - from));
    text_.push_back(' ');
    from = close + 2;
  }
  if (from < raw.size()) text_.append(raw.substr(from));
  current_ = text_;
  return true;
}

bool Lexer::Next(std::string_view &token, Delimiters set) {
  const CharSet &delimiters = set == Delimiters::kWide ? kWideSet : kNarrowSet;
  for (;;) {
    while (at_ < current_.size() && In(delimiters, current_[at_])) ++at_;
    if (at_ < current_.size()) break;
    if (unclosedComment_ || !NextLine()) return false;
  }
  const size_t start = at_;
  while (at_ < current_.size() && !In(delimiters, current_[at_])) ++at_;
  token = current_.substr(start, at_ - start);
  if (at_ < current_.size()) ++at_;  // the delimiter that ends the token
  return true;
}

// ---- Numbers ------------------------------------------------------------------------------
bool ParseHex(std::string_view token, uint32_t &value) {
  return HexDigits(HasHexPrefix(token) ? token.substr(2) : token, value);
}

bool ParseInteger(std::string_view token, uint32_t &value) {
  if (HasHexPrefix(token)) return HexDigits(token.substr(2), value);
  bool negative = false;
  if (!token.empty() && (token[0] == '-' || token[0] == '+')) {
    negative = token[0] == '-';
    token.remove_prefix(1);
  }
  if (token.empty() || !IsDigit(token[0])) return false;
  uint64_t magnitude = 0;
  const char *end = token.data() + token.size();
  auto [stop, error] = std::from_chars(token.data(), end, magnitude, 10);
  if (error != std::errc() || stop != end) return false;
  if (magnitude > (negative ? 0x80000000ull : 0xFFFFFFFFull)) return false;
  value = negative ? 0u - static_cast<uint32_t>(magnitude) : static_cast<uint32_t>(magnitude);
  return true;
}

bool ParseReal(std::string_view token, double &value) {
  if (!token.empty() && (token.back() == 'f' || token.back() == 'F')) token.remove_suffix(1);
  if (!token.empty() && token[0] == '+') token.remove_prefix(1);
  const char *end = token.data() + token.size();
  auto [stop, error] = std::from_chars(token.data(), end, value);
  return error == std::errc() && stop == end;
}

bool ParseFlagExpression(std::string_view token, uint16_t &value, std::string_view &unknown) {
  value = 0;
  unknown = {};
  size_t at = 0;
  while (at < token.size()) {
    while (at < token.size() && In(kFlagPartSet, token[at])) ++at;
    const size_t start = at;
    while (at < token.size() && !In(kFlagPartSet, token[at])) ++at;
    const std::string_view part = token.substr(start, at - start);
    if (part.empty()) break;
    uint32_t bits = 0;
    if (HasHexPrefix(part) || IsDigit(part[0])) {
      if (!ParseInteger(part, bits)) return false;
    } else {
      bits = VKFlagValue(part);
      if (bits == kVKUnknownFlag && unknown.empty()) unknown = part;
    }
    value = static_cast<uint16_t>(value | bits);
  }
  return true;
}

}  // namespace vkcnk
