// The -bindebug console dump of a small chunk, compared line by line with a
// text worked out by hand.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "binary/binary_test_util.h"

namespace {

std::vector<std::string> Lines(const std::string &text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

TEST(BinDebug, DumpOfASmallChunk) {
  FILE *info = InfoStream();
  vktest::Capture messages(MessageStream, SetMessageStream);
  std::string bytes = vktest::WriteBinary(
      [] {
        VKWriteBinChunkStart(kVKChunkVKCM);
        VKPrintBin("C", 0x41);
        VKPrintBin("T0", "lab");
        VKPrintBin("P0", "lab");
        VKPrintBin("g", "hi");
        VKPrint("!g$f", "%s%f\n", "x", 1.5);
        VKPrintBin("s", -2);
        VKWriteBinChunkEnd();
      },
      true);
  SetInfoStream(info);

  const char *expected =
      "[ChunkName MCKV]\n"
      "<<<< START >>>>\n"
      "\n"
      "{BaseBC 8}\n"
      "([8]Uint8 41)\n"
      "Alignment4(bc 9 -> 12)\n"
      "([12]Top lab)\n"
      "([12]Ptr lab)\n"
      "([16]Str hi)\n"
      "([20]Float 1.500000)\n"
      "([24]Sint16 -2)\n"
      "\n"
      "<< Dump WriteQueue topqueue >>\n"
      "i 0 str lab address 12 0xc\n"
      "\n"
      "<< Dump WriteQueue ptrqueue >>\n"
      "i 0 str lab address 12 0xc\n"
      "\n"
      "<< Dump WriteQueue strqueue >>\n"
      "i 0 str hi address 16 0x10\n"
      "\n"
      "<< Dump PointerCash  {BaseBc 8}>>\n"
      "page 0 entry 0 address 12 0xc cnkaddr 4 0x4\n"
      "page 0 entry 1 address 16 0x10 cnkaddr 8 0x8\n"
      "Alignment4(bc 29 -> 32)\n"
      "\n"
      "<<<< END >>>>\n"
      "[ChunkName 0FOP]prev 8 current 12 p-c 1 ctmp 41\n"
      "prev 12 current 16 p-c 1 ctmp 41\n"
      "padsize 2\n"
      "\n"
      "0000000 4b56 4d43 0018 0000 0041 0000 0004 0000 \tVKCM....A.......\n"
      "0000020 0012 0000 0000 3fc0 fffe 6968 0000 0000 \t.......?..hi....\n"
      "0000040 4f50 3046 0004 0000 4141 0000 \tPOF0....AA..\n"
      "[BC 44]\n";
  std::vector<std::string> got = Lines(messages.Text());
  std::vector<std::string> want = Lines(expected);
  for (size_t i = 0; i < got.size() && i < want.size(); i++) EXPECT_EQ(got[i], want[i]) << "line " << i + 1;
  EXPECT_EQ(got.size(), want.size());
  EXPECT_EQ(bytes.size(), 44u);
}

}  // namespace
