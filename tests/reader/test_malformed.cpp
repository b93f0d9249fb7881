// Invalid input: every class is refused with a message naming the file (and
// the line where there is one) and no scene; warnings for names not found.
#include <string>
#include <vector>

#include "reader_test_util.h"
#include "support/vka_gen.h"

namespace {

using vkreadertest::ReaderTest;
using vkreadertest::ReadText;

// A small valid file; the cases below edit it.
constexpr const char *kBase = R"(TEXTURE_START
	TEXN( "t.bmp" ),
END
MATERIAL    matlist_t_a[]
START
MATSTART
Diffuse   ( 255, 1, 2, 3 ),
Specular  ( 255, 1, 2, 3 ),
Exponent  ( 1.0F ),
AttrTexId ( 0x0, 0 ),
AttrFlags ( 0x94202400 ),
MATEND
END
POLYGON     pg_t_a[]
START
    0, 1, 2,
    2, 1, 3,
END
VERTUV      uv_t_a[]
START
	UV( 0, 0 ),
	UV( 1, 1 ),
	UV( 2, 2 ),
	UV( 3, 3 ),
	UV( 4, 4 ),
	UV( 5, 5 ),
END
MESHSET     meshset_t_a[]
START
MESHSTART
TypeMatId ( 0x0000, 0 ),
MeshNum     2,
Meshes      pg_t_a,
PolyAttrs   NULL,
PolyNormal  NULL,
VertColor   NULL,
VertUV      uv_t_a,
MESHEND
END
POINT       point_t_a[]
START
	VERT( 0.0F, 0.0F, 0.0F ),
	VERT( 1.0F, 0.0F, 0.0F ),
	VERT( 0.0F, 1.0F, 0.0F ),
	VERT( 1.0F, 1.0F, 0.0F ),
END
MODEL       model_t_a[]
START
Points      point_t_a,
Normal      NULL,
PointNum    4,
Meshset     meshset_t_a,
Materials   matlist_t_a,
MeshsetNum  1,
MatNum      1,
Center      0.5F, 0.5F, 0.0F,
Radius      1.0F,
END
OBJECT      object_t_b[]
START
EvalFlags ( 0x0 ),
Model       model_t_a,
OPosition  ( 0.0F, 0.0F, 0.0F ),
OAngle     ( 0.0F, 0.0F, 0.0F ),
OScale     ( 1.0F, 1.0F, 1.0F ),
Child       NULL,
Sibling     NULL,
END
OBJECT      object_t_a[]
START
EvalFlags ( 0x0 ),
Model       model_t_a,
OPosition  ( 0.0F, 0.0F, 0.0F ),
OAngle     ( 0.0F, 0.0F, 0.0F ),
OScale     ( 1.0F, 1.0F, 1.0F ),
Child       object_t_b,
Sibling     NULL,
END
)";

// Line of the first occurrence of `text` in kBase, counting from 1.
int LineOf(const std::string &file, const std::string &text) {
  size_t at = file.find(text);
  EXPECT_NE(at, std::string::npos) << text;
  int line = 1;
  for (size_t i = 0; i < at; i++) line += file[i] == '\n';
  return line;
}

std::string Replace(std::string text, const std::string &from, const std::string &to) {
  size_t at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  if (at != std::string::npos) text.replace(at, from.size(), to);
  return text;
}

TEST_F(ReaderTest, BaseFileReads) {
  auto [scene, err] = ReadText(dir_, kBase, "t.vka");
  ASSERT_NE(scene, nullptr) << err;
  EXPECT_EQ(err, "");
  ASSERT_NE(scene->root->child, nullptr);
  EXPECT_STREQ(scene->root->child->name, "b");
}

TEST_F(ReaderTest, InvalidFilesAreRefused) {
  const std::string base = kBase;
  const std::string longName(256, 'n');
  struct Case {
    const char *what;
    std::string text;
    std::string message;  // expected on stderr after "Error : <file> : "
  } cases[] = {
      {"no OBJECT block", base.substr(0, base.find("OBJECT      object_t_b")), "no OBJECT block"},
      {"child leads back to the object itself",
       Replace(base, "Child       object_t_b", "Child       object_t_a"),
       "Line " + std::to_string(LineOf(base, "Child       object_t_b")) + " : Child object_t_a leads back"},
      {"child leads back to an ancestor", Replace(base, "Child       NULL", "Child       object_t_a"),
       "Line " + std::to_string(LineOf(base, "Child       NULL")) + " : Child object_t_a leads back"},
      {"sibling leads back to the parent", Replace(base, "Sibling     NULL", "Sibling     object_t_a"),
       "Sibling object_t_a leads back"},
      {"sibling of the root leads back to the root",
       Replace(base, "Child       object_t_b,\nSibling     NULL", "Child       NULL,\nSibling     object_t_a"),
       "Sibling object_t_a leads back"},
      {"material index not below MatNum", Replace(base, "TypeMatId ( 0x0000, 0 )", "TypeMatId ( 0x0000, 1 )"),
       "Line " + std::to_string(LineOf(base, "TypeMatId")) + " : material index 1 is not below MatNum 1"},
      {"point index not below PointNum", Replace(base, "    2, 1, 3,", "    2, 1, 4,"),
       "Line " + std::to_string(LineOf(base, "POLYGON")) + " : POLYGON pg_t_a holds the point index 4"},
      {"texture id not below the entries", Replace(base, "AttrTexId ( 0x0, 0 )", "AttrTexId ( 0x0, 1 )"),
       "Line " + std::to_string(LineOf(base, "AttrTexId")) + " : texture id 1 is not below the 1 texture entries"},
      {"empty Points reference", Replace(base, "Points      point_t_a", "Points      NULL"),
       "Line " + std::to_string(LineOf(base, "Points ")) + " : MODEL model_t_a has 4 points but no POINT list"},
      {"empty Meshset reference", Replace(base, "Meshset     meshset_t_a", "Meshset     NULL"),
       "has 1 mesh sets but no MESHSET list"},
      {"empty Materials reference", Replace(base, "Materials   matlist_t_a", "Materials   NULL"),
       "has 1 materials but no MATERIAL list"},
      {"polygons without materials",
       Replace(Replace(base, "Materials   matlist_t_a", "Materials   NULL"), "MatNum      1", "MatNum      0"),
       "material index 0 is not below MatNum 0"},
      {"empty Meshes reference", Replace(base, "Meshes      pg_t_a", "Meshes      NULL"),
       "mesh set with 2 meshes but no POLYGON list"},
      {"triangles past the end of the list", Replace(base, "MeshNum     2", "MeshNum     3"),
       "POLYGON pg_t_a: the counts of 3 meshes run past the end of its 6 values"},
      {"strip count past the end of the list",
       Replace(Replace(Replace(base, "TypeMatId ( 0x0000, 0 )", "TypeMatId ( 0xc000, 0 )"), "MeshNum     2",
                       "MeshNum     1"),
               "    0, 1, 2,", "    Strip(0x8000, 6), 1, 2,"),
       "the counts of 1 meshes run past the end"},
      {"polygon count word past the end",
       Replace(Replace(base, "TypeMatId ( 0x0000, 0 )", "TypeMatId ( 0x8000, 0 )"), "    0, 1, 2,",
               "    65535, 1, 2,"),
       "run past the end"},
      {"PointNum above the points of the block", Replace(base, "PointNum    4", "PointNum    5"),
       "POINT point_t_a holds 4 points, MODEL model_t_a needs PointNum 5"},
      {"negative PointNum", Replace(base, "PointNum    4", "PointNum    -4"), "negative PointNum -4"},
      {"UV list too short", Replace(base, "	UV( 5, 5 ),\n", ""), "VERTUV uv_t_a holds 5 UV pairs, POLYGON pg_t_a needs 6"},
      {"MeshsetNum past the mesh sets", Replace(base, "MeshsetNum  1", "MeshsetNum  2"),
       "MeshsetNum 2 runs past the last mesh set"},
      {"MatNum past the materials", Replace(base, "MatNum      1", "MatNum      2"),
       "MatNum 2 runs past the last material"},
      {"block name of 256 characters",
       Replace(base, "POINT       point_t_a[]", "POINT       " + longName + "[]"),
       "Line " + std::to_string(LineOf(base, "POINT ")) + " : name of 256 characters (at most 255)"},
      {"texture file name of 256 characters", Replace(base, "t.bmp", longName), "name of 256 characters"},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.what);
    auto [scene, err] = ReadText(dir_, c.text, "t.vka");
    EXPECT_EQ(scene, nullptr);
    EXPECT_NE(err.find("Error : " + dir_.file("t.vka") + " : "), std::string::npos) << err;
    EXPECT_NE(err.find(c.message), std::string::npos) << "stderr: " << err << "\nexpected: " << c.message;
    EXPECT_EQ(vktest::ReadFile(dir_.file("t.vka")), c.text);  // the input is untouched
  }
}

TEST_F(ReaderTest, BadArgCount) {
  const std::string base = kBase;
  const int pointLine = LineOf(base, "	VERT( 1.0F, 0.0F, 0.0F ),");
  struct Case {
    const char *what;
    std::string text;
    int line;
  } cases[] = {
      {"POINT line with three tokens", Replace(base, "	VERT( 1.0F, 0.0F, 0.0F ),", "	VERT( 1.0F, 0.0F ),"), pointLine},
      {"blank line in a POINT block", Replace(base, "	VERT( 1.0F, 0.0F, 0.0F ),", ""), pointLine},
      {"MATERIAL without a name", Replace(base, "MATERIAL    matlist_t_a[]", "MATERIAL"), LineOf(base, "MATERIAL")},
      {"Diffuse with three numbers", Replace(base, "Diffuse   ( 255, 1, 2, 3 )", "Diffuse   ( 255, 1, 2 )"),
       LineOf(base, "Diffuse")},
      {"Center with two numbers", Replace(base, "Center      0.5F, 0.5F, 0.0F", "Center      0.5F, 0.5F"),
       LineOf(base, "Center")},
      {"OAngle with two numbers", Replace(base, "OAngle     ( 0.0F, 0.0F, 0.0F ),\nOScale     ( 1.0F, 1.0F, 1.0F ),\nChild       NULL", "OAngle     ( 0.0F, 0.0F ),\nOScale     ( 1.0F, 1.0F, 1.0F ),\nChild       NULL"),
       LineOf(base, "OAngle")},
      {"PTEXN without bank", Replace(base, "	TEXN( \"t.bmp\" ),", "	PTEXN( \"t.bmp\", 1 ),"), 2},
      {"Strip without count", Replace(base, "    0, 1, 2,", "    Strip(0x0)"), LineOf(base, "    0, 1, 2,")},
      {"a missing MODEL line shifts the rest", Replace(base, "MeshsetNum  1,\n", ""), LineOf(base, "Center")},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.what);
    auto [scene, err] = ReadText(dir_, c.text, "t.vka");
    EXPECT_EQ(scene, nullptr);
    EXPECT_EQ(err, "Bad arg count : Line " + std::to_string(c.line) + "\n");
  }
}

TEST_F(ReaderTest, MissingFile) {
  const std::string path = dir_.file("absent.vka");
  testing::internal::CaptureStderr();
  EXPECT_EQ(ReadBasicModel(path.c_str()), nullptr);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error : Can't open " + path + "\n");
}

TEST_F(ReaderTest, NamesNotFoundDrawWarnings) {
  std::string text = Replace(kBase, "VertUV      uv_t_a", "VertUV      uv_x");
  text = Replace(text, "PolyNormal  NULL", "PolyNormal  pn_x");
  text = Replace(text, "Normal      NULL", "Normal      normal_x");
  text = Replace(text, "Sibling     NULL", "Sibling     object_t_c");
  auto [scene, err] = ReadText(dir_, text, "t.vka");
  ASSERT_NE(scene, nullptr) << err;
  EXPECT_EQ(err,
            "Warning : Can't chain sibling object_t_c\n"
            "Warning : Can't chain normal normal_x\n"
            "Warning : Can't chain vertuv uv_x\n"
            "Warning : Can't chain normals pn_x\n");
  EXPECT_EQ(scene->root->child->sibling, nullptr);
  EXPECT_FLOAT_EQ(scene->root->mesh->polygons[1].corners[2].u, 0.0f);  // no UVs linked
}

TEST_F(ReaderTest, ChildAfterItsParentIsWarnedButLinked) {
  std::string text = kBase;
  text += "OBJECT      object_t_top[]\nSTART\nEvalFlags ( 0x20 ),\nModel       NULL,\n"
          "OPosition  ( 0.0F, 0.0F, 0.0F ),\nOAngle     ( 0.0F, 0.0F, 0.0F ),\n"
          "OScale     ( 1.0F, 1.0F, 1.0F ),\nChild       object_t_c,\nSibling     NULL,\nEND\n"
          "OBJECT      object_t_c[]\nSTART\nEvalFlags ( 0x0 ),\nModel       NULL,\n"
          "OPosition  ( 0.0F, 0.0F, 0.0F ),\nOAngle     ( 0.0F, 0.0F, 0.0F ),\n"
          "OScale     ( 1.0F, 1.0F, 1.0F ),\nChild       NULL,\nSibling     object_t_top,\nEND\n";
  // object_t_c is last: it is the root; its sibling object_t_top stands
  // before it (found), object_t_top's child object_t_c stands after it
  // (warned) and leads back to the root: refused.
  auto [scene, err] = ReadText(dir_, text, "t.vka");
  EXPECT_EQ(scene, nullptr);
  EXPECT_NE(err.find("Warning : Can't chain child object_t_c\n"), std::string::npos) << err;
  EXPECT_NE(err.find("Child object_t_c leads back"), std::string::npos) << err;

  // Without the way back the late child is linked after its warning.
  text = Replace(text, "Sibling     object_t_top,", "Sibling     NULL,");
  text += "OBJECT      object_t_root[]\nSTART\nEvalFlags ( 0x0 ),\nModel       NULL,\n"
          "OPosition  ( 0.0F, 0.0F, 0.0F ),\nOAngle     ( 0.0F, 0.0F, 0.0F ),\n"
          "OScale     ( 1.0F, 1.0F, 1.0F ),\nChild       object_t_top,\nSibling     NULL,\nEND\n";
  auto [scene2, err2] = ReadText(dir_, text, "t.vka");
  ASSERT_NE(scene2, nullptr) << err2;
  EXPECT_EQ(err2, "Warning : Can't chain child object_t_c\n");
  EXPECT_EQ(scene2->kind, 7);
  ScModel *top = scene2->root->child;
  ASSERT_NE(top, nullptr);
  EXPECT_STREQ(top->name, "top");
  ASSERT_NE(top->child, nullptr);
  EXPECT_STREQ(top->child->name, "c");
  EXPECT_EQ(top->child->parent, top);
}

TEST_F(ReaderTest, HierarchyDepthLimit) {
  vktest::VkaGenParams p;
  p.baseName = "deep";
  p.childrenPerNode = 1;  // a chain: every object the only child of the one before
  p.gridWidth = p.gridHeight = 1;
  p.objects = 128;
  auto [scene, err] = ReadText(dir_, vktest::GenerateVka(p), "deep.vka");
  ASSERT_NE(scene, nullptr) << err;
  int depth = 0;
  for (ScModel *n = scene->root; n; n = n->child) depth++;
  EXPECT_EQ(depth, 128);
  p.objects = 129;
  auto [refused, err2] = ReadText(dir_, vktest::GenerateVka(p), "deep.vka");
  EXPECT_EQ(refused, nullptr);
  EXPECT_NE(err2.find("the object hierarchy is deeper than 128 levels"), std::string::npos) << err2;
}

// Random bytes and cut-off files must never crash or read out of bounds; the
// sanitizer build checks the latter.
TEST_F(ReaderTest, TruncatedAndGarbledFilesNeverCrash) {
  vktest::VkaGenParams p;
  p.baseName = "g";
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
    if (round % 2) {
      mutated = text;
      for (int k = 0; k < 8; k++) {
        const char pool[] = "0123456789 ,\n-xSTARTEND{}";
        mutated[next() % mutated.size()] = pool[next() % (sizeof pool - 1)];
      }
    }
    auto [scene, err] = ReadText(dir_, mutated, "g.vka");
    if (!scene) {
      EXPECT_FALSE(err.empty()) << "refused without a message";
    }
    ScFreeAll();
    ScMallocTabInit();
  }
}

}  // namespace
