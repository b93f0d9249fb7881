// Optimize info: texture order and unique numbers, material groups and their
// polygon lists.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "process/nodelist.h"
#include "process/optimize.h"
#include "process_util.h"

namespace {

// A node list made by hand over `count` hierarchy nodes.
struct Scene {
  ScNodeList list{};
  std::vector<ScNode> nodes;
  std::vector<ScNode *> slist;
  explicit Scene(int count) : nodes(static_cast<size_t>(count)) {
    for (ScNode &node : nodes) {
      node.model = node.node = ScModelAlloc(("n" + std::to_string(slist.size())).c_str());
      slist.push_back(&node);
    }
    list.nodes = nodes.data();
    list.slist = slist.data();
    list.node_n = count;
  }
  // Gives node i `count` opaque white materials and returns the n-th.
  ScMaterials *Materials(int i, int count, int n = 0) {
    ScModel *model = nodes[i].model;
    if (count > 0) {
      model->materials = ScMaterialsAlloc(count);
      model->nbMaterial = static_cast<uint16_t>(count);
      for (ScMaterials *m = model->materials; m != nullptr; m = m->next) {
        for (int c = 0; c < 4; ++c) m->diffuse[c] = m->specular[c] = 1.0f;
        m->specularPower = 6.0f;
        m->attrflags = 0x94002400;
      }
    }
    ScMaterials *m = model->materials;
    while (n-- > 0) m = m->next;
    return m;
  }
  // A mesh of polygons with these corner counts and material numbers.
  ScMesh *Mesh(int i, const std::vector<int> &corners, const std::vector<int> &materials) {
    const int n = static_cast<int>(corners.size());
    ScModel *model = nodes[i].model;
    model->mesh = ScMeshAlloc(8, n, n);
    model->hasMesh = 1;
    for (int p = 0; p < n; ++p) {
      model->mesh->polygons[p].nbCorner = static_cast<uint16_t>(corners[p]);
      model->mesh->polygons[p].materialId = materials.empty() ? 0 : materials[p];
    }
    return model->mesh;
  }
};

void AddTexture(ScMaterials *m, const char *name, int bank) {
  m->textures = ScTextureAlloc(1);
  m->textures->picname = ScVStrdup(name);
  m->nbTexture = 1;
  m->bank = bank;
}

// Polygon positions along a list, checking its count and last entry.
std::vector<int> Along(const VKPolyList &list, const ScMesh *mesh) {
  std::vector<int> out;
  for (ScPolygon *p = list.first; p != nullptr; p = p->listNext) out.push_back(static_cast<int>(p - mesh->polygons));
  EXPECT_EQ(static_cast<int>(out.size()), list.count);
  EXPECT_EQ(list.last, out.empty() ? nullptr : &mesh->polygons[out.back()]);
  return out;
}

TEST(Optimize, TexturesOfOneNameWithBanks010GetUniqueNumbers010) {
  Scene scene(1);
  scene.Materials(0, 3);
  for (int i = 0; i < 3; ++i) AddTexture(scene.Materials(0, 0, i), "wood", i % 2);
  VKOptimizeInfo *info = VKGetOptimizeInfo(&scene.list, 0x40000001);
  ASSERT_NE(info, nullptr);
  ASSERT_EQ(info->textureCount, 3);
  EXPECT_EQ(info->uniqueTextureCount, 2);
  for (int k = 0; k < 3; ++k) {
    EXPECT_EQ(info->tlist[k].number, k % 2);
    EXPECT_EQ(info->ts_ridx[info->ts_idx[k]], k);
  }
  EXPECT_EQ(VKUniqueTexture(info, 0)->bank, 0);
  EXPECT_EQ(VKUniqueTexture(info, 1)->bank, 1);
  EXPECT_EQ(info->mlist[2].textureNumber, 0);
  // Materials 0 and 2 look alike and share texture 0: one group.
  EXPECT_EQ(info->mnlist[0].groupCount, 2);
  EXPECT_EQ(info->mlist[2].leader, &info->mlist[0]);
  VKFreeOptimizeInfo(info);
}

TEST(Optimize, MaterialsDifferingOnlyInAmbientShareAGroupAndItsPolygonLists) {
  Scene scene(2);
  scene.Materials(0, 4);
  scene.Materials(0, 0, 1)->ambient[0] = 0.7f;     // ambient only: same group as 0
  scene.Materials(0, 0, 2)->specular[1] = 0.999f;  // specular differs by 0.001: new group
  scene.Materials(0, 0, 3)->diffuse[2] = 1.00005f; // within 0.0001: same group as 0
  const ScMesh *mesh = scene.Mesh(0, {3, 3, 4, 5, 3, 3}, {1, 2, 0, 3, 9, 0});
  const ScMesh *plain = scene.Mesh(1, {3, 4, 3}, {});
  VKOptimizeInfo *info = VKGetOptimizeInfo(&scene.list, 0x06000000);  // volume mode: lists still filled
  ASSERT_NE(info, nullptr);
  EXPECT_EQ(info->materialCount, 4);
  const VKMaterialNode &node = info->mnlist[0];
  EXPECT_EQ(node.materialCount, 4);
  EXPECT_EQ(node.groupCount, 2);
  const VKMaterialGroup *g = node.groups;
  const int wantGroups[] = {0, 0, 1, 0}, wantLeaders[] = {0, 0, 2, 0};
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(g[i].group, wantGroups[i]) << i;
    EXPECT_EQ(g[i].leader, &g[wantLeaders[i]]) << i;
  }
  // Triangles to list 1, quads to list 5, larger to list 6; a material
  // number past the list falls to the first material's group.
  EXPECT_EQ(Along(g[0].lists[kVKListTriangles], mesh), (std::vector<int>{0, 4, 5}));
  EXPECT_EQ(Along(g[0].lists[kVKListQuads], mesh), (std::vector<int>{2}));
  EXPECT_EQ(Along(g[0].lists[kVKListPolygons], mesh), (std::vector<int>{3}));
  EXPECT_EQ(Along(g[2].lists[kVKListTriangles], mesh), (std::vector<int>{1}));
  EXPECT_EQ(Along(g[1].lists[kVKListTriangles], mesh), (std::vector<int>{}));
  // A node without materials: its default group holds its polygons.
  const VKMaterialGroup &def = info->mnlist[1].defaultGroup;
  EXPECT_EQ(info->mnlist[1].groups, nullptr);
  EXPECT_EQ(def.material, nullptr);
  EXPECT_EQ(Along(def.lists[kVKListTriangles], plain), (std::vector<int>{0, 2}));
  EXPECT_EQ(Along(def.lists[kVKListQuads], plain), (std::vector<int>{1}));
  VKFreeOptimizeInfo(info);
}

// The texture sort as the format describes it: swap when the later entry's
// name, then bank, is smaller; equal neighbours share a number.
TEST(Optimize, TextureOrderMatchesTheExchangeSortOnManyTiedLists) {
  std::mt19937 rng(5);
  const char *names[] = {"a", "b", "ab", "B", "a"};
  for (int round = 0; round < 300; ++round) {
    SCOPED_TRACE(round);
    const int count = 1 + static_cast<int>(rng() % 30);
    Scene scene(2);
    std::vector<std::string> name;
    std::vector<int> bank;
    for (int node = 0; node < 2; ++node) {
      const int here = node == 0 ? count / 2 : count - count / 2;
      if (here > 0) scene.Materials(node, here);
      for (int i = 0; i < here; ++i) {
        name.push_back(names[rng() % (round % 2 ? 2 : 5)]);
        bank.push_back(static_cast<int>(rng() % 3) - 1);
        AddTexture(scene.Materials(node, 0, i), name.back().c_str(), bank.back());
      }
    }
    auto smaller = [&](int x, int y) {
      const int c = std::strcmp(name[x].c_str(), name[y].c_str());
      return c < 0 || (c == 0 && bank[x] < bank[y]);
    };
    std::vector<int> idx(static_cast<size_t>(count)), number(static_cast<size_t>(count)), leaders;
    for (int i = 0; i < count; ++i) idx[i] = i;
    for (int i = 0; i < count; ++i)
      for (int j = i + 1; j < count; ++j)
        if (smaller(idx[j], idx[i])) std::swap(idx[i], idx[j]);
    for (int k = 0; k < count; ++k) {
      if (k == 0 || smaller(idx[k - 1], idx[k])) leaders.push_back(idx[k]);
      number[idx[k]] = static_cast<int>(leaders.size()) - 1;
    }

    VKOptimizeInfo *info = VKGetOptimizeInfo(&scene.list, 0);
    ASSERT_NE(info, nullptr);
    ASSERT_EQ(info->uniqueTextureCount, static_cast<int>(leaders.size()));
    for (int i = 0; i < count; ++i) ASSERT_EQ(info->tlist[i].number, number[i]);
    for (size_t u = 0; u < leaders.size(); ++u) ASSERT_EQ(info->ts_idx[u], leaders[u]);
    VKFreeOptimizeInfo(info);
  }
}

}  // namespace
