// The conversion driver: help and version requests, the input argument, the
// options, the input kind and the one conversion route of a run.
#pragma once

#include "base/status.h"

struct VKWriterHooks;

enum class InputKind { kBasic, kChunk };

// Basic unless the first line's fifth token is exactly "CnkModel"; a file
// that cannot be opened is Basic (the reader reports it).
InputKind GetInputKind(const char *fileName);

// The usage text on the message stream and the version banner on stderr;
// `command` is the command name.
void PrintUsage(const char *command);
void PrintBanner(const char *command);

// One whole run: ok, or the failure that stopped it, printed by then. On every
// way out of the run (exceptions too) an input moved to its backup is put
// back when no output was written, and the tracked allocations are released.
// `hooks` reach the model writer's file operations (null: the standard ones).
// The arguments that carry option values are overwritten in place. With
// "-MF FILE" a run that wrote its output also writes its dependency file
// (frontend/depfile.h); the value is taken out of the arguments before the
// input argument is chosen, so it may stand anywhere.
VKStatus RunConversion(int argc, char **argv, const VKWriterHooks *hooks = nullptr);
// The program: RunConversion, then process status 0 after every stop; with
// "-strict", status 1 after a stop or when the run printed an error.
int RunConverter(int argc, char **argv);
