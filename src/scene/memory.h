// Tracked allocation table, paged pools and the byte buffer chain.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "base/status.h"

// ---- Tracked allocation table -------------------------------------------
// Every scene record and working buffer is allocated here (zero-filled) and
// everything still held is released by ScFreeAll at the end of the run. An
// allocation never returns null: a failure throws VKOutOfMemory (base/status.h)
// with the message "Error: Can't malloc <tag>".
void ScMallocTabInit();
void *ScMalloc(size_t size, const char *tag);
char *ScVStrdup(const char *text);
// Releases a block of this table (from ScMalloc or ScVStrdup; null does
// nothing); its slot is found in a small header in front of the block.
void ScFree(void *block, const char *tag);
void ScFreeAll();

// Observable state of the table, for diagnostics and tests.
struct ScMallocStats {
  bool initialised;
  int pageCount;  // pages in the table (0 when not initialised)
  int used;       // occupied slots of the current page
  long blocks;    // recorded blocks in all pages
};
ScMallocStats ScMallocGetStats();
// The block recorded in slot `index` counted over all pages from the first,
// or null past the end.
void *ScMallocBlockAt(long index);

template <typename T>
T *ScNew(const char *tag, size_t count = 1) {
  return static_cast<T *>(ScMalloc(sizeof(T) * count, tag));
}

// ---- Paged pool -----------------------------------------------------------
struct PoolChunk {
  unsigned char *buffer;
  PoolChunk *next;
};

struct PagedPool {
  PoolChunk *first;
  PoolChunk *current;
  int32_t used;
  int32_t chunkCount;
  int32_t pageSize;
  bool zeroFill;  // the binary writer's twin fills every buffer with zeros
};

// The reader's pool. An allocation failure throws VKOutOfMemory with a message
// printed straight to stderr.
void PoolInit(PagedPool *pool);
void *PoolAlloc(PagedPool *pool, int size, const char *tag);
char *PoolStrdup(PagedPool *pool, const char *text);
void PoolFreeAll(PagedPool *pool);

// The binary writer's zero-filling twin. An allocation failure throws
// VKOutOfMemory with the "vmalloc" messages for the error stream.
void VPoolInit(PagedPool *pool);
void *VPoolAlloc(PagedPool *pool, int size, const char *tag);
void VPoolFreeAll(PagedPool *pool);

// ---- Byte buffer chain ------------------------------------------------------
struct BufferPiece {
  long offset;  // byte offset of the piece's start within the whole buffer
  unsigned char *data;
  BufferPiece *next;
  BufferPiece *prev;
};

struct BufferChain {
  // Allocates the pieces (released with std::free); null: std::malloc. Kept
  // by BufferFreeAll and BufferInit, so a test can make the pieces fail.
  void *(*allocate)(size_t);
  BufferPiece *first;
  BufferPiece *current;
  int32_t used;        // bytes used in the last piece
  long position;       // position counters read by the binary writer
  long mark;
  int32_t pieceCount;
  int32_t pieceSize;
};

// Both add one piece (then the chain's current piece); when it cannot be
// allocated they leave the chain as it was and return the failure
// ("Error: Can't vbuffer malloc page" or "... buf"), which is not printed.
VKStatus BufferInit(BufferChain *chain);
VKStatus BufferAddPiece(BufferChain *chain);
void BufferFreeAll(BufferChain *chain);
// Writes every piece in order (the last one with `used` bytes); true when
// every byte was written.
bool BufferWrite(BufferChain *chain, FILE *file);
// Same into a file opened for binary writing; false when it cannot be
// opened or written.
bool BufferWriteFile(BufferChain *chain, const char *name);
// Total bytes held by the chain.
long BufferSize(const BufferChain *chain);
