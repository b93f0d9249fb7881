// The dual print through which every model writer emits its output, and the
// binary chunk container behind it.
//
// Each dual-print call carries a printf format for the ASCII file and a
// string of binary item codes for the binary file, with one argument list.
// In ASCII mode the format is written to the bound file; in binary mode the
// item codes are interpreted against the same arguments and appended to an
// in-memory byte image, which is written in one piece by VKWriteClose.
//
// Binary item codes (argument types as passed through "..."):
//   "!"  skip: the next value item consumes its argument and writes nothing
//   "$"  plain marker, no output
//   "T"  label named by the text arguments whose indexes are the digits that
//        follow it (every digit up to the end of the codes)
//   "P"  pointer field (4 bytes) to the label named by the digits up to the
//        first other character; a pointer named "NULL" stays 0
//   "g"  const char*: pointer field to the text, stored after the payload
//   "i" int32, "s" int16, "c" int8, "I" uint32, "S" uint16, "C" uint8 (int)
//   "f"  double, written as a 32-bit float
//   "X"  3 ints, NORM32 word; "8" 4 ints a, r, g, b, ARGB8888 word
//   "5"  6 ints, D565S565 word; "a" 7 ints, D4444S565 word
// The walk over the codes stops once arguments used plus markers ("!", "$",
// "T", "P") reach the length of the code string.
//
// All state lives in a VKWriter object that the model writer owns for its
// output run and hands to everything that prints into the file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>

#include "base/status.h"

// ---- Writer modes -----------------------------------------------------------
constexpr int kVKModeBinDebug = 0;  // binary, every item described on the console
constexpr int kVKModeBinary = 1;
constexpr int kVKModeAscii = 2;

// Four-character chunk names, first character in the most significant byte.
constexpr uint32_t VKChunkName(const char (&text)[5]) {
  return static_cast<uint32_t>(static_cast<unsigned char>(text[0])) << 24 |
         static_cast<uint32_t>(static_cast<unsigned char>(text[1])) << 16 |
         static_cast<uint32_t>(static_cast<unsigned char>(text[2])) << 8 |
         static_cast<uint32_t>(static_cast<unsigned char>(text[3]));
}
constexpr uint32_t kVKChunkVKCM = VKChunkName("VKCM");
constexpr uint32_t kVKChunkVKBM = VKChunkName("VKBM");
constexpr uint32_t kVKChunkVKTL = VKChunkName("VKTL");
constexpr uint32_t kVKChunkPOF0 = VKChunkName("POF0");

// ---- Writer state ---------------------------------------------------------------
struct VKRunRecord;

// How a writer reaches the file system and memory, and whom it tells of the
// files it commits. A null member is the standard operation; tests put in
// failing ones.
struct VKWriterHooks {
  FILE *(*open)(const char *name, const char *mode);
  int (*rename)(const char *from, const char *to);
  void *(*allocate)(size_t size);  // the byte image's pieces, released with std::free
  VKRunRecord *record = nullptr;   // told of every file the writer commits; null: none
};

namespace vkbin {
struct WriterState;
}

// The dual print and binary writer of one output run: ASCII mode on the
// standard error stream and an empty byte image until told otherwise. A
// failure inside the writer (a byte image that cannot grow, a rewrite outside
// the image) is kept as the writer's status; from then on the writer writes
// and describes nothing more, and VKWriteClose returns it.
class VKOutputSet;

class VKWriter {
 public:
  // With `outputs`, the files the writer finishes are committed by the run
  // (base/output_files.h); without, each one is moved into place when it is
  // closed. Renames go through the hooks' rename in both cases.
  explicit VKWriter(const VKWriterHooks *hooks = nullptr, VKOutputSet *outputs = nullptr);
  // A file opened by VKWriteOpenFile and not closed is removed (its target
  // stays as it was), also when an exception unwinds the writer.
  ~VKWriter();
  VKWriter(const VKWriter &) = delete;
  VKWriter &operator=(const VKWriter &) = delete;

  vkbin::WriterState &state() { return *state_; }
  const vkbin::WriterState &state() const { return *state_; }

 private:
  std::unique_ptr<vkbin::WriterState> state_;
};

// Binds a file; a null file binds the standard error stream.
void VKWriteOpen(VKWriter &writer, FILE *file);
// Opens `name` for writing through a temporary file beside it and binds it. The
// finished file replaces `name` only once VKWriteClose has written it
// completely (and, with a run's output set, when the run commits), so a failed
// run never leaves a truncated file where a good one stood. Fails with
// kCantOpen, after printing the error, when the temporary file cannot be
// created.
VKStatus VKWriteOpenFile(VKWriter &writer, const char *name);
void VKWriteSetBin(VKWriter &writer);       // mode 1
void VKWriteSetBinDebug(VKWriter &writer);  // mode 0; silences the info stream
void VKWriteSetAscii(VKWriter &writer);     // mode 2
int VKWriteGetMode(const VKWriter &writer);
// The file-system and memory operations the writer was made with (to make
// another writer of the same run).
const VKWriterHooks *VKWriteHooks(const VKWriter &writer);
// The writer's failure so far, or ok.
const VKStatus &VKWriteStatus(const VKWriter &writer);
// Writes the byte image when the write flag is set (dump mode: hex dump first)
// and releases it; a file opened by VKWriteOpenFile is closed and finished
// (moved into place now, or by the run's commit). The writer is then as new (ASCII mode on the standard error stream).
// Returns the writer's earlier failure (not printed, nothing written, the
// temporary file removed), or kCantWrite after printing an error when the
// output could not be written completely.
VKStatus VKWriteClose(VKWriter &writer);

// ---- Dual print -----------------------------------------------------------------
// A null format or null codes writes nothing for that side (binary-only and
// ASCII-only lines use VKPrintBin and VKPrintAscii, which keep the format
// checked).
void VKPrint(VKWriter &writer, const char *codes, const char *format, ...)
    __attribute__((format(printf, 3, 4)));
// ASCII text only (nothing in the binary modes).
void VKPrintAscii(VKWriter &writer, const char *format, ...) __attribute__((format(printf, 2, 3)));
// Binary items only (nothing in ASCII mode).
void VKPrintBin(VKWriter &writer, const char *codes, ...);

// ---- Chunks ---------------------------------------------------------------------
// Both do nothing in ASCII mode. Chunks are never nested.
void VKWriteBinChunkStart(VKWriter &writer, uint32_t name);
// Places the strings, resolves pointers against labels, fixes the size field and
// appends the chunk's POF0 chunk.
void VKWriteBinChunkEnd(VKWriter &writer);

// ---- Byte image (binary modes) ------------------------------------------------
void VKWriteBytes(VKWriter &writer, const void *bytes, int count);
void VKWrite4(VKWriter &writer, uint32_t value);  // little-endian, unaligned
void VKWrite2(VKWriter &writer, uint32_t value);
void VKWrite1(VKWriter &writer, uint32_t value);
void VKWriteText(VKWriter &writer, const char *text);  // with its terminating zero
void VKAlign(VKWriter &writer, int alignment);         // 2 or 4; zero bytes
long VKGetByteCount(const VKWriter &writer);
void VKSetBase(VKWriter &writer, long base);
long VKGetBase(const VKWriter &writer);
// Copies `count` bytes over the image from `position` on. A negative position
// does nothing; a position beyond the image or a copy running past the byte
// count fails the writer with kBadRewrite ("Error: Bad bc RewriteBytes",
// "Error: Can't rewrite run over current bc").
void RewriteBytes(VKWriter &writer, long position, const void *bytes, int count);
// Hex dump of the whole image on the console, as VKWriteClose prints it in
// dump mode.
void VKDumpImage(const VKWriter &writer);
