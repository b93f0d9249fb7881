// The archive of -outpvm. The archive builder is not part of the program yet:
// the request is reported once per section and no archive is written.
#include "texture/section_archive.h"

#include "base/console.h"

std::unique_ptr<VKSectionArchive> VKStartSectionArchive(const VKWriteInfo *) {
  PrintWarning("Warning : PVM archives are not available yet; -outpvm ignored\n");
  return nullptr;
}
