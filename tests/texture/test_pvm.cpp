// The texture archive: the builder's files laid out by hand byte for byte,
// names and the keep-or-skip rule, failed loads and writes; the builder
// against the layout of pvm_layout.h on every encoder kind and many generated
// sets, every entry read back and decoded; the reader's refusals and cut or
// corrupted archives.
#include <gtest/gtest.h>

#include <filesystem>
#include <random>
#include <span>

#include "pvm_layout.h"
#include "pvr_kinds.h"
#include "texture/pvm.h"
#include "texture/pvm_internal.h"
#include "texture/pvm_read.h"
#include "texture_test_util.h"

namespace {

using namespace textest;
using namespace std::string_literals;

constexpr const char *kIncludeHead = "\n[INCLUDE]:[PVMH][PVRNAME][CATEGORYCODE][ENTRYINFO][GLOBALINDEX]";
constexpr const char *kIncludeTail = "[PVRT][PVR-LOCKOFF][ORDER-LOCKOFF]\n";

std::string Name28(const std::string &name) { return name + std::string(28 - name.size(), '\0'); }
// A PVR file: an optional "GBIX" chunk (ending in four blanks, or four zero
// bytes), then "PVRT", data size + 8, the category, width, height, the data.
std::string Pvr(int64_t globalIndex, uint32_t category, uint32_t width, uint32_t height, const std::string &data,
                bool zeroTail = false) {
  const std::string gbix = "GBIX" + Le32(8) + Le32(uint32_t(globalIndex)) + (zeroTail ? std::string(4, '\0') : "    ");
  return (globalIndex >= 0 ? gbix : "") + "PVRT" + Le32(uint32_t(data.size()) + 8) + Le32(category) + Le16(width) +
         Le16(height) + data;
}
// A palette file: "PVPL", 8 + entries + pad, pixel format, bank, first
// entry, count, 2-byte entries, zero padding to a multiple of 8.
std::string Pvp(uint32_t pixelFormat, uint32_t bank, const std::vector<uint16_t> &entries) {
  std::string data;
  for (uint16_t e : entries) data += Le16(e);
  data.resize((data.size() + 7) / 8 * 8, '\0');
  return "PVPL" + Le32(8 + uint32_t(data.size())) + Le16(pixelFormat) + Le16(bank) + Le16(0) +
         Le16(uint32_t(entries.size())) + data;
}
std::string Ramp(size_t size, uint32_t seed) {  // bytes counting up from `seed`
  std::string out(size, '\0');
  for (size_t i = 0; i < size; ++i) out[i] = char(seed + 7 * i);
  return out;
}

// The archive `target` built as the section writer builds it, from `files`
// in order, with a fixed current directory so that the model path is known.
struct Built {
  ArchiveStatus status;
  std::string info, error, out;  // console streams and standard output
  TextureArchive archive;        // after the build
};
Built Build(const std::string &target, const std::vector<std::string> &files, const std::string &model = "",
            const std::string &currentDirectory = "/w") {
  Built b;
  ArchiveReset(&b.archive);
  b.archive.currentDirectory = currentDirectory;
  if (!target.empty()) ArchiveSetName(&b.archive, target);
  if (!model.empty()) ArchiveSetModelPath(&b.archive, model);
  ArchiveStart(&b.archive);
  for (const std::string &file : files) {
    ArchiveAddFile(&b.archive, file);
    ArchiveAddTextureName(&b.archive, file + ".bmp", "");
  }
  Console console;
  testing::internal::CaptureStdout();
  b.status = ArchiveFinish(&b.archive);
  b.out = testing::internal::GetCapturedStdout();
  b.info = console.info.Text(), b.error = console.error.Text() + console.warning.Text();
  return b;
}

PVM_Archive Read(const std::vector<uint8_t> &file) {
  PVM_Archive archive;
  std::string error;
  EXPECT_TRUE(PVM_ReadArchive(file, &archive, &error)) << error;
  return archive;
}

// Two small textures: a.pvr with global index 5, RGB565 twiddled 8x8 (128
// bytes of texels); b.pvr without a global-index chunk, ARGB4444 rectangle
// 16x8 (256 bytes). Entries are 38 bytes: PVMH is 8 + 4 + 76 = 88 bytes.
TEST(PvmBytes, TwoTexturesLaidOutByHand) {
  ScratchDir dir;
  const std::string texelsA = Ramp(128, 1), texelsB = Ramp(256, 2), target = dir.file("m.pvm");
  ASSERT_TRUE(WriteFile(dir.file("a.pvr"), Pvr(5, 0x0101, 8, 8, texelsA)));
  ASSERT_TRUE(WriteFile(dir.file("b.pvr"), Pvr(-1, 0x0902, 16, 8, texelsB)));
  const std::string entries = Le16(0) + Name28("a") + Le16(0x0101) + Le16(0x11) + Le32(5) +  //
                              Le16(1) + Name28("b") + Le16(0x0902) + Le16(0x12) + Le32(0xFFFFFFFF);
  // From offset 112: PVRT a, 8 + 8 + 128 = 144 bytes, ends at 256; not the
  // last, so padded by 16 to 272 (16 modulo 32), size field 152; its texels
  // start at 128. PVRT b at 272, 8 + 8 + 256 = 272 bytes, ends at 544, a
  // multiple of 4 (size field 264); its texels start at 288.
  const std::string textures = "PVRT" + Le32(152) + Le32(0x0101) + Le16(8) + Le16(8) + texelsA + std::string(16, '\0') +
                               "PVRT" + Le32(264) + Le32(0x0902) + Le16(16) + Le16(8) + texelsB;
  const struct {
    std::string model, expected, out, includeModel;
  } rows[] = {
      // MDLN at 88: 8 + 2 + "/w/m.vka" and its zero = 19 bytes, ends at 107;
      // the last header chunk: padded by 5 to 112, size field 16.
      {"out/m.vka",
       "PVMH" + Le32(80) + Le16(0x011F) + Le16(2) + entries + "MDLN" + Le32(16) + Le16(1) + "/w/m.vka"s + '\0' +
           std::string(5, '\0') + textures,
       "Model name exists ... /w/m.vka\n", "\n[MDLN]"},
      // PVMH is the last header chunk: padded by 24 to 112, size field 104.
      {"", "PVMH" + Le32(104) + Le16(0x010F) + Le16(2) + entries + std::string(24, '\0') + textures, "", ""},
  };
  for (const auto &row : rows) {
    const Built b = Build(target, {dir.file("a.pvr"), dir.file("b.pvr")}, row.model);
    EXPECT_EQ(b.status, ArchiveStatus::kWritten);
    EXPECT_EQ(b.out, row.out);
    EXPECT_EQ(ReadFile(target), row.expected);
    EXPECT_EQ(b.info, "\n<< SAVEPVRS >>\n Loading ./a.pvr\n Loading ./b.pvr\n\n[OUTPUT]" + target + kIncludeHead +
                          row.includeModel + kIncludeTail);
    EXPECT_EQ(b.error, "");
    EXPECT_FALSE(b.archive.active);
    EXPECT_TRUE(b.archive.files.empty() && b.archive.textureNames.empty() && b.archive.name.empty());
    EXPECT_FALSE(Exists(target + ".tmp~"));
  }
}

// One 256x256 RGB565 texture with mipmaps and a model path of 20 characters:
// PVMH at 0, 12 + 38 = 50 bytes padded to 52 (size field 44); MDLN at 52,
// 8 + 2 + 21 = 31 bytes padded to end at 112 (size field 52); PVRT at 112,
// texels at 128. The builder writes it, the layout of the tests gives it, and
// the reader splits it back into the very PVR file.
TEST(PvmBytes, WorkedLayoutOf256Texture) {
  ScratchDir dir;
  const std::string texels = Ramp(174764, 3), pvr = Pvr(7, 0x0201, 256, 256, texels), path = "/models/car_body.vka";
  const std::string expected = "PVMH" + Le32(44) + Le16(0x011F) + Le16(1) + Le16(0) + Name28("tex_01") + Le16(0x0201) +
                               Le16(0x66) + Le32(7) + std::string(2, '\0') + "MDLN" + Le32(52) + Le16(1) + path +
                               std::string(30, '\0') + "PVRT" + Le32(8 + 174764) + Le32(0x0201) + Le16(256) +
                               Le16(256) + texels;
  ASSERT_TRUE(WriteFile(dir.file("tex_01.pvr"), pvr));
  const Built b = Build(dir.file("car_body.pvm"), {dir.file("tex_01.pvr")}, "car_body.vka", "/models");
  ASSERT_EQ(b.status, ArchiveStatus::kWritten);
  EXPECT_EQ(ReadFile(dir.file("car_body.pvm")), expected);
  EXPECT_EQ(b.out, "Model name exists ... " + path + "\n");
  EXPECT_EQ(pvmtest::Archive({{"tex_01", Bytes(pvr), {}}}, {path}), Bytes(expected));
  const PVM_Archive read = Read(Bytes(expected));
  EXPECT_EQ(read.flags, 0x011F);
  EXPECT_EQ(read.modelNames, std::vector<std::string>{path});
  ASSERT_EQ(read.entries.size(), 1u);
  const PVM_Entry &e = read.entries[0];
  EXPECT_EQ(std::make_tuple(e.name, e.format, e.dimension, e.globalIndex, e.paletteBank),
            std::make_tuple("tex_01"s, uint16_t(0x0201), uint16_t(0x66), 7u, -1));
  EXPECT_EQ(e.pvr, Bytes(pvr));
  EXPECT_TRUE(e.pvp.empty());
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
      "PVMH" + Le32(80) + Le16(0x0D0F) + Le16(2) +                                                       //
      Le16(0) + Name28("c") + Le16(0x0701) + Le16(0x11) + Le32(0x0C000007) +                             //
      Le16(1) + Name28("d") + Le16(0x0701) + Le16(0x11) + Le32(0x17FFFFFF) +                             //
      "PVPL" + Le32(16) + Le16(1) + Le16(3) + Le16(0) + Le16(4) + "\x11\x11\x22\x22\x33\x33\x44\x44"s +  //
      "PVPL" + Le32(24) + Le16(1) + Le16(5) + Le16(0) + Le16(2) + "\xAA\xAA\xBB\xBB"s + std::string(12, '\0') + "PVRT" +
      Le32(88) + Le32(0x0701) + Le16(8) + Le16(8) + indicesC + std::string(16, '\0') +  //
      "PVRT" + Le32(72) + Le32(0x0701) + Le16(8) + Le16(8) + indicesD;
  const Built b = Build(dir.file("p.pvm"), {dir.file("c.pvr"), dir.file("d.pvr")});
  ASSERT_EQ(b.status, ArchiveStatus::kWritten);
  EXPECT_EQ(ReadFile(dir.file("p.pvm")), expected);
  EXPECT_EQ(b.info, "\n<< SAVEPVRS >>\n Loading ./c.pvr\n Loading ./d.pvr\n\n[OUTPUT]" + dir.file("p.pvm") +
                        kIncludeHead + "[PVPL]" + kIncludeTail);
}

// Entry names: the base name without its suffix, after the last blank or '-'
// (dimension codes, 28-byte names and the padding: GeneratedSets).
TEST(PvmEdges, EntryNames) {
  const std::pair<std::string, std::string> names[] = {
      {"/a/my-wall.pvr", "wall"}, {"/a/tex_01.pvr", "tex_01"}, {"/a.b/c.d.pvr", "c"}, {"/a/-.pvr", ""},
      {"/a/plain", "plain"},      {"/a/x y.pvr", "y"},         {"C:\\t\\b.pvr", "b"}, {"/a/é.pvr", ""}};
  for (const auto &[path, name] : names) EXPECT_EQ(pvm::EntryName(path), name) << path;
}

// Loads that fail leave no new archive and keep the older one, with an
// error naming the file (writes that fail: WriteFailures).
TEST(PvmFailures, NoArchiveAndTheOlderOneKept) {
  ScratchDir dir;
  const std::string target = dir.file("m.pvm"), good = dir.file("good.pvr"), longName(29, 'x');
  ASSERT_TRUE(WriteFile(good, Pvr(1, 0x0101, 8, 8, Ramp(128, 1))));
  const std::string notWritten = "; archive " + target + " not written\n", bad = "bad.pvr";
  const auto error = [&](const std::string &file, const std::string &what) {
    return "\n##### Error : " + (what.empty() ? "Can't open file " + dir.file(file) : what) + notWritten;
  };
  const auto notPvr = [&](const std::string &reason) {
    return error(bad, dir.file(bad) + " is not a PVR texture (" + reason + ")");
  };
  const struct {
    std::string file, bytes, palette;  // a second texture (before the good one with a palette) and its palette
    ArchiveStatus status;
    std::string error;
  } rows[] = {
      {"missing.pvr", "", "", ArchiveStatus::kCantLoad, error("missing.pvr", "")},
      {bad, "", "", ArchiveStatus::kCantLoad, notPvr("no PVRT chunk")},
      {bad, "GBIX" + Le32(8) + Le32(1) + "    ", "", ArchiveStatus::kCantLoad, notPvr("no PVRT chunk")},
      {bad, "GBIX" + Le32(100) + Le32(1), "", ArchiveStatus::kCantLoad, notPvr("a chunk runs past the end")},
      {bad, Pvr(1, 0x0101, 8, 8, Ramp(128, 1)).substr(0, 100), "", ArchiveStatus::kCantLoad,
       notPvr("PVRT chunk cut short")},
      {bad, "PVRT" + Le32(2) + "ab", "", ArchiveStatus::kCantLoad, notPvr("PVRT chunk cut short")},
      {bad, "GBIX" + Le32(0xFFFFFFF8) + "PVRT", "", ArchiveStatus::kCantLoad, notPvr("a chunk runs past the end")},
      {"pal.pvr", Pvr(1, 0x0701, 8, 8, Ramp(64, 1)), "PVPL" + Le32(8), ArchiveStatus::kCantLoad,
       error("", dir.file("pal.pvp") + " is not a palette file")},
      {longName + ".pvr", Pvr(1, 0x0101, 8, 8, Ramp(128, 1)), "", ArchiveStatus::kNameTooLong,
       error("", "Texture name " + longName + " of " + dir.file(longName + ".pvr") + " is longer than 28 bytes")},
  };
  for (const auto &row : rows) {
    SCOPED_TRACE(row.error);
    ASSERT_TRUE(WriteFile(target, "an older archive"));
    if (row.file != "missing.pvr") {
      ASSERT_TRUE(WriteFile(dir.file(row.file), row.bytes));
    }
    if (!row.palette.empty()) {
      ASSERT_TRUE(WriteFile(dir.file("pal.pvp"), row.palette));
    }
    std::vector<std::string> files = {good};
    files.insert(row.palette.empty() ? files.end() : files.begin(), dir.file(row.file));
    const Built b = Build(target, files);
    EXPECT_EQ(b.status, row.status);
    EXPECT_EQ(b.error, row.error);
    EXPECT_EQ(ReadFile(target), "an older archive");
    EXPECT_FALSE(Exists(target + ".tmp~") || b.archive.active);
    std::filesystem::remove(dir.file(row.file)), std::filesystem::remove(dir.file("pal.pvp"));
  }
  const Built empty = Build(target, {});
  EXPECT_EQ(empty.status, ArchiveStatus::kNoInput);
  EXPECT_EQ(empty.info, "\n    Input filename was not set!\n\n");
  EXPECT_EQ(ReadFile(target), "an older archive");
}

// Relative names against the process's current directory, the archive name
// taken from the first file, and the forms of the [OUTPUT] name.
TEST(PvmNames, RelativePathsAndDefaultName) {
  ScratchDir dir;
  InFolder here(dir.path());
  std::filesystem::create_directory("sub");
  ASSERT_TRUE(WriteFile("sub/wall.pvr", Pvr(1, 0x0101, 8, 8, Ramp(128, 1))));
  const std::string real = std::filesystem::current_path().string();
  const struct {
    std::string name, written, shown;
  } rows[] = {{"", "wall.pvm", "./wall.pvm"},
              {"sub/m.pvm", "sub/m.pvm", "./sub/m.pvm"},
              {"_m.pvm", "_m.pvm", "_m.pvm"},
              {real + "/abs.pvm", real + "/abs.pvm", real + "/abs.pvm"}};
  for (const auto &row : rows) {
    // The same file by its relative and its absolute name.
    const Built b = Build(row.name, {"sub/wall.pvr", real + "/sub/wall.pvr"}, "../out/model.vka", real);
    EXPECT_EQ(b.status, ArchiveStatus::kWritten);
    EXPECT_EQ(b.out, "Model name exists ... " + real + "/model.vka\n");
    EXPECT_EQ(b.info, "\n<< SAVEPVRS >>\n Loading ./wall.pvr\n Loading ./wall.pvr\n\n[OUTPUT]" + row.shown +
                          kIncludeHead + "\n[MDLN]" + kIncludeTail);
    const PVM_Archive read = Read(FileBytes(row.written));
    EXPECT_EQ(read.entries.size(), 1u);
    EXPECT_EQ(read.modelNames, std::vector<std::string>{real + "/model.vka"});
  }
  TextureArchive fresh;  // the current directory is the process's
  ArchiveReset(&fresh);
  EXPECT_EQ(fresh.currentDirectory, real);
  const Built missing = Build("", {"sub/none.pvr"}, "", real);  // messages name a file as it was added
  EXPECT_EQ(missing.status, ArchiveStatus::kCantLoad);
  EXPECT_EQ(missing.error, "\n##### Error : Can't open file sub/none.pvr; archive none.pvm not written\n");
  EXPECT_FALSE(Exists("none.pvm"));
}

// Packs `textures` (the files `files`) with the builder: the bytes of the
// tests' layout; read back, every entry is its very files and decodes as
// they do.
void ExpectPackedAndReadBack(const ScratchDir &dir, const std::vector<pvmtest::Texture> &textures,
                             const std::vector<std::string> &files) {
  const Built b = Build(dir.file("r.pvm"), files, "r.vka");
  ASSERT_EQ(b.status, ArchiveStatus::kWritten);
  const std::vector<uint8_t> file = FileBytes(dir.file("r.pvm"));
  EXPECT_TRUE(file == pvmtest::Archive(textures, {"/w/r.vka"}));
  const PVM_Archive read = Read(file);
  ASSERT_EQ(read.entries.size(), textures.size());
  for (size_t i = 0; i < textures.size(); ++i) {
    const PVM_Entry &entry = read.entries[i];
    const pvmtest::Texture &t = textures[i];
    EXPECT_EQ(std::make_tuple(entry.id, entry.name, entry.pvr, entry.pvp),
              std::make_tuple(uint16_t(i), t.name, t.pvr, t.pvp));
    EXPECT_EQ(entry.paletteBank, t.pvp.empty() ? -1 : int32_t(pvr::Get16(&t.pvp[10])));
    EXPECT_EQ(entry.globalIndex, t.pvr[0] == 'G' ? pvr::Get32(&t.pvr[8]) : 0xFFFFFFFFu);
    const PVR_Decoded fromArchive = Decode(entry.pvr, entry.pvp), fromFile = Decode(t.pvr, t.pvp);
    ASSERT_EQ(fromArchive.levels.size(), fromFile.levels.size());
    for (size_t k = 0; k < fromFile.levels.size(); ++k)
      EXPECT_EQ(fromArchive.levels[k].texels, fromFile.levels[k].texels);
  }
}

// Every kind the encoders write, alone (and with the lock bits through the
// reader), and the non-palettized ones all together; the texel data size of
// each is the one PVR_TexelDataSize names.
TEST(PvmRoundTrip, EveryEncodedKind) {
  ScratchDir dir;
  const std::vector<pvrkinds::KindFile> kinds = pvrkinds::WriteEveryKind(dir.path());
  ASSERT_EQ(kinds.size(), pvrkinds::kKindCount);
  std::vector<pvmtest::Texture> plain;
  std::vector<std::string> plainFiles;
  for (const pvrkinds::KindFile &kind : kinds) {
    SCOPED_TRACE(kind.label);
    const pvmtest::Texture t{std::string(pvm::EntryName(kind.pvr)), FileBytes(kind.pvr),
                             kind.pvp.empty() ? std::vector<uint8_t>{} : FileBytes(kind.pvp)};
    const size_t at = t.pvr[0] == 'G' ? 16 : 0;
    EXPECT_EQ(PVR_TexelDataSize(pvr::Get32(&t.pvr[at + 8]), pvr::Get16(&t.pvr[at + 12]), pvr::Get16(&t.pvr[at + 14])),
              pvr::Get32(&t.pvr[at + 4]) - 8);
    ExpectPackedAndReadBack(dir, {t}, {kind.pvr});
    EXPECT_EQ(Read(pvmtest::Archive({t}, {}, 0x0300)).entries.at(0).dimension & 0x0300, 0x0300);
    if (t.pvp.empty()) plain.push_back(t), plainFiles.push_back(kind.pvr);
  }
  ExpectPackedAndReadBack(dir, plain, plainFiles);
}

// Generated sets of textures of random kinds, sizes (every dimension code), names
// (one of 28 bytes) and palettes: the
// builder keeps the textures of the first one's kind (non-palettized, or
// palettized of one pixel format and palette size, 4 or 8 bits with or
// without mipmaps; a palettized texture without its palette file is left out
// and sets nothing) and writes the tests' layout of what it keeps.
TEST(PvmProperties, GeneratedSets) {
  std::mt19937 random(11);
  const uint32_t categories[] = {0x0101, 0x0201, 0x0902, 0x0D00, 0x0303, 0x1101, 0x0701, 0x0801, 0x0702, 0x0501};
  const uint32_t sides[] = {0, 4, 8, 16, 32, 64, 100, 128, 256, 512, 1024, 65535};
  const auto palettized = [](uint32_t c) { return (c & 0x0F00) >= 0x0500 && (c & 0x0F00) <= 0x0800; };
  const auto kind = [&](uint32_t c) { return palettized(c) ? (c & 0xFF) | (((c >> 8 & 0xF) - 5) / 2) << 8 : 0xFFFFu; };
  for (int round = 0; round < 150; ++round) {
    ScratchDir dir;
    const bool model = random() % 2;
    std::vector<pvmtest::Texture> kept;
    std::vector<std::string> files;
    uint32_t first = 0;
    for (int i = 0, count = 1 + int(random() % 6); i < count; ++i) {
      const uint32_t category = categories[random() % std::size(categories)];
      const std::string data = Ramp(random() % 70, uint32_t(random()));
      const int64_t index = random() % 3 == 0 ? -1 : int64_t(random() % 1000);
      const std::string pvr = Pvr(index, category, sides[random() % 12], sides[random() % 12], data);
      const std::string pvp =
          random() % 4 != 0 ? Pvp(random() % 2, uint32_t(random() % 64), std::vector<uint16_t>(random() % 9, 5)) : "";
      const std::string stem = i == 1 ? std::string(28, 'n') : "t" + std::to_string(i);  // no terminating zero
      files.push_back(dir.file(stem + ".pvr"));
      ASSERT_TRUE(WriteFile(files.back(), pvr));
      if (!pvp.empty()) {
        ASSERT_TRUE(WriteFile(dir.file(stem + ".pvp"), pvp));
      }
      if (palettized(category) && pvp.empty()) continue;
      if (kept.empty()) first = category;
      if (kind(category) == kind(first))
        kept.push_back({stem, Bytes(pvr), palettized(first) ? Bytes(pvp) : std::vector<uint8_t>{}});
    }
    const Built b = Build(dir.file("g.pvm"), files, model ? "g.vka" : "");
    ASSERT_EQ(b.status, ArchiveStatus::kWritten);
    const std::vector<uint8_t> file = FileBytes(dir.file("g.pvm"));
    ASSERT_TRUE(file ==
                pvmtest::Archive(kept, model ? std::vector<std::string>{"/w/g.vka"} : std::vector<std::string>{}))
        << "round " << round;
    EXPECT_EQ(Read(file).entries.size(), kept.size());
  }
}

// A small valid archive of two textures and a model name, for the refusals.
std::vector<uint8_t> TwoTextures() {
  return pvmtest::Archive({{"a", Bytes(Pvr(1, 0x0101, 8, 8, std::string(128, '\0'))), {}},
                           {"b", Bytes(Pvr(-1, 0x0901, 8, 8, std::string(128, '\0'))), {}}},
                          {"m.vka"});
}

TEST(PvmRead, Refusals) {
  const std::vector<uint8_t> good = TwoTextures();
  // PVMH at 0 (88 bytes), MDLN at 88 (padded so that the first PVRT starts
  // at 112), PVRTs at 112 (padded to 272) and 272 (136 bytes of data).
  ASSERT_EQ(std::string(good.begin() + 88, good.begin() + 92) + std::string(good.begin() + 112, good.begin() + 116) +
                std::string(good.begin() + 272, good.begin() + 276),
            "MDLNPVRTPVRT");
  ASSERT_EQ(good.size(), 416u);
  const auto with = [&](size_t at, const std::string &bytes) {
    std::vector<uint8_t> out = good;
    std::copy(bytes.begin(), bytes.end(), out.begin() + static_cast<std::ptrdiff_t>(at));
    return out;
  };
  const auto plus = [&](const std::string &bytes) { return Bytes(std::string(good.begin(), good.end()) + bytes); };
  const std::pair<std::vector<uint8_t>, const char *> cases[] = {
      {{}, "file is empty"},
      {with(0, "PVMX"), "file starts with \"PVMX\", not \"PVMH\""},
      {{good.begin(), good.begin() + 4}, "file is cut short inside the chunk head at offset 0"},
      {{good.begin(), good.begin() + 300}, "chunk \"PVRT\" at offset 272 claims 136 bytes, only 20 follow"},
      {with(10, "\x03"), "PVMH chunk of 80 bytes is too short for 3 entries of 38 bytes"},
      {with(4, Le32(2)), "PVMH chunk of 2 bytes holds no flags and entry count"},
      {with(10, "\x01"), "PVRT chunk at offset 272 is one more than the 1 entries"},
      {plus("PVRT" + Le32(8) + Le32(0x0101) + Le16(8) + Le16(8)),
       "PVRT chunk at offset 416 is one more than the 2 entries"},
      {with(276, Le32(4)), "PVRT chunk at offset 272 of 4 bytes holds no category and size"},
      {plus("ABCD" + Le32(0)), "unknown chunk \"ABCD\" at offset 416"},
      {plus("PVMH" + Le32(4) + Le32(0)), "second PVMH chunk at offset 416"},
      {with(92, Le32(1)), "MDLN chunk of 1 bytes holds no name count"},
      {with(92, Le32(2)), "MDLN chunk ends inside model name 1 of 1"},
      {with(96, "\x20"), "MDLN chunk ends inside model name 10 of 32"},
      {with(8, "\x1F\x09"), "archive holds 0 palettes for 2 entries"},
  };
  for (const auto &[file, reason] : cases) {
    PVM_Archive archive;
    archive.flags = 1;
    std::string error;
    EXPECT_FALSE(PVM_ReadArchive(file, &archive, &error)) << reason;
    EXPECT_EQ(error, reason);
    EXPECT_TRUE(archive.entries.empty() && archive.flags == 0) << reason;
  }
  EXPECT_EQ(Read(plus("COMM" + Le32(4) + "abc"s + '\0')).entries.size(), 2u);  // other chunks are passed over
}

// Every cut of a valid archive is refused with a reason (random changes of
// archives are the fuzz target's).
TEST(PvmRead, EveryCutIsRefused) {
  ScratchDir dir;
  std::vector<pvmtest::Texture> palettized;
  for (const pvrkinds::KindFile &kind : pvrkinds::WriteEveryKind(dir.path()))
    if (!kind.pvp.empty()) palettized.push_back({kind.label, FileBytes(kind.pvr), FileBytes(kind.pvp)});
  for (const std::vector<uint8_t> &good : {TwoTextures(), pvmtest::Archive(palettized, {"x"})}) {
    for (size_t size = 0; size < good.size(); ++size) {
      PVM_Archive archive;
      std::string error;
      EXPECT_FALSE(PVM_ReadArchive(std::span(good.data(), size), &archive, &error));
      EXPECT_FALSE(error.empty()) << size;
    }
  }
}

}  // namespace
