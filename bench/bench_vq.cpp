// VQ compression of a generated photograph-like image (smooth gradients,
// waves, a disc and an edge, noise), mipmapped, end to end: the image read
// from a raw file, the box-filter mipmaps, the compression with every core,
// the PVR file written. Also the literal compressor on the same inputs, one
// run each. Counter PSNR_dB: level 0 of the file against the source (RGB).
#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>
#include <vector>

#include "base/console.h"
#include "support/test_support.h"
#include "support/vq_oracle.h"
#include "texture/texture_io.h"
#include "texture/vq.h"

namespace {

struct Fixture {
  vktest::ScratchDir dir;
  PVR_Image image;
  std::string rawName;
  std::string pvrName;

  explicit Fixture(int side) : image(vqtest::MakeImage(vqtest::ImageKind::kPhoto, side, 42)) {
    rawName = dir.file("photo.raw");
    pvrName = dir.file("photo.pvr");
    PVR_WriteWholeFile(rawName.c_str(), image.texels);
  }

  PVR_Image Read(int side) const {
    PVR_Image read;
    read.width = read.height = side;
    PVR_ReadWholeFile(rawName.c_str(), &read.texels);
    return read;
  }
};

// Arguments: side, algorithm, threads (0: every core).
void BM_VQEndToEnd(benchmark::State &state) {
  const int side = static_cast<int>(state.range(0));
  const int algorithm = static_cast<int>(state.range(1));
  const int threads = static_cast<int>(state.range(2));
  Fixture fixture(side);
  SetInfoStream(nullptr);
  for (auto _ : state) {
    PVR_Input input = vqtest::BoxMipmaps(fixture.Read(side), true);
    PVR_VQOptions options;
    options.algorithm = algorithm;
    options.threads = threads;
    PVR_VQOutput output;
    bool ok = PVR_CompressVQ(options, &input, &output) &&
              PVR_WriteVQPVRFile(&output, fixture.pvrName.c_str(), -1);
    if (!ok) state.SkipWithError("compression failed");
  }
  SetInfoStream(stderr);
  std::string file = vktest::ReadFile(fixture.pvrName);
  state.counters["PSNR_dB"] = vqtest::VQFilePSNR(std::vector<uint8_t>(file.begin(), file.end()), fixture.image);
}
BENCHMARK(BM_VQEndToEnd)
    ->Args({1024, 4, 0})
    ->Args({1024, 4, 1})
    ->Args({1024, 3, 0})
    ->Args({1024, 3, 1})
    ->Args({256, 4, 0})
    ->Args({256, 4, 1})
    ->Args({256, 3, 0})
    ->Args({256, 3, 1})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

// The literal compressor, same inputs, once.
void BM_VQLiteral(benchmark::State &state) {
  const int side = static_cast<int>(state.range(0));
  const int algorithm = static_cast<int>(state.range(1));
  Fixture fixture(side);
  vqtest::LiteralResult result;
  for (auto _ : state) {
    PVR_Input input = vqtest::BoxMipmaps(fixture.Read(side), true);
    result = vqtest::LiteralVQ({2, false, true, algorithm}, input, -1);
    PVR_WriteWholeFile(fixture.pvrName.c_str(), result.file);
  }
  state.counters["PSNR_dB"] = vqtest::VQFilePSNR(result.file, fixture.image);
}
BENCHMARK(BM_VQLiteral)
    ->Args({1024, 4})
    ->Args({1024, 3})
    ->Args({256, 4})
    ->Args({256, 3})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(1)
    ->Repetitions(1);

}  // namespace
