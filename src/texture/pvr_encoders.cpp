// The twiddled and the rectangle/stride encoders.
#include <new>
#include <utility>

#include "base/console.h"
#include "texture/pvr_encode.h"
#include "texture/pvr_format.h"
#include "texture/pvr_texels.h"

namespace {

using namespace pvr_encode;

// The pixel format the texels are written in: BUMP has no texel encoding
// here and falls back to RGB565 with a warning; -1 for a code that names no
// 16-bit texel format.
int32_t TexelFormat(int32_t requested) {
  switch (requested) {
    case kPixARGB1555:
    case kPixRGB565:
    case kPixARGB4444:
    case kPixYUV422:
    case kPixRGB555:
      return requested;
    case kPixBump:
      PrintWarning("Warning : BUMP pixel format is not supported for this texture format; using RGB565\n");
      return kPixRGB565;
    default:
      PrintError("Error : Pixel format %d can't be used for this texture format\n", requested);
      return -1;
  }
}

// Checks shared by both encoders; the texel format, or -1 after a message.
int32_t Prepare(const PVR_Settings &settings, const PVR_Image &image) {
  if (!HasTexels(image)) {
    PrintError("Error : Image %s has no texels\n", settings.inputName.c_str());
    return -1;
  }
  if (!CheckEncoderSize(image.width, image.height)) return -1;
  return TexelFormat(settings.pixelFormat);
}

bool DitherOn(const PVR_Settings &settings) { return settings.dither != 0 || settings.alphaDither != 0; }

// Writes the file and, on success, fills the information block.
bool Finish(PVR_Settings *settings, const std::vector<uint8_t> &file, int32_t width, int32_t height,
            int32_t pixelFormat, int32_t textureFormat, bool mipmap) {
  if (!WriteFile(settings->outputName.c_str(), file)) return false;
  if (settings->globalIndex != -1) PrintInfo("[GLOBALINDEX %d]", settings->globalIndex);
  PVR_TexInfo &info = settings->info;
  info.width = width;
  info.height = height;
  info.globalIndex = settings->globalIndex;
  info.pixelFormat = pixelFormat;
  info.textureFormat = textureFormat;
  info.mipmap = mipmap ? 1 : 0;
  info.skipped = 0;
  return true;
}

// Square levels from the smallest up, each twiddled at its texel offset after
// one zero pad texel.
std::vector<uint16_t> MipmappedTexels(PVR_Input &input, int32_t pixelFormat, bool dither, bool alphaDither) {
  const int32_t side = input.levels[0].width;
  std::vector<uint16_t> data(pvr::MipOffset(pvr::Log2(side)) + static_cast<size_t>(side) * side, 0);
  for (PVR_Image &level : input.levels) {
    if (dither) PVR_Dither(&level, pixelFormat, alphaDither);
    const std::vector<uint16_t> words = EncodeTexels(level, pixelFormat);
    Twiddle(words.data(), level.width, level.height, data.data() + pvr::MipOffset(pvr::Log2(level.width)));
    level.texels = {};  // done with this level
  }
  return data;
}

}  // namespace

bool PVR_EncodeTwiddled(PVR_Settings *settings, PVR_Image image) {
  const int32_t pixelFormat = Prepare(*settings, image);
  if (pixelFormat < 0) return false;
  const int32_t width = image.width, height = image.height;
  const bool mipmap = width == height && settings->autoMipmap != 0;
  const uint8_t type = width != height ? pvr::kTypeTwiddledNonSquare
                       : mipmap        ? pvr::kTypeTwiddledMip
                                       : pvr::kTypeTwiddled;
  try {
    std::vector<uint16_t> data;
    if (mipmap) {
      PVR_Input input;
      input.levels.push_back(std::move(image));
      if (PVR_SetMipmaps(&input) != kMipmapOK) return false;
      data = MipmappedTexels(input, pixelFormat, DitherOn(*settings), settings->alphaDither != 0);
    } else {
      if (DitherOn(*settings)) PVR_Dither(&image, pixelFormat, settings->alphaDither != 0);
      const std::vector<uint16_t> words = EncodeTexels(image, pixelFormat);
      image.texels = {};
      data.resize(words.size());
      Twiddle(words.data(), width, height, data.data());
    }
    std::vector<uint8_t> file = FileHead(pvr::Category(pixelFormat, type), width, height, settings->globalIndex, false,
                                         static_cast<uint32_t>(2 * data.size()));
    AppendWords(file, data);
    return Finish(settings, file, width, height, pixelFormat, kTexFormatTwiddled, mipmap);
  } catch (const std::bad_alloc &) {
    PrintWarning("Warning : Error Memory Allocation!!.\n");
    return false;
  }
}

bool PVR_EncodeRectangle(PVR_Settings *settings, PVR_Image image, bool stride) {
  const int32_t pixelFormat = Prepare(*settings, image);
  if (pixelFormat < 0) return false;
  const int32_t width = image.width, height = image.height;
  try {
    if (DitherOn(*settings)) PVR_Dither(&image, pixelFormat, settings->alphaDither != 0);
    const std::vector<uint16_t> words = EncodeTexels(image, pixelFormat);
    image.texels = {};
    std::vector<uint8_t> file =
        FileHead(pvr::Category(pixelFormat, stride ? pvr::kTypeStride : pvr::kTypeRectangle), width, height,
                 settings->globalIndex, false, static_cast<uint32_t>(2 * words.size()));
    AppendWords(file, words);
    return Finish(settings, file, width, height, pixelFormat, stride ? kTexFormatStride : kTexFormatRectangle, false);
  } catch (const std::bad_alloc &) {
    PrintWarning("Warning : Error Memory Allocation!!.\n");
    return false;
  }
}
