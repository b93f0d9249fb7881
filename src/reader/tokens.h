// Source lines and tokens of the Basic-model reader: a line is read into a
// 1024-byte buffer and cut in place into tokens; blocks and fields are
// recognised by their first token. Internal to the reader.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string_view>

namespace vkreader {

constexpr int kLineSize = 1024;  // 1023 characters and the terminating NUL
constexpr int kMaxTokens = 512;  // a 1023-character line holds at most 512

struct LineTokens {
  const char *token[kMaxTokens];
  uint16_t length[kMaxTokens];
  int32_t count;

  std::string_view operator[](int i) const { return {token[i], length[i]}; }
};

// Cuts `buffer` in place: each token is a maximal run of token characters
// (letters, digits, '-', '.', '/', '_', '{', '}'); the separator after a
// token is overwritten by a NUL.
void Tokenize(LineTokens *tokens, char *buffer);

// The first token Tokenize would find in the NUL-terminated line, without
// cutting it.
std::string_view FindFirstToken(const char *line);

// The first token, or an empty view for a line without tokens (never equal
// to a keyword).
inline std::string_view FirstToken(const LineTokens &tokens) {
  return tokens.count > 0 ? tokens[0] : std::string_view();
}

// Reads a text file line by line, as fgets into a 1024-byte buffer would: a
// line longer than 1023 characters is delivered in pieces, each counted as a
// line of its own. The file is read in large blocks and each line is cut in
// place in the block (the byte after it is put back when the next line is
// read); it is tokenised when its tokens are first asked for, and first()
// alone looks for the first token only.
class LineReader {
 public:
  explicit LineReader(std::FILE *file);
  // Reads the next line; false at end of file.
  bool ReadLine();
  // Back to the start of the file with the line counter cleared.
  void Rewind();
  int line() const { return lineCount_; }
  const LineTokens &tokens() const { return Tokenized(); }
  std::string_view first() const {
    if (tokenized_) return FirstToken(tokens_);
    if (!firstKnown_) FindFirst();
    return first_;
  }
  int count() const { return Tokenized().count; }
  std::string_view operator[](int i) const { return Tokenized()[i]; }

 private:
  const LineTokens &Tokenized() const {
    if (!tokenized_) TokenizeLine();
    return tokens_;
  }
  void TokenizeLine() const;
  void FindFirst() const;
  // Moves the unread rest to the front of the block and reads more.
  void Fill();
  // Puts back the byte that ends the current line in the block.
  void Restore();

  std::FILE *file_;
  size_t blockSize_;  // the file size and its last NUL, at least a line, at most 1 MiB
  std::unique_ptr<char[]> block_;  // blockSize_ bytes and the NUL after the last line
  size_t begin_ = 0;               // unread bytes of the block: [begin_, end_)
  size_t end_ = 0;
  bool atEnd_ = false;  // the file has no more bytes (or failed)
  size_t cutAt_ = 0;    // the NUL after the current line, and the byte it replaced
  char cutByte_ = 0;
  bool cut_ = false;
  int32_t lineCount_ = 0;
  // The current line and its tokens, filled on demand.
  char *line_ = nullptr;
  mutable LineTokens tokens_{};
  mutable bool tokenized_ = true;
  mutable bool firstKnown_ = true;
  mutable std::string_view first_;
};

// Number conversions; each reads the token from its start and stops at the
// first character that cannot continue the number.
// Optional '-' and decimal digits (no digits gives 0), wrapping modulo 2^32.
int32_t DecimalValue(std::string_view token);
// The low 16 bits of DecimalValue, for the 16-bit fields.
inline uint16_t Decimal16(std::string_view token) {
  return static_cast<uint16_t>(static_cast<uint32_t>(DecimalValue(token)));
}
// Optional "0x"/"0X" and hexadecimal digits, as an unsigned 32-bit value.
uint32_t HexValue(std::string_view token);
// A decimal fraction with optional exponent ("1.500000F" gives 1.5).
float RealValue(std::string_view token);

}  // namespace vkreader
