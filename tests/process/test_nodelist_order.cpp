// The bone removal's ancestry sort and linking against the literal quadratic
// algorithms on random hierarchies with heavy ties, and instance sources
// against the literal first-match search.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <vector>

#include "process/nodelist.h"
#include "process/nodelist_internal.h"
#include "process_util.h"

namespace {

// Compares the ancestries root-most first by creation number; a prefix
// compares by how much of the first is left.
int LiteralCompare(const ScNode *a, const ScNode *b) {
  if (a->ancestor_n == 0 || b->ancestor_n == 0) return 0;
  for (int ia = a->ancestor_n - 1, ib = b->ancestor_n - 1;; ia--, ib--) {
    if (a->ancestors[ia] != b->ancestors[ib]) return a->ancestors[ia]->id - b->ancestors[ib]->id;
    if (ia == 0 || ib == 0) return ia;
  }
}

void LiteralSort(std::vector<ScNode *> &list) {
  for (size_t i = 0; i < list.size(); i++)
    for (size_t j = i; j < list.size(); j++)
      if (LiteralCompare(list[i], list[j]) > 0) std::swap(list[i], list[j]);
}

// Each node joins the nearest earlier node whose ancestry is a prefix of its
// own: as its child when longer, else as its last sibling.
void LiteralLink(std::vector<ScNode *> &list, bool skipMeshParents) {
  for (size_t i = 1; i < list.size(); i++) {
    ScNode *node = list[i];
    for (size_t j = i; j-- > 0;) {
      ScNode *other = list[j];
      if (skipMeshParents && other->model->parent && other->model->parent->hasMesh == 1) continue;
      bool prefix = other->ancestor_n <= node->ancestor_n || other->ancestor_n == 0;
      for (int k = 1; prefix && k <= other->ancestor_n; k++)
        prefix = other->ancestors[other->ancestor_n - k] == node->ancestors[node->ancestor_n - k];
      if (!prefix) continue;
      const bool child = other->ancestor_n == 0 || node->ancestor_n > other->ancestor_n;
      ScNode **slot = child ? &other->child : &other->sibling;
      while (*slot) slot = &(*slot)->sibling;
      *slot = node;
      node->parent = child ? other : other->parent;
      break;
    }
  }
}

TEST(NodeListOrder, SortAndLinkMatchTheLiteralAlgorithms) {
  std::mt19937 random(20240611);
  int reordered = 0;
  for (int trial = 0; trial < 1500; trial++) {
    SCOPED_TRACE(trial);
    // n models, each under one of a few "hub" models (heavy ties), a recent
    // model, or none; creation numbers shuffled, sometimes repeated.
    const int n = 2 + static_cast<int>(random() % (trial % 10 == 0 ? 150 : 40));
    std::vector<ScModel> models(static_cast<size_t>(n));
    std::vector<std::vector<ScModel *>> ancestors(static_cast<size_t>(n));
    std::vector<int> ids(static_cast<size_t>(n));
    for (int i = 0; i < n; i++) ids[i] = i;
    std::shuffle(ids.begin(), ids.end(), random);
    const int hubs = 1 + static_cast<int>(random() % 6);
    std::vector<int> kept;
    for (int i = 0; i < n; i++) {
      ScModel &model = models[i];
      model.id = trial % 7 == 3 ? ids[i] % std::max(2, n / 3) : ids[i];
      model.hasMesh = random() % 3 != 0;
      if (i > 0 && random() % 8 != 0) {
        const int parent = random() % 2 ? static_cast<int>(random() % std::min(i, hubs))
                                        : i - 1 - static_cast<int>(random() % std::min(i, hubs + i / 4));
        model.parent = &models[parent];
      }
      for (ScModel *a = model.parent; a; a = a->parent) ancestors[i].push_back(a);
      if (!model.parent || model.hasMesh == 1 || random() % 4 == 0) kept.push_back(i);
    }
    if (trial % 2) std::shuffle(kept.begin(), kept.end(), random);

    std::vector<ScNode> a(kept.size()), b(kept.size());
    std::vector<ScNode *> listA, listB;
    for (size_t k = 0; k < kept.size(); k++) {
      for (ScNode *node : {&a[k], &b[k]}) {
        node->model = &models[kept[k]];
        node->ancestors = ancestors[kept[k]].data();
        node->ancestor_n = static_cast<int>(ancestors[kept[k]].size());
      }
      listA.push_back(&a[k]);
      listB.push_back(&b[k]);
    }
    auto ia = [&](const ScNode *x) { return x ? x - a.data() : -1; };
    auto ib = [&](const ScNode *x) { return x ? x - b.data() : -1; };
    LiteralSort(listA);
    ScSortByAncestry(listB.data(), static_cast<int>(listB.size()));
    for (size_t k = 0; k < kept.size(); k++) {
      ASSERT_EQ(ia(listA[k]), ib(listB[k])) << "position " << k;
      reordered += ia(listA[k]) != static_cast<long>(k);
    }
    const bool skip = trial % 3 != 0;
    LiteralLink(listA, skip);
    ScLinkByAncestry(listB.data(), static_cast<int>(listB.size()), skip);
    for (size_t k = 0; k < kept.size(); k++) {
      ASSERT_EQ(ia(a[k].parent), ib(b[k].parent)) << "node " << k;
      ASSERT_EQ(ia(a[k].child), ib(b[k].child)) << "node " << k;
      ASSERT_EQ(ia(a[k].sibling), ib(b[k].sibling)) << "node " << k;
    }
  }
  EXPECT_GT(reordered, 1000);  // the inputs really exercise the sort
}

TEST(NodeListOrder, InstanceSourcesMatchTheLinearSearch) {
  std::mt19937 random(99);
  const char *names[] = {"a", "b", "c", "A", "d"};
  for (int trial = 0; trial < 40; trial++) {
    ptest::FreshAllocator();
    ptest::SceneBuilder builder;
    std::vector<ScModel *> models;
    for (int i = 0, n = 1 + static_cast<int>(random() % 30); i < n; i++) {
      ScModel *model = builder.Add(names[random() % 5], i == 0 ? nullptr : models[random() % models.size()]);
      ptest::SceneBuilder::GivePointMesh(model);
      if (random() % 3 == 0) model->instroot = ScVStrdup(names[random() % 5]);
      models.push_back(model);
    }
    ptest::Capture capture;
    const float rotation[3] = {0, 0, 0};
    ScNodeList *list = ScGetNodeList(builder.scene(), 0, 0, 0, rotation);
    ASSERT_NE(list, nullptr);
    std::vector<int> instN(static_cast<size_t>(list->node_n)), childInstN(static_cast<size_t>(list->node_n));
    for (int i = 0; i < list->node_n; i++) {
      ScNode *node = list->slist[i], *expected = nullptr;
      for (int j = 0; node->model->instroot && j < list->node_n && !expected; j++)
        if (std::strcmp(node->model->instroot, list->slist[j]->model->name) == 0) expected = list->slist[j];
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
