// The VQ compressor written plainly and literally (ordered container for the
// tree, entry-by-entry search with partial sums, the sub-sampled visits), the
// oracle of the fast compressor; and the image helpers of the VQ tests and
// benchmark: generated images, box-filter mipmaps, error-diffusion dither.
#pragma once

#include <cstdint>
#include <vector>

#include "texture/texture_types.h"

namespace vqtest {

struct LiteralOptions {
  int texelFormat = 2;  // 0 ARGB1555, 1 ARGB4444, 2 RGB565
  bool smallVQ = false;
  bool mipmaps = true;
  int algorithm = 4;
};

struct LiteralResult {
  bool ok = false;                // false when refused
  std::vector<uint8_t> file;      // the VQ PVR file
  std::vector<double> progress;   // reported fractions
};

// Compresses `input` and builds the file bytes (global index -1: no GBIX).
LiteralResult LiteralVQ(const LiteralOptions &options, const PVR_Input &input, int32_t globalIndex);

// ---- Images ---------------------------------------------------------------------
enum class ImageKind {
  kPhoto,       // smooth gradients, noise and edges, opaque
  kNoise,       // every texel random, opaque
  kFewColours,  // a handful of colours in blocks
  kBilevel,     // photo with a transparent pattern (alpha 0 or 255)
  kGraded,      // photo with graded alpha
  kFlat,        // one colour
};
constexpr ImageKind kAllImageKinds[] = {ImageKind::kPhoto,   ImageKind::kNoise,  ImageKind::kFewColours,
                                        ImageKind::kBilevel, ImageKind::kGraded, ImageKind::kFlat};
const char *ImageKindName(ImageKind kind);

PVR_Image MakeImage(ImageKind kind, int side, uint32_t seed);

// Level 0 plus, with mipmaps, every smaller level by the box filter of level 0:
// (sum of the 2^k x 2^k block + 2^(2k-1)) >> 2k per channel.
PVR_Input BoxMipmaps(const PVR_Image &image, bool mipmaps);

// Error-diffusion dither of one level in place for a pixel format.
void LiteralDither(PVR_Image *level, int pixelFormat, bool alphaDither);

// Peak signal-to-noise ratio (dB) of the RGB channels of a VQ file's level 0
// against the source image.
double VQFilePSNR(const std::vector<uint8_t> &file, const PVR_Image &source);

}  // namespace vqtest
