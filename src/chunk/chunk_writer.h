// The Chunk-model writer: one processed scene written as a Chunk-model ASCII
// file (.vka), binary file (-bin, .vk) or data/texture pair (-septex).
#pragma once

#include <cstdint>

#include "base/status.h"
#include "binary/write_info.h"

struct ScObject;

// Chunk output, run by the driver on the option words before the node list
// is built: forces triangulation, decides the strip bits from the volume mode
// and marks the chunk flags as a Chunk model.
void CompleteChunkOptions(uint32_t *chunkFlags, uint32_t *stripFlags, uint32_t *modelFlags);

// Writes the request's node list as a Chunk model. The output file's name is
// derived from the request's output name (".vk" for binary, ".vad"/".vat" or
// ".vkd"/".vkt" with -septex); every file is written to a temporary name and
// renamed into place when complete. Returns ok when every object was
// written; kCantOpen or kCantWrite (reported) when a file could not be
// written; kBadObject (reported) after an illegal instance object, the files
// being written all the same; or the writer's failure (kOutOfMemory,
// kBadRewrite), which is not printed yet and leaves no file behind.
VKStatus VKWriteChunkModel(const VKWriteRequest &request);

// A Chunk model indexes vertices with 16 bits and textures with 13: fails
// with kRefused, after an error, when a mesh of the scene has more than
// 65,535 vertices (naming the object) or when its materials use more than
// 8,191 textures (file names and palette banks). The driver asks this
// before it touches any file.
VKStatus VKSceneFitsChunkModel(const ScObject *scene);
