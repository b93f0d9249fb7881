// Chunks of the binary file: opening and closing, the label, pointer and
// string queues of the open chunk, pointer resolution and the POF0 chunk that
// lists every pointer field.
#include <cstring>
#include <string_view>
#include <vector>

#include "base/console.h"
#include "binary/vkprint.h"
#include "binary/writer_state.h"

namespace vkbin {
namespace {

// The name's characters, most significant byte first, or (reversed) from
// the least significant byte as the dump shows them.
void NameText(uint32_t name, bool reversed, char text[5]) {
  for (int i = 0; i < 4; i++) {
    int shift = reversed ? 8 * i : 24 - 8 * i;
    text[i] = static_cast<char>((name >> shift) & 0xFF);
  }
  text[4] = '\0';
}

void CheckAlignment(const WriterState &state, long position, const char *where) {
  long remainder = (position - state.base) % 4;
  if (remainder != 0)
    PrintWarning("!!!!!!!!!!!!!!! Warning: Bad alignment4 %ld message %s\n", remainder, where);
}

// The pool cuts blocks at multiples of 4; every request here is rounded to 8
// so that the entries holding pointers stay aligned for them.
void *PoolTake(WriterState &state, size_t size, const char *tag) {
  return VPoolAlloc(&state.pool, static_cast<int>((size + 7) & ~size_t{7}), tag);
}

char *PoolCopy(WriterState &state, const char *text) {
  size_t length = std::strlen(text);
  auto *copy = static_cast<char *>(PoolTake(state, length + 1, "VKWriteQueue"));
  std::memcpy(copy, text, length + 1);
  return copy;
}

void Append(WriterState &state, Queue &queue, const char *name, long position) {
  if (!state.poolLive) {
    PrintWarning("Warning : no open chunk for %s\n", name);
    return;
  }
  auto *entry = static_cast<QueueEntry *>(PoolTake(state, sizeof(QueueEntry), "VKWriteQueue"));
  entry->name = PoolCopy(state, name);
  entry->position = position;
  entry->next = nullptr;
  if (queue.last)
    queue.last->next = entry;
  else
    queue.first = entry;
  queue.last = entry;
  queue.count++;
}

PointerPage *NewPointerPage(WriterState &state) {
  return static_cast<PointerPage *>(PoolTake(state, sizeof(PointerPage), "VKPointerCashStore"));
}

void RewriteWord(WriterState &state, long position, uint32_t value) {
  unsigned char bytes[4] = {static_cast<unsigned char>(value), static_cast<unsigned char>(value >> 8),
                            static_cast<unsigned char>(value >> 16),
                            static_cast<unsigned char>(value >> 24)};
  ImageRewrite(state, position, bytes, 4);
}

void WriteBigEndian(WriterState &state, uint32_t value, int width) {
  unsigned char bytes[4];
  for (int i = 0; i < width; i++) bytes[i] = static_cast<unsigned char>(value >> (8 * (width - 1 - i)));
  ImageWrite(state, bytes, width);
}

// Each string after the payload, unaligned; its pointer field gets the
// text's offset from the base.
void PlaceStrings(WriterState &state) {
  for (const QueueEntry *entry = state.strings.first; entry && !Failed(state); entry = entry->next) {
    long at = state.byteCount;
    ImageWrite(state, entry->name, static_cast<long>(std::strlen(entry->name)) + 1);
    RewriteWord(state, entry->position, static_cast<uint32_t>(at - state.base));
  }
}

// Label index: open addressing over a power-of-two table of (hash, name,
// position); a later label of the same name replaces the earlier one.
class LabelIndex {
 public:
  explicit LabelIndex(int count) {
    size_t size = 16;
    while (size < 2 * static_cast<size_t>(count)) size *= 2;
    slots_.resize(size);
    mask_ = size - 1;
  }
  void Set(const char *name, long position) {
    size_t hash = Hash(name);
    slots_[Find(name, hash)] = Slot{hash, name, position};
  }
  const long *Get(const char *name) const {
    const Slot &slot = slots_[Find(name, Hash(name))];
    return slot.name ? &slot.position : nullptr;
  }

 private:
  struct Slot {
    size_t hash = 0;
    const char *name = nullptr;
    long position = 0;
  };
  static size_t Hash(const char *name) { return std::hash<std::string_view>{}(name); }
  // The slot holding the name, or the empty slot where it would go.
  size_t Find(const char *name, size_t hash) const {
    for (size_t i = hash & mask_;; i = (i + 1) & mask_) {
      const Slot &slot = slots_[i];
      if (!slot.name || (slot.hash == hash && std::strcmp(slot.name, name) == 0)) return i;
    }
  }
  std::vector<Slot> slots_;
  size_t mask_;
};

// Every pointer takes the position of the last label of its name. The first
// pointer without a label is reported and ends the resolution.
void ResolvePointers(WriterState &state) {
  if (state.labels.count == 0 || state.pointers.count == 0) return;
  LabelIndex index(state.labels.count);
  for (const QueueEntry *label = state.labels.first; label; label = label->next)
    index.Set(label->name, label->position);
  for (const QueueEntry *pointer = state.pointers.first; pointer && !Failed(state); pointer = pointer->next) {
    const long *position = index.Get(pointer->name);
    if (!position) {
      PrintError("Error : Can't chain %s\n", pointer->name);
      return;
    }
    RewriteWord(state, pointer->position, static_cast<uint32_t>(*position - state.base));
  }
}

void DumpQueue(const Queue &queue, const char *title) {
  PrintMessage("\n<< Dump WriteQueue %s >>\n", title);
  int index = 0;
  for (const QueueEntry *entry = queue.first; entry; entry = entry->next, index++)
    PrintMessage("i %d str %s address %ld 0x%lx\n", index, entry->name, entry->position,
                 static_cast<unsigned long>(entry->position));
}

template <typename Visit>
void ForEachPointerPosition(const WriterState &state, Visit visit) {
  long left = state.pointerCount;
  int page = 0;
  for (const PointerPage *p = state.firstPage; p && left > 0; p = p->next, page++)
    for (int entry = 0; entry < kPointerPageEntries && left > 0; entry++, left--)
      visit(page, entry, p->entries[entry]);
}

void DumpPointerPositions(const WriterState &state) {
  PrintMessage("\n<< Dump PointerCash %s {BaseBc %ld}>>\n", "", state.base);
  ForEachPointerPosition(state, [&](int page, int entry, long position) {
    long offset = position - state.base;
    PrintMessage("page %d entry %d address %ld 0x%lx cnkaddr %ld 0x%lx\n", page, entry, position,
                 static_cast<unsigned long>(position), offset, static_cast<unsigned long>(offset));
  });
}

// Writes the size field at `sizePosition`: every byte after it.
void FixSize(WriterState &state, long sizePosition) {
  RewriteWord(state, sizePosition, static_cast<uint32_t>(state.byteCount - sizePosition - 4));
}

// The POF0 chunk: the distance of each pointer field from the previous one
// (from the base for the first), in words, as 1, 2 or 4 big-endian bytes.
void WritePointerChunk(WriterState &state) {
  WriteBigEndian(state, kVKChunkPOF0, 4);
  long sizePosition = state.byteCount;
  ImageWriteLE(state, 0, 4);
  long previous = state.base;
  ForEachPointerPosition(state, [&](int, int, long position) {
    if (Failed(state)) return;
    auto words = static_cast<uint32_t>((position - previous) / 4);
    if (words < 64) {
      uint32_t code = 0x40 | words;
      if (state.dump)
        PrintMessage("prev %ld current %ld p-c %u ctmp %x\n", previous, position, words, code);
      WriteBigEndian(state, code, 1);
    } else if (words < 16384) {
      uint32_t code = 0x8000 | words;
      if (state.dump)
        PrintMessage("prev %ld current %ld p-c %u stmp %x\n", previous, position, words, code);
      WriteBigEndian(state, code, 2);
    } else {
      uint32_t code = 0xC0000000u | words;
      if (state.dump)
        PrintMessage("prev %ld current %ld p-c %u ltmp %x\n", previous, position, words, code);
      WriteBigEndian(state, code, 4);
    }
    previous = position;
  });
  if (Failed(state)) return;
  long pad = (4 - state.byteCount % 4) % 4;
  if (state.dump) PrintMessage("padsize %ld\n", pad);
  ImageWrite(state, nullptr, pad);
  FixSize(state, sizePosition);
}

}  // namespace

void QueueLabel(WriterState &state, const char *name, long position) {
  Append(state, state.labels, name, position);
}

void QueuePointer(WriterState &state, const char *name, long position) {
  CheckAlignment(state, position, "VKWriteQueuePointerStore");
  Append(state, state.pointers, name, position);
}

void QueueString(WriterState &state, const char *text, long position) {
  Append(state, state.strings, text, position);
}

void StorePointerPosition(WriterState &state, long position) {
  if (!state.poolLive) return;  // no chunk: the warning comes with the queue entry
  if (state.pageUsed == kPointerPageEntries) {
    PointerPage *page = NewPointerPage(state);
    state.currentPage->next = page;
    state.currentPage = page;
    state.pageUsed = 0;
  }
  state.currentPage->entries[state.pageUsed++] = position;
  state.pointerCount++;
}

void ReleaseChunk(WriterState &state) {
  if (state.poolLive) VPoolFreeAll(&state.pool);
  state.poolLive = false;
  state.labels = state.pointers = state.strings = Queue{};
  state.firstPage = state.currentPage = nullptr;
  state.pageUsed = 0;
  state.pointerCount = 0;
}

}  // namespace vkbin

using vkbin::WriterState;

void VKWriteBinChunkStart(VKWriter &writer, uint32_t name) {
  WriterState &state = writer.state();
  if (state.mode == kVKModeAscii || vkbin::Failed(state)) return;
  char text[5];
  if (state.openChunk) {
    vkbin::NameText(name, false, text);
    PrintWarning("Warning : already open chunk %s\n", text);
    return;
  }
  vkbin::ReleaseChunk(state);
  VPoolInit(&state.pool);
  state.poolLive = true;
  state.firstPage = state.currentPage = vkbin::NewPointerPage(state);
  if (state.dump) {
    vkbin::NameText(name, true, text);
    PrintMessage("[ChunkName %s]", text);
    PrintMessage("\n<<<< START >>>>\n");
  }
  vkbin::CheckAlignment(state, state.byteCount, "VKWriteBinChunkStart");
  vkbin::WriteBigEndian(state, name, 4);
  state.openChunk = name;
  state.sizePosition = state.byteCount;
  vkbin::ImageWriteLE(state, 0, 4);
  if (vkbin::Failed(state)) return;
  VKSetBase(writer, state.byteCount);
  if (state.dump) PrintMessage("\n{BaseBC %ld}\n", state.base);
}

void VKWriteBinChunkEnd(VKWriter &writer) {
  WriterState &state = writer.state();
  if (state.mode == kVKModeAscii || !state.openChunk || vkbin::Failed(state)) return;
  vkbin::PlaceStrings(state);
  vkbin::ResolvePointers(state);
  if (vkbin::Failed(state)) return;
  if (state.dump) {
    vkbin::DumpQueue(state.labels, "topqueue");
    vkbin::DumpQueue(state.pointers, "ptrqueue");
    vkbin::DumpQueue(state.strings, "strqueue");
    vkbin::DumpPointerPositions(state);
  }
  vkbin::ImageAlign(state, 4);
  vkbin::FixSize(state, state.sizePosition);
  if (vkbin::Failed(state)) return;
  if (state.dump) {
    char text[5];
    vkbin::NameText(kVKChunkPOF0, true, text);
    PrintMessage("\n<<<< END >>>>\n");
    PrintMessage("[ChunkName %s]", text);
  }
  vkbin::WritePointerChunk(state);
  state.openChunk = 0;
  vkbin::ReleaseChunk(state);
}
