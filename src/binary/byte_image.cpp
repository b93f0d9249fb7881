// The byte image of a binary file: a chain of zero-filled 4096-byte pieces
// with the byte count, the base of the open chunk, alignment, rewriting of
// earlier bytes and the console hex dump.
#include <cstring>

#include "binary/vkprint.h"
#include "binary/writer_state.h"
#include "frontend/console.h"

namespace vkbin {

void ImageInit(WriterState &state) {
  state.image = BufferChain{};
  BufferInit(&state.image);
  state.pieces.assign(1, state.image.first);
  state.byteCount = 0;
  state.base = 0;
}

void ImageFree(WriterState &state) {
  BufferFreeAll(&state.image);
  state.pieces.clear();
  state.byteCount = 0;
  state.base = 0;
}

void ImageWrite(WriterState &state, const void *bytes, long count) {
  BufferChain &chain = state.image;
  if (!chain.current) ImageInit(state);
  const auto *from = static_cast<const unsigned char *>(bytes);
  while (count > 0) {
    if (chain.used == chain.pieceSize) state.pieces.push_back(BufferAddPiece(&chain));
    long room = chain.pieceSize - chain.used;
    long take = count < room ? count : room;
    if (from) {
      std::memcpy(chain.current->data + chain.used, from, static_cast<size_t>(take));
      from += take;
    }  // else: zero bytes, which a fresh piece already holds
    chain.used += static_cast<int32_t>(take);
    state.byteCount += take;
    count -= take;
  }
  chain.position = state.byteCount;
}

void ImageWriteLE(WriterState &state, uint32_t value, int width) {
  unsigned char bytes[4] = {static_cast<unsigned char>(value), static_cast<unsigned char>(value >> 8),
                            static_cast<unsigned char>(value >> 16),
                            static_cast<unsigned char>(value >> 24)};
  ImageWrite(state, bytes, width);
}

void ImageAlign(WriterState &state, int alignment) {
  if (alignment <= 1) return;
  long old = state.byteCount;
  long pad = (alignment - old % alignment) % alignment;
  if (pad == 0) return;
  if (state.dump) PrintMessage("Alignment%d(bc %ld -> ", alignment, old);
  ImageWrite(state, nullptr, pad);
  if (state.dump) PrintMessage("%ld)\n", state.byteCount);
}

void ImageRewrite(WriterState &state, long position, const void *bytes, int count) {
  if (position < 0) return;
  if (position >= state.byteCount) FatalError("Error: Bad bc %s\n", "RewriteBytes");
  if (position + count > state.byteCount) FatalError("Error: Can't rewrite %s\n", "run over current bc");
  const BufferChain &chain = state.image;
  const auto *from = static_cast<const unsigned char *>(bytes);
  size_t index = static_cast<size_t>(position / chain.pieceSize);
  long offset = position % chain.pieceSize;
  while (count > 0) {
    long room = chain.pieceSize - offset;
    long take = count < room ? count : room;
    std::memcpy(state.pieces[index]->data + offset, from, static_cast<size_t>(take));
    from += take;
    count -= static_cast<int>(take);
    offset = 0;
    index++;
  }
}

namespace {

// Characters the hex dump shows as themselves; every other byte shows as '.'.
constexpr char kDumpPunctuation[] = "@-*/$#+&_^;:?,!%";

char DumpChar(unsigned char byte) {
  bool shown = (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
               (byte >= '0' && byte <= '9') || (byte != 0 && std::strchr(kDumpPunctuation, byte));
  return shown ? static_cast<char>(byte) : '.';
}

}  // namespace

// Sixteen bytes a line: octal offset, eight little-endian 16-bit words, and
// before the next line the bytes as characters. A trailing odd byte of a
// piece is not shown.
void ImageDump(const WriterState &state) {
  const BufferChain &chain = state.image;
  char text[17];
  int inLine = 0;  // bytes of the current line shown so far
  long offset = 0;
  for (const BufferPiece *piece = chain.first; piece; piece = piece->next) {
    long length = piece == chain.current ? chain.used : chain.pieceSize;
    for (long i = 0; i + 1 < length; i += 2, offset += 2) {
      if (inLine == 16) {
        text[16] = '\0';
        PrintMessage("\t%s", text);
        inLine = 0;
      }
      if (inLine == 0) PrintMessage("\n%07lo ", static_cast<unsigned long>(offset));
      unsigned char low = piece->data[i], high = piece->data[i + 1];
      PrintMessage("%04x ", static_cast<unsigned>(low | high << 8));
      text[inLine++] = DumpChar(low);
      text[inLine++] = DumpChar(high);
    }
    if (length % 2) offset++;
  }
  if (inLine > 0) {
    text[inLine] = '\0';
    PrintMessage("\t%s", text);
  }
  PrintMessage("\n[BC %ld]\n", state.byteCount);
}

}  // namespace vkbin

using vkbin::State;

void VKWriteBytes(const void *bytes, int count) {
  if (count > 0) vkbin::ImageWrite(State(), bytes, count);
}
void VKWrite4(uint32_t value) { vkbin::ImageWriteLE(State(), value, 4); }
void VKWrite2(uint32_t value) { vkbin::ImageWriteLE(State(), value, 2); }
void VKWrite1(uint32_t value) { vkbin::ImageWriteLE(State(), value, 1); }
void VKWriteText(const char *text) {
  if (!text) text = "";
  vkbin::ImageWrite(State(), text, static_cast<long>(std::strlen(text)) + 1);
}
void VKAlign(int alignment) { vkbin::ImageAlign(State(), alignment); }
long VKGetByteCount() { return State().byteCount; }
void VKSetBase(long base) {
  vkbin::WriterState &state = State();
  state.base = base;
  state.image.mark = base;
}
long VKGetBase() { return State().base; }
void RewriteBytes(long position, const void *bytes, int count) {
  vkbin::ImageRewrite(State(), position, bytes, count);
}
void VKDumpImage() { vkbin::ImageDump(State()); }
