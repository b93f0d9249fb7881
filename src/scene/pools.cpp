// Paged pools (bump allocation from 4096-byte pages, released as a whole)
// and the byte buffer chain of the binary writer.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "base/status.h"
#include "scene/memory.h"

namespace {

constexpr int kPageSize = 4096;

// Failure messages of the two pool flavours: the reader's pool's are printed
// straight to stderr, the writer's twin's through the error stream.
struct PoolMessages {
  const char *chunk;      // first chunk at init
  const char *buffer;     // first buffer at init
  const char *newChunk;   // chunk cut while allocating
  const char *newBuffer;  // buffer cut while allocating
  const char *bigChunk;   // chunk of an oversized block
  const char *bigBuffer;
};

constexpr PoolMessages kReaderMessages{
    "Error: Can't malloc %s\n",      "Error: Can't malloc buf %s\n",
    "Error: Can't malloc page %s\n", "Error: Can't malloc buf %s\n",
    "Error: Can't malloc big page %s\n", "Error: Can't malloc buf %s\n"};
constexpr PoolMessages kWriterMessages{
    "Error: Can't malloc %s\n",       "Error: Can't malloc buf %s\n",
    "Error: Can't vmalloc page %s\n", "Error: Can't vmalloc buf %s\n",
    "Error: Can't vmalloc big page %s\n", "Error: Can't malloc buf %s\n"};

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"

// The formats come from the message tables above.
[[noreturn]] void PoolFail(const PagedPool *pool, const char *format, const char *tag) {
  throw VKOutOfMemory(!pool->zeroFill, format, tag);
}

#pragma GCC diagnostic pop

PoolChunk *NewChunk(PagedPool *pool, size_t bytes, const char *chunkFormat,
                    const char *bufferFormat, const char *chunkTag, const char *bufferTag) {
  auto *chunk = static_cast<PoolChunk *>(std::malloc(sizeof(PoolChunk)));
  if (!chunk) PoolFail(pool, chunkFormat, chunkTag);
  chunk->next = nullptr;
  chunk->buffer = static_cast<unsigned char *>(std::malloc(bytes));
  if (!chunk->buffer) PoolFail(pool, bufferFormat, bufferTag);
  if (pool->zeroFill) std::memset(chunk->buffer, 0, bytes);
  return chunk;
}

void InitPool(PagedPool *pool, bool zeroFill) {
  *pool = PagedPool{};
  pool->zeroFill = zeroFill;
  pool->pageSize = kPageSize;
  const PoolMessages &m = zeroFill ? kWriterMessages : kReaderMessages;
  pool->first = pool->current = NewChunk(pool, kPageSize, m.chunk, m.buffer, "page", "buf");
  pool->used = 0;
  pool->chunkCount = 1;
}

void *AllocPool(PagedPool *pool, int size, const char *tag) {
  const PoolMessages &m = pool->zeroFill ? kWriterMessages : kReaderMessages;
  long rounded = (static_cast<long>(size < 0 ? 0 : size) + 3) & ~3L;
  if (rounded <= pool->pageSize) {
    if (pool->used + rounded > pool->pageSize) {
      PoolChunk *chunk = NewChunk(pool, pool->pageSize, m.newChunk, m.newBuffer, tag, tag);
      pool->current->next = chunk;
      pool->current = chunk;
      pool->chunkCount++;
      pool->used = 0;
    }
    void *block = pool->current->buffer + pool->used;
    pool->used += static_cast<int32_t>(rounded);
    return block;
  }
  PoolChunk *big = NewChunk(pool, static_cast<size_t>(rounded), m.bigChunk, m.bigBuffer, tag, tag);
  big->next = pool->first;
  pool->first = big;
  pool->chunkCount++;
  return big->buffer;
}

void FreePool(PagedPool *pool) {
  PoolChunk *chunk = pool->first;
  for (int i = 0; i < pool->chunkCount && chunk; i++) {
    PoolChunk *next = chunk->next;
    std::free(chunk->buffer);
    std::free(chunk);
    chunk = next;
  }
  bool zeroFill = pool->zeroFill;
  *pool = PagedPool{};
  pool->zeroFill = zeroFill;
}

}  // namespace

void PoolInit(PagedPool *pool) { InitPool(pool, false); }
void *PoolAlloc(PagedPool *pool, int size, const char *tag) { return AllocPool(pool, size, tag); }
void PoolFreeAll(PagedPool *pool) { FreePool(pool); }

char *PoolStrdup(PagedPool *pool, const char *text) {
  if (!text || !*text) return nullptr;
  size_t length = std::strlen(text);
  auto *copy = static_cast<char *>(AllocPool(pool, static_cast<int>(length + 1), "strdup"));
  std::memcpy(copy, text, length + 1);
  return copy;
}

void VPoolInit(PagedPool *pool) { InitPool(pool, true); }
void *VPoolAlloc(PagedPool *pool, int size, const char *tag) { return AllocPool(pool, size, tag); }
void VPoolFreeAll(PagedPool *pool) { FreePool(pool); }

// ---- Byte buffer chain ------------------------------------------------------

void BufferFreeAll(BufferChain *chain) {
  for (BufferPiece *piece = chain->first; piece;) {
    BufferPiece *next = piece->next;
    std::free(piece->data);
    std::free(piece);
    piece = next;
  }
  void *(*allocate)(size_t) = chain->allocate;
  *chain = BufferChain{};
  chain->allocate = allocate;
}

VKStatus BufferInit(BufferChain *chain) {
  BufferFreeAll(chain);
  chain->pieceSize = kPageSize;
  chain->pieceCount = 0;
  return BufferAddPiece(chain);
}

VKStatus BufferAddPiece(BufferChain *chain) {
  void *(*allocate)(size_t) = chain->allocate ? chain->allocate : std::malloc;
  auto *piece = static_cast<BufferPiece *>(allocate(sizeof(BufferPiece)));
  if (!piece) return VKStopStatus(VKStatusCode::kOutOfMemory, "Error: Can't vbuffer malloc %s\n", "page");
  piece->data = static_cast<unsigned char *>(allocate(static_cast<size_t>(chain->pieceSize)));
  if (!piece->data) {
    std::free(piece);
    return VKStopStatus(VKStatusCode::kOutOfMemory, "Error: Can't vbuffer malloc %s\n", "buf");
  }
  std::memset(piece->data, 0, static_cast<size_t>(chain->pieceSize));
  piece->next = nullptr;
  if (chain->current) {
    piece->prev = chain->current;
    piece->offset = chain->current->offset + chain->pieceSize;
    chain->current->next = piece;
    chain->current = piece;
    chain->pieceCount++;
  } else {
    piece->prev = nullptr;
    piece->offset = 0;
    chain->first = chain->current = piece;
    chain->position = 0;
    chain->mark = 0;
    chain->pieceCount = 1;
  }
  chain->used = 0;
  return VKStatus{};
}

bool BufferWrite(BufferChain *chain, FILE *file) {
  for (BufferPiece *piece = chain->first; piece; piece = piece->next) {
    size_t bytes = static_cast<size_t>(piece == chain->current ? chain->used : chain->pieceSize);
    if (bytes && std::fwrite(piece->data, 1, bytes, file) != bytes) return false;
  }
  return true;
}

// The bytes go to a temporary file beside the target, which replaces the
// target only once it is complete: a failed write never leaves a truncated
// file where a good one stood.
bool BufferWriteFile(BufferChain *chain, const char *name) {
  std::string temporary = std::string(name) + ".tmp~";
  FILE *file = std::fopen(temporary.c_str(), "wb");
  if (!file) return false;
  bool ok = BufferWrite(chain, file);
  ok = (std::fclose(file) == 0) && ok;
  if (ok && std::rename(temporary.c_str(), name) != 0) ok = false;
  if (!ok) std::remove(temporary.c_str());
  return ok;
}

long BufferSize(const BufferChain *chain) {
  if (!chain->current) return 0;
  return chain->current->offset + chain->used;
}
