// The console: five streams, their printers and the count of errors printed.
// They are the only process-wide state the program keeps besides the tracked
// allocator.
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

// How many times PrintError has been called since the program started (also
// on a silent stream): a run that printed an error ends with status 1 under
// -strict.
long ErrorCount();
