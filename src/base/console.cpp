// Console streams and printers.
#include "base/console.h"

#include <cstdarg>

namespace {

// A stream that was never replaced is the standard error stream; a replaced
// one may be null (silent). Kept as a flag so that the table needs no dynamic
// initialisation and works from any static constructor.
struct ConsoleStream {
  bool replaced;
  FILE *file;
};

enum StreamIndex { kMessage, kInfo, kError, kWarning, kNote, kStreamCount };

ConsoleStream gStreams[kStreamCount] = {};
long gErrorCount = 0;

FILE *Get(StreamIndex index) {
  return gStreams[index].replaced ? gStreams[index].file : stderr;
}

void Set(StreamIndex index, FILE *stream) {
  gStreams[index].replaced = true;
  gStreams[index].file = stream;
}

void Print(StreamIndex index, bool decorated, const char *format, va_list args) {
  FILE *stream = Get(index);
  if (stream == nullptr) return;
  if (decorated) std::fputs("\n##### ", stream);
  std::vfprintf(stream, format, args);
}

}  // namespace

FILE *MessageStream() { return Get(kMessage); }
FILE *InfoStream() { return Get(kInfo); }
FILE *ErrorStream() { return Get(kError); }
FILE *WarningStream() { return Get(kWarning); }
FILE *NoteStream() { return Get(kNote); }
void SetMessageStream(FILE *stream) { Set(kMessage, stream); }
void SetInfoStream(FILE *stream) { Set(kInfo, stream); }
void SetErrorStream(FILE *stream) { Set(kError, stream); }
void SetWarningStream(FILE *stream) { Set(kWarning, stream); }
void SetNoteStream(FILE *stream) { Set(kNote, stream); }

void PrintMessage(const char *format, ...) {
  va_list args;
  va_start(args, format);
  Print(kMessage, false, format, args);
  va_end(args);
}

void PrintInfo(const char *format, ...) {
  va_list args;
  va_start(args, format);
  Print(kInfo, false, format, args);
  va_end(args);
}

void PrintError(const char *format, ...) {
  ++gErrorCount;
  va_list args;
  va_start(args, format);
  Print(kError, true, format, args);
  va_end(args);
}

void PrintWarning(const char *format, ...) {
  va_list args;
  va_start(args, format);
  Print(kWarning, true, format, args);
  va_end(args);
}

void PrintNote(const char *format, ...) {
  va_list args;
  va_start(args, format);
  Print(kNote, false, format, args);
  va_end(args);
}

long ErrorCount() { return gErrorCount; }
