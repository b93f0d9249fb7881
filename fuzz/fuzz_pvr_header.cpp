// Fuzz target of the PVR header reader: the chunk walk over the bytes in
// memory, and the same bytes read back from a file.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

#include "base/console.h"
#include "fuzz_common.h"
#include "texture/pvr_header.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static const std::string path = std::string(fuzz::Scratch()) + "/texture.pvr";
  SetWarningStream(nullptr);
  SetErrorStream(nullptr);
  PVR_TexInfo fromMemory, fromFile;
  PVR_ParseHeaderInfo(data, size, &fromMemory);
  FILE *file = std::fopen(path.c_str(), "wb");
  if (file == nullptr) return 0;
  const bool written = std::fwrite(data, 1, size, file) == size;
  std::fclose(file);
  if (!written) return 0;
  if (PVR_ReadHeaderInfo(path.c_str(), &fromFile) != 1) __builtin_trap();
  // Both walks see the same chunks.
  if (fromMemory.width != fromFile.width || fromMemory.height != fromFile.height ||
      fromMemory.globalIndex != fromFile.globalIndex || fromMemory.pixelFormat != fromFile.pixelFormat ||
      fromMemory.textureFormat != fromFile.textureFormat || fromMemory.mipmap != fromFile.mipmap ||
      fromMemory.badSize != fromFile.badSize || fromFile.skipped != 1)
    __builtin_trap();
  return 0;
}
