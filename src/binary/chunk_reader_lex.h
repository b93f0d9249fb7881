// Lines, tokens and numbers of the Chunk-model ASCII reader. Internal to the
// reader (binary/chunk_reader*.cpp).
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

namespace vkcnk {

// The lines of the input, from text in memory or from a file read in large
// blocks; a line is handed out without its line end.
class LineSource {
 public:
  explicit LineSource(std::string_view text) : data_(text.data()), size_(text.size()), atEnd_(true) {}
  explicit LineSource(std::FILE *file) : file_(file), block_(kBlockSize) {}
  // The next line, valid until the next call; false after the last line.
  bool Next(std::string_view &line);
  bool readError() const { return readError_; }

 private:
  static constexpr size_t kBlockSize = 1 << 20;
  bool Refill();

  std::FILE *file_ = nullptr;
  std::vector<char> block_;
  const char *data_ = nullptr;
  size_t size_ = 0;
  size_t at_ = 0;
  bool atEnd_ = false;  // no more data behind data_
  bool readError_ = false;
  std::string carry_;   // a line that runs over the end of a block
};

// The two delimiter sets of the tokenizer (a carriage return counts as a
// blank in both): the wide one of names and numbers, and the narrow one of
// flag expressions, which keeps FST_UA|FST_IL or "(0x0|FDA_100" one token.
enum class Delimiters : uint8_t { kWide, kNarrow };

// Tokens over the lines of a source. A comment "/*" ... "*/" counts as one
// blank and must close on its line; "//" ends the line. Each token ends at
// one delimiter, which it consumes; a token stays valid until the next line
// is read.
class Lexer {
 public:
  explicit Lexer(LineSource &source) : source_(source) {}
  // The next token; false at the end of the input or at a "/*" that does not
  // close on its line (unclosedComment() then tells).
  bool Next(std::string_view &token, Delimiters set = Delimiters::kWide);
  // The line of the last token, or of the last line read.
  int line() const { return line_; }
  bool unclosedComment() const { return unclosedComment_; }
  bool readError() const { return source_.readError(); }

 private:
  bool NextLine();

  LineSource &source_;
  std::string text_;         // the current line with its comments taken out
  std::string_view current_;  // the current line (text_, or the line itself when it has no comment)
  size_t at_ = 0;
  int line_ = 0;
  bool unclosedComment_ = false;
};

// Numbers. Each takes the whole token and fails on anything else.
// An integer: "0x" (or "0X") and hexadecimal digits up to 32 bits, or
// decimal digits with an optional sign from -2^31 to 2^32 - 1; the 32-bit
// pattern (two's complement for negative values).
bool ParseInteger(std::string_view token, uint32_t &value);
// Hexadecimal digits with an optional "0x", up to 32 bits.
bool ParseHex(std::string_view token, uint32_t &value);
// A real number, optionally ending in "f" or "F".
bool ParseReal(std::string_view token, double &value);

// A flag expression token split at blanks, parentheses and "|": each part is
// a number ("0x" hexadecimal, or decimal when it starts with a digit) or a
// flag name (an unknown name gives 0xFC19); the parts ORed into 16 bits.
// Fails on a part that starts like a number and does not parse; `unknown`
// receives the first unknown flag name (empty when none).
bool ParseFlagExpression(std::string_view token, uint16_t &value, std::string_view &unknown);

}  // namespace vkcnk
