// Optimize info: texture order and unique numbers, material groups,
// polygon lists.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "process/nodelist.h"
#include "process/optimize.h"
#include "scene/memory.h"
#include "scene/records.h"

namespace {

// A node list made by hand over a few hierarchy nodes.
struct Scene {
  ScNodeList list{};
  std::vector<ScNode> nodes;
  std::vector<ScNode *> slist;

  explicit Scene(int count) : nodes(static_cast<size_t>(count)), slist(static_cast<size_t>(count)) {
    for (int i = 0; i < count; ++i) {
      nodes[i].model = nodes[i].node = ScModelAlloc(("n" + std::to_string(i)).c_str());
      slist[i] = &nodes[i];
    }
    list.nodes = nodes.data();
    list.slist = slist.data();
    list.node_n = count;
  }
  ScModel *model(int i) { return nodes[i].model; }
};

// Gives a node `count` materials, opaque white, each with the textures named.
ScMaterials *AddMaterials(ScModel *model, int count) {
  model->materials = ScMaterialsAlloc(count);
  model->nbMaterial = static_cast<uint16_t>(count);
  for (ScMaterials *m = model->materials; m != nullptr; m = m->next) {
    for (int c = 0; c < 4; ++c) m->diffuse[c] = m->specular[c] = 1.0f;
    m->specularPower = 6.0f;
    m->attrflags = 0x94002400;
  }
  return model->materials;
}

ScMaterials *Nth(ScModel *model, int n) {
  ScMaterials *m = model->materials;
  while (n-- > 0) m = m->next;
  return m;
}

void AddTexture(ScMaterials *m, const char *name) {
  ScTexture *t = ScTextureAlloc(1);
  t->picname = ScVStrdup(name);
  t->next = m->textures;
  m->textures = t;
  m->nbTexture++;
}

// A mesh of polygons with the given corner counts and material numbers.
void AddMesh(ScModel *model, const std::vector<int> &corners, const std::vector<int> &materials) {
  int n = static_cast<int>(corners.size());
  model->mesh = ScMeshAlloc(8, n, n);
  model->hasMesh = 1;
  for (int p = 0; p < n; ++p) {
    model->mesh->polygons[p].nbCorner = static_cast<uint16_t>(corners[p]);
    model->mesh->polygons[p].materialId = materials.empty() ? 0 : materials[p];
  }
}

std::vector<int> ListIndexes(const VKPolyList &list, const ScMesh *mesh) {
  std::vector<int> out;
  for (ScPolygon *p = list.first; p != nullptr; p = p->listNext) out.push_back(static_cast<int>(p - mesh->polygons));
  EXPECT_EQ(static_cast<int>(out.size()), list.count);
  if (!out.empty()) {
    EXPECT_EQ(list.last, &mesh->polygons[out.back()]);
  }
  return out;
}

TEST(Optimize, TexturesOfOneNameWithBanks010GetUniqueNumbers010) {
  Scene scene(1);
  ScMaterials *m = AddMaterials(scene.model(0), 3);
  const int banks[] = {0, 1, 0};
  for (int i = 0; i < 3; ++i, m = m->next) {
    AddTexture(m, "wood");
    m->bank = banks[i];
  }
  VKOptimizeInfo *info = VKGetOptimizeInfo(&scene.list, 0x40000001);
  ASSERT_NE(info, nullptr);
  ASSERT_EQ(info->textureCount, 3);
  EXPECT_EQ(info->uniqueTextureCount, 2);
  EXPECT_EQ(info->tlist[0].number, 0);
  EXPECT_EQ(info->tlist[1].number, 1);
  EXPECT_EQ(info->tlist[2].number, 0);
  EXPECT_EQ(VKUniqueTexture(info, 0)->bank, 0);
  EXPECT_EQ(VKUniqueTexture(info, 1)->bank, 1);
  for (int k = 0; k < 3; ++k) EXPECT_EQ(info->ts_ridx[info->ts_idx[k]], k);
  EXPECT_EQ(info->mlist[2].textureNumber, 0);
  // Materials 0 and 2 look alike and share texture 0: one group.
  EXPECT_EQ(info->mnlist[0].groupCount, 2);
  EXPECT_EQ(info->mlist[2].leader, &info->mlist[0]);
  VKFreeOptimizeInfo(info);
}

TEST(Optimize, MaterialsDifferingOnlyInAmbientShareAGroupAndItsPolygonLists) {
  Scene scene(2);
  ScModel *model = scene.model(0);
  AddMaterials(model, 4);
  Nth(model, 1)->ambient[0] = 0.7f;           // ambient only: same group as 0
  Nth(model, 2)->specular[1] = 0.999f;        // specular differs by 0.001: new group
  Nth(model, 3)->diffuse[2] = 1.00005f;       // within 0.0001: same group as 0
  AddMesh(model, {3, 3, 4, 5, 3, 3}, {1, 2, 0, 3, 9, 0});
  AddMesh(scene.model(1), {3, 4, 3}, {});
  VKOptimizeInfo *info = VKGetOptimizeInfo(&scene.list, 0x06000000);  // volume mode: lists still filled
  ASSERT_NE(info, nullptr);
  const VKMaterialNode &node = info->mnlist[0];
  EXPECT_EQ(node.materialCount, 4);
  EXPECT_EQ(node.groupCount, 2);
  const int wantGroups[] = {0, 0, 1, 0};
  for (int i = 0; i < 4; ++i) EXPECT_EQ(node.groups[i].group, wantGroups[i]) << i;
  const VKMaterialGroup &g0 = node.groups[0];
  EXPECT_EQ(node.groups[1].leader, &g0);
  EXPECT_EQ(node.groups[3].leader, &g0);
  EXPECT_EQ(node.groups[2].leader, &node.groups[2]);
  // Triangles to list 1, quads to list 5, larger to list 6; a material
  // number past the list falls to the first material's group.
  EXPECT_EQ(ListIndexes(g0.lists[kVKListTriangles], model->mesh), (std::vector<int>{0, 4, 5}));
  EXPECT_EQ(ListIndexes(g0.lists[kVKListQuads], model->mesh), (std::vector<int>{2}));
  EXPECT_EQ(ListIndexes(g0.lists[kVKListPolygons], model->mesh), (std::vector<int>{3}));
  EXPECT_EQ(ListIndexes(node.groups[2].lists[kVKListTriangles], model->mesh), (std::vector<int>{1}));
  EXPECT_EQ(node.groups[1].lists[kVKListTriangles].count, 0);
  // The second node has no materials: its default group holds its polygons.
  const VKMaterialGroup &def = info->mnlist[1].defaultGroup;
  EXPECT_EQ(info->mnlist[1].groups, nullptr);
  EXPECT_EQ(def.material, nullptr);
  EXPECT_EQ(ListIndexes(def.lists[kVKListTriangles], scene.model(1)->mesh), (std::vector<int>{0, 2}));
  EXPECT_EQ(def.lists[kVKListQuads].count, 1);
  EXPECT_EQ(info->materialCount, 4);
  VKFreeOptimizeInfo(info);
}

// The texture sort as the format describes it: swap when the later entry's
// name, then bank, is smaller.
struct Literal {
  std::vector<int> number;
  std::vector<int> leaders;
};

Literal LiteralTextureOrder(const std::vector<std::string> &names, const std::vector<int> &banks) {
  int n = static_cast<int>(names.size());
  std::vector<int> idx(static_cast<size_t>(n));
  for (int i = 0; i < n; ++i) idx[i] = i;
  auto smaller = [&](int x, int y) {
    int c = std::strcmp(names[x].c_str(), names[y].c_str());
    return c < 0 || (c == 0 && banks[x] < banks[y]);
  };
  for (int i = 0; i < n; ++i) {
    for (int j = i + 1; j < n; ++j) {
      if (smaller(idx[j], idx[i])) std::swap(idx[i], idx[j]);
    }
  }
  Literal out;
  out.number.assign(static_cast<size_t>(n), -1);
  for (int k = 0; k < n; ++k) {
    if (k > 0 && !smaller(idx[k - 1], idx[k])) {
      out.number[idx[k]] = out.number[idx[k - 1]];
    } else {
      out.number[idx[k]] = static_cast<int>(out.leaders.size());
      out.leaders.push_back(idx[k]);
    }
  }
  return out;
}

TEST(Optimize, TextureOrderMatchesTheExchangeSortOnManyTiedLists) {
  std::mt19937 rng(5);
  const char *names[] = {"a", "b", "ab", "B", "a"};
  for (int round = 0; round < 300; ++round) {
    int count = 1 + static_cast<int>(rng() % 30);
    Scene scene(2);
    std::vector<std::string> want;
    std::vector<int> banks;
    for (int node = 0; node < 2; ++node) {
      int here = node == 0 ? count / 2 : count - count / 2;
      if (here == 0) continue;
      for (ScMaterials *m = AddMaterials(scene.model(node), here); m != nullptr; m = m->next) {
        want.push_back(names[rng() % (round % 2 ? 2 : 5)]);
        m->bank = static_cast<int>(rng() % 3) - 1;
        banks.push_back(m->bank);
        AddTexture(m, want.back().c_str());
      }
    }
    VKOptimizeInfo *info = VKGetOptimizeInfo(&scene.list, 0);
    ASSERT_NE(info, nullptr);
    Literal literal = LiteralTextureOrder(want, banks);
    ASSERT_EQ(info->uniqueTextureCount, static_cast<int>(literal.leaders.size())) << round;
    for (int i = 0; i < count; ++i) ASSERT_EQ(info->tlist[i].number, literal.number[i]) << round;
    for (size_t u = 0; u < literal.leaders.size(); ++u) ASSERT_EQ(info->ts_idx[u], literal.leaders[u]) << round;
    VKFreeOptimizeInfo(info);
  }
}

}  // namespace
