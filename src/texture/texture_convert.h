// Conversion of one texture: its source file and header, the texture format
// and mipmap decision, the encoder run and the information block it leaves.
#pragma once

#include "texture/texture_types.h"

// Converts settings->inputName into a PVR file (and a palette file for a
// palettized texture) with the settings as they stand, the texture's resource
// record already applied. The conversion works on a copy of the settings;
// afterwards only settings->info has changed: the information block of the
// file written, or a fresh block when nothing was written (source missing or
// not identified, image unreadable, encoder refusal; the reasons are
// printed). Returns 1 when the file was written, 0 otherwise.
int PVR_ConvertTexture(PVR_Settings *settings);
