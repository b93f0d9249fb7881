// PIC reader through the driver steps: a source without a suffix is found by
// trying every header reader, then loaded with its alpha classification.
#include <cstdlib>

#include "fuzz_common.h"
#include "texture/image_read.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const std::string plain = fuzz::Path("img.pic"), bare = fuzz::Path("img");
  fuzz::Write(plain, data, size);
  fuzz::Write(bare, data, size);
  PVR_Settings settings;
  PVR_Image image;
  std::string why;
  int ok = PVR_ReadImage(kSourcePIC, plain.c_str(), settings, &image, &why);
  if (image.texels.size() != (ok ? 4u * image.width * image.height : 0u)) std::abort();

  settings.inputName = bare;
  if (PVR_FindSource(&settings) && PVR_LoadImage(&settings, &image)) {
    if (settings.info.alphaKind < 1 || settings.info.alphaKind > 3) std::abort();
  }
  return 0;
}
