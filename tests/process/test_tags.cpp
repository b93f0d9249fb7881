// Material name tags, the write-info flag word, and the emission normal
// passes the tags ask for.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "process/tags.h"
#include "process_util.h"

namespace {

constexpr uint32_t kW = 0xC0C00000;  // write-info word of a default run
constexpr uint32_t kNoTags = kW & ~0x80000000u, kNoTex = kW & ~0x40000000u, kDefault = kDefaultAttrFlags;

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
    const char *name;
    uint32_t attrflags;
    bool textured;
    uint32_t wantFlags, wantOut, writeFlags = kW, wantEval = 0;
    int wantBank = -1;
    const char *wantWarnings = "";
    float alpha = 1.0f, wantRed = 0.5f;
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
      {"D123", 0x2000, false, 0x802000, kW},
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
      {"Material", 0x2000, false, 0x2000, kW},
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

TEST(Tags, WriteFlagsFromTheCommandLineWords) {
  const struct { uint32_t model, output, chunk; int32_t kind; uint32_t want; } cases[] = {
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
  // A square with its centre (1, 1, 0) as point 4; polygons 1 and 2 use
  // material 1. The material pass turns the normals of material 1's points
  // away from the centre (which warns and keeps its own); the model pass
  // turns every point's.
  const float r = 1.0f / std::sqrt(2.0f);
  const struct { const char *name, *printed; ptest::Vec3 normal0, normal1; int useCount2; } cases[] = {
      {"En", "[MATERIAL EMISSION NORMAL]WARNING: Floating division by zero [ ScUnitVector ]\n", {0, 0, 1}, {r, -r, 0}, 2},
      {"Ee", "[MODEL EMISSION NORMAL]WARNING: Floating division by zero [ ScUnitVector ]\n", {-r, -r, 0}, {r, -r, 0}, 0},
      {"E", "", {0, 0, 1}, {0, 0, 1}, 0},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.name);
    ptest::FreshAllocator();
    ScModel *model = ScModelAlloc("lamp");
    ScMesh *mesh = ptest::GiveMesh(model, {{0, 0, 0}, {2, 0, 0}, {2, 2, 0}, {0, 2, 0}, {1, 1, 0}},
                                   {{0, 1, 4}, {1, 2, 4}, {2, 3, 4}});
    mesh->polygons[1].materialId = mesh->polygons[2].materialId = 1;
    model->materials = Material("x", true);
    model->materials->next = Material(c.name, true);
    model->nbMaterial = 2;
    ptest::HandList hand({model});
    hand.nodes[0].bbox.local.average[0] = hand.nodes[0].bbox.local.average[1] = 1;
    EXPECT_EQ(ptest::Printed([&] { VKApplyMaterialTags(&hand.list, kW); }), c.printed);
    for (int k = 0; k < 3; k++) {
      EXPECT_NEAR(mesh->vertices[0].normal[k], c.normal0[k], 1e-6);
      EXPECT_NEAR(mesh->vertices[1].normal[k], c.normal1[k], 1e-6);
      EXPECT_EQ(mesh->vertices[4].normal[k], k == 2 ? 1.0f : 0.0f);
    }
    EXPECT_EQ(mesh->vertices[2].useCount, c.useCount2);
  }
  ScFreeAll();
}

}  // namespace
