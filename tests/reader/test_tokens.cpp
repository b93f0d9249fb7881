// Line reading, tokens and number conversions.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "reader/tokens.h"
#include "support/test_support.h"

namespace {

using Strings = std::vector<std::string>;

Strings Tokens(std::string line) {
  vkreader::LineTokens tokens{};
  vkreader::Tokenize(&tokens, line.data());
  Strings out;
  for (int i = 0; i < tokens.count; i++) out.emplace_back(tokens[i]);
  return out;
}

TEST(TokensTest, SeparatorsAndBraces) {
  struct Case {
    std::string line;
    Strings tokens;
  } cases[] = {
      {"", {}},
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
  for (const Case &c : cases) EXPECT_EQ(Tokens(c.line), c.tokens) << c.line;
  std::string line;  // 1023 characters, the most tokens a line can hold
  for (int i = 0; i < 511; i++) line += "1 ";
  Strings most(511, "1");
  most.push_back("9");
  EXPECT_EQ(Tokens(line + "9"), most);
}

TEST(TokensTest, NumberConversions) {
  using namespace vkreader;
  const std::pair<const char *, int32_t> decimals[] = {{"123", 123}, {"-45,", -45}, {"12abc", 12}, {"abc", 0}, {"-", 0}};
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
  vktest::ScratchDir dir;
  const std::string path = dir.file("lines.txt");
  ASSERT_TRUE(vktest::WriteFile(path, "first line\n" + std::string(1500, 'a') + "\n\nlast line without end"));
  std::FILE *file = std::fopen(path.c_str(), "r");
  ASSERT_NE(file, nullptr);
  vkreader::LineReader reader(file);
  struct Expect {
    int line, count;
    size_t firstLength;
  } expected[] = {{1, 2, 5}, {2, 1, 1023}, {3, 1, 477}, {4, 0, 0}, {5, 4, 4}};
  for (const Expect &e : expected) {
    ASSERT_TRUE(reader.ReadLine());
    EXPECT_EQ(reader.line(), e.line);
    EXPECT_EQ(reader.count(), e.count);
    EXPECT_EQ(reader.first().size(), e.firstLength);
  }
  EXPECT_FALSE(reader.ReadLine());
  reader.Rewind();
  ASSERT_TRUE(reader.ReadLine());
  EXPECT_EQ(reader.line(), 1);
  EXPECT_EQ(reader.first(), "first");
  std::fclose(file);
}

}  // namespace
