// Material name tags and the write-info flag word.
#include <gtest/gtest.h>

#include <string>

#include "process/nodelist.h"
#include "process/tags.h"
#include "process_util.h"

namespace {

constexpr uint32_t kW = 0xC0C00000;  // write-info word of a default run
constexpr uint32_t kDefault = kDefaultAttrFlags;

ScMaterials *Material(const char *name, bool textured, uint32_t attrflags = 0) {
  ScMaterials *m = ScMaterialsAlloc(1);
  m->name = name ? ScVStrdup(name) : nullptr;
  m->attrflags = attrflags;
  m->diffuse[3] = 1.0f;
  if (textured) m->textures = ScTextureAlloc(1), m->nbTexture = 1;
  return m;
}

TEST(Tags, TableOfNames) {
  const struct {
    const char *name;
    uint32_t attrflags;  // as read from the file
    bool textured;
    uint32_t writeFlags, wantFlags, wantOut, wantEval;
    int wantBank;
    const char *wantWarnings;
  } cases[] = {
      // DEn_: double-sided, environment, material emission normal; "_" stops.
      {"DEn_F", 0, true, kW, kDefault | 0x00E00000, kW | 0x40, 0, -1, ""},
      {"DEn_", 0, false, kW, kDefault | 0x00800000, kW | 0x40, 0, -1,
       "\n##### \nWarning : You must set a texture on \"DEn_\" for environment mapping !\n"},
      {"Ee", 0, true, kW, kDefault | 0x00600000, kW | 0x10000, 0, -1, ""},
      {"E", 0, true, kW | 0x8000, kDefault | 0x00200000, kW | 0x8000, 0, -1, ""},  // -noenv
      {"E", 0, true, kW & ~0x40000000u, kDefault, kW & ~0x40000000u, 0, -1, ""},  // no texture output
      // Blend: A and two digits 0-7; source 0 also sets bit 0.
      {"A45", 0x2000, false, kW, 0x94002000, kW, 0, -1, ""},
      {"A07", 0xFC002000, false, kW, 0x1C002001, kW, 0, -1, ""},
      {"A9x", 0x2000, false, kW, 0x2000, kW, 0, -1, ""},
      {"A48", 0x2000, false, kW, 0x2000, kW, 0, -1, ""},
      {"An", 0x2000, false, kW, 0x3000, kW, 0, -1, ""},
      // Mipmap depth D025 ... D375, D000 warns, other D text is double-sided.
      {"D100", 0x2000, false, kW, 0x2400, kW, 0, -1, ""},
      {"D025", 0x2000, false, kW, 0x2100, kW, 0, -1, ""},
      {"D375", 0x2000, false, kW, 0x2F00, kW, 0, -1, ""},
      {"D000", 0x2000, false, kW, 0x2000, kW, 0, -1, "\n##### Warning : Don't use D000\n"},
      {"D123", 0x2000, false, kW, 0x802000, kW, 0, -1, ""},
      {"Dx", 0x2000, false, kW, 0x802000, kW, 0, -1, ""},
      {"Default", 0x2000, false, kW, 0x2000, kW, 0, -1, ""},
      // Banks: B and two digits; above 63 warns; a later Bi is the filter.
      {"B05", 0x4000, false, kW, 0x4000, kW, 0, 5, ""},
      {"B99", 0x4000, false, kW, 0x4000, kW, 0, -1, "\n##### Warning : Bad bankId 99\n"},
      {"B05Bi", 0x4000, false, kW, 0x2000, kW, 0, 5, ""},
      {"PsTl", 0x2000, false, kW, 0x4000, kW, 0, -1, ""},
      {"Ps", 0x6000, false, kW, 0x0000, kW, 0, -1, ""},
      // User words and per-material output choices.
      {"U1U2", 0x2000, false, kW, 0x2000, kW | 3, 0, -1, ""},
      {"VcH", 0x2000, false, kW, 0x2000, kW | 0x02020000, 0, -1, ""},
      {"Nvc", 0x2000, false, kW, 0x2000, kW | 0x01000000, 0, -1, ""},
      {"N", 0x2000, false, kW | 0x20000, 0x2000, kW, 0, -1, ""},
      {"EsSsHiBk", 0x2000, false, kW, 0x2000, kW, 0xD8, -1, ""},  // evaluation bits
      // Shading and lighting; case matters.
      {"FLNsNa", 0x2000, false, kW, 0x03082040, kW, 0, -1, ""},
      {"FG", 0x2000, false, kW, 0x2000, kW, 0, -1, ""},
      {"Nl", 0x2000, false, kW, 0x02002000, kW, 0, -1, ""},
      {"Material", 0x2000, false, kW, 0x2000, kW, 0, -1, ""},
      {"d_e_f", 0x2000, false, kW, 0x2000, kW, 0, -1, ""},
      // Without tag parsing only the alpha, texture and environment rules run.
      {"DF", 0x2000, true, kW & ~0x80000000u, 0x00202000, kW & ~0x80000000u, 0, -1, ""},
      {"", 0, true, kW, kDefault, kW, 0, -1, ""},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.name);
    ScMaterials *m = Material(c.name, c.textured, c.attrflags);
    ptest::Capture capture;
    VKParseMaterialTags(m, c.writeFlags);
    EXPECT_EQ(m->attrflags, c.wantFlags) << std::hex << m->attrflags;
    EXPECT_EQ(m->outputFlags, c.wantOut) << std::hex << m->outputFlags;
    EXPECT_EQ(m->evalFlags, c.wantEval);
    EXPECT_EQ(m->bank, c.wantBank);
    EXPECT_EQ(capture.Text(), c.wantWarnings);
  }
}

TEST(Tags, AlphaDiffuseAndUnnamedMaterials) {
  ScMaterials *m = Material("x", false);
  m->diffuse[3] = 0.99f;  // trunc(252.45) is not 255: use alpha
  VKParseMaterialTags(m, kW & ~0x80000000u);
  EXPECT_EQ(m->attrflags, kDefault | 0x00100000);

  ScMaterials *t = Material("Plain", true);
  t->diffuse[0] = t->diffuse[1] = t->diffuse[2] = 0.5f;
  VKParseMaterialTags(t, kW | 0x40000);  // -nodiffuse: textured materials drawn white
  for (float d : t->diffuse) EXPECT_EQ(d, 1.0f);

  ScMaterials *unnamed = Material(nullptr, false, 0x1234);
  unnamed->diffuse[3] = 0.0f;  // ignored without a name
  VKParseMaterialTags(unnamed, kW);
  EXPECT_EQ(unnamed->attrflags, 0x1234u);
  EXPECT_EQ(unnamed->outputFlags, kW);
}

TEST(Tags, WriteFlagsFromTheCommandLineWords) {
  const struct {
    uint32_t model, output, chunk;
    int32_t kind;
    uint32_t want;
  } cases[] = {
      {0x80000000, 0x38000000, 0x40000001, 7, 0xC0C00000},  // defaults
      {0x80000002, 0x38000000, 0x40000001, 1, 0x80800000},  // -notexture, kind 1
      {0x80000000, 0x38000000, 0x40000001, 1, 0xC0D80000},  // kind 1
      {0x80001000, 0, 0, 7, 0x40C00000},                    // -noflags
      {0x00800000, 0x80000000, 0, 7, 0xC0C48000},           // -noenv, -nodiffuse
      {0x60000000, 0x6003, 0, 7, 0xF6C0000C},               // -polynormal -forcetex -pvn -pvc -bindebug
      {0, 0x1001, 0, 7, 0xC0C00084},                        // -texn3 -bin
      {0, 0, 0x10000, 7, 0xC0C00400},                       // -delmat
      {0, 0, 0x18000, 7, 0xC0C00200},                       // -delmat with -dma
      {0, 0, 0x0800F100, 7, 0xC0C25B00},                    // -vctouf -pctouf -uvh -dma -euv -delambi
  };
  for (const auto &c : cases)
    EXPECT_EQ(VKMakeWriteFlags(c.model, c.output, c.chunk, c.kind), c.want) << std::hex << c.model << " " << c.output;
}

TEST(Tags, ApplyingTagsRunsTheEmissionNormalPassesTheyAskFor) {
  for (const auto &[name, wantInfo] : {std::pair{"Ee", "[MODEL EMISSION NORMAL]"},
                                       std::pair{"En", "[MATERIAL EMISSION NORMAL]"},
                                       std::pair{"E", ""}}) {
    SCOPED_TRACE(name);
    ptest::FreshAllocator();
    ptest::SceneBuilder builder;
    ScModel *model = builder.Add("lamp", nullptr);
    // The local box centre stays at the origin: vertex 0 turns to (1, 0, 0).
    ScMesh *mesh = ptest::SceneBuilder::GiveMesh(model, {{2, 0, 0}, {0, 2, 0}, {0, 0, 2}}, {{0, 1, 2}});
    model->materials = Material(name, true);
    model->nbMaterial = 1;
    ScNode node{};
    node.model = node.node = model;
    ScNode *slist[1] = {&node};
    ScNodeList list{};
    list.slist = slist;
    list.node_n = 1;
    ptest::Capture capture;
    VKApplyMaterialTags(&list, kW);
    EXPECT_EQ(capture.Text(), wantInfo);
    EXPECT_EQ(mesh->vertices[0].normal[0], *wantInfo ? 1.0f : 0.0f);
  }
  ScFreeAll();
}

}  // namespace
