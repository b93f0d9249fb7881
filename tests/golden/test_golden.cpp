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
#include <string>
#include <vector>

#include "support/test_support.h"
#include "support/vka_gen.h"

// The cases name only the generator settings they change.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

namespace {

using namespace vktest;

enum class Model { kSample, kGrid, kTagged, kStrips, kOversized, kChunkText, kMalformed };

enum class Setup {
  kNone,
  kBackupFolder,   // a non-empty folder in the backup's place
  kOldBackup,      // an older backup, which the run replaces
  kBlockedTemp,    // a folder in the place of the output's temporary file
  kOldBinary,      // an older binary output, which the run replaces
};

struct GoldenCase {
  const char *name;
  Model model;
  std::vector<std::string> args;  // "%" stands for the input file's name
  Setup setup = Setup::kNone;
};

VkaGenParams GridParams() {
  return {.baseName = "grid", .objects = 2, .childrenPerNode = 2, .gridWidth = 2, .gridHeight = 2,
          .meshKinds = {VkaMesh::kTriangles, VkaMesh::kQuads}, .polyNormals = true, .materials = 2, .textures = 2};
}

// Name tags on every material: blend, depth, bank, eval bits, flat, user words,
// vertex colour, emission normals by material.
VkaGenParams TaggedParams() {
  return {.baseName = "tags", .objects = 2, .childrenPerNode = 1, .gridWidth = 3, .gridHeight = 2,
          .meshKinds = {VkaMesh::kTriangles, VkaMesh::kStrips}, .materials = 3, .materialTag = "MateA21D150B07EsHiFU2VcEn_",
          .textures = 2, .paletteBanks = true};
}

VkaGenParams StripParams() {
  return {.baseName = "strips", .objects = 4, .childrenPerNode = 1, .gridWidth = 3, .gridHeight = 3,
          .meshKinds = {VkaMesh::kStrips, VkaMesh::kReverseStrips, VkaMesh::kPolygons}, .normals = false,
          .materials = 2, .evalFlags = 0x20, .defaultMaterialList = true};
}

std::string InputName(Model model) {
  switch (model) {
    case Model::kSample: return "sample.vka";
    case Model::kGrid: return "grid.vka";
    case Model::kTagged: return "tags.vka";
    case Model::kStrips: return "strips.vka";
    case Model::kOversized: return "big.vka";
    case Model::kChunkText: return "chunk.vka";
    case Model::kMalformed: return "bad.vka";
  }
  return "";
}

// Writes the input (and for the sample its textures) into `dir`.
void WriteInput(Model model, const ScratchDir &dir) {
  const std::string name = dir.file(InputName(model));
  switch (model) {
    case Model::kSample:
      for (const char *file : {"sample.vka", "checker.bmp", "stripes.tga"})
        ASSERT_TRUE(WriteFile(dir.file(file), ReadFile(SourceDir() + "/examples/" + file)));
      break;
    case Model::kGrid: ASSERT_TRUE(WriteVka(name, GridParams())); break;
    case Model::kTagged: ASSERT_TRUE(WriteVka(name, TaggedParams())); break;
    case Model::kStrips: ASSERT_TRUE(WriteVka(name, StripParams())); break;
    case Model::kOversized:  // 257 x 257 points: more than a Chunk model can index
      ASSERT_TRUE(WriteVka(name, {.baseName = "big", .gridWidth = 256, .gridHeight = 256, .normals = false,
                                  .uvs = false, .materials = 0}));
      break;
    case Model::kChunkText:
      ASSERT_TRUE(WriteFile(name, "/* VKA 0.86alpha1 VorkaAsciiDataMix CnkModel (VKA) */\n\nCNKOBJECT_START\n"));
      break;
    case Model::kMalformed:
      ASSERT_TRUE(WriteFile(name, GenerateVka({.baseName = "bad", .gridWidth = 1, .gridHeight = 1}).substr(0, 700)));
      break;
  }
}

void Prepare(Setup setup, const ScratchDir &dir, const std::string &input) {
  switch (setup) {
    case Setup::kNone: break;
    case Setup::kBackupFolder:
      ASSERT_TRUE(std::filesystem::create_directory(dir.file(input + ".bk")));
      ASSERT_TRUE(WriteFile(dir.file(input + ".bk/keep"), "keep"));
      break;
    case Setup::kOldBackup: ASSERT_TRUE(WriteFile(dir.file(input + ".bk"), "an older backup\n")); break;
    case Setup::kBlockedTemp: ASSERT_TRUE(std::filesystem::create_directory(dir.file(input + ".tmp~"))); break;
    case Setup::kOldBinary: ASSERT_TRUE(WriteFile(dir.file("grid.vk"), "an older binary file\n")); break;
  }
}

const GoldenCase kCases[] = {
    // The bundled sample over the routes.
    {"sample", Model::kSample, {"%"}},
    {"sample_bin", Model::kSample, {"%", "-bin"}},
    {"sample_bindebug", Model::kSample, {"%", "-bindebug"}},
    {"sample_septex", Model::kSample, {"%", "-septex"}},
    {"sample_septex_bin", Model::kSample, {"%", "-st", "-bin"}},
    {"sample_rmb", Model::kSample, {"%", "-rmb"}},
    {"sample_rmb_bin", Model::kSample, {"%", "-R", "-BIN"}},
    {"sample_G", Model::kSample, {"%", "-G"}},
    {"sample_GM", Model::kSample, {"%", "-GM"}},
    {"sample_co34", Model::kSample, {"%", "-co34"}},
    {"sample_pvn_VNX", Model::kSample, {"%", "-pvn", "-VNX"}},
    {"sample_trs_gscale", Model::kSample, {"%", "-trs", "-gscale", "0.5"}},
    // A generated hierarchy: routes and output files.
    {"grid", Model::kGrid, {"grid"}},
    {"grid_bin", Model::kGrid, {"grid.vka", "-bin"}, Setup::kOldBinary},
    {"grid_bindebug", Model::kGrid, {"%", "-BD"}},
    {"grid_septex", Model::kGrid, {"%", "-septex"}},
    {"grid_septex_bin", Model::kGrid, {"%", "-septex", "-bin"}},
    {"grid_septex_notexture", Model::kGrid, {"%", "-septex", "-notexture"}},
    {"grid_old_backup", Model::kGrid, {"%"}, Setup::kOldBackup},
    {"grid_B", Model::kGrid, {"%", "-B"}},
    {"grid_basic_bin", Model::kGrid, {"%", "-basic", "-bin"}},
    // Vertex kinds, in ASCII and in binary.
    {"grid_SH", Model::kGrid, {"%", "-SH"}},
    {"grid_VNSH", Model::kGrid, {"%", "-VNSH"}},
    {"grid_CV", Model::kGrid, {"%", "-CV"}},
    {"grid_D8", Model::kGrid, {"%", "-D8"}},
    {"grid_UF", Model::kGrid, {"%", "-UF"}},
    {"grid_NF", Model::kGrid, {"%", "-NF"}},
    {"grid_S5", Model::kGrid, {"%", "-S5"}},
    {"grid_S4", Model::kGrid, {"%", "-S4"}},
    {"grid_IN", Model::kGrid, {"%", "-IN"}},
    {"grid_VND8", Model::kGrid, {"%", "-VN_D8"}},
    {"grid_VNUF", Model::kGrid, {"%", "-VNUF"}},
    {"grid_VNNF", Model::kGrid, {"%", "-VNNF"}},
    {"grid_VNS5", Model::kGrid, {"%", "-VNS5"}},
    {"grid_VNS4", Model::kGrid, {"%", "-VNS4"}},
    {"grid_VNIN", Model::kGrid, {"%", "-VNIN"}},
    {"grid_VNX", Model::kGrid, {"%", "-VNX"}},
    {"grid_VNXD8", Model::kGrid, {"%", "-VNXD8"}},
    {"grid_VNXUF", Model::kGrid, {"%", "-VNX_UF"}},
    {"grid_bin_SH", Model::kGrid, {"%", "-bin", "-SH"}},
    {"grid_bin_VNSH", Model::kGrid, {"%", "-bin", "-VNSH"}},
    {"grid_bin_D8", Model::kGrid, {"%", "-bin", "-D8"}},
    {"grid_bin_UF", Model::kGrid, {"%", "-bin", "-UF"}},
    {"grid_bin_NF", Model::kGrid, {"%", "-bin", "-NF"}},
    {"grid_bin_S5", Model::kGrid, {"%", "-bin", "-S5"}},
    {"grid_bin_S4", Model::kGrid, {"%", "-bin", "-S4"}},
    {"grid_bin_IN", Model::kGrid, {"%", "-bin", "-IN"}},
    {"grid_bin_VNX", Model::kGrid, {"%", "-bin", "-VNX"}},
    {"grid_bin_VNXUF", Model::kGrid, {"%", "-bin", "-VNXUF"}},
    {"grid_VCOM_vctouf", Model::kGrid, {"%", "-VCOM", "-UF", "-vctouf"}},
    // Volume modes.
    {"grid_co3", Model::kGrid, {"%", "-co3"}},
    {"grid_coS", Model::kGrid, {"%", "-coS"}},
    {"grid_co34", Model::kGrid, {"%", "-co34"}},
    {"grid_bin_co3", Model::kGrid, {"%", "-bin", "-volume3"}},
    {"grid_bin_coS_pctouf", Model::kGrid, {"%", "-bin", "-volumeS", "-pctouf"}},
    {"strips_co34", Model::kStrips, {"%", "-co34"}},
    {"strips_bin_co34", Model::kStrips, {"%", "-volume34", "-bin"}},
    // Polygon vertex normals and colours.
    {"grid_pvn", Model::kGrid, {"%", "-pvn"}},
    {"grid_pvc", Model::kGrid, {"%", "-pvc"}},
    {"grid_pvn_pvc", Model::kGrid, {"%", "-pvn", "-pvc"}},
    {"grid_pvc_D8", Model::kGrid, {"%", "-pvc", "-D8"}},
    {"grid_bin_pvn", Model::kGrid, {"%", "-pvn", "-bin"}},
    {"grid_bin_pvc", Model::kGrid, {"%", "-pvc", "-bin"}},
    // Materials and textures.
    {"grid_uvh_euv", Model::kGrid, {"%", "-uvh", "-euv"}},
    {"grid_delmat", Model::kGrid, {"%", "-delmat"}},
    {"grid_delmatall", Model::kGrid, {"%", "-dma"}},
    {"grid_delambi_nodiffuse", Model::kGrid, {"%", "-da", "-nodiffuse"}},
    {"grid_pctouf", Model::kGrid, {"%", "-pctouf"}},
    {"grid_notexture", Model::kGrid, {"%", "-nt"}},
    {"tags", Model::kTagged, {"%"}},
    {"tags_bin", Model::kTagged, {"%", "-bin"}},
    {"tags_noflags", Model::kTagged, {"%", "-noflags"}},
    {"tags_noenv_forcetex", Model::kTagged, {"%", "-noenv", "-forcetex", "-delmat"}},
    {"tags_pvc_uvh", Model::kTagged, {"%", "-pvc", "-uvh", "-euv"}},
    {"strips", Model::kStrips, {"%"}},
    {"strips_bin", Model::kStrips, {"%", "-bin"}},
    // Hierarchy, transforms and scale.
    {"grid_G", Model::kGrid, {"%", "-G"}},
    {"grid_GM", Model::kGrid, {"%", "-GM"}},
    {"grid_GM_bin", Model::kGrid, {"%", "-GM", "-bin"}},
    {"grid_rmb", Model::kGrid, {"%", "-rmb"}},
    {"grid_trr", Model::kGrid, {"%", "-trr"}},
    {"grid_trt_polynormal", Model::kGrid, {"%", "-trt", "-polynormal"}},
    {"grid_gscale", Model::kGrid, {"%", "-gscale", "2.5"}},
    {"grid_bin_gscale", Model::kGrid, {"%", "-gs", "0.5", "-bin"}},
    {"grid_gibase_texn3", Model::kGrid, {"-gibase", "7", "%", "-texn3"}},
    {"grid_strip_options", Model::kGrid, {"%", "-St", "-4to3"}},
    {"grid_misc_flags", Model::kGrid, {"%", "-Info", "-IM0", "-pvm", "-rva", "-nocrop", "-nvc", "-noflags"}},
    // Refusals and failures.
    {"refuse_chunk_ascii", Model::kChunkText, {"%"}},
    {"refuse_chunk_bin", Model::kChunkText, {"%", "-bin"}},
    {"refuse_chunk_basic", Model::kChunkText, {"%", "-B"}},
    {"refuse_missing", Model::kGrid, {"absent.vka"}},
    {"refuse_no_input", Model::kGrid, {"-D8"}},
    {"refuse_long_name", Model::kGrid, {std::string(249, 'n')}},
    {"refuse_backup_folder", Model::kGrid, {"%"}, Setup::kBackupFolder},
    {"refuse_oversized", Model::kOversized, {"%"}},
    {"refuse_malformed", Model::kMalformed, {"%"}},
    {"fail_blocked_temp", Model::kGrid, {"%"}, Setup::kBlockedTemp},
    {"help", Model::kChunkText, {"-h"}},
    {"version", Model::kChunkText, {"%", "-v"}},
};

std::string Section(const std::string &title, const std::string &bytes) {
  return "-- " + title + " (" + std::to_string(bytes.size()) + " bytes)\n" + bytes + "\n";
}

// The program's path as the usage text and the banner print it varies with
// the build folder; it is recorded as "vkconv".
std::string WithoutProgramPath(std::string text) {
  const std::string path = VkconvPath();
  for (size_t at = text.find(path); at != std::string::npos; at = text.find(path, at))
    text.replace(at, path.size(), "vkconv");
  return text;
}

// Every entry of the folder in name order: files in full, except the unchanged
// ones and copies of the input; folders by name.
std::string Transcript(const GoldenCase &c, const std::string &input) {
  ScratchDir dir;
  WriteInput(c.model, dir);
  Prepare(c.setup, dir, InputName(c.model));
  std::map<std::string, std::string> before;
  for (const auto &entry : std::filesystem::directory_iterator(dir.path()))
    if (entry.is_regular_file()) before[entry.path().filename().string()] = ReadFile(entry.path().string());
  std::vector<std::string> args;
  std::string command = "vkconv";
  for (const std::string &arg : c.args) {
    args.push_back(arg == "%" ? InputName(c.model) : arg);
    command += " " + args.back();
  }
  const RunResult run = RunVkconv(args, dir.path());
  std::string text = "$ " + command + "\nstatus " + std::to_string(run.status) + "\n";
  text += Section("stdout", WithoutProgramPath(run.out)) + Section("stderr", WithoutProgramPath(run.err));
  std::map<std::string, bool> after;
  for (const auto &entry : std::filesystem::recursive_directory_iterator(dir.path()))
    after[std::filesystem::relative(entry.path(), dir.path()).string()] = entry.is_directory();
  for (const auto &[name, isFolder] : after) {
    if (isFolder) {
      text += "-- folder " + name + "\n";
      continue;
    }
    const std::string bytes = ReadFile(dir.file(name));
    const auto old = before.find(name);
    if (old != before.end() && old->second == bytes) {
      text += "-- file " + name + ": unchanged\n";
    } else if (bytes == input) {
      text += "-- file " + name + ": the input\n";
    } else {
      text += Section("file " + name, bytes);
    }
  }
  return text;
}

std::string ExpectedPath(const GoldenCase &c) {
  return SourceDir() + "/tests/golden/expected/" + c.name + ".txt";
}

TEST(Golden, RunsMatchTheirRecordedTranscripts) {
  const bool update = std::getenv("VK_GOLDEN_UPDATE") != nullptr;
  for (const GoldenCase &c : kCases) {
    SCOPED_TRACE(c.name);
    std::string input;
    {
      ScratchDir dir;
      WriteInput(c.model, dir);
      input = ReadFile(dir.file(InputName(c.model)));
    }
    const std::string text = Transcript(c, input);
    if (update) {
      ASSERT_TRUE(WriteFile(ExpectedPath(c), text));
      continue;
    }
    const std::string expected = ReadFile(ExpectedPath(c));
    ASSERT_FALSE(expected.empty()) << "no transcript " << ExpectedPath(c);
    if (text == expected) continue;
    // Point at the first difference.
    size_t at = 0;
    while (at < text.size() && at < expected.size() && text[at] == expected[at]) at++;
    const size_t from = at < 200 ? 0 : at - 200;
    ADD_FAILURE() << "first difference at byte " << at << "\n--- recorded:\n"
                  << expected.substr(from, 400) << "\n--- now:\n"
                  << text.substr(from, 400);
  }
}

// Every recorded transcript belongs to a case.
TEST(Golden, NoStrayTranscripts) {
  std::map<std::string, bool> names;
  for (const GoldenCase &c : kCases) names[std::string(c.name) + ".txt"] = true;
  EXPECT_EQ(names.size(), std::size(kCases));
  for (const auto &entry : std::filesystem::directory_iterator(SourceDir() + "/tests/golden/expected"))
    EXPECT_TRUE(names.count(entry.path().filename().string())) << entry.path();
}

}  // namespace
