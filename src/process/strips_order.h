// Orderings that reproduce two exchange sorts exactly, in O(n log n).
//
// Both sorts walk a front position i from the start and compare it with
// every later position j:
//   - the strict variant swaps when entry j is smaller than entry i;
//   - the front-not-smaller variant swaps whenever entry i is not smaller
//     than entry j.
// Both end in ascending order; they differ in how entries with equal keys
// end up. The functions below return that final arrangement as a
// permutation: order[k] is the original position of the entry that ends at
// position k. `less` is a strict weak order over original positions.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace vkorder {

// Front-not-smaller variant: ascending, and entries with equal keys in the
// reverse of their original order. (While a smaller entry remains after the
// front, the hand passes equal entries along in order; once the front run is
// all equal, each pass carries the last of them to the front.)
template <class Less>
void FrontNotSmallerOrder(int32_t n, Less less, int32_t *order) {
  for (int32_t i = 0; i < n; ++i) order[i] = i;
  std::sort(order, order + n, [&](int32_t x, int32_t y) {
    if (less(x, y)) return true;
    if (less(y, x)) return false;
    return x > y;
  });
}

// Three float keys per entry, lexicographic: the triangle order's
// comparison (and its oracle).
struct TriangleKeyLess {
  const float *keys;
  bool operator()(int32_t x, int32_t y) const {
    const float *kx = keys + static_cast<ptrdiff_t>(x) * 3;
    const float *ky = keys + static_cast<ptrdiff_t>(y) * 3;
    for (int c = 0; c < 3; ++c) {
      if (kx[c] < ky[c]) return true;
      if (ky[c] < kx[c]) return false;
    }
    return false;
  }
};

// Fenwick tree over counts (also used by the ancestry order of the node list).
class Counter {
 public:
  explicit Counter(int32_t size) : tree_(static_cast<size_t>(size) + 1, 0) {}
  void Add(int32_t index, int32_t delta) {
    for (size_t i = static_cast<size_t>(index) + 1; i < tree_.size(); i += i & (~i + 1)) tree_[i] += delta;
  }
  // Sum of counts at indexes below `index`.
  int32_t Below(int32_t index) const {
    int32_t sum = 0;
    for (size_t i = static_cast<size_t>(index); i > 0; i -= i & (~i + 1)) sum += tree_[i];
    return sum;
  }
  // Smallest index whose running sum reaches k (k >= 1).
  int32_t Find(int32_t k) const {
    size_t pos = 0;
    size_t step = 1;
    while (step * 2 < tree_.size()) step *= 2;
    for (; step > 0; step /= 2) {
      if (pos + step < tree_.size() && tree_[pos + step] < k) {
        pos += step;
        k -= tree_[pos];
      }
    }
    return static_cast<int32_t>(pos);
  }

 private:
  std::vector<int32_t> tree_;
};

// Strict variant. Within one key, entry v's fate depends only on the entries
// with smaller keys: reading the original sequence from left to right, each
// entry of the key joins the back of a queue, and each smaller entry met
// after the first of them moves the queue's head to its back. The queue at
// the end is the final order of that key. The queue is kept as a circle
// with a head mark; joining the back inserts just before the head, so the
// final circle follows from offline insertion positions.
//
// `sorted` holds the positions stably sorted by `less` (equal keys in
// original order); StrictExchangeOrder below makes it.
template <class Less>
void StrictExchangeOrderOfSorted(int32_t n, Less less, std::vector<int32_t> &sorted, int32_t *order) {
  if (n <= 0) return;

  // Dense key ranks and the first sorted position of each rank.
  std::vector<int32_t> rank(static_cast<size_t>(n));
  std::vector<int32_t> start;
  for (int32_t k = 0; k < n; ++k) {
    if (k == 0 || less(sorted[k - 1], sorted[k])) start.push_back(k);
    rank[sorted[k]] = static_cast<int32_t>(start.size()) - 1;
  }
  const int32_t groups = static_cast<int32_t>(start.size());
  start.push_back(n);

  // Smaller entries before each position.
  std::vector<int32_t> smallerBefore(static_cast<size_t>(n));
  {
    Counter seen(groups);
    for (int32_t i = 0; i < n; ++i) {
      smallerBefore[i] = seen.Below(rank[i]);
      seen.Add(rank[i], 1);
    }
  }

  std::vector<int32_t> insertAt;
  std::vector<int32_t> circle;
  for (int32_t g = 0; g < groups; ++g) {
    const int32_t first = start[g];
    const int32_t m = start[g + 1] - first;
    int32_t *members = &sorted[first];  // original order (stable sort)
    if (m == 1) {
      order[first] = members[0];
      continue;
    }
    if (m == 2) {
      // The general placement below, worked out: the circle is (second,
      // first) and the head ends on the first unless an odd number of
      // smaller entries follows the second.
      const bool swapped = (smallerBefore[members[1]] - first) % 2 != 0;
      order[first] = members[swapped ? 1 : 0];
      order[first + 1] = members[swapped ? 0 : 1];
      continue;
    }
    // Smaller entries in total: every entry of a lower rank.
    const int32_t smallerTotal = first;
    insertAt.assign(static_cast<size_t>(m), 0);
    int32_t size = 0;
    int32_t head = 0;
    for (int32_t j = 0; j < m; ++j) {
      if (j > 0) {
        int32_t turns = smallerBefore[members[j]] - smallerBefore[members[j - 1]];
        head = static_cast<int32_t>((static_cast<int64_t>(head) + turns) % size);
      }
      insertAt[j] = head;
      head = size == 0 ? 0 : head + 1;
      ++size;
    }
    int32_t turns = smallerTotal - smallerBefore[members[m - 1]];
    head = static_cast<int32_t>((static_cast<int64_t>(head) + turns) % size);

    // Place the insertions, last first, each into the free slot that has
    // insertAt[j] free slots before it.
    circle.assign(static_cast<size_t>(m), 0);
    Counter freeSlots(m);
    for (int32_t s = 0; s < m; ++s) freeSlots.Add(s, 1);
    for (int32_t j = m - 1; j >= 0; --j) {
      int32_t slot = freeSlots.Find(insertAt[j] + 1);
      circle[slot] = members[j];
      freeSlots.Add(slot, -1);
    }
    for (int32_t k = 0; k < m; ++k) order[first + k] = circle[(head + k) % m];
  }
}

template <class Less>
void StrictExchangeOrder(int32_t n, Less less, int32_t *order) {
  if (n <= 0) return;
  std::vector<int32_t> sorted(static_cast<size_t>(n));
  for (int32_t i = 0; i < n; ++i) sorted[i] = i;
  std::stable_sort(sorted.begin(), sorted.end(), [&](int32_t x, int32_t y) { return less(x, y); });
  StrictExchangeOrderOfSorted(n, less, sorted, order);
}

}  // namespace vkorder
