// Tracked allocation table. Block references are kept in pages of 4096
// slots; releasing a block moves the last recorded reference into its hole
// so the references always form one unbroken run. Each block carries a small
// header in front of it naming its page and slot, which gives the same slot
// as searching the pages from the first, without the search.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "base/console.h"
#include "base/status.h"
#include "scene/memory.h"

namespace {

constexpr int kSlotsPerPage = 4096;

struct TablePage {
  void *slots[kSlotsPerPage];
  TablePage *next;
  TablePage *prev;
};

// In front of every block; 16 bytes keep the block as aligned as the
// allocator's own blocks.
struct alignas(16) BlockHeader {
  TablePage *page;
  int32_t slot;
};
static_assert(sizeof(BlockHeader) == 16);

BlockHeader *HeaderOf(void *block) { return static_cast<BlockHeader *>(block) - 1; }

struct TrackedTable {
  TablePage *first = nullptr;
  TablePage *current = nullptr;
  int used = 0;
  int pageCount = 0;
  bool initialised = false;
};

TrackedTable &Table() {
  static TrackedTable table;
  return table;
}

TablePage *NewPage() { return static_cast<TablePage *>(std::calloc(1, sizeof(TablePage))); }

}  // namespace

void ScMallocTabInit() {
  TrackedTable &t = Table();
  if (t.initialised) return;
  TablePage *page = NewPage();
  if (!page) throw VKOutOfMemory(false, "Error: Can't malloc %s\n", "page");
  t.first = t.current = page;
  t.used = 0;
  t.pageCount = 1;
  t.initialised = true;
}

void *ScMalloc(size_t size, const char *tag) {
  TrackedTable &t = Table();
  if (!t.initialised) ScMallocTabInit();
  if (t.used >= kSlotsPerPage) {
    TablePage *page = NewPage();
    if (!page) throw VKOutOfMemory(false, "Error: Can't malloc page %s\n", tag);
    page->prev = t.current;
    t.current->next = page;
    t.current = page;
    t.pageCount++;
    t.used = 0;
  }
  auto *header = size <= SIZE_MAX - sizeof(BlockHeader)
                     ? static_cast<BlockHeader *>(std::calloc(1, sizeof(BlockHeader) + size))
                     : nullptr;
  if (!header) throw VKOutOfMemory(false, "Error: Can't malloc %s\n", tag);
  void *block = header + 1;
  *header = BlockHeader{t.current, t.used};
  t.current->slots[t.used] = block;
  t.used++;
  return block;
}

char *ScVStrdup(const char *text) {
  if (!Table().initialised) ScMallocTabInit();
  if (!text || !*text) return nullptr;
  size_t length = std::strlen(text);
  auto *copy = static_cast<char *>(ScMalloc(length + 1, text));
  std::memcpy(copy, text, length + 1);
  return copy;
}

void ScFree(void *block, const char *tag) {
  TrackedTable &t = Table();
  if (!t.initialised) {
    PrintError("Error: You must call ScMallocTabInit for ScObject %s\n", tag);
    return;
  }
  if (t.used == 0 && t.pageCount == 1) return;
  if (!block) return;
  // Every block given to ScFree comes from ScMalloc of this table; its
  // header names its slot.
  const BlockHeader hole = *HeaderOf(block);
  std::free(HeaderOf(block));

  // Fill the hole with the last recorded reference.
  void *last;
  if (t.used > 1) {
    t.used--;
    last = t.current->slots[t.used];
    t.current->slots[t.used] = nullptr;
  } else {
    last = t.current->slots[0];
    t.current->slots[0] = nullptr;
    if (t.pageCount > 1) {
      TablePage *empty = t.current;
      t.current = empty->prev;
      t.current->next = nullptr;
      std::free(empty);
      t.pageCount--;
      t.used = kSlotsPerPage;
    } else {
      t.used = 0;
    }
  }
  // When the released block was the last reference itself its slot is simply
  // gone; otherwise the last reference moves into the hole.
  if (last != block) {
    hole.page->slots[hole.slot] = last;
    *HeaderOf(last) = hole;
  }
}

void ScFreeAll() {
  TrackedTable &t = Table();
  if (!t.initialised) {
    PrintError("Error: You must call ScMallocTabInit for ScObject %s\n", "ScObjectFree");
    return;
  }
  for (TablePage *page = t.first; page;) {
    int count = (page == t.current) ? t.used : kSlotsPerPage;
    for (int i = 0; i < count; i++) std::free(HeaderOf(page->slots[i]));
    TablePage *next = page->next;
    std::free(page);
    page = next;
  }
  t.first = t.current = nullptr;
  t.used = 0;
  t.pageCount = 0;
  t.initialised = false;
}

ScMallocStats ScMallocGetStats() {
  const TrackedTable &t = Table();
  ScMallocStats stats{};
  stats.initialised = t.initialised;
  stats.pageCount = t.pageCount;
  stats.used = t.used;
  stats.blocks = t.initialised ? static_cast<long>(t.pageCount - 1) * kSlotsPerPage + t.used : 0;
  return stats;
}

void *ScMallocBlockAt(long index) {
  const TrackedTable &t = Table();
  if (!t.initialised || index < 0) return nullptr;
  TablePage *page = t.first;
  for (; page && index >= kSlotsPerPage; index -= kSlotsPerPage) page = page->next;
  if (!page || (page == t.current && index >= t.used)) return nullptr;
  return page->slots[index];
}
