// Console streams and printers, fatal stops, and the file-name utilities.
#include "frontend/console.h"

#include <cstdarg>
#include <cstdlib>
#include <cstring>

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

// Position of the last '.' in name, or null.
char *LastDot(char *name) { return std::strrchr(name, '.'); }

// Copies text to dest, never writing past a buffer of kNameSize bytes.
void CopyBounded(char *dest, const char *text, size_t room) {
  if (room == 0) return;
  size_t length = std::strlen(text);
  if (length >= room) length = room - 1;
  std::memmove(dest, text, length);
  dest[length] = '\0';
}

constexpr int kMaxFatalCleanups = 4;
FatalCleanup gFatalCleanups[kMaxFatalCleanups] = {};
int gFatalCleanupCount = 0;

void RunFatalCleanups() {
  while (gFatalCleanupCount > 0) gFatalCleanups[--gFatalCleanupCount]();
}

}  // namespace

void AddFatalCleanup(FatalCleanup cleanup) {
  for (int i = 0; i < gFatalCleanupCount; i++) {
    if (gFatalCleanups[i] == cleanup) return;
  }
  if (gFatalCleanupCount < kMaxFatalCleanups) gFatalCleanups[gFatalCleanupCount++] = cleanup;
}

void RemoveFatalCleanup(FatalCleanup cleanup) {
  int kept = 0;
  for (int i = 0; i < gFatalCleanupCount; i++) {
    if (gFatalCleanups[i] != cleanup) gFatalCleanups[kept++] = gFatalCleanups[i];
  }
  gFatalCleanupCount = kept;
}

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

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"

// Fatal stops end the process at once: only the registered file clean-ups run
// (newest first, each once, so a clean-up that stops fatally cannot loop), and
// the streams are flushed so that nothing printed so far is lost.
void FatalError(const char *format, const char *tag) {
  PrintError(format, tag);
  RunFatalCleanups();
  std::fflush(nullptr);
  std::_Exit(0);
}

void FatalPlain(const char *format, const char *tag) {
  std::fprintf(stderr, format, tag);
  RunFatalCleanups();
  std::fflush(nullptr);
  std::_Exit(0);
}

#pragma GCC diagnostic pop

void PrintStripStatistics(int polygonCount, int polygonVertexSum, int stripCount, int stripVertexSum) {
  PrintMessage("polygon_total_n %d\n", polygonCount);
  PrintMessage("polygon_vertex_sum %d\n", polygonVertexSum);
  PrintMessage("strip_total_n %d\n", stripCount);
  PrintMessage("strip_vertex_sum %d\n", stripVertexSum);
}

void ReplaceSuffix(char *name, const char *suffix) {
  char *dot = LastDot(name);
  char *end = dot != nullptr ? dot : name + std::strlen(name);
  size_t used = static_cast<size_t>(end - name);
  if (used >= static_cast<size_t>(kNameSize)) return;
  CopyBounded(end, suffix, static_cast<size_t>(kNameSize) - used);
}

void CheckSuffix(char *name, const char *suffix) {
  const char *dot = LastDot(name);
  if (dot != nullptr && std::strcmp(dot, suffix) != 0) {
    std::fprintf(stderr, "Warning : Mismatch suffix\n");
  }
  ReplaceSuffix(name, suffix);
}

void StripSuffix(char *name) {
  char *dot = LastDot(name);
  if (dot != nullptr) *dot = '\0';
}

const char *BaseName(const char *name) {
  const char *base = name;
  for (const char *p = name; *p != '\0'; ++p) {
    if (*p == '\\' || *p == '/') base = p + 1;
  }
  return base;
}

bool FileExists(const char *name) {
  FILE *file = std::fopen(name, "rb");
  if (file == nullptr) return false;
  std::fclose(file);
  return true;
}
