// Shared inside the VQ compressor: the context of one compression, the
// channel quantisation, the vector distance and the steps in their files.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

#include "texture/vq.h"

namespace vq {

constexpr int kMaxEntries = 256;
constexpr int kVectorBytes = 16;

// One unique vector: four texels (top-left, top-right, bottom-left,
// bottom-right), each alpha, red, green, blue.
struct alignas(16) Vector {
  uint8_t bytes[kVectorBytes];
};

// One level's blocks: the index image size and where its blocks (in row
// order) start among all blocks.
struct VectorData {
  int32_t width = 0;
  int32_t height = 0;
  uint32_t firstBlock = 0;
};

// Everything one compression builds.
struct Context {
  int32_t texelFormat = kVQRGB565;
  bool hasAlpha = false;  // ARGB1555 and ARGB4444 weigh texels by alpha
  int32_t algorithm = 4;
  int32_t threads = 1;
  bool wideSearch = true;
  int32_t codebookSize = 0;
  std::vector<VectorData> levels;
  uint32_t totalBlocks = 0;
  std::vector<uint32_t> blockSlots;  // per block, the number of its unique vector
  uint8_t lastTexel[4] = {};         // the quantised texel of a 1x1 last level
  // Unique vectors in ascending key order, with their block counts, current
  // entries and distances.
  std::vector<Vector> vectors;
  std::vector<uint32_t> counts;
  std::vector<uint32_t> entries;
  std::vector<uint32_t> distances;
  Vector codebook[kMaxEntries] = {};
  std::function<void(double)> progress;
};

// ---- Channel quantisation -------------------------------------------------------
constexpr uint8_t Quant1(uint32_t v) { return v >= 128 ? 255 : 0; }
constexpr uint8_t Quant4(uint32_t v) { return static_cast<uint8_t>((v >> 4) * 17); }
constexpr uint8_t Quant5(uint32_t v) { return static_cast<uint8_t>((v & 0xF8) | (v >> 5)); }
constexpr uint8_t Quant6(uint32_t v) { return static_cast<uint8_t>((v & 0xFC) | (v >> 6)); }

// Quantises one texel (alpha, red, green, blue) in place to a valid texel
// output format.
inline void QuantiseTexel(int32_t texelFormat, uint8_t *texel) {
  switch (texelFormat) {
    case kVQARGB1555:
      texel[0] = Quant1(texel[0]);
      texel[1] = Quant5(texel[1]), texel[2] = Quant5(texel[2]), texel[3] = Quant5(texel[3]);
      break;
    case kVQARGB4444:
      for (int c = 0; c < 4; ++c) texel[c] = Quant4(texel[c]);
      break;
    default:  // kVQRGB565
      texel[0] = 255;
      texel[1] = Quant5(texel[1]), texel[2] = Quant6(texel[2]), texel[3] = Quant5(texel[3]);
      break;
  }
}

// ClampVectorComponents: quantises the four texels of a vector; false (after
// printing) for an unknown texel output format.
bool ClampVectorComponents(int32_t texelFormat, uint8_t *vector);

// ---- Distance -------------------------------------------------------------------------
// One texel's term: with alpha (dA^2 + dR^2 + dG^2 + dB^2) x (A1 + A2), else
// dR^2 + dG^2 + dB^2.
template <bool kAlpha>
inline uint32_t TexelDistance(const uint8_t *a, const uint8_t *b) {
  int dr = a[1] - b[1], dg = a[2] - b[2], db = a[3] - b[3];
  uint32_t sum = static_cast<uint32_t>(dr * dr + dg * dg + db * db);
  if constexpr (kAlpha) {
    int da = a[0] - b[0];
    sum = (sum + static_cast<uint32_t>(da * da)) * (static_cast<uint32_t>(a[0]) + b[0]);
  }
  return sum;
}

template <bool kAlpha>
inline uint32_t VectorDistance(const uint8_t *a, const uint8_t *b) {
#ifdef __SSE2__
  if constexpr (!kAlpha) {
    // Alpha bytes masked off; 16-bit differences, squares summed in pairs.
    const __m128i rgb = _mm_set1_epi32(static_cast<int>(0xFFFFFF00u));
    const __m128i zero = _mm_setzero_si128();
    __m128i va = _mm_and_si128(_mm_loadu_si128(reinterpret_cast<const __m128i *>(a)), rgb);
    __m128i vb = _mm_and_si128(_mm_loadu_si128(reinterpret_cast<const __m128i *>(b)), rgb);
    __m128i dLow = _mm_sub_epi16(_mm_unpacklo_epi8(va, zero), _mm_unpacklo_epi8(vb, zero));
    __m128i dHigh = _mm_sub_epi16(_mm_unpackhi_epi8(va, zero), _mm_unpackhi_epi8(vb, zero));
    __m128i sum = _mm_add_epi32(_mm_madd_epi16(dLow, dLow), _mm_madd_epi16(dHigh, dHigh));
    sum = _mm_add_epi32(sum, _mm_shuffle_epi32(sum, 0x4E));
    sum = _mm_add_epi32(sum, _mm_shuffle_epi32(sum, 0xB1));
    return static_cast<uint32_t>(_mm_cvtsi128_si32(sum));
  }
#endif
  return TexelDistance<kAlpha>(a, b) + TexelDistance<kAlpha>(a + 4, b + 4) +
         TexelDistance<kAlpha>(a + 8, b + 8) + TexelDistance<kAlpha>(a + 12, b + 12);
}

// The codebook of one pass laid out for the nearest-entry search.
struct SearchTable {
  // Takes the entries (kept by reference) and lays them out.
  void Load(const Vector *entries, int32_t entryCount, bool withAlpha, bool allowWide);
  // The plain search from (bestEntry, *best): walks the entries in order and
  // moves only to a strictly smaller distance. Returns the entry and leaves
  // its distance in *best. `pivot` is any entry (best near v): entries much
  // further from it than v is are passed over, which cannot change the result.
  uint32_t Nearest(const uint8_t *v, uint32_t bestEntry, uint32_t *best, uint32_t pivot) const;

  const Vector *codebook = nullptr;
  int32_t size = 0;
  bool hasAlpha = false;
  bool wide = false;  // the transposed copy below is in use
  // Byte pairs of every entry as two 16-bit halves, and the alpha bytes.
  alignas(32) uint32_t pairs[8][kMaxEntries];
  alignas(32) uint32_t alphas[4][kMaxEntries];
  // Without alpha, the distances between entries, one row per entry.
  std::vector<uint32_t> pivotDistances;
};

// Runs body(begin, end, worker) over [0, count) cut into one contiguous range
// per worker, the calling thread taking the first; returns when all are done.
void ParallelRanges(int32_t threads, size_t count,
                    const std::function<void(size_t, size_t, int)> &body);

// ---- Steps (each prints its own errors) -------------------------------------------
// InitVQContext and the vectors: checks the levels, looks up the codebook size,
// gathers and quantises every block's vector, releases each level's texels,
// and builds the ascending array of unique vectors.
bool BuildVectors(const PVR_VQOptions &options, PVR_Input *input, Context *context);

// Designs the codebook when there are more unique vectors than entries and
// gives every unique vector its entry.
void DesignCodebook(Context *context);

// InitVQOutput: the category word, the codebook and the index images (the
// 1x1 level by its own rule).
bool InitVQOutput(const PVR_VQOptions &options, const Context &context, PVR_VQOutput *output);

}  // namespace vq
