// The option parser, the strip options, the chunk completion, the option
// report and the lookups, against hand-worked flag words and texts.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "frontend/console.h"
#include "frontend/options.h"
#include "process/nodelist.h"
#include "process/strip_options.h"

namespace {

std::string Contents(FILE *stream) {
  std::fflush(stream);
  std::rewind(stream);
  std::string text;
  char buffer[256];
  size_t got;
  while ((got = std::fread(buffer, 1, sizeof(buffer), stream)) > 0) text.append(buffer, got);
  return text;
}

// Info and warning streams captured for the length of one parse or report.
class Capture {
 public:
  Capture() : info_(std::tmpfile()), warning_(std::tmpfile()) {
    SetInfoStream(info_);
    SetWarningStream(warning_);
  }
  ~Capture() {
    SetInfoStream(stderr);
    SetWarningStream(stderr);
    std::fclose(info_);
    std::fclose(warning_);
  }
  Capture(const Capture &) = delete;
  Capture &operator=(const Capture &) = delete;
  std::string info() { return Contents(info_); }
  std::string warning() { return Contents(warning_); }

 private:
  FILE *info_;
  FILE *warning_;
};

// Mutable copies of the words, since the parser overwrites value arguments.
struct Argv {
  explicit Argv(const std::vector<std::string> &words) : storage(words) {
    storage.insert(storage.begin(), "vkconv");
    for (std::string &word : storage) pointers.push_back(word.data());
  }
  int argc() const { return static_cast<int>(pointers.size()); }
  char **argv() { return pointers.data(); }
  std::vector<std::string> storage;
  std::vector<char *> pointers;
};

struct Parsed {
  ConvertOptions options;
  float scale;
  std::string info;
  std::string warning;
};

Parsed Parse(const std::vector<std::string> &words) {
  Parsed result{};
  Argv args(words);
  Capture capture;
  SetGlobalScale(-7.0f);  // every parse must set the scale
  InitConvertOptions(&result.options, nullptr);
  ParseOptions(args.argc(), args.argv(), &result.options);
  ParseStripOptions(args.argc(), args.argv(), &result.options.modelFlags, &result.options.stripFlags);
  result.scale = GlobalScale();
  result.info = capture.info();
  result.warning = capture.warning();
  return result;
}

constexpr uint32_t kM = 0x80000000;  // default modelFlags
constexpr uint32_t kO = 0x38000000;  // default outputFlags
constexpr uint32_t kC = 0x40000001;  // default chunkFlags

const std::string kWarnVN =
    "\n##### Warning : Can't use Vertex normal and Polygon vertex normal at the same time. "
    "[Ingore Vertex normal option _VN]\n";
const std::string kWarnPVC =
    "\n##### Warning : Can't use Polygon vertex colorand Polygon vertex normal at the same time. "
    "[Ingore Polygon vertex color option -pvc]\n";
const std::string kWarnVC =
    "\n##### Warning : Can't use Vertex color and Polygon vertex color at the same time. "
    "[Ingore vertex color option _D8, _S5, _S4, _IN]\n";

// `words`: the argument words separated by spaces; alternatives that must give
// the same result separated by '|'.
struct OptionCase {
  const char *words;
  uint32_t model;
  uint32_t output;
  uint32_t strip;
  uint32_t chunk;
  std::string warning;
};

std::vector<std::vector<std::string>> Alternatives(const std::string &text) {
  std::vector<std::vector<std::string>> result(1);
  std::string word;
  auto flush = [&] {
    if (!word.empty()) result.back().push_back(word);
    word.clear();
  };
  for (char c : text) {
    if (c == ' ') {
      flush();
    } else if (c == '|') {
      flush();
      result.emplace_back();
    } else {
      word += c;
    }
  }
  flush();
  return result;
}

TEST(Options, DefaultsOfTheOptionSet) {
  ConvertOptions options;
  InitConvertOptions(&options, nullptr);
  EXPECT_EQ(options.scene, nullptr);
  EXPECT_EQ(options.nodeList, nullptr);
  EXPECT_STREQ(options.inputName, "");
  EXPECT_STREQ(options.outputName, "");
  EXPECT_STREQ(options.texturePath, "");
  EXPECT_EQ(options.modelFlags, kM);
  EXPECT_EQ(options.outputFlags, kO);
  EXPECT_EQ(options.stripFlags, 0u);
  EXPECT_EQ(options.chunkFlags, kC);
  for (float angle : options.rootRotation) EXPECT_EQ(angle, 0.0f);
  EXPECT_EQ(options.globalIndex.gibase, 0);
  for (float tolerance : options.globalIndex.motionTolerance) EXPECT_EQ(tolerance, -1.0f);
}

TEST(Options, EveryRowAndConflictRule) {
  const OptionCase cases[] = {
      {"|file.vka -unknown -TRR", kM, kO, 0, kC, ""},
      // modelFlags
      {"-trr|-a", kM | 0x04, kO, 0, kC, ""},
      {"-trt|-b|-trt -trr", kM | 0x08, kO, 0, kC, ""},
      {"-trs|-c|-trs -trr", kM | 0x10, kO, 0, kC, ""},
      {"-polynormal|-pn", kM | 0x20000000, kO, 0, kC, ""},
      {"-forcetex|-ft", kM | 0x40000000, kO, 0, kC, ""},
      {"-notexture|-nt", kM | 0x02, kO, 0, kC, ""},
      {"-noflags|-nf", kM | 0x1000, kO, 0, kC, ""},
      {"-noenv|-ne", kM | 0x00800000, kO, 0, kC, ""},
      {"-4to3|-t3", kM | 0x00100000, kO, 0, kC, ""},
      {"-nto3|-T3", kM | 0x00200000, kO, 0, kC, ""},
      {"-n4to3|-Tt", kM | 0x00300000, kO, 0, kC, ""},
      {"-rmb|-R", kM | 0x01, kO, 0, kC, ""},
      // outputFlags
      {"-nodiffuse|-nd", kM, kO | 0x80000000, 0, kC, ""},
      {"-nocrop|-nc", kM, kO | 0x40000000, 0, kC, ""},
      {"-Info|-I", kM, kO | 0x04000000, 0, kC, ""},
      {"-bin|-BIN", kM, kO | 0x01, 0, kC, ""},
      {"-G", kM, kO | 0x00010000, 0, kC, ""},
      {"-GM", kM, kO | 0x00018000, 0, kC, ""},
      {"-pvn", kM, kO | 0x4000, 0, 0x00000001, kWarnVN},
      {"-pvc", kM, kO | 0x2000, 0, kC, ""},
      {"-rva", kM, kO | 0x02000000, 0, kC, ""},
      {"-nvc -novc -nvd -novd -nva -nova -nvs -novs", kM, kO, 0, kC, ""},
      {"-texn3|-TEXN3", kM, kO | 0x1000, 0, kC, ""},
      {"-bindebug|-BD|-bin -bindebug", kM, kO | 0x03, 0, kC, ""},
      {"-septex|-st", kM, kO | 0x01000000, 0, kC, ""},
      {"-IM0|-InpMot0", kM, kO | 0x00800000, 0, kC, ""},
      {"-pvm|-outpvm", kM, kO | 0x00400000, 0, kC, ""},
      // chunk vertex types: the one lowest in the table wins
      {"-SH", kM, kO, 0, 0x00000000, ""},
      {"-VNSH|-VN_SH", kM, kO, 0, 0x40000000, ""},
      {"-CV", kM, kO, 0, 0x00000001, ""},
      {"-D8|-D8 -CV|-CV -D8", kM, kO, 0, 0x00000002, ""},
      {"-UF", kM, kO, 0, 0x00000003, ""},
      {"-NF", kM, kO, 0, 0x00000004, ""},
      {"-S5", kM, kO, 0, 0x00000005, ""},
      {"-S4", kM, kO, 0, 0x00000006, ""},
      {"-IN", kM, kO, 0, 0x00000007, ""},
      {"-VN", kM, kO, 0, 0x40000001, ""},
      {"-VND8|-VN_D8", kM, kO, 0, 0x40000002, ""},
      {"-VNUF|-VN_UF", kM, kO, 0, 0x40000003, ""},
      {"-VNNF|-VN_NF", kM, kO, 0, 0x40000004, ""},
      {"-VNS5|-VN_S5", kM, kO, 0, 0x40000005, ""},
      {"-VNS4|-VN_S4", kM, kO, 0, 0x40000006, ""},
      {"-VNIN|-VN_IN", kM, kO, 0, 0x40000007, ""},
      {"-VNX", kM, kO, 0, 0x20000001, ""},
      {"-VNXD8|-VNX_D8", kM, kO, 0, 0x20000002, ""},
      {"-VNXUF|-VNX_UF|-VNXUF -SH", kM, kO, 0, 0x20000003, ""},
      // other chunk options
      {"-VCOM", kM, kO, 0, kC | 0x10000000, ""},
      {"-uvh", kM, kO, 0, kC | 0x4000, ""},
      {"-uvn|-uvn -uvh", kM, kO, 0, kC, ""},
      {"-delmat|-dm", kM, kO, 0, kC | 0x10000, ""},
      {"-dma|-delmatall", kM, kO, 0, kC | 0x8000, ""},
      {"-vctouf", kM, kO, 0, kC | 0x08000000, ""},
      {"-pctouf", kM, kO, 0, kC | 0x2000, ""},
      {"-co3|-volume3", kM, kO, 0, kC | 0x04000000, ""},
      {"-co34|-volume34|-co3 -co34", kM, kO, 0, kC | 0x06000000, ""},
      {"-coS|-volumeS|-coS -co34 -co3", kM, kO, 0, kC | 0x02000000, ""},
      {"-delambi|-da", kM, kO, 0, kC | 0x100, ""},
      {"-euv|-envuv", kM, kO, 0, kC | 0x1000, ""},
      // conflict rules
      {"-pvn -pvc", kM, kO | 0x4000, 0, 0x00000001, kWarnVN + kWarnPVC},
      {"-pvc -VNS5", kM, kO | 0x2000, 0, 0x40000001, kWarnVC},
      {"-pvc -D8|-pvc -S4|-pvc -IN", kM, kO | 0x2000, 0, 0x00000001, kWarnVC},
      {"-pvc -VNXD8", kM, kO | 0x2000, 0, 0x20000001, kWarnVC},
      {"-pvc -UF", kM, kO | 0x2000, 0, 0x00000003, ""},
      {"-pvc -NF", kM, kO | 0x2000, 0, 0x00000004, ""},
      {"-pvn -VNS5", kM, kO | 0x4000, 0, 0x00000005, kWarnVN},
      {"-pvn -D8", kM, kO | 0x4000, 0, 0x00000002, ""},
      {"-pvn -pvc -D8", kM, kO | 0x4000, 0, 0x00000002, kWarnPVC},
      {"-pvn -pvc -VNS5", kM, kO | 0x4000, 0, 0x00000005, kWarnVN + kWarnPVC},
      // strip options (case matters)
      {"-Strip|-S", kM, kO, 0x80000000, kC, ""},
      {"-St", kM | 0x00100000, kO, 0x80000000, kC, ""},
      {"-ST", kM | 0x00200000, kO, 0x80000000, kC, ""},
      {"-STt", kM | 0x00300000, kO, 0x80000000, kC, ""},
      {"-strip -sT", kM, kO, 0, kC, ""},
  };
  for (const OptionCase &c : cases) {
    for (const std::vector<std::string> &words : Alternatives(c.words)) {
      std::string label;
      for (const std::string &word : words) label += word + " ";
      SCOPED_TRACE(label);
      const Parsed parsed = Parse(words);
      EXPECT_EQ(parsed.options.modelFlags, c.model);
      EXPECT_EQ(parsed.options.outputFlags, c.output);
      EXPECT_EQ(parsed.options.stripFlags, c.strip);
      EXPECT_EQ(parsed.options.chunkFlags, c.chunk);
      EXPECT_EQ(parsed.warning, c.warning);
      EXPECT_EQ(parsed.info, "");
      EXPECT_EQ(parsed.scale, 1.0f);
      EXPECT_EQ(parsed.options.globalIndex.gibase, 0);
    }
  }
}

TEST(Options, ValueOptions) {
  struct ValueCase {
    std::vector<std::string> words;
    int32_t gibase;
    float scale;
    std::string info;
    std::vector<std::string> after;  // the words after parsing
  };
  const ValueCase cases[] = {
      {{"f.vka", "-gibase", "100"}, 100, 1.0f, "[GLOBAL INDEX BASE] 100 ", {"f.vka", "-gibase", "-00"}},
      {{"f.vka", "-g", "-5"}, -5, 1.0f, "[GLOBAL INDEX BASE] -5 ", {"f.vka", "-g", "-5"}},
      {{"f.vka", "-gibase"}, 0, 1.0f, "", {"f.vka", "-gibase"}},
      {{"f.vka", "-g", "abc"}, 0, 1.0f, "[GLOBAL INDEX BASE] 0 ", {"f.vka", "-g", "-bc"}},
      {{"f.vka", "-gscale", "2.5"}, 0, 2.5f, "", {"f.vka", "-gscale", "-.5"}},
      {{"f.vka", "-gs", "0.01"}, 0, 0.01f, "", {"f.vka", "-gs", "-.01"}},
      {{"f.vka", "-gs", "-2"}, 0, 1.0f, "", {"f.vka", "-gs", "-2"}},
      {{"f.vka", "-gs"}, 0, 1.0f, "", {"f.vka", "-gs"}},
      {{"f.vka", "-GS", "3"}, 0, 1.0f, "", {"f.vka", "-GS", "3"}},
      {{"f.vka", "-g", "7", "-gs", "4"}, 7, 4.0f, "[GLOBAL INDEX BASE] 7 ", {"f.vka", "-g", "-", "-gs", "-"}},
  };
  for (const ValueCase &c : cases) {
    SCOPED_TRACE(c.words.back());
    Argv args(c.words);
    ConvertOptions options;
    Capture capture;
    SetGlobalScale(-7.0f);
    InitConvertOptions(&options, nullptr);
    ParseOptions(args.argc(), args.argv(), &options);
    EXPECT_EQ(options.globalIndex.gibase, c.gibase);
    EXPECT_EQ(options.globalIndex.counter, c.gibase);
    EXPECT_EQ(GlobalScale(), c.scale);
    EXPECT_EQ(capture.info(), c.info);
    ASSERT_EQ(args.storage.size(), c.after.size() + 1);
    for (size_t i = 0; i < c.after.size(); ++i) EXPECT_STREQ(args.argv()[i + 1], c.after[i].c_str());
  }
  SetGlobalScale(1.0f);
}

TEST(Options, CompleteChunkOptions) {
  struct CompleteCase {
    uint32_t chunk, strip, model;
    uint32_t chunkAfter, stripAfter, modelAfter;
  };
  const CompleteCase cases[] = {
      {kC, 0, kM, kC | 0x80000000, 0x80000000, kM | 0x00300000},
      {kC | 0x04000000, 0x80000000, kM, kC | 0x84000000, 0, kM | 0x00300000},
      {kC | 0x06000000, 0x80000000, kM, kC | 0x86000000, 0xC0000000, kM | 0x00300000},
      {kC | 0x06000000, 0, kM | 0x00100000, kC | 0x86000000, 0x40000000, kM | 0x00300000},
      {kC | 0x02000000, 0, kM, kC | 0x82000000, 0x80000000, kM | 0x00300000},
  };
  for (const CompleteCase &c : cases) {
    uint32_t chunk = c.chunk, strip = c.strip, model = c.model;
    CompleteChunkOptions(&chunk, &strip, &model);
    EXPECT_EQ(chunk, c.chunkAfter);
    EXPECT_EQ(strip, c.stripAfter);
    EXPECT_EQ(model, c.modelAfter);
  }
}

TEST(Options, OptionReport) {
  const std::string kScaleWarning = "\n##### Warning : You must do scale freeze for motion !\n";
  struct ReportCase {
    uint32_t model, output, info, chunk;
    std::string text;
    std::string warning;
  };
  const ReportCase cases[] = {
      {kM | 0x00300000, kO, 0, kC | 0x80000000,
       "[ChunkV Type CnkV_VN] [UVN(0-255)] [MATERIAL NAME] ", ""},
      {kM, kO, 0, kC, "[MATERIAL NAME] ", ""},
      {kM | 0x1000, kO | 0x01, 0, kC, "[BIN] ", ""},
      {kM | 0x02 | 0x00800000 | 0x40000000 | 0x20000000,
       kO | 0x01000000 | 0x03 | 0x80000000 | 0x4000 | 0x2000 | 0x1000, 0,
       0x80000000 | 0x10000000 | 0x4000 | 0x8000 | 0x10000 | 0x08000000 | 0x2000 | 0x1000 |
           0x06000000 | 0x100 | 0x20000003,
       "[SEPARATE TEXLIST] [IGNORE TEXTURE] [BIN DEBUG] [IGNORE ENV] [IGNORE DIFFUSE] "
       "[ChunkV Type CnkV_VNX_UF] [VLIST COMMENT] [UVH(0-1023)] [DELETE ALL MATERIALS] "
       "[VCOLOR TO USERFLAG] [PCOLOR TO USERFLAG] [PRINT ENVUV] [VOLUME34] [DELETE AMBIENT] "
       "[MATERIAL NAME] [FORCE TEXTURE] [POLYGON NORMAL] [POLYGON VERTEX NORMAL] "
       "[POLYGON VERTEX COLOR] [USE TEXN3 MACRO] ",
       ""},
      {kM | 0x1000, kO, 0, 0x80010000 | 0x04000000 | 0x00000002,
       "[ChunkV Type CnkV_D8] [UVN(0-255)] [DELETE TEXTURE MATERIALS] [VOLUME3] ", ""},
      {kM | 0x1000, kO, 0, 0x80000000 | 0x02000000, "[ChunkV Type CnkV_SH] [UVN(0-255)] [VOLUMES] ", ""},
      {kM, kO, 0, 0x80000000 | 0x20000006, "[MATERIAL NAME] ", "\n##### Warning : Bad CnkV type\n"},
      {kM, kO, 0x20, kC, "[MATERIAL NAME] [TYPE A] ", kScaleWarning},
      {kM | 0x04, kO, 0x20, kC, "[MATERIAL NAME] [TYPE A] ", kScaleWarning},
      {kM | 0x08, kO, 0x20, kC, "[MATERIAL NAME] [TYPE B] ", kScaleWarning},
      {kM | 0x10, kO, 0x20, kC, "[MATERIAL NAME] ", ""},
      {kM | 0x08, kO, 0x10, kC, "[MATERIAL NAME] ", ""},
  };
  for (const ReportCase &c : cases) {
    SCOPED_TRACE(c.text);
    Capture capture;
    PrintOptionReportWords(c.model, c.output, c.info, c.chunk);
    EXPECT_EQ(capture.info(), c.text);
    EXPECT_EQ(capture.warning(), c.warning);
  }

  // From a node list, and silenced with the info stream while warnings stay.
  ScNodeList list{};
  list.optionbits = kM | 0x08;
  list.optionbits2 = kO | 0x01;
  list.infobits = 0x20;
  {
    Capture capture;
    PrintOptionReport(&list, kC | 0x80000000);
    EXPECT_EQ(capture.info(), "[BIN] [ChunkV Type CnkV_VN] [UVN(0-255)] [MATERIAL NAME] [TYPE B] ");
    EXPECT_EQ(capture.warning(), kScaleWarning);
  }
  {
    Capture capture;
    SetInfoStream(nullptr);
    PrintOptionReport(&list, kC | 0x80000000);
    Argv args({"f.vka", "-gibase", "3"});
    ConvertOptions options;
    InitConvertOptions(&options, nullptr);
    ParseOptions(args.argc(), args.argv(), &options);
    EXPECT_EQ(options.globalIndex.gibase, 3);
    EXPECT_EQ(capture.warning(), kScaleWarning);
  }
}

TEST(Options, Lookups) {
  const char *argv[] = {"vkconv", "-gibase", "100", "model.vka", "-B", "-gs", "-2", "other"};
  const int argc = 8;
  EXPECT_EQ(FindOption(argc, argv, "-B", "-basic"), 4);
  EXPECT_EQ(FindOption(argc, argv, "-basic", "-B"), 4);
  EXPECT_EQ(FindOption(argc, argv, "-b", nullptr), -1);
  EXPECT_EQ(FindOption(argc, argv, "vkconv", nullptr), 0);
  EXPECT_EQ(FindOption1(argc, argv, "-gs"), 5);
  EXPECT_EQ(FindOption1(argc, argv, "-g"), -1);
  EXPECT_EQ(FindOptionValue(argc, argv, "-gibase", "-g"), 2);
  EXPECT_EQ(FindOptionValue(argc, argv, "-gscale", "-gs"), -1);
  EXPECT_EQ(FindOptionValue(argc, argv, "-nothere", nullptr), -1);
  EXPECT_EQ(FindOptionValue(3, argv, "100", nullptr), -1);  // last argument
  // The value of -gibase placed first is taken for the input file.
  EXPECT_EQ(FindInputArgument(argc, argv, 0), 2);
  EXPECT_EQ(FindInputArgument(argc, argv, 1), 3);
  EXPECT_EQ(FindInputArgument(argc, argv, 2), 7);
  EXPECT_EQ(FindInputArgument(argc, argv, 3), -1);
  const char *onlyOptions[] = {"name", "-h"};
  EXPECT_EQ(FindInputArgument(2, onlyOptions, 0), -1);
}

TEST(Options, VertexTypeNames) {
  EXPECT_STREQ(ChunkVertexTypeName(0x40000001), "CnkV_VN");
  EXPECT_STREQ(ChunkVertexTypeName(0xC6000001), "CnkV_VN");
  EXPECT_STREQ(ChunkVertexTypeName(0x00000000), "CnkV_SH");
  EXPECT_STREQ(ChunkVertexTypeName(0x20000002), "CnkV_VNX_D8");
  EXPECT_EQ(ChunkVertexTypeName(0x20000000), nullptr);
  EXPECT_EQ(ChunkVertexTypeName(0x60000001), nullptr);
}

}  // namespace
