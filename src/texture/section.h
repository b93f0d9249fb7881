// The texture-list section of a model file, written by both model writers
// after their header (and alone into the texture file of -septex).
#pragma once

struct VKWriteInfo;

// Writes the section for the run's texture list (nothing when the list is
// empty) and returns 1.
int SectionWriter(VKWriteInfo *info);
