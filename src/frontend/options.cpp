// The option parser, the strip options and the chunk completion.
#include "frontend/options.h"

#include <cmath>
#include <cstdlib>
#include <cstring>

#include "base/console.h"

using namespace vkopt;

namespace {

enum class Word { kModel, kOutput, kChunk };

// One row of the option table: when either form is on the command line, the
// word loses the clear bits and gains the set bits. Rows are applied in
// order, so a later row wins where two write the same bits.
struct OptionRow {
  const char *formA;
  const char *formB;  // null when the option has a single form
  Word word;
  uint32_t clear;
  uint32_t set;
};

constexpr OptionRow kOptionTable[] = {
    {"-trr", "-a", Word::kModel, kModelFreezeMask, kModelFreezeTrr},
    {"-trt", "-b", Word::kModel, kModelFreezeMask, kModelFreezeTrt},
    {"-trs", "-c", Word::kModel, kModelFreezeMask, kModelFreezeTrs},
    {"-polynormal", "-pn", Word::kModel, 0, kModelPolyNormal},
    {"-forcetex", "-ft", Word::kModel, 0, kModelForceTexture},
    {"-notexture", "-nt", Word::kModel, 0, kModelNoTexture},
    {"-noflags", "-nf", Word::kModel, 0, kModelNoFlags},
    {"-noenv", "-ne", Word::kModel, 0, kModelNoEnv},
    {"-4to3", "-t3", Word::kModel, 0, kModelQuadToTri},
    {"-nto3", "-T3", Word::kModel, 0, kModelPolyToTri},
    {"-n4to3", "-Tt", Word::kModel, 0, kModelAllToTri},
    {"-rmb", "-R", Word::kModel, 0, kModelRemoveBones},
    {"-nodiffuse", "-nd", Word::kOutput, 0, kOutNoDiffuse},
    {"-nocrop", "-nc", Word::kOutput, 0, kOutNoCrop},
    {"-Info", "-I", Word::kOutput, 0, kOutInfo},
    {"-bin", "-BIN", Word::kOutput, 0, kOutBinary},
    {"-G", nullptr, Word::kOutput, 0, kOutGlobalFreeze},
    {"-GM", nullptr, Word::kOutput, 0, kOutGlobalFreeze | kOutBuildMap},
    {"-pvn", nullptr, Word::kOutput, 0, kOutPolyVertexNormal},
    {"-pvc", nullptr, Word::kOutput, 0, kOutPolyVertexColour},
    {"-rva", nullptr, Word::kOutput, 0, kOutRva},
    {"-nvc", "-novc", Word::kOutput, 0, kOutNoVertexColour},
    {"-nvd", "-novd", Word::kOutput, 0, kOutNoVertexD},
    {"-nva", "-nova", Word::kOutput, 0, kOutNoVertexA},
    {"-nvs", "-novs", Word::kOutput, 0, kOutNoVertexS},
    {"-texn3", "-TEXN3", Word::kOutput, 0, kOutTexn3},
    {"-bindebug", "-BD", Word::kOutput, 0, kOutBinary | kOutBinDebug},
    {"-septex", "-st", Word::kOutput, 0, kOutSeparateTexList},
    {"-IM0", "-InpMot0", Word::kOutput, 0, kOutInpMot0},
    {"-pvm", "-outpvm", Word::kOutput, 0, kOutPvm},
    {"-SH", nullptr, Word::kChunk, kChunkVertexTypeMask, kCnkV_SH},
    {"-VNSH", "-VN_SH", Word::kChunk, kChunkVertexTypeMask, kCnkV_VN_SH},
    {"-CV", nullptr, Word::kChunk, kChunkVertexTypeMask, kCnkV},
    {"-D8", nullptr, Word::kChunk, kChunkVertexTypeMask, kCnkV_D8},
    {"-UF", nullptr, Word::kChunk, kChunkVertexTypeMask, kCnkV_UF},
    {"-NF", nullptr, Word::kChunk, kChunkVertexTypeMask, kCnkV_NF},
    {"-S5", nullptr, Word::kChunk, kChunkVertexTypeMask, kCnkV_S5},
    {"-S4", nullptr, Word::kChunk, kChunkVertexTypeMask, kCnkV_S4},
    {"-IN", nullptr, Word::kChunk, kChunkVertexTypeMask, kCnkV_IN},
    {"-VN", nullptr, Word::kChunk, kChunkVertexTypeMask, kCnkV_VN},
    {"-VND8", "-VN_D8", Word::kChunk, kChunkVertexTypeMask, kCnkV_VN_D8},
    {"-VNUF", "-VN_UF", Word::kChunk, kChunkVertexTypeMask, kCnkV_VN_UF},
    {"-VNNF", "-VN_NF", Word::kChunk, kChunkVertexTypeMask, kCnkV_VN_NF},
    {"-VNS5", "-VN_S5", Word::kChunk, kChunkVertexTypeMask, kCnkV_VN_S5},
    {"-VNS4", "-VN_S4", Word::kChunk, kChunkVertexTypeMask, kCnkV_VN_S4},
    {"-VNIN", "-VN_IN", Word::kChunk, kChunkVertexTypeMask, kCnkV_VN_IN},
    {"-VNX", nullptr, Word::kChunk, kChunkVertexTypeMask, kCnkV_VNX},
    {"-VNXD8", "-VNX_D8", Word::kChunk, kChunkVertexTypeMask, kCnkV_VNX_D8},
    {"-VNXUF", "-VNX_UF", Word::kChunk, kChunkVertexTypeMask, kCnkV_VNX_UF},
    {"-VCOM", nullptr, Word::kChunk, 0, kChunkVertexComments},
    {"-uvh", nullptr, Word::kChunk, 0, kChunkUvHigh},
    {"-uvn", nullptr, Word::kChunk, kChunkUvHigh, 0},
    {"-delmat", "-dm", Word::kChunk, 0, kChunkDeleteTexMaterials},
    {"-dma", "-delmatall", Word::kChunk, 0, kChunkDeleteAllMaterials},
    {"-vctouf", nullptr, Word::kChunk, 0, kChunkVertexColourToUserFlag},
    {"-pctouf", nullptr, Word::kChunk, 0, kChunkPolyColourToUserFlag},
    {"-co3", "-volume3", Word::kChunk, kChunkVolumeMask, kChunkVolumePoly3 << kChunkVolumeShift},
    {"-co34", "-volume34", Word::kChunk, kChunkVolumeMask, kChunkVolumePoly34 << kChunkVolumeShift},
    {"-coS", "-volumeS", Word::kChunk, kChunkVolumeMask, kChunkVolumeStrip << kChunkVolumeShift},
    {"-delambi", "-da", Word::kChunk, 0, kChunkDeleteAmbient},
    {"-euv", "-envuv", Word::kChunk, 0, kChunkEnvUv},
};

struct StripOptionRow {
  const char *formA;
  const char *formB;  // null for a single form
  uint32_t stripSet;
  uint32_t modelSet;
};

constexpr StripOptionRow kStripOptions[] = {
    {"-Strip", "-S", kStripOn, 0},
    {"-St", nullptr, kStripOn, kModelQuadToTri},
    {"-ST", nullptr, kStripOn, kModelPolyToTri},
    {"-STt", nullptr, kStripOn, kModelAllToTri},
};

uint32_t *WordOf(ConvertOptions *options, Word word) {
  switch (word) {
    case Word::kModel:
      return &options->modelFlags;
    case Word::kOutput:
      return &options->outputFlags;
    case Word::kChunk:
      break;
  }
  return &options->chunkFlags;
}

// Marks a consumed value argument so that nothing takes it for an option or
// a file name afterwards. An empty argument has no first character to mark.
void OverwriteValue(char *argument) {
  if (argument[0] != '\0') argument[0] = '-';
}

// The whole text is a number (strtod's syntax, "nan" and "inf" included).
bool IsNumber(const char *text, double *value) {
  char *end = nullptr;
  *value = std::strtod(text, &end);
  return end != text && *end == '\0';
}

// -gscale: its value is the next argument when that does not begin with '-'.
// A value that is not a finite number above 0 (as a float), or a number
// written with a minus, draws a warning and leaves the scale at 1.0.
void ParseGlobalScale(int argc, char **argv, ConvertOptions *options) {
  options->globalScale = 1.0f;
  const int option = FindOption(argc, argv, "-gscale", "-gs");
  if (option < 0 || option + 1 >= argc || argv[option + 1] == nullptr) return;
  char *value = argv[option + 1];
  double number = 0.0;
  const bool isNumber = IsNumber(value, &number);
  if (value[0] == '-' && !isNumber) return;  // the next option, not a value
  const auto scale = static_cast<float>(number);
  if (value[0] != '-' && isNumber && std::isfinite(scale) && scale > 0.0f) {
    options->globalScale = scale;
  } else {
    PrintWarning("Warning : Bad global scale %s (a finite number above 0 is needed); 1.0 is used\n", value);
  }
  if (value[0] != '-') OverwriteValue(value);
}

void ApplyConflictRules(ConvertOptions *options) {
  if ((options->outputFlags & kOutPolyVertexNormal) != 0 &&
      (options->chunkFlags & kChunkVertexNormal) != 0) {
    PrintWarning("%s%s%s\n", "Warning : Can't use Vertex normal ",
                 "and Polygon vertex normal at the same time. ",
                 "[Ingore Vertex normal option _VN]");
    options->chunkFlags &= ~kChunkVertexNormal;
  }
  if ((options->outputFlags & kOutPolyVertexNormal) != 0 &&
      (options->outputFlags & kOutPolyVertexColour) != 0) {
    PrintWarning("%s%s%s\n", "Warning : Can't use Polygon vertex color",
                 "and Polygon vertex normal at the same time. ",
                 "[Ingore Polygon vertex color option -pvc]");
    options->outputFlags &= ~kOutPolyVertexColour;
  } else if ((options->outputFlags & kOutPolyVertexColour) != 0) {
    const uint32_t format = options->chunkFlags & kChunkVertexFormatMask;
    if (format == kCnkV_D8 || format >= kCnkV_S5) {
      PrintWarning("%s%s%s\n", "Warning : Can't use Vertex color ",
                   "and Polygon vertex color at the same time. ",
                   "[Ingore vertex color option _D8, _S5, _S4, _IN]");
      options->chunkFlags = (options->chunkFlags & ~kChunkVertexFormatMask) | kCnkV;
    }
  }
}

}  // namespace

void InitConvertOptions(ConvertOptions *options, const char * /*environmentName*/) {
  std::memset(options, 0, sizeof(*options));
  options->modelFlags = kModelDefault;
  options->outputFlags = kOutDefault;
  options->stripFlags = 0;
  options->chunkFlags = kChunkDefault;
  options->globalIndex.gibase = 0;
  options->globalIndex.counter = 0;
  for (float &tolerance : options->globalIndex.motionTolerance) tolerance = -1.0f;
  options->globalScale = 1.0f;
}

void ParseOptions(int argc, char **argv, ConvertOptions *options) {
  // -gibase takes the next argument whatever it begins with.
  int index = FindOption(argc, argv, "-gibase", "-g");
  if (index >= 0 && index + 1 < argc) {
    char *value = argv[index + 1];
    options->globalIndex.gibase = static_cast<int32_t>(std::strtol(value, nullptr, 10));
    options->globalIndex.counter = options->globalIndex.gibase;
    PrintInfo("[GLOBAL INDEX BASE] %d ", options->globalIndex.gibase);
    OverwriteValue(value);
  }

  for (const OptionRow &row : kOptionTable) {
    if (FindOption(argc, argv, row.formA, row.formB) < 0) continue;
    uint32_t *word = WordOf(options, row.word);
    *word = (*word & ~row.clear) | row.set;
  }

  ParseGlobalScale(argc, argv, options);

  ApplyConflictRules(options);
}

void ParseStripOptions(int argc, const char *const *argv, uint32_t *modelFlags, uint32_t *stripFlags) {
  for (const StripOptionRow &row : kStripOptions) {
    if (FindOption(argc, argv, row.formA, row.formB) < 0) continue;
    *stripFlags |= row.stripSet;
    *modelFlags |= row.modelSet;
  }
}

int FindOption(int argc, const char *const *argv, const char *formA, const char *formB) {
  for (int i = 0; i < argc; ++i) {
    if (argv[i] == nullptr) continue;
    if (std::strcmp(argv[i], formA) == 0) return i;
    if (formB != nullptr && std::strcmp(argv[i], formB) == 0) return i;
  }
  return -1;
}

int FindOptionValue(int argc, const char *const *argv, const char *formA, const char *formB) {
  const int index = FindOption(argc, argv, formA, formB);
  if (index < 0 || index + 1 >= argc) return -1;
  if (argv[index + 1] == nullptr || argv[index + 1][0] == '-') return -1;
  return index + 1;
}

int FindInputArgument(int argc, const char *const *argv, int n) {
  for (int i = 1; i < argc; ++i) {
    if (argv[i] == nullptr || argv[i][0] == '-') continue;
    if (n == 0) return i;
    --n;
  }
  return -1;
}
