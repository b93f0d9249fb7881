// TGA header and reader: every depth, colour maps and run-length packets.
#include <cstdlib>

#include "fuzz_common.h"
#include "texture/image_read.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const std::string image = fuzz::Path("img.tga");
  fuzz::Write(image, data, size);
  std::string why;
  PVR_TexInfo info = PVR_FreshTexInfo();
  PVR_ReadHeader(kSourceTGA, image.c_str(), &info, &why);
  PVR_Settings settings;
  PVR_Image read;
  int ok = PVR_ReadImage(kSourceTGA, image.c_str(), settings, &read, &why);
  if (read.texels.size() != (ok ? 4u * read.width * read.height : 0u)) std::abort();
  return 0;
}
