// 16-bit texel words, YUV422 pairs, and the PVR file assembly of the encoders.
#include "texture/pvr_texels.h"

#include "base/console.h"
#include "texture/pvr_format.h"
#include "texture/texture_io.h"

namespace pvr_encode {
namespace {

// Y, U and V of one texel in single precision, truncated toward zero; U and V
// clamped to 0..255.
struct YUV {
  int32_t y, u, v;
};

int32_t ClampByte(int32_t value) { return value < 0 ? 0 : value > 255 ? 255 : value; }

YUV ToYUV(const uint8_t *texel) {
  const float r = texel[kTexelR], g = texel[kTexelG], b = texel[kTexelB];
  YUV out;
  out.y = ClampByte(static_cast<int32_t>((5.0f * r + 10.0f * g + 2.0f * b) / 17.0f));
  out.u = ClampByte(static_cast<int32_t>((-32.0f * r - 64.0f * g + 96.0f * b) / 187.0f + 128.0f));
  out.v = ClampByte(static_cast<int32_t>((96.0f * r - 80.0f * g - 16.0f * b) / 187.0f + 128.0f));
  return out;
}

// Texels (x, x + 1) of each row become Y0 * 256 + (U0 + U1) / 2 and
// Y1 * 256 + (V0 + V1) / 2.
void EncodeYUV422(const PVR_Image &level, uint16_t *out) {
  for (int32_t y = 0; y < level.height; ++y) {
    uint16_t *row = out + static_cast<size_t>(y) * level.width;
    if (level.width == 1) {
      const YUV only = ToYUV(level.At(0, y));
      row[0] = static_cast<uint16_t>(only.y << 8 | only.u);
      continue;
    }
    for (int32_t x = 0; x + 1 < level.width; x += 2) {
      const YUV first = ToYUV(level.At(x, y));
      const YUV second = ToYUV(level.At(x + 1, y));
      row[x] = static_cast<uint16_t>(first.y << 8 | (first.u + second.u) / 2);
      row[x + 1] = static_cast<uint16_t>(second.y << 8 | (first.v + second.v) / 2);
    }
  }
}

template <typename Pack>
void EncodeEach(const PVR_Image &level, uint16_t *out, Pack pack) {
  const uint8_t *texel = level.texels.data();
  const size_t count = static_cast<size_t>(level.width) * level.height;
  for (size_t i = 0; i < count; ++i, texel += 4)
    out[i] = pack(texel[kTexelA], texel[kTexelR], texel[kTexelG], texel[kTexelB]);
}

}  // namespace

std::vector<uint16_t> EncodeTexels(const PVR_Image &level, int32_t pixelFormat) {
  std::vector<uint16_t> words(static_cast<size_t>(level.width) * level.height);
  switch (pixelFormat) {
    case kPixARGB1555:
      EncodeEach(level, words.data(),
                 [](uint32_t a, uint32_t r, uint32_t g, uint32_t b) { return pvr::PackARGB1555(a, r, g, b); });
      break;
    case kPixRGB565:
      EncodeEach(level, words.data(),
                 [](uint32_t, uint32_t r, uint32_t g, uint32_t b) { return pvr::PackRGB565(r, g, b); });
      break;
    case kPixARGB4444:
      EncodeEach(level, words.data(),
                 [](uint32_t a, uint32_t r, uint32_t g, uint32_t b) { return pvr::PackARGB4444(a, r, g, b); });
      break;
    case kPixRGB555:
      EncodeEach(level, words.data(),
                 [](uint32_t, uint32_t r, uint32_t g, uint32_t b) { return pvr::PackRGB555(r, g, b); });
      break;
    case kPixYUV422:
      EncodeYUV422(level, words.data());
      break;
    default:
      break;  // the encoders only ask for the formats above
  }
  return words;
}

std::vector<uint8_t> FileHead(uint32_t category, int32_t width, int32_t height, int32_t globalIndex, bool paletteStyle,
                              uint32_t dataSize) {
  std::vector<uint8_t> out;
  out.reserve(32 + static_cast<size_t>(dataSize));
  if (globalIndex != -1) pvr::PutGlobalIndexChunk(out, static_cast<uint32_t>(globalIndex), paletteStyle);
  pvr::PutTextureHead(out, dataSize, category, static_cast<uint32_t>(width), static_cast<uint32_t>(height));
  return out;
}

void AppendWords(std::vector<uint8_t> &out, const std::vector<uint16_t> &words) {
  size_t at = out.size();
  out.resize(at + 2 * words.size());
  for (uint16_t word : words) {
    out[at++] = static_cast<uint8_t>(word);
    out[at++] = static_cast<uint8_t>(word >> 8);
  }
}

bool WriteFile(const char *name, const std::vector<uint8_t> &bytes, bool temporaryOnly) {
  if (name[0] == '\0') {
    PrintError("Error : No pvr filename given\n");
    return false;
  }
  if (temporaryOnly ? PVR_WriteTemporaryFile(name, bytes) : PVR_WriteWholeFile(name, bytes)) return true;
  PrintError("Error : Can't write file %s\n", name);
  return false;
}

bool HasTexels(const PVR_Image &image) {
  return image.width > 0 && image.height > 0 &&
         image.texels.size() == 4 * static_cast<size_t>(image.width) * static_cast<size_t>(image.height);
}

bool CheckEncoderSize(int32_t width, int32_t height) {
  if (PVR_IsSide(width) && PVR_IsSide(height) && width >= 8 && height >= 8) return true;
  PVR_ShowFramed("BMP size error.\nWidth:%d  Height:%d", width, height);
  return false;
}

}  // namespace pvr_encode
