// vkview end to end: pictures of every PVR kind and of PVM archives read
// back with libpng and compared with the decoder's texels panel by panel;
// output names; refusals; and the layout and font worked by hand.
#include <gtest/gtest.h>
#include <png.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <map>

#include "frontend/view.h"
#include "support/test_support.h"
#include "texture/pvm_layout.h"
#include "texture/pvr_kinds.h"

#ifndef VKVIEW_BIN
#define VKVIEW_BIN "vkview"
#endif

namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<uint8_t>;

Bytes FileBytes(const std::string &name) {
  const std::string text = vktest::ReadFile(name);
  return Bytes(text.begin(), text.end());
}

vktest::RunResult RunVkview(const std::vector<std::string> &args, const std::string &cwd) {
  return vktest::RunProgram(VKVIEW_BIN, args, cwd);
}

// A PNG file read back by libpng; it must be stored as 8-bit RGB.
struct Png {
  bool ok = false;
  int32_t width = 0, height = 0;
  Bytes rgb;
  const uint8_t *At(int32_t x, int32_t y) const { return &rgb[3 * (static_cast<size_t>(y) * width + x)]; }
};

Png ReadPng(const std::string &name) {
  Png png;
  const Bytes file = FileBytes(name);
  // IHDR: bit depth 8, colour type 2 (RGB), no interlace.
  if (file.size() < 33 || file[24] != 8 || file[25] != 2 || file[28] != 0) return png;
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  if (!png_image_begin_read_from_memory(&image, file.data(), file.size())) return png;
  image.format = PNG_FORMAT_RGB;
  png.rgb.resize(PNG_IMAGE_SIZE(image));
  png.ok = png_image_finish_read(&image, nullptr, png.rgb.data(), 0, nullptr) != 0;
  png.width = static_cast<int32_t>(image.width);
  png.height = static_cast<int32_t>(image.height);
  png_image_free(&image);
  return png;
}

PVR_Decoded Decode(const Bytes &pvr, const Bytes &pvp) {
  PVR_Decoded decoded;
  std::string error;
  EXPECT_TRUE(PVR_Decode(pvr, pvp, &decoded, &error)) << error;
  return decoded;
}

// The caption band as the font draws `caption` (the font itself is checked
// glyph by glyph below).
ViewPicture CaptionBand(const std::string &caption, int32_t width) {
  ViewPicture band{width, kViewGlyphHeight, Bytes(3 * static_cast<size_t>(width) * kViewGlyphHeight, kViewBackground)};
  ViewDrawText(&band, kViewMargin, 0, caption);
  return band;
}

// Checks a picture against the texture, laid out by hand: levels side by
// side from x = 4 with 4 pixels between them, rows 4 pixels apart from y = 4
// (one row when every texel is opaque; else over a checkerboard of 8-pixel
// squares starting light, the alpha as grey, the colour), the caption 4
// pixels under the last row, a margin of 4 all round, background elsewhere.
void ExpectPicture(const Png &png, const PVR_Decoded &texture, const std::string &caption) {
  ASSERT_TRUE(png.ok);
  bool alpha = false;
  int32_t panelsWidth = -4;
  for (const PVR_Image &level : texture.levels) {
    panelsWidth += level.width + 4;
    for (size_t i = 0; i < level.texels.size(); i += 4) alpha = alpha || level.texels[i] != 255;
  }
  const int32_t rows = alpha ? 3 : 1, side = texture.levels[0].height;
  const int32_t captionY = 4 + rows * (side + 4);
  const int32_t captionWidth = static_cast<int32_t>(caption.size()) * 6 - 1;
  ASSERT_EQ(png.width, 8 + std::max(panelsWidth, captionWidth));
  ASSERT_EQ(png.height, captionY + 7 + 4);
  Bytes expected(png.rgb.size(), kViewBackground);
  const auto put = [&](int32_t x, int32_t y, uint8_t r, uint8_t g, uint8_t b) {
    uint8_t *p = &expected[3 * (static_cast<size_t>(y) * png.width + x)];
    p[0] = r, p[1] = g, p[2] = b;
  };
  int32_t left = 4;
  for (const PVR_Image &level : texture.levels) {
    for (int32_t y = 0; y < level.height; ++y) {
      for (int32_t x = 0; x < level.width; ++x) {
        const uint8_t *t = level.At(x, y);
        if (!alpha) {
          put(left + x, 4 + y, t[1], t[2], t[3]);
          continue;
        }
        const int bg = (x / 8 + y / 8) % 2 == 0 ? 0xCC : 0x88;
        const auto over = [&](int c) { return static_cast<uint8_t>((c * t[0] + bg * (255 - t[0]) + 127) / 255); };
        put(left + x, 4 + y, over(t[1]), over(t[2]), over(t[3]));
        put(left + x, 4 + (side + 4) + y, t[0], t[0], t[0]);
        put(left + x, 4 + 2 * (side + 4) + y, t[1], t[2], t[3]);
      }
    }
    left += level.width + 4;
  }
  const ViewPicture band = CaptionBand(caption, png.width);
  std::copy(band.rgb.begin(), band.rgb.end(), expected.begin() + 3 * static_cast<std::ptrdiff_t>(captionY) * png.width);
  // Report the first differing pixel rather than two huge vectors.
  for (size_t i = 0; i < expected.size(); ++i) {
    if (png.rgb[i] != expected[i]) {
      const size_t pixel = i / 3;
      FAIL() << "pixel (" << pixel % png.width << ", " << pixel / png.width << ") channel " << i % 3 << ": "
             << int(png.rgb[i]) << " instead of " << int(expected[i]);
    }
  }
}

// Captions by kind (the global indices are those WriteEveryKind gives).
const std::map<std::string, std::string> kCaptions = {
    {"twiddled-ARGB1555", "32x32 ARGB1555 TW GI 1"},
    {"twiddled-mip-ARGB1555", "32x32 ARGB1555 TW MIP GI 2"},
    {"twiddled-RGB565", "32x32 RGB565 TW GI -"},
    {"twiddled-mip-RGB565", "32x32 RGB565 TW MIP GI 4"},
    {"twiddled-ARGB4444", "32x32 ARGB4444 TW GI 5"},
    {"twiddled-mip-ARGB4444", "32x32 ARGB4444 TW MIP GI -"},
    {"twiddled-YUV422", "32x32 YUV422 TW GI 7"},
    {"twiddled-mip-YUV422", "32x32 YUV422 TW MIP GI 8"},
    {"twiddled-RGB555", "32x32 RGB555 TW GI -"},
    {"twiddled-mip-RGB555", "32x32 RGB555 TW MIP GI 10"},
    {"nonsquare-wide-ARGB4444", "64x16 ARGB4444 TW GI 11"},
    {"nonsquare-tall-RGB565", "8x32 RGB565 TW GI -"},
    {"rectangle-ARGB1555", "64x32 ARGB1555 RECT GI 13"},
    {"rectangle-YUV422", "32x16 YUV422 RECT GI 14"},
    {"stride-RGB555", "16x64 RGB555 STRIDE GI -"},
    {"pal4-ARGB1555", "32x16 ARGB1555 PAL4 GI 16"},
    {"pal8-ARGB1555", "32x32 ARGB1555 PAL8 GI 17"},
    {"pal4-RGB565", "32x16 RGB565 PAL4 GI -"},
    {"pal8-RGB565", "32x32 RGB565 PAL8 GI 19"},
    {"pal4-ARGB4444", "32x16 ARGB4444 PAL4 GI 20"},
    {"pal8-ARGB4444", "32x32 ARGB4444 PAL8 GI -"},
    {"pal4-ARGB8888", "32x16 ARGB8888 PAL4 GI 22"},
    {"pal8-ARGB8888", "32x32 ARGB8888 PAL8 GI 23"},
    {"vq-RGB565", "64x64 RGB565 VQ GI 23"},
    {"vq-mip-ARGB4444", "64x64 ARGB4444 VQ MIP GI 24"},
    {"smallvq-mip-ARGB1555", "16x16 ARGB1555 SVQ MIP GI 25"},
    {"smallvq-RGB565", "32x32 RGB565 SVQ GI 26"},
    {"smallvq-ARGB4444", "64x64 ARGB4444 SVQ GI 27"},
};

TEST(Viewer, EveryKindShowsTheDecodedTexels) {
  vktest::ScratchDir dir;
  const std::vector<pvrkinds::KindFile> kinds = pvrkinds::WriteEveryKind(dir.path());
  ASSERT_EQ(kinds.size(), pvrkinds::kKindCount);
  int withAlpha = 0, mipmapped = 0;
  for (const pvrkinds::KindFile &kind : kinds) {
    SCOPED_TRACE(kind.label);
    const vktest::RunResult run = RunVkview({kind.label + ".pvr"}, dir.path());
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err + run.out, "");
    const PVR_Decoded texture = Decode(FileBytes(kind.pvr), kind.pvp.empty() ? Bytes{} : FileBytes(kind.pvp));
    ASSERT_EQ(kCaptions.count(kind.label), 1u);
    ExpectPicture(ReadPng(dir.file(kind.label + ".png")), texture, kCaptions.at(kind.label));
    withAlpha += ViewHasAlpha(texture);
    mipmapped += texture.levels.size() > 1;
  }
  EXPECT_GE(withAlpha, 10);
  EXPECT_GE(mipmapped, 7);
}

// Archives: one picture per entry under FILE_<entry>.png, or under a prefix
// or in a folder with -o; names made safe and unique; palette banks shown.
TEST(Viewer, ArchivePictures) {
  vktest::ScratchDir dir;
  const std::vector<pvrkinds::KindFile> kinds = pvrkinds::WriteEveryKind(dir.path());
  std::map<std::string, pvmtest::Texture> byLabel;
  for (const pvrkinds::KindFile &kind : kinds)
    byLabel[kind.label] = {kind.label, FileBytes(kind.pvr), kind.pvp.empty() ? Bytes{} : FileBytes(kind.pvp)};
  const auto entry = [&](const std::string &label, const std::string &name) {
    pvmtest::Texture texture = byLabel.at(label);
    texture.name = name;
    return texture;
  };
  const std::vector<std::string> labels = {"twiddled-mip-RGB565", "vq-mip-ARGB4444", "stride-RGB555",
                                           "smallvq-mip-ARGB1555", "rectangle-YUV422"};
  const std::vector<pvmtest::Texture> plain = {entry(labels[0], "wall"), entry(labels[1], "wall"),
                                               entry(labels[2], "a/b"), entry(labels[3], ""),
                                               entry(labels[4], "road.01")};
  const std::vector<pvmtest::Texture> palettized = {entry("pal4-ARGB8888", "p4"), entry("pal8-ARGB8888", "p8")};
  const Bytes set = pvmtest::Archive(plain, {"m.vka"});
  ASSERT_TRUE(vktest::WriteFile(dir.file("set.pvm"), std::string(set.begin(), set.end())));
  const Bytes pal = pvmtest::Archive(palettized);
  ASSERT_TRUE(vktest::WriteFile(dir.file("pal.pvm"), std::string(pal.begin(), pal.end())));
  fs::create_directories(dir.file("out"));

  const struct {
    std::vector<std::string> args;
    std::string prefix;  // of the pictures, in the scratch folder
  } runs[] = {{{"set.pvm"}, "set_"}, {{"set.pvm", "-o", "pre"}, "pre_"}, {{"set.pvm", "-o", "out"}, "out/set_"},
              {{"set.pvm", "-o", "new/"}, "new/set_"}};
  const std::vector<std::string> parts = {"wall", "wall_1", "a_b_2", "_3", "road.01"};
  for (const auto &run : runs) {
    SCOPED_TRACE(run.prefix);
    const vktest::RunResult result = RunVkview(run.args, dir.path());
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    for (size_t i = 0; i < plain.size(); ++i) {
      const std::string caption = (plain[i].name.empty() ? "" : plain[i].name + " ") + kCaptions.at(labels[i]);
      ExpectPicture(ReadPng(dir.file(run.prefix + parts[i] + ".png")), Decode(plain[i].pvr, {}), caption);
    }
  }
  EXPECT_EQ(RunVkview({"pal.pvm"}, dir.path()).status, 0);
  ExpectPicture(ReadPng(dir.file("pal_p4.png")), Decode(palettized[0].pvr, palettized[0].pvp),
                "p4 32x16 ARGB8888 PAL4 GI 22 BANK 3");
  ExpectPicture(ReadPng(dir.file("pal_p8.png")), Decode(palettized[1].pvr, palettized[1].pvp),
                "p8 32x32 ARGB8888 PAL8 GI 23 BANK 5");
}

// A PVR picture goes to FILE.png, to the -o file, or into the -o folder; two
// runs give the same bytes.
TEST(Viewer, TextureOutputNames) {
  vktest::ScratchDir dir;
  const std::vector<pvrkinds::KindFile> kinds = pvrkinds::WriteEveryKind(dir.path());
  fs::create_directories(dir.file("folder"));
  fs::copy_file(dir.file("vq-RGB565.pvr"), dir.file("plain"));
  const struct {
    std::vector<std::string> args;
    std::string picture;
  } runs[] = {{{"vq-RGB565.pvr"}, "vq-RGB565.png"},        {{"vq-RGB565.pvr", "-o", "x.png"}, "x.png"},
              {{"-o", "y", "vq-RGB565.pvr"}, "y"},          {{"vq-RGB565.pvr", "-o", "folder"}, "folder/vq-RGB565.png"},
              {{"plain"}, "plain.png"}};
  Bytes first;
  for (const auto &run : runs) {
    SCOPED_TRACE(run.picture);
    EXPECT_EQ(RunVkview(run.args, dir.path()).status, 0);
    const Bytes picture = FileBytes(dir.file(run.picture));
    ASSERT_FALSE(picture.empty());
    if (first.empty()) first = picture;
    EXPECT_EQ(picture, first);
  }
  EXPECT_FALSE(fs::exists(dir.file("x.png.tmp~")));
}

TEST(Viewer, Refusals) {
  vktest::ScratchDir dir;
  const std::vector<pvrkinds::KindFile> kinds = pvrkinds::WriteEveryKind(dir.path());
  const Bytes good = FileBytes(dir.file("twiddled-RGB565.pvr"));  // no GBIX: PVRT at 0, 2048 bytes of data
  ASSERT_EQ(good.size(), 16u + 2048);
  vktest::WriteFile(dir.file("cut.pvr"), std::string(good.begin(), good.end() - 100));
  vktest::WriteFile(dir.file("other.pvr"), "BM this is a bitmap");
  vktest::WriteFile(dir.file("short.pvr"), "PV");
  fs::create_directories(dir.file("folder.pvr"));
  fs::copy_file(dir.file("pal8-RGB565.pvr"), dir.file("lonely.pvr"));
  const Bytes archive = pvmtest::Archive({{"ok", good, {}}, {"bad", Bytes(good.begin(), good.end() - 100), {}}});
  vktest::WriteFile(dir.file("half.pvm"), std::string(archive.begin(), archive.end()));
  vktest::WriteFile(dir.file("cut.pvm"), std::string(archive.begin(), archive.end() - 1));
  const Bytes empty = pvmtest::Archive({});
  vktest::WriteFile(dir.file("empty.pvm"), std::string(empty.begin(), empty.end()));
  const bool root = geteuid() == 0;
  vktest::WriteFile(dir.file("locked.pvr"), std::string(good.begin(), good.end()));
  chmod(dir.file("locked.pvr").c_str(), 0);

  const struct {
    std::vector<std::string> args;
    std::string line;          // the whole standard error output
    std::vector<std::string> written;  // pictures that must exist afterwards
  } cases[] = {
      {{"missing.pvr"}, "vkview: missing.pvr: cannot be read: No such file or directory\n", {}},
      {{"folder.pvr"}, "vkview: folder.pvr: is a folder, not a file\n", {}},
      {{"cut.pvr"}, "vkview: cut.pvr: chunk \"PVRT\" at offset 0 claims 2056 bytes, only 1956 follow\n", {}},
      {{"other.pvr"}, "vkview: other.pvr: is not a PVR or PVM file (it starts with neither GBIX, PVRT nor PVMH)\n", {}},
      {{"short.pvr"}, "vkview: short.pvr: is too short for a PVR or PVM file\n", {}},
      {{"lonely.pvr"}, "vkview: lonely.pvr: palette file lonely.pvp cannot be read: No such file or directory\n", {}},
      {{"half.pvm"}, "vkview: half.pvm: entry 1 \"bad\": texel data holds 1948 bytes, 2048 needed\n", {"half_ok.png"}},
      {{"cut.pvm"}, "vkview: cut.pvm: chunk \"PVRT\" at offset 2192 claims 1956 bytes, only 1955 follow\n", {}},
      {{"empty.pvm"}, "vkview: empty.pvm: archive holds no texture\n", {}},
      {{"twiddled-RGB565.pvr", "-o", "nowhere/x.png"}, "vkview: nowhere/x.png: cannot be written\n", {}},
      {{"half.pvm", "-o", "cut.pvr/"}, "vkview: cut.pvr/: cannot be created: File exists\n", {}},
      {{"twiddled-RGB565.pvr", "-x"}, "vkview: -x: unknown option (vkview -h shows the usage)\n", {}},
      {{"twiddled-RGB565.pvr", "cut.pvr"}, "vkview: cut.pvr: a second input; vkview takes one file\n", {}},
      {{"twiddled-RGB565.pvr", "-o"}, "vkview: -o: needs the name of the output\n", {}},
      {{"locked.pvr"}, root ? "" : "vkview: locked.pvr: cannot be read: Permission denied\n", {}},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.args[0] + (c.args.size() > 1 ? " " + c.args[1] : ""));
    if (c.line.empty()) continue;  // root reads every file
    const auto before = std::distance(fs::directory_iterator(dir.path()), fs::directory_iterator());
    const vktest::RunResult run = RunVkview(c.args, dir.path());
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.err, c.line);
    EXPECT_EQ(run.out, "");
    for (const std::string &picture : c.written) EXPECT_TRUE(fs::exists(dir.file(picture)));
    EXPECT_EQ(std::distance(fs::directory_iterator(dir.path()), fs::directory_iterator()),
              before + static_cast<std::ptrdiff_t>(c.written.size()));
  }
  // Usage: on request to the message stream with status 0, without input
  // with status 1.
  const vktest::RunResult help = RunVkview({"-h"}, dir.path()), none = RunVkview({}, dir.path());
  EXPECT_EQ(help.status, 0);
  EXPECT_EQ(none.status, 1);
  EXPECT_EQ(help.err.rfind("Usage: vkview FILE.pvr|FILE.pvm [-o OUT]\n", 0), 0u);
  EXPECT_EQ(none.err, help.err);
}

// An 8 x 8 texture with mipmaps and alpha, worked by hand: levels of 8, 4,
// 2 and 1 at x = 4, 16, 24 and 30; rows at y = 4, 16 and 28; the caption at
// y = 40; the caption is wider than the panels.
TEST(Viewer, LayoutWorkedByHand) {
  PVR_Decoded texture;
  for (int32_t side = 8; side >= 1; side /= 2)
    texture.levels.push_back({side, side, Bytes(4 * static_cast<size_t>(side) * side, 255)});
  texture.levels[2].texels[0] = 0;  // one texel below full alpha
  const std::string caption = "8x8 ARGB4444 TW MIP GI 3";  // 24 characters: 143 pixels
  ViewLayout layout = ViewLayoutOf(texture, caption);
  EXPECT_EQ(layout.levelX, (std::vector<int32_t>{4, 16, 24, 30}));
  EXPECT_EQ(layout.rowY, (std::vector<int32_t>{4, 16, 28}));
  EXPECT_EQ(layout.captionY, 40);
  EXPECT_EQ(layout.width, 4 + 143 + 4);
  EXPECT_EQ(layout.height, 40 + 7 + 4);
  texture.levels[2].texels[0] = 255;
  layout = ViewLayoutOf(texture, "");
  EXPECT_EQ(layout.rowY, std::vector<int32_t>{4});
  EXPECT_EQ(layout.width, 4 + 27 + 4);
  EXPECT_EQ(layout.height, 16 + 7 + 4);
}

// The glyphs "1", "x", "G" and a byte outside printable ASCII (drawn as "?"),
// clipped at the right edge.
TEST(Viewer, FontWorkedByHand) {
  ViewPicture picture{22, 7, Bytes(3 * 22 * 7, 0)};
  ViewDrawText(&picture, 0, 0, std::string("1xG\x01"));
  const char *expected[7] = {
      "..#..........###...###",  //
      ".##.........#...#.#...",  //
      "..#...#...#.#.........",  //
      "..#....#.#..#.###....#",  //
      "..#.....#...#...#...#.",  //
      "..#....#.#..#...#.....",  //
      ".###..#...#..####...#.",  //
  };
  for (int32_t y = 0; y < 7; ++y) {
    std::string row;
    for (int32_t x = 0; x < 22; ++x) row += picture.rgb[3 * (y * 22 + x)] == kViewInk ? '#' : '.';
    EXPECT_EQ(row, expected[y]) << "row " << y;
  }
}

}  // namespace
