// The fast VQ compressor against the literal one, byte for byte (file and
// progress reports), over generated images of every kind, both algorithms,
// the three texel formats, full and small codebooks, with and without
// mipmaps and dither, small sides and the sub-sampled 512 and 1024 sides;
// and the same bytes for 1, 2 and 4 threads.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "base/console.h"
#include "support/test_support.h"
#include "support/vq_oracle.h"
#include "texture/vq.h"

namespace {

using vqtest::ImageKind;

#if defined(__SANITIZE_ADDRESS__)
constexpr bool kSanitized = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif
#else
constexpr bool kSanitized = false;
#endif

constexpr int kPixelFormatOf[3] = {kPixARGB1555, kPixARGB4444, kPixRGB565};

struct CompareCase {
  ImageKind kind;
  int side;
  int texelFormat;
  bool smallVQ;
  bool mipmaps;
  int algorithm;
  bool dither;
  uint32_t seed;
};

std::string Describe(const CompareCase &c) {
  char text[160];
  std::snprintf(text, sizeof text, "%s %dx%d format %d %s %s alg %d %s seed %u", vqtest::ImageKindName(c.kind),
                c.side, c.side, c.texelFormat, c.smallVQ ? "small" : "full", c.mipmaps ? "mip" : "single",
                c.algorithm, c.dither ? "dither" : "plain", c.seed);
  return text;
}

struct FastResult {
  bool ok = false;
  std::vector<uint8_t> file;
  std::vector<double> progress;
};

FastResult RunFast(const CompareCase &c, PVR_Input input, int threads, const vktest::ScratchDir &dir,
                   bool wideSearch = true) {
  FastResult result;
  PVR_VQOptions options;
  options.texelFormat = c.texelFormat;
  options.smallVQ = c.smallVQ;
  options.mipmaps = c.mipmaps;
  options.algorithm = c.algorithm;
  options.threads = threads;
  options.wideSearch = wideSearch;
  options.progress = [&](double fraction) { result.progress.push_back(fraction); };
  PVR_VQOutput output;
  SetInfoStream(nullptr);
  result.ok = PVR_CompressVQ(options, &input, &output);
  if (result.ok) {
    std::string name = dir.file("fast.pvr");
    result.ok = PVR_WriteVQPVRFile(&output, name.c_str(), -1);
    std::string bytes = vktest::ReadFile(name);
    result.file.assign(bytes.begin(), bytes.end());
  }
  SetInfoStream(stderr);
  return result;
}

PVR_Input MakeInput(const CompareCase &c) {
  PVR_Image image = vqtest::MakeImage(c.kind, c.side, c.seed);
  if (c.dither) vqtest::LiteralDither(&image, kPixelFormatOf[c.texelFormat], c.texelFormat == 1);
  return vqtest::BoxMipmaps(image, c.mipmaps);
}

// Returns the number of cases that were compressed (not refused).
int CompareAll(const std::vector<CompareCase> &cases, int threads, bool wideSearch = true) {
  vktest::ScratchDir dir;
  int compressed = 0;
  for (const CompareCase &c : cases) {
    SCOPED_TRACE(Describe(c));
    PVR_Input input = MakeInput(c);
    vqtest::LiteralOptions literalOptions{c.texelFormat, c.smallVQ, c.mipmaps, c.algorithm};
    vqtest::LiteralResult literal = vqtest::LiteralVQ(literalOptions, input, -1);
    FastResult fast = RunFast(c, input, threads, dir, wideSearch);
    EXPECT_EQ(fast.ok, literal.ok);
    EXPECT_TRUE(fast.file == literal.file) << "file bytes differ (" << fast.file.size() << " vs "
                                           << literal.file.size() << ")";
    EXPECT_EQ(fast.progress, literal.progress);
    compressed += literal.ok ? 1 : 0;
  }
  return compressed;
}

// Every texel format x small/full x mipmaps x algorithm at each small side,
// the image kind and dither cycling so each appears with every format.
TEST(VQCompare, SmallSidesEveryCombination) {
  std::vector<CompareCase> cases;
  uint32_t seed = 1;
  int index = 0;
  for (int side : {8, 16, 32, 64, 128, 256}) {
    if (kSanitized && side == 256) continue;
    for (int format = 0; format < 3; ++format) {
      for (bool smallVQ : {false, true}) {
        for (bool mipmaps : {false, true}) {
          for (int algorithm : {3, 4}) {
            ImageKind kind = vqtest::kAllImageKinds[index % 6];
            bool dither = (index / 6) % 2 == 1;
            cases.push_back({kind, side, format, smallVQ, mipmaps, algorithm, dither, seed++});
            ++index;
          }
        }
      }
    }
  }
  int compressed = CompareAll(cases, 2);
  std::printf("[ compare ] %zu cases, %d compressed\n", cases.size(), compressed);
  // The entry walk used where the processor has no vector instructions.
  std::vector<CompareCase> upTo128;
  for (const CompareCase &c : cases) {
    if (c.side <= 128) upTo128.push_back(c);
  }
  compressed = CompareAll(upTo128, 1, false);
  std::printf("[ compare ] %zu cases, %d compressed, plain search\n", upTo128.size(), compressed);
}

// Many seeds and kinds at the sides where the codebook is designed quickly.
TEST(VQCompare, RandomImagesManySeeds) {
  std::vector<CompareCase> cases;
  uint32_t seed = 1000;
  const int rounds = kSanitized ? 2 : 8;
  for (int round = 0; round < rounds; ++round) {
    for (ImageKind kind : vqtest::kAllImageKinds) {
      for (int format = 0; format < 3; ++format) {
        int algorithm = (round + format) % 2 == 0 ? 4 : 3;
        bool dither = round % 2 == 1;
        cases.push_back({kind, 64, format, round % 3 == 1, round % 2 == 0, algorithm, dither, seed++});
        cases.push_back({kind, 32, format, true, round % 2 == 1, algorithm, dither, seed++});
        cases.push_back({kind, 16, format, true, round % 2 == 0, 7 - algorithm, !dither, seed++});
        cases.push_back({kind, 128, format, false, round % 2 == 1, 7 - algorithm, dither, seed++});
      }
    }
  }
  int compressed = CompareAll(cases, 2);
  std::printf("[ compare ] %zu cases, %d compressed\n", cases.size(), compressed);
}

// The sub-sampled refinement (every second vector at 512, every eighth at
// 1024) and algorithm 3 over large vector counts.
TEST(VQCompare, LargeSides) {
  std::vector<CompareCase> cases = {
      {ImageKind::kPhoto, 512, 2, false, true, 4, false, 7},
      {ImageKind::kGraded, 512, 1, false, false, 4, true, 8},
      {ImageKind::kBilevel, 512, 0, false, true, 3, false, 9},
      {ImageKind::kPhoto, 1024, 2, false, true, 4, false, 10},
      {ImageKind::kBilevel, 1024, 0, false, false, 4, true, 11},
      {ImageKind::kPhoto, 1024, 2, false, true, 3, false, 12},
  };
  if (kSanitized) cases.resize(2);
  int compressed = CompareAll(cases, 2);
  std::printf("[ compare ] %zu cases, %d compressed\n", cases.size(), compressed);
  compressed = CompareAll({cases[0]}, 1, false);
  std::printf("[ compare ] 1 case, %d compressed, plain search\n", compressed);
}

// The thread count never shows in the output.
TEST(VQCompare, SameBytesForAnyThreadCount) {
  vktest::ScratchDir dir;
  const CompareCase cases[] = {
      {ImageKind::kPhoto, kSanitized ? 256 : 512, 2, false, true, 4, false, 21},
      {ImageKind::kGraded, 256, 1, false, true, 3, true, 22},
      {ImageKind::kBilevel, 64, 0, true, false, 4, false, 23},
  };
  for (const CompareCase &c : cases) {
    SCOPED_TRACE(Describe(c));
    PVR_Input input = MakeInput(c);
    FastResult one = RunFast(c, input, 1, dir);
    ASSERT_TRUE(one.ok);
    for (int threads : {2, 3, 4}) {
      FastResult other = RunFast(c, input, threads, dir);
      EXPECT_TRUE(other.file == one.file) << threads << " threads";
      EXPECT_EQ(other.progress, one.progress);
    }
  }
}

}  // namespace
