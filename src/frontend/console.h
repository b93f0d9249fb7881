// Console streams and printers, fatal stops, and the small file-name
// utilities shared by every subsystem.
#pragma once

#include <cstdio>

// The five console streams; each is stderr at start, or null (silent).
FILE *MessageStream();
FILE *InfoStream();
FILE *ErrorStream();
FILE *WarningStream();
FILE *NoteStream();
void SetMessageStream(FILE *stream);
void SetInfoStream(FILE *stream);
void SetErrorStream(FILE *stream);
void SetWarningStream(FILE *stream);
void SetNoteStream(FILE *stream);

// Printers: error and warning write "\n##### " before the text; none adds a
// line end. A null stream prints nothing.
void PrintMessage(const char *format, ...) __attribute__((format(printf, 1, 2)));
void PrintInfo(const char *format, ...) __attribute__((format(printf, 1, 2)));
void PrintError(const char *format, ...) __attribute__((format(printf, 1, 2)));
void PrintWarning(const char *format, ...) __attribute__((format(printf, 1, 2)));
void PrintNote(const char *format, ...) __attribute__((format(printf, 1, 2)));

// File clean-ups that a fatal stop runs before it ends the process (removing
// an unfinished output, putting the input back from its backup), newest first.
// Registering a clean-up twice keeps one entry.
using FatalCleanup = void (*)();
void AddFatalCleanup(FatalCleanup cleanup);
void RemoveFatalCleanup(FatalCleanup cleanup);

// Prints through PrintError and ends the process with status 0.
[[noreturn]] void FatalError(const char *format, const char *tag);
// Prints straight to stderr and ends the process with status 0.
[[noreturn]] void FatalPlain(const char *format, const char *tag);

// The four strip statistics lines on the message stream.
void PrintStripStatistics(int polygonCount, int polygonVertexSum, int stripCount, int stripVertexSum);

// File names are at most 255 characters; buffers passed in place are at
// least kNameSize bytes.
constexpr int kNameSize = 256;

// Replaces the text from the last '.' by suffix, or appends it.
void ReplaceSuffix(char *name, const char *suffix);
// As ReplaceSuffix, warning "Warning : Mismatch suffix\n" when an existing
// suffix differs.
void CheckSuffix(char *name, const char *suffix);
// Cuts the name at its last '.'.
void StripSuffix(char *name);
// The text after the last '\' or '/' (both separate directories here).
const char *BaseName(const char *name);
// True when the file can be opened for reading.
bool FileExists(const char *name);
