// Reader of an existing PVR file's header, for textures that are not
// converted again.
#pragma once

#include <cstddef>
#include <cstdint>

#include "texture/texture_types.h"

// Opens `path` (as named, else "./" followed by its base name) and fills
// `info` from the file's chunks: pixel format, texture format, mipmap, alpha
// kind, width and height from the "PVRT" chunk, the global index from the
// "GBIX" chunk; skipped 1 and the bad-size flag. Returns 1 when the file was
// opened, 0 (after "Error: Can't open file %s\n") otherwise. Chunks that are
// cut short or point past the end of the file end the walk.
int PVR_ReadHeaderInfo(const char *path, PVR_TexInfo *info);

// The same chunk walk over a file's bytes in memory.
void PVR_ParseHeaderInfo(const uint8_t *data, size_t size, PVR_TexInfo *info);
