// Resource database files: opening, loading chunks and records line by line,
// lookup and release.
#include "texture/resource_db.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "scene/memory.h"
#include "texture/image_read.h"

namespace {

constexpr int kLineSize = 1024;  // at most 1023 characters a line
constexpr int kMaxWords = 16;    // words past these are never looked at

constexpr int kValueSizes[kResFieldTypeCount] = {4, 2, 4, 4, 2, 2, 1, 1, 4, 256, 1,
                                                 2, 3, 4, 12, 6, 4, 4, 4, 2, 2, 2};

ResFieldType TypeOf(uint32_t typeWord) { return static_cast<ResFieldType>(typeWord & 0xFF); }
uint32_t BitOf(uint32_t typeWord) { return (typeWord >> 16) & 0xFF; }
uint32_t GroupOf(uint32_t typeWord) { return typeWord >> 24; }

// 1 for the 32-bit flag family, 2 for the 16-bit one, 0 otherwise.
int FlagFamily(ResFieldType type) {
  if (type >= kResFlag32Hex && type <= kResFlag32Bool) return 1;
  if (type >= kResFlag16Hex && type <= kResFlag16Bool) return 2;
  return 0;
}

// Lines of at most 1023 characters; the rest of a longer line is passed over.
class LineReader {
 public:
  explicit LineReader(FILE *file) : file_(file) {}
  bool Next() {
    if (std::fgets(line_, kLineSize, file_) == nullptr) return false;
    size_t length = std::strlen(line_);
    if (length == kLineSize - 1 && line_[length - 1] != '\n') {
      int c;
      while ((c = std::fgetc(file_)) != EOF && c != '\n') {
      }
    }
    return true;
  }
  // Cuts the line at its first number sign that follows other text.
  void CutComment() {
    if (char *hash = line_[0] != '\0' ? std::strchr(line_ + 1, '#') : nullptr) *hash = '\0';
  }
  // Splits the line in place; returns the word count (at most kMaxWords).
  int Split(const char *words[kMaxWords]) {
    int count = 0;
    char *p = line_;
    while (*p != '\0') {
      while (*p != '\0' && !IsWordChar(*p)) ++p;
      if (*p == '\0') break;
      if (count < kMaxWords) words[count++] = p;
      while (IsWordChar(*p)) ++p;
      if (*p != '\0') *p++ = '\0';
    }
    return count;
  }

 private:
  static bool IsWordChar(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           (c != '\0' && std::strchr("-./_$:\\!{}", c) != nullptr);
  }

  FILE *file_;
  char line_[kLineSize];
};

// Numbers read from the start of a word, clamped to 32 bits.
int32_t Decimal(const char *word) {
  long long value = std::strtoll(word, nullptr, 10);
  if (value > INT32_MAX) return INT32_MAX;
  if (value < INT32_MIN) return INT32_MIN;
  return static_cast<int32_t>(value);
}
uint32_t Hexadecimal(const char *word) {
  unsigned long long value = std::strtoull(word, nullptr, 16);
  return value > UINT32_MAX ? UINT32_MAX : static_cast<uint32_t>(value);
}

void Store(void *dest, const void *value, size_t size) { std::memcpy(dest, value, size); }
template <typename T>
void StoreAs(void *dest, int64_t value) {
  T narrow = static_cast<T>(value);
  Store(dest, &narrow, sizeof narrow);
}

// The value of a word-list or number field: the list when the field has one
// (a word outside it is 103), else the number.
int ListOrNumber(const ResField &field, const char *word, bool hex, int64_t *value) {
  if (field.words != nullptr) {
    for (int32_t i = 0; i < field.wordCount; ++i) {
      if (std::strcmp(field.words[i].word, word) == 0) {
        *value = field.words[i].value;
        return kResOk;
      }
    }
    return kResBadWord;
  }
  *value = hex ? static_cast<int64_t>(Hexadecimal(word)) : Decimal(word);
  return kResOk;
}

// ORs a flag value into the shared flag word at dest.
void OrFlag(void *dest, ResFieldType type, uint32_t bits) {
  if (FlagFamily(type) == 1) {
    uint32_t word;
    std::memcpy(&word, dest, 4);
    word |= bits;
    std::memcpy(dest, &word, 4);
  } else {
    uint16_t word;
    std::memcpy(&word, dest, 2);
    word = static_cast<uint16_t>(word | bits);
    std::memcpy(dest, &word, 2);
  }
}

// Parses the value words of one field into dest. Missing words read as "".
int ParseValue(const ResField &field, const char *const *words, int count, uint8_t *dest) {
  auto word = [&](int i) { return i < count ? words[i] : ""; };
  ResFieldType type = TypeOf(field.typeWord);
  int64_t value = 0;
  switch (type) {
    case kResFloat: {
      float f = std::strtof(word(0), nullptr);
      Store(dest, &f, 4);
      return kResOk;
    }
    case kResFloat16: return kResOk;
    case kResLong:
      if (field.words == nullptr && std::strcmp(word(0), "auto") == 0) {
        value = -1;
      } else if (int status = ListOrNumber(field, word(0), false, &value); status != kResOk) {
        return status;
      }
      StoreAs<int32_t>(dest, value);
      return kResOk;
    case kResULong:
    case kResShort:
    case kResUShort:
    case kResChar:
    case kResUChar:
    case kResBytes: {
      if (int status = ListOrNumber(field, word(0), false, &value); status != kResOk) return status;
      int size = kValueSizes[type];
      if (size == 4) StoreAs<uint32_t>(dest, value);
      else if (size == 2) StoreAs<uint16_t>(dest, value);
      else StoreAs<uint8_t>(dest, value);
      return kResOk;
    }
    case kResBool: StoreAs<int32_t>(dest, std::strcmp(word(0), "off") == 0 ? 0 : 1); return kResOk;
    case kResString: {
      char text[256] = {};
      std::strncpy(text, word(0), 255);
      Store(dest, text, sizeof text);
      return kResOk;
    }
    case kResAngle: StoreAs<int16_t>(dest, Decimal(word(0))); return kResOk;
    case kResRgb:
    case kResArgb:
      for (int i = 0; i < kValueSizes[type]; ++i) StoreAs<uint8_t>(dest + i, Decimal(word(i)));
      return kResOk;
    case kResFloat3:
      for (int i = 0; i < 3; ++i) {
        float f = std::strtof(word(i), nullptr);
        Store(dest + 4 * i, &f, 4);
      }
      return kResOk;
    case kResAngle3:
      for (int i = 0; i < 3; ++i) StoreAs<int16_t>(dest + 2 * i, Decimal(word(i)));
      return kResOk;
    case kResFlag32Hex:
    case kResFlag32Dec:
    case kResFlag16Hex:
    case kResFlag16Dec: {
      bool hex = type == kResFlag32Hex || type == kResFlag16Hex;
      if (int status = ListOrNumber(field, word(0), hex, &value); status != kResOk) return status;
      uint32_t shift = BitOf(field.typeWord) & (FlagFamily(type) == 1 ? 31 : 15);
      OrFlag(dest, type, static_cast<uint32_t>(value) << shift);
      return kResOk;
    }
    case kResFlag32Bool:
    case kResFlag16Bool:
      if (std::strcmp(word(0), "on") == 0) {
        OrFlag(dest, type, 1u << (BitOf(field.typeWord) & (FlagFamily(type) == 1 ? 31 : 15)));
      }
      return kResOk;
    default: return kResOk;
  }
}

// Bytes the data block advances after field i: flag fields of one family and
// group share one word, passed after the group's last field.
int Advance(const ResType &type, int32_t i) {
  uint32_t typeWord = type.fields[i].typeWord;
  int family = FlagFamily(TypeOf(typeWord));
  if (family != 0 && i + 1 < type.fieldCount) {
    uint32_t next = type.fields[i + 1].typeWord;
    if (FlagFamily(TypeOf(next)) == family && GroupOf(next) == GroupOf(typeWord)) return 0;
  }
  return kValueSizes[TypeOf(typeWord)];
}

// Parses one record: its header line, then each declared field in order.
int ParseRecord(LineReader &lines, const ResType &type, VKResData *record) {
  const char *words[kMaxWords];
  int count;
  do {
    if (!lines.Next()) return kResNoHeader;
    count = lines.Split(words);
  } while (count == 0 || std::strcmp(words[0], "!") != 0);
  if (count == 1) return kResShortHeader;
  if (count >= 3) std::snprintf(record->name, sizeof record->name, "%s", words[2]);

  auto *data = static_cast<uint8_t *>(ScMalloc(static_cast<size_t>(type.dataSize), "resdata_p"));
  type.setDefaults(data);
  record->data = data;
  int offset = 0;
  bool atEnd = false;
  for (int32_t i = 0; i < type.fieldCount; offset += Advance(type, i), ++i) {
    const ResField &field = type.fields[i];
    while (!atEnd) {
      if (!lines.Next()) {
        atEnd = true;  // this field and all later ones keep their defaults
        break;
      }
      lines.CutComment();
      count = lines.Split(words);
      if (count == 0) continue;
      if (std::strcmp(words[0], "!") == 0) return kResUnfinished;
      if (std::strcmp(words[0], field.name) != 0) continue;
      if (offset + kValueSizes[TypeOf(field.typeWord)] > type.dataSize) break;  // a table that lies
      if (int status = ParseValue(field, words + 1, count - 1, data + offset); status != kResOk) return status;
      break;
    }
  }
  return kResOk;
}

const ResType *FindType(const VKResDB &db, const char *name) {
  for (int32_t i = 0; i < db.typeCount; ++i) {
    if (std::strcmp(db.types[i].name, name) == 0) return &db.types[i];
  }
  return nullptr;
}

void ReleaseChunks(VKResDB *db) {
  for (VKResChunk *chunk = db->first; chunk != nullptr;) {
    for (VKResData *record = chunk->first; record != nullptr;) {
      VKResData *next = record->next;
      if (record->data != nullptr) ScFree(record->data, "VKResData pointer");
      ScFree(record, "VKResData");
      record = next;
    }
    VKResChunk *next = chunk->next;
    ScFree(chunk, "VKResChunk");
    chunk = next;
  }
  db->first = db->last = nullptr;
  db->chunkCount = 0;
}

}  // namespace

VKResDB *VKResOpen(const char *name) {
  int32_t count;
  const ResType *types = VKResDeclaredTypes(&count);
  return VKResOpenTyped(name, types, count);
}

VKResDB *VKResOpenTyped(const char *name, const ResType *types, int32_t typeCount) {
  std::string path = PVR_WithSuffix(name, ".nre");
  if (path.size() >= static_cast<size_t>(kPVRNameSize)) return nullptr;
  FILE *file = std::fopen(path.c_str(), "r+");
  if (file == nullptr) file = std::fopen(path.c_str(), "r");  // a database that may not be written
  if (file == nullptr) return nullptr;
  auto *db = static_cast<VKResDB *>(ScMalloc(sizeof(VKResDB), "VKResDB"));
  db->file = file;
  std::snprintf(db->path, sizeof db->path, "%s", path.c_str());
  db->typeCount = typeCount;
  db->types = types;
  return db;
}

int VKResLoad(VKResDB *db) {
  ReleaseChunks(db);
  std::rewind(db->file);
  LineReader lines(db->file);
  const char *words[kMaxWords];
  for (;;) {
    int count = 0;
    bool found = false;
    while (!found && lines.Next()) {
      count = lines.Split(words);
      found = count > 0 && std::strcmp(words[0], "Chunk") == 0;
    }
    if (!found) return db->chunkCount > 0 ? kResOk : kResEnd;
    const ResType *type = FindType(*db, count > 1 ? words[1] : "");
    if (type == nullptr) return kResUndeclared;
    auto *chunk = static_cast<VKResChunk *>(ScMalloc(sizeof(VKResChunk), "VKResChunk"));
    if (chunk == nullptr) return kResNoMemory;
    std::snprintf(chunk->typeName, sizeof chunk->typeName, "%s", type->name);
    chunk->type = type;
    chunk->dataSize = type->dataSize;
    chunk->number = count > 5 ? Decimal(words[5]) : 0;
    int32_t records = count > 3 ? Decimal(words[3]) : 0;
    if (db->last != nullptr) db->last->next = chunk;
    else db->first = chunk;
    db->last = chunk;
    db->chunkCount++;
    for (int32_t i = 0; i < records; ++i) {
      auto *record = static_cast<VKResData *>(ScMalloc(sizeof(VKResData), "resdata_p"));
      if (chunk->last != nullptr) chunk->last->next = record;
      else chunk->first = record;
      chunk->last = record;
      chunk->recordCount++;
      if (int status = ParseRecord(lines, *type, record); status != kResOk) return status;
    }
  }
}

void *VKResFind(VKResDB *db, const char *typeName, int *status) {
  for (VKResChunk *chunk = db->first; chunk != nullptr; chunk = chunk->next) {
    if (std::strcmp(chunk->typeName, typeName) != 0) continue;
    if (chunk->first == nullptr || chunk->first->data == nullptr) break;
    *status = kResOk;
    return chunk->first->data;
  }
  *status = kResEnd;
  return nullptr;
}

void VKResClose(VKResDB *db) {
  if (db == nullptr) return;
  ReleaseChunks(db);
  if (db->file != nullptr) std::fclose(db->file);
  ScFree(db, "VKResDB");
}
