// The bundled sample and small hand-written files, against scenes worked out
// by hand (u = U / 255, v = 1 - V / 255, colours as the file's bytes).
#include <filesystem>
#include <string>

#include "reader_test_util.h"

namespace {

using namespace vkreadertest;

TEST_F(ReaderTest, BundledSample) {
  auto [scene, err] = Read(vktest::ReadFile(vktest::SourceDir() + "/examples/sample.vka"), "sample.vka");
  ASSERT_NE(scene, nullptr) << err;
  EXPECT_EQ(err, "");
  // Wheels: strips 5 and 0x8004 (reversed), then one four-index polygon entry,
  // without normals; V 128 gives v = 0.498039.
  auto wheel = [](int material, int texture) {
    const std::string h = "0.498039", m = "   m0 n0,0,0 d64,64,64,255 ";
    return "   mat#" + std::to_string(material) + " _matlist_sample_wheel 94202400 p6 d64,64,64,255 "
           "s255,255,255,255 a0,0,0,0 tex#" + std::to_string(texture) + " stripes.tga\n"
           "   mesh v5 p7 a7 t7 q0\n   pos 0,0,0 0.5,0,0 0,0.5,0 0.5,0.5,0 0,1,0\n"
           "   nrm 0,0,0 0,0,0 0,0,0 0,0,0 0,0,0\n" +
           m + "0:0,1 1:1,1 2:0," + h + "\n" + m + "2:0," + h + " 1:1,1 3:1," + h + "\n" +
           m + "2:0," + h + " 3:1," + h + " 4:0,0\n" + m + "3:1," + h + " 4:0,0 2:0," + h + "\n" +
           m + "3:1," + h + " 2:0," + h + " 1:1,1\n" + m + "0:0,0 1:0,0 2:0,0\n" + m + "2:0,0 1:0,0 3:0,0\n";
  };
  // The first OBJECT block (antenna) lacks EvalFlags 0x20: kind 7. The body's
  // 0x40 gives the "Es" prefix; its quadrangle 0, 1, 4, 5 goes round as
  // 0, 1, 5, 4.
  EXPECT_EQ(Describe(scene),
            "body kind7 models4\n"
            "body#0 pos0,0.5,0 ang0.785398,0,0 scl2,2,2\n"
            " mat#0 Es_matlist_sample_body 94202400 p256 d255,128,0,255 s51,102,153,255 a0,0,0,0 tex#0 checker.bmp\n"
            " mat#1 Es_NULL 94002400 p0 d0,0,255,128 s0,0,0,255 a0,0,0,0\n"
            " mesh v6 p3 a3 t2 q1\n"
            " pos 0,0,0 1,0,0 0,1,0 1,1,0 0,0,1 1,0,1\n"
            " nrm 0,0,-1 0,0,-1 0,0,-1 0,0,-1 0,-1,0 0,-1,0\n"
            " m0 n0,0,-1 d255,128,0,255 0:0,1 1:1,1 2:0,0\n"
            " m0 n0,0,-1 d255,128,0,255 2:0,0 1:1,1 3:1,0\n"
            " m1 n0,0,0 d0,0,255,128 0:0,0 1:0,0 5:0,0 4:0,0\n"
            "  wheel_l#1 ang0,1.5708,0\n" + wheel(2, 1) +
            "  wheel_r#2 pos1,0,0 ang0,-1.5708,0\n" + wheel(3, 2) +
            "  antenna#3 pos0.5,1,1\n");
  EXPECT_NE(scene->root->child->mesh, scene->root->child->sibling->mesh);  // one model, converted twice
}

// Every texture entry form, tag prefixes, the specular power table, and the
// default-material order: a first block named defmat... goes to the last
// slot, the later materials to slots 0, 1, ... (MatNum 4 reaches it).
const std::string kMaterials =
    "TEXTURE_START\nTEXTURENAME textures_m[]\nSTART\n\tTEXN( \"plain.bmp\" ),\n\tTEXN3( \"three.bmp\", 0x0, 0 ),\n"
    "\tPTEXN( \"pal.bmp\", 1, 5 ),\nEND\nTEXTURE_END\n"
    "MATERIAL defmat_m[]\nSTART\n" + Mat("255, 191, 191, 191", "255, 255, 255, 255", "6.0F", "0x0, 0", "0x94002400") +
    "END\nMATERIAL DEn_matlist_m_a[]\nSTART\n" + Mat("10, 20, 30, 40", "1, 2, 3, 4", "5.5F", "0x0, 2", "0x80200000") +
    Mat("255, 0, 0, 0", "255, 0, 0, 0", "16.0F", "0xc0000000, 1", "0x00202400") +
    Mat("255, 0, 0, 0", "255, 0, 0, 0", "17.0F", "0x0, 0", "0x00200000") + "END\n" +
    Model("model_m_a", "NULL", 0, "NULL", "DEn_matlist_m_a", 4) + Model("model_m_d", "NULL", 0, "NULL", "defmat_m", 1) +
    Object("object_m_d", "model_m_d", "NULL", "NULL", "0xd8") + Object("object_m_a", "model_m_a", "object_m_d", "NULL", "0xe0");

TEST_F(ReaderTest, MaterialsTexturesAndDefaultOrder) {
  auto [scene, err] = Read(kMaterials, "m.vka");
  ASSERT_NE(scene, nullptr) << err;
  EXPECT_EQ(err, "");
  // Attribute flags with bits 26-31 clear gain 0x94000000; texture id
  // 0xc0000000 | 1 loses bits 30 and 31; exponents 5.5 and 17 are not in
  // the table. A model without points or polygons still has a mesh.
  EXPECT_EQ(Describe(scene),
            "a kind7 models2\n"
            "a#0\n"
            " mat#0 EsSs_DEn_matlist_m_a 80200000 p0 d20,30,40,10 s2,3,4,1 a0,0,0,0 tex#0 pal.bmp bank5\n"
            " mat#1 EsSs_NULL 94202400 p256 d0,0,0,255 s0,0,0,255 a0,0,0,0 tex#1 three.bmp\n"
            " mat#2 EsSs_NULL 94200000 p0 d0,0,0,255 s0,0,0,255 a0,0,0,0 tex#2 plain.bmp\n"
            " mat#3 EsSs_defmat_m 94002400 p8 d191,191,191,255 s255,255,255,255 a0,0,0,0\n"
            " mesh v0 p0 a0 t0 q0\n"
            "  d#1\n"
            "   mat#4 EsSsHiBk_defmat_m 94002400 p8 d191,191,191,255 s255,255,255,255 a0,0,0,0\n"
            "   mesh v0 p0 a0 t0 q0\n");
  // Without texture entries the textured bit stays but no texture is attached.
  std::string text = kMaterials;
  text.erase(0, text.find("MATERIAL"));
  auto [untextured, err2] = Read(text, "m.vka");
  ASSERT_NE(untextured, nullptr) << err2;
  EXPECT_EQ(untextured->root->materials->attrflags, 0x80200000u);
  EXPECT_EQ(untextured->root->materials->textures, nullptr);
}

// Node names drop as many characters as "object_" + base name + "_" has,
// whatever they are ('.' becomes '_'); nothing left gives "gonbe0". Two
// objects naming the same child get two nodes; ids follow creation, depth
// first.
TEST_F(ReaderTest, NodeNamesAndSharedChildren) {
  const std::string text = Object("object_sample_x", "NULL", "NULL", "NULL") +
                           Object("object_sample_", "NULL", "NULL", "object_sample_x") +
                           Object("object_sample_arm.L.001", "NULL", "object_sample_x", "object_sample_x") +
                           Object("object_sample_top", "NULL", "object_sample_arm.L.001", "NULL");
  struct Case {
    std::string file, root, arm, x;
  } cases[] = {
      {"sample.vka", "top", "arm_L_001", "x"},
      {"dir.v2/sample.1.vka", "top", "arm_L_001", "x"},
      {"sub\\sample.vka", "top", "arm_L_001", "x"},
      {"samp.vka", "e_top", "e_arm_L_001", "e_x"},
      {"a_much_longer_base.vka", "gonbe0", "gonbe0", "gonbe0"},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.file);
    std::filesystem::create_directories(std::filesystem::path(dir_.file(c.file)).parent_path());
    auto [scene, err] = Read(text, c.file);
    ASSERT_NE(scene, nullptr) << err;
    EXPECT_EQ(err, "");
    EXPECT_EQ(Describe(scene), c.root + " kind7 models4\n" + c.root + "#0\n  " + c.arm + "#1\n    " + c.x + "#2\n  " +
                                   c.x + "#3\n");
  }
  auto [scene, err] = Read(Object("object_sample_", "NULL", "NULL", "NULL"), "sample.vka");
  ASSERT_NE(scene, nullptr) << err;
  EXPECT_EQ(Describe(scene), "gonbe0 kind7 models1\ngonbe0#0\n");
}

}  // namespace
