// Ancestry order and linking of the bone removal.
//
// The ancestry comparison of two nodes walks both ancestor lists from their
// root-most ends: at the first pair that differs it is the difference of the
// two ancestors' creation numbers; when one list runs out it is the number of
// entries a has left (so a shorter-or-equal list compares 0, a longer one
// positive); a node without ancestors compares 0 with everything. The sort is
// the exchange sort "for i, for j >= i: swap when compare(i, j) > 0".
//
// The exchange sort is quadratic (also in the swaps it makes), so its result
// is computed directly:
//  - nodes without ancestors never move (they compare 0 with everything), so
//    only the others take part, in the positions they hold;
//  - among those, "compare > 0" is the lexicographic order of the creation
//    numbers of the ancestors (a proper prefix coming first), so the result
//    lists the classes of equal ancestry in that order;
//  - within one class K the order is fixed by the passes that place the
//    smaller nodes. Seen from K, each such pass removes the first smaller
//    node of the sequence and, when the sequence starts with a run of K
//    nodes, moves the first of that run to the end of the run. So with the K
//    nodes grouped into runs by the number t of smaller nodes in front of
//    them, and s smaller nodes in all, the class order is a queue that takes
//    run t and then turns by one (front to back) for t = 0 .. s-1, and finally
//    takes run s.
// When creation numbers repeat, this order would not reproduce the
// comparison, and the literal exchange sort runs instead.
#include <algorithm>
#include <deque>
#include <unordered_map>
#include <vector>

#include "process/nodelist.h"
#include "process/nodelist_internal.h"
#include "process/strips_order.h"
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

// Turns the queue by `turns` steps, front to back, the short way round.
void Turn(std::deque<int> &queue, long turns) {
  const long size = static_cast<long>(queue.size());
  if (size < 2) return;
  long r = turns % size;
  if (r <= size / 2) {
    for (; r > 0; r--) {
      queue.push_back(queue.front());
      queue.pop_front();
    }
  } else {
    for (r = size - r; r > 0; r--) {
      queue.push_front(queue.back());
      queue.pop_back();
    }
  }
}

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
  // Participants by ancestry, equal ancestries in list order.
  std::vector<int> byKey(m);
  for (int k = 0; k < m; k++) byKey[k] = k;
  std::stable_sort(byKey.begin(), byKey.end(), [&](int a, int b) { return AncestryLess(items[a], items[b]); });

  std::vector<int> order;
  order.reserve(static_cast<size_t>(m));
  vkorder::Counter smallerBefore(m);
  int smaller = 0;
  for (int first = 0; first < m;) {
    int end = first + 1;
    while (end < m && AncestryEqual(items[byKey[first]], items[byKey[end]])) end++;
    std::deque<int> queue;
    int run = 0;
    for (int k = first; k < end; k++) {
      const int t = smallerBefore.Below(byKey[k]);
      Turn(queue, t - run);
      queue.push_back(byKey[k]);
      run = t;
    }
    Turn(queue, smaller - run);
    order.insert(order.end(), queue.begin(), queue.end());
    for (int k = first; k < end; k++) smallerBefore.Add(byKey[k], 1);
    smaller += end - first;
    first = end;
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
