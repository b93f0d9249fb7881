// End-to-end runs of the built vkconv and of RunConversion: runs that print
// and write nothing, the input-kind test, the Chunk-input route, failures deep
// in a run (injected through the writer hooks) on every route, -gscale values
// a user gets wrong and -G zero vectors counted once per object. The usage
// text, the banner and the plain refusals are checked byte for byte by the
// golden transcripts.
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
#include "support/vka_gen.h"

// The cases name only the generator settings they change.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

namespace {

using namespace vktest;
namespace fs = std::filesystem;

const char kChunkHead[] = "/* VKA 0.86alpha1 VorkaAsciiDataMix CnkModel (VKA) */\n\nCNKOBJECT_START\n";
const char kRefusalAscii[] = "[INPUT CHUNK]\n##### \nError: Not support Chunk Model Ascii to Chunk Model Ascii\n";

long Entries(const std::string &folder) { return std::distance(fs::directory_iterator(folder), {}); }

// Runs that print and stop: status 0, only standard error, and the folder
// holding the Chunk input alone as it was.
TEST(Driver, RunsThatWriteNothing) {
  ScratchDir dir;
  ASSERT_TRUE(WriteFile(dir.file("model.vka"), kChunkHead));
  const std::string usage = RunVkconv({"-h"}, dir.path()).err, banner = RunVkconv({"-v"}, dir.path()).err;
  EXPECT_TRUE(usage.starts_with("Usage:\n") && banner.find("* VERSION: 0.86alpha1\n") != std::string::npos);
  const std::string toBasic = "[INPUT CHUNK]\n##### Error: Not support Chunk Model to Basic Model\n";
  const std::pair<std::vector<std::string>, std::string> cases[] = {
      {{}, usage}, {{"-help"}, usage}, {{"-ver"}, banner}, {{"model.vka", "-B", "-v"}, banner},
      {{"model.txt"}, "Warning : Mismatch suffix\n" + std::string(kRefusalAscii)}, {{"model"}, kRefusalAscii},
      {{"-pvm", "model"}, kRefusalAscii}, {{"model.vka", "-basic", "-bin"}, toBasic},
      {{"-h", "absent"}, "[INPUT BASIC]Error : Can't open absent.vka\n"},  // not a help request
      // The value of a leading -gibase is taken for the input file.
      {{"-gibase", "100", "model"}, "[GLOBAL INDEX BASE] 100 [INPUT BASIC]Error : Can't open 100.vka\n"},
  };
  for (const auto &[args, err] : cases) {
    SCOPED_TRACE(args.empty() ? "" : args.front() + " " + args.back());
    const RunResult run = RunVkconv(args, dir.path());
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err, err);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(ReadFile(dir.file("model.vka")), kChunkHead);
    EXPECT_EQ(Entries(dir.path()), 1);
  }
}

TEST(Driver, InputKindFromTheFifthTokenOfTheFirstLine) {
  ScratchDir dir;
  const std::pair<std::string, InputKind> cases[] = {
      {"/* VKA 0.86alpha1 VorkaAsciiDataMix CnkModel (VKA) */\n", InputKind::kChunk},
      {"/* VKA 0.86alpha1\tVorkaAsciiDataMix,CnkModel\t*/", InputKind::kChunk},
      {"/* VKA 0.86alpha1 VorkaAsciiDataMix BasicModel (VKA) */\n", InputKind::kBasic},
      {"a b c CnkModel d", InputKind::kBasic}, {"a b c d e CnkModel", InputKind::kBasic},  // fourth, sixth
      {"a b c d CnkModels", InputKind::kBasic}, {"a b c d cnkmodel", InputKind::kBasic},
      {"a b c d CnkModel", InputKind::kChunk}, {"a b c d\nCnkModel e", InputKind::kBasic},  // first line only
      {"a+b c d CnkModel", InputKind::kChunk},  // "+" separates "a" from "b"
      {"", InputKind::kBasic}, {std::string(1100, ' ') + "a b c d CnkModel", InputKind::kBasic},  // past 1023
  };
  for (const auto &[firstLine, kind] : cases) {
    ASSERT_TRUE(WriteFile(dir.file("kind.vka"), firstLine));
    EXPECT_EQ(GetInputKind(dir.file("kind.vka").c_str()), kind) << firstLine.substr(0, 60);
  }
  EXPECT_EQ(GetInputKind(dir.file("missing.vka").c_str()), InputKind::kBasic);
}

// The sample model as a Chunk-model ASCII file, written by the program.
const std::string &SampleChunkText() {
  static const std::string text = [] {
    ScratchDir dir;
    WriteFile(dir.file("s.vka"), ReadFile(SourceDir() + "/examples/sample.vka"));
    RunVkconv({"s.vka"}, dir.path());
    return ReadFile(dir.file("s.vka"));
  }();
  return text;
}

// A Chunk-model file with -bin (or -bindebug) becomes the binary file beside
// it and is only read.
TEST(Driver, ChunkInputBecomesTheBinaryFileBesideIt) {
  const std::string &text = SampleChunkText();
  ASSERT_TRUE(text.starts_with("/* VKA 0.86alpha1 VorkaAsciiDataMix CnkModel"));
  ScratchDir dir;
  ASSERT_TRUE(WriteFile(dir.file("ship.vka"), text));
  ASSERT_TRUE(WriteFile(dir.file("ship.vk"), "an older binary file"));
  const RunResult run = RunVkconv({"ship", "-bin"}, dir.path());
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.err, "[INPUT CHUNK][OUTPUT CHUNK]");
  EXPECT_EQ(ReadFile(dir.file("ship.vka")), text);
  const std::string binary = ReadFile(dir.file("ship.vk"));
  EXPECT_EQ(binary.substr(0, 4), "VKTL");  // the texture list first, then VKCM
  EXPECT_EQ(Entries(dir.path()), 2);
  fs::remove(dir.file("ship.vk"));
  EXPECT_EQ(RunVkconv({"ship.vka", "-bindebug"}, dir.path()).err, "[INPUT CHUNK][OUTPUT CHUNK]");
  EXPECT_EQ(ReadFile(dir.file("ship.vk")), binary);
}

// Two materials of one look, 35000 triangles each: one mesh set of 70000
// once the Basic writer has merged them.
std::string MergedMaterials() {
  std::string text = "MATERIAL matlist_m_t[]\nSTART\n";
  for (int m = 0; m < 2; ++m)
    text += "MATSTART\nDiffuse ( 255, 1, 2, 3 ),\nSpecular ( 255, 4, 5, 6 ),\nExponent ( 4.0F ),\n"
            "AttrTexId ( 0x0, 0 ),\nAttrFlags ( 0x94002400 ),\nMATEND\n";
  text += "END\nPOLYGON pg_t[]\nSTART\n";
  for (int i = 0; i < 35000; ++i) text += "0, 1, 2,\n";
  text += "END\nMESHSET meshset_t[]\nSTART\n";
  for (int m = 0; m < 2; ++m)
    text += "MESHSTART\nTypeMatId ( 0x0000, " + std::to_string(m) + " ),\nMeshNum 35000,\nMeshes pg_t,\n"
            "PolyAttrs NULL,\nPolyNormal NULL,\nVertColor NULL,\nVertUV NULL,\nMESHEND\n";
  return text + "END\nPOINT point_t[]\nSTART\nVERT( 0.0F, 0.0F, 0.0F ),\nVERT( 1.0F, 0.0F, 0.0F ),\n"
                "VERT( 0.0F, 1.0F, 0.0F ),\nEND\nMODEL model_t[]\nSTART\nPoints point_t,\nNormal NULL,\n"
                "PointNum 3,\nMeshset meshset_t,\nMaterials matlist_m_t,\nMeshsetNum 2,\nMatNum 2,\n"
                "Center 0.0F, 0.0F, 0.0F,\nRadius 1.0F,\nEND\nOBJECT object_m_t[]\nSTART\nEvalFlags ( 0x0 ),\n"
                "Model model_t,\nOPosition ( 0, 0, 0 ),\nOAngle ( 0, 0, 0 ),\nOScale ( 1, 1, 1 ),\n"
                "Child NULL,\nSibling NULL,\nEND\n";
}

// Failures deep in a run come back from RunConversion as statuses, each
// printed once, and on every way out the input is still under its own name
// (and an older binary file beside it as it was) with nothing else left but
// the backup where that took its name: the stops the driver prints (a root
// released by -GM, a byte image that cannot grow, a malformed Chunk file),
// the failures reported where they happen (an output that cannot be opened or
// renamed), a refusal only the Basic writer can make, and an exception thrown
// from deep inside the writer.
TEST(Driver, FailuresComeBackAsStatusesWithTheInputInPlace) {
  static int piecesLeft;
  const VKWriterHooks noOpen{[](const char *, const char *) -> FILE * { return nullptr; }, nullptr, nullptr};
  const VKWriterHooks noRename{nullptr, [](const char *, const char *) { return -1; }, nullptr};
  const VKWriterHooks noOutputRename{  // renames only the backup into place
      nullptr, [](const char *from, const char *to) { return std::string(to).ends_with(".bk") ? std::rename(from, to) : -1; },
      nullptr};
  const VKWriterHooks fewPieces{nullptr, nullptr, [](size_t size) { return piecesLeft-- > 0 ? std::malloc(size) : nullptr; }};
  const VKWriterHooks throwing{
      [](const char *, const char *) -> FILE * { throw VKOutOfMemory(false, "Error: Can't malloc %s\n", "test"); },
      nullptr, nullptr};
  const std::string grid = GenerateVka({.baseName = "m", .objects = 3, .gridWidth = 8, .gridHeight = 8});
  const std::string small = GenerateVka({.baseName = "m", .objects = 2, .gridWidth = 4, .gridHeight = 4});
  const std::string merged = MergedMaterials(), &chunk = SampleChunkText();
  std::string bad = chunk;
  const size_t cut = bad.replace(bad.find("CnkEnd()"), 8, "CnkFin()").find("CnkFin");
  const size_t list = bad.rfind("PLIST      ", cut) + 11;
  const std::string badChunk = "Error : %s/m.vka : Line " + std::to_string(std::count(bad.begin(), bad.begin() + cut, '\n') + 1) +
                               " : unknown chunk CnkFin in PLIST " + bad.substr(list, bad.find("[]", list) - list) + "\n";
  const std::string noBackup = "Error: Can't create backup file.\n%s/m.vka is left as it was; nothing was written.\n";
  const std::string chunkHead = "[INPUT CHUNK][OUTPUT CHUNK]\n##### ";
  using Code = VKStatusCode;
  const struct Case {
    const std::string &input;
    std::vector<std::string> options;
    const VKWriterHooks *hooks;
    int pieces;  // of the byte image the allocation hook gives
    Code code;
    bool reported;
    std::string message;  // with "%s" for the folder
    std::string err;      // the end of what is printed; all of it from "[INPUT"
    bool backup = false;  // the input's backup is in place beside it
  } cases[] = {
      {grid, {"-GM"}, nullptr, 0, Code::kBadModel, false, "Error : Bad Model pointer\n",
       "[BUILD MAP] \n##### Error : Bad Model pointer\n"},
      {grid, {"-bin"}, &fewPieces, 2, Code::kOutOfMemory, false, "Error: Can't vbuffer malloc page\n",
       "[OUTPUT CHUNK][BIN] [ChunkV Type CnkV_VN] [UVN(0-255)] [MATERIAL NAME] [STRIP] polygon_total_n 384\n"
       "polygon_vertex_sum 1152\nstrip_total_n 24\nstrip_vertex_sum 432\n\n##### Error: Can't vbuffer malloc page\n"},
      {grid, {}, &noOpen, 0, Code::kCantOpen, true, "Error : Can't open file %s/m.vka.tmp~\n",
       "\n##### Error : Can't open file %s/m.vka.tmp~\n\n##### Error : Can't write file!! (%s/m.vka)\n"},
      // The backup takes its name first; when it cannot, no output replaces the input.
      {grid, {}, &noRename, 0, Code::kCantBackup, true, "", noBackup},
      {grid, {"-septex"}, &noRename, 0, Code::kCantBackup, true, "", noBackup},
      {grid, {"-bin"}, &noRename, 0, Code::kCantWrite, true, "Error : Can't write %s/m.vk\n",
       "\n##### Error : Can't write %s/m.vk\n"},
      {grid, {}, &noOutputRename, 0, Code::kCantWrite, true, "Error : Can't write %s/m.vka\n",
       "\n##### Error : Can't write %s/m.vka\n", true},
      {grid, {"-septex"}, &noOutputRename, 0, Code::kCantWrite, true, "Error : Can't write %s/m.vad\n",
       "\n##### Error : Can't write %s/m.vad\n", true},
      {grid, {"-VNX"}, &throwing, 0, Code::kOutOfMemory, false, "Error: Can't malloc test\n",
       "strip_vertex_sum 432\n\n##### Error: Can't malloc test\n"},
      // The Basic-model route.
      {small, {"-B"}, &noRename, 0, Code::kCantBackup, true, "", noBackup},
      {small, {"-B", "-bin"}, &noRename, 0, Code::kCantWrite, true, "Error : Can't write %s/m.vk\n",
       "\n##### Error : Can't write %s/m.vk\n"},
      {merged, {"-B"}, nullptr, 0, Code::kRefused, true,
       "Error : Object t has 70000 meshes of one kind in one material; a Basic-model mesh set holds at most 65535\n",
       "[OUTPUT BASIC][MATERIAL NAME] \n##### Error : Object t has 70000 meshes of one kind in one material; a "
       "Basic-model mesh set holds at most 65535\n"},
      // The Chunk-input route.
      {bad, {"-bin"}, nullptr, 0, Code::kBadInput, false, badChunk, chunkHead + badChunk},
      {chunk, {"-bin"}, &noOpen, 0, Code::kCantOpen, true, "Error : Can't open file %s/m.vk.tmp~\n",
       chunkHead + "Error : Can't open file %s/m.vk.tmp~\n"},
      {chunk, {"-bin"}, &noRename, 0, Code::kCantWrite, true, "Error : Can't write %s/m.vk\n",
       chunkHead + "Error : Can't write %s/m.vk\n"},
      {chunk, {"-bin"}, &fewPieces, 0, Code::kOutOfMemory, false, "Error: Can't vbuffer malloc page\n",
       chunkHead + "Error: Can't vbuffer malloc page\n"},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.input.substr(0, 12) + " " + c.message);
    ScratchDir dir;
    const auto withDir = [&](std::string text) {
      for (size_t at = text.find("%s"); at != std::string::npos; at = text.find("%s")) text.replace(at, 2, dir.path());
      return text;
    };
    ASSERT_TRUE(WriteFile(dir.file("m.vka"), c.input));
    ASSERT_TRUE(WriteFile(dir.file("m.vk"), "an older binary file"));
    std::vector<std::string> words = {"vkconv", dir.file("m.vka")};
    words.insert(words.end(), c.options.begin(), c.options.end());
    std::vector<char *> argv;
    for (std::string &word : words) argv.push_back(word.data());
    piecesLeft = c.pieces;
    ::testing::internal::CaptureStderr();
    const VKStatus status = RunConversion(static_cast<int>(argv.size()), argv.data(), c.hooks);
    const std::string err = ::testing::internal::GetCapturedStderr(), tail = withDir(c.err);
    EXPECT_EQ(status.code, c.code);
    EXPECT_EQ(status.reported, c.reported);
    EXPECT_EQ(status.message, withDir(c.message));
    EXPECT_EQ(tail.starts_with("[INPUT") ? err : err.substr(err.size() < tail.size() ? 0 : err.size() - tail.size()), tail);
    const std::string once = (c.message.empty() ? tail : withDir(c.message)).substr(0, 20);
    EXPECT_EQ(err.find(once), err.rfind(once)) << "printed twice";
    EXPECT_TRUE(ReadFile(dir.file("m.vka")) == c.input);
    EXPECT_EQ(ReadFile(dir.file("m.vk")), "an older binary file");
    if (c.backup) { EXPECT_TRUE(ReadFile(dir.file("m.vka.bk")) == c.input); }
    EXPECT_EQ(Entries(dir.path()), c.backup ? 3 : 2);
  }
}

// Converts a copy of `model` in a fresh folder: what the run printed, and the file.
std::pair<std::string, std::string> Convert(const std::string &model, const std::vector<std::string> &options) {
  ScratchDir dir;
  EXPECT_TRUE(WriteFile(dir.file("g.vka"), model));
  std::vector<std::string> args = {"g.vka"};
  args.insert(args.end(), options.begin(), options.end());
  const std::string err = RunVkconv(args, dir.path()).err;
  return {err, ReadFile(dir.file("g.vka"))};
}

// -gscale takes finite numbers above 0 only; anything else warns and keeps 1.0.
TEST(Driver, GlobalScaleTakesFiniteNumbersAboveZero) {
  const std::string model = GenerateVka({.baseName = "g", .objects = 2, .gridWidth = 2, .gridHeight = 2});
  const auto plain = Convert(model, {}), milli = Convert(model, {"-gs", "0.001"});
  ASSERT_NE(plain.second, milli.second);
  for (const char *value : {"abc", "nan", "inf", "-2", "0", "1e-50", "1e-3"}) {
    SCOPED_TRACE(value);
    const bool good = value == std::string("1e-3");
    const auto run = Convert(model, {"-gs", value});
    EXPECT_EQ(run.second, (good ? milli : plain).second);
    EXPECT_EQ(run.first, good ? milli.first : "\n##### Warning : Bad global scale " + std::string(value) +
                                                   " (a finite number above 0 is needed); 1.0 is used\n" + plain.first);
  }
}

TEST(Driver, ZeroNormalsUnderGlobalFreezeWarnOncePerObject) {
  // Three objects of 5 x 4 points and 32 triangles without vertex or polygon
  // normals: 57 zero vectors each, in walk order.
  const std::string err =
      Convert(GenerateVka({.baseName = "g", .objects = 3, .gridWidth = 4, .gridHeight = 4, .normals = false}), {"-G"})
          .first;
  std::string expected = "[INPUT BASIC][GLOBAL FREEZE] ";
  for (const char *object : {"o0", "o1", "o2"})
    expected += "WARNING: Floating division by zero [ ScUnitVector ] : zero-length vectors in " + std::string(object) +
                ": 57\n";
  EXPECT_EQ(err.substr(0, err.find("[POLY4N")), expected);
  // With normals there is nothing to warn about.
  EXPECT_EQ(Convert(GenerateVka({.baseName = "g", .objects = 3, .polyNormals = true}), {"-G"}).first.find("WARNING"),
            std::string::npos);
}

}  // namespace
