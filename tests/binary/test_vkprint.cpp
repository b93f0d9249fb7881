// The dual print, the item codes and the chunk container against bytes worked
// out by hand; pointer resolution against a literal scan; the -bindebug dump;
// and the finished file replacing the old one only at close.
#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "binary/vkprint.h"
#include "frontend/console.h"
#include "support/test_support.h"

namespace {

using ::testing::internal::CaptureStderr;
using ::testing::internal::GetCapturedStderr;

// Runs `body` with the writer opened on a scratch file in binary mode (or the
// dump mode) and returns the bytes of the file.
std::string WriteBinary(const std::function<void()> &body, bool debug = false) {
  vktest::ScratchDir dir;
  VKWriteOpenFile(dir.file("out.vk").c_str());
  debug ? VKWriteSetBinDebug() : VKWriteSetBin();
  body();
  VKWriteClose();
  return vktest::ReadFile(dir.file("out.vk"));
}

std::string Bytes(std::initializer_list<int> values) {
  std::string bytes;
  for (int v : values) bytes.push_back(static_cast<char>(v));
  return bytes;
}

std::string Chunk(const char *name, const std::string &payload) {
  const auto size = static_cast<int>(payload.size());
  return std::string(name, 4) + Bytes({size & 0xFF, size >> 8 & 0xFF, size >> 16 & 0xFF, 0}) + payload;
}

struct WriteCase {
  const char *what;
  std::function<void()> body;
  std::string expected;
  std::string err = "";  // error and warning streams
};

void Check(const WriteCase &c) {
  SCOPED_TRACE(c.what);
  CaptureStderr();
  EXPECT_EQ(WriteBinary(c.body), c.expected);
  EXPECT_EQ(GetCapturedStderr(), c.err);
}

TEST(VKPrint, ItemCodesWriteTheirBytesWithAlignment) {
  const WriteCase cases[] = {
      {"!g$f writes exactly the float", [] { VKPrint("!g$f", "%s%f\n", "Radius ", 1.0); }, Bytes({0, 0, 0x80, 0x3F})},
      {"2-byte item after a 1-byte item: one zero pad byte", [] { VKPrintBin("C$S", 0xAB, 0x1234); },
       Bytes({0xAB, 0x00, 0x34, 0x12})},
      {"4-byte item at an odd multiple of 2: two pad bytes", [] { VKPrintBin("s$i", -2, -1); },
       Bytes({0xFE, 0xFF, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF})},
      {"float after a byte aligns to 4", [] { VKPrintBin("c$f", -1, -2.0); }, Bytes({0xFF, 0, 0, 0, 0, 0, 0, 0xC0})},
      {"!g$8 writes one ARGB8888 word", [] { VKPrint("!g$8", "%s%d%d%d%d", "D", 0x80, 0x10, 0x20, 0x30); },
       Bytes({0x30, 0x20, 0x10, 0x80})},
      {"packed words do not align", [] { VKPrintBin("C$X", 1, 0x201, 0x1FF, 0x001); },
       Bytes({0x01, 0x01, 0xFC, 0x17, 0x20})},
      {"D565S565 masks each field", [] { VKPrintBin("5", 31, 63, 31, 1 + 32, 2, 3); }, Bytes({0x43, 0x08, 0xFF, 0xFF})},
      {"D4444S565", [] { VKPrintBin("a", 15, 1, 2, 3, 31, 0, 1); }, Bytes({0x01, 0xF8, 0x23, 0xF1})},
      {"I, S, C keep the low bits", [] { VKPrintBin("I$S$C", 0xDEADBEEF, 0x12345, 0x1FF); },
       Bytes({0xEF, 0xBE, 0xAD, 0xDE, 0x45, 0x23, 0xFF})},
      {"! skips the next value item only", [] { VKPrintBin("!i$i", 1, 2); }, Bytes({2, 0, 0, 0})},
      {"the walk stops when arguments and markers reach the code length", [] { VKPrintBin("$8$i", 1, 2, 3, 4, 5); },
       Bytes({4, 3, 2, 1})},
  };
  for (const WriteCase &c : cases) Check(c);
}

// Each body runs inside a VKCM chunk.
TEST(VKPrint, ChunksLabelsPointersAndPOF0) {
  const std::string none;
  const WriteCase cases[] = {
      {"empty chunk: 8 bytes and an empty POF0", [] {}, Chunk("VKCM", none) + Chunk("POF0", none)},
      {"first pointer 8 bytes after the start: 0x42", [] { VKPrintBin("ii", 1, 2); VKPrintBin("P0", "NULL"); },
       Chunk("VKCM", Bytes({1, 0, 0, 0, 2, 0, 0, 0, 0, 0, 0, 0})) + Chunk("POF0", Bytes({0x42, 0, 0, 0}))},
      {"pointer at 0 to a label at 8; the string lands at 12 unaligned and counts in the size",
       [] {
         VKPrintBin("T0", "top");
         VKPrintBin("P0$g", "data", "ab");
         VKPrintBin("T0$I", "data", 7);
       },
       Chunk("VKCM", Bytes({8, 0, 0, 0, 12, 0, 0, 0, 7, 0, 0, 0, 'a', 'b', 0, 0})) +
           Chunk("POF0", Bytes({0x40, 0x41, 0, 0}))},
      {"strings follow the payload in queue order", [] { VKPrintBin("g$I$i$g$I$i", "tex", 1, 2, "b", 3, 4); },
       Chunk("VKCM", Bytes({24, 0, 0, 0, 1, 0, 0, 0, 2, 0, 0, 0, 28, 0, 0, 0, 3, 0, 0, 0, 4, 0, 0, 0, 't', 'e', 'x',
                            0, 'b', 0, 0, 0})) +
           Chunk("POF0", Bytes({0x40, 0x43, 0, 0}))},
      {"no labels: pointers stay 0 but are listed", [] { VKPrintBin("P0$P1", "nowhere", "NULL"); },
       Chunk("VKCM", std::string(8, '\0')) + Chunk("POF0", Bytes({0x40, 0x41, 0, 0}))},
      {"the last label of a name wins; an unmatched pointer stops the resolution",
       [] {
         VKPrintBin("T0$I", "x", 1);
         VKPrintBin("T0", "x");
         VKPrintBin("P0$P1$P2", "x", "lost", "x");  // 4, then the error, then 0
       },
       Chunk("VKCM", Bytes({1, 0, 0, 0, 4, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0})) +
           Chunk("POF0", Bytes({0x41, 0x41, 0x41, 0})),
       "\n##### Error : Can't chain lost\n"},
      {"T123 names a label from arguments 1-3 and writes nothing; P0P1 takes arguments 0 and 1",
       [] {
         VKPrintBin("I", 9);
         VKPrint("T123", "%s%s%s%s[]\n", "PLIST      ", "strip", "_", "m_obj");
         VKPrintBin("I", 10);
         VKPrintBin("P0P1$I$I", "strip_m_obj", "NULL", 5, 6);
       },
       Chunk("VKCM", Bytes({9, 0, 0, 0, 10, 0, 0, 0, 4, 0, 0, 0, 0, 0, 0, 0, 5, 0, 0, 0, 6, 0, 0, 0})) +
           Chunk("POF0", Bytes({0x42, 0x41, 0, 0}))},
      {"a second chunk has its own base and no labels of the first",
       [] {
         VKPrintBin("T0", "a");
         VKWriteBinChunkEnd();
         VKWriteBinChunkStart(kVKChunkVKTL);
         VKPrintBin("I", 3);
         VKPrintBin("P0", "a");
       },
       Chunk("VKCM", none) + Chunk("POF0", none) + Chunk("VKTL", Bytes({3, 0, 0, 0, 0, 0, 0, 0})) +
           Chunk("POF0", Bytes({0x41, 0, 0, 0}))},
      {"opening an open chunk warns and goes on", [] { VKPrintBin("I", 1); VKWriteBinChunkStart(kVKChunkVKBM); },
       Chunk("VKCM", Bytes({1, 0, 0, 0})) + Chunk("POF0", none), "\n##### Warning : already open chunk VKBM\n"},
  };
  for (const WriteCase &c : cases) {
    const auto inChunk = [&] {
      VKWriteBinChunkStart(kVKChunkVKCM);
      c.body();
      VKWriteBinChunkEnd();
    };
    Check({c.what, inChunk, c.expected, c.err});
  }

  // Distances of 0, 64 and 16384 words take one, two and four bytes.
  const std::string bytes = WriteBinary([] {
    VKWriteBinChunkStart(kVKChunkVKCM);
    VKPrintBin("P0", "NULL");
    for (int i = 0; i < 63; i++) VKPrintBin("i", 0);
    VKPrintBin("P0", "NULL");
    for (int i = 0; i < 16383; i++) VKPrintBin("i", 0);
    VKPrintBin("g", "");  // 65536 bytes after the previous pointer
    VKWriteBinChunkEnd();
  });
  const size_t payload = 4 * (1 + 63 + 1 + 16383 + 1) + 4;  // the empty text and 3 pad bytes
  ASSERT_EQ(bytes.size(), 8 + payload + 16);
  EXPECT_EQ(bytes.substr(8 + payload), Chunk("POF0", Bytes({0x40, 0x80, 0x40, 0xC0, 0x00, 0x40, 0x00, 0x00})));
}

struct Named {
  std::string name;
  long position;  // from the base
};

// Pointer resolution through the label index against the literal scan: every
// pointer against every label, the last of a name winning, the first unmatched
// pointer ending the resolution; on many random chunks.
TEST(VKPrint, PointerResolutionMatchesTheLiteralScan) {
  std::mt19937 random(12345);
  for (int round = 0; round < 300; round++) {
    SCOPED_TRACE(round);
    // Few names, so that labels share names and pointers often find none.
    const unsigned names = 1 + random() % 6;
    std::vector<Named> labels, pointers, items;
    std::vector<int> kinds;
    std::string payload;
    for (int i = 0, count = static_cast<int>(random() % 60); i < count; i++) {
      const int kind = static_cast<int>(random() % 3);  // 0 label, 1 pointer, 2 value
      Named item{"n" + std::to_string(random() % names), static_cast<long>(payload.size())};
      if (kind == 1 && random() % 8 == 0) item.name = "NULL";
      kinds.push_back(kind);
      items.push_back(item);
      if (kind == 0) labels.push_back(item);
      if (kind == 1 && item.name != "NULL") pointers.push_back(item);
      if (kind > 0) payload += kind == 2 ? Bytes({i, 0, 0, 0}) : std::string(4, '\0');
    }
    std::string expectedError;
    for (size_t p = 0; p < pointers.size() && !labels.empty() && expectedError.empty(); p++) {
      bool matched = false;
      for (const Named &label : labels) {
        if (label.name != pointers[p].name) continue;
        matched = true;
        for (int i = 0; i < 4; i++) payload[pointers[p].position + i] = static_cast<char>(label.position >> 8 * i);
      }
      if (!matched) expectedError = "\n##### Error : Can't chain " + pointers[p].name + "\n";
    }
    CaptureStderr();
    const std::string bytes = WriteBinary([&] {
      VKWriteBinChunkStart(kVKChunkVKCM);
      for (size_t i = 0; i < kinds.size(); i++) {
        if (kinds[i] == 0) VKPrintBin("T0", items[i].name.c_str());
        if (kinds[i] == 1) VKPrintBin("P0", items[i].name.c_str());
        if (kinds[i] == 2) VKPrintBin("i", static_cast<int>(i));
      }
      VKWriteBinChunkEnd();
    });
    EXPECT_EQ(GetCapturedStderr(), expectedError);
    ASSERT_GE(bytes.size(), 8 + payload.size());
    EXPECT_EQ(bytes.substr(8, payload.size()), payload);
  }
}

std::vector<std::string> Lines(const std::string &text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

// The console dump of -bindebug, compared line by line with hand-worked text.
TEST(VKPrint, BinDebugDumpOfASmallChunk) {
  FILE *info = InfoStream();
  CaptureStderr();
  const std::string bytes = WriteBinary(
      [] {
        EXPECT_EQ(InfoStream(), nullptr);  // the dump mode silences the info stream and the texture tags
        EXPECT_TRUE(VKTextureTagsSilenced());
        VKWriteBinChunkStart(kVKChunkVKCM);
        VKPrintBin("C", 0x41);
        VKPrintBin("T0", "lab");
        VKPrintBin("P0", "lab");
        VKPrintBin("g", "hi");
        VKPrint("!g$f", "%s%f\n", "x", 1.5);
        VKPrintBin("s", -2);
        VKWriteBinChunkEnd();
      },
      true);
  const std::vector<std::string> got = Lines(GetCapturedStderr());
  SetInfoStream(info);
  const std::vector<std::string> want = Lines(
      "[ChunkName MCKV]\n<<<< START >>>>\n\n{BaseBC 8}\n([8]Uint8 41)\nAlignment4(bc 9 -> 12)\n([12]Top lab)\n"
      "([12]Ptr lab)\n([16]Str hi)\n([20]Float 1.500000)\n([24]Sint16 -2)\n\n"
      "<< Dump WriteQueue topqueue >>\ni 0 str lab address 12 0xc\n\n"
      "<< Dump WriteQueue ptrqueue >>\ni 0 str lab address 12 0xc\n\n"
      "<< Dump WriteQueue strqueue >>\ni 0 str hi address 16 0x10\n\n"
      "<< Dump PointerCash  {BaseBc 8}>>\n"
      "page 0 entry 0 address 12 0xc cnkaddr 4 0x4\n"
      "page 0 entry 1 address 16 0x10 cnkaddr 8 0x8\n"
      "Alignment4(bc 29 -> 32)\n\n<<<< END >>>>\n"
      "[ChunkName 0FOP]prev 8 current 12 p-c 1 ctmp 41\n"
      "prev 12 current 16 p-c 1 ctmp 41\n"
      "padsize 2\n\n"
      "0000000 4b56 4d43 0018 0000 0041 0000 0004 0000 \tVKCM....A.......\n"
      "0000020 0012 0000 0000 3fc0 fffe 6968 0000 0000 \t.......?..hi....\n"
      "0000040 4f50 3046 0004 0000 4141 0000 \tPOF0....AA..\n"
      "[BC 44]\n");
  for (size_t i = 0; i < got.size() && i < want.size(); i++) EXPECT_EQ(got[i], want[i]) << "line " << i + 1;
  EXPECT_EQ(got.size(), want.size());
  EXPECT_EQ(bytes.size(), 44u);
}

TEST(VKPrint, FinishedFileReplacesTheOldOneOnlyAtClose) {
  vktest::ScratchDir dir;
  const std::string name = dir.file("model.vk"), text = dir.file("model.vka");
  ASSERT_TRUE(vktest::WriteFile(name, "good old file"));
  VKWriteOpenFile(name.c_str());
  VKWriteSetBin();
  VKPrintBin("I", 0x11223344);
  EXPECT_EQ(vktest::ReadFile(name), "good old file");
  EXPECT_TRUE(VKWriteClose());
  EXPECT_EQ(vktest::ReadFile(name), Bytes({0x44, 0x33, 0x22, 0x11}));

  // ASCII mode writes the formats only; chunks and binary items write nothing.
  ASSERT_NE(VKWriteOpenFile(text.c_str()), nullptr);
  EXPECT_EQ(VKWriteGetMode(), kVKModeAscii);
  VKWriteBinChunkStart(kVKChunkVKCM);
  VKPrint("!g$f", "%s%9.6fF,\n", "Radius      ", 1.5);
  VKPrintBin("I", 5);
  VKPrintAscii("%s\n", "END");
  VKWriteBinChunkEnd();
  EXPECT_FALSE(vktest::Exists(text));  // still under the temporary name
  EXPECT_TRUE(VKWriteClose());
  EXPECT_EQ(vktest::ReadFile(text), "Radius       1.500000F,\nEND\n");
  EXPECT_FALSE(vktest::Exists(text + ".tmp~"));

  // Binary bound to the error stream is refused.
  CaptureStderr();
  VKWriteOpen(nullptr);
  VKWriteSetBin();
  VKPrintBin("I", 1);
  EXPECT_FALSE(VKWriteClose());
  EXPECT_EQ(GetCapturedStderr(), "\n##### Error : Bad fp! Can't flash binary\n");
}

TEST(VKPrint, RewriteBytesCrossesPieces) {
  const std::string bytes = WriteBinary([] {
    for (int i = 0; i < 2048; i++) VKPrintBin("i", 0);
    const unsigned char four[4] = {1, 2, 3, 4};
    RewriteBytes(4094, four, 4);
    RewriteBytes(-1, four, 4);  // does nothing
    RewriteBytes(8188, four, 4);
  });
  EXPECT_EQ(bytes, std::string(4094, '\0') + Bytes({1, 2, 3, 4}) + std::string(4090, '\0') + Bytes({1, 2, 3, 4}));
}

// A bad rewrite ends the process in the middle of a write: the old file stays.
TEST(VKPrintDeathTest, BadRewriteEndsTheProcessAndLeavesTheOldFile) {
  vktest::ScratchDir dir;
  const std::string name = dir.file("model.vk");
  ASSERT_TRUE(vktest::WriteFile(name, "good old file"));
  const auto rewrite = [&](long position, int count) {
    VKWriteOpenFile(name.c_str());
    VKWriteSetBin();
    VKPrintBin("I", 1);
    const unsigned char zeros[4] = {};
    RewriteBytes(position, zeros, count);
  };
  EXPECT_EXIT(rewrite(8, 4), ::testing::ExitedWithCode(0), "Error: Bad bc RewriteBytes");
  EXPECT_EXIT(rewrite(3, 2), ::testing::ExitedWithCode(0), "Error: Can't rewrite run over current bc");
  EXPECT_EQ(vktest::ReadFile(name), "good old file");
  EXPECT_FALSE(vktest::Exists(name + ".tmp~"));  // the fatal stop removed the unfinished output
}

}  // namespace
