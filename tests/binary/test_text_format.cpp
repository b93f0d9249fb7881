// The dual print's own formatting against snprintf, the literal oracle: every
// format the writers use and the flags, widths and precisions it handles,
// over edge values and many random ones (random bit patterns of floats and
// doubles, so every exponent is met); formats it does not handle, and texts
// that do not fit, are left to printf.
#include <gtest/gtest.h>

#include <cfloat>
#include <climits>
#include <bit>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "binary/text_format.h"

namespace {

// Ours on `room` bytes ("<printf>" when it leaves the call to printf), and
// snprintf's text, on the same arguments; printf is not asked when `ours`.
struct Both {
  std::string ours, printf;
};
Both Format(size_t room, bool oursOnly, const char *format, ...) {
  char ours[1024], theirs[1024];
  va_list args;
  va_start(args, format);
  const int length = VKFormatText(ours, room, format, args);
  va_end(args);
  int expected = 0;
  if (!oursOnly) va_start(args, format), expected = std::vsnprintf(theirs, sizeof theirs, format, args), va_end(args);
  return {length < 0 ? "<printf>" : std::string(ours, static_cast<size_t>(length)),
          std::string(theirs, static_cast<size_t>(expected))};
}
template <typename... Args>
void ExpectAsPrintf(const char *format, Args... args) {
  const Both both = Format(1024, false, format, args...);
  ::testing::Message values;
  ((values << " " << args), ...);
  EXPECT_EQ(both.ours, both.printf) << format << values;
}

// The formats the model writers pass to the dual print, and the variants of
// width, flags and precision the formatter accepts.
TEST(TextFormat, IntegersAndTextsAsPrintfWritesThem) {
  for (const char *format : {"%d", "%i", "%5d", "%-5d|", "%05d", "%x", "%08x", "%X", "%u", "%3u", "%hd", "%hhd", "%hx",
                             "%hhx", "%-8x|", "%010u", "\t%s(%d, %d),\n"})
    for (int value : {0, 1, -1, 9, 10, -10, 255, 256, 65535, 65536, 123456789, INT_MAX, INT_MIN, INT_MIN + 1}) {
      std::strchr(format, 's') ? ExpectAsPrintf(format, "CnkV", value, ~value) : ExpectAsPrintf(format, value);
    }
  for (long value : {0L, -1L, LONG_MIN, LONG_MAX, 1L << 40})
    for (const char *format : {"%ld", "%lu", "%lx", "%lld", "%20ld", "%-20lx|", "%zu", "%zd"})
      ExpectAsPrintf(format, value);
  for (const char *text : {"", "a", "object_big_o7", "with space", "12345678901234567890"})
    for (const char *format : {"%s", "%10s", "%-10s|", "%.3s", "%8.2s", "%-8.0s|", "%s%s%s%s[]\n", "%c", "%3c", "%-3c|"}) {
      std::strchr(format, 'c') ? ExpectAsPrintf(format, text[0] ? text[0] : 'z')
                               : ExpectAsPrintf(format, text, text, text, text);
    }
  const char *null = nullptr;
  for (const char *format : {"%s", "%.3s", "%.6s", "%10s"}) ExpectAsPrintf(format, null);
  ExpectAsPrintf("100%% done\n");
  ExpectAsPrintf("[%c]", 0);
}

// Fixed notation: std::to_chars with a precision gives printf's digits. Floats
// reach the writers as doubles; both are covered by random bit patterns, and
// the values where rounding is decided (ties at each precision, the largest
// values, denormals, negative zero) by hand. Non-finite values are spelt as
// printf spells them.
TEST(TextFormat, FixedNotationAsPrintfWritesIt) {
  std::vector<double> values = {0.0,       -0.0,      0.5,      1.5,       2.5,      -2.5,     0.125,    0.0000005,
                                0.0000015, 1e-7,      -1e-7,    0.9999995, 999999.5, 1e15,     1e22,     1e23,
                                FLT_MAX,   -FLT_MAX,  FLT_MIN,  FLT_TRUE_MIN, DBL_MAX, -DBL_MAX, DBL_MIN, DBL_TRUE_MIN,
                                1.0 / 3,   2.0 / 3,   0.05,     0.15,      0.25,     0.35,     123.4565, 123.4575};
  std::mt19937_64 random(5);
  for (int i = 0; i < 40000; ++i) {
    const uint64_t bits = random();
    const auto f = std::bit_cast<float>(static_cast<uint32_t>(bits));
    const auto d = std::bit_cast<double>(bits);
    if (std::isfinite(f)) values.push_back(f);
    // Every tenth double of any size, the others of the sizes models have.
    if (i % 10 == 0 && std::isfinite(d)) values.push_back(d);
    const double mantissa = 1.0 + static_cast<double>(bits >> 12) * 0x1p-52;
    values.push_back((bits & 1 ? -1 : 1) * std::ldexp(mantissa, static_cast<int>(bits >> 1 & 127) - 64));
  }
  for (double value : values)
    for (const char *format : {"%f", "%9.6f", "%9.6fF", "%.0f", "%.1f", "%.3f", "%12.3f", "%-12.3f|", "%012.3f", "%F",
                               "%lf", "%.17f", "( %9.6fF, %9.6fF, %9.6fF ),\n"}) {
      const Both both = Format(1024, false, format, value, -value, value / 7);
      ASSERT_EQ(both.ours, both.printf) << format << " " << value;
    }
  for (double value : {std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity(),
                       std::numeric_limits<double>::quiet_NaN(), -std::numeric_limits<double>::quiet_NaN()})
    for (const char *format : {"%f", "%F", "%9.6f", "%-9.2f|", "%09.2f"}) ExpectAsPrintf(format, value);
}

// Formats with anything it does not handle, and texts longer than the room,
// go to printf with the arguments untouched.
TEST(TextFormat, LeavesOtherFormatsToPrintf) {
  for (const char *format : {"%e", "%g", "%a", "%+d", "% d", "%#x", "%*d", "%.3d", "%p", "%Lf", "%lc", "%ls", "%5%",
                             "%q", "%", "%d %e", "%99999d", "%.99f"})
    EXPECT_EQ(Format(64, true, format, 1, 2).ours, "<printf>") << format;
  EXPECT_EQ(Format(8, false, "%s", "1234567").ours, "1234567");
  EXPECT_EQ(Format(8, false, "%s", "12345678").ours, "<printf>");
  EXPECT_EQ(Format(4, false, "%5d", 1).ours, "<printf>");
  EXPECT_EQ(Format(0, false, "").ours, "<printf>");
}

}  // namespace
