// Byte-exact tests of the dual print, the item codes and the chunk container;
// expected bytes are worked out by hand.
#include <gtest/gtest.h>

#include <string>

#include "binary/binary_test_util.h"

using vktest::Bytes;
using vktest::Capture;
using vktest::Hex;
using vktest::WriteBinary;

namespace {

// The writer is process-wide; every test leaves it closed.
class VKPrintTest : public ::testing::Test {
 protected:
  void TearDown() override { VKWriteClose(); }
};

struct ItemCase {
  const char *what;
  std::function<void()> body;
  std::string expected;
};

TEST_F(VKPrintTest, ItemCodesWriteTheirBytesWithAlignment) {
  const ItemCase cases[] = {
      {"!g$f writes exactly the float", [] { VKPrint("!g$f", "%s%f\n", "Radius ", 1.0); },
       Bytes({0x00, 0x00, 0x80, 0x3F})},
      {"2-byte item after a 1-byte item: one zero pad byte",
       [] {
         VKPrintBin("C", 0xAB);
         VKPrintBin("S", 0x1234);
       },
       Bytes({0xAB, 0x00, 0x34, 0x12})},
      {"4-byte item at an odd multiple of 2: two pad bytes",
       [] {
         VKPrintBin("s", -2);
         VKPrintBin("i", -1);
       },
       Bytes({0xFE, 0xFF, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF})},
      {"float after a byte aligns to 4",
       [] {
         VKPrintBin("c", -1);
         VKPrintBin("f", -2.0);
       },
       Bytes({0xFF, 0, 0, 0, 0x00, 0x00, 0x00, 0xC0})},
      {"!g$8 writes one ARGB8888 word", [] { VKPrint("!g$8", "%s%d%d%d%d", "D", 0x80, 0x10, 0x20, 0x30); },
       Bytes({0x30, 0x20, 0x10, 0x80})},
      {"packed words do not align",
       [] {
         VKPrintBin("C", 1);
         VKPrintBin("X", 0x201, 0x1FF, 0x001);
       },
       Bytes({0x01, 0x01, 0xFC, 0x17, 0x20})},
      {"D565S565 masks each field", [] { VKPrintBin("5", 31, 63, 31, 1 + 32, 2, 3); },
       Bytes({0x43, 0x08, 0xFF, 0xFF})},
      {"D4444S565", [] { VKPrintBin("a", 15, 1, 2, 3, 31, 0, 1); }, Bytes({0x01, 0xF8, 0x23, 0xF1})},
      {"I, S, C keep the low bits",
       [] {
         VKPrintBin("I", 0xDEADBEEF);
         VKPrintBin("S", 0x12345);
         VKPrintBin("C", 0x1FF);
       },
       Bytes({0xEF, 0xBE, 0xAD, 0xDE, 0x45, 0x23, 0xFF})},
      {"! skips the next value item only", [] { VKPrintBin("!i$i", 1, 2); }, Bytes({2, 0, 0, 0})},
      {"the walk stops when arguments and markers reach the code length",
       [] { VKPrintBin("$8$i", 1, 2, 3, 4, 5); }, Bytes({4, 3, 2, 1})},
      {"several values in one call", [] { VKPrintBin("$s$s", 0x0102, 0x0304); }, Bytes({2, 1, 4, 3})},
  };
  for (const ItemCase &c : cases) {
    EXPECT_EQ(Hex(WriteBinary(c.body)), Hex(c.expected)) << c.what;
  }
}

std::string Chunk(const char *name, const std::string &payload) {
  auto size = static_cast<uint32_t>(payload.size());
  return std::string(name, 4) + Bytes({int(size & 0xFF), int(size >> 8 & 0xFF), int(size >> 16 & 0xFF), 0}) + payload;
}

TEST_F(VKPrintTest, EmptyChunkIsEightBytesAndAnEmptyPOF0) {
  std::string bytes = WriteBinary([] {
    VKWriteBinChunkStart(kVKChunkVKCM);
    VKWriteBinChunkEnd();
  });
  EXPECT_EQ(Hex(bytes), Hex(Chunk("VKCM", "") + Chunk("POF0", "")));
}

TEST_F(VKPrintTest, FirstPointerEightBytesAfterThePayloadStartIs0x42) {
  std::string bytes = WriteBinary([] {
    VKWriteBinChunkStart(kVKChunkVKCM);
    VKPrintBin("ii", 1, 2);
    VKPrintBin("P0", "NULL");
    VKWriteBinChunkEnd();
  });
  std::string payload = Bytes({1, 0, 0, 0, 2, 0, 0, 0, 0, 0, 0, 0});
  EXPECT_EQ(Hex(bytes), Hex(Chunk("VKCM", payload) + Chunk("POF0", Bytes({0x42, 0, 0, 0}))));
}

TEST_F(VKPrintTest, POF0EncodesDistancesInOneTwoOrFourBytes) {
  std::string bytes = WriteBinary([] {
    VKWriteBinChunkStart(kVKChunkVKCM);
    VKPrintBin("P0", "NULL");  // base + 0: 0 words
    for (int i = 0; i < 63; i++) VKPrintBin("i", 0);
    VKPrintBin("P0", "NULL");  // 64 words after the previous
    for (int i = 0; i < 16383; i++) VKPrintBin("i", 0);
    VKPrintBin("g", "");  // 65536 bytes after the previous: 16384 words
    VKWriteBinChunkEnd();
  });
  // Payload: 1 + 63 + 1 + 16383 + 1 words, then the empty text and 3 pad bytes.
  const size_t payload = 4 * (1 + 63 + 1 + 16383 + 1) + 4;
  ASSERT_EQ(bytes.size(), 8 + payload + 8 + 8);
  std::string pof0 = bytes.substr(8 + payload);
  EXPECT_EQ(Hex(pof0), Hex(Chunk("POF0", Bytes({0x40, 0x80, 0x40, 0xC0, 0x00, 0x40, 0x00, 0x00}))));
}

TEST_F(VKPrintTest, LabelsPointersAndStringsResolveAgainstTheBase) {
  Capture errors(ErrorStream, SetErrorStream);
  std::string bytes = WriteBinary([] {
    VKWriteBinChunkStart(kVKChunkVKTL);
    VKPrintBin("T0", "top");
    VKPrintBin("P0", "data");
    VKPrintBin("g", "ab");
    VKPrintBin("T0", "data");
    VKPrintBin("I", 7);
    VKWriteBinChunkEnd();
  });
  // Pointer at 0 -> label at 8; string "ab" placed at 12, unaligned; three pad
  // bytes make the payload 16, all counted in the size.
  std::string payload = Bytes({8, 0, 0, 0, 12, 0, 0, 0, 7, 0, 0, 0, 'a', 'b', 0, 0});
  EXPECT_EQ(Hex(bytes), Hex(Chunk("VKTL", payload) + Chunk("POF0", Bytes({0x40, 0x41, 0, 0}))));
  EXPECT_EQ(errors.Text(), "");
}

TEST_F(VKPrintTest, StringsFollowThePayloadInQueueOrder) {
  std::string bytes = WriteBinary([] {
    VKWriteBinChunkStart(kVKChunkVKTL);
    VKPrintBin("g$I$i", "tex", 1, 2);
    VKPrintBin("g$I$i", "b", 3, 4);
    VKWriteBinChunkEnd();
  });
  std::string payload = Bytes({24, 0, 0, 0, 1, 0, 0, 0, 2, 0, 0, 0, 28, 0, 0, 0, 3, 0, 0, 0, 4, 0, 0, 0,
                               't', 'e', 'x', 0, 'b', 0, 0, 0});
  EXPECT_EQ(Hex(bytes), Hex(Chunk("VKTL", payload) + Chunk("POF0", Bytes({0x40, 0x43, 0, 0}))));
}

TEST_F(VKPrintTest, ChunkWithoutLabelsLeavesPointersZeroButListsThem) {
  Capture errors(ErrorStream, SetErrorStream);
  std::string bytes = WriteBinary([] {
    VKWriteBinChunkStart(kVKChunkVKCM);
    VKPrintBin("P0", "nowhere");
    VKPrintBin("P0", "NULL");
    VKWriteBinChunkEnd();
  });
  EXPECT_EQ(Hex(bytes), Hex(Chunk("VKCM", std::string(8, '\0')) + Chunk("POF0", Bytes({0x40, 0x41, 0, 0}))));
  EXPECT_EQ(errors.Text(), "");
}

TEST_F(VKPrintTest, UnmatchedPointerStopsResolutionAndLastLabelWins) {
  Capture errors(ErrorStream, SetErrorStream);
  std::string bytes = WriteBinary([] {
    VKWriteBinChunkStart(kVKChunkVKCM);
    VKPrintBin("T0", "x");
    VKPrintBin("I", 1);
    VKPrintBin("T0", "x");
    VKPrintBin("P0", "x");     // 4 -> the last label "x" at 4
    VKPrintBin("P0", "lost");  // no label: error, resolution stops
    VKPrintBin("P0", "x");     // stays 0
    VKWriteBinChunkEnd();
  });
  std::string payload = Bytes({1, 0, 0, 0, 4, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
  EXPECT_EQ(Hex(bytes), Hex(Chunk("VKCM", payload) + Chunk("POF0", Bytes({0x41, 0x41, 0x41, 0}))));
  EXPECT_EQ(errors.Text(), "\n##### Error : Can't chain lost\n");
}

TEST_F(VKPrintTest, LabelAndPointerNamesComeFromDigitArguments) {
  std::string bytes = WriteBinary([] {
    VKWriteBinChunkStart(kVKChunkVKCM);
    VKPrintBin("I", 9);
    long before = VKGetByteCount();
    VKPrint("T123", "%s%s%s%s[]\n", "PLIST      ", "strip", "_", "m_obj");
    EXPECT_EQ(VKGetByteCount(), before);  // a label writes nothing
    VKPrintBin("I", 10);
    VKPrintBin("P0P1$I$I", "strip_m_obj", "NULL", 5, 6);
    VKWriteBinChunkEnd();
  });
  std::string payload = Bytes({9, 0, 0, 0, 10, 0, 0, 0, 4, 0, 0, 0, 0, 0, 0, 0, 5, 0, 0, 0, 6, 0, 0, 0});
  EXPECT_EQ(Hex(bytes), Hex(Chunk("VKCM", payload) + Chunk("POF0", Bytes({0x42, 0x41, 0, 0}))));
}

TEST_F(VKPrintTest, SecondChunkHasItsOwnBaseAndQueues) {
  std::string bytes = WriteBinary([] {
    VKWriteBinChunkStart(kVKChunkVKTL);
    VKPrintBin("T0", "a");
    VKWriteBinChunkEnd();
    VKWriteBinChunkStart(kVKChunkVKCM);
    VKPrintBin("I", 3);
    VKPrintBin("P0", "a");  // the label of the first chunk is gone: no labels here
    VKWriteBinChunkEnd();
  });
  std::string second = Chunk("VKCM", Bytes({3, 0, 0, 0, 0, 0, 0, 0})) + Chunk("POF0", Bytes({0x41, 0, 0, 0}));
  EXPECT_EQ(Hex(bytes), Hex(Chunk("VKTL", "") + Chunk("POF0", "") + second));
}

TEST_F(VKPrintTest, OpeningAnOpenChunkWarnsAndContinues) {
  Capture warnings(WarningStream, SetWarningStream);
  std::string bytes = WriteBinary([] {
    VKWriteBinChunkStart(kVKChunkVKCM);
    VKPrintBin("I", 1);
    VKWriteBinChunkStart(kVKChunkVKBM);
    VKWriteBinChunkEnd();
  });
  EXPECT_EQ(Hex(bytes), Hex(Chunk("VKCM", Bytes({1, 0, 0, 0})) + Chunk("POF0", "")));
  EXPECT_EQ(warnings.Text(), "\n##### Warning : already open chunk VKBM\n");
}

TEST_F(VKPrintTest, AsciiModeWritesTheFormatsOnly) {
  vktest::ScratchDir dir;
  std::string name = dir.file("out.vka");
  ASSERT_NE(VKWriteOpenFile(name.c_str()), nullptr);
  EXPECT_EQ(VKWriteGetMode(), kVKModeAscii);
  VKWriteBinChunkStart(kVKChunkVKCM);
  VKPrint("!g$f", "%s%9.6fF,\n", "Radius      ", 1.5);
  VKPrintBin("I", 5);
  VKPrintAscii("%s\n", "END");
  VKWriteBinChunkEnd();
  EXPECT_FALSE(vktest::Exists(name));  // still under the temporary name
  EXPECT_TRUE(VKWriteClose());
  EXPECT_EQ(vktest::ReadFile(name), "Radius       1.500000F,\nEND\n");
  EXPECT_FALSE(vktest::Exists(name + ".tmp~"));
}

TEST_F(VKPrintTest, FinishedFileReplacesTheOldOneOnlyAtClose) {
  vktest::ScratchDir dir;
  std::string name = dir.file("model.vk");
  vktest::WriteFile(name, "good old file");
  VKWriteOpenFile(name.c_str());
  VKWriteSetBin();
  VKPrintBin("I", 0x11223344);
  EXPECT_EQ(vktest::ReadFile(name), "good old file");
  EXPECT_TRUE(VKWriteClose());
  EXPECT_EQ(vktest::ReadFile(name), Bytes({0x44, 0x33, 0x22, 0x11}));
}

TEST_F(VKPrintTest, FatalErrorDuringAWriteLeavesTheOldFile) {
  vktest::ScratchDir dir;
  std::string name = dir.file("model.vk");
  vktest::WriteFile(name, "good old file");
  EXPECT_EXIT(
      {
        VKWriteOpenFile(name.c_str());
        VKWriteSetBin();
        VKPrintBin("I", 1);
        unsigned char four[4] = {};
        RewriteBytes(8, four, 4);
      },
      ::testing::ExitedWithCode(0), "Error: Bad bc RewriteBytes");
  EXPECT_EQ(vktest::ReadFile(name), "good old file");
}

TEST_F(VKPrintTest, BinaryOnTheErrorStreamIsRefused) {
  Capture errors(ErrorStream, SetErrorStream);
  VKWriteOpen(nullptr);
  VKWriteSetBin();
  VKPrintBin("I", 1);
  EXPECT_FALSE(VKWriteClose());
  EXPECT_EQ(errors.Text(), "\n##### Error : Bad fp! Can't flash binary\n");
}

TEST_F(VKPrintTest, RewriteBytesCrossesPieces) {
  std::string bytes = WriteBinary([] {
    for (int i = 0; i < 2048; i++) VKPrintBin("i", 0);
    const unsigned char four[4] = {1, 2, 3, 4};
    RewriteBytes(4094, four, 4);
    RewriteBytes(-1, four, 4);  // does nothing
    RewriteBytes(8188, four, 4);
  });
  ASSERT_EQ(bytes.size(), 8192u);
  EXPECT_EQ(Hex(bytes.substr(4092, 8)), Hex(Bytes({0, 0, 1, 2, 3, 4, 0, 0})));
  EXPECT_EQ(Hex(bytes.substr(8188)), Hex(Bytes({1, 2, 3, 4})));
}

TEST_F(VKPrintTest, RewriteBeyondTheImageEndsTheProcess) {
  EXPECT_EXIT(
      {
        VKWriteSetBin();
        VKPrintBin("I", 1);
        const unsigned char two[2] = {};
        RewriteBytes(3, two, 2);
      },
      ::testing::ExitedWithCode(0), "Error: Can't rewrite run over current bc");
}

TEST_F(VKPrintTest, BinDebugSilencesTheInfoStream) {
  FILE *info = InfoStream();
  VKWriteSetBinDebug();
  EXPECT_EQ(VKWriteGetMode(), kVKModeBinDebug);
  EXPECT_EQ(InfoStream(), nullptr);
  EXPECT_TRUE(VKTextureTagsSilenced());
  VKWriteSetAscii();
  EXPECT_EQ(VKWriteGetMode(), kVKModeAscii);
  SetInfoStream(info);
}

}  // namespace
