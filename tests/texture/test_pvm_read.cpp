// The PVM archive reader: a hand-worked layout, round trips of archives of
// every texture kind back to their PVR and palette files, refusals, and every
// cut or corrupted archive refused with a reason or read without harm.
#include <gtest/gtest.h>

#include <random>

#include "base/flags.h"
#include "pvm_layout.h"
#include "pvr_kinds.h"
#include "support/test_support.h"
#include "texture/pvm_read.h"
#include "texture/pvr_decode.h"

namespace {

using Bytes = std::vector<uint8_t>;

Bytes FileBytes(const std::string &name) {
  const std::string text = vktest::ReadFile(name);
  return Bytes(text.begin(), text.end());
}

void Append(Bytes &out, const std::string &text) { out.insert(out.end(), text.begin(), text.end()); }
void Zeros(Bytes &out, size_t count) { out.resize(out.size() + count, 0); }

// One 256 x 256 RGB565 mipmapped texture with a model path of 20 characters:
// PVMH at 0 (12 + 38 = 50 bytes, padded to 52, size field 44), MDLN at 52
// (8 + 2 + 21 = 31 bytes, padded so that PVRT starts at 112, size field 52),
// PVRT at 112 with its texel data at 128.
TEST(PvmRead, HandWorkedLayout) {
  const std::string path = "C:\\work\\car\\car1.vka";
  ASSERT_EQ(path.size(), 20u);
  Bytes texels(174764);
  for (size_t i = 0; i < texels.size(); ++i) texels[i] = static_cast<uint8_t>(i * 7 + 3);
  Bytes pvrFile;
  pvr::PutGlobalIndexChunk(pvrFile, 7, false);
  pvr::PutTextureHead(pvrFile, 174764, 0x0201, 256, 256);
  pvrFile.insert(pvrFile.end(), texels.begin(), texels.end());

  Bytes expected;
  Append(expected, "PVMH");
  Append(expected, std::string("\x2C\0\0\0\x1F\x01\x01\0\0\0", 10));  // size 44, flags 0x011F, 1 entry, id 0
  Append(expected, "tex_01");
  Zeros(expected, 22);
  Append(expected, std::string("\x01\x02\x66\0\x07\0\0\0", 8));  // format, dimension, global index
  Zeros(expected, 2);
  ASSERT_EQ(expected.size(), 52u);
  Append(expected, "MDLN");
  Append(expected, std::string("\x34\0\0\0\x01\0", 6));  // size 52, one name
  Append(expected, path);
  Zeros(expected, 1 + 29);
  ASSERT_EQ(expected.size(), 112u);
  Append(expected, "PVRT");
  Append(expected, std::string("\xB4\xAA\x02\0\x01\x02\0\0\0\x01\0\x01", 12));  // size 174772, category, 256 x 256
  expected.insert(expected.end(), texels.begin(), texels.end());

  EXPECT_EQ(pvmtest::Archive({{"tex_01", pvrFile, {}}}, {path}), expected);
  PVM_Archive archive;
  std::string error;
  ASSERT_TRUE(PVM_ReadArchive(expected, &archive, &error)) << error;
  EXPECT_EQ(archive.flags, 0x011F);
  EXPECT_EQ(archive.modelNames, std::vector<std::string>{path});
  ASSERT_EQ(archive.entries.size(), 1u);
  const PVM_Entry &entry = archive.entries[0];
  EXPECT_EQ(entry.name, "tex_01");
  EXPECT_EQ(entry.format * 0x10000u + entry.dimension, 0x02010066u);
  EXPECT_EQ(entry.globalIndex, 7u);
  EXPECT_EQ(entry.paletteBank, -1);
  EXPECT_EQ(entry.pvr, pvrFile);
  EXPECT_TRUE(entry.pvp.empty());
}

// Every kind the encoders write comes back as the very file it was, packed
// one by one and all together (palettized ones in an archive of their own,
// each with its palette file and its bank in the global index); the texel
// data size of each is the one PVR_TexelDataSize names.
TEST(PvmRead, EveryKindRoundTrips) {
  vktest::ScratchDir dir;
  const std::vector<pvrkinds::KindFile> kinds = pvrkinds::WriteEveryKind(dir.path());
  ASSERT_EQ(kinds.size(), pvrkinds::kKindCount);
  std::vector<pvmtest::Texture> plain, palettized;
  for (const pvrkinds::KindFile &kind : kinds) {
    SCOPED_TRACE(kind.label);
    pvmtest::Texture texture{kind.label.substr(0, 28), FileBytes(kind.pvr), kind.pvp.empty() ? Bytes{} : FileBytes(kind.pvp)};
    const size_t at = texture.pvr[0] == 'G' ? 16 : 0;
    EXPECT_EQ(PVR_TexelDataSize(pvr::Get32(&texture.pvr[at + 8]), pvr::Get16(&texture.pvr[at + 12]),
                                pvr::Get16(&texture.pvr[at + 14])),
              pvr::Get32(&texture.pvr[at + 4]) - 8);
    (texture.pvp.empty() ? plain : palettized).push_back(texture);
    for (uint16_t lock : {0, 0x0300}) {
      PVM_Archive archive;
      std::string error;
      ASSERT_TRUE(PVM_ReadArchive(pvmtest::Archive({texture}, {}, lock), &archive, &error)) << error;
      ASSERT_EQ(archive.entries.size(), 1u);
      EXPECT_EQ(archive.entries[0].pvr, texture.pvr);
      EXPECT_EQ(archive.entries[0].pvp, texture.pvp);
      EXPECT_EQ(archive.entries[0].dimension & 0x0300, lock);
    }
  }
  for (const auto *set : {&plain, &palettized}) {
    PVM_Archive archive;
    std::string error;
    ASSERT_TRUE(PVM_ReadArchive(pvmtest::Archive(*set, {"a.vka", "b.vka"}), &archive, &error)) << error;
    ASSERT_EQ(archive.entries.size(), set->size());
    EXPECT_EQ(archive.flags, set == &plain ? 0x011F : 0x0D1F);
    EXPECT_EQ(archive.modelNames, (std::vector<std::string>{"a.vka", "b.vka"}));
    for (size_t i = 0; i < set->size(); ++i) {
      const PVM_Entry &entry = archive.entries[i];
      const pvmtest::Texture &texture = (*set)[i];
      SCOPED_TRACE(texture.name);
      EXPECT_EQ(entry.id, i);
      EXPECT_EQ(entry.name, texture.name);
      EXPECT_EQ(entry.pvr, texture.pvr);
      EXPECT_EQ(entry.pvp, texture.pvp);
      EXPECT_EQ(entry.paletteBank, set == &plain ? -1 : static_cast<int32_t>(pvr::Get16(&texture.pvp[10])));
      EXPECT_EQ(entry.globalIndex, texture.pvr[0] == 'G' ? pvr::Get32(&texture.pvr[8]) : 0xFFFFFFFFu);
    }
  }
}

// A small valid archive of two textures and a model name, for the refusals.
Bytes TwoTextures() {
  Bytes a, b;
  pvr::PutGlobalIndexChunk(a, 1, false);
  pvr::PutTextureHead(a, 128, 0x0101, 8, 8);
  Zeros(a, 128);
  pvr::PutTextureHead(b, 128, 0x0901, 8, 8);
  Zeros(b, 128);
  return pvmtest::Archive({{"a", a, {}}, {"b", b, {}}}, {"m.vka"});
}

TEST(PvmRead, Refusals) {
  const Bytes good = TwoTextures();
  // PVMH at 0 (88 bytes), MDLN at 88 (padded so that the first PVRT starts
  // at 112), PVRTs at 112 (padded to 272) and 272 (136 bytes of data).
  ASSERT_EQ(std::string(good.begin() + 88, good.begin() + 92), "MDLN");
  ASSERT_EQ(std::string(good.begin() + 112, good.begin() + 116), "PVRT");
  ASSERT_EQ(std::string(good.begin() + 272, good.begin() + 276), "PVRT");
  ASSERT_EQ(good.size(), 416u);
  const auto with = [&](size_t at, const std::string &bytes) {
    Bytes out = good;
    std::copy(bytes.begin(), bytes.end(), out.begin() + static_cast<std::ptrdiff_t>(at));
    return out;
  };
  const auto cut = [&](size_t size) { return Bytes(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(size)); };
  const auto plus = [&](const std::string &bytes) {
    Bytes out = good;
    Append(out, bytes);
    return out;
  };
  const struct {
    const char *label;
    Bytes file;
    const char *reason;
  } cases[] = {
      {"empty", {}, "file is empty"},
      {"other magic", with(0, "PVMX"), "file starts with \"PVMX\", not \"PVMH\""},
      {"head cut", cut(4), "file is cut short inside the chunk head at offset 0"},
      {"chunk cut", cut(300), "chunk \"PVRT\" at offset 272 claims 136 bytes, only 20 follow"},
      {"header too short", with(10, "\x03"), "PVMH chunk of 80 bytes is too short for 3 entries of 38 bytes"},
      {"header without count", with(4, std::string("\x02\0\0\0", 4)),
       "PVMH chunk of 2 bytes holds no flags and entry count"},
      {"one texture short", with(10, "\x01"), "PVRT chunk at offset 272 is one more than the 1 entries"},
      {"one texture more", plus(std::string("PVRT\x08\0\0\0\x01\x01\0\0\x08\0\x08\0", 16)),
       "PVRT chunk at offset 416 is one more than the 2 entries"},
      {"texture without head", with(276, std::string("\x04\0\0\0", 4)),
       "PVRT chunk at offset 272 of 4 bytes holds no category and size"},
      {"unknown chunk", plus(std::string("ABCD\0\0\0\0", 8)), "unknown chunk \"ABCD\" at offset 416"},
      {"second header", plus(std::string("PVMH\x04\0\0\0\0\0\0\0", 12)), "second PVMH chunk at offset 416"},
      {"model names without count", with(92, std::string("\x01\0\0\0", 4)), "MDLN chunk of 1 bytes holds no name count"},
      {"model name unterminated", with(92, std::string("\x02\0\0\0", 4)), "MDLN chunk ends inside model name 1 of 1"},
      {"model names run out", with(96, "\x20"), "MDLN chunk ends inside model name 10 of 32"},
      {"palettes missing", with(8, std::string("\x1F\x09", 2)), "archive holds 0 palettes for 2 entries"},
  };
  for (const auto &c : cases) {
    PVM_Archive archive;
    archive.flags = 1;
    std::string error;
    EXPECT_FALSE(PVM_ReadArchive(c.file, &archive, &error)) << c.label;
    EXPECT_EQ(error, c.reason) << c.label;
    EXPECT_TRUE(archive.entries.empty() && archive.flags == 0) << c.label;
  }
  // Chunks of other kinds are passed over.
  Bytes comment = good;
  Append(comment, std::string("COMM\x04\0\0\0abc\0", 12));
  PVM_Archive archive;
  std::string error;
  EXPECT_TRUE(PVM_ReadArchive(comment, &archive, &error)) << error;
}

// Every cut of a valid archive is refused with a reason; random byte changes
// are read or refused, and what is read decodes or is refused by the decoder.
TEST(PvmRead, CutAndCorruptedArchives) {
  vktest::ScratchDir dir;
  const std::vector<pvrkinds::KindFile> kinds = pvrkinds::WriteEveryKind(dir.path());
  std::vector<pvmtest::Texture> palettized;
  for (const pvrkinds::KindFile &kind : kinds) {
    if (!kind.pvp.empty()) palettized.push_back({kind.label, FileBytes(kind.pvr), FileBytes(kind.pvp)});
  }
  for (const Bytes &good : {TwoTextures(), pvmtest::Archive(palettized, {"x"})}) {
    for (size_t size = 0; size < good.size(); ++size) {
      PVM_Archive archive;
      std::string error;
      EXPECT_FALSE(PVM_ReadArchive(Bytes(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(size)), &archive, &error));
      EXPECT_FALSE(error.empty()) << size;
    }
    std::mt19937 random(9);
    int read = 0;
    for (int run = 0; run < 3000; ++run) {
      Bytes file = good;
      for (int changes = 1 + run % 4; changes > 0; --changes) {
        const size_t at = random() % (run % 2 == 0 ? std::min<size_t>(file.size(), 600) : file.size());
        file[at] = static_cast<uint8_t>(random());
      }
      PVM_Archive archive;
      std::string error;
      if (!PVM_ReadArchive(file, &archive, &error)) {
        EXPECT_FALSE(error.empty());
        continue;
      }
      ++read;
      for (const PVM_Entry &entry : archive.entries) {
        PVR_Decoded decoded;
        if (!PVR_Decode(entry.pvr, entry.pvp, &decoded, &error)) {
          EXPECT_FALSE(error.empty());
        }
      }
    }
    EXPECT_GT(read, 100);
  }
}

}  // namespace
