// The console printers and file-name utilities; the option parser over
// argument vectors, the chunk completion and the option report; all against
// hand-worked texts and flag words.
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "frontend/console.h"
#include "frontend/options.h"
#include "process/nodelist.h"
#include "process/strip_options.h"

namespace {

// Redirects one console stream into a temporary file for the object's life.
class Capture {
 public:
  Capture(FILE *(*get)(), void (*set)(FILE *)) : set_(set), old_(get()), file_(std::tmpfile()) { set_(file_); }
  ~Capture() {
    set_(old_);
    std::fclose(file_);
  }
  std::string Text() {  // everything written so far
    std::string text(static_cast<size_t>(std::ftell(file_)), '\0');
    std::rewind(file_);
    text.resize(std::fread(text.data(), 1, text.size(), file_));
    std::fseek(file_, 0, SEEK_END);
    return text;
  }

 private:
  void (*set_)(FILE *);
  FILE *old_;
  FILE *file_;
};

TEST(Console, EachPrinterWritesToItsStreamWithItsDecoration) {
  Capture message(MessageStream, SetMessageStream), info(InfoStream, SetInfoStream),
      error(ErrorStream, SetErrorStream), warning(WarningStream, SetWarningStream), note(NoteStream, SetNoteStream);
  PrintMessage("[INPUT BASIC]");
  PrintInfo("[GLOBAL INDEX BASE] %d ", 100);
  PrintError("Error : Bad %s\n", "thing");
  PrintWarning("Warning : %d\n", 7);
  PrintNote("Error: Can't create backup file.\n");
  PrintStripStatistics(18, 54, 14, 46);
  SetInfoStream(nullptr);  // silent while the others still print
  PrintInfo("[GLOBAL INDEX BASE] %d ", 5);
  PrintWarning("Warning : still here\n");
  EXPECT_EQ(message.Text(),
            "[INPUT BASIC]polygon_total_n 18\npolygon_vertex_sum 54\nstrip_total_n 14\nstrip_vertex_sum 46\n");
  EXPECT_EQ(info.Text(), "[GLOBAL INDEX BASE] 100 ");
  EXPECT_EQ(error.Text(), "\n##### Error : Bad thing\n");
  EXPECT_EQ(warning.Text(), "\n##### Warning : 7\n\n##### Warning : still here\n");
  EXPECT_EQ(note.Text(), "Error: Can't create backup file.\n");
}

TEST(ConsoleDeathTest, FatalStopsEndWithStatusZeroAfterTheirMessage) {
  EXPECT_EXIT(FatalError("Error : Can't malloc %s\n", "nodes(ScGetNodeList)"), ::testing::ExitedWithCode(0),
              "^\n##### Error : Can't malloc nodes\\(ScGetNodeList\\)\n$");
  EXPECT_EXIT(FatalPlain("Error : pool %s\n", "tag"), ::testing::ExitedWithCode(0), "^Error : pool tag\n$");
}

// Each name sits in a name buffer followed by guard bytes that must survive;
// names filling the buffer get a cut suffix.
TEST(FileNames, SuffixOperations) {
  const std::string a253(253, 'a');
  const struct {
    std::string name, suffix, replaced;  // ReplaceSuffix, and CheckSuffix too
    bool warns;                          // CheckSuffix
    std::string stripped;                // StripSuffix
  } cases[] = {
      {"model.vka", ".vka", "model.vka", false, "model"}, {"model.txt", ".vka", "model.vka", true, "model"},
      {"model", ".vka", "model.vka", false, "model"},     {"a.b.c", ".vk", "a.b.vk", true, "a.b"},
      {"model.VKA", ".vka", "model.vka", true, "model"},  {"model.vka", ".vk", "model.vk", true, "model"},
      {"model.", ".vka", "model.vka", true, "model"},     {"dir.x/model", ".vka", "dir.vka", true, "dir"},
      {a253 + "aa", ".vka", a253 + "aa", false, a253 + "aa"}, {a253, ".vka", a253 + ".v", false, a253},
      {a253 + ".x", ".vka", a253 + ".v", true, a253},        {a253 + "a.", ".vka", a253 + "a.", true, a253 + "a"},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.name);
    for (int op = 0; op < 3; ++op) {  // ReplaceSuffix, CheckSuffix, StripSuffix
      char name[kNameSize + 8];
      std::memset(name, '#', sizeof name);
      std::strcpy(name, c.name.c_str());
      ::testing::internal::CaptureStderr();
      if (op == 0) ReplaceSuffix(name, c.suffix.c_str());
      if (op == 1) CheckSuffix(name, c.suffix.c_str());
      if (op == 2) StripSuffix(name);
      EXPECT_EQ(::testing::internal::GetCapturedStderr(), op == 1 && c.warns ? "Warning : Mismatch suffix\n" : "");
      EXPECT_EQ(name, op == 2 ? c.stripped : c.replaced);
      EXPECT_EQ(std::string(name + kNameSize, 8), std::string(8, '#'));
    }
  }
}

TEST(FileNames, BaseNameSplitsAtBothSeparators) {
  const char *cases[][2] = {{"ship.vka", "ship.vka"}, {"models/ship.vka", "ship.vka"},
                            {"c:\\art\\ship.vka", "ship.vka"}, {"a\\b/c\\ship", "ship"}, {"dir/", ""}, {"", ""}};
  for (const auto &c : cases) EXPECT_STREQ(BaseName(c[0]), c[1]) << c[0];
}

constexpr uint32_t kM = 0x80000000, kO = 0x38000000, kC = 0x40000001;  // default model, output, chunk words

const std::string kWarnVN = "\n##### Warning : Can't use Vertex normal and Polygon vertex normal at the same time. "
                            "[Ingore Vertex normal option _VN]\n";
const std::string kWarnPVC = "\n##### Warning : Can't use Polygon vertex colorand Polygon vertex normal at the same "
                             "time. [Ingore Polygon vertex color option -pvc]\n";
const std::string kWarnVC = "\n##### Warning : Can't use Vertex color and Polygon vertex color at the same time. "
                            "[Ingore vertex color option _D8, _S5, _S4, _IN]\n";

// `words`: the argument words; alternatives giving the same result are
// separated by '|'. c is the chunk word; m and o are added to the default
// model and output words. `gibase`: the -gibase value when one is reported.
// `after`: the words once parsed, when the parser overwrote a value argument.
struct OptionCase {
  const char *words;
  uint32_t c = kC, m = 0, o = 0, s = 0;
  std::string warning = "";
  const char *gibase = nullptr;
  float scale = 1.0f;
  const char *after = nullptr;
};

TEST(Options, EveryRowConflictRuleAndValue) {
  const OptionCase cases[] = {
      {"|file.vka -unknown -TRR"},
      // modelFlags
      {"-trr|-a", kC, 0x04}, {"-trt|-b|-trt -trr", kC, 0x08}, {"-trs|-c|-trs -trr", kC, 0x10},
      {"-notexture|-nt", kC, 0x02}, {"-polynormal|-pn", kC, 0x20000000}, {"-forcetex|-ft", kC, 0x40000000},
      {"-noflags|-nf", kC, 0x1000}, {"-noenv|-ne", kC, 0x00800000}, {"-4to3|-t3", kC, 0x00100000},
      {"-nto3|-T3", kC, 0x00200000}, {"-n4to3|-Tt", kC, 0x00300000}, {"-rmb|-R", kC, 0x01},
      // outputFlags
      {"-nodiffuse|-nd", kC, 0, 0x80000000}, {"-nocrop|-nc", kC, 0, 0x40000000}, {"-Info|-I", kC, 0, 0x04000000},
      {"-bin|-BIN", kC, 0, 0x01}, {"-G", kC, 0, 0x00010000}, {"-GM", kC, 0, 0x00018000}, {"-pvc", kC, 0, 0x2000},
      {"-pvn", 0x00000001, 0, 0x4000, 0, kWarnVN}, {"-rva", kC, 0, 0x02000000}, {"-texn3|-TEXN3", kC, 0, 0x1000},
      {"-nvc -novc -nvd -novd -nva -nova -nvs -novs"}, {"-bindebug|-BD|-bin -bindebug", kC, 0, 0x03},
      {"-septex|-st", kC, 0, 0x01000000}, {"-IM0|-InpMot0", kC, 0, 0x00800000}, {"-pvm|-outpvm", kC, 0, 0x00400000},
      // chunk vertex types: the one lowest in the table wins
      {"-SH", 0x00000000}, {"-VNSH|-VN_SH", 0x40000000}, {"-CV", 0x00000001}, {"-D8|-D8 -CV|-CV -D8", 0x00000002},
      {"-UF", 0x00000003}, {"-NF", 0x00000004}, {"-S5", 0x00000005}, {"-S4", 0x00000006}, {"-IN", 0x00000007},
      {"-VN", 0x40000001}, {"-VND8|-VN_D8", 0x40000002}, {"-VNUF|-VN_UF", 0x40000003}, {"-VNX", 0x20000001},
      {"-VNNF|-VN_NF", 0x40000004}, {"-VNS5|-VN_S5", 0x40000005}, {"-VNS4|-VN_S4", 0x40000006},
      {"-VNIN|-VN_IN", 0x40000007}, {"-VNXD8|-VNX_D8", 0x20000002}, {"-VNXUF|-VNX_UF|-VNXUF -SH", 0x20000003},
      // other chunk options
      {"-VCOM", kC | 0x10000000}, {"-uvh", kC | 0x4000}, {"-uvn|-uvn -uvh"}, {"-delmat|-dm", kC | 0x10000},
      {"-dma|-delmatall", kC | 0x8000}, {"-vctouf", kC | 0x08000000}, {"-pctouf", kC | 0x2000},
      {"-delambi|-da", kC | 0x100}, {"-euv|-envuv", kC | 0x1000}, {"-co3|-volume3", kC | 0x04000000},
      {"-co34|-volume34|-co3 -co34", kC | 0x06000000}, {"-coS|-volumeS|-coS -co34 -co3", kC | 0x02000000},
      // conflict rules
      {"-pvn -pvc", 0x00000001, 0, 0x4000, 0, kWarnVN + kWarnPVC}, {"-pvc -VNS5", 0x40000001, 0, 0x2000, 0, kWarnVC},
      {"-pvc -D8|-pvc -S4|-pvc -IN", 0x00000001, 0, 0x2000, 0, kWarnVC},
      {"-pvc -VNXD8", 0x20000001, 0, 0x2000, 0, kWarnVC}, {"-pvc -UF", 0x00000003, 0, 0x2000},
      {"-pvc -NF", 0x00000004, 0, 0x2000}, {"-pvn -VNS5", 0x00000005, 0, 0x4000, 0, kWarnVN},
      {"-pvn -D8", 0x00000002, 0, 0x4000}, {"-pvn -pvc -D8", 0x00000002, 0, 0x4000, 0, kWarnPVC},
      {"-pvn -pvc -VNS5", 0x00000005, 0, 0x4000, 0, kWarnVN + kWarnPVC},
      // strip options (case matters)
      {"-Strip|-S", kC, 0, 0, 0x80000000}, {"-St", kC, 0x00100000, 0, 0x80000000}, {"-strip -sT"},
      {"-ST", kC, 0x00200000, 0, 0x80000000}, {"-STt", kC, 0x00300000, 0, 0x80000000},
      // value options
      {"-gibase 100", kC, 0, 0, 0, "", "100", 1.0f, "-gibase -00"}, {"-g -5", kC, 0, 0, 0, "", "-5"},
      {"-g abc", kC, 0, 0, 0, "", "0", 1.0f, "-g -bc"}, {"-gscale 2.5", kC, 0, 0, 0, "", nullptr, 2.5f, "-gscale -.5"},
      {"-gs 0.01", kC, 0, 0, 0, "", nullptr, 0.01f, "-gs -.01"}, {"-gs -2|-gibase|-gs|-GS 3"},
      {"-g 7 -gs 4", kC, 0, 0, 0, "", "7", 4.0f, "-g - -gs -"},
  };
  for (const OptionCase &c : cases) {
    std::istringstream alternatives(c.words);
    for (std::string alternative; std::getline(alternatives, alternative, '|');) {
      SCOPED_TRACE(alternative);
      std::vector<std::string> words{"vkconv"};
      std::istringstream in(alternative);
      for (std::string word; in >> word;) words.push_back(word);
      std::vector<char *> argv;
      for (std::string &word : words) argv.push_back(word.data());
      ConvertOptions options;
      Capture info(InfoStream, SetInfoStream), warning(WarningStream, SetWarningStream);
      SetGlobalScale(-7.0f);  // every parse must set the scale
      InitConvertOptions(&options, nullptr);
      ParseOptions(static_cast<int>(argv.size()), argv.data(), &options);
      ParseStripOptions(static_cast<int>(argv.size()), argv.data(), &options.modelFlags, &options.stripFlags);
      EXPECT_EQ((std::array{options.chunkFlags, options.modelFlags, options.outputFlags, options.stripFlags}),
                (std::array{c.c, kM | c.m, kO | c.o, c.s}));
      EXPECT_EQ(warning.Text(), c.warning);
      EXPECT_EQ(info.Text(), c.gibase != nullptr ? "[GLOBAL INDEX BASE] " + std::string(c.gibase) + " " : "");
      EXPECT_EQ(GlobalScale(), c.scale);
      const int32_t gibase = c.gibase != nullptr ? std::stoi(c.gibase) : 0;
      EXPECT_EQ((std::array{options.globalIndex.gibase, options.globalIndex.counter}), (std::array{gibase, gibase}));
      for (float tolerance : options.globalIndex.motionTolerance) EXPECT_EQ(tolerance, -1.0f);
      std::string after;
      for (size_t i = 1; i < words.size(); ++i) after += (i > 1 ? " " : "") + words[i];
      EXPECT_EQ(after, c.after != nullptr ? c.after : alternative);
    }
  }
  SetGlobalScale(1.0f);
}

TEST(Options, CompleteChunkOptions) {
  using Words = std::array<uint32_t, 3>;  // chunk, strip, model
  const std::pair<Words, Words> cases[] = {
      {{kC, 0, kM}, {kC | 0x80000000, 0x80000000, kM | 0x00300000}},
      {{kC | 0x04000000, 0x80000000, kM}, {kC | 0x84000000, 0, kM | 0x00300000}},
      {{kC | 0x06000000, 0x80000000, kM}, {kC | 0x86000000, 0xC0000000, kM | 0x00300000}},
      {{kC | 0x06000000, 0, kM | 0x00100000}, {kC | 0x86000000, 0x40000000, kM | 0x00300000}},
      {{kC | 0x02000000, 0, kM}, {kC | 0x82000000, 0x80000000, kM | 0x00300000}},
  };
  for (auto [words, expected] : cases) {
    CompleteChunkOptions(&words[0], &words[1], &words[2]);
    EXPECT_EQ(words, expected);
  }
}

TEST(Options, OptionReport) {
  const std::string kScale = "\n##### Warning : You must do scale freeze for motion !\n", kName = "[MATERIAL NAME] ";
  const struct {
    uint32_t model, output, info, chunk;
    std::string text, warning;
  } cases[] = {
      {kM | 0x00300000, kO, 0, kC | 0x80000000, "[ChunkV Type CnkV_VN] [UVN(0-255)] " + kName, ""},
      {kM, kO, 0, kC, kName, ""},
      {kM | 0x1000, kO | 0x01, 0, kC, "[BIN] ", ""},
      {0xE0800002, 0xB9007003, 0, 0xBE01F103,  // every bit the report names
       "[SEPARATE TEXLIST] [IGNORE TEXTURE] [BIN DEBUG] [IGNORE ENV] [IGNORE DIFFUSE] [ChunkV Type CnkV_VNX_UF] "
       "[VLIST COMMENT] [UVH(0-1023)] [DELETE ALL MATERIALS] [VCOLOR TO USERFLAG] [PCOLOR TO USERFLAG] "
       "[PRINT ENVUV] [VOLUME34] [DELETE AMBIENT] [MATERIAL NAME] [FORCE TEXTURE] [POLYGON NORMAL] "
       "[POLYGON VERTEX NORMAL] [POLYGON VERTEX COLOR] [USE TEXN3 MACRO] ", ""},
      {kM | 0x1000, kO, 0, 0x80010000 | 0x04000000 | 0x00000002,
       "[ChunkV Type CnkV_D8] [UVN(0-255)] [DELETE TEXTURE MATERIALS] [VOLUME3] ", ""},
      {kM | 0x1000, kO, 0, 0x80000000 | 0x02000000, "[ChunkV Type CnkV_SH] [UVN(0-255)] [VOLUMES] ", ""},
      {kM, kO, 0, 0x80000000 | 0x20000006, kName, "\n##### Warning : Bad CnkV type\n"},
      {kM, kO, 0x20, kC, kName + "[TYPE A] ", kScale}, {kM | 0x04, kO, 0x20, kC, kName + "[TYPE A] ", kScale},
      {kM | 0x08, kO, 0x20, kC, kName + "[TYPE B] ", kScale}, {kM | 0x10, kO, 0x20, kC, kName, ""},
      {kM | 0x08, kO, 0x10, kC, kName, ""},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.text);
    Capture info(InfoStream, SetInfoStream), warning(WarningStream, SetWarningStream);
    PrintOptionReportWords(c.model, c.output, c.info, c.chunk);
    EXPECT_EQ(info.Text(), c.text);
    EXPECT_EQ(warning.Text(), c.warning);
  }
  // From a node list; then with the info stream silenced, warnings stay.
  ScNodeList list{};
  list.optionbits = kM | 0x08;
  list.optionbits2 = kO | 0x01;
  list.infobits = 0x20;
  Capture info(InfoStream, SetInfoStream), warning(WarningStream, SetWarningStream);
  PrintOptionReport(&list, kC | 0x80000000);
  SetInfoStream(nullptr);
  PrintOptionReport(&list, kC | 0x80000000);
  EXPECT_EQ(info.Text(), "[BIN] [ChunkV Type CnkV_VN] [UVN(0-255)] [MATERIAL NAME] [TYPE B] ");
  EXPECT_EQ(warning.Text(), kScale + kScale);
}

}  // namespace
