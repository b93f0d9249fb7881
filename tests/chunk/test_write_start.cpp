// The chunk completion of the option words, and the option report that the
// model writers print as they start, against hand-worked words and tag
// texts (the tags of single option families are held by the golden runs).
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <string>
#include <utility>

#include "chunk/chunk_writer.h"
#include "chunk/write_start.h"
#include "process/nodelist.h"
#include "support/console_capture.h"

namespace {

using vktest::Capture;

constexpr uint32_t kM = 0x80000000, kO = 0x38000000, kC = 0x40000001;  // default model, output, chunk words

TEST(WriteStart, CompleteChunkOptions) {
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

TEST(WriteStart, OptionReport) {
  const std::string kScale = "\n##### Warning : You must do scale freeze for motion !\n", kName = "[MATERIAL NAME] ";
  const struct {
    uint32_t model, output, info, chunk;
    std::string text, warning;
  } cases[] = {
      {0xE0800002, 0xB9007003, 0, 0xBE01F103,  // every bit the report names
       "[SEPARATE TEXLIST] [IGNORE TEXTURE] [BIN DEBUG] [IGNORE ENV] [IGNORE DIFFUSE] [ChunkV Type CnkV_VNX_UF] "
       "[VLIST COMMENT] [UVH(0-1023)] [DELETE ALL MATERIALS] [VCOLOR TO USERFLAG] [PCOLOR TO USERFLAG] "
       "[PRINT ENVUV] [VOLUME34] [DELETE AMBIENT] [MATERIAL NAME] [FORCE TEXTURE] [POLYGON NORMAL] "
       "[POLYGON VERTEX NORMAL] [POLYGON VERTEX COLOR] [USE TEXN3 MACRO] ", ""},
      {kM, kO, 0, kC, kName, ""},  // no chunk completion: no vertex type
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
