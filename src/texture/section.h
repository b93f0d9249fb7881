// The texture-list section of a model file: the model writers' one entry
// into the texture converter.
#pragma once

struct VKWriteInfo;

// Writes the texture-list section of the model file bound to info->writer
// (ASCII lines, or the "VKTL" chunk in binary mode) when the write info's
// texture-list bit is set and its texture list is not empty. On the way each
// listed texture without a PVR file beside the model (every one with
// -forcetex) is converted from its source image with the settings of its
// resource database; the width, height and alpha kind found are stored in
// every texture record that shares the texture, and the global-index counter
// advances for each conversion. Returns 1, also when nothing is written.
int SectionWriter(VKWriteInfo *info);
