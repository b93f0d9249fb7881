// The byte image of a binary file: a chain of zero-filled 4096-byte pieces
// with the byte count, the base of the open chunk, alignment, rewriting of
// earlier bytes and the console hex dump.
#include <cstring>
#include <utility>

#include "base/console.h"
#include "binary/vkprint.h"
#include "binary/writer_state.h"

namespace vkbin {

void ImageInit(WriterState &state) {
  state.image = BufferChain{};
  state.image.allocate = state.hooks.allocate;
  state.pieces.clear();
  state.byteCount = 0;
  state.base = 0;
  if (VKStatus status = BufferInit(&state.image); !status.ok()) {
    Fail(state, std::move(status));
    return;
  }
  state.pieces.push_back(state.image.first);
}

void ImageFree(WriterState &state) {
  BufferFreeAll(&state.image);
  state.pieces.clear();
  state.byteCount = 0;
  state.base = 0;
}

void ImageWrite(WriterState &state, const void *bytes, long count) {
  if (Failed(state)) return;
  BufferChain &chain = state.image;
  const auto *from = static_cast<const unsigned char *>(bytes);
  while (count > 0) {
    if (chain.used == chain.pieceSize) {
      if (VKStatus status = BufferAddPiece(&chain); !status.ok()) {
        Fail(state, std::move(status));
        return;
      }
      state.pieces.push_back(chain.current);
    }
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
  if (pad == 0 || Failed(state)) return;
  if (state.dump) PrintMessage("Alignment%d(bc %ld -> ", alignment, old);
  ImageWrite(state, nullptr, pad);
  if (state.dump && !Failed(state)) PrintMessage("%ld)\n", state.byteCount);
}

void ImageRewrite(WriterState &state, long position, const void *bytes, int count) {
  if (position < 0 || Failed(state)) return;
  if (position >= state.byteCount) {
    Fail(state, VKStopStatus(VKStatusCode::kBadRewrite, "Error: Bad bc %s\n", "RewriteBytes"));
    return;
  }
  if (position + count > state.byteCount) {
    Fail(state, VKStopStatus(VKStatusCode::kBadRewrite, "Error: Can't rewrite %s\n", "run over current bc"));
    return;
  }
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

using vkbin::WriterState;

void VKWriteBytes(VKWriter &writer, const void *bytes, int count) {
  if (count > 0) vkbin::ImageWrite(writer.state(), bytes, count);
}
void VKWrite4(VKWriter &writer, uint32_t value) { vkbin::ImageWriteLE(writer.state(), value, 4); }
void VKWrite2(VKWriter &writer, uint32_t value) { vkbin::ImageWriteLE(writer.state(), value, 2); }
void VKWrite1(VKWriter &writer, uint32_t value) { vkbin::ImageWriteLE(writer.state(), value, 1); }
void VKWriteText(VKWriter &writer, const char *text) {
  if (!text) text = "";
  vkbin::ImageWrite(writer.state(), text, static_cast<long>(std::strlen(text)) + 1);
}
void VKAlign(VKWriter &writer, int alignment) { vkbin::ImageAlign(writer.state(), alignment); }
long VKGetByteCount(const VKWriter &writer) { return writer.state().byteCount; }
void VKSetBase(VKWriter &writer, long base) {
  WriterState &state = writer.state();
  state.base = base;
  state.image.mark = base;
}
long VKGetBase(const VKWriter &writer) { return writer.state().base; }
void RewriteBytes(VKWriter &writer, long position, const void *bytes, int count) {
  vkbin::ImageRewrite(writer.state(), position, bytes, count);
}
void VKDumpImage(const VKWriter &writer) { vkbin::ImageDump(writer.state()); }
