// Ancestry order and linking of the bone removal.
//
// The ancestry comparison of two nodes walks both ancestor lists from their
// root-most ends: at the first pair that differs it is the difference of the
// two ancestors' creation numbers; when one list runs out it is the number of
// entries a has left (so a shorter-or-equal list compares 0, a longer one
// positive); a node without ancestors compares 0 with everything. The sort is
// the exchange sort "for i, for j >= i: swap when compare(i, j) > 0".
//
// The exchange sort is quadratic, so it is replayed here instead:
//  - nodes without ancestors never move (they compare 0 with everything), so
//    only the others take part, in the positions they hold;
//  - among those, "compare > 0" is the lexicographic order of the creation
//    numbers of the ancestors (a proper prefix coming first), so each node is
//    given its rank in that order;
//  - pass i of the exchange sort keeps a holder at position i that trades
//    places with each later entry of strictly lower rank; a segment tree of
//    rank minima finds each such entry directly, so a pass costs one search
//    per swap it makes.
// When creation numbers repeat, the ranks would not reproduce the
// comparison, and the literal exchange sort runs instead.
#include <algorithm>
#include <climits>
#include <unordered_map>
#include <vector>

#include "process/nodelist.h"
#include "process/nodelist_internal.h"
#include "scene/records.h"

namespace {

int CompareAncestry(const ScNode *a, const ScNode *b) {
  if (a->ancestor_n == 0 || b->ancestor_n == 0) return 0;
  int ia = a->ancestor_n - 1;
  int ib = b->ancestor_n - 1;
  for (;;) {
    if (a->ancestors[ia] != b->ancestors[ib]) return a->ancestors[ia]->id - b->ancestors[ib]->id;
    if (ia == 0 || ib == 0) return ia;
    ia--;
    ib--;
  }
}

void LiteralSort(ScNode **list, int count) {
  for (int i = 0; i < count; i++) {
    for (int j = i; j < count; j++) {
      if (CompareAncestry(list[i], list[j]) > 0) std::swap(list[i], list[j]);
    }
  }
}

// Lexicographic order of the ancestors' creation numbers, root-most first.
bool AncestryLess(const ScNode *a, const ScNode *b) {
  const int n = std::min(a->ancestor_n, b->ancestor_n);
  for (int k = 1; k <= n; k++) {
    const int32_t x = a->ancestors[a->ancestor_n - k]->id;
    const int32_t y = b->ancestors[b->ancestor_n - k]->id;
    if (x != y) return x < y;
  }
  return a->ancestor_n < b->ancestor_n;
}

bool AncestryEqual(const ScNode *a, const ScNode *b) { return !AncestryLess(a, b) && !AncestryLess(b, a); }

// True when two different ancestor records share a creation number.
bool HasRepeatedIds(ScNode **list, int count) {
  std::unordered_map<int32_t, const ScModel *> seen;
  for (int i = 0; i < count; i++) {
    for (int k = 0; k < list[i]->ancestor_n; k++) {
      const ScModel *ancestor = list[i]->ancestors[k];
      auto [it, inserted] = seen.emplace(ancestor->id, ancestor);
      if (!inserted && it->second != ancestor) return true;
    }
  }
  return false;
}

// Minimum tree over ranks with "first position after p holding a rank below
// x".
class MinTree {
 public:
  explicit MinTree(const std::vector<int> &values) {
    size_ = 1;
    while (size_ < static_cast<int>(values.size())) size_ *= 2;
    tree_.assign(2 * static_cast<size_t>(size_), INT_MAX);
    for (size_t i = 0; i < values.size(); i++) tree_[size_ + i] = values[i];
    for (int i = size_ - 1; i >= 1; i--) tree_[i] = std::min(tree_[2 * i], tree_[2 * i + 1]);
  }

  void Set(int position, int value) {
    int i = size_ + position;
    tree_[i] = value;
    for (i /= 2; i >= 1; i /= 2) tree_[i] = std::min(tree_[2 * i], tree_[2 * i + 1]);
  }

  // First position q > p with value < x, or -1.
  int FirstBelowAfter(int p, int x) const { return Find(1, 0, size_, p + 1, x); }

 private:
  int Find(int node, int lo, int hi, int from, int x) const {
    if (hi <= from || tree_[node] >= x) return -1;
    if (hi - lo == 1) return lo;
    const int mid = (lo + hi) / 2;
    const int left = Find(2 * node, lo, mid, from, x);
    if (left >= 0) return left;
    return Find(2 * node + 1, mid, hi, from, x);
  }

  int size_ = 1;
  std::vector<int> tree_;
};

}  // namespace

void ScSortByAncestry(ScNode **list, int count) {
  if (count < 2) return;
  if (HasRepeatedIds(list, count)) {
    LiteralSort(list, count);
    return;
  }
  std::vector<int> positions;  // positions of the nodes that take part
  for (int i = 0; i < count; i++) {
    if (list[i]->ancestor_n > 0) positions.push_back(i);
  }
  const int m = static_cast<int>(positions.size());
  if (m < 2) return;

  std::vector<ScNode *> items(m);
  for (int k = 0; k < m; k++) items[k] = list[positions[k]];
  std::vector<int> byKey(m);
  for (int k = 0; k < m; k++) byKey[k] = k;
  std::sort(byKey.begin(), byKey.end(), [&](int a, int b) { return AncestryLess(items[a], items[b]); });
  std::vector<int> rank(m);
  int current = 0;
  for (int k = 0; k < m; k++) {
    if (k > 0 && !AncestryEqual(items[byKey[k - 1]], items[byKey[k]])) current++;
    rank[byKey[k]] = current;
  }

  // order[k]: the item at participating position k; replay the passes.
  std::vector<int> order(m);
  for (int k = 0; k < m; k++) order[k] = k;
  MinTree tree(rank);
  for (int i = 0; i < m; i++) {
    int holder = order[i];
    int p = i;
    for (;;) {
      const int q = tree.FirstBelowAfter(p, rank[holder]);
      if (q < 0) break;
      const int next = order[q];
      order[q] = holder;
      tree.Set(q, rank[holder]);
      holder = next;
      p = q;
    }
    order[i] = holder;
    tree.Set(i, INT_MAX);
  }
  for (int k = 0; k < m; k++) list[positions[k]] = items[order[k]];
}

void ScLinkByAncestry(ScNode **list, int count, bool skipMeshParents) {
  if (count <= 0) return;
  // Chains of siblings: the first node of the chain a node belongs to, and
  // the last node of each chain (kept at its first node).
  std::unordered_map<const ScNode *, ScNode *> head;
  std::unordered_map<const ScNode *, ScNode *> tail;
  head.reserve(static_cast<size_t>(count) * 2);
  tail.reserve(static_cast<size_t>(count) * 2);
  // The last list position so far of a candidate node without a parent, and
  // of the candidates under each hierarchy parent.
  int lastRoot = -1;
  std::unordered_map<const ScModel *, int> lastUnder;

  auto appendToChain = [&](ScNode *member, ScNode *node) {
    ScNode *first = head.count(member) ? head[member] : member;
    ScNode *&last = tail[first];
    if (!last) last = first;
    last->sibling = node;
    last = node;
    head[node] = first;
  };

  for (int i = 0; i < count; i++) {
    ScNode *node = list[i];
    if (i > 0) {
      int best = lastRoot;
      for (int k = 0; k < node->ancestor_n; k++) {
        auto found = lastUnder.find(node->ancestors[k]);
        if (found != lastUnder.end()) best = std::max(best, found->second);
      }
      if (best >= 0) {
        ScNode *other = list[best];
        if (other->ancestor_n == 0 || other->ancestor_n < node->ancestor_n) {
          node->parent = other;
          if (!other->child) {
            other->child = node;
          } else {
            appendToChain(other->child, node);
          }
        } else {
          node->parent = other->parent;
          appendToChain(other, node);
        }
      }
    }
    // A later node can hang under or beside this one when its ancestry
    // starts with this node's ancestry, that is when it descends from this
    // node's nearest ancestor.
    const ScModel *hierarchyParent = node->model ? node->model->parent : nullptr;
    if (skipMeshParents && hierarchyParent && hierarchyParent->hasMesh == 1) continue;
    if (node->ancestor_n == 0) {
      lastRoot = i;
    } else {
      lastUnder[node->ancestors[0]] = i;
    }
  }
}
