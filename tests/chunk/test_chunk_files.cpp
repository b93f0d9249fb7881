// End-to-end runs of the built program on the Chunk-model route: which files
// are written under which names, their head lines, and what is refused.
#include <gtest/gtest.h>

#include <string>

#include "chunk/chunk_test_util.h"
#include "support/test_support.h"
#include "support/vka_gen.h"

namespace {

using vktest::Exists;
using vktest::ReadFile;

TEST(ChunkFiles, WrittenFilesAndBackups) {
  struct Head {
    const char *file;
    std::string text;             // the file's first bytes
    bool whole = false;           // ... or all of them
    const char *lacks = nullptr;  // found nowhere in the file
  };
  struct Case {
    std::vector<std::string> args;
    int textures;
    const char *input;  // where the input is afterwards
    std::vector<Head> heads;
    const char *model;  // holds the three objects: .vk / .vkd binary, else ASCII
    std::vector<const char *> absent;
    const char *err = "";
  };
  const Case cases[] = {
      {{"-bin"}, 1, "m.vka", {}, "m.vk", {"m.vka.bk"}},
      {{}, 1, "m.vka.bk",
       {{"m.vka", "/* VKA 0.86alpha1 VorkaAsciiDataMix CnkModel (VKA) */\n\n"
                  "/* ROOT OBJECT : object_m_o0 n(3) d(2) */\n/* TEXLIST     : texlist_m n(1) */\n\n"}},
       "m.vka", {"m.vka.tmp~"}},
      // The input is kept as its backup; the model goes under the two new names.
      {{"-septex"}, 2, "m.vka.bk",
       {{"m.vad", "/* VAD 0.86alpha1 VorkaAsciiModel (VKA) */\n\n/* ROOT OBJECT : object_m_o0 n(3) d(2) */\n\n"
                  "\nCNKOBJECT_START\n", false, "TEXLIST"},
        {"m.vat", "/* VAT 0.86alpha1 VorkaAsciiTexture (VKA) */\n\n/* TEXLIST     : texlist_m n(2) */\n\n"
                  "DEFAULT_START\n\n#ifndef DEFAULT_TEXLIST_NAME\n#define DEFAULT_TEXLIST_NAME texlist_m\n#endif\n"
                  "\nDEFAULT_END\n\n", true}},
       "m.vad", {"m.vka"}},
      {{"-septex", "-bin"}, 2, "m.vka", {{"m.vkt", ""}}, "m.vkd", {"m.vk"}},
      {{"-septex"}, 0, "m.vka.bk", {}, "m.vad", {"m.vat"}, "[There is no texture]"},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.model + std::to_string(c.textures));
    vktest::ScratchDir dir;
    vktest::VkaGenParams params;
    params.baseName = "m";
    params.objects = 3;
    params.materials = 2;
    params.textures = c.textures;
    ASSERT_TRUE(vktest::WriteVka(dir.file("m.vka"), params));
    const std::string input = ReadFile(dir.file("m.vka"));
    std::vector<std::string> args = {"m.vka"};
    args.insert(args.end(), c.args.begin(), c.args.end());
    const vktest::RunResult run = vktest::RunVkconv(args, dir.path());
    EXPECT_EQ(run.status, 0);
    EXPECT_NE(run.err.find(c.err), std::string::npos) << run.err;
    EXPECT_EQ(ReadFile(dir.file(c.input)), input);
    for (const Head &head : c.heads) {
      const std::string text = ReadFile(dir.file(head.file));
      EXPECT_TRUE(Exists(dir.file(head.file))) << head.file;
      EXPECT_EQ(head.whole ? text : text.substr(0, head.text.size()), head.text);
      EXPECT_TRUE(!head.lacks || text.find(head.lacks) == std::string::npos) << head.file;
    }
    const std::string model = ReadFile(dir.file(c.model));
    const bool binary = model.rfind("/*", 0) != 0;
    EXPECT_EQ((binary ? chunktest::DecodeBinary(model) : chunktest::DecodeAscii(model)).size(), 3u);
    for (const char *file : c.absent) EXPECT_FALSE(Exists(dir.file(file))) << file;
  }
}

// 256 x 256 points in one object cannot be indexed by 16-bit strips: the run
// stops before any file is touched, naming the object.
TEST(ChunkFiles, ObjectWithTooManyVerticesIsRefusedBeforeAnyFileIsTouched) {
  vktest::ScratchDir dir;
  vktest::VkaGenParams params;
  params.baseName = "huge";
  params.gridWidth = params.gridHeight = 255;
  params.normals = params.uvs = false;
  ASSERT_TRUE(vktest::WriteVka(dir.file("huge.vka"), params));
  const std::string input = ReadFile(dir.file("huge.vka"));
  for (const char *option : {"-VN", "-bin"}) {
    const vktest::RunResult run = vktest::RunVkconv({"huge.vka", option}, dir.path());
    EXPECT_EQ(run.status, 0);
    EXPECT_NE(run.err.find("Object o0 has 65536 vertices"), std::string::npos) << run.err;
    EXPECT_EQ(ReadFile(dir.file("huge.vka")), input);
    EXPECT_FALSE(Exists(dir.file("huge.vka.bk")));
    EXPECT_FALSE(Exists(dir.file("huge.vk")));
  }
}

}  // namespace
