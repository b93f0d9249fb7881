// Basic-model reader and node list: the file through the reader's three
// passes, linking and the scene, then the node list with the option words
// that byte 0 chooses, and with bit 7 the material tags and the strips.
#include <cstdlib>

#include "chunk/chunk_writer.h"
#include "fuzz_common.h"
#include "process/nodelist.h"
#include "process/optimize.h"
#include "process/strips.h"
#include "process/tags.h"
#include "reader/reader.h"
#include "scene/memory.h"

namespace {

// Option words of the routes: chunk output with each volume mode, or the
// Basic output; the strip options; -septex and -bin.
constexpr uint32_t kVolumeModes[] = {0, vkopt::kChunkVolumeStrip, vkopt::kChunkVolumePoly3,
                                     vkopt::kChunkVolumePoly34};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size == 0) return 0;
  const uint8_t choice = data[0];
  const std::string model = fuzz::Path("model.vka");
  fuzz::Write(model, data + 1, size - 1);
  fuzz::QuietStderr quiet;
  ScMallocTabInit();
  try {
    ScObject *scene = ReadBasicModel(model.c_str());
    if (scene != nullptr) {
      uint32_t modelFlags = 0, outputFlags = 0, stripFlags = 0, chunkFlags = 0;
      if (choice & 1) {
        chunkFlags = vkopt::kChunkDefault | kVolumeModes[choice >> 1 & 3] << vkopt::kChunkVolumeShift;
        CompleteChunkOptions(&chunkFlags, &stripFlags, &modelFlags);
      }
      if (choice & 8) stripFlags |= vkopt::kStripOn;
      if (choice & 16) outputFlags |= vkopt::kOutSeparateTexList;
      if (choice & 32) outputFlags |= vkopt::kOutBinary;
      if (choice & 64) modelFlags |= vkopt::kModelNoTexture;
      const float rotation[3] = {0, 0, 0};
      ScNodeList *list = nullptr;
      if (ScGetNodeList(scene, modelFlags, outputFlags, stripFlags, rotation, &list).ok() && list != nullptr &&
          (choice & 128)) {
        VKApplyMaterialTags(list, 0);
        VKOptimizeInfo *info = VKGetOptimizeInfo(list, chunkFlags);
        VKMakeStrips(list, info);
        VKFreeOptimizeInfo(info);
      }
    }
  } catch (const std::bad_alloc &) {
    // An allocation the system refused: the program stops with its message.
  }
  ScFreeAll();
  return 0;
}
