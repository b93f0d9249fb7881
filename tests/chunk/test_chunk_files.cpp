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
using vktest::RunVkconv;

// Three objects, two materials, `textures` textures; returns the file.
std::string Generated(const vktest::ScratchDir &dir, const char *base, int textures) {
  vktest::VkaGenParams params;
  params.baseName = base;
  params.objects = 3;
  params.materials = 2;
  params.textures = textures;
  EXPECT_TRUE(vktest::WriteVka(dir.file(std::string(base) + ".vka"), params));
  return ReadFile(dir.file(std::string(base) + ".vka"));
}

bool StartsWith(const std::string &text, const std::string &head) { return text.rfind(head, 0) == 0; }

TEST(ChunkFiles, DefaultRouteAndBinary) {
  vktest::ScratchDir dir;
  const std::string input = Generated(dir, "m", 1);
  EXPECT_EQ(RunVkconv({"m.vka", "-bin"}, dir.path()).status, 0);
  EXPECT_EQ(ReadFile(dir.file("m.vka")), input);  // -bin leaves the input alone
  EXPECT_FALSE(Exists(dir.file("m.vka.bk")));
  EXPECT_EQ(chunktest::DecodeBinary(ReadFile(dir.file("m.vk"))).size(), 3u);

  EXPECT_EQ(RunVkconv({"m.vka"}, dir.path()).status, 0);
  EXPECT_EQ(ReadFile(dir.file("m.vka.bk")), input);
  const std::string text = ReadFile(dir.file("m.vka"));
  EXPECT_TRUE(StartsWith(text,
                         "/* VKA 0.86alpha1 VorkaAsciiDataMix CnkModel (VKA) */\n\n"
                         "/* ROOT OBJECT : object_m_o0 n(3) d(2) */\n"
                         "/* TEXLIST     : texlist_m n(1) */\n\n"));
  EXPECT_EQ(chunktest::DecodeAscii(text).size(), 3u);
  EXPECT_FALSE(Exists(dir.file("m.vka.tmp~")));
}

TEST(ChunkFiles, SeparateTextureListFiles) {
  vktest::ScratchDir dir, bin, plain;
  const std::string input = Generated(dir, "s", 2);
  RunVkconv({"s.vka", "-septex"}, dir.path());
  // The input is kept as its backup; the model goes under the two new names.
  EXPECT_EQ(ReadFile(dir.file("s.vka.bk")), input);
  EXPECT_FALSE(Exists(dir.file("s.vka")));
  const std::string data = ReadFile(dir.file("s.vad"));
  EXPECT_TRUE(StartsWith(data,
                         "/* VAD 0.86alpha1 VorkaAsciiModel (VKA) */\n\n"
                         "/* ROOT OBJECT : object_s_o0 n(3) d(2) */\n\n"));
  EXPECT_EQ(data.find("TEXLIST"), std::string::npos);
  EXPECT_EQ(chunktest::DecodeAscii(data).size(), 3u);
  EXPECT_EQ(ReadFile(dir.file("s.vat")),
            "/* VAT 0.86alpha1 VorkaAsciiTexture (VKA) */\n\n/* TEXLIST     : texlist_s n(2) */\n\n"
            "DEFAULT_START\n\n#ifndef DEFAULT_TEXLIST_NAME\n#define DEFAULT_TEXLIST_NAME texlist_s\n#endif\n"
            "\nDEFAULT_END\n\n");

  // Binary: the data file holds the VKCM chunk; input untouched.
  const std::string binInput = Generated(bin, "s", 2);
  RunVkconv({"s.vka", "-septex", "-bin"}, bin.path());
  EXPECT_EQ(ReadFile(bin.file("s.vka")), binInput);
  EXPECT_EQ(chunktest::DecodeBinary(ReadFile(bin.file("s.vkd"))).size(), 3u);
  EXPECT_TRUE(Exists(bin.file("s.vkt")));
  EXPECT_FALSE(Exists(bin.file("s.vk")));

  // Without textures there is no texture file.
  Generated(plain, "p", 0);
  EXPECT_NE(RunVkconv({"p.vka", "-septex"}, plain.path()).err.find("[There is no texture]"), std::string::npos);
  EXPECT_TRUE(Exists(plain.file("p.vad")));
  EXPECT_FALSE(Exists(plain.file("p.vat")));
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
    const vktest::RunResult run = RunVkconv({"huge.vka", option}, dir.path());
    EXPECT_EQ(run.status, 0);
    EXPECT_NE(run.err.find("Object o0 has 65536 vertices"), std::string::npos) << run.err;
    EXPECT_EQ(ReadFile(dir.file("huge.vka")), input);
    EXPECT_FALSE(Exists(dir.file("huge.vka.bk")));
    EXPECT_FALSE(Exists(dir.file("huge.vk")));
  }
}

}  // namespace
