// The refusals and the chunk walk shared by the PVR decoder and the PVM reader.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace pvr_decode {

// Formats the reason into *error (when given) and returns false.
bool Refuse(std::string *error, const char *format, ...) __attribute__((format(printf, 2, 3)));
// A chunk name for messages, unprintable bytes as '?'.
std::string NameText(const uint8_t *name);

// The chunk at `position` of a chunk file (4-byte name, 32-bit length, data):
// its name for messages and its data. Refused when the head or the data runs
// past the end of the file.
struct ChunkAt {
  std::string name;
  std::span<const uint8_t> data;
};
bool ReadChunkAt(std::span<const uint8_t> file, size_t position, ChunkAt *chunk, std::string *error);

}  // namespace pvr_decode
