// The Chunk-model ASCII reader's entries and its binary output: the texture
// list as a VKTL chunk, and the objects with their strip lists, vertex lists
// and models as a VKCM chunk, each with its POF0 chunk.
#include "binary/chunk_reader.h"

#include <bit>
#include <cstdio>
#include <string>
#include <vector>

#include "binary/chunk_reader_lex.h"
#include "binary/chunk_reader_parse.h"
#include "binary/vkprint.h"

namespace {

// Labels name records by kind and index; they do not reach the file.
std::string Label(const char *prefix, int index) { return prefix + std::to_string(index); }

// A pointer to the label, or 0 (not a pointer field) when there is none.
void WritePointer(VKWriter &writer, const char *prefix, int index) {
  if (index < 0) {
    VKPrintBin(writer, "I", 0);
    return;
  }
  const std::string label = Label(prefix, index);
  VKPrintBin(writer, "P0", label.c_str());
}

void WriteLabel(VKWriter &writer, const char *prefix, int index) {
  const std::string label = Label(prefix, index);
  VKPrintBin(writer, "T0", label.c_str());
}

// The words of a list, little-endian, after its 4-aligned label.
template <typename Word>
void WriteWords(VKWriter &writer, const std::vector<Word> &words) {
  if constexpr (std::endian::native == std::endian::little) {
    VKWriteBytes(writer, words.data(), static_cast<int>(words.size() * sizeof(Word)));
  } else {
    for (Word word : words) sizeof(Word) == 4 ? VKWrite4(writer, word) : VKWrite2(writer, word);
  }
}

void WriteFloats(VKWriter &writer, const float (&values)[3]) {
  VKPrintBin(writer, "fff", static_cast<double>(values[0]), static_cast<double>(values[1]),
             static_cast<double>(values[2]));
}

// The texture list: the list record (pointer to the entries, count), then
// per entry a pointer to its name, its attribute and address words; the
// names follow at the end of the chunk.
void WriteTextureList(VKWriter &writer, const VKTextureList &textures) {
  VKWriteBinChunkStart(writer, kVKChunkVKTL);
  VKPrintBin(writer, "T0", "texlist");
  VKPrintBin(writer, "P0", "textures");
  VKPrintBin(writer, "i", static_cast<int>(textures.count));
  VKPrintBin(writer, "T0", "textures");
  for (const VKTextureEntry &entry : textures.entries)
    VKPrintBin(writer, "g$I$i", entry.name.c_str(), entry.attribute, entry.address);
  VKWriteBinChunkEnd(writer);
}

// The objects in the reverse of file order (the node order), each followed
// by the strip list, vertex list and model record of its model when they
// have not been written yet.
void WriteObjects(VKWriter &writer, const VKChunkFile &file) {
  std::vector<bool> modelDone(file.models.size()), stripDone(file.stripLists.size()),
      vertexDone(file.vertexLists.size());
  VKWriteBinChunkStart(writer, kVKChunkVKCM);
  for (size_t i = file.objects.size(); i-- > 0;) {
    const VKChunkObjectRecord &object = file.objects[i];
    WriteLabel(writer, "object_", static_cast<int>(i));
    VKPrintBin(writer, "I", object.evalFlags);
    WritePointer(writer, "model_", object.model.index);
    WriteFloats(writer, object.position);
    VKPrintBin(writer, "iii", object.angle[0], object.angle[1], object.angle[2]);
    WriteFloats(writer, object.scale);
    WritePointer(writer, "object_", object.child.index);
    WritePointer(writer, "object_", object.sibling.index);

    const int m = object.model.index;
    if (m < 0 || modelDone[static_cast<size_t>(m)]) continue;
    modelDone[static_cast<size_t>(m)] = true;
    const VKChunkModelRecord &model = file.models[static_cast<size_t>(m)];
    if (const int s = model.stripList.index; s >= 0 && !stripDone[static_cast<size_t>(s)]) {
      stripDone[static_cast<size_t>(s)] = true;
      WriteLabel(writer, "plist_", s);
      WriteWords(writer, file.stripLists[static_cast<size_t>(s)].words);
    }
    if (const int v = model.vertexList.index; v >= 0 && !vertexDone[static_cast<size_t>(v)]) {
      vertexDone[static_cast<size_t>(v)] = true;
      WriteLabel(writer, "vlist_", v);
      WriteWords(writer, file.vertexLists[static_cast<size_t>(v)].words);
    }
    WriteLabel(writer, "model_", m);
    WritePointer(writer, "vlist_", model.vertexList.index);
    WritePointer(writer, "plist_", model.stripList.index);
    WriteFloats(writer, model.center);
    VKPrintBin(writer, "f", static_cast<double>(model.radius));
  }
  VKWriteBinChunkEnd(writer);
}

VKStatus WriteBinary(const VKChunkFile &file, bool withTextures, const char *outputName,
                     const VKWriterHooks *hooks) {
  VKWriter writer(hooks);
  if (VKStatus status = VKWriteOpenFile(writer, outputName); !status.ok()) return status;
  VKWriteSetBin(writer);
  if (withTextures && file.textures.count != 0) WriteTextureList(writer, file.textures);
  if (!file.objects.empty()) WriteObjects(writer, file);
  return VKWriteClose(writer);
}

}  // namespace

VKStatus VKParseChunkModel(std::string_view text, const char *fileName, VKChunkFile *file) {
  vkcnk::LineSource source(text);
  *file = VKChunkFile{};
  return vkcnk::Parser(source, fileName, *file).Run();
}

VKStatus VKReadChunkModel(const char *inputName, const char *outputName, VKTextureList *textures,
                          const VKWriterHooks *hooks) {
  VKChunkFile file;
  {
    std::FILE *input = std::fopen(inputName, "rb");
    if (!input) return VKStopStatus(VKStatusCode::kBadInput, "Error : Can't open %s\n", inputName);
    vkcnk::LineSource source(input);
    VKStatus status = vkcnk::Parser(source, inputName, file).Run();
    std::fclose(input);
    if (!status.ok()) return status;
  }
  if (textures) *textures = file.textures;
  if (!outputName) return VKStatus{};
  return WriteBinary(file, textures != nullptr, outputName, hooks);
}
