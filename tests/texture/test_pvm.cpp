// The texture archive: files laid out by hand, byte for byte; the edge cases
// of loading and naming; palettized sets and the keep-or-skip rule; failed
// loads and writes; entries decoded back to the PVR files they came from;
// the layout's properties over many generated sets.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <functional>
#include <random>

#include "base/flags.h"
#include "pvm_test_util.h"
#include "texture/pvm.h"
#include "texture/pvm_internal.h"
#include "texture/vq.h"
#include "texture_test_util.h"

namespace {

using namespace pvmtest;
using namespace std::string_literals;
using textest::Console;
using vktest::ReadFile;
using vktest::ScratchDir;
using vktest::WriteFile;

constexpr const char *kIncludeHead = "\n[INCLUDE]:[PVMH][PVRNAME][CATEGORYCODE][ENTRYINFO][GLOBALINDEX]";
constexpr const char *kIncludeTail = "[PVRT][PVR-LOCKOFF][ORDER-LOCKOFF]\n";

std::string Name28(const std::string &name) { return name + std::string(28 - name.size(), '\0'); }

// An archive started as the section writer starts it, with a fixed current
// directory so that the model path is known.
TextureArchive Started(const std::string &name, const std::string &currentDirectory = "/w",
                       const std::string &modelOutput = "") {
  TextureArchive archive;
  ArchiveReset(&archive);
  archive.currentDirectory = currentDirectory;
  ArchiveSetName(&archive, name);
  if (!modelOutput.empty()) ArchiveSetModelPath(&archive, modelOutput);
  ArchiveStart(&archive);
  return archive;
}

// Two small textures: a.pvr with global index 5, RGB565 twiddled 8x8 (128
// bytes of texels); b.pvr without a global-index chunk, ARGB4444 rectangle
// 16x8 (256 bytes). Entries are 38 bytes: PVMH is 8 + 4 + 76 = 88 bytes.
TEST(PvmBytes, TwoTexturesLaidOutByHand) {
  ScratchDir dir;
  const std::string texelsA = Ramp(128, 1), texelsB = Ramp(256, 2);
  ASSERT_TRUE(WriteFile(dir.file("a.pvr"), Pvr(5, 0x0101, 8, 8, texelsA)));
  ASSERT_TRUE(WriteFile(dir.file("b.pvr"), Pvr(-1, 0x0902, 16, 8, texelsB)));
  const std::string entries = Le16(0) + Name28("a") + Le16(0x0101) + Le16(0x11) + Le32(5) +  //
                              Le16(1) + Name28("b") + Le16(0x0902) + Le16(0x12) + Le32(0xFFFFFFFF);
  // From offset 112: PVRT a, 8 + 8 + 128 = 144 bytes, ends at 256; not the
  // last, so padded by 16 to 272 (16 modulo 32), size field 152; its texels
  // start at 128. PVRT b at 272, 8 + 8 + 256 = 272 bytes, ends at 544, a
  // multiple of 4 (size field 264); its texels start at 288.
  const std::string textures = "PVRT" + Le32(152) + Le32(0x0101) + Le16(8) + Le16(8) + texelsA +
                               std::string(16, '\0') + "PVRT" + Le32(264) + Le32(0x0902) + Le16(16) + Le16(8) +
                               texelsB;
  struct Row {
    std::string modelOutput, expected, stdoutText, includeModel;
  };
  const Row rows[] = {
      // MDLN at 88: 8 + 2 + "/w/m.vka" and its zero = 19 bytes, ends at 107;
      // the last header chunk: padded by 5 to 112, size field 16.
      {"out/m.vka",
       "PVMH" + Le32(80) + Le16(0x011F) + Le16(2) + entries + "MDLN" + Le32(16) + Le16(1) + "/w/m.vka"s + '\0' +
           std::string(5, '\0') + textures,
       "Model name exists ... /w/m.vka\n", "\n[MDLN]"},
      // PVMH is the last header chunk: padded by 24 to 112, size field 104.
      {"", "PVMH" + Le32(104) + Le16(0x010F) + Le16(2) + entries + std::string(24, '\0') + textures, "", ""},
  };
  for (const Row &row : rows) {
    const std::string target = dir.file("m.pvm");
    TextureArchive archive = Started(target, "/w", row.modelOutput);
    ArchiveAddFile(&archive, dir.file("a.pvr"));
    ArchiveAddTextureName(&archive, "a.bmp", "");
    ArchiveAddFile(&archive, dir.file("b.pvr"));
    ArchiveAddTextureName(&archive, "b.bmp", "");
    Console console;
    StdoutCapture out;
    EXPECT_EQ(ArchiveFinish(&archive), ArchiveStatus::kWritten);
    EXPECT_EQ(out.Text(), row.stdoutText);
    const std::string file = ReadFile(target);
    EXPECT_EQ(file.size(), 544u);
    EXPECT_EQ(file, row.expected);
    EXPECT_EQ(console.info.text(), "\n<< SAVEPVRS >>\n Loading ./a.pvr\n Loading ./b.pvr\n\n[OUTPUT]" + target +
                                       kIncludeHead + row.includeModel + kIncludeTail);
    EXPECT_EQ(console.error.text() + console.warning.text(), "");
    EXPECT_FALSE(archive.active);
    EXPECT_TRUE(archive.files.empty() && archive.textureNames.empty() && archive.name.empty());
    EXPECT_FALSE(vktest::Exists(target + ".tmp~"));
  }
}

// One 256x256 RGB565 texture with mipmaps and a model path of 20 characters:
// PVMH at 0, 50 bytes padded to 52 (size field 44); MDLN at 52, 8 + 2 + 21 =
// 31 bytes padded to end at 112 (size field 52); PVRT at 112, texels at 128.
TEST(PvmBytes, WorkedLayoutOf256Texture) {
  ScratchDir dir;
  PVR_Settings settings = textest::SettingsFor(dir.file("body.pvr"), kPixRGB565, true);
  settings.globalIndex = 0;
  {
    Console quiet;
    ASSERT_TRUE(PVR_EncodeTwiddled(&settings, textest::MakeImage(256, 256, 255, 200, 100, 50)));
  }
  const std::string pvr = ReadFile(dir.file("body.pvr"));
  ASSERT_EQ(pvr.size(), 16u + 16u + 174764u);
  TextureArchive archive = Started(dir.file("car_body.pvm"), "/models", "car_body.vka");
  ASSERT_EQ(archive.modelPath, "/models/car_body.vka");  // 20 characters
  ArchiveAddFile(&archive, dir.file("body.pvr"));
  Console console;
  StdoutCapture out;
  ASSERT_EQ(ArchiveFinish(&archive), ArchiveStatus::kWritten);
  const std::string file = ReadFile(dir.file("car_body.pvm"));
  EXPECT_EQ(file.substr(0, 4), "PVMH");
  EXPECT_EQ(Get32(file, 4), 44u);
  EXPECT_EQ(file.substr(8, 4), Le16(0x011F) + Le16(1));
  EXPECT_EQ(file.substr(12, 38), Le16(0) + Name28("body") + Le16(0x0201) + Le16(0x66) + Le32(0));
  EXPECT_EQ(file.substr(50, 2), std::string(2, '\0'));
  EXPECT_EQ(file.substr(52, 4), "MDLN");
  EXPECT_EQ(Get32(file, 56), 52u);
  EXPECT_EQ(file.substr(60, 52), Le16(1) + "/models/car_body.vka"s + std::string(30, '\0'));
  EXPECT_EQ(file.substr(112, 4), "PVRT");
  EXPECT_EQ(Get32(file, 116), 8u + 174764u);  // the last chunk: a multiple of 4 already
  EXPECT_EQ(file.substr(120, 8), pvr.substr(24, 8));
  EXPECT_EQ(file.substr(128), pvr.substr(32));  // texels on a 32-byte boundary
  EXPECT_EQ(file.size(), 112u + 16u + 174764u);
  EXPECT_EQ(out.Text(), "Model name exists ... /models/car_body.vka\n");
}

// Names, dimension codes, a file added twice, a file without a global-index
// chunk, and the padding of the last texture to a multiple of 4.
TEST(PvmEdges, NamesDimensionsDuplicatesAndLastPadding) {
  ScratchDir dir;
  const std::string wall = Pvr(3, 0x0101, 8, 8, Ramp(128, 3));
  const std::string big = Pvr(-1, 0x0901, 1024, 1024, "abcdef");  // 6 bytes of texels
  const std::string longName(28, 'n');
  ASSERT_TRUE(WriteFile(dir.file("my-wall.pvr"), wall));
  ASSERT_TRUE(WriteFile(dir.file("tex_01.pvr"), big));
  ASSERT_TRUE(WriteFile(dir.file(longName + ".pvr"), Pvr(9, 0x0102, 256, 128, Ramp(64, 9))));
  TextureArchive archive = Started(dir.file("e.pvm"));
  for (const std::string &name : {"my-wall.pvr"s, longName + ".pvr", "my-wall.pvr"s, "tex_01.pvr"s})
    ArchiveAddFile(&archive, dir.file(name));
  Console console;
  ASSERT_EQ(ArchiveFinish(&archive), ArchiveStatus::kWritten);
  const std::string loading = "\n<< SAVEPVRS >>\n Loading ./my-wall.pvr\n Loading ./" + longName +
                              ".pvr\n Loading ./my-wall.pvr\n Loading ./tex_01.pvr\n";
  EXPECT_EQ(console.info.text().substr(0, loading.size()), loading);
  const std::string file = ReadFile(dir.file("e.pvm"));
  const Archive read = ReadArchive(file);
  ASSERT_EQ(read.entries.size(), 3u);
  EXPECT_EQ(Get16(file, 10), 3u);
  const std::tuple<std::string, uint32_t, uint32_t, uint32_t> expected[] = {
      {"wall", 0x0101, 0x11, 3}, {longName, 0x0102, 0x56, 9}, {"tex_01", 0x0901, 0x88, 0xFFFFFFFF}};
  for (size_t i = 0; i < 3; ++i) {
    const Entry &e = read.entries[i];
    EXPECT_EQ(std::make_tuple(e.id, e.name, e.format, e.dimension, e.globalIndex),
              std::tuple_cat(std::make_tuple(uint32_t(i)), expected[i]));
  }
  EXPECT_EQ(file.substr(12 + 38 + 2, 28), longName);  // 28 bytes, no terminating zero
  ASSERT_EQ(read.textures.size(), 3u);
  // tex_01 is the whole file after its name and size: 8 + 6 bytes, padded by 2.
  EXPECT_EQ(read.textures[2]->payload, big.substr(8) + std::string(2, '\0'));
  EXPECT_EQ(read.textures[2]->offset + 8 + 16, file.size());
  EXPECT_EQ(read.textures[0]->payload.substr(0, 136), wall.substr(24));
}

TEST(PvmEdges, DimensionCodesAndEntryNames) {
  const std::pair<std::pair<uint32_t, uint32_t>, uint16_t> codes[] = {
      {{256, 128}, 0x56}, {{8, 8}, 0x11}, {{1024, 1024}, 0x88}, {{16, 32}, 0x32}, {{64, 512}, 0x74},
      {{4, 512}, 0x78},   {{0, 16}, 0x28}, {{100, 100}, 0x88},  {{65535, 8}, 0x18}};
  for (const auto &[size, code] : codes) EXPECT_EQ(pvm::DimensionCode(size.first, size.second), code);
  const std::pair<std::string, std::string> names[] = {
      {"/a/my-wall.pvr", "wall"}, {"/a/tex_01.pvr", "tex_01"}, {"/a.b/c.d.pvr", "c"},  {"/a/-.pvr", ""},
      {"/a/plain", "plain"},      {"/a/x y.pvr", "y"},         {"C:\\t\\b.pvr", "b"}, {"/a/é.pvr", ""}};
  for (const auto &[path, name] : names) EXPECT_EQ(pvm::EntryName(path), name) << path;
}

// Two palettized textures: c (global index 7, bank 3, four RGB565 entries)
// and d (no global-index chunk, bank 5, two entries), 8-bit indices of 8x8.
TEST(PvmBytes, PalettizedLaidOutByHand) {
  ScratchDir dir;
  const std::string indicesC = Ramp(64, 3), indicesD = Ramp(64, 4);
  ASSERT_TRUE(WriteFile(dir.file("c.pvr"), Pvr(7, 0x0701, 8, 8, indicesC, true)));
  ASSERT_TRUE(WriteFile(dir.file("c.pvp"), Pvp(1, 3, {0x1111, 0x2222, 0x3333, 0x4444})));
  ASSERT_TRUE(WriteFile(dir.file("d.pvr"), Pvr(-1, 0x0701, 8, 8, indicesD)));
  ASSERT_TRUE(WriteFile(dir.file("d.pvp"), Pvp(1, 5, {0xAAAA, 0xBBBB})));
  // Flags 0x010F + 0x0400 + 0x0800. Global indices with the bank in bits
  // 26-31: 3 << 26 | 7 = 0x0C000007, 5 << 26 | 0x03FFFFFF = 0x17FFFFFF.
  // PVMH 88 bytes (size field 80); PVPL c at 88, 8 + 16 = 24 bytes, padded to
  // 4 (size field 16); PVPL d at 112, 24 bytes ending at 136, the last chunk
  // before the textures: padded by 8 to 144 (size field 24); PVRT c at 144,
  // 8 + 8 + 64 = 80 bytes, padded by 16 to 240 (size field 88), texels at
  // 160; PVRT d at 240, 80 bytes (size field 72), texels at 256.
  const std::string expected =
      "PVMH" + Le32(80) + Le16(0x0D0F) + Le16(2) +                                              //
      Le16(0) + Name28("c") + Le16(0x0701) + Le16(0x11) + Le32(0x0C000007) +                    //
      Le16(1) + Name28("d") + Le16(0x0701) + Le16(0x11) + Le32(0x17FFFFFF) +                    //
      "PVPL" + Le32(16) + Le16(1) + Le16(3) + Le16(0) + Le16(4) + "\x11\x11\x22\x22\x33\x33\x44\x44"s +  //
      "PVPL" + Le32(24) + Le16(1) + Le16(5) + Le16(0) + Le16(2) + "\xAA\xAA\xBB\xBB"s + std::string(12, '\0') +
      "PVRT" + Le32(88) + Le32(0x0701) + Le16(8) + Le16(8) + indicesC + std::string(16, '\0') +  //
      "PVRT" + Le32(72) + Le32(0x0701) + Le16(8) + Le16(8) + indicesD;
  TextureArchive archive = Started(dir.file("p.pvm"));
  ArchiveAddFile(&archive, dir.file("c.pvr"));
  ArchiveAddFile(&archive, dir.file("d.pvr"));
  Console console;
  ASSERT_EQ(ArchiveFinish(&archive), ArchiveStatus::kWritten);
  EXPECT_EQ(ReadFile(dir.file("p.pvm")), expected);
  EXPECT_EQ(console.info.text(), "\n<< SAVEPVRS >>\n Loading ./c.pvr\n Loading ./d.pvr\n\n[OUTPUT]" +
                                     dir.file("p.pvm") + kIncludeHead + "[PVPL]" + kIncludeTail);
}

// The first kept texture sets the kind; the others are left out silently.
TEST(PvmKeep, MixedSetsKeepTheFirstKind) {
  struct File {
    std::string name;
    uint32_t category;
    int palette;  // pixel format of its .pvp file, -1 for none
  };
  struct Row {
    std::vector<File> files;
    std::vector<std::string> kept;
    bool palettized;
  };
  const Row rows[] = {
      // RGB565 8-bit palettes, plain or mipmapped, are one kind; ARGB4444,
      // 4-bit and non-palettized textures are left out.
      {{{"p1", 0x0701, 1}, {"p2", 0x0801, 1}, {"p3", 0x0702, 2}, {"p4", 0x0501, 1}, {"t", 0x0101, -1}},
       {"p1", "p2"},
       true},
      {{{"q4", 0x0502, 2}, {"q4m", 0x0602, 2}, {"q8", 0x0702, 2}, {"q1", 0x0501, 1}}, {"q4", "q4m"}, true},
      // Non-palettized first: every palettized texture is left out.
      {{{"t1", 0x0101, -1}, {"p1", 0x0701, 1}, {"t2", 0x0902, -1}, {"v", 0x0302, -1}, {"s", 0x1001, -1}},
       {"t1", "t2", "v", "s"},
       false},
      // A palettized texture without its palette file is left out and sets nothing.
      {{{"p0", 0x0701, -1}, {"t1", 0x0101, -1}, {"p1", 0x0701, 1}}, {"t1"}, false},
      {{{"p0", 0x0701, -1}, {"p1", 0x0702, 2}, {"p2", 0x0701, 1}, {"p3", 0x0802, 2}}, {"p1", "p3"}, true},
      // Nothing kept: an archive without entries.
      {{{"p0", 0x0701, -1}}, {}, false},
  };
  for (const Row &row : rows) {
    ScratchDir dir;
    TextureArchive archive = Started(dir.file("k.pvm"));
    for (const File &f : row.files) {
      ASSERT_TRUE(WriteFile(dir.file(f.name + ".pvr"), Pvr(1, f.category, 8, 8, Ramp(32, 1))));
      if (f.palette >= 0) {
        ASSERT_TRUE(WriteFile(dir.file(f.name + ".pvp"), Pvp(uint32_t(f.palette), 2, {1, 2})));
      }
      ArchiveAddFile(&archive, dir.file(f.name + ".pvr"));
    }
    Console console;
    ASSERT_EQ(ArchiveFinish(&archive), ArchiveStatus::kWritten) << row.kept.size();
    EXPECT_EQ(console.error.text() + console.warning.text(), "");
    const Archive read = ReadArchive(ReadFile(dir.file("k.pvm")));
    std::vector<std::string> names;
    for (const Entry &e : read.entries) {
      EXPECT_EQ(e.id, names.size());
      names.push_back(e.name);
    }
    EXPECT_EQ(names, row.kept);
    EXPECT_EQ(read.textures.size(), row.kept.size());
    EXPECT_EQ(read.palettes.size(), row.palettized ? row.kept.size() : 0u);
    EXPECT_EQ(read.flags, row.palettized ? 0x0D0Fu : 0x010Fu);
  }
}

// Loads that fail and writes that fail leave no new archive and keep the
// older one; only the load failures and the long name print an error.
TEST(PvmFailures, NoArchiveAndTheOlderOneKept) {
  ScratchDir dir;
  const std::string target = dir.file("m.pvm"), good = dir.file("good.pvr");
  ASSERT_TRUE(WriteFile(good, Pvr(1, 0x0101, 8, 8, Ramp(128, 1))));
  std::filesystem::create_directory(dir.file("folder.pvm"));
  rlimit saved{};
  getrlimit(RLIMIT_FSIZE, &saved);
  const rlimit small{100, saved.rlim_max};
  const std::string longName(29, 'x');
  struct Row {
    std::string file, bytes, palette;  // a second texture and its palette file
    std::string archiveName;
    ArchiveStatus status;
    std::string error;
    std::function<void()> arrange = nullptr, restore = nullptr;
    bool addedFirst = false;  // before the good texture
  };
  const std::string notWritten = "; archive " + target + " not written\n";
  auto bad = [&](const std::string &reason) {
    return "\n##### Error : " + dir.file("bad.pvr") + " is not a PVR texture (" + reason + ")" + notWritten;
  };
  const std::vector<Row> rows = {
      {"missing.pvr", "", "", target, ArchiveStatus::kCantLoad,
       "\n##### Error : Can't open file " + dir.file("missing.pvr") + notWritten},
      {"bad.pvr", "", "", target, ArchiveStatus::kCantLoad, bad("no PVRT chunk")},
      {"bad.pvr", "GBIX" + Le32(8) + Le32(1) + "    ", "", target, ArchiveStatus::kCantLoad, bad("no PVRT chunk")},
      {"bad.pvr", "GBIX" + Le32(100) + Le32(1), "", target, ArchiveStatus::kCantLoad,
       bad("a chunk runs past the end")},
      {"bad.pvr", Pvr(1, 0x0101, 8, 8, Ramp(128, 1)).substr(0, 100), "", target, ArchiveStatus::kCantLoad,
       bad("PVRT chunk cut short")},
      {"bad.pvr", "PVRT" + Le32(2) + "ab", "", target, ArchiveStatus::kCantLoad, bad("PVRT chunk cut short")},
      {"bad.pvr", "GBIX" + Le32(0xFFFFFFF8) + "PVRT", "", target, ArchiveStatus::kCantLoad,
       bad("a chunk runs past the end")},
      {"pal.pvr", Pvr(1, 0x0701, 8, 8, Ramp(64, 1)), "PVPL" + Le32(8), target, ArchiveStatus::kCantLoad,
       "\n##### Error : " + dir.file("pal.pvp") + " is not a palette file" + notWritten, nullptr, nullptr, true},
      {longName + ".pvr", Pvr(1, 0x0101, 8, 8, Ramp(128, 1)), "", target, ArchiveStatus::kNameTooLong,
       "\n##### Error : Texture name " + longName + " of " + dir.file(longName + ".pvr") +
           " is longer than 28 bytes" + notWritten},
      {"", "", "", dir.file("missing/m.pvm"), ArchiveStatus::kCantWrite, ""},
      {"", "", "", dir.file("folder.pvm"), ArchiveStatus::kCantWrite, ""},
      {"", "", "", target, ArchiveStatus::kCantWrite, "",
       [&] { std::signal(SIGXFSZ, SIG_IGN), setrlimit(RLIMIT_FSIZE, &small); },
       [&] { setrlimit(RLIMIT_FSIZE, &saved); }},
      {"", "", "", target, ArchiveStatus::kCantWrite, "",
       [&] { std::filesystem::create_directory(target + ".tmp~"); },
       [&] { std::filesystem::remove(target + ".tmp~"); }},
  };
  for (const Row &row : rows) {
    ASSERT_TRUE(WriteFile(target, "an older archive"));
    if (!row.bytes.empty() || row.file == "bad.pvr") {
      ASSERT_TRUE(WriteFile(dir.file(row.file), row.bytes));
    }
    if (!row.palette.empty()) {
      ASSERT_TRUE(WriteFile(dir.file("pal.pvp"), row.palette));
    }
    TextureArchive archive = Started(row.archiveName);
    if (row.addedFirst) ArchiveAddFile(&archive, dir.file(row.file));
    ArchiveAddFile(&archive, good);
    if (!row.file.empty() && !row.addedFirst) ArchiveAddFile(&archive, dir.file(row.file));
    Console console;
    if (row.arrange) row.arrange();
    const ArchiveStatus status = ArchiveFinish(&archive);
    if (row.restore) row.restore();
    EXPECT_EQ(status, row.status) << row.file << row.archiveName;
    EXPECT_EQ(console.error.text(), row.error);
    EXPECT_EQ(ReadFile(target), "an older archive");
    EXPECT_FALSE(vktest::Exists(row.archiveName + ".tmp~"));
    EXPECT_TRUE(std::filesystem::is_directory(dir.file("folder.pvm")));
    EXPECT_FALSE(archive.active);
    std::filesystem::remove(dir.file(row.file.empty() ? "none" : row.file));
    std::filesystem::remove(dir.file("pal.pvp"));
  }

  TextureArchive empty = Started(target);  // nothing added
  Console console;
  EXPECT_EQ(ArchiveFinish(&empty), ArchiveStatus::kNoInput);
  EXPECT_EQ(console.info.text(), "\n    Input filename was not set!\n\n");
  EXPECT_EQ(ReadFile(target), "an older archive");
}

// Relative names against the process's current directory, the archive name
// taken from the first file, and the forms of the [OUTPUT] name.
TEST(PvmNames, RelativePathsAndDefaultName) {
  ScratchDir dir;
  const std::string saved = std::filesystem::current_path().string();
  ASSERT_EQ(chdir(dir.path().c_str()), 0);
  std::filesystem::create_directory("sub");
  ASSERT_TRUE(WriteFile("sub/wall.pvr", Pvr(1, 0x0101, 8, 8, Ramp(128, 1))));
  const std::string real = std::filesystem::current_path().string();
  struct Row {
    std::string name, written, shown;
  };
  const Row rows[] = {{"", "wall.pvm", "./wall.pvm"},
                      {"sub/m.pvm", "sub/m.pvm", "./sub/m.pvm"},
                      {"_m.pvm", "_m.pvm", "_m.pvm"},
                      {real + "/abs.pvm", real + "/abs.pvm", real + "/abs.pvm"}};
  for (const Row &row : rows) {
    TextureArchive archive;
    ArchiveReset(&archive);
    EXPECT_EQ(archive.currentDirectory, real);
    if (!row.name.empty()) ArchiveSetName(&archive, row.name);
    ArchiveSetModelPath(&archive, "../out/model.vka");
    ArchiveAddFile(&archive, "sub/wall.pvr");
    ArchiveAddFile(&archive, real + "/sub/wall.pvr");  // the same absolute name
    Console console;
    StdoutCapture out;
    EXPECT_EQ(ArchiveFinish(&archive), ArchiveStatus::kWritten);
    EXPECT_EQ(out.Text(), "Model name exists ... " + real + "/model.vka\n");
    EXPECT_EQ(console.info.text(), "\n<< SAVEPVRS >>\n Loading ./wall.pvr\n Loading ./wall.pvr\n\n[OUTPUT]" +
                                       row.shown + kIncludeHead + "\n[MDLN]" + kIncludeTail);
    const Archive read = ReadArchive(ReadFile(row.written));
    EXPECT_EQ(read.entries.size(), 1u);
    EXPECT_EQ(read.modelNames, std::vector<std::string>{real + "/model.vka"});
  }
  // Messages name a file as it was added.
  TextureArchive missing;
  ArchiveReset(&missing);
  ArchiveAddFile(&missing, "sub/none.pvr");
  Console console;
  EXPECT_EQ(ArchiveFinish(&missing), ArchiveStatus::kCantLoad);
  EXPECT_EQ(console.error.text(), "\n##### Error : Can't open file sub/none.pvr; archive none.pvm not written\n");
  EXPECT_FALSE(vktest::Exists("none.pvm"));
  ASSERT_EQ(chdir(saved.c_str()), 0);
}

// ---- Round trips ------------------------------------------------------------------

// Textures written by the encoders (every texture type of the converter),
// packed and decoded back entry by entry.
TEST(PvmRoundTrip, EncodedTexturesDecodeBack) {
  ScratchDir dir;
  std::mt19937 random(7);
  Console quiet;
  auto encode = [&](const std::string &name, int32_t pixelFormat, bool mipmap, int32_t index,
                    const std::function<bool(PVR_Settings *)> &run) {
    PVR_Settings settings = textest::SettingsFor(dir.file(name + ".pvr"), pixelFormat, mipmap);
    settings.globalIndex = index;
    EXPECT_TRUE(run(&settings)) << name;
    return name;
  };
  std::vector<std::string> plain = {
      encode("twiddled", kPixRGB565, true, 10,
             [&](PVR_Settings *s) { return PVR_EncodeTwiddled(s, textest::RandomImage(random, 64, 64)); }),
      encode("wide", kPixARGB1555, false, -1,
             [&](PVR_Settings *s) { return PVR_EncodeTwiddled(s, textest::RandomImage(random, 16, 8)); }),
      encode("rect", kPixARGB4444, false, 11,
             [&](PVR_Settings *s) { return PVR_EncodeRectangle(s, textest::RandomImage(random, 32, 16), false); }),
      encode("stride", kPixRGB555, false, 12,
             [&](PVR_Settings *s) { return PVR_EncodeRectangle(s, textest::RandomImage(random, 8, 8), true); }),
      encode("yuv", kPixYUV422, false, 13,
             [&](PVR_Settings *s) { return PVR_EncodeTwiddled(s, textest::RandomImage(random, 8, 8)); }),
  };
  {  // VQ with mipmaps
    PVR_Input input;
    input.levels.push_back(textest::RandomImage(random, 64, 64));
    ASSERT_EQ(PVR_SetMipmaps(&input), 0);
    PVR_VQOptions options;
    options.threads = 1;
    PVR_VQOutput output;
    ASSERT_TRUE(PVR_CompressVQ(options, &input, &output));
    ASSERT_TRUE(PVR_WriteVQPVRFile(&output, dir.file("vq.pvr").c_str(), 14));
    plain.push_back("vq");
  }
  std::vector<std::string> palettized;
  for (int i = 0; i < 3; ++i) {
    const int32_t side = 8 << i;
    PVR_Palette palette;
    palette.bank = 2 + 20 * i;
    palette.pixelFormat = kPixARGB4444;
    palette.entryCount = 256;
    for (int e = 0; e < 256; ++e) palette.entries.push_back(random());
    PVR_PalImage image{side, side, 8, std::vector<uint8_t>(size_t(side) * side)};
    for (uint8_t &index : image.indices) index = uint8_t(random());
    palettized.push_back(encode("pal" + std::to_string(i), kPixARGB4444, false, i == 1 ? -1 : 20 + i,
                                [&](PVR_Settings *s) { return PVR_EncodePalettized(s, palette, image); }));
  }
  for (const std::vector<std::string> *set : {&plain, &palettized}) {
    TextureArchive archive = Started(dir.file("r.pvm"), "/w", "r.vka");
    for (const std::string &name : *set) ArchiveAddFile(&archive, dir.file(name + ".pvr"));
    StdoutCapture out;
    ASSERT_EQ(ArchiveFinish(&archive), ArchiveStatus::kWritten);
    const Archive read = ReadArchive(ReadFile(dir.file("r.pvm")));
    ASSERT_EQ(read.entries.size(), set->size());
    ASSERT_EQ(read.textures.size(), set->size());
    for (size_t i = 0; i < set->size(); ++i) {
      EXPECT_EQ(read.entries[i].name, (*set)[i]);
      const std::string palette = set == &palettized ? ReadFile(dir.file((*set)[i] + ".pvp")) : "";
      ExpectSameFile(read, i, ReadFile(dir.file((*set)[i] + ".pvr")), palette);
    }
  }
}

// Generated sets of textures of random kinds and sizes: the kept entries
// follow the rule, every chunk's payload is its file's followed by zero
// padding, the texels of every texture start on a 32-byte boundary, the last
// texture is padded to 4, and every chunk starts at a multiple of 4.
TEST(PvmProperties, GeneratedSets) {
  std::mt19937 random(11);
  const uint32_t categories[] = {0x0101, 0x0201, 0x0902, 0x0D00, 0x0303, 0x1101, 0x0701, 0x0801, 0x0702, 0x0501};
  for (int round = 0; round < 150; ++round) {
    ScratchDir dir;
    TextureArchive archive = Started(dir.file("g.pvm"), "/w", random() % 2 ? "g.vka" : "");
    struct Made {
      std::string pvr, pvp;
      uint32_t category;
    };
    std::vector<Made> made;
    const int count = 1 + int(random() % 6);
    for (int i = 0; i < count; ++i) {
      const uint32_t category = categories[random() % std::size(categories)];
      const std::string data = Ramp(random() % 70, uint32_t(random()));
      const int64_t index = random() % 3 == 0 ? -1 : int64_t(random() % 1000);
      Made m{Pvr(index, category, 8u << random() % 5, 8u << random() % 5, data), "", category};
      const std::string name = dir.file("t" + std::to_string(i));
      if (random() % 4 != 0) m.pvp = Pvp(random() % 2, uint32_t(random() % 64), std::vector<uint16_t>(random() % 9, 5));
      ASSERT_TRUE(WriteFile(name + ".pvr", m.pvr));
      if (!m.pvp.empty()) {
        ASSERT_TRUE(WriteFile(name + ".pvp", m.pvp));
      }
      ArchiveAddFile(&archive, name + ".pvr");
      made.push_back(m);
    }
    StdoutCapture out;
    Console console;
    ASSERT_EQ(ArchiveFinish(&archive), ArchiveStatus::kWritten);
    const std::string file = ReadFile(dir.file("g.pvm"));
    const Archive read = ReadArchive(file);

    // The rule, stated once more: the first texture with what it needs sets
    // the kind (pixel format and palette kind when palettized).
    auto palettized = [](uint32_t c) { return (c & 0x0F00) >= 0x0500 && (c & 0x0F00) <= 0x0800; };
    auto kind = [&](uint32_t c) { return palettized(c) ? (c & 0xFF) | ((((c >> 8 & 0xF) - 5) / 2) << 8) : 0xFFFFu; };
    std::vector<size_t> kept;
    for (size_t i = 0; i < made.size(); ++i) {
      if (palettized(made[i].category) && made[i].pvp.empty()) continue;
      if (kept.empty() || kind(made[i].category) == kind(made[kept[0]].category)) kept.push_back(i);
    }
    const bool withPalettes = !kept.empty() && palettized(made[kept[0]].category);
    ASSERT_EQ(read.entries.size(), kept.size()) << round;
    ASSERT_EQ(read.textures.size(), kept.size());
    ASSERT_EQ(read.palettes.size(), withPalettes ? kept.size() : 0u);
    for (size_t k = 0; k < kept.size(); ++k) {
      const Made &m = made[kept[k]];
      EXPECT_EQ(read.entries[k].name, "t" + std::to_string(kept[k]));
      ExpectSameFile(read, k, m.pvr, withPalettes ? m.pvp : "", false);
      EXPECT_EQ((read.textures[k]->offset + 16) % 32, 0u) << round;
    }
    for (const Chunk &chunk : read.chunks) EXPECT_EQ(chunk.offset % 4, 0u);
    if (!kept.empty()) {
      const std::string &last = made[kept.back()].pvr;
      EXPECT_LT(read.textures.back()->payload.size() - (last.size() - (last.substr(0, 4) == "GBIX" ? 24 : 8)), 4u);
    }
    EXPECT_EQ(file.size() % 4, 0u);
  }
}

}  // namespace
