// The texture-list section end to end through the built program: a model
// whose textures are small images of every source format (with resource
// records, a bad size, a cut file, an unknown suffix, a source without
// suffix), converted on the default route, again (every existing file
// skipped), with -forcetex -gibase 100, with -bin and with -septex; and small
// models for the options and for a texture shared by two materials.
#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <string>
#include <vector>

#include "support/test_support.h"
#include "support/vka_gen.h"
#include "texture/image_files.h"
#include "texture/texture_test_util.h"

// The models name only the generator settings they change.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

namespace {

using vktest::ReadFile;
using vktest::RunVkconv;
using vktest::ScratchDir;
using vktest::WriteFile;

// Gradients with noise, opaque unless `alpha` gives the texel's alpha.
template <typename Alpha>
PVR_Image Photo(int w, int h, Alpha alpha) {
  return teximg::MakeImage(w, h, [&](int x, int y) {
    const int n = static_cast<int>((x * 73856093u ^ y * 19349663u) % 29);
    return std::array<int, 4>{alpha(x, y), (x * 255 / (w - 1) + n) & 255, (y * 255 / (h - 1) + 2 * n) & 255,
                              (128 + x - y + 3 * n) & 255};
  });
}
PVR_Image Photo(int w, int h) {
  return Photo(w, h, [](int, int) { return 255; });
}

// Levels a decoder gives back for `source` in the pixel format: level 0 and,
// with mipmaps, the box filter of level 0 per level, each quantised.
std::vector<PVR_Image> Levels(const PVR_Image &source, int32_t pixelFormat, bool mipmaps) {
  std::vector<PVR_Image> levels;
  for (int k = 0; (source.width >> k) > 0 && (k == 0 || mipmaps); ++k) {
    levels.push_back(textest::LiteralMipmap(source, k));
    for (size_t i = 0; i < levels.back().texels.size(); i += 4)
      textest::Quantise(pixelFormat, &levels.back().texels[i]);
  }
  return levels;
}

// A palettized BMP's texels through an RGB565 palette.
std::vector<PVR_Image> PaletteLevels(int side, const std::vector<uint32_t> &palette,
                                     const std::vector<uint8_t> &indices) {
  PVR_Image image = teximg::MakeImage(side, side, [&](int x, int y) {
    const uint32_t e = palette[indices[static_cast<size_t>(y * side + x)]];
    return std::array<int, 4>{255, static_cast<int>(e >> 16 & 255), static_cast<int>(e >> 8 & 255),
                              static_cast<int>(e & 255)};
  });
  return Levels(image, kPixRGB565, false);
}

// A "TextureTex" record holding these field lines (in declaration order).
std::string Nre(const std::string &fields) { return "Chunk TextureTex 0 1 0 0\n! 0 record\n" + fields; }

struct Source {
  std::string name;               // as the model writes it
  std::string bytes;              // the source file
  std::vector<PVR_Image> levels;  // decoded texels expected; none: no PVR file
  std::string nre = "";           // resource database beside it
  std::string translucent = "";   // translucent bitmap beside it
  int tolerance = 0;              // level 0 only, mean difference per channel (VQ of a photograph)
};

std::vector<Source> Sources() {
  std::vector<Source> s;
  const PVR_Image photo = Photo(32, 32);
  s.push_back({"a_photo.bmp", teximg::Bmp(photo), Levels(photo, kPixRGB565, true)});
  const PVR_Image cutout =
      Photo(16, 16, [](int x, int y) { return (x - 8) * (x - 8) + (y - 7) * (y - 7) < 30 ? 255 : 0; });
  s.push_back(
      {"b_cutout.bmp", teximg::Bmp(cutout), Levels(cutout, kPixARGB1555, true), "", teximg::TranslucentBmp(cutout)});
  const PVR_Image glass = Photo(16, 16, [](int x, int y) { return 255 - ((x * 16 + y * 3) & 255); });
  s.push_back({"c_glass.tga", teximg::Tga(glass, 32), Levels(glass, kPixARGB4444, true)});
  const PVR_Image wide = Photo(32, 16);
  s.push_back({"d_wide.bmp", teximg::Bmp(wide), Levels(wide, kPixRGB565, false)});
  std::vector<uint32_t> palette16, palette256;
  for (uint32_t i = 0; i < 16; ++i) palette16.push_back((17 * i) << 16 | (255 - i) << 8 | (40 * i & 255));
  for (uint32_t i = 0; i < 256; ++i) palette256.push_back(i << 16 | (255 - i) << 8 | (7 * i & 255));
  std::vector<uint8_t> indices16, indices8;
  for (int i = 0; i < 256; ++i) indices16.push_back(static_cast<uint8_t>((i % 16 * 3 + i / 16) & 15));
  for (int i = 0; i < 64; ++i) indices8.push_back(static_cast<uint8_t>(i * 37 & 255));
  const std::string bank = "Fromat auto\nCategory auto\nMipmap on\nDither off\nAlphaDither off\nGlobalIndex auto\n";
  s.push_back({"e_pal4.bmp", teximg::PalBmp(16, 16, 4, palette16, indices16), PaletteLevels(16, palette16, indices16),
               Nre(bank + "paletteBank 3\n")});
  s.push_back({"f_pal8.bmp", teximg::PalBmp(8, 8, 8, palette256, indices8), PaletteLevels(8, palette256, indices8),
               Nre(bank + "paletteBank 5\n")});
  const PVR_Image tga16 = teximg::MakeImage(8, 8, [](int x, int y) {
    return std::array<int, 4>{(x + y) % 3 ? 255 : 0, x * 32 & 0xF8, y * 24 & 0xF8, (x * y * 8) & 0xF8};
  });
  s.push_back({"g_tga16.tga", teximg::Tga(tga16, 16), Levels(tga16, kPixARGB1555, true)});
  const PVR_Image pic = Photo(16, 16, [](int x, int y) { return x * 17 ^ y; });
  s.push_back({"h_image.pic", teximg::Pic(pic, true, true), Levels(pic, kPixARGB4444, true)});
  const PVR_Image pix = Photo(16, 16);
  s.push_back({"i_image.pix", teximg::Pix(pix), Levels(pix, kPixRGB565, true)});
  s.push_back({"j_bad.bmp", teximg::Bmp(Photo(24, 24)), {}});
  // 2x2 blocks of sixteen kinds: fewer distinct blocks than codebook entries,
  // so VQ keeps every block exactly.
  const PVR_Image blocks = teximg::MakeImage(64, 64, [](int x, int y) {
    const uint32_t v = (((x / 8 + y / 8) % 16) * 4 + (x & 1) + 2 * (y & 1)) * 2654435761u;
    return std::array<int, 4>{255, static_cast<int>(v >> 24), static_cast<int>(v >> 16 & 255),
                              static_cast<int>(v >> 8 & 255)};
  });
  s.push_back({"k_vq.bmp", teximg::Bmp(blocks), Levels(blocks, kPixRGB565, false),
               Nre("Fromat auto\nCategory VQ\nMipmap off\n")});
  const PVR_Image small = Photo(8, 8);
  s.push_back({"l_gi7.bmp", teximg::Bmp(small), Levels(small, kPixARGB4444, true),
               Nre("Fromat ARGB4444\nCategory auto\nMipmap on\nDither off\nAlphaDither off\nGlobalIndex 7\n")});
  s.push_back({"m_plain.bmp", teximg::Bmp(small), Levels(small, kPixRGB565, true)});
  const PVR_Image square16 = Photo(16, 16);
  s.push_back(
      {"n_small_vq.bmp", teximg::Bmp(square16), Levels(square16, kPixRGB565, true), Nre("Fromat auto\nCategory VQ\n")});
  const PVR_Image rect = Photo(64, 32);
  s.push_back({"o_rect_vq.bmp", teximg::Bmp(rect), Levels(rect, kPixRGB565, false), Nre("Fromat auto\nCategory VQ\n")});
  const PVR_Image tall = Photo(16, 32);
  s.push_back(
      {"p_tall.bmp", teximg::Bmp(tall), Levels(tall, kPixRGB565, false), Nre("Fromat auto\nCategory twiddled\n")});
  // Every channel its own reconstruction: dither leaves the texels alone.
  const PVR_Image uniform = textest::MakeImage(8, 8, 255, 132, 130, 132);
  s.push_back({"q_dither.bmp", teximg::Bmp(uniform), Levels(uniform, kPixRGB565, true),
               Nre("Fromat auto\nCategory auto\nMipmap on\nDither on\nAlphaDither on\n")});
  s.push_back({"r_lock.bmp", teximg::Bmp(small), Levels(small, kPixRGB565, true),
               Nre("Fromat ARGB1555\nCategory stride\nMipmap off\nDither on\nAlphaDither on\nGlobalIndex 9\n"
                   "paletteBank auto\nVQMode VQ3\npvrLockOn on\n")});
  s.push_back({"s_nosuffix", teximg::Pic(small, false, false), Levels(small, kPixRGB565, true)});
  s.push_back({"t_odd.xyz", teximg::Bmp(small), {}});
  const PVR_Image vqPhoto = Photo(64, 64);
  s.push_back({"u_vq_photo.bmp", teximg::Bmp(vqPhoto), Levels(vqPhoto, kPixRGB565, true),
               Nre("Fromat auto\nCategory VQ\n"), "", 12});
  s.push_back({"v_cut.bmp", teximg::Bmp(small).substr(0, 100), {}});
  return s;
}

// The section of the first run, worked out by hand: indices in list order
// (j_bad, t_odd and v_cut take theirs without a file and show a fresh block;
// l_gi7's record sets 7 and the counter goes on; r_lock's locked record sets
// nothing).
const char kFirstRun[] = R"(TEXTURE_START

TEXTURENAME textures_scene[]
START
	TEXN( "a_photo" ),         /* 0 32x32 565 TW MIP */
	TEXN( "b_cutout" ),        /* 1 16x16 1555 TW MIP */
	TEXN( "c_glass" ),         /* 2 16x16 4444 TW MIP */
	TEXN( "d_wide" ),          /* 3 32x16 565 RE */
	TEXN( "e_pal4" ),          /* 4 16x16 565 P4 */
	TEXN( "f_pal8" ),          /* 5 8x8 565 P8 */
	TEXN( "g_tga16" ),         /* 6 8x8 1555 TW MIP */
	TEXN( "h_image" ),         /* 7 16x16 4444 TW MIP */
	TEXN( "i_image" ),         /* 8 16x16 565 TW MIP */
	TEXN( "j_bad" ),           /* 0 0x0 565 XXXX ?? ?? */
	TEXN( "k_vq" ),            /* 10 64x64 565 VQ */
	TEXN( "l_gi7" ),           /* 7 8x8 4444 TW MIP */
	TEXN( "m_plain" ),         /* 12 8x8 565 TW MIP */
	TEXN( "n_small_vq" ),      /* 13 16x16 565 TW MIP */
	TEXN( "o_rect_vq" ),       /* 14 64x32 565 RE */
	TEXN( "p_tall" ),          /* 15 16x32 565 TW */
	TEXN( "q_dither" ),        /* 16 8x8 565 TW MIP DI AD */
	TEXN( "r_lock" ),          /* 17 8x8 565 TW MIP */
	TEXN( "s_nosuffix" ),      /* 18 8x8 565 TW MIP */
	TEXN( "t_odd" ),           /* 0 0x0 565 XXXX ?? ?? */
	TEXN( "u_vq_photo" ),      /* 20 64x64 565 VQ MIP */
	TEXN( "v_cut" ),           /* 0 0x0 565 XXXX ?? ?? */
END

TEXTURELIST texlist_scene
START
TextureList textures_scene,
TextureNum  22,
END

TEXTURE_END


)";

// Mean absolute difference per channel of two equal-sized images.
double MeanDifference(const PVR_Image &a, const PVR_Image &b) {
  double sum = 0;
  for (size_t i = 0; i < a.texels.size(); ++i) sum += std::abs(a.texels[i] - b.texels[i]);
  return a.texels.empty() ? 0 : sum / static_cast<double>(a.texels.size());
}

std::string Between(const std::string &text, const std::string &from, const std::string &to) {
  const size_t a = text.find(from);
  const size_t b = a == std::string::npos ? a : text.find(to, a);
  return b == std::string::npos ? "" : text.substr(a, b + to.size() - a);
}

size_t Count(const std::string &text, const std::string &what) {
  size_t n = 0;
  for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++n;
  return n;
}

// The name with its suffix replaced (appended when it has none).
std::string WithSuffix(const std::string &name, const char *suffix) { return name.substr(0, name.rfind('.')) + suffix; }

// The PVR file of a source (with its palette file for a palettized one)
// decoded; no levels when there is no file.
std::vector<PVR_Image> Decoded(const ScratchDir &dir, const Source &s, uint32_t *globalIndex = nullptr) {
  const std::string pvr = dir.file(WithSuffix(s.name, ".pvr"));
  if (!vktest::Exists(pvr)) return {};
  const bool palettized = s.name[0] == 'e' || s.name[0] == 'f';
  PVR_Decoded decoded = textest::DecodeFile(pvr, palettized ? WithSuffix(pvr, ".pvp") : "");
  if (globalIndex) *globalIndex = decoded.globalIndex;
  return decoded.levels;
}

// Writes the sources and the model "scene.vka" referring to them.
void WriteScene(const ScratchDir &dir, const std::vector<Source> &sources) {
  vktest::VkaGenParams params{
      .baseName = "scene", .gridWidth = 2, .gridHeight = 2, .materials = static_cast<int>(sources.size())};
  for (const Source &s : sources) {
    params.textureNames.push_back(s.name);
    ASSERT_TRUE(WriteFile(dir.file(s.name), s.bytes));
    if (!s.nre.empty()) {
      ASSERT_TRUE(WriteFile(dir.file(WithSuffix(s.name, ".nre")), s.nre));
    }
    if (!s.translucent.empty()) {
      ASSERT_TRUE(WriteFile(dir.file("t" + s.name), s.translucent));
    }
  }
  ASSERT_TRUE(vktest::WriteVka(dir.file("scene.vka"), params));
}

TEST(Section, SourcesOfEveryFormatOnEveryRoute) {
  const std::vector<Source> sources = Sources();
  ScratchDir dir;
  WriteScene(dir, sources);
  const std::string input = ReadFile(dir.file("scene.vka"));

  vktest::RunResult run = RunVkconv({"scene.vka"}, dir.path());
  EXPECT_EQ(Between(ReadFile(dir.file("scene.vka")), "TEXTURE_START", "TEXTURE_END\n\n\n"), kFirstRun);
  EXPECT_EQ(Count(run.out, "Input file name = "), sources.size());
  EXPECT_NE(run.out.find("Input file name = k_vq.bmp\n\nCOMPRESSING IMAGE\n"), std::string::npos) << run.out;
  for (const char *message :
       {"\n#####\nBMP size error.\nWidth:24  Height:24\n#####\n", "[FIND RESOURCE] ",
        "[Palettized][Twiddled][RGB565][Bank 3][4BPP]", "[VQ4][NO ALPHA DATA][RGB565][VQ AUTO MIPMAP OFF]",
        "Warning : Too small size. Use Twiddled.\n", "Warning : Bad size. Ignore VQ option.\n",
        "[ALPHA DITHER][DITHER]", "[FIND RESOURCE] [PVR LOCK] ", "[PIC][INPUT] s_nosuffix(8x8) ", "[BILEVEL][ARGB1555]",
        "Error : Can't convert filetype \".xyz\"\n", "[OUTPUT] a_photo.pvr\n", "Error : Can't read file v_cut.bmp\n"})
    EXPECT_NE(run.err.find(message), std::string::npos) << message;
  for (const Source &s : sources) {
    SCOPED_TRACE(s.name);
    const std::vector<PVR_Image> levels = Decoded(dir, s);
    ASSERT_EQ(levels.size(), s.levels.size());
    for (size_t k = 0; k < s.levels.size() && s.tolerance == 0; ++k)
      EXPECT_EQ(levels[k].texels, s.levels[k].texels) << "level " << k;
    if (!levels.empty()) {
      EXPECT_LE(MeanDifference(levels[0], s.levels[0]), s.tolerance);
    }
  }
  EXPECT_NE(run.out.find("COMPRESSION IS "), std::string::npos) << run.out;

  // Again: every file there is skipped and the counter stays.
  ASSERT_TRUE(WriteFile(dir.file("scene.vka"), input));
  run = RunVkconv({"scene.vka"}, dir.path());
  const std::string again = ReadFile(dir.file("scene.vka"));
  EXPECT_EQ(Count(run.err, "[SKIP] \n"), 19u);
  EXPECT_EQ(Count(again, "?? ?? */"), 22u);
  // The header reader does not know the non-square twiddled type.
  for (const char *line : {"\tTEXN( \"l_gi7\" ),           /* 7 8x8 4444 TW MIP ?? ?? */\n",
                           "\tTEXN( \"p_tall\" ),          /* 15 16x32 565 XXXX ?? ?? */\n",
                           "\tTEXN( \"q_dither\" ),        /* 16 8x8 565 TW MIP ?? ?? */\n"})
    EXPECT_NE(again.find(line), std::string::npos) << line;
  EXPECT_NE(run.err.find("File k_vq.pvr(64x64) [SKIP] \n"), std::string::npos);
  EXPECT_NE(run.err.find("Warning : Not Support categorycode 3329\n"), std::string::npos);

  // Forced, numbered from 100 in list order (l_gi7 keeps its record's 7).
  ASSERT_TRUE(WriteFile(dir.file("scene.vka"), input));
  run = RunVkconv({"scene.vka", "-forcetex", "-gibase", "100"}, dir.path());
  EXPECT_EQ(Count(run.err, "[SKIP]"), 0u);
  for (size_t i = 0; i < sources.size(); ++i) {
    uint32_t index = 0;
    if (Decoded(dir, sources[i], &index).empty()) continue;
    EXPECT_EQ(index, sources[i].name == "l_gi7.bmp" ? 7u : 100 + i) << sources[i].name;
  }

  // Binary: the VKTL chunk lists the twenty names; the PVR files are the same.
  ScratchDir bin;
  WriteScene(bin, sources);
  RunVkconv({"scene.vka", "-bin"}, bin.path());
  const std::string vk = ReadFile(bin.file("scene.vk"));
  ASSERT_GT(vk.size(), 8u);
  ASSERT_EQ(vk.substr(0, 4), "VKTL");
  const std::vector<uint16_t> words = textest::Words(vk, 8, 4 + 6 * sources.size());
  auto word32 = [&](size_t at) { return words[2 * at] | static_cast<uint32_t>(words[2 * at + 1]) << 16; };
  EXPECT_EQ(word32(0), 8u);   // TextureList: the first texture entry
  EXPECT_EQ(word32(1), 22u);  // TextureNum
  for (size_t i = 0; i < sources.size(); ++i) {
    const std::string &source = sources[i].name;
    EXPECT_EQ(std::string(vk.c_str() + 8 + word32(2 + 3 * i)), source.substr(0, source.find('.')));
    EXPECT_EQ(word32(3 + 3 * i) | word32(4 + 3 * i), 0u);
    // The same texture data as the forced run (whose indices differ).
    const std::string pvr = WithSuffix(source, ".pvr");
    EXPECT_EQ(ReadFile(bin.file(pvr)).substr(std::min<size_t>(16, ReadFile(bin.file(pvr)).size())),
              ReadFile(dir.file(pvr)).substr(std::min<size_t>(16, ReadFile(dir.file(pvr)).size())))
        << source;
  }

  // -septex: the texture file carries the same section.
  ScratchDir sep;
  WriteScene(sep, sources);
  RunVkconv({"scene.vka", "-septex"}, sep.path());
  EXPECT_EQ(Between(ReadFile(sep.file("scene.vat")), "TEXTURE_START", "TEXTURE_END\n\n\n"), kFirstRun);
}

// Small models: one image shared by the materials of two objects, the
// options of the section, and palette banks.
TEST(Section, OptionsBanksAndSharedTextures) {
  // Two objects; material m of each uses texture m, the polygons material 0.
  struct Case {
    std::vector<std::string> args;
    std::vector<std::string> textures;
    bool banks;
    const char *lines;  // found in the model file; null: no section
    size_t useAlpha;    // "FST_UA" strip flags in the model
  };
  const Case cases[] = {
      {{}, {"cut.bmp"}, false, "\tTEXN( \"cut\" ),             /* 0 16x16 1555 TW MIP */\n", 2},
      {{"-texn3"}, {"cut.bmp"}, false, "\tTEXN3( \"cut\", 0x0, 0 ),             /* 0 16x16 1555 TW MIP */\n", 2},
      {{"-notexture"}, {"cut.bmp"}, false, nullptr, 0},
      // Same name after the first line; neither file exists.
      {{"-outpvm"},
       {"a/wood.bmp", "b/wood.bmp"},
       true,
       "\tPTEXN( \"wood\", 0, 0 ),            /* 0 0x0 565 XXXX ?? ?? */\n"
       "\tPTEXN( \"wood\", 1, 1 ),            /* 0 0x0 565 XXXX ?? ?? */\n",
       0},
  };
  const PVR_Image cut = Photo(16, 16, [](int x, int) { return x < 8 ? 255 : 0; });
  for (const Case &c : cases) {
    SCOPED_TRACE(c.args.empty() ? "default" : c.args[0]);
    std::string single;
    for (const bool separate : {false, true}) {
      ScratchDir dir;
      ASSERT_TRUE(WriteFile(dir.file("cut.bmp"), teximg::Bmp(cut)));
      ASSERT_TRUE(WriteFile(dir.file("tcut.bmp"), teximg::TranslucentBmp(cut)));
      ASSERT_TRUE(vktest::WriteVka(dir.file("m.vka"), {.baseName = "m",
                                                       .objects = 2,
                                                       .gridWidth = 1,
                                                       .gridHeight = 1,
                                                       .materials = static_cast<int>(c.textures.size()),
                                                       .paletteBanks = c.banks,
                                                       .textureNames = c.textures}));
      std::vector<std::string> args = {"m.vka"};
      args.insert(args.end(), c.args.begin(), c.args.end());
      if (separate) args.push_back("-septex");
      const vktest::RunResult run = RunVkconv(args, dir.path());
      const std::string model = ReadFile(dir.file(separate ? "m.vad" : "m.vka"));
      const std::string objects = Between(model, "\nCNKOBJECT_START", "DEFAULT_START");
      EXPECT_EQ(Count(objects, "FST_UA"), c.useAlpha) << objects;
      if (!separate) {
        single = objects;
        EXPECT_TRUE(!c.lines || model.find(c.lines) != std::string::npos) << model;
        EXPECT_EQ(model.find("TEXTURE_START") == std::string::npos, !c.lines);
        EXPECT_EQ(vktest::Exists(dir.file("cut.pvr")), c.useAlpha > 0);
        EXPECT_EQ(run.out.empty(), !c.lines);
        EXPECT_EQ(run.err.find("Warning : PVM archives are not available yet; -outpvm ignored\n") != std::string::npos,
                  c.banks);
      } else {
        EXPECT_EQ(objects, single);  // the data file's chunks are those of the single file
      }
    }
  }
}

}  // namespace
