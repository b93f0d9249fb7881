// Entry point of the Basic-model reader: two passes over the file, linking
// by name, then the scene.
#include "reader/reader.h"

#include <cstdio>
#include <memory>
#include <new>

#include "base/status.h"
#include "reader/basic_blocks.h"
#include "reader/scene_build.h"

namespace {

struct FileCloser {
  void operator()(std::FILE *file) const { std::fclose(file); }
};

ScObject *ReadFile(const char *fileName, std::FILE *file) {
  using namespace vkreader;
  LineReader reader(file);
  ReaderContext ctx;
  ctx.fileName = fileName;
  ctx.reader = &reader;

  CountAndMeasureBlocks(ctx);
  if (!CreateRecords(ctx)) return nullptr;
  reader.Rewind();
  if (!ReadBlocks(ctx)) return nullptr;
  if (std::ferror(file)) {
    std::fprintf(stderr, "Error : %s : Line %d : read error\n", fileName, reader.line());
    return nullptr;
  }
  if (ctx.objects.empty()) {
    std::fprintf(stderr, "Error : %s : no OBJECT block, the file holds no scene\n", fileName);
    return nullptr;
  }
  LinkByName(ctx);
  return BuildScene(ctx);
}

}  // namespace

ScObject *ReadBasicModel(const char *fileName) {
  std::unique_ptr<std::FILE, FileCloser> file(std::fopen(fileName, "r"));
  if (!file) {
    std::fprintf(stderr, "Error : Can't open %s\n", fileName);
    return nullptr;
  }
  // Larger reads than the default buffer: the file is read twice.
  std::setvbuf(file.get(), nullptr, _IOFBF, 1 << 16);
  try {
    return ReadFile(fileName, file.get());
  } catch (const VKOutOfMemory &) {
    throw;  // the tracked allocator's own stop
  } catch (const std::bad_alloc &) {
    std::fprintf(stderr, "Error : %s : out of memory while reading\n", fileName);
    return nullptr;
  }
}
