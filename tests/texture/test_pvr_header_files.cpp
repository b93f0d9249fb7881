// The PVR header reader on written and malformed files, and what the
// encoders leave behind when writing fails.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <functional>

#include "texture/pvr_header.h"
#include "texture_test_util.h"

namespace {

using namespace textest;
using namespace std::string_literals;
using vktest::Exists;
using vktest::ReadFile;
using vktest::ScratchDir;
using vktest::WriteFile;

// width, height, alpha kind, global index, pixel format, texture format,
// mipmap, skipped, bad size.
std::vector<int> Fields(const PVR_TexInfo &info) {
  return {info.width, info.height, info.alphaKind, info.globalIndex, info.pixelFormat, info.textureFormat, info.mipmap, info.skipped, info.badSize};
}

TEST(HeaderReader, ReadsWhatTheEncodersWrote) {
  struct Case {
    int encoder;  // 0 twiddled, 1 rectangle, 2 stride, 3 palettized 4 bits
    int32_t format, width, height, globalIndex;
    std::vector<int> fields;
    const char *warning;
  };
  const Case cases[] = {
      {0, kPixRGB565, 64, 64, 9, {64, 64, 1, 9, 1, 1, 1, 1, 0}, ""},
      {1, kPixARGB4444, 32, 8, -1, {32, 8, 2, 0, 2, 2, 0, 1, 0}, ""},
      {2, kPixARGB1555, 8, 1024, 1000, {8, 1024, 2, 1000, 0, 3, 0, 1, 0}, ""},
      {3, kPixARGB8888, 16, 16, 4, {16, 16, 2, 4, 6, 6, 0, 1, 0}, ""},
      // Non-square twiddled (0x0D) is not in the reader's table.
      {0, kPixYUV422, 16, 8, 2, {16, 8, 1, 2, 3, 0, 0, 1, 0}, "\n##### Warning : Not Support categorycode 3331\n"},
  };
  ScratchDir dir;
  for (const Case &c : cases) {
    PVR_Settings settings = SettingsFor(dir.file("h.pvr"), c.format, true);
    settings.globalIndex = c.globalIndex;
    Console console;
    if (c.encoder == 3) {
      PVR_PalImage image;
      image.width = c.width, image.height = c.height, image.bitsPerPixel = 4;
      image.indices.resize(static_cast<size_t>(c.width) * c.height / 2);
      PVR_Palette palette;
      palette.pixelFormat = c.format;
      ASSERT_TRUE(PVR_EncodePalettized(&settings, palette, image));
    } else {
      const PVR_Image image = MakeImage(c.width, c.height, 255, 0, 0, 0);
      ASSERT_TRUE(c.encoder == 0 ? PVR_EncodeTwiddled(&settings, image) : PVR_EncodeRectangle(&settings, image, c.encoder == 2));
    }
    PVR_TexInfo info;
    EXPECT_EQ(PVR_ReadHeaderInfo(dir.file("h.pvr").c_str(), &info), 1);
    EXPECT_EQ(Fields(info), c.fields);
    EXPECT_EQ(console.warning.text(), c.warning);
  }
}

std::string Chunk(const char *name, uint32_t length, const std::string &data) {
  std::string out(name, 4);
  for (int i = 0; i < 4; ++i) out += static_cast<char>(length >> (8 * i));
  return out + data;
}
const std::string kHead565(std::string("\x01\x02\0\0\x40\0\x20\0", 8));  // RGB565 twiddled mipmapped 64x32

TEST(HeaderReader, SurvivesMalformedFiles) {
  struct Case {
    const char *what;
    std::string bytes;
    std::vector<int> fields;
    const char *warning;
  };
  const std::vector<int> fresh = {0, 0, 0, 0, 1, 0, 0, 1, 1};
  const std::vector<int> good = {64, 32, 1, 0, 1, 1, 1, 1, 0};
  const Case cases[] = {
      {"empty", "", fresh, "No texture data"},
      {"short head", "PVR", fresh, "No texture data"},
      {"head only", Chunk("PVRT", 0, ""), fresh, "No texture data"},
      {"length below the fields", Chunk("PVRT", 4, kHead565), fresh, "No texture data"},
      {"fields cut short", Chunk("PVRT", 8, "\x01\x02"), fresh, "No texture data"},
      {"data cut short", Chunk("PVRT", 4104, kHead565 + "xy"), good, "is cut short"},
      {"huge length", Chunk("GBIX", 0xFFFFFFFF, "\x07\0\0\0"s) + Chunk("PVRT", 8, kHead565), {0, 0, 0, 7, 1, 0, 0, 1, 1}, "No texture data"},
      {"zero-length chunks", Chunk("ABCD", 0, "") + Chunk("\0\0\0\0", 0, "") + Chunk("PVRT", 8, kHead565), good, ""},
      {"short GBIX", Chunk("GBIX", 2, "\x07\0"s) + Chunk("PVRT", 8, kHead565), good, ""},
      {"trailing bytes", Chunk("PVRT", 8, kHead565) + "xyz", good, "is cut short"},
      {"unknown type", Chunk("PVRT", 8, std::string("\x05\x20\0\0\x08\0\x08\0", 8)), {8, 8, 1, 0, 5, 0, 0, 1, 0}, "Not Support categorycode 8197"},
      {"bad size", Chunk("PVRT", 8, std::string("\x02\x09\0\0\x0C\0\x00\x08", 8)), {12, 2048, 2, 0, 2, 2, 0, 1, 1}, ""},
  };
  ScratchDir dir;
  for (const Case &c : cases) {
    SCOPED_TRACE(c.what);
    ASSERT_TRUE(WriteFile(dir.file("m.pvr"), c.bytes));
    PVR_TexInfo info;
    Console console;
    EXPECT_EQ(PVR_ReadHeaderInfo(dir.file("m.pvr").c_str(), &info), 1);
    EXPECT_EQ(Fields(info), c.fields);
    const std::string warning = console.warning.text();
    if (*c.warning == '\0') EXPECT_EQ(warning, "");
    else EXPECT_NE(warning.find(c.warning), std::string::npos) << warning;
    PVR_TexInfo fromMemory;
    Capture quiet(WarningStream, SetWarningStream);
    PVR_ParseHeaderInfo(reinterpret_cast<const uint8_t *>(c.bytes.data()), c.bytes.size(), &fromMemory);
    EXPECT_EQ(Fields(fromMemory), c.fields);
  }
}

// As named; else "./" and the base name, after '/' or '\'.
TEST(HeaderReader, LooksInTheWorkingFolderAndNamesWhatItCannotOpen) {
  ScratchDir dir;
  ASSERT_TRUE(WriteFile(dir.file("w.pvr"), Chunk("PVRT", 8, kHead565)));
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(dir.path());
  for (const char *path : {"w.pvr", "no/such/folder/w.pvr", "C:\\textures\\w.pvr"}) {
    PVR_TexInfo info;
    EXPECT_EQ(PVR_ReadHeaderInfo(path, &info), 1) << path;
    EXPECT_EQ(info.width, 64) << path;
  }
  PVR_TexInfo info;
  Console console;
  EXPECT_EQ(PVR_ReadHeaderInfo("tex/missing.pvr", &info), 0);
  EXPECT_EQ(console.error.text(), "\n##### Error: Can't open file tex/missing.pvr\n");
  std::filesystem::current_path(before);
}

// A write that fails (a folder that cannot take files, the temporary blocked,
// the file size limit reached midway) leaves no new file and keeps an older one.
TEST(WriteFailures, LeaveNothingAndKeepTheOlderFile) {
  ScratchDir dir;
  const std::string target = dir.file("old.pvr");
  const std::string older = "an older texture";
  struct Case {
    const char *what;
    std::string name;
    std::function<void()> arrange, restore;
  };
  struct rlimit saved {};
  getrlimit(RLIMIT_FSIZE, &saved);
  const std::string readOnly = dir.file("ro");
  std::filesystem::create_directory(readOnly);
  const Case cases[] = {
      {"no folder", dir.file("missing/old.pvr"), [] {}, [] {}},
      {"pseudo folder", "/proc/vktest-texenc.pvr", [] {}, [] {}},
      {"temporary blocked", target, [&] { std::filesystem::create_directory(target + ".tmp~"); },
       [&] { std::filesystem::remove(target + ".tmp~"); }},
      {"size limit", target,
       [&] {
         std::signal(SIGXFSZ, SIG_IGN);
         struct rlimit limit = saved;
         limit.rlim_cur = 1000;
         setrlimit(RLIMIT_FSIZE, &limit);
       },
       [&] { setrlimit(RLIMIT_FSIZE, &saved); }},
      {"read-only folder", readOnly + "/old.pvr",
       [&] { std::filesystem::permissions(readOnly, std::filesystem::perms::owner_read | std::filesystem::perms::owner_exec); },
       [&] { std::filesystem::permissions(readOnly, std::filesystem::perms::owner_all); }},
  };
  for (const Case &c : cases) {
    if (std::string(c.what) == "read-only folder" && geteuid() == 0) continue;  // root writes anyway
    SCOPED_TRACE(c.what);
    ASSERT_TRUE(WriteFile(target, older));
    PVR_Settings settings = SettingsFor(c.name, kPixRGB565, true);
    Console console;
    c.arrange();
    const bool ok = PVR_EncodeTwiddled(&settings, MakeImage(64, 64, 255, 9, 9, 9));
    c.restore();
    EXPECT_FALSE(ok);
    EXPECT_EQ(console.error.text(), "\n##### Error : Can't write file " + c.name + "\n");
    EXPECT_EQ(ReadFile(target), older);
    EXPECT_EQ(settings.info.skipped, 1);
    std::vector<std::string> left;
    for (const auto &entry : std::filesystem::directory_iterator(dir.path())) left.push_back(entry.path().filename().string());
    std::sort(left.begin(), left.end());
    EXPECT_EQ(left, (std::vector<std::string>{"old.pvr", "ro"}));
  }
}

TEST(WriteFailures, PalettizedWritesNoTextureWhenItsPaletteFails) {
  ScratchDir dir;
  std::filesystem::create_directory(dir.file("p.pvp.tmp~"));  // the palette's temporary is blocked
  PVR_PalImage image;
  image.width = image.height = 8, image.bitsPerPixel = 8;
  image.indices.resize(64);
  PVR_Settings settings = SettingsFor(dir.file("p.pvr"), kPixRGB565);
  Console console;
  EXPECT_FALSE(PVR_EncodePalettized(&settings, PVR_Palette{}, image));
  EXPECT_FALSE(Exists(dir.file("p.pvr")));
  EXPECT_FALSE(Exists(dir.file("p.pvp")));
  EXPECT_EQ(console.info.text(), "");
}

}  // namespace
