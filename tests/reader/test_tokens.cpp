// Line reading, tokens and number conversions.
#include <cmath>
#include <cstdio>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "reader/tokens.h"
#include "reader_test_util.h"

namespace {

using vkreadertest::Format;
using Strings = std::vector<std::string>;

Strings Tokens(std::string line) {
  vkreader::LineTokens tokens{};
  vkreader::Tokenize(&tokens, line.data());
  Strings out;
  for (int i = 0; i < tokens.count; i++) out.emplace_back(tokens[i]);
  return out;
}

TEST(TokensTest, SeparatorsAndBraces) {
  const std::pair<std::string, Strings> cases[] = {
      {"   \t \r\n", {}},
      {"OBJECT      object_x_body[]\n", {"OBJECT", "object_x_body"}},
      {"Diffuse   ( 255, 12, 34, 56 ),\r\n", {"Diffuse", "255", "12", "34", "56"}},
      {"\tTEXN( \"tex/wood.bmp\" ),", {"TEXN", "tex/wood.bmp"}},
      {"\tTEXN( \"C:\\tex dir\\wood.bmp\" ),", {"TEXN", "C", "tex", "dir", "wood.bmp"}},
      {"Radius 1.5e+02F;", {"Radius", "1.5e", "02F"}},
      {"{START} x={1}", {"{START}", "x", "{1}"}},
      {"a#b*c;d=e+f[g]h", {"a", "b", "c", "d", "e", "f", "g", "h"}},
      {"caf\xc3\xa9 \xff-1", {"caf", "-1"}},
      {"/* comment */", {"/", "comment", "/"}},
  };
  for (const auto &[line, tokens] : cases) EXPECT_EQ(Tokens(line), tokens) << line;
  std::string most;  // 1023 characters, the most tokens a line can hold
  for (int i = 0; i < 511; i++) most += "1 ";
  EXPECT_EQ(Tokens(most + "1"), Strings(512, "1"));
}

TEST(TokensTest, NumberConversions) {
  using namespace vkreader;
  const std::pair<const char *, int32_t> decimals[] = {{"123", 123}, {"-45,", -45}, {"12ab", 12}, {"abc", 0}, {"-", 0}};
  for (auto [token, value] : decimals) EXPECT_EQ(DecimalValue(token), value) << token;
  EXPECT_EQ(Decimal16("70000"), 4464);
  EXPECT_EQ(Decimal16("-1"), 0xFFFF);
  const std::pair<const char *, uint32_t> hex[] = {{"0x94002400", 0x94002400u}, {"0x0", 0}, {"0XfF", 255},
                                                   {"c000", 0xC000},           {"0x12g4", 0x12}, {"zz", 0}};
  for (auto [token, value] : hex) EXPECT_EQ(HexValue(token), value) << token;
  // "1.5e" and "02F": an exponent's '+' cuts the token.
  const std::pair<const char *, float> reals[] = {{"-1.500000F", -1.5f}, {"0.25", 0.25f}, {"1.5e", 1.5f}, {"02F", 2},
                                                  {"2.5e-1F", 0.25f},    {".5", 0.5f},    {"7.", 7},      {"x1", 0},
                                                  {"0x10", 0},           {"-.F", 0},      {"1e-99", 0}};
  for (auto [token, value] : reals) EXPECT_FLOAT_EQ(RealValue(token), value) << token;
  EXPECT_TRUE(std::isinf(RealValue("1e99")));
}

TEST(TokensTest, LongLinesAreReadInPiecesAndCounted) {
  std::string text = "first line\n" + std::string(1500, 'a') + "\n\nlast line without end";
  std::FILE *file = fmemopen(text.data(), text.size(), "r");
  ASSERT_NE(file, nullptr);
  vkreader::LineReader reader(file);
  // Line number, token count and first token's length, read twice.
  std::string lines;
  for (int pass = 0; pass < 2; pass++, reader.Rewind()) {
    while (reader.ReadLine()) lines += Format("%d %d %zu\n", reader.line(), reader.count(), reader.first().size());
  }
  EXPECT_EQ(lines, "1 2 5\n2 1 1023\n3 1 477\n4 0 0\n5 4 4\n1 2 5\n2 1 1023\n3 1 477\n4 0 0\n5 4 4\n");
  std::fclose(file);
}

// The reader reads blocks and tokenises on demand; the literal reading
// (fgets into the 1024-byte line buffer, then Tokenize) is the oracle: over
// random texts of short, long, empty and unterminated lines with NUL bytes,
// carriage returns and lines of exactly 1023 characters, both give the same
// lines with the same tokens, and the same again after a rewind. Texts larger
// than the reader's block cross its refills.
TEST(TokensTest, BlockReaderMatchesLineByLineReading) {
  std::mt19937 random(11);
  const std::string pieces[] = {"POLYGON", "START", "END", " ", "\t", "12", "-3.5F", ",", "(", "\r", "x_y", "{}", "#"};
  for (int round = 0; round < 40; round++) {
    std::string text;
    const size_t target = round < 4 ? (2u << 20) + random() % 5000 : random() % 20000;
    while (text.size() < target) {
      const unsigned kind = random() % 100;
      if (kind < 70) {
        text += pieces[random() % std::size(pieces)];
      } else if (kind < 85) {
        text += '\n';
      } else if (kind < 90) {
        text += std::string(1 + random() % 1500, "ab 1"[random() % 4]);
      } else if (kind < 93) {
        text += std::string(1022 + random() % 3, 'c') + "\n";  // around the line limit
      } else if (kind < 95) {
        text += '\0';
      } else {
        text += static_cast<char>(random() % 256);
      }
    }
    SCOPED_TRACE("round " + std::to_string(round) + ", " + std::to_string(text.size()) + " bytes");
    std::FILE *file = fmemopen(text.data(), text.size(), "r");
    std::FILE *literal = fmemopen(text.data(), text.size(), "r");
    ASSERT_TRUE(file && literal);
    vkreader::LineReader reader(file);
    for (int pass = 0; pass < 2; pass++) {
      char line[vkreader::kLineSize];
      vkreader::LineTokens tokens{};
      int number = 0;
      // Alternate between asking for the first token only and for all tokens.
      for (;; number++) {
        const bool more = reader.ReadLine();
        const bool expected = std::fgets(line, sizeof line, literal) != nullptr;
        ASSERT_EQ(more, expected) << number;
        if (!more) break;
        vkreader::Tokenize(&tokens, line);
        ASSERT_EQ(reader.line(), number + 1);
        ASSERT_EQ(reader.first(), vkreader::FirstToken(tokens)) << number;
        if (number % 3 != 0) {
          ASSERT_EQ(reader.count(), tokens.count) << number;
          for (int i = 0; i < tokens.count; i++) ASSERT_EQ(reader[i], tokens[i]) << number << " " << i;
          ASSERT_EQ(reader.first(), vkreader::FirstToken(tokens)) << number;
        }
      }
      ASSERT_EQ(reader.count(), 0);
      reader.Rewind();
      std::rewind(literal);
    }
    std::fclose(file);
    std::fclose(literal);
  }
}

}  // namespace
