// Labels stay unique when object names repeat: objects named outside the
// file's prefix all take the default node name, and every label is formed
// from a node name.
#include <gtest/gtest.h>

#include <regex>
#include <set>
#include <string>

#include "support/test_support.h"
#include "support/vka_gen.h"

namespace {

using namespace vktest;

TEST(Labels, RepeatedObjectNamesGetNumbers) {
  VkaGenParams params;
  params.baseName = "m";  // objects object_m_o<i>: shorter than the prefix of "longname"
  params.objects = 5;
  params.gridWidth = params.gridHeight = 1;
  const std::string model = GenerateVka(params);

  // The same objects under their own names: labels never reach a binary
  // file, so both binary files are the same bytes (with one label for all
  // five, every pointer would reach the last record).
  ScratchDir named, repeated;
  ASSERT_TRUE(WriteFile(named.file("m.vka"), model));
  ASSERT_TRUE(WriteFile(repeated.file("longname.vka"), model));
  ASSERT_EQ(RunVkconv({"m.vka", "-bin"}, named.path()).status, 0);
  const RunResult bin = RunVkconv({"longname.vka", "-bin"}, repeated.path());
  ASSERT_EQ(bin.status, 0);
  EXPECT_EQ(ReadFile(repeated.file("longname.vk")), ReadFile(named.file("m.vk")));
  const std::string warning =
      "Warning : 4 object(s) have the name of an earlier object; a number is added to each (gonbe0 is written as "
      "gonbe0_2)\n";
  EXPECT_NE(bin.err.find(warning), std::string::npos) << bin.err;

  // The ASCII file defines each object label once, links only to defined
  // ones, and the Chunk-model reader (which refuses a name defined twice)
  // takes it.
  ASSERT_EQ(RunVkconv({"longname.vka"}, repeated.path()).status, 0);
  const std::string ascii = ReadFile(repeated.file("longname.vka"));
  const std::regex definition("CNKOBJECT  (\\w+)\\[\\]"), link("(?:Child|Sibling) +(object_\\w+),");
  std::set<std::string> defined;
  for (std::sregex_iterator it(ascii.begin(), ascii.end(), definition), end; it != end; ++it) {
    EXPECT_TRUE(defined.insert((*it)[1]).second) << (*it)[1];
  }
  EXPECT_EQ(defined.size(), 5u);
  EXPECT_TRUE(defined.count("object_longname_gonbe0_5"));
  for (std::sregex_iterator it(ascii.begin(), ascii.end(), link), end; it != end; ++it) {
    EXPECT_TRUE(defined.count((*it)[1])) << (*it)[1];
  }
  const RunResult back = RunVkconv({"longname.vka", "-bin"}, repeated.path());
  EXPECT_EQ(back.status, 0);
  EXPECT_EQ(back.err.find("Error"), std::string::npos) << back.err;
}

}  // namespace
