// Texture resource database: the ".nre" file beside a source image that holds
// typed records of conversion settings. The store is general (records of any
// declared type, fields of 22 value types); the texture driver asks for the
// first "TextureTex" record and applies it to a texture's settings.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

#include "texture/texture_types.h"

// Value types of record fields (the low byte of a field's type word).
enum ResFieldType : int32_t {
  kResFloat = 0,
  kResFloat16 = 1,  // declared only: nothing is stored
  kResLong = 2,
  kResULong = 3,
  kResShort = 4,
  kResUShort = 5,
  kResChar = 6,
  kResUChar = 7,
  kResBool = 8,
  kResString = 9,
  kResBytes = 10,
  kResAngle = 11,
  kResRgb = 12,
  kResArgb = 13,
  kResFloat3 = 14,
  kResAngle3 = 15,
  kResFlag32Hex = 16,
  kResFlag32Dec = 17,
  kResFlag32Bool = 18,
  kResFlag16Hex = 19,
  kResFlag16Dec = 20,
  kResFlag16Bool = 21,
  kResFieldTypeCount = 22,
};

// Status codes of loading and lookup. None of them prints a message.
enum ResStatus : int {
  kResOk = 1,
  kResEnd = 102,          // end of file or no such chunk
  kResBadWord = 103,      // a value word not in the field's word list
  kResShortHeader = 104,  // a record header of one word
  kResUnfinished = 105,   // a record header inside an unfinished record
  kResUndeclared = 106,   // an undeclared chunk type
  kResNoMemory = 107,     // no memory for a chunk
  kResNoHeader = 108,     // no record header before the end of the file
};

// A field type word: the value type in the low byte; for the flag types the
// bit position of the value in the third byte and a group number in the top
// byte (consecutive flag fields of one family and group share one word).
constexpr uint32_t ResTypeWord(ResFieldType type, uint32_t bit = 0, uint32_t group = 0) {
  return static_cast<uint32_t>(type) | bit << 16 | group << 24;
}

struct ResWord {
  const char *word;
  int32_t value;
};

struct ResField {
  uint32_t typeWord;
  const char *name;
  const ResWord *words;  // searched first when present
  int32_t wordCount;
};

struct ResType {
  const char *name;
  const ResField *fields;
  int32_t fieldCount;
  int32_t dataSize;                 // bytes of one record's data block
  void (*setDefaults)(void *data);  // fills a fresh data block
};

// Tracked records (plain structs; allocated with ScMalloc).
struct VKResData {
  char name[kPVRNameSize];
  void *data;
  VKResData *next;
};

struct VKResChunk {
  char typeName[kPVRNameSize];
  const ResType *type;
  int32_t dataSize;
  int32_t recordCount;
  VKResData *first;
  VKResData *last;
  int32_t number;  // word 6 of the chunk header
  VKResChunk *next;
};

struct VKResDB {
  FILE *file;
  char path[kPVRNameSize];
  int32_t typeCount;
  const ResType *types;
  int32_t chunkCount;
  VKResChunk *first;
  VKResChunk *last;
};

// Data blocks of the two declared types, field by field in file order.
struct ResTextureTex {
  int32_t fromat;  // pixel format, -1 auto
  int32_t category;
  int32_t mipmap;
  int32_t dither;
  int32_t alphaDither;
  int32_t globalIndex;
  int32_t paletteBank;
  int32_t vqMode;
  int32_t pvrLockOn;
};
struct ResTextureVQ2 {
  int32_t useYIO;
  float yiq[3];
  float iterations;
  int32_t nbCode;
  float allowedError;
};

// The declared types "TextureTex" and "TextureVQ2".
const ResType *VKResDeclaredTypes(int32_t *count);

// Opens name with its suffix replaced by ".nre" for reading and updating
// (read-only when the file may not be written). Null when it does not open or
// the path is longer than 255 characters.
VKResDB *VKResOpen(const char *name);
// The same with another table of declared types.
VKResDB *VKResOpenTyped(const char *name, const ResType *types, int32_t typeCount);
// Reads every chunk from the start of the file (releasing those of an earlier
// load first); returns a ResStatus. Chunks and records read before an error
// stay in the database.
int VKResLoad(VKResDB *db);
// The data block of the first record of the first chunk of that type, with
// *status 1; null with *status 102 when there is none.
void *VKResFind(VKResDB *db, const char *typeName, int *status);
// Closes the file and releases every chunk, record and data block.
void VKResClose(VKResDB *db);

// Applies the first "TextureTex" record of the database beside picname (as
// named, else "./" and its base name) to the settings, printing
// "[FIND RESOURCE] " and, for a locked record, "[PVR LOCK] ". Returns 1 when a
// record was found, 0 otherwise. `opened`, when given, receives the path of
// the database that was read (empty when there is none).
int PVR_ApplyResource(PVR_Settings *settings, const char *picname, std::string *opened = nullptr);
