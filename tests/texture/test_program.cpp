// Textures end to end through the built program. The texture-list section:
// a model whose textures are small images of every source format (with
// resource records, a bad size, a cut file, an unknown suffix, a source
// without suffix) converted on the default route, again (every existing file
// skipped), with -forcetex -gibase 100, with -bin and with -septex; small
// models for the options and a texture shared by two objects. -outpvm: the
// archive of several textures on every route, of palettized textures, and
// archives that cannot be built.
#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "pvm_layout.h"
#include "support/vka_gen.h"
#include "texture/image_files.h"
#include "texture_test_util.h"

// The models and sources name only the fields they set.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

namespace {

using namespace textest;
using vktest::RunResult;
using vktest::RunVkconv;

// Gradients with noise, opaque unless `alpha` gives the texel's alpha.
PVR_Image Photo(
    int w, int h, int (*alpha)(int, int) = [](int, int) { return 255; }) {
  return teximg::MakeImage(w, h, [&](int x, int y) {
    const int n = static_cast<int>((x * 73856093u ^ y * 19349663u) % 29);
    return std::array<int, 4>{alpha(x, y), (x * 255 / (w - 1) + n) & 255, (y * 255 / (h - 1) + 2 * n) & 255,
                              (128 + x - y + 3 * n) & 255};
  });
}
std::vector<uint32_t> Palette(uint32_t colours) {
  std::vector<uint32_t> palette;
  for (uint32_t i = 0; i < colours; ++i)
    palette.push_back(colours == 16 ? (17 * i) << 16 | (255 - i) << 8 | (40 * i & 255)
                                    : i << 16 | (255 - i) << 8 | (7 * i & 255));
  return palette;
}
// A palettized BMP's texels through an RGB565 palette.
std::vector<PVR_Image> PaletteLevels(int side, const std::vector<uint32_t> &palette,
                                     const std::vector<uint8_t> &indices) {
  return QuantisedLevels(
      teximg::MakeImage(side, side,
                        [&](int x, int y) {
                          const uint32_t e = palette[indices[static_cast<size_t>(y * side + x)]];
                          return std::array<int, 4>{255, int(e >> 16 & 255), int(e >> 8 & 255), int(e & 255)};
                        }),
      kPixRGB565, false);
}
// A "TextureTex" record holding these field lines (in declaration order).
std::string Nre(const std::string &fields) { return "Chunk TextureTex 0 1 0 0\n! 0 record\n" + fields; }
const std::string kBankFields =
    "Fromat auto\nCategory auto\nMipmap on\nDither off\nAlphaDither off\nGlobalIndex auto\n";
std::string WithSuffix(const std::string &name, const char *suffix) { return name.substr(0, name.rfind('.')) + suffix; }

struct Source {
  std::string name;               // as the model writes it
  std::string bytes;              // the source file
  std::vector<PVR_Image> levels;  // decoded texels expected; none: no PVR file
  std::string nre = "";           // resource database beside it
  std::string translucent = "";   // translucent bitmap beside it
  int tolerance = 0;              // level 0 only, mean difference per channel (VQ of a photograph)
};

// Writes the sources and the model `base`.vka whose materials use them in order.
void WriteModel(const ScratchDir &dir, const std::string &base, const std::vector<Source> &sources,
                bool banks = false) {
  vktest::VkaGenParams params{.baseName = base, .gridWidth = 2, .gridHeight = 2};
  params.materials = static_cast<int>(sources.size()), params.paletteBanks = banks;
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
  ASSERT_TRUE(vktest::WriteVka(dir.file(base + ".vka"), params));
}

std::vector<Source> Sources() {
  std::vector<Source> s;
  const PVR_Image photo = Photo(32, 32), small = Photo(8, 8), square16 = Photo(16, 16);
  const PVR_Image cutout =
      Photo(16, 16, [](int x, int y) { return (x - 8) * (x - 8) + (y - 7) * (y - 7) < 30 ? 255 : 0; });
  const PVR_Image glass = Photo(16, 16, [](int x, int y) { return 255 - ((x * 16 + y * 3) & 255); });
  const PVR_Image pic = Photo(16, 16, [](int x, int y) { return x * 17 ^ y; });
  const PVR_Image tga16 = teximg::MakeImage(8, 8, [](int x, int y) {
    return std::array<int, 4>{(x + y) % 3 ? 255 : 0, x * 32 & 0xF8, y * 24 & 0xF8, (x * y * 8) & 0xF8};
  });
  // 2x2 blocks of sixteen kinds: fewer distinct blocks than codebook entries,
  // so VQ keeps every block exactly.
  const PVR_Image blocks = teximg::MakeImage(64, 64, [](int x, int y) {
    const uint32_t v = (((x / 8 + y / 8) % 16) * 4 + (x & 1) + 2 * (y & 1)) * 2654435761u;
    return std::array<int, 4>{255, int(v >> 24), int(v >> 16 & 255), int(v >> 8 & 255)};
  });
  std::vector<uint8_t> indices16, indices8;
  for (int i = 0; i < 256; ++i) indices16.push_back(static_cast<uint8_t>((i % 16 * 3 + i / 16) & 15));
  for (int i = 0; i < 64; ++i) indices8.push_back(static_cast<uint8_t>(i * 37 & 255));
  const PVR_Image uniform = MakeImage(8, 8, 255, 132, 130, 132);  // dither leaves every channel alone
  const std::string vq = Nre("Fromat auto\nCategory VQ\n");
  s.push_back({"a_photo.bmp", teximg::Bmp(photo), QuantisedLevels(photo, kPixRGB565, true)});
  s.push_back({"b_cutout.bmp", teximg::Bmp(cutout), QuantisedLevels(cutout, kPixARGB1555, true), "",
               teximg::TranslucentBmp(cutout)});
  s.push_back({"c_glass.tga", teximg::Tga(glass, 32), QuantisedLevels(glass, kPixARGB4444, true)});
  s.push_back({"d_wide.bmp", teximg::Bmp(Photo(32, 16)), QuantisedLevels(Photo(32, 16), kPixRGB565, false)});
  s.push_back({"e_pal4.bmp", teximg::PalBmp(16, 16, 4, Palette(16), indices16),
               PaletteLevels(16, Palette(16), indices16), Nre(kBankFields + "paletteBank 3\n")});
  s.push_back({"f_pal8.bmp", teximg::PalBmp(8, 8, 8, Palette(256), indices8), PaletteLevels(8, Palette(256), indices8),
               Nre(kBankFields + "paletteBank 5\n")});
  s.push_back({"g_tga16.tga", teximg::Tga(tga16, 16), QuantisedLevels(tga16, kPixARGB1555, true)});
  s.push_back({"h_image.pic", teximg::Pic(pic, true, true), QuantisedLevels(pic, kPixARGB4444, true)});
  s.push_back({"i_image.pix", teximg::Pix(square16), QuantisedLevels(square16, kPixRGB565, true)});
  s.push_back({"j_bad.bmp", teximg::Bmp(Photo(24, 24)), {}});
  s.push_back({"k_vq.bmp", teximg::Bmp(blocks), QuantisedLevels(blocks, kPixRGB565, false),
               Nre("Fromat auto\nCategory VQ\nMipmap off\n")});
  s.push_back({"l_gi7.bmp", teximg::Bmp(small), QuantisedLevels(small, kPixARGB4444, true),
               Nre("Fromat ARGB4444\nCategory auto\nMipmap on\nDither off\nAlphaDither off\nGlobalIndex 7\n")});
  s.push_back({"m_plain.bmp", teximg::Bmp(small), QuantisedLevels(small, kPixRGB565, true)});
  s.push_back({"n_small_vq.bmp", teximg::Bmp(square16), QuantisedLevels(square16, kPixRGB565, true), vq});
  s.push_back({"o_rect_vq.bmp", teximg::Bmp(Photo(64, 32)), QuantisedLevels(Photo(64, 32), kPixRGB565, false), vq});
  s.push_back({"p_tall.bmp", teximg::Bmp(Photo(16, 32)), QuantisedLevels(Photo(16, 32), kPixRGB565, false),
               Nre("Fromat auto\nCategory twiddled\n")});
  s.push_back({"q_dither.bmp", teximg::Bmp(uniform), QuantisedLevels(uniform, kPixRGB565, true),
               Nre("Fromat auto\nCategory auto\nMipmap on\nDither on\nAlphaDither on\n")});
  s.push_back({"r_lock.bmp", teximg::Bmp(small), QuantisedLevels(small, kPixRGB565, true),
               Nre("Fromat ARGB1555\nCategory stride\nMipmap off\nDither on\nAlphaDither on\nGlobalIndex 9\n"
                   "paletteBank auto\nVQMode VQ3\npvrLockOn on\n")});
  s.push_back({"s_nosuffix", teximg::Pic(small, false, false), QuantisedLevels(small, kPixRGB565, true)});
  s.push_back({"t_odd.xyz", teximg::Bmp(small), {}});
  s.push_back(
      {"u_vq_photo.bmp", teximg::Bmp(Photo(64, 64)), QuantisedLevels(Photo(64, 64), kPixRGB565, true), vq, "", 12});
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

// The PVR file of a source (with its palette file for a palettized one)
// decoded; no levels when there is no file.
std::vector<PVR_Image> Decoded(const ScratchDir &dir, const Source &s, uint32_t *globalIndex = nullptr) {
  const std::string pvr = dir.file(WithSuffix(s.name, ".pvr"));
  if (!Exists(pvr)) return {};
  const bool palettized = s.name[0] == 'e' || s.name[0] == 'f';
  const PVR_Decoded decoded = DecodeFile(pvr, palettized ? WithSuffix(pvr, ".pvp") : "");
  if (globalIndex) *globalIndex = decoded.globalIndex;
  return decoded.levels;
}

TEST(Section, SourcesOfEveryFormatOnEveryRoute) {
  const std::vector<Source> sources = Sources();
  ScratchDir dir;
  WriteModel(dir, "scene", sources);
  const std::string input = ReadFile(dir.file("scene.vka"));

  RunResult run = RunVkconv({"scene.vka"}, dir.path());
  EXPECT_EQ(Between(ReadFile(dir.file("scene.vka")), "TEXTURE_START", "TEXTURE_END\n\n\n"), kFirstRun);
  EXPECT_EQ(Count(run.out, "Input file name = "), sources.size());
  EXPECT_NE(run.out.find("Input file name = k_vq.bmp\n\nCOMPRESSING IMAGE\n"), std::string::npos) << run.out;
  EXPECT_NE(run.out.find("COMPRESSION IS "), std::string::npos) << run.out;
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
    double sum = 0;  // mean absolute difference per channel of level 0
    for (size_t i = 0; !levels.empty() && i < levels[0].texels.size(); ++i)
      sum += std::abs(levels[0].texels[i] - s.levels[0].texels[i]);
    if (!levels.empty()) {
      EXPECT_LE(sum / double(levels[0].texels.size()), s.tolerance);
    }
  }

  // Again: every file there is skipped and the counter stays.
  ASSERT_TRUE(WriteFile(dir.file("scene.vka"), input));
  run = RunVkconv({"scene.vka"}, dir.path());
  const std::string again = ReadFile(dir.file("scene.vka"));
  EXPECT_EQ(Count(run.err, "[SKIP] \n"), 19u);
  EXPECT_EQ(Count(again, "?? ?? */"), 22u);
  // The header reader does not know the non-square twiddled type.
  for (const char *line : {"\tTEXN( \"l_gi7\" ),           /* 7 8x8 4444 TW MIP ?? ?? */\n",
                           "\tTEXN( \"p_tall\" ),          /* 15 16x32 565 XXXX ?? ?? */\n",
                           "\tTEXN( \"q_dither\" ),        /* 16 8x8 565 TW MIP ?? ?? */\n",
                           "File k_vq.pvr(64x64) [SKIP] \n", "Warning : Not Support categorycode 3329\n"})
    EXPECT_NE((again + run.err).find(line), std::string::npos) << line;

  // Forced, numbered from 100 in list order (l_gi7 keeps its record's 7).
  ASSERT_TRUE(WriteFile(dir.file("scene.vka"), input));
  run = RunVkconv({"scene.vka", "-forcetex", "-gibase", "100"}, dir.path());
  EXPECT_EQ(Count(run.err, "[SKIP]"), 0u);
  for (size_t i = 0; i < sources.size(); ++i) {
    uint32_t index = 0;
    if (Decoded(dir, sources[i], &index).empty()) continue;
    EXPECT_EQ(index, sources[i].name == "l_gi7.bmp" ? 7u : 100 + i) << sources[i].name;
  }

  // Binary: the VKTL chunk lists the twenty-two names; the PVR files are the
  // same as the forced run's but for their indices.
  ScratchDir bin;
  WriteModel(bin, "scene", sources);
  RunVkconv({"scene.vka", "-bin"}, bin.path());
  const std::string vk = ReadFile(bin.file("scene.vk"));
  ASSERT_EQ(vk.substr(0, 4), "VKTL");
  const std::vector<uint16_t> words = Words(vk, 8, 4 + 6 * sources.size());
  ASSERT_EQ(words.size(), 4 + 6 * sources.size());
  const auto word32 = [&](size_t at) { return words[2 * at] | uint32_t(words[2 * at + 1]) << 16; };
  EXPECT_EQ(word32(0), 8u);   // TextureList: the first texture entry
  EXPECT_EQ(word32(1), 22u);  // TextureNum
  for (size_t i = 0; i < sources.size(); ++i) {
    const std::string &source = sources[i].name, pvr = WithSuffix(source, ".pvr");
    EXPECT_EQ(std::string(vk.c_str() + 8 + word32(2 + 3 * i)), source.substr(0, source.find('.')));
    EXPECT_EQ(word32(3 + 3 * i) | word32(4 + 3 * i), 0u);
    const std::string a = ReadFile(bin.file(pvr)), b = ReadFile(dir.file(pvr));
    EXPECT_EQ(a.substr(std::min<size_t>(16, a.size())), b.substr(std::min<size_t>(16, b.size()))) << source;
  }

  // -septex: the texture file carries the same section.
  ScratchDir sep;
  WriteModel(sep, "scene", sources);
  RunVkconv({"scene.vka", "-septex"}, sep.path());
  EXPECT_EQ(Between(ReadFile(sep.file("scene.vat")), "TEXTURE_START", "TEXTURE_END\n\n\n"), kFirstRun);
}

// One image shared by the materials of two objects, its alpha in the strip
// flags, the same chunks in the data file of -septex (-notexture and banks:
// the golden transcripts).
TEST(Section, SharedTextureOnEachRoute) {
  const std::pair<const char *, const char *> cases[] = {
      {"", "\tTEXN( \"cut\" ),             /* 0 16x16 1555 TW MIP */\n"},
      {"-texn3", "\tTEXN3( \"cut\", 0x0, 0 ),             /* 0 16x16 1555 TW MIP */\n"}};
  const PVR_Image cut = Photo(16, 16, [](int x, int) { return x < 8 ? 255 : 0; });
  for (const auto &[option, line] : cases) {
    SCOPED_TRACE(option);
    std::string single;
    for (const bool separate : {false, true}) {
      ScratchDir dir;
      ASSERT_TRUE(WriteFile(dir.file("cut.bmp"), teximg::Bmp(cut)));
      ASSERT_TRUE(WriteFile(dir.file("tcut.bmp"), teximg::TranslucentBmp(cut)));
      ASSERT_TRUE(vktest::WriteVka(dir.file("m.vka"), {.baseName = "m", .objects = 2, .gridWidth = 1,
                                                       .gridHeight = 1, .materials = 1, .textureNames = {"cut.bmp"}}));
      std::vector<std::string> args = {"m.vka"};
      if (*option) args.push_back(option);
      if (separate) args.push_back("-septex");
      RunVkconv(args, dir.path());
      const std::string model = ReadFile(dir.file(separate ? "m.vad" : "m.vka"));
      const std::string objects = Between(model, "\nCNKOBJECT_START", "DEFAULT_START");
      EXPECT_EQ(Count(objects, "FST_UA"), 2u) << objects;
      if (separate) {
        EXPECT_EQ(objects, single);  // the data file's chunks are those of the single file
        continue;
      }
      single = objects;
      EXPECT_NE(model.find(line), std::string::npos) << model;
      EXPECT_TRUE(Exists(dir.file("cut.pvr")));
    }
  }
}

// -outpvm: m.pvm beside the model holds the PVR files beside it (palettized:
// with their palette files) in list order, laid out as the tests' layout
// lays them out, with the model path of the file that holds the section; the
// console shows its lines.
void ExpectArchive(const ScratchDir &dir, const RunResult &run, const std::vector<Source> &loaded,
                   const std::vector<Source> &kept, const std::string &modelFile, bool palettized = false) {
  const std::string model = std::filesystem::canonical(dir.path()).string() + "/" + modelFile;
  std::vector<pvmtest::Texture> textures;
  std::string loading = "\n<< SAVEPVRS >>\n";
  for (const Source &s : kept) {
    const std::string stem = WithSuffix(s.name, "");
    textures.push_back({stem, FileBytes(dir.file(stem + ".pvr")),
                        palettized ? FileBytes(dir.file(stem + ".pvp")) : std::vector<uint8_t>{}});
  }
  for (const Source &s : loaded) loading += " Loading ./" + WithSuffix(s.name, ".pvr\n");
  EXPECT_TRUE(FileBytes(dir.file("m.pvm")) == pvmtest::Archive(textures, {model}));
  EXPECT_NE(run.out.find("Model name exists ... " + model + "\n"), std::string::npos) << run.out;
  const std::string summary = loading +
                              "\n[OUTPUT]./m.pvm\n[INCLUDE]:[PVMH][PVRNAME][CATEGORYCODE][ENTRYINFO]"
                              "[GLOBALINDEX]\n[MDLN]" +
                              (palettized ? "[PVPL]" : "") + "[PVRT][PVR-LOCKOFF][ORDER-LOCKOFF]\n";
  EXPECT_NE(run.err.find(summary), std::string::npos) << run.err;
}

// The default route, -bin, -septex (ASCII and binary) and the -pvm spelling
// write the same textures; the model path is the file that holds the
// section. A second -bin run finds every PVR file and writes the same archive.
TEST(PvmProgram, SeveralTexturesOnEveryRoute) {
  const std::vector<Source> sources = {
      {"a_photo.bmp", teximg::Bmp(teximg::RandomImage(32, 32, 1, false))},
      {"b_glass.tga", teximg::Tga(teximg::RandomImage(16, 16, 2, true), 32)},
      {"c_wide.bmp", teximg::Bmp(teximg::RandomImage(32, 16, 3, false))},
      {"d_vq.bmp", teximg::Bmp(teximg::RandomImage(64, 64, 4, false, 8)), {}, Nre("Fromat auto\nCategory VQ\n")}};
  const std::pair<std::vector<std::string>, std::string> routes[] = {{{"-outpvm"}, "m.vka"},
                                                                     {{"-pvm", "-bin"}, "m.vk"},
                                                                     {{"-outpvm", "-septex"}, "m.vat"},
                                                                     {{"-outpvm", "-septex", "-bin"}, "m.vkt"}};
  std::vector<std::string> first;  // the PVR files of the first route
  for (const auto &[options, modelFile] : routes) {
    SCOPED_TRACE(modelFile);
    ScratchDir dir;
    WriteModel(dir, "m", sources);
    std::vector<std::string> args = {"m.vka"};
    args.insert(args.end(), options.begin(), options.end());
    const RunResult run = RunVkconv(args, dir.path());
    EXPECT_EQ(run.status, 0);
    EXPECT_TRUE(Exists(dir.file(modelFile)));
    ExpectArchive(dir, run, sources, sources, modelFile);
    std::vector<std::string> files;
    for (const Source &s : sources) files.push_back(ReadFile(dir.file(WithSuffix(s.name, ".pvr"))));
    if (first.empty()) first = files;
    EXPECT_EQ(files, first);
    EXPECT_EQ(files[3].substr(16 + 9, 1), "\x04");  // VQ with mipmaps
    if (modelFile == "m.vk") {
      const std::string archive = ReadFile(dir.file("m.pvm"));
      EXPECT_NE(RunVkconv(args, dir.path()).err.find("[SKIP]"), std::string::npos);
      EXPECT_EQ(ReadFile(dir.file("m.pvm")), archive);
    }
  }
}

// Palettized textures: the 8-bit RGB565 ones are kept with their palettes
// and banks (in bits 26-31 of the global index, whose counter runs over every
// converted texture: 0, 1 and 4); the 4-bit one and the plain one are left out.
TEST(PvmProgram, PalettizedModel) {
  std::vector<uint8_t> indices, small;
  for (int i = 0; i < 256; ++i) indices.push_back(static_cast<uint8_t>(i * 37 % 16));
  for (int i = 0; i < 64; ++i) small.push_back(static_cast<uint8_t>(i * 11));
  const std::vector<Source> sources = {
      {"e_pal8.bmp", teximg::PalBmp(16, 16, 8, Palette(256), indices), {}, Nre(kBankFields + "paletteBank 3\n")},
      {"f_pal8.bmp", teximg::PalBmp(8, 8, 8, Palette(256), small), {}, Nre(kBankFields + "paletteBank 5\n")},
      {"g_pal4.bmp", teximg::PalBmp(16, 16, 4, Palette(16), indices), {}, Nre(kBankFields + "paletteBank 7\n")},
      {"h_plain.bmp", teximg::Bmp(teximg::RandomImage(8, 8, 5, false))},
      {"i_pal8.bmp", teximg::PalBmp(8, 8, 8, Palette(256), small), {}, Nre(kBankFields + "paletteBank 63\n")},
  };
  ScratchDir dir;
  WriteModel(dir, "m", sources, true);
  const RunResult run = RunVkconv({"m.vka", "-bin", "-outpvm"}, dir.path());
  EXPECT_EQ(run.status, 0);
  ExpectArchive(dir, run, sources, {sources[0], sources[1], sources[4]}, "m.vk", true);
  const std::string file = ReadFile(dir.file("m.pvm"));
  const uint32_t globalIndices[] = {3u << 26 | 0, 5u << 26 | 1, 63u << 26 | 4};
  for (size_t i = 0; i < 3; ++i) EXPECT_EQ(file.substr(12 + 38 * i + 34, 4), Le32(globalIndices[i]));
}

// An archive that cannot be built leaves the older one, and the model file
// is written all the same.
TEST(PvmProgram, ArchiveFailuresKeepTheModel) {
  const std::string longName(29, 'x'), bmp = teximg::Bmp(teximg::RandomImage(8, 8, 1, false));
  const std::pair<std::vector<Source>, std::string> cases[] = {
      {{{"a.bmp", bmp}, {"missing.bmp", ""}},
       "\n##### Error : Can't open file missing.pvr; archive m.pvm not written\n"},
      {{{longName + ".bmp", bmp}},
       "\n##### Error : Texture name " + longName + " of " + longName +
           ".pvr is longer than 28 bytes; archive m.pvm not written\n"},
  };
  for (const auto &[sources, error] : cases) {
    ScratchDir dir;
    WriteModel(dir, "m", sources);
    std::filesystem::remove(dir.file("missing.bmp"));
    ASSERT_TRUE(WriteFile(dir.file("m.pvm"), "an older archive"));
    const RunResult run = RunVkconv({"m.vka", "-bin", "-outpvm"}, dir.path());
    EXPECT_EQ(run.status, 0);
    EXPECT_NE(run.err.find(error), std::string::npos) << run.err;
    EXPECT_EQ(ReadFile(dir.file("m.pvm")), "an older archive");
    EXPECT_TRUE(Exists(dir.file("m.vk")));
    EXPECT_FALSE(Exists(dir.file("m.pvm.tmp~")));
  }
}

}  // namespace
