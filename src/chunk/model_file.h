// What the Chunk-model and the Basic-model writer share: the output files of
// a run (one model file, or with -septex a data and a texture-list file),
// each written as header comment, texture-list section, object section and
// DEFAULT block; the instance prototypes; and the object records.
#pragma once

#include <cstdint>

#include "base/status.h"
#include "binary/write_info.h"

struct ScNode;

// The writer-specific parts of the files.
struct VKModelFileParts {
  // Writes the object section; returns 1 when every object was legal.
  int (*objectSection)(VKWriteInfo *info);
  // The Chunk model leaves the texture-list section out in the volume modes;
  // the Basic model writes it whenever the texture-list bit is set.
  bool textureListInVolumeModes;
};

// Opens, writes and closes the files of the run, each through a temporary
// file renamed into place when complete. The info's flags are the run's
// again afterwards. Returns ok; kCantOpen or kCantWrite (reported) when a
// file could not be written; kBadObject (reported) after an illegal instance
// object, its model file being written all the same; or the writer's failure.
VKStatus VKWriteModelFiles(VKWriteInfo *info, const VKModelFileParts &parts);

// The keywords of an object record and how it writes an absent model, child
// or sibling.
struct VKObjectRecordWords {
  const char *object;  // first line: "CNKOBJECT  " or "OBJECT      "
  const char *model;   // model line: "CNKModel   " or "Model       "
  // An absent model, child or sibling: a pointer named NULL (0, its place
  // listed in the POF0 chunk) when set, else a plain 32-bit 0 written in
  // binary only.
  bool nullPointers;
};

// Writes the object record of a node (binary: label, evaluation flags, model
// pointer, position, angles, scale, child and sibling pointers, 52 bytes);
// the model line names the node's model when `hasModel`. Returns 1, or 0
// after "Error : Illegal instance object : %s\n" for an instance object whose
// prototype was not found (written as a plain object).
int VKWriteObjectRecord(VKWriteInfo *info, ScNode *node, bool hasModel, const VKObjectRecordWords &words);

// ASCII only, before the first object when the node list has instance
// objects: the extern declarations of the shared models and objects, with the
// writer's model and object keywords.
void VKWriteInstancePrototypes(const VKWriteInfo *info, const char *modelKeyword, const char *objectKeyword);
