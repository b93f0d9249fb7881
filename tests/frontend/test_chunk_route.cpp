// The Chunk-input route of the driver: a Chunk-model ASCII file with -bin
// becomes the binary file beside it and is only read; a malformed file, an
// output that cannot be written and an allocation failure each stop the run
// with one message, leaving the input and an older binary file as they were
// and no unfinished file behind.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "base/status.h"
#include "binary/vkprint.h"
#include "frontend/driver.h"
#include "support/test_support.h"

namespace {

using namespace vktest;

// The sample model as a Chunk-model ASCII file, written by the program.
std::string SampleChunkText() {
  ScratchDir dir;
  WriteFile(dir.file("s.vka"), ReadFile(SourceDir() + "/examples/sample.vka"));
  RunVkconv({"s.vka"}, dir.path());
  return ReadFile(dir.file("s.vka"));
}

TEST(ChunkRoute, WritesTheBinaryFileBesideTheInput) {
  const std::string text = SampleChunkText();
  ASSERT_EQ(text.rfind("/* VKA 0.86alpha1 VorkaAsciiDataMix CnkModel", 0), 0u);
  ScratchDir dir;
  ASSERT_TRUE(WriteFile(dir.file("ship.vka"), text));
  ASSERT_TRUE(WriteFile(dir.file("ship.vk"), "an older binary file"));
  const RunResult run = RunVkconv({"ship", "-bin"}, dir.path());
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.err, "[INPUT CHUNK][OUTPUT CHUNK]");
  EXPECT_EQ(ReadFile(dir.file("ship.vka")), text);
  const std::string binary = ReadFile(dir.file("ship.vk"));
  EXPECT_EQ(binary.substr(0, 4), "VKTL");  // the texture list first, then VKCM
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), 2);
  // -bindebug asks for binary output as well; the route writes the same file.
  std::filesystem::remove(dir.file("ship.vk"));
  EXPECT_EQ(RunVkconv({"ship.vka", "-bindebug"}, dir.path()).err, "[INPUT CHUNK][OUTPUT CHUNK]");
  EXPECT_EQ(ReadFile(dir.file("ship.vk")), binary);
}

TEST(ChunkRoute, StopsWithOneMessageAndLeavesTheFilesAsTheyWere) {
  static int piecesLeft;
  const VKWriterHooks noOpen{[](const char *, const char *) -> FILE * { return nullptr; }, nullptr, nullptr};
  const VKWriterHooks noRename{nullptr, [](const char *, const char *) { return -1; }, nullptr};
  const VKWriterHooks fewPieces{nullptr, nullptr,
                                [](size_t size) { return piecesLeft-- > 0 ? std::malloc(size) : nullptr; }};
  const std::string good = SampleChunkText();
  std::string bad = good;
  bad.replace(bad.find("CnkEnd()"), 8, "CnkFin()");
  using Code = VKStatusCode;
  struct Case {
    const std::string *text;
    const VKWriterHooks *hooks;
    Code code;
    bool reported;
    std::string message;  // with "%s" for the folder
  };
  const size_t cut = bad.find("CnkFin");
  const int badLine = static_cast<int>(std::count(bad.begin(), bad.begin() + static_cast<long>(cut), '\n')) + 1;
  const size_t list = bad.rfind("PLIST      ", cut) + 11;
  const std::string listName = bad.substr(list, bad.find("[]", list) - list);
  const Case cases[] = {
      {&bad, nullptr, Code::kBadInput, false,
       "Error : %s/m.vka : Line " + std::to_string(badLine) + " : unknown chunk CnkFin in PLIST " + listName + "\n"},
      {&good, &noOpen, Code::kCantOpen, true, "Error : Can't open file %s/m.vk.tmp~\n"},
      {&good, &noRename, Code::kCantWrite, true, "Error : Can't write %s/m.vk\n"},
      {&good, &fewPieces, Code::kOutOfMemory, false, "Error: Can't vbuffer malloc page\n"},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.message);
    ScratchDir dir;
    std::string message = c.message;
    for (size_t at = message.find("%s"); at != std::string::npos; at = message.find("%s"))
      message.replace(at, 2, dir.path());
    ASSERT_TRUE(WriteFile(dir.file("m.vka"), *c.text));
    ASSERT_TRUE(WriteFile(dir.file("m.vk"), "an older binary file"));
    std::vector<std::string> words = {"vkconv", dir.file("m.vka"), "-bin"};
    std::vector<char *> argv;
    for (std::string &word : words) argv.push_back(word.data());
    piecesLeft = 0;  // no piece for the byte image
    ::testing::internal::CaptureStderr();
    const VKStatus status = RunConversion(static_cast<int>(argv.size()), argv.data(), c.hooks);
    const std::string err = ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(status.code, c.code);
    EXPECT_EQ(status.reported, c.reported);
    EXPECT_EQ(status.message, message);
    EXPECT_EQ(err, "[INPUT CHUNK][OUTPUT CHUNK]\n##### " + message);
    EXPECT_EQ(ReadFile(dir.file("m.vka")), *c.text);
    EXPECT_EQ(ReadFile(dir.file("m.vk")), "an older binary file");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), 2);
  }
}

}  // namespace
