// Strip builder, second half: growing each strip from its seed in two
// attempts, choosing the longer one and writing the strip into the polygons.
#include <algorithm>
#include <vector>

#include "process/strips.h"
#include "process/strips_chain.h"
#include "scene/records.h"

namespace vkstrip {
namespace {

struct Edge {
  int32_t a, b;
};

// One end of a growing strip.
struct End {
  int32_t current;   // chain position of the triangle at this end
  int32_t position;  // its buffer position
  bool canGrow;      // false when there is no last edge to pivot on
  Edge last;
  int32_t parity;
};

// One growth attempt. The seed sits at `seat`; `via[p]` is the edge through
// which the triangle at p was reached from its neighbour toward the seed.
class Attempt {
 public:
  Attempt(int32_t side, uint16_t mark)
      : side_(side), mark_(mark), buffer_(static_cast<size_t>(side) * 2 + 1), via_(buffer_.size()) {}

  uint16_t mark() const { return mark_; }
  int32_t count() const { return forward_.position - backward_.position + 1; }
  int32_t first() const { return backward_.position; }
  int32_t last() const { return forward_.position; }
  int32_t at(int32_t p) const { return buffer_[p]; }
  int32_t backwardParity() const { return backward_.parity; }

  // The edge the triangles at p and p + 1 share.
  Edge between(int32_t p) const { return p < side_ ? via_[p] : via_[p + 1]; }

  // Seeds the attempt through the seed's `which`-th usable slot (0 or 1).
  // Returns false, with the seed alone in the buffer, when there is none.
  bool Seed(ChainEntry *chain, int32_t seed, int which) {
    buffer_[side_] = seed;
    forward_ = End{seed, side_, false, {0, 0}, 0};
    backward_ = End{seed, side_, false, {0, 0}, 0};
    chain[seed].polygon->stripState |= mark_;

    const ChainEntry &s = chain[seed];
    int toN1 = -1;
    for (int k = 0, usable = 0; k < 3; ++k) {
      if (Usable(chain, s.slot[k]) && usable++ == which) {
        toN1 = k;
        break;
      }
    }
    if (toN1 < 0) return false;
    const Slot &s1 = s.slot[toN1];
    const ChainEntry &n1 = chain[s1.neighbour];
    const Slot *s2 = nullptr;
    for (const Slot &slot : n1.slot) {
      if (Usable(chain, slot) && slot.neighbour != seed) {
        s2 = &slot;
        break;
      }
    }

    forward_.canGrow = true;
    forward_.last = Edge{s1.a, s1.b};
    forward_.parity = 1;
    backward_.parity = 0;
    int backSlot = -1;
    if (s2 == nullptr || s1.b == s2->b) {
      backSlot = OtherSlot(s, toN1, [&](const Slot &o) { return o.b == s1.a; });
    } else if (s1.a == s2->a) {
      forward_.parity = 0;
      backward_.parity = 1;
      backSlot = OtherSlot(s, toN1, [&](const Slot &o) { return o.a == s1.b; });
    }
    if (backSlot >= 0) {
      backward_.canGrow = true;
      backward_.last = Edge{s.slot[backSlot].a, s.slot[backSlot].b};
    }
    return true;
  }

  bool Step(ChainEntry *chain, bool forward) {
    End &end = forward ? forward_ : backward_;
    if (!end.canGrow) return false;
    if (forward ? end.position - side_ >= side_ : side_ - end.position >= side_) return false;
    for (const Slot &slot : chain[end.current].slot) {
      if (slot.neighbour < 0) continue;
      ScPolygon *next = chain[slot.neighbour].polygon;
      if (next->stripState & (kStripUsed | mark_)) continue;
      if (end.parity == 0 ? slot.b != end.last.b : slot.a != end.last.a) continue;
      end.last = Edge{slot.a, slot.b};
      end.parity ^= 1;
      next->stripState |= mark_;
      end.position += forward ? 1 : -1;
      buffer_[end.position] = slot.neighbour;
      via_[end.position] = end.last;
      end.current = slot.neighbour;
      return true;
    }
    return false;
  }

  void Grow(ChainEntry *chain) {
    while (Step(chain, true)) Step(chain, false);
    while (Step(chain, false)) {
    }
  }

  void ClearMarks(ChainEntry *chain) const {
    for (int32_t p = first(); p <= last(); ++p) chain[buffer_[p]].polygon->stripState &= static_cast<uint16_t>(~mark_);
  }

 private:
  static bool Usable(const ChainEntry *chain, const Slot &slot) {
    return slot.neighbour >= 0 && !(chain[slot.neighbour].polygon->stripState & kStripUsed);
  }

  template <class Match>
  static int OtherSlot(const ChainEntry &s, int skip, Match match) {
    for (int k = 0; k < 3; ++k) {
      if (k != skip && s.slot[k].neighbour >= 0 && match(s.slot[k])) return k;
    }
    return -1;
  }

  int32_t side_;
  uint16_t mark_;
  std::vector<int32_t> buffer_;
  std::vector<Edge> via_;
  End forward_{};
  End backward_{};
};

// The corner of a triangle that is not on edge e.
uint16_t CornerOff(const ScPolygon *p, Edge e) {
  for (uint16_t c = 0; c < 3; ++c) {
    int32_t v = p->corners[c].vertex;
    if (v != e.a && v != e.b) return c;
  }
  return 0;
}

void Finish(ChainEntry *chain, const Attempt &strip, VKStripOptions *options) {
  const int32_t count = strip.count();
  ScPolygon *head = chain[strip.at(strip.first())].polygon;
  head->stripState = kStripUsed | kStripFirst;
  head->stripLength = static_cast<uint16_t>(count);
  if (count == 1) {
    head->stripState |= kStripLeft | kStripSingle;
  } else {
    if (strip.backwardParity() == 0) head->stripState |= kStripLeft;
    head->stripState |= CornerOff(head, strip.between(strip.first()));
  }
  ScPolygon *previous = head;
  for (int32_t p = strip.first() + 1; p <= strip.last(); ++p) {
    ScPolygon *tri = chain[strip.at(p)].polygon;
    tri->stripState = static_cast<uint16_t>(kStripUsed | CornerOff(tri, strip.between(p - 1)));
    tri->stripPrev = previous;
    previous->stripNext = tri;
    previous = tri;
  }
  options->stripTotal += 1;
  options->stripVertexSum += count + 2;
}

}  // namespace

int32_t GrowStrips(ChainEntry *chain, int32_t n, const int32_t *order, bool square, VKStripOptions *options) {
  const int32_t side = std::min(n, kStripSideLimit);
  Attempt first(side, kStripMarkFirst);
  Attempt second(side, kStripMarkSecond);
  int32_t strips = 0;
  for (int32_t k = 0; k < n; ++k) {
    const int32_t seed = order[k];
    if (chain[seed].polygon->stripState & kStripUsed) continue;
    const Attempt *winner = &first;
    if (first.Seed(chain, seed, 0)) {
      if (square) {
        first.Step(chain, true);
      } else {
        first.Grow(chain);
        if (second.Seed(chain, seed, 1)) {
          second.Grow(chain);
          if (second.count() > first.count()) winner = &second;
          (winner == &first ? second : first).ClearMarks(chain);
        }
      }
    }
    Finish(chain, *winner, options);
    ++strips;
  }
  return strips;
}

}  // namespace vkstrip
