// End-to-end runs on values a user gets wrong: -gscale values that are not a
// finite number above 0, and -G on meshes without normals, whose zero
// vectors are counted once per object.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/test_support.h"
#include "support/vka_gen.h"

// The cases name only the generator settings they change.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

namespace {

using namespace vktest;

// Converts a copy of `model` in a fresh folder; returns what the run printed
// and wrote.
struct Converted {
  RunResult run;
  std::string file;
};
Converted Convert(const std::string &model, const std::vector<std::string> &options) {
  ScratchDir dir;
  EXPECT_TRUE(WriteFile(dir.file("g.vka"), model));
  std::vector<std::string> args = {"g.vka"};
  args.insert(args.end(), options.begin(), options.end());
  Converted c{RunVkconv(args, dir.path()), ""};
  c.file = ReadFile(dir.file("g.vka"));
  return c;
}

TEST(ValueRuns, GlobalScaleTakesFiniteNumbersAboveZero) {
  const std::string model = GenerateVka({.baseName = "g", .objects = 2, .gridWidth = 2, .gridHeight = 2});
  const Converted plain = Convert(model, {}), milli = Convert(model, {"-gs", "0.001"});
  ASSERT_NE(plain.file, milli.file);
  struct Case {
    const char *value;
    const Converted *same;  // the run whose file this one's equals
  };
  const Case cases[] = {{"abc", &plain}, {"nan", &plain}, {"inf", &plain}, {"-2", &plain},
                        {"0", &plain},   {"1e-50", &plain}, {"1e-3", &milli}};
  for (const Case &c : cases) {
    SCOPED_TRACE(c.value);
    const Converted run = Convert(model, {"-gs", c.value});
    EXPECT_EQ(run.file, c.same->file);
    const std::string warning = "\n##### Warning : Bad global scale " + std::string(c.value) +
                                " (a finite number above 0 is needed); 1.0 is used\n";
    EXPECT_EQ(run.run.err, (c.same == &plain ? warning : "") + c.same->run.err);
  }
}

TEST(ValueRuns, ZeroNormalsUnderGlobalFreezeWarnOncePerObject) {
  // Three objects of 5 x 4 points and 32 triangles without vertex or polygon
  // normals: 57 zero vectors each, in walk order.
  const std::string model =
      GenerateVka({.baseName = "g", .objects = 3, .gridWidth = 4, .gridHeight = 4, .normals = false});
  const Converted run = Convert(model, {"-G"});
  std::string expected;
  for (const char *object : {"o0", "o1", "o2"})
    expected += "WARNING: Floating division by zero [ ScUnitVector ] : zero-length vectors in " + std::string(object) +
                ": 57\n";
  EXPECT_EQ(run.run.err.substr(0, run.run.err.find("[POLY4N")), "[INPUT BASIC][GLOBAL FREEZE] " + expected);
  // With normals there is nothing to warn about.
  EXPECT_EQ(Convert(GenerateVka({.baseName = "g", .objects = 3, .polyNormals = true}), {"-G"}).run.err.find("WARNING"),
            std::string::npos);
}

}  // namespace
