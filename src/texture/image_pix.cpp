// PIX header and image reader: a 10-byte header and runs of {count, blue,
// green, red}; alpha comes from an optional mask file of 8-bit {count, value}
// or 24-bit {count, blue, green, red} runs.
#include <algorithm>
#include <new>
#include <vector>

#include "base/console.h"
#include "texture/image_source.h"
#include "texture/texture_io.h"

namespace pvr_read {
namespace {

constexpr size_t kPixHeaderSize = 10;

struct PixHeader {
  int32_t width;
  int32_t height;
  uint32_t bitsPerPixel;  // low byte first, unlike the sides
};

PixHeader ParseHeader(const uint8_t *head) {
  return PixHeader{Be16s(head), Be16s(head + 2), Le16(head + 8)};
}

// Fills the texels from the runs. False with a reason.
bool ReadColourRuns(SourceFile &file, PVR_Image *image, std::string *why) {
  const long total = static_cast<long>(image->width) * image->height;
  uint8_t *texel = image->texels.data();
  for (long filled = 0; filled < total;) {
    uint8_t run[4];
    if (!file.Read(run, sizeof run)) return false;
    long count = run[0];
    if (count == 0 || count > total - filled) {
      SetWhy(why, "The PIX run at byte %ld covers %ld texels where %ld remain.", file.Position() - 4, count,
             total - filled);
      return false;
    }
    for (long i = 0; i < count; ++i, texel += 4) {
      texel[kTexelB] = run[1];
      texel[kTexelG] = run[2];
      texel[kTexelR] = run[3];
    }
    filled += count;
  }
  return true;
}

// Reads the mask's runs into one alpha byte a texel. False with a reason.
bool ReadMaskRuns(SourceFile &mask, const char *maskName, uint32_t bits, std::vector<uint8_t> *alphas,
                  std::string *why) {
  const size_t runSize = bits == 8 ? 2 : 4;
  const long total = static_cast<long>(alphas->size());
  uint8_t *out = alphas->data();
  for (long filled = 0; filled < total;) {
    uint8_t run[4];
    if (!mask.Read(run, runSize)) {
      SetWhy(why, "The mask file %s ends after %ld of %ld texels.", maskName, filled, total);
      return false;
    }
    long count = run[0];
    if (count == 0 || count > total - filled) {
      SetWhy(why, "The mask run at byte %ld of %s covers %ld texels where %ld remain.",
             mask.Position() - static_cast<long>(runSize), maskName, count, total - filled);
      return false;
    }
    uint8_t alpha = bits == 8 ? run[1] : static_cast<uint8_t>(255 - (run[1] + run[2] + run[3]) / 3);
    std::fill(out + filled, out + filled + count, alpha);
    filled += count;
  }
  return true;
}

}  // namespace

int ReadHeaderPIX(SourceFile &file, const char *name, PVR_TexInfo *info, std::string *why) {
  uint8_t head[kPixHeaderSize];
  if (!file.Read(head, sizeof head)) {
    PrintWarning("Warning : Cannot load pix header. (%s)", name);
    return 0;
  }
  PixHeader header = ParseHeader(head);
  if (!SidesUsable(header.width, header.height, why)) return 0;
  info->width = header.width;
  info->height = header.height;
  return 1;
}

int ReadImagePIX(const char *name, const PVR_Settings &settings, PVR_Image *image, std::string *why) {
  SourceFile file;
  if (!file.Open(name)) {
    PrintInfo("Could not open %s\nABORTING PROGRAM", name);
    return FailImage(image);
  }
  const char *maskName = settings.pixMaskName.c_str();
  SourceFile mask;
  if (!settings.pixMaskName.empty() && !mask.Open(maskName)) {
    PrintWarning("Warning : Can't open mask file %s. The image is read without it.\n", maskName);
  }
  uint8_t head[kPixHeaderSize];
  if (!file.Read(head, sizeof head)) {
    PrintInfo("cannot load pix header. (%s)", name);
    return FailImage(image);
  }
  PixHeader header = ParseHeader(head);
  PixHeader maskHeader{};
  bool useMask = mask.IsOpen();
  if (useMask) {
    uint8_t maskHead[kPixHeaderSize];
    if (!mask.Read(maskHead, sizeof maskHead)) {
      PrintInfo("cannot load mask header. (%s)", maskName);
      return FailImage(image);
    }
    maskHeader = ParseHeader(maskHead);
    if (maskHeader.bitsPerPixel != 8 && maskHeader.bitsPerPixel != 24) {
      PrintInfo("ERROR : The Maskfile Mode is not support.\n");
      useMask = false;
    }
  }
  if (header.width < 0 || header.height < 0) {
    PrintInfo("illegal pix size. (%s)", name);
    return FailImage(image);
  }
  if (!SidesUsable(header.width, header.height, why)) return FailImage(image);
  const long leastRuns = (static_cast<long>(header.width) * header.height + 254) / 255;
  if (file.Remaining() < 4 * leastRuns) {
    SetWhy(why, "The PIX file is too short for %dx%d texels: at least %ld runs of 4 bytes, %ld bytes present.",
           header.width, header.height, leastRuns, file.Remaining());
    return FailImage(image);
  }
  try {
    StartImage(image, header.width, header.height);
  } catch (const std::bad_alloc &) {
    PrintInfo(" cannot allocate memory. (%s)", name);
    return FailImage(image);
  }
  std::string runWhy;
  if (!ReadColourRuns(file, image, &runWhy)) {
    if (runWhy.empty()) PrintInfo("cannot load pix data. (%s)", name);
    else SetWhy(why, "%s", runWhy.c_str());
    return FailImage(image);
  }
  if (useMask && (maskHeader.width != header.width || maskHeader.height != header.height)) {
    PrintWarning("Warning : %s. The mask file is not the same size (%dx%d). It is ignored.\n", maskName,
                 maskHeader.width, maskHeader.height);
    useMask = false;
  }
  if (useMask) {
    // Checked in full before the tags so that a broken mask prints none.
    std::vector<uint8_t> alphas(image->texels.size() / 4);
    if (!ReadMaskRuns(mask, maskName, maskHeader.bitsPerPixel, &alphas, why)) return FailImage(image);
    for (size_t i = 0; i < alphas.size(); ++i) image->texels[4 * i + kTexelA] = alphas[i];
    PrintInfo("[READ ALPHA]");
    PrintInfo(maskHeader.bitsPerPixel == 8 ? "[MASKFILE(8bit-mode)]" : "[MASKFILE(24bit-mode)]");
  }
  return 1;
}

}  // namespace pvr_read
