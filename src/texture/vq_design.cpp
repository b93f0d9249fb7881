// Codebook design of the VQ compressor: the initial entries of both
// algorithms, the refinement passes and the final matching.
//
// Within one refinement pass the codebook is fixed and a vector's new entry
// depends only on its own last entry and distance, so the visited vectors are
// cut into one contiguous range per thread; each thread adds its vectors into
// its own integer sums, merged afterwards. Integer sums are exact, so the
// result does not depend on the thread count.
#include <algorithm>
#include <cstring>
#include <memory>
#include <system_error>
#include <thread>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

#include "texture/vq_internal.h"

namespace vq {
namespace {

constexpr uint32_t kFirstSearchDistance = 1000000000;
constexpr int kPasses4 = 32;
constexpr int kPasses3 = 10;
constexpr uint64_t kProgressEvery = 32;

// Per-entry byte sums and counts of one pass and one worker; at most 255
// times the block count (under 2^32).
struct Sums {
  uint32_t bytes[kMaxEntries][kVectorBytes];
  uint32_t count[kMaxEntries];
};

// The fraction reports of the visits (from, to] of the refinement.
class Progress {
 public:
  Progress(const Context &context, int32_t step)
      : report_(context.progress), total_(32.0 * static_cast<double>(context.vectors.size()) / step) {}

  void Visited(uint64_t visits) {
    uint64_t next = visited_ + visits;
    if (report_) {
      for (uint64_t mark = (visited_ / kProgressEvery + 1) * kProgressEvery; mark <= next;
           mark += kProgressEvery) {
        double fraction = 0.9 * static_cast<double>(mark) / total_ + 0.05;
        if (fraction - last_ >= 0.05) {
          report_(fraction);
          last_ = fraction;
        }
      }
    }
    visited_ = next;
  }

 private:
  const std::function<void(double)> &report_;
  double total_;
  uint64_t visited_ = 0;
  double last_ = 0.0;
};

// Adds count times the vector's bytes to the sums.
inline void AddVector(const Vector &v, uint32_t count, uint32_t *sum) {
#ifdef __SSE2__
  if (count == 1) {
    const __m128i zero = _mm_setzero_si128();
    __m128i bytes = _mm_load_si128(reinterpret_cast<const __m128i *>(v.bytes));
    __m128i low = _mm_unpacklo_epi8(bytes, zero), high = _mm_unpackhi_epi8(bytes, zero);
    __m128i *out = reinterpret_cast<__m128i *>(sum);
    _mm_storeu_si128(out, _mm_add_epi32(_mm_loadu_si128(out), _mm_unpacklo_epi16(low, zero)));
    _mm_storeu_si128(out + 1, _mm_add_epi32(_mm_loadu_si128(out + 1), _mm_unpackhi_epi16(low, zero)));
    _mm_storeu_si128(out + 2, _mm_add_epi32(_mm_loadu_si128(out + 2), _mm_unpacklo_epi16(high, zero)));
    _mm_storeu_si128(out + 3, _mm_add_epi32(_mm_loadu_si128(out + 3), _mm_unpackhi_epi16(high, zero)));
    return;
  }
#endif
  for (int b = 0; b < kVectorBytes; ++b) sum[b] += count * v.bytes[b];
}

void QuantiseEntry(int32_t texelFormat, Vector *entry) {
  for (int t = 0; t < 4; ++t) QuantiseTexel(texelFormat, entry->bytes + 4 * t);
}

// One refinement pass over the vectors start, start + step, ...
template <bool kAlpha>
void RefinePass(Context *context, int pass, int32_t step, std::vector<Sums> *workerSums,
                Progress *progress) {
  const size_t n = context->vectors.size();
  const size_t start = static_cast<size_t>(pass % step);
  const size_t visits = start < n ? (n - start + step - 1) / step : 0;
  const int32_t size = context->codebookSize;
  const Vector *codebook = context->codebook;
  const int summedFirst = kAlpha ? 0 : 1;  // alpha bytes count only with alpha
  auto table = std::make_unique<SearchTable>();
  table->Load(codebook, size, kAlpha, context->wideSearch);

  for (Sums &sums : *workerSums) std::memset(&sums, 0, sizeof sums);
  const Vector *vectors = context->vectors.data();
  const uint32_t *counts = context->counts.data();
  uint32_t *entries = context->entries.data();
  uint32_t *distances = context->distances.data();
  ParallelRanges(context->threads, visits, [&](size_t begin, size_t end, int worker) {
    Sums &sums = (*workerSums)[worker];
    for (size_t k = begin; k < end; ++k) {
      size_t i = start + k * step;
      const uint8_t *v = vectors[i].bytes;
      uint32_t entry, distance;
      if (pass == 1) {
        distance = kFirstSearchDistance;
        entry = table->Nearest(v, 0, &distance, 0);
      } else {
        entry = entries[i];
        distance = VectorDistance<kAlpha>(v, codebook[entry].bytes);
        if (distance > distances[i]) entry = table->Nearest(v, entry, &distance, entry);
      }
      entries[i] = entry;
      distances[i] = distance;
      AddVector(vectors[i], counts[i], sums.bytes[entry]);  // alpha sums unused without alpha
      sums.count[entry] += counts[i];
    }
  });
  progress->Visited(visits);

  for (int32_t e = 0; e < size; ++e) {
    uint64_t count = 0;
    for (const Sums &sums : *workerSums) count += sums.count[e];
    if (count == 0) continue;
    float scale = 1.0f / static_cast<float>(count);
    for (int b = 0; b < kVectorBytes; ++b) {
      if ((b & 3) < summedFirst) continue;
      uint64_t sum = 0;
      for (const Sums &sums : *workerSums) sum += sums.bytes[e][b];
      // Single precision, product and sum rounded apart (two statements, so
      // no fused multiply-add).
      float value = static_cast<float>(sum) * scale;
      value += 0.49999f;
      context->codebook[e].bytes[b] = static_cast<uint8_t>(static_cast<int>(value));
    }
    QuantiseEntry(context->texelFormat, &context->codebook[e]);
  }
}

template <bool kAlpha>
void Refine(Context *context, int passes, int32_t step) {
  std::vector<Sums> workerSums(static_cast<size_t>(context->threads));
  Progress progress(*context, step);
  for (int pass = 1; pass <= passes; ++pass) RefinePass<kAlpha>(context, pass, step, &workerSums, &progress);
}

// Every unique vector takes its nearest entry, ties to the lowest entry.
template <bool kAlpha>
void FinalMatch(Context *context) {
  auto table = std::make_unique<SearchTable>();
  table->Load(context->codebook, context->codebookSize, kAlpha, context->wideSearch);
  ParallelRanges(context->threads, context->vectors.size(), [&](size_t begin, size_t end, int) {
    for (size_t i = begin; i < end; ++i) {
      uint32_t distance = UINT32_MAX;
      context->entries[i] = table->Nearest(context->vectors[i].bytes, 0, &distance, context->entries[i]);
      context->distances[i] = distance;
    }
  });
}

// Algorithm 4's start: the vectors in key order cut into runs, each entry the
// count-weighted average of its run.
void InitialEntries4(Context *context) {
  const uint64_t n = context->vectors.size();
  const uint64_t k = static_cast<uint64_t>(context->codebookSize);
  const uint64_t first = n / k;
  const uint64_t per = (n - first) / (k - 1);
  const uint64_t surplus = (n - first) % (k - 1);
  uint64_t position = 0;
  for (uint64_t e = 0; e < k; ++e) {
    uint64_t take = (e == 0 ? first : per) + (e < surplus ? 1 : 0);
    uint64_t sum[kVectorBytes] = {};
    uint64_t total = 0;
    for (uint64_t i = position; i < position + take; ++i) {
      for (int b = 0; b < kVectorBytes; ++b) sum[b] += context->counts[i] * context->vectors[i].bytes[b];
      total += context->counts[i];
    }
    position += take;
    for (int b = 0; b < kVectorBytes; ++b) context->codebook[e].bytes[b] = static_cast<uint8_t>(sum[b] / total);
    QuantiseEntry(context->texelFormat, &context->codebook[e]);
  }
}

// Algorithm 3's start: level 0's blocks sampled on a g x g grid, then the
// remaining entries at even linear positions.
void InitialEntries3(Context *context) {
  const int64_t k = context->codebookSize;
  int64_t g = 0;
  while ((g + 1) * (g + 1) <= k) ++g;
  const int64_t w = context->levels[0].width, h = context->levels[0].height;
  auto take = [&](int64_t entry, int64_t block) {
    context->codebook[entry] = context->vectors[context->blockSlots[static_cast<size_t>(block)]];
    QuantiseEntry(context->texelFormat, &context->codebook[entry]);
  };
  for (int64_t i = 0; i < g; ++i) {
    for (int64_t j = 0; j < g; ++j) take(i * g + j, ((i * h) / g + h / (2 * g)) * w + (j * w) / g + w / (2 * g));
  }
  const int64_t extra = k - g * g;
  for (int64_t e = 0; e < extra; ++e) take(g * g + e, (e * w * h) / extra + (w * h) / (2 * extra));
}

template <bool kAlpha>
void Design(Context *context) {
  if (context->algorithm == 3) {
    InitialEntries3(context);
    Refine<kAlpha>(context, kPasses3, 1);
  } else {
    int32_t indexWidth = context->levels[0].width;
    InitialEntries4(context);
    Refine<kAlpha>(context, kPasses4, indexWidth == 512 ? 8 : indexWidth == 256 ? 2 : 1);
  }
  FinalMatch<kAlpha>(context);
}

}  // namespace

void ParallelRanges(int32_t threads, size_t count, const std::function<void(size_t, size_t, int)> &body) {
  size_t workers = std::clamp<size_t>(static_cast<size_t>(std::max(threads, 1)), 1, std::max<size_t>(count, 1));
  if (workers == 1) {
    body(0, count, 0);
    return;
  }
  std::vector<std::thread> pool;
  pool.reserve(workers - 1);
  for (size_t w = 1; w < workers; ++w) {
    size_t begin = count * w / workers, end = count * (w + 1) / workers;
    try {
      pool.emplace_back([&body, begin, end, w] { body(begin, end, static_cast<int>(w)); });
    } catch (const std::system_error &) {
      body(begin, end, static_cast<int>(w));  // no thread to spare: same range, same result
    }
  }
  body(0, count / workers, 0);
  for (std::thread &thread : pool) thread.join();
}

void DesignCodebook(Context *context) {
  std::memset(context->codebook, 0, sizeof context->codebook);
  const size_t n = context->vectors.size();
  if (static_cast<size_t>(context->codebookSize) >= n) {
    for (size_t i = 0; i < n; ++i) {
      context->codebook[i] = context->vectors[i];
      context->entries[i] = static_cast<uint32_t>(i);
    }
  } else if (context->hasAlpha) {
    Design<true>(context);
  } else {
    Design<false>(context);
  }
  if (context->algorithm == 3 && context->progress) context->progress(1.0);
}

}  // namespace vq
