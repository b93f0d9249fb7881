// End-to-end runs of the built vkconv: help, banner, input argument and
// suffix, the Chunk-input refusals and failures that write nothing; the Basic
// route with its backup; and the input-kind test.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "base/status.h"
#include "binary/vkprint.h"
#include "frontend/driver.h"
#include "support/test_support.h"
#include "support/vka_gen.h"

// The cases name only the generator settings they change.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

namespace {

using namespace vktest;

std::string ExpectedUsage(const std::string &c) {
  return "Usage:\nVersion 0.86alpha1\n\n" + c + " <vkafile> \n    vkafile: .vka\n\nSupprt convert pattern:\n" +
         "    Basic Model Ascii(.vka->.vka.bk) to Chunk Model Ascii(.vka)\n        " + c + " <vkafile>\n" +
         "    Basic Model Ascii(.vka->.vka.bk) to Basic Model Ascii(.vka)\n        " + c + " <vkafile> -B\n" +
         "    Basic Model Ascii to Chunk Model Binary\n        " + c + " <vkafile> -bin\n" +
         "    Chunk Model Ascii to Chunk Model Binary\n        " + c + " <vkafile> -bin\n" +
         "    Basic Model Ascii to Basic Model Binary\n        " + c + " <vkafile> -B -bin\n" +
         "\n<< Chunk Model >>\n    -euv or -envuv : set environment mapping uv\n"
         "    -pvn : print polygon vertex normal\n    -pvc : print polygon vertex color\n"
         "    -co3 or -volume3 : print chunk volume polygon3\n"
         "    -co34 or -volume34 : print chunk volume polygon3, 4\n    -coS or -volumeS : print chunk volume strip\n"
         "    -uvh              : hi resolution texture uv(0-1023)\n"
         "    -dm or -delmat    : delete texture materials\n    -dma or -delmatall: delete all materials\n"
         "    -da or -delambi   : delete all ambients\n    -vctouf           : set vertex color to vertex userflag\n"
         "    -pctouf           : set polygon color to polygon userflag\n"
         "    -B or -basic      : use Basic Model format\n    -bin or -BIN      : binary mode\n\n"
         "< Select Chunk Vertex >\n    -SH               : x,y,z,1.0,...\n"
         "    -VNSH or -VN_SH   : x,y,z,1.0,nx,ny,nz,0.0,...\n\n    -CV               : x,y,z,...\n"
         "    -D8               : x,y,z,D8888,...\n    -UF               : x,y,z,UserFlag32,...\n"
         "    -NF               : x,y,z,VorkaFlag32,...\n    -S5               : x,y,z,D565|S565,...\n"
         "    -S4               : x,y,z,D4444|S565,...\n    -IN               : x,y,z,D16|S16,...\n"
         "    -VN               : x,y,z,nx,ny,nz,...\n    -VND8 or -VN_D8   : x,y,z,nx,ny,nz,D8,...\n"
         "    -VNUF or -VN_UF   : x,y,z,nx,ny,nz,UserFlag32,...\n"
         "    -VNNF or -VN_NF   : x,y,z,nx,ny,nz,VorkaFlag32,...\n"
         "    -VNS5 or -VN_S5   : x,y,z,nx,ny,nz,D565|S565,...\n"
         "    -VNS4 or -VN_S4   : x,y,z,nx,ny,nz,D4444|S565,...\n    -VNIN or -VN_IN   : x,y,z,nx,ny,nz,D16|S16...\n"
         "    -VNX              : x,y,z,nxyz32(10bit normals),...\n    -VNXD8 or -VNX_D8 : x,y,z,nxyz32,D8,...\n"
         "    -VNXUF or -VNX_UF : x,y,z,nxyz32,UserFlag32,...\n\n    -VCOM             : vertex comments\n"
         "    -v or -ver: version info\n    -h or -help: Usage\n";
}

std::string ExpectedBanner(const std::string &c) {
  const std::string stars(55, '*'), blank = "*" + std::string(54, ' ') + "\n";
  return "\n" + stars + "\n* vkconv model converter\n" + blank + "* COMMAND : " + c + "\n" + blank +
         "*   --  Convert vka to vka, vk.\n" + blank + "* VERSION: 0.86alpha1\n" + blank + "* DATE: 98/08/06\n" +
         stars + "\n\n";
}

const char kChunkHead[] = "/* VKA 0.86alpha1 VorkaAsciiDataMix CnkModel (VKA) */\n\nCNKOBJECT_START\n";
const char kRefusalAscii[] = "[INPUT CHUNK]\n##### \nError: Not support Chunk Model Ascii to Chunk Model Ascii\n";

// Runs that print and stop: each exits with status 0, prints only on standard
// error, and leaves the folder holding the Chunk input alone as it was.
TEST(Driver, RunsThatWriteNothing) {
  ScratchDir dir;
  ASSERT_TRUE(WriteFile(dir.file("model.vka"), kChunkHead));
  const std::string usage = ExpectedUsage(VkconvPath()), banner = ExpectedBanner(VkconvPath());
  const std::string tooLong(249, 'a'), toBasic = "[INPUT CHUNK]\n##### Error: Not support Chunk Model to Basic Model\n";
  struct Case {
    std::vector<std::string> args;
    std::string err;
  };
  const Case cases[] = {
      {{}, usage}, {{"-h"}, usage}, {{"-help"}, usage}, {{"-v"}, banner}, {{"-ver"}, banner},
      {{"model.vka", "-B", "-v"}, banner}, {{"model.txt"}, "Warning : Mismatch suffix\n" + std::string(kRefusalAscii)},
      {{"model"}, kRefusalAscii}, {{"model.vka"}, kRefusalAscii}, {{"-pvm", "model"}, kRefusalAscii},
      {{"model.vka", "-B"}, toBasic}, {{"model.vka", "-basic", "-bin"}, toBasic},
      {{"-D8"}, "Error : Can't open file\n"}, {{"absent.vka"}, "[INPUT BASIC]Error : Can't open absent.vka\n"},
      {{"-h", "absent"}, "[INPUT BASIC]Error : Can't open absent.vka\n"},  // not a help request
      // The value of a leading -gibase is taken for the input file.
      {{"-gibase", "100", "model"}, "[GLOBAL INDEX BASE] 100 [INPUT BASIC]Error : Can't open 100.vka\n"},
      {{tooLong}, "Error : File name too long (at most 248 characters): " + tooLong + "\n"},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.args.empty() ? "" : c.args.front() + " " + c.args.back());
    const RunResult run = RunVkconv(c.args, dir.path());
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err, c.err);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(ReadFile(dir.file("model.vka")), kChunkHead);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), 1);
  }
}

TEST(Driver, BasicInputRunsTheChunkRouteAndKeepsABackup) {
  ScratchDir dir;
  const std::string sample = ReadFile(SourceDir() + "/examples/sample.vka");
  ASSERT_FALSE(sample.empty());
  ASSERT_TRUE(WriteFile(dir.file("ship.vka"), sample));
  const RunResult run = RunVkconv({"ship"}, dir.path());
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.err.rfind("[INPUT BASIC]", 0), 0u);
  EXPECT_NE(run.err.find("[OUTPUT CHUNK]"), std::string::npos);
  EXPECT_EQ(ReadFile(dir.file("ship.vka.bk")), sample);
  EXPECT_EQ(GetInputKind(dir.file("ship.vka").c_str()), InputKind::kChunk);

  // A second run refuses the Chunk file it wrote and touches nothing.
  const std::string converted = ReadFile(dir.file("ship.vka"));
  EXPECT_EQ(RunVkconv({"ship.vka"}, dir.path()).err, kRefusalAscii);
  EXPECT_EQ(ReadFile(dir.file("ship.vka")), converted);
  EXPECT_EQ(ReadFile(dir.file("ship.vka.bk")), sample);

  // A fatal stop after the backup was made (-GM on a hierarchy) puts the
  // input back: no backup, no output, no unfinished file.
  ASSERT_TRUE(WriteFile(dir.file("stop.vka"), sample));
  EXPECT_NE(RunVkconv({"stop.vka", "-GM"}, dir.path()).err.find("##### Error : Bad Model pointer\n"),
            std::string::npos);
  EXPECT_EQ(ReadFile(dir.file("stop.vka")), sample);
  EXPECT_FALSE(Exists(dir.file("stop.vka.bk")));

  // A non-empty folder in the backup's place can be neither deleted nor
  // replaced: nothing is written.
  ASSERT_TRUE(WriteFile(dir.file("new.vka"), sample));
  ASSERT_TRUE(std::filesystem::create_directory(dir.file("new.vka.bk")));
  ASSERT_TRUE(WriteFile(dir.file("new.vka.bk/keep"), "x"));
  EXPECT_EQ(RunVkconv({"new.vka"}, dir.path()).err,
            "[INPUT BASIC]Error: Can't create backup file.\nnew.vka is left as it was; nothing was written.\n");
  EXPECT_EQ(ReadFile(dir.file("new.vka")), sample);
}

TEST(Driver, InputKindFromTheFifthTokenOfTheFirstLine) {
  ScratchDir dir;
  const struct {
    std::string firstLine;
    InputKind kind;
  } cases[] = {
      {"/* VKA 0.86alpha1 VorkaAsciiDataMix CnkModel (VKA) */\n", InputKind::kChunk},
      {"/* VKA 0.86alpha1\tVorkaAsciiDataMix,CnkModel\t*/", InputKind::kChunk},
      {"/* VKA 0.86alpha1 VorkaAsciiDataMix BasicModel (VKA) */\n", InputKind::kBasic},
      {"a b c CnkModel d", InputKind::kBasic}, {"a b c d e CnkModel", InputKind::kBasic},  // fourth, sixth
      {"a b c d CnkModels", InputKind::kBasic}, {"a b c d cnkmodel", InputKind::kBasic},
      {"a b c d CnkModel", InputKind::kChunk}, {"a b c d\nCnkModel e", InputKind::kBasic},  // first line only
      {"a+b c d CnkModel", InputKind::kChunk},  // "+" separates "a" from "b"
      {"", InputKind::kBasic}, {std::string(1100, ' ') + "a b c d CnkModel", InputKind::kBasic},  // past 1023
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.firstLine.substr(0, 60));
    ASSERT_TRUE(WriteFile(dir.file("kind.vka"), c.firstLine));
    EXPECT_EQ(GetInputKind(dir.file("kind.vka").c_str()), c.kind);
  }
  EXPECT_EQ(GetInputKind(dir.file("missing.vka").c_str()), InputKind::kBasic);
}

// Failures deep in a run come back from RunConversion as statuses, each
// printed once, and on every way out the input is still under its own name
// with nothing else left in the folder but its backup where that took its
// name: the stops the driver prints (a root
// released by -GM, a byte image that cannot grow), the failures reported
// where they happen (an output that cannot be opened or renamed), and an
// exception thrown from deep inside the writer.
TEST(Driver, FailuresComeBackAsStatusesWithTheInputInPlace) {
  static int piecesLeft;
  const VKWriterHooks noOpen{[](const char *, const char *) -> FILE * { return nullptr; }, nullptr, nullptr};
  const VKWriterHooks noRename{nullptr, [](const char *, const char *) { return -1; }, nullptr};
  // Renames only the backup into place.
  const VKWriterHooks noOutputRename{
      nullptr, [](const char *from, const char *to) { return std::string(to).ends_with(".bk") ? std::rename(from, to) : -1; },
      nullptr};
  const VKWriterHooks fewPieces{nullptr, nullptr, [](size_t size) { return piecesLeft-- > 0 ? std::malloc(size) : nullptr; }};
  const VKWriterHooks throwing{
      [](const char *, const char *) -> FILE * { throw VKOutOfMemory(false, "Error: Can't malloc %s\n", "test"); },
      nullptr, nullptr};
  using Code = VKStatusCode;
  struct Case {
    std::vector<std::string> options;
    const VKWriterHooks *hooks;
    Code code;
    bool reported;
    std::string message;  // with "%s" for the folder
    std::string err;      // the end of what is printed
    bool backup = false;  // the input's backup is in place beside it
  };
  const Case cases[] = {
      {{"-GM"}, nullptr, Code::kBadModel, false, "Error : Bad Model pointer\n",
       "[BUILD MAP] \n##### Error : Bad Model pointer\n"},
      {{"-bin"}, &fewPieces, Code::kOutOfMemory, false, "Error: Can't vbuffer malloc page\n",
       "[OUTPUT CHUNK][BIN] [ChunkV Type CnkV_VN] [UVN(0-255)] [MATERIAL NAME] [STRIP] polygon_total_n 384\n"
       "polygon_vertex_sum 1152\nstrip_total_n 24\nstrip_vertex_sum 432\n\n##### Error: Can't vbuffer malloc page\n"},
      {{}, &noOpen, Code::kCantOpen, true, "Error : Can't open file %s/m.vka.tmp~\n",
       "\n##### Error : Can't open file %s/m.vka.tmp~\n\n##### Error : Can't write file!! (%s/m.vka)\n"},
      // The backup takes its name first; when it cannot, no output replaces the input.
      {{}, &noRename, Code::kCantBackup, true, "", "Error: Can't create backup file.\n%s/m.vka is left as it was; nothing was written.\n"},
      {{"-septex"}, &noRename, Code::kCantBackup, true, "", "Error: Can't create backup file.\n%s/m.vka is left as it was; nothing was written.\n"},
      {{"-bin"}, &noRename, Code::kCantWrite, true, "Error : Can't write %s/m.vk\n", "\n##### Error : Can't write %s/m.vk\n"},
      {{}, &noOutputRename, Code::kCantWrite, true, "Error : Can't write %s/m.vka\n",
       "\n##### Error : Can't write %s/m.vka\n", true},
      {{"-septex"}, &noOutputRename, Code::kCantWrite, true, "Error : Can't write %s/m.vad\n",
       "\n##### Error : Can't write %s/m.vad\n", true},
      {{"-VNX"}, &throwing, Code::kOutOfMemory, false, "Error: Can't malloc test\n",
       "strip_vertex_sum 432\n\n##### Error: Can't malloc test\n"},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.message);
    ScratchDir dir;
    const auto withDir = [&](std::string text) {
      for (size_t at = text.find("%s"); at != std::string::npos; at = text.find("%s")) text.replace(at, 2, dir.path());
      return text;
    };
    ASSERT_TRUE(WriteVka(dir.file("m.vka"), {.baseName = "m", .objects = 3, .gridWidth = 8, .gridHeight = 8}));
    const std::string input = ReadFile(dir.file("m.vka"));
    std::vector<std::string> words = {"vkconv", dir.file("m.vka")};
    words.insert(words.end(), c.options.begin(), c.options.end());
    std::vector<char *> argv;
    for (std::string &word : words) argv.push_back(word.data());
    piecesLeft = 2;  // the first piece of the byte image only
    ::testing::internal::CaptureStderr();
    const VKStatus status = RunConversion(static_cast<int>(argv.size()), argv.data(), c.hooks);
    const std::string err = ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(status.code, c.code);
    EXPECT_EQ(status.reported, c.reported);
    EXPECT_EQ(status.message, withDir(c.message));
    const std::string tail = withDir(c.err);
    EXPECT_EQ(err.substr(err.size() < tail.size() ? 0 : err.size() - tail.size()), tail);
    const std::string once = (c.message.empty() ? tail : c.message).substr(0, 20);
    EXPECT_EQ(err.find(once), err.rfind(once)) << "printed twice";
    EXPECT_EQ(ReadFile(dir.file("m.vka")), input);
    if (c.backup) {
      EXPECT_EQ(ReadFile(dir.file("m.vka.bk")), input);
    }
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), c.backup ? 2 : 1);
  }
}

}  // namespace
