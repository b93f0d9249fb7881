// Line reading, tokens and number conversions.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "reader/tokens.h"
#include "support/test_support.h"

namespace {

using vkreader::LineReader;
using vkreader::LineTokens;

std::vector<std::string> Tokens(std::string line) {
  LineTokens tokens{};
  vkreader::Tokenize(&tokens, line.data());
  std::vector<std::string> out;
  for (int i = 0; i < tokens.count; i++) out.emplace_back(tokens[i]);
  return out;
}

using Strings = std::vector<std::string>;

TEST(TokensTest, SeparatorsAndBraces) {
  struct Case {
    const char *line;
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
}

TEST(TokensTest, NumberConversions) {
  using vkreader::Decimal16;
  using vkreader::DecimalValue;
  using vkreader::HexValue;
  using vkreader::RealValue;
  EXPECT_EQ(DecimalValue("123"), 123);
  EXPECT_EQ(DecimalValue("-45,"), -45);
  EXPECT_EQ(DecimalValue("12abc"), 12);
  EXPECT_EQ(DecimalValue("abc"), 0);
  EXPECT_EQ(DecimalValue("-"), 0);
  EXPECT_EQ(Decimal16("70000"), 4464);
  EXPECT_EQ(Decimal16("-1"), 0xFFFF);
  EXPECT_EQ(HexValue("0x94002400"), 2483037184u);
  EXPECT_EQ(HexValue("0x0"), 0u);
  EXPECT_EQ(HexValue("0XfF"), 255u);
  EXPECT_EQ(HexValue("c000"), 0xC000u);
  EXPECT_EQ(HexValue("0x12g4"), 0x12u);
  EXPECT_EQ(HexValue("zz"), 0u);
  EXPECT_FLOAT_EQ(RealValue("-1.500000F"), -1.5f);
  EXPECT_FLOAT_EQ(RealValue("0.25"), 0.25f);
  EXPECT_FLOAT_EQ(RealValue("1.5e"), 1.5f);   // the exponent's '+' cut the token
  EXPECT_FLOAT_EQ(RealValue("02F"), 2.0f);
  EXPECT_FLOAT_EQ(RealValue("2.5e-1F"), 0.25f);
  EXPECT_FLOAT_EQ(RealValue(".5"), 0.5f);
  EXPECT_FLOAT_EQ(RealValue("7."), 7.0f);
  EXPECT_FLOAT_EQ(RealValue("x1"), 0.0f);
  EXPECT_FLOAT_EQ(RealValue("0x10"), 0.0f);
  EXPECT_FLOAT_EQ(RealValue("-.F"), 0.0f);
  EXPECT_TRUE(std::isinf(RealValue("1e99")));
  EXPECT_FLOAT_EQ(RealValue("1e-99"), 0.0f);
}

TEST(TokensTest, LongLinesAreReadInPiecesAndCounted) {
  vktest::ScratchDir dir;
  const std::string path = dir.file("lines.txt");
  std::string text = "first line\n";
  text += std::string(1500, 'a') + "\n";
  text += "\n";
  text += "last line without end";
  ASSERT_TRUE(vktest::WriteFile(path, text));
  std::FILE *file = std::fopen(path.c_str(), "r");
  ASSERT_NE(file, nullptr);
  LineReader reader(file);
  struct Expect {
    int line;
    int count;
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

TEST(TokensTest, MostTokensOnOneLine) {
  std::string line;
  for (int i = 0; i < 511; i++) line += "1 ";
  line += "9";  // 1023 characters, 512 tokens
  LineTokens tokens{};
  vkreader::Tokenize(&tokens, line.data());
  EXPECT_EQ(tokens.count, 512);
  EXPECT_EQ(tokens[511], "9");
}

}  // namespace
