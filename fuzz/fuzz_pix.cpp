// PIX header and reader, with a mask file when flags bit 0 is set.
#include <cstdlib>

#include "fuzz_common.h"
#include "texture/image_read.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  fuzz::Parts parts = fuzz::Split(data, size);
  const std::string image = fuzz::Path("img.pix"), mask = fuzz::Path("mask.pix");
  fuzz::Write(image, parts.first, parts.firstSize);
  PVR_Settings settings;
  if (parts.flags & 1) {
    fuzz::Write(mask, parts.second, parts.secondSize);
    settings.pixMaskName = mask;
  }
  std::string why;
  PVR_TexInfo info = PVR_FreshTexInfo();
  PVR_ReadHeader(kSourcePIX, image.c_str(), &info, &why);
  PVR_Image read;
  int ok = PVR_ReadImage(kSourcePIX, image.c_str(), settings, &read, &why);
  if (read.texels.size() != (ok ? 4u * read.width * read.height : 0u)) std::abort();
  return 0;
}
