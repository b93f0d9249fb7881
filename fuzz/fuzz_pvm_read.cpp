// Fuzz target of the PVM archive reader: the archive is split into entries,
// and each entry's PVR and palette files go through the decoder.
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "texture/pvm_read.h"
#include "texture/pvr_decode.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  PVM_Archive archive;
  std::string error;
  if (!PVM_ReadArchive(std::span<const uint8_t>(data, size), &archive, &error)) {
    if (error.empty() || !archive.entries.empty()) __builtin_trap();  // a refusal names its reason, keeps nothing
    return 0;
  }
  for (const PVM_Entry &entry : archive.entries) {
    if (entry.name.size() > 28 || entry.pvr.size() < 16) __builtin_trap();
    PVR_Decoded decoded;
    if (!PVR_Decode(entry.pvr, entry.pvp, &decoded, &error) && error.empty()) __builtin_trap();
  }
  return 0;
}
