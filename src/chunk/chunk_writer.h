// The Chunk-model writer: one processed scene written as a Chunk-model ASCII
// file (.vka), binary file (-bin, .vk) or data/texture pair (-septex).
#pragma once

#include <cstdint>

struct ScNodeList;
struct ScObject;
struct GlobalIndexBlock;

// Writes the node list as a Chunk model. The output file's name is derived
// from outputName (".vk" for binary, ".vad"/".vat" or ".vkd"/".vkt" with
// -septex); every file is written to a temporary name and renamed into place
// when complete. Returns 1 when every object was written, 0 otherwise (the
// files are still written when only an illegal instance object failed).
int VKWriteChunkModel(ScNodeList *nodeList, const char *inputName, char *outputName,
                      GlobalIndexBlock *globalIndex, const char *texturePath, uint32_t chunkFlags);

// A Chunk model indexes vertices with 16 bits: returns false, after an error
// naming the object, when a mesh of the scene has more than 65,535 vertices.
// The driver asks this before it touches any file.
bool VKSceneFitsChunkModel(const ScObject *scene);
