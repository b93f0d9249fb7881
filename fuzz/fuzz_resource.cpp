// Resource database loader: load, look up both declared types, release, and
// apply the texture record to a settings block.
#include <cstdlib>

#include "fuzz_common.h"
#include "scene/memory.h"
#include "texture/resource_db.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const std::string database = fuzz::Path("res.nre"), image = fuzz::Path("res.bmp");
  fuzz::Write(database, data, size);
  long before = ScMallocGetStats().blocks;
  VKResDB *db = VKResOpen(image.c_str());
  if (db == nullptr) std::abort();
  int status = VKResLoad(db);
  if (status != 1 && (status < 102 || status > 108)) std::abort();
  VKResFind(db, "TextureTex", &status);
  VKResFind(db, "TextureVQ2", &status);
  VKResClose(db);
  if (ScMallocGetStats().blocks != before) std::abort();  // every record released
  PVR_Settings settings;
  PVR_ApplyResource(&settings, image.c_str());
  return 0;
}
