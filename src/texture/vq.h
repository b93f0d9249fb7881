// VQ compression of square textures: a codebook of 2x2-texel vectors and, per
// mipmap level, an index image naming one codebook entry per 2x2 block; and
// the VQ PVR file.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "texture/texture_types.h"

// Texel output formats of the compressor (codebook texels).
enum PVR_VQTexelFormat : int32_t {
  kVQARGB1555 = 0,
  kVQARGB4444 = 1,
  kVQRGB565 = 2,
};

// Options of one compression.
struct PVR_VQOptions {
  int32_t texelFormat = kVQRGB565;  // PVR_VQTexelFormat
  int32_t smallVQ = 0;              // small codebook (texture format 5)
  int32_t mipmaps = 1;              // the input holds every level down to 1x1
  int32_t algorithm = 4;            // 3, or 4 for anything else
  // Worker threads of the refinement and matching; 0 takes the machine's
  // core count. The output never depends on it.
  int32_t threads = 0;
  // Vector instructions for the nearest-entry search where the processor has
  // them; the output is the same either way.
  int32_t wideSearch = 1;
  // Called with the fraction done (0.05 to 1.0) while the codebook is refined;
  // may be empty.
  std::function<void(double)> progress;
};

// One level's index image: one entry number per 2x2 block, rows from the top.
struct PVR_VQLevel {
  int32_t width = 0;
  int32_t height = 0;
  std::vector<uint8_t> indices;
};

// The result of a compression.
struct PVR_VQOutput {
  uint32_t categoryCode = 0;
  std::vector<PVR_VQLevel> levels;  // level 0 first
  int32_t entryCount = 0;           // the codebook size
  // Entries of four texels (top-left, top-right, bottom-left, bottom-right),
  // each alpha, red, green, blue; zero past the used ones.
  uint8_t codebook[256][16] = {};
};

// The codebook size for a square texture of this side, or 0 when refused.
int PVR_VQCodebookSize(int32_t side, bool smallVQ, bool mipmaps);

// Compresses `input` (level 0 square, with mipmaps every smaller level down
// to 1x1). Each level's texels are released once its vectors exist. Returns
// false after printing why (refusals, invalid input, memory).
bool PVR_CompressVQ(const PVR_VQOptions &options, PVR_Input *input, PVR_VQOutput *output);

// Writes the VQ PVR file `name` (a global-index chunk first unless
// globalIndex is -1). Returns false after printing why.
bool PVR_WriteVQPVRFile(const PVR_VQOutput *output, const char *name, int32_t globalIndex);

// The tag of a VQ conversion by texture format (4 or 5) and VQ algorithm:
// "[VQ3]", "[VQ4]", "[SMALLVQ3]" or "[SMALLVQ4]".
const char *PVR_VQTag(int32_t textureFormat, int32_t vqAlgorithm);

// The operations of the other encoders that the VQ driver uses; both must be
// set (dither runs only when the settings ask for it, the mipmap builder only
// with VQ mipmaps on).
struct PVR_VQHooks {
  // Dithers one level in place for the settings' pixel format (and alpha
  // dither flag).
  std::function<void(PVR_Image *level, const PVR_Settings &settings)> dither;
  // Adds every smaller level to an input holding one level; 0, or a negative
  // code after printing why.
  std::function<int(PVR_Input *input)> setMipmaps;
};

// The VQ driver for one loaded image: mipmap tag, dither of the full image,
// mipmaps, compression by the settings' algorithm, the file, the timing line.
// A pixel format without VQ texels (YUV422, BUMP) is warned about and
// replaced by RGB565 in the settings. Records the global index written in
// settings->info. Returns true when the file was written.
bool PVR_EncodeVQ(PVR_Settings *settings, PVR_Image image, const PVR_VQHooks &hooks);
