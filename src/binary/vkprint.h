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
#pragma once

#include <cstdint>
#include <cstdio>

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

// ---- Dual print -----------------------------------------------------------------
// A null format or null codes writes nothing for that side (binary-only and
// ASCII-only lines use VKPrintBin and VKPrintAscii, which keep the format
// checked). When the writer is not open, the first print opens it in ASCII
// mode on the standard error stream.
void VKPrint(const char *codes, const char *format, ...) __attribute__((format(printf, 2, 3)));
// ASCII text only (nothing in the binary modes).
void VKPrintAscii(const char *format, ...) __attribute__((format(printf, 1, 2)));
// Binary items only (nothing in ASCII mode).
void VKPrintBin(const char *codes, ...);

// ---- Writer state ---------------------------------------------------------------
// Creates the writer state when there is none (ASCII mode, empty image) and binds
// the file; a null file binds the standard error stream.
void VKWriteOpen(FILE *file);
// Opens `name` for writing through a temporary file beside it and binds it. The
// finished file replaces `name` only when VKWriteClose has written it
// completely, so a failed run never leaves a truncated file where a good one
// stood. Returns the bound stream, or null (after an error message) when the
// temporary file cannot be created.
FILE *VKWriteOpenFile(const char *name);
void VKWriteSetBin();       // mode 1
void VKWriteSetBinDebug();  // mode 0; silences the info stream and the texture tags
void VKWriteSetAscii();     // mode 2
int VKWriteGetMode();       // 2 when no writer is open
// Writes the byte image when the write flag is set (dump mode: hex dump first),
// releases everything and binds the standard error stream again. A file opened
// by VKWriteOpenFile is closed and renamed into place. Returns false when the
// output could not be written completely (an error has been printed).
bool VKWriteClose();

// ---- Chunks ---------------------------------------------------------------------
// Both do nothing in ASCII mode. Chunks are never nested.
void VKWriteBinChunkStart(uint32_t name);
// Places the strings, resolves pointers against labels, fixes the size field and
// appends the chunk's POF0 chunk.
void VKWriteBinChunkEnd();

// ---- Byte image (binary modes) ------------------------------------------------
void VKWriteBytes(const void *bytes, int count);
void VKWrite4(uint32_t value);  // little-endian, unaligned
void VKWrite2(uint32_t value);
void VKWrite1(uint32_t value);
void VKWriteText(const char *text);  // with its terminating zero
void VKAlign(int alignment);         // 2 or 4; zero bytes
long VKGetByteCount();
void VKSetBase(long base);
long VKGetBase();
// Copies `count` bytes over the image from `position` on. A negative position
// does nothing; a position beyond the image or a copy running past the byte
// count ends the process with a message.
void RewriteBytes(long position, const void *bytes, int count);
// Hex dump of the whole image on the console, as VKWriteClose prints it in
// dump mode.
void VKDumpImage();

// Silences the texture converter's tag output while a dump is printed; the
// texture converter reads it.
bool VKTextureTagsSilenced();
