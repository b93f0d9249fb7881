// The option set of a run: command-line words gathered into four flag words,
// the value options, the conflict rules, the chunk completion and the option
// report that the writers print as they start.
#pragma once

#include <cstdint>

#include "frontend/console.h"

struct ScObject;
struct ScNodeList;

// ---- Flag bits ---------------------------------------------------------------
namespace vkopt {

// modelFlags (read by the node list, the strips and the material tags).
constexpr uint32_t kModelRemoveBones = 0x00000001;     // -rmb
constexpr uint32_t kModelNoTexture = 0x00000002;       // -notexture
constexpr uint32_t kModelFreezeTrr = 0x00000004;       // -trr
constexpr uint32_t kModelFreezeTrt = 0x00000008;       // -trt
constexpr uint32_t kModelFreezeTrs = 0x00000010;       // -trs
constexpr uint32_t kModelFreezeMask = 0x0000003C;      // transform freeze bits 2-5
constexpr uint32_t kModelNoFlags = 0x00001000;         // -noflags: material-name tags ignored
constexpr uint32_t kModelRootRotation = 0x00080000;    // add rootRotation to the root
constexpr uint32_t kModelQuadToTri = 0x00100000;       // -4to3
constexpr uint32_t kModelPolyToTri = 0x00200000;       // -nto3
constexpr uint32_t kModelAllToTri = 0x00300000;        // -n4to3
constexpr uint32_t kModelNoEnv = 0x00800000;           // -noenv
constexpr uint32_t kModelPolyNormal = 0x20000000;      // -polynormal
constexpr uint32_t kModelForceTexture = 0x40000000;    // -forcetex
constexpr uint32_t kModelDefault = 0x80000000;

// outputFlags (stored in the node list as optionbits2).
constexpr uint32_t kOutBinary = 0x00000001;            // -bin
constexpr uint32_t kOutBinDebug = 0x00000002;          // -bindebug (sets 0x03)
constexpr uint32_t kOutTexn3 = 0x00001000;             // -texn3
constexpr uint32_t kOutPolyVertexColour = 0x00002000;  // -pvc
constexpr uint32_t kOutPolyVertexNormal = 0x00004000;  // -pvn
constexpr uint32_t kOutBuildMap = 0x00008000;          // -GM (with kOutGlobalFreeze)
constexpr uint32_t kOutGlobalFreeze = 0x00010000;      // -G
constexpr uint32_t kOutPvm = 0x00400000;               // -outpvm
constexpr uint32_t kOutInpMot0 = 0x00800000;           // -IM0
constexpr uint32_t kOutSeparateTexList = 0x01000000;   // -septex
constexpr uint32_t kOutRva = 0x02000000;               // -rva
constexpr uint32_t kOutInfo = 0x04000000;              // -Info
constexpr uint32_t kOutNoVertexS = 0x08000000;         // -nvs
constexpr uint32_t kOutNoVertexA = 0x10000000;         // -nva
constexpr uint32_t kOutNoVertexD = 0x20000000;         // -nvd
constexpr uint32_t kOutNoVertexColour = 0x38000000;    // -nvc
constexpr uint32_t kOutNoCrop = 0x40000000;            // -nocrop
constexpr uint32_t kOutNoDiffuse = 0x80000000;         // -nodiffuse
constexpr uint32_t kOutDefault = 0x38000000;

// stripFlags (stored in the node list as stripbits).
constexpr uint32_t kStripOn = 0x80000000;
constexpr uint32_t kStripSquare = 0x40000000;

// chunkFlags (handed to the writers).
constexpr uint32_t kChunkVertexTypeMask = 0x60000007;  // bits 0-2 and 29-30
constexpr uint32_t kChunkVertexFormatMask = 0x00000007;
constexpr uint32_t kChunkVertexNormal = 0x40000000;    // "VN" types
constexpr uint32_t kChunkVertexNormalX = 0x20000000;   // "VNX" types
constexpr uint32_t kChunkDeleteAmbient = 0x00000100;   // -delambi
constexpr uint32_t kChunkEnvUv = 0x00001000;           // -envuv
constexpr uint32_t kChunkPolyColourToUserFlag = 0x00002000;  // -pctouf
constexpr uint32_t kChunkUvHigh = 0x00004000;          // -uvh
constexpr uint32_t kChunkDeleteAllMaterials = 0x00008000;  // -delmatall
constexpr uint32_t kChunkDeleteTexMaterials = 0x00010000;  // -delmat
constexpr uint32_t kChunkVolumeMask = 0x06000000;      // bits 25-26
constexpr int kChunkVolumeShift = 25;
constexpr uint32_t kChunkVolumeStrip = 1;              // -coS
constexpr uint32_t kChunkVolumePoly3 = 2;              // -co3
constexpr uint32_t kChunkVolumePoly34 = 3;             // -co34
constexpr uint32_t kChunkVertexColourToUserFlag = 0x08000000;  // -vctouf
constexpr uint32_t kChunkVertexComments = 0x10000000;  // -VCOM
constexpr uint32_t kChunkModel = 0x80000000;           // set by CompleteChunkOptions
constexpr uint32_t kChunkDefault = 0x40000001;         // CnkV_VN

// Chunk vertex types: the value of chunkFlags & kChunkVertexTypeMask.
constexpr uint32_t kCnkV_SH = 0x00000000;
constexpr uint32_t kCnkV = 0x00000001;
constexpr uint32_t kCnkV_D8 = 0x00000002;
constexpr uint32_t kCnkV_UF = 0x00000003;
constexpr uint32_t kCnkV_NF = 0x00000004;
constexpr uint32_t kCnkV_S5 = 0x00000005;
constexpr uint32_t kCnkV_S4 = 0x00000006;
constexpr uint32_t kCnkV_IN = 0x00000007;
constexpr uint32_t kCnkV_VN_SH = 0x40000000;
constexpr uint32_t kCnkV_VN = 0x40000001;
constexpr uint32_t kCnkV_VN_D8 = 0x40000002;
constexpr uint32_t kCnkV_VN_UF = 0x40000003;
constexpr uint32_t kCnkV_VN_NF = 0x40000004;
constexpr uint32_t kCnkV_VN_S5 = 0x40000005;
constexpr uint32_t kCnkV_VN_S4 = 0x40000006;
constexpr uint32_t kCnkV_VN_IN = 0x40000007;
constexpr uint32_t kCnkV_VNX = 0x20000001;
constexpr uint32_t kCnkV_VNX_D8 = 0x20000002;
constexpr uint32_t kCnkV_VNX_UF = 0x20000003;

// node list infobits read by the option report.
constexpr uint32_t kInfoScaled = 0x00000020;

}  // namespace vkopt

// ---- Option set --------------------------------------------------------------

// The global-index block handed to the writers: the -gibase value, the four
// motion tolerances, and the counter that the texture-list writer reads and
// advances (it starts at gibase).
struct GlobalIndexBlock {
  int32_t gibase;
  float motionTolerance[4];
  int32_t counter;
};

struct ConvertOptions {
  ScObject *scene;
  ScNodeList *nodeList;
  char inputName[kNameSize];
  char outputName[kNameSize];
  char texturePath[kNameSize];
  uint32_t modelFlags;
  uint32_t outputFlags;
  uint32_t stripFlags;
  uint32_t chunkFlags;
  float rootRotation[3];  // radians
  GlobalIndexBlock globalIndex;
};

// Sets every field to its default; the environment name is not used.
void InitConvertOptions(ConvertOptions *options, const char *environmentName);

// Applies -gibase, the option table in its order, -gscale, then the conflict
// rules. The arguments that carry option values get their first character
// overwritten with '-', so the input argument must be chosen before.
void ParseOptions(int argc, char **argv, ConvertOptions *options);

// Chunk output: forces triangulation, decides the strip bits from the volume
// mode and marks the chunk flags as a Chunk model.
void CompleteChunkOptions(uint32_t *chunkFlags, uint32_t *stripFlags, uint32_t *modelFlags);

// The option report on the info stream, from the node list's words.
void PrintOptionReport(const ScNodeList *nodeList, uint32_t chunkFlags);
// The same from the words themselves (modelFlags, outputFlags, the node
// list's infobits).
void PrintOptionReportWords(uint32_t modelFlags, uint32_t outputFlags, uint32_t infoBits,
                            uint32_t chunkFlags);

// Name of the chunk vertex type in chunkFlags ("CnkV_VN", ...), or null.
const char *ChunkVertexTypeName(uint32_t chunkFlags);

// The program-wide global scale (-gscale), 1.0 by default.
float GlobalScale();
void SetGlobalScale(float scale);

// ---- Lookups -----------------------------------------------------------------
// Index of the first argument (from index 0) equal to formA or formB (formB
// may be null), or -1. Comparison is exact and case-sensitive.
int FindOption(int argc, const char *const *argv, const char *formA, const char *formB);
int FindOption1(int argc, const char *const *argv, const char *form);
// Index of the argument following the option, or -1 when the option is
// absent, last, or followed by an argument beginning with '-'.
int FindOptionValue(int argc, const char *const *argv, const char *formA, const char *formB);
// Index of the (n+1)-th argument from index 1 not beginning with '-', or -1.
int FindInputArgument(int argc, const char *const *argv, int n);
