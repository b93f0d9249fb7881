// Optimize info: texture order and unique numbers, material groups and their
// polygon lists.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "process/optimize.h"
#include "process_util.h"

namespace {

// `count` opaque white materials with the same drawing words.
ScMaterials *Materials(ScModel *model, int count) {
  for (ScMaterials *m = ptest::GiveMaterials(model, count); m != nullptr; m = m->next) {
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

void Texture(ScMaterials *m, const char *name, int bank) {
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
  ScModel *model = ScModelAlloc("n");
  Materials(model, 3);
  for (int i = 0; i < 3; ++i) Texture(Nth(model, i), "wood", i % 2);
  ptest::HandList hand({model});
  VKOptimizeInfo *info = VKGetOptimizeInfo(&hand.list, 0x40000001);
  ASSERT_NE(info, nullptr);
  ASSERT_EQ(info->textureCount, 3);
  EXPECT_EQ(info->uniqueTextureCount, 2);
  for (int k = 0; k < 3; ++k) EXPECT_EQ(info->tlist[k].number, k % 2);
  EXPECT_EQ(VKUniqueTexture(info, 1)->bank, 1);
  EXPECT_EQ(info->ts_ridx[info->ts_idx[2]], 2);
  // Materials 0 and 2 look alike and share texture 0: one group.
  EXPECT_EQ(info->mnlist[0].groupCount, 2);
  EXPECT_EQ(info->mlist[2].leader, &info->mlist[0]);
  VKFreeOptimizeInfo(info);
}

TEST(Optimize, MaterialsDifferingOnlyInAmbientShareAGroupAndItsPolygonLists) {
  ScModel *model = ScModelAlloc("a"), *plain = ScModelAlloc("b");
  Materials(model, 4);
  Nth(model, 1)->ambient[0] = 0.7f;      // ambient only: same group as 0
  Nth(model, 2)->specular[1] = 0.999f;   // specular differs by 0.001: new group
  Nth(model, 3)->diffuse[2] = 1.00005f;  // within 0.0001: same group as 0
  // Polygons of 3, 3, 4, 5, 3, 3 corners under materials 1, 2, 0, 3, 9, 0;
  // the second node's of 3, 4, 3 corners have no materials.
  const std::vector<int> corners = {3, 3, 4, 5, 3, 3, 3, 4, 3}, material = {1, 2, 0, 3, 9, 0, 0, 0, 0};
  for (ScModel *m : {model, plain}) {
    const int first = m == model ? 0 : 6, n = m == model ? 6 : 3;
    m->mesh = ScMeshAlloc(8, n, n);
    m->hasMesh = 1;
    for (int p = 0; p < n; ++p) {
      m->mesh->polygons[p].nbCorner = static_cast<uint16_t>(corners[first + p]);
      m->mesh->polygons[p].materialId = material[first + p];
    }
  }
  ptest::HandList hand({model, plain});
  VKOptimizeInfo *info = VKGetOptimizeInfo(&hand.list, 0x06000000);  // volume mode: lists still filled
  ASSERT_NE(info, nullptr);
  EXPECT_EQ(info->materialCount, 4);
  EXPECT_EQ(info->mnlist[0].materialCount, 4);
  EXPECT_EQ(info->mnlist[0].groupCount, 2);
  const VKMaterialGroup *g = info->mnlist[0].groups;
  const int wantGroups[] = {0, 0, 1, 0};
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(g[i].group, wantGroups[i]) << i;
    EXPECT_EQ(g[i].leader, &g[i == 2 ? 2 : 0]) << i;
  }
  // Triangles to list 1, quads to list 5, larger to list 6; a material
  // number past the list falls to the first material's group; a node
  // without materials has all in its default group.
  const VKMaterialGroup &def = info->mnlist[1].defaultGroup;
  EXPECT_EQ(info->mnlist[1].groups, nullptr);
  EXPECT_EQ(def.material, nullptr);
  const struct {
    const VKPolyList &list;
    const ScMesh *mesh;
    std::vector<int> want;
  } lists[] = {{g[0].lists[kVKListTriangles], model->mesh, {0, 4, 5}}, {g[0].lists[kVKListQuads], model->mesh, {2}},
               {g[0].lists[kVKListPolygons], model->mesh, {3}},        {g[2].lists[kVKListTriangles], model->mesh, {1}},
               {g[1].lists[kVKListTriangles], model->mesh, {}},        {def.lists[kVKListTriangles], plain->mesh, {0, 2}},
               {def.lists[kVKListQuads], plain->mesh, {1}}};
  for (const auto &l : lists) EXPECT_EQ(Along(l.list, l.mesh), l.want) << &l - lists;
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
    ScModel *models[2] = {ScModelAlloc("a"), ScModelAlloc("b")};
    std::vector<std::string> name;
    std::vector<int> bank;
    for (int i = 0; i < count; ++i) {
      ScModel *model = models[i < count / 2 ? 0 : 1];
      if (!model->materials) Materials(model, i < count / 2 ? count / 2 : count - count / 2);
      name.push_back(names[rng() % (round % 2 ? 2 : 5)]);
      bank.push_back(static_cast<int>(rng() % 3) - 1);
      Texture(Nth(model, i < count / 2 ? i : i - count / 2), name.back().c_str(), bank.back());
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
    ptest::HandList hand({models[0], models[1]});
    VKOptimizeInfo *info = VKGetOptimizeInfo(&hand.list, 0);
    ASSERT_NE(info, nullptr);
    ASSERT_EQ(info->uniqueTextureCount, static_cast<int>(leaders.size()));
    for (int i = 0; i < count; ++i) ASSERT_EQ(info->tlist[i].number, number[i]);
    for (size_t u = 0; u < leaders.size(); ++u) ASSERT_EQ(info->ts_idx[u], leaders[u]);
    VKFreeOptimizeInfo(info);
  }
}

}  // namespace
