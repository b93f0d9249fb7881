// Invalid input: every class is refused with a message naming the file (and
// the line where there is one) and no scene; warnings for names not found.
#include <string>
#include <vector>

#include "reader_test_util.h"
#include "support/vka_gen.h"

namespace {

using namespace vkreadertest;

// A small valid file the cases below edit: object_t_o0 (written last, the
// root) with its child object_t_o1, each a model of two triangles, one
// textured material and one texture entry; the first of each line is o1's.
std::string Base() {
  vktest::VkaGenParams p;
  p.baseName = "t";
  p.objects = 2;
  p.childrenPerNode = 1;
  p.gridWidth = p.gridHeight = 1;
  p.textures = 1;
  p.normals = false;
  return vktest::GenerateVka(p);
}

// "Line <n> : " for the first line holding `text`, counting from 1.
std::string LineOf(const std::string &file, const std::string &text) {
  const size_t at = file.find(text);
  EXPECT_NE(at, std::string::npos) << text;
  int line = 1;
  for (size_t i = 0; i < at && at != std::string::npos; i++) line += file[i] == '\n';
  return "Line " + std::to_string(line) + " : ";
}

TEST_F(ReaderTest, InvalidFilesAreRefused) {
  const std::string base = Base(), longName(256, 'n');
  auto [scene, err] = Read(base);
  ASSERT_NE(scene, nullptr) << err;
  ASSERT_EQ(err, "");
  const std::string child = "Child       object_t_o1", noChild = "Child       NULL", noSibling = "Sibling     NULL";
  const std::string typeMat = "TypeMatId ( 0x0000, 0 )", meshNum = "MeshNum     2", matNum = "MatNum      1";
  const std::string materials = "Materials   matlist_t_o1", firstTriangle = "    0, 1, 2,";
  struct Case {
    const char *what;
    std::string text;
    std::string message;  // expected on stderr after "Error : <file> : "
  } cases[] = {
      {"no OBJECT block", base.substr(0, base.find("OBJECT")), "no OBJECT block"},
      {"child leads back to the object itself", Replace(base, child, "Child object_t_o0"),
       LineOf(base, child) + "Child object_t_o0 leads back"},
      {"child leads back to an ancestor", Replace(base, noChild, "Child object_t_o0"),
       LineOf(base, noChild) + "Child object_t_o0 leads back"},
      {"sibling leads back to the parent", Replace(base, noSibling, "Sibling object_t_o0"),
       LineOf(base, noSibling) + "Sibling object_t_o0 leads back"},
      {"sibling of the root leads back to the root",
       Replace(base, child + ",\n" + noSibling, "Child NULL,\nSibling object_t_o0"), "Sibling object_t_o0 leads back"},
      {"material index not below MatNum", Replace(base, typeMat, "TypeMatId ( 0x0000, 1 )"),
       LineOf(base, typeMat) + "material index 1 is not below MatNum 1"},
      {"point index not below PointNum", Replace(base, "    2, 1, 3,", "    2, 1, 4,"),
       LineOf(base, "POLYGON") + "POLYGON pg3_0_t_o1 holds the point index 4"},
      {"texture id not below the entries", Replace(base, "AttrTexId ( 0x0, 0 )", "AttrTexId ( 0x0, 1 )"),
       LineOf(base, "AttrTexId") + "texture id 1 is not below the 1 texture entries"},
      {"empty Points reference", Replace(base, "Points      point_t_o1", "Points NULL"),
       LineOf(base, "Points ") + "MODEL model_t_o1 has 4 points but no POINT list"},
      {"empty Meshset reference", Replace(base, "Meshset     meshset_t_o1", "Meshset NULL"),
       "has 1 mesh sets but no MESHSET list"},
      {"empty Materials reference", Replace(base, materials, "Materials NULL"), "has 1 materials but no MATERIAL list"},
      {"polygons without materials", Replace(Replace(base, materials, "Materials NULL"), matNum, "MatNum 0"),
       "material index 0 is not below MatNum 0"},
      {"empty Meshes reference", Replace(base, "Meshes      pg3_0_t_o1", "Meshes NULL"),
       "mesh set with 2 meshes but no POLYGON list"},
      {"triangles past the end of the list", Replace(base, meshNum, "MeshNum 3"),
       "POLYGON pg3_0_t_o1: the counts of 3 meshes run past the end of its 6 values"},
      {"strip count past the end of the list",
       Replace(Replace(Replace(base, typeMat, "TypeMatId ( 0xc000, 0 )"), meshNum, "MeshNum 1"), firstTriangle,
               "    Strip(0x8000, 6), 1, 2,"),
       "the counts of 1 meshes run past the end"},
      {"polygon count word past the end",
       Replace(Replace(base, typeMat, "TypeMatId ( 0x8000, 0 )"), firstTriangle, "    65535, 1, 2,"), "run past the end"},
      {"PointNum above the points of the block", Replace(base, "PointNum    4", "PointNum 5"),
       "POINT point_t_o1 holds 4 points, MODEL model_t_o1 needs PointNum 5"},
      {"negative PointNum", Replace(base, "PointNum    4", "PointNum -4"), "negative PointNum -4"},
      {"UV list too short", Replace(base, "\tUV( 255, 255 ),\n", ""),
       "VERTUV vuv3_0_t_o1 holds 5 UV pairs, POLYGON pg3_0_t_o1 needs 6"},
      {"MeshsetNum past the mesh sets", Replace(base, "MeshsetNum  1", "MeshsetNum 3"),
       "MeshsetNum 3 runs past the last mesh set"},
      {"MatNum past the materials", Replace(base, matNum, "MatNum 3"), "MatNum 3 runs past the last material"},
      {"block name of 256 characters", Replace(base, "point_t_o1[]", longName + "[]"),
       LineOf(base, "POINT ") + "name of 256 characters (at most 255)"},
      {"texture file name of 256 characters", Replace(base, "tex0.bmp", longName), "name of 256 characters"},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.what);
    auto [scene, err] = Read(c.text);
    EXPECT_EQ(scene, nullptr);
    EXPECT_NE(err.find("Error : " + dir_.file("t.vka") + " : "), std::string::npos) << err;
    EXPECT_NE(err.find(c.message), std::string::npos) << err << "expected: " << c.message;
    EXPECT_EQ(vktest::ReadFile(dir_.file("t.vka")), c.text);  // the input is untouched
  }
  // A missing file and a folder.
  auto [missing, err1] = ReadPath(dir_.file("absent.vka"));
  auto [folder, err2] = ReadPath(dir_.path());
  EXPECT_EQ(missing, nullptr);
  EXPECT_EQ(err1, "Error : Can't open " + dir_.file("absent.vka") + "\n");
  EXPECT_EQ(folder, nullptr);
  EXPECT_NE(err2.find("Error : " + dir_.path()), std::string::npos) << err2;
}

TEST_F(ReaderTest, BadArgCount) {
  const std::string base = Base(), vert = "\tVERT(  1.000000F,  0.000000F,  0.000000F ),";
  const std::string angle = "OAngle     (  0.000000F, 45.000000F,  0.000000F )";
  const std::string diffuse = "Diffuse   ( 255, 200, 100, 50 )", center = "Center       0.500000F,  0.500000F,  0.000000F";
  struct Case {
    const char *what;
    std::string text, line;
  } cases[] = {
      {"POINT line with three tokens", Replace(base, vert, "\tVERT( 1.0F, 0.0F ),"), LineOf(base, vert)},
      {"blank line in a POINT block", Replace(base, vert, ""), LineOf(base, vert)},
      {"MATERIAL without a name", Replace(base, "MATERIAL    matlist_t_o1[]", "MATERIAL"), LineOf(base, "MATERIAL")},
      {"Diffuse with three numbers", Replace(base, diffuse, "Diffuse ( 255, 1, 2 )"), LineOf(base, diffuse)},
      {"Center with two numbers", Replace(base, center, "Center 0.5F, 0.5F"), LineOf(base, center)},
      {"OAngle with two numbers", Replace(base, angle, "OAngle ( 0.0F, 0.0F )"), LineOf(base, angle)},
      {"PTEXN without bank", Replace(base, "\tTEXN( \"tex0.bmp\" )", "\tPTEXN( \"tex0.bmp\", 1 )"), LineOf(base, "\tTEXN(")},
      {"Strip without count", Replace(base, "    0, 1, 2,", "    Strip(0x0)"), LineOf(base, "    0, 1, 2,")},
      {"a missing MODEL line shifts the rest", Replace(base, "MeshsetNum  1,\n", ""), LineOf(base, center)},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.what);
    auto [scene, err] = Read(c.text);
    EXPECT_EQ(scene, nullptr);
    EXPECT_EQ(err, "Bad arg count : " + c.line.substr(0, c.line.size() - 3) + "\n");
  }
}

TEST_F(ReaderTest, NamesNotFoundDrawWarnings) {
  std::string text = Replace(Base(), "VertUV      vuv3_0_t_o1", "VertUV uv_x");
  text = Replace(Replace(text, "PolyNormal  NULL", "PolyNormal pn_x"), "Normal      NULL", "Normal normal_x");
  auto [scene, err] = Read(Replace(text, "Sibling     NULL", "Sibling object_t_c"));
  ASSERT_NE(scene, nullptr) << err;
  EXPECT_EQ(err,
            "Warning : Can't chain sibling object_t_c\nWarning : Can't chain normal normal_x\n"
            "Warning : Can't chain vertuv uv_x\nWarning : Can't chain normals pn_x\n");
  EXPECT_EQ(scene->root->child->sibling, nullptr);
  EXPECT_FLOAT_EQ(scene->root->child->mesh->polygons[1].corners[2].u, 0.0f);  // no UVs linked
}

// A child named after its parent is not found when linking (the search runs
// back from the parent) but still joins the tree, after the warning.
TEST_F(ReaderTest, ChildAfterItsParentIsWarnedButLinked) {
  const std::string late = Object("object_t_top", "NULL", "object_t_c", "NULL", "0x20");
  // object_t_c is last, the root; its sibling object_t_top, before it, leads
  // back to it through its child: refused.
  auto [scene, err] = Read(late + Object("object_t_c", "NULL", "NULL", "object_t_top"));
  EXPECT_EQ(scene, nullptr);
  EXPECT_NE(err.find("Warning : Can't chain child object_t_c\n"), std::string::npos) << err;
  EXPECT_NE(err.find("Child object_t_c leads back"), std::string::npos) << err;
  auto [scene2, err2] = Read(late + Object("object_t_c", "NULL", "NULL", "NULL") +
                             Object("object_t_root", "NULL", "object_t_top", "NULL"));
  ASSERT_NE(scene2, nullptr) << err2;
  EXPECT_EQ(err2, "Warning : Can't chain child object_t_c\n");
  EXPECT_EQ(Describe(scene2), "root kind8 models3\nroot#0\n  top#1\n    c#2\n");
}

TEST_F(ReaderTest, HierarchyDepthLimit) {
  vktest::VkaGenParams p;
  p.childrenPerNode = 1;  // a chain: every object the only child of the one before
  p.gridWidth = p.gridHeight = 1;
  p.objects = 128;
  auto [scene, err] = Read(vktest::GenerateVka(p), "gen.vka");
  ASSERT_NE(scene, nullptr) << err;
  int depth = 0;
  for (ScModel *n = scene->root; n; n = n->child) depth++;
  EXPECT_EQ(depth, 128);
  p.objects = 129;
  auto [refused, err2] = Read(vktest::GenerateVka(p), "gen.vka");
  EXPECT_EQ(refused, nullptr);
  EXPECT_NE(err2.find("the object hierarchy is deeper than 128 levels"), std::string::npos) << err2;
}

// Cut-off and garbled files never crash or read out of bounds (the sanitizer
// build checks the latter); a refusal always says why.
TEST_F(ReaderTest, TruncatedAndGarbledFilesNeverCrash) {
  vktest::VkaGenParams p;
  p.objects = 3;
  p.gridWidth = p.gridHeight = 2;
  p.meshKinds = {vktest::VkaMesh::kStrips, vktest::VkaMesh::kPolygons, vktest::VkaMesh::kQuads};
  p.polyNormals = true;
  p.textures = 1;
  const std::string text = vktest::GenerateVka(p);
  uint32_t seed = 12345;
  auto next = [&seed]() { return seed = seed * 1664525u + 1013904223u; };
  for (int round = 0; round < 60; round++) {
    std::string mutated = text.substr(0, next() % text.size());
    for (int k = 0; round % 2 && k < 8; k++) {
      if (k == 0) mutated = text;
      const char pool[] = "0123456789 ,\n-xSTARTEND{}";
      mutated[next() % mutated.size()] = pool[next() % (sizeof pool - 1)];
    }
    auto [scene, err] = Read(mutated, "g.vka");
    EXPECT_TRUE(scene || !err.empty()) << "refused without a message";
    Reset();
  }
}

}  // namespace
