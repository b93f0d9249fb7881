// Console and file helpers of the texture converter.
#pragma once

#include <cstdint>
#include <vector>

// Tags and messages of the converter go through the info stream, which the
// binary dump mode silences; warnings and errors use PrintWarning/PrintError.
//
// A framed message: "\n#####\n", the text, "\n#####\n" (image readers, size
// errors of the encoders).
void PVR_ShowFramed(const char *format, ...) __attribute__((format(printf, 1, 2)));
// An error of the mipmap builder and the VQ compressor: "\n*** %s ***\n".
void PVR_ShowStarred(const char *format, ...) __attribute__((format(printf, 1, 2)));

// Writes `bytes` as the whole file `path`: to a temporary beside it first,
// renamed into place only when every byte was written, so a failure never
// leaves a partial file and keeps an older file of that name intact.
bool PVR_WriteWholeFile(const char *path, const std::vector<uint8_t> &bytes);
// The two halves of it, for files that go into place together (a palette
// file and its texture): the temporary of `path` written whole (removed when
// that fails), then renamed over `path` (removed when that fails), or
// removed.
bool PVR_WriteTemporaryFile(const char *path, const std::vector<uint8_t> &bytes);
bool PVR_CommitTemporaryFile(const char *path);
void PVR_DiscardTemporaryFile(const char *path);

// Reads a whole file; false when it cannot be opened or read.
bool PVR_ReadWholeFile(const char *path, std::vector<uint8_t> *bytes);
