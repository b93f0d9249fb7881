// Every bit word of the program in one place: the four command-line flag
// words, the chunk vertex types, the node list's infobits, the write-info
// flag word and the per-material output word F, a material's attrflags, the
// object evaluation flags, the strip flags of a strip chunk's head word, the
// strip state of a polygon, and the header flags of a PVM texture archive.
#pragma once

#include <cstdint>

namespace vkopt {

// ---- modelFlags (the node list's optionbits) ----------------------------------
constexpr uint32_t kModelRemoveBones = 0x00000001;     // -rmb
constexpr uint32_t kModelNoTexture = 0x00000002;       // -notexture
constexpr uint32_t kModelFreezeTrr = 0x00000004;       // -trr
constexpr uint32_t kModelFreezeTrt = 0x00000008;       // -trt
constexpr uint32_t kModelFreezeTrs = 0x00000010;       // -trs
constexpr uint32_t kModelFreezeMask = 0x0000003C;      // transform freeze bits 2-5
constexpr uint32_t kModelNoFlags = 0x00001000;         // -noflags: material-name tags ignored
constexpr uint32_t kModelRootRotation = 0x00080000;    // add rootRotation to the root
constexpr uint32_t kModelQuadToTri = 0x00100000;       // -4to3
constexpr uint32_t kModelPolyToTri = 0x00200000;       // -nto3 (five corners or more)
constexpr uint32_t kModelAllToTri = 0x00300000;        // -n4to3
constexpr uint32_t kModelNoEnv = 0x00800000;           // -noenv
constexpr uint32_t kModelPolyNormal = 0x20000000;      // -polynormal
constexpr uint32_t kModelForceTexture = 0x40000000;    // -forcetex
constexpr uint32_t kModelDefault = 0x80000000;

// ---- outputFlags (the node list's optionbits2) --------------------------------
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

// ---- stripFlags (the node list's stripbits) -----------------------------------
constexpr uint32_t kStripOn = 0x80000000;              // strips
constexpr uint32_t kStripSquare = 0x40000000;          // pairs of triangles (alone: square mode)

// ---- chunkFlags (handed to the writers) ---------------------------------------
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
constexpr uint32_t kChunkVolumeMask = 0x06000000;      // bits 25-26: the volume mode
constexpr int kChunkVolumeShift = 25;
constexpr uint32_t kChunkVolumeStrip = 1;              // -coS
constexpr uint32_t kChunkVolumePoly3 = 2;              // -co3
constexpr uint32_t kChunkVolumePoly34 = 3;             // -co34
constexpr uint32_t kChunkVertexColourToUserFlag = 0x08000000;  // -vctouf
constexpr uint32_t kChunkVertexComments = 0x10000000;  // -VCOM
constexpr uint32_t kChunkModel = 0x80000000;           // set by CompleteChunkOptions
constexpr uint32_t kChunkDefault = 0x40000001;         // CnkV_VN

// The volume mode of a chunk word (0 for strips, else kChunkVolume*).
constexpr uint32_t VolumeMode(uint32_t chunkFlags) {
  return (chunkFlags & kChunkVolumeMask) >> kChunkVolumeShift;
}

// Chunk vertex types: the value of chunkFlags & kChunkVertexTypeMask. The
// format bits 0-2 give the position form (0: four words) and the extra word
// (2 D8, 3 UF, 4 NF, 5 S5, 6 S4, 7 IN); bit 30 adds a normal, bit 29 a packed one.
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

}  // namespace vkopt

// ---- The node list's infobits (facts of its counting pass) ------------------------
constexpr uint32_t kScInfoMeshlessNodes = 0x01;  // mesh-less nodes besides the root
constexpr uint32_t kScInfoMeshlessRoot = 0x02;   // the root carries no mesh
constexpr uint32_t kScInfoEvalFlag2 = 0x10;      // some node has EvalFlags bit 0x2
constexpr uint32_t kScInfoScaled = 0x20;         // some node is scaled

// ---- The write-info flag word and the per-material output word F ------------------
// F starts as the write-info word of the run; the material name tags change it.
namespace vkflag {
constexpr uint32_t kUserWordsMask = 0x00000003;       // F: user words per polygon ("U1".."U3")
constexpr uint32_t kBinary = 0x00000004;
constexpr uint32_t kBinDebug = 0x00000008;
constexpr uint32_t kMaterialEmissionNormal = 0x00000040;  // F: "En"
constexpr uint32_t kTexn3 = 0x00000080;
constexpr uint32_t kDeleteAmbient = 0x00000100;
constexpr uint32_t kDeleteAllMaterials = 0x00000200;
constexpr uint32_t kDeleteTexMaterials = 0x00000400;
constexpr uint32_t kPolyColourToUserFlag = 0x00000800;
constexpr uint32_t kVertexColourToUserFlag = 0x00001000;
constexpr uint32_t kEnvUv = 0x00004000;
constexpr uint32_t kIgnoreEnv = 0x00008000;
constexpr uint32_t kModelEmissionNormal = 0x00010000;  // F: "Ee"
constexpr uint32_t kUvHigh = 0x00020000;
constexpr uint32_t kIgnoreDiffuse = 0x00040000;
constexpr uint32_t kSourceKind1 = 0x00180000;
constexpr uint32_t kTexListSection = 0x00400000;
constexpr uint32_t kObjectSection = 0x00800000;
constexpr uint32_t kSectionMask = 0x00E00000;
constexpr uint32_t kInitial = 0x00C00000;             // both sections
constexpr uint32_t kNoVertexColour = 0x01000000;      // F only ("Nvc")
constexpr uint32_t kPolyVertexColour = 0x02000000;
constexpr uint32_t kPolyVertexNormal = 0x04000000;
constexpr uint32_t kPolyNormal = 0x10000000;
constexpr uint32_t kForceTexture = 0x20000000;
constexpr uint32_t kTextures = 0x40000000;
constexpr uint32_t kMaterialTags = 0x80000000;
}  // namespace vkflag

// ---- A material's attrflags ---------------------------------------------------------
namespace vkattr {
constexpr uint32_t kBlendSourceZero = 0x00000001;   // set with blend source 0
constexpr uint32_t kIgnoreAmbient = 0x00000040;
constexpr uint32_t kDepthAdjust = 0x00000F00;        // mipmap depth step, bits 8-11
constexpr int kDepthShift = 8;
constexpr uint32_t kSuperSample = 0x00001000;
constexpr uint32_t kFilter = 0x00006000;             // bits 13-14
constexpr int kFilterShift = 13;
constexpr uint32_t kFilterPoint = 0x00000000;
constexpr uint32_t kFilterBilinear = 0x00002000;
constexpr uint32_t kFilterTrilinear = 0x00004000;
constexpr uint32_t kClampV = 0x00008000;
constexpr uint32_t kClampU = 0x00010000;
constexpr uint32_t kFlipV = 0x00020000;
constexpr uint32_t kFlipU = 0x00040000;
constexpr uint32_t kIgnoreSpecular = 0x00080000;
constexpr uint32_t kUseAlpha = 0x00100000;
constexpr uint32_t kTextured = 0x00200000;
constexpr uint32_t kEnvironment = 0x00400000;
constexpr uint32_t kDoubleSided = 0x00800000;
constexpr uint32_t kFlat = 0x01000000;
constexpr uint32_t kIgnoreLight = 0x02000000;
constexpr uint32_t kTextureFlags = 0x0007FF00;       // what a texture chunk carries
constexpr uint32_t kBlend = 0xFC000000;              // source bits 29-31, destination 26-28
constexpr int kBlendSourceShift = 29;
constexpr int kBlendDestinationShift = 26;
constexpr uint32_t kBlendDefault = 0x94000000;       // FBS_SA, FBD_ISA
// A material whose attrflags is 0, and the default material: FBS_SA / FBD_ISA,
// bilinear filter, mipmap depth step 4.
constexpr uint32_t kDefault = 0x94002400;
}  // namespace vkattr

// ---- Object evaluation flags (EvalFlags) ------------------------------------------
namespace vkeval {
constexpr uint32_t kZeroTranslation = 0x01;  // translation (0, 0, 0)
constexpr uint32_t kZeroRotation = 0x02;     // rotation (0, 0, 0)
constexpr uint32_t kUnitScale = 0x04;        // scale (1, 1, 1)
constexpr uint32_t kNoModel = 0x08;          // no model; also the name tag "Hi"
constexpr uint32_t kNoChild = 0x10;          // no child; also the name tag "Bk"
constexpr uint32_t kSourceAngles = 0x20;     // source kind 5 or 8
constexpr uint32_t kTagEs = 0x40;            // name tag "Es"
constexpr uint32_t kTagSs = 0x80;            // name tag "Ss"
}  // namespace vkeval

// ---- Strip flags (FST_) of a strip chunk's head word ------------------------------
namespace vkfst {
constexpr uint16_t kIL = 0x0100;
constexpr uint16_t kIS = 0x0200;
constexpr uint16_t kIA = 0x0400;
constexpr uint16_t kUA = 0x0800;
constexpr uint16_t kDB = 0x1000;
constexpr uint16_t kFL = 0x2000;
constexpr uint16_t kENV = 0x4000;
}  // namespace vkfst

// ---- Values clamped to their packed fields (VKWriteInfo::clampWarned) -------------
namespace vkclamp {
constexpr uint32_t kNormal = 0x1;  // a normal component outside [-1, 1]
constexpr uint32_t kUv = 0x2;      // a scaled UV outside the 16-bit range
}  // namespace vkclamp

// ---- A polygon's strip state (ScPolygon::stripState) ------------------------------
constexpr uint16_t kStripCornerMask = 0x0003;  // start corner, or new corner of a later triangle
constexpr uint16_t kStripExcluded = 0x0008;    // degenerate triangle
constexpr uint16_t kStripSingle = 0x0400;      // strip of one triangle
constexpr uint16_t kStripMarkSecond = 0x0800;  // taken by the second growth attempt (while growing)
constexpr uint16_t kStripMarkFirst = 0x1000;   // taken by the first growth attempt (while growing)
constexpr uint16_t kStripLeft = 0x2000;        // StripL; clear for StripR
constexpr uint16_t kStripFirst = 0x4000;       // first triangle of a strip
constexpr uint16_t kStripUsed = 0x8000;

// ---- Texture archive (PVM) ------------------------------------------------------------
namespace vkpvm {
// Header flags of the "PVMH" chunk: what the entries hold and which chunks follow.
constexpr uint16_t kNames = 0x0001;          // "PVRNAME": entry names
constexpr uint16_t kFormats = 0x0002;        // "CATEGORYCODE": entry format words
constexpr uint16_t kDimensions = 0x0004;     // "ENTRYINFO": entry dimension codes
constexpr uint16_t kGlobalIndices = 0x0008;  // "GLOBALINDEX"
constexpr uint16_t kModelNames = 0x0010;     // "MDLN" chunk
constexpr uint16_t kConverter = 0x0020;      // "CONV" chunk (never written here)
constexpr uint16_t kTextureNames = 0x0040;   // "PVMI" chunk (never written here)
constexpr uint16_t kImages = 0x0080;         // "IMGC" chunk (never written here)
constexpr uint16_t kTextures = 0x0100;       // "PVRT" chunks
constexpr uint16_t kComment = 0x0200;        // "COMM" chunk (never written here)
constexpr uint16_t kPaletteBanks = 0x0400;   // entry global indices carry palette banks
constexpr uint16_t kPalettes = 0x0800;       // "PVPL" chunks
constexpr uint16_t kDefault = 0x010F;        // names, formats, dimensions, global indices, textures

// The lock word, ORed into every entry's dimension code.
constexpr uint16_t kOrderLock = 0x0100;
constexpr uint16_t kPvrLock = 0x0200;

// An entry's format word: pixel format in the low byte, texture type in bits 8-11.
constexpr uint16_t kFormatPixelMask = 0x00FF;
constexpr uint16_t kFormatTextureMask = 0x0F00;

// A palettized entry's palette bank replaces bits 26-31 of its global index.
constexpr uint32_t kBankMask = 0xFC000000;
constexpr int kBankShift = 26;
constexpr uint32_t kIndexBits = 0x03FFFFFF;  // the index below the bank
}  // namespace vkpvm
