// The dependency file of a run (-MF), in make syntax, for build pipelines.
#pragma once

#include <string>

struct VKRunRecord;

// One rule whose targets are the files written and whose prerequisites are
// the files read (a file also written is not its own prerequisite), then an
// empty rule for each prerequisite, so that make goes on when one of them is
// removed. Names are written as the program used them; a blank or '#' gets a
// backslash (backslashes before a blank are doubled), '$' is doubled. False
// with the reason when a name holds a line end, which make cannot express.
bool VKDependencyText(const VKRunRecord &record, std::string *text, std::string *error);

// Writes the text to `path` through a temporary beside it and a rename, so
// that an older file stays whole when the write fails.
bool VKWriteDependencyFile(const char *path, const VKRunRecord &record, std::string *error);
