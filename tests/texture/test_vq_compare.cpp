// The fast VQ compressor against the literal one (tests/support/vq_oracle),
// byte for byte (file and progress reports), over generated images of every
// kind, both algorithms, the three texel formats, full and small codebooks,
// with and without mipmaps and dither, small sides and the sub-sampled 512
// and 1024 sides, with the wide and the plain entry search; and the same
// bytes for 1 to 4 threads.
#include <gtest/gtest.h>

#include "support/vq_oracle.h"
#include "texture/vq.h"
#include "texture_test_util.h"

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

struct Case {
  ImageKind kind;
  int side, texelFormat;
  bool smallVQ, mipmaps;
  int algorithm;
  bool dither;
  uint32_t seed;
};
struct Result {
  bool ok = false;
  std::vector<uint8_t> file;
  std::vector<double> progress;
};

PVR_Input MakeInput(const Case &c) {
  PVR_Image image = vqtest::MakeImage(c.kind, c.side, c.seed);
  constexpr int kPixelFormatOf[3] = {kPixARGB1555, kPixARGB4444, kPixRGB565};
  if (c.dither) vqtest::LiteralDither(&image, kPixelFormatOf[c.texelFormat], c.texelFormat == 1);
  return vqtest::BoxMipmaps(image, c.mipmaps);
}

Result RunFast(const Case &c, PVR_Input input, int threads, bool wideSearch = true) {
  textest::ScratchDir dir;
  Result result;
  PVR_VQOptions options;
  options.texelFormat = c.texelFormat, options.smallVQ = c.smallVQ, options.mipmaps = c.mipmaps;
  options.algorithm = c.algorithm, options.threads = threads, options.wideSearch = wideSearch;
  options.progress = [&](double fraction) { result.progress.push_back(fraction); };
  PVR_VQOutput output;
  vktest::Capture quiet(InfoStream, SetInfoStream);
  result.ok = PVR_CompressVQ(options, &input, &output) && PVR_WriteVQPVRFile(&output, dir.file("f.pvr").c_str(), -1);
  if (result.ok) result.file = textest::FileBytes(dir.file("f.pvr"));
  return result;
}

// Compares every case (and, for those up to `plainUpTo`, the plain search
// too); prints how many were compressed rather than refused.
void CompareAll(const std::vector<Case> &cases, int plainUpTo = 0) {
  int compressed = 0;
  for (const Case &c : cases) {
    SCOPED_TRACE(testing::Message() << vqtest::ImageKindName(c.kind) << " " << c.side << " format " << c.texelFormat
                                    << (c.smallVQ ? " small" : " full") << (c.mipmaps ? " mip" : " single") << " alg "
                                    << c.algorithm << (c.dither ? " dither" : "") << " seed " << c.seed);
    const PVR_Input input = MakeInput(c);
    const vqtest::LiteralResult literal =
        vqtest::LiteralVQ({c.texelFormat, c.smallVQ, c.mipmaps, c.algorithm}, input, -1);
    for (bool wide : {true, false}) {
      if (!wide && c.side > plainUpTo) continue;
      const Result fast = RunFast(c, input, 2, wide);
      EXPECT_EQ(fast.ok, literal.ok) << wide;
      EXPECT_TRUE(fast.file == literal.file) << "file bytes differ (" << fast.file.size() << " vs "
                                             << literal.file.size() << ")" << (wide ? "" : ", plain search");
      EXPECT_EQ(fast.progress, literal.progress);
    }
    compressed += literal.ok;
  }
  std::printf("[ compare ] %zu cases, %d compressed\n", cases.size(), compressed);
}

// Every texel format x small/full x mipmaps x algorithm at each small side,
// the image kind and dither cycling so each appears with every format; the
// plain search (where the processor has no vector instructions) up to 128.
TEST(VQCompare, SmallSidesEveryCombination) {
  std::vector<Case> cases;
  uint32_t seed = 1;
  for (int side : {8, 16, 32, 64, 128, 256})
    for (int format = 0; format < 3; ++format)
      for (bool smallVQ : {false, true})
        for (bool mipmaps : {false, true})
          for (int algorithm : {3, 4}) {
            const int index = static_cast<int>(seed - 1);
            if (!kSanitized || side < 256)
              cases.push_back({vqtest::kAllImageKinds[index % 6], side, format, smallVQ, mipmaps, algorithm,
                               (index / 6) % 2 == 1, seed});
            ++seed;
          }
  CompareAll(cases, 128);
}

// Many seeds and kinds at the sides where the codebook is designed quickly.
TEST(VQCompare, RandomImagesManySeeds) {
  std::vector<Case> cases;
  uint32_t seed = 1000;
  for (int round = 0; round < (kSanitized ? 2 : 8); ++round)
    for (ImageKind kind : vqtest::kAllImageKinds)
      for (int format = 0; format < 3; ++format) {
        const int algorithm = (round + format) % 2 == 0 ? 4 : 3;
        const bool dither = round % 2 == 1, even = round % 2 == 0;
        cases.push_back({kind, 64, format, round % 3 == 1, even, algorithm, dither, seed++});
        cases.push_back({kind, 32, format, true, !even, algorithm, dither, seed++});
        cases.push_back({kind, 16, format, true, even, 7 - algorithm, !dither, seed++});
        cases.push_back({kind, 128, format, false, !even, 7 - algorithm, dither, seed++});
      }
  CompareAll(cases);
}

// The sub-sampled refinement (every second vector at 512, every eighth at
// 1024) and algorithm 3 over large vector counts.
TEST(VQCompare, LargeSides) {
  std::vector<Case> cases = {
      {ImageKind::kPhoto, 512, 2, false, true, 4, false, 7},
      {ImageKind::kGraded, 512, 1, false, false, 4, true, 8},
      {ImageKind::kBilevel, 512, 0, false, true, 3, false, 9},
      {ImageKind::kPhoto, 1024, 2, false, true, 4, false, 10},
      {ImageKind::kBilevel, 1024, 0, false, false, 4, true, 11},
      {ImageKind::kPhoto, 1024, 2, false, true, 3, false, 12},
  };
  if (kSanitized) cases.resize(2);
  CompareAll({cases[0]}, 512);
  CompareAll(std::vector<Case>(cases.begin() + 1, cases.end()));
}

// The thread count never shows in the output.
TEST(VQCompare, SameBytesForAnyThreadCount) {
  const Case cases[] = {{ImageKind::kPhoto, kSanitized ? 256 : 512, 2, false, true, 4, false, 21},
                        {ImageKind::kGraded, 256, 1, false, true, 3, true, 22},
                        {ImageKind::kBilevel, 64, 0, true, false, 4, false, 23}};
  for (const Case &c : cases) {
    const PVR_Input input = MakeInput(c);
    const Result one = RunFast(c, input, 1);
    ASSERT_TRUE(one.ok);
    for (int threads : {2, 3, 4}) {
      const Result other = RunFast(c, input, threads);
      EXPECT_TRUE(other.file == one.file) << c.seed << ", " << threads << " threads";
      EXPECT_EQ(other.progress, one.progress);
    }
  }
}

}  // namespace
