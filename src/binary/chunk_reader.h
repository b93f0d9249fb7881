// The Chunk-model ASCII reader: a Chunk-model ASCII file turned back into
// the words of its chunks and into records linked by name, and written as a
// binary model file (a VKTL chunk for the texture list, a VKCM chunk for the
// objects, each with its POF0 chunk).
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "base/status.h"

struct VKWriterHooks;

// One texture of the texture-list section, in file order.
struct VKTextureEntry {
  std::string name;
  uint32_t attribute;  // PTEXN: 0x00010000 when its flag is not 0; TEXN3: as written; TEXN: 0
  uint32_t address;    // PTEXN: bank << 26; TEXN3: as written; TEXN: 0
};

struct VKTextureList {
  uint32_t count = 0;  // the last TextureNum, masked to 16 bits
  std::vector<VKTextureEntry> entries;
};

// The records of a Chunk-model ASCII file, each kind in file order. `line` is
// the line of the block's keyword; names that are absent are empty.
struct VKChunkStripList {
  std::string name;
  int line = 0;
  std::vector<uint16_t> words;  // every polygon chunk and the end mark 0x00FF
};

struct VKChunkVertexList {
  std::string name;
  int line = 0;
  std::vector<uint32_t> words;  // every vertex chunk and the end mark 0x000000FF
};

// A name that refers to another block, and its line.
struct VKChunkLink {
  std::string name;  // empty or "NULL": none
  int line = 0;
  int index = -1;    // the record it names, after linking
};

struct VKChunkModelRecord {
  std::string name;
  int line = 0;
  VKChunkLink vertexList;  // "VList"
  VKChunkLink stripList;   // "PList"
  float center[3] = {0, 0, 0};
  float radius = 0;
};

struct VKChunkObjectRecord {
  std::string name;
  int line = 0;
  uint32_t evalFlags = 0;
  VKChunkLink model;    // "CNKModel"
  VKChunkLink child;    // "Child"
  VKChunkLink sibling;  // "Sibling"
  float position[3] = {0, 0, 0};
  int32_t angle[3] = {0, 0, 0};  // binary units, 65536 per turn, from the degrees of "OAngle"
  float scale[3] = {0, 0, 0};
};

struct VKChunkFile {
  VKTextureList textures;
  int textureNumLine = 0;  // line of the last TextureNum, 0 when none
  std::vector<VKChunkStripList> stripLists;
  std::vector<VKChunkVertexList> vertexLists;
  std::vector<VKChunkModelRecord> models;
  std::vector<VKChunkObjectRecord> objects;
};

// Parses Chunk-model ASCII text and links its records by name. `fileName`
// names the text in messages. A malformed file gives a status (not printed
// yet) whose message names the file, the line and the problem.
VKStatus VKParseChunkModel(std::string_view text, const char *fileName, VKChunkFile *file);

// Reads the Chunk-model ASCII file `inputName`, fills `textures` (when not
// null) with its texture list, and writes the binary model file `outputName`
// (when not null): the texture list (only when `textures` is given and its
// count is not 0) and the objects, through a temporary file that replaces
// `outputName` only when it is complete. The input is never changed; a
// malformed input writes nothing. Messages not printed yet come back in the
// status; `hooks` reach the writer's file operations.
VKStatus VKReadChunkModel(const char *inputName, const char *outputName, VKTextureList *textures,
                          const VKWriterHooks *hooks = nullptr);
