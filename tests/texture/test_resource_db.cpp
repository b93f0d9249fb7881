// The resource database: hand-written .nre texts through every status code,
// the value types and flag words, release of every record, and the
// application of a "TextureTex" record to the conversion settings.
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <string>

#include "scene/memory.h"
#include "texture/resource_db.h"
#include "texture_test_util.h"

namespace {

using namespace textest;

using Tex = std::array<int32_t, 9>;  // the TextureTex fields in order

Tex AsArray(const void *data) {
  Tex fields;
  std::memcpy(fields.data(), data, sizeof fields);
  return fields;
}

const std::string kFull =
    "Chunk TextureTex x 1 y 7\n! x wood\nFromat ARGB4444\nCategory VQ\nMipmap off\nDither on\n"
    "AlphaDither no\nGlobalIndex auto\npaletteBank 5\nVQMode VQ3\npvrLockOn off\n";
// A TextureTex record giving every field, in declaration order.
std::string Record(const char *fromat, const char *category, const char *mipmap, const char *dither,
                   const char *alphaDither, const char *globalIndex, const char *bank, const char *vqMode,
                   const char *lock) {
  return std::string("Chunk TextureTex a 1\n! r\nFromat ") + fromat + "\nCategory " + category + "\nMipmap " +
         mipmap + "\nDither " + dither + "\nAlphaDither " + alphaDither + "\nGlobalIndex " + globalIndex +
         "\npaletteBank " + bank + "\nVQMode " + vqMode + "\npvrLockOn " + lock + "\n";
}

const std::string kVQ2 = "Chunk TextureVQ2 x 1 y 0\n! x\nUseYIO off\nYIQ 0.5 0.25 2\nIterations 3\nnbCode 16\n";

TEST(ResourceDb, StatusCodesOfHandWrittenFiles) {
  ScratchDir dir;
  struct Case {
    const char *what;
    std::string text;
    int status;
    int chunks;
    bool found;  // a TextureTex record is found
    Tex fields;
  } cases[] = {
      {"every field", kFull, 1, 1, true, {2, 4, 0, 1, 1, -1, 5, 3, 0}},
      {"empty file", "", 102, 0, false, {}},
      {"text but no chunk", "hello\n! x\nFromat RGB565\n", 102, 0, false, {}},
      {"VQ2 chunk first", kVQ2 + "AllowedError 0.1\n" + kFull, 1, 2, true, {2, 4, 0, 1, 1, -1, 5, 3, 0}},
      {"only two fields at the end", "Chunk TextureTex a 1\n!  r\nFromat RGB565\nCategory stride\n", 1, 1, true,
       {1, 3, 1, 0, 0, -1, -1, -1, 0}},
      {"word outside the list", "Chunk TextureTex a 1\n! r\nFromat ARGB1555\nCategory 3\nMipmap off\n", 103, 1,
       true, {0, -1, 1, 0, 0, -1, -1, -1, 0}},
      {"record header of one word", "Chunk TextureTex a 1\n!\nFromat RGB565\n", 104, 1, false, {}},
      {"missing field runs into the next record",
       "Chunk TextureTex a 2\n! r\nFromat RGB565\nCategory VQ\nMipmap on\nDither on\nAlphaDither off\n"
       "GlobalIndex 3\npaletteBank -1\nVQMode VQ4\n! s\nFromat ARGB4444\n",
       105, 1, true, {1, 4, 1, 1, 0, 3, -1, 4, 0}},
      {"missing field runs into the next chunk's record", kVQ2 + "Chunk TextureTex a 1\n! s\n", 105, 1, false, {}},
      {"undeclared second chunk", kFull + "Chunk TextureXX a 1\n! r\n", 106, 1, true,
       {2, 4, 0, 1, 1, -1, 5, 3, 0}},
      {"fewer records than the count", "Chunk TextureTex a 2\n! r\nFromat RGB565\n", 108, 1, true,
       {1, -1, 1, 0, 0, -1, -1, -1, 0}},
      {"fields out of order", "Chunk TextureTex a 1\n! r\nCategory VQ\nFromat ARGB1555\n", 1, 1, true,
       {0, -1, 1, 0, 0, -1, -1, -1, 0}},
      {"comments", "Chunk TextureTex a 1\n! r\nFromat auto # ARGB1555\nCategory auto\nMipmap off\n# Dither on\n"
                   "  # AlphaDither on\nAlphaDither off\nGlobalIndex 12\n",
       1, 1, true, {-1, -1, 0, 1, 0, 12, -1, -1, 0}},
      {"rest of a long line passed over",
       "Chunk TextureTex a 1\n! r\n" + std::string(1023, ' ') + "Fromat BUMP\nCategory VQ\r\n", 1, 1, true,
       {-1, -1, 1, 0, 0, -1, -1, -1, 0}},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.what);
    WriteFile(dir.file("wood.nre"), c.text);
    long before = ScMallocGetStats().blocks;
    VKResDB *db = VKResOpen(dir.file("wood.bmp").c_str());
    ASSERT_NE(db, nullptr);
    EXPECT_EQ(VKResLoad(db), c.status);
    EXPECT_EQ(db->chunkCount, c.chunks);
    int status = 0;
    void *data = VKResFind(db, "TextureTex", &status);
    EXPECT_EQ(status, c.found ? 1 : 102);
    EXPECT_EQ(data != nullptr, c.found);
    if (data != nullptr) {
      EXPECT_EQ(AsArray(data), c.fields);
    }
    VKResClose(db);
    EXPECT_EQ(ScMallocGetStats().blocks, before);
  }
}

TEST(ResourceDb, NamesTextureVQ2AndOpening) {
  ScratchDir dir;
  WriteFile(dir.file("wood.nre"), kVQ2 + "AllowedError 0.1\n" + kFull);
  EXPECT_EQ(VKResOpen(dir.file("wood").c_str()) != nullptr, true);  // suffix appended
  VKResDB *db = VKResOpen(dir.file("wood.bmp").c_str());
  ASSERT_NE(db, nullptr);
  EXPECT_EQ(std::string(db->path), dir.file("wood.nre"));
  ASSERT_EQ(VKResLoad(db), 1);
  int status;
  auto *vq = static_cast<const ResTextureVQ2 *>(VKResFind(db, "TextureVQ2", &status));
  ResTextureVQ2 expected = {0, {0.5f, 0.25f, 2.0f}, 3.0f, 16, 0.1f};
  EXPECT_EQ(std::memcmp(vq, &expected, sizeof expected), 0);
  EXPECT_EQ(VKResFind(db, "texturetex", &status), nullptr);  // case matters
  EXPECT_STREQ(db->last->first->name, "wood");
  EXPECT_EQ(db->last->number, 7);
  VKResClose(db);
  EXPECT_EQ(VKResOpen(dir.file("none.bmp").c_str()), nullptr);
  EXPECT_EQ(VKResOpen((std::string(300, 'a') + ".bmp").c_str()), nullptr);
}

TEST(ResourceDb, ValueTypesAndSharedFlagWords) {
  static constexpr ResField kFields[] = {
      {ResTypeWord(kResFlag32Bool, 0, 1), "A", nullptr, 0}, {ResTypeWord(kResFlag32Dec, 4, 1), "B", nullptr, 0},
      {ResTypeWord(kResFlag32Hex, 8, 1), "C", nullptr, 0},  {ResTypeWord(kResShort), "S", nullptr, 0},
      {ResTypeWord(kResString), "N", nullptr, 0},           {ResTypeWord(kResRgb), "Col", nullptr, 0},
      {ResTypeWord(kResFlag16Bool, 3, 2), "D", nullptr, 0}, {ResTypeWord(kResAngle3), "Ang", nullptr, 0},
  };
  static constexpr ResType kTypes[] = {{"Mixed", kFields, 8, 4 + 2 + 256 + 3 + 2 + 6, [](void *) {}}};
  ScratchDir dir;
  WriteFile(dir.file("m.nre"),
                    "Chunk Mixed a 1\n! r\nA on\nB 3\nC ff\nS -2\nN hello\nCol 1 2 300\nD on\nAng 1 -1 7\n");
  VKResDB *db = VKResOpenTyped(dir.file("m").c_str(), kTypes, 1);
  ASSERT_EQ(VKResLoad(db), 1);
  int status;
  auto *data = static_cast<const uint8_t *>(VKResFind(db, "Mixed", &status));
  uint32_t flags;
  int16_t shortValue;
  std::memcpy(&flags, data, 4);
  std::memcpy(&shortValue, data + 4, 2);
  EXPECT_EQ(flags, 0xFF31u);  // 1 | 3 << 4 | 0xFF << 8
  EXPECT_EQ(shortValue, -2);
  EXPECT_STREQ(reinterpret_cast<const char *>(data + 6), "hello");
  EXPECT_EQ(std::string(reinterpret_cast<const char *>(data + 262), 3), Chars({1, 2, 44}));
  EXPECT_EQ(std::string(reinterpret_cast<const char *>(data + 265), 8), Le16(8) + Le16(1) + Le16(0xFFFF) + Le16(7));
  VKResClose(db);
}

TEST(ApplyResource, RulesInOrder) {
  ScratchDir dir;
  InFolder here(dir.path());
  struct Case {
    const char *what;
    std::string text;  // empty: no database
    int result;
    std::string console;
    // globalIndex, autoForm, pixelFormat, textureFormat, autoMipmap, vqMipmap, dither, alphaDither,
    // vqAlgorithm, paletteBank, paletteFirst, paletteCount
    std::array<int32_t, 12> after;
  } cases[] = {
      {"no database", "", 0, "", {-1, 1, 1, 3, 1, 1, 0, 0, 4, 9, 3, 4}},
      {"every rule", Record("ARGB4444", "rectangle", "off", "on", "on", "7", "-1", "VQ3", "off"), 1,
       "[FIND RESOURCE] ", {7, 0, 2, 2, 0, 0, 1, 1, 3, 9, 3, 4}},
      {"small VQ keeps algorithm 4", Record("auto", "SMALLVQ", "on", "off", "off", "-1", "-1", "VQ3", "off"), 1,
       "[FIND RESOURCE] ", {-1, 1, 1, 5, 1, 1, 0, 0, 4, 9, 3, 4}},
      {"palette bank", Record("auto", "auto", "on", "off", "off", "auto", "5", "VQ4", "off"), 1,
       "[FIND RESOURCE] ", {-1, 1, 1, 20, 1, 1, 0, 0, 4, 5, 0, 0}},
      {"bank out of range", Record("auto", "auto", "on", "off", "off", "auto", "64", "VQ4", "off"), 1,
       "[FIND RESOURCE] ", {-1, 1, 1, 3, 1, 1, 0, 0, 4, 9, 3, 4}},
      {"stopped load still applies", "Chunk TextureTex a 1\n! r\nFromat ARGB1555\nCategory 3\n", 1,
       "[FIND RESOURCE] ", {-1, 0, 0, 3, 1, 1, 0, 0, 4, 9, 3, 4}},
      {"no TextureTex chunk", "Chunk TextureVQ2 a 1\n! r\n", 0, "", {-1, 1, 1, 3, 1, 1, 0, 0, 4, 9, 3, 4}},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.what);
    std::remove("wood.nre");
    if (!c.text.empty()) WriteFile("wood.nre", c.text);
    PVR_Settings s;
    s.textureFormat = kTexFormatStride;
    s.paletteBank = 9;
    s.paletteFirst = 3;
    s.paletteCount = 4;
    Stderr console;
    EXPECT_EQ(PVR_ApplyResource(&s, "art\\maps\\wood.bmp"), c.result);  // found beside "./wood.bmp"
    EXPECT_EQ(console.Text(), c.console);
    std::array<int32_t, 12> after = {s.globalIndex, s.autoForm,   s.pixelFormat,  s.textureFormat,
                                     s.autoMipmap,  s.vqMipmap,   s.dither,       s.alphaDither,
                                     s.vqAlgorithm, s.paletteBank, s.paletteFirst, s.paletteCount};
    EXPECT_EQ(after, c.after);
  }
}

}  // namespace
