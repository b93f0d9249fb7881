// The dual print and the interpreter of binary item codes.
#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>

#include "base/console.h"
#include "base/packers.h"
#include "binary/text_format.h"
#include "binary/vkprint.h"
#include "binary/writer_state.h"

namespace vkbin {
namespace {

enum class Item : uint8_t {
  kNone,     // characters without a handler (the digits after "T" and "P")
  kSkip,     // "!"
  kPlain,    // "$"
  kLabel,    // "T"
  kPointer,  // "P"
  kString,   // "g"
  kInt,      // one integer argument
  kFloat,    // one double argument
  kNorm32,   // three integers
  kArgb,     // four integers
  kD565,     // six integers
  kD4444,    // seven integers
};

// How the dump line shows the value.
enum class Shown : uint8_t { kNone, kText, kSigned, kHex, kPlainHex, kFloat };

struct ItemCode {
  char code;
  Item item;
  int alignment;  // 0, 2 or 4
  int width;      // bytes written by value items
  bool isSigned;  // integer items: the dump shows the value as signed
  Shown shown;
  const char *dump;  // dump line format; the number is the aligned position
};

// The interpreter's table, in order.
constexpr ItemCode kItemCodes[] = {
    {'!', Item::kSkip, 0, 0, false, Shown::kNone, nullptr},
    {'$', Item::kPlain, 0, 0, false, Shown::kNone, nullptr},
    {'T', Item::kLabel, 4, 0, false, Shown::kText, "([%ld]Top %s)\n"},
    {'P', Item::kPointer, 4, 4, false, Shown::kText, "([%ld]Ptr %s)\n"},
    {'g', Item::kString, 4, 4, false, Shown::kText, "([%ld]Str %s)\n"},
    {'i', Item::kInt, 4, 4, true, Shown::kSigned, "([%ld]Sint32 %d)\n"},
    {'s', Item::kInt, 2, 2, true, Shown::kSigned, "([%ld]Sint16 %d)\n"},
    {'c', Item::kInt, 0, 1, true, Shown::kSigned, "([%ld]Sint8 %d)\n"},
    {'I', Item::kInt, 4, 4, false, Shown::kHex, "([%ld]Uint32 0x%x)\n"},
    {'S', Item::kInt, 2, 2, false, Shown::kHex, "([%ld]Uint16 0x%x)\n"},
    {'C', Item::kInt, 0, 1, false, Shown::kPlainHex, "([%ld]Uint8 %x)\n"},
    {'f', Item::kFloat, 4, 4, false, Shown::kFloat, "([%ld]Float %f)\n"},
    {'X', Item::kNorm32, 0, 4, false, Shown::kHex, "([%ld]NORM32 0x%x)\n"},
    {'8', Item::kArgb, 0, 4, false, Shown::kHex, "([%ld]ARGB8888 0x%x)\n"},
    {'5', Item::kD565, 0, 4, false, Shown::kHex, "([%ld]D565S565 0x%x)\n"},
    {'a', Item::kD4444, 0, 4, false, Shown::kHex, "([%ld]D4444S565 0x%x)\n"},
};

constexpr std::array<const ItemCode *, 256> MakeHandlers() {
  std::array<const ItemCode *, 256> handlers{};
  for (const ItemCode &entry : kItemCodes) handlers[static_cast<unsigned char>(entry.code)] = &entry;
  return handlers;
}
constexpr std::array<const ItemCode *, 256> kHandlers = MakeHandlers();

constexpr int kMaxName = 255;

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// Records the text of the argument just consumed (or null for a value).
void NoteArgument(WriterState &state, const char *text) {
  if (state.argumentsUsed < 10) state.argumentText[state.argumentsUsed] = text;
  state.argumentsUsed++;
}

int NextInt(WriterState &state, va_list *args) {
  const int value = va_arg(*args, int);
  NoteArgument(state, nullptr);
  return value;
}

// The text of argument `index`, consuming the arguments up to it as texts.
const char *ArgumentText(WriterState &state, va_list *args, int index) {
  while (state.argumentsUsed <= index) NoteArgument(state, va_arg(*args, const char *));
  const char *text = state.argumentText[index];
  return text ? text : "";
}

// The name of a label or pointer: the texts of the arguments whose indexes
// follow the letter. A label takes every digit of the rest of the codes, a
// pointer the digits up to the first other character.
void ReadName(WriterState &state, const char *rest, bool toFirstOther, va_list *args, char *name) {
  size_t length = 0;
  name[0] = '\0';
  for (const char *p = rest; *p; p++) {
    if (!IsDigit(*p)) {
      if (toFirstOther) break;
      continue;
    }
    const char *text = ArgumentText(state, args, *p - '0');
    size_t add = std::strlen(text);
    if (add > kMaxName - length) add = kMaxName - length;
    std::memcpy(name + length, text, add);
    length += add;
    name[length] = '\0';
  }
}

void Label(WriterState &state, const ItemCode &code, const char *rest, va_list *args) {
  char name[kMaxName + 1];
  state.markersUsed++;
  ReadName(state, rest, false, args, name);
  ImageAlign(state, 4);
  if (Failed(state)) return;
  if (state.dump) PrintMessage(code.dump, state.byteCount, name);
  QueueLabel(state, name, state.byteCount);
}

void Pointer(WriterState &state, const ItemCode &code, const char *rest, va_list *args) {
  char name[kMaxName + 1];
  state.markersUsed++;
  ReadName(state, rest, true, args, name);
  ImageAlign(state, 4);
  if (Failed(state)) return;
  if (state.dump) PrintMessage(code.dump, state.byteCount, name);
  StorePointerPosition(state, state.byteCount);
  if (std::strcmp(name, "NULL") != 0) QueuePointer(state, name, state.byteCount);
  ImageWriteLE(state, 0, 4);
}

// A value item: takes its arguments, then writes nothing when skipped, or
// aligns, describes and writes its bytes.
void Value(WriterState &state, const ItemCode &code, va_list *args) {
  const char *text = nullptr;
  uint32_t word = 0;
  float real = 0.0f;
  switch (code.item) {
    case Item::kString:
      text = va_arg(*args, const char *);
      NoteArgument(state, text);
      if (!text) text = "";
      break;
    case Item::kInt: word = static_cast<uint32_t>(NextInt(state, args)); break;
    case Item::kFloat:
      real = static_cast<float>(va_arg(*args, double));
      NoteArgument(state, nullptr);
      std::memcpy(&word, &real, 4);
      break;
    case Item::kNorm32: {
      int v[3];
      for (int &value : v) value = NextInt(state, args);
      word = VKPackNorm32Fields(static_cast<uint32_t>(v[0]), static_cast<uint32_t>(v[1]), static_cast<uint32_t>(v[2]));
      break;
    }
    case Item::kArgb: {
      int v[4];
      for (int &value : v) value = NextInt(state, args);
      word = VKPackARGB8888(v[0], v[1], v[2], v[3]);
      break;
    }
    case Item::kD565: {
      int v[6];
      for (int &value : v) value = NextInt(state, args);
      word = VKPackD565S565(v[0], v[1], v[2], v[3], v[4], v[5]);
      break;
    }
    case Item::kD4444: {
      int v[7];
      for (int &value : v) value = NextInt(state, args);
      word = VKPackD4444S565(v[0], v[1], v[2], v[3], v[4], v[5], v[6]);
      break;
    }
    default: return;
  }
  if (state.skip) {
    state.skip = false;
    return;
  }
  ImageAlign(state, code.alignment);
  if (Failed(state)) return;
  if (state.dump) {
    long at = state.byteCount;
    uint32_t masked = code.width == 4 ? word : word & ((1u << (8 * code.width)) - 1);
    switch (code.shown) {
      case Shown::kText: PrintMessage(code.dump, at, text); break;
      case Shown::kSigned: {
        int value = code.width == 4   ? static_cast<int32_t>(word)
                    : code.width == 2 ? static_cast<int16_t>(word)
                                      : static_cast<int8_t>(word);
        PrintMessage(code.dump, at, value);
        break;
      }
      case Shown::kHex:
      case Shown::kPlainHex: PrintMessage(code.dump, at, masked); break;
      case Shown::kFloat: PrintMessage(code.dump, at, static_cast<double>(real)); break;
      case Shown::kNone: break;
    }
  }
  state.plain = false;
  if (code.item == Item::kString) {
    StorePointerPosition(state, state.byteCount);
    QueueString(state, text, state.byteCount);
    ImageWriteLE(state, 0, 4);
  } else {
    ImageWriteLE(state, word, code.width);
  }
}

// Walks the codes until arguments and markers used reach their length, or
// the writer fails.
void Interpret(WriterState &state, const char *codes, va_list *args) {
  if (Failed(state)) return;
  state.argumentsUsed = 0;
  state.markersUsed = 0;
  for (int i = 0; i < 10; i++) state.argumentText[i] = nullptr;
  const long length = static_cast<long>(std::strlen(codes));
  for (const char *p = codes; *p && !Failed(state); p++) {
    if (state.argumentsUsed + state.markersUsed >= length) break;
    const ItemCode *code = kHandlers[static_cast<unsigned char>(*p)];
    if (!code) continue;
    switch (code->item) {
      case Item::kSkip:
        state.markersUsed++;
        state.skip = true;
        break;
      case Item::kPlain:
        state.markersUsed++;
        state.plain = true;
        break;
      case Item::kLabel: Label(state, *code, p + 1, args); break;
      case Item::kPointer: Pointer(state, *code, p + 1, args); break;
      default: Value(state, *code, args); break;
    }
  }
}

bool Binary(const WriterState &state) { return state.mode != kVKModeAscii; }

// The text of one dual-print call: formatted here where the format allows,
// by printf otherwise (a conversion not handled, a text longer than the
// room). An owned file's text is formatted straight into its text buffer.
void WriteText(WriterState &state, const char *format, va_list args) {
  if (state.ownsFile) {
    if (!state.text) state.text = std::make_unique<char[]>(kTextBufferSize);
    for (;;) {
      const int length =
          state.formats->Format(state.text.get() + state.textUsed, kTextBufferSize - state.textUsed, format, args);
      if (length >= 0) {
        state.textUsed += static_cast<size_t>(length);
        return;
      }
      const bool retry = state.textUsed > 0;
      FlushText(state);
      if (!retry) break;
    }
    std::vfprintf(state.file, format, args);
    return;
  }
  char line[1024];
  const int length = state.formats->Format(line, sizeof line, format, args);
  if (length >= 0) {
    std::fwrite(line, 1, static_cast<size_t>(length), state.file);
  } else {
    std::vfprintf(state.file, format, args);
  }
}

}  // namespace
}  // namespace vkbin

using vkbin::WriterState;

void VKPrint(VKWriter &writer, const char *codes, const char *format, ...) {
  WriterState &state = writer.state();
  va_list args;
  va_start(args, format);
  if (vkbin::Binary(state)) {
    if (codes) vkbin::Interpret(state, codes, &args);
  } else if (format) {
    vkbin::WriteText(state, format, args);
  }
  va_end(args);
}

void VKPrintAscii(VKWriter &writer, const char *format, ...) {
  WriterState &state = writer.state();
  if (vkbin::Binary(state) || !format) return;
  va_list args;
  va_start(args, format);
  vkbin::WriteText(state, format, args);
  va_end(args);
}

void VKPrintBin(VKWriter &writer, const char *codes, ...) {
  WriterState &state = writer.state();
  if (!vkbin::Binary(state) || !codes) return;
  va_list args;
  va_start(args, codes);
  vkbin::Interpret(state, codes, &args);
  va_end(args);
}
