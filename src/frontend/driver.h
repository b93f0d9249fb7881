// The conversion driver: help and version requests, the input argument, the
// options, the input kind and the one conversion route of a run.
#pragma once

enum class InputKind { kBasic, kChunk };

// Basic unless the first line's fifth token is exactly "CnkModel"; a file
// that cannot be opened is Basic (the reader reports it).
InputKind GetInputKind(const char *fileName);

// The usage text on the message stream and the version banner on stderr;
// `command` is the command name.
void PrintUsage(const char *command);
void PrintBanner(const char *command);

// One whole run. Every stop returns status 0; the process is only ended
// early by fatal errors. The arguments that carry option values are
// overwritten in place.
int RunConverter(int argc, char **argv);
