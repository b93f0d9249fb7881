// Console printers (streams redirected to temporary files) and the file-name
// utilities.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "frontend/console.h"
#include "support/test_support.h"

namespace {

// Reads everything written to a temporary stream so far.
std::string Contents(FILE *stream) {
  std::fflush(stream);
  std::rewind(stream);
  std::string text;
  char buffer[256];
  size_t got;
  while ((got = std::fread(buffer, 1, sizeof(buffer), stream)) > 0) text.append(buffer, got);
  return text;
}

// Points all five streams at temporary files for one test and back to stderr
// afterwards.
class ConsoleTest : public ::testing::Test {
 protected:
  void SetUp() override {
    for (FILE *&file : files_) {
      file = std::tmpfile();
      ASSERT_NE(file, nullptr);
    }
    SetMessageStream(files_[0]);
    SetInfoStream(files_[1]);
    SetErrorStream(files_[2]);
    SetWarningStream(files_[3]);
    SetNoteStream(files_[4]);
  }
  void TearDown() override {
    SetMessageStream(stderr);
    SetInfoStream(stderr);
    SetErrorStream(stderr);
    SetWarningStream(stderr);
    SetNoteStream(stderr);
    for (FILE *file : files_) std::fclose(file);
  }
  FILE *files_[5] = {};
};

TEST_F(ConsoleTest, EachPrinterWritesToItsStreamWithItsDecoration) {
  PrintMessage("[INPUT BASIC]");
  PrintInfo("[GLOBAL INDEX BASE] %d ", 100);
  PrintError("Error : Bad %s\n", "thing");
  PrintWarning("Warning : %d\n", 7);
  PrintNote("Error: Can't create backup file.\n");
  PrintMessage("%s", "[OUTPUT CHUNK]");
  EXPECT_EQ(Contents(files_[0]), "[INPUT BASIC][OUTPUT CHUNK]");
  EXPECT_EQ(Contents(files_[1]), "[GLOBAL INDEX BASE] 100 ");
  EXPECT_EQ(Contents(files_[2]), "\n##### Error : Bad thing\n");
  EXPECT_EQ(Contents(files_[3]), "\n##### Warning : 7\n");
  EXPECT_EQ(Contents(files_[4]), "Error: Can't create backup file.\n");
}

TEST_F(ConsoleTest, NullStreamIsSilentWhileOthersStillPrint) {
  SetInfoStream(nullptr);
  EXPECT_EQ(InfoStream(), nullptr);
  PrintInfo("[GLOBAL INDEX BASE] %d ", 5);
  PrintWarning("Warning : still here\n");
  EXPECT_EQ(Contents(files_[1]), "");
  EXPECT_EQ(Contents(files_[3]), "\n##### Warning : still here\n");
}

TEST_F(ConsoleTest, StripStatisticsGoToTheMessageStream) {
  PrintStripStatistics(18, 54, 14, 46);
  EXPECT_EQ(Contents(files_[0]),
            "polygon_total_n 18\npolygon_vertex_sum 54\nstrip_total_n 14\nstrip_vertex_sum 46\n");
}

TEST(ConsoleDefaults, StreamsStartAsStandardError) {
  EXPECT_EQ(MessageStream(), stderr);
  EXPECT_EQ(InfoStream(), stderr);
  EXPECT_EQ(ErrorStream(), stderr);
  EXPECT_EQ(WarningStream(), stderr);
  EXPECT_EQ(NoteStream(), stderr);
}

TEST(ConsoleDeathTest, FatalStopsEndWithStatusZeroAfterTheirMessage) {
  EXPECT_EXIT(FatalError("Error : Can't malloc %s\n", "nodes(ScGetNodeList)"),
              ::testing::ExitedWithCode(0), "\n##### Error : Can't malloc nodes\\(ScGetNodeList\\)\n");
  EXPECT_EXIT(FatalPlain("Error : pool %s\n", "tag"), ::testing::ExitedWithCode(0),
              "^Error : pool tag\n$");
}

struct SuffixCase {
  const char *name;
  const char *suffix;
  const char *replaced;  // ReplaceSuffix
  bool warns;            // CheckSuffix
  const char *stripped;  // StripSuffix
};

TEST(FileNames, SuffixOperations) {
  const SuffixCase cases[] = {
      {"model.vka", ".vka", "model.vka", false, "model"},
      {"model.txt", ".vka", "model.vka", true, "model"},
      {"model", ".vka", "model.vka", false, "model"},
      {"a.b.c", ".vk", "a.b.vk", true, "a.b"},
      {"model.VKA", ".vka", "model.vka", true, "model"},
      {"dir.x/model", ".vka", "dir.vka", true, "dir"},  // last '.' of the whole text
      {"model.vka", ".vk", "model.vk", true, "model"},
      {"model.", ".vka", "model.vka", true, "model"},
  };
  for (const SuffixCase &c : cases) {
    SCOPED_TRACE(c.name);
    char name[kNameSize];
    std::strcpy(name, c.name);
    ReplaceSuffix(name, c.suffix);
    EXPECT_STREQ(name, c.replaced);

    std::strcpy(name, c.name);
    ::testing::internal::CaptureStderr();
    CheckSuffix(name, c.suffix);
    const std::string err = ::testing::internal::GetCapturedStderr();
    EXPECT_STREQ(name, c.replaced);
    EXPECT_EQ(err, c.warns ? "Warning : Mismatch suffix\n" : "");

    std::strcpy(name, c.name);
    StripSuffix(name);
    EXPECT_STREQ(name, c.stripped);
  }
}

TEST(FileNames, ReplaceSuffixNeverRunsPastTheNameBuffer) {
  char name[kNameSize];
  std::memset(name, 'a', kNameSize - 1);
  name[kNameSize - 1] = '\0';
  ReplaceSuffix(name, ".vka");
  EXPECT_EQ(std::strlen(name), static_cast<size_t>(kNameSize - 1));
}

TEST(FileNames, BaseNameSplitsAtBothSeparators) {
  EXPECT_STREQ(BaseName("ship.vka"), "ship.vka");
  EXPECT_STREQ(BaseName("models/ship.vka"), "ship.vka");
  EXPECT_STREQ(BaseName("c:\\art\\ship.vka"), "ship.vka");
  EXPECT_STREQ(BaseName("a\\b/c\\ship"), "ship");
  EXPECT_STREQ(BaseName("dir/"), "");
  EXPECT_STREQ(BaseName(""), "");
}

TEST(FileNames, FileExists) {
  vktest::ScratchDir dir;
  const std::string present = dir.file("here.vka");
  ASSERT_TRUE(vktest::WriteFile(present, "x"));
  EXPECT_TRUE(FileExists(present.c_str()));
  EXPECT_FALSE(FileExists(dir.file("missing.vka").c_str()));
}

}  // namespace
