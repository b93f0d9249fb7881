// Nearest codebook entry of a vector. The result is that of the plain search
// (entries walked in order, moving only to a strictly smaller distance, from
// a given best entry and distance): the lowest entry of smallest distance
// when that distance is below the starting one, else the starting entry. On
// processors with AVX2 the distances are computed eight entries at a time
// from a transposed copy of the codebook and the minimum is then located;
// without alpha (a true squared Euclidean distance) groups of entries that
// are all much further from a pivot entry than the vector is are skipped,
// as none of them can be as near as the pivot. Elsewhere the entries are
// walked with partial sums that stop once they reach the best.
#include <cstring>

#include "texture/vq_internal.h"

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#define VQ_HAVE_AVX2_PATH 1
#endif

namespace vq {
namespace {

template <bool kAlpha>
uint32_t WalkEntries(const uint8_t *v, const Vector *codebook, int32_t size, uint32_t bestEntry,
                     uint32_t *best) {
  uint32_t bestDistance = *best;
  for (int32_t e = 0; e < size; ++e) {
    const uint8_t *c = codebook[e].bytes;
    uint32_t sum = TexelDistance<kAlpha>(v, c);
    if (sum >= bestDistance) continue;
    sum += TexelDistance<kAlpha>(v + 4, c + 4);
    if (sum >= bestDistance) continue;
    sum += TexelDistance<kAlpha>(v + 8, c + 8);
    if (sum >= bestDistance) continue;
    sum += TexelDistance<kAlpha>(v + 12, c + 12);
    if (sum >= bestDistance) continue;
    bestDistance = sum;
    bestEntry = static_cast<uint32_t>(e);
  }
  *best = bestDistance;
  return bestEntry;
}

#ifdef VQ_HAVE_AVX2_PATH
bool HaveAvx2() {
  static const bool have = __builtin_cpu_supports("avx2");
  return have;
}

// Lowest entry whose distance is the smallest, and that distance.
__attribute__((target("avx2"))) uint32_t LocateMinimum(const uint32_t *distances, int32_t size, __m256i low,
                                                       uint32_t *minimum) {
  __m128i m = _mm_min_epu32(_mm256_castsi256_si128(low), _mm256_extracti128_si256(low, 1));
  m = _mm_min_epu32(m, _mm_shuffle_epi32(m, 0x4E));
  m = _mm_min_epu32(m, _mm_shuffle_epi32(m, 0xB1));
  uint32_t value = static_cast<uint32_t>(_mm_cvtsi128_si32(m));
  __m256i wanted = _mm256_set1_epi32(static_cast<int>(value));
  for (int32_t e = 0; e < size; e += 8) {
    __m256i d = _mm256_load_si256(reinterpret_cast<const __m256i *>(distances + e));
    int mask = _mm256_movemask_ps(_mm256_castsi256_ps(_mm256_cmpeq_epi32(d, wanted)));
    if (mask != 0) {
      *minimum = value;
      return static_cast<uint32_t>(e + __builtin_ctz(static_cast<unsigned>(mask)));
    }
  }
  *minimum = value;
  return 0;
}

// Without alpha: the red, green and blue bytes of the four texels in six
// pairs; each pair's squared differences are summed by one multiply-add.
constexpr int kRgbPairs[6][2] = {{1, 2}, {3, 5}, {6, 7}, {9, 10}, {11, 13}, {14, 15}};

// Distances (red, green, blue) from v to the entries of the groups of eight
// that may hold an entry at most as far from v as the pivot is: an entry e
// with D(pivot, e) > 4 D(v, pivot) lies further from v than the pivot
// (triangle inequality), so a group of such entries is skipped (stored as
// the largest distance). Without a pivot row nothing is skipped.
__attribute__((target("avx2"))) __m256i RgbDistances(const SearchTable &table, const uint8_t *v,
                                                     const uint32_t *pivotRow, uint32_t limit,
                                                     uint32_t *distances) {
  __m256i pairs[6];
  for (int p = 0; p < 6; ++p) pairs[p] = _mm256_set1_epi32(v[kRgbPairs[p][0]] | v[kRgbPairs[p][1]] << 16);
  const __m256i far = _mm256_set1_epi32(-1);
  const __m256i beyond = _mm256_set1_epi32(static_cast<int>(limit + 1));
  __m256i low = far;
  for (int32_t e = 0; e < table.size; e += 8) {
    if (pivotRow != nullptr) {
      __m256i pivot = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(pivotRow + e));
      __m256i outside = _mm256_cmpeq_epi32(_mm256_max_epu32(pivot, beyond), pivot);  // pivot >= limit + 1
      if (_mm256_movemask_ps(_mm256_castsi256_ps(outside)) == 0xFF) {
        _mm256_store_si256(reinterpret_cast<__m256i *>(distances + e), far);
        continue;
      }
    }
    __m256i sum = _mm256_setzero_si256();
    for (int p = 0; p < 6; ++p) {
      __m256i c = _mm256_load_si256(reinterpret_cast<const __m256i *>(&table.pairs[p][e]));
      __m256i d = _mm256_sub_epi16(c, pairs[p]);
      sum = _mm256_add_epi32(sum, _mm256_madd_epi16(d, d));
    }
    _mm256_store_si256(reinterpret_cast<__m256i *>(distances + e), sum);
    low = _mm256_min_epu32(low, sum);
  }
  return low;
}

// Row e: the distances from entry e to every entry.
__attribute__((target("avx2"))) void FillPivotDistances(SearchTable *table) {
  table->pivotDistances.resize(static_cast<size_t>(table->size) * table->size);
  alignas(32) uint32_t row[kMaxEntries];
  for (int32_t e = 0; e < table->size; ++e) {
    RgbDistances(*table, table->codebook[e].bytes, nullptr, UINT32_MAX, row);
    std::memcpy(&table->pivotDistances[static_cast<size_t>(e) * table->size], row, sizeof(uint32_t) * table->size);
  }
}

__attribute__((target("avx2"))) uint32_t NearestRgb(const SearchTable &table, const uint8_t *v,
                                                    uint32_t bestEntry, uint32_t *best, uint32_t pivot) {
  alignas(32) uint32_t distances[kMaxEntries];
  uint32_t pivotDistance = VectorDistance<false>(v, table.codebook[pivot].bytes);
  const uint32_t *row = &table.pivotDistances[static_cast<size_t>(pivot) * table.size];
  __m256i low = RgbDistances(table, v, row, 4 * pivotDistance, distances);
  uint32_t minimum;
  uint32_t entry = LocateMinimum(distances, table.size, low, &minimum);
  if (minimum >= *best) return bestEntry;
  *best = minimum;
  return entry;
}

// With alpha: per texel the (alpha, red) and (green, blue) pairs give the sum
// of squares, multiplied by the sum of the two alphas.
__attribute__((target("avx2"))) uint32_t NearestArgb(const SearchTable &table, const uint8_t *v,
                                                     uint32_t bestEntry, uint32_t *best) {
  alignas(32) uint32_t distances[kMaxEntries];
  __m256i pairs[8], alphas[4];
  for (int p = 0; p < 8; ++p) pairs[p] = _mm256_set1_epi32(v[2 * p] | v[2 * p + 1] << 16);
  for (int t = 0; t < 4; ++t) alphas[t] = _mm256_set1_epi32(v[4 * t]);
  __m256i low = _mm256_set1_epi32(-1);
  for (int32_t e = 0; e < table.size; e += 8) {
    __m256i sum = _mm256_setzero_si256();
    for (int t = 0; t < 4; ++t) {
      __m256i c0 = _mm256_load_si256(reinterpret_cast<const __m256i *>(&table.pairs[2 * t][e]));
      __m256i c1 = _mm256_load_si256(reinterpret_cast<const __m256i *>(&table.pairs[2 * t + 1][e]));
      __m256i d0 = _mm256_sub_epi16(c0, pairs[2 * t]);
      __m256i d1 = _mm256_sub_epi16(c1, pairs[2 * t + 1]);
      __m256i squares = _mm256_add_epi32(_mm256_madd_epi16(d0, d0), _mm256_madd_epi16(d1, d1));
      __m256i weight = _mm256_add_epi32(
          _mm256_load_si256(reinterpret_cast<const __m256i *>(&table.alphas[t][e])), alphas[t]);
      sum = _mm256_add_epi32(sum, _mm256_mullo_epi32(squares, weight));
    }
    _mm256_store_si256(reinterpret_cast<__m256i *>(distances + e), sum);
    low = _mm256_min_epu32(low, sum);
  }
  uint32_t minimum;
  uint32_t entry = LocateMinimum(distances, table.size, low, &minimum);
  if (minimum >= *best) return bestEntry;
  *best = minimum;
  return entry;
}
#endif

}  // namespace

void SearchTable::Load(const Vector *entries, int32_t entryCount, bool withAlpha, bool allowWide) {
  codebook = entries;
  size = entryCount;
  hasAlpha = withAlpha;
  wide = false;
  static_cast<void>(allowWide);
#ifdef VQ_HAVE_AVX2_PATH
  wide = allowWide && HaveAvx2() && size % 8 == 0;
  if (!wide) return;
  for (int32_t e = 0; e < size; ++e) {
    const uint8_t *c = entries[e].bytes;
    if (hasAlpha) {
      for (int p = 0; p < 8; ++p) pairs[p][e] = static_cast<uint32_t>(c[2 * p] | c[2 * p + 1] << 16);
      for (int t = 0; t < 4; ++t) alphas[t][e] = c[4 * t];
    } else {
      for (int p = 0; p < 6; ++p) pairs[p][e] = static_cast<uint32_t>(c[kRgbPairs[p][0]] | c[kRgbPairs[p][1]] << 16);
    }
  }
  if (!hasAlpha) FillPivotDistances(this);
#endif
}

uint32_t SearchTable::Nearest(const uint8_t *v, uint32_t bestEntry, uint32_t *best, uint32_t pivot) const {
#ifdef VQ_HAVE_AVX2_PATH
  if (wide) return hasAlpha ? NearestArgb(*this, v, bestEntry, best) : NearestRgb(*this, v, bestEntry, best, pivot);
#endif
  static_cast<void>(pivot);
  return hasAlpha ? WalkEntries<true>(v, codebook, size, bestEntry, best)
                  : WalkEntries<false>(v, codebook, size, bestEntry, best);
}

}  // namespace vq
