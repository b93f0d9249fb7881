// The state of one VKWriter, shared by the files of this folder only.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "base/output_files.h"
#include "base/status.h"
#include "binary/text_format.h"
#include "binary/vkprint.h"
#include "scene/memory.h"

namespace vkbin {

constexpr int kPointerPageEntries = 4096;
constexpr size_t kFileBufferSize = 1 << 16;
constexpr size_t kTextBufferSize = 1 << 18;

// A label, named pointer or string of the open chunk (in the chunk's pool).
struct QueueEntry {
  const char *name;  // label or pointer name, or the string's text
  long position;     // label position, or position of the pointer field
  QueueEntry *next;
};

struct Queue {
  QueueEntry *first;
  QueueEntry *last;
  int count;
};

// Positions of every pointer field of the open chunk, in order of writing.
struct PointerPage {
  long entries[kPointerPageEntries];
  PointerPage *next;
};

struct WriterState {
  VKWriterHooks hooks;      // the standard operations where null
  VKStatus status;          // the first failure; once set, nothing more is written
  FILE *file;               // bound output; stderr when none
  bool ownsFile;            // opened by VKWriteOpenFile: closed and finished at close
  VKOutputSet *outputs;     // the run's outputs, or ownOutputs
  std::unique_ptr<VKOutputSet> ownOutputs;  // a writer without a run's set commits each file at close
  int outputId;             // the owned file in *outputs
  std::unique_ptr<VKTextFormats> formats;  // the text side's formats, compiled on first use
  std::unique_ptr<char[]> fileBuffer;      // stdio buffer of the owned files
  // The text of an owned file, formatted in place and written in large
  // pieces (a file not owned gets each call's text at once).
  std::unique_ptr<char[]> text;
  size_t textUsed;
  int mode;                 // kVKModeBinDebug, kVKModeBinary or kVKModeAscii
  uint32_t openChunk;       // name of the open chunk, 0 when none
  bool skip;                // "!": the next value item writes nothing
  bool dump;                // describe items and chunk events on the console
  bool write;               // items go into the byte image
  bool plain;               // "$"; changes no output
  long sizePosition;        // size field of the open chunk
  int argumentsUsed;        // of the current dual-print call
  int markersUsed;
  // Texts of the arguments consumed so far in the current call, by index
  // (null for non-text arguments); label and pointer digits name 0-9.
  const char *argumentText[10];

  PagedPool pool;  // the open chunk's zero-filling pool
  bool poolLive;
  Queue labels;
  Queue pointers;
  Queue strings;
  PointerPage *firstPage;
  PointerPage *currentPage;
  int pageUsed;         // entries used in the current page
  long pointerCount;    // entries over all pages

  BufferChain image;
  std::vector<BufferPiece *> pieces;  // the image's pieces by index
  long byteCount;                     // bytes written, the next byte's position
  long base;                          // first payload byte of the open chunk
};

inline bool Failed(const WriterState &state) { return !state.status.ok(); }
// Writes the text held for the owned file.
void FlushText(WriterState &state);
// Keeps the first failure of the run.
void Fail(WriterState &state, VKStatus status);

// Chunk queues, used by the item interpreter.
void QueueLabel(WriterState &state, const char *name, long position);
void QueuePointer(WriterState &state, const char *name, long position);
void QueueString(WriterState &state, const char *text, long position);
void StorePointerPosition(WriterState &state, long position);
// Releases the open chunk's pool, if any.
void ReleaseChunk(WriterState &state);

// Byte image internals. Writing and rewriting fail the writer (and then do
// nothing) as the public functions describe.
void ImageInit(WriterState &state);
void ImageFree(WriterState &state);
// Aligns to 2 or 4 with zero bytes, describing the padding in dump mode.
void ImageAlign(WriterState &state, int alignment);
void ImageWrite(WriterState &state, const void *bytes, long count);
void ImageWriteLE(WriterState &state, uint32_t value, int width);
void ImageRewrite(WriterState &state, long position, const void *bytes, int count);
void ImageDump(const WriterState &state);

}  // namespace vkbin
