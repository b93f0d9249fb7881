// vkview end to end: pictures of every PVR kind and of PVM archives read
// back with libpng and compared pixel by pixel with a layout worked by hand
// from the decoder's texels; output names; refusals; the font by hand.
#include <gtest/gtest.h>
#include <png.h>
#include <sys/stat.h>

#include <filesystem>

#include "frontend/view.h"
#include "texture/pvm_layout.h"
#include "texture/pvr_kinds.h"
#include "texture/texture_test_util.h"

#ifndef VKVIEW_BIN
#define VKVIEW_BIN "vkview"
#endif

namespace {

namespace fs = std::filesystem;
using namespace textest;
using Bytes = std::vector<uint8_t>;

vktest::RunResult RunVkview(const std::vector<std::string> &args, const std::string &cwd) {
  return vktest::RunProgram(VKVIEW_BIN, args, cwd);
}
void WriteBytes(const std::string &name, const Bytes &bytes) {
  WriteFile(name, std::string(bytes.begin(), bytes.end()));
}

// A PNG file read back by libpng; it must be stored as 8-bit RGB.
struct Png {
  bool ok = false;
  int32_t width = 0, height = 0;
  Bytes rgb;
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
  png.width = static_cast<int32_t>(image.width), png.height = static_cast<int32_t>(image.height);
  png_image_free(&image);
  return png;
}

// Checks a picture against the texture, laid out by hand: levels side by
// side from x = 4 with 4 pixels between them, rows 4 pixels apart from y = 4
// (one row when every texel is opaque; else over a checkerboard of 8-pixel
// squares starting light, the alpha as grey, the colour), the caption (as
// the font draws it) 4 pixels under the last row, a margin of 4 all round,
// background elsewhere.
void ExpectPicture(const std::string &name, const PVR_Decoded &texture, const std::string &caption) {
  const Png png = ReadPng(name);
  ASSERT_TRUE(png.ok) << name;
  bool alpha = false;
  int32_t panelsWidth = -4;
  for (const PVR_Image &level : texture.levels) {
    panelsWidth += level.width + 4;
    for (size_t i = 0; i < level.texels.size(); i += 4) alpha = alpha || level.texels[i] != 255;
  }
  const int32_t side = texture.levels[0].height, captionY = 4 + (alpha ? 3 : 1) * (side + 4);
  ASSERT_EQ(png.width, 8 + std::max(panelsWidth, static_cast<int32_t>(caption.size()) * 6 - 1));
  ASSERT_EQ(png.height, captionY + 7 + 4);
  Bytes expected(png.rgb.size(), kViewBackground);
  const auto put = [&](int32_t x, int32_t y, uint8_t r, uint8_t g, uint8_t b) {
    uint8_t *p = &expected[3 * (static_cast<size_t>(y) * png.width + x)];
    p[0] = r, p[1] = g, p[2] = b;
  };
  int32_t left = 4;
  for (const PVR_Image &level : texture.levels) {
    for (int32_t y = 0; y < level.height; ++y)
      for (int32_t x = 0; x < level.width; ++x) {
        const uint8_t *t = level.At(x, y);
        const int bg = (x / 8 + y / 8) % 2 == 0 ? 0xCC : 0x88;
        const auto over = [&](int c) { return static_cast<uint8_t>((c * t[0] + bg * (255 - t[0]) + 127) / 255); };
        if (!alpha) {
          put(left + x, 4 + y, t[1], t[2], t[3]);
          continue;
        }
        put(left + x, 4 + y, over(t[1]), over(t[2]), over(t[3]));
        put(left + x, 4 + (side + 4) + y, t[0], t[0], t[0]);
        put(left + x, 4 + 2 * (side + 4) + y, t[1], t[2], t[3]);
      }
    left += level.width + 4;
  }
  ViewPicture band{png.width, kViewGlyphHeight,
                   Bytes(3 * static_cast<size_t>(png.width) * kViewGlyphHeight, kViewBackground)};
  ViewDrawText(&band, kViewMargin, 0, caption);
  std::copy(band.rgb.begin(), band.rgb.end(), expected.begin() + 3 * static_cast<std::ptrdiff_t>(captionY) * png.width);
  for (size_t i = 0; i < expected.size(); ++i)  // the first differing pixel rather than two huge vectors
    if (png.rgb[i] != expected[i])
      FAIL() << "pixel (" << i / 3 % png.width << ", " << i / 3 / png.width << ") channel " << i % 3 << ": "
             << int(png.rgb[i]) << " instead of " << int(expected[i]);
}

// Captions of the kinds in WriteEveryKind's order (and with its global indices).
const char *const kCaptions[] = {
    "32x32 ARGB1555 TW GI 1",      "32x32 ARGB1555 TW MIP GI 2",   "32x32 RGB565 TW GI -",
    "32x32 RGB565 TW MIP GI 4",    "32x32 ARGB4444 TW GI 5",       "32x32 ARGB4444 TW MIP GI -",
    "32x32 YUV422 TW GI 7",        "32x32 YUV422 TW MIP GI 8",     "32x32 RGB555 TW GI -",
    "32x32 RGB555 TW MIP GI 10",   "64x16 ARGB4444 TW GI 11",      "8x32 RGB565 TW GI -",
    "64x32 ARGB1555 RECT GI 13",   "32x16 YUV422 RECT GI 14",      "16x64 RGB555 STRIDE GI -",
    "32x16 ARGB1555 PAL4 GI 16",   "32x32 ARGB1555 PAL8 GI 17",    "32x16 RGB565 PAL4 GI -",
    "32x32 RGB565 PAL8 GI 19",     "32x16 ARGB4444 PAL4 GI 20",    "32x32 ARGB4444 PAL8 GI -",
    "32x16 ARGB8888 PAL4 GI 22",   "32x32 ARGB8888 PAL8 GI 23",    "64x64 RGB565 VQ GI 23",
    "64x64 ARGB4444 VQ MIP GI 24", "16x16 ARGB1555 SVQ MIP GI 25", "32x32 RGB565 SVQ GI 26",
    "64x64 ARGB4444 SVQ GI 27"};

struct Kinds {
  ScratchDir dir;
  std::vector<pvrkinds::KindFile> files = pvrkinds::WriteEveryKind(dir.path());
  std::string Caption(const std::string &label) const {
    for (size_t i = 0; i < files.size(); ++i)
      if (files[i].label == label) return kCaptions[i];
    return "?";
  }
  pvmtest::Texture Texture(const std::string &label, const std::string &name) const {
    const std::string pvp = dir.file(label + ".pvp");
    return {name, FileBytes(dir.file(label + ".pvr")), Exists(pvp) ? FileBytes(pvp) : Bytes{}};
  }
};

TEST(Viewer, EveryKindShowsTheDecodedTexels) {
  const Kinds kinds;
  ASSERT_EQ(kinds.files.size(), pvrkinds::kKindCount);
  int withAlpha = 0, mipmapped = 0;
  for (const pvrkinds::KindFile &kind : kinds.files) {
    SCOPED_TRACE(kind.label);
    const vktest::RunResult run = RunVkview({kind.label + ".pvr"}, kinds.dir.path());
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err + run.out, "");
    const PVR_Decoded texture = DecodeFile(kind.pvr, kind.pvp);
    ExpectPicture(kinds.dir.file(kind.label + ".png"), texture, kinds.Caption(kind.label));
    withAlpha += ViewHasAlpha(texture);
    mipmapped += texture.levels.size() > 1;
  }
  EXPECT_GE(withAlpha, 10);
  EXPECT_GE(mipmapped, 7);
}

// Archives: one picture per entry under FILE_<entry>.png, or under a prefix
// or in a folder with -o; names made safe and unique; palette banks shown. A
// PVR picture goes to FILE.png, to the -o file, or into the -o folder.
TEST(Viewer, OutputNamesAndArchivePictures) {
  const Kinds kinds;
  const std::string labels[] = {"twiddled-mip-RGB565", "vq-mip-ARGB4444", "stride-RGB555", "smallvq-mip-ARGB1555",
                                "rectangle-YUV422"};
  const std::string names[] = {"wall", "wall", "a/b", "", "road.01"},
                    parts[] = {"wall", "wall_1", "a_b_2", "_3", "road.01"};
  std::vector<pvmtest::Texture> plain;
  for (int i = 0; i < 5; ++i) plain.push_back(kinds.Texture(labels[i], names[i]));
  const std::vector<pvmtest::Texture> palettized = {kinds.Texture("pal4-ARGB8888", "p4"),
                                                    kinds.Texture("pal8-ARGB8888", "p8")};
  WriteBytes(kinds.dir.file("set.pvm"), pvmtest::Archive(plain, {"m.vka"}));
  WriteBytes(kinds.dir.file("pal.pvm"), pvmtest::Archive(palettized));
  fs::create_directories(kinds.dir.file("out"));
  fs::copy_file(kinds.dir.file("vq-RGB565.pvr"), kinds.dir.file("plain"));
  const std::pair<std::vector<std::string>, std::string> runs[] = {
      {{"set.pvm"}, "set_"},
      {{"set.pvm", "-o", "pre"}, "pre_"},
      {{"set.pvm", "-o", "out"}, "out/set_"},
      {{"set.pvm", "-o", "new/"}, "new/set_"},
      {{"vq-RGB565.pvr"}, "vq-RGB565.png"},
      {{"vq-RGB565.pvr", "-o", "x.png"}, "x.png"},
      {{"-o", "y", "vq-RGB565.pvr"}, "y"},
      {{"vq-RGB565.pvr", "-o", "out"}, "out/vq-RGB565.png"},
      {{"plain"}, "plain.png"}};
  const PVR_Decoded vq = DecodeFile(kinds.dir.file("vq-RGB565.pvr"));
  for (const auto &[args, prefix] : runs) {
    SCOPED_TRACE(prefix);
    const vktest::RunResult result = RunVkview(args, kinds.dir.path());
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    if (prefix.back() != '_') {
      ExpectPicture(kinds.dir.file(prefix), vq, kinds.Caption("vq-RGB565"));
      continue;
    }
    for (size_t i = 0; i < plain.size(); ++i)
      ExpectPicture(kinds.dir.file(prefix + parts[i] + ".png"), Decode(plain[i].pvr),
                    (names[i].empty() ? "" : names[i] + " ") + kinds.Caption(labels[i]));
  }
  EXPECT_EQ(FileBytes(kinds.dir.file("x.png")), FileBytes(kinds.dir.file("plain.png")));
  EXPECT_FALSE(fs::exists(kinds.dir.file("x.png.tmp~")));
  EXPECT_EQ(RunVkview({"pal.pvm"}, kinds.dir.path()).status, 0);
  ExpectPicture(kinds.dir.file("pal_p4.png"), Decode(palettized[0].pvr, palettized[0].pvp),
                "p4 32x16 ARGB8888 PAL4 GI 22 BANK 3");
  ExpectPicture(kinds.dir.file("pal_p8.png"), Decode(palettized[1].pvr, palettized[1].pvp),
                "p8 32x32 ARGB8888 PAL8 GI 23 BANK 5");
}

TEST(Viewer, Refusals) {
  const Kinds kinds;
  const auto file = [&](const std::string &name) { return kinds.dir.file(name); };
  const Bytes good = FileBytes(file("twiddled-RGB565.pvr")), cut(good.begin(), good.end() - 100);
  ASSERT_EQ(good.size(), 16u + 2048);  // no GBIX: PVRT at 0, 2048 bytes of data
  const Bytes archive = pvmtest::Archive({{"ok", good, {}}, {"bad", cut, {}}});
  WriteBytes(file("cut.pvr"), cut);
  WriteFile(file("other.pvr"), "BM this is a bitmap");
  WriteFile(file("short.pvr"), "PV");
  fs::create_directories(file("folder.pvr"));
  fs::copy_file(file("pal8-RGB565.pvr"), file("lonely.pvr"));
  WriteBytes(file("half.pvm"), archive);
  WriteBytes(file("cut.pvm"), Bytes(archive.begin(), archive.end() - 1));
  WriteBytes(file("empty.pvm"), pvmtest::Archive({}));
  WriteBytes(file("locked.pvr"), good);
  chmod(file("locked.pvr").c_str(), 0);
  const struct {
    std::vector<std::string> args;
    std::string line;                  // the whole standard error output
    std::vector<std::string> written;  // pictures that must exist afterwards
  } cases[] = {
      {{"missing.pvr"}, "missing.pvr: cannot be read: No such file or directory\n", {}},
      {{"folder.pvr"}, "folder.pvr: is a folder, not a file\n", {}},
      {{"cut.pvr"}, "cut.pvr: chunk \"PVRT\" at offset 0 claims 2056 bytes, only 1956 follow\n", {}},
      {{"other.pvr"}, "other.pvr: is not a PVR or PVM file (it starts with neither GBIX, PVRT nor PVMH)\n", {}},
      {{"short.pvr"}, "short.pvr: is too short for a PVR or PVM file\n", {}},
      {{"lonely.pvr"}, "lonely.pvr: palette file lonely.pvp cannot be read: No such file or directory\n", {}},
      {{"half.pvm"}, "half.pvm: entry 1 \"bad\": texel data holds 1948 bytes, 2048 needed\n", {"half_ok.png"}},
      {{"cut.pvm"}, "cut.pvm: chunk \"PVRT\" at offset 2192 claims 1956 bytes, only 1955 follow\n", {}},
      {{"empty.pvm"}, "empty.pvm: archive holds no texture\n", {}},
      {{"twiddled-RGB565.pvr", "-o", "nowhere/x.png"}, "nowhere/x.png: cannot be written\n", {}},
      {{"half.pvm", "-o", "cut.pvr/"}, "cut.pvr/: cannot be created: File exists\n", {}},
      {{"twiddled-RGB565.pvr", "-x"}, "-x: unknown option (vkview -h shows the usage)\n", {}},
      {{"twiddled-RGB565.pvr", "cut.pvr"}, "cut.pvr: a second input; vkview takes one file\n", {}},
      {{"twiddled-RGB565.pvr", "-o"}, "-o: needs the name of the output\n", {}},
      {{"locked.pvr"}, geteuid() == 0 ? "" : "locked.pvr: cannot be read: Permission denied\n", {}},  // root reads it
  };
  for (const auto &c : cases) {
    if (c.line.empty()) continue;
    SCOPED_TRACE(c.line);
    const auto count = [&] {
      return std::distance(fs::directory_iterator(kinds.dir.path()), fs::directory_iterator());
    };
    const auto before = count();
    const vktest::RunResult run = RunVkview(c.args, kinds.dir.path());
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.err, "vkview: " + c.line);
    EXPECT_EQ(run.out, "");
    for (const std::string &picture : c.written) EXPECT_TRUE(fs::exists(file(picture)));
    EXPECT_EQ(count(), before + static_cast<std::ptrdiff_t>(c.written.size()));
  }
  // Usage: on request to the message stream with status 0, without input with status 1.
  const vktest::RunResult help = RunVkview({"-h"}, kinds.dir.path()), none = RunVkview({}, kinds.dir.path());
  EXPECT_EQ(help.status * 10 + none.status, 1);
  EXPECT_EQ(help.err.rfind("Usage: vkview FILE.pvr|FILE.pvm [-o OUT]\n", 0), 0u);
  EXPECT_EQ(none.err, help.err);
}

// The glyphs "1", "x", "G" and a byte outside printable ASCII (drawn as "?"),
// clipped at the right edge.
TEST(Viewer, FontWorkedByHand) {
  ViewPicture picture{22, 7, Bytes(3 * 22 * 7, 0)};
  ViewDrawText(&picture, 0, 0, std::string("1xG\x01"));
  const char *expected[7] = {"..#..........###...###", ".##.........#...#.#...", "..#...#...#.#.........",
                             "..#....#.#..#.###....#", "..#.....#...#...#...#.", "..#....#.#..#...#.....",
                             ".###..#...#..####...#."};
  for (int32_t y = 0; y < 7; ++y) {
    std::string row;
    for (int32_t x = 0; x < 22; ++x) row += picture.rgb[3 * (y * 22 + x)] == kViewInk ? '#' : '.';
    EXPECT_EQ(row, expected[y]) << "row " << y;
  }
}

}  // namespace
