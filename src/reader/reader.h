// Basic-model ASCII reader: one .vka file becomes a scene.
#pragma once

#include "scene/records.h"

// Reads a Basic-model ASCII file and returns a new scene, or null after
// printing why on standard error (the input file is never modified).
ScObject *ReadBasicModel(const char *fileName);
