// Recorded runs of the built program: the bundled sample and generated models
// over every route and option family, and the refusals. Each run's standard
// output, standard error and every file left in its folder are compared byte
// for byte with the transcript recorded under tests/golden/expected/.
//
// VK_GOLDEN_UPDATE=1 in the environment writes the transcripts instead of
// comparing (only for a deliberate change of the program's output).
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "support/test_support.h"
#include "support/vka_gen.h"

// The cases name only the generator settings they change.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

namespace {

using namespace vktest;
namespace fs = std::filesystem;
using enum VkaMesh;

// "name model[setup] args": "%" stands for the input file's name, "@" for a
// name of 249 characters. Models: S the bundled sample, G a generated
// hierarchy, T name tags on every material, P strips, O more points than a
// Chunk model can index, C a Chunk-model head only, M a cut-off file. Setups:
// b a non-empty folder in the backup's place, o an older backup, t a folder in
// the place of the output's temporary, v an older binary output.
const char *const kCases[] = {
    "sample S %", "sample_bin S % -bin", "sample_bindebug S % -bindebug", "sample_septex S % -septex",
    "sample_septex_bin S % -st -bin", "sample_rmb S % -rmb", "sample_rmb_bin S % -R -BIN", "sample_G S % -G",
    "sample_GM S % -GM", "sample_co34 S % -co34", "sample_pvn_VNX S % -pvn -VNX",
    "sample_trs_gscale S % -trs -gscale 0.5", "grid G grid", "grid_bin Gv grid.vka -bin", "grid_bindebug G % -BD",
    "grid_septex G % -septex", "grid_septex_bin G % -septex -bin", "grid_septex_notexture G % -septex -notexture",
    "grid_old_backup Go %", "grid_B G % -B", "grid_basic_bin G % -basic -bin", "grid_SH G % -SH",
    "grid_VNSH G % -VNSH", "grid_CV G % -CV", "grid_D8 G % -D8", "grid_UF G % -UF", "grid_NF G % -NF",
    "grid_S5 G % -S5", "grid_S4 G % -S4", "grid_IN G % -IN", "grid_VND8 G % -VN_D8", "grid_VNUF G % -VNUF",
    "grid_VNNF G % -VNNF", "grid_VNS5 G % -VNS5", "grid_VNS4 G % -VNS4", "grid_VNIN G % -VNIN",
    "grid_VNX G % -VNX", "grid_VNXD8 G % -VNXD8", "grid_VNXUF G % -VNX_UF", "grid_bin_SH G % -bin -SH",
    "grid_bin_VNSH G % -bin -VNSH", "grid_bin_D8 G % -bin -D8", "grid_bin_UF G % -bin -UF",
    "grid_bin_NF G % -bin -NF", "grid_bin_S5 G % -bin -S5", "grid_bin_S4 G % -bin -S4", "grid_bin_IN G % -bin -IN",
    "grid_bin_VNX G % -bin -VNX", "grid_bin_VNXUF G % -bin -VNXUF", "grid_VCOM_vctouf G % -VCOM -UF -vctouf",
    "grid_co3 G % -co3", "grid_coS G % -coS", "grid_co34 G % -co34", "grid_bin_co3 G % -bin -volume3",
    "grid_bin_coS_pctouf G % -bin -volumeS -pctouf", "strips_co34 P % -co34", "strips_bin_co34 P % -volume34 -bin",
    "grid_pvn G % -pvn", "grid_pvc G % -pvc", "grid_pvn_pvc G % -pvn -pvc", "grid_pvc_D8 G % -pvc -D8",
    "grid_bin_pvn G % -pvn -bin", "grid_bin_pvc G % -pvc -bin", "grid_uvh_euv G % -uvh -euv",
    "grid_delmat G % -delmat", "grid_delmatall G % -dma", "grid_delambi_nodiffuse G % -da -nodiffuse",
    "grid_pctouf G % -pctouf", "grid_notexture G % -nt", "tags T %", "tags_bin T % -bin",
    "tags_noflags T % -noflags", "tags_noenv_forcetex T % -noenv -forcetex -delmat",
    "tags_pvc_uvh T % -pvc -uvh -euv", "strips P %", "strips_bin P % -bin", "grid_G G % -G", "grid_GM G % -GM",
    "grid_GM_bin G % -GM -bin", "grid_rmb G % -rmb", "grid_trr G % -trr",
    "grid_trt_polynormal G % -trt -polynormal", "grid_gscale G % -gscale 2.5", "grid_bin_gscale G % -gs 0.5 -bin",
    "grid_gibase_texn3 G -gibase 7 % -texn3", "grid_strip_options G % -St -4to3",
    "grid_misc_flags G % -Info -IM0 -pvm -rva -nocrop -nvc -noflags", "refuse_chunk_ascii C %",
    "refuse_chunk_bin C % -bin", "refuse_chunk_basic C % -B", "refuse_missing G absent.vka",
    "refuse_no_input G -D8", "refuse_long_name G @", "refuse_backup_folder Gb %", "refuse_oversized O %",
    "refuse_malformed M %", "refuse_mesh_count N %", "refuse_mesh_count_B N % -B", "fail_blocked_temp Gt %", "help C -h", "version C % -v",
};

struct Case {
  std::string name, input;
  char model, setup;
  std::vector<std::string> args;
};

Case Parse(const char *line) {
  std::istringstream in(line);
  std::string name, kind;
  in >> name >> kind;
  const char model = kind[0];
  const std::map<char, std::string> inputs = {{'S', "sample.vka"}, {'G', "grid.vka"},  {'T', "tags.vka"},
                                              {'P', "strips.vka"}, {'O', "big.vka"},   {'C', "chunk.vka"},
                                              {'M', "bad.vka"},    {'N', "count.vka"}};
  Case c{name, inputs.at(model), model, kind.size() > 1 ? kind[1] : ' ', {}};
  for (std::string arg; in >> arg;) c.args.push_back(arg == "%" ? c.input : arg == "@" ? std::string(249, 'n') : arg);
  return c;
}

// Writes the input (for the sample with its textures) and the setup into `dir`.
void WriteInput(const Case &c, const ScratchDir &dir) {
  const std::string name = dir.file(c.input);
  switch (c.model) {
    case 'S':
      for (const char *file : {"sample.vka", "checker.bmp", "stripes.tga"})
        ASSERT_TRUE(WriteFile(dir.file(file), ReadFile(SourceDir() + "/examples/" + file)));
      break;
    case 'G':
      ASSERT_TRUE(WriteVka(name, {.baseName = "grid", .objects = 2, .childrenPerNode = 2, .gridWidth = 2,
                                  .gridHeight = 2, .meshKinds = {kTriangles, kQuads}, .polyNormals = true,
                                  .materials = 2, .textures = 2}));
      break;
    case 'T':  // blend, depth, bank, eval bits, flat, user words, vertex colour, emission normals by material
      ASSERT_TRUE(WriteVka(name, {.baseName = "tags", .objects = 2, .childrenPerNode = 1, .gridWidth = 3,
                                  .gridHeight = 2, .meshKinds = {kTriangles, kStrips}, .materials = 3,
                                  .materialTag = "MateA21D150B07EsHiFU2VcEn_", .textures = 2, .paletteBanks = true}));
      break;
    case 'P':
      ASSERT_TRUE(WriteVka(name, {.baseName = "strips", .objects = 4, .childrenPerNode = 1, .gridWidth = 3,
                                  .gridHeight = 3, .meshKinds = {kStrips, kReverseStrips, kPolygons},
                                  .normals = false, .materials = 2, .evalFlags = 0x20,
                                  .defaultMaterialList = true}));
      break;
    case 'O':  // 257 x 256 points, 65,280 quadrangles
      ASSERT_TRUE(WriteVka(name, {.baseName = "big", .gridWidth = 256, .gridHeight = 255, .meshKinds = {kQuads},
                                  .normals = false, .uvs = false, .materials = 0}));
      break;
    case 'C':
      ASSERT_TRUE(WriteFile(name, "/* VKA 0.86alpha1 VorkaAsciiDataMix CnkModel (VKA) */\n\nCNKOBJECT_START\n"));
      break;
    case 'M':
      ASSERT_TRUE(WriteFile(name, GenerateVka({.baseName = "bad", .gridWidth = 1, .gridHeight = 1}).substr(0, 700)));
      break;
    case 'N': {  // more polygons in a mesh set than its 16-bit count holds
      std::string text = GenerateVka({.baseName = "count", .gridWidth = 1, .gridHeight = 1});
      const size_t at = text.find("MeshNum") + 7;
      text.replace(at, text.find(',', at) - at, "     70000");
      ASSERT_TRUE(WriteFile(name, text));
      break;
    }
  }
  if (c.setup == 'b') { ASSERT_TRUE(fs::create_directory(name + ".bk") && WriteFile(name + ".bk/keep", "keep")); }
  if (c.setup == 'o') { ASSERT_TRUE(WriteFile(name + ".bk", "an older backup\n")); }
  if (c.setup == 't') { ASSERT_TRUE(fs::create_directory(name + ".tmp~")); }
  if (c.setup == 'v') { ASSERT_TRUE(WriteFile(dir.file("grid.vk"), "an older binary file\n")); }
}

std::string Section(const std::string &title, const std::string &bytes) {
  return "-- " + title + " (" + std::to_string(bytes.size()) + " bytes)\n" + bytes + "\n";
}

// The program's path (in the usage text and the banner) is recorded as "vkconv".
std::string WithoutProgramPath(std::string text) {
  const std::string path = VkconvPath();
  for (size_t at = text.find(path); at != std::string::npos; at = text.find(path, at))
    text.replace(at, path.size(), "vkconv");
  return text;
}

// Every entry of the folder in name order: files in full, except the unchanged
// ones and copies of the input; folders by name.
std::string Transcript(const Case &c) {
  ScratchDir dir;
  WriteInput(c, dir);
  const std::string input = ReadFile(dir.file(c.input));
  std::map<std::string, std::string> before;
  for (const auto &entry : fs::directory_iterator(dir.path()))
    if (entry.is_regular_file()) before[entry.path().filename().string()] = ReadFile(entry.path().string());
  std::string command = "vkconv";
  for (const std::string &arg : c.args) command += " " + arg;
  const RunResult run = RunVkconv(c.args, dir.path());
  std::string text = "$ " + command + "\nstatus " + std::to_string(run.status) + "\n";
  text += Section("stdout", WithoutProgramPath(run.out)) + Section("stderr", WithoutProgramPath(run.err));
  std::map<std::string, bool> after;
  for (const auto &entry : fs::recursive_directory_iterator(dir.path()))
    after[fs::relative(entry.path(), dir.path()).string()] = entry.is_directory();
  for (const auto &[name, isFolder] : after) {
    const std::string bytes = isFolder ? "" : ReadFile(dir.file(name));
    const auto old = before.find(name);
    if (isFolder) text += "-- folder " + name + "\n";
    else if (old != before.end() && old->second == bytes) text += "-- file " + name + ": unchanged\n";
    else if (bytes == input) text += "-- file " + name + ": the input\n";
    else text += Section("file " + name, bytes);
  }
  return text;
}

TEST(Golden, RunsMatchTheirRecordedTranscripts) {
  const bool update = std::getenv("VK_GOLDEN_UPDATE") != nullptr;
  std::set<std::string> names;
  for (const char *line : kCases) {
    const Case c = Parse(line);
    SCOPED_TRACE(c.name);
    const std::string path = SourceDir() + "/tests/golden/expected/" + c.name + ".txt", text = Transcript(c);
    names.insert(c.name + ".txt");
    if (update) {
      ASSERT_TRUE(WriteFile(path, text));
      continue;
    }
    const std::string expected = ReadFile(path);
    ASSERT_FALSE(expected.empty()) << "no transcript " << path;
    if (text == expected) continue;
    size_t at = 0;  // the first difference
    while (at < text.size() && at < expected.size() && text[at] == expected[at]) at++;
    const size_t from = at < 200 ? 0 : at - 200;
    ADD_FAILURE() << "first difference at byte " << at << "\n--- recorded:\n"
                  << expected.substr(from, 400) << "\n--- now:\n" << text.substr(from, 400);
  }
  // Every recorded transcript belongs to one case.
  EXPECT_EQ(names.size(), std::size(kCases));
  for (const auto &entry : fs::directory_iterator(SourceDir() + "/tests/golden/expected"))
    EXPECT_TRUE(names.count(entry.path().filename().string())) << entry.path();
}

}  // namespace
