// The archive of -outpvm: the section's calls handed to the archive builder.
#include "texture/section_archive.h"

#include <cstdio>
#include <string>

#include "base/file_names.h"
#include "binary/write_info.h"
#include "texture/pvm.h"

namespace {

class SectionArchive final : public VKSectionArchive {
 public:
  explicit SectionArchive(const VKWriteInfo *info) {
    ArchiveReset(&archive_);
    char name[kNameSize];
    std::snprintf(name, sizeof name, "%s", info->outputName);
    ReplaceSuffix(name, ".pvm");
    ArchiveSetName(&archive_, name);
    ArchiveSetModelPath(&archive_, info->openedPath);
    ArchiveStart(&archive_);
  }
  void AddFile(const char *pvrPath) override { ArchiveAddFile(&archive_, pvrPath); }
  void AddTextureName(const char *picname) override { ArchiveAddTextureName(&archive_, picname, ""); }
  // The builder reports its own failures; the model file is written either way.
  void Finish() override { ArchiveFinish(&archive_); }

 private:
  TextureArchive archive_;
};

}  // namespace

std::unique_ptr<VKSectionArchive> VKStartSectionArchive(const VKWriteInfo *info) {
  return std::make_unique<SectionArchive>(info);
}
