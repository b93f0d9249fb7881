// The parse of one Chunk-model ASCII file: tokens with the block they are
// read in and the first error. Internal to the reader
// (binary/chunk_reader*.cpp).
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>

#include "base/status.h"
#include "binary/chunk_reader.h"
#include "binary/chunk_reader_lex.h"

namespace vkcnk {

// Keywords that open a block or section at the top level; met inside a
// block they mean the block has lost its END.
bool IsBlockKeyword(std::string_view token);

class Parser {
 public:
  Parser(LineSource &source, const char *fileName, VKChunkFile &file)
      : lexer_(source), fileName_(fileName), file_(file) {}

  // The whole file, then the links by name. Ok, or the first error (not
  // printed).
  VKStatus Run();

  // ---- Used by the block parsers ----
  // Records the first error, "Error : <file> : Line <line> : " and the text;
  // returns false.
  bool Fail(int line, const char *format, ...) __attribute__((format(printf, 3, 4)));
  // The block being read, for the message at the end of the input.
  void EnterBlock(const char *kind, std::string_view name, int line, const char *end = "END");
  // The next token; at the end of the input (or at an unclosed comment, or
  // a read error) records the error and returns false.
  bool Token(std::string_view &token, Delimiters set = Delimiters::kWide);
  // The next token, which must be `expected`.
  bool Expect(std::string_view expected);
  // The next token as an integer, hexadecimal number, real number or flag
  // expression; `what` names the value in the message of a token that does
  // not parse.
  bool Integer(uint32_t &value, const char *what);
  bool Hex(uint32_t &value, const char *what);
  bool Real(double &value, const char *what);
  bool Flags(uint16_t &value, const char *what);
  // The line of the last token.
  int line() const { return lexer_.line(); }
  const char *blockKind() const { return blockKind_; }
  const std::string &blockName() const { return blockName_; }

 private:
  bool TopLevel();
  bool TextureSection();
  bool ModelBlock(const std::string &name, int line);
  bool ObjectBlock(const std::string &name, int line);
  bool SkipInstancePrototypes();
  bool BlockName(const char *kind, std::string &name);
  bool Link();
  bool NotNumber(const char *what, std::string_view token);

  Lexer lexer_;
  const char *fileName_;
  VKChunkFile &file_;
  VKStatus error_;
  const char *blockKind_ = "";
  std::string blockName_;
  int blockLine_ = 0;
  const char *blockEnd_ = "END";
  // Each kind of record by name: strip lists, vertex lists, models, objects.
  std::unordered_map<std::string, int> names_[4];
};

// The list blocks, after their name: every line up to END.
bool ParseVertexList(Parser &parser, VKChunkVertexList &list);
bool ParseStripList(Parser &parser, VKChunkStripList &list);

}  // namespace vkcnk
