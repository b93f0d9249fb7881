// The dual print, the item codes and the chunk container against bytes worked
// out by hand; pointer resolution against a literal scan; the finished file
// replacing the old one only at close; and the writer's failures (bad
// rewrites, a byte image that cannot grow, a failed rename) coming back as
// its status with the old file left in place. (The -bindebug dump is held by
// the golden transcripts.)
#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "base/console.h"
#include "binary/vkprint.h"
#include "support/test_support.h"

namespace {

using ::testing::internal::CaptureStderr;
using ::testing::internal::GetCapturedStderr;
using Body = std::function<void(VKWriter &)>;

// Runs `body` with the writer opened on a scratch file in binary mode and
// returns the bytes of the file.
std::string WriteBinary(const Body &body) {
  vktest::ScratchDir dir;
  VKWriter w;
  EXPECT_TRUE(VKWriteOpenFile(w, dir.file("out.vk").c_str()).ok());
  VKWriteSetBin(w);
  body(w);
  EXPECT_TRUE(VKWriteClose(w).ok());
  return vktest::ReadFile(dir.file("out.vk"));
}

std::string Bytes(std::initializer_list<int> values) { return std::string(values.begin(), values.end()); }
std::string Chunk(const char *name, const std::string &payload) {
  const auto size = static_cast<int>(payload.size());
  return std::string(name, 4) + Bytes({size & 0xFF, size >> 8 & 0xFF, size >> 16 & 0xFF, 0}) + payload;
}

struct WriteCase {
  const char *what;
  Body body;
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
      {"!g$f writes exactly the float", [](VKWriter &w) { VKPrint(w, "!g$f", "%s%f\n", "Radius ", 1.0); },
       Bytes({0, 0, 0x80, 0x3F})},
      {"2-byte items after a 1-byte item: one zero pad byte",
       [](VKWriter &w) { VKPrintBin(w, "C$S$c$s", 0xAB, 0x1234, -1, -2); },
       Bytes({0xAB, 0x00, 0x34, 0x12, 0xFF, 0x00, 0xFE, 0xFF})},
      {"4-byte item at an odd multiple of 2: two pad bytes", [](VKWriter &w) { VKPrintBin(w, "s$i", -2, -1); },
       Bytes({0xFE, 0xFF, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF})},
      {"float after a byte aligns to 4", [](VKWriter &w) { VKPrintBin(w, "c$f", -1, -2.0); },
       Bytes({0xFF, 0, 0, 0, 0, 0, 0, 0xC0})},
      {"!g$8 writes one ARGB8888 word", [](VKWriter &w) { VKPrint(w, "!g$8", "%s%d%d%d%d", "D", 0x80, 0x10, 0x20, 0x30); },
       Bytes({0x30, 0x20, 0x10, 0x80})},
      {"packed words do not align", [](VKWriter &w) { VKPrintBin(w, "C$X", 1, 0x201, 0x1FF, 0x001); },
       Bytes({0x01, 0x01, 0xFC, 0x17, 0x20})},
      {"D565S565 masks each field", [](VKWriter &w) { VKPrintBin(w, "5", 31, 63, 31, 1 + 32, 2, 3); },
       Bytes({0x43, 0x08, 0xFF, 0xFF})},
      {"D4444S565", [](VKWriter &w) { VKPrintBin(w, "a", 15, 1, 2, 3, 31, 0, 1); }, Bytes({0x01, 0xF8, 0x23, 0xF1})},
      {"I, S, C keep the low bits", [](VKWriter &w) { VKPrintBin(w, "I$S$C", 0xDEADBEEF, 0x12345, 0x1FF); },
       Bytes({0xEF, 0xBE, 0xAD, 0xDE, 0x45, 0x23, 0xFF})},
      {"! skips the next value item only", [](VKWriter &w) { VKPrintBin(w, "!i$i", 1, 2); }, Bytes({2, 0, 0, 0})},
      {"the walk stops when arguments and markers reach the code length",
       [](VKWriter &w) { VKPrintBin(w, "$8$i", 1, 2, 3, 4, 5); }, Bytes({4, 3, 2, 1})},
  };
  for (const WriteCase &c : cases) Check(c);
}

// Each body runs inside a VKCM chunk.
TEST(VKPrint, ChunksLabelsPointersAndPOF0) {
  const std::string none;
  const WriteCase cases[] = {
      {"empty chunk: 8 bytes and an empty POF0", [](VKWriter &) {}, Chunk("VKCM", none) + Chunk("POF0", none)},
      {"first pointer 8 bytes after the start: 0x42",
       [](VKWriter &w) { VKPrintBin(w, "ii", 1, 2), VKPrintBin(w, "P0", "NULL"); },
       Chunk("VKCM", Bytes({1, 0, 0, 0, 2, 0, 0, 0, 0, 0, 0, 0})) + Chunk("POF0", Bytes({0x42, 0, 0, 0}))},
      {"pointer at 0 to a label at 8; the string lands at 12 unaligned and counts in the size",
       [](VKWriter &w) { VKPrintBin(w, "T0", "top"), VKPrintBin(w, "P0$g", "data", "ab"), VKPrintBin(w, "T0$I", "data", 7); },
       Chunk("VKCM", Bytes({8, 0, 0, 0, 12, 0, 0, 0, 7, 0, 0, 0, 'a', 'b', 0, 0})) +
           Chunk("POF0", Bytes({0x40, 0x41, 0, 0}))},
      {"strings follow the payload in queue order", [](VKWriter &w) { VKPrintBin(w, "g$I$i$g$I$i", "tex", 1, 2, "b", 3, 4); },
       Chunk("VKCM", Bytes({24, 0, 0, 0, 1, 0, 0, 0, 2, 0, 0, 0, 28, 0, 0, 0, 3, 0, 0, 0, 4, 0, 0, 0, 't', 'e', 'x',
                            0, 'b', 0, 0, 0})) +
           Chunk("POF0", Bytes({0x40, 0x43, 0, 0}))},
      {"no labels: pointers stay 0 but are listed", [](VKWriter &w) { VKPrintBin(w, "P0$P1", "nowhere", "NULL"); },
       Chunk("VKCM", std::string(8, '\0')) + Chunk("POF0", Bytes({0x40, 0x41, 0, 0}))},
      {"the last label of a name wins; an unmatched pointer stops the resolution",
       [](VKWriter &w) {
         VKPrintBin(w, "T0$I", "x", 1), VKPrintBin(w, "T0", "x");
         VKPrintBin(w, "P0$P1$P2", "x", "lost", "x");  // 4, then the error, then 0
       },
       Chunk("VKCM", Bytes({1, 0, 0, 0, 4, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0})) +
           Chunk("POF0", Bytes({0x41, 0x41, 0x41, 0})),
       "\n##### Error : Can't chain lost\n"},
      {"T123 names a label from arguments 1-3 and writes nothing; P0P1 takes arguments 0 and 1",
       [](VKWriter &w) {
         VKPrintBin(w, "I", 9);
         VKPrint(w, "T123", "%s%s%s%s[]\n", "PLIST      ", "strip", "_", "m_obj");
         VKPrintBin(w, "I", 10), VKPrintBin(w, "P0P1$I$I", "strip_m_obj", "NULL", 5, 6);
       },
       Chunk("VKCM", Bytes({9, 0, 0, 0, 10, 0, 0, 0, 4, 0, 0, 0, 0, 0, 0, 0, 5, 0, 0, 0, 6, 0, 0, 0})) +
           Chunk("POF0", Bytes({0x42, 0x41, 0, 0}))},
      {"a second chunk has its own base and no labels of the first",
       [](VKWriter &w) {
         VKPrintBin(w, "T0", "a"), VKWriteBinChunkEnd(w), VKWriteBinChunkStart(w, kVKChunkVKTL);
         VKPrintBin(w, "I", 3), VKPrintBin(w, "P0", "a");
       },
       Chunk("VKCM", none) + Chunk("POF0", none) + Chunk("VKTL", Bytes({3, 0, 0, 0, 0, 0, 0, 0})) +
           Chunk("POF0", Bytes({0x41, 0, 0, 0}))},
      {"opening an open chunk warns and goes on",
       [](VKWriter &w) { VKPrintBin(w, "I", 1), VKWriteBinChunkStart(w, kVKChunkVKBM); },
       Chunk("VKCM", Bytes({1, 0, 0, 0})) + Chunk("POF0", none), "\n##### Warning : already open chunk VKBM\n"},
      // Distances of 0, 64 and 16384 words take one, two and four bytes; the
      // last pointer, 65536 bytes on, points to the empty text after it.
      {"pointer steps of one, two and four bytes",
       [](VKWriter &w) {
         VKPrintBin(w, "P0", "NULL");
         for (int i = 0; i < 63; i++) VKPrintBin(w, "i", 0);
         VKPrintBin(w, "P0", "NULL");
         for (int i = 0; i < 16383; i++) VKPrintBin(w, "i", 0);
         VKPrintBin(w, "g", "");
       },
       Chunk("VKCM", std::string(65792, '\0') + Bytes({0x04, 0x01, 0x01, 0, 0, 0, 0, 0})) +
           Chunk("POF0", Bytes({0x40, 0x80, 0x40, 0xC0, 0x00, 0x40, 0x00, 0x00}))},
  };
  for (const WriteCase &c : cases) {
    const Body body = c.body;
    Check({c.what, [body](VKWriter &w) { VKWriteBinChunkStart(w, kVKChunkVKCM), body(w), VKWriteBinChunkEnd(w); },
           c.expected, c.err});
  }
}

// Pointer resolution through the label index against the literal scan: every
// pointer against every label, the last of a name winning, the first unmatched
// pointer ending the resolution; on many random chunks.
TEST(VKPrint, PointerResolutionMatchesTheLiteralScan) {
  struct Named {
    std::string name;
    long position;  // from the base
  };
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
      kinds.push_back(kind), items.push_back(item);
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
    const std::string bytes = WriteBinary([&](VKWriter &w) {
      VKWriteBinChunkStart(w, kVKChunkVKCM);
      for (size_t i = 0; i < kinds.size(); i++) {
        if (kinds[i] == 0) VKPrintBin(w, "T0", items[i].name.c_str());
        if (kinds[i] == 1) VKPrintBin(w, "P0", items[i].name.c_str());
        if (kinds[i] == 2) VKPrintBin(w, "i", static_cast<int>(i));
      }
      VKWriteBinChunkEnd(w);
    });
    EXPECT_EQ(GetCapturedStderr(), expectedError);
    ASSERT_GE(bytes.size(), 8 + payload.size());
    EXPECT_EQ(bytes.substr(8, payload.size()), payload);
  }
}

TEST(VKPrint, FinishedFileReplacesTheOldOneOnlyAtCloseAndRewritesCrossPieces) {
  vktest::ScratchDir dir;
  const std::string name = dir.file("model.vk"), text = dir.file("model.vka");
  ASSERT_TRUE(vktest::WriteFile(name, "good old file"));
  VKWriter w;
  ASSERT_TRUE(VKWriteOpenFile(w, name.c_str()).ok());
  VKWriteSetBin(w);
  VKPrintBin(w, "I", 0x11223344);
  EXPECT_EQ(vktest::ReadFile(name), "good old file");
  EXPECT_TRUE(VKWriteClose(w).ok());
  EXPECT_EQ(vktest::ReadFile(name), Bytes({0x44, 0x33, 0x22, 0x11}));

  // ASCII mode writes the formats only; chunks and binary items write nothing.
  ASSERT_TRUE(VKWriteOpenFile(w, text.c_str()).ok());
  EXPECT_EQ(VKWriteGetMode(w), kVKModeAscii);
  VKWriteBinChunkStart(w, kVKChunkVKCM);
  VKPrint(w, "!g$f", "%s%9.6fF,\n", "Radius      ", 1.5);
  VKPrintBin(w, "I", 5);
  VKPrintAscii(w, "%s\n", "END");
  VKWriteBinChunkEnd(w);
  EXPECT_FALSE(vktest::Exists(text));  // still under the temporary name
  EXPECT_TRUE(VKWriteClose(w).ok());
  EXPECT_EQ(vktest::ReadFile(text), "Radius       1.500000F,\nEND\n");
  EXPECT_FALSE(vktest::Exists(text + ".tmp~"));

  // Binary bound to the error stream is refused.
  CaptureStderr();
  VKWriteOpen(w, nullptr);
  VKWriteSetBin(w);
  VKPrintBin(w, "I", 1);
  EXPECT_EQ(VKWriteClose(w).code, VKStatusCode::kCantWrite);
  EXPECT_EQ(GetCapturedStderr(), "\n##### Error : Bad fp! Can't flash binary\n");

  // Rewrites across the 4096-byte pieces of the byte image.
  const unsigned char four[4] = {1, 2, 3, 4};
  EXPECT_EQ(WriteBinary([&](VKWriter &w) {
              for (int i = 0; i < 2048; i++) VKPrintBin(w, "i", 0);
              RewriteBytes(w, 4094, four, 4), RewriteBytes(w, -1, four, 4), RewriteBytes(w, 8188, four, 4);
            }),
            std::string(4094, '\0') + Bytes({1, 2, 3, 4}) + std::string(4090, '\0') + Bytes({1, 2, 3, 4}));
}

// Failures in the middle of a write come back from the close as the writer's
// status, printed by nobody yet; nothing more is written or described, and
// the old file stays. A writer given up while its file is open (an exception
// unwinding it) leaves no temporary file either.
TEST(VKPrint, FailuresComeBackAsTheWritersStatusAndLeaveTheOldFile) {
  vktest::ScratchDir dir;
  const std::string name = dir.file("model.vk");
  ASSERT_TRUE(vktest::WriteFile(name, "good old file"));
  static int piecesLeft;
  const VKWriterHooks fewPieces{nullptr, nullptr, [](size_t size) { return piecesLeft-- > 0 ? std::malloc(size) : nullptr; }};
  const VKWriterHooks noRename{nullptr, [](const char *, const char *) { return -1; }, nullptr};
  const unsigned char zeros[4] = {};
  const struct {
    const char *what;
    const VKWriterHooks *hooks;
    int pieces;  // byte-image allocations that succeed
    Body body;
    VKStatusCode code;
    std::string message, err = "";
  } cases[] = {
      {"rewrite past the end", nullptr, 99, [&](VKWriter &w) { VKPrintBin(w, "I", 1), RewriteBytes(w, 8, zeros, 4); },
       VKStatusCode::kBadRewrite, "Error: Bad bc RewriteBytes\n"},
      {"rewrite running over the end", nullptr, 99, [&](VKWriter &w) { VKPrintBin(w, "I", 1), RewriteBytes(w, 3, zeros, 2); },
       VKStatusCode::kBadRewrite, "Error: Can't rewrite run over current bc\n"},
      // The first piece (one allocation for the piece, one for its bytes) is
      // made with the writer; the image cannot grow past 4096 bytes.
      {"byte image full", &fewPieces, 2,
       [](VKWriter &w) {
         VKWriteSetBinDebug(w);
         for (int i = 0; i < 1025; i++) VKPrintBin(w, "I", i);
         VKWriteBinChunkStart(w, kVKChunkVKCM);  // describes nothing any more
       },
       VKStatusCode::kOutOfMemory, "Error: Can't vbuffer malloc page\n"},
      {"no byte image at all", &fewPieces, 1, [](VKWriter &w) { VKPrintBin(w, "I", 1); }, VKStatusCode::kOutOfMemory,
       "Error: Can't vbuffer malloc buf\n"},
      {"rename refused", &noRename, 99, [](VKWriter &w) { VKPrintBin(w, "I", 1); }, VKStatusCode::kCantWrite,
       "Error : Can't write " + name + "\n", "\n##### Error : Can't write " + name + "\n"},
  };
  FILE *info = InfoStream();
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    piecesLeft = c.pieces;
    CaptureStderr();
    {
      VKWriter w(c.hooks);
      ASSERT_TRUE(VKWriteOpenFile(w, name.c_str()).ok());
      VKWriteSetBin(w);
      c.body(w);
      const VKStatus status = VKWriteClose(w);
      EXPECT_EQ(status.code, c.code);
      EXPECT_EQ(status.message, c.message);
      EXPECT_EQ(status.reported, !c.err.empty());
    }
    SetInfoStream(info);
    const std::string err = GetCapturedStderr();
    EXPECT_EQ(err.substr(err.size() < c.err.size() ? 0 : err.size() - c.err.size()), c.err);
    EXPECT_EQ(err.find("ChunkName"), std::string::npos);
    EXPECT_EQ(err.find("[BC "), std::string::npos);
    EXPECT_EQ(vktest::ReadFile(name), "good old file");
    EXPECT_FALSE(vktest::Exists(name + ".tmp~"));
  }
  {
    VKWriter w;
    ASSERT_TRUE(VKWriteOpenFile(w, name.c_str()).ok());
    VKPrintAscii(w, "unfinished");
    EXPECT_TRUE(vktest::Exists(name + ".tmp~"));
  }
  EXPECT_EQ(vktest::ReadFile(name), "good old file");
  EXPECT_FALSE(vktest::Exists(name + ".tmp~"));
}

}  // namespace
