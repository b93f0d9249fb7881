// The VQ driver of one texture: settings to options, dither and mipmaps
// through the other encoders' operations, compression with progress lines on
// standard output, the file and the timing line.
#include <chrono>
#include <cstdio>
#include <memory>
#include <utility>

#include "base/console.h"
#include "texture/vq.h"

namespace {

// [small][algorithm 4]
constexpr const char *kVQTags[2][2] = {{"[VQ3]", "[VQ4]"}, {"[SMALLVQ3]", "[SMALLVQ4]"}};

void PrintProgress(double fraction) {
  std::printf("COMPRESSION IS %d%% COMPLETE     \r", static_cast<int>(fraction * 100));
  std::fflush(stdout);
}

}  // namespace

const char *PVR_VQTag(int32_t textureFormat, int32_t vqAlgorithm) {
  return kVQTags[textureFormat == kTexFormatSmallVQ ? 1 : 0][vqAlgorithm == 3 ? 0 : 1];
}

bool PVR_EncodeVQ(PVR_Settings *settings, PVR_Image image, const PVR_VQHooks &hooks) {
  PVR_VQOptions options;
  switch (settings->pixelFormat) {
    case kPixARGB1555: options.texelFormat = kVQARGB1555; break;
    case kPixARGB4444: options.texelFormat = kVQARGB4444; break;
    case kPixRGB565: options.texelFormat = kVQRGB565; break;
    default:
      PrintWarning("Warning : VQ texels are ARGB1555, RGB565 or ARGB4444 only. Use RGB565.\n");
      settings->pixelFormat = kPixRGB565;
      options.texelFormat = kVQRGB565;
      break;
  }
  options.smallVQ = settings->textureFormat == kTexFormatSmallVQ ? 1 : 0;
  options.mipmaps = settings->vqMipmap != 0 ? 1 : 0;
  options.algorithm = settings->vqAlgorithm == 3 ? 3 : 4;
  options.progress = PrintProgress;

  PrintInfo(options.mipmaps ? "[VQ AUTO MIPMAP]" : "[VQ AUTO MIPMAP OFF]");
  if ((settings->dither != 0 || settings->alphaDither != 0) && hooks.dither) hooks.dither(&image, *settings);
  PVR_Input input;
  input.levels.push_back(std::move(image));
  if (options.mipmaps && hooks.setMipmaps && hooks.setMipmaps(&input) < 0) return false;

  auto start = std::chrono::steady_clock::now();
  std::printf("\n");
  std::printf("COMPRESSING IMAGE\n");
  std::fflush(stdout);
  auto output = std::make_unique<PVR_VQOutput>();
  if (!PVR_CompressVQ(options, &input, output.get())) return false;
  std::printf("\n");
  std::fflush(stdout);
  bool written = PVR_WriteVQPVRFile(output.get(), settings->outputName.c_str(), settings->globalIndex);
  if (written) settings->info.globalIndex = settings->globalIndex;
  auto milliseconds =
      std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start).count();
  std::printf("\nCOMPRESSION TOOK %0.2f SECONDS\n", static_cast<double>(milliseconds) / 1000.0);
  std::fflush(stdout);
  return written;
}
