// Material name tags and the emission normal passes they ask for; the
// optimize info's texture numbers and material groups.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "process/optimize.h"
#include "process/tags.h"
#include "process_util.h"

namespace {

constexpr uint32_t kW = 0xC0C00000;  // write-info word of a default run
constexpr uint32_t kNoTags = kW & ~0x80000000u, kNoTex = kW & ~0x40000000u, kDefault = vkattr::kDefault;

ScMaterials *Material(const char *name, bool textured, uint32_t attrflags = 0, float alpha = 1.0f) {
  ScMaterials *m = ScMaterialsAlloc(1);
  m->name = name ? ScVStrdup(name) : nullptr;
  m->attrflags = attrflags;
  m->diffuse[0] = m->diffuse[1] = m->diffuse[2] = 0.5f;
  m->diffuse[3] = alpha;
  if (textured) m->textures = ScTextureAlloc(1), m->nbTexture = 1;
  return m;
}

TEST(Tags, TableOfNames) {
  // attrflags as read from the file; wanted attrflags, output word, evaluation
  // bits, bank, warnings and red of a diffuse (0.5, 0.5, 0.5, alpha).
  const struct {
    const char *name; uint32_t attrflags; bool textured;
    uint32_t wantFlags, wantOut, writeFlags = kW, wantEval = 0;
    int wantBank = -1; const char *wantWarnings = ""; float alpha = 1.0f, wantRed = 0.5f;
  } cases[] = {
      // DEn_: double-sided, environment, material emission normal; "_" stops.
      {"DEn_F", 0, true, kDefault | 0x00E00000, kW | 0x40},
      {"DEn_", 0, false, kDefault | 0x00800000, kW | 0x40, kW, 0, -1,
       "\n##### \nWarning : You must set a texture on \"DEn_\" for environment mapping !\n"},
      {"Ee", 0, true, kDefault | 0x00600000, kW | 0x10000},
      {"E", 0, true, kDefault | 0x00200000, kW | 0x8000, kW | 0x8000},  // -noenv
      {"E", 0, true, kDefault, kNoTex, kNoTex},
      // Blend: A and two digits 0-7; source 0 also sets bit 0.
      {"A45", 0x2000, false, 0x94002000, kW},
      {"A07", 0xFC002000, false, 0x1C002001, kW},
      {"A9x", 0x2000, false, 0x2000, kW},
      {"A48", 0x2000, false, 0x2000, kW},
      {"An", 0x2000, false, 0x3000, kW},
      // Mipmap depth D025 ... D375, D000 warns, other D text is double-sided.
      {"D100", 0x2000, false, 0x2400, kW},
      {"D025", 0x2000, false, 0x2100, kW},
      {"D375", 0x2000, false, 0x2F00, kW},
      {"D000", 0x2000, false, 0x2000, kW, kW, 0, -1, "\n##### Warning : Don't use D000\n"},
      {"Dx", 0x2000, false, 0x802000, kW},
      {"Default", 0x2000, false, 0x2000, kW},
      // Banks: B and two digits; above 63 warns; a later Bi is the filter.
      {"B05", 0x4000, false, 0x4000, kW, kW, 0, 5},
      {"B99", 0x4000, false, 0x4000, kW, kW, 0, -1, "\n##### Warning : Bad bankId 99\n"},
      {"B05Bi", 0x4000, false, 0x2000, kW, kW, 0, 5},
      {"PsTl", 0x2000, false, 0x4000, kW},
      {"Ps", 0x6000, false, 0x0000, kW},
      // User words, per-material output choices, evaluation bits.
      {"U1U2", 0x2000, false, 0x2000, kW | 3},
      {"VcH", 0x2000, false, 0x2000, kW | 0x02020000},
      {"Nvc", 0x2000, false, 0x2000, kW | 0x01000000},
      {"N", 0x2000, false, 0x2000, kW, kW | 0x20000},
      {"EsSsHiBk", 0x2000, false, 0x2000, kW, kW, 0xD8},
      // Shading and lighting; case matters.
      {"FLNsNa", 0x2000, false, 0x03082040, kW},
      {"FG", 0x2000, false, 0x2000, kW},
      {"Nl", 0x2000, false, 0x02002000, kW},
      {"d_e_f", 0x2000, false, 0x2000, kW},
      // Without tag parsing only the alpha, texture and environment rules
      // run; trunc(0.99 * 255) is not 255: alpha is used. Unnamed materials
      // are left alone; -nodiffuse draws textured materials white.
      {"DF", 0x2000, true, 0x00202000, kNoTags, kNoTags},
      {"x", 0, false, kDefault | 0x00100000, kNoTags, kNoTags, 0, -1, "", 0.99f},
      {nullptr, 0x1234, false, 0x1234, kW, kW, 0, -1, "", 0.0f},
      {"", 0, true, kDefault, kW},
      {"Plain", 0, true, kDefault | 0x00200000, kW | 0x40000, kW | 0x40000, 0, -1, "", 1.0f, 1.0f},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.name ? c.name : "(unnamed)");
    ScMaterials *m = Material(c.name, c.textured, c.attrflags, c.alpha);
    EXPECT_EQ(ptest::Printed([&] { VKParseMaterialTags(m, c.writeFlags); }), c.wantWarnings);
    EXPECT_EQ(m->attrflags, c.wantFlags) << std::hex << m->attrflags;
    EXPECT_EQ(m->outputFlags, c.wantOut) << std::hex << m->outputFlags;
    EXPECT_EQ(m->evalFlags, c.wantEval);
    EXPECT_EQ(m->bank, c.wantBank);
    EXPECT_EQ(m->diffuse[0], c.wantRed);
  }
}

// The write-info word from the model, output and chunk option words and the
// texture source kind, worked out by hand from the flag layouts.
TEST(Tags, WriteFlagsFromTheCommandLineWords) {
  const struct { uint32_t model, output, chunk; int32_t kind; uint32_t want; } cases[] = {
      {0x80000000, 0x38000000, 0x40000001, 7, 0xC0C00000},  // defaults
      {0x80000002, 0x38000000, 0x40000001, 1, 0x80800000},  // -notexture, kind 1
      {0x80000000, 0x38000000, 0x40000001, 1, 0xC0D80000},  // kind 1
      {0x80001000, 0, 0, 7, 0x40C00000},                    // -noflags
      {0x00800000, 0x80000000, 0, 7, 0xC0C48000},           // -noenv, -nodiffuse
      {0x60000000, 0x6003, 0, 7, 0xF6C0000C},  // -polynormal -forcetex -pvn -pvc -bindebug
      {0, 0x1001, 0, 7, 0xC0C00084},           // -texn3 -bin
      {0, 0, 0x10000, 7, 0xC0C00400},          // -delmat
      {0, 0, 0x18000, 7, 0xC0C00200},          // -delmat with -dma
      {0, 0, 0x0800F100, 7, 0xC0C25B00},       // -vctouf -pctouf -uvh -dma -euv -delambi
  };
  for (const auto &c : cases) {
    EXPECT_EQ(VKMakeWriteFlags(c.model, c.output, c.chunk, c.kind), c.want)
        << std::hex << c.model << " " << c.output << " " << c.chunk;
  }
}

TEST(Tags, ApplyingTagsRunsTheEmissionNormalPassesTheyAskFor) {
  // A square with its centre (1, 1, 0) as points 4 and 5; polygons 1 to 3
  // use material 1. The material pass turns the normals of material 1's
  // points away from the centre, the model pass every point's; the two
  // points at the centre keep theirs and are counted in one warning.
  const float r = 1.0f / std::sqrt(2.0f);
  const std::string zero = "WARNING: Floating division by zero [ ScUnitVector ] : zero-length vectors in lamp: 2\n";
  const struct { const char *name; std::string printed; ptest::Vec3 normal0, normal1; } cases[] = {
      {"En", "[MATERIAL EMISSION NORMAL]" + zero, {0, 0, 1}, {r, -r, 0}},
      {"Ee", "[MODEL EMISSION NORMAL]" + zero, {-r, -r, 0}, {r, -r, 0}},
      {"E", "", {0, 0, 1}, {0, 0, 1}},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.name);
    ptest::FreshAllocator();
    ScModel *model = ScModelAlloc("lamp");
    ScMesh *mesh = ptest::GiveMesh(model, {{0, 0, 0}, {2, 0, 0}, {2, 2, 0}, {0, 2, 0}, {1, 1, 0}, {1, 1, 0}},
                                   {{0, 1, 4}, {1, 2, 4}, {2, 3, 4}, {2, 3, 5}});
    mesh->polygons[1].materialId = mesh->polygons[2].materialId = mesh->polygons[3].materialId = 1;
    model->materials = Material("x", true);
    model->materials->next = Material(c.name, true);
    model->nbMaterial = 2;
    ptest::HandList hand({model});
    hand.nodes[0].bbox.local.average[0] = hand.nodes[0].bbox.local.average[1] = 1;
    EXPECT_EQ(ptest::Printed([&] { VKApplyMaterialTags(&hand.list, kW); }), c.printed);
    for (int k = 0; k < 3; k++) EXPECT_NEAR(mesh->vertices[0].normal[k], c.normal0[k], 1e-6);
    for (int k = 0; k < 3; k++) EXPECT_NEAR(mesh->vertices[1].normal[k], c.normal1[k], 1e-6);
  }
  ScFreeAll();
}

// Opaque white materials alike but for their textures (file name, bank).
std::vector<ScMaterials *> Materials(ScModel *model, const std::vector<std::pair<std::string, int>> &textures) {
  std::vector<ScMaterials *> out;
  for (ScMaterials *m = ptest::GiveMaterials(model, static_cast<int>(textures.size())); m; m = m->next) {
    for (int c = 0; c < 4; ++c) m->diffuse[c] = m->specular[c] = 1.0f;
    m->specularPower = 6.0f;
    m->attrflags = 0x94002400;
    m->textures = ScTextureAlloc(1);
    m->textures->picname = ScVStrdup(textures[out.size()].first.c_str());
    m->nbTexture = 1;
    m->bank = textures[out.size()].second;
    out.push_back(m);
  }
  return out;
}

TEST(Optimize, TextureNumbersAndMaterialGroups) {
  ScModel *model = ScModelAlloc("n");
  const auto m = Materials(model, {{"wood", 0}, {"wood", 1}, {"wood", 0}, {"wood", 0}, {"wood", 0}});
  m[2]->ambient[0] = 0.7f;      // ambient only: same group as 0
  m[3]->specular[1] = 0.999f;   // specular differs by 0.001: new group
  m[4]->diffuse[2] = 1.00005f;  // within 0.0001: same group as 0
  ptest::HandList hand({model});
  VKOptimizeInfo *info = VKGetOptimizeInfo(&hand.list, 0x40000001);
  ASSERT_NE(info, nullptr);
  ASSERT_EQ(info->textureCount, 5);
  EXPECT_EQ(info->uniqueTextureCount, 2);
  EXPECT_EQ(VKUniqueTexture(info, 1)->bank, 1);
  const VKMaterialGroup *g = info->mnlist[0].groups;
  EXPECT_EQ(info->mnlist[0].groupCount, 3);
  const int wantNumbers[] = {0, 1, 0, 0, 0}, wantGroups[] = {0, 1, 0, 2, 0}, wantLeaders[] = {0, 1, 0, 3, 0};
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(info->tlist[i].number, wantNumbers[i]) << i;
    EXPECT_EQ(g[i].textureNumber, wantNumbers[i]) << i;
    EXPECT_EQ(g[i].group, wantGroups[i]) << i;
    EXPECT_EQ(g[i].leader, &g[wantLeaders[i]]) << i;
  }
  VKFreeOptimizeInfo(info);
}

// The literal texture sort swaps when the later entry's name, then bank, is
// smaller; equal neighbours share a number.
TEST(Optimize, TextureOrderMatchesTheExchangeSortOnManyTiedLists) {
  std::mt19937 rng(5);
  const char *names[] = {"a", "b", "ab", "B", "a"};
  for (int round = 0; round < 300; ++round) {
    SCOPED_TRACE(round);
    const int count = 1 + static_cast<int>(rng() % 30);
    std::vector<std::pair<std::string, int>> textures;
    for (int i = 0; i < count; ++i) {
      const char *name = names[rng() % (round % 2 ? 2 : 5)];
      textures.emplace_back(name, static_cast<int>(rng() % 3) - 1);
    }
    auto smaller = [&](int x, int y) {
      const int c = std::strcmp(textures[x].first.c_str(), textures[y].first.c_str());
      return c < 0 || (c == 0 && textures[x].second < textures[y].second);
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
    // Spread over two nodes, the first may have none.
    ScModel *models[2] = {ScModelAlloc("a"), ScModelAlloc("b")};
    if (count / 2) Materials(models[0], {textures.begin(), textures.begin() + count / 2});
    Materials(models[1], {textures.begin() + count / 2, textures.end()});
    ptest::HandList hand({models[0], models[1]});
    VKOptimizeInfo *info = VKGetOptimizeInfo(&hand.list, 0);
    ASSERT_NE(info, nullptr);
    ASSERT_EQ(info->uniqueTextureCount, static_cast<int>(leaders.size()));
    for (int i = 0; i < count; ++i) ASSERT_EQ(info->tlist[i].number, number[i]);
    for (size_t u = 0; u < leaders.size(); ++u) ASSERT_EQ(info->ts_idx[u], leaders[u]);
    for (int i = 0; i < count; ++i) ASSERT_EQ(info->ts_ridx[info->ts_idx[i]], i);
    VKFreeOptimizeInfo(info);
  }
}

}  // namespace
