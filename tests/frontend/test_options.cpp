// The option parser over argument vectors and the strip options, against
// hand-worked flag words and warnings.
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

#include "base/console.h"
#include "frontend/options.h"
#include "support/console_capture.h"

namespace {

using vktest::Capture;

constexpr uint32_t kM = 0x80000000, kO = 0x38000000, kC = 0x40000001;  // default model, output, chunk words

const std::string kWarnVN = "\n##### Warning : Can't use Vertex normal and Polygon vertex normal at the same time. "
                            "[Ingore Vertex normal option _VN]\n";
const std::string kWarnPVC = "\n##### Warning : Can't use Polygon vertex colorand Polygon vertex normal at the same "
                             "time. [Ingore Polygon vertex color option -pvc]\n";
const std::string kWarnVC = "\n##### Warning : Can't use Vertex color and Polygon vertex color at the same time. "
                            "[Ingore vertex color option _D8, _S5, _S4, _IN]\n";

std::string BadScale(const std::string &value) {
  return "\n##### Warning : Bad global scale " + value + " (a finite number above 0 is needed); 1.0 is used\n";
}

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
      {"-gs 0.01", kC, 0, 0, 0, "", nullptr, 0.01f, "-gs -.01"}, {"-gibase|-gs|-GS 3"},
      {"-gs 1e-3", kC, 0, 0, 0, "", nullptr, 0.001f, "-gs -e-3"}, {"-gs -bin", kC, 0, 0x01},
      // -gscale takes finite numbers above 0 only; anything else is 1.0 after a warning
      {"-gs abc", kC, 0, 0, 0, BadScale("abc"), nullptr, 1.0f, "-gs -bc"},
      {"-gs nan", kC, 0, 0, 0, BadScale("nan"), nullptr, 1.0f, "-gs -an"},
      {"-gs inf", kC, 0, 0, 0, BadScale("inf"), nullptr, 1.0f, "-gs -nf"},
      {"-gs 1e39", kC, 0, 0, 0, BadScale("1e39"), nullptr, 1.0f, "-gs -e39"},
      {"-gs 1e-50", kC, 0, 0, 0, BadScale("1e-50"), nullptr, 1.0f, "-gs -e-50"},
      {"-gs 0", kC, 0, 0, 0, BadScale("0"), nullptr, 1.0f, "-gs -"},
      {"-gs 2x", kC, 0, 0, 0, BadScale("2x"), nullptr, 1.0f, "-gs -x"},
      {"-gs -2", kC, 0, 0, 0, BadScale("-2")}, {"-gs -0.5", kC, 0, 0, 0, BadScale("-0.5")},
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
      InitConvertOptions(&options, nullptr);
      options.globalScale = -7.0f;  // every parse must set the scale
      ParseOptions(static_cast<int>(argv.size()), argv.data(), &options);
      ParseStripOptions(static_cast<int>(argv.size()), argv.data(), &options.modelFlags, &options.stripFlags);
      EXPECT_EQ((std::array{options.chunkFlags, options.modelFlags, options.outputFlags, options.stripFlags}),
                (std::array{c.c, kM | c.m, kO | c.o, c.s}));
      EXPECT_EQ(warning.Text(), c.warning);
      EXPECT_EQ(info.Text(), c.gibase != nullptr ? "[GLOBAL INDEX BASE] " + std::string(c.gibase) + " " : "");
      EXPECT_EQ(options.globalScale, c.scale);
      const int32_t gibase = c.gibase != nullptr ? std::stoi(c.gibase) : 0;
      EXPECT_EQ((std::array{options.globalIndex.gibase, options.globalIndex.counter}), (std::array{gibase, gibase}));
      for (float tolerance : options.globalIndex.motionTolerance) EXPECT_EQ(tolerance, -1.0f);
      std::string after;
      for (size_t i = 1; i < words.size(); ++i) after += (i > 1 ? " " : "") + words[i];
      EXPECT_EQ(after, c.after != nullptr ? c.after : alternative);
    }
  }
}

}  // namespace
