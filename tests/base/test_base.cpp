// The file-name utilities and the packers, against hand-worked texts and words.
#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <string>
#include <utility>

#include "base/file_names.h"
#include "base/packers.h"

namespace {

// Each name sits in a name buffer followed by guard bytes that must survive;
// names filling the buffer get a cut suffix.
TEST(FileNames, SuffixOperations) {
  const std::string a253(253, 'a');
  const struct {
    std::string name, suffix, replaced;  // ReplaceSuffix, and CheckSuffix too
    bool warns;                          // CheckSuffix
    std::string stripped;                // StripSuffix
  } cases[] = {
      {"model.vka", ".vka", "model.vka", false, "model"}, {"model.txt", ".vka", "model.vka", true, "model"},
      {"model", ".vka", "model.vka", false, "model"},     {"a.b.c", ".vk", "a.b.vk", true, "a.b"},
      {"model.VKA", ".vka", "model.vka", true, "model"},  {"model.vka", ".vk", "model.vk", true, "model"},
      {"model.", ".vka", "model.vka", true, "model"},
      // A dot in a folder name is no suffix.
      {"dir.x/model", ".vka", "dir.x/model.vka", false, "dir.x/model"},
      {"dir.v2/model.vka", ".vk", "dir.v2/model.vk", true, "dir.v2/model"},
      {"a.b\\c", ".vka", "a.b\\c.vka", false, "a.b\\c"},  {"./model", ".vka", "./model.vka", false, "./model"},
      {"../m.v/x.txt", ".vka", "../m.v/x.vka", true, "../m.v/x"},
      {a253 + "aa", ".vka", a253 + "aa", false, a253 + "aa"}, {a253, ".vka", a253 + ".v", false, a253},
      {a253 + ".x", ".vka", a253 + ".v", true, a253},        {a253 + "a.", ".vka", a253 + "a.", true, a253 + "a"},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.name);
    for (int op = 0; op < 3; ++op) {  // ReplaceSuffix, CheckSuffix, StripSuffix
      char name[kNameSize + 8];
      std::memset(name, '#', sizeof name);
      std::strcpy(name, c.name.c_str());
      ::testing::internal::CaptureStderr();
      if (op == 0) ReplaceSuffix(name, c.suffix.c_str());
      if (op == 1) CheckSuffix(name, c.suffix.c_str());
      if (op == 2) StripSuffix(name);
      EXPECT_EQ(::testing::internal::GetCapturedStderr(), op == 1 && c.warns ? "Warning : Mismatch suffix\n" : "");
      EXPECT_EQ(name, op == 2 ? c.stripped : c.replaced);
      EXPECT_EQ(std::string(name + kNameSize, 8), std::string(8, '#'));
    }
  }
}

TEST(FileNames, BaseNameSplitsAtBothSeparators) {
  const char *cases[][2] = {{"ship.vka", "ship.vka"}, {"models/ship.vka", "ship.vka"},
                            {"c:\\art\\ship.vka", "ship.vka"}, {"a\\b/c\\ship", "ship"}, {"dir/", ""}, {"", ""}};
  for (const auto &c : cases) EXPECT_STREQ(BaseName(c[0]), c[1]) << c[0];
}

TEST(Packers, WordsWorkedOutByHand) {
  // NORM32: -1.0 is -511 in 10-bit two's complement.
  EXPECT_EQ(VKPackNORM32(-1.0f, -1.0f, -1.0f), 0x201u << 20 | 0x201u << 10 | 0x201u);
  EXPECT_EQ(VKPackNORM32(1.0f, 0.0f, 0.5f), 0x1FFu << 20 | 0u << 10 | 255u);
  EXPECT_EQ(VKNorm10(-0.5f), (-255) & 0x3FF);
  // Components outside [-1, 1] are clamped before packing (1.5 wrapped to
  // 0x2fe, its sign flipped); what is not a number packs as 0.
  const float kInf = std::numeric_limits<float>::infinity(), kNan = std::numeric_limits<float>::quiet_NaN();
  const std::pair<float, int> components[] = {{1.5f, 0x1FF}, {-1.5f, 0x201}, {1.0f, 0x1FF}, {-1.0f, 0x201},
                                              {1.0001f, 0x1FF}, {2.0e9f, 0x1FF}, {kInf, 0x1FF}, {-kInf, 0x201},
                                              {kNan, 0}, {0.999f, 510}, {-0.001f, 0}};
  for (const auto &[component, field] : components) EXPECT_EQ(VKNorm10(component), field) << component;
  EXPECT_EQ(VKPackNORM32(1.5f, -1.5f, kNan), 0x1FFu << 20 | 0x201u << 10);
  EXPECT_EQ(VKPackNorm32Fields(0x201, 0x1FF, 0x001), 0x2017FC01u);
  EXPECT_EQ(VKPackARGB8888(0x80, 0x10, 0x20, 0x30), 0x80102030u);
  EXPECT_EQ(VKPackARGB8888(-1, 0x1FF, 0, 1), 0xFFFF0001u);
  // Diffuse orange (255, 128, 64), specular (8, 4, 2).
  EXPECT_EQ(VKPackD565S565(VKChannel5(255), VKChannel6(128), VKChannel5(64), VKChannel5(8), VKChannel6(4),
                           VKChannel5(2)),
            0xFC080820u);
  // Diffuse (a 255, r 128, g 64, b 16) as 4-4-4-4, specular white.
  EXPECT_EQ(VKPackD4444S565(VKChannel4(255), VKChannel4(128), VKChannel4(64), VKChannel4(16), VKChannel5(255),
                            VKChannel6(255), VKChannel5(255)),
            0xF841FFFFu);
  // Intensities: white is 32640, pure red trunc(0.299 x 255 x 128) = 9759.
  EXPECT_EQ(VKPackD16S16(VKIntensity(255, 255, 255), VKIntensity(255, 0, 0)), 0x7F80261Fu);
}

}  // namespace
