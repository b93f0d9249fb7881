// The PVM archive that the texture-list section feeds with -outpvm: the
// section writer starts it before the first texture, hands it each texture's
// PVR path and name in list order, and finishes it after the section.
#pragma once

#include <memory>

struct VKWriteInfo;

class VKSectionArchive {
 public:
  virtual ~VKSectionArchive() = default;
  // The PVR file of a texture, converted or found, as the section formed its
  // path.
  virtual void AddFile(const char *pvrPath) = 0;
  // The texture's file name as written in the model.
  virtual void AddTextureName(const char *picname) = 0;
  // After the section: builds and writes the archive, then releases it.
  virtual void Finish() = 0;
};

// Resets, names and starts the archive of the model file being written (the
// output name with the suffix ".pvm"; the model path from the base name of
// the path as opened). Null when no archive is built.
std::unique_ptr<VKSectionArchive> VKStartSectionArchive(const VKWriteInfo *info);
