// File-name utilities shared by every subsystem.
#pragma once

// File names are at most 255 characters; buffers passed in place are at
// least kNameSize bytes.
constexpr int kNameSize = 256;

// The suffix of a name is the text from the last '.' of its last component
// (after the last '\' or '/'), so a dot in a folder name is never one.
// Replaces the suffix by `suffix`, or appends it.
void ReplaceSuffix(char *name, const char *suffix);
// As ReplaceSuffix, warning "Warning : Mismatch suffix\n" when an existing
// suffix differs.
void CheckSuffix(char *name, const char *suffix);
// Cuts the suffix off.
void StripSuffix(char *name);
// The text after the last '\' or '/' (both separate directories here).
const char *BaseName(const char *name);
// True when the file can be opened for reading.
bool FileExists(const char *name);
