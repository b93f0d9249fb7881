// Line reading, tokens and number conversions; the block reader and the
// short decimal conversion against their literal versions.
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
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

// The literal conversion: the longest number prefix through from_chars (and
// strtof where that is out of range).
float LiteralRealValue(std::string_view token) {
  size_t i = 0, digits = 0;
  const auto digit = [&](size_t at) { return at < token.size() && token[at] >= '0' && token[at] <= '9'; };
  if (i < token.size() && token[i] == '-') i++;
  for (; digit(i); i++) digits++;
  if (i < token.size() && token[i] == '.')
    for (i++; digit(i); i++) digits++;
  if (digits == 0) return 0.0f;
  if (i < token.size() && (token[i] == 'e' || token[i] == 'E')) {
    size_t j = i + 1;
    if (j < token.size() && token[j] == '-') j++;
    if (digit(j)) {
      while (digit(j)) j++;
      i = j;
    }
  }
  const std::string prefix(token.substr(0, i));
  float value = 0.0f;
  if (std::from_chars(prefix.data(), prefix.data() + prefix.size(), value).ec == std::errc::result_out_of_range)
    value = std::strtof(prefix.c_str(), nullptr);
  return value;
}

// Decimals of up to 19 digits take a shorter way than the full conversion;
// the literal conversion is the oracle, bit for bit, over the texts the
// writers print ("%f" and "%9.6fF" of random floats of every exponent), long
// digit strings, values halfway between two floats, the largest and smallest
// floats, and exponents.
TEST(TokensTest, RealValueMatchesTheFullConversion) {
  std::mt19937_64 random(3);
  std::vector<std::string> texts = {
      "0", "-0", "-0.000000F", "3.4028235e38", "340282346638528859811704183484516925440.0",
      "340282356779733661637539395458142568448.0", "1.17549435e-38", "0.0000000000000000000000000000000000000117549435",
      "16777217", "16777217.0", "0.30000001192092896", "1e-46", "1e39", "9999999999999999999", "99999999999999999999",
      "0.1", "-0.1F", "123456789012345678.9", "5e-324", "8388608.5", "8388609.5", "696.9572448730469",
      "-0.00008718854587641545", "0.001099860470276326"};
  char text[512];
  for (int i = 0; i < 200000; ++i) {
    const uint64_t bits = random();
    float f;
    const uint32_t low = static_cast<uint32_t>(bits);
    std::memcpy(&f, &low, sizeof f);
    if (!std::isfinite(f)) continue;
    const char *formats[] = {"%f", "%9.6fF", "%.9g", "%.3f", "%.12f"};
    std::snprintf(text, sizeof text, formats[i % 5], static_cast<double>(f));
    texts.emplace_back(text);
    // Halfway between f and the next float up, printed exactly, and printed
    // with 15 and 16 digits: some of those decimals are not halfway but their
    // nearest double is.
    const float next = std::nextafter(f, std::numeric_limits<float>::infinity());
    const double halfway = (static_cast<double>(f) + static_cast<double>(next)) / 2;
    if (std::isfinite(next) && halfway != 0) {
      if (i % 7 == 0) {
        std::snprintf(text, sizeof text, "%.60f", halfway);
        texts.emplace_back(text);
      }
      const int whole = static_cast<int>(std::floor(std::log10(std::fabs(halfway)))) + 1;
      for (int significant : {15, 16}) {
        std::snprintf(text, sizeof text, "%.*f", std::clamp(significant - whole, 0, 22), halfway);
        texts.emplace_back(text);
      }
    }
    // Digit strings of every length up to 25 with a point anywhere.
    std::string digits = std::to_string(bits) + std::to_string(bits >> 7);
    digits.resize(1 + bits % 25);
    digits.insert(bits % (digits.size() + 1), ".");
    texts.push_back((bits & 1 ? "-" : "") + digits);
  }
  for (const std::string &t : texts) {
    const float ours = vkreader::RealValue(t), literal = LiteralRealValue(t);
    uint32_t a, b;
    std::memcpy(&a, &ours, 4);
    std::memcpy(&b, &literal, 4);
    ASSERT_EQ(a, b) << t;
  }
}

// The reader reads blocks and tokenises on demand; the literal reading
// (fgets into the 1024-byte line buffer, then Tokenize) is the oracle: over
// random texts of short, long, empty and unterminated lines with NUL bytes,
// carriage returns and lines of exactly 1023 characters, both give the same
// lines (numbered alike, long ones cut in 1023-character pieces) with the same
// tokens, and the same again after a rewind. Texts larger than the reader's
// block cross its refills.
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
