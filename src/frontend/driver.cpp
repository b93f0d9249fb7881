// The conversion driver: one run from the command line to one output file.
#include "frontend/driver.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "base/console.h"
#include "base/file_names.h"
#include "base/flags.h"
#include "base/output_files.h"
#include "base/run_record.h"
#include "base/status.h"
#include "base/version.h"
#include "basic/basic_writer.h"
#include "binary/chunk_reader.h"
#include "binary/vkprint.h"
#include "binary/write_info.h"
#include "chunk/chunk_writer.h"
#include "frontend/depfile.h"
#include "frontend/options.h"
#include "process/nodelist.h"
#include "reader/reader.h"
#include "scene/memory.h"
#include "scene/records.h"

namespace {

constexpr const char *kNotice = "vkconv model converter";
constexpr const char *kBannerPurpose = "Convert vka to vka, vk.";
constexpr const char *kBannerDate = "98/08/06";
constexpr const char *kStars = "*******************************************************";
constexpr const char *kStarSpaces = "*                                                      ";

constexpr const char *kInputSuffix = ".vka";
constexpr const char *kBackupSuffix = ".bk";

// Build-pipeline options beside the option table: "-MF FILE" writes the run's
// dependency file; "-strict" ends a run that printed an error or stopped with
// status 1.
constexpr const char *kDependencyFileOption = "-MF";
constexpr const char *kStrictOption = "-strict";

// ---- Input-kind test ----------------------------------------------------------

// Character classes of the first-line tokenizer: 0 separates tokens.
constexpr std::array<uint8_t, 256> MakeKindClasses() {
  std::array<uint8_t, 256> classes{};
  for (int c = 'A'; c <= 'Z'; ++c) classes[c] = 1;
  for (int c = 'a'; c <= 'z'; ++c) classes[c] = 1;
  for (int c = '0'; c <= '9'; ++c) classes[c] = 2;
  classes['-'] = 3;
  classes['.'] = 3;
  classes['/'] = 3;
  classes['#'] = 4;
  classes['$'] = 4;
  classes['_'] = 4;
  classes['*'] = 5;
  classes[0] = 8;
  return classes;
}

constexpr std::array<uint8_t, 256> kKindClasses = MakeKindClasses();
constexpr int kMaxKindTokens = 512;
constexpr int kKindLineSize = 1024;  // 1023 characters and the NUL

// ---- Routes -------------------------------------------------------------------

// A model writer: the request of the run -> the status of the output run.
using ModelWriter = VKStatus (*)(const VKWriteRequest &);

// The Basic-input routes: chunk output or not, binary or not. A route without
// a writer stops with a one-line message before any file is touched.
struct BasicRoute {
  bool chunkOutput;
  bool binary;
  const char *name;
  ModelWriter writer;
};

constexpr BasicRoute kBasicRoutes[] = {
    {true, false, "Basic Model Ascii to Chunk Model Ascii", VKWriteChunkModel},
    {true, true, "Basic Model Ascii to Chunk Model Binary", VKWriteChunkModel},
    {false, false, "Basic Model Ascii to Basic Model Ascii", VKWriteBasicModel},
    {false, true, "Basic Model Ascii to Basic Model Binary", VKWriteBasicModel},
};

const BasicRoute &FindBasicRoute(bool chunkOutput, bool binary) {
  for (const BasicRoute &route : kBasicRoutes) {
    if (route.chunkOutput == chunkOutput && route.binary == binary) return route;
  }
  return kBasicRoutes[0];
}

// Stops a route that cannot run yet; nothing has been written or moved.
VKStatus StopUnavailable(const char *routeName) {
  return VKErrorStatus(VKStatusCode::kRefused, "Error: %s output is not available yet\n", routeName);
}

// Marks every material whose attrflags ignores light as ignoring specular
// and ambient light too, over the whole hierarchy (node, children,
// siblings). Walked with an explicit stack so that long sibling chains
// cannot exhaust the call stack.
void MarkChunkMaterials(ScModel *root) {
  std::vector<ScModel *> pending;
  if (root != nullptr) pending.push_back(root);
  while (!pending.empty()) {
    ScModel *model = pending.back();
    pending.pop_back();
    for (ScMaterials *material = model->materials; material != nullptr; material = material->next) {
      if ((material->attrflags & vkattr::kIgnoreLight) != 0) {
        material->attrflags |= vkattr::kIgnoreSpecular | vkattr::kIgnoreAmbient;
      }
    }
    if (model->sibling != nullptr) pending.push_back(model->sibling);
    if (model->child != nullptr) pending.push_back(model->child);
  }
}

// Copies a name into a name buffer, cut at 255 characters (the driver has
// checked that the names of a run fit).
void CopyName(char *dest, const char *name) {
  size_t length = std::strlen(name);
  if (length > static_cast<size_t>(kNameSize) - 1) length = static_cast<size_t>(kNameSize) - 1;
  std::memcpy(dest, name, length);
  dest[length] = '\0';
}

// The file operations of a run's output set: the writer hooks' rename where
// a test puts one in.
VKFileOps FileOpsOf(const VKWriterHooks *hooks) { return VKFileOps{hooks ? hooks->rename : nullptr, nullptr}; }

// Keeps the input as it is now for its backup name, which it takes when the
// run commits its outputs. Without a backup the input is never replaced: the
// run stops before anything is written.
bool PrepareBackup(VKOutputSet &outputs, const char *inputName) {
  if (outputs.PrepareBackup(inputName, std::string(inputName) + kBackupSuffix)) return true;
  PrintNote("Error: Can't create backup file.\n");
  PrintNote("%s is left as it was; nothing was written.\n", inputName);
  return false;
}

// Runs a model writer on the request and commits what it finished: with the
// backup of the input first, then the outputs. A writer that fails may still
// have finished files (an illegal instance is written and reported; with
// -septex a texture file that cannot be opened leaves the data file); those
// are committed as well. The first failure is the run's status.
VKStatus WriteAndCommit(ModelWriter writer, const VKWriteRequest &request, VKOutputSet &outputs) {
  const VKStatus written = writer(request);
  const VKStatus committed = outputs.Commit();
  if (committed.code == VKStatusCode::kCantBackup) {
    PrintNote("Error: Can't create backup file.\n");
    PrintNote("%s is left as it was; nothing was written.\n", request.inputName);
    return written.ok() ? VKReportedStatus(VKStatusCode::kCantBackup) : written;
  }
  return written.ok() ? committed : written;
}

// Every name a run may create, each with its temporary, must fit the file
// system; a name cut or refused late would leave the run half done. Checked
// before anything is read or written.
VKStatus CheckOutputNames(const ConvertOptions &options) {
  const bool binary = (options.outputFlags & vkopt::kOutBinary) != 0;
  const VKModelSuffixes &suffixes = binary ? kVKBinarySuffixes : kVKAsciiSuffixes;
  std::vector<std::string> names;
  const auto withSuffix = [&](const char *suffix) {
    char name[kNameSize];
    CopyName(name, options.inputName);
    if (suffix != nullptr) ReplaceSuffix(name, suffix);
    return std::string(name);
  };
  if (options.outputFlags & vkopt::kOutSeparateTexList) {
    names.push_back(withSuffix(suffixes.data));
    names.push_back(withSuffix(suffixes.texList));
  } else {
    names.push_back(withSuffix(suffixes.model));
  }
  if (!binary) names.push_back(std::string(options.inputName) + kBackupSuffix);
  // The longest name that breaks a limit is named: shortening the input
  // name until it fits makes every name fit.
  std::string broken;
  long brokenLength = 0, brokenLimit = 0;
  for (const std::string &name : names) {
    const std::string temporary = name + kTemporarySuffix;
    long length = 0;
    const long limit = VKNameLimitBroken(temporary, &length);
    if (limit != 0 && length > brokenLength) {
      broken = temporary;
      brokenLength = length;
      brokenLimit = limit;
    }
  }
  if (!broken.empty()) {
    std::fprintf(stderr, "Error : File name too long: %s (the run writes %s, %ld characters; at most %ld here)\n",
                 options.inputName, broken.c_str(), brokenLength, brokenLimit);
    return VKReportedStatus(VKStatusCode::kRefused);
  }
  return VKStatus{};
}

// What a run holds until it ends, let go on every way out of the run,
// returns and exceptions alike: the tracked allocations.
class RunScope {
 public:
  RunScope() = default;
  RunScope(const RunScope &) = delete;
  RunScope &operator=(const RunScope &) = delete;
  ~RunScope() {
    if (ScMallocGetStats().initialised) ScFreeAll();
  }
};

// A Chunk-model ASCII file becomes its binary form beside it; the input is
// only read.
VKStatus RunChunkInput(ConvertOptions *options, bool chunkOutput, bool binary, const VKWriterHooks *hooks) {
  if (!chunkOutput) return VKErrorStatus(VKStatusCode::kRefused, "Error: Not support Chunk Model to Basic Model\n");
  if (!binary) {
    return VKErrorStatus(VKStatusCode::kRefused, "\nError: Not support Chunk Model Ascii to Chunk Model Ascii\n");
  }
  PrintMessage("[OUTPUT CHUNK]");
  CopyName(options->outputName, options->inputName);
  ReplaceSuffix(options->outputName, kVKBinarySuffixes.model);
  VKTextureList textures;
  return VKReadChunkModel(options->inputName, options->outputName, &textures, hooks);
}

VKStatus RunBasicInput(ConvertOptions *options, bool chunkOutput, bool binary, const VKWriterHooks *hooks) {
  const BasicRoute &route = FindBasicRoute(chunkOutput, binary);

  options->scene = ReadBasicModel(options->inputName);
  if (options->scene == nullptr) return VKReportedStatus(VKStatusCode::kBadInput);

  // Nothing is moved before it is known that the route can run and that the
  // scene fits the output.
  if (route.writer == nullptr) return StopUnavailable(route.name);
  if (chunkOutput) {
    if (VKStatus fits = VKSceneFitsChunkModel(options->scene); !fits.ok()) return fits;
  } else {
    VKStatus fits = VKSceneFitsBasicModel(options->scene, options->modelFlags, options->stripFlags);
    if (!fits.ok()) return fits;
  }

  // The output takes the input's name (the writer changes the suffix where
  // the output is binary or split). The input stays under its own name until
  // the outputs are committed; -septex writes no file under it, so it then
  // goes once its backup and the outputs are in place.
  const VKFileOps ops = FileOpsOf(hooks);
  VKOutputSet outputs(&ops);
  CopyName(options->outputName, options->inputName);
  if (!binary) {
    if (!PrepareBackup(outputs, options->inputName)) return VKReportedStatus(VKStatusCode::kCantBackup);
    // After the run the model read is found under its backup's name.
    if (hooks != nullptr && hooks->record != nullptr)
      hooks->record->input = std::string(options->inputName) + kBackupSuffix;
    if (options->outputFlags & vkopt::kOutSeparateTexList) outputs.RemoveAtCommit(options->inputName);
  }
  if (chunkOutput) {
    MarkChunkMaterials(options->scene->root);
    CompleteChunkOptions(&options->chunkFlags, &options->stripFlags, &options->modelFlags);
  }
  VKStatus status = ScGetNodeList(options->scene, options->modelFlags, options->outputFlags, options->stripFlags,
                                  options->rootRotation, &options->nodeList);
  if (!status.ok()) {
    if (status.reported) std::fprintf(stderr, "Error : Bad nodelist\n");
    return status;
  }

  if (chunkOutput) {
    PrintMessage("[OUTPUT CHUNK]");
  } else {
    PrintMessage("[OUTPUT BASIC]");
  }
  const VKWriteRequest request{options->nodeList,   options->inputName,        options->outputName,
                               &options->globalIndex, options->texturePath,     options->chunkFlags,
                               options->globalScale,  hooks,                    &outputs};
  return WriteAndCommit(route.writer, request, outputs);
}

// Takes the value of -MF out of the argument vector before the input argument
// is chosen: its first character is overwritten with '-', as -gibase's is, so
// that "vkconv -MF deps.d model.vka" converts model.vka. A value beginning
// with '-' is taken for an option, not a name.
VKStatus TakeDependencyFile(int argc, char **argv, std::string *name) {
  const int at = FindOption(argc, argv, kDependencyFileOption, nullptr);
  if (at < 0) return VKStatus{};
  if (at + 1 >= argc || argv[at + 1][0] == '\0' || argv[at + 1][0] == '-')
    return VKErrorStatus(VKStatusCode::kRefused, "Error : %s needs the name of the dependency file\n",
                         kDependencyFileOption);
  *name = argv[at + 1];
  argv[at + 1][0] = '-';
  return VKStatus{};
}

// After a run that wrote its output: the count of textures not converted
// under -strict, and the dependency file of -MF, which names the model file
// as it stands after the run (its backup when the output took its place).
VKStatus FinishRun(const ConvertOptions &options, VKRunRecord *record, const std::string &dependencyFile,
                   bool strict) {
  if (strict && record->failedTextures > 0)
    PrintError("Error : %d texture(s) could not be converted\n", record->failedTextures);
  if (dependencyFile.empty()) return VKStatus{};
  record->read.insert(record->read.begin(), record->input.empty() ? std::string(options.inputName) : record->input);
  std::string why;
  if (!VKWriteDependencyFile(dependencyFile.c_str(), *record, &why))
    return VKErrorStatus(VKStatusCode::kCantWrite, "Error : Can't write dependency file %s: %s\n",
                         dependencyFile.c_str(), why.c_str());
  return VKStatus{};
}

// The run after the help and version requests.
VKStatus RunWithInput(int argc, char **argv, bool chunkOutput, ConvertOptions *options,
                      const VKWriterHooks *hooks) {
  ScMallocTabInit();
  InitConvertOptions(options, nullptr);

  const int input = FindInputArgument(argc, argv, 0);
  if (input < 0) {
    std::fprintf(stderr, "Error : Can't open file\n");
    return VKReportedStatus(VKStatusCode::kRefused);
  }
  // The name with its normalised suffix and the backup suffix must fit in a
  // name buffer; a cut name could point at some other file.
  const size_t longest = static_cast<size_t>(kNameSize) - 1 - std::strlen(kInputSuffix) -
                         std::strlen(kBackupSuffix);
  if (std::strlen(argv[input]) > longest) {
    std::fprintf(stderr, "Error : File name too long (at most %d characters): %s\n",
                 static_cast<int>(longest), argv[input]);
    return VKReportedStatus(VKStatusCode::kRefused);
  }
  CopyName(options->inputName, argv[input]);
  CheckSuffix(options->inputName, kInputSuffix);

  ParseOptions(argc, argv, options);
  ParseStripOptions(argc, argv, &options->modelFlags, &options->stripFlags);
  if (VKStatus names = CheckOutputNames(*options); !names.ok()) return names;

  const InputKind kind = GetInputKind(options->inputName);
  if (kind == InputKind::kChunk) {
    PrintMessage("[INPUT CHUNK]");
  } else {
    PrintMessage("[INPUT BASIC]");
  }
  const bool binary = (options->outputFlags & vkopt::kOutBinary) != 0;

  if (kind == InputKind::kChunk) return RunChunkInput(options, chunkOutput, binary, hooks);
  return RunBasicInput(options, chunkOutput, binary, hooks);
}

}  // namespace

InputKind GetInputKind(const char *fileName) {
  FILE *file = std::fopen(fileName, "r");
  if (file == nullptr) return InputKind::kBasic;
  char line[kKindLineSize];
  const bool read = std::fgets(line, sizeof(line), file) != nullptr;
  std::fclose(file);
  if (!read) return InputKind::kBasic;

  // Cut the line into tokens: maximal runs of characters of a non-zero class.
  int tokenCount = 0;
  const char *fifth = nullptr;
  size_t fifthLength = 0;
  const char *p = line;
  while (tokenCount < kMaxKindTokens) {
    while (*p != '\0' && kKindClasses[static_cast<unsigned char>(*p)] == 0) ++p;
    if (*p == '\0') break;
    const char *start = p;
    while (*p != '\0' && kKindClasses[static_cast<unsigned char>(*p)] != 0) ++p;
    ++tokenCount;
    if (tokenCount == 5) {
      fifth = start;
      fifthLength = static_cast<size_t>(p - start);
      break;
    }
  }
  constexpr char kChunkWord[] = "CnkModel";
  if (fifth != nullptr && fifthLength == sizeof(kChunkWord) - 1 &&
      std::memcmp(fifth, kChunkWord, fifthLength) == 0) {
    return InputKind::kChunk;
  }
  return InputKind::kBasic;
}

void PrintUsage(const char *command) {
  PrintMessage("Usage:\n");
  PrintMessage("Version %s%s\n\n", kVKVersion, kVKVersionSuffix);
  PrintMessage("%s <vkafile> \n", command);
  PrintMessage("    vkafile: %s\n", kInputSuffix);
  PrintMessage("\n");
  PrintMessage("Supprt convert pattern:\n");
  PrintMessage("    Basic Model Ascii(.vka->.vka.bk) to Chunk Model Ascii(.vka)\n");
  PrintMessage("        %s <vkafile>\n", command);
  PrintMessage("    Basic Model Ascii(.vka->.vka.bk) to Basic Model Ascii(.vka)\n");
  PrintMessage("        %s <vkafile> -B\n", command);
  PrintMessage("    Basic Model Ascii to Chunk Model Binary\n");
  PrintMessage("        %s <vkafile> -bin\n", command);
  PrintMessage("    Chunk Model Ascii to Chunk Model Binary\n");
  PrintMessage("        %s <vkafile> -bin\n", command);
  PrintMessage("    Basic Model Ascii to Basic Model Binary\n");
  PrintMessage("        %s <vkafile> -B -bin\n", command);
  PrintMessage("\n");
  PrintMessage("<< Chunk Model >>\n");
  PrintMessage("    -euv or -envuv : set environment mapping uv\n");
  PrintMessage("    -pvn : print polygon vertex normal\n");
  PrintMessage("    -pvc : print polygon vertex color\n");
  PrintMessage("    -co3 or -volume3 : print chunk volume polygon3\n");
  PrintMessage("    -co34 or -volume34 : print chunk volume polygon3, 4\n");
  PrintMessage("    -coS or -volumeS : print chunk volume strip\n");
  PrintMessage("    -uvh              : hi resolution texture uv(0-1023)\n");
  PrintMessage("    -dm or -delmat    : delete texture materials\n");
  PrintMessage("    -dma or -delmatall: delete all materials\n");
  PrintMessage("    -da or -delambi   : delete all ambients\n");
  PrintMessage("    -vctouf           : set vertex color to vertex userflag\n");
  PrintMessage("    -pctouf           : set polygon color to polygon userflag\n");
  PrintMessage("    -B or -basic      : use Basic Model format\n");
  PrintMessage("    -bin or -BIN      : binary mode\n");
  PrintMessage("\n< Select Chunk Vertex >\n");
  PrintMessage("    -SH               : x,y,z,1.0,...\n");
  PrintMessage("    -VNSH or -VN_SH   : x,y,z,1.0,nx,ny,nz,0.0,...\n\n");
  PrintMessage("    -CV               : x,y,z,...\n");
  PrintMessage("    -D8               : x,y,z,D8888,...\n");
  PrintMessage("    -UF               : x,y,z,UserFlag32,...\n");
  PrintMessage("    -NF               : x,y,z,VorkaFlag32,...\n");
  PrintMessage("    -S5               : x,y,z,D565|S565,...\n");
  PrintMessage("    -S4               : x,y,z,D4444|S565,...\n");
  PrintMessage("    -IN               : x,y,z,D16|S16,...\n");
  PrintMessage("    -VN               : x,y,z,nx,ny,nz,...\n");
  PrintMessage("    -VND8 or -VN_D8   : x,y,z,nx,ny,nz,D8,...\n");
  PrintMessage("    -VNUF or -VN_UF   : x,y,z,nx,ny,nz,UserFlag32,...\n");
  PrintMessage("    -VNNF or -VN_NF   : x,y,z,nx,ny,nz,VorkaFlag32,...\n");
  PrintMessage("    -VNS5 or -VN_S5   : x,y,z,nx,ny,nz,D565|S565,...\n");
  PrintMessage("    -VNS4 or -VN_S4   : x,y,z,nx,ny,nz,D4444|S565,...\n");
  PrintMessage("    -VNIN or -VN_IN   : x,y,z,nx,ny,nz,D16|S16...\n");
  PrintMessage("    -VNX              : x,y,z,nxyz32(10bit normals),...\n");
  PrintMessage("    -VNXD8 or -VNX_D8 : x,y,z,nxyz32,D8,...\n");
  PrintMessage("    -VNXUF or -VNX_UF : x,y,z,nxyz32,UserFlag32,...\n");
  PrintMessage("\n    -VCOM             : vertex comments");
  PrintMessage("\n    -v or -ver: version info\n");
  PrintMessage("    -h or -help: Usage\n");
}

void PrintBanner(const char *command) {
  std::fprintf(stderr, "\n");
  std::fprintf(stderr, "%s\n", kStars);
  std::fprintf(stderr, "* %s\n", kNotice);
  std::fprintf(stderr, "%s\n", kStarSpaces);
  std::fprintf(stderr, "* COMMAND : %s\n", command);
  std::fprintf(stderr, "%s\n", kStarSpaces);
  std::fprintf(stderr, "*   --  %s\n", kBannerPurpose);
  std::fprintf(stderr, "%s\n", kStarSpaces);
  std::fprintf(stderr, "* VERSION: %s%s\n", kVKVersion, kVKVersionSuffix);
  std::fprintf(stderr, "%s\n", kStarSpaces);
  std::fprintf(stderr, "* DATE: %s\n", kBannerDate);
  std::fprintf(stderr, "%s\n", kStars);
  std::fprintf(stderr, "\n");
}

VKStatus RunConversion(int argc, char **argv, const VKWriterHooks *hooks) {
  const char *command = argc > 0 && argv[0] != nullptr ? argv[0] : "vkconv";
  if (argc < 2 || (argc == 2 && FindOption(argc, argv, "-h", "-help") >= 0)) {
    PrintUsage(command);
    return VKStatus{};
  }
  if (FindOption(argc, argv, "-v", "-ver") >= 0) {
    PrintBanner(command);
    return VKStatus{};
  }
  const bool chunkOutput = FindOption(argc, argv, "-B", "-basic") < 0;

  std::string dependencyFile;
  if (VKStatus taken = TakeDependencyFile(argc, argv, &dependencyFile); !taken.ok()) return taken;
  const bool strict = FindOption(argc, argv, kStrictOption, nullptr) >= 0;

  // The writers tell the run's record of every file they commit.
  VKRunRecord record;
  VKWriterHooks runHooks = hooks != nullptr ? *hooks : VKWriterHooks{};
  runHooks.record = &record;

  // The stop message comes before the scope lets go of the run (which may
  // put the input back and say so when that fails).
  ConvertOptions options;
  RunScope scope;
  VKStatus status;
  try {
    status = RunWithInput(argc, argv, chunkOutput, &options, &runHooks);
    if (status.ok()) status = FinishRun(options, &record, dependencyFile, strict);
  } catch (const VKOutOfMemory &failure) {
    status = failure.status();
  } catch (const std::bad_alloc &) {
    status = VKStopStatus(VKStatusCode::kOutOfMemory, "Error : Out of memory\n");
  }
  VKPrintStop(status);
  return status;
}

int RunConverter(int argc, char **argv) {
  const bool strict = FindOption(argc, argv, kStrictOption, nullptr) >= 0;
  const long errors = ErrorCount();
  const VKStatus status = RunConversion(argc, argv, nullptr);
  return strict && (!status.ok() || ErrorCount() > errors) ? 1 : 0;
}
