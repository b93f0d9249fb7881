// Encoder output against bytes worked out by hand, refusals, and failed writes.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <functional>

#include "texture/pvm.h"
#include "texture/texture_io.h"
#include "texture/vq.h"
#include "texture_test_util.h"

namespace {

using namespace textest;
using namespace std::string_literals;

// 8x8, red 32x, green 32y, RGB565: level 0 is 0x2000x + 0x100y; the 4x4 box
// average (64X + 16, 64Y + 16) 0x4000X + 0x200Y + 0x1080; the 2x2 (128X + 48,
// 128Y + 48) 0x8000X + 0x400Y + 0x3180; the 1x1 (112, 112) 0x7380. Twiddled:
// index bit 0 is bit 0 of y, bit 1 bit 0 of x.
constexpr uint16_t kMipmapped8x8[86] = {
    0x0000, 0x7380, 0x3180, 0x3580, 0xB180, 0xB580, 0x1080, 0x1280, 0x5080, 0x5280, 0x1480, 0x1680, 0x5480,
    0x5680, 0x9080, 0x9280, 0xD080, 0xD280, 0x9480, 0x9680, 0xD480, 0xD680, 0x0000, 0x0100, 0x2000, 0x2100,
    0x0200, 0x0300, 0x2200, 0x2300, 0x4000, 0x4100, 0x6000, 0x6100, 0x4200, 0x4300, 0x6200, 0x6300, 0x0400,
    0x0500, 0x2400, 0x2500, 0x0600, 0x0700, 0x2600, 0x2700, 0x4400, 0x4500, 0x6400, 0x6500, 0x4600, 0x4700,
    0x6600, 0x6700, 0x8000, 0x8100, 0xA000, 0xA100, 0x8200, 0x8300, 0xA200, 0xA300, 0xC000, 0xC100, 0xE000,
    0xE100, 0xC200, 0xC300, 0xE200, 0xE300, 0x8400, 0x8500, 0xA400, 0xA500, 0x8600, 0x8700, 0xA600, 0xA700,
    0xC400, 0xC500, 0xE400, 0xE500, 0xC600, 0xC700, 0xE600, 0xE700};

// Red rx + 128 (y / 8) (so the lower square of 8x16 is brighter), green 32 (y mod 8).
PVR_Image Ramp(int32_t width, int32_t height, int rx) {
  PVR_Image image = MakeImage(width, height, 255, 0, 0, 0);
  for (int32_t i = 0; i < width * height; ++i)
    image.texels[4 * i + 1] = uint8_t(rx * (i % width) + 128 * (i / width / 8)),
                         image.texels[4 * i + 2] = uint8_t(32 * (i / width % 8));
  return image;
}

TEST(EncodeBytes, TwiddledWithMipmapsNonSquareAndLength) {
  ScratchDir dir;
  PVR_Settings settings = SettingsFor(dir.file("t.pvr"), kPixRGB565, true);
  settings.globalIndex = 5;
  Console console;
  ASSERT_TRUE(PVR_EncodeTwiddled(&settings, Ramp(8, 8, 32)));
  std::string file = ReadFile(dir.file("t.pvr"));
  EXPECT_EQ(file.substr(0, 32), "GBIX\x08\0\0\0\x05\0\0\0    PVRT\xB4\0\0\0\x01\x02\0\0\x08\0\x08\0"s);
  EXPECT_EQ(Words(file, 32, 99), std::vector<uint16_t>(kMipmapped8x8, kMipmapped8x8 + 86));
  EXPECT_EQ(console.info.Text(), "[GLOBALINDEX 5]");
  const PVR_TexInfo &i = settings.info;
  EXPECT_EQ((std::vector<int>{i.width, i.height, i.globalIndex, i.pixelFormat, i.textureFormat, i.mipmap, i.skipped}),
            (std::vector<int>{8, 8, 5, 1, 1, 1, 0}));

  // 16x8 and 8x16, mipmaps asked but not given: two 8x8 squares 0x1000x +
  // 0x100y (level 0 above with x halved), the second plus 0x8000.
  std::vector<uint16_t> both(128);
  for (int t = 0; t < 128; ++t)
    both[t] =
        uint16_t((kMipmapped8x8[22 + t % 64] / 2 & 0xF000) + (kMipmapped8x8[22 + t % 64] & 0x0700) + t / 64 * 0x8000);
  settings.globalIndex = -1;
  for (const PVR_Image &image : {Ramp(16, 8, 16), Ramp(8, 16, 16)}) {
    ASSERT_TRUE(PVR_EncodeTwiddled(&settings, image));
    file = ReadFile(dir.file("t.pvr"));
    EXPECT_EQ(file.substr(0, 16),
              "PVRT\x08\x01\0\0\x01\x0D\0\0"s + char(image.width) + '\0' + char(image.height) + '\0');
    EXPECT_EQ(Words(file, 16, 999), both);
    EXPECT_EQ(settings.info.mipmap, 0);
  }

  // 256x256 with mipmaps: (21846 + 65536) x 2 = 174764 bytes of texels; a
  // uniform (200, 100, 50) is 0xC800 | 0x64 << 3 | 50 >> 3 on every level.
  ASSERT_TRUE(PVR_EncodeTwiddled(&settings, MakeImage(256, 256, 255, 200, 100, 50)));
  file = ReadFile(dir.file("t.pvr"));
  EXPECT_EQ(file.size(), 16u + 174764u);
  EXPECT_EQ(file.substr(0, 12), "PVRT\xB4\xAA\x02\0\x01\x02\0\0"s);
  EXPECT_EQ(Words(file, 16, 3), (std::vector<uint16_t>{0, 0xCB26, 0xCB26}));
}

// Red 97 and green 129 (errors -3 and -1) over 3x2, the carries running on
// into row 1; ARGB4444 alpha 200 with alpha dither (4-bit errors -4, -5, -7,
// -11); red 132, green 130, blue 132 reconstruct exactly and never change.
TEST(EncodeBytes, DitherWorkedByHand) {
  using V = std::vector<uint8_t>;
  const V worked = {200, 97, 129, 200, 96, 129, 200, 96, 129, 200, 95, 129, 200, 96, 128, 200, 93, 127};
  const std::tuple<int32_t, bool, int32_t, V, V> cases[] = {
      // format, alpha dither, width, source, (a, r, g) after
      {kPixRGB565, false, 3, {200, 97, 129, 132}, worked},
      {kPixRGB565, true, 3, {200, 97, 129, 132}, worked},
      {kPixARGB4444, true, 2, {200, 68, 68, 68}, {200, 68, 68, 199, 68, 68, 197, 68, 68, 193, 68, 68}},
      {kPixARGB4444, false, 2, {200, 68, 68, 68}, {200, 68, 68, 200, 68, 68, 200, 68, 68, 200, 68, 68}},
      {kPixARGB1555, true, 2, {200, 68, 68, 68}, {200, 68, 68, 200, 68, 68, 200, 68, 68, 200, 68, 68}},
      {kPixYUV422, true, 2, {200, 97, 97, 97}, {200, 97, 97, 200, 97, 97, 200, 97, 97, 200, 97, 97}},
      {kPixRGB565, true, 2, {255, 132, 130, 132}, {255, 132, 130, 255, 132, 130, 255, 132, 130, 255, 132, 130}},
  };
  for (const auto &[format, alphaDither, width, source, after] : cases) {
    PVR_Image image = MakeImage(width, 2, source[0], source[1], source[2], source[3]);
    PVR_Dither(&image, format, alphaDither);
    V got;
    for (size_t i = 0; i < image.texels.size(); i += 4) got.insert(got.end(), &image.texels[i], &image.texels[i + 3]);
    EXPECT_EQ(got, after) << format;
  }
  ScratchDir dir;  // through the encoder: every word 0x8410
  PVR_Settings settings = SettingsFor(dir.file("d.pvr"), kPixRGB565);
  settings.dither = 1;
  ASSERT_TRUE(PVR_EncodeRectangle(&settings, MakeImage(8, 8, 255, 132, 130, 132), false));
  EXPECT_EQ(Words(ReadFile(dir.file("d.pvr")), 16, 99), std::vector<uint16_t>(64, 0x8410));
}

// White: Y 255, U and V 128. Red: Y 75, U 84, V 258.9 clamped to 255. Blue:
// Y 30, U clamped to 255, V 106; a (red, blue) pair shares (84 + 255) / 2 and
// (255 + 106) / 2.
TEST(EncodeBytes, YUV422Pairs) {
  const std::tuple<std::vector<uint8_t>, uint16_t, uint16_t> cases[] = {
      {{255, 255, 255, 255, 255, 255}, 0xFF80, 0xFF80},
      {{255, 0, 0, 255, 0, 0}, 0x4B54, 0x4BFF},
      {{255, 0, 0, 0, 0, 255}, 0x4BA9, 0x1EB4}};
  ScratchDir dir;
  for (const auto &[pair, first, second] : cases) {
    PVR_Image image = MakeImage(8, 8, 255, 255, 255, 255);
    std::copy(pair.begin(), pair.begin() + 3, image.At(0, 0) + 1),
        std::copy(pair.begin() + 3, pair.end(), image.At(1, 0) + 1);
    PVR_Settings settings = SettingsFor(dir.file("y.pvr"), kPixYUV422);
    ASSERT_TRUE(PVR_EncodeRectangle(&settings, image, true));
    const std::string file = ReadFile(dir.file("y.pvr"));
    EXPECT_EQ(file.substr(0, 16), "PVRT\x88\0\0\0\x03\x0B\0\0\x08\0\x08\0"s);
    EXPECT_EQ(Words(file, 16, 3), (std::vector<uint16_t>{first, second, 0xFF80}));
  }
}

// Indices (x + 2y) mod 16 of an 8x8 4-bit image: twiddled texels 0..3 are
// (0,0), (0,1), (1,0), (1,1), i.e. 0, 2, 1, 3, packed high half first: 0x02 0x13.
TEST(EncodeBytes, PalettizedFileAndPaletteFile) {
  const std::tuple<int32_t, std::vector<uint32_t>, std::string> cases[] = {
      {kPixARGB1555,
       {0xFFFF0000, 0x0000FF00, 0x80102030},
       "PVPL\x10\0\0\0\0\0\x03\0\0\0\x03\0\x00\xFC\xE0\x03\x86\x88\0\0"s},
      {kPixARGB8888, {0x80102030, 0x01020304}, "PVPL\x10\0\0\0\x06\0\x03\0\0\0\x02\0\x30\x20\x10\x80\x04\x03\x02\x01"s},
      {kPixARGB4444, {0x80102030}, "PVPL\x10\0\0\0\x02\0\x03\0\0\0\x01\0\x23\x81\0\0\0\0\0\0"s},
  };
  ScratchDir dir;
  for (const auto &[format, entries, pvp] : cases) {
    PVR_PalImage image{8, 8, 4, {}};
    for (int t = 0; t < 64; t += 2)
      image.indices.push_back(uint8_t((t % 8 + t / 8 * 2) % 16 << 4 | (t % 8 + 1 + t / 8 * 2) % 16));
    PVR_Settings settings = SettingsFor(dir.file("p.pvr"), kPixRGB565);
    settings.globalIndex = 7;
    Console console;
    ASSERT_TRUE(PVR_EncodePalettized(&settings, PVR_Palette{3, format, int32_t(entries.size()), 0, entries}, image));
    EXPECT_EQ(ReadFile(dir.file("p.pvp")), pvp);
    const std::string file = ReadFile(dir.file("p.pvr"));
    EXPECT_EQ(file.size(), 32u + 32u);
    EXPECT_EQ(file.substr(0, 34),
              "GBIX\x08\0\0\0\x07\0\0\0\0\0\0\0PVRT\x28\0\0\0"s + char(format) + "\x05\0\0\x08\0\x08\0\x02\x13"s);
    EXPECT_EQ(console.info.Text(), "\nConvert BMP to PVP\nConvert BMP to PVR\n");
    EXPECT_EQ(settings.info.globalIndex * 10 + settings.info.textureFormat, 7 * 10 + kTexFormatPal4);
  }
}

// Whatever cannot be encoded is refused with its message and writes nothing.
TEST(EncodeRefusals, SizesAndBrokenInputs) {
  ScratchDir dir;
  PVR_Settings settings = SettingsFor(dir.file("s.pvr"), kPixRGB565, true), unnamed = settings;
  settings.inputName = "wood.bmp", unnamed.outputName.clear();
  const auto encode = [&](int encoder, PVR_Image image, PVR_PalImage pal = {}, PVR_Palette palette = {}) {
    PVR_Settings s = settings;
    return encoder == 3   ? PVR_EncodePalettized(&s, palette, pal)
           : encoder == 0 ? PVR_EncodeTwiddled(&s, image)
                          : PVR_EncodeRectangle(&s, image, encoder == 2);
  };
  for (const auto &[width, height] : std::vector<std::pair<int, int>>{{4, 4}, {8, 12}, {2048, 8}, {16, 2048}, {1, 8}}) {
    for (int encoder = 0; encoder < 4; ++encoder) {
      Console console;
      EXPECT_FALSE(encode(encoder, MakeImage(width, height, 0, 0, 0, 0),
                          {width, height, 8, std::vector<uint8_t>(width * height)}));
      EXPECT_EQ(console.info.Text(), "\n#####\nBMP size error.\nWidth:" + std::to_string(width) +
                                         "  Height:" + std::to_string(height) + "\n#####\n");
    }
  }
  PVR_Image cut = MakeImage(8, 8, 0, 0, 0, 0);
  cut.texels.pop_back();
  const std::pair<std::function<bool()>, const char *> cases[] = {
      {[&] { return encode(0, cut); }, "Image wood.bmp has no texels\n"},
      {[&] { return settings.pixelFormat = kPixARGB8888, encode(1, Ramp(8, 8, 1)); },
       "Pixel format 6 can't be used for this texture format\n"},
      {[&] {
         return encode(3, {}, {8, 8, 4, std::vector<uint8_t>(32)}, {0, 0, 17, 0, {}});
       },
       "wood.bmp: palette bank 0, entries 0 to 16 are out of range\n"},
      {[&] {
         return encode(3, {}, {8, 8, 2, std::vector<uint8_t>(16)});
       },
       "wood.bmp: 2 bits per texel can't be palettized\n"},
      {[&] {
         return encode(3, {}, {8, 8, 4, std::vector<uint8_t>(31)});
       },
       "wood.bmp: the index data does not match the size 8x8\n"},
      {[&] { return PVR_EncodeTwiddled(&unnamed, Ramp(8, 8, 1)); }, "No pvr filename given\n"},
  };
  for (const auto &[run, message] : cases) {
    Console console;
    EXPECT_FALSE(run());
    EXPECT_EQ(console.error.Text(), "\n##### Error : "s + message);
  }
  EXPECT_TRUE(std::filesystem::is_empty(dir.path()));
  EXPECT_EQ(settings.info.skipped + unnamed.info.skipped, 2);
}

// Every texture file goes through one whole-file writer (a temporary beside
// the target, then a rename). A write that fails (no folder, a folder that
// takes no files, the temporary blocked, the size limit reached midway, a
// read-only folder, a folder's name) leaves no new file and keeps the older one; then each
// caller once: its message first, and nothing of it left.
TEST(WriteFailures, OneWriterAndEachCaller) {
  ScratchDir dir;
  const std::string target = dir.file("old.pvr"), readOnly = dir.file("ro");
  std::filesystem::create_directory(readOnly);
  rlimit saved{};
  getrlimit(RLIMIT_FSIZE, &saved);
  const rlimit small{1000, saved.rlim_max};
  using std::filesystem::perms;
  const auto block = [&] { std::filesystem::create_directory(target + ".tmp~"); };
  const std::tuple<std::string, std::function<void()>, std::function<void()>> cases[] = {
      {dir.file("missing/old.pvr"), [] {}, [] {}},
      {"/proc/vktest-texenc.pvr", [] {}, [] {}},
      {readOnly, [] {}, [] {}},  // the name of a folder
      {target, block, [&] { std::filesystem::remove(target + ".tmp~"); }},
      {target, [&] { std::signal(SIGXFSZ, SIG_IGN), setrlimit(RLIMIT_FSIZE, &small); },
       [&] { setrlimit(RLIMIT_FSIZE, &saved); }},
      {readOnly + "/old.pvr", [&] { std::filesystem::permissions(readOnly, perms::owner_read | perms::owner_exec); },
       [&] { std::filesystem::permissions(readOnly, perms::owner_all); }},
  };
  const std::string pvp = dir.file("old.pvp");
  const auto unchanged = [&](const std::string &what) {
    EXPECT_EQ(ReadFile(target), "an older texture") << what;
    EXPECT_EQ(Exists(pvp) ? ReadFile(pvp) : "old palette", "old palette") << what;
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), 2 + Exists(pvp)) << what;
  };
  for (const auto &[name, arrange, restore] : cases) {
    if (name == readOnly + "/old.pvr" && geteuid() == 0) continue;  // root writes there anyway
    ASSERT_TRUE(WriteFile(target, "an older texture"));
    arrange();
    EXPECT_FALSE(PVR_WriteWholeFile(name.c_str(), std::vector<uint8_t>(5000, 1))) << name;
    restore();
    unchanged(name);
  }
  ScratchDir other;  // a texture for the archive
  PVR_Settings settings = SettingsFor(other.file("a.pvr"), kPixRGB565);
  ASSERT_TRUE(PVR_EncodeTwiddled(&settings, MakeImage(8, 8, 255, 9, 9, 9)));
  PVR_VQOutput vq;
  PVR_Input input{{MakeImage(16, 16, 255, 0, 0, 0)}};
  PVR_VQOptions options;
  options.smallVQ = 1;
  ASSERT_TRUE(PVR_CompressVQ(options, &input, &vq));
  const std::string cantWrite = "\n##### Error : Can't write file " + target + "\n";
  const PVR_PalImage indices{8, 8, 8, std::vector<uint8_t>(64)};
  // Caller, the temporary blocked, the older palette file, what is printed.
  const std::tuple<std::function<bool()>, std::string, bool, std::string> callers[] = {
      {[&] {
         PVR_Settings s = SettingsFor(target, kPixRGB565, true);
         return PVR_EncodeTwiddled(&s, MakeImage(64, 64, 255, 9, 9, 9));
       },
       target, false, cantWrite},
      {[&] { return PVR_WriteVQPVRFile(&vq, target.c_str(), 3); }, target, false,
       "\n*** Could not open the pvr file " + target + " ***\n"},
      {[&] {
         TextureArchive archive;
         ArchiveReset(&archive), ArchiveSetName(&archive, target), ArchiveStart(&archive);
         ArchiveAddFile(&archive, other.file("a.pvr"));
         testing::internal::CaptureStdout();
         const ArchiveStatus status = ArchiveFinish(&archive);
         testing::internal::GetCapturedStdout();
         return status != ArchiveStatus::kCantWrite;
       },
       target, false, cantWrite},
      // The palette file fails: no texture file either.
      {[&] {
         PVR_Settings s = SettingsFor(target, kPixRGB565);
         return PVR_EncodePalettized(&s, PVR_Palette{}, indices);
       },
       pvp, false, "\n##### Error : Can't write file " + pvp + "\n"},
      // The texture file fails after its palette was written: the older pair stays.
      {[&] {
         PVR_Settings s = SettingsFor(target, kPixRGB565);
         return PVR_EncodePalettized(&s, PVR_Palette{}, indices);
       },
       target, true, cantWrite + "\nConvert BMP to PVP\n"},
  };
  for (const auto &[run, blocked, olderPalette, message] : callers) {
    ASSERT_TRUE(WriteFile(target, "an older texture"));
    if (olderPalette) {
      ASSERT_TRUE(WriteFile(pvp, "old palette"));
    }
    std::filesystem::create_directory(blocked + ".tmp~");
    Console console;
    EXPECT_FALSE(run()) << message;
    EXPECT_EQ((console.error.Text() + console.info.Text()).substr(0, message.size()), message);
    std::filesystem::remove(blocked + ".tmp~");
    unchanged(message);
    std::filesystem::remove(pvp);
  }
}

}  // namespace
