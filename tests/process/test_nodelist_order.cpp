// The ancestry sort and linking of the bone removal against the literal
// quadratic algorithms, on many random hierarchies with heavy ties.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "process/nodelist.h"
#include "process/nodelist_internal.h"
#include "scene/records.h"
#include "test_nodelist_util.h"

namespace {

// ---- The literal algorithms -------------------------------------------------

int LiteralCompare(const ScNode *a, const ScNode *b) {
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

void LiteralSort(std::vector<ScNode *> &list) {
  const int n = static_cast<int>(list.size());
  for (int i = 0; i < n; i++)
    for (int j = i; j < n; j++)
      if (LiteralCompare(list[i], list[j]) > 0) std::swap(list[i], list[j]);
}

enum class Relation { Child, Sibling, Unrelated };

Relation Relate(const ScNode *j, const ScNode *i) {
  if (j->ancestor_n == 0) return Relation::Child;
  for (int k = 1; k <= j->ancestor_n; k++) {
    if (k > i->ancestor_n) return Relation::Unrelated;
    if (j->ancestors[j->ancestor_n - k] != i->ancestors[i->ancestor_n - k]) return Relation::Unrelated;
  }
  return i->ancestor_n > j->ancestor_n ? Relation::Child : Relation::Sibling;
}

void LiteralLink(std::vector<ScNode *> &list, bool skipMeshParents) {
  for (size_t i = 1; i < list.size(); i++) {
    ScNode *node = list[i];
    for (int j = static_cast<int>(i) - 1; j >= 0; j--) {
      ScNode *other = list[j];
      const ScModel *parent = other->model->parent;
      if (skipMeshParents && parent && parent->hasMesh == 1) continue;
      const Relation relation = Relate(other, node);
      if (relation == Relation::Unrelated) continue;
      if (relation == Relation::Child) {
        node->parent = other;
        if (!other->child) {
          other->child = node;
        } else {
          ScNode *last = other->child;
          while (last->sibling) last = last->sibling;
          last->sibling = node;
        }
      } else {
        ScNode *last = other;
        while (last->sibling) last = last->sibling;
        last->sibling = node;
        node->parent = other->parent;
      }
      break;
    }
  }
}

// ---- Random hierarchies -----------------------------------------------------

struct Forest {
  std::vector<ScModel> models;
  std::vector<std::vector<ScModel *>> ancestors;
};

// n models; each picks its parent among a few earlier "hub" models (heavy
// ties) or none; creation numbers are a random permutation, optionally with
// repeats.
void MakeForest(Forest &forest, int n, std::mt19937 &random, bool repeatIds) {
  forest.models.assign(static_cast<size_t>(n), ScModel{});
  forest.ancestors.assign(static_cast<size_t>(n), {});
  std::vector<int> ids(static_cast<size_t>(n));
  for (int i = 0; i < n; i++) ids[i] = i;
  std::shuffle(ids.begin(), ids.end(), random);
  const int hubs = 1 + static_cast<int>(random() % 6);
  for (int i = 0; i < n; i++) {
    ScModel &model = forest.models[i];
    model.id = repeatIds ? ids[i] % std::max(2, n / 3) : ids[i];
    model.hasMesh = (random() % 3 != 0) ? 1 : 0;
    if (i > 0 && random() % 8 != 0) {
      const int limit = std::min(i, hubs + i / 4);
      const int parent = (random() % 2) ? static_cast<int>(random() % std::min(i, hubs))
                                        : i - 1 - static_cast<int>(random() % limit);
      model.parent = &forest.models[std::max(0, parent)];
    }
    for (ScModel *a = model.parent; a; a = a->parent) forest.ancestors[i].push_back(a);
  }
}

void MakeNodes(Forest &forest, const std::vector<int> &kept, std::vector<ScNode> &nodes) {
  nodes.assign(kept.size(), ScNode{});
  for (size_t k = 0; k < kept.size(); k++) {
    nodes[k].model = &forest.models[kept[k]];
    nodes[k].ancestors = forest.ancestors[kept[k]].data();
    nodes[k].ancestor_n = static_cast<int>(forest.ancestors[kept[k]].size());
  }
}

int IndexIn(const std::vector<ScNode> &nodes, const ScNode *node) {
  return node ? static_cast<int>(node - nodes.data()) : -1;
}

TEST(NodeListOrder, SortAndLinkMatchTheLiteralAlgorithms) {
  std::mt19937 random(20240611);
  int reordered = 0;
  for (int trial = 0; trial < 1500; trial++) {
    SCOPED_TRACE(trial);
    Forest forest;
    const int n = 2 + static_cast<int>(random() % (trial % 10 == 0 ? 150 : 40));
    MakeForest(forest, n, random, trial % 7 == 3);
    std::vector<int> kept;
    for (int i = 0; i < n; i++)
      if (forest.models[i].parent == nullptr || forest.models[i].hasMesh == 1 || random() % 4 == 0) kept.push_back(i);
    if (trial % 2) std::shuffle(kept.begin(), kept.end(), random);

    std::vector<ScNode> a, b;
    MakeNodes(forest, kept, a);
    MakeNodes(forest, kept, b);
    std::vector<ScNode *> listA, listB;
    for (size_t k = 0; k < kept.size(); k++) {
      listA.push_back(&a[k]);
      listB.push_back(&b[k]);
    }
    LiteralSort(listA);
    ScSortByAncestry(listB.data(), static_cast<int>(listB.size()));
    for (size_t k = 0; k < kept.size(); k++) {
      ASSERT_EQ(IndexIn(a, listA[k]), IndexIn(b, listB[k])) << "position " << k;
      if (IndexIn(a, listA[k]) != static_cast<int>(k)) reordered++;
    }

    const bool skip = trial % 3 != 0;
    LiteralLink(listA, skip);
    ScLinkByAncestry(listB.data(), static_cast<int>(listB.size()), skip);
    for (size_t k = 0; k < kept.size(); k++) {
      ASSERT_EQ(IndexIn(a, a[k].parent), IndexIn(b, b[k].parent)) << "node " << k;
      ASSERT_EQ(IndexIn(a, a[k].child), IndexIn(b, b[k].child)) << "node " << k;
      ASSERT_EQ(IndexIn(a, a[k].sibling), IndexIn(b, b[k].sibling)) << "node " << k;
    }
  }
  EXPECT_GT(reordered, 1000);  // the inputs really exercise the sort
}

// Instance sources found through the name index are those of the literal
// first-match search.
TEST(NodeListOrder, InstanceSourcesMatchTheLinearSearch) {
  std::mt19937 random(99);
  const char *names[] = {"a", "b", "c", "A", "d"};
  for (int trial = 0; trial < 40; trial++) {
    nltest::FreshAllocator();
    nltest::SceneBuilder builder;
    std::vector<ScModel *> models;
    const int n = 1 + static_cast<int>(random() % 30);
    for (int i = 0; i < n; i++) {
      ScModel *parent = i == 0 ? nullptr : models[random() % models.size()];
      ScModel *model = builder.Add(names[random() % 5], parent);
      nltest::SceneBuilder::GivePointMesh(model);
      if (random() % 3 == 0) model->instroot = ScVStrdup(names[random() % 5]);
      models.push_back(model);
    }
    nltest::ConsoleCapture capture;
    const float rotation[3] = {0, 0, 0};
    ScNodeList *list = ScGetNodeList(builder.scene(), 0, 0, 0, rotation);
    ASSERT_NE(list, nullptr);
    std::vector<int> instN(static_cast<size_t>(list->node_n)), childInstN(static_cast<size_t>(list->node_n));
    for (int i = 0; i < list->node_n; i++) {
      ScNode *node = list->slist[i];
      ScNode *expected = nullptr;
      if (node->model->instroot) {
        for (int j = 0; j < list->node_n && !expected; j++)
          if (std::strcmp(node->model->instroot, list->slist[j]->model->name) == 0) expected = list->slist[j];
      }
      EXPECT_EQ(node->inst_src, expected);
      if (expected) {
        instN[expected->nameId]++;
        if (expected->child) childInstN[expected->child->nameId]++;
      }
    }
    for (int i = 0; i < list->node_n; i++) {
      EXPECT_EQ(list->slist[i]->inst_n, instN[i]);
      EXPECT_EQ(list->slist[i]->child_inst_n, childInstN[i]);
    }
  }
  ScFreeAll();
}

}  // namespace
