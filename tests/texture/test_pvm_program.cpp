// -outpvm end to end through the built program: a model with several
// converted textures on every route that writes a texture section, a model
// of palettized textures, and models whose archive cannot be built.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "pvm_test_util.h"
#include "support/test_support.h"
#include "support/vka_gen.h"
#include "texture/image_files.h"

namespace {

using namespace pvmtest;
using vktest::ReadFile;
using vktest::RunVkconv;
using vktest::ScratchDir;
using vktest::WriteFile;

constexpr const char *kSummaryTail =
    "\n[INCLUDE]:[PVMH][PVRNAME][CATEGORYCODE][ENTRYINFO][GLOBALINDEX]\n[MDLN]";
constexpr const char *kLocks = "[PVRT][PVR-LOCKOFF][ORDER-LOCKOFF]\n";

struct Source {
  std::string name;  // as the model writes it
  std::string bytes;
  std::string nre = "";  // resource database beside it
};

// A "TextureTex" record holding these field lines.
std::string Nre(const std::string &fields) { return "Chunk TextureTex 0 1 0 0\n! 0 record\n" + fields; }

std::string Stem(const std::string &name) { return name.substr(0, name.rfind('.')); }

// The sources beside m.vka, whose materials use them in order.
void WriteModel(const ScratchDir &dir, const std::vector<Source> &sources, bool banks = false) {
  vktest::VkaGenParams params;
  params.baseName = "m";
  params.gridWidth = params.gridHeight = 1;
  params.materials = static_cast<int>(sources.size());
  params.meshKinds = {vktest::VkaMesh::kQuads};
  params.paletteBanks = banks;
  for (const Source &s : sources) {
    params.textureNames.push_back(s.name);
    ASSERT_TRUE(WriteFile(dir.file(s.name), s.bytes));
    if (!s.nre.empty()) {
      ASSERT_TRUE(WriteFile(dir.file(Stem(s.name) + ".nre"), s.nre));
    }
  }
  ASSERT_TRUE(vktest::WriteVka(dir.file("m.vka"), params));
}

std::vector<Source> PlainSources() {
  return {{"a_photo.bmp", teximg::Bmp(teximg::RandomImage(32, 32, 1, false))},
          {"b_glass.tga", teximg::Tga(teximg::RandomImage(16, 16, 2, true), 32)},
          {"c_wide.bmp", teximg::Bmp(teximg::RandomImage(32, 16, 3, false))},
          {"d_vq.bmp", teximg::Bmp(teximg::RandomImage(64, 64, 4, false, 8)), Nre("Fromat auto\nCategory VQ\n")}};
}

// The archive holds every converted texture in list order, each decoding
// back to the PVR file beside the model; the console shows its lines.
void ExpectArchive(const ScratchDir &dir, const vktest::RunResult &run, const std::vector<Source> &sources,
                   const std::string &modelFile, const std::vector<std::string> &palettes = {}) {
  const std::string folder = std::filesystem::canonical(dir.path()).string();
  const Archive read = ReadArchive(ReadFile(dir.file("m.pvm")));
  ASSERT_EQ(read.entries.size(), sources.size());
  EXPECT_EQ(read.flags, palettes.empty() ? 0x011Fu : 0x0D1Fu);
  EXPECT_EQ(read.modelNames, std::vector<std::string>{folder + "/" + modelFile});
  std::string loading = "\n<< SAVEPVRS >>\n";
  for (size_t i = 0; i < sources.size(); ++i) {
    const std::string stem = Stem(sources[i].name);
    EXPECT_EQ(read.entries[i].name, stem);
    ExpectSameFile(read, i, ReadFile(dir.file(stem + ".pvr")), palettes.empty() ? "" : ReadFile(dir.file(stem + ".pvp")));
  }
  EXPECT_NE(run.out.find("Model name exists ... " + folder + "/" + modelFile + "\n"), std::string::npos) << run.out;
  const std::string summary =
      "\n[OUTPUT]./m.pvm" + std::string(kSummaryTail) + (palettes.empty() ? "" : "[PVPL]") + kLocks;
  EXPECT_NE(run.err.find(summary), std::string::npos) << run.err;
}

// The default route, -bin, -septex (ASCII and binary) and the -pvm spelling
// write m.pvm beside the model; the model path is the file that holds the
// section. A second -bin run finds every PVR file and writes the same archive.
TEST(PvmProgram, SeveralTexturesOnEveryRoute) {
  const std::vector<Source> sources = PlainSources();
  struct Route {
    std::vector<std::string> args;
    std::string modelFile;
  };
  const Route routes[] = {{{"-outpvm"}, "m.vka"},
                          {{"-pvm", "-bin"}, "m.vk"},
                          {{"-outpvm", "-septex"}, "m.vat"},
                          {{"-outpvm", "-septex", "-bin"}, "m.vkt"}};
  std::vector<std::string> textures;  // of the first route
  for (const Route &route : routes) {
    SCOPED_TRACE(route.modelFile);
    ScratchDir dir;
    WriteModel(dir, sources);
    std::vector<std::string> args = {"m.vka"};
    args.insert(args.end(), route.args.begin(), route.args.end());
    const vktest::RunResult run = RunVkconv(args, dir.path());
    EXPECT_EQ(run.status, 0);
    EXPECT_TRUE(vktest::Exists(dir.file(route.modelFile)));
    EXPECT_NE(run.err.find("\n<< SAVEPVRS >>\n Loading ./a_photo.pvr\n Loading ./b_glass.pvr\n"
                           " Loading ./c_wide.pvr\n Loading ./d_vq.pvr\n"),
              std::string::npos)
        << run.err;
    ExpectArchive(dir, run, sources, route.modelFile);
    const Archive read = ReadArchive(ReadFile(dir.file("m.pvm")));
    std::vector<std::string> payloads;
    for (const Chunk *chunk : read.textures) payloads.push_back(chunk->payload);
    if (textures.empty()) textures = payloads;
    EXPECT_EQ(payloads, textures);  // the same textures on every route
    EXPECT_EQ(read.entries[3].format >> 8, 0x04u);  // VQ with mipmaps
    if (route.modelFile == "m.vk") {
      const std::string first = ReadFile(dir.file("m.pvm"));
      const vktest::RunResult again = RunVkconv(args, dir.path());
      EXPECT_NE(again.err.find("[SKIP]"), std::string::npos);
      EXPECT_EQ(ReadFile(dir.file("m.pvm")), first);
    }
  }
}

// Palettized textures: the 8-bit RGB565 ones are kept with their palettes
// and banks; the 4-bit one and the plain one are left out.
TEST(PvmProgram, PalettizedModel) {
  std::vector<uint32_t> palette16, palette256;
  for (uint32_t i = 0; i < 16; ++i) palette16.push_back((17 * i) << 16 | (255 - i) << 8 | (40 * i & 255));
  for (uint32_t i = 0; i < 256; ++i) palette256.push_back(i << 16 | (255 - i) << 8 | (7 * i & 255));
  std::vector<uint8_t> indices, small;
  for (int i = 0; i < 256; ++i) indices.push_back(static_cast<uint8_t>(i * 37 % 16));
  for (int i = 0; i < 64; ++i) small.push_back(static_cast<uint8_t>(i * 11));
  const std::string fields = "Fromat auto\nCategory auto\nMipmap on\nDither off\nAlphaDither off\nGlobalIndex auto\n";
  const std::vector<Source> sources = {
      {"e_pal8.bmp", teximg::PalBmp(16, 16, 8, palette256, indices), Nre(fields + "paletteBank 3\n")},
      {"f_pal8.bmp", teximg::PalBmp(8, 8, 8, palette256, small), Nre(fields + "paletteBank 5\n")},
      {"g_pal4.bmp", teximg::PalBmp(16, 16, 4, palette16, indices), Nre(fields + "paletteBank 7\n")},
      {"h_plain.bmp", teximg::Bmp(teximg::RandomImage(8, 8, 5, false))},
      {"i_pal8.bmp", teximg::PalBmp(8, 8, 8, palette256, small), Nre(fields + "paletteBank 63\n")},
  };
  ScratchDir dir;
  WriteModel(dir, sources, true);
  const vktest::RunResult run = RunVkconv({"m.vka", "-bin", "-outpvm"}, dir.path());
  EXPECT_EQ(run.status, 0);
  const std::vector<Source> kept = {sources[0], sources[1], sources[4]};
  ExpectArchive(dir, run, kept, "m.vk", {"e_pal8.pvp", "f_pal8.pvp", "i_pal8.pvp"});
  const Archive read = ReadArchive(ReadFile(dir.file("m.pvm")));
  ASSERT_EQ(read.entries.size(), 3u);
  ASSERT_EQ(read.palettes.size(), 3u);
  // Global indices 0, 1 and 4 (the counter runs over every converted
  // texture), banks in bits 26-31.
  EXPECT_EQ(read.entries[0].globalIndex, 3u << 26 | 0);
  EXPECT_EQ(read.entries[1].globalIndex, 5u << 26 | 1);
  EXPECT_EQ(read.entries[2].globalIndex, 63u << 26 | 4);
  // The palette chunks come before the first texture, whose texels start on
  // a 32-byte boundary.
  EXPECT_LT(read.palettes.back()->offset, read.textures.front()->offset);
  EXPECT_EQ((read.textures.front()->offset + 16) % 32, 0u);
}

// An archive that cannot be built leaves the older one and the model file
// is written all the same.
TEST(PvmProgram, ArchiveFailuresKeepTheModel) {
  const std::string longName(29, 'x');
  struct Case {
    std::vector<Source> sources;
    std::string error;
  };
  const Case cases[] = {
      {{{"a.bmp", teximg::Bmp(teximg::RandomImage(8, 8, 1, false))}, {"missing.bmp", ""}},
       "\n##### Error : Can't open file missing.pvr; archive m.pvm not written\n"},
      {{{longName + ".bmp", teximg::Bmp(teximg::RandomImage(8, 8, 1, false))}},
       "\n##### Error : Texture name " + longName + " of " + longName +
           ".pvr is longer than 28 bytes; archive m.pvm not written\n"},
  };
  for (const Case &c : cases) {
    ScratchDir dir;
    WriteModel(dir, c.sources);
    if (c.sources.size() > 1) std::filesystem::remove(dir.file("missing.bmp"));
    ASSERT_TRUE(WriteFile(dir.file("m.pvm"), "an older archive"));
    const vktest::RunResult run = RunVkconv({"m.vka", "-bin", "-outpvm"}, dir.path());
    EXPECT_EQ(run.status, 0);
    EXPECT_NE(run.err.find(c.error), std::string::npos) << run.err;
    EXPECT_EQ(ReadFile(dir.file("m.pvm")), "an older archive");
    EXPECT_TRUE(vktest::Exists(dir.file("m.vk")));
    EXPECT_FALSE(vktest::Exists(dir.file("m.pvm.tmp~")));
  }
}

}  // namespace
