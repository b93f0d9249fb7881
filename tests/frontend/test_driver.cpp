// End-to-end runs of the built vkconv: help, banner, input argument and
// suffix, input kind and the Chunk-input refusals; and the input-kind test.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "frontend/driver.h"
#include "support/test_support.h"

namespace {

using vktest::ReadFile;
using vktest::RunVkconv;
using vktest::ScratchDir;
using vktest::WriteFile;

std::string ExpectedUsage(const std::string &c) {
  return "Usage:\n"
         "Version 0.86alpha1\n\n" +
         c + " <vkafile> \n" +
         "    vkafile: .vka\n"
         "\n"
         "Supprt convert pattern:\n"
         "    Basic Model Ascii(.vka->.vka.bk) to Chunk Model Ascii(.vka)\n"
         "        " + c + " <vkafile>\n" +
         "    Basic Model Ascii(.vka->.vka.bk) to Basic Model Ascii(.vka)\n"
         "        " + c + " <vkafile> -B\n" +
         "    Basic Model Ascii to Chunk Model Binary\n"
         "        " + c + " <vkafile> -bin\n" +
         "    Chunk Model Ascii to Chunk Model Binary\n"
         "        " + c + " <vkafile> -bin\n" +
         "    Basic Model Ascii to Basic Model Binary\n"
         "        " + c + " <vkafile> -B -bin\n" +
         "\n"
         "<< Chunk Model >>\n"
         "    -euv or -envuv : set environment mapping uv\n"
         "    -pvn : print polygon vertex normal\n"
         "    -pvc : print polygon vertex color\n"
         "    -co3 or -volume3 : print chunk volume polygon3\n"
         "    -co34 or -volume34 : print chunk volume polygon3, 4\n"
         "    -coS or -volumeS : print chunk volume strip\n"
         "    -uvh              : hi resolution texture uv(0-1023)\n"
         "    -dm or -delmat    : delete texture materials\n"
         "    -dma or -delmatall: delete all materials\n"
         "    -da or -delambi   : delete all ambients\n"
         "    -vctouf           : set vertex color to vertex userflag\n"
         "    -pctouf           : set polygon color to polygon userflag\n"
         "    -B or -basic      : use Basic Model format\n"
         "    -bin or -BIN      : binary mode\n"
         "\n< Select Chunk Vertex >\n"
         "    -SH               : x,y,z,1.0,...\n"
         "    -VNSH or -VN_SH   : x,y,z,1.0,nx,ny,nz,0.0,...\n\n"
         "    -CV               : x,y,z,...\n"
         "    -D8               : x,y,z,D8888,...\n"
         "    -UF               : x,y,z,UserFlag32,...\n"
         "    -NF               : x,y,z,VorkaFlag32,...\n"
         "    -S5               : x,y,z,D565|S565,...\n"
         "    -S4               : x,y,z,D4444|S565,...\n"
         "    -IN               : x,y,z,D16|S16,...\n"
         "    -VN               : x,y,z,nx,ny,nz,...\n"
         "    -VND8 or -VN_D8   : x,y,z,nx,ny,nz,D8,...\n"
         "    -VNUF or -VN_UF   : x,y,z,nx,ny,nz,UserFlag32,...\n"
         "    -VNNF or -VN_NF   : x,y,z,nx,ny,nz,VorkaFlag32,...\n"
         "    -VNS5 or -VN_S5   : x,y,z,nx,ny,nz,D565|S565,...\n"
         "    -VNS4 or -VN_S4   : x,y,z,nx,ny,nz,D4444|S565,...\n"
         "    -VNIN or -VN_IN   : x,y,z,nx,ny,nz,D16|S16...\n"
         "    -VNX              : x,y,z,nxyz32(10bit normals),...\n"
         "    -VNXD8 or -VNX_D8 : x,y,z,nxyz32,D8,...\n"
         "    -VNXUF or -VNX_UF : x,y,z,nxyz32,UserFlag32,...\n"
         "\n    -VCOM             : vertex comments"
         "\n    -v or -ver: version info\n"
         "    -h or -help: Usage\n";
}

std::string ExpectedBanner(const std::string &c) {
  const std::string stars(55, '*');
  const std::string blank = "*" + std::string(54, ' ') + "\n";
  return "\n" + stars + "\n* vkconv model converter\n" + blank + "* COMMAND : " + c + "\n" + blank +
         "*   --  Convert vka to vka, vk.\n" + blank + "* VERSION: 0.86alpha1\n" + blank +
         "* DATE: 98/08/06\n" + stars + "\n\n";
}

const char kChunkHead[] = "/* VKA 0.86alpha1 VorkaAsciiDataMix CnkModel (VKA) */\n\nCNKOBJECT_START\n";
const char kRefusalAscii[] =
    "[INPUT CHUNK]\n##### \nError: Not support Chunk Model Ascii to Chunk Model Ascii\n";

TEST(Driver, HelpAndBanner) {
  ScratchDir dir;
  const std::string command = vktest::VkconvPath();
  for (const auto &args : {std::vector<std::string>{}, std::vector<std::string>{"-h"},
                           std::vector<std::string>{"-help"}}) {
    const vktest::RunResult run = RunVkconv(args, dir.path());
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err, ExpectedUsage(command));
    EXPECT_EQ(run.out, "");
  }
  for (const auto &args : {std::vector<std::string>{"-v"}, std::vector<std::string>{"-ver"},
                           std::vector<std::string>{"model.vka", "-B", "-v"}}) {
    const vktest::RunResult run = RunVkconv(args, dir.path());
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err, ExpectedBanner(command));
  }
  // "-h" beside a file name is not a help request.
  const vktest::RunResult run = RunVkconv({"-h", "absent"}, dir.path());
  EXPECT_EQ(run.err.find("Usage:"), std::string::npos);
  EXPECT_EQ(run.err.rfind("[INPUT BASIC]", 0), 0u);
}

TEST(Driver, InputArgumentAndSuffix) {
  ScratchDir dir;
  ASSERT_TRUE(WriteFile(dir.file("model.vka"), kChunkHead));
  struct Case {
    std::vector<std::string> args;
    std::string err;
  };
  const Case cases[] = {
      {{"model.txt"}, std::string("Warning : Mismatch suffix\n") + kRefusalAscii},
      {{"model"}, kRefusalAscii},
      {{"model.vka"}, kRefusalAscii},
      {{"-pvm", "model"}, kRefusalAscii},
      {{"-D8"}, "Error : Can't open file\n"},
      {{"model.vka", "-B"}, "[INPUT CHUNK]\n##### Error: Not support Chunk Model to Basic Model\n"},
      {{"model.vka", "-basic", "-bin"},
       "[INPUT CHUNK]\n##### Error: Not support Chunk Model to Basic Model\n"},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.args.back());
    const vktest::RunResult run = RunVkconv(c.args, dir.path());
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err, c.err);
    EXPECT_EQ(ReadFile(dir.file("model.vka")), kChunkHead);
    EXPECT_FALSE(vktest::Exists(dir.file("model.vka.bk")));
    EXPECT_FALSE(vktest::Exists(dir.file("model.vk")));
  }
}

TEST(Driver, FileNameTooLongIsRefused) {
  ScratchDir dir;
  const vktest::RunResult run = RunVkconv({std::string(300, 'a')}, dir.path());
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.err.rfind("Error : File name too long", 0), 0u);
}

TEST(Driver, InputKindFromTheFifthToken) {
  ScratchDir dir;
  struct Case {
    std::string firstLine;
    InputKind kind;
  };
  const Case cases[] = {
      {"/* VKA 0.86alpha1 VorkaAsciiDataMix CnkModel (VKA) */\n", InputKind::kChunk},
      {"/* VKA 0.86alpha1\tVorkaAsciiDataMix,CnkModel\t*/", InputKind::kChunk},
      {"/* VKA 0.86alpha1 VorkaAsciiDataMix BasicModel (VKA) */\n", InputKind::kBasic},
      {"/* VKA 0.86alpha1 CnkModel x */\n", InputKind::kBasic},             // fourth
      {"/* VKA 0.86alpha1 a b CnkModel */\n", InputKind::kBasic},          // sixth
      {"/* VKA 0.86alpha1 VorkaAsciiDataMix CnkModels */\n", InputKind::kBasic},
      {"/* VKA 0.86alpha1 VorkaAsciiDataMix cnkmodel */\n", InputKind::kBasic},
      {"a b c d CnkModel", InputKind::kChunk},
      {"a b c d\nCnkModel e", InputKind::kBasic},                            // first line only
      {"a+b c d CnkModel", InputKind::kChunk},  // "+" separates "a" from "b"
      {"", InputKind::kBasic},
      {std::string(1100, ' ') + "a b c d CnkModel", InputKind::kBasic},     // past 1023 chars
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.firstLine.substr(0, 60));
    const std::string name = dir.file("kind.vka");
    ASSERT_TRUE(WriteFile(name, c.firstLine));
    EXPECT_EQ(GetInputKind(name.c_str()), c.kind);
  }
  EXPECT_EQ(GetInputKind(dir.file("missing.vka").c_str()), InputKind::kBasic);
}

TEST(Driver, BasicInputRunsTheChunkRouteAndKeepsABackup) {
  ScratchDir dir;
  const std::string sample = ReadFile(vktest::SourceDir() + "/examples/sample.vka");
  ASSERT_FALSE(sample.empty());
  ASSERT_TRUE(WriteFile(dir.file("ship.vka"), sample));
  const vktest::RunResult run = RunVkconv({"ship"}, dir.path());
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.err.rfind("[INPUT BASIC]", 0), 0u);
  EXPECT_NE(run.err.find("[OUTPUT CHUNK]"), std::string::npos);
  EXPECT_EQ(ReadFile(dir.file("ship.vka.bk")), sample);
  EXPECT_EQ(GetInputKind(dir.file("ship.vka").c_str()), InputKind::kChunk);

  // A second run refuses the Chunk file it wrote and touches nothing.
  const std::string converted = ReadFile(dir.file("ship.vka"));
  const vktest::RunResult again = RunVkconv({"ship.vka"}, dir.path());
  EXPECT_EQ(again.err, kRefusalAscii);
  EXPECT_EQ(ReadFile(dir.file("ship.vka")), converted);
  EXPECT_EQ(ReadFile(dir.file("ship.vka.bk")), sample);
}

TEST(Driver, NoBackupMeansNothingIsWritten) {
  ScratchDir dir;
  const std::string sample = ReadFile(vktest::SourceDir() + "/examples/sample.vka");
  ASSERT_TRUE(WriteFile(dir.file("ship.vka"), sample));
  // A non-empty folder in the backup's place can be neither deleted nor replaced.
  ASSERT_TRUE(std::filesystem::create_directory(dir.file("ship.vka.bk")));
  ASSERT_TRUE(WriteFile(dir.file("ship.vka.bk/keep"), "x"));
  const vktest::RunResult run = RunVkconv({"ship.vka"}, dir.path());
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.err,
            "[INPUT BASIC]Error: Can't create backup file.\n"
            "ship.vka is left as it was; nothing was written.\n");
  EXPECT_EQ(ReadFile(dir.file("ship.vka")), sample);
}

TEST(Driver, UnreadableInputIsLeftAlone) {
  ScratchDir dir;
  const vktest::RunResult run = RunVkconv({"absent.vka"}, dir.path());
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.err.rfind("[INPUT BASIC]", 0), 0u);
  EXPECT_FALSE(vktest::Exists(dir.file("absent.vka.bk")));
  EXPECT_FALSE(vktest::Exists(dir.file("absent.vka")));
}

}  // namespace
