// Fuzz target of the Chunk-model ASCII reader: the parse of the bytes in
// memory, and the same bytes read from a file and written as a binary model
// file; both must agree, and a refused input must leave no output behind.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

#include "base/console.h"
#include "binary/chunk_reader.h"
#include "fuzz_common.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static const struct Scratch {
    std::string input = std::string(fuzz::Scratch()) + "/model.vka";
    std::string output = std::string(fuzz::Scratch()) + "/model.vk";
  } scratch;
  SetWarningStream(nullptr);
  SetErrorStream(nullptr);
  const std::string_view text(reinterpret_cast<const char *>(data), size);
  VKChunkFile parsed;
  const VKStatus inMemory = VKParseChunkModel(text, "fuzz.vka", &parsed);

  FILE *file = std::fopen(scratch.input.c_str(), "wb");
  if (file == nullptr) return 0;
  const bool written = std::fwrite(data, 1, size, file) == size;
  std::fclose(file);
  if (!written) return 0;
  std::remove(scratch.output.c_str());
  VKTextureList textures;
  const VKStatus fromFile = VKReadChunkModel(scratch.input.c_str(), scratch.output.c_str(), &textures);
  // Both reads see the same file; a refused file writes nothing.
  if (inMemory.ok() != fromFile.ok()) __builtin_trap();
  FILE *output = std::fopen(scratch.output.c_str(), "rb");
  const bool exists = output != nullptr;
  if (output) std::fclose(output);
  if (exists != fromFile.ok()) __builtin_trap();
  if (inMemory.ok() && (textures.count != parsed.textures.count ||
                        textures.entries.size() != parsed.textures.entries.size()))
    __builtin_trap();
  return 0;
}
